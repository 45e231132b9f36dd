// vesko-tool system-info: the machine and installation facts that every
// service request of the input method carries.

#include "tools/vesko-tool/Command.h"
#include "utility/Utility.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool system-info\n"
    "\n"
    "Prints one JSON object with the values the input method's requests carry:\n"
    "  GetUUID                  device identifier (32 upper-case hex digits)\n"
    "  GetUUIDSource            the machine identifier, 8-4-4-4-12\n"
    "  GetQuDao                 channel code (\"0000\" when the installation has none)\n"
    "  GetInputMethodVersion    installed input method version\n"
    "  GetSystemVersion         system version\n"
    "  GetPlatformVersion       system version and build, \"version(build)\"\n"
    "  GetHardwareModel         hardware model (\"Unknown\" when unreadable)\n"
    "  GetHardwareArchitecture  machine type (\"Unknown\" when unreadable)\n"
    "  GetCpuArchitecture       processor architecture\n"
    "A value that is absent is null. Locations follow HOME, XDG_DATA_HOME,\n"
    "VESKO_INSTALL_ROOT and VESKO_SYSTEM_ROOT.\n";

QJsonValue jsonOf(const std::optional<QString>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue jsonOf(const QString& value) {
    return value.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(value);
}

int runSystemInfo(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (!args.isEmpty()) {
        return usageError(QStringLiteral("system-info takes no arguments"), kUsage);
    }
    const QJsonObject info{
        {QStringLiteral("GetUUID"), jsonOf(GetUUID())},
        {QStringLiteral("GetUUIDSource"), jsonOf(GetUUIDSource())},
        {QStringLiteral("GetQuDao"), jsonOf(GetQuDao())},
        {QStringLiteral("GetInputMethodVersion"), jsonOf(GetInputMethodVersion())},
        {QStringLiteral("GetSystemVersion"), jsonOf(GetSystemVersion())},
        {QStringLiteral("GetPlatformVersion"), jsonOf(GetPlatformVersion())},
        {QStringLiteral("GetHardwareModel"), jsonOf(GetHardwareModel())},
        {QStringLiteral("GetHardwareArchitecture"), jsonOf(GetHardwareArchitecture())},
        {QStringLiteral("GetCpuArchitecture"), jsonOf(GetCpuArchitecture())},
    };
    out() << QString::fromUtf8(QJsonDocument(info).toJson(QJsonDocument::Indented));
    out().flush();
    return 0;
}

const vesko::tool::ToolCommand kCommand{
    "system-info", "device identifier, channel, versions and machine facts as JSON", kUsage,
    &runSystemInfo};

}  // namespace
