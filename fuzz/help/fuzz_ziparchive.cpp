// libFuzzer target for ZipArchive's reading side: any bytes, opened as an
// archive, read into memory and extracted to a folder, with and without a
// password. Beyond "no crash", it checks that extraction never creates
// anything outside the target folder.

#include "help/ZipArchive.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

class CountingDelegate : public ZipArchiveDelegate {
public:
    void ErrorMessage(const QString&) override { ++messages; }
    bool OverWriteOperation(const QString&) override { return (++asked % 2) == 0; }
    int messages = 0;
    int asked = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    QTemporaryDir root;
    if (!root.isValid()) {
        return 0;
    }
    // The first byte chooses the password (none, right for archives made
    // with "pw", or wrong); the rest is the archive.
    const QString password = data[0] % 3 == 0 ? QString() : data[0] % 3 == 1 ? "pw" : "wrong";
    const QString archive = root.filePath("in.zip");
    {
        QFile file(archive);
        if (!file.open(QIODevice::WriteOnly)) {
            return 0;
        }
        file.write(reinterpret_cast<const char*>(data + 1), qint64(size - 1));
    }
    QDir(root.path()).mkpath("target/inner");

    ZipArchive zip;
    CountingDelegate delegate;
    zip.setDelegate(&delegate);
    const bool opened =
        password.isEmpty() ? zip.UnzipOpenFile(archive) : zip.UnzipOpenFile(archive, password);
    if (opened) {
        zip.UnzipToDict();
        zip.UnzipFileTo(root.filePath("target/inner"), (data[0] & 0x80) != 0);
    }
    zip.UnzipCloseFile();

    // Only "in.zip" and "target" may exist beside the target folder's parent.
    const QStringList top =
        QDir(root.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    const QStringList middle =
        QDir(root.filePath("target"))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if (top != QStringList{"in.zip", "target"} || middle != QStringList{"inner"}) {
        std::abort();
    }
    return 0;
}
