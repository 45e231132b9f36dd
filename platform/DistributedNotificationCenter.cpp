#include "platform/DistributedNotificationCenter.h"
#include "platform/PlatformLog.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QLoggingCategory>
#include <QPointer>
#include <QThread>

namespace platform {

struct DistributedNotificationCenter::Observer {
    QPointer<QObject> context;
    QString name;
    Handler handler;
    QMetaObject::Connection destroyed;
};

namespace {

QVariant normalisedOutgoing(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::QString:
        case QMetaType::Bool:
        case QMetaType::Double:
        case QMetaType::LongLong:
            return value;
        case QMetaType::Int:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::UChar:
        case QMetaType::UInt:
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return QVariant(value.toLongLong());
        case QMetaType::Float:
            return QVariant(value.toDouble());
        default:
            return QVariant(value.toString());
    }
}

}  // namespace

// Payload values travel as D-Bus strings, 64-bit integers, doubles and
// booleans. Anything else a foreign sender put in is reduced to those forms
// where that is meaningful and dropped otherwise.
QVariant DistributedNotificationCenter::payloadValue(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::QString:
        case QMetaType::Bool:
        case QMetaType::Double:
        case QMetaType::LongLong:
            return value;
        case QMetaType::Int:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::UChar:
        case QMetaType::UInt:
            return QVariant(value.toLongLong());
        case QMetaType::ULongLong:
            return value.toULongLong() > qulonglong(std::numeric_limits<qint64>::max())
                       ? QVariant(QString::number(value.toULongLong()))
                       : QVariant(qint64(value.toULongLong()));
        case QMetaType::QStringList:
            return value;
        case QMetaType::QVariantMap: {
            QVariantMap out;
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                const QVariant v = payloadValue(it.value());
                if (v.isValid()) {
                    out.insert(it.key(), v);
                }
            }
            return out;
        }
        default:
            break;
    }
    if (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        return payloadValue(qvariant_cast<QDBusVariant>(value).variant());
    }
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>()) {
        return QVariant(qvariant_cast<QDBusObjectPath>(value).path());
    }
    if (value.metaType() == QMetaType::fromType<QDBusSignature>()) {
        return QVariant(qvariant_cast<QDBusSignature>(value).signature());
    }
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument arg = qvariant_cast<QDBusArgument>(value);
        if (arg.currentSignature() == u"a{sv}") {
            QVariantMap map;
            arg >> map;
            QVariantMap out;
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                const QVariant v = payloadValue(it.value());
                if (v.isValid()) {
                    out.insert(it.key(), v);
                }
            }
            return out;
        }
        if (arg.currentSignature() == u"av") {
            QVariantList list;
            arg >> list;
            QVariantList out;
            for (const QVariant& element : std::as_const(list)) {
                const QVariant v = payloadValue(element);
                if (v.isValid()) {
                    out.append(v);
                }
            }
            return out;
        }
    }
    qCDebug(lcPlatform) << "dropping a payload value of unsupported type" << value.typeName();
    return {};
}

DistributedNotificationCenter::DistributedNotificationCenter(const QDBusConnection& bus,
                                                             QObject* parent)
    : QObject(parent), _bus(bus) {
    if (_bus.isConnected()) {
        _connected =
            _bus.connect(QString(), QString::fromLatin1(kPath), QString::fromLatin1(kInterface),
                         QString::fromLatin1(kMember), this, SLOT(onPost(QDBusMessage)));
        if (!_connected) {
            qCWarning(lcPlatform) << "cannot observe distributed notifications:"
                                  << _bus.lastError().message();
        }
    }
}

DistributedNotificationCenter::~DistributedNotificationCenter() {
    for (const auto& observer : std::as_const(_observers)) {
        QObject::disconnect(observer->destroyed);
    }
    if (_connected) {
        _bus.disconnect(QString(), QString::fromLatin1(kPath), QString::fromLatin1(kInterface),
                        QString::fromLatin1(kMember), this, SLOT(onPost(QDBusMessage)));
    }
}

DistributedNotificationCenter* DistributedNotificationCenter::defaultCenter() {
    static QPointer<DistributedNotificationCenter> center;
    if (!center) {
        center = new DistributedNotificationCenter(QDBusConnection::sessionBus(),
                                                   QCoreApplication::instance());
    }
    return center;
}

bool DistributedNotificationCenter::isConnected() const {
    return _connected;
}

bool DistributedNotificationCenter::post(const QString& name, const QVariantMap& userInfo) {
    if (!_bus.isConnected()) {
        return false;
    }
    QVariantMap payload;
    for (auto it = userInfo.cbegin(); it != userInfo.cend(); ++it) {
        payload.insert(it.key(), normalisedOutgoing(it.value()));
    }
    QDBusMessage signal = QDBusMessage::createSignal(
        QString::fromLatin1(kPath), QString::fromLatin1(kInterface), QString::fromLatin1(kMember));
    signal << name << QVariant::fromValue(payload);
    return _bus.send(signal);
}

void DistributedNotificationCenter::addObserver(QObject* context, const QString& name,
                                                Handler handler) {
    Q_ASSERT(context);
    auto observer = std::make_shared<Observer>();
    observer->context = context;
    observer->name = name;
    observer->handler = std::move(handler);
    Observer* raw = observer.get();
    observer->destroyed = connect(context, &QObject::destroyed, this, [this, raw] {
        _observers.removeIf([raw](const auto& o) { return o.get() == raw; });
    });
    _observers.append(std::move(observer));
}

void DistributedNotificationCenter::removeObserver(QObject* context, const QString& name) {
    _observers.removeIf([&](const std::shared_ptr<Observer>& o) {
        const bool match = o->context == context && (name.isEmpty() || o->name == name);
        if (match) {
            QObject::disconnect(o->destroyed);
        }
        return match;
    });
}

void DistributedNotificationCenter::setSuspended(bool suspended) {
    _suspended = suspended;
    while (!_suspended && !_held.isEmpty()) {
        const auto [name, userInfo] = _held.takeFirst();
        deliver(name, userInfo);
    }
}

bool DistributedNotificationCenter::isSuspended() const {
    return _suspended;
}

void DistributedNotificationCenter::onPost(const QDBusMessage& message) {
    // The payload is optional on the wire: a sender may emit the name alone.
    const QVariantList arguments = message.arguments();
    if (arguments.isEmpty() || arguments.first().metaType().id() != QMetaType::QString) {
        return;
    }
    const QString name = arguments.first().toString();
    QVariantMap userInfo;
    if (arguments.size() > 1) {
        const QVariant second = arguments.at(1);
        if (second.metaType() == QMetaType::fromType<QDBusArgument>()) {
            const QDBusArgument argument = qvariant_cast<QDBusArgument>(second);
            if (argument.currentSignature() == u"a{sv}") {
                argument >> userInfo;
            }
        } else if (second.metaType().id() == QMetaType::QVariantMap) {
            userInfo = second.toMap();
        }
    }
    QVariantMap payload;
    for (auto it = userInfo.cbegin(); it != userInfo.cend(); ++it) {
        const QVariant v = payloadValue(it.value());
        if (v.isValid()) {
            payload.insert(it.key(), v);
        }
    }
    if (_suspended) {
        _held.append({name, payload});
        return;
    }
    deliver(name, payload);
}

void DistributedNotificationCenter::deliver(const QString& name, const QVariantMap& userInfo) {
    // Observers run in the order they registered; one may remove another
    // (or itself) while running, so work from a snapshot.
    const auto snapshot = _observers;
    for (const auto& observer : snapshot) {
        if (!_observers.contains(observer) || !observer->context) {
            continue;
        }
        if (observer->name.isEmpty() || observer->name == name) {
            observer->handler(name, userInfo);
        }
    }
    emit notificationReceived(name, userInfo);
}

NotificationCenter* NotificationCenter::defaultCenter() {
    static QPointer<NotificationCenter> center;
    if (!center) {
        center = new NotificationCenter;
        center->setParent(QCoreApplication::instance());
    }
    return center;
}

void NotificationCenter::post(const QString& name, const QVariantMap& userInfo) {
    emit posted(name, userInfo);
}

QMetaObject::Connection NotificationCenter::addObserver(QObject* context, const QString& name,
                                                        Handler handler) {
    return connect(
        this, &NotificationCenter::posted, context,
        [name, handler = std::move(handler)](const QString& posted, const QVariantMap& userInfo) {
            if (name.isEmpty() || name == posted) {
                handler(posted, userInfo);
            }
        });
}

}  // namespace platform
