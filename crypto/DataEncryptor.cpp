#include "crypto/DataEncryptor.h"

#include "crypto/AES.h"
#include "crypto/BasicEncodingRules.h"
#include "crypto/CryptoLog.h"
#include "crypto/KeyStore.h"
#include "crypto/RsaKeyHandle_p.h"
#include "crypto/ServicePublicKey.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"

#include <QFile>

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

using zq::crypto::KeyClass;
using zq::crypto::RsaKey;
using zq::crypto::RsaKeyPtr;

namespace {

constexpr char kServiceKeyTag[] = "VESKO_RSA_PUBLIC_KEY";

struct ClassKey {
    std::mutex mutex;
    bool initialised = false;
    RsaKeyPtr key;
};

ClassKey& classKey() {
    static ClassKey state;
    return state;
}

// The C library's generator is process-wide state; draws are serialised.
std::mutex& randMutex() {
    static std::mutex mutex;
    return mutex;
}

RsaKeyPtr storedServiceKey(const KeyStore& store) {
    QByteArray der;
    if (store.find(KeyStore::ItemClass::PublicKey, kServiceKeyTag, &der) != KeyStore::kSuccess) {
        return nullptr;
    }
    return RsaKey::fromDer(der, KeyClass::Public);
}

}  // namespace

void DataEncryptor::randomizeAesKeyIv(unsigned char* key, std::size_t keyLength, unsigned char* iv,
                                      std::size_t ivLength) {
    if (key == nullptr || iv == nullptr) {
        return;
    }
    std::lock_guard lock(randMutex());
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (std::size_t i = 0; i < keyLength; ++i) {
        key[i] = static_cast<unsigned char>(std::rand() & 0xff);
    }
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (std::size_t i = 0; i < ivLength; ++i) {
        iv[i] = static_cast<unsigned char>(std::rand() & 0xff);
    }
}

RsaKeyPtr DataEncryptor::getRsaPublicKey() {
    static const RsaKeyPtr compiledIn = keyWithBytes(
        QByteArrayView(zq::crypto::kServicePublicKeyDer, zq::crypto::kServicePublicKeyDerSize),
        KeyClass::Public);
    return compiledIn;
}

RsaKeyPtr DataEncryptor::keyWithBytes(QByteArrayView der, KeyClass keyClass) {
    return RsaKey::fromDer(der, keyClass);
}

RsaKeyPtr DataEncryptor::publicKey() {
    ClassKey& state = classKey();
    std::lock_guard lock(state.mutex);
    if (!state.initialised) {
        state.key = getRsaPublicKey();
        state.initialised = true;
        if (!state.key) {
            qCWarning(lcCrypto) << "the compiled-in service public key does not import";
        }
    }
    return state.key;
}

void DataEncryptor::setPublicKey(RsaKeyPtr key) {
    ClassKey& state = classKey();
    std::lock_guard lock(state.mutex);
    state.key = std::move(key);
    state.initialised = true;
}

bool DataEncryptor::getPublicKey(const QString& certificatePath) {
    const QString path = certificatePath.isEmpty() ? platform::Locations::resourcesDir() +
                                                         QStringLiteral("/public_key.der")
                                                   : certificatePath;
    const std::optional<QByteArray> read = platform::readFile(path, 64 * 1024);
    if (!read) {
        return false;
    }
    const QByteArray der = *read;
    const auto* cursor = reinterpret_cast<const unsigned char*>(der.constData());
    X509* certificate = d2i_X509(nullptr, &cursor, der.size());
    if (certificate == nullptr) {
        qCWarning(lcCrypto) << "not a DER certificate:" << path;
        return false;
    }
    // The basic X.509 policy: a chain to a trusted anchor of the system.
    bool trusted = false;
    X509_STORE* anchors = X509_STORE_new();
    X509_STORE_CTX* context = X509_STORE_CTX_new();
    if (anchors != nullptr && context != nullptr && X509_STORE_set_default_paths(anchors) == 1 &&
        X509_STORE_CTX_init(context, anchors, certificate, nullptr) == 1) {
        trusted = X509_verify_cert(context) == 1;
        if (!trusted) {
            qCWarning(lcCrypto) << "certificate not trusted:" << path
                                << X509_verify_cert_error_string(X509_STORE_CTX_get_error(context));
        }
    }
    X509_STORE_CTX_free(context);
    X509_STORE_free(anchors);
    RsaKeyPtr key;
    if (trusted) {
        EVP_PKEY* pkey = X509_get_pubkey(certificate);
        if (pkey != nullptr && EVP_PKEY_get_base_id(pkey) == EVP_PKEY_RSA) {
            key = zq::crypto::adoptRsaKey(pkey, KeyClass::Public);
        } else {
            EVP_PKEY_free(pkey);
        }
    }
    X509_free(certificate);
    if (!key) {
        return false;
    }
    setPublicKey(key);
    return true;
}

QByteArray DataEncryptor::getRSAKeyValue() {
    const auto* blob = VESKO_RSA_PUBLIC_KEY;
    // Exponent: 4 bytes little-endian at offset 16; modulus: 128 bytes
    // little-endian at offset 20.
    const QByteArray exponent =
        zq::crypto::reversedData(QByteArrayView(reinterpret_cast<const char*>(blob + 16), 4));
    const QByteArray modulus =
        QByteArray(1, '\0') +
        zq::crypto::reversedData(QByteArrayView(reinterpret_cast<const char*>(blob + 20), 128));
    return zq::crypto::berData(QVariantList{modulus, exponent});
}

QVariantMap DataEncryptor::defaultPublicKeyDic() {
    return {
        {QStringLiteral("class"), QStringLiteral("keys")},
        {QStringLiteral("type"), QStringLiteral("RSA")},
        {QStringLiteral("keyClass"), QStringLiteral("public")},
        {QStringLiteral("applicationTag"), QByteArray(kServiceKeyTag)},
        {QStringLiteral("returnRef"), true},
    };
}

RsaKeyPtr DataEncryptor::importPublicKeyRef() {
    KeyStore store;
    const int status = store.add(KeyStore::ItemClass::PublicKey, kServiceKeyTag, getRSAKeyValue());
    if (status != KeyStore::kSuccess && status != KeyStore::kDuplicateItem) {
        qCWarning(lcCrypto) << "cannot store the service key, status" << status;
        return nullptr;
    }
    return storedServiceKey(store);
}

RsaKeyPtr DataEncryptor::queryPublicKeyRef() {
    return storedServiceKey(KeyStore());
}

RsaKeyPtr DataEncryptor::getKeyRefWithPersistentKeyRef(const QByteArray& persistentRef) {
    KeyStore::ItemClass itemClass = KeyStore::ItemClass::PublicKey;
    QByteArray der;
    if (KeyStore().findByPersistentRef(persistentRef, &itemClass, &der) != KeyStore::kSuccess) {
        return nullptr;
    }
    switch (itemClass) {
        case KeyStore::ItemClass::PublicKey:
            return RsaKey::fromDer(der, KeyClass::Public);
        case KeyStore::ItemClass::PrivateKey:
            return RsaKey::fromDer(der, KeyClass::Private);
        case KeyStore::ItemClass::SymmetricKey:
            break;
    }
    return nullptr;
}

DataEncryptor::DataEncryptor(QByteArray content) : _content(std::move(content)) {}

DataEncryptor::~DataEncryptor() {
    _aesKey = nullptr;
    _aesIv = nullptr;
}

void DataEncryptor::Encrypt(DataEncryptorError* error) {
    if (_aesKey == nullptr || _aesIv == nullptr) {
        if (error != nullptr) {
            *error = {QString::fromLatin1(kErrorDomain), kErrorMissingKeyOrIv, {}};
        }
        return;
    }
    _aesEncryptedContent =
        zq::crypto::AES256EncryptWithKey(_content, _aesKey, kAesKeyLength, _aesIv);
    if (_aesEncryptedContent.isEmpty()) {
        if (error != nullptr) {
            *error = {QString::fromLatin1(kErrorDomain), kErrorEncryptionFailed, {}};
        }
        return;
    }
    _isSuccess = true;
}

QByteArray DataEncryptor::rsaEncryptedAesKey() const {
    const RsaKeyPtr key = publicKey();
    if (_aesKey == nullptr || !key) {
        return {};
    }
    return zq::crypto::rsaEncryptWithPublicKey(
        QByteArrayView(reinterpret_cast<const char*>(_aesKey), kAesKeyLength), key);
}

QByteArray DataEncryptor::rsaEncryptedAesIv() const {
    const RsaKeyPtr key = publicKey();
    if (_aesIv == nullptr || !key) {
        return {};
    }
    return zq::crypto::rsaEncryptWithPublicKey(
        QByteArrayView(reinterpret_cast<const char*>(_aesIv), kAesIvLength), key);
}
