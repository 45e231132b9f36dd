// vesko-tool settings: the settings pages of the input method on this desktop.

#include "tools/vesko-tool/Command.h"
#include "utility/ZQSettingsPanes.h"
#include "utility/ZQSiblingApps.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool settings show|open NAME [--print]\n"
    "\n"
    "NAME is a settings address of the input method, or one of the short names\n"
    "  accessibility contacts screen-recording microphone login-items security\n"
    "show  prints what NAME resolves to on this desktop (XDG_CURRENT_DESKTOP) as JSON:\n"
    "      {\"address\", \"name\", \"section\", \"kind\": \"command\"|\"address\"|\"none\",\n"
    "       \"command\": [...], \"url\", \"display\"}\n"
    "open  starts the page's handler and prints the same object with \"started\";\n"
    "      with --print, or when there is no handler, it prints the text to act on\n"
    "      instead and exits 1 when nothing was started.\n";

QString addressFor(const QString& name) {
    using namespace zq::utility;
    static const QHash<QString, const char*> kShort{
        {QStringLiteral("accessibility"), kAccessibilityPrivacyAddress},
        {QStringLiteral("contacts"), kContactsPrivacyAddress},
        {QStringLiteral("screen-recording"), kScreenCapturePrivacyAddress},
        {QStringLiteral("microphone"), kMicrophonePrivacyAddress},
        {QStringLiteral("login-items"), kLoginItemsAddress},
        {QStringLiteral("security"), kSecurityPaneFile},
    };
    const auto it = kShort.constFind(name);
    return it == kShort.cend() ? name : QString::fromUtf8(*it);
}

QJsonObject describe(const zq::utility::SettingsPaneTarget& target) {
    using Kind = zq::utility::SettingsPaneTarget::Kind;
    const char* kind = target.kind == Kind::Command   ? "command"
                       : target.kind == Kind::Address ? "address"
                                                      : "none";
    return QJsonObject{
        {QStringLiteral("address"), target.designAddress},
        {QStringLiteral("name"), target.name},
        {QStringLiteral("section"), target.section},
        {QStringLiteral("kind"), QString::fromLatin1(kind)},
        {QStringLiteral("command"), QJsonValue::fromVariant(target.command)},
        {QStringLiteral("url"), target.url.toString()},
        {QStringLiteral("display"), target.displayText()},
    };
}

void print(const QJsonObject& object) {
    out() << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
    out().flush();
}

int runSettings(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    const bool printOnly = args.contains(QStringLiteral("--print"));
    QStringList rest = args;
    rest.removeAll(QStringLiteral("--print"));
    if (rest.size() != 2 || (rest.at(0) != u"show" && rest.at(0) != u"open")) {
        return usageError(QStringLiteral("expected show|open NAME"), kUsage);
    }
    const QString address = addressFor(rest.at(1));
    const zq::utility::SettingsPaneTarget target = zq::utility::resolveSettingsPane(address);
    if (rest.at(0) == u"show") {
        print(describe(target));
        return 0;
    }
    if (printOnly || target.kind == zq::utility::SettingsPaneTarget::Kind::None) {
        out() << target.displayText() << '\n';
        out().flush();
        return target.kind == zq::utility::SettingsPaneTarget::Kind::None ? 1 : 0;
    }
    int status = 1;
    zq::utility::openSettingsPane(
        address, QCoreApplication::instance(),
        [&status](bool started, const zq::utility::SettingsPaneTarget& opened) {
            QJsonObject object = describe(opened);
            object.insert(QStringLiteral("started"), started);
            print(object);
            status = started ? 0 : 1;
            QCoreApplication::exit(status);
        });
    QCoreApplication::exec();
    return status;
}

const vesko::tool::ToolCommand kCommand{
    "settings", "show or open the desktop's settings page for a settings address", kUsage,
    &runSettings};

}  // namespace
