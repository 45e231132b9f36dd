#include "utility/UtilityLog.h"

Q_LOGGING_CATEGORY(lcUtility, "vesko.utility", QtInfoMsg)
