#include "schoolchartmanager.h"

SchoolChartManager *SchoolChartManager::s_instance = nullptr;

SchoolChartManager *SchoolChartManager::instance()
{
    if (!s_instance)
        s_instance = new SchoolChartManager;
    return s_instance;
}

void SchoolChartManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void SchoolChartManager::completeSync()
{
    m_sentSyncComplete = true;
    Q_EMIT syncComplete();
}

void SchoolChartManager::completeAvatarSync()
{
    Q_EMIT avatarSyncComplete();
}

void SchoolChartManager::clear()
{
    m_store.clear();
    m_sentSyncComplete = false;
}
