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
        addPage(m_service, QStringLiteral("/t/recorder.html"), RecorderPage);
        addPage(m_service, QStringLiteral("/t/early.html"), EarlyCallerPage);
        addPage(m_foreign, QStringLiteral("/t/recorder.html"), RecorderPage);
        addPage(m_foreign, QStringLiteral("/t/early.html"), EarlyCallerPage);
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});
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
        QTest::newRow("other port") << m_foreign.baseUrl().toString() + QStringLiteral("/a") << false;
        QTest::newRow("localhost is another origin") << QStringLiteral("http://localhost:%1/a").arg(m_service.port()) << false;
        QTest::newRow("https of the same host") << QStringLiteral("https://127.0.0.1:%1/a").arg(m_service.port()) << false;
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

    void webServiceOfTheHttpManagerIsTrusted()
    {
        const QUrl other(QStringLiteral("http://127.0.0.2:8123/page"));
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
        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
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
        QVERIFY(load(&view, page(QStringLiteral("/t/early.html"))));
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
        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
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
        QVERIFY(load(&view, foreignPage(QStringLiteral("/t/early.html"))));
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
        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
        QVERIFY(view.isBridgeAttached());

        // The trusted page itself sends the view elsewhere.
        QSignalSpy loaded(&view, &QWebEngineView::loadFinished);
        eval(view.page(), QStringLiteral("location.href = %1").arg(jsString(foreignPage(QStringLiteral("/t/recorder.html")).toString())));
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 10000);
        QCOMPARE(view.url().port(), int(m_foreign.port()));
        QVERIFY(!view.isBridgeAttached());
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.echoBridge")).toString(), QStringLiteral("undefined"));

        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
        QVERIFY(view.isBridgeAttached());
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));
    }

    void noticesAndThemeReachThePage()
    {
        OrvWebView view(OrvWebView::Light);
        EchoBridge bridge(&view);
        view.registerObject(&bridge, QStringLiteral("echoBridge"));
        view.setSchoolId(QStringLiteral("77"));
        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
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
        view.setHtml(QString::fromUtf8(RecorderPage), page(QStringLiteral("/t/inline.html")));
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 1, 10000);
        QVERIFY(view.isBridgeAttached());
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.echoBridge && window.echoBridge.echo)")));

        view.setHtml(QString::fromUtf8(RecorderPage), foreignPage(QStringLiteral("/t/inline.html")));
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
        QVERIFY(load(&view, page(QStringLiteral("/t/recorder.html"))));
        QVERIFY(waitFor(view.page(), QStringLiteral("!!(window.renamed && window.renamed.echo)")));
        QCOMPARE(eval(view.page(), QStringLiteral("typeof window.other + typeof window.echoBridge")).toString(),
                 QStringLiteral("undefinedundefined"));
    }

private:
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
