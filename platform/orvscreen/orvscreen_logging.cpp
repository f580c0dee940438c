// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvscreen_logging.h"

Q_LOGGING_CATEGORY(lcOrvScreen, "orv.screen", QtInfoMsg)
