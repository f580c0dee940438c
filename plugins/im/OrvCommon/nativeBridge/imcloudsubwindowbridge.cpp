// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imcloudsubwindowbridge.h"

#include "bridgepreview.h"
#include "websubwindow.h"

ImCloudSubWindowBridge::ImCloudSubWindowBridge(OrvWebView *view, QObject *parent)
    : WebSubWindowBridge(view, parent)
{
}

void ImCloudSubWindowBridge::previewFile(const QString &fileId, const QString &uid, const QString &fileName)
{
    BridgePreview::previewFile(fileId, uid, fileName);
}

void ImCloudSubWindowBridge::viewFileList(const QString &files, int index)
{
    BridgePreview::viewFileList(files, index);
}

void ImCloudSubWindowBridge::imgsView(const QString &data)
{
    BridgePreview::imgsView(data);
}

void ImCloudSubWindowBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    window->initWebBridge(new ImCloudSubWindowBridge(window->webView(), window), QStringLiteral("myCloudDiskWindow"));
}
