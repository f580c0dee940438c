#include "contactsengine.h"
#include "orvengine_logging.h"

#include <algorithm>

namespace OrvEngine {

ContactsEngine *ContactsEngine::s_instance = nullptr;

ContactsEngine *ContactsEngine::instance()
{
    if (!s_instance)
        s_instance = new ContactsEngine;
    return s_instance;
}

void ContactsEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

ContactsEngine::ContactsEngine()
{
    registerMetaTypes();
}

ClusterInfoPtr ContactsEngine::getClusterInfo(const ClusterID &id, bool) const
{
    return m_clusters.value(id);
}

UserInfoPtr ContactsEngine::getUserInfo(quint64 uid) const
{
    return m_users.value(uid);
}

std::vector<ClusterInfoPtr> ContactsEngine::getClusterInfos() const
{
    std::vector<ClusterInfoPtr> out;
    out.reserve(m_order.size());
    for (const ClusterID &id : m_order)
        out.push_back(m_clusters.value(id));
    return out;
}

bool ContactsEngine::isFriendValid(quint64 uid) const
{
    const auto c = m_clusters.value(ClusterID(uid, User));
    return c && c->isFriendly() && c->status() == ClusterStatus::Normal && isUserValid(uid);
}

bool ContactsEngine::isUserValid(quint64 uid) const
{
    const auto u = m_users.value(uid);
    return u && u->isValid();
}

void ContactsEngine::insertClusterQuietly(const ClusterInfoPtr &cluster)
{
    if (!cluster)
        return;
    if (!m_clusters.contains(cluster->id()))
        m_order.push_back(cluster->id());
    m_clusters.insert(cluster->id(), cluster);
}

void ContactsEngine::insertUserQuietly(const UserInfoPtr &user)
{
    if (user)
        m_users.insert(user->uid(), user);
}

void ContactsEngine::addClusters(const std::vector<ClusterInfoPtr> &clusters)
{
    std::vector<ClusterID> added;
    std::vector<ClusterID> updated;
    for (const auto &c : clusters) {
        if (!c)
            continue;
        (m_clusters.contains(c->id()) ? updated : added).push_back(c->id());
        insertClusterQuietly(c);
    }
    if (!added.empty())
        Q_EMIT signalAddCluster(added);
    if (!updated.empty())
        Q_EMIT updateClusterInfo(updated);
}

void ContactsEngine::removeClusters(const std::vector<ClusterID> &ids)
{
    std::vector<ClusterID> removed;
    for (const ClusterID &id : ids) {
        if (m_clusters.remove(id))
            removed.push_back(id);
    }
    if (removed.empty())
        return;
    m_order.erase(std::remove_if(m_order.begin(), m_order.end(),
                                 [&](const ClusterID &id) { return !m_clusters.contains(id); }),
                  m_order.end());
    Q_EMIT signalDelCluster(removed);
}

void ContactsEngine::updateClusters(const std::vector<ClusterInfoPtr> &clusters)
{
    std::vector<ClusterID> updated;
    for (const auto &c : clusters) {
        if (!c || !m_clusters.contains(c->id())) {
            qCWarning(lcOrvEngine) << "update of unknown cluster ignored" << (c ? c->id().toString() : QString());
            continue;
        }
        m_clusters.insert(c->id(), c);
        updated.push_back(c->id());
    }
    if (!updated.empty())
        Q_EMIT updateClusterInfo(updated);
}

void ContactsEngine::setClusterAlias(const ClusterID &id, const QString &alias)
{
    const auto c = m_clusters.value(id);
    if (!c)
        return;
    c->userConfig()->setAlias(alias);
    Q_EMIT updateClusterSetting({id});
}

void ContactsEngine::renameCluster(const ClusterID &id, const QString &name)
{
    const auto c = m_clusters.value(id);
    if (!c)
        return;
    c->setName(name);
    Q_EMIT updateClusterInformation({id});
}

bool ContactsEngine::storeMembers(const ClusterID &id, const ClusterMembers &members, std::vector<quint64> &uids)
{
    const auto c = m_clusters.value(id);
    if (!c)
        return false;
    for (const auto &m : members) {
        if (!m)
            continue;
        c->addMember(m);
        uids.push_back(m->id());
    }
    return true;
}

void ContactsEngine::addClusterMembers(const ClusterID &id, const ClusterMembers &members)
{
    std::vector<quint64> uids;
    if (storeMembers(id, members, uids))
        Q_EMIT addClusterMember(id, uids);
}

void ContactsEngine::removeClusterMembers(const ClusterID &id, const std::vector<quint64> &uids)
{
    const auto c = m_clusters.value(id);
    if (!c)
        return;
    std::vector<quint64> removed;
    for (quint64 uid : uids) {
        if (c->removeMember(uid))
            removed.push_back(uid);
    }
    if (!removed.empty())
        Q_EMIT deleteClusterMember(id, removed);
}

void ContactsEngine::updateClusterMembers(const ClusterID &id, const ClusterMembers &members)
{
    std::vector<quint64> uids;
    if (storeMembers(id, members, uids))
        Q_EMIT updateClusterMemberInfo(id, uids);
}

void ContactsEngine::setMemberNickname(const ClusterID &id, quint64 uid, const QString &nickname)
{
    const auto c = m_clusters.value(id);
    const auto m = c ? c->getMember(uid) : ClusterMemberInfoPtr();
    if (!m)
        return;
    m->setNickname(nickname);
    Q_EMIT updateClusterMemberNicknames(id, {uid});
}

void ContactsEngine::setUsers(const std::vector<UserInfoPtr> &users)
{
    std::vector<quint64> uids;
    for (const auto &u : users) {
        if (!u)
            continue;
        m_users.insert(u->uid(), u);
        uids.push_back(u->uid());
    }
    if (!uids.empty())
        Q_EMIT updateUserInfo(uids);
}

void ContactsEngine::completeSync()
{
    m_syncAllComplete = true;
    Q_EMIT syncAllComplete();
}

void ContactsEngine::clear()
{
    m_clusters.clear();
    m_order.clear();
    m_users.clear();
    m_currentUid = 0;
    m_syncAllComplete = false;
}

} // namespace OrvEngine
