#include "pages/models/ZQAboutServices.h"

#include "pages/models/PageModelsLog.h"
#include "platform/Locations.h"

#include <QFileInfo>
#include <QPluginLoader>

namespace zq::pages {

ZQAboutServices* aboutServices() {
    static QPluginLoader* loader = nullptr;
    static ZQAboutServices* services = nullptr;
    if (!loader) {
        const QString path =
            platform::Locations::pluginsDir() + QStringLiteral("/ZQAboutServices.so");
        loader = new QPluginLoader(path);  // kept: the module is never unloaded
        services = qobject_cast<ZQAboutServices*>(loader->instance());
        if (!services) {
            qCWarning(lcPages) << "no About services:"
                               << (QFileInfo(path).isFile() ? loader->errorString()
                                                            : path + QStringLiteral(" is missing"));
        }
    }
    return services;
}

}  // namespace zq::pages
