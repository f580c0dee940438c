// SPDX-License-Identifier: LGPL-2.1-or-later
#include "peoplefixture.h"
#include "treedump.h"

#include "ContactsPinyin.h"
#include "ContactsSearch.h"
#include "ContactsSortFilterModel.h"
#include "KRecursiveFilterProxyModel.h"

#include "chatengine.h"
#include "contactsengine.h"

#include <QAbstractItemModelTester>
#include <QStandardItemModel>
#include <QtTest>

using namespace OrvEngine;
using Item = ContactsTreeItem;
using Rank = ContactsSearch::Rank;

namespace {

// "name/rank/group" of each hit, in order.
QStringList hitsOf(ContactsSearch &search, const QString &text)
{
    QStringList out;
    for (const auto &h : search.search(text))
        out << QStringLiteral("%1/%2/%3").arg(h.name).arg(int(h.rank)).arg(int(h.group));
    return out;
}

QStringList namesOf(ContactsSearch &search, const QString &text)
{
    QStringList out;
    for (const auto &h : search.search(text))
        out << h.name;
    out.removeDuplicates();
    return out;
}

Rank rankOf(const QString &name, const QString &query)
{
    return ContactsSearch::rankName(*ContactsPinyin::keys(name), ContactsSearch::normalizeQuery(query));
}

} // namespace

class ContactsSearchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
        QVERIFY2(ContactsPinyin::isAvailable(), "ICU's Han-Latin transliterator is missing");
    }
    void cleanupTestCase() { PeopleFixture::resetAll(); }

    void shouldKeyNamesByPinyinAndInitials()
    {
        const auto zhang = ContactsPinyin::keys(QStringLiteral("张伟"));
        QCOMPARE(zhang->full, QStringLiteral("zhangwei"));
        QCOMPARE(zhang->initials, QStringLiteral("zw"));
        // Mixed scripts: Latin words keep their letters and give one initial each.
        const auto anna = ContactsPinyin::keys(QStringLiteral("Anna 王丽"));
        QCOMPARE(anna->full, QStringLiteral("annawangli"));
        QCOMPARE(anna->initials, QStringLiteral("awl"));
        // ü is typed as v.
        QCOMPARE(ContactsPinyin::keys(QStringLiteral("吕小布"))->full, QStringLiteral("lvxiaobu"));
        // A name is keyed once: the same name gives the same keys object.
        QCOMPARE(ContactsPinyin::keys(QStringLiteral("张伟")).get(), zhang.get());
    }

    void shouldReadPolyphonicSurnamesBothWays()
    {
        // ICU's general reading of 曾 is ceng and of 单 is dan; its surname reading gives zeng
        // and shan. A name starting with them is found by either.
        const auto zeng = ContactsPinyin::keys(QStringLiteral("曾国藩"));
        QCOMPARE(zeng->full, QStringLiteral("zengguofan"));
        QCOMPARE(zeng->altFull, QStringLiteral("cengguofan"));
        QCOMPARE(rankOf(QStringLiteral("曾国藩"), QStringLiteral("zgf")), ContactsSearch::Initials);
        QCOMPARE(rankOf(QStringLiteral("曾国藩"), QStringLiteral("cgf")), ContactsSearch::Initials);
        QCOMPARE(rankOf(QStringLiteral("单田芳"), QStringLiteral("shantian")), ContactsSearch::Pinyin);
        QCOMPARE(rankOf(QStringLiteral("单田芳"), QStringLiteral("dantianfang")), ContactsSearch::Pinyin);
        // Only a leading character is read as a surname: 曾 inside a name keeps its general reading.
        QCOMPARE(ContactsPinyin::keys(QStringLiteral("王曾"))->full, QStringLiteral("wangceng"));
        // ICU reads one character at a time, words included: 银行 reads yin xing, not yin hang.
        QCOMPARE(ContactsPinyin::keys(QStringLiteral("银行"))->full, QStringLiteral("yinxing"));
    }

    void shouldRankMatches_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("rank");
        QTest::newRow("exact characters") << "张伟" << "张伟" << int(ContactsSearch::Exact);
        QTest::newRow("exact Latin, any case") << "Anna 王丽" << "ANNA 王丽" << int(ContactsSearch::Exact);
        QTest::newRow("exact without the space") << "Anna 王丽" << "anna王丽" << int(ContactsSearch::Exact);
        QTest::newRow("prefix") << "张伟" << "张" << int(ContactsSearch::Prefix);
        QTest::newRow("Latin prefix") << "Anna 王丽" << "an" << int(ContactsSearch::Prefix);
        QTest::newRow("initials") << "张伟" << "zw" << int(ContactsSearch::Initials);
        QTest::newRow("one initial") << "张伟" << "z" << int(ContactsSearch::Initials);
        QTest::newRow("Latin word initials") << "Anna 王丽" << "awl" << int(ContactsSearch::Initials);
        QTest::newRow("full pinyin") << "张伟" << "zhangwei" << int(ContactsSearch::Pinyin);
        QTest::newRow("full pinyin with a space") << "张伟" << "zhang wei" << int(ContactsSearch::Pinyin);
        QTest::newRow("pinyin ending inside a syllable") << "张伟" << "zhangwe" << int(ContactsSearch::Pinyin);
        QTest::newRow("syllable then initial") << "张小明" << "zhangxm" << int(ContactsSearch::Pinyin);
        QTest::newRow("initial then syllables") << "张小明" << "zxiaoming" << int(ContactsSearch::Pinyin);
        QTest::newRow("character then pinyin") << "张伟" << "张wei" << int(ContactsSearch::Pinyin);
        QTest::newRow("Latin then pinyin") << "Anna 王丽" << "annawangl" << int(ContactsSearch::Pinyin);
        QTest::newRow("pinyin upper case") << "张伟" << "ZhangWei" << int(ContactsSearch::Pinyin);
        QTest::newRow("substring characters") << "三年级二班" << "二班" << int(ContactsSearch::Substring);
        QTest::newRow("substring pinyin") << "张伟" << "wei" << int(ContactsSearch::Substring);
        QTest::newRow("substring Latin") << "Anna 王丽" << "nna" << int(ContactsSearch::Substring);
        QTest::newRow("no match") << "张伟" << "li" << int(ContactsSearch::NoMatch);
        QTest::newRow("initials out of order") << "张伟" << "wz" << int(ContactsSearch::NoMatch);
        QTest::newRow("too long") << "张伟" << "zhangweii" << int(ContactsSearch::NoMatch);
        QTest::newRow("empty query") << "张伟" << "" << int(ContactsSearch::NoMatch);
        QTest::newRow("only spaces") << "张伟" << "   " << int(ContactsSearch::NoMatch);
    }
    void shouldRankMatches()
    {
        QFETCH(QString, name);
        QFETCH(QString, query);
        QFETCH(int, rank);
        QCOMPARE(int(rankOf(name, query)), rank);
    }

    void shouldSurviveHostileQueries()
    {
        // 10,000 characters, control characters and emoji: cut, cleaned, no match, no crash.
        const QString wall(10000, QLatin1Char('z'));
        const QString normalized = ContactsSearch::normalizeQuery(wall);
        QCOMPARE(normalized.size(), ContactsSearch::MaxQueryLength);
        QCOMPARE(rankOf(QStringLiteral("张伟"), wall), ContactsSearch::NoMatch);
        QCOMPARE(ContactsSearch::normalizeQuery(QStringLiteral("z\x01w\u200b\t")), QStringLiteral("zw"));
        QCOMPARE(rankOf(QStringLiteral("张伟"), QStringLiteral("z\x01w")), ContactsSearch::Initials);
        QCOMPARE(rankOf(QStringLiteral("张伟"), QStringLiteral("😀")), ContactsSearch::NoMatch);
        QCOMPARE(rankOf(QStringLiteral("张伟😀"), QStringLiteral("😀")), ContactsSearch::Substring);
        // A lone surrogate is dropped rather than matched against half a character.
        QCOMPARE(ContactsSearch::normalizeQuery(QString(QChar(0xD83D)) + QStringLiteral("zw")), QStringLiteral("zw"));
        // A name of 5,000 Han characters is keyed and searched in bounded time.
        const QString longName = QString(5000, QChar(0x4E2D));
        QCOMPARE(rankOf(longName, QStringLiteral("zhongzhongzhong")), ContactsSearch::Pinyin);
        QCOMPARE(rankOf(longName, wall), ContactsSearch::Initials); // 128 z: the initials of 中中中...
        QCOMPARE(rankOf(longName, QString(10000, QLatin1Char('h'))), ContactsSearch::NoMatch);
    }

    void shouldFindPeopleByRemarkAliasUidAndClassNumber()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSearch search(model);
        // Remark shown, nickname still finds the friend, by characters and by pinyin.
        QVERIFY(namesOf(search, QStringLiteral("老单")).contains(QStringLiteral("老单")));
        QVERIFY(namesOf(search, QStringLiteral("单田芳")).contains(QStringLiteral("老单")));
        QVERIFY(namesOf(search, QStringLiteral("stf")).contains(QStringLiteral("老单")));
        // Alias shown, the real name finds it too.
        QVERIFY(namesOf(search, QStringLiteral("lina")).contains(QStringLiteral("Lina")));
        QVERIFY(namesOf(search, QStringLiteral("李娜")).contains(QStringLiteral("Lina")));
        // A uid and a class number.
        const auto byUid = search.search(QStringLiteral("7"));
        QVERIFY(!byUid.isEmpty());
        QCOMPARE(byUid.first().name, QStringLiteral("吕小布"));
        QCOMPARE(byUid.first().rank, ContactsSearch::Exact);
        QVERIFY(namesOf(search, QStringLiteral("301")).contains(QStringLiteral("三年级二班")));
        QVERIFY(namesOf(search, QStringLiteral("30")).contains(QStringLiteral("三年级二班"))); // a beginning of it
        QVERIFY(!namesOf(search, QStringLiteral("01")).contains(QStringLiteral("三年级二班")));
        // A class member by their class nickname and by their own name.
        QVERIFY(namesOf(search, QStringLiteral("xm")).contains(QStringLiteral("小明")));
        QVERIFY(namesOf(search, QStringLiteral("student")).contains(QStringLiteral("小明")));
    }

    void shouldGroupByKindAndRankWithinGroups()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSearch search(model);
        // 张伟 is a friend, school staff and a recent chat: one hit per group, friends first.
        const QStringList zw = hitsOf(search, QStringLiteral("zw"));
        QCOMPARE(zw, (QStringList{
            QStringLiteral("张伟/%1/%2").arg(int(ContactsSearch::Initials)).arg(int(ContactsSearch::Friends)),
            QStringLiteral("张伟/%1/%2").arg(int(ContactsSearch::Initials)).arg(int(ContactsSearch::Colleagues)),
            QStringLiteral("张伟/%1/%2").arg(int(ContactsSearch::Initials)).arg(int(ContactsSearch::RecentChats))}));
        // Within a group: the exact name, then a prefix, then pinyin, whatever the tree's order.
        const QVector<ContactsSearch::Hit> li = search.search(QStringLiteral("li"));
        QStringList friends;
        for (const auto &h : li) {
            if (h.group == ContactsSearch::Friends)
                friends << h.name;
        }
        // Lina: a prefix of the shown alias; 李娜 (her real name) by pinyin; Anna 王丽 only inside.
        QCOMPARE(friends, (QStringList{QStringLiteral("Lina"), QStringLiteral("Anna 王丽")}));
        QCOMPARE(li.first().rank, ContactsSearch::Prefix);
        // A limit cuts the list after grouping and ranking.
        QCOMPARE(search.search(QStringLiteral("zw"), 1).size(), 1);
    }

    void shouldFollowRenamesWithoutRekeyingEveryKeystroke()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSearch search(model);
        QVERIFY(namesOf(search, QStringLiteral("sxz")).contains(QStringLiteral("数学组")));
        // A group renamed by the engine: the old pinyin no longer finds it, the new one does; only
        // the renamed node was keyed again.
        ContactsEngine::instance()->renameCluster(ClusterID(100, Group), QStringLiteral("英语组"));
        QVERIFY(search.isCurrent());
        QVERIFY(!namesOf(search, QStringLiteral("sxz")).contains(QStringLiteral("数学组")));
        QVERIFY(namesOf(search, QStringLiteral("yyz")).contains(QStringLiteral("英语组")));
        // A friend given an alias: found by the alias's pinyin, and still by the real name.
        ContactsEngine::instance()->setClusterAlias(ClusterID(7, User), QStringLiteral("王老师"));
        QVERIFY(search.isCurrent());
        QVERIFY(namesOf(search, QStringLiteral("wls")).contains(QStringLiteral("王老师")));
        // Renamed to sort after Anna 王丽, then before her: equal hits keep the tree's order as it
        // is now, whatever it was when the index was built.
        for (const QString &alias : {QStringLiteral("Anya 陆"), QStringLiteral("Ana 陆")}) {
            ContactsEngine::instance()->setClusterAlias(ClusterID(7, User), alias);
            QStringList hits;
            for (const auto &h : search.search(QStringLiteral("an"))) {
                if (h.group == ContactsSearch::Friends)
                    hits << h.name;
            }
            QStringList inTree = childNames(model, model->indexByValue({}, Item::MyFriendsZoom, ClusterID(2, Local)));
            inTree.erase(std::remove_if(inTree.begin(), inTree.end(), [&hits](const QString &n) { return !hits.contains(n); }),
                         inTree.end());
            QVERIFY2(hits.size() == 2, qPrintable(hits.join(QLatin1Char(',')) + QLatin1String(" | ") + inTree.join(QLatin1Char(','))));
            QCOMPARE(hits, inTree);
        }
        ContactsEngine::instance()->setClusterAlias(ClusterID(7, User), QStringLiteral("王老师"));
        QVERIFY(namesOf(search, QStringLiteral("lvxiao")).contains(QStringLiteral("王老师")));
        // Typing on narrows the last matches: the index is not rebuilt between keystrokes.
        search.match(QStringLiteral("w"));
        QVERIFY(search.isCurrent());
        const int cached = ContactsPinyin::cachedNames();
        search.match(QStringLiteral("wl"));
        search.match(QStringLiteral("wls"));
        QCOMPARE(ContactsPinyin::cachedNames(), cached);
        QVERIFY(search.matchedEntries().size() >= 1);
        // Narrowing gives what a fresh search gives.
        ContactsSearch fresh(model);
        QCOMPARE(size_t(fresh.match(QStringLiteral("wls"))), search.matchedEntries().size());
    }

    void shouldFilterTheTreeKeepingAncestors()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSortFilterModel proxy;
        QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.setSourceModel(model);
        // No filter: the tree as it is.
        QCOMPARE(dumpTree(&proxy), dumpTree(model));

        // 赵敏 only stands under a school department: school and department are kept around her.
        proxy.setSearchText(QStringLiteral("zm"));
        QCOMPARE(dumpTree(&proxy), QStringLiteral("8:第一中学[9:教务处[15:赵敏]]"));
        QCOMPARE(proxy.matchAncestors().size(), 2);
        // The ancestors are not matches themselves.
        QCOMPARE(proxy.matchRank(proxy.index(0, 0)), ContactsSearch::NoMatch);

        // Type on: 张伟 is a friend, a recent chat and school staff.
        proxy.setSearchText(QStringLiteral("zhangw"));
        QCOMPARE(dumpTree(&proxy), QStringLiteral("11:[22:张伟] 2:[12:张伟] 8:第一中学[9:教务处[15:张伟]]"));
        // Back to nothing: everything returns.
        proxy.setSearchText(QString());
        QCOMPARE(dumpTree(&proxy), dumpTree(model));
    }

    void shouldFilterByKindSchoolAndEnabledState()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSortFilterModel proxy;
        QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.setSourceModel(model);
        proxy.setFilterTypes({Item::Friend});
        // Headings without an accepted child are gone; the closed account still shows...
        QVERIFY(dumpTree(&proxy).startsWith(QStringLiteral("2:[")));
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("Zoe Closed")));
        QCOMPARE(proxy.rowCount(), 1);
        // ...until only enabled nodes are asked for.
        proxy.setFilterEnabledOnly(true);
        QVERIFY(!dumpTree(&proxy).contains(QStringLiteral("Zoe Closed")));

        // One school: its staff and its class members, nothing of the other school's group.
        proxy.setFilterEnabledOnly(false);
        proxy.setFilterTypes({Item::SchoolEmployee, Item::ClassMember, Item::Group, Item::Friend});
        proxy.setFilterSchool(900);
        const QString school = dumpTree(&proxy);
        QVERIFY2(school.contains(QStringLiteral("15:赵敏")), qPrintable(school));
        QVERIFY2(school.contains(QStringLiteral("16:小明")), qPrintable(school));
        QVERIFY2(!school.contains(QStringLiteral("数学组")) && !school.contains(QStringLiteral("12:")), qPrintable(school));
        proxy.clearFilterSchool();
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("13:数学组")));

        // The tree's custom course hides that class from the proxy (not offered to itself).
        model->setCustomCourseId(301);
        proxy.setFilterTypes({Item::Group, Item::ClassZoom, Item::ClassMember});
        proxy.setSearchText(QStringLiteral("三年级"));
        QCOMPARE(dumpTree(&proxy), QString());
        model->setCustomCourseId(0);
        proxy.setSearchText(QStringLiteral("三年"));
        QCOMPARE(dumpTree(&proxy), QStringLiteral("1:[13:三年级二班] 8:第一中学[10:三年级二班]"));
    }

    void shouldStayConsistentUnderLiveEngineChanges()
    {
        ContactsTreeModel *model = PeopleFixture::load();
        QVERIFY(model);
        ContactsSortFilterModel proxy;
        KRecursiveFilterProxyModel plain;
        QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester plainTester(&plain, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.setSourceModel(model);
        plain.setSourceModel(model);
        plain.setFilterRole(ContactsTreeModel::NameRole);
        plain.setFilterFixedString(QStringLiteral("张"));
        proxy.setSearchText(QStringLiteral("zh"));
        QVERIFY(dumpTree(&plain).contains(QStringLiteral("15:张伟")));

        auto *contacts = ContactsEngine::instance();
        auto *chat = ChatEngine::instance();
        // A new friend whose name matches appears while the search is open...
        auto user = std::make_shared<UserInfo>(60);
        user->setNickname(QStringLiteral("赵小红"));
        contacts->setUsers({user});
        auto friendCluster = std::make_shared<ClusterInfo>(ClusterID(60, User));
        friendCluster->setFriendly(true);
        contacts->addClusters({friendCluster});
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("12:赵小红")));
        // ...a rename moves another into the matches and the plain filter's rows follow...
        contacts->setClusterAlias(ClusterID(5, User), QStringLiteral("张安娜"));
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("12:张安娜")));
        QVERIFY(dumpTree(&plain).contains(QStringLiteral("12:张安娜")));
        // ...sessions come and go, a cluster is deleted.
        chat->insertSessions({std::make_shared<Session>(ClusterID(60, User), 900)});
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("22:赵小红")));
        chat->removeSessions({std::make_shared<Session>(ClusterID(60, User), 0)});
        contacts->removeClusters({ClusterID(60, User)});
        QVERIFY(!dumpTree(&proxy).contains(QStringLiteral("赵小红")));
        // The user's nickname changes behind the shown alias: found by the new nickname later on.
        auto renamed = std::make_shared<UserInfo>(5);
        renamed->setNickname(QStringLiteral("周安"));
        contacts->setUsers({renamed});
        proxy.setSearchText(QStringLiteral("zhoua"));
        QVERIFY(dumpTree(&proxy).contains(QStringLiteral("12:张安娜")));
        // The tree released under the open proxies: nothing found, nothing touched that is gone.
        ContactsSearch *index = proxy.contactsSearch();
        PeopleFixture::resetAll();
        QCOMPARE(proxy.rowCount(), 0);
        QVERIFY(index->search(QStringLiteral("zm")).isEmpty());
        QCOMPARE(proxy.matchRank(proxy.index(0, 0)), ContactsSearch::NoMatch);
        QVERIFY(PeopleFixture::load());
        proxy.setSourceModel(ContactsTreeModel::instance());
        plain.setSourceModel(ContactsTreeModel::instance());
        proxy.setSearchText(QStringLiteral("zm"));
        QCOMPARE(dumpTree(&proxy), QStringLiteral("8:第一中学[9:教务处[15:赵敏]]"));
    }

    void shouldRefuseAModelThatIsNotTheContactsTree()
    {
        QStandardItemModel other;
        ContactsSortFilterModel proxy;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("takes only the contacts tree")));
        proxy.setSourceModel(&other);
        QVERIFY(!proxy.sourceModel());
        QCOMPARE(proxy.rowCount(), 0);
    }
};

QTEST_MAIN(ContactsSearchTest)
#include "tst_contactssearch.moc"
