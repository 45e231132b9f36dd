#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace platform {

// Cross-process notifications over the D-Bus session bus: each notification is
// the broadcast signal com.vesko.DistributedNotification.Post(s name, a{sv} userInfo)
// on /com/vesko/DistributedNotification. Payload values are strings, 64-bit
// integers, doubles and booleans. Observers run on the main thread.
class DistributedNotificationCenter : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const QString& name, const QVariantMap& userInfo)>;

    explicit DistributedNotificationCenter(const QDBusConnection& bus, QObject* parent = nullptr);
    ~DistributedNotificationCenter() override;

    // The process-wide centre on the session bus (created on first use, main thread).
    static DistributedNotificationCenter* defaultCenter();

    bool isConnected() const;

    // Broadcasts a notification. Values of other types than string, integer,
    // double and boolean are sent as their string form. Returns false when the
    // bus is not reachable.
    bool post(const QString& name, const QVariantMap& userInfo = {});

    // Calls handler for every notification named `name` (every notification
    // when `name` is empty) until `context` is destroyed or removeObserver is called.
    void addObserver(QObject* context, const QString& name, Handler handler);
    void removeObserver(QObject* context, const QString& name = {});

    // While suspended, received notifications are held and delivered in order
    // on resumption.
    void setSuspended(bool suspended);
    bool isSuspended() const;

    // A payload value reduced to the forms a notification carries: text,
    // 64-bit integers, doubles, booleans, and dictionaries and lists of them
    // (D-Bus variants and containers are unwrapped). Values of any other type
    // come back invalid, and the caller drops them.
    static QVariant payloadValue(const QVariant& value);

    static constexpr const char* kInterface = "com.vesko.DistributedNotification";
    static constexpr const char* kPath = "/com/vesko/DistributedNotification";
    static constexpr const char* kMember = "Post";

signals:
    // Emitted for every delivered notification, after the observers ran.
    void notificationReceived(const QString& name, const QVariantMap& userInfo);

private slots:
    void onPost(const QDBusMessage& message);

private:
    struct Observer;
    void deliver(const QString& name, const QVariantMap& userInfo);

    QDBusConnection _bus;
    bool _connected = false;
    bool _suspended = false;
    QList<QPair<QString, QVariantMap>> _held;
    QList<std::shared_ptr<Observer>> _observers;
};

// In-process notifications: one process-wide object whose signal every
// interested object connects to.
class NotificationCenter : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const QString& name, const QVariantMap& userInfo)>;

    static NotificationCenter* defaultCenter();

    void post(const QString& name, const QVariantMap& userInfo = {});
    // Calls handler (on the receiving object's thread) for notifications named `name`.
    QMetaObject::Connection addObserver(QObject* context, const QString& name, Handler handler);

signals:
    void posted(const QString& name, const QVariantMap& userInfo);
};

}  // namespace platform
