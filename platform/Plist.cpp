#include "platform/Plist.h"

#include "platform/FileRead.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

namespace platform::Plist {
namespace {

// Reference date of property-list dates: 2001-01-01T00:00:00Z.
constexpr qint64 kReferenceDateOffset = 978307200;
// A property list nested deeper than this is refused rather than risking the stack.
constexpr int kMaxDepth = 512;

struct NodeDeleter {
    void operator()(void* node) const {
        if (node) {
            plist_free(static_cast<plist_t>(node));
        }
    }
};
using Node = std::unique_ptr<void, NodeDeleter>;

void setError(QString* error, const QString& message) {
    if (error) {
        *error = message;
    }
}

std::optional<QVariant> toVariant(plist_t node, int depth, QString* error) {
    if (depth > kMaxDepth) {
        setError(error, QStringLiteral("property list nested too deeply"));
        return std::nullopt;
    }
    switch (plist_get_node_type(node)) {
        case PLIST_DICT: {
            QVariantMap map;
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            if (!iter) {
                return QVariant(map);
            }
            for (;;) {
                char* key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, iter, &key, &value);
                if (!value) {
                    free(key);
                    break;
                }
                const QString name = QString::fromUtf8(key ? key : "");
                free(key);
                auto converted = toVariant(value, depth + 1, error);
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
            const uint32_t size = plist_array_get_size(node);
            list.reserve(int(size));
            for (uint32_t i = 0; i < size; ++i) {
                auto converted = toVariant(plist_array_get_item(node, i), depth + 1, error);
                if (!converted) {
                    return std::nullopt;
                }
                list.append(*converted);
            }
            return QVariant(list);
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            char* text = nullptr;
            plist_get_string_val(node, &text);
            QString value = QString::fromUtf8(text ? text : "");
            free(text);
            return QVariant(value);
        }
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return QVariant(value != 0);
        }
        case PLIST_UINT: {
            uint64_t value = 0;
            plist_get_uint_val(node, &value);
            // Integers are 64-bit two's complement on both formats' sides.
            return QVariant(qint64(value));
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return QVariant(value);
        }
        case PLIST_DATA: {
            char* bytes = nullptr;
            uint64_t length = 0;
            plist_get_data_val(node, &bytes, &length);
            QByteArray value(bytes ? bytes : "", bytes ? qsizetype(length) : 0);
            free(bytes);
            return QVariant(value);
        }
        case PLIST_DATE: {
            int32_t sec = 0;
            int32_t usec = 0;
            plist_get_date_val(node, &sec, &usec);
            // libplist hands dates over as 32-bit seconds; a date beyond
            // that range comes back with the lowest seconds value or a
            // microsecond part of a second or more.
            if (usec <= -1000000 || usec >= 1000000 || sec == std::numeric_limits<int32_t>::min()) {
                setError(error, QStringLiteral("a date outside the range of a property list"));
                return std::nullopt;
            }
            // libplist gives the seconds truncated toward zero and the
            // microseconds without their sign (so a date less than a second
            // before 2001 reads as the same distance after it), derived from
            // a double: round them rather than truncate.
            const qint64 fraction = std::lround(usec / 1000.0);
            const qint64 msecs =
                (kReferenceDateOffset + sec) * 1000 + (sec < 0 ? -fraction : fraction);
            return QVariant(QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc()));
        }
        case PLIST_UID:
            setError(error, QStringLiteral("keyed-archive UID in a plain property list"));
            return std::nullopt;
        default:
            setError(error, QStringLiteral("unknown property-list node"));
            return std::nullopt;
    }
}

plist_t fromVariant(const QVariant& value, int depth, QString* error) {
    if (depth > kMaxDepth) {
        setError(error, QStringLiteral("value nested too deeply"));
        return nullptr;
    }
    switch (value.metaType().id()) {
        case QMetaType::QVariantMap: {
            Node dict(plist_new_dict());
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                if (it.key().contains(QChar(0))) {
                    setError(error,
                             QStringLiteral("a key with a zero character cannot be written"));
                    return nullptr;
                }
                plist_t item = fromVariant(it.value(), depth + 1, error);
                if (!item) {
                    return nullptr;
                }
                plist_dict_set_item(static_cast<plist_t>(dict.get()), it.key().toUtf8().constData(),
                                    item);
            }
            return static_cast<plist_t>(dict.release());
        }
        case QMetaType::QVariantHash: {
            QVariantMap map;
            const QVariantHash hash = value.toHash();
            for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
                map.insert(it.key(), it.value());
            }
            return fromVariant(QVariant(map), depth, error);
        }
        case QMetaType::QVariantList:
        case QMetaType::QStringList: {
            Node array(plist_new_array());
            const QVariantList list = value.toList();
            for (const QVariant& element : list) {
                plist_t item = fromVariant(element, depth + 1, error);
                if (!item) {
                    return nullptr;
                }
                plist_array_append_item(static_cast<plist_t>(array.get()), item);
            }
            return static_cast<plist_t>(array.release());
        }
        case QMetaType::QString: {
            // libplist takes C strings: a zero character would cut the text short.
            const QString text = value.toString();
            if (text.contains(QChar(0))) {
                setError(error, QStringLiteral("a text with a zero character cannot be written"));
                return nullptr;
            }
            return plist_new_string(text.toUtf8().constData());
        }
        case QMetaType::Bool:
            return plist_new_bool(value.toBool() ? 1 : 0);
        case QMetaType::Int:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::Short:
        case QMetaType::Char:
        case QMetaType::SChar:
            return plist_new_uint(uint64_t(value.toLongLong()));
        case QMetaType::UInt:
        case QMetaType::ULong:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return plist_new_uint(value.toULongLong());
        case QMetaType::ULongLong: {
            const qulonglong v = value.toULongLong();
            if (v > qulonglong(std::numeric_limits<qint64>::max())) {
                setError(error, QStringLiteral("unsigned integer too large for a property list"));
                return nullptr;
            }
            return plist_new_uint(v);
        }
        case QMetaType::Double:
        case QMetaType::Float:
            return plist_new_real(value.toDouble());
        case QMetaType::QByteArray: {
            const QByteArray bytes = value.toByteArray();
            return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
        }
        case QMetaType::QDateTime: {
            // Seconds and microseconds from the reference date, both with
            // the sign of the whole, as property lists read them.
            const qint64 rel = value.toDateTime().toMSecsSinceEpoch() - kReferenceDateOffset * 1000;
            const qint64 sec = rel / 1000;
            const qint64 usec = (rel % 1000) * 1000;
            if (sec < std::numeric_limits<int32_t>::min() ||
                sec > std::numeric_limits<int32_t>::max()) {
                setError(error, QStringLiteral("a date outside the range of a property list"));
                return nullptr;
            }
            return plist_new_date(int32_t(sec), int32_t(usec));
        }
        default:
            setError(error, QStringLiteral("a value of type %1 has no property-list form")
                                .arg(QString::fromLatin1(value.typeName() ? value.typeName()
                                                                          : "invalid")));
            return nullptr;
    }
}

std::uint64_t readBigEndian(const unsigned char* p, unsigned count) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
        value = (value << 8) | p[i];
    }
    return value;
}

}  // namespace

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
    // Walk the offset table and look into every ASCII (0x5), UTF-16 (0x6)
    // and UTF-8 (0x7) string object.
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

std::optional<QVariant> parse(const QByteArray& bytes, QString* error) {
    if (bytes.isEmpty()) {
        setError(error, QStringLiteral("empty property list"));
        return std::nullopt;
    }
    if (bytes.size() > std::numeric_limits<int32_t>::max()) {
        setError(error, QStringLiteral("property list too large"));
        return std::nullopt;
    }
    if (!stringsHaveNoZero(bytes)) {
        setError(error, QStringLiteral("property list with a zero character in a string, or "
                                       "with object tables that do not hold together"));
        return std::nullopt;
    }
    plist_t root = nullptr;
    const bool binary = bytes.startsWith("bplist00");
    if (binary) {
        // The smallest complete binary property list is the header, one
        // object and the 32-byte trailer.
        if (bytes.size() < 8 + 1 + 32) {
            setError(error, QStringLiteral("truncated binary property list"));
            return std::nullopt;
        }
        plist_from_bin(bytes.constData(), uint32_t(bytes.size()), &root);
    } else {
        plist_from_xml(bytes.constData(), uint32_t(bytes.size()), &root);
    }
    Node owner(root);
    if (!root) {
        setError(error, binary ? QStringLiteral("malformed binary property list")
                               : QStringLiteral("malformed XML property list"));
        return std::nullopt;
    }
    return toVariant(root, 0, error);
}

std::optional<QVariant> readFile(const QString& path, QString* error) {
    const std::optional<QByteArray> bytes =
        platform::readFile(path, platform::ReadLimit::kPropertyList, error);
    if (!bytes) {
        return std::nullopt;
    }
    return parse(*bytes, error);
}

std::optional<QVariantMap> readDictionary(const QString& path, QString* error) {
    auto value = readFile(path, error);
    if (!value) {
        return std::nullopt;
    }
    if (value->metaType().id() != QMetaType::QVariantMap) {
        setError(error, QStringLiteral("%1: not a dictionary").arg(path));
        return std::nullopt;
    }
    return value->toMap();
}

std::optional<QVariantList> readArray(const QString& path, QString* error) {
    auto value = readFile(path, error);
    if (!value) {
        return std::nullopt;
    }
    if (value->metaType().id() != QMetaType::QVariantList) {
        setError(error, QStringLiteral("%1: not an array").arg(path));
        return std::nullopt;
    }
    return value->toList();
}

QByteArray serialize(const QVariant& value, Format format, QString* error) {
    Node root(fromVariant(value, 0, error));
    if (!root) {
        return {};
    }
    char* out = nullptr;
    uint32_t length = 0;
    QByteArray bytes;
    if (format == Format::Binary) {
        plist_to_bin(static_cast<plist_t>(root.get()), &out, &length);
        bytes = QByteArray(out, qsizetype(length));
        plist_to_bin_free(out);
    } else {
        plist_to_xml(static_cast<plist_t>(root.get()), &out, &length);
        bytes = QByteArray(out, qsizetype(length));
        plist_to_xml_free(out);
    }
    if (bytes.isEmpty()) {
        setError(error, QStringLiteral("the property list could not be serialised"));
    }
    return bytes;
}

bool writeFile(const QString& path, const QVariant& value, Format format, QString* error) {
    const QByteArray bytes = serialize(value, format, error);
    if (bytes.isEmpty()) {
        return false;
    }
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        setError(error, QStringLiteral("%1: cannot create the folder").arg(info.absolutePath()));
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setError(error, QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        setError(error, QStringLiteral("%1: %2").arg(path, file.errorString()));
        file.cancelWriting();
        return false;
    }
    return true;
}

}  // namespace platform::Plist
