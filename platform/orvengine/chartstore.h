// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orgchartinfo.h"

#include <QHash>
#include <QPair>
#include <vector>

/// The data behind both chart managers: schools (or companies), their department trees and employees.
template<typename Employee>
class ChartStore
{
public:
    using EmployeePtr = std::shared_ptr<Employee>;

    std::vector<Org::SchoolInfoPtr> schools() const { return m_schools; }
    Org::SchoolInfoPtr findSchool(quint64 sid) const
    {
        for (const auto &s : m_schools) {
            if (s->id() == sid)
                return s;
        }
        return {};
    }
    /// Sub-departments of departmentId (0 = the top level), in insertion order.
    std::vector<Org::DepartmentInfoPtr> departments(quint64 sid, quint64 departmentId) const
    {
        return m_departments.value(qMakePair(sid, departmentId));
    }
    std::vector<EmployeePtr> employees(quint64 sid, quint64 departmentId) const
    {
        return m_employees.value(qMakePair(sid, departmentId));
    }
    EmployeePtr findEmployee(quint64 sid, quint64 uid) const { return m_byUid.value(qMakePair(sid, uid)); }

    void addSchool(const Org::SchoolInfoPtr &school)
    {
        removeSchool(school->id());
        m_schools.push_back(school);
    }
    void addDepartment(const Org::DepartmentInfoPtr &d)
    {
        m_departments[qMakePair(d->schoolId(), d->parentId())].push_back(d);
    }
    void addEmployee(const EmployeePtr &e)
    {
        m_employees[qMakePair(e->schoolId(), e->departmentId())].push_back(e);
        m_byUid.insert(qMakePair(e->schoolId(), e->uid()), e);
    }
    void removeSchool(quint64 sid)
    {
        for (auto it = m_schools.begin(); it != m_schools.end(); ++it) {
            if ((*it)->id() == sid) {
                m_schools.erase(it);
                break;
            }
        }
        auto dropKeys = [sid](auto &hash) {
            for (auto it = hash.begin(); it != hash.end();)
                it = it.key().first == sid ? hash.erase(it) : std::next(it);
        };
        dropKeys(m_departments);
        dropKeys(m_employees);
        dropKeys(m_byUid);
    }
    void clear()
    {
        m_schools.clear();
        m_departments.clear();
        m_employees.clear();
        m_byUid.clear();
    }

private:
    std::vector<Org::SchoolInfoPtr> m_schools;
    QHash<QPair<quint64, quint64>, std::vector<Org::DepartmentInfoPtr>> m_departments;
    QHash<QPair<quint64, quint64>, std::vector<EmployeePtr>> m_employees;
    QHash<QPair<quint64, quint64>, EmployeePtr> m_byUid;
};
