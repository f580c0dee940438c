// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QBrush>
#include <QGraphicsPathItem>
#include <QPen>
#include <QGraphicsPixmapItem>
#include <QGraphicsTextItem>
#include <QImage>
#include <QJsonObject>

namespace OrvPainterBase {

/// While set, annotations paint without selection frames or text cursors (rendering to a file).
class ExportPaintScope
{
public:
    ExportPaintScope();
    ~ExportPaintScope();
    static bool active();

private:
    bool m_previous;
};

/**
 * A stroke or shape: a path drawn with a pen and, for arrow heads and erased strokes, filled
 * with a brush. Erasing turns the item into its filled outline with the erased parts cut away.
 */
class PathAnnotation : public QGraphicsPathItem
{
public:
    enum { Type = UserType + 101 };
    int type() const override { return Type; }

    PathAnnotation(const QPainterPath &path, const QPen &pen, const QBrush &brush = Qt::NoBrush);

    /// The area the item covers, as a filled path in item coordinates.
    QPainterPath coveredArea() const;

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

    QJsonObject toJson() const;
    /// Null (and why in *error) when the object is not a valid stroke.
    static PathAnnotation *fromJson(const QJsonObject &object, QString *error);
};

/// A text box: plain text in one colour and size, typed in place (input methods included).
class TextAnnotation : public QGraphicsTextItem
{
public:
    enum { Type = UserType + 102 };
    int type() const override { return Type; }

    struct State
    {
        QString text;
        QColor color;
        qreal pixelSize = 0;
        QPointF pos;
        bool operator==(const State &o) const
        {
            return text == o.text && color == o.color && qFuzzyCompare(pixelSize, o.pixelSize) && pos == o.pos;
        }
        bool operator!=(const State &o) const { return !(*this == o); }
    };

    TextAnnotation(const QColor &color, qreal pixelSize);

    State state() const;
    void setState(const State &state);
    void setColor(const QColor &color);
    void setPixelSize(qreal pixelSize);
    qreal pixelSize() const { return m_pixelSize; }

    void setEditing(bool editing);
    bool isEditing() const;

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

    QJsonObject toJson() const;
    static TextAnnotation *fromJson(const QJsonObject &object, QString *error);

private:
    qreal m_pixelSize;
};

/// A picture pasted onto the layer.
class PictureAnnotation : public QGraphicsPixmapItem
{
public:
    enum { Type = UserType + 103 };
    int type() const override { return Type; }

    explicit PictureAnnotation(const QImage &image);

    QImage image() const { return m_image; }
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

    QJsonObject toJson() const;
    static PictureAnnotation *fromJson(const QJsonObject &object, QString *error);

private:
    QImage m_image;
    mutable QByteArray m_png; ///< encoded once, for the data store
};

/// Whether item is one of the annotation types above.
bool isAnnotation(const QGraphicsItem *item);

} // namespace OrvPainterBase
