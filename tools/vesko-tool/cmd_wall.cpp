// vesko-tool wall encrypt | decrypt: the encrypted wall's request and answer
// formats, for looking at traffic and for talking to a service by hand.

#include "crypto/PingbackUtil.h"
#include "platform/FileRead.h"
#include "tools/vesko-tool/Command.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstring>
#include <optional>

namespace {

using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::readStdin;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool wall encrypt URL [--body-file F]\n"
    "       vesko-tool wall decrypt --key HEX --iv HEX\n"
    "\n"
    "encrypt  turns a request (URL with its query, and the body in file F) into\n"
    "         an encrypted-wall request under a fresh key and IV and prints\n"
    "         {\"code\": N, \"url\": NEWURL, \"body\": NEWBODY, \"key\": HEX, \"iv\": HEX}.\n"
    "         code 0: success; -1: empty URL or a field did not encrypt (nothing\n"
    "         else is written); 1: the key and IV could not be RSA-wrapped (only the\n"
    "         new URL is written). Absent values are null. The wall host comes from\n"
    "         the deployment configuration (VESKO_CONFIG).\n"
    "decrypt  reads an encrypted answer's text on standard input and writes the\n"
    "         plain bytes, given the request's key (64 hex digits) and IV (32 hex\n"
    "         digits). Fails with \"Decrypt Error\" when the answer does not decrypt.\n";

QJsonValue hexOf(const unsigned char* bytes, int length) {
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(bytes), length).toHex());
}

int encrypt(const QStringList& args) {
    QString url;
    QString bodyFile;
    bool haveUrl = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == u"--body-file") {
            if (i + 1 >= args.size()) {
                return usageError(QStringLiteral("--body-file needs a file"), kUsage);
            }
            bodyFile = args[++i];
        } else if (!haveUrl) {
            url = args[i];
            haveUrl = true;
        } else {
            return usageError(QStringLiteral("unexpected argument \"%1\"").arg(args[i]), kUsage);
        }
    }
    if (!haveUrl) {
        return usageError(QStringLiteral("wall encrypt needs a URL"), kUsage);
    }
    QByteArray body;
    if (!bodyFile.isEmpty()) {
        QString why;
        std::optional<QByteArray> read =
            platform::readFile(bodyFile, platform::ReadLimit::kToolInput, &why);
        if (!read) {
            return fail(QStringLiteral("cannot read %1").arg(why));
        }
        body = std::move(*read);
    }
    unsigned char keyIv[PingbackUtil::kAesKeyIvLength] = {};
    QString newUrl;
    QByteArray newBody;
    const std::int32_t code = PingbackUtil::EncryptHttpRequest(url, body, &newUrl, &newBody, keyIv);
    const bool delivered = code == PingbackUtil::kSuccess;
    const QJsonObject result{
        {QStringLiteral("code"), code},
        {QStringLiteral("url"),
         newUrl.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(newUrl)},
        {QStringLiteral("body"),
         delivered ? QJsonValue(QString::fromLatin1(newBody)) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("key"), delivered ? hexOf(keyIv, 32) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("iv"), delivered ? hexOf(keyIv + 32, 16) : QJsonValue(QJsonValue::Null)},
    };
    out() << QString::fromUtf8(QJsonDocument(result).toJson(QJsonDocument::Indented));
    out().flush();
    if (!delivered) {
        return fail(QStringLiteral("Encrypt Error (code %1)").arg(code));
    }
    return 0;
}

int decrypt(const QStringList& args) {
    QByteArray key;
    QByteArray iv;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if ((args[i] == u"--key" || args[i] == u"--iv") && i + 1 < args.size()) {
            const QByteArray hex = args[i + 1].toLatin1();
            const QByteArray value = QByteArray::fromHex(hex);
            if (value.toHex() != hex.toLower()) {
                return usageError(QStringLiteral("%1 is not hexadecimal").arg(args[i]), kUsage);
            }
            (args[i] == u"--key" ? key : iv) = value;
            ++i;
        } else {
            return usageError(QStringLiteral("unexpected argument \"%1\"").arg(args[i]), kUsage);
        }
    }
    if (key.size() != 32 || iv.size() != 16) {
        return usageError(
            QStringLiteral("wall decrypt needs --key (64 hex digits) and --iv (32 hex digits)"),
            kUsage);
    }
    unsigned char keyIv[PingbackUtil::kAesKeyIvLength];
    std::memcpy(keyIv, key.constData(), 32);
    std::memcpy(keyIv + 32, iv.constData(), 16);
    std::uint32_t size = 0;
    const QByteArray plain = PingbackUtil::DecryptHttpRequestText(readStdin(), &size, keyIv);
    if (plain.isNull()) {
        return fail(QStringLiteral("Decrypt Error"));
    }
    out().flush();
    std::fwrite(plain.constData(), 1, static_cast<size_t>(plain.size()), stdout);
    std::fflush(stdout);
    return 0;
}

int runWall(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (args.isEmpty()) {
        return usageError(QStringLiteral("wall needs encrypt or decrypt"), kUsage);
    }
    const QStringList rest = args.mid(1);
    if (wantsHelp(rest, kUsage)) {
        return 0;
    }
    if (args.first() == u"encrypt") {
        return encrypt(rest);
    }
    if (args.first() == u"decrypt") {
        return decrypt(rest);
    }
    return usageError(QStringLiteral("unknown wall action \"%1\"").arg(args.first()), kUsage);
}

const vesko::tool::ToolCommand kWall{
    "wall", "encrypt a request or decrypt an answer of the encrypted wall", kUsage, &runWall};

}  // namespace
