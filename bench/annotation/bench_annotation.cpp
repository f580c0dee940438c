// SPDX-License-Identifier: LGPL-2.1-or-later
// The picture editor on a 6000 × 4000 picture fitted in a 1600 × 1000 window: one mouse move of a
// pen stroke with its repaint, the picture with 200 annotations saved as a full-size JPEG next to
// the bare picture saved the same way, and undoing 200 actions. A plain Graphics View whose path
// item grows with every move is timed in the same run for comparison.
#include "ImageGraphicsView.h"
#include "benchresults.h"
#include "imageeditor.h"
#include "imagesamples.h"
#include "orvpainter.h"
#include "orvpainteritems.h"
#include "orvpaintercomposer.h"
#include <QThreadPool>
#include <QThread>

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QGraphicsPathItem>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QImageWriter>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

using OrvPainterBase::OrvPainter;

namespace {

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

double ms(const QElapsedTimer &t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

void idle(int msecs)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < msecs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

void send(QWidget *target, QEvent::Type type, const QPoint &pos, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, target->mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

// Paints what the last event left to paint, as the event loop would before the next one.
void flushPaint()
{
    // Scene changes are queued first; they post the repaint.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents();
}

// A zigzag across most of a widget, one point per move.
QVector<QPoint> strokePoints(const QSize &area, int moves)
{
    QVector<QPoint> points;
    const int left = area.width() / 10, right = area.width() * 9 / 10;
    const int top = area.height() / 5, bottom = area.height() * 4 / 5;
    for (int i = 0; i <= moves; ++i) {
        const double t = double(i) / moves;
        const int x = left + int((right - left) * t);
        const int y = (i / 25) % 2 ? bottom - int((bottom - top) * ((i % 25) / 25.0)) : top + int((bottom - top) * ((i % 25) / 25.0));
        points.append(QPoint(x, y));
    }
    return points;
}

struct PaintCounter : QObject
{
    int paints = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return false;
    }
};

// Moves of one stroke on target; each move's time with its repaint.
std::vector<double> timeStroke(QWidget *target, const QVector<QPoint> &points, int *paints)
{
    PaintCounter counter;
    target->installEventFilter(&counter);
    std::vector<double> times;
    send(target, QEvent::MouseButtonPress, points.first(), Qt::LeftButton, Qt::LeftButton);
    flushPaint();
    for (int i = 1; i < points.size(); ++i) {
        QElapsedTimer t;
        t.start();
        send(target, QEvent::MouseMove, points.at(i), Qt::NoButton, Qt::LeftButton);
        flushPaint();
        times.push_back(ms(t));
    }
    send(target, QEvent::MouseButtonRelease, points.last(), Qt::LeftButton, Qt::NoButton);
    flushPaint();
    target->removeEventFilter(&counter);
    *paints = counter.paints;
    return times;
}

// The same stroke drawn the plain way: one path item set anew at every move.
class PlainStrokeView : public QGraphicsView
{
public:
    PlainStrokeView(const QPixmap &picture, double scale)
    {
        setScene(&m_scene);
        auto *item = m_scene.addPixmap(picture);
        item->setTransformationMode(Qt::SmoothTransformation);
        item->setScale(scale);
        m_scene.setSceneRect(item->sceneBoundingRect());
        m_path = m_scene.addPath(QPainterPath(), QPen(Qt::red, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    }

protected:
    void mousePressEvent(QMouseEvent *e) override { m_line = QPainterPath(mapToScene(e->pos())); }
    void mouseMoveEvent(QMouseEvent *e) override
    {
        m_line.lineTo(mapToScene(e->pos()));
        m_path->setPath(m_line);
    }

private:
    QGraphicsScene m_scene;
    QGraphicsPathItem *m_path = nullptr;
    QPainterPath m_line;
};

// 200 annotations of every kind over the picture, each one undo step.
void annotate(OrvPainter *painter, const QSize &picture, int count)
{
    QRandomGenerator rng(42);
    auto point = [&] { return QPointF(rng.bounded(picture.width()), rng.bounded(picture.height())); };
    const QColor colors[] = {QColor("#F33B1F"), QColor("#2F7BFF"), QColor("#2BC66E"), QColor("#FFD21F")};
    QImage sticker(300, 200, QImage::Format_ARGB32_Premultiplied);
    sticker.fill(QColor(255, 255, 255, 200));
    for (int i = 0; i < count; ++i) {
        const QColor color = colors[i % 4];
        const QPen pen(color, 12, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        switch (i % 6) {
        case 0: {
            QPainterPath free(point());
            for (int k = 0; k < 40; ++k)
                free.lineTo(free.currentPosition() + QPointF(rng.bounded(60) - 30, rng.bounded(60) - 30));
            painter->addItem(new OrvPainterBase::PathAnnotation(free, pen));
            break;
        }
        case 1: {
            QPainterPath line(point());
            line.lineTo(point());
            painter->addItem(new OrvPainterBase::PathAnnotation(line, pen));
            break;
        }
        case 2: {
            QPainterPath rect;
            rect.addRect(QRectF(point(), QSizeF(400, 250)));
            painter->addItem(new OrvPainterBase::PathAnnotation(rect, pen));
            break;
        }
        case 3: {
            QPainterPath ellipse;
            ellipse.addEllipse(QRectF(point(), QSizeF(300, 300)));
            painter->addItem(new OrvPainterBase::PathAnnotation(ellipse, pen));
            break;
        }
        case 4: {
            auto *text = new OrvPainterBase::TextAnnotation(color, 64);
            text->setPlainText(QStringLiteral("第%1题 answer").arg(i));
            text->setPos(point());
            painter->addItem(text);
            break;
        }
        default:
            if (i % 30 == 5)
                painter->addPicture(sticker, point());
            else {
                QPainterPath arrow(point());
                arrow.lineTo(arrow.currentPosition() + QPointF(300, -200));
                painter->addItem(new OrvPainterBase::PathAnnotation(arrow, pen, QBrush(color)));
            }
            break;
        }
    }
}

// Processor time of the whole process (all threads), in ms.
double cpuMs()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec * 1e3 + usage.ru_utime.tv_usec / 1e3 + usage.ru_stime.tv_sec * 1e3
        + usage.ru_stime.tv_usec / 1e3;
}

bool savePlain(const QPixmap &picture, const QString &path)
{
    QSaveFile file(path);
    QImageWriter writer(&file, "jpeg");
    writer.setQuality(95);
    return file.open(QIODevice::WriteOnly) && writer.write(picture.toImage()) && file.commit();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("orv.*.info=false"));
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Write the results to FILE."),
                                        QStringLiteral("file"));
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Runs of the save and undo measures (default 5)."),
                                        QStringLiteral("n"), QStringLiteral("5"));
    parser.addOptions({jsonOption, runsOption});
    parser.process(app);
    const int runs = qMax(3, parser.value(runsOption).toInt());
    const int moves = 200;
    const int annotations = 200;

    QTemporaryDir dir;
    const QSize size(6000, 4000);
    std::printf("making a %dx%d picture...\n", size.width(), size.height());
    const QPixmap picture = QPixmap::fromImage(ImageSamples::cameraLike(size, 9).convertToFormat(QImage::Format_RGB32));

    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->showImage(QString(), picture, false, nullptr);
    editor->setGeometry(QRect(0, 0, 1600, 1000));
    if (!QTest::qWaitForWindowExposed(editor))
        std::fprintf(stderr, "the editor was not shown\n");
    idle(300);
    editor->onAdapt();
    idle(1500); // reduced copies for drawing the picture small
    OrvPainter *painter = editor->view()->getPainter();
    painter->setTool(OrvPainter::Tool::Pen);
    painter->setPenWidth(4);
    const QVector<QPoint> points = strokePoints(painter->size().boundedTo(editor->view()->viewport()->size()), moves);
    int paints = 0;
    timeStroke(painter->viewport(), points, &paints); // warm-up
    painter->undo();
    const std::vector<double> stroke = timeStroke(painter->viewport(), points, &paints);
    const double strokeMs = median(stroke);
    std::vector<double> sorted = stroke;
    std::sort(sorted.begin(), sorted.end());
    const double strokeP90 = sorted[sorted.size() * 9 / 10];
    painter->undo();

    // The plain way, in a window of the same size and scale.
    PlainStrokeView plain(picture, editor->view()->getImageScale());
    plain.setGeometry(QRect(0, 0, editor->view()->width(), editor->view()->height()));
    plain.show();
    if (!QTest::qWaitForWindowExposed(&plain))
        std::fprintf(stderr, "the plain view was not shown\n");
    idle(300);
    int plainPaints = 0;
    const std::vector<double> plainStroke = timeStroke(plain.viewport(), points, &plainPaints);
    plain.hide();

    // Saves: 200 annotations against none, the same picture, the same writer settings.
    annotate(painter, size, annotations);
    std::vector<double> annotated, bare, annotatedCpu, bareCpu;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        double cpu = cpuMs();
        const bool ok = editor->view()->saveImage(dir.filePath(QStringLiteral("annotated.jpg")));
        annotated.push_back(ms(t));
        annotatedCpu.push_back(cpuMs() - cpu);
        t.restart();
        cpu = cpuMs();
        const bool plainOk = savePlain(picture, dir.filePath(QStringLiteral("plain.jpg")));
        bare.push_back(ms(t));
        bareCpu.push_back(cpuMs() - cpu);
        if (!ok || !plainOk)
            std::fprintf(stderr, "a save failed\n");
    }
    // ORV_BENCH_DETAIL=1: where the save's time goes (composing on one thread, copying alone).
    if (qEnvironmentVariableIsSet("ORV_BENCH_DETAIL")) {
        QElapsedTimer t;
        t.start();
        const QImage r = editor->view()->renderImage();
        std::printf("render alone %.1f ms\n", ms(t));
        QThreadPool::globalInstance()->setMaxThreadCount(1);
        for (int k = 0; k < 3; ++k) {
            t.restart();
            OrvPainterBase::AnnotationComposer with(painter->annotationScene(), size, size);
            const double built = ms(t);
            t.restart();
            with.compose(picture.toImage(), QImage::Format_RGB32);
            const double composed = ms(t);
            OrvPainterBase::AnnotationComposer without(nullptr, size, size);
            t.restart();
            without.compose(picture.toImage(), QImage::Format_RGB32);
            std::printf("one thread: built %.1f, composed %.1f, copy only %.1f\n", built, composed, ms(t));
        }
        QThreadPool::globalInstance()->setMaxThreadCount(QThread::idealThreadCount());
        t.restart();
        QImage copy = picture.toImage();
        copy.detach();
        std::printf("copy alone %.1f ms (%d)\n", ms(t), copy.format());
    }
    const QImage check(dir.filePath(QStringLiteral("annotated.jpg")));
    if (check.size() != size)
        std::fprintf(stderr, "the annotated picture is %dx%d\n", check.width(), check.height());

    // Undo of the 200 actions (and redo, to undo them again in the next run).
    std::vector<double> undo;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        for (int k = 0; k < annotations; ++k)
            painter->undo();
        flushPaint();
        undo.push_back(ms(t));
        if (painter->itemCount() != 0)
            std::fprintf(stderr, "undo left %d annotations\n", painter->itemCount());
        for (int k = 0; k < annotations; ++k)
            painter->redo();
        flushPaint();
    }

    const double annotatedMs = median(annotated);
    const double plainMs = median(bare);
    const double undoMs = median(undo);
    std::printf("\n%-28s %10s %12s\n", "measure", "median ms", "target");
    std::printf("%-28s %10.2f %12s\n", "stroke_move_ms", strokeMs, "<= 8");
    std::printf("%-28s %10.2f %12s\n", "  p90", strokeP90, "-");
    std::printf("%-28s %10.2f %12s\n", "  plain path item (baseline)", median(plainStroke), "-");
    std::printf("%-28s %10.1f %12s\n", "save_annotated_ms", annotatedMs, "<= 1.3 plain");
    std::printf("%-28s %10.1f %12s\n", "plain_save_ms", plainMs, "-");
    std::printf("%-28s %10.2f %12s\n", "  ratio", annotatedMs / plainMs, "<= 1.3");
    std::printf("%-28s %10.1f %12s\n", "  processor time, annotated", median(annotatedCpu), "-");
    std::printf("%-28s %10.1f %12s\n", "  processor time, plain", median(bareCpu), "-");
    std::printf("%-28s %10.1f %12s\n", "undo_200_ms", undoMs, "-");
    std::printf("(%d moves painted %d times; the plain view %d; %d runs of the saves and undos)\n", moves, paints,
                plainPaints, runs);

    if (parser.isSet(jsonOption)) {
        const QJsonObject metrics{{QStringLiteral("stroke_move_ms"), strokeMs},
                                  {QStringLiteral("stroke_move_p90_ms"), strokeP90},
                                  {QStringLiteral("plain_stroke_move_ms"), median(plainStroke)},
                                  {QStringLiteral("save_annotated_ms"), annotatedMs},
                                  {QStringLiteral("plain_save_ms"), plainMs},
                                  {QStringLiteral("save_ratio"), annotatedMs / plainMs},
                                  {QStringLiteral("save_annotated_cpu_ms"), median(annotatedCpu)},
                                  {QStringLiteral("plain_save_cpu_ms"), median(bareCpu)},
                                  {QStringLiteral("undo_200_ms"), undoMs}};
        if (!Bench::writeJson(parser.value(jsonOption), QJsonObject{{QStringLiteral("metrics"), metrics}}))
            return 1;
    }
    ImageEditor::release();
    return 0;
}
