// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "exambasebridge.h"

#include <functional>

/**
 * Bridge of the instant-messaging cloud page ("myCloudDiskWindow"). Downloads, shares and the
 * resource centre are the host widget's business: the slots only re-emit their arguments.
 * Child windows opened with "source" 2 are exam pages and get an ImExamCloudWebBride as "myExam"
 * (FromType 1), whose exports go to the handler the host set (setExportFilesHandler) and whose
 * sub-pages open through ImSignalObject::openExamSubWidget; any other child gets an
 * ImCloudSubWindowBridge as "myCloudDiskWindow".
 */
class ImCloudWebBridge : public ExamBaseBridge
{
    Q_OBJECT
public:
    using ExportFilesHandler = std::function<void(const QString &jsonStr)>;

    ImCloudWebBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType = FromIm);

    /// Who exports the files an exam child window asks for (the cloud disk view); without one
    /// such requests are logged and dropped.
    void setExportFilesHandler(ExportFilesHandler handler) { m_exportFilesHandler = std::move(handler); }

Q_SIGNALS:
    void signalDownloadFile(const QString &fileId, const QString &sourceUrl, const QString &fileName,
                            const QString &iconBase64Data);
    void signalShareFile(const QString &data);
    void signalWebShare(const QString &jsonStr);
    void signalOpenResourceCenterFolder(const QString &data);

public Q_SLOTS:
    void downloadFile(const QString &fileId, const QString &sourceUrl, const QString &fileName,
                      const QString &iconBase64Data);
    void shareFile(const QString &data);
    void previewFile(const QString &fileId, const QString &uid, const QString &fileName);
    void viewFileList(const QString &files, int index);
    void webShare(const QString &jsonStr);
    void openResourceCenterFolder();
    void openResourceCenterFolder(const QString &data);
    void imgsView(const QString &data);
    void buildEdb();
    void shareEdoc();

protected:
    void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request) override;

private:
    ExportFilesHandler m_exportFilesHandler;
};
