#include "help/ZipArchive.h"
#include "help/HelpCommon_p.h"

#include "platform/FileRead.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSaveFile>

#include <unzip.h>
#include <zip.h>
#include <zlib.h>

#include <functional>
#include <optional>

namespace {

constexpr int kBlockSize = 4096;
// The format stores name lengths in 16 bits; minizip itself does not check.
constexpr qsizetype kMaxEntryNameBytes = 0xFFFF;
// Without Zip64 records an entry holds less than 4 GiB.
constexpr qint64 kMaxEntryBytes = 0xFFFFFFFELL;
// UnzipToDict stops collecting beyond this many bytes in memory.
constexpr qint64 kMaxInMemoryBytes = qint64(1) << 30;
// Default memory level of deflate, as zlib's own deflateInit uses.
constexpr int kMemLevel = 8;

zipFile writer(void* handle) {
    return static_cast<zipFile>(handle);
}
unzFile reader(void* handle) {
    return static_cast<unzFile>(handle);
}

// MS-DOS date fields cover 1980-01-01 to 2107-12-31 in local time with
// two-second resolution; times outside are clamped to the nearest end.
tm_zip toZipTime(const QDateTime& when) {
    QDateTime local = when.toLocalTime();
    const QDateTime first(QDate(1980, 1, 1), QTime(0, 0, 0));
    const QDateTime last(QDate(2107, 12, 31), QTime(23, 59, 58));
    if (local < first) {
        local = first;
    } else if (local > last) {
        local = last;
    }
    tm_zip t{};
    t.tm_sec = uInt(local.time().second());
    t.tm_min = uInt(local.time().minute());
    t.tm_hour = uInt(local.time().hour());
    t.tm_mday = uInt(local.date().day());
    t.tm_mon = uInt(local.date().month() - 1);
    t.tm_year = uInt(local.date().year());
    return t;
}

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

// A relative name with no ".." component stays inside the folder it is
// joined to. Expects "/" separators only.
bool isContainedName(const QString& name) {
    if (name.isEmpty() || name.startsWith(u'/')) {
        return false;
    }
    const QStringList parts = name.split(u'/');
    for (const QString& part : parts) {
        if (part == u"..") {
            return false;
        }
    }
    return true;
}

// True when path, once symbolic links are resolved, is folder or lies below it.
bool resolvesInside(const QString& path, const QString& folder) {
    const QString canonicalFolder = QFileInfo(folder).canonicalFilePath();
    const QString canonicalPath = QFileInfo(path).canonicalFilePath();
    if (canonicalFolder.isEmpty() || canonicalPath.isEmpty()) {
        return false;
    }
    if (canonicalPath == canonicalFolder) {
        return true;
    }
    const QString prefix =
        canonicalFolder.endsWith(u'/') ? canonicalFolder : canonicalFolder + u'/';
    return canonicalPath.startsWith(prefix);
}

// Where an entry's folder lies, checked before anything is created: the
// nearest existing ancestor must resolve inside the target folder (so a
// symbolic link cannot lead the new folders elsewhere), and so must the folder
// once made.
enum class Placement { Inside, Outside, CannotCreate };

Placement prepareFolder(const QString& folder, const QString& name, const QString& folderToMake) {
    if (!isContainedName(name)) {
        return Placement::Outside;
    }
    if (!QDir().mkpath(folder)) {
        return Placement::CannotCreate;
    }
    QString probe = folderToMake;
    while (!QFileInfo::exists(probe) && !QFileInfo(probe).isSymLink()) {
        const QString up = QFileInfo(probe).path();
        if (up == probe) {
            break;
        }
        probe = up;
    }
    if (!resolvesInside(probe, folder)) {
        return Placement::Outside;
    }
    if (!QDir().mkpath(folderToMake)) {
        return Placement::CannotCreate;
    }
    return resolvesInside(folderToMake, folder) ? Placement::Inside : Placement::Outside;
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

// Traditional zip encryption (the format's original stream cipher). Written
// here rather than taken from minizip: the system's minizip builds its cipher
// with a CRC table of the wrong element width on 64-bit machines (archives
// that no other reader accepts) and its reader has decryption compiled out.
class TraditionalCipher {
public:
    explicit TraditionalCipher(const QByteArray& password) {
        for (const char c : password) {
            update(quint8(c));
        }
    }
    quint8 encrypt(quint8 plain) {
        const quint8 out = plain ^ keyByte();
        update(plain);
        return out;
    }
    quint8 decrypt(quint8 cipher) {
        const quint8 plain = cipher ^ keyByte();
        update(plain);
        return plain;
    }
    void decrypt(char* data, int size) {
        for (int i = 0; i < size; ++i) {
            data[i] = char(decrypt(quint8(data[i])));
        }
    }

private:
    static quint32 crcStep(quint32 crc, quint8 byte) {
        return quint32(get_crc_table()[(crc ^ byte) & 0xFF]) ^ (crc >> 8);
    }
    quint8 keyByte() const {
        // Unsigned 32-bit arithmetic: two 16-bit values promoted to int
        // would overflow their product.
        const quint32 t = quint16(_keys[2] | 2);
        return quint8((t * (t ^ 1u)) >> 8);
    }
    void update(quint8 plain) {
        _keys[0] = crcStep(_keys[0], plain);
        _keys[1] = (_keys[1] + (_keys[0] & 0xFF)) * 134775813u + 1;
        _keys[2] = crcStep(_keys[2], quint8(_keys[1] >> 24));
    }
    quint32 _keys[3] = {305419896u, 591751049u, 878082192u};
};

constexpr int kCipherHeaderSize = 12;

// Raw deflate with the archive's settings; null on failure.
QByteArray deflateRaw(const QByteArray& data) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, kMemLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        return {};
    }
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 16, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    const int result = deflate(&stream, Z_FINISH);
    const qsizetype produced = qsizetype(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        return {};
    }
    out.truncate(produced);
    return out;
}

// The entry data of an encrypted entry: the 12-byte header (ten random bytes
// and the two high bytes of the CRC-32) and the compressed bytes, all
// enciphered in one stream.
QByteArray encipher(const QByteArray& password, quint32 crc, const QByteArray& compressed) {
    TraditionalCipher cipher(password);
    QByteArray out;
    out.reserve(kCipherHeaderSize + compressed.size());
    for (int i = 0; i < kCipherHeaderSize - 2; ++i) {
        out.append(char(cipher.encrypt(quint8(QRandomGenerator::system()->bounded(256)))));
    }
    out.append(char(cipher.encrypt(quint8(crc >> 16))));
    out.append(char(cipher.encrypt(quint8(crc >> 24))));
    for (const char c : compressed) {
        out.append(char(cipher.encrypt(quint8(c))));
    }
    return out;
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

}  // namespace

ZipArchive::ZipArchive() = default;

ZipArchive::~ZipArchive() {
    if (_zipFile) {
        zipClose(writer(_zipFile), nullptr);
        _zipFile = nullptr;
    }
    if (_unzFile) {
        unzClose(reader(_unzFile));
        _unzFile = nullptr;
    }
}

bool ZipArchive::CreateZipFile2(const QString& path) {
    if (_zipFile) {
        zipClose(writer(_zipFile), nullptr);
        _zipFile = nullptr;
    }
    if (path.isEmpty()) {
        return false;
    }
    _zipFile = zipOpen(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    if (!_zipFile) {
        qCDebug(lcHelp) << "cannot create archive" << path;
    }
    return _zipFile != nullptr;
}

bool ZipArchive::CreateZipFile2(const QString& path, const QString& password) {
    _password = password;
    return CreateZipFile2(path);
}

bool ZipArchive::addFileToZip(const QString& path, const QString& newname) {
    if (!_zipFile) {
        return false;
    }
    const QByteArray name = newname.toUtf8();
    if (name.size() > kMaxEntryNameBytes) {
        qCDebug(lcHelp) << "entry name too long:" << name.size() << "bytes";
        return false;
    }
    QByteArray password;
    if (!_password.isEmpty()) {
        for (const QChar c : _password) {
            if (c.unicode() == 0 || c.unicode() > 0x7F) {
                qCDebug(lcHelp) << "password is not ASCII; entry not added";
                return false;
            }
        }
        password = _password.toLatin1();
    }

    // Source bytes: a missing file gives an empty entry; one that exists but
    // cannot be read in full is not added.
    const QFileInfo source(path);
    QByteArray data;
    if (source.exists()) {
        std::optional<QByteArray> read = platform::readFile(path, kMaxEntryBytes);
        if (!read) {
            return false;
        }
        data = std::move(*read);
    }
    zip_fileinfo info{};
    const QDateTime modified = source.exists() ? source.lastModified() : QDateTime();
    info.tmz_date = toZipTime(modified.isValid() ? modified : QDateTime::currentDateTime());

    if (password.isEmpty()) {
        if (zipOpenNewFileInZip3(writer(_zipFile), name.constData(), &info, nullptr, 0, nullptr, 0,
                                 nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS,
                                 kMemLevel, Z_DEFAULT_STRATEGY, nullptr, 0) != ZIP_OK) {
            qCDebug(lcHelp) << "cannot open entry" << newname;
            return false;
        }
        bool ok = true;
        if (!data.isEmpty()) {
            ok = zipWriteInFileInZip(writer(_zipFile), data.constData(), unsigned(data.size())) ==
                 ZIP_OK;
        }
        const bool closed = zipCloseFileInZip(writer(_zipFile)) == ZIP_OK;
        return ok && closed;
    }

    // Encrypted: deflate and encipher here, and hand minizip the finished
    // entry data (raw), marked encrypted by the flag bit 0.
    const quint32 crc = quint32(crc32(
        crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(data.constData()), uInt(data.size())));
    const QByteArray compressed = deflateRaw(data);
    if (compressed.isNull() || compressed.size() + kCipherHeaderSize > kMaxEntryBytes) {
        return false;
    }
    const QByteArray enciphered = encipher(password, crc, compressed);
    constexpr uLong kEncryptedFlag = 1;
    if (zipOpenNewFileInZip4_64(writer(_zipFile), name.constData(), &info, nullptr, 0, nullptr, 0,
                                nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 1, -MAX_WBITS,
                                kMemLevel, Z_DEFAULT_STRATEGY, nullptr, 0, 0, kEncryptedFlag,
                                0) != ZIP_OK) {
        qCDebug(lcHelp) << "cannot open entry" << newname;
        return false;
    }
    const bool ok = zipWriteInFileInZip(writer(_zipFile), enciphered.constData(),
                                        unsigned(enciphered.size())) == ZIP_OK;
    const bool closed =
        zipCloseFileInZipRaw(writer(_zipFile), uLong(data.size()), uLong(crc)) == ZIP_OK;
    return ok && closed;
}

bool ZipArchive::CloseZipFile2() {
    _password.clear();
    if (!_zipFile) {
        return false;
    }
    const int result = zipClose(writer(_zipFile), nullptr);
    _zipFile = nullptr;
    return result == ZIP_OK;
}

bool ZipArchive::UnzipOpenFile(const QString& path) {
    if (_unzFile) {
        unzClose(reader(_unzFile));
        _unzFile = nullptr;
    }
    if (path.isEmpty()) {
        return false;
    }
    _unzFile = unzOpen64(QFile::encodeName(path).constData());
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
    char buffer[kBlockSize];
    bool readFailed = false;
    for (;;) {
        const int n = entry.read(buffer, kBlockSize);
        if (n < 0) {
            readFailed = true;
            break;
        }
        if (n == 0) {
            break;
        }
        out.write(buffer, n);
    }
    if (!readFailed && entry.close() == UNZ_CRCERROR) {
        readFailed = true;
    }
    if (readFailed) {
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
            char buffer[kBlockSize];
            bool readFailed = false;
            for (;;) {
                const int n = entry.read(buffer, kBlockSize);
                if (n < 0) {
                    readFailed = true;
                    break;
                }
                if (n == 0) {
                    break;
                }
                if (total + n > kMaxInMemoryBytes) {
                    tooLarge = true;
                    break;
                }
                total += n;
                data.append(buffer, n);
            }
            if (!readFailed && !tooLarge && entry.close() == UNZ_CRCERROR) {
                readFailed = true;
            }
            if (tooLarge) {
                OutputErrorMessage(QStringLiteral("Archive too large to read into memory"));
            } else if (readFailed) {
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

void ZipArchive::OutputErrorMessage(const QString& message) {
    qCDebug(lcHelp) << message;
    if (_delegate) {
        _delegate->ErrorMessage(message);
    }
}

bool ZipArchive::OverWrite(const QString& path) {
    return _delegate ? _delegate->OverWriteOperation(path) : true;
}
