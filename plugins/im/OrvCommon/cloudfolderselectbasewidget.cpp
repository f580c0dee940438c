// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfolderselectbasewidget.h"

#include "cloudfolderselectwebbridge.h"
#include "cloudpageaddress.h"
#include "cloudstyle.h"
#include "orvcommon_logging.h"
#include "orvwebview.h"

CloudFolderSelectBaseWidget::CloudFolderSelectBaseWidget(QWidget *parent)
    : QTabWidget(parent)
{
    setObjectName(QStringLiteral("CloudFolderSelectBaseWidget"));
    setAutoFillBackground(true);
    resize(FrameWidth, FrameHeight);
    setStyleSheet(CloudStyle::styleSheet(QStringLiteral("CloudFolderSelectBaseWidget")));
}

OrvWebView *CloudFolderSelectBaseWidget::createWebView(QWidget *parent, const QString &bridgeName, const QString &address)
{
    auto *view = new OrvWebView(CloudStyle::theme(), parent);
    auto *bridge = new CloudFolderSelectWebBridge(view, view);
    view->registerObject(bridge, bridgeName);
    connect(bridge, &CloudFolderSelectWebBridge::signalSelectFolder, this, &CloudFolderSelectBaseWidget::selectFolder);
    connect(bridge, &CloudFolderSelectWebBridge::signalCancel, this, &CloudFolderSelectBaseWidget::cancel);
    connect(bridge, &CloudFolderSelectWebBridge::signalSelectedCategoryIds, this,
            &CloudFolderSelectBaseWidget::onSelectedCategoryIds);
    view->setProperty("currentUrl", address);
    const QUrl url = CloudPageAddress::join(address);
    qCInfo(lcOrvCommon) << "cloud folder picker page" << url.toString(QUrl::RemoveQuery) << "as" << bridgeName;
    view->load(url);
    return view;
}

void CloudFolderSelectBaseWidget::selectFolder(qint64 id)
{
    m_folderId = id;
    Q_EMIT signalOk();
}

void CloudFolderSelectBaseWidget::cancel()
{
    Q_EMIT signalCancel();
}

void CloudFolderSelectBaseWidget::onSelectedCategoryIds(const QString &categoryIds)
{
    qCInfo(lcOrvCommon) << "categories chosen on a plain folder picker are ignored:" << categoryIds;
}
