// SPDX-License-Identifier: LGPL-2.1-or-later
#include "popupsfixture.h"

#include "PopupsSrategyAuthNormalItem.h"
#include "PopupsSrategyClassListItem.h"
#include "PopupsSrategyForceUpgradeItem.h"
#include "PopupsSrategyOpsItem.h"
#include "PopupsSrategyScreenItem.h"
#include "loginobject.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace OrvEngine;

class TestPopupChain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanupTestCase() { PopupsFixture::tearDown(); }

    void initBuildsTheChainOnce();
    void undecidedItemBlocksLowerLevels();
    void forcedUpgradeDropsLowerPopups();
    void sameLevelWaitsForItsTurn();
    void closedPopupsComeBackOnlyWhenActivatedAgain();
    void forcedUpgradeIgnoredBeforeSignIn();
    void avatarWaitsForTheWeakPasswordReminder();
    void avatarPromptWithoutWeakPassword_data();
    void avatarPromptWithoutWeakPassword();
    void closedReminderHandsOverToTheAvatarPrompt();
    void modalHostSeesTheSamePopups_data();
    void modalHostSeesTheSamePopups();
    void upperLevelDecisions();
    void screenItemFollowsTheActivityManager();
    void schoolNoticeKinds_data();
    void schoolNoticeKinds();
    void classListItemOutsideTheChain();

private:
    PopupsSrategyManager *manager() const { return PopupsSrategyManager::getInstance(); }
    PopupsSrategyBaseItem *item(PopupsSrategyType type) const { return manager()->getPopupItem(type); }
    /// Sync and web data: levels 0 and 1 decide (nothing of theirs wanted unless set up).
    void decideUpperLevels();
    /// The user record arrives; the weak-password item reads it on the next loop turn.
    void receiveUserInfo(const QString &nickname);

    PopupsFixture m_fixture;
    QList<int> m_doits; // types, in the order doit() came
};

void TestPopupChain::init()
{
    m_fixture.setUp();
    m_doits.clear();
    ImSignalObject::instance();
    manager()->init();
    for (int level = PopupsSrategyLevel0; level <= PopupsSrategyLevel2; ++level) {
        for (PopupsSrategyBaseItem *i : manager()->levelItems(PopupsSrategyLevel(level))) {
            const int type = i->type();
            connect(i, &PopupsSrategyBaseItem::doit, this, [this, type] { m_doits.append(type); });
        }
    }
}

void TestPopupChain::decideUpperLevels()
{
    NoticeEngine::instance()->completeSysMsgSync();
    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
}

void TestPopupChain::receiveUserInfo(const QString &nickname)
{
    auto user = std::make_shared<UserInfo>(42);
    user->setNickname(nickname);
    CoreEngine::instance()->setCurrentUserInfo(user);
}

void TestPopupChain::initBuildsTheChainOnce()
{
    const auto typesOf = [this](PopupsSrategyLevel level) {
        QList<int> out;
        for (PopupsSrategyBaseItem *i : manager()->levelItems(level))
            out.append(i->type());
        return out;
    };
    QCOMPARE(typesOf(PopupsSrategyLevel0), (QList<int>{1, 2, 3}));
    QCOMPARE(typesOf(PopupsSrategyLevel1), (QList<int>{8}));
    QCOMPARE(typesOf(PopupsSrategyLevel2), (QList<int>{4, 5, 6, 7, 9}));
    QVERIFY(!item(PopupsSrategyClassList));

    QPointer<PopupsSrategyBaseItem> ops = item(PopupsSrategyOps);
    manager()->init();
    QCOMPARE(manager()->findChildren<PopupsSrategyBaseItem *>().size(), 9);
    QCOMPARE(item(PopupsSrategyOps), ops.data());

    manager()->release();
    QVERIFY(!item(PopupsSrategyOps));
    PopupsFixture::flushDeletes();
    QVERIFY(ops.isNull());
    manager()->init();
    QVERIFY(item(PopupsSrategyOps));
    QCOMPARE(manager()->findChildren<PopupsSrategyBaseItem *>().size(), 9);
}

void TestPopupChain::undecidedItemBlocksLowerLevels()
{
    // The maintenance notice (level 2) is decided at once, but level 0 is not.
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Back at 6"), true);
    QVERIFY(item(PopupsSrategyOps)->isActiced());
    QVERIFY(m_doits.isEmpty());

    // The sync decides all of level 0 but the guidance, which waits for the web data.
    NoticeEngine::instance()->completeSysMsgSync();
    QVERIFY(item(PopupsSrategyForceGrayUpgrade)->hasTriggered());
    QVERIFY(!item(PopupsSrategyUserGuiance)->hasTriggered());
    QVERIFY(m_doits.isEmpty());

    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
    // Undecided items of level 2 itself (weak password, avatar, school) do not hold it back.
    QCOMPARE(m_doits, QList<int>{PopupsSrategyOps});
    QString hint;
    bool first = false;
    static_cast<PopupsSrategyOpsItem *>(item(PopupsSrategyOps))->getServerInMaintenanceInfo(hint, first);
    QCOMPARE(hint, QStringLiteral("Back at 6"));
    QVERIFY(first);

    // Passes that follow do not show it again; a new notice does.
    receiveUserInfo(QStringLiteral("Ann"));
    QTest::qWait(0);
    QCOMPARE(m_doits, QList<int>{PopupsSrategyOps});
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Back at 7"), false);
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyOps, PopupsSrategyOps}));
}

void TestPopupChain::forcedUpgradeDropsLowerPopups()
{
    decideUpperLevels();
    CoreEngine::instance()->setWeakPassword(true);
    receiveUserInfo(QStringLiteral("Ann"));
    QTRY_COMPARE(m_doits, QList<int>{PopupsSrategyWeakupPasswd});
    // Later items of the winner's level wait for their turn, still wanted.
    CoreEngine::instance()->setSchoolAuthState(true, CoreEngine::SchoolAuthPending);
    CoreEngine::instance()->completeSchoolInfoFetch();
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QCOMPARE(m_doits, QList<int>{PopupsSrategyWeakupPasswd});
    QVERIFY(item(PopupsSrategyAuthNormal)->isActiced());
    QVERIFY(item(PopupsSrategyOps)->isActiced());

    CoreEngine::instance()->receiveCheckInForce(3, QStringLiteral("Must upgrade"), QStringLiteral("9.0"),
                                                QStringLiteral("http://dl"), QStringLiteral("notes"));
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyWeakupPasswd, PopupsSrategyForceUpgrade}));
    QVERIFY(!item(PopupsSrategyWeakupPasswd)->isActiced());
    QVERIFY(!item(PopupsSrategyAuthNormal)->isActiced());
    QVERIFY(!item(PopupsSrategyOps)->isActiced());

    uint code = 0;
    QString hint, version, link, plain;
    static_cast<PopupsSrategyForceUpgradeItem *>(item(PopupsSrategyForceUpgrade))
        ->getUpgradeInfo(code, hint, version, link, plain);
    QCOMPARE(code, 3u);
    QCOMPARE(version, QStringLiteral("9.0"));
    QCOMPARE(link, QStringLiteral("http://dl"));

    // A second notice pops up again; once it is closed, nothing dropped comes back.
    CoreEngine::instance()->receiveCheckInForce(3, hint, QStringLiteral("9.1"), link, plain);
    QCOMPARE(m_doits.count(PopupsSrategyForceUpgrade), 2);
    item(PopupsSrategyForceUpgrade)->popupClosed();
    QCOMPARE(m_doits.size(), 3);
}

void TestPopupChain::sameLevelWaitsForItsTurn()
{
    decideUpperLevels();
    CoreEngine::instance()->setWeakPassword(true);
    CoreEngine::instance()->setSchoolAuthState(true, CoreEngine::SchoolAuthRejected);
    CoreEngine::instance()->completeSchoolInfoFetch();
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    // The school notice is wanted but the weak-password item, before it, has not decided.
    QCOMPARE(m_doits, QList<int>{PopupsSrategyAuthNormal});
    item(PopupsSrategyAuthNormal)->popupClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyAuthNormal, PopupsSrategyOps}));

    // The reminder decides while the operations notice is on screen: it waits, although it
    // comes first in the list.
    receiveUserInfo(QStringLiteral("Ann"));
    QTRY_VERIFY(item(PopupsSrategyWeakupPasswd)->hasTriggered());
    QVERIFY(item(PopupsSrategyWeakupPasswd)->isActiced());
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyAuthNormal, PopupsSrategyOps}));
    item(PopupsSrategyOps)->popupClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyAuthNormal, PopupsSrategyOps, PopupsSrategyWeakupPasswd}));

    // A new maintenance notice while the reminder shows waits for it in turn.
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tomorrow"), false);
    QCOMPARE(m_doits.size(), 3);
    Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    QCOMPARE(m_doits.size(), 4);
    QCOMPARE(m_doits.last(), int(PopupsSrategyOps));
}

void TestPopupChain::closedPopupsComeBackOnlyWhenActivatedAgain()
{
    auto *activities = PopupActivityManager::instance();
    NoticeEngine::instance()->completeSysMsgSync();
    activities->trigger(true);
    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
    QCOMPARE(m_doits, QList<int>{PopupsSrategyScreen});

    // Closed through the item: a later sync neither shows it again nor lets it hold the chain.
    item(PopupsSrategyScreen)->popupClosed();
    NoticeEngine::instance()->completeSysMsgSync();
    CoreEngine::instance()->setWeakPassword(true);
    receiveUserInfo(QString());
    QTRY_COMPARE(m_doits, (QList<int>{PopupsSrategyScreen, PopupsSrategyWeakupPasswd}));

    // The reminder closed twice: the avatar prompt is a new activation each time and shows.
    Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    QCOMPARE(m_doits.last(), int(PopupsSrategyUserAvatar));
    item(PopupsSrategyUserAvatar)->popupClosed();
    Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyScreen, PopupsSrategyWeakupPasswd, PopupsSrategyUserAvatar,
                                  PopupsSrategyUserAvatar}));
    item(PopupsSrategyUserAvatar)->popupClosed();

    // A second activity after the first was closed through the hub pops up, then lets the
    // maintenance notice through once closed.
    activities->trigger(true);
    QCOMPARE(m_doits.last(), int(PopupsSrategyScreen));
    QCOMPARE(m_doits.count(PopupsSrategyScreen), 2);
    activities->setActiveActivity(false);
    Q_EMIT ImSignalObject::instance()->signalSetPopupActivityActived();
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QCOMPARE(m_doits.last(), int(PopupsSrategyOps));
    QVERIFY(item(PopupsSrategyOps)->isActiced());
}

void TestPopupChain::forcedUpgradeIgnoredBeforeSignIn()
{
    LoginObject *login = CoreEngine::instance()->createLoginObject();
    decideUpperLevels();
    login->receiveCheckInForce(3, QStringLiteral("Must upgrade"), QStringLiteral("9.0"), {}, {});
    QVERIFY(!item(PopupsSrategyForceUpgrade)->isActiced());
    QVERIFY(m_doits.isEmpty());

    login->setLogined(true);
    login->receiveCheckInForce(3, QStringLiteral("Must upgrade"), QStringLiteral("9.0"), {}, {});
    QCOMPARE(m_doits, QList<int>{PopupsSrategyForceUpgrade});
}

void TestPopupChain::avatarWaitsForTheWeakPasswordReminder()
{
    decideUpperLevels();
    CoreEngine::instance()->setWeakPassword(true);
    receiveUserInfo(QString());
    // The avatar item has read the record, but the reminder has not decided yet.
    QVERIFY(!item(PopupsSrategyUserAvatar)->hasTriggered());
    QVERIFY(m_doits.isEmpty());

    QTRY_COMPARE(m_doits, QList<int>{PopupsSrategyWeakupPasswd});
    QVERIFY(item(PopupsSrategyUserAvatar)->hasTriggered());
    QVERIFY(!item(PopupsSrategyUserAvatar)->isActiced());

    // Closing the reminder brings the prompt, exactly once.
    Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyWeakupPasswd, PopupsSrategyUserAvatar}));
    QTest::qWait(0);
    QCOMPARE(m_doits.count(PopupsSrategyUserAvatar), 1);
}

void TestPopupChain::avatarPromptWithoutWeakPassword_data()
{
    QTest::addColumn<QString>("account");
    QTest::addColumn<QString>("nickname");
    QTest::addColumn<bool>("prompted");
    QTest::newRow("no name") << QStringLiteral("13812345678") << QString() << true;
    QTest::newRow("masked phone") << QStringLiteral("13812345678") << QStringLiteral("138****5678") << true;
    QTest::newRow("masked mail") << QStringLiteral("ann@mail.com") << QStringLiteral("a***@mail.com") << true;
    QTest::newRow("own name") << QStringLiteral("13812345678") << QStringLiteral("Ann") << false;
    QTest::newRow("the bare account") << QStringLiteral("13812345678") << QStringLiteral("13812345678") << false;
}

void TestPopupChain::avatarPromptWithoutWeakPassword()
{
    QFETCH(QString, account);
    QFETCH(QString, nickname);
    QFETCH(bool, prompted);
    LoginObject *login = CoreEngine::instance()->createLoginObject();
    login->setLoginAccount(account);
    login->setLogined(true);
    decideUpperLevels();
    receiveUserInfo(nickname);
    QTest::qWait(0);
    QVERIFY(item(PopupsSrategyWeakupPasswd)->hasTriggered());
    QCOMPARE(m_doits, prompted ? QList<int>{PopupsSrategyUserAvatar} : QList<int>{});
}

void TestPopupChain::closedReminderHandsOverToTheAvatarPrompt()
{
    // The school notice and the operations notice wait behind the reminder, on its level.
    decideUpperLevels();
    CoreEngine::instance()->setWeakPassword(true);
    receiveUserInfo(QString());
    QTRY_COMPARE(m_doits, QList<int>{PopupsSrategyWeakupPasswd});
    CoreEngine::instance()->setSchoolAuthState(true, CoreEngine::SchoolAuthPending);
    CoreEngine::instance()->completeSchoolInfoFetch();
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QCOMPARE(m_doits, QList<int>{PopupsSrategyWeakupPasswd});

    // The prompt comes before them in the list: it is next, alone.
    Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyWeakupPasswd, PopupsSrategyUserAvatar}));
    item(PopupsSrategyUserAvatar)->popupClosed();
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyWeakupPasswd, PopupsSrategyUserAvatar, PopupsSrategyAuthNormal}));
    item(PopupsSrategyAuthNormal)->popupClosed();
    QCOMPARE(m_doits.last(), int(PopupsSrategyOps));
    QCOMPARE(m_doits.size(), 4);
}

void TestPopupChain::modalHostSeesTheSamePopups_data()
{
    QTest::addColumn<bool>("modal");
    QTest::newRow("dialog closed later") << false;
    QTest::newRow("dialog closed inside doit") << true;
}

void TestPopupChain::modalHostSeesTheSamePopups()
{
    // A modal host closes the activity window before doit() returns, so the next pass is asked
    // for in the middle of the current one; the outcome must not depend on it.
    QFETCH(bool, modal);
    auto *activities = PopupActivityManager::instance();
    const auto closeActivity = [activities] {
        activities->setActiveActivity(false);
        Q_EMIT ImSignalObject::instance()->signalSetPopupActivityActived();
    };
    QObject host;
    connect(item(PopupsSrategyScreen), &PopupsSrategyBaseItem::doit, &host, [&] {
        if (modal)
            closeActivity();
        else
            QTimer::singleShot(0, &host, closeActivity);
    });

    // Level 0 waits for the web data; meanwhile an activity and a maintenance notice arrive.
    NoticeEngine::instance()->completeSysMsgSync();
    activities->trigger(true);
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QVERIFY(m_doits.isEmpty());

    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
    QTest::qWait(0);
    // The activity won: the notice below it was dropped, whenever the activity was closed.
    QCOMPARE(m_doits, QList<int>{PopupsSrategyScreen});
    QVERIFY(!item(PopupsSrategyScreen)->isActiced());
    QVERIFY(!item(PopupsSrategyOps)->isActiced());
}

void TestPopupChain::upperLevelDecisions()
{
    // The forced gray upgrade and the guidance decide on their first input only.
    auto *core = CoreEngine::instance();
    core->setHasNewVersion(true);
    core->setGrayUpgradeForced(true);
    core->setUserValue(QStringLiteral("userGuidance"), true);
    NoticeEngine::instance()->completeSysMsgSync();
    // Before the guidance in its level: it does not wait for the guidance to decide.
    QCOMPARE(m_doits, QList<int>{PopupsSrategyForceGrayUpgrade});
    core->setWebData(QStringLiteral("{}"));
    QCOMPARE(m_doits, QList<int>{PopupsSrategyForceGrayUpgrade});
    core->setUserValue(QStringLiteral("userGuidance"), false);
    core->setWebData(QStringLiteral("{\"changed\":1}"));
    QVERIFY(item(PopupsSrategyUserGuiance)->isActiced());

    // Once installed, a later sync of the same connection changes nothing...
    core->setNewVersionDownloaded(true);
    NoticeEngine::instance()->completeSysMsgSync();
    QVERIFY(item(PopupsSrategyForceGrayUpgrade)->isActiced());

    // ...but after a reconnection the decision is made again, and blocks until then.
    item(PopupsSrategyUserGuiance)->popupClosed();
    core->notifyBasicReconnected();
    QVERIFY(!item(PopupsSrategyForceGrayUpgrade)->hasTriggered());
    QVERIFY(!item(PopupsSrategyForceGrayUpgrade)->isCalledDoit());
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QCOMPARE(m_doits, QList<int>{PopupsSrategyForceGrayUpgrade});
    NoticeEngine::instance()->completeSysMsgSync();
    QVERIFY(item(PopupsSrategyForceGrayUpgrade)->hasTriggered());
    QVERIFY(!item(PopupsSrategyForceGrayUpgrade)->isActiced());
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyForceGrayUpgrade, PopupsSrategyOps}));
}

void TestPopupChain::screenItemFollowsTheActivityManager()
{
    // The activity manager finishing first is enough for the screen item to count as decided.
    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
    auto *activities = PopupActivityManager::instance();
    activities->setActivityArgs({QStringLiteral("https://act"), 640});
    activities->trigger(true);
    QVERIFY(item(PopupsSrategyScreen)->hasTriggered());
    QVERIFY(m_doits.isEmpty()); // level 0 still waits for the sync

    NoticeEngine::instance()->completeSysMsgSync();
    QCOMPARE(m_doits, QList<int>{PopupsSrategyScreen});
    auto *screen = static_cast<PopupsSrategyScreenItem *>(item(PopupsSrategyScreen));
    QCOMPARE(screen->getArgList().value(0).toString(), QStringLiteral("https://act"));

    // A maintenance notice while the activity is shown is dropped, not queued behind it.
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    QVERIFY(!item(PopupsSrategyOps)->isActiced());
    activities->setActiveActivity(false);
    Q_EMIT ImSignalObject::instance()->signalSetPopupActivityActived();
    QVERIFY(!item(PopupsSrategyScreen)->isActiced());
    QCOMPARE(m_doits, QList<int>{PopupsSrategyScreen});
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tomorrow"), false);
    QCOMPARE(m_doits, (QList<int>{PopupsSrategyScreen, PopupsSrategyOps}));
}

void TestPopupChain::schoolNoticeKinds_data()
{
    QTest::addColumn<bool>("hasRecord");
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("hasAuthenticated");
    QTest::addColumn<bool>("creator");
    QTest::addColumn<QVariant>("noticeSetting");
    QTest::addColumn<int>("kind");
    QTest::newRow("pending") << true << 1 << false << true << QVariant() << 2;
    QTest::newRow("rejected") << true << 3 << true << false << QVariant(false) << 2;
    QTest::newRow("passed") << true << 2 << false << true << QVariant() << 0;
    QTest::newRow("creator, not authenticated") << false << 0 << false << true << QVariant() << 1;
    QTest::newRow("creator, reminder off") << false << 0 << false << true << QVariant(false) << 0;
    QTest::newRow("creator of an authenticated school") << false << 0 << true << true << QVariant() << 0;
    QTest::newRow("member only") << false << 0 << false << false << QVariant() << 0;
}

void TestPopupChain::schoolNoticeKinds()
{
    QFETCH(bool, hasRecord);
    QFETCH(int, state);
    QFETCH(bool, hasAuthenticated);
    QFETCH(bool, creator);
    QFETCH(QVariant, noticeSetting);
    QFETCH(int, kind);
    auto *core = CoreEngine::instance();
    core->setSchoolAuthState(hasRecord, state);
    core->setHasAuthenticatedSchool(hasAuthenticated);
    core->setSchoolCreator(creator);
    if (noticeSetting.isValid())
        OrvSettings::instance()->setValue(QStringLiteral("NOT_AUTH_SCHOOL_NOTICE"), noticeSetting);
    decideUpperLevels();
    receiveUserInfo(QStringLiteral("Ann"));
    QTest::qWait(0);
    core->completeSchoolInfoFetch();

    auto *school = static_cast<PopupsSrategyAuthNormalItem *>(item(PopupsSrategyAuthNormal));
    QCOMPARE(school->getAuthNormalType(), kind);
    QCOMPARE(m_doits, kind ? QList<int>{PopupsSrategyAuthNormal} : QList<int>{});

    // Decided on the first fetch only.
    core->setSchoolAuthState(true, CoreEngine::SchoolAuthPending);
    core->completeSchoolInfoFetch();
    QCOMPARE(school->getAuthNormalType(), kind);
}

void TestPopupChain::classListItemOutsideTheChain()
{
    auto *courses = CourseEngine::instance();
    auto course = SnapshotCoursePtr::create(7, 1, QStringLiteral("Maths"), SnapshotCourse::Regular);
    auto lesson = SnapshotLessonPtr::create(70, 7, 1, QStringLiteral("Lesson 1"));
    courses->addCourse(course, {lesson});

    PopupsSrategyClassListItem idle;
    courses->completeSnapshot();
    QVERIFY(idle.hasTriggered());
    QVERIFY(!idle.isActiced());

    courses->setLessonState(7, 70, SnapshotLesson::Running);
    PopupsSrategyClassListItem waiting;
    QSignalSpy completed(&waiting, &PopupsSrategyClassListItem::hasSnapshotCompleted);
    QSignalSpy triggered(&waiting, &PopupsSrategyBaseItem::triggerProcess);
    courses->completeSnapshot();
    QCOMPARE(completed.size(), 1);
    QCOMPARE(triggered.size(), 1);
    QVERIFY(waiting.isActiced());
    QVERIFY(!idle.isActiced()); // decided once: the second snapshot is not read

    // A lesson whose role was lost is not waiting.
    courses->setLessonRoleValid(7, 70, false);
    PopupsSrategyClassListItem lost;
    courses->completeSnapshot();
    QVERIFY(!lost.isActiced());

    Q_EMIT ImSignalObject::instance()->signalNotProcessEnterClassWidget();
    QVERIFY(!waiting.isActiced());
    QCOMPARE(triggered.size(), 2);
}

QTEST_GUILESS_MAIN(TestPopupChain)
#include "tst_popupchain.moc"
