#pragma once

#include <QString>
#include <QVariant>

// Deployment configuration: one INI file. Looked for at $VESKO_CONFIG, else
// "ZQAssistPanel.ini" in the resource folder, else the embedded default
// (":/config/ZQAssistPanel.ini"), which points every service at the reference
// web service on loopback.
//
// Keys in use:
//   Service/Host          base address of the web service ("http://127.0.0.1:8731")
//   Service/WallHost      base address of the encrypted-wall gateway (defaults to Service/Host)
//   Service/PingbackHost  base address of the feedback and evaluation calls (defaults to
//   Service/Host) Service/UploadHost    base address of the file upload (defaults to Service/Host)
//   Web/Host              base address of the About links and the change-log page
//   Analytics/Endpoint    address the analytics client posts to
//   Analytics/Enabled     "true"/"false": the user's switch for analytics
//   Feedback/SupportEmail the maker's support address, offered by the feedback window
//   SettingsPanes.<desktop>/<name>, SettingsPanes/<name>  the settings-page table
//                         (utility/ZQSettingsPanes.h)
namespace platform::Configuration {

QVariant value(const QString& key, const QVariant& defaultValue = {});
QString string(const QString& key, const QString& defaultValue = {});
bool boolean(const QString& key, bool defaultValue);

QString serviceHost();
QString wallHost();
QString webHost();
QString analyticsEndpoint();
bool analyticsEnabled();
QString supportEmail();

// Drops the cached file so that the next read sees a changed VESKO_CONFIG (tests).
void reload();

}  // namespace platform::Configuration
