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
class QTimer;

namespace zq::stats {

class AnalyticsAudit;

// The sending half of TesselReport. Lives on its own thread: every slot runs
// there, and it owns that thread's connection to the queue, the network
// access manager and the timers. One request is in flight at a time.
class AnalyticsSender : public QObject {
    Q_OBJECT
public:
    // `leftovers`: the queue held normal events before the client started;
    // they are sent at once instead of waiting for a batch.
    AnalyticsSender(const QString& folder, const TesselOptions& options,
                    const std::optional<QString>& device, int logLevel, bool leftovers);
    ~AnalyticsSender() override;

public slots:
    // Opens the queue, then sends whatever an earlier process left.
    void start();
    // An event was queued (or the switch may have changed).
    void wake();
    // Send waiting normal events now.
    void flushNormal();
    void setDevice(const std::optional<QString>& device);
    void setLogLevel(int level);
    // Abandons the request in flight (its events stay queued) and closes the queue.
    void stop();

signals:
    void delivered(const QStringList& ids);
    void rejected(const QStringList& ids, int httpStatus);
    void failed(const QStringList& ids, const QString& error, qint64 retryInMs);
    void purged(int count);

private:
    void pump();
    bool purgeIfDisabled();
    void send(const QList<QueuedEvent>& events, bool realTime);
    void finished();
    void scheduleLeaseCheck(qint64 nowMs);
    qint64 nextRetryDelay();

    QString _folder;
    TesselOptions _options;
    std::optional<QString> _device;
    int _logLevel;
    bool _stopped = false;
    bool _leftovers;

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
    bool _inFlightRealTime = false;
    QString _attempt;
};

}  // namespace zq::stats
