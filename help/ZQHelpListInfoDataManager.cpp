// The help list: requests, answer processing, the help cache and pictures.
// (The feedback and evaluation calls of the same class are in
// ZQFeedbackServiceCalls.cpp.)

#include "help/ZQHelpListInfoDataManager.h"

#include "crypto/PingbackUtil.h"
#include "help/HelpCommon_p.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"
#include "platform/Plist.h"
#include "platform/Values.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSaveFile>

#include <array>
#include <memory>

using namespace zq::help;
using namespace zq::help::detail;
using platform::boolValue;
using platform::integerValueOfText;
using platform::textForm;

namespace {

constexpr int kHelpListTimeoutMs = 20000;
// The platform's default timeout of a plain request.
constexpr int kPictureTimeoutMs = 60000;

const QString kHelpInfoPlistName = QStringLiteral("helpInfo.plist");
const QString kCompiledSeedFolder = QStringLiteral(":/help");

const QString kNetworkError = QStringLiteral("network error");
const QString kNoData = QStringLiteral("no data");

// Locally cached answers are ignored because the requests' managers keep no
// cache; the requests ask for nothing more (Qt's AlwaysNetwork would add
// "Cache-Control" and "Pragma" fields to a GET).
QNetworkRequest helpListRequest(const QUrl& url) {
    QNetworkRequest request(url);
    request.setTransferTimeout(kHelpListTimeoutMs);
    return request;
}

// Processing of an answer dictionary, shared by both requests.
void processAnswer(const QVariantMap& answer, const std::optional<QString>& heldVersion,
                   const ZQHelpListInfoDataManager::HelpListCompletion& complete) {
    const ZQHelpListInfoDataManager::HelpListAnswer read =
        ZQHelpListInfoDataManager::readHelpListAnswer(answer, heldVersion);
    if (!read.newer) {
        complete(true, false, std::nullopt, std::nullopt, std::nullopt);
        return;
    }
    ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(answer, read.stored);
    complete(false, read.expandFirst, read.version, read.accepted, std::nullopt);
}

void fail(const ZQHelpListInfoDataManager::HelpListCompletion& complete, const QString& error) {
    complete(false, false, std::nullopt, std::nullopt, error);
}

// Where the seed list and its pictures are: compiled in (the application
// links the resources), else the "help" folder of the resource folder (the
// installed Resources, or the source tree's resources/ when run from a build).
QString seedFolder() {
    if (QFileInfo::exists(kCompiledSeedFolder + u'/' + kHelpInfoPlistName)) {
        return kCompiledSeedFolder;
    }
    return platform::Locations::resourcesDir() + QStringLiteral("/help");
}

bool isUrlQueryCharacter(uchar c) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
        return true;
    }
    return QByteArrayView("!$&'()*+,-./:;=?@_~").contains(char(c));
}

}  // namespace

// --- help list --------------------------------------------------------------

QString ZQHelpListInfoDataManager::helpListRequestAddress(const std::optional<QString>& version) {
    return apiHost() + QStringLiteral("/mac_feed_tpl?h=%1&v=%2&r=%3&os=%4&hv=%5")
                           .arg(deviceIdentifier(), inputMethodVersion(), channelCode(),
                                systemVersion(), textOrNull(version));
}

void ZQHelpListInfoDataManager::requestHelpListInfoByEncrytWallWithVersion(
    const std::optional<QString>& version, QObject* context, const HelpListCompletion& complete) {
    const QString address = helpListRequestAddress(version);
    auto keyIv = std::make_shared<std::array<unsigned char, PingbackUtil::kAesKeyIvLength>>();
    QString newUrl;
    QByteArray newPostData;
    if (PingbackUtil::EncryptHttpRequest(address, QByteArray(), &newUrl, &newPostData,
                                         keyIv->data()) != PingbackUtil::kSuccess) {
        fail(complete, QStringLiteral("failed to encrypt data"));
        return;
    }
    QNetworkRequest request = helpListRequest(QUrl(newUrl));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/x-www-form-urlencoded"));
    send(request, "POST", newPostData, context, [keyIv, version, complete](QNetworkReply* reply) {
        if (isTransportError(reply)) {
            qCDebug(lcHelp) << "help list (wall):" << reply->errorString();
            fail(complete, kNetworkError);
            return;
        }
        const QByteArray body = reply->readAll();
        const QByteArray plain =
            PingbackUtil::DecryptHttpRequest(QString::fromUtf8(body), nullptr, keyIv->data());
        if (plain.isNull()) {
            fail(complete, QStringLiteral("failed to decrypt data"));
            return;
        }
        if (plain.isEmpty()) {
            fail(complete, kNoData);
            return;
        }
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(plain, &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            fail(complete, QStringLiteral("Parse json error"));
            return;
        }
        if (!document.isObject()) {
            fail(complete, QStringLiteral("request failed: unacceptable content-type"));
            return;
        }
        processAnswer(document.toVariant().toMap(), version, complete);
    });
}

void ZQHelpListInfoDataManager::requestHelpListInfoWithVersion(
    const std::optional<QString>& version, QObject* context, const HelpListCompletion& complete) {
    const QNetworkRequest request = helpListRequest(QUrl(helpListRequestAddress(version)));
    send(request, "GET", QByteArray(), context, [version, complete](QNetworkReply* reply) {
        if (isTransportError(reply)) {
            qCDebug(lcHelp) << "help list:" << reply->errorString();
            fail(complete, kNetworkError);
            return;
        }
        const QByteArray body = reply->readAll();
        if (body.isEmpty()) {
            fail(complete, kNoData);
            return;
        }
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
        if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
            fail(complete, kNoData);
            return;
        }
        processAnswer(document.toVariant().toMap(), version, complete);
    });
}

ZQHelpListInfoDataManager::HelpListAnswer ZQHelpListInfoDataManager::readHelpListAnswer(
    const QVariantMap& answer, const std::optional<QString>& heldVersion) {
    HelpListAnswer read;
    // A property list cannot hold a zero character: the cache keeps the
    // texts without them, as it does the entries' texts.
    read.version = textForm(answer.value(QStringLiteral("version"))).remove(QChar(0));
    if (integerValueOfText(read.version) <= integerValueOfText(textOrNull(heldVersion))) {
        return read;
    }
    read.newer = true;
    read.expandFirst = boolValue(answer.value(QStringLiteral("expandFirst")));
    const QVariant list = answer.value(QStringLiteral("helplist"));
    if (list.metaType().id() == QMetaType::QVariantList) {
        const QVariantList elements = list.toList();
        for (const QVariant& element : elements) {
            if (element.metaType().id() != QMetaType::QVariantMap) {
                continue;  // not an entry at all: neither stored nor shown
            }
            const QVariantMap object = element.toMap();
            read.stored.append(convertMutableDictionaryWithObj(object));
            ZQHelpInfoDataModel model(object);
            if (model.hasRequiredFieldsForLayout()) {
                read.accepted.append(model);
            }
        }
    }
    return read;
}

QVariantMap ZQHelpListInfoDataManager::convertMutableDictionaryWithObj(const QVariantMap& obj) {
    static const QStringList keys = {"id", "type", "title", "brief", "detail", "image"};
    QVariantMap stored;
    for (const QString& key : keys) {
        const auto it = obj.constFind(key);
        if (it != obj.cend()) {
            // A zero character is nothing a list can show, and a property list
            // cannot hold it: it is dropped from the stored text.
            stored.insert(key, textForm(it.value()).remove(QChar(0)));
        }
    }
    return stored;
}

void ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(
    const std::optional<QVariantMap>& answer, const QVariantList& helpList) {
    if (!answer || helpList.isEmpty()) {
        return;
    }
    const QString folder = helpInfoFolderPath();
    const QString path = helpInfoPlistPath();
    const QFileInfo folderInfo(folder);
    if (folderInfo.isDir() && !folderInfo.isSymLink()) {
        // Remove everything in it, pictures included, but the list itself,
        // which the atomic write below replaces: a process killed in between
        // leaves the old list or the new one, never none. Each failure is
        // ignored.
        const QFileInfoList items = QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden |
                                                               QDir::System | QDir::NoDotAndDotDot);
        for (const QFileInfo& item : items) {
            if (item.isDir() && !item.isSymLink()) {
                QDir(item.absoluteFilePath()).removeRecursively();
            } else if (item.absoluteFilePath() != QFileInfo(path).absoluteFilePath() ||
                       !item.isFile() || item.isSymLink()) {
                QFile::remove(item.absoluteFilePath());
            }
        }
    } else if (!QDir().mkpath(folder)) {
        qCDebug(lcHelp) << "cannot create the help cache folder" << folder;
        return;
    }
    QVariantMap root;
    root.insert(QStringLiteral("expandFirst"),
                textForm(answer->value(QStringLiteral("expandFirst"))).remove(QChar(0)));
    root.insert(QStringLiteral("version"),
                textForm(answer->value(QStringLiteral("version"))).remove(QChar(0)));
    root.insert(QStringLiteral("helplist"), helpList);
    QString error;
    if (!platform::Plist::writeFile(path, root, platform::Plist::Format::Xml, &error)) {
        qCDebug(lcHelp) << "cannot write the help cache:" << error;
    }
}

void ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
    const LocalHelpListCompletion& completion) {
    const std::optional<QVariantMap> stored = platform::Plist::readDictionary(helpInfoPlistPath());
    if (!stored) {
        completion(false, std::nullopt, std::nullopt, kNoData);
        return;
    }
    ZQHelpInfoDataList entries;
    const QVariantList list = stored->value(QStringLiteral("helplist")).toList();
    for (const QVariant& element : list) {
        if (element.metaType().id() != QMetaType::QVariantMap) {
            continue;
        }
        ZQHelpInfoDataModel model(element.toMap());
        if (model.imageSuffix && !model.imageSuffix->isEmpty()) {
            entries.append(model);
        }
    }
    completion(boolValue(stored->value(QStringLiteral("expandFirst"))),
               textForm(stored->value(QStringLiteral("version"))), entries, std::nullopt);
}

// --- pictures ---------------------------------------------------------------

QByteArray ZQHelpListInfoDataManager::percentEncodedPictureAddress(const QString& url) {
    static const char kHex[] = "0123456789ABCDEF";
    QByteArray out;
    const QByteArray utf8 = url.toUtf8();
    out.reserve(utf8.size());
    for (const char ch : utf8) {
        const uchar c = uchar(ch);
        if (isUrlQueryCharacter(c)) {
            out.append(ch);
        } else {
            out.append('%');
            out.append(kHex[c >> 4]);
            out.append(kHex[c & 0xF]);
        }
    }
    return out;
}

void ZQHelpListInfoDataManager::downloadImageWithUrl(const QString& url, QObject* context,
                                                     const DownloadImageCompletion& complete) {
    QNetworkRequest request(QUrl::fromEncoded(percentEncodedPictureAddress(url)));
    request.setTransferTimeout(kPictureTimeoutMs);  // no cache fields, as above
    send(request, "GET", QByteArray(), context, [complete](QNetworkReply* reply) {
        if (isTransportError(reply)) {
            complete(reply->errorString(), QByteArray(), QImage());
            return;
        }
        const QByteArray data = reply->readAll();
        complete(std::nullopt, data, QImage::fromData(data));
    });
}

std::optional<QString> ZQHelpListInfoDataManager::pictureSuffixForData(const QByteArray& data) {
    if (data.isEmpty()) {
        return std::nullopt;
    }
    switch (uchar(data[0])) {
        case 0x89:
            return QStringLiteral(".png");
        case 0x47:
            return QStringLiteral(".gif");
        case 0xFF:
            return QStringLiteral(".jpg");
        default:
            return std::nullopt;
    }
}

void ZQHelpListInfoDataManager::loadPictureForEntry(const ZQHelpInfoDataModel& entry,
                                                    QObject* context,
                                                    const PictureCompletion& complete) {
    const QString cached = pictureCachePath(entry.helpId, entry.imageSuffix);
    if (QFileInfo(cached).isFile()) {
        const QImage image = QImage::fromData(
            platform::readFile(cached, platform::ReadLimit::kPicture).value_or(QByteArray()));
        if (!image.isNull()) {
            complete(image);
            return;
        }
        // A cached file that does not decode is fetched again below.
    }
    if (entry.imageUrl.isEmpty()) {
        return;
    }
    // The picture belongs to the entry that asked for it, whatever the caller
    // shows by the time it arrives.
    const QString helpId = entry.helpId;
    downloadImageWithUrl(
        entry.imageUrl, context,
        [helpId, complete](const std::optional<QString>& error, const QByteArray& data,
                           const QImage& image) {
            if (error || image.isNull()) {
                return;
            }
            complete(image);
            const std::optional<QString> type = pictureSuffixForData(data);
            // An identifier that would name another folder is never a file name.
            if (!type || helpId.contains(u'/') || helpId.contains(QChar(0)) ||
                !QFileInfo(helpInfoFolderPath()).isDir()) {
                return;
            }
            QSaveFile file(pictureCachePath(helpId, type));
            if (file.open(QIODevice::WriteOnly) && file.write(data) == data.size()) {
                file.commit();
            }
        });
}

// --- the cache folder -------------------------------------------------------

QString ZQHelpListInfoDataManager::helpInfoFolderPath() {
    const QString veskoPY = platform::Locations::mapDesignPath(
        platform::Locations::homeDir() +
        QStringLiteral("/Library/Application Support/Vesko/InputMethod/VeskoPY"));
    return veskoPY + QStringLiteral("/helpInfo");
}

QString ZQHelpListInfoDataManager::helpInfoPlistPath() {
    return helpInfoFolderPath() + u'/' + kHelpInfoPlistName;
}

QString ZQHelpListInfoDataManager::pictureCachePath(const QString& helpId,
                                                    const std::optional<QString>& suffix) {
    return helpInfoFolderPath() + QStringLiteral("/helpinfo_") + helpId +
           suffix.value_or(QString());
}

void ZQHelpListInfoDataManager::checkUserHelpInfoFile() {
    const QString folder = helpInfoFolderPath();
    if (QFileInfo(folder).isDir()) {
        return;
    }
    QDir().mkpath(folder);
    const auto copy = [](const QString& from, const QString& to) {
        // A copy the user owns, written whole (the resources are read-only).
        const std::optional<QByteArray> bytes =
            platform::readFile(from, platform::ReadLimit::kPicture);
        QSaveFile file(to);
        if (bytes && file.open(QIODevice::WriteOnly) && file.write(*bytes) == bytes->size()) {
            file.commit();
        }
    };
    const QString seeds = seedFolder();
    const QString seed = seeds + u'/' + kHelpInfoPlistName;
    copy(seed, folder + u'/' + kHelpInfoPlistName);
    const std::optional<QByteArray> seedBytes =
        platform::readFile(seed, platform::ReadLimit::kPropertyList);
    if (!seedBytes) {
        return;
    }
    const std::optional<QVariant> seedList = platform::Plist::parse(*seedBytes);
    if (!seedList) {
        return;
    }
    const QVariantList entries = seedList->toMap().value(QStringLiteral("helplist")).toList();
    for (const QVariant& entry : entries) {
        const QString name =
            QStringLiteral("helpinfo_") + textForm(entry.toMap().value(QStringLiteral("id")));
        copy(seeds + u'/' + name + QStringLiteral(".png"),
             QStringLiteral("%1/%2.png").arg(folder, name));
    }
}

// --- hosts ------------------------------------------------------------------

QString ZQHelpListInfoDataManager::apiHost() {
    return configuredHost(QStringLiteral("Service/Host"));
}

QString ZQHelpListInfoDataManager::pingbackHost() {
    return configuredHost(QStringLiteral("Service/PingbackHost"));
}

QString ZQHelpListInfoDataManager::uploadHost() {
    return configuredHost(QStringLiteral("Service/UploadHost"));
}
