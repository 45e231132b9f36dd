// The three AES shapes and the rijndael block cipher: FIPS-197 appendix C,
// NIST AESAVS and SP 800-38A vectors, and OpenSSL's own block cipher.

#include "TestSupport.h"

#include "crypto/AES.h"
#include "crypto/rijndael.h"

#include <QTest>

#include <openssl/evp.h>

using cryptotest::pseudoRandom;
using namespace zq::crypto;

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

const auto* bytes(const QByteArray& data) {
    return reinterpret_cast<const unsigned char*>(data.constData());
}

// One block through OpenSSL's own ECB cipher (the implementation that is not ours).
QByteArray opensslEcbBlock(const QByteArray& key, const QByteArray& block, bool encrypt) {
    const EVP_CIPHER* cipher = key.size() == 16   ? EVP_aes_128_ecb()
                               : key.size() == 24 ? EVP_aes_192_ecb()
                                                  : EVP_aes_256_ecb();
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(context, cipher, nullptr, bytes(key), nullptr, encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context, 0);
    QByteArray out(32, '\0');
    int length = 0;
    EVP_CipherUpdate(context, reinterpret_cast<unsigned char*>(out.data()), &length, bytes(block),
                     16);
    EVP_CIPHER_CTX_free(context);
    out.truncate(length);
    return out;
}

}  // namespace

class TestAes : public QObject {
    Q_OBJECT

private slots:
    void rijndaelKnownAnswers_data();
    void rijndaelKnownAnswers();
    void rijndaelAgreesWithOpenSsl_data();
    void rijndaelAgreesWithOpenSsl();
    void rijndaelRejectsKeySize();

    void shapeOneSp80038a();
    void shapeOneLengths_data();
    void shapeOneLengths();
    void shapeOneKeyBufferRules();
    void shapeOneDefaults();
    void shapeOneWrongKeyOrIvFails();

    void shapeTwoZeroIvAndStringKey();
    void shapeTwoRefusesLongKey();

    void shapeThreeAesavs_data();
    void shapeThreeAesavs();
    void shapeThreePadding_data();
    void shapeThreePadding();
    void shapeThreePassphraseKey();
    void shapeThreeRejectsPartialBlock();
};

void TestAes::rijndaelKnownAnswers_data() {
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("cipher");
    QTest::addColumn<int>("rounds");
    const QByteArray fipsPlain = hex("00112233445566778899aabbccddeeff");
    // FIPS-197 appendix C.
    QTest::newRow("FIPS-197 C.1 AES-128") << hex("000102030405060708090a0b0c0d0e0f") << fipsPlain
                                          << hex("69c4e0d86a7b0430d8cdb78070b4c55a") << 10;
    QTest::newRow("FIPS-197 C.2 AES-192")
        << hex("000102030405060708090a0b0c0d0e0f1011121314151617") << fipsPlain
        << hex("dda97ca4864cdfe06eaf70a0ec0d7191") << 12;
    QTest::newRow("FIPS-197 C.3 AES-256")
        << hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f") << fipsPlain
        << hex("8ea2b7ca516745bfeafc49904b496089") << 14;
}

void TestAes::rijndaelKnownAnswers() {
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, cipher);
    QFETCH(int, rounds);
    std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
    QCOMPARE(rijndaelSetupEncrypt(roundKeys, bytes(key), int(key.size() * 8)), rounds);
    QByteArray out(16, '\0');
    rijndaelEncrypt(roundKeys, rounds, bytes(plain), reinterpret_cast<unsigned char*>(out.data()));
    QCOMPARE(out.toHex(), cipher.toHex());

    QCOMPARE(rijndaelSetupDecrypt(roundKeys, bytes(key), int(key.size() * 8)), rounds);
    rijndaelDecrypt(roundKeys, rounds, bytes(cipher), reinterpret_cast<unsigned char*>(out.data()));
    QCOMPARE(out.toHex(), plain.toHex());
}

void TestAes::rijndaelAgreesWithOpenSsl_data() {
    QTest::addColumn<int>("keyBits");
    QTest::newRow("128") << 128;
    QTest::newRow("192") << 192;
    QTest::newRow("256") << 256;
}

void TestAes::rijndaelAgreesWithOpenSsl() {
    QFETCH(int, keyBits);
    for (quint32 seed = 1; seed <= 50; ++seed) {
        const QByteArray key = pseudoRandom(keyBits / 8, seed);
        const QByteArray block = pseudoRandom(16, seed + 1000);
        std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
        const int rounds = rijndaelSetupEncrypt(roundKeys, bytes(key), keyBits);
        QByteArray out(16, '\0');
        rijndaelEncrypt(roundKeys, rounds, bytes(block),
                        reinterpret_cast<unsigned char*>(out.data()));
        QCOMPARE(out, opensslEcbBlock(key, block, true));
        rijndaelSetupDecrypt(roundKeys, bytes(key), keyBits);
        rijndaelDecrypt(roundKeys, rounds, bytes(block),
                        reinterpret_cast<unsigned char*>(out.data()));
        QCOMPARE(out, opensslEcbBlock(key, block, false));
    }
}

void TestAes::rijndaelRejectsKeySize() {
    std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
    const unsigned char key[32] = {};
    QCOMPARE(rijndaelSetupEncrypt(roundKeys, key, 64), 0);
    QCOMPARE(rijndaelSetupDecrypt(roundKeys, key, 255), 0);
}

void TestAes::shapeOneSp80038a() {
    // NIST SP 800-38A F.2.5 (CBC-AES256.Encrypt); PKCS#7 then adds one full block.
    const QByteArray key = hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
    const QByteArray iv = hex("000102030405060708090a0b0c0d0e0f");
    const QByteArray plain =
        hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
            "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const QByteArray expected =
        hex("f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
            "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b");
    const QByteArray cipher = AES256EncryptWithKey(plain, key.constData(), 32, iv.constData());
    QCOMPARE(cipher.size(), 80);
    QCOMPARE(cipher.left(64).toHex(), expected.toHex());
    QCOMPARE(AES256DecryptWithKey(cipher, key.constData(), 32, iv.constData()), plain);
}

void TestAes::shapeOneLengths_data() {
    QTest::addColumn<int>("plainLength");
    QTest::addColumn<int>("cipherLength");
    QTest::newRow("empty: one padding block") << 0 << 16;
    QTest::newRow("15 bytes") << 15 << 16;
    QTest::newRow("16 bytes: two blocks") << 16 << 32;
}

void TestAes::shapeOneLengths() {
    QFETCH(int, plainLength);
    QFETCH(int, cipherLength);
    const QByteArray plain = pseudoRandom(plainLength, 7);
    const QByteArray cipher = AES256EncryptWithKey(plain, nullptr, 0, nullptr);
    QCOMPARE(cipher.size(), cipherLength);
    const QByteArray back = AES256DecryptWithKey(cipher, nullptr, 0, nullptr);
    QVERIFY(!back.isNull());
    QCOMPARE(back, plain);
}

void TestAes::shapeOneKeyBufferRules() {
    const QByteArray plain("key buffer rules");
    const QByteArray iv(16, '\x42');
    // A 16-byte key of length 16 is those bytes followed by 16 zero bytes.
    const QByteArray shortKey = pseudoRandom(16, 3);
    const QByteArray padded = shortKey + QByteArray(16, '\0');
    QCOMPARE(AES256EncryptWithKey(plain, shortKey.constData(), 16, iv.constData()),
             AES256EncryptWithKey(plain, padded.constData(), 32, iv.constData()));
    // Bytes beyond the 32nd are not used.
    const QByteArray longKey = pseudoRandom(40, 4);
    QCOMPARE(AES256EncryptWithKey(plain, longKey.constData(), 40, iv.constData()),
             AES256EncryptWithKey(plain, longKey.constData(), 32, iv.constData()));
    // A key length below the key's size cuts it.
    QCOMPARE(AES256EncryptWithKey(plain, longKey.constData(), 5, iv.constData()),
             AES256EncryptWithKey(plain, (longKey.left(5) + QByteArray(27, '\0')).constData(), 32,
                                  iv.constData()));
}

void TestAes::shapeOneDefaults() {
    const QByteArray plain("default key and IV");
    const QByteArray defaultKey("p4r7t2w9k1m6q3z8x5c0v7b2n9h4j6l1");
    const QByteArray defaultIv("hzqowmrtyfdkc5bn");
    const QByteArray explicitCipher =
        AES256EncryptWithKey(plain, defaultKey.constData(), 32, defaultIv.constData());
    // A null key ignores the key length: the full default key, not 5 bytes of it.
    QCOMPARE(AES256EncryptWithKey(plain, nullptr, 5, nullptr), explicitCipher);
    QCOMPARE(AES256EncryptWithKey(plain, nullptr, 32, defaultIv.constData()), explicitCipher);
    QCOMPARE(AES256EncryptWithKey(plain, defaultKey.constData(), 32, nullptr), explicitCipher);
}

void TestAes::shapeOneWrongKeyOrIvFails() {
    // Fixed inputs whose decryption under another key or IV breaks the
    // padding check (a wrong IV only changes the first block, so the data
    // is one block long).
    const QByteArray plain("0123456789");
    const QByteArray keyA(32, 'A');
    const QByteArray keyB(32, 'B');
    const QByteArray cipher = AES256EncryptWithKey(plain, keyA.constData(), 32, nullptr);
    QVERIFY(AES256DecryptWithKey(cipher, keyB.constData(), 32, nullptr).isNull());
    const QByteArray otherIv(16, '\x01');
    QVERIFY(AES256DecryptWithKey(cipher, keyA.constData(), 32, otherIv.constData()).isNull());
    // Not a whole number of blocks.
    QVERIFY(AES256DecryptWithKey(cipher.left(15), keyA.constData(), 32, nullptr).isNull());
    QVERIFY(AES256DecryptWithKey(QByteArray(), nullptr, 32, nullptr).isNull());
}

void TestAes::shapeTwoZeroIvAndStringKey() {
    const QString key = QStringLiteral("secret-key");
    const QByteArray keyBytes = key.toUtf8() + QByteArray(32 - key.size(), '\0');
    const QByteArray zeroIv(16, '\0');
    const QByteArray plain("shape two");
    const QByteArray cipher = AES256EncryptWithKey_ZQ(plain, key);
    QCOMPARE(cipher, AES256EncryptWithKey(plain, keyBytes.constData(), 32, zeroIv.constData()));
    QCOMPARE(AES256DecryptWithKey_ZQ(cipher, key), plain);
    QVERIFY(AES256DecryptWithKey_ZQ(cipher, QStringLiteral("other")).isNull());
    // A key of exactly 32 UTF-8 bytes fits (the terminating zero is the 33rd).
    const QString full(32, u'k');
    QCOMPARE(AES256DecryptWithKey_ZQ(AES256EncryptWithKey_ZQ(plain, full), full), plain);
}

void TestAes::shapeTwoRefusesLongKey() {
    QVERIFY(AES256EncryptWithKey_ZQ(QByteArray("x"), QString(33, u'k')).isNull());
    // 11 three-byte characters: 33 UTF-8 bytes.
    QVERIFY(AES256EncryptWithKey_ZQ(QByteArray("x"), QString(11, QChar(0x4e2d))).isNull());
}

void TestAes::shapeThreeAesavs_data() {
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("cipher");
    // AESAVS GFSbox-128 and VarTxt-128 with the zero key (empty passphrase).
    QTest::newRow("GFSbox #1") << hex("f34481ec3cc627bacd5dc3fb08f273e6")
                               << hex("0336763e966d92595a567cc9ce537f5e");
    QTest::newRow("VarTxt #1") << hex("80000000000000000000000000000000")
                               << hex("3ad78e726c1ec02b7ebfe92b23d9ec34");
}

void TestAes::shapeThreeAesavs() {
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, cipher);
    const QByteArray out = AESEncryptWithPassphrase_ZQ(plain, QString());
    QCOMPARE(out.size(), 32);
    QCOMPARE(out.left(16).toHex(), cipher.toHex());
    // The second block is the encryption of sixteen 0x10 bytes.
    QCOMPARE(out.mid(16).toHex(),
             opensslEcbBlock(QByteArray(16, '\0'), QByteArray(16, '\x10'), true).toHex());
    // Decryption keeps the padding.
    QCOMPARE(AESDecryptWithPassphrase_ZQ(out, QString()), plain + QByteArray(16, '\x10'));
}

void TestAes::shapeThreePadding_data() {
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("cipherLength");
    QTest::newRow("empty: one block of 0x10") << 0 << 16;
    QTest::newRow("15 bytes") << 15 << 16;
    QTest::newRow("16 bytes") << 16 << 32;
    QTest::newRow("33 bytes") << 33 << 48;
}

void TestAes::shapeThreePadding() {
    QFETCH(int, length);
    QFETCH(int, cipherLength);
    const QString passphrase = QStringLiteral("passphrase");
    const QByteArray plain = pseudoRandom(length, 21);
    const QByteArray cipher = AESEncryptWithPassphrase_ZQ(plain, passphrase);
    QCOMPARE(cipher.size(), cipherLength);
    const int pad = cipherLength - length;
    QCOMPARE(AESDecryptWithPassphrase_ZQ(cipher, passphrase), plain + QByteArray(pad, char(pad)));
    // Same as OpenSSL's AES-128-ECB with PKCS#7.
    QByteArray key = passphrase.toUtf8();
    key.resize(16, '\0');
    for (int offset = 0; offset < cipherLength; offset += 16) {
        QCOMPARE(cipher.mid(offset, 16),
                 opensslEcbBlock(key, (plain + QByteArray(pad, char(pad))).mid(offset, 16), true));
    }
}

void TestAes::shapeThreePassphraseKey() {
    const QByteArray plain("passphrase key derivation");
    // Only the first 16 UTF-8 bytes count.
    QCOMPARE(AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("0123456789abcdefIGNORED")),
             AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("0123456789abcdef")));
    QVERIFY(AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("0123456789abcdeX")) !=
            AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("0123456789abcdef")));
    // A null passphrase is the zero key; a wrong passphrase gives garbage, not an error.
    QCOMPARE(AESEncryptWithPassphrase_ZQ(plain, QString()),
             AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("")));
    const QByteArray garbage = AESDecryptWithPassphrase_ZQ(
        AESEncryptWithPassphrase_ZQ(plain, QStringLiteral("a")), QStringLiteral("b"));
    QCOMPARE(garbage.size(), 32);
    QVERIFY(!garbage.startsWith(plain.left(16)));
}

void TestAes::shapeThreeRejectsPartialBlock() {
    const QByteArray decrypted = AESDecryptWithPassphrase_ZQ(QByteArray(), QStringLiteral("p"));
    QVERIFY(!decrypted.isNull());
    QVERIFY(decrypted.isEmpty());
    QVERIFY(AESDecryptWithPassphrase_ZQ(QByteArray(17, 'x'), QStringLiteral("p")).isNull());
}

QTEST_GUILESS_MAIN(TestAes)
#include "tst_aes.moc"
