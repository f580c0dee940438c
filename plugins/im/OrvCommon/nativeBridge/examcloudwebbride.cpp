// SPDX-License-Identifier: LGPL-2.1-or-later
#include "examcloudwebbride.h"

#include "bridgeinput.h"
#include "bridgepreview.h"
#include "ipptmgr.h"
#include "nativebridge_logging.h"
#include "webcallbackscript.h"

ExamCloudWebBride::ExamCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : CloudDiskBridge(view, fromType, parent)
{
    // Pictures of answers go up from here: the exam pages' time, not the cloud disk's.
    setLoadingTimeout(LoadingTimeoutMs);
}

void ExamCloudWebBride::linkSync(const QString &jsonStr)
{
    QJsonObject request;
    if (!BridgeInput::parseObject(jsonStr, &request)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    if (refusedByClassroom())
        return;
    const QUrl address = subPageAddress(BridgeInput::text(request, QStringLiteral("url")));
    if (address.isEmpty())
        return;
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    // The board gets the address checked here, not whatever else the page put in.
    QJsonObject share{{QStringLiteral("url"), address.toString()}};
    const QString title = BridgeInput::text(request, QStringLiteral("title"));
    if (!title.isEmpty())
        share.insert(QStringLiteral("title"), title.left(256));
    mgr->shareUrl(WebCallbackScript::compact(share), QString());
    Q_EMIT hideCloudDisk();
}

void ExamCloudWebBride::imgsView(const QString &data)
{
    BridgePreview::imgsView(data);
}

void ExamCloudWebBride::openSubWidget(const QString &url, const QString &size)
{
    openClassroomSubWidget(url, size);
}

void ExamCloudWebBride::setReloadMainWidgetCbKey(const QString &cbkey)
{
    acceptCallbackKey(cbkey);
    Q_EMIT signalSetReloadMainWidgetCbKey(cbkey);
}

QString ExamCloudWebBride::businessScenario() const
{
    return QStringLiteral("exam");
}

void ExamCloudWebBride::loadingTimeOutSlot()
{
    ExamBaseBridge::loadingTimeOutSlot();
}
