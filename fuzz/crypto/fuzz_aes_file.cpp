// dictionaryWithContentsOfAESFile on arbitrary file bytes (including the
// plain-property-list migration path, which rewrites the file).

#include "FuzzSupport.h"

#include "crypto/ZQSecurityUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cmath>

namespace {

// Equality of read values in which a stored NaN equals itself.
bool sameValue(const QVariant& a, const QVariant& b) {
    if (a.typeId() == QMetaType::Double && b.typeId() == QMetaType::Double &&
        std::isnan(a.toDouble()) && std::isnan(b.toDouble())) {
        return true;
    }
    if (a.typeId() == QMetaType::QVariantMap && b.typeId() == QMetaType::QVariantMap) {
        const QVariantMap x = a.toMap();
        const QVariantMap y = b.toMap();
        if (x.keys() != y.keys()) {
            return false;
        }
        for (auto it = x.cbegin(); it != x.cend(); ++it) {
            if (!sameValue(it.value(), y.value(it.key()))) {
                return false;
            }
        }
        return true;
    }
    if (a.typeId() == QMetaType::QVariantList && b.typeId() == QMetaType::QVariantList) {
        const QVariantList x = a.toList();
        const QVariantList y = b.toList();
        if (x.size() != y.size()) {
            return false;
        }
        for (qsizetype i = 0; i < x.size(); ++i) {
            if (!sameValue(x[i], y[i])) {
                return false;
            }
        }
        return true;
    }
    return a == b;
}

QString scratchPath() {
    static const QString path = [] {
        const QString dir = QDir::tempPath() + QStringLiteral("/zq-fuzz-aes-file-") +
                            QString::number(QCoreApplication::applicationPid());
        QDir().mkpath(dir);
        return dir + QStringLiteral("/store.dat");
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString path = scratchPath();
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            return 0;
        }
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    const auto first = ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
    if (first) {
        // After a successful read (and a migration, if any) the file reads
        // back the same or, when it held values outside the allowed classes,
        // not at all.
        const auto second = ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
        FUZZ_CHECK(!second || sameValue(QVariant(*second), QVariant(*first)));
    }
    return 0;
}
