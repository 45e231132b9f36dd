#include "pages/widgets/PageWidgetsLog.h"

Q_LOGGING_CATEGORY(lcPageWidgets, "vesko.pagewidgets")
