#include "orvengine_logging.h"

Q_LOGGING_CATEGORY(lcOrvEngine, "orv.engine", QtInfoMsg)
