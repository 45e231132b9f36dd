// The encrypted wall's overhead on loopback.
//
//   BM_HelpListPlain         GET of the help list, answered as plain JSON
//   BM_HelpListWall          the same address through the wall: encrypted
//                            request to "/q", decrypted answer
//   BM_HelpListWallOverhead  both, alternately, in one run; reports the ratio
//                            of their mean times as the counter "wall/plain"
//   BM_WallEncryptRequest    the client's encryption of the request alone
//                            (compression, AES, two RSA wraps), no network
//
// Every request runs to its completion on the main thread's event loop, as in
// the application. The reference service runs in its own process.

#include "crypto/PingbackUtil.h"
#include "net/VeskoNetworking.h"
#include "tests/support/RefService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>

namespace {

zq::test::RefService* service = nullptr;

QString helpListAddress() {
    return service->url(QStringLiteral(
        "/mac_feed_tpl?h=0123456789ABCDEF0123456789ABCDEF&v=1.2.3&r=0000&os=12&hv=(null)"));
}

// Runs one request to its completion; false when it failed.
bool roundTrip(bool throughTheWall) {
    QEventLoop loop;
    bool ok = false;
    const auto done = [&](const QByteArray& data, const zq::net::OptionalResponse&,
                          const zq::net::OptionalError& error) {
        ok = !error && !data.isEmpty();
        loop.quit();
    };
    if (throughTheWall)
        VeskoNetworking::sendPostRequestByEW(helpListAddress(), {}, {}, done);
    else
        VeskoNetworking::sendGetRequest(helpListAddress(), {}, nullptr, {}, done);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    return ok;
}

void BM_HelpListPlain(benchmark::State& state) {
    for (auto _ : state) {
        if (!roundTrip(false)) {
            state.SkipWithError("plain request failed");
            return;
        }
    }
}

void BM_HelpListWall(benchmark::State& state) {
    for (auto _ : state) {
        if (!roundTrip(true)) {
            state.SkipWithError("request through the wall failed");
            return;
        }
    }
}

void BM_HelpListWallOverhead(benchmark::State& state) {
    qint64 plainNs = 0;
    qint64 wallNs = 0;
    QElapsedTimer timer;
    for (auto _ : state) {
        timer.start();
        const bool plain = roundTrip(false);
        plainNs += timer.nsecsElapsed();
        timer.start();
        const bool wall = roundTrip(true);
        wallNs += timer.nsecsElapsed();
        if (!plain || !wall) {
            state.SkipWithError("a request failed");
            return;
        }
    }
    if (plainNs > 0)
        state.counters["wall/plain"] = double(wallNs) / double(plainNs);
    state.counters["plain_us"] =
        benchmark::Counter(double(plainNs) / 1000.0, benchmark::Counter::kAvgIterations);
    state.counters["wall_us"] =
        benchmark::Counter(double(wallNs) / 1000.0, benchmark::Counter::kAvgIterations);
}

void BM_WallEncryptRequest(benchmark::State& state) {
    std::array<unsigned char, PingbackUtil::kAesKeyIvLength> keyIv{};
    QString newUrl;
    QByteArray body;
    for (auto _ : state) {
        const std::int32_t result = PingbackUtil::EncryptHttpRequest(
            helpListAddress(), QByteArray(), &newUrl, &body, keyIv.data());
        benchmark::DoNotOptimize(result);
        benchmark::DoNotOptimize(body.data());
    }
    state.counters["body_bytes"] = double(body.size());
}

}  // namespace

BENCHMARK(BM_HelpListPlain)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_HelpListWall)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_HelpListWallOverhead)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_WallEncryptRequest)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    zq::test::RefService refService;
    if (!refService.start()) {
        std::fprintf(stderr, "bench_net: %s\n", qPrintable(refService.errorString()));
        return 1;
    }
    service = &refService;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    service = nullptr;
    return 0;
}
