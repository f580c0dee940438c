// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imsignalobject.h"

#include "extensionsystem.h"
#include "orvsettings.h"
#include "orvtrack.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

using OrvEngine::ClusterID;

namespace {
const QString GuidanceKey = QStringLiteral("UserGuidanceInfo");

struct RecorderPod : OpaqueCommonPod {
    int marker = 0;
};

} // namespace

// Stands in for the classroom plug-in: records what the hub asked it to start.
class FakeClassroomPlugin : public QObject
{
    Q_OBJECT
public:
    QStringList calls;

public Q_SLOTS:
    void onStartupClassroom(quint64 schoolId, quint64 classId, quint64 courseId, RoomType type, bool forceEnter,
                            const QString &courseName, QSharedPointer<OpaqueCommonPod> pod, bool showDeviceCheckPage)
    {
        calls << QStringLiteral("start %1/%2/%3 type %4 force %5 %6 pod %7 check %8")
                     .arg(schoolId).arg(classId).arg(courseId).arg(int(type)).arg(forceEnter).arg(courseName)
                     .arg(pod ? static_cast<RecorderPod *>(pod.data())->marker : -1).arg(showDeviceCheckPage);
    }
    // Takes fewer arguments than the signal carries.
    void onStartupLocalClassroom(quint64 classId, quint64 courseId, quint64 schoolId, const QString &courseName)
    {
        calls << QStringLiteral("local %1/%2/%3 %4").arg(classId).arg(courseId).arg(schoolId).arg(courseName);
    }
    void onGuestStartupClassroom(quint64 schoolId, quint64 classId, quint64 courseId, const QString &alias)
    {
        calls << QStringLiteral("guest %1/%2/%3 %4").arg(schoolId).arg(classId).arg(courseId).arg(alias);
    }
};

class TestImSignalObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void sharedState();
    void sendChatFlags();
    void guidanceRoundTrip();
    void guidanceLivesInTheUserSettings();
    void corruptGuidanceSettingIsNotFound_data();
    void corruptGuidanceSettingIsNotFound();
    void trackingEvents();
    void classroomPluginConnectsOnce();
    void queuedSignalsCarryHostTypes();
    void mediaForwards();

private:
    ImSignalObject *hub() const { return ImSignalObject::instance(); }
    QJsonArray storedGuidance() const;

    QTemporaryDir m_dir;
};

void TestImSignalObject::initTestCase()
{
    QVERIFY(m_dir.isValid());
    OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("settings.json")));
}

void TestImSignalObject::init()
{
    OrvSettings::instance()->remove(GuidanceKey);
    OrvTrack::instance()->clear();
}

void TestImSignalObject::cleanup()
{
    ImSignalObject::release();
}

QJsonArray TestImSignalObject::storedGuidance() const
{
    return QJsonDocument::fromJson(OrvSettings::instance()->value(GuidanceKey).toString().toUtf8()).array();
}

void TestImSignalObject::sharedState()
{
    QSignalSpy sharing(hub(), &ImSignalObject::screenSharingStateChange);
    hub()->setScreenSharingState(false);
    QCOMPARE(sharing.size(), 0);
    hub()->setScreenSharingState(true);
    hub()->setScreenSharingState(true);
    QCOMPARE(sharing.size(), 1);
    QCOMPARE(sharing.first().first().toBool(), true);
    QVERIFY(hub()->isScreenSharing());

    QSignalSpy lessons(hub(), &ImSignalObject::lessonCountChanged);
    hub()->setLessonCount(4);
    hub()->setLessonCount(4);
    QCOMPARE(lessons.size(), 2);
    QCOMPARE(hub()->getLessonCount(), 4);

    hub()->flagWeChatCallBackForLmsFlags(11);
    hub()->flagWeChatCallBackForLmsFlags(12);
    hub()->cleanWeChatCallBackForLmsFlags(11);
    QVERIFY(!hub()->testWeChatCallBackForLmsFlags(11));
    QVERIFY(hub()->testWeChatCallBackForLmsFlags(12));

    hub()->setCreatedCourseInfo(77, ClusterID(770, OrvEngine::Class));
    quint64 course = 0;
    ClusterID cluster;
    hub()->getCreatedCourseInfo(course, cluster);
    QCOMPARE(course, 77u);
    QCOMPARE(cluster, ClusterID(770, OrvEngine::Class));

    // The pen-tablet widget is not owned: once gone, nobody can reach it.
    auto *widget = new QWidget;
    hub()->setHuionSdkWidget(widget);
    QCOMPARE(hub()->getHuionSdkWidget(), widget);
    delete widget;
    QVERIFY(!hub()->getHuionSdkWidget());

    // A fresh instance starts clean.
    ImSignalObject::release();
    QVERIFY(!hub()->isScreenSharing());
    QVERIFY(!hub()->testWeChatCallBackForLmsFlags(12));
}

void TestImSignalObject::sendChatFlags()
{
    hub()->flagSendChatWith(ImSignalObject::SendChatFromShare);
    hub()->flagSendChatWith(ImSignalObject::SendChatFromScreenshot);
    QVERIFY(hub()->testSendChatWith(ImSignalObject::SendChatFromShare));
    QVERIFY(hub()->testSendChatWith(ImSignalObject::SendChatFromScreenshot));
    QVERIFY(!hub()->testSendChatWith(ImSignalObject::SendChatFromCloudDisk));
    QVERIFY(hub()->testSendChatWith(ImSignalObject::SendChatAny));

    hub()->clearSendChatWidthFlag();
    const auto flags = {ImSignalObject::SendChatFromShare, ImSignalObject::SendChatFromCloudDisk,
                        ImSignalObject::SendChatFromScreenshot, ImSignalObject::SendChatFromImageEditor,
                        ImSignalObject::SendChatFromContactCard, ImSignalObject::SendChatAny};
    for (auto flag : flags)
        QVERIFY(!hub()->testSendChatWith(flag));
}

void TestImSignalObject::guidanceRoundTrip()
{
    hub()->saveUserGuidanceClusterInfo(2, QStringLiteral("Welcome to class 2"));
    hub()->saveUserGuidanceClusterInfo(18446744073709551615ull, QStringLiteral("Big"));
    hub()->saveUserGuidanceClusterInfo(2, QStringLiteral("欢迎, \"all\""));

    QCOMPARE(OrvSettings::instance()->value(GuidanceKey).toString(),
             QStringLiteral(R"([{"clusterId":"2","welcomes":"欢迎, \"all\""},)"
                            R"({"clusterId":"18446744073709551615","welcomes":"Big"}])"));

    QString welcomes = QStringLiteral("untouched");
    QVERIFY(!hub()->loadUserGuidanceClusterInfo(3, welcomes));
    QCOMPARE(welcomes, QStringLiteral("untouched"));
    QVERIFY(hub()->loadUserGuidanceClusterInfo(2, welcomes));
    QCOMPARE(welcomes, QStringLiteral("欢迎, \"all\""));
    QVERIFY(hub()->loadUserGuidanceClusterInfo(18446744073709551615ull, welcomes));
    QCOMPARE(welcomes, QStringLiteral("Big"));
}

void TestImSignalObject::guidanceLivesInTheUserSettings()
{
    hub()->saveUserGuidanceClusterInfo(5, QStringLiteral("five"));
    ImSignalObject::release();

    hub()->saveUserGuidanceClusterInfo(6, QStringLiteral("six"));
    QCOMPARE(storedGuidance().size(), 2);
    QString welcomes;
    QVERIFY(hub()->loadUserGuidanceClusterInfo(5, welcomes));
    QCOMPARE(welcomes, QStringLiteral("five"));

    // Another user signs in: their settings get their own entries only, and back again.
    const QString first = OrvSettings::instance()->fileName();
    OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("other-user.json")));
    hub()->saveUserGuidanceClusterInfo(7, QStringLiteral("seven"));
    QCOMPARE(storedGuidance().size(), 1);
    QVERIFY(!hub()->loadUserGuidanceClusterInfo(5, welcomes));
    OrvSettings::instance()->setFileName(first);
    QVERIFY(!hub()->loadUserGuidanceClusterInfo(7, welcomes));
    hub()->saveUserGuidanceClusterInfo(8, QStringLiteral("eight"));
    QCOMPARE(storedGuidance().size(), 3);
}

void TestImSignalObject::corruptGuidanceSettingIsNotFound_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<bool>("warns");
    QTest::newRow("not JSON") << QStringLiteral("[{\"clusterId\":\"5\",") << true;
    QTest::newRow("an object") << QStringLiteral(R"({"clusterId":"5","welcomes":"x"})") << true;
    QTest::newRow("not objects") << QStringLiteral("[5, \"x\", null]") << false;
    QTest::newRow("numeric id") << QStringLiteral(R"([{"clusterId":5,"welcomes":"x"}])") << false;
    QTest::newRow("empty") << QString() << false;
}

void TestImSignalObject::corruptGuidanceSettingIsNotFound()
{
    QFETCH(QString, stored);
    QFETCH(bool, warns);
    OrvSettings::instance()->setValue(GuidanceKey, stored);
    if (warns)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("UserGuidanceInfo")));
    QString welcomes;
    QVERIFY(!hub()->loadUserGuidanceClusterInfo(5, welcomes));
    QVERIFY(welcomes.isEmpty());

    // Saving over an unreadable value starts a new, readable one.
    if (warns)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("UserGuidanceInfo")));
    hub()->saveUserGuidanceClusterInfo(6, QStringLiteral("six"));
    QVERIFY(hub()->loadUserGuidanceClusterInfo(6, welcomes));
    QCOMPARE(welcomes, QStringLiteral("six"));
    QCOMPARE(storedGuidance().size(), 1);
}

void TestImSignalObject::trackingEvents()
{
    hub()->trackSetAvatar(false, true, QStringLiteral("too large"));
    hub()->trackSetNickName(true, QString());

    const auto avatar = OrvTrack::instance()->events(QStringLiteral("Setavatar"));
    QCOMPARE(avatar.size(), 1);
    QCOMPARE(avatar.first().properties.value(QStringLiteral("is_success")).toBool(), false);
    QCOMPARE(avatar.first().properties.value(QStringLiteral("fail_reason")).toString(), QStringLiteral("too large"));
    QCOMPARE(avatar.first().properties.value(QStringLiteral("setting_method")).toString(), QStringLiteral("gallery"));

    const auto nickname = OrvTrack::instance()->events(QStringLiteral("Setnickname"));
    QCOMPARE(nickname.size(), 1);
    QCOMPARE(nickname.first().properties.value(QStringLiteral("is_success")).toBool(), true);
    QVERIFY(!nickname.first().properties.contains(QStringLiteral("setting_method")));
}

void TestImSignalObject::classroomPluginConnectsOnce()
{
    // Before the plug-in is loaded: nothing happens, and a later call still connects.
    hub()->connectClassroomPlugin();
    Q_EMIT hub()->signalGuestStartupClassroom(1, 2, 3, QStringLiteral("Guest"));

    FakeClassroomPlugin plugin;
    ExtensionSystem::instance()->addObject(QString::fromLatin1(ImSignalObject::ClassroomPluginName), &plugin);
    hub()->connectClassroomPlugin();
    hub()->connectClassroomPlugin();

    auto pod = QSharedPointer<RecorderPod>::create();
    pod->marker = 9;
    Q_EMIT hub()->signalStartupClassroom(1, 2, 3, RoomTypeLesson, true, QStringLiteral("Maths"), pod, false);
    Q_EMIT hub()->signalStartupClassroom(1, 2, 3, RoomTypeOpenClass, false);
    Q_EMIT hub()->signalStartupLocalClassroom(20, 30, 10, QStringLiteral("Local"), RoomTypeMicrolecture);
    Q_EMIT hub()->signalGuestStartupClassroom(1, 2, 3, QStringLiteral("Guest"));
    QCOMPARE(plugin.calls, (QStringList{QStringLiteral("start 1/2/3 type 1 force 1 Maths pod 9 check 0"),
                                        QStringLiteral("start 1/2/3 type 3 force 0  pod -1 check 1"),
                                        QStringLiteral("local 20/30/10 Local"),
                                        QStringLiteral("guest 1/2/3 Guest")}));
    ExtensionSystem::instance()->removeObject(QString::fromLatin1(ImSignalObject::ClassroomPluginName));
}

void TestImSignalObject::queuedSignalsCarryHostTypes()
{
    QStringList received;
    QObject context;
    connect(hub(), &ImSignalObject::signalStartupLocalClassroom, &context,
            [&](quint64 classId, quint64, quint64, const QString &, RoomType type, QSharedPointer<OpaqueCommonPod> pod) {
                received << QStringLiteral("local %1 %2 %3").arg(classId).arg(int(type)).arg(
                    static_cast<RecorderPod *>(pod.data())->marker);
            },
            Qt::QueuedConnection);
    connect(hub(), &ImSignalObject::signalEnterClassroom, &context,
            [&](OrvEngine::SnapshotLessonPtr lesson, int from) {
                received << QStringLiteral("enter %1 %2").arg(lesson->lessonId()).arg(from);
            },
            Qt::QueuedConnection);
    connect(hub(), &ImSignalObject::selectedZoom, &context,
            [&](const std::vector<QString> &descs, int count, bool group, bool click) {
                received << QStringLiteral("zoom %1 %2 %3 %4").arg(descs.back()).arg(count).arg(group).arg(click);
            },
            Qt::QueuedConnection);
    connect(hub(), &ImSignalObject::openStudyActivityWidget, &context,
            [&](QSharedPointer<OpenStudyActivityDetailFromToDoPod> pod) {
                received << QStringLiteral("study %1 %2x%3").arg(pod->courseId).arg(pod->windowSize.width()).arg(
                    pod->windowSize.height());
            },
            Qt::QueuedConnection);
    connect(hub(), &ImSignalObject::signalShowAssistantHelpWidget, &context,
            [&](HelpWidgetType type, bool, const QString &param, const QString &title) {
                received << QStringLiteral("help %1 %2 %3").arg(int(type)).arg(param, title);
            },
            Qt::QueuedConnection);

    auto pod = QSharedPointer<RecorderPod>::create();
    pod->marker = 4;
    Q_EMIT hub()->signalStartupLocalClassroom(5, 6, 7, QStringLiteral("Recorder"), RoomTypeMicrolecture, pod);
    Q_EMIT hub()->signalEnterClassroom(OrvEngine::SnapshotLessonPtr::create(70, 7, 1, QStringLiteral("L")), 2);
    Q_EMIT hub()->selectedZoom({QStringLiteral("a"), QStringLiteral("b")}, 2, true);
    auto study = QSharedPointer<OpenStudyActivityDetailFromToDoPod>::create();
    study->courseId = QStringLiteral("7");
    Q_EMIT hub()->openStudyActivityWidget(study);
    Q_EMIT hub()->signalShowAssistantHelpWidget(HelpWidgetFaq, true, QStringLiteral("q=1"));
    QVERIFY(received.isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(received, (QStringList{QStringLiteral("local 5 5 4"), QStringLiteral("enter 70 2"),
                                    QStringLiteral("zoom b 2 1 0"), QStringLiteral("study 7 1080x720"),
                                    QStringLiteral("help 1 q=1 ")}));
}

void TestImSignalObject::mediaForwards()
{
    QVERIFY(!hub()->openVideo(m_dir.filePath(QStringLiteral("missing.mp4"))));
    int w = -1, h = -1;
    hub()->getVideoImageSize(w, h);
    QCOMPARE(w, 0);
    QCOMPARE(h, 0);
    QCOMPARE(hub()->getVideoDuration(), 0.0);

    // The media manager's answer comes back through the hub's own signal.
    QSignalSpy frames(hub(), &ImSignalObject::getFrameImageFinished);
    hub()->getFrameImage(1.5);
    QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 5000);
    QVERIFY(frames.first().at(0).value<QImage>().isNull());
    QCOMPARE(frames.first().at(1).toDouble(), 1.5);
    QCOMPARE(frames.first().at(2).toDouble(), -1.0);
}

QTEST_MAIN(TestImSignalObject)
#include "tst_imsignalobject.moc"
