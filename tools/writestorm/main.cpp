// zq-writestorm write KIND   writes generation after generation of one kind
//                            of file, printing "ready" once set up, then
//                            "begin N" before and "N" after each write
// zq-writestorm read KIND    prints the generation the file holds (0 when
//                            there is no file yet); exits 1 with the reason
//                            when the file exists but does not read
// zq-writestorm kinds        lists the kinds
//
// Every kind goes through the product's own writer and reader, with the
// locations of the environment (HOME, XDG_*), so a driver can point it at a
// scratch folder.
#include "help/ZQHelpListInfoDataManager.h"
#include "help/models/ZQFeedbackDraft.h"
#include "log/ZQLogFileWriters.h"
#include "log/ZQLogManager.h"
#include "platform/Plist.h"
#include "stats/AnalyticsSettings.h"
#include "stats/EncryptedStore.h"
#include "stats/ZQPubStatistician.h"
#include "stats/ZQStatistician.h"
#include "utility/ProductLocations.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>

#include <cstdio>
#include <functional>
#include <map>
#include <optional>

namespace {

// Each write carries this much text, so that a write takes long enough for
// kills to land inside it.
constexpr qsizetype kPadding = 48 * 1024;

const QString kGenerationKey = QStringLiteral("stormGeneration");

QString padding() {
    return QString(kPadding, QLatin1Char('x'));
}

QString stamp(qint64 generation) {
    return QStringLiteral("gen %1 ").arg(generation) + padding();
}

// The generation a text written by stamp() holds.
std::optional<qint64> generationIn(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("gen (\\d+) x"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return match.captured(1).toLongLong();
}

// A read: the generation, or the reason the file does not read.
struct Reading {
    std::optional<qint64> generation;
    QString failure;
};

Reading fails(const QString& why) {
    return {std::nullopt, why};
}

Reading holds(qint64 generation) {
    return {generation, {}};
}

struct Kind {
    QString path;  // the file; no file means generation 0
    std::function<void(qint64)> write;
    std::function<Reading()> read;
};

QString logFolder() {
    return zq::utility::userDataFolder() + QStringLiteral("/storm-log");
}

ZQLogManager::Options logOptions(const QString& name) {
    return {logFolder() + QStringLiteral("/%1.plist").arg(name), logFolder(), name};
}

std::map<QString, Kind> kinds() {
    std::map<QString, Kind> all;

    all[QStringLiteral("store")] = {
        ZQPubStatistician::storePath(),
        [](qint64 g) {
            zq::stats::writeEncryptedStore(ZQPubStatistician::storePath(),
                                           {{QStringLiteral("keep"), QStringLiteral("kept")},
                                            {kGenerationKey, g},
                                            {QStringLiteral("padding"), padding()}});
        },
        [] {
            const auto store = zq::stats::readEncryptedStore(ZQPubStatistician::storePath());
            if (!store) {
                return fails(QStringLiteral("the store does not decrypt to a dictionary"));
            }
            if (store->value(QStringLiteral("keep")) != QStringLiteral("kept")) {
                return fails(QStringLiteral("the store lost a key it held"));
            }
            return holds(store->value(kGenerationKey).toLongLong());
        }};

    all[QStringLiteral("helpcache")] = {
        ZQHelpListInfoDataManager::helpInfoPlistPath(),
        [](qint64 g) {
            QVariantList list;
            for (int i = 0; i < 40; ++i) {
                list.append(QVariantMap{{QStringLiteral("id"), QString::number(i)},
                                        {QStringLiteral("title"), QStringLiteral("问题 %1").arg(i)},
                                        {QStringLiteral("dataType"), 1},
                                        {QStringLiteral("content"), padding().left(1024)}});
            }
            ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(
                QVariantMap{{QStringLiteral("expandFirst"), 1},
                            {QStringLiteral("version"), QString::number(g)}},
                list);
        },
        [] {
            Reading reading = fails(QStringLiteral("the cache did not answer"));
            ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
                [&](bool, const std::optional<QString>& version, const auto&, const auto& error) {
                    if (error || !version) {
                        reading = fails(QStringLiteral("the cache does not read: ") +
                                        error.value_or(QStringLiteral("no version")));
                    } else {
                        reading = holds(version->toLongLong());
                    }
                });
            return reading;
        }};

    const auto lastLineOf = [](const QString& path) {
        const std::optional<QVariantList> lines = platform::Plist::readArray(path);
        if (!lines) {
            return fails(QStringLiteral("not a property-list array"));
        }
        if (lines->isEmpty()) {
            return fails(QStringLiteral("an empty log"));
        }
        const std::optional<qint64> g = generationIn(lines->last().toString());
        return g ? holds(*g) : fails(QStringLiteral("the last line is not a whole entry"));
    };

    all[QStringLiteral("runlog")] = {
        ZQLogManager(logOptions(QStringLiteral("storm"))).logFilePath(),
        [](qint64 g) {
            static ZQLogManager manager(logOptions(QStringLiteral("storm")));
            manager.saveDataAsynSafely(stamp(g));
            manager.waitForPendingWrites();
        },
        [lastLineOf] {
            return lastLineOf(ZQLogManager(logOptions(QStringLiteral("storm"))).logFilePath());
        }};

    all[QStringLiteral("logconfig")] = {
        logOptions(QStringLiteral("stormconfig")).configFilePath,
        [](qint64 g) {
            // The manager changes a configuration that exists; the first
            // run writes an empty one.
            static const bool seeded =
                QFileInfo::exists(logOptions(QStringLiteral("stormconfig")).configFilePath) ||
                platform::Plist::writeFile(logOptions(QStringLiteral("stormconfig")).configFilePath,
                                           QVariantMap{});
            static ZQLogManager manager(logOptions(QStringLiteral("stormconfig")));
            if (seeded) {
                manager.setLogMaxCount(g);
            }
        },
        [] {
            const auto config = platform::Plist::readDictionary(
                logOptions(QStringLiteral("stormconfig")).configFilePath);
            if (!config) {
                return fails(QStringLiteral("not a property-list dictionary"));
            }
            return holds(config->value(QStringLiteral("maxcount")).toLongLong());
        }};

    all[QStringLiteral("linelog")] = {
        zq::utility::tempLogFolder() + QStringLiteral("/storm.log"),
        [](qint64 g) { RecordLogToFile(QStringLiteral("storm.log"), stamp(g)); },
        [lastLineOf] {
            return lastLineOf(zq::utility::tempLogFolder() + QStringLiteral("/storm.log"));
        }};

    all[QStringLiteral("statistics")] = {
        ZQStatistician::defaultDataPath(),
        [](qint64 g) {
            static ZQStatistician statistician(ZQStatistician::defaultDataPath());
            statistician.setValue(g, kGenerationKey);
            statistician.setValue(padding(), QStringLiteral("padding"));
            statistician.saveData();
            statistician.waitForQueuedWork();
        },
        [] {
            if (!platform::Plist::readDictionary(ZQStatistician::defaultDataPath())) {
                return fails(QStringLiteral("not a property-list dictionary"));
            }
            ZQStatistician statistician(ZQStatistician::defaultDataPath());
            return holds(statistician.valueForKey(kGenerationKey).toLongLong());
        }};

    // The choice is one boolean: generation g is the choice g % 2 == 0, and
    // what counts is that the file always reads as a choice.
    all[QStringLiteral("choice")] = {
        zq::stats::analyticsUserSettingsPath(),
        [](qint64 g) { zq::stats::setAnalyticsUserChoice(g % 2 == 0); },
        [] {
            const std::optional<bool> choice = zq::stats::analyticsUserChoice();
            return choice ? holds(*choice ? 0 : 1) : fails(QStringLiteral("no choice reads"));
        }};

    all[QStringLiteral("draft")] = {
        ZQFeedbackDraft::defaultPath(),
        [](qint64 g) {
            ZQFeedbackDraft().save({stamp(g), QStringLiteral("contact"), {}});
        },
        [] {
            const std::optional<ZQFeedbackDraftContent> draft = ZQFeedbackDraft().load();
            if (!draft) {
                return fails(QStringLiteral("the draft does not read"));
            }
            const std::optional<qint64> g = generationIn(draft->description);
            return g ? holds(*g) : fails(QStringLiteral("the description is not whole"));
        }};

    return all;
}

int usage() {
    std::fprintf(stderr, "usage: zq-writestorm write|read KIND, or zq-writestorm kinds\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const std::map<QString, Kind> all = kinds();
    if (args.value(0) == QLatin1String("kinds")) {
        for (const auto& [name, kind] : all) {
            std::printf("%s\t%s\n", qPrintable(name), qPrintable(kind.path));
        }
        return 0;
    }
    const auto found = all.find(args.value(1));
    if (args.size() != 2 || found == all.end()) {
        return usage();
    }
    const Kind& kind = found->second;
    const auto current = [&] { return QFileInfo::exists(kind.path) ? kind.read() : holds(0); };
    if (args.first() == QLatin1String("read")) {
        const Reading reading = current();
        if (!reading.generation) {
            std::printf("unreadable: %s\n", qPrintable(reading.failure));
            return 1;
        }
        std::printf("%lld\n", static_cast<long long>(*reading.generation));
        return 0;
    }
    if (args.first() != QLatin1String("write")) {
        return usage();
    }
    const Reading start = current();
    if (!start.generation) {
        std::fprintf(stderr, "zq-writestorm: %s\n", qPrintable(start.failure));
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    for (qint64 g = *start.generation + 1;; ++g) {
        std::printf("begin %lld\n", static_cast<long long>(g));
        std::fflush(stdout);
        kind.write(g);
        std::printf("%lld\n", static_cast<long long>(g));
        std::fflush(stdout);
    }
}
