#include "noticeengine.h"

namespace OrvEngine {

NoticeEngine *NoticeEngine::s_instance = nullptr;

NoticeEngine *NoticeEngine::instance()
{
    if (!s_instance)
        s_instance = new NoticeEngine;
    return s_instance;
}

void NoticeEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void NoticeEngine::setUnreadNoticeCount(int count)
{
    m_unread = count;
    Q_EMIT updateUnreadNoticeCount();
}

void NoticeEngine::notifyServerInMaintenance(const QString &hintText, bool isFirstLogin)
{
    Q_EMIT signalServerInMaintenanceNotice(hintText, isFirstLogin);
}

void NoticeEngine::completeSysMsgSync()
{
    Q_EMIT signalSysMsgSyncFinished();
}

} // namespace OrvEngine
