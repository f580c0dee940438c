// SPDX-License-Identifier: LGPL-2.1-or-later
// Picture windows on 24-megapixel camera-like JPEGs: opening one in the preview (load to first
// paint), one zoom step in the viewer, the next picture of a path list; next to a plain QImage
// load of the same file in the same run.
#include "ImagePreview.h"
#include "ImageViewer.h"
#include "benchresults.h"
#include "imagesamples.h"
#include "orvutils.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGraphicsView>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdio>

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

// Lets queued work (decodes ahead, sharper replacements) land, as a person looking would.
void idle(int msecs)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < msecs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
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
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Runs of each measure (default 7)."),
                                        QStringLiteral("n"), QStringLiteral("7"));
    parser.addOptions({jsonOption, runsOption});
    parser.process(app);
    const int runs = qMax(3, parser.value(runsOption).toInt());

    QTemporaryDir dir;
    std::printf("writing ten 6000 x 4000 camera-like JPEGs...\n");
    std::fflush(stdout);
    QList<QString> paths;
    for (int i = 0; i < 10; ++i) {
        const QString path = dir.filePath(QStringLiteral("camera%1.jpg").arg(i));
        ImageSamples::writeFile(path, ImageSamples::encode(ImageSamples::cameraLike({6000, 4000}, quint32(100 + i)), "jpg", 90));
        paths << path;
    }
    const QString photo = paths.first();
    const qint64 fileBytes = QFileInfo(photo).size();

    // Baseline: the plain decode of the whole picture.
    std::vector<double> fullDecode;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        QImage image(photo);
        fullDecode.push_back(ms(t));
        if (image.size() != QSize(6000, 4000))
            std::fprintf(stderr, "baseline decode gave %dx%d\n", image.width(), image.height());
    }

    // Open: load() of the path to the first paint of the picture.
    std::vector<double> open;
    std::vector<double> loadOnly;
    std::vector<double> sharp;
    for (int i = 0; i < runs; ++i) {
        ImagePreview preview;
        preview.resize(1280, 860);
        preview.show();
        if (!QTest::qWaitForWindowExposed(&preview))
            std::fprintf(stderr, "window not exposed\n");
        QPixmap other(64, 64);
        other.fill(Qt::gray);
        preview.load(other);
        idle(50);
        QElapsedTimer t;
        t.start();
        preview.load(photo, QString());
        const double loaded = ms(t);
        preview.view()->viewport()->repaint();
        open.push_back(ms(t));
        loadOnly.push_back(loaded);
        while (preview.pixmap().width() < preview.pictureSize().width() && t.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        sharp.push_back(ms(t));
    }

    // Paging through ten pictures, looking at each for a moment.
    std::vector<double> page;
    {
        ImagePreview preview;
        preview.resize(1280, 860);
        preview.show();
        if (!QTest::qWaitForWindowExposed(&preview))
            std::fprintf(stderr, "window not exposed\n");
        preview.load(0, paths);
        idle(600);
        for (int i = 1; i < paths.size(); ++i) {
            QElapsedTimer t;
            t.start();
            preview.onNext();
            preview.view()->viewport()->repaint();
            page.push_back(ms(t));
            idle(600);
        }
    }

    // One zoom step of the full-size picture in the viewer, repaint included.
    std::vector<double> zoom;
    {
        ImageViewer viewer;
        viewer.resize(1280, 800);
        viewer.show();
        if (!QTest::qWaitForWindowExposed(&viewer))
            std::fprintf(stderr, "window not exposed\n");
        viewer.loadPixmap(OrvUtils::loadFromPath(photo));
        idle(1500); // the reduced copies for drawing small
        const QPoint centre = viewer.viewport()->rect().center();
        for (int i = 0; i < 50; ++i) {
            QElapsedTimer t;
            t.start();
            if (i < 25)
                viewer.zoominImage(centre);
            else
                viewer.zoomoutImage(centre);
            viewer.viewport()->repaint();
            zoom.push_back(ms(t));
        }
    }

    const double full = median(fullDecode);
    const double openMs = median(open);
    const double zoomMs = median(zoom);
    const double pageMs = median(page);
    std::printf("\n%-28s %10s %10s\n", "measure", "median ms", "target");
    std::printf("%-28s %10.1f %10s\n", "full_decode_24mp_ms", full, "baseline");
    std::printf("%-28s %10.1f %10.1f\n", "open_24mp_ms", openMs, 0.5 * full);
    std::printf("%-28s %10.1f %10s\n", "open_sharp_24mp_ms", median(sharp), "-");
    std::printf("%-28s %10.1f %10s\n", "  of which load()", median(loadOnly), "-");
    std::printf("%-28s %10.1f %10.1f\n", "zoom_step_ms", zoomMs, 16.0);
    std::printf("%-28s %10.1f %10.1f\n", "page_step_ms", pageMs, 0.5 * full);
    std::printf("file: %lld bytes, %d runs\n", fileBytes, runs);

    if (parser.isSet(jsonOption)) {
        const QJsonObject metrics{{QStringLiteral("open_24mp_ms"), openMs},
                                  {QStringLiteral("full_decode_24mp_ms"), full},
                                  {QStringLiteral("zoom_step_ms"), zoomMs},
                                  {QStringLiteral("page_step_ms"), pageMs},
                                  {QStringLiteral("open_sharp_24mp_ms"), median(sharp)},
                                  {QStringLiteral("open_over_full_decode"), openMs / full},
                                  {QStringLiteral("page_over_full_decode"), pageMs / full}};
        QJsonObject results{{QStringLiteral("metrics"), metrics},
                            {QStringLiteral("file_bytes"), double(fileBytes)},
                            {QStringLiteral("runs"), runs}};
        if (!Bench::writeJson(parser.value(jsonOption), results))
            return 1;
    }
    return 0;
}
