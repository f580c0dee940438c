// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "FileDownloader.h"
#include "ImagePreviewFrame.h"
#include "chatmsg.h"
#include "imagepreviewmenu.h"

#include <QFuture>
#include <QFutureWatcher>
#include <QHash>
#include <QList>
#include <QPair>

class QMenu;

/**
 * The picture preview window: one picture at a time from chat-in-class messages, from pages the
 * owner supplies one by one (changeImage / load), or from local paths; zoom, rotation, the
 * full-resolution original from the web service, save, print, share, edit, download and save to
 * the cloud disk.
 *
 * Large pictures open fast: a JPEG bigger than the window is first shown from the decoder's own
 * 1/8, 1/4 or 1/2 reduction, then replaced by the full decode (bounded by m_MaxImageSize) from the
 * global thread pool; the neighbours of a path list are decoded ahead the same way.
 */
class ImagePreview : public ImagePreviewFrame
{
    Q_OBJECT
public:
    /// Bound of every decode of a picture shown here.
    static QSize m_MaxImageSize;

    enum ListMode { SingleMode = 0, PathListMode = 1, MessageListMode = 2 };
    /// Where the file shown comes from, as set by setFileKeyInfo(): picks the original's request.
    enum FileSource { OwnFile = 0, TeacherInFile = 5, SharedFile = 6, OrganizationFile = 8 };

    /**
     * lightBackground: the light look; entrancePage, schoolId, userType and isFromClassroom are
     * what analytics events of this window tell; the three flags show Edit, Print and Save to
     * cloud.
     */
    explicit ImagePreview(QWidget *parent = nullptr, bool lightBackground = false, QString entrancePage = QString(),
                          quint64 schoolId = 0, QString userType = QString(), bool isFromClassroom = false,
                          bool showEdit = true, bool showPrint = true, bool showSaveToCloud = false);
    ~ImagePreview() override;

    /// Chat-in-class picture messages; files not yet on disk are downloaded by the engine.
    void load(int index, QList<OrvEngine::ChatInClassMessagePtr> &messages);
    void load(int index, const QList<QString> &paths);
    /// One local picture and the name to show (the file's name when empty).
    void load(const QString &path, const QString &fileName);
    /// Pairs of (path, name to show).
    void load(const QList<QPair<QString, QString>> &paths, int index);
    void load(const QPixmap &pixmap);
    /// A picture of a cloud file: hasOriginal shows "view original"; the ids are the file's.
    void load(const QPixmap &pixmap, bool hasOriginal, QString fileName, quint64 fileId, QString shareId,
              quint64 ownerUid);
    /// The owner's answer to changeImage(page).
    void load(const QPixmap &pixmap, QString fileName, bool hasOriginal, int page, int pageCount);

    void setFileKeyInfo(int fileSource, quint64 userFileId, quint64 ownerUid, quint64 shareUid = 0,
                        quint64 schoolId = 0, quint64 lessonId = 0, quint64 classId = 0);
    /// Pages answered by the owner: index shown and their count.
    void setPageValue(int index, int count);
    /// The owner cannot show the page asked for: go on in the same direction.
    void skipPage();
    void setMenuType(ImagePreviewMenu::PARENT_TYPE type) { m_menuType = type; }
    void setPrintBtnIsVisible(bool visible);
    void setDownloadBtnVisible(bool visible);
    void setShareBtnVisible(bool visible);
    void setSaveToCloudeBtnVisible(bool visible);
    void setEditBtnVisible(bool visible);
    void setSeparateLineTitleVisible(bool visible);
    void setViewOriginalImageBtnVisible(bool visible);
    void startLoading(QString text);
    void stopLoading();
    /// The last paging step: 1 next, -1 previous, 0 none yet.
    int getLastCmd() const { return m_lastCmd; }

    int currentIndex() const { return m_currentIndex; }
    int pageCount() const;
    int listMode() const { return m_listMode; }
    QString currentPath() const { return m_currentPath; }
    QString currentName() const { return m_fileName; }
    /// The file the download button fetched (or the local file), empty before.
    QString downloadedFilePath() const { return m_downloadedPath; }
    ImagePreviewMenu *menu() const { return m_menu; }
    /// Paths whose decode ahead has started or finished.
    QStringList prefetchedPaths() const { return m_prefetch.keys(); }

Q_SIGNALS:
    void signalShareFile();
    void changeImage(int page);

public Q_SLOTS:
    void onPrevious() override;
    void onNext() override;
    void onViewOriginalImage();
    void onSaveImage(QString fileName) override;
    void onSaveToCloud();
    void addRecentOpen();
    QString tempSave();
    void initLoadingWidget();
    void loadingTimeOutSlot();
    void onLoadOriginalPixmap(QPixmap pixmap);
    void shareBtnSlot();
    void editBtnSlot();
    void downloadBtnSlot();
    void dropdownBtnSlot();
    void onMenuOpenFile();
    void onMenuOpenFolder();
    void downloadProgress(QString uuid, int progress);
    void downloadStatus(QString uuid, FileTransferState::TransferState state);
    void onUpdateTransferProcess(OrvEngine::ChatInClassMessagePtr msgPtr, qint64 speed, qint64 remainingTime,
                                 qint64 transferSize, qint64 totalSize);
    void onUpdateTransferStatus(OrvEngine::ChatInClassMessagePtr msg, int errorNo);
    void onUndoChatMsg(OrvEngine::ChatInClassMessagePtr msg, quint64 targetMainId, quint64 targetSubId,
                       quint64 targetUid, QString tip);
    void downloadOriginImage(QString url);

protected:
    void showContextMenu(const QPoint &globalPos) override;
    QPixmap bestPixmap() const override { return pixmap(); }

private:
    void step(int delta);
    void showIndex();
    void loadPic(int index);
    bool showPath(const QString &path, const QString &name);
    void showPixmap(const QPixmap &pixmap, const QSize &logicalSize = QSize());
    void prefetchAround(int index);
    QFuture<QImage> decodeLater(const QString &path);
    void updateDescription();
    void updatePrevNext();
    void requestOriginalAddress(bool forDownload);
    void onOriginalAddress(const QString &address, bool forDownload);
    void startOriginalDecode(const QString &path);
    void connectInClassEngine();
    void track(const QString &operation);
    QString shownName() const;

    // Sources
    int m_listMode = SingleMode;
    int m_currentIndex = 0;
    int m_pageCount = 0;
    int m_lastCmd = 0;
    QList<QString> m_paths;
    QList<QString> m_names;
    QList<OrvEngine::ChatInClassMessagePtr> m_messages;
    QString m_currentPath;
    QString m_fileName;

    // File key info
    int m_fileSource = OwnFile;
    quint64 m_userFileId = 0;
    quint64 m_ownerUid = 0;
    quint64 m_shareUid = 0;
    QString m_shareId;
    quint64 m_schoolId = 0;
    quint64 m_lessonId = 0;
    quint64 m_classId = 0;
    QString m_entrancePage;
    QString m_userType;
    bool m_fromClassroom = false;

    // The original and downloads
    QFutureWatcher<QPixmap> m_originalWatcher;
    QString m_originalPath;
    bool m_originalRetried = false;
    FileDownloader *m_downloader = nullptr;
    QString m_originalUuid;
    QString m_downloadUuid;
    QString m_downloadedPath;
    QMenu *m_downloadMenu = nullptr;

    // Decoding ahead and the sharp replacement of a quick first picture
    QHash<QString, QFuture<QImage>> m_prefetch;
    QFutureWatcher<QImage> *m_sharpWatcher = nullptr;
    QString m_sharpPath;

    ImagePreviewMenu *m_menu = nullptr;
    ImagePreviewMenu::PARENT_TYPE m_menuType = ImagePreviewMenu::PARENT_PREVIEW;
    bool m_inClassConnected = false;
    bool m_oneShot = false;
};
