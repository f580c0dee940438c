// SPDX-License-Identifier: LGPL-2.1-or-later
// Mouse gestures on the annotation layer, sent as the window system sends them.
#pragma once

#include "orvpainter.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QWidget>

namespace EditorTest {

inline void send(QWidget *target, QEvent::Type type, const QPoint &pos, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, target->mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

/// A press at points.first(), moves through the others, a release at the last.
inline void drag(QWidget *target, const QVector<QPoint> &points)
{
    if (points.isEmpty())
        return;
    send(target, QEvent::MouseButtonPress, points.first(), Qt::LeftButton, Qt::LeftButton);
    for (int i = 1; i < points.size(); ++i)
        send(target, QEvent::MouseMove, points.at(i), Qt::NoButton, Qt::LeftButton);
    send(target, QEvent::MouseButtonRelease, points.last(), Qt::LeftButton, Qt::NoButton);
}

/// A straight drag in steps.
inline void drag(QWidget *target, const QPoint &from, const QPoint &to, int steps = 8)
{
    QVector<QPoint> points;
    for (int i = 0; i <= steps; ++i)
        points.append(from + (to - from) * i / steps);
    drag(target, points);
}

inline void click(QWidget *target, const QPoint &pos)
{
    drag(target, QVector<QPoint>{pos});
}

/// Where a picture pixel shows on the layer's viewport.
inline QPoint onLayer(OrvPainterBase::OrvPainter *painter, const QPointF &picturePoint)
{
    return painter->mapFromScene(picturePoint);
}

/// How far a colour is from another, channel by channel.
inline int distance(QRgb a, QRgb b)
{
    return qMax(qMax(qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b))), qAbs(qBlue(a) - qBlue(b)));
}

inline QImage plain(const QSize &size, const QColor &color = Qt::white)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

} // namespace EditorTest

#include <QtEndian>
#include <zlib.h>

namespace EditorTest {

inline QByteArray pngChunk(const char *type, const QByteArray &data)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(data.size()), out.data());
    const QByteArray body = QByteArray(type, 4) + data;
    out += body;
    QByteArray crc(4, '\0');
    qToBigEndian<quint32>(quint32(crc32(0, reinterpret_cast<const Bytef *>(body.constData()), uInt(body.size()))),
                          crc.data());
    return out + crc;
}

/// A small PNG whose header claims width × height (a decompression bomb's shape).
inline QByteArray pngClaiming(quint32 width, quint32 height)
{
    QByteArray ihdr(13, '\0');
    qToBigEndian<quint32>(width, ihdr.data());
    qToBigEndian<quint32>(height, ihdr.data() + 4);
    ihdr[8] = 8;
    ihdr[9] = 6;
    const QByteArray idat = qCompress(QByteArray(64, '\0')).mid(4);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", ihdr) + pngChunk("IDAT", idat)
        + pngChunk("IEND", QByteArray());
}

/// Pixels of image inside rect that are not white (ink).
inline int inkIn(const QImage &image, const QRect &rect)
{
    int count = 0;
    const QRect r = rect & image.rect();
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            count += distance(image.pixel(x, y), qRgb(255, 255, 255)) > 60 ? 1 : 0;
    return count;
}

} // namespace EditorTest
