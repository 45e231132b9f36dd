#pragma once

#include <QLoggingCategory>

// Diagnostics of the page models ("vesko.pagemodels").
Q_DECLARE_LOGGING_CATEGORY(lcPages)
