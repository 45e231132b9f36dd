#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <optional>

// The one way the product reads a file: only a regular file (links are
// followed) and only up to a limit that fits the file's kind. A FIFO, a
// device, a socket or a folder in a file's place is refused at once (it is
// never opened for blocking reads), and so is a file longer than its limit,
// so a hostile or broken file can neither hang a reader nor make it read
// without bound. Readers treat a refusal as they treat an unreadable file.
namespace platform {

// Limits by kind of file, in bytes.
namespace ReadLimit {
// Property lists: stores, caches, the run-log configuration, Info.plist, the line log.
inline constexpr qint64 kPropertyList = 32 * 1024 * 1024;
// Deployment configuration, the analytics choice, keys and other small text files.
inline constexpr qint64 kConfiguration = 1024 * 1024;
// System facts: os-release, machine-id, /proc files.
inline constexpr qint64 kSystemFact = 256 * 1024;
// Pictures: help pictures, feedback pictures, images.
inline constexpr qint64 kPicture = 32 * 1024 * 1024;
// Pages and documents shown to the user (the offline change log).
inline constexpr qint64 kDocument = 4 * 1024 * 1024;
// Files named on a diagnostic tool's command line (codec and request inputs).
inline constexpr qint64 kToolInput = 256 * 1024 * 1024;
}  // namespace ReadLimit

enum class ReadFailure {
    None,
    Missing,     // nothing at the path (or a dangling link)
    NotRegular,  // a folder, FIFO, device or socket
    TooLarge,    // longer than the limit
    Unreadable,  // no permission, or an I/O error
};

// The whole file, or none with the reason (a text naming the path in
// `error`, the kind in `failure`). A path starting with ":" is a compiled-in
// resource.
std::optional<QByteArray> readFile(const QString& path, qint64 maxBytes, QString* error = nullptr,
                                   ReadFailure* failure = nullptr);

// Whether `path` is a regular file of at most `maxBytes` that may be opened
// for reading: for readers that hand the path to a library that opens it
// itself (QSettings, SQLite).
bool isReadableRegularFile(const QString& path, qint64 maxBytes, QString* error = nullptr,
                           ReadFailure* failure = nullptr);

// Opens `file` on `path` for reading in pieces, under the same checks as
// readFile() and on the very descriptor that was checked: for readers that
// stream a file of any size (digests). `file` must not be open.
bool openRegularFile(QFile& file, const QString& path, qint64 maxBytes, QString* error = nullptr,
                     ReadFailure* failure = nullptr);

// Opens `file` on `path` for appending, creating it when it is missing, only
// when it is a regular file: a FIFO or device in its place is refused at once
// instead of blocking the writer. `mode` adds to WriteOnly | Append (for
// example Unbuffered). `file` must not be open.
bool openRegularFileForAppend(QFile& file, const QString& path,
                              QIODevice::OpenMode mode = QIODevice::NotOpen,
                              QString* error = nullptr);

}  // namespace platform
