// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QFutureWatcher>
#include <QGraphicsView>
#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QVector>

#include "orvpainter.h"

class QGraphicsPixmapItem;

/**
 * The picture editor's view: the picture as one item of a scene, scaled and turned on the item
 * (the view itself is never transformed), with the annotation layer (OrvPainterBase::OrvPainter)
 * laid over the item at the turned, scaled picture's size.
 *
 * Zoom runs on the grid of tenths between 0.1 and 4.0 around a point of the viewport, which stays
 * where it is. A quarter turn fits the picture again and makes a new layer at the turned size:
 * annotations placed on the picture as it stood are dropped with it, so owners ask first.
 *
 * The picture shown much smaller than its size is drawn from reduced copies made on the thread
 * pool; saving always renders the full picture.
 */
class ImageGraphicsView : public QGraphicsView
{
    Q_OBJECT
public:
    static constexpr double MinScale = 0.1;
    static constexpr double MaxScale = 4.0;
    static constexpr double ZoomStep = 0.1;
    static bool fuzzyEqual(double a, double b) { return qAbs(a - b) <= 1e-12; }

    explicit ImageGraphicsView(QWidget *parent = nullptr);
    ~ImageGraphicsView() override;

    /// A new picture: rotation 0, a new layer at its size (under the mole name), fitted.
    void loadPixmap(const QPixmap &pixmap);
    /// Replaces the picture shown (same size expected) without touching layer or rotation.
    void setPixmap(const QPixmap &pixmap);
    /// The picture turned by rotation, with a new layer at the turned size.
    void setupImageAndPainter(const QPixmap &pixmap, int rotation);
    /// The turned picture (pixmap when given) with the annotations, at full resolution.
    bool saveImage(const QString &path, QPixmap pixmap = QPixmap());
    /// What saveImage() writes.
    QImage renderImage() const;

    void addPainter(QSize size);
    void deleteAllPainter();
    void clearOrvPainter();
    void resetPainterTool();
    void savePainterTool();
    void restorePainterTool();

    void scaleImage(QPoint pos);
    void scaleImageByPainter(QPoint pos);
    /// Enlarges by a tenth around pos (viewport coordinates); refused at 4.0.
    void zoominImage(QPoint pos);
    /// Shrinks by a tenth around pos; refused at 0.1.
    void zoomoutImage(QPoint pos);
    /// Sets the rotation and makes a new layer at the turned size.
    void rotateValue(int rotation);
    void rotateImage(bool reverse);
    void setImageScale(double scale);
    /// Fits the picture in the viewport.
    void adaptImageSize();
    /// 1:1.
    void restoreImageSize();
    void adjustImageToViewerSize();

    int getImageRotate() const { return m_rotation; }
    double getImageScale() const { return m_scale; }
    /// The scale that fits the turned picture in the viewport (0.1 to 4.0).
    double getAdjustScale() const;
    QPointF getImageContainerCenterPoint() const;
    QPointF getImageContainerPoint() const;
    QSizeF getImageContainerSize() const;
    QSizeF getSceneRectSize() const;
    QSize getPixmapSize() const;
    bool getZoominEnableState() const;
    bool getZoomoutEnableState() const;

    QPixmap getOriginalPixmap() const { return m_original; }
    /// The picture as turned now.
    QPixmap getPixmap() const;
    OrvPainterBase::OrvPainter *getPainter() const { return m_painter; }
    /// The layer's picture size: the turned picture's.
    QSize getPainterSize() const;

    QString getMoleName() const { return m_moleName; }
    void setMoleName(const QString &name) { m_moleName = name; }
    /// Shows the annotations stored under name.
    void setMoleNameAndSetupData(const QString &name);

    void setIsOrvX(bool value) { m_isOrvX = value; }
    void setIsOnline(bool value) { m_isOnline = value; }
    void setIsInClassroom(bool value) { m_inClassroom = value; }
    bool isInClassroom() const { return m_inClassroom; }
    void setEditState(bool editing);
    void setAuthority(bool authority);
    void setEnableZoom(bool enable) { m_enableZoom = enable; }
    bool isZoomEnabled() const { return m_enableZoom; }
    /// The screen capture's mode: no background, no scroll bars, no zoom, the picture at its
    /// logical size (pixels over the device pixel ratio).
    void setUsedByScreenShot(bool used);

    /// A screenshot taken for the picture ends: the shot is pasted onto the layer.
    void finishShot(const QPixmap &shot);
    void cancelShot();

    /// The process-wide wheel accumulator of the editor views.
    static int wheelAccumulator();
    static void resetWheelAccumulator();

Q_SIGNALS:
    void signalActived();
    void imagePositionChange();
    void addWhiteBoardToManager(QGraphicsView *painter);
    void imageSizeChange(double value);
    void signalDataModified(int itemCount);
    void signalShotFinished();
    void signalShotCanceled();

public Q_SLOTS:
    void onLeftRotate();
    void onRightRotate();
    void onAdjustCursor();

protected:
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void applyTransform();
    void placePainter();
    void turnTo(int rotation);
    void afterZoom(QPoint pos, double oldScale);
    void buildReductions();
    void chooseLevel();

    QGraphicsScene *m_scene = nullptr;
    QGraphicsPixmapItem *m_item = nullptr;
    QPixmap m_original;
    mutable QPixmap m_turned; ///< m_original turned by m_rotation, made when needed
    mutable int m_turnedRotation = 0;
    QVector<QPixmap> m_levels; ///< halves, quarters, ... of m_original
    QFutureWatcher<QVector<QImage>> m_levelWatcher;
    QPointer<OrvPainterBase::OrvPainter> m_painter;
    QString m_moleName;
    double m_scale = 1.0;
    int m_rotation = 0;
    bool m_isOrvX = false;
    bool m_isOnline = false;
    bool m_inClassroom = false;
    bool m_editState = true;
    bool m_authority = true;
    bool m_enableZoom = true;
    bool m_usedByScreenShot = false;
    bool m_spacePan = false;
};
