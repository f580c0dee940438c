#pragma once
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcContacts)
Q_DECLARE_LOGGING_CATEGORY(lcOrvCommon)
