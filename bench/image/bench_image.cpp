// SPDX-License-Identifier: LGPL-2.1-or-later
// Picture windows on 24-megapixel camera-like JPEGs: opening one in the preview (load to first
// paint), one zoom step in the viewer, the next picture of a path list; next to a plain QImage
// load of the same file in the same run. The opening is measured once more on the same picture
// written with restart markers, as many cameras' encoders write them.
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
#include <ctime>

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

// Processor time of the calling thread, in ms.
double threadCpuMs()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
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

    // The first picture once more, with a restart marker at every row of blocks.
    const QString photoRst = dir.filePath(QStringLiteral("camera-rst.jpg"));
    {
        ImageSamples::JpegLayout layout;
        layout.quality = 90;
        layout.restartRows = 1;
        ImageSamples::writeFile(photoRst, ImageSamples::encodeJpeg(ImageSamples::cameraLike({6000, 4000}, 100), layout));
    }

    struct Open
    {
        std::vector<double> full, fullCpu, open, openCpu, loadOnly, sharp;
        int bands = 0;
    };
    auto measure = [runs](const QString &path) {
        Open m;
        // Baseline: the plain decode of the whole picture.
        for (int i = 0; i < runs; ++i) {
            QElapsedTimer t;
            t.start();
            const double cpu = threadCpuMs();
            QImage image(path);
            m.full.push_back(ms(t));
            m.fullCpu.push_back(threadCpuMs() - cpu);
            if (image.size() != QSize(6000, 4000))
                std::fprintf(stderr, "baseline decode gave %dx%d\n", image.width(), image.height());
        }
        // Open: load() of the path to the first paint of the picture.
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
            const double cpu = threadCpuMs();
            preview.load(path, QString());
            const double loaded = ms(t);
            preview.view()->viewport()->repaint();
            m.open.push_back(ms(t));
            m.openCpu.push_back(threadCpuMs() - cpu);
            m.loadOnly.push_back(loaded);
            while (preview.pixmap().width() < preview.pictureSize().width() && t.elapsed() < 10000)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            m.sharp.push_back(ms(t));
        }
        OrvUtils::DecodeInfo info;
        OrvUtils::loadQuickPreview(path, QSize(1200, 780), &info);
        m.bands = info.bands;
        return m;
    };
    const Open plainOpen = measure(photo);
    const Open rstOpen = measure(photoRst);
    const std::vector<double> &fullDecode = plainOpen.full;
    const std::vector<double> &open = plainOpen.open;
    const std::vector<double> &loadOnly = plainOpen.loadOnly;
    const std::vector<double> &sharp = plainOpen.sharp;

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
    std::printf("%-28s %10.1f %10s\n", "  processor time, full", median(plainOpen.fullCpu), "-");
    std::printf("%-28s %10.1f %10.1f\n", "  processor time, open", median(plainOpen.openCpu), 0.5 * median(plainOpen.fullCpu));
    std::printf("%-28s %10.1f %10s\n", "full_decode_24mp_rst_ms", median(rstOpen.full), "baseline");
    std::printf("%-28s %10.1f %10.1f\n", "open_24mp_rst_ms", median(rstOpen.open), 0.5 * median(rstOpen.full));
    std::printf("%-28s %10.1f %10s\n", "  processor time, full", median(rstOpen.fullCpu), "-");
    std::printf("%-28s %10.1f %10s\n", "  processor time, open", median(rstOpen.openCpu), "-");
    std::printf("%-28s %10.1f %10s\n", "  sharp", median(rstOpen.sharp), "-");
    std::printf("%-28s %10d %10s\n", "  bands of the first picture", rstOpen.bands, "-");
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
                                  {QStringLiteral("full_decode_24mp_cpu_ms"), median(plainOpen.fullCpu)},
                                  {QStringLiteral("open_24mp_cpu_ms"), median(plainOpen.openCpu)},
                                  {QStringLiteral("full_decode_24mp_rst_ms"), median(rstOpen.full)},
                                  {QStringLiteral("open_24mp_rst_ms"), median(rstOpen.open)},
                                  {QStringLiteral("open_rst_over_full_decode"), median(rstOpen.open) / median(rstOpen.full)},
                                  {QStringLiteral("full_decode_24mp_rst_cpu_ms"), median(rstOpen.fullCpu)},
                                  {QStringLiteral("open_24mp_rst_cpu_ms"), median(rstOpen.openCpu)},
                                  {QStringLiteral("page_over_full_decode"), pageMs / full}};
        QJsonObject results{{QStringLiteral("metrics"), metrics},
                            {QStringLiteral("file_bytes"), double(fileBytes)},
                            {QStringLiteral("runs"), runs}};
        if (!Bench::writeJson(parser.value(jsonOption), results))
            return 1;
    }
    return 0;
}
