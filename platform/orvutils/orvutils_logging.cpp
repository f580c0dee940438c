#include "orvutils_logging.h"

Q_LOGGING_CATEGORY(lcOrvUtils, "orv.utils", QtInfoMsg)
