#include "help/ZipArchive.h"
#include "help/ZipArchive_p.h"
#include "help/ZipCipher_p.h"
#include "help/ZipPaths_p.h"
#include "platform/FileRead.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

using zq::help::detail::kCipherHeaderSize;
using zq::help::detail::Placement;
using zq::help::detail::prepareFolder;
using zq::help::detail::reader;
using zq::help::detail::TraditionalCipher;

namespace {

constexpr int kBlockSize = 4096;
// UnzipToDict stops collecting beyond this many bytes in memory.
constexpr qint64 kMaxInMemoryBytes = qint64(1) << 30;

// The entry's name as a C string (stopping at a zero byte, as the format's
// readers do) taken as UTF-8.
QString entryName(const QByteArray& raw) {
    const qsizetype zero = raw.indexOf('\0');
    return QString::fromUtf8(zero < 0 ? raw : raw.left(zero));
}

// Reads the current entry's description and name. False when minizip cannot
// describe it.
bool currentEntry(unzFile file, unz_file_info64* info, QString* name) {
    if (unzGetCurrentFileInfo64(file, info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
        return false;
    }
    QByteArray raw(qsizetype(info->size_filename), '\0');
    if (unzGetCurrentFileInfo64(file, info, raw.data(), uLong(raw.size()), nullptr, 0, nullptr,
                                0) != UNZ_OK) {
        return false;
    }
    *name = entryName(raw);
    return true;
}

QDateTime entryTime(const unz_file_info64& info) {
    if (info.dosDate == 0) {
        return {};
    }
    const tm_unz& t = info.tmu_date;
    const QDate date(int(t.tm_year), int(t.tm_mon) + 1, int(t.tm_mday));
    const QTime time(int(t.tm_hour), int(t.tm_min), int(t.tm_sec));
    if (!date.isValid() || !time.isValid()) {
        return {};
    }
    return QDateTime(date, time);
}

// Reads the current entry of an archive. Without a password minizip does all
// the work; with one the entry is read raw, deciphered when it is encrypted,
// inflated here and checked against its CRC-32 and size.
class EntryReader {
public:
    EntryReader(unzFile file, const QString& password) : _file(file), _password(password) {}
    ~EntryReader() { close(); }
    EntryReader(const EntryReader&) = delete;
    EntryReader& operator=(const EntryReader&) = delete;

    // UNZ_OK when the entry is open for reading.
    int open() {
        if (!_file) {
            return UNZ_PARAMERROR;
        }
        if (_password.isEmpty()) {
            _raw = false;
            const int opened = unzOpenCurrentFile(_file);
            _open = opened == UNZ_OK;
            return opened;
        }
        for (const QChar c : _password) {
            if (c.unicode() == 0 || c.unicode() > 0x7F) {
                return UNZ_PARAMERROR;  // no ASCII password can match it
            }
        }
        unz_file_info64 info{};
        if (unzGetCurrentFileInfo64(_file, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
            return UNZ_BADZIPFILE;
        }
        if (info.compression_method != 0 && info.compression_method != Z_DEFLATED) {
            return UNZ_BADZIPFILE;
        }
        int method = 0;
        int level = 0;
        const int opened = unzOpenCurrentFile2(_file, &method, &level, 1);
        if (opened != UNZ_OK) {
            return opened;
        }
        _raw = true;
        _deflated = info.compression_method == Z_DEFLATED;
        _expectedCrc = quint32(info.crc);
        _expectedSize = quint64(info.uncompressed_size);
        if (info.flag & 1) {
            _cipher.emplace(_password.toLatin1());
            char header[kCipherHeaderSize];
            if (unzReadCurrentFile(_file, header, kCipherHeaderSize) != kCipherHeaderSize) {
                unzCloseCurrentFile(_file);
                return UNZ_BADZIPFILE;
            }
            _cipher->decrypt(header, kCipherHeaderSize);
            const quint8 check =
                (info.flag & 8) ? quint8(info.dosDate >> 8) : quint8(info.crc >> 24);
            if (quint8(header[kCipherHeaderSize - 1]) != check) {
                unzCloseCurrentFile(_file);
                return UNZ_BADPASSWORD;
            }
        }
        if (_deflated) {
            if (inflateInit2(&_stream, -MAX_WBITS) != Z_OK) {
                unzCloseCurrentFile(_file);
                return UNZ_INTERNALERROR;
            }
            _inflating = true;
        }
        _crc = quint32(crc32(0L, Z_NULL, 0));
        _open = true;
        return UNZ_OK;
    }

    // Bytes read into buffer; 0 at the end of the entry; negative on error.
    int read(char* buffer, int size) {
        if (!_raw) {
            return unzReadCurrentFile(_file, buffer, unsigned(size));
        }
        int produced = 0;
        if (!_deflated) {
            produced = unzReadCurrentFile(_file, buffer, unsigned(size));
            if (produced > 0 && _cipher) {
                _cipher->decrypt(buffer, produced);
            }
        } else {
            _stream.next_out = reinterpret_cast<Bytef*>(buffer);
            _stream.avail_out = uInt(size);
            while (_stream.avail_out > 0 && !_streamEnded) {
                if (_stream.avail_in == 0) {
                    const int got = unzReadCurrentFile(_file, _input, kBlockSize);
                    if (got < 0) {
                        return got;
                    }
                    if (got == 0) {
                        return Z_DATA_ERROR;  // the compressed data ends too early
                    }
                    if (_cipher) {
                        _cipher->decrypt(_input, got);
                    }
                    _stream.next_in = reinterpret_cast<Bytef*>(_input);
                    _stream.avail_in = uInt(got);
                }
                const int result = inflate(&_stream, Z_NO_FLUSH);
                if (result == Z_STREAM_END) {
                    _streamEnded = true;
                } else if (result != Z_OK) {
                    return Z_DATA_ERROR;
                }
            }
            produced = size - int(_stream.avail_out);
        }
        if (produced > 0) {
            _crc = quint32(crc32(_crc, reinterpret_cast<const Bytef*>(buffer), uInt(produced)));
            _size += quint64(produced);
        }
        return produced;
    }

    // UNZ_CRCERROR when the bytes read do not match the entry's CRC-32 and size.
    int close() {
        if (!_open) {
            return UNZ_OK;
        }
        _open = false;
        if (!_raw) {
            return unzCloseCurrentFile(_file);
        }
        finishInflate();
        unzCloseCurrentFile(_file);
        _raw = false;
        return (_crc == _expectedCrc && _size == _expectedSize) ? UNZ_OK : UNZ_CRCERROR;
    }

private:
    static constexpr int UNZ_BADPASSWORD = -106;

    void finishInflate() {
        if (_inflating) {
            inflateEnd(&_stream);
            _inflating = false;
        }
    }

    unzFile _file;
    QString _password;
    bool _open = false;
    bool _raw = false;
    bool _deflated = false;
    bool _inflating = false;
    bool _streamEnded = false;
    std::optional<TraditionalCipher> _cipher;
    z_stream _stream{};
    char _input[kBlockSize];
    quint32 _crc = 0;
    quint32 _expectedCrc = 0;
    quint64 _size = 0;
    quint64 _expectedSize = 0;
};

enum class EntryRead { Complete, Failed, Stopped };

// Reads the open entry to its end, block by block, into sink (which stops the
// reading by returning false), then checks what was read against the entry's
// CRC-32 and size.
template <typename Sink>
EntryRead readEntry(EntryReader& entry, Sink sink) {
    char buffer[kBlockSize];
    for (;;) {
        const int n = entry.read(buffer, kBlockSize);
        if (n < 0) {
            return EntryRead::Failed;
        }
        if (n == 0) {
            break;
        }
        if (!sink(buffer, n)) {
            return EntryRead::Stopped;
        }
    }
    return entry.close() == UNZ_CRCERROR ? EntryRead::Failed : EntryRead::Complete;
}

}  // namespace

namespace {

// The archive as minizip reads it: the very descriptor that was checked to be
// a regular file, read through two windows of 64 KiB aligned to the file.
// minizip seeks and reads a few bytes at a time (the end record scanned
// backwards, every entry's central and local header) and goes back and forth
// between the central directory and an entry's data; from the windows those
// are copies, not system calls. An archive up to 64 KiB is read once.
class ArchiveSource {
public:
    static constexpr qint64 kWindowBytes = 64 * 1024;

    bool open(const QString& path) {
        if (!platform::openRegularFile(_file, path, std::numeric_limits<qint64>::max())) {
            return false;
        }
        _size = _file.size();
        return true;
    }

    uLong read(char* out, uLong size) {
        uLong done = 0;
        while (done < size && _position < _size) {
            const Window* window = windowAt(_position);
            if (!window) {
                _failed = true;  // shorter than it was when opened, or unreadable
                break;
            }
            const qint64 offset = _position - window->start;
            const quint64 n =
                std::min<quint64>(quint64(window->bytes.size() - offset), quint64(size - done));
            std::memcpy(out + done, window->bytes.constData() + offset, size_t(n));
            done += uLong(n);
            _position += qint64(n);
        }
        return done;
    }

    long seek(ZPOS64_T offset, int origin) {
        qint64 base = 0;
        switch (origin) {
            case ZLIB_FILEFUNC_SEEK_SET:
                break;
            case ZLIB_FILEFUNC_SEEK_CUR:
                base = _position;
                break;
            case ZLIB_FILEFUNC_SEEK_END:
                base = _size;
                break;
            default:
                return -1;
        }
        if (offset > ZPOS64_T(std::numeric_limits<qint64>::max() - base)) {
            return -1;
        }
        _position = base + qint64(offset);
        return 0;
    }

    ZPOS64_T tell() const { return ZPOS64_T(_position); }
    bool failed() const { return _failed; }

private:
    struct Window {
        qint64 start = -1;
        QByteArray bytes;
        bool holds(qint64 position) const {
            return start >= 0 && position >= start && position - start < bytes.size();
        }
    };

    // The window holding `position`, read when neither does; the window used
    // less recently is the one replaced.
    const Window* windowAt(qint64 position) {
        for (int i = 0; i < 2; ++i) {
            if (_windows[i].holds(position)) {
                _recent = i;
                return &_windows[i];
            }
        }
        Window& window = _windows[1 - _recent];
        window.start = position - position % kWindowBytes;
        window.bytes = _file.seek(window.start)
                           ? _file.read(std::min(kWindowBytes, _size - window.start))
                           : QByteArray();
        if (!window.holds(position)) {
            window.start = -1;
            return nullptr;
        }
        _recent = 1 - _recent;
        return &window;
    }

    QFile _file;
    qint64 _size = 0;  // when opened
    Window _windows[2];
    int _recent = 0;  // the window used last
    qint64 _position = 0;
    bool _failed = false;
};

// minizip's file functions over an ArchiveSource; "opening" hands over the
// source that was opened already, closing it deletes the source.
zlib_filefunc64_def sourceFunctions(ArchiveSource* source) {
    zlib_filefunc64_def functions{};
    functions.zopen64_file = [](voidpf opaque, const void*, int) -> voidpf { return opaque; };
    functions.zread_file = [](voidpf, voidpf stream, void* out, uLong size) -> uLong {
        return static_cast<ArchiveSource*>(stream)->read(static_cast<char*>(out), size);
    };
    functions.zwrite_file = [](voidpf, voidpf, const void*, uLong) -> uLong { return 0; };
    functions.ztell64_file = [](voidpf, voidpf stream) -> ZPOS64_T {
        return static_cast<ArchiveSource*>(stream)->tell();
    };
    functions.zseek64_file = [](voidpf, voidpf stream, ZPOS64_T offset, int origin) -> long {
        return static_cast<ArchiveSource*>(stream)->seek(offset, origin);
    };
    functions.zclose_file = [](voidpf, voidpf stream) -> int {
        delete static_cast<ArchiveSource*>(stream);
        return 0;
    };
    functions.zerror_file = [](voidpf, voidpf stream) -> int {
        return static_cast<ArchiveSource*>(stream)->failed() ? -1 : 0;
    };
    functions.opaque = source;
    return functions;
}

}  // namespace

bool ZipArchive::UnzipOpenFile(const QString& path) {
    if (_unzFile) {
        unzClose(reader(_unzFile));
        _unzFile = nullptr;
    }
    // Only a regular file, and the descriptor that was checked: a FIFO or
    // device in its place, even one swapped in after a check, would block
    // the reader.
    auto source = std::make_unique<ArchiveSource>();
    if (path.isEmpty() || !source->open(path)) {
        return false;
    }
    zlib_filefunc64_def functions = sourceFunctions(source.get());
    // From here minizip owns the source: it closes it when the archive turns
    // out unreadable, and unzClose closes it later.
    _unzFile = unzOpen2_64(QFile::encodeName(path).constData(), &functions);
    source.release();
    return _unzFile != nullptr;
}

bool ZipArchive::UnzipOpenFile(const QString& path, const QString& password) {
    _password = password;
    return UnzipOpenFile(path);
}

namespace {

using Report = std::function<void(const QString&)>;
using Ask = std::function<bool(const QString&)>;

// Writes one entry below folder (steps 4 to 7 of the walk), reporting through
// report and asking ask before an existing file is replaced.
void extractEntry(EntryReader& entry, const unz_file_info64& info, QString name,
                  const QString& folder, bool overWrite, const Report& report, const Ask& ask) {
    const bool isDirectory = name.endsWith(u'/') || name.endsWith(u'\\');
    name.replace(u'\\', u'/');
    const QString fullPath = QDir(folder).filePath(name);
    const QString folderToMake = isDirectory ? fullPath : QFileInfo(fullPath).path();
    const Placement placement = prepareFolder(folder, name, folderToMake);
    if (placement == Placement::CannotCreate) {
        report(QStringLiteral("Failed to create folder: %1").arg(folderToMake));
        return;
    }
    if (placement != Placement::Inside || (!isDirectory && QFileInfo(fullPath).isSymLink())) {
        report(
            QStringLiteral("Skipped an entry that would be written outside the target folder: %1")
                .arg(name));
        return;
    }
    if (isDirectory) {
        return;
    }
    const bool existed = QFileInfo::exists(fullPath);
    if (existed && !overWrite && !ask(fullPath)) {
        return;
    }
    // The new content replaces the file in one step, so a file that was there
    // before is kept when the entry turns out to be unreadable.
    QSaveFile out(fullPath);
    out.setDirectWriteFallback(false);
    if (!out.open(QIODevice::WriteOnly)) {
        report(QStringLiteral("Failed to create file: %1").arg(fullPath));
        return;
    }
    // A failed write shows when the file is committed.
    const EntryRead result = readEntry(entry, [&out](const char* block, int n) {
        out.write(block, n);
        return true;
    });
    if (result != EntryRead::Complete) {
        report(QStringLiteral("Failed to reading zip file"));
        if (existed) {
            out.cancelWriting();
            out.commit();
            return;
        }
    }
    out.flush();
    const QDateTime when = entryTime(info);
    if (when.isValid()) {
        out.setFileTime(when, QFileDevice::FileModificationTime);
    }
    if (!out.commit()) {
        report(QStringLiteral("Failed to write file: %1").arg(fullPath));
    }
}

}  // namespace

bool ZipArchive::UnzipFileTo(const QString& folder, bool overWrite) {
    const unzFile file = reader(_unzFile);
    int ret = file ? unzGoToFirstFile(file) : UNZ_PARAMERROR;
    if (ret != UNZ_OK) {
        OutputErrorMessage(QStringLiteral("Failed"));
    }
    bool success = true;
    do {
        EntryReader entry(file, _password);
        if (entry.open() != UNZ_OK) {
            OutputErrorMessage(QStringLiteral("Error occurs"));
            success = false;
            break;
        }
        unz_file_info64 info{};
        QString name;
        if (!currentEntry(file, &info, &name)) {
            OutputErrorMessage(QStringLiteral("Error occurs while getting file info"));
            entry.close();
            success = false;
            break;
        }
        extractEntry(
            entry, info, name, folder, overWrite,
            [this](const QString& message) { OutputErrorMessage(message); },
            [this](const QString& path) { return OverWrite(path); });
        entry.close();
        ret = unzGoToNextFile(file);
    } while (ret == UNZ_OK);
    return success;
}

QVariantMap ZipArchive::UnzipToDict() {
    QVariantMap dict;
    const unzFile file = reader(_unzFile);
    int ret = file ? unzGoToFirstFile(file) : UNZ_PARAMERROR;
    if (ret != UNZ_OK) {
        OutputErrorMessage(QStringLiteral("出错了"));
    }
    qint64 total = 0;
    do {
        EntryReader entry(file, _password);
        if (entry.open() != UNZ_OK) {
            OutputErrorMessage(QStringLiteral("不能打开该压缩包"));
            break;
        }
        unz_file_info64 info{};
        QString name;
        if (!currentEntry(file, &info, &name)) {
            OutputErrorMessage(QStringLiteral("获取文件信息出错"));
            entry.close();
            break;
        }
        QString lastComponent = name;
        lastComponent.replace(u'\\', u'/');
        lastComponent = lastComponent.section(u'/', -1);
        bool tooLarge = false;
        if (!lastComponent.isEmpty() && !lastComponent.startsWith(u'.')) {
            QByteArray data;
            const EntryRead result = readEntry(entry, [&](const char* block, int n) {
                if (total + n > kMaxInMemoryBytes) {
                    return false;
                }
                total += n;
                data.append(block, n);
                return true;
            });
            tooLarge = result == EntryRead::Stopped;
            if (tooLarge) {
                OutputErrorMessage(QStringLiteral("Archive too large to read into memory"));
            } else if (result == EntryRead::Failed) {
                OutputErrorMessage(QStringLiteral("Failed to reading zip file"));
            } else {
                dict.insert(name, data);
            }
        }
        entry.close();
        if (tooLarge) {
            break;
        }
        ret = unzGoToNextFile(file);
    } while (ret == UNZ_OK);
    return dict;
}

bool ZipArchive::UnzipCloseFile() {
    _password.clear();
    if (!_unzFile) {
        return true;
    }
    const int result = unzClose(reader(_unzFile));
    _unzFile = nullptr;
    return result == UNZ_OK;
}
