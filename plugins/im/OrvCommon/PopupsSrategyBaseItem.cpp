// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyBaseItem.h"

PopupsSrategyBaseItem::PopupsSrategyBaseItem(QObject *parent) : QObject(parent) {}

void PopupsSrategyBaseItem::setActived(bool actived)
{
    if (actived && !m_actived)
        m_calledDoit = false;
    m_actived = actived;
}

void PopupsSrategyBaseItem::emitDoit()
{
    m_calledDoit = true;
    Q_EMIT doit();
}

void PopupsSrategyBaseItem::popupClosed()
{
    setActived(false);
    Q_EMIT triggerProcess();
}

void PopupsSrategyBaseItem::decide(bool actived)
{
    setActived(actived);
    m_triggered = true;
    Q_EMIT triggerProcess();
}

void PopupsSrategyBaseItem::resetFlags()
{
    m_actived = false;
    m_triggered = false;
    m_calledDoit = false;
    m_canReset = true;
}
