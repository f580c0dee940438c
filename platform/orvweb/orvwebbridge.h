// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebview.h"

#include <QObject>
#include <QPointer>

/**
 * A bridge attached to one OrvWebView. Its public slots are what the page may call once the view
 * published it (OrvWebView::registerObject); it answers by running script in that view's page.
 * Only slots (and signals) are visible to the page: keep helpers as plain methods.
 */
class OrvWebBridge : public QObject
{
    Q_OBJECT
public:
    explicit OrvWebBridge(OrvWebView *view, QObject *parent = nullptr);
    ~OrvWebBridge() override;

    OrvWebView *webView() const { return m_view; }

    /// Runs a line of script in the page; lost when the view or a trusted page is gone.
    void runJavaScript(const QString &script) const;

Q_SIGNALS:
    /// Asks the child window opened under cbKey to close.
    void signalCloseSubWindow(const QString &cbKey);

private:
    QPointer<OrvWebView> m_view;
};
