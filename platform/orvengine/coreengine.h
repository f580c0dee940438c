// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "loginobject.h"
#include "userinfo.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>

namespace OrvEngine {

/**
 * Reference core engine: the signed-in session as a whole. It owns the login object, knows the
 * state of client upgrades, the server's background configuration, per-user values, the
 * account's password strength and school authentication, and reports connection events.
 *
 * Every answer is settable, and every notifying mutation emits the signal the real engine emits,
 * so hosts and tests drive it as the real engine would be driven by the server.
 */
class CoreEngine : public QObject
{
    Q_OBJECT
public:
    /// Background configuration key: non-zero when an upgrade suggestion offers "no more reminders".
    static const char *const UpgradeSuggestConfigKey;

    /// How far the school the user belongs to is with its authentication.
    enum SchoolAuthState { SchoolAuthNone = 0, SchoolAuthPending = 1, SchoolAuthPassed = 2, SchoolAuthRejected = 3 };

    static CoreEngine *instance();
    static void release();

    // --- Login object -----------------------------------------------------------------------
    /// Null until a sign-in has started.
    LoginObject *loginObject() const { return m_login.data(); }
    /// Starts a sign-in: replaces any login object by a fresh one (not yet logged in).
    LoginObject *createLoginObject();
    void destroyLoginObject();
    /// A check-in with the server (of the login object, or before any sign-in) asked for a
    /// forced upgrade.
    void receiveCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                             const QString &downloadLink, const QString &plain);

    // --- Upgrade state ----------------------------------------------------------------------
    /// The server offers a version newer than the running one.
    virtual bool hasNewVersion() const { return m_hasNewVersion; }
    /// That version's package has been downloaded and can be installed.
    virtual bool isNewVersionDownloaded() const { return m_newVersionDownloaded; }
    /// This account is in a gray release that must be installed.
    virtual bool isGrayUpgradeForced() const { return m_grayForced; }
    /// A downloaded upgrade must be reminded of, whatever the user asked.
    virtual bool isUpgradeReminderForced() const { return m_reminderForced; }
    /// The downloaded upgrade: its version (empty when none is downloaded), its release notes
    /// and whether the user may ask for no more reminders of it.
    virtual void getDownloadedUpgradeInfo(QString &version, QString &releaseNotes, bool &allowNoMoreReminders) const;

    void setHasNewVersion(bool v) { m_hasNewVersion = v; }
    void setNewVersionDownloaded(bool v) { m_newVersionDownloaded = v; }
    void setGrayUpgradeForced(bool v) { m_grayForced = v; }
    void setUpgradeReminderForced(bool v) { m_reminderForced = v; }
    void setDownloadedUpgradeInfo(const QString &version, const QString &releaseNotes, bool allowNoMoreReminders);

    // --- Configuration and per-user values ----------------------------------------------------
    /// Configuration pushed by the server's back office.
    virtual QVariant backgroundConfig(const QString &key, const QVariant &defaultValue = {}) const;
    void setBackgroundConfig(const QString &key, const QVariant &value);
    /// Values the server keeps for the signed-in user ("userGuidance": first-use guidance is due).
    virtual QVariant userValue(const QString &key, const QVariant &defaultValue = {}) const;
    void setUserValue(const QString &key, const QVariant &value);

    // --- The signed-in user -----------------------------------------------------------------
    virtual UserInfoPtr currentUserInfo() const { return m_user; }
    /// The user's record arrived from the server: emits signalRecvUserInfo().
    void setCurrentUserInfo(const UserInfoPtr &user);
    /// The account's password is too weak by the server's rules.
    virtual bool isWeakPassword() const { return m_weakPassword; }
    void setWeakPassword(bool weak) { m_weakPassword = weak; }

    // --- School authentication -----------------------------------------------------------------
    /// True when the user's school has an authentication record; `state` is a SchoolAuthState.
    virtual bool getSchoolAuthState(int &state) const;
    /// The user belongs to at least one authenticated school.
    virtual bool hasAuthenticatedSchool() const { return m_hasAuthenticatedSchool; }
    /// The user created a school (and so may authenticate it).
    virtual bool isSchoolCreator() const { return m_schoolCreator; }
    /// `hasRecord` false clears the record.
    void setSchoolAuthState(bool hasRecord, int state);
    void setHasAuthenticatedSchool(bool v) { m_hasAuthenticatedSchool = v; }
    void setSchoolCreator(bool v) { m_schoolCreator = v; }
    /// The school information has been fetched: emits signalSchoolInfoFetched().
    void completeSchoolInfoFetch();

    // --- Machine and connection ---------------------------------------------------------------
    /// The machine's MAC address ("AA:BB:CC:DD:EE:FF"); the first hardware interface's unless set.
    virtual QString macAddress() const;
    void setMacAddress(const QString &mac) { m_mac = mac; }
    /// The web data (portal configuration) changed: emits signalRecvWebDataChanged().
    void setWebData(const QString &webdata);
    QString webData() const { return m_webData; }
    /// The basic (long) connection came back after a loss: emits signalBasicReconnected().
    void notifyBasicReconnected();
    /// The server pushed photos sent from a phone's upload page, as JSON text
    /// {"requestUUid", "tag", "data"} (see signalRecvUploadPhotoInfo). Callable from any thread
    /// (the local web service calls it from its own); the signal comes on the engine's thread.
    void receiveUploadPhotoInfo(const QString &json);

    /// Forgets everything set (login object included).
    void clear();

Q_SIGNALS:
    void signalRecvCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                                const QString &downloadLink, const QString &plain);
    void signalRecvUserInfo();
    void signalSchoolInfoFetched();
    void signalRecvWebDataChanged(const QString &webdata);
    void signalBasicReconnected();
    /// Photos from a phone, as the server pushed them: {"requestUUid": the id the QR request
    /// carried, "tag": its CommonPodsNs::RequestQRCodeTag, "data": tag 1 an array of base64
    /// pictures, tags 3, 4, 5 an array of {"url", "width", "height"} (sizes as text)}. The text is
    /// passed on unchecked: receivers parse it and ignore what is not theirs.
    void signalRecvUploadPhotoInfo(const QString &json);
    void loginObjectChanged();

protected:
    CoreEngine() = default;

private:
    QPointer<LoginObject> m_login;
    bool m_hasNewVersion = false;
    bool m_newVersionDownloaded = false;
    bool m_grayForced = false;
    bool m_reminderForced = false;
    QString m_downloadedVersion;
    QString m_releaseNotes;
    bool m_allowNoMoreReminders = false;
    QHash<QString, QVariant> m_backgroundConfig;
    QHash<QString, QVariant> m_userValues;
    UserInfoPtr m_user;
    bool m_weakPassword = false;
    bool m_hasSchoolAuthRecord = false;
    int m_schoolAuthState = SchoolAuthNone;
    bool m_hasAuthenticatedSchool = false;
    bool m_schoolCreator = false;
    QString m_mac;
    QString m_webData;
    static CoreEngine *s_instance;
};

} // namespace OrvEngine
