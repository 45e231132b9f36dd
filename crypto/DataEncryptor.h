#pragma once

#include "crypto/RsaKey.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <cstddef>

// The per-field encryptor of the encrypted wall: holds one plaintext, encrypts
// it with AES-256-CBC under a caller-supplied key and IV, and wraps that key
// and IV with the service's RSA public key.
//
// The class's public key is the compiled-in service key (see
// crypto/ServicePublicKey.h), created on first use and kept for the life of
// the process. Instances are used by one thread at a time; the class-level key
// may be read from any thread.

struct DataEncryptorError {
    QString domain;
    int code = 0;
    QVariantMap userInfo;
};

class DataEncryptor {
public:
    static constexpr char kErrorDomain[] = "vesko.DataEncryptor";
    enum ErrorCode { kErrorMissingKeyOrIv = -1, kErrorEncryptionFailed = -2 };
    static constexpr std::size_t kAesKeyLength = 32;
    static constexpr std::size_t kAesIvLength = 16;
    // The largest input rsaEncryptWithPublicKey accepts.
    static constexpr std::size_t kRsaMaxInputLength = 116;

    // Fills `keyLength` key bytes and `ivLength` IV bytes from the C library's
    // generator seeded with the current time in whole seconds (seeded again
    // before the IV, so within one second the IV repeats the key's first
    // bytes). Does nothing when either pointer is null. Not for secrets: the
    // encrypted wall draws its keys from the system's random source instead.
    static void randomizeAesKeyIv(unsigned char* key, std::size_t keyLength, unsigned char* iv,
                                  std::size_t ivLength);

    // The compiled-in service key as a key object, imported once and cached.
    static zq::crypto::RsaKeyPtr getRsaPublicKey();
    // Imports an RSA key from DER; null when it does not import. Not stored anywhere.
    static zq::crypto::RsaKeyPtr keyWithBytes(QByteArrayView der, zq::crypto::KeyClass keyClass);
    // The class's public key (getRsaPublicKey() unless replaced).
    static zq::crypto::RsaKeyPtr publicKey();
    // Replaces the class's public key; null makes every RSA wrap fail.
    static void setPublicKey(zq::crypto::RsaKeyPtr key);

    // Secondary key sources (the encrypted wall does not use them).
    //
    // Loads an X.509 certificate in DER (default: the resource "public_key.der"),
    // verifies it against the system's trust store, and on success makes its
    // public key the class's public key. Returns whether it did.
    static bool getPublicKey(const QString& certificatePath = QString());
    // The VESKO_RSA_PUBLIC_KEY blob as a DER PKCS#1 RSAPublicKey
    // (SEQUENCE { INTEGER modulus, INTEGER exponent }).
    static QByteArray getRSAKeyValue();
    // The key-store query of the service key: item class key, key type RSA,
    // key class public, application tag "VESKO_RSA_PUBLIC_KEY", return a reference.
    static QVariantMap defaultPublicKeyDic();
    // Adds getRSAKeyValue() to the per-user key store under that tag (an
    // existing item is kept) and returns the stored key; null on failure.
    static zq::crypto::RsaKeyPtr importPublicKeyRef();
    // Looks the service key up in the key store; null when absent.
    static zq::crypto::RsaKeyPtr queryPublicKeyRef();
    // Resolves a persistent key-store reference; null when it names no key.
    static zq::crypto::RsaKeyPtr getKeyRefWithPersistentKeyRef(const QByteArray& persistentRef);

    explicit DataEncryptor(QByteArray content);  // initWithData:
    ~DataEncryptor();
    DataEncryptor(const DataEncryptor&) = delete;
    DataEncryptor& operator=(const DataEncryptor&) = delete;

    // The key (32 bytes) and IV (16 bytes) are not copied: the caller's buffers
    // must outlive the use of this instance.
    void setAesKey(const unsigned char* aesKey) { _aesKey = aesKey; }
    void setAesIv(const unsigned char* aesIv) { _aesIv = aesIv; }
    const unsigned char* aesKey() const { return _aesKey; }
    const unsigned char* aesIv() const { return _aesIv; }
    const QByteArray& content() const { return _content; }
    const QByteArray& aesEncryptedContent() const { return _aesEncryptedContent; }
    void setAesEncryptedContent(QByteArray data) { _aesEncryptedContent = std::move(data); }
    bool IsSuccess() const { return _isSuccess; }

    // Encrypts content() into aesEncryptedContent(). Without a key or IV:
    // error code -1; when the cipher gives nothing: code -2. `error` (may be
    // null) is written only on failure.
    void Encrypt(DataEncryptorError* error);

    // The 32 key bytes / 16 IV bytes wrapped with the class's public key (one
    // 128-byte block); null without a key/IV pointer or a public key.
    QByteArray rsaEncryptedAesKey() const;
    QByteArray rsaEncryptedAesIv() const;

private:
    QByteArray _content;
    QByteArray _aesEncryptedContent;
    const unsigned char* _aesKey = nullptr;
    const unsigned char* _aesIv = nullptr;
    bool _isSuccess = false;
};
