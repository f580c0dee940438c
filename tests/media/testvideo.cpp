// SPDX-License-Identifier: LGPL-2.1-or-later
#include "testvideo.h"

#include <cstdlib>

QColor centreColour(const QImage &image)
{
    if (image.isNull())
        return {};
    const QRect area(image.width() / 4, image.height() / 4, image.width() / 2, image.height() / 2);
    qint64 r = 0, g = 0, b = 0, n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb p = image.pixel(x, y);
            r += qRed(p);
            g += qGreen(p);
            b += qBlue(p);
            ++n;
        }
    }
    return QColor(int(r / n), int(g / n), int(b / n));
}

static int distance(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

bool sameColour(const QColor &actual, const QColor &expected, const QVector<QColor> &palette)
{
    if (!actual.isValid() || distance(actual, expected) > 60)
        return false;
    for (const QColor &other : palette) {
        if (other != expected && distance(actual, other) <= distance(actual, expected))
            return false;
    }
    return true;
}

QVector<QColor> testPalette()
{
    return {Qt::red, Qt::green, Qt::blue, Qt::yellow, Qt::magenta, Qt::cyan, Qt::white, Qt::black,
            QColor(128, 128, 128), QColor(255, 128, 0)};
}
