#include "help/models/HelpModelsLog.h"

Q_LOGGING_CATEGORY(lcHelpModels, "vesko.helpmodels")
