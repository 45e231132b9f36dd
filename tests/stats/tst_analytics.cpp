// The analytics client against the reference web service on loopback:
// real-time and batched sending, backoff while the service fails, answers
// that refuse or fail, the bounded queue, leases of other senders, the user's
// switch, the audit log, and a queue that survives a killed process.

#include "stats/AnalyticsAudit.h"
#include "stats/AnalyticsQueue.h"
#include "stats/AnalyticsSettings.h"
#include "stats/TesselReport.h"
#include "tests/support/RefService.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

namespace {

constexpr int kDeliveryTimeoutMs = 20000;
const QString kAppKey = "7TQW2K5XPLM9D3EA";

// What a client reported back through its signals.
struct Outcomes {
    QStringList delivered;
    QStringList rejected;
    QList<int> rejectedStatus;
    QStringList failed;
    QList<qint64> retryDelays;
    int purged = 0;
};

// Every event the service holds, by id, and how often each id arrived in a
// request body.
struct ServiceView {
    QHash<QString, QJsonObject> stored;
    QHash<QString, int> timesSent;
    QList<QStringList> requestIds;
};

QStringList idsOfBatch(const QJsonObject& batch) {
    QStringList ids;
    for (const QJsonValue& event : batch.value("events").toArray()) {
        ids << event.toObject().value("id").toString();
    }
    return ids;
}

QJsonObject bodyOf(const QJsonObject& journalEntry) {
    const QByteArray text = journalEntry.value("body").toObject().value("text").toString().toUtf8();
    return QJsonDocument::fromJson(text).object();
}

}  // namespace

class TestAnalytics : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(_service.start(), qPrintable(_service.errorString())); }

    void init() {
        QVERIFY(_service.clearAnalytics());
        QVERIFY(_service.clearFaults());
        _dir = std::make_unique<QTemporaryDir>();
        QVERIFY(_dir->isValid());
        _outcomes = {};
        _mark = _service.mark();
    }

    void cleanup() {
        zq::stats::setAnalyticsUserChoice(std::nullopt);
        _service.setConfigValue("Analytics/Enabled", "true");
    }

    void normalEventsWaitForTheirBatch() {
        auto report = startReporter({{"batchSize", 3}, {"batchIntervalMs", 3600000}});
        const TesselEvent a = TesselEvent::normalEventWithCode("n", kAppKey, {{"i", "a"}});
        const TesselEvent b = TesselEvent::normalEventWithCode("n", kAppKey, {{"i", "b"}});
        const TesselEvent r = TesselEvent::realTimeEventWithCode("r", kAppKey, {});
        QVERIFY(report->reportEvent(a));
        QVERIFY(report->reportEvent(b));
        QVERIFY(report->reportEvent(r));
        // The real-time event overtakes the two waiting normal events, alone.
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{r.identifier()},
                                  kDeliveryTimeoutMs);
        ServiceView view = serviceView();
        QCOMPARE(view.requestIds, QList<QStringList>{QStringList{r.identifier()}});
        QCOMPARE(report->pendingCount(), 2);
        QCOMPARE(QDateTime::fromString(view.stored.value(r.identifier()).value("time").toString(),
                                       Qt::ISODateWithMs),
                 r.createdAt());
        // The audit log holds exactly the body that was posted.
        const QJsonObject batch =
            bodyOf(_service.entries("/analytics/v1/events", _mark).at(0).toObject());
        QCOMPARE(batch.value("schema").toInt(), 1);
        QTRY_COMPARE(zq::stats::AnalyticsAudit::read(_dir->path()).size(), 1);
        const QJsonObject audit = zq::stats::AnalyticsAudit::read(_dir->path()).at(0).toObject();
        QCOMPARE(audit.value("body").toObject(), batch);
        QCOMPARE(audit.value("endpoint").toString(), _service.url("/analytics/v1/events"));

        // The third normal event completes the batch: one request with all three.
        const TesselEvent c = TesselEvent::normalEventWithCode("n", kAppKey, {{"i", "c"}});
        QVERIFY(report->reportEvent(c));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), 4, kDeliveryTimeoutMs);
        view = serviceView();
        QCOMPARE(view.requestIds,
                 (QList<QStringList>{QStringList{r.identifier()},
                                     QStringList{a.identifier(), b.identifier(), c.identifier()}}));
        QCOMPARE(view.stored.value(a.identifier()).value("kind").toString(), QString("normal"));
        QCOMPARE(report->pendingCount(), 0);
    }

    void batchIntervalSendsWhatWaits() {
        auto report = startReporter({{"batchSize", 100}, {"batchIntervalMs", 1500}});
        const TesselEvent a = TesselEvent::normalEventWithCode("n", kAppKey, {});
        const TesselEvent b = TesselEvent::normalEventWithCode("n", kAppKey, {});
        QVERIFY(report->reportEvent(a));
        QVERIFY(report->reportEvent(b));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), 2, kDeliveryTimeoutMs);
        QCOMPARE(serviceView().requestIds,
                 QList<QStringList>{(QStringList{a.identifier(), b.identifier()})});
    }

    void answers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("retried");
        QTest::newRow("408 is retried") << 408 << true;
        QTest::newRow("429 is retried") << 429 << true;
        QTest::newRow("503 is retried") << 503 << true;
        QTest::newRow("400 is refused") << 400 << false;
    }

    void answers() {
        QFETCH(int, status);
        QFETCH(bool, retried);
        QVERIFY(_service.setFault("/analytics/v1/events", "status",
                                  {{"status", status}, {"count", 1}}));
        const qint64 mark = _service.mark();
        auto report = startReporter({{"retryInitialMs", 50}});
        const TesselEvent first = TesselEvent::realTimeEventWithCode("first", kAppKey, {});
        QVERIFY(report->reportEvent(first));
        QTRY_VERIFY_WITH_TIMEOUT(!_outcomes.failed.isEmpty() || !_outcomes.rejected.isEmpty(),
                                 kDeliveryTimeoutMs);
        if (retried) {
            QCOMPARE(_outcomes.failed, QStringList{first.identifier()});
            QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{first.identifier()},
                                      kDeliveryTimeoutMs);
        } else {
            QCOMPARE(_outcomes.rejected, QStringList{first.identifier()});
            QCOMPARE(_outcomes.rejectedStatus, QList<int>{status});
            QCOMPARE(report->pendingCount(), 0);
        }
        // A later event goes out on its own: a refused batch is not sent again.
        const TesselEvent second = TesselEvent::realTimeEventWithCode("second", kAppKey, {});
        QVERIFY(report->reportEvent(second));
        QTRY_VERIFY_WITH_TIMEOUT(_outcomes.delivered.contains(second.identifier()),
                                 kDeliveryTimeoutMs);
        const QJsonArray requests = _service.entries("/analytics/v1/events", mark);
        QCOMPARE(requests.size(), retried ? 3 : 2);
        QCOMPARE(idsOfBatch(bodyOf(requests.last().toObject())), QStringList{second.identifier()});

        const QJsonArray audit = zq::stats::AnalyticsAudit::read(_dir->path());
        QCOMPARE(audit.size(), requests.size());
        const QJsonObject result = audit.at(0).toObject().value("result").toObject();
        QCOMPARE(result.value("status").toInt(), status);
        QCOMPARE(result.value("outcome").toString(),
                 retried ? QString("retry") : QString("rejected"));
    }

    void backoffWhileFailingThenDelivery() {
        auto report =
            startReporter({{"retryInitialMs", 100}, {"retryMaxMs", 400}, {"batchSize", 1}});
        const TesselEvent before = TesselEvent::realTimeEventWithCode("before", kAppKey, {});
        QVERIFY(report->reportEvent(before));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{before.identifier()},
                                  kDeliveryTimeoutMs);

        // From now on every connection ends without an answer.
        QVERIFY(_service.setFault("/analytics/v1/events", "drop"));
        const TesselEvent r = TesselEvent::realTimeEventWithCode("r", kAppKey, {});
        const TesselEvent n = TesselEvent::normalEventWithCode("n", kAppKey, {});
        QVERIFY(report->reportEvent(r));
        QVERIFY(report->reportEvent(n));

        // Failures come with waits that double (within 80-100 % of each step) up to the cap.
        QTRY_VERIFY_WITH_TIMEOUT(_outcomes.retryDelays.size() >= 6, kDeliveryTimeoutMs);
        const QList<qint64> delays = _outcomes.retryDelays;
        for (qsizetype i = 0; i < delays.size(); ++i) {
            const qint64 step = i < 2 ? 100 << i : 400;
            QVERIFY2(delays.at(i) >= step * 8 / 10 && delays.at(i) <= step,
                     qPrintable(QString::number(delays.at(i))));
        }
        QCOMPARE(_outcomes.delivered.size(), 1);
        QCOMPARE(report->pendingCount(), 2);

        // The service answers again.
        QVERIFY(_service.clearFaults());
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), 3, kDeliveryTimeoutMs);
        QCOMPARE(_outcomes.delivered,
                 (QStringList{before.identifier(), r.identifier(), n.identifier()}));
        QCOMPARE(serviceView().stored.size(), 3);
        QCOMPARE(report->pendingCount(), 0);

        // Every attempt is on record; the failed ones say why.
        const QJsonArray audit = zq::stats::AnalyticsAudit::read(_dir->path());
        QVERIFY(audit.size() >= 9);
        const QJsonObject firstFailure = audit.at(1).toObject().value("result").toObject();
        QCOMPARE(firstFailure.value("outcome").toString(), QString("retry"));
        QCOMPARE(firstFailure.value("status").toInt(), 0);
        QVERIFY(!firstFailure.value("error").toString().isEmpty());
        QCOMPARE(audit.last().toObject().value("result").toObject().value("outcome").toString(),
                 QString("delivered"));
    }

    void boundedQueueDropsTheOldest() {
        auto report =
            startReporter({{"maxQueued", 5}, {"batchSize", 1000}, {"batchIntervalMs", 3600000}});
        QStringList ids;
        for (int i = 0; i < 8; ++i) {
            const TesselEvent event =
                TesselEvent::normalEventWithCode("n", kAppKey, {{"i", QString::number(i)}});
            QVERIFY(report->reportEvent(event));
            ids << event.identifier();
        }
        QCOMPARE(report->pendingCount(), 5);
        report->flush();
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), 5, kDeliveryTimeoutMs);
        QCOMPARE(serviceView().requestIds, QList<QStringList>{ids.mid(3)});
    }

    void eventsClaimedByAnotherSenderWaitForTheirLease() {
        // Another process claimed two events and died before sending them.
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        QStringList foreign;
        {
            zq::stats::AnalyticsQueue other(_dir->path());
            QVERIFY(other.isOpen());
            for (int i = 0; i < 2; ++i) {
                const TesselEvent event =
                    TesselEvent::realTimeEventWithCode("foreign", kAppKey, {});
                const QByteArray body =
                    QJsonDocument(event.toJson()).toJson(QJsonDocument::Compact);
                QVERIFY(other.enqueue(event.identifier(), true, now, body, 100));
                foreign << event.identifier();
            }
            QCOMPARE(
                other.claim(zq::stats::AnalyticsQueue::realTimeOnly(), 10, now, now + 3000).size(),
                2);
        }
        auto report = startReporter({});
        const TesselEvent own = TesselEvent::realTimeEventWithCode("own", kAppKey, {});
        QVERIFY(report->reportEvent(own));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{own.identifier()},
                                  kDeliveryTimeoutMs);
        QCOMPARE(serviceView().requestIds, QList<QStringList>{QStringList{own.identifier()}});
        // When the lease ends they are sent.
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), 3, kDeliveryTimeoutMs);
        QCOMPARE(_outcomes.delivered.mid(1), foreign);
        QVERIFY(QDateTime::currentMSecsSinceEpoch() >= now + 3000);
    }

    void reportingFromSeveralThreads() {
        auto report = startReporter({{"batchSize", 1000}, {"batchIntervalMs", 3600000}});
        constexpr int kThreads = 4;
        constexpr int kEach = 25;
        QAtomicInt accepted;
        QList<QThread*> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads << QThread::create([&report, &accepted, t] {
                for (int i = 0; i < kEach; ++i) {
                    accepted += report->reportEvent(TesselEvent::normalEventWithCode(
                        "thread", kAppKey, {{"t", QString::number(t)}, {"i", QString::number(i)}}));
                }
            });
            threads.last()->start();
        }
        for (QThread* thread : threads) {
            QVERIFY(thread->wait(60000));
            delete thread;
        }
        QCOMPARE(accepted.loadRelaxed(), kThreads * kEach);
        QCOMPARE(report->pendingCount(), kThreads * kEach);
        report->flush();
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered.size(), kThreads * kEach, kDeliveryTimeoutMs);
        // Every event stored, and none sent twice.
        const ServiceView view = serviceView();
        QCOMPARE(view.stored.size(), kThreads * kEach);
        QCOMPARE(view.timesSent.size(), kThreads * kEach);
        QVERIFY(std::all_of(view.timesSent.cbegin(), view.timesSent.cend(),
                            [](int times) { return times == 1; }));
    }

    void userSwitchEmptiesTheQueue() {
        auto report = startReporter({{"batchSize", 1000}, {"batchIntervalMs", 3600000}});
        QVERIFY(report->reportEvent(TesselEvent::normalEventWithCode("n", kAppKey, {})));
        QVERIFY(report->reportEvent(TesselEvent::normalEventWithCode("n", kAppKey, {})));
        QCOMPARE(report->pendingCount(), 2);

        // As `vesko-tool analytics disable` does it, from outside the client.
        QVERIFY(zq::stats::setAnalyticsUserChoice(false));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.purged, 2, kDeliveryTimeoutMs);
        QCOMPARE(report->pendingCount(), 0);
        QVERIFY(!report->reportEvent(TesselEvent::realTimeEventWithCode("r", kAppKey, {})));
        QVERIFY(!report->reportEvent(TesselEvent::normalEventWithCode("n", kAppKey, {})));
        QCOMPARE(report->pendingCount(), 0);

        QVERIFY(zq::stats::setAnalyticsUserChoice(true));
        const TesselEvent after = TesselEvent::realTimeEventWithCode("r", kAppKey, {});
        QVERIFY(report->reportEvent(after));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{after.identifier()},
                                  kDeliveryTimeoutMs);
        QCOMPARE(serviceView().stored.keys(), QStringList{after.identifier()});
    }

    void deploymentSwitchOff() {
        {
            // Events left in the queue by an earlier process.
            zq::stats::AnalyticsQueue queue(_dir->path());
            const TesselEvent event = TesselEvent::normalEventWithCode("old", kAppKey, {});
            QVERIFY(queue.enqueue(event.identifier(), false, 0,
                                  QJsonDocument(event.toJson()).toJson(), 100));
        }
        _service.setConfigValue("Analytics/Enabled", "false");
        QVERIFY(!zq::stats::analyticsEnabled());
        auto report = startReporter({});
        QCOMPARE(report->pendingCount(), 0);
        QVERIFY(!report->reportEvent(TesselEvent::realTimeEventWithCode("r", kAppKey, {})));
        QCOMPARE(report->pendingCount(), 0);
        // A user who says yes does not override the deployment's no.
        QVERIFY(zq::stats::setAnalyticsUserChoice(true));
        QVERIFY(!zq::stats::analyticsEnabled());
        QVERIFY(!report->reportEvent(TesselEvent::realTimeEventWithCode("r", kAppKey, {})));
        report.reset();
        QVERIFY(_service.analyticsEvents().isEmpty());
        QVERIFY(zq::stats::AnalyticsAudit::read(_dir->path()).isEmpty());
    }

    void unreadableQueueIsSetAside() {
        const QByteArray garbage(4096, 'x');
        {
            QFile file(zq::stats::AnalyticsQueue::databasePath(_dir->path()));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(garbage);
        }
        auto report = startReporter({});
        const TesselEvent event = TesselEvent::realTimeEventWithCode("r", kAppKey, {});
        QVERIFY(report->reportEvent(event));
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes.delivered, QStringList{event.identifier()},
                                  kDeliveryTimeoutMs);
        const QStringList aside =
            QDir(_dir->path()).entryList({"events.sqlite.unreadable-*"}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QFile kept(_dir->filePath(aside.first()));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), garbage);
    }

    void killedProcessEventsGoOutWithTheFirstRequests() {
        // The helper's first request is held at the service (and then refused),
        // so that it dies with a claim of an hour on those events and the rest
        // still its own.
        QVERIFY(
            _service.setFault("/analytics/v1/events", "answer", {{"status", 503}, {"ms", 600000}}));
        QProcess helper;
        helper.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        helper.start(QStringLiteral(ZQ_BINARY_DIR "/tests/stats/analytics_queue_helper"),
                     {_dir->path(), _service.url("/analytics/v1/events"), "400"});
        QVERIFY(helper.waitForStarted(20000));
        // Every event whose reportEvent() had returned must reach the service, once.
        // The helper is killed once its first request is held at the service; it
        // may have reported all its events ("done") by then on a busy machine.
        QStringList confirmed;
        const auto helperIsMidRequest = [&] {
            while (helper.canReadLine()) {
                confirmed << QString::fromUtf8(helper.readLine()).trimmed();
            }
            return confirmed.size() >= 30 &&
                   !_service.entries("/analytics/v1/events", _mark).isEmpty();
        };
        QTRY_VERIFY_WITH_TIMEOUT(helperIsMidRequest(), 20000);
        helper.kill();  // SIGKILL: no clean-up of any kind
        QVERIFY(helper.waitForFinished(20000));
        confirmed
            << QString::fromUtf8(helper.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        confirmed.removeAll("done");
        QVERIFY(_service.clearFaults());

        // A client that starts sends them at once, in requests of its configured
        // size: no lease or batch interval runs out within the wait.
        const qint64 mark = _service.mark();
        auto report = startReporter({{"maxEventsPerRequest", 7}});
        QTRY_COMPARE_WITH_TIMEOUT(report->pendingCount(), 0, kDeliveryTimeoutMs);
        QStringList posted;
        QList<qsizetype> sizes;
        for (const QJsonValue& request : _service.entries("/analytics/v1/events", mark)) {
            const QStringList ids = idsOfBatch(bodyOf(request.toObject()));
            posted << ids;
            sizes << ids.size();
        }
        QCOMPARE(QSet<QString>(posted.cbegin(), posted.cend()).size(), posted.size());
        QVERIFY(sizes.size() >= 5);
        QCOMPARE(sizes.mid(0, sizes.size() - 1), QList<qsizetype>(sizes.size() - 1, 7));
        QVERIFY(sizes.last() <= 7);
        const ServiceView view = serviceView();
        for (const QString& id : std::as_const(confirmed)) {
            QVERIFY2(view.stored.contains(id), qPrintable("lost: " + id));
        }
    }

private:
    std::unique_ptr<TesselReport> startReporter(const QVariantMap& config) {
        auto report = std::make_unique<TesselReport>();
        report->setCustomDocumentPath(_dir->path());
        report->setOStarO16("0123456789ABCDEF0123456789ABCDEF", std::nullopt);
        connect(report.get(), &TesselReport::eventsDelivered, this,
                [this](const QStringList& ids) { _outcomes.delivered << ids; });
        connect(report.get(), &TesselReport::eventsRejected, this,
                [this](const QStringList& ids, int status) {
                    _outcomes.rejected << ids;
                    _outcomes.rejectedStatus << status;
                });
        connect(report.get(), &TesselReport::deliveryFailed, this,
                [this](const QStringList& ids, const QString&, qint64 retryInMs) {
                    _outcomes.failed << ids;
                    _outcomes.retryDelays << retryInMs;
                });
        connect(report.get(), &TesselReport::queuePurged, this,
                [this](int count) { _outcomes.purged += count; });
        report->startWithAppkey(kAppKey, config);
        return report;
    }
    ServiceView serviceView() {
        ServiceView view;
        for (const QJsonValue& record : _service.analyticsEvents()) {
            const QJsonObject event = record.toObject().value("event").toObject();
            view.stored.insert(event.value("id").toString(), event);
        }
        for (const QJsonValue& entry : _service.entries("/analytics/v1/events", _mark)) {
            const QStringList ids = idsOfBatch(bodyOf(entry.toObject()));
            view.requestIds << ids;
            for (const QString& id : ids) {
                ++view.timesSent[id];
            }
        }
        return view;
    }

    zq::test::RefService _service;
    std::unique_ptr<QTemporaryDir> _dir;
    Outcomes _outcomes;
    qint64 _mark = 0;
};

QTEST_GUILESS_MAIN(TestAnalytics)
#include "tst_analytics.moc"
