// SPDX-License-Identifier: LGPL-2.1-or-later
#include "systembrowser.h"

#include "orvweb_logging.h"

#include <QDesktopServices>

namespace {

SystemBrowser::Opener &opener()
{
    static SystemBrowser::Opener o;
    return o;
}

} // namespace

bool SystemBrowser::isAllowed(const QUrl &url)
{
    // Web pages only: other schemes start programs, open local files or attach them to mail.
    const QString scheme = url.scheme().toLower();
    if (!url.isValid())
        return false;
    return (scheme == QLatin1String("http") || scheme == QLatin1String("https")) && !url.host().isEmpty();
}

bool SystemBrowser::openUrl(const QUrl &url)
{
    if (!isAllowed(url)) {
        qCWarning(lcOrvWeb) << "system browser refuses" << url.toString(QUrl::RemoveQuery | QUrl::RemoveUserInfo).left(200);
        return false;
    }
    const bool ok = opener() ? opener()(url) : QDesktopServices::openUrl(url);
    if (!ok)
        qCWarning(lcOrvWeb) << "system browser could not open" << url.toString(QUrl::RemoveQuery);
    return ok;
}

void SystemBrowser::setOpener(Opener o)
{
    opener() = std::move(o);
}
