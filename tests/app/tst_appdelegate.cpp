#include "AppTestSupport.h"
#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/ZQAssistConfig.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDomDocument>
#include <QProcess>
#include <QScreen>
#include <QStyle>
#include <QtTest>

using platform::DistributedNotificationCenter;

namespace {

const QString kLoad = QStringLiteral("kVeskoNotifyLoadXibInZQAssistPanel");
const QString kName = QStringLiteral("kVeskoPreferencesXibName");
const QString kSentinel = QStringLiteral("zq-test-sentinel");
const QStringList kConfigKeys{"UpdatePkgPath",        "UpdateMode", "UpdateVersion",
                              "AccesAction",          "AccesType",  "ZQAuthorizeType",
                              "ZQAuthorizeSourceType"};

// Values compare by type and content: the text "1" is not the number 1.
bool sameValue(const QVariant& a, const QVariant& b) {
    return a.metaType() == b.metaType() && a == b;
}

QString describe(const QVariant& v) {
    return v.isValid()
               ? QStringLiteral("%1(%2)").arg(QString::fromLatin1(v.typeName()), v.toString())
               : QStringLiteral("<absent>");
}

}  // namespace

class TestAppDelegate : public QObject {
    Q_OBJECT
public:
    TestAppDelegate()
        : m_posterBus(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                    QStringLiteral("zq-test-poster"))) {}

private slots:
    void initTestCase();
    void cleanup();

    void argumentDictionary_data();
    void argumentDictionary();
    void launch_data();
    void launch();
    void observerIsRegisteredInAnExitingProcess();
    void payload_data();
    void payload();
    void payloadValuesAreCopiedAsTheyCame();
    void repeatedRequestReusesTheWindow();
    void permissionPagesShareOneWindow();
    void lastWindowEndsTheProcess();
    void pageReplacingItsWindowIsNotTheEnd_data();
    void pageReplacingItsWindowIsNotTheEnd();
    void missingPageAtStartEndsTheProcess();
    void missingPageWhileAnotherIsOpenKeepsRunning();
    void resumesDeliveryWhenInactive();
    void appearanceIsForcedLight();

    void actionOpensPage();
    void actionParameterIsPayload();
    void badActionsAreRefused_data();
    void badActionsAreRefused();
    void openHandlesPageAddresses();
    void activateShowsOpenWindows();
    void serviceModeWaitsForTheRequest();
    void serviceModeRequestForMissingPageEnds();
    void gapplicationReachesTheAction();
    void introspectionMatchesDescription();

private:
    void start(const QStringList& arguments, const QStringList& missing = {}, bool serve = false);
    void post(const QVariantMap& payload);
    // Returns once every notification posted before has been delivered.
    bool deliverAll();
    RecordingPage* page(const QString& pageName) const;
    QDBusMessage callService(const QString& method, const QVariantList& arguments);
    QVariantMap configValues() const;
    static bool isCentred(QWidget* window);

    QDBusConnection m_posterBus;
    std::unique_ptr<DistributedNotificationCenter> m_poster;
    std::unique_ptr<DistributedNotificationCenter> m_center;
    std::unique_ptr<ZQAssistConfig> m_config;
    PageLog m_log;
    zq::app::PageRegistry m_registry;
    std::unique_ptr<AppDelegate> m_delegate;
    std::unique_ptr<QSignalSpy> m_terminated;
    int m_sentinelsPosted = 0;
    int m_sentinelsSeen = 0;
};

void TestAppDelegate::initTestCase() {
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "the test needs a private session bus");
    QVERIFY(m_posterBus.isConnected());
    // A system whose version asks for the light appearance.
    const QString systemRoot = qEnvironmentVariable("ZQ_TEST_ROOT") + QStringLiteral("/system");
    QVERIFY(platform::Plist::writeFile(
        systemRoot + QStringLiteral("/System/Library/CoreServices/SystemVersion.plist"),
        QVariantMap{{QStringLiteral("ProductVersion"), QStringLiteral("10.14")},
                    {QStringLiteral("ProductBuildVersion"), QStringLiteral("18A391")}}));
    qputenv("VESKO_SYSTEM_ROOT", systemRoot.toUtf8());
    m_poster = std::make_unique<DistributedNotificationCenter>(m_posterBus);
}

void TestAppDelegate::cleanup() {
    m_delegate.reset();
    m_terminated.reset();
    m_center.reset();
    m_config.reset();
    m_log = PageLog{};
    m_sentinelsPosted = m_sentinelsSeen = 0;
    QTRY_VERIFY(!AppDelegate::hasVisibleWindow());
}

void TestAppDelegate::start(const QStringList& arguments, const QStringList& missing, bool serve) {
    m_center = std::make_unique<DistributedNotificationCenter>(QDBusConnection::sessionBus());
    m_center->addObserver(this, kSentinel,
                          [this](const QString&, const QVariantMap&) { ++m_sentinelsSeen; });
    m_config = std::make_unique<ZQAssistConfig>();
    m_registry = recordingRegistry(&m_log, missing);
    AppDelegate::Dependencies deps;
    deps.notificationCenter = m_center.get();
    deps.config = m_config.get();
    deps.registry = &m_registry;
    deps.serveApplicationInterface = serve;
    m_delegate = std::make_unique<AppDelegate>(
        QStringList{QStringLiteral("/opt/ZQAssistPanel")} + arguments, deps);
    m_terminated = std::make_unique<QSignalSpy>(m_delegate.get(), &AppDelegate::terminateRequested);
    m_delegate->applicationDidFinishLaunching();
}

void TestAppDelegate::post(const QVariantMap& payload) {
    QVERIFY(m_poster->post(kLoad, payload));
}

bool TestAppDelegate::deliverAll() {
    ++m_sentinelsPosted;
    m_poster->post(kSentinel);
    return QTest::qWaitFor([this] { return m_sentinelsSeen == m_sentinelsPosted; }, 10000);
}

RecordingPage* TestAppDelegate::page(const QString& pageName) const {
    return static_cast<RecordingPage*>(m_delegate->controllerForPage(pageName));
}

QVariantMap TestAppDelegate::configValues() const {
    return m_config->userData();
}

bool TestAppDelegate::isCentred(QWidget* window) {
    const QPoint centre = window->screen()->availableGeometry().center();
    return (window->frameGeometry().center() - centre).manhattanLength() <= 2;
}

QDBusMessage TestAppDelegate::callService(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QString::fromLatin1(zq::app::ApplicationService::kServiceName),
        QString::fromLatin1(zq::app::ApplicationService::kObjectPath),
        QStringLiteral("org.freedesktop.Application"), method);
    message.setArguments(arguments);
    QDBusPendingCallWatcher watcher(m_posterBus.asyncCall(message));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    if (!watcher.isFinished()) {
        finished.wait(10000);
    }
    return watcher.reply();
}

// ---------------------------------------------------------------------------

void TestAppDelegate::argumentDictionary_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QVariantMap>("expected");
    QTest::newRow("executable only") << QStringList{"/a/b"} << QVariantMap{{"arg0", "/a/b"}};
    QTest::newRow("one hyphen dropped")
        << QStringList{"x", "-ZQAbout"} << QVariantMap{{"arg0", "x"}, {"arg1", "ZQAbout"}};
    QTest::newRow("only the first of two hyphens")
        << QStringList{"x", "--ZQAbout"} << QVariantMap{{"arg0", "x"}, {"arg1", "-ZQAbout"}};
    QTest::newRow("hyphen optional")
        << QStringList{"x", "ZQAbout"} << QVariantMap{{"arg0", "x"}, {"arg1", "ZQAbout"}};
    QTest::newRow("lone hyphen and empty argument")
        << QStringList{"x", "-", ""} << QVariantMap{{"arg0", "x"}, {"arg1", ""}, {"arg2", ""}};
    QTest::newRow("hyphen inside kept")
        << QStringList{"x", "-a-b", "c-"}
        << QVariantMap{{"arg0", "x"}, {"arg1", "a-b"}, {"arg2", "c-"}};
    QStringList many{"x"};
    QVariantMap manyExpected{{"arg0", "x"}};
    for (int i = 1; i <= 11; ++i) {
        many << QStringLiteral("-v%1").arg(i);
        manyExpected.insert(QStringLiteral("arg%1").arg(i), QStringLiteral("v%1").arg(i));
    }
    QTest::newRow("two-digit indexes") << many << manyExpected;
}

void TestAppDelegate::argumentDictionary() {
    QFETCH(QStringList, arguments);
    QFETCH(QVariantMap, expected);
    QCOMPARE(AppDelegate::argumentDictionary(arguments), expected);
}

void TestAppDelegate::launch_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("shownPage");  // "" = the process ends with status 0
    QTest::addColumn<bool>("activated");
    QTest::addColumn<QVariantMap>("stored");  // every other config key stays unset
    QTest::addColumn<QStringList>("authStrings");

    const QVariantMap none;
    QTest::newRow("no arguments") << QStringList{} << "" << false << none << QStringList{};
    QTest::newRow("lower-case page name")
        << QStringList{"-zqabout"} << "" << false << none << QStringList{};
    QTest::newRow("two hyphens") << QStringList{"--ZQAbout"} << "" << false << none
                                 << QStringList{};
    QTest::newRow("lone hyphen") << QStringList{"-"} << "" << false << none << QStringList{};
    QTest::newRow("empty argument") << QStringList{""} << "" << false << none << QStringList{};
    QTest::newRow("page name with blank")
        << QStringList{"-ZQAbout "} << "" << false << none << QStringList{};
    QTest::newRow("other application's page")
        << QStringList{"-ZQPreferences", "-1"} << "" << false << none << QStringList{};
    QTest::newRow("about") << QStringList{"-ZQAbout"} << "ZQAbout" << true << none << QStringList{};
    QTest::newRow("about without hyphen")
        << QStringList{"ZQAbout", "-ignored"} << "ZQAbout" << true << none << QStringList{};
    QTest::newRow("update detail without parameters")
        << QStringList{"-ZQUpdateDetail"} << "ZQUpdateDetail" << false << none << QStringList{};
    QTest::newRow("update detail")
        << QStringList{"-ZQUpdateDetail", "-/tmp/dl/VeskoInput 2.1.pkg", "-UpdateByPkg", "-2.1.0"}
        << "ZQUpdateDetail" << false
        << QVariantMap{{"UpdatePkgPath", "/tmp/dl/VeskoInput 2.1.pkg"},
                       {"UpdateMode", "UpdateByPkg"},
                       {"UpdateVersion", "2.1.0"}}
        << QStringList{};
    QTest::newRow("update detail, path only")
        << QStringList{"-ZQUpdateDetail", "-/p.pkg"} << "ZQUpdateDetail" << false
        << QVariantMap{{"UpdatePkgPath", "/p.pkg"}} << QStringList{};
    QTest::newRow("update detail, empty, hyphen-only and double-hyphen parameters")
        << QStringList{"-ZQUpdateDetail", "", "-", "--1"} << "ZQUpdateDetail" << false
        << QVariantMap{{"UpdatePkgPath", ""}, {"UpdateMode", ""}, {"UpdateVersion", "-1"}}
        << QStringList{};
    QTest::newRow("update detail, fifth argument not read")
        << QStringList{"-ZQUpdateDetail", "-a", "-b", "-c", "-d"} << "ZQUpdateDetail" << false
        << QVariantMap{{"UpdatePkgPath", "a"}, {"UpdateMode", "b"}, {"UpdateVersion", "c"}}
        << QStringList{};
    QTest::newRow("update detail, non-ASCII path")
        << QStringList{"-ZQUpdateDetail", "-/home/用户/下载/新版本.pkg"} << "ZQUpdateDetail"
        << false << QVariantMap{{"UpdatePkgPath", "/home/用户/下载/新版本.pkg"}} << QStringList{};
    QTest::newRow("accessibility")
        << QStringList{"-ZQAccesAuthorize", "-2", "-5", "-9"} << "ZQAccesAuthorize" << true
        << QVariantMap{{"AccesAction", "2"}, {"AccesType", "5"}} << QStringList{"ZQAccesAuthorize"};
    QTest::newRow("accessibility, action only")
        << QStringList{"-ZQAccesAuthorize", "-2"} << "ZQAccesAuthorize" << true
        << QVariantMap{{"AccesAction", "2"}} << QStringList{"ZQAccesAuthorize"};
    QTest::newRow("contacts: action is the number 1")
        << QStringList{"-ZQContactAuthorize", "-7", "-8"} << "ZQContactAuthorize" << true
        << QVariantMap{{"AccesAction", qint64(1)}} << QStringList{"ZQContactAuthorize"};
    QTest::newRow("authorize without parameters")
        << QStringList{"-ZQAuthorize"} << "ZQAuthorize" << true
        << QVariantMap{{"AccesAction", qint64(1)}} << QStringList{"ZQAuthorize"};
    QTest::newRow("authorize, type only")
        << QStringList{"-ZQAuthorize", "-3"} << "ZQAuthorize" << true
        << QVariantMap{{"AccesAction", qint64(1)}, {"ZQAuthorizeType", "3"}}
        << QStringList{"ZQAuthorize"};
    QTest::newRow("authorize, type and source")
        << QStringList{"-ZQAuthorize", "-3", "-1"} << "ZQAuthorize" << true
        << QVariantMap{{"AccesAction", qint64(1)},
                       {"ZQAuthorizeType", "3"},
                       {"ZQAuthorizeSourceType", "1"}}
        << QStringList{"ZQAuthorize"};
    QTest::newRow("debug mode") << QStringList{"-ZQDebugMode", "-1"} << "ZQDebugMode" << true
                                << none << QStringList{};
    QTest::newRow("feedback") << QStringList{"-ZQFeedbackWindowController"}
                              << "ZQFeedbackWindowController" << true << none << QStringList{};
}

void TestAppDelegate::launch() {
    QFETCH(QStringList, arguments);
    QFETCH(QString, shownPage);
    QFETCH(bool, activated);
    QFETCH(QVariantMap, stored);
    QFETCH(QStringList, authStrings);

    start(arguments);
    if (shownPage.isEmpty()) {
        QCOMPARE(m_terminated->count(), 1);
        QCOMPARE(m_terminated->first().first().toInt(), 0);
        QVERIFY(m_log.created.isEmpty());
        QVERIFY(!AppDelegate::hasVisibleWindow());
    } else {
        RecordingPage* shown = page(shownPage);
        QVERIFY(shown);
        QCOMPARE(m_log.created.value(AppDelegate::controllerNameForPage(shownPage)), 1);
        QCOMPARE(m_log.created.size(), 1);
        QCOMPARE(shown->shows, 1);
        QVERIFY(shown->window()->isVisible());
        QCOMPARE(shown->authStrings, authStrings);
        QCOMPARE(shown->debugStateRefreshes, shownPage == QLatin1String("ZQDebugMode") ? 1 : 0);
        if (activated) {
            QTRY_VERIFY(shown->window()->isActiveWindow());
        } else {
            QVERIFY(QTest::qWaitForWindowExposed(shown->window()));
            QVERIFY(!shown->window()->isActiveWindow());
        }
        if (shownPage == QLatin1String("ZQAbout")) {
            QVERIFY(isCentred(shown->window()));
        }
        QVERIFY(!m_delegate->lastWindowCheckPending() || AppDelegate::hasVisibleWindow());
        QCOMPARE(m_terminated->count(), 0);
    }
    for (const QString& key : kConfigKeys) {
        const QVariant actual = m_config->objectForKey(key);
        const QVariant expected = stored.value(key);
        QVERIFY2(sameValue(actual, expected),
                 qPrintable(key + ": " + describe(actual) + " != " + describe(expected)));
    }
}

void TestAppDelegate::observerIsRegisteredInAnExitingProcess() {
    start({});
    QCOMPARE(m_terminated->count(), 1);
    post({{kName, QStringLiteral("ZQAbout")}});
    QTRY_VERIFY(page(QStringLiteral("ZQAbout")) && page(QStringLiteral("ZQAbout"))->shows == 1);
}

void TestAppDelegate::payload_data() {
    QTest::addColumn<QVariantMap>("payload");
    QTest::addColumn<QString>("shownPage");
    QTest::addColumn<QVariantMap>("expected");  // the whole config store afterwards

    const QString upd = QStringLiteral("ZQUpdateDetail");
    QTest::newRow("update detail copies every key, of every type")
        << QVariantMap{{kName, upd},
                       {"UpdatePkgPath", "/p.pkg"},
                       {"UpdateMode", "Silent"},
                       {"UpdateVersion", "3.0"},
                       {"Extra", qint64(7)},
                       {"Flag", true},
                       {"Ratio", 0.5}}
        << upd
        << QVariantMap{{kName, upd},
                       {"UpdatePkgPath", "/p.pkg"},
                       {"UpdateMode", "Silent"},
                       {"UpdateVersion", "3.0"},
                       {"Extra", qint64(7)},
                       {"Flag", true},
                       {"Ratio", 0.5}};
    QTest::newRow("update detail with a number for the mode")
        << QVariantMap{{kName, upd}, {"UpdateMode", qint64(2)}} << upd
        << QVariantMap{{kName, upd}, {"UpdateMode", qint64(2)}};
    QTest::newRow("accessibility copies every key") << QVariantMap{{kName, "ZQAccesAuthorize"},
                                                                   {"AccesAction", "2"},
                                                                   {"AccesType", "1"},
                                                                   {"Other", "x"}}
                                                    << "ZQAccesAuthorize"
                                                    << QVariantMap{{kName, "ZQAccesAuthorize"},
                                                                   {"AccesAction", "2"},
                                                                   {"AccesType", "1"},
                                                                   {"Other", "x"}};
    QTest::newRow("authorize copies only its own keys")
        << QVariantMap{{kName, "ZQAuthorize"},
                       {"ZQAuthorizeType", "4"},
                       {"Other", "x"},
                       {"UpdateMode", "Silent"}}
        << "ZQAuthorize" << QVariantMap{{"AccesAction", qint64(1)}, {"ZQAuthorizeType", "4"}};
    QTest::newRow("authorize with numbers") << QVariantMap{{kName, "ZQAuthorize"},
                                                           {"ZQAuthorizeType", qint64(4)},
                                                           {"ZQAuthorizeSourceType", qint64(2)}}
                                            << "ZQAuthorize"
                                            << QVariantMap{{"AccesAction", qint64(1)},
                                                           {"ZQAuthorizeType", qint64(4)},
                                                           {"ZQAuthorizeSourceType", qint64(2)}};
    QTest::newRow("contacts stores nothing")
        << QVariantMap{{kName, "ZQContactAuthorize"}, {"AccesAction", "9"}} << "ZQContactAuthorize"
        << QVariantMap{};
    QTest::newRow("about stores nothing")
        << QVariantMap{{kName, "ZQAbout"}, {"UpdateMode", "Silent"}} << "ZQAbout" << QVariantMap{};
    QTest::newRow("missing page name")
        << QVariantMap{{"UpdateMode", "Silent"}} << QString() << QVariantMap{};
    QTest::newRow("page name of another type")
        << QVariantMap{{kName, qint64(2)}, {"UpdateMode", "Silent"}} << QString() << QVariantMap{};
    QTest::newRow("boolean page name")
        << QVariantMap{{kName, true}, {"UpdateMode", "Silent"}} << QString() << QVariantMap{};
    QTest::newRow("page name in lower case")
        << QVariantMap{{kName, "zqupdatedetail"}, {"UpdateMode", "Silent"}} << QString()
        << QVariantMap{};
    QTest::newRow("empty payload") << QVariantMap{} << QString() << QVariantMap{};
}

void TestAppDelegate::payload() {
    QFETCH(QVariantMap, payload);
    QFETCH(QString, shownPage);
    QFETCH(QVariantMap, expected);

    start({});  // the process would end; the observer is registered all the same
    post(payload);
    QVERIFY(deliverAll());

    const QVariantMap actual = configValues();
    QCOMPARE(actual.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        QVERIFY2(sameValue(actual.value(it.key()), it.value()),
                 qPrintable(it.key() + ": " + describe(actual.value(it.key()))));
    }
    if (shownPage.isEmpty()) {
        QVERIFY(m_log.created.isEmpty());
        QVERIFY(!AppDelegate::hasVisibleWindow());
    } else {
        QVERIFY(page(shownPage));
        QCOMPARE(page(shownPage)->shows, 1);
    }
    // Only the start without a page ended the process.
    QCOMPARE(m_terminated->count(), 1);
}

void TestAppDelegate::payloadValuesAreCopiedAsTheyCame() {
    start({QStringLiteral("-ZQFeedbackWindowController")});
    const QVariantMap nested{{"a", "b"}, {"n", qint64(1)}};
    const QVariantList list{"x", qint64(2)};
    m_delegate->loadXibNotification({{kName, QStringLiteral("ZQAccesAuthorize")},
                                     {"AccesAction", nested},
                                     {"AccesType", list},
                                     {"Absent", QVariant()}});
    QCOMPARE(m_config->objectForKey("AccesAction"), QVariant(nested));
    QCOMPARE(m_config->objectForKey("AccesType"), QVariant(list));
    // An absent value is never stored.
    QVERIFY(!m_config->userData().contains("Absent"));
    QVERIFY(page(QStringLiteral("ZQAccesAuthorize")));
}

void TestAppDelegate::repeatedRequestReusesTheWindow() {
    start({QStringLiteral("-ZQAbout")});
    RecordingPage* about = page(QStringLiteral("ZQAbout"));
    QVERIFY(about);
    QWidget* window = about->window();
    window->move(window->screen()->availableGeometry().topLeft());
    QVERIFY(!isCentred(window));

    post({{kName, QStringLiteral("ZQAbout")}});
    QTRY_COMPARE(about->shows, 2);
    QCOMPARE(page(QStringLiteral("ZQAbout")), about);
    QCOMPARE(about->window(), window);
    QCOMPARE(m_log.created.value(QStringLiteral("ZQAboutWindowController")), 1);
    QVERIFY(isCentred(window));
    int visible = 0;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        visible += w->isVisible() ? 1 : 0;
    }
    QCOMPARE(visible, 1);
}

void TestAppDelegate::permissionPagesShareOneWindow() {
    start({QStringLiteral("-ZQContactAuthorize")});
    RecordingPage* permission = page(QStringLiteral("ZQContactAuthorize"));
    QVERIFY(permission);
    post({{kName, QStringLiteral("ZQAccesAuthorize")}, {"AccesAction", "1"}, {"AccesType", "2"}});
    post({{kName, QStringLiteral("ZQAuthorize")}, {"ZQAuthorizeType", "5"}});
    QTRY_COMPARE(permission->shows, 3);
    QCOMPARE(page(QStringLiteral("ZQAccesAuthorize")), permission);
    QCOMPARE(page(QStringLiteral("ZQAuthorize")), permission);
    QCOMPARE(m_log.created.value(QStringLiteral("ZQAccesAuthorize")), 1);
    QCOMPARE(permission->authStrings,
             (QStringList{"ZQContactAuthorize", "ZQAccesAuthorize", "ZQAuthorize"}));
}

void TestAppDelegate::lastWindowEndsTheProcess() {
    start({QStringLiteral("-ZQAbout")});
    post({{kName, QStringLiteral("ZQFeedbackWindowController")}});
    QTRY_VERIFY(page(QStringLiteral("ZQFeedbackWindowController")));
    QWidget* about = page(QStringLiteral("ZQAbout"))->window();
    QWidget* feedback = page(QStringLiteral("ZQFeedbackWindowController"))->window();

    QVERIFY(about->close());
    QTRY_VERIFY(!m_delegate->lastWindowCheckPending());
    QCOMPARE(m_terminated->count(), 0);

    QVERIFY(feedback->close());
    QTRY_COMPARE(m_terminated->count(), 1);
    QCOMPARE(m_terminated->first().first().toInt(), 0);
    // The controllers outlive their windows.
    QVERIFY(page(QStringLiteral("ZQAbout")));
}

void TestAppDelegate::pageReplacingItsWindowIsNotTheEnd_data() {
    QTest::addColumn<bool>("queued");
    QTest::newRow("in the same call") << false;
    QTest::newRow("on the next turn") << true;
}

void TestAppDelegate::pageReplacingItsWindowIsNotTheEnd() {
    QFETCH(bool, queued);
    start({QStringLiteral("-ZQAbout")});
    QWidget* about = page(QStringLiteral("ZQAbout"))->window();
    AppDelegate* delegate = m_delegate.get();
    about->close();
    if (queued) {
        QTimer::singleShot(0, delegate, [delegate] { delegate->loadXibName("ZQDebugMode"); });
    } else {
        delegate->loadXibName(QStringLiteral("ZQDebugMode"));
    }
    QTRY_VERIFY(page(QStringLiteral("ZQDebugMode")) &&
                page(QStringLiteral("ZQDebugMode"))->window()->isVisible());
    QTRY_VERIFY(!m_delegate->lastWindowCheckPending());
    QCOMPARE(m_terminated->count(), 0);
}

void TestAppDelegate::missingPageAtStartEndsTheProcess() {
    start({QStringLiteral("-ZQAbout")}, {QStringLiteral("ZQAboutWindowController")});
    QVERIFY(!page(QStringLiteral("ZQAbout")));
    QTRY_COMPARE(m_terminated->count(), 1);
    QCOMPARE(m_terminated->first().first().toInt(), 0);
}

void TestAppDelegate::missingPageWhileAnotherIsOpenKeepsRunning() {
    start({QStringLiteral("-ZQFeedbackWindowController")},
          {QStringLiteral("ZQAboutWindowController")});
    post({{kName, QStringLiteral("ZQAbout")}});
    QVERIFY(deliverAll());
    QTRY_VERIFY(!m_delegate->lastWindowCheckPending());
    QCOMPARE(m_terminated->count(), 0);
    QVERIFY(page(QStringLiteral("ZQFeedbackWindowController"))->window()->isVisible());
}

void TestAppDelegate::resumesDeliveryWhenInactive() {
    start({QStringLiteral("-ZQAbout")});
    m_center->setSuspended(true);
    post({{kName, QStringLiteral("ZQAbout")}});
    m_delegate->applicationDidResignActive();
    QVERIFY(!m_center->isSuspended());
    QTRY_COMPARE(page(QStringLiteral("ZQAbout"))->shows, 2);
}

void TestAppDelegate::appearanceIsForcedLight() {
    start({QStringLiteral("-ZQAbout")});
    QCOMPARE(QApplication::style()->name().toLower(), QStringLiteral("fusion"));
    const QPalette standard = QApplication::style()->standardPalette();
    QCOMPARE(QApplication::palette().color(QPalette::Window), standard.color(QPalette::Window));
    QCOMPARE(QApplication::palette().color(QPalette::WindowText),
             standard.color(QPalette::WindowText));
    QVERIFY(QApplication::palette().color(QPalette::Window).lightness() > 200);
}

// ---------------------------------------------------------------------------

void TestAppDelegate::actionOpensPage() {
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    const QDBusMessage reply =
        callService(QStringLiteral("ActivateAction"),
                    {QStringLiteral("ZQAbout"), QVariantList{}, QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QVERIFY(page(QStringLiteral("ZQAbout")));
    QCOMPARE(page(QStringLiteral("ZQAbout"))->shows, 1);
    QVERIFY(isCentred(page(QStringLiteral("ZQAbout"))->window()));
}

void TestAppDelegate::actionParameterIsPayload() {
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    const QVariantMap parameter{{"UpdateMode", "Silent"}, {"UpdateVersion", "3.1"}};
    const QDBusMessage reply = callService(
        QStringLiteral("ActivateAction"),
        {QStringLiteral("ZQUpdateDetail"), QVariantList{QVariant(parameter)}, QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QVERIFY(page(QStringLiteral("ZQUpdateDetail")));
    QCOMPARE(m_config->objectForKey("UpdateMode"), QVariant("Silent"));
    QCOMPARE(m_config->objectForKey("UpdateVersion"), QVariant("3.1"));
    QCOMPARE(m_config->objectForKey("kVeskoPreferencesXibName"), QVariant("ZQUpdateDetail"));
}

void TestAppDelegate::badActionsAreRefused_data() {
    QTest::addColumn<QString>("action");
    QTest::addColumn<QVariantList>("parameter");
    QTest::newRow("unknown action") << "ZQPreferences" << QVariantList{};
    QTest::newRow("page name in lower case") << "zqabout" << QVariantList{};
    QTest::newRow("empty action") << "" << QVariantList{};
    QTest::newRow("parameter not a dictionary") << "ZQAbout" << QVariantList{QVariant("x")};
    QTest::newRow("parameter a number") << "ZQUpdateDetail" << QVariantList{QVariant(qint64(3))};
}

void TestAppDelegate::badActionsAreRefused() {
    QFETCH(QString, action);
    QFETCH(QVariantList, parameter);
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    const QDBusMessage reply =
        callService(QStringLiteral("ActivateAction"), {action, parameter, QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
    QCOMPARE(m_log.created.size(), 1);
    QVERIFY(m_config->userData().isEmpty());
}

void TestAppDelegate::openHandlesPageAddresses() {
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    const QDBusMessage reply = callService(
        QStringLiteral("Open"),
        {QStringList{"https://example.invalid/ZQAbout",
                     "zqassistpanel:ZQUpdateDetail?UpdateMode=Silent&UpdateVersion=3.1%2B1",
                     "zqassistpanel:NoSuchPage"},
         QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QVERIFY(page(QStringLiteral("ZQUpdateDetail")));
    QVERIFY(!page(QStringLiteral("ZQAbout")));
    QCOMPARE(m_config->objectForKey("UpdateMode"), QVariant("Silent"));
    QCOMPARE(m_config->objectForKey("UpdateVersion"), QVariant("3.1+1"));
    QCOMPARE(m_log.created.size(), 2);
}

void TestAppDelegate::activateShowsOpenWindows() {
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    m_delegate->loadXibName(QStringLiteral("ZQAuthorize"));
    RecordingPage* feedback = page(QStringLiteral("ZQFeedbackWindowController"));
    RecordingPage* permission = page(QStringLiteral("ZQAuthorize"));
    const QDBusMessage reply = callService(QStringLiteral("Activate"), {QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(feedback->shows, 2);
    // One window, though three page names lead to it.
    QCOMPARE(permission->shows, 2);
    QVERIFY(!page(QStringLiteral("ZQAbout")));
}

void TestAppDelegate::serviceModeWaitsForTheRequest() {
    start({QString::fromLatin1(AppDelegate::kServiceModeArgument)}, {}, true);
    QCoreApplication::processEvents();
    QCOMPARE(m_terminated->count(), 0);
    const QDBusMessage reply = callService(QStringLiteral("Activate"), {QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QVERIFY(page(QStringLiteral("ZQAbout")));
    QVERIFY(page(QStringLiteral("ZQAbout"))->window()->isVisible());
    QTRY_VERIFY(!m_delegate->lastWindowCheckPending());
    QCOMPARE(m_terminated->count(), 0);
    // Then the ordinary rule: the last window closes, the process ends.
    page(QStringLiteral("ZQAbout"))->window()->close();
    QTRY_COMPARE(m_terminated->count(), 1);
}

void TestAppDelegate::serviceModeRequestForMissingPageEnds() {
    start({QString::fromLatin1(AppDelegate::kServiceModeArgument)},
          {QStringLiteral("ZQAboutWindowController")}, true);
    const QDBusMessage reply =
        callService(QStringLiteral("ActivateAction"),
                    {QStringLiteral("ZQAbout"), QVariantList{}, QVariantMap{}});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QTRY_COMPARE(m_terminated->count(), 1);
    QCOMPARE(m_terminated->first().first().toInt(), 0);
}

void TestAppDelegate::gapplicationReachesTheAction() {
    const QString tool = QStandardPaths::findExecutable(QStringLiteral("gapplication"));
    if (tool.isEmpty()) {
        QSKIP("gapplication (libglib2.0-bin) is not installed");
    }
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    QProcess process;
    process.start(tool, {QStringLiteral("action"), QStringLiteral("com.vesko.ZQAssistPanel"),
                         QStringLiteral("ZQDebugMode")});
    QSignalSpy finished(&process, &QProcess::finished);
    QVERIFY(finished.wait(20000));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
    QVERIFY(page(QStringLiteral("ZQDebugMode")));
    QCOMPARE(page(QStringLiteral("ZQDebugMode"))->debugStateRefreshes, 1);
    QVERIFY(page(QStringLiteral("ZQDebugMode"))->window()->isVisible());
}

namespace {

// method name -> argument signatures of org.freedesktop.Application in an introspection document.
QMap<QString, QStringList> applicationMethods(const QByteArray& xml) {
    QMap<QString, QStringList> methods;
    QDomDocument document;
    if (!document.setContent(xml)) {
        return methods;
    }
    const QDomNodeList interfaces = document.elementsByTagName(QStringLiteral("interface"));
    for (int i = 0; i < interfaces.size(); ++i) {
        const QDomElement interface = interfaces.at(i).toElement();
        if (interface.attribute(QStringLiteral("name")) != "org.freedesktop.Application") {
            continue;
        }
        const QDomNodeList nodes = interface.elementsByTagName(QStringLiteral("method"));
        for (int m = 0; m < nodes.size(); ++m) {
            const QDomElement method = nodes.at(m).toElement();
            QStringList arguments;
            const QDomNodeList args = method.elementsByTagName(QStringLiteral("arg"));
            for (int a = 0; a < args.size(); ++a) {
                const QDomElement arg = args.at(a).toElement();
                arguments << arg.attribute("direction", "in") + ":" + arg.attribute("type");
            }
            methods.insert(method.attribute(QStringLiteral("name")), arguments);
        }
    }
    return methods;
}

}  // namespace

void TestAppDelegate::introspectionMatchesDescription() {
    start({QStringLiteral("-ZQFeedbackWindowController")}, {}, true);
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("com.vesko.ZQAssistPanel"), QStringLiteral("/com/vesko/ZQAssistPanel"),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    QDBusPendingCallWatcher watcher(m_posterBus.asyncCall(message));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    QVERIFY(watcher.isFinished() || finished.wait(10000));
    const QDBusMessage reply = watcher.reply();
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    const auto served = applicationMethods(reply.arguments().value(0).toString().toUtf8());

    QFile description(QStringLiteral(ZQ_SOURCE_DIR "/app/dbus/org.freedesktop.Application.xml"));
    QVERIFY(description.open(QIODevice::ReadOnly));
    const auto described = applicationMethods(description.readAll());
    QCOMPARE(described.size(), 3);
    QCOMPARE(served, described);
}

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    TestAppDelegate test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_appdelegate.moc"
