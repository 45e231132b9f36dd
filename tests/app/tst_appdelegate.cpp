#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"
#include "app/host/PageRegistry.h"
#include "app/host/PageWindow.h"
#include "app/host/ZQPageController.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QScreen>
#include <QStyle>
#include <QTemporaryDir>
#include <QtTest>

using platform::DistributedNotificationCenter;

namespace {

const QString kLoad = "kVeskoNotifyLoadXibInZQAssistPanel";
const QString kName = "kVeskoPreferencesXibName";
const QString kSentinel = "zq-test-sentinel";

// Pages standing in for the page windows: plain windows recording what the
// shell asked of them.
struct PageLog {
    QMap<QString, int> created;              // controller name -> controllers made
    const ZQAssistConfig* config = nullptr;  // the store a request is read back from
};

class RecordingPage : public ZQPageController {
public:
    RecordingPage(const QString& controllerName, PageLog* log)
        : _log(log), _window(std::make_unique<QWidget>()) {
        _window->setWindowTitle(controllerName);
        _window->resize(320, 240);
        // Only the shell's explicit activation may activate the window.
        _window->setAttribute(Qt::WA_ShowWithoutActivating);
        ++log->created[controllerName];
    }
    QWidget* window() const override { return _window.get(); }
    void showPage(const QString& pageName) override {
        events << "show " + pageName;
        ZQPageController::showPage(pageName);
    }
    // The page re-reads its parameters from the store: they must be there already.
    void loadRequestReceived(const QVariantMap& payload) override {
        events << QStringLiteral("request %1, UpdateMode %2")
                      .arg(payload.value(QLatin1String(zq::shell::kXibNameKey)).toString(),
                           _log->config->objectForKey(QStringLiteral("UpdateMode")).toString());
    }
    int shows() const { return int(events.filter(QStringLiteral("show ")).size()); }

    // "show <page name>" and "request <payload's page name>, UpdateMode <stored>", in order.
    QStringList events;

private:
    PageLog* _log;
    std::unique_ptr<QWidget> _window;
};

// A registry with a recording page for every controller name except `missing`.
zq::pagehost::PageRegistry recordingRegistry(PageLog* log, const QStringList& missing = {}) {
    zq::pagehost::PageRegistry registry;
    for (const zq::shell::PageInfo& page : zq::shell::pages()) {
        const QString name = page.controllerName;
        if (!missing.contains(name)) {
            registry.add(name, [name, log] { return std::make_unique<RecordingPage>(name, log); });
        }
    }
    return registry;
}

}  // namespace

class TestAppDelegate : public QObject {
    Q_OBJECT
public:
    TestAppDelegate()
        : _posterBus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, "zq-test-poster")) {
    }

private slots:
    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(),
                 "the test needs a private session bus");
        QVERIFY(_posterBus.isConnected());
        // A system whose version asks for the light appearance.
        const QString systemRoot = qEnvironmentVariable("ZQ_TEST_ROOT") + "/system";
        QVERIFY(platform::Plist::writeFile(
            systemRoot + "/System/Library/CoreServices/SystemVersion.plist",
            QVariantMap{{"ProductVersion", "10.14"}, {"ProductBuildVersion", "18A391"}}));
        qputenv("VESKO_SYSTEM_ROOT", systemRoot.toUtf8());
        _poster = std::make_unique<DistributedNotificationCenter>(_posterBus);
    }

    void cleanup() {
        _delegate.reset();
        _terminated.reset();
        _center.reset();
        _config.reset();
        _log = PageLog{};
        _sentinelsPosted = _sentinelsSeen = 0;
        QTRY_VERIFY(!zq::pagehost::hasVisibleWindow());
    }

    void launch_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("shownPage");
        QTest::addColumn<bool>("activated");  // and centred
        QTest::newRow("about") << QStringList{"-ZQAbout"} << "ZQAbout" << true;
        QTest::newRow("update detail is not activated")
            << QStringList{"-ZQUpdateDetail", "-/p.pkg"} << "ZQUpdateDetail" << false;
    }

    void launch() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, shownPage);
        QFETCH(bool, activated);

        start(arguments);
        RecordingPage* shown = page(shownPage);
        QVERIFY(shown);
        QCOMPARE(_log.created.size(), 1);
        QCOMPARE(shown->events, QStringList{"show " + shownPage});
        QVERIFY(shown->window()->isVisible());
        if (activated) {
            QTRY_VERIFY(shown->window()->isActiveWindow());
            QVERIFY(isCentred(shown->window()));
        } else {
            QVERIFY(QTest::qWaitForWindowExposed(shown->window()));
            QVERIFY(!shown->window()->isActiveWindow());
        }
        QCOMPARE(_terminated->count(), 0);
    }

    void observerIsRegisteredInAnExitingProcess() {
        start({});  // no page to show: the process ends with status 0
        QCOMPARE(_terminated->count(), 1);
        QCOMPARE(_terminated->first().first().toInt(), 0);
        QVERIFY(_log.created.isEmpty());
        post({{kName, "ZQAbout"}});
        QTRY_VERIFY(page("ZQAbout") && page("ZQAbout")->shows() == 1);
    }

    void everyChannelTakesOnePath_data() {
        QTest::addColumn<QString>("channel");
        QTest::newRow("load notification") << "notification";
        QTest::newRow("application action") << "action";
        QTest::newRow("application address") << "open";
    }

    void everyChannelTakesOnePath() {
        QFETCH(QString, channel);
        start({"-ZQUpdateDetail"}, {}, true);
        RecordingPage* update = page("ZQUpdateDetail");
        QVERIFY(update);

        // A request for the open page, then one that makes a new page.
        for (const QString& target : QStringList{"ZQUpdateDetail", "ZQAbout"}) {
            if (channel == QLatin1String("notification")) {
                post({{kName, target}, {"UpdateMode", "Silent"}});
                QVERIFY(deliverAll());
            } else if (channel == QLatin1String("action")) {
                const QVariantMap parameter{{"UpdateMode", "Silent"}};
                QCOMPARE(callService("ActivateAction",
                                     {target, QVariantList{QVariant(parameter)}, QVariantMap{}})
                             .type(),
                         QDBusMessage::ReplyMessage);
            } else {
                QCOMPARE(callService("Open",
                                     {QStringList{"zqassistpanel:" + target + "?UpdateMode=Silent"},
                                      QVariantMap{}})
                             .type(),
                         QDBusMessage::ReplyMessage);
            }
        }
        // The parameters were stored before the open page saw the request, and
        // the page made by a request does not also see it as a later request.
        QCOMPARE(update->events, (QStringList{"show ZQUpdateDetail", "show ZQUpdateDetail",
                                              "request ZQUpdateDetail, UpdateMode Silent",
                                              "request ZQAbout, UpdateMode Silent"}));
        QCOMPARE(page("ZQAbout")->events, QStringList{"show ZQAbout"});
        QVERIFY(isCentred(page("ZQAbout")->window()));
    }

    void permissionPagesShareOneWindow() {
        start({"-ZQContactAuthorize"});
        RecordingPage* permission = page("ZQContactAuthorize");
        QVERIFY(permission);
        post({{kName, "ZQAccesAuthorize"}, {"AccesAction", "1"}, {"AccesType", "2"}});
        post({{kName, "ZQAuthorize"}, {"ZQAuthorizeType", "5"}});
        QTRY_COMPARE(permission->shows(), 3);
        QCOMPARE(page("ZQAccesAuthorize"), permission);
        QCOMPARE(page("ZQAuthorize"), permission);
        QCOMPARE(_log.created.value("ZQAccesAuthorize"), 1);
        QCOMPARE(
            permission->events.filter("show "),
            (QStringList{"show ZQContactAuthorize", "show ZQAccesAuthorize", "show ZQAuthorize"}));
    }

    // The page that replaces the closed one arrives a turn later: the
    // last-window check must not have ended the process by then.
    void pageReplacingItsWindowIsNotTheEnd() {
        start({"-ZQAbout"});
        QWidget* about = page("ZQAbout")->window();
        AppDelegate* delegate = _delegate.get();
        about->close();
        QTimer::singleShot(0, delegate, [delegate] { delegate->loadXibName("ZQDebugMode"); });
        QTRY_VERIFY(page("ZQDebugMode") && page("ZQDebugMode")->window()->isVisible());
        QTRY_VERIFY(!_delegate->lastWindowCheckPending());
        QCOMPARE(_terminated->count(), 0);
    }

    void missingPageAtStartEndsTheProcess() {
        start({"-ZQAbout"}, {"ZQAboutWindowController"});
        QVERIFY(!page("ZQAbout"));
        QTRY_COMPARE(_terminated->count(), 1);
        QCOMPARE(_terminated->first().first().toInt(), 0);
    }

    void missingPageWhileAnotherIsOpenKeepsRunning() {
        start({"-ZQFeedbackWindowController"}, {"ZQAboutWindowController"});
        post({{kName, "ZQAbout"}});
        QVERIFY(deliverAll());
        QTRY_VERIFY(!_delegate->lastWindowCheckPending());
        QCOMPARE(_terminated->count(), 0);
        QVERIFY(page("ZQFeedbackWindowController")->window()->isVisible());
    }

    void pageModules_data() {
        QTest::addColumn<QString>("moduleFile");  // what sits at <folder>/ZQUpdateDetail.so
        QTest::addColumn<bool>("loads");
        QTest::newRow("the update detail module") << "ZQUpdateDetail.so" << true;
        QTest::newRow("no module") << "" << false;
        QTest::newRow("a file that is no module") << "garbage" << false;
        QTest::newRow("a module of other controllers") << "ZQChangeLogView.so" << false;
    }

    void pageModules() {
        QFETCH(QString, moduleFile);
        QFETCH(bool, loads);
        QTemporaryDir folder;
        const QString target = folder.filePath("ZQUpdateDetail.so");
        if (moduleFile == QLatin1String("garbage")) {
            QFile file(target);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(
                "\x7f"
                "ELF but not really");
        } else if (!moduleFile.isEmpty()) {
            const QString built =
                moduleFile == QLatin1String("ZQChangeLogView.so")
                    ? QStringLiteral(ZQ_BINARY_DIR "/PlugIns/ZQChangeLogView.so")
                    : QStringLiteral(ZQ_BINARY_DIR "/PlugIns/pages/ZQUpdateDetail.so");
            QVERIFY2(QFile::link(built, target), qPrintable(built));
        }
        const zq::pagehost::PageRegistry registry(folder.path());
        QString error;
        std::unique_ptr<ZQPageController> controller = registry.create("ZQUpdateDetail", &error);
        QCOMPARE(bool(controller), loads);
        if (loads) {
            QVERIFY(controller->window());
            QCOMPARE(controller->window()->objectName(), "ZQUpdateDetail");
        } else {
            QVERIFY(!error.isEmpty());
        }
    }

    void resumesDeliveryWhenInactive() {
        start({"-ZQAbout"});
        QWidget* window = page("ZQAbout")->window();
        window->move(window->screen()->availableGeometry().topLeft());
        QVERIFY(!isCentred(window));
        _center->setSuspended(true);
        post({{kName, "ZQAbout"}});
        _delegate->applicationDidResignActive();
        QVERIFY(!_center->isSuspended());
        QTRY_COMPARE(page("ZQAbout")->shows(), 2);
        QCOMPARE(page("ZQAbout")->window(), window);  // the same page, centred again
        QVERIFY(isCentred(window));
    }

    void appearanceIsForcedLight() {
        start({"-ZQAbout"});
        QCOMPARE(QApplication::style()->name().toLower(), "fusion");
        const QPalette standard = QApplication::style()->standardPalette();
        QCOMPARE(QApplication::palette().color(QPalette::Window), standard.color(QPalette::Window));
        QVERIFY(QApplication::palette().color(QPalette::Window).lightness() > 200);
    }

    void badActionsAreRefused_data() {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QVariantList>("parameter");
        QTest::newRow("unknown action") << "ZQPreferences" << QVariantList{};
        QTest::newRow("parameter not a dictionary") << "ZQAbout" << QVariantList{QVariant("x")};
    }

    void badActionsAreRefused() {
        QFETCH(QString, action);
        QFETCH(QVariantList, parameter);
        start({"-ZQFeedbackWindowController"}, {}, true);
        const QDBusMessage reply =
            callService("ActivateAction", {action, parameter, QVariantMap{}});
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QCOMPARE(reply.errorName(), "org.freedesktop.DBus.Error.InvalidArgs");
        QCOMPARE(_log.created.size(), 1);
        QVERIFY(_config->userData().isEmpty());
    }

    void activateShowsOpenWindows() {
        start({"-ZQFeedbackWindowController"}, {}, true);
        _delegate->loadXibName("ZQAuthorize");
        RecordingPage* feedback = page("ZQFeedbackWindowController");
        RecordingPage* permission = page("ZQAuthorize");
        const QDBusMessage reply = callService("Activate", {QVariantMap{}});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QVERIFY(feedback->window()->isVisible());
        QVERIFY(permission->window()->isVisible());
        QVERIFY(!page("ZQAbout"));
    }

    void serviceModeWaitsForTheRequest() {
        start({QString::fromLatin1(AppDelegate::kServiceModeArgument)}, {}, true);
        QCoreApplication::processEvents();
        QCOMPARE(_terminated->count(), 0);
        const QDBusMessage reply = callService("Activate", {QVariantMap{}});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QVERIFY(page("ZQAbout"));
        QVERIFY(page("ZQAbout")->window()->isVisible());
        QTRY_VERIFY(!_delegate->lastWindowCheckPending());
        QCOMPARE(_terminated->count(), 0);
        // Then the ordinary rule: the last window closes, the process ends.
        page("ZQAbout")->window()->close();
        QTRY_COMPARE(_terminated->count(), 1);
        QCOMPARE(_terminated->first().first().toInt(), 0);
    }

    void serviceModeRequestForMissingPageEnds() {
        start({QString::fromLatin1(AppDelegate::kServiceModeArgument)}, {"ZQAboutWindowController"},
              true);
        const QDBusMessage reply =
            callService("ActivateAction", {"ZQAbout", QVariantList{}, QVariantMap{}});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QTRY_COMPARE(_terminated->count(), 1);
        QCOMPARE(_terminated->first().first().toInt(), 0);
    }

private:
    void start(const QStringList& arguments, const QStringList& missing = {}, bool serve = false) {
        _center = std::make_unique<DistributedNotificationCenter>(QDBusConnection::sessionBus());
        _center->addObserver(this, kSentinel,
                             [this](const QString&, const QVariantMap&) { ++_sentinelsSeen; });
        _config = std::make_unique<ZQAssistConfig>();
        _log.config = _config.get();
        _registry = recordingRegistry(&_log, missing);
        AppDelegate::Dependencies deps;
        deps.notificationCenter = _center.get();
        deps.config = _config.get();
        deps.registry = &_registry;
        deps.serveApplicationInterface = serve;
        _delegate =
            std::make_unique<AppDelegate>(QStringList{"/opt/ZQAssistPanel"} + arguments, deps);
        _terminated =
            std::make_unique<QSignalSpy>(_delegate.get(), &AppDelegate::terminateRequested);
        _delegate->applicationDidFinishLaunching();
    }
    void post(const QVariantMap& payload) { QVERIFY(_poster->post(kLoad, payload)); }

    // Returns once every notification posted before has been delivered.
    bool deliverAll() {
        ++_sentinelsPosted;
        _poster->post(kSentinel);
        return QTest::qWaitFor([this] { return _sentinelsSeen == _sentinelsPosted; }, 10000);
    }

    RecordingPage* page(const QString& pageName) const {
        return static_cast<RecordingPage*>(_delegate->controllerForPage(pageName));
    }

    QDBusMessage callService(const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QString::fromLatin1(zq::app::ApplicationService::kServiceName),
            QString::fromLatin1(zq::app::ApplicationService::kObjectPath),
            "org.freedesktop.Application", method);
        message.setArguments(arguments);
        QDBusPendingCallWatcher watcher(_posterBus.asyncCall(message));
        QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
        if (!watcher.isFinished()) {
            finished.wait(10000);
        }
        return watcher.reply();
    }

    bool isCentred(QWidget* window) {
        const QPoint centre = window->screen()->availableGeometry().center();
        return (window->frameGeometry().center() - centre).manhattanLength() <= 2;
    }

    QDBusConnection _posterBus;
    std::unique_ptr<DistributedNotificationCenter> _poster;
    std::unique_ptr<DistributedNotificationCenter> _center;
    std::unique_ptr<ZQAssistConfig> _config;
    PageLog _log;
    zq::pagehost::PageRegistry _registry;
    std::unique_ptr<AppDelegate> _delegate;
    std::unique_ptr<QSignalSpy> _terminated;
    int _sentinelsPosted = 0;
    int _sentinelsSeen = 0;
};

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    TestAppDelegate test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_appdelegate.moc"
