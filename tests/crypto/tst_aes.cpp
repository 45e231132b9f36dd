// The three AES shapes and the rijndael block cipher: FIPS-197 appendix C and
// SP 800-38A vectors, and OpenSSL's own block cipher.

#include "TestSupport.h"

#include "crypto/AES.h"
#include "crypto/rijndael.h"

#include <QTest>

#include <openssl/evp.h>

#include <utility>

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

// One block through our rijndael cipher; checks the round count against `rounds`.
QByteArray rijndaelBlock(const QByteArray& key, const QByteArray& block, bool encrypt, int rounds) {
    std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
    const int bits = int(key.size() * 8);
    const int setup = encrypt ? rijndaelSetupEncrypt(roundKeys, bytes(key), bits)
                              : rijndaelSetupDecrypt(roundKeys, bytes(key), bits);
    if (setup != rounds) {
        return QByteArray("rounds: ") + QByteArray::number(setup);
    }
    QByteArray out(16, '\0');
    auto* target = reinterpret_cast<unsigned char*>(out.data());
    if (encrypt) {
        rijndaelEncrypt(roundKeys, setup, bytes(block), target);
    } else {
        rijndaelDecrypt(roundKeys, setup, bytes(block), target);
    }
    return out;
}

}  // namespace

class TestAes : public QObject {
    Q_OBJECT

private slots:
    void rijndaelKnownAnswers_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("cipher");
        QTest::addColumn<int>("rounds");
        // FIPS-197 appendix C.
        QTest::newRow("C.1 AES-128") << hex("000102030405060708090a0b0c0d0e0f")
                                     << hex("69c4e0d86a7b0430d8cdb78070b4c55a") << 10;
        QTest::newRow("C.2 AES-192") << hex("000102030405060708090a0b0c0d0e0f1011121314151617")
                                     << hex("dda97ca4864cdfe06eaf70a0ec0d7191") << 12;
        QTest::newRow("C.3 AES-256")
            << hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f")
            << hex("8ea2b7ca516745bfeafc49904b496089") << 14;
    }

    void rijndaelKnownAnswers() {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, cipher);
        QFETCH(int, rounds);
        const QByteArray plain = hex("00112233445566778899aabbccddeeff");
        QCOMPARE(rijndaelBlock(key, plain, true, rounds).toHex(), cipher.toHex());
        QCOMPARE(rijndaelBlock(key, cipher, false, rounds).toHex(), plain.toHex());
        // 50 random keys and blocks of the same size against OpenSSL's cipher.
        for (quint32 seed = 1; seed <= 50; ++seed) {
            const QByteArray randomKey = pseudoRandom(int(key.size()), seed);
            const QByteArray block = pseudoRandom(16, seed + 1000);
            for (const bool encrypt : {true, false}) {
                QCOMPARE(rijndaelBlock(randomKey, block, encrypt, rounds),
                         opensslEcbBlock(randomKey, block, encrypt));
            }
        }
    }

    void rijndaelRejectsKeySize() {
        std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
        const unsigned char key[32] = {};
        QCOMPARE(rijndaelSetupEncrypt(roundKeys, key, 64), 0);
        QCOMPARE(rijndaelSetupDecrypt(roundKeys, key, 255), 0);
    }

    void shapeOneKeys() {
        // NIST SP 800-38A F.2.5 (CBC-AES256.Encrypt); PKCS#7 then adds one full block.
        const QByteArray key =
            hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
        const QByteArray iv = hex("000102030405060708090a0b0c0d0e0f");
        const QByteArray plain =
            hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51");
        const auto encrypt = [&](const QByteArray& k, int length, const char* ivData) {
            return AES256EncryptWithKey(plain, k.constData(), length, ivData);
        };
        const QByteArray cipher = encrypt(key, 32, iv.constData());
        QCOMPARE(cipher.size(), 48);
        QCOMPARE(cipher.left(32).toHex(),
                 QByteArray("f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"));
        QCOMPARE(AES256DecryptWithKey(cipher, key.constData(), 32, iv.constData()), plain);
        // The key buffer: a shorter key length zero-fills, bytes beyond the 32nd
        // are not used, and a null key ignores the length (the full default key).
        QCOMPARE(encrypt(key, 5, iv.constData()),
                 encrypt(key.left(5) + QByteArray(27, '\0'), 32, iv.constData()));
        QCOMPARE(encrypt(key + "extra", 37, iv.constData()), cipher);
        QCOMPARE(AES256EncryptWithKey(plain, nullptr, 5, nullptr),
                 AES256EncryptWithKey(plain, nullptr, 32, nullptr));
    }

    void shapeTwoZeroIvAndStringKey() {
        const QString key = QStringLiteral("secret-key");
        const QByteArray keyBytes = key.toUtf8() + QByteArray(32 - key.size(), '\0');
        const QByteArray zeroIv(16, '\0');
        const QByteArray plain("shape two");
        const QByteArray cipher = AES256EncryptWithKey_ZQ(plain, key);
        QCOMPARE(cipher, AES256EncryptWithKey(plain, keyBytes.constData(), 32, zeroIv.constData()));
        QCOMPARE(AES256DecryptWithKey_ZQ(cipher, key), plain);
        QVERIFY(AES256DecryptWithKey_ZQ(cipher, QStringLiteral("other")).isNull());
        // A key of exactly 32 UTF-8 bytes fits (the terminating zero is the 33rd);
        // 33 bytes, also as 11 three-byte characters, are refused.
        const QString full(32, u'k');
        QCOMPARE(AES256DecryptWithKey_ZQ(AES256EncryptWithKey_ZQ(plain, full), full), plain);
        QVERIFY(AES256EncryptWithKey_ZQ(plain, QString(33, u'k')).isNull());
        QVERIFY(AES256EncryptWithKey_ZQ(plain, QString(11, QChar(0x4e2d))).isNull());
    }

    void shapeThreePadding() {
        // The key is the passphrase's UTF-8 bytes, zero-filled to 16 (an empty
        // passphrase is the zero key). Decryption keeps the padding.
        for (const QString& passphrase : {QStringLiteral("passphrase"), QString()}) {
            QByteArray key = passphrase.toUtf8();
            key.resize(16, '\0');
            for (const auto& [length, cipherLength] :
                 {std::pair{0, 16}, {15, 16}, {16, 32}, {33, 48}}) {
                const QByteArray plain = pseudoRandom(length, 21);
                const QByteArray cipher = AESEncryptWithPassphrase_ZQ(plain, passphrase);
                QCOMPARE(cipher.size(), cipherLength);
                const int pad = cipherLength - length;
                const QByteArray padded = plain + QByteArray(pad, char(pad));
                QCOMPARE(AESDecryptWithPassphrase_ZQ(cipher, passphrase), padded);
                // Same as OpenSSL's AES-128-ECB with PKCS#7.
                for (int offset = 0; offset < cipherLength; offset += 16) {
                    QCOMPARE(cipher.mid(offset, 16),
                             opensslEcbBlock(key, padded.mid(offset, 16), true));
                }
            }
        }
    }

    void shapeThreePassphraseKey() {
        const QByteArray plain("passphrase key derivation");
        const auto encrypt = [&](const QString& passphrase) {
            return AESEncryptWithPassphrase_ZQ(plain, passphrase);
        };
        // Only the first 16 UTF-8 bytes count.
        const QByteArray reference = encrypt(QStringLiteral("0123456789abcdef"));
        QCOMPARE(encrypt(QStringLiteral("0123456789abcdefIGNORED")), reference);
        QVERIFY(encrypt(QStringLiteral("0123456789abcdeX")) != reference);
        // A wrong passphrase gives garbage, not an error.
        const QByteArray garbage =
            AESDecryptWithPassphrase_ZQ(encrypt(QStringLiteral("a")), QStringLiteral("b"));
        QCOMPARE(garbage.size(), 32);
        QVERIFY(!garbage.startsWith(plain.left(16)));
        // Empty input decrypts to empty, a partial block to null.
        const QByteArray empty = AESDecryptWithPassphrase_ZQ(QByteArray(), QStringLiteral("p"));
        QVERIFY(!empty.isNull() && empty.isEmpty());
        QVERIFY(AESDecryptWithPassphrase_ZQ(QByteArray(17, 'x'), QStringLiteral("p")).isNull());
    }
};

QTEST_GUILESS_MAIN(TestAes)
#include "tst_aes.moc"
