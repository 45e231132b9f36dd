#include "crypto/AES.h"

#include "crypto/rijndael.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

namespace zq::crypto {

const unsigned char kDefaultAesKey[32] = {'p', '4', 'r', '7', 't', '2', 'w', '9', 'k', '1', 'm',
                                          '6', 'q', '3', 'z', '8', 'x', '5', 'c', '0', 'v', '7',
                                          'b', '2', 'n', '9', 'h', '4', 'j', '6', 'l', '1'};
const unsigned char kDefaultAesIv[16] = {'h', 'z', 'q', 'o', 'w', 'm', 'r', 't',
                                         'y', 'f', 'd', 'k', 'c', '5', 'b', 'n'};

namespace {

struct CipherContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// One pass of AES-256-CBC with PKCS#7 padding over the whole buffer, into an
// output of input length + 16 bytes. Null on any failure.
QByteArray aes256Cbc(QByteArrayView data, const unsigned char key[32], const unsigned char iv[16],
                     bool encrypt) {
    if (data.size() > std::numeric_limits<int>::max() - 32) {
        return {};
    }
    std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter> context(EVP_CIPHER_CTX_new());
    if (!context || EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key, iv,
                                      encrypt ? 1 : 0) != 1) {
        return {};
    }
    QByteArray out(data.size() + 16, Qt::Uninitialized);
    auto* dst = reinterpret_cast<unsigned char*>(out.data());
    int produced = 0;
    if (EVP_CipherUpdate(context.get(), dst, &produced,
                         reinterpret_cast<const unsigned char*>(data.data()),
                         static_cast<int>(data.size())) != 1) {
        return {};
    }
    int last = 0;
    if (EVP_CipherFinal_ex(context.get(), dst + produced, &last) != 1) {
        return {};
    }
    out.truncate(produced + last);
    if (out.isNull()) {
        out = QByteArray("", 0);
    }
    return out;
}

QByteArray shapeOne(QByteArrayView data, const void* key, std::size_t keyLength, const void* iv,
                    bool encrypt) {
    unsigned char keyBuffer[33] = {};
    if (key != nullptr) {
        std::memcpy(keyBuffer, key, std::min<std::size_t>(keyLength, sizeof keyBuffer));
    } else {
        std::memcpy(keyBuffer, kDefaultAesKey, sizeof kDefaultAesKey);
    }
    const auto* ivBytes = iv != nullptr ? static_cast<const unsigned char*>(iv) : kDefaultAesIv;
    QByteArray result = aes256Cbc(data, keyBuffer, ivBytes, encrypt);
    OPENSSL_cleanse(keyBuffer, sizeof keyBuffer);
    return result;
}

QByteArray shapeTwo(QByteArrayView data, const QString& key, bool encrypt) {
    const QByteArray utf8 = key.toUtf8();
    // The key buffer takes the UTF-8 form with its terminating zero, 33 bytes at most.
    if (utf8.size() > 32) {
        return {};
    }
    unsigned char keyBuffer[33] = {};
    std::memcpy(keyBuffer, utf8.constData(), static_cast<std::size_t>(utf8.size()));
    static const unsigned char zeroIv[16] = {};
    QByteArray result = aes256Cbc(data, keyBuffer, zeroIv, encrypt);
    OPENSSL_cleanse(keyBuffer, sizeof keyBuffer);
    return result;
}

void passphraseKey(const QString& passphrase, unsigned char key[16]) {
    std::memset(key, 0, 16);
    const QByteArray utf8 = passphrase.toUtf8();
    std::memcpy(key, utf8.constData(),
                std::min<std::size_t>(16, static_cast<std::size_t>(utf8.size())));
}

}  // namespace

QByteArray AES256EncryptWithKey(QByteArrayView data, const void* key, std::size_t keyLength,
                                const void* iv) {
    return shapeOne(data, key, keyLength, iv, true);
}

QByteArray AES256DecryptWithKey(QByteArrayView data, const void* key, std::size_t keyLength,
                                const void* iv) {
    return shapeOne(data, key, keyLength, iv, false);
}

QByteArray AES256EncryptWithKey_ZQ(QByteArrayView data, const QString& key) {
    return shapeTwo(data, key, true);
}

QByteArray AES256DecryptWithKey_ZQ(QByteArrayView data, const QString& key) {
    return shapeTwo(data, key, false);
}

QByteArray AESEncryptWithPassphrase_ZQ(QByteArrayView data, const QString& passphrase) {
    unsigned char key[16];
    passphraseKey(passphrase, key);
    std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
    const int rounds = rijndaelSetupEncrypt(roundKeys, key, 128);

    const qsizetype full = data.size() / 16;
    QByteArray out((full + 1) * 16, Qt::Uninitialized);
    auto* dst = reinterpret_cast<unsigned char*>(out.data());
    const auto* src = reinterpret_cast<const unsigned char*>(data.data());
    for (qsizetype block = 0; block < full; ++block) {
        rijndaelEncrypt(roundKeys, rounds, src + 16 * block, dst + 16 * block);
    }
    // PKCS#7: the remaining 0..15 bytes, filled up with the pad count.
    const qsizetype remaining = data.size() - full * 16;
    unsigned char last[16];
    const auto pad = static_cast<unsigned char>(16 - remaining);
    std::memset(last, pad, sizeof last);
    if (remaining > 0) {
        std::memcpy(last, src + full * 16, static_cast<std::size_t>(remaining));
    }
    rijndaelEncrypt(roundKeys, rounds, last, dst + 16 * full);
    OPENSSL_cleanse(key, sizeof key);
    OPENSSL_cleanse(roundKeys, sizeof roundKeys);
    return out;
}

QByteArray AESDecryptWithPassphrase_ZQ(QByteArrayView data, const QString& passphrase) {
    if (data.size() % 16 != 0) {
        return {};
    }
    if (data.isEmpty()) {
        return QByteArray("", 0);
    }
    unsigned char key[16];
    passphraseKey(passphrase, key);
    std::uint32_t roundKeys[kRijndaelMaxRoundKeyWords];
    const int rounds = rijndaelSetupDecrypt(roundKeys, key, 128);
    QByteArray out(data.size(), Qt::Uninitialized);
    auto* dst = reinterpret_cast<unsigned char*>(out.data());
    const auto* src = reinterpret_cast<const unsigned char*>(data.data());
    for (qsizetype offset = 0; offset < data.size(); offset += 16) {
        rijndaelDecrypt(roundKeys, rounds, src + offset, dst + offset);
    }
    OPENSSL_cleanse(key, sizeof key);
    OPENSSL_cleanse(roundKeys, sizeof roundKeys);
    return out;
}

}  // namespace zq::crypto
