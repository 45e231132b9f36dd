#include "app/host/PageRegistry.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QPluginLoader>

namespace zq::pagehost {

void PageRegistry::add(const QString& controllerName, Factory factory) {
    _factories[controllerName] = std::move(factory);
}

QString PageRegistry::modulePath(const QString& controllerName) const {
    return _moduleFolder + u'/' + controllerName + QStringLiteral(".so");
}

std::unique_ptr<ZQPageController> PageRegistry::create(const QString& controllerName,
                                                       QString* error) const {
    const auto fail = [error](const QString& why) -> std::unique_ptr<ZQPageController> {
        if (error) {
            *error = why;
        }
        return nullptr;
    };
    if (const auto it = _factories.find(controllerName); it != _factories.end()) {
        return it->second();
    }
    if (_moduleFolder.isEmpty()) {
        return fail(QStringLiteral("no page module folder"));
    }
    const QString path = modulePath(controllerName);
    if (!QFileInfo(path).isFile()) {
        return fail(QStringLiteral("%1 is missing").arg(path));
    }
    // The loader only reads the metadata until instance() loads the module;
    // a module is never unloaded (its controller lives as long as the process).
    QPluginLoader loader(path);
    const QJsonArray controllers = loader.metaData()
                                       .value(QStringLiteral("MetaData"))
                                       .toObject()
                                       .value(QStringLiteral("controllers"))
                                       .toArray();
    if (!controllers.contains(controllerName)) {
        return fail(QStringLiteral("%1 does not hold %2").arg(path, controllerName));
    }
    auto* factory = qobject_cast<ZQPageControllerFactory*>(loader.instance());
    if (!factory) {
        return fail(QStringLiteral("%1 cannot be loaded: %2").arg(path, loader.errorString()));
    }
    std::unique_ptr<ZQPageController> controller = factory->createController(controllerName);
    if (!controller) {
        return fail(QStringLiteral("%1 made no %2").arg(path, controllerName));
    }
    return controller;
}

}  // namespace zq::pagehost
