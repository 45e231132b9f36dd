# zq_embed_rsa_public_key(DER_FILE OUTPUT_CPP)
#
# Checks that DER_FILE is the DER SubjectPublicKeyInfo of a 1024-bit RSA key
# with exponent 65537 and writes OUTPUT_CPP defining the key in its two
# compiled-in forms: the DER bytes (kServicePublicKeyDer, 162 bytes) and the
# CryptoAPI PUBLICKEYBLOB (VESKO_RSA_PUBLIC_KEY, 148 bytes: 06 02 00 00,
# A4 00 00 00, "RSA1", bit length, exponent, modulus least significant first).
function(zq_embed_rsa_public_key der_file output)
    if(NOT EXISTS "${der_file}")
        message(FATAL_ERROR "ZQ_RSA_PUBLIC_KEY_DER: no such file: ${der_file}")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${der_file}")
    file(READ "${der_file}" hex HEX)
    string(TOLOWER "${hex}" hex)
    string(LENGTH "${hex}" hex_length)
    # SEQUENCE { SEQUENCE { rsaEncryption, NULL }, BIT STRING { SEQUENCE {
    #   INTEGER (129 bytes, leading 00), INTEGER 65537 } } }
    set(prefix "30819f300d06092a864886f70d010101050003818d0030818902818100")
    set(suffix "0203010001")
    string(LENGTH "${prefix}" prefix_length)
    if(NOT hex_length EQUAL 324)
        message(FATAL_ERROR "ZQ_RSA_PUBLIC_KEY_DER (${der_file}) must be the 162-byte DER "
                            "SubjectPublicKeyInfo of a 1024-bit RSA key with exponent 65537")
    endif()
    string(SUBSTRING "${hex}" 0 ${prefix_length} head)
    string(SUBSTRING "${hex}" 314 10 tail)
    if(NOT head STREQUAL prefix OR NOT tail STREQUAL suffix)
        message(FATAL_ERROR "ZQ_RSA_PUBLIC_KEY_DER (${der_file}) is not a 1024-bit RSA "
                            "SubjectPublicKeyInfo with exponent 65537")
    endif()
    string(SUBSTRING "${hex}" ${prefix_length} 256 modulus)

    set(der_bytes "")
    foreach(i RANGE 0 322 2)
        string(SUBSTRING "${hex}" ${i} 2 byte)
        string(APPEND der_bytes "0x${byte},")
    endforeach()
    set(blob_bytes "0x06,0x02,0x00,0x00,0x00,0xa4,0x00,0x00,0x52,0x53,0x41,0x31,")
    string(APPEND blob_bytes "0x00,0x04,0x00,0x00,0x01,0x00,0x01,0x00,")
    foreach(i RANGE 254 0 -2)
        string(SUBSTRING "${modulus}" ${i} 2 byte)
        string(APPEND blob_bytes "0x${byte},")
    endforeach()

    file(CONFIGURE OUTPUT "${output}" CONTENT
"// Generated from ${der_file}; do not edit.
#include \"crypto/ServicePublicKey.h\"

namespace zq::crypto {

const unsigned char kServicePublicKeyDer[kServicePublicKeyDerSize] = {${der_bytes}};

}  // namespace zq::crypto

const unsigned char VESKO_RSA_PUBLIC_KEY[kVeskoRsaPublicKeyBlobSize] = {${blob_bytes}};
")
endfunction()
