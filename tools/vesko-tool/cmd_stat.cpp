// vesko-tool stat: the usage statistics store "stat2.dat".

#include "stats/ZQStatistician.h"
#include "tools/vesko-tool/Command.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool stat add KEY [COUNT]\n"
    "       vesko-tool stat get KEY...\n"
    "       vesko-tool stat path\n"
    "\n"
    "add  adds COUNT (default 1, a 32-bit integer) to today's count of KEY and\n"
    "     saves the store; prints {\"key\", \"today\"}.\n"
    "get  prints each KEY's days as JSON ({\"KEY\": {\"yyyyMMdd\": value}}; null when absent)\n"
    "     with today's count under \"today\".\n"
    "path prints the store's file (\"<user data folder>/stat2.dat\").\n";

int runStat(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (args.isEmpty()) {
        return usageError(QStringLiteral("expected add, get or path"), kUsage);
    }
    const QString verb = args.first();
    if (verb == u"path" && args.size() == 1) {
        out() << ZQStatistician::defaultDataPath() << '\n';
        out().flush();
        return 0;
    }
    ZQStatistician* store = ZQStatistician::sharedInstance();
    QJsonObject result;
    if (verb == u"add" && (args.size() == 2 || args.size() == 3)) {
        bool ok = true;
        const qint32 count = args.size() == 3 ? args.at(2).toInt(&ok) : 1;
        if (!ok) {
            return usageError(QStringLiteral("COUNT must be a 32-bit integer"), kUsage);
        }
        store->addCount(count, args.at(1));
        store->saveData();
        result.insert(QStringLiteral("key"), args.at(1));
        result.insert(QStringLiteral("today"), store->getCurrentDayCountByKey(args.at(1)));
    } else if (verb == u"get" && args.size() >= 2) {
        for (const QString& key : args.mid(1)) {
            const QVariant days = store->valueForKey(key);
            QJsonObject entry{{QStringLiteral("today"), store->getCurrentDayCountByKey(key)}};
            entry.insert(QStringLiteral("days"), days.isValid() ? QJsonValue::fromVariant(days)
                                                                : QJsonValue(QJsonValue::Null));
            result.insert(key, entry);
        }
    } else {
        return usageError(QStringLiteral("unexpected arguments"), kUsage);
    }
    store->waitForQueuedWork();
    out() << QString::fromUtf8(QJsonDocument(result).toJson(QJsonDocument::Indented));
    out().flush();
    return 0;
}

const vesko::tool::ToolCommand kCommand{"stat", "add to or read the usage statistics store", kUsage,
                                        &runStat};

}  // namespace
