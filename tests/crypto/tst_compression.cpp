// zip_compress / zip_uncompress (bare DEFLATE) and the zlib wrappers, checked
// against zlib's own streams and Python's zlib.

#include "TestSupport.h"

#include "crypto/CRC.h"
#include "crypto/Compression.h"

#include <QTest>

#include <zlib.h>

using cryptotest::pseudoRandom;
using namespace zq::crypto;

namespace {

QByteArray text(int length) {
    const QByteArray words("mac_feed_tpl?h=0123456789ABCDEF&v=1.2.3&r=0000&os=14.1&hv=7 ");
    return words.repeated(length / words.size() + 1).left(length);
}

// Compresses with zlib directly in the given window-bits format.
QByteArray zlibCompress(const QByteArray& data, int windowBits, int level = 6) {
    z_stream stream{};
    deflateInit2(&stream, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(int(deflateBound(&stream, uLong(data.size()))) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

// zip_uncompress of the first `streamSize` bytes of `stream` into `out`.
std::int32_t uncompress(const QByteArray& stream, qsizetype streamSize, QByteArray& out,
                        qsizetype capacity, std::uint32_t* crc) {
    return zip_uncompress(reinterpret_cast<const unsigned char*>(stream.constData()),
                          std::int32_t(streamSize), reinterpret_cast<unsigned char*>(out.data()),
                          std::uint32_t(capacity), crc);
}

}  // namespace

class TestCompression : public QObject {
    Q_OBJECT

private slots:
    void zipCompressIsZlibRawDeflate_data() {
        QTest::addColumn<QByteArray>("source");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("100 KB text") << text(100 * 1024);
        QTest::newRow("200 KB random: stored blocks") << pseudoRandom(200 * 1024, 5);
    }

    void zipCompressIsZlibRawDeflate() {
        QFETCH(QByteArray, source);
        std::uint32_t crc = 0xffffffff;
        const QByteArray stream = zipCompressed(source, &crc);
        QVERIFY(!stream.isEmpty());
        QVERIFY(stream.size() <= zip_compressBound(std::int32_t(source.size())));
        QCOMPARE(crc, std::uint32_t(::crc32(0, reinterpret_cast<const Bytef*>(source.constData()),
                                            uInt(source.size()))));
        // zlib's raw deflate at level 9 produces the same stream.
        QCOMPARE(stream.toHex(), zlibCompress(source, -15, 9).toHex());
    }

    void zipCompressLimits() {
        unsigned char destination[64];
        std::uint32_t crc = 1234;
        const std::int32_t empty = zip_compress(nullptr, 0, destination, sizeof destination, crc);
        QVERIFY(empty >= 1);
        QCOMPARE(crc, 0u);
        const unsigned char one = 'A';
        const std::int32_t single = zip_compress(&one, 1, destination, sizeof destination, crc);
        QVERIFY(single >= 3);
        QCOMPARE(crc, std::uint32_t(::crc32(0, &one, 1)));
        QVERIFY(zip_compressBound(1) >= single);
        QVERIFY(zip_compressBound(0) >= empty);
        // Bad arguments.
        QCOMPARE(zip_compress(nullptr, 5, destination, 16, crc), -1);
        QCOMPARE(zip_compress(&one, -1, destination, 16, crc), -1);
        QCOMPARE(zip_compress(&one, 1, nullptr, 16, crc), -1);
        // Never a byte past the capacity.
        const QByteArray source = pseudoRandom(5000, 9);
        QByteArray large(6000, '\x5a');
        QCOMPARE(zip_compress(reinterpret_cast<const unsigned char*>(source.constData()), 5000,
                              reinterpret_cast<unsigned char*>(large.data()), 100, crc),
                 -1);
        QCOMPARE(large.mid(100), QByteArray(5900, '\x5a'));
    }

    void zipUncompressRoundTrip() {
        for (const QByteArray& source : {QByteArray(), text(5000), pseudoRandom(3000, 2)}) {
            std::uint32_t crc = 0;
            const QByteArray stream = zipCompressed(source, &crc);
            QByteArray out(source.size(), '\0');
            std::uint32_t outCrc = 0xdeadbeef;
            QCOMPARE(uncompress(stream, stream.size(), out, out.size(), &outCrc), source.size());
            QCOMPARE(out, source);
            QCOMPARE(outCrc, crc);
            // The CRC pointer may be null.
            QCOMPARE(uncompress(stream, stream.size(), out, out.size(), nullptr), source.size());
        }
    }

    void zipUncompressRejectsBadStreams() {
        const QByteArray source = text(2000);
        const QByteArray stream = zipCompressed(source);
        QByteArray out(source.size(), '\0');
        std::uint32_t crc = 77;
        // Destination smaller than the stream's output; truncated stream.
        QCOMPARE(uncompress(stream, stream.size(), out, 100, &crc), -1);
        QCOMPARE(uncompress(stream, stream.size() / 2, out, out.size(), &crc), -1);
        QCOMPARE(crc, 77u);
    }

    void zipIsZlibFormat() {
        // Short, and 40 KB whose output grows past 16 KB.
        for (const QByteArray& source :
             {QByteArray("hello hello hello"), pseudoRandom(40 * 1024, 3)}) {
            const QByteArray compressed = zip(source);
            QVERIFY(!compressed.isEmpty());
            const auto result = cryptotest::runPython(
                QStringLiteral(
                    "import sys, "
                    "zlib\nsys.stdout.buffer.write(zlib.decompress(sys.stdin.buffer.read()))\n"),
                compressed);
            QVERIFY2(result.exitCode == 0, result.err.constData());
            QCOMPARE(result.out, source);
            QCOMPARE(unzip(compressed), source);
        }
    }

    void zipEmptyReturnsInput() {
        const QByteArray empty("");
        const QByteArray zipped = zip(empty);
        QVERIFY(!zipped.isNull());
        QVERIFY(zipped.isEmpty());
        QVERIFY(unzip(empty).isEmpty());
        QVERIFY(!unzip(empty).isNull());
        QCOMPARE(Zip(QStringLiteral("")), QStringLiteral(""));
    }

    void unzipFormats_data() {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<bool>("raw");
        QTest::addColumn<QByteArray>("expected");  // null: refused
        const QByteArray payload = text(3000);
        const QByteArray good = zlibCompress(payload, 15);
        const QByteArray zeros(100 * 1024, '\0');
        QTest::newRow("zlib by unzip") << good << false << payload;
        QTest::newRow("gzip by unzip") << zlibCompress(payload, 31) << false << payload;
        QTest::newRow("raw by unzip") << zlibCompress(payload, -15) << false << QByteArray();
        QTest::newRow("raw by unzipEW") << zlibCompress(payload, -15) << true << payload;
        QTest::newRow("zlib by unzipEW") << good << true << QByteArray();
        QTest::newRow("raw with trailing garbage byte")
            << zlibCompress(payload, -15) + "!" << true << payload;
        // Far more output than input: the buffer grows several times.
        QTest::newRow("100 KB of zeros, raw") << zlibCompress(zeros, -15) << true << zeros;
        QTest::newRow("100 KB of zeros, zlib") << zlibCompress(zeros, 15) << false << zeros;
        QTest::newRow("one byte, raw") << QByteArray("\x03", 1) << true << QByteArray();
        QTest::newRow("truncated zlib") << good.left(good.size() - 5) << false << QByteArray();
        QTest::newRow("corrupt checksum")
            << good.left(good.size() - 1) + char(good.back() ^ 1) << false << QByteArray();
    }

    void unzipFormats() {
        QFETCH(QByteArray, stream);
        QFETCH(bool, raw);
        QFETCH(QByteArray, expected);
        const QByteArray out = raw ? unzipEW(stream) : unzip(stream);
        QCOMPARE(out, expected);
        QCOMPARE(out.isNull(), expected.isNull());
        QCOMPARE(unzip(stream, raw), out);
    }

    void zipDescription() {
        const QString description = Zip(QStringLiteral("hello"));
        const QByteArray expected = zip(QByteArray("hello"));
        // "<" + hex in groups of four bytes + ">".
        QVERIFY(description.startsWith(u'<'));
        QVERIFY(description.endsWith(u'>'));
        QString hex = description.mid(1, description.size() - 2);
        const QStringList groups = hex.split(u' ');
        for (int i = 0; i + 1 < groups.size(); ++i) {
            QCOMPARE(groups[i].size(), 8);
        }
        hex.remove(u' ');
        QCOMPARE(QByteArray::fromHex(hex.toLatin1()), expected);
        QCOMPARE(unzip(expected), QByteArray("hello"));
    }
};

QTEST_GUILESS_MAIN(TestCompression)
#include "tst_compression.moc"
