// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyScreenItem.h"

#include "imsignalobject.h"
#include "noticeengine.h"
#include "popupactivitymanager.h"

using OrvEngine::PopupActivityManager;

PopupsSrategyScreenItem::PopupsSrategyScreenItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(OrvEngine::NoticeEngine::instance(), &OrvEngine::NoticeEngine::signalSysMsgSyncFinished, this,
            &PopupsSrategyScreenItem::onSysMsgSyncFinised);
    connect(PopupActivityManager::instance(), &PopupActivityManager::hasTrigger, this,
            &PopupsSrategyScreenItem::onHasTrigger);
    connect(ImSignalObject::instance(), &ImSignalObject::signalSetPopupActivityActived, this,
            &PopupsSrategyScreenItem::onPopupActivityActived);
}

bool PopupsSrategyScreenItem::hasTriggered() const
{
    return m_triggered || PopupActivityManager::instance()->hasTriggered();
}

void PopupsSrategyScreenItem::readActivity()
{
    const PopupActivityManager *manager = PopupActivityManager::instance();
    setActived(manager->hasActiveActivity());
    if (manager->hasActiveActivity())
        m_argList = manager->activityArgs();
}

void PopupsSrategyScreenItem::popupClosed()
{
    // The activity was seen: the next sync must not bring the same one back.
    PopupActivityManager::instance()->setActiveActivity(false);
    PopupsSrategyBaseItem::popupClosed();
}

void PopupsSrategyScreenItem::onSysMsgSyncFinised()
{
    m_triggered = true;
    readActivity();
    Q_EMIT triggerProcess();
}

void PopupsSrategyScreenItem::onHasTrigger()
{
    readActivity();
    Q_EMIT triggerProcess();
}

void PopupsSrategyScreenItem::onPopupActivityActived()
{
    readActivity();
    Q_EMIT triggerProcess();
}
