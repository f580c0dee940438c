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

namespace ImageSamples {

namespace {

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

QByteArray withExifOrientation(const QByteArray &jpeg, int orientation)
{
    if (jpeg.size() < 2 || uchar(jpeg[0]) != 0xFF || uchar(jpeg[1]) != 0xD8)
        return QByteArray();
    // TIFF header (little endian), one IFD with one SHORT entry: 0x0112 Orientation.
    QByteArray tiff;
    tiff.append("II", 2);
    char buf[4];
    qToLittleEndian<quint16>(42, buf);
    tiff.append(buf, 2);
    qToLittleEndian<quint32>(8, buf);
    tiff.append(buf, 4);
    qToLittleEndian<quint16>(1, buf);
    tiff.append(buf, 2);
    qToLittleEndian<quint16>(0x0112, buf);
    tiff.append(buf, 2);
    qToLittleEndian<quint16>(3, buf);
    tiff.append(buf, 2);
    qToLittleEndian<quint32>(1, buf);
    tiff.append(buf, 4);
    qToLittleEndian<quint16>(quint16(orientation), buf);
    tiff.append(buf, 2);
    tiff.append(2, '\0');
    qToLittleEndian<quint32>(0, buf);
    tiff.append(buf, 4);

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
