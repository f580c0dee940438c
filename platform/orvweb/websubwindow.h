// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebview.h"

#include <QJsonObject>
#include <QPointer>
#include <QWidget>

class OrvWebBridge;

/**
 * A child web window opened for a page: its own OrvWebView, showing the request's "url".
 * Presentation keys read from the request: "title" (window title), "width" and "height" or
 * "size" ("W*H"), default 960 by 640. A relative "url" is taken relative to the parent view's page;
 * only http(s) pages and trusted local ones (OrvWebView::isTrustedUrl) are loaded.
 *
 * The page loads when the window is first shown, so bridges published with initWebBridge()
 * between construction and show() are there from the page's first script. Besides them the page
 * finds window.orvSubWindow with answer(data), which sends data to the opener under the key this
 * window was opened with (signalCbKeyData), and close().
 */
class WebSubWindow : public QWidget
{
    Q_OBJECT
public:
    WebSubWindow(const QJsonObject &request, const QString &cbKey, OrvWebView::Theme theme, QWidget *parent = nullptr);
    ~WebSubWindow() override;

    OrvWebView *webView() const { return m_view; }
    void initWebBridge(OrvWebBridge *bridge, const QString &name);

    QString cbKey() const { return m_cbKey; }
    /// "url" as the opener sent it.
    QString requestUrl() const { return m_requestUrl; }
    QJsonObject request() const { return m_request; }
    /// Where the page is loaded from.
    QUrl pageUrl() const { return m_pageUrl; }

Q_SIGNALS:
    void signalCbKeyData(const QString &cbKey, const QString &data);

public Q_SLOTS:
    /// Closes without asking when cbKey is the key this window was opened with.
    void passiveCloseWindow(const QString &cbKey);
    void sendCbKeyData(const QString &data);

protected:
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    QJsonObject m_request;
    QString m_cbKey;
    QString m_requestUrl;
    QUrl m_pageUrl;
    OrvWebView *m_view = nullptr;
    bool m_loaded = false;
};
