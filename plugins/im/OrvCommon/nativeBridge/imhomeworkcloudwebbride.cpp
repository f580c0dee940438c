// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imhomeworkcloudwebbride.h"

ImHomeworkCloudWebBride::ImHomeworkCloudWebBride(OrvWebView *view, QObject *parent,
                                                 WebSubWindowBridge::FromType fromType)
    : ImCloudWebBridge(view, parent, fromType)
{
}

void ImHomeworkCloudWebBride::openSubWidget(const QString &url, const QString &size)
{
    const QUrl address = subPageAddress(url);
    if (address.isEmpty())
        return;
    if (fromType() == FromLauncher)
        Q_EMIT sigOpenHomeworkByLauncher(address.toString());
    else
        Q_EMIT signalOpenSubWidget(address.toString(), size.left(64));
}

void ImHomeworkCloudWebBride::setReloadMainWidgetCbKey(const QString &cbkey)
{
    acceptCallbackKey(cbkey);
    Q_EMIT signalSetReloadMainWidgetCbKey(cbkey);
}

QString ImHomeworkCloudWebBride::businessScenario() const
{
    return QStringLiteral("homework");
}
