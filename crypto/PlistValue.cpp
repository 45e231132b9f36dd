#include "crypto/PlistValue_p.h"

#include "platform/Plist.h"

#include <QDateTime>

#include <cmath>
#include <cstdint>
#include <limits>

namespace zq::crypto::detail {
PlistPtr parsePlist(const QByteArray& bytes) {
    // libplist aborts on a dictionary key with a zero character: such bytes
    // never reach it.
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<int32_t>::max() ||
        !platform::Plist::stringsHaveNoZero(bytes)) {
        return nullptr;
    }
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &root);
    return PlistPtr(root);
}

QString stringValue(plist_t node) {
    uint64_t length = 0;
    const char* text =
        plist_get_node_type(node) == PLIST_KEY ? nullptr : plist_get_string_ptr(node, &length);
    if (text != nullptr) {
        return QString::fromUtf8(text, static_cast<qsizetype>(length));
    }
    char* owned = nullptr;
    if (plist_get_node_type(node) == PLIST_KEY) {
        plist_get_key_val(node, &owned);
    } else {
        plist_get_string_val(node, &owned);
    }
    QString result = QString::fromUtf8(owned != nullptr ? owned : "");
    free(owned);
    return result;
}

std::optional<qint64> integerValue(plist_t node) {
    if (plist_get_node_type(node) != PLIST_UINT) {
        return std::nullopt;
    }
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    // Binary property lists store integers as signed 64-bit values.
    return static_cast<qint64>(value);
}

QDateTime dateFromReferenceSeconds(double seconds) {
    if (!std::isfinite(seconds) || std::fabs(seconds) > 1e14) {
        return QDateTime::fromSecsSinceEpoch(kReferenceDateOffset, Qt::UTC);
    }
    const auto millis = static_cast<qint64>(std::llround(seconds * 1000.0));
    return QDateTime::fromMSecsSinceEpoch(kReferenceDateOffset * 1000 + millis, Qt::UTC);
}

double referenceSecondsFromDate(const QDateTime& date) {
    return double(date.toMSecsSinceEpoch() - kReferenceDateOffset * 1000) / 1000.0;
}

}  // namespace zq::crypto::detail
