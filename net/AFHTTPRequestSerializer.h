#pragma once

#include "net/NetTypes.h"

#include <QSet>
#include <QVariant>

#include <memory>

// Request builders of the HTTP client layer.
//
// A builder holds default header fields that every request it builds
// receives, a timeout and a cache policy, and builds a request from a method,
// an address and parameters. Parameters are percent-escaped key=value pairs
// joined by "&": for "GET", "HEAD" and "DELETE" they go into the address's
// query; otherwise into the body, as "application/x-www-form-urlencoded" form
// text (AFHTTPRequestSerializer) or as a JSON document with the content type
// "application/json" (AFJSONRequestSerializer). A content type already set on
// the builder is kept.
//
// Default header fields of a new builder:
//   "Accept-Language"  the user's preferred languages, "%@;q=%0.1g" each,
//                      joined by ", " ("zh-CN;q=1, en;q=0.9")
//   "User-Agent"       "%@/%@ (Mac OS X %@)": application name, application
//                      version, system version
class AFHTTPRequestSerializer {
public:
    AFHTTPRequestSerializer();
    virtual ~AFHTTPRequestSerializer();

    static std::shared_ptr<AFHTTPRequestSerializer> serializer();

    // Sets a default header field; a null value removes it.
    void setValue(const QString& value, const QString& field);
    QString value(const QString& field) const;
    const zq::net::HeaderFields& HTTPRequestHeaders() const { return _headers; }

    double timeoutInterval() const { return _timeout; }
    void setTimeoutInterval(double seconds) { _timeout = seconds; }
    zq::net::CachePolicy cachePolicy() const { return _cachePolicy; }
    void setCachePolicy(zq::net::CachePolicy policy) { _cachePolicy = policy; }

    // Methods whose parameters go into the query ("GET", "HEAD", "DELETE").
    const QSet<QByteArray>& HTTPMethodsEncodingParametersInURI() const { return _queryMethods; }

    // Builds a request. A null parameters value adds nothing. Returns none and
    // fills *error (when given) for an address that does not parse or
    // parameters that cannot be serialised.
    std::optional<zq::net::Request> requestWithMethod(const QByteArray& method,
                                                      const QString& URLString,
                                                      const QVariant& parameters,
                                                      zq::net::OptionalError* error) const;

    // The form text of parameters: keys in ascending order, nested maps as
    // "key[sub]", lists as "key[]", null values as the bare key.
    static QByteArray queryStringFromParameters(const QVariant& parameters);
    // Percent-escapes everything but ASCII letters, digits and "-._~/?".
    static QByteArray percentEscaped(const QString& text);

    // Default values of the two headers, computed once per process.
    static QString defaultAcceptLanguage();
    static QString defaultUserAgent();

protected:
    // Puts non-null parameters into the body of a request whose method is not
    // in HTTPMethodsEncodingParametersInURI.
    virtual bool encodeBody(zq::net::Request& request, const QVariant& parameters,
                            zq::net::OptionalError* error) const;

private:
    zq::net::HeaderFields _headers;
    double _timeout = zq::net::Request::kDefaultTimeoutInterval;
    zq::net::CachePolicy _cachePolicy = zq::net::CachePolicy::kUseProtocolCachePolicy;
    QSet<QByteArray> _queryMethods{"GET", "HEAD", "DELETE"};
};

class AFJSONRequestSerializer : public AFHTTPRequestSerializer {
public:
    static std::shared_ptr<AFJSONRequestSerializer> serializer();

protected:
    bool encodeBody(zq::net::Request& request, const QVariant& parameters,
                    zq::net::OptionalError* error) const override;
};
