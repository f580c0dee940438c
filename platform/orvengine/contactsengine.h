// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterinfo.h"
#include "userinfo.h"

#include <QHash>
#include <QObject>
#include <vector>

namespace OrvEngine {

/**
 * Reference contacts engine: the clusters (classes, groups, one-to-one contacts), their members
 * and the users the signed-in user knows. The mutation half is what the client's sync code
 * calls; every mutation emits the signal the real engine emits for it.
 */
class ContactsEngine : public QObject
{
    Q_OBJECT
public:
    static ContactsEngine *instance();
    static void release();

    // Lookups. Unknown ids answer empty pointers.
    virtual ClusterInfoPtr getClusterInfo(const ClusterID &id, bool fetchIfMissing = false) const;
    virtual UserInfoPtr getUserInfo(quint64 uid) const;
    /// Every cluster record, in the order the engine received them.
    std::vector<ClusterInfoPtr> getClusterInfos() const;
    quint64 currentUid() const { return m_currentUid; }
    /// The first sync of clusters and members has ended (completeSync()).
    bool isSyncAllComplete() const { return m_syncAllComplete; }
    UserInfoPtr currentUser() const { return getUserInfo(m_currentUid); }
    /// The user is a friend who can still be chatted with.
    bool isFriendValid(quint64 uid) const;
    /// The user can still be chatted with one-to-one.
    bool isUserValid(quint64 uid) const;

    // Mutations, each followed by its signal.
    void setCurrentUid(quint64 uid) { m_currentUid = uid; }
    void addClusters(const std::vector<ClusterInfoPtr> &clusters);
    void removeClusters(const std::vector<ClusterID> &ids);
    /// Replaces the records of known clusters (name, flags, status...).
    void updateClusters(const std::vector<ClusterInfoPtr> &clusters);
    void setClusterAlias(const ClusterID &id, const QString &alias);
    void renameCluster(const ClusterID &id, const QString &name);
    void addClusterMembers(const ClusterID &id, const ClusterMembers &members);
    void removeClusterMembers(const ClusterID &id, const std::vector<quint64> &uids);
    void updateClusterMembers(const ClusterID &id, const ClusterMembers &members);
    void setMemberNickname(const ClusterID &id, quint64 uid, const QString &nickname);
    void setUsers(const std::vector<UserInfoPtr> &users);
    void completeSync();
    void clear();

    // Quiet fill used by the world loader before the model exists.
    void insertClusterQuietly(const ClusterInfoPtr &cluster);
    void insertUserQuietly(const UserInfoPtr &user);

Q_SIGNALS:
    void signalAddCluster(const std::vector<OrvEngine::ClusterID> &ids);
    void signalDelCluster(const std::vector<OrvEngine::ClusterID> &ids);
    void updateClusterInfo(const std::vector<OrvEngine::ClusterID> &ids);
    void updateClusterSetting(const std::vector<OrvEngine::ClusterID> &ids);
    void updateClusterInformation(const std::vector<OrvEngine::ClusterID> &ids);
    void updateClusterMemberNicknames(const OrvEngine::ClusterID &id, const std::vector<quint64> &uids);
    void addClusterMember(const OrvEngine::ClusterID &id, const std::vector<quint64> &uids);
    void deleteClusterMember(const OrvEngine::ClusterID &id, const std::vector<quint64> &uids);
    void updateClusterMemberInfo(const OrvEngine::ClusterID &id, const std::vector<quint64> &uids);
    void updateUserInfo(const std::vector<quint64> &uids);
    void syncAllComplete();

protected:
    ContactsEngine();

private:
    bool storeMembers(const ClusterID &id, const ClusterMembers &members, std::vector<quint64> &uids);

    QHash<ClusterID, ClusterInfoPtr> m_clusters;
    std::vector<ClusterID> m_order;
    QHash<quint64, UserInfoPtr> m_users;
    quint64 m_currentUid = 0;
    bool m_syncAllComplete = false;
    static ContactsEngine *s_instance;
};

} // namespace OrvEngine
