// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvcommon_logging.h"

Q_LOGGING_CATEGORY(lcOrvCommon, "orv.common", QtInfoMsg)
Q_LOGGING_CATEGORY(lcContacts, "orv.common.contacts", QtInfoMsg)
Q_LOGGING_CATEGORY(lcHub, "orv.common.hub", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPopups, "orv.common.popups", QtInfoMsg)
Q_LOGGING_CATEGORY(lcJoin, "orv.common.join", QtInfoMsg)
Q_LOGGING_CATEGORY(lcAccount, "orv.common.account", QtInfoMsg)
Q_LOGGING_CATEGORY(lcScreenshot, "orv.common.screenshot", QtInfoMsg)
