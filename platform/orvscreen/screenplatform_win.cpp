// SPDX-License-Identifier: LGPL-2.1-or-later
// Windows and monitors on Windows: user32 for windows, monitors and modes, dwmapi for frame
// bounds and cloaked windows.
#include "orvscreen_logging.h"
#include "screenplatform_p.h"

#include <QGuiApplication>
#include <QScreen>

#include <windows.h>
#include <dwmapi.h>

namespace OrvScreen {

namespace {

constexpr DWORD CloakedAttribute = 14;     // DWMWA_CLOAKED
constexpr DWORD FrameBoundsAttribute = 9;  // DWMWA_EXTENDED_FRAME_BOUNDS

QRect toLogical(const RECT &r)
{
    const QRect native(r.left, r.top, r.right - r.left, r.bottom - r.top);
    const QScreen *screen = QGuiApplication::screenAt(native.center());
    if (!screen || qFuzzyCompare(screen->devicePixelRatio(), 1.0))
        return native;
    const QPoint origin = screen->geometry().topLeft();
    const qreal ratio = screen->devicePixelRatio();
    return QRectF(origin + QPointF(native.topLeft() - origin) / ratio, QSizeF(native.size()) / ratio).toAlignedRect();
}

bool windowInfo(HWND hwnd, WindowInfo *info)
{
    if (!IsWindowVisible(hwnd) || IsIconic(hwnd))
        return false;
    DWORD cloaked = 0;
    if (SUCCEEDED(DwmGetWindowAttribute(hwnd, CloakedAttribute, &cloaked, sizeof cloaked)) && cloaked)
        return false;
    RECT r {};
    if (FAILED(DwmGetWindowAttribute(hwnd, FrameBoundsAttribute, &r, sizeof r)) && !GetWindowRect(hwnd, &r))
        return false;
    wchar_t title[256] = {};
    GetWindowTextW(hwnd, title, 256);
    info->id = quint64(reinterpret_cast<quintptr>(hwnd));
    info->rect = toLogical(r);
    info->title = QString::fromWCharArray(title);
    return !info->rect.isEmpty();
}

BOOL CALLBACK addChild(HWND hwnd, LPARAM list)
{
    WindowInfo info;
    if (windowInfo(hwnd, &info))
        reinterpret_cast<QVector<WindowInfo> *>(list)->append(info);
    return TRUE;
}

BOOL CALLBACK addTopLevel(HWND hwnd, LPARAM list)
{
    WindowInfo info;
    if (!windowInfo(hwnd, &info))
        return TRUE;
    // Children lie above their window, so they come first.
    EnumChildWindows(hwnd, addChild, list);
    reinterpret_cast<QVector<WindowInfo> *>(list)->append(info);
    return TRUE;
}

class WindowsPlatform : public ScreenPlatform
{
public:
    QString name() const override { return QStringLiteral("windows"); }

    QVector<WindowInfo> windowList(const QScreen *) override
    {
        QVector<WindowInfo> windows; // EnumWindows runs topmost first
        EnumWindows(addTopLevel, reinterpret_cast<LPARAM>(&windows));
        return windows;
    }

    bool monitorMode(const QPoint &globalPos, MonitorMode *mode) override
    {
        const HMONITOR monitor = MonitorFromPoint(POINT {globalPos.x(), globalPos.y()}, MONITOR_DEFAULTTONEAREST);
        MONITORINFOEXW info {};
        info.cbSize = sizeof info;
        if (!monitor || !GetMonitorInfoW(monitor, &info))
            return false;
        DEVMODEW devMode {};
        devMode.dmSize = sizeof devMode;
        if (!EnumDisplaySettingsW(info.szDevice, ENUM_CURRENT_SETTINGS, &devMode))
            return false;
        const RECT &r = info.rcMonitor;
        mode->id = quint64(reinterpret_cast<quintptr>(monitor));
        mode->mode = QSize(int(devMode.dmPelsWidth), int(devMode.dmPelsHeight));
        mode->logical = QRect(r.left, r.top, r.right - r.left, r.bottom - r.top);
        return true;
    }

    bool isDpiAdapted() override { return IsProcessDPIAware() || anyScreenScaled(); }
};

} // namespace

ScreenPlatform *createWindowsPlatform()
{
    return new WindowsPlatform;
}

} // namespace OrvScreen
