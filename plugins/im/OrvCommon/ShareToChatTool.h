// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chatmsg.h"
#include "clusterid.h"

#include <QDateTime>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QVector>

class ContactsSelectViewModel;

/**
 * The share-to-chat tool: every way of sharing content into chats goes through one of its
 * operations. Each operation records what was shared (its kind, the content and the time),
 * announces it with shareRequested(), then opens the contacts selection view; the chats and
 * people picked there get the content as a chat message through the chat engine, which puts
 * those chats on top of the recent chats.
 *
 * A host that picks the targets itself calls setPicksTargets(false) and listens to
 * shareRequested(); sendShare() sends a share to the chats it chose.
 *
 * Process-wide; used on the GUI thread.
 */
class ShareToChatTool : public QObject
{
    Q_OBJECT
public:
    struct Share
    {
        QString kind;       ///< the operation's name, "shareCloudFile", "shareText", ...
        QJsonValue payload; ///< the content as given
        QDateTime time;
    };

    /// Older shares are forgotten beyond this many.
    static constexpr int MaxRecorded = 500;

    static ShareToChatTool *instance();
    static void release();

    /// Files of the user's own disk, their ids joined with ",".
    void shareCloudFile(const QString &userFileIds);
    /// One file entry of the cloud page (as sent by it), for kinds not covered below.
    void shareCloudFile(const QJsonObject &fileInfo);
    /// A file another user shared with this user.
    void shareImCloudFile(const QJsonObject &fileInfo);
    /// A chat file message for a shared cloud image / any other shared cloud file.
    void shareSharedCloudImage(const QJsonObject &chatFileMessage);
    void shareSharedCloudFile(const QJsonObject &chatFileMessage);
    /// An exam question, a paper, a homework task, a set of questions.
    void shareCloudExam(const QJsonObject &exam);
    void shareNewCloudExam(const QJsonObject &paper);
    void shareCloudHomework(const QJsonObject &homework);
    void shareQuestionsExamPaper(const QJsonObject &questions);
    void shareText(const QString &text);
    /// Forwards a chat message (a picture in the chat viewer, a file): its type, content and
    /// extra; localId is the original message's, kept in the forward's extra as "forwardedFrom".
    void shareAttachChatMsg(OrvEngine::ChatMsgType type, const QString &content, const QString &extra, quint64 localId = 0);
    /// A picture file (picture windows, screen capture). A file that is not a readable picture
    /// is refused with shareFailed().
    void shareImageFile(const QString &path);

    /// Whether a share opens the selection view and sends to what is picked there (the default).
    void setPicksTargets(bool picks) { m_picksTargets = picks; }
    bool picksTargets() const { return m_picksTargets; }
    /// The selection view-model of the share waiting for its targets; null when none is open.
    ContactsSelectViewModel *picker() const;
    /// Sends a share to chats: a person as (uid, User), a class or group as its cluster. Returns
    /// how many messages went out; a target that cannot be written to is skipped (shareFailed).
    int sendShare(const Share &share, const QList<OrvEngine::ClusterID> &targets);
    /// The message a share becomes in one chat; null when the share cannot be a message.
    static OrvEngine::ChatMsgPtr messageFor(const Share &share, const OrvEngine::ClusterID &target);

    QVector<Share> shares() const { return m_shares; }
    /// Empty Share (no kind) when nothing was shared.
    Share lastShare() const { return m_shares.isEmpty() ? Share() : m_shares.last(); }
    void clear() { m_shares.clear(); }

Q_SIGNALS:
    void shareRequested(const QString &kind, const QJsonValue &payload);
    /// The share went out to these chats.
    void shareSent(const QString &kind, const QList<OrvEngine::ClusterID> &targets);
    /// The share (or one of its targets) could not be sent; reason is a string ID.
    void shareFailed(const QString &kind, const QString &reason);

private:
    ShareToChatTool();
    ~ShareToChatTool() override;
    void record(const QString &kind, const QJsonValue &payload);
    void openPicker(const Share &share);

    QVector<Share> m_shares;
    QPointer<QObject> m_pickerView;
    QPointer<ContactsSelectViewModel> m_picker;
    bool m_picksTargets = true;
    static ShareToChatTool *s_instance;
};
