#include "crypto/CryptoLog.h"

Q_LOGGING_CATEGORY(lcCrypto, "vesko.crypto")
