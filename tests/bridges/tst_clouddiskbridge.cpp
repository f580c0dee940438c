// SPDX-License-Identifier: LGPL-2.1-or-later
// The cloud disk page (cloud.html, served by the local web service) driving its bridge for real:
// what the page receives through window.orvClientAPI, files that land on disk through the
// transfer queue, hub signals, recorded shares, child windows and the classroom services.
#include "ShareToChatTool.h"
#include "bridgedialogs.h"
#include "classroomclouddiskbridge.h"
#include "clouddiskbridge.h"
#include "clouddownload.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "extensionsystem.h"
#include "iclassroommgr.h"
#include "icoursewareservice.h"
#include "iimagepreviewservice.h"
#include "idocumentservice.h"
#include "ifileopener.h"
#include "imsignalobject.h"
#include "ipptmgr.h"
#include "orvclouddisk.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtransferqueue.h"
#include "serverenvironment.h"
#include "systembrowser.h"
#include "waitingspinnerwidget.h"
#include "websubwindow.h"
#include "websubwindowmanger.h"
#include "webtestutils.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QScreen>
#include <QTemporaryDir>

using namespace WebTest;

namespace {

constexpr int TransferWaitMs = 20000;

class FakeFileOpener : public IFileOpener
{
public:
    QList<QPair<QJsonArray, int>> calls;
    void openFiles(const QJsonArray &fileInfos, int currentIndex) override { calls << qMakePair(fileInfos, currentIndex); }
};

class FakeDocuments : public IDocumentService
{
public:
    QList<QJsonObject> shared;
    void shareDocument(const QJsonObject &fileInfo) override { shared << fileInfo; }
};

class FakeImagePreview : public IImagePreviewService
{
public:
    QList<QStringList> calls;
    void previewImages(const QStringList &urls) override { calls << urls; }
};

class FakeCourseware : public ICoursewareService
{
public:
    QList<QVariantList> calls;
    void createEdb(quint64 folderId, int fileSource, qint64 orgDiskId, quint64 sid) override
    {
        calls << QVariantList{folderId, fileSource, orgDiskId, sid};
    }
};

class FakePptMgr : public IPptMgr
{
public:
    QStringList calls;
    QList<QPair<QJsonArray, int>> opened;
    QStringList papers;
    QStringList tips;
    QList<QUrl> urls;
    QList<QSize> syncSizes;
    void openFiles(const QJsonArray &fileInfos, int currentIndex) override
    {
        calls << QStringLiteral("openFiles");
        opened << qMakePair(fileInfos, currentIndex);
        Q_EMIT hideCloudDisk();
    }
    void openExamPaper(const QString &paperJson) override { papers << paperJson; }
    void shareUrl(const QString &, const QString &cbKey) override { calls << QStringLiteral("shareUrl ") + cbKey; }
    void closeUrlShare(const QString &cbKey) override { calls << QStringLiteral("closeUrlShare ") + cbKey; }
    void openUrl(const QUrl &url) override { urls << url; }
    void openSyncSubWindow(const QString &url, const QSize &size, const QString &) override
    {
        calls << QStringLiteral("openSyncSubWindow ") + url;
        syncSizes << size;
    }
    void closeSyncSubWindow(const QString &cbKey) override { calls << QStringLiteral("closeSyncSubWindow ") + cbKey; }
    int webShowType() const override { return 7; }
    void showTip(const QString &textId) override { tips << textId; }
};

class FakeClassroom : public IClassRoomMgr
{
public:
    QWidget window;
    bool student = false;
    bool inClass = true;
    quint64 course = 0;
    QWidget *classroomWindow() const override { return const_cast<QWidget *>(&window); }
    quint64 schoolId() const override { return OrvCloudDisk::SchoolId; }
    quint64 courseId() const override { return course; }
    quint64 lessonId() const override { return 55; }
    bool isStudent() const override { return student; }
    bool isInClass() const override { return inClass; }
    bool isFriendsTempClassroom() const override { return false; }
    bool isExtendScreen() const override { return false; }
    void openSubWidget(const QString &, const QSize &) override {}
};

// Publishes a service in the extension system for one scope.
class Published
{
public:
    Published(const char *name, QObject *object)
        : m_name(QString::fromLatin1(name))
    {
        ExtensionSystem::instance()->addObject(m_name, object);
    }
    ~Published() { ExtensionSystem::instance()->removeObject(m_name); }

private:
    QString m_name;
};

// Exposes the time-out setter to watch the timer's own path end in the slot.
class ShortTimeoutDiskBridge : public CloudDiskBridge
{
public:
    using CloudDiskBridge::CloudDiskBridge;
    using CloudDiskBridge::setLoadingTimeout;
};

struct SaveAsk
{
    QString title;
    QString start;
    QString filter;
};

QStringList ownMethods(const QMetaObject *mo)
{
    QStringList names;
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i)
        names << QString::fromLatin1(mo->method(i).name());
    return names;
}

int publicSlotCount(const QMetaObject *mo, const char *name)
{
    int count = 0;
    for (int i = 0; i < mo->methodCount(); ++i) {
        const QMetaMethod method = mo->method(i);
        if (method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Public && method.name() == name)
            ++count;
    }
    return count;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString jsString(const QString &text)
{
    const QByteArray json = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(json.mid(1, json.size() - 2));
}

QString json(const QJsonArray &array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

} // namespace

class CloudDiskBridgeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ImSignalObject::registerMetaTypes();
        m_disk.install(m_service);
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), m_service.baseUrl());
        OrvEngine::ContactsEngine::instance()->setCurrentUid(OrvCloudDisk::DefaultUserId);
        QVERIFY(m_settingsDir.isValid());
        OrvSettings::instance()->setFileName(m_settingsDir.filePath(QStringLiteral("settings.ini")));

        SystemBrowser::setOpener([this](const QUrl &url) {
            m_browserUrls << url;
            return true;
        });
        BridgeDialogs::setSaveFileHandler([this](QWidget *, const QString &title, const QString &start, const QString &filter) {
            m_saveAsks << SaveAsk{title, start, filter};
            return m_saveChoice ? m_saveChoice(start) : start;
        });
        BridgeDialogs::setFolderHandler([this](QWidget *, const QString &title, const QString &start) {
            m_folderAsks << title + QLatin1Char('|') + start;
            return m_folderChoice;
        });
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &title, const QString &text, const QStringList &) {
            m_messages << title + QLatin1Char('|') + text;
            return -1;
        });
    }

    void cleanupTestCase()
    {
        BridgeDialogs::resetHandlers();
        SystemBrowser::setOpener({});
        ShareToChatTool::release();
        OrvTransferQueue::release();
        ImSignalObject::release();
        WebSubWindowManger::release();
        m_service.stop();
    }

    void init()
    {
        m_root.reset(new QTemporaryDir);
        QVERIFY(m_root->isValid());
        // Nested and missing: the bridge creates it on first use.
        m_saves = m_root->filePath(QStringLiteral("a/b/saves"));
        OrvSettings::instance()->setValue(QLatin1String(CloudDownload::SaveAsPathKey), m_saves);
        m_folderChoice = m_root->filePath(QStringLiteral("a/b/batch"));
        QVERIFY(QDir().mkpath(m_folderChoice));
        m_saveChoice = nullptr;
        m_saveAsks.clear();
        m_folderAsks.clear();
        m_messages.clear();
        m_browserUrls.clear();
        ShareToChatTool::instance()->clear();
        m_service.clearRequests();
        openDisk(WebSubWindowBridge::FromIm);
    }

    void cleanup()
    {
        // Transfers still running would write into the next test's folder.
        QTRY_COMPARE_WITH_TIMEOUT(OrvTransferQueue::instance()->pendingCount(), 0, TransferWaitMs);
        delete m_view;
        m_view = nullptr;
        m_bridge = nullptr;
        for (WebSubWindow *window : WebSubWindowManger::instance()->windows())
            delete window;
        m_service.clearFaults();
        ServerEnvironment::setCode(QString());
    }

    // What the page can call, in order. Overridden base slots appear once, in the base.
    void pageCallableMethodsKeepTheirOrder()
    {
        QCOMPARE(ownMethods(&CloudDiskBridge::staticMetaObject),
                 (QStringList{"hideCloudDisk", "signalOpenLocalFile", "signalLogin", "sigOpenFiles", "signalOpenEdpx",
                              "openFiles", "previewImages", "downloadFilesWithCbk", "downloadFiles", "shareFiles",
                              "shareFilesWithCbk", "downloadFileByUrls", "batchDownloadFileByUrls", "createEdb",
                              "createMicrolecture", "isTeacherInAllCluster", "getAppProductEnv", "setIsPopWeb",
                              "openUrlShareInClassroom", "closeUrlShareInClassroom", "openLocalFile",
                              "openSyncSubWindow", "closeSyncSubWindow", "getWebShowType", "login", "openEdpx",
                              "jumpToClass", "schoolInfoAbnormalPopup", "requestSchoolStorageInfo",
                              "requestOrganizationFilesDownload"}));
        QCOMPARE(ownMethods(&ClassroomCloudDiskBridge::staticMetaObject),
                 (QStringList{"imageShowRequested", "showImages", "lessonInfo", "classroomInfo"}));
        for (const char *name : {"openSubWindow", "closeSubWindow", "linkView", "loadingTimeOutSlot"})
            QVERIFY2(publicSlotCount(&ClassroomCloudDiskBridge::staticMetaObject, name) == 1, name);
    }

    void loadingIndicatorTimesOutQuietlyAfterThirtySeconds()
    {
        auto *timer = m_bridge->findChild<QTimer *>(QStringLiteral("loadingTimer"));
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 30000);
        QVERIFY(timer->isSingleShot());
        QVERIFY(!timer->isActive());
        // An exam frame next to it keeps its own, tenfold time-out.
        ExamBaseBridge exam(m_view, nullptr, WebSubWindowBridge::FromIm);
        QCOMPARE(exam.loadingTimeout(), 300000);

        m_bridge->startLoading();
        QVERIFY(timer->isActive());
        auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner"));
        QVERIFY(spinner && spinner->isSpinning());
        eval(QStringLiteral("cloudDisk.loadingTimeOutSlot()"));
        QTRY_VERIFY(!timer->isActive());
        QVERIFY(!spinner->isSpinning());

        ShortTimeoutDiskBridge bridge(m_view, WebSubWindowBridge::FromIm);
        bridge.setLoadingTimeout(30);
        bridge.startLoading();
        QTRY_VERIFY(!bridge.isLoading());
        QTest::qWait(50);
        QVERIFY(m_messages.isEmpty());
    }

    void oneFileIsSavedWhereTheUserChose()
    {
        const OrvCloudDisk::File worksheet = m_disk.file(1002);
        QVERIFY(eval(QStringLiteral("cloudPage.download([1002], 'dl-1')")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("dl-1")));
        QCOMPARE(m_saveAsks.size(), 1);
        QCOMPARE(m_saveAsks.at(0).title, OrvLang::text("ID_SaveFile"));
        QCOMPARE(m_saveAsks.at(0).filter, OrvLang::text("ID_XFiles") + QStringLiteral(" (*.pdf);;")
                                              + OrvLang::text("ID_AllFiles") + QStringLiteral(" (*)"));
        QCOMPARE(m_saveAsks.at(0).start, QDir(m_saves).filePath(QStringLiteral("Worksheet.pdf")));
        QVERIFY(QFileInfo(m_saves).isDir());
        QVERIFY(!answerOf(QStringLiteral("dl-1")).contains(QStringLiteral("data")));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(m_saves + QStringLiteral("/Worksheet.pdf")), worksheet.bytes, TransferWaitMs);
        QVERIFY(!m_bridge->isLoading());
        saveScreenshot(m_view, QStringLiteral("cloud-im"));

        // The next dialog offers a free name; the user picks another folder, which is remembered,
        // and types a name without the suffix, which the file keeps.
        const QString other = m_root->filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(other));
        m_saveChoice = [other](const QString &) { return other + QStringLiteral("/mine"); };
        QVERIFY(eval(QStringLiteral("cloudPage.download([1002], 'dl-2')")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("dl-2")));
        QCOMPARE(m_saveAsks.last().start, QDir(m_saves).filePath(QStringLiteral("Worksheet(1).pdf")));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(other + QStringLiteral("/mine.pdf")), worksheet.bytes, TransferWaitMs);
        QCOMPARE(OrvSettings::instance()->value(QLatin1String(CloudDownload::SaveAsPathKey)).toString(), other);

        // A file shared by another user comes through the shared-file address with its sharer.
        m_saveChoice = nullptr;
        QVERIFY(eval(QStringLiteral("cloudPage.download([2001], 'dl-3', 6)")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("dl-3")));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(other + QStringLiteral("/Reading list.docx")), m_disk.file(2001).bytes,
                                  TransferWaitMs);
        const OrvWebService::Request shared = lastRequest(QStringLiteral("/cloudspace/api/user/share/file/source"));
        QCOMPARE(shared.queryValue(QStringLiteral("shareUid")), QString::number(OrvCloudDisk::SharingUserId));
        QCOMPARE(shared.queryValue(QStringLiteral("referenceId")), QStringLiteral("9001"));
    }

    void cancelledOrFailedDownloadsAnswerNothing()
    {
        m_saveChoice = [](const QString &) { return QString(); };
        QVERIFY(eval(QStringLiteral("cloudPage.download([1002], 'cancel-1')")).toBool());
        QTRY_COMPARE(m_saveAsks.size(), 1);
        QTest::qWait(300);
        QVERIFY(!hasAnswer(QStringLiteral("cancel-1")));
        QVERIFY(!m_bridge->isLoading());
        QCOMPARE(QDir(m_saves).entryList(QDir::Files), QStringList());

        m_service.setFault(QStringLiteral("/cloudspace/api/user/file/source"), OrvWebService::Fault::Status500);
        QVERIFY(eval(QStringLiteral("cloudPage.download([1002], 'fail-1')")).toBool());
        QTRY_COMPARE(m_messages.size(), 1);
        QVERIFY(m_messages.first().startsWith(BridgeDialogs::messageBoxTitle(false) + QLatin1Char('|')));
        QVERIFY(!m_bridge->isLoading());
        QCOMPARE(m_saveAsks.size(), 1);
        QVERIFY(!hasAnswer(QStringLiteral("fail-1")));
    }

    void emptyOrBadListsDoNothing_data()
    {
        QTest::addColumn<QString>("fileInfos");
        QTest::addColumn<bool>("parseError");
        QTest::newRow("empty list") << QStringLiteral("[]") << false;
        QTest::newRow("bad json") << QStringLiteral("[{\"userFileId\":") << true;
        QTest::newRow("object") << QStringLiteral("{\"userFileId\":1002}") << true;
        QTest::newRow("no ids") << QStringLiteral("[{\"userFileName\":\"a.pdf\"},{}]") << false;
    }

    void emptyOrBadListsDoNothing()
    {
        QFETCH(QString, fileInfos);
        QFETCH(bool, parseError);
        m_service.clearRequests();
        LogCapture log("orv.common");
        eval(QStringLiteral("cloudDisk.downloadFilesWithCbk(%1, 'k'); cloudDisk.downloadFiles(%1);"
                            "cloudDisk.shareFilesWithCbk(%1, 'k'); cloudDisk.refreshExamList('done')")
                 .arg(jsString(fileInfos)));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QTest::qWait(100);
        QVERIFY(!m_bridge->isLoading());
        QVERIFY(!m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner")));
        QVERIFY(!hasAnswer(QStringLiteral("k")));
        QVERIFY(m_saveAsks.isEmpty() && m_folderAsks.isEmpty() && m_messages.isEmpty());
        QVERIFY(ShareToChatTool::instance()->shares().isEmpty());
        for (const OrvWebService::Request &request : m_service.requests())
            QVERIFY2(!request.path.startsWith(QLatin1String("/cloudspace/")), qPrintable(request.path));
        QCOMPARE(log.contains(QStringLiteral("parse json error!")), parseError);
    }

    void batchKeepsExistingFilesAndServerNamesStayInside()
    {
        // Already there: the batch must not replace it.
        QFile existing(m_folderChoice + QStringLiteral("/Worksheet.pdf"));
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.write("mine");
        existing.close();

        LogCapture log("orv.common.bridge");
        QVERIFY(eval(QStringLiteral("cloudPage.download([1001, 1002, 1005], 'batch-1')")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("batch-1")));
        QCOMPARE(m_folderAsks.size(), 1);
        QVERIFY(m_folderAsks.first().startsWith(OrvLang::text("ID_SaveFile") + QLatin1Char('|')));
        QCOMPARE(lastRequest(QStringLiteral("/cloudspace/api/user/batch/download")).formValue(QStringLiteral("fileIds")),
                 QStringLiteral("1001,1002,1005"));
        QTRY_COMPARE_WITH_TIMEOUT(OrvTransferQueue::instance()->pendingCount(), 0, TransferWaitMs);
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/Worksheet.pdf")), QByteArray("mine"));
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/Worksheet(1).pdf")), m_disk.file(1002).bytes);
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/Fractions - lesson 1.pptx")), m_disk.file(1001).bytes);
        // "../../escape.txt" from the server lands as a plain name in the chosen folder.
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/escape.txt")), m_disk.file(1005).bytes);
        QVERIFY(log.contains(QStringLiteral("/api/user/batch/download : sucess ")));
        QCOMPARE(OrvSettings::instance()->value(QLatin1String(CloudDownload::SaveAsPathKey)).toString(), m_folderChoice);
        QVERIFY(!m_bridge->isLoading());
        verifyNothingOutside({m_folderChoice});
    }

    void organisationDownloadsPostTheirFieldsAndAnswerTheFolder()
    {
        OrvCloudDisk::File odd = m_disk.file(3003);
        odd.userFileId = 3999;
        odd.userFileName = QStringLiteral("..\\..\\boot.ini");
        m_disk.addFile(odd);
        openDisk(WebSubWindowBridge::FromIm);
        QFile existing(m_folderChoice + QStringLiteral("/School timetable.xlsx"));
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.close();

        LogCapture log("orv.common.bridge");
        QVERIFY(eval(QStringLiteral("cloudPage.download([3001, 3999], 'org-1', 8)")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("org-1")));
        const OrvWebService::Request post = lastRequest(QStringLiteral("/cloudspace/api/organization/download"));
        QCOMPARE(post.method, QStringLiteral("POST"));
        QCOMPARE(post.formValue(QStringLiteral("UID")), QString::number(OrvCloudDisk::DefaultUserId));
        QCOMPARE(post.formValue(QStringLiteral("fileIds")), QStringLiteral("3001,3999"));
        QCOMPARE(post.formValue(QStringLiteral("sid")), QString::number(OrvCloudDisk::SchoolId));
        const QJsonObject answer = QJsonDocument::fromJson(answerOf(QStringLiteral("org-1")).value(QStringLiteral("data"))
                                                               .toString().toUtf8()).object();
        QCOMPARE(answer.value(QStringLiteral("result")).toString(), m_folderChoice);
        QVERIFY(answer.value(QStringLiteral("expand")).isObject());
        QTRY_COMPARE_WITH_TIMEOUT(OrvTransferQueue::instance()->pendingCount(), 0, TransferWaitMs);
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/School timetable(1).xlsx")), m_disk.file(3001).bytes);
        QCOMPARE(readFile(m_folderChoice + QStringLiteral("/boot.ini")), odd.bytes);
        QVERIFY(log.contains(QStringLiteral("cloudspace/api/organization/files/download: sucess ")));
        verifyNothingOutside({m_folderChoice});

        // One school file goes the same way.
        QVERIFY(eval(QStringLiteral("cloudPage.download([3003], 'org-2', 8)")).toBool());
        QVERIFY(waitAnswer(QStringLiteral("org-2")));
        QCOMPARE(lastRequest(QStringLiteral("/cloudspace/api/organization/download")).formValue(QStringLiteral("fileIds")),
                 QStringLiteral("3003"));

        // Fields that are no ids never reach the service (once the file above has been fetched).
        QTRY_COMPARE_WITH_TIMEOUT(OrvTransferQueue::instance()->pendingCount(), 0, TransferWaitMs);
        m_service.clearRequests();
        eval(QStringLiteral("cloudDisk.requestOrganizationFilesDownload('30001', '1,2&sid=1', 'bad');"
                            "cloudDisk.requestOrganizationFilesDownload('x', '3001', 'bad');"
                            "cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QVERIFY(m_service.requests().isEmpty());
        QVERIFY(!m_bridge->isLoading());
    }

    void downloadByAddressUsesTheEnvironmentsServer()
    {
        // The default server does not answer: only the environment's own server can deliver.
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), QUrl(QStringLiteral("http://127.0.0.1:9")));
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QStringLiteral("im2"), m_service.baseUrl());
        ServerEnvironment::setCode(QStringLiteral("im2"));
        const auto restore = qScopeGuard([this] {
            ServerEnvironment::clearHosts();
            ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), m_service.baseUrl());
        });

        QVERIFY(eval(QStringLiteral("cloudPage.downloadByUrl('download/file?id=1003&n=..%2F..%2FBoard.svg')")).toBool());
        QVERIFY(waitFor(m_view->page(), QStringLiteral("orvPage.log.some(function (e) { return e.text === 'downloadFileByUrls returned true'; })")));
        QCOMPARE(m_saveAsks.size(), 1);
        QCOMPARE(m_saveAsks.at(0).start, QDir(m_saves).filePath(QStringLiteral("Board.svg")));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(m_saves + QStringLiteral("/Board.svg")), m_disk.file(1003).bytes, TransferWaitMs);

        // Several addresses into one folder: "null" and empty names are skipped, taken names numbered.
        const QJsonArray items{
            QJsonObject{{QStringLiteral("path"), QStringLiteral("download/file?id=1002")}, {QStringLiteral("fileName"), QStringLiteral("Board.svg")}},
            QJsonObject{{QStringLiteral("path"), QStringLiteral("download/file?id=1001")}, {QStringLiteral("fileName"), QStringLiteral("null")}},
            QJsonObject{{QStringLiteral("path"), QStringLiteral("download/file?id=1001")}, {QStringLiteral("fileName"), QString()}},
            QJsonObject{{QStringLiteral("path"), QStringLiteral("download/file?id=1004")}, {QStringLiteral("fileName"), QStringLiteral("/etc/photo.bmp")}}};
        m_folderChoice = m_saves;
        eval(QStringLiteral("cloudPage.downloadByUrls(%1)").arg(json(items)));
        QTRY_COMPARE(m_folderAsks.size(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(readFile(m_saves + QStringLiteral("/Board(1).svg")), m_disk.file(1002).bytes, TransferWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(readFile(m_saves + QStringLiteral("/photo.bmp")), m_disk.file(1004).bytes, TransferWaitMs);
        QCOMPARE(readFile(m_saves + QStringLiteral("/Board.svg")), m_disk.file(1003).bytes);
        QCOMPARE(QDir(m_saves).entryList(QDir::Files).size(), 3);
        QVERIFY(!m_bridge->isLoading());

        // Another environment code falls back to the default server, which fails the transfer.
        ServerEnvironment::setCode(QStringLiteral("zz"));
        QSignalSpy failed(OrvTransferQueue::instance(), &OrvTransferQueue::failed);
        eval(QStringLiteral("cloudPage.downloadByUrl('download/file?id=1002&n=Other.pdf')"));
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, TransferWaitMs);
        QVERIFY(!QFile::exists(m_saves + QStringLiteral("/Other.pdf")));

        // Addresses that are not http(s), or longer than any server takes, are refused before any dialog.
        const int asks = m_saveAsks.size();
        const QString overlong = QStringLiteral("download/file?id=1002&n=") + QString(CloudDownload::MaxAddressLength, QLatin1Char('x'));
        for (const QString &bad : {QStringLiteral("file:///etc/passwd"), QStringLiteral("javascript:alert(1)"), QString(), overlong,
                                   QStringLiteral("https://a.example/") + overlong})
            QVERIFY(!m_bridge->downloadFileByUrls(bad));
        QVERIFY(!CloudDownload::resolveAddress(overlong.left(CloudDownload::MaxAddressLength - 100)).isEmpty());
        QCOMPARE(m_saveAsks.size(), asks);
        verifyNothingOutside({m_saves});
    }

    // The share tool gets one operation per request, after the page's call has returned.
    void sharesPickTheirOperation_data()
    {
        QTest::addColumn<QList<int>>("ids");
        QTest::addColumn<QJsonObject>("extra");
        QTest::addColumn<QString>("kind");
        QTest::newRow("several") << QList<int>{1001, 1002} << QJsonObject() << QStringLiteral("shareCloudFile");
        QTest::newRow("own file") << QList<int>{1002} << QJsonObject() << QStringLiteral("shareCloudFile");
        QTest::newRow("shared file") << QList<int>{2001} << QJsonObject() << QStringLiteral("shareImCloudFile");
        QTest::newRow("paper") << QList<int>{1007} << QJsonObject() << QStringLiteral("shareNewCloudExam");
        QTest::newRow("question") << QList<int>{1007} << QJsonObject{{QStringLiteral("questionId"), 4}}
                                  << QStringLiteral("shareCloudExam");
        QTest::newRow("homework") << QList<int>{1008} << QJsonObject() << QStringLiteral("shareCloudHomework");
    }

    void sharesPickTheirOperation()
    {
        QFETCH(QList<int>, ids);
        QFETCH(QJsonObject, extra);
        QFETCH(QString, kind);
        QJsonArray entries;
        for (int id : ids) {
            QJsonObject entry = OrvCloudDisk::entry(m_disk.file(quint64(id)));
            for (auto it = extra.begin(); it != extra.end(); ++it)
                entry.insert(it.key(), it.value());
            entries.append(entry);
        }
        ShareToChatTool *tool = ShareToChatTool::instance();
        m_bridge->shareFiles(json(entries));
        QVERIFY(tool->shares().isEmpty());
        QTRY_COMPARE(tool->shares().size(), 1);
        QCOMPARE(tool->lastShare().kind, kind);
        if (ids.size() > 1)
            QCOMPARE(tool->lastShare().payload.toString(), QStringLiteral("1001,1002"));
        else if (kind == QLatin1String("shareCloudFile"))
            QCOMPARE(tool->lastShare().payload.toString(), QString::number(ids.first()));
        else
            QCOMPARE(tool->lastShare().payload.toObject(), entries.first().toObject());

        // From the page, with its key answered after the share.
        tool->clear();
        eval(QStringLiteral("cloudDisk.shareFilesWithCbk(%1, 'share-1')").arg(jsString(json(entries))));
        QVERIFY(waitAnswer(QStringLiteral("share-1")));
        QCOMPARE(tool->shares().size(), 1);
        QCOMPARE(tool->lastShare().kind, kind);
    }

    void onlineDocumentsGoToTheDocumentService()
    {
        const QString entries = json({OrvCloudDisk::entry(m_disk.file(1009))});
        LogCapture log("orv.common.bridge");
        eval(QStringLiteral("cloudDisk.shareFilesWithCbk(%1, 'edoc-1')").arg(jsString(entries)));
        QTRY_VERIFY(log.contains(QStringLiteral("IDocumentService is nullptr")));
        QTest::qWait(100);
        QVERIFY(!hasAnswer(QStringLiteral("edoc-1")));
        QVERIFY(ShareToChatTool::instance()->shares().isEmpty());

        FakeDocuments documents;
        Published published(IDocumentService::ExtensionName, &documents);
        eval(QStringLiteral("cloudDisk.shareFilesWithCbk(%1, 'edoc-2')").arg(jsString(entries)));
        QVERIFY(waitAnswer(QStringLiteral("edoc-2")));
        QCOMPARE(documents.shared.size(), 1);
        QCOMPARE(documents.shared.first().value(QStringLiteral("userFileId")).toInt(), 1009);
        QVERIFY(ShareToChatTool::instance()->shares().isEmpty());
    }

    void openFilesInTheClient()
    {
        QSignalSpy exam(ImSignalObject::instance(), &ImSignalObject::openExamSubWidget);
        QSignalSpy homework(ImSignalObject::instance(), &ImSignalObject::openHomeworkSubWidget);
        FakeFileOpener opener;
        {
            LogCapture log("orv.common.bridge");
            eval(QStringLiteral("cloudPage.open(1001)"));
            QTRY_VERIFY(log.contains(QStringLiteral("IFileOpener is nullptr")));
        }
        Published published(IFileOpener::ExtensionName, &opener);
        eval(QStringLiteral("cloudPage.open(1002); cloudPage.open(1007); cloudPage.open(1008)"));
        QTRY_COMPARE(homework.size(), 1);
        QCOMPARE(exam.size(), 1);
        QCOMPARE(opener.calls.size(), 1);
        QCOMPARE(opener.calls.first().second,
                 eval(QStringLiteral("cloudPage.files(0).findIndex(function (f) { return f.userFileId === 1002; })")).toInt());
        QCOMPARE(opener.calls.first().first.size(), eval(QStringLiteral("cloudPage.files(0).length")).toInt());
        // The entry's own size, and the default where it has none.
        QCOMPARE(exam.first().at(1).toString(), m_service.baseUrl().toString() + QStringLiteral("/client/exam/paper?id=7001"));
        QCOMPARE(exam.first().at(2).toSize(), QSize(900, 700));
        QCOMPARE(homework.first().at(1).toString(), m_service.baseUrl().toString() + QStringLiteral("/client/homework/task?id=8001"));
        QCOMPARE(homework.first().at(2).toSize(), QSize(740, 600));
        QCOMPARE(homework.first().at(0).value<QWidget *>(), m_view);

        // Out of range, no list, or a page elsewhere: nothing.
        const QString list = jsString(json({OrvCloudDisk::entry(m_disk.file(1002)),
                                            QJsonObject{{QStringLiteral("fileType"), 1},
                                                        {QStringLiteral("url"), QStringLiteral("https://elsewhere.invalid/x")}}}));
        eval(QStringLiteral("cloudDisk.openFiles(%1, 2); cloudDisk.openFiles(%1, -1); cloudDisk.openFiles(%1, 1);"
                            "cloudDisk.openFiles('nope', 0); cloudDisk.refreshExamList('done')").arg(list));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(opener.calls.size(), 1);
        QCOMPARE(exam.size(), 1);
    }

    void previewsAndBoardFilesGoToTheirServices()
    {
        {
            LogCapture log("orv.common.bridge");
            eval(QStringLiteral("cloudPage.previewImage(1003); cloudPage.boardFile(501)"));
            QTRY_VERIFY(log.contains(QStringLiteral("ICoursewareService is nullptr")));
            QVERIFY(log.contains(QStringLiteral("IImagePreviewService is nullptr")));
        }
        FakeImagePreview preview;
        FakeCourseware courseware;
        Published previewPublished(IImagePreviewService::ExtensionName, &preview);
        Published coursewarePublished(ICoursewareService::ExtensionName, &courseware);
        eval(QStringLiteral("cloudPage.previewImage(1003); cloudPage.boardFile(501);"
                            "cloudDisk.createEdb('{\"folderId\":\"18446744073709551615\",\"fileSource\":8,\"orgDiskId\":40001,\"sid\":30001}');"
                            "cloudDisk.previewImages('[]'); cloudDisk.previewImages('[{\"url\":\"https://a/2.png\"}, 3]');"
                            "cloudDisk.createEdb('[1]'); cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(preview.calls, (QList<QStringList>{{m_service.baseUrl().toString() + QStringLiteral("/download/file?id=1003")},
                                                    {QStringLiteral("https://a/2.png")}}));
        QCOMPARE(courseware.calls, (QList<QVariantList>{{quint64(501), 0, qint64(0), quint64(0)},
                                                        {quint64(18446744073709551615ull), 8, qint64(40001), quint64(30001)}}));
    }

    // Previews, openers and the board take web addresses only: a page that names a local file,
    // a share of the local network or another kind of address gets nothing opened.
    void previewsAndOpenersTakeWebAddressesOnly()
    {
        FakeImagePreview preview;
        FakeFileOpener opener;
        Published previewPublished(IImagePreviewService::ExtensionName, &preview);
        Published openerPublished(IFileOpener::ExtensionName, &opener);
        const QString hostile = jsString(QStringLiteral(
            "[\"file:///etc/passwd\", \"smb://host/share/a.png\", \"/etc/passwd\", \"C:\\\\Windows\\\\win.ini\", \"\\\\\\\\host\\\\share\\\\b.png\","
            " \"javascript:alert(1)\", \"data:image/png;base64,AAAA\", {\"url\": \"ftp://host/c.png\"}, \"https://a/ok.png\"]"));
        const auto entry = [](const char *key, const QString &address) {
            return QJsonObject{{QStringLiteral("userFileId"), 77}, {QStringLiteral("fileType"), 3},
                               {QStringLiteral("userFileName"), QStringLiteral("a.png")}, {QString::fromLatin1(key), address}};
        };
        const QString localEntries = jsString(json({entry("url", QStringLiteral("file:///etc/passwd")),
                                                    entry("filePath", QStringLiteral("smb://host/share/a.png")),
                                                    entry("localPath", QStringLiteral("/etc/passwd")),
                                                    entry("src", QStringLiteral("C:\\Windows\\win.ini"))}));
        const QString mixed = jsString(json({entry("url", QStringLiteral("file:///etc/passwd")),
                                             entry("url", QStringLiteral("https://a/ok.png")),
                                             OrvCloudDisk::entry(m_disk.file(1002))}));
        eval(QStringLiteral("cloudDisk.previewImages(%1);"
                            "[0, 1, 2, 3].forEach(function (i) { cloudDisk.openFiles(%2, i); });"
                            "cloudDisk.openFiles(%3, 1); cloudDisk.openFiles(%3, 0);"
                            "cloudDisk.linkView('mailto:a@example.org?attach=/etc/passwd');"
                            "cloudDisk.linkView('smb://host/share'); cloudDisk.refreshExamList('done')")
                 .arg(hostile, localEntries, mixed));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(preview.calls, QList<QStringList>{QStringList{QStringLiteral("https://a/ok.png")}});
        // Of a list, the entries with web addresses (or none) stay, and the index follows the
        // entry the user clicked; a local entry clicked opens nothing.
        QCOMPARE(opener.calls.size(), 1);
        QCOMPARE(opener.calls.first().first.size(), 2);
        QCOMPARE(opener.calls.first().second, 0);
        QCOMPARE(opener.calls.first().first.at(0).toObject().value(QStringLiteral("url")).toString(),
                 QStringLiteral("https://a/ok.png"));
        QVERIFY(m_browserUrls.isEmpty());

        // The same on the board of a classroom.
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"));
        FakePptMgr board;
        Published boardPublished(IPptMgr::ExtensionName, &board);
        eval(QStringLiteral("[0, 1, 2, 3].forEach(function (i) { cloudDisk.openFiles(%1, i); });"
                            "cloudDisk.linkView('mailto:a@example.org?attach=/etc/passwd'); cloudDisk.refreshExamList('done')")
                 .arg(localEntries));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(board.opened.size(), 0);
        QCOMPARE(board.urls, QList<QUrl>());
    }

    void openFilesInAClassroom()
    {
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"));
        QSignalSpy hide(m_bridge, &CloudDiskBridge::hideCloudDisk);
        QSignalSpy exam(ImSignalObject::instance(), &ImSignalObject::openExamSubWidget);
        QSignalSpy homework(ImSignalObject::instance(), &ImSignalObject::openHomeworkSubWidget);
        {
            LogCapture log("orv.common.bridge");
            eval(QStringLiteral("cloudPage.open(1002); cloudPage.open(1007)"));
            QTRY_COMPARE(log.lines().count(QStringLiteral("IPptMgr is nullptr")), 2);
            QCOMPARE(hide.size(), 0);
        }
        FakePptMgr board;
        Published published(IPptMgr::ExtensionName, &board);
        eval(QStringLiteral("cloudPage.open(1002); cloudPage.open(1007); cloudPage.open(1008)"));
        QTRY_COMPARE(homework.size(), 1);
        QCOMPARE(board.opened.size(), 1);
        QCOMPARE(exam.size(), 0);
        QCOMPARE(board.papers.size(), 1);
        const QJsonObject paper = QJsonDocument::fromJson(board.papers.first().toUtf8()).object();
        QCOMPARE(paper.value(QStringLiteral("paper")).toInt(), 7001);
        QCOMPARE(paper.value(QStringLiteral("title")).toString(), QStringLiteral("Unit test - fractions"));
        QCOMPARE(paper.value(QStringLiteral("link")).toString(), m_service.baseUrl().toString() + QStringLiteral("/client/exam/paper?id=7001"));
        QCOMPARE(paper.value(QStringLiteral("windowSize")).toString(), QStringLiteral("900*700"));
        // Once for the board's own request to hide, once after the paper.
        QCOMPARE(hide.size(), 2);
    }

    void classroomBoardRequests()
    {
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"));
        QSignalSpy hide(m_bridge, &CloudDiskBridge::hideCloudDisk);
        FakePptMgr board;
        Published published(IPptMgr::ExtensionName, &board);
        eval(QStringLiteral("cloudDisk.linkView('https://example.org/lesson');"
                            "cloudDisk.linkView('file:///etc/passwd');"
                            "cloudDisk.openSyncSubWindow('{\"url\":\"https://example.org/s\"}', 's1');"
                            "cloudDisk.openSyncSubWindow('{\"url\":\"https://example.org/t\",\"size\":\"800*500\"}', 's2');"
                            "cloudDisk.closeSyncSubWindow('s1');"
                            "cloudDisk.openUrlShareInClassroom('{\"url\":\"https://example.org/u\"}', 'u1');"
                            "cloudDisk.closeUrlShareInClassroom('u1');"
                            "cloudDisk.getWebShowType(function (t) { window.showType = t; })"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("window.showType === 7")));
        QCOMPARE(board.urls, QList<QUrl>{QUrl(QStringLiteral("https://example.org/lesson"))});
        QVERIFY(m_browserUrls.isEmpty());
        QCOMPARE(board.syncSizes, (QList<QSize>{QSize(740, 600), QSize(800, 500)}));
        QCOMPARE(board.calls, (QStringList{QStringLiteral("openSyncSubWindow https://example.org/s"),
                                           QStringLiteral("openSyncSubWindow https://example.org/t"),
                                           QStringLiteral("closeSyncSubWindow s1"), QStringLiteral("shareUrl u1"),
                                           QStringLiteral("closeUrlShare u1")}));
        QCOMPARE(hide.size(), 3);

        // Outside a classroom the same page calls go to the system browser or nowhere.
        openDisk(WebSubWindowBridge::FromIm);
        eval(QStringLiteral("cloudDisk.linkView('https://example.org/lesson');"
                            "cloudDisk.openUrlShareInClassroom('{\"url\":\"https://example.org/u\"}', 'u2');"
                            "cloudDisk.getWebShowType(function (t) { window.showType = t; })"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("window.showType === 0")));
        QCOMPARE(m_browserUrls, QList<QUrl>{QUrl(QStringLiteral("https://example.org/lesson"))});
        QCOMPARE(board.calls.size(), 5);
    }

    void childWindowIsACentredPopUpDisk()
    {
        QSignalSpy hide(m_bridge, &CloudDiskBridge::hideCloudDisk);
        eval(QStringLiteral("cloudPage.openWindow(501, 'sub-1')"));
        QTRY_COMPARE(windows().size(), 1);
        WebSubWindow *window = windows().first();
        QCOMPARE(window->parentWidget(), m_view);
        auto *child = qobject_cast<CloudDiskBridge *>(window->webView()->registeredObject(QStringLiteral("cloudDisk")));
        QVERIFY(child);
        QVERIFY(child->isPopWeb());
        QVERIFY(!child->clouddiskInClassroom());
        const QRect available = window->screen()->availableGeometry();
        QCOMPARE(window->geometry().center().x(), available.center().x());
        QVERIFY(qAbs(window->geometry().center().y() - available.center().y()) <= 1);
        // The child page is the disk's folder and knows it is a pop-up.
        QVERIFY(waitFor(window->webView()->page(), QStringLiteral("document.getElementById('env').textContent === 'In the client, in a window'"), 15000));
        saveScreenshot(window, QStringLiteral("cloud-child"));
        QCOMPARE(hide.size(), 0);

        // The same folder again raises it; another with "isAutoHide" opens and hides the disk.
        eval(QStringLiteral("cloudPage.openWindow(501, 'sub-2')"));
        QTest::qWait(300);
        QCOMPARE(windows().size(), 1);
        QCOMPARE(window->cbKey(), QStringLiteral("sub-1"));
        eval(QStringLiteral("cloudPage.openWindow(502, 'sub-3', {isAutoHide: true})"));
        QTRY_COMPARE(windows().size(), 2);
        QCOMPARE(hide.size(), 1);
        eval(QStringLiteral("cloudPage.closeWindow('sub-1')"));
        QTRY_COMPARE(windows().size(), 1);
    }

    // The exam frame's child pages get a plain bridge under the same name, from the same host.
    void examFrameChildGetsAPlainBridge()
    {
        delete m_view;
        m_view = new OrvWebView;
        auto *exam = new ExamBaseBridge(m_view, m_view, WebSubWindowBridge::FromLauncher);
        m_view->registerObject(exam, QStringLiteral("cloudDisk"));
        m_view->show();
        QVERIFY(load(m_view, QUrl(m_service.baseUrl().toString() + QStringLiteral("/client/cloud/cs/im"))));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("!!(window.orvPage && orvPage.loaded && cloudDisk.openSubWindow)")));
        eval(QStringLiteral("cloudPage.openWindow(501, 'exam-1')"));
        QTRY_COMPARE(windows().size(), 1);
        OrvWebBridge *child = windows().first()->webView()->registeredObject(QStringLiteral("cloudDisk"));
        QVERIFY(child);
        QCOMPARE(child->metaObject(), &WebSubWindowBridge::staticMetaObject);
        QCOMPARE(static_cast<WebSubWindowBridge *>(child)->fromType(), WebSubWindowBridge::FromLauncher);
    }

    void childWindowsInAClassroom()
    {
        FakeClassroom classroom;
        Published published(IClassRoomMgr::ExtensionName, &classroom);
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"));
        eval(QStringLiteral("cloudPage.openWindow(501, 'room-1')"));
        QTRY_COMPARE(windows().size(), 1);
        QCOMPARE(windows().first()->parentWidget(), &classroom.window);
        auto *child = qobject_cast<CloudDiskBridge *>(windows().first()->webView()->registeredObject(QStringLiteral("cloudDisk")));
        QVERIFY(child && child->isPopWeb() && child->clouddiskInClassroom());

        // A classroom that takes no added files refuses with the board's tip.
        FakePptMgr board;
        Published boardPublished(IPptMgr::ExtensionName, &board);
        openDisk(WebSubWindowBridge::FromClassroomNoAddFile, QStringLiteral("/client/cloud/cs/room"));
        eval(QStringLiteral("cloudPage.openWindow(502, 'room-2'); cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(board.tips, QStringList{QStringLiteral("ID_Exten_CanNot_AddFile")});
        QCOMPARE(windows().size(), 1);
    }

    void microlectureClassJumpAndSchoolPopup()
    {
        ImSignalObject *hub = ImSignalObject::instance();
        QSignalSpy startup(hub, &ImSignalObject::signalStartupLocalClassroom);
        QSignalSpy ui(hub, &ImSignalObject::showMicrolectureUi);
        QSignalSpy chat(hub, &ImSignalObject::chatWith);
        QSignalSpy active(hub, &ImSignalObject::chatWithAndActive);
        QSignalSpy abnormal(hub, &ImSignalObject::signalSchoolInfoAbnormalPopup);
        QStringList order;
        QObject context;
        connect(hub, &ImSignalObject::signalStartupLocalClassroom, &context, [&order] { order << QStringLiteral("startup"); });
        connect(hub, &ImSignalObject::showMicrolectureUi, &context, [&order] { order << QStringLiteral("ui"); });
        connect(hub, &ImSignalObject::chatWith, &context, [&order] { order << QStringLiteral("chatWith"); });
        connect(hub, &ImSignalObject::chatWithAndActive, &context, [&order] { order << QStringLiteral("chatWithAndActive"); });

        eval(QStringLiteral("cloudPage.microlecture(501);"
                            "cloudDisk.jumpToClass('0'); cloudDisk.jumpToClass('abc'); cloudDisk.jumpToClass('-4');"
                            "cloudDisk.jumpToClass('123');"
                            "cloudDisk.schoolInfoAbnormalPopup('{\"schoolId\":\"30001\",\"courseId\":77}');"
                            "cloudDisk.schoolInfoAbnormalPopup('{\"schoolId\":30002}');"
                            "cloudDisk.schoolInfoAbnormalPopup('not json');"
                            "cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));

        QCOMPARE(hub->getMicrolectureInfoData().toString(), m_service.baseUrl().toString() + QStringLiteral("/client/cloud/cs/im/doc/501"));
        QCOMPARE(startup.size(), 1);
        QCOMPARE(startup.first().at(3).toString(), OrvLang::text("ID_ChatMessageMicrolectureInvite_Microlecture"));
        QCOMPARE(ui.size(), 1);

        QCOMPARE(chat.size(), 1);
        const auto cluster = chat.first().at(0).value<OrvEngine::ClusterID>();
        QCOMPARE(cluster, OrvEngine::ClusterID(123, OrvEngine::Class));
        QCOMPARE(chat.first().mid(1), (QVariantList{false, false, false, false}));
        QCOMPARE(active.size(), 1);
        QCOMPARE(active.first().at(0).value<OrvEngine::ClusterID>(), cluster);
        QCOMPARE(active.first().at(1).toInt(), 4);
        QCOMPARE(active.first().at(2).toBool(), true);
        QCOMPARE(order, (QStringList{"startup", "ui", "chatWith", "chatWithAndActive"}));

        QCOMPARE(abnormal.size(), 2);
        QCOMPARE(abnormal.at(0).at(0).toULongLong(), 30001ull);
        QCOMPARE(abnormal.at(0).at(1).toULongLong(), 77ull);
        QCOMPARE(abnormal.at(1).at(0).toULongLong(), 30002ull);
        QCOMPARE(abnormal.at(1).at(1).toULongLong(), 0ull);
    }

    void schoolStorageReachesThePageAsANotice()
    {
        auto *courses = OrvEngine::CourseEngine::instance();
        courses->insertSchoolQuietly(std::make_shared<OrvEngine::SchoolInfo>(OrvCloudDisk::SchoolId, QStringLiteral("School"), 1));
        // Without a school for the view there is nothing to ask about.
        eval(QStringLiteral("cloudDisk.requestSchoolStorageInfo(); cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QTest::qWait(100);
        QCOMPARE(pageLog(QStringLiteral("notice")).size(), 0);

        m_view->setSchoolId(QString::number(OrvCloudDisk::SchoolId));
        eval(QStringLiteral("document.getElementById('storage').click()"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("orvPage.log.some(function (e) { return e.kind === 'notice'; })")));
        const QJsonArray notices = pageLog(QStringLiteral("notice"));
        QCOMPARE(notices.size(), 1);
        QCOMPARE(notices.first().toObject().value(QStringLiteral("name")).toString(), QStringLiteral("schoolInfoChanged"));
        QCOMPARE(notices.first().toObject().value(QStringLiteral("data")).toObject(),
                 (QJsonObject{{QStringLiteral("sid"), QString::number(OrvCloudDisk::SchoolId)}}));
        courses->clear();
    }

    void environmentAndTeacherAnswers()
    {
        auto *contacts = OrvEngine::ContactsEngine::instance();
        const quint64 me = OrvCloudDisk::DefaultUserId;
        const auto cluster = [me](quint64 id, OrvEngine::ClusterType type, OrvEngine::LessonIdentity identity,
                                  OrvEngine::MemberStatus status) {
            auto info = std::make_shared<OrvEngine::ClusterInfo>(OrvEngine::ClusterID(id, type));
            auto member = std::make_shared<OrvEngine::ClusterMemberInfo>(me);
            member->setLessonIdentity(identity);
            member->setMemberStatus(status);
            info->addMember(member);
            return info;
        };
        contacts->addClusters({cluster(1, OrvEngine::Class, OrvEngine::LessonIdentity::Student, OrvEngine::MemberStatus::Normal),
                               cluster(2, OrvEngine::Class, OrvEngine::LessonIdentity::Teacher, OrvEngine::MemberStatus::Left),
                               cluster(3, OrvEngine::ClusterType(1), OrvEngine::LessonIdentity::Teacher, OrvEngine::MemberStatus::Normal)});
        QCOMPARE(askPage(QStringLiteral("isTeacherInAllCluster")), QVariant(false));
        contacts->addClusters({cluster(4, OrvEngine::Class, OrvEngine::LessonIdentity::Assistant, OrvEngine::MemberStatus::Normal)});
        QCOMPARE(askPage(QStringLiteral("isTeacherInAllCluster")), QVariant(true));
        contacts->clear();
        contacts->setCurrentUid(me);

        QCOMPARE(askPage(QStringLiteral("getAppProductEnv")).toString(), QStringLiteral("{\"env\":\"im\",\"isPopWeb\":false}"));
        eval(QStringLiteral("cloudDisk.setIsPopWeb(true)"));
        QTRY_VERIFY(m_bridge->isPopWeb());
        QCOMPARE(askPage(QStringLiteral("getAppProductEnv")).toString(), QStringLiteral("{\"env\":\"im\",\"isPopWeb\":true}"));
        QCOMPARE(eval(QStringLiteral("document.getElementById('env').textContent")).toString(), QStringLiteral("In the client"));
        openDisk(WebSubWindowBridge::FromClassroomNoAddFile, QStringLiteral("/client/cloud/cs/room"));
        QCOMPARE(askPage(QStringLiteral("getAppProductEnv")).toString(), QStringLiteral("{\"env\":\"classroom\",\"isPopWeb\":false}"));
    }

    void forwardedRequestsAndUpdatePrompt()
    {
        QSignalSpy local(m_bridge, &CloudDiskBridge::signalOpenLocalFile);
        QSignalSpy login(m_bridge, &CloudDiskBridge::signalLogin);
        eval(QStringLiteral("document.getElementById('localFile').click(); cloudDisk.login();"
                            "cloudDisk.openEdpx('{\"pkgId\":1}'); cloudDisk.refreshExamList('done')"));
        QVERIFY(waitAnswer(QStringLiteral("done")));
        QCOMPARE(local.size(), 1);
        QCOMPARE(login.size(), 1);
        QCOMPARE(m_messages, QStringList{OrvLang::text("ID_Upgrade") + QLatin1Char('|') + OrvLang::text("ID_NeedUpdate_For_PreLessonPkg_Old")});
    }

    void classroomShowsImagesOnTheBoard()
    {
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"), true);
        auto *bridge = qobject_cast<ClassroomCloudDiskBridge *>(m_bridge.data());
        QSignalSpy shown(bridge, &ClassroomCloudDiskBridge::imageShowRequested);
        QSignalSpy hide(bridge, &CloudDiskBridge::hideCloudDisk);
        eval(QStringLiteral("cloudPage.showImage(1003)"));
        QTRY_COMPARE(shown.size(), 1);
        const QJsonObject own = QJsonDocument::fromJson(shown.first().first().toString().toUtf8()).object();
        QCOMPARE(own.keys(), (QStringList{"fileId", "fileName", "viewSrc"}));
        QCOMPARE(own.value(QStringLiteral("fileId")).toString(), QStringLiteral("1003"));
        QCOMPARE(own.value(QStringLiteral("fileName")).toString(), QStringLiteral("Blackboard.svg"));
        const QUrl source(own.value(QStringLiteral("viewSrc")).toString());
        QCOMPARE(source.adjusted(QUrl::RemoveQuery), QUrl(m_service.baseUrl().toString() + QStringLiteral("/download/file")));
        QCOMPARE(lastRequest(QStringLiteral("/cloudspace/api/user/file/source")).queryValue(QStringLiteral("ownerUid")),
                 QString::number(OrvCloudDisk::DefaultUserId));
        QCOMPARE(hide.size(), 1);
        saveScreenshot(m_view, QStringLiteral("cloud-room"));

        // A school picture goes through the organisation preview.
        eval(QStringLiteral("cloudPage.showImage(3002, 8)"));
        QTRY_COMPARE(shown.size(), 2);
        const OrvWebService::Request preview = lastRequest(QStringLiteral("/cloudspace/api/organization/image/preview"));
        QCOMPARE(preview.formValue(QStringLiteral("orgFileId")), QStringLiteral("3002"));
        QCOMPARE(preview.formValue(QStringLiteral("sid")), QString::number(OrvCloudDisk::SchoolId));
        QCOMPARE(preview.formValue(QStringLiteral("UID")), QString::number(OrvCloudDisk::DefaultUserId));
        QCOMPARE(QJsonDocument::fromJson(shown.last().first().toString().toUtf8()).object().value(QStringLiteral("fileName")).toString(),
                 QStringLiteral("Campus map.svg"));
        QCOMPARE(hide.size(), 2);

        // Out of range: nothing. A reply in the wrong form, or a refusal: the classroom's message box.
        const QString list = jsString(json({OrvCloudDisk::entry(m_disk.file(3002))}));
        eval(QStringLiteral("cloudDisk.showImages(%1, 1); cloudDisk.showImages(%1, -1)").arg(list));
        m_service.setFault(QStringLiteral("/cloudspace/api/organization/image/preview"), OrvWebService::Fault::Garbage);
        eval(QStringLiteral("cloudDisk.showImages(%1, 0)").arg(list));
        QTRY_COMPARE(m_messages.size(), 1);
        QCOMPARE(m_messages.first(), BridgeDialogs::messageBoxTitle(true) + QLatin1Char('|')
                                         + OrvLang::text("ID_WebProxyEngine_CanNotParseFieldErrorInfo"));
        m_service.clearFaults();
        QJsonObject unknown = OrvCloudDisk::entry(m_disk.file(3002));
        unknown.insert(QStringLiteral("userFileId"), 3998);
        eval(QStringLiteral("cloudDisk.showImages(%1, 0)").arg(jsString(json({unknown}))));
        QTRY_COMPARE(m_messages.size(), 2);
        QCOMPARE(shown.size(), 2);
        QCOMPARE(hide.size(), 2);
    }

    void classroomAnswersAboutTheLesson()
    {
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"), true);
        {
            LogCapture log("orv.common.bridge");
            QCOMPARE(askPage(QStringLiteral("lessonInfo")).toString(), QStringLiteral("{}"));
            QVERIFY(log.contains(QStringLiteral("pClassRoomMgr is null, maybe classroom plugin is not loaded")));
        }
        FakeClassroom classroom;
        classroom.course = 88;
        Published published(IClassRoomMgr::ExtensionName, &classroom);
        const auto lesson = [this] {
            return QJsonDocument::fromJson(askPage(QStringLiteral("lessonInfo")).toString().toUtf8()).object();
        };
        QCOMPARE(lesson(), (QJsonObject{{QStringLiteral("sid"), QString::number(OrvCloudDisk::SchoolId)},
                                        {QStringLiteral("identity"), QStringLiteral("1")},
                                        {QStringLiteral("lessonId"), QStringLiteral("55")},
                                        {QStringLiteral("courseId"), QStringLiteral("88")},
                                        {QStringLiteral("isFriendsTempClassroom"), false}}));
        classroom.inClass = false;
        QCOMPARE(lesson().value(QStringLiteral("identity")).toString(), QStringLiteral("0"));
        classroom.student = true;
        QCOMPARE(lesson().value(QStringLiteral("identity")).toString(), QStringLiteral("2"));

        OrvSettings::instance()->setValue(QLatin1String(CloudDiskBridge::TeacherDefaultTabKey), QStringLiteral("AuthorizedResources"));
        QCOMPARE(askPage(QStringLiteral("classroomInfo")).toString(), QStringLiteral("{\"clouddiskDefaultPage\":\"AuthorizedResources\"}"));
        OrvSettings::instance()->remove(QLatin1String(CloudDiskBridge::TeacherDefaultTabKey));
    }

    // Whatever a page sends, nothing crashes, nothing is written outside the chosen folders and
    // no child window shows a page from elsewhere.
    void hostileArgumentsChangeNothing()
    {
        FakePptMgr board;
        FakeClassroom classroom;
        Published boardPublished(IPptMgr::ExtensionName, &board);
        Published classroomPublished(IClassRoomMgr::ExtensionName, &classroom);
        openDisk(WebSubWindowBridge::FromClassroom, QStringLiteral("/client/cloud/cs/room"), true);
        m_folderChoice = m_saves;

        QStringList names;
        const QMetaObject *mo = &ClassroomCloudDiskBridge::staticMetaObject;
        for (int i = 0; i < mo->methodCount(); ++i) {
            const QMetaMethod method = mo->method(i);
            // deleteLater included: the page must not be able to delete its bridge.
            if (method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Public)
                names << QString::fromLatin1(method.name());
        }
        names.removeDuplicates();
        QVERIFY(names.contains(QStringLiteral("requestOrganizationFilesDownload")));
        QVERIFY(names.contains(QStringLiteral("showImages")));

        const QString script = QStringLiteral(
            "var big = 'x'.repeat(300 * 1024);"
            "var vals = ['', '[]', '{}', '[{}]', 'null', '[null, 3, \"a\"]', '{\"url\": 12, \"size\": \"9*\"}',"
            "  '[{\"userFileId\": -1, \"fileSource\": 8, \"sid\": \"x\"}]', '[{\"userFileId\": 1e300}]',"
            "  '[{\"userFileId\": \"1005\", \"fileSource\": 6, \"shareUid\": \"20002\"}]',"
            "  '[{\"path\": \"download/file?id=1005\", \"fileName\": \"../../../x.txt\"},"
            "    {\"path\": \"http://127.0.0.1:9/y\", \"fileName\": \"/tmp/y.txt\"}, {\"path\": 5}]',"
            "  'download/file?id=1005&n=..%2F..%2Fz.txt', 'file:///etc/passwd', 'javascript:alert(1)',"
            "  '{\"url\":\"javascript:alert(1)\",\"source\":2}', '{\"url\":\"http://127.0.0.1:9/\",\"isAutoHide\":\"yes\"}',"
            "  '[{\"fileType\": 1, \"url\": \"//127.0.0.1:9/x\"}]', '{\"folderId\": {\"a\": 1}}', '\"\\'\\\\', '\\u0000',"
            "  '18446744073709551616', '1,2,3', '{\"schoolId\": []}', 0, -1, 2147483648, true, null, {}, []];"
            "var names = %1;"
            "names.forEach(function (n) {"
            "  vals.forEach(function (v) { cloudDisk[n](v); cloudDisk[n](v, v); cloudDisk[n](v, 0, v); });"
            "  cloudDisk[n](big, big);"
            "});"
            "window.fuzzDone = true; 0")
                                   .arg(QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(names)).toJson(QJsonDocument::Compact)));
        LogCapture quiet("orv.");
        eval(script, 60000);
        QVERIFY(waitFor(m_view->page(), QStringLiteral("window.fuzzDone === true"), 60000));
        // Calls are handled in order: the last answer means all were.
        eval(QStringLiteral("cloudDisk.refreshExamList('alive')"));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("orvPage.log.some(function (e) { return e.key === 'alive'; })"), 120000));
        QTRY_COMPARE_WITH_TIMEOUT(OrvTransferQueue::instance()->pendingCount(), 0, 60000);
        QVERIFY(m_bridge);

        verifyNothingOutside({m_saves});
        for (const QUrl &url : qAsConst(m_browserUrls))
            QVERIFY2(url.scheme().startsWith(QLatin1String("http")), qPrintable(url.toString().left(80)));
        for (const QUrl &url : qAsConst(board.urls))
            QVERIFY2(url.scheme().startsWith(QLatin1String("http")), qPrintable(url.toString().left(80)));
        for (WebSubWindow *window : windows()) {
            const QUrl page = window->pageUrl();
            QVERIFY2(page.isEmpty() || page.scheme().startsWith(QLatin1String("http")), qPrintable(page.toString().left(80)));
        }
    }

private:
    QVariant eval(const QString &script, int timeoutMs = 5000) { return WebTest::eval(m_view->page(), script, timeoutMs); }
    static QList<WebSubWindow *> windows() { return WebSubWindowManger::instance()->windows(); }

    // ORV_BRIDGE_SCREENSHOTS=<folder> keeps a picture of a window as the screen shows it.
    static void saveScreenshot(QWidget *widget, const QString &name)
    {
        const QString folder = qEnvironmentVariable("ORV_BRIDGE_SCREENSHOTS");
        if (folder.isEmpty())
            return;
        QTest::qWait(500);
        widget->screen()->grabWindow(widget->winId()).save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    }

    // A fresh view on the cloud page with the disk's bridge published as "cloudDisk".
    void openDisk(WebSubWindowBridge::FromType fromType, const QString &path = QStringLiteral("/client/cloud/cs/im"),
                  bool classroomBridge = false)
    {
        delete m_view;
        m_view = new OrvWebView;
        m_view->resize(1000, 700);
        m_bridge = classroomBridge ? new ClassroomCloudDiskBridge(m_view, fromType, m_view)
                                   : new CloudDiskBridge(m_view, fromType, m_view);
        m_view->registerObject(m_bridge, QStringLiteral("cloudDisk"));
        m_view->show();
        QVERIFY(load(m_view, QUrl(m_service.baseUrl().toString() + path)));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("!!(window.orvPage && orvPage.loaded && window.cloudDisk && cloudDisk.openFiles)")));
    }

    QJsonArray pageLog(const QString &kind)
    {
        const QString text = eval(QStringLiteral("JSON.stringify(orvPage.log.filter(function (e) { return e.kind === '%1'; }))").arg(kind)).toString();
        return QJsonDocument::fromJson(text.toUtf8()).array();
    }

    bool hasAnswer(const QString &key)
    {
        return eval(QStringLiteral("orvPage.log.some(function (e) { return e.kind === 'callback' && e.key === %1; })").arg(jsString(key))).toBool();
    }

    bool waitAnswer(const QString &key)
    {
        return waitFor(m_view->page(), QStringLiteral("orvPage.log.some(function (e) { return e.kind === 'callback' && e.key === %1; })").arg(jsString(key)), 15000);
    }

    QJsonObject answerOf(const QString &key)
    {
        for (const QJsonValue &entry : pageLog(QStringLiteral("callback"))) {
            if (entry.toObject().value(QStringLiteral("key")).toString() == key)
                return entry.toObject();
        }
        return {};
    }

    // The page's answer to a method that returns a value.
    QVariant askPage(const QString &method)
    {
        eval(QStringLiteral("window.asked = undefined; cloudDisk.%1(function (v) { window.asked = v; }); 0").arg(method));
        if (!waitFor(m_view->page(), QStringLiteral("window.asked !== undefined")))
            return QVariant();
        return eval(QStringLiteral("window.asked"));
    }

    OrvWebService::Request lastRequest(const QString &path) const
    {
        const QVector<OrvWebService::Request> all = m_service.requests();
        for (auto it = all.crbegin(); it != all.crend(); ++it) {
            if (it->path == path)
                return *it;
        }
        return {};
    }

    // Every file under the test's folder lies in one of the allowed folders.
    void verifyNothingOutside(const QStringList &allowed)
    {
        QDirIterator it(m_root->path(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            bool inside = false;
            for (const QString &folder : allowed)
                inside = inside || QFileInfo(path).absolutePath() == QFileInfo(folder).absoluteFilePath();
            QVERIFY2(inside, qPrintable(path));
        }
        for (const char *name : {"x.txt", "y.txt", "z.txt", "escape.txt", "boot.ini", "photo.bmp"})
            QVERIFY2(!QFile::exists(QDir::tempPath() + QLatin1Char('/') + QLatin1String(name)), name);
    }

    OrvWebService m_service;
    OrvCloudDisk m_disk;
    QTemporaryDir m_settingsDir;
    QScopedPointer<QTemporaryDir> m_root;
    QString m_saves;
    QString m_folderChoice;
    std::function<QString(const QString &)> m_saveChoice;
    QList<SaveAsk> m_saveAsks;
    QStringList m_folderAsks;
    QStringList m_messages;
    QList<QUrl> m_browserUrls;
    OrvWebView *m_view = nullptr;
    QPointer<CloudDiskBridge> m_bridge;
};

ORV_WEB_TEST_MAIN(CloudDiskBridgeTest)
#include "tst_clouddiskbridge.moc"
