#include "crypto/Compression.h"

#include "crypto/CRC.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace zq::crypto {
namespace {

// Lazy-matching parameters of the maximum-compression setting: good 32,
// lazy 258, nice 258, chain 4096.
constexpr int kGoodLength = 32;
constexpr int kMaxLazy = 258;
constexpr int kNiceLength = 258;
constexpr int kMaxChain = 4096;
constexpr int kWindowBits = 15;
constexpr int kMemLevel = 8;
constexpr uInt kStageSize = 16 * 1024;

struct RawDeflater {
    z_stream stream{};
    bool ready = false;
    RawDeflater() {
        ready = deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -kWindowBits, kMemLevel,
                             Z_DEFAULT_STRATEGY) == Z_OK &&
                deflateTune(&stream, kGoodLength, kMaxLazy, kNiceLength, kMaxChain) == Z_OK;
    }
    ~RawDeflater() {
        if (ready) {
            deflateEnd(&stream);
        }
    }
    RawDeflater(const RawDeflater&) = delete;
    RawDeflater& operator=(const RawDeflater&) = delete;
};

struct Inflater {
    z_stream stream{};
    bool ready = false;
    explicit Inflater(int windowBits) { ready = inflateInit2(&stream, windowBits) == Z_OK; }
    ~Inflater() {
        if (ready) {
            inflateEnd(&stream);
        }
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
};

}  // namespace

std::int32_t zip_compressBound(std::int32_t sourceLength) {
    if (sourceLength < 0) {
        return 0;
    }
    // deflateBound() for raw streams without a header is compressBound() minus
    // the six bytes of zlib wrapper; compressBound() covers every setting.
    const uLong bound = compressBound(static_cast<uLong>(sourceLength));
    return bound > static_cast<uLong>(std::numeric_limits<std::int32_t>::max())
               ? std::numeric_limits<std::int32_t>::max()
               : static_cast<std::int32_t>(bound);
}

std::int32_t zip_compress(const unsigned char* source, std::int32_t sourceLength,
                          unsigned char* destination, std::int32_t destinationCapacity,
                          std::uint32_t& crc) {
    if (sourceLength < 0 || destinationCapacity < 0 || (source == nullptr && sourceLength > 0) ||
        destination == nullptr) {
        return -1;
    }
    // The encoder state (about 270 KB at this setting) is set up once per
    // thread and reset for every stream: allocating and releasing it for
    // every field would dominate the cost of a small request.
    thread_local RawDeflater deflater;
    if (!deflater.ready) {
        return -1;
    }
    z_stream& stream = deflater.stream;
    if (deflateReset(&stream) != Z_OK) {
        return -1;
    }

    static const unsigned char kNothing = 0;
    stream.next_in = const_cast<Bytef*>(source != nullptr ? source : &kNothing);
    stream.avail_in = static_cast<uInt>(sourceLength);

    // Output is staged in a 16 KB buffer and copied to the destination, never
    // past its capacity.
    unsigned char stage[kStageSize];
    std::int32_t written = 0;
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = stage;
        stream.avail_out = kStageSize;
        status = deflate(&stream, Z_FINISH);
        if (status != Z_OK && status != Z_STREAM_END) {
            break;
        }
        const auto produced = static_cast<std::int32_t>(kStageSize - stream.avail_out);
        if (produced > destinationCapacity - written) {
            status = Z_BUF_ERROR;
            break;
        }
        std::memcpy(destination + written, stage, static_cast<std::size_t>(produced));
        written += produced;
    }
    stream.next_in = nullptr;
    stream.next_out = nullptr;
    if (status != Z_STREAM_END) {
        return -1;
    }
    crc = static_cast<std::uint32_t>(crc32(0, source, static_cast<std::uint32_t>(sourceLength)));
    return written;
}

std::int32_t zip_uncompress(const unsigned char* source, std::int32_t sourceLength,
                            unsigned char* destination, std::uint32_t expectedLength,
                            std::uint32_t* crc) {
    if (sourceLength < 0 || (source == nullptr && sourceLength > 0) ||
        (destination == nullptr && expectedLength > 0) ||
        expectedLength > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        return -1;
    }
    z_stream stream{};
    if (inflateInit2(&stream, -kWindowBits) != Z_OK) {
        return -1;
    }
    static unsigned char kNothing = 0;
    stream.next_in = const_cast<Bytef*>(source != nullptr ? source : &kNothing);
    stream.avail_in = static_cast<uInt>(sourceLength);
    stream.next_out = destination != nullptr ? destination : &kNothing;
    stream.avail_out = expectedLength;
    const int status = inflate(&stream, Z_FINISH);
    const auto produced = static_cast<std::int32_t>(expectedLength - stream.avail_out);
    inflateEnd(&stream);
    if (status != Z_STREAM_END) {
        return -1;
    }
    if (crc != nullptr && static_cast<std::uint32_t>(produced) == expectedLength) {
        *crc = static_cast<std::uint32_t>(
            crc32(0, destination != nullptr ? destination : &kNothing, expectedLength));
    }
    return produced;
}

QByteArray zipCompressed(QByteArrayView source, std::uint32_t* crc) {
    if (source.size() > std::numeric_limits<std::int32_t>::max() / 2) {
        return {};
    }
    const auto length = static_cast<std::int32_t>(source.size());
    const std::int32_t bound = zip_compressBound(length);
    QByteArray out(bound, Qt::Uninitialized);
    std::uint32_t sum = 0;
    const std::int32_t written =
        zip_compress(reinterpret_cast<const unsigned char*>(source.data()), length,
                     reinterpret_cast<unsigned char*>(out.data()), bound, sum);
    if (written < 0) {
        return {};
    }
    out.truncate(written);
    if (crc != nullptr) {
        *crc = sum;
    }
    return out;
}

QByteArray zip(const QByteArray& data) {
    if (data.isEmpty()) {
        return data;
    }
    z_stream stream{};
    if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) {
        return {};
    }
    constexpr qsizetype kStep = 16 * 1024;
    QByteArray out(kStep, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    int status = Z_OK;
    do {
        if (static_cast<qsizetype>(stream.total_out) >= out.size()) {
            out.resize(out.size() + kStep);
        }
        stream.next_out = reinterpret_cast<Bytef*>(out.data()) + stream.total_out;
        stream.avail_out = static_cast<uInt>(out.size() - static_cast<qsizetype>(stream.total_out));
        status = deflate(&stream, Z_FINISH);
    } while (status == Z_OK && stream.avail_out == 0);
    const auto total = static_cast<qsizetype>(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END) {
        return {};
    }
    out.truncate(total);
    return out;
}

QByteArray unzip(const QByteArray& data, bool rawDeflate) {
    if (data.isEmpty()) {
        return data;
    }
    if (data.size() > std::numeric_limits<qsizetype>::max() / 4 ||
        static_cast<quint64>(data.size()) > std::numeric_limits<uInt>::max()) {
        return {};
    }
    const qsizetype half = data.size() / 2;
    // One inflater per format and thread, reset for every stream.
    thread_local Inflater zlibOrGzip(kWindowBits + 32);
    thread_local Inflater bare(-kWindowBits);
    Inflater& inflater = rawDeflate ? bare : zlibOrGzip;
    if (!inflater.ready || inflateReset(&inflater.stream) != Z_OK) {
        return {};
    }
    z_stream& stream = inflater.stream;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    // The output is inflated into a per-thread scratch buffer that keeps its
    // memory between calls, then copied out at its exact size: answers of a
    // few hundred kilobytes would otherwise cost fresh pages on every call.
    thread_local QByteArray scratch;
    qsizetype capacity = data.size() + half;
    if (scratch.size() < capacity) {
        scratch.resize(capacity);
    }
    int status = Z_OK;
    while (status == Z_OK) {
        if (static_cast<qsizetype>(stream.total_out) >= capacity) {
            // Grows by half the input length, or by the buffer's own size once
            // that is larger (highly compressed streams then need few steps).
            // A one-byte input grows by nothing, and inflate then reports a
            // buffer error below.
            capacity += half == 0 ? 0 : std::max(half, capacity);
            if (scratch.size() < capacity) {
                scratch.resize(capacity);
            }
        }
        stream.next_out = reinterpret_cast<Bytef*>(scratch.data()) + stream.total_out;
        stream.avail_out = static_cast<uInt>(std::min<qsizetype>(
            capacity - static_cast<qsizetype>(stream.total_out), std::numeric_limits<uInt>::max()));
        status = inflate(&stream, Z_SYNC_FLUSH);
    }
    const auto total = static_cast<qsizetype>(stream.total_out);
    stream.next_in = nullptr;
    stream.next_out = nullptr;
    QByteArray out;
    if (status == Z_STREAM_END) {
        out = total > 0 ? QByteArray(scratch.constData(), total) : QByteArray("", 0);
    }
    constexpr qsizetype kKeptScratch = 4 * 1024 * 1024;
    if (scratch.size() > kKeptScratch) {
        scratch = QByteArray();
    }
    return out;
}

QByteArray unzip(const QByteArray& data) {
    return unzip(data, false);
}

QByteArray unzipEW(const QByteArray& data) {
    return unzip(data, true);
}

QString Zip(const QString& text) {
    if (text.isEmpty()) {
        return text;
    }
    const QByteArray compressed = zip(text.toUtf8());
    if (compressed.isNull()) {
        return {};
    }
    static const char digits[] = "0123456789abcdef";
    QString description;
    description.reserve(compressed.size() * 2 + compressed.size() / 4 + 2);
    description += QLatin1Char('<');
    for (qsizetype i = 0; i < compressed.size(); ++i) {
        if (i > 0 && i % 4 == 0) {
            description += QLatin1Char(' ');
        }
        const auto byte = static_cast<unsigned char>(compressed[i]);
        description += QLatin1Char(digits[byte >> 4]);
        description += QLatin1Char(digits[byte & 0x0f]);
    }
    description += QLatin1Char('>');
    return description;
}

}  // namespace zq::crypto
