#include "pages/widgets/PageAnalytics.h"

#include "pages/models/ZQPageReporter.h"
#include "pages/widgets/PageWidgetsLog.h"
#include "platform/Locations.h"

#include <QPluginLoader>

namespace zq::pages {

ZQPageReporter* pageReporter() {
    static ZQPageReporter* const reporter = [] {
        const QString path =
            platform::Locations::pluginsDir() + QStringLiteral("/ZQPageAnalytics.so");
        auto* loader = new QPluginLoader(path);  // kept: the module is never unloaded
        auto* instance = qobject_cast<ZQPageReporter*>(loader->instance());
        if (!instance) {
            qCWarning(lcPageWidgets) << "no analytics for the pages:" << loader->errorString();
        }
        return instance;
    }();
    return reporter;
}

}  // namespace zq::pages
