// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "abstracttreeitem.h"

#include <QAbstractItemModel>
#include <memory>

/// A one-column item model over a tree of AbstractTreeItem; an index's internal pointer is its node.
class AbstractTreeModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    explicit AbstractTreeModel(QObject *parent = nullptr);
    ~AbstractTreeModel() override;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;

    AbstractTreeItem *root() const { return m_root.get(); }
    /// The node of an index; the root for an invalid index.
    AbstractTreeItem *itemFromIndex(const QModelIndex &index) const;
    /// The index of a node; invalid for the root or null.
    QModelIndex indexFromItem(const AbstractTreeItem *item) const;

protected:
    /// Takes ownership of the new root; the old tree is deleted.
    void setRoot(AbstractTreeItem *root);

private:
    std::unique_ptr<AbstractTreeItem> m_root;
};
