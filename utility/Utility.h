#pragma once

// The environment utilities of the input method's shared client code: product
// locations, version and machine facts, device identity and channel, sibling
// applications and cross-process messages.

#include "log/ZQLogManager.h"
#include "utility/DeviceIdentity.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSiblingApps.h"
