// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyBaseItem.h"

PopupsSrategyBaseItem::PopupsSrategyBaseItem(QObject *parent) : QObject(parent) {}

void PopupsSrategyBaseItem::emitDoit()
{
    m_calledDoit = true;
    Q_EMIT doit();
}

void PopupsSrategyBaseItem::popupClosed()
{
    m_actived = false;
    Q_EMIT triggerProcess();
}

void PopupsSrategyBaseItem::decide(bool actived)
{
    m_actived = actived;
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
