#pragma once

// Zip archives seen and made by an implementation that is not ours: Python's
// zipfile module (and unzip -t), run as child processes with a bound.

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

namespace zipsupport {

inline constexpr int kProcessTimeoutMs = 60000;

inline QString python() {
    return QStringLiteral(ZQ_PYTHON3);
}

// Runs a Python script with arguments and standard input; returns standard
// output, or a null array when the process failed.
inline QByteArray runPython(const char* script, const QStringList& args,
                            const QByteArray& input = {}) {
    QProcess process;
    process.start(python(), QStringList{"-c", QString::fromUtf8(script)} + args);
    if (!process.waitForStarted(kProcessTimeoutMs)) {
        return {};
    }
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(kProcessTimeoutMs) ||
        process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        qWarning("python failed: %s", process.readAllStandardError().constData());
        return {};
    }
    return process.readAllStandardOutput();
}

// {"testzip", "entries": [{"name", "compress_type", "date_time", "flag_bits",
// "file_size", "data" (Base64)}]} or {"error": text} when Python cannot read it.
inline QJsonObject pythonListing(const QString& path, const QString& password = {}) {
    static const char* script = R"PY(
import sys, zipfile, json, base64
path = sys.argv[1]
pwd = sys.argv[2].encode() if len(sys.argv) > 2 else None
try:
    with zipfile.ZipFile(path) as z:
        if pwd:
            z.setpassword(pwd)
        out = {"testzip": z.testzip() or "", "entries": []}
        for i in z.infolist():
            out["entries"].append({
                "name": i.filename, "compress_type": i.compress_type,
                "date_time": "%04d-%02d-%02d %02d:%02d:%02d" % i.date_time,
                "flag_bits": i.flag_bits, "file_size": i.file_size,
                "data": base64.b64encode(z.read(i)).decode()})
except Exception as e:
    out = {"error": repr(e)}
print(json.dumps(out))
)PY";
    QStringList args{path};
    if (!password.isEmpty()) {
        args << password;
    }
    return QJsonDocument::fromJson(runPython(script, args)).object();
}

inline bool unzipTestPasses(const QString& path) {
    QProcess process;
    process.start(QStringLiteral("unzip"), {"-tq", path});
    return process.waitForFinished(kProcessTimeoutMs) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// An archive written by Python, every entry dated 2020-02-29 10:20:30 and
// deflated; names are taken exactly as given (no clean-up).
class PythonZip {
public:
    void add(const QString& name, const QByteArray& data) { _entries.emplace_back(name, data); }
    bool write(const QString& path) const {
        static const char* script = R"PY(
import sys, zipfile, json, base64
entries = json.load(sys.stdin)
with zipfile.ZipFile(sys.argv[1], "w") as z:
    for e in entries:
        info = zipfile.ZipInfo(e["name"], date_time=(2020, 2, 29, 10, 20, 30))
        info.compress_type = zipfile.ZIP_DEFLATED
        z.writestr(info, base64.b64decode(e["data"]))
print("ok")
)PY";
        QJsonArray list;
        for (const auto& [name, data] : _entries) {
            list.append(
                QJsonObject{{"name", name}, {"data", QString::fromLatin1(data.toBase64())}});
        }
        return runPython(script, {path}, QJsonDocument(list).toJson()).trimmed() == "ok";
    }

private:
    std::vector<std::pair<QString, QByteArray>> _entries;
};

// Broken archives, made by Python and then damaged on purpose:
//   garbage          not a zip file at all
//   central-signature  one entry whose central directory record is marked wrong
//   local-signature  one entry whose local header signature is wrong
//   data             one entry "victim.txt" whose deflate data starts with a
//                    reserved block type
//   crc              one entry "victim.txt" whose stored CRC-32 is wrong
inline bool writeDamagedArchive(const QString& path, const QString& kind) {
    static const char* script = R"PY(
import sys, zipfile, struct, io
path, kind = sys.argv[1], sys.argv[2]
if kind == "garbage":
    open(path, "wb").write(b"this is not a zip archive at all " * 20)
    print("ok"); sys.exit(0)
buf = io.BytesIO()
with zipfile.ZipFile(buf, "w") as z:
    info = zipfile.ZipInfo("victim.txt", date_time=(2020, 1, 1, 0, 0, 0))
    info.compress_type = zipfile.ZIP_DEFLATED
    z.writestr(info, b"replacement content " * 200)
data = bytearray(buf.getvalue())
if kind == "central-signature":
    eocd = data.rfind(b"PK\x05\x06")
    central = struct.unpack("<I", data[eocd + 16:eocd + 20])[0]
    data[central:central + 2] = b"XX"
elif kind == "local-signature":
    data[0:2] = b"XX"
elif kind == "data":
    name_len, extra_len = struct.unpack("<HH", data[26:30])
    data[30 + name_len + extra_len] = 0xFF
elif kind == "crc":
    eocd = data.rfind(b"PK\x05\x06")
    central = struct.unpack("<I", data[eocd + 16:eocd + 20])[0]
    crc = struct.unpack("<I", data[14:18])[0] ^ 0x5A5A5A5A
    data[14:18] = struct.pack("<I", crc)
    data[central + 16:central + 20] = struct.pack("<I", crc)
else:
    sys.exit(2)
open(path, "wb").write(bytes(data))
print("ok")
)PY";
    return runPython(script, {path, kind}).trimmed() == "ok";
}

// An archive written by Info-ZIP's zip with traditional encryption (-P):
// compressible content so that it is deflated, and the streamed form (data
// descriptor, flag bit 3) that zip uses for encrypted entries.
inline bool writeInfoZipEncrypted(const QString& archive, const QString& folder,
                                  const QStringList& files, const QString& password) {
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("zip"), QStringList{"-q", "-X", "-P", password, archive} + files);
    return process.waitForFinished(kProcessTimeoutMs) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

}  // namespace zipsupport
