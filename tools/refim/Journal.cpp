#include "tools/refim/Journal.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTextStream>

namespace zq::refim {

bool Journal::open(const QString& path, QString* error) {
    if (path.isEmpty()) {
        return true;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    _file.setFileName(path);
    if (!_file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        *error = QStringLiteral("cannot open the journal %1: %2").arg(path, _file.errorString());
        return false;
    }
    return true;
}

void Journal::write(QJsonObject entry) {
    entry.insert(QStringLiteral("seq"), ++_seq);
    entry.insert(QStringLiteral("time"),
                 QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    if (!_file.isOpen()) {
        return;
    }
    const QByteArray line = QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n';
    if ((_file.write(line) != line.size() || !_file.flush()) && !_failed) {
        // Said once: a full disk would otherwise repeat it for every message.
        _failed = true;
        QTextStream(stderr) << "VeskoService: cannot write the journal " << _file.fileName() << ": "
                            << _file.errorString() << "\n";
    }
}

}  // namespace zq::refim
