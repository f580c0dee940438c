// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyAuthNormalItem.h"

#include "coreengine.h"
#include "orvsettings.h"

using OrvEngine::CoreEngine;

PopupsSrategyAuthNormalItem::PopupsSrategyAuthNormalItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(CoreEngine::instance(), &CoreEngine::signalSchoolInfoFetched, this,
            &PopupsSrategyAuthNormalItem::onSchoolInfoFetched);
}

void PopupsSrategyAuthNormalItem::onSchoolInfoFetched()
{
    if (m_handled)
        return;
    m_handled = true;
    const CoreEngine *core = CoreEngine::instance();
    int state = CoreEngine::SchoolAuthNone;
    m_authNormalType = NoNotice;
    if (core->getSchoolAuthState(state)) {
        if (state == CoreEngine::SchoolAuthPending || state == CoreEngine::SchoolAuthRejected)
            m_authNormalType = AuthStateNotice;
    } else if (!core->hasAuthenticatedSchool() && core->isSchoolCreator()
               && OrvSettings::instance()->value(QStringLiteral("NOT_AUTH_SCHOOL_NOTICE"), true).toBool()) {
        m_authNormalType = NotAuthenticatedNotice;
    }
    decide(m_authNormalType != NoNotice);
}
