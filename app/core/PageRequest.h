#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

class ZQAssistConfig;

// The rules by which a request names a page and hands it its parameters,
// whatever channel it came through: launch arguments, the load notification,
// or the application's bus interface. Plain functions over the config store;
// no window is involved.
namespace zq::shell {

// The load notification and the payload key that names the page.
inline constexpr char kLoadXibNotification[] = "kVeskoNotifyLoadXibInZQAssistPanel";
inline constexpr char kXibNameKey[] = "kVeskoPreferencesXibName";

// One page name and how a request for it is shown.
struct PageInfo {
    QString pageName;
    // The window controller that serves it; the three permission page names share one.
    QString controllerName;
    // Centred on its screen at every request.
    bool centresWindow = false;
    // Takes focus from other applications (the update detail window does not).
    bool activatesApplication = true;
};

// The seven page names, exact and case-sensitive, in a fixed order.
const QList<PageInfo>& pages();
// The page of that exact name, or null.
const PageInfo* findPage(const QString& pageName);

// "arg0", "arg1", ...: each argument with one leading "-" dropped.
QVariantMap argumentDictionary(const QStringList& arguments);

// A launch: `arguments` as the process got them (index 0 is the executable).
// Stores the page's parameters in `config` and returns the page name, or an
// empty string when the arguments name no page (nothing is stored then).
QString applyLaunchArguments(const QStringList& arguments, ZQAssistConfig& config);

// A load request (the load notification's payload, or the same payload from
// the bus interface). Stores what the page takes from it and returns the page
// name it carries: empty when the name is missing or not text, and possibly
// a name that is no page (the caller ignores it).
QString applyLoadPayload(const QVariantMap& payload, ZQAssistConfig& config);

}  // namespace zq::shell
