// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QList>
#include <QVariant>

/// Operations screen: an activity of the popup-activity manager that is due now.
class PopupsSrategyScreenItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyScreenItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyScreen; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel1; }
    /// Decided once the sync is over or the activity manager has finished looking.
    bool hasTriggered() const override;
    /// Also tells the activity manager that its activity was closed.
    void popupClosed() override;

    /// What the host needs to show the activity; filled from the activity manager.
    QList<QVariant> getArgList() const { return m_argList; }
    void setArgList(const QList<QVariant> &args) { m_argList = args; }

private Q_SLOTS:
    void onSysMsgSyncFinised();
    void onHasTrigger();
    /// The host opened or closed the activity window.
    void onPopupActivityActived();

private:
    void readActivity();

    QList<QVariant> m_argList;
};
