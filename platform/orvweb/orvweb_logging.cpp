// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvweb_logging.h"

Q_LOGGING_CATEGORY(lcOrvWeb, "orv.web", QtInfoMsg)
Q_LOGGING_CATEGORY(lcOrvWebConsole, "orv.web.console", QtInfoMsg)
