// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <vector>

class ContactsSelectView;
class ContactsSortFilterModel;
class ContactsTreeItem;
class ContactsTreeModel;
class QWidget;

/// What a contacts selection view offers.
struct ContactsSelectOptions
{
    int maxCount = 0;        ///< 0: no limit
    QSet<int> types;         ///< item types offered; empty: people, groups and recent chats
    bool enabledOnly = false;
    quint64 schoolId = 0;    ///< only this school's people and chats
};

/**
 * The state behind a contacts selection view: what the tree offers (through its own
 * ContactsSortFilterModel), what is picked, the limit, the users that cannot be picked, and the
 * OK / Cancel outcome. A person is one pick wherever they stand (friend, colleague, class
 * member, recent chat), and checking them checks every place of that person in the tree.
 *
 * Picks are reported as chat identities: a person as (uid, User), a class or group as its
 * cluster. The check states live in the process-wide contacts tree; a view-model clears them
 * when it starts and when it goes, so use one selection view at a time.
 *
 * Create it with createContactsSelectTool(); the view owns the view-model.
 */
class ContactsSelectViewModel : public QObject
{
    Q_OBJECT
public:
    using Options = ContactsSelectOptions;

    struct Picked
    {
        OrvEngine::ClusterID target; ///< (uid, User) for a person, the cluster for a chat
        QString name;
        int itemType = 0;            ///< the type of the node it was picked from
    };

    /// The view with its view-model; the view is a child of parent (a window when null).
    static ContactsSelectViewModel *createContactsSelectTool(QWidget *parent = nullptr, const Options &options = {});
    ~ContactsSelectViewModel() override;

    ContactsSelectView *view() const;
    ContactsSortFilterModel *proxyModel() const { return m_proxy; }
    /// Null once the process-wide tree was released.
    ContactsTreeModel *treeModel() const;

    void setMaxCount(int maxCount);
    int maxCount() const { return m_maxCount; }
    /// These users are shown but cannot be picked; picked ones among them are dropped.
    void setDisableUsers(const std::vector<quint64> &uids);
    bool isUserDisabled(quint64 uid) const { return m_disabledUsers.contains(uid); }
    void setFilterSchool(quint64 schoolId);
    void clearFilterSchool() { setFilterSchool(0); }
    void setSearchText(const QString &text);

    /// The person or chat a node stands for; an unknown ClusterID for headings and courses.
    static OrvEngine::ClusterID targetOf(const ContactsTreeItem *item);
    /// Whether the node (an index of proxyModel()) can be picked now.
    bool isPickable(const QModelIndex &proxyIndex) const;
    bool isPicked(const QModelIndex &proxyIndex) const;
    /// Picks or unpicks what the node stands for. False when it cannot be picked (the limit,
    /// a disabled user, a heading), with notice() telling why.
    bool toggle(const QModelIndex &proxyIndex);
    bool pick(const QModelIndex &proxyIndex);
    bool unpick(const OrvEngine::ClusterID &target);
    /// Picks a person or chat by identity (a host's preselection); false when it is not in the tree.
    bool pickTarget(const OrvEngine::ClusterID &target);
    void clearPicked();

    QList<Picked> picked() const { return m_picked; }
    int pickedCount() const { return m_picked.size(); }
    QList<OrvEngine::ClusterID> getSelectedContacts() const;
    /// The uids of the picked people.
    std::vector<quint64> getSelectedUsers() const;

    /// Nothing to pick: the tree offers no node under the current filters (search aside).
    bool isEmpty() const { return m_empty; }
    /// The last message for the user (the limit reached, a pick that vanished); empty when none.
    QString notice() const { return m_notice; }

Q_SIGNALS:
    void okBtnClicked();
    void cancelBtnClicked();
    /// The spelling is the platform's.
    void emptyChagned(bool empty);
    void pickedChanged();
    void maxCountReached(int maxCount);
    /// A picked person or chat is gone from the contacts (deleted, left); it was unpicked.
    void pickedRemoved(const OrvEngine::ClusterID &target, const QString &name);
    void noticeChanged(const QString &text);

private:
    explicit ContactsSelectViewModel(const Options &options, QObject *parent = nullptr);

    void setNotice(const QString &text);
    void applyChecks(const OrvEngine::ClusterID &target, Qt::CheckState state);
    void scheduleRevalidate();
    void revalidate();
    void updateEmpty();
    int indexOfPicked(const OrvEngine::ClusterID &target) const;
    bool isTargetDisabled(const ContactsTreeItem *item) const;

    QPointer<ContactsTreeModel> m_tree;
    ContactsSortFilterModel *m_proxy;
    QPointer<ContactsSelectView> m_view;
    QList<Picked> m_picked;
    QSet<quint64> m_disabledUsers;
    int m_maxCount = 0;
    bool m_empty = true;
    bool m_revalidateQueued = false;
    bool m_applying = false;
    QString m_notice;
};
