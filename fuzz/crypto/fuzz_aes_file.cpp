// dictionaryWithContentsOfAESFile on arbitrary file bytes (including the
// plain-property-list migration path, which rewrites the file).

#include "FuzzSupport.h"

#include "crypto/ZQSecurityUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace {

QString scratchPath() {
    static const QString path = [] {
        const QString dir = QDir::tempPath() + QStringLiteral("/zq-fuzz-aes-file-") +
                            QString::number(QCoreApplication::applicationPid());
        QDir().mkpath(dir);
        return dir + QStringLiteral("/store.dat");
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString path = scratchPath();
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            return 0;
        }
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    const auto first = ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
    if (first) {
        // After a successful read (and a migration, if any) the file reads
        // back the same or, when it held values outside the allowed classes,
        // not at all.
        const auto second = ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
        FUZZ_CHECK(!second || *second == *first);
    }
    return 0;
}
