// The feedback and evaluation calls against the reference web service on
// loopback: addresses, escaping, multipart bodies, the boundary, headers, and
// the completion of every call under injected faults.

#include "help/ZQHelpListInfoDataManager.h"
#include "net/VeskoNetworking.h"
#include "platform/Locations.h"
#include "platform/Translations.h"
#include "tests/help/HelpTestSupport.h"
#include "tests/support/RefService.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

using helptest::argsOf;
using helptest::readFile;
using helptest::settle;
using helptest::writeFile;

namespace {

constexpr int kWaitMs = 30000;
const QString kBoundary = QStringLiteral("---------------------------a1fa340557");

struct Result {
    zq::net::OptionalError error;
    bool success = false;
    std::optional<QString> message;
    QVariant data;
    bool mainThread = false;
};

QByteArray sample(int size) {
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i) {
        bytes[i] = char((i * 37 + 11) & 0xFF);
    }
    return bytes;
}

QJsonObject part(const QJsonObject& entry, const QString& name) {
    const QJsonArray parts = entry.value("multipart").toObject().value("parts").toArray();
    for (const QJsonValue& p : parts) {
        if (p.toObject().value("name").toString() == name) {
            return p.toObject();
        }
    }
    return {};
}

// A completion of the (error, success) form that records each call.
auto recorder(QList<Result>* calls) {
    return [calls](const zq::net::OptionalError& error, bool ok) {
        calls->append({error, ok, {}, {}, helptest::onMainThread()});
    };
}

QStringList partNames(const QJsonObject& entry) {
    QStringList names;
    const QJsonArray parts = entry.value("multipart").toObject().value("parts").toArray();
    for (const QJsonValue& p : parts) {
        names << p.toObject().value("name").toString();
    }
    return names;
}

}  // namespace

class TestFeedbackCalls : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(helptest::prepareMachine());
        QVERIFY(platform::installTranslations(QCoreApplication::instance()));
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void init() { QVERIFY(_service.clearFaults()); }

    void legacyEscaping_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("escaped");
        const auto row = [](const char* name, const QString& text, const char* escaped) {
            QTest::newRow(name) << text << QString(escaped);
        };
        // Spaces, Chinese and the delimiters: oldStyleReport.
        row("percent and hash kept", "100%#1", "100%#1");
        row("unsafe marks", "\"<>\\^`{|}[]", "%22%3C%3E%5C%5E%60%7B%7C%7D%5B%5D");
    }

    void legacyEscaping() {
        QFETCH(QString, text);
        QFETCH(QString, escaped);
        QCOMPARE(ZQHelpListInfoDataManager::addingLegacyPercentEscapes(text), escaped);
    }

    void feedbackWithAttachment() {
        const QByteArray archive = sample(1000);
        QVERIFY(writeFile(platform::Locations::homeDir() + "/Downloads/fb.zip", archive));
        const qint64 mark = _service.mark();
        QList<Result> calls;
        submitFeedback(QString::fromUtf8("输入法在终端里无法切换，请帮忙看看"), true,
                       QStringLiteral("zipOfFeedback_X_1.zip"),
                       QStringLiteral("~/Downloads/fb.zip"), &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        settle();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].error.has_value(), false);
        QVERIFY(calls[0].success);
        QCOMPARE(calls[0].message,
                 std::optional<QString>(QString::fromUtf8("提交成功，感谢您的反馈！")));
        QVERIFY(calls[0].mainThread);

        const QJsonArray entries = _service.entries("/macfb/v1/macfeedback", mark);
        QCOMPARE(entries.size(), 1);
        const QJsonObject e = entries[0].toObject();
        QCOMPARE(e.value("path").toString(), QString("/q"));
        const QJsonObject d = e.value("decrypted").toObject();
        QCOMPARE(d.value("u").toString(), _service.baseUrl() + "/macfb/v1/macfeedback");
        QCOMPARE(d.value("g").toString(), helptest::commonQuery("mac_"));
        QCOMPARE(e.value("multipart").toObject().value("boundary").toString(), kBoundary);
        QCOMPARE(partNames(e), (QStringList{"attaName", "contact", "detail", "isAtta", "file"}));
        QCOMPARE(part(e, "file").value("filename").toString(), QString("zipOfFeedback_X_1.zip"));
        const QJsonArray stored = e.value("stored").toArray();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(readFile(stored[0].toString()), archive);
    }

    void feedbackAnswers_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<bool>("withDetail");
        QTest::addColumn<QString>("errorDomain");  // empty: no error value
        QTest::addColumn<bool>("success");
        QTest::addColumn<QVariant>("message");  // null: none
        const QVariantMap none;
        QTest::newRow("refused by the service")
            << "" << none << false << "" << false
            << QVariant(QString::fromUtf8("请填写问题描述后再提交"));
        QTest::newRow("code 0 as text, message a number")
            << "answer" << QVariantMap{{"json", QVariantMap{{"code", "0"}, {"msg", 5}}}} << true
            << "" << true << QVariant("5");
        QTest::newRow("no code") << "answer" << QVariantMap{{"json", QVariantMap{{"msg", "x"}}}}
                                 << true << "" << false << QVariant("x");
        QTest::newRow("no message") << "answer" << QVariantMap{{"json", QVariantMap{{"code", 0}}}}
                                    << true << "" << true << QVariant();
        QTest::newRow("JSON array") << "answer" << QVariantMap{{"body", "[0]"}} << true
                                    << "response not JSON" << false << QVariant();
        QTest::newRow("empty answer") << "answer" << QVariantMap{{"body", ""}} << true
                                      << "response is nil" << false << QVariant();
        // The client layer's error (here for a status outside 200-299) is passed on.
        QTest::newRow("status 500") << "status" << QVariantMap{{"status", 500}} << true
                                    << "vesko.net.response" << false << QVariant();
    }

    void feedbackAnswers() {
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(bool, withDetail);
        QFETCH(QString, errorDomain);
        QFETCH(bool, success);
        QFETCH(QVariant, message);
        if (!fault.isEmpty()) {
            QVERIFY(_service.setFault("/macfb/v1/macfeedback", fault, options));
        }
        QList<Result> calls;
        submitFeedback(withDetail
                           ? std::optional<QString>(QString::fromUtf8("一段足够长的问题描述"))
                           : std::nullopt,
                       false, QString(), QString(), &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        settle();
        QCOMPARE(calls.size(), 1);
        const Result& r = calls[0];
        QCOMPARE(r.success, success);
        QCOMPARE(r.error ? r.error->domain : QString(), errorDomain);
        QCOMPARE(r.message, message.isValid() ? std::optional(message.toString()) : std::nullopt);
    }

    void uploadSendsTheFileAsItIs() {
        const QByteArray picture = sample(1000);
        QVERIFY(writeFile(platform::Locations::homeDir() + "/pics/a b.png", picture));
        const qint64 mark = _service.mark();
        QList<std::pair<std::optional<QString>, bool>> calls;
        const bool started = ZQHelpListInfoDataManager::uploadFeedbackFileWithPath(
            QStringLiteral("~/pics/a b.png"), [&](const std::optional<QString>& error, bool ok) {
                calls.append({error, ok});
            });
        // The completion has run before the call returned.
        QVERIFY(started);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].first, std::nullopt);
        QVERIFY(calls[0].second);
        QCOMPARE(ZQHelpListInfoDataManager::pendingUploadCount(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(ZQHelpListInfoDataManager::pendingUploadCount(), 0, kWaitMs);

        QTRY_COMPARE_WITH_TIMEOUT(_service.entries("/api/rec/file.php", mark).size(), 1, kWaitMs);
        const QJsonObject e = _service.entries("/api/rec/file.php", mark)[0].toObject();
        QCOMPARE(argsOf(e.value("args").toArray()),
                 (QMap<QString, QString>{
                     {"file", "setlog"}, {"h", helptest::kDeviceId}, {"v", helptest::kImVersion}}));

        const QByteArray expected = "--" + kBoundary.toLatin1() +
                                    "\r\nContent-Disposition: form-data; name=\"file\"; "
                                    "filename=\"a b.png\"\r\n\r\n" +
                                    picture + "\r\n--" + kBoundary.toLatin1() + "--\r\n";
        const QByteArray body = QByteArray::fromBase64(
            e.value("body").toObject().value("base64").toString().toLatin1());
        QCOMPARE(body, expected);
        // The field that marks the upload as feedback pictures.
        const auto headers = helptest::headersOf(e);
        QVERIFY(std::any_of(headers.cbegin(), headers.cend(), [](const auto& h) {
            return h.first.compare("vesko_macime_file_upload", Qt::CaseInsensitive) == 0 &&
                   h.second == u"UserFeedbackPicts";
        }));
    }

    void uploadThatCannotStart() {
        _service.setConfigValue("Service/UploadHost", "not an address");
        QList<std::pair<std::optional<QString>, bool>> calls;
        const bool started = ZQHelpListInfoDataManager::uploadFeedbackFileWithPath(
            QStringLiteral("/nonexistent"), [&](const std::optional<QString>& error, bool ok) {
                calls.append({error, ok});
            });
        _service.setConfigValue("Service/UploadHost", _service.baseUrl());
        QVERIFY(!started);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].first,
                 std::optional<QString>(QString::fromUtf8("哎呀网络有问题，请重新提交~")));
        QVERIFY(!calls[0].second);
    }

    // What the old-style report and the evaluation send: the delimiters inside
    // a value stay as they are and change the query.
    void reportAndEvaluationOnTheWire() {
        const qint64 mark = _service.mark();
        QList<Result> calls;
        ZQHelpListInfoDataManager::submitUserFeedbackInfoWithReason(
            -1, QString::fromUtf8("描述 a&b=c"), QStringLiteral("qq 123"), true,
            QStringLiteral("z.zip"), nullptr, recorder(&calls));
        ZQHelpListInfoDataManager::submitUserEvaluationWithContactInfo(
            QString::fromUtf8("好 a&b=c"), 4, nullptr, recorder(&calls));
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 2, kWaitMs);
        for (const Result& call : calls) {
            QVERIFY(!call.error && call.success && call.mainThread);
        }
        const QJsonObject report = decrypted("/lost.gif", mark);
        QCOMPARE(report.value("u").toString(), _service.baseUrl() + "/lost.gif");
        QCOMPARE(report.value("g").toString(),
                 helptest::commonQuery() +
                     "&reason=-1&detail=%E6%8F%8F%E8%BF%B0%20a&b=c&Orvo=qq%20123&isAtta=1"
                     "&attaName=z.zip");
        QCOMPARE(report.value("p"), QJsonValue(QJsonValue::Null));
        const QJsonObject evaluation = decrypted("/macfb/v1/click_save", mark);
        QCOMPARE(evaluation.value("g").toString(),
                 helptest::commonQuery() + "&score=4&feedcont=%E5%A5%BD%20a&b=c");
        QCOMPARE(evaluation.value("p").toObject().value("text").toString(),
                 QString::fromUtf8(
                     "Content-Disposition: form-data; score=\"4\"; feedcont=\"好 a&b=c\"\r\n"));
    }

    // The two (error, success) calls under the service's answers: the old-style
    // report and, with a score, the evaluation.
    void reportOutcomes_data() {
        QTest::addColumn<qint64>("score");  // 0: the old-style report
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QString>("errorDomain");
        QTest::addColumn<bool>("success");
        const auto row = [](const char* name, qint64 score, const char* fault,
                            const QVariantMap& options, const char* errorDomain, bool success) {
            QTest::newRow(name) << score << QString(fault) << options << QString(errorDomain)
                                << success;
        };
        const char* response = "vesko.net.response";
        row("report: status 503", 0, "status", {{"status", 503}}, response, false);
        row("report: status 201", 0, "status", {{"status", 201}}, "", false);
        row("report: garbage with status 200", 0, "garbage", {}, "", true);
        row("evaluation: score refused", 9, "", {}, "", false);
        row("evaluation: array", 5, "answer", {{"body", "[]"}}, "", false);
        row("evaluation: status 500", 5, "status", {{"status", 500}}, response, false);
    }

    void reportOutcomes() {
        QFETCH(qint64, score);
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(QString, errorDomain);
        QFETCH(bool, success);
        if (!fault.isEmpty()) {
            QVERIFY(
                _service.setFault(score ? "/macfb/v1/click_save" : "/lost.gif", fault, options));
        }
        QList<Result> calls;
        if (score) {
            ZQHelpListInfoDataManager::submitUserEvaluationWithContactInfo("ok", score, nullptr,
                                                                           recorder(&calls));
        } else {
            ZQHelpListInfoDataManager::submitUserFeedbackInfoWithReason(-1, "d", "c", false, "",
                                                                        nullptr, recorder(&calls));
        }
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        settle();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0].success, success);
        QCOMPARE(calls[0].error ? calls[0].error->domain : QString(), errorDomain);
    }

    void overviewWithoutCompletion_data() {
        QTest::addColumn<QVariantMap>("options");
        QTest::newRow("empty data")
            << QVariantMap{{"json", QVariantMap{{"code", 0}, {"data", QVariantMap{}}}}};
        QTest::newRow("code 1") << QVariantMap{
            {"json", QVariantMap{{"code", 1}, {"data", QVariantMap{{"a", 1}}}}}};
        QTest::newRow("not JSON") << QVariantMap{{"body", "<html/>"}};
    }

    void overviewWithoutCompletion() {
        QFETCH(QVariantMap, options);
        QVERIFY(_service.setFault("/macfb/v1/click_overview", "answer", options));
        int calls = 0;
        int finished = 0;
        ZQHelpListInfoDataManager::getScoringOverviewData(
            nullptr, [&](const zq::net::OptionalError&, bool, const QVariant&) { ++calls; },
            [&] { ++finished; });
        QTRY_COMPARE_WITH_TIMEOUT(finished, 1, kWaitMs);
        settle();
        QCOMPARE(calls, 0);
        QCOMPARE(finished, 1);
    }

    void overviewError() {
        QVERIFY(_service.setFault("/macfb/v1/click_overview", "garbage"));
        QList<Result> calls;
        ZQHelpListInfoDataManager::getScoringOverviewData(
            nullptr, [&](const zq::net::OptionalError& e, bool ok, const QVariant& data) {
                calls.append({e, ok, {}, data});
            });
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        QCOMPARE(calls[0].error->domain, QString("Decrypt Error"));
        QCOMPARE(calls[0].error->code, qint64(3));
        QVERIFY(!calls[0].success);
        QVERIFY(!calls[0].data.isValid());
    }

private:
    void submitFeedback(const std::optional<QString>& detail, bool hasAttachment,
                        const std::optional<QString>& name, const QString& path,
                        QList<Result>* calls) {
        ZQHelpListInfoDataManager::submitNewFeedbackWithDetail(
            detail, QStringLiteral("me@example.com"), hasAttachment, name, path, nullptr,
            [calls](const zq::net::OptionalError& error, bool success,
                    const std::optional<QString>& message) {
                calls->append({error, success, message, {}, helptest::onMainThread()});
            });
    }
    // The decrypted envelope of the first call to `path` since `mark`.
    QJsonObject decrypted(const QString& path, qint64 mark) {
        return _service.entries(path, mark)[0].toObject().value("decrypted").toObject();
    }

    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestFeedbackCalls)
#include "tst_feedbackcalls.moc"
