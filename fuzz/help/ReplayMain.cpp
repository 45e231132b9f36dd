// Replays a fuzzing corpus through LLVMFuzzerTestOneInput without libFuzzer,
// so that the normal build runs every saved input as a test: a crash or an
// abort fails it. Arguments: files or folders (default: the built-in corpus).

#include <QByteArray>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char* argv[]) {
    QStringList inputs;
    for (int i = 1; i < argc; ++i) {
        inputs << QString::fromLocal8Bit(argv[i]);
    }
    if (inputs.isEmpty()) {
        inputs << QStringLiteral(ZQ_CORPUS_DIR);
    }
    QStringList files;
    for (const QString& input : inputs) {
        if (QFileInfo(input).isDir()) {
            QDirIterator it(input, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                files << it.next();
            }
        } else {
            files << input;
        }
    }
    files.sort();
    if (files.isEmpty()) {
        std::fprintf(stderr, "no corpus files found\n");
        return 1;
    }
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.constData()),
                               size_t(bytes.size()));
    }
    std::printf("replayed %lld inputs\n", static_cast<long long>(files.size()));
    return 0;
}
