// VeskoService, the reference input-method service, driven as a separate
// process on the private bus the way the assist panel drives the input
// method: the update check and the installation in each answer mode, the
// debug-mode period in the cloud store, the notify server's counts, and its
// journal. Every wait is bounded; "no answer" is checked behind a round trip
// to the service, which handles its messages in order.

#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "stats/ZQCloudStatitician.h"
#include "utility/ProductLocations.h"
#include "utility/ZQSiblingApps.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

const QString kJournal = QDir::temp().filePath(QStringLiteral("refim.jsonl"));
const QByteArray kXmlInfo = platform::Plist::serialize(
    QVariantMap{{"CFBundleFullVersion", "1.0.0"}, {"ZQQuDao", "8848"}, {"Build", qint64(7)}});
const QByteArray kBinaryInfo =
    platform::Plist::serialize(QVariantMap{{"CFBundleFullVersion", "1.0.0"}, {"ZQQuDao", "8848"}},
                               platform::Plist::Format::Binary);

// The program, started with its options and stopped with SIGTERM.
class Service {
public:
    bool start(const QStringList& options) {
        QFile::remove(kJournal);
        _process.start(QStringLiteral(ZQ_REFIM),
                       options + QStringList{QStringLiteral("--journal"), kJournal});
        return QTest::qWaitFor(
                   [this] {
                       return _process.canReadLine() || _process.state() == QProcess::NotRunning;
                   },
                   20000) &&
               _process.readLine().startsWith("ready com.vesko.NotifyServer :");
    }
    // True when SIGTERM ends it normally with status 0.
    bool stop() {
        _process.terminate();
        return _process.waitForFinished(20000) && _process.exitStatus() == QProcess::NormalExit &&
               _process.exitCode() == 0;
    }
    ~Service() {
        _process.kill();
        _process.waitForFinished(20000);
    }
    QList<QJsonObject> journal(const QString& kind, const QString& name) const {
        QFile file(kJournal);
        QList<QJsonObject> entries;
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : file.readAll().split('\n')) {
                const QJsonObject entry = QJsonDocument::fromJson(line).object();
                if (entry.value("kind") == kind && entry.value("name") == name) {
                    entries.append(entry);
                }
            }
        }
        return entries;
    }

private:
    QProcess _process;
};

}  // namespace

class TestRefim : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void checkAndInstall_data();
    void checkAndInstall();
    void debugModeAndNotifyServer_data();
    void debugModeAndNotifyServer();

private:
    void post(const QString& name, const QVariantMap& payload = {}) {
        QVERIFY(_center->post(name, payload));
    }
    // A round trip to the service: everything posted before has been handled
    // and its answers have reached this process.
    bool barrier() {
        const bool answered = _proxy->call(QStringLiteral("getZQRuntime")).has_value();
        QCoreApplication::processEvents();
        return answered;
    }

    platform::DistributedNotificationCenter* _center = nullptr;
    std::unique_ptr<ZQNotifyVeskoInputProxy> _proxy;
    QList<QPair<QString, QVariantMap>> _received;
};

void TestRefim::initTestCase() {
    _center = new platform::DistributedNotificationCenter(QDBusConnection::sessionBus(), this);
    QVERIFY(_center->isConnected());
    _center->addObserver(this, {}, [this](const QString& name, const QVariantMap& payload) {
        if (name.endsWith(QLatin1String("Result"))) {
            _received.append({name, payload});
        }
    });
    _proxy = std::make_unique<ZQNotifyVeskoInputProxy>(QDBusConnection::sessionBus());
}

void TestRefim::checkAndInstall_data() {
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("request");
    QTest::addColumn<QByteArray>("info");
    QTest::addColumn<bool>("readOnlyContents");
    QTest::addColumn<QVariant>("checkAnswer");  // invalid: no answer at all
    QTest::addColumn<QString>("result");

    const QStringList fast{"--install-seconds", "0.2", "--remote-version", "9.9.1"};
    const QVariantMap offered{{"version", "9.9.1"}};
    QTest::newRow("update") << fast << "kVeskoNotifyRemoteVersion" << kXmlInfo << false
                            << QVariant(offered) << "1";
    QTest::newRow("installer, binary file, read-only folder")
        << fast << "kVeskoNotifyDownloadInstaller" << kBinaryInfo << true << QVariant(offered)
        << "1";
    QTest::newRow("check and install fail")
        << fast + QStringList{"--check", "fail", "--install", "fail"} << "kVeskoNotifyRemoteVersion"
        << kXmlInfo << false << QVariant(QVariantMap{}) << "0";
    QTest::newRow("silent check, Info.plist unreadable")
        << fast + QStringList{"--check", "silent"} << "kVeskoNotifyRemoteVersion"
        << QByteArray("<plist><dict><key>CFBundle") << false << QVariant() << "0";
}

void TestRefim::checkAndInstall() {
    QFETCH(QStringList, options);
    QFETCH(QString, request);
    QFETCH(QByteArray, info);
    QFETCH(bool, readOnlyContents);
    QFETCH(QVariant, checkAnswer);
    QFETCH(QString, result);

    const QString path = zq::utility::infoPlistPath();
    const QString folder = zq::utility::bundleContentsFolder();
    QVERIFY(QDir().mkpath(folder));
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(info) > 0);
    file.close();
    const QFile::Permissions readOnly = QFile::ReadOwner | QFile::ExeOwner;
    if (readOnlyContents) {
        QVERIFY(QFile::setPermissions(folder, readOnly));
    }

    Service service;
    QVERIFY(service.start(options));
    QVERIFY(isVeskoProcessExist(2));
    _received.clear();
    post(QStringLiteral("kVeskoCloudManualCheckUpdate"));
    QVERIFY(barrier());
    if (checkAnswer.isValid()) {
        QCOMPARE(_received.size(), 1);
        QCOMPARE(_received.first().first, QStringLiteral("kVeskoCloudManualCheckResult"));
        QCOMPARE(_received.first().second, checkAnswer.toMap());
    } else {
        QVERIFY(_received.isEmpty());
    }

    _received.clear();
    post(request);
    QTRY_COMPARE_WITH_TIMEOUT(_received.size(), 1, 20000);
    QCOMPARE(_received.first().first, QStringLiteral("kVeskoCloudManualUpdateResult"));
    QCOMPARE(_received.first().second, (QVariantMap{{"result", result}}));
    QCOMPARE(service.journal("notification", request).size(), 1);
    // Posted once, and on record once (not again when the bus hands it back).
    QCOMPARE(service.journal("notification", "kVeskoCloudManualUpdateResult").size(), 1);
    QVERIFY(service.stop());

    QCOMPARE(QFileInfo(folder).permissions() & 0x7000, readOnlyContents ? readOnly : 0x7000);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray after = file.readAll();
    if (result != u"1") {
        QCOMPARE(after, info);  // left as it was
        return;
    }
    QVariantMap expected = platform::Plist::parse(info)->toMap();
    expected.insert("CFBundleFullVersion", "9.9.1");
    QCOMPARE(platform::Plist::parse(after)->toMap(), expected);
    QCOMPARE(after.startsWith("bplist"), info.startsWith("bplist"));
}

void TestRefim::debugModeAndNotifyServer_data() {
    QTest::addColumn<QString>("status");
    QTest::addColumn<qint64>("period");
    QTest::newRow("on") << "1" << qint64(14400);
    QTest::newRow("off") << "0" << qint64(0);
}

void TestRefim::debugModeAndNotifyServer() {
    QFETCH(QString, status);
    QFETCH(qint64, period);
    Service service;
    QVERIFY(service.start({}));

    const qint64 before = QDateTime::currentSecsSinceEpoch();
    post(QStringLiteral("kVeskoNotifyStartDebugModeByHand"), {{"debugmodestatus", status}});
    QVERIFY(barrier());
    const qint64 after = QDateTime::currentSecsSinceEpoch();
    const qint64 end = ZQCloudStatitician::sharedInstance()
                           ->getValueForKeyStat3(QStringLiteral("ZQSettingLogFinishedTime"))
                           .toLongLong();
    QVERIFY2(end >= before + period && end <= after + period, qPrintable(QString::number(end)));

    // The page's calls do not wait; the round trip behind them does.
    for (const char* operation : {"clickCommitEvalutionStatistics", "clickCommitFeedbackStatistics",
                                  "clickCommitEvalutionStatistics"}) {
        QVERIFY(_proxy->send(QString::fromLatin1(operation)));
    }
    QVERIFY(barrier());
    const auto counts = [&](const char* operation) {
        QList<qint64> seen;
        for (const QJsonObject& entry :
             service.journal(QStringLiteral("call"), QString::fromLatin1(operation))) {
            seen.append(entry.value("count").toInteger());
        }
        return seen;
    };
    QCOMPARE(counts("clickCommitEvalutionStatistics"), (QList<qint64>{1, 2}));
    QCOMPARE(counts("clickCommitFeedbackStatistics"), (QList<qint64>{1}));
    QVERIFY(service.stop());
}

QTEST_GUILESS_MAIN(TestRefim)
#include "tst_refim.moc"
