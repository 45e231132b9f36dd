// The analytics reporter of the page windows (PlugIns/ZQPageAnalytics.so):
// the shared analytics tool behind the pages' reporter interface.
#include "pages/models/ZQPageReporter.h"
#include "stats/ZQTesselReportTool.h"

#include <QObject>

class PageAnalyticsModule : public QObject, public ZQPageReporter {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQPageReporter_iid)
    Q_INTERFACES(ZQPageReporter)
public:
    void reportDataWithEventCode(const QString& code, const QVariantMap& params) override {
        ZQTesselReportTool::sharedInstance()->reportDataWithEventCode(code, params);
    }
};

#include "PageAnalyticsModule.moc"
