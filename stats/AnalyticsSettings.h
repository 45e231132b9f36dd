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
// The user's file holds only this choice and is read afresh at every use, so
// a choice made by another process takes effect at the next event or send.
// A value other than true/yes/on/1 or false/no/off/0 counts as "off".
namespace zq::stats {

// "<IM user folder>/analytics.ini".
QString analyticsUserSettingsPath();

// The user's choice: true, false, or none when the user has not chosen.
std::optional<bool> analyticsUserChoice();

// Records the user's choice (atomically), or with none forgets it (removes
// the file). Returns false when the file could not be written or removed.
bool setAnalyticsUserChoice(std::optional<bool> enabled);

// The deployment switch and the user's choice together.
bool analyticsEnabled();

}  // namespace zq::stats
