// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvpainteritems.h"

#include <QBrush>
#include <QPainterPath>
#include <QPen>
#include <QPointF>
#include <QUndoCommand>
#include <QVector>

namespace OrvPainterBase {

class LayerData;

/// Puts annotations into the scene (they may already be there when the command is pushed).
class AddItemsCommand : public QUndoCommand
{
public:
    AddItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QString &text);
    ~AddItemsCommand() override;
    void redo() override;
    void undo() override;

private:
    LayerData *m_data;
    QList<QGraphicsItem *> m_items;
};

/// Takes annotations out of the scene: delete, clear all.
class RemoveItemsCommand : public QUndoCommand
{
public:
    RemoveItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QString &text);
    ~RemoveItemsCommand() override;
    void redo() override;
    void undo() override;

private:
    LayerData *m_data;
    QList<QGraphicsItem *> m_items;
};

/// Annotations dragged to a new place.
class MoveItemsCommand : public QUndoCommand
{
public:
    MoveItemsCommand(LayerData *data, const QList<QGraphicsItem *> &items, const QVector<QPointF> &from,
                     const QVector<QPointF> &to);
    ~MoveItemsCommand() override;
    void redo() override;
    void undo() override;

private:
    LayerData *m_data;
    QList<QGraphicsItem *> m_items;
    QVector<QPointF> m_from;
    QVector<QPointF> m_to;
};

/// One drag of the eraser: strokes cut (or gone entirely) as they were before and after.
class EraseCommand : public QUndoCommand
{
public:
    struct Shape
    {
        QPainterPath path;
        QPen pen;
        QBrush brush;
        bool inScene = true;
    };
    struct Change
    {
        PathAnnotation *item = nullptr;
        Shape before;
        Shape after;
    };
    EraseCommand(LayerData *data, const QVector<Change> &changes);
    ~EraseCommand() override;
    void redo() override;
    void undo() override;

    static Shape shapeOf(const PathAnnotation *item);
    static void apply(LayerData *data, PathAnnotation *item, const Shape &shape);

private:
    LayerData *m_data;
    QVector<Change> m_changes;
};

/// A text box typed into, recoloured or resized.
class TextChangeCommand : public QUndoCommand
{
public:
    TextChangeCommand(LayerData *data, TextAnnotation *item, const TextAnnotation::State &before,
                      const TextAnnotation::State &after);
    ~TextChangeCommand() override;
    void redo() override;
    void undo() override;

private:
    LayerData *m_data;
    TextAnnotation *m_item;
    TextAnnotation::State m_before;
    TextAnnotation::State m_after;
};

} // namespace OrvPainterBase
