#pragma once

#include <QLoggingCategory>

// Diagnostics of the shell core ("vesko.shell").
Q_DECLARE_LOGGING_CATEGORY(lcShell)
