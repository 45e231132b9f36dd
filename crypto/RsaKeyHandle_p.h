#pragma once

// Internal to the crypto library: the OpenSSL key behind an RsaKey.

#include "crypto/RsaKey.h"

#include <openssl/evp.h>

namespace zq::crypto {

struct RsaKey::Handle {
    EVP_PKEY* pkey = nullptr;
    ~Handle();
};

// Wraps an OpenSSL RSA key (ownership taken) as a key object.
std::shared_ptr<const RsaKey> adoptRsaKey(EVP_PKEY* pkey, KeyClass keyClass);

}  // namespace zq::crypto
