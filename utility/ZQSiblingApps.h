#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <optional>

// The one protocol by which the input method's processes open a page in one
// another: when the target process runs, it is sent a distributed notification
// with a payload; when it does not, its application is started with the same
// information as launch arguments. Beside it: the process-exists check that
// makes the choice, the two notification helpers, opening addresses, running
// a shell command with administrator rights, the background-approval queries,
// and the client of the input method's notify server ("VESKO_NOTIFY_SERVER").
//
// On Linux:
//   process list         the command lines of all processes (/proc), searched
//                        for the process-table text, with the input method's
//                        bundle root resolved to the install root
//   notifications        platform::DistributedNotificationCenter (D-Bus)
//   launching            platform::Workspace::launchApplication of the bundle's
//                        executable, the bundle path mapped by macOS13NewAppPath
//   running skin shop    an owner of the session-bus name "com.vesko.ZQSkinManager",
//                        brought to the front with org.freedesktop.Application.Activate
//   administrator rights polkit's pkexec running /bin/sh -c COMMAND
//   notify server        bus name com.vesko.NotifyServer, object path "/",
//                        interface com.vesko.NotifyVeskoInputProtocol
//
// The openers and isVeskoProcessExist run on the caller's thread and read the
// process list before they return. Run-log entries use log type 29.

// Whether the process of table entry `index` (1 to 14) runs. False for any
// other index, without reading the process list.
bool isVeskoProcessExist(qint64 index);

// Posts on the distributed (cross-process) centre; none is an empty payload.
// Failures of the bus are dropped.
void SendDistributedNotification(const QString& name,
                                 const std::optional<QVariantMap>& payload = std::nullopt);
// The same on the in-process centre.
void SendNotification(const QString& name,
                      const std::optional<QVariantMap>& payload = std::nullopt);

// Opens page `pageIndex` of this application: 0 "ZQAbout", 1 "ZQDebugMode",
// 2 "ZQContactAuthorize", 3 "ZQFeedbackWindowController"; any other index does nothing.
void CallZQAssistantPanelPage(qint64 pageIndex);
// The permission guidance page for accessibility with the action and type.
void CallAccessibilityAuthorizeToVeskoPreference(qint64 action, qint64 type);
// The preference application on the tab of "keyPreferenceTab".
void CallPreferenceToVeskoPreference(const QVariantMap& parameters);
// The update detail page. A null packagePath is sent as empty text when the
// application runs; the caller gives all three when it may have to be started.
void CallUpdateDetailToVeskoPreference(const QString& packagePath, const QString& mode,
                                       const QString& version);
// The input statistics panel. When it has to be started, it gets the value of
// "keyInputStatTab" as its one argument (no argument when that key is absent).
void CallInputStatPanel(const QVariantMap& parameters);
// The screenshot text recognition tool: the notification `name`, or the launch
// argument "-name".
void CallScreenshotApp(const QString& name);
// The permission guidance page with an authorisation type and its source.
void CallAuthPanel(qint64 type, qint64 sourceType);
// The skin shop, started from `launchFrom` with an address to show.
void CallSkinShopApp(qint64 launchFrom, const QString& urlString);
// Opens the screen-recording privacy settings (the security pane first when
// the system settings application runs), through the settings-page table.
void CallSystemScreenRecordAuth();
// "com.vesko.ZQSkinManager".
QString VeskoSkinShopBundleIdentifier();

// True when the whole text matches "[a-zA-z]+://.*" (the character range is
// A to lower-case z, as the input method has always written it).
bool isUrlAddress(const QString& text);
// Opens the text with the desktop's handler: "http://" is put in front of a
// text that is not an address, and every character outside the URL-query
// set is percent-encoded (an existing "%" becomes "%25"). Returns at once.
void OpenUrlWithUrlString(const QString& text);

// Runs `command` with administrator rights (/bin/sh -c command, through
// pkexec, which asks the user to authenticate). True when it ran and exited
// with status 0. On the GUI thread the wait runs a local event loop, so
// windows keep painting and timers keep firing while the user answers;
// on other threads the call simply blocks.
bool doAppleScript(const QString& command);

// Asks the input method to upload the user's settings:
// "kVeskoNotifySyncConfigClosePreference" with {"sync_setting": true,
// "sync_phrase": false, "sync_expression": false}.
void sendNotificationUploadUserSettings();

// Whether the input method's background agents wait for the user's approval
// to run in the background: the desktop's Background portal holds the user's
// refusal for their application id (utility/ZQPermissions.h). False where the
// desktop has no Background portal. A bounded D-Bus round trip.
class ZQAuthUtility {
public:
    static bool veskoServiceRequireApprovalInBackground();
    static bool veskoTaskManagerRequireApprovalInBackground();
};

// Client of the input method's notify server, the object it registers as
// "VESKO_NOTIFY_SERVER" and through which other processes record statistics
// inside it. Each protocol operation is one D-Bus method of the same name
// (the parts of a multi-part operation name after the first are dropped:
// "getFirstResultWithPy:hanzi:" is the method getFirstResultWithPy).
class ZQNotifyVeskoInputProxy {
public:
    static constexpr const char* kRegisteredName = "VESKO_NOTIFY_SERVER";
    static constexpr const char* kService = "com.vesko.NotifyServer";
    static constexpr const char* kPath = "/";
    static constexpr const char* kInterface = "com.vesko.NotifyVeskoInputProtocol";
    // Bound of a round trip to the server, and of the bus's answer whether
    // the server runs.
    static constexpr int kCallTimeoutMs = 3000;
    static constexpr int kLookupTimeoutMs = 1000;

    explicit ZQNotifyVeskoInputProxy(const QDBusConnection& bus);

    // The protocol's operations as method names, in the protocol's order.
    static const QStringList& protocolOperations();
    // Whether the protocol declares `operation`.
    bool respondsToOperation(const QString& operation) const;

    // Sends the call without waiting for the answer and without starting
    // the server; an absent or broken server is not reported. False only
    // when the message could not be queued (no bus, undeclared operation).
    bool send(const QString& operation, const QVariantList& arguments = {}) const;

    // A round trip bounded by timeoutMs: the reply's values (a variant
    // unwrapped to the value it carries), or none on any
    // failure (no server, unknown method, error reply, timeout). Blocks the
    // calling thread; the operations this application uses go through send().
    std::optional<QVariantList> call(const QString& operation, const QVariantList& arguments = {},
                                     int timeoutMs = kCallTimeoutMs) const;

    // Whether the server's bus name has an owner, asked with a bounded wait.
    static bool isServerRunning(const QDBusConnection& bus, int timeoutMs = kLookupTimeoutMs);

    QDBusConnection connection() const { return _bus; }

private:
    QDBusConnection _bus;
};

// The process-wide client of the notify server on the session bus, or null
// when the server is not running. Once found it is kept for the life of the
// process (it follows the bus name, so a restarted server is reached again);
// an unsuccessful lookup is repeated on the next call.
ZQNotifyVeskoInputProxy* getVeskoInputServerDistantObject();
// Click statistics recorded inside the input method; silently lost when it
// does not run. Neither waits for the server.
void clickCommitFeedbackStatistics();
void clickCommitEvalutionStatistics();

namespace zq::utility {

// Notification names and payload keys of the protocol.
inline constexpr const char* kNotifyLoadXibInZQAssistPanel = "kVeskoNotifyLoadXibInZQAssistPanel";
inline constexpr const char* kNotifyChangeViewInVeskoPreference =
    "kVeskoNotifyChangeViewInVeskoPreference";
inline constexpr const char* kNotifyChangeViewInInputStat = "kVeskoNotifyChangeViewInInputStat";
inline constexpr const char* kNotifyLaunchSkinShop = "kVeskoNotifyLaunchSkinShop";
inline constexpr const char* kNotifySyncConfigClosePreference =
    "kVeskoNotifySyncConfigClosePreference";
inline constexpr const char* kPreferencesXibNameKey = "kVeskoPreferencesXibName";

// Bundle paths of the sibling applications, in the input method's own terms.
inline constexpr const char* kAssistPanelBundle =
    "/Library/Input Methods/VeskoInput.app/Contents/ZQAssistPanel.app";
inline constexpr const char* kPreferenceBundle =
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoPreference.app";
inline constexpr const char* kInputStatPanelBundle =
    "/Library/Input Methods/VeskoInput.app/Contents/ZQInputStatPanel.app";
inline constexpr const char* kTextRecognitionBundle =
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoTextRecognition.app";
inline constexpr const char* kSkinManagerBundle =
    "/Library/Input Methods/VeskoInput.app/Contents/ZQSkinManager.app";

// Settings panes of the other desktop system that the openers show.
inline constexpr const char* kSecurityPaneFile =
    "/System/Library/PreferencePanes/Security.prefPane";
inline constexpr const char* kScreenCapturePrivacyAddress =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

// Page name of CallZQAssistantPanelPage's index, or a null string.
QString assistPanelPageName(qint64 pageIndex);

// The process-table text of `index` as the input method writes it, or a null
// string outside 1 to 14.
QString processTableText(qint64 index);
// The text searched for on this machine: processTableText with the input
// method's bundle root resolved to the install root.
QString processSearchText(qint64 index);
// The decision of isVeskoProcessExist over a given process list text (one
// command line per line). `touchBarServerCounts` is the system-version
// condition under which "TouchBarServer" stands in for index 6.
bool processListShows(const QString& processListText, qint64 index, bool touchBarServerCounts);

// The address OpenUrlWithUrlString opens for `text`.
QUrl urlForUrlString(const QString& text);
// `text` with every character outside the URL-query set percent-encoded
// (UTF-8), the set being letters, digits and !$&'()*+,-./:;=?@_~.
QByteArray percentEncodeForUrlQuery(const QString& text);

// The key of a settings address in the settings-page table (ZQSettingsPanes.h):
// the part after "?" of an "x-apple.systempreferences:" address, else the
// part after ":"; the file name of a pane file; any other text as it is.
QString settingsPaneName(const QString& designAddress);

// Runs `command` with administrator rights without blocking: `done` runs on
// `context`'s thread with true when the command exited with status 0, unless
// `context` was destroyed first. Call it on `context`'s thread.
void runPrivilegedCommand(const QString& command, QObject* context, std::function<void(bool)> done);
// The program that grants administrator rights and then runs its arguments
// ("pkexec" by default). Test seam: pass an empty list to restore the default.
void setPrivilegeHelper(const QStringList& programAndArguments);
QStringList privilegeHelper();

}  // namespace zq::utility
