// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyUserAvatarItem.h"
#include "PopupsSrategyWeakupPasswdItem.h"

#include "coreengine.h"
#include "loginobject.h"

using OrvEngine::CoreEngine;

PopupsSrategyUserAvatarItem::PopupsSrategyUserAvatarItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(CoreEngine::instance(), &CoreEngine::signalRecvUserInfo, this,
            &PopupsSrategyUserAvatarItem::onRecvUserInfo);
}

void PopupsSrategyUserAvatarItem::setWeakPasswdItem(PopupsSrategyWeakupPasswdItem *item)
{
    if (m_weakPasswdItem)
        disconnect(m_weakPasswdItem.data(), nullptr, this, nullptr);
    m_weakPasswdItem = item;
    if (item)
        connect(item, &PopupsSrategyBaseItem::triggerProcess, this, &PopupsSrategyUserAvatarItem::onPasswdTriggerProcess);
}

bool PopupsSrategyUserAvatarItem::hasTriggered() const
{
    return m_triggered && (!m_weakPasswdItem || m_weakPasswdItem->hasTriggered());
}

bool PopupsSrategyUserAvatarItem::isActiced() const
{
    return PopupsSrategyBaseItem::isActiced() && !(m_weakPasswdItem && m_weakPasswdItem->isActiced());
}

bool PopupsSrategyUserAvatarItem::needsName() const
{
    const CoreEngine *core = CoreEngine::instance();
    const OrvEngine::UserInfoPtr user = core->currentUserInfo();
    const QString name = user ? user->nickname() : QString();
    if (name.isEmpty())
        return true;
    const OrvEngine::LoginObject *login = core->loginObject();
    return login && !login->loginAccount().isEmpty() && name == login->maskedLoginAccount();
}

void PopupsSrategyUserAvatarItem::onRecvUserInfo()
{
    if (m_handled)
        return;
    m_handled = true;
    decide(needsName());
}

void PopupsSrategyUserAvatarItem::onPasswdTriggerProcess()
{
    // The reminder was decided, shown or closed: the name may have been set meanwhile.
    setActived(needsName());
    Q_EMIT triggerProcess();
}
