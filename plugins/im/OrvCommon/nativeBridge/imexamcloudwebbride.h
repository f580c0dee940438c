// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "imcloudwebbridge.h"

/**
 * The exam pages' bridge in the instant-messaging client ("myExam"): exam sub-pages open in
 * windows of the host (or, from the launcher, in the launcher), the page's reload key and its
 * downloads and exports go to the host, and the page asks whether the user teaches anywhere.
 * Pictures, courses and child windows are ExamBaseBridge's; previews are ImCloudWebBridge's
 * (imgsView opens the client's image viewer).
 */
class ImExamCloudWebBride : public ImCloudWebBridge
{
    Q_OBJECT
public:
    ImExamCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);

Q_SIGNALS:
    void signalOpenSubWidget(const QString &url, const QString &size);
    void signalSetReloadMainWidgetCbKey(const QString &cbkey);
    void signalDataDownload(const QString &urlPath);
    void signalExportFiles(const QString &jsonStr);
    void sigOpenExamByLauncher(const QString &url);

public Q_SLOTS:
    /// url: a page of the web service (a path or an address of it); size "W*H".
    void openSubWidget(const QString &url, const QString &size);
    void setReloadMainWidgetCbKey(const QString &cbkey);
    void dataDownload(const QString &urlPath);
    void exportFiles(const QString &jsonStr);
    /// The user teaches (lesson identity 3 or 4) in some class.
    bool userIdentityHasTeacher();

protected:
    QString businessScenario() const override;
};
