// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clouddiskbridge.h"

class QNetworkReply;

/**
 * The cloud disk bridge inside a classroom: pictures are shown on the board (imageShowRequested)
 * instead of in a viewer, and the page can ask about the lesson and the classroom.
 */
class ClassroomCloudDiskBridge : public CloudDiskBridge
{
    Q_OBJECT
public:
    static constexpr const char *ImagePreviewPath = "cloudspace/api/organization/image/preview";

    ClassroomCloudDiskBridge(OrvWebView *view, WebSubWindowBridge::FromType fromType, QObject *parent = nullptr);

Q_SIGNALS:
    /// Compact JSON {"fileId", "fileName", "viewSrc"}.
    void imageShowRequested(const QString &imageData);

public Q_SLOTS:
    void showImages(const QString &fileInfos, int currentIndex);
    QString lessonInfo();
    QString classroomInfo();

private:
    void onOrganizationPreview(QNetworkReply *reply, const QString &fileId, const QString &fileName);
    void showImage(const QString &fileId, const QString &fileName, const QString &filePath);
    void showError(const QString &textId);
};
