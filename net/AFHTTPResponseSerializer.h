#pragma once

#include "net/NetTypes.h"

#include <QSet>
#include <QVariant>

#include <memory>

// Response parsers of the HTTP client layer.
//
// Every completed task's answer is validated, then parsed:
//   1. a status code outside the acceptable codes (200 to 299) gives an error
//      "Request failed: <status text> (<code>)" (kErrorBadServerResponse); the
//      body is still parsed and delivered;
//   2. when acceptable content types are set and the answer's MIME type is not
//      among them, the error is "Request failed: unacceptable content-type:
//      <type>" (kErrorCannotDecodeContent) and nothing is delivered; when both
//      checks fail, the status error is the one reported;
//   3. AFHTTPResponseSerializer delivers the body bytes (a QByteArray in the
//      QVariant); AFJSONResponseSerializer the parsed JSON value (QVariantMap,
//      QVariantList, QString, a number, a bool, or a null std::nullptr_t
//      QVariant for JSON null), or an invalid QVariant for an empty body.
class AFHTTPResponseSerializer {
public:
    AFHTTPResponseSerializer();
    virtual ~AFHTTPResponseSerializer();

    static std::shared_ptr<AFHTTPResponseSerializer> serializer();

    const QSet<int>& acceptableStatusCodes() const { return _statusCodes; }
    void setAcceptableStatusCodes(const QSet<int>& codes) { _statusCodes = codes; }

    // None switches the content-type check off.
    const std::optional<QSet<QString>>& acceptableContentTypes() const { return _contentTypes; }
    void setAcceptableContentTypes(const std::optional<QSet<QString>>& types) {
        _contentTypes = types;
    }

    // True when the answer passes both checks; otherwise fills *error.
    bool validateResponse(const zq::net::Response& response, const QByteArray& data,
                          zq::net::OptionalError* error) const;

    // Validates and parses. *error receives the validation or parse error.
    virtual QVariant responseObjectForResponse(const zq::net::Response& response,
                                               const QByteArray& data,
                                               zq::net::OptionalError* error) const;

private:
    QSet<int> _statusCodes;
    std::optional<QSet<QString>> _contentTypes;
};

class AFJSONResponseSerializer : public AFHTTPResponseSerializer {
public:
    // Accepts "application/json", "text/json" and "text/javascript" until
    // told otherwise.
    AFJSONResponseSerializer();
    static std::shared_ptr<AFJSONResponseSerializer> serializer();

    QVariant responseObjectForResponse(const zq::net::Response& response, const QByteArray& data,
                                       zq::net::OptionalError* error) const override;

    // Parses any JSON text (objects, arrays and bare values alike). None and
    // *error (kErrorCannotDecodeContent) when it does not parse.
    static std::optional<QVariant> parseJSON(const QByteArray& data, zq::net::OptionalError* error);
};
