#include "net/NetTypes.h"

#include "net/NetLog.h"

#include <QCoreApplication>
#include <QThread>
#include <QThreadPool>

namespace zq::net {

void setHeaderField(HeaderFields& fields, const QString& value, const QString& field) {
    for (qsizetype i = 0; i < fields.size(); ++i) {
        if (fields[i].first.compare(field, Qt::CaseInsensitive) == 0) {
            if (value.isNull())
                fields.removeAt(i);
            else
                fields[i].second = value;
            return;
        }
    }
    if (!value.isNull())
        fields.append({field, value});
}

QString headerField(const HeaderFields& fields, const QString& field) {
    for (const auto& entry : fields) {
        if (entry.first.compare(field, Qt::CaseInsensitive) == 0)
            return entry.second;
    }
    return {};
}

void Request::setValue(const QString& value, const QString& field) {
    setHeaderField(_headers, value, field);
}

QString Request::value(const QString& field) const {
    return headerField(_headers, field);
}

bool Request::hasValue(const QString& field) const {
    return !headerField(_headers, field).isNull();
}

QByteArray Response::header(const QByteArray& name) const {
    for (const auto& entry : headers) {
        if (entry.first.compare(name, Qt::CaseInsensitive) == 0)
            return entry.second;
    }
    return {};
}

namespace {

// Worker threads of the global concurrent queue. Its own pool, with room for
// many threads, so that callers blocked in synchronous requests (possibly
// on the application's global pool) never starve the completions they wait for.
QThreadPool* concurrentPool() {
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(qMax(16, QThread::idealThreadCount() * 4));
        p->setExpiryTimeout(30000);
        return p;
    }();
    return pool;
}

}  // namespace

bool CompletionQueue::isMainThread() {
    const QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void CompletionQueue::dispatch(std::function<void()> job) const {
    if (_kind == Kind::kGlobalConcurrent) {
        concurrentPool()->start(std::move(job));
        return;
    }
    QCoreApplication* app = QCoreApplication::instance();
    if (!app) {
        qCWarning(lcNet) << "no application object: a completion cannot reach the main thread";
        return;
    }
    QMetaObject::invokeMethod(app, std::move(job), Qt::QueuedConnection);
}

QString localizedStringForStatusCode(int statusCode) {
    switch (statusCode) {
        case 100:
            return QStringLiteral("continue");
        case 101:
            return QStringLiteral("switching protocols");
        case 200:
            return QStringLiteral("no error");
        case 201:
            return QStringLiteral("created");
        case 202:
            return QStringLiteral("accepted");
        case 203:
            return QStringLiteral("non-authoritative information");
        case 204:
            return QStringLiteral("no content");
        case 205:
            return QStringLiteral("reset content");
        case 206:
            return QStringLiteral("partial content");
        case 300:
            return QStringLiteral("multiple choices");
        case 301:
            return QStringLiteral("moved permanently");
        case 302:
            return QStringLiteral("found");
        case 303:
            return QStringLiteral("see other");
        case 304:
            return QStringLiteral("not modified");
        case 305:
            return QStringLiteral("needs proxy");
        case 307:
            return QStringLiteral("temporarily redirected");
        case 308:
            return QStringLiteral("permanently redirected");
        case 400:
            return QStringLiteral("bad request");
        case 401:
            return QStringLiteral("unauthorized");
        case 402:
            return QStringLiteral("payment required");
        case 403:
            return QStringLiteral("forbidden");
        case 404:
            return QStringLiteral("not found");
        case 405:
            return QStringLiteral("method not allowed");
        case 406:
            return QStringLiteral("unacceptable");
        case 407:
            return QStringLiteral("proxy authentication required");
        case 408:
            return QStringLiteral("request timed out");
        case 409:
            return QStringLiteral("conflict");
        case 410:
            return QStringLiteral("no longer exists");
        case 411:
            return QStringLiteral("length required");
        case 412:
            return QStringLiteral("precondition failed");
        case 413:
            return QStringLiteral("request too large");
        case 414:
            return QStringLiteral("requested URL too long");
        case 415:
            return QStringLiteral("unsupported media type");
        case 416:
            return QStringLiteral("requested range not satisfiable");
        case 417:
            return QStringLiteral("expectation failed");
        case 429:
            return QStringLiteral("too many requests");
        case 500:
            return QStringLiteral("internal server error");
        case 501:
            return QStringLiteral("unimplemented");
        case 502:
            return QStringLiteral("bad gateway");
        case 503:
            return QStringLiteral("service unavailable");
        case 504:
            return QStringLiteral("gateway timed out");
        case 505:
            return QStringLiteral("unsupported version");
        default:
            break;
    }
    if (statusCode >= 100 && statusCode < 200)
        return QStringLiteral("informational");
    if (statusCode >= 200 && statusCode < 300)
        return QStringLiteral("success");
    if (statusCode >= 300 && statusCode < 400)
        return QStringLiteral("redirected");
    if (statusCode >= 400 && statusCode < 500)
        return QStringLiteral("client error");
    return QStringLiteral("server error");
}

}  // namespace zq::net
