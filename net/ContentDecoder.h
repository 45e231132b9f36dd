#pragma once

#include "net/NetTypes.h"

#include <QByteArray>
#include <QByteArrayView>

#include <memory>
#include <vector>

namespace zq::net {

class Inflater;

// Undoes the content codings of an answer ("Content-Encoding") while its
// bytes arrive, as the client layer does for every request:
//   - "gzip" (and its old name "x-gzip"): one or more gzip members;
//   - "deflate": a zlib stream, or a bare DEFLATE stream as some services
//     send (told apart by the zlib header);
//   - "identity": nothing to undo.
// Codings are listed in the order they were applied and undone in reverse
// ("gzip, deflate" is inflated, then gunzipped); names compare without case.
// Any other coding is an error from the start; so are corrupt data, data
// after the end of a deflate stream, a stream that ends before its end
// (kErrorCannotDecodeRawData) and a decoded answer longer than
// kMaximumDecodedContentLength (kErrorDataLengthExceedsMaximum), checked
// after every layer, so that a small answer that inflates without end stops
// there. An empty body decodes to an empty one whatever its codings.
class ContentDecoder {
public:
    // The most bytes any layer may produce for one answer. The answers of
    // this system are a few KB of JSON or a picture of a few hundred KB; the
    // whole decoded answer is held in memory (and copied on its way to the
    // caller), so the bound is kept at a safe multiple of the largest.
    static constexpr qint64 kMaximumDecodedContentLength = 16 * 1024 * 1024;

    explicit ContentDecoder(const QByteArray& contentEncoding);
    ~ContentDecoder();
    ContentDecoder(const ContentDecoder&) = delete;
    ContentDecoder& operator=(const ContentDecoder&) = delete;

    // Decodes the next bytes of the body, appending the result to *out. False
    // once an error has occurred (then error() says which).
    bool write(QByteArrayView data, QByteArray* out);
    // The body is complete: false when a stream has not reached its end.
    bool finish();

    const OptionalError& error() const { return _error; }

private:
    bool run(size_t layer, QByteArrayView data, QByteArray* out);

    // In the order they are undone: the body enters the first; the last
    // writes the answer.
    std::vector<std::unique_ptr<Inflater>> _layers;
    OptionalError _error;
};

}  // namespace zq::net
