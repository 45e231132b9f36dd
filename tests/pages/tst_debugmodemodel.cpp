// The debug-mode window's model on the private bus: what each switch posts,
// the period's range, the countdown and its highlighted run, and the period
// read back from the cloud store. Time moves by a manual clock only.

#include "pages/models/ZQDebugModeModel.h"
#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Translations.h"
#include "stats/ZQCloudStatitician.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QSignalSpy>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

// 2024-05-01 08:30:59 UTC; the tests run in UTC.
const QDateTime kNow = QDateTime::fromSecsSinceEpoch(1714552259);

}  // namespace

class TestDebugModeModel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(platform::installTranslations(qApp));
        _center.addObserver(this, QStringLiteral("kVeskoNotifyStartDebugModeByHand"),
                            [this](const QString&, const QVariantMap& payload) {
                                _posted << payload.value("debugmodestatus").toString();
                            });
        _center.addObserver(this, QStringLiteral("barrier"),
                            [this](const QString&, const QVariantMap&) { _barrier = true; });
    }
    void init() { posted(); }  // posts of earlier tests do not count
    void switches_data();
    void switches();
    void countdown();
    void periodFromTheStore_data();
    void periodFromTheStore();

private:
    // The posts made so far, once they have come back over the bus: a post of
    // our own behind them comes back after them.
    QStringList posted() {
        _barrier = false;
        _center.post(QStringLiteral("barrier"));
        if (!QTest::qWaitFor([this] { return _barrier; }, 5000)) {
            return {QStringLiteral("(the bus did not answer)")};
        }
        return std::exchange(_posted, {});
    }

    platform::DistributedNotificationCenter _center{QDBusConnection::sessionBus()};
    QStringList _posted;
    bool _barrier = false;
};

void TestDebugModeModel::switches_data() {
    QTest::addColumn<QList<int>>("clicks");  // -1: turned on from the About page
    QTest::addColumn<QStringList>("posts");
    QTest::addColumn<bool>("on");
    QTest::addColumn<bool>("counting");
    QTest::addColumn<QString>("range");  // of the on text
    const QString first = QStringLiteral("2024-05-01 08:30～2024-05-01 12:30");
    QTest::newRow("on from the About page")
        << QList<int>{-1} << QStringList{"1"} << true << false << first;
    QTest::newRow("on while on posts nothing")
        << QList<int>{-1, 0} << QStringList{"1"} << true << false << first;
    QTest::newRow("off") << QList<int>{-1, 1} << QStringList{"1", "0"} << false << true << "";
    QTest::newRow("off twice") << QList<int>{-1, 1, 1} << QStringList{"1", "0"} << false << true
                               << "";
    QTest::newRow("on during the countdown: a new period")
        << QList<int>{-1, 1, 0} << QStringList{"1", "0", "1"} << true << false
        << "2024-05-01 08:31～2024-05-01 12:31";
}

void TestDebugModeModel::switches() {
    QFETCH(QList<int>, clicks);
    QFETCH(QStringList, posts);
    QFETCH(bool, on);
    QFETCH(bool, counting);
    QFETCH(QString, range);
    platform::ManualClock clock(kNow);
    ZQDebugModeModel model(&clock);
    for (int click : clicks) {
        if (click < 0) {
            model.setDebugModeEnabled();
        } else {
            model.setDebugModeState(click);
        }
        clock.advance(2s);
    }
    QCOMPARE(posted(), posts);
    QCOMPARE(model.onSwitchOn(), on);
    QCOMPARE(model.offSwitchOn(), !on);
    QCOMPARE(model.countdownVisible(), counting);
    QCOMPARE(model.countdownRunning(), counting);
    QCOMPARE(model.detailText(),
             on ? ZQDebugModeModel::onText() + QStringLiteral("\n开启时间：") + range
                : ZQDebugModeModel::offText());
}

void TestDebugModeModel::countdown() {
    platform::ManualClock clock(kNow);
    ZQDebugModeModel model(&clock);
    QSignalSpy hidden(&model, &ZQDebugModeModel::hideRequested);
    model.setDebugModeEnabled();
    model.setDebugModeState(ZQDebugModeModel::TagOff);
    QCOMPARE(model.countdownText(), QStringLiteral("此窗口将在30秒钟后自动关闭"));
    QCOMPARE(model.highlightLength(), 4);  // "30秒钟"
    clock.advance(20s);
    QCOMPARE(model.countdownText(), QStringLiteral("此窗口将在10秒钟后自动关闭"));
    QCOMPARE(model.highlightLength(), 4);
    clock.advance(1s);
    QCOMPARE(model.countdownText(), QStringLiteral("此窗口将在9秒钟后自动关闭"));
    QCOMPARE(model.highlightLength(), 3);  // "9秒钟"
    clock.advance(8999ms);
    QCOMPARE(hidden.size(), 0);
    clock.advance(1ms);
    QCOMPARE(model.countdownText(), QStringLiteral("此窗口将在0秒钟后自动关闭"));
    QCOMPARE(hidden.size(), 1);
    QVERIFY(!model.countdownRunning());
    clock.advance(60s);
    QCOMPARE(hidden.size(), 1);
}

void TestDebugModeModel::periodFromTheStore_data() {
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("period");  // empty: no period line
    QTest::newRow("whole seconds")
        << QVariant(qint64(1714566645)) << "\n开启时间：2024-05-01 08:30～2024-05-01 12:30";
    QTest::newRow("fraction of a second")
        << QVariant(1714566645.9) << "\n开启时间：2024-05-01 08:30～2024-05-01 12:30";
    QTest::newRow("as text") << QVariant("1714566645")
                             << "\n开启时间：2024-05-01 08:30～2024-05-01 12:30";
    QTest::newRow("missing") << QVariant() << "";
    QTest::newRow("not a number") << QVariant(QVariantList{1}) << "";
}

void TestDebugModeModel::periodFromTheStore() {
    QFETCH(QVariant, stored);
    QFETCH(QString, period);
    QVERIFY(QDir().mkpath(zq::utility::userDataFolder()));
    QFile::remove(ZQCloudStatitician::storePath());
    ZQCloudStatitician::sharedInstance()->setValueStat3(stored,
                                                        QStringLiteral("ZQSettingLogFinishedTime"));
    platform::ManualClock clock(kNow);
    ZQDebugModeModel model(&clock);
    model.setDebugModeState(ZQDebugModeModel::TagOff);
    model.showDebugModeEnabled();
    QCOMPARE(model.detailText(), ZQDebugModeModel::onText() + period);
    QVERIFY(model.onSwitchOn() && !model.offSwitchOn() && !model.countdownVisible());
    QCOMPARE(posted(), QStringList{"0"});  // showing the mode posts nothing
}

QTEST_GUILESS_MAIN(TestDebugModeModel)
#include "tst_debugmodemodel.moc"
