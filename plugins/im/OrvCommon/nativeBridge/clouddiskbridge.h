// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "exambasebridge.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

class IPptMgr;

/**
 * The bridge of the cloud disk page ("cloudDisk"), in the client or inside a classroom: opening
 * and previewing files, downloading them (save dialog, then the transfer queue), sharing them
 * into chats (ShareToChatTool), microlectures, child windows, the school's storage state.
 *
 * Every page-callable slot takes text as the page sends it; JSON that does not parse, values of
 * the wrong type and oversized input are logged and change nothing. Downloads and shares answer
 * their key with "window.orvClientAPI.callback('<key>')" (runCallBack).
 */
class CloudDiskBridge : public ExamBaseBridge
{
    Q_OBJECT
public:
    static constexpr int CloudLoadingTimeoutMs = 30000;
    /// The organisation setting that chooses the classroom's first tab ("AuthorizedResources").
    static constexpr const char *TeacherDefaultTabKey = "clouddisk/teacherDefaultTab";

    CloudDiskBridge(OrvWebView *view, WebSubWindowBridge::FromType fromType, QObject *parent = nullptr);

    /// fromType 2 and 4.
    bool clouddiskInClassroom() const;
    bool isPopWeb() const { return m_isPopWeb; }

    /// The current user teaches (lesson identity 3 or 4) in some class they are a member of.
    static bool isTeacher();
    static QString teacherDefaultTab();

    /// The update prompt: "ID_Upgrade" with text, "ID_Upgradenow_immediately" / "ID_UpgradeLater".
    void needUpdate(const QString &text);
    void runCallBack(const QString &cbKey);

Q_SIGNALS:
    void hideCloudDisk();
    void signalOpenLocalFile();
    void signalLogin();
    void sigOpenFiles(const QString &fileInfo, int index, QWidget *fromWidget);
    void signalOpenEdpx(const QString &pkgId, const QString &name);

public Q_SLOTS:
    void openFiles(const QString &fileInfos, int currentIndex);
    void previewImages(const QString &urls);
    void downloadFilesWithCbk(const QString &fileInfos, const QString &cbKey);
    void downloadFiles(const QString &fileInfos);
    void shareFiles(const QString &fileInfos);
    void shareFilesWithCbk(const QString &fileInfos, const QString &cbKey);
    bool downloadFileByUrls(const QString &urlPath);
    void batchDownloadFileByUrls(const QString &paths);
    void createEdb(const QString &json);
    void createMicrolecture(const QString &info);
    bool isTeacherInAllCluster();
    QString getAppProductEnv();
    void setIsPopWeb(bool isPopWeb);
    // openSubWindow, closeSubWindow: the base's slots, overridden below.
    void openUrlShareInClassroom(const QString &requestData, const QString &cbKey);
    void closeUrlShareInClassroom(const QString &cbKey);
    // loadingTimeOutSlot: the base's slot, overridden below.
    void openLocalFile();
    // linkView: the base's slot, overridden below.
    void openSyncSubWindow(const QString &requestData, const QString &cbKey);
    void closeSyncSubWindow(const QString &cbKey);
    int getWebShowType();
    void login();
    void openEdpx(const QString &pkgInfos);
    void jumpToClass(const QString &classId);
    void schoolInfoAbnormalPopup(const QString &json);
    void requestSchoolStorageInfo();
    void requestOrganizationFilesDownload(const QString &sid, const QString &fileIds, const QString &cbKey);

public:
    // Overrides of page-callable slots stay outside Q_SLOTS: declared again there, the channel would
    // see two methods of one signature and pick either.
    /// Refused with "ID_Exten_CanNot_AddFile" in a classroom that takes no added files; the child
    /// page gets a CloudDiskBridge of its own as "cloudDisk", marked as a pop-up.
    void openSubWindow(const QString &requestData, const QString &cbKey) override;
    void closeSubWindow(const QString &cbKey) override;
    /// Only stops the indicator (and ends a picture request): a slow page is no error worth a message.
    void loadingTimeOutSlot() override;
    /// In a classroom the board opens the link and the disk hides; elsewhere the system browser.
    void linkView(const QString &url) override;

protected:
    void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request) override;
    void prepareSubWindow(WebSubWindow *window, const QJsonObject &request) override;
    /// The classroom's board service, or null with the log line "IPptMgr is nullptr".
    IPptMgr *pptMgr() const;
    /// Shows the general message of a failed web-service answer.
    void showWebError(int networkError, int errorNo, const QString &errorText);
    /// A page window of the classroom's own: "W*H" (480 by 360 when it is not given).
    void openClassroomSubWidget(const QString &url, const QString &size);
    QString businessScenario() const override;

private:
    void download(const char *method, const QString &fileInfos, const QString &cbKey, bool answer);
    void onSingleFileAnswer(const QJsonValue &data, const QString &fallbackName, const QString &cbKey, bool answer);
    /// The folder the files go to; empty when nothing was queued.
    QString onBatchAnswer(const QJsonValue &data, const QString &cbKey, bool answer, const char *successLog);
    void share(const QJsonArray &entries, const QString &cbKey, bool answer);
    void onSchoolInfoChanged(quint64 schoolId);

    WebSubWindowBridge::FromType m_fromType;
    bool m_isPopWeb = false;
};
