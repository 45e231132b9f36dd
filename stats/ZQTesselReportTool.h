#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

class TesselReport;

// What the pages call to report a user action: adds the machine's common
// fields to the page's parameters and hands the event to the analytics client.
//
// Common parameters (text; an absent value is empty text; a page parameter of
// the same name is overwritten):
//   "mac_os" GetSystemVersion(), "mac_v" GetInputMethodVersion(),
//   "mac_model" GetHardwareModel(), "mac_h" GetUUID(), "mac_r" GetQuDao().
class ZQTesselReportTool {
public:
    // The application key, given to the client at start and with every event.
    static constexpr const char* kAppKey = "7TQW2K5XPLM9D3EA";

    // The process-wide tool over TesselReport::sharedInstance(), created (and
    // the client started) on first use.
    static ZQTesselReportTool* sharedInstance();

    // A tool over the given client (not owned), started at once with
    // initTesselSDK(); the storage folder is the analytics folder unless given.
    explicit ZQTesselReportTool(TesselReport* reporter, const QString& storageFolder = {});

    // The analytics folder "~/Library/Application Support/Vesko/InputMethod/Tessel/", expanded.
    static QString storageFolder();

    // A real-time event.
    void reportDataWithEventCode(const QString& code, const std::optional<QVariantMap>& params);
    // A real-time event (same as reportDataWithEventCode).
    void reportRealTimeWithEventCode(const QString& code, const std::optional<QVariantMap>& params);
    // A normal (batched) event.
    void reportNormalWithEventCode(const QString& code, const std::optional<QVariantMap>& params);

    // A copy of `params` (or an empty dictionary) with the five common keys set.
    QVariantMap addedCommonRequestParams(const std::optional<QVariantMap>& params) const;

    // Creates the storage folder, gives it to the client with the device
    // identifier, sets quiet logging and starts the client with the application key.
    void initTesselSDK();

    TesselReport* reporter() const { return _reporter; }

private:
    TesselReport* _reporter;
    QString _storageFolder;
};
