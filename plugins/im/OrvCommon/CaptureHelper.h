// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QScreen>

class QScreen;

namespace OrvScreen {
class PortalScreenshot;
}

namespace ScreenShot {

/**
 * Delivers screen grabs to the capture overlays, always queued. Qt's grab is taken at once, so
 * it shows the screen as it was before any overlay appeared; where Qt cannot read the screen
 * (Wayland) one desktop portal request serves every screen asking meanwhile. A failed grab is
 * delivered as a null picture.
 */
class CaptureHelper : public QObject
{
    Q_OBJECT
public:
    static CaptureHelper *instance();

    void grab(QScreen *screen);

Q_SIGNALS:
    void grabWindowFinished(QPixmap pic, QScreen *screen);

private:
    explicit CaptureHelper(QObject *parent = nullptr);
    void deliver(const QPixmap &pic, QScreen *screen);
    void onPortalFinished(const QImage &image, const QString &error);

#ifdef ORV_SCREEN_HAVE_PORTAL
    OrvScreen::PortalScreenshot *m_portal = nullptr;
#endif
    QList<QPointer<QScreen>> m_waiting;
};

} // namespace ScreenShot
