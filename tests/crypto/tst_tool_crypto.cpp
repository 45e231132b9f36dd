// vesko-tool's crypto commands, run as a separate process: what is the tool's
// own (arguments, exit status, output format); the codecs behind it have
// their own tests.

#include "TestSupport.h"

#include "crypto/AES.h"
#include "crypto/Base64.h"
#include "crypto/Compression.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

cryptotest::ProcessResult tool(const QStringList& args, const QByteArray& input = {}) {
    return cryptotest::run(QStringLiteral(VESKO_TOOL), args, input);
}

}  // namespace

class TestToolCrypto : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        const QString ini =
            write("config.ini", "[Service]\nWallHost=http://wall.example.test:8080\n");
        QVERIFY(!ini.isEmpty());
        qputenv("VESKO_CONFIG", ini.toLocal8Bit());
        QVERIFY(!write("abc", "abc").isEmpty());
        QCOMPARE(::mkfifo(QFile::encodeName(_dir.filePath("fifo")).constData(), 0600), 0);
        QVERIFY(QFile::link("/dev/zero", _dir.filePath("zero")));
    }

    // "FILE" in the arguments names a file holding "abc"; "FIFO" a FIFO nobody
    // writes to and "ZERO" a link to /dev/zero, which must be refused at once.
    // An expected output ending in "..." is a prefix.
    void commands_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");  // prefix

        const QString key(64, u'1');
        const QString iv(32, u'2');
        const auto row = [](const char* name, const QStringList& args, const QByteArray& input,
                            int exitCode, const QByteArray& out, const QByteArray& err) {
            QTest::newRow(name) << args << input << exitCode << out << err;
        };
        row("crc32 help", {"crc32", "-h"}, {}, 0, "usage: vesko-tool crc32...", {});
        row("wall help", {"wall", "--help"}, {}, 0, "usage: vesko-tool wall...", {});
        row("wall decrypt help", {"wall", "decrypt", "--help"}, {}, 0, "usage: vesko-tool wall...",
            {});
        row("base64 without action", {"base64"}, {}, 2, {}, "vesko-tool: ");
        row("base64 unknown action", {"base64", "rot13"}, {}, 2, {}, "vesko-tool: ");
        row("md5 two files", {"md5", "a", "b"}, {}, 2, {}, "vesko-tool: ");
        row("crc32 two files", {"crc32", "a", "b"}, {}, 2, {}, "vesko-tool: ");
        row("wall without action", {"wall"}, {}, 2, {}, "vesko-tool: ");
        row("wall encrypt without URL", {"wall", "encrypt"}, {}, 2, {}, "vesko-tool: ");
        row("wall decrypt short key", {"wall", "decrypt", "--key", "00", "--iv", iv}, {}, 2, {},
            "vesko-tool: ");
        row("wall decrypt bad hex", {"wall", "decrypt", "--key", QString(64, u'g'), "--iv", iv}, {},
            2, {}, "vesko-tool: ");

        row("base64 encode: one line", {"base64", "encode"}, "foobar", 0, "Zm9vYmFy\n", {});
        row("base64 decode writes bytes unchanged", {"base64", "decode"}, "AID/Cg==", 0,
            QByteArray("\x00\x80\xff\n", 4), {});
        row("base64 decode of nothing fails", {"base64", "decode"}, "====", 1, {}, "vesko-tool: ");
        row("md5 of standard input", {"md5"}, "abc", 0, "900150983cd24fb0d6963f7d28e17f72\n", {});
        row("md5 of no bytes", {"md5"}, {}, 0, "d41d8cd98f00b204e9800998ecf8427e\n", {});
        row("md5 of a file", {"md5", "FILE"}, {}, 0, "900150983cd24fb0d6963f7d28e17f72\n", {});
        row("crc32 of standard input", {"crc32"}, "123456789", 0, "cbf43926\n", {});
        row("crc32 keeps leading zeros", {"crc32"}, {}, 0, "00000000\n", {});
        row("crc32 of a file", {"crc32", "FILE"}, {}, 0, "352441c2\n", {});
        row("md5 of a FIFO", {"md5", "FIFO"}, {}, 1, {}, "vesko-tool: cannot read");
        row("crc32 of a FIFO", {"crc32", "FIFO"}, {}, 1, {}, "vesko-tool: cannot read");
        row("crc32 of /dev/zero", {"crc32", "ZERO"}, {}, 1, {}, "vesko-tool: cannot read");
        row("wall encrypt with a FIFO body",
            {"wall", "encrypt", "http://127.0.0.1:8731/x", "--body-file", "FIFO"}, {}, 1, {},
            "vesko-tool: cannot read");
        // An argument Qt has an option of that name for is still the tool's own.
        row("crc32 of a file named like a Qt option", {"crc32", "-qmljsdebugger=port:1"}, {}, 1, {},
            "vesko-tool: cannot read");
        row("wall decrypt failure", {"wall", "decrypt", "--key", key, "--iv", iv},
            "bm90IGFuIGFuc3dlciBhdCBhbGwsIGp1c3QgdGV4dA==", 1, {}, "vesko-tool: Decrypt Error");

        // An answer the way the service writes it: Base64 wrapped at 64 columns of
        // AES-256-CBC over 4 ignored bytes and bare DEFLATE.
        const QByteArray answerKey =
            QByteArray::fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
        const QByteArray answerIv = QByteArray::fromHex("f0e0d0c0b0a090807060504030201000");
        const QByteArray payload = QByteArray("{\"version\":3,\"list\":[]}").repeated(40);
        const QByteArray answer =
            zq::crypto::base64EncodedStringWithWrapWidth(
                zq::crypto::AES256EncryptWithKey("HEAD" + zq::crypto::zipCompressed(payload),
                                                 answerKey.constData(), 32, answerIv.constData()),
                64)
                .toLatin1();
        row("wall decrypt",
            {"wall", "decrypt", "--key", answerKey.toHex(), "--iv", answerIv.toHex().toUpper()},
            answer, 0, payload, {});
    }

    void commands() {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, input);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        args.replaceInStrings(QStringLiteral("FILE"), _dir.filePath(QStringLiteral("abc")));
        args.replaceInStrings(QStringLiteral("FIFO"), _dir.filePath(QStringLiteral("fifo")));
        args.replaceInStrings(QStringLiteral("ZERO"), _dir.filePath(QStringLiteral("zero")));
        const auto result = tool(args, input);
        QCOMPARE(result.exitCode, exitCode);
        if (out.endsWith("...")) {
            QVERIFY2(result.out.startsWith(out.chopped(3)), result.out.constData());
        } else {
            QCOMPARE(result.out, out);
        }
        QVERIFY2(result.err.startsWith(err), result.err.constData());
    }

    void wallEncrypt() {
        const QString bodyPath = write("body.bin", "feedback=hello&score=5");
        const auto result =
            tool({"wall", "encrypt", "http://127.0.0.1:8731/macfb/v1/macfeedback?h=A&v=1",
                  "--body-file", bodyPath});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject json = QJsonDocument::fromJson(result.out).object();
        QCOMPARE(json.value("code").toInt(-9), 0);
        QCOMPARE(json.value("url").toString(), QStringLiteral("http://wall.example.test:8080/q"));
        QMap<QString, QByteArray> fields;
        for (const QString& part : json.value("body").toString().split(u'&')) {
            fields.insert(part.section(u'=', 0, 0), part.section(u'=', 1).toLatin1());
        }
        QCOMPARE(fields.keys(), (QStringList{"g", "k", "p", "u", "v"}));
        // The key and IV printed are the ones the body field was encrypted with.
        const QByteArray key = QByteArray::fromHex(json.value("key").toString().toLatin1());
        const QByteArray iv = QByteArray::fromHex(json.value("iv").toString().toLatin1());
        QCOMPARE(key.size(), 32);
        QCOMPARE(iv.size(), 16);
        QCOMPARE(zq::crypto::unzipEW(zq::crypto::AES256DecryptWithKey(
                     QByteArray::fromBase64(fields["p"]), key.constData(), 32, iv.constData())),
                 QByteArray("feedback=hello&score=5"));

        // An empty URL: code -1, every other value null, and the error on stderr.
        const auto failed = tool({"wall", "encrypt", ""});
        QCOMPARE(failed.exitCode, 1);
        const QJsonObject none = QJsonDocument::fromJson(failed.out).object();
        QCOMPARE(none.value("code").toInt(), -1);
        for (const char* name : {"url", "body", "key", "iv"}) {
            QVERIFY2(none.value(QLatin1String(name)).isNull(), name);
        }
        QVERIFY(failed.err.contains("Encrypt Error"));
    }

private:
    // Writes a file in the test's folder; its path, or empty when it could not be written.
    QString write(const char* name, const QByteArray& bytes) {
        QFile file(_dir.filePath(QString::fromLatin1(name)));
        const bool written = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
        return written ? file.fileName() : QString();
    }

    QTemporaryDir _dir;
};

QTEST_GUILESS_MAIN(TestToolCrypto)
#include "tst_tool_crypto.moc"
