#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

// The local record of everything the analytics client sends:
// "<analytics folder>/audit.jsonl", one JSON object a line.
//
//   {"type": "attempt", "attempt": "<uuid>", "time": "...Z", "endpoint": "http://...",
//    "body": <the request body exactly as posted>}
//   {"type": "result", "attempt": "<uuid>", "time": "...Z", "status": 200,
//    "outcome": "delivered" | "rejected" | "retry", "error": "..."}
//
// The attempt line is written before the request leaves, so a process killed
// during the request still leaves a record of what it sent. When the file
// passes 4 MiB it becomes "audit.jsonl.1" (replacing the older one) and a new
// file is started.
namespace zq::stats {

class AnalyticsAudit {
public:
    explicit AnalyticsAudit(const QString& folder);

    static QString logPath(const QString& folder);

    bool recordAttempt(const QString& attempt, const QString& endpoint, const QJsonObject& body);
    bool recordResult(const QString& attempt, int httpStatus, const QString& outcome,
                      const QString& error);

    // Every attempt still on record, oldest first, each with its result:
    //   {"attempt", "time", "endpoint", "body", "result": {"time", "status",
    //    "outcome", "error"}}  ("result" is missing when none was recorded).
    // Lines that are not JSON objects are skipped.
    static QJsonArray read(const QString& folder);

    static constexpr qint64 kRotateBytes = 4 * 1024 * 1024;

private:
    bool append(const QJsonObject& line);

    QString _path;
};

}  // namespace zq::stats
