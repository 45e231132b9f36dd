#include "crypto/BasicEncodingRules.h"

#include <array>
#include <limits>

namespace zq::crypto {

namespace {

constexpr int kMaxDepth = 256;
// The encoder refuses contents of 2^32 bytes or more.
constexpr int kMaxLengthBytes = 4;
constexpr std::uint8_t kTagIa5String = 22;

[[noreturn]] void raiseTranslation() {
    throw BerException(QString::fromLatin1(kBerInvalidTranslation),
                       QString::fromLatin1(kBerUnimplementedForType));
}

BerObjectPtr wrapperOf(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<BerObjectPtr>()) {
        return value.value<BerObjectPtr>();
    }
    return nullptr;
}

bool isNullValue(const QVariant& value) {
    return !value.isValid() || value.metaType().id() == QMetaType::Nullptr;
}

QString hexDescription(const QByteArray& bytes) {
    static const char digits[] = "0123456789abcdef";
    QString text(QStringLiteral("<"));
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) {
            text += u' ';
        }
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text += QLatin1Char(digits[byte >> 4]);
        text += QLatin1Char(digits[byte & 0x0f]);
    }
    text += u'>';
    return text;
}

QString listDescription(const QVariantList& list, int level) {
    const QString inner(4 * (level + 1), u' ');
    QString text(QStringLiteral("("));
    for (qsizetype i = 0; i < list.size(); ++i) {
        text += i == 0 ? QStringLiteral("\n") : QStringLiteral(",\n");
        text += inner;
        const QVariant& element = list[i];
        if (element.metaType().id() == QMetaType::QVariantList) {
            text += listDescription(element.toList(), level + 1);
        } else {
            text += berValueDescription(element);
        }
    }
    text += u'\n' + QString(4 * level, u' ') + u')';
    return text;
}

// The description the print visitor shows for a leaf's contents.
QString leafContents(const QVariant& node) {
    QVariant value = node;
    if (const BerObjectPtr wrapper = wrapperOf(node)) {
        value = wrapper->obj;
    }
    if (value.metaType().id() == QMetaType::QString) {
        return value.toString();
    }
    if (value.metaType().id() == QMetaType::QByteArray) {
        return QString::fromLatin1(value.toByteArray().toHex().toUpper());
    }
    return {};
}

QVariantList collectionElements(const QVariant& node) {
    if (const BerObjectPtr wrapper = wrapperOf(node)) {
        return wrapper->obj.toList();
    }
    return node.toList();
}

bool isInterior(const QVariant& node) {
    if (const BerObjectPtr wrapper = wrapperOf(node)) {
        return dynamic_cast<const BerTaggedCollection*>(wrapper.get()) != nullptr;
    }
    return node.metaType().id() == QMetaType::QVariantList;
}

// ---- Decoding ------------------------------------------------------------

struct Decoder {
    const unsigned char* bytes;
    std::size_t size;

    // Reads the length at `pos` (the byte after the tag) within `limit`;
    // returns the contents length and moves `pos` to the first contents byte.
    std::uint64_t decodeSize(std::size_t& pos, std::size_t limit) const {
        if (pos >= limit) {
            raiseTranslation();
        }
        const unsigned lengthByte = bytes[pos++];
        if (lengthByte <= 128) {
            return lengthByte;
        }
        const unsigned count = lengthByte - 128;
        if (count > 8 || count > limit - pos) {
            raiseTranslation();
        }
        std::uint64_t length = 0;
        for (unsigned i = 0; i < count; ++i) {
            length = (length << 8) | bytes[pos++];
        }
        return length;
    }

    BerObjectPtr decode(std::size_t& pos, std::size_t limit, int depth) const {
        if (depth > kMaxDepth || pos >= limit) {
            raiseTranslation();
        }
        const std::size_t start = pos;
        const std::uint8_t tag = bytes[pos++];
        const std::uint64_t length = decodeSize(pos, limit);
        if (length > limit - pos) {
            raiseTranslation();
        }
        const std::size_t contentsEnd = pos + static_cast<std::size_t>(length);
        const auto* contents = reinterpret_cast<const char*>(bytes + pos);
        BerObjectPtr object;
        if (tag >= 18 && tag <= 30) {
            object = std::make_shared<BerTaggedString>(
                tag, QString::fromUtf8(contents, static_cast<qsizetype>(length)));
        } else if (tag <= 7 || tag == 13) {
            object = std::make_shared<BerTaggedData>(
                tag, QByteArray(contents, static_cast<qsizetype>(length)));
        } else if (tag == 16 || tag == 17 || tag == 48 || tag == 49 || tag == 160) {
            auto collection = std::make_shared<BerTaggedCollection>(tag);
            std::size_t inner = pos;
            while (inner < contentsEnd) {
                collection->addObject(QVariant::fromValue(decode(inner, contentsEnd, depth + 1)));
            }
            object = collection;
        } else {
            raiseTranslation();
        }
        object->start = start;
        object->end = contentsEnd - 1;
        pos = contentsEnd;
        return object;
    }
};

}  // namespace

BerException::BerException(QString name, QString reason)
    : _name(std::move(name)),
      _reason(std::move(reason)),
      _what((_name + QStringLiteral(": ") + _reason).toUtf8()) {}

// ---- Encoding --------------------------------------------------------------

std::uint8_t berTag(const QVariant& value) {
    if (const BerObjectPtr wrapper = wrapperOf(value)) {
        return wrapper->berTagValue;
    }
    if (isNullValue(value)) {
        return 0x05;
    }
    switch (value.metaType().id()) {
        case QMetaType::QString:
            return 0x0C;
        case QMetaType::QByteArray:
            return 0x02;
        case QMetaType::QVariantList:
            return 0x30;
        default:
            break;
    }
    raiseTranslation();
}

QByteArray berContents(const QVariant& value) {
    if (const BerObjectPtr wrapper = wrapperOf(value)) {
        return wrapper->berContents();
    }
    if (isNullValue(value)) {
        return {};
    }
    switch (value.metaType().id()) {
        case QMetaType::QString:
            return value.toString().toUtf8();
        case QMetaType::QByteArray:
            return value.toByteArray();
        case QMetaType::QVariantList: {
            QByteArray contents;
            for (const QVariant& element : value.toList()) {
                contents += berData(element);
            }
            return contents;
        }
        default:
            break;
    }
    raiseTranslation();
}

int lengthBytesLog8(std::uint64_t length) {
    int count = 0;
    while (length > 0) {
        ++count;
        length >>= 8;
    }
    return count;
}

QByteArray lengthStorageData(std::uint64_t length) {
    if (length < 128) {
        return QByteArray(1, static_cast<char>(length));
    }
    const int count = lengthBytesLog8(length);
    if (count > kMaxLengthBytes) {
        throw BerException(
            QString::fromLatin1(kBerInvalidLengthValue),
            QStringLiteral("length storage greater than %1 bytes is invalid").arg(kMaxLengthBytes));
    }
    QByteArray field(1, static_cast<char>(0x80 + count));
    for (int i = count - 1; i >= 0; --i) {
        field += static_cast<char>((length >> (8 * i)) & 0xff);
    }
    return field;
}

QByteArray zeroByteData() {
    return QByteArray(1, '\0');
}

QByteArray berHeader(const QVariant& value) {
    const std::uint8_t tag = berTag(value);
    return QByteArray(1, static_cast<char>(tag)) + lengthStorageData(berContentsLengthBytes(value));
}

QByteArray berData(const QVariant& value) {
    const std::uint8_t tag = berTag(value);
    const QByteArray contents = berContents(value);
    return QByteArray(1, static_cast<char>(tag)) +
           lengthStorageData(static_cast<std::uint64_t>(contents.size())) + contents;
}

std::uint64_t berContentsLengthBytes(const QVariant& value) {
    return static_cast<std::uint64_t>(berContents(value).size());
}

std::uint64_t berLengthBytes(const QVariant& value) {
    return static_cast<std::uint64_t>(berData(value).size());
}

QByteArray berDataUsingEncoding(const QString& text, BerStringEncoding encoding) {
    const QByteArray contents =
        encoding == BerStringEncoding::Ascii ? text.toLatin1() : text.toUtf8();
    QByteArray ascii = contents;
    if (encoding == BerStringEncoding::Ascii) {
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text[i].unicode() > 0x7f) {
                ascii[i] = '?';
            }
        }
    }
    return QByteArray(1, '\x0C') + lengthStorageData(static_cast<std::uint64_t>(ascii.size())) +
           ascii;
}

std::uint64_t berContentsLengthBytesUsingEncoding(const QString& text, BerStringEncoding encoding) {
    return static_cast<std::uint64_t>(encoding == BerStringEncoding::Ascii ? text.size()
                                                                           : text.toUtf8().size());
}

// ---- Decoding --------------------------------------------------------------

BerObjectPtr berParse(QByteArrayView data) {
    Decoder decoder{reinterpret_cast<const unsigned char*>(data.data()),
                    static_cast<std::size_t>(data.size())};
    std::size_t pos = 0;
    return decoder.decode(pos, decoder.size, 0);
}

QVariant berDecode(QByteArrayView data) {
    return berParse(data)->unwrapped();
}

QString berTagDescription(std::uint8_t tag) {
    static const std::array<const char*, 32> kNames = {
        "EOC",      "BOOL",          "INTEGER",      "BIT_STR",      "OCTET_STR", "NULL",
        "OID",      "OBJ_DESC",      "EXTERNAL",     "REAL",         "ENUM",      "EMBED_PDV",
        "UTF8_STR", "RELATIVE_OID",  "RESERVED0x0E", "RESERVED0x0F", "SEQ",       "SET",
        "NUM_STR",  "PRINTABLE_STR", "T61_STR",      "VIDTEX_STR",   "IA5_STR",   "UTCTIME",
        "GEN_TIME", "GRAPHIC_STR",   "VIS_STR",      "GEN_STR",      "UNIV_STR",  "CHAR_STR",
        "BMP_STR",  "USE_LONG_FORM"};
    if (tag < kNames.size()) {
        return QString::fromLatin1(kNames[tag]);
    }
    switch (tag) {
        case 48:
            return QStringLiteral("SEQ_CONSTR");
        case 49:
            return QStringLiteral("SET_CONSTR");
        case 160:
            return QStringLiteral("A0");
        default:
            return QStringLiteral("UNKNOWN");
    }
}

// ---- Wrappers ----------------------------------------------------------------

BerTaggedObject::BerTaggedObject(std::uint8_t tag, QVariant value)
    : berTagValue(tag), obj(std::move(value)) {}

QByteArray BerTaggedObject::berContents() const {
    if (!hasValue()) {
        return {};
    }
    return zq::crypto::berContents(obj);
}

QByteArray BerTaggedObject::berData() const {
    const QByteArray contents = berContents();
    return QByteArray(1, static_cast<char>(berTagValue)) +
           lengthStorageData(static_cast<std::uint64_t>(contents.size())) + contents;
}

QVariant BerTaggedObject::unwrapped() const {
    return obj;
}

QString BerTaggedObject::description() const {
    if (!hasValue()) {
        return tagDescription();
    }
    return QStringLiteral("<%1 %2>").arg(tagDescription(), berValueDescription(obj));
}

bool BerTaggedObject::isEqual(const BerTaggedObject& other) const {
    return berTagValue == other.berTagValue && hasValue() == other.hasValue() &&
           (!hasValue() || berEqual(obj, other.obj));
}

BerTaggedCollection::BerTaggedCollection(std::uint8_t tag, QVariantList elements)
    : BerTaggedObject(tag, QVariant(std::move(elements))) {}

void BerTaggedCollection::addObject(const QVariant& element) {
    QVariantList elements = obj.toList();
    elements.append(element);
    obj = QVariant(elements);
}

QVariant BerTaggedCollection::objectAtIndex(qsizetype index) const {
    const QVariantList elements = obj.toList();
    return index >= 0 && index < elements.size() ? elements[index] : QVariant();
}

qsizetype BerTaggedCollection::count() const {
    return obj.toList().size();
}

QByteArray BerTaggedCollection::berContents() const {
    QByteArray contents;
    for (const QVariant& element : obj.toList()) {
        contents += zq::crypto::berData(element);
    }
    return contents;
}

QVariant BerTaggedCollection::unwrapped() const {
    QVariantList plain;
    const QVariantList elements = obj.toList();
    plain.reserve(elements.size());
    for (const QVariant& element : elements) {
        const BerObjectPtr wrapper = wrapperOf(element);
        plain.append(wrapper ? wrapper->unwrapped() : element);
    }
    return QVariant(plain);
}

BerTaggedData::BerTaggedData(std::uint8_t tag, QByteArray data)
    : BerTaggedObject(tag, QVariant(std::move(data))) {}

BerTaggedString::BerTaggedString(std::uint8_t tag, QString string)
    : BerTaggedObject(tag, QVariant(std::move(string))) {}

QByteArray BerTaggedString::berContents() const {
    if (!hasValue()) {
        return {};
    }
    const QString text = obj.toString();
    if (berTagValue == kTagIa5String) {
        QByteArray ascii = text.toLatin1();
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text[i].unicode() > 0x7f) {
                ascii[i] = '?';
            }
        }
        return ascii;
    }
    return text.toUtf8();
}

QString BerTaggedString::description() const {
    if (!hasValue()) {
        return tagDescription();
    }
    return QStringLiteral("%1\"%2\"").arg(tagDescription(), obj.toString());
}

bool berEqual(const QVariant& a, const QVariant& b) {
    const BerObjectPtr wa = wrapperOf(a);
    const BerObjectPtr wb = wrapperOf(b);
    if (wa || wb) {
        return wa && wb && wa->isEqual(*wb);
    }
    if (a.metaType().id() == QMetaType::QVariantList &&
        b.metaType().id() == QMetaType::QVariantList) {
        const QVariantList la = a.toList();
        const QVariantList lb = b.toList();
        if (la.size() != lb.size()) {
            return false;
        }
        for (qsizetype i = 0; i < la.size(); ++i) {
            if (!berEqual(la[i], lb[i])) {
                return false;
            }
        }
        return true;
    }
    if (isNullValue(a) || isNullValue(b)) {
        return isNullValue(a) && isNullValue(b);
    }
    return a == b;
}

QString berValueDescription(const QVariant& value) {
    if (const BerObjectPtr wrapper = wrapperOf(value)) {
        return wrapper->description();
    }
    if (isNullValue(value)) {
        return QStringLiteral("<null>");
    }
    switch (value.metaType().id()) {
        case QMetaType::QString:
            return value.toString();
        case QMetaType::QByteArray:
            return hexDescription(value.toByteArray());
        case QMetaType::QVariantList:
            return listDescription(value.toList(), 0);
        default:
            return value.toString();
    }
}

// ---- Visitors ------------------------------------------------------------------

void BERVisitor::visitBERLeafNode(const QVariant&) {}

void BERVisitor::visitBERInteriorNode(const QVariant&) {}

void acceptBERVisitor(const QVariant& node, BERVisitor& visitor) {
    if (isInterior(node)) {
        visitor.visitBERInteriorNode(node);
    } else {
        visitor.visitBERLeafNode(node);
    }
}

void BERPrintVisitor::indent() {
    if (isIndenting) {
        string += QString(4 * static_cast<qsizetype>(indentLevel), u' ');
    }
}

void BERPrintVisitor::visitBERLeafNode(const QVariant& node) {
    const QString contents = leafContents(node);
    indent();
    string += berTagDescription(berTag(node)) + u' ';
    const bool isLong = contents.size() >= 81;
    if (isLong) {
        string += u'\n';
        ++indentLevel;
        indent();
    }
    for (qsizetype i = 0; i < contents.size(); ++i) {
        string += contents[i];
        if (i != 0 && i % 80 == 0) {
            string += u'\n';
            indent();
        }
    }
    if (contents.size() > 80) {
        --indentLevel;
    }
}

void BERPrintVisitor::visitBERInteriorNode(const QVariant& node) {
    const bool wasIndenting = isIndenting;
    QString suffix;
    QString separator;
    if (berContentsLengthBytes(node) > 20) {
        suffix = QStringLiteral("\n");
        separator = QStringLiteral("\n");
    } else {
        isIndenting = false;
        separator = QStringLiteral(", ");
    }
    indent();
    string += QStringLiteral("%1 ( %2").arg(berTagDescription(berTag(node)), suffix);
    ++indentLevel;
    const QVariantList elements = collectionElements(node);
    for (qsizetype i = 0; i < elements.size(); ++i) {
        if (i > 0) {
            string += separator;
        }
        acceptBERVisitor(elements[i], *this);
    }
    --indentLevel;
    string += QStringLiteral(" )");
    isIndenting = wasIndenting;
}

}  // namespace zq::crypto
