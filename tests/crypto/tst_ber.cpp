// The BER codec: encodings with short and long lengths, the decoder's tag
// dispatch and bounds, tag names, wrappers and the print visitor.

#include "crypto/BasicEncodingRules.h"

#include <QTest>

using namespace zq::crypto;

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

// The name (or with `reason`, the reason) of the exception `call` raises.
QString raisedName(const std::function<void()>& call, bool reason = false) {
    try {
        call();
    } catch (const BerException& e) {
        return reason ? e.reason() : e.name();
    }
    return QStringLiteral("<nothing raised>");
}

}  // namespace

class TestBer : public QObject {
    Q_OBJECT

private slots:
    void encode_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("array of two integers") << QVariant(QVariantList{hex("00C3"), hex("010001")})
                                               << hex("30090202"
                                                      "00C30203"
                                                      "010001");
        QTest::newRow("null") << QVariant() << hex("0500");
        QTest::newRow("UTF-8 string") << QVariant(QStringLiteral("中")) << hex("0C03E4B8AD");
        QTest::newRow("empty buffer") << QVariant(QByteArray("")) << hex("0200");
        QTest::newRow("empty array") << QVariant(QVariantList()) << hex("3000");
        QTest::newRow("nested") << QVariant(
                                       QVariantList{QVariantList{QVariant()}, QStringLiteral("x")})
                                << hex("3007300205000C0178");
        // Lengths: short form up to 127, then one length byte, two from 256.
        const QByteArray b127(127, '\x11'), b128(128, '\x11'), b255(255, '\x11'), b256(256, '\x11');
        QTest::newRow("127 bytes") << QVariant(b127) << hex("027F") + b127;
        QTest::newRow("128 bytes") << QVariant(b128) << hex("028180") + b128;
        QTest::newRow("255 bytes") << QVariant(b255) << hex("0281FF") + b255;
        QTest::newRow("256 bytes") << QVariant(b256) << hex("02820100") + b256;
    }

    void encode() {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, expected);
        QCOMPARE(berData(value).toHex(), expected.toHex());
        QCOMPARE(berLengthBytes(value), std::uint64_t(expected.size()));
        QCOMPARE(berHeader(value) + berContents(value), expected);
        QCOMPARE(berTag(value), std::uint8_t(expected[0]));
    }

    void encodeRefusesOtherTypesAndHugeLengths() {
        QCOMPARE(raisedName([] { berData(QVariant(42)); }),
                 QStringLiteral("Invalid BER translation"));
        QCOMPARE(raisedName([] {
                     berData(QVariant(QVariantList{QStringLiteral("ok"), 3.5}));
                 }),
                 QStringLiteral("Invalid BER translation"));
        QCOMPARE(raisedName([] { berTag(QVariant(true)); }, true),
                 QStringLiteral("unimplemented for this type"));
        const auto huge = [] { lengthStorageData(std::uint64_t(1) << 32); };
        QCOMPARE(raisedName(huge), QStringLiteral("Invalid length value"));
        QCOMPARE(raisedName(huge, true),
                 QStringLiteral("length storage greater than 4 bytes is invalid"));
        QCOMPARE(lengthStorageData(0xFFFFFFFFu).toHex(), QByteArray("84ffffffff"));
    }

    void stringEncodings() {
        const QString text = QStringLiteral("aé中");
        QCOMPARE(berDataUsingEncoding(text, BerStringEncoding::Utf8), berData(text));
        QCOMPARE(berDataUsingEncoding(text, BerStringEncoding::Ascii).toHex(),
                 QByteArray("0c03613f3f"));
        QCOMPARE(berContentsLengthBytesUsingEncoding(text, BerStringEncoding::Utf8),
                 std::uint64_t(6));
        QCOMPARE(berContentsLengthBytesUsingEncoding(text, BerStringEncoding::Ascii),
                 std::uint64_t(3));
        // A tagged IA5 string writes ASCII, any other tag UTF-8.
        QCOMPARE(BerTaggedString(22, text).berData().toHex(), QByteArray("1603613f3f"));
        QCOMPARE(BerTaggedString(19, text).berData().toHex(), QByteArray("130661c3a9e4b8ad"));
    }

    void decode_data() {
        QTest::addColumn<QByteArray>("encoded");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("null") << hex("0500") << QVariant(QByteArray(""));
        QTest::newRow("relative OID") << hex("0D0101") << QVariant(hex("01"));
        QTest::newRow("BMP string tag, UTF-8 contents")
            << hex("1E03E4B8AD") << QVariant(QStringLiteral("中"));
        QTest::newRow("context tag A0") << hex("A003020105") << QVariant(QVariantList{hex("05")});
        QTest::newRow("nested with long length")
            << hex("308180") + hex("0481") + QByteArray(1, char(125)) + QByteArray(125, 'z')
            << QVariant(QVariantList{QByteArray(125, 'z')});
        // 0x80 counts as the length 128, not as the indefinite form.
        QTest::newRow("length byte 0x80")
            << hex("0480") + QByteArray(128, 'a') << QVariant(QByteArray(128, 'a'));
        QTest::newRow("two length bytes")
            << hex("0482012C") + QByteArray(300, 'q') << QVariant(QByteArray(300, 'q'));
        QTest::newRow("trailing bytes after the element are ignored")
            << hex("020101FFFF") << QVariant(hex("01"));
    }

    void decode() {
        QFETCH(QByteArray, encoded);
        QFETCH(QVariant, expected);
        QCOMPARE(berDecode(encoded), expected);
    }

    void parsePositions() {
        const BerObjectPtr parsed = berParse(hex("3003020105"));
        QCOMPARE(parsed->berTagValue, std::uint8_t(48));
        QCOMPARE(parsed->start, std::size_t(0));
        QCOMPARE(parsed->end, std::size_t(4));
        auto* collection = dynamic_cast<BerTaggedCollection*>(parsed.get());
        QVERIFY(collection);
        QCOMPARE(collection->count(), 1);
        const BerObjectPtr child = collection->objectAtIndex(0).value<BerObjectPtr>();
        QCOMPARE(child->berTagValue, std::uint8_t(2));
        QCOMPARE(child->start, std::size_t(2));
        QCOMPARE(child->end, std::size_t(4));
        QCOMPARE(child->obj, QVariant(hex("05")));
        QVERIFY(dynamic_cast<BerTaggedData*>(child.get()));
        QVERIFY(!collection->objectAtIndex(5).isValid());
        // The wrappers encode back to the same bytes.
        QCOMPARE(parsed->berData(), hex("3003020105"));
        QCOMPARE(berData(QVariant::fromValue(parsed)), hex("3003020105"));
    }

    void decodeRejects_data() {
        QTest::addColumn<QByteArray>("encoded");
        QTest::newRow("UTF8String tag 12 is not decoded") << hex("0C0141");
        QTest::newRow("tag 8") << hex("080100");
        QTest::newRow("tag 50") << hex("3200");
        QTest::newRow("tag 161") << hex("A100");
        QTest::newRow("empty buffer") << QByteArray();
        QTest::newRow("tag without length") << hex("02");
        QTest::newRow("length past the end") << hex("020501");
        QTest::newRow("length 0x80 past the end") << hex("0480") + QByteArray(127, 'a');
        QTest::newRow("length bytes missing") << hex("028401");
        QTest::newRow("nine length bytes") << hex("0289000000000000000001");
        QTest::newRow("huge length") << hex("0288FFFFFFFFFFFFFFFF00");
        QTest::newRow("child past its parent") << hex("30030204010203040506");
        QTest::newRow("deep nesting") << QByteArray(600, '\x30').replace(1, 1, "");
    }

    void decodeRejects() {
        QFETCH(QByteArray, encoded);
        // Decode from a copy of exactly this size, so that any read past the
        // end is caught by the sanitizers.
        const QByteArray exact(encoded.constData(), encoded.size());
        QCOMPARE(raisedName([&] { berParse(exact); }), QStringLiteral("Invalid BER translation"));
        QCOMPARE(raisedName([&] { berDecode(exact); }), QStringLiteral("Invalid BER translation"));
    }

    void tagNames() {
        QCOMPARE(berTagDescription(31), QStringLiteral("USE_LONG_FORM"));
        QCOMPARE(berTagDescription(32), QStringLiteral("UNKNOWN"));
        QCOMPARE(berTagDescription(49), QStringLiteral("SET_CONSTR"));
        QCOMPARE(berTagDescription(50), QStringLiteral("UNKNOWN"));
        QCOMPARE(berTagDescription(160), QStringLiteral("A0"));
    }

    void wrappers() {
        BerTaggedData a(4, hex("0102"));
        BerTaggedData b(4, hex("0102"));
        BerTaggedData c(2, hex("0102"));
        QVERIFY(a.isEqual(b));
        QVERIFY(!a.isEqual(c));
        QCOMPARE(a.description(), QStringLiteral("<OCTET_STR <0102>>"));
        BerTaggedString s(19, QStringLiteral("text"));
        QCOMPARE(s.description(), QStringLiteral("PRINTABLE_STR\"text\""));
        BerTaggedObject empty;
        empty.berTagValue = 5;
        QCOMPARE(empty.description(), QStringLiteral("NULL"));
        QCOMPARE(empty.berData(), hex("0500"));
        BerTaggedCollection collection(48);
        collection.addObject(
            QVariant::fromValue(BerObjectPtr(std::make_shared<BerTaggedData>(2, hex("05")))));
        collection.addObject(QVariant(hex("06")));
        QCOMPARE(collection.berData(), hex("3006020105020106"));
        QCOMPARE(collection.unwrapped(), QVariant(QVariantList{hex("05"), hex("06")}));
        const BerObjectPtr parsed = berParse(hex("3006020105020106"));
        QVERIFY(!parsed->isEqual(collection));  // a plain element is not a wrapper
        QVERIFY(parsed->isEqual(*berParse(collection.berData())));
    }

    void printVisitor() {
        BERPrintVisitor flat;
        acceptBERVisitor(QVariant::fromValue(berParse(hex("3006020105020106"))), flat);
        QCOMPARE(flat.string, QStringLiteral("SEQ_CONSTR ( INTEGER 05, INTEGER 06 )"));
        QCOMPARE(flat.indentLevel, 0u);
        QVERIFY(flat.isIndenting);
        // Contents of more than 20 bytes: one element per line, indented. A short
        // collection switches indenting off before it indents itself, so it
        // starts at the line's beginning.
        const QVariant value =
            QVariantList{QByteArray(12, '\x01'), QVariantList{hex("AB")}, QByteArray(8, '\x02')};
        BERPrintVisitor visitor;
        acceptBERVisitor(value, visitor);
        QCOMPARE(visitor.string, QStringLiteral("SEQ_CONSTR ( \n"
                                                "    INTEGER 010101010101010101010101\n"
                                                "SEQ_CONSTR ( INTEGER AB )\n"
                                                "    INTEGER 0202020202020202 )"));
    }
};

QTEST_GUILESS_MAIN(TestBer)
#include "tst_ber.moc"
