// vesko-tool base64 | md5 | crc32: the text and digest codecs over standard
// input or a file.

#include "crypto/Base64.h"
#include "crypto/CRC.h"
#include "crypto/MD5.h"
#include "platform/FileRead.h"
#include "tools/vesko-tool/Command.h"

#include <cstdio>
#include <optional>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::readStdin;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kBase64Usage[] =
    "usage: vesko-tool base64 encode|decode\n"
    "\n"
    "encode  writes standard input as one line of Base64 (standard alphabet, \"=\"\n"
    "        padding, no line breaks)\n"
    "decode  writes the bytes of the Base64 text on standard input; every\n"
    "        character outside the alphabet (line breaks, spaces, \"=\") is skipped.\n"
    "        Fails when nothing decodes.\n";

const char kMd5Usage[] =
    "usage: vesko-tool md5 [FILE]\n"
    "\n"
    "Prints the MD5 digest of FILE, or of standard input, as 32 lower-case\n"
    "hexadecimal digits.\n";

const char kCrc32Usage[] =
    "usage: vesko-tool crc32 [FILE]\n"
    "\n"
    "Prints the CRC-32 (IEEE 802.3, as zlib computes it) of FILE, or of standard\n"
    "input, as 8 lower-case hexadecimal digits.\n";

// Writes bytes to standard output unchanged.
void writeBytes(const QByteArray& bytes) {
    out().flush();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

// Standard input, or the whole file named by the only argument.
bool readInput(const QStringList& args, QByteArray* bytes, QString* error) {
    if (args.isEmpty()) {
        *bytes = readStdin();
        return true;
    }
    QString why;
    std::optional<QByteArray> read =
        platform::readFile(args.first(), platform::ReadLimit::kToolInput, &why);
    if (!read) {
        *error = QStringLiteral("cannot read %1").arg(why);
        return false;
    }
    *bytes = std::move(*read);
    return true;
}

int runBase64(const QStringList& args) {
    if (wantsHelp(args, kBase64Usage)) {
        return 0;
    }
    if (args.size() != 1) {
        return usageError(QStringLiteral("base64 needs one of encode or decode"), kBase64Usage);
    }
    const QByteArray input = readStdin();
    if (args.first() == u"encode") {
        // The encoder gives no text for no input; that prints as an empty line.
        out() << zq::crypto::base64EncodedString(input) << '\n';
        out().flush();
        return 0;
    }
    if (args.first() == u"decode") {
        const QByteArray decoded = zq::crypto::dataWithBase64EncodedBytes(input);
        if (decoded.isNull()) {
            return fail(QStringLiteral("no Base64 data on standard input"));
        }
        writeBytes(decoded);
        return 0;
    }
    return usageError(QStringLiteral("unknown base64 action \"%1\"").arg(args.first()),
                      kBase64Usage);
}

int runMd5(const QStringList& args) {
    if (wantsHelp(args, kMd5Usage)) {
        return 0;
    }
    if (args.size() > 1) {
        return usageError(QStringLiteral("md5 takes at most one file"), kMd5Usage);
    }
    QString digest;
    if (args.isEmpty()) {
        const QByteArray input = readStdin();
        // The digest of no bytes, where the buffer form has none.
        digest = input.isEmpty() ? zq::crypto::MD5Encrypt(QStringLiteral(""))
                                 : zq::crypto::getMD5FromMemory(input);
    } else {
        digest = zq::crypto::getMD5(args.first());
        if (digest.isNull()) {
            return fail(QStringLiteral("cannot read %1").arg(args.first()));
        }
    }
    out() << digest << '\n';
    out().flush();
    return 0;
}

int runCrc32(const QStringList& args) {
    if (wantsHelp(args, kCrc32Usage)) {
        return 0;
    }
    if (args.size() > 1) {
        return usageError(QStringLiteral("crc32 takes at most one file"), kCrc32Usage);
    }
    QByteArray input;
    QString error;
    if (!readInput(args, &input, &error)) {
        return fail(error);
    }
    unsigned long crc = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(input.constData());
    for (qsizetype offset = 0; offset < input.size();) {
        const auto chunk =
            static_cast<std::uint32_t>(qMin<qsizetype>(input.size() - offset, 1 << 30));
        crc = zq::crypto::crc32(crc, bytes + offset, chunk);
        offset += chunk;
    }
    out() << QStringLiteral("%1").arg(crc, 8, 16, QLatin1Char('0')) << '\n';
    out().flush();
    return 0;
}

const vesko::tool::ToolCommand kBase64{"base64", "encode or decode Base64 on standard input",
                                       kBase64Usage, &runBase64};
const vesko::tool::ToolCommand kMd5{"md5", "MD5 digest of a file or standard input", kMd5Usage,
                                    &runMd5};
const vesko::tool::ToolCommand kCrc32{"crc32", "CRC-32 of a file or standard input", kCrc32Usage,
                                      &runCrc32};

}  // namespace
