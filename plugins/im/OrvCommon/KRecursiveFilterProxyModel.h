// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QSortFilterProxyModel>

/**
 * A filter proxy that keeps the ancestors of every row it accepts, so a match deep in a tree
 * stays reachable. Subclasses decide per row in acceptRow(); the walk through the descendants
 * is Qt's own recursive filtering.
 */
class KRecursiveFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit KRecursiveFilterProxyModel(QObject *parent = nullptr);
    ~KRecursiveFilterProxyModel() override;

    /// Searches below start at every depth, not only among its siblings.
    QModelIndexList match(const QModelIndex &start, int role, const QVariant &value, int hits = 1,
                          Qt::MatchFlags flags = Qt::MatchFlags(Qt::MatchStartsWith | Qt::MatchWrap)) const override;

protected:
    /// Whether this row matches by itself. The default is QSortFilterProxyModel's test (the
    /// filter expression on the filter key column and role).
    virtual bool acceptRow(int sourceRow, const QModelIndex &sourceParent) const;

    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const final;
};
