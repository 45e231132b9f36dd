// "vesko-tool notify", run as a separate process on the private bus: what it
// posts arrives with the right types; what it hears comes out as one JSON
// line each; bad arguments and a missing bus give clear errors.

#include "platform/DistributedNotificationCenter.h"
#include "tests/platform/PlatformTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace {

const QString kTool = QStringLiteral(ZQ_BINARY_DIR "/tools/vesko-tool/vesko-tool");

QStringList notifyArgs(const QStringList& rest) {
    return QStringList{QStringLiteral("notify")} + rest;
}

// A running "vesko-tool notify listen" whose lines the test reads.
class Listener {
public:
    explicit Listener(const QStringList& names) {
        _process.start(kTool, notifyArgs(QStringList{QStringLiteral("listen")} + names));
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
    void initTestCase();
    void help_data();
    void help();
    void badArguments_data();
    void badArguments();
    void postDeliversTypedValues_data();
    void postDeliversTypedValues();
    void listenPrintsEachNotification();
    void listenFiltersByName();
    void listenEndsCleanlyOnSignal_data();
    void listenEndsCleanlyOnSignal();
    void noSessionBus_data();
    void noSessionBus();

private:
    QDBusConnection _bus = QDBusConnection::sessionBus();
};

void TestNotifyTool::initTestCase() {
    QVERIFY2(QFileInfo(kTool).isExecutable(), qPrintable(kTool));
    QVERIFY(_bus.isConnected());
}

void TestNotifyTool::help_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("tool") << QStringList{"--help"} << QByteArray("notify");
    QTest::newRow("notify") << notifyArgs({"--help"})
                            << QByteArray("usage: vesko-tool notify post");
    QTest::newRow("notify -h") << notifyArgs({"-h"}) << QByteArray("usage: vesko-tool notify post");
    QTest::newRow("post") << notifyArgs({"post", "--help"}) << QByteArray("KEY:=123");
    QTest::newRow("listen") << notifyArgs({"listen", "--help"})
                            << QByteArray("usage: vesko-tool notify listen");
}

void TestNotifyTool::help() {
    QFETCH(QStringList, args);
    QFETCH(QByteArray, expected);
    const zq::test::RunResult result = zq::test::run(kTool, args);
    QCOMPARE(result.exitStatus, QProcess::NormalExit);
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(expected), result.out.constData());
    QVERIFY(result.err.isEmpty());
}

void TestNotifyTool::badArguments_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("no subcommand") << notifyArgs({}) << QByteArray("missing subcommand");
    QTest::newRow("unknown subcommand") << notifyArgs({"shout"}) << QByteArray("'shout'");
    QTest::newRow("post without a name") << notifyArgs({"post"}) << QByteArray("missing NAME");
    QTest::newRow("post with an empty name")
        << notifyArgs({"post", ""}) << QByteArray("empty NAME");
    QTest::newRow("pair without =")
        << notifyArgs({"post", "kZQ", "a=1", "novalue"}) << QByteArray("'novalue'");
    QTest::newRow("empty key") << notifyArgs({"post", "kZQ", "=v"}) << QByteArray("empty key");
    QTest::newRow("empty typed key")
        << notifyArgs({"post", "kZQ", ":=1"}) << QByteArray("empty key");
    QTest::newRow("typed text") << notifyArgs({"post", "kZQ", "k:=abc"}) << QByteArray("'k:=abc'");
    QTest::newRow("typed, upper-case TRUE")
        << notifyArgs({"post", "kZQ", "k:=TRUE"}) << QByteArray("'k:=TRUE'");
    QTest::newRow("typed, empty") << notifyArgs({"post", "kZQ", "k:="}) << QByteArray("'k:='");
    QTest::newRow("integer beyond 64 bits")
        << notifyArgs({"post", "kZQ", "k:=99999999999999999999"}) << QByteArray("k:=9999");
    QTest::newRow("infinite double")
        << notifyArgs({"post", "kZQ", "k:=1e999"}) << QByteArray("'k:=1e999'");
    QTest::newRow("listen, unknown option")
        << notifyArgs({"listen", "--all"}) << QByteArray("'--all'");
    QTest::newRow("listen, empty name")
        << notifyArgs({"listen", "kZQ", ""}) << QByteArray("empty NAME");
}

void TestNotifyTool::badArguments() {
    QFETCH(QStringList, args);
    QFETCH(QByteArray, message);

    platform::DistributedNotificationCenter center(_bus);
    QStringList heard;
    QObject context;
    center.addObserver(&context, QString(),
                       [&heard](const QString& name, const QVariantMap&) { heard.append(name); });
    QVERIFY(zq::test::syncWithBus(_bus));

    const zq::test::RunResult result = zq::test::run(kTool, args);
    QCOMPARE(result.exitStatus, QProcess::NormalExit);
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.out.isEmpty());
    QVERIFY2(result.err.startsWith("vesko-tool: "), result.err.constData());
    QVERIFY2(result.err.contains(message), result.err.constData());

    // Nothing was posted: the next notification on the bus is the marker.
    QVERIFY(zq::test::emitWithGdbus(QStringLiteral("kZQToolMarker"), QStringLiteral("@a{sv} {}")));
    QTRY_VERIFY(heard.contains(QStringLiteral("kZQToolMarker")));
    QCOMPARE(heard, QStringList{"kZQToolMarker"});
}

void TestNotifyTool::postDeliversTypedValues_data() {
    QTest::addColumn<QString>("pair");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("text") << "s=text"
                          << "s" << QVariant(QStringLiteral("text"));
    QTest::newRow("text that looks like a number") << "s=123"
                                                   << "s" << QVariant(QStringLiteral("123"));
    QTest::newRow("empty text") << "s="
                                << "s" << QVariant(QStringLiteral(""));
    QTest::newRow("text with =") << "s=a=b"
                                 << "s" << QVariant(QStringLiteral("a=b"));
    QTest::newRow("Chinese text") << "页面=关于"
                                  << "页面" << QVariant(QStringLiteral("关于"));
    QTest::newRow("integer") << "i:=123"
                             << "i" << QVariant(qint64(123));
    QTest::newRow("negative integer beyond double precision")
        << "i:=-9007199254740993"
        << "i" << QVariant(qint64(-9007199254740993LL));
    QTest::newRow("double") << "d:=1.5"
                            << "d" << QVariant(1.5);
    QTest::newRow("double written with a point stays a double") << "d:=2.0"
                                                                << "d" << QVariant(2.0);
    QTest::newRow("double with exponent") << "d:=-2.5e-3"
                                          << "d" << QVariant(-2.5e-3);
    QTest::newRow("true") << "b:=true"
                          << "b" << QVariant(true);
    QTest::newRow("false") << "b:=false"
                           << "b" << QVariant(false);
    QTest::newRow("a colon inside a text key") << "a:b=c"
                                               << "a:b" << QVariant(QStringLiteral("c"));
}

void TestNotifyTool::postDeliversTypedValues() {
    QFETCH(QString, pair);
    QFETCH(QString, key);
    QFETCH(QVariant, expected);

    platform::DistributedNotificationCenter center(_bus);
    QList<QVariantMap> received;
    QObject context;
    center.addObserver(
        &context, QStringLiteral("kZQToolPost"),
        [&received](const QString&, const QVariantMap& userInfo) { received.append(userInfo); });
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
    QCOMPARE(userInfo.value(key).metaType(), expected.metaType());
    QCOMPARE(userInfo.value(key), expected);

    const QJsonObject printed = parseLine(result.out.trimmed());
    QCOMPARE(printed.value(QStringLiteral("name")).toString(), QStringLiteral("kZQToolPost"));
    QCOMPARE(printed.value(QStringLiteral("userInfo")).toObject().value(key).toVariant().toString(),
             expected.toString());
}

void TestNotifyTool::listenPrintsEachNotification() {
    Listener listener({});
    QVERIFY(listener.waitUntilListening());

    platform::DistributedNotificationCenter center(_bus);
    QVERIFY(center.post(QStringLiteral("kZQToolFirst"),
                        {{QStringLiteral("s"), QStringLiteral("中文 \"quoted\"\n")},
                         {QStringLiteral("i"), qint64(9223372036854775807LL)},
                         {QStringLiteral("d"), 1.5},
                         {QStringLiteral("b"), false}}));
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
    QVERIFY(info.value("i").isDouble());
    QCOMPARE(info.value("i").toInteger(), qint64(9223372036854775807LL));
    QCOMPARE(info.value("d").toDouble(), 1.5);
    QVERIFY(info.value("b").isBool());
    QCOMPARE(info.value("b").toBool(), false);

    const QJsonObject second = parseLine(lines.at(1));
    QCOMPARE(second.value("name").toString(), QStringLiteral("kZQToolSecond"));
    QVERIFY(second.value("userInfo").isObject());
    QVERIFY(second.value("userInfo").toObject().isEmpty());

    const QJsonObject third = parseLine(lines.at(2));
    QCOMPARE(third.value("userInfo").toObject().value("n").toObject().value("inner").toInteger(),
             qint64(7));
}

void TestNotifyTool::listenFiltersByName() {
    Listener listener({"kZQToolA", "kZQToolC"});
    QVERIFY(listener.waitUntilListening());
    platform::DistributedNotificationCenter center(_bus);
    for (const char* name : {"kZQToolB", "kZQToolA", "kZQToolB", "kZQToolC"}) {
        QVERIFY(center.post(QString::fromLatin1(name)));
    }
    QTRY_COMPARE(listener.lines().size(), 2);
    QCOMPARE(parseLine(listener.lines().at(0)).value("name").toString(),
             QStringLiteral("kZQToolA"));
    QCOMPARE(parseLine(listener.lines().at(1)).value("name").toString(),
             QStringLiteral("kZQToolC"));
}

void TestNotifyTool::listenEndsCleanlyOnSignal_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestNotifyTool::listenEndsCleanlyOnSignal() {
    QFETCH(int, signal);
    Listener listener({});
    QVERIFY(listener.waitUntilListening());
    QCOMPARE(::kill(pid_t(listener.process().processId()), signal), 0);
    QVERIFY(listener.process().waitForFinished(10000));
    QCOMPARE(listener.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(listener.process().exitCode(), 0);
}

void TestNotifyTool::noSessionBus_data() {
    QTest::addColumn<QStringList>("args");
    QTest::newRow("post") << notifyArgs({"post", "kZQ", "a=1"});
    QTest::newRow("listen") << notifyArgs({"listen"});
}

void TestNotifyTool::noSessionBus() {
    QFETCH(QStringList, args);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(
        QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
        QStringLiteral("unix:path=") + QDir::tempPath() + QStringLiteral("/no-such-bus-socket"));
    const zq::test::RunResult result = zq::test::run(kTool, args, environment);
    QCOMPARE(result.exitStatus, QProcess::NormalExit);
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.out.isEmpty());
    QVERIFY2(result.err.contains("no session bus"), result.err.constData());
}

QTEST_GUILESS_MAIN(TestNotifyTool)
#include "tst_notifytool.moc"
