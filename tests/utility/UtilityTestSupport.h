#pragma once

// Helpers shared by the utility tests: fixture files in the isolated install
// root and system root, and the run-log entries the utilities write.

#include "log/ZQLogManager.h"
#include "platform/Locations.h"
#include "platform/Plist.h"
#include "utility/ProcessCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTest>

namespace testsupport {

inline bool writeBytes(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QByteArray readBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline QString infoPlistFixturePath() {
    return platform::Locations::installRoot() + "/Contents/Info.plist";
}

inline bool writeInfoPlist(const QVariantMap& info) {
    return platform::Plist::writeFile(infoPlistFixturePath(), info);
}

// Switches the shared run log on for the utilities' type, with room enough
// that no test sees the log emptied.
inline bool enableUtilityRunLog() {
    ZQLogManager* manager = ZQLogManager::sharedInstance();
    return manager->enableRunLogConfig(ZQLogType::Utility) && manager->setLogMaxCount(10000000);
}

inline qsizetype runLogMark() {
    return ZQLogManager::sharedInstance()->logContent().size();
}

// Entry texts ("Function line : text") recorded since mark, the line numbers
// replaced by "#" so that tests do not depend on them.
inline QStringList runLogSince(qsizetype mark) {
    QStringList texts;
    for (const QString& line : ZQLogManager::sharedInstance()->logContent().mid(mark)) {
        const qsizetype start = line.indexOf(QStringLiteral(" : ")) + 3;
        const qsizetype end = line.lastIndexOf(QStringLiteral(" ({"));
        QString text = line.mid(start, end - start);
        const qsizetype space = text.indexOf(u' ');
        const qsizetype colon = text.indexOf(QStringLiteral(" : "));
        if (space > 0 && colon > space) {
            text = text.left(space) + " # " + text.mid(colon + 1);
        }
        texts.append(text);
    }
    return texts;
}

}  // namespace testsupport
