// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyGrayUpgradeItem.h"
#include "orvcommon_logging.h"

#include "coreengine.h"
#include "loginobject.h"
#include "noticeengine.h"
#include "orvhttpmanager.h"
#include "orvsettings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

using OrvEngine::CoreEngine;

namespace {
const QString NoMoreRemindersKey = QStringLiteral("UpgradeNoMoreReminders");

int noMoreReminders()
{
    return OrvSettings::instance()->value(NoMoreRemindersKey, 0).toInt();
}
} // namespace

PopupsSrategyGrayUpgradeItem::PopupsSrategyGrayUpgradeItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(OrvEngine::NoticeEngine::instance(), &OrvEngine::NoticeEngine::signalSysMsgSyncFinished, this,
            &PopupsSrategyGrayUpgradeItem::onSysMsgSyncFinised);
    connect(CoreEngine::instance(), &CoreEngine::signalBasicReconnected, this,
            &PopupsSrategyGrayUpgradeItem::onBasicReconnected);
}

PopupsSrategyGrayUpgradeItem::~PopupsSrategyGrayUpgradeItem()
{
    abortQuestion();
}

void PopupsSrategyGrayUpgradeItem::onSysMsgSyncFinised()
{
    if (m_handled)
        return;
    m_handled = true;

    const CoreEngine *core = CoreEngine::instance();
    const OrvEngine::LoginObject *login = core->loginObject();
    // The server remembers a "no more reminders" given on an earlier installation of this
    // machine; it is asked whenever the reminder is still wanted, unless the reminder is forced.
    bool ask = true;
    bool wanted = false;
    if ((!core->hasNewVersion() || !core->isNewVersionDownloaded()) && login && login->isNeedShowUpgradeSuggest()) {
        wanted = true;
        if (core->backgroundConfig(QString::fromLatin1(CoreEngine::UpgradeSuggestConfigKey), 0).toInt() != 0)
            wanted = noMoreReminders() == 0;
    } else {
        QString version;
        QString releaseNotes;
        bool allowNoMoreReminders = false;
        core->getDownloadedUpgradeInfo(version, releaseNotes, allowNoMoreReminders);
        // Without a downloaded version there is nothing to remind of, and an active item would
        // hold back the rest of its level until the host closed a popup it never showed.
        wanted = !version.isEmpty();
        if (allowNoMoreReminders && noMoreReminders() != 0)
            wanted = false;
        if (core->isUpgradeReminderForced() && !version.isEmpty()) {
            wanted = true;
            ask = false;
        }
    }

    setActived(wanted);
    if (wanted && ask) {
        askServer();
        return;
    }
    m_triggered = true;
    Q_EMIT triggerProcess();
}

void PopupsSrategyGrayUpgradeItem::askServer()
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("macAddress"), CoreEngine::instance()->macAddress());
    m_reply = OrvHttpManager::instance()->postForm(QString::fromLatin1(IgnoreReminderPath), form);
    connect(m_reply.data(), &OrvHttpReply::finished, this, &PopupsSrategyGrayUpgradeItem::onIgnoreReminderFinished);
}

void PopupsSrategyGrayUpgradeItem::abortQuestion()
{
    if (m_reply) {
        disconnect(m_reply.data(), nullptr, this, nullptr);
        m_reply->abort();
    }
    m_reply = nullptr;
}

void PopupsSrategyGrayUpgradeItem::onIgnoreReminderFinished(const QJsonValue &data, int networkError, int errorNo,
                                                            const QString &errorText)
{
    m_reply = nullptr;
    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
        qCWarning(lcPopups) << IgnoreReminderPath << "failed:" << networkError << errorNo << errorText
                            << "- the upgrade reminder stays";
    } else {
        const QJsonValue jsonData = data.toObject().value(QStringLiteral("json_data"));
        QJsonObject reminders;
        if (jsonData.isObject()) {
            reminders = jsonData.toObject();
        } else {
            QJsonParseError error{};
            const QJsonDocument doc = QJsonDocument::fromJson(jsonData.toString().toUtf8(), &error);
            if (error.error != QJsonParseError::NoError || !doc.isObject())
                qCWarning(lcPopups) << IgnoreReminderPath << "answered an unreadable json_data:" << jsonData
                                    << "- the upgrade reminder stays";
            else
                reminders = doc.object();
        }
        const QJsonValue value = reminders.value(NoMoreRemindersKey);
        if (value.isDouble() && value.toDouble() == 1) {
            OrvSettings::instance()->setValue(NoMoreRemindersKey, 1);
            setActived(false);
        }
    }
    m_triggered = true;
    Q_EMIT triggerProcess();
}

void PopupsSrategyGrayUpgradeItem::onBasicReconnected()
{
    // The upgrade state may have changed while we were away; decide again after the next sync.
    abortQuestion();
    resetFlags();
    m_handled = false;
}
