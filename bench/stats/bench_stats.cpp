// Costs of the analytics client.
//
//   BM_ReportEvent         reportEvent() on the caller's thread: the event's
//                          JSON, one synced SQLite commit (WAL,
//                          synchronous=FULL), the sender woken. The sender
//                          stays idle (normal events, no batch due).
//   BM_QueueEnqueue/1      the queue's insert alone, same durability.
//   BM_QueueEnqueue/0      the same without the sync (what the sync costs).
//   BM_SustainedDelivery   events per second through the whole client: the
//                          caller queues N normal events and the sender posts
//                          them in batches of 200 to the reference service on
//                          loopback, until the queue is empty.
//   BM_DrainQueue          the sender alone: a queue of N events left by an
//                          earlier process, sent in batches of 200 from the
//                          client's start until the last is delivered.
//
// Everything runs in a temporary home; the reference service runs in its own
// process.

#include "stats/AnalyticsQueue.h"
#include "stats/TesselReport.h"
#include "tests/support/RefService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

namespace {

zq::test::RefService* service = nullptr;
const QString kAppKey = QStringLiteral("7TQW2K5XPLM9D3EA");

QVariantMap pageParams() {
    return {{"mac_icon", "13"},
            {"mac_os", "12"},
            {"mac_v", "5.1.0.2345"},
            {"mac_model", "Unknown"},
            {"mac_h", "0123456789ABCDEF0123456789ABCDEF"},
            {"mac_r", "0000"}};
}

void BM_ReportEvent(benchmark::State& state) {
    QTemporaryDir folder;
    TesselReport report;
    report.setCustomDocumentPath(folder.path());
    report.startWithAppkey(kAppKey, QVariantMap{{"batchSize", 100000000},
                                                {"batchIntervalMs", 3600000},
                                                {"maxQueued", 100000000}});
    for (auto _ : state) {
        if (!report.reportEvent(
                TesselEvent::normalEventWithCode("mac_clck", kAppKey, pageParams()))) {
            state.SkipWithError("event not queued");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_QueueEnqueue(benchmark::State& state) {
    QTemporaryDir folder;
    zq::stats::AnalyticsQueue queue(
        folder.path(), state.range(0) != 0 ? zq::stats::AnalyticsQueue::Durability::Synced
                                           : zq::stats::AnalyticsQueue::Durability::ProcessCrash);
    const TesselEvent event = TesselEvent::normalEventWithCode("mac_clck", kAppKey, pageParams());
    const QByteArray body = QJsonDocument(event.toJson()).toJson(QJsonDocument::Compact);
    qint64 n = 0;
    for (auto _ : state) {
        if (!queue.enqueue(QString::number(++n), false, 0, body, 100000000)) {
            state.SkipWithError("enqueue failed");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_SustainedDelivery(benchmark::State& state) {
    const int events = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir folder;
        auto report = std::make_unique<TesselReport>();
        report->setCustomDocumentPath(folder.path());
        report->startWithAppkey(kAppKey, QVariantMap{{"batchSize", 200},
                                                     {"batchIntervalMs", 50},
                                                     {"maxEventsPerRequest", 200},
                                                     {"maxQueued", 100000000}});
        int delivered = 0;
        QEventLoop loop;
        QObject::connect(report.get(), &TesselReport::eventsDelivered, &loop,
                         [&](const QStringList& ids) {
                             delivered += static_cast<int>(ids.size());
                             if (delivered >= events) {
                                 loop.quit();
                             }
                         });
        QTimer::singleShot(300000, &loop, &QEventLoop::quit);
        state.ResumeTiming();

        for (int i = 0; i < events; ++i) {
            report->reportEvent(
                TesselEvent::normalEventWithCode("mac_clck", kAppKey, pageParams()));
        }
        if (delivered < events) {
            loop.exec();
        }

        state.PauseTiming();
        if (delivered < events) {
            state.SkipWithError("not every event was delivered");
        }
        report.reset();
        service->clearAnalytics();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * events);
}

void BM_DrainQueue(benchmark::State& state) {
    const int events = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir folder;
        {
            zq::stats::AnalyticsQueue queue(folder.path(),
                                            zq::stats::AnalyticsQueue::Durability::ProcessCrash);
            for (int i = 0; i < events; ++i) {
                const TesselEvent event =
                    TesselEvent::normalEventWithCode("mac_clck", kAppKey, pageParams());
                queue.enqueue(event.identifier(), false, 0,
                              QJsonDocument(event.toJson()).toJson(QJsonDocument::Compact),
                              100000000);
            }
        }
        auto report = std::make_unique<TesselReport>();
        report->setCustomDocumentPath(folder.path());
        int delivered = 0;
        QEventLoop loop;
        QObject::connect(report.get(), &TesselReport::eventsDelivered, &loop,
                         [&](const QStringList& ids) {
                             delivered += static_cast<int>(ids.size());
                             if (delivered >= events) {
                                 loop.quit();
                             }
                         });
        QTimer::singleShot(300000, &loop, &QEventLoop::quit);
        state.ResumeTiming();

        // Events left by an earlier process go out as soon as the client starts.
        report->startWithAppkey(kAppKey, QVariantMap{{"maxEventsPerRequest", 200}});
        loop.exec();

        state.PauseTiming();
        if (delivered < events) {
            state.SkipWithError("not every event was delivered");
        }
        report.reset();
        service->clearAnalytics();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * events);
}

BENCHMARK(BM_ReportEvent)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_QueueEnqueue)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_SustainedDelivery)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();
BENCHMARK(BM_DrainQueue)->Arg(5000)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    // Never the user's own folders.
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath("data")));
    QCoreApplication app(argc, argv);
    zq::test::RefService refService;
    if (!refService.start()) {
        std::fprintf(stderr, "cannot start the reference service: %s\n",
                     qPrintable(refService.errorString()));
        return 1;
    }
    service = &refService;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
