// SPDX-License-Identifier: LGPL-2.1-or-later
#include "popupactivitymanager.h"

namespace OrvEngine {

PopupActivityManager *PopupActivityManager::s_instance = nullptr;

PopupActivityManager *PopupActivityManager::instance()
{
    if (!s_instance)
        s_instance = new PopupActivityManager;
    return s_instance;
}

void PopupActivityManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void PopupActivityManager::trigger(bool active)
{
    m_active = active;
    m_triggered = true;
    Q_EMIT hasTrigger();
}

void PopupActivityManager::clear()
{
    m_active = false;
    m_triggered = false;
    m_args.clear();
}

} // namespace OrvEngine
