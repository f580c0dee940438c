// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qcefwebpage.h"

#include "orvweb_logging.h"
#include "orvwebview.h"

#include <QAction>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QWebChannel>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <memory>

static void initOrvWebResources()
{
    Q_INIT_RESOURCE(orvweb);
}

namespace {

const QString ApiScriptName = QStringLiteral("orvClientAPI");
const QString DocumentScriptName = QStringLiteral("orvDocument");
const QString ReportPrefix = QStringLiteral("orv-document ");
// The client's own script world; pages run in the main world and cannot reach it. The web engine
// keeps world ids below 256, and hosts mostly use the low ones.
constexpr quint32 DocumentWorld = 211;

QString readResource(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCCritical(lcOrvWeb) << "missing resource" << path << "- pages will get no bridges";
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

// Qt's client library and our page API, read once.
const QString &pageLibrary()
{
    static const QString text = [] {
        initOrvWebResources();
        const QString channel = readResource(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
        const QString api = readResource(QStringLiteral(":/orvweb/orvclientapi.js"));
        return channel.isEmpty() || api.isEmpty() ? QString() : channel + QLatin1Char('\n') + api;
    }();
    return text;
}

const QString &documentScript()
{
    static const QString text = [] {
        initOrvWebResources();
        return readResource(QStringLiteral(":/orvweb/orvdocument.js"));
    }();
    return text;
}

QString newReportKey()
{
    quint32 words[4];
    QRandomGenerator::system()->fillRange(words);
    QString key;
    for (const quint32 word : words)
        key += QStringLiteral("%1").arg(word, 8, 16, QLatin1Char('0'));
    return key;
}

bool isDocumentId(const QString &id)
{
    static const QRegularExpression hex(QStringLiteral("^[0-9a-f]{32}$"));
    return hex.match(id).hasMatch();
}

// Every page, so changed trust rules reach the page scripts before the next document.
QList<QCefWebPage *> &livePages()
{
    static QList<QCefWebPage *> pages;
    return pages;
}

} // namespace

QCefWebPage::QCefWebPage(QObject *parent)
    : QWebEnginePage(parent)
    , m_key(newReportKey())
{
    livePages().append(this);
    // Created now, so it follows the loading state from the start.
    action(QWebEnginePage::Stop);
    connect(this, &QWebEnginePage::loadFinished, this, [this] {
        m_navigating = false;
        // A navigation that brought no document leaves the one before; see whether it may have
        // its bridges back.
        if (m_channel && !isBridgeAttached())
            checkDocument();
    });
    installScripts();
}

QCefWebPage::~QCefWebPage()
{
    livePages().removeOne(this);
    // Answers to checks still under way arrive while the base class goes.
    *m_alive = false;
}

void QCefWebPage::updateTrustRules()
{
    for (QCefWebPage *page : qAsConst(livePages()))
        page->installScripts();
}

void QCefWebPage::runJavaScript(const WebCallbackScript &script)
{
    if (script.isEmpty())
        return;
    if (!isBridgeAttached()) {
        qCWarning(lcOrvWeb) << "script not run in an untrusted page:" << url().toString(QUrl::RemoveQuery)
                            << script.toString().left(80);
        return;
    }
    QWebEnginePage::runJavaScript(script.toString(), DocumentWorld);
}

void QCefWebPage::setHtml(const QString &html, const QUrl &baseUrl)
{
    QWebEnginePage::setHtml(html, baseUrl);
}

void QCefWebPage::setBridgeChannel(QWebChannel *channel)
{
    if (m_channel == channel)
        return;
    detach();
    m_channel = channel;
    if (m_channel && !m_lastDocument.isEmpty())
        checkDocument();
}

bool QCefWebPage::isBridgeAttached() const
{
    return m_channel && webChannel() == m_channel && !m_attachedDocument.isEmpty();
}

void QCefWebPage::setPageConfig(const QJsonObject &config)
{
    m_config = config;
    installScripts();
}

bool QCefWebPage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    const bool accepted = QWebEnginePage::acceptNavigationRequest(url, type, isMainFrame);
    if (accepted && isMainFrame) {
        // Before the next document exists: it starts without the channel, and only its own
        // report can bring the channel back.
        ++m_navigation;
        m_navigating = true;
        detach();
        installScripts();
    }
    return accepted;
}

void QCefWebPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message,
                                           int lineNumber, const QString &sourceID)
{
    if (message.startsWith(ReportPrefix)) {
        const int space = message.indexOf(QLatin1Char(' '), ReportPrefix.size());
        // What a page writes to look like a report does not have the key.
        if (space < 0 || message.midRef(ReportPrefix.size(), space - ReportPrefix.size()) != m_key)
            return;
        const QJsonObject report = QJsonDocument::fromJson(message.midRef(space + 1).toUtf8()).object();
        onDocument({report.value(QStringLiteral("id")).toString(), QUrl(report.value(QStringLiteral("href")).toString()),
                    report.value(QStringLiteral("origin")).toString()});
        return;
    }
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

void QCefWebPage::installScripts()
{
    // The rules as they are now: the page script keeps its API out of documents that are not ours.
    QJsonObject config = m_config;
    if (!config.value(QStringLiteral("objects")).isArray())
        config.insert(QStringLiteral("objects"), QJsonArray());
    config.insert(QStringLiteral("trust"),
                  QJsonObject{{QStringLiteral("origins"), QJsonArray::fromStringList(OrvWebView::trustedPageOrigins())},
                              {QStringLiteral("paths"), QJsonArray::fromStringList(OrvWebView::pagePaths())}});
    // Scripts sent again reach the renderers late and for nothing.
    if (config == m_installedConfig)
        return;
    m_installedConfig = config;

    QWebEngineScriptCollection &collection = scripts();
    for (const QString &name : {DocumentScriptName, ApiScriptName}) {
        for (const QWebEngineScript &old : collection.findScripts(name))
            collection.remove(old);
    }

    const QString report = documentScript();
    const QString library = pageLibrary();
    if (report.isEmpty() || library.isEmpty())
        return;

    QWebEngineScript document;
    document.setName(DocumentScriptName);
    document.setSourceCode(QString(report).replace(QLatin1String("ORV_REPORT_KEY"), m_key));
    document.setInjectionPoint(QWebEngineScript::DocumentCreation);
    document.setWorldId(DocumentWorld);
    document.setRunsOnSubFrames(false);
    collection.insert(document);

    // One closure keeps QWebChannel and the configuration out of the page's globals.
    QString source = QStringLiteral("(function () {\nvar ORV_CONFIG = ");
    source += QString::fromUtf8(QJsonDocument(config).toJson(QJsonDocument::Compact));
    source += QStringLiteral(";\n");
    source += library;
    source += QStringLiteral("\n})();\n");

    QWebEngineScript api;
    api.setName(ApiScriptName);
    api.setSourceCode(source);
    api.setInjectionPoint(QWebEngineScript::DocumentCreation);
    api.setWorldId(QWebEngineScript::MainWorld);
    api.setRunsOnSubFrames(false);
    collection.insert(api);
}

void QCefWebPage::onDocument(const Document &document)
{
    m_navigating = false;
    if (!isDocumentId(document.id)) {
        detach();
        return;
    }
    if (document.id != m_lastDocument) {
        m_lastDocument = document.id;
        Q_EMIT documentChanged();
    }
    if (OrvWebView::isTrustedDocument(document.url, document.origin)) {
        attach(document);
        return;
    }
    detach();
    if (m_channel && !document.url.isEmpty() && document.url.scheme() != QLatin1String("about"))
        qCInfo(lcOrvWeb) << "no bridges for" << document.url.toString(QUrl::RemoveQuery | QUrl::RemoveUserInfo);
}

void QCefWebPage::checkDocument()
{
    const quint64 navigation = m_navigation;
    const std::shared_ptr<bool> alive = m_alive;
    QWebEnginePage::runJavaScript(QStringLiteral("window.__orvDocument ? window.__orvDocument.describe() : null"),
                                  DocumentWorld, [this, alive, navigation](const QVariant &value) {
                                      // Only while nothing else is on its way: then the document
                                      // that answered is the one that stays.
                                      if (!*alive || navigation != m_navigation || !m_channel || isNavigating())
                                          return;
                                      const QVariantMap map = value.toMap();
                                      if (map.isEmpty())
                                          return;
                                      onDocument({map.value(QStringLiteral("id")).toString(),
                                                  QUrl(map.value(QStringLiteral("href")).toString()),
                                                  map.value(QStringLiteral("origin")).toString()});
                                  });
}

bool QCefWebPage::isNavigating() const
{
    return m_navigating || action(QWebEnginePage::Stop)->isEnabled();
}

void QCefWebPage::attach(const Document &document)
{
    if (!m_channel)
        return;
    const bool was = isBridgeAttached();
    if (was && m_attachedDocument == document.id)
        return;
    m_attachedDocument = document.id;
    if (webChannel() != m_channel)
        setWebChannel(m_channel, QWebEngineScript::MainWorld);
    // The document's own script lets the client's lines through from now on, and connects the page.
    QWebEnginePage::runJavaScript(
        QStringLiteral("window.__orvDocument && window.__orvDocument.verify('%1')").arg(document.id), DocumentWorld);
    if (!was)
        Q_EMIT bridgeAttachedChanged(true);
}

void QCefWebPage::detach()
{
    const bool was = isBridgeAttached();
    m_attachedDocument.clear();
    if (webChannel())
        setWebChannel(nullptr);
    if (was)
        Q_EMIT bridgeAttachedChanged(false);
}
