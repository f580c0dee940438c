// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QString>

/// Forced upgrade: wanted as soon as the check-in demands it, every time it does.
class PopupsSrategyForceUpgradeItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyForceUpgradeItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyForceUpgrade; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel0; }
    /// Nothing to wait for: without a notice the item simply is not active.
    bool hasTriggered() const override { return true; }

    void getUpgradeInfo(uint &respCode, QString &hintMsg, QString &version, QString &downloadLink,
                        QString &plain) const;

private Q_SLOTS:
    void onRecvCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                            const QString &downloadLink, const QString &plain);

private:
    uint m_respCode = 0;
    QString m_hintMsg;
    QString m_version;
    QString m_downloadLink;
    QString m_plain;
};
