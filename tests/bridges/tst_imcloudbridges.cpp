// SPDX-License-Identifier: LGPL-2.1-or-later
// The cloud page's bridges in a real page served on loopback: what the page receives through
// window.orvClientAPI, the child windows they open, the loading indicator, and hostile input.
#include "bridgedialogs.h"
#include "exambasebridge.h"
#include "extensionsystem.h"
#include "ifileopener.h"
#include "iimagepreviewservice.h"
#include "imcloudsubwindowbridge.h"
#include "imcloudwebbridge.h"
#include "imsignalobject.h"
#include "inappwebhandler.h"
#include "orvlang.h"
#include "systembrowser.h"
#include "waitingspinnerwidget.h"
#include "webcallbackscript.h"
#include "websubwindow.h"
#include "websubwindowmanger.h"
#include "webtestutils.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QAbstractButton>
#include <QScreen>

using namespace WebTest;

namespace {

const QByteArray CloudPage = R"(<!doctype html><html><body style="font-family:sans-serif">
<h2>Cloud disk</h2><p>Files of the signed-in user.</p><script>
window.got = [];
window.addEventListener('orvclientcallback', function (e) {
    got.push([e.detail.key, e.detail.data === undefined ? null : e.detail.data]);
});
</script></body></html>)";

const QByteArray ChildPage = R"(<!doctype html><html><body><p>child page</p></body></html>)";

class FakeFileOpener : public IFileOpener
{
public:
    QList<QPair<QJsonArray, int>> calls;
    void openFiles(const QJsonArray &fileInfos, int currentIndex) override { calls << qMakePair(fileInfos, currentIndex); }
};

class FakeImagePreview : public IImagePreviewService
{
public:
    QList<QStringList> calls;
    void previewImages(const QStringList &urls) override { calls << urls; }
};

class FakeInAppBrowser : public InAppWebHandler
{
public:
    QList<QUrl> urls;
    void openUrl(const QUrl &url) override { urls << url; }
};

// Lets a test shorten the time-out to watch the timer's own path end in the slot.
class ShortTimeoutBridge : public ExamBaseBridge
{
public:
    using ExamBaseBridge::ExamBaseBridge;
    using ExamBaseBridge::setLoadingTimeout;
};

QStringList ownMethods(const QMetaObject *mo)
{
    QStringList names;
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i)
        names << QString::fromLatin1(mo->method(i).name());
    return names;
}

QStringList publicSlots(const QMetaObject *mo)
{
    QStringList names;
    for (int i = 0; i < mo->methodCount(); ++i) {
        const QMetaMethod method = mo->method(i);
        if (method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Public)
            names << QString::fromLatin1(method.name());
    }
    return names;
}

QString request(const QString &url, const QJsonObject &extra = {})
{
    QJsonObject object = extra;
    object.insert(QStringLiteral("url"), url);
    return WebCallbackScript::compact(object);
}

} // namespace

class ImCloudBridgesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        addPage(m_service, QStringLiteral("/client/cloud/cs/im"), CloudPage);
        addPage(m_service, QStringLiteral("/client/t/child.html"), ChildPage);
        addPage(m_service, QStringLiteral("/client/t/other.html"), ChildPage);
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});
        SystemBrowser::setOpener([this](const QUrl &url) {
            m_browserUrls << url;
            return true;
        });
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &title, const QString &text, const QStringList &) {
            m_messages << title + QLatin1Char('|') + text;
            return 0;
        });
    }

    void cleanupTestCase()
    {
        BridgeDialogs::resetHandlers();
        SystemBrowser::setOpener({});
        ImSignalObject::release();
        WebSubWindowManger::release();
        m_service.stop();
    }

    void init()
    {
        m_view = new OrvWebView;
        m_view->resize(900, 640);
        m_bridge = new ImCloudWebBridge(m_view, m_view);
        m_view->registerObject(m_bridge, QStringLiteral("myCloudDiskWindow"));
        m_view->show();
        QVERIFY(load(m_view, url(QStringLiteral("/client/cloud/cs/im"))));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("!!(window.myCloudDiskWindow && myCloudDiskWindow.openSubWindow)")));
        m_browserUrls.clear();
        m_messages.clear();
    }

    void cleanup()
    {
        delete m_view;
        m_view = nullptr;
        for (WebSubWindow *window : WebSubWindowManger::instance()->windows())
            delete window;
        QCOMPARE(WebSubWindowManger::instance()->windows().size(), 0);
    }

    // What the page can call, in order. Child windows are the base's slots, declared once so the
    // channel never sees two methods of one signature.
    void pageCallableMethodsKeepTheirOrder()
    {
        QCOMPARE(ownMethods(&ImCloudWebBridge::staticMetaObject),
                 (QStringList{"signalDownloadFile", "signalShareFile", "signalWebShare", "signalOpenResourceCenterFolder",
                              "downloadFile", "shareFile", "previewFile", "viewFileList", "webShare",
                              "openResourceCenterFolder", "openResourceCenterFolder", "imgsView", "buildEdb", "shareEdoc"}));
        QCOMPARE(ownMethods(&ImCloudSubWindowBridge::staticMetaObject),
                 (QStringList{"previewFile", "viewFileList", "imgsView"}));
        const QStringList all = publicSlots(&ImCloudWebBridge::staticMetaObject);
        QCOMPARE(all.count(QStringLiteral("openSubWindow")), 1);
        QCOMPARE(all.count(QStringLiteral("closeSubWindow")), 1);
        QCOMPARE(publicSlots(&ImCloudSubWindowBridge::staticMetaObject).count(QStringLiteral("openSubWindow")), 1);
        QVERIFY(all.indexOf(QStringLiteral("linkView")) < all.indexOf(QStringLiteral("refreshExamList")));
    }

    // The host's slots get exactly what the page sent.
    void forwardingSlotsReEmitTheirArguments()
    {
        QSignalSpy download(m_bridge, &ImCloudWebBridge::signalDownloadFile);
        QSignalSpy share(m_bridge, &ImCloudWebBridge::signalShareFile);
        QSignalSpy webShare(m_bridge, &ImCloudWebBridge::signalWebShare);
        QSignalSpy resource(m_bridge, &ImCloudWebBridge::signalOpenResourceCenterFolder);
        eval(QStringLiteral("myCloudDiskWindow.downloadFile('9007199254740993', 'https://x/a b', 'it\\'s.pdf', 'iVBOR=');"
                            "myCloudDiskWindow.shareFile('{\"type\":\"homework\"}');"
                            "myCloudDiskWindow.webShare('{\"fileType\":\"link\",\"link\":\"\\u00e9\"}');"
                            "myCloudDiskWindow.openResourceCenterFolder();"
                            "myCloudDiskWindow.openResourceCenterFolder('{\"folderId\":3}');"));
        QTRY_COMPARE(resource.count(), 2);
        QCOMPARE(download.count(), 1);
        QCOMPARE(download.at(0), (QVariantList{QStringLiteral("9007199254740993"), QStringLiteral("https://x/a b"),
                                               QStringLiteral("it's.pdf"), QStringLiteral("iVBOR=")}));
        QCOMPARE(share.at(0).at(0).toString(), QStringLiteral("{\"type\":\"homework\"}"));
        QCOMPARE(webShare.at(0).at(0).toString(), QStringLiteral("{\"fileType\":\"link\",\"link\":\"\u00e9\"}"));
        QCOMPARE(resource.at(0).at(0).toString(), QString());
        QCOMPARE(resource.at(1).at(0).toString(), QStringLiteral("{\"folderId\":3}"));
    }

    void previewsGoToTheServicesOrAreLogged()
    {
        LogCapture log("orv.common.bridge");
        eval(QStringLiteral("myCloudDiskWindow.previewFile('1', '2', 'a.png');"
                            "myCloudDiskWindow.viewFileList('[{}]', 0); myCloudDiskWindow.imgsView('[\"u\"]');"));
        QTRY_COMPARE(log.lines().count(QStringLiteral("mgr is nullptr")), 3);

        FakeFileOpener opener;
        FakeImagePreview preview;
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IFileOpener::ExtensionName), &opener);
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IImagePreviewService::ExtensionName), &preview);
        log.clear();
        eval(QStringLiteral("myCloudDiskWindow.previewFile('18446744073709551615', '77', 'a.png');"
                            "myCloudDiskWindow.viewFileList('[{\"userFileId\":1},{\"userFileId\":2}]', 1);"
                            "myCloudDiskWindow.viewFileList('[{\"userFileId\":1}]', 1);"
                            "myCloudDiskWindow.viewFileList('{not json', 0);"
                            "myCloudDiskWindow.imgsView('{\"urls\":[\"https://a/1.png\",{\"url\":\"https://a/2.png\"}]}');"
                            "myCloudDiskWindow.imgsView('[{\"imageUrl\":\"https://a/3.png\"}, 5, null]');"
                            "myCloudDiskWindow.imgsView('[]'); myCloudDiskWindow.imgsView('');"
                            "myCloudDiskWindow.previewFile('', '', '');"));
        QTRY_COMPARE(preview.calls.size(), 2);
        QTest::qWait(200);
        QCOMPARE(opener.calls.size(), 2);
        const QJsonObject entry = opener.calls.at(0).first.at(0).toObject();
        QCOMPARE(entry.value(QStringLiteral("userFileId")).toString(), QStringLiteral("18446744073709551615"));
        QCOMPARE(entry.value(QStringLiteral("ownerUid")).toString(), QStringLiteral("77"));
        QCOMPARE(opener.calls.at(0).second, 0);
        QCOMPARE(opener.calls.at(1).first.size(), 2);
        QCOMPARE(opener.calls.at(1).second, 1);
        QCOMPARE(preview.calls.at(0), (QStringList{QStringLiteral("https://a/1.png"), QStringLiteral("https://a/2.png")}));
        QCOMPARE(preview.calls.at(1), QStringList{QStringLiteral("https://a/3.png")});
        QVERIFY(log.contains(QStringLiteral("parse json error!")));
        QVERIFY(!log.contains(QStringLiteral("mgr is nullptr")));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IFileOpener::ExtensionName));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IImagePreviewService::ExtensionName));
    }

    // The viewers get web addresses only; a mail address with an attachment never reaches the
    // desktop.
    void viewersAndBrowserTakeWebAddressesOnly()
    {
        FakeFileOpener opener;
        FakeImagePreview preview;
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IFileOpener::ExtensionName), &opener);
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IImagePreviewService::ExtensionName), &preview);
        const QString images = jsString(QStringLiteral(
            "{\"urls\": [\"file:///etc/passwd\", \"smb://host/a.png\", \"/etc/passwd\", {\"url\": \"C:\\\\a.png\"},"
            " {\"imageUrl\": \"\\\\\\\\host\\\\share\\\\a.png\"}, \"https://a/ok.png\"]}"));
        const QString files = jsString(QStringLiteral(
            "[{\"userFileId\": 1, \"url\": \"file:///etc/passwd\"}, {\"userFileId\": 2, \"filePath\": \"smb://host/x\"},"
            " {\"userFileId\": 3, \"localPath\": \"/etc/passwd\"}, {\"userFileId\": 4, \"url\": \"https://a/4.pdf\"}]"));
        eval(QStringLiteral("myCloudDiskWindow.imgsView(%1); myCloudDiskWindow.imgsView('[\"file:///etc/passwd\"]');"
                            "[0, 1, 2, 3].forEach(function (i) { myCloudDiskWindow.viewFileList(%2, i); });"
                            "myCloudDiskWindow.linkView('mailto:a@example.org?attach=/etc/passwd');"
                            "myCloudDiskWindow.linkView('MAILTO:a@example.org');"
                            "myCloudDiskWindow.refreshExamList('done')")
                 .arg(images, files));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.some(function (g) { return g[0] === 'done'; })")));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IFileOpener::ExtensionName));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IImagePreviewService::ExtensionName));
        QCOMPARE(preview.calls, QList<QStringList>{QStringList{QStringLiteral("https://a/ok.png")}});
        QCOMPARE(opener.calls.size(), 1);
        QCOMPARE(opener.calls.first().first.size(), 1);
        QCOMPARE(opener.calls.first().first.at(0).toObject().value(QStringLiteral("userFileId")).toInt(), 4);
        QCOMPARE(opener.calls.first().second, 0);
        QCOMPARE(m_browserUrls, QList<QUrl>());
        QVERIFY(!SystemBrowser::isAllowed(QUrl(QStringLiteral("mailto:a@example.org"))));
    }

    void logOnlySlotsLog()
    {
        LogCapture log("orv.common.bridge");
        eval(QStringLiteral("myCloudDiskWindow.buildEdb(); myCloudDiskWindow.shareEdoc();"));
        QTRY_VERIFY(log.contains(QStringLiteral("ImCloudWebBridge:shareEdoc")));
        QVERIFY(log.contains(QStringLiteral("ImCloudWebBridge::buildEdb--------------------->")));
    }

    void samePageTwiceOpensOneWindowAndKeepsTheFirstKey()
    {
        const QString child = url(QStringLiteral("/client/t/child.html?a=1")).toString();
        openFromPage(request(child), QStringLiteral("first"));
        QTRY_COMPARE(windows().size(), 1);
        WebSubWindow *window = windows().first();
        QCOMPARE(window->parentWidget(), m_view);
        QVERIFY(window->isWindow());
        window->showMinimized();

        openFromPage(request(child), QStringLiteral("second"));
        QTRY_VERIFY(!window->isMinimized());
        QCOMPARE(windows().size(), 1);
        QCOMPARE(window->cbKey(), QStringLiteral("first"));

        // Without "distinctKey" another query is another page...
        openFromPage(request(url(QStringLiteral("/client/t/child.html?a=2")).toString()), QStringLiteral("third"));
        QTRY_COMPARE(windows().size(), 2);
        // ...with "path" it is the same page.
        openFromPage(request(url(QStringLiteral("/client/t/child.html?a=3")).toString(),
                             {{QStringLiteral("distinctKey"), QStringLiteral("path")}}),
                     QStringLiteral("fourth"));
        QTest::qWait(300);
        QCOMPARE(windows().size(), 2);
        openFromPage(request(url(QStringLiteral("/client/t/other.html?a=3")).toString(),
                             {{QStringLiteral("distinctKey"), QStringLiteral("path")}}),
                     QStringLiteral("fifth"));
        QTRY_COMPARE(windows().size(), 3);
        QCOMPARE(WebSubWindowManger::instance()->getWebSubWindow(url(QStringLiteral("/client/t/child.html")).toString(), true, QString()),
                 QPointer<QWidget>(window));
        QVERIFY(WebSubWindowManger::instance()->getWebSubWindow(url(QStringLiteral("/client/t/child.html")).toString(), false, QString()).isNull());
    }

    void sourceTwoGetsAnExamBridge_data()
    {
        QTest::addColumn<QJsonValue>("source");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("className");
        QTest::newRow("source 2") << QJsonValue(2) << QStringLiteral("myExam") << QStringLiteral("ImExamCloudWebBride");
        QTest::newRow("source 0") << QJsonValue(0) << QStringLiteral("myCloudDiskWindow") << QStringLiteral("ImCloudSubWindowBridge");
        QTest::newRow("no source") << QJsonValue(QJsonValue::Undefined) << QStringLiteral("myCloudDiskWindow")
                                   << QStringLiteral("ImCloudSubWindowBridge");
        QTest::newRow("source \"2\"") << QJsonValue(QStringLiteral("2")) << QStringLiteral("myCloudDiskWindow")
                                      << QStringLiteral("ImCloudSubWindowBridge");
    }

    void sourceTwoGetsAnExamBridge()
    {
        QFETCH(QJsonValue, source);
        QFETCH(QString, name);
        QFETCH(QString, className);
        QJsonObject extra;
        if (!source.isUndefined())
            extra.insert(QStringLiteral("source"), source);
        openFromPage(request(url(QStringLiteral("/client/t/child.html")).toString(), extra), QStringLiteral("k"));
        QTRY_COMPARE(windows().size(), 1);
        OrvWebView *childView = windows().first()->webView();
        QCOMPARE(childView->registeredNames(), (QStringList{name, QStringLiteral("orvSubWindow")}));
        OrvWebBridge *childBridge = childView->registeredObject(name);
        QCOMPARE(QString::fromLatin1(childBridge->metaObject()->className()), className);
        if (auto *exam = qobject_cast<ImCloudWebBridge *>(childBridge))
            QCOMPARE(exam->fromType(), WebSubWindowBridge::FromImCloudPage);
        QCOMPARE(childView->theme(), m_view->theme());

        // The bridge is there in the child page, from its first script on.
        QVERIFY(waitFor(childView->page(), QStringLiteral("!!(window.%1 && window.%1.openSubWindow)").arg(name)));
    }

    void childAnswersReachTheOpenerAndCloseByKey()
    {
        m_view->setTheme(OrvWebView::Dark);
        openFromPage(request(url(QStringLiteral("/client/t/child.html")).toString()), QStringLiteral("pick-1"));
        QTRY_COMPARE(windows().size(), 1);
        QPointer<WebSubWindow> window = windows().first();
        QCOMPARE(window->webView()->theme(), OrvWebView::Dark);
        QVERIFY(waitFor(window->webView()->page(), QStringLiteral("!!(window.orvSubWindow && orvSubWindow.answer)")));
        WebTest::eval(window->webView()->page(), QStringLiteral("orvSubWindow.answer('{\"picked\":[1,2]}')"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.length === 1")));
        QCOMPARE(eval(QStringLiteral("got[0][0] + ' ' + got[0][1]")).toString(), QStringLiteral("pick-1 {\"picked\":[1,2]}"));
        // Text that could not stand in the plain line as it is still arrives exactly.
        const QString tricky = QStringLiteral("{\"name\":\"it's \\\"B\\\" \\\\ x\"}\r\n");
        WebTest::eval(window->webView()->page(), QStringLiteral("orvSubWindow.answer(%1)").arg(jsString(tricky)));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.length === 2")));
        QCOMPARE(eval(QStringLiteral("got[1][1]")).toString(), tricky);

        eval(QStringLiteral("myCloudDiskWindow.closeSubWindow('another-key')"));
        QTest::qWait(300);
        QVERIFY(window && window->isVisible());
        eval(QStringLiteral("myCloudDiskWindow.closeSubWindow('pick-1')"));
        QTRY_VERIFY(window.isNull());
        QCOMPARE(windows().size(), 0);
    }

    void requestsThatAreNoObjectOpenNothing_data()
    {
        QTest::addColumn<QString>("requestData");
        QTest::newRow("empty") << QString();
        QTest::newRow("array") << QStringLiteral("[]");
        QTest::newRow("empty object") << QStringLiteral("{}");
        QTest::newRow("bad json") << QStringLiteral("{\"url\": ");
        QTest::newRow("number") << QStringLiteral("42");
    }

    void requestsThatAreNoObjectOpenNothing()
    {
        QFETCH(QString, requestData);
        LogCapture log("orv.web");
        m_bridge->openSubWindow(requestData, QStringLiteral("k"));
        eval(QStringLiteral("myCloudDiskWindow.openSubWindow(%1, 'k2'); 0").arg(jsString(requestData)));
        QTRY_COMPARE(log.lines().filter(QStringLiteral("openSubWindow")).size(), 2);
        QCOMPARE(windows().size(), 0);
        QCOMPARE(eval(QStringLiteral("got.length")).toInt(), 0);
    }

    void hostileValuesChangeNothing()
    {
        LogCapture log("orv.");
        const QString calls = QStringLiteral(
            "var big = 'x'.repeat(2 * 1024 * 1024);"
            "var vals = [big, {}, [], 1e308, -1, null, true, '\\u0000', '\"\\'', '{\"url\":' + big, '[' + big + ']',"
            "            '{\"url\":\"javascript:alert(1)\"}', '{\"url\":\"file:///etc/passwd\"}', '{\"url\":12}'];"
            "var names = ['downloadFile', 'shareFile', 'previewFile', 'viewFileList', 'webShare', 'openResourceCenterFolder',"
            "             'imgsView', 'buildEdb', 'shareEdoc', 'closeSubWindow', 'linkView', 'refreshExamList',"
            "             'loadingTimeOutSlot', 'openSubWindow'];"
            "names.forEach(function (n) { vals.forEach(function (v) {"
            "    myCloudDiskWindow[n](v); myCloudDiskWindow[n](v, v); myCloudDiskWindow[n](v, v, v, v); }); });"
            "vals.forEach(function (v) { myCloudDiskWindow.viewFileList(v, v); });"
            "window.fuzzDone = true; 0");
        WebTest::eval(m_view->page(), calls, 60000);
        // A busy machine takes its time over thousands of calls.
        QVERIFY(waitFor(m_view->page(), QStringLiteral("window.fuzzDone === true"), 60000));
        // A last call proves the page and the bridge still work.
        eval(QStringLiteral("myCloudDiskWindow.refreshExamList('alive')"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.some(function (g) { return g[0] === 'alive'; })"), 30000));
        // Unsafe addresses reach neither a child window's view nor the system browser.
        for (const QUrl &opened : m_browserUrls)
            QVERIFY2(opened.scheme() == QLatin1String("http") || opened.scheme() == QLatin1String("https"),
                     qPrintable(opened.toString().left(100)));
        for (WebSubWindow *window : windows())
            QVERIFY2(window->pageUrl().isEmpty(), qPrintable(window->pageUrl().toString().left(100)));
    }

    void linkViewUsesTheSystemBrowserOrTheInAppOne()
    {
        eval(QStringLiteral("myCloudDiskWindow.linkView('https://example.org/a?b=1');"
                            "myCloudDiskWindow.linkView('file:///etc/passwd');"
                            "myCloudDiskWindow.linkView('javascript:alert(1)');"
                            "myCloudDiskWindow.linkView('www.example.org')"));
        QTRY_COMPARE(m_browserUrls.size(), 2);
        QTest::qWait(200);
        QCOMPARE(m_browserUrls, (QList<QUrl>{QUrl(QStringLiteral("https://example.org/a?b=1")),
                                             QUrl(QStringLiteral("http://www.example.org"))}));

        ImCloudWebBridge classroom(m_view, nullptr, WebSubWindowBridge::FromClassroom);
        LogCapture log("orv.common.bridge");
        classroom.linkView(QStringLiteral("https://example.org/c"));
        QVERIFY(log.contains(QStringLiteral("InAppWebHandler is nullptr")));
        FakeInAppBrowser inApp;
        ExtensionSystem::instance()->addObject(QString::fromLatin1(InAppWebHandler::ExtensionName), &inApp);
        classroom.linkView(QStringLiteral("https://example.org/c"));
        classroom.linkView(QStringLiteral("file:///etc/passwd"));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(InAppWebHandler::ExtensionName));
        QCOMPARE(inApp.urls, QList<QUrl>{QUrl(QStringLiteral("https://example.org/c"))});
        QCOMPARE(m_browserUrls.size(), 2);
    }

    // An answer another object sends through the hub reaches the page that handed out its key,
    // once; a key the page never handed out reaches nothing.
    void answersForOtherObjectsReachThePage()
    {
        eval(QStringLiteral("myCloudDiskWindow.refreshExamList('list-1'); myCloudDiskWindow.closeSubWindow('hub-1')"));
        QTRY_COMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("hub-1")), m_bridge);
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.length === 1")));
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("hub-2"), QStringLiteral("{\"n\":2}"));
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("hub-1"), QStringLiteral("{\"n\":1}"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.length === 2")));
        eval(QStringLiteral("myCloudDiskWindow.refreshExamList('list-2')"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("got.length === 3")));
        QCOMPARE(eval(QStringLiteral("JSON.stringify(got)")).toString(),
                 QStringLiteral("[[\"list-1\",null],[\"hub-1\",\"{\\\"n\\\":1}\"],[\"list-2\",null]]"));
    }

    void loadingIndicatorShowsAndTimesOut()
    {
        QCOMPARE(ExamBaseBridge::LoadingTimeoutMs, 300000);
        auto *timer = m_bridge->findChild<QTimer *>(QStringLiteral("loadingTimer"));
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 300000);
        QVERIFY(timer->isSingleShot());
        QCOMPARE(m_bridge->loadingTimeout(), 300000);

        m_bridge->startLoading();
        auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner"));
        QVERIFY(spinner);
        QVERIFY(spinner->isVisible());
        QVERIFY(spinner->isSpinning());
        QVERIFY(timer->isActive());
        QCOMPARE(spinner->text(), OrvLang::text("ID_Loading_Ellipsis"));
        QCOMPARE(spinner->innerRadius(), 4);
        QCOMPARE(spinner->lineLength(), 15);
        QCOMPARE(spinner->lineWidth(), 6);
        QCOMPARE(spinner->roundness(), 4.0);
        QCOMPARE(spinner->opacity(), 0.5);
        QCOMPARE(spinner->geometry(), m_view->rect());
        saveScreenshot(QStringLiteral("loading"));

        m_bridge->updateLoadingProcess(QStringLiteral("Uploading 40%"));
        QCOMPARE(spinner->text(), QStringLiteral("Uploading 40%"));
        m_bridge->stopLoading();
        QVERIFY(!spinner->isVisible());
        QVERIFY(!timer->isActive());
        QVERIFY(m_messages.isEmpty());

        // The timer's own path: shortened, it ends in the information box and a stopped spinner.
        ShortTimeoutBridge bridge(m_view, nullptr, WebSubWindowBridge::FromIm);
        bridge.setLoadingTimeout(50);
        bridge.startLoading(QStringLiteral("Saving"));
        QTRY_COMPARE(m_messages.size(), 1);
        QCOMPARE(m_messages.first(), OrvLang::text("ID_Information") + QLatin1Char('|')
                                         + OrvLang::text("ID_timeoutoccurred_OperationCanceled"));
        QVERIFY(!bridge.isLoading());
        QVERIFY(!bridge.findChild<QTimer *>(QStringLiteral("loadingTimer"))->isActive());
    }

    void spinnerCloseButtonStopsLoading()
    {
        m_bridge->startLoading();
        auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner"));
        QVERIFY(spinner->isCloseButtonVisible());
        auto *close = spinner->findChild<QAbstractButton *>(QStringLiteral("spinnerCloseBtn"));
        QVERIFY(close && close->isVisible());
        close->click();
        QVERIFY(!m_bridge->isLoading());
        QVERIFY(!spinner->isVisible());
        QVERIFY(m_messages.isEmpty());
    }

private:
    QUrl url(const QString &path) const { return QUrl(m_service.baseUrl().toString() + path); }
    QVariant eval(const QString &script) { return WebTest::eval(m_view->page(), script); }
    static QList<WebSubWindow *> windows() { return WebSubWindowManger::instance()->windows(); }
    static QString jsString(const QString &text)
    {
        const QByteArray json = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
        return QString::fromUtf8(json.mid(1, json.size() - 2));
    }
    void openFromPage(const QString &requestData, const QString &cbKey)
    {
        eval(QStringLiteral("myCloudDiskWindow.openSubWindow(%1, %2); 0").arg(jsString(requestData), jsString(cbKey)));
    }
    // ORV_BRIDGE_SCREENSHOTS=<folder> keeps a picture of the view as the screen shows it.
    void saveScreenshot(const QString &name)
    {
        const QString folder = qEnvironmentVariable("ORV_BRIDGE_SCREENSHOTS");
        if (folder.isEmpty())
            return;
        QTest::qWait(500);
        const QPixmap shot = m_view->screen()->grabWindow(m_view->winId());
        shot.save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    }

    OrvWebService m_service;
    OrvWebView *m_view = nullptr;
    ImCloudWebBridge *m_bridge = nullptr;
    QList<QUrl> m_browserUrls;
    QStringList m_messages;
};

ORV_WEB_TEST_MAIN(ImCloudBridgesTest)
#include "tst_imcloudbridges.moc"
