// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfileselectbasewidget.h"

#include "cloudfileselectwebbridge.h"
#include "cloudpageaddress.h"
#include "cloudstyle.h"
#include "orvcommon_logging.h"
#include "orvwebview.h"

CloudFileSelectBaseWidget::CloudFileSelectBaseWidget(QWidget *parent)
    : QTabWidget(parent)
{
    setObjectName(QStringLiteral("CloudFileSelectBaseWidget"));
    setAutoFillBackground(true);
    setStyleSheet(CloudStyle::styleSheet(QStringLiteral("CloudFileSelectBaseWidget")));
}

OrvWebView *CloudFileSelectBaseWidget::createWebView(QWidget *parent, const QString &bridgeName, const QString &address,
                                                     const QString &customQuery)
{
    auto *view = new OrvWebView(CloudStyle::theme(), parent);
    auto *bridge = new CloudFileSelectWebBridge(view, view);
    view->registerObject(bridge, bridgeName);
    connect(bridge, &CloudFileSelectWebBridge::signalSelectFile, this, &CloudFileSelectBaseWidget::selectFile);
    view->setProperty("currentUrl", address);
    view->setProperty("customQuery", customQuery);

    QString full = address;
    if (!customQuery.isEmpty())
        full += (address.contains(QLatin1Char('?')) ? QLatin1Char('&') : QLatin1Char('?')) + customQuery;
    const QUrl url = CloudPageAddress::join(full);
    qCInfo(lcOrvCommon) << "cloud file picker page" << url.toString(QUrl::RemoveQuery) << "as" << bridgeName;
    view->load(url);
    return view;
}

void CloudFileSelectBaseWidget::selectFile(const QString &params)
{
    m_params = params;
    Q_EMIT clickBtnOk(params);
}
