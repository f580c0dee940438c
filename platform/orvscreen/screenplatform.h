// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QVector>

class QScreen;

/**
 * What screen capture needs of the windowing system: the open windows (for snapping a selection
 * to a window), the real mode of a monitor (to tell whether the system stretches this process's
 * pixels) and whether this process draws at the monitors' scale itself. One implementation per
 * windowing system (X11 through xcb, Windows through user32 and dwmapi); elsewhere a platform
 * that knows no windows and no modes.
 *
 * GUI thread only, after the QGuiApplication exists.
 */
namespace OrvScreen {

/// A top-level window as the desktop shows it.
struct WindowInfo
{
    quint64 id = 0;  ///< native id (X11 client window, HWND)
    QRect rect;      ///< outer frame, in the logical coordinates of QScreen::geometry()
    QString title;
};

/// The mode a monitor really runs at, and the part of the desktop it covers for this process.
struct MonitorMode
{
    quint64 id = 0;  ///< which monitor (RandR CRTC, HMONITOR); stable while the layout stays
    QSize mode;      ///< pixels the monitor shows
    QRect logical;   ///< what it covers on this process's desktop
};

class ScreenPlatform
{
public:
    virtual ~ScreenPlatform() = default;

    /// "x11", "windows" or "none".
    virtual QString name() const = 0;
    /// Top-level windows of the desktop `screen` belongs to, topmost first, without unmapped,
    /// hidden and minimised ones.
    virtual QVector<WindowInfo> windowList(const QScreen *screen) = 0;
    /// The monitor at `globalPos` (or the nearest one); false when the system does not say.
    virtual bool monitorMode(const QPoint &globalPos, MonitorMode *mode) = 0;
    /// True when this process draws at the monitors' scale itself, so the system does not
    /// stretch its pixels.
    virtual bool isDpiAdapted() = 0;

    /// The implementation for the running Qt platform; owned by the library.
    static ScreenPlatform *instance();
};

QVector<WindowInfo> windowList(const QScreen *screen);

/// Index of the topmost window of `windows` (topmost first) that contains `pos`; -1 when none.
int windowAt(const QVector<WindowInfo> &windows, const QPoint &pos);

/// How much the system stretches this process's pixels on the monitor at `globalPos`: the
/// monitor's mode against its logical size, bounded to 1.0 .. 1.5. 1.0 when Qt's high-DPI scaling
/// is on or nothing is known. Cached per monitor until the screens change.
double monitorScale(const QPoint &globalPos);
/// The bounded ratio of `mode` to `logical` (the larger of width and height ratios).
double scaleFromMode(const QSize &mode, const QSize &logical);
void clearMonitorScaleCache();

/// Qt scales this process's drawing: the high-DPI attribute, or the environment that turns
/// Qt's scaling on.
bool isHighDpiScalingOn();
bool isDpiAdapted();

} // namespace OrvScreen
