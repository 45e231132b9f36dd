#pragma once

#include <QLoggingCategory>

// Diagnostics of the platform layer ("vesko.platform").
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
