// SPDX-License-Identifier: LGPL-2.1-or-later
#include "CaptureHelper.h"
#include "orvcommon_logging.h"

#include "screengrab.h"
#ifdef ORV_SCREEN_HAVE_PORTAL
#include "portalscreenshot.h"
#endif

#include <QGuiApplication>
#include <QScreen>

namespace ScreenShot {

CaptureHelper *CaptureHelper::instance()
{
    static QPointer<CaptureHelper> helper;
    if (!helper)
        helper = new CaptureHelper(qApp);
    return helper;
}

CaptureHelper::CaptureHelper(QObject *parent)
    : QObject(parent)
{
}

void CaptureHelper::deliver(const QPixmap &pic, QScreen *screen)
{
    QPointer<QScreen> target(screen);
    QMetaObject::invokeMethod(
        this, [this, pic, target] { Q_EMIT grabWindowFinished(pic, target.data()); }, Qt::QueuedConnection);
}

void CaptureHelper::grab(QScreen *screen)
{
    if (!screen)
        return;
#ifdef ORV_SCREEN_HAVE_PORTAL
    if (OrvScreen::grabBackend() == OrvScreen::GrabBackend::Portal) {
        m_waiting.append(screen);
        if (!m_portal) {
            m_portal = new OrvScreen::PortalScreenshot(this);
            connect(m_portal, &OrvScreen::PortalScreenshot::finished, this, &CaptureHelper::onPortalFinished);
        }
        if (!m_portal->isRunning())
            m_portal->request();
        return;
    }
#endif
    const QPixmap pic = screen->grabWindow(0);
    if (pic.isNull())
        qCWarning(lcScreenshot) << "grab of screen" << screen->name() << screen->geometry() << "is null";
    deliver(pic, screen);
}

void CaptureHelper::onPortalFinished(const QImage &image, const QString &error)
{
    // The portal pictures the whole desktop: each screen gets its part.
    const QList<QPointer<QScreen>> waiting = std::exchange(m_waiting, {});
    for (const QPointer<QScreen> &screen : waiting) {
        if (!screen)
            continue;
        QPixmap part = OrvScreen::desktopPart(image, screen->virtualGeometry(), screen->geometry());
        if (part.isNull())
            qCWarning(lcScreenshot) << "no portal picture for screen" << screen->name() << error;
        Q_EMIT grabWindowFinished(part, screen);
    }
}

} // namespace ScreenShot
