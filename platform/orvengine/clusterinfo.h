// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

#include <QSet>
#include <QString>
#include <memory>
#include <vector>

namespace OrvEngine {

enum class ClusterStatus : int { Normal = 0, Dismissed = 1, Removed = 2 };
enum class Identity : int { Unknown = 0, Owner = 1, Admin = 2, Member = 3 };
/// Role of a member in a class's lessons; 3 and 4 may see the class's member list.
enum class LessonIdentity : int { Unknown = 0, Student = 1, Parent = 2, Teacher = 3, Assistant = 4 };
enum class MemberStatus : int { Normal = 0, Left = 1, Removed = 2, Banned = 3 };

/// Per-user view of a cluster: the alias the signed-in user gave it and whether it is shown.
class ClusterUserConfig
{
public:
    QString alias() const { return m_alias; }
    bool isVisible() const { return m_visible; }
    void setAlias(const QString &alias) { m_alias = alias; }
    void setVisible(bool visible) { m_visible = visible; }

private:
    QString m_alias;
    bool m_visible = true;
};
using ClusterUserConfigPtr = std::shared_ptr<ClusterUserConfig>;

class ClusterMemberInfo
{
public:
    explicit ClusterMemberInfo(quint64 uid = 0) : m_uid(uid) {}

    quint64 id() const { return m_uid; }
    QString nickname() const { return m_nickname; }
    QString telephone() const { return m_telephone; }
    Identity identity() const { return m_identity; }
    LessonIdentity lessonIdentity() const { return m_lessonIdentity; }
    MemberStatus memberStatus() const { return m_status; }

    void setNickname(const QString &v) { m_nickname = v; }
    void setTelephone(const QString &v) { m_telephone = v; }
    void setIdentity(Identity v) { m_identity = v; }
    void setLessonIdentity(LessonIdentity v) { m_lessonIdentity = v; }
    void setMemberStatus(MemberStatus v) { m_status = v; }

private:
    quint64 m_uid;
    QString m_nickname;
    QString m_telephone;
    Identity m_identity = Identity::Member;
    LessonIdentity m_lessonIdentity = LessonIdentity::Student;
    MemberStatus m_status = MemberStatus::Normal;
};
using ClusterMemberInfoPtr = std::shared_ptr<ClusterMemberInfo>;
using ClusterMembers = std::vector<ClusterMemberInfoPtr>;

/// A chat cluster as the contacts engine knows it: a class, a group, or a one-to-one contact.
class ClusterInfo
{
public:
    explicit ClusterInfo(const ClusterID &id) : m_id(id), m_userConfig(std::make_shared<ClusterUserConfig>()) {}

    ClusterID id() const { return m_id; }
    QString name() const { return m_name; }
    quint64 schoolId() const { return m_schoolId; }
    quint64 ownerUID() const { return m_ownerUid; }
    int courseType() const { return m_courseType; }
    bool everyoneCanJoin() const { return m_everyoneCanJoin; }
    bool hasCourseAttr() const { return m_hasCourseAttr; }
    bool isFriendly() const { return m_friendly; }
    bool isMute(quint64 uid) const { return m_muted.contains(uid); }
    /// The user is a member in good standing.
    bool isValid(quint64 uid) const;
    bool hasMember(quint64 uid) const { return getMember(uid) != nullptr; }
    ClusterMemberInfoPtr getMember(quint64 uid) const;
    ClusterMemberInfoPtr targetMember(quint64 uid) const { return getMember(uid); }
    const ClusterMembers &members() const { return m_members; }
    ClusterMembers vaildMmembers() const;
    ClusterStatus status() const { return m_status; }
    ClusterUserConfigPtr userConfig() const { return m_userConfig; }

    /// Orders members for display: the given user first, then owner, admins, others; teachers
    /// before assistants before students; ties by uid.
    static void sortMembers(ClusterMembers &members, quint64 uid);

    void setName(const QString &v) { m_name = v; }
    void setSchoolId(quint64 v) { m_schoolId = v; }
    void setOwnerUID(quint64 v) { m_ownerUid = v; }
    void setCourseType(int v) { m_courseType = v; }
    void setEveryoneCanJoin(bool v) { m_everyoneCanJoin = v; }
    void setHasCourseAttr(bool v) { m_hasCourseAttr = v; }
    void setFriendly(bool v) { m_friendly = v; }
    void setMute(quint64 uid, bool mute);
    void setStatus(ClusterStatus v) { m_status = v; }
    void setMembers(ClusterMembers members) { m_members = std::move(members); }
    void addMember(const ClusterMemberInfoPtr &member);
    bool removeMember(quint64 uid);

private:
    ClusterID m_id;
    QString m_name;
    quint64 m_schoolId = 0;
    quint64 m_ownerUid = 0;
    int m_courseType = 0;
    bool m_everyoneCanJoin = false;
    bool m_hasCourseAttr = false;
    bool m_friendly = false;
    ClusterStatus m_status = ClusterStatus::Normal;
    QSet<quint64> m_muted;
    ClusterMembers m_members;
    ClusterUserConfigPtr m_userConfig;
};
using ClusterInfoPtr = std::shared_ptr<ClusterInfo>;

} // namespace OrvEngine
