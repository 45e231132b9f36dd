// The vesko-tool commands of the environment utilities and the log manager,
// run as the separate process they are.

#include "UtilityTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <memory>

using namespace testsupport;

namespace {

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
};

}  // namespace

class TestToolCommands : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> _root;

    QString path(const QString& relative) const { return _root->path() + relative; }
    QString configPath() const { return path("/data/Vesko/InputMethod/VeskoPY/logConfig.plist"); }

    Run run(const QStringList& args) {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", path("/home"));
        env.insert("XDG_DATA_HOME", path("/data"));
        env.insert("TMPDIR", path("/tmp"));
        env.insert("VESKO_INSTALL_ROOT", path("/install"));
        env.insert("VESKO_SYSTEM_ROOT", path("/system"));
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(ZQ_VESKO_TOOL), args);
        Run result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        return result;
    }

    // The JSON answer of a command that must succeed.
    QJsonObject answer(const QStringList& args) {
        const Run result = run(args);
        [&] { QCOMPARE(result.status, 0); }();
        return result.json();
    }

private slots:
    void init() {
        _root = std::make_unique<QTemporaryDir>();
        QVERIFY(_root->isValid());
        QVERIFY(QDir().mkpath(path("/tmp")));
        QVERIFY(QDir().mkpath(path("/system")));
    }

    // One row each way: the library's answers as a JSON object, absent ones as null.
    void systemInfo() {
        QJsonObject info = answer({"system-info"});
        QCOMPARE(info.size(), 9);
        QVERIFY(info.contains("GetInputMethodVersion"));
        QVERIFY(info.value("GetInputMethodVersion").isNull());
        QCOMPARE(info.value("GetQuDao").toString(), "0000");
        // Nothing is written by a query.
        QVERIFY(!QFileInfo::exists(path("/data/Vesko/InputMethod/VeskoPY")));

        QVERIFY(platform::Plist::writeFile(
            path("/install/Contents/Info.plist"),
            QVariantMap{{"CFBundleFullVersion", "6.9.2"}, {"ZQQuDao", "1234"}}));
        QVERIFY(writeBytes(path("/system/sys/class/dmi/id/product_name"), "Precision 5570\n"));
        info = answer({"system-info"});
        QCOMPARE(info.value("GetQuDao").toString(), "1234");
        QCOMPARE(info.value("GetInputMethodVersion").toString(), "6.9.2");
        QCOMPARE(info.value("GetHardwareModel").toString(), "Precision 5570");
    }

    void logConfigurationRoundTrip() {
        QJsonObject shown = answer({"log", "show"});
        QCOMPARE(shown.value("exists").toBool(), false);
        QVERIFY(shown.value("logconfig").isNull());
        QCOMPARE(shown.value("path").toString(), configPath());

        QCOMPARE(answer({"log", "enable", "29"}).value("logconfig").toArray(), QJsonArray{29});
        QCOMPARE(answer({"log", "enable", "88"}).value("logconfig").toArray(),
                 (QJsonArray{29, 88}));
        // A count below 1 reads as 500.
        QCOMPARE(answer({"log", "set", "maxcount", "0"}).value("maxcount").toInt(), 500);
        QCOMPARE(platform::Plist::readDictionary(configPath())->value("maxcount"),
                 QVariant(qint64(0)));
        QCOMPARE(answer({"log", "disable", "29"}).value("logconfig").toArray(), QJsonArray{88});
        QVERIFY(answer({"log", "clear"}).value("logconfig").isNull());
        shown = answer({"log", "show"});
        QCOMPARE(shown.value("exists").toBool(), true);
        QCOMPARE(shown.value("readable").toBool(), true);
    }

    void recordedEntriesReachTheToolsOwnLog() {
        QCOMPARE(run({"log", "enable", "29"}).status, 0);
        QCOMPARE(run({"system-info"}).status, 0);
        const auto lines =
            platform::Plist::readArray(path("/tmp/com.vesko.inputmethod/macime_vesko-tool.log"));
        QVERIFY(lines);
        QStringList texts;
        for (const QVariant& line : *lines) {
            texts.append(line.toString());
        }
        QVERIFY2(texts.join(u'\n').contains(" : GetUUIDSource "), qPrintable(texts.join(u'\n')));
    }

    void brokenConfigurationIsReportedAndKept() {
        const QByteArray binary = platform::Plist::serialize(
            QVariantMap{{"logconfig", QVariantList{29}}}, platform::Plist::Format::Binary);
        const QByteArray truncated = binary.left(binary.size() - 6);
        QVERIFY(writeBytes(configPath(), truncated));
        const Run result = run({"log", "enable", "88"});
        QCOMPARE(result.status, 1);
        QVERIFY(result.out.isEmpty());
        QVERIFY2(result.err.contains("vesko-tool: "), result.err.constData());
        QCOMPARE(readBytes(configPath()), truncated);
        const Run show = run({"log", "show"});
        QCOMPARE(show.status, 0);
        QCOMPARE(show.json().value("readable").toBool(), false);
    }

    // A FIFO or a link to a device in the configuration's place never hangs
    // a command; it is reported like an unreadable configuration.
    void hostileConfigurationNeverHangs_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("command");
        for (const char* kind : {"fifo", "zero"}) {
            QTest::addRow("%s, system-info", kind) << kind << QStringList{"system-info"};
            QTest::addRow("%s, log show", kind) << kind << QStringList{"log", "show"};
            QTest::addRow("%s, log enable", kind) << kind << QStringList{"log", "enable", "88"};
            QTest::addRow("%s, store pub get", kind)
                << kind << QStringList{"store", "pub", "get", "VeskoInputNewVersion"};
        }
    }

    void hostileConfigurationNeverHangs() {
        QFETCH(QString, kind);
        QFETCH(QStringList, command);
        QVERIFY(QDir().mkpath(QFileInfo(configPath()).path()));
        if (kind == QLatin1String("fifo")) {
            QCOMPARE(::mkfifo(QFile::encodeName(configPath()).constData(), 0600), 0);
        } else {
            QVERIFY(QFile::link("/dev/zero", configPath()));
        }
        const Run result = run(command);
        QVERIFY2(result.status == 0 || result.status == 1,
                 qPrintable(QStringLiteral("status %1: %2")
                                .arg(result.status)
                                .arg(QString::fromUtf8(result.err))));
        // What was in the configuration's place is still there.
        struct stat after {};
        QCOMPARE(::lstat(QFile::encodeName(configPath()).constData(), &after), 0);
        QVERIFY(kind == QLatin1String("fifo") ? S_ISFIFO(after.st_mode) : S_ISLNK(after.st_mode));
    }

    // Help (status 0, nothing written) and argument errors (status 2, or 1 when
    // the file to edit is missing).
    void commandLine_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::newRow("system-info help") << QStringList{"system-info", "--help"} << 0;
        QTest::newRow("log disable help") << QStringList{"log", "disable", "-h"} << 0;
        QTest::newRow("log alone") << QStringList{"log"} << 2;
        QTest::newRow("unknown subcommand") << QStringList{"log", "rotate"} << 2;
        QTest::newRow("type not a number") << QStringList{"log", "enable", "x29"} << 2;
        QTest::newRow("type missing") << QStringList{"log", "disable"} << 2;
        QTest::newRow("unknown key") << QStringList{"log", "set", "colour", "1"} << 2;
        QTest::newRow("set without a file") << QStringList{"log", "set", "output", "2"} << 1;
        QTest::newRow("show with an argument") << QStringList{"log", "show", "x"} << 2;
        QTest::newRow("system-info with an argument") << QStringList{"system-info", "x"} << 2;
    }

    void commandLine() {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        const Run result = run(args);
        QCOMPARE(result.status, status);
        if (status == 0) {
            QVERIFY(result.out.startsWith("usage: vesko-tool "));
            QVERIFY(result.err.isEmpty());
        } else {
            QVERIFY(result.out.isEmpty());
            QVERIFY(result.err.startsWith("vesko-tool: "));
        }
        QVERIFY(!QFileInfo::exists(configPath()));
    }
};

QTEST_GUILESS_MAIN(TestToolCommands)
#include "tst_toolcommands.moc"
