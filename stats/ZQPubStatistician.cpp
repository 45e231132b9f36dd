#include "stats/ZQPubStatistician.h"

#include "stats/EncryptedStore.h"
#include "stats/StatsLog.h"
#include "utility/ProductLocations.h"

QString ZQPubStatistician::storePath() {
    return zq::utility::userDataFilePath(QStringLiteral("pub.dat"));
}

QVariant ZQPubStatistician::getPubDataByKey(const QString& key) {
    const std::optional<QVariantMap> store = zq::stats::readEncryptedStore(storePath());
    return store ? store->value(key) : QVariant();
}

void ZQPubStatistician::setPubDataValue(const QVariant& value, const QString& key) {
    if (key.isEmpty()) {
        return;
    }
    const bool removing = !value.isValid() || value.isNull();
    if (!removing && !zq::stats::isStorableValue(value)) {
        qCWarning(lcStats) << "public store: value of type" << value.typeName()
                           << "cannot be stored under" << key;
        return;
    }
    QVariantMap store = zq::stats::readEncryptedStore(storePath()).value_or(QVariantMap{});
    if (removing) {
        store.remove(key);
    } else {
        store.insert(key, value);
    }
    zq::stats::writeEncryptedStore(storePath(), store);
}
