// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QString>

/// First-use guidance: wanted when the server says the user has not been guided yet.
class PopupsSrategyUserGuianceItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyUserGuianceItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyUserGuiance; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel0; }

private Q_SLOTS:
    void onRecvWebDataChanged(const QString &webdata);

private:
    bool m_handled = false;
};
