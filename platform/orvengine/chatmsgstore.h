// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chatmsg.h"

#include <QHash>
#include <QObject>
#include <deque>
#include <vector>

namespace OrvEngine {

class ChatEngine;

/**
 * The messages of every chat, as the reference chat engine sends and keeps them. Sending stores
 * the message and makes its chat the newest of the recent chats: the session's time moves on (a
 * new session when there was none), so the contacts tree reorders its recent chats.
 *
 * Owned by the chat engine (ChatEngine::messageStore()); GUI thread only.
 */
class ChatMsgStore : public QObject
{
    Q_OBJECT
public:
    /// Older messages of a chat are forgotten beyond this many.
    static constexpr int MaxPerChat = 5000;

    explicit ChatMsgStore(ChatEngine *engine);

    /// Stores a copy of the message under the next local id and marks it sent.
    /// Refused (null, and a log line) when the message is not valid or its chat is not a user,
    /// class or group.
    ChatMsgPtr send(const ChatMsgPtr &msg);

    /// Oldest first.
    std::vector<ChatMsgPtr> messages(const ClusterID &chat) const;
    ChatMsgPtr lastMessage(const ClusterID &chat) const;
    ChatMsgPtr message(const ClusterID &chat, quint64 localId) const;
    int count(const ClusterID &chat) const;
    int totalCount() const;
    void clear();

Q_SIGNALS:
    void messageStored(const OrvEngine::ChatMsgPtr &msg);

private:
    quint32 nextMessageTime(const ClusterID &chat) const;

    ChatEngine *m_engine;
    QHash<ClusterID, std::deque<ChatMsgPtr>> m_chats;
    quint64 m_nextLocalId = 1;
};

} // namespace OrvEngine
