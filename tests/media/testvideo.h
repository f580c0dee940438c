// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>
#include <QVector>

// Writes small videos for the media tests with FFmpeg directly (not through the library under
// test): each second shows one solid colour, so a picture's colour tells which second it is from.
struct TestVideo {
    QVector<QColor> seconds; ///< one colour per second of video
    int fps = 10;
    int gop = 5;             ///< a keyframe every `gop` pictures
    QSize size{160, 120};
    bool h264 = false;       ///< H.264 instead of MPEG-4 Part 2
    bool audio = true;       ///< a mono AAC tone as long as the pictures
    bool video = true;       ///< false: sound only (still `seconds` long), a media file without pictures

    /// Writes the video to `path` (container from the suffix). Returns an error text, empty on success.
    QString write(const QString &path) const;
};

/// Mean colour of the centre of a picture.
QColor centreColour(const QImage &image);
/// True when `actual` is close to `expected` and closer to it than to any other colour in `palette`.
bool sameColour(const QColor &actual, const QColor &expected, const QVector<QColor> &palette);
/// The colours the tests use, distinct after compression.
QVector<QColor> testPalette();
