// SPDX-License-Identifier: LGPL-2.1-or-later
#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "schoolchartmanager.h"
#include "worldgenerator.h"
#include "worldloader.h"

#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <map>

using namespace OrvEngine;

// Carries ClusterID lists through a queued connection, as engines and share dialogs do.
class Relay : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void ids(const std::vector<OrvEngine::ClusterID> &v);
    void list(const QList<OrvEngine::ClusterID> &v);
};

class EngineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { WorldLoader::clearEngines(); }

    void clusterIdShouldCompareByIdAndType()
    {
        QVERIFY(ClusterID(5, Class) != ClusterID(5, User));
        QVERIFY(ClusterID() == ClusterID());
        QVERIFY(ClusterID() != ClusterID(0, Class));
        QVERIFY(ClusterID().isUnknowType());
        QVERIFY(ClusterID(1, ClusterType(3)).isUnknowType());
        QVERIFY(!ClusterID(1, Local).isUnknowType());
        // A strict weak order: usable as a map key, both kinds of 5 kept apart.
        std::map<ClusterID, int> m{{ClusterID(5, Class), 1}, {ClusterID(5, User), 2}, {ClusterID(4, User), 3}};
        QCOMPARE(m.size(), size_t(3));
        QCOMPARE(m.at(ClusterID(5, User)), 2);
        const QVariant v = ClusterID(7, Group);
        QCOMPARE(v.value<ClusterID>(), ClusterID(7, Group));
        QCOMPARE(ClusterID(7, Group).toString(), QStringLiteral("2:7"));
    }

    void clusterIdListsShouldCrossQueuedConnections()
    {
        registerMetaTypes();
        Relay relay;
        std::vector<ClusterID> gotVector;
        QList<ClusterID> gotList;
        connect(&relay, &Relay::ids, this, [&](const std::vector<ClusterID> &v) { gotVector = v; }, Qt::QueuedConnection);
        connect(&relay, &Relay::list, this, [&](const QList<ClusterID> &v) { gotList = v; }, Qt::QueuedConnection);
        Q_EMIT relay.ids({ClusterID(1, User), ClusterID(2, Group)});
        Q_EMIT relay.list({ClusterID(3, Class)});
        QTRY_COMPARE(gotVector.size(), size_t(2));
        QCOMPARE(gotVector[1], ClusterID(2, Group));
        QTRY_COMPARE(gotList, QList<ClusterID>{ClusterID(3, Class)});
    }

    void shouldGroupLessonChangesByCourse()
    {
        const auto grouped = CourseUtilities::convertLessonsInfo({{1, 10, 100}, {1, 11, 110}, {1, 10, 101}, {1, 10, 100}});
        QCOMPARE(grouped.size(), 2);
        QCOMPARE(grouped.value(10).first, quint64(1));
        QCOMPARE(grouped.value(10).second, (QVector<quint64>{100, 101}));
        QCOMPARE(grouped.value(11).second, QVector<quint64>{110});
    }

    void shouldOrderMembersAndAnswerMemberQuestions()
    {
        ClusterInfo c(ClusterID(1, Class));
        auto member = [](quint64 uid, Identity id, LessonIdentity li, MemberStatus st = MemberStatus::Normal) {
            auto m = std::make_shared<ClusterMemberInfo>(uid);
            m->setIdentity(id);
            m->setLessonIdentity(li);
            m->setMemberStatus(st);
            return m;
        };
        c.setMembers({member(30, Identity::Member, LessonIdentity::Student), member(20, Identity::Member, LessonIdentity::Teacher),
                      member(10, Identity::Owner, LessonIdentity::Student), member(40, Identity::Member, LessonIdentity::Student, MemberStatus::Left),
                      member(5, Identity::Member, LessonIdentity::Student)});
        QVERIFY(c.isValid(30));
        QVERIFY(!c.isValid(40));
        QVERIFY(c.hasMember(40));
        QVERIFY(!c.getMember(99));
        auto valid = c.vaildMmembers();
        QCOMPARE(valid.size(), size_t(4));
        ClusterInfo::sortMembers(valid, 30);
        QList<quint64> order;
        for (const auto &m : valid)
            order << m->id();
        QCOMPARE(order, (QList<quint64>{30, 10, 20, 5}));
    }

    void enginesShouldAnswerEmptyForUnknownIds()
    {
        auto *contacts = ContactsEngine::instance();
        QVERIFY(!contacts->getClusterInfo(ClusterID(42, Group)));
        QVERIFY(!contacts->getUserInfo(42));
        QVERIFY(!contacts->isFriendValid(42));
        QVERIFY(!CourseEngine::instance()->getSnapshotCourse(42));
        QCOMPARE(CourseEngine::instance()->getSchoolIdOfCourse(42), quint64(0));
        QVERIFY(CourseEngine::instance()->getLessons(1, 42).empty());
        QVERIFY(!SchoolChartManager::instance()->findEmployeeInfo(1, 2));
        QVERIFY(AvatarManager::instance().getUserAvatar(42).isNull());
        QVERIFY(!ChatEngine::instance()->getSession(ClusterID(42, User)));
        // Mutations of unknown ids change nothing and say nothing.
        QSignalSpy spy(contacts, &ContactsEngine::updateClusterSetting);
        contacts->setClusterAlias(ClusterID(42, Group), QStringLiteral("x"));
        QCOMPARE(spy.count(), 0);
    }

    void shouldLoadTheDemoWorld()
    {
        WorldLoader loader;
        QVERIFY2(loader.loadFile(QStringLiteral(DEMO_WORLD)), qPrintable(loader.error()));
        auto *contacts = ContactsEngine::instance();
        QVERIFY(contacts->currentUid() != 0);
        QVERIFY(contacts->currentUser());
        QVERIFY(!contacts->getClusterInfos().empty());
        QVERIFY(!ChatEngine::instance()->getSessions().empty());
        QVERIFY(!SchoolChartManager::instance()->getSchoolInfos().empty());
        // The demo world ships avatars; they load with the world.
        QVERIFY(!AvatarManager::instance().getUserAvatar(contacts->currentUid()).isNull());
    }

    void shouldRefuseBadWorldsAndKeepTheOldOne_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("where");
        QTest::newRow("not json") << QByteArray("{\"self\": 1,") << "not JSON";
        QTest::newRow("not an object") << QByteArray("[1,2]") << "not a JSON object";
        QTest::newRow("missing self") << QByteArray("{}") << "self: expected a positive integer";
        QTest::newRow("member uid of the wrong type")
            << QByteArray(R"({"self":1,"clusters":[{"id":5,"name":"a"},{"id":6,"name":"b","members":[{"uid":"x"}]}]})")
            << "clusters[1].members[0].uid: expected a positive integer";
        QTest::newRow("unknown cluster type")
            << QByteArray(R"({"self":1,"clusters":[{"id":5,"name":"a","type":"planet"}]})") << "clusters[0].type: expected one of";
        QTest::newRow("users not an array") << QByteArray(R"({"self":1,"users":{}})") << "users: expected an array";
        QTest::newRow("department without name")
            << QByteArray(R"({"self":1,"schools":[{"id":9,"name":"s","departments":[{"id":1}]}]})")
            << "schools[0].departments[0].name: expected a string";

        // Departments are keyed by id: a repeat would merge two of them or make the chart endless.
        QTest::newRow("department inside itself")
            << QByteArray(R"({"self":1,"schools":[{"id":9,"name":"s","departments":[{"id":5,"name":"a","departments":[{"id":5,"name":"a"}]}]}]})")
            << "schools[0].departments[0].departments[0].id: department 5 is listed inside itself (at schools[0].departments[0])";
        QTest::newRow("department inside its sub-department")
            << QByteArray(R"({"self":1,"companies":[{"id":9,"name":"c","departments":[{"id":1,"name":"a","departments":[)"
                          R"({"id":2,"name":"b","departments":[{"id":1,"name":"a"}]}]}]}]})")
            << "companies[0].departments[0].departments[0].departments[0].id: department 1 is listed inside itself";
        QTest::newRow("department twice")
            << QByteArray(R"({"self":1,"schools":[{"id":9,"name":"s","departments":[{"id":3,"name":"a"},)"
                          R"({"id":4,"name":"b","departments":[{"id":3,"name":"c"}]}]}]})")
            << "schools[0].departments[1].departments[0].id: department 3 is listed twice (first at schools[0].departments[0])";

        // Numbers are checked against their field's range before they are converted.
        QTest::newRow("id of 2^63")
            << QByteArray(R"({"self":1,"clusters":[{"id":9223372036854775808,"name":"a"}]})")
            << "clusters[0].id: expected a positive integer up to 9007199254740991";
        QTest::newRow("id beyond exact doubles")
            << QByteArray(R"({"self":1,"users":[{"uid":9007199254740993,"nickname":"a"}]})") << "users[0].uid: expected a positive integer";
        QTest::newRow("uid of 1e300") << QByteArray(R"({"self":1e300})") << "self: expected a positive integer";
        QTest::newRow("fractional id") << QByteArray(R"({"self":1.5})") << "self: expected a positive integer";
        QTest::newRow("department order 1e10")
            << QByteArray(R"({"self":1,"schools":[{"id":9,"name":"s","departments":[{"id":1,"name":"a","order":1e10}]}]})")
            << "schools[0].departments[0].order: expected an integer from 0 to 2147483647";
        QTest::newRow("unread count 1e15") << QByteArray(R"({"self":1,"unreadNotices":1e15})") << "unreadNotices: expected an integer from 0 to";
        QTest::newRow("unread count -3") << QByteArray(R"({"self":1,"unreadNotices":-3})") << "unreadNotices: expected an integer from 0 to";
        QTest::newRow("school id -1")
            << QByteArray(R"({"self":1,"clusters":[{"id":5,"name":"a","schoolId":-1}]})") << "clusters[0].schoolId: expected 0 or a positive integer";
        QTest::newRow("message time -5")
            << QByteArray(R"({"self":1,"sessions":[{"id":2,"msgTime":-5}]})") << "sessions[0].msgTime: expected an integer from 0 to 4294967295";
        QTest::newRow("message time 2^32")
            << QByteArray(R"({"self":1,"sessions":[{"id":2,"msgTime":4294967296}]})") << "sessions[0].msgTime: expected an integer from 0 to 4294967295";
        QTest::newRow("course kind 2^33+3")
            << QByteArray(R"({"self":1,"courses":[{"id":5,"name":"a","kind":8589934595}]})") << "courses[0].kind: expected an integer from 0 to 2147483647";
        QTest::newRow("course school id 2^60")
            << QByteArray(R"({"self":1,"courses":[{"id":5,"name":"a","schoolId":1152921504606846976}]})") << "courses[0].schoolId: expected 0 or a positive integer";
    }
    void shouldRefuseBadWorldsAndKeepTheOldOne()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, where);
        WorldLoader good;
        QVERIFY(good.load(QJsonDocument::fromJson(R"({"self": 3, "users": [{"uid": 3, "nickname": "Kept"}]})").object()));

        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("bad.json"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(json);
        file.close();

        WorldLoader loader;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("world not loaded")));
        QVERIFY(!loader.loadFile(path));
        QVERIFY2(loader.error().startsWith(path), qPrintable(loader.error()));
        QVERIFY2(loader.error().contains(where), qPrintable(loader.error()));
        QCOMPARE(ContactsEngine::instance()->currentUid(), quint64(3));
        QCOMPARE(ContactsEngine::instance()->getUserInfo(3)->nickname(), QStringLiteral("Kept"));
    }

    void shouldTakeNumbersAtTheEdgesOfTheirRanges()
    {
        WorldLoader loader;
        QVERIFY2(loader.load(QJsonDocument::fromJson(R"({"self": 9007199254740991, "unreadNotices": 2147483647,
            "sessions": [{"id": 2, "msgTime": 4294967295}, {"id": 3, "msgTime": 0}],
            "clusters": [{"id": 4, "name": "c", "schoolId": 0, "courseType": 2147483647}]})").object()),
                 qPrintable(loader.error()));
        QCOMPARE(ContactsEngine::instance()->currentUid(), quint64(9007199254740991));
        QCOMPARE(ChatEngine::instance()->getSession(ClusterID(2, User))->msgTime(), quint32(4294967295u));
        QCOMPARE(ContactsEngine::instance()->getClusterInfo(ClusterID(4, Group))->courseType(), 2147483647);
    }

    void sessionsShouldBeFoundByChatAndKeepTheirOrder()
    {
        auto *chat = ChatEngine::instance();
        auto session = [](quint64 id, ClusterType type, quint32 t) { return std::make_shared<Session>(ClusterID(id, type), t); };
        for (quint64 id = 1; id <= 6; ++id)
            chat->insertSessionQuietly(session(id, User, quint32(id)));
        // The same number as a group is another chat.
        chat->insertSessionQuietly(session(3, Group, 30));
        // A chat's second session replaces the first in its place.
        chat->insertSessionQuietly(session(2, User, 20));
        auto ids = [chat] {
            QStringList out;
            for (const auto &s : chat->getSessions())
                out << QStringLiteral("%1@%2").arg(s->clusterID().toString()).arg(s->msgTime());
            return out.join(QLatin1Char(' '));
        };
        QCOMPARE(ids(), QStringLiteral("1:1@1 1:2@20 1:3@3 1:4@4 1:5@5 1:6@6 2:3@30"));

        // One removal names a chat twice and one that is unknown; the rest close up in order.
        QSignalSpy deleted(chat, &ChatEngine::deleteSessions);
        chat->removeSessions({session(2, User, 0), session(5, User, 0), session(2, User, 0), session(99, User, 0), nullptr});
        QCOMPARE(deleted.count(), 1);
        QCOMPARE(deleted.at(0).at(0).value<Sessions>().size(), size_t(2));
        QCOMPARE(ids(), QStringLiteral("1:1@1 1:3@3 1:4@4 1:6@6 2:3@30"));
        QVERIFY(!chat->getSession(ClusterID(2, User)));
        QCOMPARE(chat->getSession(ClusterID(6, User))->msgTime(), quint32(6));
        QCOMPARE(chat->getSession(ClusterID(3, Group))->msgTime(), quint32(30));

        // Lookups after the shift still land on the right chat; a returning chat goes last.
        chat->touchSessions({session(6, User, 60), session(3, Group, 31)});
        chat->insertSessions({session(2, User, 200)});
        QCOMPARE(ids(), QStringLiteral("1:1@1 1:3@3 1:4@4 1:6@60 2:3@31 1:2@200"));
        chat->removeSessions({session(1, User, 0)});
        chat->touchSessions({session(2, User, 201)});
        QCOMPARE(chat->getSession(ClusterID(2, User))->msgTime(), quint32(201));
        QCOMPARE(ids(), QStringLiteral("1:3@3 1:4@4 1:6@60 2:3@31 1:2@201"));
        chat->clear();
        QVERIFY(chat->getSessions().empty());
        QVERIFY(!chat->getSession(ClusterID(3, User)));
    }

    void generatorShouldMakeTheLargeSchoolShape()
    {
        const QJsonObject world = WorldGenerator::generate(WorldGenerator::largeSchool());
        QCOMPARE(world.value(QStringLiteral("friends")).toArray().size(), 20000);
        QCOMPARE(world.value(QStringLiteral("sessions")).toArray().size(), 5000);
        QCOMPARE(world.value(QStringLiteral("companies")).toArray().size(), 10);
        QCOMPARE(world.value(QStringLiteral("schools")).toArray().size(), 20);
        // The same seed gives the same world.
        WorldGenerator::Params small;
        QCOMPARE(WorldGenerator::generate(small), WorldGenerator::generate(small));
        WorldLoader loader;
        QVERIFY2(loader.load(WorldGenerator::generate(small)), qPrintable(loader.error()));
    }
};

QTEST_MAIN(EngineTest)
#include "tst_engine.moc"
