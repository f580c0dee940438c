// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QSize>
#include <QString>
#include <QVector>

/**
 * Writes short synthetic videos with FFmpeg, for the demo host and the tests: each second shows
 * one solid colour (so a picture's colour tells which second it is from), with an optional mono
 * tone as long as the pictures.
 */
struct SampleVideo {
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
