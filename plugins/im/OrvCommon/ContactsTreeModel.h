// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ContactsTreeItem.h"
#include "abstracttreemodel.h"
#include "clusterinfo.h"
#include "courseinfo.h"
#include "session.h"

#include <QHash>
#include <QPointer>
#include <vector>

class QSortFilterProxyModel;

/**
 * The process-wide contacts tree: recent chats, new friends, groups and courses, friends,
 * public courses, companies, schools with departments and classes, and an ad-hoc user list.
 * Filled from the engines and kept current by their signals; views read it through the
 * custom roles. Bulk changes are published as one model reset, single nodes as dataChanged.
 */
class ContactsTreeModel : public AbstractTreeModel
{
    Q_OBJECT
public:
    enum Roles {
        ValueRole = Qt::UserRole,   ///< 256: the node's ClusterID
        ChildCountRole,             ///< number of children
        TypeRole,                   ///< ContactsTreeItem::ItemType as int
        EnableRole,                 ///< not force-disabled and enabled
        NameRole,                   ///< display name
        SchoolNameRole,             ///< groups only: the name of the cluster's school
        SchoolIdRole,               ///< schoolId field
        EmployeeAvatarRole,         ///< school-chart avatar of the person
        PermissionRole,             ///< permission chosen in share dialogs
        ProcessPressRole,           ///< reacts to presses
        ForceDisableRole,           ///< force-disabled
        RefreshRole,                ///< setData only: repaint a node, or reset for a heading or the tree
    };
    Q_ENUM(Roles)

    enum SyncFlag { ClusterSync = 1, SchoolChartSync = 2 };

    static ContactsTreeModel *instance();
    /// Schedules the instance for deletion; the next instance() builds a new tree.
    static void release();

    ~ContactsTreeModel() override;

    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    ContactsTreeItem *rootItem() const { return static_cast<ContactsTreeItem *>(root()); }
    ContactsTreeItem *item(const QModelIndex &index) const { return static_cast<ContactsTreeItem *>(itemFromIndex(index)); }

    void setSortFilterModel(QSortFilterProxyModel *model);
    QSortFilterProxyModel *sortFilterModel() const;
    void setCustomCourseId(quint64 courseId) { m_customCourseId = courseId; }
    quint64 customCourseId() const { return m_customCourseId; }
    quint32 syncMask() const { return m_syncMask; }

    // Lookups: depth first, children in order, below parent (the root when invalid).
    QModelIndex indexByValue(const QModelIndex &parent, ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value) const;
    void indexByValue(const QModelIndex &parent, ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value,
                      std::vector<QModelIndex> &out) const;
    void indexByValue(const QModelIndex &parent, const std::vector<quint64> &ids, std::vector<QModelIndex> &out) const;
    /// With contactsOnly, recent-chat nodes are not counted: a cluster that is only a recent chat
    /// is still missing from the contact headings.
    void indexByValue(const QModelIndex &parent, const std::vector<OrvEngine::ClusterID> &values,
                      std::vector<QModelIndex> &out, bool contactsOnly) const;
    /// As indexByValue, and leaves in values only those not found.
    void remainsByValue(const QModelIndex &parent, std::vector<OrvEngine::ClusterID> &values,
                        std::vector<QModelIndex> &out, bool contactsOnly) const;
    void indexByZoomType(const QModelIndex &parent, ContactsTreeItem::ItemType type, std::vector<QModelIndex> &out) const;
    void enumCheckedByValue(const QModelIndex &parent, const std::vector<OrvEngine::ClusterID> &values,
                            std::vector<QModelIndex> &out) const;
    void setCheckedItems(const QModelIndex &parent, const QList<OrvEngine::ClusterID> &values);
    void setDisableItems(const QList<OrvEngine::ClusterID> &values);
    void resetCheckState();
    void resetEnableState();
    void resetLatestChats();
    void setSingleUsers(std::vector<quint64> uids);
    void setSingleUsers(std::vector<quint64> uids, OrvEngine::ClusterID &cluster);
    void clearSingleUsers();

    /// Adds a node without model signals, or returns the existing one of that type and value.
    /// Callers bracket batches of these with a model reset.
    QModelIndex addNoUpdate(ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value, const QString &name,
                            const QModelIndex &parent, quint32 lastMsgTime = 0);
    void updateAClass(const OrvEngine::ClusterInfoPtr &cluster);

Q_SIGNALS:
    /// Both the cluster sync and the school-chart sync have completed. Emitted once.
    void syncEnd();

public Q_SLOTS:
    void onInitComplete();
    void onAddCluster(const std::vector<OrvEngine::ClusterID> &clusters);
    void onDelCluster(const std::vector<OrvEngine::ClusterID> &clusters);
    void onUpdateClusterInfo(const std::vector<OrvEngine::ClusterID> &clusters);
    void onUpdateClusterMemberNicknames(const OrvEngine::ClusterID &cluster, const std::vector<quint64> &uids);
    void onUpdateClusterMember(const OrvEngine::ClusterID &cluster, const std::vector<quint64> &uids);
    void onUpdateUserInfo(const std::vector<quint64> &uids);
    void onUserAvatarChanged(const std::vector<quint64> &uids);
    void onClusterAvatarChanged(const std::vector<OrvEngine::ClusterID> &clusters);
    void onClusterSyncComplete();
    void onSnapshotCompleted();
    void onCourseAdded(quint64 schoolId, quint64 courseId);
    void onRemoveCourse(quint64 schoolId, quint64 courseId);
    void onLessonChanged(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void onLessonsChanged(const OrvEngine::LessonChangeList &lessons);
    void onCourseNameChanged(quint64 schoolId, quint64 courseId, const QString &name);
    void onSchoolInfoChanged(quint64 schoolId);
    void onAllOrgSyncComplete();
    void onSchoolSyncComplete(quint64 schoolId);
    void onSchoolChartSyncComplete();
    void onSchoolChartAvatarSyncComplete();
    void onUpdateUnreadNoticeCount();
    void onUpdateSessions(const OrvEngine::Sessions &sessions);
    void onDeleteSessions(const OrvEngine::Sessions &sessions);
    void onAddSessions(const OrvEngine::Sessions &sessions);

protected:
    explicit ContactsTreeModel(QObject *parent = nullptr);

private:
    class ResetScope;
    friend class ResetScope;

    void init();
    void checkSyncFlag(quint32 flag);
    ContactsTreeItem *zoom(ContactsTreeItem::ItemType type) const;
    ContactsTreeItem *findChild(ContactsTreeItem *parent, ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value);
    ContactsTreeItem *addItem(ContactsTreeItem *parent, ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value,
                              const QString &name, quint32 lastMsgTime = 0);
    /// Appends without looking for a twin: for callers that know the value is not under parent.
    ContactsTreeItem *appendItem(ContactsTreeItem *parent, ContactsTreeItem::ItemType type, const OrvEngine::ClusterID &value,
                                 const QString &name, quint32 lastMsgTime = 0);
    void removeItem(ContactsTreeItem *item);
    void clearChildren(ContactsTreeItem *item);
    void addSession(ContactsTreeItem *recent, const OrvEngine::SessionPtr &session);
    void addCluster(const OrvEngine::ClusterInfoPtr &cluster);
    void addCourses();
    ContactsTreeItem *placeCourse(ContactsTreeItem *groups, quint64 courseId, const QString &name);
    bool isHiddenCourse(quint64 courseId) const;
    void insertDepts(quint64 uid, quint64 companyId, quint64 departmentId, ContactsTreeItem *parent);
    void insertSchoolDepts(quint64 uid, quint64 schoolId, quint64 departmentId, ContactsTreeItem *parent);
    template<typename Chart>
    void insertChart(Chart *chart, quint64 unitId, quint64 departmentId, ContactsTreeItem *parent,
                     ContactsTreeItem::ItemType departmentType, ContactsTreeItem::ItemType staffType,
                     OrvEngine::ClusterType staffKind);
    void clearOtherCompanyZoom(const std::vector<quint64> &keep);
    void clearOtherSchoolZoom(const std::vector<quint64> &keep);
    void rebuildCompany(quint64 companyId, const QString &name);
    bool isUserGone(quint64 uid) const;
    void emitChanged(ContactsTreeItem *item, const QVector<int> &roles = {});
    void sortWithLayout(const std::vector<ContactsTreeItem *> &parents);
    void setCheckRecursive(ContactsTreeItem *item, Qt::CheckState state);
    void fillSingleUsers(const std::vector<quint64> &uids, const OrvEngine::ClusterInfoPtr &namesFrom);

    template<typename Fn>
    void walk(ContactsTreeItem *from, Fn &&fn) const;

    QPointer<QSortFilterProxyModel> m_sortFilterModel;
    quint64 m_customCourseId = 0;
    quint32 m_syncMask = 0;
    bool m_schoolChartSyncedAtInit = false;
    int m_resetDepth = 0;
    bool m_pendingSyncEnd = false;

    // Dedup index for addNoUpdate on long child lists; lives for one reset batch.
    struct ChildKey {
        int type;
        OrvEngine::ClusterID value;
        bool operator==(const ChildKey &o) const { return type == o.type && value == o.value; }
    };
    friend uint qHash(const ChildKey &key, uint seed);
    QHash<const ContactsTreeItem *, QHash<ChildKey, ContactsTreeItem *>> m_childIndex;

    static ContactsTreeModel *m_instance;
};
