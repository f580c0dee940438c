// SPDX-License-Identifier: LGPL-2.1-or-later
// The demo host: loads a world into the reference engines and shows the library's components.
#include "demopage.h"
#include "gallerywindow.h"

#include "orvlang.h"
#include "orvsettings.h"
#include "worldgenerator.h"
#include "worldloader.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>

int main(int argc, char **argv)
{
    // Listing pages needs no display.
    if (std::any_of(argv + 1, argv + argc, [](const char *a) { return qstrcmp(a, "--list-pages") == 0; }))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts); // web pages in the gallery
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("orv-demo"));
    QApplication::setFont(QFont(QStringLiteral("Noto Sans CJK SC"), 10));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("OrvCommon gallery"));
    parser.addHelpOption();
    QCommandLineOption worldOption(QStringLiteral("world"), QStringLiteral("World file to load (\"large\": the generated large school)."), QStringLiteral("file"),
                                   QStringLiteral(ORV_DEMO_WORLD));
    QCommandLineOption pageOption(QStringLiteral("page"), QStringLiteral("Page to open first."), QStringLiteral("id"));
    QCommandLineOption shotOption(QStringLiteral("screenshot"), QStringLiteral("Render the window to a PNG and quit."),
                                  QStringLiteral("file"));
    QCommandLineOption delayOption(QStringLiteral("delay"), QStringLiteral("Milliseconds to wait before the screenshot."),
                                   QStringLiteral("ms"), QStringLiteral("1500"));
    QCommandLineOption listOption(QStringLiteral("list-pages"), QStringLiteral("Print the page ids and quit."));
    parser.addOptions({worldOption, pageOption, shotOption, delayOption, listOption});
    parser.process(app);

    if (parser.isSet(listOption)) {
        auto pages = DemoPages::all();
        std::sort(pages.begin(), pages.end(), [](const DemoPageInfo &a, const DemoPageInfo &b) { return a.order < b.order; });
        for (const DemoPageInfo &p : pages)
            std::printf("%s\t%s\n", qPrintable(p.id), qPrintable(p.title));
        return 0;
    }

    OrvLang::loadTable(QStringLiteral(":/demo/lang/en.json"));
    OrvSettings::instance()->setFileName(QDir::temp().filePath(QStringLiteral("orv-demo-settings.json")));

    WorldLoader loader;
    const bool large = parser.value(worldOption) == QLatin1String("large");
    if (!(large ? loader.load(WorldGenerator::generate(WorldGenerator::largeSchool())) : loader.loadFile(parser.value(worldOption)))) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.error()));
        return 1;
    }

    GalleryWindow window;
    if (parser.isSet(pageOption) && !window.showPage(parser.value(pageOption))) {
        std::fprintf(stderr, "no page '%s' (see --list-pages)\n", qPrintable(parser.value(pageOption)));
        return 1;
    }
    window.show();
    // The engines report their first sync once the host is up, as after a real sign-in.
    QTimer::singleShot(0, [] { WorldLoader::finishSync(); });

    if (parser.isSet(shotOption)) {
        const QString file = parser.value(shotOption);
        QTimer::singleShot(parser.value(delayOption).toInt(), &window, [&window, file] {
            const bool ok = window.grab().save(file);
            std::fprintf(ok ? stdout : stderr, "%s %s\n", ok ? "wrote" : "cannot write", qPrintable(file));
            QApplication::exit(ok ? 0 : 1);
        });
    }
    return app.exec();
}
