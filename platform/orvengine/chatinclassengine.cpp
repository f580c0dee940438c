// SPDX-License-Identifier: LGPL-2.1-or-later
#include "chatinclassengine.h"
#include "chatfiletransfer.h"

namespace OrvEngine {

ChatInClassEngine *ChatInClassEngine::s_instance = nullptr;

ChatInClassEngine *ChatInClassEngine::instance()
{
    if (!s_instance)
        s_instance = new ChatInClassEngine;
    return s_instance;
}

void ChatInClassEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

ChatInClassEngine::ChatInClassEngine()
    : m_transfer(new ChatFileTransfer(this))
{
    registerMetaTypes();
    qRegisterMetaType<ChatInClassMessagePtr>("OrvEngine::ChatInClassMessagePtr");
    connect(m_transfer, &ChatFileTransfer::progress, this,
            [this](const ChatMsgPtr &msg, qint64 speed, qint64 remaining, qint64 done, qint64 total) {
                const ChatInClassMessagePtr original = m_pending.value(msg.get());
                if (original)
                    Q_EMIT transferProcess(original, speed, remaining, done, total);
            });
    connect(m_transfer, &ChatFileTransfer::finished, this, [this](const ChatMsgPtr &msg, int errorNo) {
        const ChatInClassMessagePtr original = m_pending.take(msg.get());
        if (original)
            Q_EMIT transferStatusChanged(original, errorNo);
    });
}

// The transfer works on chat messages: an in-class message travels as one of the class's cluster.
ChatMsgPtr ChatInClassEngine::asChatMsg(const ChatInClassMessagePtr &msg) const
{
    auto chat = std::make_shared<ChatMsg>(ClusterID(msg->mainId(), ClusterType::Class), ChatMsgType::Image, msg->msgId());
    chat->setContent(msg->content());
    return chat;
}

void ChatInClassEngine::downloadFile(const ChatInClassMessagePtr &msg)
{
    if (!msg)
        return;
    for (auto it = m_pending.cbegin(); it != m_pending.cend(); ++it) {
        if (it.value() == msg)
            return;
    }
    const ChatMsgPtr chat = asChatMsg(msg);
    m_pending.insert(chat.get(), msg);
    if (!m_transfer->download(chat))
        m_pending.remove(chat.get());
}

QString ChatInClassEngine::filePath(const ChatInClassMessagePtr &msg) const
{
    return msg ? m_transfer->localPath(*asChatMsg(msg)) : QString();
}

void ChatInClassEngine::undoMessage(const ChatInClassMessagePtr &msg, quint64 targetMainId, quint64 targetSubId,
                                    quint64 targetUid, const QString &tip)
{
    Q_EMIT messageUndone(msg, targetMainId, targetSubId, targetUid, tip);
}

} // namespace OrvEngine
