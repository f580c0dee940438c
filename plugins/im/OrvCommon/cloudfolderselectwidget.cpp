// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfolderselectwidget.h"

#include "orvlang.h"
#include "orvsettings.h"
#include "orvwebview.h"

#include <QTabBar>

CloudFolderSelectWidget::CloudFolderSelectWidget(FolderType type, QWidget *parent, quint64 shareId)
    : CloudFolderSelectBaseWidget(parent)
    , m_type(type)
{
    QString bridgeName;
    const QString page = address(type, shareId, &bridgeName);
    m_view = createWebView(this, bridgeName, page);
    addTab(m_view, OrvLang::text("ID_Courseware"));
    tabBar()->hide();
}

QString CloudFolderSelectWidget::address(FolderType type, quint64 shareId, QString *bridgeName)
{
    switch (type) {
    case SaveQuestion:
        *bridgeName = QStringLiteral("widget");
        return QStringLiteral("/client/lmsbleach/exam-pc/#/topic/save?shareId=%1&from=im").arg(shareId);
    case SavePaper:
        *bridgeName = QStringLiteral("widget");
        return QStringLiteral("/client/lmsbleach/exam-pc/#/paper/save?shareId=%1&from=im").arg(shareId);
    case CloudFolder:
        break;
    }
    if (OrvSettings::instance()->value(QLatin1String(NativeFolderPageKey)).toBool()) {
        *bridgeName = QStringLiteral("nativeBridge");
        return QStringLiteral("/client/clouddisk/selectfolder_im.html") + QStringLiteral("?from=exam");
    }
    *bridgeName = QStringLiteral("cloudDisk");
    return QStringLiteral("/client/cloud/folder/im");
}

void CloudFolderSelectWidget::setSelectedCategoryIds(const QString &categoryIds)
{
    m_categoryIds = categoryIds;
    Q_EMIT signalOk();
}

void CloudFolderSelectWidget::onSelectedCategoryIds(const QString &categoryIds)
{
    setSelectedCategoryIds(categoryIds);
}
