// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QPointer>

#include "PopupsSrategyWeakupPasswdItem.h"

/**
 * Prompt to set one's name and avatar: wanted while the user's name is empty or still the
 * masked login account. It waits for the weak-password reminder and stays off while that
 * reminder is shown: changing the password comes first.
 */
class PopupsSrategyUserAvatarItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyUserAvatarItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyUserAvatar; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel2; }
    /// Decided only once the weak-password item has decided too.
    bool hasTriggered() const override;
    /// Never while the weak-password reminder is wanted. Read live: the manager may run its pass
    /// on the reminder's triggerProcess() before this item has re-read its own answer.
    bool isActiced() const override;

    void setWeakPasswdItem(PopupsSrategyWeakupPasswdItem *item);

private Q_SLOTS:
    void onRecvUserInfo();
    void onPasswdTriggerProcess();

private:
    /// The name part of the decision: no name yet, or still the masked account.
    bool needsName() const;

    QPointer<PopupsSrategyWeakupPasswdItem> m_weakPasswdItem;
    bool m_handled = false;
};
