#pragma once

#include "app/host/ZQPageController.h"

#include <QString>

#include <functional>
#include <map>
#include <memory>

namespace zq::pagehost {

// Where page controllers come from, by controller name: factories added in
// code (tests), else the page module "<folder>/<controller name>.so", loaded
// on the first request for one of its pages and kept loaded. A page module
// links only what its page needs, so no page pays at start-up for another
// page's libraries.
class PageRegistry {
public:
    using Factory = std::function<std::unique_ptr<ZQPageController>()>;

    PageRegistry() = default;
    // Page modules in `folder` (platform::Locations::pluginsDir() + "/pages" in the application).
    explicit PageRegistry(const QString& moduleFolder) : _moduleFolder(moduleFolder) {}

    void add(const QString& controllerName, Factory factory);

    // A new controller, or null (with the reason in `error`) when there is no
    // factory and no usable module for the name.
    std::unique_ptr<ZQPageController> create(const QString& controllerName,
                                             QString* error = nullptr) const;

    // The module file that would serve `controllerName`.
    QString modulePath(const QString& controllerName) const;

private:
    std::map<QString, Factory> _factories;
    QString _moduleFolder;
};

}  // namespace zq::pagehost
