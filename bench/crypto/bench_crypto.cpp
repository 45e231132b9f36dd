// The encrypted wall against a floor made of the same primitives called
// directly in this binary: two RSA-1024 encryptions, raw DEFLATE at level 9,
// AES-256-CBC and Base64 for a request; Base64, AES-256-CBC and raw inflate
// for an answer.

#include "crypto/AES.h"
#include "crypto/Base64.h"
#include "crypto/Compression.h"
#include "crypto/DataEncryptor.h"
#include "crypto/PingbackUtil.h"
#include "crypto/ServicePublicKey.h"

#include <benchmark/benchmark.h>

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace {

const QString kHelpListUrl = QStringLiteral(
    "http://127.0.0.1:8731/"
    "mac_feed_tpl?h=0123456789ABCDEF0123456789ABCDEF&v=3.2.1.1024&r=0000&os=14.1&hv=12");

QByteArray body(int size) {
    QByteArray data(size, Qt::Uninitialized);
    std::uint32_t x = 12345;
    for (int i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        // Text-like: feedback forms are mostly text.
        data[i] = char('a' + (x >> 16) % 26);
    }
    return data;
}

QByteArray jsonPayload(int size) {
    QByteArray json("{\"version\":7,\"list\":[");
    int n = 0;
    while (json.size() < size - 2) {
        ++n;
        json += "{\"id\":" + QByteArray::number(n) +
                ",\"title\":\"help entry\",\"url\":\"http://x/y/" +
                QByteArray::number(n * 7919 % 10007) + ".png\"},";
    }
    json.chop(1);
    json += "]}";
    return json;
}

// ---- The floor: OpenSSL and zlib called directly ----------------------------

EVP_PKEY* servicePublicKey() {
    static EVP_PKEY* key = [] {
        const unsigned char* p = zq::crypto::kServicePublicKeyDer;
        return d2i_PUBKEY(nullptr, &p, long(zq::crypto::kServicePublicKeyDerSize));
    }();
    return key;
}

std::string rawDeflate(const std::string& in) {
    z_stream s{};
    deflateInit2(&s, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&s, in.size()), '\0');
    s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    s.avail_in = uInt(in.size());
    s.next_out = reinterpret_cast<Bytef*>(out.data());
    s.avail_out = uInt(out.size());
    deflate(&s, Z_FINISH);
    out.resize(s.total_out);
    deflateEnd(&s);
    return out;
}

std::string rawInflate(const unsigned char* in, size_t size, size_t expected) {
    z_stream s{};
    inflateInit2(&s, -15);
    std::string out(expected, '\0');
    s.next_in = const_cast<Bytef*>(in);
    s.avail_in = uInt(size);
    s.next_out = reinterpret_cast<Bytef*>(out.data());
    s.avail_out = uInt(out.size());
    inflate(&s, Z_FINISH);
    out.resize(s.total_out);
    inflateEnd(&s);
    return out;
}

std::string aes(const std::string& in, const unsigned char* key, const unsigned char* iv,
                bool encrypt) {
    EVP_CIPHER_CTX* c = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(c, EVP_aes_256_cbc(), nullptr, key, iv, encrypt ? 1 : 0);
    std::string out(in.size() + 16, '\0');
    int n = 0;
    int last = 0;
    EVP_CipherUpdate(c, reinterpret_cast<unsigned char*>(out.data()), &n,
                     reinterpret_cast<const unsigned char*>(in.data()), int(in.size()));
    EVP_CipherFinal_ex(c, reinterpret_cast<unsigned char*>(out.data()) + n, &last);
    out.resize(size_t(n + last));
    EVP_CIPHER_CTX_free(c);
    return out;
}

std::string base64(const std::string& in) {
    std::string out(4 * ((in.size() + 2) / 3) + 1, '\0');
    const int n =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(in.data()), int(in.size()));
    out.resize(size_t(n));
    return out;
}

std::string unbase64(const std::string& in) {
    std::string out(3 * (in.size() / 4) + 3, '\0');
    const int n =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(in.data()), int(in.size()));
    size_t size = size_t(n);
    for (size_t i = in.size(); i > 0 && in[i - 1] == '='; --i) {
        --size;
    }
    out.resize(size);
    return out;
}

std::string rsa(const unsigned char* data, size_t size) {
    EVP_PKEY_CTX* c = EVP_PKEY_CTX_new_from_pkey(nullptr, servicePublicKey(), nullptr);
    EVP_PKEY_encrypt_init(c);
    EVP_PKEY_CTX_set_rsa_padding(c, RSA_PKCS1_PADDING);
    std::string out(128, '\0');
    size_t n = out.size();
    EVP_PKEY_encrypt(c, reinterpret_cast<unsigned char*>(out.data()), &n, data, size);
    EVP_PKEY_CTX_free(c);
    return out;
}

std::string floorRequest(const std::string& url, const std::string& postData) {
    unsigned char key[32];
    unsigned char iv[16];
    RAND_bytes(key, 32);
    RAND_bytes(iv, 16);
    const size_t mark = url.find('?');
    std::string out = "u=" + base64(aes(rawDeflate(url.substr(0, mark)), key, iv, true));
    if (mark != std::string::npos) {
        out += "&g=" + base64(aes(rawDeflate(url.substr(mark + 1)), key, iv, true));
    }
    if (!postData.empty()) {
        out += "&p=" + base64(aes(rawDeflate(postData), key, iv, true));
    }
    out += "&k=" + base64(rsa(key, 32));
    out += "&v=" + base64(rsa(iv, 16));
    return out;
}

// ---- Benchmarks -------------------------------------------------------------

void encryptRequest(benchmark::State& state, const QByteArray& postData) {
    unsigned char keyIv[48];
    for (auto _ : state) {
        QByteArray newBody;
        QString newUrl;
        const auto code =
            PingbackUtil::EncryptHttpRequest(kHelpListUrl, postData, &newUrl, &newBody, keyIv);
        if (code != 0) {
            state.SkipWithError("encryption failed");
        }
        benchmark::DoNotOptimize(newBody);
    }
}

void floorRequestBench(benchmark::State& state, const QByteArray& postData) {
    const std::string url = kHelpListUrl.toStdString();
    const std::string bodyBytes = postData.toStdString();
    for (auto _ : state) {
        benchmark::DoNotOptimize(floorRequest(url, bodyBytes));
    }
}

void BM_EncryptHttpRequest_NoBody(benchmark::State& state) {
    encryptRequest(state, {});
}
void BM_Floor_EncryptRequest_NoBody(benchmark::State& state) {
    floorRequestBench(state, {});
}
void BM_EncryptHttpRequest_10KBBody(benchmark::State& state) {
    encryptRequest(state, body(10 * 1024));
}
void BM_Floor_EncryptRequest_10KBBody(benchmark::State& state) {
    floorRequestBench(state, body(10 * 1024));
}

struct Answer {
    unsigned char keyIv[48];
    QString text;
    std::string textStd;
    size_t payloadSize;
};

Answer makeAnswer(int payloadSize) {
    Answer answer;
    RAND_bytes(answer.keyIv, 48);
    const QByteArray payload = jsonPayload(payloadSize);
    answer.payloadSize = size_t(payload.size());
    const std::string plain =
        std::string("\x00\x01\x02\x03", 4) + rawDeflate(payload.toStdString());
    answer.textStd = base64(aes(plain, answer.keyIv, answer.keyIv + 32, true));
    answer.text = QString::fromStdString(answer.textStd);
    return answer;
}

void decryptAnswer(benchmark::State& state) {
    const Answer answer = makeAnswer(int(state.range(0)));
    for (auto _ : state) {
        std::uint32_t size = 0;
        const QByteArray plain = PingbackUtil::DecryptHttpRequest(answer.text, &size, answer.keyIv);
        if (size_t(plain.size()) != answer.payloadSize) {
            state.SkipWithError("decryption failed");
        }
        benchmark::DoNotOptimize(plain);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(answer.payloadSize));
}

void floorDecryptAnswer(benchmark::State& state) {
    const Answer answer = makeAnswer(int(state.range(0)));
    for (auto _ : state) {
        const std::string cipher = unbase64(answer.textStd);
        const std::string plain = aes(cipher, answer.keyIv, answer.keyIv + 32, false);
        const std::string payload =
            rawInflate(reinterpret_cast<const unsigned char*>(plain.data()) + 4, plain.size() - 4,
                       answer.payloadSize);
        if (payload.size() != answer.payloadSize) {
            state.SkipWithError("floor decryption failed");
        }
        benchmark::DoNotOptimize(payload);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(answer.payloadSize));
}

void BM_DecryptHttpRequest(benchmark::State& state) {
    decryptAnswer(state);
}
void BM_Floor_DecryptAnswer(benchmark::State& state) {
    floorDecryptAnswer(state);
}

}  // namespace

BENCHMARK(BM_EncryptHttpRequest_NoBody);
BENCHMARK(BM_Floor_EncryptRequest_NoBody);
BENCHMARK(BM_EncryptHttpRequest_10KBBody);
BENCHMARK(BM_Floor_EncryptRequest_10KBBody);
BENCHMARK(BM_DecryptHttpRequest)->Arg(1024)->Arg(100 * 1024);
BENCHMARK(BM_Floor_DecryptAnswer)->Arg(1024)->Arg(100 * 1024);

BENCHMARK_MAIN();
