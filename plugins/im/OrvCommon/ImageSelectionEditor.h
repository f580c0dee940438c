// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "SelectionEditor.h"

#include <QObject>
#include <QPointer>

class EditTool;
class ImageGraphicsView;

namespace ScreenShot {

/**
 * The picture editor's view and tools over a screen capture's selection: what the capture
 * overlay draws with unless a host gives it another SelectionEditor.
 *
 * The view shows the selection at its logical size (one picture pixel per device pixel), so
 * what is drawn lands in the picture taken at the screen's full resolution. The settings boxes
 * are children of the overlay; on a ScreenshotWidget the eraser menu and the font size box
 * report through its eraserSateChange() and onTextFontSizeSettingChanged(), as its tool bar's
 * own buttons do.
 */
class ImageSelectionEditor : public QObject, public SelectionEditor
{
    Q_OBJECT
public:
    explicit ImageSelectionEditor(QWidget *overlay);
    ~ImageSelectionEditor() override;

    QWidget *view() const override;
    void setPicture(const QPixmap &selection) override;
    void setTool(Tool tool) override;
    QWidget *settingsBox(Tool tool) const override;
    void setEraserType(int type) override;
    void applyTextFontSize() override;
    void deleteSelected() override;
    void loadImage() override;
    QPixmap render() const override;
    void undo() override;
    void redo() override;
    bool canUndo() const override;
    bool canRedo() const override;
    Tool currentTool() const override;
    bool isTypingText() const override;
    void setChangeHandler(std::function<void()> handler) override;

    ImageGraphicsView *imageView() const;
    EditTool *editTool() const { return m_tool; }

private:
    void changed();

    QPointer<ImageGraphicsView> m_view;
    EditTool *m_tool = nullptr;
    qreal m_ratio = 1.0;
    std::function<void()> m_changeHandler;
};

} // namespace ScreenShot
