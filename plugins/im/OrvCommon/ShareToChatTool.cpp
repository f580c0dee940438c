// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ShareToChatTool.h"
#include "orvcommon_logging.h"

ShareToChatTool *ShareToChatTool::s_instance = nullptr;

ShareToChatTool *ShareToChatTool::instance()
{
    if (!s_instance)
        s_instance = new ShareToChatTool;
    return s_instance;
}

void ShareToChatTool::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void ShareToChatTool::record(const QString &kind, const QJsonValue &payload)
{
    m_shares.append({kind, payload, QDateTime::currentDateTime()});
    if (m_shares.size() > MaxRecorded)
        m_shares.remove(0, m_shares.size() - MaxRecorded);
    qCInfo(lcOrvCommon) << "share" << kind;
    Q_EMIT shareRequested(kind, payload);
}

void ShareToChatTool::shareCloudFile(const QString &userFileIds)
{
    if (userFileIds.isEmpty()) {
        qCWarning(lcOrvCommon) << "shareCloudFile without file ids";
        return;
    }
    record(QStringLiteral("shareCloudFile"), userFileIds);
}

void ShareToChatTool::shareCloudFile(const QJsonObject &fileInfo)
{
    record(QStringLiteral("shareCloudFile"), fileInfo);
}

void ShareToChatTool::shareImCloudFile(const QJsonObject &fileInfo)
{
    record(QStringLiteral("shareImCloudFile"), fileInfo);
}

void ShareToChatTool::shareSharedCloudImage(const QJsonObject &chatFileMessage)
{
    record(QStringLiteral("shareSharedCloudImage"), chatFileMessage);
}

void ShareToChatTool::shareSharedCloudFile(const QJsonObject &chatFileMessage)
{
    record(QStringLiteral("shareSharedCloudFile"), chatFileMessage);
}

void ShareToChatTool::shareCloudExam(const QJsonObject &exam)
{
    record(QStringLiteral("shareCloudExam"), exam);
}

void ShareToChatTool::shareNewCloudExam(const QJsonObject &paper)
{
    record(QStringLiteral("shareNewCloudExam"), paper);
}

void ShareToChatTool::shareCloudHomework(const QJsonObject &homework)
{
    record(QStringLiteral("shareCloudHomework"), homework);
}

void ShareToChatTool::shareQuestionsExamPaper(const QJsonObject &questions)
{
    record(QStringLiteral("shareQuestionsExamPaper"), questions);
}

void ShareToChatTool::shareText(const QString &text)
{
    if (text.isEmpty()) {
        qCWarning(lcOrvCommon) << "shareText without text";
        return;
    }
    record(QStringLiteral("shareText"), text);
}

void ShareToChatTool::shareImageFile(const QString &path)
{
    if (path.isEmpty()) {
        qCWarning(lcOrvCommon) << "shareImageFile without a file";
        return;
    }
    record(QStringLiteral("shareImageFile"), path);
}
