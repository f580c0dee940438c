// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>

namespace OrvEngine {

/// Reference notice engine: the count of unread notices (new-friend requests and the like).
class NoticeEngine : public QObject
{
    Q_OBJECT
public:
    static NoticeEngine *instance();
    static void release();

    virtual int unreadNoticeCount() const { return m_unread; }
    void setUnreadNoticeCount(int count);

    /// The server announced maintenance; isFirstLogin: the notice came with this sign-in.
    void notifyServerInMaintenance(const QString &hintText, bool isFirstLogin);
    /// The system messages of this sign-in have all been fetched.
    void completeSysMsgSync();

Q_SIGNALS:
    void updateUnreadNoticeCount();
    void signalServerInMaintenanceNotice(const QString &hintText, bool isFirstLogin);
    void signalSysMsgSyncFinished();

protected:
    NoticeEngine() = default;

private:
    int m_unread = 0;
    static NoticeEngine *s_instance;
};

} // namespace OrvEngine
