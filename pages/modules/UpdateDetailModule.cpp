// The page module of the update detail window.
#include "app/host/ZQPageController.h"
#include "pages/widgets/ZQUpdateDetail.h"

#include <QObject>

class UpdateDetailModule : public QObject, public ZQPageControllerFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageControllerFactory_iid FILE "UpdateDetailModule.json")
    Q_INTERFACES(ZQPageControllerFactory)
public:
    std::unique_ptr<ZQPageController> createController(const QString& controllerName) override {
        if (controllerName == QLatin1String("ZQUpdateDetail")) {
            return std::make_unique<ZQUpdateDetail>();
        }
        return nullptr;
    }
};

#include "UpdateDetailModule.moc"
