// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

/// Weak-password reminder: wanted when the engine flags the account's password as weak.
class PopupsSrategyWeakupPasswdItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyWeakupPasswdItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyWeakupPasswd; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel2; }

private Q_SLOTS:
    void onRecvUserInfo();
    void onWeakPasswdClosed();

private:
    bool m_handled = false;
};
