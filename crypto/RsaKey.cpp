#include "crypto/RsaKey.h"

#include "crypto/RsaKeyHandle_p.h"

#include <openssl/core_names.h>
#include <openssl/decoder.h>
#include <openssl/encoder.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <algorithm>

namespace zq::crypto {

namespace {

constexpr std::size_t kMaxRsaInput = 116;

// Decodes DER with the given structure ("SubjectPublicKeyInfo",
// "type-specific" for PKCS#1, "PrivateKeyInfo") into an RSA key.
EVP_PKEY* decodeDer(QByteArrayView der, int selection, const char* structure) {
    EVP_PKEY* key = nullptr;
    OSSL_DECODER_CTX* decoder =
        OSSL_DECODER_CTX_new_for_pkey(&key, "DER", structure, "RSA", selection, nullptr, nullptr);
    if (decoder == nullptr) {
        return nullptr;
    }
    const auto* data = reinterpret_cast<const unsigned char*>(der.data());
    size_t length = static_cast<size_t>(der.size());
    const bool ok = OSSL_DECODER_from_data(decoder, &data, &length) == 1 && length == 0;
    OSSL_DECODER_CTX_free(decoder);
    if (!ok) {
        EVP_PKEY_free(key);
        return nullptr;
    }
    return key;
}

QByteArray encodeDer(EVP_PKEY* key, int selection, const char* structure) {
    OSSL_ENCODER_CTX* encoder =
        OSSL_ENCODER_CTX_new_for_pkey(key, selection, "DER", structure, nullptr);
    if (encoder == nullptr) {
        return {};
    }
    unsigned char* data = nullptr;
    size_t length = 0;
    QByteArray result;
    if (OSSL_ENCODER_to_data(encoder, &data, &length) == 1 && data != nullptr) {
        result = QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(length));
    }
    OPENSSL_free(data);
    OSSL_ENCODER_CTX_free(encoder);
    return result;
}

}  // namespace

RsaKey::RsaKey(std::unique_ptr<Handle> handle, KeyClass keyClass)
    : _handle(std::move(handle)), _keyClass(keyClass) {}

RsaKey::~RsaKey() = default;

RsaKey::Handle::~Handle() {
    EVP_PKEY_free(pkey);
}

std::shared_ptr<const RsaKey> RsaKey::fromDer(QByteArrayView der, KeyClass keyClass) {
    if (der.isEmpty()) {
        return nullptr;
    }
    EVP_PKEY* pkey = nullptr;
    if (keyClass == KeyClass::Public) {
        pkey = decodeDer(der, EVP_PKEY_PUBLIC_KEY, "SubjectPublicKeyInfo");
        if (pkey == nullptr) {
            pkey = decodeDer(der, EVP_PKEY_PUBLIC_KEY, "type-specific");
        }
    } else {
        pkey = decodeDer(der, EVP_PKEY_KEYPAIR, "PrivateKeyInfo");
        if (pkey == nullptr) {
            pkey = decodeDer(der, EVP_PKEY_KEYPAIR, "type-specific");
        }
    }
    if (pkey == nullptr || EVP_PKEY_get_base_id(pkey) != EVP_PKEY_RSA) {
        EVP_PKEY_free(pkey);
        return nullptr;
    }
    return adoptRsaKey(pkey, keyClass);
}

std::shared_ptr<const RsaKey> RsaKey::generate(int bits) {
    if (bits < 512 || bits > 16384) {
        return nullptr;
    }
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
    if (context == nullptr) {
        return nullptr;
    }
    EVP_PKEY* pkey = nullptr;
    const bool ok = EVP_PKEY_keygen_init(context) == 1 &&
                    EVP_PKEY_CTX_set_rsa_keygen_bits(context, bits) == 1 &&
                    EVP_PKEY_generate(context, &pkey) == 1;
    EVP_PKEY_CTX_free(context);
    if (!ok) {
        EVP_PKEY_free(pkey);
        return nullptr;
    }
    return adoptRsaKey(pkey, KeyClass::Private);
}

int RsaKey::bits() const {
    return EVP_PKEY_get_bits(_handle->pkey);
}

int RsaKey::blockSize() const {
    return EVP_PKEY_get_size(_handle->pkey);
}

std::shared_ptr<const RsaKey> RsaKey::publicHalf() const {
    return fromDer(subjectPublicKeyInfoDer(), KeyClass::Public);
}

QByteArray RsaKey::subjectPublicKeyInfoDer() const {
    return encodeDer(_handle->pkey, EVP_PKEY_PUBLIC_KEY, "SubjectPublicKeyInfo");
}

QByteArray RsaKey::pkcs1PublicKeyDer() const {
    return encodeDer(_handle->pkey, EVP_PKEY_PUBLIC_KEY, "type-specific");
}

QByteArray RsaKey::pkcs1PrivateKeyDer() const {
    if (_keyClass != KeyClass::Private) {
        return {};
    }
    return encodeDer(_handle->pkey, EVP_PKEY_KEYPAIR, "type-specific");
}

std::shared_ptr<const RsaKey> adoptRsaKey(EVP_PKEY* pkey, KeyClass keyClass) {
    auto handle = std::make_unique<RsaKey::Handle>();
    handle->pkey = pkey;
    return std::make_shared<const RsaKey>(std::move(handle), keyClass);
}

QByteArray rsaEncryptWithPublicKey(QByteArrayView data, const RsaKeyPtr& key) {
    if (!key) {
        return {};
    }
    const int blockSize = key->blockSize();
    // PKCS#1 v1.5 leaves block size - 11 bytes; one more is kept in reserve.
    const std::size_t limit =
        std::min<std::size_t>(kMaxRsaInput, blockSize > 12 ? std::size_t(blockSize - 12) : 0);
    if (static_cast<std::size_t>(data.size()) > limit) {
        return {};
    }
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_pkey(nullptr, key->handle().pkey, nullptr);
    if (context == nullptr) {
        return {};
    }
    QByteArray out(blockSize, Qt::Uninitialized);
    size_t length = static_cast<size_t>(out.size());
    const bool ok = EVP_PKEY_encrypt_init(context) == 1 &&
                    EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
                    EVP_PKEY_encrypt(context, reinterpret_cast<unsigned char*>(out.data()), &length,
                                     reinterpret_cast<const unsigned char*>(data.data()),
                                     static_cast<size_t>(data.size())) == 1;
    EVP_PKEY_CTX_free(context);
    if (!ok || length != static_cast<size_t>(blockSize)) {
        return {};
    }
    return out;
}

QByteArray reversedData(QByteArrayView data) {
    QByteArray out(data.size(), Qt::Uninitialized);
    std::reverse_copy(data.begin(), data.end(), out.begin());
    if (out.isNull()) {
        out = QByteArray("", 0);
    }
    return out;
}

}  // namespace zq::crypto
