// The page module of the debug-mode window.
#include "app/host/ZQPageController.h"
#include "pages/widgets/ZQDebugModeController.h"

#include <QObject>

class DebugModeModule : public QObject, public ZQPageControllerFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageControllerFactory_iid FILE "DebugModeModule.json")
    Q_INTERFACES(ZQPageControllerFactory)
public:
    std::unique_ptr<ZQPageController> createController(const QString& controllerName) override {
        if (controllerName == QLatin1String("ZQDebugModeController")) {
            return std::make_unique<ZQDebugModeController>();
        }
        return nullptr;
    }
};

#include "DebugModeModule.moc"
