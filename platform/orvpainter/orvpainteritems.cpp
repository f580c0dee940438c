// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpainteritems.h"

#include <QBuffer>
#include <QFont>
#include <QImageReader>
#include <QJsonArray>
#include <QPainter>
#include <QPainterPathStroker>
#include <QStyleOptionGraphicsItem>
#include <QTextCursor>
#include <QTextDocument>
#include <cmath>

namespace OrvPainterBase {

namespace {

bool s_exporting = false;

// Bounds for data read back from the store: far beyond any real annotation, small enough that
// a damaged or hostile file cannot make us allocate without limit.
constexpr double MaxCoordinate = 1e6;
constexpr int MaxPathElements = 2000000;
constexpr int MaxTextLength = 100000;
constexpr qint64 MaxPicturePixels = 64LL * 1024 * 1024;
constexpr double MaxPenWidth = 5000;

QStyleOptionGraphicsItem plainOption(const QStyleOptionGraphicsItem *option)
{
    QStyleOptionGraphicsItem o(*option);
    if (s_exporting)
        o.state &= ~(QStyle::State_Selected | QStyle::State_HasFocus);
    return o;
}

bool readNumber(const QJsonValue &value, double *out)
{
    if (!value.isDouble())
        return false;
    const double v = value.toDouble();
    if (!std::isfinite(v) || std::fabs(v) > MaxCoordinate)
        return false;
    *out = v;
    return true;
}

bool readPoint(const QJsonValue &value, QPointF *out)
{
    const QJsonArray a = value.toArray();
    double x = 0, y = 0;
    if (a.size() != 2 || !readNumber(a.at(0), &x) || !readNumber(a.at(1), &y))
        return false;
    *out = QPointF(x, y);
    return true;
}

QJsonArray pointJson(const QPointF &p)
{
    return QJsonArray{p.x(), p.y()};
}

bool readColor(const QJsonValue &value, QColor *out)
{
    if (!value.isString())
        return false;
    const QColor c(value.toString());
    if (!c.isValid())
        return false;
    *out = c;
    return true;
}

QString colorJson(const QColor &c)
{
    return c.name(QColor::HexArgb);
}

// Position and stacking, shared by every annotation.
QJsonObject placement(const QGraphicsItem *item, const char *type)
{
    return QJsonObject{{QStringLiteral("type"), QLatin1String(type)},
                       {QStringLiteral("pos"), pointJson(item->pos())},
                       {QStringLiteral("z"), item->zValue()}};
}

bool readPlacement(const QJsonObject &object, QGraphicsItem *item, QString *error)
{
    QPointF pos;
    double z = 0;
    if (!readPoint(object.value(QStringLiteral("pos")), &pos)) {
        *error = QStringLiteral("bad position");
        return false;
    }
    if (object.contains(QStringLiteral("z")) && !readNumber(object.value(QStringLiteral("z")), &z)) {
        *error = QStringLiteral("bad stacking order");
        return false;
    }
    item->setPos(pos);
    item->setZValue(z);
    return true;
}

} // namespace

ExportPaintScope::ExportPaintScope()
    : m_previous(s_exporting)
{
    s_exporting = true;
}

ExportPaintScope::~ExportPaintScope()
{
    s_exporting = m_previous;
}

bool ExportPaintScope::active()
{
    return s_exporting;
}

bool isAnnotation(const QGraphicsItem *item)
{
    if (!item)
        return false;
    const int t = item->type();
    return t == PathAnnotation::Type || t == TextAnnotation::Type || t == PictureAnnotation::Type;
}

// --- PathAnnotation ---

PathAnnotation::PathAnnotation(const QPainterPath &path, const QPen &pen, const QBrush &brush)
    : QGraphicsPathItem(path)
{
    setPen(pen);
    setBrush(brush);
}

QPainterPath PathAnnotation::coveredArea() const
{
    QPainterPath area;
    if (pen().style() != Qt::NoPen && pen().widthF() > 0) {
        QPainterPathStroker stroker(pen());
        area = stroker.createStroke(path());
    }
    if (brush().style() != Qt::NoBrush)
        area = area.isEmpty() ? path() : area.united(path());
    area.setFillRule(Qt::WindingFill);
    return area;
}

void PathAnnotation::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    const QStyleOptionGraphicsItem o = plainOption(option);
    painter->setRenderHint(QPainter::Antialiasing);
    QGraphicsPathItem::paint(painter, &o, widget);
}

QJsonObject PathAnnotation::toJson() const
{
    QJsonObject object = placement(this, "path");
    QJsonArray elements;
    const QPainterPath &p = path();
    for (int i = 0; i < p.elementCount(); ++i) {
        const QPainterPath::Element e = p.elementAt(i);
        elements.append(QJsonArray{int(e.type), e.x, e.y});
    }
    object.insert(QStringLiteral("path"), elements);
    object.insert(QStringLiteral("fill"), p.fillRule() == Qt::WindingFill ? QStringLiteral("winding")
                                                                          : QStringLiteral("oddeven"));
    if (pen().style() != Qt::NoPen) {
        object.insert(QStringLiteral("pen"), QJsonObject{{QStringLiteral("color"), colorJson(pen().color())},
                                                         {QStringLiteral("width"), pen().widthF()}});
    }
    if (brush().style() != Qt::NoBrush)
        object.insert(QStringLiteral("brush"), colorJson(brush().color()));
    return object;
}

PathAnnotation *PathAnnotation::fromJson(const QJsonObject &object, QString *error)
{
    const QJsonArray elements = object.value(QStringLiteral("path")).toArray();
    if (elements.isEmpty() || elements.size() > MaxPathElements) {
        *error = QStringLiteral("stroke without points or with too many");
        return nullptr;
    }
    QPainterPath path;
    for (int i = 0; i < elements.size(); ++i) {
        const QJsonArray e = elements.at(i).toArray();
        double type = -1, x = 0, y = 0;
        if (e.size() != 3 || !readNumber(e.at(0), &type) || !readNumber(e.at(1), &x) || !readNumber(e.at(2), &y)) {
            *error = QStringLiteral("bad point %1").arg(i);
            return nullptr;
        }
        switch (int(type)) {
        case QPainterPath::MoveToElement:
            path.moveTo(x, y);
            break;
        case QPainterPath::LineToElement:
            path.lineTo(x, y);
            break;
        case QPainterPath::CurveToElement: {
            // A curve is three elements: this control point, a second one and the end point.
            if (i + 2 >= elements.size()) {
                *error = QStringLiteral("curve cut short at %1").arg(i);
                return nullptr;
            }
            QPointF c2, end;
            const QJsonArray e2 = elements.at(i + 1).toArray();
            const QJsonArray e3 = elements.at(i + 2).toArray();
            double t2 = -1, t3 = -1;
            if (e2.size() != 3 || e3.size() != 3 || !readNumber(e2.at(0), &t2) || !readNumber(e3.at(0), &t3)
                || int(t2) != QPainterPath::CurveToDataElement || int(t3) != QPainterPath::CurveToDataElement
                || !readPoint(QJsonArray{e2.at(1), e2.at(2)}, &c2) || !readPoint(QJsonArray{e3.at(1), e3.at(2)}, &end)) {
                *error = QStringLiteral("bad curve at %1").arg(i);
                return nullptr;
            }
            path.cubicTo(QPointF(x, y), c2, end);
            i += 2;
            break;
        }
        default:
            *error = QStringLiteral("bad point type at %1").arg(i);
            return nullptr;
        }
    }
    path.setFillRule(object.value(QStringLiteral("fill")).toString() == QLatin1String("oddeven") ? Qt::OddEvenFill
                                                                                                 : Qt::WindingFill);
    QPen pen(Qt::NoPen);
    if (object.contains(QStringLiteral("pen"))) {
        const QJsonObject p = object.value(QStringLiteral("pen")).toObject();
        QColor color;
        double width = 0;
        if (!readColor(p.value(QStringLiteral("color")), &color) || !readNumber(p.value(QStringLiteral("width")), &width)
            || width <= 0 || width > MaxPenWidth) {
            *error = QStringLiteral("bad pen");
            return nullptr;
        }
        pen = QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    }
    QBrush brush(Qt::NoBrush);
    if (object.contains(QStringLiteral("brush"))) {
        QColor color;
        if (!readColor(object.value(QStringLiteral("brush")), &color)) {
            *error = QStringLiteral("bad fill colour");
            return nullptr;
        }
        brush = QBrush(color);
    }
    if (pen.style() == Qt::NoPen && brush.style() == Qt::NoBrush) {
        *error = QStringLiteral("stroke that draws nothing");
        return nullptr;
    }
    auto *item = new PathAnnotation(path, pen, brush);
    if (!readPlacement(object, item, error)) {
        delete item;
        return nullptr;
    }
    return item;
}

// --- TextAnnotation ---

TextAnnotation::TextAnnotation(const QColor &color, qreal pixelSize)
    : m_pixelSize(pixelSize)
{
    setDefaultTextColor(color);
    QFont f = font();
    f.setPixelSize(qMax(1, qRound(pixelSize)));
    setFont(f);
    document()->setDocumentMargin(2);
}

TextAnnotation::State TextAnnotation::state() const
{
    return State{toPlainText(), defaultTextColor(), m_pixelSize, pos()};
}

void TextAnnotation::setState(const State &state)
{
    if (toPlainText() != state.text)
        setPlainText(state.text);
    setColor(state.color);
    setPixelSize(state.pixelSize);
    setPos(state.pos);
}

void TextAnnotation::setColor(const QColor &color)
{
    setDefaultTextColor(color);
}

void TextAnnotation::setPixelSize(qreal pixelSize)
{
    if (pixelSize <= 0)
        return;
    m_pixelSize = pixelSize;
    QFont f = font();
    f.setPixelSize(qMax(1, qRound(pixelSize)));
    setFont(f);
}

void TextAnnotation::setEditing(bool editing)
{
    setTextInteractionFlags(editing ? Qt::TextEditorInteraction : Qt::NoTextInteraction);
    if (editing) {
        setFocus(Qt::MouseFocusReason);
        QTextCursor cursor = textCursor();
        cursor.movePosition(QTextCursor::End);
        setTextCursor(cursor);
    } else {
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
        clearFocus();
    }
}

bool TextAnnotation::isEditing() const
{
    return textInteractionFlags() & Qt::TextEditable;
}

void TextAnnotation::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    const QStyleOptionGraphicsItem o = plainOption(option);
    if (s_exporting && isEditing()) {
        // No cursor in a saved picture: draw the document alone.
        painter->save();
        painter->setRenderHint(QPainter::TextAntialiasing);
        QTextDocument *doc = document();
        doc->drawContents(painter, boundingRect());
        painter->restore();
        return;
    }
    QGraphicsTextItem::paint(painter, &o, widget);
    if (isEditing() && !s_exporting) {
        // A light frame shows where the box is while typing.
        painter->save();
        QPen frame(QColor(0x2F, 0x7B, 0xFF), 0, Qt::DashLine);
        frame.setCosmetic(true);
        painter->setPen(frame);
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(boundingRect());
        painter->restore();
    }
}

QJsonObject TextAnnotation::toJson() const
{
    QJsonObject object = placement(this, "text");
    object.insert(QStringLiteral("text"), toPlainText());
    object.insert(QStringLiteral("color"), colorJson(defaultTextColor()));
    object.insert(QStringLiteral("size"), m_pixelSize);
    return object;
}

TextAnnotation *TextAnnotation::fromJson(const QJsonObject &object, QString *error)
{
    const QJsonValue text = object.value(QStringLiteral("text"));
    QColor color;
    double size = 0;
    if (!text.isString() || text.toString().size() > MaxTextLength) {
        *error = QStringLiteral("bad text");
        return nullptr;
    }
    if (!readColor(object.value(QStringLiteral("color")), &color)) {
        *error = QStringLiteral("bad text colour");
        return nullptr;
    }
    if (!readNumber(object.value(QStringLiteral("size")), &size) || size < 1 || size > 4000) {
        *error = QStringLiteral("bad text size");
        return nullptr;
    }
    auto *item = new TextAnnotation(color, size);
    item->setPlainText(text.toString());
    if (!readPlacement(object, item, error)) {
        delete item;
        return nullptr;
    }
    return item;
}

// --- PictureAnnotation ---

PictureAnnotation::PictureAnnotation(const QImage &image)
    : QGraphicsPixmapItem(QPixmap::fromImage(image))
    , m_image(image)
{
    setTransformationMode(Qt::SmoothTransformation);
    setShapeMode(QGraphicsPixmapItem::BoundingRectShape);
}

void PictureAnnotation::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    const QStyleOptionGraphicsItem o = plainOption(option);
    QGraphicsPixmapItem::paint(painter, &o, widget);
    if (o.state & QStyle::State_Selected) {
        painter->save();
        QPen frame(QColor(0x2F, 0x7B, 0xFF), 0, Qt::DashLine);
        frame.setCosmetic(true);
        painter->setPen(frame);
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(boundingRect());
        painter->restore();
    }
}

QJsonObject PictureAnnotation::toJson() const
{
    if (m_png.isEmpty()) {
        QBuffer buffer(&m_png);
        buffer.open(QIODevice::WriteOnly);
        m_image.save(&buffer, "PNG");
    }
    QJsonObject object = placement(this, "picture");
    object.insert(QStringLiteral("scale"), scale());
    object.insert(QStringLiteral("png"), QString::fromLatin1(m_png.toBase64()));
    return object;
}

PictureAnnotation *PictureAnnotation::fromJson(const QJsonObject &object, QString *error)
{
    const QByteArray png = QByteArray::fromBase64(object.value(QStringLiteral("png")).toString().toLatin1());
    QBuffer buffer;
    buffer.setData(png);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "png");
    const QSize size = reader.size();
    if (!size.isValid() || qint64(size.width()) * size.height() > MaxPicturePixels) {
        *error = QStringLiteral("bad pasted picture");
        return nullptr;
    }
    const QImage image = reader.read();
    if (image.isNull()) {
        *error = QStringLiteral("bad pasted picture: %1").arg(reader.errorString());
        return nullptr;
    }
    double scale = 1;
    if (object.contains(QStringLiteral("scale"))
        && (!readNumber(object.value(QStringLiteral("scale")), &scale) || scale <= 0 || scale > 1000)) {
        *error = QStringLiteral("bad picture scale");
        return nullptr;
    }
    auto *item = new PictureAnnotation(image);
    item->m_png = png;
    item->setScale(scale);
    if (!readPlacement(object, item, error)) {
        delete item;
        return nullptr;
    }
    return item;
}

} // namespace OrvPainterBase
