// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

#include <QHash>
#include <QObject>
#include <QPixmap>
#include <vector>

/// Reference avatar manager: pictures of users and clusters, by id. Unknown ids give a null pixmap.
class AvatarManager : public QObject
{
    Q_OBJECT
public:
    static AvatarManager &instance();
    static void release();

    virtual QPixmap getUserAvatar(quint64 uid) const { return m_users.value(uid); }
    /// With round, the picture is clipped to a circle.
    virtual QPixmap getClusterAvatar(const OrvEngine::ClusterID &id, bool round = false) const;

    void setUserAvatar(quint64 uid, const QPixmap &pixmap, bool notify = true);
    void setClusterAvatar(const OrvEngine::ClusterID &id, const QPixmap &pixmap, bool notify = true);
    void clear();

Q_SIGNALS:
    void userAvatarChanged(const std::vector<quint64> &uids);
    void clusterAvatarChanged(const std::vector<OrvEngine::ClusterID> &ids);

protected:
    AvatarManager() = default;

private:
    QHash<quint64, QPixmap> m_users;
    QHash<OrvEngine::ClusterID, QPixmap> m_clusters;
    static AvatarManager *s_instance;
};
