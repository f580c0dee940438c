// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chatmsg.h"
#include "session.h"

#include <QHash>
#include <QObject>
#include <QVector>

namespace OrvEngine {

class ChatFileTransfer;
class ChatMsgStore;

/// Reference chat engine: the recent sessions, and the message notifications of the share tool.
class ChatEngine : public QObject
{
    Q_OBJECT
public:
    static ChatEngine *instance();
    static void release();

    virtual Sessions getSessions() const { return m_sessions; }
    virtual SessionPtr getSession(const ClusterID &id) const;

    void insertSessions(const Sessions &sessions);
    /// Sets the last-message time of known sessions.
    void touchSessions(const Sessions &sessions);
    void removeSessions(const Sessions &sessions);
    void insertSessionQuietly(const SessionPtr &session);
    void clear();

    /// The messages of every chat (chatmsgstore.h).
    ChatMsgStore *messageStore() const { return m_store; }
    /// Sends a message to its chat: stored, and the chat becomes the newest recent chat.
    /// Null when the message was refused.
    ChatMsgPtr sendChatMsg(const ChatMsgPtr &msg);

    // Notifications about a message; the engine records them for whoever watches.
    void shieldingChatMsg(const ChatMsgPtr &msg);
    void undoChatMsg(const ChatMsgPtr &msg);
    void updateTransferStatus(const ChatMsgPtr &msg, int status);
    void updateTransferProcess(const ChatMsgPtr &msg, const QString &fileKey, const QString &path, qint64 done, qint64 total);

    // Files of messages: downloads report through transferProcess() and transferStatusChanged()
    // (0 complete, else a ChatFileTransfer::Error).
    ChatFileTransfer *fileTransfer();
    void downloadChatFile(const ChatMsgPtr &msg);
    /// Where the message's file is kept once downloaded; empty when it names none.
    QString chatFilePath(const ChatMsgPtr &msg);

Q_SIGNALS:
    void updateSessions(const OrvEngine::Sessions &sessions);
    void deleteSessions(const OrvEngine::Sessions &sessions);
    void addSessions(const OrvEngine::Sessions &sessions);
    void chatMsgShielded(const OrvEngine::ChatMsgPtr &msg);
    void chatMsgUndone(const OrvEngine::ChatMsgPtr &msg);
    void transferStatusChanged(const OrvEngine::ChatMsgPtr &msg, int status);
    void transferProgress(const OrvEngine::ChatMsgPtr &msg, qint64 done, qint64 total);
    void transferProcess(const OrvEngine::ChatMsgPtr &msg, qint64 speed, qint64 remainingTime, qint64 transferSize,
                         qint64 totalSize);

protected:
    ChatEngine();

private:
    /// Position of the chat's session in m_sessions, -1 when there is none.
    int indexOf(const ClusterID &id) const { return m_index.value(id, -1); }

    // Sessions in the order they came, and where each chat's session is in that list.
    Sessions m_sessions;
    QHash<ClusterID, int> m_index;
    ChatFileTransfer *m_fileTransfer = nullptr;
    ChatMsgStore *m_store;
    static ChatEngine *s_instance;
};

} // namespace OrvEngine
