#include "stats/StatsLog.h"

Q_LOGGING_CATEGORY(lcStats, "vesko.stats", QtInfoMsg)
