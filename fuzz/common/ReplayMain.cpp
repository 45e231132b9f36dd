// Drives a fuzz target without libFuzzer: every file of the seed corpus
// folder (and of any folders or files named on the command line), then a
// bounded set of deterministic pseudo-random inputs, half of them mutations
// of the seeds. Used by the normal build's test suite.

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Optional, as with libFuzzer: a target that needs set-up defines it.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

constexpr int kGeneratedInputs = 3000;
constexpr int kMaxGeneratedSize = 2048;

struct XorShift {
    std::uint64_t state;
    std::uint64_t next() {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    }
    std::uint32_t below(std::uint32_t bound) {
        return bound == 0 ? 0 : std::uint32_t(next() % bound);
    }
};

void collect(const QString& path, QList<QByteArray>& seeds) {
    QStringList files;
    if (QFileInfo(path).isDir()) {
        QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            files << it.next();
        }
    } else {
        files << path;
    }
    std::sort(files.begin(), files.end());
    for (const QString& file : files) {
        QFile f(file);
        if (f.open(QIODevice::ReadOnly)) {
            seeds << f.readAll();
        }
    }
}

void feed(const QByteArray& input) {
    // An exact-size heap copy, so that reads past the end are caught.
    std::vector<uint8_t> copy(input.begin(), input.end());
    LLVMFuzzerTestOneInput(copy.empty() ? nullptr : copy.data(), copy.size());
}

QByteArray mutate(const QByteArray& seed, XorShift& random) {
    QByteArray out = seed;
    const int edits = 1 + int(random.below(8));
    for (int i = 0; i < edits; ++i) {
        switch (random.below(5)) {
            case 0:  // flip a byte
                if (!out.isEmpty()) {
                    out[random.below(std::uint32_t(out.size()))] = char(random.next());
                }
                break;
            case 1:  // truncate
                out.truncate(random.below(std::uint32_t(out.size()) + 1));
                break;
            case 2:  // insert random bytes
                out.insert(random.below(std::uint32_t(out.size()) + 1),
                           QByteArray(1 + int(random.below(16)), char(random.next())));
                break;
            case 3:  // duplicate a slice
                if (!out.isEmpty()) {
                    const auto from = random.below(std::uint32_t(out.size()));
                    out.insert(random.below(std::uint32_t(out.size()) + 1),
                               out.mid(from, 1 + random.below(32)));
                }
                break;
            default:  // set an interesting value
                if (!out.isEmpty()) {
                    static const char interesting[] = {0,   1,   0x7f, char(0x80), char(0xff),
                                                       '=', '/', 0x30, 0x0c};
                    out[random.below(std::uint32_t(out.size()))] =
                        interesting[random.below(sizeof interesting)];
                }
                break;
        }
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    QList<QByteArray> seeds;
#ifdef FUZZ_CORPUS_DIR
    collect(QStringLiteral(FUZZ_CORPUS_DIR), seeds);
#endif
    for (int i = 1; i < argc; ++i) {
        collect(QString::fromLocal8Bit(argv[i]), seeds);
    }
    for (const QByteArray& seed : seeds) {
        feed(seed);
    }
    XorShift random{0x9E3779B97F4A7C15ull};
    for (int i = 0; i < kGeneratedInputs; ++i) {
        if (!seeds.isEmpty() && (i % 2 == 0)) {
            feed(mutate(seeds[random.below(std::uint32_t(seeds.size()))], random));
        } else {
            QByteArray input(int(random.below(kMaxGeneratedSize)), Qt::Uninitialized);
            for (char& c : input) {
                c = char(random.next());
            }
            feed(input);
        }
    }
    std::printf("replayed %lld seeds and %d generated inputs\n",
                static_cast<long long>(seeds.size()), kGeneratedInputs);
    return 0;
}
