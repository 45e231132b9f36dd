// Start-up of every page against a minimal Qt Widgets program: whole-process
// timing from the start of a process to its first painted window (fork to
// exit, with ZQ_EXIT_AFTER_FIRST_PAINT set so each ends right after that
// paint), and the peak resident memory of the process (wait4's ru_maxrss).
//
//   bench_startup [--rounds N] [--page NAME]...
//
// Every subject is started fresh in every round, the subjects interleaved so
// that a busy moment of the machine is shared out. The medians and their
// ratios to the minimal program are printed as a table, with the goal of
// each page: pages without web content at most 1.3x the minimal program's
// time and memory; the update detail window painted within 1.5x its time.
//
// The children get a private home, data folders and an installed input
// method; the platform plug-in is the caller's (offscreen when unset). Run it
// on a private session bus (the bench_startup_run target does).

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Subject {
    std::string label;
    std::vector<std::string> command;
    // The goal, as ratios to the minimal program (0: not checked).
    double timeGoal = 0;
    double memoryGoal = 0;
    std::string reference;  // the page name, or "" for a reference program
    std::vector<double> millis;
    std::vector<double> mebibytes;
};

std::string g_root;

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

void setUpEnvironment() {
    char pattern[] = "/tmp/zq-bench-startup.XXXXXX";
    const char* root = mkdtemp(pattern);
    if (!root) {
        std::perror("mkdtemp");
        std::exit(2);
    }
    g_root = root;
    for (const char* sub : {"/home", "/data", "/tmp", "/install", "/install/Contents", "/shared"}) {
        mkdir((g_root + sub).c_str(), 0700);
    }
    setenv("HOME", (g_root + "/home").c_str(), 1);
    setenv("XDG_DATA_HOME", (g_root + "/data").c_str(), 1);
    setenv("TMPDIR", (g_root + "/tmp").c_str(), 1);
    setenv("VESKO_INSTALL_ROOT", (g_root + "/install").c_str(), 1);
    setenv("VESKO_SHARED_DATA", (g_root + "/shared").c_str(), 1);
    setenv("QT_QPA_PLATFORM",
           std::getenv("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "offscreen", 1);
    // The installed input method, as the pages read it.
    writeFile(g_root + "/install/Contents/Info.plist",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\"><dict>"
              "<key>CFBundleFullVersion</key><string>2.0.0</string>"
              "<key>CFBundleShortVersionString</key><string>2.0.0</string>"
              "</dict></plist>\n");
    writeFile(g_root + "/VeskoInput-2.1.0.pkg", "");
}

// Runs the program to its end; false when it did not paint a window and end
// normally. The wall time in milliseconds and the peak resident memory in MiB.
bool runOnce(const Subject& subject, double* millis, double* mebibytes) {
    const std::string report = g_root + "/painted";
    unlink(report.c_str());
    setenv("ZQ_EXIT_AFTER_FIRST_PAINT", report.c_str(), 1);
    std::vector<char*> argv;
    for (const std::string& part : subject.command) {
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
        return false;
    }
    int status = 0;
    struct rusage usage {};
    if (wait4(pid, &status, 0, &usage) != pid) {
        return false;
    }
    const auto end = std::chrono::steady_clock::now();
    *millis = std::chrono::duration<double, std::milli>(end - start).count();
    *mebibytes = double(usage.ru_maxrss) / 1024.0;
    struct stat painted {};
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 && stat(report.c_str(), &painted) == 0 &&
           painted.st_size > 0;
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

bool fileExists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 15;
    std::vector<std::string> only;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc) {
            rounds = std::max(1, std::atoi(argv[++i]));
        } else if (!std::strcmp(argv[i], "--page") && i + 1 < argc) {
            only.emplace_back(argv[++i]);
        } else {
            std::fprintf(stderr, "usage: %s [--rounds N] [--page NAME]...\n", argv[0]);
            return 2;
        }
    }
    setUpEnvironment();

    const std::string app = ZQ_ASSIST_PANEL;
    const std::string modules = ZQ_PAGE_MODULES;
    std::vector<Subject> subjects;
    subjects.push_back({"minimal Qt Widgets", {ZQ_MINIMAL_WIDGETS}, 0, 0, "", {}, {}});
    subjects.push_back({"minimal, Chinese label", {ZQ_MINIMAL_WIDGETS, "--cjk"}, 0, 0, "", {}, {}});
    // Page name, module, launch parameters, whether it shows web content.
    struct Page {
        const char* name;
        const char* module;
        std::vector<std::string> parameters;
        bool web;
    };
    const std::vector<Page> pages{
        {"ZQUpdateDetail",
         "ZQUpdateDetail",
         {"-" + g_root + "/VeskoInput-2.1.0.pkg", "-UpdateByPkg", "-2.1.0"},
         true},
        {"ZQAbout", "ZQAboutWindowController", {}, false},
        {"ZQDebugMode", "ZQDebugModeController", {}, false},
        {"ZQFeedbackWindowController", "ZQFeedbackWindowController", {}, false},
        {"ZQAuthorize", "ZQAccesAuthorize", {"-4", "-6"}, false},
    };
    for (const Page& page : pages) {
        if (!only.empty() && std::find(only.begin(), only.end(), page.name) == only.end()) {
            continue;
        }
        if (!fileExists(modules + "/" + page.module + ".so")) {
            std::printf("%-28s not built (no %s.so)\n", page.name, page.module);
            continue;
        }
        Subject subject{page.name,
                        {app, std::string("-") + page.name},
                        page.web ? 1.5 : 1.3,
                        page.web ? 0 : 1.3,
                        page.name,
                        {},
                        {}};
        subject.command.insert(subject.command.end(), page.parameters.begin(),
                               page.parameters.end());
        subjects.push_back(std::move(subject));
    }

    // Two rounds to warm the caches, then the measured rounds.
    for (int round = -2; round < rounds; ++round) {
        for (Subject& subject : subjects) {
            double millis = 0, mebibytes = 0;
            if (!runOnce(subject, &millis, &mebibytes)) {
                std::fprintf(stderr, "%s did not paint a window and end normally\n",
                             subject.label.c_str());
                return 1;
            }
            if (round >= 0) {
                subject.millis.push_back(millis);
                subject.mebibytes.push_back(mebibytes);
            }
        }
    }

    const double baseTime = median(subjects.front().millis);
    const double baseMemory = median(subjects.front().mebibytes);
    std::printf("\nfirst painted window, median of %d runs (peak resident memory, median)\n\n",
                rounds);
    std::printf("%-28s %9s %7s %10s %7s  %s\n", "program", "time ms", "ratio", "memory MiB",
                "ratio", "goal");
    bool met = true;
    for (const Subject& subject : subjects) {
        const double time = median(subject.millis);
        const double memory = median(subject.mebibytes);
        const double timeRatio = time / baseTime;
        const double memoryRatio = memory / baseMemory;
        std::string goal;
        if (subject.timeGoal > 0) {
            std::ostringstream text;
            const bool ok = timeRatio <= subject.timeGoal &&
                            (subject.memoryGoal == 0 || memoryRatio <= subject.memoryGoal);
            met = met && ok;
            text << "time <= " << subject.timeGoal << "x";
            if (subject.memoryGoal > 0) {
                text << ", memory <= " << subject.memoryGoal << "x";
            }
            text << (ok ? ": met" : ": NOT MET");
            goal = text.str();
        }
        std::printf("%-28s %9.1f %7.2f %10.1f %7.2f  %s\n", subject.label.c_str(), time, timeRatio,
                    memory, memoryRatio, goal.c_str());
    }
    const std::string cleanup = "rm -rf '" + g_root + "'";
    if (std::system(cleanup.c_str()) != 0) {
        return 1;
    }
    return met ? 0 : 3;
}
