// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebview.h"

#include "orvhttpmanager.h"
#include "orvweb_logging.h"
#include "orvwebbridge.h"
#include "qcefwebpage.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QWebChannel>

namespace {

struct Trust
{
    QList<QUrl> origins;
    QStringList roots;
    QStringList pagePaths{OrvWebView::DefaultPagePath};
};

Trust &trust()
{
    static Trust t;
    return t;
}

bool sameOrigin(const QUrl &a, const QUrl &b)
{
    const QString scheme = a.scheme().toLower();
    if (scheme != b.scheme().toLower() || a.host().compare(b.host(), Qt::CaseInsensitive) != 0)
        return false;
    const int defaultPort = scheme == QLatin1String("https") ? 443 : 80;
    return a.port(defaultPort) == b.port(defaultPort);
}

QString cleanFolder(const QString &folder)
{
    const QFileInfo info(folder);
    const QString canonical = info.canonicalFilePath();
    return QDir::cleanPath(canonical.isEmpty() ? info.absoluteFilePath() : canonical);
}

// "scheme://host[:port]" as a browser writes an origin: the port only when it is not the default.
QString originText(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    QString host = url.host(QUrl::FullyEncoded).toLower();
    if (host.contains(QLatin1Char(':')))
        host = QLatin1Char('[') + host + QLatin1Char(']');
    const int defaultPort = scheme == QLatin1String("https") ? 443 : 80;
    const int port = url.port(defaultPort);
    return port == defaultPort ? scheme + QStringLiteral("://") + host
                               : scheme + QStringLiteral("://") + host + QLatin1Char(':') + QString::number(port);
}

// A path as the browser will use it: nothing that the browser resolves differently from us
// (dot segments, escaped dots, backslashes).
bool isPlainPath(const QString &path)
{
    if (path.contains(QLatin1Char('\\')) || path.contains(QLatin1String("%5c"), Qt::CaseInsensitive)
        || path.contains(QLatin1String("%2e"), Qt::CaseInsensitive) || path.contains(QLatin1String("%2f"), Qt::CaseInsensitive))
        return false;
    const QStringList segments = path.split(QLatin1Char('/'));
    for (const QString &segment : segments) {
        if (segment == QLatin1String(".") || segment == QLatin1String(".."))
            return false;
    }
    return true;
}

} // namespace

OrvWebView::OrvWebView(QWidget *parent)
    : OrvWebView(Light, parent)
{
}

OrvWebView::OrvWebView(Theme theme, QWidget *parent)
    : QWebEngineView(parent)
    , m_theme(theme)
{
    // The page goes first among the children, so it is destroyed before the channel it uses.
    m_page = new QCefWebPage(this);
    m_channel = new QWebChannel(this);
    updatePageScript();
    m_page->setBridgeChannel(m_channel);
    connect(m_page, &QCefWebPage::documentChanged, this, &OrvWebView::documentChanged);
    setPage(m_page);
    m_page->setBackgroundColor(m_theme == Dark ? QColor(0x2c, 0x2c, 0x2c) : QColor(Qt::white));

    connect(m_page, &QWebEnginePage::loadStarted, this, [this] { m_loadFinished = false; });
    connect(m_page, &QWebEnginePage::loadFinished, this, [this](bool ok) {
        m_loadFinished = ok;
        if (!ok)
            qCInfo(lcOrvWeb) << "load failed:" << url().toString(QUrl::RemoveQuery);
    });
}

OrvWebView::~OrvWebView()
{
    m_page->setBridgeChannel(nullptr);
    // Bridges that are our children die after the channel; they must not call back into us.
    for (const QPointer<OrvWebBridge> &bridge : qAsConst(m_bridges)) {
        if (bridge)
            disconnect(bridge, &QObject::destroyed, this, nullptr);
    }
    m_bridges.clear();
}

void OrvWebView::registerObject(OrvWebBridge *bridge, const QString &name)
{
    if (!bridge || name.isEmpty()) {
        qCWarning(lcOrvWeb) << "registerObject: needs a bridge and a name";
        return;
    }
    if (OrvWebBridge *old = m_bridges.value(name); old && old != bridge)
        m_channel->deregisterObject(old);
    // One name per bridge in a view: drop the bridge's previous name.
    for (auto it = m_bridges.begin(); it != m_bridges.end();) {
        if (it.value() == bridge && it.key() != name) {
            m_channel->deregisterObject(bridge);
            it = m_bridges.erase(it);
        } else {
            ++it;
        }
    }
    m_bridges.insert(name, bridge);
    m_channel->registerObject(name, bridge);
    connect(bridge, &QObject::destroyed, this, [this, name](QObject *object) {
        // The channel only watches for destroyed objects once a page has connected.
        if (m_channel->registeredObjects().value(name) == object)
            m_channel->deregisterObject(object);
        if (m_bridges.value(name).isNull()) {
            m_bridges.remove(name);
            updatePageScript();
        }
    });
    if (m_loadFinished)
        qCInfo(lcOrvWeb) << "bridge" << name << "registered after the page loaded; it appears on the next load";
    updatePageScript();
}

void OrvWebView::deregisterObject(OrvWebBridge *bridge)
{
    bool found = false;
    for (auto it = m_bridges.begin(); it != m_bridges.end();) {
        if (it.value() == bridge) {
            it = m_bridges.erase(it);
            found = true;
        } else {
            ++it;
        }
    }
    if (!found)
        return;
    m_channel->deregisterObject(bridge);
    updatePageScript();
}

OrvWebBridge *OrvWebView::registeredObject(const QString &name) const
{
    return m_bridges.value(name);
}

QStringList OrvWebView::registeredNames() const
{
    QStringList names;
    for (auto it = m_bridges.cbegin(); it != m_bridges.cend(); ++it) {
        if (!it.value().isNull())
            names << it.key();
    }
    names.sort();
    return names;
}

void OrvWebView::load(const QUrl &url)
{
    // A page in another renderer process gets its scripts when the load starts.
    m_page->updateTrustRules();
    QWebEngineView::load(url);
}

void OrvWebView::setHtml(const QString &html, const QUrl &baseUrl)
{
    m_page->setHtml(html, baseUrl);
}

void OrvWebView::setTheme(Theme theme)
{
    if (m_theme == theme)
        return;
    m_theme = theme;
    m_page->setBackgroundColor(m_theme == Dark ? QColor(0x2c, 0x2c, 0x2c) : QColor(Qt::white));
    updatePageScript();
    if (isBridgeAttached())
        m_page->runJavaScript(WebCallbackScript::theme(theme == Dark));
    Q_EMIT themeChanged(theme);
}

void OrvWebView::setSchoolId(const QString &schoolId)
{
    if (m_schoolId == schoolId)
        return;
    m_schoolId = schoolId;
    updatePageScript();
}

void OrvWebView::setCourseId(const QString &courseId)
{
    if (m_courseId == courseId)
        return;
    m_courseId = courseId;
    updatePageScript();
}

bool OrvWebView::isBridgeAttached() const
{
    return m_page->isBridgeAttached();
}

void OrvWebView::setTrustedOrigins(const QList<QUrl> &origins)
{
    trust().origins.clear();
    for (const QUrl &origin : origins)
        addTrustedOrigin(origin);
    QCefWebPage::updateTrustRules();
}

void OrvWebView::addTrustedOrigin(const QUrl &origin)
{
    const QString scheme = origin.scheme().toLower();
    if (!origin.isValid() || origin.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))) {
        qCWarning(lcOrvWeb) << "not an http(s) origin, ignored:" << origin;
        return;
    }
    trust().origins << origin.adjusted(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::RemoveUserInfo);
    QCefWebPage::updateTrustRules();
}

void OrvWebView::setPagePaths(const QStringList &prefixes)
{
    trust().pagePaths.clear();
    for (const QString &prefix : prefixes) {
        if (prefix.startsWith(QLatin1Char('/')) && isPlainPath(prefix))
            trust().pagePaths << prefix;
        else
            qCWarning(lcOrvWeb) << "not a path prefix, ignored:" << prefix;
    }
    QCefWebPage::updateTrustRules();
}

QStringList OrvWebView::pagePaths()
{
    return trust().pagePaths;
}

QStringList OrvWebView::trustedPageOrigins()
{
    QStringList origins;
    for (const QUrl &origin : qAsConst(trust().origins))
        origins << originText(origin);
    const QUrl service = OrvHttpManager::instance()->baseUrl();
    if (!service.host().isEmpty())
        origins << originText(service);
    origins.removeDuplicates();
    return origins;
}

QList<QUrl> OrvWebView::trustedOrigins()
{
    return trust().origins;
}

void OrvWebView::setOfflinePackageRoots(const QStringList &folders)
{
    trust().roots.clear();
    for (const QString &folder : folders) {
        if (!folder.isEmpty())
            trust().roots << cleanFolder(folder);
    }
}

QStringList OrvWebView::offlinePackageRoots()
{
    return trust().roots;
}

bool OrvWebView::isTrustedUrl(const QUrl &url)
{
    if (!url.isValid())
        return false;
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("qrc"))
        return true;
    if (scheme == QLatin1String("file")) {
        const QString path = cleanFolder(url.toLocalFile());
        for (const QString &root : trust().roots) {
            if (path.startsWith(root + QLatin1Char('/')))
                return true;
        }
        return false;
    }
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        return false;
    // The client's pages only: what else the origin serves (files, downloads, the API) is not ours
    // to trust.
    const QString path = url.path(QUrl::FullyEncoded);
    if (!isPlainPath(path))
        return false;
    bool page = false;
    for (const QString &prefix : qAsConst(trust().pagePaths))
        page = page || path.startsWith(prefix);
    if (!page)
        return false;
    for (const QUrl &origin : trust().origins) {
        if (sameOrigin(url, origin))
            return true;
    }
    const QUrl service = OrvHttpManager::instance()->baseUrl();
    return !service.host().isEmpty() && sameOrigin(url, service);
}

bool OrvWebView::isTrustedDocument(const QUrl &url, const QString &origin)
{
    if (!isTrustedUrl(url))
        return false;
    const QString scheme = url.scheme().toLower();
    // A web page the service sandboxed has an opaque origin ("null"), not that of its address.
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
        return origin == originText(url);
    return true;
}

void OrvWebView::updatePageScript()
{
    m_page->setPageConfig(QJsonObject{
        {QStringLiteral("objects"), QJsonArray::fromStringList(registeredNames())},
        {QStringLiteral("theme"), m_theme == Dark ? QStringLiteral("dark") : QStringLiteral("light")},
        {QStringLiteral("schoolId"), m_schoolId},
        {QStringLiteral("courseId"), m_courseId},
    });
}
