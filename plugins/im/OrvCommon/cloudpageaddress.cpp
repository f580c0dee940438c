// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudpageaddress.h"

#include "orvhttpmanager.h"
#include "orvsettings.h"

QUrl CloudPageAddress::join(const QString &path)
{
    QUrl base = OrvHttpManager::instance()->baseUrl();
    if (!base.path().endsWith(QLatin1Char('/')))
        base.setPath(base.path() + QLatin1Char('/'));
    return applyDebugHook(base.resolved(QUrl(path)));
}

QUrl CloudPageAddress::applyDebugHook(const QUrl &url)
{
    const QUrl debug(OrvSettings::instance()->value(QLatin1String(DebugAddressKey)).toString());
    if (debug.isEmpty() || !debug.isValid() || debug.host().isEmpty() || url.scheme() == QLatin1String("file"))
        return url;
    QUrl out = url;
    out.setScheme(debug.scheme());
    out.setHost(debug.host());
    out.setPort(debug.port());
    return out;
}
