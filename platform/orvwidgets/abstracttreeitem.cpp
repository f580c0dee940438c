#include "abstracttreeitem.h"

AbstractTreeItem::AbstractTreeItem(AbstractTreeItem *parent)
{
    if (parent)
        parent->appendChild(this);
}

AbstractTreeItem::~AbstractTreeItem()
{
    qDeleteAll(m_children);
}

void AbstractTreeItem::appendChild(AbstractTreeItem *item)
{
    if (!item)
        return;
    if (item->m_parent)
        item->m_parent->takeChild(item);
    item->m_parent = this;
    item->m_rowHint = m_children.size();
    m_children.append(item);
}

void AbstractTreeItem::removeChild(AbstractTreeItem *item)
{
    delete takeChild(item);
}

void AbstractTreeItem::removeChild()
{
    const auto children = std::move(m_children);
    m_children.clear();
    qDeleteAll(children);
}

AbstractTreeItem *AbstractTreeItem::takeChild(AbstractTreeItem *item)
{
    if (!item || item->m_parent != this)
        return nullptr;
    const int r = item->row();
    m_children.removeAt(r);
    item->m_parent = nullptr;
    return item;
}

int AbstractTreeItem::row() const
{
    if (!m_parent)
        return -1;
    const auto &siblings = m_parent->m_children;
    if (m_rowHint < siblings.size() && siblings.at(m_rowHint) == this)
        return m_rowHint;
    m_rowHint = siblings.indexOf(const_cast<AbstractTreeItem *>(this));
    return m_rowHint;
}
