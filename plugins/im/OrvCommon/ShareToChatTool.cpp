// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ShareToChatTool.h"
#include "ContactsSelectView.h"
#include "ContactsSelectViewModel.h"
#include "orvcommon_logging.h"
#include "orvlang.h"

#include "chatengine.h"
#include "contactsengine.h"

#include <QFileInfo>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>

using namespace OrvEngine;

ShareToChatTool *ShareToChatTool::s_instance = nullptr;

namespace {

QString compact(const QJsonValue &value)
{
    if (value.isObject())
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    if (value.isArray())
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    return value.toString();
}

} // namespace

ShareToChatTool::ShareToChatTool() = default;

ShareToChatTool::~ShareToChatTool()
{
    delete m_pickerView.data();
}

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
    if (m_picksTargets)
        openPicker(m_shares.last());
}

ContactsSelectViewModel *ShareToChatTool::picker() const
{
    return m_picker.data();
}

void ShareToChatTool::openPicker(const Share &share)
{
    if (m_pickerView) {
        // One picker at a time: the newer share takes it over; the older stays in shares().
        qCInfo(lcOrvCommon) << "share" << m_shares.size() << "replaces a share still waiting for its chats";
        delete m_pickerView.data();
    }
    ContactsSelectViewModel *model = ContactsSelectViewModel::createContactsSelectTool(nullptr);
    ContactsSelectView *view = model->view();
    view->setAttribute(Qt::WA_DeleteOnClose);
    view->setWindowTitle(OrvLang::text("ID_ShareToChat_Title"));
    m_picker = model;
    m_pickerView = view;
    connect(model, &ContactsSelectViewModel::okBtnClicked, this, [this, model, view, share] {
        const QList<ClusterID> targets = model->getSelectedContacts();
        view->close();
        sendShare(share, targets);
    });
    connect(model, &ContactsSelectViewModel::cancelBtnClicked, view, [view, share] {
        qCInfo(lcOrvCommon) << "share" << share.kind << "cancelled";
        view->close();
    });
    view->show();
}

ChatMsgPtr ShareToChatTool::messageFor(const Share &share, const ClusterID &target)
{
    ChatMsgType type = ChatMsgType::Unknown;
    QString content;
    QString extra;
    const QString &kind = share.kind;
    if (kind == QLatin1String("shareText")) {
        type = ChatMsgType::Text;
        content = compact(QJsonObject{{QStringLiteral("text"), share.payload.toString()}});
    } else if (kind == QLatin1String("shareCloudFile") && share.payload.isString()) {
        type = ChatMsgType::File;
        content = compact(QJsonObject{{QStringLiteral("userFileIds"), share.payload.toString()}});
    } else if (kind == QLatin1String("shareCloudFile") || kind == QLatin1String("shareImCloudFile")
               || kind == QLatin1String("shareSharedCloudFile")) {
        type = ChatMsgType::File;
        content = compact(share.payload);
    } else if (kind == QLatin1String("shareSharedCloudImage") || kind == QLatin1String("shareImageFile")) {
        type = ChatMsgType::Image;
        content = compact(share.payload);
    } else if (kind == QLatin1String("shareCloudExam") || kind == QLatin1String("shareNewCloudExam")
               || kind == QLatin1String("shareCloudHomework") || kind == QLatin1String("shareQuestionsExamPaper")) {
        type = ChatMsgType::Link;
        content = compact(share.payload);
        extra = compact(QJsonObject{{QStringLiteral("shareKind"), kind}});
    } else if (kind == QLatin1String("shareAttachChatMsg")) {
        const QJsonObject o = share.payload.toObject();
        type = ChatMsgType(o.value(QStringLiteral("type")).toInt());
        content = o.value(QStringLiteral("content")).toString();
        extra = o.value(QStringLiteral("extra")).toString();
    }
    if (type == ChatMsgType::Unknown || target.isUnknowType())
        return {};
    auto msg = std::make_shared<ChatMsg>(target, type, 0);
    msg->setContent(content);
    msg->setExtra(extra);
    if (kind == QLatin1String("shareAttachChatMsg")) {
        const quint64 original = share.payload.toObject().value(QStringLiteral("localId")).toString().toULongLong();
        // An extra that is not a JSON object is forwarded untouched rather than replaced.
        const bool objectExtra = extra.isEmpty() || QJsonDocument::fromJson(extra.toUtf8()).isObject();
        if (original && objectExtra)
            msg->encodeToExtra(QStringLiteral("forwardedFrom"), QString::number(original));
    }
    return msg;
}

int ShareToChatTool::sendShare(const Share &share, const QList<ClusterID> &targets)
{
    if (targets.isEmpty()) {
        qCInfo(lcOrvCommon) << "share" << share.kind << "without a chat to send to";
        return 0;
    }
    auto *contacts = ContactsEngine::instance();
    auto *chat = ChatEngine::instance();
    QList<ClusterID> sent;
    for (const ClusterID &target : targets) {
        const bool reachable = target.type() == User ? contacts->isUserValid(target.id())
                                                      : (target.type() == Class || target.type() == Group)
                                                            && contacts->getClusterInfo(target) != nullptr;
        const ChatMsgPtr msg = reachable ? messageFor(share, target) : ChatMsgPtr();
        if (!msg || !chat->sendChatMsg(msg)) {
            qCWarning(lcOrvCommon).noquote() << "share" << share.kind << "not sent to" << target.toString();
            Q_EMIT shareFailed(share.kind, QStringLiteral("ID_ShareToChat_NotSent"));
            continue;
        }
        sent.append(target);
    }
    if (!sent.isEmpty())
        Q_EMIT shareSent(share.kind, sent);
    return sent.size();
}

void ShareToChatTool::shareAttachChatMsg(ChatMsgType type, const QString &content, const QString &extra, quint64 localId)
{
    if (type == ChatMsgType::Unknown || content.isEmpty()) {
        qCWarning(lcOrvCommon) << "shareAttachChatMsg without a message type or content";
        Q_EMIT shareFailed(QStringLiteral("shareAttachChatMsg"), QStringLiteral("ID_ShareToChat_NothingToShare"));
        return;
    }
    record(QStringLiteral("shareAttachChatMsg"),
           QJsonObject{{QStringLiteral("type"), int(type)}, {QStringLiteral("content"), content},
                       {QStringLiteral("extra"), extra}, {QStringLiteral("localId"), QString::number(localId)}});
}

void ShareToChatTool::shareImageFile(const QString &path)
{
    const QFileInfo info(path);
    QImageReader reader(path);
    const QSize size = reader.size();
    if (path.isEmpty() || !info.isFile() || !reader.canRead() || !size.isValid()) {
        qCWarning(lcOrvCommon) << "shareImageFile: not a readable picture:" << path << reader.errorString();
        Q_EMIT shareFailed(QStringLiteral("shareImageFile"), QStringLiteral("ID_ShareToChat_NotAPicture"));
        return;
    }
    record(QStringLiteral("shareImageFile"),
           QJsonObject{{QStringLiteral("path"), info.absoluteFilePath()},
                       {QStringLiteral("fileName"), info.fileName()},
                       {QStringLiteral("width"), size.width()},
                       {QStringLiteral("height"), size.height()},
                       {QStringLiteral("size"), double(info.size())},
                       {QStringLiteral("format"), QString::fromLatin1(reader.format())}});
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
