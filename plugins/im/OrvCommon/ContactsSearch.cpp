// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsSearch.h"
#include "ContactsTreeModel.h"
#include "orvcommon_logging.h"

#include "contactsengine.h"

#include <QSet>
#include <algorithm>
#include <bitset>

using namespace OrvEngine;
using Item = ContactsTreeItem;
using Keys = ContactsPinyin::Keys;

namespace {

// Longest name part the mixed pinyin matcher looks at; the rest still matches as a substring.
constexpr int kMaxUnits = 64;
constexpr int kMaxQuery = ContactsSearch::MaxQueryLength;

bool isFixedHeading(int type)
{
    switch (type) {
    case Item::MyGroupsZoom: case Item::MyFriendsZoom: case Item::PublicCourseZoom: case Item::SingleUsersZoom:
    case Item::NewFriendsZoom: case Item::RecentZoom: case Item::PublicCourseSubZoom19: case Item::PublicCourseSubZoom20:
    case Item::PublicCourseSubZoom21: case Item::Root:
        return true;
    default:
        return false;
    }
}

bool isPersonNode(const Item *item)
{
    switch (item->type()) {
    case Item::Friend: case Item::Employee: case Item::SchoolEmployee: case Item::ClassMember: case Item::SingleUser:
        return true;
    case Item::RecentChat:
        return item->value().type() == User;
    default:
        return false;
    }
}

// The number a user may type to find the node: a person's uid, a class's or group's number.
quint64 searchableId(const Item *item)
{
    switch (item->type()) {
    case Item::Friend: case Item::Employee: case Item::SchoolEmployee: case Item::SingleUser: case Item::Group:
    case Item::Course: case Item::ClassZoom: case Item::RecentChat:
        return item->value().id();
    case Item::ClassMember:
        return item->uid() ? item->uid() : item->value().id();
    default:
        return 0;
    }
}

bool hasAllAscii(const Keys &k, const QVector<char32_t> &q)
{
    for (char32_t c : q) {
        if (c < 128 && !(k.asciiMask[c >> 6] & (quint64(1) << (c & 63))))
            return false;
    }
    return true;
}

bool startsWithAt(const QString &s, const QVector<char32_t> &q, int from)
{
    // s is ASCII (a syllable); q from 'from' must start with s.
    if (q.size() - from < s.size())
        return false;
    for (int i = 0; i < s.size(); ++i) {
        if (q[from + i] != s.at(i).unicode())
            return false;
    }
    return true;
}

bool isPrefixOfAt(const QVector<char32_t> &q, int from, const QString &s)
{
    // The rest of q, from 'from', is a proper beginning of s.
    const int rest = q.size() - from;
    if (rest <= 0 || rest >= s.size())
        return false;
    for (int i = 0; i < rest; ++i) {
        if (q[from + i] != s.at(i).unicode())
            return false;
    }
    return true;
}

// Whether the query matches the name's characters from unit 'start' on, each character typed as
// itself, as its full syllable or as its initial; the query may end inside a syllable.
bool mixedMatch(const Keys &k, const QVector<char32_t> &q, int start)
{
    const int n = std::min(int(k.units.size()), kMaxUnits);
    const int m = q.size();
    if (m == 0 || start >= n)
        return false;
    // States (unit, query position) already tried; only the words in use are cleared.
    constexpr int kWords = ((kMaxUnits + 1) * (kMaxQuery + 1) + 63) / 64;
    quint64 seen[kWords];
    const int width = m + 1;
    const int used = ((n + 1) * width + 63) / 64;
    std::fill(seen, seen + used, quint64(0));
    struct State { int i, j; };
    State stack[(kMaxUnits + 1) * 4];
    int top = 0;
    auto push = [&](int i, int j) {
        const int key = i * width + j;
        if ((seen[key >> 6] >> (key & 63)) & 1 || top >= int(sizeof(stack) / sizeof(stack[0])))
            return;
        seen[key >> 6] |= quint64(1) << (key & 63);
        stack[top++] = {i, j};
    };
    push(start, 0);
    while (top > 0) {
        const State s = stack[--top];
        if (s.j == m)
            return true;
        if (s.i >= n)
            continue;
        const char32_t c = q[s.j];
        if (k.codes[s.i] == c)
            push(s.i + 1, s.j + 1);
        const QString &syl = k.units[s.i];
        const bool han = syl.size() > 1 || (syl.size() == 1 && syl.at(0).unicode() != k.codes[s.i]);
        if (!han)
            continue;
        for (int alt = 0; alt < 2; ++alt) {
            const QString &reading = alt == 0 ? syl : k.altFirst;
            if (alt == 1 && (s.i != 0 || reading.isEmpty()))
                break;
            if (c != reading.at(0).unicode())
                continue;
            if (isPrefixOfAt(q, s.j, reading))
                return true; // the query ends inside this syllable
            if (startsWithAt(reading, q, s.j))
                push(s.i + 1, s.j + reading.size());
            push(s.i + 1, s.j + 1); // the initial only
        }
    }
    return false;
}

QVector<char32_t> toCodes(const QString &s)
{
    QVector<char32_t> out;
    const QVector<uint> codePoints = s.toUcs4();
    out.reserve(codePoints.size());
    for (const uint c : codePoints)
        out.append(c);
    return out;
}

QString withoutSpaces(const QString &s)
{
    QString out;
    out.reserve(s.size());
    for (const QChar c : s) {
        if (!c.isSpace())
            out.append(c);
    }
    return out;
}

bool allDigits(const QString &s)
{
    if (s.isEmpty())
        return false;
    return std::all_of(s.begin(), s.end(), [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
}

// The per-query data the rank of a name needs.
struct Query
{
    QString text;    // normalized
    QString compact; // without spaces
    QVector<char32_t> codes;
    bool asciiOnly = true;
    bool digits = false;
    quint64 number = 0;
    int numberLength = 0;

    explicit Query(const QString &normalized)
        : text(normalized)
        , compact(withoutSpaces(normalized))
        , codes(toCodes(compact))
    {
        asciiOnly = std::all_of(codes.begin(), codes.end(), [](char32_t c) { return c < 128; });
        digits = allDigits(compact) && compact.size() <= 19 && !compact.startsWith(QLatin1Char('0'));
        if (digits) {
            number = compact.toULongLong();
            numberLength = compact.size();
        }
    }
};

ContactsSearch::Rank rankKeys(const Keys &k, const Query &q)
{
    if (q.compact.isEmpty() || !hasAllAscii(k, q.codes))
        return ContactsSearch::NoMatch;
    if (k.folded == q.text || k.compact == q.compact)
        return ContactsSearch::Exact;
    if (k.folded.startsWith(q.text) || k.compact.startsWith(q.compact))
        return ContactsSearch::Prefix;
    if (k.initials.startsWith(q.compact) || (!k.altInitials.isEmpty() && k.altInitials.startsWith(q.compact)))
        return ContactsSearch::Initials;
    if (k.hasHan) {
        if (k.full.startsWith(q.compact) || (!k.altFull.isEmpty() && k.altFull.startsWith(q.compact)) || mixedMatch(k, q.codes, 0))
            return ContactsSearch::Pinyin;
    }
    if (k.folded.contains(q.text) || k.compact.contains(q.compact))
        return ContactsSearch::Substring;
    if (k.hasHan) {
        const int n = std::min(int(k.units.size()), kMaxUnits);
        for (int start = 1; start < n; ++start) {
            if (k.units[start].at(0).unicode() == q.codes[0] || k.codes[start] == q.codes[0]) {
                if (mixedMatch(k, q.codes, start))
                    return ContactsSearch::Substring;
            }
        }
    }
    return ContactsSearch::NoMatch;
}

ContactsSearch::Rank rankId(quint64 id, const Query &q)
{
    if (!q.digits || id == 0)
        return ContactsSearch::NoMatch;
    if (id == q.number)
        return ContactsSearch::Exact;
    // A prefix of the decimal number: drop digits from the right until the lengths agree.
    int digits = 0;
    for (quint64 v = id; v; v /= 10)
        ++digits;
    if (digits <= q.numberLength)
        return ContactsSearch::NoMatch;
    quint64 v = id;
    for (int i = 0; i < digits - q.numberLength; ++i)
        v /= 10;
    return v == q.number ? ContactsSearch::Substring : ContactsSearch::NoMatch;
}

} // namespace

ContactsSearch::ContactsSearch(ContactsTreeModel *model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    // Nodes die in resets and removals: forget them before they go, rebuild on next use.
    connect(model, &QObject::destroyed, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::modelReset, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::rowsInserted, this, &ContactsSearch::markDirty);
    connect(model, &QAbstractItemModel::rowsMoved, this, &ContactsSearch::markDirty);
    // The tree's layout changes only reorder siblings: the nodes and their parents stay.
    connect(model, &QAbstractItemModel::layoutChanged, this, [this] {
        m_orderDirty = true;
        m_children.clear();
        ++m_layoutGeneration;
    });
    connect(model, &QAbstractItemModel::dataChanged, this, &ContactsSearch::onDataChanged);
    // Nicknames and cluster names behind a shown remark or alias are keys too.
    auto *contacts = ContactsEngine::instance();
    connect(contacts, &ContactsEngine::updateUserInfo, this, [this](const std::vector<quint64> &uids) {
        auto sorted = uids;
        std::sort(sorted.begin(), sorted.end());
        refillWhere([&sorted](const Entry &e) {
            return isPersonNode(e.item) && std::binary_search(sorted.begin(), sorted.end(), e.id);
        });
    });
    connect(contacts, &ContactsEngine::updateClusterInfo, this, [this](const std::vector<ClusterID> &clusters) {
        auto sorted = clusters;
        std::sort(sorted.begin(), sorted.end());
        refillWhere([&sorted](const Entry &e) {
            return (e.type == Item::Group || e.type == Item::RecentChat)
                && std::binary_search(sorted.begin(), sorted.end(), e.item->value());
        });
    });
}

ContactsSearch::~ContactsSearch() = default;

QString ContactsSearch::normalizeQuery(const QString &text)
{
    QString out;
    out.reserve(std::min(int(text.size()), MaxQueryLength));
    int count = 0;
    // Only the beginning of a pasted wall of text is looked at.
    const QVector<uint> codePoints = text.left(MaxQueryLength * 4).toUcs4();
    int pos = 0;
    for (; pos < codePoints.size() && count < MaxQueryLength; ++pos) {
        const char32_t c = codePoints[pos];
        const auto cat = QChar::category(c);
        if (cat == QChar::Other_Control || cat == QChar::Other_Format || cat == QChar::Other_NotAssigned
            || cat == QChar::Other_Surrogate || c == 0xFFFD)
            continue; // a lone surrogate arrives as U+FFFD
        if (QChar::isSpace(c)) {
            out.append(QLatin1Char(' '));
        } else {
            out.append(QString::fromUcs4(&c, 1));
        }
        ++count;
    }
    if (pos < codePoints.size() || text.size() > MaxQueryLength * 4)
        qCDebug(lcContacts) << "search text cut to" << MaxQueryLength << "characters";
    return out.simplified().toCaseFolded();
}

ContactsSearch::Group ContactsSearch::groupOf(int type)
{
    switch (type) {
    case Item::Friend:
        return Friends;
    case Item::Group: case Item::Course:
        return Groups;
    case Item::Employee: case Item::SchoolEmployee:
        return Colleagues;
    case Item::ClassMember:
        return ClassMembers;
    case Item::RecentChat:
        return RecentChats;
    case Item::CompanyZoom: case Item::DepartmentZoom: case Item::SchoolZoom: case Item::SchoolDepartmentZoom:
    case Item::ClassZoom:
        return Units;
    default:
        return OtherPeople;
    }
}

ContactsSearch::Rank ContactsSearch::rankName(const ContactsPinyin::Keys &keys, const QString &query)
{
    return rankKeys(keys, Query(query));
}

void ContactsSearch::markDirty()
{
    if (m_dirty && m_entries.empty())
        return;
    m_dirty = true;
    ++m_generation;
    ++m_layoutGeneration;
    m_children.clear();
    m_entries.clear();
    m_ranks.clear();
    m_entryOf.clear();
    m_matchedEntries.clear();
    Q_EMIT indexChanged();
}

void ContactsSearch::fillEntry(Entry &e) const
{
    const Item *item = e.item;
    e.extra.reset();
    if (isFixedHeading(item->type())) {
        e.keys.reset();
        return;
    }
    e.keys = ContactsPinyin::keys(item->name());
    if (isPersonNode(item)) {
        const quint64 uid = item->type() == Item::ClassMember && item->uid() ? item->uid() : item->value().id();
        if (const auto user = ContactsEngine::instance()->getUserInfo(uid)) {
            for (const QString &other : {user->nickname(), user->remark()}) {
                if (!other.isEmpty() && other != item->name()) {
                    e.extra = ContactsPinyin::keys(other);
                    break;
                }
            }
        }
    } else if (item->type() == Item::Group || (item->type() == Item::RecentChat && item->value().type() != User)) {
        // The shown name may be the user's alias for the group; its own name finds it too.
        if (const auto cluster = ContactsEngine::instance()->getClusterInfo(item->value())) {
            if (!cluster->name().isEmpty() && cluster->name() != item->name())
                e.extra = ContactsPinyin::keys(cluster->name());
        }
    }
}

void ContactsSearch::rebuild()
{
    // A rebuilt tree is about as large as the last one.
    const size_t expected = std::max(m_entries.size(), m_lastSize);
    m_entries.clear();
    m_entryOf.clear();
    m_entries.reserve(expected);
    m_entryOf.reserve(int(expected));
    m_matchedEntries.clear();
    m_keyed = 0;
    m_dirty = false;
    m_children.clear();
    ++m_layoutGeneration;
    m_order.clear();
    m_orderDirty = false;
    ++m_generation;
    if (!m_model) {
        m_ranks.clear();
        return;
    }
    // Depth first in tree order, so a parent's entry always comes before its children's.
    struct Frame {
        const Item *node;
        int entry;
        int next;
    };
    std::vector<Frame> stack;
    stack.push_back({m_model->rootItem(), -1, 0});
    while (!stack.empty()) {
        Frame &f = stack.back();
        if (f.next >= f.node->childCount()) {
            stack.pop_back();
            continue;
        }
        const Item *c = f.node->childItem(f.next++);
        Entry e{c, {}, {}, searchableId(c), f.entry, quint8(c->type())};
        fillEntry(e);
        if (e.keys)
            ++m_keyed;
        m_entries.push_back(std::move(e));
        const int self = int(m_entries.size()) - 1;
        m_entryOf.insert(c, self);
        if (c->childCount() > 0)
            stack.push_back({c, self, 0});
    }
    m_ranks.assign(m_entries.size(), quint8(NoMatch));
    m_lastSize = m_entries.size();
    // Names no longer in the tree need not stay cached.
    if (ContactsPinyin::cachedNames() > 2 * m_keyed + 1024)
        ContactsPinyin::trimNameCache();
    qCDebug(lcContacts) << "search index:" << m_entries.size() << "nodes," << m_keyed << "with names";
}

void ContactsSearch::ensureCurrent()
{
    if (!m_dirty)
        return;
    rebuild();
    const QString query = m_query;
    m_query.clear();
    if (!query.isEmpty())
        runMatch(query);
}

const std::vector<int> &ContactsSearch::childEntries(int parentEntry)
{
    ensureCurrent();
    auto it = m_children.find(parentEntry);
    if (it != m_children.end())
        return it->second;
    std::vector<int> &rows = m_children[parentEntry];
    const Item *parent = parentEntry < 0 ? (m_model ? m_model->rootItem() : nullptr) : itemAt(parentEntry);
    if (parent) {
        rows.reserve(size_t(parent->childCount()));
        for (int r = 0; r < parent->childCount(); ++r)
            rows.push_back(entryOf(parent->childItem(r)));
    }
    return rows;
}

int ContactsSearch::entryOf(const ContactsTreeItem *item) const
{
    return m_entryOf.value(item, -1);
}

ContactsSearch::Rank ContactsSearch::rankOf(const ContactsTreeItem *item)
{
    ensureCurrent();
    const int e = entryOf(item);
    return e < 0 ? NoMatch : Rank(m_ranks[size_t(e)]);
}

template<typename Q>
ContactsSearch::Rank ContactsSearch::rankEntry(const Entry &e, const Q &q)
{
    if (!e.keys)
        return NoMatch;
    Rank r = rankKeys(*e.keys, q);
    if (r != Exact && e.extra)
        r = std::min(r, rankKeys(*e.extra, q));
    if (r != Exact && q.digits)
        r = std::min(r, rankId(e.id, q));
    return r;
}

void ContactsSearch::runMatch(const QString &query)
{
    const Query q(query);
    // A query that extends the last one can only match fewer nodes.
    const bool narrow = !m_query.isEmpty() && query.startsWith(m_query);
    ++m_generation;
    std::vector<int> previous;
    previous.swap(m_matchedEntries);
    for (int i : previous)
        m_ranks[size_t(i)] = NoMatch;
    m_query = query;
    if (q.compact.isEmpty())
        return;
    auto consider = [&](int i) {
        const Rank r = rankEntry(m_entries[size_t(i)], q);
        if (r != NoMatch) {
            m_ranks[size_t(i)] = r;
            m_matchedEntries.push_back(i);
        }
    };
    if (narrow) {
        for (int i : previous)
            consider(i);
    } else {
        for (int i = 0; i < int(m_entries.size()); ++i)
            consider(i);
    }
}

int ContactsSearch::match(const QString &text)
{
    const QString query = normalizeQuery(text);
    if (m_dirty) {
        rebuild();
        m_query.clear();
    }
    if (query != m_query || query.isEmpty())
        runMatch(query);
    return int(m_matchedEntries.size());
}

QVector<ContactsSearch::Hit> ContactsSearch::search(const QString &text, int limit)
{
    match(text);
    struct Found {
        int entry;
        Rank rank;
        Group group;
    };
    std::vector<Found> found;
    found.reserve(m_matchedEntries.size());
    for (int i : m_matchedEntries)
        found.push_back({i, Rank(m_ranks[size_t(i)]), groupOf(m_entries[size_t(i)].type)});
    // Among equals the tree's order: the entry's number, or its place since siblings moved.
    if (m_orderDirty)
        updateOrder();
    auto orderOf = [this](int entry) { return m_order.empty() ? quint32(entry) : m_order[size_t(entry)]; };
    std::sort(found.begin(), found.end(), [&orderOf](const Found &a, const Found &b) {
        if (a.group != b.group)
            return a.group < b.group;
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return orderOf(a.entry) < orderOf(b.entry);
    });
    QVector<Hit> hits;
    QSet<QPair<int, quint64>> seen; // one hit per group and person or chat
    for (const Found &f : found) {
        if (limit >= 0 && hits.size() >= limit)
            break;
        const Entry &e = m_entries[size_t(f.entry)];
        const ClusterID value = e.item->value();
        const quint64 who = isPersonNode(e.item) ? (e.id | (quint64(1) << 63)) : (value.id() ^ (quint64(value.type()) << 56));
        if (seen.contains({int(f.group), who}))
            continue;
        seen.insert({int(f.group), who});
        hits.append({e.item, value, e.type, e.item->name(), f.rank, f.group});
    }
    return hits;
}

bool ContactsSearch::refill(int i)
{
    Entry &e = m_entries[size_t(i)];
    const auto oldKeys = e.keys;
    const auto oldExtra = e.extra;
    fillEntry(e);
    if (e.keys == oldKeys && e.extra == oldExtra)
        return false;
    if (!m_query.isEmpty()) {
        // Keep the matches of the current query true for this node.
        const Rank r = rankEntry(e, Query(m_query));
        const bool was = m_ranks[size_t(i)] != NoMatch;
        m_ranks[size_t(i)] = r;
        if (was && r == NoMatch)
            m_matchedEntries.erase(std::remove(m_matchedEntries.begin(), m_matchedEntries.end(), i), m_matchedEntries.end());
        else if (!was && r != NoMatch)
            m_matchedEntries.insert(std::lower_bound(m_matchedEntries.begin(), m_matchedEntries.end(), i), i);
    }
    return true;
}

template<typename Pred>
void ContactsSearch::refillWhere(Pred &&pred)
{
    if (m_dirty)
        return;
    bool changed = false;
    for (int i = 0; i < int(m_entries.size()); ++i) {
        if (m_entries[size_t(i)].keys && pred(m_entries[size_t(i)]))
            changed = refill(i) || changed;
    }
    if (changed) {
        ++m_generation;
        Q_EMIT indexChanged();
    }
}

void ContactsSearch::onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QVector<int> &roles)
{
    if (m_dirty || !m_model)
        return;
    if (!roles.isEmpty() && !roles.contains(ContactsTreeModel::NameRole) && !roles.contains(Qt::DisplayRole))
        return;
    const QModelIndex parent = topLeft.parent();
    bool changed = false;
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const int i = entryOf(m_model->item(m_model->index(row, 0, parent)));
        if (i >= 0)
            changed = refill(i) || changed;
    }
    if (changed) {
        ++m_generation;
        Q_EMIT indexChanged();
    }
}

void ContactsSearch::updateOrder()
{
    // Siblings moved since the last build: number the entries in the tree's order again.
    m_order.assign(m_entries.size(), 0);
    std::vector<std::pair<const Item *, int>> stack;
    stack.emplace_back(m_model->rootItem(), 0);
    quint32 n = 0;
    while (!stack.empty()) {
        auto &[node, next] = stack.back();
        if (next >= node->childCount()) {
            stack.pop_back();
            continue;
        }
        const Item *c = node->childItem(next++);
        const int e = entryOf(c);
        if (e >= 0)
            m_order[size_t(e)] = n++;
        if (c->childCount() > 0)
            stack.emplace_back(c, 0);
    }
    m_orderDirty = false;
}
