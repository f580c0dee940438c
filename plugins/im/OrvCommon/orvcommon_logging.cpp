#include "orvcommon_logging.h"

Q_LOGGING_CATEGORY(lcContacts, "orv.common.contacts", QtInfoMsg)
Q_LOGGING_CATEGORY(lcOrvCommon, "orv.common", QtInfoMsg)
