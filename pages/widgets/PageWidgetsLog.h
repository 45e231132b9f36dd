#pragma once

#include <QLoggingCategory>

// Diagnostics of the page windows ("vesko.pagewidgets").
Q_DECLARE_LOGGING_CATEGORY(lcPageWidgets)
