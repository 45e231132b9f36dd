#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>
#include <QVariantMap>

#include <memory>

namespace zq::test {

// The reference web service (tools/refservice) as a test fixture: started on a
// free loopback port with its own data folder, a deployment configuration
// written for it (every host points at it, VESKO_CONFIG names the file and
// platform::Configuration is reloaded), faults set and the journal read
// through its control endpoints, stopped by stop() or the destructor.
//
// The control calls are short blocking exchanges over a loopback socket, so
// they run no event loop and may be made from any thread.
//
//   zq::test::RefService service;
//   QVERIFY2(service.start(), qPrintable(service.errorString()));
//   service.setFault("/mac_feed_tpl", "status", {{"status", 503}});
//   ... run the code under test ...
//   const QJsonArray requests = service.entries("/mac_feed_tpl");
class RefService {
public:
    RefService() = default;
    ~RefService() { stop(); }
    RefService(const RefService&) = delete;
    RefService& operator=(const RefService&) = delete;

    // Starts the service and installs the configuration. False, with
    // errorString(), when the service could not be started within 20 seconds.
    [[nodiscard]] bool start();
    void stop();
    QString errorString() const { return _error; }

    quint16 port() const { return _port; }
    // "http://127.0.0.1:PORT"
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(_port); }
    // baseUrl() + pathAndQuery ("/mac_feed_tpl?h=1").
    QString url(const QString& pathAndQuery) const { return baseUrl() + pathAndQuery; }
    QString dataDir() const { return file(QStringLiteral("data")); }
    QString journalPath() const { return file(QStringLiteral("journal.jsonl")); }
    QString configPath() const { return file(QStringLiteral("ZQAssistPanel.ini")); }

    // Adds one configuration entry ("Analytics/Enabled" = "false"), rewrites
    // the file and reloads the configuration.
    void setConfigValue(const QString& key, const QString& value);

    // Injects a fault for one endpoint path ("/q", "/mac_feed_tpl", or "*"):
    // fault is one of delay, status, empty, garbage, truncate, close, drop,
    // answer; options carry its settings ("ms", "status", "count", "json",
    // "body", "body_base64", "content_type", "raw"). See docs/refservice.md.
    bool setFault(const QString& path, const QString& fault, const QVariantMap& options = {});
    bool clearFaults() { return succeeds("DELETE", QStringLiteral("/__control/faults")); }

    // Replaces the help list the service publishes ("{base}" in a text stands
    // for the service's address); resetHelpList() restores the built-in list.
    bool setHelpList(const QJsonObject& list);
    bool resetHelpList() { return succeeds("DELETE", QStringLiteral("/__control/helplist")); }

    // Sequence number of the last journal entry; pass it to journal() or
    // entries() to see only what came afterwards.
    qint64 mark();
    // Journal entries newer than `since`, oldest first.
    QJsonArray journal(qint64 since = 0);
    // Entries newer than `since` whose endpoint (the decrypted address's path
    // for requests through the wall) is `endpoint`.
    QJsonArray entries(const QString& endpoint, qint64 since = 0);

    // Analytics events the service accepted (each {"received", "event"}).
    QJsonArray analyticsEvents();
    bool clearAnalytics() { return succeeds("DELETE", QStringLiteral("/__control/analytics")); }

    // One control exchange: method, path (with query) and JSON body; the
    // answer's JSON object, or an empty object (and errorString()) on failure.
    QJsonObject control(const QByteArray& method, const QString& path, const QByteArray& body = {});

private:
    bool launch();
    bool writeConfig();
    QString file(const QString& name) const { return _dir ? _dir->filePath(name) : QString(); }
    // control() whose answer says "ok".
    bool succeeds(const QByteArray& method, const QString& path, const QByteArray& body = {}) {
        return control(method, path, body).value(QStringLiteral("ok")).toBool();
    }

    std::unique_ptr<QTemporaryDir> _dir;
    std::unique_ptr<QProcess> _process;
    quint16 _port = 0;
    QString _error;
    QVariantMap _extraConfig;
    QByteArray _previousConfig;
    bool _hadPreviousConfig = false;
};

}  // namespace zq::test
