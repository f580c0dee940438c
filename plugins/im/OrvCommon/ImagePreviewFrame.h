// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPixmap>
#include <QPointer>
#include <QWidget>

class QGraphicsPixmapItem;
class QGraphicsScene;
class QGraphicsView;
class QLabel;
class QPrinter;
class QProgressBar;
class QPushButton;
class QTimer;
class WaitingSpinnerWidget;

/**
 * What the picture preview windows (ImagePreview, ChatImagePreview) share: the frameless window
 * with its title bar, picture area and foot bar, the zoom model, fit and restore, rotation, the
 * drag cursor, the wheel, the scale label, paging buttons in the outer quarters, keys, save, print
 * and the window size rule.
 *
 * Zoom model: steps of 0.05 between 0.05 and 2.0, bounds compared fuzzily (1e-12). onZoomout()
 * enlarges and onZoomin() shrinks: the names are the reverse of their effect on purpose, as the
 * wheel and buttons are wired by them. A step past a bound keeps the stored scale past it (so the
 * next press is refused) while the view stays at the bound.
 */
class ImagePreviewFrame : public QWidget
{
    Q_OBJECT
public:
    static constexpr double ZoomStep = 0.05;
    static constexpr double MinScale = 0.05;
    static constexpr double MaxScale = 2.0;
    static constexpr int MinPictureWidth = 708;
    static constexpr int MinPictureHeight = 508;
    static constexpr int ScaleLabelTimeout = 1000;
    static constexpr int LoadingTimeout = 30000;
    static constexpr int WheelThreshold = 20;

    static bool fuzzyEqual(double a, double b) { return qAbs(a - b) <= 1e-12; }

    ~ImagePreviewFrame() override;

    double scale() const { return m_scale; }
    double fitScale() const { return m_fitScale; }
    /// The factor the view is scaled by (the stored scale held at the bounds).
    double viewScale() const { return m_viewScale; }
    int rotation() const { return m_rotation; }
    bool isZoomEnabled() const { return m_zoomEnabled; }
    void setZoomEnabled(bool enabled) { m_zoomEnabled = enabled; }
    QPixmap pixmap() const { return m_pixmap; }
    /// The picture's size in the scene: the pixmap's, or the full picture's while a smaller
    /// stand-in is shown.
    QSize pictureSize() const { return m_pictureSize; }
    QGraphicsView *view() const { return m_view; }
    bool isLoading() const;
    /// The cover over the picture while a file downloads ("0%", ...); empty when hidden.
    QString maskText() const;
    /// The short message shown last (saved, failed, ...), while it shows.
    QString tipText() const;

    /// The process-wide wheel accumulator of the preview windows.
    static int wheelAccumulator();
    static void resetWheelAccumulator();

Q_SIGNALS:
    void scaleChanged(double scale);

public Q_SLOTS:
    void onBtnMaximized();
    virtual void onPrevious() = 0;
    virtual void onNext() = 0;
    void onRestore();
    void onZoomout();
    void onZoomin();
    void onRotate();
    void onSave();
    virtual void onSaveImage(QString fileName);
    void onTimeout();
    void onPrint();

protected:
    ImagePreviewFrame(QWidget *parent, bool lightBackground);

    /// The picture shown; logicalSize is the full picture's size when pixmap is a smaller
    /// stand-in for it (invalid: the pixmap's own size).
    void setPicture(const QPixmap &pixmap, const QSize &logicalSize = QSize());
    /// Swaps in a sharper pixmap of the same picture, keeping zoom, rotation and position.
    void replacePixmap(const QPixmap &pixmap);
    void resetParameters();
    /// Fit: the picture shrunk to the content rect, never enlarged beyond 1:1.
    void adjustImageView();
    void adjustRestoreButton();
    void adjustZoomButton();
    void adjustDragState();
    void showScaleLabel();
    void adjustDialogSize(const QSize &pictureSize);
    void resetTransform();
    /// Quarter turns: rotation grows by degrees, the picture is fitted again.
    void turnBy(int degrees);
    /// The view turned by extra degrees beyond the stored rotation (a twist in progress).
    void setLiveRotation(double extra);
    /// Back to the fit scale, turned as stored.
    void backToFit();

    /// The window less title bar, foot bar and description.
    virtual QRect contentRect() const;
    virtual bool pageKeysOnPress() const { return false; }
    virtual void showContextMenu(const QPoint &globalPos) = 0;
    /// The picture at its best for saving and printing.
    virtual QPixmap bestPixmap() const { return m_pixmap; }
    /// Where saved pictures go first; the save-as setting by default.
    QString saveFolder() const;
    void updatePrevNextVisibility(const QPoint &viewPos);
    void setPageText(const QString &text);

    void startLoading(const QString &text);
    void stopLoading();
    void showMask(const QString &text);
    void hideMask();
    /// A message over the picture for a few seconds.
    void showTip(const QString &text);

    /// Prints pixmap on printer as the window shows it (turned); false when the printer refused.
    bool printPixmap(QPrinter *printer, const QPixmap &pixmap) const;
    /// After a print, whether it worked.
    virtual void printed(bool ok, qint64 elapsedMs);

    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

    // Controls, by object name.
    QWidget *m_titleBar = nullptr;
    QLabel *m_title = nullptr;
    QWidget *m_separateLineTitle = nullptr;
    QPushButton *m_btnMinimize = nullptr;
    QPushButton *m_btnMaximize = nullptr;
    QPushButton *m_btnClose = nullptr;
    QWidget *m_pictureArea = nullptr;
    QPushButton *m_btnPrevious = nullptr;
    QPushButton *m_btnNext = nullptr;
    QLabel *m_textDesc = nullptr;
    QWidget *m_footBar = nullptr;
    QPushButton *m_btnViewOriginalImage = nullptr;
    QPushButton *m_btnRestore = nullptr;
    QPushButton *m_btnZoomout = nullptr;
    QPushButton *m_btnZoomin = nullptr;
    QPushButton *m_btnRotate = nullptr;
    QPushButton *m_btnSave = nullptr;
    QPushButton *m_btnSaveToCloud = nullptr;
    QPushButton *m_pBtnEdit = nullptr;
    QPushButton *m_pBtnPrint = nullptr;
    QPushButton *m_shareBtn = nullptr;
    QPushButton *m_downloadBtn = nullptr;
    QPushButton *m_dropdownBtn = nullptr;
    QProgressBar *m_progressBar = nullptr;
    QLabel *m_scaleLabel = nullptr;
    QTimer *m_scaleTimer = nullptr;
    WaitingSpinnerWidget *m_loadingWidget = nullptr;
    QTimer *m_loadingTimer = nullptr;
    QLabel *m_mask = nullptr;
    QLabel *m_tip = nullptr;
    QTimer *m_tipTimer = nullptr;

    bool m_lightBackground = false;
    bool m_firstLayout = true;
    bool m_inClassroom = false;

private:
    void buildUi();
    void applyViewTransform();
    int barsHeight() const;

    QGraphicsView *m_view = nullptr;
    QGraphicsScene *m_scene = nullptr;
    QGraphicsPixmapItem *m_item = nullptr;
    QPixmap m_pixmap;
    QSize m_pictureSize;
    double m_scale = 1.0;
    double m_viewScale = 1.0;
    double m_fitScale = 1.0;
    int m_rotation = 0;
    bool m_zoomEnabled = true;
    QPoint m_dragStart;
    QPoint m_windowStart;
    bool m_movingWindow = false;
    QPointer<QWidget> m_saveDialog;
};
