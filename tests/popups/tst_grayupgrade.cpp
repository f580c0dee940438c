// SPDX-License-Identifier: LGPL-2.1-or-later
// The suggested-upgrade decision, with its question to the local web service.
#include "popupsfixture.h"

#include "PopupsSrategyGrayUpgradeItem.h"
#include "loginobject.h"
#include "orvhttpmanager.h"
#include "orvwebservice.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

using namespace OrvEngine;

namespace {
const QString Mac = QStringLiteral("AA:BB:CC:00:11:22");
const QString Path = QStringLiteral("/mix/app/getIgnoreReminder");
const QString NoMoreReminders = QStringLiteral("UpgradeNoMoreReminders");
} // namespace

class TestGrayUpgrade : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase() { PopupsFixture::tearDown(); }

    void serverRemembersNoMoreReminders();
    void serverAnswersKeepTheReminder_data();
    void serverAnswersKeepTheReminder();
    void unreachableServerKeepsTheReminder();
    void unusableAnswersKeepTheReminder_data();
    void unusableAnswersKeepTheReminder();
    void localDecision_data();
    void localDecision();
    void reconnectionDecidesAgain();
    void waitsForTheAnswerInTheChain();

private:
    /// An upgrade suggestion that offers "no more reminders".
    void suggestUpgrade();
    /// Runs the decision and waits for it.
    void decide(PopupsSrategyGrayUpgradeItem &item);

    PopupsFixture m_fixture;
    OrvWebService m_service;
};

void TestGrayUpgrade::initTestCase()
{
    QVERIFY(m_service.start());
    OrvHttpManager::instance()->setTimeout(5000);
}

void TestGrayUpgrade::init()
{
    m_fixture.setUp();
    OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
    m_service.clearRequests();
    m_service.clearFaults();
    m_service.setIgnoreReminder(Mac, false);
    CoreEngine::instance()->setMacAddress(Mac);
}

void TestGrayUpgrade::cleanup()
{
    PopupsFixture::tearDown();
}

void TestGrayUpgrade::suggestUpgrade()
{
    LoginObject *login = CoreEngine::instance()->createLoginObject();
    login->setLogined(true);
    login->setNeedShowUpgradeSuggest(true);
    CoreEngine::instance()->setBackgroundConfig(QString::fromLatin1(CoreEngine::UpgradeSuggestConfigKey), 1);
}

void TestGrayUpgrade::decide(PopupsSrategyGrayUpgradeItem &item)
{
    QSignalSpy triggered(&item, &PopupsSrategyBaseItem::triggerProcess);
    NoticeEngine::instance()->completeSysMsgSync();
    QTRY_COMPARE_WITH_TIMEOUT(triggered.size(), 1, 10000);
    QVERIFY(item.hasTriggered());
    QVERIFY(!item.isAskingServer());
}

void TestGrayUpgrade::serverRemembersNoMoreReminders()
{
    suggestUpgrade();
    m_service.setIgnoreReminder(Mac, true);
    PopupsSrategyGrayUpgradeItem item;
    decide(item);

    QVERIFY(!item.isActiced());
    QCOMPARE(OrvSettings::instance()->value(NoMoreReminders).toInt(), 1);
    const auto requests = m_service.requests();
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().method, QStringLiteral("POST"));
    QCOMPARE(requests.first().path, Path);
    QCOMPARE(requests.first().formValue(QStringLiteral("macAddress")), Mac);
}

void TestGrayUpgrade::serverAnswersKeepTheReminder_data()
{
    QTest::addColumn<int>("fault"); // -1: a normal answer
    QTest::newRow("reminders wanted") << -1;
    QTest::newRow("HTTP 500") << int(OrvWebService::Fault::Status500);
    QTest::newRow("not JSON") << int(OrvWebService::Fault::Garbage);
    QTest::newRow("connection dropped") << int(OrvWebService::Fault::Drop);
}

void TestGrayUpgrade::serverAnswersKeepTheReminder()
{
    QFETCH(int, fault);
    suggestUpgrade();
    if (fault >= 0)
        m_service.setFault(Path, OrvWebService::Fault(fault));
    PopupsSrategyGrayUpgradeItem item;
    decide(item);

    QVERIFY(item.isActiced());
    QVERIFY(!OrvSettings::instance()->contains(NoMoreReminders));
    // The network layer may retry once on a dropped connection.
    QVERIFY(!m_service.requests().isEmpty());
}

void TestGrayUpgrade::unreachableServerKeepsTheReminder()
{
    // A port that was just free: nobody listens there.
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    const quint16 port = probe.serverPort();
    probe.close();
    OrvHttpManager::instance()->setBaseUrl(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port)));

    suggestUpgrade();
    PopupsSrategyGrayUpgradeItem item;
    decide(item);
    QVERIFY(item.isActiced());
    QVERIFY(!OrvSettings::instance()->contains(NoMoreReminders));
}

void TestGrayUpgrade::unusableAnswersKeepTheReminder_data()
{
    // Well-formed envelopes whose content cannot be used.
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("warns");
    QTest::newRow("refused") << OrvWebService::envelope(40300, QStringLiteral("no"), QJsonValue()) << true;
    QTest::newRow("json_data not JSON")
        << OrvWebService::envelope(1, {}, QJsonObject{{QStringLiteral("json_data"), QStringLiteral("{\"Upgrade")}})
        << true;
    QTest::newRow("no json_data") << OrvWebService::envelope(1, {}, QJsonObject{{QStringLiteral("other"), 1}}) << true;
    QTest::newRow("data not an object") << OrvWebService::envelope(1, {}, QStringLiteral("1")) << true;
    QTest::newRow("value as text")
        << OrvWebService::envelope(1, {}, QJsonObject{{QStringLiteral("json_data"),
                                                       QStringLiteral("{\"UpgradeNoMoreReminders\":\"1\"}")}})
        << false;
    QTest::newRow("value 2")
        << OrvWebService::envelope(1, {}, QJsonObject{{QStringLiteral("json_data"),
                                                       QStringLiteral("{\"UpgradeNoMoreReminders\":2}")}})
        << false;
}

void TestGrayUpgrade::unusableAnswersKeepTheReminder()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, warns);
    OrvWebService odd;
    odd.addRoute(QStringLiteral("POST"), Path, [body](const OrvWebService::Request &) {
        return OrvWebService::Response(200, QByteArrayLiteral("application/json"), body);
    });
    QVERIFY(odd.start());
    OrvHttpManager::instance()->setBaseUrl(odd.baseUrl());

    suggestUpgrade();
    PopupsSrategyGrayUpgradeItem item;
    if (warns)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("getIgnoreReminder")));
    decide(item);
    QVERIFY(item.isActiced());
    QVERIFY(!OrvSettings::instance()->contains(NoMoreReminders));
    QCOMPARE(odd.requests().size(), 1);
}

void TestGrayUpgrade::localDecision_data()
{
    QTest::addColumn<bool>("suggested");     // case "suggestion due"; otherwise a downloaded upgrade
    QTest::addColumn<int>("offerIgnore");    // background config, or the downloaded upgrade's flag
    QTest::addColumn<int>("noMoreSetting");
    QTest::addColumn<bool>("reminderForced");
    QTest::addColumn<bool>("actived");
    QTest::addColumn<bool>("asked");

    // Whenever the reminder is still wanted, the server is asked too, unless it is forced.
    QTest::newRow("suggested, user said no more") << true << 1 << 1 << false << false << false;
    QTest::newRow("suggested, ignoring not offered") << true << 0 << 1 << false << true << true;
    QTest::newRow("downloaded, user said no more") << false << 1 << 1 << false << false << false;
    QTest::newRow("downloaded, ignoring not offered") << false << 0 << 1 << false << true << true;
    QTest::newRow("downloaded, ignorable") << false << 1 << 0 << false << true << true;
    QTest::newRow("downloaded, reminder forced") << false << 1 << 1 << true << true << false;
}

void TestGrayUpgrade::localDecision()
{
    QFETCH(bool, suggested);
    QFETCH(int, offerIgnore);
    QFETCH(int, noMoreSetting);
    QFETCH(bool, reminderForced);
    QFETCH(bool, actived);
    QFETCH(bool, asked);

    auto *core = CoreEngine::instance();
    LoginObject *login = core->createLoginObject();
    login->setLogined(true);
    if (suggested) {
        login->setNeedShowUpgradeSuggest(true);
        core->setBackgroundConfig(QString::fromLatin1(CoreEngine::UpgradeSuggestConfigKey), offerIgnore);
    } else {
        core->setHasNewVersion(true);
        core->setNewVersionDownloaded(true);
        core->setDownloadedUpgradeInfo(QStringLiteral("9.2"), QStringLiteral("Faster start"), offerIgnore != 0);
        core->setUpgradeReminderForced(reminderForced);
    }
    OrvSettings::instance()->setValue(NoMoreReminders, noMoreSetting);

    PopupsSrategyGrayUpgradeItem item;
    decide(item);
    QCOMPARE(item.isActiced(), actived);
    QCOMPARE(m_service.requests().size(), asked ? 1 : 0);
}

void TestGrayUpgrade::reconnectionDecidesAgain()
{
    PopupsSrategyGrayUpgradeItem item;
    decide(item); // nothing to suggest
    QVERIFY(!item.isActiced());
    NoticeEngine::instance()->completeSysMsgSync();
    QCOMPARE(m_service.requests().size(), 0);

    suggestUpgrade();
    CoreEngine::instance()->notifyBasicReconnected();
    QVERIFY(!item.hasTriggered());
    decide(item);
    QVERIFY(item.isActiced());
    QCOMPARE(m_service.requests().size(), 1);

    // A reconnection while the question is open forgets its answer.
    m_service.setFault(Path, OrvWebService::Fault::Slow, 400);
    CoreEngine::instance()->notifyBasicReconnected();
    QSignalSpy triggered(&item, &PopupsSrategyBaseItem::triggerProcess);
    NoticeEngine::instance()->completeSysMsgSync();
    QVERIFY(item.isAskingServer());
    CoreEngine::instance()->notifyBasicReconnected();
    QVERIFY(!item.isAskingServer());
    QTest::qWait(700);
    QCOMPARE(triggered.size(), 0);
    QVERIFY(!item.hasTriggered());
}

void TestGrayUpgrade::waitsForTheAnswerInTheChain()
{
    // While the server is asked, the gray upgrade is undecided and holds back its own level only.
    suggestUpgrade();
    m_service.setFault(Path, OrvWebService::Fault::Slow, 300);
    ImSignalObject::instance();
    auto *manager = PopupsSrategyManager::getInstance();
    manager->init();
    QList<int> doits;
    for (int type : {PopupsSrategyGrayUpgrade, PopupsSrategyOps}) {
        connect(manager->getPopupItem(PopupsSrategyType(type)), &PopupsSrategyBaseItem::doit, this,
                [&doits, type] { doits.append(type); });
    }
    NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Tonight"), false);
    NoticeEngine::instance()->completeSysMsgSync();
    CoreEngine::instance()->setWebData(QStringLiteral("{}"));
    // The operations notice is on the same level, after the undecided item: it shows.
    QCOMPARE(doits, QList<int>{PopupsSrategyOps});
    // The answer comes while that notice is on screen: the upgrade waits for it to close.
    QTRY_VERIFY(manager->getPopupItem(PopupsSrategyGrayUpgrade)->hasTriggered());
    QVERIFY(manager->getPopupItem(PopupsSrategyGrayUpgrade)->isActiced());
    QCOMPARE(doits, QList<int>{PopupsSrategyOps});
    manager->getPopupItem(PopupsSrategyOps)->popupClosed();
    QCOMPARE(doits, (QList<int>{PopupsSrategyOps, PopupsSrategyGrayUpgrade}));
}

QTEST_GUILESS_MAIN(TestGrayUpgrade)
#include "tst_grayupgrade.moc"
