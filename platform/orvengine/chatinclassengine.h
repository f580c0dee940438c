// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chatmsg.h"

#include <QHash>
#include <QObject>

namespace OrvEngine {

class ChatFileTransfer;

/**
 * Reference engine of the chat inside a classroom: downloads the files of in-class messages
 * (content as for chat messages: "fileId", "fileName", optional "url") and tells about recalled
 * messages. Files land in the folder of the class (its main id) of the chat file transfer.
 */
class ChatInClassEngine : public QObject
{
    Q_OBJECT
public:
    static ChatInClassEngine *instance();
    static void release();

    ChatFileTransfer *fileTransfer() const { return m_transfer; }
    void downloadFile(const ChatInClassMessagePtr &msg);
    QString filePath(const ChatInClassMessagePtr &msg) const;

    /// The message was recalled by targetUid (tip: the text to show).
    void undoMessage(const ChatInClassMessagePtr &msg, quint64 targetMainId, quint64 targetSubId, quint64 targetUid,
                     const QString &tip);

Q_SIGNALS:
    void transferProcess(const OrvEngine::ChatInClassMessagePtr &msg, qint64 speed, qint64 remainingTime,
                         qint64 transferSize, qint64 totalSize);
    /// 0 complete, else a ChatFileTransfer::Error.
    void transferStatusChanged(const OrvEngine::ChatInClassMessagePtr &msg, int errorNo);
    void messageUndone(const OrvEngine::ChatInClassMessagePtr &msg, quint64 targetMainId, quint64 targetSubId,
                       quint64 targetUid, const QString &tip);

private:
    ChatInClassEngine();
    ChatMsgPtr asChatMsg(const ChatInClassMessagePtr &msg) const;

    ChatFileTransfer *m_transfer = nullptr;
    QHash<ChatMsg *, ChatInClassMessagePtr> m_pending;
    static ChatInClassEngine *s_instance;
};

} // namespace OrvEngine
