#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

// Value types of the HTTP client layer: requests, responses, errors, progress,
// and the queue on which completions are delivered.
namespace zq::net {

// Error domains of the client layer. The request wrapper's own errors use
// their short English texts as domains ("response is nil", ...; see
// VeskoNetworking.h).
inline constexpr char kTransportErrorDomain[] = "vesko.net.transport";
inline constexpr char kResponseErrorDomain[] = "vesko.net.response";
inline constexpr char kRequestErrorDomain[] = "vesko.net.request";

// Codes in kResponseErrorDomain and kRequestErrorDomain.
enum ErrorCode : qint64 {
    kErrorBadServerResponse = -1011,    // status code outside the acceptable range
    kErrorCannotDecodeContent = -1016,  // unacceptable content type, or a body that does not parse
    kErrorBadURL = -1000,               // a request whose address does not parse
    kErrorCannotSerializeRequest = -1017,    // parameters that cannot be put into a body
    kErrorSessionInvalidated = -999,         // a task made or resumed after invalidation
    kErrorCannotDecodeRawData = -1015,       // an answer's content coding that cannot be undone
    kErrorDataLengthExceedsMaximum = -1103,  // a decoded answer above the layer's limit
};

// Codes in kTransportErrorDomain are QNetworkReply::NetworkError values; the
// two the layer produces itself:
inline constexpr qint64 kErrorTimedOut = 4;   // QNetworkReply::TimeoutError
inline constexpr qint64 kErrorCancelled = 5;  // QNetworkReply::OperationCanceledError

// An error value: a domain, a code, a description and optional details. The
// request wrapper's errors carry no user information.
struct Error {
    QString domain;
    qint64 code = 0;
    QString description;
    // Details of validation errors: "statusCode" (int), "mimeType" (text),
    // "url" (text).
    QVariantMap userInfo;

    static Error make(const QString& domain, qint64 code, const QString& description = {},
                      const QVariantMap& userInfo = {}) {
        return Error{domain, code, description.isEmpty() ? domain : description, userInfo};
    }
};
using OptionalError = std::optional<Error>;

// Which cached answers a request may use. The layer keeps no cache of its
// own; the policies decide the cache-control attributes and, for
// kReloadIgnoringLocalAndRemoteCacheData, the no-cache request headers that
// tell intermediaries not to answer from theirs.
enum class CachePolicy {
    kUseProtocolCachePolicy,
    kReloadIgnoringLocalCacheData,
    kReloadIgnoringLocalAndRemoteCacheData,
};

// Header fields in the order they were first set; names compare without case.
using HeaderFields = QList<QPair<QString, QString>>;
// Sets a field in place (or appends it); a null value removes it.
void setHeaderField(HeaderFields& fields, const QString& value, const QString& field);
// The field's value, or a null string when it is not set.
QString headerField(const HeaderFields& fields, const QString& field);

// An HTTP request: address, method, header fields (in the order first set; a
// later set of the same name, compared without regard to case, replaces the
// value in place), body, timeout in seconds and cache policy.
class Request {
public:
    static constexpr double kDefaultTimeoutInterval = 60.0;

    Request() = default;
    explicit Request(const QUrl& url) : _url(url) {}

    const QUrl& url() const { return _url; }
    void setURL(const QUrl& url) { _url = url; }

    const QByteArray& httpMethod() const { return _method; }
    void setHTTPMethod(const QByteArray& method) { _method = method.toUpper(); }

    const QByteArray& httpBody() const { return _body; }
    void setHTTPBody(const QByteArray& body) { _body = body; }

    double timeoutInterval() const { return _timeout; }
    void setTimeoutInterval(double seconds) { _timeout = seconds; }

    CachePolicy cachePolicy() const { return _cachePolicy; }
    void setCachePolicy(CachePolicy policy) { _cachePolicy = policy; }

    // Sets one header field; a null value removes it.
    void setValue(const QString& value, const QString& field);
    QString value(const QString& field) const;
    bool hasValue(const QString& field) const;
    const HeaderFields& allHTTPHeaderFields() const { return _headers; }

private:
    QUrl _url;
    QByteArray _method = "GET";
    HeaderFields _headers;
    QByteArray _body;
    double _timeout = kDefaultTimeoutInterval;
    CachePolicy _cachePolicy = CachePolicy::kUseProtocolCachePolicy;
};

// The HTTP answer to a request, without its body.
struct Response {
    QUrl url;
    int statusCode = 0;
    QString mimeType;      // "text/html", lower case, without parameters
    QString textEncoding;  // the charset parameter, if any
    qint64 expectedContentLength = -1;
    QList<QPair<QByteArray, QByteArray>> headers;

    QByteArray header(const QByteArray& name) const;
};
using OptionalResponse = std::optional<Response>;

// Completed and total unit counts (bytes); total is -1 while unknown.
struct Progress {
    qint64 completedUnitCount = 0;
    qint64 totalUnitCount = -1;
    double fractionCompleted() const {
        return totalUnitCount > 0 ? double(completedUnitCount) / double(totalUnitCount) : 0.0;
    }
};

// Where completions run: the application's main thread (the default), or a
// pool of worker threads (the "global concurrent queue").
class CompletionQueue {
public:
    enum class Kind { kMainThread, kGlobalConcurrent };

    static CompletionQueue mainQueue() { return CompletionQueue(Kind::kMainThread); }
    static CompletionQueue globalConcurrentQueue() {
        return CompletionQueue(Kind::kGlobalConcurrent);
    }

    Kind kind() const { return _kind; }
    // Runs job on this queue, later (never inside the caller's stack frame).
    void dispatch(std::function<void()> job) const;
    // True when the calling thread is the application's main thread.
    static bool isMainThread();

private:
    explicit CompletionQueue(Kind kind) : _kind(kind) {}
    Kind _kind;
};

// The text of an HTTP status code, as shown in "Request failed: %@ (%ld)".
QString localizedStringForStatusCode(int statusCode);

}  // namespace zq::net
