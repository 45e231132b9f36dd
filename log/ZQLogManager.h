#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <atomic>
#include <memory>
#include <optional>

// The run log of the input method's processes.
//
// Every call site hands the manager a function name, a source line, a text
// (or a key and a value) and a log type. The shared configuration file
// "logConfig.plist" in the user data folder decides whether the entry is
// recorded at all ("logconfig" lists the enabled types) and where it goes
// ("output": 1 file, 2 console). A second, parallel channel records
// performance entries (log type 96).
//
// Files: "<temp log folder>/macime_<process>.log" and
// "<temp log folder>/macimeperf_<process>.log", XML property-list arrays of
// lines "<yyyy-MM-dd HH:mm:ss.SSS> : <text> (<thread>)", rewritten whole after
// every entry. A process continues the files it finds at start.
//
// Threads: entries arrive from any thread. The record decision is lock-free
// (an atomic pointer to an immutable configuration). File work is done by one
// writer thread per channel, in submission order; the caller never waits for
// it. Console output happens on the caller's thread.
//
// Call sites normally use the macros at the end of this file: they carry the
// function name and line, and evaluate their arguments only when the entry is
// recorded.

// The log types in use.
struct ZQLogType {
    static constexpr int Utility = 29;      // environment utility functions
    static constexpr int About = 88;        // the About page and its update check
    static constexpr int Performance = 96;  // performance entries
};

class ZQLogManager {
public:
    // Where a manager keeps its files. Empty members take the product's
    // locations: "<app support>/Vesko/InputMethod/VeskoPY/logConfig.plist",
    // the temporary log folder, and the current executable's name.
    struct Options {
        QString configFilePath;
        QString logFolder;
        QString processName;
    };

    // The process-wide manager, created on first use, exactly once. Pending
    // file writes are completed when the process exits normally.
    static ZQLogManager* sharedInstance();

    ZQLogManager();
    explicit ZQLogManager(const Options& options);
    // Completes every pending write, then stops the writer threads.
    ~ZQLogManager();

    ZQLogManager(const ZQLogManager&) = delete;
    ZQLogManager& operator=(const ZQLogManager&) = delete;

    // Run-log entries: "<func> <line> : <content>" and
    // "<func> <line> : <key> = <description of value>".
    void recordRunLogP4(const char* func, int line, const QString& content, int logType);
    void recordRunLogP5(const char* func, int line, const QString& key, const QVariant& value,
                        int logType);
    // Performance entries, same two shapes.
    void recordRunLogP6(const char* func, int line, const QString& content, int logType);
    void recordRunLogP7(const char* func, int line, const QString& key, const QVariant& value,
                        int logType);

    // True only when the configuration lists the type ("enableall" is not consulted).
    bool canRecordLog(int logType) const noexcept;
    // True only for type 96, and then when performance logging is switched on
    // in memory or the configuration lists 96.
    bool canRecordPerf(int logType) const noexcept;

    // Configuration setters: each edits "logConfig.plist", writes it
    // atomically and reloads it. They return true when the file now says
    // what was asked (also when it already did and nothing was written), and
    // false when the write failed, or when the file exists but cannot be
    // interpreted: such a file is never overwritten, whatever the setter.
    bool enableRunLogConfig(qint64 logType);
    bool disableRunLogConfig(qint64 logType);
    bool removeAllRunLogConfig();
    // These four do nothing (and return false) when the file does not exist.
    bool setEnableAllRunLogConfig(qint64 value);
    bool setLogOutputType(qint64 value);
    bool setLogMaxCount(qint64 value);
    bool setLogSaveType(qint64 value);

    // Performance logging switch, in memory only.
    void setPerfLogConfig(bool enabled);

    // Re-reads the configuration file.
    void reloadLogConfig();

    // The internal steps, public for the tools and tests that drive them.
    // Queue a line for the run-log (performance) writer and return at once.
    void saveDataAsynSafely(const QString& text);
    void savePerfDataAsynSafely(const QString& text);
    // Print a console line on the calling thread.
    void recordRunLogToConsole(const QString& text);

    // Blocks until both writers have finished every entry queued so far.
    void waitForPendingWrites();
    // The same, giving up after timeoutMs; false when writes were still pending.
    bool waitForPendingWrites(int timeoutMs);

    // The configuration in effect.
    bool enableAllLog() const;
    bool enablePerfLog() const;
    qint64 outputType() const;
    qint64 saveType() const;
    qint64 logMaxCount() const;
    std::optional<QList<qint64>> logConfig() const;

    QString logConfigFilePath() const;
    QString logFilePath() const;
    QString perfFilePath() const;
    QString processName() const;
    QString logFolder() const;

    // Copies of the in-memory logs once the writes queued so far are done.
    QStringList logContent();
    QStringList perfContent();

    // Queue labels of the two channels, for diagnostics.
    static constexpr const char* kLogQueueLabel = "com.vesko.concurrentRecordLogQueue";
    static constexpr const char* kPerfQueueLabel = "com.vesko.concurrentRecordPerfQueue";

    // Text of a value as it appears in a key-and-value entry: strings as they
    // are, numbers in decimal, booleans as 1 or 0, lists as "(a, b)",
    // dictionaries as "{key = value; ...}", absent as "(null)".
    static QString descriptionOf(const QVariant& value);

    // The local time as "yyyy-MM-dd HH:mm:ss.SSS" (withMilliseconds) or
    // "yyyy-MM-dd HH:mm:ss".
    static QString formatLocalTime(qint64 msecsSinceEpoch, bool withMilliseconds = true);

    // The calling thread as it appears at the end of each line:
    // "{number = N, name = NAME}" ("(null)" when unnamed).
    static QString currentThreadDescription();

private:
    struct Config;
    class Channel;

    void init(const Options& options);
    const Config* config() const noexcept { return _config.load(std::memory_order_acquire); }
    void applyConfig(std::unique_ptr<Config> config);
    void dispatchRunLog(const QString& text);
    void dispatchPerfLog(const QString& text);

    std::atomic<const Config*> _config{nullptr};
    std::atomic<bool> _enablePerfLog{false};
    QString _logConfigFilePath;
    QString _logFolder;
    QString _logFilePath;
    QString _perfFilePath;
    QString _processName;

    struct Private;
    std::unique_ptr<Private> d;
};

// Call-site helpers: the function name and line are the caller's; the content,
// key and value expressions are evaluated only when the entry is recorded.
#define ZQ_RUN_LOG(logType, content)                                                 \
    do {                                                                             \
        ZQLogManager* zqLogManager_ = ZQLogManager::sharedInstance();                \
        if (zqLogManager_->canRecordLog(logType)) {                                  \
            zqLogManager_->recordRunLogP4(__func__, __LINE__, (content), (logType)); \
        }                                                                            \
    } while (0)

#define ZQ_RUN_LOG_KV(logType, key, value)                                                        \
    do {                                                                                          \
        ZQLogManager* zqLogManager_ = ZQLogManager::sharedInstance();                             \
        if (zqLogManager_->canRecordLog(logType)) {                                               \
            zqLogManager_->recordRunLogP5(__func__, __LINE__, (key), QVariant(value), (logType)); \
        }                                                                                         \
    } while (0)

#define ZQ_PERF_LOG(logType, content)                                                \
    do {                                                                             \
        ZQLogManager* zqLogManager_ = ZQLogManager::sharedInstance();                \
        if (zqLogManager_->canRecordPerf(logType)) {                                 \
            zqLogManager_->recordRunLogP6(__func__, __LINE__, (content), (logType)); \
        }                                                                            \
    } while (0)

#define ZQ_PERF_LOG_KV(logType, key, value)                                                       \
    do {                                                                                          \
        ZQLogManager* zqLogManager_ = ZQLogManager::sharedInstance();                             \
        if (zqLogManager_->canRecordPerf(logType)) {                                              \
            zqLogManager_->recordRunLogP7(__func__, __LINE__, (key), QVariant(value), (logType)); \
        }                                                                                         \
    } while (0)
