// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPixmap>
#include <QString>
#include <memory>

// Records of the organisation chart (companies) and of the school chart. Both charts have the
// same shape: a school or company, a tree of departments, employees in departments.
namespace Org {

class SchoolInfo
{
public:
    SchoolInfo(quint64 id, const QString &name) : m_id(id), m_name(name) {}
    quint64 id() const { return m_id; }
    QString name() const { return m_name; }
    void setName(const QString &v) { m_name = v; }

private:
    quint64 m_id;
    QString m_name;
};

class DepartmentInfo
{
public:
    DepartmentInfo(quint64 id, quint64 schoolId, quint64 parentId, const QString &name, int order)
        : m_id(id), m_schoolId(schoolId), m_parentId(parentId), m_name(name), m_order(order) {}
    quint64 id() const { return m_id; }
    quint64 schoolId() const { return m_schoolId; }
    quint64 parentId() const { return m_parentId; }
    QString name() const { return m_name; }
    int order() const { return m_order; }

private:
    quint64 m_id;
    quint64 m_schoolId;
    quint64 m_parentId;
    QString m_name;
    int m_order;
};

class EmployeeInfo
{
public:
    EmployeeInfo(quint64 uid, quint64 schoolId, quint64 departmentId, const QString &name)
        : m_uid(uid), m_schoolId(schoolId), m_departmentId(departmentId), m_name(name) {}
    quint64 uid() const { return m_uid; }
    quint64 schoolId() const { return m_schoolId; }
    quint64 departmentId() const { return m_departmentId; }
    QString name() const { return m_name; }
    void setName(const QString &v) { m_name = v; }

private:
    quint64 m_uid;
    quint64 m_schoolId;
    quint64 m_departmentId;
    QString m_name;
};

enum class SchoolServiceVersion : int { Unknown = 0, Basic = 1, Standard = 2, Professional = 3, Flagship = 4 };

class SchoolSettingInfo
{
public:
    explicit SchoolSettingInfo(SchoolServiceVersion v = SchoolServiceVersion::Unknown) : m_version(v) {}
    SchoolServiceVersion getSchoolServiceVersion() const { return m_version; }
    void setSchoolServiceVersion(SchoolServiceVersion v) { m_version = v; }

private:
    SchoolServiceVersion m_version;
};

using SchoolInfoPtr = std::shared_ptr<SchoolInfo>;
using DepartmentInfoPtr = std::shared_ptr<DepartmentInfo>;
using EmployeeInfoPtr = std::shared_ptr<EmployeeInfo>;
using SchoolSettingInfoPtr = std::shared_ptr<SchoolSettingInfo>;

} // namespace Org

namespace SchoolChart {

using SchoolInfo = Org::SchoolInfo;
using DepartmentInfo = Org::DepartmentInfo;

/// A school-chart employee also carries the avatar the chart synced for them.
class EmployeeInfo : public Org::EmployeeInfo
{
public:
    using Org::EmployeeInfo::EmployeeInfo;
    QPixmap avatar() const { return m_avatar; }
    void setAvatar(const QPixmap &p) { m_avatar = p; }

private:
    QPixmap m_avatar;
};

using SchoolInfoPtr = std::shared_ptr<SchoolInfo>;
using DepartmentInfoPtr = std::shared_ptr<DepartmentInfo>;
using EmployeeInfoPtr = std::shared_ptr<EmployeeInfo>;

} // namespace SchoolChart
