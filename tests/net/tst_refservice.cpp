// The reference web service itself, seen from a client: what the other
// subsystems' tests rely on (refused wall bodies, published content, kept
// uploads, computed overview, analytics de-duplication across restarts, the
// control endpoints' checks).

#include "crypto/PingbackUtil.h"
#include "net/VeskoNetworking.h"
#include "tests/net/NetTestSupport.h"
#include "tests/support/RefService.h"

#include <QImage>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>

using zq::net::OptionalError;
using zq::net::OptionalResponse;
using zq::test::Outcome;
using zq::test::OutcomePtr;

namespace {

constexpr int kWaitMs = 15000;

QJsonObject jsonOf(const QByteArray& data) {
    return QJsonDocument::fromJson(data).object();
}

// Replaces the value of one field of a wall body.
QByteArray withField(const QByteArray& body, const QByteArray& name, const QByteArray& value) {
    QList<QByteArray> items = body.split('&');
    for (QByteArray& item : items) {
        if (item.startsWith(name + '='))
            item = name + '=' + value;
    }
    return items.join('&');
}

QByteArray withoutField(const QByteArray& body, const QByteArray& name) {
    QList<QByteArray> items = body.split('&');
    items.removeIf([&](const QByteArray& item) { return item.startsWith(name + '='); });
    return items.join('&');
}

}  // namespace

class TestRefService : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void malformedWallBodiesAreRefused_data();
    void malformedWallBodiesAreRefused();
    void helpListAndPictures();
    void pages_data();
    void pages();
    void evaluationMovesTheOverview();
    void feedbackWithoutDetailIsRefused();
    void pingbackIsKept();
    void analyticsDropsDuplicatesAcrossRestarts();
    void controlRejectsBadFaults_data();
    void controlRejectsBadFaults();
    void countedFaultsRunOut();

private:
    OutcomePtr post(const QString& address, const QByteArray& body);
    OutcomePtr get(const QString& address);

    zq::test::RefService _service;
};

void TestRefService::initTestCase() {
    QVERIFY2(_service.start(), qPrintable(_service.errorString()));
}

void TestRefService::init() {
    QVERIFY(_service.clearFaults());
}

OutcomePtr TestRefService::post(const QString& address, const QByteArray& body) {
    auto outcome = std::make_shared<Outcome>();
    VeskoNetworking::sendPostRequest(
        address, {}, {}, body,
        [outcome](const QByteArray& d, const OptionalResponse& r, const OptionalError& e) {
            outcome->data = d;
            outcome->response = r;
            outcome->error = e;
            outcome->record();
        });
    return outcome;
}

OutcomePtr TestRefService::get(const QString& address) {
    auto outcome = std::make_shared<Outcome>();
    VeskoNetworking::sendGetRequest(
        address, {}, nullptr, {},
        [outcome](const QByteArray& d, const OptionalResponse& r, const OptionalError& e) {
            outcome->data = d;
            outcome->response = r;
            outcome->error = e;
            outcome->record();
        });
    return outcome;
}

void TestRefService::malformedWallBodiesAreRefused_data() {
    QTest::addColumn<QString>("mutation");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no k") << "drop k"
                          << "without field 'k'";
    QTest::newRow("u twice") << "u twice"
                             << "given twice";
    QTest::newRow("IV wrapped where the key belongs") << "k is v"
                                                      << "field 'k' holds 16 bytes, expected 32";
    QTest::newRow("cipher cut short") << "u cut"
                                      << "whole number of AES blocks";
    QTest::newRow("item without '='") << "bare item"
                                      << "without '='";
    QTest::newRow("fields percent-escaped") << "escaped"
                                            << "field";
}

void TestRefService::malformedWallBodiesAreRefused() {
    QFETCH(QString, mutation);
    QFETCH(QString, reason);

    QString wallUrl;
    QByteArray body;
    std::array<unsigned char, PingbackUtil::kAesKeyIvLength> keyIv{};
    QCOMPARE(PingbackUtil::EncryptHttpRequest(
                 _service.url(QStringLiteral("/macfb/v1/click_overview?h=1")), QByteArray("p"),
                 &wallUrl, &body, keyIv.data()),
             0);
    const QByteArray u = body.split('&').at(0).mid(2);
    if (mutation == QLatin1String("drop k"))
        body = withoutField(body, "k");
    else if (mutation == QLatin1String("u twice"))
        body += "&u=" + u;
    else if (mutation == QLatin1String("k is v"))
        body = withField(body, "k", body.mid(body.indexOf("&v=") + 3));
    else if (mutation == QLatin1String("u cut"))
        body = withField(body, "u", u.left(u.size() - 8));
    else if (mutation == QLatin1String("bare item"))
        body += "&junk";
    else if (mutation == QLatin1String("escaped"))
        body = body.replace('+', "%2B").replace('/', "%2F");

    const qint64 mark = _service.mark();
    const OutcomePtr outcome = post(wallUrl, body);
    QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
    QCOMPARE(outcome->status(), 400);
    const QJsonObject entry = _service.journal(mark).at(0).toObject();
    QVERIFY2(entry.value(QStringLiteral("wall_error")).toString().contains(reason),
             qPrintable(entry.value(QStringLiteral("wall_error")).toString()));
    QVERIFY(!entry.contains(QStringLiteral("decrypted")));
}

void TestRefService::helpListAndPictures() {
    const OutcomePtr list =
        get(_service.url(QStringLiteral("/mac_feed_tpl?h=H&v=1&r=0000&os=12&hv=(null)")));
    QTRY_COMPARE_WITH_TIMEOUT(list->calls.load(), 1, kWaitMs);
    QVERIFY(!list->error);
    const QJsonObject answer = jsonOf(list->data);
    QVERIFY(answer.value(QStringLiteral("version")).toInt() >
            1);  // newer than the application's seed list
    const QJsonArray entries = answer.value(QStringLiteral("helplist")).toArray();
    QSet<int> layouts;
    for (const QJsonValue& value : entries) {
        const QJsonObject entry = value.toObject();
        const int type = entry.value(QStringLiteral("type")).toInt();
        layouts.insert(type);
        // Each entry has what its layout shows.
        QVERIFY(!entry.value(QStringLiteral("title")).toString().isEmpty());
        QCOMPARE(entry.value(QStringLiteral("brief")).toString().isEmpty(), type == 3);
        QCOMPARE(entry.value(QStringLiteral("detail")).toString().isEmpty(), type == 2);
        const QString image = entry.value(QStringLiteral("image")).toString();
        QVERIFY2(image.startsWith(_service.baseUrl()) && image.endsWith(QLatin1String(".png")),
                 qPrintable(image));

        const OutcomePtr picture = get(image);
        QTRY_COMPARE_WITH_TIMEOUT(picture->calls.load(), 1, kWaitMs);
        QVERIFY(!picture->error);
        QCOMPARE(picture->response->mimeType, QStringLiteral("image/png"));
        const QImage decoded = QImage::fromData(picture->data, "PNG");
        QVERIFY2(!decoded.isNull(), qPrintable(image));
        QVERIFY(decoded.width() >= 400 && decoded.height() >= 180);
    }
    QCOMPARE(layouts, (QSet<int>{1, 2, 3}));

    // A published list of a test's own, then the built-in one again.
    QVERIFY(_service.setHelpList(QJsonObject{
        {QStringLiteral("version"), 9},
        {QStringLiteral("helplist"),
         QJsonArray{QJsonObject{{QStringLiteral("image"), QStringLiteral("{base}/x.png")}}}}}));
    const OutcomePtr replaced = get(_service.url(QStringLiteral("/mac_feed_tpl")));
    QTRY_COMPARE_WITH_TIMEOUT(replaced->calls.load(), 1, kWaitMs);
    const QJsonObject own = jsonOf(replaced->data);
    QCOMPARE(own.value(QStringLiteral("version")).toInt(), 9);
    QCOMPARE(own.value(QStringLiteral("helplist"))
                 .toArray()
                 .at(0)
                 .toObject()
                 .value(QStringLiteral("image"))
                 .toString(),
             _service.url(QStringLiteral("/x.png")));
    QVERIFY(_service.resetHelpList());
}

void TestRefService::pages_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("title");
    QTest::newRow("change log") << "/mac/proxy/?f=embeddedchangelog" << 200 << "更新日志";
    QTest::newRow("user agreement")
        << "/proxy/inputclient.php?t=userammac" << 200 << "Vesko输入法用户协议";
    QTest::newRow("privacy policy")
        << "/proxy/inputclient.php?t=userppmac" << 200 << "Vesko输入法隐私政策";
    QTest::newRow("data list") << "/proxy/inputclient.php?t=macdatalist" << 200
                               << "收集个人信息明示清单";
    QTest::newRow("home page") << "/" << 200 << "Vesko输入法";
    QTest::newRow("unknown page") << "/proxy/inputclient.php?t=other" << 404 << "页面不存在";
    QTest::newRow("other proxy page") << "/mac/proxy/?f=other" << 404 << "页面不存在";
}

void TestRefService::pages() {
    QFETCH(QString, path);
    QFETCH(int, status);
    QFETCH(QString, title);
    const OutcomePtr page = get(_service.url(path));
    QTRY_COMPARE_WITH_TIMEOUT(page->calls.load(), 1, kWaitMs);
    QCOMPARE(page->status(), status);
    QCOMPARE(page->response->mimeType, QStringLiteral("text/html"));
    QCOMPARE(page->response->textEncoding, QStringLiteral("utf-8"));
    if (status == 200) {
        static const QRegularExpression titleTag(QStringLiteral("<title>(.*)</title>"));
        QCOMPARE(titleTag.match(QString::fromUtf8(page->data)).captured(1), title);
    }
}

void TestRefService::evaluationMovesTheOverview() {
    const auto overview = [this] {
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestByEW(
            _service.url(QStringLiteral("/macfb/v1/click_overview?h=H")), {}, {},
            [outcome](const QByteArray& d, const OptionalResponse&, const OptionalError& e) {
                outcome->data = d;
                outcome->error = e;
                outcome->record();
            });
        return outcome;
    };
    const OutcomePtr before = overview();
    QTRY_COMPARE_WITH_TIMEOUT(before->calls.load(), 1, kWaitMs);
    const QJsonObject data = jsonOf(before->data).value(QStringLiteral("data")).toObject();
    const QJsonObject ratio = data.value(QStringLiteral("ratio")).toObject();
    for (const char* key : {"1", "2", "3", "4", "5"})
        QVERIFY(ratio.contains(QLatin1String(key)));
    const int count = data.value(QStringLiteral("count")).toInt();

    // One rating of 1 star and one refused (score 6).
    for (const int score : {1, 6}) {
        auto saved = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestByEW(
            _service.url(
                QStringLiteral("/macfb/v1/click_save?h=H&score=%1&feedcont=%E5%A5%BD").arg(score)),
            {},
            QStringLiteral("Content-Disposition: form-data; score=\"%1\"; feedcont=\"好\"\r\n")
                .arg(score)
                .toUtf8(),
            [saved](const QByteArray& d, const OptionalResponse&, const OptionalError& e) {
                saved->data = d;
                saved->error = e;
                saved->record();
            });
        QTRY_COMPARE_WITH_TIMEOUT(saved->calls.load(), 1, kWaitMs);
        QCOMPARE(jsonOf(saved->data).value(QStringLiteral("code")).toInt(-1), score == 1 ? 0 : 1);
    }
    const OutcomePtr after = overview();
    QTRY_COMPARE_WITH_TIMEOUT(after->calls.load(), 1, kWaitMs);
    const QJsonObject newData = jsonOf(after->data).value(QStringLiteral("data")).toObject();
    QCOMPARE(newData.value(QStringLiteral("count")).toInt(), count + 1);
    QVERIFY(
        newData.value(QStringLiteral("ratio")).toObject().value(QStringLiteral("1")).toDouble() >
        ratio.value(QStringLiteral("1")).toDouble());
}

void TestRefService::feedbackWithoutDetailIsRefused() {
    auto outcome = std::make_shared<Outcome>();
    VeskoNetworking::sendUploadMutiPartRequestByEW(
        _service.url(QStringLiteral("/macfb/v1/macfeedback?mac_h=H")), PingbackUtil::wallEndpoint(),
        {{QStringLiteral("isAtta"), 0}, {QStringLiteral("attaName"), QString()}}, {},
        QStringLiteral("---------------------------a1fa340557"), QString(), QByteArray(),
        [outcome](const OptionalResponse&, const QByteArray& d, const OptionalError& e) {
            outcome->data = d;
            outcome->error = e;
            outcome->record();
        });
    QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
    QVERIFY(!outcome->error);
    const QJsonObject answer = jsonOf(outcome->data);
    QCOMPARE(answer.value(QStringLiteral("code")).toInt(), 1);
    QVERIFY(!answer.value(QStringLiteral("msg")).toString().isEmpty());
}

void TestRefService::pingbackIsKept() {
    const OutcomePtr plain =
        get(_service.url(QStringLiteral("/lost.gif?h=H&reason=-1&detail=%E5%8D%A1")));
    QTRY_COMPARE_WITH_TIMEOUT(plain->calls.load(), 1, kWaitMs);
    QVERIFY(plain->data.startsWith("GIF89a"));
    QFile kept(_service.dataDir() + QStringLiteral("/reports/lost.jsonl"));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    const QJsonObject report = jsonOf(kept.readAll().split('\n').first());
    QCOMPARE(
        report.value(QStringLiteral("query")).toObject().value(QStringLiteral("detail")).toString(),
        QStringLiteral("卡"));
    QCOMPARE(
        report.value(QStringLiteral("query")).toObject().value(QStringLiteral("reason")).toString(),
        QStringLiteral("-1"));
}

void TestRefService::analyticsDropsDuplicatesAcrossRestarts() {
    QVERIFY(_service.clearAnalytics());
    const auto send = [this](const QByteArray& batch) {
        const OutcomePtr outcome =
            post(_service.url(QStringLiteral("/analytics/v1/events")), batch);
        return outcome;
    };
    const OutcomePtr first =
        send(R"({"events":[{"id":"e1","code":"mac_clck","params":{"mac_icon":"13"}},
                                                {"id":"e2","code":"mac_upd_suc"},{"id":"e1","code":"mac_clck"},
                                                {"code":"no id"},{"id":"e3"}]})");
    QTRY_COMPARE_WITH_TIMEOUT(first->calls.load(), 1, kWaitMs);
    QCOMPARE(jsonOf(first->data), (QJsonObject{{QStringLiteral("code"), 0},
                                               {QStringLiteral("accepted"), 2},
                                               {QStringLiteral("duplicates"), 1},
                                               {QStringLiteral("rejected"), 2}}));
    QCOMPARE(_service.analyticsEvents().size(), 2);

    QVERIFY2(_service.restart(), qPrintable(_service.errorString()));
    const OutcomePtr again =
        send(R"([{"id":"e2","code":"mac_upd_suc"},{"id":"e4","code":"mac_prompt_imp"}])");
    QTRY_COMPARE_WITH_TIMEOUT(again->calls.load(), 1, kWaitMs);
    QCOMPARE(jsonOf(again->data).value(QStringLiteral("accepted")).toInt(), 1);
    QCOMPARE(jsonOf(again->data).value(QStringLiteral("duplicates")).toInt(), 1);
    const QJsonArray events = _service.analyticsEvents();
    QCOMPARE(events.size(), 3);
    QCOMPARE(events.at(0)
                 .toObject()
                 .value(QStringLiteral("event"))
                 .toObject()
                 .value(QStringLiteral("params"))
                 .toObject(),
             (QJsonObject{{QStringLiteral("mac_icon"), QStringLiteral("13")}}));

    const OutcomePtr broken = send("{not json");
    QTRY_COMPARE_WITH_TIMEOUT(broken->calls.load(), 1, kWaitMs);
    QCOMPARE(broken->status(), 400);
}

void TestRefService::controlRejectsBadFaults_data() {
    QTest::addColumn<QByteArray>("spec");
    QTest::newRow("unknown fault") << QByteArray(R"({"path":"/q","fault":"explode"})");
    QTest::newRow("no path") << QByteArray(R"({"fault":"empty"})");
    QTest::newRow("status without a code") << QByteArray(R"({"path":"/q","fault":"status"})");
    QTest::newRow("delay without ms") << QByteArray(R"({"path":"/q","fault":"delay"})");
    QTest::newRow("count of zero") << QByteArray(R"({"path":"/q","fault":"empty","count":0})");
    QTest::newRow("not an object") << QByteArray(R"([1])");
    QTest::newRow("not JSON") << QByteArray("{");
}

void TestRefService::controlRejectsBadFaults() {
    QFETCH(QByteArray, spec);
    const QJsonObject answer = _service.control("POST", QStringLiteral("/__control/faults"), spec);
    QCOMPARE(answer.value(QStringLiteral("ok")).toBool(true), false);
    QVERIFY(!answer.value(QStringLiteral("error")).toString().isEmpty());
    QVERIFY(_service.control("GET", QStringLiteral("/__control/faults"))
                .value(QStringLiteral("faults"))
                .toArray()
                .isEmpty());
}

void TestRefService::countedFaultsRunOut() {
    QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("status"),
                              {{QStringLiteral("status"), 418}, {QStringLiteral("count"), 2}}));
    QList<int> statuses;
    for (int i = 0; i < 3; ++i) {
        const OutcomePtr outcome = get(_service.url(QStringLiteral("/__test/echo")));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        statuses.append(outcome->status());
    }
    QCOMPARE(statuses, (QList<int>{418, 418, 200}));
}

QTEST_GUILESS_MAIN(TestRefService)
#include "tst_refservice.moc"
