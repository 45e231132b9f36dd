#include "net/AFURLSessionManager.h"

#include "net/ContentDecoder.h"
#include "net/NetLog.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QHash>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <utility>

using zq::net::Error;
using zq::net::OptionalError;
using zq::net::OptionalResponse;
using zq::net::Request;
using zq::net::Response;

namespace zq::net {

struct TaskState {
    enum : int { kSuspended, kRunning, kCanceling, kCompleted };

    quint64 id = 0;
    Request request;
    bool upload = false;
    AFURLSessionManager::ProgressBlock uploadProgress;
    AFURLSessionManager::ProgressBlock downloadProgress;
    AFURLSessionManager::TaskCompletion completion;
    std::shared_ptr<AFHTTPResponseSerializer> serializer;
    std::shared_ptr<AFSecurityPolicy> securityPolicy;
    CompletionQueue queue = CompletionQueue::mainQueue();
    double timeout = Request::kDefaultTimeoutInterval;
    std::atomic<int> state{kSuspended};
    // Resumed after its client was invalidated: it fails instead of starting.
    std::atomic<bool> resumedAfterInvalidation{false};

    // Touched on the main thread only.
    QPointer<QNetworkReply> reply;
    QTimer* timer = nullptr;
    bool timedOut = false;
    bool cancelRequested = false;
    bool uploadSeen = false;
    // The answer's body as it arrives, its content codings undone; the
    // decoder is made when the first body bytes arrive.
    std::unique_ptr<ContentDecoder> decoder;
    QByteArray body;
    qint64 received = 0;  // bytes of the body as sent, before decoding

    mutable QMutex responseMutex;
    OptionalResponse response;
};

// The part of a session client that lives on the application's main thread:
// the connection state and the tasks in flight. It keeps itself alive while
// it has outstanding tasks, so that every task completes even when nobody
// holds the client any more.
class SessionCore : public QObject, public std::enable_shared_from_this<SessionCore> {
public:
    explicit SessionCore(const SessionConfiguration& configuration)
        : _configuration(configuration) {}

    static std::shared_ptr<SessionCore> create(const SessionConfiguration& configuration) {
        std::shared_ptr<SessionCore> core(new SessionCore(configuration), [](SessionCore* c) {
            // The last reference can go while the application tears down its
            // queue of posted events (with that queue locked): then the core
            // is left to the process's end instead of being posted for deletion.
            if (QCoreApplication::instance() && !QCoreApplication::closingDown())
                c->deleteLater();
        });
        if (QCoreApplication* app = QCoreApplication::instance();
            app && core->thread() != app->thread())
            core->moveToThread(app->thread());
        return core;
    }

    void registerTask(const std::shared_ptr<TaskState>& task) {
        QMutexLocker lock(&_mutex);
        if (_tasks.isEmpty())
            _keepAlive = shared_from_this();
        _tasks.insert(task->id, task);
    }

    int outstanding() const {
        QMutexLocker lock(&_mutex);
        return int(_tasks.size());
    }

    bool invalidated() const { return _invalidated.load(); }

    // Runs job on the main thread, later, holding the core.
    void post(std::function<void(SessionCore*)> job) {
        std::shared_ptr<SessionCore> self = shared_from_this();
        QMetaObject::invokeMethod(
            this, [self, job = std::move(job)] { job(self.get()); }, Qt::QueuedConnection);
    }

    void start(const std::shared_ptr<TaskState>& task);
    void cancel(const std::shared_ptr<TaskState>& task);
    void invalidate(bool cancelPendingTasks, bool resetSession);
    void markInvalidated() { _invalidated = true; }

private:
    QNetworkAccessManager* manager();
    bool receive(const std::shared_ptr<TaskState>& task, QNetworkReply* reply);
    void finish(const std::shared_ptr<TaskState>& task, QNetworkReply* reply);
    void complete(const std::shared_ptr<TaskState>& task, const OptionalResponse& response,
                  const QVariant& object, const OptionalError& error);
    void restartTimer(const std::shared_ptr<TaskState>& task);

    SessionConfiguration _configuration;
    QNetworkAccessManager* _manager = nullptr;
    mutable QMutex _mutex;
    QHash<quint64, std::shared_ptr<TaskState>> _tasks;
    std::shared_ptr<SessionCore> _keepAlive;
    std::atomic<bool> _invalidated{false};
};

namespace {

std::atomic<quint64> nextTaskIdentifier{1};

Error transportError(qint64 code, const QString& description) {
    return Error::make(QString::fromLatin1(kTransportErrorDomain), code, description);
}

QNetworkRequest::CacheLoadControl cacheLoadControl(CachePolicy policy) {
    switch (policy) {
        case CachePolicy::kUseProtocolCachePolicy:
            return QNetworkRequest::PreferNetwork;
        case CachePolicy::kReloadIgnoringLocalCacheData:
            // The client keeps no cache, so nothing local can answer; the
            // network is asked without the no-cache fields AlwaysNetwork adds.
            return QNetworkRequest::PreferNetwork;
        case CachePolicy::kReloadIgnoringLocalAndRemoteCacheData:
            return QNetworkRequest::AlwaysNetwork;
    }
    return QNetworkRequest::PreferNetwork;
}

// Whether a reply's error only restates its HTTP status (which the response
// parser judges) rather than a failure of the transfer.
bool isHttpStatusError(QNetworkReply::NetworkError code, bool hasStatus) {
    if (code == QNetworkReply::NoError)
        return true;
    if (!hasStatus)
        return false;
    return (code >= QNetworkReply::ContentAccessDenied &&
            code <= QNetworkReply::UnknownContentError) ||
           code == QNetworkReply::ProtocolInvalidOperationError ||
           (code >= QNetworkReply::InternalServerError &&
            code <= QNetworkReply::UnknownServerError);
}

// Whether an answer that Qt reports as complete is shorter than its
// Content-Length: when the connection closes while the body is read, Qt can
// end the reply as if the body were whole.
bool isCutShort(QNetworkReply* reply, int status, qint64 received) {
    if (reply->operation() == QNetworkAccessManager::HeadOperation || status == 204 ||
        status == 304 || !reply->hasRawHeader("Content-Length"))
        return false;
    bool ok = false;
    const qint64 declared = reply->rawHeader("Content-Length").trimmed().toLongLong(&ok);
    return ok && received < declared;
}

Response responseOf(QNetworkReply* reply) {
    Response response;
    response.url = reply->url();
    response.statusCode = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QString contentType = reply->header(QNetworkRequest::ContentTypeHeader).toString();
    const QStringList parts = contentType.split(u';');
    response.mimeType = parts.value(0).trimmed().toLower();
    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QString parameter = parts[i].trimmed();
        if (parameter.startsWith(QLatin1String("charset="), Qt::CaseInsensitive))
            response.textEncoding = parameter.mid(8).remove(u'"').toLower();
    }
    const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
    response.expectedContentLength = length.isValid() ? length.toLongLong() : -1;
    for (const auto& pair : reply->rawHeaderPairs())
        response.headers.append(pair);
    return response;
}

}  // namespace

QNetworkAccessManager* SessionCore::manager() {
    if (!_manager) {
        _manager = new QNetworkAccessManager(this);
        _manager->setAutoDeleteReplies(false);
    }
    return _manager;
}

void SessionCore::restartTimer(const std::shared_ptr<TaskState>& task) {
    if (task->timer)
        task->timer->start();
}

void SessionCore::start(const std::shared_ptr<TaskState>& task) {
    if (task->state.load() != TaskState::kRunning || task->reply)
        return;  // cancelled before it could start, or started already
    if (task->resumedAfterInvalidation) {
        complete(task, std::nullopt, {},
                 Error::make(QString::fromLatin1(kRequestErrorDomain), kErrorSessionInvalidated,
                             QStringLiteral("the session was invalidated")));
        return;
    }

    const Request& request = task->request;
    QNetworkRequest qrequest(request.url());
    qrequest.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                          cacheLoadControl(request.cachePolicy()));
    if (request.cachePolicy() != CachePolicy::kUseProtocolCachePolicy)
        qrequest.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    for (const auto& header : request.allHTTPHeaderFields())
        qrequest.setRawHeader(header.first.toUtf8(), header.second.toUtf8());
    for (const auto& header : _configuration.HTTPAdditionalHeaders) {
        if (!request.hasValue(header.first))
            qrequest.setRawHeader(header.first.toUtf8(), header.second.toUtf8());
    }
    if (request.cachePolicy() == CachePolicy::kReloadIgnoringLocalAndRemoteCacheData) {
        if (!request.hasValue(QStringLiteral("Cache-Control")))
            qrequest.setRawHeader("Cache-Control", "no-cache");
        if (!request.hasValue(QStringLiteral("Pragma")))
            qrequest.setRawHeader("Pragma", "no-cache");
    }
    // The layer undoes content codings itself, for every request, and says
    // which ones it can; Qt leaves an answer as it came once the field is set.
    if (!qrequest.hasRawHeader("Accept-Encoding"))
        qrequest.setRawHeader("Accept-Encoding", "gzip, deflate");

    QNetworkReply* reply = nullptr;
    const QByteArray& method = request.httpMethod();
    if (method == "GET") {
        reply = manager()->get(qrequest);
    } else if (method == "HEAD") {
        reply = manager()->head(qrequest);
    } else {
        auto* body = new QBuffer;
        body->setData(request.httpBody());
        body->open(QIODevice::ReadOnly);
        if (!qrequest.header(QNetworkRequest::ContentLengthHeader).isValid())
            qrequest.setHeader(QNetworkRequest::ContentLengthHeader, request.httpBody().size());
        reply = manager()->sendCustomRequest(qrequest, method, body);
        body->setParent(reply);
    }
    task->reply = reply;

    double seconds = task->timeout > 0 ? task->timeout : _configuration.timeoutIntervalForRequest;
    if (_configuration.timeoutIntervalForRequest > 0)
        seconds = qMin(seconds, _configuration.timeoutIntervalForRequest);
    task->timer = new QTimer(reply);
    task->timer->setSingleShot(true);
    task->timer->setInterval(int(qBound(1.0, seconds * 1000.0, 2147483647.0)));
    connect(task->timer, &QTimer::timeout, this, [this, task] {
        if (task->state.load() == TaskState::kCompleted || !task->reply)
            return;
        task->timedOut = true;
        QNetworkReply* r = task->reply;
        r->abort();
        finish(task, r);
    });
    task->timer->start();

    connect(reply, &QNetworkReply::readyRead, this, [this, task, reply] {
        if (!receive(task, reply)) {
            reply->abort();  // an answer that cannot be decoded is not read on
            finish(task, reply);
        }
    });
    connect(reply, &QNetworkReply::downloadProgress, this,
            [this, task](qint64 received, qint64 total) {
                restartTimer(task);
                if (task->downloadProgress && task->state.load() != TaskState::kCompleted)
                    task->downloadProgress(Progress{received, total});
            });
    connect(reply, &QNetworkReply::uploadProgress, this, [this, task](qint64 sent, qint64 total) {
        restartTimer(task);
        // The HTTP stack reports (0, 0) once more when the upload is over.
        if (sent == 0 && total <= 0 && task->uploadSeen)
            return;
        task->uploadSeen = true;
        if (task->uploadProgress && task->state.load() != TaskState::kCompleted)
            task->uploadProgress(Progress{sent, total});
    });
    connect(reply, &QNetworkReply::sslErrors, this, [task](const QList<QSslError>&) {
        if (task->securityPolicy && task->securityPolicy->allowInvalidCertificates() && task->reply)
            task->reply->ignoreSslErrors();
    });
    connect(reply, &QNetworkReply::finished, this, [this, task, reply] { finish(task, reply); });
}

bool SessionCore::receive(const std::shared_ptr<TaskState>& task, QNetworkReply* reply) {
    if (task->state.load() == TaskState::kCompleted || !reply->isOpen())
        return true;
    const QByteArray data = reply->readAll();
    if (data.isEmpty())
        return true;
    task->received += data.size();
    if (!task->decoder)
        task->decoder = std::make_unique<ContentDecoder>(reply->rawHeader("Content-Encoding"));
    return task->decoder->write(data, &task->body);
}

void SessionCore::finish(const std::shared_ptr<TaskState>& task, QNetworkReply* reply) {
    if (task->state.load() == TaskState::kCompleted)
        return;
    if (task->timer)
        task->timer->stop();
    reply->disconnect(this);

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    OptionalResponse response;
    if (status.isValid())
        response = responseOf(reply);
    receive(task, reply);  // what is left of the body
    const QByteArray data = std::exchange(task->body, QByteArray());
    const QNetworkReply::NetworkError code = reply->error();
    ContentDecoder* decoder = task->decoder.get();

    OptionalError error;
    QVariant object;
    if (task->timedOut) {
        error = transportError(kErrorTimedOut, QStringLiteral("The request timed out."));
    } else if (task->cancelRequested) {
        error = transportError(kErrorCancelled, QStringLiteral("cancelled"));
    } else if (decoder && decoder->error()) {
        error = decoder->error();  // the transfer was stopped here, not by the network
    } else if (!isHttpStatusError(code, status.isValid())) {
        error = transportError(code, reply->errorString());
    } else if (isCutShort(reply, status.toInt(), task->received)) {
        error = transportError(QNetworkReply::RemoteHostClosedError,
                               QStringLiteral("The connection closed before the whole answer "
                                              "arrived."));
    } else if (decoder && !decoder->finish()) {
        error = decoder->error();
    }
    if (error) {
        // Whatever arrived of a failed transfer, decoded; nothing of an
        // answer that does not decode.
        if (!data.isEmpty() && !(decoder && decoder->error()))
            object = QVariant(data);
    } else {
        const Response answer = response.value_or(responseOf(reply));
        object = task->serializer
                     ? task->serializer->responseObjectForResponse(answer, data, &error)
                     : QVariant(data);
        response = answer;
    }
    task->reply = nullptr;
    task->timer = nullptr;
    reply->deleteLater();
    complete(task, response, object, error);
}

void SessionCore::complete(const std::shared_ptr<TaskState>& task, const OptionalResponse& response,
                           const QVariant& object, const OptionalError& error) {
    if (task->state.exchange(TaskState::kCompleted) == TaskState::kCompleted)
        return;
    {
        QMutexLocker lock(&task->responseMutex);
        task->response = response;
    }
    AFURLSessionManager::TaskCompletion completion = std::move(task->completion);
    task->completion = nullptr;
    task->uploadProgress = nullptr;
    task->downloadProgress = nullptr;
    if (completion) {
        task->queue.dispatch([completion = std::move(completion), response, object, error] {
            completion(response, object, error);
        });
    }
    std::shared_ptr<SessionCore> keepAlive;
    {
        QMutexLocker lock(&_mutex);
        _tasks.remove(task->id);
        if (_tasks.isEmpty())
            keepAlive.swap(_keepAlive);  // released after the lock, perhaps the last reference
    }
}

void SessionCore::cancel(const std::shared_ptr<TaskState>& task) {
    if (task->state.load() == TaskState::kCompleted)
        return;
    if (QNetworkReply* reply = task->reply) {
        task->cancelRequested = true;
        reply->abort();
        finish(task, reply);
    } else {
        complete(task, std::nullopt, {},
                 transportError(kErrorCancelled, QStringLiteral("cancelled")));
    }
}

void SessionCore::invalidate(bool cancelPendingTasks, bool resetSession) {
    _invalidated = true;
    if (cancelPendingTasks) {
        QList<std::shared_ptr<TaskState>> tasks;
        {
            QMutexLocker lock(&_mutex);
            tasks = _tasks.values();
        }
        std::sort(tasks.begin(), tasks.end(),
                  [](const auto& a, const auto& b) { return a->id < b->id; });
        for (const auto& task : tasks)
            cancel(task);
    }
    if (resetSession && _manager && outstanding() == 0) {
        _manager->clearConnectionCache();
        _manager->deleteLater();
        _manager = nullptr;
    }
}

}  // namespace zq::net

using zq::net::SessionCore;
using zq::net::TaskState;

// ------------------------------------------------------------------ task

AFURLSessionTask::AFURLSessionTask(std::shared_ptr<TaskState> state,
                                   std::shared_ptr<SessionCore> core)
    : _state(std::move(state)), _core(std::move(core)) {}

AFURLSessionTask::State AFURLSessionTask::state() const {
    switch (_state->state.load()) {
        case TaskState::kSuspended:
            return State::kSuspended;
        case TaskState::kRunning:
            return State::kRunning;
        case TaskState::kCanceling:
            return State::kCanceling;
        default:
            return State::kCompleted;
    }
}

OptionalResponse AFURLSessionTask::response() const {
    QMutexLocker lock(&_state->responseMutex);
    return _state->response;
}

void AFURLSessionTask::resume() {
    int expected = TaskState::kSuspended;
    if (!_state->state.compare_exchange_strong(expected, TaskState::kRunning))
        return;
    // Decided now: a task resumed before the invalidation still runs (unless
    // the invalidation cancels it), one resumed afterwards never starts.
    _state->resumedAfterInvalidation = _core->invalidated();
    std::shared_ptr<TaskState> task = _state;
    _core->post([task](SessionCore* core) { core->start(task); });
}

void AFURLSessionTask::cancel() {
    std::shared_ptr<TaskState> task = _state;
    int expected = TaskState::kRunning;
    _state->state.compare_exchange_strong(expected, TaskState::kCanceling);
    _core->post([task](SessionCore* core) { core->cancel(task); });
}

// --------------------------------------------------------------- manager

AFURLSessionManager::AFURLSessionManager(const zq::net::SessionConfiguration& configuration)
    : _configuration(configuration),
      _core(SessionCore::create(configuration)),
      _responseSerializer(AFJSONResponseSerializer::serializer()),
      _securityPolicy(AFSecurityPolicy::defaultPolicy()) {}

AFURLSessionManager::~AFURLSessionManager() = default;

std::shared_ptr<AFURLSessionManager> AFURLSessionManager::create(
    const zq::net::SessionConfiguration& configuration) {
    return std::make_shared<AFURLSessionManager>(configuration);
}

void AFURLSessionManager::setResponseSerializer(
    std::shared_ptr<AFHTTPResponseSerializer> serializer) {
    _responseSerializer = std::move(serializer);
}

void AFURLSessionManager::setSecurityPolicy(std::shared_ptr<AFSecurityPolicy> policy) {
    _securityPolicy = policy ? std::move(policy) : AFSecurityPolicy::defaultPolicy();
}

std::shared_ptr<AFURLSessionTask> AFURLSessionManager::makeTask(const Request& request, bool upload,
                                                                ProgressBlock uploadProgress,
                                                                ProgressBlock downloadProgress,
                                                                TaskCompletion completion) {
    auto state = std::make_shared<TaskState>();
    state->id = zq::net::nextTaskIdentifier++;
    state->request = request;
    state->upload = upload;
    state->uploadProgress = std::move(uploadProgress);
    state->downloadProgress = std::move(downloadProgress);
    state->completion = std::move(completion);
    state->serializer = _responseSerializer;
    state->securityPolicy = _securityPolicy;
    state->queue = _completionQueue;
    state->timeout = request.timeoutInterval();
    _core->registerTask(state);
    return std::shared_ptr<AFURLSessionTask>(new AFURLSessionTask(state, _core));
}

std::shared_ptr<AFURLSessionTask> AFURLSessionManager::dataTaskWithRequest(
    const Request& request, ProgressBlock uploadProgress, ProgressBlock downloadProgress,
    TaskCompletion completion) {
    return makeTask(request, false, std::move(uploadProgress), std::move(downloadProgress),
                    std::move(completion));
}

std::shared_ptr<AFURLSessionTask> AFURLSessionManager::uploadTaskWithStreamedRequest(
    const Request& request, ProgressBlock uploadProgress, TaskCompletion completion) {
    return makeTask(request, true, std::move(uploadProgress), nullptr, std::move(completion));
}

int AFURLSessionManager::outstandingTaskCount() const {
    return _core->outstanding();
}

void AFURLSessionManager::invalidateSessionCancelingTasks(bool cancelPendingTasks,
                                                          bool resetSession) {
    _core->markInvalidated();
    _core->post([cancelPendingTasks, resetSession](SessionCore* core) {
        core->invalidate(cancelPendingTasks, resetSession);
    });
}

bool AFURLSessionManager::isInvalidated() const {
    return _core->invalidated();
}
