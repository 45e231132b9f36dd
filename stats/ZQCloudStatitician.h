#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

// The cloud store "stat3.dat" in the user data folder: an XML property-list
// dictionary, plain, shared with the input method's other processes.
//
//   <counter key>   {"yyyyMMdd": value, ...}   per-day values (local dates)
//   "upgradelog"    {key: value}               setUpgradeInfo(...)
//   "sgupdate"      {key: value}               update-script execution info
//   "sgocsupdate"   {key: value}               lite-module update info
//   other keys      any value                  setValueStat3(...)
//
// Every operation reads the file afresh, changes it and writes it back whole
// (atomically); nothing is cached between calls and there is no lock, so two
// writers at once can lose one change. A file that does not read counts as
// empty for writers and as absent for readers; write failures are ignored.
//
// Values and keys that are absent (a null QVariant, an empty key) make a
// setter do nothing, as a dictionary cannot hold them.
class ZQCloudStatitician {
public:
    static ZQCloudStatitician* sharedInstance();

    // Where the store lives.
    static QString storePath();

    // The key's value of yesterday (the finished day) / of today; null when missing.
    static QVariant getCloudStatDataByKey(const QString& key);
    static QVariant getTodayCloudStatDataByKey(const QString& key);
    // Replaces the key's day dictionary by {today: value}: earlier days are dropped.
    static void setCloudStatDataValue(const QVariant& value, const QString& key);
    // Sets today's value and keeps the key's earlier days.
    static void setToadyCloudStatDataValue(const QVariant& value, const QString& key);
    // Today's value becomes its integer value + 1 ({today: 1} for a new key).
    static void addCloudStatDataCountByKey(const QString& key);
    // Removes, from every dictionary entry, the keys that sort (as text) before
    // yesterday's day key. Writes only when the file reads.
    static void clearCloudStatData();

    // "upgradelog"[QString::number(type)] = "".
    static void setUpgradeInfoWithType(qint64 type);
    // "upgradelog"[key] = value.
    static void setUpgradeInfo(const QVariant& value, const QString& key);
    // The "upgradelog" keys joined with "_" (empty text when there are none).
    static QString getUpgradeInfo();
    // Removes "upgradelog", "upgradever" and "upgradenewver".
    static void clearUpgradeInfo();

    // "sgupdate"[key] and "sgocsupdate"[key].
    static void setJsExecInfo(const QVariant& value, const QString& key);
    static QVariant getJsExecInfoForKey(const QString& key);
    static void setOCSLiteInfo(const QVariant& value, const QString& key);
    static QVariant getOCSLiteInfoForKey(const QString& key);

    // A top-level value. The setter does not create the data folder: when it is
    // missing the write fails (and is ignored).
    void setValueStat3(const QVariant& value, const QString& key);
    QVariant getValueForKeyStat3(const QString& key) const;

    // The key's day dictionary (created) gets today's value = the float.
    void setOCSLiteFloatValue(float value, const QString& key);
    // Today's / yesterday's float; 0 when the key's dictionary is missing or empty.
    float getOCSLiteFloatValueByKey(const QString& key) const;
    float getOCSLiteLastDayFloatValueByKey(const QString& key) const;

    // "yyyyMMdd" of the date, local time.
    QString stringFromDate(const QDateTime& date) const;

    ZQCloudStatitician() = default;
};
