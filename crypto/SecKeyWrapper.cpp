#include "crypto/SecKeyWrapper.h"

#include "crypto/CryptoLog.h"
#include "crypto/RsaKeyHandle_p.h"

#include <openssl/evp.h>
#include <openssl/provider.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <mutex>

using zq::crypto::KeyClass;
using zq::crypto::RsaKey;
using zq::crypto::RsaKeyPtr;

namespace {

// Single DES lives in OpenSSL's legacy provider; it is loaded into a library
// context of its own so that the rest of the process keeps the default set.
OSSL_LIB_CTX* legacyContext() {
    static OSSL_LIB_CTX* context = [] {
        OSSL_LIB_CTX* ctx = OSSL_LIB_CTX_new();
        if (ctx == nullptr || OSSL_PROVIDER_load(ctx, "legacy") == nullptr ||
            OSSL_PROVIDER_load(ctx, "default") == nullptr) {
            return static_cast<OSSL_LIB_CTX*>(nullptr);
        }
        return ctx;
    }();
    return context;
}

EVP_CIPHER* fetchDes() {
    OSSL_LIB_CTX* context = legacyContext();
    return context != nullptr ? EVP_CIPHER_fetch(context, "DES-CBC", nullptr) : nullptr;
}

QString osStatus(const char* format, int status) {
    return QString::fromLatin1(format).arg(status);
}

}  // namespace

SecKeyWrapper::SecKeyWrapper(KeyStore store) : _store(std::move(store)) {}

SecKeyWrapper& SecKeyWrapper::sharedWrapper() {
    static SecKeyWrapper wrapper;
    return wrapper;
}

void SecKeyWrapper::report(const QString& message) {
    _lastMessage = message;
    qCWarning(lcCrypto).noquote() << message;
}

RsaKeyPtr SecKeyWrapper::keyByTag(KeyStore::ItemClass itemClass, const char* tag) {
    QByteArray der;
    if (_store.find(itemClass, tag, &der) != KeyStore::kSuccess) {
        return nullptr;
    }
    return RsaKey::fromDer(
        der, itemClass == KeyStore::ItemClass::PrivateKey ? KeyClass::Private : KeyClass::Public);
}

bool SecKeyWrapper::generateKeyPair(std::size_t keySize) {
    _lastMessage.clear();
    if (keySize != 512 && keySize != 1024 && keySize != 2048) {
        report(QStringLiteral("%1 is an invalid and unsupported key size.").arg(keySize));
        return false;
    }
    deleteAsymmetricKeys();
    const RsaKeyPtr pair = RsaKey::generate(static_cast<int>(keySize));
    const QByteArray privateDer = pair ? pair->pkcs1PrivateKeyDer() : QByteArray();
    const QByteArray publicDer = pair ? pair->pkcs1PublicKeyDer() : QByteArray();
    if (privateDer.isEmpty() || publicDer.isEmpty() ||
        _store.add(KeyStore::ItemClass::PrivateKey, kPrivateKeyTag, privateDer) !=
            KeyStore::kSuccess ||
        _store.add(KeyStore::ItemClass::PublicKey, kPublicKeyTag, publicDer) !=
            KeyStore::kSuccess) {
        report(QStringLiteral("Something really bad went wrong with generating the key pair."));
        _store.remove(KeyStore::ItemClass::PrivateKey, kPrivateKeyTag);
        _store.remove(KeyStore::ItemClass::PublicKey, kPublicKeyTag);
        return false;
    }
    return true;
}

void SecKeyWrapper::deleteAsymmetricKeys() {
    int status = _store.remove(KeyStore::ItemClass::PrivateKey, kPrivateKeyTag);
    if (status != KeyStore::kSuccess && status != KeyStore::kItemNotFound) {
        report(osStatus("Error removing private key, OSStatus == %1.", status));
    }
    status = _store.remove(KeyStore::ItemClass::PublicKey, kPublicKeyTag);
    if (status != KeyStore::kSuccess && status != KeyStore::kItemNotFound) {
        report(osStatus("Error removing public key, OSStatus == %1.", status));
    }
}

bool SecKeyWrapper::generateSymmetricKey() {
    _lastMessage.clear();
    deleteSymmetricKey();
    QByteArray key(int(kSymmetricKeySize), Qt::Uninitialized);
    if (key.size() != int(kSymmetricKeySize)) {
        report(QStringLiteral("Problem allocating buffer space for symmetric key generation."));
        return false;
    }
    if (RAND_bytes(reinterpret_cast<unsigned char*>(key.data()), int(kSymmetricKeySize)) != 1) {
        report(
            osStatus("Problem generating the symmetric key, OSStatus == %1.", KeyStore::kIoError));
        return false;
    }
    const int status = _store.add(KeyStore::ItemClass::SymmetricKey, kSymmetricKeyTag, key);
    if (status != KeyStore::kSuccess) {
        report(
            osStatus("Problem storing the symmetric key in the keychain, OSStatus == %1.", status));
        return false;
    }
    return true;
}

void SecKeyWrapper::deleteSymmetricKey() {
    const int status = _store.remove(KeyStore::ItemClass::SymmetricKey, kSymmetricKeyTag);
    if (status != KeyStore::kSuccess && status != KeyStore::kItemNotFound) {
        report(osStatus("Error removing symmetric key, OSStatus == %1.", status));
    }
}

RsaKeyPtr SecKeyWrapper::addPeerPublicKey(const QString& peerName, const QByteArray& keyBits) {
    _lastMessage.clear();
    if (peerName.isEmpty()) {
        report(QStringLiteral("Peer name parameter is nil."));
        return nullptr;
    }
    if (keyBits.isEmpty()) {
        report(QStringLiteral("Public key parameter is nil."));
        return nullptr;
    }
    if (!RsaKey::fromDer(keyBits, KeyClass::Public)) {
        report(osStatus("Problem adding the peer public key to the keychain, OSStatus == %1.",
                        KeyStore::kParam));
        return nullptr;
    }
    const QByteArray tag = peerName.toUtf8();
    const int status = _store.add(KeyStore::ItemClass::PublicKey, tag, keyBits);
    if (status != KeyStore::kSuccess && status != KeyStore::kDuplicateItem) {
        report(osStatus("Problem adding the peer public key to the keychain, OSStatus == %1.",
                        status));
        return nullptr;
    }
    QByteArray stored;
    const int found = _store.find(KeyStore::ItemClass::PublicKey, tag, &stored);
    const RsaKeyPtr key =
        found == KeyStore::kSuccess ? RsaKey::fromDer(stored, KeyClass::Public) : nullptr;
    if (!key) {
        report(osStatus("Problem acquiring reference to the public key, OSStatus == %1.",
                        found == KeyStore::kSuccess ? KeyStore::kParam : found));
        return nullptr;
    }
    return key;
}

void SecKeyWrapper::removePeerPublicKey(const QString& peerName) {
    _lastMessage.clear();
    if (peerName.isEmpty()) {
        report(QStringLiteral("Peer name parameter is nil."));
        return;
    }
    const int status = _store.remove(KeyStore::ItemClass::PublicKey, peerName.toUtf8());
    if (status != KeyStore::kSuccess && status != KeyStore::kItemNotFound) {
        report(osStatus("Problem deleting the peer public key to the keychain, OSStatus == %1.",
                        status));
    }
}

QByteArray SecKeyWrapper::wrapSymmetricKey(const QByteArray& symmetricKey, const RsaKeyPtr& key) {
    _lastMessage.clear();
    if (symmetricKey.isEmpty()) {
        report(QStringLiteral("Symmetric key parameter is nil."));
        return {};
    }
    if (!key) {
        report(QStringLiteral("Key parameter is nil."));
        return {};
    }
    if (symmetricKey.size() > key->blockSize() - 11) {
        report(
            QStringLiteral("Nonce integer is too large and falls outside multiplicative group."));
        return {};
    }
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_pkey(nullptr, key->handle().pkey, nullptr);
    QByteArray out(key->blockSize(), Qt::Uninitialized);
    size_t length = static_cast<size_t>(out.size());
    const bool ok =
        context != nullptr && EVP_PKEY_encrypt_init(context) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_encrypt(context, reinterpret_cast<unsigned char*>(out.data()), &length,
                         reinterpret_cast<const unsigned char*>(symmetricKey.constData()),
                         static_cast<size_t>(symmetricKey.size())) == 1;
    EVP_PKEY_CTX_free(context);
    if (!ok) {
        report(osStatus("Error encrypting, OSStatus == %1.", KeyStore::kParam));
        return {};
    }
    out.truncate(static_cast<qsizetype>(length));
    return out;
}

QByteArray SecKeyWrapper::unwrapSymmetricKey(const QByteArray& wrappedSymmetricKey) {
    _lastMessage.clear();
    const RsaKeyPtr privateKey = getPrivateKeyRef();
    if (!privateKey) {
        report(QStringLiteral("No private key found in the keychain."));
        return {};
    }
    if (wrappedSymmetricKey.size() > privateKey->blockSize()) {
        report(
            QStringLiteral("Encrypted nonce is too large and falls outside multiplicative group."));
        return {};
    }
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_pkey(nullptr, privateKey->handle().pkey, nullptr);
    QByteArray out(privateKey->blockSize(), Qt::Uninitialized);
    size_t length = static_cast<size_t>(out.size());
    const bool ok =
        context != nullptr && EVP_PKEY_decrypt_init(context) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_decrypt(context, reinterpret_cast<unsigned char*>(out.data()), &length,
                         reinterpret_cast<const unsigned char*>(wrappedSymmetricKey.constData()),
                         static_cast<size_t>(wrappedSymmetricKey.size())) == 1;
    EVP_PKEY_CTX_free(context);
    if (!ok) {
        report(osStatus("Error decrypting, OSStatus == %1.", KeyStore::kParam));
        return {};
    }
    out.truncate(static_cast<qsizetype>(length));
    return out;
}

QByteArray SecKeyWrapper::getHashBytes(const QByteArray& plainText) {
    QByteArray digest(SHA_DIGEST_LENGTH, Qt::Uninitialized);
    unsigned int length = 0;
    if (EVP_Digest(plainText.constData(), static_cast<size_t>(plainText.size()),
                   reinterpret_cast<unsigned char*>(digest.data()), &length, EVP_sha1(),
                   nullptr) != 1) {
        return {};
    }
    return digest;
}

QByteArray SecKeyWrapper::getSignatureBytes(const QByteArray& plainText) {
    _lastMessage.clear();
    const RsaKeyPtr privateKey = getPrivateKeyRef();
    if (!privateKey) {
        report(osStatus("Problem signing the SHA1 hash, OSStatus == %1.", KeyStore::kItemNotFound));
        return {};
    }
    const QByteArray digest = getHashBytes(plainText);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_pkey(nullptr, privateKey->handle().pkey, nullptr);
    QByteArray signature(privateKey->blockSize(), Qt::Uninitialized);
    size_t length = static_cast<size_t>(signature.size());
    const bool ok =
        context != nullptr && EVP_PKEY_sign_init(context) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_CTX_set_signature_md(context, EVP_sha1()) == 1 &&
        EVP_PKEY_sign(context, reinterpret_cast<unsigned char*>(signature.data()), &length,
                      reinterpret_cast<const unsigned char*>(digest.constData()),
                      static_cast<size_t>(digest.size())) == 1;
    EVP_PKEY_CTX_free(context);
    if (!ok) {
        report(osStatus("Problem signing the SHA1 hash, OSStatus == %1.", KeyStore::kParam));
        return {};
    }
    signature.truncate(static_cast<qsizetype>(length));
    return signature;
}

bool SecKeyWrapper::verifySignature(const QByteArray& plainText, const RsaKeyPtr& key,
                                    const QByteArray& signature) {
    if (!key || signature.isEmpty()) {
        return false;
    }
    const QByteArray digest = getHashBytes(plainText);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_pkey(nullptr, key->handle().pkey, nullptr);
    const bool ok =
        context != nullptr && EVP_PKEY_verify_init(context) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_CTX_set_signature_md(context, EVP_sha1()) == 1 &&
        EVP_PKEY_verify(context, reinterpret_cast<const unsigned char*>(signature.constData()),
                        static_cast<size_t>(signature.size()),
                        reinterpret_cast<const unsigned char*>(digest.constData()),
                        static_cast<size_t>(digest.size())) == 1;
    EVP_PKEY_CTX_free(context);
    return ok;
}

QByteArray SecKeyWrapper::doCipher(const QByteArray& plainText, const QByteArray& symmetricKey,
                                   int encryptOrDecrypt, unsigned* pkcs7) {
    _lastMessage.clear();
    if (plainText.isNull()) {
        report(QStringLiteral("PlainText object cannot be nil."));
        return {};
    }
    if (symmetricKey.isNull()) {
        report(QStringLiteral("Symmetric key object cannot be nil."));
        return {};
    }
    if (pkcs7 == nullptr) {
        report(QStringLiteral("CCOptions * pkcs7 cannot be NULL."));
        return {};
    }
    if (symmetricKey.size() != qsizetype(kSymmetricKeySize)) {
        report(QStringLiteral("Disjoint choices for key size."));
        return {};
    }
    if (plainText.isEmpty()) {
        report(QStringLiteral("Empty plaintext passed in."));
        return {};
    }
    if (encryptOrDecrypt != kCCEncrypt && encryptOrDecrypt != kCCDecrypt) {
        report(QStringLiteral("Invalid CCOperation parameter [%1] for cipher context.")
                   .arg(encryptOrDecrypt));
        return {};
    }
    EVP_CIPHER* cipher = fetchDes();
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    static const unsigned char zeroIv[kChosenCipherBlockSize] = {};
    if (cipher == nullptr || context == nullptr ||
        EVP_CipherInit_ex2(context, cipher,
                           reinterpret_cast<const unsigned char*>(symmetricKey.constData()), zeroIv,
                           encryptOrDecrypt == kCCEncrypt ? 1 : 0, nullptr) != 1) {
        report(QStringLiteral("Problem creating the context, ccStatus == %1.")
                   .arg(cipher == nullptr ? kCCUnimplemented : kCCParamError));
        EVP_CIPHER_CTX_free(context);
        EVP_CIPHER_free(cipher);
        return {};
    }
    EVP_CIPHER_CTX_set_padding(context, (*pkcs7 & kCCOptionPKCS7Padding) ? 1 : 0);
    QByteArray out(plainText.size() + qsizetype(kChosenCipherBlockSize), Qt::Uninitialized);
    int produced = 0;
    QByteArray result;
    if (EVP_CipherUpdate(context, reinterpret_cast<unsigned char*>(out.data()), &produced,
                         reinterpret_cast<const unsigned char*>(plainText.constData()),
                         int(plainText.size())) != 1) {
        report(QStringLiteral("Problem with CCCryptorUpdate, ccStatus == %1.").arg(kCCParamError));
    } else {
        int last = 0;
        if (EVP_CipherFinal_ex(context, reinterpret_cast<unsigned char*>(out.data()) + produced,
                               &last) != 1) {
            const bool aligned = plainText.size() % qsizetype(kChosenCipherBlockSize) == 0;
            report(QStringLiteral("Problem with encipherment ccStatus == %1")
                       .arg(aligned ? kCCDecodeError : kCCAlignmentError));
        } else {
            out.truncate(produced + last);
            result = out;
        }
    }
    EVP_CIPHER_CTX_free(context);
    EVP_CIPHER_free(cipher);
    return result;
}

QByteArray SecKeyWrapper::getPersistentKeyRefWithKeyRef(const RsaKeyPtr& key) {
    _lastMessage.clear();
    if (!key) {
        report(QStringLiteral("keyRef object cannot be NULL."));
        return {};
    }
    QByteArray ref;
    if (key->keyClass() == KeyClass::Private) {
        _store.persistentRefForData(KeyStore::ItemClass::PrivateKey, key->pkcs1PrivateKeyDer(),
                                    &ref);
    } else if (_store.persistentRefForData(KeyStore::ItemClass::PublicKey, key->pkcs1PublicKeyDer(),
                                           &ref) != KeyStore::kSuccess) {
        _store.persistentRefForData(KeyStore::ItemClass::PublicKey, key->subjectPublicKeyInfoDer(),
                                    &ref);
    }
    return ref;
}

RsaKeyPtr SecKeyWrapper::getKeyRefWithPersistentKeyRef(const QByteArray& persistentRef) {
    _lastMessage.clear();
    if (persistentRef.isEmpty()) {
        report(QStringLiteral("persistentRef object cannot be NULL."));
        return nullptr;
    }
    KeyStore::ItemClass itemClass = KeyStore::ItemClass::PublicKey;
    QByteArray der;
    if (_store.findByPersistentRef(persistentRef, &itemClass, &der) != KeyStore::kSuccess ||
        itemClass == KeyStore::ItemClass::SymmetricKey) {
        return nullptr;
    }
    return RsaKey::fromDer(
        der, itemClass == KeyStore::ItemClass::PrivateKey ? KeyClass::Private : KeyClass::Public);
}

RsaKeyPtr SecKeyWrapper::getPublicKeyRef() {
    return keyByTag(KeyStore::ItemClass::PublicKey, kPublicKeyTag);
}

RsaKeyPtr SecKeyWrapper::getPrivateKeyRef() {
    return keyByTag(KeyStore::ItemClass::PrivateKey, kPrivateKeyTag);
}

RsaKeyPtr SecKeyWrapper::getPeerPublicKeyRef() {
    return keyByTag(KeyStore::ItemClass::PublicKey, kPeerPublicKeyTag);
}

RsaKeyPtr SecKeyWrapper::getPeerPrivateKeyRef() {
    return keyByTag(KeyStore::ItemClass::PrivateKey, kPeerPrivateKeyTag);
}

QByteArray SecKeyWrapper::getPublicKeyBits() {
    QByteArray der;
    _store.find(KeyStore::ItemClass::PublicKey, kPublicKeyTag, &der);
    return der;
}

QByteArray SecKeyWrapper::getSymmetricKeyBytes() {
    QByteArray key;
    _store.find(KeyStore::ItemClass::SymmetricKey, kSymmetricKeyTag, &key);
    return key;
}
