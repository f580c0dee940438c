// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "imcloudwebbridge.h"

/**
 * The homework pages' bridge in the instant-messaging client ("myHomework"): homework sub-pages
 * open in windows of the host (or in the launcher), and the page's reload key goes to the host.
 */
class ImHomeworkCloudWebBride : public ImCloudWebBridge
{
    Q_OBJECT
public:
    ImHomeworkCloudWebBride(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);

Q_SIGNALS:
    void signalOpenSubWidget(const QString &url, const QString &size);
    void signalSetReloadMainWidgetCbKey(const QString &cbkey);
    void sigOpenHomeworkByLauncher(const QString &url);

public Q_SLOTS:
    void openSubWidget(const QString &url, const QString &size);
    void setReloadMainWidgetCbKey(const QString &cbkey);

protected:
    QString businessScenario() const override;
};
