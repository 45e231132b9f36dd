#include "tests/support/RefService.h"

#include "platform/Configuration.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTcpSocket>

namespace zq::test {

namespace {

constexpr int kStartTimeoutMs = 20000;
constexpr int kControlTimeoutMs = 10000;

QString serviceScript() {
    return QStringLiteral(ZQ_SOURCE_DIR "/tools/refservice/refservice.py");
}

QString pythonProgram() {
    const QString configured = qEnvironmentVariable("ZQ_PYTHON");
    return configured.isEmpty() ? QStringLiteral("python3") : configured;
}

}  // namespace

bool RefService::start() {
    stop();
    _error.clear();
    _dir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/refservice-XXXXXX"));
    if (!_dir->isValid()) {
        _error = QStringLiteral("cannot create a temporary folder: ") + _dir->errorString();
        return false;
    }
    QDir().mkpath(dataDir());
    return launch();
}

bool RefService::launch() {
    _process = std::make_unique<QProcess>();
    _process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    _process->start(pythonProgram(),
                    {serviceScript(), QStringLiteral("--port"), QStringLiteral("0"),
                     QStringLiteral("--data-dir"), dataDir(), QStringLiteral("--journal"),
                     journalPath(), QStringLiteral("--stop-on-eof")});
    if (!_process->waitForStarted(kStartTimeoutMs)) {
        _error =
            QStringLiteral("cannot start %1: %2").arg(pythonProgram(), _process->errorString());
        _process.reset();
        return false;
    }

    // The first line is "listening 127.0.0.1:PORT".
    QDeadlineTimer deadline(kStartTimeoutMs);
    while (!_process->canReadLine()) {
        if (_process->state() != QProcess::Running || deadline.hasExpired()) {
            _error = QStringLiteral("the reference service did not report its port (exit code %1)")
                         .arg(_process->exitCode());
            stop();
            return false;
        }
        _process->waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    }
    static const QRegularExpression listening(QStringLiteral("^listening .+:(\\d{1,5})$"));
    const QString line = QString::fromUtf8(_process->readLine()).trimmed();
    const uint port = listening.match(line).captured(1).toUInt();
    if (port == 0 || port > 65535) {
        _error = QStringLiteral("unexpected first line from the reference service: ") + line;
        stop();
        return false;
    }
    _port = quint16(port);

    _hadPreviousConfig = qEnvironmentVariableIsSet("VESKO_CONFIG");
    _previousConfig = qgetenv("VESKO_CONFIG");
    if (!writeConfig()) {
        stop();
        return false;
    }
    return true;
}

void RefService::stop() {
    if (_process) {
        _process->closeWriteChannel();  // the service stops on end of input
        _process->terminate();
        if (!_process->waitForFinished(5000)) {
            _process->kill();
            _process->waitForFinished(5000);
        }
        _process.reset();
        if (_hadPreviousConfig)
            qputenv("VESKO_CONFIG", _previousConfig);
        else
            qunsetenv("VESKO_CONFIG");
        platform::Configuration::reload();
    }
    _port = 0;
}

void RefService::setConfigValue(const QString& key, const QString& value) {
    _extraConfig.insert(key, value);
    if (_process)
        writeConfig();
}

bool RefService::writeConfig() {
    // Group by section so that the file reads like the shipped one.
    QMap<QString, QMap<QString, QString>> sections;
    sections[QStringLiteral("Service")][QStringLiteral("Host")] = baseUrl();
    sections[QStringLiteral("Service")][QStringLiteral("WallHost")] = baseUrl();
    sections[QStringLiteral("Web")][QStringLiteral("Host")] = baseUrl();
    sections[QStringLiteral("Analytics")][QStringLiteral("Endpoint")] =
        url(QStringLiteral("/analytics/v1/events"));
    sections[QStringLiteral("Analytics")][QStringLiteral("Enabled")] = QStringLiteral("true");
    for (auto it = _extraConfig.cbegin(); it != _extraConfig.cend(); ++it) {
        const qsizetype slash = it.key().indexOf(u'/');
        const QString section = slash > 0 ? it.key().left(slash) : QStringLiteral("General");
        sections[section][it.key().mid(slash + 1)] = it.value().toString();
    }
    QByteArray text = "; Written by the test fixture: every host is the reference service.\n";
    for (auto section = sections.cbegin(); section != sections.cend(); ++section) {
        text += "\n[" + section.key().toUtf8() + "]\n";
        for (auto entry = section->cbegin(); entry != section->cend(); ++entry)
            text += entry.key().toUtf8() + '=' + entry.value().toUtf8() + '\n';
    }
    QSaveFile file(configPath());
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        _error = QStringLiteral("cannot write %1: %2").arg(configPath(), file.errorString());
        return false;
    }
    qputenv("VESKO_CONFIG", QFile::encodeName(configPath()));
    platform::Configuration::reload();
    return true;
}

QJsonObject RefService::control(const QByteArray& method, const QString& path,
                                const QByteArray& body) {
    if (_port == 0) {
        _error = QStringLiteral("the reference service is not running");
        return {};
    }
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), _port);
    if (!socket.waitForConnected(kControlTimeoutMs)) {
        _error = QStringLiteral("cannot reach the reference service: ") + socket.errorString();
        return {};
    }
    QByteArray request =
        method + ' ' + path.toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(_port) +
        "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
        QByteArray::number(body.size()) + "\r\n\r\n" + body;
    socket.write(request);

    QByteArray answer;
    QDeadlineTimer deadline(kControlTimeoutMs);
    qsizetype headerEnd = -1;
    qint64 expected = -1;
    while (!deadline.hasExpired()) {
        if (!socket.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))) &&
            socket.state() != QAbstractSocket::ConnectedState && socket.bytesAvailable() == 0)
            break;
        answer += socket.readAll();
        if (headerEnd < 0) {
            headerEnd = answer.indexOf("\r\n\r\n");
            if (headerEnd >= 0) {
                for (const QByteArray& line : answer.left(headerEnd).split('\n')) {
                    if (line.toLower().startsWith("content-length:"))
                        expected = line.mid(15).trimmed().toLongLong();
                }
            }
        }
        if (headerEnd >= 0 && expected >= 0 && answer.size() - headerEnd - 4 >= expected)
            break;
    }
    if (headerEnd < 0) {
        _error = QStringLiteral("no answer from the reference service to ") + path;
        return {};
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(answer.mid(headerEnd + 4), &parseError);
    if (!document.isObject()) {
        _error = QStringLiteral("control answer is not a JSON object: ") + parseError.errorString();
        return {};
    }
    const QJsonObject object = document.object();
    if (!object.value("ok").toBool(true))
        _error = object.value("error").toString();
    return object;
}

bool RefService::setFault(const QString& path, const QString& fault, const QVariantMap& options) {
    QJsonObject spec = QJsonObject::fromVariantMap(options);
    spec.insert(QStringLiteral("path"), path);
    spec.insert(QStringLiteral("fault"), fault);
    return succeeds("POST", QStringLiteral("/__control/faults"), QJsonDocument(spec).toJson());
}

bool RefService::setHelpList(const QJsonObject& list) {
    return succeeds("POST", QStringLiteral("/__control/helplist"), QJsonDocument(list).toJson());
}

qint64 RefService::mark() {
    return qint64(control("GET", QStringLiteral("/__control/journal?since=999999999"))
                      .value("last")
                      .toDouble());
}

QJsonArray RefService::journal(qint64 since) {
    return control("GET", QStringLiteral("/__control/journal?since=%1").arg(since))
        .value("entries")
        .toArray();
}

QJsonArray RefService::entries(const QString& endpoint, qint64 since) {
    QJsonArray matching;
    for (const QJsonValue& entry : journal(since)) {
        if (entry.toObject().value("endpoint").toString() == endpoint)
            matching.append(entry);
    }
    return matching;
}

QJsonArray RefService::analyticsEvents() {
    return control("GET", QStringLiteral("/__control/analytics")).value("events").toArray();
}

}  // namespace zq::test
