// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QPixmap>
#include <QSize>
#include <QString>

class QIODevice;
class QMimeData;

/**
 * Utilities of the client shared by its windows: picture loading, the default save folder, the
 * rich-image clipboard form and message box titles.
 *
 * Picture loading decodes straight to the size asked for: a bound makes decoders that can shrink
 * while decoding (JPEG) do so, the picture's EXIF orientation is applied, and a picture whose
 * decoded size would exceed MaxDecodedPixels is refused (decompression bombs). Anything that is not
 * a picture gives a null result and a log line. The QImage functions are safe on any thread; the
 * QPixmap ones where the platform allows pixmaps off the GUI thread (every desktop one does).
 */
class OrvUtils
{
public:
    /// What a decode did, for callers (and tests) that care how a picture was read.
    struct DecodeInfo
    {
        QByteArray format;      ///< "jpeg", "png", "heif", ...; empty when unknown
        QSize storedSize;       ///< as stored in the file, before orientation
        QSize decodedSize;      ///< what the decoder delivered, before any later scaling
        QSize resultSize;       ///< the picture returned, orientation applied
        QSize shownSize;        ///< the whole picture as it shows: stored size, orientation applied
        bool scaledByDecoder = false; ///< the decoder shrank the picture itself
        int bands = 0;          ///< JPEG: bands decoded side by side (restart markers); 1 in one pass
        QString error;          ///< why the result is null
    };

    /// 128 mebipixels (512 MiB as 32-bit pixels).
    static constexpr qint64 MaxDecodedPixels = 128LL * 1024 * 1024;

    /**
     * The picture at path, shrunk (aspect kept, never enlarged) to fit bound when bound is valid,
     * with its EXIF orientation applied. Null on failure, with a log line.
     */
    static QImage loadImageFromPath(const QString &path, const QSize &bound = QSize(), DecodeInfo *info = nullptr);
    static QImage loadImageFromData(const QByteArray &data, const QSize &bound = QSize(), bool autoTransform = true,
                                    DecodeInfo *info = nullptr);
    static QImage loadImageFromDevice(QIODevice *device, const QSize &bound, bool autoTransform, DecodeInfo *info);

    static QPixmap loadFromPath(const QString &path, const QSize &bound = QSize());
    static QPixmap loadFromData(const QByteArray &data, const QSize &bound = QSize(), bool autoTransform = true);

    /**
     * A quick stand-in for a large JPEG: the picture decoded at the smallest of the decoder's own
     * reductions (1/8, 1/4, 1/2) that still covers minSize, which costs no resampling. Null when
     * the format cannot be reduced while decoding or no reduction fits; then load the picture.
     * info->shownSize tells the whole picture's size either way (when the header was readable).
     */
    static QImage loadQuickPreview(const QString &path, const QSize &minSize, DecodeInfo *info = nullptr);

    /// The size the picture shows at (orientation applied), read from its header; invalid when
    /// the file is not a picture.
    static QSize imageSize(const QString &path);
    /// size shrunk to fit bound, aspect kept, never enlarged; at least 1 × 1 for a non-empty size.
    static QSize boundedSize(const QSize &size, const QSize &bound);

    /// Where the client keeps files it downloads for showing (setting "DefaultSaveFilePath", else a
    /// folder of the application's data); created when missing.
    static QString defaultSaveFilePath();
    static constexpr const char *DefaultSaveFilePathKey = "DefaultSaveFilePath";

    /// Adds the rich-text form of a picture file (an HTML <img> of its file URL) to mime data, for
    /// editors that paste pictures from rich text. False for an empty path.
    static bool writeRichImageToMimeData(QMimeData *mimeData, const QString &imagePath);

    /// Title of the client's message boxes.
    static QString getMessageBoxTitle(bool inClassroom = false);
};
