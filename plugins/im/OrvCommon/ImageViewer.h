// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ImageContainer.h"

#include <QPixmap>
#include <QPointer>
#include <QScrollArea>

class ImagePreviewMenu;
class QLabel;
class QTimer;

namespace OrvPainterBase {
class OrvPainter;
}

/**
 * The scrollable picture view of the editor and the screen capture: an ImageContainer (picture
 * plus annotation layer) in a scroll area, zoomed around the point under the cursor on a grid of
 * tenths between 0.1 and 4.0, fitted or shown 1:1, turned in quarters, panned by dragging or with
 * the space bar held.
 *
 * Zoom positions are in the scroll area's viewport coordinates.
 */
class ImageViewer : public QScrollArea
{
    Q_OBJECT
public:
    static constexpr double MinScale = 0.1;
    static constexpr double MaxScale = 4.0;
    static constexpr double ZoomStep = 0.1;
    static bool fuzzyEqual(double a, double b) { return qAbs(a - b) <= 1e-12; }

    /// What the view is used for (setUsageScenario): the screen capture keeps its picture 1:1
    /// when first loaded instead of fitting it.
    enum UsageScenario { GeneralScenario = 0, EditorScenario = 1, ScreenshotScenario = 2 };

    explicit ImageViewer(QWidget *parent = nullptr);
    ~ImageViewer() override;

    void loadPixmap(QPixmap pixmap);
    void loadPixmap(QPixmap pixmap, int rotation);
    void setOriginalPixmap(const QPixmap &pixmap) { m_originalPixmap = pixmap; }
    QPixmap getOriginalPixmap() const { return m_originalPixmap; }
    void setPlaceholderPixmap(const QPixmap &pixmap);
    /// The original turned by the current rotation.
    QPixmap getCalcRotePixmap() const;
    QSize getCalcPainterSize() const;

    void setRotateValue(int rotation);
    int getImageRotate() const { return m_rotation; }
    double getImageScale() const { return m_scale; }
    void setImageScale(double scale);
    void setImageContainerGeometry(QRectF rect);
    /// The container at these fractions of the viewport (x, y, width, height).
    void setImageContainerGeometryWithRatio(double x, double y, double width, double height);
    QPointF getImageContainerCenterPoint() const;
    QPointF getImageContainerPoint() const;
    QSizeF getImageContainerSize() const;
    bool getZoominEnableState() const;
    bool getZoomoutEnableState() const;
    void clearOrvPainter();
    void deleteAllPainter();
    bool saveImage(const QString &path);
    void adjustImageToViewerSize();
    void adjustViewerToImageSize();
    void adjustImageToViewerSizeByPainter(bool showLabel);
    void adjustViewerToImageSizeByPainter();
    void resizeContainer(QSize size);
    void onPanned(const QPoint &delta);
    QString getMoleName() const;
    void setMoleName(QString name);
    void setMoleNameAndSetupData(QString name);

    ImageContainer *container() const { return m_container; }
    OrvPainterBase::OrvPainter *getPainter() const { return m_container->getPainter(); }
    ImagePreviewMenu *menu() const { return m_menu; }
    bool isPanning() const { return m_panning; }
    bool isSpacePanning() const { return m_spacePan; }
    /// Text of the zoom label while it shows.
    QString scaleLabelText() const;

    void setEnableEdit(bool enable) { m_enableEdit = enable; }
    void setEditState(bool editing);
    void setEnableRightClick(bool enable) { m_enableRightClick = enable; }
    void setEnableRightSave(bool enable) { m_enableRightSave = enable; }
    void setEnableZoom(bool enable);
    void setUsedByScreenShot(bool used) { m_usedByScreenShot = used; }
    void setIsInClassroom(bool value) { m_container->setIsInClassroom(value); }
    void setEnablePaintPixmap(bool enable) { m_container->setEnablePaintPixmap(enable); }
    void setEnableDeleteHomeworkGrade(bool enable) { m_container->setEnableDeleteHomeworkGrade(enable); }
    void setMultiPainter(bool multi) { m_container->setMultiPainter(multi); }
    void setHomeworkIsTeacher(bool teacher) { m_container->setHomeworkIsTeacher(teacher); }
    void setAuthority(bool authority) { m_container->setAuthority(authority); }
    void setUsageScenario(int scenario) { m_usageScenario = scenario; }
    int usageScenario() const { return m_usageScenario; }
    void setBoardUseType(BoardUseType type) { m_container->setBoardUseType(type); }
    void setPainterBackgroundColor(QString color) { m_container->setPainterBackgroundColor(std::move(color)); }
    void setIsOrvX(bool value) { m_container->setIsOrvX(value); }
    void setIsOnline(bool value) { m_container->setIsOnline(value); }

Q_SIGNALS:
    void scaleChanged(double scale);
    void imageSizeChange();
    void imagePositionChange();
    void signalActived();
    void addWhiteBoardToManager(QGraphicsView *painter);
    void signalDataModified(int itemCount);
    void signalHomeworkGradeChange();
    void signalRequestHomeworkFile(QString fileId);
    void signalClickOnItemShowTips(int type);
    void signalShotFinished();
    void signalShotCanceled();
    void doCopy();
    void doSave();
    void doShare();
    void doEdit();
    void doDelete();

public Q_SLOTS:
    void zoominImage(QPoint pos);
    void zoomoutImage(QPoint pos);
    void scaleImage(QPoint pos);
    void scaleImageByPainter(QPoint pos);
    void rotateValue(bool reverse);
    void rotateImage(bool reverse);
    void setupImageAndPainter(int rotation);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showScaleLabel();
    void afterZoom(QPoint pos);
    QSize scaledSize(double scale) const;
    void showContextMenu(const QPoint &globalPos);
    void placeScaleLabel();

    ImageContainer *m_container = nullptr;
    QPixmap m_originalPixmap;
    QPixmap m_placeholderPixmap;
    double m_scale = 1.0;
    double m_prevScale = 1.0;
    int m_rotation = 0;
    bool m_enableEdit = false;
    bool m_editState = false;
    bool m_enableRightClick = true;
    bool m_enableRightSave = true;
    bool m_enableZoom = true;
    bool m_usedByScreenShot = false;
    int m_usageScenario = GeneralScenario;
    bool m_panning = false;
    bool m_spacePan = false;
    QPoint m_panPoint;
    QLabel *m_scaleLabel = nullptr;
    QTimer *m_scaleTimer = nullptr;
    ImagePreviewMenu *m_menu = nullptr;
};
