#include "platform/FileRead.h"
#include "platform/PlatformLog.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

Q_LOGGING_CATEGORY(lcPlatform, "vesko.platform")

namespace platform {

namespace {

bool fail(const QString& path, ReadFailure kind, const QString& why, QString* error,
          ReadFailure* failure) {
    if (error) {
        *error = path + QStringLiteral(": ") + why;
    }
    if (failure) {
        *failure = kind;
    }
    return false;
}

bool failErrno(const QString& path, int code, QString* error, ReadFailure* failure) {
    const ReadFailure kind = code == ENOENT || code == ENOTDIR || code == ELOOP
                                 ? ReadFailure::Missing
                                 : ReadFailure::Unreadable;
    return fail(path, kind, QString::fromLocal8Bit(std::strerror(code)), error, failure);
}

// Checks what an open descriptor refers to.
bool checkKind(const QString& path, const struct stat& info, qint64 maxBytes, QString* error,
               ReadFailure* failure) {
    if (!S_ISREG(info.st_mode)) {
        const QString kind = S_ISDIR(info.st_mode)    ? QStringLiteral("a folder")
                             : S_ISFIFO(info.st_mode) ? QStringLiteral("a FIFO")
                             : S_ISSOCK(info.st_mode) ? QStringLiteral("a socket")
                                                      : QStringLiteral("a device");
        return fail(path, ReadFailure::NotRegular, QStringLiteral("is %1, not a file").arg(kind),
                    error, failure);
    }
    if (info.st_size > maxBytes) {
        return fail(path, ReadFailure::TooLarge,
                    QStringLiteral("is %1 bytes, more than the %2 allowed")
                        .arg(qint64(info.st_size))
                        .arg(maxBytes),
                    error, failure);
    }
    return true;
}

// Opens without blocking (a FIFO would wait for a writer or a reader) and
// checks the kind. `flags` chooses reading or appending.
int openChecked(const QString& path, qint64 maxBytes, QString* error, ReadFailure* failure,
                int flags = O_RDONLY) {
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
    if (fd < 0) {
        failErrno(path, errno, error, failure);
        return -1;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        failErrno(path, errno, error, failure);
        ::close(fd);
        return -1;
    }
    if (!checkKind(path, info, maxBytes, error, failure)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

std::optional<QByteArray> readFile(const QString& path, qint64 maxBytes, QString* error,
                                   ReadFailure* failure) {
    if (failure) {
        *failure = ReadFailure::None;
    }
    if (path.isEmpty()) {
        fail(path, ReadFailure::Missing, QStringLiteral("no path"), error, failure);
        return std::nullopt;
    }
    if (path.startsWith(u':')) {
        // Compiled in: read from memory.
        QFile resource(path);
        if (!resource.open(QIODevice::ReadOnly)) {
            fail(path, ReadFailure::Missing, QStringLiteral("no such resource"), error, failure);
            return std::nullopt;
        }
        if (resource.size() > maxBytes) {
            fail(path, ReadFailure::TooLarge, QStringLiteral("is larger than allowed"), error,
                 failure);
            return std::nullopt;
        }
        return resource.readAll();
    }
    const int fd = openChecked(path, maxBytes, error, failure);
    if (fd < 0) {
        return std::nullopt;
    }
    // The size can change while the file is read, and files such as those
    // of /proc report none: read to the end, but never past the limit.
    QByteArray bytes;
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            failErrno(path, errno, error, failure);
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0) {
            break;
        }
        if (bytes.size() + n > maxBytes) {
            fail(path, ReadFailure::TooLarge,
                 QStringLiteral("grew past the %1 bytes allowed").arg(maxBytes), error, failure);
            ::close(fd);
            return std::nullopt;
        }
        bytes.append(buffer, n);
    }
    ::close(fd);
    return bytes;
}

bool isReadableRegularFile(const QString& path, qint64 maxBytes, QString* error,
                           ReadFailure* failure) {
    if (failure) {
        *failure = ReadFailure::None;
    }
    const int fd = openChecked(path, maxBytes, error, failure);
    if (fd < 0) {
        return false;
    }
    ::close(fd);
    return true;
}

namespace {

// Hands a checked descriptor to `file`, in blocking mode again.
bool adopt(QFile& file, int fd, QIODevice::OpenMode mode, const QString& path, QString* error,
           ReadFailure* failure) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    if (!file.open(fd, mode, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return fail(path, ReadFailure::Unreadable, file.errorString(), error, failure);
    }
    return true;
}

}  // namespace

bool openRegularFile(QFile& file, const QString& path, qint64 maxBytes, QString* error,
                     ReadFailure* failure) {
    if (failure) {
        *failure = ReadFailure::None;
    }
    const int fd = openChecked(path, maxBytes, error, failure);
    return fd >= 0 && adopt(file, fd, QIODevice::ReadOnly, path, error, failure);
}

bool openRegularFileForAppend(QFile& file, const QString& path, QIODevice::OpenMode mode,
                              QString* error) {
    const int fd = openChecked(path, std::numeric_limits<qint64>::max(), error, nullptr,
                               O_WRONLY | O_APPEND | O_CREAT);
    return fd >= 0 &&
           adopt(file, fd, QIODevice::WriteOnly | QIODevice::Append | mode, path, error, nullptr);
}

}  // namespace platform
