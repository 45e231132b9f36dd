#pragma once

#include <QLoggingCategory>

// Diagnostics of the networking library ("vesko.net"), separate from the run log.
Q_DECLARE_LOGGING_CATEGORY(lcNet)
