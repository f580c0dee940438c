// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>

/**
 * A node of a tree model: a parent pointer and an ordered list of owned children.
 * Constructing a node with a parent appends it to that parent.
 */
class AbstractTreeItem
{
public:
    explicit AbstractTreeItem(AbstractTreeItem *parent = nullptr);
    virtual ~AbstractTreeItem();

    AbstractTreeItem(const AbstractTreeItem &) = delete;
    AbstractTreeItem &operator=(const AbstractTreeItem &) = delete;

    AbstractTreeItem *parent() const { return m_parent; }
    int childCount() const { return m_children.size(); }
    AbstractTreeItem *child(int row) const { return m_children.value(row); }
    QList<AbstractTreeItem *> children() const { return m_children; }
    /// The children by reference, for sorting in place.
    QList<AbstractTreeItem *> &refChildren() { return m_children; }

    /// Appends and adopts; the item is taken from its former parent first.
    void appendChild(AbstractTreeItem *item);
    /// Detaches and deletes one child.
    void removeChild(AbstractTreeItem *item);
    /// Deletes every child.
    void removeChild();
    /// Detaches one child without deleting it; the caller owns it.
    AbstractTreeItem *takeChild(AbstractTreeItem *item);

    /// Position among the parent's children, -1 for a root.
    int row() const;

private:
    AbstractTreeItem *m_parent = nullptr;
    QList<AbstractTreeItem *> m_children;
    // Where this node was last found in its parent's list; checked before it is trusted,
    // because the list may be reordered in place through refChildren().
    mutable int m_rowHint = 0;
};
