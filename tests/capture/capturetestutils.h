// SPDX-License-Identifier: LGPL-2.1-or-later
// Helpers of the capture tests: known content on the screens, mouse input for the overlays.
#pragma once

#include "ScreenshotWidget.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTest>
#include <QWidget>
#include <cmath>

namespace CaptureTest {

/// The colour the pattern has at a global position; different per seed, smooth enough for JPEG.
inline QRgb patternAt(const QPoint &p, int seed)
{
    return qRgb((p.x() / 3 + seed * 40) % 256, (p.y() / 3 + seed * 90) % 256, ((p.x() + p.y()) / 8 + seed * 70) % 256);
}

inline QImage patternImage(const QRect &global, int seed)
{
    QImage image(global.size(), QImage::Format_RGB32);
    for (int y = 0; y < global.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < global.width(); ++x)
            line[x] = patternAt(global.topLeft() + QPoint(x, y), seed);
    }
    return image;
}

/// A frameless window covering a screen with the pattern, so grabs have known pixels.
class PatternWindow : public QWidget
{
public:
    PatternWindow(QScreen *screen, int seed)
        : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint)
        , m_image(patternImage(screen->geometry(), seed))
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
        create();
        windowHandle()->setScreen(screen);
        setGeometry(screen->geometry());
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.drawImage(0, 0, m_image);
    }

private:
    QImage m_image;
};

/// True when the screen shows the pattern at `global` (a few probes).
inline bool screenShows(QScreen *screen, const QRect &global, int seed)
{
    const QImage grab = screen->grabWindow(0).toImage();
    const QPoint origin = screen->geometry().topLeft();
    for (const QPoint &p : {global.topLeft(), global.center(), global.bottomRight()}) {
        const QPoint local = (p - origin) * screen->devicePixelRatio();
        if (!grab.rect().contains(local) || grab.pixel(local) != patternAt(p, seed))
            return false;
    }
    return true;
}

inline void sendMouse(QWidget *target, QEvent::Type type, const QPoint &global, Qt::MouseButton button,
                      Qt::MouseButtons buttons)
{
    QMouseEvent event(type, target->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
}

inline void press(QWidget *w, const QPoint &g) { sendMouse(w, QEvent::MouseButtonPress, g, Qt::LeftButton, Qt::LeftButton); }
inline void moveHeld(QWidget *w, const QPoint &g) { sendMouse(w, QEvent::MouseMove, g, Qt::NoButton, Qt::LeftButton); }
inline void hover(QWidget *w, const QPoint &g) { sendMouse(w, QEvent::MouseMove, g, Qt::NoButton, Qt::NoButton); }
inline void release(QWidget *w, const QPoint &g) { sendMouse(w, QEvent::MouseButtonRelease, g, Qt::LeftButton, Qt::NoButton); }

/// Press at `from`, move in two steps to `to`, release.
inline void drag(QWidget *w, const QPoint &from, const QPoint &to)
{
    press(w, from);
    moveHeld(w, (from + to) / 2);
    moveHeld(w, to);
    release(w, to);
}

inline void doubleClick(QWidget *w, const QPoint &g)
{
    press(w, g);
    release(w, g);
    sendMouse(w, QEvent::MouseButtonDblClick, g, Qt::LeftButton, Qt::LeftButton);
    release(w, g);
}

/// The open overlay covering `global`, once it has its grab.
inline ScreenShot::ScreenshotWidget *overlayAt(const QPoint &global, QScreen *screen = nullptr)
{
    for (ScreenShot::ScreenshotWidget *o : ScreenShot::ScreenshotWidget::overlays()) {
        if (o->hasGrab() && o->captureArea().contains(global) && (!screen || o->captureScreen() == screen))
            return o;
    }
    return nullptr;
}

inline bool allOverlaysReady()
{
    const auto overlays = ScreenShot::ScreenshotWidget::overlays();
    if (overlays.isEmpty())
        return false;
    for (ScreenShot::ScreenshotWidget *o : overlays) {
        if (!o->hasGrab() || !o->isVisible())
            return false;
    }
    return true;
}

/// Largest difference of any channel, and the mean over all channels, between two pictures of one size.
inline QPair<int, double> difference(const QImage &a, const QImage &b)
{
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    int worst = 0;
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            const int d[3] = {std::abs(qRed(p[col]) - qRed(q[col])), std::abs(qGreen(p[col]) - qGreen(q[col])),
                              std::abs(qBlue(p[col]) - qBlue(q[col]))};
            worst = std::max({worst, d[0], d[1], d[2]});
            sum += d[0] + d[1] + d[2];
        }
    }
    const double count = 3.0 * x.width() * x.height();
    return {worst, count > 0 ? sum / count : 0};
}

} // namespace CaptureTest
