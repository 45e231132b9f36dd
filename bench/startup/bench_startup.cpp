// Start-up time: from the start of a process to its first painted page
// window, whole-process timing (fork to exit). The application and a minimal
// Qt Widgets program are measured in the same run, each started fresh for
// every repetition with ZQ_EXIT_AFTER_FIRST_PAINT set, so each ends right
// after its first window has been painted. The medians and their ratio are
// printed at the end.
//
// The children get a private home, data folders and an empty installed input
// method; the platform plugin is the caller's (offscreen when unset).

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

extern char** environ;

namespace {

std::string g_root;

void setUpEnvironment() {
    char pattern[] = "/tmp/zq-bench-startup.XXXXXX";
    const char* root = mkdtemp(pattern);
    if (!root) {
        std::perror("mkdtemp");
        std::exit(2);
    }
    g_root = root;
    for (const char* sub : {"/home", "/data", "/tmp", "/install", "/shared"}) {
        const std::string dir = g_root + sub;
        mkdir(dir.c_str(), 0700);
    }
    setenv("HOME", (g_root + "/home").c_str(), 1);
    setenv("XDG_DATA_HOME", (g_root + "/data").c_str(), 1);
    setenv("TMPDIR", (g_root + "/tmp").c_str(), 1);
    setenv("VESKO_INSTALL_ROOT", (g_root + "/install").c_str(), 1);
    setenv("VESKO_SHARED_DATA", (g_root + "/shared").c_str(), 1);
    setenv("QT_QPA_PLATFORM",
           std::getenv("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "offscreen", 1);
    if (geteuid() == 0 && !std::getenv("QTWEBENGINE_CHROMIUM_FLAGS")) {
        setenv("QTWEBENGINE_CHROMIUM_FLAGS", "--no-sandbox --disable-gpu", 1);
    }
    setenv("ZQ_EXIT_AFTER_FIRST_PAINT", "1", 1);
}

// Runs the program to its end; the wall time in seconds, or a negative value.
double runOnce(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const std::string& part : command) {
        argv.push_back(const_cast<char*>(part.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return -1;
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        return -1;
    }
    const auto end = std::chrono::steady_clock::now();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return -1;
    }
    return std::chrono::duration<double>(end - start).count();
}

void measure(benchmark::State& state, const std::vector<std::string>& command) {
    for (auto _ : state) {
        const double seconds = runOnce(command);
        if (seconds < 0) {
            state.SkipWithError("the program did not end normally after its first paint");
            break;
        }
        state.SetIterationTime(seconds);
    }
}

void BM_AssistPanelFirstPaint(benchmark::State& state) {
    measure(state, {ZQ_ASSIST_PANEL, "-ZQUpdateDetail", "-" + g_root + "/VeskoInput-2.1.0.pkg",
                    "-UpdateByPkg", "-2.1.0"});
}

void BM_MinimalWidgetsFirstPaint(benchmark::State& state) {
    measure(state, {ZQ_MINIMAL_WIDGETS});
}

constexpr int kRepetitions = 9;

BENCHMARK(BM_AssistPanelFirstPaint)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_MinimalWidgetsFirstPaint)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

// Keeps the medians to print their ratio after the run.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median" && !run.error_occurred) {
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians;
};

}  // namespace

int main(int argc, char** argv) {
    setUpEnvironment();
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    const auto app = reporter.medians.find("BM_AssistPanelFirstPaint");
    const auto minimal = reporter.medians.find("BM_MinimalWidgetsFirstPaint");
    if (app != reporter.medians.end() && minimal != reporter.medians.end() && minimal->second > 0) {
        std::printf(
            "first painted window, median: ZQAssistPanel %.1f ms, minimal Qt Widgets %.1f ms, "
            "ratio %.2f\n",
            app->second, minimal->second, app->second / minimal->second);
    }
    const std::string cleanup = "rm -rf '" + g_root + "'";
    return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
