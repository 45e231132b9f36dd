#pragma once

// Where the reading side may place an archive's entries (not a public API).

#include <QString>

namespace zq::help::detail {

// Where an entry's folder lies, checked before anything is created: the
// nearest existing ancestor must resolve inside the target folder (so a
// symbolic link cannot lead the new folders elsewhere), and so must the folder
// once made.
enum class Placement { Inside, Outside, CannotCreate };

Placement prepareFolder(const QString& folder, const QString& name, const QString& folderToMake);

}  // namespace zq::help::detail
