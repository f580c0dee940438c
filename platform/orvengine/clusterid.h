// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHashFunctions>
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <vector>

namespace OrvEngine {

/// The kind of thing a ClusterID names. The numbers are the engines' and must not change.
enum ClusterType : qint32 {
    Class = 0,         ///< class (course) chat; also a course id in the contacts tree
    User = 1,          ///< a single user
    Group = 2,         ///< a group chat that is not a class
    Assistant = 4,     ///< an assistant (service) account
    Unlisted = 97,     ///< never listed in contacts or recent chats
    SchoolStaff = 98,  ///< employee of a school chart, id = uid
    OrgStaff = 99,     ///< person by uid outside any chat (company employee, ad-hoc list)
    Local = 100,       ///< node that exists only in the library (heading, school, department)
    UnknownType = -1,
};

bool isKnownClusterType(qint32 type);

/// Identity of anything that can be chatted with, listed or selected.
class ClusterID
{
public:
    ClusterID() = default;
    ClusterID(quint64 id, ClusterType type) : m_id(id), m_type(type) {}

    quint64 id() const { return m_id; }
    ClusterType type() const { return m_type; }
    bool isUnknowType() const { return !isKnownClusterType(m_type); }

    bool operator==(const ClusterID &o) const { return m_id == o.m_id && m_type == o.m_type; }
    bool operator!=(const ClusterID &o) const { return !(*this == o); }
    bool operator<(const ClusterID &o) const
    {
        return m_type != o.m_type ? m_type < o.m_type : m_id < o.m_id;
    }
    operator QVariant() const { return QVariant::fromValue(*this); }

    /// "type:id", e.g. "1:10001"; unknown type prints as "-1:0".
    QString toString() const;

private:
    quint64 m_id = 0;
    ClusterType m_type = UnknownType;
};

inline uint qHash(const ClusterID &id, uint seed = 0) noexcept
{
    return ::qHash(id.id(), seed) ^ uint(id.type());
}

/// Registers ClusterID and its list types for queued connections. Safe to call more than once.
void registerMetaTypes();

} // namespace OrvEngine

Q_DECLARE_METATYPE(OrvEngine::ClusterID)
Q_DECLARE_METATYPE(QList<OrvEngine::ClusterID>)
Q_DECLARE_METATYPE(std::vector<OrvEngine::ClusterID>)
Q_DECLARE_METATYPE(std::vector<quint64>)
