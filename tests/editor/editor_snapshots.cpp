// SPDX-License-Identifier: LGPL-2.1-or-later
// Renders the picture editor with drawings, text, a pasted picture and its settings boxes into
// PNG files, to be looked at.
#include "BaseEditTool.h"
#include "EditTool.h"
#include "EraserMenu.h"
#include "ImageGraphicsView.h"
#include "editorfixture.h"
#include "imageeditor.h"
#include "imagesamples.h"
#include "orvlang.h"

#include <QApplication>
#include <QDir>
#include <QInputMethodEvent>
#include <QTest>

namespace {

bool save(QWidget *widget, const QString &file)
{
    const bool ok = widget->grab().save(file);
    qInfo().noquote() << (ok ? "wrote" : "FAILED") << file;
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::currentPath();
    QDir().mkpath(out);
    OrvLang::loadTable(QStringLiteral(ORV_DEMO_LANG));

    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->setEntrancePage(QStringLiteral("Snapshots"));
    editor->showImage(QString(), QPixmap::fromImage(ImageSamples::cameraLike({3000, 2000}, 4)), false, nullptr);
    if (!QTest::qWaitForWindowExposed(editor))
        qWarning() << "not exposed";
    QTest::qWait(300);
    auto *painter = editor->view()->getPainter();
    auto *tool = editor->editTool();
    QWidget *layer = painter->viewport();
    const QRect r = layer->rect();
    tool->setPenWidth(8);
    EditorTest::drag(layer, {r.topLeft() + QPoint(60, 80), r.topLeft() + QPoint(140, 40), r.topLeft() + QPoint(220, 120),
                             r.topLeft() + QPoint(300, 60), r.topLeft() + QPoint(380, 140)});
    tool->setPenShape(OrvPainterBase::OrvPainter::PenShape::Arrow);
    tool->setPenColorIndex(7);
    EditorTest::drag(layer, r.center() + QPoint(-250, 150), r.center() + QPoint(-60, 10));
    tool->setPenShape(OrvPainterBase::OrvPainter::PenShape::Rectangle);
    tool->setPenColorIndex(6);
    tool->setPenWidth(4);
    EditorTest::drag(layer, r.center() + QPoint(20, -60), r.center() + QPoint(260, 100));
    tool->setPenShape(OrvPainterBase::OrvPainter::PenShape::Ellipse);
    tool->setPenColorIndex(5);
    EditorTest::drag(layer, r.center() + QPoint(300, -160), r.center() + QPoint(420, -60));
    tool->eraserTool();
    EditorTest::drag(layer, r.topLeft() + QPoint(200, 20), r.topLeft() + QPoint(230, 160));
    tool->textTool();
    tool->setTextFontSize(28);
    tool->setTextColorIndex(1);
    EditorTest::click(layer, r.center() + QPoint(40, 20));
    QInputMethodEvent ime(QString(), {});
    ime.setCommitString(QStringLiteral("三年级 Grade 3"));
    QApplication::sendEvent(painter, &ime);
    QImage sticker(160, 100, QImage::Format_ARGB32);
    sticker.fill(QColor(255, 210, 31));
    tool->loadImage(sticker);
    QTest::qWait(100);
    save(editor, out + "/editor.png");
    editor->penBtnSlot();
    QTest::qWait(100);
    save(tool->penSettingsBox(), out + "/pen_box.png");
    editor->textBtnSlot();
    save(tool->textSettingsBox(), out + "/text_box.png");
    editor->eraserBtnSlot();
    save(tool->eraserMenu(), out + "/eraser_menu.png");
    tool->hideBoxes();
    const QImage rendered = editor->view()->renderImage();
    rendered.save(out + "/rendered_full.png");
    qInfo() << "rendered at" << rendered.size();
    ImageEditor::release();
    return 0;
}
