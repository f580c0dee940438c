// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "samplevideo.h"

#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>
#include <QVector>

// Videos are written by the samples library, with FFmpeg directly (not through the library
// under test): each second shows one solid colour, so a picture's colour tells which second it is from.
using TestVideo = SampleVideo;

/// Mean colour of the centre of a picture.
QColor centreColour(const QImage &image);
/// True when `actual` is close to `expected` and closer to it than to any other colour in `palette`.
bool sameColour(const QColor &actual, const QColor &expected, const QVector<QColor> &palette);
/// The colours the tests use, distinct after compression.
QVector<QColor> testPalette();
