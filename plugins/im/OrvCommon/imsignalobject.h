// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"
#include "courseinfo.h"
#include "imsignaltypes.h"
#include "opaquecommonpod.h"
#include "openstudyactivitydetailfromtodopod.h"
#include "session.h"

#include <QImage>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QPoint>
#include <QPointer>
#include <QSet>
#include <QSharedPointer>
#include <QSize>
#include <QString>
#include <QUrl>
#include <QVector>
#include <vector>

class QWidget;
class OrvAVPlayer;
class VideoFrameExtractor;

/**
 * The process-wide signal hub of the IM side. Windows and bridges that do not know one another
 * exchange requests through it: one side emits, the window that owns the job has connected a
 * slot. Besides signals it keeps a little shared state and finishes micro-lecture recordings
 * (join the recorded parts, take the cover frame, hand the draft on).
 *
 * GUI thread only.
 */
class ImSignalObject : public QObject
{
    Q_OBJECT
public:
    /// Why a send-to-chat is in progress; several may be set at once.
    enum SendChatFlag : quint32 {
        SendChatNone = 0,
        SendChatFromShare = 0x01,        ///< the share-to-chat tool
        SendChatFromCloudDisk = 0x02,    ///< a cloud disk file
        SendChatFromScreenshot = 0x04,   ///< a screen capture
        SendChatFromImageEditor = 0x08,  ///< an edited picture
        SendChatFromContactCard = 0x10,  ///< a contact's card
        SendChatAny = 0x1F,
    };
    Q_ENUM(SendChatFlag)

    /// Name under which the classroom plug-in publishes its object in the extension system.
    static const char *const ClassroomPluginName;

    static ImSignalObject *instance();
    static void release();

    /// Connects the classroom start-up signals to the classroom plug-in, once per process.
    /// Does nothing (and can be called again later) while the plug-in is not loaded.
    void connectClassroomPlugin();

    void flagSendChatWith(SendChatFlag flag);
    bool testSendChatWith(SendChatFlag flag) const;
    void clearSendChatWidthFlag();

    void setScreenSharingState(bool isScreenSharing);
    bool isScreenSharing() const { return m_isScreenSharing; }
    void setMultiSelectingState(bool isMultiSelecting) { m_isMultiSelecting = isMultiSelecting; }
    bool isMultiSelecting() const { return m_isMultiSelecting; }

    void setLessonCount(int count);
    int getLessonCount() const { return m_lessonCount; }

    void setHuionSdkWidget(QWidget *widget);
    QWidget *getHuionSdkWidget() const;

    void setCreatedCourseInfo(quint64 courseId, const OrvEngine::ClusterID &clusterId);
    void getCreatedCourseInfo(quint64 &courseId, OrvEngine::ClusterID &clusterId) const;

    void flagWeChatCallBackForLmsFlags(quint64 courseId) { m_weChatCallBackCourses.insert(courseId); }
    void cleanWeChatCallBackForLmsFlags(quint64 courseId) { m_weChatCallBackCourses.remove(courseId); }
    bool testWeChatCallBackForLmsFlags(quint64 courseId) const { return m_weChatCallBackCourses.contains(courseId); }

    /// Remembers the welcome text of a cluster's first-use guidance, in the setting "UserGuidanceInfo".
    void saveUserGuidanceClusterInfo(quint64 clusterKey, const QString &welcomes);
    /// False when nothing (or nothing readable) is stored for the key.
    bool loadUserGuidanceClusterInfo(quint64 clusterKey, QString &welcomes);

    /// `method`: true when the avatar was picked from the built-in gallery, false when uploaded.
    void trackSetAvatar(bool success, bool method, const QString &failReason);
    void trackSetNickName(bool success, const QString &failReason);

    void setMicrolectureCache(int id, int duration, QString collectionName, QString videoFile, QString edbFile,
                              int collectionId, std::vector<QString> tempFiles);
    void clearMicrolectureCache();
    /// When set, the next finished merge is a recording to be saved as a draft (read once).
    void setIsCloseClassroom(bool isCloseClassroom) { m_isCloseClassroom = isCloseClassroom; }
    void setMicrolectureInfoData(const QUrl &info) { m_microlectureInfo = info; }
    QUrl getMicrolectureInfoData() const { return m_microlectureInfo; }
    /// The cover frame of the last recording saved as a draft.
    QImage coverImage() const { return m_coverImg; }

    /**
     * Forwards to OrvExternalMediaManager::instance(). The parts of the cached recording are
     * deleted only when a merge of exactly those parts into the cached video file, asked for here,
     * has finished; any other merge leaves them alone.
     */
    void mergeVideoFiles(const std::vector<QString> &parts, QString dst);
    // Forwards to OrvExternalMediaManager::instance().
    bool openVideo(const QString &path);
    void closeVideo();
    void getVideoImageSize(int &w, int &h);
    double getVideoDuration();
    void seekVideo(double time);
    void getFrameImage();
    void getFrameImage(double time);
    void splitVideoFile(const QString &src, double time, const QString &dst1, const QString &dst2);
    void clampVideoFile(const QString &src, double start, double end, const QString &dst);
    void clipGroupVideoFile(const QString &src, const QVector<QPair<double, double>> &ranges, const QString &dst);
    void breakClipGroupVideoFile();

    /// Opens the file in the shared player; once loaded, its first frame becomes the draft's cover.
    void setPlayerFile(QString file);
    /// Extracts the picture at `position` (ms) of the player's file; answered by onGetFirstFrameImage.
    void getImageByPosition(qint64 position);

    /// Registers the signal argument types for queued connections. Safe to call more than once.
    static void registerMetaTypes();

public Q_SLOTS:
    void onClassroomWindowActivated();
    void onMergeVideoFilesError(int errorNo);
    void onMergeVideoFilesFinish(QString dstVideoFile);
    void onLoaded();
    void onGetFirstFrameImage(QImage img);
    void onFrameExtractError();

Q_SIGNALS:
    // Classroom start-up and automatic actions
    void signalStartupLocalClassroom(quint64 classId, quint64 courseId, quint64 schoolId, const QString &courseName,
                                     RoomType type,
                                     QSharedPointer<OpaqueCommonPod> weikePod = QSharedPointer<OpaqueCommonPod>());
    void signalStartupClassroom(quint64 schoolId, quint64 classId, quint64 courseId, RoomType type, bool forceEnter,
                                const QString &courseName = QString(),
                                QSharedPointer<OpaqueCommonPod> pod = QSharedPointer<OpaqueCommonPod>(),
                                bool showDeviceCheckPage = true);
    void signalGuestStartupClassroom(quint64 schoolId, quint64 classId, quint64 courseId, const QString &Alias);
    void signalAutoEnterClassroom();
    void signalAutoSearchPublicClassroom();
    void signalAutoSearchOpenCourse();
    void signalAutoSearchContact();
    void signalAutoOpenMicroLecture();
    void signalAutoShowGoodsId();
    void signalEnterClassroom(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType);
    void signalEnterPrepareClassroom(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType);
    void signalViewClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType);
    void signalEvaluateClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType);
    void signalKeJianBanShuClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType);
    void signalStudyReportClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType,
                                  QSharedPointer<OpaqueCommonPod> pod = QSharedPointer<OpaqueCommonPod>());
    void signalPlaybackClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson, int fromType,
                               QSharedPointer<OpaqueCommonPod> pod = QSharedPointer<OpaqueCommonPod>());
    void signalInviteClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson);
    void signalNoteClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson);
    void signalWhiteboardClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson);
    void signalEvaluationClicked(QSharedPointer<OrvEngine::SnapshotLesson> lesson);
    void signalLeaveClassroomLocal(quint64 lessonId);
    void signalNotProcessEnterClassWidget();
    void openClassroomSetting();

    // Windows, login and logout
    void imWindowActivated();
    void classroomWindowActivated();
    void signalShowMainWindow();
    void signalHideLoginDialog();
    void signalLogOut();
    void signalLogOutClassroom();
    void signalHelpWidgetShow();
    void hasLogined();
    void hideLoginDlg();
    void guestLoginSucceed();
    void guestSearchMeetingStart();
    void signalUserInfoWidgetActivated();
    void telephoneChanged();
    void singalShowCheckUpdate();
    void signalBreakWaitUpgrade();
    void activeSubmodule(int submoduleIndex);
    void unreadMessageChanged(int count);
    void signalShowImMainWindowToolTip(const QString &messageString);
    void checkModifyPermissions(int errorNo, int networkError, bool isModify);
    void checkModifyPermissionsByEmail(int errorNo, int networkError, bool isModify);
    void signalShowUpgrade(QWidget *parent, bool hasPopUp = false, const QString &uuid = QString());
    void signalServiceVersionUpgrade(quint64 schoolId, quint64 courseId, int triggerFrom, bool rechargeable,
                                     QWidget *parentWidget = nullptr);
    void signalSchoolInfoAbnormalPopup(quint64 schoolId, quint64 courseId, int triggerFrom,
                                       bool isPlayAnimation = true);
    void signalWeakPasswdClosed();
    void signalSetPopupActivityActived();
    void singalPopupWeChatScanFollow();

    // Screenshot
    void hideImOnScreenshot(bool isHide);
    void hideDetachWindowOnScreenshot(OrvEngine::ClusterID id, bool isHide);
    void screenSharingStateChange(bool isScreenSharing);

    // Chat, sessions and contacts
    void chatWith(OrvEngine::ClusterID id, bool bScroll = true, bool bOpenHomework = false,
                  bool bCreateTempClassroom = false, bool bChat = true);
    void chatWithAndActive(OrvEngine::ClusterID id, int activeItem, bool forceReloadIfLmsTab = false);
    void selectedWith(OrvEngine::ClusterID id);
    void showSingleChat(OrvEngine::ClusterID id);
    void closeSingleChat(OrvEngine::ClusterID id);
    void selectedNews();
    void chatModuleDoubleClicked();
    void backlogModuleDoubleClicked();
    void signalGetRecentChatList();
    void sigImSyncSessionFinished();
    void signalCloseOtherQrCodeWidget();
    void contactMainWidgetWaitStop();
    void selectedZoom(const std::vector<QString> &vecZoomDescs, int count, bool isGroupZoom,
                      bool isClickSelect = false);
    void selectedAClassMember(OrvEngine::ClusterID id, quint64 uid);
    void selectedSchoolTeacher(quint64 sid, quint64 uid);
    /// The receiver fills `sessions`; connect directly.
    void signalRecentChatList(std::vector<OrvEngine::SessionPtr> &sessions);
    void signalCloseMessageToTop(OrvEngine::ClusterID clusterId, quint64 messageId);
    void signalContactsEmptyChanged(bool isEmpty);
    void signalSearchAddButtonChange(bool isNormal);
    void signalViewPersonInfo(quint64 personId, quint64 courseId, const QPoint &globalPos);
    void signalShowUserQRCodeWidget(int index = 0);
    void contactMainWidgetWaitStart(const QString &text);
    void signalSharedCardClicked(const QString &url, quint64 sid, quint64 courseId);
    void signalSharedLinkClicked(const QString &url, quint64 sid, quint64 courseId);

    // Clusters (groups and classes)
    void openClusterJoinWidget(OrvEngine::ClusterID id, int index = 0, bool autoAction = false, bool isAccess = false);
    void gotoClusterManagement();
    void openClusterManagement();
    void signalOpenClassManagement(OrvEngine::ClusterID clusterId);
    void signalDrawerClusterInfoWidget(bool isForceClose, OrvEngine::ClusterID id = OrvEngine::ClusterID(),
                                       bool autoOpenClassManagement = false);
    void signalDrawerDetachClusterInfoWidget(OrvEngine::ClusterID id, bool autoOpenClassManagement = false);
    void signalViewClusterNoticeDetails(int fromPage, quint64 contentId);
    void signalStudentConfirmdNotice(quint64 contentId);
    void signalCreateClusterNotice(bool isEdit = false, quint64 contentId = 0,
                                   OrvEngine::ClusterID clusterId = OrvEngine::ClusterID(), QWidget *parent = nullptr);
    void signalPopupClusterHomepage(OrvEngine::ClusterID clusterId, const QString &url);
    void signalClusterHomepageTitleChanged(OrvEngine::ClusterID clusterId, const QString &title);
    void signalSetTeachPlanVisible(OrvEngine::ClusterID id, int viewPermision);
    void signalOpenCreateGroupWindow(const QJsonObject &obj, QSharedPointer<QVariant> id, QWidget *parent);
    void signalDoneCreateGroup(const QJsonObject &res, QSharedPointer<QVariant> id);
    void sigCreateClassFinish(qint64 classId);
    void signalCloseUserGuidanceStudentWidget();

    // Main-menu commands
    void menuCreateFreeMeeting();
    void menuFindCourse();
    void menuCreateCourse();
    void menuCreateOpenClass();
    void menuShowUserInfo();
    void menuRecordMicrolecture();
    void prepareCourseModule();
    void notAuthSchoolNoticeSignal();
    void menuAddContacts(const QString &text = QString(), const QString &trackSourceText = QString());
    void menuSearchOpenCourse(const QString &text = QString());
    void menuSearchOpenCourseForUrlInvoke(const QString &text = QString());
    void menuSearchUserBySecretKey(const QString &text = QString());
    void menuShowGoodsId(const QString &text = QString());
    void menuSearchOpenClass(const QString &text = QString(), bool isAutoOrder = true);
    void menuSearchLmsCourse(const QString &url, quint64 conrseId,
                             QSharedPointer<QVariant> var = QSharedPointer<QVariant>());
    void menuOpenLocalFile(const QString &file);
    void menuOpenTeacherInFile(quint64 fileId);

    // Course work (homework, exams, notices, to-do)
    void openHomework(quint64 courseId, quint64 hwId, quint64 activityId = 0, const QString &extraQuery = QString());
    void openScore(quint64 courseId, quint64 hwId, quint64 activityId = 0, const QString &extraQuery = QString());
    void openExam(quint64 courseId, quint64 examId, quint64 activityId = 0);
    void refreshHomework();
    void refreshExam();
    void openHomeworkSubWidget(QWidget *fromWidget, const QString &url, const QSize &size, quint64 msgID = 0,
                               bool isTodo = false, bool isNeedShowTitleBar = true);
    void openExamSubWidget(QWidget *fromWidget, const QString &url, const QSize &size, quint64 msgID = 0,
                           bool isTodo = false, bool isNeedShowTitleBar = true);
    void openNoticeSubWidget(QWidget *fromWidget, quint64 contentId);
    void openStudyActivityWidget(QSharedPointer<OpenStudyActivityDetailFromToDoPod> pod);
    void signalUpdateTodoItem(quint64 todoId);
    void signalLMSShowTip(quint64 schoolId, quint64 courseId);
    void signalWeChatCallBackForLms(const QString &url, quint64 sid, quint64 courseId,
                                    QSharedPointer<QVariant> var = QSharedPointer<QVariant>());
    void signalCallWeChatCallBackForLms(quint64 courseId);
    void signalWebCallback(const QString &cbkey, const QString &responseData);
    void signalRefreshCloudDisk();
    void showTestBank();
    void switchToDiskCloud(const QString &url);

    // Assistant
    void signalShowAssistantHelpWidget(HelpWidgetType widgetType, bool isByLink, const QString &webParam,
                                       const QString &title = QString());
    void signalSendAssistantText(const QString &text, const QString &id);
    void signalAssistantRebotEvaluate(OrvEngine::ClusterID clusterId, quint64 contentId, quint64 msgId, int isUseful);

    // Micro-lectures and video files
    void setMicrolectureInfo(int id, int duration, int collectionId, const QString &collectionName,
                             const QString &videoFile, const QString &edbFile);
    void createMicrolecture(int id, int duration, int collectionId, const QString &collectionName,
                            const QString &videoPath, const QString &edbFilePath, const QImage &coverImg,
                            QWidget *parent = nullptr);
    void saveDraft(int id, int duration, int collectionId, const QString &collectionName, const QString &draftName,
                   const QString &videoPath, const QString &edbFilePath, const QImage &coverImg);
    void setCollectionInfo(int id, const QString &collectionName);
    void closeMicrolectureClassroom(bool isDeleteTmpFile);
    void signalMicrolectureUploadFinished(const QString &transactionId, const QString &fileId, const QString &pathInCos,
                                          const QString &fileName, quint64 duration, quint64 fileSizeInByte,
                                          const QString &lmsFileId, bool isCloseClassroom);
    void refreshMicrolecture();
    void showMicrolectureUi();
    void completeDraftRecord(quint64 id);
    void openMicrolectureSubWidget(int widgetType, const QString &url, const QSize &size, quint64 msgID = 0,
                                   QWidget *parent = nullptr);
    void showMicrolecture(const QString &url = QString(), int tabType = 0);
    void lessonCountChanged(int count);
    void signalMergeVideoError(int errorNo);
    void signalMergeVideoFileFinish(const QString &dstVideoFile);
    void splitVideoFileFinish(const QString &fileName);
    void clampVideoFileFinish(const QString &fileName);
    void clipGroupVideoFileFinish(const QString &fileName);
    void clipGroupVideoFileError(const QString &fileName, bool isBreaded);
    void clipGroupVideoFileProceValue(int value);
    void getFrameImageFinished(const QImage &image, double srcFrame, double frame);

    // Writing-pad (handwriting tablet) selection
    void signalNextWritePadSelect();
    void signalBackWritePadSelect();
    void signalSureWritePadSelect();
    void signalKeySelectWritePadSelect();
    void signalKeyDeleteWritePadSelect();
    void signalKeyPenWritePadSelect();
    void signalKeyUndoWritePadSelect();
    void signalKeyEraserWritePadSelect();
    void signalKeyCloudDiskWritePadSelect();
    void signalKeyToolWritePadSelect();
    void signalKeyRosterWritePadSelect();
    void singalCancelWritePadSelect();

private:
    ImSignalObject();
    ~ImSignalObject() override;

    QMap<quint64, QString> readGuidanceSetting(bool *readable) const;
    void emitSaveDraft(const QImage &cover);
    enum class MergeOwner {
        Other,          ///< not the cached recording
        Recording,      ///< into the recording's file, but its parts cannot be vouched for
        RecordingParts, ///< exactly the cached parts into the cached video file, asked for here
    };
    /// Whose merge into dst has finished; forgets it.
    MergeOwner takePendingMerge(const QString &dst);

    /// A merge asked for through the hub and not yet finished.
    struct PendingMerge
    {
        QStringList parts; // absolute paths, in order
        QString dst;       // absolute path
        // The media manager reported a failure while this merge ran. Its error does not say
        // which merge failed, so this one may be it.
        bool doubtful = false;
    };
    QList<PendingMerge> m_pendingMerges;

    // Micro-lecture cache
    int m_microlectureId = 0;
    int m_microlectureDuration = 0;
    QString m_collectionName;
    int m_collectionId = 0;
    QString m_videoFile;
    QString m_edbFile;
    std::vector<QString> m_tempFiles;
    std::vector<QString> m_tempFiles2;
    bool m_isCloseClassroom = false;
    QImage m_coverImg;

    int m_lessonCount = 0;
    quint32 m_sendChatFlags = 0;
    QUrl m_microlectureInfo;
    QPointer<QWidget> m_huionSdkWidget;
    bool m_isScreenSharing = false;
    bool m_isMultiSelecting = false;
    QMap<quint64, QString> m_userGuidanceInfo;
    QSet<quint64> m_weChatCallBackCourses;
    quint64 m_createdCourseId = 0;
    OrvEngine::ClusterID m_createdClusterId;

    bool m_playerConnected = false;
    // A cover was asked for and its draft not yet emitted: the player and the extractor may
    // both answer (or the player fail later while playing), but a recording is saved once.
    bool m_coverPending = false;
    VideoFrameExtractor *m_frameExtractor = nullptr;

    static ImSignalObject *m_instance;
};
