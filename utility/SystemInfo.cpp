#include "utility/SystemInfo.h"
#include "utility/UtilityLog.h"

#include "log/ZQLogManager.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"
#include "platform/Plist.h"
#include "platform/Values.h"
#include "utility/ProcessCache.h"
#include "utility/ProductLocations.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QSysInfo>

#include <sys/utsname.h>

namespace {

using zq::utility::ProcessCache;

ProcessCache<QVariantMap> g_infoDictionary("InfoDictionary");
ProcessCache<QString> g_inputMethodVersion("InputMethodVersion");
ProcessCache<QString> g_coreVersion("InputMethodCoreVersion");
ProcessCache<QString> g_buildDate("InputMethodBuildDate");
ProcessCache<QString> g_systemVersion("SystemVersion");
ProcessCache<QString> g_cpuArchitecture("CpuArchitecture");
ProcessCache<QString> g_hardwareModel("HardwareModel");
ProcessCache<QString> g_hardwareMachine("HardwareMachine");

// How long the process-information tool may run before it is given up.
constexpr int kProcessInfoToolTimeoutMs = 30000;

std::optional<QString> infoText(const QString& key) {
    const std::optional<QVariantMap> info = GetInfoDictionary();
    if (!info) {
        return std::nullopt;
    }
    return platform::scalarText(info->value(key));
}

struct SystemVersionValues {
    std::optional<QString> productVersion;
    std::optional<QString> buildVersion;
};

// The system version file when present, else os-release.
SystemVersionValues readSystemVersionValues() {
    const QString plistPath = platform::Locations::systemRoot() +
                              QStringLiteral("/System/Library/CoreServices/SystemVersion.plist");
    if (QFileInfo::exists(plistPath)) {
        QString error;
        if (const auto dict = platform::Plist::readDictionary(plistPath, &error)) {
            return {platform::scalarText(dict->value(QStringLiteral("ProductVersion"))),
                    platform::scalarText(dict->value(QStringLiteral("ProductBuildVersion")))};
        }
        qCWarning(lcUtility) << "system version file unreadable, using os-release:" << error;
    }
    std::optional<QByteArray> osRelease =
        platform::readFile(platform::Locations::osReleasePath(), platform::ReadLimit::kSystemFact);
    if (!osRelease) {
        osRelease = platform::readFile(
            platform::Locations::systemRoot() + QStringLiteral("/usr/lib/os-release"),
            platform::ReadLimit::kSystemFact);
        if (!osRelease) {
            return {};
        }
    }
    const QVariantMap values = zq::utility::parseOsRelease(*osRelease);
    SystemVersionValues result;
    const QString version = values.value(QStringLiteral("VERSION_ID")).toString();
    if (!version.isEmpty()) {
        result.productVersion = version;
        result.buildVersion = values.value(QStringLiteral("BUILD_ID")).toString();
    }
    return result;
}

QByteArray readSmallFile(const QString& path) {
    return platform::readFile(path, platform::ReadLimit::kSystemFact)
        .value_or(QByteArray())
        .left(4096);
}

}  // namespace

namespace zq::utility {

std::strong_ordering compareVersions(const QString& a, const QString& b) {
    const auto isDigit = [](QChar c) { return c >= u'0' && c <= u'9'; };
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a.at(i)) && isDigit(b.at(j))) {
            // Compare the two runs of digits by value, without converting
            // (runs may be longer than any integer type).
            while (i < a.size() && a.at(i) == u'0') {
                ++i;
            }
            while (j < b.size() && b.at(j) == u'0') {
                ++j;
            }
            qsizetype endA = i;
            while (endA < a.size() && isDigit(a.at(endA))) {
                ++endA;
            }
            qsizetype endB = j;
            while (endB < b.size() && isDigit(b.at(endB))) {
                ++endB;
            }
            if (endA - i != endB - j) {
                return endA - i < endB - j ? std::strong_ordering::less
                                           : std::strong_ordering::greater;
            }
            for (; i < endA; ++i, ++j) {
                if (a.at(i) != b.at(j)) {
                    return a.at(i) < b.at(j) ? std::strong_ordering::less
                                             : std::strong_ordering::greater;
                }
            }
            continue;
        }
        if (a.at(i) != b.at(j)) {
            return a.at(i).unicode() < b.at(j).unicode() ? std::strong_ordering::less
                                                         : std::strong_ordering::greater;
        }
        ++i;
        ++j;
    }
    const bool aEnded = i >= a.size();
    const bool bEnded = j >= b.size();
    if (aEnded && bEnded) {
        return std::strong_ordering::equal;
    }
    return aEnded ? std::strong_ordering::less : std::strong_ordering::greater;
}

QString hardwareStringFromBytes(const QByteArray& raw) {
    static const QString unknown = QStringLiteral("Unknown");
    QByteArray value = raw;
    while (!value.isEmpty() && (value.back() == '\0' || value.back() == '\n')) {
        value.chop(1);
    }
    // The value and its terminator must fit the 128-byte buffer.
    if (value.isEmpty() || value.size() > 127 || value.contains('\0')) {
        return unknown;
    }
    for (char c : value) {
        if (static_cast<unsigned char>(c) > 0x7f) {
            return unknown;  // not ASCII text
        }
    }
    const QString text = QString::fromLatin1(value).trimmed();
    return text.isEmpty() ? unknown : text;
}

QString cpuRamStatesFromToolOutput(const QByteArray& stderrOutput) {
    const QString text = QString::fromUtf8(stderrOutput);
    const qsizetype amp = text.indexOf(u'&');
    return amp < 0 ? QString() : text.mid(amp);
}

QVariantMap parseOsRelease(const QByteArray& content) {
    QVariantMap values;
    for (const QByteArray& rawLine : content.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(u'#')) {
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (eq <= 0) {
            continue;
        }
        const QString key = line.left(eq);
        QString value = line.mid(eq + 1);
        if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
            value.back() == value.front()) {
            const QChar quote = value.front();
            value = value.mid(1, value.size() - 2);
            if (quote == u'"') {
                // Shell-style escapes inside double quotes.
                QString unescaped;
                unescaped.reserve(value.size());
                for (qsizetype k = 0; k < value.size(); ++k) {
                    if (value.at(k) == u'\\' && k + 1 < value.size()) {
                        ++k;
                    }
                    unescaped.append(value.at(k));
                }
                value = unescaped;
            }
        }
        values.insert(key, value);
    }
    return values;
}

double bootTimeFromProcStat(const QByteArray& content) {
    for (const QByteArray& line : content.split('\n')) {
        if (line.startsWith("btime ")) {
            bool ok = false;
            const qlonglong seconds = line.mid(6).trimmed().toLongLong(&ok);
            return ok && seconds > 0 ? static_cast<double>(seconds) : 0.0;
        }
    }
    return 0.0;
}

}  // namespace zq::utility

std::optional<QVariantMap> GetInfoDictionary() {
    ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("beg"));
    return g_infoDictionary.get([]() -> std::optional<QVariantMap> {
        const QString path = zq::utility::infoPlistPath();
        if (!QFileInfo::exists(path)) {
            return std::nullopt;
        }
        QString error;
        auto dict = platform::Plist::readDictionary(path, &error);
        if (!dict) {
            qCWarning(lcUtility) << "info dictionary unreadable:" << error;
        }
        return dict;
    });
}

bool ZQInputMethodIsPreviewTestVersion() {
    ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("beg"));
    const auto info = GetInfoDictionary();
    return info && platform::boolValue(info->value(QStringLiteral("ZQVersionForPreviewTest")));
}

bool ZQInputMethodIsInternalTestVersion() {
    ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("beg"));
    const auto info = GetInfoDictionary();
    return info && platform::boolValue(info->value(QStringLiteral("ZQVersionForInternalTest")));
}

std::optional<QString> GetInputMethodVersion() {
    return g_inputMethodVersion.get([] { return infoText(QStringLiteral("CFBundleFullVersion")); });
}

std::optional<QString> GetCurrentInputMethodVersion() {
    std::optional<QString> version;
    if (QFileInfo::exists(zq::utility::infoPlistPath())) {
        if (const auto dict = platform::Plist::readDictionary(zq::utility::infoPlistPath())) {
            version = platform::scalarText(dict->value(QStringLiteral("CFBundleFullVersion")));
        }
    }
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("fullVersion"),
                  version ? QVariant(*version) : QVariant());
    return version;
}

std::optional<QString> GetInputMethodCoreVersion() {
    const auto version =
        g_coreVersion.get([] { return infoText(QStringLiteral("CFBundleInfoDictionaryVersion")); });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("coreVersion"),
                  version ? QVariant(*version) : QVariant());
    return version;
}

std::optional<QString> GetInputMethodBuildDate() {
    const auto date = g_buildDate.get([] { return infoText(QStringLiteral("ZQBuildDate")); });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("buildDate"),
                  date ? QVariant(*date) : QVariant());
    return date;
}

QString GetCompileTime() {
    const QString compileTime = QStringLiteral(__DATE__ " " __TIME__);
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("compileTime"), compileTime);
    return compileTime;
}

std::optional<QString> GetSystemVersion() {
    return g_systemVersion.get([] { return readSystemVersionValues().productVersion; });
}

std::optional<QString> GetPlatformVersion() {
    const SystemVersionValues values = readSystemVersionValues();
    std::optional<QString> platformVersion;
    if (values.productVersion) {
        platformVersion = QStringLiteral("%1(%2)").arg(*values.productVersion,
                                                       values.buildVersion.value_or(QString()));
    }
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("fullVersion"),
                  platformVersion ? QVariant(*platformVersion) : QVariant());
    return platformVersion;
}

namespace {

std::strong_ordering systemVersionComparedTo(const QString& version) {
    const auto system = GetSystemVersion();
    return system ? zq::utility::compareVersions(*system, version) : std::strong_ordering::equal;
}

}  // namespace

bool isCurrentSystemVersionLargerThanOrEqualTo(const QString& version) {
    const bool result = systemVersionComparedTo(version) != std::strong_ordering::less;
    ZQ_RUN_LOG(ZQLogType::Utility,
               result ? QStringLiteral("return yes") : QStringLiteral("return no"));
    return result;
}

bool isCurrentSystemVersionLowerThanOrEqualTo(const QString& version) {
    const bool result = systemVersionComparedTo(version) != std::strong_ordering::greater;
    ZQ_RUN_LOG(ZQLogType::Utility,
               result ? QStringLiteral("return yes") : QStringLiteral("return no"));
    return result;
}

bool VeskoInputNeedUpdate(const QString& remoteVersion) {
    const QString remote = remoteVersion.trimmed();
    const auto installed = GetInputMethodVersion();
    const std::strong_ordering order =
        installed ? zq::utility::compareVersions(*installed, remote) : std::strong_ordering::equal;
    if (order == std::strong_ordering::less) {
        ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("return 1"));
        return true;
    }
    if (order == std::strong_ordering::equal) {
        ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("return 0"));
    } else {
        ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("return -1"));
    }
    return false;
}

QString GetCpuArchitecture() {
    return g_cpuArchitecture
        .get([]() -> std::optional<QString> {
            const QString name = QSysInfo::currentCpuArchitecture();
            if (name.isEmpty()) {
                return std::nullopt;
            }
            return name;
        })
        .value_or(QString());
}

double GetSystemBootTime() {
    const std::optional<QByteArray> stat =
        platform::readFile(QStringLiteral("/proc/stat"), platform::ReadLimit::kSystemFact);
    return stat ? zq::utility::bootTimeFromProcStat(*stat) : 0.0;
}

QString GetCpuRamStates() {
    const QString tool = zq::utility::processInfoToolPath();
    if (!QFileInfo::exists(tool)) {
        ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("cpuState is null"));
        return QString();
    }
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(tool, {QStringLiteral("g")});
    QByteArray errorOutput;
    if (process.waitForStarted()) {
        if (!process.waitForFinished(kProcessInfoToolTimeoutMs)) {
            qCWarning(lcUtility) << "process-information tool did not finish, stopped";
            process.kill();
            process.waitForFinished(1000);
        }
        errorOutput = process.readAllStandardError();
    } else {
        qCWarning(lcUtility) << "cannot start the process-information tool:"
                             << process.errorString();
    }
    const QString states = zq::utility::cpuRamStatesFromToolOutput(errorOutput);
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("cpuState"), states);
    return states;
}

QString GetHardwareModel() {
    return *g_hardwareModel.get([]() -> std::optional<QString> {
        const QString root = platform::Locations::systemRoot();
        // The DMI product name on PCs; the device-tree model on boards.
        for (const QString& source : {root + QStringLiteral("/sys/class/dmi/id/product_name"),
                                      root + QStringLiteral("/proc/device-tree/model")}) {
            if (QFileInfo::exists(source)) {
                return zq::utility::hardwareStringFromBytes(readSmallFile(source));
            }
        }
        return zq::utility::hardwareStringFromBytes({});
    });
}

QString GetHardwareArchitecture() {
    const QString machine = *g_hardwareMachine.get([]() -> std::optional<QString> {
        struct utsname names {};
        if (::uname(&names) != 0) {
            return zq::utility::hardwareStringFromBytes({});
        }
        return zq::utility::hardwareStringFromBytes(QByteArray(names.machine));
    });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("arch"), machine);
    return machine;
}

std::optional<qint64> GetFileSize(const QString& path) {
    const QFileInfo info(zq::utility::expandTilde(path));
    if (!info.exists()) {
        ZQ_RUN_LOG(ZQLogType::Utility, QStringLiteral("size = nil"));
        return std::nullopt;
    }
    const qint64 size = info.size();
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("size"), size);
    return size;
}
