// SPDX-License-Identifier: LGPL-2.1-or-later
// The window list and window snapping against real windows, with openbox managing them and
// without a window manager.
#include "capturetestutils.h"

#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "screenplatform.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QLabel>
#include <QPointer>
#include <QTest>
#include <QX11Info>
#include <memory>
#include <vector>

using namespace CaptureTest;
using ScreenShot::RubberBand;
using ScreenShot::ScreenshotWidget;

class TestWindowSnapping : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void listFollowsTheStacking();
    void hiddenAndMinimisedWindowsAreLeftOut();
    void snapOutlinesTheTopmostWindow();
    void clickSelectsTheWindowAndDragDrawsFreely();
    void windowClosedWhileSnapped();
    void overlaysAreNoTargets();
    void monitorScaleOfAnUnscaledScreen();

private:
    /// The overlay, once it has its grab and the windows to snap to.
    ScreenshotWidget *readyOverlay();
    QWidget *openWindow(const QString &name, const QRect &geometry);
    int indexOf(const QVector<OrvScreen::WindowInfo> &list, const QWidget *w) const;
    QScreen *screen() const { return QGuiApplication::primaryScreen(); }

    bool m_managed = false;
    std::vector<std::unique_ptr<QWidget>> m_windows;
    QWidget *m_a = nullptr;
    QWidget *m_b = nullptr;
    QWidget *m_edge = nullptr;
    std::vector<int> m_codes;
};

QWidget *TestWindowSnapping::openWindow(const QString &name, const QRect &geometry)
{
    auto window = std::make_unique<QLabel>(name);
    window->setWindowTitle(name);
    window->setAlignment(Qt::AlignCenter);
    window->setStyleSheet(QStringLiteral("background:#%1").arg(qHash(name) & 0xFFFFFF, 6, 16, QLatin1Char('0')));
    window->setGeometry(geometry);
    window->show();
    m_windows.push_back(std::move(window));
    return m_windows.back().get();
}

int TestWindowSnapping::indexOf(const QVector<OrvScreen::WindowInfo> &list, const QWidget *w) const
{
    for (int i = 0; i < list.size(); ++i) {
        if (list.at(i).id == quint64(w->winId()))
            return i;
    }
    return -1;
}

ScreenshotWidget *TestWindowSnapping::readyOverlay()
{
    if (!QTest::qWaitFor([] { return allOverlaysReady() && !ScreenshotWidget::overlays().first()->windowList().isEmpty(); }))
        return nullptr;
    return ScreenshotWidget::overlays().first();
}

void TestWindowSnapping::initTestCase()
{
    QVERIFY(QX11Info::isPlatformX11());
    // Is a window manager (openbox here) looking after the windows?
    QWidget probe;
    probe.show();
    QVERIFY(QTest::qWaitForWindowExposed(&probe));
    m_managed = QTest::qWaitFor([&probe] { return probe.frameGeometry() != probe.geometry(); }, 2000);
    qInfo() << "window manager:" << m_managed;

    m_a = openWindow(QStringLiteral("A"), QRect(100, 120, 400, 300));
    m_b = openWindow(QStringLiteral("B"), QRect(300, 260, 400, 300));
    m_edge = openWindow(QStringLiteral("Edge"), QRect(-100, 600, 300, 250));
    for (QWidget *w : {m_a, m_b, m_edge})
        QVERIFY(QTest::qWaitForWindowExposed(w));
    if (m_managed) {
        for (QWidget *w : {m_a, m_b, m_edge})
            QTRY_VERIFY(w->frameGeometry() != w->geometry());
        // The edge window may have been moved onto the screen; what counts is where it is.
    }
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), m_b) >= 0);
}

void TestWindowSnapping::cleanup()
{
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    m_codes.clear();
}

void TestWindowSnapping::listFollowsTheStacking()
{
    QVector<OrvScreen::WindowInfo> list = OrvScreen::windowList(screen());
    const int a = indexOf(list, m_a);
    const int b = indexOf(list, m_b);
    QVERIFY(a >= 0 && b >= 0);
    QVERIFY2(b < a, "the later window is on top");
    // The outer frame, decorations included.
    QTRY_COMPARE(OrvScreen::windowList(screen()).at(indexOf(OrvScreen::windowList(screen()), m_a)).rect, m_a->frameGeometry());
    QCOMPARE(list.at(b).rect, m_b->frameGeometry());
    QCOMPARE(list.at(a).title, QStringLiteral("A"));

    m_a->raise();
    m_a->activateWindow();
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), m_a) < indexOf(OrvScreen::windowList(screen()), m_b));
    m_b->raise();
    m_b->activateWindow();
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), m_b) < indexOf(OrvScreen::windowList(screen()), m_a));
}

void TestWindowSnapping::hiddenAndMinimisedWindowsAreLeftOut()
{
    QWidget *hidden = openWindow(QStringLiteral("Hidden"), QRect(600, 100, 200, 150));
    QVERIFY(QTest::qWaitForWindowExposed(hidden));
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), hidden) >= 0);
    hidden->hide();
    QTRY_COMPARE(indexOf(OrvScreen::windowList(screen()), hidden), -1);

    if (!m_managed)
        return; // minimising needs a window manager
    QWidget *minimised = openWindow(QStringLiteral("Minimised"), QRect(650, 150, 200, 150));
    QVERIFY(QTest::qWaitForWindowExposed(minimised));
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), minimised) >= 0);
    minimised->showMinimized();
    QTRY_COMPARE(indexOf(OrvScreen::windowList(screen()), minimised), -1);
    minimised->showNormal();
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), minimised) >= 0);
    minimised->hide();
}

void TestWindowSnapping::snapOutlinesTheTopmostWindow()
{
    const QRect a = m_a->frameGeometry();
    const QRect b = m_b->frameGeometry();
    const QRect edge = m_edge->frameGeometry();
    ScreenshotWidget::start(QSize(), true, false, false, [this](int code) { m_codes.push_back(code); });
    ScreenshotWidget *overlay = readyOverlay();
    QVERIFY(overlay);

    const QPoint both = (a & b).center();
    QVERIFY(a.contains(both) && b.contains(both));
    hover(overlay, both);
    QCOMPARE(overlay->snappedRect(), b);
    const QPoint onlyA = a.topLeft() + QPoint(20, 40);
    QVERIFY(!b.contains(onlyA));
    hover(overlay, onlyA);
    QCOMPARE(overlay->snappedRect(), a);
    // Part of a window off the screen: the outline stops at the screen's edge.
    hover(overlay, edge.intersected(screen()->geometry()).center());
    QCOMPARE(overlay->snappedRect(), edge.intersected(screen()->geometry()));
    QVERIFY(screen()->geometry().contains(overlay->snappedRect()));
}

void TestWindowSnapping::clickSelectsTheWindowAndDragDrawsFreely()
{
    const QRect a = m_a->frameGeometry();
    const QRect b = m_b->frameGeometry();
    ScreenshotWidget::start(QSize(), true, false, false, [this](int code) { m_codes.push_back(code); });
    ScreenshotWidget *overlay = readyOverlay();
    QVERIFY(overlay);

    const QPoint onB = b.bottomRight() - QPoint(20, 20);
    hover(overlay, onB);
    press(overlay, onB);
    release(overlay, onB);
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateSelected));
    QCOMPARE(RubberBand::instance()->rect(), b);
    QVERIFY(overlay->toolBar() && overlay->toolBar()->isVisible());
    // Double-click takes it.
    doubleClick(overlay, b.center());
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
    QCOMPARE(QGuiApplication::clipboard()->image().size(), b.size());

    // No larger than the size allowed: the window's top-left part.
    m_codes.clear();
    ScreenshotWidget::start(QSize(120, 80), true, false, false, [this](int code) { m_codes.push_back(code); });
    overlay = readyOverlay();
    QVERIFY(overlay);
    hover(overlay, onB);
    press(overlay, onB);
    release(overlay, onB);
    QCOMPARE(RubberBand::instance()->rect(), QRect(b.topLeft(), QSize(120, 80)));
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());

    // A drag starting on a window is a free band.
    m_codes.clear();
    ScreenshotWidget::start(QSize(), true, false, false, [this](int code) { m_codes.push_back(code); });
    overlay = readyOverlay();
    QVERIFY(overlay);
    const QPoint from = a.topLeft() + QPoint(30, 40);
    hover(overlay, from);
    drag(overlay, from, from + QPoint(100, 60));
    QCOMPARE(RubberBand::instance()->rect(), QRect(from, from + QPoint(100, 60)));
}

void TestWindowSnapping::windowClosedWhileSnapped()
{
    QWidget *brief = openWindow(QStringLiteral("Brief"), QRect(900, 500, 300, 200));
    QVERIFY(QTest::qWaitForWindowExposed(brief));
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), brief) >= 0);
    const QRect frame = brief->frameGeometry();
    ScreenshotWidget::start(QSize(), true, false, false, [this](int code) { m_codes.push_back(code); });
    ScreenshotWidget *overlay = readyOverlay();
    QVERIFY(overlay);
    hover(overlay, frame.center());
    QCOMPARE(overlay->snappedRect(), frame);
    // The overlay shows the screen as it was, so the window stays selectable as it was shown.
    brief->close();
    QTRY_COMPARE(indexOf(OrvScreen::windowList(screen()), brief), -1);
    press(overlay, frame.center());
    release(overlay, frame.center());
    QCOMPARE(RubberBand::instance()->rect(), frame);
}

void TestWindowSnapping::overlaysAreNoTargets()
{
    ScreenshotWidget::start(QSize(), true, false, false, [this](int code) { m_codes.push_back(code); });
    ScreenshotWidget *overlay = readyOverlay();
    QVERIFY(overlay);
    // Now the overlay is a window of the desktop as well, on top of everything.
    QTRY_VERIFY(indexOf(OrvScreen::windowList(screen()), overlay) >= 0);
    for (const OrvScreen::WindowInfo &w : overlay->windowList())
        QVERIFY(w.id != quint64(overlay->winId()));
    hover(overlay, m_b->frameGeometry().center());
    QCOMPARE(overlay->snappedRect(), m_b->frameGeometry());
}

void TestWindowSnapping::monitorScaleOfAnUnscaledScreen()
{
    // Xvfb runs its screens at their mode: nothing is stretched, and no helper is called for.
    OrvScreen::clearMonitorScaleCache();
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^horzScale: 1 vertScale: 1$")));
    QCOMPARE(OrvScreen::monitorScale(screen()->geometry().center()), 1.0);
    QCOMPARE(OrvScreen::monitorScale(QPoint(-5000, -5000)), 1.0); // nearest monitor
}

QTEST_MAIN(TestWindowSnapping)
#include "tst_windowsnapping.moc"
