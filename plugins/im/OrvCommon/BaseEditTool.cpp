// SPDX-License-Identifier: LGPL-2.1-or-later
#include "BaseEditTool.h"

#include "ArrowPopup.h"
#include "ImageGraphicsView.h"
#include "orvcolorpickerwidget.h"
#include "orvcommon_logging.h"
#include "orvlang.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWindow>

namespace {

QToolButton *iconButton(QWidget *parent, const QString &name, const QString &icon, const QString &tip)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(name);
    button->setCheckable(true);
    button->setFixedSize(30, 30);
    button->setCursor(Qt::PointingHandCursor);
    button->setToolTip(tip);
    const QString base = QStringLiteral(":/im/images/imageeditor/%1").arg(icon);
    button->setStyleSheet(QStringLiteral("QToolButton#%1 { border: none; border-radius: 4px; image: url(%2.svg); padding: 4px; }"
                                         "QToolButton#%1:hover, QToolButton#%1:checked { image: url(%2_hover.svg); background: #EDF3FF; }")
                              .arg(name, base));
    return button;
}

QToolButton *dotButton(QWidget *parent, const QString &name, int diameter, const QString &tip)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(name);
    button->setCheckable(true);
    button->setFixedSize(30, 30);
    button->setCursor(Qt::PointingHandCursor);
    button->setToolTip(tip);
    const int pad = (30 - diameter) / 2;
    button->setStyleSheet(QStringLiteral("QToolButton#%1 { border: none; border-radius: 4px; background: transparent; }"
                                         "QToolButton#%1:hover, QToolButton#%1:checked { background: #EDF3FF; }"
                                         "QToolButton#%1::menu-indicator { image: none; }")
                              .arg(name));
    auto *dot = new QLabel(button);
    dot->setAttribute(Qt::WA_TransparentForMouseEvents);
    dot->setGeometry(pad, pad, diameter, diameter);
    dot->setStyleSheet(QStringLiteral("background: #3C3C3C; border-radius: %1px;").arg(diameter / 2));
    return button;
}

QWidget *separator(QWidget *parent)
{
    auto *line = new QLabel(parent);
    line->setObjectName(QStringLiteral("line"));
    line->setFixedSize(1, 14);
    line->setStyleSheet(QStringLiteral("QLabel#line{background:#EBEBEB;border:none;}"));
    return line;
}

} // namespace

constexpr int BaseEditTool::PenWidths[3];

QList<int> BaseEditTool::fontSizes()
{
    return {12, 14, 16, 18, 20, 24, 28, 32, 36, 48, 64};
}

BaseEditTool::BaseEditTool(ImageGraphicsView *view, QWidget *boxParent, bool popupBoxes, QObject *parent)
    : QObject(parent)
    , m_view(view)
    , m_penColor(OrvColorPickerWidget::paletteColor(OrvColorPickerWidget::DefaultIndex))
    , m_textColor(OrvColorPickerWidget::paletteColor(OrvColorPickerWidget::DefaultIndex))
{
    buildPenBox(boxParent, popupBoxes);
    buildTextBox(boxParent, popupBoxes);
    m_eraserMenu = new EraserMenu(Qt::UpArrow, boxParent, popupBoxes);
    m_eraserMenu->setObjectName(QStringLiteral("eraserMenu"));
    m_eraserMenu->setEraserType(m_eraserType);
    m_eraserMenu->hide();
    connect(m_eraserMenu, &EraserMenu::eraserChanged, this, &BaseEditTool::setEraserType);

    connect(m_view, &ImageGraphicsView::addWhiteBoardToManager, this, &BaseEditTool::attachPainter);
    connect(m_view, &ImageGraphicsView::signalShotFinished, this, &BaseEditTool::onShotFinished);
    connect(m_view, &ImageGraphicsView::signalShotCanceled, this, &BaseEditTool::onShotCanceled);
    if (m_view->getPainter())
        attachPainter(m_view->getPainter());
}

BaseEditTool::~BaseEditTool()
{
    delete m_loadDialog.data();
    // Boxes without a parent widget are popups of their own.
    for (QWidget *box : {static_cast<QWidget *>(m_penBox), static_cast<QWidget *>(m_textBox),
                         static_cast<QWidget *>(m_eraserMenu)}) {
        if (box && !box->parentWidget())
            delete box;
    }
}

void BaseEditTool::buildPenBox(QWidget *boxParent, bool popup)
{
    m_penBox = new ArrowPopup(Qt::UpArrow, boxParent, popup);
    m_penBox->setObjectName(QStringLiteral("penSettingBox"));
    auto *layout = new QVBoxLayout(m_penBox);
    layout->setSpacing(10);
    auto *row = new QHBoxLayout;
    row->setSpacing(4);
    m_shapeGroup = new QButtonGroup(m_penBox);
    const struct
    {
        const char *name;
        const char *icon;
        const char *tip;
        PenShape shape;
    } shapes[] = {{"shapeFreeBtn", "shape_free", "ID_FreeLine", PenShape::FreeLine},
                  {"shapeLineBtn", "shape_line", "ID_StraightLine", PenShape::Line},
                  {"shapeArrowBtn", "shape_arrow", "ID_Arrow", PenShape::Arrow},
                  {"shapeRectBtn", "shape_rect", "ID_Rectangle", PenShape::Rectangle},
                  {"shapeEllipseBtn", "shape_ellipse", "ID_Ellipse", PenShape::Ellipse}};
    for (const auto &s : shapes) {
        QToolButton *b = iconButton(m_penBox, QLatin1String(s.name), QLatin1String(s.icon), OrvLang::text(s.tip));
        m_shapeGroup->addButton(b, int(s.shape));
        row->addWidget(b);
    }
    row->addWidget(separator(m_penBox));
    m_widthGroup = new QButtonGroup(m_penBox);
    const char *widthNames[] = {"penWidthSBtn", "penWidthMBtn", "penWidthLBtn"};
    const char *widthTips[] = {"ID_PenWidth_Thin", "ID_PenWidth_Medium", "ID_PenWidth_Thick"};
    for (int i = 0; i < 3; ++i) {
        QToolButton *b = dotButton(m_penBox, QLatin1String(widthNames[i]), 4 + 3 * i, OrvLang::text(widthTips[i]));
        m_widthGroup->addButton(b, PenWidths[i]);
        row->addWidget(b);
    }
    row->addStretch();
    layout->addLayout(row);
    m_penPicker = new OrvColorPickerWidget(m_penBox);
    m_penPicker->setObjectName(QStringLiteral("penColorPicker"));
    layout->addWidget(m_penPicker);
    m_shapeGroup->button(int(m_penShape))->setChecked(true);
    m_widthGroup->button(m_penWidth)->setChecked(true);
    m_penBox->hide();

    connect(m_shapeGroup, &QButtonGroup::idClicked, this, [this](int id) { setPenShape(PenShape(id)); });
    connect(m_widthGroup, &QButtonGroup::idClicked, this, &BaseEditTool::setPenWidth);
    connect(m_penPicker, &OrvColorPickerWidget::colorChanged, this, &BaseEditTool::setPenColorIndex);
    connect(m_penPicker, &OrvColorPickerWidget::colorPickFinish, this, &BaseEditTool::setPenColor);
}

void BaseEditTool::buildTextBox(QWidget *boxParent, bool popup)
{
    m_textBox = new ArrowPopup(Qt::UpArrow, boxParent, popup);
    m_textBox->setObjectName(QStringLiteral("textSettingBox"));
    auto *layout = new QHBoxLayout(m_textBox);
    layout->setSpacing(10);
    m_fontSizeBox = new QComboBox(m_textBox);
    m_fontSizeBox->setObjectName(QStringLiteral("fontSizeBox"));
    m_fontSizeBox->setToolTip(OrvLang::text("ID_FontSize"));
    const QList<int> sizes = fontSizes();
    for (int size : sizes)
        m_fontSizeBox->addItem(QString::number(size), size);
    m_fontSizeBox->setCurrentIndex(sizes.indexOf(m_fontSize));
    layout->addWidget(m_fontSizeBox);
    layout->addWidget(separator(m_textBox));
    m_textPicker = new OrvColorPickerWidget(m_textBox);
    m_textPicker->setObjectName(QStringLiteral("textColorPicker"));
    layout->addWidget(m_textPicker);
    m_textBox->hide();

    connect(m_fontSizeBox, QOverload<int>::of(&QComboBox::activated), this,
            [this](int index) { setTextFontSize(m_fontSizeBox->itemData(index).toInt()); });
    connect(m_textPicker, &OrvColorPickerWidget::colorChanged, this, &BaseEditTool::setTextColorIndex);
    connect(m_textPicker, &OrvColorPickerWidget::colorPickFinish, this, &BaseEditTool::setTextColor);
}

OrvPainterBase::OrvPainter *BaseEditTool::painter() const
{
    return m_painter;
}

void BaseEditTool::attachPainter(QGraphicsView *view)
{
    for (const auto &c : qAsConst(m_painterConnections))
        disconnect(c);
    m_painterConnections.clear();
    m_painter = qobject_cast<OrvPainterBase::OrvPainter *>(view);
    if (!m_painter)
        return;
    m_painter->viewport()->installEventFilter(this);
    m_painterConnections << connect(m_painter, &OrvPainterBase::OrvPainter::edited, this, &BaseEditTool::edited);
    m_painterConnections << connect(m_painter, &OrvPainterBase::OrvPainter::canUndoChanged, this,
                                    &BaseEditTool::canUndoChanged);
    m_painterConnections << connect(m_painter, &OrvPainterBase::OrvPainter::canRedoChanged, this,
                                    &BaseEditTool::canRedoChanged);
    // A pasted picture switches the layer to select; the tool bars follow.
    m_painterConnections << connect(m_painter, &OrvPainterBase::OrvPainter::toolChanged, this, [this](Tool tool) {
        if (tool == m_tool || tool == Tool::None)
            return;
        m_tool = tool;
        Q_EMIT toolChanged(tool);
    });
    applyAll();
    Q_EMIT canUndoChanged(canUndo());
    Q_EMIT canRedoChanged(canRedo());
}

void BaseEditTool::applyAll()
{
    if (!m_painter)
        return;
    m_painter->setSelectMode(m_selectMode);
    m_painter->setPenShape(m_penShape);
    m_painter->setPenColor(m_penColor);
    m_painter->setPenWidth(m_penWidth);
    m_painter->setEraserType(m_eraserType);
    // Straight to the layer's defaults: no box is being typed into yet.
    m_painter->setTextColor(m_textColor);
    m_painter->setTextPixelSize(m_fontSize);
    m_painter->setTool(m_tool);
}

bool BaseEditTool::eventFilter(QObject *watched, QEvent *event)
{
    // Drawing starts: the settings box makes room. The type comes first: a layer being destroyed
    // still sends events, and is no painter any more by then.
    if (event->type() == QEvent::MouseButtonPress && m_painter && watched == m_painter->viewport())
        hideBoxes();
    return QObject::eventFilter(watched, event);
}

// --- tools ---

void BaseEditTool::noTool()
{
    m_tool = Tool::None;
    hideBoxes();
    if (m_painter)
        m_painter->setTool(Tool::None);
    Q_EMIT toolChanged(m_tool);
}

void BaseEditTool::selectTool(SelectMode mode)
{
    m_selectMode = mode;
    m_tool = Tool::Select;
    hideBoxes();
    if (m_painter) {
        m_painter->setSelectMode(mode);
        m_painter->setTool(Tool::Select);
    }
    Q_EMIT toolChanged(m_tool);
}

void BaseEditTool::penTool()
{
    m_tool = Tool::Pen;
    if (m_painter)
        m_painter->setTool(Tool::Pen);
    Q_EMIT toolChanged(m_tool);
}

void BaseEditTool::eraserTool()
{
    m_tool = Tool::Eraser;
    if (m_painter)
        m_painter->setTool(Tool::Eraser);
    Q_EMIT toolChanged(m_tool);
}

void BaseEditTool::textTool()
{
    m_tool = Tool::Text;
    if (m_painter)
        m_painter->setTool(Tool::Text);
    Q_EMIT toolChanged(m_tool);
}

QWidget *BaseEditTool::settingsBox(Tool tool) const
{
    switch (tool) {
    case Tool::Pen:
        return m_penBox;
    case Tool::Text:
        return m_textBox;
    case Tool::Eraser:
        return m_eraserMenu;
    default:
        return nullptr;
    }
}

void BaseEditTool::hideBoxes()
{
    m_penBox->hide();
    m_textBox->hide();
    m_eraserMenu->hide();
}

void BaseEditTool::setPenShape(PenShape shape)
{
    m_penShape = shape;
    if (QAbstractButton *b = m_shapeGroup->button(int(shape)))
        b->setChecked(true);
    if (m_painter)
        m_painter->setPenShape(shape);
    Q_EMIT penShapeChanged(shape);
}

void BaseEditTool::setPenColor(const QColor &color)
{
    if (!color.isValid())
        return;
    m_penColor = color;
    if (m_penPicker->currentColor() != color)
        m_penPicker->setCustomColor(color);
    if (m_painter)
        m_painter->setPenColor(color);
}

void BaseEditTool::setPenColorIndex(int index)
{
    const QColor color = OrvColorPickerWidget::paletteColor(index);
    if (!color.isValid()) {
        qCWarning(lcOrvCommon) << "no pen colour" << index;
        return;
    }
    m_penPicker->setCurrentIndex(index);
    setPenColor(color);
}

void BaseEditTool::setPenWidth(int width)
{
    if (width < 1 || width > 100) {
        qCWarning(lcOrvCommon) << "pen width out of range:" << width;
        return;
    }
    m_penWidth = width;
    if (QAbstractButton *b = m_widthGroup->button(width))
        b->setChecked(true);
    if (m_painter)
        m_painter->setPenWidth(width);
}

void BaseEditTool::setEraserType(EraserType type)
{
    if (type == EraserClear) {
        if (m_painter)
            m_painter->clear();
        return;
    }
    if (type < EraserSmall || type > EraserLarge) {
        qCWarning(lcOrvCommon) << "no eraser of type" << int(type);
        return;
    }
    m_eraserType = type;
    m_eraserMenu->setEraserType(type);
    if (m_painter)
        m_painter->setEraserType(type);
}

void BaseEditTool::setTextColor(const QColor &color)
{
    if (!color.isValid())
        return;
    m_textColor = color;
    if (m_textPicker->currentColor() != color)
        m_textPicker->setCustomColor(color);
    if (m_painter)
        m_painter->setTextColor(color);
}

void BaseEditTool::setTextColorIndex(int index)
{
    const QColor color = OrvColorPickerWidget::paletteColor(index);
    if (!color.isValid()) {
        qCWarning(lcOrvCommon) << "no text colour" << index;
        return;
    }
    m_textPicker->setCurrentIndex(index);
    setTextColor(color);
}

void BaseEditTool::setTextFontSize(int pixelSize)
{
    if (pixelSize < 4 || pixelSize > 400) {
        qCWarning(lcOrvCommon) << "font size out of range:" << pixelSize;
        return;
    }
    m_fontSize = pixelSize;
    const int index = m_fontSizeBox->findData(pixelSize);
    if (index >= 0)
        m_fontSizeBox->setCurrentIndex(index);
    if (m_painter) {
        m_painter->setTextPixelSize(pixelSize);
        // Typing goes on in the box, not in the size box.
        if (m_painter->isEditingText())
            m_painter->setFocus(Qt::OtherFocusReason);
    }
}

// --- editing ---

QFileDialog *BaseEditTool::loadImage()
{
    if (m_loadDialog) {
        m_loadDialog->raise();
        m_loadDialog->activateWindow();
        return m_loadDialog;
    }
    QString filter = OrvLang::text("ID_ImageFiles");
    if (!filter.contains(QLatin1Char('(')))
        filter += QStringLiteral(" (*.png *.jpg *.jpeg)");
    auto *dialog = new QFileDialog(m_view->window(), OrvLang::text("ID_SelectImage"), QString(), filter);
    dialog->setObjectName(QStringLiteral("loadImageDialog"));
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::NonModal);
    connect(dialog, &QFileDialog::fileSelected, this, &BaseEditTool::loadImageFile);
    m_loadDialog = dialog;
    // On its window's screen: Qt would take the primary one (a separate X screen needs telling).
    if (QWindow *owner = m_view->window()->windowHandle()) {
        dialog->winId();
        if (dialog->windowHandle())
            dialog->windowHandle()->setScreen(owner->screen());
    }
    dialog->show();
    return dialog;
}

bool BaseEditTool::loadImageFile(const QString &path)
{
    if (!m_painter || path.isEmpty())
        return false;
    return m_painter->addPictureFromFile(path);
}

bool BaseEditTool::loadImage(const QImage &image)
{
    return m_painter && m_painter->addPicture(image);
}

int BaseEditTool::deleteSelected()
{
    return m_painter ? m_painter->deleteSelected() : 0;
}

void BaseEditTool::undo()
{
    if (m_painter)
        m_painter->undo();
}

void BaseEditTool::redo()
{
    if (m_painter)
        m_painter->redo();
}

bool BaseEditTool::canUndo() const
{
    return m_painter && m_painter->canUndo();
}

bool BaseEditTool::canRedo() const
{
    return m_painter && m_painter->canRedo();
}

bool BaseEditTool::isEdited() const
{
    return m_painter && m_painter->isModified() && m_painter->itemCount() > 0;
}

int BaseEditTool::annotationCount() const
{
    return m_painter ? m_painter->itemCount() : 0;
}

// --- hooks ---

void BaseEditTool::onSaveImage(QString fileName)
{
    m_lastSaveOk = false;
    if (fileName.isEmpty())
        return;
    if (QFileInfo(fileName).suffix().isEmpty())
        fileName += QStringLiteral(".jpg");
    m_lastSavedPath = fileName;
    m_lastSaveOk = m_view->saveImage(fileName);
    if (m_lastSaveOk && m_painter)
        m_painter->setUnmodified();
    if (!m_lastSaveOk)
        qCWarning(lcOrvCommon) << "the edited picture could not be saved to" << fileName;
    Q_EMIT saved(m_lastSaveOk, fileName);
}

void BaseEditTool::onShotFinished()
{
    // The shot is on the layer, selected: ready to be moved.
    m_tool = Tool::Select;
    Q_EMIT toolChanged(m_tool);
}

void BaseEditTool::onShotCanceled()
{
    if (m_painter)
        m_painter->setTool(m_tool);
}
