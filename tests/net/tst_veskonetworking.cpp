// VeskoNetworking against the reference web service on loopback: the wire
// format of the encrypted wall (checked by the service's own decryption),
// the multipart bodies byte for byte, the header rules, the synchronous POST
// and context objects; and the fault matrix: every operation under every
// fault the service can inject, with its answers plain or compressed,
// completes exactly once, on the thread it promises, with the outcome its
// contract gives, within its timeout.

#include "crypto/PingbackUtil.h"
#include "net/VeskoNetworking.h"
#include "platform/Configuration.h"
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

enum class Op {
    kPostByEW,
    kWithoutGzipByEW,
    kUploadByEW,
    kJsonPost,
    kJsonGet,
    kBodyPost,
    kDataPost,
    kDataGet,
    kSyncPost,
    kUpload,
};

// What a call must end with.
enum class Expect {
    kSuccess,        // no error, a non-empty answer
    kEmptySuccess,   // no error, an empty answer
    kNothing,        // no error, no answer (an encrypted-wall 2xx other than 200)
    kStatusError,    // the client's status error
    kResponseIsNil,  // "response is nil", 1
    kParseError,     // the JSON parser's error
    kDecryptError,   // "Decrypt Error", 3
    kClosed,         // transport: the connection closed
    kRefused,        // transport: connection refused
    kTimedOut,       // transport: timed out
};

const QList<Op> kAllOps{Op::kPostByEW, Op::kWithoutGzipByEW, Op::kUploadByEW, Op::kJsonPost,
                        Op::kJsonGet,  Op::kBodyPost,        Op::kDataPost,   Op::kDataGet,
                        Op::kSyncPost, Op::kUpload};

const char* nameOf(Op op) {
    static const char* const names[] = {
        "sendPostRequestByEW",      "sendRequestWithoutGzipByEW", "sendUploadMutiPartRequestByEW",
        "sendPostRequest(dict)",    "sendGetRequest(dict)",       "sendPostRequest(bodyData)",
        "sendPostRequest(data)",    "sendGetRequest(progress)",   "sendPostRequestBySync",
        "sendUploadMutiPartRequest"};
    return names[int(op)];
}

bool throughTheWall(Op op) {
    return op == Op::kPostByEW || op == Op::kWithoutGzipByEW || op == Op::kUploadByEW;
}

bool isJson(Op op) {
    return op == Op::kJsonPost || op == Op::kJsonGet;
}

// The contract of each operation for each fault.
Expect expectationFor(Op op, const QString& fault) {
    if (fault == QLatin1String("none"))
        return Expect::kSuccess;
    if (fault == QLatin1String("status 503"))
        return Expect::kStatusError;
    if (fault == QLatin1String("truncate") || fault == QLatin1String("close") ||
        fault == QLatin1String("drop"))
        return Expect::kClosed;
    if (fault == QLatin1String("refused"))
        return Expect::kRefused;
    if (fault == QLatin1String("status 201"))
        return throughTheWall(op) ? Expect::kNothing : Expect::kSuccess;
    if (fault == QLatin1String("empty")) {
        if (throughTheWall(op))
            return Expect::kDecryptError;
        if (op == Op::kSyncPost || op == Op::kUpload)
            return Expect::kEmptySuccess;
        return Expect::kResponseIsNil;
    }
    if (fault == QLatin1String("garbage")) {
        if (throughTheWall(op))
            return Expect::kDecryptError;
        return isJson(op) ? Expect::kParseError : Expect::kSuccess;
    }
    return Expect::kSuccess;
}

}  // namespace

Q_DECLARE_METATYPE(Op)
Q_DECLARE_METATYPE(Expect)

class TestVeskoNetworking : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
        zq::test::RefService gone;
        QVERIFY2(gone.start(), qPrintable(gone.errorString()));
        _deadBase = gone.baseUrl();
        gone.stop();
        // stop() restored the configuration of the outer service's fixture.
        platform::Configuration::reload();
        QCOMPARE(PingbackUtil::wallEndpoint(), _service.url(QStringLiteral("/q")));
    }

    void init() {
        QVERIFY(_service.clearFaults());
        QVERIFY(_service.control("DELETE", QStringLiteral("/__control/compression"))
                    .value("ok")
                    .toBool());
        _service.setConfigValue(QStringLiteral("Service/WallHost"), _service.baseUrl());
    }

    void matrix_data() {
        QTest::addColumn<Op>("op");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QString>("coding");
        QTest::addColumn<Expect>("expect");

        const QList<QPair<QString, QVariantMap>> faults{
            {"none", {}},
            {"status 503", {{"status", 503}}},
            {"status 201", {{"status", 201}}},
            {"empty", {}},
            {"garbage", {}},
            {"truncate", {}},
            {"close", {}},
            {"drop", {}},
            {"refused", {}},
        };
        for (const char* coding : {"identity", "gzip", "deflate"}) {
            for (const Op op : kAllOps) {
                for (const auto& fault : faults) {
                    QTest::addRow("%s, %s, %s", nameOf(op), qPrintable(fault.first), coding)
                        << op << fault.first << fault.second << QString::fromLatin1(coding)
                        << expectationFor(op, fault.first);
                }
            }
        }
    }

    void matrix() {
        QFETCH(Op, op);
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(QString, coding);
        QFETCH(Expect, expect);

        const QJsonObject set =
            _service.control("POST", QStringLiteral("/__control/compression"),
                             QJsonDocument(QJsonObject{{"coding", coding}}).toJson());
        QCOMPARE(set.value("coding").toString(), coding);
        const qint64 mark = _service.mark();
        QString base = _service.baseUrl();
        if (fault == QLatin1String("refused")) {
            base = _deadBase;
            _service.setConfigValue(QStringLiteral("Service/WallHost"), _deadBase);
        } else if (fault != QLatin1String("none")) {
            const QString kind = fault.section(u' ', 0, 0);
            QVERIFY(_service.setFault(QStringLiteral("*"), kind, options));
        }

        QThread* caller = nullptr;
        const OutcomePtr outcome = start(op, base, &caller);
        // Every request's own timeout is 30 seconds; nothing here may take longer.
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, 35000);
        if (caller) {
            QVERIFY(caller->wait(5000));
            delete caller;
            QCOMPARE(outcome->object.toInt(), 1);  // the handler ran before the call returned
            QVERIFY(!outcome->onMainThread);
        } else {
            QVERIFY(outcome->onMainThread);
        }
        verify(*outcome, op, expect);
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(outcome->calls.load(), 1);
        // The service compressed what it sent, with the coding the request allowed
        // (the deflate-only wall POST takes no gzip).
        const QString sent =
            op == Op::kWithoutGzipByEW && coding == QLatin1String("gzip") ? "identity" : coding;
        for (const QJsonValue entry : _service.journal(mark))
            QCOMPARE(entry["answer"]["coding"].toString(), sent);
    }

    void everyOperationTimesOut() {
        // All operations at once against an endpoint that answers after their
        // 30-second timeout: each ends with the timeout error, once.
        QVERIFY(_service.setFault(QStringLiteral("*"), QStringLiteral("delay"), {{"ms", 40000}}));
        QList<QPair<Op, OutcomePtr>> outcomes;
        QThread* caller = nullptr;
        for (const Op op : kAllOps)
            outcomes.append({op, start(op, _service.baseUrl(), &caller)});
        for (const auto& [op, outcome] : outcomes) {
            QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, 45000);
            verify(*outcome, op, Expect::kTimedOut);
        }
        QVERIFY(caller->wait(5000));
        delete caller;
        QVERIFY(zq::test::drainMainQueue());
        for (const auto& [op, outcome] : outcomes)
            QCOMPARE(outcome->calls.load(), 1);
        QVERIFY(_service.clearFaults());
    }

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

    // One row per branch; the edge cases of the address are the encryptor's own table,
    // and the evaluation page sends a query and a body through the wall end to end.
    void wallRequestOnTheWire_data() {
        QTest::addColumn<QString>("pathAndQuery");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("expectedQuery");

        QTest::newRow("query, no body")
            << QStringLiteral("/macfb/v1/click_overview?h=H&v=1&r=0000&os=12") << QByteArray()
            << QStringList{"u", "g", "k", "v"} << QStringLiteral("h=H&v=1&r=0000&os=12");
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
    // A synchronous call runs on a thread of its own, returned in *caller.
    OutcomePtr start(Op op, const QString& base, QThread** caller) {
        auto outcome = std::make_shared<Outcome>();
        const auto data = zq::test::dataRecorder(outcome);
        const auto object = zq::test::objectRecorder(outcome);
        const auto upload = zq::test::uploadRecorder(outcome);
        const QString echo = base + QStringLiteral("/__test/echo?x=1");
        const QString overview =
            base + QStringLiteral("/macfb/v1/click_overview?h=H&v=1&r=0000&os=12");
        const QString feedback =
            base + QStringLiteral("/macfb/v1/macfeedback?mac_h=H&mac_v=1&mac_r=0000&mac_os=12");
        const QVariantMap fields{{"detail", QStringLiteral("无法输入")}, {"isAtta", 1}};
        switch (op) {
            case Op::kPostByEW:
                VeskoNetworking::sendPostRequestByEW(overview, {}, {}, data);
                break;
            case Op::kWithoutGzipByEW:
                VeskoNetworking::sendRequestWithoutGzipByEW(overview, {}, QByteArray("p=1"), data);
                break;
            case Op::kUploadByEW:
                VeskoNetworking::sendUploadMutiPartRequestByEW(
                    feedback, PingbackUtil::wallEndpoint(), fields, {}, kBoundary,
                    QStringLiteral("a.zip"), QByteArray(100, 'z'), upload);
                break;
            case Op::kJsonPost:
                VeskoNetworking::sendPostRequest(echo, QVariantMap{{"a", 1}}, {}, object);
                break;
            case Op::kJsonGet:
                VeskoNetworking::sendGetRequest(echo, QVariantMap{{"a", 1}}, {}, object);
                break;
            case Op::kBodyPost:
                VeskoNetworking::sendPostRequest(echo, {}, {}, QByteArray("body"), data);
                break;
            case Op::kDataPost:
                VeskoNetworking::sendPostRequest(echo, {}, {}, VeskoNetworking::DataHandler(data));
                break;
            case Op::kDataGet:
                VeskoNetworking::sendGetRequest(echo, {}, nullptr, {}, data);
                break;
            case Op::kSyncPost:
                *caller = QThread::create([outcome, echo] {
                    VeskoNetworking::sendPostRequestBySync(echo, {}, {},
                                                           zq::test::syncRecorder(outcome));
                    // The handler has run by the time the call returns.
                    outcome->object = outcome->calls.load();
                });
                (*caller)->start();
                break;
            case Op::kUpload:
                VeskoNetworking::sendUploadMutiPartRequest(
                    base + QStringLiteral("/api/rec/file.php?file=setlog&h=H&v=1"), {}, kBoundary,
                    {}, QStringLiteral("s.png"), QByteArray(50, 's'), nullptr, upload);
                break;
        }
        return outcome;
    }

    void verify(const Outcome& outcome, Op op, Expect expect) {
        const QString transport = QString::fromLatin1(zq::net::kTransportErrorDomain);
        const QString response = QString::fromLatin1(zq::net::kResponseErrorDomain);
        const bool hasAnswer = isJson(op) ? outcome.object.isValid() : !outcome.data.isEmpty();
        switch (expect) {
            case Expect::kSuccess:
                QVERIFY2(!outcome.error,
                         qPrintable(outcome.error->domain + u' ' + outcome.error->description));
                QVERIFY(hasAnswer);
                if (isJson(op))
                    QCOMPARE(outcome.object.typeId(), QMetaType::QVariantMap);
                break;
            case Expect::kEmptySuccess:
                QVERIFY(!outcome.error);
                QVERIFY(outcome.data.isEmpty());
                break;
            case Expect::kNothing:
                QVERIFY(!outcome.error);
                QVERIFY(outcome.data.isNull());
                QCOMPARE(outcome.status(), 201);
                break;
            case Expect::kStatusError:
                QCOMPARE(outcome.domain(), response);
                QCOMPARE(outcome.code(), qint64(zq::net::kErrorBadServerResponse));
                QCOMPARE(outcome.error->description,
                         QStringLiteral("Request failed: service unavailable (503)"));
                if (op != Op::kSyncPost && !isJson(op))
                    QCOMPARE(outcome.status(), 503);
                if (throughTheWall(op))
                    QVERIFY(!outcome.data.isEmpty());  // the wall passes the answer on
                break;
            case Expect::kResponseIsNil:
                QCOMPARE(outcome.domain(), QStringLiteral("response is nil"));
                QCOMPARE(outcome.code(), qint64(1));
                break;
            case Expect::kParseError:
                QCOMPARE(outcome.domain(), response);
                QCOMPARE(outcome.code(), qint64(zq::net::kErrorCannotDecodeContent));
                QVERIFY(!outcome.object.isValid());
                break;
            case Expect::kDecryptError:
                QCOMPARE(outcome.domain(), QStringLiteral("Decrypt Error"));
                QCOMPARE(outcome.code(), qint64(3));
                QCOMPARE(outcome.status(), 200);
                QVERIFY(outcome.data.isNull());
                break;
            case Expect::kClosed:
                QVERIFY2(outcome.domain() == transport,
                         qPrintable(outcome.domain() + u' ' + QString::number(outcome.code()) +
                                    u' ' + outcome.error->description));
                QCOMPARE(outcome.code(), qint64(QNetworkReply::RemoteHostClosedError));
                break;
            case Expect::kRefused:
                QCOMPARE(outcome.domain(), transport);
                QCOMPARE(outcome.code(), qint64(QNetworkReply::ConnectionRefusedError));
                break;
            case Expect::kTimedOut:
                QCOMPARE(outcome.domain(), transport);
                QCOMPARE(outcome.code(), zq::net::kErrorTimedOut);
                break;
        }
    }

    QString echo(const QString& query = {}) {
        return _service.url(QStringLiteral("/__test/echo") + query);
    }

    zq::test::RefService _service;
    QString _deadBase;
};

QTEST_GUILESS_MAIN(TestVeskoNetworking)
#include "tst_veskonetworking.moc"
