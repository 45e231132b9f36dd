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
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        *error = QStringLiteral("cannot open the journal %1: %2").arg(path, m_file.errorString());
        return false;
    }
    return true;
}

void Journal::write(QJsonObject entry) {
    entry.insert(QStringLiteral("seq"), ++m_seq);
    entry.insert(QStringLiteral("time"),
                 QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    if (!m_file.isOpen()) {
        return;
    }
    const QByteArray line = QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n';
    if ((m_file.write(line) != line.size() || !m_file.flush()) && !m_failed) {
        // Said once: a full disk would otherwise repeat it for every message.
        m_failed = true;
        QTextStream(stderr) << "VeskoService: cannot write the journal " << m_file.fileName()
                            << ": " << m_file.errorString() << "\n";
    }
}

}  // namespace zq::refim
