#pragma once

class ZQPageReporter;

namespace zq::pages {

// The application's analytics reporter for the pages: loaded from
// PlugIns/ZQPageAnalytics.so on the first call and kept; null (with a warning
// under vesko.pagewidgets) when the module is missing or cannot be loaded.
// Call it once the page's window has been painted.
ZQPageReporter* pageReporter();

}  // namespace zq::pages
