// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

namespace OrvEngine {

/// Key of a cluster member in the search engine's index.
class ClusterMemberKey
{
public:
    ClusterMemberKey() = default;
    ClusterMemberKey(const ClusterID &cluster, quint64 uid) : m_cluster(cluster), m_uid(uid) {}
    ClusterID cluster() const { return m_cluster; }
    quint64 uid() const { return m_uid; }
    bool operator==(const ClusterMemberKey &o) const { return m_cluster == o.m_cluster && m_uid == o.m_uid; }

private:
    ClusterID m_cluster;
    quint64 m_uid = 0;
};

/// One hit of the search engine.
struct OrvSearchInfoData
{
    ClusterID id;
    ClusterMemberKey memberKey;
    QString name;
    QString matchedText;
};

} // namespace OrvEngine
