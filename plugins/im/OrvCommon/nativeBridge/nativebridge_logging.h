// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once
#include <QLoggingCategory>

/// Page calls into the bridges and their answers.
Q_DECLARE_LOGGING_CATEGORY(lcBridge)
