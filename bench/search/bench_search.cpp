// SPDX-License-Identifier: LGPL-2.1-or-later
// Contact search on the "large school" world: one more character typed into the search of the
// contacts proxy over the whole tree (filter and view update included), and building the pinyin
// keys of every name, next to the tree's own full build measured in the same run.
#include "ContactsPinyin.h"
#include "ContactsSearch.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "benchresults.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"
#include "contactsengine.h"
#include "worldgenerator.h"
#include "worldloader.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTreeView>
#include <algorithm>
#include <cstdio>
#include <ctime>

using namespace OrvEngine;

namespace {

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

double percentile(std::vector<double> v, double p)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[std::min(v.size() - 1, size_t(p * double(v.size())))];
}

double ms(const QElapsedTimer &t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

// CPU time of this thread: what a keystroke costs when other processes share the cores.
double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

// The tree from instance() to syncEnd, as the contacts benchmark times it.
double buildTree()
{
    ContactsTreeModel::release();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    SchoolChartManager::instance()->resetSync();
    OrgChartManager::instance()->resetSync();
    QElapsedTimer t;
    t.start();
    bool ended = false;
    ContactsTreeModel *model = ContactsTreeModel::instance();
    QObject::connect(model, &ContactsTreeModel::syncEnd, [&] { ended = true; });
    QCoreApplication::processEvents();
    SchoolChartManager::instance()->completeSync();
    OrgChartManager::instance()->completeSync();
    ContactsEngine::instance()->completeSync();
    const double elapsed = ms(t);
    if (!ended)
        qFatal("no syncEnd");
    return elapsed;
}

int countNodes(const QAbstractItemModel *m, const QModelIndex &parent = {})
{
    int n = m->rowCount(parent);
    for (int r = 0; r < m->rowCount(parent); ++r)
        n += countNodes(m, m->index(r, 0, parent));
    return n;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("orv.*.info=false"));
    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Write the metrics to FILE."), QStringLiteral("file"));
    QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Runs of each build (at least 5)."), QStringLiteral("n"),
                                  QStringLiteral("5"));
    parser.addOptions({jsonOption, runsOption});
    parser.process(app);
    const int runs = std::max(5, parser.value(runsOption).toInt());
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));

    WorldLoader loader;
    if (!loader.load(WorldGenerator::generate(WorldGenerator::largeSchool())))
        qFatal("world: %s", qPrintable(loader.error()));

    // The tree's build and the index's build take turns, from cold caches each time.
    std::vector<double> tree, index;
    int entries = 0;
    for (int r = 0; r < runs; ++r) {
        tree.push_back(buildTree());
        ContactsPinyin::clearCaches();
        ContactsSearch search(ContactsTreeModel::instance());
        QElapsedTimer t;
        t.start();
        search.rebuild();
        index.push_back(ms(t));
        entries = search.size();
    }
    ContactsTreeModel *model = ContactsTreeModel::instance();
    const int nodes = countNodes(model);

    // Typing into the search box of a shown tree view over the proxy.
    ContactsSortFilterModel proxy;
    proxy.setSourceModel(model);
    QTreeView view;
    view.header()->hide();
    view.setUniformRowHeights(true);
    view.setModel(&proxy);
    view.resize(400, 700);
    view.show();
    QCoreApplication::processEvents();

    const QStringList typed = {
        QStringLiteral("张伟"), QStringLiteral("王小明"), QStringLiteral("李子涵"), QStringLiteral("陈欣怡"),
        QStringLiteral("zhangwei"), QStringLiteral("wangxiaoming"), QStringLiteral("liuhaoran"), QStringLiteral("huangjie"),
        QStringLiteral("zw"), QStringLiteral("wxm"), QStringLiteral("lzh"), QStringLiteral("cxy"),
        QStringLiteral("Emma Brown"), QStringLiteral("Class 3"),
    };
    std::vector<double> keystrokes, keystrokesCpu;
    int shownAfterLast = 0;
    for (int round = 0; round < 3; ++round) {
        for (const QString &word : typed) {
            for (int n = 1; n <= word.size(); ++n) {
                QElapsedTimer t;
                t.start();
                const double cpu0 = threadCpuMs();
                // As the selection view does: only the ancestors of this search stay open.
                proxy.setSearchText(word.left(n));
                view.collapseAll();
                for (const QModelIndex &idx : proxy.matchAncestors(200))
                    view.expand(idx);
                view.viewport()->repaint();
                QCoreApplication::processEvents();
                keystrokes.push_back(ms(t));
                keystrokesCpu.push_back(threadCpuMs() - cpu0);
            }
            shownAfterLast = proxy.rowCount();
            proxy.setSearchText(QString());
            QCoreApplication::processEvents();
        }
    }

    const double fullBuild = median(tree);
    const double pinyinIndex = median(index);
    const double keystroke = median(keystrokes);
    QJsonObject metrics{
        {QStringLiteral("keystroke_ms"), keystroke},
        {QStringLiteral("keystroke_p90_ms"), percentile(keystrokes, 0.9)},
        {QStringLiteral("keystroke_cpu_ms"), median(keystrokesCpu)},
        {QStringLiteral("pinyin_index_ms"), pinyinIndex},
        {QStringLiteral("full_build_ms"), fullBuild},
        {QStringLiteral("nodes"), nodes},
        {QStringLiteral("index_entries"), entries},
    };
    std::printf("contact search, large school world: %d nodes, %d index entries, %zu keystrokes, %d build runs (medians)\n",
                nodes, entries, keystrokes.size(), runs);
    std::printf("%-20s %12s  %-34s %s\n", "metric", "value", "target", "");
    std::printf("%-20s %12.3f  %-34s %s\n", "keystroke_ms", keystroke, "<= 16", keystroke <= 16 ? "ok" : "MISSED");
    std::printf("%-20s %12.3f  %-34s\n", "keystroke_p90_ms", percentile(keystrokes, 0.9), "(first letters scan everything)");
    std::printf("%-20s %12.3f  %-34s\n", "keystroke_cpu_ms", median(keystrokesCpu), "(this thread's CPU time, median)");
    std::printf("%-20s %12.3f  %-34s %s\n", "pinyin_index_ms", pinyinIndex,
                qPrintable(QStringLiteral("<= full_build_ms (%1)").arg(fullBuild, 0, 'f', 1)),
                pinyinIndex <= fullBuild ? "ok" : "MISSED");
    std::printf("%-20s %12.3f  %-34s\n", "full_build_ms", fullBuild, "the tree itself, same run");
    std::printf("%-20s %12d\n", "nodes", nodes);
    if (shownAfterLast == 0)
        std::printf("warning: the last typed word showed nothing\n");

    if (parser.isSet(jsonOption)) {
        QJsonObject out{{QStringLiteral("metrics"), metrics}, {QStringLiteral("runs"), runs}};
        if (!Bench::writeJson(parser.value(jsonOption), out))
            return 1;
    }
    return 0;
}
