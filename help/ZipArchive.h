#pragma once

#include <QString>
#include <QVariantMap>

// Receiver of the reading side's messages. Both operations are optional: the
// defaults behave as a receiver that does not answer them (messages are
// dropped, and an existing file may be overwritten).
class ZipArchiveDelegate {
public:
    virtual ~ZipArchiveDelegate() = default;
    // A problem met while reading an archive.
    virtual void ErrorMessage(const QString& message) { Q_UNUSED(message); }
    // Asked before an existing file at path is replaced; false keeps the file.
    virtual bool OverWriteOperation(const QString& path) {
        Q_UNUSED(path);
        return true;
    }
};

// A small wrapper over minizip that writes zip archives (deflate, optional
// traditional zip encryption) and reads them back into a folder or into
// memory. Holds at most one archive for writing and one for reading.
//
// Writing: CreateZipFile2() → addFileToZip() per file → CloseZipFile2(). The
// central directory is written at close; an archive never closed is not a
// valid zip file. Destroying the wrapper closes an archive still open.
//
// Reading never places a file outside the target folder: an entry whose name
// is absolute, contains a ".." component (after "\" becomes "/"), is empty, or
// would be written through a symbolic link is skipped and reported to the
// delegate.
class ZipArchive {
public:
    ZipArchive();
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    // Creates a new archive at path, replacing any file there. An archive
    // still open for writing in this wrapper is closed first.
    bool CreateZipFile2(const QString& path);
    // Stores the password (for encrypting added entries; empty means none),
    // then as CreateZipFile2(path).
    bool CreateZipFile2(const QString& path, const QString& password);
    // Adds the whole file at path under the entry name newname. A missing
    // source file gives an empty entry. False when no archive is open or the
    // entry could not be opened, written or closed; also for a name longer than
    // the format allows (65,535 bytes) and for a password that is not ASCII.
    bool addFileToZip(const QString& path, const QString& newname);
    // Clears the password; true when an open archive was closed without error,
    // false when none was open.
    bool CloseZipFile2();

    // Opens an archive for reading (closing one still open in this wrapper).
    bool UnzipOpenFile(const QString& path);
    // Stores the password for decrypting entries, then as UnzipOpenFile(path).
    bool UnzipOpenFile(const QString& path, const QString& password);
    // Extracts every entry below folder. True unless an entry could not be
    // opened or described (both reported to the delegate).
    bool UnzipFileTo(const QString& folder, bool overWrite);
    // Every file entry's bytes under its full name (QByteArray values);
    // entries whose last name component is empty or begins with "." are left
    // out.
    QVariantMap UnzipToDict();
    // Clears the password; true when nothing was open or the archive closed
    // without error.
    bool UnzipCloseFile();

    ZipArchiveDelegate* delegate() const { return _delegate; }
    // The receiver is not owned and must outlive its use by this wrapper.
    void setDelegate(ZipArchiveDelegate* delegate) { _delegate = delegate; }

private:
    void OutputErrorMessage(const QString& message);
    bool OverWrite(const QString& path);

    void* _zipFile = nullptr;  // minizip writer handle
    void* _unzFile = nullptr;  // minizip reader handle
    QString _password;
    ZipArchiveDelegate* _delegate = nullptr;
};
