// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyForceGrayUpgradeItem.h"

#include "coreengine.h"
#include "noticeengine.h"

using OrvEngine::CoreEngine;

PopupsSrategyForceGrayUpgradeItem::PopupsSrategyForceGrayUpgradeItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(OrvEngine::NoticeEngine::instance(), &OrvEngine::NoticeEngine::signalSysMsgSyncFinished, this,
            &PopupsSrategyForceGrayUpgradeItem::onSysMsgSyncFinised);
    connect(CoreEngine::instance(), &CoreEngine::signalBasicReconnected, this,
            &PopupsSrategyForceGrayUpgradeItem::onBasicReconnected);
}

void PopupsSrategyForceGrayUpgradeItem::onSysMsgSyncFinised()
{
    if (m_handled)
        return;
    m_handled = true;
    const CoreEngine *core = CoreEngine::instance();
    decide(core->hasNewVersion() && !core->isNewVersionDownloaded() && core->isGrayUpgradeForced());
}

void PopupsSrategyForceGrayUpgradeItem::onBasicReconnected()
{
    // The upgrade state may have changed while we were away; decide again after the next sync.
    resetFlags();
    m_handled = false;
}
