#include "pages/models/PageModelsLog.h"

Q_LOGGING_CATEGORY(lcPages, "vesko.pagemodels")
