// The page module of the About window (with its evaluation page and the
// debug-mode window it opens).
#include "app/host/ZQPageController.h"
#include "pages/widgets/ZQAboutWindowController.h"

#include <QObject>

class AboutModule : public QObject, public ZQPageControllerFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageControllerFactory_iid FILE "AboutModule.json")
    Q_INTERFACES(ZQPageControllerFactory)
public:
    std::unique_ptr<ZQPageController> createController(const QString& controllerName) override {
        if (controllerName == QLatin1String("ZQAboutWindowController")) {
            return std::make_unique<ZQAboutWindowController>();
        }
        return nullptr;
    }
};

#include "AboutModule.moc"
