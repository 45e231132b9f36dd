// vesko-tool log: read and change the run-log configuration that all the
// input method's processes share ("logConfig.plist").

#include "log/ZQLogManager.h"
#include "platform/Plist.h"
#include "tools/vesko-tool/Command.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool log show\n"
    "       vesko-tool log enable TYPE\n"
    "       vesko-tool log disable TYPE\n"
    "       vesko-tool log clear\n"
    "       vesko-tool log set maxcount|output|enableall|savetype VALUE\n"
    "\n"
    "Reads and changes the shared run-log configuration. Log types in use:\n"
    "29 utility functions, 88 the About page, 96 performance entries.\n"
    "Every subcommand prints the configuration in effect afterwards as JSON.\n"
    "'vesko-tool log SUBCOMMAND --help' describes one subcommand.\n";

const char kShowUsage[] =
    "usage: vesko-tool log show\n"
    "\n"
    "Prints the configuration in effect as JSON: the file's path, whether it\n"
    "exists and can be read, and the values that decide recording:\n"
    "  maxcount   line limit of each log (500 when unset or below 1)\n"
    "  output     1 file, 2 console\n"
    "  enableall  stored flag (not consulted when deciding)\n"
    "  logconfig  enabled log types, or null when none are listed\n"
    "  savetype   2 keeps a time-stamped copy of a full run log\n"
    "and the paths of this tool's own run log and performance log.\n";

const char kEnableUsage[] =
    "usage: vesko-tool log enable TYPE\n"
    "\n"
    "Adds the integer TYPE to \"logconfig\", creating the file with its\n"
    "defaults when there is none. A file that cannot be read is left alone\n"
    "and the command fails.\n";

const char kDisableUsage[] =
    "usage: vesko-tool log disable TYPE\n"
    "\n"
    "Removes the integer TYPE from \"logconfig\" (the key goes when the list\n"
    "becomes empty).\n";

const char kClearUsage[] =
    "usage: vesko-tool log clear\n"
    "\n"
    "Removes \"logconfig\": no log type is recorded afterwards.\n";

const char kSetUsage[] =
    "usage: vesko-tool log set maxcount|output|enableall|savetype VALUE\n"
    "\n"
    "Sets one integer value in an existing configuration file (the file is\n"
    "not created: enable a type first).\n";

std::optional<qint64> parseInteger(const QString& text) {
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

QJsonObject configurationJson(ZQLogManager* manager) {
    const QString path = manager->logConfigFilePath();
    const bool exists = QFileInfo::exists(path);
    QJsonObject json{
        {QStringLiteral("path"), path},
        {QStringLiteral("exists"), exists},
        {QStringLiteral("readable"), exists && platform::Plist::readDictionary(path).has_value()},
        {QStringLiteral("maxcount"), manager->logMaxCount()},
        {QStringLiteral("output"), manager->outputType()},
        {QStringLiteral("enableall"), manager->enableAllLog()},
        {QStringLiteral("savetype"), manager->saveType()},
        {QStringLiteral("logFile"), manager->logFilePath()},
        {QStringLiteral("perfFile"), manager->perfFilePath()},
    };
    if (const auto types = manager->logConfig()) {
        QJsonArray array;
        for (qint64 type : *types) {
            array.append(type);
        }
        json.insert(QStringLiteral("logconfig"), array);
    } else {
        json.insert(QStringLiteral("logconfig"), QJsonValue::Null);
    }
    return json;
}

int printConfiguration(ZQLogManager* manager) {
    out() << QString::fromUtf8(
        QJsonDocument(configurationJson(manager)).toJson(QJsonDocument::Indented));
    out().flush();
    return 0;
}

int changeFailed(ZQLogManager* manager) {
    return fail(QStringLiteral("%1: not changed (the file cannot be read as a configuration, "
                               "or cannot be written)")
                    .arg(manager->logConfigFilePath()));
}

int runTypeChange(const QStringList& args, const char* usage, bool enable) {
    if (wantsHelp(args, usage)) {
        return 0;
    }
    if (args.size() != 1) {
        return usageError(QStringLiteral("expected one log type"), usage);
    }
    const auto type = parseInteger(args.first());
    if (!type) {
        return usageError(QStringLiteral("not an integer log type: '%1'").arg(args.first()), usage);
    }
    ZQLogManager* manager = ZQLogManager::sharedInstance();
    const bool done =
        enable ? manager->enableRunLogConfig(*type) : manager->disableRunLogConfig(*type);
    return done ? printConfiguration(manager) : changeFailed(manager);
}

int runSet(const QStringList& args) {
    if (wantsHelp(args, kSetUsage)) {
        return 0;
    }
    if (args.size() != 2) {
        return usageError(QStringLiteral("expected a key and a value"), kSetUsage);
    }
    const auto value = parseInteger(args.at(1));
    if (!value) {
        return usageError(QStringLiteral("not an integer: '%1'").arg(args.at(1)), kSetUsage);
    }
    ZQLogManager* manager = ZQLogManager::sharedInstance();
    const QString& key = args.first();
    bool done = false;
    if (key == u"maxcount") {
        done = manager->setLogMaxCount(*value);
    } else if (key == u"output") {
        done = manager->setLogOutputType(*value);
    } else if (key == u"enableall") {
        done = manager->setEnableAllRunLogConfig(*value);
    } else if (key == u"savetype") {
        done = manager->setLogSaveType(*value);
    } else {
        return usageError(QStringLiteral("unknown key '%1'").arg(key), kSetUsage);
    }
    if (!done && !QFileInfo::exists(manager->logConfigFilePath())) {
        return fail(QStringLiteral("%1 does not exist: enable a log type first")
                        .arg(manager->logConfigFilePath()));
    }
    return done ? printConfiguration(manager) : changeFailed(manager);
}

int runLog(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (args.isEmpty()) {
        return usageError(QStringLiteral("log needs a subcommand"), kUsage);
    }
    const QString sub = args.first();
    const QStringList rest = args.mid(1);
    if (sub == u"show") {
        if (wantsHelp(rest, kShowUsage)) {
            return 0;
        }
        if (!rest.isEmpty()) {
            return usageError(QStringLiteral("show takes no arguments"), kShowUsage);
        }
        return printConfiguration(ZQLogManager::sharedInstance());
    }
    if (sub == u"enable") {
        return runTypeChange(rest, kEnableUsage, true);
    }
    if (sub == u"disable") {
        return runTypeChange(rest, kDisableUsage, false);
    }
    if (sub == u"clear") {
        if (wantsHelp(rest, kClearUsage)) {
            return 0;
        }
        if (!rest.isEmpty()) {
            return usageError(QStringLiteral("clear takes no arguments"), kClearUsage);
        }
        ZQLogManager* manager = ZQLogManager::sharedInstance();
        return manager->removeAllRunLogConfig() ? printConfiguration(manager)
                                                : changeFailed(manager);
    }
    if (sub == u"set") {
        return runSet(rest);
    }
    return usageError(QStringLiteral("unknown log subcommand '%1'").arg(sub), kUsage);
}

const vesko::tool::ToolCommand kCommand{"log", "show or change the shared run-log configuration",
                                        kUsage, &runLog};

}  // namespace
