#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

// The settings pages the input method sends the user to, on this desktop.
//
// The input method names a settings page by the other desktop system's
// address ("x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone",
// "/System/Library/PreferencePanes/Security.prefPane"). The deployment
// configuration maps each address to this desktop's own page:
//
//   [SettingsPanes.GNOME]                    one section per desktop, named as
//   Privacy_Microphone=gnome-control-center microphone    XDG_CURRENT_DESKTOP names it
//   [SettingsPanes.KDE]
//   Privacy_Microphone=systemsettings kcm_pulseaudio
//   [SettingsPanes]                          any desktop (after the desktop's own section)
//   Privacy_Microphone=https://example.org/how-to-allow-the-microphone
//
// The key is the address's pane name (settingsPaneName). A value beginning
// with "/" or holding "://" is an address opened with the desktop's handler;
// any other value is a command line (program and arguments separated by
// blanks). An empty value means "nothing on this desktop"
// and ends the search. Without an entry there is no handler: the caller shows
// the address so that the user can act on it.
//
// Every opener of the input method's settings pages goes through this table.
namespace zq::utility {

// Settings addresses of the input method, in its own terms.
inline constexpr const char* kAccessibilityPrivacyAddress =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
inline constexpr const char* kContactsPrivacyAddress =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Contacts";
inline constexpr const char* kMicrophonePrivacyAddress =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
inline constexpr const char* kLoginItemsAddress =
    "x-apple.systempreferences:com.apple.LoginItems-Settings.extension";
// kScreenCapturePrivacyAddress and kSecurityPaneFile: utility/ZQSiblingApps.h.

// What an address resolves to on this desktop.
struct SettingsPaneTarget {
    enum class Kind { None, Command, Address };

    Kind kind = Kind::None;
    QString designAddress;  // the address as the input method gave it
    QString name;           // its key in the table
    QString section;        // the configuration section that answered ("" when none)
    QStringList command;    // program and arguments (Kind::Command)
    QUrl url;               // (Kind::Address)

    // The text to show the user: the command line, the address, or (with no
    // handler) the input method's address itself.
    QString displayText() const;
};

// The desktops of XDG_CURRENT_DESKTOP (colon-separated), in order; empty when unset.
QStringList currentDesktops();

// Resolves through the configuration's table for `desktops` (default: the
// current ones). Desktop sections, named exactly as the desktop is, are tried in
// order, then the generic [SettingsPanes] section.
SettingsPaneTarget resolveSettingsPane(const QString& designAddress);
SettingsPaneTarget resolveSettingsPane(const QString& designAddress, const QStringList& desktops);

// Outcome of opening: whether a handler was started (a command's program was
// started, or the desktop accepted the address), and what was resolved.
using SettingsPaneDone = std::function<void(bool started, const SettingsPaneTarget& target)>;

// Opens the address's page without blocking: returns at once; the command is
// started detached (or the address handed to the desktop) on a later turn of
// the event loop of `context`'s thread (the application's when none), and
// `done` runs there afterwards, unless `context` was destroyed first. With no
// handler, `done` gets false and nothing is started.
void openSettingsPane(const QString& designAddress, QObject* context = nullptr,
                      SettingsPaneDone done = {});

}  // namespace zq::utility
