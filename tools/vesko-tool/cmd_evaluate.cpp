// vesko-tool evaluate and overview: the star score with its comment, and
// the score overview of the evaluation page.

#include "help/ZQHelpListInfoDataManager.h"
#include "tools/vesko-tool/Command.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

// The encrypted wall's own timeout is 30 seconds; the bound leaves room.
constexpr int kBoundMs = 45000;

const char kEvaluateUsage[] =
    "usage: vesko-tool evaluate --score N [--comment TEXT]\n"
    "\n"
    "Sends a star score (the evaluation page sends 1 to 5) and an optional\n"
    "comment to the evaluation service through the encrypted wall. Prints\n"
    "{\"score\", \"comment\", \"success\", \"error\"}; status 1 unless the service\n"
    "accepted it.\n";

const char kOverviewUsage[] =
    "usage: vesko-tool overview\n"
    "\n"
    "Fetches the score overview of the evaluation page through the encrypted\n"
    "wall. Prints {\"success\", \"error\", \"data\"}; an answer that is neither an\n"
    "error nor an overview (the page then shows nothing) prints success false\n"
    "with no error, status 1.\n";

QJsonValue errorJson(const zq::net::OptionalError& error) {
    if (!error) {
        return QJsonValue(QJsonValue::Null);
    }
    return QJsonObject{
        {"domain", error->domain}, {"code", error->code}, {"description", error->description}};
}

// Runs the event loop until quit() or the bound.
void run(QEventLoop& loop, const bool& done) {
    if (!done) {
        QTimer::singleShot(kBoundMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

int runEvaluate(const QStringList& args) {
    if (wantsHelp(args, kEvaluateUsage)) {
        return 0;
    }
    std::optional<qint64> score;
    QString comment;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (i + 1 >= args.size()) {
            return usageError(QStringLiteral("'%1' needs a value").arg(args[i]), kEvaluateUsage);
        }
        if (args[i] == u"--score") {
            bool ok = false;
            score = args[++i].toLongLong(&ok);
            if (!ok) {
                return usageError(QStringLiteral("--score takes an integer"), kEvaluateUsage);
            }
        } else if (args[i] == u"--comment") {
            comment = args[++i];
        } else {
            return usageError(QStringLiteral("unexpected argument '%1'").arg(args[i]),
                              kEvaluateUsage);
        }
    }
    if (!score) {
        return usageError(QStringLiteral("--score is required"), kEvaluateUsage);
    }
    QEventLoop loop;
    QObject context;
    bool done = false;
    QJsonObject result{{"score", *score}, {"comment", comment}};
    ZQHelpListInfoDataManager::submitUserEvaluationWithContactInfo(
        comment, *score, &context, [&](const zq::net::OptionalError& error, bool success) {
            result.insert("success", success);
            result.insert("error", errorJson(error));
            done = true;
            loop.quit();
        });
    run(loop, done);
    if (!done) {
        return fail(QStringLiteral("no answer within %1 seconds").arg(kBoundMs / 1000));
    }
    out() << QJsonDocument(result).toJson(QJsonDocument::Indented);
    out().flush();
    if (!result.value("success").toBool()) {
        err() << "vesko-tool: the evaluation was not accepted\n";
        err().flush();
        return 1;
    }
    return 0;
}

int runOverview(const QStringList& args) {
    if (wantsHelp(args, kOverviewUsage)) {
        return 0;
    }
    if (!args.isEmpty()) {
        return usageError(QStringLiteral("unexpected argument '%1'").arg(args.first()),
                          kOverviewUsage);
    }
    QEventLoop loop;
    QObject context;
    bool done = false;
    QJsonObject result{{"success", false}, {"error", QJsonValue()}, {"data", QJsonValue()}};
    ZQHelpListInfoDataManager::getScoringOverviewData(
        &context,
        [&](const zq::net::OptionalError& error, bool success, const QVariant& data) {
            result.insert("success", success);
            result.insert("error", errorJson(error));
            result.insert("data", QJsonValue::fromVariant(data));
        },
        [&] {
            done = true;
            loop.quit();
        });
    run(loop, done);
    if (!done) {
        return fail(QStringLiteral("no answer within %1 seconds").arg(kBoundMs / 1000));
    }
    out() << QJsonDocument(result).toJson(QJsonDocument::Indented);
    out().flush();
    if (!result.value("success").toBool()) {
        err() << "vesko-tool: no score overview\n";
        err().flush();
        return 1;
    }
    return 0;
}

const vesko::tool::ToolCommand kEvaluate{"evaluate", "send a star score and a comment",
                                         kEvaluateUsage, &runEvaluate};
const vesko::tool::ToolCommand kOverview{"overview", "fetch the score overview", kOverviewUsage,
                                         &runOverview};

}  // namespace
