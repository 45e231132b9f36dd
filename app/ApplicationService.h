#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

class AppDelegate;

namespace zq::app {

// The running application on the session bus: owns the name
// "com.vesko.ZQAssistPanel" and serves org.freedesktop.Application on
// "/com/vesko/ZQAssistPanel" (app/dbus/org.freedesktop.Application.xml), so
// desktop launchers and `gapplication` reach it:
//
//   Activate        shows the open page windows again (the About page when none is open)
//   Open            "zqassistpanel:<page name>?<key>=<value>&..." addresses, each handled
//                   like a load notification with those payload keys; other addresses are ignored
//   ActivateAction  one action per page name; an optional a{sv} parameter is the payload
//
// Every request goes through the delegate's load-notification path, so the
// payload rules and the one-window-per-page rule hold as for the notification.
class ApplicationService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    static constexpr const char* kServiceName = "com.vesko.ZQAssistPanel";
    static constexpr const char* kObjectPath = "/com/vesko/ZQAssistPanel";
    static constexpr const char* kUriScheme = "zqassistpanel";

    ApplicationService(AppDelegate* delegate, QObject* parent = nullptr);
    ~ApplicationService() override;

    // Registers the object and claims the bus name on the session bus. The
    // object is served even when another process owns the name. False when the
    // bus is not reachable.
    bool start(bool busExpected = true);
    QString errorString() const { return _error; }

    // The payload that an "zqassistpanel:" address stands for; empty for other addresses.
    static QVariantMap payloadForUri(const QString& uri);

public slots:
    void Activate(const QVariantMap& platform_data);
    void Open(const QStringList& uris, const QVariantMap& platform_data);
    void ActivateAction(const QString& action_name, const QVariantList& parameter,
                        const QVariantMap& platform_data);

signals:
    // A request was handled (the delegate re-checks whether any window is open).
    void requestHandled();

private:
    AppDelegate* _delegate;
    QString _error;
    bool _registered = false;
};

}  // namespace zq::app
