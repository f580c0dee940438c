// SPDX-License-Identifier: LGPL-2.1-or-later
// Screen capture on Xvfb at 1920 x 1080 and 3840 x 2160: from start() to the overlay painted
// with its grab, next to a bare QScreen::grabWindow(0) in the same run; one mouse move while
// drawing the band, repaint included; the window under the pointer among 200 open windows; the
// picture editor's tools on a selection of nearly the whole screen (opened, a pen stroke, OK
// with and without drawings).
//
// Without --child it starts an Xvfb of each size itself and runs itself there.
#include "ImageGraphicsView.h"
#include "ImageSelectionEditor.h"
#include "RubberBand.h"
#include "ScreenshotWidget.h"
#include "benchresults.h"
#include "screenplatform.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QPainter>
#include <QProcess>
#include <QRandomGenerator>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <QX11Info>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include <xcb/xcb.h>

using ScreenShot::ScreenshotWidget;

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

/// Until the X server has done everything asked so far.
void xsync()
{
    free(xcb_get_input_focus_reply(QX11Info::connection(), xcb_get_input_focus(QX11Info::connection()), nullptr));
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs = 10000)
{
    QElapsedTimer t;
    t.start();
    while (!condition()) {
        if (t.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

void settle(int msecs)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < msecs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

void send(QWidget *w, QEvent::Type type, const QPoint &global, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, w->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &event);
}

/// A desktop of something to look at: a full-screen picture and 200 small windows over it.
class Desktop
{
public:
    explicit Desktop(QScreen *screen)
    {
        const QRect g = screen->geometry();
        m_background = std::make_unique<QLabel>();
        QPixmap picture(g.size());
        {
            QPainter p(&picture);
            QLinearGradient gradient(g.topLeft(), g.bottomRight());
            gradient.setColorAt(0, QColor(40, 90, 160));
            gradient.setColorAt(1, QColor(220, 180, 90));
            p.fillRect(picture.rect(), gradient);
        }
        m_background->setPixmap(picture);
        m_background->setWindowFlags(Qt::FramelessWindowHint);
        m_background->setGeometry(g);
        m_background->show();
        const int columns = 20;
        const QSize cell(g.width() / columns, g.height() / 10);
        for (int i = 0; i < 200; ++i) {
            auto window = std::make_unique<QLabel>(QStringLiteral("window %1").arg(i));
            window->setWindowFlags(Qt::FramelessWindowHint);
            window->setAutoFillBackground(true);
            // Overlapping, so the topmost one decides.
            window->setGeometry(QRect(g.topLeft() + QPoint((i % columns) * cell.width(), (i / columns) * cell.height()),
                                      cell + QSize(cell.width() / 2, cell.height() / 2)));
            window->show();
            m_windows.push_back(std::move(window));
        }
        waitFor([this] {
            return std::all_of(m_windows.begin(), m_windows.end(), [](const auto &w) { return w->isVisible(); });
        });
        settle(500);
    }

private:
    std::unique_ptr<QLabel> m_background;
    std::vector<std::unique_ptr<QLabel>> m_windows;
};

QJsonObject measure(int runs, int moves)
{
    QScreen *screen = QGuiApplication::primaryScreen();
    Desktop desktop(screen);
    QJsonObject m;

    // Bare grab: the least any capture needs.
    std::vector<double> grabs;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        const QPixmap pic = screen->grabWindow(0);
        grabs.push_back(ms(t));
        if (pic.isNull())
            std::fprintf(stderr, "null grab\n");
    }
    m[QStringLiteral("grab_ms")] = median(grabs);

    // start() to the overlay painted with the grab, on the server.
    std::vector<double> starts;
    for (int i = 0; i < runs; ++i) {
        double shownAt = -1;
        QElapsedTimer t;
        t.start();
        ScreenshotWidget::start(QSize(), true, false, false, [](int) {});
        for (ScreenshotWidget *o : ScreenshotWidget::overlays()) {
            // After the paint's flush; then until the X server has it on the screen.
            QObject::connect(o, &ScreenshotWidget::shown, o, [&t, &shownAt] {
                xsync();
                shownAt = ms(t);
            });
        }
        if (!waitFor([&shownAt] { return shownAt >= 0; }))
            std::fprintf(stderr, "overlay never shown\n");
        starts.push_back(shownAt);
        ScreenshotWidget::cancelAll();
        waitFor([] { return !ScreenshotWidget::isCapturing(); });
        settle(300);
    }
    m[QStringLiteral("start_to_shown_ms")] = median(starts);

    ScreenshotWidget::start(QSize(), true, false, false, [](int) {});
    waitFor([] {
        const auto o = ScreenshotWidget::overlays();
        return !o.isEmpty() && o.first()->hasGrab() && o.first()->isVisible();
    });
    settle(200);
    ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
    const QRect g = screen->geometry();

    // The window under the pointer: the list as the overlay took it, searched at random points.
    const QVector<OrvScreen::WindowInfo> windows = overlay->windowList();
    std::vector<double> lookups;
    std::vector<double> hovers;
    auto *random = QRandomGenerator::global();
    int found = 0;
    for (int i = 0; i < moves; ++i) {
        const QPoint p(g.left() + random->bounded(g.width()), g.top() + random->bounded(g.height()));
        QElapsedTimer t;
        t.start();
        found += OrvScreen::windowAt(windows, p) >= 0;
        lookups.push_back(ms(t));
        // The same as the overlay does it: hover, outline repainted.
        t.restart();
        send(overlay, QEvent::MouseMove, p, Qt::NoButton, Qt::NoButton);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
        xsync();
        hovers.push_back(ms(t));
    }
    m[QStringLiteral("snap_lookup_ms")] = median(lookups);
    m[QStringLiteral("snap_hover_ms")] = median(hovers);
    m[QStringLiteral("windows_listed")] = windows.size();
    std::vector<double> listings;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        OrvScreen::windowList(screen);
        listings.push_back(ms(t));
    }
    m[QStringLiteral("window_list_ms")] = median(listings);
    if (found == 0)
        std::fprintf(stderr, "no window found under the pointer\n");

    // Drawing the band: one move, repainted and on the server.
    const QPoint from = g.topLeft() + QPoint(50, 40);
    send(overlay, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    std::vector<double> drags;
    for (int i = 1; i <= moves; ++i) {
        const QPoint to = from + QPoint((i * 9) % (g.width() - 100), (i * 5) % (g.height() - 80));
        QElapsedTimer t;
        t.start();
        send(overlay, QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
        xsync();
        drags.push_back(ms(t));
    }
    m[QStringLiteral("drag_repaint_ms")] = median(drags);
    send(overlay, QEvent::MouseButtonRelease, from + QPoint(300, 200), Qt::LeftButton, Qt::NoButton);
    ScreenshotWidget::cancelAll();
    waitFor([] { return !ScreenshotWidget::isCapturing(); });
    return m;
}

/// The picture editor's tools on a selection of nearly the whole screen: the first tool opened
/// (the editor made over the selection, shown), one pen move (repainted, on the server), and OK
/// (clipboard and JPEG) with and without drawings.
void measureTools(QJsonObject &m, int runs, int moves)
{
    QScreen *screen = QGuiApplication::primaryScreen();
    const QRect g = screen->geometry();
    const QRect band = g.adjusted(100, 100, -100, -100);
    std::vector<double> opens, penMoves, okPlain, okDrawn;
    for (int run = 0; run < runs; ++run) {
        for (const bool draw : {false, true}) {
            ScreenshotWidget::start(QSize(), false, false, false, [](int) {});
            waitFor([] {
                const auto o = ScreenshotWidget::overlays();
                return !o.isEmpty() && o.first()->hasGrab() && o.first()->isVisible();
            });
            settle(100);
            ScreenshotWidget *overlay = ScreenshotWidget::overlays().first();
            send(overlay, QEvent::MouseButtonPress, band.topLeft(), Qt::LeftButton, Qt::LeftButton);
            send(overlay, QEvent::MouseMove, band.bottomRight(), Qt::NoButton, Qt::LeftButton);
            send(overlay, QEvent::MouseButtonRelease, band.bottomRight(), Qt::LeftButton, Qt::NoButton);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
            xsync();
            settle(100);
            if (draw) {
                auto *pen = overlay->toolBar()->findChild<QAbstractButton *>(QStringLiteral("penBtn"));
                QElapsedTimer t;
                t.start();
                pen->click();
                QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
                xsync();
                opens.push_back(ms(t));
                auto *editor = dynamic_cast<ScreenShot::ImageSelectionEditor *>(overlay->selectionEditor());
                QWidget *input = editor->imageView()->getPainter()->viewport();
                auto at = [input](const QPoint &p, QEvent::Type type, Qt::MouseButton b, Qt::MouseButtons bs) {
                    QMouseEvent event(type, p, input->mapToGlobal(p), b, bs, Qt::NoModifier);
                    QCoreApplication::sendEvent(input, &event);
                };
                const QPoint from(40, 40);
                at(from, QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton);
                const int count = run == 0 ? moves : 20;
                QPoint p = from;
                for (int i = 1; i <= count; ++i) {
                    p = from + QPoint((i * 7) % (band.width() - 80), (i * 13) % (band.height() - 80));
                    t.restart();
                    at(p, QEvent::MouseMove, Qt::NoButton, Qt::LeftButton);
                    QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
                    xsync();
                    penMoves.push_back(ms(t));
                }
                at(p, QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton);
                settle(100);
            }
            QElapsedTimer t;
            t.start();
            overlay->ok();
            (draw ? okDrawn : okPlain).push_back(ms(t));
            waitFor([] { return !ScreenshotWidget::isCapturing(); });
            settle(300);
        }
    }
    m[QStringLiteral("tool_open_ms")] = median(opens);
    m[QStringLiteral("pen_move_ms")] = median(penMoves);
    m[QStringLiteral("ok_plain_ms")] = median(okPlain);
    m[QStringLiteral("ok_annotated_ms")] = median(okDrawn);
}

/// An Xvfb of `size`, on a display it picks itself.
class Server
{
public:
    explicit Server(const QSize &size)
    {
        m_file = m_dir.filePath(QStringLiteral("display"));
        m_process.start(QStringLiteral("sh"),
                        {QStringLiteral("-c"), QStringLiteral("exec Xvfb -nolisten tcp -screen 0 %1x%2x24 -displayfd 3 3>\"%3\"")
                                                   .arg(size.width())
                                                   .arg(size.height())
                                                   .arg(m_file)});
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < 10000) {
            QFile f(m_file);
            if (f.open(QIODevice::ReadOnly)) {
                const QByteArray number = f.readAll().trimmed();
                if (!number.isEmpty()) {
                    m_display = QStringLiteral(":") + QString::fromLatin1(number);
                    break;
                }
            }
            QThread::msleep(20);
        }
    }
    ~Server()
    {
        m_process.terminate();
        m_process.waitForFinished(3000);
    }
    QString display() const { return m_display; }

private:
    QTemporaryDir m_dir;
    QString m_file;
    QProcess m_process;
    QString m_display;
};

int runChild(int runs, int moves)
{
    QLoggingCategory::setFilterRules(QStringLiteral("orv.*.info=false"));
    QJsonObject m = measure(runs, moves);
    measureTools(m, runs, moves);
    std::printf("%s\n", QJsonDocument(m).toJson(QJsonDocument::Compact).constData());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const bool child = std::any_of(argv + 1, argv + argc, [](const char *a) { return qstrcmp(a, "--child") == 0; });
    if (!child)
        qputenv("QT_QPA_PLATFORM", "offscreen"); // the parent only starts servers
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Write the results here."), QStringLiteral("file"));
    QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Starts and grabs per size."), QStringLiteral("n"),
                                  QStringLiteral("7"));
    QCommandLineOption movesOption(QStringLiteral("moves"), QStringLiteral("Mouse moves per size."), QStringLiteral("n"),
                                   QStringLiteral("200"));
    QCommandLineOption childOption(QStringLiteral("child"), QStringLiteral("Measure on the current display."));
    parser.addOptions({jsonOption, runsOption, movesOption, childOption});
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());
    const int moves = std::max(1, parser.value(movesOption).toInt());
    if (parser.isSet(childOption))
        return runChild(runs, moves);

    struct Size { QSize size; const char *suffix; };
    QJsonObject metrics;
    for (const Size &s : {Size {QSize(1920, 1080), "_1080"}, Size {QSize(3840, 2160), "_2160"}}) {
        Server server(s.size);
        if (server.display().isEmpty()) {
            std::fprintf(stderr, "Xvfb %dx%d did not start\n", s.size.width(), s.size.height());
            return 1;
        }
        QTemporaryDir tmp;
        QProcess measure;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), server.display());
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        env.insert(QStringLiteral("TMPDIR"), tmp.path());
        env.remove(QStringLiteral("QT_SCALE_FACTOR"));
        measure.setProcessEnvironment(env);
        measure.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        measure.start(QCoreApplication::applicationFilePath(),
                      {QStringLiteral("--child"), QStringLiteral("--runs"), QString::number(runs), QStringLiteral("--moves"),
                       QString::number(moves)});
        if (!measure.waitForFinished(600000) || measure.exitCode() != 0) {
            std::fprintf(stderr, "measuring at %dx%d failed\n", s.size.width(), s.size.height());
            return 1;
        }
        const QJsonObject m = QJsonDocument::fromJson(measure.readAllStandardOutput().trimmed().split('\n').last()).object();
        for (auto it = m.begin(); it != m.end(); ++it)
            metrics[it.key() + QLatin1String(s.suffix)] = it.value();
    }

    std::printf("%-22s %12s %12s   %s\n", "", "1920x1080", "3840x2160", "target");
    auto row = [&metrics](const char *name, const QString &target) {
        std::printf("%-22s %12.2f %12.2f   %s\n", name, metrics[QStringLiteral("%1_1080").arg(QLatin1String(name))].toDouble(),
                    metrics[QStringLiteral("%1_2160").arg(QLatin1String(name))].toDouble(), qPrintable(target));
    };
    row("grab_ms", QStringLiteral("(baseline)"));
    row("start_to_shown_ms", QStringLiteral("<= grab_ms + 50"));
    row("drag_repaint_ms", QStringLiteral("<= 8"));
    row("snap_lookup_ms", QStringLiteral("<= 1"));
    row("snap_hover_ms", QStringLiteral("(lookup, outline repainted)"));
    row("window_list_ms", QStringLiteral("(200 windows read from X)"));
    row("windows_listed", QString());
    row("tool_open_ms", QStringLiteral("(first tool: editor over the selection)"));
    row("pen_move_ms", QStringLiteral("(one pen move, repainted)"));
    row("ok_plain_ms", QStringLiteral("(OK: clipboard and JPEG)"));
    row("ok_annotated_ms", QStringLiteral("(the same with a pen stroke)"));
    bool met = true;
    for (const char *suffix : {"_1080", "_2160"}) {
        const QString s = QLatin1String(suffix);
        met = met && metrics[QStringLiteral("start_to_shown_ms") + s].toDouble() <= metrics[QStringLiteral("grab_ms") + s].toDouble() + 50
            && metrics[QStringLiteral("drag_repaint_ms") + s].toDouble() <= 8 && metrics[QStringLiteral("snap_lookup_ms") + s].toDouble() <= 1;
    }
    std::printf("targets %s\n", met ? "met" : "NOT met");
    if (parser.isSet(jsonOption)
        && !Bench::writeJson(parser.value(jsonOption), QJsonObject {{QStringLiteral("metrics"), metrics},
                                                                     {QStringLiteral("runs"), runs},
                                                                     {QStringLiteral("moves"), moves}}))
        return 1;
    return 0;
}
