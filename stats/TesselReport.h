#pragma once

#include "stats/TesselEvent.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <optional>

class QThread;

namespace zq::stats {
class AnalyticsQueue;
class AnalyticsSender;

// How the analytics client queues and sends. Read from the deployment
// configuration, then overridden by the dictionary given to startWithAppkey().
//
//   configuration key               start dictionary key   default
//   Analytics/Endpoint              endpoint               (the configured endpoint)
//   Analytics/BatchSize             batchSize              20 normal events trigger a send
//   Analytics/BatchIntervalMs       batchIntervalMs        60000: oldest normal event waits at most
//   Analytics/MaxQueued             maxQueued              10000 events; the oldest go first
//   Analytics/MaxEventsPerRequest   maxEventsPerRequest    200
//   Analytics/RetryInitialMs        retryInitialMs         2000: first wait after a failure
//   Analytics/RetryMaxMs            retryMaxMs             300000: the wait doubles up to this
//   Analytics/RequestTimeoutMs      requestTimeoutMs       30000
//   Analytics/ClaimLeaseMs          claimLeaseMs           120000 (at least the timeout + 5 s)
struct TesselOptions {
    QUrl endpoint;
    int batchSize = 20;
    int batchIntervalMs = 60000;
    int maxQueued = 10000;
    int maxEventsPerRequest = 200;
    int retryInitialMs = 2000;
    int retryMaxMs = 300000;
    int requestTimeoutMs = 30000;
    int claimLeaseMs = 120000;

    static TesselOptions fromConfiguration();
    // Overrides the options named in `config`; values that are not positive
    // numbers (or, for the endpoint, not an http(s) address) are ignored.
    void apply(const QVariantMap& config);
};

}  // namespace zq::stats

// The analytics client: a durable queue of events in the document folder and
// a sender that posts them to the analytics service.
//
// reportEvent() stores the event on disk on the caller's thread before it
// returns (see AnalyticsQueue); a sender thread posts real-time events at
// once and normal events in batches (when `batchSize` are waiting or the
// oldest has waited `batchIntervalMs`), retries with exponential backoff
// while the service cannot be reached or answers with a server error, and
// records every request in the audit log (AnalyticsAudit). Events left by an
// earlier process are sent as soon as the client starts. Delivery is at least
// once: the service drops repeats by the event's "id".
//
// The user's switch (zq::stats::analyticsEnabled()) is consulted for every
// event and before every send: while it is off nothing is queued or sent and
// the queue is emptied.
//
// Wire format (POST <endpoint>, Content-Type: application/json):
//   {"schema": 1, "sent_at": "2024-05-01T08:30:00.123Z", "device": "<id>" | null,
//    "events": [<TesselEvent::toJson()>, ...]}
// A 2xx answer means the service holds every event of the batch. 4xx answers
// other than 408 and 429 refuse the batch for good (it is dropped and
// recorded); anything else is retried.
//
// Signals are delivered on the thread that owns this object.
class TesselReport : public QObject {
    Q_OBJECT
public:
    explicit TesselReport(QObject* parent = nullptr);
    ~TesselReport() override;

    // The process-wide reporter, created on first use (after QCoreApplication)
    // and destroyed with the application object.
    static TesselReport* sharedInstance();

    // "<analytics folder>" of the product locations.
    static QString defaultDocumentPath();

    // Where the queue and the audit log are kept. Set before starting.
    void setCustomDocumentPath(const QString& path);
    QString customDocumentPath() const;

    // The device identifier (first value) sent with every batch; the second
    // value is accepted and not used.
    void setOStarO16(const std::optional<QString>& o16, const std::optional<QString>& o36);
    // 0: warnings only; 1 and above: one diagnostic line per request.
    void setLogLevel(int level);

    // Starts queueing and sending; `config` overrides options (see TesselOptions).
    // A second call does nothing.
    void startWithAppkey(const QString& appKey, const std::optional<QVariantMap>& config);
    bool isStarted() const { return _started; }
    QString appKey() const { return _appKey; }
    zq::stats::TesselOptions options() const { return _options; }

    // Queues the event durably. False when it was not queued: the client is
    // not started, analytics is switched off, or the queue cannot be written.
    bool reportEvent(const TesselEvent& event);

    // Sends the waiting normal events now instead of at the end of the batch interval.
    void flush();
    // Events waiting in the queue (of every process); -1 when it cannot be read.
    int pendingCount();
    // Empties the queue.
    int clearQueue();

signals:
    // The service holds these events.
    void eventsDelivered(const QStringList& ids);
    // The service refused these events for good; they were dropped.
    void eventsRejected(const QStringList& ids, int httpStatus);
    // A send failed; the events stay queued and are retried after `retryInMs`.
    void deliveryFailed(const QStringList& ids, const QString& error, qint64 retryInMs);
    // The queue was emptied because analytics is switched off.
    void queuePurged(int count);

private:
    zq::stats::AnalyticsQueue* callerQueue();

    quint64 _serial;
    QString _documentPath;
    std::optional<QString> _device;
    int _logLevel = 0;
    QString _appKey;
    zq::stats::TesselOptions _options;
    bool _started = false;
    QThread* _thread = nullptr;
    zq::stats::AnalyticsSender* _sender = nullptr;
};
