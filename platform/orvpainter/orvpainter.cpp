// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpainter.h"
#include "orvpainter_logging.h"

#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QHash>
#include <QImageWriter>
#include <QPainter>
#include <QFileInfo>
#include <QResizeEvent>
#include <QSaveFile>
#include <QScrollBar>

namespace OrvPainterBase {

namespace {

// Annotations by data key, for the life of the process.
QHash<QString, QGraphicsScene *> &store()
{
    static QHash<QString, QGraphicsScene *> scenes;
    return scenes;
}

QGraphicsScene *sceneFor(const QString &key)
{
    QGraphicsScene *&scene = store()[key];
    if (!scene)
        scene = new QGraphicsScene;
    return scene;
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
    setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    // The picture below shows through.
    setStyleSheet(QStringLiteral("QGraphicsView { background: transparent; border: none; }"));
    viewport()->setAutoFillBackground(false);
    setAttribute(Qt::WA_TranslucentBackground);
    m_ownScene = new QGraphicsScene(this);
    attachScene(m_ownScene);
    resize(pictureSize);
    applyInputMode();
}

OrvPainter::~OrvPainter() = default;

void OrvPainter::attachScene(QGraphicsScene *scene)
{
    if (m_scene == scene)
        return;
    m_scene = scene;
    m_scene->setSceneRect(QRectF(QPointF(0, 0), QSizeF(m_pictureSize)));
    setScene(m_scene);
    fitScene();
}

void OrvPainter::setPictureSize(const QSize &size)
{
    if (size == m_pictureSize)
        return;
    m_pictureSize = size;
    if (m_scene)
        m_scene->setSceneRect(QRectF(QPointF(0, 0), QSizeF(size)));
    fitScene();
}

void OrvPainter::setLayerSize(const QSize &size)
{
    resize(size);
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
}

void OrvPainter::setDataKey(const QString &key)
{
    if (key == m_key && m_scene)
        return;
    m_key = key;
    attachScene(key.isEmpty() ? m_ownScene : sceneFor(key));
    qCDebug(lcOrvPainter) << "layer shows key" << key << "with" << itemCount() << "annotations";
    Q_EMIT dataModified(itemCount());
}

void OrvPainter::setTool(Tool tool)
{
    if (tool == m_tool)
        return;
    m_tool = tool;
    applyInputMode();
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
    if (m_scene)
        m_scene->clearSelection();
    setTool(Tool::None);
}

void OrvPainter::setEditable(bool editable)
{
    if (editable == m_editable)
        return;
    m_editable = editable;
    applyInputMode();
}

void OrvPainter::applyInputMode()
{
    const bool takesInput = m_editable && m_tool != Tool::None;
    setAttribute(Qt::WA_TransparentForMouseEvents, !takesInput);
    setInteractive(takesInput);
    setDragMode(takesInput && m_tool == Tool::Select ? QGraphicsView::RubberBandDrag : QGraphicsView::NoDrag);
    if (m_scene) {
        const auto items = m_scene->items();
        for (QGraphicsItem *item : items) {
            if (item->parentItem())
                continue;
            item->setFlag(QGraphicsItem::ItemIsSelectable, m_tool == Tool::Select);
            item->setFlag(QGraphicsItem::ItemIsMovable, m_tool == Tool::Select);
        }
    }
}

void OrvPainter::addItem(QGraphicsItem *item)
{
    if (!item || !m_scene)
        return;
    m_scene->addItem(item);
    item->setFlag(QGraphicsItem::ItemIsSelectable, m_tool == Tool::Select);
    item->setFlag(QGraphicsItem::ItemIsMovable, m_tool == Tool::Select);
    Q_EMIT dataModified(itemCount());
}

void OrvPainter::clear()
{
    if (!m_scene)
        return;
    const int before = itemCount();
    m_scene->clear();
    if (before != 0)
        Q_EMIT dataModified(0);
}

int OrvPainter::itemCount() const
{
    if (!m_scene)
        return 0;
    int count = 0;
    const auto items = m_scene->items();
    for (const QGraphicsItem *item : items) {
        if (!item->parentItem())
            ++count;
    }
    return count;
}

QImage OrvPainter::renderImage(const QPixmap &picture) const
{
    const QSize size = picture.isNull() ? m_pictureSize : picture.size();
    if (size.isEmpty())
        return QImage();
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return image;
    QPainter painter(&image);
    if (picture.isNull())
        painter.fillRect(image.rect(), m_background);
    else
        painter.drawPixmap(0, 0, picture);
    if (m_scene && !m_pictureSize.isEmpty() && !m_scene->items().isEmpty()) {
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
        // Selection frames are not part of the picture.
        const auto selected = m_scene->selectedItems();
        for (QGraphicsItem *item : selected)
            item->setSelected(false);
        m_scene->render(&painter, QRectF(QPointF(0, 0), QSizeF(size)), QRectF(QPointF(0, 0), QSizeF(m_pictureSize)),
                        Qt::IgnoreAspectRatio);
        for (QGraphicsItem *item : selected)
            item->setSelected(true);
    }
    return image;
}

bool OrvPainter::render(const QString &path, const QPixmap &picture) const
{
    if (picture.isNull()) {
        qCWarning(lcOrvPainter) << "no picture to render to" << path;
        return false;
    }
    QImage image = renderImage(picture);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcOrvPainter) << "cannot write" << path << file.errorString();
        return false;
    }
    QImageWriter writer(&file, QByteArray());
    const QByteArray suffix = QFileInfo(path).suffix().toLower().toLatin1();
    writer.setFormat(suffix.isEmpty() ? QByteArray("png") : suffix);
    if (suffix == "jpg" || suffix == "jpeg") {
        writer.setQuality(95);
        image = image.convertToFormat(QImage::Format_RGB32);
    }
    if (!writer.write(image)) {
        qCWarning(lcOrvPainter) << "cannot encode" << path << writer.errorString();
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        qCWarning(lcOrvPainter) << "cannot write" << path << file.errorString();
        return false;
    }
    return true;
}

int OrvPainter::storedItemCount(const QString &key)
{
    QGraphicsScene *scene = store().value(key);
    if (!scene)
        return 0;
    int count = 0;
    const auto items = scene->items();
    for (const QGraphicsItem *item : items) {
        if (!item->parentItem())
            ++count;
    }
    return count;
}

void OrvPainter::discardData(const QString &key)
{
    if (QGraphicsScene *scene = store().take(key))
        scene->deleteLater();
}

} // namespace OrvPainterBase
