#pragma once

#include <QFile>
#include <QJsonObject>
#include <QString>

namespace zq::refim {

// The service's journal: one JSON object per line, appended to a file and
// flushed line by line, so that another process can follow it while the
// service runs. Every entry gets "seq" (from 1 in each run) and "time" (UTC,
// ISO 8601 with milliseconds). Without a file the journal counts and drops.
class Journal {
public:
    // Opens `path` for appending (created with its folder when missing).
    // An empty path keeps the journal closed. False, with *error, on failure.
    [[nodiscard]] bool open(const QString& path, QString* error);

    void write(QJsonObject entry);

private:
    QFile _file;
    qint64 _seq = 0;
    bool _failed = false;
};

}  // namespace zq::refim
