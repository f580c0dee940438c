// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imageeditor.h"

#include "ArrowPopup.h"
#include "EditTool.h"
#include "ImageGraphicsView.h"
#include "PrScrnHelper.h"
#include "ScreenshotWidget.h"
#include "ShareToChatTool.h"
#include "imagepreviewmenu.h"
#include "imsignalobject.h"
#include "nativeBridge/clouddownload.h"
#include "orvcolorpickerwidget.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "orvmessagebox.h"
#include "orvpainter.h"
#include "orvtrack.h"
#include "orvutils.h"

#include <QApplication>
#include <QButtonGroup>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QImageWriter>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <QWindow>

namespace {

constexpr int TitleBarHeight = 40;
constexpr int ToolBarHeight = 48;
constexpr int FootBarHeight = 52;
constexpr int MinPictureWidth = 900;
constexpr int MinPictureHeight = 520;
constexpr int TipTimeout = 2000;
// The screen is grabbed once the editor (and maybe the client's windows) had time to go.
constexpr int GrabDelayMs = 400;

QString timeStamp()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmss"));
}

// The screen capture overlay, through the print-screen helper like every screenshot of the client.
void shootWithTheCaptureOverlay(bool hideWindows, QWidget *editor, std::function<void(QPixmap)> done)
{
    Q_UNUSED(hideWindows) // the client's windows hide on hideImOnScreenshot
    if (PrScrnHelper::instance().isCapturing() || ScreenShot::ScreenshotWidget::isCapturing()) {
        qCWarning(lcOrvCommon) << "ImageEditor: a screenshot is already under way";
        QTimer::singleShot(0, qApp, [done] { done(QPixmap()); });
        return;
    }
    // The editor steps aside so that what lies under it can be taken.
    if (editor)
        editor->window()->hide();
    QTimer::singleShot(GrabDelayMs, qApp, [done] {
        if (!PrScrnHelper::instance().takePicture(qApp, done)) {
            qCWarning(lcOrvCommon) << "ImageEditor: the screenshot could not start";
            done(QPixmap());
        }
    });
}

} // namespace

ImageEditor *ImageEditor::s_instance = nullptr;
ImageEditor::ScreenshotProvider ImageEditor::s_screenshotProvider = shootWithTheCaptureOverlay;

QPointer<ImageEditor> ImageEditor::instance()
{
    if (!s_instance)
        s_instance = new ImageEditor;
    return QPointer<ImageEditor>(s_instance);
}

void ImageEditor::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void ImageEditor::setScreenshotProvider(ScreenshotProvider provider)
{
    s_screenshotProvider = std::move(provider);
}

ImageEditor::ScreenshotProvider ImageEditor::defaultScreenshotProvider()
{
    return shootWithTheCaptureOverlay;
}

QString ImageEditor::moleNameFor(const QString &path)
{
    if (path.isEmpty())
        return QString();
    return QStringLiteral("ImageEditor:") + QFileInfo(path).absoluteFilePath();
}

ImageEditor::ImageEditor(QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint)
{
    setObjectName(QStringLiteral("ImageEditor"));
    setWindowTitle(OrvLang::text("ID_imageeditor_PictureEditing"));
    buildUi();
}

ImageEditor::~ImageEditor()
{
    delete m_saveDialog.data();
    // Whatever is being typed becomes an undo step, kept under the picture's key.
    if (m_view && m_view->getPainter())
        m_view->getPainter()->finishTextEditing();
    if (s_instance == this)
        s_instance = nullptr;
}

// --- building ---

QToolButton *ImageEditor::toolButton(const QString &name, const QString &icon, const char *textId, bool checkable)
{
    auto *button = new QToolButton(m_toolBar);
    button->setObjectName(name);
    button->setCheckable(checkable);
    button->setText(OrvLang::text(textId));
    button->setToolTip(OrvLang::text(textId));
    button->setIcon(QIcon(QStringLiteral(":/im/images/imageeditor/%1.svg").arg(icon)));
    button->setIconSize(QSize(20, 20));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

QPushButton *ImageEditor::footButton(const QString &name, const QString &icon, const char *tipId)
{
    auto *button = new QPushButton(m_footBar);
    button->setObjectName(name);
    button->setFixedSize(32, 32);
    button->setToolTip(OrvLang::text(tipId));
    button->setIcon(QIcon(QStringLiteral(":/im/images/imageeditor/%1.svg").arg(icon)));
    button->setIconSize(QSize(22, 22));
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

void ImageEditor::buildUi()
{
    QFile qss(QStringLiteral(":/im/qss/ChatList/ImageEditor.qss"));
    if (qss.open(QIODevice::ReadOnly))
        setStyleSheet(QString::fromUtf8(qss.readAll()));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    // Title bar.
    m_titleBar = new QWidget(this);
    m_titleBar->setObjectName(QStringLiteral("titleBar"));
    m_titleBar->setFixedHeight(TitleBarHeight);
    m_titleBar->setAttribute(Qt::WA_StyledBackground);
    m_titleBar->installEventFilter(this);
    auto *title = new QHBoxLayout(m_titleBar);
    title->setContentsMargins(16, 0, 8, 0);
    m_title = new QLabel(OrvLang::text("ID_imageeditor_PictureEditing"), m_titleBar);
    m_title->setObjectName(QStringLiteral("titleLabel"));
    title->addWidget(m_title);
    title->addStretch();
    for (const auto &b : {std::make_pair("btnMinimize", "minimize"), std::make_pair("btnMaximize", "maximize"),
                          std::make_pair("btnClose", "close")}) {
        auto *button = new QPushButton(m_titleBar);
        button->setObjectName(QLatin1String(b.first));
        button->setFixedSize(32, 28);
        button->setIcon(QIcon(QStringLiteral(":/im/images/imageeditor/%1.svg").arg(QLatin1String(b.second))));
        title->addWidget(button);
        if (qstrcmp(b.first, "btnMinimize") == 0)
            connect(button, &QPushButton::clicked, this, &ImageEditor::minBtnSlot);
        else if (qstrcmp(b.first, "btnMaximize") == 0)
            connect(button, &QPushButton::clicked, this, &ImageEditor::maxBtnSlot);
        else
            connect(button, &QPushButton::clicked, this, &ImageEditor::closeBtnSlot);
    }
    layout->addWidget(m_titleBar);

    // Tool bar.
    m_toolBar = new QWidget(this);
    m_toolBar->setObjectName(QStringLiteral("painterToolWidget"));
    m_toolBar->setFixedHeight(ToolBarHeight);
    m_toolBar->setAttribute(Qt::WA_StyledBackground);
    auto *tools = new QHBoxLayout(m_toolBar);
    tools->setContentsMargins(16, 6, 16, 6);
    tools->setSpacing(6);
    tools->addStretch();
    m_selectBtn = toolButton(QStringLiteral("selectBtnLasso"), QStringLiteral("select"), "ID_SelectMove_And", true);
    m_selectMenu = new QMenu(m_selectBtn);
    m_selectMenu->setObjectName(QStringLiteral("selectMenu"));
    QAction *frame = m_selectMenu->addAction(OrvLang::text("ID_FrameSelection"), this, &ImageEditor::onFrameSelect);
    frame->setObjectName(QStringLiteral("actionFrameSelection"));
    QAction *lasso = m_selectMenu->addAction(OrvLang::text("ID_FreeSelection"), this, &ImageEditor::onFreeSelect);
    lasso->setObjectName(QStringLiteral("actionFreeSelection"));
    m_selectBtn->setMenu(m_selectMenu);
    m_selectBtn->setPopupMode(QToolButton::MenuButtonPopup);

    m_penBtn = toolButton(QStringLiteral("penBtn"), QStringLiteral("pen"), "ID_PaintBrush", true);
    m_shapeMenu = new QMenu(m_penBtn);
    m_shapeMenu->setObjectName(QStringLiteral("shapeMenu"));
    const struct
    {
        const char *name;
        const char *icon;
        const char *textId;
        OrvPainterBase::OrvPainter::PenShape shape;
    } shapes[] = {{"actionFreeLine", "shape_free", "ID_FreeLine", OrvPainterBase::OrvPainter::PenShape::FreeLine},
                  {"actionStraightLine", "shape_line", "ID_StraightLine", OrvPainterBase::OrvPainter::PenShape::Line},
                  {"actionArrow", "shape_arrow", "ID_Arrow", OrvPainterBase::OrvPainter::PenShape::Arrow},
                  {"actionRectangle", "shape_rect", "ID_Rectangle", OrvPainterBase::OrvPainter::PenShape::Rectangle},
                  {"actionEllipse", "shape_ellipse", "ID_Ellipse", OrvPainterBase::OrvPainter::PenShape::Ellipse}};
    for (const auto &s : shapes) {
        QAction *action = m_shapeMenu->addAction(QIcon(QStringLiteral(":/im/images/imageeditor/%1.svg").arg(QLatin1String(s.icon))),
                                                 OrvLang::text(s.textId), this, &ImageEditor::onShapeTypeChange);
        action->setObjectName(QLatin1String(s.name));
        action->setData(int(s.shape));
        action->setCheckable(true);
    }
    m_penBtn->setMenu(m_shapeMenu);
    m_penBtn->setPopupMode(QToolButton::MenuButtonPopup);

    m_eraserBtn = toolButton(QStringLiteral("eraserBtn"), QStringLiteral("eraser"), "ID_Eraser", true);
    m_textBtn = toolButton(QStringLiteral("textBtn"), QStringLiteral("text"), "ID_TextBox_tool", true);
    m_loadImageBtn = toolButton(QStringLiteral("m_loadImageBtn"), QStringLiteral("image"), "ID_LoadImage", false);
    m_shotBtn = toolButton(QStringLiteral("m_shotBtn"), QStringLiteral("shot"), "ID_Screenshot", false);
    m_shotMenu = new QMenu(m_shotBtn);
    m_shotMenu->setObjectName(QStringLiteral("shotMenu"));
    m_shotMenu->addAction(OrvLang::text("ID_Screenshot"), this, &ImageEditor::onMenuShot)
        ->setObjectName(QStringLiteral("actionShot"));
    m_shotMenu->addAction(OrvLang::text("ID_ScreenshotHide"), this, &ImageEditor::onMenuShotWithHide)
        ->setObjectName(QStringLiteral("actionShotWithHide"));
    m_shotBtn->setMenu(m_shotMenu);
    m_shotBtn->setPopupMode(QToolButton::MenuButtonPopup);
    m_deleteBtn = toolButton(QStringLiteral("m_deleteBtn"), QStringLiteral("delete"), "ID_Delete", false);
    m_undoBtn = toolButton(QStringLiteral("m_undoBtn"), QStringLiteral("undo"), "ID_Undo", false);
    m_redoBtn = toolButton(QStringLiteral("m_redoBtn"), QStringLiteral("redo"), "ID_Redo", false);
    m_undoBtn->setToolButtonStyle(Qt::ToolButtonIconOnly);
    m_redoBtn->setToolButtonStyle(Qt::ToolButtonIconOnly);
    m_undoBtn->setEnabled(false);
    m_redoBtn->setEnabled(false);

    m_toolGroup = new QButtonGroup(this);
    m_toolGroup->setExclusive(true);
    for (QToolButton *b : {m_selectBtn, m_penBtn, m_eraserBtn, m_textBtn})
        m_toolGroup->addButton(b);
    for (QToolButton *b : {m_selectBtn, m_penBtn, m_eraserBtn, m_textBtn, m_loadImageBtn, m_shotBtn, m_deleteBtn})
        tools->addWidget(b);
    auto *line = new QLabel(m_toolBar);
    line->setObjectName(QStringLiteral("toolSeparator"));
    line->setFixedSize(1, 18);
    tools->addWidget(line);
    tools->addWidget(m_undoBtn);
    tools->addWidget(m_redoBtn);
    tools->addStretch();
    layout->addWidget(m_toolBar);

    // The picture.
    m_view = new ImageGraphicsView(this);
    m_view->setStyleSheet(QStringLiteral("QGraphicsView#imageViewer { background: #FAFAFA; border: none; }"));
    layout->addWidget(m_view, 1);
    // Boxes as children: a popup would swallow the first click on the picture after picking a tool.
    m_editTool = new EditTool(m_view, this, false, this);

    m_tip = new QLabel(m_view);
    m_tip->setObjectName(QStringLiteral("tipLabel"));
    m_tip->setAlignment(Qt::AlignCenter);
    m_tip->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_tip->hide();
    m_tipTimer = new QTimer(this);
    m_tipTimer->setSingleShot(true);
    m_tipTimer->setInterval(TipTimeout);
    connect(m_tipTimer, &QTimer::timeout, m_tip, &QWidget::hide);

    // Foot bar.
    m_footBar = new QWidget(this);
    m_footBar->setObjectName(QStringLiteral("footBar"));
    m_footBar->setFixedHeight(FootBarHeight);
    m_footBar->setAttribute(Qt::WA_StyledBackground);
    auto *foot = new QHBoxLayout(m_footBar);
    foot->setContentsMargins(16, 8, 16, 8);
    foot->setSpacing(8);
    m_btnAdapt = footButton(QStringLiteral("btnAdapt"), QStringLiteral("adapt"), "ID_AdaptiveImageSize");
    m_btnRestore = footButton(QStringLiteral("btnRestore"), QStringLiteral("restore"), "ID_ActualImageSize");
    m_btnZoomout = footButton(QStringLiteral("btnZoomout"), QStringLiteral("zoomout"), "ID_ZoomOut");
    m_btnZoomin = footButton(QStringLiteral("btnZoomin"), QStringLiteral("zoomin"), "ID_ZoomIn");
    m_btnRotate = footButton(QStringLiteral("btnRotate"), QStringLiteral("rotate"), "ID_Rotate");
    m_scaleText = new QLabel(m_footBar);
    m_scaleText->setObjectName(QStringLiteral("scaleText"));
    m_scaleText->setMinimumWidth(48);
    m_scaleText->setAlignment(Qt::AlignCenter);
    m_btnSave = footButton(QStringLiteral("btnSave"), QStringLiteral("save"), "ID_SAVE");
    m_btnShare = footButton(QStringLiteral("btnShare"), QStringLiteral("share"), "ID_Share");
    m_btnSaveToCloud = footButton(QStringLiteral("btnSaveToCloud"), QStringLiteral("cloud"), "ID_Screenshot_SaveToCloud");
    m_finishBtn = new QPushButton(OrvLang::text("ID_Done"), m_footBar);
    m_finishBtn->setObjectName(QStringLiteral("m_finishBtn"));
    m_finishBtn->setCursor(Qt::PointingHandCursor);
    for (QWidget *w : std::initializer_list<QWidget *>{m_btnAdapt, m_btnRestore, m_btnZoomout, m_scaleText, m_btnZoomin,
                                                       m_btnRotate})
        foot->addWidget(w);
    foot->addStretch();
    for (QWidget *w : std::initializer_list<QWidget *>{m_btnSave, m_btnShare, m_btnSaveToCloud, m_finishBtn})
        foot->addWidget(w);
    layout->addWidget(m_footBar);

    connect(m_selectBtn, &QToolButton::clicked, this, &ImageEditor::selectBtnSlot);
    connect(m_penBtn, &QToolButton::clicked, this, &ImageEditor::penBtnSlot);
    connect(m_eraserBtn, &QToolButton::clicked, this, &ImageEditor::eraserBtnSlot);
    connect(m_textBtn, &QToolButton::clicked, this, &ImageEditor::textBtnSlot);
    connect(m_loadImageBtn, &QToolButton::clicked, this, &ImageEditor::loadImageBtnSlot);
    connect(m_shotBtn, &QToolButton::clicked, this, &ImageEditor::shotBtnSlot);
    connect(m_deleteBtn, &QToolButton::clicked, this, &ImageEditor::deleteBtnSlot);
    connect(m_undoBtn, &QToolButton::clicked, m_editTool, &BaseEditTool::undo);
    connect(m_redoBtn, &QToolButton::clicked, m_editTool, &BaseEditTool::redo);
    connect(m_btnAdapt, &QPushButton::clicked, this, &ImageEditor::onAdapt);
    connect(m_btnRestore, &QPushButton::clicked, this, &ImageEditor::onRestore);
    connect(m_btnZoomout, &QPushButton::clicked, this, &ImageEditor::onZoomout);
    connect(m_btnZoomin, &QPushButton::clicked, this, &ImageEditor::onZoomin);
    connect(m_btnRotate, &QPushButton::clicked, this, &ImageEditor::onRotate);
    connect(m_btnSave, &QPushButton::clicked, this, &ImageEditor::onSave);
    connect(m_btnShare, &QPushButton::clicked, this, &ImageEditor::onShare);
    connect(m_btnSaveToCloud, &QPushButton::clicked, this, &ImageEditor::onSaveToCloud);
    connect(m_finishBtn, &QPushButton::clicked, this, &ImageEditor::finishBtnSlot);

    connect(m_editTool->penColorPicker(), &OrvColorPickerWidget::colorChanged, this, &ImageEditor::onPenColorChange);
    connect(m_editTool->penColorPicker(), &OrvColorPickerWidget::colorPickFinish, this, &ImageEditor::penColorPickFinish);
    connect(m_editTool->textColorPicker(), &OrvColorPickerWidget::colorChanged, this, &ImageEditor::onTextColorChange);
    connect(m_editTool->textColorPicker(), &OrvColorPickerWidget::colorPickFinish, this, &ImageEditor::textColorPickFinish);
    connect(m_editTool->fontSizeBox(), QOverload<int>::of(&QComboBox::activated), this,
            &ImageEditor::onTextFontSizeSettingChanged);
    connect(m_editTool->eraserMenu(), &EraserMenu::eraserChanged, this, &ImageEditor::eraserSateChange);
    connect(m_editTool, &BaseEditTool::toolChanged, this, &ImageEditor::syncToolButtons);
    connect(m_editTool, &BaseEditTool::penShapeChanged, this, &ImageEditor::syncToolButtons);
    connect(m_editTool, &BaseEditTool::canUndoChanged, m_undoBtn, &QWidget::setEnabled);
    connect(m_editTool, &BaseEditTool::canRedoChanged, m_redoBtn, &QWidget::setEnabled);
    connect(m_editTool, &BaseEditTool::saved, this, [this](bool ok, const QString &fileName) {
        if (ok)
            return;
        OrvMessageBox::information(this, OrvLang::text("ID_Information"), OrvLang::text("ID_SAVEFAILED"));
        qCWarning(lcOrvCommon) << "ImageEditor: saving failed, the annotations stay" << fileName;
    });
    connect(m_editTool, &EditTool::saveSuccess, this, [this](const QString &fileName) {
        if (m_editTool->saveMethod() != QLatin1String("save_local"))
            return;
        m_lastSavedPath = fileName;
        CloudDownload::rememberSaveAsFolder(QFileInfo(fileName).absolutePath());
        showTip(OrvLang::text("ID_SaveSuccessfully"));
    });
    connect(m_view, &ImageGraphicsView::imageSizeChange, this, [this](double scale) {
        m_scaleText->setText(QStringLiteral("%1%").arg(qRound(scale * 100)));
        adjustZoomButton();
        adjustRestoreButton();
    });
    connect(m_view, &ImageGraphicsView::signalShotFinished, this, &ImageEditor::onShotFinished);
    connect(m_view, &ImageGraphicsView::signalShotCanceled, this, &ImageEditor::onShotCanceled);

    resize(MinPictureWidth, MinPictureHeight + TitleBarHeight + ToolBarHeight + FootBarHeight);
}

// --- opening ---

void ImageEditor::showImage(QString path, const QPixmap &pixmap, bool fromClassroom, QWidget *parent)
{
    QPixmap picture = pixmap;
    // Windows show pictures reduced; the file gives the full resolution the edits are saved at.
    if (!path.isEmpty() && QFileInfo::exists(path)) {
        const QSize stored = OrvUtils::imageSize(path);
        if (stored.isValid() && (picture.isNull() || stored.width() > picture.width() || stored.height() > picture.height())) {
            const QPixmap full = OrvUtils::loadFromPath(path);
            if (!full.isNull())
                picture = full;
        }
    }
    if (picture.isNull() || picture.width() <= 0 || picture.height() <= 0) {
        qCWarning(lcOrvCommon) << "ImageEditor: no picture to edit" << path;
        showTip(OrvLang::text("ID_ImageEditor_NoPicture"));
        return;
    }
    if (!confirmDropEdits())
        return;
    if (m_view->getPainter()) {
        m_view->getPainter()->finishTextEditing();
        // Unkeyed annotations belong to the picture that is going.
        if (m_view->getMoleName().isEmpty())
            m_view->getPainter()->discardAnnotations();
    }
    m_path = path;
    m_fromClassroom = fromClassroom;
    m_view->setIsInClassroom(fromClassroom);
    m_view->setMoleName(moleNameFor(path));
    m_view->loadPixmap(picture);
    adjustDialogSize(picture.size());
    if (parent && parent->window() != this && parentWidget() != parent->window())
        setParent(parent->window(), windowFlags());
    else if (!parent && parentWidget())
        setParent(nullptr, windowFlags());
    showNormal();
    raise();
    activateWindow();
    onAdapt();
    m_editTool->penTool();
    if (auto *painter = m_view->getPainter())
        painter->setUnmodified();
    qCInfo(lcOrvCommon) << "ImageEditor opened" << (path.isEmpty() ? QStringLiteral("a picture") : path) << picture.size()
                        << "from" << m_entrancePage;
}

void ImageEditor::setEntrancePage(QString page)
{
    m_entrancePage = std::move(page);
}

void ImageEditor::setTrackIds(quint64 schoolId, quint64 lessonId, quint64 classId, const QString &role)
{
    m_schoolId = schoolId;
    m_lessonId = lessonId;
    m_classId = classId;
    m_role = role;
    m_editTool->setTrackProperties(trackProperties());
}

void ImageEditor::adjustDialogSize(const QSize &pictureSize)
{
    const int bars = TitleBarHeight + ToolBarHeight + FootBarHeight;
    QScreen *screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1600, 1000);
    QSize area = pictureSize;
    const QSize room(available.width() * 9 / 10, available.height() * 9 / 10 - bars);
    if (area.width() > room.width() || area.height() > room.height())
        area.scale(room, Qt::KeepAspectRatio);
    area = area.expandedTo(QSize(MinPictureWidth, MinPictureHeight)).boundedTo(room.expandedTo(QSize(1, 1)));
    resize(area.width(), area.height() + bars);
    move(available.center() - rect().center());
}

// --- analytics ---

QVariantMap ImageEditor::trackProperties() const
{
    QVariantMap p{{QStringLiteral("entrance_page"), m_entrancePage},
                  {QStringLiteral("is_from_classroom"), m_fromClassroom},
                  {QStringLiteral("school_id"), QString::number(m_schoolId)}};
    if (m_fromClassroom) {
        p.insert(QStringLiteral("lesson_id"), QString::number(m_lessonId));
        p.insert(QStringLiteral("class_role"), m_role);
    } else {
        p.insert(QStringLiteral("class_id"), QString::number(m_classId));
        p.insert(QStringLiteral("user_type"), m_role);
    }
    return p;
}

void ImageEditor::track(const QString &toolName)
{
    QVariantMap p = trackProperties();
    p.insert(QStringLiteral("tool_name"), toolName);
    if (m_editTool->tool() == OrvPainterBase::OrvPainter::Tool::Select) {
        p.insert(QStringLiteral("select_method"),
                 m_editTool->selectMode() == OrvPainterBase::OrvPainter::SelectMode::Lasso ? QStringLiteral("free_selection")
                                                                                          : QStringLiteral("frame_selection"));
    }
    OrvTrack::instance()->track(QStringLiteral("ClickEditingPicturesPageToolBtn"), p);
}

// --- window ---

void ImageEditor::minBtnSlot()
{
    showMinimized();
}

void ImageEditor::maxBtnSlot()
{
    if (isMaximized())
        showNormal();
    else
        showMaximized();
    QTimer::singleShot(0, this, &ImageEditor::onAdapt);
}

void ImageEditor::closeBtnSlot()
{
    close();
}

bool ImageEditor::confirmDropEdits()
{
    if (!m_view->getMoleName().isEmpty() || !m_editTool->isEdited())
        return true;
    return OrvMessageBox::question(this, OrvLang::text("ID_Information"), OrvLang::text("ID_HomeworkImagePreview_EditsLost"))
        == QMessageBox::Yes;
}

void ImageEditor::closeEvent(QCloseEvent *event)
{
    if (!confirmDropEdits()) {
        event->ignore();
        return;
    }
    m_editTool->hideBoxes();
    // Its dialogs belong to the picture being closed.
    if (m_saveDialog)
        m_saveDialog->close();
    if (QWidget *load = findChild<QFileDialog *>(QStringLiteral("loadImageDialog")))
        load->close();
    if (auto *painter = m_view->getPainter()) {
        painter->finishTextEditing();
        if (m_view->getMoleName().isEmpty())
            painter->discardAnnotations();
    }
    QWidget::closeEvent(event);
}

bool ImageEditor::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_titleBar) {
        switch (event->type()) {
        case QEvent::MouseButtonPress: {
            auto *mouse = static_cast<QMouseEvent *>(event);
            if (mouse->button() == Qt::LeftButton && !isMaximized()) {
                m_dragging = true;
                m_dragOffset = mouse->globalPos() - frameGeometry().topLeft();
            }
            break;
        }
        case QEvent::MouseMove:
            if (m_dragging)
                move(static_cast<QMouseEvent *>(event)->globalPos() - m_dragOffset);
            break;
        case QEvent::MouseButtonRelease:
            m_dragging = false;
            break;
        case QEvent::MouseButtonDblClick:
            maxBtnSlot();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ImageEditor::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter p(this);
    p.fillRect(rect(), QColor(0xFA, 0xFA, 0xFA));
}

void ImageEditor::showTip(const QString &text)
{
    m_tip->setText(text);
    m_tip->adjustSize();
    m_tip->resize(m_tip->width() + 32, m_tip->height() + 16);
    m_tip->move((m_view->width() - m_tip->width()) / 2, (m_view->height() - m_tip->height()) / 2);
    m_tip->raise();
    m_tip->show();
    m_tipTimer->start();
}

QString ImageEditor::tipText() const
{
    return m_tip->isHidden() ? QString() : m_tip->text();
}

// --- tools ---

void ImageEditor::syncToolButtons()
{
    using Tool = OrvPainterBase::OrvPainter::Tool;
    QToolButton *checked = nullptr;
    switch (m_editTool->tool()) {
    case Tool::Select:
        checked = m_selectBtn;
        break;
    case Tool::Pen:
        checked = m_penBtn;
        break;
    case Tool::Eraser:
        checked = m_eraserBtn;
        break;
    case Tool::Text:
        checked = m_textBtn;
        break;
    case Tool::None:
        break;
    }
    if (checked) {
        checked->setChecked(true);
    } else if (QAbstractButton *b = m_toolGroup->checkedButton()) {
        m_toolGroup->setExclusive(false);
        b->setChecked(false);
        m_toolGroup->setExclusive(true);
    }
    const int shape = int(m_editTool->penShape());
    const auto actions = m_shapeMenu->actions();
    for (QAction *a : actions)
        a->setChecked(a->data().toInt() == shape);
}

void ImageEditor::selectBtnSlot()
{
    m_editTool->selectTool();
    syncToolButtons();
}

void ImageEditor::onFrameSelect()
{
    m_editTool->selectTool(OrvPainterBase::OrvPainter::SelectMode::Frame);
    syncToolButtons();
}

void ImageEditor::onFreeSelect()
{
    m_editTool->selectTool(OrvPainterBase::OrvPainter::SelectMode::Lasso);
    syncToolButtons();
}

void ImageEditor::penBtnSlot()
{
    m_editTool->hideBoxes();
    m_editTool->penTool();
    syncToolButtons();
    if (isVisible())
        m_editTool->penSettingsBox()->showNextTo(m_penBtn);
}

void ImageEditor::onShapeTypeChange()
{
    auto *action = qobject_cast<QAction *>(sender());
    if (!action)
        return;
    m_editTool->setPenShape(OrvPainterBase::OrvPainter::PenShape(action->data().toInt()));
    m_editTool->penTool();
    syncToolButtons();
}

void ImageEditor::onPenColorChange(int id)
{
    m_editTool->setPenColorIndex(id);
}

void ImageEditor::penColorPickFinish(QColor color)
{
    m_editTool->setPenColor(color);
}

void ImageEditor::eraserBtnSlot()
{
    m_editTool->hideBoxes();
    m_editTool->eraserTool();
    syncToolButtons();
    if (isVisible())
        m_editTool->eraserMenu()->showNextTo(m_eraserBtn);
}

void ImageEditor::eraserSateChange(EraserType type)
{
    m_editTool->setEraserType(type);
}

void ImageEditor::textBtnSlot()
{
    m_editTool->hideBoxes();
    m_editTool->textTool();
    syncToolButtons();
    if (isVisible())
        m_editTool->textSettingsBox()->showNextTo(m_textBtn);
}

void ImageEditor::onTextColorChange(int id)
{
    m_editTool->setTextColorIndex(id);
}

void ImageEditor::textColorPickFinish(QColor color)
{
    m_editTool->setTextColor(color);
}

void ImageEditor::onTextFontSizeSettingChanged()
{
    m_editTool->setTextFontSize(m_editTool->fontSizeBox()->currentData().toInt());
}

void ImageEditor::deleteBtnSlot()
{
    m_editTool->deleteSelected();
}

void ImageEditor::loadImageBtnSlot()
{
    m_editTool->loadImage();
}

// --- screenshots ---

void ImageEditor::shotBtnSlot()
{
    onMenuShot();
}

void ImageEditor::onMenuShot()
{
    startShot(false);
}

void ImageEditor::onMenuShotWithHide()
{
    startShot(true);
}

void ImageEditor::startShot(bool hideWindows)
{
    if (m_shooting)
        return;
    m_shooting = true;
    m_editTool->hideBoxes();
    QPointer<ImageEditor> self(this);
    auto done = [self, hideWindows](QPixmap shot) {
        // The client comes back also when the editor went meanwhile.
        if (hideWindows)
            Q_EMIT ImSignalObject::instance()->hideImOnScreenshot(false);
        if (!self)
            return;
        self->m_shooting = false;
        self->showNormal();
        self->raise();
        self->activateWindow();
        if (shot.isNull())
            self->m_view->cancelShot();
        else
            self->m_view->finishShot(shot);
    };
    if (hideWindows)
        Q_EMIT ImSignalObject::instance()->hideImOnScreenshot(true);
    if (s_screenshotProvider) {
        s_screenshotProvider(hideWindows, this, done);
        return;
    }
    // No capture overlay in this host: the screen the editor is on, whole.
    QScreen *screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    hide();
    QTimer::singleShot(GrabDelayMs, this, [screen, done] {
        done(screen ? screen->grabWindow(0) : QPixmap());
    });
}

void ImageEditor::onShotFinished()
{
    syncToolButtons();
}

void ImageEditor::onShotCanceled()
{
    syncToolButtons();
}

// --- foot bar ---

void ImageEditor::onRestore()
{
    m_view->restoreImageSize();
    setRestoreBtnVisible(false);
    adjustZoomButton();
    track(QStringLiteral("实际图片大小"));
}

void ImageEditor::onAdapt()
{
    m_view->adaptImageSize();
    adjustRestoreButton();
    adjustZoomButton();
    if (isVisible())
        track(QStringLiteral("自适应图片大小"));
}

void ImageEditor::onZoomout()
{
    const QPoint centre = m_view->viewport()->rect().center();
    m_view->zoomoutImage(centre);
    adjustRestoreButton();
    adjustZoomButton();
    track(QStringLiteral("缩小"));
}

void ImageEditor::onZoomin()
{
    const QPoint centre = m_view->viewport()->rect().center();
    m_view->zoominImage(centre);
    adjustRestoreButton();
    adjustZoomButton();
    track(QStringLiteral("放大"));
}

void ImageEditor::onRotate()
{
    auto *painter = m_view->getPainter();
    if (painter)
        painter->finishTextEditing();
    if (painter && painter->itemCount() > 0) {
        const QMessageBox::StandardButton answer = OrvMessageBox::question(
            this, OrvLang::text("ID_Information"), OrvLang::text("ID_HomeworkImagePreview_EditsLost"));
        if (answer != QMessageBox::Yes)
            return;
    }
    m_view->onRightRotate();
    adjustRestoreButton();
    adjustZoomButton();
    track(QStringLiteral("旋转"));
}

void ImageEditor::setRestoreBtnVisible(bool flag)
{
    m_btnRestore->setVisible(flag);
}

void ImageEditor::adjustRestoreButton()
{
    // At 1:1 there is nothing to restore.
    setRestoreBtnVisible(!ImageGraphicsView::fuzzyEqual(m_view->getImageScale(), 1.0));
}

void ImageEditor::adjustZoomButton()
{
    m_btnZoomin->setEnabled(m_view->getZoominEnableState());
    m_btnZoomout->setEnabled(m_view->getZoomoutEnableState());
}

QString ImageEditor::renderTemp(const QString &method)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    const QString path = QDir(folder).filePath(QStringLiteral("%1_%2").arg(QStringLiteral("Kadio"), timeStamp())
                                               + QStringLiteral(".jpg"));
    m_editTool->setSaveMethod(method);
    m_editTool->onSaveImage(path);
    m_editTool->setSaveMethod(QStringLiteral("save_local"));
    return QFileInfo::exists(path) ? path : QString();
}

void ImageEditor::onShare()
{
    track(QStringLiteral("分享"));
    const QString path = renderTemp(QStringLiteral("share"));
    if (path.isEmpty())
        return;
    ShareToChatTool::instance()->shareImageFile(path);
}

void ImageEditor::onSave()
{
    track(QStringLiteral("保存本地"));
    if (m_saveDialog) {
        m_saveDialog->raise();
        m_saveDialog->activateWindow();
        return;
    }
    const QString name = QStringLiteral("%1/%2_%3").arg(CloudDownload::saveAsFolder(), QStringLiteral("Kadio"), timeStamp());
    QString filter = OrvLang::text("ID_ImageFiles_JpgPngJpegBmp");
    if (!filter.contains(QLatin1Char('(')))
        filter += QStringLiteral(" (*.jpg *.png *.jpeg *.bmp)");
    auto *dialog = new QFileDialog(this, OrvLang::text("ID_SaveImageAs"), name, filter);
    dialog->setObjectName(QStringLiteral("saveImageDialog"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setDefaultSuffix(QStringLiteral("jpg"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::NonModal);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &fileName) {
        m_editTool->setSaveMethod(QStringLiteral("save_local"));
        m_editTool->onSaveImage(fileName);
    });
    m_saveDialog = dialog;
    dialog->show();
}

void ImageEditor::onSaveToCloud()
{
    track(QStringLiteral("上传云盘"));
    const QString path = renderTemp(QStringLiteral("save_to_cloud"));
    if (path.isEmpty())
        return;
    Q_EMIT signalSaveToCloud(path, OrvLang::text("ID_CloudDisk_My"));
}

void ImageEditor::finishBtnSlot()
{
    const QImage image = m_view->renderImage();
    if (image.isNull()) {
        qCWarning(lcOrvCommon) << "ImageEditor: nothing to hand over";
        close();
        return;
    }
    // Both forms, as the picture menu copies: the file (for file managers and chats) and the pixels.
    const QString path = QStandardPaths::writableLocation(QStandardPaths::TempLocation)
        + QLatin1String(ImagePreviewMenu::CopyFileName);
    QSaveFile file(path);
    QImageWriter writer(&file, "png");
    auto *mime = new QMimeData;
    mime->setImageData(image);
    if (file.open(QIODevice::WriteOnly) && writer.write(image) && file.commit()) {
        mime->setUrls({QUrl::fromLocalFile(path)});
        OrvUtils::writeRichImageToMimeData(mime, path);
    } else {
        qCWarning(lcOrvCommon) << "ImageEditor: cannot write the copy file" << path << file.errorString();
    }
    QGuiApplication::clipboard()->setMimeData(mime);
    if (auto *painter = m_view->getPainter())
        painter->setUnmodified();
    showTip(OrvLang::text("ID_Copied"));
    Q_EMIT signalEditFinished(QFileInfo::exists(path) ? path : QString());
    close();
}
