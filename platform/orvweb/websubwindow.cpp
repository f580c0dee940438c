// SPDX-License-Identifier: LGPL-2.1-or-later
#include "websubwindow.h"

#include "orvhttpmanager.h"
#include "orvweb_logging.h"
#include "orvwebbridge.h"
#include "websubwindowmanger.h"

#include <QCloseEvent>
#include <QVBoxLayout>

namespace {

constexpr int DefaultWidth = 960;
constexpr int DefaultHeight = 640;
constexpr int MinimumSide = 200;

// What the child page may call on its own window.
class WebSubWindowPort : public OrvWebBridge
{
    Q_OBJECT
public:
    WebSubWindowPort(OrvWebView *view, WebSubWindow *window)
        : OrvWebBridge(view, window)
        , m_window(window)
    {
    }

public Q_SLOTS:
    void answer(const QString &data) { m_window->sendCbKeyData(data); }
    void close() { m_window->close(); }

private:
    WebSubWindow *m_window;
};

QSize requestedSize(const QJsonObject &request)
{
    int width = request.value(QStringLiteral("width")).toInt();
    int height = request.value(QStringLiteral("height")).toInt();
    const QStringList size = request.value(QStringLiteral("size")).toString().split(QLatin1Char('*'));
    if ((width <= 0 || height <= 0) && size.size() == 2) {
        width = size.at(0).trimmed().toInt();
        height = size.at(1).trimmed().toInt();
    }
    if (width < MinimumSide || height < MinimumSide || width > 10000 || height > 10000)
        return {DefaultWidth, DefaultHeight};
    return {width, height};
}

QUrl resolvePageUrl(const QString &text, QWidget *parent)
{
    const QUrl url(text);
    if (!url.isValid() || text.isEmpty())
        return {};
    if (!url.isRelative())
        return url;
    QUrl base;
    if (auto *view = qobject_cast<OrvWebView *>(parent))
        base = view->url();
    if (base.isEmpty() || base.isRelative())
        base = OrvHttpManager::instance()->baseUrl();
    return base.isEmpty() ? QUrl() : base.resolved(url);
}

// Web pages, and local ones only from the trusted places (offline packages, resources).
bool isLoadable(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") || OrvWebView::isTrustedUrl(url);
}

} // namespace

WebSubWindow::WebSubWindow(const QJsonObject &request, const QString &cbKey, OrvWebView::Theme theme, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_request(request)
    , m_cbKey(cbKey)
    , m_requestUrl(request.value(QStringLiteral("url")).toString())
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("WebSubWindow"));
    setWindowTitle(request.value(QStringLiteral("title")).toString());
    resize(requestedSize(request));

    m_view = new OrvWebView(theme, this);
    m_view->setObjectName(QStringLiteral("subWindowWebView"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_view);

    m_pageUrl = resolvePageUrl(m_requestUrl, parent);
    if (!m_pageUrl.isEmpty() && !isLoadable(m_pageUrl)) {
        qCWarning(lcOrvWeb) << "child window refuses the address" << m_pageUrl.toString(QUrl::RemoveQuery).left(200);
        m_pageUrl.clear();
    }
    m_view->registerObject(new WebSubWindowPort(m_view, this), QStringLiteral("orvSubWindow"));
    WebSubWindowManger::instance()->addWindow(this);
}

WebSubWindow::~WebSubWindow()
{
    WebSubWindowManger::instance()->removeWindow(this);
}

void WebSubWindow::initWebBridge(OrvWebBridge *bridge, const QString &name)
{
    m_view->registerObject(bridge, name);
}

void WebSubWindow::passiveCloseWindow(const QString &cbKey)
{
    if (cbKey == m_cbKey)
        close();
}

void WebSubWindow::sendCbKeyData(const QString &data)
{
    Q_EMIT signalCbKeyData(m_cbKey, data);
}

void WebSubWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_loaded)
        return;
    m_loaded = true;
    if (m_pageUrl.isEmpty())
        qCWarning(lcOrvWeb) << "child window without a page:" << m_requestUrl.left(200);
    else
        m_view->load(m_pageUrl);
}

void WebSubWindow::closeEvent(QCloseEvent *event)
{
    // Gone for the manager at once, though deletion waits for the event loop.
    WebSubWindowManger::instance()->removeWindow(this);
    QWidget::closeEvent(event);
}

#include "websubwindow.moc"
