// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ImagePreviewFrame.h"
#include "chatmsg.h"

#include <QList>
#include <QPair>
#include <memory>

class ImagePreviewMenu;

/**
 * The picture preview of the chat window: the pictures of a conversation one at a time. A picture
 * not yet on disk is downloaded by the chat engine while a cover shows the progress; recalls
 * close the preview (the picture shown) or drop the message from the list (another one). Forward,
 * save, save to cloud, edit and print; keys act on press; touch gestures swipe, pinch and twist.
 */
class ChatImagePreview : public ImagePreviewFrame
{
    Q_OBJECT
public:
    /// Twists of at least this many degrees (beyond whole quarter turns) turn the picture.
    static constexpr int TwistSnapDegrees = 30;

    explicit ChatImagePreview(QWidget *parent = nullptr);
    ~ChatImagePreview() override;

    void load(std::shared_ptr<OrvEngine::ChatMsg> &msg);
    void load(QList<std::shared_ptr<OrvEngine::ChatMsg>> &messages, int index);
    /// A picture on disk: its path and, when that is missing, a second path to show instead
    /// (the thumbnail the chat holds).
    void load(const QString &path, const QString &fallbackPath);
    void load(const QList<QPair<QString, QString>> &paths, int index);
    /// Closes a print dialog that is open.
    void stopPrint();

    int currentIndex() const { return m_currentIndex; }
    int count() const;
    OrvEngine::ChatMsgPtr currentMessage() const;
    QPixmap shownSwitchPixmap() const { return m_switchPixmap; }

    // Touch gestures, called by the client's gesture layer.
    virtual bool isPreviousable() const;
    virtual bool isNextable() const;
    virtual void switchingPixmap();
    virtual void gestureBeginSwitch();
    virtual void gestureUpdateSwitch(int delta);
    virtual void gestureEndSwitch();
    virtual void gesturePrevious();
    virtual void gestureNext();
    virtual void gestureZoomin();
    virtual void gestureZoomout();
    virtual void gestureBeginRotate(double angle);
    virtual void gestureRotate(double angle);
    virtual void gestureEndRotate(double angle);

public Q_SLOTS:
    void onPrevious() override;
    void onNext() override;
    void onShare();
    void onSaveToCloud();
    void addRecentOpen();
    void editBtnSlot();
    void onUpdateTransferProcess(OrvEngine::ChatMsgPtr msgPtr, qint64 speed, qint64 remainingTime, qint64 transferSize,
                                 qint64 totalSize);
    void onUpdateTransferStatus(OrvEngine::ChatMsgPtr msg, int errorNo);
    void onUndoChatMsg(OrvEngine::ChatMsgPtr msg, QString tip);

protected:
    QRect contentRect() const override;
    bool pageKeysOnPress() const override { return true; }
    void showContextMenu(const QPoint &globalPos) override;
    void printed(bool ok, qint64 elapsedMs) override;

private:
    /// Bound of every decode of a chat picture.
    static QSize m_MaxImageSize;

    void loadPic(int index);
    void showPath(int index);
    void showPixmap(const QPixmap &pixmap);
    void refreshButtons();
    void updateDescription();
    bool isShown(const OrvEngine::ChatMsgPtr &msg) const;
    QPixmap pixmapAt(int index) const;

    QList<OrvEngine::ChatMsgPtr> m_messages;
    QList<QPair<QString, QString>> m_paths;
    int m_currentIndex = 0;
    bool m_firstPicture = true;
    QString m_currentPath;

    QPixmap m_previousPixmap;
    QPixmap m_nextPixmap;
    QPixmap m_switchPixmap;
    QPixmap m_shownPixmap;
    bool m_twisting = false;

    ImagePreviewMenu *m_menu = nullptr;
};
