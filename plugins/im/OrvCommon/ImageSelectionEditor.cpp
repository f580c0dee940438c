// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageSelectionEditor.h"

#include "ArrowPopup.h"
#include "EditTool.h"
#include "ImageGraphicsView.h"
#include "ScreenshotWidget.h"
#include "orvcommon_logging.h"

#include <QComboBox>

namespace ScreenShot {

ImageSelectionEditor::ImageSelectionEditor(QWidget *overlay)
    : m_view(new ImageGraphicsView)
{
    m_view->setUsedByScreenShot(true);
    m_tool = new EditTool(m_view, overlay, /*popupBoxes*/ false, this);
    m_tool->setSaveMethod(QStringLiteral("screenshot"));

    connect(m_tool, &BaseEditTool::edited, this, &ImageSelectionEditor::changed);
    connect(m_tool, &BaseEditTool::canUndoChanged, this, &ImageSelectionEditor::changed);
    connect(m_tool, &BaseEditTool::canRedoChanged, this, &ImageSelectionEditor::changed);
    connect(m_tool, &BaseEditTool::toolChanged, this, &ImageSelectionEditor::changed);

    // On the capture overlay the boxes speak through its slots, like its tool bar.
    if (auto *screenshot = qobject_cast<ScreenshotWidget *>(overlay)) {
        EraserMenu *eraser = m_tool->eraserMenu();
        disconnect(eraser, &EraserMenu::eraserChanged, m_tool, nullptr);
        connect(eraser, &EraserMenu::eraserChanged, screenshot, [screenshot](EraserType type) {
            screenshot->eraserSateChange(int(type));
        });
        QComboBox *sizes = m_tool->fontSizeBox();
        disconnect(sizes, QOverload<int>::of(&QComboBox::activated), m_tool, nullptr);
        connect(sizes, QOverload<int>::of(&QComboBox::activated), screenshot,
                &ScreenshotWidget::onTextFontSizeSettingChanged);
    }
}

ImageSelectionEditor::~ImageSelectionEditor()
{
    // The overlay is tearing this down: nothing is reported back to it any more.
    m_changeHandler = nullptr;
    m_tool->disconnect(this);
    const QList<QPointer<QWidget>> boxes {m_tool->penSettingsBox(), m_tool->textSettingsBox(), m_tool->eraserMenu()};
    delete m_view.data();
    delete m_tool; // before its boxes: it looks at them on the way out
    m_tool = nullptr;
    for (const QPointer<QWidget> &box : boxes)
        delete box.data();
}

QWidget *ImageSelectionEditor::view() const
{
    return m_view;
}

ImageGraphicsView *ImageSelectionEditor::imageView() const
{
    return m_view;
}

void ImageSelectionEditor::setPicture(const QPixmap &selection)
{
    m_ratio = selection.devicePixelRatio();
    m_view->loadPixmap(selection);
}

void ImageSelectionEditor::setTool(Tool tool)
{
    switch (tool) {
    case Select:
        m_tool->selectTool();
        break;
    case Pen:
        m_tool->penTool();
        break;
    case Eraser:
        m_tool->eraserTool();
        break;
    case Text:
        m_tool->textTool();
        break;
    case None:
        m_tool->noTool();
        break;
    }
    // Keys go to the layer: Ctrl+Z, Delete, typing.
    if (OrvPainterBase::OrvPainter *painter = m_tool->painter())
        painter->setFocus(Qt::OtherFocusReason);
}

QWidget *ImageSelectionEditor::settingsBox(Tool tool) const
{
    switch (tool) {
    case Pen:
        return m_tool->penSettingsBox();
    case Eraser:
        return m_tool->eraserMenu();
    case Text:
        return m_tool->textSettingsBox();
    default:
        return nullptr;
    }
}

void ImageSelectionEditor::setEraserType(int type)
{
    if (type >= EraserSmall && type <= EraserLarge)
        m_tool->setEraserType(EraserType(type));
    else
        m_tool->setEraserType(EraserClear);
}

void ImageSelectionEditor::applyTextFontSize()
{
    QComboBox *sizes = m_tool->fontSizeBox();
    const int size = sizes->currentData().toInt();
    if (size > 0)
        m_tool->setTextFontSize(size);
}

void ImageSelectionEditor::deleteSelected()
{
    m_tool->deleteSelected();
}

void ImageSelectionEditor::loadImage()
{
    m_tool->loadImage();
}

QPixmap ImageSelectionEditor::render() const
{
    if (!m_view)
        return {};
    QPixmap picture = QPixmap::fromImage(m_view->renderImage());
    picture.setDevicePixelRatio(m_ratio);
    return picture;
}

void ImageSelectionEditor::undo()
{
    m_tool->undo();
}

void ImageSelectionEditor::redo()
{
    m_tool->redo();
}

bool ImageSelectionEditor::canUndo() const
{
    return m_tool->canUndo();
}

bool ImageSelectionEditor::canRedo() const
{
    return m_tool->canRedo();
}

SelectionEditor::Tool ImageSelectionEditor::currentTool() const
{
    switch (m_tool->tool()) {
    case BaseEditTool::Tool::Select:
        return Select;
    case BaseEditTool::Tool::Pen:
        return Pen;
    case BaseEditTool::Tool::Eraser:
        return Eraser;
    case BaseEditTool::Tool::Text:
        return Text;
    default:
        return None;
    }
}

bool ImageSelectionEditor::isTypingText() const
{
    const OrvPainterBase::OrvPainter *painter = m_tool->painter();
    return painter && painter->isEditingText();
}

void ImageSelectionEditor::setChangeHandler(std::function<void()> handler)
{
    m_changeHandler = std::move(handler);
}

void ImageSelectionEditor::changed()
{
    if (m_changeHandler)
        m_changeHandler();
}

} // namespace ScreenShot
