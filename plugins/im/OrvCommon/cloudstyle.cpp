// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudstyle.h"

#include "orvcommon_logging.h"
#include "orvsettings.h"

#include <QFile>

OrvWebView::Theme CloudStyle::theme()
{
    const QString value = OrvSettings::instance()->value(QLatin1String(ThemeKey)).toString();
    return value.compare(QLatin1String("dark"), Qt::CaseInsensitive) == 0 ? OrvWebView::Dark : OrvWebView::Light;
}

QString CloudStyle::styleSheet(const QString &name)
{
    return styleSheet(name, theme());
}

QString CloudStyle::styleSheet(const QString &name, OrvWebView::Theme theme)
{
    const QString path = QStringLiteral(":/im/qss/OrvCommon/%1_%2.qss")
                             .arg(name, theme == OrvWebView::Dark ? QStringLiteral("dark") : QStringLiteral("light"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvCommon) << "no style sheet" << path;
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}
