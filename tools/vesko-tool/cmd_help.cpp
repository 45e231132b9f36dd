// vesko-tool help: fetch the help list from the web service, read the help
// cache.

#include "help/ZQHelpListInfoDataManager.h"
#include "tools/vesko-tool/Command.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

constexpr int kBoundMs = 60000;

const char kUsage[] =
    "usage: vesko-tool help fetch [--plain] [--version V]\n"
    "       vesko-tool help cache [--seed]\n"
    "\n"
    "The help list of the help-and-feedback window.\n"
    "\n"
    "  fetch   asks the web service for a list newer than V (none: the caller\n"
    "          holds no list), through the encrypted wall or, with --plain, as\n"
    "          a plain GET. Prints {\"request\", \"heldVersion\", \"upToDate\",\n"
    "          \"expandFirst\", \"version\", \"entries\", \"error\", \"httpStatus\"}: the\n"
    "          completion's values, the accepted entries and the answer's HTTP\n"
    "          status. A newer list replaces the help cache, as the window's\n"
    "          refresh does. The help window does not look at the status, so an\n"
    "          answer with a status other than 2xx still gives these values; the\n"
    "          tool then says so on standard error and exits with status 1, as it\n"
    "          does with an error text.\n"
    "  cache   prints the help cache as the window reads it ({\"expandFirst\",\n"
    "          \"version\", \"entries\", \"error\", \"folder\"}); --seed first fills a\n"
    "          missing cache folder from the application's seed list.\n";

QJsonValue optionalText(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QJsonValue entriesJson(const std::optional<ZQHelpInfoDataList>& list) {
    if (!list) {
        return QJsonValue(QJsonValue::Null);
    }
    QJsonArray entries;
    for (const ZQHelpInfoDataModel& m : *list) {
        entries.append(QJsonObject{
            {"id", m.helpId},
            {"type", m.dataType},
            {"title", m.titleText},
            {"brief", m.briefText},
            {"detail", m.detailText},
            {"image", m.imageUrl},
            {"imageSuffix", optionalText(m.imageSuffix)},
            {"cachedPicture", ZQHelpListInfoDataManager::pictureCachePath(m.helpId, m.imageSuffix)},
        });
    }
    return entries;
}

// The HTTP status of the answer that completed a request made with `context`:
// the help list call makes its network manager a child of the context, and
// the reply lives until its handler (and so the completion) has returned.
std::optional<int> answerStatus(const QObject& context) {
    const auto* manager = context.findChild<QNetworkAccessManager*>();
    const auto* reply = manager ? manager->findChild<QNetworkReply*>() : nullptr;
    const QVariant status =
        reply ? reply->attribute(QNetworkRequest::HttpStatusCodeAttribute) : QVariant();
    return status.isValid() ? std::optional<int>(status.toInt()) : std::nullopt;
}

void print(const QJsonObject& object) {
    out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    out().flush();
}

int runFetch(const QStringList& args) {
    static const char kFetchUsage[] =
        "usage: vesko-tool help fetch [--plain] [--version V]\n"
        "\n"
        "Asks the help list service for a list newer than V and prints the\n"
        "completion's values, the accepted entries and the answer's HTTP status\n"
        "as JSON. A status other than 2xx is reported on standard error (status 1),\n"
        "although the completion's values stay what the help window gets.\n";
    if (wantsHelp(args, kFetchUsage)) {
        return 0;
    }
    bool plain = false;
    std::optional<QString> version;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == u"--plain") {
            plain = true;
        } else if (args[i] == u"--version" && i + 1 < args.size()) {
            version = args[++i];
        } else {
            return usageError(QStringLiteral("unexpected argument '%1'").arg(args[i]), kFetchUsage);
        }
    }
    QEventLoop loop;
    QObject context;
    std::optional<QJsonObject> result;
    auto done = [&](bool upToDate, bool expandFirst, const std::optional<QString>& v,
                    const std::optional<ZQHelpInfoDataList>& list,
                    const std::optional<QString>& error) {
        result = QJsonObject{{"request", plain ? "plain" : "wall"},
                             {"heldVersion", optionalText(version)},
                             {"upToDate", upToDate},
                             {"expandFirst", expandFirst},
                             {"version", optionalText(v)},
                             {"entries", entriesJson(list)},
                             {"error", optionalText(error)}};
        const std::optional<int> status = answerStatus(context);
        result->insert("httpStatus", status ? QJsonValue(*status) : QJsonValue(QJsonValue::Null));
        loop.quit();
    };
    if (plain) {
        ZQHelpListInfoDataManager::requestHelpListInfoWithVersion(version, &context, done);
    } else {
        ZQHelpListInfoDataManager::requestHelpListInfoByEncrytWallWithVersion(version, &context,
                                                                              done);
    }
    if (!result) {
        QTimer::singleShot(kBoundMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    if (!result) {
        return fail(QStringLiteral("no answer within %1 seconds").arg(kBoundMs / 1000));
    }
    print(*result);
    int exitStatus = 0;
    if (!result->value("error").isNull()) {
        err() << "vesko-tool: " << result->value("error").toString() << '\n';
        exitStatus = 1;
    }
    const QJsonValue status = result->value("httpStatus");
    if (status.isDouble() && (status.toInt() < 200 || status.toInt() > 299)) {
        err() << "vesko-tool: the service answered with HTTP status " << status.toInt()
              << "; the help list call does not look at the status, so the values above are"
                 " what the help window would use\n";
        exitStatus = 1;
    }
    err().flush();
    return exitStatus;
}

int runCache(const QStringList& args) {
    static const char kCacheUsage[] =
        "usage: vesko-tool help cache [--seed]\n"
        "\n"
        "Prints the help cache as the help window reads it; --seed first fills a\n"
        "missing cache folder from the application's seed list.\n";
    if (wantsHelp(args, kCacheUsage)) {
        return 0;
    }
    bool seed = false;
    for (const QString& arg : args) {
        if (arg == u"--seed") {
            seed = true;
        } else {
            return usageError(QStringLiteral("unexpected argument '%1'").arg(arg), kCacheUsage);
        }
    }
    if (seed) {
        ZQHelpListInfoDataManager::checkUserHelpInfoFile();
    }
    QJsonObject result;
    ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
        [&](bool expandFirst, const std::optional<QString>& version,
            const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error) {
            result = QJsonObject{{"folder", ZQHelpListInfoDataManager::helpInfoFolderPath()},
                                 {"expandFirst", expandFirst},
                                 {"version", optionalText(version)},
                                 {"entries", entriesJson(list)},
                                 {"error", optionalText(error)}};
        });
    print(result);
    if (!result.value("error").isNull()) {
        err() << "vesko-tool: " << result.value("error").toString() << '\n';
        err().flush();
        return 1;
    }
    return 0;
}

int runHelp(const QStringList& args) {
    if (args.isEmpty()) {
        return usageError(QStringLiteral("missing subcommand"), kUsage);
    }
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    const QString sub = args.first();
    if (sub == u"fetch") {
        return runFetch(args.mid(1));
    }
    if (sub == u"cache") {
        return runCache(args.mid(1));
    }
    return usageError(QStringLiteral("unknown subcommand '%1'").arg(sub), kUsage);
}

const vesko::tool::ToolCommand kCommand{"help", "fetch the help list, read the help cache", kUsage,
                                        &runHelp};

}  // namespace
