// vesko-tool's crypto commands, run as a separate process.

#include "TestSupport.h"

#include "crypto/Base64.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {

cryptotest::ProcessResult tool(const QStringList& args, const QByteArray& input = {}) {
    return cryptotest::run(QStringLiteral(VESKO_TOOL), args, input);
}

QByteArray openssl(const QStringList& args, const QByteArray& input) {
    const auto result = cryptotest::run(cryptotest::openssl(), args, input);
    return result.exitCode == 0 ? result.out : QByteArray("<openssl failed>");
}

}  // namespace

class TestToolCrypto : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void helpOnEveryLevel_data();
    void helpOnEveryLevel();
    void usageErrors_data();
    void usageErrors();
    void base64();
    void digests_data();
    void digests();
    void digestOfMissingFile();
    void wallEncrypt();
    void wallEncryptEmptyUrl();
    void wallDecrypt();
    void wallDecryptFailure();

private:
    QTemporaryDir _dir;
};

void TestToolCrypto::initTestCase() {
    const QString ini = _dir.filePath(QStringLiteral("config.ini"));
    QFile file(ini);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Service]\nWallHost=http://wall.example.test:8080\n");
    file.close();
    qputenv("VESKO_CONFIG", ini.toLocal8Bit());
}

void TestToolCrypto::helpOnEveryLevel_data() {
    QTest::addColumn<QStringList>("args");
    QTest::newRow("base64") << QStringList{"base64", "--help"};
    QTest::newRow("md5") << QStringList{"md5", "--help"};
    QTest::newRow("crc32") << QStringList{"crc32", "-h"};
    QTest::newRow("wall") << QStringList{"wall", "--help"};
    QTest::newRow("wall encrypt") << QStringList{"wall", "encrypt", "--help"};
    QTest::newRow("wall decrypt") << QStringList{"wall", "decrypt", "--help"};
}

void TestToolCrypto::helpOnEveryLevel() {
    QFETCH(QStringList, args);
    const auto result = tool(args);
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.startsWith("usage: vesko-tool " + args.first().toLatin1()));
}

void TestToolCrypto::usageErrors_data() {
    QTest::addColumn<QStringList>("args");
    QTest::newRow("base64 without action") << QStringList{"base64"};
    QTest::newRow("base64 unknown action") << QStringList{"base64", "rot13"};
    QTest::newRow("md5 two files") << QStringList{"md5", "a", "b"};
    QTest::newRow("wall without action") << QStringList{"wall"};
    QTest::newRow("wall encrypt without URL") << QStringList{"wall", "encrypt"};
    QTest::newRow("wall decrypt short key")
        << QStringList{"wall", "decrypt", "--key", "00", "--iv", QString(32, u'0')};
    QTest::newRow("wall decrypt bad hex")
        << QStringList{"wall", "decrypt", "--key", QString(64, u'g'), "--iv", QString(32, u'0')};
    QTest::newRow("wall decrypt without iv")
        << QStringList{"wall", "decrypt", "--key", QString(64, u'0')};
}

void TestToolCrypto::usageErrors() {
    QFETCH(QStringList, args);
    const auto result = tool(args);
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.out.isEmpty());
    QVERIFY(result.err.startsWith("vesko-tool: "));
}

void TestToolCrypto::base64() {
    QCOMPARE(tool({"base64", "encode"}, "foobar").out, QByteArray("Zm9vYmFy\n"));
    QByteArray binary(300, Qt::Uninitialized);
    for (int i = 0; i < binary.size(); ++i) {
        binary[i] = char(i);
    }
    const auto encoded = tool({"base64", "encode"}, binary);
    QCOMPARE(encoded.out.trimmed(), binary.toBase64());
    QVERIFY(!encoded.out.trimmed().contains('\n'));
    QCOMPARE(tool({"base64", "decode"}, encoded.out).out, binary);
    QCOMPARE(tool({"base64", "decode"}, "Zm9v\r\nYmFy").out, QByteArray("foobar"));
    const auto nothing = tool({"base64", "decode"}, "====");
    QCOMPARE(nothing.exitCode, 1);
    QVERIFY(nothing.out.isEmpty());
}

void TestToolCrypto::digests_data() {
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("md5");
    QTest::addColumn<QByteArray>("crc");
    QTest::newRow("empty") << QByteArray() << QByteArray("d41d8cd98f00b204e9800998ecf8427e")
                           << QByteArray("00000000");
    QTest::newRow("digits") << QByteArray("123456789")
                            << QByteArray("25f9e794323b453885f5181f1b624d0b")
                            << QByteArray("cbf43926");
    QTest::newRow("abc") << QByteArray("abc") << QByteArray("900150983cd24fb0d6963f7d28e17f72")
                         << QByteArray("352441c2");
}

void TestToolCrypto::digests() {
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, md5);
    QFETCH(QByteArray, crc);
    QCOMPARE(tool({"md5"}, input).out, md5 + '\n');
    QCOMPARE(tool({"crc32"}, input).out, crc + '\n');
    const QString path = _dir.filePath(QStringLiteral("digest.bin"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(input);
    file.close();
    QCOMPARE(tool({"md5", path}).out, md5 + '\n');
    QCOMPARE(tool({"crc32", path}).out, crc + '\n');
}

void TestToolCrypto::digestOfMissingFile() {
    for (const char* command : {"md5", "crc32"}) {
        const auto result =
            tool({QString::fromLatin1(command), _dir.filePath(QStringLiteral("missing"))});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.startsWith("vesko-tool: cannot read"));
    }
}

void TestToolCrypto::wallEncrypt() {
    const QString bodyPath = _dir.filePath(QStringLiteral("body.bin"));
    QFile file(bodyPath);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("feedback=hello&score=5");
    file.close();
    const auto result =
        tool({"wall", "encrypt", "http://127.0.0.1:8731/macfb/v1/macfeedback?h=A&v=1",
              "--body-file", bodyPath});
    QCOMPARE(result.exitCode, 0);
    const QJsonObject json = QJsonDocument::fromJson(result.out).object();
    QCOMPARE(json.value("code").toInt(-9), 0);
    QCOMPARE(json.value("url").toString(), QStringLiteral("http://wall.example.test:8080/q"));
    const QString key = json.value("key").toString();
    const QString iv = json.value("iv").toString();
    QCOMPARE(key.size(), 64);
    QCOMPARE(iv.size(), 32);
    QMap<QString, QByteArray> fields;
    for (const QString& part : json.value("body").toString().split(u'&')) {
        fields.insert(part.section(u'=', 0, 0), part.section(u'=', 1).toLatin1());
    }
    QCOMPARE(fields.keys(), (QStringList{"g", "k", "p", "u", "v"}));
    // The key and IV printed are the ones wrapped in k and v.
    const QStringList unwrap{"pkeyutl",  "-decrypt",
                             "-inkey",   cryptotest::devPrivateKeyPath(),
                             "-pkeyopt", "rsa_padding_mode:pkcs1"};
    QCOMPARE(openssl(unwrap, QByteArray::fromBase64(fields["k"])).toHex(), key.toLatin1());
    QCOMPARE(openssl(unwrap, QByteArray::fromBase64(fields["v"])).toHex(), iv.toLatin1());
    // And they open the body field.
    const QByteArray compressed = openssl({"enc", "-d", "-aes-256-cbc", "-K", key, "-iv", iv},
                                          QByteArray::fromBase64(fields["p"]));
    const auto inflated = cryptotest::runPython(
        QStringLiteral(
            "import sys, zlib\nsys.stdout.buffer.write(zlib.decompress(sys.stdin.buffer.read(), "
            "-15))\n"),
        compressed);
    QCOMPARE(inflated.out, QByteArray("feedback=hello&score=5"));
}

void TestToolCrypto::wallEncryptEmptyUrl() {
    const auto result = tool({"wall", "encrypt", ""});
    QCOMPARE(result.exitCode, 1);
    const QJsonObject json = QJsonDocument::fromJson(result.out).object();
    QCOMPARE(json.value("code").toInt(), -1);
    QVERIFY(json.value("url").isNull());
    QVERIFY(json.value("body").isNull());
    QVERIFY(json.value("key").isNull());
    QVERIFY(json.value("iv").isNull());
    QVERIFY(result.err.contains("Encrypt Error"));
}

void TestToolCrypto::wallDecrypt() {
    const QByteArray key =
        QByteArray::fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    const QByteArray iv = QByteArray::fromHex("f0e0d0c0b0a090807060504030201000");
    const QByteArray payload = QByteArray("{\"version\":3,\"list\":[]}").repeated(40);
    const auto deflated = cryptotest::runPython(
        QStringLiteral(
            "import sys, zlib\nc = zlib.compressobj(9, zlib.DEFLATED, -15)\n"
            "sys.stdout.buffer.write(b'HEAD' + c.compress(sys.stdin.buffer.read()) + c.flush())\n"),
        payload);
    const QByteArray answer =
        openssl({"enc", "-aes-256-cbc", "-K", QString::fromLatin1(key.toHex()), "-iv",
                 QString::fromLatin1(iv.toHex()), "-a"},
                deflated.out);  // wrapped at 64 columns: the decoder skips line breaks
    const auto result = tool({"wall", "decrypt", "--key", QString::fromLatin1(key.toHex()), "--iv",
                              QString::fromLatin1(iv.toHex().toUpper())},
                             answer);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, payload);
}

void TestToolCrypto::wallDecryptFailure() {
    const auto result =
        tool({"wall", "decrypt", "--key", QString(64, u'1'), "--iv", QString(32, u'2')},
             "bm90IGFuIGFuc3dlciBhdCBhbGwsIGp1c3QgdGV4dA==");
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.out.isEmpty());
    QCOMPARE(result.err.trimmed(), QByteArray("vesko-tool: Decrypt Error"));
}

QTEST_GUILESS_MAIN(TestToolCrypto)
#include "tst_tool_crypto.moc"
