// The page module of the help-and-feedback window.
#include "app/host/ZQPageController.h"
#include "help/widgets/ZQFeedbackWindowController.h"

#include <QObject>

class FeedbackModule : public QObject, public ZQPageControllerFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageControllerFactory_iid FILE "FeedbackModule.json")
    Q_INTERFACES(ZQPageControllerFactory)
public:
    std::unique_ptr<ZQPageController> createController(const QString& controllerName) override {
        if (controllerName == QLatin1String("ZQFeedbackWindowController")) {
            return std::make_unique<ZQFeedbackWindowController>();
        }
        return nullptr;
    }
};

#include "FeedbackModule.moc"
