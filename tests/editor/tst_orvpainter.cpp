// SPDX-License-Identifier: LGPL-2.1-or-later
// The annotation layer driven as a user drives it: mouse gestures on the layer, typed and
// input-method text, the clipboard. What counts is what lands in the picture saved at full size.
#include "editorfixture.h"
#include "orvpainter.h"
#include "orvpaintercomposer.h"
#include "orvpainteritems.h"

#include <QBuffer>

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGraphicsScene>
#include <QImageWriter>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QtTest>

using OrvPainterBase::OrvPainter;
using namespace EditorTest;

namespace {

const QColor Blue(0x2F, 0x7B, 0xFF);

// A layer over a white picture, shown at scale.
struct Layer
{
    Layer(const QSize &picture, double scale, const QString &key = QString())
        : pictureSize(picture)
    {
        host.resize(1200, 800);
        painter = new OrvPainter(picture, &host);
        painter->setDataKey(key);
        painter->setLayerSize(QSize(qRound(picture.width() * scale), qRound(picture.height() * scale)));
        host.show();
        QApplication::setActiveWindow(&host);
    }
    QImage render() const { return painter->renderImage(QPixmap::fromImage(plain(pictureSize))); }
    QPoint at(const QPointF &p) const { return painter->mapFromScene(p); }
    QWidget *input() const { return painter->viewport(); }
    void drag(const QPointF &from, const QPointF &to) const { EditorTest::drag(input(), at(from), at(to)); }
    void type(const QString &text) const
    {
        QInputMethodEvent ime(QString(), {});
        ime.setCommitString(text);
        QApplication::sendEvent(painter, &ime);
    }

    QSize pictureSize;
    QWidget host;
    OrvPainter *painter = nullptr;
};

// Smooth gradients and edges, as a photograph has.
QImage ImageLikePhoto(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x * 255 / size.width(), y * 255 / size.height(), (x + y) % 97 < 48 ? 200 : 60));
    return image;
}

bool isInk(const QImage &image, const QPointF &p, const QColor &color)
{
    return distance(image.pixel(p.toPoint()), color.rgb()) < 40;
}

bool isWhite(const QImage &image, const QPointF &p)
{
    return distance(image.pixel(p.toPoint()), qRgb(255, 255, 255)) < 8;
}

} // namespace

class OrvPainterDrawingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void penShapesLandAtFullResolution_data()
    {
        QTest::addColumn<int>("shape");
        QTest::addColumn<double>("scale");
        for (double scale : {0.25, 2.0}) {
            const QByteArray s = QByteArray::number(scale);
            QTest::newRow("free " + s) << int(OrvPainter::PenShape::FreeLine) << scale;
            QTest::newRow("line " + s) << int(OrvPainter::PenShape::Line) << scale;
            QTest::newRow("arrow " + s) << int(OrvPainter::PenShape::Arrow) << scale;
            QTest::newRow("rectangle " + s) << int(OrvPainter::PenShape::Rectangle) << scale;
            QTest::newRow("ellipse " + s) << int(OrvPainter::PenShape::Ellipse) << scale;
        }
    }

    void penShapesLandAtFullResolution()
    {
        QFETCH(int, shape);
        QFETCH(double, scale);
        Layer layer(QSize(2000, 1200), scale);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape(shape));
        p->setPenColor(Blue);
        p->setPenWidth(8); // screen pixels: 8 / scale in the picture
        const qreal w = 8 / scale;
        const QPointF a(400, 300), b(1400, 900), mid(900, 600);
        if (OrvPainter::PenShape(shape) == OrvPainter::PenShape::FreeLine)
            EditorTest::drag(layer.input(), {layer.at(a), layer.at(QPointF(900, 900)), layer.at(QPointF(1400, 300))});
        else
            layer.drag(a, b);
        QCOMPARE(p->itemCount(), 1);
        const QImage out = layer.render();
        QCOMPARE(out.size(), QSize(2000, 1200));
        const qreal clear = w / 2 + qMax(4.0, 3 / scale);
        switch (OrvPainter::PenShape(shape)) {
        case OrvPainter::PenShape::FreeLine:
            QVERIFY(isInk(out, QPointF(650, 600), Blue));
            QVERIFY(isInk(out, QPointF(1150, 600), Blue));
            QVERIFY(isWhite(out, QPointF(900, 300)));
            QVERIFY(isWhite(out, mid));
            break;
        case OrvPainter::PenShape::Line:
            QVERIFY(isInk(out, mid, Blue));
            QVERIFY(isWhite(out, QPointF(900, 300)));
            QVERIFY(isWhite(out, QPointF(1500, 967)));
            break;
        case OrvPainter::PenShape::Arrow: {
            const QPointF dir = (b - a) / QLineF(a, b).length();
            const qreal head = qMax(w * 4, 12 / scale);
            QVERIFY(isInk(out, mid, Blue));
            QVERIFY(isInk(out, b - dir * head * 0.3, Blue)); // inside the filled head
            QVERIFY(isWhite(out, b + dir * (w + 6 / scale)));
            QVERIFY(isWhite(out, QPointF(900, 300)));
            break;
        }
        case OrvPainter::PenShape::Rectangle:
            QVERIFY(isInk(out, QPointF(900, 300 + w * 0.3), Blue));
            QVERIFY(isInk(out, QPointF(400 - w * 0.3, 600), Blue));
            QVERIFY(isWhite(out, QPointF(900, 300 + clear)));
            QVERIFY(isWhite(out, QPointF(900, 300 - clear)));
            QVERIFY(isWhite(out, mid));
            break;
        case OrvPainter::PenShape::Ellipse:
            QVERIFY(isInk(out, QPointF(900, 300 + w * 0.3), Blue));
            QVERIFY(isInk(out, QPointF(1400 - w * 0.3, 600), Blue));
            QVERIFY(isWhite(out, QPointF(410 + clear, 310 + clear))); // the bounding box's corner
            QVERIFY(isWhite(out, mid));
            break;
        }
    }

    void aClickDrawsADotButNoShape()
    {
        Layer layer(QSize(400, 300), 1.0);
        layer.painter->setTool(OrvPainter::Tool::Pen);
        click(layer.input(), layer.at(QPointF(200, 150)));
        QCOMPARE(layer.painter->itemCount(), 1);
        QVERIFY(!isWhite(layer.render(), QPointF(200, 150)));
        layer.painter->setPenShape(OrvPainter::PenShape::Rectangle);
        click(layer.input(), layer.at(QPointF(100, 100)));
        QCOMPARE(layer.painter->itemCount(), 1);
    }

    void eraserCutsStrokesAndClearRemovesEverything()
    {
        Layer layer(QSize(1000, 600), 0.5);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape::Line);
        p->setPenColor(Qt::black);
        p->setPenWidth(10);
        layer.drag(QPointF(100, 300), QPointF(900, 300));
        p->setTool(OrvPainter::Tool::Eraser);
        p->setEraserType(OrvPainter::EraserLarge); // 24 screen pixels: 48 in the picture
        layer.drag(QPointF(500, 150), QPointF(500, 450));
        QImage out = layer.render();
        QVERIFY(isWhite(out, QPointF(500, 300)));
        QVERIFY(isWhite(out, QPointF(535, 300)));
        QVERIFY(isInk(out, QPointF(300, 300), Qt::black));
        QVERIFY(isInk(out, QPointF(700, 300), Qt::black));
        QVERIFY(isInk(out, QPointF(560, 300), Qt::black));
        QCOMPARE(p->itemCount(), 1); // one stroke in two pieces

        // A small eraser leaves a narrower gap.
        p->setEraserType(OrvPainter::EraserSmall);
        layer.drag(QPointF(250, 200), QPointF(250, 400));
        out = layer.render();
        QVERIFY(isWhite(out, QPointF(250, 300)));
        QVERIFY(isInk(out, QPointF(270, 300), Qt::black));

        // Erasing what is left of a piece removes it.
        layer.drag(QPointF(120, 300), QPointF(230, 300));
        layer.drag(QPointF(90, 300), QPointF(240, 300));
        QVERIFY(isWhite(layer.render(), QPointF(150, 300)));

        p->undo();
        p->undo();
        p->undo();
        out = layer.render();
        QVERIFY(isInk(out, QPointF(250, 300), Qt::black));
        QVERIFY(isWhite(out, QPointF(500, 300)));
        p->undo();
        QVERIFY(isInk(layer.render(), QPointF(500, 300), Qt::black));
        p->redo();
        QVERIFY(isWhite(layer.render(), QPointF(500, 300)));

        p->clear();
        QCOMPARE(p->itemCount(), 0);
        QCOMPARE(inkIn(layer.render(), QRect(0, 0, 1000, 600)), 0);
        p->undo();
        QCOMPARE(p->itemCount(), 1);
        QVERIFY(isInk(layer.render(), QPointF(700, 300), Qt::black));
    }

    void eraserLeavesTextAndPicturesAlone()
    {
        Layer layer(QSize(600, 400), 1.0);
        OrvPainter *p = layer.painter;
        QImage red(100, 100, QImage::Format_RGB32);
        red.fill(Qt::red);
        QVERIFY(p->addPicture(red, QPointF(300, 200)));
        p->setTool(OrvPainter::Tool::Eraser);
        layer.drag(QPointF(250, 200), QPointF(350, 200));
        QCOMPARE(p->itemCount(), 1);
        QVERIFY(isInk(layer.render(), QPointF(300, 200), Qt::red));
        QCOMPARE(p->undoStack()->count(), 1);
    }

    void undoAndRedoOfAMixedSequenceRestoreTheExactPixels()
    {
        Layer layer(QSize(800, 500), 1.0);
        OrvPainter *p = layer.painter;
        QVector<QImage> states{layer.render()};
        auto step = [&] { states.append(layer.render()); };

        p->setTool(OrvPainter::Tool::Pen);
        EditorTest::drag(layer.input(), {layer.at({50, 50}), layer.at({150, 120}), layer.at({250, 60})});
        step();
        p->setPenShape(OrvPainter::PenShape::Rectangle);
        p->setPenColor(Blue);
        layer.drag({300, 50}, {500, 200});
        step();
        p->setPenShape(OrvPainter::PenShape::Arrow);
        layer.drag({600, 450}, {750, 300});
        step();
        p->setTool(OrvPainter::Tool::Text);
        p->setTextColor(Qt::black);
        click(layer.input(), layer.at({80, 300}));
        layer.type(QStringLiteral("Ab 中文"));
        p->finishTextEditing();
        step();
        QImage sticker(80, 60, QImage::Format_RGB32);
        sticker.fill(Qt::darkGreen);
        QVERIFY(p->addPicture(sticker, QPointF(400, 350)));
        step();
        // The pasted picture is selected with the select tool on: drag it.
        layer.drag({400, 350}, {450, 380});
        step();
        p->setTool(OrvPainter::Tool::Eraser);
        layer.drag({150, 40}, {150, 140});
        step();
        p->setTool(OrvPainter::Tool::Select);
        click(layer.input(), layer.at({450, 380}));
        QVERIFY(p->hasSelection());
        QCOMPARE(p->deleteSelected(), 1);
        step();
        p->clear();
        step();

        QCOMPARE(p->undoStack()->count(), states.size() - 1);
        for (int i = 1; i < states.size(); ++i)
            QVERIFY2(states.at(i) != states.at(i - 1), qPrintable(QStringLiteral("step %1 changed nothing").arg(i)));
        for (int i = states.size() - 2; i >= 0; --i) {
            p->undo();
            QVERIFY2(layer.render() == states.at(i), qPrintable(QStringLiteral("undo to state %1").arg(i)));
        }
        QVERIFY(!p->canUndo());
        for (int i = 1; i < states.size(); ++i) {
            p->redo();
            QVERIFY2(layer.render() == states.at(i), qPrintable(QStringLiteral("redo to state %1").arg(i)));
        }
        QVERIFY(!p->canRedo());
    }

    void jpegSavesHoldTheComposedPicture()
    {
        QTemporaryDir dir;
        // Taller than one band, so strokes cross band edges.
        Layer layer(QSize(900, 700), 0.5);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenColor(Qt::red);
        EditorTest::drag(layer.input(), {layer.at({50, 50}), layer.at({450, 650}), layer.at({850, 80})});
        p->setPenShape(OrvPainter::PenShape::Ellipse);
        layer.drag({300, 200}, {700, 600});
        p->setTool(OrvPainter::Tool::Text);
        click(layer.input(), layer.at({100, 500}));
        layer.type(QStringLiteral("JPEG 测试"));
        p->finishTextEditing();
        const QImage picture = ImageLikePhoto(QSize(900, 700));
        const QString path = dir.filePath("out.jpg");
        QVERIFY(p->render(path, QPixmap::fromImage(picture)));
        const QImage saved = QImage(path).convertToFormat(QImage::Format_RGB32);
        const QImage expected = p->renderImage(QPixmap::fromImage(picture));
        QCOMPARE(saved.size(), expected.size());
        qint64 sum = 0;
        for (int y = 0; y < saved.height(); ++y)
            for (int x = 0; x < saved.width(); ++x)
                sum += distance(saved.pixel(x, y), expected.pixel(x, y));
        // JPEG loses a little (Qt's own writer: about 4.4 on this picture alone), never colours or places.
        QVERIFY2(double(sum) / (saved.width() * saved.height()) < 8, "the JPEG differs from the rendered picture");
        QVERIFY(distance(saved.pixel(20, 600), expected.pixel(20, 600)) < 12);
        QVERIFY(distance(saved.pixel(880, 20), expected.pixel(880, 20)) < 12);
        QVERIFY(distance(saved.pixel(450, 650), qRgb(255, 0, 0)) < 60); // on the stroke, two bands down

        // Bands nothing reaches are read from the picture in place.
        p->clear();
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape::Rectangle);
        layer.drag({100, 20}, {300, 120});
        QVERIFY(p->render(path, QPixmap::fromImage(picture)));
        const QImage partly = QImage(path).convertToFormat(QImage::Format_RGB32);
        QVERIFY(distance(partly.pixel(200, 20), qRgb(255, 0, 0)) < 60);
        for (const QPoint &at : {QPoint(20, 400), QPoint(600, 690), QPoint(880, 300)})
            QVERIFY(distance(partly.pixel(at), picture.pixel(at)) < 12);

        // A device that takes nothing: a failure, not a short file.
        QBuffer readOnly;
        readOnly.open(QIODevice::ReadOnly);
        OrvPainterBase::AnnotationComposer composer(p->annotationScene(), p->pictureSize(), picture.size());
        QString error;
        QVERIFY(!composer.writeJpeg(picture, &readOnly, 95, &error));
        QVERIFY(!error.isEmpty());
    }

    void jpegSavesMatchQtsWriterBandByBand()
    {
        // Many bands, so the encoder's band buffers are taken again and again; strokes, shapes
        // and text reach some bands and leave others to be read from the picture in place.
        QTemporaryDir dir;
        Layer layer(QSize(700, 1500), 0.5);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenColor(Blue);
        EditorTest::drag(layer.input(), {layer.at({30, 40}), layer.at({650, 1450}), layer.at({90, 1400})});
        p->setPenShape(OrvPainter::PenShape::Ellipse);
        layer.drag({100, 600}, {500, 900});
        p->setPenShape(OrvPainter::PenShape::Rectangle);
        layer.drag({400, 100}, {650, 200});
        p->setTool(OrvPainter::Tool::Text);
        click(layer.input(), layer.at({80, 1100}));
        layer.type(QStringLiteral("第3题"));
        p->finishTextEditing();
        const QImage picture = ImageLikePhoto(QSize(700, 1500));
        const QString path = dir.filePath("out.jpg");
        QVERIFY(p->render(path, QPixmap::fromImage(picture)));

        // The same composed picture through Qt's own writer, with the same settings.
        QBuffer reference;
        reference.open(QIODevice::WriteOnly);
        QImageWriter writer(&reference, "jpeg");
        writer.setQuality(95);
        QVERIFY(writer.write(p->renderImage(QPixmap::fromImage(picture))));
        const QImage expected = QImage::fromData(reference.data(), "jpeg").convertToFormat(QImage::Format_RGB32);
        const QImage saved = QImage(path).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(saved.size(), expected.size());
        // Both come from libjpeg at the same settings; rounding apart, they agree.
        const int band = OrvPainterBase::AnnotationComposer::JpegBandHeight;
        for (int top = 0; top < saved.height(); top += band) {
            int worst = 0;
            for (int y = top; y < qMin(top + band, saved.height()); ++y)
                for (int x = 0; x < saved.width(); ++x)
                    worst = qMax(worst, distance(saved.pixel(x, y), expected.pixel(x, y)));
            QVERIFY2(worst <= 12, qPrintable(QStringLiteral("rows from %1 differ by %2").arg(top).arg(worst)));
        }
    }

    void framesAndLassosSelectAndDragsMove()
    {
        Layer layer(QSize(800, 400), 1.0);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Pen);
        p->setPenShape(OrvPainter::PenShape::Rectangle);
        layer.drag({100, 100}, {200, 200});
        layer.drag({500, 100}, {600, 200});
        const auto items = p->annotationScene()->items(Qt::AscendingOrder);
        QGraphicsItem *first = items.at(0);
        QGraphicsItem *second = items.at(1);

        p->setTool(OrvPainter::Tool::Select);
        layer.drag({60, 60}, {260, 260});
        QCOMPARE(p->annotationScene()->selectedItems(), QList<QGraphicsItem *>{first});
        layer.drag({100, 150}, {150, 180}); // grab it by its edge
        QCOMPARE(first->pos(), QPointF(50, 30));
        QCOMPARE(second->pos(), QPointF(0, 0));
        p->undo();
        QCOMPARE(first->pos(), QPointF(0, 0));

        p->setSelectMode(OrvPainter::SelectMode::Lasso);
        EditorTest::drag(layer.input(), {layer.at({470, 70}), layer.at({640, 60}), layer.at({650, 230}),
                                         layer.at({460, 240}), layer.at({470, 70})});
        QCOMPARE(p->annotationScene()->selectedItems(), QList<QGraphicsItem *>{second});
        QKeyEvent del(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
        QApplication::sendEvent(p, &del);
        QCOMPARE(p->itemCount(), 1);
        QKeyEvent undo(QEvent::KeyPress, Qt::Key_Z, Qt::ControlModifier);
        QApplication::sendEvent(p, &undo);
        QCOMPARE(p->itemCount(), 2);
    }
};

class OrvPainterTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inputMethodTypingAndPastedChineseTextLandInTheBox()
    {
        Layer layer(QSize(600, 300), 1.0);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Text);
        click(layer.input(), layer.at({50, 100}));
        QVERIFY(p->isEditingText());
        // Composing, then committed.
        QInputMethodEvent compose(QStringLiteral("ni"), {});
        QApplication::sendEvent(p, &compose);
        layer.type(QStringLiteral("你"));
        QTest::keyClicks(p, QStringLiteral("ok"));
        QGuiApplication::clipboard()->setText(QStringLiteral("数学作业"));
        QKeyEvent paste(QEvent::KeyPress, Qt::Key_V, Qt::ControlModifier, QStringLiteral("\x16"));
        QApplication::sendEvent(p, &paste);
        p->finishTextEditing();
        const auto items = p->annotationScene()->items();
        QCOMPARE(items.size(), 1);
        QCOMPARE(static_cast<OrvPainterBase::TextAnnotation *>(items.first())->toPlainText(), QStringLiteral("你ok数学作业"));
        QCOMPARE(p->undoStack()->count(), 1); // the whole box is one step
        p->undo();
        QCOMPARE(p->itemCount(), 0);
        p->redo();
        QCOMPARE(p->itemCount(), 1);

        // An empty box goes away without a trace.
        click(layer.input(), layer.at({300, 200}));
        p->finishTextEditing();
        QCOMPARE(p->itemCount(), 1);
        QCOMPARE(p->undoStack()->count(), 1);
    }

    void nonLatinTextIsRenderedWithItsOwnGlyphs_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("other");
        QTest::newRow("Chinese") << QStringLiteral("你好") << QStringLiteral("你我");
        QTest::newRow("Cyrillic") << QStringLiteral("Жук") << QStringLiteral("Жир");
        QTest::newRow("Japanese kana") << QStringLiteral("かな") << QStringLiteral("かに");
    }

    void nonLatinTextIsRenderedWithItsOwnGlyphs()
    {
        QFETCH(QString, text);
        QFETCH(QString, other);
        // A missing glyph draws the same box for every character: two texts would look alike.
        auto draw = [](const QString &s) {
            Layer layer(QSize(400, 200), 0.5);
            layer.painter->setTool(OrvPainter::Tool::Text);
            layer.painter->setTextColor(Qt::black);
            layer.painter->setTextPixelSize(20); // 40 picture pixels
            click(layer.input(), layer.at({40, 100}));
            layer.type(s);
            layer.painter->finishTextEditing();
            return layer.render();
        };
        const QImage a = draw(text);
        const QImage b = draw(other);
        QVERIFY(inkIn(a, QRect(30, 60, 200, 80)) > 200);
        QVERIFY(inkIn(b, QRect(30, 60, 200, 80)) > 200);
        // The first character is the same, the second differs.
        QCOMPARE(a.copy(30, 60, 45, 80), b.copy(30, 60, 45, 80));
        QVERIFY(a.copy(80, 60, 60, 80) != b.copy(80, 60, 60, 80));
    }

    void textColourAndSizeApplyToTheSelectedBoxAsOneStep()
    {
        Layer layer(QSize(600, 300), 1.0);
        OrvPainter *p = layer.painter;
        p->setTool(OrvPainter::Tool::Text);
        p->setTextColor(Qt::black);
        click(layer.input(), layer.at({50, 100}));
        layer.type(QStringLiteral("Note"));
        p->setTool(OrvPainter::Tool::Select);
        p->selectAll();
        auto *box = static_cast<OrvPainterBase::TextAnnotation *>(p->annotationScene()->items().first());
        p->setTextColor(Blue);
        p->setTextPixelSize(40);
        QCOMPARE(box->defaultTextColor(), Blue);
        QCOMPARE(box->pixelSize(), 40.0);
        p->undo();
        QCOMPARE(box->pixelSize(), 20.0);
        p->undo();
        QCOMPARE(box->defaultTextColor(), QColor(Qt::black));
    }
};

class OrvPainterDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        OrvPainter::setStorageDirectory(QString());
    }

    void annotationsComeBackUnderTheirKeyInThisRunAndTheNext()
    {
        QTemporaryDir dir;
        OrvPainter::setStorageDirectory(dir.path());
        const QString key = QStringLiteral("/home/teacher/作业 3.jpg");
        QImage before;
        {
            Layer layer(QSize(640, 480), 0.5, key);
            layer.painter->setTool(OrvPainter::Tool::Pen);
            layer.drag({40, 40}, {600, 440});
            layer.painter->setTool(OrvPainter::Tool::Text);
            click(layer.input(), layer.at({100, 300}));
            layer.type(QStringLiteral("重点"));
            layer.painter->finishTextEditing();
            QImage sticker(30, 20, QImage::Format_ARGB32);
            sticker.fill(QColor(0, 0, 255, 128));
            layer.painter->addPicture(sticker, QPointF(500, 100));
            before = layer.render();
        }
        // This run: another layer with the key shows the same, history included.
        {
            Layer again(QSize(640, 480), 1.0, key);
            QCOMPARE(again.painter->itemCount(), 3);
            QCOMPARE(again.render(), before);
            QVERIFY(again.painter->canUndo());
        }
        // Next run: only the storage folder knows.
        const QString file = OrvPainter::storagePath(key);
        QVERIFY(file.startsWith(dir.path()));
        QTRY_VERIFY(QFile::exists(file));
        QFile::copy(file, file + ".keep");
        OrvPainter::discardData(key);
        QVERIFY(!QFile::exists(file));
        QFile::rename(file + ".keep", file);
        Layer next(QSize(640, 480), 1.0, key);
        QCOMPARE(next.painter->itemCount(), 3);
        QCOMPARE(next.render(), before);
        OrvPainter::discardData(key);
    }

    void damagedDataIsRefusedAndNothingIsLost_data()
    {
        QTest::addColumn<QByteArray>("data");
        const QByteArray head = "{\"format\":\"orv-annotations\",\"version\":1,\"items\":[";
        QTest::newRow("not JSON") << QByteArray("{\"format\":\"orv-annot");
        QTest::newRow("other document") << QByteArray("{\"format\":\"something\",\"version\":1,\"items\":[]}");
        QTest::newRow("future version") << QByteArray("{\"format\":\"orv-annotations\",\"version\":7,\"items\":[]}");
        QTest::newRow("unknown kind") << head + "{\"type\":\"laser\",\"pos\":[0,0]}]}";
        QTest::newRow("coordinate past any picture")
            << head + "{\"type\":\"path\",\"pos\":[0,0],\"path\":[[0,1e300,0],[1,5,5]],\"pen\":{\"color\":\"#ff000000\",\"width\":3}}]}";
        QTest::newRow("curve cut short")
            << head + "{\"type\":\"path\",\"pos\":[0,0],\"path\":[[0,1,1],[2,5,5]],\"pen\":{\"color\":\"#ff000000\",\"width\":3}}]}";
        QTest::newRow("bad colour")
            << head + "{\"type\":\"path\",\"pos\":[0,0],\"path\":[[0,1,1],[1,5,5]],\"pen\":{\"color\":\"bleu\",\"width\":3}}]}";
        QTest::newRow("text too large") << head + "{\"type\":\"text\",\"pos\":[0,0],\"text\":\"x\",\"color\":\"#ff000000\",\"size\":1e9}]}";
        QTest::newRow("picture that is not one") << head + "{\"type\":\"picture\",\"pos\":[0,0],\"png\":\"AAAA\"}]}";
        QTest::newRow("bomb picture")
            << head + "{\"type\":\"picture\",\"pos\":[0,0],\"png\":\"" + pngClaiming(30000, 30000).toBase64() + "\"}]}";
    }

    void damagedDataIsRefusedAndNothingIsLost()
    {
        QFETCH(QByteArray, data);
        Layer layer(QSize(300, 200), 1.0, QStringLiteral("damaged-key"));
        layer.painter->setTool(OrvPainter::Tool::Pen);
        layer.drag({20, 20}, {200, 150});
        const QImage before = layer.render();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("annotation data of .* refused"));
        QVERIFY(!layer.painter->setAnnotationData(data));
        QCOMPARE(layer.painter->itemCount(), 1);
        QCOMPARE(layer.render(), before);
        QVERIFY(layer.painter->canUndo());
        OrvPainter::discardData(QStringLiteral("damaged-key"));
    }

    void mutatedDocumentsAreReadOrRefusedWhole()
    {
        Layer source(QSize(400, 300), 1.0);
        OrvPainter *p = source.painter;
        p->setTool(OrvPainter::Tool::Pen);
        source.drag({20, 20}, {300, 200});
        p->setPenShape(OrvPainter::PenShape::Ellipse);
        source.drag({50, 50}, {200, 150});
        p->setTool(OrvPainter::Tool::Text);
        click(source.input(), source.at({100, 250}));
        source.type(QStringLiteral("abc 中"));
        p->finishTextEditing();
        QImage sticker(8, 8, QImage::Format_ARGB32);
        sticker.fill(Qt::blue);
        p->addPicture(sticker);
        const QByteArray good = p->annotationData();

        Layer target(QSize(400, 300), 1.0, QStringLiteral("mutations"));
        QVERIFY(target.painter->setAnnotationData(good));
        QCOMPARE(target.painter->itemCount(), 4);
        QCOMPARE(target.render(), source.render());
        // Whatever a damaged copy holds: all of it or none of it, never a crash.
        QLoggingCategory::setFilterRules(QStringLiteral("orv.painter.warning=false"));
        QRandomGenerator rng(20240611);
        int accepted = 0;
        for (int round = 0; round < 400; ++round) {
            QByteArray bad = good;
            const int flips = 1 + int(rng.bounded(4));
            for (int i = 0; i < flips; ++i)
                bad[int(rng.bounded(bad.size()))] = char(rng.bounded(256));
            if (round % 7 == 0)
                bad.truncate(int(rng.bounded(bad.size())));
            const int before = target.painter->itemCount();
            if (target.painter->setAnnotationData(bad))
                ++accepted;
            else
                QCOMPARE(target.painter->itemCount(), before);
            target.render();
        }
        QLoggingCategory::setFilterRules(QString());
        QVERIFY(accepted < 400);
        OrvPainter::discardData(QStringLiteral("mutations"));
    }

    void aDamagedFileIsKeptAsideNotOverwritten()
    {
        QTemporaryDir dir;
        OrvPainter::setStorageDirectory(dir.path());
        const QString key = QStringLiteral("damaged-file");
        {
            Layer layer(QSize(300, 200), 1.0, key);
            layer.painter->setTool(OrvPainter::Tool::Pen);
            layer.drag({20, 20}, {200, 150});
        }
        const QString file = OrvPainter::storagePath(key);
        QTRY_VERIFY(QFile::exists(file));
        QFile::copy(file, file + ".keep");
        OrvPainter::discardData(key); // as a new run
        QFile::rename(file + ".keep", file);
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("{\"format\":\"orv-annotations\",\"version\":1,\"items\":[{\"type\":\"path\"");
        f.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("refused"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("damaged annotation file kept as"));
        Layer next(QSize(300, 200), 1.0, key);
        QCOMPARE(next.painter->itemCount(), 0);
        const QStringList aside = QDir(dir.path()).entryList({"*.damaged-*"});
        QCOMPARE(aside.size(), 1);
        next.painter->setTool(OrvPainter::Tool::Pen);
        next.drag({10, 10}, {100, 100});
        QTRY_VERIFY(QFile::exists(file));
        QCOMPARE(QDir(dir.path()).entryList({"*.damaged-*"}), aside);
        OrvPainter::discardData(key);
    }

    void picturesThatCannotBePastedAreRefused()
    {
        QTemporaryDir dir;
        Layer layer(QSize(300, 200), 1.0);
        OrvPainter *p = layer.painter;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no picture to paste"));
        QVERIFY(!p->addPicture(QImage()));
        const QString bomb = dir.filePath("bomb.png");
        QFile f(bomb);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(pngClaiming(30000, 30000));
        f.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("too large to paste"));
        QVERIFY(!p->addPictureFromFile(bomb));
        const QString notes = dir.filePath("notes.png");
        QFile n(notes);
        QVERIFY(n.open(QIODevice::WriteOnly));
        n.write("not a picture");
        n.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot paste"));
        QVERIFY(!p->addPictureFromFile(notes));

        // The clipboard: text only, then pixels, then a picture file.
        QGuiApplication::clipboard()->setText(QStringLiteral("only words"));
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("holds no picture"));
        QVERIFY(!p->pasteFromClipboard());
        QImage green(40, 30, QImage::Format_RGB32);
        green.fill(Qt::green);
        QGuiApplication::clipboard()->setImage(green);
        QVERIFY(p->pasteFromClipboard());
        const QString file = dir.filePath("blue.png");
        QImage blue(40, 30, QImage::Format_RGB32);
        blue.fill(Qt::blue);
        QVERIFY(blue.save(file));
        auto *mime = new QMimeData;
        mime->setUrls({QUrl::fromLocalFile(file)});
        QGuiApplication::clipboard()->setMimeData(mime);
        QVERIFY(p->pasteFromClipboard());
        QCOMPARE(p->itemCount(), 2);
        QCOMPARE(p->undoStack()->count(), 2);
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    int status = 0;
    {
        OrvPainterDrawingTest t;
        status |= QTest::qExec(&t, argc, argv);
    }
    {
        OrvPainterTextTest t;
        status |= QTest::qExec(&t, argc, argv);
    }
    {
        OrvPainterDataTest t;
        status |= QTest::qExec(&t, argc, argv);
    }
    return status;
}

#include "tst_orvpainter.moc"
