// SPDX-License-Identifier: LGPL-2.1-or-later
#include "screengrab.h"
#include "orvscreen_logging.h"

#include <QGuiApplication>

namespace OrvScreen {

GrabBackend grabBackend()
{
    const QByteArray forced = qgetenv("ORV_SCREEN_GRAB").trimmed().toLower();
    if (forced == "portal")
        return GrabBackend::Portal;
    if (forced == "qt")
        return GrabBackend::Qt;
    if (!forced.isEmpty())
        qCWarning(lcOrvScreen) << "ORV_SCREEN_GRAB is neither qt nor portal:" << forced;
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland"))
        || qgetenv("XDG_SESSION_TYPE").trimmed().toLower() == "wayland")
        return GrabBackend::Portal;
    return GrabBackend::Qt;
}

QPixmap desktopPart(const QImage &desktop, const QRect &desktopGeometry, const QRect &screenGeometry)
{
    if (desktop.isNull() || desktopGeometry.isEmpty())
        return {};
    const QRect part = screenGeometry.intersected(desktopGeometry);
    if (part.isEmpty())
        return {};
    const qreal ratioX = qreal(desktop.width()) / desktopGeometry.width();
    const qreal ratioY = qreal(desktop.height()) / desktopGeometry.height();
    if (!qFuzzyCompare(ratioX, ratioY))
        qCWarning(lcOrvScreen) << "desktop picture" << desktop.size() << "is not in proportion to" << desktopGeometry;
    const QPointF offset = part.topLeft() - desktopGeometry.topLeft();
    const QRect source = QRectF(offset.x() * ratioX, offset.y() * ratioY, part.width() * ratioX, part.height() * ratioY)
                             .toAlignedRect()
                             .intersected(desktop.rect());
    QPixmap pixmap = QPixmap::fromImage(desktop.copy(source));
    pixmap.setDevicePixelRatio(ratioX);
    return pixmap;
}

} // namespace OrvScreen
