// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qcefwebpage.h"

#include "orvweb_logging.h"
#include "orvwebview.h"

#include <QWebChannel>
#include <QWebEngineScript>

QCefWebPage::QCefWebPage(QObject *parent)
    : QWebEnginePage(parent)
{
    // Second line of defence: whatever way the address changed, re-check it.
    connect(this, &QWebEnginePage::urlChanged, this, [this](const QUrl &url) { attachFor(url); });
}

QCefWebPage::~QCefWebPage() = default;

void QCefWebPage::runJavaScript(const QString &script)
{
    if (!isBridgeAttached()) {
        qCWarning(lcOrvWeb) << "script not run in an untrusted page:" << url().toString(QUrl::RemoveQuery)
                            << script.left(80);
        return;
    }
    QWebEnginePage::runJavaScript(script, QWebEngineScript::MainWorld);
}

void QCefWebPage::setHtml(const QString &html, const QUrl &baseUrl)
{
    // The engine navigates to a data: address; the document's origin is baseUrl.
    m_contentBase = baseUrl.isEmpty() ? QUrl(QStringLiteral("about:blank")) : baseUrl;
    QWebEnginePage::setHtml(html, baseUrl);
}

void QCefWebPage::setBridgeChannel(QWebChannel *channel)
{
    if (m_channel == channel)
        return;
    m_channel = channel;
    setWebChannel(nullptr);
    attachFor(url());
}

bool QCefWebPage::isBridgeAttached() const
{
    return m_channel && webChannel() == m_channel;
}

bool QCefWebPage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    // Decided before the new document exists, so it never sees a channel it should not have.
    if (isMainFrame) {
        if (url.scheme() == QLatin1String("data") && !m_contentBase.isEmpty())
            attachFor(m_contentBase);
        else
            attachFor(url);
        m_contentBase.clear();
    }
    return QWebEnginePage::acceptNavigationRequest(url, type, isMainFrame);
}

void QCefWebPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message,
                                           int lineNumber, const QString &sourceID)
{
    const QString where = QStringLiteral("%1:%2").arg(QUrl(sourceID).toString(QUrl::RemoveQuery)).arg(lineNumber);
    switch (level) {
    case ErrorMessageLevel:
        qCWarning(lcOrvWebConsole).noquote() << where << message;
        break;
    case WarningMessageLevel:
        qCInfo(lcOrvWebConsole).noquote() << where << message;
        break;
    default:
        qCDebug(lcOrvWebConsole).noquote() << where << message;
        break;
    }
}

void QCefWebPage::attachFor(const QUrl &url)
{
    const bool wanted = m_channel && OrvWebView::isTrustedUrl(url);
    if (wanted == isBridgeAttached())
        return;
    if (wanted) {
        setWebChannel(m_channel, QWebEngineScript::MainWorld);
    } else {
        if (m_channel && !url.isEmpty())
            qCInfo(lcOrvWeb) << "no bridges for" << url.toString(QUrl::RemoveQuery | QUrl::RemoveUserInfo);
        setWebChannel(nullptr);
    }
    Q_EMIT bridgeAttachedChanged(wanted);
}
