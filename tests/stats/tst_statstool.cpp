// vesko-tool's store and analytics commands, run as a user would run them.

#include "crypto/ZQSecurityUtil.h"
#include "platform/Plist.h"
#include "stats/AnalyticsQueue.h"
#include "stats/AnalyticsSettings.h"
#include "stats/TesselEvent.h"
#include "stats/ZQPubStatistician.h"
#include "stats/ZQTesselReportTool.h"
#include "tests/support/RefService.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
    QJsonDocument json() const { return QJsonDocument::fromJson(out); }
};

Run tool(const QStringList& args, const QByteArray& input = {}) {
    QProcess process;
    process.start(QStringLiteral(ZQ_BINARY_DIR "/tools/vesko-tool/vesko-tool"), args);
    Run run;
    if (!process.waitForStarted(20000)) {
        return run;
    }
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

// The JSON answer of a command that must succeed.
QJsonDocument answer(const QStringList& args) {
    const Run run = tool(args);
    [&] { QVERIFY2(run.status == 0, run.err.constData()); }();
    return run.json();
}

QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
}  // namespace

class TestStatsTool : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(_dir.isValid());
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void writeThenRead() {
        const QString path = _dir.filePath("written.dat");
        const QByteArray object =
            R"({"name": "文本", "count": 3, "ratio": 0.5, "on": true, "nested": {"k": "v"}})";
        const Run write = tool({"store", "write", path}, object);
        QCOMPARE(write.status, 0);
        // Read back by the library, not the tool: integers stay integers.
        const std::optional<QVariantMap> dict =
            ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
        QVERIFY(dict);
        QCOMPARE(dict->value("count").typeId(), QMetaType::LongLong);
        QCOMPARE(dict->value("name").toString(), QString("文本"));
        const Run read = tool({"store", "read", path});
        QCOMPARE(read.status, 0);
        QCOMPARE(read.json().object(), QJsonDocument::fromJson(object).object());
    }

    // Refused input and unreadable stores: status 1, the file left as it was.
    void refused_data() {
        using B = QByteArray;
        QTest::addColumn<QString>("command");
        // Written to the store for "read", piped for "write".
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("array value") << "write" << B(R"({"a": [1]})") << B("arrays");
        QTest::newRow("nested null") << "write" << B(R"({"a": {"b": null}})") << B("null");
        QTest::newRow("top-level array") << "write" << B("[]") << B("JSON object");
        QTest::newRow("not JSON") << "write" << B("{oops") << B("not JSON");
        QTest::newRow("read random text") << "read" << B("hello, world") << B("not a readable");
    }

    void refused() {
        QFETCH(QString, command);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, message);
        const QString path = _dir.filePath("kept.dat");
        if (command == u"write") {
            QVERIFY(ZQSecurityUtil::writeDict({{"keep", "me"}}, path));
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(input);
        }
        const QByteArray before = fileBytes(path);
        const Run run = tool({"store", command, path}, command == u"write" ? input : QByteArray());
        QCOMPARE(run.status, 1);
        QVERIFY(run.out.isEmpty());
        QVERIFY2(run.err.contains(message), run.err.constData());
        QCOMPARE(fileBytes(path), before);
    }

    void readLeavesAPlainFilePlain() {
        const QString path = _dir.filePath("plain.dat");
        QVERIFY(platform::Plist::writeFile(path, QVariantMap{{"VeskoInputNewVersion", "2.0"}}));
        const QByteArray before = fileBytes(path);
        const Run run = tool({"store", "read", path});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.json().object(), (QJsonObject{{"VeskoInputNewVersion", "2.0"}}));
        QVERIFY(run.err.contains("plain property list"));
        QCOMPARE(fileBytes(path), before);
        QCOMPARE(tool({"store", "read", _dir.filePath("missing.dat")}).status, 1);
    }

    void storeValues() {
        answer({"store", "pub", "set", "flags", R"({"a": 1})", "--json"});
        QCOMPARE(ZQPubStatistician::getPubDataByKey("flags").toMap(), (QVariantMap{{"a", 1}}));
        QCOMPARE(
            answer({"store", "pub", "get", "flags"}).object(),
            (QJsonObject{{"store", "pub"}, {"key", "flags"}, {"value", QJsonObject{{"a", 1}}}}));
        answer({"store", "pub", "unset", "flags"});
        QVERIFY(!ZQPubStatistician::getPubDataByKey("flags").isValid());
        QCOMPARE(tool({"store", "pub", "set", "list", "[1]", "--json"}).status, 1);
        QCOMPARE(tool({"store", "nope", "get", "x"}).status, 2);
        QCOMPARE(tool({"store", "pub", "get"}).status, 2);
    }

    void cloudValueNeedsTheDataFolder() {
        QVERIFY(QDir(zq::utility::userDataFolder()).removeRecursively());
        Run run =
            tool({"store", "cloud", "set", "ZQSettingLogFinishedTime", "1700000000", "--json"});
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains("folder does not exist"), run.err.constData());
        QVERIFY(QDir().mkpath(zq::utility::userDataFolder()));
        const QJsonObject set =
            answer({"store", "cloud", "set", "ZQSettingLogFinishedTime", "1700000000", "--json"})
                .object();
        QCOMPARE(set.value("value").toInteger(), 1700000000);
    }

    void reportAndAudit() {
        const QJsonObject event =
            answer({"analytics", "report", "mac_clck", "mac_icon=13"}).object();
        QCOMPARE(event.value("outcome").toString(), QString("delivered"));
        QCOMPARE(event.value("params").toObject().value("mac_icon").toString(), QString("13"));

        const QJsonArray attempts = answer({"analytics", "audit"}).array();
        QCOMPARE(attempts.size(), 1);
        const QJsonObject attempt = attempts.at(0).toObject();
        QCOMPARE(
            attempt.value("body").toObject().value("events").toArray().at(0).toObject().value("id"),
            event.value("id"));
        QCOMPARE(attempt.value("result").toObject().value("outcome").toString(),
                 QString("delivered"));
        QCOMPARE(tool({"analytics", "queue"}).json().array().size(), 0);
    }

    void disableEmptiesTheQueue() {
        {
            zq::stats::AnalyticsQueue queue(ZQTesselReportTool::storageFolder());
            const TesselEvent event = TesselEvent::normalEventWithCode("waiting", "k", {});
            QVERIFY(queue.enqueue(event.identifier(), false, 0,
                                  QJsonDocument(event.toJson()).toJson(), 100));
        }
        QCOMPARE(tool({"analytics", "queue"}).json().array().size(), 1);
        const QJsonObject disabled = answer({"analytics", "disable"}).object();
        QCOMPARE(disabled.value("removed").toInt(), 1);
        QCOMPARE(zq::stats::analyticsUserChoice(), std::optional<bool>(false));
        QCOMPARE(tool({"analytics", "queue"}).json().array().size(), 0);

        const int sentBefore = static_cast<int>(_service.analyticsEvents().size());
        const Run run = tool({"analytics", "report", "mac_clck", "mac_icon=2"});
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains("switched off"));
        QCOMPARE(_service.analyticsEvents().size(), sentBefore);

        const QJsonObject enabled = answer({"analytics", "enable"}).object();
        QCOMPARE(enabled.value("user").toBool(), true);
    }

private:
    zq::test::RefService _service;
    QTemporaryDir _dir;
};

QTEST_GUILESS_MAIN(TestStatsTool)
#include "tst_statstool.moc"
