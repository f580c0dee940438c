#include "ContactsTreeItem.h"

#include "contactsengine.h"
#include "orvlang.h"

#include "orvcommon_logging.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <atomic>
#include <cstring>

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

// The one order of names: one ICU collator of the collation locale, set up as QCollator sets
// up its own (so the order is the one QString::localeAwareCompare follows), used directly so
// that a sort key costs one call into a reused buffer. Comparisons and keys come from the same
// collator, so a list sorted by keys is sorted for compare() too. Under the C locale (and
// without a usable collator, as QCollator then does) names compare by UTF-16 code units.
class NameOrder
{
public:
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

    NameOrder(const NameOrder &) = delete;
    NameOrder &operator=(const NameOrder &) = delete;
    ~NameOrder() { close(); }

    bool byCodeUnits() const { return !m_collator; }

    int compare(const QString &a, const QString &b) const
    {
        if (!m_collator)
            return a.compare(b);
        return ucol_strcoll(m_collator, chars(a), a.size(), chars(b), b.size());
    }

    // Appends the collation key of name, its terminating zero included, to keys. Keys compare
    // with memcmp as their names do with compare(). Needs a collator.
    void appendKey(const QString &name, std::vector<uint8_t> &keys) const
    {
        uint8_t buffer[256];
        const int32_t size = ucol_getSortKey(m_collator, chars(name), name.size(), buffer, int32_t(sizeof buffer));
        if (size <= int32_t(sizeof buffer)) {
            keys.insert(keys.end(), buffer, buffer + size);
            return;
        }
        const size_t at = keys.size();
        keys.resize(at + size_t(size));
        ucol_getSortKey(m_collator, chars(name), name.size(), keys.data() + at, size);
    }

    quint32 epoch() const { return m_epoch; }

private:
    NameOrder() { rebuild(QLocale()); }

    static const UChar *chars(const QString &s) { return reinterpret_cast<const UChar *>(s.constData()); }

    void close()
    {
        if (m_collator)
            ucol_close(m_collator);
        m_collator = nullptr;
    }

    void rebuild(const QLocale &defaultLocale)
    {
        static std::atomic<quint32> epochs{0};
        close();
        m_defaultLocale = defaultLocale;
        m_epoch = ++epochs;
        const QLocale collation = defaultLocale.collation();
        if (collation.language() == QLocale::C)
            return;
        UErrorCode status = U_ZERO_ERROR;
        const QByteArray name = collation.bcp47Name().replace('-', '_').toLatin1();
        m_collator = ucol_open(name.constData(), &status);
        if (U_FAILURE(status)) {
            qCWarning(lcContacts) << "no collator for" << name << u_errorName(status) << "- names order by code units";
            close();
            return;
        }
        // QCollator's defaults: normalised, case-sensitive, numbers as text, punctuation counted.
        ucol_setAttribute(m_collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
        ucol_setAttribute(m_collator, UCOL_STRENGTH, UCOL_DEFAULT_STRENGTH, &status);
        ucol_setAttribute(m_collator, UCOL_NUMERIC_COLLATION, UCOL_OFF, &status);
        ucol_setAttribute(m_collator, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
        if (U_FAILURE(status)) {
            qCWarning(lcContacts) << "collator for" << name << "not set up:" << u_errorName(status) << "- names order by code units";
            close();
        }
    }

    QLocale m_defaultLocale;
    UCollator *m_collator = nullptr;
    quint32 m_epoch = 0;
};

bool lessThan(const ContactsTreeItem *a, const ContactsTreeItem *b, const NameOrder &names)
{
    if (a->type() != b->type()) {
        const int ra = ContactsTreeItem::toSortNum(a->type());
        const int rb = ContactsTreeItem::toSortNum(b->type());
        if (ra != rb)
            return ra < rb;
        return typeTieBreak(a->type()) < typeTieBreak(b->type());
    }
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

    if (list.size() < keySortFrom() || names.byCodeUnits()) {
        std::stable_sort(list.begin(), list.end(), less);
    } else {
        // The same order as lessThan's, with the name comparison replaced by its key's. Each
        // name gets its key once, into one buffer for the whole list.
        struct Key {
            int rank;
            int tie;
            qint64 num;
            quint32 at; // name key in bytes, when the node sorts by name
            quint32 size;
            AbstractTreeItem *item;
        };
        std::vector<Key> keys;
        keys.reserve(size_t(list.size()));
        std::vector<uint8_t> bytes;
        bytes.reserve(size_t(list.size()) * 32);
        for (AbstractTreeItem *node : list) {
            const auto *c = static_cast<ContactsTreeItem *>(node);
            Key k{toSortNum(c->m_type), typeTieBreak(c->m_type), 0, 0, 0, node};
            if (c->m_type == RecentChat) {
                k.num = -qint64(c->m_lastMsgTime);
            } else {
                k.num = c->m_sortNum;
                if (c->m_sortNum == -1) {
                    k.at = quint32(bytes.size());
                    names.appendKey(c->m_name, bytes);
                    k.size = quint32(bytes.size()) - k.at;
                }
            }
            keys.push_back(k);
        }
        const uint8_t *data = bytes.data();
        std::stable_sort(keys.begin(), keys.end(), [data](const Key &a, const Key &b) {
            if (a.rank != b.rank)
                return a.rank < b.rank;
            if (a.tie != b.tie)
                return a.tie < b.tie;
            if (a.num != b.num)
                return a.num < b.num;
            // Keys end with a zero byte that no other byte of a key is, so the shorter
            // common length decides as the whole keys would.
            return std::memcmp(data + a.at, data + b.at, std::min(a.size, b.size)) < 0;
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
