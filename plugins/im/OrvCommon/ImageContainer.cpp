// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageContainer.h"

#include "orvcommon_logging.h"
#include "orvpainter.h"

#include <QImageWriter>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QSaveFile>
#include <QThreadPool>
#include <QWheelEvent>
#include <QtConcurrent>

namespace {

int s_wheelAccumulator = 0;
constexpr int WheelThreshold = 20;
// Pictures drawn below half their size use a reduced copy, so smooth drawing never skips pixels.
constexpr int MinReducedSide = 256;

} // namespace

ImageContainer::ImageContainer(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("imageContainer"));
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    connect(&m_reductionWatcher, &QFutureWatcher<QVector<QImage>>::finished, this, [this] {
        m_reductions.clear();
        const QVector<QImage> images = m_reductionWatcher.result();
        for (const QImage &image : images)
            m_reductions.append(QPixmap::fromImage(image));
        update();
    });
}

ImageContainer::~ImageContainer()
{
    m_reductionWatcher.disconnect(this);
}

int ImageContainer::wheelAccumulator()
{
    return s_wheelAccumulator;
}

void ImageContainer::resetWheelAccumulator()
{
    s_wheelAccumulator = 0;
}

void ImageContainer::setPixmap(QPixmap pixmap)
{
    m_pixmap = std::move(pixmap);
    m_reductions.clear();
    buildReductions();
    update();
}

void ImageContainer::buildReductions()
{
    if (m_pixmap.width() < 2 * MinReducedSide && m_pixmap.height() < 2 * MinReducedSide)
        return;
    const QImage source = m_pixmap.toImage();
    m_reductionWatcher.setFuture(QtConcurrent::run(QThreadPool::globalInstance(), [source] {
        QVector<QImage> levels;
        QImage level = source;
        while (level.width() >= 2 * MinReducedSide || level.height() >= 2 * MinReducedSide) {
            level = level.scaled(level.width() / 2, level.height() / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            levels.append(level);
        }
        return levels;
    }));
}

const QPixmap &ImageContainer::sourceFor(double scale) const
{
    // The smallest reduction still at least as large as what is drawn.
    const QPixmap *best = &m_pixmap;
    double levelScale = 1.0;
    for (const QPixmap &level : m_reductions) {
        levelScale /= 2;
        if (levelScale < scale)
            break;
        best = &level;
    }
    return *best;
}

void ImageContainer::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    if (!m_paintPixmap || m_pixmap.isNull()) {
        painter.fillRect(event->rect(), m_background);
        return;
    }
    if (width() <= 0 || m_pixmap.width() <= 0)
        return;
    const double scale = double(width()) / m_pixmap.width();
    const QPixmap &source = sourceFor(scale);
    // Only the exposed part, mapped back to the source's pixels.
    const QRectF exposed = event->rect();
    const double sx = double(source.width()) / width();
    const double sy = double(source.height()) / height();
    const QRectF from(exposed.x() * sx, exposed.y() * sy, exposed.width() * sx, exposed.height() * sy);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(exposed, source, from);
}

void ImageContainer::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (m_painter)
        m_painter->setLayerSize(size());
}

void ImageContainer::wheelEvent(QWheelEvent *event)
{
    if (!m_enableZoom) {
        event->ignore();
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
        Q_EMIT signalZoomout(pos);
    else
        Q_EMIT signalZoomin(pos);
}

void ImageContainer::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        Q_EMIT signalActived();
    QWidget::mousePressEvent(event);
}

void ImageContainer::setEditState(bool editing)
{
    m_editState = editing;
    applyPainterInput();
}

void ImageContainer::setAuthority(bool authority)
{
    m_authority = authority;
    applyPainterInput();
}

void ImageContainer::applyPainterInput()
{
    if (m_painter)
        m_painter->setEditable(m_editState && m_authority);
}

void ImageContainer::setEnablePaintPixmap(bool enable)
{
    m_paintPixmap = enable;
    update();
}

void ImageContainer::setPainterBackgroundColor(QString color)
{
    const QColor c(color);
    if (!c.isValid()) {
        qCWarning(lcOrvCommon) << "not a colour:" << color;
        return;
    }
    m_background = c;
    if (m_painter)
        m_painter->setBackgroundColor(c);
    update();
}

void ImageContainer::addPainter(QSize size)
{
    if (size.isEmpty()) {
        qCWarning(lcOrvCommon) << "no annotation layer for an empty picture";
        return;
    }
    delete m_painter.data();
    auto *painter = new OrvPainterBase::OrvPainter(size, this);
    painter->setObjectName(QStringLiteral("orvPainter"));
    painter->setBackgroundColor(m_background);
    painter->setDataKey(m_moleName);
    painter->setLayerSize(this->size());
    painter->move(0, 0);
    connect(painter, &OrvPainterBase::OrvPainter::dataModified, this, &ImageContainer::signalDataModified);
    m_painter = painter;
    applyPainterInput();
    painter->show();
    Q_EMIT addWhiteBoardToManager(painter);
}

void ImageContainer::deleteAllPainter()
{
    delete m_painter.data();
}

void ImageContainer::clearOrvPainter()
{
    if (m_painter)
        m_painter->clear();
}

void ImageContainer::setMoleNameAndSetupData(QString name)
{
    m_moleName = name;
    if (m_painter)
        m_painter->setDataKey(name);
}

void ImageContainer::resetPainterTool()
{
    if (m_painter)
        m_painter->resetTool();
}

void ImageContainer::savePainterTool()
{
    if (m_painter)
        m_painter->saveTool();
}

void ImageContainer::restorePainterTool()
{
    if (m_painter)
        m_painter->restoreTool();
}

bool ImageContainer::saveImage(const QString &path, QPixmap pixmap)
{
    if (pixmap.isNull())
        pixmap = m_pixmap;
    if (m_painter) {
        resetPainterTool();
        return m_painter->render(path, pixmap);
    }
    // Nothing drawn on it: the picture itself.
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "no picture to save to" << path;
        return false;
    }
    QSaveFile file(path);
    QImageWriter writer(&file, QByteArray());
    const QByteArray suffix = QFileInfo(path).suffix().toLower().toLatin1();
    writer.setFormat(suffix.isEmpty() ? QByteArray("png") : suffix);
    writer.setQuality(95);
    if (!file.open(QIODevice::WriteOnly) || !writer.write(pixmap.toImage()) || !file.commit()) {
        qCWarning(lcOrvCommon) << "cannot save the picture to" << path << writer.errorString() << file.errorString();
        return false;
    }
    return true;
}
