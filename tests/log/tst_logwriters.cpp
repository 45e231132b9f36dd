// The line log and the report writers, with the line log's notification
// observed on a second connection to the private bus.

#include "log/ZQLogFileWriters.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "utility/DeviceIdentity.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSiblingApps.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

class TestLogWriters : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        _listener = std::make_unique<platform::DistributedNotificationCenter>(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("listener")));
        _listener->addObserver(
            this, QString(), [this](const QString& name, const QVariantMap& info) {
                _seen.append(name == u"kZQShowImeLog" ? info.value(QStringLiteral("log")).toString()
                                                      : QStringLiteral("marker"));
            });
        const QString info =
            zq::utility::installedBundleRoot() + QStringLiteral("/Contents/Info.plist");
        QVERIFY(platform::Plist::writeFile(info, QVariantMap{{"CFBundleFullVersion", "6.10.1"}}));
    }
    void lineLog_data() {
        QTest::addColumn<int>("held");  // lines in the file before; -1 no folder, -2 not a list
        QTest::addColumn<int>("number");
        QTest::addColumn<int>("after");
        QTest::newRow("fresh system") << -1 << 1 << 1;
        QTest::newRow("500 lines") << 500 << 501 << 501;
        QTest::newRow("501 lines") << 501 << 1 << 1;
        QTest::newRow("not a list of lines") << -2 << 1 << -2;
    }
    void lineLog() {
        QFETCH(int, held);
        QFETCH(int, number);
        QFETCH(int, after);
        QDir(zq::utility::tempLogFolder()).removeRecursively();
        RecordLogToFile(QStringLiteral("t.log"), QString());
        QVERIFY2(!QFileInfo::exists(zq::utility::tempLogFolder()), "none leaves no trace");
        QVERIFY(postedLines().isEmpty());

        const QVariantMap notAList{{QStringLiteral("lines"), 3}};
        if (held != -1) {
            QVariantList lines(qMax(held, 0), QStringLiteral("old"));
            QVERIFY(platform::Plist::writeFile(lineLogPath(),
                                               held == -2 ? QVariant(notAList) : QVariant(lines)));
        }
        RecordLogToFile(QStringLiteral("t.log"), QStringLiteral("内容 %1"));
        const QStringList posted = postedLines();
        QCOMPARE(posted.size(), 1);
        QVERIFY2(QRegularExpression(QStringLiteral("^") + QString::number(number) +
                                    QStringLiteral(" \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d "
                                                   "tst_logwriters: 内容 %1$"))
                     .match(posted.first())
                     .hasMatch(),
                 qPrintable(posted.first()));
        if (after == -2) {
            QCOMPARE(platform::Plist::readFile(lineLogPath()), QVariant(notAList));
            return;
        }
        const std::optional<QVariantList> lines = platform::Plist::readArray(lineLogPath());
        QVERIFY(lines);
        QCOMPARE(lines->size(), after);
        QCOMPARE(lines->last().toString(), posted.first());
    }
    void reportFiles() {
        const QString perf = zq::utility::userDataFolder() + QStringLiteral("/Perf");
        QVERIFY(platform::Plist::writeFile(
            zq::utility::tempLogFolder() + QStringLiteral("/macimeperf_VeskoInput.log"),
            QVariantList{QStringLiteral("p1"), 7}));
        RecordStrackLogAndDateToFile(QStringLiteral("堆栈"), 42, QStringLiteral("BeforeWaiting"));
        RecordStrackLogToFile(QStringLiteral("堆栈"));
        RecordCrashLogToFile(QStringLiteral("崩溃"));
        RecordCrashLogToFile(QString());
        const QStringList reports = QDir(perf).entryList(QDir::Files, QDir::Name);
        QCOMPARE(reports.size(), 2);
        // The labels' widths are part of the format.
        const QString model = GetHardwareModel();
        const QString uuid = GetUUID().value_or(QStringLiteral("(null)"));
        const QString stack = QStringLiteral("catchType:2\nIncident Identifier: ") + uuid +
                              QStringLiteral("\nHardware Model:      ") + model +
                              QStringLiteral(
                                  "\nIdentifier:          com.vesko.tst_logwriters\n"
                                  "Version:             6.10.1\n"
                                  "TouchBar:            0\n堆栈\n\n");
        const QString stall = QStringLiteral("Hardware Model:  ") + model +
                              QStringLiteral("\nUUID:            ") + uuid +
                              QStringLiteral(
                                  "\nTouchBar:        0\nblockTimecount:  42\n"
                                  "RunloopActive:   BeforeWaiting\n\n堆栈\n\nLOG:    2\np1\n7\n");
        QVERIFY(QRegularExpression(QStringLiteral("^perf_6\\.10\\.1_\\d{14}\\.crash$"))
                    .match(reports.at(0))
                    .hasMatch());
        QCOMPARE(QString::fromUtf8(contents(perf + u'/' + reports.at(0))), stack);
        QCOMPARE(QString::fromUtf8(contents(perf + u'/' + reports.at(1))), stall);
        const QDir crash(zq::utility::userDataFolder() + QStringLiteral("/crash"));
        const QStringList crashes = crash.entryList(QDir::Files);
        QCOMPARE(crashes.size(), 1);
        QCOMPARE(QString::fromUtf8(contents(crash.filePath(crashes.first()))),
                 QStringLiteral("崩溃"));
    }

private:
    // The "kZQShowImeLog" lines posted since the last call, once a marker
    // posted after them has arrived.
    QStringList postedLines() {
        SendDistributedNotification(QStringLiteral("kZQTestMarker"));
        [&] { QTRY_VERIFY(_seen.contains(QStringLiteral("marker"))); }();
        QStringList lines = _seen;
        lines.removeAll(QStringLiteral("marker"));
        _seen.clear();
        return lines;
    }
    QString lineLogPath() const { return zq::utility::tempLogFolder() + QStringLiteral("/t.log"); }

    std::unique_ptr<platform::DistributedNotificationCenter> _listener;
    QStringList _seen;
};

QTEST_GUILESS_MAIN(TestLogWriters)
#include "tst_logwriters.moc"
