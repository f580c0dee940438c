// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imagesamples.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QSaveFile>
#include <QtEndian>
#include <QtMath>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace ImageSamples {

namespace {

struct SampleJpegError
{
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

extern "C" void sampleJpegError(j_common_ptr cinfo)
{
    std::longjmp(reinterpret_cast<SampleJpegError *>(cinfo->err)->jump, 1);
}

quint32 next(quint32 &state)
{
    state = state * 1664525u + 1013904223u;
    return state;
}

double unit(quint32 &state)
{
    return double(next(state) >> 8) / double(1u << 24);
}

} // namespace

QImage cameraLike(const QSize &size, quint32 seed)
{
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    const double w = size.width();
    const double h = size.height();
    quint32 state = seed * 2654435761u + 7;
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        QLinearGradient sky(0, 0, 0, h * 0.6);
        sky.setColorAt(0, QColor::fromHsv(int(200 + 20 * unit(state)), 120, 230));
        sky.setColorAt(1, QColor::fromHsv(int(30 + 20 * unit(state)), 60, 250));
        p.fillRect(image.rect(), sky);

        QRadialGradient sun(w * (0.2 + 0.6 * unit(state)), h * 0.22, h * 0.18);
        sun.setColorAt(0, QColor(255, 250, 220));
        sun.setColorAt(0.3, QColor(255, 230, 160, 220));
        sun.setColorAt(1, QColor(255, 230, 160, 0));
        p.fillRect(image.rect(), sun);

        // Three ranges of hills, farther ones paler.
        for (int layer = 0; layer < 3; ++layer) {
            QPainterPath hills;
            const double base = h * (0.45 + 0.15 * layer);
            hills.moveTo(0, h);
            const int steps = 24;
            for (int i = 0; i <= steps; ++i) {
                const double x = w * i / steps;
                const double y = base - h * 0.08 * std::sin(i * 0.7 + layer * 2 + seed) - h * 0.04 * unit(state);
                hills.lineTo(x, y);
            }
            hills.lineTo(w, h);
            hills.closeSubpath();
            QLinearGradient ground(0, base - h * 0.1, 0, h);
            ground.setColorAt(0, QColor::fromHsv(int(90 + 30 * layer), 90 + 50 * layer, 170 - 40 * layer));
            ground.setColorAt(1, QColor::fromHsv(int(80 + 30 * layer), 140, 70));
            p.fillPath(hills, ground);
        }

        // Leaves and stones: soft-edged blobs of many sizes give the picture real detail.
        const int blobs = int(w * h / 6000);
        for (int i = 0; i < blobs; ++i) {
            const double x = w * unit(state);
            const double y = h * (0.5 + 0.5 * unit(state));
            const double r = (2 + 14 * unit(state) * unit(state)) * w / 1200;
            QColor c = QColor::fromHsv(int(60 + 80 * unit(state)), int(80 + 150 * unit(state)),
                                       int(40 + 160 * unit(state)), int(120 + 120 * unit(state)));
            p.setPen(Qt::NoPen);
            p.setBrush(c);
            p.drawEllipse(QPointF(x, y), r, r * (0.4 + 0.6 * unit(state)));
        }
    }
    // Fine sensor noise, a few levels each way, as a camera leaves in a photograph.
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int n = int(next(state) >> 29) - 4;
            const QRgb c = line[x];
            line[x] = qRgb(qBound(0, qRed(c) + n, 255), qBound(0, qGreen(c) + n, 255), qBound(0, qBlue(c) + n, 255));
        }
    }
    return image;
}

QColor quadrantColor(int quadrant)
{
    static const QColor colors[] = {QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255), QColor(255, 255, 0)};
    return colors[qBound(0, quadrant, 3)];
}

QImage quadrantProbe(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    const int hw = size.width() / 2;
    const int hh = size.height() / 2;
    QPainter p(&image);
    p.fillRect(0, 0, hw, hh, quadrantColor(0));
    p.fillRect(hw, 0, size.width() - hw, hh, quadrantColor(1));
    p.fillRect(hw, hh, size.width() - hw, size.height() - hh, quadrantColor(2));
    p.fillRect(0, hh, hw, size.height() - hh, quadrantColor(3));
    return image;
}

QByteArray encode(const QImage &image, const char *format, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    if (!writer.write(image))
        return QByteArray();
    return bytes;
}

QByteArray encodeJpeg(const QImage &image, const JpegLayout &layout)
{
    if (image.isNull())
        return QByteArray();
    const QImage source = layout.grey ? image.convertToFormat(QImage::Format_Grayscale8)
                                      : image.convertToFormat(QImage::Format_RGB32);
    jpeg_compress_struct cinfo;
    SampleJpegError jerr;
    unsigned char *buffer = nullptr;
    unsigned long size = 0;
    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = sampleJpegError;
    jpeg_create_compress(&cinfo);
    if (setjmp(jerr.jump)) {
        jpeg_destroy_compress(&cinfo);
        free(buffer);
        return QByteArray();
    }
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(source.width());
    cinfo.image_height = JDIMENSION(source.height());
    cinfo.input_components = layout.grey ? 1 : 4;
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    cinfo.in_color_space = layout.grey ? JCS_GRAYSCALE : JCS_EXT_BGRX;
#else
    cinfo.in_color_space = layout.grey ? JCS_GRAYSCALE : JCS_EXT_XRGB;
#endif
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, layout.quality, TRUE);
    if (!layout.grey) {
        cinfo.comp_info[0].h_samp_factor = layout.chroma == JpegLayout::Yuv444 ? 1 : 2;
        cinfo.comp_info[0].v_samp_factor = layout.chroma == JpegLayout::Yuv420 ? 2 : 1;
    }
    cinfo.restart_in_rows = layout.restartRows;
    if (!layout.restartRows)
        cinfo.restart_interval = unsigned(layout.restartMcus);
    if (layout.progressive)
        jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(source.constScanLine(int(cinfo.next_scanline)));
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    const QByteArray out(reinterpret_cast<const char *>(buffer), int(size));
    free(buffer);
    return out;
}

QByteArray withExifOrientation(const QByteArray &jpeg, int orientation, bool bigEndian)
{
    if (jpeg.size() < 2 || uchar(jpeg[0]) != 0xFF || uchar(jpeg[1]) != 0xD8)
        return QByteArray();
    // TIFF header, one IFD with one SHORT entry: 0x0112 Orientation.
    char buf[4];
    auto u16 = [&](quint16 v) {
        bigEndian ? qToBigEndian<quint16>(v, buf) : qToLittleEndian<quint16>(v, buf);
        return QByteArray(buf, 2);
    };
    auto u32 = [&](quint32 v) {
        bigEndian ? qToBigEndian<quint32>(v, buf) : qToLittleEndian<quint32>(v, buf);
        return QByteArray(buf, 4);
    };
    QByteArray tiff(bigEndian ? "MM" : "II", 2);
    tiff += u16(42) + u32(8) + u16(1);
    tiff += u16(0x0112) + u16(3) + u32(1) + u16(quint16(orientation)) + QByteArray(2, '\0');
    tiff += u32(0);

    QByteArray segment("\xFF\xE1", 2);
    const QByteArray body = QByteArray("Exif\0\0", 6) + tiff;
    qToBigEndian<quint16>(quint16(body.size() + 2), buf);
    segment.append(buf, 2);
    segment.append(body);
    return jpeg.left(2) + segment + jpeg.mid(2);
}

bool canWriteAndRead(const char *format)
{
    return QImageWriter::supportedImageFormats().contains(format)
        && QImageReader::supportedImageFormats().contains(format);
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(bytes);
    return file.commit();
}

} // namespace ImageSamples
