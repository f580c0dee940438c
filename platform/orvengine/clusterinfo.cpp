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
    // Each member's key once; the pointers are moved, not copied, so no reference counts change.
    struct Keyed {
        int rank;
        quint64 id;
        ClusterMemberInfoPtr member;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(members.size());
    for (auto &m : members) {
        const int rank = (m->id() == uid ? 0 : 16) + identityRank(m->identity()) * 4 + lessonRank(m->lessonIdentity());
        keyed.push_back({rank, m->id(), std::move(m)});
    }
    std::stable_sort(keyed.begin(), keyed.end(), [](const Keyed &a, const Keyed &b) {
        return a.rank != b.rank ? a.rank < b.rank : a.id < b.id;
    });
    for (size_t i = 0; i < keyed.size(); ++i)
        members[i] = std::move(keyed[i].member);
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
