#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// The permissions the input method needs and the light or dark decision of
// its default skin, answered by this desktop. docs/permissions.md gives the
// rule behind each answer.
//
//   accessibility      the accessibility bus: org.a11y.Status IsEnabled
//                      (object /org/a11y/bus of org.a11y.Bus, session bus)
//   screen recording   X11: true. Wayland: true when the desktop portal offers
//                      monitor capture (org.freedesktop.portal.ScreenCast
//                      AvailableSourceTypes has bit 1); no session: false
//   capture request    a ScreenCast portal session (create, select a monitor,
//                      start, close), under Wayland only
//   appearance         org.freedesktop.portal.Settings "org.freedesktop.appearance"
//                      "color-scheme" (1 dark, 2 light); without an answer the
//                      desktop's own files: KDE's kdeglobals, else GTK's settings.ini
//   bundle writes      the two probe files in the installed bundle
//
// Every D-Bus question is bounded (kDesktopQueryTimeoutMs) and an unanswered
// one counts as "no": a missing portal never hangs the caller. The
// synchronous functions wait at most that long; pages use the asynchronous
// forms in zq::utility, whose answers arrive on the caller's thread.

bool isAccessibilityEnabled();
// Opens the accessibility settings page when the permission is missing (the
// security page first while the system settings application runs). True.
bool openAccessibilityPane();
bool isScreenRecordEnabled();
// Makes the desktop ask the user for screen recording: under Wayland, a
// ScreenCast portal session that is closed once the user has answered.
// Returns at once; needs the calling thread's event loop.
void sendTriggerScreenCapture();
// Whether this user may write into the installed bundle (two probe files,
// written atomically and removed again). Never creates a folder.
bool hasAppWriteAuth();

// The appearance decision, kept for the process ("light" or "dark").
void resetFacadeMode();
void resetFacadeModeParamNil();
// mode 0 follows the desktop, 1 is always light, 2 always dark.
bool hasDarkMode(qint64 mode);
// 0 light, 1 dark, 2 automatic (the desktop switches by itself).
qint64 sysFacadePreferenceSetting();
// Only the default skin ("...Vesko输入法默认皮肤") is ever dark.
bool hasSkinDarkMode(const QString& skinName, qint64 mode);

namespace zq::utility {

inline constexpr int kDesktopQueryTimeoutMs = 3000;
inline constexpr const char* kDefaultSkinSuffix = "Vesko输入法默认皮肤";
inline constexpr const char* kWriteProbeRoot = "/Library/Input Methods/VeskoInput.app/test.plist";
inline constexpr const char* kWriteProbeContents =
    "/Library/Input Methods/VeskoInput.app/Contents/test.plist";

enum class SessionType { None, X11, Wayland };
// XDG_SESSION_TYPE ("x11", "wayland"); otherwise WAYLAND_DISPLAY, then DISPLAY.
SessionType currentSessionType();

// The desktop's answers on `bus`; none when the service does not answer.
std::optional<bool> accessibilityBusEnabled(const QDBusConnection& bus);
std::optional<uint> portalColorScheme(const QDBusConnection& bus);
std::optional<uint> screenCastSourceTypes(const QDBusConnection& bus);
// The version property of a portal interface, none when the desktop lacks it.
std::optional<uint> portalInterfaceVersion(const QDBusConnection& bus, const QString& interface);
// The Background portal's stored decision for an application id ("yes", "no",
// "ask"), none when the portal or the decision is missing.
std::optional<QString> backgroundPermission(const QDBusConnection& bus, const QString& appId);

// The desktop's own appearance settings, read from its files.
struct DesktopAppearance {
    std::optional<bool> dark;  // none: the files say nothing
    bool automatic = false;    // the desktop switches between light and dark
};
DesktopAppearance desktopOwnAppearance(const QStringList& desktops);

// The decisions behind the functions above, over given answers.
bool screenRecordAllowed(SessionType session, std::optional<uint> sourceTypes);
bool prefersDark(std::optional<uint> colorScheme, const DesktopAppearance& own);
qint64 facadeSetting(std::optional<uint> colorScheme, const DesktopAppearance& own);

// Everything at once, for pages and tools.
struct DesktopPermissions {
    bool accessibility = false;
    bool screenRecording = false;
    bool appWrite = false;
    bool serviceNeedsApproval = false;
    bool taskManagerNeedsApproval = false;
    qint64 appearanceSetting = 0;
    bool dark = false;
    SessionType session = SessionType::None;
};
DesktopPermissions currentDesktopPermissions();
// The same without blocking: the questions run on a worker thread, `done`
// runs on `context`'s thread, unless `context` was destroyed first.
void queryDesktopPermissions(QObject* context, std::function<void(const DesktopPermissions&)> done);

// Application ids of the input method's background agents.
inline constexpr const char* kServiceAppId = "com.vesko.VeskoServices";
inline constexpr const char* kTaskManagerAppId = "com.vesko.VeskoTaskManager";
// Whether the Background portal holds the user's refusal for `appId`.
bool requiresBackgroundApproval(const QString& appId);

}  // namespace zq::utility
