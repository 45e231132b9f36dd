#pragma once

#include <QString>

// Where the platform keeps things, with the environment overrides that tests
// and packagers use. Every value is read from the environment on each call, so
// a test can point a variable at a temporary folder before the first use of
// the higher-level (cached) product locations.
namespace platform::Locations {

// $HOME.
QString homeDir();
// Per-user application-support folder: $XDG_DATA_HOME, else ~/.local/share.
// Created when missing.
QString appSupportDir();
// Installed input-method bundle root: $VESKO_INSTALL_ROOT, else /opt/vesko/VeskoInput.app.
QString installRoot();
// All-users data folder: $VESKO_SHARED_DATA, else /var/lib/vesko/InputMethod/VeskoPY.
QString sharedDataDir();
// Temporary log folder: $TMPDIR/com.vesko.inputmethod, else /tmp/com.vesko.inputmethod.
QString tempLogDir();
// Root under which the system version file is looked for ($VESKO_SYSTEM_ROOT, else "").
QString systemRoot();
// /etc/os-release, below $VESKO_SYSTEM_ROOT when that is set.
QString osReleasePath();
// /etc/machine-id, below $VESKO_SYSTEM_ROOT when that is set.
QString machineIdPath();
// This application's resource folder: $VESKO_RESOURCES, else
// <executable dir>/../Resources (the installed bundle), else the source tree's
// resources/ folder baked in at build time (for running from the build tree).
QString resourcesDir();
// This application's modules (page modules, the change-log view): $VESKO_PLUGINS,
// else <executable dir>/../PlugIns (the installed bundle and the build tree).
QString pluginsDir();

// Maps a path written in the input method's own terms onto this machine:
// "/Library/Input Methods/VeskoInput.app" -> installRoot(),
// "/Library/Application Support/Vesko/InputMethod/VeskoPY" -> sharedDataDir(),
// "/private/tmp/com.vesko.inputmethod" -> tempLogDir(),
// "~/Library/Application Support" and "<home>/Library/Application Support" -> appSupportDir(),
// a leading "~" -> homeDir(). Anything else comes back unchanged.
QString mapDesignPath(const QString& path);

}  // namespace platform::Locations
