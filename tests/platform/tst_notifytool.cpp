// "vesko-tool notify", run as a separate process on the private bus: what it
// posts arrives with the right types; what it hears comes out as one JSON
// line each; bad arguments and a missing bus give clear errors.

#include "platform/DistributedNotificationCenter.h"
#include "tests/platform/PlatformTestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace {

const QString kTool = QStringLiteral(ZQ_BINARY_DIR "/tools/vesko-tool/vesko-tool");

QStringList notifyArgs(const QStringList& rest) {
    return QStringList{"notify"} + rest;
}

// A running "vesko-tool notify listen" whose lines the test reads.
class Listener {
public:
    explicit Listener(const QStringList& names) {
        _process.start(kTool, notifyArgs(QStringList{"listen"} + names));
    }
    ~Listener() {
        if (_process.state() != QProcess::NotRunning) {
            _process.kill();
            _process.waitForFinished(10000);
        }
    }
    // Waits until the subscription is in effect.
    bool waitUntilListening() {
        return QTest::qWaitFor(
                   [this] {
                       _err += _process.readAllStandardError();
                       return _err.contains("vesko-tool: listening\n") ||
                              _process.state() == QProcess::NotRunning;
                   },
                   10000) &&
               _err.contains("vesko-tool: listening\n");
    }
    // The complete lines written so far.
    QList<QByteArray> lines() {
        _out += _process.readAllStandardOutput();
        QList<QByteArray> complete = _out.split('\n');
        complete.removeLast();  // the part after the last line end
        return complete;
    }
    QProcess& process() { return _process; }

private:
    QProcess _process;
    QByteArray _out;
    QByteArray _err;
};

QJsonObject parseLine(const QByteArray& line) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    return document.isObject() ? document.object() : QJsonObject();
}

}  // namespace

class TestNotifyTool : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QFileInfo(kTool).isExecutable(), qPrintable(kTool));
        QVERIFY(_bus.isConnected());
    }

    // The tool's own part: help, argument errors (status 2, nothing posted) and a
    // missing bus (status 1).
    void commandLine_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>(
            "message");  // in standard output for 0, else in standard error
        QTest::addColumn<bool>("noBus");

        const auto bad = [](const char* name, const QStringList& args, const char* message) {
            QTest::newRow(name) << notifyArgs(args) << 2 << QByteArray(message) << false;
        };
        QTest::newRow("tool help") << QStringList{"--help"} << 0 << QByteArray("notify") << false;
        QTest::newRow("notify help")
            << notifyArgs({"-h"}) << 0 << QByteArray("usage: vesko-tool notify post") << false;
        bad("no subcommand", {}, "missing subcommand");
        bad("unknown subcommand", {"shout"}, "'shout'");
        bad("post without a name", {"post"}, "missing NAME");
        bad("post with an empty name", {"post", ""}, "empty NAME");
        bad("pair without =", {"post", "kZQ", "a=1", "novalue"}, "'novalue'");
        bad("empty key", {"post", "kZQ", "=v"}, "empty key");
        bad("typed text", {"post", "kZQ", "k:=abc"}, "'k:=abc'");
        bad("integer beyond 64 bits", {"post", "kZQ", "k:=99999999999999999999"}, "k:=9999");
        bad("infinite double", {"post", "kZQ", "k:=1e999"}, "'k:=1e999'");
        bad("listen, unknown option", {"listen", "--all"}, "'--all'");
        bad("listen, empty name", {"listen", "kZQ", ""}, "empty NAME");
        QTest::newRow("post, no bus")
            << notifyArgs({"post", "kZQ", "a=1"}) << 1 << QByteArray("no session bus") << true;
        QTest::newRow("listen, no bus")
            << notifyArgs({"listen"}) << 1 << QByteArray("no session bus") << true;
    }

    void commandLine() {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QByteArray, message);
        QFETCH(bool, noBus);

        platform::DistributedNotificationCenter center(_bus);
        QStringList heard;
        QObject context;
        center.addObserver(&context, QString(), [&heard](const QString& name, const QVariantMap&) {
            heard.append(name);
        });
        QVERIFY(zq::test::syncWithBus(_bus));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (noBus) {
            environment.insert("DBUS_SESSION_BUS_ADDRESS",
                               QStringLiteral("unix:path=") + QDir::tempPath() +
                                   QStringLiteral("/no-such-bus-socket"));
        }
        const zq::test::RunResult result = zq::test::run(kTool, args, environment);
        QCOMPARE(result.exitStatus, QProcess::NormalExit);
        QCOMPARE(result.exitCode, status);
        const QByteArray& text = status == 0 ? result.out : result.err;
        QVERIFY2((status == 0 ? result.err : result.out).isEmpty(), result.err.constData());
        QVERIFY2(text.contains(message), text.constData());
        if (status == 2) {
            QVERIFY2(result.err.startsWith("vesko-tool: "), result.err.constData());
        }

        // Nothing was posted: the next notification on the bus is the marker.
        QVERIFY(zq::test::emitWithGdbus("kZQToolMarker", "@a{sv} {}"));
        QTRY_VERIFY(heard.contains(QStringLiteral("kZQToolMarker")));
        QCOMPARE(heard, QStringList{"kZQToolMarker"});
    }

    void postDeliversTypedValues_data() {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("expected");

        const auto row = [](const char* name, const char* pair, const char* key,
                            const QVariant& expected) {
            QTest::newRow(name) << QString(pair) << QString(key) << expected;
        };
        row("text that looks like a number", "s=123", "s", "123");
        row("text with =", "s=a=b", "s", "a=b");
        row("negative integer beyond double precision", "i:=-9007199254740993", "i",
            qint64(-9007199254740993LL));
        row("double written with a point stays a double", "d:=2.0", "d", 2.0);
        row("double with exponent", "d:=-2.5e-3", "d", -2.5e-3);
        row("true", "b:=true", "b", true);
        row("false", "b:=false", "b", false);
        row("a colon inside a text key", "a:b=c", "a:b", "c");
    }

    void postDeliversTypedValues() {
        QFETCH(QString, pair);
        QFETCH(QString, key);
        QFETCH(QVariant, expected);

        platform::DistributedNotificationCenter center(_bus);
        QList<QVariantMap> received;
        QObject context;
        center.addObserver(&context, "kZQToolPost",
                           [&received](const QString&, const QVariantMap& userInfo) {
                               received.append(userInfo);
                           });
        QVERIFY(zq::test::syncWithBus(_bus));

        const zq::test::RunResult result =
            zq::test::run(kTool, notifyArgs({"post", "kZQToolPost", "first=1", pair}));
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.isEmpty(), result.err.constData());
        // The tool returns only after the bus took the notification.
        QTRY_COMPARE(received.size(), 1);
        const QVariantMap userInfo = received.constFirst();
        QCOMPARE(userInfo.size(), 2);
        QCOMPARE(userInfo.value(QStringLiteral("first")), QVariant(QStringLiteral("1")));
        QCOMPARE(zq::test::typedText(userInfo.value(key)), zq::test::typedText(expected));
        QCOMPARE(userInfo.value(key), expected);

        const QJsonObject printed = parseLine(result.out.trimmed());
        QCOMPARE(printed.value(QStringLiteral("name")).toString(), QStringLiteral("kZQToolPost"));
        QCOMPARE(printed.value("userInfo").toObject().value(key).toVariant().toString(),
                 expected.toString());
    }

    void listenPrintsWhatItHears() {
        // Named notifications only, each as one JSON line with its typed values.
        Listener listener({"kZQToolFirst", "kZQToolSecond", "kZQToolThird"});
        QVERIFY(listener.waitUntilListening());

        platform::DistributedNotificationCenter center(_bus);
        QVERIFY(center.post(QStringLiteral("kZQToolOther")));
        QVERIFY(center.post(QStringLiteral("kZQToolFirst"), {{"s", "中文 \"quoted\"\n"},
                                                             {"i", qint64(9223372036854775807LL)},
                                                             {"d", 1.5},
                                                             {"b", false}}));
        QVERIFY(center.post(QStringLiteral("kZQToolSecond")));
        QVERIFY(zq::test::emitWithGdbus(QStringLiteral("kZQToolThird"),
                                        QStringLiteral("{'n': <{'inner': <int32 7>}>}")));

        QTRY_COMPARE(listener.lines().size(), 3);
        const QList<QByteArray> lines = listener.lines();

        const QJsonObject first = parseLine(lines.at(0));
        QCOMPARE(first.keys(), (QStringList{"name", "userInfo"}));
        QCOMPARE(first.value("name").toString(), QStringLiteral("kZQToolFirst"));
        const QJsonObject info = first.value("userInfo").toObject();
        QCOMPARE(info.value("s").toString(), QStringLiteral("中文 \"quoted\"\n"));
        QCOMPARE(info.value("i").toInteger(), qint64(9223372036854775807LL));
        QCOMPARE(info.value("d").toDouble(), 1.5);
        QVERIFY(info.value("b").isBool());
        QCOMPARE(info.value("b").toBool(), false);

        const QJsonObject second = parseLine(lines.at(1));
        QCOMPARE(second.value("name").toString(), QStringLiteral("kZQToolSecond"));
        QVERIFY(second.value("userInfo").isObject());
        QVERIFY(second.value("userInfo").toObject().isEmpty());

        const QJsonObject third = parseLine(lines.at(2));
        QCOMPARE(
            third.value("userInfo").toObject().value("n").toObject().value("inner").toInteger(),
            qint64(7));
    }

    void listenEndsCleanlyOnSignal_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
    }

    void listenEndsCleanlyOnSignal() {
        QFETCH(int, signal);
        Listener listener({});
        QVERIFY(listener.waitUntilListening());
        QCOMPARE(::kill(pid_t(listener.process().processId()), signal), 0);
        QVERIFY(listener.process().waitForFinished(10000));
        QCOMPARE(listener.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(listener.process().exitCode(), 0);
    }

private:
    QDBusConnection _bus = QDBusConnection::sessionBus();
};

QTEST_GUILESS_MAIN(TestNotifyTool)
#include "tst_notifytool.moc"
