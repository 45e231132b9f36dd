// vesko-tool analytics: report an event, send what is queued, show what left
// the machine, and the user's switch.

#include "platform/Configuration.h"
#include "stats/AnalyticsAudit.h"
#include "stats/AnalyticsQueue.h"
#include "stats/AnalyticsSettings.h"
#include "stats/TesselReport.h"
#include "stats/ZQTesselReportTool.h"
#include "tools/vesko-tool/Command.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <optional>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool analytics report CODE [--normal] [--timeout MS] [--print-queued]\n"
    "                                       [KEY=VALUE ...]\n"
    "       vesko-tool analytics flush [--timeout MS]\n"
    "       vesko-tool analytics audit\n"
    "       vesko-tool analytics queue\n"
    "       vesko-tool analytics status | enable | disable\n"
    "\n"
    "report   reports an event as the pages do: the page parameters KEY=VALUE plus\n"
    "         the machine's common fields (mac_os, mac_v, mac_model, mac_h, mac_r).\n"
    "         A real-time event is sent at once and the command waits for the\n"
    "         service's answer (at most --timeout ms, default 10000); with --normal\n"
    "         the event is queued for the next batch. Prints the event and its fate.\n"
    "         Events that earlier runs left in the queue go out with the first\n"
    "         request, within the same bound. --print-queued prints \"queued ID\"\n"
    "         on standard error as soon as the event is on disk.\n"
    "flush    sends every queued event that no other running process is sending\n"
    "         (also those that running processes keep for their next batch),\n"
    "         and waits for the answers (at most --timeout ms, default 60000).\n"
    "         Prints the counts; status 1 when events could not be sent.\n"
    "audit    prints every request the analytics client has sent from this user's\n"
    "         account (the body exactly as posted, with the service's answer).\n"
    "queue    prints the events waiting to be sent.\n"
    "status   prints whether analytics is on, and why.\n"
    "enable   withdraws the user's objection (the deployment switch still applies).\n"
    "disable  switches analytics off for this user and empties the queue.\n";

QString analyticsFolder() {
    return ZQTesselReportTool::storageFolder();
}

void printJson(const QJsonValue& value) {
    const QJsonDocument doc =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    out() << doc.toJson(QJsonDocument::Indented);
    out().flush();
}

// Events waiting in the queue, without creating a queue where there is none.
std::optional<int> queuedCount() {
    if (!QFileInfo::exists(zq::stats::AnalyticsQueue::databasePath(analyticsFolder()))) {
        return 0;
    }
    zq::stats::AnalyticsQueue queue(analyticsFolder());
    const int count = queue.count();
    return count < 0 ? std::nullopt : std::optional<int>(count);
}

QJsonObject status() {
    const std::optional<bool> user = zq::stats::analyticsUserChoice();
    const std::optional<int> queued = queuedCount();
    return QJsonObject{
        {"enabled", zq::stats::analyticsEnabled()},
        {"deployment", platform::Configuration::analyticsEnabled()},
        {"user", user ? QJsonValue(*user) : QJsonValue(QJsonValue::Null)},
        {"userSettings", zq::stats::analyticsUserSettingsPath()},
        {"endpoint", platform::Configuration::analyticsEndpoint()},
        {"folder", analyticsFolder()},
        {"queued", queued ? QJsonValue(*queued) : QJsonValue(QJsonValue::Null)},
    };
}

int runReport(QStringList args) {
    bool normal = false;
    bool printQueued = false;
    int timeoutMs = 10000;
    QString code;
    QVariantMap params;
    while (!args.isEmpty()) {
        const QString arg = args.takeFirst();
        if (arg == u"--normal") {
            normal = true;
        } else if (arg == u"--print-queued") {
            printQueued = true;
        } else if (arg == u"--timeout") {
            bool ok = false;
            timeoutMs = args.isEmpty() ? -1 : args.takeFirst().toInt(&ok);
            if (!ok || timeoutMs <= 0) {
                return usageError(QStringLiteral("--timeout needs a positive number of ms"),
                                  kUsage);
            }
        } else if (code.isEmpty() && !arg.contains(u'=')) {
            code = arg;
        } else {
            const qsizetype eq = arg.indexOf(u'=');
            if (eq <= 0) {
                return usageError(QStringLiteral("expected KEY=VALUE, got '%1'").arg(arg), kUsage);
            }
            params.insert(arg.left(eq), arg.mid(eq + 1));
        }
    }
    if (code.isEmpty()) {
        return usageError(QStringLiteral("report needs an event CODE"), kUsage);
    }
    if (!zq::stats::analyticsEnabled()) {
        return fail(QStringLiteral("analytics is switched off ('vesko-tool analytics status')"));
    }

    const QDeadlineTimer deadline(timeoutMs);
    ZQTesselReportTool* tool = ZQTesselReportTool::sharedInstance();
    TesselReport* reporter = tool->reporter();
    const QString appKey = QString::fromLatin1(ZQTesselReportTool::kAppKey);
    const QVariantMap all = tool->addedCommonRequestParams(params);
    const TesselEvent event = normal ? TesselEvent::normalEventWithCode(code, appKey, all)
                                     : TesselEvent::realTimeEventWithCode(code, appKey, all);

    QJsonObject result = event.toJson();
    QString outcome;
    QString error;
    QEventLoop loop;
    const QString id = event.identifier();
    QObject::connect(reporter, &TesselReport::eventsDelivered, &loop, [&](const QStringList& ids) {
        if (ids.contains(id)) {
            outcome = QStringLiteral("delivered");
            loop.quit();
        }
    });
    QObject::connect(reporter, &TesselReport::eventsRejected, &loop,
                     [&](const QStringList& ids, int status) {
                         if (ids.contains(id)) {
                             outcome = QStringLiteral("rejected");
                             error = QStringLiteral("HTTP %1").arg(status);
                             loop.quit();
                         }
                     });
    QObject::connect(reporter, &TesselReport::deliveryFailed, &loop,
                     [&](const QStringList& ids, const QString& why, qint64) {
                         if (ids.contains(id)) {
                             outcome = QStringLiteral("queued");
                             error = why;
                             loop.quit();
                         }
                     });
    if (!reporter->reportEvent(event)) {
        return fail(QStringLiteral("the event could not be queued (see the messages above)"));
    }
    if (printQueued) {
        err() << "queued " << id << '\n';
        err().flush();
    }
    if (normal) {
        outcome = QStringLiteral("queued");
    } else {
        QTimer::singleShot(timeoutMs, &loop, [&] {
            outcome = QStringLiteral("queued");
            error = QStringLiteral("no answer within %1 ms").arg(timeoutMs);
            loop.quit();
        });
        loop.exec();
    }
    // A request already on its way (with events that earlier runs left) may
    // finish within the same bound.
    reporter->shutdown(static_cast<int>(deadline.remainingTime()));
    result.insert("outcome", outcome);
    if (!error.isEmpty()) {
        result.insert("error", error);
    }
    printJson(result);
    if (outcome == u"rejected") {
        return fail(QStringLiteral("the service refused the event (%1)").arg(error));
    }
    if (!normal && outcome != u"delivered") {
        return fail(QStringLiteral("not delivered yet (%1); the event stays queued").arg(error));
    }
    return 0;
}

int runFlush(QStringList args) {
    int timeoutMs = 60000;
    while (!args.isEmpty()) {
        const QString arg = args.takeFirst();
        bool ok = false;
        if (arg == u"--timeout" && !args.isEmpty()) {
            timeoutMs = args.takeFirst().toInt(&ok);
        }
        if (!ok || timeoutMs <= 0) {
            return usageError(QStringLiteral("flush takes only --timeout MS (a positive number)"),
                              kUsage);
        }
    }
    if (!zq::stats::analyticsEnabled()) {
        return fail(QStringLiteral("analytics is switched off ('vesko-tool analytics status')"));
    }
    TesselReport* reporter = ZQTesselReportTool::sharedInstance()->reporter();
    const int before = reporter->pendingCount();
    int delivered = 0;
    int rejected = 0;
    int failedAttempts = 0;
    QString lastError;
    bool finished = false;
    QEventLoop loop;
    QObject::connect(reporter, &TesselReport::eventsDelivered, &loop,
                     [&](const QStringList& ids) { delivered += static_cast<int>(ids.size()); });
    QObject::connect(
        reporter, &TesselReport::eventsRejected, &loop,
        [&](const QStringList& ids, int) { rejected += static_cast<int>(ids.size()); });
    QObject::connect(reporter, &TesselReport::deliveryFailed, &loop,
                     [&](const QStringList&, const QString& why, qint64) {
                         ++failedAttempts;
                         lastError = why;
                     });
    QObject::connect(reporter, &TesselReport::allFlushed, &loop, [&] {
        finished = true;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    reporter->flushAll();
    loop.exec();
    // A request still in flight at the bound is abandoned; its events stay queued.
    reporter->shutdown();

    zq::stats::AnalyticsQueue queue(analyticsFolder());
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const int unsent = queue.claimableCount(zq::stats::AnalyticsQueue::everything(), now);
    const int queued = queue.count();
    QJsonObject result{{"queuedBefore", before}, {"delivered", delivered},
                       {"rejected", rejected},   {"failedAttempts", failedAttempts},
                       {"queued", queued},       {"sendingElsewhere", queued - unsent},
                       {"finished", finished}};
    if (!lastError.isEmpty()) {
        result.insert("lastError", lastError);
    }
    printJson(result);
    if (!finished) {
        return fail(QStringLiteral("not done within %1 ms; %2 events stay queued")
                        .arg(timeoutMs)
                        .arg(queued));
    }
    if (unsent > 0 || rejected > 0) {
        return fail(QStringLiteral("%1 events could not be sent, %2 were refused by the service")
                        .arg(unsent)
                        .arg(rejected));
    }
    return 0;
}

int runQueue() {
    QJsonArray events;
    if (QFileInfo::exists(zq::stats::AnalyticsQueue::databasePath(analyticsFolder()))) {
        zq::stats::AnalyticsQueue queue(analyticsFolder());
        if (!queue.isOpen()) {
            return fail(QStringLiteral("cannot read the queue: ") + queue.errorString());
        }
        for (const zq::stats::QueuedEvent& event : queue.events()) {
            events.append(QJsonDocument::fromJson(event.body).object());
        }
    }
    printJson(events);
    return 0;
}

int runDisable() {
    if (!zq::stats::setAnalyticsUserChoice(false)) {
        return fail(QStringLiteral("cannot write ") + zq::stats::analyticsUserSettingsPath());
    }
    int removed = 0;
    if (QFileInfo::exists(zq::stats::AnalyticsQueue::databasePath(analyticsFolder()))) {
        zq::stats::AnalyticsQueue queue(analyticsFolder());
        removed = queue.clear();
        if (removed < 0) {
            return fail(QStringLiteral("analytics is off, but the queue could not be emptied: ") +
                        queue.errorString());
        }
    }
    QJsonObject result = status();
    result.insert("removed", removed);
    printJson(result);
    return 0;
}

int runAnalytics(const QStringList& args) {
    if (args.isEmpty()) {
        return usageError(QStringLiteral("analytics needs a subcommand"), kUsage);
    }
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    const QString sub = args.first();
    const QStringList rest = args.mid(1);
    if (wantsHelp(rest, kUsage)) {
        return 0;
    }
    // The client stops before the application object goes, on every way out.
    const zq::stats::AnalyticsShutdownGuard analyticsGuard;
    if (sub == u"report") {
        return runReport(rest);
    }
    if (sub == u"flush") {
        return runFlush(rest);
    }
    if (!rest.isEmpty()) {
        return usageError(QStringLiteral("'%1' takes no arguments").arg(sub), kUsage);
    }
    if (sub == u"audit") {
        printJson(zq::stats::AnalyticsAudit::read(analyticsFolder()));
        return 0;
    }
    if (sub == u"queue") {
        return runQueue();
    }
    if (sub == u"status") {
        printJson(status());
        return 0;
    }
    if (sub == u"enable") {
        if (!zq::stats::setAnalyticsUserChoice(true)) {
            return fail(QStringLiteral("cannot write ") + zq::stats::analyticsUserSettingsPath());
        }
        printJson(status());
        return 0;
    }
    if (sub == u"disable") {
        return runDisable();
    }
    return usageError(QStringLiteral("unknown subcommand '%1'").arg(sub), kUsage);
}

const vesko::tool::ToolCommand kCommand{
    "analytics", "report analytics events, show the audit log, switch analytics on or off", kUsage,
    &runAnalytics};

}  // namespace
