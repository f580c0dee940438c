// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

/// Forced gray upgrade: this account is in a gray release that must be installed.
class PopupsSrategyForceGrayUpgradeItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyForceGrayUpgradeItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyForceGrayUpgrade; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel0; }

private Q_SLOTS:
    void onSysMsgSyncFinised();
    void onBasicReconnected();

private:
    bool m_handled = false;
};
