#include "stats/TesselEvent.h"

#include <QJsonValue>
#include <QUuid>

TesselEvent::TesselEvent(Kind kind, const QString& code, const QString& appKey,
                         const QVariantMap& params)
    : _kind(kind),
      _code(code),
      _appKey(appKey),
      _params(params),
      _identifier(QUuid::createUuid().toString(QUuid::WithoutBraces)),
      _createdAt(QDateTime::currentDateTimeUtc()) {}

TesselEvent TesselEvent::realTimeEventWithCode(const QString& code, const QString& appKey,
                                               const QVariantMap& params) {
    return TesselEvent(Kind::RealTime, code, appKey, params);
}

TesselEvent TesselEvent::normalEventWithCode(const QString& code, const QString& appKey,
                                             const QVariantMap& params) {
    return TesselEvent(Kind::Normal, code, appKey, params);
}

QJsonObject TesselEvent::toJson() const {
    return QJsonObject{
        {QStringLiteral("id"), _identifier},
        {QStringLiteral("code"), _code},
        {QStringLiteral("app_key"), _appKey},
        {QStringLiteral("kind"),
         _kind == Kind::RealTime ? QStringLiteral("realtime") : QStringLiteral("normal")},
        {QStringLiteral("time"), _createdAt.toString(Qt::ISODateWithMs)},
        {QStringLiteral("params"), QJsonObject::fromVariantMap(_params)},
    };
}
