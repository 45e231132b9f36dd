// Costs of the run log as its callers see them.
//
//   NonRecording*   an entry whose type is not enabled: the membership test only
//   RecordedCall    the caller's cost of an entry that is recorded (the file
//                   work happens on the writer thread)
//   Sustained       lines per second through to the file, writer included

#include "log/ZQLogManager.h"
#include "platform/Plist.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Fixture {
    QTemporaryDir dir;
    std::unique_ptr<ZQLogManager> manager;

    explicit Fixture(const QVariantMap& config) {
        const QString configPath = dir.filePath(QStringLiteral("logConfig.plist"));
        if (!config.isEmpty()) {
            platform::Plist::writeFile(configPath, config);
        }
        manager = std::make_unique<ZQLogManager>(ZQLogManager::Options{
            configPath, dir.filePath(QStringLiteral("logs")), QStringLiteral("bench")});
    }
};

const QVariantMap kOnlyAbout{{QStringLiteral("logconfig"), QVariantList{88, 96, 1, 2, 3}}};
const QVariantMap kUtility{{QStringLiteral("logconfig"), QVariantList{29}},
                           {QStringLiteral("maxcount"), 500}};

void NonRecordingContentCall(benchmark::State& state) {
    Fixture fixture(kOnlyAbout);
    const QString content = QStringLiteral("beg");
    for (auto _ : state) {
        fixture.manager->recordRunLogP4(__func__, __LINE__, content, ZQLogType::Utility);
    }
}
BENCHMARK(NonRecordingContentCall);

void NonRecordingKeyValueCall(benchmark::State& state) {
    Fixture fixture(kOnlyAbout);
    const QString key = QStringLiteral("path");
    const QVariant value(QStringLiteral("/home/user/.local/share/Vesko/InputMethod"));
    for (auto _ : state) {
        fixture.manager->recordRunLogP5(__func__, __LINE__, key, value, ZQLogType::Utility);
    }
}
BENCHMARK(NonRecordingKeyValueCall);

// The call-site macro through the shared manager (no configuration file in
// the benchmark's environment: nothing is enabled). Its arguments, here a
// formatted number, are not even evaluated.
void NonRecordingMacro(benchmark::State& state) {
    int i = 0;
    for (auto _ : state) {
        ZQ_RUN_LOG_KV(ZQLogType::Utility, QStringLiteral("value"), QString::number(++i));
    }
    benchmark::DoNotOptimize(i);
}
BENCHMARK(NonRecordingMacro);

void RecordedCall(benchmark::State& state) {
    Fixture fixture(kUtility);
    const QString content = QStringLiteral("path = /home/user/.local/share/Vesko/InputMethod");
    for (auto _ : state) {
        fixture.manager->recordRunLogP4(__func__, __LINE__, content, ZQLogType::Utility);
    }
    fixture.manager->waitForPendingWrites();  // after the loop: not timed
}
BENCHMARK(RecordedCall);

void RecordedKeyValueCall(benchmark::State& state) {
    Fixture fixture(kUtility);
    const QString key = QStringLiteral("path");
    const QVariant value(QStringLiteral("/home/user/.local/share/Vesko/InputMethod"));
    for (auto _ : state) {
        fixture.manager->recordRunLogP5(__func__, __LINE__, key, value, ZQLogType::Utility);
    }
    fixture.manager->waitForPendingWrites();  // after the loop: not timed
}
BENCHMARK(RecordedKeyValueCall);

// Lines per second into the file: each iteration queues a burst of entries
// and waits until the writer has written them all.
void Sustained(benchmark::State& state) {
    Fixture fixture(QVariantMap{{QStringLiteral("logconfig"), QVariantList{29}},
                                {QStringLiteral("maxcount"), qint64(state.range(0))}});
    const QString content = QStringLiteral("path = /home/user/.local/share/Vesko/InputMethod");
    constexpr int kBurst = 1000;
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i) {
            fixture.manager->recordRunLogP4(__func__, __LINE__, content, ZQLogType::Utility);
        }
        fixture.manager->waitForPendingWrites();
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(Sustained)->Arg(500)->Arg(50)->Unit(benchmark::kMillisecond)->UseRealTime();

// One entry at a time, each waited for: every line costs a whole-file write.
void OneByOne(benchmark::State& state) {
    Fixture fixture(kUtility);
    const QString content = QStringLiteral("path = /home/user/.local/share/Vesko/InputMethod");
    for (auto _ : state) {
        fixture.manager->recordRunLogP4(__func__, __LINE__, content, ZQLogType::Utility);
        fixture.manager->waitForPendingWrites();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(OneByOne)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
