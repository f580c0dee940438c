// SPDX-License-Identifier: LGPL-2.1-or-later
#include "examupload_logging.h"

Q_LOGGING_CATEGORY(lcExamUpload, "orv.common.exam", QtInfoMsg)
Q_LOGGING_CATEGORY(lcQrUpload, "orv.common.qrupload", QtInfoMsg)
