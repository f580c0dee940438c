// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ContactsSearch.h"

#include <QPointer>
#include <QSet>
#include <QSortFilterProxyModel>

class ContactsTreeModel;

/**
 * The view of the contacts tree that pickers and panels show: the tree's own order, filtered by
 * node kind, by school, by enabled state and by a search text (see ContactsSearch). A node that
 * matches keeps its ancestors; fixed headings and departments show only through what they hold.
 * Without any filter the proxy passes the tree through unchanged.
 *
 * The filter is decided over the search index, not by walking the tree from the proxy: every
 * node that passes is marked with its ancestors in one pass, and the proxy only reads the marks.
 * A search text change is published as a layout change, so a view maps only the rows it shows.
 *
 * The source must be a ContactsTreeModel. The custom course id of the tree model
 * (ContactsTreeModel::setCustomCourseId) hides that course and its class chat, so a class is not
 * offered to itself.
 */
class ContactsSortFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit ContactsSortFilterModel(QObject *parent = nullptr);
    ~ContactsSortFilterModel() override;

    /// Only a ContactsTreeModel is taken; anything else is refused with a log line.
    void setSourceModel(QAbstractItemModel *sourceModel) override;
    ContactsTreeModel *contactsModel() const;

    /// Item types (ContactsTreeItem::ItemType) that may match; empty means all.
    void setFilterTypes(const QSet<int> &types);
    QSet<int> filterTypes() const { return m_types; }
    /// Only what belongs to this school: its chart, its classes and their members, its groups.
    void setFilterSchool(quint64 schoolId);
    void clearFilterSchool() { setFilterSchool(0); }
    quint64 filterSchool() const { return m_schoolId; }
    void setFilterEnabledOnly(bool enabledOnly);
    bool filterEnabledOnly() const { return m_enabledOnly; }

    void setSearchText(const QString &text);
    QString searchText() const { return m_searchText; }
    ContactsSearch *contactsSearch() const { return m_search; }
    /// NoMatch for rows shown only as ancestors, or when there is no search text.
    ContactsSearch::Rank matchRank(const QModelIndex &proxyIndex) const;
    /// Proxy indexes of the ancestors of the first maxMatches matches, parents before children,
    /// for a view to expand. An ancestor showing more than maxRows rows is left out (with what is
    /// below it): a view laying out thousands of rows per keystroke would lag behind the typing.
    QModelIndexList matchAncestors(int maxMatches = 500, int maxRows = 300) const;

    /// Whether any filter is set.
    bool isFiltering() const;

Q_SIGNALS:
    void searchTextChanged(const QString &text);
    /// The rows the filter lets through have changed (filter settings or the search's matches).
    void filterChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    void refilter();
    bool acceptsNode(const ContactsTreeItem *item) const;
    void updateKept() const;
    void onSearchIndexChanged();
    bool inSchool(const ContactsTreeItem *item) const;

    ContactsSearch *m_search = nullptr;
    QSet<int> m_types;
    quint64 m_schoolId = 0;
    bool m_enabledOnly = false;
    QString m_searchText;
    bool m_refilterQueued = false;
    // With a search text: the matches that pass the other filters, and their ancestors.
    mutable std::vector<quint8> m_kept;
    mutable std::vector<int> m_keptEntries;
    mutable quint64 m_keptGeneration = ~quint64(0);
    mutable quint64 m_keptCourseId = 0;
    // The children of the parent asked for last: the proxy asks row after row of one parent.
    mutable const void *m_lastParent = nullptr;
    mutable const std::vector<int> *m_lastChildren = nullptr;
    mutable quint64 m_lastLayoutGeneration = ~quint64(0);
    quint64 m_filterGeneration = 0;
};
