// SPDX-License-Identifier: LGPL-2.1-or-later
#include "peoplefixture.h"

#include "BindInstallPlaceWidget.h"
#include "KRecursiveFilterProxyModel.h"
#include "TeenModeWidget.h"
#include "bridgedialogs.h"

#include "coreengine.h"
#include "orvhttpmanager.h"
#include "orvschoolservice.h"
#include "orvsettings.h"
#include "orvwebservice.h"

#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

namespace {

QStringList visibleNames(const QAbstractItemModel *model, const QModelIndex &parent = {})
{
    QStringList out;
    for (int r = 0; r < model->rowCount(parent); ++r) {
        const QModelIndex idx = model->index(r, 0, parent);
        if (idx.data(BindInstallPlaceWidget::SchoolIdRole).isValid())
            out << idx.data().toString();
        out << visibleNames(model, idx);
    }
    return out;
}

} // namespace

class AccountWidgetsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    OrvWebService m_service;
    OrvSchoolService m_schools;
    int m_answer = 0;
    QStringList m_asked;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_schools.install(m_service);
        m_schools.addSchool(900, QStringLiteral("第一中学"));
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        OrvEngine::CoreEngine::instance()->setMacAddress(QStringLiteral("AA:BB:CC:00:11:22"));
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &, const QString &text, const QStringList &) {
            m_asked << text;
            return m_answer;
        });
    }
    void cleanupTestCase()
    {
        m_service.stop();
        BridgeDialogs::resetHandlers();
        PeopleFixture::resetAll();
    }
    void init()
    {
        static int n = 0;
        OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("settings-%1.ini").arg(++n)));
        m_answer = 0;
        m_asked.clear();
        m_schools.setMisbehave(QLatin1String(OrvSchoolService::BindInstallPlacePath), OrvSchoolService::Misbehave::None);
    }

    void shouldTurnTeenModeOnWithAPasswordEnteredTwice()
    {
        TeenModeWidget w;
        QSignalSpy changed(&w, &TeenModeWidget::teenModeChanged);
        QCOMPARE(w.currentPage(), TeenModeWidget::OffPage);
        w.startSetup();
        QCOMPARE(w.currentPage(), TeenModeWidget::SetupPage);
        // Not four digits, then two entries that differ: refused, nothing stored.
        QVERIFY(!w.turnOn(QStringLiteral("12a4"), QStringLiteral("12a4"), 60));
        QCOMPARE(w.message(), QStringLiteral("ID_TeenMode_PasswordFourDigits"));
        QVERIFY(!w.turnOn(QStringLiteral("12345"), QStringLiteral("12345"), 60));
        QVERIFY(!w.turnOn(QStringLiteral("1234"), QStringLiteral("1243"), 60));
        QCOMPARE(w.message(), QStringLiteral("ID_TeenMode_PasswordMismatch"));
        QVERIFY(!w.turnOn(QStringLiteral("1234"), QStringLiteral("1234"), 7)); // no such limit
        QCOMPARE(changed.count(), 0);
        QVERIFY(!TeenModeWidget::isTeenModeOn());

        // Typed into the page as a user would: the edits take digits only.
        QTest::keyClicks(w.passwordEdit(), QStringLiteral("4x8y2z6"));
        QCOMPARE(w.passwordEdit()->text(), QStringLiteral("4826"));
        QTest::keyClicks(w.confirmEdit(), QStringLiteral("4826"));
        w.limitBox()->setCurrentIndex(w.limitBox()->findData(90));
        w.findChild<QPushButton *>(QStringLiteral("teenConfirmBtn"))->click();
        QCOMPARE(w.currentPage(), TeenModeWidget::OnPage);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first(), (QList<QVariant>{true, 90}));

        // Kept in the settings without the password itself; a new widget (the next start) knows.
        const QString stored = OrvSettings::instance()->value(QLatin1String(TeenModeWidget::SettingsKey)).toString();
        QVERIFY(!stored.contains(QStringLiteral("4826")));
        const TeenModeWidget::State state = TeenModeWidget::loadState();
        QVERIFY(state.enabled);
        QCOMPARE(state.dailyLimitMinutes, 90);
        TeenModeWidget again;
        QCOMPARE(again.currentPage(), TeenModeWidget::OnPage);
    }

    void shouldAskThePasswordToLeaveOrChangeTheLimit()
    {
        TeenModeWidget w;
        QVERIFY(w.turnOn(QStringLiteral("0007"), QStringLiteral("0007"), 40));
        QSignalSpy changed(&w, &TeenModeWidget::teenModeChanged);
        w.startLeaving();
        QCOMPARE(w.currentPage(), TeenModeWidget::LeavePage);
        QVERIFY(!w.turnOff(QStringLiteral("0008")));
        QVERIFY(!w.turnOff(QStringLiteral("7")));
        QVERIFY(!w.turnOff(QString()));
        QCOMPARE(w.message(), QStringLiteral("ID_TeenMode_WrongPassword"));
        QVERIFY(TeenModeWidget::isTeenModeOn());
        QVERIFY(!w.changeDailyLimit(QStringLiteral("1111"), 120));
        QCOMPARE(TeenModeWidget::loadState().dailyLimitMinutes, 40);
        QVERIFY(w.changeDailyLimit(QStringLiteral("0007"), 120));
        QCOMPARE(TeenModeWidget::loadState().dailyLimitMinutes, 120);
        // The right password through the page's own edit and button.
        w.startLeaving();
        QTest::keyClicks(w.leaveEdit(), QStringLiteral("0007"));
        w.findChild<QPushButton *>(QStringLiteral("teenLeaveOkBtn"))->click();
        QCOMPARE(w.currentPage(), TeenModeWidget::OffPage);
        QVERIFY(!TeenModeWidget::isTeenModeOn());
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.last(), (QList<QVariant>{false, 0}));
        // A second teen-mode password starts fresh: the old one does not survive.
        QVERIFY(w.turnOn(QStringLiteral("9999"), QStringLiteral("9999"), 60));
        w.startLeaving();
        QVERIFY(!w.turnOff(QStringLiteral("0007")));
    }

    void shouldLockTheWayOutAfterWrongPasswords()
    {
        TeenModeWidget w;
        QVERIFY(w.turnOn(QStringLiteral("2468"), QStringLiteral("2468"), 60));
        QSignalSpy changed(&w, &TeenModeWidget::teenModeChanged);
        for (int i = 0; i < TeenModeWidget::MaxFailedAttempts; ++i)
            QVERIFY(!w.turnOff(QStringLiteral("1111")));
        QVERIFY(w.message().startsWith(QStringLiteral("ID_TeenMode_Locked")));
        // Locked: the right password is refused too, also after a restart.
        QVERIFY(!w.turnOff(QStringLiteral("2468")));
        QVERIFY(!w.changeDailyLimit(QStringLiteral("2468"), 120));
        const qint64 lockedUntil = TeenModeWidget::loadState().lockedUntil;
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        QVERIFY(lockedUntil > now + TeenModeWidget::LockMs - 60000 && lockedUntil <= now + TeenModeWidget::LockMs);
        TeenModeWidget restarted;
        QVERIFY(!restarted.turnOff(QStringLiteral("2468")));
        QCOMPARE(changed.count(), 0);
        // Once the lock has run out (its end moved into the past here), the password works.
        TeenModeWidget::State s = TeenModeWidget::loadState();
        QString stored = OrvSettings::instance()->value(QLatin1String(TeenModeWidget::SettingsKey)).toString();
        stored.replace(QString::number(double(s.lockedUntil), 'g', 17), QStringLiteral("1000"));
        stored.replace(QString::number(s.lockedUntil), QStringLiteral("1000"));
        OrvSettings::instance()->setValue(QLatin1String(TeenModeWidget::SettingsKey), stored);
        QCOMPARE(TeenModeWidget::loadState().lockedUntil, qint64(1000));
        TeenModeWidget later;
        QVERIFY(later.turnOff(QStringLiteral("2468")));
        QVERIFY(!TeenModeWidget::isTeenModeOn());
    }

    void shouldReadADamagedEntryAsOffWithoutOverwritingIt_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::newRow("not JSON") << QStringLiteral("{enabled: yes");
        QTest::newRow("not an object") << QStringLiteral("[1,2]");
        QTest::newRow("on without a hash") << QStringLiteral("{\"enabled\":true,\"dailyLimitMinutes\":60}");
        QTest::newRow("on with a limit out of range") << QStringLiteral(
            "{\"enabled\":true,\"dailyLimitMinutes\":-5,\"salt\":\"00000000000000000000000000000000\","
            "\"passwordHash\":\"0000000000000000000000000000000000000000000000000000000000000000\"}");
        QTest::newRow("enabled of the wrong type") << QStringLiteral("{\"enabled\":\"true\"}");
    }
    void shouldReadADamagedEntryAsOffWithoutOverwritingIt()
    {
        QFETCH(QString, stored);
        OrvSettings::instance()->setValue(QLatin1String(TeenModeWidget::SettingsKey), stored);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("teen-mode setting cannot be read")));
        TeenModeWidget w;
        QCOMPARE(w.currentPage(), TeenModeWidget::OffPage);
        QVERIFY(w.state().damaged);
        QCOMPARE(w.message(), QStringLiteral("ID_TeenMode_SettingsDamaged"));
        QCOMPARE(OrvSettings::instance()->value(QLatin1String(TeenModeWidget::SettingsKey)).toString(), stored);
        // Turning it on again replaces the damaged entry.
        QVERIFY(w.turnOn(QStringLiteral("1357"), QStringLiteral("1357"), 60));
        QVERIFY(TeenModeWidget::isTeenModeOn());
    }

    void shouldSearchPickAndBindASchool()
    {
        QVERIFY(PeopleFixture::load());
        BindInstallPlaceWidget w;
        QCOMPARE(w.currentLabel()->text(), QStringLiteral("ID_BindInstallPlace_NotBound"));
        // The school chart's school by its initials, then by its pinyin; nothing for nonsense.
        w.searchEdit()->setText(QStringLiteral("dyzx"));
        QCOMPARE(visibleNames(w.filterModel()), QStringList{QStringLiteral("第一中学")});
        w.searchEdit()->setText(QStringLiteral("diyi zhong"));
        QCOMPARE(visibleNames(w.filterModel()), QStringList{QStringLiteral("第一中学")});
        w.searchEdit()->setText(QStringLiteral("qqq"));
        QCOMPARE(w.filterModel()->rowCount(), 0);
        w.searchEdit()->clear();
        QVERIFY(w.pickSchool(900));
        QVERIFY(w.bindButton()->isEnabled());

        // Declined in the confirmation: nothing posted, nothing stored.
        m_answer = 1;
        QVERIFY(!w.confirmBinding());
        QCOMPARE(m_asked.size(), 1);
        QVERIFY(m_asked.first().contains(QStringLiteral("第一中学")));
        QVERIFY(m_schools.bindings().isEmpty());

        m_answer = 0;
        QSignalSpy bound(&w, &BindInstallPlaceWidget::bound);
        QVERIFY(w.confirmBinding());
        QVERIFY(w.isWaiting());
        QVERIFY(!w.confirmBinding()); // one request at a time
        QTRY_COMPARE(bound.count(), 1);
        const auto posted = m_schools.bindings();
        QCOMPARE(posted.size(), 1);
        QCOMPARE(posted.first().value(QStringLiteral("schoolId")).toString(), QStringLiteral("900"));
        QCOMPARE(posted.first().value(QStringLiteral("machineId")).toString(), QStringLiteral("AA:BB:CC:00:11:22"));
        QCOMPARE(w.currentLabel()->text(), QStringLiteral("ID_BindInstallPlace_BoundTo 第一中学"));
        // Shown on the next start.
        BindInstallPlaceWidget next;
        QCOMPARE(next.binding().schoolId, quint64(900));
        QCOMPARE(next.currentLabel()->text(), QStringLiteral("ID_BindInstallPlace_BoundTo 第一中学"));
    }

    void shouldKeepTheEarlierBindingWhenTheServiceRefuses()
    {
        QVERIFY(PeopleFixture::load());
        const QString earlier = QStringLiteral("{\"schoolId\":\"900\",\"schoolName\":\"第一中学\",\"boundAt\":\"2026-01-01T00:00:00Z\"}");
        OrvSettings::instance()->setValue(QLatin1String(BindInstallPlaceWidget::SettingsKey), earlier);
        BindInstallPlaceWidget w;
        QVERIFY(w.pickSchool(900));
        QSignalSpy failed(&w, &BindInstallPlaceWidget::bindFailed);
        // Refused (errorNo not 1), then garbage: the earlier binding stays, stored and shown.
        m_schools.setMisbehave(QLatin1String(OrvSchoolService::BindInstallPlacePath), OrvSchoolService::Misbehave::Refuse);
        QVERIFY(w.confirmBinding());
        QTRY_COMPARE(failed.count(), 1);
        m_service.setFault(QLatin1String(OrvSchoolService::BindInstallPlacePath), OrvWebService::Fault::Garbage);
        QVERIFY(w.confirmBinding());
        QTRY_COMPARE(failed.count(), 2);
        m_service.clearFaults();
        QCOMPARE(failed.first().first().toString(), QStringLiteral("this computer cannot be bound"));
        QCOMPARE(OrvSettings::instance()->value(QLatin1String(BindInstallPlaceWidget::SettingsKey)).toString(), earlier);
        QCOMPARE(w.binding().schoolId, quint64(900));

        // A damaged entry reads as unbound and says so.
        OrvSettings::instance()->setValue(QLatin1String(BindInstallPlaceWidget::SettingsKey), QStringLiteral("\x01garbage"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("school binding cannot be read")));
        BindInstallPlaceWidget damaged;
        QVERIFY(!damaged.binding().isBound());
        QCOMPARE(damaged.messageLabel()->text(), QStringLiteral("ID_BindInstallPlace_SettingsDamaged"));
    }
};

QTEST_MAIN(AccountWidgetsTest)
#include "tst_accountwidgets.moc"
