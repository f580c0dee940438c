// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyUserGuianceItem.h"

#include "coreengine.h"

using OrvEngine::CoreEngine;

PopupsSrategyUserGuianceItem::PopupsSrategyUserGuianceItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(CoreEngine::instance(), &CoreEngine::signalRecvWebDataChanged, this,
            &PopupsSrategyUserGuianceItem::onRecvWebDataChanged);
}

void PopupsSrategyUserGuianceItem::onRecvWebDataChanged(const QString &)
{
    if (m_handled)
        return;
    m_handled = true;
    decide(CoreEngine::instance()->userValue(QStringLiteral("userGuidance"), false).toBool());
}
