// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"
#include "orvwebbridge.h"

#include <QJsonObject>
#include <QPair>

/**
 * Bridge of a page that belongs to one group or course. The page asks getClusterInfo() and gets
 * the cluster as compact JSON: "clusterId", "schoolId", "clusterName", "courseAlias" (only when
 * the user set one), "clusterStatus", "membersCount", "identity", "lessonIdentity", all text;
 * "identity" and "lessonIdentity" are "0" for a user who is not a member in good standing.
 * An unknown cluster is answered with {"clusterId", "identity": "0", "lessonIdentity": "0"}.
 */
class GroupBridge : public OrvWebBridge
{
    Q_OBJECT
public:
    GroupBridge(OrvWebView *view, QObject *parent);

    /// The cluster the page belongs to.
    void reset(const OrvEngine::ClusterID &id);
    OrvEngine::ClusterID clusterId() const { return m_clusterId; }

    /// The description and whether the cluster (or, failing it, the running classroom's course) was found.
    static QPair<QJsonObject, bool> getClusterInfoObj(const OrvEngine::ClusterID &id);

public Q_SLOTS:
    QString getClusterInfo();

private:
    OrvEngine::ClusterID m_clusterId;
};
