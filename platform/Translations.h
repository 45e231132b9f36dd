#pragma once

class QCoreApplication;

namespace platform {

// Loads the compiled text catalogue (":/i18n/zh_CN.qm", linked in with the
// `resources` object library) into the application, so that qtTrId() returns
// the system's Chinese texts. Returns false when no catalogue is linked in.
bool installTranslations(QCoreApplication* app);

}  // namespace platform
