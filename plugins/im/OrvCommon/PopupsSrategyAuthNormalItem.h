// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

/**
 * School verification notice. Kind 2: the user's school authentication is pending or was
 * rejected. Kind 1: the user created a school that is not authenticated, and has not turned
 * the reminder off (setting "NOT_AUTH_SCHOOL_NOTICE").
 */
class PopupsSrategyAuthNormalItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    enum AuthNormalType { NoNotice = 0, NotAuthenticatedNotice = 1, AuthStateNotice = 2 };

    explicit PopupsSrategyAuthNormalItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyAuthNormal; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel2; }
    bool isCanReset() const override { return true; }

    /// An AuthNormalType; NoNotice until decided or when not wanted.
    int getAuthNormalType() const { return m_authNormalType; }

private Q_SLOTS:
    void onSchoolInfoFetched();

private:
    int m_authNormalType = NoNotice;
    bool m_handled = false;
};
