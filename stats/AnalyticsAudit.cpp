#include "stats/AnalyticsAudit.h"

#include "platform/FileRead.h"
#include "stats/StatsLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>

namespace zq::stats {
namespace {

QString nowText() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

void readLines(const QString& path, QJsonArray& attempts, QHash<QString, qsizetype>& index) {
    const std::optional<QByteArray> bytes =
        platform::readFile(path, platform::ReadLimit::kPropertyList);
    if (!bytes) {
        return;
    }
    for (const QByteArray& raw : bytes->split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.isEmpty()) {
            continue;
        }
        const QJsonDocument doc = QJsonDocument::fromJson(line);
        if (!doc.isObject()) {
            continue;
        }
        const QJsonObject object = doc.object();
        const QString type = object.value(QStringLiteral("type")).toString();
        const QString attempt = object.value(QStringLiteral("attempt")).toString();
        if (type == u"attempt") {
            QJsonObject entry = object;
            entry.remove(QStringLiteral("type"));
            index.insert(attempt, attempts.size());
            attempts.append(entry);
        } else if (type == u"result" && index.contains(attempt)) {
            const qsizetype at = index.value(attempt);
            QJsonObject entry = attempts.at(at).toObject();
            QJsonObject result = object;
            result.remove(QStringLiteral("type"));
            result.remove(QStringLiteral("attempt"));
            entry.insert(QStringLiteral("result"), result);
            attempts.replace(at, entry);
        }
    }
}

}  // namespace

AnalyticsAudit::AnalyticsAudit(const QString& folder) : _path(logPath(folder)) {}

QString AnalyticsAudit::logPath(const QString& folder) {
    QString base = folder;
    while (base.size() > 1 && base.endsWith(u'/')) {
        base.chop(1);
    }
    return base + QStringLiteral("/audit.jsonl");
}

bool AnalyticsAudit::recordAttempt(const QString& attempt, const QString& endpoint,
                                   const QJsonObject& body) {
    if (QFileInfo(_path).size() >= kRotateBytes) {
        const QString old = _path + QStringLiteral(".1");
        QFile::remove(old);
        QFile::rename(_path, old);
    }
    return append(QJsonObject{{QStringLiteral("type"), QStringLiteral("attempt")},
                              {QStringLiteral("attempt"), attempt},
                              {QStringLiteral("time"), nowText()},
                              {QStringLiteral("endpoint"), endpoint},
                              {QStringLiteral("body"), body}});
}

bool AnalyticsAudit::recordResult(const QString& attempt, int httpStatus, const QString& outcome,
                                  const QString& error) {
    QJsonObject line{{QStringLiteral("type"), QStringLiteral("result")},
                     {QStringLiteral("attempt"), attempt},
                     {QStringLiteral("time"), nowText()},
                     {QStringLiteral("status"), httpStatus},
                     {QStringLiteral("outcome"), outcome}};
    if (!error.isEmpty()) {
        line.insert(QStringLiteral("error"), error);
    }
    return append(line);
}

bool AnalyticsAudit::append(const QJsonObject& line) {
    QDir().mkpath(QFileInfo(_path).absolutePath());
    QFile file;
    QString why;
    // Unbuffered: the whole line goes to the file in one write, so lines of
    // several processes do not interleave.
    if (!platform::openRegularFileForAppend(file, _path, QIODevice::Unbuffered, &why)) {
        qCWarning(lcStats) << "analytics audit log not writable:" << why;
        return false;
    }
    const QByteArray bytes = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    if (file.write(bytes) != bytes.size()) {
        qCWarning(lcStats) << "analytics audit log write failed:" << file.errorString();
        return false;
    }
    return true;
}

QJsonArray AnalyticsAudit::read(const QString& folder) {
    QJsonArray attempts;
    QHash<QString, qsizetype> index;
    const QString path = logPath(folder);
    readLines(path + QStringLiteral(".1"), attempts, index);
    readLines(path, attempts, index);
    return attempts;
}

}  // namespace zq::stats
