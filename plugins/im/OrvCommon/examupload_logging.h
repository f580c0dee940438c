// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once
#include <QLoggingCategory>

/// Exam images: shrinking, the upload keeper and its uploads.
Q_DECLARE_LOGGING_CATEGORY(lcExamUpload)
/// Photos from a phone by QR code.
Q_DECLARE_LOGGING_CATEGORY(lcQrUpload)
