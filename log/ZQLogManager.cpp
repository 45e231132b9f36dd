#include "log/ZQLogManager.h"

#include "platform/Values.h"

#include "platform/Locations.h"
#include "platform/Plist.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMetaType>
#include <QStringBuilder>
#include <QTemporaryFile>

#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

Q_LOGGING_CATEGORY(lcLog, "vesko.log", QtInfoMsg)
// The console output of the run log, kept apart from the diagnostics above.
Q_LOGGING_CATEGORY(lcRunLogConsole, "vesko.runlog", QtInfoMsg)

namespace {

using platform::numberValue;

constexpr qint64 kDefaultMaxCount = 500;

const QString kKeyMaxCount = QStringLiteral("maxcount");
const QString kKeyOutput = QStringLiteral("output");
const QString kKeyEnableAll = QStringLiteral("enableall");
const QString kKeyLogConfig = QStringLiteral("logconfig");
const QString kKeySaveType = QStringLiteral("savetype");

bool listContains(const QVariantList& list, qint64 type) {
    for (const QVariant& item : list) {
        if (numberValue(item) == type) {
            return true;
        }
    }
    return false;
}

QString defaultProcessName() {
    // The executable's name, as the process table shows it.
    return QString::fromLocal8Bit(program_invocation_short_name);
}

QString defaultConfigFilePath() {
    // The user data folder, "<application support>/Vesko/InputMethod/VeskoPY".
    return platform::Locations::appSupportDir() +
           QStringLiteral("/Vesko/InputMethod/VeskoPY/logConfig.plist");
}

// Writes the lines as an XML property-list array: a temporary file in the same
// folder, renamed over the old one, so a reader sees the old file or the new
// one, never a part. Unlike configuration files, logs are not synced to disk
// on every write: a sync per line would cost milliseconds.
bool writeLinesAtomically(const QString& path, const QStringList& lines, QString* error) {
    const QByteArray bytes =
        platform::Plist::serialize(QVariant(lines), platform::Plist::Format::Xml, error);
    if (bytes.isEmpty()) {
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    file.setAutoRemove(false);
    if (!file.open()) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    const QString temporary = file.fileName();
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    file.close();
    if (!written || ::rename(QFile::encodeName(temporary).constData(),
                             QFile::encodeName(path).constData()) != 0) {
        *error = QStringLiteral("%1: %2").arg(
            path, written ? QString::fromLocal8Bit(std::strerror(errno)) : file.errorString());
        QFile::remove(temporary);
        return false;
    }
    return true;
}

QString makeThreadDescription() {
    static std::atomic<int> nextNumber{2};
    const bool isMain = ::getpid() == static_cast<pid_t>(::syscall(SYS_gettid));
    const int number = isMain ? 1 : nextNumber.fetch_add(1, std::memory_order_relaxed);
    QString name;
    if (isMain) {
        name = QStringLiteral("main");
    } else {
        char buffer[32] = {};
        if (::prctl(PR_GET_NAME, buffer, 0, 0, 0) == 0) {
            name = QString::fromLocal8Bit(buffer);
        }
        // An unnamed thread carries the process's own name.
        if (name == QString::fromLocal8Bit(program_invocation_short_name).left(15)) {
            name.clear();
        }
    }
    if (name.isEmpty()) {
        name = QStringLiteral("(null)");
    }
    return QStringLiteral("{number = %1, name = %2}").arg(number).arg(name);
}

}  // namespace

// One immutable configuration. Readers take a pointer to the current one
// without a lock; a reload publishes a new one. Old configurations are kept
// until the manager goes away, so a reader never holds a dangling pointer.
struct ZQLogManager::Config {
    bool enableAll = false;
    qint64 outputType = 1;
    qint64 saveType = 1;
    qint64 maxCount = kDefaultMaxCount;
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

std::unique_ptr<ZQLogManager::Config> ZQLogManager::Config::fromFile(const QString& path) {
    auto config = std::make_unique<Config>();
    if (!QFileInfo::exists(path)) {
        return config;  // the defaults of a missing file
    }
    QString error;
    const std::optional<QVariantMap> dict = platform::Plist::readDictionary(path, &error);
    if (!dict) {
        qCWarning(lcLog) << "log configuration unreadable, using defaults:" << error;
        return config;
    }
    const std::optional<qint64> maxCount = numberValue(dict->value(kKeyMaxCount));
    config->maxCount = (maxCount && *maxCount >= 1) ? *maxCount : kDefaultMaxCount;
    config->outputType = numberValue(dict->value(kKeyOutput)) == 2 ? 2 : 1;
    config->enableAll = numberValue(dict->value(kKeyEnableAll)).value_or(0) != 0;
    config->saveType = numberValue(dict->value(kKeySaveType)).value_or(0);
    const QVariant types = dict->value(kKeyLogConfig);
    if (types.metaType().id() == QMetaType::QVariantList) {
        config->hasLogConfig = true;
        for (const QVariant& item : types.toList()) {
            if (const auto type = numberValue(item)) {
                config->logTypes.push_back(*type);
            }
        }
    } else if (types.isValid()) {
        qCWarning(lcLog) << "log configuration: \"logconfig\" is not an array; no type enabled";
    }
    return config;
}

// One channel: an in-memory log mirrored whole into its file, fed by one
// writer thread in submission order. The caller only queues.
class ZQLogManager::Channel {
public:
    enum class Kind { RunLog, PerfLog };

    Channel(ZQLogManager* owner, Kind kind, QString filePath)
        : _owner(owner), _kind(kind), _filePath(std::move(filePath)) {
        _worker = std::thread([this] { run(); });
    }

    ~Channel() {
        {
            std::lock_guard lock(_mutex);
            _stopping = true;
        }
        _wake.notify_one();
        _worker.join();
    }

    void submit(QString text, QString thread) {
        bool wake = false;
        {
            std::lock_guard lock(_mutex);
            // The time is taken in queue order, so the lines' times never go back.
            _queue.push_back(
                {QDateTime::currentMSecsSinceEpoch(), std::move(text), std::move(thread)});
            ++_submitted;
            wake = _workerWaiting;
        }
        if (wake) {
            _wake.notify_one();
        }
    }

    void waitIdle() {
        std::unique_lock lock(_mutex);
        const quint64 target = _submitted;
        _idle.wait(lock, [&] { return _completed >= target; });
    }

    bool waitIdleUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(_mutex);
        const quint64 target = _submitted;
        return _idle.wait_until(lock, deadline, [&] { return _completed >= target; });
    }

    QStringList content() {
        waitIdle();
        std::lock_guard lock(_contentMutex);
        return _content;
    }

private:
    struct Entry {
        qint64 msecs;
        QString text;
        QString thread;
    };

    void run() {
        ::prctl(PR_SET_NAME, _kind == Kind::RunLog ? "vesko-runlog" : "vesko-perflog", 0, 0, 0);
        loadExistingFile();
        std::unique_lock lock(_mutex);
        ++_completed;  // the load counts as the first job
        _idle.notify_all();
        for (;;) {
            _workerWaiting = true;
            _wake.wait(lock, [&] { return _stopping || !_queue.empty(); });
            _workerWaiting = false;
            if (_queue.empty()) {
                break;  // stopping, and everything is written
            }
            std::deque<Entry> batch;
            batch.swap(_queue);
            lock.unlock();
            write(batch);
            lock.lock();
            _completed += batch.size();
            _idle.notify_all();
        }
    }

    // A process continues the file it finds. A file that is not an array of
    // lines is moved aside rather than overwritten.
    void loadExistingFile() {
        if (!QFileInfo::exists(_filePath)) {
            return;
        }
        QString error;
        const std::optional<QVariantList> lines = platform::Plist::readArray(_filePath, &error);
        if (!lines) {
            const QString aside = QStringLiteral("%1.unreadable-%2")
                                      .arg(_filePath)
                                      .arg(QDateTime::currentMSecsSinceEpoch());
            qCWarning(lcLog) << "log file unreadable, moved to" << aside << ":" << error;
            QFile::rename(_filePath, aside);
            return;
        }
        std::lock_guard lock(_contentMutex);
        _content.reserve(lines->size());
        for (const QVariant& line : *lines) {
            _content.append(line.metaType().id() == QMetaType::QString ? line.toString()
                                                                       : descriptionOf(line));
        }
    }

    // Applies a batch line by line, exactly as single entries would be
    // applied (limit checked before each append, copies made when they fall
    // due), then writes the file once: the same final file, far fewer writes.
    void write(const std::deque<Entry>& batch) {
        bool fileExists = QFileInfo::exists(_filePath);
        std::lock_guard lock(_contentMutex);
        for (const Entry& entry : batch) {
            const Config* config = _owner->config();
            if (fileExists && _content.size() > config->maxCount) {
                if (_kind == Kind::RunLog && config->saveType == 2) {
                    writeTimeStampedCopy();
                }
                _content.clear();
            }
            _content.append(QStringLiteral("%1 : %2 (%3)")
                                .arg(formatLocalTime(entry.msecs), entry.text, entry.thread));
            fileExists = true;
        }
        QString error;
        if (!writeLinesAtomically(_filePath, _content, &error)) {
            qCWarning(lcLog) << "cannot write the log file:" << error;
        }
    }

    // "macime_<process>_<yyyy-MM-dd HH:mm:ss.SSS>.log" beside the run log.
    // Two copies in the same millisecond get successive time stamps, so no
    // copy replaces another.
    void writeTimeStampedCopy() {
        qint64 stamp = std::max(QDateTime::currentMSecsSinceEpoch(), _lastCopyMsecs + 1);
        QString path;
        for (;;) {
            path = QStringLiteral("%1/macime_%2_%3.log")
                       .arg(_owner->_logFolder, _owner->_processName, formatLocalTime(stamp));
            if (!QFileInfo::exists(path)) {
                break;
            }
            ++stamp;
        }
        _lastCopyMsecs = stamp;
        QString error;
        if (!writeLinesAtomically(path, _content, &error)) {
            qCWarning(lcLog) << "cannot write the log copy:" << error;
        }
    }

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

namespace {
ZQLogManager* g_sharedInstance = nullptr;
void flushSharedInstanceAtExit() {
    if (g_sharedInstance) {
        // Bounded, so that a process never hangs on its way out (say, a
        // forked child whose writer threads did not survive the fork).
        g_sharedInstance->waitForPendingWrites(10000);
    }
}
}  // namespace

ZQLogManager* ZQLogManager::sharedInstance() {
    // Kept for the process's life; the writes it has queued are finished at exit.
    static ZQLogManager* const instance = [] {
        g_sharedInstance = new ZQLogManager();
        std::atexit(&flushSharedInstanceAtExit);
        return g_sharedInstance;
    }();
    return instance;
}

ZQLogManager::ZQLogManager() : d(std::make_unique<Private>()) {
    init(Options{});
}

ZQLogManager::ZQLogManager(const Options& options) : d(std::make_unique<Private>()) {
    init(options);
}

void ZQLogManager::init(const Options& options) {
    _logConfigFilePath =
        options.configFilePath.isEmpty() ? defaultConfigFilePath() : options.configFilePath;
    reloadLogConfig();
    _processName = options.processName.isEmpty() ? defaultProcessName() : options.processName;
    _logFolder = options.logFolder.isEmpty() ? platform::Locations::tempLogDir()
                                             : QDir::cleanPath(options.logFolder);
    _logFilePath = QStringLiteral("%1/macime_%2.log").arg(_logFolder, _processName);
    _perfFilePath = QStringLiteral("%1/macimeperf_%2.log").arg(_logFolder, _processName);
    if (!QFileInfo(_logFolder).isDir()) {
        QDir().mkpath(_logFolder);
    }
    // Each writer first loads its existing file, before any entry.
    d->runLog = std::make_unique<Channel>(this, Channel::Kind::RunLog, _logFilePath);
    d->perfLog = std::make_unique<Channel>(this, Channel::Kind::PerfLog, _perfFilePath);
}

ZQLogManager::~ZQLogManager() {
    d->runLog.reset();
    d->perfLog.reset();
}

void ZQLogManager::applyConfig(std::unique_ptr<Config> config) {
    // Called with configMutex held.
    _config.store(config.get(), std::memory_order_release);
    d->configs.push_back(std::move(config));
}

void ZQLogManager::reloadLogConfig() {
    // Read under the lock: the file changes only under it (in this process),
    // so the last reload applied is always of the latest file.
    std::lock_guard lock(d->configMutex);
    applyConfig(Config::fromFile(_logConfigFilePath));
}

bool ZQLogManager::canRecordLog(int logType) const noexcept {
    return config()->contains(logType);
}

bool ZQLogManager::canRecordPerf(int logType) const noexcept {
    if (logType != ZQLogType::Performance) {
        return false;
    }
    return _enablePerfLog.load(std::memory_order_relaxed) ||
           config()->contains(ZQLogType::Performance);
}

namespace {

// "<func> <line> : <content>" and "<func> <line> : <key> = <value>", built in
// one allocation.
QString contentEntry(const char* func, int line, const QString& content) {
    return QString::fromUtf8(func ? func : "(null)") % u' ' % QString::number(line) %
           QLatin1String(" : ") % content;
}

QString keyValueEntry(const char* func, int line, const QString& key, const QVariant& value) {
    return QString::fromUtf8(func ? func : "(null)") % u' ' % QString::number(line) %
           QLatin1String(" : ") % key % QLatin1String(" = ") % ZQLogManager::descriptionOf(value);
}

}  // namespace

void ZQLogManager::recordRunLogP4(const char* func, int line, const QString& content, int logType) {
    if (!canRecordLog(logType)) {
        return;  // nothing is formatted
    }
    dispatchRunLog(contentEntry(func, line, content));
}

void ZQLogManager::recordRunLogP5(const char* func, int line, const QString& key,
                                  const QVariant& value, int logType) {
    if (!canRecordLog(logType)) {
        return;
    }
    dispatchRunLog(keyValueEntry(func, line, key, value));
}

void ZQLogManager::recordRunLogP6(const char* func, int line, const QString& content, int logType) {
    if (!canRecordPerf(logType)) {
        return;
    }
    dispatchPerfLog(contentEntry(func, line, content));
}

void ZQLogManager::recordRunLogP7(const char* func, int line, const QString& key,
                                  const QVariant& value, int logType) {
    if (!canRecordPerf(logType)) {
        return;
    }
    dispatchPerfLog(keyValueEntry(func, line, key, value));
}

void ZQLogManager::dispatchRunLog(const QString& text) {
    if (config()->outputType == 1) {
        saveDataAsynSafely(text);
    } else {
        recordRunLogToConsole(text);
    }
}

void ZQLogManager::dispatchPerfLog(const QString& text) {
    if (config()->outputType == 1) {
        savePerfDataAsynSafely(text);
    } else {
        recordRunLogToConsole(text);
    }
}

void ZQLogManager::saveDataAsynSafely(const QString& text) {
    d->runLog->submit(text, currentThreadDescription());
}

void ZQLogManager::savePerfDataAsynSafely(const QString& text) {
    d->perfLog->submit(text, currentThreadDescription());
}

void ZQLogManager::recordRunLogToConsole(const QString& text) {
    qCInfo(lcRunLogConsole).noquote()
        << QStringLiteral("%1 %2 : %3")
               .arg(_processName, formatLocalTime(QDateTime::currentMSecsSinceEpoch(), false),
                    text);
}

void ZQLogManager::waitForPendingWrites() {
    d->runLog->waitIdle();
    d->perfLog->waitIdle();
}

bool ZQLogManager::waitForPendingWrites(int timeoutMs) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
    const bool runLogDone = d->runLog->waitIdleUntil(deadline);
    return d->perfLog->waitIdleUntil(deadline) && runLogDone;
}

// --- configuration setters -------------------------------------------------

namespace {

enum class FileState { Missing, Unreadable, Read };

FileState readConfigFile(const QString& path, QVariantMap* dict) {
    if (!QFileInfo::exists(path)) {
        return FileState::Missing;
    }
    QString error;
    std::optional<QVariantMap> read = platform::Plist::readDictionary(path, &error);
    if (!read) {
        qCWarning(lcLog) << "log configuration left untouched, it cannot be read:" << error;
        return FileState::Unreadable;
    }
    *dict = std::move(*read);
    return FileState::Read;
}

bool writeConfigFile(const QString& path, const QVariantMap& dict) {
    QString error;
    if (!platform::Plist::writeFile(path, dict, platform::Plist::Format::Xml, &error)) {
        qCWarning(lcLog) << "cannot write the log configuration:" << error;
        return false;
    }
    return true;
}

}  // namespace

bool ZQLogManager::enableRunLogConfig(qint64 logType) {
    bool written = false;
    {
        std::lock_guard lock(d->configMutex);
        QVariantMap dict;
        switch (readConfigFile(_logConfigFilePath, &dict)) {
            case FileState::Unreadable:
                return false;
            case FileState::Missing:
                dict = {{kKeyMaxCount, qint64(500)},
                        {kKeyOutput, qint64(1)},
                        {kKeyEnableAll, qint64(0)},
                        {kKeySaveType, qint64(1)},
                        {kKeyLogConfig, QVariantList{logType}}};
                break;
            case FileState::Read: {
                const QVariant types = dict.value(kKeyLogConfig);
                if (!types.isValid()) {
                    dict.insert(kKeyLogConfig, QVariantList{logType});
                    break;
                }
                if (types.metaType().id() != QMetaType::QVariantList) {
                    qCWarning(lcLog) << "log configuration left untouched: \"logconfig\" is not an "
                                        "array";
                    return false;
                }
                QVariantList list = types.toList();
                if (listContains(list, logType)) {
                    return true;  // already enabled, nothing to write
                }
                list.append(logType);
                dict.insert(kKeyLogConfig, list);
                break;
            }
        }
        written = writeConfigFile(_logConfigFilePath, dict);
    }
    reloadLogConfig();
    return written;
}

bool ZQLogManager::disableRunLogConfig(qint64 logType) {
    bool written = false;
    {
        std::lock_guard lock(d->configMutex);
        QVariantMap dict;
        switch (readConfigFile(_logConfigFilePath, &dict)) {
            case FileState::Unreadable:
                return false;
            case FileState::Missing:
                return true;  // nothing enabled
            case FileState::Read:
                break;
        }
        const QVariant types = dict.value(kKeyLogConfig);
        if (types.metaType().id() != QMetaType::QVariantList) {
            return !types.isValid();  // absent: nothing to do; another shape: left alone
        }
        const QVariantList list = types.toList();
        if (!listContains(list, logType)) {
            return true;
        }
        QVariantList kept;
        for (const QVariant& item : list) {
            if (numberValue(item) != logType) {
                kept.append(item);
            }
        }
        if (kept.isEmpty()) {
            dict.remove(kKeyLogConfig);
        } else {
            dict.insert(kKeyLogConfig, kept);
        }
        written = writeConfigFile(_logConfigFilePath, dict);
    }
    reloadLogConfig();
    return written;
}

bool ZQLogManager::removeAllRunLogConfig() {
    bool written = false;
    {
        std::lock_guard lock(d->configMutex);
        QVariantMap dict;
        switch (readConfigFile(_logConfigFilePath, &dict)) {
            case FileState::Unreadable:
                return false;
            case FileState::Missing:
                return true;
            case FileState::Read:
                break;
        }
        if (!dict.contains(kKeyLogConfig)) {
            return true;
        }
        dict.remove(kKeyLogConfig);
        written = writeConfigFile(_logConfigFilePath, dict);
    }
    reloadLogConfig();
    return written;
}

namespace {

template <typename Manager>
bool setIntegerKey(Manager* manager, std::mutex& mutex, const QString& path, const QString& key,
                   qint64 value) {
    bool written = false;
    {
        std::lock_guard lock(mutex);
        QVariantMap dict;
        if (readConfigFile(path, &dict) != FileState::Read) {
            return false;  // a missing file is not created; an unreadable one is left alone
        }
        dict.insert(key, value);
        written = writeConfigFile(path, dict);
    }
    manager->reloadLogConfig();
    return written;
}

}  // namespace

bool ZQLogManager::setEnableAllRunLogConfig(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyEnableAll, value);
}

bool ZQLogManager::setLogOutputType(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyOutput, value);
}

bool ZQLogManager::setLogMaxCount(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyMaxCount, value);
}

bool ZQLogManager::setLogSaveType(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeySaveType, value);
}

void ZQLogManager::setPerfLogConfig(bool enabled) {
    _enablePerfLog.store(enabled, std::memory_order_relaxed);
}

// --- accessors -------------------------------------------------------------

bool ZQLogManager::enableAllLog() const {
    return config()->enableAll;
}

bool ZQLogManager::enablePerfLog() const {
    return _enablePerfLog.load(std::memory_order_relaxed);
}

qint64 ZQLogManager::outputType() const {
    return config()->outputType;
}

qint64 ZQLogManager::saveType() const {
    return config()->saveType;
}

qint64 ZQLogManager::logMaxCount() const {
    return config()->maxCount;
}

std::optional<QList<qint64>> ZQLogManager::logConfig() const {
    const Config* c = config();
    if (!c->hasLogConfig) {
        return std::nullopt;
    }
    return QList<qint64>(c->logTypes.begin(), c->logTypes.end());
}

QString ZQLogManager::logConfigFilePath() const {
    return _logConfigFilePath;
}

QString ZQLogManager::logFilePath() const {
    return _logFilePath;
}

QString ZQLogManager::perfFilePath() const {
    return _perfFilePath;
}

QString ZQLogManager::processName() const {
    return _processName;
}

QString ZQLogManager::logFolder() const {
    return _logFolder;
}

QStringList ZQLogManager::logContent() {
    return d->runLog->content();
}

QStringList ZQLogManager::perfContent() {
    return d->perfLog->content();
}

// --- text helpers ----------------------------------------------------------

QString ZQLogManager::descriptionOf(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            return QStringLiteral("(null)");
        case QMetaType::QString:
            return value.toString();
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        case QMetaType::Double:
        case QMetaType::Float:
            return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            QStringList parts;
            for (const QVariant& item : value.toList()) {
                parts.append(descriptionOf(item));
            }
            return u'(' + parts.join(QStringLiteral(", ")) + u')';
        }
        case QMetaType::QVariantMap: {
            const QVariantMap map = value.toMap();
            QString text = QStringLiteral("{");
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                text += QStringLiteral(" %1 = %2;").arg(it.key(), descriptionOf(it.value()));
            }
            return text + QStringLiteral(" }");
        }
        case QMetaType::QByteArray:
            return u'<' + QString::fromLatin1(value.toByteArray().toHex(' ')) + u'>';
        case QMetaType::QDateTime:
            return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
        default:
            if (value.canConvert<QString>()) {
                return value.toString();
            }
            return QStringLiteral("<%1>").arg(QString::fromLatin1(value.typeName()));
    }
}

QString ZQLogManager::formatLocalTime(qint64 msecsSinceEpoch, bool withMilliseconds) {
    const std::time_t seconds = static_cast<std::time_t>(msecsSinceEpoch / 1000);
    int millis = static_cast<int>(msecsSinceEpoch % 1000);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char buffer[48];
    if (withMilliseconds) {
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d",
                      parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                      parts.tm_min, parts.tm_sec, millis < 0 ? 0 : millis);
    } else {
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", parts.tm_year + 1900,
                      parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    }
    return QString::fromLatin1(buffer);
}

QString ZQLogManager::currentThreadDescription() {
    thread_local const QString description = makeThreadDescription();
    return description;
}
