#pragma once

#include <QString>

// The input method's places on this machine, and the names of its files.
//
// The input method's own texts ("/Library/Input Methods/VeskoInput.app",
// "~/Library/Application Support/...") are resolved through
// platform::Locations, so every user path has one answer whichever form a
// caller writes it in:
//   GetUserImPath() + "VeskoPY/" + name
//   ZQGetUserLibAppSupportFolder() + "/VeskoPY/" + name
//   expandProductPath("~/Library/Application Support/Vesko/InputMethod/VeskoPY/" + name)
// all name the same file.
//
// The folder values are computed once per process on first use (the first
// computation is thread-safe) and never change afterwards.

// The IM user folder: <application support>/Vesko/InputMethod, created when
// missing, never with a trailing "/". Writes the run-log entry "path".
QString ZQGetUserLibAppSupportFolder();

// The IM user folder followed by exactly one "/". Writes the run-log entry "path".
QString GetUserImPath();

// <user data folder>/peopleArray.book. Writes the run-log entry "path".
QString GetAddressBookFilePath();

// The path to use for an installed sibling application: when the per-user
// plugin folder holds the same bundle, that copy; otherwise `path` unchanged.
// Accepts both the input method's own text of the bundle contents and its
// location on this machine.
QString macOS13NewAppPath(const QString& path);

namespace zq::utility {

// File names in the user data folder.
inline constexpr const char* kUUIDFileName = ".uuid.dat";
inline constexpr const char* kAddressBookFileName = "peopleArray.book";
inline constexpr const char* kAuthContactsFileName = ".authContacts";
inline constexpr const char* kContactHistoryFileName = "contactHistory.plist";
inline constexpr const char* kLogConfigFileName = "logConfig.plist";
inline constexpr const char* kCrashFolderName = "crash";
inline constexpr const char* kPerfFolderName = "Perf";
inline constexpr const char* kAccountsFileName = "accs.dat";

// The input method's texts of its fixed places, as other processes write them.
inline constexpr const char* kDesignBundleRoot = "/Library/Input Methods/VeskoInput.app";
inline constexpr const char* kDesignBundleContents =
    "/Library/Input Methods/VeskoInput.app/Contents";
inline constexpr const char* kDesignPluginFolder = "~/Library/Application Support/Vesko/Plugins";
inline constexpr const char* kDesignTempLogFolder = "/private/tmp/com.vesko.inputmethod";

// The IM user folder's path, computed afresh: neither created nor logged nor
// cached. <application support>/Vesko/InputMethod.
QString imUserFolderPath();

// Installed bundle root and its "Contents" folder.
QString installedBundleRoot();
QString bundleContentsFolder();
// bundleContentsFolder() + "/" + name (before macOS13NewAppPath is applied).
QString bundleContentsPath(const QString& name);
// The installed input method's "Info.plist", "VeskoProcessInfo", "updateInfo.plist".
QString infoPlistPath();
QString processInfoToolPath();
QString updateInfoPlistPath();

// Per-user plugin folder: <application support>/Vesko/Plugins.
QString pluginFolder();
// <IM user folder>/VeskoPY, and a file in it.
QString userDataFolder();
QString userDataFilePath(const QString& name);
// <application support>/Vesko/InputMethod/VeskoPY.users
QString accountFolderRoot();
// <application support>/Vesko/InputMethod/Tessel/ (with the trailing "/").
QString analyticsFolder();
// The all-users data folder.
QString sharedDataFolder();
// The temporary log folder.
QString tempLogFolder();
// This application's resource folder.
QString resourcesFolder();

// Resolves a path written in the input method's own terms ("~/...",
// "/Library/Input Methods/VeskoInput.app/...", "/private/tmp/com.vesko.inputmethod/...")
// onto this machine; any other path comes back unchanged.
QString expandProductPath(const QString& path);

// A leading "~" (alone or before "/") replaced by the home folder.
QString expandTilde(const QString& path);

// Whether the running system keeps sibling applications in the per-user
// plugin folder. Always true on Linux: there is no older layout to honour,
// and a plugin copy is used only when it exists.
bool systemUsesPluginFolder();

// The mapping of macOS13NewAppPath with the system question answered by the
// caller: candidate = path with every bundle-contents prefix replaced by
// pluginFolder(); the candidate when something exists there, else path.
QString pluginPathFor(const QString& path, bool systemUsesPluginFolder);

}  // namespace zq::utility
