// The cloud, public and accounts stores: day keys, read-change-write rules,
// encrypted files and the accounts file's mirroring and login rules.

#include "crypto/ZQSecurityUtil.h"
#include "platform/Plist.h"
#include "stats/AnalyticsSettings.h"
#include "stats/StatsClock.h"
#include "stats/ZQAccsStatistician.h"
#include "stats/ZQCloudStatitician.h"
#include "stats/ZQPubStatistician.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <QTimeZone>

#include <ctime>

namespace {

QDateTime localAt(int year, int month, int day, int hour = 12, int minute = 0) {
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::LocalTime);
}

void useClock(const QDateTime& now) {
    zq::stats::setClockForTesting([now] { return now; });
}

QVariantMap readCloud() {
    return platform::Plist::readDictionary(ZQCloudStatitician::storePath()).value_or(QVariantMap{});
}

void writeCloud(const QVariantMap& store) {
    QVERIFY(platform::Plist::writeFile(ZQCloudStatitician::storePath(), store));
}

QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeBytes(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

void setTimeZone(const QByteArray& zone) {
    qputenv("TZ", zone);
    tzset();
}
}  // namespace

class TestStatStores : public QObject {
    Q_OBJECT

private slots:
    void init() {
        useClock(localAt(2024, 5, 10));
        QFile::remove(ZQCloudStatitician::storePath());
        QFile::remove(ZQPubStatistician::storePath());
        QFile::remove(ZQAccsStatistician::storePath());
        QDir().mkpath(zq::utility::userDataFolder());
    }

    void cleanup() {
        zq::stats::setClockForTesting({});
        setTimeZone("UTC");
    }

    void dayValueSetters_data() {
        QTest::addColumn<bool>("keepEarlierDays");
        QTest::addColumn<QVariantMap>("expected");
        QTest::newRow("setCloudStatDataValue replaces the days")
            << false << QVariantMap{{"20240510", 7}};
        QTest::newRow("setToadyCloudStatDataValue keeps them")
            << true << QVariantMap{{"20240508", 1}, {"20240509", 2}, {"20240510", 7}};
    }

    void dayValueSetters() {
        QFETCH(bool, keepEarlierDays);
        QFETCH(QVariantMap, expected);
        writeCloud({{"k", QVariantMap{{"20240508", 1}, {"20240509", 2}}}, {"other", "x"}});
        if (keepEarlierDays) {
            ZQCloudStatitician::setToadyCloudStatDataValue(7, "k");
        } else {
            ZQCloudStatitician::setCloudStatDataValue(7, "k");
        }
        const QVariantMap store = readCloud();
        QCOMPARE(store.value("k").toMap(), expected);
        QCOMPARE(store.value("other").toString(), QString("x"));
    }

    void yesterdayReadsTheFinishedDay() {
        QVERIFY(QDir(zq::utility::userDataFolder()).removeRecursively());  // a count creates it
        ZQCloudStatitician::addCloudStatDataCountByKey("clicks");
        ZQCloudStatitician::addCloudStatDataCountByKey("clicks");
        QCOMPARE(ZQCloudStatitician::getTodayCloudStatDataByKey("clicks").toLongLong(), 2);
        QVERIFY(!ZQCloudStatitician::getCloudStatDataByKey("clicks").isValid());

        useClock(localAt(2024, 5, 11, 0, 1));
        QCOMPARE(ZQCloudStatitician::getCloudStatDataByKey("clicks").toLongLong(), 2);
        QVERIFY(!ZQCloudStatitician::getTodayCloudStatDataByKey("clicks").isValid());
        ZQCloudStatitician::addCloudStatDataCountByKey("clicks");
        QCOMPARE(readCloud().value("clicks").toMap(),
                 (QVariantMap{{"20240510", 2}, {"20240511", 1}}));
    }

    void countsAddToTodaysValue_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("integer") << QVariant(qint64(41)) << qint64(42);
        QTest::newRow("text with a tail") << QVariant("12abc") << qint64(13);
    }

    void countsAddToTodaysValue() {
        QFETCH(QVariant, stored);
        QFETCH(qint64, expected);
        writeCloud({{"k", QVariantMap{{"20240510", stored}}}});
        ZQCloudStatitician::addCloudStatDataCountByKey("k");
        const QVariant today = readCloud().value("k").toMap().value("20240510");
        QCOMPARE(today.typeId(), QMetaType::LongLong);
        QCOMPARE(today.toLongLong(), expected);
    }

    void yesterdayIsOneDayOfSecondsBefore_data() {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QString>("today");
        QTest::addColumn<QString>("yesterday");
        // Berlin: 2024-03-31 has 23 hours, 2024-10-27 has 25.
        const auto row = [](const char* name, int month, int day, int hour, int minute,
                            const QString& today, const QString& yesterday) {
            QTest::newRow(name) << QDateTime(QDate(2024, month, day), QTime(hour, minute),
                                             QTimeZone("Europe/Berlin"))
                                << today << yesterday;
        };
        row("after the short day, 00:30", 4, 1, 0, 30, "20240401", "20240330");
        row("after the short day, 01:30", 4, 1, 1, 30, "20240401", "20240331");
        row("late on the long day", 10, 27, 23, 30, "20241027", "20241027");
        row("after the long day", 10, 28, 0, 30, "20241028", "20241027");
    }

    void yesterdayIsOneDayOfSecondsBefore() {
        QFETCH(QDateTime, now);
        QFETCH(QString, today);
        QFETCH(QString, yesterday);
        if (!QTimeZone("Europe/Berlin").isValid()) {
            QSKIP("time zone data for Europe/Berlin is not installed");
        }
        setTimeZone("Europe/Berlin");
        useClock(now);
        QCOMPARE(zq::stats::todayKey(), today);
        QCOMPARE(zq::stats::yesterdayKey(), yesterday);
    }

    void clearKeepsYesterdayAndLater() {
        const QVariantMap before{
            {"k", QVariantMap{{"20240508", 1}, {"20240509", 2}, {"20240510", 3}, {"20240511", 4}}},
            {"upgradelog", QVariantMap{{"1", ""}, {"7", ""}, {"zeta", "kept: sorts after digits"}}},
            {"sgupdate", QVariantMap{{"2024", "x"}, {"20240509", "y"}}},
            {"sgocsupdate", QVariantMap{}},
            {"ZQSettingLogFinishedTime", 1715000000.5},
            {"flag", "20200101"},
        };
        writeCloud(before);
        ZQCloudStatitician::clearCloudStatData();
        const QVariantMap after = readCloud();
        QCOMPARE(after.value("k").toMap(),
                 (QVariantMap{{"20240509", 2}, {"20240510", 3}, {"20240511", 4}}));
        // Plain text order: "1" sorts before "20240509" and goes, "7" and "zeta" sort after it.
        QCOMPARE(after.value("upgradelog").toMap(),
                 (QVariantMap{{"7", ""}, {"zeta", "kept: sorts after digits"}}));
        QCOMPARE(after.value("sgupdate").toMap(), (QVariantMap{{"20240509", "y"}}));
        QVERIFY(after.contains("sgocsupdate"));
        QCOMPARE(after.value("ZQSettingLogFinishedTime").toDouble(), 1715000000.5);
        QCOMPARE(after.value("flag").toString(), QString("20200101"));
    }

    // An unreadable file is left alone by the clean-up and counts as empty.
    void unreadableFile() {
        const QByteArray garbage = "<?xml version=\"1.0\"?><plist><dict><key>k</key>";
        writeBytes(ZQCloudStatitician::storePath(), garbage);
        ZQCloudStatitician::clearCloudStatData();
        QCOMPARE(fileBytes(ZQCloudStatitician::storePath()), garbage);
        QVERIFY(!ZQCloudStatitician::getTodayCloudStatDataByKey("k").isValid());
        QCOMPARE(ZQCloudStatitician::getUpgradeInfo(), QString());
        QCOMPARE(ZQCloudStatitician::sharedInstance()->getOCSLiteFloatValueByKey("k"), 0.0f);
        ZQCloudStatitician::addCloudStatDataCountByKey("k");
        QCOMPARE(readCloud(), (QVariantMap{{"k", QVariantMap{{"20240510", 1}}}}));
    }

    void upgradeLog() {
        QCOMPARE(ZQCloudStatitician::getUpgradeInfo(), QString());
        ZQCloudStatitician::setUpgradeInfoWithType(3);
        ZQCloudStatitician::setUpgradeInfoWithType(-1);
        ZQCloudStatitician::setUpgradeInfo("note", "x");
        ZQCloudStatitician::setUpgradeInfoWithType(3);
        QCOMPARE(readCloud().value("upgradelog").toMap(),
                 (QVariantMap{{"-1", ""}, {"3", ""}, {"x", "note"}}));
        QCOMPARE(ZQCloudStatitician::getUpgradeInfo(), QString("-1_3_x"));

        QVariantMap store = readCloud();
        store.insert("upgradever", "1.0");
        store.insert("upgradenewver", "2.0");
        store.insert("keep", "me");
        writeCloud(store);
        ZQCloudStatitician::clearUpgradeInfo();
        QCOMPARE(readCloud(), (QVariantMap{{"keep", "me"}}));
        QCOMPARE(ZQCloudStatitician::getUpgradeInfo(), QString());
    }

    void scriptAndLiteModuleInfo() {
        ZQCloudStatitician::setJsExecInfo("ran", "script1");
        ZQCloudStatitician::setOCSLiteInfo(3, "module");
        QCOMPARE(ZQCloudStatitician::getJsExecInfoForKey("script1").toString(), QString("ran"));
        QCOMPARE(ZQCloudStatitician::getOCSLiteInfoForKey("module").toLongLong(), 3);
        QVERIFY(!ZQCloudStatitician::getJsExecInfoForKey("module").isValid());
        QCOMPARE(readCloud().value("sgupdate").toMap(), (QVariantMap{{"script1", "ran"}}));
        QCOMPARE(readCloud().value("sgocsupdate").toMap(), (QVariantMap{{"module", 3}}));
    }

    void liteModuleFloats() {
        ZQCloudStatitician* store = ZQCloudStatitician::sharedInstance();
        QCOMPARE(store->getOCSLiteFloatValueByKey("speed"), 0.0f);
        store->setOCSLiteFloatValue(1.25f, "speed");
        QCOMPARE(store->getOCSLiteFloatValueByKey("speed"), 1.25f);
        QCOMPARE(store->getOCSLiteLastDayFloatValueByKey("speed"), 0.0f);
        useClock(localAt(2024, 5, 11));
        store->setOCSLiteFloatValue(0.1f, "speed");
        QCOMPARE(store->getOCSLiteFloatValueByKey("speed"), 0.1f);
        QCOMPARE(store->getOCSLiteLastDayFloatValueByKey("speed"), 1.25f);
    }

    void absentValuesAreNotStored() {
        writeCloud({{"k", QVariantMap{{"20240509", 1}}}});
        const QByteArray before = fileBytes(ZQCloudStatitician::storePath());
        ZQCloudStatitician::setCloudStatDataValue(QVariant(), "k");
        ZQCloudStatitician::setToadyCloudStatDataValue(QVariant(), "k");
        ZQCloudStatitician::setUpgradeInfo(QVariant(), "x");
        ZQCloudStatitician::setCloudStatDataValue(5, QString());
        ZQCloudStatitician::sharedInstance()->setValueStat3(QVariant(), "k");
        QCOMPARE(fileBytes(ZQCloudStatitician::storePath()), before);
    }

    void publicStoreRoundTrip() {
        QVERIFY(!ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").isValid());
        ZQPubStatistician::setPubDataValue("3.2.1", "VeskoInputNewVersion");
        ZQPubStatistician::setPubDataValue(5, "count");
        QCOMPARE(ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").toString(),
                 QString("3.2.1"));
        QCOMPARE(ZQPubStatistician::getPubDataByKey("count").toLongLong(), 5);

        // The file is the encrypted form, not a property list.
        const QByteArray text = fileBytes(ZQPubStatistician::storePath());
        QVERIFY(!text.contains("VeskoInputNewVersion"));
        QVERIFY(!platform::Plist::readDictionary(ZQPubStatistician::storePath()));
        QCOMPARE(ZQSecurityUtil::dictionaryWithContentsOfAESFile(ZQPubStatistician::storePath()),
                 (QVariantMap{{"VeskoInputNewVersion", "3.2.1"}, {"count", 5}}));

        ZQPubStatistician::setPubDataValue(QVariant(), "count");
        QVERIFY(!ZQPubStatistician::getPubDataByKey("count").isValid());
        QCOMPARE(ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").toString(),
                 QString("3.2.1"));
    }

    void publicStoreMigratesAPlainFile() {
        QVERIFY(platform::Plist::writeFile(ZQPubStatistician::storePath(),
                                           QVariantMap{{"VeskoInputNewVersion", "2.0"}}));
        QCOMPARE(ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").toString(),
                 QString("2.0"));
        QVERIFY(!platform::Plist::readDictionary(ZQPubStatistician::storePath()));
        ZQPubStatistician::setPubDataValue("2.1", "VeskoInputNewVersion");
        QCOMPARE(ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").toString(),
                 QString("2.1"));
    }

    void publicStoreRefusesUnreadableValues() {
        ZQPubStatistician::setPubDataValue("2.0", "VeskoInputNewVersion");
        const QByteArray before = fileBytes(ZQPubStatistician::storePath());
        ZQPubStatistician::setPubDataValue(QVariantList{1, 2}, "list");
        ZQPubStatistician::setPubDataValue(QVariantMap{{"when", QDateTime::currentDateTimeUtc()}},
                                           "nested");
        ZQPubStatistician::setPubDataValue(QByteArray("raw"), "bytes");
        QCOMPARE(fileBytes(ZQPubStatistician::storePath()), before);
        ZQPubStatistician::setPubDataValue(QVariantMap{{"a", QVariantMap{{"b", true}}}}, "nested");
        QCOMPARE(ZQPubStatistician::getPubDataByKey("nested").toMap(),
                 (QVariantMap{{"a", QVariantMap{{"b", true}}}}));
        QCOMPARE(ZQPubStatistician::getPubDataByKey("VeskoInputNewVersion").toString(),
                 QString("2.0"));
    }

    void publicStoreOverGarbage() {
        writeBytes(ZQPubStatistician::storePath(), "bm90IGEgc3RvcmU=\n");
        QVERIFY(!ZQPubStatistician::getPubDataByKey("x").isValid());
        ZQPubStatistician::setPubDataValue("1", "x");
        QCOMPARE(ZQSecurityUtil::dictionaryWithContentsOfAESFile(ZQPubStatistician::storePath()),
                 (QVariantMap{{"x", "1"}}));
    }

    void accountValuesAreMirrored_data() {
        QTest::addColumn<QVariantMap>("initial");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QVariantMap>("expectedRecord");

        const QVariantMap alice{{"kUserDirectory", "/data/alice"}};
        const QVariantMap loggedIn{
            {"kCurrentUser", "alice"},
            {"kCurrentUserState", "1"},
            {"kAccounts", QVariantMap{{"alice", alice}, {"bob", QVariantMap{}}}}};
        const auto aliceWith = [&alice](const char* key, const QVariant& value) {
            QVariantMap record = alice;
            record.insert(key, value);
            return record;
        };
        const QVariantMap withToken = aliceWith("kUserToken", "T1");

        QTest::newRow("token") << loggedIn << "kCurrentUserToken" << QVariant("T1") << withToken;
        QTest::newRow("other keys stay top-level")
            << loggedIn << "kCurrentUserState" << QVariant("0") << alice;
        QVariantMap loggedOut = loggedIn;
        loggedOut.insert("kCurrentUserState", "0");
        QTest::newRow("mirrored whatever the login state")
            << loggedOut << "kCurrentUserToken" << QVariant("T1") << withToken;

        QVariantMap tokenSet = loggedIn;
        QVariantMap accounts = tokenSet.value("kAccounts").toMap();
        accounts.insert("alice", withToken);
        tokenSet.insert("kAccounts", accounts);
        tokenSet.insert("kCurrentUserToken", "T1");
        QTest::newRow("removing a value removes the copy")
            << tokenSet << "kCurrentUserToken" << QVariant() << alice;
    }

    void accountValuesAreMirrored() {
        QFETCH(QVariantMap, initial);
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(QVariantMap, expectedRecord);
        QVERIFY(ZQSecurityUtil::writeDict(initial, ZQAccsStatistician::storePath()));
        ZQAccsStatistician::setAccsDataValue(value, key);
        const QVariantMap after = ZQAccsStatistician::getAccsDataDict().value_or(QVariantMap{});
        QCOMPARE(after.value("kAccounts").toMap().value("alice").toMap(), expectedRecord);
        QCOMPARE(after.value("kAccounts").toMap().value("bob").toMap(), QVariantMap{});
        QCOMPARE(after.value(key), value);
        QCOMPARE(after.contains(key), value.isValid());
    }

    void removingAccounts_data() {
        QTest::addColumn<QString>("account");
        QTest::addColumn<bool>("currentUserKept");
        QTest::newRow("the current user") << "alice" << false;
        QTest::newRow("another user") << "bob" << true;
    }

    void removingAccounts() {
        QFETCH(QString, account);
        QFETCH(bool, currentUserKept);
        const QVariantMap initial{
            {"kCurrentUser", "alice"},
            {"kCurrentUserState", "1"},
            {"kAccounts", QVariantMap{{"alice", QVariantMap{{"kUserToken", "A"}}},
                                      {"bob", QVariantMap{{"kUserToken", "B"}}}}}};
        QVERIFY(ZQSecurityUtil::writeDict(initial, ZQAccsStatistician::storePath()));
        ZQAccsStatistician::removeAccsDataByAccount(account);
        const QVariantMap after = ZQAccsStatistician::getAccsDataDict().value_or(QVariantMap{});
        QVERIFY(!after.value("kAccounts").toMap().contains(account));
        QCOMPARE(after.value("kAccounts").toMap().size(), 1);
        QCOMPARE(after.contains("kCurrentUser"), currentUserKept);
        QCOMPARE(after.value("kCurrentUserState").toString(), QString("1"));
    }

    void removingAnUnknownAccountWritesNothing() {
        QVERIFY(ZQSecurityUtil::writeDict({{"kAccounts", QVariantMap{{"a", QVariantMap{}}}}},
                                          ZQAccsStatistician::storePath()));
        const QByteArray before = fileBytes(ZQAccsStatistician::storePath());
        const QDateTime modified = QFileInfo(ZQAccsStatistician::storePath()).lastModified();
        ZQAccsStatistician::removeAccsDataByAccount("nobody");
        QCOMPARE(fileBytes(ZQAccsStatistician::storePath()), before);
        QCOMPARE(QFileInfo(ZQAccsStatistician::storePath()).lastModified(), modified);

        QFile::remove(ZQAccsStatistician::storePath());
        ZQAccsStatistician::removeAccsDataByAccount("a");
        QVERIFY(!QFileInfo::exists(ZQAccsStatistician::storePath()));
    }

    void importAndLoginState_data() {
        QTest::addColumn<QVariantMap>("store");
        QTest::addColumn<bool>("loggedIn");
        QTest::addColumn<bool>("importDefaults");

        // The current user "a" in the given state, with one record of the given import flag.
        const auto store = [](const char* state, const char* owner, const QVariant& import) {
            return QVariantMap{
                {"kCurrentUserState", state},
                {"kCurrentUser", "a"},
                {"kAccounts", QVariantMap{{owner, QVariantMap{{"kUserImport", import}}}}}};
        };
        QTest::newRow("no file") << QVariantMap() << false << true;
        QTest::newRow("logged in, imported") << store("1", "a", "2") << true << false;
        QTest::newRow("logged in, not imported") << store("1", "a", "1") << true << true;
        QTest::newRow("logged in, no record for the current user")
            << store("1", "b", "2") << true << true;
        QTest::newRow("logged out, imported") << store("0", "a", "2") << false << true;
        QTest::newRow("state as a number is not logged in")
            << QVariantMap{{"kCurrentUserState", 1.5}} << false << true;
    }

    void importAndLoginState() {
        QFETCH(QVariantMap, store);
        QFETCH(bool, loggedIn);
        QFETCH(bool, importDefaults);
        if (!store.isEmpty()) {
            QVERIFY(ZQSecurityUtil::writeDict(store, ZQAccsStatistician::storePath()));
        }
        QCOMPARE(ZQAccsStatistician::isInLoginState(), loggedIn);
        QCOMPARE(ZQAccsStatistician::imprtDefaultData(), importDefaults);
    }

    void userPaths_data() {
        QTest::addColumn<QVariantMap>("store");
        QTest::addColumn<QString>("userFolder");  // empty: none

        auto loggedIn = [](const QVariant& directory) {
            QVariantMap record;
            if (directory.isValid()) {
                record.insert("kUserDirectory", directory);
            }
            return QVariantMap{{"kCurrentUserState", "1"},
                               {"kCurrentUser", "u"},
                               {"kAccounts", QVariantMap{{"u", record}}}};
        };
        QTest::newRow("last component") << loggedIn("/old/home/VeskoPY.users/alice") << "alice";
        QTest::newRow("trailing separator") << loggedIn("/x/bob/") << "bob";
        QTest::newRow("no directory") << loggedIn(QVariant()) << "";
        QTest::newRow("only separators") << loggedIn("///") << "";
        QVariantMap loggedOut = loggedIn("/x/dave");
        loggedOut.insert("kCurrentUserState", "0");
        QTest::newRow("logged out") << loggedOut << "";
    }

    void userPaths() {
        QFETCH(QVariantMap, store);
        QFETCH(QString, userFolder);
        QVERIFY(ZQSecurityUtil::writeDict(store, ZQAccsStatistician::storePath()));
        const std::optional<QString> synPath = ZQAccsStatistician::getSynUserPath();
        if (userFolder.isEmpty()) {
            QVERIFY(!synPath);
            QCOMPARE(ZQAccsStatistician::userDictFullPath(), zq::utility::userDataFolder());
        } else {
            const QString expected = qEnvironmentVariable("XDG_DATA_HOME") +
                                     "/Vesko/InputMethod/VeskoPY.users/" + userFolder;
            QCOMPARE(synPath.value_or(QString()), expected);
            QCOMPARE(ZQAccsStatistician::userDictFullPath(), expected);
        }
    }

    void analyticsUserChoice_data() {
        QTest::addColumn<QByteArray>("file");  // null: no file
        QTest::addColumn<QVariant>("choice");  // invalid: none
        QTest::addColumn<bool>("enabled");
        using B = QByteArray;
        QTest::newRow("no file") << B() << QVariant() << true;
        QTest::newRow("yes, spaced")
            << B("[Analytics]\n Enabled = yes \n") << QVariant(true) << true;
        QTest::newRow("false") << B("[Analytics]\nEnabled=false\n") << QVariant(false) << false;
        QTest::newRow("unreadable value counts as off")
            << B("[Analytics]\nEnabled=maybe\n") << QVariant(false) << false;
        QTest::newRow("key of another section")
            << B("[Other]\nEnabled=false\n") << QVariant() << true;
        QTest::newRow("last one wins")
            << B("[Analytics]\nEnabled=false\nEnabled=true\n") << QVariant(true) << true;
    }

    void analyticsUserChoice() {
        QFETCH(QByteArray, file);
        QFETCH(QVariant, choice);
        QFETCH(bool, enabled);
        const QString path = zq::stats::analyticsUserSettingsPath();
        QFile::remove(path);
        if (!file.isNull()) {
            writeBytes(path, file);
        }
        const std::optional<bool> read = zq::stats::analyticsUserChoice();
        QCOMPARE(read.has_value(), choice.isValid());
        if (read) {
            QCOMPARE(*read, choice.toBool());
        }
        QCOMPARE(zq::stats::analyticsEnabled(), enabled);

        // Writing a choice replaces whatever was there; forgetting it removes the file.
        QVERIFY(zq::stats::setAnalyticsUserChoice(!enabled));
        QCOMPARE(zq::stats::analyticsEnabled(), !enabled);
        QVERIFY(zq::stats::setAnalyticsUserChoice(std::nullopt));
        QVERIFY(!QFileInfo::exists(path));
        QVERIFY(zq::stats::analyticsEnabled());
    }
};

QTEST_GUILESS_MAIN(TestStatStores)
#include "tst_statstores.moc"
