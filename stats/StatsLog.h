#pragma once

#include <QLoggingCategory>

// Diagnostics of the statistics subsystem (not the product's run log).
Q_DECLARE_LOGGING_CATEGORY(lcStats)
