// libFuzzer target for the line log: any bytes as the line log already on
// disk, then one more line recorded. Beyond "no crash": a log that reads as
// a list gets the line appended (or is started afresh past 500 lines); a
// file that does not read as a list is left exactly as it was.

#include "log/ZQLogFileWriters.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

QTemporaryDir* g_root = nullptr;

QByteArray readBack(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static int qtArgc = 1;
    static QCoreApplication app(qtArgc, *argv);
    (void)argc;
    g_root = new QTemporaryDir;
    qputenv("TMPDIR", g_root->path().toUtf8());
    qputenv("HOME", g_root->path().toUtf8());
    qputenv("XDG_DATA_HOME", g_root->path().toUtf8());
    // No session bus: the line's notification goes nowhere.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString folder = zq::utility::tempLogFolder();
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/fuzz.log");
    const QByteArray before(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(before) != before.size()) {
            return 0;
        }
    }
    const std::optional<QVariantList> held = platform::Plist::readArray(path);
    RecordLogToFile(QStringLiteral("fuzz.log"), QStringLiteral("one more line"));
    const std::optional<QVariantList> after = platform::Plist::readArray(path);
    if (!held) {
        if (readBack(path) != before) {
            std::abort();  // an unreadable log is never replaced
        }
        return 0;
    }
    const qsizetype expected = held->size() <= zq::log::kLineLogLimit ? held->size() + 1 : 1;
    if (!after || after->size() != expected ||
        !after->last().toString().endsWith(QStringLiteral(": one more line"))) {
        std::abort();
    }
    return 0;
}
