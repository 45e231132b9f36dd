#include "net/AFHTTPSessionManager.h"

#include <utility>

using zq::net::OptionalError;
using zq::net::OptionalResponse;

AFHTTPSessionManager::AFHTTPSessionManager(const zq::net::SessionConfiguration& configuration)
    : AFURLSessionManager(configuration),
      _requestSerializer(AFHTTPRequestSerializer::serializer()) {}

AFHTTPSessionManager::~AFHTTPSessionManager() = default;

std::shared_ptr<AFHTTPSessionManager> AFHTTPSessionManager::create(
    const zq::net::SessionConfiguration& configuration) {
    return std::make_shared<AFHTTPSessionManager>(configuration);
}

void AFHTTPSessionManager::setRequestSerializer(
    std::shared_ptr<AFHTTPRequestSerializer> serializer) {
    _requestSerializer = serializer ? std::move(serializer) : AFHTTPRequestSerializer::serializer();
}

std::shared_ptr<AFURLSessionTask> AFHTTPSessionManager::GET(const QString& URLString,
                                                            const QVariant& parameters,
                                                            const QVariantMap& headers,
                                                            ProgressBlock downloadProgress,
                                                            Success success, Failure failure) {
    return send("GET", URLString, parameters, headers, nullptr, std::move(downloadProgress),
                std::move(success), std::move(failure));
}

std::shared_ptr<AFURLSessionTask> AFHTTPSessionManager::POST(const QString& URLString,
                                                             const QVariant& parameters,
                                                             const QVariantMap& headers,
                                                             ProgressBlock uploadProgress,
                                                             Success success, Failure failure) {
    return send("POST", URLString, parameters, headers, std::move(uploadProgress), nullptr,
                std::move(success), std::move(failure));
}

std::shared_ptr<AFURLSessionTask> AFHTTPSessionManager::send(
    const QByteArray& method, const QString& URLString, const QVariant& parameters,
    const QVariantMap& headers, ProgressBlock uploadProgress, ProgressBlock downloadProgress,
    Success success, Failure failure) {
    OptionalError buildError;
    std::optional<zq::net::Request> request =
        _requestSerializer->requestWithMethod(method, URLString, parameters, &buildError);
    if (!request) {
        if (failure) {
            completionQueue().dispatch(
                [failure = std::move(failure), error = *buildError] { failure(nullptr, error); });
        }
        return nullptr;
    }
    for (auto it = headers.cbegin(); it != headers.cend(); ++it)
        request->setValue(it.value().toString(), it.key());

    // The completion needs the task it reports on; the task is made after the
    // completion, so the completion reaches it through this shared slot, which
    // it empties once it has run (the slot keeps the handle alive until then).
    auto slot = std::make_shared<std::shared_ptr<AFURLSessionTask>>();
    auto completion = [slot, success = std::move(success), failure = std::move(failure)](
                          const OptionalResponse&, const QVariant& object,
                          const OptionalError& error) {
        std::shared_ptr<AFURLSessionTask> task = std::exchange(*slot, nullptr);
        if (error) {
            if (failure)
                failure(task.get(), *error);
        } else if (success) {
            success(task.get(), object);
        }
    };
    std::shared_ptr<AFURLSessionTask> task = dataTaskWithRequest(
        *request, std::move(uploadProgress), std::move(downloadProgress), std::move(completion));
    *slot = task;
    task->resume();
    return task;
}
