#include "log/ZQLogManager.h"
#include "log/ZQLogManager_p.h"

#include "platform/Locations.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>

using zq::log::detail::contentEntry;
using zq::log::detail::keyValueEntry;

Q_LOGGING_CATEGORY(lcLog, "vesko.log", QtInfoMsg)
// The console output of the run log, kept apart from the diagnostics above.
Q_LOGGING_CATEGORY(lcRunLogConsole, "vesko.runlog", QtInfoMsg)

namespace {

QString defaultProcessName() {
    // The executable's name, as the process table shows it.
    return QString::fromLocal8Bit(program_invocation_short_name);
}

QString defaultConfigFilePath() {
    // The user data folder, "<application support>/Vesko/InputMethod/VeskoPY".
    return platform::Locations::appSupportDir() +
           QStringLiteral("/Vesko/InputMethod/VeskoPY/logConfig.plist");
}

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
