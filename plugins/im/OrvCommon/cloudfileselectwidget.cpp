// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfileselectwidget.h"

#include "orvlang.h"
#include "orvwebview.h"

#include <QTabBar>

CloudFileSelectWidget::CloudFileSelectWidget(QWidget *parent, const QString &customQuery)
    : CloudFileSelectBaseWidget(parent)
{
    m_view = createWebView(this, QStringLiteral("cloudDisk"), QString::fromLatin1(Address), customQuery);
    addTab(m_view, OrvLang::text("ID_Courseware"));
    tabBar()->hide();
}
