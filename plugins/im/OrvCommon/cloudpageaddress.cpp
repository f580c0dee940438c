// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudpageaddress.h"

#include "orvhttpmanager.h"
#include "orvsettings.h"
#include "orvwebview.h"

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
    const QString scheme = debug.scheme().toLower();
    if (debug.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        || url.scheme() == QLatin1String("file"))
        return url;
    QUrl out = url;
    out.setScheme(debug.scheme());
    out.setHost(debug.host());
    out.setPort(debug.port());
    trust(out);
    return out;
}

void CloudPageAddress::trust(const QUrl &url)
{
    if (!OrvWebView::isTrustedUrl(url))
        OrvWebView::addTrustedOrigin(url);
}
