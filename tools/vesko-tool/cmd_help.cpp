// vesko-tool help: fetch the help list from the web service, read the help
// cache.

#include "help/ZQHelpListInfoDataManager.h"
#include "tools/vesko-tool/Command.h"

#include <QEventLoop>
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

const char kUsage[] =
    "usage: vesko-tool help fetch [--plain] [--version V]\n"
    "       vesko-tool help cache [--seed]\n"
    "\n"
    "The help list of the help-and-feedback window.\n"
    "\n"
    "  fetch   asks the web service for a list newer than V (none: the caller\n"
    "          holds no list), through the encrypted wall or, with --plain, as\n"
    "          a plain GET. Prints {\"request\", \"heldVersion\", \"upToDate\",\n"
    "          \"expandFirst\", \"version\", \"entries\", \"error\"}: the completion's\n"
    "          values and the accepted entries. A newer list replaces the help\n"
    "          cache, as the window's refresh does. Status 1 with an error text.\n"
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

void print(const QJsonObject& object) {
    out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    out().flush();
}

int runFetch(const QStringList& args) {
    static const char kFetchUsage[] =
        "usage: vesko-tool help fetch [--plain] [--version V]\n"
        "\n"
        "Asks the help list service for a list newer than V and prints the\n"
        "completion's values and the accepted entries as JSON.\n";
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
    if (!result->value("error").isNull()) {
        err() << "vesko-tool: " << result->value("error").toString() << '\n';
        err().flush();
        return 1;
    }
    return 0;
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
