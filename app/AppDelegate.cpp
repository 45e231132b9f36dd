#include "app/AppDelegate.h"

#include "app/ApplicationService.h"
#include "app/ZQAssistConfig.h"
#include "platform/DistributedNotificationCenter.h"
#include "utility/SystemInfo.h"

#include <QApplication>
#include <QEvent>
#include <QLoggingCategory>
#include <QScreen>
#include <QStyle>
#include <QStyleFactory>
#include <QTimer>
#include <QWindow>

Q_LOGGING_CATEGORY(lcApp, "vesko.app")

namespace {

const QString kUpdateDetail = QStringLiteral("ZQUpdateDetail");
const QString kAccesAuthorize = QStringLiteral("ZQAccesAuthorize");
const QString kContactAuthorize = QStringLiteral("ZQContactAuthorize");
const QString kAuthorize = QStringLiteral("ZQAuthorize");
const QString kAbout = QStringLiteral("ZQAbout");
const QString kDebugMode = QStringLiteral("ZQDebugMode");
const QString kFeedback = QStringLiteral("ZQFeedbackWindowController");

// How long a process started by D-Bus activation waits for its request.
constexpr int kServiceWaitMs = 25000;

}  // namespace

AppDelegate::AppDelegate(const QStringList& arguments, QObject* parent)
    : AppDelegate(arguments, Dependencies{}, parent) {}

AppDelegate::AppDelegate(const QStringList& arguments, const Dependencies& dependencies,
                         QObject* parent)
    : QObject(parent), m_arguments(arguments), m_deps(dependencies) {
    if (!m_deps.config) {
        m_deps.config = ZQAssistConfig::sharedInstance();
    }
    if (!m_deps.registry) {
        m_deps.registry = &zq::app::PageRegistry::global();
    }
}

AppDelegate::~AppDelegate() {
    if (qApp) {
        qApp->removeEventFilter(this);
    }
    if (nc) {
        nc->removeObserver(this, QString::fromLatin1(kLoadXibNotification));
    }
    // The controllers' windows go before the delegate's other state.
    aboutController.reset();
    _debugModeController.reset();
    UpdateDetailController.reset();
    accesAuthorizeController.reset();
    feedbackWindowController.reset();
}

const QStringList& AppDelegate::pageNames() {
    static const QStringList names{kAbout,          kDebugMode, kUpdateDetail, kContactAuthorize,
                                   kAccesAuthorize, kFeedback,  kAuthorize};
    return names;
}

bool AppDelegate::isPageName(const QString& name) {
    return pageNames().contains(name, Qt::CaseSensitive);
}

QString AppDelegate::controllerNameForPage(const QString& pageName) {
    if (pageName == kAbout) {
        return QStringLiteral("ZQAboutWindowController");
    }
    if (pageName == kDebugMode) {
        return QStringLiteral("ZQDebugModeController");
    }
    if (pageName == kUpdateDetail) {
        return QStringLiteral("ZQUpdateDetail");
    }
    if (pageName == kAccesAuthorize || pageName == kContactAuthorize || pageName == kAuthorize) {
        return QStringLiteral("ZQAccesAuthorize");
    }
    if (pageName == kFeedback) {
        return QStringLiteral("ZQFeedbackWindowController");
    }
    return {};
}

QVariantMap AppDelegate::argumentDictionary(const QStringList& arguments) {
    QVariantMap dictionary;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString text = arguments.at(i);
        if (text.startsWith(QLatin1Char('-'))) {
            text.remove(0, 1);
        }
        dictionary.insert(QStringLiteral("arg%1").arg(i), text);
    }
    return dictionary;
}

void AppDelegate::applicationDidFinishLaunching() {
    if (m_started) {
        return;
    }
    m_started = true;

    // 1. Appearance.
    applyAppearance();

    // 2. The load notification, observed before anything else looks at the
    //    arguments (and before any page registers its own observer).
    nc = m_deps.notificationCenter ? m_deps.notificationCenter
                                   : platform::DistributedNotificationCenter::defaultCenter();
    if (nc) {
        nc->addObserver(
            this, QString::fromLatin1(kLoadXibNotification),
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

    // 3. The argument dictionary.
    const QVariantMap args = argumentDictionary(m_arguments);

    if (m_arguments.value(1) == QLatin1String(kServiceModeArgument)) {
        // Started by D-Bus activation: the request follows as a method call.
        startApplicationService();
        m_serviceWait = new QTimer(this);
        m_serviceWait->setSingleShot(true);
        connect(m_serviceWait, &QTimer::timeout, this, [this] {
            if (!hasVisibleWindow()) {
                qCInfo(lcApp) << "no request arrived after D-Bus activation";
                emit terminateRequested(0);
            }
        });
        m_serviceWait->start(kServiceWaitMs);
        return;
    }

    // 4. Nothing to show.
    if (args.size() < 2) {
        emit terminateRequested(0);
        return;
    }
    // 5. Only the seven page names.
    const QString pageName = args.value(QStringLiteral("arg1")).toString();
    if (!isPageName(pageName)) {
        qCInfo(lcApp) << "not a page name:" << pageName;
        emit terminateRequested(0);
        return;
    }

    ZQAssistConfig* config = m_deps.config;
    auto storeArgument = [&](const QString& argKey, const QString& configKey) {
        auto it = args.constFind(argKey);
        if (it != args.constEnd()) {
            config->setObject(it.value(), configKey);
        }
    };
    // 6. Update detail parameters.
    if (pageName == kUpdateDetail) {
        storeArgument(QStringLiteral("arg2"), QStringLiteral("UpdatePkgPath"));
        storeArgument(QStringLiteral("arg3"), QStringLiteral("UpdateMode"));
        storeArgument(QStringLiteral("arg4"), QStringLiteral("UpdateVersion"));
    }
    // 7. Permission parameters.
    if (pageName == kAccesAuthorize) {
        storeArgument(QStringLiteral("arg2"), QStringLiteral("AccesAction"));
        storeArgument(QStringLiteral("arg3"), QStringLiteral("AccesType"));
    } else if (pageName == kContactAuthorize) {
        config->setObject(qint64(1), QStringLiteral("AccesAction"));
    } else if (pageName == kAuthorize) {
        config->setObject(qint64(1), QStringLiteral("AccesAction"));
        storeArgument(QStringLiteral("arg2"), QStringLiteral("ZQAuthorizeType"));
        storeArgument(QStringLiteral("arg3"), QStringLiteral("ZQAuthorizeSourceType"));
    }

    startApplicationService();
    // 8. The page.
    loadXibName(pageName);
}

void AppDelegate::loadXibNotification(const QVariantMap& userInfo) {
    const QVariant nameValue = userInfo.value(QString::fromLatin1(kXibNameKey));
    // A page name that is not text names no page.
    const QString pageName =
        nameValue.typeId() == QMetaType::QString ? nameValue.toString() : QString();
    ZQAssistConfig* config = m_deps.config;

    if (pageName == kUpdateDetail || pageName == kAccesAuthorize) {
        for (auto it = userInfo.constBegin(); it != userInfo.constEnd(); ++it) {
            config->setObject(it.value(), it.key());
        }
    } else if (pageName == kAuthorize) {
        config->setObject(qint64(1), QStringLiteral("AccesAction"));
        for (const QString& key :
             {QStringLiteral("ZQAuthorizeType"), QStringLiteral("ZQAuthorizeSourceType")}) {
            auto it = userInfo.constFind(key);
            if (it != userInfo.constEnd() && it.value().isValid()) {
                config->setObject(it.value(), key);
            }
        }
    }
    if (m_serviceWait) {
        m_serviceWait->stop();
    }
    loadXibName(pageName);
}

std::unique_ptr<ZQPageController>* AppDelegate::slotFor(const QString& pageName) {
    if (pageName == kAbout) {
        return &aboutController;
    }
    if (pageName == kDebugMode) {
        return &_debugModeController;
    }
    if (pageName == kUpdateDetail) {
        return &UpdateDetailController;
    }
    if (pageName == kAccesAuthorize || pageName == kContactAuthorize || pageName == kAuthorize) {
        return &accesAuthorizeController;
    }
    if (pageName == kFeedback) {
        return &feedbackWindowController;
    }
    return nullptr;
}

ZQPageController* AppDelegate::ensureController(const QString& pageName) {
    std::unique_ptr<ZQPageController>* slot = slotFor(pageName);
    if (!slot) {
        return nullptr;
    }
    if (!*slot) {
        *slot = m_deps.registry->create(controllerNameForPage(pageName));
    }
    return slot->get();
}

ZQPageController* AppDelegate::controllerForPage(const QString& pageName) const {
    const std::unique_ptr<ZQPageController>* slot =
        const_cast<AppDelegate*>(this)->slotFor(pageName);
    return slot ? slot->get() : nullptr;
}

void AppDelegate::loadXibName(const QString& pageName) {
    if (!isPageName(pageName)) {
        return;
    }
    ZQPageController* controller = ensureController(pageName);
    if (!controller || !controller->window()) {
        // A page this build does not contain: accepted, and handled as if its
        // window had opened and closed again.
        qCWarning(lcApp) << "page" << pageName << "is not available in this build";
        scheduleLastWindowCheck();
        return;
    }
    QWidget* window = controller->window();
    if (pageName == kAbout) {
        centerOnScreen(window);
        controller->showWindow();
        // A window shown for the first time may have gained a frame.
        centerOnScreen(window);
        activateWindow(window);
    } else if (pageName == kDebugMode) {
        controller->showDebugModeEnabled();
        controller->showWindow();
        activateWindow(window);
    } else if (pageName == kUpdateDetail) {
        controller->showWindow();
    } else if (pageName == kFeedback) {
        controller->showWindow();
        activateWindow(window);
    } else {
        controller->showWindow();
        controller->updateWindowWithAuthString(pageName);
        activateWindow(window);
    }
}

void AppDelegate::applicationDidResignActive() {
    if (nc) {
        nc->setSuspended(false);
    }
}

void AppDelegate::activate() {
    if (m_serviceWait) {
        m_serviceWait->stop();
    }
    // The permission page names share one controller: each controller once.
    QList<ZQPageController*> shown;
    for (const QString& page : pageNames()) {
        ZQPageController* controller = controllerForPage(page);
        if (controller && !shown.contains(controller) && controller->window() &&
            controller->window()->isVisible()) {
            controller->showWindow();
            activateWindow(controller->window());
            shown.append(controller);
        }
    }
    if (shown.isEmpty()) {
        loadXibName(kAbout);
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
    if (m_service || !m_deps.serveApplicationInterface) {
        return;
    }
    m_service = new zq::app::ApplicationService(this, this);
    if (!m_service->start(nc ? nc->isConnected() : false)) {
        qCInfo(lcApp) << "org.freedesktop.Application is not served:" << m_service->errorString();
    }
    connect(m_service, &zq::app::ApplicationService::requestHandled, this, [this] {
        if (m_serviceWait) {
            m_serviceWait->stop();
        }
        scheduleLastWindowCheck();
    });
}

bool AppDelegate::hasVisibleWindow() {
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (const QWindow* window : windows) {
        if (!window->isVisible()) {
            continue;
        }
        switch (window->type()) {
            case Qt::Popup:
            case Qt::ToolTip:
            case Qt::Desktop:
            case Qt::ForeignWindow:
                continue;
            default:
                return true;
        }
    }
    return false;
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    if ((event->type() == QEvent::Hide || event->type() == QEvent::Close) &&
        watched->isWindowType()) {
        scheduleLastWindowCheck();
    }
    return QObject::eventFilter(watched, event);
}

void AppDelegate::scheduleLastWindowCheck() {
    if (m_checkPending) {
        return;
    }
    m_checkPending = true;
    // Two turns of the event loop: a page that closes its window and opens
    // another one (at once, or with a queued call) is not the last window.
    QTimer::singleShot(0, this, [this] { checkLastWindow(1); });
}

void AppDelegate::checkLastWindow(int turnsLeft) {
    if (hasVisibleWindow()) {
        m_checkPending = false;
        return;
    }
    if (turnsLeft > 0) {
        QTimer::singleShot(0, this, [this, turnsLeft] { checkLastWindow(turnsLeft - 1); });
        return;
    }
    m_checkPending = false;
    if (m_serviceWait && m_serviceWait->isActive()) {
        return;  // still waiting for the request of a D-Bus activation
    }
    if (applicationShouldTerminateAfterLastWindowClosed()) {
        applicationWillTerminate();
        emit terminateRequested(0);
    }
}

void AppDelegate::centerOnScreen(QWidget* window) {
    QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    if (!screen) {
        return;
    }
    const QRect available = screen->availableGeometry();
    QRect frame = window->frameGeometry();
    frame.moveCenter(available.center());
    window->move(frame.topLeft());
}

void AppDelegate::activateWindow(QWidget* window) {
    window->raise();
    window->activateWindow();
}
