// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chartstore.h"

#include <QObject>

/// Reference school chart: the schools the signed-in user belongs to, departments and staff.
class SchoolChartManager : public QObject
{
    Q_OBJECT
public:
    static SchoolChartManager *instance();
    static void release();

    virtual std::vector<SchoolChart::SchoolInfoPtr> getSchoolInfos() const { return m_store.schools(); }
    virtual SchoolChart::SchoolInfoPtr findSchoolInfo(quint64 sid) const { return m_store.findSchool(sid); }
    virtual std::vector<SchoolChart::DepartmentInfoPtr> getDepartmentInfos(quint64 sid, quint64 departmentId) const
    {
        return m_store.departments(sid, departmentId);
    }
    virtual std::vector<SchoolChart::EmployeeInfoPtr> getEmployeeInfos(quint64 sid, quint64 departmentId) const
    {
        return m_store.employees(sid, departmentId);
    }
    /// Note the argument order: uid first, as the chart's own API has it.
    virtual SchoolChart::EmployeeInfoPtr findEmployeeInfo(quint64 uid, quint64 sid) const { return m_store.findEmployee(sid, uid); }
    /// Whether syncComplete was already emitted (before a late listener connected).
    bool hasSendedSyncComplete() const { return m_sentSyncComplete; }

    ChartStore<SchoolChart::EmployeeInfo> &store() { return m_store; }
    void completeSync();
    void completeAvatarSync();
    /// Forgets that the chart was synced, as on a new sign-in.
    void resetSync() { m_sentSyncComplete = false; }
    void clear();

Q_SIGNALS:
    void syncComplete();
    void avatarSyncComplete();

protected:
    SchoolChartManager() = default;

private:
    ChartStore<SchoolChart::EmployeeInfo> m_store;
    bool m_sentSyncComplete = false;
    static SchoolChartManager *s_instance;
};
