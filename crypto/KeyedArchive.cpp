#include "crypto/KeyedArchive.h"

#include "crypto/PlistValue_p.h"

#include <QDateTime>
#include <QHash>
#include <QMetaType>
#include <QSet>

#include <limits>

namespace zq::crypto::KeyedArchive {

using detail::PlistPtr;

namespace {

constexpr char kArchiverName[] = "NSKeyedArchiver";
constexpr uint64_t kArchiveVersion = 100000;
constexpr int kMaxDepth = 512;

// ---- Writing -------------------------------------------------------------

class Writer {
public:
    Writer() : _objects(plist_new_array()) {
        plist_array_append_item(_objects, plist_new_string("$null"));
    }
    ~Writer() {
        if (_objects != nullptr) {
            plist_free(_objects);
        }
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Appends `value` (and everything it holds) to the object table and
    // returns its UID; 0 with a message in _error when it cannot be archived.
    uint64_t encode(const QVariant& value, int depth) {
        if (depth > kMaxDepth) {
            return fail(QStringLiteral("value nested too deeply"));
        }
        switch (value.metaType().id()) {
            case QMetaType::QVariantMap:
                return encodeMap(value.toMap(), depth);
            case QMetaType::QVariantHash: {
                const QVariantHash hash = value.toHash();
                QVariantMap map;
                for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
                    map.insert(it.key(), it.value());
                }
                return encodeMap(map, depth);
            }
            case QMetaType::QVariantList:
            case QMetaType::QStringList:
                return encodeList(value.toList(), depth);
            case QMetaType::QString:
                return encodeString(value.toString());
            case QMetaType::Bool:
                return append(plist_new_bool(value.toBool() ? 1 : 0));
            case QMetaType::Int:
            case QMetaType::Long:
            case QMetaType::LongLong:
            case QMetaType::Short:
            case QMetaType::SChar:
                return append(plist_new_uint(static_cast<uint64_t>(value.toLongLong())));
            case QMetaType::UInt:
            case QMetaType::ULong:
            case QMetaType::ULongLong:
            case QMetaType::UShort:
            case QMetaType::UChar: {
                const qulonglong number = value.toULongLong();
                if (number > static_cast<qulonglong>(std::numeric_limits<qint64>::max())) {
                    return fail(QStringLiteral("unsigned integer beyond the signed 64-bit range"));
                }
                return append(plist_new_uint(number));
            }
            case QMetaType::Double:
            case QMetaType::Float:
                return append(plist_new_real(value.toDouble()));
            case QMetaType::QByteArray: {
                const QByteArray bytes = value.toByteArray();
                return append(
                    plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size())));
            }
            case QMetaType::QDateTime:
                return encodeDate(value.toDateTime());
            default:
                break;
        }
        return fail(QStringLiteral("a value of type %1 has no archived form")
                        .arg(QString::fromLatin1(value.metaType().name() != nullptr
                                                     ? value.metaType().name()
                                                     : "null")));
    }

    PlistPtr finish(uint64_t root) {
        plist_t top = plist_new_dict();
        plist_dict_set_item(top, "root", plist_new_uid(root));
        plist_t archive = plist_new_dict();
        plist_dict_set_item(archive, "$version", plist_new_uint(kArchiveVersion));
        plist_dict_set_item(archive, "$archiver", plist_new_string(kArchiverName));
        plist_dict_set_item(archive, "$top", top);
        plist_dict_set_item(archive, "$objects", _objects);
        _objects = nullptr;
        return PlistPtr(archive);
    }

    const QString& error() const { return _error; }

private:
    uint64_t fail(const QString& message) {
        if (_error.isEmpty()) {
            _error = message;
        }
        return 0;
    }

    uint64_t append(plist_t node) {
        plist_array_append_item(_objects, node);
        return plist_array_get_size(_objects) - 1;
    }

    uint64_t reserve() { return append(plist_new_string("$null")); }

    void replace(uint64_t uid, plist_t node) {
        plist_array_set_item(_objects, node, static_cast<uint32_t>(uid));
    }

    uint64_t encodeString(const QString& text) {
        if (text.contains(QChar(u'\0'))) {
            return fail(QStringLiteral("strings holding a zero character have no archived form"));
        }
        // Equal strings share one entry of the object table.
        const auto found = _strings.constFind(text);
        if (found != _strings.constEnd()) {
            return *found;
        }
        const uint64_t uid = append(plist_new_string(text.toUtf8().constData()));
        _strings.insert(text, uid);
        return uid;
    }

    uint64_t classUid(const QStringList& hierarchy) {
        const QString name = hierarchy.first();
        const auto found = _classes.constFind(name);
        if (found != _classes.constEnd()) {
            return *found;
        }
        plist_t classes = plist_new_array();
        for (const QString& cls : hierarchy) {
            plist_array_append_item(classes, plist_new_string(cls.toUtf8().constData()));
        }
        plist_t description = plist_new_dict();
        plist_dict_set_item(description, "$classname", plist_new_string(name.toUtf8().constData()));
        plist_dict_set_item(description, "$classes", classes);
        const uint64_t uid = append(description);
        _classes.insert(name, uid);
        return uid;
    }

    uint64_t encodeMap(const QVariantMap& map, int depth) {
        const uint64_t self = reserve();
        plist_t keys = plist_new_array();
        plist_t objects = plist_new_array();
        PlistPtr keysOwner(keys);
        PlistPtr objectsOwner(objects);
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            const uint64_t key = encodeString(it.key());
            if (!_error.isEmpty()) {
                return 0;
            }
            plist_array_append_item(keys, plist_new_uid(key));
        }
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!it.value().isValid() || it.value().metaType().id() == QMetaType::Nullptr) {
                return fail(QStringLiteral("dictionary value for \"%1\" is null").arg(it.key()));
            }
            const uint64_t object = encode(it.value(), depth + 1);
            if (!_error.isEmpty()) {
                return 0;
            }
            plist_array_append_item(objects, plist_new_uid(object));
        }
        plist_t node = plist_new_dict();
        plist_dict_set_item(node, "NS.keys", keysOwner.release());
        plist_dict_set_item(node, "NS.objects", objectsOwner.release());
        plist_dict_set_item(
            node, "$class",
            plist_new_uid(classUid({QStringLiteral("NSMutableDictionary"),
                                    QStringLiteral("NSDictionary"), QStringLiteral("NSObject")})));
        replace(self, node);
        return self;
    }

    uint64_t encodeList(const QVariantList& list, int depth) {
        const uint64_t self = reserve();
        plist_t objects = plist_new_array();
        PlistPtr objectsOwner(objects);
        for (const QVariant& element : list) {
            if (!element.isValid()) {
                return fail(QStringLiteral("array element is null"));
            }
            const uint64_t object = encode(element, depth + 1);
            if (!_error.isEmpty()) {
                return 0;
            }
            plist_array_append_item(objects, plist_new_uid(object));
        }
        plist_t node = plist_new_dict();
        plist_dict_set_item(node, "NS.objects", objectsOwner.release());
        plist_dict_set_item(
            node, "$class",
            plist_new_uid(classUid({QStringLiteral("NSMutableArray"), QStringLiteral("NSArray"),
                                    QStringLiteral("NSObject")})));
        replace(self, node);
        return self;
    }

    uint64_t encodeDate(const QDateTime& date) {
        if (!date.isValid()) {
            return fail(QStringLiteral("invalid date"));
        }
        const uint64_t self = reserve();
        plist_t node = plist_new_dict();
        plist_dict_set_item(node, "NS.time",
                            plist_new_real(detail::referenceSecondsFromDate(date)));
        plist_dict_set_item(
            node, "$class",
            plist_new_uid(classUid({QStringLiteral("NSDate"), QStringLiteral("NSObject")})));
        replace(self, node);
        return self;
    }

    plist_t _objects;
    QHash<QString, uint64_t> _strings;
    QHash<QString, uint64_t> _classes;
    QString _error;
};

// ---- Reading -------------------------------------------------------------

enum class ClassKind { Dictionary, Array, String, Data, Date, Unknown };

ClassKind classKind(const QString& name) {
    if (name == u"NSDictionary" || name == u"NSMutableDictionary") {
        return ClassKind::Dictionary;
    }
    if (name == u"NSArray" || name == u"NSMutableArray") {
        return ClassKind::Array;
    }
    if (name == u"NSString" || name == u"NSMutableString") {
        return ClassKind::String;
    }
    if (name == u"NSData" || name == u"NSMutableData") {
        return ClassKind::Data;
    }
    if (name == u"NSDate") {
        return ClassKind::Date;
    }
    return ClassKind::Unknown;
}

// A UID: a binary UID node, or the XML form {"CF$UID": n}.
std::optional<uint64_t> uidOf(plist_t node) {
    if (node == nullptr) {
        return std::nullopt;
    }
    if (plist_get_node_type(node) == PLIST_UID) {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return value;
    }
    if (plist_get_node_type(node) == PLIST_DICT && plist_dict_get_size(node) == 1) {
        const auto value = detail::integerValue(plist_dict_get_item(node, "CF$UID"));
        if (value && *value >= 0) {
            return static_cast<uint64_t>(*value);
        }
    }
    return std::nullopt;
}

class Reader {
public:
    Reader(plist_t objects, AllowedClasses allowed) : _objects(objects), _allowed(allowed) {
        _count = plist_array_get_size(objects);
    }

    std::optional<QVariant> decode(uint64_t uid, int depth) {
        if (depth > kMaxDepth) {
            return fail(QStringLiteral("archive nested too deeply"));
        }
        if (uid == 0) {
            return fail(QStringLiteral("reference to $null where an object is required"));
        }
        if (uid >= _count) {
            return fail(QStringLiteral("reference %1 outside the object table").arg(uid));
        }
        const auto cached = _decoded.constFind(uid);
        if (cached != _decoded.constEnd()) {
            return *cached;
        }
        if (_inProgress.contains(uid)) {
            return fail(QStringLiteral("reference cycle through object %1").arg(uid));
        }
        _inProgress.insert(uid);
        std::optional<QVariant> value =
            decodeNode(plist_array_get_item(_objects, static_cast<uint32_t>(uid)), depth);
        _inProgress.remove(uid);
        if (value) {
            _decoded.insert(uid, *value);
        }
        return value;
    }

    const QString& error() const { return _error; }

private:
    std::nullopt_t fail(const QString& message) {
        if (_error.isEmpty()) {
            _error = message;
        }
        return std::nullopt;
    }

    bool restricted() const { return _allowed == AllowedClasses::DictionariesStringsNumbers; }

    std::optional<QVariant> decodeNode(plist_t node, int depth) {
        switch (plist_get_node_type(node)) {
            case PLIST_STRING:
                return QVariant(detail::stringValue(node));
            case PLIST_UINT:
                return QVariant(*detail::integerValue(node));
            case PLIST_REAL: {
                double value = 0;
                plist_get_real_val(node, &value);
                return QVariant(value);
            }
            case PLIST_BOOLEAN: {
                uint8_t value = 0;
                plist_get_bool_val(node, &value);
                return QVariant(value != 0);
            }
            case PLIST_DATA: {
                if (restricted()) {
                    return fail(QStringLiteral("data is not an allowed class"));
                }
                uint64_t length = 0;
                const char* bytes = plist_get_data_ptr(node, &length);
                return QVariant(
                    QByteArray(bytes != nullptr ? bytes : "", static_cast<qsizetype>(length)));
            }
            case PLIST_DICT:
                return decodeObject(node, depth);
            default:
                break;
        }
        return fail(QStringLiteral("object table entry of an unexpected kind"));
    }

    std::optional<QString> className(plist_t object) {
        const auto classRef = uidOf(plist_dict_get_item(object, "$class"));
        if (!classRef || *classRef == 0 || *classRef >= _count) {
            return std::nullopt;
        }
        plist_t description = plist_array_get_item(_objects, static_cast<uint32_t>(*classRef));
        if (plist_get_node_type(description) != PLIST_DICT) {
            return std::nullopt;
        }
        plist_t name = plist_dict_get_item(description, "$classname");
        if (name == nullptr || plist_get_node_type(name) != PLIST_STRING) {
            return std::nullopt;
        }
        return detail::stringValue(name);
    }

    // The UIDs held by an array-valued field; nullopt when it is not one.
    std::optional<QList<uint64_t>> uidArray(plist_t object, const char* key) {
        plist_t array = plist_dict_get_item(object, key);
        if (array == nullptr || plist_get_node_type(array) != PLIST_ARRAY) {
            return std::nullopt;
        }
        QList<uint64_t> uids;
        const uint32_t count = plist_array_get_size(array);
        uids.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            const auto uid = uidOf(plist_array_get_item(array, i));
            if (!uid) {
                return std::nullopt;
            }
            uids.append(*uid);
        }
        return uids;
    }

    std::optional<QVariant> decodeObject(plist_t object, int depth) {
        const auto name = className(object);
        if (!name) {
            return fail(QStringLiteral("object without a class description"));
        }
        switch (classKind(*name)) {
            case ClassKind::Dictionary:
                return decodeDictionary(object, depth);
            case ClassKind::String: {
                plist_t text = plist_dict_get_item(object, "NS.string");
                if (text == nullptr || plist_get_node_type(text) != PLIST_STRING) {
                    return fail(QStringLiteral("%1 without NS.string").arg(*name));
                }
                return QVariant(detail::stringValue(text));
            }
            case ClassKind::Array:
            case ClassKind::Data:
            case ClassKind::Date:
                if (restricted()) {
                    return fail(QStringLiteral("%1 is not an allowed class").arg(*name));
                }
                break;
            case ClassKind::Unknown:
                return fail(QStringLiteral("class %1 is not supported").arg(*name));
        }
        switch (classKind(*name)) {
            case ClassKind::Array: {
                const auto uids = uidArray(object, "NS.objects");
                if (!uids) {
                    return fail(QStringLiteral("%1 without NS.objects").arg(*name));
                }
                QVariantList list;
                list.reserve(uids->size());
                for (uint64_t uid : *uids) {
                    auto element = decode(uid, depth + 1);
                    if (!element) {
                        return std::nullopt;
                    }
                    list.append(*element);
                }
                return QVariant(list);
            }
            case ClassKind::Data: {
                plist_t bytes = plist_dict_get_item(object, "NS.bytes");
                if (bytes == nullptr) {
                    bytes = plist_dict_get_item(object, "NS.data");
                }
                if (bytes == nullptr || plist_get_node_type(bytes) != PLIST_DATA) {
                    return fail(QStringLiteral("%1 without its bytes").arg(*name));
                }
                uint64_t length = 0;
                const char* data = plist_get_data_ptr(bytes, &length);
                return QVariant(
                    QByteArray(data != nullptr ? data : "", static_cast<qsizetype>(length)));
            }
            case ClassKind::Date: {
                plist_t time = plist_dict_get_item(object, "NS.time");
                double seconds = 0;
                if (time != nullptr && plist_get_node_type(time) == PLIST_REAL) {
                    plist_get_real_val(time, &seconds);
                } else if (const auto whole = detail::integerValue(time)) {
                    seconds = double(*whole);
                } else {
                    return fail(QStringLiteral("NSDate without NS.time"));
                }
                return QVariant(detail::dateFromReferenceSeconds(seconds));
            }
            default:
                break;
        }
        return fail(QStringLiteral("class %1 is not supported").arg(*name));
    }

    std::optional<QVariant> decodeDictionary(plist_t object, int depth) {
        QList<uint64_t> keys;
        QList<uint64_t> values;
        if (plist_dict_get_item(object, "NS.keys") != nullptr ||
            plist_dict_get_item(object, "NS.objects") != nullptr) {
            const auto keyUids = uidArray(object, "NS.keys");
            const auto valueUids = uidArray(object, "NS.objects");
            if (!keyUids || !valueUids || keyUids->size() != valueUids->size()) {
                return fail(QStringLiteral("dictionary with mismatched NS.keys and NS.objects"));
            }
            keys = *keyUids;
            values = *valueUids;
        } else {
            // The older form: NS.key.0, NS.object.0, NS.key.1, ...
            for (uint32_t i = 0;; ++i) {
                const QByteArray keyName = "NS.key." + QByteArray::number(i);
                const QByteArray objectName = "NS.object." + QByteArray::number(i);
                plist_t keyNode = plist_dict_get_item(object, keyName.constData());
                plist_t objectNode = plist_dict_get_item(object, objectName.constData());
                if (keyNode == nullptr && objectNode == nullptr) {
                    break;
                }
                const auto key = uidOf(keyNode);
                const auto value = uidOf(objectNode);
                if (!key || !value) {
                    return fail(QStringLiteral("dictionary with an unpaired NS.key.%1").arg(i));
                }
                keys.append(*key);
                values.append(*value);
            }
        }
        QVariantMap map;
        for (qsizetype i = 0; i < keys.size(); ++i) {
            auto key = decode(keys[i], depth + 1);
            if (!key) {
                return std::nullopt;
            }
            if (key->metaType().id() != QMetaType::QString) {
                return fail(QStringLiteral("dictionary key that is not a string"));
            }
            auto value = decode(values[i], depth + 1);
            if (!value) {
                return std::nullopt;
            }
            map.insert(key->toString(), *value);
        }
        return QVariant(map);
    }

    plist_t _objects;
    AllowedClasses _allowed;
    uint32_t _count = 0;
    QHash<uint64_t, QVariant> _decoded;
    QSet<uint64_t> _inProgress;
    QString _error;
};

}  // namespace

QByteArray archive(const QVariant& root, QString* error) {
    Writer writer;
    const uint64_t uid = root.isValid() ? writer.encode(root, 0) : 0;
    if (!root.isValid() || !writer.error().isEmpty()) {
        if (error != nullptr) {
            *error = root.isValid() ? writer.error() : QStringLiteral("nothing to archive");
        }
        return {};
    }
    PlistPtr archive = writer.finish(uid);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(archive.get(), &bytes, &length);
    if (bytes == nullptr || length == 0) {
        if (error != nullptr) {
            *error = QStringLiteral("the property-list writer failed");
        }
        free(bytes);
        return {};
    }
    QByteArray result(bytes, static_cast<qsizetype>(length));
    free(bytes);
    return result;
}

std::optional<QVariant> unarchive(const QByteArray& bytes, AllowedClasses allowed, QString* error) {
    return unarchiveTopObject(bytes, QStringLiteral("root"), allowed, error);
}

std::optional<QVariant> unarchiveTopObject(const QByteArray& bytes, const QString& topKey,
                                           AllowedClasses allowed, QString* error) {
    auto failWith = [error](const QString& message) -> std::optional<QVariant> {
        if (error != nullptr) {
            *error = message;
        }
        return std::nullopt;
    };
    PlistPtr root = detail::parsePlist(bytes);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) {
        return failWith(QStringLiteral("not a property-list dictionary"));
    }
    plist_t archiver = plist_dict_get_item(root.get(), "$archiver");
    if (archiver == nullptr || plist_get_node_type(archiver) != PLIST_STRING ||
        detail::stringValue(archiver) != QLatin1String(kArchiverName)) {
        return failWith(QStringLiteral("not a keyed archive ($archiver)"));
    }
    plist_t objects = plist_dict_get_item(root.get(), "$objects");
    plist_t top = plist_dict_get_item(root.get(), "$top");
    if (objects == nullptr || plist_get_node_type(objects) != PLIST_ARRAY || top == nullptr ||
        plist_get_node_type(top) != PLIST_DICT) {
        return failWith(QStringLiteral("keyed archive without $objects or $top"));
    }
    const auto rootUid = uidOf(plist_dict_get_item(top, topKey.toUtf8().constData()));
    if (!rootUid) {
        return failWith(
            QStringLiteral("keyed archive without a top-level \"%1\" object").arg(topKey));
    }
    Reader reader(objects, allowed);
    auto value = reader.decode(*rootUid, 0);
    if (!value) {
        return failWith(reader.error());
    }
    return value;
}

}  // namespace zq::crypto::KeyedArchive
