#include "net/AFHTTPRequestSerializer.h"

#include "platform/Values.h"
#include "utility/SystemInfo.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QLocale>
#include <QSysInfo>

using zq::net::Error;
using zq::net::OptionalError;
using zq::net::Request;

namespace {

bool isNullValue(const QVariant& value) {
    return !value.isValid() || value.isNull() || value.typeId() == QMetaType::Nullptr;
}

void collectPairs(const QString& key, const QVariant& value,
                  QList<QPair<QString, QVariant>>& pairs) {
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();  // keys ascending
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            collectPairs(key.isEmpty() ? it.key() : key + u'[' + it.key() + u']', it.value(),
                         pairs);
    } else if (value.typeId() == QMetaType::QVariantHash) {
        const QVariantHash hash = value.toHash();
        QStringList keys = hash.keys();
        keys.sort();
        for (const QString& sub : keys)
            collectPairs(key.isEmpty() ? sub : key + u'[' + sub + u']', hash.value(sub), pairs);
    } else if (value.typeId() == QMetaType::QVariantList ||
               value.typeId() == QMetaType::QStringList) {
        for (const QVariant& element : value.toList())
            collectPairs(key + QStringLiteral("[]"), element, pairs);
    } else {
        pairs.append({key, value});
    }
}

QString appleStyleQuality(int index) {
    // "%0.1g": 1 for the first language, then 0.9, 0.8, ...
    return QString::asprintf("%0.1g", 1.0 - 0.1 * index);
}

QString asciiOnly(const QString& text) {
    QString out;
    for (const QChar c : text) {
        if (c.unicode() >= 0x20 && c.unicode() < 0x7f)
            out.append(c);
    }
    return out;
}

}  // namespace

AFHTTPRequestSerializer::AFHTTPRequestSerializer() {
    setValue(defaultAcceptLanguage(), QStringLiteral("Accept-Language"));
    setValue(defaultUserAgent(), QStringLiteral("User-Agent"));
}

AFHTTPRequestSerializer::~AFHTTPRequestSerializer() = default;

std::shared_ptr<AFHTTPRequestSerializer> AFHTTPRequestSerializer::serializer() {
    return std::make_shared<AFHTTPRequestSerializer>();
}

QString AFHTTPRequestSerializer::defaultAcceptLanguage() {
    static const QString value = [] {
        QStringList languages;
        for (const QString& language : QLocale::system().uiLanguages()) {
            if (language == QLatin1String("C") || language == QLatin1String("POSIX") ||
                languages.contains(language))
                continue;
            languages.append(language);
            if (languages.size() == 6)
                break;
        }
        if (languages.isEmpty())
            languages.append(QStringLiteral("en"));
        QStringList parts;
        for (int i = 0; i < languages.size(); ++i)
            parts.append(QStringLiteral("%1;q=%2").arg(languages[i], appleStyleQuality(i)));
        return parts.join(QStringLiteral(", "));
    }();
    return value;
}

QString AFHTTPRequestSerializer::defaultUserAgent() {
    static const QString value = [] {
        QString name = QCoreApplication::applicationName();
        if (name.isEmpty())
            name = QStringLiteral("ZQAssistPanel");
        QString version = QCoreApplication::applicationVersion();
        if (version.isEmpty())
            version = QStringLiteral(ZQ_PROJECT_VERSION);
        QString system = GetSystemVersion().value_or(QString());
        if (system.isEmpty())
            system = QSysInfo::productVersion();
        return asciiOnly(QStringLiteral("%1/%2 (Mac OS X %3)").arg(name, version, system));
    }();
    return value;
}

void AFHTTPRequestSerializer::setValue(const QString& value, const QString& field) {
    zq::net::setHeaderField(_headers, value, field);
}

QString AFHTTPRequestSerializer::value(const QString& field) const {
    return zq::net::headerField(_headers, field);
}

QByteArray AFHTTPRequestSerializer::percentEscaped(const QString& text) {
    static const QByteArray allowed = QByteArrayLiteral("-._~/?");
    QByteArray out;
    const QByteArray utf8 = text.toUtf8();
    out.reserve(utf8.size());
    for (const char byte : utf8) {
        const auto c = static_cast<unsigned char>(byte);
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
            allowed.contains(char(c))) {
            out.append(char(c));
        } else {
            static const char hex[] = "0123456789ABCDEF";
            out.append('%').append(hex[c >> 4]).append(hex[c & 0xf]);
        }
    }
    return out;
}

QByteArray AFHTTPRequestSerializer::queryStringFromParameters(const QVariant& parameters) {
    QList<QPair<QString, QVariant>> pairs;
    if (!isNullValue(parameters))
        collectPairs(QString(), parameters, pairs);
    QList<QByteArray> parts;
    for (const auto& pair : pairs) {
        if (isNullValue(pair.second))
            parts.append(percentEscaped(pair.first));
        else
            parts.append(percentEscaped(pair.first) + '=' +
                         percentEscaped(platform::textForm(pair.second)));
    }
    return parts.join('&');
}

std::optional<Request> AFHTTPRequestSerializer::requestWithMethod(const QByteArray& method,
                                                                  const QString& URLString,
                                                                  const QVariant& parameters,
                                                                  OptionalError* error) const {
    const QUrl url(URLString, QUrl::TolerantMode);
    if (URLString.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        if (error)
            *error = Error::make(QString::fromLatin1(zq::net::kRequestErrorDomain),
                                 zq::net::kErrorBadURL,
                                 QStringLiteral("unsupported URL: %1").arg(URLString));
        return std::nullopt;
    }
    Request request(url);
    request.setHTTPMethod(method);
    request.setTimeoutInterval(_timeout);
    request.setCachePolicy(_cachePolicy);
    for (const auto& header : _headers)
        request.setValue(header.second, header.first);

    if (isNullValue(parameters))
        return request;
    if (_queryMethods.contains(request.httpMethod())) {
        const QByteArray query = queryStringFromParameters(parameters);
        if (!query.isEmpty()) {
            QByteArray encoded = url.toEncoded();
            const qsizetype hash = encoded.indexOf('#');
            const QByteArray fragment = hash >= 0 ? encoded.mid(hash) : QByteArray();
            if (hash >= 0)
                encoded.truncate(hash);
            encoded += (url.hasQuery() ? "&" : "?") + query + fragment;
            request.setURL(QUrl::fromEncoded(encoded, QUrl::TolerantMode));
        }
        return request;
    }
    if (!encodeBody(request, parameters, error))
        return std::nullopt;
    return request;
}

bool AFHTTPRequestSerializer::encodeBody(Request& request, const QVariant& parameters,
                                         OptionalError*) const {
    if (!request.hasValue(QStringLiteral("Content-Type")))
        request.setValue(QStringLiteral("application/x-www-form-urlencoded"),
                         QStringLiteral("Content-Type"));
    request.setHTTPBody(queryStringFromParameters(parameters));
    return true;
}

std::shared_ptr<AFJSONRequestSerializer> AFJSONRequestSerializer::serializer() {
    return std::make_shared<AFJSONRequestSerializer>();
}

bool AFJSONRequestSerializer::encodeBody(Request& request, const QVariant& parameters,
                                         OptionalError* error) const {
    const QJsonValue value = QJsonValue::fromVariant(parameters);
    QJsonDocument document;
    if (value.isObject())
        document = QJsonDocument(value.toObject());
    else if (value.isArray())
        document = QJsonDocument(value.toArray());
    else {
        if (error)
            *error = Error::make(QString::fromLatin1(zq::net::kRequestErrorDomain),
                                 zq::net::kErrorCannotSerializeRequest,
                                 QStringLiteral("JSON parameters must be an object or an array"));
        return false;
    }
    if (!request.hasValue(QStringLiteral("Content-Type")))
        request.setValue(QStringLiteral("application/json"), QStringLiteral("Content-Type"));
    request.setHTTPBody(document.toJson(QJsonDocument::Compact));
    return true;
}
