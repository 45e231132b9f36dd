// The encrypted wall's overhead on loopback.
//
//   BM_HelpListPlain         GET of the help list, answered as plain JSON
//   BM_HelpListWall          the same address through the wall: encrypted
//                            request to "/q", decrypted answer
//   BM_HelpListWallOverhead  both, alternately, in one run; reports the ratio
//                            of their mean times as the counter "wall/plain"
//   BM_WallEncryptRequest    the client's encryption of the request alone
//                            (compression, AES, two RSA wraps), no network
//   BM_DecodeGzipAnswer      the client layer's decoding of a gzip answer of
//                            100 KB of help-list JSON, fed in 16 KB pieces as
//                            the network delivers them, no network
//   BM_InflateGzipOneCall    the same answer inflated by zlib in one call into
//                            a buffer made ready beforehand: the floor
//
// Every request runs to its completion on the main thread's event loop, as in
// the application. The reference service runs in its own process.

#include "crypto/PingbackUtil.h"
#include "net/ContentDecoder.h"
#include "net/VeskoNetworking.h"
#include "tests/support/RefService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <zlib.h>

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

// About 100 KB of help-list JSON whose texts are drawn from 500 common
// characters by a fixed pseudo-random sequence, so that it compresses about
// as well as real Chinese text does (not as well as repeated entries would).
QByteArray helpListJson() {
    quint32 seed = 12345;
    const auto text = [&seed](int length) {
        QString out;
        for (int i = 0; i < length; ++i) {
            seed = seed * 1103515245u + 12345u;
            out.append(QChar(0x4E00 + int((seed >> 16) % 500)));
        }
        return out;
    };
    QJsonArray list;
    QByteArray json;
    for (int id = 1; json.size() < 100 * 1024; ++id) {
        list.append(QJsonObject{
            {"id", id},
            {"type", id % 3 + 1},
            {"title", text(16)},
            {"brief", text(40)},
            {"detail", text(120)},
            {"image",
             QStringLiteral("http://127.0.0.1:8731/static/help/helpinfo_%1.png").arg(id)}});
        json = QJsonDocument(QJsonObject{{"version", 3}, {"helplist", list}}).toJson();
    }
    return json;
}

QByteArray gzipped(const QByteArray& data) {
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

void BM_DecodeGzipAnswer(benchmark::State& state) {
    const QByteArray plain = helpListJson();
    const QByteArray body = gzipped(plain);
    constexpr qsizetype kPiece = 16 * 1024;
    for (auto _ : state) {
        zq::net::ContentDecoder decoder("gzip");
        QByteArray decoded;
        for (qsizetype at = 0; at < body.size(); at += kPiece)
            decoder.write(QByteArrayView(body).sliced(at, qMin(kPiece, body.size() - at)),
                          &decoded);
        if (!decoder.finish() || decoded.size() != plain.size()) {
            state.SkipWithError("the answer did not decode");
            return;
        }
        benchmark::DoNotOptimize(decoded.data());
    }
    state.SetBytesProcessed(state.iterations() * plain.size());
    state.counters["decoded_bytes"] = double(plain.size());
    state.counters["gzip_bytes"] = double(body.size());
}

void BM_InflateGzipOneCall(benchmark::State& state) {
    const QByteArray plain = helpListJson();
    const QByteArray body = gzipped(plain);
    QByteArray decoded(plain.size(), '\0');
    for (auto _ : state) {
        z_stream stream{};
        inflateInit2(&stream, 16 + MAX_WBITS);
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
        stream.avail_in = uInt(body.size());
        stream.next_out = reinterpret_cast<Bytef*>(decoded.data());
        stream.avail_out = uInt(decoded.size());
        const int result = inflate(&stream, Z_FINISH);
        inflateEnd(&stream);
        if (result != Z_STREAM_END) {
            state.SkipWithError("the answer did not inflate");
            return;
        }
        benchmark::DoNotOptimize(decoded.data());
    }
    state.SetBytesProcessed(state.iterations() * plain.size());
}

}  // namespace

BENCHMARK(BM_HelpListPlain)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_HelpListWall)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_HelpListWallOverhead)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_WallEncryptRequest)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodeGzipAnswer)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_InflateGzipOneCall)->Unit(benchmark::kMicrosecond);

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
