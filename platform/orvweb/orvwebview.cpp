// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebview.h"

#include "orvhttpmanager.h"
#include "orvweb_logging.h"
#include "orvwebbridge.h"
#include "qcefwebpage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QWebChannel>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>

static void initOrvWebResources()
{
    Q_INIT_RESOURCE(orvweb);
}

namespace {

const QString ScriptName = QStringLiteral("orvClientAPI");

struct Trust
{
    QList<QUrl> origins;
    QStringList roots;
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
    m_page->setBridgeChannel(m_channel);
    setPage(m_page);
    m_page->setBackgroundColor(m_theme == Dark ? QColor(0x2c, 0x2c, 0x2c) : QColor(Qt::white));

    connect(m_page, &QWebEnginePage::loadStarted, this, [this] { m_loadFinished = false; });
    connect(m_page, &QWebEnginePage::loadFinished, this, [this](bool ok) {
        m_loadFinished = ok;
        if (!ok)
            qCInfo(lcOrvWeb) << "load failed:" << url().toString(QUrl::RemoveQuery);
    });
    updatePageScript();
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
    if (isBridgeAttached()) {
        m_page->runJavaScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.__setTheme('%1')")
                                  .arg(theme == Dark ? QStringLiteral("dark") : QStringLiteral("light")));
    }
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
}

void OrvWebView::addTrustedOrigin(const QUrl &origin)
{
    const QString scheme = origin.scheme().toLower();
    if (!origin.isValid() || origin.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))) {
        qCWarning(lcOrvWeb) << "not an http(s) origin, ignored:" << origin;
        return;
    }
    trust().origins << origin.adjusted(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::RemoveUserInfo);
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
    for (const QUrl &origin : trust().origins) {
        if (sameOrigin(url, origin))
            return true;
    }
    const QUrl service = OrvHttpManager::instance()->baseUrl();
    return !service.host().isEmpty() && sameOrigin(url, service);
}

void OrvWebView::updatePageScript()
{
    QWebEngineScriptCollection &scripts = m_page->scripts();
    for (const QWebEngineScript &old : scripts.findScripts(ScriptName))
        scripts.remove(old);

    const QString library = pageLibrary();
    if (library.isEmpty())
        return;
    const QJsonObject config{
        {QStringLiteral("objects"), QJsonArray::fromStringList(registeredNames())},
        {QStringLiteral("theme"), m_theme == Dark ? QStringLiteral("dark") : QStringLiteral("light")},
        {QStringLiteral("schoolId"), m_schoolId},
        {QStringLiteral("courseId"), m_courseId},
    };
    // One closure keeps QWebChannel and the configuration out of the page's globals.
    QString source = QStringLiteral("(function () {\nvar ORV_CONFIG = ");
    source += QString::fromUtf8(QJsonDocument(config).toJson(QJsonDocument::Compact));
    source += QStringLiteral(";\n");
    source += library;
    source += QStringLiteral("\n})();\n");

    QWebEngineScript script;
    script.setName(ScriptName);
    script.setSourceCode(source);
    script.setInjectionPoint(QWebEngineScript::DocumentCreation);
    script.setWorldId(QWebEngineScript::MainWorld);
    script.setRunsOnSubFrames(false);
    scripts.insert(script);
}
