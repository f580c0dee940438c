#include "orvwebservice_logging.h"

Q_LOGGING_CATEGORY(lcOrvWebService, "orv.webservice", QtInfoMsg)
