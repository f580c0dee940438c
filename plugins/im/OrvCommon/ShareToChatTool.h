// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QJsonValue>
#include <QObject>
#include <QVector>

/**
 * The share-to-chat tool: every way of sharing content into chats goes through one of its
 * operations. Each operation records what was shared (its kind, the content and the time) and
 * announces it with shareRequested(); picking the target chats is the job of whoever listens.
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
    /// A picture file on this computer (a screen capture, an edited picture).
    void shareImageFile(const QString &path);

    QVector<Share> shares() const { return m_shares; }
    /// Empty Share (no kind) when nothing was shared.
    Share lastShare() const { return m_shares.isEmpty() ? Share() : m_shares.last(); }
    void clear() { m_shares.clear(); }

Q_SIGNALS:
    void shareRequested(const QString &kind, const QJsonValue &payload);

private:
    ShareToChatTool() = default;
    ~ShareToChatTool() override = default;
    void record(const QString &kind, const QJsonValue &payload);

    QVector<Share> m_shares;
    static ShareToChatTool *s_instance;
};
