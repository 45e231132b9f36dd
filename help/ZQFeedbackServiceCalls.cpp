// The feedback and evaluation calls of ZQHelpListInfoDataManager: the
// problem report with its archive, the file upload, the old-style report, the
// star score and the score overview.

#include "help/HelpCommon_p.h"
#include "help/ZQHelpListInfoDataManager.h"
#include "net/VeskoNetworking.h"
#include "platform/FileRead.h"
#include "platform/Values.h"
#include "utility/ProductLocations.h"

#include "crypto/PingbackUtil.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <atomic>

using namespace zq::help;
using namespace zq::help::detail;
using platform::integerValue;
using platform::isAbsentOrNull;
using platform::textForm;

namespace {

constexpr int kUploadTimeoutMs = 20000;

std::atomic<int> pendingUploads{0};

QString boundary() {
    return QString::fromLatin1(ZQHelpListInfoDataManager::kMultipartBoundary);
}

// The bytes of a file named by the user ("~" expanded); none when it cannot
// be read.
QByteArray readUserFile(const QString& path) {
    if (path.isEmpty()) {
        return {};
    }
    return platform::readFile(zq::utility::expandTilde(path), platform::ReadLimit::kPicture)
        .value_or(QByteArray());
}

// The answer as a JSON dictionary, or none.
std::optional<QVariantMap> answerDictionary(const QByteArray& body) {
    if (body.isEmpty()) {
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.toVariant().toMap();
}

// "code" present with the integer value 0.
bool codeIsZero(const QVariantMap& answer) {
    const auto it = answer.constFind(QStringLiteral("code"));
    return it != answer.cend() && !isAbsentOrNull(it.value()) && integerValue(it.value()) == 0;
}

bool isEmptyValue(const QVariant& value) {
    if (isAbsentOrNull(value)) {
        return true;
    }
    switch (value.metaType().id()) {
        case QMetaType::QVariantMap:
            return value.toMap().isEmpty();
        case QMetaType::QVariantList:
            return value.toList().isEmpty();
        case QMetaType::QString:
            return value.toString().isEmpty();
        default:
            return false;
    }
}

QString commonQuery(const char* h, const char* v, const char* r, const char* os) {
    return QStringLiteral("%1=%2&%3=%4&%5=%6&%7=%8")
        .arg(QLatin1String(h), deviceIdentifier(), QLatin1String(v), inputMethodVersion(),
             QLatin1String(r), channelCode(), QLatin1String(os), systemVersion());
}

}  // namespace

// --- addresses --------------------------------------------------------------

QString ZQHelpListInfoDataManager::feedbackAddress() {
    return apiHost() + QStringLiteral("/macfb/v1/macfeedback?") +
           commonQuery("mac_h", "mac_v", "mac_r", "mac_os");
}

QString ZQHelpListInfoDataManager::uploadAddress() {
    return uploadHost() + QStringLiteral("/api/rec/file.php?file=setlog&h=%1&v=%2")
                              .arg(deviceIdentifier(), inputMethodVersion());
}

QString ZQHelpListInfoDataManager::userFeedbackInfoAddress(qint64 reason,
                                                           const QString& description,
                                                           const QString& contactInfo,
                                                           bool isHasAttachment,
                                                           const QString& zipName) {
    const QString address = pingbackHost() + QStringLiteral("/lost.gif?") +
                            commonQuery("h", "v", "r", "os") +
                            QStringLiteral("&reason=%1&detail=%2&Orvo=%3&isAtta=%4&attaName=%5")
                                .arg(QString::number(reason), description, contactInfo,
                                     QString::number(isHasAttachment ? 1 : 0), zipName);
    return addingLegacyPercentEscapes(address);
}

QString ZQHelpListInfoDataManager::evaluationAddress(const QString& contactInfo, qint64 score) {
    const QString address =
        apiHost() + QStringLiteral("/macfb/v1/click_save?") + commonQuery("h", "v", "r", "os") +
        QStringLiteral("&score=%1&feedcont=%2").arg(QString::number(score), contactInfo);
    return addingLegacyPercentEscapes(address);
}

QByteArray ZQHelpListInfoDataManager::evaluationPostData(const QString& contactInfo, qint64 score) {
    return QStringLiteral("Content-Disposition: form-data; score=\"%1\"; feedcont=\"%2\"\r\n")
        .arg(QString::number(score), contactInfo)
        .toUtf8();
}

QString ZQHelpListInfoDataManager::scoringOverviewAddress() {
    return addingLegacyPercentEscapes(apiHost() + QStringLiteral("/macfb/v1/click_overview?") +
                                      commonQuery("h", "v", "r", "os"));
}

QByteArray ZQHelpListInfoDataManager::uploadBody(const QString& fileName,
                                                 const QByteArray& fileData) {
    QByteArray body;
    body += QStringLiteral("--%1\r\n").arg(boundary()).toUtf8();
    body += QStringLiteral("Content-Disposition: form-data; name=\"file\"; filename=\"%1\"\r\n\r\n")
                .arg(fileName)
                .toUtf8();
    body += fileData;
    body += QStringLiteral("\r\n--%1--\r\n").arg(boundary()).toUtf8();
    return body;
}

QString ZQHelpListInfoDataManager::addingLegacyPercentEscapes(const QString& text) {
    static const char kHex[] = "0123456789ABCDEF";
    static const QByteArrayView kLeft("!#$%&'()*+,-./:;=?@_~");
    QByteArray out;
    const QByteArray utf8 = text.toUtf8();
    out.reserve(utf8.size());
    for (const char ch : utf8) {
        const uchar c = uchar(ch);
        const bool alnum =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (alnum || (c < 0x80 && kLeft.contains(ch))) {
            out.append(ch);
        } else {
            out.append('%');
            out.append(kHex[c >> 4]);
            out.append(kHex[c & 0xF]);
        }
    }
    return QString::fromLatin1(out);
}

// --- the calls --------------------------------------------------------------

void ZQHelpListInfoDataManager::submitNewFeedbackWithDetail(
    const std::optional<QString>& detail, const std::optional<QString>& contact, bool hasAttachment,
    const std::optional<QString>& attachName, const QString& filePath, QObject* context,
    const FeedbackCompletion& complete) {
    QVariantMap fields;
    if (detail) {
        fields.insert(QStringLiteral("detail"), *detail);
    }
    if (contact) {
        fields.insert(QStringLiteral("contact"), *contact);
    }
    if (attachName) {
        fields.insert(QStringLiteral("attaName"), *attachName);
    }
    fields.insert(QStringLiteral("isAtta"), QString::number(hasAttachment ? 1 : 0));
    VeskoNetworking::sendUploadMutiPartRequestByEW(
        feedbackAddress(), PingbackUtil::wallEndpoint(), fields, QVariantMap(), boundary(),
        attachName.value_or(QString()), readUserFile(filePath),
        [complete](const zq::net::OptionalResponse&, const QByteArray& data,
                   const zq::net::OptionalError& error) {
            if (!complete) {
                return;
            }
            if (error) {
                complete(error, false, std::nullopt);
                return;
            }
            if (data.isEmpty()) {
                complete(VeskoNetworking::responseIsNilError(), false, std::nullopt);
                return;
            }
            const std::optional<QVariantMap> answer = answerDictionary(data);
            if (!answer) {
                complete(VeskoNetworking::responseNotJSONError(), false, std::nullopt);
                return;
            }
            const QVariant message = answer->value(QStringLiteral("msg"));
            complete(
                std::nullopt, codeIsZero(*answer),
                isAbsentOrNull(message) ? std::nullopt : std::optional<QString>(textForm(message)));
        },
        context);
}

bool ZQHelpListInfoDataManager::uploadFeedbackFileWithPath(const QString& path,
                                                           const UploadCompletion& complete) {
    const QUrl url(uploadAddress());
    const bool startable = QCoreApplication::instance() && url.isValid() && !url.host().isEmpty() &&
                           (url.scheme() == u"http" || url.scheme() == u"https");
    if (!startable) {
        //% "哎呀网络有问题，请重新提交~"
        const QString message = qtTrId("zq-help-upload-network-error");
        if (complete) {
            complete(message, false);
        }
        return false;
    }
    const QByteArray body =
        uploadBody(QFileInfo(zq::utility::expandTilde(path)).fileName(), readUserFile(path));
    QNetworkRequest request(url);
    request.setTransferTimeout(kUploadTimeoutMs);
    request.setRawHeader("vesko_macime_file_upload", "UserFeedbackPicts");
    request.setRawHeader("Connection", "Keep-Alive");
    request.setRawHeader(
        "Content-Type",
        QStringLiteral("multipart/form-data; boundary=%1").arg(boundary()).toUtf8());
    request.setRawHeader("Content-Length", QByteArray::number(body.size()));
    request.setRawHeader("Accept-Encoding", "gzip ,deflate");
    // Fire and forget: the answer is not examined.
    ++pendingUploads;
    send(request, "POST", body, nullptr, [](QNetworkReply* reply) {
        if (reply->error() != QNetworkReply::NoError) {
            qCDebug(lcHelp) << "feedback upload:" << reply->errorString();
        }
        --pendingUploads;
    });
    if (complete) {
        complete(std::nullopt, true);
    }
    return true;
}

int ZQHelpListInfoDataManager::pendingUploadCount() {
    return pendingUploads.load();
}

void ZQHelpListInfoDataManager::submitUserFeedbackInfoWithReason(
    qint64 reason, const QString& description, const QString& contactInfo, bool isHasAttachment,
    const QString& zipName, QObject* context, const ResultCompletion& complete) {
    VeskoNetworking::sendPostRequestByEW(
        userFeedbackInfoAddress(reason, description, contactInfo, isHasAttachment, zipName),
        QVariantMap(), QByteArray(),
        [complete](const QByteArray&, const zq::net::OptionalResponse& response,
                   const zq::net::OptionalError& error) {
            if (!complete) {
                return;
            }
            const bool success = response && response->statusCode == 200;
            complete(success ? std::nullopt : error, success);
        },
        context);
}

void ZQHelpListInfoDataManager::submitUserEvaluationWithContactInfo(
    const QString& contactInfo, qint64 score, QObject* context, const ResultCompletion& complete) {
    VeskoNetworking::sendPostRequestByEW(
        evaluationAddress(contactInfo, score), QVariantMap(),
        evaluationPostData(contactInfo, score),
        [complete](const QByteArray& data, const zq::net::OptionalResponse&,
                   const zq::net::OptionalError& error) {
            if (!complete) {
                return;
            }
            if (error) {
                complete(error, false);
                return;
            }
            const std::optional<QVariantMap> answer = answerDictionary(data);
            complete(std::nullopt, answer && codeIsZero(*answer));
        },
        context);
}

void ZQHelpListInfoDataManager::getScoringOverviewData(QObject* context,
                                                       const OverviewCompletion& complete,
                                                       const std::function<void()>& finished) {
    VeskoNetworking::sendPostRequestByEW(
        scoringOverviewAddress(), QVariantMap(), QByteArray(),
        [complete, finished](const QByteArray& data, const zq::net::OptionalResponse&,
                             const zq::net::OptionalError& error) {
            if (complete) {
                if (error) {
                    complete(error, false, QVariant());
                } else {
                    const std::optional<QVariantMap> answer = answerDictionary(data);
                    const QVariant overview =
                        answer ? answer->value(QStringLiteral("data")) : QVariant();
                    // Anything but an error or a success gets no completion.
                    if (answer && codeIsZero(*answer) && !isEmptyValue(overview)) {
                        complete(std::nullopt, true, overview);
                    }
                }
            }
            if (finished) {
                finished();
            }
        },
        context);
}
