// The help list's state against the reference web service on loopback: the
// cache first, the wall request with the cached version, the plain request
// only after the wall failed, which rows show and which row is open.

#include "help/ZQHelpListInfoDataManager.h"
#include "help/models/ZQHelpListModel.h"
#include "platform/Plist.h"
#include "tests/help/HelpTestSupport.h"
#include "tests/support/RefService.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int kWaitMs = 30000;

QStringList titlesOf(const ZQHelpInfoDataList& rows) {
    QStringList titles;
    for (const ZQHelpInfoDataModel& row : rows) {
        titles.append(row.titleText);
    }
    return titles;
}

}  // namespace

class TestHelpListModel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(helptest::prepareMachine());
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void loading_data() {
        QTest::addColumn<QString>("cache");
        QTest::addColumn<QString>("wallFault");
        QTest::addColumn<QString>("plainFault");
        QTest::addColumn<bool>("emptyServiceList");
        QTest::addColumn<QString>("sentVersion");
        QTest::addColumn<int>("rowsAtStart");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("firstTitle");
        QTest::addColumn<QString>("version");
        QTest::addColumn<int>("openRow");
        QTest::addColumn<int>("plainRequests");

        const QString service = QString::fromUtf8("如何切换到Vesko输入法？");
        const auto row = [](const char* name, const char* cache, const char* wallFault,
                            const char* plainFault, bool emptyList, const char* sentVersion,
                            int rowsAtStart, int rows, const QString& firstTitle,
                            const char* version, int openRow, int plainRequests) {
            QTest::newRow(name) << cache << wallFault << plainFault << emptyList << sentVersion
                                << rowsAtStart << rows << firstTitle << version << openRow
                                << plainRequests;
        };
        row("no cache, service list", "none", "", "", false, "(null)", 0, 9, service, "3", 0, 0);
        row("wall fails, plain list", "none", "garbage", "", false, "(null)", 0, 9, service, "3", 0,
            1);
        row("both fail, no cache", "none", "garbage", "garbage", false, "(null)", 0, 0, "", "", -1,
            1);
        row("both fail, seed kept open", "seed", "garbage", "garbage", false, "1", 4, 4, "", "1", 0,
            1);
        row("cache up to date", "newer", "", "", false, "9", 2, 2, "cached", "9", -1, 0);
        row("newer empty list keeps rows", "seed", "", "", true, "1", 4, 4, "", "1", 0, 0);
    }

    void loading() {
        QFETCH(QString, cache);
        QFETCH(QString, wallFault);
        QFETCH(QString, plainFault);
        QFETCH(bool, emptyServiceList);
        QFETCH(QString, sentVersion);
        QFETCH(int, rowsAtStart);
        QFETCH(int, rows);
        QFETCH(QString, firstTitle);
        QFETCH(QString, version);
        QFETCH(int, openRow);
        QFETCH(int, plainRequests);

        QVERIFY(_service.clearFaults());
        QVERIFY(emptyServiceList
                    ? _service.setHelpList({{"version", 7}, {"helplist", QJsonArray()}})
                    : _service.resetHelpList());
        if (!wallFault.isEmpty()) {
            QVERIFY(_service.setFault("/q", wallFault));
        }
        if (!plainFault.isEmpty()) {
            QVERIFY(_service.setFault("/mac_feed_tpl", plainFault));
        }
        prepareCache(cache);
        QStringList cachedTitles;
        ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
            [&](bool, const std::optional<QString>&, const std::optional<ZQHelpInfoDataList>& list,
                const std::optional<QString>&) {
                cachedTitles = titlesOf(list.value_or(ZQHelpInfoDataList()));
            });

        const qint64 mark = _service.mark();
        ZQHelpListModel model;
        QSignalSpy reloaded(&model, &ZQHelpListModel::reloaded);
        model.initHelpInfoData();
        model.requestHelpInfoByEncryptedWall();
        // The cached rows show while the service is asked.
        QCOMPARE(model.rowCount(), rowsAtStart);
        QCOMPARE(model.currentSelectedRow(), -1);
        QVERIFY(reloaded.wait(kWaitMs));
        helptest::settle();
        QCOMPARE(reloaded.size(), 1);

        QCOMPARE(model.rowCount(), rows);
        if (!firstTitle.isEmpty()) {
            QCOMPARE(model.rows().first().titleText, firstTitle);
        } else if (rows > 0) {
            QCOMPARE(titlesOf(model.rows()), cachedTitles);
        }
        QCOMPARE(model.helpVersion().value_or(QString()), version);
        QCOMPARE(model.currentSelectedRow(), openRow);
        QCOMPARE(model.heightOfRow(0), openRow == 0 ? 320.0 : 37.0);

        const QJsonArray requests = _service.entries("/mac_feed_tpl", mark);
        QVERIFY(!requests.isEmpty());
        const QJsonObject wall = requests.first().toObject();
        QCOMPARE(wall.value("path").toString(), QString("/q"));
        QCOMPARE(wall.value("decrypted").toObject().value("g").toString(),
                 helptest::commonQuery() + "&hv=" + sentVersion);
        int plain = 0;
        for (const QJsonValue& request : requests) {
            plain += request.toObject().value("path").toString() == "/mac_feed_tpl";
        }
        QCOMPARE(plain, plainRequests);

        // A click opens a row and closes the open one; a second click closes it.
        for (const auto& [click, open] : {std::pair{1, 1}, {1, -1}, {2, 2}, {0, 0}, {rows, 0}}) {
            if (rows < 3) {
                break;
            }
            model.clickTitleOfRow(click);
            QCOMPARE(model.currentSelectedRow(), open);
            QCOMPARE(model.heightOfRow(click), click == model.currentSelectedRow() ? 320.0 : 37.0);
        }
    }

private:
    void prepareCache(const QString& cache) {
        QDir(ZQHelpListInfoDataManager::helpInfoFolderPath()).removeRecursively();
        if (cache == "seed") {
            ZQHelpListInfoDataManager::checkUserHelpInfoFile();
        } else if (cache == "newer") {
            const QVariantMap entry{{"id", "7"},
                                    {"type", "2"},
                                    {"title", "cached"},
                                    {"brief", "b"},
                                    {"image", "http://127.0.0.1:1/7.png"}};
            QVERIFY(
                platform::Plist::writeFile(ZQHelpListInfoDataManager::helpInfoPlistPath(),
                                           QVariantMap{{"version", "9"},
                                                       {"expandFirst", "0"},
                                                       {"helplist", QVariantList{entry, entry}}}));
        }
    }
    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestHelpListModel)
#include "tst_helplistmodel.moc"
