// SPDX-License-Identifier: LGPL-2.1-or-later
#include "homeworkcloudwebbride.h"

#include "ipptmgr.h"

HomeworkCloudWebBride::HomeworkCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : CloudDiskBridge(view, fromType, parent)
{
    // Pictures of answers go up from here: the exam pages' time, not the cloud disk's.
    setLoadingTimeout(LoadingTimeoutMs);
}

void HomeworkCloudWebBride::openHomework(const QString &url)
{
    if (refusedByClassroom())
        return;
    const QUrl address = subPageAddress(url);
    if (address.isEmpty())
        return;
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    mgr->openUrl(address);
    Q_EMIT hideCloudDisk();
}

void HomeworkCloudWebBride::openSubWidget(const QString &url, const QString &size)
{
    openClassroomSubWidget(url, size);
}

void HomeworkCloudWebBride::setReloadMainWidgetCbKey(const QString &cbkey)
{
    acceptCallbackKey(cbkey);
    Q_EMIT signalSetReloadMainWidgetCbKey(cbkey);
}

QString HomeworkCloudWebBride::businessScenario() const
{
    return QStringLiteral("homework");
}

void HomeworkCloudWebBride::loadingTimeOutSlot()
{
    ExamBaseBridge::loadingTimeOutSlot();
}
