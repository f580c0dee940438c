// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudtaskselectfileswidget.h"

#include "cloudfileselectbasewidget.h"
#include "orvlang.h"
#include "orvwebview.h"

CloudTaskSelectFilesWidget::CloudTaskSelectFilesWidget(quint64 schoolId, int imgMax, int videoMax, int otherMax,
                                                       QWidget *parent)
    : CloudFileSelectTabBaseWidget(schoolId, parent)
{
    CloudFileSelectBaseWidget *page = createSelectBaseWidget();
    OrvWebView *view = page->createWebView(page, QStringLiteral("nativeBridge"), address(schoolId, imgMax, videoMax, otherMax));
    page->addTab(view, OrvLang::text("ID_Courseware"));
    addPage(OrvLang::text("ID_Courseware"), page);
    setCurrentPage(0);
}

QString CloudTaskSelectFilesWidget::address(quint64 schoolId, int imgMax, int videoMax, int otherMax)
{
    QString text = QString::fromLatin1(AddressPattern).arg(imgMax).arg(videoMax).arg(otherMax);
    if (schoolId != 0)
        text += QStringLiteral("&schoolId=%1").arg(schoolId);
    return text;
}
