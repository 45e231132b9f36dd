#pragma once

#include <QString>
#include <QVariantMap>

#include <compare>
#include <optional>

// Which input method is installed, on which system, on which machine.
//
// The values are the common fields of the service requests ("v", "os",
// "mac_model") and are returned as text, exactly as read. Cached values are
// filled on the first successful use (thread-safe) and kept for the process's
// life; a value that could not be read is looked up again on the next call,
// except the hardware strings, whose "Unknown" default is kept.
//
// Sources on Linux:
//   info dictionary     <install root>/Contents/Info.plist
//   system version      $VESKO_SYSTEM_ROOT/System/Library/CoreServices/SystemVersion.plist when
//                       present, else VERSION_ID / BUILD_ID of os-release
//   boot time           "btime" of /proc/stat
//   hardware model      DMI product name, else the device-tree model
//   hardware machine    uname's machine field
//   cpu architecture    the running CPU's architecture as Qt names it

// The installed input method's info dictionary (cached), or none. Run log: "beg".
std::optional<QVariantMap> GetInfoDictionary();
// Boolean values of "ZQVersionForPreviewTest" / "ZQVersionForInternalTest" (absent: false).
bool ZQInputMethodIsPreviewTestVersion();
bool ZQInputMethodIsInternalTestVersion();
// "CFBundleFullVersion" of the cached dictionary (cached).
std::optional<QString> GetInputMethodVersion();
// "CFBundleFullVersion" read afresh from the file. Run log: "fullVersion".
std::optional<QString> GetCurrentInputMethodVersion();
// "CFBundleInfoDictionaryVersion" (cached). Run log: "coreVersion".
std::optional<QString> GetInputMethodCoreVersion();
// "ZQBuildDate" (cached). Run log: "buildDate".
std::optional<QString> GetInputMethodBuildDate();
// This program's build date and time, "Apr 16 2025 16:21:47". Run log: "compileTime".
QString GetCompileTime();
// The system's "ProductVersion" (cached), e.g. "14.5" or "12".
std::optional<QString> GetSystemVersion();
// "ProductVersion(ProductBuildVersion)", not cached; none without a product
// version; the build part is empty when the system has none. Run log: "fullVersion".
std::optional<QString> GetPlatformVersion();
// Version tests of the running system; an unreadable system version counts as equal.
bool isCurrentSystemVersionLargerThanOrEqualTo(const QString& version);
bool isCurrentSystemVersionLowerThanOrEqualTo(const QString& version);
// True when the installed version is lower than the remote one (trimmed).
bool VeskoInputNeedUpdate(const QString& remoteVersion);
// Architecture of the running machine (cached once non-empty); empty when unknown.
QString GetCpuArchitecture();
// Boot time in seconds since 1970; 0 when unknown.
double GetSystemBootTime();
// The "&..." tail of the process-information tool's standard error, or empty
// text. Blocks until the tool exits: never call it on the GUI thread.
QString GetCpuRamStates();
// Hardware model and machine (cached), "Unknown" when unreadable.
QString GetHardwareModel();
QString GetHardwareArchitecture();
// Size in bytes of the item at path ("~" expanded), or none.
std::optional<qint64> GetFileSize(const QString& path);

namespace zq::utility {

// Numeric string comparison: runs of decimal digits compare by value (leading
// zeros do not count), other characters by code, and a text that is an equal
// prefix of the other is the lower one.
std::strong_ordering compareVersions(const QString& a, const QString& b);

// The text of a hardware string read into a 128-byte buffer: "Unknown" when
// empty or when it does not fit with its terminator (more than 127 bytes).
// Trailing NULs and line ends are not part of the value.
QString hardwareStringFromBytes(const QByteArray& raw);

// The "&..." tail of the process-information tool's output, or empty text.
QString cpuRamStatesFromToolOutput(const QByteArray& stderrOutput);

// Values of an os-release file (KEY=VALUE lines, values optionally quoted).
QVariantMap parseOsRelease(const QByteArray& content);

// Seconds of the "btime" line of /proc/stat content; 0 when missing.
double bootTimeFromProcStat(const QByteArray& content);

}  // namespace zq::utility
