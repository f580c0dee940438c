// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imcloudwebbridge.h"

#include "bridgeinput.h"
#include "bridgepreview.h"
#include "imcloudsubwindowbridge.h"
#include "imexamcloudwebbride.h"
#include "imsignalobject.h"
#include "nativebridge_logging.h"
#include "websubwindow.h"

ImCloudWebBridge::ImCloudWebBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : ExamBaseBridge(view, parent, fromType)
{
}

void ImCloudWebBridge::downloadFile(const QString &fileId, const QString &sourceUrl, const QString &fileName,
                                    const QString &iconBase64Data)
{
    Q_EMIT signalDownloadFile(fileId, sourceUrl, fileName, iconBase64Data);
}

void ImCloudWebBridge::shareFile(const QString &data)
{
    Q_EMIT signalShareFile(data);
}

void ImCloudWebBridge::previewFile(const QString &fileId, const QString &uid, const QString &fileName)
{
    BridgePreview::previewFile(fileId, uid, fileName);
}

void ImCloudWebBridge::viewFileList(const QString &files, int index)
{
    BridgePreview::viewFileList(files, index);
}

void ImCloudWebBridge::webShare(const QString &jsonStr)
{
    Q_EMIT signalWebShare(jsonStr);
}

void ImCloudWebBridge::openResourceCenterFolder()
{
    Q_EMIT signalOpenResourceCenterFolder(QString());
}

void ImCloudWebBridge::openResourceCenterFolder(const QString &data)
{
    Q_EMIT signalOpenResourceCenterFolder(data);
}

void ImCloudWebBridge::imgsView(const QString &data)
{
    BridgePreview::imgsView(data);
}

void ImCloudWebBridge::buildEdb()
{
    qCInfo(lcBridge) << "ImCloudWebBridge::buildEdb--------------------->";
}

void ImCloudWebBridge::shareEdoc()
{
    qCInfo(lcBridge) << "ImCloudWebBridge:shareEdoc";
}

void ImCloudWebBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    if (request.value(QStringLiteral("source")).toInt() == 2) {
        auto *exam = new ImExamCloudWebBride(window->webView(), window, FromImCloudPage);
        window->initWebBridge(exam, QStringLiteral("myExam"));
        connect(exam, &ImExamCloudWebBride::signalExportFiles, this, [this](const QString &jsonStr) {
            if (m_exportFilesHandler)
                m_exportFilesHandler(jsonStr);
            else
                qCWarning(lcBridge) << "exportFiles from an exam window: no host exports files";
        });
        connect(exam, &ImExamCloudWebBride::signalOpenSubWidget, window, [window](const QString &url, const QString &size) {
            Q_EMIT ImSignalObject::instance()->openExamSubWidget(window, url, BridgeInput::windowSize(size));
        });
        return;
    }
    window->initWebBridge(new ImCloudSubWindowBridge(window->webView(), window), QStringLiteral("myCloudDiskWindow"));
}
