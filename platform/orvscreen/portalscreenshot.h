// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QObject>
#include <QTimer>

class QDBusPendingCallWatcher;

namespace OrvScreen {

/**
 * A picture of the whole desktop from the desktop portal ("org.freedesktop.portal.Screenshot"
 * on the session bus), for sessions where a client cannot read the screen itself (Wayland).
 *
 * request() asks once; finished() follows exactly once, with the picture or with a null image
 * and the reason (no portal, the user refused, an unreadable file, no answer in time). The
 * portal leaves its file where it chose to put it; it is the user's and stays.
 */
class PortalScreenshot : public QObject
{
    Q_OBJECT
public:
    explicit PortalScreenshot(QObject *parent = nullptr);
    ~PortalScreenshot() override;

    /// False (and nothing follows) while a request is under way.
    bool request(int timeoutMs = 30000);
    bool isRunning() const { return m_running; }

Q_SIGNALS:
    void finished(const QImage &image, const QString &error);

private Q_SLOTS:
    void onResponse(uint response, const QVariantMap &results);

private:
    void listen(const QString &handlePath);
    void stopListening();
    void onCallFinished(QDBusPendingCallWatcher *watcher);
    void finish(const QImage &image, const QString &error);

    bool m_running = false;
    QString m_handlePath;
    QTimer m_timeout;
};

} // namespace OrvScreen
