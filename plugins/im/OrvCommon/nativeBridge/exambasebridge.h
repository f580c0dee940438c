// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "websubwindowbridge.h"

#include <QFutureWatcher>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPixmap>
#include <QPointer>
#include <QSize>
#include <QStringList>
#include <utility>
#include <vector>

class ExamDownloader;
class QTimer;
class QWidget;
class UploadImageByQRCodeWidget;
class WaitingSpinnerWidget;

/**
 * Base of the exam, homework and cloud disk bridges. Exam and homework pages attach pictures to
 * questions and answers through it; it also answers their questions about courses, teachers and
 * groups, opens links and child windows, and shows the loading indicator with its time-out.
 *
 * Attaching pictures, questionImageUpload(requestData, cbKey) with {"uploadMode", "role",
 * "supportImage"}: the pictures are gathered by the mode (phone by QR code for a teacher (0) or
 * a student (5), local files (1), the cloud disk (2), a screenshot (3), a screenshot with the
 * client hidden (4)), each is shrunk on a worker thread and uploaded, strictly one after
 * another in the order gathered, with the progress on the spinner. The page then gets one
 * answer: "window.orvClientAPI.callback('<cbKey>', '[{"from": mode, "imageUrl": address}, ...]')".
 * A picture that fails is reported (message and usage event) and left out; the others still go.
 * No answer comes when nothing was uploaded. One request runs at a time per bridge; a second one
 * while the first is under way is refused with a log line.
 *
 * Edited answer pictures (examEditImgs) are uploaded in the background by ExamUploadObject; the
 * bridge whose page opened the editor last gets the states as
 * "window.orvClientAPI.callback('commitExamEditImgs', '<state>')".
 *
 * Hub answers: ImSignalObject::signalWebCallback(key, data) runs
 * "window.orvClientAPI.callback('<key>', '<data>')" (escaped when the data needs it) once, in the
 * page that handed out the key (OrvWebBridge::answerCallbackKey); an answer for a key no page
 * handed out is dropped with a log line.
 */
class ExamBaseBridge : public WebSubWindowBridge
{
    Q_OBJECT
public:
    /// Exam and homework pages wait this long; the cloud disk sets its own.
    static constexpr int LoadingTimeoutMs = 300000;
    static constexpr int SpinnerInnerRadius = 4;
    static constexpr int SpinnerLineLength = 15;
    static constexpr int SpinnerLineWidth = 6;
    static constexpr qreal SpinnerRoundness = 4.0;
    static constexpr qreal SpinnerOpacity = 0.5;

    /// Local pictures up to this size are taken (25 MiB).
    static constexpr qint64 MaxLocalImageBytes = 26214400;
    /// Local pictures with a side of this many pixels or more are refused.
    static constexpr int MaxLocalImageSide = 10000;
    /// The cloud disk page that offers pictures to pick.
    static constexpr const char *CloudImagePickerQuery =
        "type=courseware&forbidTransFailed=1&forbidEppt=1&forbidEdoc=1&imgMax=1&onlyImg=1";
    /// Where the transcoding details of a cloud file are asked for.
    static constexpr const char *TransDetailPath = "cloudspace/api/user/file/trans/detail";
    /// Settings: the folder local pictures were last picked from.
    static constexpr const char *UploadFolderKey = "examUploadImagePath";
    /// Settings: child pages and pickers open modal.
    static constexpr const char *SubWidgetModalKey = "webSubWidgetModal";
    /// Settings: exam pictures go to the cloud object storage rather than the web service.
    static constexpr const char *ObjectStorageKey = "examUploadByObjectStorage";
    /// The usage event of every gathered picture's upload.
    static constexpr const char *UploadTrackEvent = "UploadQuestionImage";

    /// How the pictures of a request are gathered: the page's "uploadMode", reported as "from".
    enum UploadMode {
        QrCodeTeacher = 0,
        LocalFiles = 1,
        CloudDiskFiles = 2,
        Screenshot = 3,
        ScreenshotHidingClient = 4,
        QrCodeStudent = 5,
    };
    Q_ENUM(UploadMode)

    /// One picture on its way up.
    struct ExamUploadFile
    {
        enum State { Waiting, Shrinking, Uploading, Uploaded, Failed };
        QString path;
        QString taskId;
        State state = Waiting;
        bool temporary = false; ///< written by the bridge (screenshot, phone photo), removed after
        QString uploadPath;     ///< the shrunk copy that goes up
    };

    ExamBaseBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);
    ~ExamBaseBridge() override;

    /// Shows the spinner over the view with text ("ID_Loading_Ellipsis" when empty) and starts
    /// the time-out; a second call restarts the time-out.
    void startLoading(const QString &text = QString());
    void stopLoading();
    /// New text on a running spinner (upload progress).
    void updateLoadingProcess(const QString &text);
    bool isLoading() const;
    int loadingTimeout() const;

    /// A picture request is under way (gathering, shrinking or uploading).
    bool isUploading() const { return m_requestActive; }
    /// The pictures still to upload and the ones done, in order.
    QList<ExamUploadFile> pendingFiles() const { return m_pending; }
    /// {"from", "imageUrl"} of every picture uploaded for the request under way.
    QJsonArray uploadedImages() const { return m_results; }
    int uploadType() const { return m_uploadType; }
    /// The phone code shown for the request under way, or null.
    UploadImageByQRCodeWidget *qrCodeWidget() const;

    /// Checks local pictures before anything is uploaded: names of files of more than 25 MiB,
    /// with a side of 10,000 pixels or more, and of files that are no readable picture.
    static bool isImageMatch(const QStringList &files, QStringList *tooLarge, QStringList *tooManyPixels,
                             QStringList *unreadable);
    /// Name of the upload type in the usage event.
    static QString uploadTypeName(int mode);
    /// The "midsize" address of a cloud picture's transcoding details, absolute; empty when there
    /// is none (a board file, a transcoding that has not finished).
    static QString midsizeAddress(const QJsonObject &detail, const QUrl &base);

Q_SIGNALS:
    void signalUploadExamImage();

public Q_SLOTS:
    /// Opens url in the system browser, or with FromType 2 (classroom) in the client's in-app browser.
    /// Subclasses override it outside Q_SLOTS, so the page sees one linkView.
    virtual void linkView(const QString &url);
    void webUserInfo(const QString &jsonStr);
    void linkShare(const QString &jsonStr);
    void examEditImgs(const QString &data, const QString &cbKey);
    void examFailEditImgsReloadUpload(const QString &data, const QString &cbKey);
    void examDeleteEditImageItem(const QString &data, const QString &cbKey);
    void questionImageUpload(const QString &requestData, const QString &cbKey);
    // openSubWindow, closeSubWindow: the base's slots (a plain WebSubWindowBridge as "cloudDisk").
    void refreshExamList(const QString &cbKey);
    QString courseTeacherList(const QString &requestData, const QString &cbKey);
    QString getAllMyCoursesInfo(const QString &requestData);
    QString getSomeClusterInfo(const QString &clusterIdsInJson);
    void getGroupUserInfo(const QString &groupId, const QString &userIdsInJson, const QString &cbKey);

protected Q_SLOTS:
    // Steps of a picture request; not for pages.
    void onCommitExamEditImgs(const QJsonObject &imageObject);
    void onShot(bool bHide);
    void onGrabFinished(const QPixmap &pixmap);
    void onUploadMultipleImagesByQrCodeFinish(const std::vector<std::pair<QString, QSize>> &images);
    void onUploadImageByQrCodeFinish(const QPixmap &pixmap);
    void onUploadExamImage();
    void adjustPixmapfinish();
    void onUploadProgress(const QString &taskId, qint64 bytesSent, qint64 bytesTotal);
    void uploadExamFileSlot(const QString &strTaskId, const QJsonObject &jsonDataObject, int networkError, int errorNo,
                            const QString &errorString);
    void onTransFileDetailFinished(quint64 fileId, quint64 fileOwner, quint64 ownerUid, const QString &path,
                                   const QJsonObject &detail, int networkError, int errorNo, const QString &errorText,
                                   bool bFoul, const QString &replaceUrl);
    void finishUpload();

public Q_SLOTS:
    /// Tells the user the operation was cancelled, then stops the indicator and ends a picture
    /// request: its running upload is cancelled, what was uploaded already reaches the page.
    virtual void loadingTimeOutSlot();

protected:
    void setLoadingTimeout(int ms);
    WaitingSpinnerWidget *loadingSpinner();
    void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request) override;

    /// Ends the picture request under way: its running upload is cancelled, what went up already
    /// reaches the page.
    void cancelImageRequest();
    /// "exam" or "homework", reported with uploads.
    virtual QString businessScenario() const;
    bool isInClassroom() const;
    /// A classroom that takes no added files refuses through its board ("ID_Exten_CanNot_AddFile").
    bool refusedByClassroom();
    /// A sub-page a page names: a path is taken on the client's web service; only web addresses
    /// pass (empty otherwise, with a log line).
    static QUrl subPageAddress(const QString &url);

    /// Screenshots wait this long after the client's windows were hidden.
    static constexpr int HideSettleMs = 400;

private:
    void startUpload();
    /// The editor's result for the image the page asked to edit: into the upload keeper.
    void onImageEdited(const QString &path);
    void sendUploadTypeTrack(bool success);
    void beginRequest(const QString &cbKey, int mode);
    void endRequest();
    void openQrCodeWidget(int mode, bool multiple);
    void closeQrCodeWidget();
    void pickLocalFiles();
    void pickCloudFiles();
    void onCloudFilesPicked(const QString &params);
    void requestNextTransDetail();
    void addTemporaryImage(const QPixmap &pixmap);
    void failCurrentFile(const char *messageId, const QString &detail);
    void showInformation(const QString &text);
    QWidget *dialogParent() const;
    int currentIndex() const;
    void removeTemporary(const ExamUploadFile &file);

    QTimer *m_loadingTimer = nullptr;
    QPointer<WaitingSpinnerWidget> m_spinner;

    // The picture request under way.
    bool m_requestActive = false;
    QString m_cbKey;
    int m_uploadType = -1;
    QList<ExamUploadFile> m_pending;
    int m_current = -1; ///< index in m_pending being shrunk or uploaded
    QJsonArray m_results;
    bool m_failureShown = false;
    QPointer<UploadImageByQRCodeWidget> m_qrWidget;
    QFutureWatcher<QByteArray> *m_adjustWatcher = nullptr;
    QString m_adjusting; ///< the file being shrunk
    QList<QJsonObject> m_cloudPicks;
    QPointer<QWidget> m_cloudPicker;
    QPointer<QWidget> m_hiddenWindow; ///< minimised for a screenshot
    QPointer<ExamDownloader> m_editDownload;
};
