#include "net/NetLog.h"

Q_LOGGING_CATEGORY(lcNet, "vesko.net", QtWarningMsg)
