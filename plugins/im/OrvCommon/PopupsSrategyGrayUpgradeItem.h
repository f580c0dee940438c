// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include "orvhttpreply.h"

#include <QJsonValue>
#include <QPointer>

/**
 * Suggested (gray) upgrade. Wanted when an upgrade is suggested or downloaded, unless the user
 * asked for no more reminders: on this machine (setting "UpgradeNoMoreReminders") or, as the
 * web-API server remembers per MAC address, on an earlier installation.
 */
class PopupsSrategyGrayUpgradeItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    static constexpr const char *IgnoreReminderPath = "/mix/app/getIgnoreReminder";

    explicit PopupsSrategyGrayUpgradeItem(QObject *parent = nullptr);
    ~PopupsSrategyGrayUpgradeItem() override;

    PopupsSrategyType type() const override { return PopupsSrategyGrayUpgrade; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel2; }

    /// The server question is still open.
    bool isAskingServer() const { return m_reply != nullptr; }

private Q_SLOTS:
    void onSysMsgSyncFinised();
    void onBasicReconnected();
    void onIgnoreReminderFinished(const QJsonValue &data, int networkError, int errorNo, const QString &errorText);

private:
    void askServer();
    void abortQuestion();

    QPointer<OrvHttpReply> m_reply;
    bool m_handled = false;
};
