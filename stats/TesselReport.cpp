#include "stats/TesselReport.h"

#include "platform/Configuration.h"
#include "stats/AnalyticsQueue.h"
#include "stats/AnalyticsSender.h"
#include "stats/AnalyticsSettings.h"
#include "stats/StatsLog.h"
#include "utility/ProductLocations.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <memory>
#include <unordered_map>

namespace zq::stats {
namespace {

// A positive number from a configuration value, or none.
std::optional<int> positive(const QVariant& value) {
    if (!value.isValid()) {
        return std::nullopt;
    }
    bool ok = false;
    const qint64 number = value.toString().trimmed().toLongLong(&ok);
    if (!ok || number <= 0 || number > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(number);
}

void applyNumber(int& field, const QVariant& value, const char* name) {
    if (!value.isValid()) {
        return;
    }
    if (const std::optional<int> number = positive(value)) {
        field = *number;
    } else {
        qCWarning(lcStats) << "analytics option" << name
                           << "ignored: not a positive number:" << value.toString();
    }
}

void applyEndpoint(QUrl& endpoint, const QVariant& value) {
    if (!value.isValid()) {
        return;
    }
    const QUrl url(value.toString().trimmed());
    if (url.isValid() && (url.scheme() == u"http" || url.scheme() == u"https") &&
        !url.host().isEmpty()) {
        endpoint = url;
    } else {
        qCWarning(lcStats) << "analytics endpoint ignored: not an http address:"
                           << value.toString();
    }
}

void normalise(TesselOptions& options) {
    options.retryMaxMs = std::max(options.retryMaxMs, options.retryInitialMs);
    options.claimLeaseMs = std::max(options.claimLeaseMs, options.requestTimeoutMs + 5000);
}

// Each thread that reports events has its own connection to the queue (a Qt
// SQL connection belongs to its thread), one per client object.
std::unordered_map<quint64, std::unique_ptr<AnalyticsQueue>>& callerQueues() {
    thread_local std::unordered_map<quint64, std::unique_ptr<AnalyticsQueue>> queues;
    return queues;
}

std::atomic<quint64> nextSerial{1};

std::atomic<TesselReport*> sharedReport{nullptr};

}  // namespace

AnalyticsShutdownGuard::~AnalyticsShutdownGuard() {
    TesselReport::shutdownSharedInstance();
}

TesselOptions TesselOptions::fromConfiguration() {
    TesselOptions options;
    options.endpoint = QUrl(platform::Configuration::analyticsEndpoint());
    const auto config = [](const char* key) {
        return platform::Configuration::value(QStringLiteral("Analytics/") + QLatin1String(key));
    };
    applyNumber(options.batchSize, config("BatchSize"), "BatchSize");
    applyNumber(options.batchIntervalMs, config("BatchIntervalMs"), "BatchIntervalMs");
    applyNumber(options.maxQueued, config("MaxQueued"), "MaxQueued");
    applyNumber(options.maxEventsPerRequest, config("MaxEventsPerRequest"), "MaxEventsPerRequest");
    applyNumber(options.retryInitialMs, config("RetryInitialMs"), "RetryInitialMs");
    applyNumber(options.retryMaxMs, config("RetryMaxMs"), "RetryMaxMs");
    applyNumber(options.requestTimeoutMs, config("RequestTimeoutMs"), "RequestTimeoutMs");
    applyNumber(options.claimLeaseMs, config("ClaimLeaseMs"), "ClaimLeaseMs");
    normalise(options);
    return options;
}

void TesselOptions::apply(const QVariantMap& config) {
    applyEndpoint(endpoint, config.value(QStringLiteral("endpoint")));
    applyNumber(batchSize, config.value(QStringLiteral("batchSize")), "batchSize");
    applyNumber(batchIntervalMs, config.value(QStringLiteral("batchIntervalMs")),
                "batchIntervalMs");
    applyNumber(maxQueued, config.value(QStringLiteral("maxQueued")), "maxQueued");
    applyNumber(maxEventsPerRequest, config.value(QStringLiteral("maxEventsPerRequest")),
                "maxEventsPerRequest");
    applyNumber(retryInitialMs, config.value(QStringLiteral("retryInitialMs")), "retryInitialMs");
    applyNumber(retryMaxMs, config.value(QStringLiteral("retryMaxMs")), "retryMaxMs");
    applyNumber(requestTimeoutMs, config.value(QStringLiteral("requestTimeoutMs")),
                "requestTimeoutMs");
    applyNumber(claimLeaseMs, config.value(QStringLiteral("claimLeaseMs")), "claimLeaseMs");
    normalise(*this);
}

}  // namespace zq::stats

using zq::stats::AnalyticsQueue;
using zq::stats::AnalyticsSender;

TesselReport::TesselReport(QObject* parent)
    : QObject(parent), _serial(zq::stats::nextSerial++), _documentPath(defaultDocumentPath()) {
    if (QCoreApplication* app = QCoreApplication::instance()) {
        connect(app, &QCoreApplication::aboutToQuit, this, [this] { shutdown(); });
    }
}

TesselReport::~TesselReport() {
    shutdown();
}

void TesselReport::shutdown(int graceMs) {
    if (_sender) {
        if (graceMs > 0) {
            QSemaphore idle;
            QMetaObject::invokeMethod(
                _sender, [sender = _sender, &idle] { sender->quiesce(&idle); },
                Qt::QueuedConnection);
            // The sender forgets `idle` in stop(), before it goes out of scope.
            idle.tryAcquire(1, graceMs);
        }
        QMetaObject::invokeMethod(_sender, &AnalyticsSender::stop, Qt::BlockingQueuedConnection);
        _thread->quit();
        _thread->wait();
        delete _sender;
        delete _thread;
        _sender = nullptr;
        _thread = nullptr;
    }
    zq::stats::callerQueues().erase(_serial);
    _shutDown = true;
}

TesselReport* TesselReport::sharedInstance() {
    static TesselReport* instance = [] {
        auto* report = new TesselReport;
        zq::stats::sharedReport = report;
        // The last resort; shutdown() should have run long before.
        qAddPostRoutine([] {
            zq::stats::sharedReport = nullptr;
            delete TesselReport::sharedInstance();
        });
        return report;
    }();
    return instance;
}

void TesselReport::shutdownSharedInstance() {
    if (TesselReport* report = zq::stats::sharedReport.load()) {
        report->shutdown();
    }
}

QString TesselReport::defaultDocumentPath() {
    return zq::utility::analyticsFolder();
}

void TesselReport::setCustomDocumentPath(const QString& path) {
    if (_started) {
        qCWarning(lcStats) << "analytics folder cannot change after start";
        return;
    }
    _documentPath = path;
}

QString TesselReport::customDocumentPath() const {
    return _documentPath;
}

void TesselReport::setOStarO16(const std::optional<QString>& o16,
                               const std::optional<QString>& o36) {
    Q_UNUSED(o36);
    _device = o16;
    if (_sender) {
        QMetaObject::invokeMethod(_sender, [sender = _sender, o16] { sender->setDevice(o16); });
    }
}

void TesselReport::setLogLevel(int level) {
    _logLevel = level;
    if (_sender) {
        QMetaObject::invokeMethod(_sender,
                                  [sender = _sender, level] { sender->setLogLevel(level); });
    }
}

void TesselReport::startWithAppkey(const QString& appKey,
                                   const std::optional<QVariantMap>& config) {
    if (_started || _shutDown) {
        return;
    }
    _appKey = appKey;
    _options = zq::stats::TesselOptions::fromConfiguration();
    if (config) {
        _options.apply(*config);
    }
    _started = true;

    // Opening the caller's connection first creates the queue's tables.
    AnalyticsQueue* queue = callerQueue();
    if (!zq::stats::analyticsEnabled() && queue->isOpen()) {
        if (const int removed = queue->clear(); removed > 0) {
            qCInfo(lcStats) << "analytics is switched off: removed" << removed << "queued events";
        }
    }
    // What the queue holds now was left by earlier (or other) processes and
    // goes out at once; events reported from here on wait for their batch.
    const qint64 foundUpToSeq = queue->isOpen() ? queue->lastSeq() : 0;

    _thread = new QThread;
    _thread->setObjectName(QStringLiteral("analytics"));
    _sender = new AnalyticsSender(_documentPath, _options, _device, _logLevel, foundUpToSeq);
    _sender->moveToThread(_thread);
    connect(_sender, &AnalyticsSender::delivered, this, &TesselReport::eventsDelivered);
    connect(_sender, &AnalyticsSender::rejected, this, &TesselReport::eventsRejected);
    connect(_sender, &AnalyticsSender::failed, this, &TesselReport::deliveryFailed);
    connect(_sender, &AnalyticsSender::purged, this, &TesselReport::queuePurged);
    connect(_sender, &AnalyticsSender::allFlushed, this, &TesselReport::allFlushed);
    _thread->start();
    QMetaObject::invokeMethod(_sender, &AnalyticsSender::start, Qt::QueuedConnection);
}

AnalyticsQueue* TesselReport::callerQueue() {
    auto& queues = zq::stats::callerQueues();
    std::unique_ptr<AnalyticsQueue>& queue = queues[_serial];
    if (!queue) {
        queue = std::make_unique<AnalyticsQueue>(_documentPath);
    }
    return queue.get();
}

bool TesselReport::reportEvent(const TesselEvent& event) {
    if (!_started) {
        qCWarning(lcStats) << "analytics event" << event.code() << "before start; not queued";
        return false;
    }
    if (!zq::stats::analyticsEnabled()) {
        // The sender empties the queue when it sees the switch off.
        if (_sender) {
            QMetaObject::invokeMethod(_sender, &AnalyticsSender::wake, Qt::QueuedConnection);
        }
        return false;
    }
    if (_shutDown && !QCoreApplication::instance()) {
        qCWarning(lcStats) << "analytics event" << event.code()
                           << "after the application ended; not queued";
        return false;
    }
    // After shutdown() an event still goes to disk, through a connection of
    // its own that is closed at once.
    std::unique_ptr<AnalyticsQueue> own;
    AnalyticsQueue* queue =
        _shutDown ? (own = std::make_unique<AnalyticsQueue>(_documentPath)).get() : callerQueue();
    int dropped = 0;
    const QByteArray body = QJsonDocument(event.toJson()).toJson(QJsonDocument::Compact);
    // Without a sender here, the event is anyone's to send.
    if (!queue->enqueue(
            event.identifier(), event.isRealTime(), event.createdAt().toMSecsSinceEpoch(), body,
            _options.maxQueued, &dropped,
            _shutDown ? AnalyticsQueue::Sender::Anyone : AnalyticsQueue::Sender::ThisProcess)) {
        qCWarning(lcStats) << "analytics event" << event.code()
                           << "not queued:" << queue->errorString();
        return false;
    }
    if (dropped > 0) {
        qCInfo(lcStats) << "analytics queue full: dropped the" << dropped << "oldest events";
    }
    if (_sender) {
        QMetaObject::invokeMethod(_sender, &AnalyticsSender::wake, Qt::QueuedConnection);
    }
    return true;
}

void TesselReport::flush() {
    if (_sender) {
        QMetaObject::invokeMethod(_sender, &AnalyticsSender::flushNormal, Qt::QueuedConnection);
    }
}

void TesselReport::flushAll() {
    if (_sender) {
        QMetaObject::invokeMethod(_sender, &AnalyticsSender::flushAll, Qt::QueuedConnection);
    } else {
        QMetaObject::invokeMethod(this, &TesselReport::allFlushed, Qt::QueuedConnection);
    }
}

int TesselReport::pendingCount() {
    if (_shutDown) {
        return AnalyticsQueue(_documentPath).count();
    }
    return callerQueue()->count();
}
