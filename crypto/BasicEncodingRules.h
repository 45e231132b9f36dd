#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

// A small ASN.1 BER codec with one-byte tags.
//
// Plain values are QVariants:
//   QString        UTF8String  (tag 0x0C)
//   QByteArray     INTEGER     (tag 0x02; the bytes as they are)
//   QVariantList   SEQUENCE    (tag 0x30, constructed)
//   null QVariant  NULL        (05 00)
//   BerObjectPtr   the wrapper's own tag
// Anything else raises BerException("Invalid BER translation").
//
// Lengths below 128 take one byte; longer ones 0x80 + n and n bytes, most
// significant first (the indefinite form is never written). The encoder
// refuses contents of 2^32 bytes or more.
//
// Decoding yields tagged wrappers (berParse) or plain values (berDecode). It
// rejects unsupported tags and any length running past its enclosing element
// or the buffer with BerException("Invalid BER translation"); it never reads
// outside the buffer. This codec is the only part of the crypto library that
// raises; callers catch BerException.
namespace zq::crypto {

inline constexpr char kBerInvalidTranslation[] = "Invalid BER translation";
inline constexpr char kBerUnimplementedForType[] = "unimplemented for this type";
inline constexpr char kBerInvalidLengthValue[] = "Invalid length value";

class BerException : public std::exception {
public:
    BerException(QString name, QString reason);
    const QString& name() const { return _name; }
    const QString& reason() const { return _reason; }
    const char* what() const noexcept override { return _what.constData(); }

private:
    QString _name;
    QString _reason;
    QByteArray _what;
};

class BerTaggedObject;
class BERVisitor;
using BerObjectPtr = std::shared_ptr<BerTaggedObject>;

enum class BerStringEncoding { Utf8, Ascii };

// ---- Encoding of plain values ------------------------------------------------

QByteArray berData(const QVariant& value);      // header then contents
QByteArray berHeader(const QVariant& value);    // tag byte and length field
QByteArray berContents(const QVariant& value);  // contents only
std::uint8_t berTag(const QVariant& value);
std::uint64_t berContentsLengthBytes(const QVariant& value);
std::uint64_t berLengthBytes(const QVariant& value);  // total encoded length
// Byte count n of a long length field (0 for length 0).
int lengthBytesLog8(std::uint64_t length);
// The length field for a contents length.
QByteArray lengthStorageData(std::uint64_t length);
// The single byte 00.
QByteArray zeroByteData();
// A string's encoding with its contents in the given text encoding (ASCII
// replaces characters outside it with "?").
QByteArray berDataUsingEncoding(const QString& text, BerStringEncoding encoding);
std::uint64_t berContentsLengthBytesUsingEncoding(const QString& text, BerStringEncoding encoding);

// ---- Decoding ----------------------------------------------------------------

// The tagged wrapper tree of the element at the start of `data`.
BerObjectPtr berParse(QByteArrayView data);
// The same tree unwrapped into plain values (QVariantList, QByteArray, QString).
QVariant berDecode(QByteArrayView data);

// The name of a tag byte ("INTEGER", "SEQ_CONSTR", "A0", "UNKNOWN", ...).
QString berTagDescription(std::uint8_t tag);

// ---- Tagged wrappers ---------------------------------------------------------

class BerTaggedObject {
public:
    BerTaggedObject() = default;
    BerTaggedObject(std::uint8_t tag, QVariant value);
    virtual ~BerTaggedObject() = default;

    std::uint8_t berTagValue = 0;
    // The wrapped value (QVariantList, QByteArray or QString); null when the
    // wrapper has none.
    QVariant obj;
    // Positions of the element in the decoded buffer: first and last byte.
    std::size_t start = 0;
    std::size_t end = 0;

    bool hasValue() const { return obj.isValid(); }
    QByteArray berData() const;
    virtual QByteArray berContents() const;
    QString tagDescription() const { return berTagDescription(berTagValue); }

    // The plain value: collections unwrap their elements recursively.
    virtual QVariant unwrapped() const;
    virtual QString description() const;
    virtual bool isEqual(const BerTaggedObject& other) const;
};

class BerTaggedCollection : public BerTaggedObject {
public:
    explicit BerTaggedCollection(std::uint8_t tag, QVariantList elements = {});
    void addObject(const QVariant& element);
    QVariant objectAtIndex(qsizetype index) const;
    qsizetype count() const;
    QByteArray berContents() const override;
    QVariant unwrapped() const override;
};

class BerTaggedData : public BerTaggedObject {
public:
    BerTaggedData(std::uint8_t tag, QByteArray data);
};

// Contents are ASCII for tag 22 (IA5String), UTF-8 otherwise.
class BerTaggedString : public BerTaggedObject {
public:
    BerTaggedString(std::uint8_t tag, QString string);
    QByteArray berContents() const override;
    QString description() const override;
};

// Equality of plain values and wrappers: tags and wrapped values.
bool berEqual(const QVariant& a, const QVariant& b);
// The description of a plain value or a wrapper, as the print visitor and
// description() show it.
QString berValueDescription(const QVariant& value);

// ---- Visitors ----------------------------------------------------------------

class BERVisitor {
public:
    virtual ~BERVisitor() = default;
    virtual void visitBERLeafNode(const QVariant& node);
    virtual void visitBERInteriorNode(const QVariant& node);
};

// Calls visitBERInteriorNode for QVariantLists and tagged collections,
// visitBERLeafNode for everything else.
void acceptBERVisitor(const QVariant& node, BERVisitor& visitor);

// Prints a tree: four spaces per indent level, "TAG value" for leaves (byte
// buffers in upper-case hex, long values broken every 80 characters), and
// "TAG ( a, b )" for collections, one element per line when their contents
// exceed 20 bytes.
class BERPrintVisitor : public BERVisitor {
public:
    unsigned indentLevel = 0;
    bool isIndenting = true;
    QString string;

    void visitBERLeafNode(const QVariant& node) override;
    void visitBERInteriorNode(const QVariant& node) override;

private:
    void indent();
};

}  // namespace zq::crypto

Q_DECLARE_METATYPE(zq::crypto::BerObjectPtr)
