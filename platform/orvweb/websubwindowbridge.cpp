// SPDX-License-Identifier: LGPL-2.1-or-later
#include "websubwindowbridge.h"

#include "orvweb_logging.h"
#include "orvwebview.h"
#include "webcallbackscript.h"
#include "websubwindow.h"
#include "websubwindowmanger.h"

#include <QJsonDocument>

namespace {

constexpr int LoggedTextLength = 1000;

} // namespace

WebSubWindowBridge::WebSubWindowBridge(OrvWebView *view, QObject *parent, FromType fromType)
    : GlobalWebBridge(view, parent)
    , m_fromType(fromType)
{
}

void WebSubWindowBridge::openSubWindow(const QString &requestData, const QString &cbKey)
{
    openWebSubWindow(requestData, cbKey);
}

void WebSubWindowBridge::closeSubWindow(const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    Q_EMIT signalCloseSubWindow(cbKey);
}

WebSubWindow *WebSubWindowBridge::openWebSubWindow(const QString &requestData, const QString &cbKey, QWidget *parent,
                                                   QJsonObject *request)
{
    qCInfo(lcOrvWeb).noquote() << metaObject()->className() << "openSubWindow requestData:"
                               << requestData.left(LoggedTextLength) << "cbKey:" << cbKey.left(LoggedTextLength);
    acceptCallbackKey(cbKey);
    const QJsonObject object = QJsonDocument::fromJson(requestData.toUtf8()).object();
    if (request)
        *request = object;
    if (object.isEmpty())
        return nullptr;

    const QString url = object.value(QStringLiteral("url")).toString();
    const bool byPath = object.value(QStringLiteral("distinctKey")).toString() == QLatin1String("path");
    if (QPointer<QWidget> open = WebSubWindowManger::instance()->getWebSubWindow(url, byPath, QString())) {
        if (open->isMinimized())
            open->showNormal();
        open->show();
        open->raise();
        open->activateWindow();
        return nullptr;
    }

    OrvWebView *view = webView();
    auto *window = new WebSubWindow(object, cbKey, view ? view->theme() : OrvWebView::Light, parent ? parent : view);
    initSubWindowBridge(window, object);
    connect(window, &WebSubWindow::signalCbKeyData, this, &WebSubWindowBridge::answerSubWindowData);
    connect(this, &OrvWebBridge::signalCloseSubWindow, window, &WebSubWindow::passiveCloseWindow);
    prepareSubWindow(window, object);
    window->show();
    return window;
}

void WebSubWindowBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    const QString name = registrationName();
    if (name.isEmpty()) {
        qCInfo(lcOrvWeb) << metaObject()->className() << "is not published; its child window gets no bridge";
        return;
    }
    window->initWebBridge(new WebSubWindowBridge(window->webView(), window, fromType()), name);
}

void WebSubWindowBridge::prepareSubWindow(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(window)
    Q_UNUSED(request)
}

void WebSubWindowBridge::answerSubWindowData(const QString &cbKey, const QString &data)
{
    runJavaScript(WebCallbackScript::line(cbKey, data));
}

QString WebSubWindowBridge::registrationName() const
{
    const OrvWebView *view = webView();
    if (!view)
        return QString();
    for (const QString &name : view->registeredNames()) {
        if (view->registeredObject(name) == this)
            return name;
    }
    return QString();
}
