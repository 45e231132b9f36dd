#pragma once

#include <QLoggingCategory>

// The utility library's diagnostics ("vesko.utility"; information and above by default).
Q_DECLARE_LOGGING_CATEGORY(lcUtility)
