#pragma once

#include "crypto/KeyStore.h"
#include "crypto/RsaKey.h"

#include <QByteArray>
#include <QString>

#include <cstddef>

// A key helper over the per-user key store: an RSA key pair of its own, a
// symmetric (single-DES) key, peers' public keys, RSA wrapping of symmetric
// keys, SHA-1 signatures, and a single-DES cipher. Failures are reported as
// null / false results and a message (logged, and kept in lastMessage()).
class SecKeyWrapper {
public:
    static constexpr char kPublicKeyTag[] = "com.vesko.inputmethod.publickey";
    static constexpr char kPrivateKeyTag[] = "com.vesko.inputmethod.privatekey";
    static constexpr char kPeerPublicKeyTag[] = "com.vesko.inputmethod.peerpublickey";
    static constexpr char kPeerPrivateKeyTag[] = "com.vesko.inputmethod.peerprivatekey";
    static constexpr char kSymmetricKeyTag[] = "com.vesko.inputmethod.symmetrickey";

    // Single DES: 8-byte keys and blocks.
    static constexpr std::size_t kSymmetricKeySize = 8;
    static constexpr std::size_t kChosenCipherBlockSize = 8;

    // Cipher operations and options of doCipher().
    enum CCOperation : int { kCCEncrypt = 0, kCCDecrypt = 1 };
    enum CCOptions : unsigned { kCCOptionNone = 0, kCCOptionPKCS7Padding = 1 };
    // Cipher status codes as the messages show them.
    enum CCStatus : int {
        kCCSuccess = 0,
        kCCParamError = -4300,
        kCCBufferTooSmall = -4301,
        kCCMemoryFailure = -4302,
        kCCAlignmentError = -4303,
        kCCDecodeError = -4304,
        kCCUnimplemented = -4305,
    };

    explicit SecKeyWrapper(KeyStore store = KeyStore());

    // The process's wrapper over the default key store.
    static SecKeyWrapper& sharedWrapper();

    // A new RSA key pair of 512, 1024 or 2048 bits, replacing the stored one.
    bool generateKeyPair(std::size_t keySize);
    void deleteAsymmetricKeys();
    // 8 random bytes from the system's random source, replacing the stored key.
    bool generateSymmetricKey();
    void deleteSymmetricKey();

    // Stores a peer's public key (DER: SubjectPublicKeyInfo or PKCS#1) under
    // the peer's name and returns it as a key object.
    zq::crypto::RsaKeyPtr addPeerPublicKey(const QString& peerName, const QByteArray& keyBits);
    void removePeerPublicKey(const QString& peerName);

    // RSAES-PKCS1-v1_5 encryption of a symmetric key with `key`.
    QByteArray wrapSymmetricKey(const QByteArray& symmetricKey, const zq::crypto::RsaKeyPtr& key);
    // Decryption with the stored private key.
    QByteArray unwrapSymmetricKey(const QByteArray& wrappedSymmetricKey);

    // SHA-1 digest.
    static QByteArray getHashBytes(const QByteArray& plainText);
    // PKCS#1 v1.5 signature of the SHA-1 digest with the stored private key.
    QByteArray getSignatureBytes(const QByteArray& plainText);
    bool verifySignature(const QByteArray& plainText, const zq::crypto::RsaKeyPtr& key,
                         const QByteArray& signature);

    // Single-DES CBC (zero IV) with the 8-byte `symmetricKey`. *pkcs7 holds
    // kCCOptionPKCS7Padding or kCCOptionNone; without padding the input must be
    // whole blocks. Null on failure.
    QByteArray doCipher(const QByteArray& plainText, const QByteArray& symmetricKey,
                        int encryptOrDecrypt, unsigned* pkcs7);

    QByteArray getPersistentKeyRefWithKeyRef(const zq::crypto::RsaKeyPtr& key);
    zq::crypto::RsaKeyPtr getKeyRefWithPersistentKeyRef(const QByteArray& persistentRef);

    zq::crypto::RsaKeyPtr getPublicKeyRef();
    zq::crypto::RsaKeyPtr getPrivateKeyRef();
    zq::crypto::RsaKeyPtr getPeerPublicKeyRef();
    zq::crypto::RsaKeyPtr getPeerPrivateKeyRef();
    // The stored public key as a DER PKCS#1 RSAPublicKey.
    QByteArray getPublicKeyBits();
    QByteArray getSymmetricKeyBytes();

    // The last failure message (empty after a call that succeeded cleanly).
    const QString& lastMessage() const { return _lastMessage; }
    KeyStore& store() { return _store; }

private:
    void report(const QString& message);
    zq::crypto::RsaKeyPtr keyByTag(KeyStore::ItemClass itemClass, const char* tag);

    KeyStore _store;
    QString _lastMessage;
};
