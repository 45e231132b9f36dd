#pragma once

#include "net/AFHTTPResponseSerializer.h"
#include "net/AFSecurityPolicy.h"
#include "net/NetTypes.h"

#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>

namespace zq::net {

class SessionCore;
struct TaskState;

// Settings a session client is created from.
struct SessionConfiguration {
    // Header fields added to every request that does not set them itself.
    QList<QPair<QString, QString>> HTTPAdditionalHeaders;
    // Upper bound of a request's idle time, whatever the request says (seconds).
    double timeoutIntervalForRequest = 60.0;

    static SessionConfiguration defaultSessionConfiguration() { return {}; }
};

}  // namespace zq::net

// One request in flight (or waiting to be resumed) in a session client.
// Handles are shared; a task lives until its completion has been delivered.
class AFURLSessionTask {
public:
    enum class State { kSuspended, kRunning, kCanceling, kCompleted };

    State state() const;
    // The answer, once its headers arrived; none before and for failures
    // without an answer. Read it from the completion.
    zq::net::OptionalResponse response() const;

    // Starts the request (once; later calls do nothing). May be called from
    // any thread; the network work happens on the application's main thread.
    void resume();
    // Cancels the task: its completion runs with the transport error
    // kErrorCancelled. Does nothing after completion.
    void cancel();

private:
    friend class AFURLSessionManager;
    explicit AFURLSessionTask(std::shared_ptr<zq::net::TaskState> state,
                              std::shared_ptr<zq::net::SessionCore> core);
    std::shared_ptr<zq::net::TaskState> _state;
    std::shared_ptr<zq::net::SessionCore> _core;
};

// A session client: its own connection state (a QNetworkAccessManager of its
// own, living on the application's main thread), one response parser, a
// completion queue and the tasks it started.
//
// Every task's completion is called exactly once, on the completion queue
// (the main thread unless setCompletionQueue() says otherwise), with the
// answer (none when no answer arrived), the parsed body and the error:
//   - transport failure (no connection, connection closed, timeout,
//     cancellation): an error in kTransportErrorDomain, and whatever body
//     arrived as raw bytes;
//   - an answer whose content codings cannot be undone (ContentDecoder.h):
//     an error in kResponseErrorDomain (kErrorCannotDecodeRawData, or
//     kErrorDataLengthExceedsMaximum past the decoded-size bound) and no body;
//   - otherwise the response parser's result (AFHTTPResponseSerializer.h) on
//     the decoded body.
// Requests that name no "Accept-Encoding" go out with "gzip, deflate"; the
// codings of every answer are undone as its bytes arrive, whatever the
// request said. The timeout is the request's timeoutInterval (bounded by the
// configuration's), counted from the start and restarted whenever bytes move.
//
// Thread use: create, resume, cancel and invalidate from any thread. A client
// stays alive while a task of it runs; completions may hold the client.
class AFURLSessionManager {
public:
    using TaskCompletion =
        std::function<void(const zq::net::OptionalResponse& response,
                           const QVariant& responseObject, const zq::net::OptionalError& error)>;
    using ProgressBlock = std::function<void(const zq::net::Progress& progress)>;

    explicit AFURLSessionManager(const zq::net::SessionConfiguration& configuration =
                                     zq::net::SessionConfiguration::defaultSessionConfiguration());
    virtual ~AFURLSessionManager();
    AFURLSessionManager(const AFURLSessionManager&) = delete;
    AFURLSessionManager& operator=(const AFURLSessionManager&) = delete;

    static std::shared_ptr<AFURLSessionManager> create(
        const zq::net::SessionConfiguration& configuration =
            zq::net::SessionConfiguration::defaultSessionConfiguration());

    const zq::net::SessionConfiguration& configuration() const { return _configuration; }

    std::shared_ptr<AFHTTPResponseSerializer> responseSerializer() const {
        return _responseSerializer;
    }
    void setResponseSerializer(std::shared_ptr<AFHTTPResponseSerializer> serializer);

    std::shared_ptr<AFSecurityPolicy> securityPolicy() const { return _securityPolicy; }
    void setSecurityPolicy(std::shared_ptr<AFSecurityPolicy> policy);

    zq::net::CompletionQueue completionQueue() const { return _completionQueue; }
    void setCompletionQueue(zq::net::CompletionQueue queue) { _completionQueue = queue; }

    // A task that sends the request as it is (body included); download
    // progress is reported on the main thread when asked for. Not started
    // until resume().
    std::shared_ptr<AFURLSessionTask> dataTaskWithRequest(const zq::net::Request& request,
                                                          ProgressBlock uploadProgress,
                                                          ProgressBlock downloadProgress,
                                                          TaskCompletion completion);
    // A task that streams the request's body; upload progress is reported on
    // the main thread when asked for.
    std::shared_ptr<AFURLSessionTask> uploadTaskWithStreamedRequest(const zq::net::Request& request,
                                                                    ProgressBlock uploadProgress,
                                                                    TaskCompletion completion);

    // Number of tasks created and not yet completed.
    int outstandingTaskCount() const;

    // Ends the client: no task can be started any more (a task resumed later
    // completes with kErrorSessionInvalidated); with cancelPendingTasks every
    // outstanding task is cancelled; with resetSession the connection state
    // (open connections, their caches) is dropped. Completions of cancelled
    // tasks still run, once each.
    void invalidateSessionCancelingTasks(bool cancelPendingTasks, bool resetSession);
    bool isInvalidated() const;

private:
    std::shared_ptr<AFURLSessionTask> makeTask(const zq::net::Request& request, bool upload,
                                               ProgressBlock uploadProgress,
                                               ProgressBlock downloadProgress,
                                               TaskCompletion completion);

    zq::net::SessionConfiguration _configuration;
    std::shared_ptr<zq::net::SessionCore> _core;
    std::shared_ptr<AFHTTPResponseSerializer> _responseSerializer;
    std::shared_ptr<AFSecurityPolicy> _securityPolicy;
    zq::net::CompletionQueue _completionQueue = zq::net::CompletionQueue::mainQueue();
};
