// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "websubwindowbridge.h"

#include <QPointer>
#include <QWidget>

class CloudDiskBridge;
class ExamBaseBridge;
class ImCloudWebBridge;
class OrvReloadButton;
class OrvWebView;
class QFrame;
class QPushButton;

/**
 * The cloud disk page in the client or inside a classroom: the browser view with the page's
 * bridges published ("cloudDisk" always; outside a classroom "myCloudDiskWindow"
 * (ImCloudWebBridge), "myHomework" (ImHomeworkCloudWebBride) and "myExam" (ImExamCloudWebBride);
 * in a classroom "myExam" (ExamCloudWebBride) and "myHomework" (HomeworkCloudWebBride)), the start
 * address, a tool bar with the reload button (and a close button in a classroom), and the page's
 * requests forwarded to the owner as signals or handled here (downloads, shares, sub-pages).
 */
class CloudDiskWebView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int BaseWidth = 960;
    static constexpr int BaseHeight = 640;
    /// Settings key: the folder of the offline page package under "<app data>/CloudSpacePkg/".
    static constexpr const char *OfflinePackageKey = "cloudspaceOfflinePkgEntry";

    explicit CloudDiskWebView(WebSubWindowBridge::FromType fromType, QWidget *parent = nullptr);
    ~CloudDiskWebView() override;

    WebSubWindowBridge::FromType fromType() const { return m_fromType; }
    bool clouddiskInClassroom() const;
    OrvWebView *webView() const { return m_view; }
    CloudDiskBridge *cloudDiskBridge() const { return m_cloudBridge; }
    /// "myExam" and "myHomework".
    ExamBaseBridge *examBridge() const;
    ExamBaseBridge *homeworkBridge() const;

    bool isLoginSucess() const { return m_loginSuccess; }
    void setLoginSuccess(bool success);

    /// Loads the start address, or the login page while the client's user is not signed in
    /// (a classroom is always signed in). The flag starts as the core engine's login object says.
    void initUrl();
    /// The address initUrl() would load.
    QUrl startUrl() const;
    QUrl loginUrl() const;
    void showGoodsId(const QString &id);
    void showTestBank();
    void showCloudDiskUrl(const QString &path);
    void updateGemeotry(float scale);
    void renetConnectRestoreExtend(const QString &url, int type);
    /// Loads the current address again, joined to the web service address as it is now.
    void reloadPage();
    void adjustToolBarPos();

Q_SIGNALS:
    void imageShowRequested(const QString &imageData);
    void hideCloudDisk();
    void hideExtendCloudDisk();
    void signalOpenLocalFile();
    void sigOpenFiles(const QString &fileInfo, int index, QWidget *fromWidget);
    void sigOpenHomeworkByLauncher(const QString &url);
    void sigOpenExamByLauncher(const QString &url);
    void signalLogin();
    void signalReloadPage();

public Q_SLOTS:
    /// Loads the start page when the widget is visible and shows no page yet (or a failed one).
    void reloadCloudDisk();
    /// Runs "refresh()" in a loaded page, else reloadCloudDisk().
    void refreshWebpage();
    void downloadFile(const QString &fileId, const QString &sourceUrl, const QString &fileName,
                      const QString &iconBase64Data);
    void shareFile(const QString &data);
    void openHomeworkSubWidget(const QString &url, const QString &size);
    void setHomeworkReloadMainWidgetCbKey(const QString &cbkey);
    void openExamSubWidget(const QString &url, const QString &size);
    void setExamReloadMainWidgetCbKey(const QString &cbkey);
    void webShare(const QString &jsonStr);
    void openResourceCenterFolder(const QString &data);
    void dataDownload(const QString &urlPath);
    void exportFiles(const QString &jsonStr);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void createBridges();
    void connectEngines();
    void createToolBar();
    void loadPath(const QString &path);
    void answerPage(const QString &cbKey);
    void onExportAnswers(const QList<QPair<QUrl, QString>> &files);

    WebSubWindowBridge::FromType m_fromType;
    OrvWebView *m_view = nullptr;
    QPointer<CloudDiskBridge> m_cloudBridge;
    QPointer<ImCloudWebBridge> m_imBridge;
    QPointer<ExamBaseBridge> m_examBridge;
    QPointer<ExamBaseBridge> m_homeworkBridge;
    bool m_loginSuccess = false;
    bool m_lastLoadFailed = false;
    QString m_homeworkReloadCbKey;
    QString m_examReloadCbKey;
    QWidget *m_toolBar = nullptr;
    OrvReloadButton *m_reloadButton = nullptr;
    QFrame *m_line = nullptr;
    QPushButton *m_closeButton = nullptr;
};
