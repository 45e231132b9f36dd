#include "utility/ZQPermissions.h"
#include "utility/UtilityLog.h"

#include "platform/FileRead.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"
#include "utility/ZQSettingsPanes.h"
#include "utility/ZQSiblingApps.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QLoggingCategory>
#include <QMutex>
#include <QPromise>
#include <QSettings>
#include <QThreadPool>
#include <QTimer>

#include <memory>

namespace {

constexpr qint64 kSystemSettingsProcess = 10;

const QString kPortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kScreenCastInterface = QStringLiteral("org.freedesktop.portal.ScreenCast");
const QString kBackgroundInterface = QStringLiteral("org.freedesktop.portal.Background");

// A variant with every D-Bus variant wrapper taken off.
QVariant unwrapped(QVariant value) {
    while (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        value = qvariant_cast<QDBusVariant>(value).variant();
    }
    return value;
}

// The reply's arguments of a bounded call; none for an error, a time-out or no bus.
std::optional<QVariantList> ask(const QDBusConnection& bus, const QDBusMessage& message) {
    if (!bus.isConnected()) {
        return std::nullopt;
    }
    const QDBusMessage reply = bus.call(message, QDBus::Block, zq::utility::kDesktopQueryTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        qCDebug(lcUtility) << message.service() << message.member() << reply.errorName();
        return std::nullopt;
    }
    return reply.arguments();
}

std::optional<QVariant> property(const QDBusConnection& bus, const QString& service,
                                 const QString& path, const QString& interface,
                                 const QString& name) {
    QDBusMessage get =
        QDBusMessage::createMethodCall(service, path, kPropertiesInterface, QStringLiteral("Get"));
    get << interface << name;
    const std::optional<QVariantList> reply = ask(bus, get);
    if (!reply) {
        return std::nullopt;
    }
    return unwrapped(reply->constFirst());
}

std::optional<uint> asUnsigned(const std::optional<QVariant>& value) {
    if (!value) {
        return std::nullopt;
    }
    switch (value->typeId()) {
        case QMetaType::UInt:
        case QMetaType::Int:
        case QMetaType::UShort:
        case QMetaType::UChar:
        case QMetaType::ULongLong:
        case QMetaType::LongLong:
            return value->toUInt();
        default:
            return std::nullopt;
    }
}

// "true", "1", "yes", "on" of a settings file.
bool truthy(const QVariant& value) {
    const QString text = value.toString().trimmed().toLower();
    return text == u"true" || text == u"1" || text == u"yes" || text == u"on";
}

QString configHome() {
    const QString configured = QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME"));
    if (QDir::isAbsolutePath(configured)) {
        return configured;
    }
    return QDir::homePath() + QStringLiteral("/.config");
}

QMutex& facadeMutex() {
    static QMutex mutex;
    return mutex;
}

std::optional<QString>& facadeCache() {
    static std::optional<QString> cache;
    return cache;
}

bool desktopPrefersDark() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return zq::utility::prefersDark(
        zq::utility::portalColorScheme(bus),
        zq::utility::desktopOwnAppearance(zq::utility::currentDesktops()));
}

// Writes {"key": "0"} to the probe atomically and removes it again. The
// bundle folder must exist: the probe never creates one.
bool probeWrite(const char* designPath) {
    const QString path = zq::utility::expandProductPath(QString::fromUtf8(designPath));
    if (!QFileInfo(QFileInfo(path).absolutePath()).isDir()) {
        return false;
    }
    if (!platform::Plist::writeFile(path,
                                    QVariantMap{{QStringLiteral("key"), QStringLiteral("0")}})) {
        return false;
    }
    QFile::remove(path);
    return true;
}

// One request to the ScreenCast portal: create a session, select a monitor,
// start (the desktop asks the user), and close the session once the user has
// answered. Each step waits for the portal's Response signal on the request
// object it names in advance; the object deletes itself at the end. The
// user's answer is waited for at most kUserAnswerBoundMs.
class ScreenCastRequest : public QObject {
    Q_OBJECT

public:
    static constexpr int kUserAnswerBoundMs = 10 * 60 * 1000;

    explicit ScreenCastRequest(const QDBusConnection& bus) : _bus(bus) {
        QTimer::singleShot(kUserAnswerBoundMs, this, &ScreenCastRequest::finish);
    }

    void begin() {
        const QString sessionToken = token();
        call(QStringLiteral("CreateSession"),
             {QVariant::fromValue(
                 QVariantMap{{QStringLiteral("session_handle_token"), sessionToken}})},
             &ScreenCastRequest::sessionCreated);
    }

private slots:
    void onResponse(uint response, const QVariantMap& results) {
        _bus.disconnect(kPortalService, _requestPath,
                        QStringLiteral("org.freedesktop.portal.Request"),
                        QStringLiteral("Response"), this, SLOT(onResponse(uint, QVariantMap)));
        const auto next = _next;
        _next = nullptr;
        if (response != 0 || !next) {
            finish();
            return;
        }
        (this->*next)(results);
    }

private:
    using Step = void (ScreenCastRequest::*)(const QVariantMap&);

    QString token() { return QStringLiteral("zq%1").arg(++_counter); }

    // Calls a ScreenCast method whose options get a fresh handle token; the
    // Response of the request object that token names leads to `next`.
    void call(const QString& method, QVariantList arguments, Step next) {
        const QString handleToken = token();
        QString sender = _bus.baseService().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        _requestPath = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                           .arg(sender, handleToken);
        _next = next;
        _bus.connect(kPortalService, _requestPath, QStringLiteral("org.freedesktop.portal.Request"),
                     QStringLiteral("Response"), this, SLOT(onResponse(uint, QVariantMap)));
        QVariantMap options = qvariant_cast<QVariantMap>(arguments.takeLast());
        options.insert(QStringLiteral("handle_token"), handleToken);
        arguments.append(options);
        QDBusMessage message = QDBusMessage::createMethodCall(kPortalService, kPortalPath,
                                                              kScreenCastInterface, method);
        message.setArguments(arguments);
        auto* watcher = new QDBusPendingCallWatcher(
            _bus.asyncCall(message, zq::utility::kDesktopQueryTimeoutMs), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher* w) {
                    w->deleteLater();
                    if (w->isError()) {
                        qCInfo(lcUtility) << "screen cast portal:" << w->error().message();
                        finish();
                    }
                });
    }

    void sessionCreated(const QVariantMap& results) {
        // A text in the portal's description; some portals send an object path.
        const QVariant handle = unwrapped(results.value(QStringLiteral("session_handle")));
        _session = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
                       ? qvariant_cast<QDBusObjectPath>(handle).path()
                       : handle.toString();
        if (_session.isEmpty()) {
            finish();
            return;
        }
        const QVariantMap options{{QStringLiteral("types"), uint(1)},
                                  {QStringLiteral("multiple"), false}};
        call(QStringLiteral("SelectSources"),
             {QVariant::fromValue(QDBusObjectPath(_session)), QVariant::fromValue(options)},
             &ScreenCastRequest::sourcesSelected);
    }

    void sourcesSelected(const QVariantMap&) {
        call(QStringLiteral("Start"),
             {QVariant::fromValue(QDBusObjectPath(_session)), QString(),
              QVariant::fromValue(QVariantMap())},
             &ScreenCastRequest::started);
    }

    // The user answered; no stream is ever used.
    void started(const QVariantMap&) { finish(); }

    void finish() {
        if (_finished) {
            return;
        }
        _finished = true;
        if (!_session.isEmpty()) {
            _bus.send(QDBusMessage::createMethodCall(
                kPortalService, _session, QStringLiteral("org.freedesktop.portal.Session"),
                QStringLiteral("Close")));
        }
        deleteLater();
    }

    QDBusConnection _bus;
    QString _requestPath;
    QString _session;
    Step _next = nullptr;
    int _counter = 0;
    bool _finished = false;
};

}  // namespace

// ---------------------------------------------------------------------------
// Desktop answers

namespace zq::utility {

SessionType currentSessionType() {
    const QByteArray type = qgetenv("XDG_SESSION_TYPE").toLower();
    if (type == "x11") {
        return SessionType::X11;
    }
    if (type == "wayland") {
        return SessionType::Wayland;
    }
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        return SessionType::Wayland;
    }
    if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        return SessionType::X11;
    }
    return SessionType::None;
}

std::optional<bool> accessibilityBusEnabled(const QDBusConnection& bus) {
    const std::optional<QVariant> value =
        property(bus, QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                 QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"));
    if (!value || value->typeId() != QMetaType::Bool) {
        return std::nullopt;
    }
    return value->toBool();
}

std::optional<uint> portalColorScheme(const QDBusConnection& bus) {
    QDBusMessage read = QDBusMessage::createMethodCall(
        kPortalService, kPortalPath, QStringLiteral("org.freedesktop.portal.Settings"),
        QStringLiteral("Read"));
    read << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    const std::optional<QVariantList> reply = ask(bus, read);
    if (!reply) {
        return std::nullopt;
    }
    const std::optional<uint> scheme = asUnsigned(unwrapped(reply->constFirst()));
    if (scheme && *scheme > 2) {
        return std::nullopt;  // a value the portal does not define
    }
    return scheme;
}

std::optional<uint> portalInterfaceVersion(const QDBusConnection& bus, const QString& interface) {
    return asUnsigned(
        property(bus, kPortalService, kPortalPath, interface, QStringLiteral("version")));
}

std::optional<uint> screenCastSourceTypes(const QDBusConnection& bus) {
    return asUnsigned(property(bus, kPortalService, kPortalPath, kScreenCastInterface,
                               QStringLiteral("AvailableSourceTypes")));
}

std::optional<QString> backgroundPermission(const QDBusConnection& bus, const QString& appId) {
    if (!portalInterfaceVersion(bus, kBackgroundInterface)) {
        return std::nullopt;
    }
    const QString store = QStringLiteral("org.freedesktop.impl.portal.PermissionStore");
    QDBusMessage lookup = QDBusMessage::createMethodCall(
        store, QStringLiteral("/org/freedesktop/impl/portal/PermissionStore"), store,
        QStringLiteral("Lookup"));
    lookup << QStringLiteral("background") << QStringLiteral("background");
    const std::optional<QVariantList> reply = ask(bus, lookup);
    if (!reply || reply->constFirst().metaType() != QMetaType::fromType<QDBusArgument>()) {
        return std::nullopt;
    }
    QMap<QString, QStringList> permissions;
    qvariant_cast<QDBusArgument>(reply->constFirst()) >> permissions;
    const QStringList decision = permissions.value(appId);
    if (decision.isEmpty()) {
        return std::nullopt;
    }
    return decision.constFirst();
}

DesktopAppearance desktopOwnAppearance(const QStringList& desktops) {
    DesktopAppearance own;
    const auto darkName = [](const QString& name) {
        return name.contains(QStringLiteral("dark"), Qt::CaseInsensitive);
    };
    if (desktops.contains(QStringLiteral("KDE"), Qt::CaseInsensitive)) {
        const QString path = configHome() + QStringLiteral("/kdeglobals");
        if (!platform::isReadableRegularFile(path, platform::ReadLimit::kConfiguration)) {
            return own;
        }
        const QSettings globals(path, QSettings::IniFormat);
        own.automatic = truthy(globals.value(QStringLiteral("KDE/AutomaticLookAndFeel")));
        // QSettings reads the [General] section as the top-level keys.
        QString scheme = globals.value(QStringLiteral("ColorScheme")).toString();
        if (scheme.isEmpty()) {
            scheme = globals.value(QStringLiteral("KDE/LookAndFeelPackage")).toString();
        }
        if (!scheme.isEmpty()) {
            own.dark = darkName(scheme);
        }
        return own;
    }
    for (const char* version : {"gtk-4.0", "gtk-3.0"}) {
        const QString path = configHome() + QLatin1Char('/') + QString::fromLatin1(version) +
                             QStringLiteral("/settings.ini");
        if (!platform::isReadableRegularFile(path, platform::ReadLimit::kConfiguration)) {
            continue;
        }
        const QSettings gtk(path, QSettings::IniFormat);
        const QVariant prefer =
            gtk.value(QStringLiteral("Settings/gtk-application-prefer-dark-theme"));
        const QString theme = gtk.value(QStringLiteral("Settings/gtk-theme-name")).toString();
        if (prefer.isValid() || !theme.isEmpty()) {
            own.dark = truthy(prefer) || darkName(theme);
            return own;
        }
    }
    return own;
}

bool screenRecordAllowed(SessionType session, std::optional<uint> sourceTypes) {
    switch (session) {
        case SessionType::X11:
            return true;
        case SessionType::Wayland:
            return sourceTypes.has_value() && (*sourceTypes & 1u) != 0;
        case SessionType::None:
            break;
    }
    return false;
}

bool prefersDark(std::optional<uint> colorScheme, const DesktopAppearance& own) {
    if (colorScheme == 1u) {
        return true;
    }
    if (colorScheme == 2u) {
        return false;
    }
    return own.dark.value_or(false);
}

qint64 facadeSetting(std::optional<uint> colorScheme, const DesktopAppearance& own) {
    if (own.automatic) {
        return 2;
    }
    return prefersDark(colorScheme, own) ? 1 : 0;
}

bool requiresBackgroundApproval(const QString& appId) {
    return backgroundPermission(QDBusConnection::sessionBus(), appId) == QStringLiteral("no");
}

DesktopPermissions currentDesktopPermissions() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    DesktopPermissions p;
    p.session = currentSessionType();
    p.accessibility = accessibilityBusEnabled(bus).value_or(false);
    p.screenRecording = screenRecordAllowed(
        p.session, p.session == SessionType::Wayland ? screenCastSourceTypes(bus) : std::nullopt);
    p.appWrite = hasAppWriteAuth();
    p.serviceNeedsApproval = backgroundPermission(bus, QString::fromLatin1(kServiceAppId)) == u"no";
    p.taskManagerNeedsApproval =
        backgroundPermission(bus, QString::fromLatin1(kTaskManagerAppId)) == u"no";
    const std::optional<uint> scheme = portalColorScheme(bus);
    const DesktopAppearance own = desktopOwnAppearance(currentDesktops());
    p.appearanceSetting = facadeSetting(scheme, own);
    p.dark = prefersDark(scheme, own);
    return p;
}

void queryDesktopPermissions(QObject* context,
                             std::function<void(const DesktopPermissions&)> done) {
    auto promise = std::make_shared<QPromise<DesktopPermissions>>();
    QFuture<DesktopPermissions> future = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([promise] {
        promise->addResult(currentDesktopPermissions());
        promise->finish();
    });
    future.then(context, [done](const DesktopPermissions& permissions) {
        if (done) {
            done(permissions);
        }
    });
}

}  // namespace zq::utility

// ---------------------------------------------------------------------------
// The input method's functions

bool isAccessibilityEnabled() {
    return zq::utility::accessibilityBusEnabled(QDBusConnection::sessionBus()).value_or(false);
}

bool openAccessibilityPane() {
    if (isAccessibilityEnabled()) {
        return true;
    }
    if (isVeskoProcessExist(kSystemSettingsProcess)) {
        zq::utility::openSettingsPane(QString::fromUtf8(zq::utility::kSecurityPaneFile));
    }
    zq::utility::openSettingsPane(QString::fromUtf8(zq::utility::kAccessibilityPrivacyAddress));
    return true;
}

bool isScreenRecordEnabled() {
    const zq::utility::SessionType session = zq::utility::currentSessionType();
    if (session != zq::utility::SessionType::Wayland) {
        return zq::utility::screenRecordAllowed(session, std::nullopt);
    }
    return zq::utility::screenRecordAllowed(
        session, zq::utility::screenCastSourceTypes(QDBusConnection::sessionBus()));
}

void sendTriggerScreenCapture() {
    if (zq::utility::currentSessionType() != zq::utility::SessionType::Wayland) {
        return;  // X11 needs no permission; without a session there is no screen
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!zq::utility::screenCastSourceTypes(bus)) {
        return;
    }
    (new ScreenCastRequest(bus))->begin();
}

bool hasAppWriteAuth() {
    const bool root = probeWrite(zq::utility::kWriteProbeRoot);
    const bool contents = probeWrite(zq::utility::kWriteProbeContents);
    return root && contents;
}

void resetFacadeMode() {
    // Both of the input method's sources (the application's effective
    // appearance, the global interface style) are the desktop's colour
    // preference here, so a first and a renewed decision ask the same.
    const QString decision =
        desktopPrefersDark() ? QStringLiteral("dark") : QStringLiteral("light");
    QMutexLocker lock(&facadeMutex());
    facadeCache() = decision;
}

void resetFacadeModeParamNil() {
    QMutexLocker lock(&facadeMutex());
    facadeCache().reset();
}

bool hasDarkMode(qint64 mode) {
    if (mode == 2) {
        return true;
    }
    if (mode != 0) {
        return false;
    }
    {
        QMutexLocker lock(&facadeMutex());
        if (facadeCache()) {
            return *facadeCache() == u"dark";
        }
    }
    resetFacadeMode();
    QMutexLocker lock(&facadeMutex());
    return facadeCache() == QStringLiteral("dark");
}

qint64 sysFacadePreferenceSetting() {
    return zq::utility::facadeSetting(
        zq::utility::portalColorScheme(QDBusConnection::sessionBus()),
        zq::utility::desktopOwnAppearance(zq::utility::currentDesktops()));
}

bool hasSkinDarkMode(const QString& skinName, qint64 mode) {
    if (!skinName.endsWith(QString::fromUtf8(zq::utility::kDefaultSkinSuffix))) {
        return false;
    }
    return hasDarkMode(mode);
}

#include "ZQPermissions.moc"
