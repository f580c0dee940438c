// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebview.h"
#include "webcallbackscript.h"

#include <QObject>
#include <QPointer>

/**
 * A bridge attached to one OrvWebView. Its public slots are what the page may call once the view
 * published it (OrvWebView::registerObject); it answers by running script in that view's page.
 * Only slots (and signals) are visible to the page: keep helpers as plain methods.
 *
 * Callback keys: a slot that takes a key from the page calls acceptCallbackKey() with it. The
 * bridge then owns that key until its page shows another document or the bridge goes, so an
 * answer that another object sends for the key (answerCallbackKey(), the hub's signalWebCallback)
 * reaches this page, once, and no other.
 */
class OrvWebBridge : public QObject
{
    Q_OBJECT
public:
    /// Keys remembered at most; the oldest are forgotten first.
    static constexpr int MaxCallbackKeys = 4096;

    explicit OrvWebBridge(OrvWebView *view, QObject *parent = nullptr);
    ~OrvWebBridge() override;

    OrvWebView *webView() const { return m_view; }

    /// Runs a line of script in the page; lost when the view or a trusted page is gone.
    void runJavaScript(const WebCallbackScript &script) const;

    /// The bridge whose page last handed out cbKey, or null.
    static OrvWebBridge *callbackKeyOwner(const QString &cbKey);
    /// Answers cbKey in the page that handed it out, through the bridge that took it. False, with
    /// a log line, when no page owns the key.
    static bool answerCallbackKey(const QString &cbKey, const QString &payload);

Q_SIGNALS:
    /// Asks the child window opened under cbKey to close.
    void signalCloseSubWindow(const QString &cbKey);

protected:
    /// The page handed out cbKey in a call to this bridge.
    void acceptCallbackKey(const QString &cbKey);

private:
    void forgetCallbackKeys();

    QPointer<OrvWebView> m_view;
};
