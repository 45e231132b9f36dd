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

// Shuts the process-wide analytics client down when it goes out of scope.
// Declare it right after the application object in main(), so that it is
// destroyed first on every way out of main():
//
//   QApplication app(argc, argv);
//   const zq::stats::AnalyticsShutdownGuard analyticsGuard;
class AnalyticsShutdownGuard {
public:
    AnalyticsShutdownGuard() = default;
    ~AnalyticsShutdownGuard();
    AnalyticsShutdownGuard(const AnalyticsShutdownGuard&) = delete;
    AnalyticsShutdownGuard& operator=(const AnalyticsShutdownGuard&) = delete;
};

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
// records every request in the audit log (AnalyticsAudit). Events that
// earlier processes left in the queue go out with the client's first request
// (in requests of up to `maxEventsPerRequest`). Delivery is at least once: the
// service drops repeats by the event's "id".
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
//
// Shutting down: the client's sender thread and its SQLite connections must
// be gone before the application object is destroyed (Qt SQL closes every
// connection while the application object is torn down, under the feet of a
// thread still using one). shutdown() does that; it runs from the destructor
// and from QCoreApplication::aboutToQuit, and an application that may leave
// main() without returning from exec() calls it itself, or keeps a
// zq::stats::AnalyticsShutdownGuard next to its application object.
class TesselReport : public QObject {
    Q_OBJECT
public:
    explicit TesselReport(QObject* parent = nullptr);
    ~TesselReport() override;

    // The process-wide reporter, created on first use (after QCoreApplication)
    // and destroyed with the application object.
    static TesselReport* sharedInstance();
    // shutdown() of the process-wide reporter, when it was created.
    static void shutdownSharedInstance();

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
    // Sends every event in the queue (of every process) that no other running
    // process is sending, now; allFlushed() follows when none is left to send
    // or nothing can be sent (switched off, no usable endpoint). Failed
    // requests are retried with the usual backoff meanwhile.
    void flushAll();
    // Events waiting in the queue (of every process); -1 when it cannot be read.
    int pendingCount();

    // Stops the sender, waits for its thread and closes the calling thread's
    // connection to the queue. A request in flight may finish within
    // `graceMs`; after that it is abandoned and its events stay queued for the
    // next client. Call it on the thread that owns this object; a second call
    // does nothing. Events reported later are still stored (each through a
    // connection of its own) and sent by the next client that starts.
    void shutdown(int graceMs = 0);
    bool isShutDown() const { return _shutDown; }

signals:
    // The service holds these events.
    void eventsDelivered(const QStringList& ids);
    // The service refused these events for good; they were dropped.
    void eventsRejected(const QStringList& ids, int httpStatus);
    // A send failed; the events stay queued and are retried after `retryInMs`.
    void deliveryFailed(const QStringList& ids, const QString& error, qint64 retryInMs);
    // The queue was emptied because analytics is switched off.
    void queuePurged(int count);
    // After flushAll(): nothing is left that this client could send.
    void allFlushed();

private:
    zq::stats::AnalyticsQueue* callerQueue();

    quint64 _serial;
    QString _documentPath;
    std::optional<QString> _device;
    int _logLevel = 0;
    QString _appKey;
    zq::stats::TesselOptions _options;
    bool _started = false;
    bool _shutDown = false;
    QThread* _thread = nullptr;
    zq::stats::AnalyticsSender* _sender = nullptr;
};
