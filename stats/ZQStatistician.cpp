#include "stats/ZQStatistician.h"

#include "platform/FileRead.h"
#include "platform/Plist.h"
#include "platform/Values.h"
#include "stats/StatsClock.h"
#include "stats/StatsLog.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace {

const QString kStatVer = QStringLiteral("statVer");
const QString kUpgradeLog = QStringLiteral("upgradelog");
constexpr qint64 kSyncLogLimit = 100 * 1024;  // bytes kept by clearUsrSyncLog

QString folderOf(const QString& path) {
    return QFileInfo(path).absolutePath();
}

// The store file for the class operations: a missing file reads as an empty
// store; a file that exists but does not read is none (left as it is).
std::optional<QVariantMap> readForUpdate(const QString& path) {
    if (!QFileInfo::exists(path)) {
        return QVariantMap();
    }
    return platform::Plist::readDictionary(path);
}

}  // namespace

// The serial queue: one worker thread running tasks in the order they came.
class ZQStatistician::Queue {
public:
    Queue() : _worker([this] { run(); }) {}
    ~Queue() {
        {
            std::lock_guard lock(_mutex);
            _stopping = true;
        }
        _wake.notify_one();
        _worker.join();
    }

    void async(std::function<void()> task) {
        {
            std::lock_guard lock(_mutex);
            _tasks.push_back(std::move(task));
        }
        _wake.notify_one();
    }

    // Runs `task` on the queue after everything queued before it, and waits.
    void sync(const std::function<void()>& task) {
        if (std::this_thread::get_id() == _worker.get_id()) {
            task();
            return;
        }
        std::mutex doneMutex;
        std::condition_variable doneSignal;
        bool done = false;
        async([&] {
            task();
            std::lock_guard lock(doneMutex);
            done = true;
            doneSignal.notify_one();
        });
        std::unique_lock lock(doneMutex);
        doneSignal.wait(lock, [&done] { return done; });
    }

private:
    void run() {
        pthread_setname_np(pthread_self(), "vesko-stat2");
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(_mutex);
                _wake.wait(lock, [this] { return _stopping || !_tasks.empty(); });
                if (_tasks.empty()) {
                    return;  // stopping, and everything queued is done
                }
                task = std::move(_tasks.front());
                _tasks.pop_front();
            }
            task();
        }
    }

    std::mutex _mutex;
    std::condition_variable _wake;
    std::deque<std::function<void()>> _tasks;
    bool _stopping = false;
    std::thread _worker;
};

ZQStatistician* ZQStatistician::sharedInstance() {
    static ZQStatistician instance(defaultDataPath());
    return &instance;
}

QString ZQStatistician::defaultDataPath() {
    return zq::utility::userDataFilePath(QStringLiteral("stat2.dat"));
}

QString ZQStatistician::syncLogPath() {
    return zq::utility::userDataFilePath(QStringLiteral("sync.dat"));
}

ZQStatistician::ZQStatistician(const QString& dataPath)
    : _dataPath(dataPath), _setQueue(std::make_unique<Queue>()) {
    loadStat();
}

ZQStatistician::~ZQStatistician() = default;

void ZQStatistician::loadLocked() {
    QFile::remove(folderOf(_dataPath) + QStringLiteral("/stat.dat"));
    const std::optional<QVariantMap> stored = platform::Plist::readDictionary(_dataPath);
    if (stored && stored->value(kStatVer) == QStringLiteral("1")) {
        _records = *stored;
    } else {
        _records = QVariantMap{{kStatVer, QStringLiteral("1")}};
    }
    _lastSaveDict.clear();
}

void ZQStatistician::loadStat() {
    _setQueue->sync([this] { loadLocked(); });
}

void ZQStatistician::reloadStat() {
    _setQueue->sync([this] {
        _records.clear();
        loadLocked();
    });
}

QString ZQStatistician::stringFromDate(const QDateTime& date) const {
    return zq::stats::dayKey(date);
}

QVariantMap ZQStatistician::dayValues(const QString& key) const {
    return _records.value(key).toMap();
}

void ZQStatistician::setToday(const QString& key, const QVariant& value) {
    QVariantMap days = dayValues(key);
    days.insert(zq::stats::todayKey(), value);
    _records.insert(key, days);
}

void ZQStatistician::addCount(qint32 count, const QString& key) {
    if (key.isNull()) {
        return;
    }
    _setQueue->async([this, count, key] {
        const qint64 held = platform::integerValue(dayValues(key).value(zq::stats::todayKey()));
        setToday(key, held + count);
    });
}

void ZQStatistician::addCountByKey(const QString& key) {
    addCount(1, key);
}

qint32 ZQStatistician::getCurrentDayCountByKey(const QString& key) const {
    qint32 count = 0;
    _setQueue->sync([this, &key, &count] {
        const QVariantMap days = dayValues(key);
        if (!days.isEmpty()) {
            count = qint32(platform::integerValue(days.value(zq::stats::todayKey())));
        }
    });
    return count;
}

void ZQStatistician::setFloatValue(float value, const QString& key) {
    if (key.isNull()) {
        return;
    }
    _setQueue->sync([this, value, &key] { setToday(key, double(value)); });
}

void ZQStatistician::updateFloatValue(float value, const QString& key) {
    if (key.isNull()) {
        return;
    }
    _setQueue->async([this, value, key] { setToday(key, double(value)); });
}

void ZQStatistician::keepMaxFloatValue(float value, const QString& key) {
    if (key.isEmpty()) {
        return;
    }
    _setQueue->async([this, value, key] {
        const float held = dayValues(key).value(zq::stats::todayKey()).toFloat();
        if (value > held) {
            setToday(key, double(value));
        }
    });
}

float ZQStatistician::getFloatValueByKey(const QString& key) const {
    float value = 0;
    _setQueue->sync(
        [this, &key, &value] { value = dayValues(key).value(zq::stats::todayKey()).toFloat(); });
    return value;
}

void ZQStatistician::setCorePingbackInfo(const QVariant& info, const QString& key) {
    if (!info.isValid() || info.isNull() || key.isNull()) {
        return;
    }
    _setQueue->async([this, info, key] {
        QVariantList records = dayValues(key).value(zq::stats::todayKey()).toList();
        records.append(QVariantMap{{QStringLiteral("Data"), info},
                                   {QStringLiteral("Count"), qint64(records.size() + 1)}});
        setToday(key, records);
    });
}

void ZQStatistician::setArray(const QVariantList& array, const QString& key) {
    if (key.isNull()) {
        return;
    }
    _setQueue->sync([this, &array, &key] { setToday(key, array); });
}

std::optional<QVariantList> ZQStatistician::getMutableArrayByKey(const QString& key) const {
    std::optional<QVariantList> array;
    _setQueue->sync([this, &key, &array] {
        const QVariant today = dayValues(key).value(zq::stats::todayKey());
        if (today.typeId() == QMetaType::QVariantList) {
            array = today.toList();
        }
    });
    return array;
}

void ZQStatistician::setValue(const QVariant& value, const QString& key) {
    if (key.isNull()) {
        return;
    }
    _setQueue->async([this, value, key] {
        if (!value.isValid() || value.isNull()) {
            _records.remove(key);
        } else {
            _records.insert(key, value);
        }
    });
}

QVariant ZQStatistician::valueForKey(const QString& key) const {
    QVariant value;
    _setQueue->sync([this, &key, &value] { value = _records.value(key); });
    return value;
}

void ZQStatistician::saveData() {
    _setQueue->async([this] {
        if (!QFileInfo::exists(_dataPath)) {
            QDir().mkpath(folderOf(_dataPath));
        }
        if (_records == _lastSaveDict) {
            return;
        }
        const QVariantMap snapshot = _records;
        QString error;
        if (!platform::Plist::writeFile(_dataPath, snapshot, platform::Plist::Format::Xml,
                                        &error)) {
            qCWarning(lcStats) << "stat2.dat not written:" << error;
            return;
        }
        _lastSaveDict = snapshot;
        ++_writes;
    });
}

void ZQStatistician::waitForQueuedWork() const {
    _setQueue->sync([] {});
}

int ZQStatistician::writeCount() const {
    int writes = 0;
    _setQueue->sync([this, &writes] { writes = _writes; });
    return writes;
}

// ---------------------------------------------------------------------------
// Class operations

void ZQStatistician::saveUsrSyncLog(const QString& text) {
    static QMutex saveUsrSyncLogLock;
    QMutexLocker lock(&saveUsrSyncLogLock);
    QFile file;
    if (!platform::openRegularFileForAppend(file, syncLogPath())) {
        return;  // "sync.dat" cannot be created, or is not a file
    }
    const QString stamp =
        zq::stats::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    const QString crlf = QStringLiteral("\r\n");
    const QString entry = text.startsWith(crlf)
                              ? crlf + stamp + QLatin1Char(' ') + text.mid(2) + crlf
                              : stamp + QLatin1Char(' ') + text + crlf;
    file.write(entry.toUtf8());
}

void ZQStatistician::clearUsrSyncLog() {
    const QFileInfo info(syncLogPath());
    if (info.exists() && info.size() > kSyncLogLimit) {
        QFile::remove(info.filePath());
    }
}

void ZQStatistician::setUpgradeInfoWithType(qint64 type) {
    const QString path = defaultDataPath();
    std::optional<QVariantMap> store = readForUpdate(path);
    if (!store) {
        qCWarning(lcStats) << "stat2.dat does not read; upgrade type not recorded";
        return;
    }
    QVariantMap log = store->value(kUpgradeLog).toMap();
    log.insert(QString::number(type), QString(QLatin1String("")));
    store->insert(kUpgradeLog, log);
    platform::Plist::writeFile(path, *store);
}

QString ZQStatistician::getUpgradeInfo() {
    const std::optional<QVariantMap> store = platform::Plist::readDictionary(defaultDataPath());
    if (!store) {
        return QLatin1String("");
    }
    return store->value(kUpgradeLog).toMap().keys().join(QLatin1Char('_'));
}

void ZQStatistician::clearUpgradeInfo() {
    const QString path = defaultDataPath();
    std::optional<QVariantMap> store = platform::Plist::readDictionary(path);
    if (!store) {
        return;
    }
    store->remove(kUpgradeLog);
    platform::Plist::writeFile(path, *store);
}

QString ZQStatistician::getJsExecInfoForKey(const QString&) {
    return QStringLiteral("1");
}
