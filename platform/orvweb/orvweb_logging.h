// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcOrvWeb)
/// console.* output of pages, with the page's address and line
Q_DECLARE_LOGGING_CATEGORY(lcOrvWebConsole)
