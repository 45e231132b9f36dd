#include "crypto/PlistValue_p.h"

#include "platform/Plist.h"

#include <QDateTime>

#include <cmath>
#include <cstdint>
#include <limits>

namespace zq::crypto::detail {
namespace {

constexpr int kMaxDepth = 512;

std::optional<QVariant> convert(plist_t node, int depth, QString* error) {
    if (depth > kMaxDepth) {
        *error = QStringLiteral("property list nested too deeply");
        return std::nullopt;
    }
    switch (plist_get_node_type(node)) {
        case PLIST_DICT: {
            QVariantMap map;
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            for (;;) {
                char* key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, iter, &key, &value);
                if (value == nullptr) {
                    free(key);
                    break;
                }
                const QString name = QString::fromUtf8(key);
                free(key);
                auto converted = convert(value, depth + 1, error);
                if (!converted) {
                    free(iter);
                    return std::nullopt;
                }
                map.insert(name, *converted);
            }
            free(iter);
            return QVariant(map);
        }
        case PLIST_ARRAY: {
            QVariantList list;
            const uint32_t count = plist_array_get_size(node);
            list.reserve(count);
            for (uint32_t i = 0; i < count; ++i) {
                auto converted = convert(plist_array_get_item(node, i), depth + 1, error);
                if (!converted) {
                    return std::nullopt;
                }
                list.append(*converted);
            }
            return QVariant(list);
        }
        case PLIST_STRING:
        case PLIST_KEY:
            return QVariant(stringValue(node));
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return QVariant(value != 0);
        }
        case PLIST_UINT:
            return QVariant(*integerValue(node));
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return QVariant(value);
        }
        case PLIST_DATA: {
            uint64_t length = 0;
            const char* bytes = plist_get_data_ptr(node, &length);
            return QVariant(
                QByteArray(bytes != nullptr ? bytes : "", static_cast<qsizetype>(length)));
        }
        case PLIST_DATE: {
            int32_t seconds = 0;
            int32_t micros = 0;
            plist_get_date_val(node, &seconds, &micros);
            // libplist truncates the seconds toward zero and drops the sign of
            // the fraction.
            const double fraction = double(micros) / 1e6;
            return QVariant(
                dateFromReferenceSeconds(double(seconds) + (seconds < 0 ? -fraction : fraction)));
        }
        case PLIST_UID:
        case PLIST_NONE:
            break;
    }
    *error = QStringLiteral("value has no plain property-list form");
    return std::nullopt;
}

}  // namespace

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

std::optional<QVariant> plistToVariant(plist_t node, QString* error) {
    QString ignored;
    return convert(node, 0, error != nullptr ? error : &ignored);
}

}  // namespace zq::crypto::detail
