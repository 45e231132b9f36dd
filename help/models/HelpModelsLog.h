#pragma once

#include <QLoggingCategory>

// Diagnostics of the help and feedback window models ("vesko.helpmodels").
Q_DECLARE_LOGGING_CATEGORY(lcHelpModels)
