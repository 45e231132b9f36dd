#pragma once

#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QHash>
#include <QString>
#include <QVariant>
#include <QVariantList>

#include <functional>

namespace zq::refim {

// The input method's notify server ("VESKO_NOTIFY_SERVER") as the reference
// service serves it: every operation of com.vesko.NotifyVeskoInputProtocol,
// read from the interface description compiled into the program, so that the
// served protocol is the described one, operation for operation.
//
// Each call is checked against the description (one variant per argument),
// counted per operation, answered (operations with a result answer the
// reference values listed in docs/refim.md), and reported to the observer.
// Calls of another interface on the object are left to Qt (introspection,
// peer) or refused.
class NotifyServer : public QDBusVirtualObject {
    Q_OBJECT
public:
    struct Call {
        QString operation;
        QVariantList arguments;  // property-list values, variants unwrapped
        QVariant result;         // invalid for operations without a result
        qint64 count = 0;        // calls of this operation so far, this one included
        QString sender;          // the caller's unique bus name
    };
    using Observer = std::function<void(const Call&)>;

    explicit NotifyServer(QObject* parent = nullptr);

    // Reads the interface description. False, with *error, when it does not
    // describe the protocol's interface.
    [[nodiscard]] bool load(QString* error);

    void setObserver(Observer observer) { _observer = std::move(observer); }
    qint64 count(const QString& operation) const { return _counts.value(operation); }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

    static constexpr const char* kDescription = ":/refim/com.vesko.NotifyVeskoInputProtocol.xml";

private:
    struct Operation {
        int arguments = 0;
        bool hasResult = false;
    };
    QVariant resultOf(const QString& operation, const QVariantList& arguments);

    QString _introspection;
    QHash<QString, Operation> _operations;
    QHash<QString, qint64> _counts;
    QVariant _syncInputData = QVariantMap{};
    QElapsedTimer _running;
    Observer _observer;
};

}  // namespace zq::refim
