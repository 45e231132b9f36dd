#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QVariantMap>

// One analytics event: a code, the application key, the parameters, and
// whether it goes out at once (real-time) or with the next batch (normal).
// Each event gets a random UUID when it is built; the analytics service uses
// it to drop an event it has already stored.
class TesselEvent {
public:
    enum class Kind { RealTime, Normal };

    static TesselEvent realTimeEventWithCode(const QString& code, const QString& appKey,
                                             const QVariantMap& params);
    static TesselEvent normalEventWithCode(const QString& code, const QString& appKey,
                                           const QVariantMap& params);

    Kind kind() const { return _kind; }
    bool isRealTime() const { return _kind == Kind::RealTime; }
    const QString& code() const { return _code; }
    const QString& appKey() const { return _appKey; }
    const QVariantMap& params() const { return _params; }
    // Lower-case UUID without braces, e.g. "1b4e28ba-2fa1-4d3b-a3f5-ef19b5a7633b".
    const QString& identifier() const { return _identifier; }
    // When the event was built, UTC.
    const QDateTime& createdAt() const { return _createdAt; }

    // The event as it travels:
    //   {"id": "...", "code": "...", "app_key": "...", "kind": "realtime"|"normal",
    //    "time": "2024-05-01T08:30:00.123Z", "params": {"key": "text", ...}}
    QJsonObject toJson() const;

private:
    TesselEvent(Kind kind, const QString& code, const QString& appKey, const QVariantMap& params);

    Kind _kind;
    QString _code;
    QString _appKey;
    QVariantMap _params;
    QString _identifier;
    QDateTime _createdAt;
};
