#pragma once

#include <QLoggingCategory>

// Diagnostics of the controls library ("vesko.controls"), separate from the
// product's run log.
Q_DECLARE_LOGGING_CATEGORY(lcControls)
