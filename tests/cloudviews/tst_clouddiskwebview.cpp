// SPDX-License-Identifier: LGPL-2.1-or-later
// The cloud disk view with the reference pages of the local web service: the bridges the page
// finds, the address it starts at, refreshing, and what the page's requests end in (files on
// disk, recorded shares, hub signals, answers in the page).
#include "ShareToChatTool.h"
#include "classroomclouddiskbridge.h"
#include "clouddownload.h"
#include "clouddiskwebview.h"
#include "cloudpageaddress.h"
#include "cloudstyle.h"
#include "cloudviewsfixture.h"
#include "contactsengine.h"
#include "coreengine.h"
#include "extensionsystem.h"
#include "examcloudwebbride.h"
#include "homeworkcloudwebbride.h"
#include "imcloudwebbridge.h"
#include "imexamcloudwebbride.h"
#include "imhomeworkcloudwebbride.h"
#include "imsignalobject.h"
#include "orvreloadbutton.h"
#include "systembrowser.h"
#include "websubwindow.h"
#include "websubwindowmanger.h"

#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QStandardPaths>
#include <memory>

using namespace CloudViews;
using namespace WebTest;

namespace {

using View = std::unique_ptr<CloudDiskWebView>;

QString jsText(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QStringList ownMethods(const QMetaObject *mo, QMetaMethod::MethodType type)
{
    QStringList names;
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
        if (mo->method(i).methodType() == type)
            names << QString::fromLatin1(mo->method(i).name());
    }
    return names;
}

// The view's page finished loading and its script has run.
bool pageReady(CloudDiskWebView *view, int timeoutMs = 15000)
{
    return waitFor(view->webView()->page(), QStringLiteral("!!(window.orvPage && orvPage.loaded)"), timeoutMs);
}

// Waits for the next load of the view to end; false when it failed or never came.
bool nextLoad(CloudDiskWebView *view, const std::function<void()> &action)
{
    QSignalSpy spy(view->webView(), &QWebEngineView::loadFinished);
    action();
    return reached(spy, 1, 15000) && spy.last().at(0).toBool();
}

QString pathAndQuery(const QUrl &url)
{
    return url.path() + (url.hasQuery() ? QLatin1Char('?') + url.query() : QString());
}


// A page on another origin that wants the bridges. It keeps looking for the web channel's
// transport; once it finds one it calls everything it can reach, and it records what the
// client runs in it.
const QByteArray ForeignPage = R"(<!doctype html><html><body><p>another site</p>
<script src="/qwebchannel.js"></script><script>
window.effects = [];
window.received = [];
window.orvClientAPI = {
    callback: function (k, d) { received.push('callback ' + k + ' ' + d); },
    commonNotice: function (n, d) { received.push('notice ' + n); },
    updateStorageState: function () { received.push('storage'); },
    __setTheme: function () { received.push('theme'); }
};
function attack(o) {
    var keys = Object.keys(o);
    effects.push('objects ' + keys.join(','));
    if (o.cloudDisk) {
        o.cloudDisk.login();
        o.cloudDisk.jumpToClass('4001');
        o.cloudDisk.linkView('https://example.org/foreign');
        o.cloudDisk.downloadFileByUrls('download/file?id=1002&n=stolen.pdf');
        o.cloudDisk.openSubWindow(JSON.stringify({url: location.origin + '/opened-by-foreign'}), 'foreign-1');
        o.cloudDisk.closeSubWindow('foreign-2');
    }
    if (o.myCloudDiskWindow) {
        o.myCloudDiskWindow.webShare(JSON.stringify({fileType: 'link', link: 'stolen'}));
        o.myCloudDiskWindow.openSubWindow(JSON.stringify({url: location.origin + '/opened-by-foreign-2'}), 'foreign-3');
    }
    if (o.orvSubWindow)
        o.orvSubWindow.answer('stolen');
}
var poll = setInterval(function () {
    var t = window.qt && qt.webChannelTransport;
    if (!t)
        return;
    clearInterval(poll);
    effects.push('transport');
    new QWebChannel(t, function (channel) { attack(channel.objects); });
}, 10);
// Asks for a page of the client; the answer never replaces this document.
function trick(target, stopAfterMs) {
    location.href = target;
    if (stopAfterMs)
        setTimeout(function () { window.stop(); }, stopAfterMs);
}
</script></body></html>)";

QByteArray resourceText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class CloudDiskWebViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        qRegisterMetaType<QWidget *>();
        QVERIFY(m_env.start());
        OrvEngine::CoreEngine::instance()->createLoginObject()->setLogined(true);
        OrvEngine::ContactsEngine::instance()->setCurrentUid(OrvCloudDisk::DefaultUserId);

        // Another port of the same host: another origin.
        const QByteArray channelScript = resourceText(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
        QVERIFY(!channelScript.isEmpty());
        m_foreign.addRoute(QStringLiteral("GET"), QStringLiteral("/qwebchannel.js"), [channelScript](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/javascript", channelScript};
        });
        addPage(m_foreign, QStringLiteral("/page"), ForeignPage);
        QVERIFY(m_foreign.start());
        // Addresses of the client's own web service that leave the asking document in place.
        m_env.service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/t/nocontent"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{204, "text/html", QByteArray()};
        });
        m_env.service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/t/attachment"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/octet-stream", "bytes",
                                           {{"Content-Disposition", "attachment; filename=\"a.bin\""}}};
        });
        addPage(m_env.service, QStringLiteral("/client/t/slow"), "<!doctype html><p>slow</p>");
        m_env.service.setFault(QStringLiteral("/client/t/slow"), OrvWebService::Fault::Slow, 4000);
    }

    void cleanupTestCase()
    {
        m_shareView.reset();
        QDir(packageRoot()).removeRecursively();
        QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/outside")).removeRecursively();
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));
        m_env.stop();
        m_foreign.stop();
        ImSignalObject::release();
        ShareToChatTool::release();
        OrvTransferQueue::release();
    }

    void init()
    {
        for (const char *key : {CloudDiskBridge::TeacherDefaultTabKey, CloudPageAddress::DebugAddressKey,
                                CloudDiskWebView::OfflinePackageKey, CloudDownload::SaveAsPathKey, CloudStyle::ThemeKey})
            OrvSettings::instance()->remove(QLatin1String(key));
        OrvEngine::CoreEngine::instance()->loginObject()->setLogined(true);
        ServerEnvironment::setCode(QString());
        m_classroom.extendScreen = false;
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));
        ShareToChatTool::instance()->clear();
        m_env.saveCalls.clear();
        m_env.folderCalls = 0;
        m_env.service.clearFaults();
        m_env.service.setFault(QStringLiteral("/client/t/slow"), OrvWebService::Fault::Slow, 4000);
        m_browserUrls.clear();
        SystemBrowser::setOpener([this](const QUrl &url) {
            m_browserUrls << url;
            return true;
        });
    }

    void cleanup()
    {
        SystemBrowser::setOpener({});
        for (WebSubWindow *window : WebSubWindowManger::instance()->windows())
            delete window;
    }

    // The page finds the bridges under their names, in the client and in a classroom, and the
    // view publishes its own signals and slots in the order hosts connect them by.
    void publishesBridges()
    {
        const QStringList signalNames{"imageShowRequested", "hideCloudDisk", "hideExtendCloudDisk", "signalOpenLocalFile",
                                      "sigOpenFiles", "sigOpenHomeworkByLauncher", "sigOpenExamByLauncher", "signalLogin",
                                      "signalReloadPage"};
        const QStringList slotNames{"reloadCloudDisk", "refreshWebpage", "downloadFile", "shareFile",
                                    "openHomeworkSubWidget", "setHomeworkReloadMainWidgetCbKey", "openExamSubWidget",
                                    "setExamReloadMainWidgetCbKey", "webShare", "openResourceCenterFolder",
                                    "dataDownload", "exportFiles"};
        QCOMPARE(ownMethods(&CloudDiskWebView::staticMetaObject, QMetaMethod::Signal), signalNames);
        QCOMPARE(ownMethods(&CloudDiskWebView::staticMetaObject, QMetaMethod::Slot), slotNames);

        View im = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(im.get()));
        QVERIFY(qobject_cast<ImCloudWebBridge *>(im->webView()->registeredObject("myCloudDiskWindow")));
        QVERIFY(!qobject_cast<ClassroomCloudDiskBridge *>(im->webView()->registeredObject("cloudDisk")));
        QCOMPARE(im->webView()->registeredObject("myExam")->metaObject()->className(), "ImExamCloudWebBride");
        QCOMPARE(im->webView()->registeredObject("myHomework")->metaObject()->className(), "ImHomeworkCloudWebBride");
        QCOMPARE(static_cast<ExamBaseBridge *>(im->webView()->registeredObject("myExam"))->loadingTimeout(), 300000);
        QCOMPARE(eval(im->webView()->page(), "typeof cloudDisk.downloadFilesWithCbk + typeof myCloudDiskWindow.shareFile")
                     .toString(),
                 QStringLiteral("functionfunction"));
        QVERIFY(waitFor(im->webView()->page(), "document.getElementById('env').textContent === 'In the client'"));
        im.reset();

        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &m_classroom);
        View room = shown(WebSubWindowBridge::FromClassroom);
        QVERIFY(pageReady(room.get()));
        QVERIFY(qobject_cast<ClassroomCloudDiskBridge *>(room->webView()->registeredObject("cloudDisk")));
        QVERIFY(!room->webView()->registeredNames().contains("myCloudDiskWindow"));
        QCOMPARE(room->webView()->registeredObject("myExam")->metaObject()->className(), "ExamCloudWebBride");
        QCOMPARE(room->webView()->registeredObject("myHomework")->metaObject()->className(), "HomeworkCloudWebBride");
        QCOMPARE(eval(room->webView()->page(), "typeof myExam.linkSync + typeof myHomework.openHomework").toString(),
                 QStringLiteral("functionfunction"));
        QCOMPARE(room->webView()->theme(), OrvWebView::Dark);
        QCOMPARE(room->webView()->schoolId(), QString::number(m_classroom.school));
        QCOMPARE(room->webView()->courseId(), QString::number(m_classroom.course));
        QCOMPARE(eval(room->webView()->page(), "orvClientAPI.courseId").toString(), QString::number(m_classroom.course));
        QVERIFY(waitFor(room->webView()->page(), "document.getElementById('env').textContent === 'In a classroom'"));
        QVERIFY(room->styleSheet().contains("#2c2c2c"));
    }

    void startAddress_data()
    {
        QTest::addColumn<int>("fromType");
        QTest::addColumn<bool>("extendScreen");
        QTest::addColumn<QString>("defaultTab");
        QTest::addColumn<QString>("expected");

        QTest::newRow("client") << int(WebSubWindowBridge::FromIm) << false << "AuthorizedResources" << "/client/cloud/cs/im";
        QTest::newRow("launcher") << int(WebSubWindowBridge::FromLauncher) << true << "" << "/client/cloud/cs/im";
        QTest::newRow("classroom") << int(WebSubWindowBridge::FromClassroom) << false << "" << "/client/cloud/cs/room";
        QTest::newRow("classroom, other tab") << int(WebSubWindowBridge::FromClassroom) << false << "MyResources"
                                              << "/client/cloud/cs/room";
        QTest::newRow("classroom, organisation tab")
            << int(WebSubWindowBridge::FromClassroomNoAddFile) << false << "AuthorizedResources" << "/client/cloud/cs/room/org";
        QTest::newRow("extended screen") << int(WebSubWindowBridge::FromClassroom) << true << "AuthorizedResources"
                                         << "/client/cloud/cs/room/home/?extendscreen=true";
    }

    void startAddress()
    {
        QFETCH(int, fromType);
        QFETCH(bool, extendScreen);
        QFETCH(QString, defaultTab);
        QFETCH(QString, expected);
        m_classroom.extendScreen = extendScreen;
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &m_classroom);
        OrvSettings::instance()->setValue(QLatin1String(CloudDiskBridge::TeacherDefaultTabKey), defaultTab);

        View view = shown(WebSubWindowBridge::FromType(fromType));
        QVERIFY(pageReady(view.get()));
        QCOMPARE(view->startUrl(), m_env.url(expected));
        QCOMPARE(pathAndQuery(view->webView()->url()), expected);
        QCOMPARE(view->webView()->url().host(), m_env.service.baseUrl().host());
    }

    // Before sign-in the client's disk shows the login page of the environment's web host; the
    // page there may call the bridges, and signing in leads to the disk.
    void loginPageOnTheEnvironmentHost()
    {
        OrvWebService envHost;
        OrvCloudDisk envDisk;
        envDisk.install(envHost);
        QVERIFY(envHost.start());
        ServerEnvironment::setHost(ServerEnvironment::WebHost, QStringLiteral("im"), envHost.baseUrl());
        ServerEnvironment::setHost(ServerEnvironment::WebHost, QStringLiteral("13"), QUrl("http://127.0.0.1:9"));
        ServerEnvironment::setCode(QStringLiteral("im"));
        OrvEngine::CoreEngine::instance()->loginObject()->setLogined(false);

        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QVERIFY(!view->isLoginSucess());
        QCOMPARE(view->webView()->url(), envHost.baseUrl().resolved(QUrl("/client/cloud/launcher/login")));

        QSignalSpy login(view.get(), &CloudDiskWebView::signalLogin);
        eval(view->webView()->page(), "document.getElementById('login').click()");
        QVERIFY(reached(login));

        QVERIFY(nextLoad(view.get(), [&] { view->setLoginSuccess(true); }));
        QCOMPARE(view->webView()->url(), m_env.url("/client/cloud/cs/im"));

        // A classroom is signed in whatever the flag says.
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &m_classroom);
        View room(new CloudDiskWebView(WebSubWindowBridge::FromClassroom));
        QSignalSpy roomLoaded(room->webView(), &QWebEngineView::loadFinished);
        QVERIFY(reached(roomLoaded, 1, 15000));
        QCOMPARE(room->webView()->url(), m_env.url("/client/cloud/cs/room"));
        room.reset();
        view.reset();
        ServerEnvironment::clearHosts();
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), m_env.service.baseUrl());
        ServerEnvironment::setHost(ServerEnvironment::WebHost, QString(), m_env.service.baseUrl());
        envHost.stop();
    }

    // An offline package under the writable location replaces the online login page; an entry
    // that leads out of the package folder, or one without its launcher page, does not.
    void offlinePackageLogin()
    {
        OrvEngine::CoreEngine::instance()->loginObject()->setLogined(false);
        const QString index = packageRoot() + QStringLiteral("pkg-3.1/launcher/index.html");
        QVERIFY(QDir().mkpath(QFileInfo(index).absolutePath()));
        QVERIFY(writeFile(index, "<!doctype html><html><body><p>offline login</p>"
                                 "<script>window.orvPage = {loaded: true};</script></body></html>"));
        const QString outside = QFileInfo(packageRoot() + QStringLiteral("../outside/launcher/index.html")).absoluteFilePath();
        QVERIFY(QDir().mkpath(QFileInfo(outside).absolutePath()));
        QVERIFY(writeFile(outside, "<!doctype html><p>outside</p>"));

        OrvSettings::instance()->setValue(QLatin1String(CloudDiskWebView::OfflinePackageKey), QStringLiteral("pkg-3.1"));
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        const QUrl url = view->webView()->url();
        QVERIFY2(url.toString().startsWith("file:///"), qPrintable(url.toString()));
        QCOMPARE(url.toLocalFile(), index);
        QCOMPARE(url.fragment(), QStringLiteral("/login"));
        QVERIFY(waitFor(view->webView()->page(), "typeof cloudDisk === 'object' && typeof cloudDisk.login === 'function'"));

        const QUrl online = m_env.url("/client/cloud/launcher/login");
        for (const QString &entry : {QStringLiteral("../outside"), QStringLiteral("pkg-missing"), QStringLiteral("/")}) {
            OrvSettings::instance()->setValue(QLatin1String(CloudDiskWebView::OfflinePackageKey), entry);
            QCOMPARE(view->loginUrl(), online);
        }
    }

    // Pages other than the disk, and a reload that goes through the debug hook as it is now.
    void otherPagesAndReload()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QWebEnginePage *page = view->webView()->page();

        QVERIFY(nextLoad(view.get(), [&] { view->showGoodsId(QStringLiteral("g 7")); }));
        QCOMPARE(view->webView()->url().path(), QStringLiteral("/client/cloud/cplatform"));
        QCOMPARE(view->webView()->url().fragment(), QStringLiteral("/Details?gid=g 7&fromInvoke=1"));
        QVERIFY(waitFor(page, "document.getElementById('title').textContent === 'Resource details'"));

        QVERIFY(nextLoad(view.get(), [&] { view->showTestBank(); }));
        QCOMPARE(view->webView()->url(), m_env.url("/client/cloud/qbank/pc#/CloudKadioQuestion"));

        QVERIFY(nextLoad(view.get(), [&] { view->showCloudDiskUrl(QString()); }));
        QCOMPARE(view->webView()->url(), m_env.url("/client/cloud/cs/im/doc"));
        QVERIFY(nextLoad(view.get(), [&] { view->showCloudDiskUrl(QStringLiteral("/501")); }));
        QCOMPARE(view->webView()->url(), m_env.url("/client/cloud/cs/im/doc/501"));
        QVERIFY(waitFor(page, "document.getElementById('title').textContent.indexOf('Week 1') > 0"));

        // The front-end hook points at another origin (same service, other host name); the reload
        // keeps the path and the page still gets its bridges.
        const QString debugHost = QStringLiteral("http://localhost:%1").arg(m_env.service.port());
        OrvSettings::instance()->setValue(QLatin1String(CloudPageAddress::DebugAddressKey), debugHost);
        QVERIFY(nextLoad(view.get(), [&] { view->reloadPage(); }));
        QCOMPARE(view->webView()->url(), QUrl(debugHost + "/client/cloud/cs/im/doc/501"));
        QVERIFY(waitFor(page, "typeof cloudDisk === 'object' && window.orvPage.loaded"));
        OrvSettings::instance()->remove(QLatin1String(CloudPageAddress::DebugAddressKey));
    }

    // refreshWebpage runs "refresh()" in a loaded page; a page that did not load is loaded anew,
    // but only by a visible widget.
    void refreshRules()
    {
        {
            // Right after construction the view has no address yet: the start page is loaded
            // again rather than refreshed.
            View early = shown(WebSubWindowBridge::FromIm);
            LogCapture log("orv.common");
            QVERIFY(early->webView()->url().isEmpty());
            QSignalSpy loaded(early->webView(), &QWebEngineView::loadFinished);
            early->refreshWebpage();
            QVERIFY(log.contains(QStringLiteral("---im clouddisk print:  loadFinish flag 0")));
            QVERIFY(log.contains(QStringLiteral("cloud disk loads")));
            QVERIFY(reached(loaded, 1, 15000));
            QVERIFY(pageReady(early.get()));
            QCOMPARE(early->webView()->url(), early->startUrl());
        }
        m_env.service.setFault(QStringLiteral("/client/cloud/cs/im"), OrvWebService::Fault::Status500);
        View view(new CloudDiskWebView(WebSubWindowBridge::FromIm));
        QSignalSpy finished(view->webView(), &QWebEngineView::loadFinished);
        QTRY_VERIFY_WITH_TIMEOUT(finished.count() >= 1, 15000);
        m_env.service.clearFaults();
        QVERIFY(!view->webView()->isLoadedFinished());

        LogCapture log("orv.common");
        QSignalSpy started(view->webView(), &QWebEngineView::loadStarted);
        view->refreshWebpage();
        view->reloadCloudDisk();
        QTest::qWait(300);
        QCOMPARE(started.size(), 0);
        QVERIFY(log.contains(QStringLiteral("---im clouddisk print: %1 loadFinish flag 0")
                                 .arg(m_env.url("/client/cloud/cs/im").toString())));

        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(nextLoad(view.get(), [&] { view->refreshWebpage(); }));
        QVERIFY(pageReady(view.get()));
        QCOMPARE(view->webView()->url(), view->startUrl());

        // Loaded: the page refreshes itself, nothing is loaded.
        QWebEnginePage *page = view->webView()->page();
        eval(page, "window.refreshed = 0; window.refresh = function () { window.refreshed += 1; }");
        started.clear();
        log.clear();
        view->refreshWebpage();
        QVERIFY(waitFor(page, "window.refreshed === 1"));
        view->reloadCloudDisk();
        QTest::qWait(200);
        QCOMPARE(started.size(), 0);
        QCOMPARE(eval(page, "window.refreshed").toInt(), 1);
        QVERIFY(log.contains("loadFinish flag 1"));

        // The engines' reconnection and new web data reach the page too.
        QVERIFY(nextLoad(view.get(), [] { OrvEngine::CoreEngine::instance()->notifyBasicReconnected(); }));
        QCOMPARE(view->webView()->url(), view->startUrl());
        QVERIFY(pageReady(view.get()));
        eval(page, "window.refreshed = 0; window.refresh = function () { window.refreshed += 1; }");
        OrvEngine::CoreEngine::instance()->setWebData(QStringLiteral("{}"));
        QVERIFY(waitFor(page, "window.refreshed === 1"));
    }

    // The page's download request goes through the save dialog into the transfer queue and the
    // bytes of the cloud file end up where the user said.
    void downloadsLandOnDisk()
    {
        const QString remembered = m_env.downloads() + QStringLiteral("/remembered");
        QDir(remembered).removeRecursively();
        OrvSettings::instance()->setValue(QLatin1String(CloudDownload::SaveAsPathKey), remembered);
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QWebEnginePage *page = view->webView()->page();

        m_env.saveAnswer = remembered + QStringLiteral("/mine.pdf");
        {
            TransferWatch watch;
            eval(page, "myCloudDiskWindow.downloadFile('1002', 'download/file?id=1002&n=Worksheet.pdf', 'Worksheet.pdf', '')");
            QCOMPARE(watch.wait(1), QStringList{m_env.saveAnswer});
        }
        QCOMPARE(m_env.saveCalls.size(), 1);
        QCOMPARE(m_env.saveCalls[0].title, QStringLiteral("ID_SaveFile"));
        QCOMPARE(m_env.saveCalls[0].filter, QStringLiteral("ID_XFiles (*.pdf);;ID_AllFiles (*)"));
        QCOMPARE(m_env.saveCalls[0].startPath, remembered + QStringLiteral("/Worksheet.pdf"));
        QCOMPARE(readAll(m_env.saveAnswer), m_env.disk.file(1002).bytes);

        // The name offered never leads out of the folder, and a taken name is not offered again.
        QVERIFY(writeFile(remembered + QStringLiteral("/escape.txt"), "already here"));
        m_env.saveAnswer.clear();
        eval(page, "myCloudDiskWindow.downloadFile('1005', 'download/file?id=1005', '../../escape.txt', '')");
        QTRY_COMPARE(m_env.saveCalls.size(), 2);
        const QFileInfo offered(m_env.saveCalls[1].startPath);
        QCOMPARE(offered.absolutePath(), remembered);
        QVERIFY(offered.fileName() != QLatin1String("escape.txt"));
        QVERIFY(offered.fileName().endsWith(QLatin1String(".txt")));
        QCOMPARE(OrvTransferQueue::instance()->pendingCount(), 0); // cancelled
        QCOMPARE(readAll(remembered + QStringLiteral("/escape.txt")), QByteArray("already here"));

        // Not an address to fetch: no dialog at all.
        eval(page, "myCloudDiskWindow.downloadFile('1', 'file:///etc/passwd', 'passwd', '');"
                   "myCloudDiskWindow.downloadFile('1', 'javascript:alert(1)', 'x', '')");
        m_env.saveAnswer = remembered + QStringLiteral("/board.svg");
        {
            // dataDownload takes the name from "n" and the server from the environment.
            TransferWatch watch;
            view->dataDownload(QStringLiteral("download/file?id=1003&n=Blackboard.svg"));
            QCOMPARE(watch.wait(1), QStringList{m_env.saveAnswer});
        }
        QCOMPARE(m_env.saveCalls.size(), 3);
        QCOMPARE(QFileInfo(m_env.saveCalls[2].startPath).fileName(), QStringLiteral("Blackboard.svg"));
        QCOMPARE(readAll(m_env.saveAnswer), m_env.disk.file(1003).bytes);
    }

    // Exported entries: an exam paper comes back from the web service as a document, anything
    // else as its source file; several go into one folder.
    void exportFiles()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        const QString folder = m_env.downloads() + QStringLiteral("/export");
        QDir(folder).removeRecursively();
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(writeFile(folder + QStringLiteral("/Worksheet.pdf"), "older"));
        m_env.folderAnswer = folder;
        m_env.service.clearRequests();
        {
            TransferWatch watch;
            view->exportFiles(QStringLiteral(
                R"([{"userFileid":1002,"fileSource":0,"kadio":0,"ownerUid":10001,"userFileName":"Worksheet.pdf"},)"
                R"({"userFileid":"7001","fileSource":0,"kadio":1,"userFileName":"Unit test - fractions"},)"
                R"({"userFileid":1005,"kadio":0,"userFileName":"escape.txt"},)"
                R"({"fileSource":0,"kadio":0,"userFileName":"no id"}])"));
            const QStringList written = watch.wait(3);
            QCOMPARE(written.size(), 3);
            // The server's name for 1005 is "../../escape.txt": it stays in the folder.
            for (const QString &path : written)
                QCOMPARE(QFileInfo(path).absolutePath(), folder);
            QVERIFY(written.contains(folder + QStringLiteral("/Worksheet(1).pdf")));
            QVERIFY(written.contains(folder + QStringLiteral("/Paper 7001.docx")));
        }
        QCOMPARE(m_env.folderCalls, 1);
        QCOMPARE(readAll(folder + QStringLiteral("/Worksheet(1).pdf")), m_env.disk.file(1002).bytes);
        QCOMPARE(readAll(folder + QStringLiteral("/Worksheet.pdf")), QByteArray("older"));
        QVERIFY(!readAll(folder + QStringLiteral("/Paper 7001.docx")).isEmpty());
        bool exported = false;
        for (const OrvWebService::Request &request : m_env.service.requests())
            exported |= request.path == QLatin1String("/cloudspace/api/exam/paper/export")
                        && (request.formValue("prId") == QLatin1String("7001") || request.queryValue("prId") == QLatin1String("7001"));
        QVERIFY(exported);

        // One entry: the save dialog instead of the folder dialog.
        m_env.saveAnswer = folder + QStringLiteral("/single.pdf");
        {
            TransferWatch watch;
            view->exportFiles(QStringLiteral(R"([{"userFileid":1002,"kadio":0,"userFileName":"Worksheet.pdf"}])"));
            QCOMPARE(watch.wait(1), QStringList{m_env.saveAnswer});
        }
        QCOMPARE(m_env.folderCalls, 1);

        LogCapture log("orv.common");
        view->exportFiles(QStringLiteral("[{\"userFileid\":"));
        view->exportFiles(QStringLiteral("{\"userFileid\":1002}"));
        QVERIFY(log.contains("parse json error!"));
        QTest::qWait(200);
        QCOMPARE(m_env.saveCalls.size(), 1);
        QCOMPARE(m_env.folderCalls, 1);
    }

    void sharesFromThePage_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QJsonValue>("payload"); // the members that must be there

        const QString file = QStringLiteral("shareFile");
        QTest::newRow("shared image") << file
                                      << R"({"shareId":"s-1","fileName":"Map.of.Europe.SVG","fileSize":2048,"addtime":1700000000,"shareUid":20002})"
                                      << "shareSharedCloudImage"
                                      << QJsonValue(QJsonObject{{"shareId", "s-1"},
                                                                {"fileName", "Map.of.Europe.SVG"},
                                                                {"fileExt", "svg"},
                                                                {"fileSize", 2048},
                                                                {"addtime", 1700000000},
                                                                {"authorUid", 20002},
                                                                {"transferState", 0},
                                                                {"localPath", ""},
                                                                {"isCloudImage", true},
                                                                {"thumbnail", ""}});
        QTest::newRow("shared document") << file << R"({"shareId":9,"fileName":"Reading list.docx","shareUid":"20002"})"
                                         << "shareSharedCloudFile"
                                         << QJsonValue(QJsonObject{{"shareId", "9"}, {"fileExt", "docx"},
                                                                   {"authorUid", "20002"}, {"isCloudImage", false}});
        QTest::newRow("homework") << file << R"({"type":"homework","shareId":"hw-1","title":"Week 1"})"
                                  << "shareCloudHomework" << QJsonValue(QJsonObject{{"shareId", "hw-1"}, {"title", "Week 1"}});
        QTest::newRow("broken json") << file << R"({"shareId":)" << QString() << QJsonValue();
        QTest::newRow("no share id") << file << R"({"fileName":"a.pdf"})" << QString() << QJsonValue();

        const QString web = QStringLiteral("webShare");
        QTest::newRow("question") << web << R"({"shareId":"q-9","fileType":"question","title":"Q","content":"1+1"})"
                                  << "shareCloudExam"
                                  << QJsonValue(QJsonObject{{"questionId", "q-9"}, {"title", "Q"}, {"content", "1+1"}});
        QTest::newRow("paper") << web << R"({"shareId":"p-4","fileType":"paper","title":"Unit test"})"
                               << "shareNewCloudExam" << QJsonValue(QJsonObject{{"prId", "p-4"}, {"title", "Unit test"}});
        QTest::newRow("link") << web << R"({"fileType":"link","link":"https://example.org/a?b='c'"})"
                              << "shareText" << QJsonValue(QStringLiteral("https://example.org/a?b='c'"));
        QTest::newRow("question set") << web << R"({"shareId":"set-2","fileType":"questions","title":"Set"})"
                                      << "shareQuestionsExamPaper" << QJsonValue(QJsonObject{{"shareId", "set-2"}});
        QTest::newRow("unknown kind") << web << R"({"shareId":"x","fileType":"video"})" << QString() << QJsonValue();
    }

    // Shares asked for by the page pick the share tool's operation from what the page sent.
    void sharesFromThePage()
    {
        QFETCH(QString, method);
        QFETCH(QString, argument);
        QFETCH(QString, kind);
        QFETCH(QJsonValue, payload);
        if (!m_shareView) {
            m_shareView = shown(WebSubWindowBridge::FromIm);
            QVERIFY(pageReady(m_shareView.get()));
        }
        // A link share after the call marks the end of what the call did.
        eval(m_shareView->webView()->page(),
             QStringLiteral("myCloudDiskWindow.%1(%2); myCloudDiskWindow.webShare('{\"fileType\":\"link\",\"link\":\"end\"}')")
                 .arg(method, jsText(argument)));
        ShareToChatTool *tool = ShareToChatTool::instance();
        QTRY_VERIFY(!tool->shares().isEmpty() && tool->lastShare().payload == QJsonValue(QStringLiteral("end")));
        const QVector<ShareToChatTool::Share> shares = tool->shares();
        if (kind.isEmpty()) {
            QCOMPARE(shares.size(), 1);
            return;
        }
        QCOMPARE(shares.size(), 2);
        QCOMPARE(shares[0].kind, kind);
        if (payload.isObject()) {
            const QJsonObject got = shares[0].payload.toObject();
            const QJsonObject want = payload.toObject();
            for (auto it = want.begin(); it != want.end(); ++it)
                QVERIFY2(got.value(it.key()) == it.value(),
                         qPrintable(it.key() + ": " + QJsonDocument(got).toJson(QJsonDocument::Compact)));
        } else {
            QCOMPARE(shares[0].payload, payload);
        }
    }

    // Homework and exam pages open at the size asked for (740 by 600 when none is usable), and
    // the hub's refresh reaches the page under the key it stored.
    void subWidgetsAndReloadKeys()
    {
        m_shareView.reset();
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        ImSignalObject *hub = ImSignalObject::instance();
        QSignalSpy homework(hub, &ImSignalObject::openHomeworkSubWidget);
        QSignalSpy exam(hub, &ImSignalObject::openExamSubWidget);

        view->openHomeworkSubWidget(QStringLiteral("/client/homework/task?id=8001"), QString());
        view->openExamSubWidget(QStringLiteral("/client/exam/paper?id=7001"), QStringLiteral("900*700"));
        view->openExamSubWidget(QStringLiteral("/client/exam/paper?id=7002"), QStringLiteral("900x700"));
        QCOMPARE(homework.size(), 1);
        QCOMPARE(homework[0][0].value<QWidget *>(), view.get());
        QCOMPARE(homework[0][1].toString(), QStringLiteral("/client/homework/task?id=8001"));
        QCOMPARE(homework[0][2].toSize(), QSize(740, 600));
        QCOMPARE(exam.size(), 2);
        QCOMPARE(exam[0][2].toSize(), QSize(900, 700));
        QCOMPARE(exam[1][2].toSize(), QSize(740, 600));

        QWebEnginePage *page = view->webView()->page();
        Q_EMIT hub->refreshHomework(); // no key stored yet: nothing to answer
        view->setHomeworkReloadMainWidgetCbKey(QStringLiteral("hw_reload"));
        view->setExamReloadMainWidgetCbKey(QStringLiteral("exam_reload"));
        Q_EMIT hub->refreshExam();
        Q_EMIT hub->refreshHomework();
        QVERIFY(waitFor(page, "orvPage.log.filter(function (e) { return e.kind === 'callback'; }).length >= 2"));
        QCOMPARE(answeredKeys(page), (QStringList{"exam_reload", "hw_reload"}));
    }

    // Exam and homework pages of the disk reach the host from the page: sub-pages in its windows
    // (through the hub) or in the launcher, the reload keys the hub's refresh answers, downloads.
    void examPagesReachTheHost_data()
    {
        QTest::addColumn<int>("fromType");
        QTest::newRow("client") << int(WebSubWindowBridge::FromIm);
        QTest::newRow("launcher") << int(WebSubWindowBridge::FromLauncher);
    }

    void examPagesReachTheHost()
    {
        QFETCH(int, fromType);
        const bool launcher = fromType == WebSubWindowBridge::FromLauncher;
        View view = shown(WebSubWindowBridge::FromType(fromType));
        QVERIFY(pageReady(view.get()));
        QWebEnginePage *page = view->webView()->page();
        ImSignalObject *hub = ImSignalObject::instance();
        QSignalSpy homework(hub, &ImSignalObject::openHomeworkSubWidget);
        QSignalSpy exam(hub, &ImSignalObject::openExamSubWidget);
        QSignalSpy examLauncher(view.get(), &CloudDiskWebView::sigOpenExamByLauncher);
        QSignalSpy homeworkLauncher(view.get(), &CloudDiskWebView::sigOpenHomeworkByLauncher);
        eval(page, "cloudPage.openExam('/client/exam/paper?id=7001', '900*700');"
                   "cloudPage.openHomework('/client/homework/task?id=8001');"
                   "cloudPage.openExam('file:///etc/passwd');"
                   "cloudPage.examReloadKey('exam_reload_p'); cloudPage.homeworkReloadKey('hw_reload_p')");
        const QString examUrl = m_env.url("/client/exam/paper?id=7001").toString();
        const QString homeworkUrl = m_env.url("/client/homework/task?id=8001").toString();
        if (launcher) {
            QVERIFY(reached(homeworkLauncher));
            QCOMPARE(examLauncher.size(), 1);
            QCOMPARE(examLauncher[0][0].toString(), examUrl);
            QCOMPARE(homeworkLauncher[0][0].toString(), homeworkUrl);
            QCOMPARE(exam.size() + homework.size(), 0);
        } else {
            QVERIFY(reached(homework));
            QCOMPARE(exam.size(), 1);
            QCOMPARE(exam[0][1].toString(), examUrl);
            QCOMPARE(exam[0][2].toSize(), QSize(900, 700));
            QCOMPARE(homework[0][0].value<QWidget *>(), view.get());
            QCOMPARE(homework[0][1].toString(), homeworkUrl);
            QCOMPARE(homework[0][2].toSize(), QSize(740, 600));
            QCOMPARE(examLauncher.size() + homeworkLauncher.size(), 0);
        }
        QTest::qWait(200);
        Q_EMIT hub->refreshHomework();
        Q_EMIT hub->refreshExam();
        QVERIFY(waitFor(page, "orvPage.log.filter(function (e) { return e.kind === 'callback'; }).length >= 2"));
        QCOMPARE(answeredKeys(page), (QStringList{"hw_reload_p", "exam_reload_p"}));

        // An exam page's download by address goes through the view's download.
        const QString target = m_env.downloads() + QStringLiteral("/from-exam.pdf");
        QFile::remove(target);
        QVERIFY(QDir().mkpath(m_env.downloads()));
        m_env.saveAnswer = target;
        TransferWatch watch;
        eval(page, "myExam.dataDownload('download/file?id=1002&n=Worksheet.pdf')");
        QCOMPARE(watch.wait(1), QStringList{target});
        QCOMPARE(readAll(target), m_env.disk.file(1002).bytes);
    }

    // The cloud page's exam in a child window ("source" 2) gets the exam bridge as "myExam", and
    // its exports are the view's.
    void examChildWindowExportsThroughTheView()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        eval(view->webView()->page(), "cloudPage.openExamWindow(7001, 'exam-window')");
        QTRY_COMPARE(WebSubWindowManger::instance()->windows().size(), 1);
        WebSubWindow *window = WebSubWindowManger::instance()->windows().first();
        OrvWebView *child = window->webView();
        auto *bridge = qobject_cast<ImExamCloudWebBride *>(child->registeredObject("myExam"));
        QVERIFY(bridge);
        QCOMPARE(bridge->fromType(), WebSubWindowBridge::FromImCloudPage);
        QVERIFY(pageReady(view.get()));
        QVERIFY(waitFor(child->page(), "!!(window.examPage && orvPage.loaded)"));
        QCOMPARE(eval(child->page(), "examPage.bridgeName").toString(), QStringLiteral("myExam"));

        const QString target = m_env.downloads() + QStringLiteral("/exported.pdf");
        QFile::remove(target);
        QVERIFY(QDir().mkpath(m_env.downloads()));
        m_env.saveAnswer = target;
        TransferWatch watch;
        eval(child->page(), "myExam.exportFiles('[{\"userFileid\":1002,\"kadio\":0,\"userFileName\":\"Worksheet.pdf\"}]')");
        QCOMPARE(watch.wait(1), QStringList{target});
        QCOMPARE(readAll(target), m_env.disk.file(1002).bytes);

        // Its sub-pages open through the hub, with the child window as the opener.
        QSignalSpy exam(ImSignalObject::instance(), &ImSignalObject::openExamSubWidget);
        eval(child->page(), "myExam.openSubWidget('/client/exam/paper?id=7001', '')");
        QVERIFY(reached(exam));
        QCOMPARE(exam[0][0].value<QWidget *>(), static_cast<QWidget *>(window));
    }

    // What the disk page asks of its host arrives as the view's signals.
    void pageRequestsReachTheHost()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QWebEnginePage *page = view->webView()->page();
        QSignalSpy login(view.get(), &CloudDiskWebView::signalLogin);
        QSignalSpy localFile(view.get(), &CloudDiskWebView::signalOpenLocalFile);
        eval(page, "cloudDisk.login(); cloudDisk.openLocalFile()");
        QTRY_COMPARE(localFile.size(), 1);
        QCOMPARE(login.size(), 1);

        QVERIFY(nextLoad(view.get(), [&] { eval(page, "myCloudDiskWindow.openResourceCenterFolder('{\"folderId\":501}')"); }));
        QCOMPARE(view->webView()->url(), m_env.url("/client/cloud/cs/im/doc/501"));

        // In a classroom a picture is shown on the board instead, and the disk steps aside.
        view.reset();
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &m_classroom);
        View room = shown(WebSubWindowBridge::FromClassroom);
        QVERIFY(pageReady(room.get()));
        QSignalSpy image(room.get(), &CloudDiskWebView::imageShowRequested);
        QSignalSpy hide(room.get(), &CloudDiskWebView::hideCloudDisk);
        eval(room->webView()->page(), "cloudPage.showImage(1003)");
        QVERIFY(reached(image));
        const QJsonObject shown = QJsonDocument::fromJson(image[0][0].toString().toUtf8()).object();
        QCOMPARE(shown.value("fileName").toString(), QStringLiteral("Blackboard.svg"));
        QVERIFY(shown.value("viewSrc").toString().contains(QLatin1String("download/file")));
        QCOMPARE(hide.size(), 1);
    }

    // A page of another origin, shown in the cloud view or in a child window of it, sends its
    // document to an address of the client's web service that never replaces it (no content,
    // a download, a slow page it then stops). It gets no bridge, makes the client do nothing,
    // and none of the host's answers and notices run in it.
    void foreignDocumentNeverGetsTheBridges_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("stopAfterMs");
        QTest::addColumn<bool>("inChildWindow");
        for (const bool child : {false, true}) {
            const char *where = child ? "child window, " : "view, ";
            QTest::newRow(QByteArray(where).append("no content").constData()) << "/client/t/nocontent" << 0 << child;
            QTest::newRow(QByteArray(where).append("download").constData()) << "/client/t/attachment" << 0 << child;
            QTest::newRow(QByteArray(where).append("stopped").constData()) << "/client/t/slow" << 400 << child;
        }
    }

    void foreignDocumentNeverGetsTheBridges()
    {
        QFETCH(QString, target);
        QFETCH(int, stopAfterMs);
        QFETCH(bool, inChildWindow);
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QSignalSpy login(view.get(), &CloudDiskWebView::signalLogin);
        QSignalSpy chat(ImSignalObject::instance(), &ImSignalObject::chatWith);
        const QUrl foreign = m_foreign.baseUrl().resolved(QUrl(QStringLiteral("/page")));

        OrvWebView *attacked = view->webView();
        CloudDiskBridge *answering = view->cloudDiskBridge();
        if (inChildWindow) {
            eval(view->webView()->page(), QStringLiteral("cloudDisk.openSubWindow(%1, 'child-1')")
                                              .arg(jsText(QStringLiteral("{\"url\":\"%1\"}").arg(foreign.toString()))));
            QTRY_COMPARE(WebSubWindowManger::instance()->windows().size(), 1);
            attacked = WebSubWindowManger::instance()->windows().first()->webView();
            answering = qobject_cast<CloudDiskBridge *>(attacked->registeredObject(QStringLiteral("cloudDisk")));
            QVERIFY(answering);
        } else {
            attacked->load(foreign);
        }
        QVERIFY(waitFor(attacked->page(), QStringLiteral("typeof window.trick === 'function' && document.readyState === 'complete'")));
        QVERIFY(!attacked->isBridgeAttached());

        QSignalSpy ended(attacked, &QWebEngineView::loadFinished);
        eval(attacked->page(), QStringLiteral("trick(%1, %2)").arg(jsText(m_env.url(target).toString())).arg(stopAfterMs));
        QVERIFY(reached(ended, 1, 15000));
        QCOMPARE(attacked->url(), foreign);
        // The document that stays had its chance to look for the transport.
        QTest::qWait(800);

        // What the host says afterwards does not reach it either.
        answering->runCallBack(QStringLiteral("foreign-1"));
        answering->commonNotice(QStringLiteral("schoolInfoChanged"), {{QStringLiteral("sid"), QStringLiteral("1")}});
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("foreign-1"), QStringLiteral("secret"));
        attacked->setTheme(attacked->theme() == OrvWebView::Dark ? OrvWebView::Light : OrvWebView::Dark);
        QTest::qWait(500);

        QCOMPARE(eval(attacked->page(), QStringLiteral("effects.join(' | ')")).toString(), QString());
        QCOMPARE(eval(attacked->page(), QStringLiteral("received.join(' | ')")).toString(), QString());
        QVERIFY(!attacked->isBridgeAttached());
        QCOMPARE(login.size(), 0);
        QCOMPARE(chat.size(), 0);
        QCOMPARE(m_browserUrls, QList<QUrl>());
        QCOMPARE(m_env.saveCalls.size(), 0);
        QCOMPARE(ShareToChatTool::instance()->shares().size(), 0);
        QCOMPARE(WebSubWindowManger::instance()->windows().size(), inChildWindow ? 1 : 0);
        if (inChildWindow)
            QCOMPARE(answeredKeys(view->webView()->page()), QStringList());

        // The client's own page in the same place has its bridges again.
        QVERIFY(load(attacked, m_env.url(QStringLiteral("/client/cloud/cs/im"))));
        QVERIFY(waitFor(attacked->page(), QStringLiteral("!!(window.cloudDisk && cloudDisk.getAppProductEnv) && orvPage.loaded")));
        QTRY_VERIFY(attacked->isBridgeAttached());
    }

    // A picture a user stored on the cloud disk is not a page of the client, though it comes
    // from the client's web service: opened in a child window, its script reaches nothing.
    void storedFileRunsWithoutBridges()
    {
        OrvCloudDisk::File svg;
        svg.userFileId = 1950;
        svg.ownerUid = OrvCloudDisk::DefaultUserId;
        svg.userFileName = QStringLiteral("Trap.svg");
        svg.fileType = 4;
        // (A raw literal here confuses moc.)
        svg.bytes = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100\" height=\"100\"><script>"
                    "setTimeout(function () {"
                    "  if (window.cloudDisk) { cloudDisk.jumpToClass('4001'); cloudDisk.login(); }"
                    "  if (window.orvSubWindow) orvSubWindow.answer('from the picture');"
                    "}, 50);"
                    "</script><rect width=\"100\" height=\"100\" fill=\"red\"/></svg>";
        m_env.disk.addFile(svg);

        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QSignalSpy chat(ImSignalObject::instance(), &ImSignalObject::chatWith);
        const QString address = m_env.url(QStringLiteral("/download/file?id=1950&n=Trap.svg")).toString();
        eval(view->webView()->page(), QStringLiteral("cloudDisk.openSubWindow(%1, 'picture-1')")
                                          .arg(jsText(QStringLiteral("{\"url\":\"%1\"}").arg(address))));
        QTRY_COMPARE(WebSubWindowManger::instance()->windows().size(), 1);
        OrvWebView *child = WebSubWindowManger::instance()->windows().first()->webView();
        // The picture was fetched; its script had time to run.
        QTRY_VERIFY_WITH_TIMEOUT(fetched(QStringLiteral("1950")), 15000);
        QTest::qWait(800);
        QCOMPARE(chat.size(), 0);
        QVERIFY(!child->isBridgeAttached());
        QCOMPARE(answeredKeys(view->webView()->page()), QStringList());
    }

    // An answer that another object sends through the hub goes to the page that asked, once,
    // exactly as it was sent, and to no other page.
    void hubAnswersReachTheAskingPageOnce()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        View other = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QVERIFY(pageReady(other.get()));
        QWebEnginePage *page = view->webView()->page();
        // The page hands out a key with a call that does not answer by itself.
        eval(page, QStringLiteral("window.__injected = 0; cloudDisk.closeSubWindow('hub-1')"));
        QTRY_VERIFY(OrvWebBridge::callbackKeyOwner(QStringLiteral("hub-1")));

        const QString hostile = QStringLiteral("x'); window.__injected = 1; ('");
        const QString lines = QStringLiteral("two\nlines\\ and \u2028 more");
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("hub-1"), hostile);
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("hub-1"), lines);
        // A key no page handed out goes nowhere.
        Q_EMIT ImSignalObject::instance()->signalWebCallback(QStringLiteral("nobody-asked"), QStringLiteral("{}"));
        QVERIFY(waitFor(page, "orvPage.log.filter(function (e) { return e.kind === 'callback'; }).length >= 2"));
        QTest::qWait(400);
        const QVariantList got = eval(page, QStringLiteral("orvPage.log.filter(function (e) { return e.kind === 'callback'; })"
                                                           ".map(function (e) { return e.key + '=' + e.data; })"))
                                     .toList();
        QCOMPARE(got, (QVariantList{QStringLiteral("hub-1=") + hostile, QStringLiteral("hub-1=") + lines}));
        QCOMPARE(eval(page, QStringLiteral("window.__injected")).toInt(), 0);
        QCOMPARE(answeredKeys(other->webView()->page()), QStringList());
    }

    // Every page-callable slot that takes a callback key makes the key the page's: an answer sent
    // for it through the hub comes back to the page.
    void everyKeyAPageHandsOutCanBeAnswered()
    {
        View view = shown(WebSubWindowBridge::FromIm);
        QVERIFY(pageReady(view.get()));
        QWebEnginePage *page = view->webView()->page();
        QStringList keys;
        for (const QString &name : view->webView()->registeredNames()) {
            const QMetaObject *mo = view->webView()->registeredObject(name)->metaObject();
            for (int i = 0; i < mo->methodCount(); ++i) {
                const QMetaMethod method = mo->method(i);
                if (method.methodType() != QMetaMethod::Slot || method.access() != QMetaMethod::Public)
                    continue;
                QStringList args;
                QString key;
                for (const QByteArray &parameter : method.parameterNames()) {
                    if (parameter.toLower() == "cbkey") {
                        key = name + QLatin1Char('.') + QString::fromLatin1(method.methodSignature());
                        args << jsText(key);
                    } else {
                        args << QStringLiteral("''");
                    }
                }
                if (key.isEmpty())
                    continue;
                keys << key;
                eval(page, QStringLiteral("%1[%2](%3)").arg(name, jsText(QString::fromLatin1(method.methodSignature())),
                                                            args.join(QLatin1Char(','))));
            }
        }
        QVERIFY(keys.size() >= 10);
        // The page's calls have all arrived once the last one answers.
        eval(page, QStringLiteral("cloudDisk.refreshExamList('last')"));
        QVERIFY(waitFor(page, "orvPage.log.some(function (e) { return e.kind === 'callback' && e.key === 'last'; })"));
        for (const QString &key : qAsConst(keys))
            Q_EMIT ImSignalObject::instance()->signalWebCallback(key, QStringLiteral("hub"));
        const QString answered = QStringLiteral("orvPage.log.filter(function (e) { return e.kind === 'callback' && e.data === 'hub'; })"
                                                ".map(function (e) { return e.key; })");
        QVERIFY(waitFor(page, answered + QStringLiteral(".length >= %1").arg(keys.size())));
        QTest::qWait(200);
        QStringList got = eval(page, answered).toStringList();
        got.sort();
        keys.sort();
        QCOMPARE(got, keys);
    }

    // The tool bar: the reload button and the separator at the top right of the page, a close
    // button in the classroom, kept there when the widget changes size.
    void toolBar()
    {
        View im = shown(WebSubWindowBridge::FromIm);
        auto *reload = im->findChild<OrvReloadButton *>(QStringLiteral("reloadBtn"));
        auto *line = im->findChild<QFrame *>(QStringLiteral("line"));
        QVERIFY(reload);
        QVERIFY(line);
        QCOMPARE(reload->text(), QStringLiteral("ID_Reload"));
        QCOMPARE(line->styleSheet(), QStringLiteral("border: 1px solid #D3D3D3;"));
        QVERIFY(!im->findChild<QPushButton *>(QStringLiteral("closeBtn")));
        checkTopRight(im.get(), reload);
        im->updateGemeotry(1.5f);
        QCOMPARE(im->size(), QSize(qRound(CloudDiskWebView::BaseWidth * 1.5), qRound(CloudDiskWebView::BaseHeight * 1.5)));
        checkTopRight(im.get(), reload);

        QVERIFY(pageReady(im.get()));
        QSignalSpy reloaded(im.get(), &CloudDiskWebView::signalReloadPage);
        QVERIFY(nextLoad(im.get(), [&] { reload->click(); }));
        QCOMPARE(reloaded.size(), 1);
        im.reset();

        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &m_classroom);
        View room = shown(WebSubWindowBridge::FromClassroom);
        auto *close = room->findChild<QPushButton *>(QStringLiteral("closeBtn"));
        QVERIFY(close);
        QVERIFY(close->isVisible());
        QVERIFY(room->findChild<QFrame *>(QStringLiteral("line"))->isVisible());
        room->resize(700, 500);
        QVERIFY(close->mapTo(room.get(), QPoint(close->width(), 0)).x() > room->width() - 40);
        QSignalSpy hide(room.get(), &CloudDiskWebView::hideCloudDisk);
        QSignalSpy hideExtend(room.get(), &CloudDiskWebView::hideExtendCloudDisk);
        close->click();
        m_classroom.extendScreen = true;
        close->click();
        QCOMPARE(hide.size(), 1);
        QCOMPARE(hideExtend.size(), 1);
    }

    // The reload button shows an icon and a text, each of which can be hidden, and changes its
    // look while the mouse is over it.
    void reloadButton()
    {
        QWidget host;
        auto *button = new OrvReloadButton(false, &host);
        button->setText(QStringLiteral("Reload"));
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        auto *icon = button->findChild<QLabel *>(QStringLiteral("reloadIcon"));
        auto *text = button->findChild<QLabel *>(QStringLiteral("reloadText"));
        QVERIFY(icon && text);
        const QString iconStyle = QStringLiteral("border:none;image:url(:/clouddisk/images/reload.svg)");
        const QString textStyle = QStringLiteral("font-size:12px;border:none;color:#C3C3C3;");
        QCOMPARE(icon->styleSheet(), iconStyle);
        QCOMPARE(text->styleSheet(), textStyle);
        QVERIFY(QFile::exists(QStringLiteral(":/clouddisk/images/reload.svg")));
        button->adjustSize();
        QVERIFY(button->width() >= text->sizeHint().width() + icon->width());

        QEvent enter(QEvent::Enter);
        QApplication::sendEvent(button, &enter);
        QVERIFY(icon->styleSheet() != iconStyle && text->styleSheet() != textStyle);
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(button, &leave);
        QCOMPARE(icon->styleSheet(), iconStyle);
        QCOMPARE(text->styleSheet(), textStyle);

        const int full = button->sizeHint().width();
        button->setTextVisible(false);
        QVERIFY(text->isHidden());
        QVERIFY(button->sizeHint().width() < full);
        button->setIconVisible(false);
        QVERIFY(icon->isHidden());
    }

private:
    View shown(WebSubWindowBridge::FromType fromType)
    {
        View view(new CloudDiskWebView(fromType));
        view->show();
        if (!QTest::qWaitForWindowExposed(view.get()))
            qWarning() << "view not exposed";
        return view;
    }

    bool fetched(const QString &fileId) const
    {
        const QVector<OrvWebService::Request> all = m_env.service.requests();
        for (const OrvWebService::Request &request : all) {
            if (request.path == QLatin1String("/download/file") && request.queryValue(QStringLiteral("id")) == fileId)
                return true;
        }
        return false;
    }

    static QString packageRoot()
    {
        return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/CloudSpacePkg/");
    }

    static bool writeFile(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    static void checkTopRight(CloudDiskWebView *view, QWidget *reload)
    {
        QWidget *bar = reload->parentWidget();
        const QRect area = view->webView()->geometry();
        QVERIFY(bar->isVisible());
        QVERIFY2(bar->geometry().right() <= area.right() && bar->geometry().right() > area.right() - 40,
                 qPrintable(QStringLiteral("tool bar at %1, view right %2").arg(bar->geometry().right()).arg(area.right())));
        QVERIFY(bar->geometry().top() >= area.top() && bar->geometry().top() < area.top() + 20);
        QVERIFY(reload->width() > 0 && reload->isVisible());
        // Above the page, not under it.
        QCOMPARE(view->childAt(bar->geometry().center()) == view->webView()
                     || view->webView()->isAncestorOf(view->childAt(bar->geometry().center())),
                 false);
    }

    Environment m_env;
    OrvWebService m_foreign;
    QList<QUrl> m_browserUrls;
    FakeClassRoomMgr m_classroom;
    View m_shareView;
};

ORV_WEB_TEST_MAIN(CloudDiskWebViewTest)
#include "tst_clouddiskwebview.moc"
