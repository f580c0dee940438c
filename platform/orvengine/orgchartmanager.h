// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chartstore.h"

#include <QObject>

/// Reference organisation chart of the companies the signed-in user works for.
class OrgChartManager : public QObject
{
    Q_OBJECT
public:
    static OrgChartManager *instance();
    static void release();

    /// With joinedOnly, only the companies the signed-in user is an employee of.
    virtual std::vector<Org::SchoolInfoPtr> getSchoolInfos(bool joinedOnly) const;
    virtual Org::SchoolInfoPtr findSchoolInfo(quint64 sid) const { return m_store.findSchool(sid); }
    virtual std::vector<Org::DepartmentInfoPtr> getDepartmentInfos(quint64 sid, quint64 departmentId) const
    {
        return m_store.departments(sid, departmentId);
    }
    virtual std::vector<Org::EmployeeInfoPtr> getEmployeeInfos(quint64 sid, quint64 departmentId) const
    {
        return m_store.employees(sid, departmentId);
    }
    virtual Org::EmployeeInfoPtr findEmployeeInfo(quint64 sid, quint64 uid) const { return m_store.findEmployee(sid, uid); }
    virtual bool isEmployee(quint64 sid, quint64 uid) const { return m_store.findEmployee(sid, uid) != nullptr; }
    bool hasSyncedAll() const { return m_synced; }

    ChartStore<Org::EmployeeInfo> &store() { return m_store; }
    void completeSync();
    void completeSchoolSync(quint64 sid);
    /// Forgets that the chart was synced, as on a new sign-in.
    void resetSync() { m_synced = false; }
    void clear();

Q_SIGNALS:
    void allOrgSyncComplete();
    void schoolSyncComplete(quint64 sid);

protected:
    OrgChartManager() = default;

private:
    ChartStore<Org::EmployeeInfo> m_store;
    bool m_synced = false;
    static OrgChartManager *s_instance;
};
