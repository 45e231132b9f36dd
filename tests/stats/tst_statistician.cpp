// The usage statistics store "stat2.dat", its sync log and upgrade log.

#include "platform/Plist.h"
#include "stats/StatsClock.h"
#include "stats/ZQStatistician.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QThread>

namespace {

const QDateTime kDay(QDate(2024, 3, 9), QTime(23, 59, 58));
const QString kToday = zq::stats::dayKey(kDay);

QString path() {
    return ZQStatistician::defaultDataPath();
}

}  // namespace

class TestStatistician : public QObject {
    Q_OBJECT

    QDateTime _now;

private slots:
    void init() {
        QDir().mkpath(zq::utility::userDataFolder());
        zq::stats::setClockForTesting([this] { return _now; });
        _now = kDay;
    }
    void cleanup() { QDir(zq::utility::userDataFolder()).removeRecursively(); }

    void load_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<bool>("kept");
        const QVariantMap v1{{"statVer", "1"}, {"old", QVariantMap{{"20200101", 5}}}};
        QVariantMap v2 = v1;
        v2.insert("statVer", "2");
        QTest::newRow("statVer 1") << QVariant(v1) << true;
        QTest::newRow("statVer 2") << QVariant(v2) << false;
        QTest::newRow("statVer as a number") << QVariant(QVariantMap{{"statVer", 1}}) << false;
        QTest::newRow("not a dictionary") << QVariant(QVariantList{1, 2}) << false;
    }
    void load() {
        QFETCH(QVariant, stored);
        QFETCH(bool, kept);
        QVERIFY(platform::Plist::writeFile(path(), stored));
        const QString legacy = zq::utility::userDataFilePath("stat.dat");
        QVERIFY(platform::Plist::writeFile(legacy, QVariantMap()));
        ZQStatistician store(path());
        QVERIFY(!QFileInfo::exists(legacy));
        store.addCountByKey("n");
        store.saveData();
        store.waitForQueuedWork();
        QVariantMap expected = kept ? stored.toMap() : QVariantMap{{"statVer", "1"}};
        expected.insert("n", QVariantMap{{kToday, 1}});
        QCOMPARE(platform::Plist::readDictionary(path()), expected);
    }

    void dayValues() {
        ZQStatistician store(path());
        const QString k = "k", f = "f", p = "p";
        store.addCount(3, k);
        store.addCount(4, k);
        QCOMPARE(store.getCurrentDayCountByKey(k), 7);
        _now = kDay.addSecs(3);  // after midnight
        store.addCount(2, k);
        QCOMPARE(store.valueForKey(k), QVariant(QVariantMap{{kToday, 7}, {"20240310", 2}}));

        store.setFloatValue(1.5f, f);
        store.keepMaxFloatValue(1.5f, f);
        store.keepMaxFloatValue(1.0f, f);
        QCOMPARE(store.getFloatValueByKey(f), 1.5f);
        store.keepMaxFloatValue(2.5f, f);
        QCOMPARE(store.getFloatValueByKey(f), 2.5f);

        for (const char* info : {"a", "b", "c"}) {
            store.setCorePingbackInfo(QString::fromLatin1(info), p);
        }
        store.setCorePingbackInfo(QVariant(), p);
        const QVariantList records = store.getMutableArrayByKey(p).value_or(QVariantList());
        QCOMPARE(records.size(), 3);
        QCOMPARE(records.at(2), QVariant(QVariantMap{{"Data", "c"}, {"Count", 3}}));

        store.setValue("x", k);
        store.setValue(QVariant(), k);
        QVERIFY(!store.valueForKey(k).isValid());
    }

    void savesOnlyChanges() {
        ZQStatistician store(path());
        store.saveData();
        store.saveData();
        QCOMPARE(store.writeCount(), 1);
        store.addCountByKey("k");
        store.saveData();
        QCOMPARE(store.writeCount(), 2);
    }

    void concurrentCountsAddUp() {
        ZQStatistician store(path());
        QList<QThread*> threads;
        for (int t = 0; t < 8; ++t) {
            threads.append(QThread::create([&store] {
                for (int i = 0; i < 1000; ++i) {
                    store.addCountByKey("k");
                }
            }));
            threads.last()->start();
        }
        for (QThread* thread : threads) {
            QVERIFY(thread->wait(60000));
            delete thread;
        }
        QCOMPARE(store.getCurrentDayCountByKey("k"), 8000);
    }

    void syncLog() {
        ZQStatistician::saveUsrSyncLog("同步 a");
        ZQStatistician::saveUsrSyncLog("\r\nb");
        QFile log(ZQStatistician::syncLogPath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(log.readAll()),
                 "2024-03-09 23:59:58 同步 a\r\n\r\n2024-03-09 23:59:58 b\r\n");
        log.close();
        for (const int size : {102400, 102401}) {  // kept up to 100 KiB
            QVERIFY(log.open(QIODevice::WriteOnly | QIODevice::Truncate));
            log.write(QByteArray(size, 'x'));
            log.close();
            ZQStatistician::clearUsrSyncLog();
            QCOMPARE(log.exists(), size == 102400);
        }
    }

    void upgradeLog() {
        ZQStatistician::setUpgradeInfoWithType(3);
        ZQStatistician::setUpgradeInfoWithType(12);
        QCOMPARE(ZQStatistician::getUpgradeInfo(), "12_3");
        ZQStatistician::clearUpgradeInfo();
        QCOMPARE(ZQStatistician::getUpgradeInfo(), QString());
        QFile garbage(path());  // a file that does not read is left as it is
        QVERIFY(garbage.open(QIODevice::WriteOnly));
        garbage.write("not a property list");
        garbage.close();
        ZQStatistician::setUpgradeInfoWithType(4);
        QCOMPARE(platform::Plist::readFile(path()), std::nullopt);
        QCOMPARE(QFileInfo(path()).size(), 19);
    }
};

QTEST_GUILESS_MAIN(TestStatistician)
#include "tst_statistician.moc"
