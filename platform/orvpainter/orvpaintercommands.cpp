// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpaintercommands.h"
#include "orvpainterdata.h"

#include <QGraphicsScene>

namespace OrvPainterBase {

namespace {

void putIn(LayerData *data, QGraphicsItem *item)
{
    if (item->scene() != data->scene())
        data->scene()->addItem(item);
}

void takeOut(LayerData *data, QGraphicsItem *item)
{
    if (item->scene() == data->scene()) {
        item->setSelected(false);
        data->scene()->removeItem(item);
    }
}

} // namespace

// --- AddItemsCommand ---

AddItemsCommand::AddItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QString &text)
    : QUndoCommand(text)
    , m_data(data)
    , m_items(items)
{
    for (QGraphicsItem *item : m_items)
        m_data->retain(item);
}

AddItemsCommand::~AddItemsCommand()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        m_data->release(item);
}

void AddItemsCommand::redo()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        putIn(m_data, item);
}

void AddItemsCommand::undo()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        takeOut(m_data, item);
}

// --- RemoveItemsCommand ---

RemoveItemsCommand::RemoveItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QString &text)
    : QUndoCommand(text)
    , m_data(data)
    , m_items(items)
{
    for (QGraphicsItem *item : m_items)
        m_data->retain(item);
}

RemoveItemsCommand::~RemoveItemsCommand()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        m_data->release(item);
}

void RemoveItemsCommand::redo()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        takeOut(m_data, item);
}

void RemoveItemsCommand::undo()
{
    // Items keep their z values, so they come back in their stacking order.
    for (QGraphicsItem *item : qAsConst(m_items))
        putIn(m_data, item);
}

// --- MoveItemsCommand ---

MoveItemsCommand::MoveItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QVector<QPointF> &from,
                                   const QVector<QPointF> &to)
    : QUndoCommand(QStringLiteral("move"))
    , m_data(data)
    , m_items(items)
    , m_from(from)
    , m_to(to)
{
    for (QGraphicsItem *item : m_items)
        m_data->retain(item);
}

MoveItemsCommand::~MoveItemsCommand()
{
    for (QGraphicsItem *item : qAsConst(m_items))
        m_data->release(item);
}

void MoveItemsCommand::redo()
{
    for (int i = 0; i < m_items.size(); ++i)
        m_items[i]->setPos(m_to.at(i));
}

void MoveItemsCommand::undo()
{
    for (int i = 0; i < m_items.size(); ++i)
        m_items[i]->setPos(m_from.at(i));
}

// --- EraseCommand ---

EraseCommand::EraseCommand(LayerData *data, const QVector<Change> &changes)
    : QUndoCommand(QStringLiteral("erase"))
    , m_data(data)
    , m_changes(changes)
{
    for (const Change &c : m_changes)
        m_data->retain(c.item);
}

EraseCommand::~EraseCommand()
{
    for (const Change &c : qAsConst(m_changes))
        m_data->release(c.item);
}

EraseCommand::Shape EraseCommand::shapeOf(const PathAnnotation *item)
{
    return Shape{item->path(), item->pen(), item->brush(), item->scene() != nullptr};
}

void EraseCommand::apply(LayerData *data, PathAnnotation *item, const Shape &shape)
{
    item->setPath(shape.path);
    item->setPen(shape.pen);
    item->setBrush(shape.brush);
    if (shape.inScene)
        putIn(data, item);
    else
        takeOut(data, item);
}

void EraseCommand::redo()
{
    for (const Change &c : qAsConst(m_changes))
        apply(m_data, c.item, c.after);
}

void EraseCommand::undo()
{
    for (const Change &c : qAsConst(m_changes))
        apply(m_data, c.item, c.before);
}

// --- TextChangeCommand ---

TextChangeCommand::TextChangeCommand(LayerData *data, TextAnnotation *item, const TextAnnotation::State &before,
                                     const TextAnnotation::State &after)
    : QUndoCommand(QStringLiteral("text"))
    , m_data(data)
    , m_item(item)
    , m_before(before)
    , m_after(after)
{
    m_data->retain(m_item);
}

TextChangeCommand::~TextChangeCommand()
{
    m_data->release(m_item);
}

void TextChangeCommand::redo()
{
    m_item->setState(m_after);
}

void TextChangeCommand::undo()
{
    m_item->setState(m_before);
}

} // namespace OrvPainterBase
