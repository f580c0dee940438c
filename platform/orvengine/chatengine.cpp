#include "chatengine.h"
#include "chatfiletransfer.h"
#include "chatmsgstore.h"

namespace OrvEngine {

ChatEngine *ChatEngine::s_instance = nullptr;

ChatEngine *ChatEngine::instance()
{
    if (!s_instance)
        s_instance = new ChatEngine;
    return s_instance;
}

void ChatEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

ChatEngine::ChatEngine()
    : m_store(new ChatMsgStore(this))
{
    registerMetaTypes();
}

void ChatEngine::clear()
{
    m_sessions.clear();
    m_index.clear();
    m_store->clear();
}

ChatMsgPtr ChatEngine::sendChatMsg(const ChatMsgPtr &msg)
{
    return m_store->send(msg);
}

SessionPtr ChatEngine::getSession(const ClusterID &id) const
{
    const int i = indexOf(id);
    return i < 0 ? SessionPtr() : m_sessions[size_t(i)];
}

void ChatEngine::insertSessionQuietly(const SessionPtr &session)
{
    if (!session)
        return;
    const auto it = m_index.constFind(session->clusterID());
    if (it != m_index.constEnd()) {
        m_sessions[size_t(*it)] = session;
        return;
    }
    m_index.insert(session->clusterID(), int(m_sessions.size()));
    m_sessions.push_back(session);
}

void ChatEngine::insertSessions(const Sessions &sessions)
{
    Sessions added;
    for (const auto &s : sessions) {
        if (!s)
            continue;
        insertSessionQuietly(s);
        added.push_back(s);
    }
    if (!added.empty())
        Q_EMIT addSessions(added);
}

void ChatEngine::touchSessions(const Sessions &sessions)
{
    Sessions changed;
    for (const auto &s : sessions) {
        const int i = s ? indexOf(s->clusterID()) : -1;
        if (i < 0)
            continue;
        m_sessions[size_t(i)]->setMsgTime(s->msgTime());
        changed.push_back(m_sessions[size_t(i)]);
    }
    if (!changed.empty())
        Q_EMIT updateSessions(changed);
}

void ChatEngine::removeSessions(const Sessions &sessions)
{
    Sessions removed;
    for (const auto &s : sessions) {
        if (!s)
            continue;
        const auto it = m_index.find(s->clusterID());
        if (it == m_index.end())
            continue;
        removed.push_back(m_sessions[size_t(*it)]);
        m_sessions[size_t(*it)].reset();
        m_index.erase(it);
    }
    if (removed.empty())
        return;
    // One pass closes the gaps, keeping the order, and moves the index along.
    size_t to = 0;
    for (size_t from = 0; from < m_sessions.size(); ++from) {
        if (!m_sessions[from])
            continue;
        if (to != from) {
            m_sessions[to] = std::move(m_sessions[from]);
            m_index[m_sessions[to]->clusterID()] = int(to);
        }
        ++to;
    }
    m_sessions.resize(to);
    Q_EMIT deleteSessions(removed);
}

void ChatEngine::shieldingChatMsg(const ChatMsgPtr &msg)
{
    Q_EMIT chatMsgShielded(msg);
}

void ChatEngine::undoChatMsg(const ChatMsgPtr &msg)
{
    Q_EMIT chatMsgUndone(msg);
}

void ChatEngine::updateTransferStatus(const ChatMsgPtr &msg, int status)
{
    if (msg)
        msg->setSentStatus(status == 0 ? SentStatus::Sent : SentStatus::Failed);
    Q_EMIT transferStatusChanged(msg, status);
}

void ChatEngine::updateTransferProcess(const ChatMsgPtr &msg, const QString &, const QString &, qint64 done, qint64 total)
{
    Q_EMIT transferProgress(msg, done, total);
}

ChatFileTransfer *ChatEngine::fileTransfer()
{
    if (!m_fileTransfer) {
        m_fileTransfer = new ChatFileTransfer(this);
        connect(m_fileTransfer, &ChatFileTransfer::progress, this,
                [this](const ChatMsgPtr &msg, qint64 speed, qint64 remaining, qint64 done, qint64 total) {
                    Q_EMIT transferProcess(msg, speed, remaining, done, total);
                    Q_EMIT transferProgress(msg, done, total);
                });
        // A received file says nothing about how the message was sent: its status stays.
        connect(m_fileTransfer, &ChatFileTransfer::finished, this,
                [this](const ChatMsgPtr &msg, int errorNo) { Q_EMIT transferStatusChanged(msg, errorNo); });
    }
    return m_fileTransfer;
}

void ChatEngine::downloadChatFile(const ChatMsgPtr &msg)
{
    fileTransfer()->download(msg);
}

QString ChatEngine::chatFilePath(const ChatMsgPtr &msg)
{
    return msg ? fileTransfer()->localPath(*msg) : QString();
}

} // namespace OrvEngine
