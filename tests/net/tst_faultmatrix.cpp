// The fault matrix: every VeskoNetworking operation under every fault the
// reference service can inject, with its answers plain or compressed,
// completes exactly once, on the thread it promises, with the outcome its
// contract gives, within its timeout.

#include "crypto/PingbackUtil.h"
#include "net/VeskoNetworking.h"
#include "platform/Configuration.h"
#include "tests/net/NetTestSupport.h"
#include "tests/support/RefService.h"

#include <QThread>
#include <QtTest>

using zq::test::Outcome;
using zq::test::OutcomePtr;

namespace {

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

class TestFaultMatrix : public QObject {
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
        const QString boundary = QStringLiteral("---------------------------a1fa340557");
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
                    feedback, PingbackUtil::wallEndpoint(), fields, {}, boundary,
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
                    base + QStringLiteral("/api/rec/file.php?file=setlog&h=H&v=1"), {}, boundary,
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

    zq::test::RefService _service;
    QString _deadBase;
};

QTEST_GUILESS_MAIN(TestFaultMatrix)
#include "tst_faultmatrix.moc"
