// SPDX-License-Identifier: LGPL-2.1-or-later
// The picture editor window, its view and tools, the eraser menu, the colour picker and the
// message box, driven through their buttons and slots.
#include "EditTool.h"
#include "EraserMenu.h"
#include "ImageGraphicsView.h"
#include "ShareToChatTool.h"
#include "editorfixture.h"
#include "imageeditor.h"
#include "imagepreviewmenu.h"
#include "imagesamples.h"
#include "imsignalobject.h"
#include "orvcolorpickerwidget.h"
#include "orvmessagebox.h"
#include "orvpainteritems.h"
#include "orvtrack.h"

#include <QClipboard>
#include <QColorDialog>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QMenu>
#include <QMetaMethod>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QToolButton>
#include <QUndoStack>
#include <QtTest>

using OrvPainterBase::OrvPainter;
using namespace EditorTest;

namespace {

// Answers the next message box with the named button once it shows; the text it showed goes to *text.
void answerNextBox(const char *button, QString *text = nullptr)
{
    // The pending timer holds the poll; the poll itself only a weak reference, or it never goes.
    auto poll = std::make_shared<std::function<void()>>();
    std::weak_ptr<std::function<void()>> weak = poll;
    *poll = [button, text, weak] {
        const auto widgets = QApplication::topLevelWidgets();
        for (QWidget *w : widgets) {
            auto *box = qobject_cast<OrvMessageBox *>(w);
            if (box && box->isVisible()) {
                if (text)
                    *text = box->text();
                box->findChild<QPushButton *>(QLatin1String(button))->click();
                return;
            }
        }
        if (const auto self = weak.lock())
            QTimer::singleShot(10, [self] { (*self)(); });
    };
    QTimer::singleShot(0, [poll] { (*poll)(); });
}

QStringList childNamesInLayoutOrder(QWidget *bar)
{
    QStringList names;
    QLayout *layout = bar->layout();
    for (int i = 0; i < layout->count(); ++i) {
        if (QWidget *w = layout->itemAt(i)->widget())
            names << w->objectName();
    }
    return names;
}

QString writePicture(const QTemporaryDir &dir, const QString &name, const QImage &image)
{
    const QString path = dir.filePath(name);
    return image.save(path) ? path : QString();
}

} // namespace

class ImageGraphicsViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_host.reset(new QWidget);
        m_host->resize(1000, 700);
        auto *layout = new QHBoxLayout(m_host.data());
        layout->setContentsMargins(0, 0, 0, 0);
        m_view = new ImageGraphicsView(m_host.data());
        layout->addWidget(m_view);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.data()));
        m_view->loadPixmap(QPixmap::fromImage(ImageSamples::quadrantProbe({1600, 1000})));
    }

    void cleanup() { m_host.reset(); }

    void quarterTurnsKeepTheirSignAndSwapTheLayer()
    {
        QCOMPARE(m_view->getPainterSize(), QSize(1600, 1000));
        const QVector<int> left{-90, -180, -270, 0};
        for (int expected : left) {
            m_view->onLeftRotate();
            QCOMPARE(m_view->getImageRotate(), expected);
            QCOMPARE(m_view->getPainter()->pictureSize(), expected % 180 ? QSize(1000, 1600) : QSize(1600, 1000));
            QVERIFY(ImageGraphicsView::fuzzyEqual(m_view->getImageScale(), m_view->getAdjustScale()));
        }
        m_view->onRightRotate();
        QCOMPARE(m_view->getImageRotate(), 90);
        m_view->rotateValue(-270);
        QCOMPARE(m_view->getPainter()->pictureSize(), QSize(1000, 1600));
        // The layer covers the turned picture exactly.
        QCOMPARE(m_view->getPainter()->size(), m_view->getImageContainerSize().toSize());
    }

    void zoomRunsOnTenthsBetweenItsBounds()
    {
        const QPoint centre = m_view->viewport()->rect().center();
        m_view->setImageScale(3.95);
        m_view->zoominImage(centre);
        QCOMPARE(m_view->getImageScale(), 4.0);
        QVERIFY(!m_view->getZoominEnableState());
        m_view->zoominImage(centre);
        QCOMPARE(m_view->getImageScale(), 4.0);
        m_view->setImageScale(0.15);
        m_view->zoomoutImage(centre);
        QCOMPARE(m_view->getImageScale(), 0.1);
        QVERIFY(!m_view->getZoomoutEnableState());
        m_view->zoomoutImage(centre);
        QCOMPARE(m_view->getImageScale(), 0.1);
        m_view->setImageScale(0.95);
        m_view->zoominImage(centre);
        QCOMPARE(m_view->getImageScale(), 1.0);
        m_view->setImageScale(0.95);
        m_view->zoomoutImage(centre);
        QCOMPARE(m_view->getImageScale(), 0.9);
        m_view->setImageScale(7.0); // out of bounds: kept as it was
        QCOMPARE(m_view->getImageScale(), 0.9);
    }

    void thePointUnderTheCursorStaysWhileZooming()
    {
        m_view->setImageScale(1.0);
        const QPoint pos(300, 200);
        const QPointF before = m_view->getPainter()->mapToScene(m_view->getPainter()->mapFrom(m_view->viewport(), pos));
        m_view->zoominImage(pos);
        m_view->zoominImage(pos);
        QCOMPARE(m_view->getImageScale(), 1.2);
        const QPointF after = m_view->getPainter()->mapToScene(m_view->getPainter()->mapFrom(m_view->viewport(), pos));
        QVERIFY2(QLineF(before, after).length() < 2, qPrintable(QStringLiteral("%1,%2 -> %3,%4")
                                                                   .arg(before.x()).arg(before.y()).arg(after.x()).arg(after.y())));
    }

    void drawingAfterATurnAndAZoomIsSavedAtFullSize()
    {
        QTemporaryDir dir;
        m_view->onRightRotate();
        m_view->setImageScale(0.5);
        m_view->zoominImage(QPoint(100, 100));
        QCOMPARE(m_view->getImageScale(), 0.6);
        OrvPainter *p = m_view->getPainter();
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape::Rectangle);
        p->setPenColor(Qt::black);
        p->setPenWidth(6); // 10 picture pixels at 0.6
        drag(p->viewport(), p->mapFromScene(QPointF(200, 300)), p->mapFromScene(QPointF(700, 1200)));
        const QString path = dir.filePath("turned.png");
        QVERIFY(m_view->saveImage(path));
        const QImage saved(path);
        QCOMPARE(saved.size(), QSize(1000, 1600));
        const QImage turned = ImageSamples::quadrantProbe({1600, 1000}).transformed(QTransform().rotate(90));
        QCOMPARE(saved.pixel(100, 100), turned.pixel(100, 100));
        QCOMPARE(saved.pixel(900, 1500), turned.pixel(900, 1500));
        QVERIFY(distance(saved.pixel(450, 302), qRgb(0, 0, 0)) < 40);
        QVERIFY(distance(saved.pixel(698, 800), qRgb(0, 0, 0)) < 40);
        QCOMPARE(saved.pixel(450, 320), turned.pixel(450, 320));
        QCOMPARE(saved.pixel(450, 750), turned.pixel(450, 750));
    }

    void theScreenCaptureShowsItsSelectionAtLogicalSize()
    {
        ImageGraphicsView view;
        view.setUsedByScreenShot(true);
        view.resize(200, 150);
        QPixmap grab(400, 300); // a selection on a screen scaled by 2
        grab.fill(Qt::white);
        grab.setDevicePixelRatio(2.0);
        view.loadPixmap(grab);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCOMPARE(view.getImageScale(), 0.5);
        QCOMPARE(view.getPainter()->pictureSize(), QSize(400, 300));
        QCOMPARE(view.getPainter()->geometry(), QRect(0, 0, 200, 150));
        QVERIFY(!view.isZoomEnabled());
        OrvPainter *p = view.getPainter();
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape::Line);
        p->setPenColor(Qt::black);
        drag(p->viewport(), QPoint(20, 75), QPoint(180, 75));
        const QImage out = view.renderImage();
        QCOMPARE(out.size(), QSize(400, 300));
        QVERIFY(distance(out.pixel(200, 150), qRgb(0, 0, 0)) < 40);
    }

private:
    QScopedPointer<QWidget> m_host;
    ImageGraphicsView *m_view = nullptr;
};

class ImageEditorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_photo = writePicture(m_dir, "photo.png", ImageSamples::cameraLike({1200, 800}, 3));
        QVERIFY(!m_photo.isEmpty());
    }

    void init()
    {
        OrvTrack::instance()->clear();
        ShareToChatTool::instance()->clear();
    }

    void cleanup()
    {
        ImageEditor::release();
        ImageEditor::setScreenshotProvider({});
        OrvPainter::discardData(ImageEditor::moleNameFor(m_photo));
    }

    void oneEditorWithItsBarsInOrder()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        QCOMPARE(ImageEditor::instance(), editor);
        QCOMPARE(childNamesInLayoutOrder(editor->findChild<QWidget *>("painterToolWidget")),
                 QStringList({"selectBtnLasso", "penBtn", "eraserBtn", "textBtn", "m_loadImageBtn", "m_shotBtn",
                              "m_deleteBtn", "toolSeparator", "m_undoBtn", "m_redoBtn"}));
        QCOMPARE(childNamesInLayoutOrder(editor->findChild<QWidget *>("footBar")),
                 QStringList({"btnAdapt", "btnRestore", "btnZoomout", "scaleText", "btnZoomin", "btnRotate", "btnSave",
                              "btnShare", "btnSaveToCloud", "m_finishBtn"}));
        auto text = [&](const char *name) { return editor->findChild<QAbstractButton *>(name)->text(); };
        QCOMPARE(text("selectBtnLasso"), QStringLiteral("ID_SelectMove_And"));
        QCOMPARE(text("penBtn"), QStringLiteral("ID_PaintBrush"));
        QCOMPARE(text("eraserBtn"), QStringLiteral("ID_Eraser"));
        QCOMPARE(text("textBtn"), QStringLiteral("ID_TextBox_tool"));
        QCOMPARE(text("m_loadImageBtn"), QStringLiteral("ID_LoadImage"));
        QCOMPARE(text("m_shotBtn"), QStringLiteral("ID_Screenshot"));
        QCOMPARE(text("m_deleteBtn"), QStringLiteral("ID_Delete"));
        QCOMPARE(text("m_finishBtn"), QStringLiteral("ID_Done"));
        QCOMPARE(editor->findChild<QWidget *>("btnAdapt")->toolTip(), QStringLiteral("ID_AdaptiveImageSize"));
        QCOMPARE(editor->windowTitle(), QStringLiteral("ID_imageeditor_PictureEditing"));
        auto menuTexts = [&](const char *button) {
            QStringList texts;
            const auto actions = editor->findChild<QToolButton *>(button)->menu()->actions();
            for (const QAction *a : actions)
                texts << a->text();
            return texts;
        };
        QCOMPARE(menuTexts("selectBtnLasso"), QStringList({"ID_FrameSelection", "ID_FreeSelection"}));
        QCOMPARE(menuTexts("m_shotBtn"), QStringList({"ID_Screenshot", "ID_ScreenshotHide"}));
        QCOMPARE(menuTexts("penBtn").size(), 5);
        // Both colour pickers start at the fifth swatch.
        QCOMPARE(editor->editTool()->penColorPicker()->currentIndex(), 4);
        QCOMPARE(editor->editTool()->penColor(), QColor("#F33B1F"));
        QCOMPARE(editor->editTool()->textColor(), QColor("#F33B1F"));
        QCOMPARE(ArrowPopup::marginsFor(Qt::UpArrow).left(), 10);
        QCOMPARE(editor->editTool()->eraserType(), EraserMedium);
        QStringList slotNames;
        const QMetaObject *meta = editor->metaObject();
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            if (meta->method(i).methodType() == QMetaMethod::Slot && meta->method(i).access() == QMetaMethod::Public)
                slotNames << QString::fromLatin1(meta->method(i).name());
        }
        QCOMPARE(slotNames, QStringList({"minBtnSlot", "maxBtnSlot", "closeBtnSlot", "selectBtnSlot", "onFrameSelect",
                                     "onFreeSelect", "penBtnSlot", "onShapeTypeChange", "onPenColorChange",
                                     "penColorPickFinish", "eraserBtnSlot", "eraserSateChange", "textBtnSlot",
                                     "onTextColorChange", "textColorPickFinish", "shotBtnSlot", "onMenuShot",
                                     "onMenuShotWithHide", "onTextFontSizeSettingChanged", "deleteBtnSlot",
                                     "loadImageBtnSlot", "onRestore", "onAdapt", "onZoomout", "onZoomin", "onRotate",
                                     "onShare", "onSave", "onSaveToCloud", "finishBtnSlot", "setRestoreBtnVisible",
                                     "adjustRestoreButton", "adjustZoomButton", "onShotFinished", "onShotCanceled"}));
        ImageEditor::release();
        QVERIFY(!editor);
        QVERIFY(ImageEditor::instance() != nullptr);
    }

    void eraserMenuSizesAndClear()
    {
        EraserMenu menu(Qt::UpArrow, nullptr, false);
        QCOMPARE(menu.size(), QSize(202, 72));
        QCOMPARE(menu.getEraserType(), EraserMedium);
        QVERIFY(menu.findChild<QToolButton *>("mEraserBtn")->isChecked());
        QCOMPARE(menu.findChild<QWidget *>("line")->size(), QSize(1, 14));
        QSignalSpy changed(&menu, &EraserMenu::eraserChanged);
        menu.findChild<QToolButton *>("lEraserBtn")->click();
        QCOMPARE(menu.getEraserType(), EraserLarge);
        menu.findChild<QToolButton *>("clearBtn")->click();
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(1).at(0).value<EraserType>(), EraserClear);
        QCOMPARE(menu.getEraserType(), EraserLarge); // clearing is not a size
        QVERIFY(!menu.findChild<QToolButton *>("clearBtn")->isCheckable());
        menu.setEraserType(EraserSmall);
        QVERIFY(menu.findChild<QToolButton *>("sEraserBtn")->isChecked());
        menu.setEraserType(EraserType(7));
        QCOMPARE(int(menu.getEraserType()), 7);
        QVERIFY(menu.findChild<QToolButton *>("sEraserBtn")->isChecked());
    }

    void colourPickerSwatchesAndCustomColour()
    {
        OrvColorPickerWidget picker;
        QCOMPARE(picker.currentColor(), QColor("#F33B1F"));
        QSignalSpy changed(&picker, &OrvColorPickerWidget::colorChanged);
        QSignalSpy custom(&picker, &OrvColorPickerWidget::colorPickFinish);
        picker.findChild<QToolButton *>("colorBtn_7")->click();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(picker.currentIndex(), 7);
        QColorDialog *dialog = picker.openCustomDialog();
        dialog->setCurrentColor(QColor(12, 34, 56));
        static_cast<QDialog *>(dialog)->accept();
        QCOMPARE(custom.count(), 1);
        QCOMPARE(picker.currentIndex(), -1);
        QCOMPARE(picker.currentColor(), QColor(12, 34, 56));
        picker.setCurrentIndex(99); // refused
        QCOMPARE(picker.currentIndex(), -1);
    }

    void theSlotsDriveTheLayer()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        QVERIFY(QTest::qWaitForWindowExposed(editor));
        OrvPainter *p = editor->view()->getPainter();
        QCOMPARE(editor->view()->getPixmapSize(), QSize(1200, 800));
        QCOMPARE(p->tool(), OrvPainter::Tool::Pen);
        editor->onPenColorChange(7);
        QCOMPARE(p->penColor(), OrvColorPickerWidget::paletteColor(7));
        editor->penColorPickFinish(QColor(1, 2, 3));
        QCOMPARE(p->penColor(), QColor(1, 2, 3));
        editor->findChild<QAction *>("actionArrow")->trigger();
        QCOMPARE(p->penShape(), OrvPainter::PenShape::Arrow);
        QVERIFY(editor->findChild<QAction *>("actionArrow")->isChecked());
        drag(p->viewport(), QPoint(50, 50), QPoint(200, 150));
        QCOMPARE(p->itemCount(), 1);
        QVERIFY(editor->findChild<QToolButton *>("m_undoBtn")->isEnabled());

        editor->eraserBtnSlot();
        QCOMPARE(p->tool(), OrvPainter::Tool::Eraser);
        QVERIFY(editor->editTool()->eraserMenu()->isVisible());
        editor->eraserSateChange(EraserSmall);
        QCOMPARE(p->eraserType(), int(EraserSmall));
        editor->eraserSateChange(EraserClear);
        QCOMPARE(p->itemCount(), 0);
        QCOMPARE(p->eraserType(), int(EraserSmall));
        editor->findChild<QToolButton *>("m_undoBtn")->click();
        QCOMPARE(p->itemCount(), 1);
        QVERIFY(editor->findChild<QToolButton *>("m_redoBtn")->isEnabled());

        editor->textBtnSlot();
        QCOMPARE(p->tool(), OrvPainter::Tool::Text);
        editor->onTextColorChange(1);
        QCOMPARE(p->textColor(), QColor(Qt::black));
        // The size box restyles the box being typed into, and typing goes on there.
        click(p->viewport(), QPoint(300, 300));
        QTest::keyClicks(p, QStringLiteral("Hi"));
        QComboBox *sizes = editor->editTool()->fontSizeBox();
        sizes->setFocus();
        sizes->setCurrentIndex(sizes->findData(32));
        editor->onTextFontSizeSettingChanged();
        QCOMPARE(p->textPixelSize(), 32);
        QVERIFY(p->isEditingText());
        QTest::keyClicks(p, QStringLiteral("!"));
        p->finishTextEditing();
        auto *box = static_cast<OrvPainterBase::TextAnnotation *>(p->annotationScene()->items().first());
        QCOMPARE(box->toPlainText(), QStringLiteral("Hi!"));
        QCOMPARE(box->pixelSize(), 32 / p->viewScale());

        editor->onFreeSelect();
        QCOMPARE(p->tool(), OrvPainter::Tool::Select);
        QCOMPARE(p->selectMode(), OrvPainter::SelectMode::Lasso);
        QVERIFY(editor->findChild<QToolButton *>("selectBtnLasso")->isChecked());
        p->selectAll();
        editor->deleteBtnSlot();
        QCOMPARE(p->itemCount(), 0);
        editor->onFrameSelect();
        QCOMPARE(p->selectMode(), OrvPainter::SelectMode::Frame);

        editor->loadImageBtnSlot();
        auto *dialog = editor->findChild<QFileDialog *>("loadImageDialog");
        QVERIFY(dialog && dialog->isVisible());
        QCOMPARE(dialog->windowModality(), Qt::NonModal);
        dialog->selectFile(m_photo);
        static_cast<QDialog *>(dialog)->accept();
        QCOMPARE(p->itemCount(), 1);
        QCOMPARE(p->tool(), OrvPainter::Tool::Select);
    }

    void footBarActionsAreTrackedByTheirChineseNames()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->setEntrancePage(QStringLiteral("CurriculumSchedule"));
        editor->setTrackIds(9001, 0, 4001, QStringLiteral("teacher"));
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        QSignalSpy cloud(editor.data(), &ImageEditor::signalSaveToCloud);
        OrvTrack::instance()->clear();
        editor->onAdapt();
        editor->onRestore();
        editor->onZoomout();
        editor->onZoomin();
        editor->onRotate();
        editor->onShare();
        editor->onSave();
        editor->selectBtnSlot();
        editor->onSaveToCloud();
        QStringList names;
        const auto events = OrvTrack::instance()->events(QStringLiteral("ClickEditingPicturesPageToolBtn"));
        for (const auto &e : events)
            names << e.properties.value("tool_name").toString();
        QCOMPARE(names, QStringList({QStringLiteral("自适应图片大小"), QStringLiteral("实际图片大小"), QStringLiteral("缩小"),
                                     QStringLiteral("放大"), QStringLiteral("旋转"), QStringLiteral("分享"),
                                     QStringLiteral("保存本地"), QStringLiteral("上传云盘")}));
        const QVariantMap first = events.first().properties;
        QCOMPARE(first.value("entrance_page").toString(), QStringLiteral("CurriculumSchedule"));
        QCOMPARE(first.value("is_from_classroom").toBool(), false);
        QCOMPARE(first.value("school_id").toString(), QStringLiteral("9001"));
        QCOMPARE(first.value("class_id").toString(), QStringLiteral("4001"));
        QCOMPARE(first.value("user_type").toString(), QStringLiteral("teacher"));
        QVERIFY(!first.contains("select_method"));
        QCOMPARE(events.last().properties.value("select_method").toString(), QStringLiteral("frame_selection"));

        // Share and save to cloud rendered the picture to "Kadio_<time>.jpg".
        const ShareToChatTool::Share share = ShareToChatTool::instance()->lastShare();
        QCOMPARE(share.kind, QStringLiteral("shareImageFile"));
        QVERIFY(QRegularExpression("/Kadio_\\d{14}\\.jpg$").match(share.payload.toObject().value("path").toString()).hasMatch());
        QCOMPARE(cloud.count(), 1);
        QVERIFY(QRegularExpression("/Kadio_\\d{14}\\.jpg$").match(cloud.at(0).at(0).toString()).hasMatch());
        QCOMPARE(QImage(cloud.at(0).at(0).toString()).size(), QSize(800, 1200)); // turned once
        QCOMPARE(cloud.at(0).at(1).toString(), QStringLiteral("ID_CloudDisk_My"));

        // The save dialog is not modal and starts at "Kadio_<time>".
        auto *dialog = editor->findChild<QFileDialog *>("saveImageDialog");
        QVERIFY(dialog && dialog->isVisible());
        QCOMPARE(dialog->windowModality(), Qt::NonModal);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("ID_SaveImageAs"));
        QVERIFY(QRegularExpression("Kadio_\\d{14}").match(dialog->selectedFiles().value(0)).hasMatch());
        const QString target = m_dir.filePath("saved-from-dialog.png");
        dialog->selectFile(target);
        static_cast<QDialog *>(dialog)->accept();
        QCOMPARE(QImage(target).size(), QSize(800, 1200));
        QCOMPARE(editor->lastSavedPath(), target);
        QCOMPARE(editor->tipText(), QStringLiteral("ID_SaveSuccessfully"));
        QStringList methods;
        const auto saves = OrvTrack::instance()->events(QStringLiteral("SaveEditedPicture"));
        for (const auto &e : saves) {
            QVERIFY(e.properties.value("is_success").toBool());
            methods << e.properties.value("save_method").toString();
        }
        QCOMPARE(methods, QStringList({"share", "save_to_cloud", "save_local"}));
    }

    void rotatingAnAnnotatedPictureAsksFirst()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        OrvPainter *p = editor->view()->getPainter();
        drag(p->viewport(), QPoint(20, 20), QPoint(120, 90));
        QString asked;
        answerNextBox("btnNo", &asked);
        editor->onRotate();
        QCOMPARE(asked, QStringLiteral("ID_HomeworkImagePreview_EditsLost"));
        QCOMPARE(editor->view()->getImageRotate(), 0);
        QCOMPARE(editor->view()->getPainter()->itemCount(), 1);
        answerNextBox("btnYes");
        editor->onRotate();
        QCOMPARE(editor->view()->getImageRotate(), 90);
        QCOMPARE(editor->view()->getPainter()->itemCount(), 0);
        QCOMPARE(OrvPainter::storedItemCount(ImageEditor::moleNameFor(m_photo)), 0);
        // The pen is still in hand on the new layer.
        QCOMPARE(editor->view()->getPainter()->tool(), OrvPainter::Tool::Pen);
    }

    void aFailedSaveSaysSoAndKeepsTheEdits()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        OrvPainter *p = editor->view()->getPainter();
        drag(p->viewport(), QPoint(20, 20), QPoint(120, 90));
        QString said;
        answerNextBox("btnOk", &said);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot write"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not be saved"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("saving failed"));
        editor->editTool()->onSaveImage(m_dir.filePath("no/such/folder/x.jpg"));
        QCOMPARE(said, QStringLiteral("ID_SAVEFAILED"));
        QVERIFY(p->isModified());
        QCOMPARE(p->itemCount(), 1);
        const auto saves = OrvTrack::instance()->events(QStringLiteral("SaveEditedPicture"));
        QCOMPARE(saves.size(), 1);
        QCOMPARE(saves.first().properties.value("is_success").toBool(), false);
    }

    void finishPutsTheEditedPictureOnTheClipboardInBothForms()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        OrvPainter *p = editor->view()->getPainter();
        p->setPenColor(QColor(0, 0, 255));
        p->setPenShape(OrvPainter::PenShape::Line);
        p->setPenWidth(8);
        const QPointF a(100, 400), b(1100, 400);
        drag(p->viewport(), p->mapFromScene(a), p->mapFromScene(b));
        QSignalSpy finished(editor.data(), &ImageEditor::signalEditFinished);
        editor->finishBtnSlot();
        QVERIFY(!editor->isVisible());
        QCOMPARE(finished.count(), 1);
        const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
        const QImage pixels = qvariant_cast<QImage>(mime->imageData());
        QCOMPARE(pixels.size(), QSize(1200, 800));
        QVERIFY(distance(pixels.pixel(600, 400), qRgb(0, 0, 255)) < 40);
        const QString file = QStandardPaths::writableLocation(QStandardPaths::TempLocation)
            + QLatin1String(ImagePreviewMenu::CopyFileName);
        QCOMPARE(mime->urls(), QList<QUrl>{QUrl::fromLocalFile(file)});
        QCOMPARE(finished.at(0).at(0).toString(), file);
        QCOMPARE(QImage(file).convertToFormat(QImage::Format_RGB32), pixels.convertToFormat(QImage::Format_RGB32));
    }

    void annotationsStayWithTheirPicture()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        drag(editor->view()->getPainter()->viewport(), QPoint(20, 20), QPoint(120, 90));
        editor->closeBtnSlot();
        QVERIFY(!editor->isVisible());
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        QCOMPARE(editor->view()->getPainter()->itemCount(), 1);

        // A picture without a file keeps nothing: closing asks, No keeps the window.
        editor->showImage(QString(), QPixmap::fromImage(plain({300, 200})), false, nullptr);
        QCOMPARE(editor->view()->getPainter()->itemCount(), 0);
        drag(editor->view()->getPainter()->viewport(), QPoint(20, 20), QPoint(120, 90));
        answerNextBox("btnNo");
        editor->closeBtnSlot();
        QVERIFY(editor->isVisible());
        answerNextBox("btnYes");
        editor->closeBtnSlot();
        QVERIFY(!editor->isVisible());
        editor->showImage(QString(), QPixmap::fromImage(plain({300, 200})), false, nullptr);
        QCOMPARE(editor->view()->getPainter()->itemCount(), 0);
    }

    void picturesThatCannotBeEditedLeaveTheEditorAsItWas()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        const QString bomb = m_dir.filePath("bomb.png");
        QFile f(bomb);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(pngClaiming(30000, 30000));
        f.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ImageEditor: no picture to edit"));
        editor->showImage(QString(), QPixmap(), false, nullptr);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ImageEditor: no picture to edit"));
        editor->showImage(QString(), QPixmap(0, 0), false, nullptr);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("picture too large to decode"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("\\(file .*bomb.png"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ImageEditor: no picture to edit"));
        editor->showImage(bomb, QPixmap(), false, nullptr);
        QCOMPARE(editor->path(), m_photo);
        QCOMPARE(editor->view()->getPixmapSize(), QSize(1200, 800));
    }

    void screenshotsGoOntoTheLayer()
    {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        editor->showImage(m_photo, QPixmap(), false, nullptr);
        QSignalSpy hide(ImSignalObject::instance(), &ImSignalObject::hideImOnScreenshot);
        QPixmap shot(200, 100);
        shot.fill(Qt::magenta);
        QPixmap next = shot;
        ImageEditor::setScreenshotProvider([&next](bool, QWidget *, std::function<void(QPixmap)> done) {
            QTimer::singleShot(0, [done, next] { done(next); });
        });
        editor->onMenuShotWithHide();
        QTRY_COMPARE(hide.count(), 2);
        QCOMPARE(hide.at(0).at(0).toBool(), true);
        QCOMPARE(hide.at(1).at(0).toBool(), false);
        OrvPainter *p = editor->view()->getPainter();
        QCOMPARE(p->itemCount(), 1);
        QCOMPARE(p->tool(), OrvPainter::Tool::Select);
        QVERIFY(editor->findChild<QToolButton *>("selectBtnLasso")->isChecked());
        next = QPixmap();
        editor->onMenuShot();
        QTRY_VERIFY(editor->isVisible());
        QTest::qWait(20);
        QCOMPARE(p->itemCount(), 1);
        QCOMPARE(hide.count(), 2);
    }

    void messageBoxAnswers()
    {
        answerNextBox("btnYes");
        QCOMPARE(OrvMessageBox::question(nullptr, "t", "q"), QMessageBox::Yes);
        OrvMessageBox box(nullptr, "t", "q", QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
        box.reject(); // Escape, the close button
        QCOMPARE(box.answer(), QMessageBox::No);
    }

private:
    QTemporaryDir m_dir;
    QString m_photo;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    int status = 0;
    {
        ImageGraphicsViewTest t;
        status |= QTest::qExec(&t, argc, argv);
    }
    {
        ImageEditorTest t;
        status |= QTest::qExec(&t, argc, argv);
    }
    return status;
}

#include "tst_imageeditor.moc"
