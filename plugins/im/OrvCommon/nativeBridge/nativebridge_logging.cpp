// SPDX-License-Identifier: LGPL-2.1-or-later
#include "nativebridge_logging.h"

Q_LOGGING_CATEGORY(lcBridge, "orv.common.bridge", QtInfoMsg)
