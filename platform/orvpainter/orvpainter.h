// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QGraphicsView>
#include <QPointer>
#include <QSize>
#include <QVector>

class QGraphicsItem;
class QGraphicsScene;

namespace OrvPainterBase {

/**
 * The annotation layer laid over a picture. It is a transparent QGraphicsView the size of the
 * picture as shown; its scene is in the picture's own pixels, so annotations keep their place and
 * size whatever the zoom, and render() draws picture plus annotations at the picture's full
 * resolution.
 *
 * Annotations belong to a data key (the mole name of the windows that own the layer): the layer
 * shows the annotations stored under its key, and a layer created later with the same key shows
 * them again. An empty key keeps the annotations to this layer alone.
 *
 * While no tool is chosen (Tool::None) or the layer is not editable, mouse input passes through
 * to the widget under the layer (the picture window pans and zooms). The select tool picks and
 * moves annotations by click and rubber band.
 */
class OrvPainter : public QGraphicsView
{
    Q_OBJECT
public:
    enum class Tool {
        None,   ///< input goes to the window below
        Select, ///< click or drag a frame to select, drag to move
    };
    Q_ENUM(Tool)

    /// size: the picture's own pixel size (scene coordinates); the widget starts at that size.
    explicit OrvPainter(const QSize &pictureSize, QWidget *parent = nullptr);
    ~OrvPainter() override;

    QSize pictureSize() const { return m_pictureSize; }
    void setPictureSize(const QSize &size);
    /// The size on screen; the scene is scaled to cover it.
    void setLayerSize(const QSize &size);

    QString dataKey() const { return m_key; }
    /// Shows the annotations stored under key (none yet for a new key).
    void setDataKey(const QString &key);

    Tool tool() const { return m_tool; }
    void setTool(Tool tool);
    /// Remembers the current tool and leaves input to the window below (for a temporary pan).
    void saveTool();
    /// Takes back the tool saved last; nothing when none was saved.
    void restoreTool();
    /// No tool, nothing saved, nothing selected.
    void resetTool();

    void setEditable(bool editable);
    bool isEditable() const { return m_editable; }

    /// Fill under the annotations when the layer is rendered without a picture.
    void setBackgroundColor(const QColor &color) { m_background = color; }
    QColor backgroundColor() const { return m_background; }

    /// Adds an annotation in picture pixels; the layer's data takes ownership.
    void addItem(QGraphicsItem *item);
    /// Removes every annotation of this key.
    void clear();
    int itemCount() const;
    QGraphicsScene *annotationScene() const { return m_scene; }

    /// Picture plus annotations at the picture's size (annotations scaled from pictureSize()).
    QImage renderImage(const QPixmap &picture) const;
    /// renderImage() written to path (format from the suffix; JPEG at quality 95). False (and a
    /// log line) when the picture is null or the file cannot be written; an existing file is only
    /// replaced once the new one is complete.
    bool render(const QString &path, const QPixmap &picture) const;

    /// Annotations held for key, for windows that must know before making a layer.
    static int storedItemCount(const QString &key);
    /// Drops what is stored under key.
    static void discardData(const QString &key);

Q_SIGNALS:
    void dataModified(int itemCount);
    void toolChanged(OrvPainterBase::OrvPainter::Tool tool);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void attachScene(QGraphicsScene *scene);
    void applyInputMode();
    void fitScene();

    QSize m_pictureSize;
    QString m_key;
    QPointer<QGraphicsScene> m_scene;
    QGraphicsScene *m_ownScene = nullptr; ///< for an empty key
    Tool m_tool = Tool::None;
    QVector<Tool> m_savedTools;
    bool m_editable = true;
    QColor m_background = Qt::white;
};

} // namespace OrvPainterBase
