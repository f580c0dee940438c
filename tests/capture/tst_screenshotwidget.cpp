// SPDX-License-Identifier: LGPL-2.1-or-later
// The capture overlay on real X servers: one screen, two X screens, two monitors of one screen,
// and (with QT_SCALE_FACTOR=2) the high-DPI path.
#include "capturetestutils.h"

#include "CaptureHelper.h"
#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "orvlang.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFileDialog>
#include <QFrame>
#include <QHash>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QLabel>
#include <QPointer>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
#include <memory>
#include <vector>

using namespace CaptureTest;
using ScreenShot::RubberBand;
using ScreenShot::ScreenshotWidget;

namespace {

/// Stands in for the picture editor: records what the overlay asks of it.
class FakeEditor : public ScreenShot::SelectionEditor
{
public:
    static QStringList calls;
    static QImage rendered;

    FakeEditor()
        : m_view(new QLabel)
        , m_box(new QFrame)
    {
        m_box->setObjectName(QStringLiteral("fakePenBox"));
        m_box->setFixedSize(260, 120);
    }
    QWidget *view() const override { return m_view; }
    void setPicture(const QPixmap &selection) override { calls << QStringLiteral("picture %1x%2").arg(selection.width()).arg(selection.height()); }
    void setTool(Tool tool) override { calls << QStringLiteral("tool %1").arg(int(tool)); }
    QWidget *settingsBox(Tool tool) const override { return tool == Pen ? m_box.data() : nullptr; }
    void setEraserType(int type) override { calls << QStringLiteral("eraser %1").arg(type); }
    void applyTextFontSize() override { calls << QStringLiteral("font size"); }
    void deleteSelected() override { calls << QStringLiteral("delete"); }
    void loadImage() override { calls << QStringLiteral("load image"); }
    QPixmap render() const override { return QPixmap::fromImage(rendered); }

private:
    QPointer<QLabel> m_view;
    QPointer<QFrame> m_box;
};
QStringList FakeEditor::calls;
QImage FakeEditor::rendered;

} // namespace

class TestScreenshotWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void selectionPixelsMatchTheScreen();
    void overlayDimsAllButTheSelection();
    void clickWithoutDragSelectsNothing();
    void bandLimits_data();
    void bandLimits();
    void handlesResizeAndMoveWithinTheScreen();
    void escapeClosesOneOverlayAndReportsAfterTheLast();
    void startWhileCapturingIsIgnored();
    void endingsReportTheirCodes();
    void startupButtons();
    void toolBarWithoutEditor();
    void toolBarDrivesTheEditor();
    void toolBarStaysOnScreen_data();
    void toolBarStaysOnScreen();
    void saveWritesThePicture();
    void hdpiComposesEveryScreen();
    void nullGrabEndsTheCapture();
    void nullSelectionLeavesNoStaleFile();
    void screenRemovedWhileCapturing();

private:
    void startCapture(const QSize &maxSize = QSize(), bool showHideButton = false);
    QScreen *lastScreen() const { return QGuiApplication::screens().last(); }
    ScreenshotWidget *overlayOf(QScreen *screen) const;
    /// Selects `rect` on `screen`'s overlay by a drag.
    ScreenshotWidget *select(QScreen *screen, const QRect &rect);

    std::vector<std::unique_ptr<PatternWindow>> m_patterns;
    std::vector<int> m_codes;
};

void TestScreenshotWidget::initTestCase()
{
    qInfo() << "screens:" << QGuiApplication::screens().size() << "Qt scaling:" << OrvScreen::isHighDpiScalingOn();
    int seed = 1;
    for (QScreen *screen : QGuiApplication::screens()) {
        m_patterns.push_back(std::make_unique<PatternWindow>(screen, seed++));
        m_patterns.back()->show();
    }
    for (auto &p : m_patterns)
        QVERIFY(QTest::qWaitForWindowExposed(p.get()));
}

void TestScreenshotWidget::init()
{
    // A closed overlay leaves its pixels until the windows below have painted again.
    int seed = 1;
    for (QScreen *screen : QGuiApplication::screens()) {
        const int s = seed++;
        QTRY_VERIFY2(screenShows(screen, screen->geometry().adjusted(5, 5, -5, -5), s), qPrintable(screen->name()));
    }
    m_codes.clear();
    FakeEditor::calls.clear();
    FakeEditor::rendered = QImage();
    ScreenshotWidget::setSelectionEditorFactory(nullptr);
    QFile::remove(ScreenshotWidget::tempImagePath());
    QGuiApplication::clipboard()->clear();
}

void TestScreenshotWidget::cleanup()
{
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QTRY_VERIFY(ScreenshotWidget::overlays().isEmpty());
}

void TestScreenshotWidget::startCapture(const QSize &maxSize, bool showHideButton)
{
    ScreenshotWidget::start(maxSize, false, false, showHideButton, [this](int code) { m_codes.push_back(code); });
    QTRY_VERIFY(allOverlaysReady());
}

ScreenshotWidget *TestScreenshotWidget::overlayOf(QScreen *screen) const
{
    for (ScreenshotWidget *o : ScreenshotWidget::overlays()) {
        if (o->captureScreen() == screen)
            return o;
    }
    // One overlay over the whole desktop.
    for (ScreenshotWidget *o : ScreenshotWidget::overlays()) {
        if (o->captureScreen()->virtualSiblings().contains(screen) && o->captureArea().contains(screen->geometry()))
            return o;
    }
    return nullptr;
}

ScreenshotWidget *TestScreenshotWidget::select(QScreen *screen, const QRect &rect)
{
    ScreenshotWidget *overlay = overlayOf(screen);
    if (!overlay)
        return nullptr;
    drag(overlay, rect.topLeft(), rect.bottomRight());
    return overlay;
}

void TestScreenshotWidget::selectionPixelsMatchTheScreen()
{
    // On every screen: what is selected is what the screen showed, on the clipboard and in the file.
    for (QScreen *screen : QGuiApplication::screens()) {
        init();
        const QImage reference = screen->grabWindow(0).toImage();
        startCapture();
        const QRect wanted(screen->geometry().topLeft() + QPoint(37, 53), QSize(301, 207));
        ScreenshotWidget *overlay = select(screen, wanted);
        QVERIFY(overlay);
        QCOMPARE(RubberBand::instance()->rect(), wanted);
        QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateSelected));
        QVERIFY(overlay->toolBar() && overlay->toolBar()->isVisible());
        QVERIFY(m_codes.empty());

        doubleClick(overlay, wanted.center());
        QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
        QVERIFY(ScreenshotWidget::isOk());
        QTRY_VERIFY(ScreenshotWidget::overlays().isEmpty());

        const qreal ratio = screen->devicePixelRatio();
        const QRect device((wanted.topLeft() - screen->geometry().topLeft()) * ratio, wanted.size() * ratio);
        QImage expected = reference.copy(device).convertToFormat(QImage::Format_RGB32);
        expected.setDevicePixelRatio(1.0);
        const QImage copied = QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(copied.size(), device.size());
        QCOMPARE(copied, expected);
        if (qFuzzyCompare(ratio, 1.0))
            QCOMPARE(copied, patternImage(wanted, int(QGuiApplication::screens().indexOf(screen)) + 1));

        const QImage file(ScreenshotWidget::tempImagePath());
        QCOMPARE(file.size(), device.size());
        const auto diff = difference(file, expected);
        QVERIFY2(diff.second < 2.0 && diff.first < 128, qPrintable(QStringLiteral("JPEG off by %1 (mean %2)").arg(diff.first).arg(diff.second)));
    }
}

void TestScreenshotWidget::overlayDimsAllButTheSelection()
{
    QScreen *screen = lastScreen();
    const qreal ratio = screen->devicePixelRatio();
    startCapture();
    const QRect wanted(screen->geometry().topLeft() + QPoint(200, 150), QSize(160, 120));
    ScreenshotWidget *overlay = select(screen, wanted);
    // The overlay's own grab, in the screen's pixels.
    const QImage grab = overlay->fullScreenPixmap().toImage().convertToFormat(QImage::Format_RGB32)
                            .copy(QRect((screen->geometry().topLeft() - overlay->captureArea().topLeft()) * ratio,
                                        screen->geometry().size() * ratio));
    auto dark = [](QRgb c) { return qRgb(qRed(c) >> 1, qGreen(c) >> 1, qBlue(c) >> 1); };
    // What the screen shows now: the selection as it was, the rest darker.
    const QPoint inside = (wanted.center() - screen->geometry().topLeft()) * ratio;
    const QPoint outside = (wanted.topLeft() - screen->geometry().topLeft() - QPoint(40, 30)) * ratio;
    const QPoint farAway = QPoint(grab.width() - 3, grab.height() - 3);
    // (Before the overlay has painted, the inside looks right too.)
    QTRY_VERIFY(screen->grabWindow(0).toImage().pixel(outside) == dark(grab.pixel(outside))
                && screen->grabWindow(0).toImage().pixel(inside) == grab.pixel(inside));
    const QImage during = screen->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32);
    QCOMPARE(during.pixel(inside), grab.pixel(inside));
    QCOMPARE(during.pixel(outside), dark(grab.pixel(outside)));
    QCOMPARE(during.pixel(farAway), dark(grab.pixel(farAway)));
}

void TestScreenshotWidget::clickWithoutDragSelectsNothing()
{
    startCapture();
    ScreenshotWidget *overlay = overlayOf(lastScreen());
    const QPoint p = lastScreen()->geometry().topLeft() + QPoint(300, 200);
    press(overlay, p);
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateDrawing));
    release(overlay, p);
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateNone));
    QVERIFY(!overlay->toolBar() || !overlay->toolBar()->isVisible());
    // A drag that ends where it began, or a band of one pixel's height, is no selection either.
    drag(overlay, p, p);
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateNone));
    drag(overlay, p, p + QPoint(5, 0));
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateNone));
    doubleClick(overlay, p);
    QVERIFY(m_codes.empty());
    QVERIFY(ScreenshotWidget::isCapturing());
}

void TestScreenshotWidget::bandLimits_data()
{
    QTest::addColumn<QSize>("maxSize");
    QTest::addColumn<QSize>("minSize");
    QTest::addColumn<QPoint>("from");
    QTest::addColumn<QPoint>("to");
    QTest::addColumn<QRect>("band");
    // Points relative to the first screen's top-left.
    // Points stay within 780 x 480, the smallest screen (the high-DPI run halves 1600 x 1000).
    QTest::newRow("max, dragged right and down") << QSize(400, 300) << QSize() << QPoint(50, 50) << QPoint(700, 450)
                                                 << QRect(50, 50, 400, 300);
    // Left and up, the band keeps its last edge once the limit is passed.
    QTest::newRow("max, dragged left and up") << QSize(400, 300) << QSize() << QPoint(700, 450) << QPoint(100, 20)
                                              << QRect(400, 235, 301, 216);
    QTest::newRow("min, small drag right and down") << QSize() << QSize(50, 40) << QPoint(300, 300) << QPoint(310, 305)
                                                    << QRect(300, 300, 50, 40);
    QTest::newRow("min, small drag left and up") << QSize() << QSize(50, 40) << QPoint(300, 300) << QPoint(295, 298)
                                                 << QRect(250, 260, 51, 41);
    QTest::newRow("off the screen's corner") << QSize() << QSize() << QPoint(-1, -1) << QPoint(100000, 100000) << QRect();
}

void TestScreenshotWidget::bandLimits()
{
    QFETCH(QSize, maxSize);
    QFETCH(QSize, minSize);
    QFETCH(QPoint, from);
    QFETCH(QPoint, to);
    QFETCH(QRect, band);
    QScreen *screen = QGuiApplication::screens().first();
    const QRect geometry = screen->geometry();
    startCapture(maxSize);
    ScreenshotWidget *overlay = overlayOf(screen);
    QCOMPARE(overlay->maxSize(), maxSize);
    overlay->setMinSize(minSize);
    if (band.isNull()) {
        // From near the bottom-right corner to far beyond it: held on the screen.
        from = geometry.bottomRight() - QPoint(99, 49);
        drag(overlay, from, to);
        QCOMPARE(RubberBand::instance()->rect(), QRect(from, geometry.bottomRight()));
        return;
    }
    drag(overlay, geometry.topLeft() + from, geometry.topLeft() + to);
    QCOMPARE(RubberBand::instance()->rect(), band.translated(geometry.topLeft()));
    QCOMPARE(RubberBand::instance()->state(), int(RubberBand::StateSelected));
}

void TestScreenshotWidget::handlesResizeAndMoveWithinTheScreen()
{
    QScreen *screen = lastScreen();
    const QRect geometry = screen->geometry();
    startCapture(QSize(450, 300));
    const QRect first(geometry.topLeft() + QPoint(100, 100), QSize(200, 150));
    ScreenshotWidget *overlay = select(screen, first);
    QCOMPARE(RubberBand::instance()->rect(), first);

    // The bottom-right handle grows the band, up to the maximum size.
    drag(overlay, first.bottomRight() + QPoint(3, 3), first.bottomRight() + QPoint(53, 33));
    QCOMPARE(RubberBand::instance()->rect(), QRect(first.topLeft(), first.size() + QSize(50, 30)));
    drag(overlay, RubberBand::instance()->rect().bottomRight(), RubberBand::instance()->rect().bottomRight() + QPoint(900, 900));
    QCOMPARE(RubberBand::instance()->rect().size(), QSize(450, 300));
    // The left handle cannot pass the right edge.
    const QRect before = RubberBand::instance()->rect();
    const QPoint leftMiddle(before.left(), before.top() + (before.height() - 1) / 2);
    drag(overlay, leftMiddle, leftMiddle + QPoint(2000, 0));
    QCOMPARE(RubberBand::instance()->rect().right(), before.right());
    QVERIFY(RubberBand::instance()->rect().width() >= 2);

    // Moved by its inside far past the left edge, it stops at the edge at its size.
    const QRect sized(before.topLeft(), QSize(200, 150));
    RubberBand::instance()->setRect(sized);
    drag(overlay, sized.center(), sized.center() - QPoint(5000, 0));
    const QRect moved = RubberBand::instance()->rect();
    QCOMPARE(moved, QRect(QPoint(geometry.left(), sized.top()), sized.size()));
    QCOMPARE(int(RubberBand::instance()->currentHit()), int(RubberBand::HitNone));
    // Hovering shows what a press would grab.
    hover(overlay, moved.center());
    QCOMPARE(overlay->cursor().shape(), Qt::SizeAllCursor);
    hover(overlay, moved.topRight());
    QCOMPARE(overlay->cursor().shape(), Qt::SizeBDiagCursor);
    hover(overlay, moved.bottomRight() + QPoint(40, 40));
    QCOMPARE(overlay->cursor().shape(), Qt::ArrowCursor);
}

void TestScreenshotWidget::escapeClosesOneOverlayAndReportsAfterTheLast()
{
    startCapture();
    QList<ScreenshotWidget *> open = ScreenshotWidget::overlays();
    QVERIFY(!open.isEmpty());
    while (open.size() > 1) {
        QPointer<ScreenshotWidget> first = open.first();
        QTest::keyClick(first, Qt::Key_Escape);
        QTRY_VERIFY(!first);
        QVERIFY(m_codes.empty());
        QVERIFY(ScreenshotWidget::isCapturing());
        open = ScreenshotWidget::overlays();
    }
    QTest::keyClick(open.first(), Qt::Key_Escape);
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
    QVERIFY(!ScreenshotWidget::isCapturing());
    // Escape pressed elsewhere does not close an overlay.
    startCapture();
    QWidget other;
    other.show();
    QTest::keyClick(&other, Qt::Key_Escape);
    QVERIFY(ScreenshotWidget::isCapturing());
}

void TestScreenshotWidget::startWhileCapturingIsIgnored()
{
    startCapture();
    const QList<ScreenshotWidget *> open = ScreenshotWidget::overlays();
    std::vector<int> second;
    ScreenshotWidget::start(QSize(), false, false, false, [&second](int code) { second.push_back(code); });
    QCOMPARE(ScreenshotWidget::overlays(), open);
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
    QVERIFY(second.empty());
}

void TestScreenshotWidget::endingsReportTheirCodes()
{
    QScreen *screen = lastScreen();
    const QRect wanted(screen->geometry().topLeft() + QPoint(10, 10), QSize(120, 90));

    // Share and save to the cloud leave the overlay open; a later OK still reports.
    startCapture();
    ScreenshotWidget *overlay = select(screen, wanted);
    overlay->onShare();
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateShare});
    QVERIFY(ScreenshotWidget::isCapturing());
    QVERIFY(QFile::exists(ScreenshotWidget::tempImagePath()));
    overlay->findChild<QAbstractButton *>(QStringLiteral("btnOk"))->click();
    QCOMPARE(m_codes, (std::vector<int>{ScreenshotWidget::OperateShare, ScreenshotWidget::OperateOk}));
    QVERIFY(!ScreenshotWidget::isCapturing());

    // After a save to the cloud, closing reports the cancel as well.
    m_codes.clear();
    startCapture();
    overlay = select(screen, wanted);
    overlay->findChild<QAbstractButton *>(QStringLiteral("btnSaveToCloud"))->click();
    overlay->findChild<QAbstractButton *>(QStringLiteral("btnCancel"))->click();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(m_codes, (std::vector<int>{ScreenshotWidget::OperateSaveToCloud, ScreenshotWidget::OperateCancel}));
    QCOMPARE(ScreenshotWidget::operateType(), int(ScreenshotWidget::OperateCancel));
}

void TestScreenshotWidget::startupButtons()
{
    // "Hide classroom" ends at once with 5, every overlay closed.
    startCapture(QSize(), true);
    ScreenshotWidget *overlay = overlayOf(lastScreen());
    QVERIFY(overlay->hideButtonRect().isValid());
    const QPoint hide = overlay->hideButtonRect().center() + overlay->captureArea().topLeft();
    press(overlay, hide);
    release(overlay, hide);
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateHide});
    QVERIFY(!ScreenshotWidget::isCapturing());
    QVERIFY(ScreenshotWidget::overlays().isEmpty());

    // Without the offer there is no such button; the cancel button cancels.
    m_codes.clear();
    startCapture(QSize(), false);
    overlay = overlayOf(lastScreen());
    QVERIFY(overlay->hideButtonRect().isNull());
    const QPoint cancel = overlay->cancelButtonRect().center() + overlay->captureArea().topLeft();
    press(overlay, cancel);
    release(overlay, cancel);
    QTRY_COMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

void TestScreenshotWidget::toolBarWithoutEditor()
{
    startCapture();
    QScreen *screen = lastScreen();
    ScreenshotWidget *overlay = select(screen, QRect(screen->geometry().topLeft() + QPoint(100, 100), QSize(300, 200)));
    const QStringList names {QStringLiteral("m_selectBtn"), QStringLiteral("penBtn"), QStringLiteral("eraserBtn"),
                             QStringLiteral("textBtn"), QStringLiteral("m_loadImageBtn"), QStringLiteral("m_deleteBtn"),
                             QStringLiteral("btnShare"), QStringLiteral("btnSave"), QStringLiteral("btnSaveToCloud"),
                             QStringLiteral("btnCancel"), QStringLiteral("btnOk")};
    QStringList found;
    int lastX = -1;
    for (const QString &name : names) {
        auto *b = overlay->toolBar()->findChild<QAbstractButton *>(name);
        QVERIFY2(b, qPrintable(name));
        QVERIFY2(b->x() > lastX, qPrintable(name + QStringLiteral(" out of order")));
        lastX = b->x();
        QVERIFY(!b->toolTip().isEmpty());
        // The drawing tools need the picture editor.
        QCOMPARE(b->isEnabled(), names.indexOf(name) > 5);
    }
    QCOMPARE(overlay->toolBar()->objectName(), QStringLiteral("painterToolWidget"));
    QCOMPARE(overlay->toolBar()->findChild<QAbstractButton *>(QStringLiteral("btnOk"))->toolTip(), OrvLang::text("ID_OK"));
    overlay->penBtnSlot();
    QVERIFY(!overlay->isEdited());
    QVERIFY(!overlay->findChild<QAbstractButton *>(QStringLiteral("penBtn"))->isChecked());
}

void TestScreenshotWidget::toolBarDrivesTheEditor()
{
    ScreenshotWidget::setSelectionEditorFactory([](QWidget *) { return new FakeEditor; });
    startCapture();
    QScreen *screen = lastScreen();
    const QRect wanted(screen->geometry().topLeft() + QPoint(100, 100), QSize(300, 200));
    ScreenshotWidget *overlay = select(screen, wanted);
    auto *pen = overlay->findChild<QAbstractButton *>(QStringLiteral("penBtn"));
    auto *eraser = overlay->findChild<QAbstractButton *>(QStringLiteral("eraserBtn"));
    QVERIFY(pen->isEnabled());
    pen->click();
    QVERIFY(pen->isChecked());
    QVERIFY(overlay->isEdited());
    const qreal ratio = screen->devicePixelRatio();
    QCOMPARE(FakeEditor::calls, (QStringList {QStringLiteral("picture %1x%2").arg(qRound(300 * ratio)).arg(qRound(200 * ratio)),
                                              QStringLiteral("tool %1").arg(int(ScreenShot::SelectionEditor::Pen))}));
    auto *view = overlay->findChild<QLabel *>(QStringLiteral("imageViewer"));
    QVERIFY(view);
    QCOMPARE(view->geometry(), wanted.translated(-overlay->captureArea().topLeft()));
    auto *box = overlay->findChild<QWidget *>(QStringLiteral("fakePenBox"));
    QVERIFY(box && box->isVisible());
    QVERIFY(!box->geometry().intersects(overlay->toolBar()->geometry()));
    // The same tool again folds its box away; another tool checks itself instead.
    pen->click();
    QVERIFY(!box->isVisible());
    eraser->click();
    QVERIFY(eraser->isChecked() && !pen->isChecked());
    overlay->eraserSateChange(2);
    QCOMPARE(FakeEditor::calls.last(), QStringLiteral("eraser 2"));
    // Once drawn on, the band stays where it is.
    const QRect band = RubberBand::instance()->rect();
    drag(overlay, band.center(), band.center() + QPoint(40, 40));
    QCOMPARE(RubberBand::instance()->rect(), band);

    // What is taken is the editor's picture with its drawings.
    QImage drawn(QSize(300, 200) * ratio, QImage::Format_RGB32);
    drawn.fill(Qt::red);
    FakeEditor::rendered = drawn;
    overlay->ok();
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
    const QImage copied = QGuiApplication::clipboard()->image();
    QCOMPARE(copied.size(), drawn.size());
    QCOMPARE(copied.pixelColor(10, 10), QColor(Qt::red));
}

void TestScreenshotWidget::toolBarStaysOnScreen_data()
{
    QTest::addColumn<QRect>("band"); // relative to the screen; negative sizes from its far edges
    QTest::newRow("middle") << QRect(300, 200, 300, 200);
    QTest::newRow("at the bottom") << QRect(300, -120, 300, 100);
    QTest::newRow("bottom-left corner") << QRect(0, -60, 60, 50);
    QTest::newRow("right edge") << QRect(-40, 300, 30, 30);
    QTest::newRow("whole screen") << QRect(0, 0, 0, 0);
}

void TestScreenshotWidget::toolBarStaysOnScreen()
{
    QFETCH(QRect, band);
    QScreen *screen = lastScreen();
    const QRect g = screen->geometry();
    QRect wanted;
    if (band.size().isEmpty()) {
        wanted = g;
    } else {
        const QPoint at(band.x() < 0 ? g.right() + band.x() : g.left() + band.x(),
                        band.y() < 0 ? g.bottom() + band.y() : g.top() + band.y());
        wanted = QRect(at, band.size());
    }
    startCapture();
    ScreenshotWidget *overlay = select(screen, wanted);
    QCOMPARE(RubberBand::instance()->rect(), wanted);
    const QRect bar = overlay->toolBar()->geometry().translated(overlay->captureArea().topLeft());
    QVERIFY2(g.contains(bar), qPrintable(QStringLiteral("tool bar %1,%2 %3x%4").arg(bar.x()).arg(bar.y()).arg(bar.width()).arg(bar.height())));
    if (!band.size().isEmpty() && (wanted.bottom() + bar.height() + 10 < g.bottom() || wanted.top() - bar.height() - 10 > g.top()))
        QVERIFY(!bar.intersects(wanted)); // where there is room, beside the band
}

void TestScreenshotWidget::saveWritesThePicture()
{
    QTemporaryDir dir;
    QScreen *screen = lastScreen();
    const QRect wanted(screen->geometry().topLeft() + QPoint(20, 30), QSize(150, 100));
    startCapture();
    ScreenshotWidget *overlay = select(screen, wanted);
    overlay->findChild<QAbstractButton *>(QStringLiteral("btnSave"))->click();
    auto *dialog = overlay->findChild<QFileDialog *>(QStringLiteral("screenshotSaveDialog"));
    QVERIFY(dialog);
    QTRY_VERIFY(dialog->isVisible());
    QVERIFY(!dialog->isModal());
    QVERIFY(QFile::exists(ScreenshotWidget::tempImagePath()));

    // A folder that cannot be written: said so, and the capture stays open to try again.
    overlay->onSaveImage(dir.filePath(QStringLiteral("missing/folder/shot.png")));
    QTRY_VERIFY(overlay->findChild<QMessageBox *>(QStringLiteral("screenshotSaveFailed")));
    QVERIFY(ScreenshotWidget::isCapturing());
    overlay->findChild<QMessageBox *>(QStringLiteral("screenshotSaveFailed"))->close();

    // A name without a picture suffix is saved as JPEG; the capture is then over.
    dialog->selectFile(dir.filePath(QStringLiteral("shot")));
    static_cast<QDialog *>(dialog)->accept();
    const QImage saved(dir.filePath(QStringLiteral("shot.jpg")));
    QCOMPARE(saved.size(), wanted.size() * screen->devicePixelRatio());
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

void TestScreenshotWidget::hdpiComposesEveryScreen()
{
    // The one-picture path, also where Qt does not scale: each screen's grab lands where the
    // screen is, and every screen is under exactly one overlay.
    QHash<QScreen *, QImage> own;
    for (QScreen *screen : QGuiApplication::screens())
        own.insert(screen, screen->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32));
    ScreenshotWidget::setEnableHdpi(true);
    startCapture();
    ScreenshotWidget::setEnableHdpi(OrvScreen::isHighDpiScalingOn());
    QList<QScreen *> covered;
    for (ScreenshotWidget *overlay : ScreenshotWidget::overlays()) {
        const QImage composed = overlay->fullScreenPixmap().toImage().convertToFormat(QImage::Format_RGB32);
        const qreal ratio = composed.devicePixelRatio();
        QCOMPARE(composed.size(), overlay->captureArea().size() * ratio);
        for (QScreen *screen : QGuiApplication::screens()) {
            if (!overlay->captureArea().contains(screen->geometry()) || !overlay->captureScreen()->virtualSiblings().contains(screen))
                continue;
            QVERIFY2(!covered.contains(screen), qPrintable(screen->name()));
            covered << screen;
            QImage expected = own.value(screen);
            expected.setDevicePixelRatio(ratio);
            const QRect at((screen->geometry().topLeft() - overlay->captureArea().topLeft()) * ratio, expected.size());
            QCOMPARE(composed.copy(at), expected);
        }
    }
    QCOMPARE(covered.size(), QGuiApplication::screens().size());
    const bool scaled = !qFuzzyCompare(QGuiApplication::primaryScreen()->devicePixelRatio(), 1.0);
    if (QGuiApplication::primaryScreen()->virtualSiblings().size() > 1)
        QCOMPARE(ScreenshotWidget::overlays().size(), scaled ? QGuiApplication::screens().size() : 1);
}

void TestScreenshotWidget::nullGrabEndsTheCapture()
{
    // The grabs come queued; null ones delivered first stand for a failed grab.
    ScreenshotWidget::start(QSize(), false, false, false, [this](int code) { m_codes.push_back(code); });
    for (QScreen *screen : QGuiApplication::screens())
        Q_EMIT ScreenShot::CaptureHelper::instance()->grabWindowFinished(QPixmap(), screen);
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

void TestScreenshotWidget::nullSelectionLeavesNoStaleFile()
{
    QFile stale(ScreenshotWidget::tempImagePath());
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.write("an older capture");
    stale.close();
    QGuiApplication::clipboard()->setText(QStringLiteral("older"));
    ScreenshotWidget::setSelectionEditorFactory([](QWidget *) { return new FakeEditor; }); // renders nothing
    startCapture();
    QScreen *screen = lastScreen();
    ScreenshotWidget *overlay = select(screen, QRect(screen->geometry().topLeft() + QPoint(50, 50), QSize(80, 80)));
    overlay->textBtnSlot();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("screenshot pix is null")));
    overlay->ok();
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
    QVERIFY(!QFile::exists(ScreenshotWidget::tempImagePath()));
    QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
}

void TestScreenshotWidget::screenRemovedWhileCapturing()
{
    startCapture();
    const int before = ScreenshotWidget::overlays().size();
    QScreen *screen = lastScreen();
    QPointer<ScreenshotWidget> overlay = overlayOf(screen);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("screen removed while capturing")));
    Q_EMIT qApp->screenRemoved(screen); // as Qt does before it drops the screen
    QTRY_VERIFY(!overlay);
    QCOMPARE(ScreenshotWidget::overlays().size(), before - 1);
    if (before > 1) {
        QVERIFY(m_codes.empty());
        ScreenshotWidget::cancelAll();
    }
    QTRY_COMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

QTEST_MAIN(TestScreenshotWidget)
#include "tst_screenshotwidget.moc"
