// SPDX-License-Identifier: LGPL-2.1-or-later
#include "chatmsgstore.h"
#include "chatengine.h"
#include "contactsengine.h" // qHash(ClusterID)
#include "orvengine_logging.h"

#include <QDateTime>

namespace OrvEngine {

ChatMsgStore::ChatMsgStore(ChatEngine *engine)
    : QObject(engine)
    , m_engine(engine)
{
}

quint32 ChatMsgStore::nextMessageTime(const ClusterID &chat) const
{
    // Seconds are coarse: a message sent in the same second as the newest chat's last one still
    // has to put its own chat on top.
    const quint32 now = quint32(QDateTime::currentSecsSinceEpoch());
    quint32 newest = 0;
    ClusterID newestChat;
    for (const auto &s : m_engine->getSessions()) {
        if (s && s->msgTime() >= newest) {
            newest = s->msgTime();
            newestChat = s->clusterID();
        }
    }
    if (now > newest || (newestChat == chat && now == newest))
        return now;
    return newestChat == chat ? newest : newest + 1;
}

ChatMsgPtr ChatMsgStore::send(const ChatMsgPtr &msg)
{
    if (!msg || !msg->isValid()) {
        qCWarning(lcOrvEngine) << "not sending an invalid chat message";
        return {};
    }
    const ClusterID chat = msg->clusterID();
    if (chat.type() != User && chat.type() != Class && chat.type() != Group) {
        qCWarning(lcOrvEngine).noquote() << "cannot send a message to" << chat.toString();
        return {};
    }
    // Every send is a new message with a local id of its own, forwarded ones included.
    auto stored = std::make_shared<ChatMsg>(chat, msg->type(), m_nextLocalId++);
    stored->setContent(msg->content());
    stored->setExtra(msg->extra());
    stored->setSentStatus(SentStatus::Sent);

    auto &list = m_chats[chat];
    list.push_back(stored);
    while (int(list.size()) > MaxPerChat)
        list.pop_front();

    const auto session = std::make_shared<Session>(chat, nextMessageTime(chat));
    if (m_engine->getSession(chat))
        m_engine->touchSessions({session});
    else
        m_engine->insertSessions({session});
    qCDebug(lcOrvEngine).noquote() << "message" << stored->localID() << "sent to" << chat.toString();
    Q_EMIT messageStored(stored);
    return stored;
}

std::vector<ChatMsgPtr> ChatMsgStore::messages(const ClusterID &chat) const
{
    const auto it = m_chats.constFind(chat);
    if (it == m_chats.constEnd())
        return {};
    return std::vector<ChatMsgPtr>(it->begin(), it->end());
}

ChatMsgPtr ChatMsgStore::lastMessage(const ClusterID &chat) const
{
    const auto it = m_chats.constFind(chat);
    return it == m_chats.constEnd() || it->empty() ? ChatMsgPtr() : it->back();
}

ChatMsgPtr ChatMsgStore::message(const ClusterID &chat, quint64 localId) const
{
    const auto it = m_chats.constFind(chat);
    if (it == m_chats.constEnd())
        return {};
    for (const auto &m : *it) {
        if (m->localID() == localId)
            return m;
    }
    return {};
}

int ChatMsgStore::count(const ClusterID &chat) const
{
    const auto it = m_chats.constFind(chat);
    return it == m_chats.constEnd() ? 0 : int(it->size());
}

int ChatMsgStore::totalCount() const
{
    int n = 0;
    for (const auto &list : m_chats)
        n += int(list.size());
    return n;
}

void ChatMsgStore::clear()
{
    m_chats.clear();
}

} // namespace OrvEngine
