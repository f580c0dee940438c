#include "orvhttp_logging.h"

Q_LOGGING_CATEGORY(lcOrvHttp, "orv.http", QtInfoMsg)
