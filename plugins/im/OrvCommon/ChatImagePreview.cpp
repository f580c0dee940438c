// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ChatImagePreview.h"

#include "ShareToChatTool.h"
#include "chatengine.h"
#include "chatfiletransfer.h"
#include "cloudstyle.h"
#include "imageeditor.h"
#include "imagepreviewmenu.h"
#include "orvcommon_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvtrack.h"
#include "orvutils.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QPrintDialog>
#include <QPushButton>
#include <QUrlQuery>

namespace {

QString chatStyleSheet()
{
    const bool dark = CloudStyle::theme() == OrvWebView::Dark;
    QFile file(dark ? QStringLiteral(":/im/qss/ChatList/ImagePreview_dark.qss")
                    : QStringLiteral(":/im/qss/ChatList/ImagePreview.qss"));
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvCommon) << "no style sheet" << file.fileName();
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

QString downloadingText(int percent)
{
    return QStringLiteral("%1%\n").arg(percent) + OrvLang::text("ID_ChatImagePreview_downloading");
}

} // namespace

QSize ChatImagePreview::m_MaxImageSize = QSize(2000, 2000);

ChatImagePreview::ChatImagePreview(QWidget *parent)
    : ImagePreviewFrame(parent, CloudStyle::theme() != OrvWebView::Dark)
{
    setObjectName(QStringLiteral("ChatImagePreview"));
    setStyleSheet(chatStyleSheet());
    m_btnSaveToCloud->show();
    m_downloadBtn->hide();
    m_btnViewOriginalImage->hide();

    connect(m_shareBtn, &QPushButton::clicked, this, &ChatImagePreview::onShare);
    connect(m_btnSaveToCloud, &QPushButton::clicked, this, &ChatImagePreview::onSaveToCloud);
    connect(m_pBtnEdit, &QPushButton::clicked, this, &ChatImagePreview::editBtnSlot);

    auto *engine = OrvEngine::ChatEngine::instance();
    connect(engine, &OrvEngine::ChatEngine::transferProcess, this, &ChatImagePreview::onUpdateTransferProcess);
    connect(engine, &OrvEngine::ChatEngine::transferStatusChanged, this, &ChatImagePreview::onUpdateTransferStatus);
    connect(engine, &OrvEngine::ChatEngine::chatMsgUndone, this,
            [this](const OrvEngine::ChatMsgPtr &msg) { onUndoChatMsg(msg, OrvLang::text("ID_MessageBeenRecalled")); });
    connect(engine, &OrvEngine::ChatEngine::chatMsgShielded, this,
            [this](const OrvEngine::ChatMsgPtr &msg) { onUndoChatMsg(msg, OrvLang::text("ID_MessageBeenBlocked")); });
}

ChatImagePreview::~ChatImagePreview() = default;

int ChatImagePreview::count() const
{
    return m_messages.isEmpty() ? m_paths.size() : m_messages.size();
}

OrvEngine::ChatMsgPtr ChatImagePreview::currentMessage() const
{
    return m_messages.value(m_currentIndex);
}

QRect ChatImagePreview::contentRect() const
{
    const int top = m_titleBar->height() + (m_separateLineTitle->isHidden() ? 0 : 1);
    return rect().adjusted(0, top, 0, -(m_footBar->height() + m_textDesc->height()));
}

// ---- loading ------------------------------------------------------------------------------------

void ChatImagePreview::load(std::shared_ptr<OrvEngine::ChatMsg> &msg)
{
    QList<std::shared_ptr<OrvEngine::ChatMsg>> list{msg};
    load(list, 0);
}

void ChatImagePreview::load(QList<std::shared_ptr<OrvEngine::ChatMsg>> &messages, int index)
{
    m_messages.clear();
    for (const auto &msg : messages) {
        if (msg)
            m_messages.append(msg);
    }
    m_paths.clear();
    if (m_messages.isEmpty()) {
        qCWarning(lcOrvCommon) << "ChatImagePreview: no messages to show";
        return;
    }
    m_currentIndex = qBound(0, index, m_messages.size() - 1);
    loadPic(m_currentIndex);
}

void ChatImagePreview::load(const QString &path, const QString &fallbackPath)
{
    load({{path, fallbackPath}}, 0);
}

void ChatImagePreview::load(const QList<QPair<QString, QString>> &paths, int index)
{
    if (paths.isEmpty()) {
        qCWarning(lcOrvCommon) << "ChatImagePreview: no paths to show";
        return;
    }
    m_messages.clear();
    m_paths = paths;
    m_currentIndex = qBound(0, index, m_paths.size() - 1);
    showPath(m_currentIndex);
}

void ChatImagePreview::updateDescription()
{
    const int n = count();
    setPageText(n > 1 ? QStringLiteral("%1/%2").arg(m_currentIndex + 1).arg(n) : QString());
}

void ChatImagePreview::refreshButtons()
{
    m_btnPrevious->setEnabled(m_currentIndex >= 1);
    m_btnNext->setEnabled(m_currentIndex < count() - 1);
    updateDescription();
}

void ChatImagePreview::showPixmap(const QPixmap &pixmap)
{
    hideMask();
    if (m_firstPicture) {
        m_firstPicture = false;
        if (!isVisible())
            adjustDialogSize(pixmap.size());
    }
    m_shownPixmap = pixmap;
    resetParameters();
    setPicture(pixmap);
    adjustImageView();
    adjustRestoreButton();
    adjustZoomButton();
    adjustDragState();
    refreshButtons();
    switchingPixmap();
}

void ChatImagePreview::showPath(int index)
{
    const QPair<QString, QString> pair = m_paths.value(index);
    QString path = pair.first;
    if (!QFileInfo::exists(path))
        path = pair.second;
    const QPixmap pixmap = OrvUtils::loadFromPath(path, m_MaxImageSize);
    m_title->setText(QFileInfo(pair.first).fileName());
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ChatImagePreview cannot show" << pair.first << pair.second;
        showTip(OrvLang::text("ID_ImagePreview_CannotOpen"));
        refreshButtons();
        return;
    }
    m_currentPath = path;
    showPixmap(pixmap);
}

void ChatImagePreview::loadPic(int index)
{
    const OrvEngine::ChatMsgPtr msg = m_messages.value(index);
    if (!msg)
        return;
    m_title->setText(msg->decodeFromContent(QStringLiteral("fileName")).toString());
    addRecentOpen();
    refreshButtons();
    auto *engine = OrvEngine::ChatEngine::instance();
    const QString path = engine->chatFilePath(msg);
    if (!path.isEmpty() && QFileInfo::exists(path)) {
        const QPixmap pixmap = OrvUtils::loadFromPath(path, m_MaxImageSize);
        if (!pixmap.isNull()) {
            m_currentPath = path;
            showPixmap(pixmap);
            return;
        }
        qCInfo(lcOrvCommon) << "file invalid, redownload:" << path;
    }
    m_currentPath.clear();
    showMask(downloadingText(0));
    engine->downloadChatFile(msg);
}

bool ChatImagePreview::isShown(const OrvEngine::ChatMsgPtr &msg) const
{
    const OrvEngine::ChatMsgPtr shown = currentMessage();
    if (!msg || !shown)
        return false;
    return shown == msg || (shown->localID() == msg->localID() && shown->clusterID() == msg->clusterID());
}

void ChatImagePreview::onUpdateTransferProcess(OrvEngine::ChatMsgPtr msgPtr, qint64, qint64, qint64 transferSize,
                                               qint64 totalSize)
{
    if (!isShown(msgPtr) || totalSize <= 0)
        return;
    showMask(downloadingText(int(qBound<qint64>(0, transferSize * 100 / totalSize, 100))));
}

void ChatImagePreview::onUpdateTransferStatus(OrvEngine::ChatMsgPtr msg, int errorNo)
{
    if (!isShown(msg))
        return;
    switch (errorNo) {
    case OrvEngine::ChatFileTransfer::Complete: {
        const QString path = OrvEngine::ChatEngine::instance()->chatFilePath(msg);
        QFile file(path);
        const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        const QPixmap pixmap = OrvUtils::loadFromData(bytes, m_MaxImageSize, true);
        if (pixmap.isNull()) {
            qCWarning(lcOrvCommon) << "ChatImagePreview: the downloaded file is not a picture" << path;
            showMask(OrvLang::text("ID_downloadfailed"));
            return;
        }
        m_currentPath = path;
        showPixmap(pixmap);
        return;
    }
    case OrvEngine::ChatFileTransfer::Recalled:
        onUndoChatMsg(msg, OrvLang::text("ID_MessageBeenRecalled"));
        return;
    case OrvEngine::ChatFileTransfer::Cancelled:
        return;
    default:
        qCWarning(lcOrvCommon) << "ChatImagePreview: download of message" << msg->localID() << "failed," << errorNo;
        showMask(OrvLang::text("ID_downloadfailed"));
        return;
    }
}

void ChatImagePreview::onUndoChatMsg(OrvEngine::ChatMsgPtr msg, QString tip)
{
    if (!msg)
        return;
    int found = -1;
    for (int i = 0; i < m_messages.size(); ++i) {
        const OrvEngine::ChatMsgPtr &m = m_messages.at(i);
        if (m == msg || (m->localID() == msg->localID() && m->clusterID() == msg->clusterID()
                         && m->sentStatus() == msg->sentStatus())) {
            found = i;
            break;
        }
    }
    if (found < 0)
        return;
    qCInfo(lcOrvCommon) << "ChatImagePreview: message" << msg->localID() << "gone," << tip;
    if (found == m_currentIndex) {
        stopPrint();
        close();
        return;
    }
    m_messages.removeAt(found);
    if (found < m_currentIndex)
        --m_currentIndex;
    refreshButtons();
    switchingPixmap();
}

// ---- paging and gestures ------------------------------------------------------------------------

void ChatImagePreview::onPrevious()
{
    setZoomEnabled(true);
    if (m_currentIndex <= 0) {
        refreshButtons();
        return;
    }
    --m_currentIndex;
    if (m_messages.isEmpty())
        showPath(m_currentIndex);
    else
        loadPic(m_currentIndex);
}

void ChatImagePreview::onNext()
{
    setZoomEnabled(true);
    if (m_currentIndex >= count() - 1) {
        refreshButtons();
        return;
    }
    ++m_currentIndex;
    if (m_messages.isEmpty())
        showPath(m_currentIndex);
    else
        loadPic(m_currentIndex);
}

QPixmap ChatImagePreview::pixmapAt(int index) const
{
    if (index < 0 || index >= count())
        return QPixmap();
    QString path;
    if (!m_messages.isEmpty()) {
        path = OrvEngine::ChatEngine::instance()->chatFilePath(m_messages.at(index));
    } else {
        path = m_paths.at(index).first;
        if (!QFileInfo::exists(path))
            path = m_paths.at(index).second;
    }
    if (path.isEmpty() || !QFileInfo::exists(path))
        return QPixmap();
    // Only shown while a finger swipes: the window's size is enough.
    return OrvUtils::loadFromPath(path, contentRect().size());
}

bool ChatImagePreview::isPreviousable() const
{
    return m_btnPrevious->isEnabled();
}

bool ChatImagePreview::isNextable() const
{
    return m_btnNext->isEnabled();
}

void ChatImagePreview::switchingPixmap()
{
    m_previousPixmap = pixmapAt(m_currentIndex - 1);
    m_nextPixmap = pixmapAt(m_currentIndex + 1);
}

void ChatImagePreview::gestureBeginSwitch()
{
    m_switchPixmap = QPixmap();
}

void ChatImagePreview::gestureUpdateSwitch(int delta)
{
    const QPixmap wanted = delta < 1 ? m_nextPixmap : m_previousPixmap;
    if (wanted.isNull() || wanted.cacheKey() == m_switchPixmap.cacheKey())
        return;
    m_switchPixmap = wanted;
    setPicture(m_switchPixmap);
    adjustImageView();
}

void ChatImagePreview::gestureEndSwitch()
{
    if (m_switchPixmap.isNull())
        return;
    m_switchPixmap = QPixmap();
    setPicture(m_shownPixmap);
    adjustImageView();
    adjustRestoreButton();
    adjustZoomButton();
    adjustDragState();
}

void ChatImagePreview::gesturePrevious()
{
    if (isPreviousable())
        onPrevious();
}

void ChatImagePreview::gestureNext()
{
    if (isNextable())
        onNext();
}

void ChatImagePreview::gestureZoomin()
{
    onZoomin();
}

void ChatImagePreview::gestureZoomout()
{
    onZoomout();
}

void ChatImagePreview::gestureBeginRotate(double)
{
    m_twisting = true;
    if (scale() > fitScale() && !fuzzyEqual(scale(), fitScale()))
        backToFit();
}

void ChatImagePreview::gestureRotate(double angle)
{
    if (m_twisting)
        setLiveRotation(angle);
}

void ChatImagePreview::gestureEndRotate(double angle)
{
    m_twisting = false;
    setLiveRotation(0);
    // Whole degrees within the last quarter, the sign of the angle kept.
    const int rest = int(angle) % 90;
    if (rest >= TwistSnapDegrees)
        turnBy(90);
    else if (rest <= -TwistSnapDegrees)
        turnBy(270);
}

// ---- actions ------------------------------------------------------------------------------------

void ChatImagePreview::addRecentOpen()
{
    const OrvEngine::ChatMsgPtr msg = currentMessage();
    const QString fileId = msg ? msg->decodeFromContent(QStringLiteral("fileId")).toString() : QString();
    if (fileId.isEmpty())
        return;
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("referenceID"), fileId);
    OrvHttpReply *reply = OrvHttpManager::instance()->postForm(QStringLiteral("/api/user/addRecentOpen"), form);
    connect(reply, &OrvHttpReply::finished, this, [](const QJsonValue &, int networkError, int errorNo, const QString &text) {
        if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo)
            qCWarning(lcOrvCommon) << "/api/user/addRecentOpen : error" << networkError << errorNo << text;
    });
}

void ChatImagePreview::onShare()
{
    const OrvEngine::ChatMsgPtr msg = currentMessage();
    if (msg) {
        ShareToChatTool::instance()->shareAttachChatMsg(msg->type(), msg->content(), msg->extra(), msg->localID());
        return;
    }
    if (!m_currentPath.isEmpty()) {
        ShareToChatTool::instance()->shareImageFile(m_currentPath);
        return;
    }
    qCWarning(lcOrvCommon) << "ChatImagePreview can not be shared";
}

void ChatImagePreview::onSaveToCloud()
{
    const OrvEngine::ChatMsgPtr msg = currentMessage();
    const QString shareId = msg ? msg->decodeFromContent(QStringLiteral("shareId")).toString() : QString();
    if (shareId.isEmpty()) {
        qCWarning(lcOrvCommon) << "/cloudspace/api/user/saveSharedFile : error, the message has no shareId";
        return;
    }
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("shareId"), shareId);
    form.addQueryItem(QStringLiteral("shareUid"), msg->decodeFromContent(QStringLiteral("shareUid"),
                                                                         QString::number(msg->clusterID().id()))
                                                      .toString());
    form.addQueryItem(QStringLiteral("folderId"), QStringLiteral("0"));
    form.addQueryItem(QStringLiteral("messageType"), QString::number(int(msg->type())));
    form.addQueryItem(QStringLiteral("timeStamp"), QString::number(QDateTime::currentMSecsSinceEpoch()));
    OrvHttpReply *reply = OrvHttpManager::instance()->postForm(QStringLiteral("/cloudspace/api/user/saveSharedFile"), form);
    connect(reply, &OrvHttpReply::finished, this, [this](const QJsonValue &, int networkError, int errorNo, const QString &text) {
        if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
            qCWarning(lcOrvCommon) << "/cloudspace/api/user/saveSharedFile : error" << networkError << errorNo << text;
            return;
        }
        showTip(OrvLang::text("ID_SaveSuccessfully"));
    });
}

void ChatImagePreview::editBtnSlot()
{
    OrvTrack::instance()->track(QStringLiteral("StartEditingPictures"),
                                {{QStringLiteral("entrance_page"), QStringLiteral("ChatWindow")},
                                 {QStringLiteral("is_from_classroom"), false}});
    if (pixmap().isNull()) {
        qCWarning(lcOrvCommon) << "ChatImagePreview: no picture to edit";
        return;
    }
    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->setEntrancePage(QStringLiteral("ChatWindow"));
    editor->setTrackIds(0, 0, 0, QString());
    editor->showImage(m_currentPath, pixmap(), false, this);
}

void ChatImagePreview::showContextMenu(const QPoint &globalPos)
{
    if (pixmap().isNull())
        return;
    if (!m_menu) {
        m_menu = new ImagePreviewMenu(this);
        connect(m_menu, &ImagePreviewMenu::doSave, this, &ChatImagePreview::onSave);
        connect(m_menu, &ImagePreviewMenu::doShare, this, &ChatImagePreview::onShare);
        connect(m_menu, &ImagePreviewMenu::doEdit, this, &ChatImagePreview::editBtnSlot);
        connect(m_menu, &ImagePreviewMenu::signal_saveToCloud, this, &ChatImagePreview::onSaveToCloud);
    }
    const OrvEngine::ChatMsgPtr msg = currentMessage();
    m_menu->ShowMenuByPixmap(pixmap(), globalPos, ImagePreviewMenu::PARENT_CHAT, msg ? msg->clusterID().id() : 0,
                             msg ? msg->localID() : 0, m_currentPath);
}

void ChatImagePreview::stopPrint()
{
    const auto dialogs = findChildren<QPrintDialog *>();
    for (QPrintDialog *dialog : dialogs)
        dialog->reject();
}

void ChatImagePreview::printed(bool ok, qint64 elapsedMs)
{
    const OrvEngine::ChatMsgPtr msg = currentMessage();
    OrvTrack::instance()->track(
        QStringLiteral("Print"),
        {{QStringLiteral("file_id"), msg ? msg->decodeFromContent(QStringLiteral("fileId")).toString() : QString()},
         {QStringLiteral("file_type"), QStringLiteral("image")},
         {QStringLiteral("print_sucess"), ok},
         {QStringLiteral("print_turn_type"), (rotation() % 180) ? QStringLiteral("landscape") : QStringLiteral("portrait")},
         {QStringLiteral("print_conversion_duration"), elapsedMs}});
}
