// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orgchartinfo.h"

#include <QHash>
#include <QObject>

namespace Org {

/// Reference school-settings manager: the service version of each school.
class SchoolSettingManager : public QObject
{
    Q_OBJECT
public:
    static SchoolSettingManager *getInstance();
    static void release();

    /// The method name keeps the platform's missing letter. Empty when nothing is known yet.
    virtual SchoolSettingInfoPtr getShoolSettingInfo(quint64 sid, bool fetchIfMissing = false) const;
    void setSchoolSetting(quint64 sid, const SchoolSettingInfoPtr &info);
    /// A fetch that failed: the signal carries the error and the stored setting stays.
    void failSchoolSetting(quint64 sid, int errorNo, int subCode, const QString &error);

Q_SIGNALS:
    void getSchoolSettingFinished(quint64 sid, int errorNo, int subCode, const QString &error);

protected:
    SchoolSettingManager() = default;

private:
    QHash<quint64, SchoolSettingInfoPtr> m_settings;
    static SchoolSettingManager *s_instance;
};

} // namespace Org
