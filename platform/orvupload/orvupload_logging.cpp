#include "orvupload_logging.h"

Q_LOGGING_CATEGORY(lcOrvUpload, "orv.upload", QtInfoMsg)
