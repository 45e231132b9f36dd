#pragma once

#include <QLoggingCategory>

// Diagnostics of the crypto library ("vesko.crypto"), separate from the run log.
Q_DECLARE_LOGGING_CATEGORY(lcCrypto)
