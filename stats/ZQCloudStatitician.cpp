#include "stats/ZQCloudStatitician.h"

#include "platform/Plist.h"
#include "platform/Values.h"
#include "stats/StatsClock.h"
#include "stats/StatsLog.h"
#include "utility/ProductLocations.h"

#include <QDir>
#include <QFileInfo>

#include <functional>

namespace {

const QString kUpgradeLog = QStringLiteral("upgradelog");
const QString kUpgradeVer = QStringLiteral("upgradever");
const QString kUpgradeNewVer = QStringLiteral("upgradenewver");
const QString kScriptUpdate = QStringLiteral("sgupdate");
const QString kLiteUpdate = QStringLiteral("sgocsupdate");

using platform::integerValue;

bool present(const QVariant& value) {
    return value.isValid() && !value.isNull();
}

// The store as it is on disk, or nullopt when it does not read.
std::optional<QVariantMap> readStore() {
    return platform::Plist::readDictionary(ZQCloudStatitician::storePath());
}

enum class Folder { Create, MustExist };

void writeStore(const QVariantMap& store, Folder folder) {
    const QString path = ZQCloudStatitician::storePath();
    if (folder == Folder::MustExist && !QFileInfo(QFileInfo(path).absolutePath()).isDir()) {
        qCDebug(lcStats) << "cloud store folder missing, not written:" << path;
        return;
    }
    QString error;
    if (!platform::Plist::writeFile(path, store, platform::Plist::Format::Xml, &error)) {
        qCWarning(lcStats) << "cloud store not written:" << path << error;
    }
}

// Read, change, write: the writer's common shape. `change` returns false when
// it decided not to change anything (nothing is written then).
void update(const std::function<bool(QVariantMap&)>& change, Folder folder = Folder::Create) {
    QVariantMap store = readStore().value_or(QVariantMap{});
    if (change(store)) {
        writeStore(store, folder);
    }
}

QVariant dayValue(const QString& key, const QString& day) {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return {};
    }
    return store->value(key).toMap().value(day);
}

QVariant subValue(const QString& group, const QString& key) {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return {};
    }
    return store->value(group).toMap().value(key);
}

void setSubValue(const QString& group, const QVariant& value, const QString& key) {
    if (!present(value) || key.isEmpty()) {
        return;
    }
    update([&](QVariantMap& store) {
        QVariantMap entries = store.value(group).toMap();
        entries.insert(key, value);
        store.insert(group, entries);
        return true;
    });
}

float floatOfDay(const QString& key, const QString& day) {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return 0.0f;
    }
    const QVariantMap days = store->value(key).toMap();
    if (days.isEmpty()) {
        return 0.0f;
    }
    return days.value(day).toFloat();
}

}  // namespace

ZQCloudStatitician* ZQCloudStatitician::sharedInstance() {
    static ZQCloudStatitician instance;
    return &instance;
}

QString ZQCloudStatitician::storePath() {
    return zq::utility::userDataFilePath(QStringLiteral("stat3.dat"));
}

QVariant ZQCloudStatitician::getCloudStatDataByKey(const QString& key) {
    return dayValue(key, zq::stats::yesterdayKey());
}

QVariant ZQCloudStatitician::getTodayCloudStatDataByKey(const QString& key) {
    return dayValue(key, zq::stats::todayKey());
}

void ZQCloudStatitician::setCloudStatDataValue(const QVariant& value, const QString& key) {
    if (!present(value) || key.isEmpty()) {
        return;
    }
    update([&](QVariantMap& store) {
        store.insert(key, QVariantMap{{zq::stats::todayKey(), value}});
        return true;
    });
}

void ZQCloudStatitician::setToadyCloudStatDataValue(const QVariant& value, const QString& key) {
    if (!present(value) || key.isEmpty()) {
        return;
    }
    update([&](QVariantMap& store) {
        QVariantMap days = store.value(key).toMap();
        days.insert(zq::stats::todayKey(), value);
        store.insert(key, days);
        return true;
    });
}

void ZQCloudStatitician::addCloudStatDataCountByKey(const QString& key) {
    if (key.isEmpty()) {
        return;
    }
    update([&](QVariantMap& store) {
        const QString today = zq::stats::todayKey();
        QVariantMap days = store.value(key).toMap();
        days.insert(today, integerValue(days.value(today)) + 1);
        store.insert(key, days);
        return true;
    });
}

void ZQCloudStatitician::clearCloudStatData() {
    std::optional<QVariantMap> store = readStore();
    if (!store) {
        return;
    }
    const QString yesterday = zq::stats::yesterdayKey();
    for (auto it = store->begin(); it != store->end(); ++it) {
        if (it.value().typeId() != QMetaType::QVariantMap) {
            continue;
        }
        QVariantMap entries = it.value().toMap();
        for (auto entry = entries.begin(); entry != entries.end();) {
            if (entry.key() < yesterday) {
                entry = entries.erase(entry);
            } else {
                ++entry;
            }
        }
        it.value() = entries;
    }
    writeStore(*store, Folder::Create);
}

void ZQCloudStatitician::setUpgradeInfoWithType(qint64 type) {
    setUpgradeInfo(QString(), QString::number(type));
}

void ZQCloudStatitician::setUpgradeInfo(const QVariant& value, const QString& key) {
    setSubValue(kUpgradeLog, value, key);
}

QString ZQCloudStatitician::getUpgradeInfo() {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return QString();
    }
    return store->value(kUpgradeLog).toMap().keys().join(u'_');
}

void ZQCloudStatitician::clearUpgradeInfo() {
    update([](QVariantMap& store) {
        store.remove(kUpgradeLog);
        store.remove(kUpgradeVer);
        store.remove(kUpgradeNewVer);
        return true;
    });
}

void ZQCloudStatitician::setJsExecInfo(const QVariant& value, const QString& key) {
    setSubValue(kScriptUpdate, value, key);
}

QVariant ZQCloudStatitician::getJsExecInfoForKey(const QString& key) {
    return subValue(kScriptUpdate, key);
}

void ZQCloudStatitician::setOCSLiteInfo(const QVariant& value, const QString& key) {
    setSubValue(kLiteUpdate, value, key);
}

QVariant ZQCloudStatitician::getOCSLiteInfoForKey(const QString& key) {
    return subValue(kLiteUpdate, key);
}

void ZQCloudStatitician::setValueStat3(const QVariant& value, const QString& key) {
    if (!present(value) || key.isEmpty()) {
        return;
    }
    update(
        [&](QVariantMap& store) {
            store.insert(key, value);
            return true;
        },
        Folder::MustExist);
}

QVariant ZQCloudStatitician::getValueForKeyStat3(const QString& key) const {
    const std::optional<QVariantMap> store = readStore();
    return store ? store->value(key) : QVariant();
}

void ZQCloudStatitician::setOCSLiteFloatValue(float value, const QString& key) {
    if (key.isEmpty()) {
        return;
    }
    update([&](QVariantMap& store) {
        QVariantMap days = store.value(key).toMap();
        days.insert(stringFromDate(zq::stats::currentDateTime()), static_cast<double>(value));
        store.insert(key, days);
        return true;
    });
}

float ZQCloudStatitician::getOCSLiteFloatValueByKey(const QString& key) const {
    return floatOfDay(key, zq::stats::todayKey());
}

float ZQCloudStatitician::getOCSLiteLastDayFloatValueByKey(const QString& key) const {
    return floatOfDay(key, zq::stats::yesterdayKey());
}

QString ZQCloudStatitician::stringFromDate(const QDateTime& date) const {
    return zq::stats::dayKey(date);
}
