#pragma once

#include "stats/AnalyticsQueue.h"
#include "stats/TesselReport.h"

#include <QList>
#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>

class QFileSystemWatcher;
class QNetworkAccessManager;
class QNetworkReply;
class QSemaphore;
class QTimer;

namespace zq::stats {

class AnalyticsAudit;

// The sending half of TesselReport. Lives on its own thread: every slot runs
// there, and it owns that thread's connection to the queue, the network
// access manager and the timers. One request is in flight at a time.
class AnalyticsSender : public QObject {
    Q_OBJECT
public:
    // `foundUpToSeq`: the last event in the queue when the client started.
    // Everything up to it was left by earlier (or other) processes and is
    // sent at once, with the first request, instead of waiting for a batch.
    AnalyticsSender(const QString& folder, const TesselOptions& options,
                    const std::optional<QString>& device, int logLevel, qint64 foundUpToSeq);
    ~AnalyticsSender() override;

public slots:
    // Opens the queue, then sends whatever an earlier process left.
    void start();
    // An event was queued (or the switch may have changed).
    void wake();
    // Send waiting normal events now.
    void flushNormal();
    // Send every event in the queue that no other process has claimed, the
    // waiting events of running processes too; allFlushed() follows when none
    // is left to send.
    void flushAll();
    void setDevice(const std::optional<QString>& device);
    void setLogLevel(int level);
    // Starts nothing new; `idle` is released once no request is in flight.
    void quiesce(QSemaphore* idle);
    // Abandons the request in flight (its events stay queued) and closes the queue.
    void stop();

signals:
    void delivered(const QStringList& ids);
    void rejected(const QStringList& ids, int httpStatus);
    void failed(const QStringList& ids, const QString& error, qint64 retryInMs);
    void purged(int count);
    void allFlushed();

private:
    void pump();
    bool purgeIfDisabled();
    enum class Batch { RealTime, Normal, Found };
    void send(const QList<QueuedEvent>& events, Batch batch);
    bool canSend();
    void finishFlush();
    void releaseIdleIfDone();
    void finished();
    void scheduleLeaseCheck(qint64 nowMs);
    qint64 nextRetryDelay();

    QString _folder;
    TesselOptions _options;
    std::optional<QString> _device;
    int _logLevel;
    bool _stopped = false;
    QSemaphore* _idle = nullptr;
    // While positive, events up to this sequence number go out at once,
    // real-time and normal together (with _flushAll, those that running
    // processes reported too).
    qint64 _sendAllUpTo;
    bool _flushAll = false;

    std::unique_ptr<AnalyticsQueue> _queue;
    std::unique_ptr<AnalyticsAudit> _audit;
    QNetworkAccessManager* _network = nullptr;
    QFileSystemWatcher* _watcher = nullptr;
    QTimer* _batchTimer = nullptr;
    QTimer* _retryTimer = nullptr;
    QTimer* _leaseTimer = nullptr;

    bool _batchDue = false;
    qint64 _retryDelay = 0;
    bool _retryNormal = false;

    QNetworkReply* _reply = nullptr;
    QList<qint64> _inFlight;
    QStringList _inFlightIds;
    Batch _inFlightBatch = Batch::RealTime;
    QString _attempt;
};

}  // namespace zq::stats
