#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <utility>
#include <vector>

class QTimer;
class ZQAssistConfig;
class ZQPageController;
namespace platform {
class DistributedNotificationCenter;
}
namespace zq::pagehost {
class PageRegistry;
}
namespace zq::app {
class ApplicationService;
}

// The application's delegate: start-up, the choice of the page, and the
// controllers of the page windows.
//
// The process shows one page per request. A request arrives as launch
// arguments ("-" and the page name, then page parameters each behind "-"),
// as the distributed notification "kVeskoNotifyLoadXibInZQAssistPanel" whose
// payload names the page under "kVeskoPreferencesXibName", or through the
// application's bus interface (org.freedesktop.Application), which hands the
// delegate the same payload. Every request takes one path: its parameters go
// into the assist config store (zq::shell request rules), the page's
// controller is created on its first request and kept for the life of the
// process, the page is shown, and the payload is handed to the controllers
// that were already open. The process ends when its last window closes.
//
// The delegate names no page: pages, their controllers and how each is shown
// come from the request rules and the page registry.
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
        // Where page controllers come from (default: the page modules of this installation).
        const zq::pagehost::PageRegistry* registry = nullptr;
        // Claim com.vesko.ZQAssistPanel and serve org.freedesktop.Application.
        bool serveApplicationInterface = true;
    };

    // First argument of a start by D-Bus activation: wait for the request on the bus.
    static constexpr const char* kServiceModeArgument = "--gapplication-service";
    // The page that activating the application opens when no page is open.
    static constexpr const char* kDefaultPage = "ZQAbout";

    // `arguments` are the process arguments as the system passed them, index 0
    // being the executable's path.
    explicit AppDelegate(const QStringList& arguments, QObject* parent = nullptr);
    AppDelegate(const QStringList& arguments, const Dependencies& dependencies,
                QObject* parent = nullptr);
    ~AppDelegate() override;

    // Start-up: appearance, the load-notification observer, the arguments and
    // the first page. Emits terminateRequested(0) when there is nothing to show.
    void applicationDidFinishLaunching();
    // A load request: the load notification's payload, or the same payload
    // from the bus interface.
    void loadXibNotification(const QVariantMap& userInfo);
    // Opens, or shows again, the page's window.
    void loadXibName(const QString& pageName);
    // The application stopped being the active one: notifications are delivered at once.
    void applicationDidResignActive();
    void applicationWillTerminate() {}
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

    // Shows every open page window again and activates the application; opens
    // the default page when none is open (org.freedesktop.Application.Activate).
    void activate();

    // The controller serving a page name, or null while none has been requested.
    ZQPageController* controllerForPage(const QString& pageName) const;
    platform::DistributedNotificationCenter* notificationCenter() const { return nc; }
    // Whether a closed or hidden window is still to be looked at (it ends the
    // process if it was the last one).
    bool lastWindowCheckPending() const { return _checkPending; }

signals:
    // The process should end with this status (main() quits the event loop).
    void terminateRequested(int status);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The common last step of every channel: shows the page, then hands the
    // payload to the controllers that were open before the request.
    void openRequestedPage(const QString& pageName, const QVariantMap& payload);
    ZQPageController* ensureController(const QString& controllerName);
    void applyAppearance();
    void startApplicationService();
    void stopServiceWait();
    void scheduleLastWindowCheck();
    void checkLastWindow(int turnsLeft);

    QStringList _arguments;
    Dependencies _deps;
    std::unique_ptr<zq::pagehost::PageRegistry> _ownRegistry;

    // The page controllers by controller name, in the order they were made.
    std::vector<std::pair<QString, std::unique_ptr<ZQPageController>>> _controllers;
    platform::DistributedNotificationCenter* nc = nullptr;

    zq::app::ApplicationService* _service = nullptr;
    QTimer* _serviceWait = nullptr;
    bool _checkPending = false;
    bool _started = false;
};
