// The page module of the permission guidance window ("ZQAccesAuthorize",
// "ZQContactAuthorize" and "ZQAuthorize").
#include "app/host/ZQPageController.h"
#include "pages/widgets/ZQAccesAuthorize.h"

#include <QObject>

class AccesAuthorizeModule : public QObject, public ZQPageControllerFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageControllerFactory_iid FILE "AccesAuthorizeModule.json")
    Q_INTERFACES(ZQPageControllerFactory)
public:
    std::unique_ptr<ZQPageController> createController(const QString& controllerName) override {
        if (controllerName == QLatin1String("ZQAccesAuthorize")) {
            return std::make_unique<ZQAccesAuthorize>();
        }
        return nullptr;
    }
};

#include "AccesAuthorizeModule.moc"
