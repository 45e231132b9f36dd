#pragma once

#include "help/ZQHelpInfoDataModel.h"
#include "net/NetTypes.h"

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <optional>

// The client side of the input method's help and feedback services.
//
// Help list: fetched over plain HTTP or through the encrypted wall; a list
// whose "version" is higher than the one the caller holds replaces the help
// cache ("helpInfo.plist" and the cached pictures in
// <user data folder>/helpInfo) and is handed over as ZQHelpInfoDataModel
// entries. Feedback and evaluation: the problem report with its picture
// archive, the file upload, the old-style report, the star score and the
// score overview.
//
// The class is stateless: nothing is kept in memory between calls; the only
// state is the help cache on disk. Every asynchronous operation takes a
// context object: when it is destroyed before the outcome arrives, the
// completion is not called. Completions run on the main thread; call the
// operations there (calls from other threads are moved to it).
//
// Error texts of the help list calls (exact):
//   "failed to encrypt data"    the request could not be encrypted (wall)
//   "network error"             transport error: no connection, timeout (both)
//   "failed to decrypt data"    the answer did not decrypt (wall)
//   "no data"                   empty answer; for the plain request also an
//                               answer that is not a JSON dictionary; an
//                               unreadable cache for the local read
//   "Parse json error"          the decrypted answer is not JSON (wall)
//   "request failed: unacceptable content-type"
//                               the decrypted answer is JSON but not a
//                               dictionary (wall)
class ZQHelpListInfoDataManager {
public:
    ZQHelpListInfoDataManager() = delete;

    // --- help list ----------------------------------------------------------

    // (expand-first flag, version text, entries, error text)
    using LocalHelpListCompletion = std::function<void(
        bool expandFirst, const std::optional<QString>& version,
        const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error)>;
    // (up-to-date flag, expand-first flag, version text, entries, error text).
    // Error: (false, false, none, none, text). Not newer: (true, false, none,
    // none, none). Newer: (false, "expandFirst", version, accepted entries in
    // answer order (maybe empty), none).
    using HelpListCompletion = std::function<void(
        bool upToDate, bool expandFirst, const std::optional<QString>& version,
        const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error)>;
    // (error text, picture bytes, decoded picture)
    using DownloadImageCompletion = std::function<void(
        const std::optional<QString>& error, const QByteArray& data, const QImage& image)>;
    // The picture of an entry, from the cache or downloaded.
    using PictureCompletion = std::function<void(const QImage& image)>;

    // Reads the help cache, synchronously: (stored "expandFirst" as a boolean,
    // text form of the stored "version", entries that have a picture suffix,
    // none); (false, none, none, "no data") when the cache file cannot be read
    // as a dictionary. No layout check: the cache is filtered less strictly
    // than a list from the service.
    static void getHelpListInfoFromLocalPlist(const LocalHelpListCompletion& completion);

    // A help list answer, read without touching the cache.
    struct HelpListAnswer {
        // Its version is higher than the one held; when not, nothing else is read.
        bool newer = false;
        bool expandFirst = false;
        QString version;
        // The cache's form of every entry, and the entries the list can show.
        QVariantList stored;
        ZQHelpInfoDataList accepted;
    };
    static HelpListAnswer readHelpListAnswer(const QVariantMap& answer,
                                             const std::optional<QString>& heldVersion);

    // Asks the service, through the encrypted wall, for a list newer than
    // `version` (none when the caller holds no list; sent as "(null)").
    // Fails at once, before returning, with "failed to encrypt data" when the
    // request cannot be encrypted.
    static void requestHelpListInfoByEncrytWallWithVersion(const std::optional<QString>& version,
                                                           QObject* context,
                                                           const HelpListCompletion& complete);
    // The same as a plain GET of the help list address.
    static void requestHelpListInfoWithVersion(const std::optional<QString>& version,
                                               QObject* context,
                                               const HelpListCompletion& complete);

    // The stored form of one answer element: the keys "id", "type", "title",
    // "brief", "detail" and "image" that it has, each value in its text form
    // (zero characters dropped);
    // every other key dropped.
    static QVariantMap convertMutableDictionaryWithObj(const QVariantMap& obj);

    // Replaces the help cache: does nothing for an absent answer or an empty
    // list; otherwise empties the cache folder (pictures included, creating
    // it when missing) and writes "helpInfo.plist" atomically with the
    // answer's "expandFirst" and "version" in their text forms and the stored
    // entries. A failed write is silent.
    static void writeHelpInfoToPlistFileWithExpandValue(const std::optional<QVariantMap>& answer,
                                                        const QVariantList& helpList);

    // Downloads a picture: (none, bytes, decoded picture or a null image), or
    // (the error's description, null, null image) on a transport error. The
    // HTTP status is not examined.
    static void downloadImageWithUrl(const QString& url, QObject* context,
                                     const DownloadImageCompletion& complete);

    // Seeds the help cache from the application's resources when the cache
    // folder does not exist yet: "helpInfo.plist" and one picture
    // "helpinfo_<id>.png" per entry, compiled in under ":/help" (the
    // `resources` library), else found in the "help" folder of the resource
    // folder. Failed copies are ignored; existing files are left as they are.
    static void checkUserHelpInfoFile();

    // --- the help cache -----------------------------------------------------

    // <home>/Library/Application Support/Vesko/InputMethod/VeskoPY/helpInfo,
    // resolved on this machine.
    static QString helpInfoFolderPath();
    // helpInfoFolderPath() + "/helpInfo.plist"
    static QString helpInfoPlistPath();
    // Where the picture of an entry is looked up: "helpinfo_" + helpId +
    // suffix in the cache folder (suffix none: "helpinfo_" + helpId).
    static QString pictureCachePath(const QString& helpId, const std::optional<QString>& suffix);
    // The cached file type of downloaded picture bytes, by their first byte:
    // 0x89 ".png", 0x47 ".gif", 0xFF ".jpg"; none for anything else.
    static std::optional<QString> pictureSuffixForData(const QByteArray& data);
    // The picture rule of a help entry as it is shown: the cached file under
    // the entry's own suffix when it exists and decodes; otherwise, when the
    // entry has an address, the download, whose picture is handed over and
    // then stored under the type of its bytes (not stored when the type is
    // unknown, or when the cache folder does not exist). The completion is
    // called only with a picture, at once for a cached one.
    static void loadPictureForEntry(const ZQHelpInfoDataModel& entry, QObject* context,
                                    const PictureCompletion& complete);

    // The address text of the help list request for `version`.
    static QString helpListRequestAddress(const std::optional<QString>& version);
    // A picture address percent-encoded for sending: every character outside
    // ASCII letters, digits and ! $ & ' ( ) * + , - . / : ; = ? @ _ ~ becomes
    // "%" and two upper-case hexadecimal digits per UTF-8 byte ("%" too).
    static QByteArray percentEncodedPictureAddress(const QString& url);

    // --- feedback and evaluation --------------------------------------------

    // The boundary of the feedback call's and the file upload's multipart bodies.
    static constexpr char kMultipartBoundary[] = "---------------------------a1fa340557";

    // (error value, success flag, server message)
    using FeedbackCompletion = std::function<void(const zq::net::OptionalError& error, bool success,
                                                  const std::optional<QString>& message)>;
    // (error text, success flag)
    using UploadCompletion = std::function<void(const std::optional<QString>& error, bool success)>;
    // (error value, success flag)
    using ResultCompletion = std::function<void(const zq::net::OptionalError& error, bool success)>;
    // (error value, success flag, overview object)
    using OverviewCompletion = std::function<void(const zq::net::OptionalError& error, bool success,
                                                  const QVariant& data)>;

    // Sends a problem report with its attachment through the encrypted wall
    // (multipart fields "detail", "contact", "attaName" when given and
    // "isAtta"; the attachment's bytes read from filePath, "~" expanded; a
    // missing file gives no bytes). Completion: a transport or encryption
    // error → (error, false, none); a JSON dictionary → (none, "code" is 0,
    // "msg"); an answer with no body or one that is not a JSON dictionary →
    // (the wrapper's "response is nil" or "response not JSON" error, false,
    // none).
    static void submitNewFeedbackWithDetail(const std::optional<QString>& detail,
                                            const std::optional<QString>& contact,
                                            bool hasAttachment,
                                            const std::optional<QString>& attachName,
                                            const QString& filePath, QObject* context,
                                            const FeedbackCompletion& complete);

    // Uploads a file to the file-upload host as a plain multipart POST, fire
    // and forget. Calls the completion before returning: (none, true) when
    // the request was started, otherwise ("哎呀网络有问题，请重新提交~",
    // false); returns the same flag.
    static bool uploadFeedbackFileWithPath(const QString& path, const UploadCompletion& complete);
    // Uploads started by uploadFeedbackFileWithPath whose requests have not
    // ended yet (so that a short-lived process can let them finish).
    static int pendingUploadCount();

    // The old-style report to the pingback host ("/lost.gif"), through the
    // encrypted wall. Completion: (the error when the status is not 200,
    // else none; status is 200).
    static void submitUserFeedbackInfoWithReason(qint64 reason, const QString& description,
                                                 const QString& contactInfo, bool isHasAttachment,
                                                 const QString& zipName, QObject* context,
                                                 const ResultCompletion& complete);

    // Sends a star score and a comment through the encrypted wall.
    // Completion: (error, false) on an error; else (none, the answer is a
    // JSON dictionary whose "code" is 0).
    static void submitUserEvaluationWithContactInfo(const QString& contactInfo, qint64 score,
                                                    QObject* context,
                                                    const ResultCompletion& complete);

    // Fetches the score overview through the encrypted wall. Completion:
    // (error, false, null) on an error; (none, true, "data") for an answer
    // whose "code" is 0 and whose "data" is not empty; no call otherwise.
    // `finished`, when given, runs once after the answer has been handled,
    // whether the completion was called or not.
    static void getScoringOverviewData(QObject* context, const OverviewCompletion& complete,
                                       const std::function<void()>& finished = {});

    // --- addresses ----------------------------------------------------------

    // Scheme and host of the API (help list, feedback, evaluation),
    // pingback and file-upload services, without a trailing "/":
    // "Service/Host", "Service/PingbackHost" and "Service/UploadHost" of the
    // deployment configuration (the latter two default to the first).
    static QString apiHost();
    static QString pingbackHost();
    static QString uploadHost();

    // The addresses the calls send to (before the wall, escaped where the
    // call escapes).
    static QString feedbackAddress();
    static QString uploadAddress();
    static QString userFeedbackInfoAddress(qint64 reason, const QString& description,
                                           const QString& contactInfo, bool isHasAttachment,
                                           const QString& zipName);
    static QString evaluationAddress(const QString& contactInfo, qint64 score);
    static QByteArray evaluationPostData(const QString& contactInfo, qint64 score);
    static QString scoringOverviewAddress();
    // The upload's body for a file name and its bytes.
    static QByteArray uploadBody(const QString& fileName, const QByteArray& fileData);

    // The legacy URL escaping of the old-style report and the evaluation
    // calls: spaces, non-ASCII and other characters that may not stand in a
    // URL become "%XX" per UTF-8 byte; ASCII letters, digits and
    // ! # $ % & ' ( ) * + , - . / : ; = ? @ _ ~ stay as they are.
    static QString addingLegacyPercentEscapes(const QString& text);
};
