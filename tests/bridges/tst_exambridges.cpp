// SPDX-License-Identifier: LGPL-2.1-or-later
// The exam and homework bridges with the reference answer sheet: what pages learn about courses
// and people, the sub-pages they open (host, launcher, classroom), the classroom's refusals, the
// checks on local pictures, pictures picked on the cloud disk, and requests that end without
// pictures. Uploads end to end are in tst_examupload.
#include "ShareToChatTool.h"
#include "bridgedialogs.h"
#include "bridgeinput.h"
#include "contactsengine.h"
#include "examcloudwebbride.h"
#include "extensionsystem.h"
#include "homeworkcloudwebbride.h"
#include "iclassroommgr.h"
#include "imexamcloudwebbride.h"
#include "imhomeworkcloudwebbride.h"
#include "imsignalobject.h"
#include "ipptmgr.h"
#include "orvclouddisk.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "PrScrnHelper.h"
#include "ScreenshotWidget.h"
#include "waitingspinnerwidget.h"
#include "webtestutils.h"
#include "worldloader.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QTemporaryDir>

using namespace WebTest;

namespace {

constexpr quint64 Me = 1;

// A world: class 4001 (school 9001) where the user studies, with a teacher, an assistant whose
// account is gone and an assistant account; class 4002 (school 9002) where the user teaches;
// a group 5001.
QJsonObject world()
{
    const auto member = [](int uid, const char *lesson, const char *identity = "member", const char *status = "normal") {
        return QJsonObject{{"uid", uid}, {"identity", identity}, {"lessonIdentity", lesson}, {"status", status}};
    };
    return QJsonObject{
        {"self", int(Me)},
        {"users", QJsonArray{QJsonObject{{"uid", 1}, {"nickname", "Me"}},
                             QJsonObject{{"uid", 2}, {"nickname", "Ms Wang"}, {"remark", "Maths"}},
                             QJsonObject{{"uid", 3}, {"nickname", "Gone"}, {"valid", false}},
                             QJsonObject{{"uid", 4}, {"nickname", "Helper bot"}},
                             QJsonObject{{"uid", 5}, {"nickname", "Li"}}}},
        {"clusters",
         QJsonArray{QJsonObject{{"id", 4001}, {"type", "class"}, {"name", "Class 3A"}, {"schoolId", 9001},
                                {"members", QJsonArray{member(1, "student"), member(2, "teacher", "owner"),
                                                       member(3, "assistant"), member(4, "assistant"),
                                                       member(5, "student"), member(6, "teacher", "member", "left")}}},
                    QJsonObject{{"id", 4002}, {"type", "class"}, {"name", "Class 5B"}, {"schoolId", 9002},
                                {"members", QJsonArray{member(1, "teacher", "owner"), member(5, "student")}}},
                    QJsonObject{{"id", 5001}, {"type", "group"}, {"name", "Reading club"},
                                {"members", QJsonArray{member(1, "student"), member(5, "student")}}},
                    QJsonObject{{"id", 4}, {"type", "assistant"}, {"name", "Helper bot"}}}}};
}

QStringList ownMethods(const QMetaObject *mo)
{
    QStringList names;
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i)
        names << QString::fromLatin1(mo->method(i).name());
    return names;
}

class FakePptMgr : public IPptMgr
{
public:
    QStringList calls;
    void openFiles(const QJsonArray &, int) override { calls << QStringLiteral("openFiles"); }
    void openExamPaper(const QString &paper) override { calls << QStringLiteral("openExamPaper ") + paper; }
    void shareUrl(const QString &requestData, const QString &) override { calls << QStringLiteral("shareUrl ") + requestData; }
    void closeUrlShare(const QString &) override { calls << QStringLiteral("closeUrlShare"); }
    void openUrl(const QUrl &url) override { calls << QStringLiteral("openUrl ") + url.toString(); }
    void openSyncSubWindow(const QString &, const QSize &, const QString &) override { calls << QStringLiteral("sync"); }
    void closeSyncSubWindow(const QString &) override {}
    int webShowType() const override { return 1; }
    void showTip(const QString &textId) override { calls << QStringLiteral("tip ") + textId; }
};

class FakeClassRoomMgr : public IClassRoomMgr
{
public:
    QList<QPair<QString, QSize>> subWidgets;
    QWidget *classroomWindow() const override { return nullptr; }
    quint64 schoolId() const override { return 9001; }
    quint64 courseId() const override { return 4001; }
    quint64 lessonId() const override { return 42; }
    bool isStudent() const override { return true; }
    bool isInClass() const override { return true; }
    bool isFriendsTempClassroom() const override { return false; }
    bool isExtendScreen() const override { return false; }
    void openSubWidget(const QString &url, const QSize &size) override { subWidgets << qMakePair(url, size); }
};

// A PNG of the given size, padded after its end to exactly bytes when bytes is given.
QString writePng(const QString &path, const QSize &size, qint64 bytes = -1)
{
    QImage image(size, QImage::Format_Mono);
    image.fill(0);
    if (!image.save(path, "png"))
        return QString();
    if (bytes > 0) {
        QFile file(path);
        if (!file.open(QIODevice::Append) || file.size() > bytes)
            return QString();
        file.write(QByteArray(int(bytes - file.size()), '\0'));
    }
    return path;
}

} // namespace

class ExamBridgesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("settings.ini")));
        m_disk.install(m_service);
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});
        WorldLoader loader;
        QVERIFY2(loader.load(world()), qPrintable(loader.error()));
        ShareToChatTool::instance()->setPicksTargets(false);
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &title, const QString &text, const QStringList &) {
            m_messages << title + QLatin1Char('|') + text;
            return 0;
        });
        BridgeDialogs::setOpenFilesHandler([this](QWidget *, const QString &title, const QString &, const QString &filter) {
            m_openDialogs << title + QLatin1Char('|') + filter;
            return m_pick;
        });
        PrScrnHelper::instance().setHelperPolicy(PrScrnHelper::HelperNever);
    }

    void cleanupTestCase()
    {
        BridgeDialogs::resetHandlers();
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IPptMgr::ExtensionName));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));
        PrScrnHelper::release();
        ImSignalObject::release();
        ShareToChatTool::release();
        WorldLoader::clearEngines();
        m_service.stop();
    }

    void init()
    {
        m_messages.clear();
        m_openDialogs.clear();
        m_pick.clear();
        OrvTrack::instance()->clear();
        m_disk.transDetail().setMisbehave(OrvTransDetail::Misbehave::None);
        m_service.clearFaults();
        m_view = new OrvWebView;
        m_view->resize(900, 700);
        m_exam = new ImExamCloudWebBride(m_view, m_view, WebSubWindowBridge::FromIm);
        m_view->registerObject(m_exam, QStringLiteral("myExam"));
        m_view->show();
        QVERIFY(load(m_view, m_service.baseUrl().resolved(QUrl(QStringLiteral("/client/exam/answer?id=7001&courseId=4001")))));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("!!(window.examPage && orvPage.loaded && myExam.questionImageUpload)")));
    }

    void cleanup()
    {
        delete m_view;
        m_view = nullptr;
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->objectName() == QLatin1String("examCloudImagePicker"))
                delete w;
        }
    }

    // What a page can call, in the order hosts and pages rely on; the steps of a picture request
    // are slots of the bridge, but no page can call them.
    void methodsKeepTheirOrder()
    {
        QCOMPARE(ownMethods(&ExamBaseBridge::staticMetaObject),
                 (QStringList{"signalUploadExamImage", "linkView", "webUserInfo", "linkShare", "examEditImgs",
                              "examFailEditImgsReloadUpload", "examDeleteEditImageItem", "questionImageUpload",
                              "refreshExamList", "courseTeacherList", "getAllMyCoursesInfo", "getSomeClusterInfo",
                              "getGroupUserInfo", "onCommitExamEditImgs", "onShot", "onGrabFinished",
                              "onUploadMultipleImagesByQrCodeFinish", "onUploadImageByQrCodeFinish", "onUploadExamImage",
                              "adjustPixmapfinish", "onUploadProgress", "uploadExamFileSlot", "onTransFileDetailFinished",
                              "finishUpload", "loadingTimeOutSlot"}));
        QCOMPARE(ownMethods(&ImExamCloudWebBride::staticMetaObject),
                 (QStringList{"signalOpenSubWidget", "signalSetReloadMainWidgetCbKey", "signalDataDownload",
                              "signalExportFiles", "sigOpenExamByLauncher", "openSubWidget", "setReloadMainWidgetCbKey",
                              "dataDownload", "exportFiles", "userIdentityHasTeacher"}));
        QCOMPARE(ownMethods(&ImHomeworkCloudWebBride::staticMetaObject),
                 (QStringList{"signalOpenSubWidget", "signalSetReloadMainWidgetCbKey", "sigOpenHomeworkByLauncher",
                              "openSubWidget", "setReloadMainWidgetCbKey"}));
        QCOMPARE(ownMethods(&ExamCloudWebBride::staticMetaObject),
                 (QStringList{"signalSetReloadMainWidgetCbKey", "linkSync", "imgsView", "openSubWidget",
                              "setReloadMainWidgetCbKey"}));
        QCOMPARE(ownMethods(&HomeworkCloudWebBride::staticMetaObject),
                 (QStringList{"signalSetReloadMainWidgetCbKey", "openHomework", "openSubWidget", "setReloadMainWidgetCbKey"}));
        // Each page-callable name once: the channel would otherwise pick one of two at random.
        for (const QMetaObject *mo : {&ImExamCloudWebBride::staticMetaObject, &ImHomeworkCloudWebBride::staticMetaObject,
                                      &ExamCloudWebBride::staticMetaObject, &HomeworkCloudWebBride::staticMetaObject}) {
            QStringList names;
            for (int i = 0; i < mo->methodCount(); ++i) {
                if (mo->method(i).access() == QMetaMethod::Public && mo->method(i).methodType() == QMetaMethod::Slot)
                    names << QString::fromLatin1(mo->method(i).methodSignature());
            }
            QCOMPARE(names.size(), QSet<QString>(names.begin(), names.end()).size());
        }
        QCOMPARE(eval("typeof myExam.questionImageUpload + ' ' + typeof myExam.finishUpload + ' ' + typeof myExam.onGrabFinished"
                      " + ' ' + typeof myExam.uploadExamFileSlot + ' ' + typeof myExam.loadingTimeOutSlot")
                     .toString(),
                 QStringLiteral("function undefined undefined undefined function"));
    }

    // Teachers, courses, classes and people, as the page asks for them.
    void coursesAndPeople()
    {
        // Teachers who are members and have an account: the assistant who left and the one whose
        // account is gone are not listed.
        const QJsonArray teachers = QJsonDocument::fromJson(
            m_exam->courseTeacherList(QStringLiteral("{\"courseId\":\"4001\"}"), QStringLiteral("t")).toUtf8()).array();
        QCOMPARE(teachers.size(), 2);
        QCOMPARE(teachers[0].toObject(), (QJsonObject{{"uid", 2}, {"nickName", "Ms Wang"}, {"role", 3}, {"cancel", false}}));
        QCOMPARE(teachers[1].toObject().value("uid").toInt(), 4);
        QCOMPARE(teachers[1].toObject().value("role").toInt(), 4);
        QCOMPARE(m_exam->courseTeacherList(QStringLiteral("{\"courseId\":5001}"), QString()), QStringLiteral("[]"));
        QCOMPARE(m_exam->courseTeacherList(QStringLiteral("{broken"), QString()), QStringLiteral("[]"));
        // The page gets the same through the channel's return value.
        eval("myExam.courseTeacherList('{\"courseId\":4001}', 'k', function (t) { window.teachersText = t; })");
        QVERIFY(waitFor(m_view->page(), "typeof window.teachersText === 'string'"));
        QCOMPARE(eval("JSON.parse(teachersText).length").toInt(), 2);

        const auto courses = [this](const QString &request) {
            return QJsonDocument::fromJson(m_exam->getAllMyCoursesInfo(request).toUtf8()).object();
        };
        QJsonObject all = courses(QString());
        QCOMPARE(all.value("coursesInfo").toArray().size(), 2);
        const QJsonObject first = all.value("coursesInfo").toArray().at(0).toObject();
        QCOMPARE(first.value("clusterId").toInt(), 4001);
        QCOMPARE(first.value("clusterName").toString(), QStringLiteral("Class 3A"));
        QCOMPARE(first.value("schoolId").toInt(), 9001);
        QCOMPARE(first.value("lessonIdentity").toInt(), 1);
        QCOMPARE(first.value("identity").toInt(), 3);
        QCOMPARE(first.value("clusterStatus").toInt(), 0);
        QCOMPARE(first.value("isSyncComplete").toBool(), true);
        QCOMPARE(first.value("AIbot").toBool(), true); // the helper account is a member
        QCOMPARE(all.value("coursesInfo").toArray().at(1).toObject().value("AIbot").toBool(), false);
        QCOMPARE(all.value("isSyncAllComplete").toBool(), false);
        OrvEngine::ContactsEngine::instance()->completeSync();
        QCOMPARE(courses(QStringLiteral("{}")).value("isSyncAllComplete").toBool(), true);

        const auto ids = [&](const QString &filter) {
            QList<int> out;
            for (const QJsonValue &c : courses(filter).value("coursesInfo").toArray())
                out << c.toObject().value("clusterId").toInt();
            return out;
        };
        QCOMPARE(ids("{\"filter\":{\"bySchoolId\":[9002]}}"), QList<int>{4002});
        QCOMPARE(ids("{\"filter\":{\"bySchoolId\":[\"9001\", 9002]}}"), (QList<int>{4001, 4002}));
        QCOMPARE(ids("{\"filter\":{\"byLessonIdentity\":[3]}}"), QList<int>{4002});
        QCOMPARE(ids("{\"filter\":{\"byIdentity\":[1]}}"), QList<int>{4002});
        QCOMPARE(ids("{\"filter\":{\"bySchoolId\":[9002], \"byLessonIdentity\":[1]}}"), QList<int>());
        QCOMPARE(ids("{\"filter\":{\"bySchoolId\":[]}}"), (QList<int>{4001, 4002}));
        QCOMPARE(ids("not json"), QList<int>());

        const QJsonArray clusters = QJsonDocument::fromJson(
            m_exam->getSomeClusterInfo(QStringLiteral("[4001, \"5001\", 99999, -1, 4001, {}]")).toUtf8()).array();
        QCOMPARE(clusters.size(), 2);
        QCOMPARE(clusters[0].toObject().value("clusterType").toInt(), 0);
        QCOMPARE(clusters[0].toObject().value("memberCount").toInt(), 5); // the teacher who left is not counted
        QCOMPARE(clusters[1].toObject().value("clusterName").toString(), QStringLiteral("Reading club"));
        QCOMPARE(clusters[1].toObject().value("clusterType").toInt(), 2);
        QCOMPARE(m_exam->getSomeClusterInfo(QStringLiteral("{")), QStringLiteral("[]"));

        // Group members answer through the key, in the order asked; strangers say so.
        eval("myExam.getGroupUserInfo('4001', '[2, \"3\", 77, 0]', 'people-1');"
             "myExam.getGroupUserInfo('4001', '{broken', 'people-2');"
             "myExam.refreshExamList('after')");
        QVERIFY(waitFor(m_view->page(), "orvPage.log.some(function (e) { return e.key === 'after'; })"));
        QCOMPARE(eval("orvPage.log.filter(function (e) { return e.key === 'people-2'; }).length").toInt(), 0);
        const QJsonArray people = QJsonDocument::fromJson(
            eval("orvPage.log.filter(function (e) { return e.key === 'people-1'; })[0].data").toString().toUtf8()).array();
        QCOMPARE(people.size(), 3);
        QCOMPARE(people[0].toObject().value("nickName").toString(), QStringLiteral("Ms Wang"));
        QCOMPARE(people[0].toObject().value("remark").toString(), QStringLiteral("Maths"));
        QCOMPARE(people[0].toObject().value("lessonIdentity").toInt(), 3);
        QCOMPARE(people[1].toObject().value("cancel").toBool(), true);
        QCOMPARE(people[2].toObject(), (QJsonObject{{"uid", 77}, {"inGroup", false}, {"nickName", QString()}}));
    }

    void personCardAndSharedLinks()
    {
        QSignalSpy person(ImSignalObject::instance(), &ImSignalObject::signalViewPersonInfo);
        const int shares = ShareToChatTool::instance()->shares().size();
        eval("myExam.webUserInfo('{\"personId\":\"2\",\"courseId\":4001}');"
             "myExam.webUserInfo('{\"courseId\":4001}'); myExam.webUserInfo('[');"
             "myExam.linkShare('{\"url\":\"https://example.org/paper?id=1\"}');"
             "myExam.linkShare('{\"url\":\"\"}'); myExam.linkShare('nope');"
             "myExam.refreshExamList('done')");
        QVERIFY(waitFor(m_view->page(), "orvPage.log.some(function (e) { return e.key === 'done'; })"));
        QCOMPARE(person.size(), 1);
        QCOMPARE(person[0][0].toULongLong(), 2ULL);
        QCOMPARE(person[0][1].toULongLong(), 4001ULL);
        QCOMPARE(ShareToChatTool::instance()->shares().size(), shares + 1);
        QCOMPARE(ShareToChatTool::instance()->lastShare().kind, QStringLiteral("shareText"));
        QCOMPARE(ShareToChatTool::instance()->lastShare().payload.toString(), QStringLiteral("https://example.org/paper?id=1"));
    }

    // Sub-pages open in the host's windows or in the launcher, as web addresses only.
    void subPagesOfTheClient()
    {
        QSignalSpy open(m_exam, &ImExamCloudWebBride::signalOpenSubWidget);
        QSignalSpy launcher(m_exam, &ImExamCloudWebBride::sigOpenExamByLauncher);
        QSignalSpy reload(m_exam, &ImExamCloudWebBride::signalSetReloadMainWidgetCbKey);
        QSignalSpy download(m_exam, &ImExamCloudWebBride::signalDataDownload);
        QSignalSpy exports(m_exam, &ImExamCloudWebBride::signalExportFiles);
        eval("myExam.openSubWidget('/client/exam/paper?id=1', '900*700');"
             "myExam.openSubWidget('file:///etc/passwd', ''); myExam.openSubWidget('javascript:alert(1)', '');"
             "myExam.openSubWidget('\\\\\\\\host\\\\share', '');"
             "myExam.setReloadMainWidgetCbKey('reload-exam'); myExam.dataDownload('download/file?id=1002');"
             "myExam.exportFiles('[{\"userFileid\":1002}]');"
             "myExam.userIdentityHasTeacher(function (t) { window.teaches = t; })");
        QVERIFY(waitFor(m_view->page(), "window.teaches !== undefined"));
        QCOMPARE(eval("window.teaches").toBool(), true); // the user teaches class 4002
        QCOMPARE(open.size(), 1);
        QCOMPARE(open[0][0].toString(), m_service.baseUrl().toString() + QStringLiteral("/client/exam/paper?id=1"));
        QCOMPARE(open[0][1].toString(), QStringLiteral("900*700"));
        QCOMPARE(launcher.size(), 0);
        QCOMPARE(reload.size(), 1);
        QCOMPARE(reload[0][0].toString(), QStringLiteral("reload-exam"));
        QCOMPARE(download[0][0].toString(), QStringLiteral("download/file?id=1002"));
        QCOMPARE(exports[0][0].toString(), QStringLiteral("[{\"userFileid\":1002}]"));

        ImExamCloudWebBride fromLauncher(m_view, nullptr, WebSubWindowBridge::FromLauncher);
        QSignalSpy launched(&fromLauncher, &ImExamCloudWebBride::sigOpenExamByLauncher);
        QSignalSpy notOpened(&fromLauncher, &ImExamCloudWebBride::signalOpenSubWidget);
        fromLauncher.openSubWidget(QStringLiteral("https://example.org/exam?id=2"), QStringLiteral("1*1"));
        QCOMPARE(launched.size(), 1);
        QCOMPARE(launched[0][0].toString(), QStringLiteral("https://example.org/exam?id=2"));
        QCOMPARE(notOpened.size(), 0);

        ImHomeworkCloudWebBride homework(m_view, nullptr, WebSubWindowBridge::FromLauncher);
        QSignalSpy homeworkLaunched(&homework, &ImHomeworkCloudWebBride::sigOpenHomeworkByLauncher);
        homework.openSubWidget(QStringLiteral("/client/homework/task?id=8"), QString());
        homework.openSubWidget(QStringLiteral("smb://host/x"), QString());
        QCOMPARE(homeworkLaunched.size(), 1);
        QVERIFY(homeworkLaunched[0][0].toString().endsWith(QLatin1String("/client/homework/task?id=8")));
    }

    // In a classroom pages open on the board and in the classroom's windows; a classroom that
    // takes no added files refuses on its board and does nothing else.
    void classroomBridges()
    {
        FakePptMgr board;
        FakeClassRoomMgr classroom;
        {
            LogCapture log("orv.common.bridge");
            ExamCloudWebBride missing(m_view, nullptr, WebSubWindowBridge::FromClassroom);
            missing.openSubWidget(QStringLiteral("/client/exam/paper?id=1"), QString());
            QVERIFY(log.contains(QStringLiteral("pClassRoomMgr is null, maybe classroom plugin is not loaded")));
        }
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IPptMgr::ExtensionName), &board);
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &classroom);
        ExamCloudWebBride exam(m_view, nullptr, WebSubWindowBridge::FromClassroom);
        HomeworkCloudWebBride homework(m_view, nullptr, WebSubWindowBridge::FromClassroom);
        QCOMPARE(exam.loadingTimeout(), ExamBaseBridge::LoadingTimeoutMs);
        QCOMPARE(homework.loadingTimeout(), ExamBaseBridge::LoadingTimeoutMs);
        QSignalSpy examHides(&exam, &CloudDiskBridge::hideCloudDisk);
        QSignalSpy homeworkHides(&homework, &CloudDiskBridge::hideCloudDisk);

        exam.openSubWidget(QStringLiteral("/client/exam/paper?id=1"), QString());
        exam.openSubWidget(QStringLiteral("/client/exam/paper?id=2"), QStringLiteral("900*700"));
        exam.openSubWidget(QStringLiteral("/client/exam/paper?id=3"), QStringLiteral("wide"));
        homework.openSubWidget(QStringLiteral("file:///etc/passwd"), QString());
        QCOMPARE(classroom.subWidgets.size(), 3);
        QCOMPARE(classroom.subWidgets[0].second, QSize(480, 360));
        QCOMPARE(classroom.subWidgets[1].second, QSize(900, 700));
        QCOMPARE(classroom.subWidgets[2].second, QSize(480, 360));
        QCOMPARE(classroom.subWidgets[0].first, m_service.baseUrl().toString() + QStringLiteral("/client/exam/paper?id=1"));

        exam.linkSync(QStringLiteral("{\"url\":\"https://example.org/a\",\"title\":\"A\",\"extra\":\"dropped\"}"));
        exam.linkSync(QStringLiteral("{\"url\":\"javascript:alert(1)\"}"));
        homework.openHomework(QStringLiteral("/client/homework/task?id=8001"));
        QCOMPARE(board.calls, (QStringList{QStringLiteral("shareUrl {\"title\":\"A\",\"url\":\"https://example.org/a\"}"),
                                           QStringLiteral("openUrl ") + m_service.baseUrl().toString()
                                               + QStringLiteral("/client/homework/task?id=8001")}));
        QCOMPARE(examHides.size(), 1);
        QCOMPARE(homeworkHides.size(), 1);

        board.calls.clear();
        classroom.subWidgets.clear();
        ExamCloudWebBride noAdd(m_view, nullptr, WebSubWindowBridge::FromClassroomNoAddFile);
        HomeworkCloudWebBride noAddHomework(m_view, nullptr, WebSubWindowBridge::FromClassroomNoAddFile);
        QSignalSpy noAddHides(&noAdd, &CloudDiskBridge::hideCloudDisk);
        noAdd.openSubWidget(QStringLiteral("/client/exam/paper?id=1"), QString());
        noAdd.linkSync(QStringLiteral("{\"url\":\"https://example.org/a\"}"));
        noAddHomework.openHomework(QStringLiteral("/client/homework/task?id=8001"));
        noAdd.questionImageUpload(QStringLiteral("{\"uploadMode\":1}"), QStringLiteral("refused"));
        QCOMPARE(board.calls, QVector<QString>(4, QStringLiteral("tip ID_Exten_CanNot_AddFile")).toList());
        QVERIFY(classroom.subWidgets.isEmpty());
        QCOMPARE(noAddHides.size(), 0);
        QVERIFY(m_openDialogs.isEmpty());
        QVERIFY(!noAdd.isUploading());

        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IPptMgr::ExtensionName));
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));
    }

    // Limits of local pictures: 25 MiB is taken, a byte more is not; a side of 10,000 pixels is
    // refused though 9,999 is taken. Both are checked before anything is uploaded.
    void localPictureLimits_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<bool>("taken");
        QTest::addColumn<QString>("refusedAs"); // "bytes", "pixels", "unreadable"
        QTest::newRow("exactly 25 MiB") << QSize(40, 30) << qint64(26214400) << true << QString();
        QTest::newRow("25 MiB and a byte") << QSize(40, 30) << qint64(26214401) << false << QStringLiteral("bytes");
        QTest::newRow("9,999 wide") << QSize(9999, 1) << qint64(-1) << true << QString();
        QTest::newRow("10,000 wide") << QSize(10000, 1) << qint64(-1) << false << QStringLiteral("pixels");
        QTest::newRow("10,000 high") << QSize(1, 10000) << qint64(-1) << false << QStringLiteral("pixels");
        QTest::newRow("1,920 square") << QSize(1920, 1920) << qint64(-1) << true << QString();
    }

    void localPictureLimits()
    {
        QFETCH(QSize, size);
        QFETCH(qint64, bytes);
        QFETCH(bool, taken);
        QFETCH(QString, refusedAs);
        const QString path = writePng(m_dir.filePath(QStringLiteral("limit.png")), size, bytes);
        QVERIFY(!path.isEmpty());
        if (bytes > 0)
            QCOMPARE(QFileInfo(path).size(), bytes);
        QStringList tooLarge;
        QStringList tooManyPixels;
        QStringList unreadable;
        QCOMPARE(ExamBaseBridge::isImageMatch({path}, &tooLarge, &tooManyPixels, &unreadable), taken);
        QCOMPARE(tooLarge.size(), refusedAs == QLatin1String("bytes") ? 1 : 0);
        QCOMPARE(tooManyPixels.size(), refusedAs == QLatin1String("pixels") ? 1 : 0);
        QCOMPARE(unreadable.size(), 0);
    }

    // A selection with one picture over a limit is refused whole, with the names in quotes; the
    // pixel limit is told first. Nothing is uploaded and the request is over.
    void localSelectionsAreRefusedWhole()
    {
        const QString ok = writePng(m_dir.filePath(QStringLiteral("ok.png")), QSize(64, 48));
        const QString wide = writePng(m_dir.filePath(QStringLiteral("wide.png")), QSize(10000, 2));
        const QString tall = writePng(m_dir.filePath(QStringLiteral("tall.png")), QSize(2, 12000));
        const QString heavy = writePng(m_dir.filePath(QStringLiteral("heavy.png")), QSize(8, 8), 26214401);
        const QString text = m_dir.filePath(QStringLiteral("notes.png"));
        QVERIFY(writeBytes(text, "not a picture"));
        const QString empty = m_dir.filePath(QStringLiteral("empty.jpg"));
        QVERIFY(writeBytes(empty, QByteArray()));
        const int requestsBefore = m_service.requests().size();

        // The message the page's request ends with, or an empty text when none came.
        const auto attach = [this](const QStringList &files) {
            m_messages.clear();
            m_pick = files;
            eval("examPage.attach('q1', 1)");
            if (!QTest::qWaitFor([this] { return !m_messages.isEmpty(); }, 5000))
                return QString();
            return m_messages.size() == 1 && !m_exam->isUploading() ? m_messages.first() : QString();
        };
        const QString info = OrvLang::text("ID_Information") + QLatin1Char('|');
        QCOMPARE(attach({ok, wide, heavy, tall}),
                 info + OrvLang::text("ID_Homework_HeightWidthCanNotExceed10000px") + QStringLiteral(" \"wide.png\",\"tall.png\""));
        QCOMPARE(attach({heavy, ok}), info + OrvLang::text("ID_Homework_ImageCanNotExceed25M") + QStringLiteral(" \"heavy.png\""));
        QCOMPARE(attach({ok, text, empty}),
                 info + OrvLang::text("ID_Homework_ImageCanNotRead") + QStringLiteral(" \"notes.png\",\"empty.jpg\""));
        QCOMPARE(m_openDialogs.size(), 3);
        QCOMPARE(m_openDialogs.first(), OrvLang::text("ID_SelectImages") + QLatin1Char('|') + OrvLang::text("ID_ImageFiles")
                                            + QStringLiteral("(*.png *.jpg *.jpeg *.bmp)"));
        // The folder is remembered even for a refused selection.
        QCOMPARE(OrvSettings::instance()->value(QLatin1String(ExamBaseBridge::UploadFolderKey)).toString(), m_dir.path());
        QCOMPARE(m_service.requests().size(), requestsBefore);
        QCOMPARE(eval("examPage.questions()[0].imgList.length").toInt(), 0);

        // Cancelling the dialog ends the request quietly; the next one is taken.
        m_messages.clear();
        m_pick.clear();
        eval("examPage.attach('q1', 1)");
        QTRY_COMPARE(m_openDialogs.size(), 4);
        QVERIFY(!m_exam->isUploading());
        QVERIFY(m_messages.isEmpty());
    }

    // Requests that are not understood change nothing and open nothing.
    void requestsNotUnderstood()
    {
        LogCapture log("orv.common.bridge");
        eval("myExam.questionImageUpload('{\"uploadMode\":', 'a'); myExam.questionImageUpload('[]', 'b');"
             "myExam.questionImageUpload('{\"uploadMode\":6}', 'c'); myExam.questionImageUpload('{\"uploadMode\":\"x\"}', 'd');"
             "myExam.questionImageUpload('{\"uploadMode\":-1}', 'e'); myExam.refreshExamList('after')");
        QVERIFY(waitFor(m_view->page(), "orvPage.log.some(function (e) { return e.key === 'after'; })"));
        QCOMPARE(log.lines().count(QStringLiteral("parse json error!")), 2);
        QVERIFY(m_openDialogs.isEmpty());
        QVERIFY(!m_exam->isUploading());
        QCOMPARE(eval("orvPage.log.filter(function (e) { return e.kind === 'callback'; }).length").toInt(), 1);
    }

    // A picture picked on the cloud disk answers with its "midsize" address; the picker page is
    // the courseware page that offers one picture.
    void cloudPictures_data()
    {
        QTest::addColumn<int>("misbehave");
        QTest::addColumn<QString>("expected"); // "midsize", "stand-in", "absolute", "" for no answer
        QTest::addColumn<bool>("message");
        QTest::newRow("picture") << int(OrvTransDetail::Misbehave::None) << QStringLiteral("midsize") << false;
        QTest::newRow("absolute address") << int(OrvTransDetail::Misbehave::AbsoluteUrls) << QStringLiteral("absolute") << false;
        QTest::newRow("withheld, stand-in") << int(OrvTransDetail::Misbehave::Foul) << QStringLiteral("stand-in") << false;
        QTest::newRow("withheld") << int(OrvTransDetail::Misbehave::FoulNoStandIn) << QString() << false;
        QTest::newRow("board file") << int(OrvTransDetail::Misbehave::BoardFile) << QString() << false;
        QTest::newRow("still transcoding") << int(OrvTransDetail::Misbehave::Transcoding) << QString() << false;
        QTest::newRow("refused") << int(OrvTransDetail::Misbehave::Refuse) << QString() << true;
        QTest::newRow("server error") << -500 << QString() << true;
        QTest::newRow("garbage") << -1 << QString() << true;
    }

    void cloudPictures()
    {
        QFETCH(int, misbehave);
        QFETCH(QString, expected);
        QFETCH(bool, message);
        if (misbehave >= 0)
            m_disk.transDetail().setMisbehave(OrvTransDetail::Misbehave(misbehave));
        else
            m_service.setFault(QString::fromLatin1(OrvTransDetail::Path),
                               misbehave == -500 ? OrvWebService::Fault::Status500 : OrvWebService::Fault::Garbage);
        eval("examPage.attach('q2', 2)");
        QWidget *picker = nullptr;
        QTRY_VERIFY((picker = cloudPicker()) != nullptr);
        QCOMPARE(picker->windowTitle(), OrvLang::text("ID_CloudDisk_My"));
        auto *view = picker->findChild<OrvWebView *>();
        QVERIFY(view);
        QTRY_COMPARE(view->url().path(), QStringLiteral("/client/cloud/file/im"));
        QCOMPARE(view->url().query(), QString::fromLatin1(ExamBaseBridge::CloudImagePickerQuery));
        QVERIFY(waitFor(view->page(), "!!(window.pickerPage && orvPage.loaded)"));
        // Only pictures are offered.
        QCOMPARE(eval(view->page(), "pickerPage.files().every(function (f) { return f.fileType === 4; })").toBool(), true);
        eval(view->page(), "pickerPage.choose([1004])");
        QTRY_VERIFY(!m_exam->isUploading());
        QTRY_VERIFY(cloudPicker() == nullptr);
        QCOMPARE(!m_messages.isEmpty(), message);

        const QString answers = eval("JSON.stringify(orvPage.log.filter(function (e) { return e.kind === 'callback'; })"
                                     ".map(function (e) { return e.data; }))").toString();
        const QJsonArray list = QJsonDocument::fromJson(answers.toUtf8()).array();
        const QString base = m_service.baseUrl().toString();
        if (expected.isEmpty()) {
            QCOMPARE(list.size(), 0);
            QCOMPARE(OrvTrack::instance()->events(QString::fromLatin1(ExamBaseBridge::UploadTrackEvent)).size(), 1);
            QCOMPARE(OrvTrack::instance()->events().last().properties.value("result").toString(), QStringLiteral("fail"));
            return;
        }
        QCOMPARE(list.size(), 1);
        const QJsonArray images = QJsonDocument::fromJson(list.at(0).toString().toUtf8()).array();
        QCOMPARE(images.size(), 1);
        QCOMPARE(images[0].toObject().value("from").toInt(), 2);
        const QString address = images[0].toObject().value("imageUrl").toString();
        if (expected == QLatin1String("stand-in"))
            QVERIFY2(address.startsWith(base + QStringLiteral("/download/file?id=1003")), qPrintable(address));
        else
            QVERIFY2(address.startsWith(base + QStringLiteral("/download/file?id=1004")) && address.endsWith(QLatin1String("size=midsize")),
                     qPrintable(address));
        QCOMPARE(eval(QStringLiteral("examPage.questions()[1].imgList[0].imgUrl")).toString(), address);
        const auto events = OrvTrack::instance()->events(QString::fromLatin1(ExamBaseBridge::UploadTrackEvent));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events[0].properties,
                 (QVariantMap{{"result", "success"}, {"business_scenario", "exam"}, {"file_type", "image"},
                              {"operation_type", "cloud_disk"}, {"is_from_classroom", false}}));
    }

    // Closing the picker, a server that never answers (ended by the time-out, checked by the
    // timer's interval), a picture request while another is under way.
    void cloudRequestsThatEndWithoutPictures()
    {
        eval("examPage.attach('q2', 2)");
        QTRY_VERIFY(cloudPicker() != nullptr);
        QVERIFY(m_exam->isUploading());
        eval("examPage.attach('q3', 1)"); // refused: one request at a time
        QTest::qWait(300);
        QVERIFY(m_openDialogs.isEmpty());
        cloudPicker()->close();
        QTRY_VERIFY(!m_exam->isUploading());

        m_disk.transDetail().setMisbehave(OrvTransDetail::Misbehave::NeverAnswer);
        eval("examPage.attach('q2', 2)");
        QWidget *picker = nullptr;
        QTRY_VERIFY((picker = cloudPicker()) != nullptr);
        auto *view = picker->findChild<OrvWebView *>();
        QVERIFY(waitFor(view->page(), "!!(window.pickerPage && orvPage.loaded)"));
        eval(view->page(), "pickerPage.choose([1004])");
        auto *timer = m_exam->findChild<QTimer *>(QStringLiteral("loadingTimer"));
        QTRY_VERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 300000);
        auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner"));
        QVERIFY(spinner && spinner->isSpinning());
        // The time-out's own path: the timer fires.
        timer->setInterval(1);
        timer->start();
        QTRY_VERIFY(!m_exam->isUploading());
        QCOMPARE(m_messages, QStringList{OrvLang::text("ID_Information") + QLatin1Char('|')
                                         + OrvLang::text("ID_timeoutoccurred_OperationCanceled")});
        QVERIFY(!spinner->isSpinning());
        timer->setInterval(ExamBaseBridge::LoadingTimeoutMs);
        m_disk.transDetail().setMisbehave(OrvTransDetail::Misbehave::None);
        // A late answer of the held request (when the service stops) finds no request.
    }

    // A screenshot that is cancelled ends the request without an answer; with the client hidden,
    // the hub hears it go and come back.
    void cancelledScreenshots()
    {
        QSignalSpy hide(ImSignalObject::instance(), &ImSignalObject::hideImOnScreenshot);
        eval("examPage.attach('q3', 4)");
        QTRY_VERIFY(PrScrnHelper::instance().isCapturing());
        QCOMPARE(hide.size(), 1);
        QCOMPARE(hide[0][0].toBool(), true);
        QTRY_VERIFY(!ScreenShot::ScreenshotWidget::overlays().isEmpty());
        PrScrnHelper::instance().cancelCapture();
        QTRY_VERIFY(!m_exam->isUploading());
        QCOMPARE(hide.size(), 2);
        QCOMPARE(hide[1][0].toBool(), false);

        eval("examPage.attach('q3', 3)");
        QTRY_VERIFY(PrScrnHelper::instance().isCapturing());
        PrScrnHelper::instance().cancelCapture();
        QTRY_VERIFY(!m_exam->isUploading());
        QCOMPARE(hide.size(), 2);
        QCOMPARE(eval("orvPage.log.filter(function (e) { return e.kind === 'callback'; }).length").toInt(), 0);
    }

    // The midsize address of details as services give them.
    void midsizeAddresses()
    {
        const QUrl base(QStringLiteral("http://127.0.0.1:8080/"));
        const auto detail = [](const QJsonValue &midsize) {
            return QJsonObject{{"output", QJsonObject{{"IMAGE", QJsonObject{{"midsize", midsize}}}}}};
        };
        QCOMPARE(ExamBaseBridge::midsizeAddress(detail("/t/a.jpg"), base), QStringLiteral("http://127.0.0.1:8080/t/a.jpg"));
        QCOMPARE(ExamBaseBridge::midsizeAddress(detail("t/a.jpg"), base), QStringLiteral("http://127.0.0.1:8080/t/a.jpg"));
        QCOMPARE(ExamBaseBridge::midsizeAddress(detail("https://cdn.example/a.jpg"), base), QStringLiteral("https://cdn.example/a.jpg"));
        QCOMPARE(ExamBaseBridge::midsizeAddress(detail("file:///etc/passwd"), base), QString());
        QCOMPARE(ExamBaseBridge::midsizeAddress(detail(42), base), QString());
        QCOMPARE(ExamBaseBridge::midsizeAddress(QJsonObject{{"output", "x"}}, base), QString());
    }

private:
    QVariant eval(const QString &script) { return WebTest::eval(m_view->page(), script); }
    static QVariant eval(QWebEnginePage *page, const QString &script) { return WebTest::eval(page, script); }
    static QWidget *cloudPicker()
    {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->objectName() == QLatin1String("examCloudImagePicker") && w->isVisible())
                return w;
        }
        return nullptr;
    }
    static bool writeBytes(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    QTemporaryDir m_dir;
    OrvWebService m_service;
    OrvCloudDisk m_disk{Me};
    OrvWebView *m_view = nullptr;
    ImExamCloudWebBride *m_exam = nullptr;
    QStringList m_messages;
    QStringList m_openDialogs;
    QStringList m_pick;
};

ORV_WEB_TEST_MAIN(ExamBridgesTest)
#include "tst_exambridges.moc"
