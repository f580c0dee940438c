// SPDX-License-Identifier: LGPL-2.1-or-later
// A group page asking its bridge which cluster it shows, answered from the contacts engine.
#include "contactsengine.h"
#include "extensionsystem.h"
#include "groupbridge.h"
#include "iclassroommgr.h"
#include "webtestutils.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace WebTest;

namespace {

constexpr quint64 Me = 10001;

const QByteArray GroupPage = R"(<!doctype html><html><body><p>Group page</p><script>
window.ask = function () {
    window.info = undefined;
    groupBridge.getClusterInfo(function (text) { window.info = text; });
};
</script></body></html>)";

class FakeClassroom : public IClassRoomMgr
{
public:
    quint64 course = 0;
    QWidget *classroomWindow() const override { return nullptr; }
    quint64 schoolId() const override { return 0; }
    quint64 courseId() const override { return course; }
    quint64 lessonId() const override { return 0; }
    bool isStudent() const override { return true; }
    bool isInClass() const override { return true; }
    bool isFriendsTempClassroom() const override { return false; }
    bool isExtendScreen() const override { return false; }
    void openSubWidget(const QString &, const QSize &) override {}
};

OrvEngine::ClusterMemberInfoPtr member(quint64 uid, OrvEngine::Identity identity, OrvEngine::LessonIdentity lesson,
                                       OrvEngine::MemberStatus status = OrvEngine::MemberStatus::Normal)
{
    auto m = std::make_shared<OrvEngine::ClusterMemberInfo>(uid);
    m->setIdentity(identity);
    m->setLessonIdentity(lesson);
    m->setMemberStatus(status);
    return m;
}

OrvEngine::ClusterInfoPtr course(quint64 id, const QString &name, OrvEngine::ClusterMembers members)
{
    auto info = std::make_shared<OrvEngine::ClusterInfo>(OrvEngine::ClusterID(id, OrvEngine::Class));
    info->setName(name);
    info->setSchoolId(30001);
    info->setMembers(std::move(members));
    return info;
}

} // namespace

class GroupBridgeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        addPage(m_service, QStringLiteral("/client/group/home"), GroupPage);
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});

        auto *contacts = OrvEngine::ContactsEngine::instance();
        contacts->setCurrentUid(Me);
        contacts->addClusters(
            {course(900, QStringLiteral("Maths 7B"),
                    {member(Me, OrvEngine::Identity::Owner, OrvEngine::LessonIdentity::Teacher),
                     member(2, OrvEngine::Identity::Member, OrvEngine::LessonIdentity::Student),
                     member(3, OrvEngine::Identity::Member, OrvEngine::LessonIdentity::Student)}),
             course(901, QStringLiteral("Physics"),
                    {member(Me, OrvEngine::Identity::Admin, OrvEngine::LessonIdentity::Assistant, OrvEngine::MemberStatus::Left),
                     member(4, OrvEngine::Identity::Owner, OrvEngine::LessonIdentity::Teacher)}),
             course(902, QStringLiteral("Chemistry"), {member(5, OrvEngine::Identity::Owner, OrvEngine::LessonIdentity::Teacher)})});
        contacts->setClusterAlias(OrvEngine::ClusterID(900, OrvEngine::Class), QStringLiteral("My maths"));

        m_view = new OrvWebView;
        m_bridge = new GroupBridge(m_view, m_view);
        m_view->registerObject(m_bridge, QStringLiteral("groupBridge"));
        m_view->show();
        QVERIFY(load(m_view, QUrl(m_service.baseUrl().toString() + QStringLiteral("/client/group/home?tab=1"))));
        QVERIFY(waitFor(m_view->page(), QStringLiteral("!!(window.groupBridge && groupBridge.getClusterInfo)")));
    }

    void cleanupTestCase()
    {
        delete m_view;
        OrvEngine::ContactsEngine::release();
        m_service.stop();
    }

    void getClusterInfoIsThePagesOnlyMethod()
    {
        const QMetaObject &mo = GroupBridge::staticMetaObject;
        QCOMPARE(mo.methodCount() - mo.methodOffset(), 1);
        QCOMPARE(mo.method(mo.methodOffset()).name(), QByteArray("getClusterInfo"));
    }

    void neverResetAnswersTheFallback()
    {
        LogCapture log("orv.common.bridge");
        QCOMPARE(ask(), (QJsonObject{{QStringLiteral("clusterId"), QStringLiteral("0")},
                                     {QStringLiteral("identity"), QStringLiteral("0")},
                                     {QStringLiteral("lessonIdentity"), QStringLiteral("0")}}));
        QVERIFY(log.contains(QStringLiteral("fallback return something id:")));
    }

    void describesTheClusterAndTheUsersPlaceInIt()
    {
        LogCapture log("orv.common.bridge");
        m_bridge->reset(OrvEngine::ClusterID(900, OrvEngine::Class));
        QCOMPARE(ask(), (QJsonObject{{QStringLiteral("clusterId"), QStringLiteral("900")},
                                     {QStringLiteral("schoolId"), QStringLiteral("30001")},
                                     {QStringLiteral("clusterName"), QStringLiteral("Maths 7B")},
                                     {QStringLiteral("courseAlias"), QStringLiteral("My maths")},
                                     {QStringLiteral("clusterStatus"), QStringLiteral("0")},
                                     {QStringLiteral("membersCount"), QStringLiteral("3")},
                                     {QStringLiteral("identity"), QStringLiteral("1")},
                                     {QStringLiteral("lessonIdentity"), QStringLiteral("3")}}));
        QCOMPARE(log.lines().filter(QStringLiteral("return something id:")).size(), 1);
        QVERIFY(!log.contains(QStringLiteral("fallback")));
        const QString line = log.lines().filter(QStringLiteral("return something id:")).first();
        QVERIFY2(line.contains(QStringLiteral("900")) && line.contains(QStringLiteral("/client/group/home")), qPrintable(line));
    }

    void aUserWhoLeftOrNeverJoinedHasNoPlace_data()
    {
        QTest::addColumn<quint64>("cluster");
        QTest::newRow("left") << quint64(901);
        QTest::newRow("never a member") << quint64(902);
    }

    void aUserWhoLeftOrNeverJoinedHasNoPlace()
    {
        QFETCH(quint64, cluster);
        m_bridge->reset(OrvEngine::ClusterID(cluster, OrvEngine::Class));
        const QJsonObject info = ask();
        QCOMPARE(info.value(QStringLiteral("clusterId")).toString(), QString::number(cluster));
        QCOMPARE(info.value(QStringLiteral("identity")).toString(), QStringLiteral("0"));
        QCOMPARE(info.value(QStringLiteral("lessonIdentity")).toString(), QStringLiteral("0"));
        // No alias set: no key at all, not an empty one.
        QVERIFY(!info.contains(QStringLiteral("courseAlias")));
        QVERIFY(info.contains(QStringLiteral("clusterName")));
    }

    void aClassroomPageFallsBackToTheClassroomsCourse()
    {
        FakeClassroom classroom;
        classroom.course = 900;
        ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &classroom);
        m_bridge->reset(OrvEngine::ClusterID(123456, OrvEngine::Class));
        LogCapture log("orv.common.bridge");
        const QJsonObject info = ask();
        ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));
        QCOMPARE(info.value(QStringLiteral("clusterId")).toString(), QStringLiteral("900"));
        QCOMPARE(info.value(QStringLiteral("lessonIdentity")).toString(), QStringLiteral("3"));
        QVERIFY(!log.contains(QStringLiteral("fallback")));

        // Without a classroom the unknown cluster gets the fallback, under its own id.
        log.clear();
        const QJsonObject fallback = ask();
        QCOMPARE(fallback.value(QStringLiteral("clusterId")).toString(), QStringLiteral("123456"));
        QVERIFY(!fallback.contains(QStringLiteral("clusterName")));
        QVERIFY(log.contains(QStringLiteral("fallback return something id:")));
    }

private:
    QJsonObject ask()
    {
        WebTest::eval(m_view->page(), QStringLiteral("ask(); 0"));
        if (!waitFor(m_view->page(), QStringLiteral("typeof window.info === 'string'")))
            return {};
        const QString text = WebTest::eval(m_view->page(), QStringLiteral("window.info")).toString();
        // Compact JSON, as the page gets it.
        if (text.contains(QLatin1Char('\n')) || text.contains(QStringLiteral("\": ")))
            return {{QStringLiteral("notCompact"), text}};
        return QJsonDocument::fromJson(text.toUtf8()).object();
    }

    OrvWebService m_service;
    OrvWebView *m_view = nullptr;
    GroupBridge *m_bridge = nullptr;
};

ORV_WEB_TEST_MAIN(GroupBridgeTest)
#include "tst_groupbridge.moc"
