// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QBrush>
#include <QImage>
#include <QPainterPath>
#include <QPen>
#include <QTransform>
#include <QVector>

class QGraphicsScene;
class QIODevice;

namespace OrvPainterBase {

/**
 * Picture plus annotations at full resolution, composed in horizontal bands on the thread pool.
 *
 * The scene is read once, on the GUI thread, into a list of drawing steps in stacking order:
 * strokes stay paths, everything else (text, other items) is painted there into a picture of its
 * own. Bands then copy their rows of the picture and draw the steps that reach them, each on its
 * own copy of the paths, so they can run at once; bands no step reaches are read in place.
 *
 * writeJpeg() encodes band after band while later bands are still being composed, so a saved
 * picture with annotations costs little more than the bare picture's encoding.
 */
class AnnotationComposer
{
public:
    static constexpr int BandHeight = 256;
    /// Bands handed to the JPEG encoder: small enough to stay in the processor's cache.
    static constexpr int JpegBandHeight = 64;

    /// sceneSize: the scene rect (the picture's size in scene pixels); outputSize: the picture's.
    AnnotationComposer(QGraphicsScene *scene, const QSize &sceneSize, const QSize &outputSize);

    bool isEmpty() const { return m_steps.isEmpty(); }
    int stepCount() const { return m_steps.size(); }

    /// picture (of the output size) in format with the annotations drawn on it.
    QImage compose(const QImage &picture, QImage::Format format) const;
    /// The composed picture as a baseline JPEG at quality; false (and why in *error) on failure.
    bool writeJpeg(const QImage &picture, QIODevice *device, int quality, QString *error) const;

private:
    struct Step
    {
        QPainterPath path; ///< a stroke, or empty for a picture
        QVector<QLineF> segments; ///< a stroke of straight lines only, drawn the quick way
        QVector<QPointF> joints;
        QPen pen;
        QBrush brush;
        QImage image;
        QTransform transform; ///< to output pixels
        QRectF bounds;        ///< in output pixels
    };

    /// band holds rows top.. of the picture; the steps reaching it are drawn over them.
    void paintBand(QImage &band, int top) const;
    /// Whether any step reaches rows [top, top + height).
    bool touches(int top, int height) const;
    /// Rows top.. of picture into band (all its rows), converted to band's format.
    static void copyRows(const QImage &picture, int top, QImage &band);

    QVector<Step> m_steps;
    QSize m_output;
};

} // namespace OrvPainterBase
