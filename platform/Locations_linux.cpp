#include "platform/Locations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace platform::Locations {
namespace {

QString fromEnv(const char* name) {
    return QString::fromLocal8Bit(qgetenv(name));
}

QString withoutTrailingSlash(QString path) {
    while (path.size() > 1 && path.endsWith(u'/')) {
        path.chop(1);
    }
    return path;
}

}  // namespace

QString homeDir() {
    const QString home = fromEnv("HOME");
    return withoutTrailingSlash(home.isEmpty() ? QDir::homePath() : home);
}

QString appSupportDir() {
    QString dir = fromEnv("XDG_DATA_HOME");
    if (dir.isEmpty() || QDir::isRelativePath(dir)) {
        dir = homeDir() + QStringLiteral("/.local/share");
    }
    dir = withoutTrailingSlash(dir);
    QDir().mkpath(dir);
    return dir;
}

QString installRoot() {
    const QString root = fromEnv("VESKO_INSTALL_ROOT");
    return withoutTrailingSlash(root.isEmpty() ? QStringLiteral("/opt/vesko/VeskoInput.app")
                                               : root);
}

QString sharedDataDir() {
    const QString dir = fromEnv("VESKO_SHARED_DATA");
    return withoutTrailingSlash(dir.isEmpty() ? QStringLiteral("/var/lib/vesko/InputMethod/VeskoPY")
                                              : dir);
}

QString tempLogDir() {
    const QString tmp = fromEnv("TMPDIR");
    return withoutTrailingSlash(tmp.isEmpty() ? QStringLiteral("/tmp") : tmp) +
           QStringLiteral("/com.vesko.inputmethod");
}

QString systemRoot() {
    return withoutTrailingSlash(fromEnv("VESKO_SYSTEM_ROOT"));
}

QString osReleasePath() {
    return systemRoot() + QStringLiteral("/etc/os-release");
}

QString machineIdPath() {
    return systemRoot() + QStringLiteral("/etc/machine-id");
}

QString resourcesDir() {
    const QString configured = fromEnv("VESKO_RESOURCES");
    if (!configured.isEmpty()) {
        return withoutTrailingSlash(configured);
    }
    if (QCoreApplication::instance()) {
        const QString bundled = QDir::cleanPath(QCoreApplication::applicationDirPath() +
                                                QStringLiteral("/../Resources"));
        if (QFileInfo(bundled).isDir()) {
            return bundled;
        }
    }
    return QStringLiteral(ZQ_SOURCE_RESOURCES);
}

QString pluginsDir() {
    const QString configured = fromEnv("VESKO_PLUGINS");
    if (!configured.isEmpty()) {
        return withoutTrailingSlash(configured);
    }
    if (QCoreApplication::instance()) {
        const QString beside =
            QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../PlugIns"));
        if (QFileInfo(beside).isDir()) {
            return beside;
        }
    }
    return QStringLiteral(ZQ_BUILD_PLUGINS);
}

QString mapDesignPath(const QString& path) {
    struct Prefix {
        QString design;
        QString (*actual)();
    };
    static const Prefix prefixes[] = {
        {QStringLiteral("/Library/Input Methods/VeskoInput.app"), &installRoot},
        {QStringLiteral("/Library/Application Support/Vesko/InputMethod/VeskoPY"), &sharedDataDir},
        {QStringLiteral("/private/tmp/com.vesko.inputmethod"), &tempLogDir},
        {QStringLiteral("~/Library/Application Support"), &appSupportDir},
    };
    for (const Prefix& prefix : prefixes) {
        if (path == prefix.design || path.startsWith(prefix.design + u'/')) {
            return prefix.actual() + path.mid(prefix.design.size());
        }
    }
    const QString homeSupport = homeDir() + QStringLiteral("/Library/Application Support");
    if (path == homeSupport || path.startsWith(homeSupport + u'/')) {
        return appSupportDir() + path.mid(homeSupport.size());
    }
    if (path == u"~" || path.startsWith(QStringLiteral("~/"))) {
        return homeDir() + path.mid(1);
    }
    return path;
}

}  // namespace platform::Locations
