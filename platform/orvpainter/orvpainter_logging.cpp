// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpainter_logging.h"

Q_LOGGING_CATEGORY(lcOrvPainter, "orv.painter", QtInfoMsg)
