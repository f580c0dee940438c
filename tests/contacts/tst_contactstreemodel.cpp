// SPDX-License-Identifier: LGPL-2.1-or-later
#include "contactsfixture.h"
#include "treedump.h"

#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "noticeengine.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"
#include "worldgenerator.h"

#include <QPixmap>
#include <QSignalSpy>
#include <QtTest>
#include <algorithm>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

QStringList localeSorted(QStringList names)
{
    std::stable_sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        return QString::localeAwareCompare(a, b) < 0;
    });
    return names;
}

QModelIndex childNamed(const QAbstractItemModel *m, const QModelIndex &parent, const QString &name)
{
    for (int r = 0; r < m->rowCount(parent); ++r) {
        if (m->index(r, 0, parent).data(ContactsTreeModel::NameRole).toString() == name)
            return m->index(r, 0, parent);
    }
    return {};
}

} // namespace

class ContactsTreeModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Pinyin order for Chinese names; set before the first locale-aware comparison.
        QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
        qRegisterMetaType<QList<QPersistentModelIndex>>();
        qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>();
    }
    void init() { ContactsFixture::resetAll(); }

    void shouldBuildHeadingsAtOnceAndContentOnTheNextTurn()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.model = ContactsTreeModel::instance();
        // Given only the constructor has run: headings, no content.
        QCOMPARE(childTypes(f.model, {}), (QList<int>{11, 7, 1, 2, 3}));
        QCOMPARE(childTypes(f.model, f.model->index(4, 0)), (QList<int>{20, 19, 21}));
        QCOMPARE(f.model->rowCount(f.model->index(0, 0)), 0);
        f.tester = std::make_unique<QAbstractItemModelTester>(f.model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCoreApplication::processEvents();
        // Then the queued content is there and sorted: new friends first, public-course subs 19, 21, 20.
        QCOMPARE(childTypes(f.model, {}), (QList<int>{7, 11, 1, 2, 3}));
        QCOMPARE(childTypes(f.model, f.heading(Item::PublicCourseZoom)), (QList<int>{19, 21, 20}));
        QCOMPARE(childNames(f.model, f.heading(Item::RecentZoom)), (QStringList{"数学组", "Anna Smith", "张伟", "Benny"}));
        QCOMPARE(f.model->columnCount(), 1);
        QCOMPARE(f.model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Column 0"));
    }

    void shouldListGroupsCoursesAndFriends()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        const QModelIndex groups = f.heading(Item::MyGroupsZoom);
        // Hidden courses (single-lesson 201, unknown 202) are absent; course 102 is listed as its class chat.
        QCOMPARE(childNames(f.model, groups),
                 localeSorted({"数学组", "三年级二班", "Physics", "Student only"}) + QStringList{"Algebra"});
        QCOMPARE(childTypes(f.model, groups), (QList<int>{13, 13, 13, 13, 18}));
        const QModelIndex friends = f.heading(Item::MyFriendsZoom);
        QCOMPARE(childNames(f.model, friends), localeSorted({"张伟", "Anna Smith", "李娜", "Benny", "王芳"}));
        const QModelIndex closed = childNamed(f.model, friends, "王芳");
        QCOMPARE(closed.data(ContactsTreeModel::EnableRole).toBool(), false);
        QCOMPARE(closed.data(ContactsTreeModel::ForceDisableRole).toBool(), true);
        QCOMPARE(childNamed(f.model, friends, "李娜").data(ContactsTreeModel::EnableRole).toBool(), true);
    }

    void shouldEmitSyncEndOnceWhateverTheOrder_data()
    {
        QTest::addColumn<bool>("chartFirst");
        QTest::addColumn<bool>("chartBeforeModel");
        QTest::newRow("chart then clusters") << true << false;
        QTest::newRow("clusters then chart") << false << false;
        QTest::newRow("chart synced before the model existed") << true << true;
    }
    void shouldEmitSyncEndOnceWhateverTheOrder()
    {
        QFETCH(bool, chartFirst);
        QFETCH(bool, chartBeforeModel);
        QVERIFY(ContactsFixture::load());
        if (chartBeforeModel)
            SchoolChartManager::instance()->completeSync();
        ContactsFixture f;
        f.create();
        QSignalSpy syncEnd(f.model, &ContactsTreeModel::syncEnd);
        if (chartFirst && !chartBeforeModel)
            SchoolChartManager::instance()->completeSync();
        ContactsEngine::instance()->completeSync();
        if (!chartFirst)
            SchoolChartManager::instance()->completeSync();
        QCOMPARE(syncEnd.count(), 1);
        QCOMPARE(f.model->syncMask(), quint32(3));

        // The class of school 900 is there, members sorted, the left member absent.
        const QModelIndex school = f.heading(Item::SchoolZoom);
        QVERIFY(school.isValid());
        QCOMPARE(childTypes(f.model, school), (QList<int>{9, 9, 10}));
        QCOMPARE(childNames(f.model, school).mid(0, 2), (QStringList{"Admissions", "教务处"}));
        const QModelIndex klass = f.model->index(2, 0, school);
        QCOMPARE(klass.data(ContactsTreeModel::NameRole).toString(), QStringLiteral("三年级二班"));
        QCOMPARE(childNames(f.model, klass), localeSorted({"Me", "学生甲", "小明"}));
        QCOMPARE(f.model->index(0, 0, klass).data(ContactsTreeModel::SchoolIdRole).toULongLong(), quint64(101));

        // A second round of syncs changes nothing and says nothing; classes survive a chart re-sync.
        const QString before = dumpTree(f.model);
        ContactsEngine::instance()->completeSync();
        SchoolChartManager::instance()->completeSync();
        QCOMPARE(syncEnd.count(), 1);
        QCOMPARE(dumpTree(f.model), before);
    }

    void shouldShowClassesOnlyToTheirTeachers()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        const QModelIndex school = f.heading(Item::SchoolZoom);
        // 103: the signed-in user is a student there.
        QVERIFY(!f.model->indexByValue(school, Item::ClassZoom, ClusterID(103, Class)).isValid());
        QVERIFY(f.model->indexByValue(school, Item::ClassZoom, ClusterID(101, Class)).isValid());

        // A new member shows; a member without any name is logged.
        auto m = std::make_shared<ClusterMemberInfo>(77);
        QTest::ignoreMessage(QtInfoMsg, "can not find user info: 77");
        ContactsEngine::instance()->addClusterMembers(ClusterID(101, Class), {m});
        QModelIndex klass = f.model->indexByValue(school, Item::ClassZoom, ClusterID(101, Class));
        QCOMPARE(f.model->rowCount(klass), 4);

        // Demoted to student: the class disappears from the school.
        auto me = std::make_shared<ClusterMemberInfo>(*ContactsEngine::instance()->getClusterInfo(ClusterID(101, Class))->getMember(1));
        me->setLessonIdentity(LessonIdentity::Student);
        ContactsEngine::instance()->updateClusterMembers(ClusterID(101, Class), {me});
        QVERIFY(!f.model->indexByValue(f.heading(Item::SchoolZoom), Item::ClassZoom, ClusterID(101, Class)).isValid());
    }

    void shouldCheckAPersonEverywhereTheyStand()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        Item::setDefaultPermission(2);
        const QModelIndex friendNode = childNamed(f.model, f.heading(Item::MyFriendsZoom), "张伟");
        std::vector<QModelIndex> places;
        f.model->indexByValue(QModelIndex(), std::vector<quint64>{2}, places);
        QSignalSpy changed(f.model, &QAbstractItemModel::dataChanged);

        // When the friend is checked, the company and school entries of the same person follow.
        QVERIFY(f.model->setData(friendNode, Qt::Checked, Qt::CheckStateRole));
        QCOMPARE(changed.count(), 3);
        int checkedPeople = 0;
        for (const QModelIndex &idx : places) {
            const int type = idx.data(ContactsTreeModel::TypeRole).toInt();
            if (type == Item::Friend || type == Item::Employee || type == Item::SchoolEmployee) {
                QCOMPARE(idx.data(Qt::CheckStateRole).toInt(), int(Qt::Checked));
                QCOMPARE(idx.data(ContactsTreeModel::PermissionRole).toInt(), 2);
                ++checkedPeople;
            }
        }
        QCOMPARE(checkedPeople, 3);
        // The recent-chat entry is not a person node and stays as it was.
        QCOMPARE(childNamed(f.model, f.heading(Item::RecentZoom), "张伟").data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));

        // Starting from the school entry unchecks all three.
        std::vector<QModelIndex> staff;
        f.model->indexByValue(f.heading(Item::SchoolZoom), Item::SchoolEmployee, ClusterID(2, SchoolStaff), staff);
        QCOMPARE(staff.size(), size_t(1));
        QVERIFY(f.model->setData(staff.front(), Qt::Unchecked, Qt::CheckStateRole));
        for (const QModelIndex &idx : places)
            QCOMPARE(idx.data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));

        // A friend whose account is closed is not a valid friend: only the node itself changes.
        changed.clear();
        const QModelIndex closed = childNamed(f.model, f.heading(Item::MyFriendsZoom), "王芳");
        QVERIFY(f.model->setData(closed, Qt::Checked, Qt::CheckStateRole));
        QCOMPARE(changed.count(), 1);
        Item::setDefaultPermission(0);
    }

    void shouldFollowTheSetDataRules()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        QSignalSpy reset(f.model, &QAbstractItemModel::modelReset);
        QSignalSpy changed(f.model, &QAbstractItemModel::dataChanged);
        QVERIFY(!f.model->setData(QModelIndex(), Qt::Checked, Qt::CheckStateRole));
        const QModelIndex group = f.model->index(0, 0, f.heading(Item::MyGroupsZoom));
        QVERIFY(!f.model->setData(group, QStringLiteral("x"), Qt::ToolTipRole));
        QVERIFY(!f.model->setData(group, QStringLiteral("x"), ContactsTreeModel::NameRole));

        QVERIFY(f.model->setData(group, 7, ContactsTreeModel::PermissionRole));
        QCOMPARE(group.data(ContactsTreeModel::PermissionRole).toInt(), 7);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(2).value<QVector<int>>(), (QVector<int>{Qt::CheckStateRole, Qt::DisplayRole}));

        QVERIFY(f.model->setData(group, QVariant(), ContactsTreeModel::RefreshRole));
        QCOMPARE(changed.count(), 2);
        QCOMPARE(reset.count(), 0);
        QVERIFY(f.model->setData(f.heading(Item::MyGroupsZoom), QVariant(), ContactsTreeModel::RefreshRole));
        QVERIFY(f.model->setData(QModelIndex(), QVariant(), ContactsTreeModel::RefreshRole));
        QCOMPARE(reset.count(), 2);
    }

    void shouldAnswerTheCustomRoles()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        const QModelIndex groups = f.heading(Item::MyGroupsZoom);
        // School 901 is of service type 2: no school name; 102's school is 900.
        QVERIFY(!childNamed(f.model, groups, "数学组").data(ContactsTreeModel::SchoolNameRole).isValid());
        QCOMPARE(childNamed(f.model, groups, "Physics").data(ContactsTreeModel::SchoolNameRole).toString(), QStringLiteral("第一中学"));
        QVERIFY(!childNamed(f.model, groups, "Algebra").data(ContactsTreeModel::SchoolNameRole).isValid());

        const QModelIndex value = childNamed(f.model, groups, "Physics");
        QCOMPARE(value.data(ContactsTreeModel::ValueRole).value<ClusterID>(), ClusterID(102, Class));
        QCOMPARE(value.data(ContactsTreeModel::ChildCountRole).toInt(), 0);
        QVERIFY(!value.data(Qt::DisplayRole).isValid());
        QVERIFY(!QModelIndex().data(ContactsTreeModel::NameRole).isValid());

        // The school chart's avatar of a staff member, none for others.
        QPixmap avatar(8, 8);
        avatar.fill(Qt::red);
        SchoolChartManager::instance()->findEmployeeInfo(8, 900)->setAvatar(avatar);
        std::vector<QModelIndex> staff;
        f.model->indexByValue(QModelIndex(), Item::SchoolEmployee, ClusterID(8, SchoolStaff), staff);
        QCOMPARE(staff.size(), size_t(1));
        QCOMPARE(staff[0].data(ContactsTreeModel::EmployeeAvatarRole).value<QPixmap>().toImage().pixelColor(0, 0), QColor(Qt::red));
        QVERIFY(!childNamed(f.model, groups, "Physics").data(ContactsTreeModel::EmployeeAvatarRole).isValid());

        // A school's new name reaches the groups heading's rows.
        QSignalSpy changed(f.model, &QAbstractItemModel::dataChanged);
        CourseEngine::instance()->setSchool(std::make_shared<SchoolInfo>(900, QStringLiteral("第二中学"), 1));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(2).value<QVector<int>>(), QVector<int>{ContactsTreeModel::SchoolNameRole});
        QCOMPARE(childNamed(f.model, groups, "Physics").data(ContactsTreeModel::SchoolNameRole).toString(), QStringLiteral("第二中学"));

        changed.clear();
        NoticeEngine::instance()->setUnreadNoticeCount(9);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<QModelIndex>(), f.heading(Item::NewFriendsZoom));
    }

    void shouldShowAliasesEverywhereAndKeepOrderOnRename()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        const QModelIndex friends = f.heading(Item::MyFriendsZoom);
        QPersistentModelIndex anna = childNamed(f.model, friends, "Anna Smith");
        QSignalSpy layout(f.model, &QAbstractItemModel::layoutChanged);
        QSignalSpy reset(f.model, &QAbstractItemModel::modelReset);

        ContactsEngine::instance()->setClusterAlias(ClusterID(3, User), QStringLiteral("Zed"));
        QCOMPARE(anna.data(ContactsTreeModel::NameRole).toString(), QStringLiteral("Zed"));
        QCOMPARE(childNamed(f.model, f.heading(Item::RecentZoom), "Zed").isValid(), true);
        QCOMPARE(childNames(f.model, friends), localeSorted(childNames(f.model, friends)));
        QCOMPARE(reset.count(), 0);

        // A group's alias shows on its group and recent entries.
        ContactsEngine::instance()->setClusterAlias(ClusterID(100, Group), QStringLiteral("Maths"));
        QVERIFY(childNamed(f.model, f.heading(Item::MyGroupsZoom), "Maths").isValid());
        QVERIFY(childNamed(f.model, f.heading(Item::RecentZoom), "Maths").isValid());

        // A rename of the cluster itself is ignored while the alias stands, and shows when it goes.
        ContactsEngine::instance()->renameCluster(ClusterID(100, Group), QStringLiteral("代数组"));
        QVERIFY(childNamed(f.model, f.heading(Item::MyGroupsZoom), "Maths").isValid());
        ContactsEngine::instance()->setClusterAlias(ClusterID(100, Group), QString());
        QVERIFY(childNamed(f.model, f.heading(Item::MyGroupsZoom), "代数组").isValid());
        QVERIFY(childNamed(f.model, f.heading(Item::RecentZoom), "代数组").isValid());
        QVERIFY(layout.count() >= 1);

        // Closing an account disables its friend and recent entries.
        auto user = std::make_shared<UserInfo>(*ContactsEngine::instance()->getUserInfo(2));
        user->setValid(false);
        ContactsEngine::instance()->setUsers({user});
        ContactsEngine::instance()->updateClusters({ContactsEngine::instance()->getClusterInfo(ClusterID(2, User))});
        QCOMPARE(childNamed(f.model, friends, "张伟").data(ContactsTreeModel::EnableRole).toBool(), false);
        QCOMPARE(childNamed(f.model, f.heading(Item::RecentZoom), "张伟").data(ContactsTreeModel::EnableRole).toBool(), false);
    }

    void shouldAddAndRemoveClustersWithoutDuplicates()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        auto *engine = ContactsEngine::instance();

        // 7 is only a recent chat; becoming a friend adds the friend entry once.
        ChatEngine::instance()->insertSessions({std::make_shared<Session>(ClusterID(7, User), 900)});
        QCOMPARE(childNames(f.model, f.heading(Item::RecentZoom)).first(), QStringLiteral("Zoe Stranger"));
        auto zoe = std::make_shared<ClusterInfo>(ClusterID(7, User));
        zoe->setFriendly(true);
        engine->addClusters({zoe});
        Q_EMIT engine->signalAddCluster({ClusterID(7, User)});
        std::vector<QModelIndex> found;
        f.model->indexByValue(f.heading(Item::MyFriendsZoom), Item::Friend, ClusterID(7, User), found);
        QCOMPARE(found.size(), size_t(1));

        // A course listed before its class chat gives way to the chat.
        CourseEngine::instance()->insertCourseQuietly(SnapshotCoursePtr::create(300, 900, QStringLiteral("Chemistry"), 1), {});
        CourseEngine::instance()->completeSnapshot();
        const QModelIndex groups = f.heading(Item::MyGroupsZoom);
        QVERIFY(f.model->indexByValue(groups, Item::Course, ClusterID(300, Class)).isValid());
        auto chem = std::make_shared<ClusterInfo>(ClusterID(300, Class));
        chem->setName(QStringLiteral("Chemistry chat"));
        engine->addClusters({chem});
        QVERIFY(!f.model->indexByValue(groups, Item::Course, ClusterID(300, Class)).isValid());
        QVERIFY(f.model->indexByValue(groups, Item::Group, ClusterID(300, Class)).isValid());

        // Removing a friend removes every entry holding that value.
        engine->removeClusters({ClusterID(3, User)});
        found.clear();
        f.model->indexByValue(QModelIndex(), std::vector<ClusterID>{ClusterID(3, User)}, found, false);
        QVERIFY(found.empty());
        // But the school staff entry of the same person stays: it is another value.
        QVERIFY(f.model->indexByValue(QModelIndex(), Item::SchoolEmployee, ClusterID(3, SchoolStaff)).isValid());
    }

    void shouldKeepRecentChatsNewestFirst()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        const QModelIndex recent = f.heading(Item::RecentZoom);
        auto *chat = ChatEngine::instance();
        chat->touchSessions({std::make_shared<Session>(ClusterID(2, User), 1000)});
        QCOMPARE(childNames(f.model, recent), (QStringList{"张伟", "数学组", "Anna Smith", "Benny"}));
        chat->insertSessions({std::make_shared<Session>(ClusterID(4, User), 250),
                              std::make_shared<Session>(ClusterID(105, Assistant), 5000),
                              std::make_shared<Session>(ClusterID(104, Unlisted), 5000)});
        QCOMPARE(childNames(f.model, recent), (QStringList{"张伟", "数学组", "李娜", "Anna Smith", "Benny"}));
        chat->removeSessions({std::make_shared<Session>(ClusterID(100, Group), 0)});
        QCOMPARE(childNames(f.model, recent), (QStringList{"张伟", "李娜", "Anna Smith", "Benny"}));
        QCOMPARE(childNamed(f.model, recent, "张伟").data(ContactsTreeModel::ValueRole).value<ClusterID>(), ClusterID(2, User));
    }

    void shouldFollowCourseChanges()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        auto *courses = CourseEngine::instance();
        const QModelIndex groups = f.heading(Item::MyGroupsZoom);
        courses->renameCourse(200, QStringLiteral("Geometry"));
        QVERIFY(childNamed(f.model, groups, "Geometry").isValid());
        courses->removeCourse(200);
        QVERIFY(!f.model->indexByValue(groups, Item::Course, ClusterID(200, Class)).isValid());

        // A course announced alone is listed only when it is a single-lesson or unknown-lesson one.
        const SnapshotLessonPtr lesson = SnapshotLessonPtr::create(1, 310, 900, QString());
        courses->addCourse(SnapshotCoursePtr::create(310, 900, QStringLiteral("Regular"), 1), {lesson});
        QVERIFY(!f.model->indexByValue(groups, Item::Course, ClusterID(310, Class)).isValid());
        courses->addCourse(SnapshotCoursePtr::create(311, 900, QStringLiteral("Trial"), SnapshotCourse::Trial), {});
        QVERIFY(f.model->indexByValue(groups, Item::Course, ClusterID(311, Class)).isValid());

        // A lesson change re-decides its course: the trial course loses its single-lesson kind.
        courses->getSnapshotCourse(311)->setKind(1);
        courses->changeLessons({{900, 311, 1}, {900, 311, 2}});
        QVERIFY(!f.model->indexByValue(groups, Item::Course, ClusterID(311, Class)).isValid());

        // The snapshot rebuilds the course list as at start: Regular is now listed.
        courses->completeSnapshot();
        QVERIFY(f.model->indexByValue(groups, Item::Course, ClusterID(310, Class)).isValid());
    }

    void shouldBuildAndDropCompanies()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        const QModelIndex company = f.heading(Item::CompanyZoom);
        QCOMPARE(company.data(ContactsTreeModel::NameRole).toString(), QStringLiteral("Acme 公司"));
        QCOMPARE(childNames(f.model, company), (QStringList{"Sales", "R&D"}));
        QCOMPARE(childNames(f.model, f.model->index(0, 0, company)), localeSorted({"Me", "张伟"}));
        QCOMPARE(childNames(f.model, f.model->index(1, 0, company)), QStringList{"Carl"});
        QCOMPARE(childTypes(f.model, {}), (QList<int>{7, 11, 1, 2, 4, 8, 3}));

        // Leaving the company removes it on its next sync.
        auto &store = OrgChartManager::instance()->store();
        store.removeSchool(700);
        store.addSchool(std::make_shared<Org::SchoolInfo>(700, QStringLiteral("Acme 公司")));
        OrgChartManager::instance()->completeSchoolSync(700);
        QVERIFY(!f.heading(Item::CompanyZoom).isValid());
    }

    void shouldFindNodesDepthFirst()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        // Every node with id 2, whatever its kind, in depth-first order: the recent chat, the
        // friends heading (2, Local) and the friend, the company employee, the school department
        // (2, Local) and the staff member inside it.
        std::vector<QModelIndex> found;
        f.model->indexByValue(QModelIndex(), std::vector<quint64>{2}, found);
        QList<int> types;
        for (const QModelIndex &idx : found)
            types << idx.data(ContactsTreeModel::TypeRole).toInt();
        QCOMPARE(types, (QList<int>{22, 2, 12, 14, 9, 15}));

        // The type-and-value lookup ignores the ClusterType but never mixes item types.
        QCOMPARE(f.model->indexByValue(QModelIndex(), Item::Friend, ClusterID(2, OrgStaff)).data(ContactsTreeModel::TypeRole).toInt(),
                 int(Item::Friend));
        QCOMPARE(f.model->indexByValue(QModelIndex(), Item::SchoolDepartmentZoom, ClusterID(2, Local)).data(ContactsTreeModel::NameRole).toString(),
                 QStringLiteral("教务处"));

        std::vector<ClusterID> values{ClusterID(2, User), ClusterID(999, User), ClusterID(100, Group)};
        found.clear();
        f.model->remainsByValue(QModelIndex(), values, found, false);
        QCOMPARE(values, std::vector<ClusterID>{ClusterID(999, User)});
        QCOMPARE(found.size(), size_t(4)); // 2 and 100 each as recent chat and contact

        f.model->setCheckedItems(QModelIndex(), {ClusterID(100, Group), ClusterID(4, User)});
        found.clear();
        f.model->enumCheckedByValue(QModelIndex(), {ClusterID(100, Group), ClusterID(2, User)}, found);
        QCOMPARE(found.size(), size_t(2)); // group and its recent chat
        f.model->resetCheckState();
        found.clear();
        f.model->enumCheckedByValue(QModelIndex(), {ClusterID(100, Group), ClusterID(4, User)}, found);
        QVERIFY(found.empty());

        f.model->setDisableItems({ClusterID(4, User)});
        QCOMPARE(childNamed(f.model, f.heading(Item::MyFriendsZoom), "李娜").data(ContactsTreeModel::EnableRole).toBool(), false);
        f.model->resetEnableState();
        QCOMPARE(childNamed(f.model, f.heading(Item::MyFriendsZoom), "李娜").data(ContactsTreeModel::EnableRole).toBool(), true);
    }

    void shouldManageTheSingleUsersList()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        f.model->setSingleUsers({3, 999});
        const QModelIndex heading = f.heading(Item::SingleUsersZoom);
        QVERIFY(heading.isValid());
        QCOMPARE(childTypes(f.model, {}), (QList<int>{7, 11, 1, 2, 6, 3}));
        QCOMPARE(f.model->rowCount(heading), 2);
        const QModelIndex unknown = f.model->indexByValue(heading, Item::SingleUser, ClusterID(999, OrgStaff));
        QCOMPARE(unknown.data(ContactsTreeModel::ForceDisableRole).toBool(), true);

        // Names from a cluster's member nicknames.
        ClusterID klass(101, Class);
        f.model->setSingleUsers({51, 50}, klass);
        QCOMPARE(childNames(f.model, f.heading(Item::SingleUsersZoom)), localeSorted({"小明", "学生甲"}));

        f.model->clearSingleUsers();
        QCOMPARE(f.model->rowCount(f.heading(Item::SingleUsersZoom)), 0);
    }

    void shouldRenameClassMembersOnUserChanges()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        auto user = std::make_shared<UserInfo>(50);
        user->setNickname(QStringLiteral("Aaron"));
        ContactsEngine::instance()->setUsers({user});
        const QModelIndex klass = f.model->indexByValue(QModelIndex(), Item::ClassZoom, ClusterID(101, Class));
        QCOMPARE(childNames(f.model, klass), localeSorted({"Me", "Aaron", "小明"}));
    }

    void shouldSortLikeLocaleAwareCompare()
    {
        // Enough friends for the collation-key path; the names mix scripts and repeat.
        WorldGenerator::Params p;
        p.friends = 400;
        p.groups = p.courses = p.sessions = p.companies = p.schools = 0;
        QVERIFY(ContactsFixture::load(QJsonDocument(WorldGenerator::generate(p)).toJson().constData()));
        ContactsFixture f;
        f.create();
        const QModelIndex friends = f.heading(Item::MyFriendsZoom);
        const QStringList names = childNames(f.model, friends);
        QCOMPARE(names.size(), 400);
        QCOMPARE(names, localeSorted(names));

        // Renaming many at once keeps the order exact too.
        for (int uid = 2; uid < 60; ++uid)
            ContactsEngine::instance()->setClusterAlias(ClusterID(quint64(uid), User), WorldGenerator::personName(99, uid));
        const QStringList after = childNames(f.model, friends);
        QCOMPARE(after, localeSorted(after));
    }

    void shouldCompareSiblingsByRankThenKey()
    {
        ContactsTreeItem root(Item::Root, ClusterID());
        auto *d1 = new Item(Item::SchoolDepartmentZoom, ClusterID(1, Local), &root);
        auto *cls = new Item(Item::ClassZoom, ClusterID(5, Class), &root);
        auto *d2 = new Item(Item::SchoolDepartmentZoom, ClusterID(2, Local), &root);
        auto *unranked = new Item(Item::SchoolDepartmentZoom, ClusterID(3, Local), &root);
        auto *staff = new Item(Item::SchoolEmployee, ClusterID(9, SchoolStaff), &root);
        d1->setSortNum(2);
        d2->setSortNum(1);
        cls->setSortNum(INT_MAX);
        root.sort();
        QCOMPARE(root.children(), (QList<AbstractTreeItem *>{staff, unranked, d2, d1, cls}));
        QCOMPARE(Item::valueToType(ClusterID(1, Group)), Item::Group);
        QCOMPARE(Item::valueToType(ClusterID(1, Local)), Item::Friend);
        QVERIFY(Item::isLeafZoomType(Item::ClassZoom) && !Item::isLeafZoomType(Item::SchoolZoom));
        QVERIFY(Item::itemTypeToString(Item::Friend).isEmpty());
        QCOMPARE(Item::itemTypeToString(Item::MyFriendsZoom), QStringLiteral("ID_ContactsTreeModel_MyFriends"));

        // A clone is deep and keeps check states.
        d1->setCheckState(Qt::Checked);
        new Item(Item::SchoolEmployee, ClusterID(10, SchoolStaff), d1);
        std::unique_ptr<Item> copy(root.clone());
        QCOMPARE(copy->childCount(), 5);
        QCOMPARE(copy->childItem(3)->checkState(), Qt::Checked);
        QCOMPARE(copy->childItem(3)->childItem(0)->value(), ClusterID(10, SchoolStaff));
        QVERIFY(copy->childItem(3)->childItem(0) != d1->childItem(0));
    }

    void shouldRepaintAvatarsOfTheNodesConcerned()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        QSignalSpy changed(f.model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(f.model, &QAbstractItemModel::modelReset);
        QPixmap p(4, 4);
        p.fill(Qt::blue);
        // 张伟 stands as recent chat, friend, company and school staff: four repaints.
        AvatarManager::instance().setUserAvatar(2, p);
        QCOMPARE(changed.count(), 4);
        changed.clear();
        AvatarManager::instance().setClusterAvatar(ClusterID(100, Group), p);
        QCOMPARE(changed.count(), 2); // the group and its recent chat
        QCOMPARE(reset.count(), 0);
        SchoolChartManager::instance()->completeAvatarSync();
        QCOMPARE(reset.count(), 1);
    }

    void shouldPlaceEachDepartmentOnceWhateverTheChartSays()
    {
        QVERIFY(ContactsFixture::load());
        // Charts as an engine may hand them over: school 900's department 2 holds 40, which holds 2
        // again; 41 lists itself; company 700's 10 also sits under 11.
        auto dept = [](quint64 id, quint64 unit, quint64 parent, const char *name) {
            return std::make_shared<Org::DepartmentInfo>(id, unit, parent, QString::fromUtf8(name), 0);
        };
        auto &school = SchoolChartManager::instance()->store();
        school.addDepartment(dept(40, 900, 2, "Loop"));
        school.addDepartment(dept(2, 900, 40, "教务处 again"));
        school.addDepartment(dept(41, 900, 0, "Self"));
        school.addDepartment(dept(41, 900, 41, "Self inside"));
        school.addEmployee(std::make_shared<SchoolChart::EmployeeInfo>(8, 900, 41, QStringLiteral("赵敏")));
        OrgChartManager::instance()->store().addDepartment(dept(10, 700, 11, "Sales again"));

        ContactsFixture f;
        f.create();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("department listed again .* 900 skipped: 2 ")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("department listed again .* 900 skipped: 41 ")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("department listed again .* 700 skipped: 10 ")));
        WorldLoader::finishSync();

        const QModelIndex schoolNode = f.heading(Item::SchoolZoom);
        std::vector<QModelIndex> found;
        f.model->indexByValue(schoolNode, Item::SchoolDepartmentZoom, ClusterID(2, Local), found);
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(found[0].parent(), QModelIndex(schoolNode));
        const QModelIndex loop = f.model->indexByValue(schoolNode, Item::SchoolDepartmentZoom, ClusterID(40, Local));
        QCOMPARE(loop.parent(), found[0]);
        QCOMPARE(f.model->rowCount(loop), 0);
        // The department that lists itself is there once, with its staff.
        found.clear();
        f.model->indexByValue(schoolNode, Item::SchoolDepartmentZoom, ClusterID(41, Local), found);
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(childNames(f.model, found[0]), QStringList{"赵敏"});
        found.clear();
        f.model->indexByValue(f.heading(Item::CompanyZoom), Item::DepartmentZoom, ClusterID(10, Local), found);
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(found[0].parent(), f.heading(Item::CompanyZoom));
    }

    // A bulk build adds a department's staff or a class's members without searching the list
    // when none repeats; one the engine hands over twice is still listed once, in its first place.
    void shouldListAPersonOnceWhenTheEngineRepeatsThem()
    {
        QVERIFY(ContactsFixture::load());
        SchoolChartManager::instance()->store().addEmployee(
            std::make_shared<SchoolChart::EmployeeInfo>(8, 900, 2, QStringLiteral("赵敏 again")));
        OrgChartManager::instance()->store().addEmployee(std::make_shared<Org::EmployeeInfo>(2, 700, 10, QStringLiteral("张伟 again")));
        const auto cls = ContactsEngine::instance()->getClusterInfo(ClusterID(101, Class));
        ClusterMembers members = cls->members();
        members.push_back(std::make_shared<ClusterMemberInfo>(50));
        cls->setMembers(members);

        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();

        const QModelIndex office = f.model->indexByValue(f.heading(Item::SchoolZoom), Item::SchoolDepartmentZoom, ClusterID(2, Local));
        QCOMPARE(childNames(f.model, office), (QStringList{"张伟", "赵敏", "Sub office"}));
        const QModelIndex sales = f.model->indexByValue(f.heading(Item::CompanyZoom), Item::DepartmentZoom, ClusterID(10, Local));
        QCOMPARE(childNames(f.model, sales), (QStringList{"张伟", "Me"}));
        const QModelIndex classNode = f.model->indexByValue(f.heading(Item::SchoolZoom), Item::ClassZoom, ClusterID(101, Class));
        std::vector<QModelIndex> student;
        f.model->indexByValue(classNode, Item::ClassMember, ClusterID(50, Local), student);
        QCOMPARE(student.size(), size_t(1));
        QCOMPARE(f.model->rowCount(classNode), 3); // me, 50 and 51; 52 has left
    }

    void shouldNeverRemoveAHeadingByValue()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        f.model->setSingleUsers({3});
        const QString before = dumpTree(f.model);
        auto *engine = ContactsEngine::instance();
        // Every heading's value, the school's and a department's (2 is the friends heading and a department).
        std::vector<ClusterID> odd;
        for (quint64 n : {1, 2, 3, 6, 7, 11, 19, 20, 21, 900, 4})
            odd.push_back(ClusterID(n, Local));
        odd.push_back(ClusterID(2, ClusterType(3)));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("removal of a cluster of no listed kind ignored")));
        for (size_t i = 1; i < odd.size(); ++i)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("removal of a cluster of no listed kind ignored")));
        Q_EMIT engine->signalDelCluster(odd);
        QCOMPARE(dumpTree(f.model), before);

        // The friends heading is still the one new friends go to.
        auto zoe = std::make_shared<ClusterInfo>(ClusterID(7, User));
        zoe->setFriendly(true);
        engine->addClusters({zoe});
        QVERIFY(f.model->indexByValue(f.heading(Item::MyFriendsZoom), Item::Friend, ClusterID(7, User)).isValid());

        // A class chat's removal takes its group, recent and class nodes, and nothing of the same number.
        Q_EMIT engine->signalDelCluster({ClusterID(101, Class), ClusterID(2, User)});
        std::vector<QModelIndex> found;
        f.model->indexByValue(QModelIndex(), std::vector<quint64>{101}, found);
        QVERIFY(found.empty());
        found.clear();
        f.model->indexByValue(QModelIndex(), std::vector<quint64>{2}, found);
        QList<int> types;
        for (const QModelIndex &idx : found)
            types << idx.data(ContactsTreeModel::TypeRole).toInt();
        QCOMPARE(types, (QList<int>{2, 14, 9, 15})); // heading, company staff, department, school staff
    }

    void shouldSortChildrenHoweverTheyCame()
    {
        // Children appended after construction, through this class and through the base class.
        ContactsTreeItem root(Item::Root, ClusterID());
        root.appendChild(new Item(Item::Course, ClusterID(1, Class)));
        root.appendChild(new Item(Item::Group, ClusterID(2, Group)));
        static_cast<AbstractTreeItem &>(root).appendChild(new Item(Item::Friend, ClusterID(3, User)));
        root.sort();
        QCOMPARE(Item::toSortNum(root.childItem(0)->type()), Item::toSortNum(Item::Friend));
        auto types = [](const Item &node) {
            QList<int> out;
            for (int i = 0; i < node.childCount(); ++i)
                out << node.childItem(i)->type();
            return out;
        };
        QCOMPARE(types(root), (QList<int>{Item::Friend, Item::Group, Item::Course}));

        // A clone of an unsorted tree sorts, down to its headings' children.
        ContactsTreeItem source(Item::Root, ClusterID());
        auto *heading = new Item(Item::MyGroupsZoom, ClusterID(1, Local), &source);
        new Item(Item::Course, ClusterID(1, Class), heading);
        new Item(Item::Group, ClusterID(2, Group), heading);
        new Item(Item::NewFriendsZoom, ClusterID(7, Local), &source);
        std::unique_ptr<Item> copy(source.clone());
        copy->sort();
        QCOMPARE(types(*copy), (QList<int>{Item::NewFriendsZoom, Item::MyGroupsZoom}));
        QCOMPARE(types(*copy->childItem(1)), (QList<int>{Item::Group, Item::Course}));

        // Reordered in place behind the mark's back, the list is put right again.
        auto &list = copy->childItem(1)->refChildren();
        std::swap(list[0], list[1]);
        copy->sort();
        QCOMPARE(types(*copy->childItem(1)), (QList<int>{Item::Group, Item::Course}));
    }

    void shouldListACourseAsItsClassChat()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        auto *courses = CourseEngine::instance();
        const QModelIndex groups = f.heading(Item::MyGroupsZoom);
        auto nodesOf = [&](quint64 id) {
            QList<int> types;
            for (int r = 0; r < f.model->rowCount(groups); ++r) {
                const QModelIndex idx = f.model->index(r, 0, groups);
                if (idx.data(ContactsTreeModel::ValueRole).value<ClusterID>() == ClusterID(id, Class))
                    types << idx.data(ContactsTreeModel::TypeRole).toInt();
            }
            return types;
        };
        QCOMPARE(nodesOf(102), QList<int>{Item::Group});

        // Course 102 turns single-lesson: announced again, it is still its class chat.
        courses->getSnapshotCourse(102)->setKind(SnapshotCourse::SingleOpen);
        Q_EMIT courses->signalCourseAdded(900, 102);
        QCOMPARE(nodesOf(102), QList<int>{Item::Group});
        courses->setLessonState(102, 4, SnapshotLesson::Running);
        QCOMPARE(nodesOf(102), QList<int>{Item::Group});

        // Once the chat is gone, a listed course shows as a course again.
        courses->getSnapshotCourse(102)->setKind(SnapshotCourse::Regular);
        ContactsEngine::instance()->removeClusters({ClusterID(102, Class)});
        QCOMPARE(nodesOf(102), QList<int>{Item::Course});
        QVERIFY(childNamed(f.model, groups, "Physics course").isValid());
    }

    void shouldKeepTheNewestTimeOfABatch()
    {
        QVERIFY(ContactsFixture::load());
        ContactsFixture f;
        f.create();
        const QModelIndex recent = f.heading(Item::RecentZoom);
        auto *chat = ChatEngine::instance();
        auto session = [](quint64 id, quint32 t) { return std::make_shared<Session>(ClusterID(id, User), t); };
        // 张伟 (2) twice in one update, newest first and newest last; 数学组 is at 300.
        Q_EMIT chat->updateSessions({session(2, 1000), session(3, 250), session(2, 10)});
        QCOMPARE(childNames(f.model, recent), (QStringList{"张伟", "数学组", "Anna Smith", "Benny"}));
        Q_EMIT chat->updateSessions({session(5, 20), session(5, 2000)});
        QCOMPARE(childNames(f.model, recent).first(), QStringLiteral("Benny"));
        // A new chat named twice in one addition.
        Q_EMIT chat->addSessions({session(4, 3000), session(4, 1)});
        QCOMPARE(childNames(f.model, recent).first(), QStringLiteral("李娜"));
        QCOMPARE(f.model->rowCount(recent), 5);
    }

    void shouldShowClassRenamesAndAliasesUnderSchools()
    {
        QVERIFY(ContactsFixture::load());
        ChatEngine::instance()->insertSessionQuietly(std::make_shared<Session>(ClusterID(101, Class), 600));
        ContactsFixture f;
        f.create();
        WorldLoader::finishSync();
        auto *engine = ContactsEngine::instance();
        auto names = [&] {
            QStringList out;
            for (Item::ItemType type : {Item::Group, Item::RecentChat, Item::ClassZoom})
                out << f.model->indexByValue(QModelIndex(), type, ClusterID(101, Class)).data(ContactsTreeModel::NameRole).toString();
            return out;
        };
        QCOMPARE(names(), (QStringList{"三年级二班", "三年级二班", "三年级二班"}));
        engine->renameCluster(ClusterID(101, Class), QStringLiteral("三年级三班"));
        QCOMPARE(names(), (QStringList{"三年级三班", "三年级三班", "三年级三班"}));
        engine->setClusterAlias(ClusterID(101, Class), QStringLiteral("My class"));
        QCOMPARE(names(), (QStringList{"My class", "My class", "My class"}));
        // The members' rebuild keeps the alias too.
        engine->addClusterMembers(ClusterID(101, Class), {std::make_shared<ClusterMemberInfo>(3)});
        QCOMPARE(names(), (QStringList{"My class", "My class", "My class"}));
        engine->setClusterAlias(ClusterID(101, Class), QString());
        QCOMPARE(names(), (QStringList{"三年级三班", "三年级三班", "三年级三班"}));

        // A course without its chat takes the alias its class was given.
        auto *courses = CourseEngine::instance();
        QVERIFY(f.model->indexByValue(QModelIndex(), Item::Course, ClusterID(200, Class)).isValid());
        auto chat = std::make_shared<ClusterInfo>(ClusterID(200, Class));
        chat->setName(QStringLiteral("Algebra chat"));
        courses->getSnapshotCourse(200)->setKind(SnapshotCourse::SingleOpen); // its chat stays unlisted
        engine->addClusters({chat});
        engine->setClusterAlias(ClusterID(200, Class), QStringLiteral("Algebra (mine)"));
        QCOMPARE(f.model->indexByValue(QModelIndex(), Item::Course, ClusterID(200, Class)).data(ContactsTreeModel::NameRole).toString(),
                 QStringLiteral("Algebra (mine)"));
    }

    void shouldBuildANewTreeAfterRelease()
    {
        QVERIFY(ContactsFixture::load());
        ContactsTreeModel *first = ContactsTreeModel::instance();
        QPointer<ContactsTreeModel> guard(first);
        ContactsTreeModel::release();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(guard.isNull());
        ContactsFixture f;
        f.create();
        QCOMPARE(f.model->rowCount(f.heading(Item::MyFriendsZoom)), 5);
        // The deleted model must not react to engine signals any more.
        ContactsEngine::instance()->completeSync();
    }
};

QTEST_MAIN(ContactsTreeModelTest)
#include "tst_contactstreemodel.moc"
