#include "utility/UtilityLog.h"
#include "utility/ZQSiblingApps.h"

#include <QEventLoop>
#include <QMutex>
#include <QProcess>
#include <QThread>

namespace {

QMutex& helperMutex() {
    static QMutex mutex;
    return mutex;
}

QStringList& customHelper() {
    static QStringList helper;
    return helper;
}

void preparePrivileged(QProcess& process, const QString& command) {
    const QStringList helper = zq::utility::privilegeHelper();
    process.setProgram(helper.constFirst());
    process.setArguments(helper.mid(1) +
                         QStringList{QStringLiteral("/bin/sh"), QStringLiteral("-c"), command});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

bool succeeded(const QProcess& process) {
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

}  // namespace

namespace zq::utility {

void setPrivilegeHelper(const QStringList& programAndArguments) {
    QMutexLocker lock(&helperMutex());
    customHelper() = programAndArguments;
}

QStringList privilegeHelper() {
    QMutexLocker lock(&helperMutex());
    if (customHelper().isEmpty()) {
        return {QStringLiteral("pkexec")};
    }
    return customHelper();
}

void runPrivilegedCommand(const QString& command, QObject* context,
                          std::function<void(bool)> done) {
    Q_ASSERT(context);
    // The process is not a child of `context`: destroying the context must not
    // kill a command that already runs with administrator rights. It deletes
    // itself when it ends.
    auto* process = new QProcess;
    preparePrivileged(*process, command);
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    QObject::connect(process, &QProcess::finished, context,
                     [process, done](int, QProcess::ExitStatus) {
                         if (done) {
                             done(succeeded(*process));
                         }
                     });
    QObject::connect(process, &QProcess::errorOccurred, context,
                     [process, done](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             process->deleteLater();
                             if (done) {
                                 done(false);
                             }
                         }
                     });
    process->start();
}

}  // namespace zq::utility

bool doAppleScript(const QString& command) {
    QProcess process;
    preparePrivileged(process, command);
    process.start();
    if (!process.waitForStarted()) {
        qCInfo(lcUtility) << "cannot run" << process.program() << process.errorString();
        return false;
    }
    if (QThread::currentThread()->eventDispatcher()) {
        // Keep this thread's events flowing while the user authenticates.
        QEventLoop loop;
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        if (process.state() != QProcess::NotRunning) {
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        }
    } else {
        process.waitForFinished(-1);
    }
    return succeeded(process);
}
