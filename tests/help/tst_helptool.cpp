// vesko-tool help, feedback, evaluate and overview against the reference web
// service on loopback: what the tool adds to the help library (argument
// errors, exit status, the HTTP status of an answer, the feedback archive).

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
    void initTestCase() {
        QVERIFY(helptest::prepareMachine());
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void init() { QVERIFY(_service.clearFaults()); }

    // `args` split at spaces; `fields` are "key=value" of the printed JSON,
    // separated by ";" (value compared as text, "null" for null); `stderrText` must appear on
    // standard error. Argument errors (status 2) and refused input send nothing.
    void commands_data() {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("faultPath");
        QTest::addColumn<QVariantMap>("fault");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("fields");
        QTest::addColumn<QString>("stderrText");
        auto row = [](const char* name, const QString& args, int exitCode, const QString& field,
                      const QString& stderrText, const QString& path = {},
                      const QVariantMap& fault = {}) {
            QTest::newRow(name) << args << path << fault << exitCode << field << stderrText;
        };
        row("help fetch through the wall", "help fetch --version 1", 0,
            "request=wall;upToDate=false;version=3;error=null", "");
        row("help fetch --plain, up to date", "help fetch --plain --version 3", 0,
            "request=plain;upToDate=true;entries=null", "");
        row("help fetch, error text", "help fetch", 1, "error=failed to decrypt data",
            "failed to decrypt data", "/q", {{"name", "garbage"}});
        // The help list call does not look at the status; the tool shows it.
        row("help fetch, status 503", "help fetch --plain", 1, "httpStatus=503", "503",
            "/mac_feed_tpl", {{"name", "status"}, {"status", 503}});
        row("help fetch, unknown argument", "help fetch --bogus", 2, "", "--bogus");
        row("help cache --seed", "help cache --seed", 0, "version=1", "");
        row("feedback without pictures", "feedback submit --detail 没有图片的问题描述，足够长", 0,
            "archive=null", "");
        row("feedback, nine characters", "feedback submit --detail 123456789", 1, "",
            "at least 10");
        row("feedback, 301 characters", "feedback submit --detail " + QString(301, u'长'), 1, "",
            "at most 300");
        row("feedback, ten characters, missing picture",
            "feedback submit --detail 0123456789 --picture /nope.png", 1, "",
            "no such picture file");
        row("feedback, no detail", "feedback submit --contact x", 2, "", "--detail is required");
        row("evaluate", "evaluate --score 5 --comment 好", 0, "success=true", "");
        row("evaluate, score refused", "evaluate --score 9", 1, "success=false", "");
        row("overview", "overview", 0, "", "");
        row("overview, code 1", "overview", 1, "error=null", "", "/macfb/v1/click_overview",
            {{"name", "answer"}, {"json", QVariantMap{{"code", 1}}}});
    }

    void commands() {
        QFETCH(QString, args);
        QFETCH(QString, faultPath);
        QFETCH(QVariantMap, fault);
        QFETCH(int, exitCode);
        QFETCH(QString, fields);
        QFETCH(QString, stderrText);
        if (!faultPath.isEmpty()) {
            QVariantMap options = fault;
            options.remove("name");
            QVERIFY(_service.setFault(faultPath, fault.value("name").toString(), options));
        }
        if (args.endsWith(u"--seed")) {
            QDir(QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) +
                 "/Vesko/InputMethod/VeskoPY/helpInfo")
                .removeRecursively();
        }
        const qint64 mark = _service.mark();
        const ToolRun run = runTool(args.split(u' '));
        QVERIFY2(run.exitCode == exitCode,
                 qPrintable(QStringLiteral("exit %1: %2").arg(run.exitCode).arg(run.stderrText)));
        for (const QString& field : fields.split(u';', Qt::SkipEmptyParts)) {
            const QString key = field.section(u'=', 0, 0);
            QVERIFY2(run.json.contains(key), qPrintable(key));
            const QJsonValue v = run.json.value(key);
            const QString actual = v.isNull()     ? QStringLiteral("null")
                                   : v.isBool()   ? QString(v.toBool() ? "true" : "false")
                                   : v.isDouble() ? QString::number(v.toDouble())
                                                  : v.toString();
            QCOMPARE(actual, field.section(u'=', 1));
        }
        if (args == u"overview" && exitCode == 0) {
            QVERIFY(run.json.value("data").toObject().contains("avg"));
        }
        QVERIFY2(run.stderrText.contains(stderrText.toUtf8()), run.stderrText.constData());
        if (exitCode == 2 || (args.startsWith(u"feedback") && exitCode != 0)) {
            QCOMPARE(_service.journal(mark).size(), 0);
        }
    }

    // The tool zips the pictures itself: the archive's name, its entries (read by
    // Python's zipfile) and the reports that name it.
    void feedbackWithPictures() {
        QVERIFY(helptest::writeFile(
            QDir::temp().filePath("in/a.png"),
            helptest::readFile(ZQ_SOURCE_DIR "/resources/help/helpinfo_1.png")));
        QVERIFY(helptest::writeFile(QDir::temp().filePath("in/b.jpg"), QByteArray(5000, 'j')));
        const qint64 mark = _service.mark();
        const ToolRun run = runTool(
            {"feedback", "submit", "--detail", QString::fromUtf8("候选窗口在终端里不跟随光标移动"),
             "--contact", "me@example.com", "--picture", QDir::temp().filePath("in/a.png"),
             "--picture", QDir::temp().filePath("in/b.jpg")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.json.value("outcome").toString(), QString("submitted"));
        const QJsonObject archive = run.json.value("archive").toObject();
        QVERIFY(archive.value("name").toString().startsWith("zipOfFeedback_" + helptest::kDeviceId +
                                                            "_"));
        QVERIFY(archive.value("name").toString().endsWith(".zip"));
        QVERIFY(!QFileInfo::exists(archive.value("path").toString()));  // deleted after success

        const QJsonArray uploads = _service.entries("/api/rec/file.php", mark);
        QCOMPARE(uploads.size(), 1);
        const QString stored = uploads[0].toObject().value("stored").toArray()[0].toString();
        const QJsonObject listing = zipsupport::pythonListing(stored);
        QCOMPARE(listing.value("testzip").toString(), QString());
        const QJsonArray entries = listing.value("entries").toArray();
        QCOMPARE(entries.size(), 2);
        QCOMPARE(entries[0].toObject().value("name").toString(), QString("pic_001.png"));
        QCOMPARE(entries[1].toObject().value("name").toString(), QString("pic_002.jpg"));
        QCOMPARE(QByteArray::fromBase64(entries[1].toObject().value("data").toString().toLatin1()),
                 QByteArray(5000, 'j'));

        QCOMPARE(run.json.value("oldStyleReport").toObject().value("success").toBool(), true);
        // Both reports name the archive.
        const QJsonObject report = _service.entries("/macfb/v1/macfeedback", mark)[0].toObject();
        QStringList fileNames;
        for (const QJsonValue& p : report.value("multipart").toObject().value("parts").toArray()) {
            fileNames << p.toObject().value("filename").toString();
        }
        QVERIFY(fileNames.contains(archive.value("name").toString()));
        const QJsonObject lost = _service.entries("/lost.gif", mark)[0].toObject();
        const auto args =
            helptest::argsOf(lost.value("decrypted").toObject().value("args").toArray());
        QCOMPARE(args.value("reason"), QString("-1"));
        QCOMPARE(args.value("isAtta"), QString("1"));
        QCOMPARE(args.value("attaName"), archive.value("name").toString());
    }

private:
    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestHelpTool)
#include "tst_helptool.moc"
