// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "websubwindowbridge.h"

/// Bridge of a child window opened from the cloud page ("myCloudDiskWindow"): previews and
/// further child windows, which get the same bridge.
class ImCloudSubWindowBridge : public WebSubWindowBridge
{
    Q_OBJECT
public:
    ImCloudSubWindowBridge(OrvWebView *view, QObject *parent);

public Q_SLOTS:
    void previewFile(const QString &fileId, const QString &uid, const QString &fileName);
    void viewFileList(const QString &files, int index);
    void imgsView(const QString &data);

protected:
    void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request) override;
};
