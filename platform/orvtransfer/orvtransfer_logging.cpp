#include "orvtransfer_logging.h"

Q_LOGGING_CATEGORY(lcOrvTransfer, "orv.transfer", QtInfoMsg)
