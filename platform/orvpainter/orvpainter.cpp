// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpainter.h"
#include "orvpainter_logging.h"
#include "orvpainterdata.h"
#include "orvpaintercomposer.h"
#include "orvpainteritems.h"

#include <QBitmap>
#include <QClipboard>
#include <QApplication>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QImageReader>
#include <QImageWriter>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPathStroker>
#include <QResizeEvent>
#include <QSaveFile>
#include <QScrollBar>
#include <QUndoStack>
#include <QWheelEvent>
#include <QtMath>

namespace OrvPainterBase {

namespace {

// A pasted picture larger than this share of the picture is shrunk to it.
constexpr qreal PastedPictureShare = 0.8;
// Free lines take a new point once the pointer has moved this far (screen pixels).
constexpr qreal MinStrokeStep = 0.75;
// Pictures pasted onto the layer are refused past this size (a pasted decompression bomb).
constexpr qint64 MaxPastedPixels = 64LL * 1024 * 1024;

QRectF segmentRect(const QPointF &a, const QPointF &b, qreal margin)
{
    return QRectF(a, b).normalized().adjusted(-margin, -margin, margin, margin);
}

QList<QGraphicsItem *> topLevel(const QList<QGraphicsItem *> &items)
{
    QList<QGraphicsItem *> result;
    for (QGraphicsItem *item : items) {
        QGraphicsItem *top = item->topLevelItem();
        if (!result.contains(top))
            result.append(top);
    }
    return result;
}

} // namespace

OrvPainter::OrvPainter(const QSize &pictureSize, QWidget *parent)
    : QGraphicsView(parent)
    , m_pictureSize(pictureSize)
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    setOptimizationFlag(QGraphicsView::DontSavePainterState);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setRubberBandSelectionMode(Qt::IntersectsItemShape);
    // The picture below shows through.
    setStyleSheet(QStringLiteral("QGraphicsView { background: transparent; border: none; }"));
    viewport()->setAutoFillBackground(false);
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
    m_ownData = new LayerData(QString(), this);
    attachData(m_ownData);
    resize(pictureSize);
    applyInputMode();
}

OrvPainter::~OrvPainter()
{
    // Whatever is under way becomes an undo step, so it is kept under the key.
    if (m_data) {
        finishTextEditing();
        if (m_erasing)
            endErase();
        if (m_drawing)
            endStroke();
    }
    for (const auto &c : qAsConst(m_dataConnections))
        disconnect(c);
    setScene(nullptr);
}

void OrvPainter::attachData(LayerData *data)
{
    if (m_data == data)
        return;
    finishTextEditing();
    for (const auto &c : qAsConst(m_dataConnections))
        disconnect(c);
    m_dataConnections.clear();
    m_data = data;
    if (!m_pictureSize.isEmpty())
        data->setPictureSize(m_pictureSize);
    setScene(data->scene());
    setSceneRect(QRectF(QPointF(0, 0), QSizeF(m_pictureSize)));
    m_dataConnections << connect(data, &LayerData::changed, this, [this] { Q_EMIT dataModified(itemCount()); });
    m_dataConnections << connect(data->undoStack(), &QUndoStack::indexChanged, this, [this] { Q_EMIT edited(); });
    m_dataConnections << connect(data->undoStack(), &QUndoStack::canUndoChanged, this, &OrvPainter::canUndoChanged);
    m_dataConnections << connect(data->undoStack(), &QUndoStack::canRedoChanged, this, &OrvPainter::canRedoChanged);
    m_dataConnections << connect(data->scene(), &QGraphicsScene::selectionChanged, this,
                                 [this] { Q_EMIT selectionChanged(hasSelection()); });
    fitScene();
    applyInputMode();
    Q_EMIT canUndoChanged(canUndo());
    Q_EMIT canRedoChanged(canRedo());
}

void OrvPainter::setPictureSize(const QSize &size)
{
    if (size == m_pictureSize)
        return;
    m_pictureSize = size;
    if (m_data && !size.isEmpty())
        m_data->setPictureSize(size);
    setSceneRect(QRectF(QPointF(0, 0), QSizeF(size)));
    fitScene();
}

void OrvPainter::setLayerSize(const QSize &size)
{
    resize(size);
}

qreal OrvPainter::viewScale() const
{
    const QTransform t = transform();
    const qreal s = qSqrt(qAbs(t.m11() * t.m22()));
    return s > 0 ? s : 1.0;
}

void OrvPainter::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    fitScene();
}

void OrvPainter::fitScene()
{
    if (m_pictureSize.isEmpty() || size().isEmpty())
        return;
    setTransform(QTransform::fromScale(double(width()) / m_pictureSize.width(),
                                       double(height()) / m_pictureSize.height()));
    horizontalScrollBar()->setValue(horizontalScrollBar()->minimum());
    verticalScrollBar()->setValue(verticalScrollBar()->minimum());
    updateCursor();
}

void OrvPainter::setDataKey(const QString &key)
{
    if (key == m_key && m_data)
        return;
    m_key = key;
    attachData(key.isEmpty() ? m_ownData : LayerData::forKey(key));
    qCDebug(lcOrvPainter) << "layer shows key" << key << "with" << itemCount() << "annotations";
    Q_EMIT dataModified(itemCount());
}

// --- tools ---

void OrvPainter::setTool(Tool tool)
{
    if (tool == m_tool)
        return;
    finishTextEditing();
    if (m_erasing)
        endErase();
    if (m_drawing)
        endStroke();
    m_lassoing = false;
    m_tool = tool;
    if (tool != Tool::Select && m_data)
        m_data->scene()->clearSelection();
    applyInputMode();
    viewport()->update();
    Q_EMIT toolChanged(tool);
}

void OrvPainter::saveTool()
{
    m_savedTools.append(m_tool);
    setTool(Tool::None);
}

void OrvPainter::restoreTool()
{
    if (m_savedTools.isEmpty())
        return;
    setTool(m_savedTools.takeLast());
}

void OrvPainter::resetTool()
{
    m_savedTools.clear();
    finishTextEditing();
    if (m_data)
        m_data->scene()->clearSelection();
    setTool(Tool::None);
}

void OrvPainter::setEditable(bool editable)
{
    if (editable == m_editable)
        return;
    if (!editable)
        finishTextEditing();
    m_editable = editable;
    applyInputMode();
}

void OrvPainter::applyInputMode()
{
    const bool takesInput = m_editable && m_tool != Tool::None;
    setAttribute(Qt::WA_TransparentForMouseEvents, !takesInput);
    setInteractive(takesInput);
    setFocusPolicy(takesInput ? Qt::StrongFocus : Qt::NoFocus);
    setDragMode(takesInput && m_tool == Tool::Select && m_selectMode == SelectMode::Frame
                    ? QGraphicsView::RubberBandDrag
                    : QGraphicsView::NoDrag);
    if (m_data) {
        const bool select = m_tool == Tool::Select && m_editable;
        const auto items = m_data->scene()->items();
        for (QGraphicsItem *item : items) {
            if (item->parentItem())
                continue;
            item->setFlag(QGraphicsItem::ItemIsSelectable, select);
            item->setFlag(QGraphicsItem::ItemIsMovable, select);
        }
    }
    updateCursor();
}

void OrvPainter::updateCursor()
{
    switch (m_tool) {
    case Tool::Pen:
        viewport()->setCursor(Qt::CrossCursor);
        break;
    case Tool::Text:
        viewport()->setCursor(Qt::IBeamCursor);
        break;
    case Tool::Eraser: {
        // A ring the size of the eraser.
        const int r = qCeil(eraserRadius(m_eraserType));
        QPixmap ring(2 * r + 3, 2 * r + 3);
        ring.fill(Qt::transparent);
        QPainter p(&ring);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(255, 255, 255, 220), 3));
        p.drawEllipse(QPointF(r + 1.5, r + 1.5), r, r);
        p.setPen(QPen(QColor(60, 60, 60), 1));
        p.drawEllipse(QPointF(r + 1.5, r + 1.5), r, r);
        p.end();
        viewport()->setCursor(QCursor(ring, r + 1, r + 1));
        break;
    }
    default:
        viewport()->unsetCursor();
        break;
    }
}

void OrvPainter::setSelectMode(SelectMode mode)
{
    if (mode == m_selectMode)
        return;
    m_selectMode = mode;
    m_lassoing = false;
    applyInputMode();
}

void OrvPainter::setPenShape(PenShape shape)
{
    m_penShape = shape;
}

void OrvPainter::setPenColor(const QColor &color)
{
    if (!color.isValid()) {
        qCWarning(lcOrvPainter) << "not a pen colour:" << color;
        return;
    }
    m_penColor = color;
}

void OrvPainter::setPenWidth(qreal width)
{
    if (!(width >= 0.5) || width > 500) {
        qCWarning(lcOrvPainter) << "pen width out of range:" << width;
        return;
    }
    m_penWidth = width;
}

void OrvPainter::setEraserType(int type)
{
    m_eraserType = type;
    updateCursor();
}

qreal OrvPainter::eraserRadius(int type)
{
    switch (type) {
    case EraserSmall:
        return 6;
    case EraserLarge:
        return 24;
    default:
        return 12;
    }
}

void OrvPainter::setTextColor(const QColor &color)
{
    if (!color.isValid()) {
        qCWarning(lcOrvPainter) << "not a text colour:" << color;
        return;
    }
    m_textColor = color;
    applyTextState([color](TextAnnotation *item) { item->setColor(color); });
}

void OrvPainter::setTextPixelSize(int pixelSize)
{
    if (pixelSize < 4 || pixelSize > 400) {
        qCWarning(lcOrvPainter) << "text size out of range:" << pixelSize;
        return;
    }
    m_textPixelSize = pixelSize;
    const qreal size = pixelSize / viewScale();
    applyTextState([size](TextAnnotation *item) { item->setPixelSize(size); });
}

void OrvPainter::applyTextState(const std::function<void(TextAnnotation *)> &change)
{
    if (!m_data)
        return;
    if (m_editingText) {
        // Part of the typing session: one undo step when it ends.
        change(m_editingText);
        return;
    }
    const auto selected = m_data->scene()->selectedItems();
    QList<TextAnnotation *> texts;
    for (QGraphicsItem *item : selected) {
        if (item->type() == TextAnnotation::Type)
            texts.append(static_cast<TextAnnotation *>(item));
    }
    if (texts.isEmpty())
        return;
    m_data->undoStack()->beginMacro(QStringLiteral("text format"));
    for (TextAnnotation *text : qAsConst(texts)) {
        const TextAnnotation::State before = text->state();
        change(text);
        const TextAnnotation::State after = text->state();
        if (after != before)
            push(new TextChangeCommand(m_data, text, before, after));
    }
    m_data->undoStack()->endMacro();
}

// --- editing ---

void OrvPainter::push(QUndoCommand *command)
{
    if (!m_data) {
        delete command;
        return;
    }
    m_data->undoStack()->push(command);
    applyInputMode();
}

void OrvPainter::addItem(QGraphicsItem *item)
{
    if (!item || !m_data)
        return;
    if (item->zValue() == 0)
        item->setZValue(m_data->nextZ());
    push(new AddItemsCommand(m_data, {item}, QStringLiteral("add")));
}

bool OrvPainter::addPicture(const QImage &image, const QPointF &center)
{
    if (image.isNull() || !m_data) {
        qCWarning(lcOrvPainter) << "no picture to paste";
        return false;
    }
    if (qint64(image.width()) * image.height() > MaxPastedPixels) {
        qCWarning(lcOrvPainter) << "picture too large to paste:" << image.size();
        return false;
    }
    auto *item = new PictureAnnotation(image);
    const QSizeF room = QSizeF(m_pictureSize) * PastedPictureShare;
    qreal scale = 1.0;
    if (!room.isEmpty() && (image.width() > room.width() || image.height() > room.height()))
        scale = qMin(room.width() / image.width(), room.height() / image.height());
    item->setScale(scale);
    const QPointF middle = (center.x() < 0 || center.y() < 0)
        ? QRectF(QPointF(0, 0), QSizeF(m_pictureSize)).center()
        : center;
    item->setPos(middle - QPointF(image.width() * scale / 2, image.height() * scale / 2));
    item->setZValue(m_data->nextZ());
    push(new AddItemsCommand(m_data, {item}, QStringLiteral("paste picture")));
    // Ready to be dragged into place.
    setTool(Tool::Select);
    m_data->scene()->clearSelection();
    item->setSelected(true);
    return true;
}

bool OrvPainter::addPictureFromFile(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && qint64(size.width()) * size.height() > MaxPastedPixels) {
        qCWarning(lcOrvPainter) << "picture too large to paste:" << path << size;
        return false;
    }
    const QImage image = reader.read();
    if (image.isNull()) {
        qCWarning(lcOrvPainter) << "cannot paste" << path << reader.errorString();
        return false;
    }
    return addPicture(image);
}

bool OrvPainter::pasteFromClipboard()
{
    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    if (!mime) {
        qCInfo(lcOrvPainter) << "the clipboard is empty";
        return false;
    }
    if (mime->hasImage()) {
        const QImage image = qvariant_cast<QImage>(mime->imageData());
        if (!image.isNull())
            return addPicture(image);
    }
    const auto urls = mime->urls();
    for (const QUrl &url : urls) {
        if (url.isLocalFile() && !QImageReader::imageFormat(url.toLocalFile()).isEmpty())
            return addPictureFromFile(url.toLocalFile());
    }
    qCInfo(lcOrvPainter) << "the clipboard holds no picture to paste; formats:" << mime->formats().mid(0, 8);
    return false;
}

int OrvPainter::deleteSelected()
{
    if (!m_data)
        return 0;
    finishTextEditing();
    const QList<QGraphicsItem *> items = topLevel(m_data->scene()->selectedItems());
    if (items.isEmpty())
        return 0;
    push(new RemoveItemsCommand(m_data, items, QStringLiteral("delete")));
    return items.size();
}

void OrvPainter::clear()
{
    if (!m_data)
        return;
    finishTextEditing();
    const QList<QGraphicsItem *> items = topLevel(m_data->scene()->items());
    if (items.isEmpty())
        return;
    push(new RemoveItemsCommand(m_data, items, QStringLiteral("clear all")));
}

void OrvPainter::discardAnnotations()
{
    if (!m_data)
        return;
    m_editingText = nullptr; // deleted with the rest
    m_erasing = false;
    m_eraseChanges.clear();
    m_moving.clear();
    m_data->discardAll();
}

void OrvPainter::selectAll()
{
    if (!m_data || m_tool != Tool::Select)
        return;
    const auto items = m_data->scene()->items();
    for (QGraphicsItem *item : items) {
        if (!item->parentItem())
            item->setSelected(true);
    }
}

bool OrvPainter::hasSelection() const
{
    return m_data && !m_data->scene()->selectedItems().isEmpty();
}

void OrvPainter::undo()
{
    finishTextEditing();
    if (m_data)
        m_data->undoStack()->undo();
    applyInputMode();
}

void OrvPainter::redo()
{
    finishTextEditing();
    if (m_data)
        m_data->undoStack()->redo();
    applyInputMode();
}

bool OrvPainter::canUndo() const
{
    return m_data && m_data->undoStack()->canUndo();
}

bool OrvPainter::canRedo() const
{
    return m_data && m_data->undoStack()->canRedo();
}

QUndoStack *OrvPainter::undoStack() const
{
    return m_data ? m_data->undoStack() : nullptr;
}

bool OrvPainter::isModified() const
{
    return (m_data && !m_data->undoStack()->isClean()) || m_editingText;
}

void OrvPainter::setUnmodified()
{
    if (m_data)
        m_data->undoStack()->setClean();
}

int OrvPainter::itemCount() const
{
    if (!m_data)
        return 0;
    int count = 0;
    const auto items = m_data->scene()->items();
    for (const QGraphicsItem *item : items) {
        if (!item->parentItem())
            ++count;
    }
    return count;
}

QGraphicsScene *OrvPainter::annotationScene() const
{
    return m_data ? m_data->scene() : nullptr;
}

// --- pen ---

QPainterPath OrvPainter::shapePath(const QPointF &from, const QPointF &to, qreal width) const
{
    QPainterPath path;
    switch (m_penShape) {
    case PenShape::Line:
        path.moveTo(from);
        path.lineTo(to);
        break;
    case PenShape::Arrow: {
        const QLineF line(from, to);
        const qreal length = line.length();
        if (length < 1e-6) {
            path.moveTo(from);
            path.lineTo(to);
            break;
        }
        const qreal head = qMin(qMax(width * 4, 12 / viewScale()), length);
        const QPointF dir = (to - from) / length;
        const QPointF normal(-dir.y(), dir.x());
        const QPointF base = to - dir * head;
        path.moveTo(from);
        path.lineTo(to - dir * (head * 0.5));
        path.moveTo(to);
        path.lineTo(base + normal * head * 0.45);
        path.lineTo(base - normal * head * 0.45);
        path.closeSubpath();
        break;
    }
    case PenShape::Rectangle:
        path.addRect(QRectF(from, to).normalized());
        break;
    case PenShape::Ellipse:
        path.addEllipse(QRectF(from, to).normalized());
        break;
    case PenShape::FreeLine:
        break;
    }
    return path;
}

void OrvPainter::beginStroke(const QPointF &p)
{
    m_drawing = true;
    m_start = p;
    m_last = p;
    m_liveWidth = m_penWidth / viewScale();
    m_livePath = QPainterPath(p);
    if (m_penShape == PenShape::FreeLine)
        m_livePath.lineTo(p + QPointF(1e-3, 0)); // a dot until the pointer moves (a line of no length draws nothing)
    m_liveRect = segmentRect(p, p, m_liveWidth);
    viewport()->update(mapFromScene(m_liveRect).boundingRect().adjusted(-2, -2, 2, 2));
}

void OrvPainter::extendStroke(const QPointF &p)
{
    QRectF dirty;
    if (m_penShape == PenShape::FreeLine) {
        if (QLineF(m_last, p).length() * viewScale() < MinStrokeStep)
            return;
        m_livePath.lineTo(p);
        dirty = segmentRect(m_last, p, m_liveWidth);
        m_liveRect |= dirty;
    } else {
        m_livePath = shapePath(m_start, p, m_liveWidth);
        const QRectF now = m_livePath.boundingRect().adjusted(-m_liveWidth * 2, -m_liveWidth * 2, m_liveWidth * 2,
                                                              m_liveWidth * 2);
        dirty = m_liveRect | now;
        m_liveRect = now;
    }
    m_last = p;
    // Only what changed is painted again.
    viewport()->update(mapFromScene(dirty).boundingRect().adjusted(-2, -2, 2, 2));
}

void OrvPainter::endStroke()
{
    if (!m_drawing)
        return;
    m_drawing = false;
    const QRectF dirty = m_liveRect;
    QPainterPath path = m_livePath;
    m_livePath = QPainterPath();
    viewport()->update(mapFromScene(dirty).boundingRect().adjusted(-2, -2, 2, 2));
    if (m_penShape != PenShape::FreeLine && QLineF(m_start, m_last).length() * viewScale() < 2) {
        // A click without a drag draws no shape.
        return;
    }
    QPen pen(m_penColor, m_liveWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    QBrush brush = m_penShape == PenShape::Arrow ? QBrush(m_penColor) : QBrush(Qt::NoBrush);
    auto *item = new PathAnnotation(path, pen, brush);
    item->setZValue(m_data ? m_data->nextZ() : 0);
    push(new AddItemsCommand(m_data, {item}, QStringLiteral("draw")));
}

// --- eraser ---

void OrvPainter::eraseAlong(const QPointF &from, const QPointF &to)
{
    if (!m_data)
        return;
    const qreal r = eraserRadius(m_eraserType) / viewScale();
    QPainterPath disc;
    if (QLineF(from, to).length() < 1e-6) {
        disc.addEllipse(to, r, r);
    } else {
        QPainterPathStroker stroker;
        stroker.setWidth(2 * r);
        stroker.setCapStyle(Qt::RoundCap);
        QPainterPath line(from);
        line.lineTo(to);
        disc = stroker.createStroke(line);
    }
    const auto touched = m_data->scene()->items(disc, Qt::IntersectsItemShape);
    for (QGraphicsItem *hit : touched) {
        if (hit->type() != PathAnnotation::Type)
            continue; // text and pictures are removed with delete, not worn away
        auto *item = static_cast<PathAnnotation *>(hit);
        bool known = false;
        for (const auto &c : qAsConst(m_eraseChanges))
            known = known || c.item == item;
        if (!known) {
            EraseCommand::Change change;
            change.item = item;
            change.before = EraseCommand::shapeOf(item);
            m_eraseChanges.append(change);
            m_data->retain(item);
        }
        const QColor color = item->pen().style() != Qt::NoPen ? item->pen().color() : item->brush().color();
        const QPainterPath rest = item->coveredArea().subtracted(disc.translated(-item->pos())).simplified();
        if (rest.isEmpty() || rest.boundingRect().width() * rest.boundingRect().height() < 1e-4) {
            item->setSelected(false);
            m_data->scene()->removeItem(item);
        } else {
            item->setPen(Qt::NoPen);
            item->setBrush(color);
            item->setPath(rest);
        }
    }
}

void OrvPainter::endErase()
{
    m_erasing = false;
    if (!m_data || m_eraseChanges.isEmpty())
        return;
    QVector<EraseCommand::Change> changes = m_eraseChanges;
    m_eraseChanges.clear();
    for (auto &c : changes)
        c.after = EraseCommand::shapeOf(c.item);
    // Until now the drag held the items; from here the command does.
    auto *command = new EraseCommand(m_data, changes);
    for (const auto &c : qAsConst(changes))
        m_data->release(c.item);
    push(command);
}

// --- text ---

void OrvPainter::beginText(const QPointF &p, TextAnnotation *existing)
{
    finishTextEditing();
    if (!m_data)
        return;
    TextAnnotation *item = existing;
    m_editingIsNew = !existing;
    if (!item) {
        item = new TextAnnotation(m_textColor, m_textPixelSize / viewScale());
        // The first line's middle at the click.
        item->setPos(p - QPointF(2, item->boundingRect().height() / 2));
        item->setZValue(m_data->nextZ());
        m_data->scene()->addItem(item);
    }
    m_editingText = item;
    m_data->retain(item);
    m_textBefore = item->state();
    setFocus(Qt::MouseFocusReason);
    item->setEditing(true);
}

void OrvPainter::finishTextEditing()
{
    TextAnnotation *item = m_editingText;
    if (!item || !m_data)
        return;
    m_editingText = nullptr;
    item->setEditing(false);
    const TextAnnotation::State after = item->state();
    const bool empty = after.text.trimmed().isEmpty();
    if (m_editingIsNew) {
        if (empty) {
            m_data->scene()->removeItem(item);
            m_data->release(item); // not in the scene and held by nothing: gone
        } else {
            push(new AddItemsCommand(m_data, {item}, QStringLiteral("text")));
            m_data->release(item);
        }
        return;
    }
    if (empty) {
        // Emptied: a removal of the box as it was, so undo brings the text back.
        item->setState(m_textBefore);
        push(new RemoveItemsCommand(m_data, {item}, QStringLiteral("delete text")));
    } else if (after != m_textBefore) {
        push(new TextChangeCommand(m_data, item, m_textBefore, after));
    }
    m_data->release(item);
}

// --- select ---

void OrvPainter::beginMoveTracking()
{
    m_moving = topLevel(m_data->scene()->selectedItems());
    m_moveFrom.clear();
    for (QGraphicsItem *item : qAsConst(m_moving)) {
        m_moveFrom.append(item->pos());
        m_data->retain(item);
    }
}

void OrvPainter::endMoveTracking()
{
    if (!m_data)
        return;
    QList<QGraphicsItem *> moved;
    QVector<QPointF> from, to;
    for (int i = 0; i < m_moving.size(); ++i) {
        QGraphicsItem *item = m_moving.at(i);
        if (item->scene() && item->pos() != m_moveFrom.at(i)) {
            moved.append(item);
            from.append(m_moveFrom.at(i));
            to.append(item->pos());
        }
    }
    if (!moved.isEmpty())
        push(new MoveItemsCommand(m_data, moved, from, to));
    for (QGraphicsItem *item : qAsConst(m_moving))
        m_data->release(item);
    m_moving.clear();
    m_moveFrom.clear();
}

// --- input ---

void OrvPainter::mousePressEvent(QMouseEvent *event)
{
    if (!m_data || event->button() != Qt::LeftButton || !m_editable) {
        QGraphicsView::mousePressEvent(event);
        return;
    }
    const QPointF p = mapToScene(event->pos());
    switch (m_tool) {
    case Tool::Pen:
        beginStroke(p);
        event->accept();
        return;
    case Tool::Eraser:
        m_erasing = true;
        m_last = p;
        eraseAlong(p, p);
        event->accept();
        return;
    case Tool::Text: {
        QGraphicsItem *hit = itemAt(event->pos());
        hit = hit ? hit->topLevelItem() : nullptr;
        if (hit && hit == m_editingText) {
            QGraphicsView::mousePressEvent(event); // places the cursor
            return;
        }
        beginText(p, hit && hit->type() == TextAnnotation::Type ? static_cast<TextAnnotation *>(hit) : nullptr);
        if (hit && hit == m_editingText)
            QGraphicsView::mousePressEvent(event);
        event->accept();
        return;
    }
    case Tool::Select: {
        QGraphicsItem *hit = itemAt(event->pos());
        if (m_editingText && (!hit || hit->topLevelItem() != m_editingText))
            finishTextEditing();
        if (m_selectMode == SelectMode::Lasso && !hit) {
            m_data->scene()->clearSelection();
            m_lassoing = true;
            m_lasso = QPolygonF();
            m_lasso.append(p);
            event->accept();
            return;
        }
        QGraphicsView::mousePressEvent(event);
        beginMoveTracking();
        return;
    }
    case Tool::None:
        break;
    }
    QGraphicsView::mousePressEvent(event);
}

void OrvPainter::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF p = mapToScene(event->pos());
    m_cursorScenePos = p;
    m_cursorInside = true;
    if (m_drawing) {
        extendStroke(p);
        event->accept();
        return;
    }
    if (m_erasing) {
        eraseAlong(m_last, p);
        m_last = p;
        event->accept();
        return;
    }
    if (m_lassoing) {
        const QPointF last = m_lasso.isEmpty() ? p : m_lasso.last();
        m_lasso.append(p);
        viewport()->update(mapFromScene(segmentRect(last, p, 2 / viewScale())).boundingRect().adjusted(-3, -3, 3, 3));
        event->accept();
        return;
    }
    QGraphicsView::mouseMoveEvent(event);
}

void OrvPainter::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QGraphicsView::mouseReleaseEvent(event);
        return;
    }
    if (m_drawing) {
        extendStroke(mapToScene(event->pos()));
        endStroke();
        event->accept();
        return;
    }
    if (m_erasing) {
        endErase();
        event->accept();
        return;
    }
    if (m_lassoing) {
        m_lassoing = false;
        QPainterPath area;
        area.addPolygon(m_lasso);
        area.closeSubpath();
        m_lasso.clear();
        if (m_data)
            m_data->scene()->setSelectionArea(area, Qt::IntersectsItemShape);
        viewport()->update();
        event->accept();
        return;
    }
    QGraphicsView::mouseReleaseEvent(event);
    if (m_tool == Tool::Select)
        endMoveTracking();
}

void OrvPainter::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (m_tool == Tool::Select && m_editable && event->button() == Qt::LeftButton) {
        QGraphicsItem *hit = itemAt(event->pos());
        hit = hit ? hit->topLevelItem() : nullptr;
        if (hit && hit->type() == TextAnnotation::Type) {
            // Typing into a box straight from the select tool.
            beginText(mapToScene(event->pos()), static_cast<TextAnnotation *>(hit));
            event->accept();
            return;
        }
    }
    QGraphicsView::mouseDoubleClickEvent(event);
}

void OrvPainter::keyPressEvent(QKeyEvent *event)
{
    if (m_editingText) {
        if (event->key() == Qt::Key_Escape) {
            finishTextEditing();
            event->accept();
            return;
        }
        QGraphicsView::keyPressEvent(event); // typing, the box's own undo included
        return;
    }
    if (event->matches(QKeySequence::Undo)) {
        undo();
    } else if (event->matches(QKeySequence::Redo)) {
        redo();
    } else if (event->matches(QKeySequence::Delete) || event->key() == Qt::Key_Backspace) {
        deleteSelected();
    } else if (event->matches(QKeySequence::Paste)) {
        pasteFromClipboard();
    } else if (event->matches(QKeySequence::SelectAll)) {
        selectAll();
    } else {
        QGraphicsView::keyPressEvent(event);
        return;
    }
    event->accept();
}

void OrvPainter::leaveEvent(QEvent *event)
{
    m_cursorInside = false;
    QGraphicsView::leaveEvent(event);
}

void OrvPainter::wheelEvent(QWheelEvent *event)
{
    // The window below zooms; the layer never scrolls on its own.
    event->ignore();
}

void OrvPainter::focusOutEvent(QFocusEvent *event)
{
    // A popup (an input method's candidate list, a menu) takes the focus for a moment only, and a
    // tool bar's colour or size box in the same window is there to restyle the box being typed.
    const QWidget *next = QApplication::focusWidget();
    const bool staysHere = next && next->window() == window();
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason && !staysHere)
        finishTextEditing();
    QGraphicsView::focusOutEvent(event);
}

void OrvPainter::drawForeground(QPainter *painter, const QRectF &rect)
{
    Q_UNUSED(rect)
    if (m_drawing && !m_livePath.isEmpty()) {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(m_penColor, m_liveWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter->setBrush(m_penShape == PenShape::Arrow ? QBrush(m_penColor) : QBrush(Qt::NoBrush));
        painter->drawPath(m_livePath);
        painter->restore();
    }
    if (m_lassoing && m_lasso.size() > 1) {
        painter->save();
        QPen pen(QColor(0x2F, 0x7B, 0xFF), 0, Qt::DashLine);
        pen.setCosmetic(true);
        painter->setPen(pen);
        painter->drawPolyline(m_lasso);
        painter->restore();
    }
}

// --- output ---

QImage OrvPainter::renderImage(const QPixmap &picture) const
{
    const QSize size = picture.isNull() ? m_pictureSize : picture.size();
    if (size.isEmpty())
        return QImage();
    // JPEG and opaque pictures need no alpha; drawing on RGB32 saves a conversion later.
    const bool alpha = picture.isNull() ? m_background.alpha() < 255 : picture.hasAlphaChannel();
    QImage base;
    if (picture.isNull()) {
        base = QImage(size, alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
        if (base.isNull())
            return base;
        base.fill(m_background);
    } else {
        base = picture.toImage();
    }
    const AnnotationComposer composer(m_data ? m_data->scene() : nullptr, m_pictureSize, size);
    return composer.compose(base, alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

bool OrvPainter::render(const QString &path, const QPixmap &picture) const
{
    if (picture.isNull()) {
        qCWarning(lcOrvPainter) << "no picture to render to" << path;
        return false;
    }
    const QByteArray suffix = QFileInfo(path).suffix().toLower().toLatin1();
    const QByteArray format = suffix.isEmpty() ? QByteArray("png") : suffix == "jpg" ? QByteArray("jpeg") : suffix;
    // JPEG is encoded here; asking Qt's plug-ins about it first would only cost time.
    if (format != "jpeg" && !QImageWriter::supportedImageFormats().contains(format)) {
        qCWarning(lcOrvPainter) << "cannot write pictures as" << suffix << "to" << path;
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcOrvPainter) << "cannot write" << path << file.errorString();
        return false;
    }
    if (format == "jpeg") {
        // Encoded while it is composed.
        const AnnotationComposer composer(m_data ? m_data->scene() : nullptr, m_pictureSize, picture.size());
        QString error;
        if (!composer.writeJpeg(picture.toImage(), &file, 95, &error)) {
            qCWarning(lcOrvPainter) << "cannot encode" << path << error;
            file.cancelWriting();
            return false;
        }
    } else {
        const QImage image = renderImage(picture);
        if (image.isNull()) {
            qCWarning(lcOrvPainter) << "no memory for the picture" << picture.size() << "to" << path;
            file.cancelWriting();
            return false;
        }
        QImageWriter writer(&file, format);
        if (!writer.write(image)) {
            qCWarning(lcOrvPainter) << "cannot encode" << path << writer.errorString();
            file.cancelWriting();
            return false;
        }
    }
    if (!file.commit()) {
        qCWarning(lcOrvPainter) << "cannot write" << path << file.errorString();
        return false;
    }
    return true;
}

// --- data ---

QByteArray OrvPainter::annotationData() const
{
    return m_data ? m_data->toData(m_pictureSize) : QByteArray();
}

bool OrvPainter::setAnnotationData(const QByteArray &data)
{
    if (!m_data)
        return false;
    finishTextEditing();
    if (!m_data->fromData(data))
        return false;
    applyInputMode();
    return true;
}

int OrvPainter::storedItemCount(const QString &key)
{
    LayerData *data = LayerData::existing(key);
    return data ? data->annotationCount() : 0;
}

void OrvPainter::discardData(const QString &key)
{
    LayerData::discard(key);
}

QByteArray OrvPainter::storedData(const QString &key)
{
    LayerData *data = LayerData::existing(key);
    return data ? data->toData(QSize()) : QByteArray();
}

bool OrvPainter::setStoredData(const QString &key, const QByteArray &data)
{
    if (key.isEmpty()) {
        qCWarning(lcOrvPainter) << "annotation data needs a key";
        return false;
    }
    return LayerData::forKey(key)->fromData(data);
}

void OrvPainter::setStorageDirectory(const QString &folder)
{
    LayerData::setStorageDirectory(folder);
}

QString OrvPainter::storageDirectory()
{
    return LayerData::storageDirectory();
}

QString OrvPainter::storagePath(const QString &key)
{
    return LayerData::storagePath(key);
}

} // namespace OrvPainterBase
