// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "RubberBand.h"
#include "SelectionEditor.h"
#include "screenplatform.h"

#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <functional>
#include <memory>

class QAbstractButton;
class QButtonGroup;
class QScreen;

namespace ScreenShot {

/// How much the system stretches this process's pixels on the monitor at `pos` (1.0 .. 1.5).
double getMonitorScale(const QPoint &pos);
/// Open windows on the desktop of `screen`, topmost first.
QVector<OrvScreen::WindowInfo> getWindowList(const QScreen *screen);

/**
 * The full-screen overlay on which the user selects part of the screen, optionally draws on it
 * with the picture editor's tools, and copies, saves, shares or saves it to the cloud disk.
 *
 * start() opens one overlay per screen (one over the whole desktop on the high-DPI path); all
 * share the statics below and one RubberBand. The picture taken is left on the clipboard and in
 * tempImagePath(); the caller learns what the user chose through the callback's code:
 * 0 copied (double-click, OK), 1 cancelled or closed, 2 share, 4 save to the cloud disk,
 * 5 hide the classroom and shoot again. The callback runs once per ending; a closing after 0 or
 * 5 does not report 1 again.
 *
 * With auto-capture, the window under the pointer is outlined while nothing is selected, and a
 * click without a drag selects it.
 *
 * GUI thread only.
 */
class ScreenshotWidget : public QWidget
{
    Q_OBJECT
public:
    enum OperateType { OperateOk = 0, OperateCancel = 1, OperateShare = 2, OperateSaveToCloud = 4, OperateHide = 5 };

    /// Opens the overlays; does nothing while a capture is open. `maxSize` limits the selection
    /// when valid; `isAutoCapture` turns on window snapping; `modal` makes the overlays
    /// application-modal; `showHideButton` offers "hide classroom" before anything is selected.
    static void start(const QSize &maxSize, bool isAutoCapture, bool modal, bool showHideButton,
                      std::function<void(int)> callback);
    static bool isCapturing() { return _numCapturing > 0; }
    /// Clears the last capture's "copied" mark.
    static void reset();
    static bool isOk() { return _isOk; }
    static int operateType() { return _operateType; }
    /// The high-DPI path: one overlay over the whole desktop, painting every screen's grab into
    /// one picture. Follows Qt's high-DPI scaling unless set.
    static void setEnableHdpi(bool enable);
    static bool isEnableHdpi() { return _isEnableHdpi; }
    /// The open overlays.
    static QList<ScreenshotWidget *> overlays();
    /// Closes every overlay (the last one reports 1 unless an ending was reported).
    static void cancelAll();
    /// "prScrnImage.jpg" in the system's temporary folder.
    static QString tempImagePath();
    /// How the tool bar's drawing tools reach the picture editor: the picture editor's view and
    /// tools (ImageSelectionEditor) unless set. An empty factory leaves them disabled.
    static void setSelectionEditorFactory(SelectionEditorFactory factory);
    static SelectionEditorFactory defaultSelectionEditorFactory();

    explicit ScreenshotWidget(QWidget *parent = nullptr);
    ~ScreenshotWidget() override;

    void capturePzrepare(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal);
    void capturePzrepareForHdpi(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal);
    void capture(std::function<void(int)> callback);
    void quit();
    void setShowHideButton(bool show);

    void setMaxSize(const QSize &size) { m_maxSize = size; }
    QSize maxSize() const { return m_maxSize; }
    void setMinSize(const QSize &size) { m_minSize = size; }
    QSize minSize() const { return m_minSize; }
    void setIsAutoCapture(bool on);
    bool isAutoCapture() const { return m_isAutoCapture; }

    QScreen *captureScreen() const { return m_screen; }
    /// The part of the desktop it covers (global): its screen, or its desktop on the high-DPI path.
    QRect captureArea() const { return m_area; }
    /// The grab this overlay shows (on the high-DPI path, all screens painted into one).
    QPixmap fullScreenPixmap() const { return m_fullScreen; }
    bool hasGrab() const { return m_hasGrab; }
    QVector<OrvScreen::WindowInfo> windowList() const { return m_windows; }
    /// The windows to snap to, topmost first: read once the overlay is up, with auto-capture only.
    /// The window outlined under the pointer (global, clipped to the overlay), null when none.
    QRect snappedRect() const;
    bool isEdited() const { return m_edited; }
    QWidget *toolBar() const { return m_toolBar; }
    /// What draws on the selection once a tool was used; null before.
    SelectionEditor *selectionEditor() const { return m_editor.get(); }
    /// The settings box shown next to the tool bar, null when none.
    QWidget *settingsBox() const;
    /// The start-up buttons, in widget coordinates; null when not offered.
    QRect hideButtonRect() const;
    QRect cancelButtonRect() const;

    /// Places the tool bar and the open settings box next to the band, on its screen.
    void adjustBoxPos();
    void boxHide();

Q_SIGNALS:
    /// The overlay has its grab (null when the grab failed).
    void grabWindowFinished(QPixmap pic);
    /// First painted with its grab (emitted after that paint, queued).
    void shown();

public Q_SLOTS:
    void cancel();
    void ok();
    void hideScreenshot();
    void selectBtnSlot();
    void penBtnSlot();
    void eraserBtnSlot();
    void eraserSateChange(int type);
    void textBtnSlot();
    void onTextFontSizeSettingChanged();
    void deleteBtnSlot();
    void loadImageBtnSlot();
    void onShare();
    void onSave();
    void onSaveToCloud();
    void onSaveImage(QString fileName);
    void save();
    void undoBtnSlot();
    void redoBtnSlot();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    void onGrabWindowFinished(const QPixmap &pic, QScreen *screen);
    void prepare(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal);
    void composeHdpi();
    static QPixmap dimmed(const QImage &image);
    bool paintDimmed(QPainter &painter, const QRect &target);
    void postMouseMove();
    void showOverlay();
    void refresh(const QRegion &region);
    void collectWindowList();
    void initToolBar();
    void showToolBar();
    /// The selected pixels (with the editor's drawings when there are any).
    QPixmap selectionPicture() const;
    /// Clipboard and temporary file.
    void copyTo();
    /// Calls the callback with `code`; an ending that closes the overlays forgets it first.
    void report(int code, bool closing);
    void closeAll();
    void putOnMyScreen(QWidget *window) const;
    void limitBand(QRect &rect, RubberBand::HitTestResult hit) const;
    QRect resized(const QRect &origin, RubberBand::HitTestResult hit, const QPoint &delta) const;
    bool ownsBand() const;
    // By where the overlay is meant to be: X may report its window elsewhere for a moment.
    QRect toWidget(const QRect &global) const { return global.translated(-m_area.topLeft()); }
    QRect screenAreaFor(const QRect &global) const;
    void updateHover(const QPoint &globalPos);
    QRect magnifierRect(const QPoint &globalPos) const;
    QRect sizeLabelRect(const QRect &band) const;
    QRect startupPanelRect() const;
    QRect snapOutline(int index) const;
    void paintBackground(QPainter &painter, const QRegion &dirty);
    void paintBand(QPainter &painter);
    void paintMagnifier(QPainter &painter);
    void paintStartupPanel(QPainter &painter);
    void paintLabel(QPainter &painter, const QRect &rect);
    QAbstractButton *toolButton(const char *name) const;
    void useTool(SelectionEditor::Tool tool, QAbstractButton *button);
    bool ensureEditor();
    /// Drawn on: the band stays where it is.
    void markEdited();
    /// The editor changed something: drawings, undo, its tool.
    void onEditorChanged();
    void syncEditorButtons();

    static int _operateType;
    static int _numCapturing;
    static bool _isOk;
    static bool _isEnableHdpi;

    /// The screens one high-DPI overlay covers: its whole desktop where nothing is scaled.
    static QList<QScreen *> hdpiScreens(QScreen *screen);

    QPointer<QScreen> m_screen;
    QList<QScreen *> m_screens; ///< covered
    QRect m_area;               ///< what it covers, global
    QList<QPointer<QScreen>> m_pendingScreens; ///< grabs still to come
    QList<QPair<QPointer<QScreen>, QPixmap>> m_grabs;
    QPixmap m_fullScreen;
    QImage m_fullImage;  ///< the same, for reading pixels
    QPixmap m_dimmed;    ///< the same, darker, where it cannot be darkened while painting
    bool m_hasGrab = false;
    bool m_hdpi = false;
    bool m_shownOnce = false;
    bool m_showPending = false;
    bool m_quitting = false;

    QSize m_maxSize;
    QSize m_minSize;
    bool m_isAutoCapture = false;
    bool m_showHideButton = false;
    QPoint m_pressPoint;   ///< global
    QRect m_dragOrigin;    ///< band when a handle drag began
    QVector<OrvScreen::WindowInfo> m_windows;
    int m_snapIndex = -1;
    int m_pressSnapIndex = -1;
    QPoint m_cursor;       ///< global, last known
    bool m_cursorKnown = false;
    std::function<void(int)> m_callback;

    QWidget *m_toolBar = nullptr;
    QButtonGroup *m_toolGroup = nullptr;
    QList<QAbstractButton *> m_editorButtons;
    std::unique_ptr<SelectionEditor> m_editor;
    QPointer<QWidget> m_settingsBox;
    QPointer<QAbstractButton> m_settingsButton;
    bool m_edited = false;
};

} // namespace ScreenShot
