#pragma once

// Helpers shared by the platform and messaging tests.

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTest>

#include <memory>
#include <optional>

namespace zq::test {

// A round trip to the bus daemon on `bus`. The daemon handles one
// connection's messages in order, so afterwards every match rule and signal
// sent before on that connection is in effect.
inline bool syncWithBus(const QDBusConnection& bus) {
    const QDBusMessage getId = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    return bus.call(getId, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

// The value with every nested type spelt out: QVariant's == takes 1 for 1.0.
inline QString typedText(const QVariant& value) {
    QString text;
    QDebug(&text) << value;
    return text;
}

// Runs a program to its end (tests only: the test thread may block).
struct RunResult {
    bool started = false;
    int exitCode = -1;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    QByteArray out;
    QByteArray err;
};

inline RunResult run(
    const QString& program, const QStringList& arguments,
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
    int timeoutMs = 30000) {
    RunResult result;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    result.started = process.waitForStarted(timeoutMs);
    if (!result.started) {
        return result;
    }
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(timeoutMs);
    }
    result.exitCode = process.exitCode();
    result.exitStatus = process.exitStatus();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

// Emits the distributed-notification signal from another process (gdbus).
// `payload` is GVariant text of an a{sv}; a null payload sends the name alone.
inline bool emitWithGdbus(const QString& name, const QString& payload) {
    QStringList arguments{
        QStringLiteral("emit"),          QStringLiteral("--session"),
        QStringLiteral("--object-path"), QStringLiteral("/com/vesko/DistributedNotification"),
        QStringLiteral("--signal"),      QStringLiteral("com.vesko.DistributedNotification.Post"),
        QStringLiteral("'%1'").arg(name)};
    if (!payload.isNull()) {
        arguments.append(payload);
    }
    const RunResult result = run(QStringLiteral("gdbus"), arguments);
    if (result.exitCode != 0) {
        qWarning() << "gdbus emit failed:" << result.err;
    }
    return result.started && result.exitStatus == QProcess::NormalExit && result.exitCode == 0;
}

// A running process whose command line holds `marker` (as the last
// argument of "/bin/sh -c 'read line' MARKER"). It ends when destroyed.
class MarkerProcess {
public:
    explicit MarkerProcess(const QString& marker) {
        _process.start(QStringLiteral("/bin/sh"),
                       {QStringLiteral("-c"), QStringLiteral("read line"), marker});
        _started = _process.waitForStarted(10000) && waitUntilListed(marker);
    }
    ~MarkerProcess() { stop(); }
    MarkerProcess(const MarkerProcess&) = delete;
    MarkerProcess& operator=(const MarkerProcess&) = delete;

    bool isStarted() const { return _started; }
    void stop() {
        if (_process.state() != QProcess::NotRunning) {
            _process.closeWriteChannel();
            if (!_process.waitForFinished(10000)) {
                _process.kill();
                _process.waitForFinished(10000);
            }
        }
    }

private:
    // The process counts as started once its command line, marker included,
    // can be read from /proc: on a loaded machine that can lag behind the
    // start notification.
    bool waitUntilListed(const QString& marker) {
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(_process.processId()));
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired()) {
            if (cmdline.open(QIODevice::ReadOnly)) {
                const bool listed = cmdline.readAll().contains(marker.toLocal8Bit());
                cmdline.close();
                if (listed) {
                    return true;
                }
            }
            QTest::qWait(5);
        }
        return false;
    }

    QProcess _process;
    bool _started = false;
};

// The executable of a bundle-shaped folder: <bundle>/Contents/MacOS/<name>.
inline QString bundleExecutable(const QString& bundlePath) {
    QString name = QFileInfo(bundlePath).fileName();
    if (name.endsWith(QStringLiteral(".app"))) {
        name.chop(4);
    }
    return bundlePath + QStringLiteral("/Contents/MacOS/") + name;
}

// A bundle whose executable writes its arguments, each followed by a NUL
// byte, to "<executable>.args"; the file appears whole (renamed into place).
inline bool makeRecordingBundle(const QString& bundlePath) {
    const QString executable = bundleExecutable(bundlePath);
    if (!QDir().mkpath(QFileInfo(executable).absolutePath())) {
        return false;
    }
    QFile script(executable);
    if (!script.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    script.write(
        "#!/bin/sh\n"
        "for a in \"$@\"; do printf '%s\\0' \"$a\"; done > \"$0.args.tmp\" && "
        "mv \"$0.args.tmp\" \"$0.args\"\n");
    script.close();
    return script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                 QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                 QFile::ExeOther);
}

inline QString recordedArgumentsFile(const QString& bundlePath) {
    return bundleExecutable(bundlePath) + QStringLiteral(".args");
}

// The arguments a recording bundle was started with, or none before it ran.
inline std::optional<QStringList> recordedArguments(const QString& bundlePath) {
    QFile file(recordedArgumentsFile(bundlePath));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QList<QByteArray> fields = file.readAll().split('\0');
    if (!fields.isEmpty()) {
        fields.removeLast();  // after the last NUL
    }
    QStringList arguments;
    for (const QByteArray& field : fields) {
        arguments.append(QString::fromUtf8(field));
    }
    return arguments;
}

}  // namespace zq::test
