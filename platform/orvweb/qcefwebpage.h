// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "webcallbackscript.h"

#include <QJsonObject>
#include <QPointer>
#include <QWebEnginePage>
#include <memory>

class QWebChannel;

/**
 * The page of an OrvWebView. Trust follows the document the page actually shows, not the address
 * it was asked to load:
 *
 * - every navigation of the main frame withdraws the web channel before it starts;
 * - each new document reports its address and origin from a script world the page cannot reach,
 *   with a key the page never sees, before any script of the page runs; the channel is published
 *   to that document only when it is trusted (OrvWebView::isTrustedDocument);
 * - a navigation that ends without a new document (no content, a download, a stopped load)
 *   leaves the channel withdrawn until the document that stayed proves to be a trusted one;
 * - lines of script from the client (runJavaScript) run only in the document that was verified:
 *   they run in that private world, which hands them to the page only when its own document is
 *   the verified one.
 */
class QCefWebPage : public QWebEnginePage
{
    Q_OBJECT
public:
    explicit QCefWebPage(QObject *parent = nullptr);
    ~QCefWebPage() override;

    /// Runs a line of script of the client in the page. Dropped, with a log line, while the current
    /// document is not a verified trusted one.
    void runJavaScript(const WebCallbackScript &script);

    /// Shows html as a document of baseUrl: trusted, with the bridges, when baseUrl is.
    void setHtml(const QString &html, const QUrl &baseUrl = QUrl());

    /// The channel to publish to trusted documents; owned by the caller.
    void setBridgeChannel(QWebChannel *channel);
    /// The channel is published to the current document.
    bool isBridgeAttached() const;

    /// What the page script tells every trusted document: the published names ("objects"), the
    /// theme and the context ids. The trust rules are added here.
    void setPageConfig(const QJsonObject &config);
    /// The trust rules changed: every page's script learns them now, before its next document.
    static void updateTrustRules();

Q_SIGNALS:
    void bridgeAttachedChanged(bool attached);
    /// Another document replaced the one the page showed (callback keys of the old one are void).
    void documentChanged();

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int lineNumber,
                                  const QString &sourceID) override;

private:
    struct Document
    {
        QString id;
        QUrl url;
        QString origin;
    };

    void installScripts();
    void onDocument(const Document &document);
    void checkDocument();
    bool isNavigating() const;
    void attach(const Document &document);
    void detach();

    QPointer<QWebChannel> m_channel;
    QJsonObject m_config;
    QJsonObject m_installedConfig;
    QString m_key;             // what documents report with; the page never sees it
    quint64 m_navigation = 0;  // counts main-frame navigations
    bool m_navigating = false; // one has started and neither ended nor brought a document yet
    QString m_lastDocument;    // id of the document that reported last
    QString m_attachedDocument;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};
