// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clouddiskbridge.h"

/**
 * The homework pages' bridge inside a classroom ("myHomework" of the classroom's cloud disk):
 * homework opens on the board, sub-pages in the classroom's own windows. A classroom that takes
 * no added files refuses these with "ID_Exten_CanNot_AddFile" on its board.
 */
class HomeworkCloudWebBride : public CloudDiskBridge
{
    Q_OBJECT
public:
    HomeworkCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);

Q_SIGNALS:
    void signalSetReloadMainWidgetCbKey(const QString &cbkey);

public Q_SLOTS:
    /// The board opens the homework page, then the disk hides.
    void openHomework(const QString &url);
    void openSubWidget(const QString &url, const QString &size);
    void setReloadMainWidgetCbKey(const QString &cbkey);

public:
    /// The exam pages' message, not the cloud disk's silence: an upload may take long.
    void loadingTimeOutSlot() override;

protected:
    QString businessScenario() const override;
};
