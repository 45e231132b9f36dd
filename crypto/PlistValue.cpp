#include "crypto/PlistValue_p.h"

#include <QDateTime>
#include <QRegularExpression>

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
            return QVariant(dateFromReferenceSeconds(double(seconds) + double(micros) / 1e6));
        }
        case PLIST_UID:
        case PLIST_NONE:
            break;
    }
    *error = QStringLiteral("value has no plain property-list form");
    return std::nullopt;
}

std::uint64_t readBigEndian(const unsigned char* p, unsigned count) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
        value = (value << 8) | p[i];
    }
    return value;
}

// libplist aborts the process (a failed assertion) when a dictionary key
// holds a zero character. Such property lists are refused before they reach
// it: every string object of a binary property list is checked, and XML with
// a zero byte or a character reference to zero is refused. A binary property
// list whose tables do not hold together is refused as well.
bool stringsHaveNoZero(const QByteArray& bytes) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.constData());
    const auto size = static_cast<std::uint64_t>(bytes.size());
    if (!bytes.startsWith("bplist")) {
        if (bytes.contains('\0')) {
            return false;
        }
        static const QRegularExpression zeroReference(QStringLiteral("&#(x0*|0+);"),
                                                      QRegularExpression::CaseInsensitiveOption);
        return !zeroReference.match(QString::fromLatin1(bytes)).hasMatch();
    }
    if (size < 8 + 32) {
        return false;
    }
    const unsigned char* trailer = data + size - 32;
    const unsigned offsetSize = trailer[6];
    const std::uint64_t objectCount = readBigEndian(trailer + 8, 8);
    const std::uint64_t tableOffset = readBigEndian(trailer + 24, 8);
    const std::uint64_t objectsEnd = size - 32;
    if (offsetSize < 1 || offsetSize > 8 || tableOffset > objectsEnd ||
        objectCount > (objectsEnd - tableOffset) / offsetSize) {
        return false;
    }
    for (std::uint64_t i = 0; i < objectCount; ++i) {
        const std::uint64_t offset = readBigEndian(data + tableOffset + i * offsetSize, offsetSize);
        if (offset >= objectsEnd) {
            return false;
        }
        const unsigned type = data[offset] >> 4;
        if (type != 0x5 && type != 0x6 && type != 0x7) {
            continue;
        }
        std::uint64_t length = data[offset] & 0x0f;
        std::uint64_t pos = offset + 1;
        if (length == 0x0f) {
            if (pos >= objectsEnd || (data[pos] >> 4) != 0x1 || (data[pos] & 0x0f) > 3) {
                return false;
            }
            const unsigned count = 1u << (data[pos] & 0x0f);
            if (count > objectsEnd - pos - 1) {
                return false;
            }
            length = readBigEndian(data + pos + 1, count);
            pos += 1 + count;
        }
        const std::uint64_t unit = type == 0x6 ? 2 : 1;
        if (length > (objectsEnd - pos) / unit) {
            return false;
        }
        for (std::uint64_t k = 0; k < length; ++k) {
            const unsigned char* c = data + pos + k * unit;
            if (c[0] == 0 && (unit == 1 || c[1] == 0)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

PlistPtr parsePlist(const QByteArray& bytes) {
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<int32_t>::max() ||
        !stringsHaveNoZero(bytes)) {
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
