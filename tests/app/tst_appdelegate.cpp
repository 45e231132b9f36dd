#include "AppTestSupport.h"
#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/core/ZQAssistConfig.h"
#include "app/host/PageWindow.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDomDocument>
#include <QScreen>
#include <QStyle>
#include <QTemporaryDir>
#include <QtTest>

using platform::DistributedNotificationCenter;

namespace {

const QString kLoad = "kVeskoNotifyLoadXibInZQAssistPanel";
const QString kName = "kVeskoPreferencesXibName";
const QString kSentinel = "zq-test-sentinel";

// method name -> argument signatures of org.freedesktop.Application in an introspection document.
QMap<QString, QStringList> applicationMethods(const QByteArray& xml) {
    QMap<QString, QStringList> methods;
    QDomDocument document;
    if (!document.setContent(xml)) {
        return methods;
    }
    const QDomNodeList interfaces = document.elementsByTagName("interface");
    for (int i = 0; i < interfaces.size(); ++i) {
        const QDomElement interface = interfaces.at(i).toElement();
        if (interface.attribute("name") != "org.freedesktop.Application") {
            continue;
        }
        const QDomNodeList nodes = interface.elementsByTagName("method");
        for (int m = 0; m < nodes.size(); ++m) {
            const QDomElement method = nodes.at(m).toElement();
            QStringList arguments;
            const QDomNodeList args = method.elementsByTagName("arg");
            for (int a = 0; a < args.size(); ++a) {
                const QDomElement arg = args.at(a).toElement();
                arguments << arg.attribute("direction", "in") + ":" + arg.attribute("type");
            }
            methods.insert(method.attribute("name"), arguments);
        }
    }
    return methods;
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
        QTest::addColumn<QString>("shownPage");  // "" = the process ends with status 0
        QTest::addColumn<bool>("activated");
        QTest::addColumn<bool>("centred");

        QTest::newRow("no arguments") << QStringList{} << "" << false << false;
        QTest::newRow("about") << QStringList{"-ZQAbout"} << "ZQAbout" << true << true;
        QTest::newRow("update detail is not activated")
            << QStringList{"-ZQUpdateDetail", "-/p.pkg"} << "ZQUpdateDetail" << false << false;
        QTest::newRow("feedback") << QStringList{"-ZQFeedbackWindowController"}
                                  << "ZQFeedbackWindowController" << true << false;
    }

    void launch() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, shownPage);
        QFETCH(bool, activated);
        QFETCH(bool, centred);

        start(arguments);
        if (shownPage.isEmpty()) {
            QCOMPARE(_terminated->count(), 1);
            QCOMPARE(_terminated->first().first().toInt(), 0);
            QVERIFY(_log.created.isEmpty());
            QVERIFY(!zq::pagehost::hasVisibleWindow());
            return;
        }
        RecordingPage* shown = page(shownPage);
        QVERIFY(shown);
        QCOMPARE(_log.created.size(), 1);
        QCOMPARE(shown->events, QStringList{"show " + shownPage});
        QVERIFY(shown->window()->isVisible());
        if (activated) {
            QTRY_VERIFY(shown->window()->isActiveWindow());
        } else {
            QVERIFY(QTest::qWaitForWindowExposed(shown->window()));
            QVERIFY(!shown->window()->isActiveWindow());
        }
        if (centred) {
            QVERIFY(isCentred(shown->window()));
        }
        QCOMPARE(_terminated->count(), 0);
    }

    void observerIsRegisteredInAnExitingProcess() {
        start({});
        QCOMPARE(_terminated->count(), 1);
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

    void repeatedRequestReusesTheWindow() {
        start({"-ZQAbout"});
        RecordingPage* about = page("ZQAbout");
        QVERIFY(about);
        QWidget* window = about->window();
        window->move(window->screen()->availableGeometry().topLeft());
        QVERIFY(!isCentred(window));

        post({{kName, "ZQAbout"}});
        QTRY_COMPARE(about->shows(), 2);
        QCOMPARE(page("ZQAbout"), about);
        QCOMPARE(_log.created.value("ZQAboutWindowController"), 1);
        QVERIFY(isCentred(window));
        int visible = 0;
        for (QWidget* w : QApplication::topLevelWidgets()) {
            visible += w->isVisible() ? 1 : 0;
        }
        QCOMPARE(visible, 1);
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

    void lastWindowEndsTheProcess() {
        start({"-ZQAbout"});
        post({{kName, "ZQFeedbackWindowController"}});
        QTRY_VERIFY(page("ZQFeedbackWindowController"));
        QWidget* about = page("ZQAbout")->window();
        QWidget* feedback = page("ZQFeedbackWindowController")->window();

        QVERIFY(about->close());
        QTRY_VERIFY(!_delegate->lastWindowCheckPending());
        QCOMPARE(_terminated->count(), 0);

        QVERIFY(feedback->close());
        QTRY_COMPARE(_terminated->count(), 1);
        QCOMPARE(_terminated->first().first().toInt(), 0);
        // The controllers outlive their windows.
        QVERIFY(page("ZQAbout"));
    }

    void pageReplacingItsWindowIsNotTheEnd_data() {
        QTest::addColumn<bool>("queued");
        QTest::newRow("in the same call") << false;
        QTest::newRow("on the next turn") << true;
    }

    void pageReplacingItsWindowIsNotTheEnd() {
        QFETCH(bool, queued);
        start({"-ZQAbout"});
        QWidget* about = page("ZQAbout")->window();
        AppDelegate* delegate = _delegate.get();
        about->close();
        if (queued) {
            QTimer::singleShot(0, delegate, [delegate] { delegate->loadXibName("ZQDebugMode"); });
        } else {
            delegate->loadXibName("ZQDebugMode");
        }
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
        _center->setSuspended(true);
        post({{kName, "ZQAbout"}});
        _delegate->applicationDidResignActive();
        QVERIFY(!_center->isSuspended());
        QTRY_COMPARE(page("ZQAbout")->shows(), 2);
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

    void introspectionMatchesDescription() {
        start({"-ZQFeedbackWindowController"}, {}, true);
        QDBusMessage message =
            QDBusMessage::createMethodCall("com.vesko.ZQAssistPanel", "/com/vesko/ZQAssistPanel",
                                           "org.freedesktop.DBus.Introspectable", "Introspect");
        QDBusPendingCallWatcher watcher(_posterBus.asyncCall(message));
        QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
        QVERIFY(watcher.isFinished() || finished.wait(10000));
        const QDBusMessage reply = watcher.reply();
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        const auto served = applicationMethods(reply.arguments().value(0).toString().toUtf8());

        QFile description(
            QStringLiteral(ZQ_SOURCE_DIR "/app/dbus/org.freedesktop.Application.xml"));
        QVERIFY(description.open(QIODevice::ReadOnly));
        const auto described = applicationMethods(description.readAll());
        QCOMPARE(described.size(), 3);
        QCOMPARE(served, described);
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
