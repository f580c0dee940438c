#include "clusterinfo.h"

#include <algorithm>

namespace OrvEngine {

ClusterMemberInfoPtr ClusterInfo::getMember(quint64 uid) const
{
    for (const auto &m : m_members) {
        if (m && m->id() == uid)
            return m;
    }
    return {};
}

bool ClusterInfo::isValid(quint64 uid) const
{
    const auto m = getMember(uid);
    return m && m->memberStatus() == MemberStatus::Normal;
}

ClusterMembers ClusterInfo::vaildMmembers() const
{
    ClusterMembers out;
    out.reserve(m_members.size());
    for (const auto &m : m_members) {
        if (m && m->memberStatus() == MemberStatus::Normal)
            out.push_back(m);
    }
    return out;
}

void ClusterInfo::sortMembers(ClusterMembers &members, quint64 uid)
{
    auto identityRank = [](Identity i) {
        switch (i) {
        case Identity::Owner: return 0;
        case Identity::Admin: return 1;
        default: return 2;
        }
    };
    auto lessonRank = [](LessonIdentity i) {
        switch (i) {
        case LessonIdentity::Teacher: return 0;
        case LessonIdentity::Assistant: return 1;
        case LessonIdentity::Student: return 2;
        default: return 3;
        }
    };
    std::stable_sort(members.begin(), members.end(), [&](const ClusterMemberInfoPtr &a, const ClusterMemberInfoPtr &b) {
        const auto key = [&](const ClusterMemberInfoPtr &m) {
            return std::make_tuple(m->id() == uid ? 0 : 1, identityRank(m->identity()),
                                   lessonRank(m->lessonIdentity()), m->id());
        };
        return key(a) < key(b);
    });
}

void ClusterInfo::setMute(quint64 uid, bool mute)
{
    if (mute)
        m_muted.insert(uid);
    else
        m_muted.remove(uid);
}

void ClusterInfo::addMember(const ClusterMemberInfoPtr &member)
{
    if (!member)
        return;
    for (auto &m : m_members) {
        if (m->id() == member->id()) {
            m = member;
            return;
        }
    }
    m_members.push_back(member);
}

bool ClusterInfo::removeMember(quint64 uid)
{
    const auto it = std::remove_if(m_members.begin(), m_members.end(),
                                   [uid](const ClusterMemberInfoPtr &m) { return m->id() == uid; });
    if (it == m_members.end())
        return false;
    m_members.erase(it, m_members.end());
    return true;
}

} // namespace OrvEngine
