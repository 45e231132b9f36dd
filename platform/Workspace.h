#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

// Launching applications and opening addresses.
namespace platform::Workspace {

// "<bundle>/Contents/MacOS/<bundle name without .app>".
QString executableForBundle(const QString& bundlePath);

// Starts the bundle's executable detached with `arguments`. False (with a
// message) when the executable is missing or cannot be started.
bool launchApplication(const QString& bundlePath, const QStringList& arguments,
                       QString* error = nullptr);

// Opens an address with the desktop's handler without blocking the caller:
// the call returns at once and the opening happens on a later turn of the
// main event loop. `done`, when given, runs on the main thread with the
// outcome, unless `context` was destroyed first.
void openUrl(const QUrl& url, QObject* context = nullptr, std::function<void(bool)> done = {});

// Test seam: replaces the desktop handler (pass {} to restore it).
using UrlOpener = std::function<bool(const QUrl&)>;
void setUrlOpener(UrlOpener opener);

}  // namespace platform::Workspace

namespace platform::ProcessList {

// The command lines of all processes, arguments joined by single spaces
// (/proc/*/cmdline). Processes that end while being read are skipped.
QStringList commandLines();

}  // namespace platform::ProcessList
