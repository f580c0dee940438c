#include "ContactsTreeItem.h"

#include "contactsengine.h"
#include "orvlang.h"

#include <QCollator>
#include <algorithm>
#include <atomic>

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

// The one order of names. Comparisons and sort keys come from the same collator, so a list
// sorted by keys is sorted for compare() too. Qt's collator for the C locale compares UTF-16
// code units but builds its keys from UTF-8, which orders characters beyond U+FFFF after
// U+E000..U+FFFF instead of before them; there the names themselves are the keys.
class NameOrder
{
public:
    // A collation key; keys compare as their names do.
    class Key
    {
    public:
        int compare(const Key &o) const { return m_codeUnits ? m_name.compare(o.m_name) : m_key.compare(o.m_key); }

    private:
        friend class NameOrder;
        Key(QCollatorSortKey key, QString name, bool codeUnits)
            : m_key(std::move(key)), m_name(std::move(name)), m_codeUnits(codeUnits) {}
        QCollatorSortKey m_key;
        QString m_name;
        bool m_codeUnits;
    };

    // Per thread, as collators are not shared between threads. Rebuilt when the default locale
    // changes; every list sorted under the old order then counts as unsorted (epoch()).
    static NameOrder &current()
    {
        thread_local NameOrder order;
        const QLocale now;
        if (now != order.m_defaultLocale)
            order.rebuild(now);
        return order;
    }

    int compare(const QString &a, const QString &b) const
    {
        return m_codeUnits ? a.compare(b) : m_collator.compare(a, b);
    }
    Key key(const QString &name) const
    {
        if (m_codeUnits)
            return Key(m_emptyKey, name, true);
        return Key(m_collator.sortKey(name), QString(), false);
    }
    Key emptyKey() const { return Key(m_emptyKey, QString(), m_codeUnits); }
    quint32 epoch() const { return m_epoch; }

private:
    NameOrder() : m_emptyKey(QCollator(QLocale::c()).sortKey(QString())) { rebuild(QLocale()); }

    void rebuild(const QLocale &defaultLocale)
    {
        static std::atomic<quint32> epochs{0};
        m_defaultLocale = defaultLocale;
        m_collator = QCollator(defaultLocale.collation());
        m_codeUnits = m_collator.locale().language() == QLocale::C;
        m_emptyKey = m_collator.sortKey(QString());
        m_epoch = ++epochs;
    }

    QLocale m_defaultLocale;
    QCollator m_collator;
    QCollatorSortKey m_emptyKey;
    bool m_codeUnits = false;
    quint32 m_epoch = 0;
};

bool lessThan(const ContactsTreeItem *a, const ContactsTreeItem *b, const NameOrder &names)
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
        return names.compare(a->name(), b->name()) < 0;
    return a->sortNum() < b->sortNum();
}

// Lists from this length on are sorted by collation keys: each name gets its key once instead
// of taking part in n·log n collator comparisons. ORV_KEYFROM moves the threshold (tests use
// it to run the key path on short lists).
int keySortFrom()
{
    static const int from = qEnvironmentVariableIsSet("ORV_KEYFROM") ? qEnvironmentVariableIntValue("ORV_KEYFROM") : 1000;
    return from;
}

} // namespace

bool ContactsTreeItem::compareItem(const ContactsTreeItem *a, const ContactsTreeItem *b)
{
    return lessThan(a, b, NameOrder::current());
}

int ContactsTreeItem::compareNames(const QString &a, const QString &b)
{
    return NameOrder::current().compare(a, b);
}

bool ContactsTreeItem::isChildOrderValid() const
{
    return m_sortedEpoch != 0 && m_sortedEpoch == NameOrder::current().epoch();
}

void ContactsTreeItem::markChildOrderValid()
{
    m_sortedEpoch = NameOrder::current().epoch();
}

void ContactsTreeItem::appendChild(AbstractTreeItem *item)
{
    AbstractTreeItem::appendChild(item);
    invalidateChildOrder();
}

bool ContactsTreeItem::sortChildren()
{
    if (isChildOrderValid())
        return false;
    const NameOrder &names = NameOrder::current();
    m_sortedEpoch = names.epoch();
    auto &list = refChildren();
    if (list.size() < 2)
        return false;
    const QList<AbstractTreeItem *> before = list;
    auto less = [&names](AbstractTreeItem *a, AbstractTreeItem *b) {
        return lessThan(static_cast<ContactsTreeItem *>(a), static_cast<ContactsTreeItem *>(b), names);
    };

    if (list.size() < keySortFrom()) {
        std::stable_sort(list.begin(), list.end(), less);
    } else {
        // The same order as lessThan's, with the name comparison replaced by its key's.
        struct Key {
            int rank;
            int tie;
            qint64 num;
            NameOrder::Key name;
            AbstractTreeItem *item;
        };
        const NameOrder::Key emptyKey = names.emptyKey();
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
                    k.name = names.key(c->m_name);
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

void ContactsTreeItem::sortChanged()
{
    sortChildren();
    if (m_type != Root && !isZoomType(m_type))
        return;
    for (int i = 0; i < childCount(); ++i) {
        ContactsTreeItem *c = childItem(i);
        if (isZoomType(c->type()))
            c->sortChanged();
    }
}

void ContactsTreeItem::sort()
{
    // The children may have come by any route (the base class's appendChild, refChildren()), so
    // the mark is not trusted: a list out of order is always sorted, one in order costs n - 1
    // comparisons.
    const auto &list = refChildren();
    const NameOrder &names = NameOrder::current();
    const bool inOrder = std::is_sorted(list.begin(), list.end(), [&names](AbstractTreeItem *a, AbstractTreeItem *b) {
        return lessThan(static_cast<ContactsTreeItem *>(a), static_cast<ContactsTreeItem *>(b), names);
    });
    if (inOrder)
        markChildOrderValid();
    else
        invalidateChildOrder();
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
