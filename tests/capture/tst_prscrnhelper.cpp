// SPDX-License-Identifier: LGPL-2.1-or-later
// The print-screen helper: in this process, and through the helper program for real.
#include "capturetestutils.h"

#include "PrScrnHelper.h"
#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "ShareToChatTool.h"

#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QMutex>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace CaptureTest;
using ScreenShot::ScreenshotWidget;

namespace {

QStringList s_log;
QMutex s_logMutex;
QtMessageHandler s_previousHandler = nullptr;

void keepLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    {
        QMutexLocker lock(&s_logMutex);
        s_log << message;
    }
    s_previousHandler(type, context, message);
}

void clearLog()
{
    QMutexLocker lock(&s_logMutex);
    s_log.clear();
}

bool logged(const QString &part)
{
    QMutexLocker lock(&s_logMutex);
    for (const QString &line : qAsConst(s_log)) {
        if (line.contains(part))
            return true;
    }
    return false;
}

} // namespace

/// Receives the pictures as a caller of PrScrnHelper::start does.
class Receiver : public QObject
{
    Q_OBJECT
public:
    QList<QPixmap> pictures;
public Q_SLOTS:
    void onPicture(QPixmap pic) { pictures << pic; }
};

class TestPrScrnHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void unscaledScreenCapturesInProcess();
    void copyDeliversThePicture();
    void cancelDeliversANullPicture();
    void shareAndSaveToCloudCloseTheCapture_data();
    void shareAndSaveToCloudCloseTheCapture();
    void hideClassroomAsksToShootAgain();
    void startWhileCapturingConnectsNoOneAgain();

    void helperRefusesAWrongToken();
    void helperIgnoresGarbageInput();
    void helperCancel();
    void helperSelection();
    void helperThatCrashes();
    void helperThatIsMissing();
    void helperThatPrintsGarbage();
    void compatibilityLayerIsNotInherited();

private:
    PrScrnHelper &helper() { return PrScrnHelper::instance(); }
    void useHelper();
    void startCapture(Receiver *receiver, bool hideButton = false);
    QProcess *runningHelper() const;

    std::unique_ptr<PatternWindow> m_pattern;
    QTemporaryDir m_dir;
};

void TestPrScrnHelper::initTestCase()
{
    s_previousHandler = qInstallMessageHandler(keepLog);
    QVERIFY(QFileInfo(PrScrnHelper::programPath()).isExecutable());
    m_pattern = std::make_unique<PatternWindow>(QGuiApplication::primaryScreen(), 4);
    m_pattern->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_pattern.get()));
}

void TestPrScrnHelper::init()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    QTRY_VERIFY(screenShows(screen, screen->geometry().adjusted(5, 5, -5, -5), 4));
    clearLog();
}

void TestPrScrnHelper::cleanup()
{
    PrScrnHelper::release();
    PrScrnHelper::setProgramPath(QString());
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    qunsetenv("ORV_PRSCRN_TEST_SELECT");
    qunsetenv("__COMPAT_LAYER");
    QFile::remove(ScreenshotWidget::tempImagePath());
    QGuiApplication::clipboard()->clear();
}

void TestPrScrnHelper::useHelper()
{
    helper().setHelperPolicy(PrScrnHelper::HelperAlways);
    QVERIFY(helper().isHelperRunning());
    QTRY_VERIFY(logged(QStringLiteral("prscrn started")));
}

void TestPrScrnHelper::startCapture(Receiver *receiver, bool hideButton)
{
    helper().start(QSize(), false, false, receiver, SLOT(onPicture(QPixmap)), hideButton);
    QVERIFY(helper().isCapturing());
}

QProcess *TestPrScrnHelper::runningHelper() const
{
    for (QProcess *p : PrScrnHelper::instance().findChildren<QProcess *>()) {
        if (p->state() == QProcess::Running)
            return p;
    }
    return nullptr;
}

void TestPrScrnHelper::unscaledScreenCapturesInProcess()
{
    QVERIFY(!PrScrnHelper::isScreenScaled());
    QCOMPARE(helper().helperPolicy(), PrScrnHelper::HelperAuto);
    QVERIFY(!helper().isHelperRunning());
    Receiver receiver;
    startCapture(&receiver);
    QTRY_VERIFY(allOverlaysReady());
}

void TestPrScrnHelper::copyDeliversThePicture()
{
    Receiver receiver;
    QSignalSpy ok(&helper(), &PrScrnHelper::ok);
    QSignalSpy cancel(&helper(), &PrScrnHelper::cancel);
    startCapture(&receiver);
    QTRY_VERIFY(allOverlaysReady());
    const QRect wanted(140, 90, 250, 160);
    ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
    drag(overlay, wanted.topLeft(), wanted.bottomRight());
    doubleClick(overlay, wanted.center());
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QCOMPARE(ok.count(), 1);
    QCOMPARE(cancel.count(), 0);
    QCOMPARE(receiver.pictures.first().size(), wanted.size());
    // From the file (JPEG), so close to the screen's pixels, not equal.
    const auto diff = difference(receiver.pictures.first().toImage(), patternImage(wanted, 4));
    QVERIFY2(diff.second < 2.0, qPrintable(QString::number(diff.second)));
    QCOMPARE(ok.at(0).at(0).value<QPixmap>().toImage().convertToFormat(QImage::Format_RGB32), patternImage(wanted, 4));
    QVERIFY(!helper().isCapturing());
}

void TestPrScrnHelper::cancelDeliversANullPicture()
{
    Receiver receiver;
    QSignalSpy cancel(&helper(), &PrScrnHelper::cancel);
    startCapture(&receiver);
    QTRY_VERIFY(allOverlaysReady());
    helper().cancelCapture();
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QVERIFY(receiver.pictures.first().isNull());
    QCOMPARE(cancel.count(), 1);
    QVERIFY(!helper().isCapturing());
}

void TestPrScrnHelper::shareAndSaveToCloudCloseTheCapture_data()
{
    QTest::addColumn<bool>("share");
    QTest::newRow("share") << true;
    QTest::newRow("save to the cloud") << false;
}

void TestPrScrnHelper::shareAndSaveToCloudCloseTheCapture()
{
    QFETCH(bool, share);
    Receiver receiver;
    QSignalSpy shared(&helper(), &PrScrnHelper::shareToChat);
    QSignalSpy stored(&helper(), &PrScrnHelper::saveToCloud);
    QSignalSpy cancel(&helper(), &PrScrnHelper::cancel);
    startCapture(&receiver);
    QTRY_VERIFY(allOverlaysReady());
    ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
    drag(overlay, QPoint(300, 300), QPoint(500, 420));
    if (share)
        overlay->onShare();
    else
        overlay->onSaveToCloud();
    QSignalSpy &spy = share ? shared : stored;
    QTRY_COMPARE(spy.count(), 1);
    // A copy of the capture's file, of its own.
    const QString handed = spy.at(0).at(0).toString();
    QVERIFY(handed != ScreenshotWidget::tempImagePath());
    QCOMPARE(QFileInfo(handed).absolutePath(), QFileInfo(ScreenshotWidget::tempImagePath()).absolutePath());
    QFile copy(handed);
    QVERIFY(copy.open(QIODevice::ReadOnly));
    QFile original(ScreenshotWidget::tempImagePath());
    QVERIFY(original.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), original.readAll());
    QCOMPARE((share ? stored : shared).count(), 0);
    // The chooser that follows must not open under the overlay.
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QVERIFY(receiver.pictures.first().isNull());
    QCOMPARE(cancel.count(), 0);
    if (!share)
        return;

    // Shared as the host does; the people are still being picked when the next capture is taken.
    ShareToChatTool *tool = ShareToChatTool::instance();
    tool->setPicksTargets(false);
    tool->shareImageFile(handed);
    const ShareToChatTool::Share pending = tool->lastShare();
    QCOMPARE(pending.kind, QStringLiteral("shareImageFile"));
    QCOMPARE(pending.payload.toObject().value(QStringLiteral("path")).toString(), QFileInfo(handed).absoluteFilePath());
    Receiver next;
    startCapture(&next);
    QTRY_VERIFY(allOverlaysReady());
    overlay = ScreenshotWidget::overlays().first();
    drag(overlay, QPoint(600, 100), QPoint(700, 150));
    doubleClick(overlay, QPoint(650, 125));
    QTRY_COMPARE(next.pictures.size(), 1);
    QCOMPARE(QImage(ScreenshotWidget::tempImagePath()).size(), QSize(101, 51));
    // What goes out is still the first selection.
    const QImage sent(pending.payload.toObject().value(QStringLiteral("path")).toString());
    QCOMPARE(sent.size(), QSize(201, 121));
    const auto diff = difference(sent, patternImage(QRect(300, 300, 201, 121), 4));
    QVERIFY2(diff.second < 2.0, qPrintable(QString::number(diff.second)));
    const auto message = ShareToChatTool::messageFor(pending, OrvEngine::ClusterID(1001, OrvEngine::User));
    QVERIFY(message);
    QVERIFY(message->content().contains(QFileInfo(handed).fileName()));
    QFile::remove(handed);
}

void TestPrScrnHelper::hideClassroomAsksToShootAgain()
{
    Receiver receiver;
    int restarts = 0;
    // The owner hides its classroom and starts again, right from the signal.
    connect(&helper(), &PrScrnHelper::screenshot, this, [this, &receiver, &restarts] {
        ++restarts;
        startCapture(&receiver);
    });
    startCapture(&receiver, true);
    QTRY_VERIFY(allOverlaysReady());
    ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
    const QPoint hide = overlay->hideButtonRect().center() + overlay->captureArea().topLeft();
    press(overlay, hide);
    release(overlay, hide);
    QTRY_COMPARE(restarts, 1);
    QTRY_VERIFY(allOverlaysReady());
    QVERIFY(receiver.pictures.isEmpty());
    helper().cancelCapture();
    QTRY_COMPARE(receiver.pictures.size(), 1);
}

void TestPrScrnHelper::startWhileCapturingConnectsNoOneAgain()
{
    Receiver first, second;
    startCapture(&first);
    helper().start(QSize(), false, false, &first, SLOT(onPicture(QPixmap)), false);
    helper().start(QSize(), false, false, &second, SLOT(onPicture(QPixmap)), false);
    QTRY_VERIFY(allOverlaysReady());
    helper().cancelCapture();
    QTRY_COMPARE(first.pictures.size(), 1);
    QTest::qWait(50);
    QCOMPARE(first.pictures.size(), 1);
    QVERIFY(second.pictures.isEmpty());
    // The next capture's receiver alone hears of it.
    startCapture(&second);
    QTRY_VERIFY(allOverlaysReady());
    helper().cancelCapture();
    QTRY_COMPARE(second.pictures.size(), 1);
    QCOMPARE(first.pictures.size(), 1);
}

void TestPrScrnHelper::helperRefusesAWrongToken()
{
    for (const QStringList &arguments : {QStringList {QStringLiteral("5C1A7E09B3D24F6A8E0B71C4D9F2A3E7"), m_dir.path()},
                                         QStringList {}}) {
        QProcess process;
        process.start(PrScrnHelper::programPath(), arguments);
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), PrScrnHelper::HelperRefused);
        QVERIFY(process.readAllStandardOutput().contains("refused"));
    }
}

void TestPrScrnHelper::helperIgnoresGarbageInput()
{
    QProcess process;
    process.start(PrScrnHelper::programPath(), {QString::fromLatin1(PrScrnHelper::HelperToken), m_dir.path()});
    QVERIFY(process.waitForStarted());
    process.write("hello\nstart:1|2\nstart:a|b|c|d\n\xff\xfe\x01\n");
    process.write(QByteArray(100000, 'x') + '\n');
    process.write("cancel\n");
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), int(ScreenshotWidget::OperateCancel));
    const QByteArray output = process.readAllStandardOutput();
    QVERIFY(output.contains("unknown command: hello"));
    QVERIFY(output.contains("bad start line: start:1|2"));
    QVERIFY(output.contains("bad start line: start:a|b|c|d"));
    QVERIFY(QFile::exists(m_dir.filePath(QStringLiteral("prscrn.log"))));

    // An idle helper whose input closes ends as well.
    QProcess idle;
    idle.start(PrScrnHelper::programPath(), {QString::fromLatin1(PrScrnHelper::HelperToken), m_dir.path()});
    QVERIFY(idle.waitForStarted());
    idle.closeWriteChannel();
    QVERIFY(idle.waitForFinished(20000));
    QCOMPARE(idle.exitCode(), int(ScreenshotWidget::OperateCancel));
}

void TestPrScrnHelper::helperCancel()
{
    useHelper();
    Receiver receiver;
    QSignalSpy cancel(&helper(), &PrScrnHelper::cancel);
    startCapture(&receiver);
    QVERIFY(ScreenshotWidget::overlays().isEmpty()); // in the helper, not here
    QTRY_VERIFY(logged(QStringLiteral("prscrn output:")) && logged(QStringLiteral("start -1x-1")));
    helper().cancelCapture();
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QVERIFY(receiver.pictures.first().isNull());
    QCOMPARE(cancel.count(), 1);
    QVERIFY(logged(QStringLiteral("subprocess exit: 1")));
    // A new helper waits for the next capture.
    QTRY_VERIFY(helper().isHelperRunning() && !helper().isCapturing());
}

void TestPrScrnHelper::helperSelection()
{
    const QRect wanted(220, 140, 320, 180);
    qputenv("ORV_PRSCRN_TEST_SELECT", "220,140,320,180");
    useHelper();
    Receiver receiver;
    startCapture(&receiver);
    QTRY_COMPARE_WITH_TIMEOUT(receiver.pictures.size(), 1, 20000);
    QVERIFY(logged(QStringLiteral("subprocess exit: 0")));
    const QPixmap picture = receiver.pictures.first();
    QCOMPARE(picture.size(), wanted.size());
    const auto diff = difference(picture.toImage(), patternImage(wanted, 4));
    QVERIFY2(diff.second < 2.0, qPrintable(QString::number(diff.second)));
    // The helper's clipboard went with it; the picture is on this process's clipboard now.
    QCOMPARE(QGuiApplication::clipboard()->image().size(), wanted.size());
}

void TestPrScrnHelper::helperThatCrashes()
{
    useHelper();
    Receiver receiver;
    QSignalSpy cancel(&helper(), &PrScrnHelper::cancel);
    startCapture(&receiver);
    QTRY_VERIFY(logged(QStringLiteral("start -1x-1")));
    QProcess *process = runningHelper();
    QVERIFY(process);
    process->kill();
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QVERIFY(receiver.pictures.first().isNull());
    QCOMPARE(cancel.count(), 1);
    QVERIFY(logged(QStringLiteral("crashed")));
}

void TestPrScrnHelper::helperThatIsMissing()
{
    PrScrnHelper::setProgramPath(m_dir.filePath(QStringLiteral("no-such-prscrn")));
    helper().setHelperPolicy(PrScrnHelper::HelperAlways);
    QVERIFY(!helper().isHelperRunning());
    QVERIFY(logged(QStringLiteral("prscrn missing")));
    Receiver receiver;
    startCapture(&receiver);
    QTRY_VERIFY(allOverlaysReady()); // in this process instead
    helper().cancelCapture();
    QTRY_COMPARE(receiver.pictures.size(), 1);
}

void TestPrScrnHelper::helperThatPrintsGarbage()
{
    // A "helper" that babbles in bytes and ends with a code no capture uses.
    const QString script = m_dir.filePath(QStringLiteral("babbling-prscrn"));
    QFile file(script);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\nhead -c 20000 /dev/urandom\nhead -c 200000 /dev/zero | tr '\\0' 'y'\nread line\nexit 3\n");
    file.close();
    QVERIFY(file.setPermissions(file.permissions() | QFileDevice::ExeOwner));
    PrScrnHelper::setProgramPath(script);
    helper().setHelperPolicy(PrScrnHelper::HelperAlways);
    QVERIFY(helper().isHelperRunning());
    Receiver receiver;
    startCapture(&receiver);
    QTRY_COMPARE(receiver.pictures.size(), 1);
    QVERIFY(receiver.pictures.first().isNull());
    QVERIFY(logged(QStringLiteral("screenshot ended with code 3")));
    QVERIFY(!helper().isCapturing());
}

void TestPrScrnHelper::compatibilityLayerIsNotInherited()
{
    qputenv("__COMPAT_LAYER", "RunAsInvoker HighDpiAware");
    useHelper();
    QVERIFY(logged(QStringLiteral("not passed to prscrn")));
    QVERIFY(!logged(QStringLiteral("__COMPAT_LAYER: RunAsInvoker")));
    PrScrnHelper::release();

    // Other compatibility modes pass.
    clearLog();
    qputenv("__COMPAT_LAYER", "RunAsInvoker");
    useHelper();
    QTRY_VERIFY(logged(QStringLiteral("prscrn output:")) && logged(QStringLiteral("__COMPAT_LAYER: RunAsInvoker")));
    QVERIFY(!logged(QStringLiteral("not passed to prscrn")));
}

QTEST_MAIN(TestPrScrnHelper)
#include "tst_prscrnhelper.moc"
