// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ContactsPinyin.h"
#include "ContactsTreeItem.h"
#include "clusterid.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QVector>
#include <unordered_map>
#include <vector>

class ContactsTreeModel;

/**
 * Contact search over the contacts tree: a name is found by its characters, its full pinyin, its
 * pinyin initials, a remark or alias, and a person's uid or a class's number; Latin letters
 * case-insensitively. Results are ranked (exact name, prefix, initials, pinyin, substring) and
 * grouped by kind.
 *
 * The search keys of every node are built once from the tree (names keyed through
 * ContactsPinyin's caches) and kept current from the model's signals; a query only compares
 * strings. A query that extends the previous one only looks at the previous matches.
 */
class ContactsSearch : public QObject
{
    Q_OBJECT
public:
    enum Rank : quint8 { Exact = 0, Prefix, Initials, Pinyin, Substring, NoMatch };
    Q_ENUM(Rank)

    /// Result groups, in the order they are listed.
    enum Group : quint8 { Friends = 0, Groups, Colleagues, ClassMembers, RecentChats, Units, OtherPeople };
    Q_ENUM(Group)

    struct Hit
    {
        const ContactsTreeItem *item = nullptr;
        OrvEngine::ClusterID value;
        int type = 0;
        QString name;
        Rank rank = NoMatch;
        Group group = OtherPeople;
    };

    /// Queries are cut to this many characters (a longer one cannot be typed into a search box).
    static constexpr int MaxQueryLength = 128;

    explicit ContactsSearch(ContactsTreeModel *model, QObject *parent = nullptr);
    ~ContactsSearch() override;

    /// The query as it is matched: case-folded, control and format characters removed, cut to
    /// MaxQueryLength characters, surrounding spaces trimmed.
    static QString normalizeQuery(const QString &text);

    /// Ranked and grouped hits (each value once per group), at most limit of them (all when < 0).
    QVector<Hit> search(const QString &text, int limit = -1);

    /// Matches a query against every node; returns the number of matching nodes. The matches
    /// stay readable (rankOf, matchedEntries) until the tree changes or the next call.
    int match(const QString &text);
    /// The query of the last match(), normalized.
    QString currentQuery() const { return m_query; }
    /// Rank of a node for the last query, brought up to date first when the tree changed.
    Rank rankOf(const ContactsTreeItem *item);

    // The index itself, for filters: one entry per node of the tree, parents before children.
    /// Brings the index and the last query's matches up to date with the tree.
    void ensureCurrent();
    int entryCount() const { return int(m_entries.size()); }
    /// -1 for a node that is not in the index.
    int entryOf(const ContactsTreeItem *item) const;
    const ContactsTreeItem *itemAt(int entry) const { return m_entries[size_t(entry)].item; }
    /// -1 for a child of the root.
    int parentOf(int entry) const { return m_entries[size_t(entry)].parent; }
    Rank rankAt(int entry) const { return Rank(m_ranks[size_t(entry)]); }
    /// The entries of a node's children by row (-1 for a child of the root). Kept until the
    /// tree changes, so a filter reading row after row needs no lookup per row.
    const std::vector<int> &childEntries(int parentEntry);
    /// Changes whenever childEntries() may answer differently.
    quint64 layoutGeneration() const { return m_layoutGeneration; }
    /// Entries that matched the last query, in tree order.
    const std::vector<int> &matchedEntries() const { return m_matchedEntries; }

    /// Rank of a name against a normalized query (NoMatch when it does not match).
    static Rank rankName(const ContactsPinyin::Keys &keys, const QString &query);
    static Group groupOf(int itemType);

    /// Builds the keys of every node now (otherwise done on first use after a change).
    void rebuild();
    /// Nodes with search keys (headings without a name of their own are left out).
    int size() const { return m_keyed; }
    bool isCurrent() const { return !m_dirty; }
    /// Changes whenever the index or the matches change.
    quint64 generation() const { return m_generation; }

Q_SIGNALS:
    /// The tree changed so that the matches of the current query may differ.
    void indexChanged();

private:
    struct Entry
    {
        const ContactsTreeItem *item;
        ContactsPinyin::KeysPtr keys;  ///< null for fixed headings
        ContactsPinyin::KeysPtr extra; ///< the person's nickname or remark when it is not the shown name
        quint64 id;
        int parent;
        quint8 type;
    };

    void markDirty();
    void onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QVector<int> &roles);
    /// Keys the entry again; true when its keys changed.
    bool refill(int entry);
    template<typename Pred>
    void refillWhere(Pred &&pred);
    void updateOrder();
    void fillEntry(Entry &e) const;
    template<typename Q>
    static Rank rankEntry(const Entry &e, const Q &query);
    void runMatch(const QString &query);

    QPointer<ContactsTreeModel> m_model;
    std::vector<Entry> m_entries;
    std::vector<quint8> m_ranks;       // per entry, for the last query
    QHash<const ContactsTreeItem *, int> m_entryOf;
    int m_keyed = 0;
    size_t m_lastSize = 0;
    quint64 m_generation = 0;
    bool m_dirty = true;
    QString m_query;
    std::vector<int> m_matchedEntries; // in entry order; narrowed by a query that extends the last
    std::vector<quint32> m_order;      // tree order of each entry after siblings moved
    bool m_orderDirty = false;
    std::unordered_map<int, std::vector<int>> m_children; // by parent entry, filled on demand
    quint64 m_layoutGeneration = 0;
};
