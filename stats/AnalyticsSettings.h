#pragma once

#include <QString>

#include <optional>

// The user's control over analytics. Analytics runs only when both agree:
//
//   deployment switch   "Analytics/Enabled" of the deployment configuration
//                       (platform::Configuration::analyticsEnabled(), default on)
//   user's choice       "Analytics/Enabled" in the user's own file
//                       "<IM user folder>/analytics.ini" (absent: no objection),
//                       written by `vesko-tool analytics enable|disable`
//
// When either is off, nothing is queued or sent and the queue is emptied.
// The user's file is re-read whenever it changes on disk, so a choice made by
// another process takes effect at the next event or send.
namespace zq::stats {

// "<IM user folder>/analytics.ini".
QString analyticsUserSettingsPath();

// The user's choice: true, false, or none when the user has not chosen.
std::optional<bool> analyticsUserChoice();

// Records (or, with none, forgets) the user's choice. Returns false when the
// file could not be written.
bool setAnalyticsUserChoice(std::optional<bool> enabled);

// The deployment switch and the user's choice together.
bool analyticsEnabled();

}  // namespace zq::stats
