#pragma once

#include "net/AFHTTPRequestSerializer.h"
#include "net/AFURLSessionManager.h"

// A session client that builds its requests itself: GET and POST from an
// address, parameters and extra header fields, through its request builder
// (AFHTTPRequestSerializer by default; its default header fields, timeout and
// cache policy apply), answered through its response parser
// (AFJSONResponseSerializer by default).
class AFHTTPSessionManager : public AFURLSessionManager {
public:
    using Success = std::function<void(AFURLSessionTask* task, const QVariant& responseObject)>;
    using Failure = std::function<void(AFURLSessionTask* task, const zq::net::Error& error)>;

    explicit AFHTTPSessionManager(const zq::net::SessionConfiguration& configuration =
                                      zq::net::SessionConfiguration::defaultSessionConfiguration());
    ~AFHTTPSessionManager() override;

    static std::shared_ptr<AFHTTPSessionManager> create(
        const zq::net::SessionConfiguration& configuration =
            zq::net::SessionConfiguration::defaultSessionConfiguration());

    std::shared_ptr<AFHTTPRequestSerializer> requestSerializer() const {
        return _requestSerializer;
    }
    void setRequestSerializer(std::shared_ptr<AFHTTPRequestSerializer> serializer);

    // Build, send (already resumed) and call success (task, parsed body) or
    // failure (task, error), once, on the completion queue. Extra header
    // fields are set after the builder's own. A request that cannot be built
    // fails at once (still through the completion queue) and returns null.
    std::shared_ptr<AFURLSessionTask> GET(const QString& URLString, const QVariant& parameters,
                                          const QVariantMap& headers,
                                          ProgressBlock downloadProgress, Success success,
                                          Failure failure);
    std::shared_ptr<AFURLSessionTask> POST(const QString& URLString, const QVariant& parameters,
                                           const QVariantMap& headers, ProgressBlock uploadProgress,
                                           Success success, Failure failure);

private:
    std::shared_ptr<AFURLSessionTask> send(const QByteArray& method, const QString& URLString,
                                           const QVariant& parameters, const QVariantMap& headers,
                                           ProgressBlock uploadProgress,
                                           ProgressBlock downloadProgress, Success success,
                                           Failure failure);

    std::shared_ptr<AFHTTPRequestSerializer> _requestSerializer;
};
