#include "net/AFHTTPResponseSerializer.h"

#include <QJsonArray>
#include <QJsonDocument>

using zq::net::Error;
using zq::net::OptionalError;
using zq::net::Response;

AFHTTPResponseSerializer::AFHTTPResponseSerializer() {
    for (int code = 200; code < 300; ++code)
        _statusCodes.insert(code);
}

AFHTTPResponseSerializer::~AFHTTPResponseSerializer() = default;

std::shared_ptr<AFHTTPResponseSerializer> AFHTTPResponseSerializer::serializer() {
    return std::make_shared<AFHTTPResponseSerializer>();
}

bool AFHTTPResponseSerializer::validateResponse(const Response& response, const QByteArray& data,
                                                OptionalError* error) const {
    const QVariantMap info{{QStringLiteral("statusCode"), response.statusCode},
                           {QStringLiteral("mimeType"), response.mimeType},
                           {QStringLiteral("url"), response.url.toString()}};
    OptionalError found;
    if (_contentTypes && !_contentTypes->contains(response.mimeType) &&
        !(response.mimeType.isEmpty() && data.isEmpty())) {
        found = Error::make(
            QString::fromLatin1(zq::net::kResponseErrorDomain), zq::net::kErrorCannotDecodeContent,
            QStringLiteral("Request failed: unacceptable content-type: %1")
                .arg(response.mimeType.isEmpty() ? QStringLiteral("(null)") : response.mimeType),
            info);
    }
    if (!_statusCodes.contains(response.statusCode)) {
        found = Error::make(QString::fromLatin1(zq::net::kResponseErrorDomain),
                            zq::net::kErrorBadServerResponse,
                            QStringLiteral("Request failed: %1 (%2)")
                                .arg(zq::net::localizedStringForStatusCode(response.statusCode))
                                .arg(response.statusCode),
                            info);
    }
    if (found && error)
        *error = found;
    return !found;
}

QVariant AFHTTPResponseSerializer::responseObjectForResponse(const Response& response,
                                                             const QByteArray& data,
                                                             OptionalError* error) const {
    OptionalError invalid;
    if (!validateResponse(response, data, &invalid)) {
        if (error)
            *error = invalid;
        if (invalid->code == zq::net::kErrorCannotDecodeContent)
            return {};
    }
    return QVariant(data);
}

AFJSONResponseSerializer::AFJSONResponseSerializer() {
    setAcceptableContentTypes(QSet<QString>{QStringLiteral("application/json"),
                                            QStringLiteral("text/json"),
                                            QStringLiteral("text/javascript")});
}

std::shared_ptr<AFJSONResponseSerializer> AFJSONResponseSerializer::serializer() {
    return std::make_shared<AFJSONResponseSerializer>();
}

std::optional<QVariant> AFJSONResponseSerializer::parseJSON(const QByteArray& data,
                                                            OptionalError* error) {
    if (data.trimmed().isEmpty())
        return QVariant();
    // Wrapping the text in an array lets the document parser read bare values
    // ("12", "\"text\"", "null") as well as objects and arrays; more than one
    // element means the text was not one JSON value.
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson('[' + data + ']', &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isArray() ||
        document.array().size() != 1) {
        if (error) {
            const QString reason = parseError.error != QJsonParseError::NoError
                                       ? QStringLiteral("%1 at offset %2")
                                             .arg(parseError.errorString())
                                             .arg(qMax(0, parseError.offset - 1))
                                       : QStringLiteral("more than one value");
            *error = Error::make(QString::fromLatin1(zq::net::kResponseErrorDomain),
                                 zq::net::kErrorCannotDecodeContent,
                                 QStringLiteral("JSON text did not parse: %1").arg(reason));
        }
        return std::nullopt;
    }
    const QJsonValue value = document.array().at(0);
    if (value.isNull())
        return QVariant::fromValue(nullptr);
    return value.toVariant();
}

QVariant AFJSONResponseSerializer::responseObjectForResponse(const Response& response,
                                                             const QByteArray& data,
                                                             OptionalError* error) const {
    OptionalError invalid;
    if (!validateResponse(response, data, &invalid)) {
        if (invalid->code == zq::net::kErrorCannotDecodeContent) {
            if (error)
                *error = invalid;
            return {};
        }
    }
    OptionalError parseError;
    const std::optional<QVariant> parsed = parseJSON(data, &parseError);
    if (parseError) {
        parseError->userInfo = {{QStringLiteral("statusCode"), response.statusCode},
                                {QStringLiteral("mimeType"), response.mimeType},
                                {QStringLiteral("url"), response.url.toString()}};
    }
    if (error)
        *error = invalid ? invalid : parseError;
    return parsed.value_or(QVariant());
}
