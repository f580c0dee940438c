// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpaintercomposer.h"
#include "orvpainteritems.h"

#include <QGraphicsScene>
#include <QIODevice>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent>

#include <csetjmp>
#include <cstdio>
#include <jpeglib.h>
#include <vector>

namespace OrvPainterBase {

namespace {

// libjpeg reports errors by calling error_exit, which must not return: it jumps back.
struct JpegError
{
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

extern "C" void jpegErrorExit(j_common_ptr cinfo)
{
    auto *error = reinterpret_cast<JpegError *>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, error->message);
    std::longjmp(error->jump, 1);
}

extern "C" void jpegQuiet(j_common_ptr, int)
{
}

// Encoded bytes go to the device in blocks.
struct JpegDestination
{
    jpeg_destination_mgr pub;
    QIODevice *device;
    unsigned char buffer[64 * 1024];
    bool failed;
};

extern "C" void jpegInitDestination(j_compress_ptr cinfo)
{
    auto *dest = reinterpret_cast<JpegDestination *>(cinfo->dest);
    dest->pub.next_output_byte = dest->buffer;
    dest->pub.free_in_buffer = sizeof(dest->buffer);
}

extern "C" boolean jpegEmptyBuffer(j_compress_ptr cinfo)
{
    auto *dest = reinterpret_cast<JpegDestination *>(cinfo->dest);
    if (dest->device->write(reinterpret_cast<const char *>(dest->buffer), qint64(sizeof(dest->buffer)))
        != qint64(sizeof(dest->buffer)))
        dest->failed = true;
    dest->pub.next_output_byte = dest->buffer;
    dest->pub.free_in_buffer = sizeof(dest->buffer);
    return TRUE;
}

extern "C" void jpegTermDestination(j_compress_ptr cinfo)
{
    auto *dest = reinterpret_cast<JpegDestination *>(cinfo->dest);
    const qint64 left = qint64(sizeof(dest->buffer) - dest->pub.free_in_buffer);
    if (left > 0 && dest->device->write(reinterpret_cast<const char *>(dest->buffer), left) != left)
        dest->failed = true;
}

// A round-capped, round-joined stroke of straight lines as flat-capped lines with a disc at each
// point: the same shape, which Qt's raster engine draws several times faster than the stroked path.
bool splitIntoLines(const QPainterPath &path, const QPen &pen, const QBrush &brush, QVector<QLineF> *segments,
                    QVector<QPointF> *joints)
{
    if (brush.style() != Qt::NoBrush || pen.style() != Qt::SolidLine || pen.capStyle() != Qt::RoundCap
        || pen.joinStyle() != Qt::RoundJoin || pen.isCosmetic() || pen.widthF() <= 0)
        return false;
    QPointF last;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        if (e.isCurveTo() || e.type == QPainterPath::CurveToDataElement)
            return false;
        if (e.isLineTo())
            segments->append(QLineF(last, e));
        joints->append(e);
        last = e;
    }
    return true;
}

// Each band draws on its own copy of a path: paths cache their drawing form when first drawn.
QPainterPath ownCopy(const QPainterPath &path)
{
    QPainterPath copy;
    copy.addPath(path);
    copy.setFillRule(path.fillRule());
    return copy;
}

} // namespace

AnnotationComposer::AnnotationComposer(QGraphicsScene *scene, const QSize &sceneSize, const QSize &outputSize)
    : m_output(outputSize)
{
    if (!scene || sceneSize.isEmpty() || outputSize.isEmpty())
        return;
    const QTransform toOutput = QTransform::fromScale(double(outputSize.width()) / sceneSize.width(),
                                                      double(outputSize.height()) / sceneSize.height());
    const QRectF output(QPointF(0, 0), QSizeF(outputSize));
    ExportPaintScope exporting;
    const auto items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem *item : items) {
        if (item->parentItem() || !item->isVisible())
            continue;
        Step step;
        step.transform = item->sceneTransform() * toOutput;
        step.bounds = step.transform.mapRect(item->boundingRect());
        if (!step.bounds.intersects(output))
            continue;
        if (item->type() == PathAnnotation::Type) {
            const auto *stroke = static_cast<const PathAnnotation *>(item);
            step.path = stroke->path();
            step.pen = stroke->pen();
            step.brush = stroke->brush();
            if (!splitIntoLines(step.path, step.pen, step.brush, &step.segments, &step.joints)) {
                step.segments.clear();
                step.joints.clear();
            }
        } else if (item->type() == PictureAnnotation::Type) {
            step.image = static_cast<const PictureAnnotation *>(item)->image();
        } else {
            // Text and anything else paints here, on this thread, into a picture of its own.
            const QRect area = step.bounds.toAlignedRect() & output.toAlignedRect();
            if (area.isEmpty())
                continue;
            QImage image(area.size(), QImage::Format_ARGB32_Premultiplied);
            if (image.isNull())
                continue;
            image.fill(Qt::transparent);
            QPainter p(&image);
            p.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
            p.setTransform(step.transform * QTransform::fromTranslate(-area.left(), -area.top()));
            QStyleOptionGraphicsItem option;
            option.exposedRect = item->boundingRect();
            item->paint(&p, &option, nullptr);
            p.end();
            step.image = image;
            step.transform = QTransform::fromTranslate(area.left(), area.top());
            step.bounds = area;
        }
        m_steps.append(step);
    }
}

void AnnotationComposer::paintBand(QImage &band, int top) const
{
    const QRectF rows(0, top, band.width(), band.height());
    QPainter p(&band);
    p.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    const QTransform shift = QTransform::fromTranslate(0, -top);
    for (const Step &step : m_steps) {
        // Pens reach past the item's bounds by nothing: its bounding rect includes them.
        if (!step.bounds.adjusted(-1, -1, 1, 1).intersects(rows))
            continue;
        p.setTransform(step.transform * shift);
        if (!step.joints.isEmpty()) {
            QPen flat = step.pen;
            flat.setCapStyle(Qt::FlatCap);
            p.setPen(flat);
            p.setBrush(Qt::NoBrush);
            p.drawLines(step.segments);
            const qreal r = step.pen.widthF() / 2;
            p.setPen(Qt::NoPen);
            p.setBrush(step.pen.brush());
            // Joints whose disc stays out of these rows are skipped.
            const qreal reach = r * qMax(qAbs(step.transform.m22()), qAbs(step.transform.m12())) + 1;
            for (const QPointF &joint : step.joints) {
                const qreal y = step.transform.map(joint).y();
                if (y + reach >= rows.top() && y - reach <= rows.bottom())
                    p.drawEllipse(joint, r, r);
            }
        } else if (step.image.isNull()) {
            p.setPen(step.pen);
            p.setBrush(step.brush);
            p.drawPath(ownCopy(step.path));
        } else {
            p.drawImage(QPointF(0, 0), step.image);
        }
    }
}

bool AnnotationComposer::touches(int top, int height) const
{
    const QRectF rows(0, top, m_output.width(), height);
    for (const Step &step : m_steps) {
        if (step.bounds.adjusted(-1, -1, 1, 1).intersects(rows))
            return true;
    }
    return false;
}

void AnnotationComposer::copyRows(const QImage &picture, int top, QImage &band)
{
    const int height = band.height();
    if (picture.format() == band.format()) {
        const size_t bytes = size_t(qMin(picture.bytesPerLine(), band.bytesPerLine()));
        for (int y = 0; y < height; ++y)
            memcpy(band.scanLine(y), picture.constScanLine(top + y), bytes);
        return;
    }
    // Other formats go through Qt's conversion, rows read in place.
    const QImage rows(picture.constScanLine(top), picture.width(), height, picture.bytesPerLine(), picture.format());
    const QImage converted = rows.convertToFormat(band.format());
    const size_t bytes = size_t(qMin(converted.bytesPerLine(), band.bytesPerLine()));
    for (int y = 0; y < height && !converted.isNull(); ++y)
        memcpy(band.scanLine(y), converted.constScanLine(y), bytes);
}

QImage AnnotationComposer::compose(const QImage &picture, QImage::Format format) const
{
    if (picture.isNull())
        return QImage();
    QImage target(picture.size(), format);
    if (target.isNull())
        return target;
    uchar *bits = target.bits();
    const qsizetype bpl = target.bytesPerLine();
    const int width = picture.width();
    QVector<int> tops;
    for (int top = 0; top < picture.height(); top += BandHeight)
        tops.append(top);
    // Every band copies and draws its own rows, so the bands run side by side.
    QtConcurrent::blockingMap(tops, [&](int top) {
        const int height = qMin(BandHeight, picture.height() - top);
        QImage band(bits + top * bpl, width, height, bpl, format);
        copyRows(picture, top, band);
        if (!m_steps.isEmpty())
            paintBand(band, top);
    });
    return target;
}

bool AnnotationComposer::writeJpeg(const QImage &picture, QIODevice *device, int quality, QString *error) const
{
    if (picture.isNull() || !device) {
        if (error)
            *error = QStringLiteral("no picture");
        return false;
    }
    // Bands are composed ahead while the earlier ones are encoded here; the composing threads
    // leave one core to the encoder.
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(qMax(1, QThread::idealThreadCount() - 1));
        p->setExpiryTimeout(5000);
        return p;
    }();
    // Only a few bands ahead of the encoder, so a band is still in the cache when it is encoded.
    const int bandCount = (picture.height() + JpegBandHeight - 1) / JpegBandHeight;
    const int ahead = pool->maxThreadCount() + 1;
    // Bands are drawn into a few buffers taken in turn: a fresh band each time costs the kernel a
    // page fault every 4 KB and the encoder reads it from memory rather than from the cache.
    // Band i goes to buffer i % size, whose band before it was encoded before band i is launched.
    std::vector<QImage> buffers(size_t(ahead + 1));
    QVector<QFuture<QImage>> bands(bandCount);
    QVector<bool> inPlace(bandCount, false);
    int launched = 0;
    bool noMemory = false;
    auto launch = [&](int upTo) {
        for (; launched < qMin(upTo, bandCount); ++launched) {
            const int top = launched * JpegBandHeight;
            const int height = qMin(JpegBandHeight, picture.height() - top);
            if (!touches(top, height) && picture.format() == QImage::Format_RGB32) {
                inPlace[launched] = true; // nothing drawn here: the picture's own rows
                continue;
            }
            QImage &buffer = buffers[size_t(launched) % buffers.size()];
            if (buffer.isNull())
                buffer = QImage(picture.width(), JpegBandHeight, QImage::Format_RGB32);
            if (buffer.isNull()) {
                noMemory = true;
                return;
            }
            uchar *bits = buffer.bits();
            const qsizetype bpl = buffer.bytesPerLine();
            bands[launched] = QtConcurrent::run(pool, [this, &picture, top, height, bits, bpl] {
                QImage band(bits, picture.width(), height, bpl, QImage::Format_RGB32);
                copyRows(picture, top, band);
                paintBand(band, top);
                return band;
            });
        }
    };
    launch(ahead);

    jpeg_compress_struct cinfo;
    JpegError jerr;
    JpegDestination dest;
    QImage current; // outside the jump's reach: released on every way out
    bool ok = false;
    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = jpegErrorExit;
    jerr.pub.emit_message = jpegQuiet;
    jerr.message[0] = 0;
    dest.pub.init_destination = jpegInitDestination;
    dest.pub.empty_output_buffer = jpegEmptyBuffer;
    dest.pub.term_destination = jpegTermDestination;
    dest.device = device;
    dest.failed = false;
    jpeg_create_compress(&cinfo);
    if (setjmp(jerr.jump) == 0) {
        cinfo.dest = &dest.pub;
        cinfo.image_width = JDIMENSION(picture.width());
        cinfo.image_height = JDIMENSION(picture.height());
        cinfo.input_components = 4;
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        cinfo.in_color_space = JCS_EXT_BGRX; // RGB32 as it lies in memory
#else
        cinfo.in_color_space = JCS_EXT_XRGB;
#endif
        jpeg_set_defaults(&cinfo);
        jpeg_set_quality(&cinfo, qBound(1, quality, 100), TRUE);
        jpeg_start_compress(&cinfo, TRUE);
        for (int i = 0; i < bandCount && !dest.failed; ++i) {
            launch(i + 1 + ahead);
            if (i >= launched)
                current = QImage();
            else if (inPlace.at(i))
                current = QImage(picture.constScanLine(i * JpegBandHeight), picture.width(),
                                 qMin(JpegBandHeight, picture.height() - i * JpegBandHeight), picture.bytesPerLine(),
                                 QImage::Format_RGB32);
            else
                current = bands[i].result();
            if (current.isNull() || noMemory) {
                std::snprintf(jerr.message, sizeof(jerr.message), "no memory for a band");
                break;
            }
            for (int y = 0; y < current.height(); ++y) {
                JSAMPROW row = const_cast<JSAMPROW>(current.constScanLine(y));
                jpeg_write_scanlines(&cinfo, &row, 1);
            }
            current = QImage();
        }
        if (cinfo.next_scanline == cinfo.image_height) {
            jpeg_finish_compress(&cinfo);
            ok = !dest.failed;
        }
    }
    jpeg_destroy_compress(&cinfo);
    current = QImage();
    // Every launched band, whatever the way out (a default future is finished).
    for (QFuture<QImage> &band : bands)
        band.waitForFinished();
    if (!ok && error) {
        *error = dest.failed ? device->errorString()
                             : QString::fromLocal8Bit(jerr.message[0] ? jerr.message : "encoding stopped");
    }
    return ok;
}

} // namespace OrvPainterBase
