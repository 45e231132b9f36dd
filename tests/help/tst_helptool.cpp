// vesko-tool help, feedback, evaluate and overview, run as separate processes
// against the reference web service on loopback.

#include "tests/help/HelpTestSupport.h"
#include "tests/help/ZipTestSupport.h"
#include "tests/support/RefService.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

struct ToolRun {
    int exitCode = -1;
    QJsonObject json;
    QByteArray stderrText;
};

ToolRun runTool(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(VESKO_TOOL), args);
    ToolRun run;
    if (!process.waitForFinished(90000) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished(5000);
        run.stderrText = "did not finish";
        return run;
    }
    run.exitCode = process.exitCode();
    run.json = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    run.stderrText = process.readAllStandardError();
    return run;
}

}  // namespace

class TestHelpTool : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void fetchThroughTheWall();
    void fetchPlainUpToDate();
    void fetchReportsTheErrorText();
    void fetchReportsTheHttpStatus_data();
    void fetchReportsTheHttpStatus();
    void cacheWithSeed();
    void feedbackWithPictures();
    void feedbackWithoutPictures();
    void feedbackInputIsChecked_data();
    void feedbackInputIsChecked();
    void evaluateAndOverview();

private:
    zq::test::RefService _service;
};

void TestHelpTool::initTestCase() {
    QVERIFY(helptest::prepareMachine());
    QVERIFY2(_service.start(), qPrintable(_service.errorString()));
}

void TestHelpTool::init() {
    QVERIFY(_service.clearFaults());
}

void TestHelpTool::fetchThroughTheWall() {
    const ToolRun run = runTool({"help", "fetch", "--version", "1"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.json.value("request").toString(), QString("wall"));
    QCOMPARE(run.json.value("upToDate").toBool(), false);
    QCOMPARE(run.json.value("version").toString(), QString("3"));
    QCOMPARE(run.json.value("error"), QJsonValue(QJsonValue::Null));
    const QJsonArray entries = run.json.value("entries").toArray();
    QVERIFY(!entries.isEmpty());
    QCOMPARE(entries[0].toObject().value("imageSuffix").toString(), QString(".png"));
}

void TestHelpTool::fetchPlainUpToDate() {
    const ToolRun run = runTool({"help", "fetch", "--plain", "--version", "3"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.json.value("request").toString(), QString("plain"));
    QCOMPARE(run.json.value("upToDate").toBool(), true);
    QCOMPARE(run.json.value("entries"), QJsonValue(QJsonValue::Null));
}

void TestHelpTool::fetchReportsTheErrorText() {
    QVERIFY(_service.setFault("/q", "garbage"));
    const ToolRun run = runTool({"help", "fetch"});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.json.value("error").toString(), QString("failed to decrypt data"));
    QVERIFY(run.stderrText.contains("failed to decrypt data"));
}

// The help list call does not look at the status; the tool shows it.
void TestHelpTool::fetchReportsTheHttpStatus_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::newRow("plain, 503") << QStringList{"--plain"} << "/mac_feed_tpl" << 503;
    QTest::newRow("plain, 404") << QStringList{"--plain"} << "/mac_feed_tpl" << 404;
    QTest::newRow("wall, 503") << QStringList{} << "/q" << 503;
}

void TestHelpTool::fetchReportsTheHttpStatus() {
    QFETCH(QStringList, arguments);
    QFETCH(QString, path);
    QFETCH(int, status);
    QVERIFY(_service.setFault(path, "status", {{"status", status}}));
    const ToolRun run = runTool(QStringList{"help", "fetch"} + arguments);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.json.value("httpStatus").toInt(), status);
    QVERIFY2(run.stderrText.contains(QByteArray::number(status)), run.stderrText.constData());
}

void TestHelpTool::cacheWithSeed() {
    QDir(QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) + "/Vesko/InputMethod/VeskoPY/helpInfo")
        .removeRecursively();
    const ToolRun run = runTool({"help", "cache", "--seed"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.json.value("version").toString(), QString("1"));
    QCOMPARE(run.json.value("entries").toArray().size(), 4);
    for (const QJsonValue& e : run.json.value("entries").toArray()) {
        QVERIFY(QFileInfo::exists(e.toObject().value("cachedPicture").toString()));
    }
}

void TestHelpTool::feedbackWithPictures() {
    QVERIFY(
        helptest::writeFile(QDir::temp().filePath("in/a.png"),
                            helptest::readFile(ZQ_SOURCE_DIR "/resources/help/helpinfo_1.png")));
    QVERIFY(helptest::writeFile(QDir::temp().filePath("in/b.jpg"), QByteArray(5000, 'j')));
    const qint64 mark = _service.mark();
    const ToolRun run = runTool({"feedback", "submit", "--detail",
                                 QString::fromUtf8("候选窗口在终端里不跟随光标移动"), "--contact",
                                 "me@example.com", "--picture", QDir::temp().filePath("in/a.png"),
                                 "--picture", QDir::temp().filePath("in/b.jpg")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.json.value("outcome").toString(), QString("submitted"));
    const QJsonObject archive = run.json.value("archive").toObject();
    QVERIFY(
        archive.value("name").toString().startsWith("zipOfFeedback_" + helptest::kDeviceId + "_"));
    QVERIFY(archive.value("name").toString().endsWith(".zip"));
    QVERIFY(!QFileInfo::exists(archive.value("path").toString()));  // deleted after success
    QCOMPARE(run.json.value("oldStyleReport").toObject().value("success").toBool(), true);

    // The uploaded archive, read by Python's zipfile.
    const QJsonArray uploads = _service.entries("/api/rec/file.php", mark);
    QCOMPARE(uploads.size(), 1);
    const QString stored = uploads[0].toObject().value("stored").toArray()[0].toString();
    const QJsonObject listing = zipsupport::pythonListing(stored);
    QCOMPARE(listing.value("testzip").toString(), QString());
    const QJsonArray entries = listing.value("entries").toArray();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0].toObject().value("name").toString(), QString("pic_001.png"));
    QCOMPARE(entries[1].toObject().value("name").toString(), QString("pic_002.jpg"));
    QCOMPARE(entries[1].toObject().value("compress_type").toInt(), 8);
    QCOMPARE(QByteArray::fromBase64(entries[1].toObject().value("data").toString().toLatin1()),
             QByteArray(5000, 'j'));

    // The reports name the same archive.
    const QJsonObject report = _service.entries("/macfb/v1/macfeedback", mark)[0].toObject();
    const QJsonArray parts = report.value("multipart").toObject().value("parts").toArray();
    bool named = false;
    for (const QJsonValue& p : parts) {
        if (p.toObject().value("name").toString() == u"file") {
            named = p.toObject().value("filename").toString() == archive.value("name").toString();
        }
    }
    QVERIFY(named);
    const QJsonObject lost = _service.entries("/lost.gif", mark)[0].toObject();
    const auto args = helptest::argsOf(lost.value("decrypted").toObject().value("args").toArray());
    QCOMPARE(args.value("reason"), QString("-1"));
    QCOMPARE(args.value("isAtta"), QString("1"));
    QCOMPARE(args.value("attaName"), archive.value("name").toString());
}

void TestHelpTool::feedbackWithoutPictures() {
    const qint64 mark = _service.mark();
    const ToolRun run = runTool(
        {"feedback", "submit", "--detail", QString::fromUtf8("没有图片的问题描述，足够长")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.json.value("archive"), QJsonValue(QJsonValue::Null));
    QCOMPARE(_service.entries("/api/rec/file.php", mark).size(), 0);
    QCOMPARE(_service.entries("/macfb/v1/macfeedback", mark).size(), 1);
}

void TestHelpTool::feedbackInputIsChecked_data() {
    QTest::addColumn<QStringList>("args");
    QTest::newRow("nine characters") << QStringList{"--detail", "123456789"};
    QTest::newRow("301 characters") << QStringList{"--detail", QString(301, u'长')};
    QTest::newRow("missing picture")
        << QStringList{"--detail", "0123456789", "--picture", "/nope.png"};
    QTest::newRow("no detail") << QStringList{"--contact", "x"};
}

void TestHelpTool::feedbackInputIsChecked() {
    QFETCH(QStringList, args);
    const qint64 mark = _service.mark();
    const ToolRun run = runTool(QStringList{"feedback", "submit"} + args);
    QVERIFY(run.exitCode != 0);
    QVERIFY(!run.stderrText.isEmpty());
    QCOMPARE(_service.journal(mark).size(), 0);
}

void TestHelpTool::evaluateAndOverview() {
    const ToolRun evaluate =
        runTool({"evaluate", "--score", "5", "--comment", QString::fromUtf8("好")});
    QCOMPARE(evaluate.exitCode, 0);
    QCOMPARE(evaluate.json.value("success").toBool(), true);
    const ToolRun refused = runTool({"evaluate", "--score", "9"});
    QCOMPARE(refused.exitCode, 1);
    QCOMPARE(refused.json.value("success").toBool(), false);
    const ToolRun overview = runTool({"overview"});
    QCOMPARE(overview.exitCode, 0);
    QVERIFY(overview.json.value("data").toObject().contains("avg"));
    QVERIFY(_service.setFault("/macfb/v1/click_overview", "answer",
                              {{"json", QVariantMap{{"code", 1}}}}));
    const ToolRun nothing = runTool({"overview"});
    QCOMPARE(nothing.exitCode, 1);
    QCOMPARE(nothing.json.value("success").toBool(), false);
    QCOMPARE(nothing.json.value("error"), QJsonValue(QJsonValue::Null));
}

QTEST_GUILESS_MAIN(TestHelpTool)
#include "tst_helptool.moc"
