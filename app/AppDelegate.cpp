#include "app/AppDelegate.h"

#include "app/ApplicationService.h"
#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"
#include "app/host/PageRegistry.h"
#include "app/host/PageWindow.h"
#include "app/host/ZQPageController.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Locations.h"
#include "utility/SystemInfo.h"

#include <QApplication>
#include <QEvent>
#include <QLoggingCategory>
#include <QStyle>
#include <QStyleFactory>
#include <QTimer>
#include <QWidget>

Q_LOGGING_CATEGORY(lcApp, "vesko.app")

namespace {

// How long a process started by D-Bus activation waits for its request.
constexpr int kServiceWaitMs = 25000;

}  // namespace

AppDelegate::AppDelegate(const QStringList& arguments, QObject* parent)
    : AppDelegate(arguments, Dependencies{}, parent) {}

AppDelegate::AppDelegate(const QStringList& arguments, const Dependencies& dependencies,
                         QObject* parent)
    : QObject(parent), _arguments(arguments), _deps(dependencies) {
    if (!_deps.config) {
        _deps.config = ZQAssistConfig::sharedInstance();
    }
    if (!_deps.registry) {
        _ownRegistry = std::make_unique<zq::pagehost::PageRegistry>(
            platform::Locations::pluginsDir() + QStringLiteral("/pages"));
        _deps.registry = _ownRegistry.get();
    }
}

AppDelegate::~AppDelegate() {
    if (qApp) {
        qApp->removeEventFilter(this);
    }
    if (nc) {
        nc->removeObserver(this, QString::fromLatin1(zq::shell::kLoadXibNotification));
    }
    // The page windows go before the delegate's other state, newest first.
    while (!_controllers.empty()) {
        _controllers.pop_back();
    }
}

void AppDelegate::applicationDidFinishLaunching() {
    if (_started) {
        return;
    }
    _started = true;

    // 1. Appearance.
    applyAppearance();

    // 2. The load notification, observed before anything else looks at the
    //    arguments.
    nc = _deps.notificationCenter ? _deps.notificationCenter
                                  : platform::DistributedNotificationCenter::defaultCenter();
    if (nc) {
        nc->addObserver(
            this, QString::fromLatin1(zq::shell::kLoadXibNotification),
            [this](const QString&, const QVariantMap& userInfo) { loadXibNotification(userInfo); });
    }
    if (qApp) {
        qApp->installEventFilter(this);
        if (auto* gui = qobject_cast<QGuiApplication*>(qApp)) {
            // The delegate decides when the last window has closed.
            gui->setQuitOnLastWindowClosed(false);
            connect(gui, &QGuiApplication::applicationStateChanged, this,
                    [this](Qt::ApplicationState state) {
                        if (state != Qt::ApplicationActive) {
                            applicationDidResignActive();
                        }
                    });
        }
    }

    if (_arguments.value(1) == QLatin1String(kServiceModeArgument)) {
        // Started by D-Bus activation: the request follows as a method call.
        startApplicationService();
        _serviceWait = new QTimer(this);
        _serviceWait->setSingleShot(true);
        connect(_serviceWait, &QTimer::timeout, this, [this] {
            if (!zq::pagehost::hasVisibleWindow()) {
                qCInfo(lcApp) << "no request arrived after D-Bus activation";
                emit terminateRequested(0);
            }
        });
        _serviceWait->start(kServiceWaitMs);
        return;
    }

    // 3.-7. The arguments name the page and carry its parameters.
    const QString pageName = zq::shell::applyLaunchArguments(_arguments, *_deps.config);
    if (pageName.isEmpty()) {
        emit terminateRequested(0);
        return;
    }
    startApplicationService();
    // 8. The page.
    openRequestedPage(pageName, {});
}

void AppDelegate::loadXibNotification(const QVariantMap& userInfo) {
    const QString pageName = zq::shell::applyLoadPayload(userInfo, *_deps.config);
    stopServiceWait();
    openRequestedPage(pageName, userInfo);
}

void AppDelegate::openRequestedPage(const QString& pageName, const QVariantMap& payload) {
    // The controllers that exist before this request see its payload after
    // the page has been shown (a controller made for this request does not).
    std::vector<ZQPageController*> open;
    open.reserve(_controllers.size());
    for (const auto& [name, controller] : _controllers) {
        open.push_back(controller.get());
    }
    loadXibName(pageName);
    for (ZQPageController* controller : open) {
        controller->loadRequestReceived(payload);
    }
}

ZQPageController* AppDelegate::ensureController(const QString& controllerName) {
    for (const auto& [name, controller] : _controllers) {
        if (name == controllerName) {
            return controller.get();
        }
    }
    QString error;
    std::unique_ptr<ZQPageController> controller = _deps.registry->create(controllerName, &error);
    if (!controller || !controller->window()) {
        qCWarning(lcApp) << "page controller" << controllerName << "is not available:" << error;
        return nullptr;
    }
    _controllers.emplace_back(controllerName, std::move(controller));
    return _controllers.back().second.get();
}

ZQPageController* AppDelegate::controllerForPage(const QString& pageName) const {
    const zq::shell::PageInfo* page = zq::shell::findPage(pageName);
    if (!page) {
        return nullptr;
    }
    for (const auto& [name, controller] : _controllers) {
        if (name == page->controllerName) {
            return controller.get();
        }
    }
    return nullptr;
}

void AppDelegate::loadXibName(const QString& pageName) {
    const zq::shell::PageInfo* page = zq::shell::findPage(pageName);
    if (!page) {
        return;
    }
    ZQPageController* controller = ensureController(page->controllerName);
    if (!controller) {
        // Accepted, and handled as if its window had opened and closed again.
        scheduleLastWindowCheck();
        return;
    }
    QWidget* window = controller->window();
    if (page->centresWindow) {
        zq::pagehost::centerOnScreen(window);
    }
    controller->showPage(pageName);
    if (page->centresWindow) {
        // A window shown for the first time may have gained a frame.
        zq::pagehost::centerOnScreen(window);
    }
    if (page->activatesApplication) {
        zq::pagehost::bringToFront(window);
    }
}

void AppDelegate::applicationDidResignActive() {
    if (nc) {
        nc->setSuspended(false);
    }
}

void AppDelegate::activate() {
    stopServiceWait();
    bool shown = false;
    for (const auto& [name, controller] : _controllers) {
        QWidget* window = controller->window();
        if (window->isVisible()) {
            window->show();
            zq::pagehost::bringToFront(window);
            shown = true;
        }
    }
    if (!shown) {
        loadXibName(QString::fromLatin1(kDefaultPage));
    }
}

void AppDelegate::applyAppearance() {
    // The light standard appearance, whatever the desktop's dark or light
    // choice: Qt has no system-wide switch to override, so the application
    // takes the Fusion style with its own (light) standard palette.
    if (!isCurrentSystemVersionLargerThanOrEqualTo(QStringLiteral("10.14"))) {
        return;
    }
    if (!qobject_cast<QApplication*>(qApp)) {
        return;
    }
    if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion"))) {
        QApplication::setStyle(fusion);
        QApplication::setPalette(fusion->standardPalette());
    }
}

void AppDelegate::startApplicationService() {
    if (_service || !_deps.serveApplicationInterface) {
        return;
    }
    _service = new zq::app::ApplicationService(this, this);
    if (!_service->start(nc ? nc->isConnected() : false)) {
        qCInfo(lcApp) << "org.freedesktop.Application is not served:" << _service->errorString();
    }
    connect(_service, &zq::app::ApplicationService::requestHandled, this, [this] {
        stopServiceWait();
        scheduleLastWindowCheck();
    });
}

void AppDelegate::stopServiceWait() {
    if (_serviceWait) {
        _serviceWait->stop();
    }
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    if ((event->type() == QEvent::Hide || event->type() == QEvent::Close) &&
        watched->isWindowType()) {
        scheduleLastWindowCheck();
    }
    return QObject::eventFilter(watched, event);
}

void AppDelegate::scheduleLastWindowCheck() {
    if (_checkPending) {
        return;
    }
    _checkPending = true;
    // Two turns of the event loop: a page that closes its window and opens
    // another one (at once, or with a queued call) is not the last window.
    QTimer::singleShot(0, this, [this] { checkLastWindow(1); });
}

void AppDelegate::checkLastWindow(int turnsLeft) {
    if (zq::pagehost::hasVisibleWindow()) {
        _checkPending = false;
        return;
    }
    if (turnsLeft > 0) {
        QTimer::singleShot(0, this, [this, turnsLeft] { checkLastWindow(turnsLeft - 1); });
        return;
    }
    _checkPending = false;
    if (_serviceWait && _serviceWait->isActive()) {
        return;  // still waiting for the request of a D-Bus activation
    }
    if (applicationShouldTerminateAfterLastWindowClosed()) {
        applicationWillTerminate();
        emit terminateRequested(0);
    }
}
