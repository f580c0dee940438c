// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyOpsItem.h"

#include "noticeengine.h"

PopupsSrategyOpsItem::PopupsSrategyOpsItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(OrvEngine::NoticeEngine::instance(), &OrvEngine::NoticeEngine::signalServerInMaintenanceNotice, this,
            &PopupsSrategyOpsItem::onServerInMaintenanceNotice);
}

void PopupsSrategyOpsItem::getServerInMaintenanceInfo(QString &hintText, bool &isFirstLogin) const
{
    hintText = m_hintText;
    isFirstLogin = m_isFirstLogin;
}

void PopupsSrategyOpsItem::onServerInMaintenanceNotice(const QString &hintText, bool isFirstLogin)
{
    m_hintText = hintText;
    m_isFirstLogin = isFirstLogin;
    showAgain(); // a new notice pops up again
    decide(true);
}
