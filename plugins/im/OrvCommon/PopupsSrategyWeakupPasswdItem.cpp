// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyWeakupPasswdItem.h"

#include "coreengine.h"
#include "imsignalobject.h"

using OrvEngine::CoreEngine;

PopupsSrategyWeakupPasswdItem::PopupsSrategyWeakupPasswdItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    // Queued: the avatar item, which waits for this one, reads the user record first.
    connect(CoreEngine::instance(), &CoreEngine::signalRecvUserInfo, this,
            &PopupsSrategyWeakupPasswdItem::onRecvUserInfo, Qt::QueuedConnection);
    connect(ImSignalObject::instance(), &ImSignalObject::signalWeakPasswdClosed, this,
            &PopupsSrategyWeakupPasswdItem::onWeakPasswdClosed);
}

void PopupsSrategyWeakupPasswdItem::onRecvUserInfo()
{
    if (m_handled)
        return;
    m_handled = true;
    decide(CoreEngine::instance()->isWeakPassword());
}

void PopupsSrategyWeakupPasswdItem::onWeakPasswdClosed()
{
    popupClosed();
}
