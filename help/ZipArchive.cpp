#include "help/ZipArchive.h"
#include "help/HelpCommon_p.h"
#include "help/ZipArchive_p.h"

using zq::help::detail::reader;
using zq::help::detail::writer;

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

void ZipArchive::OutputErrorMessage(const QString& message) {
    qCDebug(lcHelp) << message;
    if (_delegate) {
        _delegate->ErrorMessage(message);
    }
}

bool ZipArchive::OverWrite(const QString& path) {
    return _delegate ? _delegate->OverWriteOperation(path) : true;
}
