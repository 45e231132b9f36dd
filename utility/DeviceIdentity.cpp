#include "utility/DeviceIdentity.h"
#include "utility/UtilityLog.h"

#include "log/ZQLogManager.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"
#include "platform/Plist.h"
#include "utility/ProcessCache.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStringList>

#include <execinfo.h>

#include <cstdlib>

namespace {

using zq::utility::ProcessCache;

ProcessCache<QString> g_deviceIdentifier("DeviceIdentifier");
ProcessCache<QString> g_platformUUID("PlatformUUID");
ProcessCache<QString> g_channel("Channel");

const QString kRegistryKey = QStringLiteral("IOPlatformUUID");
constexpr qsizetype kRawUUIDLength = 36;
// From the end of the key to the value: closing quote, " = ", opening quote.
constexpr qsizetype kValueOffset = 5;

// The calling thread's stack, one frame a line, for the "stack" entry.
QStringList currentCallStack() {
    void* frames[64];
    const int count = ::backtrace(frames, 64);
    QStringList lines;
    char** symbols = ::backtrace_symbols(frames, count);
    if (!symbols) {
        return lines;
    }
    for (int i = 0; i < count; ++i) {
        lines.append(QString::fromLocal8Bit(symbols[i]));
    }
    std::free(symbols);
    return lines;
}

QString uuidFilePath() {
    return QStringLiteral("%1/VeskoPY/%2")
        .arg(zq::utility::imUserFolderPath(), QLatin1String(zq::utility::kUUIDFileName));
}

}  // namespace

namespace zq::utility {

std::optional<QString> platformUUIDFromRegistryOutput(const QString& output) {
    const qsizetype key = output.indexOf(kRegistryKey);
    if (key < 0) {
        return std::nullopt;
    }
    const qsizetype start = key + kRegistryKey.size() + kValueOffset;
    if (start + kRawUUIDLength > output.size()) {
        return std::nullopt;
    }
    return output.mid(start, kRawUUIDLength);
}

std::optional<QString> deviceIdentifierFromRegistryOutput(const QString& output) {
    const qsizetype key = output.indexOf(kRegistryKey);
    // The whole value and at least one more character must lie in the output.
    if (key < 0 || !(key + kRegistryKey.size() + kValueOffset + kRawUUIDLength < output.size())) {
        return std::nullopt;
    }
    QString value = output.mid(key + kRegistryKey.size() + kValueOffset, kRawUUIDLength);
    value.remove(u'-');
    return value;
}

std::optional<QString> platformUUIDFromMachineId(const QByteArray& content) {
    const QByteArray id = content.trimmed();
    if (id.size() != 32) {
        return std::nullopt;
    }
    bool allZero = true;
    for (char c : id) {
        const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!hex) {
            return std::nullopt;
        }
        allZero = allZero && c == '0';
    }
    if (allZero) {
        return std::nullopt;  // not an identifier of any machine
    }
    const QString upper = QString::fromLatin1(id).toUpper();
    return QStringLiteral("%1-%2-%3-%4-%5")
        .arg(upper.mid(0, 8), upper.mid(8, 4), upper.mid(12, 4), upper.mid(16, 4),
             upper.mid(20, 12));
}

std::optional<QString> readPlatformUUID() {
    const std::optional<QByteArray> bytes =
        platform::readFile(platform::Locations::machineIdPath(), platform::ReadLimit::kSystemFact);
    if (!bytes) {
        return std::nullopt;
    }
    return platformUUIDFromMachineId(bytes->left(256));
}

}  // namespace zq::utility

std::optional<QString> GetUUID() {
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("stack"), currentCallStack());
    return g_deviceIdentifier.get([]() -> std::optional<QString> {
        if (auto fromFile = getUUIDFromLocalFile()) {
            return fromFile;  // trusted as it is
        }
        auto raw = zq::utility::readPlatformUUID();
        if (!raw) {
            return std::nullopt;
        }
        raw->remove(u'-');
        return raw;
    });
}

std::optional<QString> GetUUIDSource() {
    ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("beg"));
    const auto uuid = g_platformUUID.get([] { return zq::utility::readPlatformUUID(); });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("uuid"), uuid ? QVariant(*uuid) : QVariant());
    return uuid;
}

std::optional<QString> getUUIDFromLocalFile() {
    const QString path = uuidFilePath();
    if (!QFileInfo::exists(path)) {
        return std::nullopt;
    }
    QString error;
    const auto dict = platform::Plist::readDictionary(path, &error);
    if (!dict) {
        qCWarning(lcUtility) << "device identifier file unreadable, ignored:" << error;
        return std::nullopt;
    }
    const QVariant uuid = dict->value(QStringLiteral("uuid"));
    if (uuid.metaType().id() != QMetaType::QString || uuid.toString().isEmpty()) {
        return std::nullopt;
    }
    return uuid.toString();
}

void setUUIDToLocalFile() {
    g_deviceIdentifier.clear();
    const QString path = QStringLiteral("%1VeskoPY/%2")
                             .arg(GetUserImPath(), QLatin1String(zq::utility::kUUIDFileName));
    if (QFileInfo::exists(path)) {
        QFile::remove(path);
    }
    const std::optional<QString> uuid = GetUUID();
    if (!uuid) {
        return;
    }
    QString error;
    if (!platform::Plist::writeFile(path, QVariantMap{{QStringLiteral("uuid"), *uuid}},
                                    platform::Plist::Format::Xml, &error)) {
        qCWarning(lcUtility) << "cannot write the device identifier file:" << error;
    }
}

QString GetQuDao() {
    return *g_channel.get([]() -> std::optional<QString> {
        if (const auto info = GetInfoDictionary()) {
            const QVariant value = info->value(QStringLiteral("ZQQuDao"));
            switch (value.metaType().id()) {
                case QMetaType::QString:
                    return value.toString();
                case QMetaType::LongLong:
                case QMetaType::Int:
                case QMetaType::ULongLong:
                case QMetaType::UInt:
                    return QString::number(value.toLongLong());
                default:
                    break;
            }
        }
        return QStringLiteral("0000");
    });
}
