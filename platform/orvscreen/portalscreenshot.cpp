// SPDX-License-Identifier: LGPL-2.1-or-later
#include "portalscreenshot.h"
#include "orvscreen_logging.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QImageReader>
#include <QRandomGenerator>
#include <QUrl>

namespace OrvScreen {

namespace {
const QString PortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString PortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString ScreenshotInterface = QStringLiteral("org.freedesktop.portal.Screenshot");
const QString RequestInterface = QStringLiteral("org.freedesktop.portal.Request");
} // namespace

PortalScreenshot::PortalScreenshot(QObject *parent)
    : QObject(parent)
{
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, [this] { finish({}, QStringLiteral("the desktop portal did not answer")); });
}

PortalScreenshot::~PortalScreenshot()
{
    stopListening();
}

bool PortalScreenshot::request(int timeoutMs)
{
    if (m_running)
        return false;
    QDBusConnection bus = QDBusConnection::sessionBus();
    m_running = true;
    if (!bus.isConnected()) {
        // Answer on the next turn, as for every other outcome.
        QMetaObject::invokeMethod(this, [this] { finish({}, QStringLiteral("no session bus")); }, Qt::QueuedConnection);
        return true;
    }
    // The portal answers on a request object whose path follows from our bus name and a token;
    // listen there before asking, so an early answer is not missed.
    const QString token = QStringLiteral("orv%1").arg(QRandomGenerator::global()->generate());
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    listen(QStringLiteral("%1/request/%2/%3").arg(PortalPath, sender, token));

    QDBusMessage call = QDBusMessage::createMethodCall(PortalService, PortalPath, ScreenshotInterface, QStringLiteral("Screenshot"));
    const QVariantMap options {{QStringLiteral("handle_token"), token},
                               {QStringLiteral("interactive"), false},
                               {QStringLiteral("modal"), false}};
    call << QString() << options;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &PortalScreenshot::onCallFinished);
    m_timeout.start(timeoutMs);
    qCInfo(lcOrvScreen) << "portal screenshot requested";
    return true;
}

void PortalScreenshot::listen(const QString &handlePath)
{
    stopListening();
    m_handlePath = handlePath;
    QDBusConnection::sessionBus().connect(PortalService, m_handlePath, RequestInterface, QStringLiteral("Response"), this,
                                          SLOT(onResponse(uint, QVariantMap)));
}

void PortalScreenshot::stopListening()
{
    if (m_handlePath.isEmpty())
        return;
    QDBusConnection::sessionBus().disconnect(PortalService, m_handlePath, RequestInterface, QStringLiteral("Response"), this,
                                             SLOT(onResponse(uint, QVariantMap)));
    m_handlePath.clear();
}

void PortalScreenshot::onCallFinished(QDBusPendingCallWatcher *watcher)
{
    watcher->deleteLater();
    if (!m_running)
        return;
    QDBusPendingReply<QDBusObjectPath> answer = *watcher;
    if (answer.isError()) {
        finish({}, QStringLiteral("desktop portal: %1 %2").arg(answer.error().name(), answer.error().message()));
        return;
    }
    // Older portals choose the request path themselves.
    const QString path = answer.value().path();
    if (path != m_handlePath)
        listen(path);
}

void PortalScreenshot::onResponse(uint response, const QVariantMap &results)
{
    if (!m_running)
        return;
    if (response != 0) {
        finish({}, response == 1 ? QStringLiteral("the screenshot was refused") : QStringLiteral("the desktop portal failed"));
        return;
    }
    const QUrl uri(results.value(QStringLiteral("uri")).toString());
    if (!uri.isLocalFile()) {
        finish({}, QStringLiteral("the desktop portal gave no local file: %1").arg(uri.toString()));
        return;
    }
    QImageReader reader(uri.toLocalFile());
    const QImage image = reader.read();
    if (image.isNull()) {
        finish({}, QStringLiteral("cannot read the portal's picture %1: %2").arg(uri.toLocalFile(), reader.errorString()));
        return;
    }
    finish(image, QString());
}

void PortalScreenshot::finish(const QImage &image, const QString &error)
{
    if (!m_running)
        return;
    m_running = false;
    m_timeout.stop();
    stopListening();
    if (image.isNull())
        qCWarning(lcOrvScreen) << "portal screenshot:" << error;
    else
        qCInfo(lcOrvScreen) << "portal screenshot:" << image.size();
    Q_EMIT finished(image, error);
}

} // namespace OrvScreen
