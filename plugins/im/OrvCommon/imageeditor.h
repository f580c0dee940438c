// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "EraserMenu.h"

#include <QPixmap>
#include <QPointer>
#include <QVariantMap>
#include <QWidget>
#include <functional>

class EditTool;
class ImageGraphicsView;
class QButtonGroup;
class QFileDialog;
class QLabel;
class QMenu;
class QPushButton;
class QTimer;
class QToolButton;

/**
 * The picture editor: one window for the whole process (instance(), release()) in which the user
 * annotates a picture (select and move by frame or lasso, pen with five shapes, eraser, text,
 * pasted pictures and screenshots, delete, undo and redo) and then saves it, shares it, saves it
 * to the cloud disk or finishes (the edited picture goes to the clipboard).
 *
 * A picture opened from a file keeps its annotations under the file's path for the rest of the
 * run (and across runs when the annotation layer has a storage folder), so closing the editor
 * loses nothing; a picture without a file asks before its annotations are dropped.
 *
 * Tool bar "painterToolWidget": "selectBtnLasso", "penBtn", "eraserBtn", "textBtn",
 * "m_loadImageBtn", "m_shotBtn", "m_deleteBtn", "m_undoBtn", "m_redoBtn". Foot bar "footBar":
 * "btnAdapt", "btnRestore", "btnZoomout", "btnZoomin", "btnRotate", "btnSave", "btnShare",
 * "btnSaveToCloud", "m_finishBtn".
 */
class ImageEditor : public QWidget
{
    Q_OBJECT
public:
    /// Takes a screenshot for the editor and calls done with it (null when cancelled).
    using ScreenshotProvider = std::function<void(bool hideWindows, QWidget *editor, std::function<void(QPixmap)> done)>;

    static QPointer<ImageEditor> instance();
    static void release();
    /// How screenshots are taken: by default the screen capture overlay through PrScrnHelper
    /// (defaultScreenshotProvider()), the editor hidden meanwhile. With an empty provider the
    /// screen under the editor is grabbed whole.
    static void setScreenshotProvider(ScreenshotProvider provider);
    static ScreenshotProvider defaultScreenshotProvider();

    /// Opens pixmap (read from path when null) in the editor, fitted, with the pen chosen.
    /// fromClassroom is reported with the editor's events.
    void showImage(QString path, const QPixmap &pixmap, bool fromClassroom, QWidget *parent);
    void setEntrancePage(QString page);
    QString entrancePage() const { return m_entrancePage; }
    /// Ids reported with the editor's events: lesson id in a classroom, else class id.
    void setTrackIds(quint64 schoolId, quint64 lessonId, quint64 classId, const QString &role);

    QString path() const { return m_path; }
    ImageGraphicsView *view() const { return m_view; }
    EditTool *editTool() const { return m_editTool; }
    QString lastSavedPath() const { return m_lastSavedPath; }
    /// The short message shown last (saved, copied, failed), while it shows.
    QString tipText() const;
    /// The key the annotations of path are kept under.
    static QString moleNameFor(const QString &path);

Q_SIGNALS:
    /// The edited picture, rendered to path, is to go to the cloud disk folder named folderName.
    void signalSaveToCloud(const QString &path, const QString &folderName);
    /// Finished: the edited picture is on the clipboard and in path.
    void signalEditFinished(const QString &path);

public Q_SLOTS:
    void minBtnSlot();
    void maxBtnSlot();
    void closeBtnSlot();
    void selectBtnSlot();
    void onFrameSelect();
    void onFreeSelect();
    void penBtnSlot();
    void onShapeTypeChange();
    void onPenColorChange(int id);
    void penColorPickFinish(QColor color);
    void eraserBtnSlot();
    void eraserSateChange(EraserType type);
    void textBtnSlot();
    void onTextColorChange(int id);
    void textColorPickFinish(QColor color);
    void shotBtnSlot();
    void onMenuShot();
    void onMenuShotWithHide();
    void onTextFontSizeSettingChanged();
    void deleteBtnSlot();
    void loadImageBtnSlot();
    void onRestore();
    void onAdapt();
    void onZoomout();
    void onZoomin();
    void onRotate();
    void onShare();
    void onSave();
    void onSaveToCloud();
    void finishBtnSlot();
    void setRestoreBtnVisible(bool flag);
    void adjustRestoreButton();
    void adjustZoomButton();
    void onShotFinished();
    void onShotCanceled();

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    explicit ImageEditor(QWidget *parent = nullptr);
    ~ImageEditor() override;

    void buildUi();
    QToolButton *toolButton(const QString &name, const QString &icon, const char *textId, bool checkable);
    QPushButton *footButton(const QString &name, const QString &icon, const char *tipId);
    void adjustDialogSize(const QSize &pictureSize);
    void track(const QString &toolName);
    QVariantMap trackProperties() const;
    void syncToolButtons();
    void showTip(const QString &text);
    void startShot(bool hideWindows);
    /// Renders the edited picture to a temporary file named Kadio_<time> with suffix.
    QString renderTemp(const QString &method);
    /// Asks before annotations that cannot be kept are dropped; true to go on.
    bool confirmDropEdits();

    static ImageEditor *s_instance;
    static ScreenshotProvider s_screenshotProvider;

    ImageGraphicsView *m_view = nullptr;
    EditTool *m_editTool = nullptr;
    QWidget *m_titleBar = nullptr;
    QLabel *m_title = nullptr;
    QWidget *m_toolBar = nullptr;
    QWidget *m_footBar = nullptr;
    QButtonGroup *m_toolGroup = nullptr;
    QToolButton *m_selectBtn = nullptr;
    QToolButton *m_penBtn = nullptr;
    QToolButton *m_eraserBtn = nullptr;
    QToolButton *m_textBtn = nullptr;
    QToolButton *m_loadImageBtn = nullptr;
    QToolButton *m_shotBtn = nullptr;
    QToolButton *m_deleteBtn = nullptr;
    QToolButton *m_undoBtn = nullptr;
    QToolButton *m_redoBtn = nullptr;
    QMenu *m_selectMenu = nullptr;
    QMenu *m_shapeMenu = nullptr;
    QMenu *m_shotMenu = nullptr;
    QPushButton *m_btnAdapt = nullptr;
    QPushButton *m_btnRestore = nullptr;
    QPushButton *m_btnZoomout = nullptr;
    QPushButton *m_btnZoomin = nullptr;
    QPushButton *m_btnRotate = nullptr;
    QPushButton *m_btnSave = nullptr;
    QPushButton *m_btnShare = nullptr;
    QPushButton *m_btnSaveToCloud = nullptr;
    QPushButton *m_finishBtn = nullptr;
    QLabel *m_scaleText = nullptr;
    QLabel *m_tip = nullptr;
    QTimer *m_tipTimer = nullptr;
    QPointer<QFileDialog> m_saveDialog;

    QString m_path;
    QString m_entrancePage;
    QString m_lastSavedPath;
    bool m_fromClassroom = false;
    quint64 m_schoolId = 0;
    quint64 m_lessonId = 0;
    quint64 m_classId = 0;
    QString m_role;
    bool m_shooting = false;
    QPoint m_dragOffset;
    bool m_dragging = false;
};
