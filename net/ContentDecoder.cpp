#include "net/ContentDecoder.h"

#include <zlib.h>

#include <functional>

namespace zq::net {

namespace {

constexpr int kChunkSize = 64 * 1024;

Error decodeError(const QString& coding, const QString& reason) {
    return Error::make(
        QString::fromLatin1(kResponseErrorDomain), kErrorCannotDecodeRawData,
        QStringLiteral("cannot decode the answer's %1 content: %2").arg(coding, reason));
}

// A zlib header: compression method 8, a window of at most 32 KB, and a check
// value that makes the first two bytes a multiple of 31. A bare DEFLATE
// stream made by any real compressor never starts like this (its first block
// would have to be a non-final stored block with padding bits set).
bool looksLikeZlibHeader(uchar first, uchar second) {
    return (first & 0x0F) == 8 && (first >> 4) <= 7 && ((first << 8) | second) % 31 == 0;
}

}  // namespace

// One content coding being undone: a zlib inflate stream fed as bytes arrive.
class Inflater {
public:
    enum class Kind { kGzip, kDeflate };
    using Sink = std::function<bool(QByteArrayView chunk)>;

    Inflater(Kind kind, const QString& name) : _kind(kind), _name(name) {}
    ~Inflater() {
        if (_initialised)
            inflateEnd(&_stream);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    // Decodes data: into the end of *out for the innermost coding (no sink),
    // else in pieces handed to sink. False on an error of this layer (*error
    // filled) or when sink refused a piece.
    bool write(QByteArrayView data, QByteArray* out, const Sink& sink, OptionalError* error);
    // True when every byte received belonged to complete streams.
    bool finish(OptionalError* error) const;

private:
    bool start(OptionalError* error);
    bool inflateSome(QByteArray* out, const Sink& sink, OptionalError* error);

    Kind _kind;
    QString _name;
    z_stream _stream{};
    bool _initialised = false;
    bool _ended = false;     // the last stream reached its end
    bool _sawInput = false;  // any byte arrived at all
    QByteArray _header;      // "deflate": bytes held until the header can be judged
    QByteArray _buffer;      // the pieces handed to a sink
    qint64 _produced = 0;
};

bool Inflater::start(OptionalError* error) {
    int windowBits = 16 + MAX_WBITS;  // gzip members only
    if (_kind == Kind::kDeflate)
        windowBits =
            looksLikeZlibHeader(uchar(_header[0]), uchar(_header[1])) ? MAX_WBITS : -MAX_WBITS;
    if (inflateInit2(&_stream, windowBits) != Z_OK) {
        *error = decodeError(_name, QStringLiteral("out of memory"));
        return false;
    }
    _initialised = true;
    return true;
}

bool Inflater::write(QByteArrayView data, QByteArray* out, const Sink& sink, OptionalError* error) {
    if (data.isEmpty())
        return true;
    _sawInput = true;
    QByteArray held;
    if (!_initialised) {
        if (_kind == Kind::kDeflate) {
            _header.append(data.data(), data.size());
            if (_header.size() < 2)
                return true;
        }
        if (!start(error))
            return false;
        if (_kind == Kind::kDeflate) {
            held.swap(_header);
            data = held;
        }
    }
    _stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    _stream.avail_in = uInt(data.size());
    return inflateSome(out, sink, error);
}

bool Inflater::inflateSome(QByteArray* out, const Sink& sink, OptionalError* error) {
    if (sink && _buffer.isEmpty())
        _buffer.resize(kChunkSize);
    while (_stream.avail_in > 0) {
        if (_ended) {
            // Another gzip member may follow one that ended; nothing may
            // follow a deflate stream.
            if (_kind == Kind::kDeflate) {
                *error = decodeError(_name, QStringLiteral("data after the end of the stream"));
                return false;
            }
            inflateReset(&_stream);
            _ended = false;
        }
        do {
            const qsizetype start = sink ? 0 : out->size();
            if (!sink)
                out->resize(start + kChunkSize);
            char* target = sink ? _buffer.data() : out->data() + start;
            _stream.next_out = reinterpret_cast<Bytef*>(target);
            _stream.avail_out = uInt(kChunkSize);
            const int result = inflate(&_stream, Z_NO_FLUSH);
            const qsizetype count = kChunkSize - qsizetype(_stream.avail_out);
            if (!sink)
                out->resize(start + count);
            if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
                const QString reason = result == Z_NEED_DICT ? QStringLiteral("needs a dictionary")
                                       : _stream.msg         ? QString::fromLatin1(_stream.msg)
                                                             : QStringLiteral("corrupt data");
                *error = decodeError(_name, reason);
                return false;
            }
            if (count > 0) {
                _produced += count;
                if (_produced > ContentDecoder::kMaximumDecodedContentLength) {
                    *error = Error::make(QString::fromLatin1(kResponseErrorDomain),
                                         kErrorDataLengthExceedsMaximum,
                                         QStringLiteral("the answer decodes to more than %1 bytes")
                                             .arg(ContentDecoder::kMaximumDecodedContentLength));
                    return false;
                }
                if (sink && !sink(QByteArrayView(target, count)))
                    return false;
            }
            if (result == Z_STREAM_END) {
                _ended = true;
                break;
            }
            if (result == Z_BUF_ERROR && _stream.avail_out > 0)
                return true;  // every byte taken in; more must arrive
        } while (_stream.avail_out == 0 || _stream.avail_in > 0);
    }
    return true;
}

bool Inflater::finish(OptionalError* error) const {
    if (!_sawInput || _ended)
        return true;
    *error = decodeError(_name, QStringLiteral("the data ends before the end of the stream"));
    return false;
}

ContentDecoder::ContentDecoder(const QByteArray& contentEncoding) {
    const QList<QByteArray> codings = contentEncoding.split(',');
    // Undone in the reverse of the order they were applied.
    for (auto it = codings.crbegin(); it != codings.crend(); ++it) {
        const QByteArray coding = it->trimmed().toLower();
        const QString name = QString::fromLatin1(coding);
        if (coding.isEmpty() || coding == "identity")
            continue;
        if (coding == "gzip" || coding == "x-gzip") {
            _layers.push_back(std::make_unique<Inflater>(Inflater::Kind::kGzip, name));
        } else if (coding == "deflate") {
            _layers.push_back(std::make_unique<Inflater>(Inflater::Kind::kDeflate, name));
        } else {
            _layers.clear();
            _error = decodeError(QStringLiteral("\"%1\"").arg(name),
                                 QStringLiteral("the coding is not supported"));
            return;
        }
    }
}

ContentDecoder::~ContentDecoder() = default;

bool ContentDecoder::run(size_t layer, QByteArrayView data, QByteArray* out) {
    Inflater::Sink sink;
    if (layer + 1 < _layers.size())
        sink = [this, layer, out](QByteArrayView piece) { return run(layer + 1, piece, out); };
    OptionalError error;
    const bool done = _layers[layer]->write(data, out, sink, &error);
    if (error && !_error)
        _error = error;
    return done && !_error;
}

bool ContentDecoder::write(QByteArrayView data, QByteArray* out) {
    if (_error)
        return false;
    if (_layers.empty()) {
        out->append(data.data(), data.size());
        return true;
    }
    return run(0, data, out);
}

bool ContentDecoder::finish() {
    if (_error)
        return false;
    for (const auto& layer : _layers) {
        if (!layer->finish(&_error))
            return false;
    }
    return true;
}

}  // namespace zq::net
