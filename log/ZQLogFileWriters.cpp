#include "log/ZQLogFileWriters.h"

#include "log/ZQLogManager.h"
#include "platform/Plist.h"
#include "utility/DeviceIdentity.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSiblingApps.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSaveFile>

#include <errno.h>

namespace {

constexpr qint64 kTouchBarAgentProcess = 6;

// The lock named after "RecordLogToFile"; nothing else takes it.
QMutex& recordLogLock() {
    static QMutex mutex;
    return mutex;
}

QString now(const char* format) {
    return QDateTime::currentDateTime().toString(QString::fromLatin1(format));
}

QString described(const std::optional<QString>& value) {
    return value ? *value : ZQLogManager::descriptionOf(QVariant());
}

void writeText(const QString& folder, const QString& path, const QString& text) {
    QDir().mkpath(folder);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(text.toUtf8());
        file.commit();
    }
}

QString reportFolder(const char* name) {
    return zq::utility::userDataFolder() + QLatin1Char('/') + QString::fromLatin1(name);
}

zq::log::ReportFacts currentFacts() {
    zq::log::ReportFacts facts;
    facts.uuid = described(GetUUID());
    facts.hardwareModel = GetHardwareModel();
    facts.identifier = zq::log::currentBundleIdentifier();
    facts.version = described(GetInputMethodVersion());
    facts.touchBar = isVeskoProcessExist(kTouchBarAgentProcess);
    return facts;
}

}  // namespace

namespace zq::log {

QString currentProcessName() {
    return QString::fromLocal8Bit(program_invocation_short_name);
}

QString currentBundleIdentifier() {
    return QStringLiteral("com.vesko.") + currentProcessName();
}

QString stackReport(const ReportFacts& facts, const QString& stackText) {
    return QStringLiteral("catchType:2\n") +
           QStringLiteral("Incident Identifier: %1\n").arg(facts.uuid) +
           QStringLiteral("Hardware Model:      %1\n").arg(facts.hardwareModel) +
           QStringLiteral("Identifier:          %1\n").arg(facts.identifier) +
           QStringLiteral("Version:             %1\n").arg(facts.version) +
           QStringLiteral("TouchBar:            %1\n").arg(facts.touchBar ? 1 : 0) + stackText +
           QStringLiteral("\n\n");
}

QString stallReport(const ReportFacts& facts, const QString& stackText, qint64 blockTimeCount,
                    const QString& runLoopActivity, const QStringList& perfLines) {
    QString report = QStringLiteral("Hardware Model:  %1\n").arg(facts.hardwareModel) +
                     QStringLiteral("UUID:            %1\n").arg(facts.uuid) +
                     QStringLiteral("TouchBar:        %1\n").arg(facts.touchBar ? 1 : 0) +
                     QStringLiteral("blockTimecount:  %1\n").arg(blockTimeCount) +
                     QStringLiteral("RunloopActive:   %1\n").arg(runLoopActivity) +
                     QStringLiteral("\n") + stackText + QStringLiteral("\n\n");
    if (!perfLines.isEmpty()) {
        report += QStringLiteral("LOG:    %1\n").arg(perfLines.size());
        for (const QString& line : perfLines) {
            report += line + QLatin1Char('\n');
        }
    }
    return report;
}

}  // namespace zq::log

void RecordLogToFile(const QString& fileName, const QString& content) {
    if (content.isNull()) {
        return;
    }
    QString line;
    {
        QMutexLocker lock(&recordLogLock());
        const QString folder = zq::utility::tempLogFolder();
        QDir().mkpath(folder);
        const QString name =
            fileName.isNull() ? QStringLiteral("macime_%1.log").arg(zq::log::currentProcessName())
                              : fileName;
        const QString path = folder + QLatin1Char('/') + name;
        QVariantList lines;
        bool writable = true;
        if (QFileInfo::exists(path)) {
            const std::optional<QVariantList> held = platform::Plist::readArray(path);
            writable = held.has_value();
            if (held && held->size() <= zq::log::kLineLogLimit) {
                lines = *held;
            }
        }
        line = QStringLiteral("%1 %2 %3: %4")
                   .arg(QString::number(lines.size() + 1), now("yyyy-MM-dd HH:mm:ss"),
                        zq::log::currentProcessName(), content);
        if (writable) {
            lines.append(line);
            platform::Plist::writeFile(path, lines);
        }
    }
    SendDistributedNotification(QString::fromLatin1(zq::log::kShowImeLogNotification),
                                QVariantMap{{QStringLiteral("log"), line}});
}

void RecordCrashLogToFile(const QString& text) {
    if (text.isNull()) {
        return;
    }
    QMutexLocker lock(&recordLogLock());
    const QString folder = reportFolder(zq::utility::kCrashFolderName);
    writeText(folder,
              folder + QStringLiteral("/VeskoServices_%1.log").arg(now("yyyy-MM-dd-HHmmss")), text);
}

void RecordStrackLogToFile(const QString& stackText) {
    if (stackText.isNull()) {
        return;
    }
    QMutexLocker lock(&recordLogLock());
    const zq::log::ReportFacts facts = currentFacts();
    const QString folder = reportFolder(zq::utility::kPerfFolderName);
    writeText(
        folder,
        folder + QStringLiteral("/perf_%1_%2.crash").arg(facts.version, now("yyyyMMddHHmmss")),
        zq::log::stackReport(facts, stackText));
}

void RecordStrackLogAndDateToFile(const QString& stackText, qint64 blockTimeCount,
                                  const QString& runLoopActivity) {
    if (stackText.isNull()) {
        return;
    }
    QMutexLocker lock(&recordLogLock());
    const zq::log::ReportFacts facts = currentFacts();
    QStringList perfLines;
    const QString perfLog =
        zq::utility::expandProductPath(QString::fromLatin1(zq::utility::kDesignTempLogFolder) +
                                       QStringLiteral("/macimeperf_VeskoInput.log"));
    if (const std::optional<QVariantList> held = platform::Plist::readArray(perfLog)) {
        for (const QVariant& item : *held) {
            perfLines.append(ZQLogManager::descriptionOf(item));
        }
    }
    const QString folder = reportFolder(zq::utility::kPerfFolderName);
    writeText(folder,
              folder + QStringLiteral("/perf_%1_%2.log").arg(facts.version, now("yyyyMMddHHmmss")),
              zq::log::stallReport(facts, stackText, blockTimeCount, runLoopActivity, perfLines));
}
