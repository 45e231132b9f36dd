// The keyed-archive reader on arbitrary bytes (binary or XML property lists).

#include "FuzzSupport.h"

#include "crypto/KeyedArchive.h"

#include <cmath>

using zq::crypto::KeyedArchive::AllowedClasses;

namespace {

// Equality that takes NaN as equal to itself.
bool same(const QVariant& a, const QVariant& b) {
    if (a.metaType() != b.metaType()) {
        return false;
    }
    switch (a.metaType().id()) {
        case QMetaType::Double:
            return a.toDouble() == b.toDouble() ||
                   (std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
        case QMetaType::QVariantMap: {
            const QVariantMap ma = a.toMap();
            const QVariantMap mb = b.toMap();
            if (ma.keys() != mb.keys()) {
                return false;
            }
            for (auto it = ma.cbegin(); it != ma.cend(); ++it) {
                if (!same(it.value(), mb.value(it.key()))) {
                    return false;
                }
            }
            return true;
        }
        case QMetaType::QVariantList: {
            const QVariantList la = a.toList();
            const QVariantList lb = b.toList();
            if (la.size() != lb.size()) {
                return false;
            }
            for (qsizetype i = 0; i < la.size(); ++i) {
                if (!same(la[i], lb[i])) {
                    return false;
                }
            }
            return true;
        }
        default:
            return a == b;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto all =
        zq::crypto::KeyedArchive::unarchive(input, AllowedClasses::AllPropertyListTypes);
    const auto restricted =
        zq::crypto::KeyedArchive::unarchive(input, AllowedClasses::DictionariesStringsNumbers);
    // The restricted reader accepts a subset, with the same result.
    if (restricted) {
        FUZZ_CHECK(all.has_value());
        FUZZ_CHECK(same(*all, *restricted));
    }
    if (all) {
        // What was read archives again (unless it holds a value without an
        // archived form, such as a string with a zero character) and reads
        // back equal.
        const QByteArray archive = zq::crypto::KeyedArchive::archive(*all);
        if (!archive.isNull()) {
            const auto back =
                zq::crypto::KeyedArchive::unarchive(archive, AllowedClasses::AllPropertyListTypes);
            FUZZ_CHECK(back.has_value());
            FUZZ_CHECK(same(*back, *all));
        }
    }
    return 0;
}
