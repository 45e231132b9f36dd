#include "stats/ZQAccsStatistician.h"

#include "stats/EncryptedStore.h"
#include "stats/StatsLog.h"
#include "utility/ProductLocations.h"

namespace {

const QString kAccounts = QStringLiteral("kAccounts");
const QString kCurrentUser = QStringLiteral("kCurrentUser");
const QString kCurrentUserState = QStringLiteral("kCurrentUserState");
const QString kUserDirectory = QStringLiteral("kUserDirectory");
const QString kUserImport = QStringLiteral("kUserImport");

// Top-level keys whose value is copied into the current user's record, and
// the record's key for each.
QString recordKeyFor(const QString& key) {
    if (key == u"kCurrentUserToken") {
        return QStringLiteral("kUserToken");
    }
    if (key == u"kCurrentUserPassportId") {
        return QStringLiteral("kUserPassportId");
    }
    if (key == u"kVesko3rdPartyLoginInfoType") {
        return QStringLiteral("kVesko3rdPartyLoginInfoType");
    }
    return QString();
}

std::optional<QVariantMap> readStore() {
    return zq::stats::readEncryptedStore(ZQAccsStatistician::storePath());
}

bool isNone(const QVariant& value) {
    return !value.isValid() || value.isNull();
}

// The current user's record when logged in, else none.
std::optional<QVariantMap> currentUserRecord(const QVariantMap& store) {
    if (store.value(kCurrentUserState).toString() != u"1") {
        return std::nullopt;
    }
    const QString user = store.value(kCurrentUser).toString();
    const QVariantMap accounts = store.value(kAccounts).toMap();
    if (user.isEmpty() || !accounts.contains(user)) {
        return std::nullopt;
    }
    return accounts.value(user).toMap();
}

// The last "/"-separated component of a path, trailing separators ignored.
QString lastComponent(QString path) {
    while (path.endsWith(u'/')) {
        path.chop(1);
    }
    return path.mid(path.lastIndexOf(u'/') + 1);
}

}  // namespace

QString ZQAccsStatistician::storePath() {
    return zq::utility::accountFolderRoot() + QStringLiteral("/accs.dat");
}

QVariant ZQAccsStatistician::getAccsDataByKey(const QString& key) {
    const std::optional<QVariantMap> store = readStore();
    return store ? store->value(key) : QVariant();
}

void ZQAccsStatistician::setAccsDataValue(const QVariant& value, const QString& key) {
    if (key.isEmpty()) {
        return;
    }
    if (!isNone(value) && !zq::stats::isStorableValue(value)) {
        qCWarning(lcStats) << "accounts store: value of type" << value.typeName()
                           << "cannot be stored under" << key;
        return;
    }
    QVariantMap store;
    if (std::optional<QVariantMap> read = readStore()) {
        store = std::move(*read);
        const QString user = store.value(kCurrentUser).toString();
        QVariantMap accounts = store.value(kAccounts).toMap();
        const QString recordKey = recordKeyFor(key);
        if (!user.isEmpty() && accounts.contains(user) && !recordKey.isEmpty()) {
            QVariantMap record = accounts.value(user).toMap();
            if (isNone(value)) {
                record.remove(recordKey);
            } else {
                record.insert(recordKey, value);
            }
            accounts.insert(user, record);
            store.insert(kAccounts, accounts);
        }
    }
    if (isNone(value)) {
        store.remove(key);
    } else {
        store.insert(key, value);
    }
    zq::stats::writeEncryptedStore(storePath(), store);
}

std::optional<QVariantMap> ZQAccsStatistician::getAccsDataDict() {
    return readStore();
}

std::optional<QString> ZQAccsStatistician::getSynUserPath() {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return std::nullopt;
    }
    const std::optional<QVariantMap> record = currentUserRecord(*store);
    if (!record) {
        return std::nullopt;
    }
    const QString name = lastComponent(record->value(kUserDirectory).toString());
    if (name.isEmpty()) {
        return std::nullopt;
    }
    return zq::utility::accountFolderRoot() + u'/' + name;
}

void ZQAccsStatistician::removeAccsDataByAccount(const QString& account) {
    std::optional<QVariantMap> store = readStore();
    if (!store) {
        return;
    }
    QVariantMap accounts = store->value(kAccounts).toMap();
    if (!accounts.contains(account)) {
        return;
    }
    accounts.remove(account);
    store->insert(kAccounts, accounts);
    if (store->value(kCurrentUser).toString() == account) {
        store->remove(kCurrentUser);
    }
    zq::stats::writeEncryptedStore(storePath(), *store);
}

bool ZQAccsStatistician::imprtDefaultData() {
    const std::optional<QVariantMap> store = readStore();
    if (!store) {
        return true;
    }
    const std::optional<QVariantMap> record = currentUserRecord(*store);
    return !(record && record->value(kUserImport).toString() == u"2");
}

bool ZQAccsStatistician::isInLoginState() {
    const std::optional<QVariantMap> store = readStore();
    return store && store->value(kCurrentUserState).toString() == u"1";
}

QString ZQAccsStatistician::userDictFullPath() {
    if (const std::optional<QString> path = getSynUserPath()) {
        return *path;
    }
    return zq::utility::userDataFolder();
}

QString ZQAccsStatistician::systemDictFullPath() {
    return zq::utility::resourcesFolder();
}
