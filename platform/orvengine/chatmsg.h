// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

#include <QJsonObject>
#include <QVariant>
#include <memory>

namespace OrvEngine {

enum class ChatMsgType : int {
    Unknown = 0, Text = 1, Image = 2, File = 3, Voice = 4, Video = 5, RichText = 6, Link = 7, System = 10, Recalled = 11,
};
enum class SentStatus : int { Sending = 0, Sent = 1, Failed = 2 };

/// A chat message. Content and extra are JSON objects; decode/encode read and write their keys.
class ChatMsg
{
public:
    ChatMsg() = default;
    ChatMsg(const ClusterID &cluster, ChatMsgType type, quint64 localId)
        : m_cluster(cluster), m_type(type), m_localId(localId) {}

    ClusterID clusterID() const { return m_cluster; }
    ChatMsgType type() const { return m_type; }
    QString content() const { return m_content; }
    QString extra() const { return m_extra; }
    quint64 localID() const { return m_localId; }
    SentStatus sentStatus() const { return m_sentStatus; }
    bool isValid() const { return !m_cluster.isUnknowType() && m_type != ChatMsgType::Unknown; }

    QVariant decodeFromContent(const QString &key, const QVariant &defaultValue = {}) const;
    QVariant decodeFromExtra(const QString &key, const QVariant &defaultValue = {}) const;
    void encodeToExtra(const QString &key, const QVariant &value);

    void setContent(const QString &v) { m_content = v; }
    void setExtra(const QString &v) { m_extra = v; }
    void setSentStatus(SentStatus v) { m_sentStatus = v; }

private:
    ClusterID m_cluster;
    ChatMsgType m_type = ChatMsgType::Unknown;
    QString m_content;
    QString m_extra;
    quint64 m_localId = 0;
    SentStatus m_sentStatus = SentStatus::Sent;
};
using ChatMsgPtr = std::shared_ptr<ChatMsg>;

/// Identity of a participant of an in-class chat.
class ContactsInClassID
{
public:
    ContactsInClassID(quint64 uid = 0) : m_uid(uid) {}
    quint64 id() const { return m_uid; }

private:
    quint64 m_uid;
};

/// A message of the chat inside a classroom.
class ChatInClassMessage
{
public:
    ChatInClassMessage() = default;
    ChatInClassMessage(quint64 msgId, quint64 mainId, quint64 subId, quint64 sender, ContactsInClassID receiver)
        : m_msgId(msgId), m_mainId(mainId), m_subId(subId), m_sender(sender), m_receiver(receiver) {}

    QString content() const { return m_content; }
    quint64 msgId() const { return m_msgId; }
    quint64 mainId() const { return m_mainId; }
    quint64 subId() const { return m_subId; }
    quint64 senderUid() const { return m_sender; }
    ContactsInClassID receiver() const { return m_receiver; }
    quint32 time() const { return m_time; }
    QString originalMsg() const { return m_original; }
    QVariant decodeFromContent(const QString &key, const QVariant &defaultValue = {}) const;
    QVariant decodeFromExtra(const QString &key, const QVariant &defaultValue = {}) const;

    void setContent(const QString &v) { m_content = v; }
    void setExtra(const QString &v) { m_extra = v; }
    void setTime(quint32 v) { m_time = v; }
    void setOriginalMsg(const QString &v) { m_original = v; }

private:
    QString m_content;
    QString m_extra;
    QString m_original;
    quint64 m_msgId = 0;
    quint64 m_mainId = 0;
    quint64 m_subId = 0;
    quint64 m_sender = 0;
    ContactsInClassID m_receiver;
    quint32 m_time = 0;
};

using ChatInClassMessagePtr = std::shared_ptr<ChatInClassMessage>;

} // namespace OrvEngine

Q_DECLARE_METATYPE(OrvEngine::ChatMsgPtr)
Q_DECLARE_METATYPE(OrvEngine::ChatInClassMessagePtr)
