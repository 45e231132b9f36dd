// Sibling applications and cross-process messages, end to end: stand-in
// processes, recording bundles, notifications seen on a second connection.

#include "utility/ZQSiblingApps.h"

#include "log/ZQLogManager.h"
#include "platform/Configuration.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Locations.h"
#include "platform/Plist.h"
#include "platform/Workspace.h"
#include "tests/platform/PlatformTestSupport.h"
#include "utility/ProductLocations.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>

using Invoke = std::function<void()>;
Q_DECLARE_METATYPE(Invoke)

namespace {

using zq::test::MarkerProcess;

constexpr const char* kListenerConnection = "siblings-listener";
constexpr const char* kSkinShopConnection = "siblings-skinshop";

QString designBundle(const char* bundle) {
    return QString::fromUtf8(bundle);
}

// The bundle on this machine for a path in the input method's terms.
QString localBundle(const char* bundle) {
    return zq::utility::expandProductPath(designBundle(bundle));
}

// The D-Bus object of a running skin shop: org.freedesktop.Application.
class FakeApplication : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    int activations = 0;

public slots:
    void Activate(const QVariantMap&) { ++activations; }
};

struct Notification {
    QString name;
    QVariantMap userInfo;
};

}  // namespace

class TestSiblingApps : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "the test runs on a private bus");
        QVERIFY(_systemRoot.isValid());
        QVERIFY(_scratch.isValid());

        // The system version is read once per process: make it 10.13.6 before
        // anything asks, so that the touch-bar rule applies.
        QVERIFY(platform::Plist::writeFile(
            _systemRoot.filePath("System/Library/CoreServices/SystemVersion.plist"),
            QVariantMap{{"ProductVersion", "10.13.6"}, {"ProductBuildVersion", "17G66"}}));
        qputenv("VESKO_SYSTEM_ROOT", _systemRoot.path().toUtf8());

        ZQLogManager* log = ZQLogManager::sharedInstance();
        QVERIFY(log->enableRunLogConfig(ZQLogType::Utility));
        QVERIFY(log->setLogMaxCount(1000000));
        QVERIFY(log->canRecordLog(ZQLogType::Utility));

        QDBusConnection listener = QDBusConnection::connectToBus(
            QDBusConnection::SessionBus, QString::fromLatin1(kListenerConnection));
        QVERIFY(listener.isConnected());
        _listener = std::make_unique<platform::DistributedNotificationCenter>(listener);
        _listener->addObserver(&_listenerContext, QString(),
                               [this](const QString& name, const QVariantMap& userInfo) {
                                   _seen.append({name, userInfo});
                               });
        QVERIFY(zq::test::syncWithBus(listener));
    }

    void init() {
        // A fresh install root per case: a stand-in or a launched script of one
        // case can never be taken for the target of the next.
        _installRoot = std::make_unique<QTemporaryDir>();
        QVERIFY(_installRoot->isValid());
        qputenv("VESKO_INSTALL_ROOT", _installRoot->path().toUtf8());
        _seen.clear();
        // No address ever reaches the desktop: the cases read what was opened.
        _opened.clear();
        platform::Workspace::setUrlOpener([this](const QUrl& url) {
            _opened.append(url);
            return true;
        });
        _logStart = ZQLogManager::sharedInstance()->logContent().size();
    }

    void cleanup() {
        platform::Workspace::setUrlOpener({});
        zq::utility::setPrivilegeHelper({});
        QDBusConnection::disconnectFromBus(QString::fromLatin1(kSkinShopConnection));
        _installRoot.reset();
    }

    void cleanupTestCase() {
        _listener.reset();
        QDBusConnection::disconnectFromBus(QString::fromLatin1(kListenerConnection));
    }

    void indexesOutsideTheTable_data() {
        QTest::addColumn<qint64>("index");
        QTest::newRow("0") << qint64(0);
        QTest::newRow("15") << qint64(15);
        QTest::newRow("2^32 + 4") << (qint64(1) << 32) + 4;
    }

    void indexesOutsideTheTable() {
        QFETCH(qint64, index);
        // Even a process whose command line holds every table text does not
        // make an index outside the table true.
        QStringList all;
        for (qint64 i = 1; i <= 14; ++i) {
            all.append(zq::utility::processSearchText(i));
        }
        MarkerProcess everything(all.join(QLatin1Char(' ')));
        QVERIFY(everything.isStarted());
        QVERIFY(isVeskoProcessExist(4));
        QVERIFY(zq::utility::processTableText(index).isNull());
        QVERIFY(!isVeskoProcessExist(index));
    }

    void touchBarServerStandsInForTheAgent_data() {
        QTest::addColumn<QString>("processes");
        QTest::addColumn<qint64>("index");
        QTest::addColumn<bool>("serverCounts");
        QTest::addColumn<bool>("expected");

        const QString server = "/usr/libexec/TouchBarServer";
        const QString agent = QStringLiteral(
            "/System/Library/CoreServices/ControlStrip.app/Contents/MacOS/TouchBarAgent");
        QTest::newRow("server, 10.13 or later") << server << qint64(6) << true << true;
        QTest::newRow("server, before 10.13") << server << qint64(6) << false << false;
        QTest::newRow("agent, before 10.13") << agent << qint64(6) << false << true;
        QTest::newRow("server is no stand-in for other entries")
            << server << qint64(12) << true << false;
        QTest::newRow("substring across lines does not count")
            << QStringLiteral("/usr/libexec/TouchBar\nServer") << qint64(6) << true << false;
    }

    void touchBarServerStandsInForTheAgent() {
        QFETCH(QString, processes);
        QFETCH(qint64, index);
        QFETCH(bool, serverCounts);
        QFETCH(bool, expected);
        QCOMPARE(zq::utility::processListShows(processes, index, serverCounts), expected);
    }

    void touchBarServerOnThisSystem() {
        // This process reads its system version as 10.13.6 (initTestCase).
        QVERIFY(!isVeskoProcessExist(6));
        MarkerProcess server("/usr/libexec/TouchBarServer");
        QVERIFY(server.isStarted());
        QVERIFY(isVeskoProcessExist(6));
    }

    void opener_data() {
        QTest::addColumn<Invoke>("invoke");
        QTest::addColumn<bool>("running");
        QTest::addColumn<qint64>("processIndex");
        QTest::addColumn<QString>("notification");
        QTest::addColumn<QVariantMap>("payload");
        QTest::addColumn<QString>("bundle");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("function");
        QTest::addColumn<bool>("begins");  // the opener logs "beg" first

        const QString load = "kVeskoNotifyLoadXibInZQAssistPanel";
        const QString page = "kVeskoPreferencesXibName";
        const QString panel = designBundle(zq::utility::kAssistPanelBundle);

        const auto add = [](const char* name, const Invoke& invoke, qint64 index,
                            const QString& notification, const QVariantMap& payload,
                            const QString& bundle, const QStringList& arguments,
                            const char* function, bool begins) {
            for (const bool running : {true, false}) {
                QTest::addRow("%s, %s", name, running ? "running" : "not running")
                    << invoke << running << index << notification << payload << bundle << arguments
                    << QString::fromLatin1(function) << begins;
            }
        };

        add(
            "about page", [] { CallZQAssistantPanelPage(0); }, 4, load, {{page, "ZQAbout"}}, panel,
            {"-ZQAbout"}, "CallZQAssistantPanelPage", true);
        add(
            "update detail without a package",
            [] {
                CallUpdateDetailToVeskoPreference(QString(), "Silent", QStringLiteral("6.10.0"));
            },
            4, load,
            {{page, "ZQUpdateDetail"},
             {"UpdatePkgPath", ""},
             {"UpdateMode", "Silent"},
             {"UpdateVersion", "6.10.0"}},
            panel, {"-ZQUpdateDetail", "-", "-Silent", "-6.10.0"},
            "CallUpdateDetailToVeskoPreference", true);

        const QString preference = designBundle(zq::utility::kPreferenceBundle);
        const QString changeView = "kVeskoNotifyChangeViewInVeskoPreference";
        add(
            "preferences without a tab",
            [] {
                CallPreferenceToVeskoPreference({{"keyShowSpeechStatusItemAlert", "1"}});
            },
            3, changeView, {{page, "ZQPreferences"}, {"keyShowSpeechStatusItemAlert", "1"}},
            preference, {"-ZQPreferences"}, "CallPreferenceToVeskoPreference", true);
        add(
            "preferences, numbers and a page of the caller's",
            [] {
                CallPreferenceToVeskoPreference({{"keyPreferenceTab", qint64(3)},
                                                 {"keyShowPicCustumItemAlert", true},
                                                 {"kVeskoPreferencesXibName", "ZQSkin"}});
            },
            3, changeView,
            {{page, "ZQSkin"},
             {"keyPreferenceTab", qint64(3)},
             {"keyShowPicCustumItemAlert", true}},
            preference, {"-ZQPreferences", "-3", "-0", "-0", "-1"},
            "CallPreferenceToVeskoPreference", true);

        const QString statPanel = designBundle(zq::utility::kInputStatPanelBundle);
        const QString statView = "kVeskoNotifyChangeViewInInputStat";
        add(
            "input statistics",
            [] {
                CallInputStatPanel({{"keyInputStatTab", "2"}, {"from", "menu"}});
            },
            8, statView, {{"keyInputStatTab", "2"}, {"from", "menu"}}, statPanel, {"2"},
            "CallInputStatPanel", false);

        add(
            "screenshot", [] { CallScreenshotApp("kVeskoNotifyScreenShotOCR"); }, 14,
            "kVeskoNotifyScreenShotOCR", {}, designBundle(zq::utility::kTextRecognitionBundle),
            {"-kVeskoNotifyScreenShotOCR"}, "CallScreenshotApp", false);
    }

    void opener() {
        QFETCH(Invoke, invoke);
        QFETCH(bool, running);
        QFETCH(qint64, processIndex);
        QFETCH(QString, notification);
        QFETCH(QVariantMap, payload);
        QFETCH(QString, bundle);
        QFETCH(QStringList, arguments);
        QFETCH(QString, function);
        QFETCH(bool, begins);
        const QStringList beg = begins ? QStringList{"beg"} : QStringList();

        // Both branches have their application installed: only the running
        // check decides.
        const QString local = zq::utility::expandProductPath(bundle);
        QVERIFY(zq::test::makeRecordingBundle(local));
        std::unique_ptr<MarkerProcess> target;
        if (running) {
            target = std::make_unique<MarkerProcess>(zq::utility::processSearchText(processIndex));
            QVERIFY(target->isStarted());
        }
        QCOMPARE(isVeskoProcessExist(processIndex), running);

        invoke();

        if (running) {
            QVERIFY(drainNotifications());
            const QList<Notification> got = seenBeforeMarker();
            QCOMPARE(got.size(), 1);
            QCOMPARE(got.constFirst().name, notification);
            QCOMPARE(zq::test::typedText(got.constFirst().userInfo), zq::test::typedText(payload));
            QCOMPARE(logEntries(function), beg);
            QVERIFY2(!QFile::exists(zq::test::recordedArgumentsFile(local)),
                     "nothing was launched");
        } else {
            QTRY_VERIFY(zq::test::recordedArguments(local).has_value());
            QCOMPARE(*zq::test::recordedArguments(local), arguments);
            QCOMPARE(logEntries(function), beg + QStringList{"launch success"});
            QVERIFY(drainNotifications());
            QVERIFY2(seenBeforeMarker().isEmpty(), "nothing was posted");
            // The launched script is a process of the table while it runs.
            QTRY_VERIFY(!isVeskoProcessExist(processIndex));
        }
    }

    void pageIndexOutsideTheTableDoesNothing_data() {
        QTest::addColumn<qint64>("index");
        QTest::addColumn<bool>("running");
        QTest::newRow("-1, running") << qint64(-1) << true;
        QTest::newRow("4, not running") << qint64(4) << false;
    }

    void pageIndexOutsideTheTableDoesNothing() {
        QFETCH(qint64, index);
        QFETCH(bool, running);
        const QString local = localBundle(zq::utility::kAssistPanelBundle);
        QVERIFY(zq::test::makeRecordingBundle(local));
        std::unique_ptr<MarkerProcess> target;
        if (running) {
            target = std::make_unique<MarkerProcess>(zq::utility::processSearchText(4));
            QVERIFY(target->isStarted());
        }
        CallZQAssistantPanelPage(index);
        QVERIFY(drainNotifications());
        QVERIFY(seenBeforeMarker().isEmpty());
        // "beg" is the opener's first step; no launch was tried.
        QCOMPARE(logEntries(QStringLiteral("CallZQAssistantPanelPage")), QStringList{"beg"});
        QVERIFY(!QFile::exists(zq::test::recordedArgumentsFile(local)));
    }

    void launchFailureIsOnlyLogged() {
        // Nothing is installed under this case's install root.
        QVERIFY(!isVeskoProcessExist(4));
        CallZQAssistantPanelPage(0);
        CallInputStatPanel({{"keyInputStatTab", "1"}});
        QCOMPARE(logEntries(QStringLiteral("CallZQAssistantPanelPage")),
                 (QStringList{"beg", "launch failed"}));
        QCOMPARE(logEntries(QStringLiteral("CallInputStatPanel")), QStringList{"launch failed"});
        QVERIFY(drainNotifications());
        QVERIFY(seenBeforeMarker().isEmpty());
    }

    void pluginCopyIsPreferred() {
        const QString installed = localBundle(zq::utility::kAssistPanelBundle);
        const QString plugin = zq::utility::pluginFolder() + QStringLiteral("/ZQAssistPanel.app");
        QVERIFY(zq::test::makeRecordingBundle(installed));
        QVERIFY(zq::test::makeRecordingBundle(plugin));
        CallZQAssistantPanelPage(1);
        QTRY_VERIFY(zq::test::recordedArguments(plugin).has_value());
        QCOMPARE(*zq::test::recordedArguments(plugin), QStringList{"-ZQDebugMode"});
        QVERIFY(!QFile::exists(zq::test::recordedArgumentsFile(installed)));
        QVERIFY(QDir(zq::utility::pluginFolder()).removeRecursively());
    }

    void skinShop_data() {
        QTest::addColumn<bool>("running");
        QTest::addColumn<qint64>("launchFrom");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QStringList>("arguments");  // of the launch, when not running
        const QString address = "https://skin.vesko.example/shop?id=7";
        QTest::newRow("running, address") << true << qint64(4) << address << QStringList();
        QTest::newRow("running, no address") << true << qint64(-2) << QString() << QStringList();
        QTest::newRow("not running, address")
            << false << qint64(4) << address << QStringList{"-4", "-" + address};
        QTest::newRow("not running, empty address")
            << false << qint64(0) << "" << QStringList{"-0", "-"};
    }

    void skinShop() {
        QFETCH(bool, running);
        QFETCH(qint64, launchFrom);
        QFETCH(QString, url);
        QFETCH(QStringList, arguments);
        FakeApplication application;
        if (running) {
            QDBusConnection shop = QDBusConnection::connectToBus(
                QDBusConnection::SessionBus, QString::fromLatin1(kSkinShopConnection));
            QVERIFY(shop.registerObject("/com/vesko/ZQSkinManager", &application,
                                        QDBusConnection::ExportAllSlots));
            QVERIFY(shop.registerService(VeskoSkinShopBundleIdentifier()));
        }
        const QString local = localBundle(zq::utility::kSkinManagerBundle);
        QVERIFY(zq::test::makeRecordingBundle(local));
        CallSkinShopApp(launchFrom, url);
        if (!running) {
            QTRY_VERIFY(zq::test::recordedArguments(local).has_value());
            QCOMPARE(*zq::test::recordedArguments(local), arguments);
        }
        QVERIFY(drainNotifications());
        const QList<Notification> got = seenBeforeMarker();
        QCOMPARE(got.size(), running ? 1 : 0);
        if (running) {
            QCOMPARE(got.constFirst().name, QStringLiteral("kVeskoNotifyLaunchSkinShop"));
            QCOMPARE(zq::test::typedText(got.constFirst().userInfo),
                     zq::test::typedText(QVariantMap{{"launchFrom", QString::number(launchFrom)},
                                                     {"urlString", url}}));
            QTRY_COMPARE(application.activations, 1);
            QVERIFY(!QFile::exists(zq::test::recordedArgumentsFile(local)));
        }
        QCOMPARE(logEntries("CallSkinShopApp"),
                 running ? QStringList() : QStringList{"launch success"});
    }

    void screenRecordAuth_data() {
        QTest::addColumn<bool>("settingsRunning");
        QTest::addColumn<QList<QUrl>>("expected");

        // Through the settings-page table: the desktop's addresses, never the
        // input method's own (no desktop has a handler for those).
        const QUrl localPane("settings://security");
        const QUrl localPrivacy("settings://privacy/screen-recording");
        QTest::newRow("settings not running") << false << QList<QUrl>{localPrivacy};
        QTest::newRow("settings running") << true << QList<QUrl>{localPane, localPrivacy};
    }

    void screenRecordAuth() {
        QFETCH(bool, settingsRunning);
        QFETCH(QList<QUrl>, expected);

        const QString ini = _scratch.filePath("panes.ini");
        QFile file(ini);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(
            "[SettingsPanes]\n"
            "Security.prefPane=settings://security\n"
            "Privacy_ScreenCapture=settings://privacy/screen-recording\n");
        file.close();
        qputenv("VESKO_CONFIG", ini.toUtf8());
        platform::Configuration::reload();
        const auto restore = qScopeGuard([] {
            qunsetenv("VESKO_CONFIG");
            platform::Configuration::reload();
        });

        std::unique_ptr<MarkerProcess> settings;
        if (settingsRunning) {
            settings = std::make_unique<MarkerProcess>(zq::utility::processSearchText(10));
            QVERIFY(settings->isStarted());
        }
        CallSystemScreenRecordAuth();
        QVERIFY2(_opened.isEmpty(), "addresses open on a later turn of the event loop");
        QTRY_COMPARE(_opened.size(), expected.size());
        QCOMPARE(_opened, expected);
        QVERIFY(logEntries(QStringLiteral("CallSystemScreenRecordAuth")).isEmpty());
    }

    void notificationHelpers() {
        SendDistributedNotification("kZQTestNone");
        SendDistributedNotification("kZQTestNull", std::nullopt);
        SendDistributedNotification("kZQTestPayload", QVariantMap{{"log", "行"}});
        QVERIFY(drainNotifications());
        const QList<Notification> got = seenBeforeMarker();
        QCOMPARE(got.size(), 3);
        QCOMPARE(got.at(0).name, QStringLiteral("kZQTestNone"));
        QVERIFY(got.at(0).userInfo.isEmpty());
        QVERIFY(got.at(1).userInfo.isEmpty());
        QCOMPARE(got.at(2).userInfo, (QVariantMap{{QStringLiteral("log"), QStringLiteral("行")}}));

        // The in-process centre: delivered to this process's observers only.
        _seen.clear();
        QObject context;
        QList<Notification> local;
        platform::NotificationCenter::defaultCenter()->addObserver(
            &context, "kZQTestLocal", [&local](const QString& name, const QVariantMap& userInfo) {
                local.append({name, userInfo});
            });
        SendNotification("kZQTestLocal", QVariantMap{{"k", 1}});
        SendNotification("kZQTestLocal");
        QCOMPARE(local.size(), 2);
        QCOMPARE(local.at(0).userInfo.value(QStringLiteral("k")), QVariant(1));
        QVERIFY(local.at(1).userInfo.isEmpty());
        QVERIFY(drainNotifications());
        QVERIFY2(seenBeforeMarker().isEmpty(), "in-process notifications stay in the process");
    }

    void notificationFromAnotherThread() {
        QThread* worker = QThread::create([] {
            SendDistributedNotification("kZQTestFromWorker", QVariantMap{{"n", qint64(1)}});
        });
        worker->start();
        QVERIFY(worker->wait(10000));
        delete worker;
        QTRY_VERIFY(seen("kZQTestFromWorker"));
    }

    void urlAddress_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::newRow("http") << "http://vesko.com" << true;
        QTest::newRow("underscore lies in A-z") << "h_tp://x" << true;
        QTest::newRow("digit in the scheme") << "h2p://x" << false;
        QTest::newRow("one slash") << "http:/vesko.com" << false;
        QTest::newRow("line break after the slashes") << "http://vesko\n.com" << false;
    }

    void urlAddress() {
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(isUrlAddress(text), expected);
    }

    void openUrlWithUrlString_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("bare host gets http")
            << "www.vesko.com" << QByteArray("http://www.vesko.com");
        QTest::newRow("Chinese") << "https://vesko.com/s?q=中文"
                                 << QByteArray("https://vesko.com/s?q=%E4%B8%AD%E6%96%87");
        QTest::newRow("percent sign encoded again")
            << "https://vesko.com/a%20b" << QByteArray("https://vesko.com/a%2520b");
        QTest::newRow("hash is not in the query set")
            << "https://vesko.com/p#top" << QByteArray("https://vesko.com/p%23top");
        QTest::newRow("query set kept")
            << "https://u@vesko.com:8080/~me/a-b_c.d?x=1;y=(2)*3+4,$5!'6'"
            << QByteArray("https://u@vesko.com:8080/~me/a-b_c.d?x=1;y=(2)*3+4,$5!'6'");
    }

    void openUrlWithUrlString() {
        QFETCH(QString, text);
        QFETCH(QByteArray, expected);
        OpenUrlWithUrlString(text);
        QVERIFY2(_opened.isEmpty(), "the address opens on a later turn of the event loop");
        QTRY_COMPARE(_opened.size(), 1);
        QVERIFY2(_opened.constFirst().isValid(), qPrintable(_opened.constFirst().errorString()));
        QCOMPARE(_opened.constFirst().toEncoded(), expected);
    }

    void doAppleScript_data() {
        QTest::addColumn<QString>("command");  // FILE stands for an output file
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QByteArray>("output");  // null: no file

        QTest::newRow("success") << "printf ok > FILE" << true << QByteArray("ok");
        QTest::newRow("quotes reach the shell unescaped")
            << "echo \"a  b\" 'c' > FILE" << true << QByteArray("a  b c\n");
        QTest::newRow("failure after output")
            << "printf partial > FILE; false" << false << QByteArray("partial");
        QTest::newRow("killed by a signal") << "kill -KILL $$" << false << QByteArray();
        QTest::newRow("empty command") << "" << true << QByteArray();
    }

    void doAppleScript() {
        QFETCH(QString, command);
        QFETCH(bool, expected);
        QFETCH(QByteArray, output);

        // The helper records that it was used, then runs its arguments as pkexec would.
        const QString helper = _scratch.filePath("grant");
        {
            QFile script(helper);
            QVERIFY(script.open(QIODevice::WriteOnly | QIODevice::Truncate));
            script.write("#!/bin/sh\nprintf '%s|%s' \"$1\" \"$2\" > \"$0.used\"\nexec \"$@\"\n");
            script.close();
            QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        }
        QFile::remove(helper + QStringLiteral(".used"));
        zq::utility::setPrivilegeHelper({helper});

        const QString file = _scratch.filePath("out.txt");
        QFile::remove(file);
        command.replace("FILE", file);

        QCOMPARE(::doAppleScript(command), expected);
        QFile used(helper + QStringLiteral(".used"));
        QVERIFY(used.open(QIODevice::ReadOnly));
        QCOMPARE(used.readAll(), QByteArray("/bin/sh|-c"));
        if (output.isNull()) {
            QVERIFY(!QFile::exists(file));
        } else {
            QFile result(file);
            QVERIFY(result.open(QIODevice::ReadOnly));
            QCOMPARE(result.readAll(), output);
        }
    }

    void doAppleScriptWithoutHelper() {
        zq::utility::setPrivilegeHelper({_scratch.filePath("no-such-helper")});
        const QString file = _scratch.filePath("never.txt");
        QVERIFY(!::doAppleScript(QStringLiteral("touch '%1'").arg(file)));
        QVERIFY(!QFile::exists(file));
    }

    void doAppleScriptKeepsEventsFlowing() {
        // The command waits for a line that only a timer of this thread writes:
        // it can finish only if this thread keeps handling events meanwhile.
        zq::utility::setPrivilegeHelper({"/usr/bin/env"});
        const QString fifo = _scratch.filePath("answer.fifo");
        QFile::remove(fifo);
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        int writer = -1;
        QTimer::singleShot(0, this, [&writer, fifo] {
            writer = ::open(QFile::encodeName(fifo).constData(), O_RDWR | O_NONBLOCK);
            if (writer >= 0) {
                [[maybe_unused]] const ssize_t n = ::write(writer, "go\n", 3);
            }
        });
        const bool ok = ::doAppleScript(
            QStringLiteral("read answer < '%1' && test \"$answer\" = go").arg(fifo));
        QVERIFY(writer >= 0);
        ::close(writer);
        QVERIFY(ok);
    }

    void runPrivilegedCommand() {
        zq::utility::setPrivilegeHelper({"/usr/bin/env"});
        const QString file = _scratch.filePath("async.txt");
        QFile::remove(file);

        QObject context;
        std::optional<bool> result;
        QThread* doneThread = nullptr;
        zq::utility::runPrivilegedCommand(QStringLiteral("printf done > '%1'").arg(file), &context,
                                          [&](bool ok) {
                                              result = ok;
                                              doneThread = QThread::currentThread();
                                          });
        QVERIFY2(!result.has_value(), "the caller does not wait");
        QTRY_VERIFY(result.has_value());
        QVERIFY(*result);
        QCOMPARE(doneThread, QCoreApplication::instance()->thread());

        std::optional<bool> failed;
        zq::utility::runPrivilegedCommand("exit 1", &context, [&](bool ok) { failed = ok; });
        QTRY_VERIFY(failed.has_value());
        QVERIFY(!*failed);

        // A command whose context goes away still runs to its end; only the
        // completion is dropped.
        const QString late = _scratch.filePath("late.txt");
        QFile::remove(late);
        bool called = false;
        {
            QObject shortLived;
            zq::utility::runPrivilegedCommand(QStringLiteral("printf late > '%1'").arg(late),
                                              &shortLived, [&called](bool) { called = true; });
        }
        QTRY_VERIFY(QFile::exists(late));
        QVERIFY(!called);
    }

private:
    // Notifications seen by the second connection since the case began.
    QList<Notification> _seen;
    QList<QUrl> _opened;
    bool seen(const QString& name) const {
        return std::any_of(_seen.cbegin(), _seen.cend(),
                           [&name](const Notification& n) { return n.name == name; });
    }
    // Posts a marker from this process and waits until it arrives; whatever
    // the code under test posted before it has then arrived too.
    bool drainNotifications() {
        _marker = QStringLiteral("kZQTestMarker%1").arg(++_markerCount);
        SendDistributedNotification(_marker);
        return QTest::qWaitFor([this] { return seen(_marker); }, 10000);
    }
    QList<Notification> seenBeforeMarker() const {
        QList<Notification> before;
        for (const Notification& n : _seen) {
            if (n.name == _marker) {
                break;
            }
            before.append(n);
        }
        return before;
    }

    // Run-log entries (content) of `function` since the case began.
    QStringList logEntries(const QString& function) const {
        static const QRegularExpression kLine(QStringLiteral(
            "\\A\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} : (\\S+) \\d+ : (.*) "
            "\\(\\{.*\\}\\)\\z"));
        const QStringList lines = ZQLogManager::sharedInstance()->logContent();
        QStringList entries;
        for (qsizetype i = _logStart; i < lines.size(); ++i) {
            const QRegularExpressionMatch match = kLine.match(lines.at(i));
            if (match.hasMatch() && match.captured(1) == function) {
                entries.append(match.captured(2));
            }
        }
        return entries;
    }

    std::unique_ptr<QTemporaryDir> _installRoot;
    std::unique_ptr<platform::DistributedNotificationCenter> _listener;
    QObject _listenerContext;
    QTemporaryDir _systemRoot;
    QTemporaryDir _scratch;
    QString _marker;
    qsizetype _logStart = 0;
    int _markerCount = 0;
};

QTEST_GUILESS_MAIN(TestSiblingApps)
#include "tst_siblingapps.moc"
