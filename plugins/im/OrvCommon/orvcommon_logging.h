// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcOrvCommon)
Q_DECLARE_LOGGING_CATEGORY(lcContacts)
Q_DECLARE_LOGGING_CATEGORY(lcHub)
Q_DECLARE_LOGGING_CATEGORY(lcPopups)
Q_DECLARE_LOGGING_CATEGORY(lcScreenshot)
