#include "log/ZQLogManager.h"
#include "platform/Plist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <latch>
#include <memory>
#include <thread>
#include <vector>

namespace {

// Console lines of the run log, captured from Qt's message handler.
QMutex g_consoleMutex;
QStringList g_consoleLines;
QtMessageHandler g_previousHandler = nullptr;

void captureConsole(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (context.category && QByteArrayView(context.category) == "vesko.runlog") {
        QMutexLocker lock(&g_consoleMutex);
        g_consoleLines.append(message);
        return;
    }
    g_previousHandler(type, context, message);
}

QByteArray readBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QStringList readLines(const QString& path) {
    const auto array = platform::Plist::readArray(path);
    QStringList lines;
    if (array) {
        for (const QVariant& v : *array) {
            lines.append(v.toString());
        }
    }
    return lines;
}

// The text between " : " after the time stamp and the trailing " (thread)".
QString entryText(const QString& line) {
    const qsizetype start = line.indexOf(QStringLiteral(" : ")) + 3;
    const qsizetype end = line.lastIndexOf(QStringLiteral(" ({"));
    return line.mid(start, end - start);
}

QStringList entryTexts(const QStringList& lines) {
    QStringList texts;
    for (const QString& line : lines) {
        texts.append(entryText(line));
    }
    return texts;
}

}  // namespace

class TestLogManager : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> _dir;

    QString configPath() const { return _dir->filePath(QStringLiteral("VeskoPY/logConfig.plist")); }
    QString logFolder() const { return _dir->filePath(QStringLiteral("logs")); }

    std::unique_ptr<ZQLogManager> makeManager() {
        return std::make_unique<ZQLogManager>(
            ZQLogManager::Options{configPath(), logFolder(), QStringLiteral("tester")});
    }

    void writeConfig(const QVariantMap& config) {
        QVERIFY(platform::Plist::writeFile(configPath(), config));
    }

    QStringList folderLines(const QString& name) const {
        return readLines(QDir(logFolder()).filePath(name));
    }

    // `threads` threads, released together, each recording `entries` lines "name T : I".
    static void recordConcurrently(ZQLogManager& manager, const char* name, int threads,
                                   int entries) {
        std::latch start(threads);
        std::vector<std::thread> running;
        for (int t = 0; t < threads; ++t) {
            running.emplace_back([&, t] {
                start.arrive_and_wait();
                for (int i = 0; i < entries; ++i) {
                    manager.recordRunLogP4(name, t, QString::number(i), 29);
                }
            });
        }
        for (auto& thread : running) {
            thread.join();
        }
        manager.waitForPendingWrites();
    }

    QStringList copyFiles() const {
        return QDir(logFolder())
            .entryList({QStringLiteral("macime_tester_*.log")}, QDir::Files, QDir::Name);
    }

private slots:
    void initTestCase() {
        g_previousHandler = qInstallMessageHandler(captureConsole);
        // Local time is part of every line; fix the zone for the whole run.
        qputenv("TZ", "UTC");
        tzset();
    }

    void init() {
        _dir = std::make_unique<QTemporaryDir>();
        QVERIFY(_dir->isValid());
        QMutexLocker lock(&g_consoleMutex);
        g_consoleLines.clear();
    }

    void withoutConfigurationNothingIsRecorded() {
        auto manager = makeManager();
        QVERIFY(QFileInfo(logFolder()).isDir());
        QVERIFY(!manager->canRecordLog(ZQLogType::Utility));
        QVERIFY(!manager->canRecordPerf(ZQLogType::Performance));
        manager->recordRunLogP4("f", 1, QStringLiteral("x"), ZQLogType::Utility);
        manager->recordRunLogP5("f", 1, QStringLiteral("k"), 1, ZQLogType::About);
        manager->recordRunLogP6("f", 1, QStringLiteral("x"), ZQLogType::Performance);
        manager->waitForPendingWrites();
        QVERIFY(!QFileInfo::exists(manager->logFilePath()));
        QVERIFY(!QFileInfo::exists(manager->perfFilePath()));
        QVERIFY(!QFileInfo::exists(configPath()));
    }

    void enablingCreatesTheDefaultFile() {
        auto manager = makeManager();
        QVERIFY(manager->enableRunLogConfig(ZQLogType::Utility));
        const auto config = platform::Plist::readDictionary(configPath());
        QVERIFY(config);
        const QVariantMap expected{{QStringLiteral("maxcount"), qint64(500)},
                                   {QStringLiteral("output"), qint64(1)},
                                   {QStringLiteral("enableall"), qint64(0)},
                                   {QStringLiteral("savetype"), qint64(1)},
                                   {QStringLiteral("logconfig"), QVariantList{qint64(29)}}};
        QCOMPARE(*config, expected);
        QVERIFY(manager->canRecordLog(ZQLogType::Utility));
        QVERIFY(!manager->canRecordLog(ZQLogType::About));

        manager->recordRunLogP4("utilityCall", 7, QStringLiteral("kept"), ZQLogType::Utility);
        manager->recordRunLogP4("aboutCall", 8, QStringLiteral("dropped"), ZQLogType::About);
        QCOMPARE(entryTexts(manager->logContent()), QStringList{"utilityCall 7 : kept"});
        QCOMPARE(entryTexts(readLines(manager->logFilePath())),
                 QStringList{"utilityCall 7 : kept"});
    }

    void configurationValues_data() {
        QTest::addColumn<QByteArray>("file");  // empty: no file at all
        QTest::addColumn<qint64>("maxCount");
        QTest::addColumn<qint64>("output");
        QTest::addColumn<bool>("enableAll");
        QTest::addColumn<qint64>("saveType");
        QTest::addColumn<QVariant>("types");  // null: no "logconfig"

        const auto xml = [](const QVariantMap& map) { return platform::Plist::serialize(map); };
        using L = QList<qint64>;
        // Unless given, the values of a file without the key.
        const auto row = [](const char* name, const QByteArray& file, qint64 maxCount = 500,
                            qint64 saveType = 0, const QVariant& types = {}, qint64 output = 1,
                            bool enableAll = false) {
            QTest::newRow(name) << file << maxCount << output << enableAll << saveType << types;
        };
        row("no file", {}, 500, 1);
        row("empty dictionary: savetype reads 0", xml({}));
        row("all keys",
            xml({{"maxcount", 3},
                 {"output", 2},
                 {"enableall", true},
                 {"savetype", 2},
                 {"logconfig", QVariantList{29, 88}}}),
            3, 2, QVariant::fromValue(L{29, 88}), 2, true);
        row("maxcount 0", xml({{"maxcount", 0}}));
        row("maxcount 1", xml({{"maxcount", 1}}), 1);
        row("output 3 means file", xml({{"output", 3}}));
        row("enableall as integer", xml({{"enableall", 1}}), 500, 0, {}, 1, true);
        row("empty logconfig enables nothing", xml({{"logconfig", QVariantList{}}}), 500, 0,
            QVariant::fromValue(L{}));
        // Wrong value types: numbers are numbers whatever their encoding,
        // anything else counts as absent.
        row("logconfig a text", xml({{"logconfig", "29"}}));
        row("logconfig with foreign items",
            xml({{"logconfig", QVariantList{"29", 88, QVariantList{29}, 96.0}}}), 500, 0,
            QVariant::fromValue(L{88, 96}));
        // Files of the wrong shape fall back to the defaults of a missing file.
        row("array at top", platform::Plist::serialize(QVariantList{1, 2}), 500, 1);
    }

    void configurationValues() {
        QFETCH(QByteArray, file);
        QFETCH(qint64, maxCount);
        QFETCH(qint64, output);
        QFETCH(bool, enableAll);
        QFETCH(qint64, saveType);
        QFETCH(QVariant, types);

        if (!file.isNull()) {
            QVERIFY(writeBytes(configPath(), file));
        }
        auto manager = makeManager();
        QCOMPARE(manager->logMaxCount(), maxCount);
        QCOMPARE(manager->outputType(), output);
        QCOMPARE(manager->enableAllLog(), enableAll);
        QCOMPARE(manager->saveType(), saveType);
        const auto enabled = manager->logConfig();
        QCOMPARE(enabled.has_value(), types.isValid());
        if (enabled) {
            QCOMPARE(*enabled, types.value<QList<qint64>>());
        }
        // The decision follows the list alone, never "enableall".
        QCOMPARE(manager->canRecordLog(88), enabled && enabled->contains(88));
        QCOMPARE(manager->canRecordLog(29), enabled && enabled->contains(29));
    }

    void linesHaveTheirFormat() {
        writeConfig({{"logconfig", QVariantList{29}}});
        auto manager = makeManager();
        manager->recordRunLogP4("GetSomething", 42, QStringLiteral("beg"), 29);
        manager->recordRunLogP5("GetSomething", 43, QStringLiteral("path"), QStringLiteral("/a/b"),
                                29);
        QVERIFY(manager->waitForPendingWrites(60000));
        static const QRegularExpression shape(QStringLiteral(
            R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} : (.*) \(\{number = 1, name = main\}\)$)"));
        QStringList texts;
        for (const QString& line : readLines(manager->logFilePath())) {
            texts.append(shape.match(line).hasMatch() ? shape.match(line).captured(1) : line);
        }
        QCOMPARE(texts, (QStringList{"GetSomething 42 : beg", "GetSomething 43 : path = /a/b"}));
    }

    void threadDescription() {
        QString named;
        QThread* thread =
            QThread::create([&] { named = ZQLogManager::currentThreadDescription(); });
        thread->setObjectName(QStringLiteral("worker"));
        thread->start();
        QVERIFY(thread->wait(10000));
        delete thread;
        QVERIFY2(QRegularExpression(QStringLiteral(R"(^\{number = (\d+), name = worker\}$)"))
                     .match(named)
                     .hasMatch(),
                 qPrintable(named));
        QString unnamed;
        std::thread plain([&] { unnamed = ZQLogManager::currentThreadDescription(); });
        plain.join();
        QVERIFY2(unnamed.endsWith(QStringLiteral(", name = (null)}")), qPrintable(unnamed));
        QVERIFY(unnamed != named);
    }

    void localTime() {
        // Epoch in UTC, east of UTC on the next day, west of UTC.
        const struct {
            const char* zone;
            qint64 msecs;
            const char* text;
        } rows[] = {{"UTC", 0, "1970-01-01 00:00:00.000"},
                    {"CST-8", 1700000000123, "2023-11-15 06:13:20.123"},
                    {"EST5", 1700000000999, "2023-11-14 17:13:20.999"}};
        for (const auto& row : rows) {
            qputenv("TZ", row.zone);
            tzset();
            const QString withMillis = ZQLogManager::formatLocalTime(row.msecs);
            const QString withoutMillis = ZQLogManager::formatLocalTime(row.msecs, false);
            qputenv("TZ", "UTC");
            tzset();
            QCOMPARE(withMillis, QString::fromLatin1(row.text));
            QCOMPARE(withoutMillis, QString::fromLatin1(row.text).left(19));
        }
    }

    void valueDescriptions_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("absent") << QVariant() << "(null)";
        QTest::newRow("text") << QVariant(QStringLiteral("中文 text")) << "中文 text";
        QTest::newRow("integer") << QVariant(qint64(-12)) << "-12";
        QTest::newRow("true") << QVariant(true) << "1";
        QTest::newRow("false") << QVariant(false) << "0";
        QTest::newRow("real") << QVariant(0.1) << "0.1";
        QTest::newRow("list") << QVariant(QVariantList{1, "a", QVariant()}) << "(1, a, (null))";
        QTest::newRow("dictionary")
            << QVariant(QVariantMap{{"a", 1}, {"b", QVariantList{2}}}) << "{ a = 1; b = (2); }";
        QTest::newRow("data") << QVariant(QByteArray("\x01\xab", 2)) << "<01 ab>";
    }

    void valueDescriptions() {
        QFETCH(QVariant, value);
        QFETCH(QString, text);
        QCOMPARE(ZQLogManager::descriptionOf(value), text);
    }

    void consoleOutputWritesNoFile() {
        writeConfig({{"logconfig", QVariantList{29, 96}}, {"output", 2}});
        auto manager = makeManager();
        manager->recordRunLogP4("consoleCall", 3, QStringLiteral("hello"), 29);
        manager->recordRunLogP7("perfCall", 4, QStringLiteral("ms"), 12, 96);
        manager->waitForPendingWrites();
        QVERIFY(!QFileInfo::exists(manager->logFilePath()));
        QVERIFY(!QFileInfo::exists(manager->perfFilePath()));
        QMutexLocker lock(&g_consoleMutex);
        QCOMPARE(g_consoleLines.size(), 2);
        static const QRegularExpression shape(
            QStringLiteral(R"(^tester \d{4}-\d\d-\d\d \d\d:\d\d:\d\d : (.*)$)"));
        QCOMPARE(shape.match(g_consoleLines[0]).captured(1),
                 QStringLiteral("consoleCall 3 : hello"));
        QCOMPARE(shape.match(g_consoleLines[1]).captured(1),
                 QStringLiteral("perfCall 4 : ms = 12"));
    }

    void limitEmptiesTheLog_data() {
        QTest::addColumn<qint64>("saveType");
        QTest::addColumn<bool>("keepsCopy");
        QTest::newRow("savetype 2 keeps a copy") << qint64(2) << true;
        QTest::newRow("savetype 1 discards") << qint64(1) << false;
    }

    void limitEmptiesTheLog() {
        QFETCH(qint64, saveType);
        QFETCH(bool, keepsCopy);
        writeConfig({{"logconfig", QVariantList{29}}, {"maxcount", 3}, {"savetype", saveType}});
        auto manager = makeManager();
        for (int i = 1; i <= 4; ++i) {
            manager->recordRunLogP4("f", i, QStringLiteral("line"), 29);
        }
        // Four lines held is more than three, but the check comes before the append.
        manager->waitForPendingWrites();
        QCOMPARE(readLines(manager->logFilePath()).size(), 4);
        manager->recordRunLogP4("f", 5, QStringLiteral("line"), 29);
        QCOMPARE(entryTexts(manager->logContent()), QStringList{"f 5 : line"});
        QCOMPARE(entryTexts(readLines(manager->logFilePath())), QStringList{"f 5 : line"});
        const QStringList copies = copyFiles();
        QCOMPARE(copies.size(), keepsCopy ? 1 : 0);
        if (keepsCopy) {
            static const QRegularExpression name(
                QStringLiteral(R"(^macime_tester_\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\.log$)"));
            QVERIFY2(name.match(copies[0]).hasMatch(), qPrintable(copies[0]));
            QCOMPARE(entryTexts(folderLines(copies[0])),
                     (QStringList{"f 1 : line", "f 2 : line", "f 3 : line", "f 4 : line"}));
        }
    }

    void performanceDecision_data() {
        QTest::addColumn<QVariantList>("types");
        QTest::addColumn<bool>("perfSwitch");
        QTest::addColumn<int>("logType");
        QTest::addColumn<bool>("recorded");
        QTest::newRow("96 listed") << QVariantList{96} << false << 96 << true;
        QTest::newRow("switch on") << QVariantList{} << true << 96 << true;
        QTest::newRow("neither") << QVariantList{29} << false << 96 << false;
        QTest::newRow("other type, 96 listed") << QVariantList{96, 29} << true << 29 << false;
    }

    void performanceDecision() {
        QFETCH(QVariantList, types);
        QFETCH(bool, perfSwitch);
        QFETCH(int, logType);
        QFETCH(bool, recorded);
        writeConfig({{"logconfig", types}});
        auto manager = makeManager();
        manager->setPerfLogConfig(perfSwitch);
        QCOMPARE(manager->enablePerfLog(), perfSwitch);
        QCOMPARE(manager->canRecordPerf(logType), recorded);
        manager->recordRunLogP6("perf", 1, QStringLiteral("t"), logType);
        manager->recordRunLogP7("perf", 2, QStringLiteral("k"), QStringLiteral("v"), logType);
        const QStringList expected =
            recorded ? QStringList{"perf 1 : t", "perf 2 : k = v"} : QStringList{};
        QCOMPARE(entryTexts(manager->perfContent()), expected);
        // The performance channel never touches the run log.
        QVERIFY(!QFileInfo::exists(manager->logFilePath()));
    }

    void performanceLogNeverKeepsCopies() {
        writeConfig({{"logconfig", QVariantList{96}}, {"maxcount", 3}, {"savetype", 2}});
        auto manager = makeManager();
        for (int i = 1; i <= 5; ++i) {
            manager->recordRunLogP6("p", i, QStringLiteral("x"), 96);
        }
        QCOMPARE(entryTexts(manager->perfContent()), QStringList{"p 5 : x"});
        QCOMPARE(entryTexts(readLines(manager->perfFilePath())), QStringList{"p 5 : x"});
        QVERIFY(copyFiles().isEmpty());
        QVERIFY(QDir(logFolder())
                    .entryList({QStringLiteral("macimeperf_tester_*")}, QDir::Files)
                    .isEmpty());
    }

    void continuesExistingFiles() {
        writeConfig({{"logconfig", QVariantList{29}}});
        const QString logPath = logFolder() + QStringLiteral("/macime_tester.log");
        QVERIFY(platform::Plist::writeFile(logPath, QVariantList{"old 1", "old 2"}));
        auto manager = makeManager();
        QCOMPARE(manager->logFilePath(), logPath);
        QCOMPARE(manager->perfFilePath(), logFolder() + QStringLiteral("/macimeperf_tester.log"));
        QCOMPARE(manager->logContent(), (QStringList{"old 1", "old 2"}));
        manager->recordRunLogP4("f", 1, QStringLiteral("new"), 29);
        manager->waitForPendingWrites();
        const QStringList lines = readLines(logPath);
        QCOMPARE(lines.mid(0, 2), (QStringList{"old 1", "old 2"}));
        QCOMPARE(entryTexts(lines.mid(2)), QStringList{"f 1 : new"});
    }

    void unreadableLogFileIsMovedAside() {
        writeConfig({{"logconfig", QVariantList{29}}});
        const QString logPath = logFolder() + QStringLiteral("/macime_tester.log");
        const QByteArray garbage("<?xml version=\"1.0\"?><plist><array><string>cut");
        QVERIFY(writeBytes(logPath, garbage));
        auto manager = makeManager();
        manager->recordRunLogP4("f", 1, QStringLiteral("fresh"), 29);
        manager->waitForPendingWrites();
        QCOMPARE(entryTexts(readLines(logPath)), QStringList{"f 1 : fresh"});
        const QStringList aside =
            QDir(logFolder())
                .entryList({QStringLiteral("macime_tester.log.unreadable-*")}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(readBytes(QDir(logFolder()).filePath(aside[0])), garbage);
    }

    void orderUnderConcurrentWriters() {
        writeConfig({{"logconfig", QVariantList{29}}, {"maxcount", 100000}});
        auto manager = makeManager();
        constexpr int kThreads = 8;
        constexpr int kEntries = 400;
        recordConcurrently(*manager, "writer", kThreads, kEntries);
        const QStringList lines = readLines(manager->logFilePath());
        QCOMPARE(lines.size(), kThreads * kEntries);
        QCOMPARE(manager->logContent(), lines);
        std::vector<int> next(kThreads, 0);
        QString previousStamp;
        for (const QString& line : lines) {
            const QString stamp = line.left(23);
            QVERIFY2(stamp >= previousStamp, "time stamps go back");
            previousStamp = stamp;
            const QStringList parts = entryText(line).split(u' ');  // writer T : I
            QCOMPARE(parts.size(), 4);
            const int t = parts[1].toInt();
            QCOMPARE(parts[3].toInt(), next[t]);
            ++next[t];
        }
        for (int t = 0; t < kThreads; ++t) {
            QCOMPARE(next[t], kEntries);
        }
    }

    void rotationUnderConcurrentWritersLosesNothing() {
        writeConfig({{"logconfig", QVariantList{29}}, {"maxcount", 25}, {"savetype", 2}});
        auto manager = makeManager();
        constexpr int kThreads = 4;
        constexpr int kEntries = 150;
        recordConcurrently(*manager, "w", kThreads, kEntries);
        QStringList all;
        for (const QString& copy : copyFiles()) {
            const QStringList lines = folderLines(copy);
            QCOMPARE(lines.size(), 26);  // the limit plus one
            all += entryTexts(lines);
        }
        const QStringList current = entryTexts(readLines(manager->logFilePath()));
        QVERIFY(current.size() >= 1 && current.size() <= 26);
        all += current;
        QCOMPARE(all.size(), kThreads * kEntries);
        QCOMPARE(QSet<QString>(all.begin(), all.end()).size(), kThreads * kEntries);
    }

    void settersEditTheFile() {
        auto manager = makeManager();
        // On a missing file the value setters (one shared function) create nothing.
        QVERIFY(!manager->setLogMaxCount(3));
        QVERIFY(!QFileInfo::exists(configPath()));
        QVERIFY(manager->disableRunLogConfig(29));
        QVERIFY(manager->removeAllRunLogConfig());
        QVERIFY(!QFileInfo::exists(configPath()));

        QVERIFY(manager->enableRunLogConfig(29));
        QVERIFY(manager->enableRunLogConfig(88));
        const QByteArray before = readBytes(configPath());
        QVERIFY(manager->enableRunLogConfig(29));  // already there: not written
        QCOMPARE(readBytes(configPath()), before);
        QCOMPARE(manager->logConfig(), std::optional<QList<qint64>>(QList<qint64>{29, 88}));

        QVERIFY(manager->setLogOutputType(2));
        QVERIFY(manager->setLogMaxCount(7));
        QVERIFY(manager->setLogSaveType(2));
        QVERIFY(manager->setEnableAllRunLogConfig(1));
        QCOMPARE(manager->outputType(), 2);
        QCOMPARE(manager->logMaxCount(), 7);
        QCOMPARE(manager->saveType(), 2);
        QVERIFY(manager->enableAllLog());

        QVERIFY(manager->disableRunLogConfig(29));
        QCOMPARE(manager->logConfig(), std::optional<QList<qint64>>(QList<qint64>{88}));
        QVERIFY(manager->disableRunLogConfig(88));
        // The last type gone, the key goes too.
        QVERIFY(!platform::Plist::readDictionary(configPath())->contains("logconfig"));
        QVERIFY(!manager->logConfig().has_value());

        QVERIFY(manager->enableRunLogConfig(96));
        QVERIFY(manager->removeAllRunLogConfig());
        QVERIFY(!manager->canRecordPerf(96));
        QCOMPARE(platform::Plist::readDictionary(configPath())->size(), 4);
    }

    void settersAddToAFileWithoutTypes() {
        writeConfig({{"maxcount", 9}, {"extra", "kept"}});
        auto manager = makeManager();
        QVERIFY(manager->enableRunLogConfig(29));
        QCOMPARE(platform::Plist::readDictionary(configPath()).value_or(QVariantMap()),
                 (QVariantMap{{"logconfig", QVariantList{qint64(29)}},
                              {"extra", QStringLiteral("kept")},
                              {"maxcount", qint64(9)}}));
    }

    void settersLeaveUninterpretableFilesAlone_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("garbage") << QByteArray("not a property list");
        QTest::newRow("logconfig is a text")
            << platform::Plist::serialize(QVariantMap{{"logconfig", "29"}});
    }

    void settersLeaveUninterpretableFilesAlone() {
        QFETCH(QByteArray, file);
        QVERIFY(writeBytes(configPath(), file));
        auto manager = makeManager();
        QVERIFY(!manager->enableRunLogConfig(88));
        QVERIFY(!manager->canRecordLog(88));
        QCOMPARE(readBytes(configPath()), file);
    }

    void reloadSeesOtherProcessesOnlyWhenAsked() {
        writeConfig({{"logconfig", QVariantList{29}}});
        auto manager = makeManager();
        writeConfig({{"logconfig", QVariantList{88}}});
        QVERIFY(manager->canRecordLog(29));
        manager->reloadLogConfig();
        QVERIFY(!manager->canRecordLog(29));
        QVERIFY(manager->canRecordLog(88));
    }

    void macrosEvaluateArgumentsOnlyWhenRecording() {
        ZQLogManager* shared = ZQLogManager::sharedInstance();
        QCOMPARE(shared, ZQLogManager::sharedInstance());
        QVERIFY(shared->removeAllRunLogConfig());
        int evaluated = 0;
        const auto content = [&] {
            ++evaluated;
            return QStringLiteral("costly");
        };
        ZQ_RUN_LOG(ZQLogType::Utility, content());
        ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("k"), content());
        ZQ_PERF_LOG(ZQLogType::Performance, content());
        ZQ_PERF_LOG_KV(ZQLogType::Performance, QStringLiteral("k"), content());
        QCOMPARE(evaluated, 0);

        QVERIFY(shared->enableRunLogConfig(ZQLogType::Utility));
        const int before = shared->logContent().size();
        ZQ_RUN_LOG(ZQLogType::Utility, content());
        ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("k"), content());
        QCOMPARE(evaluated, 2);
        const QStringList lines = shared->logContent().mid(before);
        QCOMPARE(lines.size(), 2);
        QVERIFY2(entryText(lines[0]).startsWith(QStringLiteral("macrosEvaluateArgumentsOnlyWhen")),
                 qPrintable(lines[0]));
        QVERIFY(entryText(lines[1]).endsWith(QStringLiteral(" : k = costly")));
        QVERIFY(shared->removeAllRunLogConfig());
    }

    void pendingWritesFinishAtExit() {
        // A process that records through the shared manager and returns from
        // main at once still leaves every line in its file.
        const QString home = _dir->filePath(QStringLiteral("data"));
        QVERIFY(platform::Plist::writeFile(
            home + QStringLiteral("/Vesko/InputMethod/VeskoPY/logConfig.plist"),
            QVariantMap{{"logconfig", QVariantList{29}}, {"maxcount", 100000}}));
        QProcess helper;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), home);
        env.insert(QStringLiteral("TMPDIR"), _dir->path());
        helper.setProcessEnvironment(env);
        helper.start(QStringLiteral(ZQ_LOG_EXIT_HELPER), {QStringLiteral("3000")});
        QVERIFY(helper.waitForFinished(60000));
        QCOMPARE(helper.exitCode(), 0);
        const QString path =
            _dir->filePath(QStringLiteral("com.vesko.inputmethod/macime_log_exit_helper.log"));
        const QStringList lines = readLines(path);
        QCOMPARE(lines.size(), 3000);
        QCOMPARE(entryText(lines.last()), QStringLiteral("main 0 : 2999"));
    }
};

QTEST_GUILESS_MAIN(TestLogManager)
#include "tst_logmanager.moc"
