#include "net/VeskoNetworking.h"

#include "crypto/PingbackUtil.h"
#include "net/AFHTTPSessionManager.h"
#include "net/NetLog.h"
#include "platform/Values.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSemaphore>

#include <array>
#include <memory>

using zq::net::CompletionQueue;
using zq::net::Error;
using zq::net::OptionalError;
using zq::net::OptionalResponse;
using zq::net::Request;

namespace {

using platform::textForm;

using KeyIv = std::array<unsigned char, PingbackUtil::kAesKeyIvLength>;

// Ties a handler to a context object: once the context is gone the handler
// is not called.
template <typename... Args>
std::function<void(Args...)> guarded(QObject* context, std::function<void(Args...)> handler) {
    if (!handler || !context)
        return handler;
    QPointer<QObject> guard(context);
    return [guard, handler = std::move(handler)](Args... args) {
        if (guard)
            handler(args...);
    };
}

// Runs job on the main thread: at once when the caller is on it, otherwise queued.
void onMainThread(std::function<void()> job) {
    if (CompletionQueue::isMainThread())
        job();
    else
        CompletionQueue::mainQueue().dispatch(std::move(job));
}

QByteArray plainAnswer(const QVariant& object) {
    return object.typeId() == QMetaType::QByteArray ? object.toByteArray() : QByteArray();
}

std::shared_ptr<AFHTTPResponseSerializer> rawParser(
    const std::optional<QSet<QString>>& contentTypes) {
    auto parser = AFHTTPResponseSerializer::serializer();
    parser->setAcceptableContentTypes(contentTypes);
    return parser;
}

// Decrypts a status-200 answer of the wall with the request's key and IV.
QByteArray decryptAnswer(const QByteArray& body, const KeyIv& keyIv) {
    std::uint32_t size = 0;
    return PingbackUtil::DecryptHttpRequest(QString::fromUtf8(body), &size, keyIv.data());
}

void encryptedWallPost(const QString& url, const QVariantMap& header, const QByteArray& postData,
                       bool deflateOnly, VeskoNetworking::DataHandler handler) {
    auto keyIv = std::make_shared<KeyIv>();
    keyIv->fill(0);
    QString newUrl;
    QByteArray newBody;
    const std::int32_t result =
        PingbackUtil::EncryptHttpRequest(url, postData, &newUrl, &newBody, keyIv->data());
    if (result != PingbackUtil::kSuccess) {
        qCDebug(lcNet) << "encryption failed with" << result << "for" << url;
        if (handler)
            onMainThread([handler] { handler({}, std::nullopt, VeskoNetworking::encryptError()); });
        return;
    }

    auto manager = AFHTTPSessionManager::create();
    manager->setResponseSerializer(rawParser(VeskoNetworking::getAcceptContentTypes()));
    auto builder = AFHTTPRequestSerializer::serializer();
    builder->setValue(QString::number(newBody.size()), QStringLiteral("Content-Length"));
    builder->setValue(QStringLiteral("application/octet-stream"), QStringLiteral("Content-Type"));
    builder->setValue(QStringLiteral("no-cache"), QStringLiteral("Cache-Control"));
    if (deflateOnly)
        builder->setValue(QStringLiteral("deflate"), QStringLiteral("Accept-Encoding"));
    for (auto it = header.cbegin(); it != header.cend(); ++it)
        builder->setValue(textForm(it.value()), it.key());
    builder->setTimeoutInterval(VeskoNetworking::kTimeoutInterval);
    manager->setRequestSerializer(builder);

    OptionalError buildError;
    std::optional<Request> request = builder->requestWithMethod("POST", newUrl, {}, &buildError);
    if (!request) {
        if (handler)
            onMainThread([handler, buildError] { handler({}, std::nullopt, buildError); });
        return;
    }
    request->setTimeoutInterval(VeskoNetworking::kTimeoutInterval);
    request->setHTTPBody(newBody);

    auto task = manager->dataTaskWithRequest(
        *request, nullptr, nullptr,
        [manager, keyIv, handler](const OptionalResponse& response, const QVariant& object,
                                  const OptionalError& error) {
            manager->invalidateSessionCancelingTasks(true, true);
            if (!handler)
                return;
            const QByteArray body = plainAnswer(object);
            if (error) {
                handler(body, response, error);
            } else if (!response || response->statusCode != 200) {
                handler({}, response, std::nullopt);
            } else {
                const QByteArray plain = decryptAnswer(body, *keyIv);
                if (plain.isNull())
                    handler({}, response, VeskoNetworking::decryptError());
                else
                    handler(plain, response, std::nullopt);
            }
        });
    task->resume();
}

// Completion of the plain data operations.
AFURLSessionManager::TaskCompletion dataCompletion(std::shared_ptr<AFURLSessionManager> manager,
                                                   VeskoNetworking::DataHandler handler) {
    return [manager, handler](const OptionalResponse& response, const QVariant& object,
                              const OptionalError& error) {
        manager->invalidateSessionCancelingTasks(true, true);
        if (!handler)
            return;
        const QByteArray body = plainAnswer(object);
        if (error)
            handler({}, response, error);
        else if (!body.isEmpty())
            handler(body, response, std::nullopt);
        else
            handler({}, response, VeskoNetworking::responseIsNilError());
    };
}

// Outcome of the JSON operations from the parsed answer.
void deliverObject(const QVariant& object, const VeskoNetworking::ObjectHandler& handler) {
    if (!handler)
        return;
    if (!object.isValid()) {
        handler({}, VeskoNetworking::responseIsNilError());
        return;
    }
    if (object.typeId() == QMetaType::QVariantMap) {
        handler(object, std::nullopt);
        return;
    }
    if (object.typeId() == QMetaType::QByteArray) {
        const std::optional<QVariant> parsed =
            AFJSONResponseSerializer::parseJSON(object.toByteArray(), nullptr);
        if (parsed && parsed->isValid())
            handler(*parsed, std::nullopt);
        else
            handler({}, VeskoNetworking::responseNotJSONError());
        return;
    }
    handler({}, VeskoNetworking::responseNotJSONError());
}

void jsonOperation(const QByteArray& method, const QString& url, const QVariant& parameters,
                   const QVariantMap& header, VeskoNetworking::ObjectHandler handler) {
    auto manager = AFHTTPSessionManager::create();
    std::shared_ptr<AFHTTPRequestSerializer> builder =
        method == "GET"
            ? std::shared_ptr<AFHTTPRequestSerializer>(AFJSONRequestSerializer::serializer())
            : AFHTTPRequestSerializer::serializer();
    builder->setTimeoutInterval(VeskoNetworking::kTimeoutInterval);
    builder->setCachePolicy(zq::net::CachePolicy::kReloadIgnoringLocalAndRemoteCacheData);
    manager->setRequestSerializer(builder);
    auto parser = AFJSONResponseSerializer::serializer();
    parser->setAcceptableContentTypes(VeskoNetworking::getAcceptContentTypes());
    manager->setResponseSerializer(parser);

    auto success = [manager, handler](AFURLSessionTask*, const QVariant& object) {
        manager->invalidateSessionCancelingTasks(true, true);
        deliverObject(object, handler);
    };
    auto failure = [handler](AFURLSessionTask*, const Error& error) {
        if (handler)
            handler({}, error);
    };
    if (method == "GET")
        manager->GET(url, parameters, header, nullptr, success, failure);
    else
        manager->POST(url, parameters, header, nullptr, success, failure);
}

// A request built from the address alone, as the plain data operations and
// the synchronous POST send it.
Request plainRequest(const QString& url, const QVariantMap& header) {
    Request request{QUrl(url, QUrl::TolerantMode)};
    request.setTimeoutInterval(VeskoNetworking::kTimeoutInterval);
    request.setCachePolicy(zq::net::CachePolicy::kReloadIgnoringLocalCacheData);
    for (auto it = header.cbegin(); it != header.cend(); ++it)
        request.setValue(textForm(it.value()), it.key());
    return request;
}

Request multipartRequest(const QString& url, const QVariantMap& header, const QString& boundary,
                         const QByteArray& body, const QString& acceptEncoding) {
    Request request{QUrl(url, QUrl::TolerantMode)};
    request.setHTTPMethod("POST");
    request.setTimeoutInterval(VeskoNetworking::kTimeoutInterval);
    request.setCachePolicy(zq::net::CachePolicy::kReloadIgnoringLocalCacheData);
    for (auto it = header.cbegin(); it != header.cend(); ++it)
        request.setValue(textForm(it.value()), it.key());
    request.setValue(QStringLiteral("multipart/form-data; boundary=%1").arg(boundary),
                     QStringLiteral("Content-Type"));
    request.setValue(QString::number(body.size()), QStringLiteral("Content-Length"));
    request.setValue(acceptEncoding, QStringLiteral("Accept-Encoding"));
    request.setHTTPBody(body);
    return request;
}

}  // namespace

// ------------------------------------------------------------ the wall

void VeskoNetworking::sendPostRequestByEW(const QString& url, const QVariantMap& header,
                                          const QByteArray& postData, DataHandler completionHandler,
                                          QObject* context) {
    encryptedWallPost(url, header, postData, false, guarded(context, std::move(completionHandler)));
}

void VeskoNetworking::sendRequestWithoutGzipByEW(const QString& url, const QVariantMap& header,
                                                 const QByteArray& postData,
                                                 DataHandler completionHandler, QObject* context) {
    encryptedWallPost(url, header, postData, true, guarded(context, std::move(completionHandler)));
}

void VeskoNetworking::sendUploadMutiPartRequestByEW(
    const QString& url, const QString& domainUrl, const QVariantMap& parameters,
    const QVariantMap& header, const QString& boundary, const QString& fileName,
    const QByteArray& fileData, UploadHandler completionHandler, QObject* context) {
    UploadHandler handler = guarded(context, std::move(completionHandler));
    const QByteArray body = multipartBody(parameters, boundary, fileName, fileData);
    auto keyIv = std::make_shared<KeyIv>();
    keyIv->fill(0);
    QString newUrl;
    QByteArray newBody;
    if (PingbackUtil::EncryptHttpRequest(url, body, &newUrl, &newBody, keyIv->data()) !=
        PingbackUtil::kSuccess) {
        if (handler)
            onMainThread([handler] { handler(std::nullopt, {}, encryptError()); });
        return;
    }

    auto manager = AFURLSessionManager::create();
    manager->setResponseSerializer(rawParser(getAcceptContentTypes()));
    const Request request =
        multipartRequest(domainUrl, header, boundary, newBody, QStringLiteral("gzip, deflate"));
    // The session is left to end with its task: not invalidated.
    auto task = manager->uploadTaskWithStreamedRequest(
        request, nullptr,
        [keyIv, handler](const OptionalResponse& response, const QVariant& object,
                         const OptionalError& error) {
            if (!handler)
                return;
            const QByteArray answer = plainAnswer(object);
            if (error) {
                handler(response, answer, error);
            } else if (!response || response->statusCode != 200) {
                handler(response, {}, std::nullopt);
            } else {
                const QByteArray plain = decryptAnswer(answer, *keyIv);
                if (plain.isNull())
                    handler(response, {}, decryptError());
                else
                    handler(response, plain, std::nullopt);
            }
        });
    task->resume();
}

// ------------------------------------------------------- the plain family

void VeskoNetworking::sendPostRequest(const QString& url, const QVariant& parameters,
                                      const QVariantMap& header, ObjectHandler completeDictHandler,
                                      QObject* context) {
    jsonOperation("POST", url, parameters, header,
                  guarded(context, std::move(completeDictHandler)));
}

void VeskoNetworking::sendGetRequest(const QString& url, const QVariant& parameters,
                                     const QVariantMap& header, ObjectHandler completionHandler,
                                     QObject* context) {
    jsonOperation("GET", url, parameters, header, guarded(context, std::move(completionHandler)));
}

void VeskoNetworking::sendPostRequest(const QString& url, const QVariant& /*parameters*/,
                                      const QVariantMap& header, const QByteArray& bodyData,
                                      DataHandler completeDataHandler, QObject* context) {
    DataHandler handler = guarded(context, std::move(completeDataHandler));
    auto builder = AFHTTPRequestSerializer::serializer();
    builder->setValue(QString::number(bodyData.size()), QStringLiteral("Content-Length"));
    builder->setValue(QStringLiteral("application/octet-stream"), QStringLiteral("Content-Type"));
    builder->setValue(QStringLiteral("no-cache"), QStringLiteral("Cache-Control"));
    for (auto it = header.cbegin(); it != header.cend(); ++it)
        builder->setValue(textForm(it.value()), it.key());
    builder->setTimeoutInterval(kTimeoutInterval);

    OptionalError buildError;
    std::optional<Request> request = builder->requestWithMethod("POST", url, {}, &buildError);
    if (!request) {
        if (handler)
            onMainThread([handler, buildError] { handler({}, std::nullopt, buildError); });
        return;
    }
    request->setTimeoutInterval(kTimeoutInterval);
    request->setHTTPBody(bodyData);

    auto manager = AFHTTPSessionManager::create();
    manager->setRequestSerializer(builder);
    manager->setResponseSerializer(rawParser(getAcceptContentTypes()));
    manager->dataTaskWithRequest(*request, nullptr, nullptr, dataCompletion(manager, handler))
        ->resume();
}

void VeskoNetworking::sendPostRequest(const QString& url, const QVariant& /*parameters*/,
                                      const QVariantMap& header, DataHandler completeDataHandler,
                                      QObject* context) {
    DataHandler handler = guarded(context, std::move(completeDataHandler));
    auto manager = AFURLSessionManager::create();
    manager->setResponseSerializer(rawParser(getAcceptContentTypes()));
    manager
        ->dataTaskWithRequest(plainRequest(url, header), nullptr, nullptr,
                              dataCompletion(manager, handler))
        ->resume();
}

void VeskoNetworking::sendGetRequest(const QString& url, const QVariant& /*parameters*/,
                                     ProgressHandler progress, const QVariantMap& header,
                                     DataHandler completeDataHandler, QObject* context) {
    DataHandler handler = guarded(context, std::move(completeDataHandler));
    auto manager = AFURLSessionManager::create();
    manager->setResponseSerializer(rawParser(getAcceptContentTypes()));
    Request request = plainRequest(url, header);
    request.setHTTPMethod("GET");
    manager
        ->dataTaskWithRequest(request, nullptr, guarded(context, std::move(progress)),
                              dataCompletion(manager, handler))
        ->resume();
}

void VeskoNetworking::sendPostRequestBySync(const QString& url, const QVariant& /*parameters*/,
                                            const QVariantMap& header,
                                            SyncHandler completionHandler) {
    if (CompletionQueue::isMainThread() || !QCoreApplication::instance()) {
        qCWarning(lcNet)
            << "sendPostRequestBySync refused: it blocks its caller until the answer has been "
               "handled, and the request needs the main thread's event loop";
        if (completionHandler) {
            completionHandler(
                {},
                Error::make(QString::fromLatin1(zq::net::kRequestErrorDomain), kWouldDeadlockCode,
                            QStringLiteral("sendPostRequestBySync must not be called on the main "
                                           "thread (it would wait for itself)")));
        }
        return;
    }
    auto manager = AFURLSessionManager::create();
    manager->setResponseSerializer(rawParser(getAcceptContentTypes()));
    manager->setCompletionQueue(CompletionQueue::globalConcurrentQueue());
    auto done = std::make_shared<QSemaphore>(0);
    manager
        ->dataTaskWithRequest(
            plainRequest(url, header), nullptr, nullptr,
            [manager, done, completionHandler](const OptionalResponse&, const QVariant& object,
                                               const OptionalError& error) {
                manager->invalidateSessionCancelingTasks(true, true);
                if (completionHandler)
                    completionHandler(plainAnswer(object), error);
                done->release();
            })
        ->resume();
    done->acquire();
}

void VeskoNetworking::sendUploadMutiPartRequest(const QString& url, const QVariantMap& parameters,
                                                const QString& boundary, const QVariantMap& header,
                                                const QString& fileName, const QByteArray& fileData,
                                                ProgressHandler progress,
                                                UploadHandler completionHandler, QObject* context) {
    UploadHandler handler = guarded(context, std::move(completionHandler));
    auto manager = AFURLSessionManager::create();
    manager->setResponseSerializer(rawParser(QSet<QString>{
        QStringLiteral("application/xml"), QStringLiteral("text/xml"), QStringLiteral("text/html"),
        QStringLiteral("application/json"), QStringLiteral("text/javascript"),
        QStringLiteral("text/json"), QStringLiteral("text/plain")}));
    const Request request = multipartRequest(
        url, header, boundary, multipartBody(parameters, boundary, fileName, fileData),
        QStringLiteral("gzip ,deflate"));
    // The session is left to end with its task: not invalidated.
    manager
        ->uploadTaskWithStreamedRequest(
            request, guarded(context, std::move(progress)),
            [handler](const OptionalResponse& response, const QVariant& object,
                      const OptionalError& error) {
                if (handler)
                    handler(response, error ? QByteArray() : plainAnswer(object), error);
            })
        ->resume();
}

// ------------------------------------------------------------- helpers

std::optional<QSet<QString>> VeskoNetworking::getAcceptContentTypes() {
    return std::nullopt;
}

QByteArray VeskoNetworking::multipartBody(const QVariantMap& parameters, const QString& boundary,
                                          const QString& fileName, const QByteArray& fileData) {
    if (boundary.isEmpty())
        return fileData;
    QString fields;
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        fields +=
            QStringLiteral("--%1\r\nContent-Disposition: form-data; name=\"%2\"\r\n\r\n%3\r\n")
                .arg(boundary, it.key(), textForm(it.value()));
    }
    QByteArray body = fields.toUtf8();
    body += QStringLiteral("--%1\r\n").arg(boundary).toUtf8();
    body += QStringLiteral("Content-Disposition: form-data; name=\"file\"; filename=\"%1\"\r\n\r\n")
                .arg(fileName)
                .toUtf8();
    body += fileData;
    body += QStringLiteral("\r\n--%1--\r\n").arg(boundary).toUtf8();
    return body;
}

Error VeskoNetworking::responseIsNilError() {
    return Error::make(QString::fromLatin1(kResponseIsNilDomain), kResponseIsNilCode);
}

Error VeskoNetworking::responseNotJSONError() {
    return Error::make(QString::fromLatin1(kResponseNotJSONDomain), kResponseNotJSONCode);
}

Error VeskoNetworking::encryptError() {
    return Error::make(QString::fromLatin1(kEncryptErrorDomain), kEncryptErrorCode);
}

Error VeskoNetworking::decryptError() {
    return Error::make(QString::fromLatin1(kDecryptErrorDomain), kDecryptErrorCode);
}
