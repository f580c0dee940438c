// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>

/**
 * Pictures made on the spot for the demo host, the tests and the benchmarks, so no picture file of
 * unknown origin is needed: a camera-like scene (sky, hills, a sun, leaves, fine sensor noise),
 * a probe whose four quadrants have four colours (to check orientation by pixels), and EXIF
 * orientation tags added to a JPEG.
 */
namespace ImageSamples {

/// A photograph-like scene of the given size; the same seed gives the same picture.
QImage cameraLike(const QSize &size, quint32 seed = 1);

/// Quadrants, clockwise from the top left: red, green, blue, yellow.
QImage quadrantProbe(const QSize &size);
QColor quadrantColor(int quadrant);

/// The image encoded in a format ("jpg", "png", "webp", "heif", "avif", ...); empty when no
/// writer for it is installed or encoding failed.
QByteArray encode(const QImage &image, const char *format, int quality = 90);

/// How encodeJpeg() lays a JPEG out, as cameras and editors choose differently.
struct JpegLayout
{
    int quality = 90;
    int restartRows = 0;          ///< restart marker every n MCU rows; 0 for none
    int restartMcus = 0;          ///< or every n MCUs (when restartRows is 0)
    enum Chroma { Yuv420, Yuv422, Yuv444 } chroma = Yuv420;
    bool progressive = false;
    bool grey = false;
};

/// The image as a JPEG written by libjpeg with that layout; empty on failure.
QByteArray encodeJpeg(const QImage &image, const JpegLayout &layout);

/// The JPEG with an EXIF block (APP1) that holds only the orientation tag (1 to 8), in Intel or
/// Motorola byte order.
QByteArray withExifOrientation(const QByteArray &jpeg, int orientation, bool bigEndian = false);

/// Whether a writer and a reader for the format are installed (HEIF and AVIF depend on the plug-ins).
bool canWriteAndRead(const char *format);

/// Writes bytes to path (folders created); false when that failed.
bool writeFile(const QString &path, const QByteArray &bytes);

} // namespace ImageSamples
