// The HTTP client layer against the reference web service on loopback:
// request building, header rules, validation and parsing of answers,
// content codings, timeouts, cancellation and invalidation.

#include "net/AFHTTPSessionManager.h"
#include "net/ContentDecoder.h"
#include "tests/net/NetTestSupport.h"
#include "tests/support/RefService.h"

#include <QRegularExpression>
#include <QtTest>

#include <zlib.h>

using zq::net::CachePolicy;
using zq::net::OptionalError;
using zq::net::Request;
using zq::test::Outcome;
using zq::test::OutcomePtr;

namespace {

constexpr int kWaitMs = 15000;

// The session manager's success and failure blocks, filling one outcome.
auto succeeded(const OutcomePtr& outcome) {
    return [outcome](AFURLSessionTask* task, const QVariant& object) {
        outcome->object = object;
        outcome->response = task ? task->response() : std::nullopt;
        outcome->record();
    };
}
auto failed(const OutcomePtr& outcome) {
    return [outcome](AFURLSessionTask*, const zq::net::Error& error) {
        outcome->error = error;
        outcome->record();
    };
}

// data compressed as a gzip member (windowBits 31), a zlib stream (15) or a
// bare DEFLATE stream (-15), by zlib's own compressor.
QByteArray compressed(const QByteArray& data, int windowBits) {
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(int(deflateBound(&stream, uLong(data.size()))) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

}  // namespace

class TestHttpClient : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QCoreApplication::setApplicationVersion(QStringLiteral("9.8.7"));
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void init() { QVERIFY(_service.clearFaults()); }

    void requestBuilder_data() {
        QTest::addColumn<bool>("json");
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("address");
        QTest::addColumn<QVariant>("parameters");
        QTest::addColumn<QByteArray>("expectedUrl");
        QTest::addColumn<QByteArray>("expectedBody");
        QTest::addColumn<QString>("expectedContentType");

        const QVariantMap flat{{"b", QStringLiteral("x y")}, {"a", 1}};
        const QString form = QStringLiteral("application/x-www-form-urlencoded");
        const auto row = [](const char* name, const char* method, const QVariant& parameters,
                            const char* url, const QByteArray& body = {},
                            const QString& contentType = {}, bool json = false,
                            const char* address = "http://h/p") {
            QTest::newRow(name) << json << QByteArray(method) << QString::fromUtf8(address)
                                << parameters << QByteArray(url) << body << contentType;
        };
        row("GET puts parameters in the query, keys ascending", "GET", flat,
            "http://h/p?a=1&b=x%20y");
        row("GET appends to an existing query", "GET", flat, "http://h/p?z=0&a=1&b=x%20y", {}, {},
            false, "http://h/p?z=0");
        row("HEAD and DELETE use the query", "DELETE", flat, "http://h/p?a=1&b=x%20y");
        row("POST form-encodes into the body", "POST", flat, "http://h/p", "a=1&b=x%20y", form);
        row("delimiters and non-ASCII are escaped", "POST",
            QVariantMap{{"k", QStringLiteral("a&b=c+d/e?好")}}, "http://h/p",
            "k=a%26b%3Dc%2Bd/e?%E5%A5%BD", form);
        row("nested maps and lists, booleans as 1 and 0", "POST",
            QVariantMap{{"m", QVariantMap{{"y", true}, {"x", 2}}},
                        {"l", QVariantList{1, QStringLiteral("two")}}},
            "http://h/p", "l%5B%5D=1&l%5B%5D=two&m%5Bx%5D=2&m%5By%5D=1", form);
        row("null value gives the bare key", "POST",
            QVariantMap{{"k", QVariant::fromValue(nullptr)}}, "http://h/p", "k", form);
        row("no parameters: no body, no content type", "POST", {}, "http://h/p");
        row("JSON builder writes a JSON body", "POST",
            QVariantMap{{"a", 1}, {"s", QStringLiteral("好")}}, "http://h/p",
            "{\"a\":1,\"s\":\"好\"}", QStringLiteral("application/json"), true);
        row("JSON builder still uses the query for GET", "GET", QVariantMap{{"a", 1}},
            "http://h/p?a=1", {}, {}, true);
    }

    void requestBuilder() {
        QFETCH(bool, json);
        QFETCH(QByteArray, method);
        QFETCH(QString, address);
        QFETCH(QVariant, parameters);
        QFETCH(QByteArray, expectedUrl);
        QFETCH(QByteArray, expectedBody);
        QFETCH(QString, expectedContentType);

        std::shared_ptr<AFHTTPRequestSerializer> builder =
            json ? std::shared_ptr<AFHTTPRequestSerializer>(AFJSONRequestSerializer::serializer())
                 : AFHTTPRequestSerializer::serializer();
        builder->setTimeoutInterval(7);
        builder->setCachePolicy(CachePolicy::kReloadIgnoringLocalCacheData);
        OptionalError error;
        const std::optional<Request> request =
            builder->requestWithMethod(method, address, parameters, &error);
        QVERIFY2(request, error ? qPrintable(error->description) : "no request");
        QCOMPARE(request->httpMethod(), method);
        QCOMPARE(request->url().toEncoded(), expectedUrl);
        QCOMPARE(request->httpBody(), expectedBody);
        QCOMPARE(request->value(QStringLiteral("Content-Type")), expectedContentType);
        QCOMPARE(request->timeoutInterval(), 7.0);
        QCOMPARE(request->cachePolicy(), CachePolicy::kReloadIgnoringLocalCacheData);
    }

    void requestBuilderRejectsBadAddresses_data() {
        QTest::addColumn<QString>("address");
        QTest::newRow("empty") << QString();
        QTest::newRow("no scheme") << QStringLiteral("127.0.0.1/x");
        QTest::newRow("no host") << QStringLiteral("http://");
    }

    void requestBuilderRejectsBadAddresses() {
        QFETCH(QString, address);
        OptionalError error;
        const auto request =
            AFHTTPRequestSerializer::serializer()->requestWithMethod("GET", address, {}, &error);
        QVERIFY(!request);
        QVERIFY(error);
        QCOMPARE(error->domain, QString::fromLatin1(zq::net::kRequestErrorDomain));
        QCOMPARE(error->code, qint64(zq::net::kErrorBadURL));

        // The client's GET reports it through failure, on the main thread.
        auto client = AFHTTPSessionManager::create();
        auto outcome = std::make_shared<Outcome>();
        const auto task =
            client->GET(address, {}, {}, nullptr, succeeded(outcome), failed(outcome));
        QVERIFY(!task);
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(outcome->onMainThread);
        QCOMPARE(outcome->code(), qint64(zq::net::kErrorBadURL));
    }

    void defaultHeaderForms() {
        const auto builder = AFHTTPRequestSerializer::serializer();
        // "%@;q=%0.1g" per language, joined by ", ", the first at q=1.
        const QString language = builder->value(QStringLiteral("Accept-Language"));
        static const QRegularExpression languageForm(
            QStringLiteral("^[A-Za-z0-9-]+;q=1(, [A-Za-z0-9-]+;q=0\\.[1-9])*$"));
        QVERIFY2(languageForm.match(language).hasMatch(), qPrintable(language));
        QVERIFY(language.count(u',') <= 5);

        // "%@/%@ (Mac OS X %@)": application name, version, system version.
        const QString agent = builder->value(QStringLiteral("User-Agent"));
        const QRegularExpression agentForm(
            QStringLiteral("^") + QRegularExpression::escape(QCoreApplication::applicationName()) +
            QStringLiteral("/9\\.8\\.7 \\(Mac OS X [^()]+\\)$"));
        QVERIFY2(agentForm.match(agent).hasMatch(), qPrintable(agent));
        QCOMPARE(builder->HTTPRequestHeaders().at(0).first, QStringLiteral("Accept-Language"));
        QCOMPARE(builder->HTTPRequestHeaders().at(1).first, QStringLiteral("User-Agent"));
    }

    void headerFieldsReplaceCaseInsensitively() {
        const auto builder = AFHTTPRequestSerializer::serializer();
        builder->setValue(QStringLiteral("a"), QStringLiteral("X-One"));
        builder->setValue(QStringLiteral("b"), QStringLiteral("X-Two"));
        builder->setValue(QStringLiteral("c"), QStringLiteral("x-one"));
        QCOMPARE(builder->value(QStringLiteral("X-ONE")), QStringLiteral("c"));
        QCOMPARE(builder->HTTPRequestHeaders().size(), 4);
        QCOMPARE(builder->HTTPRequestHeaders().at(2),
                 qMakePair(QStringLiteral("X-One"), QStringLiteral("c")));
        builder->setValue(QString(), QStringLiteral("X-ONE"));
        QCOMPARE(builder->HTTPRequestHeaders().size(), 3);
        QVERIFY(builder->value(QStringLiteral("X-One")).isNull());

        Request request(QUrl(QStringLiteral("http://h/")));
        request.setValue(QStringLiteral("1"), QStringLiteral("Content-Type"));
        request.setValue(QStringLiteral("2"), QStringLiteral("content-type"));
        QCOMPARE(request.allHTTPHeaderFields().size(), 1);
        QCOMPARE(request.value(QStringLiteral("CONTENT-TYPE")), QStringLiteral("2"));
    }

    void buildFailureReachesFailure() {
        // JSON parameters that are not an object or array cannot form a body.
        auto client = AFHTTPSessionManager::create();
        client->setRequestSerializer(AFJSONRequestSerializer::serializer());
        auto outcome = std::make_shared<Outcome>();
        const auto task = client->POST(_service.url(QStringLiteral("/__test/echo")), QVariant(12),
                                       {}, nullptr, succeeded(outcome), failed(outcome));
        QVERIFY(!task);
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->code(), qint64(zq::net::kErrorCannotSerializeRequest));
    }

    void validationAndParsing_data() {
        QTest::addColumn<bool>("json");
        QTest::addColumn<QStringList>("acceptable");  // "*" for no check
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("contentType");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expectedError");
        QTest::addColumn<QVariant>("expectedObject");

        const QStringList any{QStringLiteral("*")};
        const QStringList jsonOnly{QStringLiteral("application/json")};
        QTest::newRow("raw 299 is still success")
            << false << any << 299 << "text/plain" << QByteArray("x") << QString()
            << QVariant(QByteArray("x"));
        QTest::newRow("raw 300 is the first failure")
            << false << any << 300 << "text/plain" << QByteArray("mc")
            << "Request failed: multiple choices (300)" << QVariant(QByteArray("mc"));
        QTest::newRow("unacceptable content type delivers nothing")
            << false << jsonOnly << 200 << "text/html" << QByteArray("<p>")
            << "Request failed: unacceptable content-type: text/html" << QVariant();
        QTest::newRow("content type parameters are ignored")
            << false << jsonOnly << 200 << "application/json; charset=utf-8" << QByteArray("{}")
            << QString() << QVariant(QByteArray("{}"));
        QTest::newRow("status error wins over content type")
            << false << jsonOnly << 500 << "text/html" << QByteArray("e")
            << "Request failed: internal server error (500)" << QVariant(QByteArray("e"));
        QTest::newRow("JSON object")
            << true << any << 200 << "text/plain" << QByteArray("{\"a\":1}") << QString()
            << QVariant(QVariantMap{{"a", 1}});
        QTest::newRow("JSON bare number")
            << true << any << 200 << "text/plain" << QByteArray(" 12 ") << QString()
            << QVariant(qint64(12));
        QTest::newRow("JSON null") << true << any << 200 << "text/plain" << QByteArray("null")
                                   << QString() << QVariant::fromValue(nullptr);
        QTest::newRow("JSON empty body is nothing, no error")
            << true << any << 200 << "application/json" << QByteArray() << QString() << QVariant();
        QTest::newRow("JSON that does not parse")
            << true << any << 200 << "application/json" << QByteArray("{bad")
            << "JSON text did not parse" << QVariant();
        QTest::newRow("JSON two values are not one")
            << true << any << 200 << "application/json" << QByteArray("1,2")
            << "JSON text did not parse" << QVariant();
        QTest::newRow("JSON parser's default content types")
            << true << QStringList() << 200 << "text/html" << QByteArray("{}")
            << "Request failed: unacceptable content-type: text/html" << QVariant();
        QTest::newRow("JSON 404 still parsed")
            << true << any << 404 << "application/json" << QByteArray("{\"e\":1}")
            << "Request failed: not found (404)" << QVariant(QVariantMap{{"e", 1}});
    }

    void validationAndParsing() {
        QFETCH(bool, json);
        QFETCH(QStringList, acceptable);
        QFETCH(int, status);
        QFETCH(QString, contentType);
        QFETCH(QByteArray, body);
        QFETCH(QString, expectedError);
        QFETCH(QVariant, expectedObject);

        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("answer"),
                                  {{"status", status},
                                   {"content_type", contentType},
                                   {"body_base64", QString::fromLatin1(body.toBase64())}}));
        std::shared_ptr<AFHTTPResponseSerializer> parser =
            json ? std::shared_ptr<AFHTTPResponseSerializer>(AFJSONResponseSerializer::serializer())
                 : AFHTTPResponseSerializer::serializer();
        if (acceptable == QStringList{QStringLiteral("*")})
            parser->setAcceptableContentTypes(std::nullopt);
        else if (!acceptable.isEmpty())
            parser->setAcceptableContentTypes(
                QSet<QString>(acceptable.cbegin(), acceptable.cend()));
        auto client = AFURLSessionManager::create();
        client->setResponseSerializer(parser);

        const OutcomePtr outcome = run(client, echo());
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->status(), status);
        if (expectedError.isEmpty()) {
            QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
        } else {
            QVERIFY(outcome->error);
            QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kResponseErrorDomain));
            QVERIFY2(outcome->error->description.startsWith(expectedError),
                     qPrintable(outcome->error->description));
            QCOMPARE(outcome->error->userInfo.value(QStringLiteral("statusCode")).toInt(), status);
        }
        QCOMPARE(outcome->object.isValid(), expectedObject.isValid());
        if (expectedObject.isValid()) {
            QCOMPARE(outcome->object.typeId(), expectedObject.typeId());
            QCOMPARE(outcome->object, expectedObject);
        }
    }

    void contentCodings_data() {
        QTest::addColumn<QString>("coding");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<qint64>("errorCode");  // 0: decodes to expected

        const QByteArray text = QStringLiteral("切换输入法 Shift 中英文 ").toUtf8().repeated(200);
        const QByteArray gzip = compressed(text, 31);
        const qint64 limit = zq::net::ContentDecoder::kMaximumDecodedContentLength;
        const qint64 bad = zq::net::kErrorCannotDecodeRawData;
        QTest::newRow("gzip") << "gzip" << gzip << text << 0LL;
        QTest::newRow("x-gzip, any case") << "X-GZip" << gzip << text << 0LL;
        QTest::newRow("deflate, zlib stream") << "deflate" << compressed(text, 15) << text << 0LL;
        QTest::newRow("deflate, bare stream") << "deflate" << compressed(text, -15) << text << 0LL;
        QTest::newRow("gzip then deflate, undone in reverse")
            << "gzip, identity,deflate" << compressed(gzip, 15) << text << 0LL;
        QTest::newRow("two gzip members")
            << "gzip" << gzip + compressed("!", 31) << text + "!" << 0LL;
        QTest::newRow("empty body") << "gzip" << QByteArray() << QByteArray() << 0LL;
        QTest::newRow("unknown coding") << "br" << text << QByteArray() << bad;
        QByteArray corrupt = gzip;
        corrupt[gzip.size() / 2] = char(~corrupt[gzip.size() / 2]);
        QTest::newRow("corrupt") << "gzip" << corrupt << QByteArray() << bad;
        QTest::newRow("stream cut short")
            << "gzip" << gzip.left(gzip.size() - 4) << QByteArray() << bad;
        QTest::newRow("data after the stream")
            << "deflate" << compressed(text, 15) + "x" << QByteArray() << bad;
        // gzip members of 1 MiB of zeros each, up to the limit, in about 1 KB each.
        const QByteArray bomb = compressed(QByteArray(1 << 20, '\0'), 31).repeated(limit >> 20);
        QTest::newRow("decodes to the limit") << "gzip" << bomb << QByteArray(limit, '\0') << 0LL;
        QTest::newRow("decodes past the limit")
            << "gzip" << bomb + compressed("!", 31) << QByteArray()
            << qint64(zq::net::kErrorDataLengthExceedsMaximum);
    }

    void contentCodings() {
        QFETCH(QString, coding);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, expected);
        QFETCH(qint64, errorCode);

        // Over loopback, in whatever pieces the connection delivers.
        QVERIFY(_service.setFault(
            QStringLiteral("/__test/echo"), QStringLiteral("answer"),
            {{"body_base64", QString::fromLatin1(body.toBase64())},
             {QStringLiteral("headers"), QVariantList{QVariantList{"Content-Encoding", coding}}}}));
        const OutcomePtr outcome = run(rawClient(), echo());
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->status(), 200);
        if (errorCode == 0) {
            QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
            QVERIFY(outcome->object.toByteArray() == expected);
        } else {
            QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kResponseErrorDomain));
            QCOMPARE(outcome->code(), errorCode);
            QVERIFY(!outcome->object.isValid());
        }

        // One byte at a time: every stream boundary falls between two writes.
        zq::net::ContentDecoder decoder(coding.toLatin1());
        QByteArray decoded;
        bool ok = true;
        for (qsizetype i = 0; ok && i < body.size(); ++i)
            ok = decoder.write(body.mid(i, 1), &decoded);
        ok = ok && decoder.finish();
        QCOMPARE(ok, errorCode == 0);
        QCOMPARE(decoder.error() ? decoder.error()->code : 0, errorCode);
        if (ok)
            QVERIFY(decoded == expected);
    }

    void timeout() {
        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("delay"),
                                  {{"ms", 8000}}));
        Request request = echo();
        request.setTimeoutInterval(0.4);
        const OutcomePtr outcome = run(rawClient(), request);
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, 5000);
        QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kTransportErrorDomain));
        QCOMPARE(outcome->code(), zq::net::kErrorTimedOut);
        QCOMPARE(outcome->error->description, QStringLiteral("The request timed out."));
        QVERIFY(!outcome->response);
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(outcome->calls.load(), 1);
    }

    // A body shorter than its Content-Length: the closed connection's error,
    // and whatever arrived (the first half). The fault matrix closes the
    // connection before and inside the header for every operation.
    void shortBodyIsAnErrorWithWhatArrived() {
        QVERIFY(_service.setFault(QStringLiteral("/__test/bytes"), QStringLiteral("truncate")));
        const OutcomePtr outcome =
            run(rawClient(), Request(QUrl(_service.url(QStringLiteral("/__test/bytes?n=1000")))));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kTransportErrorDomain));
        QCOMPARE(outcome->code(), qint64(QNetworkReply::RemoteHostClosedError));
        QCOMPARE(outcome->status(), 200);
        QCOMPARE(outcome->object.toByteArray().size(), 500);
    }

    void cancelBeforeResume() {
        const qint64 mark = _service.mark();
        auto outcome = std::make_shared<Outcome>();
        auto client = rawClient();
        auto task =
            client->dataTaskWithRequest(echo(), nullptr, nullptr, zq::test::taskRecorder(outcome));
        QCOMPARE(task->state(), AFURLSessionTask::State::kSuspended);
        task->cancel();
        task->resume();  // too late: does nothing
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QCOMPARE(outcome->code(), zq::net::kErrorCancelled);
        QCOMPARE(task->state(), AFURLSessionTask::State::kCompleted);
        QCOMPARE(client->outstandingTaskCount(), 0);
        QVERIFY(zq::test::drainMainQueue());
        QCOMPARE(outcome->calls.load(), 1);
        QCOMPARE(_service.entries(QStringLiteral("/__test/echo"), mark).size(), 0);
    }

    void invalidationCancelsOutstandingTasks() {
        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("delay"),
                                  {{"ms", 20000}}));
        const qint64 mark = _service.mark();
        auto client = rawClient();
        QList<OutcomePtr> outcomes;
        for (int i = 0; i < 3; ++i)
            outcomes.append(run(client, echo(QStringLiteral("?i=%1").arg(i))));
        QCOMPARE(client->outstandingTaskCount(), 3);
        // Wait until all three are in the service's hands, then end the client.
        QTRY_COMPARE_WITH_TIMEOUT(_service.entries(QStringLiteral("/__test/echo"), mark).size(), 3,
                                  kWaitMs);
        client->invalidateSessionCancelingTasks(true, true);
        QVERIFY(client->isInvalidated());
        for (const OutcomePtr& outcome : outcomes) {
            QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, 5000);
            QCOMPARE(outcome->domain(), QString::fromLatin1(zq::net::kTransportErrorDomain));
            QCOMPARE(outcome->code(), zq::net::kErrorCancelled);
            QVERIFY(outcome->onMainThread);
        }
        QCOMPARE(client->outstandingTaskCount(), 0);

        // Nothing new starts on an invalidated client.
        const qint64 after = _service.mark();
        const OutcomePtr late = run(client, echo());
        QTRY_COMPARE_WITH_TIMEOUT(late->calls.load(), 1, kWaitMs);
        QCOMPARE(late->code(), qint64(zq::net::kErrorSessionInvalidated));
        QVERIFY(zq::test::drainMainQueue());
        for (const OutcomePtr& outcome : outcomes)
            QCOMPARE(outcome->calls.load(), 1);
        QCOMPARE(_service.journal(after).size(), 0);
    }

    void invalidationWithoutCancellingLetsTasksFinish() {
        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("delay"),
                                  {{"ms", 300}}));
        auto client = rawClient();
        const OutcomePtr outcome = run(client, echo());
        client->invalidateSessionCancelingTasks(false, false);
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY2(!outcome->error, qPrintable(outcome->error->description));
        QCOMPARE(outcome->status(), 200);
    }

    void taskOutlivesItsClient() {
        QVERIFY(_service.setFault(QStringLiteral("/__test/echo"), QStringLiteral("delay"),
                                  {{"ms", 200}}));
        auto outcome = std::make_shared<Outcome>();
        {
            auto client = rawClient();
            client->dataTaskWithRequest(echo(), nullptr, nullptr, zq::test::taskRecorder(outcome))
                ->resume();
        }  // neither the client nor the task handle is held any more
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls.load(), 1, kWaitMs);
        QVERIFY(!outcome->error);
        QCOMPARE(outcome->status(), 200);
    }

private:
    Request echo(const QString& query = {}) {
        return Request(QUrl(_service.url(QStringLiteral("/__test/echo") + query)));
    }

    std::shared_ptr<AFURLSessionManager> rawClient() {
        auto client = AFURLSessionManager::create();
        client->setResponseSerializer(AFHTTPResponseSerializer::serializer());
        return client;
    }

    OutcomePtr run(const std::shared_ptr<AFURLSessionManager>& client, const Request& request) {
        auto outcome = std::make_shared<Outcome>();
        client->dataTaskWithRequest(request, nullptr, nullptr, zq::test::taskRecorder(outcome))
            ->resume();
        return outcome;
    }

    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestHttpClient)
#include "tst_httpclient.moc"
