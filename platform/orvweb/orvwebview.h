// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

/*
 * OrvWeb: the client's embedded browser and the base classes of page bridges (Qt WebEngine).
 *
 *   OrvWebView : QWebEngineView                      orvwebview.h
 *     enum Theme { Light, Dark }; theme() / setTheme(Theme) / themeChanged(Theme)
 *     registerObject(OrvWebBridge *, const QString &name)   publish before the page loads
 *     deregisterObject(OrvWebBridge *); registeredObject(name); registeredNames()
 *     QCefWebPage *webPage(); isLoadedFinished(); reload(); load(QUrl); url(); setHtml(html, baseUrl)
 *     setSchoolId(QString) / schoolId(); setCourseId(QString) / courseId()
 *     isBridgeAttached(): the current document is a trusted one and has the bridges
 *     signal documentChanged(): another document replaced the one shown
 *     static setTrustedOrigins(QList<QUrl>) / addTrustedOrigin(QUrl) / trustedOrigins()
 *     static setPagePaths(QStringList) / pagePaths(): where the pages of those origins are
 *       (default "/client/")
 *     static setOfflinePackageRoots(QStringList) / offlinePackageRoots()
 *     static isTrustedUrl(QUrl): qrc:, file: under an offline package root, or an http(s) page
 *       path of a trusted origin or of OrvHttpManager::baseUrl()'s origin.
 *     static isTrustedDocument(QUrl, origin): the same for a document that was loaded, whose
 *       origin must also be that of its address (not a sandbox's). Nothing else gets bridges.
 *   QCefWebPage : QWebEnginePage                     qcefwebpage.h
 *     runJavaScript(const WebCallbackScript &): only in the verified trusted document
 *     setHtml(html, baseUrl): the document counts as coming from baseUrl
 *   OrvWebBridge : QObject                           orvwebbridge.h
 *     OrvWebBridge(OrvWebView *view, QObject *parent); webView(); runJavaScript(const WebCallbackScript &)
 *     signal signalCloseSubWindow(const QString &cbKey)
 *     protected acceptCallbackKey(cbKey) in slots that take a key; static answerCallbackKey(cbKey,
 *       payload) answers it in the page that handed it out, once
 *   GlobalWebBridge : OrvWebBridge                   globalwebbridge.h
 *     commonNotice(const QString &name, const QJsonObject &); updateStorageState(const QJsonObject &)
 *   WebSubWindowBridge : GlobalWebBridge             websubwindowbridge.h
 *     enum FromType; WebSubWindowBridge(OrvWebView *, QObject *parent, FromType = FromIm); fromType()
 *     virtual slots openSubWindow(const QString &requestData, const QString &cbKey),
 *       closeSubWindow(const QString &cbKey); protected openWebSubWindow(requestData, cbKey, parent,
 *       &request) -> WebSubWindow* (the shared steps), virtual initSubWindowBridge(window, request)
 *       (the child's bridge), virtual prepareSubWindow(window, request) (before it shows),
 *       virtual answerSubWindowData(cbKey, data). Override openSubWindow /
 *       closeSubWindow outside Q_SLOTS, or the channel sees two slots of one signature.
 *       FromType: FromIm 0, FromImCloudPage 1, FromClassroom 2, FromLauncher 3, FromClassroomNoAddFile 4
 *   WebSubWindow : QWidget                           websubwindow.h
 *     WebSubWindow(QJsonObject request, QString cbKey, OrvWebView::Theme, QWidget *parent)
 *     webView(); initWebBridge(OrvWebBridge *, const QString &name); cbKey(); requestUrl()
 *     signal signalCbKeyData(const QString &cbKey, const QString &data); slot passiveCloseWindow(cbKey)
 *   WebSubWindowManger                               websubwindowmanger.h
 *     instance()->getWebSubWindow(const QString &url, bool byPath, const QString &cbKey) -> QPointer<QWidget>
 *   WebCallbackScript                                webcallbackscript.h
 *     every line of script the client runs in a page (answers "window.orvClientAPI.callback(...)",
 *     notices, theme), escaped as needed, and the {"result", "expand"} object
 *   SystemBrowser                                    systembrowser.h
 *     openUrl(QUrl) in the desktop's browser (http, https only); setOpener() for tests
 *   InAppWebHandler : QObject                        inappwebhandler.h
 *     the host's in-app browser, published in ExtensionSystem as InAppWebHandler::ExtensionName
 *
 * Page side (resources/orvclientapi.js in the main world, resources/orvdocument.js in the client's
 * own world, both injected into every top-level document): each published bridge is
 * window.<name>; answers arrive through window.orvClientAPI.callback(key, data), which calls what
 * the page registered with window.orvClientAPI.on(key, fn) / once(key, fn) and fires the window
 * event "orvclientcallback" ({key, data}). Notices: orvClientAPI.onNotice(name, fn).
 *
 * Page calls arrive on the GUI thread with every argument converted to the slot's parameter type:
 * a number arrives as its text, null as empty text, text that is no number as 0 for an int. The
 * channel itself refuses (with a log line) objects or arrays for a QString and calls with the
 * wrong number of arguments. Bridges take QString (and int) parameters and must accept any text. Do not put QObject pointers in the signals or return values
 * of a published bridge: the channel would hand those objects, with all their slots, to the page.
 */

#include <QHash>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QWebEngineView>

class OrvWebBridge;
class QCefWebPage;
class QWebChannel;

/**
 * The client's embedded browser view. Bridges are published to the page through a QWebChannel;
 * the page reaches them under their registration names once the page-side script connected.
 */
class OrvWebView : public QWebEngineView
{
    Q_OBJECT
public:
    enum Theme { Light = 0, Dark = 1 };
    Q_ENUM(Theme)

    /// Where the client's pages are on the web service and the other trusted origins.
    static constexpr const char *DefaultPagePath = "/client/";

    explicit OrvWebView(QWidget *parent = nullptr);
    explicit OrvWebView(Theme theme, QWidget *parent = nullptr);
    ~OrvWebView() override;

    /// Publishes bridge under name, replacing what was published under that name. Pages loaded
    /// from now on see it; the view forgets the bridge when it is destroyed.
    void registerObject(OrvWebBridge *bridge, const QString &name);
    void deregisterObject(OrvWebBridge *bridge);
    OrvWebBridge *registeredObject(const QString &name) const;
    QStringList registeredNames() const;

    QCefWebPage *webPage() const { return m_page; }
    using QWebEngineView::load;
    /// Loads url with the trust rules as they are now.
    void load(const QUrl &url);
    /// Shows html as a document of baseUrl (see QCefWebPage::setHtml).
    void setHtml(const QString &html, const QUrl &baseUrl = QUrl());

    Theme theme() const { return m_theme; }
    void setTheme(Theme theme);

    /// The last load of the current page finished successfully.
    bool isLoadedFinished() const { return m_loadFinished; }

    QString schoolId() const { return m_schoolId; }
    void setSchoolId(const QString &schoolId);
    QString courseId() const { return m_courseId; }
    void setCourseId(const QString &courseId);

    bool isBridgeAttached() const;

    static void setTrustedOrigins(const QList<QUrl> &origins);
    static void addTrustedOrigin(const QUrl &origin);
    static QList<QUrl> trustedOrigins();
    /// Path prefixes of the pages on trusted origins (each starting with '/'); the default is
    /// "/client/". Anything else an origin serves gets no bridges.
    static void setPagePaths(const QStringList &prefixes);
    static QStringList pagePaths();
    /// The trusted origins, the web service's included, written as a page sees its own origin.
    static QStringList trustedPageOrigins();
    /// Folders of offline page packages; file: pages inside them are trusted.
    static void setOfflinePackageRoots(const QStringList &folders);
    static QStringList offlinePackageRoots();
    static bool isTrustedUrl(const QUrl &url);
    /// A loaded document at url whose origin is origin ("null" for a sandboxed one).
    static bool isTrustedDocument(const QUrl &url, const QString &origin);

Q_SIGNALS:
    void themeChanged(OrvWebView::Theme theme);
    void documentChanged();

private:
    void updatePageScript();

    QCefWebPage *m_page = nullptr;
    QWebChannel *m_channel = nullptr;
    QHash<QString, QPointer<OrvWebBridge>> m_bridges;
    Theme m_theme = Light;
    bool m_loadFinished = false;
    QString m_schoolId;
    QString m_courseId;
};
