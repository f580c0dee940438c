// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QPixmap>
#include <QRect>

namespace OrvScreen {

enum class GrabBackend {
    Qt,     ///< QScreen::grabWindow: X11, Windows
    Portal, ///< the desktop portal (PortalScreenshot): Wayland sessions
};

/// The portal in a Wayland session (also under XWayland, where Qt reads only X windows), Qt
/// elsewhere. ORV_SCREEN_GRAB=qt or =portal decides instead.
GrabBackend grabBackend();

/// The part of a picture of the whole desktop (`desktopGeometry`, logical) that shows
/// `screenGeometry`, with the picture's ratio of pixels to logical size as device pixel ratio.
/// Null when the screen lies outside the desktop or the picture is null.
QPixmap desktopPart(const QImage &desktop, const QRect &desktopGeometry, const QRect &screenGeometry);

} // namespace OrvScreen
