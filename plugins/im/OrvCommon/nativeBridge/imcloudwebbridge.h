// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "exambasebridge.h"

/**
 * Bridge of the instant-messaging cloud page ("myCloudDiskWindow"). Downloads, shares and the
 * resource centre are the host widget's business: the slots only re-emit their arguments.
 * Child windows opened with "source" 2 are exam pages and get an exam bridge as "myExam"; any
 * other child gets an ImCloudSubWindowBridge as "myCloudDiskWindow".
 */
class ImCloudWebBridge : public ExamBaseBridge
{
    Q_OBJECT
public:
    ImCloudWebBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType = FromIm);

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
};
