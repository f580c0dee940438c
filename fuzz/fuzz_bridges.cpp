// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libFuzzer target for the page bridges: arbitrary arguments to every page-callable method of
// every bridge, delivered through a QWebChannel exactly as a page's call arrives (same message,
// same overload resolution and argument conversion), while a trusted page in an OrvWebView
// receives whatever the bridge answers.
//
// Input:   <selector> '\n' <arg> 0x1f <arg> 0x1f ...
//   selector  "<bridge>.<method>" (by name, as a page calls obj.method(...)) or
//             "<bridge>.<method>(<types>)" (by signature, as obj["method(QString)"](...));
//             any other text picks an entry by its hash, so every byte string is a valid call.
//   arg       text sent as a JSON string (for int and bool parameters, text that reads as a
//             number or true/false is sent as that); missing arguments are empty texts.
//             0x01 <json>   the argument is that JSON value (objects, arrays, null, "\ud800"...)
//             0x02 <n1 n2 n3> <pattern>   a text of n1*65536 + n2*256 + n3 characters (at
//                           most 6 Mi) repeating pattern, for the size limits
//   one more arg after the method's own answers the dialogs: 'c' cancels every dialog and
//             message box, 'n' types a name without its suffix in the save dialog, 'r' picks
//             an existing file there (the user chose to replace it), 'l' presses the last
//             button of a message box; otherwise the user accepts what is proposed.
// Bridges are made fresh for every input and destroyed after it, so a crash reproduces from
// its input alone.
//
// Besides sanitizer reports, the target aborts when
//   - the page reports a script error after the call (an answer line that does not parse, or
//     that throws because it runs something other than the callback),
//   - a file appears under the sandbox outside the folder the user "chose",
//   - a file that was there before changes without the user having picked it in a save dialog,
//   - work started by the call (requests, transfers) is still running after DrainLimitMs;
//     scripts/fuzz.sh also stops any input that runs 30 s (a frozen GUI thread).
// The network stays on loopback: the web engine and QtNetwork are both fenced off.
//
// ORV_FUZZ_VERBOSE=1 prints the log lines, ORV_FUZZ_LIST=1 prints the selectors and exits.
// ORV_FUZZ_REPEAT=N runs every input N times and prints how the resident memory changed, to
// find what an input leaves behind (scripts/fuzz.sh --memory runs the seeds so).

#include "ExamUploadObject.h"
#include "PrScrnHelper.h"
#include "ShareToChatTool.h"
#include "bridgedialogs.h"
#include "clouddownload.h"
#include "classroomclouddiskbridge.h"
#include "clouddiskwebview.h"
#include "clouddiskbridge.h"
#include "cloudfileselectwebbridge.h"
#include "cloudfolderselectwebbridge.h"
#include "contactsengine.h"
#include "coreengine.h"
#include "exambasebridge.h"
#include "examcloudwebbride.h"
#include "fileuploadmanager.h"
#include "homeworkcloudwebbride.h"
#include "imageeditor.h"
#include "imagesamples.h"
#include "extensionsystem.h"
#include "groupbridge.h"
#include "iclassroommgr.h"
#include "icoursewareservice.h"
#include "idocumentservice.h"
#include "ifileopener.h"
#include "iimagepreviewservice.h"
#include "imcloudsubwindowbridge.h"
#include "imcloudwebbridge.h"
#include "imexamcloudwebbride.h"
#include "imhomeworkcloudwebbride.h"
#include "imsignalobject.h"
#include "inappwebhandler.h"
#include "ipptmgr.h"
#include "iupdater.h"
#include "orvclouddisk.h"
#include "orvexamservice.h"
#include "orvhttpmanager.h"
#include "orvsettings.h"
#include "orvtransferqueue.h"
#include "orvwebservice.h"
#include "orvwebview.h"
#include "qcefwebpage.h"
#include "serverenvironment.h"
#include "systembrowser.h"
#include "websubwindow.h"
#include "websubwindowmanger.h"
#include "worldgenerator.h"
#include "worldloader.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QPointer>
#include <QSet>
#include <QTemporaryDir>
#include <QTimer>
#include <QWebChannel>
#include <QWebChannelAbstractTransport>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestInterceptor>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int DrainLimitMs = 20000;
constexpr int FenceLimitMs = 10000;
constexpr int MaxLongText = 6 * 1024 * 1024;
constexpr char ArgSeparator = '\x1f';

bool verbose()
{
    static const bool on = qEnvironmentVariableIntValue("ORV_FUZZ_VERBOSE") != 0;
    return on;
}

[[noreturn]] void fail(const QString &what)
{
    std::fprintf(stderr, "\n==fuzz_bridges== %s\n", qPrintable(what));
    std::fflush(stderr);
    std::abort();
}

// --- What the page saw --------------------------------------------------------------------

QStringList &consoleErrors()
{
    static QStringList errors;
    return errors;
}

void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QByteArray category = context.category ? QByteArray(context.category) : QByteArray();
    if (category == "orv.web.console" && type >= QtWarningMsg)
        consoleErrors() << message;
    if (verbose() || type == QtFatalMsg)
        std::fprintf(stderr, "[%s] %s\n", category.constData(), qPrintable(message));
    if (type == QtFatalMsg)
        std::abort();
}

const QByteArray FuzzPage = R"(<!doctype html><html><body><p>bridge fuzzing</p><script>
window.__orvFuzzErrors = [];
window.addEventListener('error', function (e) {
    __orvFuzzErrors.push(String(e.message) + ' @' + e.lineno);
});
window.addEventListener('unhandledrejection', function (e) {
    __orvFuzzErrors.push('rejection: ' + String(e.reason));
});
</script></body></html>)";

// --- Keeping everything local -------------------------------------------------------------

bool isLoopbackHost(const QString &host)
{
    return host == QLatin1String("127.0.0.1") || host == QLatin1String("localhost") || host == QLatin1String("::1")
        || host == QLatin1String("[::1]");
}

class LocalOnlyInterceptor : public QWebEngineUrlRequestInterceptor
{
public:
    using QWebEngineUrlRequestInterceptor::QWebEngineUrlRequestInterceptor;
    void interceptRequest(QWebEngineUrlRequestInfo &info) override
    {
        const QUrl url = info.requestUrl();
        const QString scheme = url.scheme();
        const bool local = scheme == QLatin1String("data") || scheme == QLatin1String("qrc")
            || scheme == QLatin1String("about") || scheme == QLatin1String("blob")
            || ((scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("ws"))
                && isLoopbackHost(url.host()));
        if (!local)
            info.block(true);
    }
};

// Loopback goes direct; everything else to a proxy port nobody listens on, so nothing is
// resolved or fetched.
class LocalOnlyProxyFactory : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        if (isLoopbackHost(query.peerHostName()))
            return {QNetworkProxy(QNetworkProxy::NoProxy)};
        return {QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), 1)};
    }
};

// --- Services of other plug-ins, recording only -------------------------------------------

class FakePptMgr : public IPptMgr
{
public:
    int calls = 0;
    void openFiles(const QJsonArray &, int) override { ++calls; }
    void openExamPaper(const QString &) override { ++calls; }
    void shareUrl(const QString &, const QString &) override { ++calls; }
    void closeUrlShare(const QString &) override { ++calls; }
    void openUrl(const QUrl &) override { ++calls; }
    void openSyncSubWindow(const QString &, const QSize &, const QString &) override { ++calls; }
    void closeSyncSubWindow(const QString &) override { ++calls; }
    int webShowType() const override { return 1; }
    void showTip(const QString &) override { ++calls; }
};

class FakeClassRoomMgr : public IClassRoomMgr
{
public:
    explicit FakeClassRoomMgr(QWidget *window)
        : m_window(window)
    {
    }
    QWidget *classroomWindow() const override { return m_window; }
    quint64 schoolId() const override { return OrvCloudDisk::SchoolId; }
    quint64 courseId() const override { return m_courseId; }
    quint64 lessonId() const override { return 77; }
    bool isStudent() const override { return false; }
    bool isInClass() const override { return true; }
    bool isFriendsTempClassroom() const override { return false; }
    bool isExtendScreen() const override { return false; }
    void openSubWidget(const QString &, const QSize &) override {}

    quint64 m_courseId = 0;

private:
    QWidget *m_window;
};

class FakeCourseware : public ICoursewareService
{
public:
    void createEdb(quint64, int, qint64, quint64) override {}
};

class FakeDocuments : public IDocumentService
{
public:
    void shareDocument(const QJsonObject &) override {}
};

class FakeFileOpener : public IFileOpener
{
public:
    void openFiles(const QJsonArray &, int) override {}
};

class FakeImagePreview : public IImagePreviewService
{
public:
    void previewImages(const QStringList &) override {}
};

class FakeInAppWeb : public InAppWebHandler
{
public:
    void openUrl(const QUrl &) override {}
};

// Accepts the update and "exits": the process must of course stay.
class FakeUpdater : public IUpdater
{
public:
    QString updateUrl() const override { return QStringLiteral("http://127.0.0.1:1/update"); }
    bool startUpdater(const QString &, const QString &) override { return true; }
    void endUpdatedProcesses() override {}
    void exitApplication() override {}
};

// --- The channel a call arrives through ---------------------------------------------------

class FuzzTransport : public QWebChannelAbstractTransport
{
public:
    using QWebChannelAbstractTransport::QWebChannelAbstractTransport;
    // Return values go back to the page; nothing here waits for them.
    void sendMessage(const QJsonObject &) override {}
    void deliver(const QJsonObject &message) { Q_EMIT messageReceived(message, this); }
};

// --- Bridges and their callable methods ---------------------------------------------------

struct Kind
{
    const char *id;           ///< the selector's first part
    const char *registration; ///< the name it is published under
    const QMetaObject *meta;  ///< null for the child window's own port
    std::function<QObject *(OrvWebView *)> make;
    /// What is called, when it is not what make() returned (deleted after the input).
    std::function<QObject *(QObject *)> target = {};
    /// Only these methods, when not empty: the page-facing slots of a widget.
    QList<QByteArray> only = {};
};

struct Entry
{
    int kind;
    QMetaMethod method;       ///< invalid for the port, which is found at run time
    QByteArray portMethod;
    bool byName;
    QByteArray selector;
};

// --- The world the bridges live in --------------------------------------------------------

struct World
{
    OrvWebService service;
    OrvCloudDisk disk;
    OrvExamService exams;
    QTemporaryDir sandbox;
    QTemporaryDir pictures;   ///< what the open-files dialog offers, outside the sandbox
    QPointer<QObject> current; ///< the bridge called by the input
    QTemporaryDir settingsDir;
    QString chosen;           ///< the folder every dialog "chooses"
    QHash<QString, QByteArray> before; ///< files present in chosen before every input
    QSet<QString> picked;     ///< files the save dialog returned during this input
    char dialogAnswer = 0;
    OrvWebView *view = nullptr;
    QWidget *classroomWindow = nullptr;
    FakeClassRoomMgr *classroom = nullptr;
    QWebChannel *channel = nullptr;
    FuzzTransport *transport = nullptr;
    std::vector<Kind> kinds;
    std::vector<Entry> entries;
    QHash<QByteArray, int> bySelector;
    int messageId = 0;
};

World *g = nullptr;

// The child window's port is only reachable by opening one.
constexpr const char *PortKind = "orvSubWindow";
// The child window open before every openSubWindow and closeSubWindow call.
constexpr const char *OpenChildRequest = "{\"url\":\"/client/fuzz/page.html?child\"}";

std::vector<Kind> kinds()
{
    using F = WebSubWindowBridge::FromType;
    std::vector<Kind> k;
    k.push_back({"exam", "myExam", &ExamBaseBridge::staticMetaObject,
                 [](OrvWebView *v) { return new ExamBaseBridge(v, nullptr, F::FromIm); }});
    k.push_back({"examClassroom", "myExam", &ExamBaseBridge::staticMetaObject,
                 [](OrvWebView *v) { return new ExamBaseBridge(v, nullptr, F::FromClassroom); }});
    k.push_back({"myCloudDiskWindow", "myCloudDiskWindow", &ImCloudWebBridge::staticMetaObject,
                 [](OrvWebView *v) { return new ImCloudWebBridge(v, nullptr); }});
    k.push_back({"myExam", "myExam", &ImExamCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ImExamCloudWebBride(v, nullptr, F::FromImCloudPage); }});
    k.push_back({"examIm", "myExam", &ImExamCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ImExamCloudWebBride(v, nullptr, F::FromIm); }});
    k.push_back({"examLauncher", "myExam", &ImExamCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ImExamCloudWebBride(v, nullptr, F::FromLauncher); }});
    k.push_back({"homeworkIm", "myHomework", &ImHomeworkCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ImHomeworkCloudWebBride(v, nullptr, F::FromIm); }});
    k.push_back({"examRoom", "myExam", &ExamCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ExamCloudWebBride(v, nullptr, F::FromClassroom); }});
    k.push_back({"examRoomNoAddFile", "myExam", &ExamCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new ExamCloudWebBride(v, nullptr, F::FromClassroomNoAddFile); }});
    k.push_back({"homeworkRoom", "myHomework", &HomeworkCloudWebBride::staticMetaObject,
                 [](OrvWebView *v) { return new HomeworkCloudWebBride(v, nullptr, F::FromClassroom); }});
    k.push_back({"cloudSubWindow", "myCloudDiskWindow", &ImCloudSubWindowBridge::staticMetaObject,
                 [](OrvWebView *v) { return new ImCloudSubWindowBridge(v, nullptr); }});
    k.push_back({"cloudDisk", "cloudDisk", &CloudDiskBridge::staticMetaObject,
                 [](OrvWebView *v) { return new CloudDiskBridge(v, F::FromIm); }});
    k.push_back({"cloudDiskClassroom", "cloudDisk", &CloudDiskBridge::staticMetaObject,
                 [](OrvWebView *v) { return new CloudDiskBridge(v, F::FromClassroom); }});
    k.push_back({"cloudDiskNoAddFile", "cloudDisk", &CloudDiskBridge::staticMetaObject,
                 [](OrvWebView *v) { return new CloudDiskBridge(v, F::FromClassroomNoAddFile); }});
    k.push_back({"classroomCloudDisk", "cloudDisk", &ClassroomCloudDiskBridge::staticMetaObject,
                 [](OrvWebView *v) { return new ClassroomCloudDiskBridge(v, F::FromClassroom); }});
    k.push_back({"group", "groupBridge", &GroupBridge::staticMetaObject, [](OrvWebView *v) {
                     auto *bridge = new GroupBridge(v, nullptr);
                     for (const auto &cluster : OrvEngine::ContactsEngine::instance()->getClusterInfos()) {
                         if (cluster && cluster->id().type() == OrvEngine::Class) {
                             bridge->reset(cluster->id());
                             break;
                         }
                     }
                     return bridge;
                 }});
    k.push_back({"groupUnknown", "groupBridge", &GroupBridge::staticMetaObject,
                 [](OrvWebView *v) { return new GroupBridge(v, nullptr); }});
    // A classroom page names the classroom, not its course: the course is found through it.
    k.push_back({"groupInClassroom", "groupBridge", &GroupBridge::staticMetaObject, [](OrvWebView *v) {
                     auto *bridge = new GroupBridge(v, nullptr);
                     bridge->reset(OrvEngine::ClusterID(987654321, OrvEngine::Class));
                     for (const auto &cluster : OrvEngine::ContactsEngine::instance()->getClusterInfos()) {
                         if (cluster && cluster->id().type() == OrvEngine::Class) {
                             g->classroom->m_courseId = cluster->id().id();
                             break;
                         }
                     }
                     return bridge;
                 }});
    k.push_back({"fileSelect", "nativeBridge", &CloudFileSelectWebBridge::staticMetaObject,
                 [](OrvWebView *v) { return new CloudFileSelectWebBridge(v, nullptr); }});
    k.push_back({"folderSelect", "cloudDisk", &CloudFolderSelectWebBridge::staticMetaObject,
                 [](OrvWebView *v) { return new CloudFolderSelectWebBridge(v, nullptr); }});
    // Opened from the cloud page's bridge; the child page calls its window's port.
    k.push_back({PortKind, "myCloudDiskWindow", nullptr,
                 [](OrvWebView *v) { return new ImCloudWebBridge(v, nullptr); }});
    // The cloud disk view's own handlers of what its page asks, called directly, and its bridge,
    // whose signals lead to them. A fresh view per input; its page starts loading and is dropped.
    k.push_back({"cloudDiskView", "cloudDiskView", &CloudDiskWebView::staticMetaObject,
                 [](OrvWebView *) { return new CloudDiskWebView(F::FromIm); }, {},
                 {"downloadFile", "shareFile", "webShare", "openResourceCenterFolder", "dataDownload", "exportFiles"}});
    k.push_back({"cloudDiskViewBridge", "myCloudDiskWindow", &ImCloudWebBridge::staticMetaObject,
                 [](OrvWebView *) { return new CloudDiskWebView(F::FromIm); },
                 [](QObject *view) {
                     return static_cast<QObject *>(
                         static_cast<CloudDiskWebView *>(view)->webView()->registeredObject(QStringLiteral("myCloudDiskWindow")));
                 }});
    return k;
}

// What a page can call: public slots and invokables of the bridge classes (QObject's own are
// the channel's business; it refuses to delete published objects).
std::vector<Entry> entries(const std::vector<Kind> &all)
{
    std::vector<Entry> out;
    for (int k = 0; k < int(all.size()); ++k) {
        const Kind &kind = all[size_t(k)];
        if (!kind.meta) {
            for (const char *name : {"answer", "close"})
                out.push_back({k, QMetaMethod(), name, true, QByteArray(kind.id) + '.' + name});
            continue;
        }
        for (int i = QObject::staticMetaObject.methodCount(); i < kind.meta->methodCount(); ++i) {
            const QMetaMethod m = kind.meta->method(i);
            if (m.access() != QMetaMethod::Public
                || (m.methodType() != QMetaMethod::Slot && m.methodType() != QMetaMethod::Method))
                continue;
            if (!kind.only.isEmpty() && !kind.only.contains(m.name()))
                continue;
            out.push_back({k, m, {}, true, QByteArray(kind.id) + '.' + m.name()});
            out.push_back({k, m, {}, false, QByteArray(kind.id) + '.' + m.methodSignature()});
        }
    }
    // A name shared by overloads is one call by name: keep its first entry only.
    std::vector<Entry> unique;
    QSet<QByteArray> seen;
    for (const Entry &e : out) {
        if (seen.contains(e.selector))
            continue;
        seen.insert(e.selector);
        unique.push_back(e);
    }
    return unique;
}

// --- Decoding -----------------------------------------------------------------------------

quint32 fnv1a(const QByteArray &bytes)
{
    quint32 h = 2166136261u;
    for (const char c : bytes) {
        h ^= quint8(c);
        h *= 16777619u;
    }
    return h;
}

QJsonValue argument(const QByteArray &chunk, int type)
{
    if (chunk.startsWith('\x01')) {
        const QJsonDocument doc = QJsonDocument::fromJson(QByteArray("[") + chunk.mid(1) + ']');
        if (doc.isArray() && doc.array().size() == 1)
            return doc.array().at(0);
        return QString::fromUtf8(chunk.mid(1));
    }
    if (chunk.startsWith('\x02') && chunk.size() >= 4) {
        const int length = qMin(MaxLongText, (quint8(chunk[1]) << 16) | (quint8(chunk[2]) << 8) | quint8(chunk[3]));
        QString pattern = QString::fromUtf8(chunk.mid(4));
        if (pattern.isEmpty())
            pattern = QStringLiteral("x");
        QString text;
        text.reserve(length + pattern.size());
        while (text.size() < length)
            text += pattern;
        text.truncate(length);
        return text;
    }
    const QString text = QString::fromUtf8(chunk);
    if (type == QMetaType::QString)
        return text;
    if (text == QLatin1String("true") || text == QLatin1String("false"))
        return text == QLatin1String("true");
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (ok)
        return number;
    return text;
}


bool waitUntil(const std::function<bool()> &done, int limitMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > limitMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

void seedChosenFolder()
{
    QDir(g->chosen).removeRecursively();
    QDir().mkpath(g->chosen);
    // A file the page must not overwrite, and one that a server name collides with.
    const QHash<QString, QByteArray> files{
        {QStringLiteral("keep.txt"), QByteArray("the user's own file\n")},
        {QStringLiteral("Worksheet.pdf"), QByteArray("an older worksheet\n")},
        {QStringLiteral("escape.txt"), QByteArray("not to be replaced by a server name\n")},
    };
    g->before.clear();
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        const QString path = QDir(g->chosen).filePath(it.key());
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(it.value()) != it.value().size())
            fail(QStringLiteral("cannot seed %1").arg(path));
        g->before.insert(QFileInfo(path).absoluteFilePath(), it.value());
    }
}

void installWorld()
{
    g = new World;
    if (!g->sandbox.isValid() || !g->settingsDir.isValid() || !g->service.start())
        fail(QStringLiteral("no sandbox or no local web service"));
    g->disk.install(g->service);
    g->exams.install(g->service);
    g->exams.setPushHandler([](const QString &json) { OrvEngine::CoreEngine::instance()->receiveUploadPhotoInfo(json); });
    g->service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/fuzz/page.html"), [](const OrvWebService::Request &) {
        return OrvWebService::Response{200, "text/html; charset=utf-8", FuzzPage};
    });
    // Deep enough that "../" names escaping the chosen folder still land inside the sandbox.
    g->chosen = QDir(g->sandbox.path()).filePath(QStringLiteral("a/b/c/d/e/f/chosen"));
    seedChosenFolder();

    QNetworkProxyFactory::setApplicationProxyFactory(new LocalOnlyProxyFactory);
    QWebEngineProfile::defaultProfile()->setUrlRequestInterceptor(new LocalOnlyInterceptor(qApp));

    OrvSettings::instance()->setFileName(QDir(g->settingsDir.path()).filePath(QStringLiteral("settings.ini")));
    OrvHttpManager::instance()->setBaseUrl(g->service.baseUrl());
    OrvHttpManager::instance()->setTimeout(5000);
    OrvWebView::setTrustedOrigins({g->service.baseUrl()});
    ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), g->service.baseUrl());
    ServerEnvironment::setHost(ServerEnvironment::WebHost, QString(), g->service.baseUrl());

    WorldGenerator::Params params;
    params.friends = 20;
    params.groups = 4;
    params.courses = 4;
    params.sessions = 10;
    params.employeesPerCompany = 5;
    params.staffPerSchool = 5;
    params.classesPerSchool = 2;
    params.membersPerClass = 5;
    params.departmentsPerUnit = 2;
    WorldLoader loader;
    if (!loader.load(WorldGenerator::generate(params)))
        fail(QStringLiteral("world: %1").arg(loader.error()));
    WorldLoader::finishSync();

    SystemBrowser::setOpener([](const QUrl &) { return true; });
    // The user answers inside the sandbox's chosen folder, as the input's dialog answer says.
    BridgeDialogs::setSaveFileHandler([](QWidget *, const QString &, const QString &startPath, const QString &) {
        QString name = QFileInfo(startPath).fileName();
        switch (g->dialogAnswer) {
        case 'c':
            return QString();
        case 'n':
            name = QFileInfo(startPath).completeBaseName();
            break;
        case 'r':
            name = QStringLiteral("keep.txt");
            break;
        }
        const QString path = QDir(g->chosen).filePath(name);
        g->picked.insert(QFileInfo(path).absoluteFilePath());
        return path;
    });
    BridgeDialogs::setFolderHandler([](QWidget *, const QString &, const QString &) {
        return g->dialogAnswer == 'c' ? QString() : g->chosen;
    });
    // Pictures the open-files dialog offers: two that go up, and one that is no picture ('n').
    const QString pictures = g->pictures.path();
    if (!ImageSamples::writeFile(pictures + QStringLiteral("/a.jpg"), ImageSamples::encode(ImageSamples::cameraLike(QSize(320, 200)), "jpg"))
        || !ImageSamples::writeFile(pictures + QStringLiteral("/b.png"), ImageSamples::encode(ImageSamples::cameraLike(QSize(120, 90), 2), "png"))
        || !ImageSamples::writeFile(pictures + QStringLiteral("/c.jpg"), QByteArray("not a picture")))
        fail(QStringLiteral("cannot write the pictures to offer"));
    BridgeDialogs::setOpenFilesHandler([pictures](QWidget *, const QString &, const QString &, const QString &) {
        QStringList files{pictures + QStringLiteral("/a.jpg"), pictures + QStringLiteral("/b.png")};
        if (g->dialogAnswer == 'c')
            return QStringList();
        if (g->dialogAnswer == 'n')
            files << pictures + QStringLiteral("/c.jpg");
        return files;
    });
    PrScrnHelper::instance().setHelperPolicy(PrScrnHelper::HelperNever);
    BridgeDialogs::setMessageHandler([](QWidget *, const QString &, const QString &, const QStringList &buttons) {
        if (g->dialogAnswer == 'c')
            return -1;
        return g->dialogAnswer == 'l' ? qMax(0, buttons.size() - 1) : 0;
    });

    ExtensionSystem *ext = ExtensionSystem::instance();
    g->classroomWindow = new QWidget;
    g->classroom = new FakeClassRoomMgr(g->classroomWindow);
    ext->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), g->classroom);
    ext->addObject(QString::fromLatin1(IPptMgr::ExtensionName), new FakePptMgr);
    ext->addObject(QString::fromLatin1(ICoursewareService::ExtensionName), new FakeCourseware);
    ext->addObject(QString::fromLatin1(IDocumentService::ExtensionName), new FakeDocuments);
    ext->addObject(QString::fromLatin1(IFileOpener::ExtensionName), new FakeFileOpener);
    ext->addObject(QString::fromLatin1(IImagePreviewService::ExtensionName), new FakeImagePreview);
    ext->addObject(QString::fromLatin1(InAppWebHandler::ExtensionName), new FakeInAppWeb);
    ext->addObject(QString::fromLatin1(IUpdater::ExtensionName), new FakeUpdater);

    g->view = new OrvWebView;
    g->view->resize(800, 600);
    g->view->show();
    int loaded = -1;
    QObject::connect(g->view, &QWebEngineView::loadFinished, [&loaded](bool ok) { loaded = ok ? 1 : 0; });
    g->view->load(QUrl(g->service.baseUrl().toString() + QStringLiteral("/client/fuzz/page.html")));
    if (!waitUntil([&loaded] { return loaded >= 0; }, 60000) || loaded != 1 || !g->view->isBridgeAttached())
        fail(QStringLiteral("the fuzz page did not load as a trusted page"));

    g->channel = new QWebChannel(qApp);
    g->transport = new FuzzTransport(qApp);
    g->channel->connectTo(g->transport);

    g->kinds = kinds();
    g->entries = entries(g->kinds);
    for (int i = 0; i < int(g->entries.size()); ++i)
        g->bySelector.insert(g->entries[size_t(i)].selector, i);
}

// --- One call -----------------------------------------------------------------------------

bool pendingWork(QString *what)
{
    int replies = 0;
    for (QNetworkReply *reply : OrvHttpManager::instance()->networkAccessManager()->findChildren<QNetworkReply *>()) {
        if (reply->isRunning())
            ++replies;
    }
    const int transfers = OrvTransferQueue::instance()->pendingCount();
    const int uploads = FileUploadManager::instance()->pendingCount();
    // Pictures gathered and going up; a request waiting for the user (a phone code, a picker, a
    // capture) is no work in progress.
    const auto *exam = qobject_cast<const ExamBaseBridge *>(g->current.data());
    const bool pictures = exam && exam->isUploading() && !exam->pendingFiles().isEmpty();
    ExamUploadObject *keeper = ExamUploadObject::instance();
    const bool edited = keeper && keeper->checkUploadState();
    if (what)
        *what = QStringLiteral("%1 requests, %2 transfers, %3 uploads%4%5")
                    .arg(replies)
                    .arg(transfers)
                    .arg(uploads)
                    .arg(pictures ? QStringLiteral(", a picture request") : QString())
                    .arg(edited ? QStringLiteral(", edited pictures") : QString());
    return replies > 0 || transfers > 0 || uploads > 0 || pictures || edited;
}

void drain()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
    if (!waitUntil([] { return !pendingWork(nullptr); }, DrainLimitMs)) {
        QString what;
        pendingWork(&what);
        fail(QStringLiteral("still running %1 ms after the call: %2").arg(DrainLimitMs).arg(what));
    }
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

// Everything run in the page before this returns has run; its errors are collected.
QStringList pageErrors()
{
    bool done = false;
    QString errors;
    g->view->page()->runJavaScript(QStringLiteral("window.__orvFuzzErrors.splice(0).join('\\n')"),
                                   [&done, &errors](const QVariant &v) {
                                       errors = v.toString();
                                       done = true;
                                   });
    if (!waitUntil([&done] { return done; }, FenceLimitMs))
        fail(QStringLiteral("the page did not answer within %1 ms").arg(FenceLimitMs));
    QStringList all = consoleErrors();
    consoleErrors().clear();
    if (!errors.isEmpty())
        all << errors.split(QLatin1Char('\n'));
    return all;
}

// False when the chosen folder holds anything but its seeded files, unchanged.
bool checkFiles()
{
    bool pristine = true;
    const QString chosen = QFileInfo(g->chosen).absoluteFilePath() + QLatin1Char('/');
    QDirIterator it(g->sandbox.path(), QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = QFileInfo(it.next()).absoluteFilePath();
        if (!path.startsWith(chosen))
            fail(QStringLiteral("a file was written outside the chosen folder: %1").arg(path));
        if (!g->before.contains(path))
            pristine = false;
    }
    for (auto b = g->before.cbegin(); b != g->before.cend(); ++b) {
        QFile f(b.key());
        if (f.open(QIODevice::ReadOnly) && f.readAll() == b.value())
            continue;
        if (!g->picked.contains(b.key()))
            fail(QStringLiteral("an existing file was replaced without the user picking it: %1").arg(b.key()));
        pristine = false;
    }
    return pristine;
}

void closeWindows()
{
    QList<QWidget *> windows;
    for (QObject *root : {static_cast<QObject *>(g->view), static_cast<QObject *>(g->classroomWindow)}) {
        for (WebSubWindow *w : root->findChildren<WebSubWindow *>(QString(), Qt::FindDirectChildrenOnly))
            windows << w;
    }
    for (WebSubWindow *w : WebSubWindowManger::instance()->windows()) {
        if (!windows.contains(w))
            windows << w;
    }
    qDeleteAll(windows);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void resetState()
{
    // The queue stays (a new one would set up its network stack again); what it allowed goes.
    OrvTransferQueue::instance()->clearAllowList();
    ShareToChatTool::instance()->clear();
    // Shares are only recorded: a picker window per input would pile up.
    ShareToChatTool::instance()->setPicksTargets(false);
    // Settings are written back to disk on every change: touch them only when a call did.
    const QString saveAs = QLatin1String(CloudDownload::SaveAsPathKey);
    if (OrvSettings::instance()->value(saveAs).toString() != g->chosen)
        OrvSettings::instance()->setValue(saveAs, g->chosen);
    if (!ServerEnvironment::code().isEmpty())
        ServerEnvironment::setCode(QString());
    g->picked.clear();
    g->dialogAnswer = 0;
    g->classroom->m_courseId = 0;
}

void invoke(QObject *target, const QByteArray &name, const Entry &entry, const QList<QByteArray> &chunks)
{
    QJsonArray args;
    const int count = entry.method.isValid() ? entry.method.parameterCount() : (entry.portMethod == "answer" ? 1 : 0);
    for (int i = 0; i < count; ++i) {
        const int type = entry.method.isValid() ? entry.method.parameterType(i) : int(QMetaType::QString);
        args.append(argument(i < chunks.size() ? chunks.at(i) : QByteArray(), type));
    }
    QJsonValue method;
    if (!entry.method.isValid())
        method = QString::fromLatin1(entry.portMethod);
    else if (entry.byName)
        method = QString::fromLatin1(entry.method.name());
    else
        method = entry.method.methodIndex();

    g->channel->registerObject(QString::fromLatin1(name), target);
    g->transport->deliver(QJsonObject{{QStringLiteral("type"), 6}, // QWebChannel's InvokeMethod
                                      {QStringLiteral("object"), QString::fromLatin1(name)},
                                      {QStringLiteral("method"), method},
                                      {QStringLiteral("args"), args},
                                      {QStringLiteral("id"), ++g->messageId}});
    g->channel->deregisterObject(target);
}

void runOne(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), int(size));
    const int newline = input.indexOf('\n');
    const QByteArray selector = newline < 0 ? input : input.left(newline);
    const QList<QByteArray> chunks =
        newline < 0 ? QList<QByteArray>() : input.mid(newline + 1).split(ArgSeparator);
    const int index = g->bySelector.value(selector, int(fnv1a(selector) % quint32(g->entries.size())));
    const Entry &entry = g->entries[size_t(index)];
    const Kind &kind = g->kinds[size_t(entry.kind)];

    resetState();
    const int parameters = entry.method.isValid() ? entry.method.parameterCount() : (entry.portMethod == "answer" ? 1 : 0);
    if (chunks.size() > parameters && !chunks.at(parameters).isEmpty())
        g->dialogAnswer = chunks.at(parameters).at(0);
    // Published through the fuzzing channel only: the page loaded before the bridge existed,
    // and the view's channel would announce the bridge's end to a page that never knew it.
    QPointer<QObject> bridge = kind.make(g->view);
    g->current = bridge;

    QPointer<QObject> target = kind.target ? kind.target(bridge) : bridge.data();
    if (!target)
        fail(QStringLiteral("nothing to call for %1").arg(QString::fromLatin1(entry.selector)));
    // Child windows: one is open already, so a request for the same address raises it and the
    // key it was opened with closes it.
    const QByteArray methodName = entry.method.isValid() ? entry.method.name() : QByteArray();
    if (kind.meta && (methodName == "openSubWindow" || methodName == "closeSubWindow")
        && target->metaObject()->indexOfMethod("openSubWindow(QString,QString)") >= 0) {
        QMetaObject::invokeMethod(target, "openSubWindow", Q_ARG(QString, QString::fromLatin1(OpenChildRequest)),
                                  Q_ARG(QString, QStringLiteral("fuzz-child")));
    }
    if (!kind.meta) {
        auto *opener = static_cast<ImCloudWebBridge *>(bridge.data());
        opener->openSubWindow(QString::fromLatin1(OpenChildRequest), QStringLiteral("fuzz-child"));
        const QList<WebSubWindow *> open = WebSubWindowManger::instance()->windows();
        if (open.isEmpty())
            fail(QStringLiteral("no child window opened for the port"));
        target = open.last()->webView()->registeredObject(QStringLiteral("orvSubWindow"));
        if (!target)
            fail(QStringLiteral("the child window has no port"));
    }

    invoke(target, kind.meta ? QByteArray(kind.registration) : QByteArray("orvSubWindow"), entry, chunks);
    drain();
    const bool pristine = checkFiles();

    closeWindows();
    // A capture the call started ends with it; so do the editor and a minimised window.
    if (PrScrnHelper::instance().isCapturing()) {
        PrScrnHelper::instance().cancelCapture();
        if (!waitUntil([] { return !PrScrnHelper::instance().isCapturing(); }, FenceLimitMs))
            fail(QStringLiteral("a screen capture did not end"));
    }
    if (ImageEditor::instance() && ImageEditor::instance()->isVisible())
        ImageEditor::release();
    if (g->view->isMinimized())
        g->view->showNormal();
    delete bridge.data();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const QStringList errors = pageErrors();
    if (!errors.isEmpty()) {
        fail(QStringLiteral("the page reported errors after %1: %2")
                 .arg(QString::fromLatin1(entry.selector), errors.join(QStringLiteral(" | "))));
    }
    if (!pristine)
        seedChosenFolder();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    if (qEnvironmentVariableIsEmpty("QTWEBENGINE_CHROMIUM_FLAGS"))
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu --no-sandbox --dns-prefetch-disable");
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    qInstallMessageHandler(messageHandler);
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    // Lives for the whole run; libFuzzer never returns to main.
    new QApplication(*argc, *argv);
    installWorld();
    if (qEnvironmentVariableIntValue("ORV_FUZZ_LIST")) {
        for (const Entry &e : g->entries)
            std::printf("%s\n", e.selector.constData());
        std::exit(0);
    }
    return 0;
}

// Resident memory in KiB.
static long residentKiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLong() * 4 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int repeat = qMax(1, qEnvironmentVariableIntValue("ORV_FUZZ_REPEAT"));
    if (repeat == 1) {
        runOne(data, size);
        return 0;
    }
    // The first runs warm up caches; the growth that counts is over the later ones.
    runOne(data, size);
    runOne(data, size);
    const long before = residentKiB();
    for (int i = 2; i < repeat; ++i)
        runOne(data, size);
    const long after = residentKiB();
    const QByteArray input(reinterpret_cast<const char *>(data), int(qMin<size_t>(size, 60)));
    std::fprintf(stderr, "==fuzz_bridges== memory %+.1f KiB per run over %d runs (%ld -> %ld KiB): %s\n",
                 double(after - before) / qMax(1, repeat - 2), repeat - 2, before, after,
                 input.left(input.indexOf('\n') < 0 ? input.size() : input.indexOf('\n')).constData());
    return 0;
}
