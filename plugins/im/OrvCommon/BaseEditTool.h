// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "EraserMenu.h"
#include "orvpainter.h"

#include <QColor>
#include <QImage>
#include <QObject>
#include <QPointer>

class ArrowPopup;
class ImageGraphicsView;
class OrvColorPickerWidget;
class QButtonGroup;
class QComboBox;
class QFileDialog;

/**
 * The drawing tools of a picture view, for any tool bar: the picture editor's and the screen
 * capture overlay's. It keeps the tool settings (pen shape, colour and width, eraser size, text
 * colour and size) and applies them to the view's annotation layer, also to a new layer made
 * after a turn. It owns the settings boxes the tool bars show next to their buttons: the pen's
 * (shapes, widths, colours), the text's (colours, font size) and the eraser menu.
 *
 *     auto *tool = new EditTool(view, overlay, false); // boxes as children of the overlay
 *     tool->penTool();                                 // draw
 *     tool->setPenShape(OrvPainter::PenShape::Arrow);
 *     tool->penSettingsBox()->showNextTo(penButton);
 *     connect(tool, &BaseEditTool::edited, ...);       // the picture carries annotations
 *
 * Widths and sizes are in screen pixels (see OrvPainter).
 */
class BaseEditTool : public QObject
{
    Q_OBJECT
public:
    using Tool = OrvPainterBase::OrvPainter::Tool;
    using PenShape = OrvPainterBase::OrvPainter::PenShape;
    using SelectMode = OrvPainterBase::OrvPainter::SelectMode;

    /// The pen widths offered, in screen pixels.
    static constexpr int PenWidths[3] = {2, 4, 8};
    /// Font sizes offered for text, in screen pixels.
    static QList<int> fontSizes();
    static constexpr int DefaultFontSize = 20;

    /// boxParent: the widget the settings boxes belong to; popup: they are popups (else children
    /// of boxParent, shown and placed by it).
    BaseEditTool(ImageGraphicsView *view, QWidget *boxParent, bool popupBoxes = true, QObject *parent = nullptr);
    ~BaseEditTool() override;

    ImageGraphicsView *view() const { return m_view; }
    OrvPainterBase::OrvPainter *painter() const;

    Tool tool() const { return m_tool; }
    void noTool();
    void selectTool(SelectMode mode);
    void selectTool() { selectTool(m_selectMode); }
    SelectMode selectMode() const { return m_selectMode; }
    void penTool();
    void eraserTool();
    void textTool();

    PenShape penShape() const { return m_penShape; }
    void setPenShape(PenShape shape);
    QColor penColor() const { return m_penColor; }
    void setPenColor(const QColor &color);
    /// A palette colour of the pen's colour picker.
    void setPenColorIndex(int index);
    int penWidth() const { return m_penWidth; }
    void setPenWidth(int width);
    EraserType eraserType() const { return m_eraserType; }
    /// A size sets the eraser; EraserClear removes every annotation (undoable) and keeps the size.
    void setEraserType(EraserType type);
    QColor textColor() const { return m_textColor; }
    void setTextColor(const QColor &color);
    void setTextColorIndex(int index);
    int textFontSize() const { return m_fontSize; }
    void setTextFontSize(int pixelSize);

    /// Opens the picture dialog (non-modal); the file chosen is pasted onto the layer.
    QFileDialog *loadImage();
    bool loadImageFile(const QString &path);
    bool loadImage(const QImage &image);
    int deleteSelected();
    void undo();
    void redo();
    bool canUndo() const;
    bool canRedo() const;
    /// The layer has annotations that were not saved.
    bool isEdited() const;
    int annotationCount() const;

    ArrowPopup *penSettingsBox() const { return m_penBox; }
    ArrowPopup *textSettingsBox() const { return m_textBox; }
    EraserMenu *eraserMenu() const { return m_eraserMenu; }
    OrvColorPickerWidget *penColorPicker() const { return m_penPicker; }
    OrvColorPickerWidget *textColorPicker() const { return m_textPicker; }
    QComboBox *fontSizeBox() const { return m_fontSizeBox; }
    /// The settings box of a tool (nullptr for select and none).
    QWidget *settingsBox(Tool tool) const;
    void hideBoxes();

Q_SIGNALS:
    /// The annotations changed (drawing, erasing, typing, deleting, undo, redo).
    void edited();
    void toolChanged(OrvPainterBase::OrvPainter::Tool tool);
    void canUndoChanged(bool canUndo);
    void canRedoChanged(bool canRedo);
    void penShapeChanged(OrvPainterBase::OrvPainter::PenShape shape);
    /// A save through onSaveImage() ended.
    void saved(bool ok, const QString &fileName);

public Q_SLOTS:
    /// Renders the picture with its annotations at full resolution to fileName.
    virtual void onSaveImage(QString fileName);
    virtual void onShotFinished();
    virtual void onShotCanceled();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

    bool m_lastSaveOk = false;
    QString m_lastSavedPath;

private:
    void buildPenBox(QWidget *boxParent, bool popup);
    void buildTextBox(QWidget *boxParent, bool popup);
    void attachPainter(QGraphicsView *view);
    void applyAll();

    ImageGraphicsView *m_view;
    QPointer<OrvPainterBase::OrvPainter> m_painter;
    QVector<QMetaObject::Connection> m_painterConnections;
    Tool m_tool = Tool::None;
    SelectMode m_selectMode = SelectMode::Frame;
    PenShape m_penShape = PenShape::FreeLine;
    QColor m_penColor;
    int m_penWidth = 4;
    EraserType m_eraserType = EraserMedium;
    QColor m_textColor;
    int m_fontSize = DefaultFontSize;

    ArrowPopup *m_penBox = nullptr;
    ArrowPopup *m_textBox = nullptr;
    EraserMenu *m_eraserMenu = nullptr;
    OrvColorPickerWidget *m_penPicker = nullptr;
    OrvColorPickerWidget *m_textPicker = nullptr;
    QButtonGroup *m_shapeGroup = nullptr;
    QButtonGroup *m_widthGroup = nullptr;
    QComboBox *m_fontSizeBox = nullptr;
    QPointer<QFileDialog> m_loadDialog;
};
