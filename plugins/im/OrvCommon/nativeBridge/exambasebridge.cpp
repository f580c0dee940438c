// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exambasebridge.h"

#include "bridgedialogs.h"
#include "extensionsystem.h"
#include "imsignalobject.h"
#include "inappwebhandler.h"
#include "nativebridge_logging.h"
#include "orvlang.h"
#include "systembrowser.h"
#include "waitingspinnerwidget.h"
#include "webcallbackscript.h"
#include "websubwindow.h"

#include <QPointer>
#include <QTimer>

namespace {

// Hub answers go to the one bridge whose page handed out the key: one connection per hub, not
// one per bridge, so an answer runs once and only where it was asked for.
void routeHubAnswers()
{
    static QPointer<ImSignalObject> connectedHub;
    static QObject router;
    ImSignalObject *hub = ImSignalObject::instance();
    if (connectedHub == hub)
        return;
    connectedHub = hub;
    QObject::connect(hub, &ImSignalObject::signalWebCallback, &router,
                     [](const QString &cbKey, const QString &data) { OrvWebBridge::answerCallbackKey(cbKey, data); });
}

} // namespace

ExamBaseBridge::ExamBaseBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : WebSubWindowBridge(view, parent, fromType)
    , m_loadingTimer(new QTimer(this))
{
    m_loadingTimer->setObjectName(QStringLiteral("loadingTimer"));
    m_loadingTimer->setSingleShot(true);
    m_loadingTimer->setInterval(LoadingTimeoutMs);
    connect(m_loadingTimer, &QTimer::timeout, this, &ExamBaseBridge::loadingTimeOutSlot);

    routeHubAnswers();
}

ExamBaseBridge::~ExamBaseBridge()
{
    // The spinner belongs to the view, which may outlive the bridge.
    delete m_spinner;
}

void ExamBaseBridge::startLoading(const QString &text)
{
    if (WaitingSpinnerWidget *spinner = loadingSpinner()) {
        spinner->setText(text.isEmpty() ? OrvLang::text("ID_Loading_Ellipsis") : text);
        spinner->start();
    }
    m_loadingTimer->start();
}

void ExamBaseBridge::stopLoading()
{
    if (m_loadingTimer->isActive())
        m_loadingTimer->stop();
    if (m_spinner)
        m_spinner->stop();
}

void ExamBaseBridge::updateLoadingProcess(const QString &text)
{
    if (m_spinner)
        m_spinner->setText(text);
}

bool ExamBaseBridge::isLoading() const
{
    return m_loadingTimer->isActive();
}

int ExamBaseBridge::loadingTimeout() const
{
    return m_loadingTimer->interval();
}

void ExamBaseBridge::setLoadingTimeout(int ms)
{
    m_loadingTimer->setInterval(ms);
}

WaitingSpinnerWidget *ExamBaseBridge::loadingSpinner()
{
    if (!m_spinner && webView()) {
        m_spinner = new WaitingSpinnerWidget(webView());
        m_spinner->setObjectName(QStringLiteral("loadingSpinner"));
        m_spinner->setInnerRadius(SpinnerInnerRadius);
        m_spinner->setLineLength(SpinnerLineLength);
        m_spinner->setLineWidth(SpinnerLineWidth);
        m_spinner->setRoundness(SpinnerRoundness);
        m_spinner->setOpacity(SpinnerOpacity);
        m_spinner->setCloseButtonVisible(true);
        connect(m_spinner, &WaitingSpinnerWidget::closeRequested, this, &ExamBaseBridge::stopLoading);
    }
    return m_spinner;
}

void ExamBaseBridge::linkView(const QString &url)
{
    qCInfo(lcBridge) << metaObject()->className() << "linkView" << url.left(500);
    const QUrl target = QUrl::fromUserInput(url);
    if (!SystemBrowser::isAllowed(target)) {
        qCWarning(lcBridge) << "linkView refuses" << url.left(200);
        return;
    }
    if (fromType() != FromClassroom) {
        SystemBrowser::openUrl(target);
        return;
    }
    auto *handler = ExtensionSystem::instance()->getObject<InAppWebHandler>(
        QString::fromLatin1(InAppWebHandler::ExtensionName));
    if (!handler) {
        qCWarning(lcBridge) << "InAppWebHandler is nullptr";
        return;
    }
    handler->openUrl(target);
}

void ExamBaseBridge::refreshExamList(const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    runJavaScript(WebCallbackScript::line(cbKey));
}

void ExamBaseBridge::loadingTimeOutSlot()
{
    qCInfo(lcBridge) << metaObject()->className() << "loading timed out after" << loadingTimeout() << "ms";
    BridgeDialogs::message(webView(), OrvLang::text("ID_Information"),
                           OrvLang::text("ID_timeoutoccurred_OperationCanceled"), {});
    stopLoading();
}

void ExamBaseBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    window->initWebBridge(new WebSubWindowBridge(window->webView(), window, fromType()), QStringLiteral("cloudDisk"));
}
