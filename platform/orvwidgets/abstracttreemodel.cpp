#include "abstracttreemodel.h"

AbstractTreeModel::AbstractTreeModel(QObject *parent)
    : QAbstractItemModel(parent)
    , m_root(std::make_unique<AbstractTreeItem>())
{
}

AbstractTreeModel::~AbstractTreeModel() = default;

void AbstractTreeModel::setRoot(AbstractTreeItem *root)
{
    m_root.reset(root);
}

AbstractTreeItem *AbstractTreeModel::itemFromIndex(const QModelIndex &index) const
{
    if (!index.isValid())
        return m_root.get();
    return static_cast<AbstractTreeItem *>(index.internalPointer());
}

QModelIndex AbstractTreeModel::indexFromItem(const AbstractTreeItem *item) const
{
    if (!item || item == m_root.get() || !item->parent())
        return {};
    return createIndex(item->row(), 0, const_cast<AbstractTreeItem *>(item));
}

QModelIndex AbstractTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    if (column != 0 || row < 0 || (parent.isValid() && parent.column() != 0))
        return {};
    AbstractTreeItem *p = itemFromIndex(parent);
    AbstractTreeItem *c = p ? p->child(row) : nullptr;
    return c ? createIndex(row, 0, c) : QModelIndex();
}

QModelIndex AbstractTreeModel::parent(const QModelIndex &child) const
{
    if (!child.isValid())
        return {};
    return indexFromItem(itemFromIndex(child)->parent());
}

int AbstractTreeModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    AbstractTreeItem *p = itemFromIndex(parent);
    return p ? p->childCount() : 0;
}

int AbstractTreeModel::columnCount(const QModelIndex &) const
{
    return 1;
}
