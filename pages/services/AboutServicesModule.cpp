// The About and evaluation pages' services (ZQAboutServices), over the public
// store and the evaluation service calls.
#include "help/ZQHelpListInfoDataManager.h"
#include "pages/models/ZQAboutServices.h"
#include "stats/ZQPubStatistician.h"

#include <QObject>

class AboutServicesModule : public QObject, public ZQAboutServices {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ZQAboutServices_iid FILE "ZQAboutServices.json")
    Q_INTERFACES(ZQAboutServices)
public:
    void setPubDataValue(const QVariant& value, const QString& key) override {
        ZQPubStatistician::setPubDataValue(value, key);
    }
    void getScoringOverviewData(QObject* context, OverviewCompletion completion) override {
        ZQHelpListInfoDataManager::getScoringOverviewData(
            context, [completion = std::move(completion)](const zq::net::OptionalError& error,
                                                          bool success, const QVariant& data) {
                if (!error && success) {
                    completion(data);
                }
            });
    }
    void submitUserEvaluation(const QString& comment, qint64 score, QObject* context,
                              ResultCompletion completion) override {
        ZQHelpListInfoDataManager::submitUserEvaluationWithContactInfo(
            comment, score, context,
            [completion = std::move(completion)](const zq::net::OptionalError& error,
                                                 bool success) { completion(!error, success); });
    }
};

#include "AboutServicesModule.moc"
