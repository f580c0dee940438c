// SPDX-License-Identifier: LGPL-2.1-or-later
#include "peoplefixture.h"

#include "ContactsSelectViewModel.h"
#include "bridgedialogs.h"
#include "clusterjoinwidget.h"
#include "clusterqrcodewidget.h"
#include "clustersecretwidget.h"
#include "imsignalobject.h"
#include "joinhoverpixmapwidget.h"
#include "qrcodeimage.h"
#include "qrcodelabel.h"
#include "waitingspinnerwidget.h"

#include "contactsengine.h"
#include "schoolsettingmanager.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvschoolservice.h"
#include "orvtrack.h"
#include "orvwebservice.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QtTest>
#define ZX_USE_UTF8 1 // text() as UTF-8
#include <ZXing/ReadBarcode.h>
#include <memory>

using namespace OrvEngine;

namespace {

// The text of the first QR code found in the image, as ZXing reads it; empty when none.
QString decodeQr(const QImage &image)
{
    const QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    const ZXing::ImageView view(gray.constBits(), gray.width(), gray.height(), ZXing::ImageFormat::Lum,
                                int(gray.bytesPerLine()));
    const ZXing::Result result = ZXing::ReadBarcode(view, ZXing::DecodeHints().setFormats(ZXing::BarcodeFormat::QRCode));
    return result.isValid() ? QString::fromStdString(result.text()) : QString();
}

struct Messages {
    QStringList texts;
};

} // namespace

class ClusterJoinTest : public QObject
{
    Q_OBJECT

    OrvWebService m_service;
    OrvSchoolService m_schools;
    std::shared_ptr<Messages> m_messages;

    std::unique_ptr<ClusterJoinWidget> makeWidget(quint64 courseId, bool contacts, bool playback, int mode, bool isPublic = false,
                                                  bool access = true)
    {
        return std::make_unique<ClusterJoinWidget>(900, courseId, contacts, playback, mode, nullptr, isPublic, access);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
        m_schools.install(m_service);
        m_schools.addSchool(900, QStringLiteral("第一中学"));
        OrvSchoolService::Course course;
        course.schoolId = 900;
        course.courseId = 301;
        course.name = QStringLiteral("三年级二班数学");
        course.teacherName = QStringLiteral("王老师");
        course.startTime = QDateTime(QDate(2026, 9, 1), QTime(0, 0), Qt::UTC).toSecsSinceEpoch(); // 08:00 in Beijing
        course.minutes = 45;
        course.snCode = QStringLiteral("A1B2C3");
        m_schools.addCourse(course);
        course.courseId = 401;
        course.name = QStringLiteral("<b>Open</b> day 公开课");
        course.snCode = QStringLiteral("P401");
        m_schools.addCourse(course);
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
    }
    void cleanupTestCase()
    {
        m_service.stop();
        BridgeDialogs::resetHandlers();
        PeopleFixture::resetAll();
    }
    void init()
    {
        QVERIFY(PeopleFixture::load());
        m_messages = std::make_shared<Messages>();
        auto messages = m_messages;
        BridgeDialogs::setMessageHandler([messages](QWidget *, const QString &, const QString &text, const QStringList &) {
            messages->texts << text;
            return 0;
        });
        for (const char *path : {OrvSchoolService::OpenCourseUrlPath, OrvSchoolService::SchoolAuthInfoPath})
            m_schools.setMisbehave(QLatin1String(path), OrvSchoolService::Misbehave::None);
        m_service.clearFaults();
        OrvTrack::instance()->clear();
    }

    void shouldFillTheLinkAndQrPagesFromTheService()
    {
        auto w = makeWidget(301, true, false, 1);
        QSignalSpy rejected(w.get(), &ClusterJoinWidget::signalReject);
        QCOMPARE(w->tabWidget()->count(), 3);
        QCOMPARE(w->tabWidget()->tabText(0), QStringLiteral("ID_clusterjoin_AddKadioContacts"));
        QCOMPARE(w->tabWidget()->tabText(2), QStringLiteral("ID_QRC_Invite"));
        // Loading: the spinner turns and the 20-second timer runs.
        QVERIFY(w->spinner()->isSpinning());
        QVERIFY(w->requestTimer().isActive());
        QCOMPARE(w->requestTimer().interval(), 20000);
        QTRY_VERIFY(!w->secretWidget()->info().link.isEmpty());
        QTRY_COMPARE(w->schoolName(), QStringLiteral("第一中学"));
        QVERIFY(!w->spinner()->isSpinning());
        QVERIFY(!w->requestTimer().isActive());
        QCOMPARE(rejected.count(), 0);
        QVERIFY(m_messages->texts.isEmpty());

        const QString link = m_service.baseUrl().toString() + QStringLiteral("/join/A1B2C3");
        QCOMPARE(w->secretWidget()->info().link, link);
        QCOMPARE(w->getSNCode(), QStringLiteral("A1B2C3"));
        // The code holds the QR link, as a phone's camera reads it, alone and on the card.
        QCOMPARE(decodeQr(w->qrCodeWidget()->qrCodeImage()), link + QStringLiteral("?from=qr"));
        QCOMPARE(decodeQr(w->qrCodeWidget()->invitationImage()), link + QStringLiteral("?from=qr"));

        // The invitation text: who invites, the class, its code and the link; copied as text.
        const QString text = w->secretWidget()->plainText();
        QVERIFY2(text.contains(QStringLiteral("王老师")) && text.contains(QStringLiteral("三年级二班")) && text.contains(link),
                 qPrintable(text));
        w->secretWidget()->copyBtnSlot();
        QCOMPARE(QApplication::clipboard()->text(), text);
        QCOMPARE(w->secretWidget()->copyButton()->text(), QStringLiteral("ID_Copied"));
    }

    void shouldWriteTimesInBothFormatsAndEscapeNames()
    {
        auto w = makeWidget(401, false, true, 0, true);
        QCOMPARE(w->tabWidget()->count(), 3);
        QCOMPARE(w->tabWidget()->tabText(0), QStringLiteral("ID_clusterjoin_InLink"));
        QCOMPARE(w->tabWidget()->tabText(2), QStringLiteral("ID_Live_Playback_Link"));
        QTRY_VERIFY(!w->secretWidget()->info().link.isEmpty());
        ClusterSecretWidget *secret = w->secretWidget();
        secret->setLanguage(QStringLiteral("zh"));
        QVERIFY2(secret->plainText().contains(QStringLiteral("ID_clustersecret_Time: 2026/09/01 08:00 (ID_clustersecret_BeijingTime)")),
                 qPrintable(secret->plainText()));
        secret->setLanguage(QStringLiteral("zh-TW"));
        QVERIFY(secret->plainText().contains(QStringLiteral("2026/09/01 08:00")));
        secret->setLanguage(QStringLiteral("en"));
        QVERIFY(secret->plainText().contains(QStringLiteral("09/01/2026 08:00")));
        // A course name with markup is shown as text, never as markup.
        QVERIFY(secret->html().contains(QStringLiteral("&lt;b&gt;Open&lt;/b&gt;")));
        QVERIFY(!secret->html().contains(QStringLiteral("<b>Open")));
        QVERIFY(secret->plainText().contains(QStringLiteral("ID_clustersecret_PublicClassID: P401")));
        // The playback page's code leads to the playback.
        QVERIFY(decodeQr(w->playbackQrCodeWidget()->qrCodeImage()).endsWith(QStringLiteral("/join/P401?playback=1")));
        // The link page lays itself out again once shown.
        w->tabWidget()->setCurrentIndex(1);
        w->tabWidget()->setCurrentIndex(0);
        QCOMPARE(w->currentIndex(), 0);
    }

    void shouldRejectRefusalsWithTheirMessage_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("misbehave");
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("message");
        const QString url = QLatin1String(OrvSchoolService::OpenCourseUrlPath);
        const QString auth = QLatin1String(OrvSchoolService::SchoolAuthInfoPath);
        QTest::newRow("errorNo not 1, networkError 0") << url << int(OrvSchoolService::Misbehave::Refuse) << -1
                                                       << "joining this course is closed";
        QTest::newRow("success without the link") << url << int(OrvSchoolService::Misbehave::MissingFields) << -1
                                                  << "ID_clusterjoin_BadReply";
        QTest::newRow("link of the wrong type") << url << int(OrvSchoolService::Misbehave::BadValues) << -1
                                                << "ID_clusterjoin_BadReply";
        QTest::newRow("garbage instead of JSON") << url << 0 << int(OrvWebService::Fault::Garbage) << "ID_Network_BadReply";
        QTest::newRow("server error") << url << 0 << int(OrvWebService::Fault::Status500) << "ID_Network_ServerError";
        QTest::newRow("school refused") << auth << int(OrvSchoolService::Misbehave::Refuse) << -1
                                        << "the school's authorisation has expired";
        QTest::newRow("school without SID") << auth << int(OrvSchoolService::Misbehave::MissingFields) << -1
                                            << "ID_clusterjoin_BadReply";
        QTest::newRow("SID not a number") << auth << int(OrvSchoolService::Misbehave::BadValues) << -1 << "ID_clusterjoin_BadReply";
    }
    void shouldRejectRefusalsWithTheirMessage()
    {
        QFETCH(QString, path);
        QFETCH(int, misbehave);
        QFETCH(int, fault);
        QFETCH(QString, message);
        if (fault >= 0)
            m_service.setFault(path, OrvWebService::Fault(fault));
        else
            m_schools.setMisbehave(path, OrvSchoolService::Misbehave(misbehave));
        auto w = makeWidget(301, false, false, 0);
        QSignalSpy rejected(w.get(), &ClusterJoinWidget::signalReject);
        QTRY_COMPARE(rejected.count(), 1);
        QCOMPARE(m_messages->texts, QStringList{message});
        QVERIFY(!w->spinner()->isSpinning());
        // The other reply arriving later adds no second message or reject.
        QTest::qWait(50);
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(m_messages->texts.size(), 1);
    }

    void shouldWaitForTheSchoolSettingsOfItsOwnSchool()
    {
        Org::SchoolSettingManager::release();
        auto w = makeWidget(301, false, false, 0);
        QVERIFY(!w->isSchoolSettingReady());
        auto *settings = Org::SchoolSettingManager::getInstance();
        // Another school's answer, then a failure of its own: still waiting, the failure logged.
        settings->setSchoolSetting(901, std::make_shared<Org::SchoolSettingInfo>());
        QVERIFY(!w->isSchoolSettingReady());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("errorNo: 40300")));
        settings->failSchoolSetting(900, 0, 40300, QStringLiteral("expired"));
        QVERIFY(!w->isSchoolSettingReady());
        settings->setSchoolSetting(900, std::make_shared<Org::SchoolSettingInfo>());
        QVERIFY(w->isSchoolSettingReady());
        // A panel opened later finds them known at once.
        auto later = makeWidget(301, false, false, 0);
        QVERIFY(later->isSchoolSettingReady());
        QTRY_VERIFY(!later->secretWidget()->info().link.isEmpty());
    }

    void shouldRejectAnotherSchoolSilently()
    {
        m_schools.setMisbehave(QLatin1String(OrvSchoolService::SchoolAuthInfoPath), OrvSchoolService::Misbehave::OtherSchool);
        auto w = makeWidget(301, false, false, 0);
        QSignalSpy rejected(w.get(), &ClusterJoinWidget::signalReject);
        QTRY_COMPARE(rejected.count(), 1);
        QVERIFY(m_messages->texts.isEmpty());
        QVERIFY(w->schoolName().isEmpty());
    }

    void shouldOnlyHideTheSpinnerOnTimeout()
    {
        // The service answers late; the panel's own 20-second limit is checked by its interval.
        m_service.setFault(QLatin1String(OrvSchoolService::OpenCourseUrlPath), OrvWebService::Fault::Slow, 400);
        m_service.setFault(QLatin1String(OrvSchoolService::SchoolAuthInfoPath), OrvWebService::Fault::Slow, 400);
        auto w = makeWidget(301, false, false, 0);
        QSignalSpy rejected(w.get(), &ClusterJoinWidget::signalReject);
        QCOMPARE(w->requestTimer().interval(), ClusterJoinWidget::RequestTimeoutMs);
        QVERIFY(w->requestTimer().isActive());
        w->requestTimeout();
        QVERIFY(!w->spinner()->isSpinning());
        QVERIFY(!w->requestTimer().isActive());
        QVERIFY(m_messages->texts.isEmpty());
        QCOMPARE(rejected.count(), 0);
        // The late answer still fills the pages.
        QTRY_VERIFY(!w->secretWidget()->info().link.isEmpty());
        QCOMPARE(rejected.count(), 0);
    }

    void shouldFollowWhetherEveryoneCanJoin()
    {
        auto *contacts = ContactsEngine::instance();
        auto closed = std::make_shared<ClusterInfo>(*contacts->getClusterInfo(ClusterID(301, Class)));
        closed->setEveryoneCanJoin(false);
        contacts->updateClusters({closed});
        // Closed: its page shows at once, while the links still load; mode 1 may go and open it.
        auto w = makeWidget(301, true, false, 1);
        QVERIFY(w->isClosedPageShown());
        QSignalSpy goToSet(ImSignalObject::instance(), &ImSignalObject::signalDrawerDetachClusterInfoWidget);
        auto *go = w->findChild<QPushButton *>(QStringLiteral("goToSetBtn"));
        QVERIFY(go);
        go->click();
        QCOMPARE(goToSet.count(), 1);
        QCOMPARE(goToSet.first().first().value<ClusterID>(), ClusterID(301, Class));
        // Opened by the engine's update: the tabs come back.
        auto open = std::make_shared<ClusterInfo>(*closed);
        open->setEveryoneCanJoin(true);
        contacts->updateClusters({open});
        QVERIFY(!w->isClosedPageShown());
        // A member without the right is told to ask the head teacher.
        contacts->updateClusters({closed});
        auto member = makeWidget(301, false, false, 0);
        QVERIFY(member->isClosedPageShown());
        QVERIFY(!member->findChild<QPushButton *>(QStringLiteral("goToSetBtn")));
        QVERIFY(member->findChild<QWidget *>(QStringLiteral("contactHeadTeacherLabel")));
    }

    void shouldPickContactsOrShowTheBlankPage()
    {
        auto w = makeWidget(301, true, false, 1);
        QVERIFY(!w->isBlankContactsPageShown());
        QSignalSpy accepted(w.get(), &ClusterJoinWidget::signalAccept);
        ContactsSelectViewModel *vm = w->contactsViewModel();
        // Only this school's people, and never the class itself.
        w->setDisableUsers({8});
        QVERIFY(vm->pickTarget(ClusterID(2, User)));
        QVERIFY(!vm->pickTarget(ClusterID(8, User)));
        QVERIFY(!vm->pickTarget(ClusterID(301, Class)));
        QVERIFY(!vm->pickTarget(ClusterID(3, User))); // a friend from outside the school
        Q_EMIT vm->okBtnClicked();
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(w->getSelectedUsers(), (std::vector<quint64>{2}));
        QCOMPARE(w->getSelectedContacts(), (QList<ClusterID>{ClusterID(2, User)}));
        w->clearFilterSchool();
        QVERIFY(vm->pickTarget(ClusterID(3, User)));

        // A school with nobody in it: the contacts tab shows the blank page.
        m_schools.addSchool(950, QStringLiteral("Empty school"));
        ClusterJoinWidget empty(950, 301, true, false, 1);
        QVERIFY(empty.isBlankContactsPageShown());
        QVERIFY(empty.findChild<QWidget *>(QStringLiteral("blankWidgetDesc")));
    }

    void shouldSaveCopyAndShowTheCodeLarge()
    {
        QTemporaryDir dir;
        QString offered;
        const QString chosen = dir.filePath(QStringLiteral("mine"));
        BridgeDialogs::setSaveFileHandler([&](QWidget *, const QString &, const QString &start, const QString &filter) {
            offered = start;
            Q_UNUSED(filter)
            return chosen;
        });
        auto w = makeWidget(301, false, false, 0);
        w->show();
        QTRY_VERIFY(!w->qrCodeWidget()->qrCodeImage().isNull());
        ClusterQRCodeWidget *qr = w->qrCodeWidget();
        QSignalSpy saved(qr, &ClusterQRCodeWidget::saved);
        qr->saveQrCodeBtnSlot();
        QCOMPARE(saved.count(), 1);
        // The dialog offered the default name; the file got its suffix and is the code.
        QVERIFY2(QRegularExpression(QStringLiteral("kadioqr_gkk-1_\\d{4}-\\d\\d-\\d\\d_\\d{6}\\.png$")).match(offered).hasMatch(),
                 qPrintable(offered));
        QCOMPARE(saved.first().first().toString(), chosen + QStringLiteral(".png"));
        QCOMPARE(decodeQr(QImage(chosen + QStringLiteral(".png"))), qr->info().qrLink);
        QCOMPARE(qr->toastLabel()->text(), QStringLiteral("ID_UserQRCode_PictureSaved"));
        QCOMPARE(ClusterQRCodeWidget::defaultFileName(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7))),
                 QStringLiteral("kadioqr_gkk-1_2026-03-04_050607.png"));

        // The card, copied: the clipboard holds a picture with the code on it.
        qr->invitationTabBtnSlot();
        QCOMPARE(qr->currentInnerTab(), int(ClusterQRCodeWidget::InvitationTab));
        qr->copyInvitationBtnSlot();
        QCOMPARE(decodeQr(QApplication::clipboard()->image()), qr->info().qrLink);
        const auto share = OrvTrack::instance()->events(QStringLiteral("ShareClass"));
        QCOMPARE(share.size(), 2);
        QCOMPARE(share.at(0).properties.value(QStringLiteral("action")).toString(), QStringLiteral("saveQrCode"));
        QCOMPARE(share.at(1).properties.value(QStringLiteral("action")).toString(), QStringLiteral("copyQrCode"));
        QCOMPARE(OrvTrack::instance()->events(QStringLiteral("AdvertisementPopup")).size(), 1);

        // Large view, closed again.
        qr->onLookBigImage();
        QVERIFY(qr->bigImageWidget() && qr->bigImageWidget()->isVisible());
        qr->onCloseImagePreviewWidget();
        QVERIFY(!qr->bigImageWidget()->isVisible());

        // A cancelled dialog writes nothing; without access nothing is offered at all.
        BridgeDialogs::setSaveFileHandler([](QWidget *, const QString &, const QString &, const QString &) { return QString(); });
        qr->saveQrCodeBtnSlot();
        QCOMPARE(saved.count(), 1);
        w->setIsHaveAccess(false);
        qr->saveQrCodeBtnSlot();
        qr->copyQrCodeBtnSlot();
        QCOMPARE(OrvTrack::instance()->events(QStringLiteral("ShareClass")).size(), 2);
        BridgeDialogs::resetHandlers();
        auto messages = m_messages;
        BridgeDialogs::setMessageHandler([messages](QWidget *, const QString &, const QString &text, const QStringList &) {
            messages->texts << text;
            return 0;
        });
        const QString shots = qEnvironmentVariable("ORV_PEOPLE_SCREENSHOTS");
        if (!shots.isEmpty()) {
            w->setIsHaveAccess(true);
            w->resize(720, 560);
            w->setTabWidgetIndex(1);
            qr->invitationTabBtnSlot();
            w->grab().save(shots + QStringLiteral("/clusterjoin-qr.png"));
            w->setTabWidgetIndex(0);
            w->grab().save(shots + QStringLiteral("/clusterjoin-link.png"));
            qr->invitationImage().save(shots + QStringLiteral("/clusterjoin-card.png"));
        }
    }

    void shouldRefuseTextsThatNoCodeHolds()
    {
        QVERIFY(QRCodeImage::encode(QString()).isNull());
        QVERIFY(QRCodeImage::encode(QString(8000, QLatin1Char('x'))).isNull());
        // A page given such a link says so and offers nothing to save.
        ClusterQRCodeWidget page(0, false);
        ClusterJoinInfo info;
        info.link = QStringLiteral("https://x.org/") + QString(8000, QLatin1Char('x'));
        page.setInfo(info);
        QCOMPARE(page.codeLabel()->text(), QStringLiteral("ID_clusterqrcode_NoCode"));
        QVERIFY(!page.findChild<QPushButton *>(QStringLiteral("saveQrCodeBtn"))->isEnabled());
        const QImage small = QRCodeImage::encode(QStringLiteral("https://example.org/j/1"), 4, 2);
        QCOMPARE(small.width(), (QRCodeImage::moduleCount(QStringLiteral("https://example.org/j/1")) + 4) * 4);
        QCOMPARE(decodeQr(QRCodeImage::encode(QStringLiteral("加入班级 https://x.org/?a=1&b=二"))),
                 QStringLiteral("加入班级 https://x.org/?a=1&b=二"));
    }
};

QTEST_MAIN(ClusterJoinTest)
#include "tst_clusterjoin.moc"
