#include "ContactsTreeItem.h"

#include "contactsengine.h"
#include "orvlang.h"

#include <QCollator>
#include <algorithm>

using OrvEngine::ClusterID;

int ContactsTreeItem::m_defaultPermission = 0;

ContactsTreeItem::ContactsTreeItem(ItemType type, const ClusterID &value, AbstractTreeItem *parent)
    : AbstractTreeItem(parent)
    , m_type(type)
    , m_value(value)
{
    if (parent)
        static_cast<ContactsTreeItem *>(parent)->invalidateChildOrder();
}

ContactsTreeItem::~ContactsTreeItem() = default;

ContactsTreeItem *ContactsTreeItem::clone() const
{
    auto *copy = new ContactsTreeItem(m_type, m_value);
    copy->m_checkState = m_checkState;
    for (int i = 0; i < childCount(); ++i)
        copy->appendChild(childItem(i)->clone());
    return copy;
}

QString ContactsTreeItem::toString() const
{
    return m_value.toString();
}

void ContactsTreeItem::setName(const QString &name)
{
    QString resolved = name;
    if (const auto cluster = OrvEngine::ContactsEngine::instance()->getClusterInfo(m_value)) {
        const auto config = cluster->userConfig();
        if (config && !config->alias().isEmpty())
            resolved = config->alias();
    }
    if (resolved == m_name)
        return;
    m_name = resolved;
    if (auto *p = parentItem())
        p->invalidateChildOrder();
}

void ContactsTreeItem::setIsForceDisable(bool disable)
{
    m_forceDisable = disable;
    m_isEnable = !disable;
}

void ContactsTreeItem::setSortNum(int sortNum)
{
    if (sortNum == m_sortNum)
        return;
    m_sortNum = sortNum;
    if (auto *p = parentItem())
        p->invalidateChildOrder();
}

void ContactsTreeItem::setLastMsgTime(quint32 time)
{
    if (time == m_lastMsgTime)
        return;
    m_lastMsgTime = time;
    if (auto *p = parentItem())
        p->invalidateChildOrder();
}

std::vector<ClusterID> ContactsTreeItem::values() const
{
    std::vector<ClusterID> out;
    out.reserve(size_t(childCount()));
    for (int i = 0; i < childCount(); ++i)
        out.push_back(childItem(i)->value());
    return out;
}

ContactsTreeItem *ContactsTreeItem::childByValue(const ClusterID &value) const
{
    for (int i = 0; i < childCount(); ++i) {
        if (childItem(i)->value() == value)
            return childItem(i);
    }
    return nullptr;
}

int ContactsTreeItem::toSortNum(int type)
{
    switch (type) {
    case NewFriendsZoom: return -1;
    case MyFriendsZoom: case SingleUsersZoom: return 1;
    case CompanyZoom: case SchoolZoom: return 2;
    case PublicCourseZoom: return 3;
    case Employee: case SchoolEmployee: return 4;
    case Friend: return 5;
    case Group: return 6;
    case DepartmentZoom: case SchoolDepartmentZoom: case ClassZoom: return 7;
    case Course: return 8;
    case PublicCourseSubZoom19: return 9;
    case PublicCourseSubZoom21: return 10;
    case PublicCourseSubZoom20: return 11;
    case SingleUser: return 13;
    default: return 0; // MyGroupsZoom, RecentZoom, ClassMember, RecentChat and anything unlisted
    }
}

namespace {
// Siblings of different types with the same rank keep a fixed order: recent chats before
// groups, friends before the ad-hoc list, companies before schools, departments before classes.
int typeTieBreak(int type)
{
    return type == ContactsTreeItem::RecentZoom ? 0 : type;
}
} // namespace

// The sibling order; nameLess decides between two unranked names of the same type.
template<typename NameLess>
static bool lessThan(const ContactsTreeItem *a, const ContactsTreeItem *b, NameLess &&nameLess)
{
    const int ra = ContactsTreeItem::toSortNum(a->type());
    const int rb = ContactsTreeItem::toSortNum(b->type());
    if (ra != rb)
        return ra < rb;
    if (a->type() != b->type())
        return typeTieBreak(a->type()) < typeTieBreak(b->type());
    if (a->type() == ContactsTreeItem::RecentChat)
        return a->lastMsgTime() > b->lastMsgTime();
    if (a->sortNum() == -1 && b->sortNum() == -1)
        return nameLess(a->name(), b->name());
    return a->sortNum() < b->sortNum();
}

bool ContactsTreeItem::compareItem(const ContactsTreeItem *a, const ContactsTreeItem *b)
{
    return lessThan(a, b, [](const QString &x, const QString &y) { return QString::localeAwareCompare(x, y) < 0; });
}

namespace {
// The collator localeAwareCompare uses, kept per thread so bulk sorts skip its per-call lookup;
// rebuilt when the default locale changes.
const QCollator &sortCollator()
{
    thread_local QLocale locale;
    thread_local QCollator collator{locale};
    if (QLocale() != locale) {
        locale = QLocale();
        collator = QCollator(locale);
    }
    return collator;
}
} // namespace

bool ContactsTreeItem::sortChildren()
{
    if (m_childrenSorted)
        return false;
    m_childrenSorted = true;
    auto &list = refChildren();
    if (list.size() < 2)
        return false;
    const QList<AbstractTreeItem *> before = list;
    const QCollator &collator = sortCollator();
    auto less = [&collator](AbstractTreeItem *a, AbstractTreeItem *b) {
        return lessThan(static_cast<ContactsTreeItem *>(a), static_cast<ContactsTreeItem *>(b),
                        [&collator](const QString &x, const QString &y) { return collator.compare(x, y) < 0; });
    };

    static const int kKeyFrom = qEnvironmentVariableIsSet("ORV_KEYFROM") ? qEnvironmentVariableIntValue("ORV_KEYFROM") : 1000;
    if (list.size() < kKeyFrom) {
        std::stable_sort(list.begin(), list.end(), less);
    } else {
        // Large lists: each name gets its collation key once instead of taking part in
        // n·log n locale-aware comparisons. The order is the same as compareItem's.
        struct Key {
            int rank;
            int tie;
            qint64 num;
            QCollatorSortKey name;
            AbstractTreeItem *item;
        };
        const QCollatorSortKey emptyKey = collator.sortKey(QString());
        std::vector<Key> keys;
        keys.reserve(size_t(list.size()));
        for (AbstractTreeItem *node : list) {
            const auto *c = static_cast<ContactsTreeItem *>(node);
            Key k{toSortNum(c->m_type), typeTieBreak(c->m_type), 0, emptyKey, node};
            if (c->m_type == RecentChat) {
                k.num = -qint64(c->m_lastMsgTime);
            } else {
                k.num = c->m_sortNum;
                if (c->m_sortNum == -1)
                    k.name = collator.sortKey(c->m_name);
            }
            keys.push_back(std::move(k));
        }
        std::stable_sort(keys.begin(), keys.end(), [](const Key &a, const Key &b) {
            if (a.rank != b.rank)
                return a.rank < b.rank;
            if (a.tie != b.tie)
                return a.tie < b.tie;
            if (a.num != b.num)
                return a.num < b.num;
            return a.name.compare(b.name) < 0;
        });
        for (int i = 0; i < list.size(); ++i)
            list[i] = keys[size_t(i)].item;
    }
    return list != before;
}

void ContactsTreeItem::sort()
{
    sortChildren();
    if (m_type != Root && !isZoomType(m_type))
        return;
    for (int i = 0; i < childCount(); ++i) {
        ContactsTreeItem *c = childItem(i);
        if (isZoomType(c->type()))
            c->sort();
    }
}

ContactsTreeItem::ItemType ContactsTreeItem::valueToType(const ClusterID &value)
{
    switch (value.type()) {
    case OrvEngine::Class:
    case OrvEngine::Group:
        return Group;
    case OrvEngine::SchoolStaff:
        return SchoolEmployee;
    case OrvEngine::OrgStaff:
        return Employee;
    case OrvEngine::User:
    default:
        return Friend;
    }
}

QString ContactsTreeItem::itemTypeToString(int type)
{
    switch (type) {
    case MyGroupsZoom: return OrvLang::text("ID_ContactsTreeModel_MyGroups");
    case MyFriendsZoom: return OrvLang::text("ID_ContactsTreeModel_MyFriends");
    case PublicCourseZoom: return OrvLang::text("ID_ContactsSearch_PublicCourse");
    case NewFriendsZoom: return OrvLang::text("ID_ContactsTreeModel_NewFriends");
    case RecentZoom: return OrvLang::text("ID_Cluster_Notice_RecentlyTag");
    default: return QString();
    }
}
