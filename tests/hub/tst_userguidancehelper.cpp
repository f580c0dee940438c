// SPDX-License-Identifier: LGPL-2.1-or-later
#include "UserGuidanceHelper.h"
#include "imsignalobject.h"

#include "contactsengine.h"
#include "coreengine.h"
#include "orvtrack.h"

#include <QSignalSpy>
#include <QTest>
#include <memory>

using namespace OrvEngine;

class TestUserGuidanceHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanupTestCase();

    void step1OpensTheCourseActivities();
    void step1ForUnknownCourseStillTracks();
    void step2CreatesANotice();
    void step3CreatesACourse();
    void otherStepsTrackAsCreateClass_data();
    void otherStepsTrackAsCreateClass();

private:
    UserGuidanceHelper *helper() const { return UserGuidanceHelper::getInstance(); }
    /// The "NPCguide" nodes tracked so far, in order.
    QStringList npcNodes() const;
    /// What happened, in order: hub requests, "track", helper signals.
    QStringList m_log;
    /// Owns this test's connections to the process-wide helper and tracker.
    std::unique_ptr<QObject> m_context;
};

void TestUserGuidanceHelper::init()
{
    m_log.clear();
    m_context = std::make_unique<QObject>();
    QObject *ctx = m_context.get();
    OrvTrack::instance()->clear();
    ContactsEngine::instance()->clear();
    auto course = std::make_shared<ClusterInfo>(ClusterID(500, Class));
    course->setSchoolId(9);
    ContactsEngine::instance()->addClusters({course});
    auto me = std::make_shared<UserInfo>(4242);
    CoreEngine::instance()->setCurrentUserInfo(me);

    // The helper outlives the hub; each test watches a fresh hub.
    ImSignalObject::release();
    auto *hub = ImSignalObject::instance();
    connect(hub, &ImSignalObject::openStudyActivityWidget, ctx, [this](QSharedPointer<OpenStudyActivityDetailFromToDoPod> p) {
        m_log << QStringLiteral("study course=%1 school=%2 page=%3 activity=%4 size=%5x%6 user=%7 url=%8")
                     .arg(p->courseId, p->schoolId).arg(p->pageType).arg(p->activityId).arg(p->windowSize.width())
                     .arg(p->windowSize.height()).arg(p->userId, p->url);
    });
    connect(hub, &ImSignalObject::signalCreateClusterNotice, ctx,
            [this](bool isEdit, quint64 contentId, ClusterID id, QWidget *parent) {
                m_log << QStringLiteral("notice edit=%1 content=%2 cluster=%3 parent=%4")
                             .arg(isEdit).arg(contentId).arg(id.toString()).arg(parent ? 1 : 0);
            });
    connect(hub, &ImSignalObject::menuCreateCourse, ctx, [this] { m_log << QStringLiteral("create course"); });
    connect(OrvTrack::instance(), &OrvTrack::tracked, ctx, [this] { m_log << QStringLiteral("track"); });
    connect(helper(), &UserGuidanceHelper::clickedNPCStep1, ctx, [this] { m_log << QStringLiteral("step1"); });
    connect(helper(), &UserGuidanceHelper::clickedNPCStep2, ctx, [this] { m_log << QStringLiteral("step2"); });
    connect(helper(), &UserGuidanceHelper::clickedNPCStep3, ctx, [this] { m_log << QStringLiteral("step3"); });
}

void TestUserGuidanceHelper::cleanupTestCase()
{
    ImSignalObject::release();
    ContactsEngine::release();
    CoreEngine::release();
}

QStringList TestUserGuidanceHelper::npcNodes() const
{
    QStringList out;
    for (const auto &e : OrvTrack::instance()->events(QStringLiteral("NPCguide"))) {
        if (e.properties.value(QStringLiteral("trigger_action")).toString() != QStringLiteral("点击"))
            out << QStringLiteral("wrong trigger_action");
        out << e.properties.value(QStringLiteral("trigger_nodes")).toString();
    }
    return out;
}

void TestUserGuidanceHelper::step1OpensTheCourseActivities()
{
    Q_EMIT helper()->clickedNPCStep1Item(QStringLiteral("https://lms/hw"), 500);
    QCOMPARE(m_log, (QStringList{
                        QStringLiteral("study course=500 school=9 page=1 activity=0 size=1080x720 user=4242 url=https://lms/hw"),
                        QStringLiteral("track"), QStringLiteral("step1")}));
    QCOMPARE(npcNodes(), QStringList{QStringLiteral("作业引导")});
}

void TestUserGuidanceHelper::step1ForUnknownCourseStillTracks()
{
    Q_EMIT helper()->clickedNPCStep1Item(QStringLiteral("https://lms/hw"), 501);
    QCOMPARE(m_log, (QStringList{QStringLiteral("track"), QStringLiteral("step1")}));
    QCOMPARE(npcNodes(), QStringList{QStringLiteral("作业引导")});
}

void TestUserGuidanceHelper::step2CreatesANotice()
{
    Q_EMIT helper()->clickedNPCStep2Item(500);
    QCOMPARE(m_log, (QStringList{QStringLiteral("notice edit=0 content=0 cluster=0:500 parent=0"),
                                 QStringLiteral("track"), QStringLiteral("step2")}));
    QCOMPARE(npcNodes(), QStringList{QStringLiteral("通知引导")});
}

void TestUserGuidanceHelper::step3CreatesACourse()
{
    Q_EMIT helper()->clickedNPCStep3Item(500);
    QCOMPARE(m_log, (QStringList{QStringLiteral("create course"), QStringLiteral("track"), QStringLiteral("step3")}));
    QCOMPARE(npcNodes(), QStringList{QStringLiteral("建班引导")});
}

void TestUserGuidanceHelper::otherStepsTrackAsCreateClass_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QString>("node");
    // Steps 1 to 3 are checked through their clicks above.
    QTest::newRow("0") << 0 << QStringLiteral("建班引导");
    QTest::newRow("7") << 7 << QStringLiteral("建班引导");
}

void TestUserGuidanceHelper::otherStepsTrackAsCreateClass()
{
    QFETCH(int, step);
    QFETCH(QString, node);
    helper()->trackNPCGuide(step);
    QCOMPARE(npcNodes(), QStringList{node});
}

QTEST_GUILESS_MAIN(TestUserGuidanceHelper)
#include "tst_userguidancehelper.moc"
