#include "stats/EncryptedStore.h"

#include "crypto/ZQSecurityUtil.h"
#include "stats/StatsLog.h"

namespace zq::stats {

std::optional<QVariantMap> readEncryptedStore(const QString& path) {
    return ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
}

void writeEncryptedStore(const QString& path, const QVariantMap& store) {
    if (!ZQSecurityUtil::writeDict(store, path, true)) {
        qCWarning(lcStats) << "encrypted store not written:" << path;
    }
}

bool isStorableValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::QString:
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float:
            return true;
        case QMetaType::QVariantMap: {
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                if (!isStorableValue(it.value())) {
                    return false;
                }
            }
            return true;
        }
        default:
            return false;
    }
}

}  // namespace zq::stats
