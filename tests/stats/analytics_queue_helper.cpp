// Queues analytics events for the durability test, then waits to be killed.
//
//   analytics_queue_helper FOLDER ENDPOINT COUNT
//
// Reports COUNT events (real-time and normal in turn) into the queue in
// FOLDER and prints each event's identifier on its own line once
// reportEvent() has returned, then "done". Its claims last an hour, a
// request may take as long (the test holds it at the service), and normal
// events wait for a batch that never comes due: only this process's end can
// set its events free.

#include "stats/TesselReport.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        std::fprintf(stderr, "usage: analytics_queue_helper FOLDER ENDPOINT COUNT\n");
        return 2;
    }
    TesselReport report;
    report.setCustomDocumentPath(args.at(1));
    report.setOStarO16(QStringLiteral("HELPERDEVICE"), std::nullopt);
    report.startWithAppkey(QStringLiteral("7TQW2K5XPLM9D3EA"),
                           QVariantMap{{"endpoint", args.at(2)},
                                       {"batchSize", 1000000},
                                       {"batchIntervalMs", 3600000},
                                       {"retryInitialMs", 3600000},
                                       {"requestTimeoutMs", 3600000},
                                       {"claimLeaseMs", 3600000}});
    const int count = args.at(3).toInt();
    for (int i = 0; i < count; ++i) {
        const QVariantMap params{{"n", QString::number(i)}};
        const TesselEvent event =
            i % 2 == 0 ? TesselEvent::realTimeEventWithCode("helper_rt", report.appKey(), params)
                       : TesselEvent::normalEventWithCode("helper_nm", report.appKey(), params);
        if (!report.reportEvent(event)) {
            std::fprintf(stderr, "event %d not queued\n", i);
            return 1;
        }
        std::printf("%s\n", event.identifier().toUtf8().constData());
        std::fflush(stdout);
    }
    std::printf("done\n");
    std::fflush(stdout);
    return app.exec();
}
