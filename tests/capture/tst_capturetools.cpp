// SPDX-License-Identifier: LGPL-2.1-or-later
// The picture editor's tools on a capture's selection, on real X servers (one screen, two X
// screens, QT_SCALE_FACTOR=2): what they draw is in the picture taken, at the screen's full
// resolution; and the editor's own screenshot button goes through the capture overlay.
#include "capturetestutils.h"

#include "ArrowPopup.h"
#include "EditTool.h"
#include "EraserMenu.h"
#include "ImageGraphicsView.h"
#include "ImageSelectionEditor.h"
#include "PrScrnHelper.h"
#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "imageeditor.h"
#include "imsignalobject.h"
#include "orvpainter.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QInputMethodEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <vector>

using namespace CaptureTest;
using OrvPainterBase::OrvPainter;
using ScreenShot::ImageSelectionEditor;
using ScreenShot::RubberBand;
using ScreenShot::ScreenshotWidget;

namespace {

const QColor Blue(QStringLiteral("#2F7BFF"));  // swatch 7
const QColor Green(0, 200, 0);

int distance(QRgb a, QRgb b)
{
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

/// Pixels of a region that are far from the reference's.
int changedPixels(const QImage &image, const QImage &reference, const QRect &region)
{
    int changed = 0;
    for (int y = region.top(); y <= region.bottom(); ++y)
        for (int x = region.left(); x <= region.right(); ++x)
            changed += distance(image.pixel(x, y), reference.pixel(x, y)) > 60;
    return changed;
}

} // namespace

class TestCaptureTools : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void toolsDrawIntoThePictureTaken();
    void undoAndClearBeforeOkLeaveTheScreenAsItWas();
    void settingsBoxesStayOnScreen_data();
    void settingsBoxesStayOnScreen();
    void escapeEndsTypingBeforeTheCapture();
    void closingWithThePictureDialogOpen();
    void editorScreenshotGoesThroughTheOverlay();
    void editorScreenshotWhileBusyOrGone();

private:
    QScreen *screen() const { return QGuiApplication::screens().last(); }
    qreal ratio() const { return screen()->devicePixelRatio(); }
    /// Starts a capture and selects `rect` (global) by a drag; returns its overlay.
    ScreenshotWidget *captureAndSelect(const QRect &rect);
    /// What the screen shows in `rect` (global), at its device pixels.
    QImage screenPixels(const QRect &rect) const;
    QAbstractButton *button(ScreenshotWidget *overlay, const char *name) const;
    static OrvPainter *layer(ScreenshotWidget *overlay);
    static EditTool *tools(ScreenshotWidget *overlay);
    /// A drag on the layer, in its own (logical) pixels.
    static void drawOn(OrvPainter *layer, const QPoint &from, const QPoint &to);
    static void clickOn(OrvPainter *layer, const QPoint &at);
    /// With ORV_CAPTURE_SNAPSHOTS=<folder>, the screen as it looks now, to be looked at.
    void snapshot(const QString &name) const;
    /// The device pixel of a logical point of the selection.
    QPoint device(const QPoint &logical) const { return (QPointF(logical) * ratio()).toPoint(); }

    std::vector<std::unique_ptr<PatternWindow>> m_patterns;
    std::vector<int> m_codes;
    QTemporaryDir m_dir;
};

void TestCaptureTools::initTestCase()
{
    int seed = 1;
    for (QScreen *s : QGuiApplication::screens()) {
        m_patterns.push_back(std::make_unique<PatternWindow>(s, seed++));
        m_patterns.back()->show();
    }
    for (auto &p : m_patterns)
        QVERIFY(QTest::qWaitForWindowExposed(p.get()));
    // Nothing to draw with unless the overlay brings the picture editor itself.
    QVERIFY(ScreenshotWidget::defaultSelectionEditorFactory());
}

void TestCaptureTools::init()
{
    int seed = 1;
    for (QScreen *s : QGuiApplication::screens()) {
        const int n = seed++;
        QTRY_VERIFY2(screenShows(s, s->geometry().adjusted(5, 5, -5, -5), n), qPrintable(s->name()));
    }
    m_codes.clear();
    QFile::remove(ScreenshotWidget::tempImagePath());
    QGuiApplication::clipboard()->clear();
}

void TestCaptureTools::cleanup()
{
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QTRY_VERIFY(ScreenshotWidget::overlays().isEmpty());
    ImageEditor::release();
    PrScrnHelper::release();
}

ScreenshotWidget *TestCaptureTools::captureAndSelect(const QRect &rect)
{
    ScreenshotWidget::start(QSize(), false, false, false, [this](int code) { m_codes.push_back(code); });
    if (!QTest::qWaitFor(allOverlaysReady))
        return nullptr;
    ScreenshotWidget *overlay = overlayAt(rect.center(), screen());
    if (!overlay)
        return nullptr;
    drag(overlay, rect.topLeft(), rect.bottomRight());
    // The overlay pressed on takes the keyboard (typing, Escape).
    if (!QTest::qWaitFor([overlay] { return overlay->isActiveWindow(); }))
        qWarning() << "the overlay did not become the active window";
    return RubberBand::instance()->rect() == rect ? overlay : nullptr;
}

QImage TestCaptureTools::screenPixels(const QRect &rect) const
{
    const QRect local(device(rect.topLeft() - screen()->geometry().topLeft()), rect.size() * ratio());
    QImage image = screen()->grabWindow(0).toImage().copy(local).convertToFormat(QImage::Format_RGB32);
    image.setDevicePixelRatio(1.0);
    return image;
}

QAbstractButton *TestCaptureTools::button(ScreenshotWidget *overlay, const char *name) const
{
    return overlay->toolBar()->findChild<QAbstractButton *>(QLatin1String(name));
}

OrvPainter *TestCaptureTools::layer(ScreenshotWidget *overlay)
{
    auto *editor = dynamic_cast<ImageSelectionEditor *>(overlay->selectionEditor());
    return editor && editor->imageView() ? editor->imageView()->getPainter() : nullptr;
}

EditTool *TestCaptureTools::tools(ScreenshotWidget *overlay)
{
    auto *editor = dynamic_cast<ImageSelectionEditor *>(overlay->selectionEditor());
    return editor ? editor->editTool() : nullptr;
}

void TestCaptureTools::snapshot(const QString &name) const
{
    const QString folder = qEnvironmentVariable("ORV_CAPTURE_SNAPSHOTS");
    if (folder.isEmpty())
        return;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
    QTest::qWait(100);
    const QString file = QDir(folder).filePath(QStringLiteral("%1-%2x.png").arg(name).arg(ratio()));
    if (!screen()->grabWindow(0).save(file))
        qWarning() << "cannot write" << file;
}

void TestCaptureTools::drawOn(OrvPainter *layer, const QPoint &from, const QPoint &to)
{
    QWidget *input = layer->viewport();
    auto send = [input](QEvent::Type type, const QPoint &pos, Qt::MouseButton b, Qt::MouseButtons bs) {
        QMouseEvent event(type, pos, input->mapToGlobal(pos), b, bs, Qt::NoModifier);
        QApplication::sendEvent(input, &event);
    };
    send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    for (int i = 1; i <= 8; ++i)
        send(QEvent::MouseMove, from + (to - from) * i / 8, Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
}

void TestCaptureTools::clickOn(OrvPainter *layer, const QPoint &at)
{
    drawOn(layer, at, at);
}

void TestCaptureTools::toolsDrawIntoThePictureTaken()
{
    const QRect band(screen()->geometry().topLeft() + QPoint(60, 40), QSize(360, 240));
    const QImage reference = screenPixels(band);
    ScreenshotWidget *overlay = captureAndSelect(band);
    QVERIFY(overlay);
    QVERIFY(button(overlay, "penBtn")->isEnabled());
    QVERIFY(!button(overlay, "m_undoBtn")->isEnabled());

    // Pen: a thick blue straight line picked in its box.
    button(overlay, "penBtn")->click();
    QVERIFY(overlay->isEdited());
    OrvPainter *p = layer(overlay);
    QVERIFY(p);
    QCOMPARE(p->tool(), OrvPainter::Tool::Pen);
    QWidget *penBox = overlay->settingsBox();
    QVERIFY(penBox && penBox->objectName() == QStringLiteral("penSettingBox"));
    penBox->findChild<QAbstractButton *>(QStringLiteral("shapeLineBtn"))->click();
    penBox->findChild<QAbstractButton *>(QStringLiteral("penWidthLBtn"))->click();
    penBox->findChild<QAbstractButton *>(QStringLiteral("colorBtn_7"))->click();
    QCOMPARE(p->penShape(), OrvPainter::PenShape::Line);
    QCOMPARE(p->penColor(), Blue);
    snapshot(QStringLiteral("pen-box"));
    drawOn(p, QPoint(20, 30), QPoint(200, 30));
    QVERIFY(!penBox->isVisible()); // out of the way once drawing starts
    QCOMPARE(p->itemCount(), 1);
    QVERIFY(button(overlay, "m_undoBtn")->isEnabled());

    // Text: black, 36 pixels, typed through the input method.
    button(overlay, "textBtn")->click();
    QWidget *textBox = overlay->settingsBox();
    QVERIFY(textBox && textBox->objectName() == QStringLiteral("textSettingBox"));
    textBox->findChild<QAbstractButton *>(QStringLiteral("colorBtn_1"))->click();
    auto *sizes = textBox->findChild<QComboBox *>(QStringLiteral("fontSizeBox"));
    const int index = sizes->findData(36);
    sizes->setCurrentIndex(index);
    Q_EMIT sizes->activated(index);
    QCOMPARE(p->textPixelSize(), 36);
    clickOn(p, QPoint(20, 165));
    QVERIFY(p->isEditingText());
    QInputMethodEvent typed(QString(), {});
    typed.setCommitString(QStringLiteral("截图 Ab"));
    QApplication::sendEvent(p, &typed);
    QTest::keyClick(p, Qt::Key_Escape);
    QVERIFY(!p->isEditingText());
    QCOMPARE(p->itemCount(), 2);

    // A picture from a file, pasted in the middle and left selected; deleted; back with undo.
    QImage green(60, 40, QImage::Format_RGB32);
    green.fill(Green);
    const QString greenFile = m_dir.filePath(QStringLiteral("green.png"));
    QVERIFY(green.save(greenFile));
    button(overlay, "m_loadImageBtn")->click();
    auto *dialog = overlay->findChild<QFileDialog *>(QStringLiteral("loadImageDialog"));
    QVERIFY(dialog);
    QTRY_VERIFY(dialog->isVisible());
    QCOMPARE(dialog->windowHandle()->screen(), overlay->windowHandle()->screen());
    dialog->selectFile(greenFile);
    static_cast<QDialog *>(dialog)->accept();
    QCOMPARE(p->itemCount(), 3);
    QVERIFY(button(overlay, "m_selectBtn")->isChecked());
    button(overlay, "m_deleteBtn")->click();
    QCOMPARE(p->itemCount(), 2);
    button(overlay, "m_undoBtn")->click();
    QCOMPARE(p->itemCount(), 3);
    QVERIFY(button(overlay, "m_redoBtn")->isEnabled());

    // Eraser: the large size from its menu, across the middle of the line.
    button(overlay, "eraserBtn")->click();
    auto *eraser = qobject_cast<EraserMenu *>(overlay->settingsBox());
    QVERIFY(eraser);
    QCOMPARE(eraser->size(), QSize(202, 72));
    eraser->findChild<QAbstractButton *>(QStringLiteral("lEraserBtn"))->click();
    QCOMPARE(p->eraserType(), int(OrvPainter::EraserLarge));
    drawOn(p, QPoint(110, 5), QPoint(110, 55));
    button(overlay, "eraserBtn")->click();
    snapshot(QStringLiteral("drawn"));

    button(overlay, "btnOk")->click();
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
    QTRY_VERIFY(ScreenshotWidget::overlays().isEmpty());

    for (const bool fromFile : {false, true}) {
        const QImage taken = (fromFile ? QImage(ScreenshotWidget::tempImagePath()) : QGuiApplication::clipboard()->image())
                                 .convertToFormat(QImage::Format_RGB32);
        const char *where = fromFile ? "file" : "clipboard";
        QVERIFY2(taken.size() == reference.size(), where);
        const int tolerance = fromFile ? 40 : 8; // JPEG
        // The line, both sides of where it was erased.
        for (const QPoint &at : {QPoint(40, 30), QPoint(180, 30)})
            QVERIFY2(distance(taken.pixel(device(at)), Blue.rgb()) <= tolerance, where);
        // Erased: the screen again.
        QVERIFY2(distance(taken.pixel(device(QPoint(110, 30))), reference.pixel(device(QPoint(110, 30)))) <= tolerance, where);
        // Text where it was typed.
        QVERIFY2(changedPixels(taken, reference, QRect(device(QPoint(20, 165)), device(QPoint(180, 215)))) > 100, where);
        // The picture pasted in the middle, at its own pixels.
        const QPoint middle(taken.width() / 2, taken.height() / 2);
        QVERIFY2(distance(taken.pixel(middle), Green.rgb()) <= tolerance, where);
        QVERIFY2(distance(taken.pixel(middle + QPoint(27, 17)), Green.rgb()) <= tolerance, where);
        QVERIFY2(distance(taken.pixel(middle + QPoint(34, 24)), reference.pixel(middle + QPoint(34, 24))) <= tolerance, where);
        // Nothing else changed.
        const QRect untouched(device(QPoint(240, 180)), device(QPoint(355, 235)));
        QVERIFY2(changedPixels(taken, reference, untouched) == 0, where);
        if (!fromFile)
            QCOMPARE(taken.copy(untouched), reference.copy(untouched));
    }
}

void TestCaptureTools::undoAndClearBeforeOkLeaveTheScreenAsItWas()
{
    const QRect band(screen()->geometry().topLeft() + QPoint(30, 70), QSize(300, 200));
    const QImage reference = screenPixels(band);
    ScreenshotWidget *overlay = captureAndSelect(band);
    QVERIFY(overlay);
    button(overlay, "penBtn")->click();
    OrvPainter *p = layer(overlay);
    drawOn(p, QPoint(10, 10), QPoint(250, 150));
    button(overlay, "textBtn")->click();
    clickOn(p, QPoint(40, 100));
    QTest::keyClicks(p, QStringLiteral("note"));
    QTest::keyClick(p, Qt::Key_Escape);
    QCOMPARE(p->itemCount(), 2);

    // Clear all, from the eraser's menu; undone.
    button(overlay, "eraserBtn")->click();
    overlay->settingsBox()->findChild<QAbstractButton *>(QStringLiteral("clearBtn"))->click();
    QCOMPARE(p->itemCount(), 0);
    QVERIFY(ScreenshotWidget::isCapturing());
    button(overlay, "m_undoBtn")->click();
    QCOMPARE(p->itemCount(), 2);

    // Undone one by one from the tool bar: the buttons follow.
    button(overlay, "m_undoBtn")->click();
    button(overlay, "m_undoBtn")->click();
    QCOMPARE(p->itemCount(), 0);
    QVERIFY(!button(overlay, "m_undoBtn")->isEnabled());
    QVERIFY(button(overlay, "m_redoBtn")->isEnabled());
    button(overlay, "m_redoBtn")->click();
    QCOMPARE(p->itemCount(), 1);
    QTest::keyClick(p, Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(p->itemCount(), 0);

    // Edited, so the band stays put.
    drag(overlay, band.center(), band.center() + QPoint(30, 30));
    QCOMPARE(RubberBand::instance()->rect(), band);

    overlay->ok();
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateOk});
    QCOMPARE(QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_RGB32), reference);
    const auto diff = difference(QImage(ScreenshotWidget::tempImagePath()), reference);
    QVERIFY2(diff.second < 2.0 && diff.first < 128, qPrintable(QString::number(diff.second)));
}

void TestCaptureTools::settingsBoxesStayOnScreen_data()
{
    QTest::addColumn<QRect>("band"); // relative to the screen; negative positions from its far edges
    QTest::newRow("middle") << QRect(200, 150, 300, 200);
    QTest::newRow("near the top") << QRect(300, 10, 200, 80);
    QTest::newRow("at the bottom") << QRect(150, -90, 300, 80);
    QTest::newRow("bottom-right corner") << QRect(-70, -60, 60, 50);
    QTest::newRow("whole screen") << QRect(0, 0, 0, 0);
}

void TestCaptureTools::settingsBoxesStayOnScreen()
{
    QFETCH(QRect, band);
    const QRect g = screen()->geometry();
    QRect wanted = g;
    if (!band.size().isEmpty()) {
        const QPoint at(band.x() < 0 ? g.right() + band.x() : g.left() + band.x(),
                        band.y() < 0 ? g.bottom() + band.y() : g.top() + band.y());
        wanted = QRect(at, band.size());
    }
    ScreenshotWidget *overlay = captureAndSelect(wanted);
    QVERIFY(overlay);
    const QPoint origin = overlay->captureArea().topLeft();
    for (const char *name : {"penBtn", "textBtn", "eraserBtn"}) {
        QAbstractButton *tool = button(overlay, name);
        tool->click();
        QWidget *box = overlay->settingsBox();
        QVERIFY2(box && box->isVisible(), name);
        const QRect boxRect = box->geometry().translated(origin);
        const QRect bar = overlay->toolBar()->geometry().translated(origin);
        QVERIFY2(g.contains(boxRect), qPrintable(QStringLiteral("%1 box at %2,%3").arg(QLatin1String(name)).arg(boxRect.x()).arg(boxRect.y())));
        QVERIFY2(!boxRect.intersects(bar), name);
        // The arrow points at the tool bar, and the button is within its reach.
        auto *arrowBox = qobject_cast<ArrowPopup *>(box);
        QVERIFY(arrowBox);
        QCOMPARE(arrowBox->arrowType(), boxRect.top() > bar.top() ? Qt::UpArrow : Qt::DownArrow);
        const int buttonMiddle = tool->mapTo(overlay, tool->rect().center()).x() + origin.x();
        QVERIFY2(buttonMiddle >= boxRect.left() && buttonMiddle <= boxRect.right(), name);
    }
    snapshot(QStringLiteral("eraser-box-") + QString::fromUtf8(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-')));
    // Clicking the tool again folds its box.
    button(overlay, "eraserBtn")->click();
    QVERIFY(!overlay->settingsBox());
}

void TestCaptureTools::escapeEndsTypingBeforeTheCapture()
{
    const QRect band(screen()->geometry().topLeft() + QPoint(100, 100), QSize(240, 160));
    ScreenshotWidget *overlay = captureAndSelect(band);
    QVERIFY(overlay);
    button(overlay, "textBtn")->click();
    OrvPainter *p = layer(overlay);
    clickOn(p, QPoint(20, 40));
    QTest::keyClicks(p, QStringLiteral("x"));
    QTest::keyClick(p, Qt::Key_Escape);
    QVERIFY(ScreenshotWidget::isCapturing());
    QCOMPARE(p->itemCount(), 1);
    QPointer<ScreenshotWidget> closing = overlay;
    QTest::keyClick(p, Qt::Key_Escape);
    QTRY_VERIFY(!closing);
    ScreenshotWidget::cancelAll(); // the other screens' overlays
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

void TestCaptureTools::closingWithThePictureDialogOpen()
{
    const QRect band(screen()->geometry().topLeft() + QPoint(80, 60), QSize(200, 150));
    ScreenshotWidget *overlay = captureAndSelect(band);
    QVERIFY(overlay);
    button(overlay, "m_loadImageBtn")->click();
    QPointer<QFileDialog> dialog = overlay->findChild<QFileDialog *>(QStringLiteral("loadImageDialog"));
    QVERIFY(dialog);
    QTRY_VERIFY(dialog->isVisible());
    // Escape in the dialog is the dialog's.
    QTest::keyClick(dialog, Qt::Key_Escape);
    QTRY_VERIFY(!dialog);
    QVERIFY(ScreenshotWidget::isCapturing());
    // A file that is no picture: said so, nothing pasted.
    const QString notAPicture = m_dir.filePath(QStringLiteral("notes.png"));
    QFile file(notAPicture);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("not a picture");
    file.close();
    button(overlay, "m_loadImageBtn")->click();
    dialog = overlay->findChild<QFileDialog *>(QStringLiteral("loadImageDialog"));
    dialog->selectFile(notAPicture);
    static_cast<QDialog *>(dialog.data())->accept();
    QCOMPARE(layer(overlay)->itemCount(), 0);
    // The capture closed under an open dialog takes it along.
    button(overlay, "m_loadImageBtn")->click();
    dialog = overlay->findChild<QFileDialog *>(QStringLiteral("loadImageDialog"));
    QVERIFY(dialog);
    button(overlay, "btnCancel")->click();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    QTRY_VERIFY(!dialog);
    QCOMPARE(m_codes, std::vector<int>{ScreenshotWidget::OperateCancel});
}

void TestCaptureTools::editorScreenshotGoesThroughTheOverlay()
{
    const QRect band(screen()->geometry().topLeft() + QPoint(150, 120), QSize(200, 120));
    const QImage reference = screenPixels(band);
    const QString photo = m_dir.filePath(QStringLiteral("white.png"));
    QImage white(800, 600, QImage::Format_RGB32);
    white.fill(Qt::white);
    QVERIFY(white.save(photo));
    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->showImage(photo, QPixmap(), false, nullptr);
    QVERIFY(QTest::qWaitForWindowExposed(editor));
    QSignalSpy hide(ImSignalObject::instance(), &ImSignalObject::hideImOnScreenshot);

    // "Screenshot, hiding the client": the editor steps aside, the overlay opens.
    editor->findChild<QAction *>(QStringLiteral("actionShotWithHide"))->trigger();
    QCOMPARE(hide.count(), 1);
    QTRY_VERIFY(!editor->isVisible());
    QTRY_VERIFY(allOverlaysReady());
    QVERIFY(PrScrnHelper::instance().isCapturing());
    ScreenshotWidget *overlay = overlayAt(band.center(), screen());
    drag(overlay, band.topLeft(), band.bottomRight());
    doubleClick(overlay, band.center());

    // Back, with the selection on its layer, in the middle of the picture, selected.
    QTRY_VERIFY(editor->isVisible());
    OrvPainter *p = editor->view()->getPainter();
    QTRY_COMPARE(p->itemCount(), 1);
    QCOMPARE(p->tool(), OrvPainter::Tool::Select);
    QCOMPARE(hide.count(), 2);
    QCOMPARE(hide.at(1).at(0).toBool(), false);
    const QImage edited = editor->view()->renderImage().convertToFormat(QImage::Format_RGB32);
    const QRect pasted(QPoint(400, 300) - QPoint(reference.width() / 2, reference.height() / 2), reference.size());
    const auto diff = difference(edited.copy(pasted), reference);
    QVERIFY2(diff.second < 2.0, qPrintable(QString::number(diff.second)));
    QCOMPARE(edited.pixel(pasted.topLeft() - QPoint(3, 3)), qRgb(255, 255, 255));

    // Cancelled: nothing pasted, the editor back.
    editor->findChild<QAction *>(QStringLiteral("actionShot"))->trigger();
    QTRY_VERIFY(allOverlaysReady());
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(editor->isVisible());
    QTest::qWait(50);
    QCOMPARE(p->itemCount(), 1);
    QCOMPARE(hide.count(), 2);
}

void TestCaptureTools::editorScreenshotWhileBusyOrGone()
{
    QImage picture(400, 300, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->showImage(QString(), QPixmap::fromImage(picture), false, nullptr);
    QVERIFY(QTest::qWaitForWindowExposed(editor));
    QSignalSpy hide(ImSignalObject::instance(), &ImSignalObject::hideImOnScreenshot);

    // Another capture is open: the editor stays, and can shoot once that one is over.
    ScreenshotWidget::start(QSize(), false, false, false, [](int) {});
    QTest::ignoreMessage(QtWarningMsg, "ImageEditor: a screenshot is already under way");
    editor->onMenuShot();
    QTRY_VERIFY(editor->isVisible());
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(!ScreenshotWidget::isCapturing());
    editor->onMenuShot();
    QTRY_VERIFY(allOverlaysReady());
    ScreenshotWidget::cancelAll();
    QTRY_VERIFY(editor->isVisible());
    QCOMPARE(editor->view()->getPainter()->itemCount(), 0);

    // The editor goes while the client is hidden for its shot: the client still comes back.
    editor->onMenuShotWithHide();
    QTRY_VERIFY(allOverlaysReady());
    ImageEditor::release();
    QVERIFY(!editor);
    ScreenshotWidget::cancelAll();
    QTRY_COMPARE(hide.count(), 2);
    QCOMPARE(hide.at(0).at(0).toBool(), true);
    QCOMPARE(hide.at(1).at(0).toBool(), false);
}

QTEST_MAIN(TestCaptureTools)
#include "tst_capturetools.moc"
