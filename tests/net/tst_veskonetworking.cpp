// VeskoNetworking against the reference web service on loopback: the wire
// format of the encrypted wall (checked by the service's own decryption),
// the multipart bodies byte for byte, the header rules, the wrapper's error
// values, the synchronous POST and context objects.

#include "crypto/PingbackUtil.h"
#include "net/VeskoNetworking.h"
#include "tests/net/NetTestSupport.h"
#include "tests/support/RefService.h"

#include <QJsonDocument>
#include <QThread>
#include <QtTest>

using zq::net::OptionalError;
using zq::net::OptionalResponse;
using zq::test::dataRecorder;
using zq::test::journalHeader;
using zq::test::journalHeaders;
using zq::test::objectRecorder;
using zq::test::Outcome;
using zq::test::OutcomePtr;
using zq::test::uploadRecorder;

namespace {

constexpr int kWaitMs = 15000;
const QString kBoundary = QStringLiteral("---------------------------a1fa340557");

QJsonObject jsonOf(const QByteArray& data) {
    return QJsonDocument::fromJson(data).object();
}

}  // namespace

class TestVeskoNetworking : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
        QCOMPARE(PingbackUtil::wallEndpoint(), _service.url(QStringLiteral("/q")));
    }

    void init() { QVERIFY(_service.clearFaults()); }

    void multipartBody_data() {
        QTest::addColumn<QVariantMap>("fields");
        QTest::addColumn<QString>("boundary");
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("no boundary: the file bytes alone")
            << QVariantMap{{"a", QStringLiteral("1")}} << QString() << QStringLiteral("f")
            << QByteArray("\x00\x01raw", 5) << QByteArray("\x00\x01raw", 5);
        QTest::newRow("fields in ascending order, numbers and flags as text, UTF-8")
            << QVariantMap{{"isAtta", 0}, {"detail", QStringLiteral("打字卡顿")}, {"flag", true}}
            << QStringLiteral("b") << QStringLiteral("图.zip") << QByteArray("Z")
            << QByteArray(
                   "--b\r\nContent-Disposition: form-data; name=\"detail\"\r\n\r\n打字卡顿\r\n"
                   "--b\r\nContent-Disposition: form-data; name=\"flag\"\r\n\r\n1\r\n"
                   "--b\r\nContent-Disposition: form-data; name=\"isAtta\"\r\n\r\n0\r\n"
                   "--b\r\nContent-Disposition: form-data; name=\"file\"; "
                   "filename=\"图.zip\"\r\n\r\nZ\r\n--b--\r\n");
        QTest::newRow("no fields, empty file name and no bytes")
            << QVariantMap() << kBoundary << QString() << QByteArray()
            << ("--" + kBoundary.toLatin1() +
                "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"\"\r\n\r\n\r\n--" +
                kBoundary.toLatin1() + "--\r\n");
        QTest::newRow("placeholders in values stay as they are")
            << QVariantMap{{"k", QStringLiteral("%1 %2")}} << QStringLiteral("B")
            << QStringLiteral("%3") << QByteArray("x")
            << QByteArray(
                   "--B\r\nContent-Disposition: form-data; name=\"k\"\r\n\r\n%1 %2\r\n"
                   "--B\r\nContent-Disposition: form-data; name=\"file\"; "
                   "filename=\"%3\"\r\n\r\nx\r\n--B--\r\n");
    }

    void multipartBody() {
        QFETCH(QVariantMap, fields);
        QFETCH(QString, boundary);
        QFETCH(QString, fileName);
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, expected);
        QCOMPARE(VeskoNetworking::multipartBody(fields, boundary, fileName, file), expected);
    }

    // One row per branch; the edge cases of the address are the encryptor's own table.
    void wallRequestOnTheWire_data() {
        QTest::addColumn<QString>("pathAndQuery");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("expectedQuery");

        QTest::newRow("query, no body")
            << QStringLiteral("/macfb/v1/click_overview?h=H&v=1&r=0000&os=12") << QByteArray()
            << QStringList{"u", "g", "k", "v"} << QStringLiteral("h=H&v=1&r=0000&os=12");
        QTest::newRow("query and body")
            << QStringLiteral("/macfb/v1/click_save?h=H&score=5&feedcont=%E5%A5%BD")
            << QByteArray("Content-Disposition: form-data; score=\"5\"; feedcont=\"好\"\r\n")
            << QStringList{"u", "g", "p", "k", "v"}
            << QStringLiteral("h=H&score=5&feedcont=%E5%A5%BD");
        QTest::newRow("no query, body")
            << QStringLiteral("/macfb/v1/click_overview") << QByteArray("x=1")
            << QStringList{"u", "p", "k", "v"} << QString();
    }

    void wallRequestOnTheWire() {
        QFETCH(QString, pathAndQuery);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, fields);
        QFETCH(QString, expectedQuery);

        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        const QString address = _service.url(pathAndQuery);
        VeskoNetworking::sendPostRequestByEW(address, {}, body, dataRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
        QVERIFY(outcome->onMainThread);
        QCOMPARE(outcome->status(), 200);

        const QJsonArray journal = _service.journal(mark);
        QCOMPARE(journal.size(), 1);
        const QJsonObject entry = journal.at(0).toObject();
        QCOMPARE(entry.value("path").toString(), QStringLiteral("/q"));
        QCOMPARE(entry.value("method").toString(), QStringLiteral("POST"));
        QVERIFY2(!entry.contains(QStringLiteral("wall_error")),
                 qPrintable(entry.value("wall_error").toString()));
        const QJsonObject decrypted = entry.value("decrypted").toObject();
        QCOMPARE(decrypted.value("fields").toVariant().toStringList(), fields);
        QCOMPARE(decrypted.value("u").toString(), address.left(address.indexOf(u'?')));
        QCOMPARE(decrypted.value("g").toString(), expectedQuery);
        if (body.isEmpty())
            QVERIFY(decrypted.value("p").isNull());
        else
            QCOMPARE(zq::test::journalBody(decrypted.value("p").toObject()), body);
        QCOMPARE(decrypted.value("k_chars").toInt(), 172);
        QCOMPARE(decrypted.value("v_chars").toInt(), 172);

        // The plain answer the service encrypted is what the handler received.
        QCOMPARE(outcome->data, zq::test::journalBody(entry.value("answer_plain").toObject()));
        QCOMPARE(jsonOf(outcome->data).value("code").toInt(-1), 0);
    }

    // The deflate-only POST's Accept-Encoding is proved by the fault matrix:
    // the service compresses what it sends with the coding the request allowed.
    void wallHeaderRules_data() {
        QTest::addColumn<QVariantMap>("header");
        QTest::addColumn<QString>("contentType");
        QTest::addColumn<QString>("extra");
        QTest::newRow("own fields") << QVariantMap() << "application/octet-stream" << QString();
        QTest::newRow("dictionary replaces Content-Type and adds fields")
            << QVariantMap{{"Content-Type", QStringLiteral("text/x-test")},
                           {"X-Extra", QStringLiteral("yes")}}
            << "text/x-test" << QStringLiteral("yes");
    }

    void wallHeaderRules() {
        QFETCH(QVariantMap, header);
        QFETCH(QString, contentType);
        QFETCH(QString, extra);

        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestByEW(
            _service.url(QStringLiteral("/macfb/v1/click_overview?h=1")), header, {},
            dataRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(!outcome->error);

        const QJsonObject entry = _service.journal(mark).at(0).toObject();
        QCOMPARE(
            journalHeaders(entry, {"Content-Type", "Cache-Control", "Content-Length", "X-Extra"}),
            (QStringList{contentType, "no-cache", zq::test::sentLength(entry), extra}));
        // The builder's defaults come before the operation's own fields.
        const QStringList names = zq::test::journalHeaderNames(entry);
        QVERIFY(names.contains(QStringLiteral("User-Agent")));
        QVERIFY(names.indexOf(QStringLiteral("User-Agent")) <
                names.indexOf(QStringLiteral("Cache-Control")));
    }

    void wallEncryptFailureIsImmediate() {
        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestByEW(QString(), {}, QByteArray("body"),
                                             dataRecorder(outcome));
        QCOMPARE(outcome->calls.load(), 1);  // before the call returned
        QCOMPARE(outcome->domain(), QStringLiteral("Encrypt Error"));
        QCOMPARE(outcome->code(), qint64(2));
        QVERIFY(outcome->error->userInfo.isEmpty());
        QVERIFY(outcome->data.isNull());
        QVERIFY(!outcome->response);

        auto upload = std::make_shared<Outcome>();
        VeskoNetworking::sendUploadMutiPartRequestByEW(QString(), PingbackUtil::wallEndpoint(), {},
                                                       {}, kBoundary, QStringLiteral("f"),
                                                       QByteArray("x"), uploadRecorder(upload));
        QCOMPARE(upload->calls.load(), 1);
        QCOMPARE(upload->domain(), QStringLiteral("Encrypt Error"));
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(outcome->calls.load(), 1);
        QCOMPARE(_service.journal(mark).size(), 0);
    }

    // A status other than 200 is the client's error, passed with the body.
    void wallAnswers_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<int>("status");
        const QString overview = QStringLiteral("/macfb/v1/click_overview");
        QTest::newRow("server error")
            << overview << "status" << QVariantMap{{"status", 500}} << 500;
        QTest::newRow("payload inflating to nothing")
            << overview << "answer" << QVariantMap{{"body", QString()}} << 200;
    }

    void wallAnswers() {
        QFETCH(QString, path);
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(int, status);
        const bool failed = status != 200;

        QVERIFY(_service.setFault(path, fault, options));
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestByEW(_service.url(path + QStringLiteral("?h=1")), {}, {},
                                             dataRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->status(), status);  // the response is passed in every case
        QCOMPARE(outcome->domain(),
                 failed ? QString::fromLatin1(zq::net::kResponseErrorDomain) : QString());
        QCOMPARE(!outcome->data.isEmpty(), failed);
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(outcome->calls.load(), 1);
    }

    // The feedback tests (tests/help) follow both uploads end to end: the
    // decrypted fields, the multipart body and the kept file. Here: the
    // operations' own header rules and the upload progress.
    void wallUpload() {
        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        // A Content-Type in the dictionary loses to the operation's own.
        VeskoNetworking::sendUploadMutiPartRequestByEW(
            _service.url(QStringLiteral("/macfb/v1/macfeedback?mac_h=H")),
            PingbackUtil::wallEndpoint(),
            {{"detail", QStringLiteral("候选窗口不跟随光标")}, {"isAtta", QStringLiteral("1")}},
            {{"Content-Type", QStringLiteral("text/x")}}, kBoundary, QStringLiteral("a.zip"),
            QByteArray(4096, 'z'), uploadRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
        QVERIFY(outcome->onMainThread);
        QCOMPARE(jsonOf(outcome->data).value("code").toInt(-1), 0);

        const QJsonObject entry =
            _service.entries(QStringLiteral("/macfb/v1/macfeedback"), mark).at(0).toObject();
        QCOMPARE(journalHeader(entry, "Content-Type"),
                 QStringLiteral("multipart/form-data; boundary=") + kBoundary);
        QCOMPARE(journalHeader(entry, "Accept-Encoding"), QStringLiteral("gzip, deflate"));
        QCOMPARE(journalHeader(entry, "Content-Length"), zq::test::sentLength(entry));
    }

    void plainUpload() {
        const qint64 mark = _service.mark();
        const QByteArray file(300 * 1024, 'p');
        QList<zq::net::Progress> steps;
        auto outcome = std::make_shared<Outcome>();
        // The operation's own Accept-Encoding wins over the dictionary's.
        VeskoNetworking::sendUploadMutiPartRequest(
            _service.url(QStringLiteral("/api/rec/file.php?file=setlog&h=H&v=1")), {{"kind", 3}},
            kBoundary, {{"Accept-Encoding", QStringLiteral("br")}}, QStringLiteral("shot.png"),
            file, [&steps](const zq::net::Progress& p) { steps.append(p); },
            uploadRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
        QCOMPARE(jsonOf(outcome->data).value("size").toInt(), file.size());
        QVERIFY(!steps.isEmpty());
        const QByteArray body = VeskoNetworking::multipartBody({{"kind", 3}}, kBoundary,
                                                               QStringLiteral("shot.png"), file);
        QCOMPARE(steps.last().completedUnitCount, body.size());
        QCOMPARE(steps.last().totalUnitCount, body.size());
        const QJsonObject entry =
            _service.entries(QStringLiteral("/api/rec/file.php"), mark).at(0).toObject();
        QCOMPARE(zq::test::sentBody(entry), body);
        QCOMPARE(journalHeader(entry, "Accept-Encoding"), QStringLiteral("gzip ,deflate"));
    }

    void plainUploadChecksContentType() {
        QVERIFY(_service.setFault(
            QStringLiteral("/api/rec/file.php"), QStringLiteral("answer"),
            {{"content_type", QStringLiteral("image/png")}, {"body", QStringLiteral("PNG")}}));
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendUploadMutiPartRequest(
            _service.url(QStringLiteral("/api/rec/file.php")), {}, kBoundary, {},
            QStringLiteral("f"), QByteArray("x"), nullptr, uploadRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kResponseErrorDomain));
        QCOMPARE(outcome->error->description,
                 QStringLiteral("Request failed: unacceptable content-type: image/png"));
        QVERIFY(outcome->data.isNull());
        QCOMPARE(outcome->status(), 200);
    }

    void jsonOperationRequests() {
        const qint64 mark = _service.mark();
        const QVariantMap parameters{{"b", QStringLiteral("x&y")}, {"a", 2}};
        auto post = std::make_shared<Outcome>();
        // The dictionary's fields win over the builder's defaults; values are sent as text.
        VeskoNetworking::sendPostRequest(
            echo(), parameters, {{"User-Agent", QStringLiteral("override/1")}, {"X-Extra", 42}},
            objectRecorder(post));
        QTRY_COMPARE_WITH_TIMEOUT(post->calls.load(), 1, kWaitMs);
        QVERIFY(!post->error);
        QVERIFY(post->onMainThread);
        QCOMPARE(post->object.toMap().value("method").toString(), QStringLiteral("POST"));

        auto get = std::make_shared<Outcome>();
        VeskoNetworking::sendGetRequest(echo(), parameters, {}, objectRecorder(get));
        QTRY_COMPARE_WITH_TIMEOUT(get->calls.load(), 1, kWaitMs);
        QVERIFY(!get->error);

        const QJsonArray entries = _service.entries(QStringLiteral("/__test/echo"), mark);
        QCOMPARE(entries.size(), 2);
        const QJsonObject postEntry = entries.at(0).toObject();
        QCOMPARE(zq::test::sentBody(postEntry), QByteArray("a=2&b=x%26y"));
        QCOMPARE(journalHeaders(postEntry, {"Content-Type", "User-Agent", "X-Extra",
                                            "Cache-Control", "Pragma"}),
                 (QStringList{"application/x-www-form-urlencoded", "override/1", "42", "no-cache",
                              "no-cache"}));
        const QJsonObject getEntry = entries.at(1).toObject();
        QCOMPARE(getEntry.value("method").toString(), QStringLiteral("GET"));
        QCOMPARE(getEntry.value("query").toString(), QStringLiteral("a=2&b=x%26y"));
        QCOMPARE(getEntry.value("body").toObject().value("len").toInt(), 0);
    }

    // GET and POST share the answer rule; the fault matrix covers both operations'
    // empty, unparsable and failed answers. Any JSON value but an object is refused.
    void jsonOperationAnswers_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("map");
        QTest::newRow("object under any content type") << QByteArray("{\"code\":0}") << true;
        QTest::newRow("array") << QByteArray("[1,2]") << false;
    }

    void jsonOperationAnswers() {
        QFETCH(QByteArray, body);
        QFETCH(bool, map);
        QVERIFY(_service.setFault(
            QStringLiteral("/__test/echo"), QStringLiteral("answer"),
            {{"body", QString::fromUtf8(body)}, {"content_type", QStringLiteral("text/html")}}));
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequest(echo(), {}, {}, objectRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->domain(), map ? QString() : QStringLiteral("response not JSON"));
        QCOMPARE(outcome->object.typeId() == QMetaType::QVariantMap, map);
        QCOMPARE(outcome->object.isValid(), map);
    }

    void bodyPost() {
        const qint64 mark = _service.mark();
        const QByteArray body("\x01\x02 body \xff", 10);
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequest(echo(), QVariantMap{{"ignored", 1}},
                                         {{"Content-Type", QStringLiteral("application/x-vesko")}},
                                         body, dataRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(!outcome->error);
        QVERIFY(outcome->onMainThread);
        QCOMPARE(jsonOf(outcome->data).value("method").toString(), QStringLiteral("POST"));
        const QJsonObject entry =
            _service.entries(QStringLiteral("/__test/echo"), mark).at(0).toObject();
        QCOMPARE(zq::test::sentBody(entry), body);
        QCOMPARE(entry.value("query").toString(), QString());  // parameters are not sent
        QCOMPARE(journalHeaders(entry, {"Content-Type", "Content-Length", "Cache-Control"}),
                 (QStringList{"application/x-vesko", "10", "no-cache"}));
    }

    void dataOperationsSendNoParameters() {
        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        // Despite its name, this operation sends a GET without body or parameters.
        VeskoNetworking::sendPostRequest(
            _service.url(QStringLiteral("/__test/echo?own=1")), QVariantMap{{"ignored", 1}},
            {{"X-Header", QStringLiteral("h")}}, dataRecorder(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(!outcome->error);
        const QJsonObject entry =
            _service.entries(QStringLiteral("/__test/echo"), mark).at(0).toObject();
        QCOMPARE(entry.value("method").toString(), QStringLiteral("GET"));
        QCOMPARE(entry.value("query").toString(), QStringLiteral("own=1"));
        QCOMPARE(journalHeader(entry, "X-Header"), QStringLiteral("h"));
    }

    // The client's download progress, through the operation that passes it on.
    void dataGetReportsProgress() {
        const int size = 3 * 1024 * 1024 + 17;
        QList<zq::net::Progress> steps;
        auto outcome = std::make_shared<Outcome>();
        int stepsAtCompletion = -1;
        VeskoNetworking::sendGetRequest(
            _service.url(QStringLiteral("/__test/bytes?n=%1").arg(size)), {},
            [&steps](const zq::net::Progress& p) {
                QVERIFY(QThread::currentThread() == QCoreApplication::instance()->thread());
                steps.append(p);
            },
            {},
            [&](const QByteArray& data, const OptionalResponse& r, const OptionalError& e) {
                stepsAtCompletion = int(steps.size());
                dataRecorder(outcome)(data, r, e);
            });
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(!outcome->error);
        QCOMPARE(outcome->data.size(), size);
        QCOMPARE(quint8(outcome->data.at(size - 1)), quint8((size - 1) % 251));
        QVERIFY(!steps.isEmpty());
        QCOMPARE(stepsAtCompletion, steps.size());  // every step came before the completion
        for (qsizetype i = 1; i < steps.size(); ++i)
            QVERIFY(steps[i].completedUnitCount >= steps[i - 1].completedUnitCount);
        QCOMPARE(steps.last().completedUnitCount, qint64(size));
        QCOMPARE(steps.last().totalUnitCount, qint64(size));
    }

    void syncPostRefusesTheMainThread() {
        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequestBySync(echo(), {}, {}, zq::test::syncRecorder(outcome));
        QCOMPARE(outcome->calls.load(), 1);
        QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kRequestErrorDomain));
        QCOMPARE(outcome->code(), VeskoNetworking::kWouldDeadlockCode);
        QVERIFY(outcome->error->description.contains(QStringLiteral("main thread")));
        QCOMPARE(_service.journal(mark).size(), 0);
    }

    void destroyedContextDropsTheHandler() {
        const qint64 mark = _service.mark();
        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("delay"),
                                  {{"ms", 300}}));
        auto dropped = std::make_shared<Outcome>();
        auto* context = new QObject;
        VeskoNetworking::sendPostRequest(echo(QStringLiteral("?first")), {}, {},
                                         dataRecorder(dropped), context);
        QTRY_COMPARE_WITH_TIMEOUT(_service.entries(QStringLiteral("/__test/echo"), mark).size(), 1,
                                  kWaitMs);
        delete context;

        // A later request to the same delayed endpoint, with a living context,
        // completes after the first one's answer arrived.
        QObject living;
        auto later = std::make_shared<Outcome>();
        VeskoNetworking::sendPostRequest(echo(QStringLiteral("?second")), {}, {},
                                         dataRecorder(later), &living);
        QTRY_COMPARE_WITH_TIMEOUT(later->calls.load(), 1, kWaitMs);
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(dropped->calls.load(), 0);
        QCOMPARE(_service.entries(QStringLiteral("/__test/echo"), mark).size(), 2);
    }

private:
    QString echo(const QString& query = {}) {
        return _service.url(QStringLiteral("/__test/echo") + query);
    }

    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestVeskoNetworking)
#include "tst_veskonetworking.moc"
