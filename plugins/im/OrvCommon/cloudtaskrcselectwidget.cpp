// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudtaskrcselectwidget.h"

#include "cloudfileselectbasewidget.h"
#include "orvlang.h"
#include "orvwebview.h"

CloudTaskRcSelectWidget::CloudTaskRcSelectWidget(quint64 sid, QWidget *parent)
    : CloudFileSelectTabBaseWidget(sid, parent)
{
    CloudFileSelectBaseWidget *page = createSelectBaseWidget();
    OrvWebView *view = page->createWebView(page, QStringLiteral("cloudDisk"), QString::fromLatin1(AddressPattern).arg(sid));
    page->addTab(view, OrvLang::text("ID_TaskResource"));
    addPage(OrvLang::text("ID_TaskResource"), page);
}
