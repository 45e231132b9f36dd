#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QtPlugin>

#include <functional>

// What the About and evaluation pages ask of other subsystems once they are
// on screen, besides analytics: the public store and the evaluation service
// calls. These live in a module of their own ("ZQAboutServices.so" among the
// application's plug-ins), loaded on first use, so that the libraries behind
// them (Qt Network, Qt SQL, OpenSSL, the help library) are not loaded before
// the About window has been painted. Analytics events go, as every page's
// do, through the pages' reporter (ZQPageReporter, PlugIns/ZQPageAnalytics.so).
class ZQAboutServices {
public:
    // (no transport error, the service reported success)
    using ResultCompletion = std::function<void(bool delivered, bool success)>;
    // The overview object; called only for a successful answer.
    using OverviewCompletion = std::function<void(const QVariant& data)>;

    virtual ~ZQAboutServices() = default;

    // ZQPubStatistician::setPubDataValue. Any thread.
    virtual void setPubDataValue(const QVariant& value, const QString& key) = 0;
    // ZQHelpListInfoDataManager's evaluation calls; completions on the main
    // thread, unless `context` is gone by then. Main thread.
    virtual void getScoringOverviewData(QObject* context, OverviewCompletion completion) = 0;
    virtual void submitUserEvaluation(const QString& comment, qint64 score, QObject* context,
                                      ResultCompletion completion) = 0;
};

#define ZQAboutServices_iid "com.vesko.ZQAssistPanel.AboutServices/2"
Q_DECLARE_INTERFACE(ZQAboutServices, ZQAboutServices_iid)

namespace zq::pages {

// The module, loaded on the first call (main thread) and kept loaded; null,
// with a warning, when it is missing or cannot be loaded.
ZQAboutServices* aboutServices();

}  // namespace zq::pages
