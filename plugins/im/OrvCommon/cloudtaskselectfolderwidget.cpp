// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudtaskselectfolderwidget.h"

#include "orvlang.h"
#include "orvwebview.h"

#include <QTabBar>

CloudTaskSelectFolderWidget::CloudTaskSelectFolderWidget(QWidget *parent)
    : CloudFolderSelectBaseWidget(parent)
{
    m_view = createWebView(this, QStringLiteral("cloudDisk"), QString::fromLatin1(Address));
    addTab(m_view, OrvLang::text("ID_TaskResource"));
    tabBar()->hide();
}
