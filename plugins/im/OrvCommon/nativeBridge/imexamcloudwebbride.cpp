// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imexamcloudwebbride.h"

#include "bridgeinput.h"
#include "clouddiskbridge.h"
#include "nativebridge_logging.h"

ImExamCloudWebBride::ImExamCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : ImCloudWebBridge(view, parent, fromType)
{
}

void ImExamCloudWebBride::openSubWidget(const QString &url, const QString &size)
{
    const QUrl address = subPageAddress(url);
    if (address.isEmpty())
        return;
    if (fromType() == FromLauncher)
        Q_EMIT sigOpenExamByLauncher(address.toString());
    else
        Q_EMIT signalOpenSubWidget(address.toString(), size.left(64));
}

void ImExamCloudWebBride::setReloadMainWidgetCbKey(const QString &cbkey)
{
    acceptCallbackKey(cbkey);
    Q_EMIT signalSetReloadMainWidgetCbKey(cbkey);
}

void ImExamCloudWebBride::dataDownload(const QString &urlPath)
{
    Q_EMIT signalDataDownload(urlPath);
}

void ImExamCloudWebBride::exportFiles(const QString &jsonStr)
{
    Q_EMIT signalExportFiles(jsonStr);
}

bool ImExamCloudWebBride::userIdentityHasTeacher()
{
    return CloudDiskBridge::isTeacher();
}

QString ImExamCloudWebBride::businessScenario() const
{
    return QStringLiteral("exam");
}
