#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <memory>

// An RSA key object (public or private), immutable once made. The library
// behind it stays out of this header.
namespace zq::crypto {

enum class KeyClass { Public, Private };

class RsaKey {
public:
    ~RsaKey();
    RsaKey(const RsaKey&) = delete;
    RsaKey& operator=(const RsaKey&) = delete;

    // Imports a key from DER. Public: a SubjectPublicKeyInfo or a PKCS#1
    // RSAPublicKey. Private: a PKCS#8 PrivateKeyInfo or a PKCS#1 RSAPrivateKey.
    // Null for anything else (including a key of another algorithm).
    static std::shared_ptr<const RsaKey> fromDer(QByteArrayView der, KeyClass keyClass);
    // A fresh key pair (private key object; publicHalf() gives the public one).
    // Null for an unsupported size or a failure of the random source.
    static std::shared_ptr<const RsaKey> generate(int bits);

    KeyClass keyClass() const { return _keyClass; }
    int bits() const;
    // The modulus size in bytes: the length of one RSA block.
    int blockSize() const;
    // The public half of this key as its own object.
    std::shared_ptr<const RsaKey> publicHalf() const;
    // DER forms: SubjectPublicKeyInfo, PKCS#1 RSAPublicKey, PKCS#1 RSAPrivateKey
    // (the last is empty for a public key).
    QByteArray subjectPublicKeyInfoDer() const;
    QByteArray pkcs1PublicKeyDer() const;
    QByteArray pkcs1PrivateKeyDer() const;

    // The library's key behind this object (internal to the crypto library).
    struct Handle;
    const Handle& handle() const { return *_handle; }
    RsaKey(std::unique_ptr<Handle> handle, KeyClass keyClass);

private:
    std::unique_ptr<Handle> _handle;
    KeyClass _keyClass;
};

using RsaKeyPtr = std::shared_ptr<const RsaKey>;

// RSAES-PKCS1-v1_5 encryption of one block with a public key. Null for a null
// key, an input longer than 116 bytes (or than the key's PKCS#1 limit, when
// smaller), or any failure. The result is exactly one block long.
QByteArray rsaEncryptWithPublicKey(QByteArrayView data, const RsaKeyPtr& key);

// The same bytes in reverse order.
QByteArray reversedData(QByteArrayView data);

}  // namespace zq::crypto
