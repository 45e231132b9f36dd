#pragma once

#include "app/ZQPageController.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class ZQAssistConfig;
class QTimer;
namespace platform {
class DistributedNotificationCenter;
}
namespace zq::app {
class ApplicationService;
}

// The application's delegate: start-up, the choice of the page, and the
// controllers of the page windows.
//
// The process shows one page per request. A request arrives as launch
// arguments ("-" and the page name, then page parameters each behind "-") or,
// while the process runs, as the distributed notification
// "kVeskoNotifyLoadXibInZQAssistPanel" whose payload names the page under
// "kVeskoPreferencesXibName". Page parameters go into the assist config store;
// each page's controller is created on its first request and kept for the
// life of the process. The process ends when its last window closes.
//
// Main thread only.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    struct Dependencies {
        // Where the load notification is observed (default: the session bus centre).
        platform::DistributedNotificationCenter* notificationCenter = nullptr;
        // Where page parameters are stored (default: ZQAssistConfig::sharedInstance()).
        ZQAssistConfig* config = nullptr;
        // Where page controllers come from (default: the global registry).
        const zq::app::PageRegistry* registry = nullptr;
        // Claim com.vesko.ZQAssistPanel and serve org.freedesktop.Application.
        bool serveApplicationInterface = true;
    };

    static constexpr const char* kLoadXibNotification = "kVeskoNotifyLoadXibInZQAssistPanel";
    static constexpr const char* kXibNameKey = "kVeskoPreferencesXibName";
    // First argument of a start by D-Bus activation: wait for the request on the bus.
    static constexpr const char* kServiceModeArgument = "--gapplication-service";

    // `arguments` are the process arguments as the system passed them, index 0
    // being the executable's path.
    explicit AppDelegate(const QStringList& arguments, QObject* parent = nullptr);
    AppDelegate(const QStringList& arguments, const Dependencies& dependencies,
                QObject* parent = nullptr);
    ~AppDelegate() override;

    // The seven page names, exact and case-sensitive.
    static const QStringList& pageNames();
    static bool isPageName(const QString& name);
    // The controller that serves a page name ("ZQAboutWindowController", ...), or "".
    static QString controllerNameForPage(const QString& pageName);

    // "arg0", "arg1", ...: each argument with one leading "-" dropped.
    static QVariantMap argumentDictionary(const QStringList& arguments);

    // Start-up: appearance, the load-notification observer, the arguments and
    // the first page. Emits terminateRequested(0) when there is nothing to show.
    void applicationDidFinishLaunching();
    // Handler of the load notification.
    void loadXibNotification(const QVariantMap& userInfo);
    // Opens, or shows again, the page's window.
    void loadXibName(const QString& pageName);
    // The application stopped being the active one: notifications are delivered at once.
    void applicationDidResignActive();
    void applicationWillTerminate() {}
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

    // Shows every open page window again and activates the application; opens
    // the About page when none is open (org.freedesktop.Application.Activate).
    void activate();

    // The controller of a page, or null while the page has not been requested.
    ZQPageController* controllerForPage(const QString& pageName) const;
    platform::DistributedNotificationCenter* notificationCenter() const { return nc; }
    // Whether any window of the application is visible.
    static bool hasVisibleWindow();
    // Whether a closed or hidden window is still to be looked at (it ends the
    // process if it was the last one).
    bool lastWindowCheckPending() const { return m_checkPending; }

signals:
    // The process should end with this status (main() quits the event loop).
    void terminateRequested(int status);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class ControllerSlot { About, DebugMode, UpdateDetail, AccesAuthorize, Feedback };

    std::unique_ptr<ZQPageController>* slotFor(const QString& pageName);
    ZQPageController* ensureController(const QString& pageName);
    void applyAppearance();
    void startApplicationService();
    void scheduleLastWindowCheck();
    void checkLastWindow(int turnsLeft);
    static void centerOnScreen(QWidget* window);
    static void activateWindow(QWidget* window);

    QStringList m_arguments;
    Dependencies m_deps;

    std::unique_ptr<ZQPageController> aboutController;
    std::unique_ptr<ZQPageController> _debugModeController;
    std::unique_ptr<ZQPageController> UpdateDetailController;
    std::unique_ptr<ZQPageController> accesAuthorizeController;
    std::unique_ptr<ZQPageController> feedbackWindowController;
    platform::DistributedNotificationCenter* nc = nullptr;

    zq::app::ApplicationService* m_service = nullptr;
    QTimer* m_serviceWait = nullptr;
    bool m_checkPending = false;
    bool m_started = false;
};
