// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clouddiskbridge.h"

/**
 * The exam pages' bridge inside a classroom ("myExam" of the classroom's cloud disk): links are
 * shown to everyone on the board, sub-pages open in the classroom's own windows, pictures in the
 * client's viewer. A classroom that takes no added files refuses these with
 * "ID_Exten_CanNot_AddFile" on its board.
 */
class ExamCloudWebBride : public CloudDiskBridge
{
    Q_OBJECT
public:
    ExamCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);

Q_SIGNALS:
    void signalSetReloadMainWidgetCbKey(const QString &cbkey);

public Q_SLOTS:
    /// {"url", "title"}: the board shares the page with everyone, then the disk hides.
    void linkSync(const QString &jsonStr);
    void imgsView(const QString &data);
    /// size "W*H", 480 by 360 when not given.
    void openSubWidget(const QString &url, const QString &size);
    void setReloadMainWidgetCbKey(const QString &cbkey);

public:
    /// The exam pages' message, not the cloud disk's silence: an upload may take long.
    void loadingTimeOutSlot() override;

protected:
    QString businessScenario() const override;
};
