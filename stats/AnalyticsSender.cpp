#include "stats/AnalyticsSender.h"

#include "stats/AnalyticsAudit.h"
#include "stats/AnalyticsSettings.h"
#include "stats/StatsLog.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTimer>
#include <QUuid>

#include <algorithm>
#include <limits>

namespace zq::stats {
namespace {

qint64 nowMs() {
    return QDateTime::currentMSecsSinceEpoch();
}

enum class Outcome { Delivered, Rejected, Retry };

Outcome classify(QNetworkReply::NetworkError error, int status) {
    if (status >= 200 && status < 300) {
        return Outcome::Delivered;
    }
    if (status >= 400 && status < 500 && status != 408 && status != 429) {
        return Outcome::Rejected;
    }
    Q_UNUSED(error);
    return Outcome::Retry;
}

}  // namespace

AnalyticsSender::AnalyticsSender(const QString& folder, const TesselOptions& options,
                                 const std::optional<QString>& device, int logLevel,
                                 qint64 foundUpToSeq)
    : _folder(folder),
      _options(options),
      _device(device),
      _logLevel(logLevel),
      _sendAllUpTo(foundUpToSeq) {}

AnalyticsSender::~AnalyticsSender() = default;

void AnalyticsSender::start() {
    _queue = std::make_unique<AnalyticsQueue>(_folder);
    _audit = std::make_unique<AnalyticsAudit>(_folder);
    _network = new QNetworkAccessManager(this);
    _network->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);

    _batchTimer = new QTimer(this);
    _batchTimer->setSingleShot(true);
    connect(_batchTimer, &QTimer::timeout, this, [this] {
        _batchDue = true;
        pump();
    });
    _retryTimer = new QTimer(this);
    _retryTimer->setSingleShot(true);
    connect(_retryTimer, &QTimer::timeout, this, [this] {
        if (_retryNormal) {
            _batchDue = true;
        }
        pump();
    });
    _leaseTimer = new QTimer(this);
    _leaseTimer->setSingleShot(true);
    connect(_leaseTimer, &QTimer::timeout, this, &AnalyticsSender::pump);

    // The user's switch lives in a file that another process may change.
    // Watching its folder also sees the file replaced or created.
    const QString settingsFolder = QFileInfo(analyticsUserSettingsPath()).absolutePath();
    QDir().mkpath(settingsFolder);
    _watcher = new QFileSystemWatcher(this);
    _watcher->addPath(settingsFolder);
    connect(_watcher, &QFileSystemWatcher::directoryChanged, this, [this] { purgeIfDisabled(); });

    pump();
}

void AnalyticsSender::wake() {
    pump();
}

void AnalyticsSender::flushNormal() {
    _batchDue = true;
    pump();
}

void AnalyticsSender::flushAll() {
    _sendAllUpTo = std::numeric_limits<qint64>::max();
    _flushAll = true;
    pump();
}

void AnalyticsSender::finishFlush() {
    _sendAllUpTo = 0;
    if (std::exchange(_flushAll, false)) {
        emit allFlushed();
    }
}

void AnalyticsSender::setDevice(const std::optional<QString>& device) {
    _device = device;
}

void AnalyticsSender::setLogLevel(int level) {
    _logLevel = level;
}

void AnalyticsSender::quiesce(QSemaphore* idle) {
    _stopped = true;
    _idle = idle;
    releaseIdleIfDone();
}

void AnalyticsSender::releaseIdleIfDone() {
    if (_idle && !_reply) {
        std::exchange(_idle, nullptr)->release();
    }
}

void AnalyticsSender::stop() {
    _stopped = true;
    _idle = nullptr;
    if (_reply) {
        QNetworkReply* reply = std::exchange(_reply, nullptr);
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
        if (_queue) {
            _queue->release(_inFlight);
        }
        if (_audit) {
            _audit->recordResult(_attempt, 0, QStringLiteral("retry"),
                                 QStringLiteral("abandoned: the client stopped"));
        }
        _inFlight.clear();
        _inFlightIds.clear();
    }
    for (QTimer* timer : {_batchTimer, _retryTimer, _leaseTimer}) {
        if (timer) {
            timer->stop();
        }
    }
    delete _watcher;
    _watcher = nullptr;
    delete _network;
    _network = nullptr;
    _queue.reset();
    _audit.reset();
}

bool AnalyticsSender::purgeIfDisabled() {
    if (analyticsEnabled()) {
        return false;
    }
    if (_queue && _queue->isOpen()) {
        const int removed = _queue->clear();
        if (removed > 0) {
            qCInfo(lcStats) << "analytics is switched off: removed" << removed << "queued events";
            emit purged(removed);
        }
    }
    _batchDue = false;
    _batchTimer->stop();
    _leaseTimer->stop();
    return true;
}

bool AnalyticsSender::canSend() {
    if (purgeIfDisabled() || !_queue->isOpen()) {
        return false;
    }
    const QUrl& endpoint = _options.endpoint;
    if (!endpoint.isValid() || (endpoint.scheme() != u"http" && endpoint.scheme() != u"https")) {
        qCWarning(lcStats) << "analytics endpoint" << endpoint.toString()
                           << "is not an http address; events stay queued";
        return false;
    }
    return true;
}

void AnalyticsSender::pump() {
    if (_stopped || !_queue) {
        releaseIdleIfDone();
        return;
    }
    if (!canSend()) {
        finishFlush();  // nothing more can be sent: do not keep a flush waiting
        return;
    }
    if (_reply || _retryTimer->isActive()) {
        return;
    }
    const qint64 now = nowMs();
    const qint64 leaseUntil = now + _options.claimLeaseMs;
    if (_sendAllUpTo > 0) {
        const QList<QueuedEvent> found = _queue->claim(
            {true, true, _sendAllUpTo, _flushAll}, _options.maxEventsPerRequest, now, leaseUntil);
        if (!found.isEmpty()) {
            send(found, Batch::Found);
            return;
        }
        finishFlush();
    }
    QList<QueuedEvent> events = _queue->claim(AnalyticsQueue::realTimeOnly(),
                                              _options.maxEventsPerRequest, now, leaseUntil);
    if (!events.isEmpty()) {
        send(events, Batch::RealTime);
        return;
    }
    const int normal = _queue->claimableCount(AnalyticsQueue::normalOnly(), now);
    if (normal <= 0) {
        _batchDue = false;
        _batchTimer->stop();
        scheduleLeaseCheck(now);
        return;
    }
    if (!_batchDue && normal < _options.batchSize) {
        if (!_batchTimer->isActive()) {
            _batchTimer->start(_options.batchIntervalMs);
        }
        return;
    }
    events =
        _queue->claim(AnalyticsQueue::normalOnly(), _options.maxEventsPerRequest, now, leaseUntil);
    if (!events.isEmpty()) {
        send(events, Batch::Normal);
    }
}

void AnalyticsSender::scheduleLeaseCheck(qint64 nowMs) {
    // Events claimed or reported by another process come back when it ends
    // (the next claim sees that) or when the lease ends; look again then, or
    // every few seconds while other processes hold events.
    constexpr qint64 kOwnerCheckMs = 5000;
    std::optional<qint64> expiry = _queue->nextLeaseExpiry(nowMs);
    if (!expiry && _queue->holdsEventsOfOtherProcesses()) {
        expiry = nowMs + kOwnerCheckMs;
    }
    if (expiry) {
        _leaseTimer->start(
            static_cast<int>(std::clamp<qint64>(*expiry - nowMs + 1, 1, kOwnerCheckMs)));
    } else {
        _leaseTimer->stop();
    }
}

void AnalyticsSender::send(const QList<QueuedEvent>& events, Batch batch) {
    QJsonArray array;
    QList<qint64> broken;
    _inFlight.clear();
    _inFlightIds.clear();
    for (const QueuedEvent& event : events) {
        const QJsonDocument doc = QJsonDocument::fromJson(event.body);
        if (!doc.isObject()) {
            broken << event.seq;
            continue;
        }
        array.append(doc.object());
        _inFlight << event.seq;
        _inFlightIds << event.id;
    }
    if (!broken.isEmpty()) {
        qCWarning(lcStats) << "dropping" << broken.size() << "queued events that are not JSON";
        _queue->remove(broken);
    }
    if (array.isEmpty()) {
        QTimer::singleShot(0, this, &AnalyticsSender::pump);
        return;
    }
    const QJsonObject body{
        {QStringLiteral("schema"), 1},
        {QStringLiteral("sent_at"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("device"), _device ? QJsonValue(*_device) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("events"), array},
    };
    _inFlightBatch = batch;
    _attempt = QUuid::createUuid().toString(QUuid::WithoutBraces);
    _audit->recordAttempt(_attempt, _options.endpoint.toString(), body);

    QNetworkRequest request(_options.endpoint);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(_options.requestTimeoutMs);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    _reply = _network->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    connect(_reply, &QNetworkReply::finished, this, &AnalyticsSender::finished);
    if (_logLevel > 0) {
        static const char* const kKinds[] = {"real-time", "normal", "queued"};
        qCInfo(lcStats) << "posting" << array.size() << kKinds[static_cast<int>(batch)]
                        << "events to" << _options.endpoint.toString();
    }
}

void AnalyticsSender::finished() {
    QNetworkReply* reply = std::exchange(_reply, nullptr);
    if (!reply) {
        return;
    }
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QNetworkReply::NetworkError error = reply->error();
    const QList<qint64> seqs = std::exchange(_inFlight, {});
    const QStringList ids = std::exchange(_inFlightIds, {});

    switch (classify(error, status)) {
        case Outcome::Delivered:
            _queue->remove(seqs);
            _audit->recordResult(_attempt, status, QStringLiteral("delivered"), QString());
            _retryDelay = 0;
            if (_inFlightBatch == Batch::Normal && !_batchDue) {
                _batchTimer->stop();
            }
            if (_logLevel > 0) {
                qCInfo(lcStats) << "delivered" << ids.size() << "events";
            }
            emit delivered(ids);
            break;
        case Outcome::Rejected:
            _queue->remove(seqs);
            _audit->recordResult(_attempt, status, QStringLiteral("rejected"),
                                 reply->errorString());
            _retryDelay = 0;
            qCWarning(lcStats) << "the analytics service refused" << ids.size()
                               << "events with status" << status << "; they are dropped";
            emit rejected(ids, status);
            break;
        case Outcome::Retry: {
            _queue->release(seqs);
            const QString text =
                status > 0 ? QStringLiteral("HTTP %1").arg(status) : reply->errorString();
            _audit->recordResult(_attempt, status, QStringLiteral("retry"), text);
            const qint64 delay = nextRetryDelay();
            _retryNormal = _inFlightBatch == Batch::Normal || _batchDue;
            _retryTimer->start(static_cast<int>(delay));
            if (_logLevel > 0) {
                qCInfo(lcStats) << "analytics send failed:" << text << "; retrying in" << delay
                                << "ms";
            }
            emit failed(ids, text, delay);
            releaseIdleIfDone();
            return;
        }
    }
    pump();
}

qint64 AnalyticsSender::nextRetryDelay() {
    _retryDelay = _retryDelay == 0 ? _options.retryInitialMs
                                   : std::min<qint64>(_retryDelay * 2, _options.retryMaxMs);
    // Spread the retries of many clients: wait between 80 % and 100 % of the step.
    const double factor = 0.8 + 0.2 * QRandomGenerator::global()->generateDouble();
    return std::max<qint64>(1, static_cast<qint64>(static_cast<double>(_retryDelay) * factor));
}

}  // namespace zq::stats
