// The About page's model against VeskoService, the reference input-method
// service, on the private bus: the check answers, the installation in every
// order of answer and animation end, the write probes, the watchdog, and the
// background-approval branch against the reference desktop services. Time
// moves by a manual clock only.

#include "pages/models/ZQAboutModel.h"
#include "pages/models/ZQAboutServices.h"
#include "pages/models/ZQPageReporter.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "stats/ZQPubStatistician.h"
#include "utility/ZQSiblingApps.h"

#include <QDBusInterface>
#include <QFile>
#include <QProcess>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

QString contents() {
    return qEnvironmentVariable("VESKO_INSTALL_ROOT") + QStringLiteral("/Contents");
}

void writeInstalled(const QString& version) {
    QVERIFY(platform::Plist::writeFile(contents() + QStringLiteral("/Info.plist"),
                                       QVariantMap{{"CFBundleFullVersion", version}}));
}

// A program started with its options, ready once it prints "ready", killed
// at the end.
struct Program {
    QProcess process;
    bool start(const QString& program, const QStringList& options) {
        process.start(program, options);
        return QTest::qWaitFor([this] { return process.canReadLine() || !process.isOpen(); },
                               20000) &&
               process.readLine().startsWith("ready");
    }
    ~Program() {
        process.kill();
        process.waitForFinished();
    }
};

const QString kJournal = QDir::temp().filePath(QStringLiteral("im.jsonl"));

// The service's journal once it has handled everything sent to it before.
QString journal() {
    ZQNotifyVeskoInputProxy(QDBusConnection::sessionBus()).call(QStringLiteral("getZQRuntime"));
    QFile file(kJournal);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The event codes a page reports.
struct Events : ZQPageReporter {
    QStringList codes;
    void reportDataWithEventCode(const QString& code, const QVariantMap&) override {
        codes << code;
    }
};

// The process check sees the whole machine: while a VeskoService of another
// session runs (another test, another user), "not running" cannot be shown.
#define SKIP_WHILE_ANOTHER_SERVICE_RUNS()                                \
    if (isVeskoProcessExist(2)) {                                        \
        QSKIP("a VeskoService of another session runs on this machine"); \
    }

}  // namespace

class TestAboutModel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(platform::installTranslations(qApp));
        writeInstalled(QStringLiteral("1.0.0"));
    }
    void init() {
        writeInstalled(QStringLiteral("1.0.0"));
        QFile::remove(ZQPubStatistician::storePath());
        QFile::remove(kJournal);
    }
    void cleanup() { QDir(contents() + QStringLiteral("/test.plist")).removeRecursively(); }

    void checkAnswer_data();
    void checkAnswer();
    void install_data();
    void install();
    void backgroundApproval();
};

void TestAboutModel::checkAnswer_data() {
    QTest::addColumn<QStringList>("service");  // empty: no service process
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("status");  // empty: hidden
    QTest::addColumn<QVariant>("stored");

    QTest::newRow("service not running") << QStringList() << 3 << "检查更新"
                                         << "输入法服务未运行，暂时无法检查更新" << QVariant();
    QTest::newRow("newer version") << QStringList{"--remote-version", "1.0.10"} << 1 << "更新APP"
                                   << "" << QVariant("1.0.10");
    QTest::newRow("same version") << QStringList{"--remote-version", "1.0.0"} << 2 << "已是最新"
                                  << "" << QVariant("1.0.0");
    QTest::newRow("no answer yet") << QStringList{"--check", "silent"} << 0 << "    检查更新"
                                   << "" << QVariant();
    QTest::newRow("check fails") << QStringList{"--check", "fail"} << 4 << "检查更新"
                                 << "网络异常，检查更新失败，请稍后重试" << QVariant();
}

void TestAboutModel::checkAnswer() {
    QFETCH(QStringList, service);
    QFETCH(int, state);
    QFETCH(QString, title);
    QFETCH(QString, status);
    QFETCH(QVariant, stored);

    Program im;
    if (service.isEmpty()) {
        SKIP_WHILE_ANOTHER_SERVICE_RUNS();
    } else {
        QVERIFY(im.start(QStringLiteral(ZQ_REFIM), service + QStringList{"--journal", kJournal}));
    }
    platform::ManualClock clock;
    ZQAboutModel model(&clock);
    model.setUp();
    QCOMPARE(model.versionLine(), QStringLiteral("Vesko输入法版本：1.0.0"));
    QTRY_COMPARE(model.viewState(), state);
    QCOMPARE(model.checkButtonTitle(), title);
    QCOMPARE(model.checkButtonEnabled(), state != 2);
    QCOMPARE(model.statusVisible(), !status.isEmpty());
    if (!status.isEmpty()) {
        QCOMPARE(model.statusText(), status);
    }
    // The version answered waits for the store, attached after the first paint.
    model.setServices(zq::pages::aboutServices());
    bool written = false;
    model.afterPendingWork([&] { written = true; });
    QTRY_VERIFY(written);
    QCOMPARE(ZQPubStatistician::getPubDataByKey(QStringLiteral("VeskoInputNewVersion")), stored);

    if (state == 0) {
        // The title with the spinner's blanks is no button to press.
        model.checkUpdateBtnClickAction();
        bool applied = false;
        model.afterPendingWork([&] { applied = true; });
        QTRY_VERIFY(applied);
        QCOMPARE(journal().count(QStringLiteral("\"kVeskoCloudManualCheckUpdate\"")), 1);
        QCOMPARE(model.viewState(), 0);
    }
}

void TestAboutModel::install_data() {
    QTest::addColumn<QString>("mode");   // the service's --install
    QTest::addColumn<bool>("readOnly");  // the probe cannot write into Contents
    QTest::addColumn<int>(
        "stepAfterAnswer");          // the bar's move 10 ms after the answer; -1: no answer
    QTest::addColumn<int>("first");  // milliseconds before the mid-way check
    QTest::addColumn<int>("midState");
    QTest::addColumn<QString>("posted");     // the answer the test then posts, if any
    QTest::addColumn<QString>("installed");  // the version the test installs, if any
    QTest::addColumn<int>("then");
    QTest::addColumn<int>("state");

    QTest::newRow("answer first, then the bar runs on by one unit")
        << "ok" << false << 1 << 0 << 5 << ""
        << "" << 2000 << 2;
    QTest::newRow("probe fails: through the installer") << "ok" << true << 1 << 0 << 5 << ""
                                                        << "" << 2000 << 2;
    QTest::newRow("bar at its end, then success") << "silent" << false << -1 << 30000 << 5 << "1"
                                                  << "" << 0 << 2;
    QTest::newRow("bar at its end, then failure") << "silent" << false << -1 << 30000 << 5 << "0"
                                                  << "" << 0 << 7;
    QTest::newRow("failure stops the bar where it is") << "fail" << false << 0 << 0 << 7 << ""
                                                       << "" << 0 << 7;
    QTest::newRow("no answer: 600 s wait, failure at 605 s")
        << "silent" << false << -1 << 600000 << 5 << ""
        << "" << 5000 << 7;
    QTest::newRow("the watchdog sees the new version") << "silent" << false << -1 << 0 << 5 << ""
                                                       << "2.0.1" << 5000 << 2;
}

void TestAboutModel::install() {
    QFETCH(QString, mode);
    QFETCH(bool, readOnly);
    QFETCH(int, stepAfterAnswer);
    QFETCH(int, first);
    QFETCH(int, midState);
    QFETCH(QString, posted);
    QFETCH(QString, installed);
    QFETCH(int, then);
    QFETCH(int, state);

    if (readOnly) {
        // A folder where the probe writes its file: no user can write it there.
        QVERIFY(QDir().mkpath(contents() + QStringLiteral("/test.plist")));
    }
    Program im;
    QVERIFY(im.start(QStringLiteral(ZQ_REFIM), {"--remote-version", "2.0.1", "--install", mode,
                                                "--install-seconds", "0", "--journal", kJournal}));
    platform::ManualClock clock;
    ZQAboutModel model(&clock);
    Events events;
    if (!readOnly) {  // the read-only row attaches it at the end: the events wait, in order
        model.setReporter(&events);
    }
    model.setUp();
    QTRY_COMPARE(model.viewState(), 1);
    model.checkUpdateBtnClickAction();
    // A failure may be answered at once.
    QTRY_VERIFY(model.viewState() == 5 || model.viewState() == 7);
    QCOMPARE(model.progressShown(), 2);
    QCOMPARE(model.watchdogRunning(), model.viewState() == 5);
    if (stepAfterAnswer >= 0) {
        QTRY_VERIFY(model.isUpdateSus() || model.viewState() == 7);
        clock.advance(30ms);  // the step planned before the answer
        const int shown = model.progressShown();
        clock.advance(10ms);
        QCOMPARE(model.progressShown() - shown, stepAfterAnswer);
    }
    clock.advance(std::chrono::milliseconds(first));
    QCOMPARE(model.viewState(), midState);
    if (first >= 30000) {
        // The bar has climbed to 96 by itself and waits for the answer.
        QCOMPARE(model.progressShown(), 96);
        QVERIFY(model.isUpdateSus());
    }
    if (!posted.isEmpty()) {
        platform::DistributedNotificationCenter::defaultCenter()->post(
            QStringLiteral("kVeskoCloudManualUpdateResult"), {{"result", posted}});
    }
    if (!installed.isEmpty()) {
        writeInstalled(installed);
    }
    clock.advance(std::chrono::milliseconds(then));
    QTRY_COMPARE(model.viewState(), state);

    QCOMPARE(model.checkButtonTitle(),
             state == 2 ? QStringLiteral("已是最新") : QStringLiteral("更新APP"));
    QCOMPARE(model.checkButtonEnabled(), state == 7);
    QCOMPARE(model.statusVisible(), state == 7);
    QVERIFY(!model.watchdogRunning());
    QVERIFY(!model.observingUpdateResult());
    if (mode == QLatin1String("ok")) {
        QCOMPARE(model.versionLine(), QStringLiteral("Vesko输入法版本：2.0.1"));
    }
    const bool succeeded = mode == QLatin1String("ok") || posted == QLatin1String("1");
    const QStringList expected =
        succeeded ? QStringList{"mac_clck", "mac_upd_suc"} : QStringList{"mac_clck"};
    if (readOnly) {
        model.setReporter(&events);
    }
    QCOMPARE(events.codes, expected);
    const QString requests = journal();
    QCOMPARE(requests.contains(QStringLiteral("\"kVeskoNotifyDownloadInstaller\"")), readOnly);
    QCOMPARE(requests.contains(QStringLiteral("\"kVeskoNotifyRemoteVersion\"")), !readOnly);
}

void TestAboutModel::backgroundApproval() {
    SKIP_WHILE_ANOTHER_SERVICE_RUNS();
    // The desktop's Background portal holds the user's refusal for the service.
    Program desktop;
    // Debian's interpreter, which has python3-dbus and python3-gi.
    QVERIFY(desktop.start(QStringLiteral("/usr/bin/python3"),
                          {QStringLiteral(ZQ_SOURCE_DIR "/tests/utility/desktop_services.py")}));
    QDBusInterface control(QStringLiteral("com.vesko.test.Desktop"), QStringLiteral("/control"),
                           QStringLiteral("com.vesko.test.Desktop"));
    QVERIFY(control
                .call(QStringLiteral("Configure"),
                      R"({"background": 1, "decisions": {"com.vesko.VeskoServices": "no"}})")
                .errorName()
                .isEmpty());
    // The assist panel as the permission page is launched: it notes its arguments.
    const QString panel =
        contents() + QStringLiteral("/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel");
    const QString noted = QDir::temp().filePath(QStringLiteral("launched"));
    QVERIFY(QDir().mkpath(QFileInfo(panel).path()));
    QFile script(panel);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write(
        QStringLiteral("#!/bin/sh\necho \"$@\" > %1.tmp && mv %1.tmp %1\n").arg(noted).toUtf8());
    script.close();
    QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    platform::ManualClock clock;
    ZQAboutModel model(&clock);
    model.setUp();
    QTRY_COMPARE(model.viewState(), 3);
    QVERIFY(!model.statusVisible());  // no "service not running" while approval is pending
    model.checkUpdateBtnClickAction();
    QTRY_VERIFY(QFile::exists(noted));
    QFile launched(noted);
    QVERIFY(launched.open(QIODevice::ReadOnly));
    QCOMPARE(launched.readAll(), QByteArray("-ZQAuthorize -5 -13\n"));
    QCOMPARE(model.viewState(), 3);  // the click went to the permission page only
}

QTEST_GUILESS_MAIN(TestAboutModel)
#include "tst_aboutmodel.moc"
