// SPDX-License-Identifier: LGPL-2.1-or-later
#include "serverenvironment.h"

#include "orvhttpmanager.h"
#include "orvsettings.h"

#include <QHash>

namespace {

QHash<QPair<int, QString>, QUrl> &hosts()
{
    static QHash<QPair<int, QString>, QUrl> table;
    return table;
}

} // namespace

QStringList ServerEnvironment::knownCodes()
{
    return {QStringLiteral("13"), QStringLiteral("14"), QStringLiteral("15"), QStringLiteral("im"), QStringLiteral("im2")};
}

QString ServerEnvironment::code()
{
    return OrvSettings::instance()->value(QLatin1String(CodeKey)).toString();
}

void ServerEnvironment::setCode(const QString &code)
{
    OrvSettings::instance()->setValue(QLatin1String(CodeKey), code);
}

void ServerEnvironment::setHost(Service service, const QString &code, const QUrl &host)
{
    hosts().insert({int(service), code}, host);
}

QUrl ServerEnvironment::host(Service service)
{
    return host(service, code());
}

QUrl ServerEnvironment::host(Service service, const QString &code)
{
    const QString key = knownCodes().contains(code) ? code : QString();
    QUrl url = hosts().value({int(service), key});
    if (url.isEmpty())
        url = hosts().value({int(service), QString()});
    if (url.isEmpty())
        url = OrvHttpManager::instance()->baseUrl();
    return url;
}

void ServerEnvironment::clearHosts()
{
    hosts().clear();
}
