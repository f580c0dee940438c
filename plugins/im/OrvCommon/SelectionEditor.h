// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPixmap>
#include <functional>

class QWidget;

namespace ScreenShot {

/**
 * The picture editor as the capture overlay's tool bar drives it: a view that lies over the
 * selection and draws on it with the editor's tools. The overlay creates one through its
 * factory (ImageSelectionEditor unless a host set another with
 * ScreenshotWidget::setSelectionEditorFactory()) when a tool is first used, hands it the
 * selected pixels and, when the selection is taken, asks it for the picture with its drawings.
 */
class SelectionEditor
{
public:
    enum Tool { Select, Pen, Eraser, Text, None };

    virtual ~SelectionEditor() = default;

    /// The view drawing on the selection; the overlay places it over the band and owns it.
    virtual QWidget *view() const = 0;
    /// The selected pixels, at their device pixel ratio.
    virtual void setPicture(const QPixmap &selection) = 0;
    virtual void setTool(Tool tool) = 0;
    /// The tool's settings box (colours, shapes, sizes) or nullptr; a child of the overlay,
    /// which places it next to the tool bar.
    virtual QWidget *settingsBox(Tool tool) const = 0;
    /// Eraser sizes 0, 1, 2; other values mean "clear all".
    virtual void setEraserType(int type) = 0;
    /// The text tool's font size box changed.
    virtual void applyTextFontSize() = 0;
    virtual void deleteSelected() = 0;
    /// Lets the user pick a picture file and pastes it onto the selection.
    virtual void loadImage() = 0;
    /// The selection with everything drawn on it, at full resolution.
    virtual QPixmap render() const = 0;

    virtual void undo() {}
    virtual void redo() {}
    virtual bool canUndo() const { return false; }
    virtual bool canRedo() const { return false; }
    /// The tool in hand; it may change by itself (a pasted picture is left selected).
    virtual Tool currentTool() const { return None; }
    /// Text is being typed: keys (Escape too) belong to the text box.
    virtual bool isTypingText() const { return false; }
    /// Called after every change of the drawings, of what can be undone and of the tool.
    virtual void setChangeHandler(std::function<void()> handler) { Q_UNUSED(handler) }
};

using SelectionEditorFactory = std::function<SelectionEditor *(QWidget *overlay)>;

} // namespace ScreenShot
