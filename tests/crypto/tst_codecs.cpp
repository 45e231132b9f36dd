// Base64 (both encoders and the tolerant decoder), MD5 and CRC-32.

#include "crypto/Base64.h"
#include "crypto/CRC.h"
#include "crypto/MD5.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

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

    void base64Wrapping() {
        // Lines hold whole groups (the width rounded down to a multiple of 4) and
        // each full line ends in CR LF, also the last one; below 4 nothing wraps.
        QByteArray input(49, Qt::Uninitialized);
        for (int i = 0; i < input.size(); ++i) {
            input[i] = char(i * 7 + 1);
        }
        const auto plain = [&](int length) {
            return QString::fromLatin1(input.left(length).toBase64());
        };
        const auto wrapped = [&](int length, unsigned width) {
            return base64EncodedStringWithWrapWidth(input.left(length), width);
        };
        QCOMPARE(wrapped(48, 64), plain(48) + "\r\n");
        QCOMPARE(wrapped(49, 64), plain(49).left(64) + "\r\n" + plain(49).mid(64));
        QCOMPARE(wrapped(47, 64), plain(47));
        QCOMPARE(wrapped(6, 6), plain(6).left(4) + "\r\n" + plain(6).mid(4) + "\r\n");
        QCOMPARE(wrapped(30, 3), plain(30));
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
    }

    void base64DecodeTolerant() {
        QFETCH(QString, text);
        QFETCH(QByteArray, expected);
        const QByteArray decoded = dataWithBase64EncodedString(text);
        QCOMPARE(decoded.isNull(), expected.isNull());
        QCOMPARE(decoded, expected);
        QCOMPARE(dataWithBase64EncodedBytes(text.toUtf8()), expected);
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
        // An empty file, exactly one read of the 256-byte buffer, and many reads
        // with a partial last one.
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("f.bin"));
        QByteArray data(100001, Qt::Uninitialized);
        for (int i = 0; i < data.size(); ++i) {
            data[i] = char((i * 131) ^ (i >> 3));
        }
        for (const qsizetype size : {0, 256, 100001}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                    file.write(data.left(size)) == size);
            file.close();
            QCOMPARE(
                getMD5(path),
                QString::fromLatin1(
                    QCryptographicHash::hash(data.left(size), QCryptographicHash::Md5).toHex()));
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
};

QTEST_GUILESS_MAIN(TestCodecs)
#include "tst_codecs.moc"
