// SPDX-License-Identifier: LGPL-2.1-or-later
// The browser layer in a real web engine: publishing bridges to trusted pages only, page calls
// with any values, answers through window.orvClientAPI, notices and theme.
#include "globalwebbridge.h"
#include "orvhttpmanager.h"
#include "orvwebview.h"
#include "qcefwebpage.h"
#include "webcallbackscript.h"
#include "webtestutils.h"

#include <QJsonObject>
#include <QTemporaryDir>
#include <algorithm>

using namespace WebTest;

namespace {

class EchoBridge : public GlobalWebBridge
{
    Q_OBJECT
public:
    using GlobalWebBridge::GlobalWebBridge;
    QStringList texts;
    QStringList keys;

public Q_SLOTS:
    void echo(const QString &text, const QString &cbKey)
    {
        texts << text;
        keys << cbKey;
        runJavaScript(WebCallbackScript::escapedLine(cbKey, text));
    }
    // Takes a key and answers later, through someone else.
    void later(const QString &cbKey)
    {
        acceptCallbackKey(cbKey);
        keys << cbKey;
    }
    int next(int n) { return n + 1; }
};

// Records every answer and notice the page receives.
const QByteArray RecorderPage = R"(<!doctype html><html><body><p>bridge test page</p><script>
window.got = [];
window.notices = [];
window.themeEvents = [];
if (window.orvClientAPI) {
    window.addEventListener('orvclientcallback', function (e) { got.push([e.detail.key, e.detail.data]); });
    orvClientAPI.onNotice('schoolInfoChanged', function (d, n) { notices.push([n, d]); });
    orvClientAPI.onNotice('updateStorageState', function (d, n) { notices.push([n, d]); });
    window.addEventListener('orvthemechange', function (e) { themeEvents.push(e.detail.theme); });
}
</script></body></html>)";

// Calls the bridge from its first script, before the channel has answered.
const QByteArray EarlyCallerPage = R"(<!doctype html><html><head><script>
window.early = [];
orvClientAPI.on('early', function (d) { early.push(d); });
window.echoBridge.echo('first', 'early');
window.echoBridge.echo('second', 'early');
</script></head><body></body></html>)";

} // namespace

class OrvWebViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        QVERIFY(m_foreign.start());
        addPage(m_service, QStringLiteral("/client/t/recorder.html"), RecorderPage);
        addPage(m_service, QStringLiteral("/client/t/early.html"), EarlyCallerPage);
        addPage(m_foreign, QStringLiteral("/client/t/recorder.html"), RecorderPage);
        addPage(m_foreign, QStringLiteral("/client/t/early.html"), EarlyCallerPage);
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});
        // Pages the service would never serve as its own: any path outside the client's pages,
        // and a page the service sandboxes.
        addPage(m_service, QStringLiteral("/files/recorder.html"), RecorderPage);
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/t/nocontent"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{204, "text/html", QByteArray()};
        });
        addPage(m_service, QStringLiteral("/client/t/framing.html"),
                "<!doctype html><p>frames another site</p><iframe id=\"f\"></iframe>");
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/t/sandboxed.html"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "text/html", RecorderPage, {{"Content-Security-Policy", "sandbox allow-scripts"}}};
        });
    }

    void cleanupTestCase()
    {
        m_service.stop();
        m_foreign.stop();
    }

    void trustedUrls_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("trusted");
        const QString base = m_service.baseUrl().toString();
        QTest::newRow("service page") << base + QStringLiteral("/client/cloud/cs/im?x=1") << true;
        QTest::newRow("service, not a page") << base + QStringLiteral("/cloudspace/api/user/files") << false;
        QTest::newRow("other port") << m_foreign.baseUrl().toString() + QStringLiteral("/client/a") << false;
        QTest::newRow("localhost is another origin") << QStringLiteral("http://localhost:%1/client/a").arg(m_service.port()) << false;
        QTest::newRow("https of the same host") << QStringLiteral("https://127.0.0.1:%1/client/a").arg(m_service.port()) << false;
        QTest::newRow("qrc") << QStringLiteral("qrc:/pages/index.html") << true;
        QTest::newRow("data") << QStringLiteral("data:text/html,<p>x</p>") << false;
        QTest::newRow("about") << QStringLiteral("about:blank") << false;
        QTest::newRow("javascript") << QStringLiteral("javascript:alert(1)") << false;
        QTest::newRow("empty") << QString() << false;
    }

    void trustedUrls()
    {
        QFETCH(QString, url);
        QFETCH(bool, trusted);
        QCOMPARE(OrvWebView::isTrustedUrl(QUrl(url)), trusted);
    }

    void offlinePackagesAreTrustedInsideTheirFolderOnly()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QDir(dir.path()).mkpath(QStringLiteral("CloudSpacePkg/launcher"));
        QDir(dir.path()).mkpath(QStringLiteral("CloudSpacePkgEvil"));
        const QString root = dir.filePath(QStringLiteral("CloudSpacePkg"));
        OrvWebView::setOfflinePackageRoots({root});
        QVERIFY(OrvWebView::isTrustedUrl(QUrl::fromLocalFile(root + QStringLiteral("/launcher/index.html"))));
        QVERIFY(!OrvWebView::isTrustedUrl(QUrl::fromLocalFile(root + QStringLiteral("/../secret.html"))));
        QVERIFY(!OrvWebView::isTrustedUrl(QUrl::fromLocalFile(dir.filePath(QStringLiteral("CloudSpacePkgEvil/a.html")))));
        QVERIFY(!OrvWebView::isTrustedUrl(QUrl::fromLocalFile(root)));
        OrvWebView::setOfflinePackageRoots({});
        QVERIFY(!OrvWebView::isTrustedUrl(QUrl::fromLocalFile(root + QStringLiteral("/launcher/index.html"))));
    }

    // Only the pages of a trusted origin get the bridges, not whatever else it serves, and not a
    // page it serves in a sandbox.
    void onlyPagePathsOfTrustedOriginsGetBridges()
    {
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/files/recorder.html"))));
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/download/file?id=1"))));
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/client/../download/file?id=1"))));
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/client/%2e%2e/download/file"))));
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/client\\..\\download/file"))));
        QVERIFY(!OrvWebView::isTrustedUrl(page(QStringLiteral("/clientx/a"))));
        QVERIFY(OrvWebView::isTrustedUrl(page(QStringLiteral("/client/cloud/cs/im?x=1"))));

        for (const QString &path : {QStringLiteral("/files/recorder.html"), QStringLiteral("/client/t/sandboxed.html")}) {
            OrvWebView view;
            EchoBridge bridge(&view);
            view.registerObject(&bridge, QStringLiteral("echoBridge"));
            QVERIFY(load(&view, page(path)));
            QVERIFY(waitFor(view.page(), QStringLiteral("document.readyState === 'complete'")));
            QTest::qWait(300);
            QVERIFY2(!view.isBridgeAttached(), qPrintable(path));
            QCOMPARE(eval(view.page(), QStringLiteral("typeof window.echoBridge + typeof (window.qt && qt.webChannelTransport)")).toString(),
                     QStringLiteral("undefinedundefined"));
            bridge.runJavaScript(WebCallbackScript::line(QStringLiteral("k"), QStringLiteral("secret")));
            QTest::qWait(300);
            QCOMPARE(eval(view.page(), QStringLiteral("got.length")).toInt(), 0);
        }
    }

    // The page's own document stays when a load brings none (no content): its bridges come
    // back, and calls and answers go on.
    void documentThatStaysGetsItsBridgesBack()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));
        eval(view.page(), QStringLiteral("window.kept = true; location.href = '/client/t/nocontent'"));
        QTRY_VERIFY(requested(m_service, QStringLiteral("/client/t/nocontent")));
        QTRY_VERIFY_WITH_TIMEOUT(view.isBridgeAttached(), 10000);
        QVERIFY(eval(view.page(), QStringLiteral("window.kept")).toBool());
        eval(view.page(), QStringLiteral("echoBridge.echo('still here', 'k2')"));
        QTRY_COMPARE(bridge.texts, QStringList{QStringLiteral("still here")});
        QVERIFY(waitFor(view.page(), QStringLiteral("got.length === 1 && got[0][1] === 'still here'")));
    }

    // A frame of another site inside a trusted page reaches nothing, and a page that writes what
    // the client's document check writes does not pass for a trusted one.
    void framesAndForgedReportsGetNothing()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/framing.html"))));
        QVERIFY(view.isBridgeAttached());
        m_foreign.clearRequests();
        eval(view.page(), QStringLiteral("document.getElementById('f').src = %1")
                              .arg(jsString(foreignPage(QStringLiteral("/client/t/early.html")).toString())));
        QTRY_VERIFY(requested(m_foreign, QStringLiteral("/client/t/early.html")));
        QTest::qWait(500);
        QVERIFY(bridge.texts.isEmpty());

        // The foreign page on top, claiming in every way to be the client's page.
        QVERIFY(load(&view, foreignPage(QStringLiteral("/client/t/recorder.html"))));
        const QString href = page(QStringLiteral("/client/t/recorder.html")).toString();
        eval(view.page(), QStringLiteral("for (var i = 0; i < 3; ++i) console.debug('orv-document ' + i + ' ' + JSON.stringify("
                                         "{id: 'ab'.repeat(16), href: %1, origin: %2}));"
                                         "console.debug('orv-document  ' + JSON.stringify({id: 'cd'.repeat(16), href: %1}))")
                              .arg(jsString(href), jsString(m_service.baseUrl().toString())));
        QTest::qWait(500);
        QVERIFY(!view.isBridgeAttached());
        QCOMPARE(eval(view.page(), QStringLiteral("typeof (window.qt && qt.webChannelTransport)")).toString(), QStringLiteral("undefined"));
    }

    // A key belongs to the page that handed it out last: an answer for it runs there once; a
    // key forgotten with its document, its bridge or its age runs nowhere.
    void callbackKeysBelongToTheirPage()
    {
        OrvWebView first;
        OrvWebView second;
        auto *one = new EchoBridge(&first, &first);
        auto *two = new EchoBridge(&second, &second);
        first.registerObject(one, QStringLiteral("echoBridge"));
        second.registerObject(two, QStringLiteral("echoBridge"));
        QVERIFY(load(&first, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(load(&second, page(QStringLiteral("/client/t/recorder.html"))));
        eval(first.page(), QStringLiteral("echoBridge.later('shared'); echoBridge.later('mine')"));
        QTRY_COMPARE(one->keys.size(), 2);
        eval(second.page(), QStringLiteral("echoBridge.later('shared')"));
        QTRY_COMPARE(two->keys.size(), 1);
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("shared")), two);
        QVERIFY(OrvWebBridge::answerCallbackKey(QStringLiteral("shared"), QStringLiteral("it's \"x\"\n")));
        QVERIFY(OrvWebBridge::answerCallbackKey(QStringLiteral("mine"), QStringLiteral("1")));
        QVERIFY(!OrvWebBridge::answerCallbackKey(QStringLiteral("nobody"), QStringLiteral("1")));
        QVERIFY(waitFor(second.page(), QStringLiteral("got.length === 1")));
        QVERIFY(waitFor(first.page(), QStringLiteral("got.length === 1")));
        QCOMPARE(eval(second.page(), QStringLiteral("got[0].join('=')")).toString(), QStringLiteral("shared=it's \"x\"\n"));
        QCOMPARE(eval(first.page(), QStringLiteral("got[0].join('=')")).toString(), QStringLiteral("mine=1"));

        // Another document: the old one's keys are void.
        QVERIFY(load(&first, page(QStringLiteral("/client/t/recorder.html"))));
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("mine")), nullptr);
        delete two;
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("shared")), nullptr);

        // The oldest keys go first once there are too many.
        eval(first.page(), QStringLiteral("echoBridge.later('oldest');"
                                          "for (var i = 0; i < %1; ++i) echoBridge.later('k' + i); echoBridge.later('done')")
                               .arg(OrvWebBridge::MaxCallbackKeys));
        QTRY_VERIFY_WITH_TIMEOUT(one->keys.contains(QStringLiteral("done")), 20000);
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("oldest")), nullptr);
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("k1")), one);
        QCOMPARE(OrvWebBridge::callbackKeyOwner(QStringLiteral("done")), one);
    }

    // One builder for every line: text that could end the script's string is escaped, whatever
    // the builder; plain text keeps the plain form.
    void scriptLinesEscapeWhatTheyCarry()
    {
        QCOMPARE(WebCallbackScript::line(QStringLiteral("k"), QStringLiteral("{\"a\":1}")).toString(),
                 QStringLiteral("window.orvClientAPI.callback('k', '{\"a\":1}')"));
        QCOMPARE(WebCallbackScript::line(QStringLiteral("k"), QStringLiteral("x'); y('")),
                 WebCallbackScript::escapedLine(QStringLiteral("k"), QStringLiteral("x'); y('")));
        QCOMPARE(WebCallbackScript::escapedLine(QStringLiteral("k'"), QStringLiteral("a\\b\r\n'")).toString(),
                 QStringLiteral("window.orvClientAPI.callback('k\\'' , 'a\\\\b\\r\\n\\'') "));
        QCOMPARE(WebCallbackScript::line(QStringLiteral("k\n")).toString(), QStringLiteral("window.orvClientAPI.callback('k\\n')"));
        QVERIFY(!WebCallbackScript::pageFunction(QStringLiteral("refresh")).isEmpty());
        for (const QString &bad : {QStringLiteral("refresh()"), QStringLiteral("a.b"), QStringLiteral("x');y('"), QString(),
                                   QStringLiteral("1abc")})
            QVERIFY2(WebCallbackScript::pageFunction(bad).isEmpty(), qPrintable(bad));
        QVERIFY(WebCallbackScript().isEmpty());
    }

    void webServiceOfTheHttpManagerIsTrusted()
    {
        const QUrl other(QStringLiteral("http://127.0.0.2:8123/client/page"));
        QVERIFY(!OrvWebView::isTrustedUrl(other));
        OrvHttpManager::instance()->setBaseUrl(QUrl(QStringLiteral("http://127.0.0.2:8123/api/")));
        QVERIFY(OrvWebView::isTrustedUrl(other));
        OrvHttpManager::instance()->setBaseUrl(QUrl());
        QVERIFY(!OrvWebView::isTrustedUrl(other));
    }

    // A trusted page calls the bridge with text full of quotes and escapes, and gets it back exactly.
    void trustedPageCallsBridgeAndGetsExactAnswer()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        view.resize(800, 600);
        view.show();
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(view.isBridgeAttached());
        QVERIFY(view.isLoadedFinished());
        QVERIFY(waitFor(view.page(), QStringLiteral("typeof window.echoBridge === 'object' && !!window.echoBridge.echo")));

        // Raw line breaks, in the text and in the key, would end the script's string literal.
        const QString tricky = QStringLiteral("it's a \"path\" C:\\dir\\n\\x27 </script> ü 漢字 \u2028 two\nlines\r\n end");
        const QString key = QStringLiteral("k1\n'x'");
        eval(view.page(), QStringLiteral("window.echoBridge.echo(%1, %2)").arg(jsString(tricky), jsString(key)));
        QTRY_COMPARE(bridge.texts, QStringList{tricky});
        QCOMPARE(bridge.keys, QStringList{key});
        QVERIFY(waitFor(view.page(), QStringLiteral("got.length === 1")));
        QCOMPARE(eval(view.page(), QStringLiteral("got[0][0]")).toString(), key);
        QCOMPARE(eval(view.page(), QStringLiteral("got[0][1]")).toString(), tricky);

        // on/once/off dispatch by key.
        eval(view.page(), QStringLiteral("window.byKey = []; orvClientAPI.on('a', function (d) { byKey.push('on:' + d); });"
                                         "orvClientAPI.once('a', function (d) { byKey.push('once:' + d); });"
                                         "orvClientAPI.on('b', function (d) { byKey.push('b:' + d); });"));
        bridge.runJavaScript(WebCallbackScript::line(QStringLiteral("a"), QStringLiteral("1")));
        bridge.runJavaScript(WebCallbackScript::line(QStringLiteral("a"), QStringLiteral("2")));
        bridge.runJavaScript(WebCallbackScript::line(QStringLiteral("b")));
        QVERIFY(waitFor(view.page(), QStringLiteral("byKey.length === 4")));
        QCOMPARE(eval(view.page(), QStringLiteral("byKey.join(',')")).toString(),
                 QStringLiteral("on:1,once:1,on:2,b:undefined"));
    }

    void callsMadeBeforeTheChannelIsUpAreReplayedInOrder()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/early.html"))));
        QTRY_COMPARE(bridge.texts, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
        QVERIFY(waitFor(view.page(), QStringLiteral("early.length === 2")));
        QCOMPARE(eval(view.page(), QStringLiteral("early.join(',')")).toString(), QStringLiteral("first,second"));
    }

    // A number arrives as its text and null as empty text; objects, arrays and calls with the
    // wrong number of arguments are refused by the channel. Nothing crashes, the page stays usable.
    void pageValuesOfAnyTypeReachTheSlot()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));

        eval(view.page(), QStringLiteral("echoBridge.echo({a: 1}, 'obj'); echoBridge.echo(42, 'num');"
                                         "echoBridge.echo(null, 'null'); echoBridge.echo([1, 2], 'arr');"
                                         "echoBridge.echo(); echoBridge.echo('x');"
                                         "echoBridge.echo('extra', 'k', 'ignored', 4);"
                                         "echoBridge.echo('last', 'last');"));
        QTRY_VERIFY(bridge.keys.contains(QStringLiteral("last")));
        QCOMPARE(bridge.keys, (QStringList{QStringLiteral("num"), QStringLiteral("null"), QStringLiteral("last")}));
        QCOMPARE(bridge.texts, (QStringList{QStringLiteral("42"), QString(), QStringLiteral("last")}));

        // A return value reaches the page's callback; a non-number arrives as 0.
        eval(view.page(), QStringLiteral("window.nexts = []; echoBridge.next(41, function (v) { nexts.push(v); });"
                                         "echoBridge.next('abc', function (v) { nexts.push(v); });"));
        QVERIFY(waitFor(view.page(), QStringLiteral("nexts.length === 2")));
        QCOMPARE(eval(view.page(), QStringLiteral("nexts.join(',')")).toString(), QStringLiteral("42,1"));

        // Several megabytes of text go through and back.
        eval(view.page(), QStringLiteral("echoBridge.echo('x'.repeat(4 * 1024 * 1024) + \"'\", 'big')"));
        QTRY_VERIFY_WITH_TIMEOUT(bridge.keys.contains(QStringLiteral("big")), 20000);
        QCOMPARE(bridge.texts.last().size(), 4 * 1024 * 1024 + 1);
        QVERIFY(waitFor(view.page(), QStringLiteral("got.some(function (g) { return g[0] === 'big' && g[1].length === 4194305; })"), 20000));
    }

    void foreignPageGetsNoBridge()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, foreignPage(QStringLiteral("/client/t/early.html"))));
        QVERIFY(!view.isBridgeAttached());
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.echoBridge")).toString(), QStringLiteral("undefined"));
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.orvClientAPI")).toString(), QStringLiteral("undefined"));
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.qt")).toString(), QStringLiteral("undefined"));
        QTest::qWait(300);
        QVERIFY(bridge.texts.isEmpty());

        // Answers meant for the bridge's page are not run in a foreign one.
        eval(view.page(), QStringLiteral("window.orvClientAPI = {callback: function (k, d) { window.leaked = d; }}"));
        bridge.runJavaScript(WebCallbackScript::line(QStringLiteral("k"), QStringLiteral("secret")));
        QTest::qWait(300);
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.leaked")).toString(), QStringLiteral("undefined"));
    }

    void navigatingAwayDetachesAndComingBackAttaches()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(view.isBridgeAttached());

        // The trusted page itself sends the view elsewhere.
        QSignalSpy loaded(&view, &QWebEngineView::loadFinished);
        eval(view.page(), QStringLiteral("location.href = %1").arg(jsString(foreignPage(QStringLiteral("/client/t/recorder.html")).toString())));
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 10000);
        QCOMPARE(view.url().port(), int(m_foreign.port()));
        QVERIFY(!view.isBridgeAttached());
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.echoBridge")).toString(), QStringLiteral("undefined"));

        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(view.isBridgeAttached());
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));
    }

    void noticesAndThemeReachThePage()
    {
        OrvWebView view(OrvWebView::Light);
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        view.setSchoolId(QStringLiteral("77"));
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QCOMPARE(eval(view.page(), QStringLiteral("orvClientAPI.theme + '/' + orvClientAPI.schoolId")).toString(),
                 QStringLiteral("light/77"));

        bridge.commonNotice(QStringLiteral("schoolInfoChanged"), QJsonObject{{QStringLiteral("sid"), QStringLiteral("9'\"\\")}});
        bridge.updateStorageState(QJsonObject{{QStringLiteral("used"), 10}});
        QVERIFY(waitFor(view.page(), QStringLiteral("notices.length === 2")));
        QCOMPARE(eval(view.page(), QStringLiteral("notices[0][0] + '=' + notices[0][1].sid")).toString(),
                 QStringLiteral("schoolInfoChanged=9'\"\\"));
        QCOMPARE(eval(view.page(), QStringLiteral("notices[1][0] + '=' + notices[1][1].used")).toString(),
                 QStringLiteral("updateStorageState=10"));

        QSignalSpy themeSpy(&view, &OrvWebView::themeChanged);
        view.setTheme(OrvWebView::Dark);
        view.setTheme(OrvWebView::Dark);
        QCOMPARE(themeSpy.count(), 1);
        QVERIFY(waitFor(view.page(), QStringLiteral("themeEvents.join() === 'dark'")));
        QVERIFY(view.page()->backgroundColor() != QColor(Qt::white));
        QCOMPARE(eval(view.page(), QStringLiteral("orvClientAPI.theme")).toString(), QStringLiteral("dark"));
    }

    // Inline html counts as a document of its base address, for better or worse.
    void inlineHtmlIsTrustedByItsBaseUrl()
    {
        OrvWebView view;
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        QSignalSpy spy(&view, &QWebEngineView::loadFinished);
        view.setHtml(QString::fromUtf8(RecorderPage), page(QStringLiteral("/client/t/inline.html")));
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 1, 10000);
        QVERIFY(view.isBridgeAttached());
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));

        view.setHtml(QString::fromUtf8(RecorderPage), foreignPage(QStringLiteral("/client/t/inline.html")));
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 2, 10000);
        QVERIFY(!view.isBridgeAttached());
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.echoBridge")).toString(), QStringLiteral("undefined"));

        view.setHtml(QString::fromUtf8(RecorderPage));
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 3, 10000);
        QVERIFY(!view.isBridgeAttached());
    }

    void destroyedBridgeIsForgotten()
    {
        OrvWebView view;
        auto *bridge = new EchoBridge(&view);
        view.registerObject(bridge, QStringLiteral("echoBridge"));
        auto *other = new EchoBridge(&view, &view);
        view.registerObject(other, QStringLiteral("other"));
        QCOMPARE(view.registeredNames(), (QStringList{QStringLiteral("echoBridge"), QStringLiteral("other")}));
        delete bridge;
        QCOMPARE(view.registeredNames(), QStringList{QStringLiteral("other")});
        // Re-registering under a new name moves the bridge.
        view.registerObject(other, QStringLiteral("renamed"));
        QCOMPARE(view.registeredNames(), QStringList{QStringLiteral("renamed")});
        QVERIFY(load(&view, page(QStringLiteral("/client/t/recorder.html"))));
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.renamed && window.renamed.echo)")));
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.other + typeof window.echoBridge")).toString(),
                 QStringLiteral("undefinedundefined"));
    }

private:
    static bool requested(const OrvWebService &service, const QString &path)
    {
        const QVector<OrvWebService::Request> all = service.requests();
        return std::any_of(all.cbegin(), all.cend(), [&path](const OrvWebService::Request &r) { return r.path == path; });
    }
    QUrl page(const QString &path) const { return QUrl(m_service.baseUrl().toString() + path); }
    QUrl foreignPage(const QString &path) const { return QUrl(m_foreign.baseUrl().toString() + path); }
    static QString jsString(const QString &text)
    {
        const QByteArray json = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
        return QString::fromUtf8(json.mid(1, json.size() - 2));
    }

    OrvWebService m_service;
    OrvWebService m_foreign;
};

ORV_WEB_TEST_MAIN(OrvWebViewTest)
#include "tst_orvwebview.moc"
