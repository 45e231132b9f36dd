// vesko-tool feedback: submit a problem report the way the feedback window
// does: pictures zipped into one archive, the archive uploaded, the
// old-style report and the report with the archive.

#include "help/ZQHelpListInfoDataManager.h"
#include "help/ZipArchive.h"
#include "tools/vesko-tool/Command.h"
#include "utility/DeviceIdentity.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

constexpr int kBoundMs = 60000;
constexpr int kShortestDescription = 10;
constexpr int kLongestDescription = 300;
constexpr int kMostPictures = 3;
constexpr qint64 kMostPictureBytes = 0x100000;

const char kUsage[] =
    "usage: vesko-tool feedback submit --detail TEXT [--contact TEXT] [--picture FILE ...]\n"
    "\n"
    "Submits a problem report as the feedback window does:\n"
    "  1. the description must have 10 to 300 characters (UTF-16 units); at\n"
    "     most 3 pictures of at most 1,048,576 bytes together;\n"
    "  2. with pictures, they are zipped into zipOfFeedback_<device>_<time>.zip\n"
    "     in the temporary folder (entries pic_001.<ext>, ...) and the archive\n"
    "     is uploaded to the file-upload host;\n"
    "  3. the old-style report (reason -1) goes to the pingback host;\n"
    "  4. the report with the archive goes to the feedback service; on success\n"
    "     the archive is deleted.\n"
    "Prints {\"archive\", \"upload\", \"oldStyleReport\", \"report\", \"outcome\"};\n"
    "outcome is submitted (status 0), refused (the service's message),\n"
    "network-error or failed (status 1).\n";

QJsonValue errorJson(const zq::net::OptionalError& error) {
    if (!error) {
        return QJsonValue(QJsonValue::Null);
    }
    return QJsonObject{
        {"domain", error->domain}, {"code", error->code}, {"description", error->description}};
}

QJsonValue optionalText(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

// Runs the event loop until done() holds or the bound passes.
bool waitFor(const std::function<bool()>& done, int boundMs) {
    QDeadlineTimer deadline(boundMs);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

int runSubmit(const QStringList& args) {
    static const char kSubmitUsage[] =
        "usage: vesko-tool feedback submit --detail TEXT [--contact TEXT] [--picture FILE ...]\n";
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    std::optional<QString> detail;
    QString contact;
    QStringList pictures;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (i + 1 >= args.size()) {
            return usageError(QStringLiteral("'%1' needs a value").arg(arg), kSubmitUsage);
        }
        if (arg == u"--detail") {
            detail = args[++i];
        } else if (arg == u"--contact") {
            contact = args[++i];
        } else if (arg == u"--picture") {
            pictures << args[++i];
        } else {
            return usageError(QStringLiteral("unexpected argument '%1'").arg(arg), kSubmitUsage);
        }
    }
    if (!detail) {
        return usageError(QStringLiteral("--detail is required"), kSubmitUsage);
    }
    if (detail->size() < kShortestDescription) {
        return fail(QStringLiteral("the description has %1 characters; at least %2 are needed")
                        .arg(detail->size())
                        .arg(kShortestDescription));
    }
    if (detail->size() > kLongestDescription) {
        return fail(QStringLiteral("the description has %1 characters; at most %2 are allowed")
                        .arg(detail->size())
                        .arg(kLongestDescription));
    }
    if (pictures.size() > kMostPictures) {
        return fail(QStringLiteral("at most %1 pictures can be attached").arg(kMostPictures));
    }
    qint64 total = 0;
    for (const QString& picture : pictures) {
        const QFileInfo info(picture);
        if (!info.isFile()) {
            return fail(QStringLiteral("no such picture file: %1").arg(picture));
        }
        total += info.size();
    }
    if (total > kMostPictureBytes) {
        return fail(QStringLiteral("the pictures hold %1 bytes; at most %2 are allowed")
                        .arg(total)
                        .arg(kMostPictureBytes));
    }

    QJsonObject result;
    // The archive, named by the device and the time since 1 January 2001.
    const double seconds =
        double(QDateTime::currentMSecsSinceEpoch() -
               QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch()) /
        1000.0;
    QString archiveName = QString::asprintf("zipOfFeedback_%s_%0.0f.zip",
                                            qUtf8Printable(GetUUID().value_or("(null)")), seconds);
    QString archivePath;
    bool hasAttachment = false;
    if (pictures.isEmpty()) {
        archiveName.clear();
        result.insert("archive", QJsonValue(QJsonValue::Null));
        result.insert("upload", QJsonValue(QJsonValue::Null));
    } else {
        hasAttachment = true;
        archivePath = QDir::temp().filePath(archiveName);
        ZipArchive zip;
        if (!zip.CreateZipFile2(archivePath)) {
            return fail(QStringLiteral("cannot create the archive %1").arg(archivePath));
        }
        QJsonArray entries;
        for (qsizetype k = 1; k <= pictures.size(); ++k) {
            const QString entry =
                QString::asprintf("pic_%.3lld.%s", static_cast<long long>(k),
                                  qUtf8Printable(QFileInfo(pictures[k - 1]).suffix()));
            if (!zip.addFileToZip(pictures[k - 1], entry)) {
                zip.CloseZipFile2();
                QFile::remove(archivePath);
                return fail(QStringLiteral("cannot add %1 to the archive").arg(pictures[k - 1]));
            }
            entries.append(entry);
        }
        if (!zip.CloseZipFile2()) {
            QFile::remove(archivePath);
            return fail(QStringLiteral("cannot finish the archive %1").arg(archivePath));
        }
        result.insert("archive", QJsonObject{{"path", archivePath},
                                             {"name", archiveName},
                                             {"entries", entries},
                                             {"bytes", QFileInfo(archivePath).size()}});
        std::optional<QString> uploadError;
        const bool started = ZQHelpListInfoDataManager::uploadFeedbackFileWithPath(
            archivePath, [&](const std::optional<QString>& error, bool) { uploadError = error; });
        result.insert("upload",
                      QJsonObject{{"started", started}, {"error", optionalText(uploadError)}});
        if (!started) {
            out() << QJsonDocument(result).toJson(QJsonDocument::Indented);
            out().flush();
            return fail(uploadError.value_or(QStringLiteral("the upload could not be started")));
        }
    }

    QObject context;
    std::optional<QJsonObject> oldReport;
    ZQHelpListInfoDataManager::submitUserFeedbackInfoWithReason(
        -1, *detail, contact, hasAttachment, archiveName, &context,
        [&](const zq::net::OptionalError& error, bool success) {
            oldReport = QJsonObject{{"success", success}, {"error", errorJson(error)}};
        });
    std::optional<QJsonObject> report;
    QString outcome;
    ZQHelpListInfoDataManager::submitNewFeedbackWithDetail(
        *detail, contact, hasAttachment, archiveName, archivePath, &context,
        [&](const zq::net::OptionalError& error, bool success,
            const std::optional<QString>& message) {
            report = QJsonObject{{"success", success},
                                 {"error", errorJson(error)},
                                 {"message", optionalText(message)}};
            if (error) {
                outcome = QStringLiteral("network-error");
            } else if (success) {
                outcome = QStringLiteral("submitted");
                if (!archivePath.isEmpty()) {
                    QFile::remove(archivePath);
                }
            } else {
                outcome = message ? QStringLiteral("refused") : QStringLiteral("failed");
            }
        });
    const bool answered = waitFor(
        [&] { return report && oldReport && ZQHelpListInfoDataManager::pendingUploadCount() == 0; },
        kBoundMs);
    result.insert("oldStyleReport", oldReport ? QJsonValue(*oldReport) : QJsonValue());
    result.insert("report", report ? QJsonValue(*report) : QJsonValue());
    if (!report) {
        outcome = QStringLiteral("failed");
    }
    result.insert("outcome", outcome);
    out() << QJsonDocument(result).toJson(QJsonDocument::Indented);
    out().flush();
    if (!answered && !report) {
        return fail(QStringLiteral("no answer within %1 seconds").arg(kBoundMs / 1000));
    }
    if (outcome != u"submitted") {
        err() << "vesko-tool: feedback " << outcome << '\n';
        err().flush();
        return 1;
    }
    return 0;
}

int runFeedback(const QStringList& args) {
    if (args.isEmpty()) {
        return usageError(QStringLiteral("missing subcommand"), kUsage);
    }
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (args.first() == u"submit") {
        return runSubmit(args.mid(1));
    }
    return usageError(QStringLiteral("unknown subcommand '%1'").arg(args.first()), kUsage);
}

const vesko::tool::ToolCommand kCommand{"feedback", "submit a problem report with pictures", kUsage,
                                        &runFeedback};

}  // namespace
