// The encrypted wall: request bodies taken apart field by field with the
// openssl command line and Python's zlib, answers made by those same tools.

#include "TestSupport.h"

#include "crypto/AES.h"
#include "crypto/DataEncryptor.h"
#include "crypto/PingbackUtil.h"
#include "platform/Configuration.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

namespace {

struct Fields {
    QList<QByteArray> names;
    QMap<QByteArray, QByteArray> values;
};

Fields splitBody(const QByteArray& body) {
    Fields fields;
    for (const QByteArray& part : body.split('&')) {
        const qsizetype equals = part.indexOf('=');
        const QByteArray name = part.left(equals);
        fields.names.append(name);
        fields.values.insert(name, part.mid(equals + 1));
    }
    return fields;
}

QByteArray bytes(const unsigned char* data, int length) {
    return QByteArray(reinterpret_cast<const char*>(data), length);
}

QString hex(const unsigned char* data, int length) {
    return QString::fromLatin1(bytes(data, length).toHex());
}

// Points the deployment configuration at a file of `text`.
void useConfiguration(const QString& path, const QByteArray& text) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    file.close();
    qputenv("VESKO_CONFIG", path.toLocal8Bit());
    platform::Configuration::reload();
}

// Decrypts one field with the openssl command line and inflates it with
// Python's zlib (raw DEFLATE).
QByteArray opensslOpenField(const QByteArray& base64, const unsigned char* key,
                            const unsigned char* iv) {
    const auto decrypted =
        cryptotest::run(cryptotest::openssl(),
                        {"enc", "-d", "-aes-256-cbc", "-K", hex(key, 32), "-iv", hex(iv, 16)},
                        QByteArray::fromBase64(base64, QByteArray::AbortOnBase64DecodingErrors));
    if (decrypted.exitCode != 0) {
        return "<openssl failed>";
    }
    const auto inflated = cryptotest::runPython(
        QStringLiteral("import sys, zlib\n"
                       "d = zlib.decompressobj(-15)\n"
                       "out = d.decompress(sys.stdin.buffer.read()) + d.flush()\n"
                       "assert d.eof and d.unused_data == b''\n"
                       "sys.stdout.buffer.write(out)\n"),
        decrypted.out);
    return inflated.exitCode == 0 ? inflated.out : QByteArray("<inflate failed>");
}

QByteArray opensslUnwrap(const QByteArray& base64) {
    const auto result =
        cryptotest::run(cryptotest::openssl(),
                        {"pkeyutl", "-decrypt", "-inkey", cryptotest::devPrivateKeyPath(),
                         "-pkeyopt", "rsa_padding_mode:pkcs1"},
                        QByteArray::fromBase64(base64, QByteArray::AbortOnBase64DecodingErrors));
    return result.exitCode == 0 ? result.out : QByteArray("<openssl failed>");
}

// An answer as the service makes it: 4 bytes, then a bare DEFLATE stream of
// the payload, AES-256-CBC under the request's key and IV, Base64; built with
// Python's zlib and the openssl command line.
QByteArray serviceAnswer(const QByteArray& payload, const unsigned char* keyIv) {
    const auto plain = cryptotest::runPython(
        QStringLiteral(
            "import sys, zlib\n"
            "c = zlib.compressobj(9, zlib.DEFLATED, -15)\n"
            "data = sys.stdin.buffer.read()\n"
            "sys.stdout.buffer.write(b'\\x00\\x01\\x02\\x03' + c.compress(data) + c.flush())\n"),
        payload);
    if (plain.exitCode != 0) {
        return {};
    }
    const auto encrypted = cryptotest::run(
        cryptotest::openssl(),
        {"enc", "-aes-256-cbc", "-K", hex(keyIv, 32), "-iv", hex(keyIv + 32, 16), "-a", "-A"},
        plain.out);
    return encrypted.exitCode == 0 ? encrypted.out : QByteArray();
}

}  // namespace

class TestPingback : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(!cryptotest::openssl().isEmpty());
        // A deployment configuration of the test's own.
        useConfiguration(
            _dir.filePath(QStringLiteral("ZQAssistPanel.ini")),
            "[Service]\nHost=http://127.0.0.1:8731\nWallHost=http://wall.example.test:9000\n");
    }

    void init() { DataEncryptor::setPublicKey(DataEncryptor::getRsaPublicKey()); }

    void bodyFields_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QList<QByteArray>>("names");
        QTest::addColumn<QByteArray>("base");
        QTest::addColumn<QByteArray>("query");
        QByteArray binary(10 * 1024, Qt::Uninitialized);
        for (int i = 0; i < binary.size(); ++i) {
            binary[i] = char(i * 7919 >> 3);
        }
        QTest::newRow("no query, 10 KB binary body")
            << "a://h/x" << binary << QList<QByteArray>{"u", "p", "k", "v"} << QByteArray("a://h/x")
            << QByteArray();
        QTest::newRow("query and body; a second ? stays in the query")
            << "a://h/x?y=1?z" << QByteArray("a=1&b=2")
            << QList<QByteArray>{"u", "g", "p", "k", "v"} << QByteArray("a://h/x")
            << QByteArray("y=1?z");
        QTest::newRow("empty body is no body")
            << "a://h/x" << QByteArray("") << QList<QByteArray>{"u", "k", "v"}
            << QByteArray("a://h/x") << QByteArray();
        QTest::newRow("non-ASCII address") << QString::fromUtf8("http://h/帮助?q=中文")
                                           << QByteArray() << QList<QByteArray>{"u", "g", "k", "v"}
                                           << QByteArray("http://h/帮助") << QByteArray("q=中文");
    }

    void bodyFields() {
        QFETCH(QString, url);
        QFETCH(QByteArray, body);
        QFETCH(QList<QByteArray>, names);
        QFETCH(QByteArray, base);
        QFETCH(QByteArray, query);
        unsigned char keyIv[48] = {};
        QString newUrl;
        QByteArray newBody;
        QCOMPARE(PingbackUtil::EncryptHttpRequest(url, body, &newUrl, &newBody, keyIv), 0);
        QCOMPARE(newUrl, QStringLiteral("http://wall.example.test:9000/q"));
        const Fields fields = splitBody(newBody);
        QCOMPARE(fields.names, names);
        // Plain ASCII; Base64 "+", "/" and "=" are not escaped.
        for (const char c : newBody) {
            QVERIFY(c > 0x20 && c < 0x7f);
        }
        QVERIFY(!newBody.contains('%'));
        // k and v unwrap with the development private key to the request's key and
        // IV; the openssl command line and Python's zlib open the other fields.
        const unsigned char* iv = keyIv + 32;
        QCOMPARE(opensslUnwrap(fields.values["k"]), bytes(keyIv, 32));
        QCOMPARE(opensslUnwrap(fields.values["v"]), bytes(iv, 16));
        QCOMPARE(opensslOpenField(fields.values["u"], keyIv, iv), base);
        if (!query.isEmpty()) {
            QCOMPARE(opensslOpenField(fields.values["g"], keyIv, iv), query);
        }
        if (!body.isEmpty()) {
            QCOMPARE(opensslOpenField(fields.values["p"], keyIv, iv), body);
        }
    }

    void keyAndIvAreFreshPerRequest() {
        unsigned char first[48];
        unsigned char second[48];
        QByteArray body1;
        QByteArray body2;
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x?y=1"), {}, nullptr,
                                                  &body1, first),
                 0);
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x?y=1"), {}, nullptr,
                                                  &body2, second),
                 0);
        QVERIFY(std::memcmp(first, second, 32) != 0);
        // The IV does not repeat the key (it is drawn on its own).
        QVERIFY(std::memcmp(first, first + 32, 16) != 0);
        QVERIFY(splitBody(body1).values["u"] != splitBody(body2).values["u"]);
    }

    void refusalsWriteNothing() {
        unsigned char keyIv[48];
        std::memset(keyIv, 0xAB, sizeof keyIv);
        QString newUrl = QStringLiteral("untouched");
        QByteArray newBody("untouched");
        // An empty address: -1, nothing written.
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QString(), QByteArray("body"), &newUrl, &newBody,
                                                  keyIv),
                 -1);
        QCOMPARE(newUrl, QStringLiteral("untouched"));
        // No public key: 1, only the address written.
        DataEncryptor::setPublicKey(nullptr);
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x?y=1"), {}, &newUrl,
                                                  &newBody, keyIv),
                 1);
        QCOMPARE(newUrl, QStringLiteral("http://wall.example.test:9000/q"));
        QCOMPARE(newBody, QByteArray("untouched"));
        QCOMPARE(bytes(keyIv, 48), QByteArray(48, '\xAB'));
    }

    void partialKeyAndIvCopies() {
        unsigned char key[32];
        std::memset(key, 0xCD, sizeof key);
        QByteArray body;
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x"), {}, nullptr, &body,
                                                  key, 8, nullptr, 16),
                 0);
        // Only 8 key bytes were copied; they are the first 8 of the wrapped key.
        QCOMPARE(bytes(key + 8, 24), QByteArray(24, '\xCD'));
        QCOMPARE(opensslUnwrap(splitBody(body).values["k"]).left(8), bytes(key, 8));
        // Longer output buffers get 32 and 16 bytes, no more.
        unsigned char bigKey[40];
        unsigned char bigIv[20];
        std::memset(bigKey, 0xEE, sizeof bigKey);
        std::memset(bigIv, 0xEE, sizeof bigIv);
        QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x"), {}, nullptr, &body,
                                                  bigKey, 40, bigIv, 20),
                 0);
        QCOMPARE(bytes(bigKey + 32, 8) + bytes(bigIv + 16, 4), QByteArray(12, '\xEE'));
    }

    void endpointFollowsConfiguration() {
        const QByteArray previous = qgetenv("VESKO_CONFIG");
        useConfiguration(_dir.filePath(QStringLiteral("https.ini")),
                         "[Service]\nHost=https://service.example.test\n");
        // The wall falls back to the service host and always speaks plain HTTP.
        QCOMPARE(PingbackUtil::wallEndpoint(), QStringLiteral("http://service.example.test/q"));
        qputenv("VESKO_CONFIG", previous);
        platform::Configuration::reload();
        QCOMPARE(PingbackUtil::wallEndpoint(), QStringLiteral("http://wall.example.test:9000/q"));
    }

    void decryptServiceAnswers() {
        // A JSON payload of about 1 KB and an empty one.
        const QByteArray json =
            "{\"version\":7,\"list\":[" +
            QByteArray("{\"title\":\"帮助\",\"url\":\"http://x/y\"},").repeated(30) + "{}]}";
        for (const QByteArray& expected : {json, QByteArray("")}) {
            unsigned char keyIv[48];
            QByteArray body;
            QCOMPARE(PingbackUtil::EncryptHttpRequest(QStringLiteral("a://h/x"), {}, nullptr, &body,
                                                      keyIv),
                     0);
            const QByteArray answer = serviceAnswer(expected, keyIv);
            QVERIFY(!answer.isEmpty());
            std::uint32_t size = 12345;
            const QByteArray plain =
                PingbackUtil::DecryptHttpRequest(QString::fromLatin1(answer), &size, keyIv);
            QVERIFY(!plain.isNull());
            QCOMPARE(plain, expected);
            QCOMPARE(size, std::uint32_t(expected.size()));
            // The same from the raw body bytes, with line breaks the decoder skips.
            QCOMPARE(PingbackUtil::DecryptHttpRequestText(answer + "\r\n", nullptr, keyIv),
                     expected);
        }
    }

    void decryptRejects_data() {
        QTest::addColumn<QByteArray>("plaintext");  // null: use `cipher` as it is
        QTest::addColumn<QByteArray>("cipher");
        QTest::addColumn<bool>("sizeTouched");
        QTest::newRow("plaintext of 4 bytes")
            << QByteArray("\x00\x01\x02\x03", 4) << QByteArray() << false;
        QTest::newRow("one byte after the prefix")
            << QByteArray("abcd\x03", 5) << QByteArray() << true;
        QTest::newRow("ciphertext of 4 bytes") << QByteArray() << QByteArray("abcd") << false;
        QTest::newRow("not whole blocks") << QByteArray() << QByteArray(17, 'x') << false;
    }

    void decryptRejects() {
        QFETCH(QByteArray, plaintext);
        QFETCH(QByteArray, cipher);
        QFETCH(bool, sizeTouched);
        unsigned char keyIv[48];
        for (int i = 0; i < 48; ++i) {
            keyIv[i] = static_cast<unsigned char>(i + 1);
        }
        if (!plaintext.isNull()) {
            cipher = zq::crypto::AES256EncryptWithKey(plaintext, keyIv, 32, keyIv + 32);
        }
        std::uint32_t size = 777;
        QVERIFY(PingbackUtil::DecryptHttpRequestData(cipher, &size, keyIv).isNull());
        QCOMPARE(size, sizeTouched ? 0u : 777u);
        QVERIFY(PingbackUtil::DecryptHttpRequest(cipher, &size, nullptr, keyIv + 32).isNull());
        QVERIFY(PingbackUtil::DecryptHttpRequest(cipher, &size, keyIv, nullptr).isNull());
    }

private:
    QTemporaryDir _dir;
};

QTEST_GUILESS_MAIN(TestPingback)
#include "tst_pingback.moc"
