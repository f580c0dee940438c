// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QImageIOHandler>
#include <QScopedPointer>
#include <QSize>
#include <QString>

/**
 * JPEG decoding straight through libjpeg(-turbo), for the picture windows' speed.
 *
 * The header is read once from memory (the caller's bytes, usually a mapped file; nothing is
 * copied), the decoder's own reductions (n/8) are used, rows land directly in a QImage (RGB32 or
 * Grayscale8), and a file that carries restart markers is decoded in horizontal bands side by
 * side: each band starts at a restart marker, so bands need no earlier bits.
 *
 * A file whose data runs out before its end is reported as truncated; a progressive file that
 * would need more than MaxMemory for its coefficients is refused before anything is allocated.
 * CMYK and YCCK pictures are not handled here (isSupported() is false): decode those with Qt.
 */
class OrvJpegDecoder
{
public:
    /// What libjpeg may allocate for one picture (coefficient buffers of progressive files).
    static constexpr qint64 MaxMemory = 768LL * 1024 * 1024;

    OrvJpegDecoder(const uchar *data, qsizetype size);
    ~OrvJpegDecoder();
    OrvJpegDecoder(const OrvJpegDecoder &) = delete;
    OrvJpegDecoder &operator=(const OrvJpegDecoder &) = delete;

    /// Whether bytes start like a JPEG (SOI and a marker).
    static bool looksLikeJpeg(const uchar *data, qsizetype size);

    /// Reads the header; false (errorString() says why) when it is not a readable JPEG.
    bool readHeader();
    /// As stored, before orientation.
    QSize storedSize() const;
    /// From the EXIF block; none when there is none.
    QImageIOHandler::Transformations orientation() const;
    /// Grey, YCbCr and RGB pictures are; CMYK and YCCK are not.
    bool isSupported() const;
    bool isProgressive() const;
    /// MCUs between restart markers; 0 without them.
    int restartInterval() const;

    /// The size decode() delivers at scale/8 (1 to 8).
    QSize scaledSize(int eighths) const;
    /**
     * The picture reduced to eighths/8 (1 to 8), on up to maxThreads threads (the calling one
     * included) when restart markers allow. Null on failure (errorString(), isTruncated()).
     */
    QImage decode(int eighths, int maxThreads = 0);
    /// Bands the last decode() ran in; 1 when in one pass.
    int bandCount() const;
    /// The last decode() stopped because the data ended early.
    bool isTruncated() const;
    /// The last decode() would have needed more than MaxMemory.
    bool isTooLarge() const;
    QString errorString() const;

private:
    struct Private;
    QScopedPointer<Private> d;
};
