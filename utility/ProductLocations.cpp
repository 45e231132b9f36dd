#include "utility/ProductLocations.h"

#include "log/ZQLogManager.h"
#include "platform/Locations.h"
#include "utility/ProcessCache.h"

#include <QDir>
#include <QFileInfo>

namespace {

zq::utility::ProcessCache<QString> g_userFolder("IMUserFolder");
zq::utility::ProcessCache<QString> g_userPath("IMUserPath");
zq::utility::ProcessCache<QString> g_addressBookPath("AddressBookPath");

}  // namespace

namespace zq::utility {

QString imUserFolderPath() {
    // The platform's per-user application-support folder always exists on
    // Linux ($XDG_DATA_HOME, else ~/.local/share); the input method's
    // "<home>/Library/Application Support" form maps onto the same folder.
    const QString support = platform::Locations::appSupportDir();
    if (!support.isEmpty()) {
        return QDir::cleanPath(QDir(support).filePath(QStringLiteral("Vesko/InputMethod")));
    }
    return platform::Locations::homeDir() +
           QStringLiteral("/Library/Application Support/Vesko/InputMethod");
}

QString installedBundleRoot() {
    return platform::Locations::installRoot();
}

QString bundleContentsFolder() {
    return installedBundleRoot() + QStringLiteral("/Contents");
}

QString bundleContentsPath(const QString& name) {
    return bundleContentsFolder() + u'/' + name;
}

QString infoPlistPath() {
    return bundleContentsPath(QStringLiteral("Info.plist"));
}

QString processInfoToolPath() {
    return bundleContentsPath(QStringLiteral("VeskoProcessInfo"));
}

QString updateInfoPlistPath() {
    return bundleContentsPath(QStringLiteral("updateInfo.plist"));
}

QString pluginFolder() {
    return expandProductPath(QString::fromLatin1(kDesignPluginFolder));
}

QString userDataFolder() {
    return ZQGetUserLibAppSupportFolder() + QStringLiteral("/VeskoPY");
}

QString userDataFilePath(const QString& name) {
    return userDataFolder() + u'/' + name;
}

QString accountFolderRoot() {
    return expandProductPath(
        QStringLiteral("~/Library/Application Support/Vesko/InputMethod/VeskoPY.users"));
}

QString analyticsFolder() {
    return expandProductPath(
        QStringLiteral("~/Library/Application Support/Vesko/InputMethod/Tessel/"));
}

QString sharedDataFolder() {
    return platform::Locations::sharedDataDir();
}

QString tempLogFolder() {
    return platform::Locations::tempLogDir();
}

QString resourcesFolder() {
    return platform::Locations::resourcesDir();
}

QString expandProductPath(const QString& path) {
    return platform::Locations::mapDesignPath(path);
}

QString expandTilde(const QString& path) {
    if (path == u"~" || path.startsWith(QStringLiteral("~/"))) {
        return platform::Locations::homeDir() + path.mid(1);
    }
    return path;
}

bool systemUsesPluginFolder() {
    return true;
}

QString pluginPathFor(const QString& path, bool usesPluginFolder) {
    if (!usesPluginFolder) {
        return path;
    }
    QString candidate = path;
    candidate.replace(QString::fromLatin1(kDesignBundleContents), pluginFolder());
    candidate.replace(bundleContentsFolder(), pluginFolder());
    if (candidate.startsWith(u'~')) {
        // Only "~" is expanded; other paths are taken as they are written.
        candidate = expandProductPath(candidate);
    }
    if (QFileInfo::exists(candidate)) {
        return candidate;
    }
    return path;
}

}  // namespace zq::utility

QString ZQGetUserLibAppSupportFolder() {
    const QString folder = *g_userFolder.get([]() -> std::optional<QString> {
        const QString path = zq::utility::imUserFolderPath();
        if (!QFileInfo::exists(path)) {
            QDir().mkpath(path);  // a failure shows in the first write into it
        }
        return path;
    });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("path"), folder);
    return folder;
}

QString GetUserImPath() {
    const QString path = *g_userPath.get(
        []() -> std::optional<QString> { return ZQGetUserLibAppSupportFolder() + u'/'; });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("path"), path);
    return path;
}

QString GetAddressBookFilePath() {
    const QString path = *g_addressBookPath.get([]() -> std::optional<QString> {
        return QStringLiteral("%1/VeskoPY/%2")
            .arg(ZQGetUserLibAppSupportFolder(), QLatin1String(zq::utility::kAddressBookFileName));
    });
    ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("path"), path);
    return path;
}

QString macOS13NewAppPath(const QString& path) {
    return zq::utility::pluginPathFor(path, zq::utility::systemUsesPluginFolder());
}
