// Base64 (both encoders and the tolerant decoder), MD5 and CRC-32.

#include "crypto/Base64.h"
#include "crypto/CRC.h"
#include "crypto/MD5.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <zlib.h>

using namespace zq::crypto;

namespace {

unsigned long crc(unsigned long start, const QByteArray& data) {
    return zq::crypto::crc32(start, reinterpret_cast<const unsigned char*>(data.constData()),
                             std::uint32_t(data.size()));
}

const QString kMd5OfAbc = QStringLiteral("900150983cd24fb0d6963f7d28e17f72");

}  // namespace

class TestCodecs : public QObject {
    Q_OBJECT

private slots:
    void base64Rfc4648_data() {
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<QString>("encoded");
        // RFC 4648 section 10.
        QTest::newRow("f") << QByteArray("f") << "Zg==";
        QTest::newRow("fo") << QByteArray("fo") << "Zm8=";
        QTest::newRow("foo") << QByteArray("foo") << "Zm9v";
        QTest::newRow("high bytes") << QByteArray("\xff\xfe\xfd\x00\x80", 5) << "//79AIA=";
    }

    void base64Rfc4648() {
        QFETCH(QByteArray, plain);
        QFETCH(QString, encoded);
        QCOMPARE(base64EncodedString(plain), encoded);
        QCOMPARE(base64Encode(plain), encoded);
        QCOMPARE(base64EncodedStringWithWrapWidth(plain, 64), encoded);
        QCOMPARE(dataWithBase64EncodedString(encoded), plain);
        QCOMPARE(dataWithBase64EncodedBytes(encoded.toLatin1()), plain);
    }

    void base64Edges() {
        // The wrapped encoder gives nil, the second encoder "".
        QVERIFY(base64EncodedString(QByteArray()).isNull());
        QVERIFY(base64EncodedStringWithWrapWidth(QByteArray(""), 76).isNull());
        const QString empty = base64Encode(QByteArray());
        QVERIFY(!empty.isNull());
        QVERIFY(empty.isEmpty());
        QVERIFY(!Base64(QString()).isNull());
        QVERIFY(Base64(QString()).isEmpty());
        // Strings are encoded as UTF-8.
        const QString text = QString::fromUtf8("中文 and ASCII");
        QCOMPARE(Base64(text), QString::fromLatin1(text.toUtf8().toBase64()));
    }

    void base64Wrapping_data() {
        QTest::addColumn<int>("inputLength");
        QTest::addColumn<int>("wrapWidth");
        QTest::addColumn<QStringList>("lines");  // split at CR LF

        QTest::newRow("48 bytes, width 64: one full line and CR LF")
            << 48 << 64 << QStringList{"64", ""};
        QTest::newRow("49 bytes: line, CR LF, padded group")
            << 49 << 64 << QStringList{"64", "4=="};
        QTest::newRow("47 bytes: one line ending in =, no CR LF") << 47 << 64 << QStringList{"64="};
        QTest::newRow("width 6 behaves as 4") << 6 << 6 << QStringList{"4", "4", ""};
        QTest::newRow("width 3 means no wrapping") << 30 << 3 << QStringList{"40"};
    }

    // Lines are described as "<length>" optionally followed by the padding the
    // line must end with.
    void base64Wrapping() {
        QFETCH(int, inputLength);
        QFETCH(int, wrapWidth);
        QFETCH(QStringList, lines);

        QByteArray input(inputLength, Qt::Uninitialized);
        for (int i = 0; i < inputLength; ++i) {
            input[i] = char(i * 7 + 1);
        }
        const QString encoded = base64EncodedStringWithWrapWidth(input, unsigned(wrapWidth));
        const QStringList got = encoded.split(QStringLiteral("\r\n"));
        QCOMPARE(got.size(), lines.size());
        for (int i = 0; i < lines.size(); ++i) {
            QString expected = lines[i];
            QString padding;
            while (expected.endsWith(u'=')) {
                padding += u'=';
                expected.chop(1);
            }
            const int length = expected.isEmpty() ? 0 : expected.toInt();
            QCOMPARE(got[i].size(), length);
            QVERIFY2(got[i].endsWith(padding), qPrintable(got[i]));
            if (padding.isEmpty() && !got[i].isEmpty()) {
                QVERIFY(!got[i].endsWith(u'='));
            }
        }
        QCOMPARE(dataWithBase64EncodedString(encoded), input);
    }

    void base64DecodeTolerant_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("expected");  // null: nil
        QTest::newRow("noise everywhere") << "*Z m\t9-v.Y!m F\"y#" << QByteArray("foobar");
        QTest::newRow("non-ASCII skipped")
            << QString::fromUtf8("Zm9v\xe4\xb8\xadYmFy") << QByteArray("foobar");
        QTest::newRow("missing padding, two sextets") << "Zg" << QByteArray("f");
        QTest::newRow("missing padding, three sextets") << "Zm8" << QByteArray("fo");
        QTest::newRow("single sextet dropped") << "Z" << QByteArray();
        QTest::newRow("only padding") << "====" << QByteArray();
        QTest::newRow("padding in the middle is noise") << "Zg==Zg==" << QByteArray("f\x06\x60", 3);
    }

    void base64DecodeTolerant() {
        QFETCH(QString, text);
        QFETCH(QByteArray, expected);
        const QByteArray decoded = dataWithBase64EncodedString(text);
        QCOMPARE(decoded.isNull(), expected.isNull());
        QCOMPARE(decoded, expected);
        QCOMPARE(dataWithBase64EncodedBytes(text.toUtf8()), expected);
    }

    void base64RoundTripAllLengths() {
        QRandomGenerator generator(20240601);
        for (int length = 1; length < 300; ++length) {
            QByteArray data(length, Qt::Uninitialized);
            for (int i = 0; i < length; ++i) {
                data[i] = char(generator.bounded(256));
            }
            const QString first = base64EncodedString(data);
            QCOMPARE(first, QString::fromLatin1(data.toBase64()));
            QCOMPARE(base64Encode(data), first);
            QCOMPARE(first.size(), (length + 2) / 3 * 4);
            QCOMPARE(dataWithBase64EncodedString(first), data);
            QCOMPARE(dataWithBase64EncodedString(base64EncodedStringWithWrapWidth(data, 16)), data);
        }
    }

    void md5Rfc1321_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("digest");
        // RFC 1321 appendix A.5 test suite.
        QTest::newRow("empty") << ""
                               << "d41d8cd98f00b204e9800998ecf8427e";
        QTest::newRow("abc") << "abc" << kMd5OfAbc;
        QTest::newRow("digits")
            << "12345678901234567890123456789012345678901234567890123456789012345678901234567890"
            << "57edf4a22be3c955ac49da2e2107b67a";
    }

    void md5Rfc1321() {
        QFETCH(QString, text);
        QFETCH(QString, digest);
        QCOMPARE(MD5Encrypt(text), digest);
        QCOMPARE(getMD5FromNSString(text), digest);
        if (!text.isEmpty()) {
            QCOMPARE(getMD5FromMemory(text.toUtf8()), digest);
        }
    }

    void md5MissingInputsAndZeroCharacters() {
        QVERIFY(getMD5FromMemory(QByteArray()).isNull());
        QVERIFY(getMD5FromMemory(QByteArray("")).isNull());
        QVERIFY(getMD5FromNSString(QString()).isNull());
        QVERIFY(getMD5(QStringLiteral("/nonexistent/folder/file")).isNull());
        // The string forms stop at a zero character; the buffer form digests every byte.
        const QString withZero = QStringLiteral("abc") + QChar(u'\0') + QStringLiteral("def");
        QCOMPARE(MD5Encrypt(withZero), kMd5OfAbc);
        QCOMPARE(getMD5FromNSString(withZero), kMd5OfAbc);
        QVERIFY(getMD5FromMemory(withZero.toUtf8()) != kMd5OfAbc);
    }

    void md5OfFile() {
        // Empty, exactly one read, one read and a byte, many reads.
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(QStringLiteral("f.bin"));
        for (const int size : {0, 256, 257, 100000}) {
            QByteArray data(size, Qt::Uninitialized);
            for (int i = 0; i < size; ++i) {
                data[i] = char((i * 131) ^ (i >> 3));
            }
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(data);
            file.close();
            QCOMPARE(getMD5(path),
                     QString::fromLatin1(
                         QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex()));
        }
    }

    void crc32KnownValues() {
        const QByteArray fox("The quick brown fox jumps over the lazy dog");
        QCOMPARE(crc(0, "123456789"), 0xCBF43926ul);
        QCOMPARE(crc(0, fox), 0x414FA339ul);
        QCOMPARE(crc(0, ""), 0ul);
        QCOMPARE(zq::crypto::crc32(0x12345678, nullptr, 10), 0ul);
        QCOMPARE(zq::crypto::crc32(0, nullptr, 0), 0ul);
        // Continued across chunks.
        const QByteArray data = fox.repeated(10);
        unsigned long running = 0;
        for (qsizetype offset = 0; offset < data.size(); offset += 13) {
            running = crc(running, data.mid(offset, 13));
        }
        QCOMPARE(running, crc(0, data));
    }

    void crc32MatchesZlib_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<quint32>("start");
        for (int length : {1, 7, 8, 9, 16, 17, 1000}) {
            QTest::addRow("%d bytes from 0", length) << length << 0u;
            QTest::addRow("%d bytes from 0xdeadbeef", length) << length << 0xdeadbeefu;
        }
    }

    void crc32MatchesZlib() {
        QFETCH(int, length);
        QFETCH(quint32, start);
        QByteArray data(length, Qt::Uninitialized);
        QRandomGenerator generator{quint32(length)};
        for (int i = 0; i < length; ++i) {
            data[i] = char(generator.bounded(256));
        }
        const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData());
        const unsigned long ours = zq::crypto::crc32(start, bytes, std::uint32_t(length));
        QCOMPARE(ours, ::crc32(start, bytes, uInt(length)));
        QCOMPARE(ours >> 32, 0ul);
    }
};

QTEST_GUILESS_MAIN(TestCodecs)
#include "tst_codecs.moc"
