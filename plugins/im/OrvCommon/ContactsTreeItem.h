// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "abstracttreeitem.h"
#include "clusterid.h"

#include <QString>
#include <vector>

/**
 * A node of the contacts tree: what it is (type), whom it names (value), and the few fields
 * the pickers need. Nodes never hold engine records, only identities and copied names.
 */
class ContactsTreeItem : public AbstractTreeItem
{
public:
    enum ItemType : qint32 {
        MyGroupsZoom = 1,
        MyFriendsZoom = 2,
        PublicCourseZoom = 3,
        CompanyZoom = 4,
        DepartmentZoom = 5,
        SingleUsersZoom = 6,
        NewFriendsZoom = 7,
        SchoolZoom = 8,
        SchoolDepartmentZoom = 9,
        ClassZoom = 10,
        RecentZoom = 11,
        Friend = 12,
        Group = 13,
        Employee = 14,
        SchoolEmployee = 15,
        ClassMember = 16,
        SingleUser = 17,
        Course = 18,
        PublicCourseSubZoom19 = 19,
        PublicCourseSubZoom20 = 20,
        PublicCourseSubZoom21 = 21,
        RecentChat = 22,
        Root = 255,
    };

    ContactsTreeItem(ItemType type, const OrvEngine::ClusterID &value, AbstractTreeItem *parent = nullptr);
    ~ContactsTreeItem() override;

    /// Deep copy: same type, value and check state, with a clone of every child in order.
    virtual ContactsTreeItem *clone() const;
    virtual QString toString() const;

    ItemType type() const { return m_type; }
    OrvEngine::ClusterID value() const { return m_value; }

    const QString &name() const { return m_name; }
    /// Takes the alias the user gave the cluster of this node's value when there is one.
    void setName(const QString &name);

    Qt::CheckState checkState() const { return m_checkState; }
    void setCheckState(Qt::CheckState state) { m_checkState = state; }
    bool isEnable() const { return m_isEnable; }
    void setIsEnable(bool enable) { m_isEnable = enable; }
    bool forceProcessPressEvent() const { return m_forceProcessPressEvent; }
    void setForceProcessPressEvent(bool force) { m_forceProcessPressEvent = force; }
    bool isForceDisable() const { return m_forceDisable; }
    /// Disabled whatever else says; also sets isEnable to the opposite.
    void setIsForceDisable(bool disable);
    int sortNum() const { return m_sortNum; }
    void setSortNum(int sortNum);
    quint64 schoolId() const { return m_schoolId; }
    void setSchoolId(quint64 id) { m_schoolId = id; }
    int permission() const { return m_permission; }
    void setPermission(int permission) { m_permission = permission; }
    bool isReapet() const { return m_isRepeat; }
    void setIsRepeat(bool repeat) { m_isRepeat = repeat; }
    quint64 uid() const { return m_uid; }
    void setUid(quint64 uid) { m_uid = uid; }
    quint32 lastMsgTime() const { return m_lastMsgTime; }
    void setLastMsgTime(quint32 time);
    bool latestChat() const { return m_latestChat; }
    void setLatestChat(bool latest) { m_latestChat = latest; }

    bool isProcessPressEvent() const { return m_isEnable || m_forceProcessPressEvent; }

    static int defaultPermission() { return m_defaultPermission; }
    static void setDefaultPermission(int permission) { m_defaultPermission = permission; }

    ContactsTreeItem *parentItem() const { return static_cast<ContactsTreeItem *>(parent()); }
    ContactsTreeItem *childItem(int row) const { return static_cast<ContactsTreeItem *>(child(row)); }
    /// Values of the direct children, in order.
    std::vector<OrvEngine::ClusterID> values() const;
    /// First direct child with that value, or null.
    ContactsTreeItem *childByValue(const OrvEngine::ClusterID &value) const;

    /// Appends and adopts, as the base does, and marks the children as needing a sort.
    void appendChild(AbstractTreeItem *item);

    /// Sorts the children with compareItem; for the root and headings, then every heading child,
    /// recursively. Checks every list it visits, however its children got there.
    void sort();
    /// As sort(), but trusts the lists marked as in order: only those changed since their last
    /// sort are sorted. For callers whose every change goes through this class's setters.
    void sortChanged();
    /// Sorts only this node's children when they are marked as changed. Returns true when the order changed.
    bool sortChildren();
    /// Marks the children as needing a sort (a child was added or its sort fields changed).
    void invalidateChildOrder() { m_sortedEpoch = 0; }
    /// The children were sorted, nothing changed since, and names still sort as they did then.
    bool isChildOrderValid() const;
    /// Marks the children as in order, after the caller put them there itself.
    void markChildOrderValid();

    /// True when a goes before b among siblings.
    static bool compareItem(const ContactsTreeItem *a, const ContactsTreeItem *b);
    /// The order of two names: negative, zero or positive. One collator of the collation locale
    /// (QLocale().collation(), what QString::localeAwareCompare follows) decides every name
    /// comparison of the tree, in compareItem and in bulk sorts alike.
    static int compareNames(const QString &a, const QString &b);
    static int toSortNum(int type);
    static ItemType valueToType(const OrvEngine::ClusterID &value);
    static bool isZoomType(int type) { return type >= MyGroupsZoom && type <= RecentZoom; }
    static bool isLeafZoomType(int type) { return type == DepartmentZoom || type == SchoolDepartmentZoom || type == ClassZoom; }
    /// The looked-up heading text for the fixed headings, empty for every other type.
    static QString itemTypeToString(int type);

private:
    ItemType m_type;
    OrvEngine::ClusterID m_value;
    QString m_name;
    quint64 m_schoolId = 0;
    quint64 m_uid = 0;
    Qt::CheckState m_checkState = Qt::Unchecked;
    int m_sortNum = -1;
    int m_permission = 0;
    quint32 m_lastMsgTime = 0;
    bool m_isEnable = true;
    bool m_forceProcessPressEvent = false;
    bool m_forceDisable = false;
    bool m_isRepeat = false;
    bool m_latestChat = false;
    // The name order in force when the children were last put in order; 0 when a child was
    // added or re-keyed since.
    quint32 m_sortedEpoch = 0;

    static int m_defaultPermission;
};
