// SPDX-License-Identifier: LGPL-2.1-or-later
// The desktop portal's screenshot, against a stand-in portal on the private session bus that
// xsession.sh starts.
#include "capturetestutils.h"

#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "portalscreenshot.h"
#include "screengrab.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

using namespace CaptureTest;
using ScreenShot::ScreenshotWidget;

namespace {

const QString PortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString PortalPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// The portal's Screenshot call as xdg-desktop-portal answers it, with ways to misbehave.
class FakePortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Screenshot")
public:
    enum Mode { Answer, AnswerBeforeReply, AnswerOnOwnPath, Refuse, Fail, NotLocal, MissingFile, Silent };

    explicit FakePortal(const QDBusConnection &bus)
        : m_bus(bus)
    {
    }

    Mode mode = Answer;
    QString file;
    int calls = 0;
    QVariantMap lastOptions;

public Q_SLOTS:
    QDBusObjectPath Screenshot(const QString &parentWindow, const QVariantMap &options)
    {
        Q_UNUSED(parentWindow)
        ++calls;
        lastOptions = options;
        QString sender = message().service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        QString handle = QStringLiteral("%1/request/%2/%3").arg(PortalPath, sender, options.value(QStringLiteral("handle_token")).toString());
        if (mode == AnswerOnOwnPath)
            handle = PortalPath + QStringLiteral("/request/legacy/42");
        uint code = 0;
        QString uri = QUrl::fromLocalFile(file).toString();
        if (mode == Refuse)
            code = 1;
        else if (mode == Fail)
            code = 2;
        else if (mode == NotLocal)
            uri = QStringLiteral("https://example.com/shot.png");
        else if (mode == MissingFile)
            uri = QUrl::fromLocalFile(file + QStringLiteral(".gone")).toString();
        const QDBusConnection bus = m_bus;
        auto respond = [bus, handle, code, uri] {
            QDBusMessage signal = QDBusMessage::createSignal(handle, QStringLiteral("org.freedesktop.portal.Request"),
                                                             QStringLiteral("Response"));
            signal << code << QVariantMap {{QStringLiteral("uri"), uri}};
            QDBusConnection(bus).send(signal);
        };
        if (mode == AnswerBeforeReply)
            respond();
        else if (mode != Silent)
            QTimer::singleShot(mode == AnswerOnOwnPath ? 150 : 10, respond);
        return QDBusObjectPath(handle);
    }

private:
    QDBusConnection m_bus;
};

} // namespace

class TestPortal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void answersWithTheDesktopPicture_data();
    void answersWithTheDesktopPicture();
    void failuresEndWithAReason_data();
    void failuresEndWithAReason();
    void noPortalOnTheBus();
    void oneRequestAtATime();
    void desktopIsSplitIntoScreens();
    void overlayGrabsThroughThePortal();
    void refusedPortalEndsTheCapture();

private:
    QTemporaryDir m_dir;
    QImage m_desktop;
    std::unique_ptr<FakePortal> m_portal;
    std::unique_ptr<QDBusConnection> m_portalBus;
};

void TestPortal::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "no private session bus (run through xsession.sh)");
    // The portal answers from a connection of its own, as a separate service would.
    m_portalBus = std::make_unique<QDBusConnection>(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-portal")));
    QVERIFY(m_portalBus->isConnected());
    m_portal = std::make_unique<FakePortal>(*m_portalBus);
    QVERIFY(m_portalBus->registerObject(PortalPath, m_portal.get(), QDBusConnection::ExportAllSlots));
    QVERIFY(m_portalBus->registerService(PortalService));

    // A picture of the whole desktop at twice its logical size, as a scaled Wayland session gives.
    const QRect desktop = QGuiApplication::primaryScreen()->virtualGeometry();
    m_desktop = patternImage(desktop, 7).scaled(desktop.size() * 2);
    m_portal->file = m_dir.filePath(QStringLiteral("Screenshot.png"));
    QVERIFY(m_desktop.save(m_portal->file));
}

void TestPortal::init()
{
    m_portal->mode = FakePortal::Answer;
    m_portal->calls = 0;
}

void TestPortal::cleanup()
{
    qunsetenv("ORV_SCREEN_GRAB");
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
}

void TestPortal::answersWithTheDesktopPicture_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("answer after the reply") << int(FakePortal::Answer);
    QTest::newRow("answer before the reply") << int(FakePortal::AnswerBeforeReply);
    QTest::newRow("older portal, its own request path") << int(FakePortal::AnswerOnOwnPath);
}

void TestPortal::answersWithTheDesktopPicture()
{
    QFETCH(int, mode);
    m_portal->mode = FakePortal::Mode(mode);
    OrvScreen::PortalScreenshot shot;
    QSignalSpy finished(&shot, &OrvScreen::PortalScreenshot::finished);
    QVERIFY(shot.request());
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(1).toString(), QString());
    QCOMPARE(finished.at(0).at(0).value<QImage>().convertToFormat(QImage::Format_RGB32), m_desktop.convertToFormat(QImage::Format_RGB32));
    QCOMPARE(m_portal->calls, 1);
    QVERIFY(!m_portal->lastOptions.value(QStringLiteral("handle_token")).toString().isEmpty());
    QCOMPARE(m_portal->lastOptions.value(QStringLiteral("interactive")).toBool(), false);
    QVERIFY(!shot.isRunning());
    QVERIFY(QFile::exists(m_portal->file)); // the portal's file is not ours to delete
}

void TestPortal::failuresEndWithAReason_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("reason");
    QTest::newRow("refused by the user") << int(FakePortal::Refuse) << QStringLiteral("refused");
    QTest::newRow("portal error") << int(FakePortal::Fail) << QStringLiteral("portal failed");
    QTest::newRow("not a local file") << int(FakePortal::NotLocal) << QStringLiteral("no local file");
    QTest::newRow("file gone") << int(FakePortal::MissingFile) << QStringLiteral("cannot read");
    QTest::newRow("no answer") << int(FakePortal::Silent) << QStringLiteral("did not answer");
}

void TestPortal::failuresEndWithAReason()
{
    QFETCH(int, mode);
    QFETCH(QString, reason);
    m_portal->mode = FakePortal::Mode(mode);
    OrvScreen::PortalScreenshot shot;
    QSignalSpy finished(&shot, &OrvScreen::PortalScreenshot::finished);
    QVERIFY(shot.request(300));
    QTRY_COMPARE(finished.count(), 1);
    QVERIFY(finished.at(0).at(0).value<QImage>().isNull());
    QVERIFY2(finished.at(0).at(1).toString().contains(reason), qPrintable(finished.at(0).at(1).toString()));
    QTest::qWait(50);
    QCOMPARE(finished.count(), 1); // once only, also when a late answer would follow
}

void TestPortal::noPortalOnTheBus()
{
    QVERIFY(m_portalBus->unregisterService(PortalService));
    OrvScreen::PortalScreenshot shot;
    QSignalSpy finished(&shot, &OrvScreen::PortalScreenshot::finished);
    QVERIFY(shot.request(10000));
    QTRY_COMPARE(finished.count(), 1);
    QVERIFY(finished.at(0).at(1).toString().contains(QStringLiteral("ServiceUnknown")));
    QVERIFY(m_portalBus->registerService(PortalService));
}

void TestPortal::oneRequestAtATime()
{
    OrvScreen::PortalScreenshot shot;
    QSignalSpy finished(&shot, &OrvScreen::PortalScreenshot::finished);
    QVERIFY(shot.request());
    QVERIFY(!shot.request());
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(m_portal->calls, 1);
    QVERIFY(shot.request()); // and again once done
    QTRY_COMPARE(finished.count(), 2);
}

void TestPortal::desktopIsSplitIntoScreens()
{
    // Two monitors side by side, the picture at twice their size.
    const QRect desktop(0, 0, 2304, 800);
    const QRect right(1280, 0, 1024, 768);
    const QImage picture = patternImage(desktop, 3).scaled(desktop.size() * 2);
    const QPixmap part = OrvScreen::desktopPart(picture, desktop, right);
    QCOMPARE(part.size(), right.size() * 2);
    QCOMPARE(part.devicePixelRatio(), 2.0);
    QImage partImage = part.toImage().convertToFormat(QImage::Format_RGB32);
    partImage.setDevicePixelRatio(1.0);
    QCOMPARE(partImage,
             picture.copy(QRect(right.topLeft() * 2, right.size() * 2)).convertToFormat(QImage::Format_RGB32));
    QVERIFY(OrvScreen::desktopPart(picture, desktop, QRect(5000, 0, 100, 100)).isNull());
    QVERIFY(OrvScreen::desktopPart(QImage(), desktop, right).isNull());
}

void TestPortal::overlayGrabsThroughThePortal()
{
    qputenv("ORV_SCREEN_GRAB", "portal");
    QCOMPARE(OrvScreen::grabBackend(), OrvScreen::GrabBackend::Portal);
    std::vector<int> codes;
    ScreenshotWidget::start(QSize(), false, false, false, [&codes](int code) { codes.push_back(code); });
    QTRY_VERIFY(allOverlaysReady());
    QCOMPARE(m_portal->calls, 1); // one request for all screens
    QScreen *screen = QGuiApplication::primaryScreen();
    ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
    QCOMPARE(overlay->fullScreenPixmap().devicePixelRatio(), 2.0);
    const QRect wanted(screen->geometry().topLeft() + QPoint(200, 100), QSize(160, 90));
    drag(overlay, wanted.topLeft(), wanted.bottomRight());
    doubleClick(overlay, wanted.center());
    QCOMPARE(codes, std::vector<int>{ScreenshotWidget::OperateOk});
    QCOMPARE(QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_RGB32),
             m_desktop.copy(QRect(wanted.topLeft() * 2, wanted.size() * 2)).convertToFormat(QImage::Format_RGB32));
}

void TestPortal::refusedPortalEndsTheCapture()
{
    qputenv("ORV_SCREEN_GRAB", "portal");
    m_portal->mode = FakePortal::Refuse;
    std::vector<int> codes;
    ScreenshotWidget::start(QSize(), false, false, false, [&codes](int code) { codes.push_back(code); });
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

QTEST_MAIN(TestPortal)
#include "tst_portal.moc"
