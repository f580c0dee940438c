// SPDX-License-Identifier: LGPL-2.1-or-later
// Random engine mutations, seeded, against the contacts tree under QAbstractItemModelTester.
// After every step the tree must hold: every sibling list in compareItem order, the headings
// in place, no node twice under one parent, a course never next to its own class chat, aliases
// shown wherever their cluster is listed, recent chats with the engine's times.
//
//   ORV_MUTATION_STEPS=20000 ORV_MUTATION_SEED=42 tst_contactsmutations   (a longer run)
#include "contactsfixture.h"
#include "randomnames.h"

#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "noticeengine.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"

#include <QLoggingCategory>
#include <QPixmap>
#include <QSet>
#include <QtTest>
#include <functional>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

quint32 envNumber(const char *name, quint32 def)
{
    bool ok = false;
    const quint32 v = qEnvironmentVariable(name).toUInt(&ok);
    return ok ? v : def;
}

class Mutator
{
public:
    explicit Mutator(quint32 seed) : m_gen(seed) {}

    // Applies one random mutation and says what it was.
    QString step()
    {
        using Op = QString (Mutator::*)();
        static const Op ops[] = {
            &Mutator::addFriend, &Mutator::addFriend, &Mutator::addGroup, &Mutator::removeCluster,
            &Mutator::removeOddValues, &Mutator::setAlias, &Mutator::setAlias, &Mutator::setAlias,
            &Mutator::renameCluster, &Mutator::renameUser, &Mutator::addSessions, &Mutator::touchSessions,
            &Mutator::touchSessionsTwiceInABatch, &Mutator::removeSessions, &Mutator::addCourse, &Mutator::changeCourse,
            &Mutator::changeClassMembers, &Mutator::changeMyRole, &Mutator::changeSchoolChart, &Mutator::changeOrgChart,
            &Mutator::singleUsers, &Mutator::check, &Mutator::syncs,
        };
        return (this->*ops[m_gen.number(sizeof ops / sizeof *ops)])();
    }

private:
    ContactsEngine *contacts() const { return ContactsEngine::instance(); }
    CourseEngine *courses() const { return CourseEngine::instance(); }
    ChatEngine *chat() const { return ChatEngine::instance(); }

    quint32 pick(size_t n) { return m_gen.number(quint32(std::max<size_t>(n, 1))); }
    ClusterInfoPtr anyCluster()
    {
        const auto all = contacts()->getClusterInfos();
        return all.empty() ? nullptr : all[pick(all.size())];
    }
    ClusterInfoPtr anyClass()
    {
        std::vector<ClusterInfoPtr> classes;
        for (const auto &c : contacts()->getClusterInfos()) {
            if (c->courseType() == 7)
                classes.push_back(c);
        }
        return classes.empty() ? nullptr : classes[pick(classes.size())];
    }
    quint64 anyUid() { return 1 + pick(size_t(m_nextUid)); }
    quint32 time() { return 1000 + m_gen.number(100000); }

    QString addFriend()
    {
        const quint64 uid = m_nextUid++;
        auto user = std::make_shared<UserInfo>(uid);
        user->setNickname(m_gen.next());
        contacts()->setUsers({user});
        auto c = std::make_shared<ClusterInfo>(ClusterID(uid, User));
        c->setFriendly(m_gen.number(4) != 0);
        if (m_gen.number(3) == 0)
            c->userConfig()->setAlias(m_gen.next());
        contacts()->addClusters({c});
        return QStringLiteral("add friend %1").arg(uid);
    }

    QString addGroup()
    {
        // Some take the number of a course, so a course and its class chat meet.
        const auto list = courses()->getSnapshotCourses();
        const bool ofCourse = !list.isEmpty() && m_gen.number(2) == 0;
        const quint64 id = ofCourse ? list.at(int(pick(size_t(list.size()))))->courseId() : m_nextCluster++;
        const bool isClass = ofCourse || m_gen.number(2) == 0;
        auto c = std::make_shared<ClusterInfo>(ClusterID(id, isClass ? Class : Group));
        c->setName(m_gen.next());
        if (isClass && m_gen.number(2) == 0) {
            c->setSchoolId(900);
            c->setCourseType(7);
            ClusterMembers members;
            auto me = std::make_shared<ClusterMemberInfo>(1);
            me->setLessonIdentity(m_gen.number(3) ? LessonIdentity::Teacher : LessonIdentity::Student);
            members.push_back(me);
            for (int i = 0; i < 3; ++i) {
                auto m = std::make_shared<ClusterMemberInfo>(anyUid());
                m->setNickname(m_gen.number(2) ? m_gen.next() : QString());
                members.push_back(m);
            }
            c->setMembers(members);
        }
        contacts()->addClusters({c});
        return QStringLiteral("add cluster %1").arg(c->id().toString());
    }

    QString removeCluster()
    {
        const auto c = anyCluster();
        if (!c)
            return QStringLiteral("remove nothing");
        contacts()->removeClusters({c->id()});
        return QStringLiteral("remove cluster %1").arg(c->id().toString());
    }

    QString removeOddValues()
    {
        // Headings, the school, departments, and a kind no cluster has.
        static const quint64 ids[] = {1, 2, 3, 4, 6, 7, 9, 10, 11, 19, 20, 21, 700, 900};
        const ClusterID id(ids[pick(sizeof ids / sizeof *ids)], m_gen.number(4) ? Local : ClusterType(5));
        Q_EMIT contacts()->signalDelCluster({id});
        return QStringLiteral("remove odd value %1").arg(id.toString());
    }

    QString setAlias()
    {
        const auto c = anyCluster();
        if (!c)
            return QStringLiteral("alias nothing");
        const QString alias = m_gen.number(3) == 0 ? QString() : m_gen.next();
        contacts()->setClusterAlias(c->id(), alias);
        return QStringLiteral("alias %1 \"%2\"").arg(c->id().toString(), alias);
    }

    QString renameCluster()
    {
        const auto c = anyCluster();
        if (!c || c->id().type() == User)
            return QStringLiteral("rename nothing");
        contacts()->renameCluster(c->id(), m_gen.next());
        return QStringLiteral("rename %1").arg(c->id().toString());
    }

    QString renameUser()
    {
        auto user = std::make_shared<UserInfo>(anyUid());
        user->setNickname(m_gen.next());
        user->setValid(m_gen.number(5) != 0);
        contacts()->setUsers({user});
        // The engine announces a friend's new name as a cluster change too.
        if (contacts()->getClusterInfo(ClusterID(user->uid(), User)))
            Q_EMIT contacts()->updateClusterInfo({ClusterID(user->uid(), User)});
        return QStringLiteral("rename user %1").arg(user->uid());
    }

    ClusterID anyChat()
    {
        if (m_gen.number(3) == 0)
            return ClusterID(anyUid(), User);
        const auto c = anyCluster();
        return c ? c->id() : ClusterID(anyUid(), User);
    }

    QString addSessions()
    {
        Sessions batch;
        QSet<QString> chats;
        for (quint32 i = 0, n = 1 + m_gen.number(3); i < n; ++i) {
            const ClusterID id = anyChat();
            if (!chats.contains(id.toString())) { // the engine keeps the last of a chat's sessions, the tree the newest
                chats.insert(id.toString());
                batch.push_back(std::make_shared<Session>(id, time()));
            }
        }
        chat()->insertSessions(batch);
        return QStringLiteral("add %1 sessions").arg(batch.size());
    }

    QString touchSessions()
    {
        const auto all = chat()->getSessions();
        Sessions batch;
        for (quint32 i = 0, n = 1 + m_gen.number(3); i < n && !all.empty(); ++i)
            batch.push_back(std::make_shared<Session>(all[pick(all.size())]->clusterID(), time()));
        chat()->touchSessions(batch);
        return QStringLiteral("touch %1 sessions").arg(batch.size());
    }

    QString touchSessionsTwiceInABatch()
    {
        // As an engine that reports two messages of one chat at once: two records, the engine
        // keeping the newer time.
        const auto all = chat()->getSessions();
        if (all.empty())
            return QStringLiteral("touch nothing");
        const SessionPtr s = all[pick(all.size())];
        const quint32 a = time(), b = time();
        s->setMsgTime(std::max(a, b));
        Q_EMIT chat()->updateSessions({std::make_shared<Session>(s->clusterID(), a), std::make_shared<Session>(s->clusterID(), b)});
        return QStringLiteral("touch %1 twice (%2, %3)").arg(s->clusterID().toString()).arg(a).arg(b);
    }

    QString removeSessions()
    {
        const auto all = chat()->getSessions();
        if (all.empty())
            return QStringLiteral("remove no session");
        const SessionPtr s = all[pick(all.size())];
        chat()->removeSessions({s});
        return QStringLiteral("remove session %1").arg(s->clusterID().toString());
    }

    QString addCourse()
    {
        // Some take the number of a class chat.
        const auto c = anyCluster();
        const quint64 id = c && c->id().type() == Class && m_gen.number(2) ? c->id().id() : m_nextCluster++;
        static const int kinds[] = {SnapshotCourse::Regular, SnapshotCourse::SingleOpen, SnapshotCourse::Trial, SnapshotCourse::Series};
        auto course = SnapshotCoursePtr::create(id, 900, m_gen.next(), kinds[pick(4)]);
        std::vector<SnapshotLessonPtr> lessons;
        for (quint32 i = 0, n = m_gen.number(3); i < n; ++i) {
            auto l = SnapshotLessonPtr::create(id * 10 + i, id, 900, m_gen.next());
            l->setFirst(m_gen.number(2));
            l->setState(1 + int(m_gen.number(4)));
            lessons.push_back(l);
        }
        courses()->addCourse(course, lessons);
        return QStringLiteral("add course %1").arg(id);
    }

    QString changeCourse()
    {
        const auto list = courses()->getSnapshotCourses();
        if (list.isEmpty())
            return QStringLiteral("change no course");
        const auto course = list.at(int(pick(size_t(list.size()))));
        const quint64 id = course->courseId();
        switch (m_gen.number(5)) {
        case 0:
            courses()->removeCourse(id);
            return QStringLiteral("remove course %1").arg(id);
        case 1:
            courses()->renameCourse(id, m_gen.next());
            return QStringLiteral("rename course %1").arg(id);
        case 2:
            course->setKind(m_gen.number(2) ? SnapshotCourse::Regular : SnapshotCourse::SingleOpen);
            Q_EMIT courses()->signalCourseAdded(900, id);
            return QStringLiteral("course %1 announced again").arg(id);
        case 3: {
            const auto lessons = courses()->getLessons(course->schoolId(), id);
            if (lessons.empty())
                return QStringLiteral("course %1 has no lesson").arg(id);
            courses()->setLessonState(id, lessons[pick(lessons.size())]->lessonId(), 1 + int(m_gen.number(4)));
            return QStringLiteral("lesson state of course %1").arg(id);
        }
        default:
            courses()->completeSnapshot();
            return QStringLiteral("course snapshot");
        }
    }

    QString changeClassMembers()
    {
        const auto c = anyClass();
        if (!c)
            return QStringLiteral("no class");
        if (m_gen.number(2)) {
            auto m = std::make_shared<ClusterMemberInfo>(anyUid());
            m->setNickname(m_gen.number(2) ? m_gen.next() : QString());
            contacts()->addClusterMembers(c->id(), {m});
            return QStringLiteral("member %1 joins %2").arg(m->id()).arg(c->id().toString());
        }
        const auto members = c->members();
        if (members.size() < 2)
            return QStringLiteral("no member to remove");
        const quint64 uid = members[1 + pick(members.size() - 1)]->id();
        if (uid == 1)
            return QStringLiteral("keep myself");
        contacts()->removeClusterMembers(c->id(), {uid});
        return QStringLiteral("member %1 leaves %2").arg(uid).arg(c->id().toString());
    }

    QString changeMyRole()
    {
        const auto c = anyClass();
        const auto me = c ? c->getMember(1) : ClusterMemberInfoPtr();
        if (!me)
            return QStringLiteral("no class of mine");
        auto changed = std::make_shared<ClusterMemberInfo>(*me);
        changed->setLessonIdentity(me->lessonIdentity() == LessonIdentity::Teacher ? LessonIdentity::Student : LessonIdentity::Teacher);
        contacts()->updateClusterMembers(c->id(), {changed});
        return QStringLiteral("my role in %1").arg(c->id().toString());
    }

    QString changeSchoolChart()
    {
        // New departments may take an id already in the chart, also one of their own parents.
        auto &store = SchoolChartManager::instance()->store();
        const quint64 id = 2 + m_gen.number(6);
        const quint64 parent = m_gen.number(2) ? 0 : 2 + m_gen.number(6);
        store.addDepartment(std::make_shared<Org::DepartmentInfo>(id, 900, parent, m_gen.next(), int(m_gen.number(4)) - 1));
        store.addEmployee(std::make_shared<SchoolChart::EmployeeInfo>(anyUid(), 900, id, m_gen.next()));
        SchoolChartManager::instance()->completeSync();
        return QStringLiteral("school department %1 under %2").arg(id).arg(parent);
    }

    QString changeOrgChart()
    {
        auto &store = OrgChartManager::instance()->store();
        const quint64 id = 10 + m_gen.number(4);
        store.addDepartment(std::make_shared<Org::DepartmentInfo>(id, 700, m_gen.number(2) ? 0 : 10 + m_gen.number(4), m_gen.next(), 1));
        store.addEmployee(std::make_shared<Org::EmployeeInfo>(anyUid(), 700, id, m_gen.next()));
        if (m_gen.number(2))
            OrgChartManager::instance()->completeSync();
        else
            OrgChartManager::instance()->completeSchoolSync(700);
        return QStringLiteral("company department %1").arg(id);
    }

    QString singleUsers()
    {
        auto *model = ContactsTreeModel::instance();
        if (m_gen.number(4) == 0) {
            model->clearSingleUsers();
            return QStringLiteral("clear single users");
        }
        std::vector<quint64> uids;
        for (quint32 i = 0, n = m_gen.number(5); i < n; ++i)
            uids.push_back(anyUid());
        model->setSingleUsers(uids);
        return QStringLiteral("%1 single users").arg(uids.size());
    }

    QString check()
    {
        auto *model = ContactsTreeModel::instance();
        std::vector<QModelIndex> all;
        model->indexByValue(QModelIndex(), std::vector<quint64>{anyUid()}, all);
        if (all.empty())
            return QStringLiteral("check nothing");
        model->setData(all[pick(all.size())], m_gen.number(2) ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole);
        return QStringLiteral("check a node");
    }

    QString syncs()
    {
        switch (m_gen.number(3)) {
        case 0:
            contacts()->completeSync();
            return QStringLiteral("cluster sync");
        case 1:
            NoticeEngine::instance()->setUnreadNoticeCount(int(m_gen.number(9)));
            return QStringLiteral("notices");
        default:
            AvatarManager::instance().setUserAvatar(anyUid(), QPixmap());
            return QStringLiteral("avatar");
        }
    }

    RandomNames m_gen;
    quint64 m_nextUid = 60;
    quint64 m_nextCluster = 3000;
};

// What must hold after every step; an empty text when it does.
QString violation(ContactsTreeModel *model)
{
    const Item *root = model->rootItem();
    QList<int> top;
    for (int i = 0; i < root->childCount(); ++i)
        top << root->childItem(i)->type();
    for (int heading : {Item::RecentZoom, Item::NewFriendsZoom, Item::MyGroupsZoom, Item::MyFriendsZoom, Item::PublicCourseZoom}) {
        if (top.count(heading) != 1)
            return QStringLiteral("heading %1 listed %2 times").arg(heading).arg(top.count(heading));
    }

    auto *contacts = ContactsEngine::instance();
    QString problem;
    std::function<void(const Item *, const QString &)> visit = [&](const Item *parent, const QString &path) {
        QSet<QPair<int, QString>> seen;
        QSet<quint64> groupValues, courseValues;
        for (int i = 0; i < parent->childCount() && problem.isEmpty(); ++i) {
            const Item *c = parent->childItem(i);
            if (i > 0 && Item::compareItem(c, parent->childItem(i - 1))) {
                problem = QStringLiteral("%1: \"%2\" (%3) listed before \"%4\" (%5)")
                              .arg(path, parent->childItem(i - 1)->name(), parent->childItem(i - 1)->toString(), c->name(), c->toString());
                return;
            }
            const auto key = qMakePair(int(c->type()), c->toString());
            if (seen.contains(key)) {
                problem = QStringLiteral("%1: %2 of type %3 listed twice").arg(path, c->toString()).arg(c->type());
                return;
            }
            seen.insert(key);
            if (c->type() == Item::Group && c->value().type() == Class)
                groupValues.insert(c->value().id());
            if (c->type() == Item::Course)
                courseValues.insert(c->value().id());

            const auto cluster = contacts->getClusterInfo(c->value());
            const QString alias = cluster ? cluster->userConfig()->alias() : QString();
            const bool listsCluster = c->type() == Item::Friend || c->type() == Item::Group || c->type() == Item::ClassZoom
                || c->type() == Item::RecentChat || c->type() == Item::Course;
            if (listsCluster && !alias.isEmpty() && c->name() != alias) {
                problem = QStringLiteral("%1: %2 shows \"%3\", not its alias \"%4\"").arg(path, c->toString(), c->name(), alias);
                return;
            }
            const bool namedByCluster = c->type() == Item::Group || c->type() == Item::ClassZoom
                || (c->type() == Item::RecentChat && c->value().type() != User);
            if (namedByCluster && cluster && alias.isEmpty() && c->name() != cluster->name()) {
                problem = QStringLiteral("%1: %2 shows \"%3\", not \"%4\"").arg(path, c->toString(), c->name(), cluster->name());
                return;
            }
            if (c->type() == Item::RecentChat) {
                const auto session = ChatEngine::instance()->getSession(c->value());
                if (!session || session->msgTime() != c->lastMsgTime()) {
                    problem = QStringLiteral("%1: recent chat %2 at %3, the engine says %4")
                                  .arg(path, c->toString()).arg(c->lastMsgTime()).arg(session ? qint64(session->msgTime()) : -1);
                    return;
                }
            }
            visit(c, path + QLatin1Char('/') + c->toString());
        }
        const auto both = groupValues & courseValues;
        if (problem.isEmpty() && !both.isEmpty())
            problem = QStringLiteral("%1: course %2 listed next to its class chat").arg(path).arg(*both.begin());
    };
    visit(root, QStringLiteral("root"));
    return problem;
}

} // namespace

class ContactsMutationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Charts with repeated departments and removals of odd values are logged; that is expected here.
        QLoggingCategory::setFilterRules(QStringLiteral("orv.*.info=false\norv.*.debug=false\norv.common.contacts.warning=false"));
    }

    void randomMutationsShouldKeepTheTreeWhole()
    {
        const quint32 seed = envNumber("ORV_MUTATION_SEED", 20240611);
        const quint32 steps = envNumber("ORV_MUTATION_STEPS", 1500);
        qInfo() << "seed" << seed << "steps" << steps << "collation" << QLocale().collation().name();
        ContactsFixture::resetAll();
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        Mutator mutator(seed);
        QStringList recent;
        for (quint32 step = 0; step < steps; ++step) {
            if (step == steps / 3)
                WorldLoader::finishSync(); // the first part runs before the charts have synced
            const QString op = mutator.step();
            recent << op;
            if (recent.size() > 8)
                recent.removeFirst();
            const QString problem = violation(f.model);
            if (!problem.isEmpty())
                QFAIL(qPrintable(QStringLiteral("seed %1, step %2: %3\nlast steps: %4").arg(seed).arg(step).arg(problem, recent.join(QStringLiteral("; ")))));
            if (QTest::currentTestFailed()) // the model tester's report
                QFAIL(qPrintable(QStringLiteral("seed %1, step %2 (%3)").arg(seed).arg(step).arg(op)));
        }
    }
};

QTEST_MAIN(ContactsMutationTest)
#include "tst_contactsmutations.moc"
