// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageGraphicsView.h"

#include "orvcommon_logging.h"
#include "orvpainter.h"

#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QImageWriter>
#include <QKeyEvent>
#include <QSaveFile>
#include <QScrollBar>
#include <QThreadPool>
#include <QWheelEvent>
#include <QtConcurrent>

namespace {

int s_wheelAccumulator = 0;
constexpr int WheelThreshold = 20;
// Reduced copies are made for pictures at least twice this size.
constexpr int MinReducedSide = 256;

// The whole hundredths of a scale, proof against 0.7 + 0.1 landing at 0.7999999.
int hundredths(double scale)
{
    return int(scale * 100 + 1e-9);
}

} // namespace

ImageGraphicsView::ImageGraphicsView(QWidget *parent)
    : QGraphicsView(parent)
{
    setObjectName(QStringLiteral("imageViewer"));
    setFrameShape(QFrame::NoFrame);
    setAlignment(Qt::AlignCenter);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setRenderHint(QPainter::SmoothPixmapTransform);
    setOptimizationFlag(QGraphicsView::DontSavePainterState);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setBackgroundBrush(QColor(0xFA, 0xFA, 0xFA));
    setFocusPolicy(Qt::StrongFocus);
    m_scene = new QGraphicsScene(this);
    m_item = new QGraphicsPixmapItem;
    m_item->setTransformationMode(Qt::SmoothTransformation);
    m_item->setShapeMode(QGraphicsPixmapItem::BoundingRectShape);
    m_scene->addItem(m_item);
    setScene(m_scene);
    connect(&m_levelWatcher, &QFutureWatcher<QVector<QImage>>::finished, this, [this] {
        m_levels.clear();
        const QVector<QImage> images = m_levelWatcher.result();
        for (const QImage &image : images)
            m_levels.append(QPixmap::fromImage(image));
        applyTransform();
    });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &ImageGraphicsView::imagePositionChange);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &ImageGraphicsView::imagePositionChange);
}

ImageGraphicsView::~ImageGraphicsView()
{
    m_levelWatcher.disconnect(this);
    delete m_painter.data();
}

int ImageGraphicsView::wheelAccumulator()
{
    return s_wheelAccumulator;
}

void ImageGraphicsView::resetWheelAccumulator()
{
    s_wheelAccumulator = 0;
}

// --- picture and layer ---

void ImageGraphicsView::loadPixmap(const QPixmap &pixmap)
{
    if (pixmap.isNull() || pixmap.width() <= 0 || pixmap.height() <= 0) {
        qCWarning(lcOrvCommon) << "ImageGraphicsView: no picture to show, the shown one stays";
        return;
    }
    const qreal ratio = pixmap.devicePixelRatio();
    m_original = pixmap;
    m_original.setDevicePixelRatio(1.0);
    m_turned = QPixmap();
    m_rotation = 0;
    m_levels.clear();
    m_item->setPixmap(m_original);
    buildReductions();
    addPainter(getPainterSize());
    m_scale = m_usedByScreenShot ? 1.0 / ratio : getAdjustScale();
    applyTransform();
    Q_EMIT imageSizeChange(m_scale);
}

void ImageGraphicsView::setPixmap(const QPixmap &pixmap)
{
    if (pixmap.isNull())
        return;
    m_original = pixmap;
    m_original.setDevicePixelRatio(1.0);
    m_turned = QPixmap();
    m_levels.clear();
    m_item->setPixmap(m_original);
    buildReductions();
    if (m_painter)
        m_painter->setPictureSize(getPainterSize());
    applyTransform();
}

void ImageGraphicsView::setupImageAndPainter(const QPixmap &pixmap, int rotation)
{
    if (!pixmap.isNull() && pixmap.cacheKey() != m_original.cacheKey())
        loadPixmap(pixmap);
    turnTo(rotation);
}

QPixmap ImageGraphicsView::getPixmap() const
{
    if (m_rotation % 360 == 0)
        return m_original;
    if (m_turned.isNull() || m_turnedRotation != m_rotation) {
        m_turned = m_original.transformed(QTransform().rotate(m_rotation));
        m_turnedRotation = m_rotation;
    }
    return m_turned;
}

QSize ImageGraphicsView::getPainterSize() const
{
    const QSize size = m_original.size();
    return (m_rotation % 180) ? size.transposed() : size;
}

QSize ImageGraphicsView::getPixmapSize() const
{
    return m_original.size();
}

void ImageGraphicsView::addPainter(QSize size)
{
    if (size.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImageGraphicsView: no annotation layer for an empty picture";
        return;
    }
    delete m_painter.data();
    auto *painter = new OrvPainterBase::OrvPainter(size, viewport());
    painter->setObjectName(QStringLiteral("orvPainter"));
    painter->setDataKey(m_moleName);
    painter->setEditable(m_editState && m_authority);
    painter->installEventFilter(this);
    connect(painter, &OrvPainterBase::OrvPainter::dataModified, this, &ImageGraphicsView::signalDataModified);
    connect(painter, &OrvPainterBase::OrvPainter::toolChanged, this, &ImageGraphicsView::onAdjustCursor);
    m_painter = painter;
    placePainter();
    painter->show();
    Q_EMIT addWhiteBoardToManager(painter);
}

void ImageGraphicsView::deleteAllPainter()
{
    delete m_painter.data();
}

void ImageGraphicsView::clearOrvPainter()
{
    if (m_painter)
        m_painter->clear();
}

void ImageGraphicsView::resetPainterTool()
{
    if (m_painter)
        m_painter->resetTool();
}

void ImageGraphicsView::savePainterTool()
{
    if (m_painter)
        m_painter->saveTool();
}

void ImageGraphicsView::restorePainterTool()
{
    if (m_painter)
        m_painter->restoreTool();
}

void ImageGraphicsView::setMoleNameAndSetupData(const QString &name)
{
    m_moleName = name;
    if (m_painter)
        m_painter->setDataKey(name);
}

void ImageGraphicsView::setEditState(bool editing)
{
    m_editState = editing;
    if (m_painter)
        m_painter->setEditable(m_editState && m_authority);
}

void ImageGraphicsView::setAuthority(bool authority)
{
    m_authority = authority;
    if (m_painter)
        m_painter->setEditable(m_editState && m_authority);
}

void ImageGraphicsView::setUsedByScreenShot(bool used)
{
    m_usedByScreenShot = used;
    if (used) {
        m_enableZoom = false;
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setAlignment(Qt::AlignLeft | Qt::AlignTop);
        setBackgroundBrush(Qt::NoBrush);
        setStyleSheet(QStringLiteral("QGraphicsView { background: transparent; border: none; }"));
        viewport()->setAutoFillBackground(false);
    }
}

bool ImageGraphicsView::saveImage(const QString &path, QPixmap pixmap)
{
    if (pixmap.isNull())
        pixmap = getPixmap();
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImageGraphicsView: no picture to save to" << path;
        return false;
    }
    if (m_painter) {
        m_painter->finishTextEditing();
        return m_painter->render(path, pixmap);
    }
    const QByteArray suffix = QFileInfo(path).suffix().toLower().toLatin1();
    QSaveFile file(path);
    QImageWriter writer(&file, suffix.isEmpty() ? QByteArray("png") : suffix == "jpg" ? QByteArray("jpeg") : suffix);
    writer.setQuality(95);
    if (!file.open(QIODevice::WriteOnly) || !writer.write(pixmap.toImage()) || !file.commit()) {
        qCWarning(lcOrvCommon) << "ImageGraphicsView: cannot save the picture to" << path << writer.errorString()
                               << file.errorString();
        return false;
    }
    return true;
}

QImage ImageGraphicsView::renderImage() const
{
    const QPixmap picture = getPixmap();
    if (m_painter) {
        m_painter->finishTextEditing();
        return m_painter->renderImage(picture);
    }
    return picture.toImage();
}

void ImageGraphicsView::finishShot(const QPixmap &shot)
{
    if (!shot.isNull() && m_painter) {
        QImage image = shot.toImage();
        image.setDevicePixelRatio(1.0);
        m_painter->addPicture(image);
    }
    Q_EMIT signalShotFinished();
}

void ImageGraphicsView::cancelShot()
{
    Q_EMIT signalShotCanceled();
}

// --- scale and rotation ---

double ImageGraphicsView::getAdjustScale() const
{
    const QSize picture = getPainterSize();
    const QSize v = viewport()->size();
    if (picture.isEmpty() || v.isEmpty())
        return 1.0;
    return qBound(MinScale, qMin(double(v.width()) / picture.width(), double(v.height()) / picture.height()), MaxScale);
}

void ImageGraphicsView::chooseLevel()
{
    // The smallest reduction still at least as large as what shows.
    const QPixmap *best = &m_original;
    for (const QPixmap &level : qAsConst(m_levels)) {
        if (level.width() < m_original.width() * m_scale || level.height() < m_original.height() * m_scale)
            break;
        best = &level;
    }
    if (m_item->pixmap().cacheKey() != best->cacheKey())
        m_item->setPixmap(*best);
}

void ImageGraphicsView::applyTransform()
{
    if (m_original.isNull())
        return;
    chooseLevel();
    const QPixmap shown = m_item->pixmap();
    const double levelFactor = shown.width() > 0 ? double(m_original.width()) / shown.width() : 1.0;
    m_item->setTransformOriginPoint(0, 0);
    m_item->setPos(0, 0);
    m_item->setRotation(m_rotation);
    m_item->setScale(m_scale * levelFactor);
    // The turned, scaled picture starts at the scene's origin.
    const QRectF bounds = m_item->sceneBoundingRect();
    m_item->setPos(-bounds.topLeft());
    m_scene->setSceneRect(QRectF(QPointF(0, 0), bounds.size()));
    placePainter();
    onAdjustCursor();
}

void ImageGraphicsView::placePainter()
{
    if (!m_painter)
        return;
    const QSize turned = getPainterSize();
    const QSize size(qMax(1, qRound(turned.width() * m_scale)), qMax(1, qRound(turned.height() * m_scale)));
    m_painter->setGeometry(QRect(mapFromScene(QPointF(0, 0)), size));
}

void ImageGraphicsView::turnTo(int rotation)
{
    m_rotation = rotation;
    if (m_original.isNull())
        return;
    if (m_painter) {
        // Annotations sit on the picture as it stood; a turn starts a clean layer.
        if (m_painter->itemCount() > 0)
            qCInfo(lcOrvCommon) << "ImageGraphicsView: turning drops" << m_painter->itemCount() << "annotations of"
                                << m_moleName;
        m_painter->discardAnnotations();
    }
    addPainter(getPainterSize());
    m_scale = getAdjustScale();
    applyTransform();
    Q_EMIT imageSizeChange(m_scale);
}

void ImageGraphicsView::rotateValue(int rotation)
{
    turnTo(rotation);
}

void ImageGraphicsView::rotateImage(bool reverse)
{
    // The remainder keeps the sign of the dividend: four left turns give -90, -180, -270, 0.
    turnTo(reverse ? (m_rotation - 90) % 360 : (m_rotation + 90) % 360);
}

void ImageGraphicsView::onLeftRotate()
{
    rotateImage(true);
}

void ImageGraphicsView::onRightRotate()
{
    rotateImage(false);
}

void ImageGraphicsView::setImageScale(double scale)
{
    if (scale < MinScale || scale > MaxScale)
        return;
    m_scale = scale;
    applyTransform();
    Q_EMIT imageSizeChange(m_scale);
}

void ImageGraphicsView::adaptImageSize()
{
    setImageScale(getAdjustScale());
}

void ImageGraphicsView::restoreImageSize()
{
    setImageScale(1.0);
}

void ImageGraphicsView::adjustImageToViewerSize()
{
    adaptImageSize();
}

bool ImageGraphicsView::getZoominEnableState() const
{
    return m_scale < MaxScale && !fuzzyEqual(m_scale, MaxScale);
}

bool ImageGraphicsView::getZoomoutEnableState() const
{
    return m_scale > MinScale && !fuzzyEqual(m_scale, MinScale);
}

void ImageGraphicsView::zoominImage(QPoint pos)
{
    if (m_scale > MaxScale || fuzzyEqual(m_scale, MaxScale))
        return;
    const double old = m_scale;
    m_scale = qMin(m_scale + ZoomStep, MaxScale);
    const int n = hundredths(m_scale);
    // Off the grid, the scale is cut down to its tenth.
    m_scale = (n % 10) ? (n / 10) / 10.0 : n / 100.0;
    afterZoom(pos, old);
}

void ImageGraphicsView::zoomoutImage(QPoint pos)
{
    if (m_scale < MinScale || fuzzyEqual(m_scale, MinScale))
        return;
    const double old = m_scale;
    m_scale = qMax(m_scale - ZoomStep, MinScale);
    const int n = hundredths(m_scale) + 10;
    // Off the grid, the scale lands on the tenth above.
    m_scale = (n % 10) ? (n / 10) / 10.0 : (n - 10) / 100.0;
    afterZoom(pos, old);
}

void ImageGraphicsView::afterZoom(QPoint pos, double oldScale)
{
    Q_UNUSED(oldScale)
    scaleImageByPainter(pos);
    Q_EMIT imageSizeChange(m_scale);
}

void ImageGraphicsView::scaleImage(QPoint pos)
{
    // The share of the picture under pos stays under pos.
    const QSizeF before = m_scene->sceneRect().size();
    const QPointF at = mapToScene(pos);
    const double fx = before.width() > 0 ? qBound(0.0, at.x() / before.width(), 1.0) : 0.5;
    const double fy = before.height() > 0 ? qBound(0.0, at.y() / before.height(), 1.0) : 0.5;
    applyTransform();
    const QSizeF after = m_scene->sceneRect().size();
    const QPointF target(fx * after.width(), fy * after.height());
    const QPointF now = mapToScene(pos);
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + qRound(target.x() - now.x()));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + qRound(target.y() - now.y()));
    placePainter();
}

void ImageGraphicsView::scaleImageByPainter(QPoint pos)
{
    scaleImage(pos);
}

QPointF ImageGraphicsView::getImageContainerCenterPoint() const
{
    return QRectF(getImageContainerPoint(), getImageContainerSize()).center();
}

QPointF ImageGraphicsView::getImageContainerPoint() const
{
    return mapFromScene(QPointF(0, 0));
}

QSizeF ImageGraphicsView::getImageContainerSize() const
{
    return m_scene->sceneRect().size();
}

QSizeF ImageGraphicsView::getSceneRectSize() const
{
    return m_scene->sceneRect().size();
}

void ImageGraphicsView::onAdjustCursor()
{
    if (m_spacePan)
        return;
    const bool drawing = m_painter && m_painter->tool() != OrvPainterBase::OrvPainter::Tool::None;
    const QSizeF shown = m_scene->sceneRect().size();
    const bool larger = shown.width() > viewport()->width() || shown.height() > viewport()->height();
    // Larger than the window and no tool: the picture is dragged around.
    setDragMode(!drawing && larger ? QGraphicsView::ScrollHandDrag : QGraphicsView::NoDrag);
    if (!(!drawing && larger))
        viewport()->unsetCursor();
}

// --- events ---

void ImageGraphicsView::buildReductions()
{
    if (m_original.width() < 2 * MinReducedSide && m_original.height() < 2 * MinReducedSide)
        return;
    const QImage source = m_original.toImage();
    m_levelWatcher.setFuture(QtConcurrent::run(QThreadPool::globalInstance(), [source] {
        QVector<QImage> levels;
        QImage level = source;
        while (level.width() >= 2 * MinReducedSide || level.height() >= 2 * MinReducedSide) {
            level = level.scaled(level.width() / 2, level.height() / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            levels.append(level);
        }
        return levels;
    }));
}

void ImageGraphicsView::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    placePainter();
    onAdjustCursor();
}

void ImageGraphicsView::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    placePainter();
}

void ImageGraphicsView::wheelEvent(QWheelEvent *event)
{
    if (!m_enableZoom || m_original.isNull()) {
        QGraphicsView::wheelEvent(event);
        return;
    }
    const int delta = event->angleDelta().y();
    s_wheelAccumulator += delta;
    event->accept();
    if (qAbs(s_wheelAccumulator) < WheelThreshold)
        return;
    s_wheelAccumulator = 0;
    const QPoint pos = event->position().toPoint();
    if (delta < 1)
        zoomoutImage(pos);
    else
        zoominImage(pos);
}

void ImageGraphicsView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        Q_EMIT signalActived();
    QGraphicsView::mousePressEvent(event);
}

void ImageGraphicsView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && m_painter && !m_spacePan
        && !m_painter->isEditingText() && m_painter->tool() != OrvPainterBase::OrvPainter::Tool::None) {
        // Held down, the space bar pans whatever the tool.
        m_painter->saveTool();
        m_spacePan = true;
        setDragMode(QGraphicsView::ScrollHandDrag);
        setFocus(Qt::OtherFocusReason);
        event->accept();
        return;
    }
    QGraphicsView::keyPressEvent(event);
}

void ImageGraphicsView::keyReleaseEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && m_spacePan) {
        m_spacePan = false;
        if (m_painter) {
            m_painter->restoreTool();
            m_painter->setFocus(Qt::OtherFocusReason);
        }
        onAdjustCursor();
        event->accept();
        return;
    }
    QGraphicsView::keyReleaseEvent(event);
}

bool ImageGraphicsView::eventFilter(QObject *watched, QEvent *event)
{
    // The type first: while the layer is being destroyed it is no painter any more.
    if ((event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) && watched == m_painter) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Space && !m_painter->isEditingText()) {
            if (event->type() == QEvent::KeyPress)
                keyPressEvent(key);
            else
                keyReleaseEvent(key);
            return key->isAccepted();
        }
    }
    return QGraphicsView::eventFilter(watched, event);
}
