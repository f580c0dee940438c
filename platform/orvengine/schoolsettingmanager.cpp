#include "schoolsettingmanager.h"

namespace Org {

SchoolSettingManager *SchoolSettingManager::s_instance = nullptr;

SchoolSettingManager *SchoolSettingManager::getInstance()
{
    if (!s_instance)
        s_instance = new SchoolSettingManager;
    return s_instance;
}

void SchoolSettingManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

SchoolSettingInfoPtr SchoolSettingManager::getShoolSettingInfo(quint64 sid, bool) const
{
    return m_settings.value(sid);
}

void SchoolSettingManager::setSchoolSetting(quint64 sid, const SchoolSettingInfoPtr &info)
{
    m_settings.insert(sid, info);
    // As every web reply: no network error, error number 1 for success.
    Q_EMIT getSchoolSettingFinished(sid, 0, 1, QString());
}

void SchoolSettingManager::failSchoolSetting(quint64 sid, int errorNo, int subCode, const QString &error)
{
    Q_EMIT getSchoolSettingFinished(sid, errorNo, subCode, error);
}

} // namespace Org
