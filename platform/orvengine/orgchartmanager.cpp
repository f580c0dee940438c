#include "orgchartmanager.h"
#include "contactsengine.h"

OrgChartManager *OrgChartManager::s_instance = nullptr;

OrgChartManager *OrgChartManager::instance()
{
    if (!s_instance)
        s_instance = new OrgChartManager;
    return s_instance;
}

void OrgChartManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

std::vector<Org::SchoolInfoPtr> OrgChartManager::getSchoolInfos(bool joinedOnly) const
{
    std::vector<Org::SchoolInfoPtr> out;
    const quint64 me = OrvEngine::ContactsEngine::instance()->currentUid();
    for (const auto &s : m_store.schools()) {
        if (!joinedOnly || isEmployee(s->id(), me))
            out.push_back(s);
    }
    return out;
}

void OrgChartManager::completeSync()
{
    m_synced = true;
    Q_EMIT allOrgSyncComplete();
}

void OrgChartManager::completeSchoolSync(quint64 sid)
{
    Q_EMIT schoolSyncComplete(sid);
}

void OrgChartManager::clear()
{
    m_store.clear();
    m_synced = false;
}
