#include "help/ZipPaths_p.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace {

// A relative name with no ".." component stays inside the folder it is
// joined to. Expects "/" separators only.
bool isContainedName(const QString& name) {
    if (name.isEmpty() || name.startsWith(u'/')) {
        return false;
    }
    const QStringList parts = name.split(u'/');
    for (const QString& part : parts) {
        if (part == u"..") {
            return false;
        }
    }
    return true;
}

// True when path, once symbolic links are resolved, is folder or lies below it.
bool resolvesInside(const QString& path, const QString& folder) {
    const QString canonicalFolder = QFileInfo(folder).canonicalFilePath();
    const QString canonicalPath = QFileInfo(path).canonicalFilePath();
    if (canonicalFolder.isEmpty() || canonicalPath.isEmpty()) {
        return false;
    }
    if (canonicalPath == canonicalFolder) {
        return true;
    }
    const QString prefix =
        canonicalFolder.endsWith(u'/') ? canonicalFolder : canonicalFolder + u'/';
    return canonicalPath.startsWith(prefix);
}

}  // namespace

namespace zq::help::detail {

Placement prepareFolder(const QString& folder, const QString& name, const QString& folderToMake) {
    if (!isContainedName(name)) {
        return Placement::Outside;
    }
    if (!QDir().mkpath(folder)) {
        return Placement::CannotCreate;
    }
    QString probe = folderToMake;
    while (!QFileInfo::exists(probe) && !QFileInfo(probe).isSymLink()) {
        const QString up = QFileInfo(probe).path();
        if (up == probe) {
            break;
        }
        probe = up;
    }
    if (!resolvesInside(probe, folder)) {
        return Placement::Outside;
    }
    if (!QDir().mkpath(folderToMake)) {
        return Placement::CannotCreate;
    }
    return resolvesInside(folderToMake, folder) ? Placement::Inside : Placement::Outside;
}

}  // namespace zq::help::detail
