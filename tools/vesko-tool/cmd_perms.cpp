// vesko-tool perms: the permission checks and the appearance decision, as
// this desktop answers them.

#include "tools/vesko-tool/Command.h"
#include "utility/ZQPermissions.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool perms\n"
    "\n"
    "Prints one JSON object:\n"
    "  session                      \"x11\", \"wayland\" or \"none\"\n"
    "  isAccessibilityEnabled       the accessibility bus is enabled (org.a11y.Status)\n"
    "  isScreenRecordEnabled        X11: true; Wayland: the ScreenCast portal offers a monitor\n"
    "  hasAppWriteAuth              the installed bundle takes the two probe files\n"
    "  veskoServiceRequireApprovalInBackground, veskoTaskManagerRequireApprovalInBackground\n"
    "                               the Background portal holds the user's refusal\n"
    "  sysFacadePreferenceSetting   0 light, 1 dark, 2 automatic\n"
    "  hasDarkMode                  the default skin follows a dark desktop\n"
    "Desktop services that do not answer within a second count as \"no\".\n";

QString sessionName(zq::utility::SessionType session) {
    switch (session) {
        case zq::utility::SessionType::X11:
            return QStringLiteral("x11");
        case zq::utility::SessionType::Wayland:
            return QStringLiteral("wayland");
        case zq::utility::SessionType::None:
            break;
    }
    return QStringLiteral("none");
}

int runPerms(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (!args.isEmpty()) {
        return usageError(QStringLiteral("perms takes no arguments"), kUsage);
    }
    const zq::utility::DesktopPermissions p = zq::utility::currentDesktopPermissions();
    const QJsonObject report{
        {QStringLiteral("session"), sessionName(p.session)},
        {QStringLiteral("isAccessibilityEnabled"), p.accessibility},
        {QStringLiteral("isScreenRecordEnabled"), p.screenRecording},
        {QStringLiteral("hasAppWriteAuth"), p.appWrite},
        {QStringLiteral("veskoServiceRequireApprovalInBackground"), p.serviceNeedsApproval},
        {QStringLiteral("veskoTaskManagerRequireApprovalInBackground"), p.taskManagerNeedsApproval},
        {QStringLiteral("sysFacadePreferenceSetting"), p.appearanceSetting},
        {QStringLiteral("hasDarkMode"), p.dark},
    };
    out() << QString::fromUtf8(QJsonDocument(report).toJson(QJsonDocument::Indented));
    out().flush();
    return 0;
}

const vesko::tool::ToolCommand kCommand{
    "perms", "permission checks and the appearance decision as JSON", kUsage, &runPerms};

}  // namespace
