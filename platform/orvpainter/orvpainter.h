// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QGraphicsView>
#include <QPainterPath>
#include <QPointer>
#include <QSize>
#include <QVector>
#include <functional>

#include "orvpaintercommands.h"

class QGraphicsItem;
class QGraphicsScene;
class QUndoStack;

namespace OrvPainterBase {

class LayerData;
class TextAnnotation;

/**
 * The annotation layer laid over a picture. It is a transparent QGraphicsView the size of the
 * picture as shown; its scene is in the picture's own pixels, so annotations keep their place and
 * size whatever the zoom, and render() draws picture plus annotations at the picture's full
 * resolution.
 *
 * Tools: select (a frame or a lasso picks annotations, dragging moves them), pen (free line,
 * straight line, arrow, rectangle, ellipse), eraser (cuts strokes and shapes away under a disc of
 * three sizes; clear() removes everything), text (boxes typed in place, input methods included).
 * Pictures are pasted with addPicture(). Every change is one step of an undo stack (QUndoStack).
 * Pen width, eraser size and text size are in screen pixels at the zoom they are used at, so what
 * is drawn looks as wide as the tool said whatever the zoom; they are stored in picture pixels.
 *
 * Annotations belong to a data key (the mole name of the windows that own the layer): the layer
 * shows the annotations stored under its key, with their undo history, and a layer created later
 * with the same key shows them again. An empty key keeps the annotations to this layer alone.
 * With a storage folder (setStorageDirectory) they survive the process too.
 *
 * While no tool is chosen (Tool::None) or the layer is not editable, mouse input passes through
 * to the widget under the layer (the picture window pans and zooms).
 *
 * Every setter here can be driven by any tool bar: the picture editor's, the screen capture's.
 */
class OrvPainter : public QGraphicsView
{
    Q_OBJECT
public:
    enum class Tool {
        None,   ///< input goes to the window below
        Select, ///< pick (frame or lasso) and move
        Pen,    ///< draw the pen shape
        Eraser, ///< cut strokes away under the eraser
        Text,   ///< add or edit text boxes
    };
    Q_ENUM(Tool)
    enum class SelectMode { Frame, Lasso };
    Q_ENUM(SelectMode)
    enum class PenShape { FreeLine, Line, Arrow, Rectangle, Ellipse };
    Q_ENUM(PenShape)
    /// Eraser sizes; anything else given to setEraserType() is kept but erases at medium size.
    enum EraserType { EraserSmall = 0, EraserMedium = 1, EraserLarge = 2 };

    /// size: the picture's own pixel size (scene coordinates); the widget starts at that size.
    explicit OrvPainter(const QSize &pictureSize, QWidget *parent = nullptr);
    ~OrvPainter() override;

    QSize pictureSize() const { return m_pictureSize; }
    void setPictureSize(const QSize &size);
    /// The size on screen; the scene is scaled to cover it.
    void setLayerSize(const QSize &size);
    /// Screen pixels per picture pixel.
    qreal viewScale() const;

    QString dataKey() const { return m_key; }
    /// Shows the annotations stored under key (none yet for a new key).
    void setDataKey(const QString &key);

    Tool tool() const { return m_tool; }
    void setTool(Tool tool);
    /// Remembers the current tool and leaves input to the window below (for a temporary pan).
    void saveTool();
    /// Takes back the tool saved last; nothing when none was saved.
    void restoreTool();
    /// No tool, nothing saved, nothing selected, text typing ended.
    void resetTool();

    void setEditable(bool editable);
    bool isEditable() const { return m_editable; }

    // Tool settings.
    SelectMode selectMode() const { return m_selectMode; }
    void setSelectMode(SelectMode mode);
    PenShape penShape() const { return m_penShape; }
    void setPenShape(PenShape shape);
    QColor penColor() const { return m_penColor; }
    void setPenColor(const QColor &color);
    qreal penWidth() const { return m_penWidth; }
    /// Screen pixels; values below 0.5 are refused.
    void setPenWidth(qreal width);
    int eraserType() const { return m_eraserType; }
    void setEraserType(int type);
    /// Radius of the eraser disc in screen pixels.
    static qreal eraserRadius(int type);
    QColor textColor() const { return m_textColor; }
    /// Also recolours the text box being typed into, or the selected ones (one undo step).
    void setTextColor(const QColor &color);
    int textPixelSize() const { return m_textPixelSize; }
    /// Screen pixels; like setTextColor() it applies to the box being typed into or selected.
    void setTextPixelSize(int pixelSize);

    /// Fill under the annotations when the layer is rendered without a picture.
    void setBackgroundColor(const QColor &color) { m_background = color; }
    QColor backgroundColor() const { return m_background; }

    // Editing; each is one undo step.
    /// Adds an annotation in picture pixels; the layer's data takes ownership.
    void addItem(QGraphicsItem *item);
    /// Pastes a picture, centred on center (picture pixels; the middle of the picture when
    /// null), shrunk to fit inside the picture when larger; it is selected with the select tool
    /// on. False (and a log line) for a null picture.
    bool addPicture(const QImage &image, const QPointF &center = QPointF(-1, -1));
    /// addPicture() of a file; false (and a log line) when it is not a picture.
    bool addPictureFromFile(const QString &path);
    /// Pastes the clipboard's picture (pixels, or the first picture file it names); false (and
    /// a log line) when it holds none. Text pastes into the box being typed into instead.
    bool pasteFromClipboard();
    /// Removes the selected annotations; returns how many.
    int deleteSelected();
    /// Removes every annotation of this key (undoable).
    void clear();
    /// Drops every annotation of this key and their history (not undoable): a picture turned or
    /// replaced under the same key.
    void discardAnnotations();
    void selectAll();
    bool hasSelection() const;
    /// Ends typing into a text box (an empty new box goes away).
    void finishTextEditing();
    bool isEditingText() const { return m_editingText != nullptr; }

    void undo();
    void redo();
    bool canUndo() const;
    bool canRedo() const;
    QUndoStack *undoStack() const;
    /// Whether anything changed since the layer was shown or last marked saved.
    bool isModified() const;
    void setUnmodified();

    int itemCount() const;
    QGraphicsScene *annotationScene() const;

    /// Picture plus annotations at the picture's size (annotations scaled from pictureSize()).
    QImage renderImage(const QPixmap &picture) const;
    /// renderImage() written to path (format from the suffix; JPEG at quality 95). False (and a
    /// log line) when the picture is null or the file cannot be written; an existing file is only
    /// replaced once the new one is complete.
    bool render(const QString &path, const QPixmap &picture) const;

    /// The annotations of this layer as a JSON document (what the storage folder holds).
    QByteArray annotationData() const;
    /// Replaces the annotations (and drops the history); false (and a log line) for data that is
    /// not a valid annotation document, leaving the layer as it was.
    bool setAnnotationData(const QByteArray &data);

    /// Annotations held for key, for windows that must know before making a layer.
    static int storedItemCount(const QString &key);
    /// Drops what is stored under key (in memory and in the storage folder).
    static void discardData(const QString &key);
    static QByteArray storedData(const QString &key);
    static bool setStoredData(const QString &key, const QByteArray &data);
    /// Where annotations are kept across runs ("" keeps them for this process only).
    static void setStorageDirectory(const QString &folder);
    static QString storageDirectory();
    /// The file the annotations of key are kept in ("" without a storage folder).
    static QString storagePath(const QString &key);

Q_SIGNALS:
    void dataModified(int itemCount);
    void toolChanged(OrvPainterBase::OrvPainter::Tool tool);
    /// The user changed the annotations (including undo and redo).
    void edited();
    void canUndoChanged(bool canUndo);
    void canRedoChanged(bool canRedo);
    void selectionChanged(bool hasSelection);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void drawForeground(QPainter *painter, const QRectF &rect) override;

private:
    void attachData(LayerData *data);
    void applyInputMode();
    void fitScene();
    void updateCursor();
    void push(QUndoCommand *command);
    void updateSceneRect(const QRectF &sceneRect, qreal margin);

    void beginStroke(const QPointF &p);
    void extendStroke(const QPointF &p);
    void endStroke();
    QPainterPath shapePath(const QPointF &from, const QPointF &to, qreal width) const;

    void eraseAlong(const QPointF &from, const QPointF &to);
    void endErase();

    void beginText(const QPointF &p, TextAnnotation *existing);
    void applyTextState(const std::function<void(TextAnnotation *)> &change);

    void beginMoveTracking();
    void endMoveTracking();

    QSize m_pictureSize;
    QString m_key;
    QPointer<LayerData> m_data;
    LayerData *m_ownData = nullptr; ///< for an empty key
    Tool m_tool = Tool::None;
    QVector<Tool> m_savedTools;
    bool m_editable = true;
    QColor m_background = Qt::white;

    SelectMode m_selectMode = SelectMode::Frame;
    PenShape m_penShape = PenShape::FreeLine;
    QColor m_penColor = QColor(0xF3, 0x3B, 0x1F);
    qreal m_penWidth = 4;
    int m_eraserType = EraserMedium;
    QColor m_textColor = QColor(0xF3, 0x3B, 0x1F);
    int m_textPixelSize = 20;

    // A stroke or shape being drawn, painted in the foreground until it is done.
    bool m_drawing = false;
    QPainterPath m_livePath;
    QPointF m_start;
    QPointF m_last;
    qreal m_liveWidth = 0;
    QRectF m_liveRect;

    // An eraser drag: the strokes it touched as they were before.
    bool m_erasing = false;
    QVector<EraseCommand::Change> m_eraseChanges;
    QPointF m_cursorScenePos;
    bool m_cursorInside = false;

    // A lasso being drawn.
    bool m_lassoing = false;
    QPolygonF m_lasso;

    // Items being dragged by the select tool, with where they started.
    QList<QGraphicsItem *> m_moving;
    QVector<QPointF> m_moveFrom;

    // The text box typed into.
    TextAnnotation *m_editingText = nullptr;
    bool m_editingIsNew = false;
    TextAnnotation::State m_textBefore;

    QVector<QMetaObject::Connection> m_dataConnections;
};

} // namespace OrvPainterBase
