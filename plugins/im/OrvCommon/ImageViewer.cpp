// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageViewer.h"

#include "imagepreviewmenu.h"
#include "orvcommon_logging.h"
#include "orvpainter.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>

namespace {

// The whole hundredths of a scale, proof against 0.7 + 0.1 landing at 0.7999999.
int hundredths(double scale)
{
    return int(scale * 100 + 1e-9);
}

} // namespace

ImageViewer::ImageViewer(QWidget *parent)
    : QScrollArea(parent)
    , m_container(new ImageContainer)
{
    setObjectName(QStringLiteral("imageViewer"));
    setFrameShape(QFrame::NoFrame);
    setAlignment(Qt::AlignCenter);
    setWidgetResizable(false);
    setWidget(m_container);
    setFocusPolicy(Qt::StrongFocus);
    m_container->installEventFilter(this);
    viewport()->installEventFilter(this);

    m_scaleLabel = new QLabel(this);
    m_scaleLabel->setObjectName(QStringLiteral("scaleLabel"));
    m_scaleLabel->setFixedSize(136, 136);
    m_scaleLabel->setAlignment(Qt::AlignCenter);
    m_scaleLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_scaleLabel->setStyleSheet(QStringLiteral(
        "QLabel#scaleLabel{background:rgba(0,0,0,153);color:#FFFFFF;border-radius:12px;font-size:26px;}"));
    m_scaleLabel->hide();
    m_scaleTimer = new QTimer(this);
    m_scaleTimer->setSingleShot(true);
    m_scaleTimer->setInterval(1000);
    connect(m_scaleTimer, &QTimer::timeout, m_scaleLabel, &QWidget::hide);

    // The container forwards the wheel; positions come in its own coordinates.
    connect(m_container, &ImageContainer::signalZoomin, this, [this](QPoint pos) {
        if (m_enableZoom)
            zoominImage(m_container->pos() + pos);
    });
    connect(m_container, &ImageContainer::signalZoomout, this, [this](QPoint pos) {
        if (m_enableZoom)
            zoomoutImage(m_container->pos() + pos);
    });
    connect(m_container, &ImageContainer::signalActived, this, &ImageViewer::signalActived);
    connect(m_container, &ImageContainer::signalDataModified, this, &ImageViewer::signalDataModified);
    connect(m_container, &ImageContainer::signalHomeworkGradeChange, this, &ImageViewer::signalHomeworkGradeChange);
    connect(m_container, &ImageContainer::signalRequestHomeworkFile, this, &ImageViewer::signalRequestHomeworkFile);
    connect(m_container, &ImageContainer::signalClickOnItemShowTips, this, &ImageViewer::signalClickOnItemShowTips);
    connect(m_container, &ImageContainer::signalShotFinished, this, &ImageViewer::signalShotFinished);
    connect(m_container, &ImageContainer::signalShotCanceled, this, &ImageViewer::signalShotCanceled);
    connect(m_container, &ImageContainer::addWhiteBoardToManager, this, [this](QGraphicsView *painter) {
        painter->installEventFilter(this);
        Q_EMIT addWhiteBoardToManager(painter);
    });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &ImageViewer::imagePositionChange);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &ImageViewer::imagePositionChange);
}

ImageViewer::~ImageViewer() = default;

void ImageViewer::setPlaceholderPixmap(const QPixmap &pixmap)
{
    m_placeholderPixmap = pixmap;
    if (m_originalPixmap.isNull()) {
        m_container->setPixmap(pixmap);
        m_container->resize(pixmap.size());
    }
}

QPixmap ImageViewer::getCalcRotePixmap() const
{
    if (m_originalPixmap.isNull() || (m_rotation % 360) == 0)
        return m_originalPixmap;
    return m_originalPixmap.transformed(QTransform().rotate(m_rotation));
}

QSize ImageViewer::getCalcPainterSize() const
{
    const QSize size = m_originalPixmap.size();
    return (m_rotation % 180) ? size.transposed() : size;
}

QSize ImageViewer::scaledSize(double scale) const
{
    const QSize size = getCalcPainterSize();
    return QSize(qMax(1, qRound(size.width() * scale)), qMax(1, qRound(size.height() * scale)));
}

void ImageViewer::loadPixmap(QPixmap pixmap)
{
    loadPixmap(std::move(pixmap), 0);
}

void ImageViewer::loadPixmap(QPixmap pixmap, int rotation)
{
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImageViewer: null picture, the shown one stays";
        return;
    }
    m_originalPixmap = std::move(pixmap);
    m_rotation = rotation;
    m_container->setPixmap(getCalcRotePixmap());
    if (m_usageScenario == ScreenshotScenario || m_usedByScreenShot)
        adjustViewerToImageSize();
    else
        adjustImageToViewerSize();
}

void ImageViewer::setRotateValue(int rotation)
{
    m_rotation = rotation;
}

void ImageViewer::setImageScale(double scale)
{
    if (scale < MinScale || scale > MaxScale)
        return;
    m_prevScale = m_scale;
    m_scale = scale;
    resizeContainer(scaledSize(scale));
    Q_EMIT scaleChanged(m_scale);
}

bool ImageViewer::getZoominEnableState() const
{
    return m_scale < MaxScale && !fuzzyEqual(m_scale, MaxScale);
}

bool ImageViewer::getZoomoutEnableState() const
{
    return m_scale > MinScale && !fuzzyEqual(m_scale, MinScale);
}

void ImageViewer::zoominImage(QPoint pos)
{
    if (m_scale > MaxScale || fuzzyEqual(m_scale, MaxScale))
        return;
    m_prevScale = m_scale;
    m_scale = qMin(m_scale + ZoomStep, MaxScale);
    const int n = hundredths(m_scale);
    // Off the grid, the scale is cut down to its tenth.
    m_scale = (n % 10) ? (n / 10) / 10.0 : n / 100.0;
    afterZoom(pos);
}

void ImageViewer::zoomoutImage(QPoint pos)
{
    if (m_scale < MinScale || fuzzyEqual(m_scale, MinScale))
        return;
    m_prevScale = m_scale;
    m_scale = qMax(m_scale - ZoomStep, MinScale);
    const int n = hundredths(m_scale) + 10;
    // Off the grid, the scale lands on the tenth above.
    m_scale = (n % 10) ? (n / 10) / 10.0 : (n - 10) / 100.0;
    afterZoom(pos);
}

void ImageViewer::afterZoom(QPoint pos)
{
    if (getPainter())
        scaleImageByPainter(pos);
    else
        scaleImage(pos);
    Q_EMIT scaleChanged(m_scale);
    showScaleLabel();
}

void ImageViewer::scaleImage(QPoint pos)
{
    const QRect before = m_container->geometry();
    // The share of the picture under the point, kept there after the resize.
    const double rx = before.width() > 0 ? qBound(0.0, double(pos.x() - before.x()) / before.width(), 1.0) : 0.5;
    const double ry = before.height() > 0 ? qBound(0.0, double(pos.y() - before.y()) / before.height(), 1.0) : 0.5;
    const QSize size = scaledSize(m_scale);
    m_container->resize(size);
    horizontalScrollBar()->setValue(qRound(rx * size.width() - pos.x()));
    verticalScrollBar()->setValue(qRound(ry * size.height() - pos.y()));
    Q_EMIT imageSizeChange();
    Q_EMIT imagePositionChange();
}

void ImageViewer::scaleImageByPainter(QPoint pos)
{
    scaleImage(pos);
    if (auto *painter = getPainter())
        painter->setLayerSize(m_container->size());
}

void ImageViewer::rotateValue(bool reverse)
{
    // The remainder keeps the sign of the dividend: four left turns give -90, -180, -270, 0.
    m_rotation = reverse ? (m_rotation - 90) % 360 : (m_rotation + 90) % 360;
}

void ImageViewer::rotateImage(bool reverse)
{
    rotateValue(reverse);
    setupImageAndPainter(m_rotation);
}

void ImageViewer::setupImageAndPainter(int rotation)
{
    m_rotation = rotation;
    m_container->setPixmap(getCalcRotePixmap());
    resizeContainer(scaledSize(m_scale));
    if (getPainter()) {
        const QString key = m_container->getMoleName();
        // Annotations are placed on the picture as it stood; they do not survive a turn.
        if (getPainter()->itemCount() > 0)
            qCInfo(lcOrvCommon) << "ImageViewer: turning drops" << getPainter()->itemCount() << "annotations of" << key;
        getPainter()->discardAnnotations();
        m_container->deleteAllPainter();
        m_container->addPainter(getCalcPainterSize());
    }
    Q_EMIT imageSizeChange();
}

void ImageViewer::setImageContainerGeometry(QRectF rect)
{
    m_container->setGeometry(rect.toRect());
    const QSize size = getCalcPainterSize();
    if (size.width() > 0)
        m_scale = rect.width() / size.width();
    Q_EMIT imageSizeChange();
}

void ImageViewer::setImageContainerGeometryWithRatio(double x, double y, double width, double height)
{
    const QSize v = viewport()->size();
    setImageContainerGeometry(QRectF(x * v.width(), y * v.height(), width * v.width(), height * v.height()));
}

QPointF ImageViewer::getImageContainerCenterPoint() const
{
    return QRectF(m_container->geometry()).center();
}

QPointF ImageViewer::getImageContainerPoint() const
{
    return m_container->pos();
}

QSizeF ImageViewer::getImageContainerSize() const
{
    return m_container->size();
}

void ImageViewer::clearOrvPainter()
{
    m_container->clearOrvPainter();
}

void ImageViewer::deleteAllPainter()
{
    m_container->deleteAllPainter();
}

bool ImageViewer::saveImage(const QString &path)
{
    return m_container->saveImage(path, getCalcRotePixmap());
}

void ImageViewer::adjustImageToViewerSize()
{
    adjustImageToViewerSizeByPainter(true);
}

void ImageViewer::adjustImageToViewerSizeByPainter(bool showLabel)
{
    const QSize picture = getCalcPainterSize();
    const QSize v = viewport()->size();
    if (picture.isEmpty() || v.isEmpty())
        return;
    m_prevScale = m_scale;
    m_scale = qBound(MinScale, qMin(double(v.width()) / picture.width(), double(v.height()) / picture.height()), MaxScale);
    resizeContainer(scaledSize(m_scale));
    Q_EMIT scaleChanged(m_scale);
    if (showLabel)
        showScaleLabel();
}

void ImageViewer::adjustViewerToImageSize()
{
    m_prevScale = m_scale;
    m_scale = 1.0;
    resizeContainer(getCalcPainterSize());
    Q_EMIT scaleChanged(m_scale);
    showScaleLabel();
}

void ImageViewer::adjustViewerToImageSizeByPainter()
{
    adjustViewerToImageSize();
}

void ImageViewer::resizeContainer(QSize size)
{
    m_container->resize(size);
    if (auto *painter = getPainter())
        painter->setLayerSize(size);
    Q_EMIT imageSizeChange();
}

void ImageViewer::onPanned(const QPoint &delta)
{
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() - delta.x());
    verticalScrollBar()->setValue(verticalScrollBar()->value() - delta.y());
}

QString ImageViewer::getMoleName() const
{
    return m_container->getMoleName();
}

void ImageViewer::setMoleName(QString name)
{
    m_container->setMoleName(std::move(name));
}

void ImageViewer::setMoleNameAndSetupData(QString name)
{
    m_container->setMoleNameAndSetupData(std::move(name));
}

void ImageViewer::setEditState(bool editing)
{
    m_editState = editing;
    m_container->setEditState(editing);
}

void ImageViewer::setEnableZoom(bool enable)
{
    m_enableZoom = enable;
    m_container->setEnableZoom(enable);
}

QString ImageViewer::scaleLabelText() const
{
    return m_scaleLabel->isHidden() ? QString() : m_scaleLabel->text();
}

void ImageViewer::placeScaleLabel()
{
    const QRect v = viewport()->geometry();
    m_scaleLabel->move(v.center() - QPoint(m_scaleLabel->width() / 2, m_scaleLabel->height() / 2));
}

void ImageViewer::showScaleLabel()
{
    m_scaleLabel->setText(QStringLiteral("%1%").arg(qRound(m_scale * 100)));
    placeScaleLabel();
    m_scaleLabel->raise();
    m_scaleLabel->show();
    m_scaleTimer->start();
}

void ImageViewer::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    placeScaleLabel();
}

void ImageViewer::showContextMenu(const QPoint &globalPos)
{
    if (m_originalPixmap.isNull())
        return;
    if (!m_menu) {
        m_menu = new ImagePreviewMenu(this);
        connect(m_menu, &ImagePreviewMenu::doCopy, this, &ImageViewer::doCopy);
        connect(m_menu, &ImagePreviewMenu::doSave, this, &ImageViewer::doSave);
        connect(m_menu, &ImagePreviewMenu::doShare, this, &ImageViewer::doShare);
        connect(m_menu, &ImagePreviewMenu::doEdit, this, &ImageViewer::doEdit);
        connect(m_menu, &ImagePreviewMenu::doDelete, this, &ImageViewer::doDelete);
    }
    m_menu->ShowMenuByPixmap(getCalcRotePixmap(), globalPos, ImagePreviewMenu::PARENT_VIEWER);
}

void ImageViewer::wheelEvent(QWheelEvent *event)
{
    if (!m_enableZoom) {
        QScrollArea::wheelEvent(event);
        return;
    }
    // Beside the picture too: the container counts the steps.
    const QPointF inContainer = event->position() - QPointF(m_container->pos());
    QWheelEvent forwarded(inContainer, event->globalPosition(), event->pixelDelta(), event->angleDelta(),
                          event->buttons(), event->modifiers(), event->phase(), event->inverted());
    QCoreApplication::sendEvent(m_container, &forwarded);
    event->accept();
}

void ImageViewer::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && m_editState && getPainter() && !m_spacePan) {
        m_container->savePainterTool();
        m_spacePan = true;
        viewport()->setCursor(Qt::OpenHandCursor);
        event->accept();
        return;
    }
    QScrollArea::keyPressEvent(event);
}

void ImageViewer::keyReleaseEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && m_spacePan) {
        m_spacePan = false;
        m_panning = false;
        m_container->restorePainterTool();
        viewport()->unsetCursor();
        event->accept();
        return;
    }
    QScrollArea::keyReleaseEvent(event);
}

bool ImageViewer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_container && watched != viewport()) {
        // The annotation layer has the focus while drawing: the space bar still pans.
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
            auto *key = static_cast<QKeyEvent *>(event);
            if (key->key() == Qt::Key_Space) {
                if (event->type() == QEvent::KeyPress)
                    keyPressEvent(key);
                else
                    keyReleaseEvent(key);
                return key->isAccepted();
            }
        }
        return QScrollArea::eventFilter(watched, event);
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() != Qt::LeftButton)
            break;
        setFocus(Qt::MouseFocusReason);
        const bool larger = m_container->width() > viewport()->width() || m_container->height() > viewport()->height();
        if (larger || m_spacePan) {
            m_panning = true;
            m_panPoint = mouse->globalPos();
            viewport()->setCursor(Qt::ClosedHandCursor);
        }
        break;
    }
    case QEvent::MouseMove:
        if (m_panning) {
            auto *mouse = static_cast<QMouseEvent *>(event);
            onPanned(mouse->globalPos() - m_panPoint);
            m_panPoint = mouse->globalPos();
            return true;
        }
        break;
    case QEvent::MouseButtonRelease: {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton && m_panning) {
            m_panning = false;
            if (m_spacePan)
                viewport()->setCursor(Qt::OpenHandCursor);
            else
                viewport()->unsetCursor();
        } else if (mouse->button() == Qt::RightButton && m_enableRightClick && watched == m_container) {
            showContextMenu(mouse->globalPos());
            return true;
        }
        break;
    }
    default:
        break;
    }
    return QScrollArea::eventFilter(watched, event);
}
