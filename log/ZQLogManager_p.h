#pragma once

// Pieces shared by the manager's files: the configuration, the channel writer,
// the line format and the manager itself (not a public API).

#include "log/ZQLogManager.h"

#include <QLoggingCategory>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// The log library's own diagnostics.
Q_DECLARE_LOGGING_CATEGORY(lcLog)

namespace zq::log::detail {

constexpr qint64 kDefaultMaxCount = 500;

// "<func> <line> : <content>" and "<func> <line> : <key> = <value>", built in
// one allocation.
QString contentEntry(const char* func, int line, const QString& content);
QString keyValueEntry(const char* func, int line, const QString& key, const QVariant& value);

}  // namespace zq::log::detail

// One immutable configuration. Readers take a pointer to the current one
// without a lock; a reload publishes a new one. Old configurations are kept
// until the manager goes away, so a reader never holds a dangling pointer.
struct ZQLogManager::Config {
    bool enableAll = false;
    qint64 outputType = 1;
    qint64 saveType = 1;
    qint64 maxCount = zq::log::detail::kDefaultMaxCount;
    bool hasLogConfig = false;
    std::vector<qint64> logTypes;

    static std::unique_ptr<Config> fromFile(const QString& path);
    bool contains(qint64 type) const noexcept {
        if (!hasLogConfig) {
            return false;
        }
        for (qint64 t : logTypes) {
            if (t == type) {
                return true;
            }
        }
        return false;
    }
};

// One channel: an in-memory log mirrored whole into its file, fed by one
// writer thread in submission order. The caller only queues.
class ZQLogManager::Channel {
public:
    enum class Kind { RunLog, PerfLog };

    Channel(ZQLogManager* owner, Kind kind, QString filePath);
    ~Channel();

    void submit(QString text, QString thread);
    void waitIdle();
    bool waitIdleUntil(std::chrono::steady_clock::time_point deadline);
    QStringList content();

private:
    struct Entry {
        qint64 msecs;
        QString text;
        QString thread;
    };

    void run();

    // A process continues the file it finds. A file that is not an array of
    // lines is moved aside rather than overwritten.
    void loadExistingFile();

    // Applies a batch line by line, exactly as single entries would be
    // applied (limit checked before each append, copies made when they fall
    // due), then writes the file once: the same final file, far fewer writes.
    void write(const std::deque<Entry>& batch);

    // "macime_<process>_<yyyy-MM-dd HH:mm:ss.SSS>.log" beside the run log.
    // Two copies in the same millisecond get successive time stamps, so no
    // copy replaces another.
    void writeTimeStampedCopy();

    ZQLogManager* const _owner;
    const Kind _kind;
    const QString _filePath;

    std::mutex _mutex;
    std::condition_variable _wake;
    std::condition_variable _idle;
    std::deque<Entry> _queue;
    quint64 _submitted = 1;  // the load of the existing file
    quint64 _completed = 0;
    bool _stopping = false;
    bool _workerWaiting = false;

    std::mutex _contentMutex;
    QStringList _content;
    qint64 _lastCopyMsecs = 0;

    std::thread _worker;
};

struct ZQLogManager::Private {
    std::mutex configMutex;  // setters and reloads, one at a time
    std::vector<std::unique_ptr<Config>> configs;
    std::unique_ptr<Channel> runLog;
    std::unique_ptr<Channel> perfLog;
};
