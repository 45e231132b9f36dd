#pragma once

#include <QString>
#include <QVariantMap>
#include <QtPlugin>

#include <memory>

class QWidget;

// The window controller of one page, as the application shell drives it.
//
// The shell creates a controller on the first request for one of its page
// names and keeps it for the life of the process. Every request, whatever
// channel it came through, reaches the controller the same way: the shell
// stores the request's parameters, calls showPage() (centring and activating
// the window as the page's entry in the request rules says), then hands the
// request's payload to every controller that existed before it
// (loadRequestReceived), so that an open page can re-read its parameters.
class ZQPageController {
public:
    virtual ~ZQPageController() = default;

    // The page's top-level window; the same widget for the controller's whole life.
    virtual QWidget* window() const = 0;

    // Shows the window for `pageName` (one of the controller's page names),
    // or brings the open window to the front; never opens a second window.
    // A page that refreshes or refills its window on each request does it here.
    virtual void showPage(const QString& pageName);

    // A load request for any page reached the process while this controller
    // existed, after the shell had stored its parameters and shown its page.
    virtual void loadRequestReceived(const QVariantMap& payload) { Q_UNUSED(payload); }
};

// The root object of a page module implements this: it makes the controllers
// the module holds ("ZQUpdateDetail", ...). The module's metadata lists them
// under "controllers".
class ZQPageControllerFactory {
public:
    virtual ~ZQPageControllerFactory() = default;
    // A new controller, or null when the module holds none of that name.
    virtual std::unique_ptr<ZQPageController> createController(const QString& controllerName) = 0;
};

#define ZQPageControllerFactory_iid "com.vesko.ZQAssistPanel.PageControllerFactory/1"
Q_DECLARE_INTERFACE(ZQPageControllerFactory, ZQPageControllerFactory_iid)
