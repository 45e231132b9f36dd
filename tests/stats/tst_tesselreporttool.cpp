// ZQTesselReportTool: the application key, the common machine fields and the
// real-time and normal reports, delivered to the reference service.

#include "platform/Plist.h"
#include "stats/TesselReport.h"
#include "stats/ZQTesselReportTool.h"
#include "tests/support/RefService.h"
#include "utility/DeviceIdentity.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

namespace {

constexpr int kTimeoutMs = 20000;
const QString kDevice = "8C2B5F0E4D1A4B7C9E3F2A1B0C9D8E7F";
}  // namespace

class TestTesselReportTool : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
        // A machine that names itself nowhere: no machine identifier, no system version file.
        QVERIFY(_systemRoot.isValid());
        qputenv("VESKO_SYSTEM_ROOT", QFile::encodeName(_systemRoot.path()));
        QVERIFY(platform::Plist::writeFile(
            zq::utility::infoPlistPath(),
            QVariantMap{{"CFBundleFullVersion", "5.1.0.2345"}, {"ZQQuDao", "8848"}}));
    }

    // A real-time report on a machine without a device identifier.
    void withoutDeviceIdentifier() {
        QVERIFY(!GetUUID());
        const Sent sent = reportThroughTool([](ZQTesselReportTool& tool) {
            tool.reportRealTimeWithEventCode("mac_upd_suc", std::nullopt);
        });
        QVERIFY(sent.batch.value("device").isNull());
        QCOMPARE(sent.event.value("code").toString(), QString("mac_upd_suc"));
        QCOMPARE(sent.event.value("kind").toString(), QString("realtime"));
        QCOMPARE(sent.event.value("app_key").toString(), QString("7TQW2K5XPLM9D3EA"));
        QCOMPARE(sent.event.value("params").toObject(),
                 (QJsonObject{{"mac_h", ""},
                              {"mac_model", GetHardwareModel()},
                              {"mac_os", GetSystemVersion().value_or(QString())},
                              {"mac_r", "8848"},
                              {"mac_v", "5.1.0.2345"}}));
    }

    // A normal report: the machine's fields win over the page's.
    void commonFieldsOverwritePageFields() {
        QVERIFY(platform::Plist::writeFile(zq::utility::userDataFilePath(".uuid.dat"),
                                           QVariantMap{{"uuid", kDevice}}));
        QCOMPARE(GetUUID().value_or(QString()), kDevice);
        const Sent sent = reportThroughTool([](ZQTesselReportTool& tool) {
            tool.reportNormalWithEventCode(
                "mac_prompt_imp",
                QVariantMap{
                    {"auth_rea", "截图"}, {"mac_cont", "ocr"}, {"mac_v", "0.0"}, {"mac_h", "x"}});
        });
        QCOMPARE(sent.batch.value("device").toString(), kDevice);
        QCOMPARE(sent.event.value("kind").toString(), QString("normal"));
        const QJsonObject params = sent.event.value("params").toObject();
        QCOMPARE(params.value("mac_v").toString(), QString("5.1.0.2345"));
        QCOMPARE(params.value("mac_h").toString(), kDevice);
        QCOMPARE(params.value("auth_rea").toString(), QString("截图"));
        QCOMPARE(params.value("mac_cont").toString(), QString("ocr"));
        QCOMPARE(params.size(), 7);
    }

    void sharedInstanceUsesTheAnalyticsFolder() {
        const QString expected =
            qEnvironmentVariable("XDG_DATA_HOME") + "/Vesko/InputMethod/Tessel/";
        QCOMPARE(ZQTesselReportTool::storageFolder(), expected);
        QVERIFY(!QFileInfo::exists(expected));
        ZQTesselReportTool* tool = ZQTesselReportTool::sharedInstance();
        QCOMPARE(tool->reporter(), TesselReport::sharedInstance());
        QVERIFY(tool->reporter()->isStarted());
        QCOMPARE(tool->reporter()->customDocumentPath(), expected);
        QVERIFY(QFileInfo(expected).isDir());
        QVERIFY(QFileInfo::exists(expected + "events.sqlite"));
    }

    // As main() does: the shared client stops before the application object goes.
    void cleanupTestCase() { TesselReport::shutdownSharedInstance(); }

private:
    struct Sent {
        QJsonObject batch;
        QJsonObject event;
    };
    // Reports through a fresh tool and returns what the service received.
    Sent reportThroughTool(const std::function<void(ZQTesselReportTool&)>& report) {
        const qint64 mark = _service.mark();
        QTemporaryDir folder;
        TesselReport reporter;
        QStringList delivered;
        connect(&reporter, &TesselReport::eventsDelivered, this,
                [&delivered](const QStringList& ids) { delivered << ids; });
        ZQTesselReportTool tool(&reporter, folder.path());
        report(tool);
        reporter.flush();
        [&] { QTRY_COMPARE_WITH_TIMEOUT(delivered.size(), 1, kTimeoutMs); }();
        const QJsonArray requests = _service.entries("/analytics/v1/events", mark);
        if (requests.size() != 1) {
            return {};
        }
        const QString body =
            requests.at(0).toObject().value("body").toObject().value("text").toString();
        const QJsonObject batch = QJsonDocument::fromJson(body.toUtf8()).object();
        return {batch, batch.value("events").toArray().at(0).toObject()};
    }

    zq::test::RefService _service;
    QTemporaryDir _systemRoot;
};

QTEST_GUILESS_MAIN(TestTesselReportTool)
#include "tst_tesselreporttool.moc"
