// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyForceUpgradeItem.h"
#include "orvcommon_logging.h"

#include "coreengine.h"
#include "loginobject.h"

PopupsSrategyForceUpgradeItem::PopupsSrategyForceUpgradeItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(OrvEngine::CoreEngine::instance(), &OrvEngine::CoreEngine::signalRecvCheckInForce, this,
            &PopupsSrategyForceUpgradeItem::onRecvCheckInForce);
}

void PopupsSrategyForceUpgradeItem::getUpgradeInfo(uint &respCode, QString &hintMsg, QString &version,
                                                   QString &downloadLink, QString &plain) const
{
    respCode = m_respCode;
    hintMsg = m_hintMsg;
    version = m_version;
    downloadLink = m_downloadLink;
    plain = m_plain;
}

void PopupsSrategyForceUpgradeItem::onRecvCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                                                       const QString &downloadLink, const QString &plain)
{
    // A sign-in that did not go through has its own upgrade message in the login window.
    const OrvEngine::LoginObject *login = OrvEngine::CoreEngine::instance()->loginObject();
    if (login && !login->isLogined()) {
        qCInfo(lcPopups) << "forced upgrade notice before sign-in completed, left to the login window";
        return;
    }
    m_respCode = respCode;
    m_hintMsg = hintMsg;
    m_version = version;
    m_downloadLink = downloadLink;
    m_plain = plain;
    showAgain(); // a new notice pops up again
    decide(true);
}
