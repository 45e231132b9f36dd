#pragma once

#include <QString>
#include <QVariantMap>
#include <QtPlugin>

// How a page model reports an analytics event: the event code and the page's
// own parameters (the reporter adds the machine's common fields). The
// application's reporter is the root object of a module of its own,
// PlugIns/ZQPageAnalytics.so, which a page loads once its window has been
// painted: the analytics client brings Qt Network, Qt SQL and OpenSSL with it,
// and no page needs them to paint.
class ZQPageReporter {
public:
    virtual ~ZQPageReporter() = default;
    // A real-time event.
    virtual void reportDataWithEventCode(const QString& code, const QVariantMap& params) = 0;
};

#define ZQPageReporter_iid "com.vesko.ZQAssistPanel.PageReporter/1"
Q_DECLARE_INTERFACE(ZQPageReporter, ZQPageReporter_iid)
