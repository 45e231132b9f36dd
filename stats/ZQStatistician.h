#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

// The input method's daily usage counters, "stat2.dat" in the user data
// folder: an XML property-list dictionary, plain.
//
//   "statVer"        "1"; a file without it, or with another value, is discarded at load
//   <statistics key> {"yyyyMMdd": value, ...}  one value per local day: a count,
//                    a float, or a list of records {"Data": value, "Count": n}
//   "upgradelog"     {"<update type>": ""}     kept by the class operations
//
// The store is held in memory and written whole, atomically, by saveData()
// when it changed since the last write. All reads and changes of the store
// run in order on one worker thread (the queue "com.vesko.ZQStatisticianSet"):
// the queued operations return at once and never wait for file work; the
// getters and the immediate setters wait for the work queued before them, so
// they see every earlier change. Any thread may call any operation.
//
// Loading deletes the legacy file "stat.dat" of the same folder.
class ZQStatistician {
public:
    static constexpr const char* kQueueLabel = "com.vesko.ZQStatisticianSet";

    // The process-wide store on "<user data folder>/stat2.dat", created and
    // loaded on first use.
    static ZQStatistician* sharedInstance();

    // A store on `dataPath` (tools and tests); it loads at once.
    explicit ZQStatistician(const QString& dataPath);
    ~ZQStatistician();  // finishes the queued work
    ZQStatistician(const ZQStatistician&) = delete;
    ZQStatistician& operator=(const ZQStatistician&) = delete;

    QString dataPath() const { return _dataPath; }

    // Queued: today's count += count (an integer number).
    void addCount(qint32 count, const QString& key);
    void addCountByKey(const QString& key);
    // Queued: today's float = value / = value when strictly greater (non-empty key).
    void updateFloatValue(float value, const QString& key);
    void keepMaxFloatValue(float value, const QString& key);
    // Queued: appends {"Data": info, "Count": position} to today's list; an
    // absent info or key is dropped.
    void setCorePingbackInfo(const QVariant& info, const QString& key);
    // Queued: a top-level entry; a null value removes it.
    void setValue(const QVariant& value, const QString& key);
    // Queued: writes the store when it changed since the last write.
    void saveData();

    qint32 getCurrentDayCountByKey(const QString& key) const;
    void setFloatValue(float value, const QString& key);
    float getFloatValueByKey(const QString& key) const;
    void setArray(const QVariantList& array, const QString& key);
    std::optional<QVariantList> getMutableArrayByKey(const QString& key) const;
    QVariant valueForKey(const QString& key) const;

    // Drops the store in memory and loads the file again.
    void reloadStat();
    void loadStat();
    // "yyyyMMdd" of the date in local time.
    QString stringFromDate(const QDateTime& date) const;

    // Waits until the work queued so far is done (tools and tests).
    void waitForQueuedWork() const;
    // How often saveData() wrote the file.
    int writeCount() const;

    // Class operations on the files of the user data folder.
    // Appends "<yyyy-MM-dd HH:mm:ss> <text>\r\n" to "sync.dat" (a text that
    // begins with "\r\n" gets an empty line before its stamp).
    static void saveUsrSyncLog(const QString& text);
    // Deletes "sync.dat" when it holds more than 100 KiB.
    static void clearUsrSyncLog();
    static void setUpgradeInfoWithType(qint64 type);
    // The "upgradelog" keys joined with "_", empty text when there are none.
    static QString getUpgradeInfo();
    static void clearUpgradeInfo();
    static QString getJsExecInfoForKey(const QString& key);

    static QString syncLogPath();
    static QString defaultDataPath();

private:
    class Queue;

    void loadLocked();
    QVariantMap dayValues(const QString& key) const;
    void setToday(const QString& key, const QVariant& value);

    QVariantMap _records;
    QVariantMap _lastSaveDict;
    QString _dataPath;
    int _writes = 0;
    std::unique_ptr<Queue> _setQueue;
};
