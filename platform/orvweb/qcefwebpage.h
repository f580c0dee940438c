// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPointer>
#include <QWebEnginePage>

class QWebChannel;

/**
 * The page of an OrvWebView. It publishes the view's web channel to a top-level document only
 * while that document comes from a trusted place (OrvWebView::isTrustedUrl), and refuses to run
 * bridge answers in any other document, so a page that navigated away cannot receive them.
 */
class QCefWebPage : public QWebEnginePage
{
    Q_OBJECT
public:
    explicit QCefWebPage(QObject *parent = nullptr);
    ~QCefWebPage() override;

    using QWebEnginePage::runJavaScript;
    /// Runs a line of script in the page's own world. Dropped, with a log line, while the current
    /// document is not trusted.
    void runJavaScript(const QString &script);

    /// Shows html as a document of baseUrl: trusted, with the bridges, when baseUrl is.
    void setHtml(const QString &html, const QUrl &baseUrl = QUrl());

    /// The channel to publish to trusted documents; owned by the caller.
    void setBridgeChannel(QWebChannel *channel);
    /// The channel is published to the current document.
    bool isBridgeAttached() const;

Q_SIGNALS:
    void bridgeAttachedChanged(bool attached);

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int lineNumber,
                                  const QString &sourceID) override;

private:
    void attachFor(const QUrl &url);

    QPointer<QWebChannel> m_channel;
    QUrl m_contentBase; // base of the content being set, until its navigation starts
};
