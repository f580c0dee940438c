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

Q_SIGNALS:
    void updateUnreadNoticeCount();

protected:
    NoticeEngine() = default;

private:
    int m_unread = 0;
    static NoticeEngine *s_instance;
};

} // namespace OrvEngine
