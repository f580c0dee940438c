// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QString>

/// Server maintenance notice: wanted each time the notice engine announces maintenance.
class PopupsSrategyOpsItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyOpsItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyOps; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel2; }
    /// Nothing to wait for: without a notice the item simply is not active.
    bool hasTriggered() const override { return true; }

    void getServerInMaintenanceInfo(QString &hintText, bool &isFirstLogin) const;

private Q_SLOTS:
    void onServerInMaintenanceNotice(const QString &hintText, bool isFirstLogin);

private:
    QString m_hintText;
    bool m_isFirstLogin = false;
};
