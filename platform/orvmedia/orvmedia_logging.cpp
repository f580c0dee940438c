// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvmedia_logging.h"

Q_LOGGING_CATEGORY(lcOrvMedia, "orv.media", QtInfoMsg)
