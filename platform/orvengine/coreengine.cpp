// SPDX-License-Identifier: LGPL-2.1-or-later
#include "coreengine.h"
#include "loginobject.h"
#include "orvengine_logging.h"

#include <QNetworkInterface>

namespace OrvEngine {

const char *const CoreEngine::UpgradeSuggestConfigKey = "upgradeSuggestNoMoreReminders";
CoreEngine *CoreEngine::s_instance = nullptr;

CoreEngine *CoreEngine::instance()
{
    if (!s_instance)
        s_instance = new CoreEngine;
    return s_instance;
}

void CoreEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

LoginObject *CoreEngine::createLoginObject()
{
    delete m_login.data();
    m_login = new LoginObject(this);
    connect(m_login.data(), &LoginObject::recvCheckInForce, this, &CoreEngine::signalRecvCheckInForce);
    Q_EMIT loginObjectChanged();
    return m_login.data();
}

void CoreEngine::destroyLoginObject()
{
    if (!m_login)
        return;
    delete m_login.data();
    Q_EMIT loginObjectChanged();
}

void CoreEngine::receiveCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                                     const QString &downloadLink, const QString &plain)
{
    if (m_login)
        m_login->receiveCheckInForce(respCode, hintMsg, version, downloadLink, plain);
    else
        Q_EMIT signalRecvCheckInForce(respCode, hintMsg, version, downloadLink, plain);
}

void CoreEngine::getDownloadedUpgradeInfo(QString &version, QString &releaseNotes, bool &allowNoMoreReminders) const
{
    version = m_downloadedVersion;
    releaseNotes = m_releaseNotes;
    allowNoMoreReminders = m_allowNoMoreReminders;
}

void CoreEngine::setDownloadedUpgradeInfo(const QString &version, const QString &releaseNotes,
                                          bool allowNoMoreReminders)
{
    m_downloadedVersion = version;
    m_releaseNotes = releaseNotes;
    m_allowNoMoreReminders = allowNoMoreReminders;
}

QVariant CoreEngine::backgroundConfig(const QString &key, const QVariant &defaultValue) const
{
    return m_backgroundConfig.value(key, defaultValue);
}

void CoreEngine::setBackgroundConfig(const QString &key, const QVariant &value)
{
    m_backgroundConfig.insert(key, value);
}

QVariant CoreEngine::userValue(const QString &key, const QVariant &defaultValue) const
{
    return m_userValues.value(key, defaultValue);
}

void CoreEngine::setUserValue(const QString &key, const QVariant &value)
{
    m_userValues.insert(key, value);
}

void CoreEngine::setCurrentUserInfo(const UserInfoPtr &user)
{
    m_user = user;
    Q_EMIT signalRecvUserInfo();
}

bool CoreEngine::getSchoolAuthState(int &state) const
{
    state = m_schoolAuthState;
    return m_hasSchoolAuthRecord;
}

void CoreEngine::setSchoolAuthState(bool hasRecord, int state)
{
    m_hasSchoolAuthRecord = hasRecord;
    m_schoolAuthState = hasRecord ? state : SchoolAuthNone;
}

void CoreEngine::completeSchoolInfoFetch()
{
    Q_EMIT signalSchoolInfoFetched();
}

QString CoreEngine::macAddress() const
{
    if (!m_mac.isEmpty())
        return m_mac;
    const auto interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &i : interfaces) {
        if (i.flags().testFlag(QNetworkInterface::IsLoopBack))
            continue;
        const QString hw = i.hardwareAddress();
        if (!hw.isEmpty() && hw != QLatin1String("00:00:00:00:00:00"))
            return hw;
    }
    qCDebug(lcOrvEngine) << "no hardware network interface, MAC address unknown";
    return {};
}

void CoreEngine::setWebData(const QString &webdata)
{
    m_webData = webdata;
    Q_EMIT signalRecvWebDataChanged(webdata);
}

void CoreEngine::notifyBasicReconnected()
{
    Q_EMIT signalBasicReconnected();
}

void CoreEngine::receiveUploadPhotoInfo(const QString &json)
{
    // Pushes arrive on the connection's thread; receivers expect the engine's.
    QMetaObject::invokeMethod(
        this, [this, json] { Q_EMIT signalRecvUploadPhotoInfo(json); }, Qt::QueuedConnection);
}

void CoreEngine::clear()
{
    destroyLoginObject();
    m_hasNewVersion = m_newVersionDownloaded = m_grayForced = m_reminderForced = false;
    setDownloadedUpgradeInfo({}, {}, false);
    m_backgroundConfig.clear();
    m_userValues.clear();
    m_user.reset();
    m_weakPassword = false;
    setSchoolAuthState(false, SchoolAuthNone);
    m_hasAuthenticatedSchool = m_schoolCreator = false;
    m_mac.clear();
    m_webData.clear();
}

} // namespace OrvEngine
