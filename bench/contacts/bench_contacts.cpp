// SPDX-License-Identifier: LGPL-2.1-or-later
// Contacts tree on the "large school" world: build time, single changes and heap per node,
// next to a QStandardItemModel of the same shape built and sorted with QCollator in the same run.
#include "ContactsTreeModel.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"
#include "worldgenerator.h"
#include "worldloader.h"

#include <QApplication>
#include <QCollator>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include "benchresults.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardItemModel>
#include <algorithm>
#include <cstdio>
#include <malloc.h>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

size_t heapInUse()
{
    malloc_trim(0);
    return mallinfo2().uordblks;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

double ms(const QElapsedTimer &t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

// The shape of a built tree, for the baseline to rebuild.
struct ShapeNode {
    QString name;
    std::vector<ShapeNode> children;
};

ShapeNode capture(const Item *item)
{
    ShapeNode n{item->name(), {}};
    n.children.reserve(size_t(item->childCount()));
    for (int i = 0; i < item->childCount(); ++i)
        n.children.push_back(capture(item->childItem(i)));
    return n;
}

size_t countNodes(const ShapeNode &n)
{
    size_t c = n.children.size();
    for (const auto &ch : n.children)
        c += countNodes(ch);
    return c;
}

void buildBaseline(const ShapeNode &shape, QStandardItem *parent, const QCollator &collator)
{
    std::vector<const ShapeNode *> order;
    order.reserve(shape.children.size());
    for (const auto &c : shape.children)
        order.push_back(&c);
    std::stable_sort(order.begin(), order.end(),
                     [&](const ShapeNode *a, const ShapeNode *b) { return collator.compare(a->name, b->name) < 0; });
    QList<QStandardItem *> row;
    row.reserve(int(order.size()));
    for (const ShapeNode *c : order) {
        auto *item = new QStandardItem(c->name);
        if (!c->children.empty())
            buildBaseline(*c, item, collator);
        row.append(item);
    }
    parent->appendRows(row);
}

struct Built {
    double ms;
    size_t bytes;
};

// One build from a signed-in world whose charts have not synced yet; the tree stays for inspection.
Built buildOurs()
{
    ContactsTreeModel::release();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    SchoolChartManager::instance()->resetSync();
    OrgChartManager::instance()->resetSync();
    const size_t before = heapInUse();
    QElapsedTimer t;
    t.start();
    bool ended = false;
    ContactsTreeModel *model = ContactsTreeModel::instance();
    QObject::connect(model, &ContactsTreeModel::syncEnd, [&] { ended = true; });
    QCoreApplication::processEvents(); // the queued content
    SchoolChartManager::instance()->completeSync();
    OrgChartManager::instance()->completeSync();
    ContactsEngine::instance()->completeSync();
    const double elapsed = ms(t);
    if (!ended)
        qFatal("no syncEnd");
    return {elapsed, heapInUse() - before};
}

Built buildBaselineOnce(const ShapeNode &shape)
{
    const size_t before = heapInUse();
    QElapsedTimer t;
    t.start();
    auto *model = new QStandardItemModel;
    QCollator collator;
    buildBaseline(shape, model->invisibleRootItem(), collator);
    const double elapsed = ms(t);
    const size_t bytes = heapInUse() - before;
    delete model;
    return {elapsed, bytes};
}

QModelIndex friendIndex(ContactsTreeModel *m, quint64 uid)
{
    return m->indexByValue(QModelIndex(), Item::Friend, ClusterID(uid, User));
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
    QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Build runs (at least 5)."), QStringLiteral("n"), QStringLiteral("5"));
    QCommandLineOption sessionsOption(QStringLiteral("sessions"), QStringLiteral("Sessions loaded into the chat engine."),
                                      QStringLiteral("n"), QStringLiteral("1000000"));
    parser.addOptions({jsonOption, runsOption, sessionsOption});
    parser.process(app);
    const int runs = std::max(5, parser.value(runsOption).toInt());
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));

    const WorldGenerator::Params params = WorldGenerator::largeSchool();
    const QJsonObject world = WorldGenerator::generate(params);

    WorldLoader loader;
    if (!loader.load(world))
        qFatal("world: %s", qPrintable(loader.error()));

    // Ours and the baseline take turns, so both meet the same heap.
    std::vector<double> ours, base;
    std::vector<double> oursBytes, baseBytes;
    ShapeNode shape;
    for (int r = 0; r < runs; ++r) {
        const Built b = buildOurs();
        ours.push_back(b.ms);
        oursBytes.push_back(double(b.bytes));
        if (r == 0)
            shape = capture(ContactsTreeModel::instance()->rootItem());
        const Built s = buildBaselineOnce(shape);
        base.push_back(s.ms);
        baseBytes.push_back(double(s.bytes));
    }
    const size_t nodes = countNodes(shape);

    ContactsTreeModel *model = ContactsTreeModel::instance();
    auto *contacts = ContactsEngine::instance();

    // One person under friends, a company and a school (the generator's first shared people).
    const quint64 shared = 2;
    std::vector<QModelIndex> places;
    model->indexByValue(QModelIndex(), std::vector<quint64>{shared}, places);
    std::vector<double> check;
    for (int i = 0; i < 51; ++i) {
        const QModelIndex idx = friendIndex(model, shared);
        QElapsedTimer t;
        t.start();
        model->setData(idx, i % 2 ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
        check.push_back(ms(t));
    }

    // One friend renamed (alias), through the engine's signal.
    std::vector<double> update1;
    for (int i = 0; i < 51; ++i) {
        const quint64 uid = 1000 + quint64(i) * 37;
        QElapsedTimer t;
        t.start();
        contacts->setClusterAlias(ClusterID(uid, User), WorldGenerator::personName(4242, i));
        update1.push_back(ms(t));
    }

    // A thousand friends renamed in one engine update.
    std::vector<double> update1000;
    for (int r = 0; r < 7; ++r) {
        std::vector<ClusterID> ids;
        for (int i = 0; i < 1000; ++i) {
            const quint64 uid = 3000 + quint64(i) * 13;
            const auto c = contacts->getClusterInfo(ClusterID(uid, User));
            c->userConfig()->setAlias(WorldGenerator::personName(777 + quint32(r), i));
            ids.push_back(c->id());
        }
        QElapsedTimer t;
        t.start();
        Q_EMIT contacts->updateClusterInfo(ids);
        update1000.push_back(ms(t));
    }

    // A hundred recent chats get new messages.
    std::vector<double> sessions100;
    const Sessions all = ChatEngine::instance()->getSessions();
    for (int r = 0; r < 21; ++r) {
        Sessions batch;
        for (int i = 0; i < 100; ++i) {
            const auto &s = all[size_t((r * 100 + i * 47) % int(all.size()))];
            batch.push_back(std::make_shared<Session>(s->clusterID(), 1800000000u + quint32(r * 1000 + i)));
        }
        QElapsedTimer t;
        t.start();
        ChatEngine::instance()->touchSessions(batch);
        sessions100.push_back(ms(t));
    }

    // A million sessions (--sessions) into the chat engine, as a world file's load does, next
    // to the same sessions into a bare hash.
    std::vector<double> loadSessions, loadSessionsBase;
    const int sessionCount = std::max(1, parser.value(sessionsOption).toInt());
    {
        const int kSessions = sessionCount;
        Sessions many;
        many.reserve(kSessions);
        for (int i = 0; i < kSessions; ++i)
            many.push_back(std::make_shared<Session>(ClusterID(10000000 + quint64(i), i % 3 ? User : Group), quint32(i)));
        for (int r = 0; r < 3; ++r) {
            QHash<ClusterID, SessionPtr> bare;
            QElapsedTimer t;
            t.start();
            for (const auto &s : many)
                bare.insert(s->clusterID(), s);
            loadSessionsBase.push_back(ms(t));
        }
        auto *chat = ChatEngine::instance();
        const Sessions kept = chat->getSessions();
        for (int r = 0; r < 3; ++r) {
            chat->clear();
            QElapsedTimer t;
            t.start();
            for (const auto &s : many)
                chat->insertSessionQuietly(s);
            loadSessions.push_back(ms(t));
        }
        chat->clear();
        for (const auto &s : kept)
            chat->insertSessionQuietly(s);
    }

    QJsonObject metrics{
        {QStringLiteral("full_build_ms"), median(ours)},
        {QStringLiteral("baseline_build_ms"), median(base)},
        {QStringLiteral("check_person_ms"), median(check)},
        {QStringLiteral("update_cluster_1_ms"), median(update1)},
        {QStringLiteral("update_cluster_1000_ms"), median(update1000)},
        {QStringLiteral("update_sessions_100_ms"), median(sessions100)},
        {QStringLiteral("load_sessions_ms"), median(loadSessions)},
        {QStringLiteral("baseline_sessions_ms"), median(loadSessionsBase)},
        {QStringLiteral("bytes_per_node"), median(oursBytes) / double(nodes)},
        {QStringLiteral("baseline_bytes_per_node"), median(baseBytes) / double(nodes)},
    };

    struct Row {
        const char *name;
        double value;
        QString target;
        bool ok;
    };
    const double fb = metrics[QStringLiteral("full_build_ms")].toDouble();
    const double bb = metrics[QStringLiteral("baseline_build_ms")].toDouble();
    const double bpn = metrics[QStringLiteral("bytes_per_node")].toDouble();
    const double bbpn = metrics[QStringLiteral("baseline_bytes_per_node")].toDouble();
    const Row rows[] = {
        {"full_build_ms", fb, QStringLiteral("<= 1.5 x baseline (%1)").arg(1.5 * bb, 0, 'f', 1), fb <= 1.5 * bb},
        {"baseline_build_ms", bb, QStringLiteral("QStandardItemModel + QCollator"), true},
        {"check_person_ms", median(check), QStringLiteral("<= 1"), median(check) <= 1},
        {"update_cluster_1_ms", median(update1), QStringLiteral("<= 1"), median(update1) <= 1},
        {"update_cluster_1000_ms", median(update1000), QStringLiteral("<= 50"), median(update1000) <= 50},
        {"update_sessions_100_ms", median(sessions100), QStringLiteral("<= 5"), median(sessions100) <= 5},
        {"load_sessions_ms", median(loadSessions), QStringLiteral("<= 3 x baseline (%1)").arg(3 * median(loadSessionsBase), 0, 'f', 1),
         median(loadSessions) <= 3 * median(loadSessionsBase)},
        {"baseline_sessions_ms", median(loadSessionsBase), QStringLiteral("QHash<ClusterID, SessionPtr>"), true},
        {"bytes_per_node", bpn, QStringLiteral("<= baseline (%1)").arg(bbpn, 0, 'f', 1), bpn <= bbpn},
        {"baseline_bytes_per_node", bbpn, QStringLiteral("QStandardItemModel"), true},
    };
    std::printf("contacts tree, large school world: %zu nodes, %d build runs (medians); %d sessions loaded\n", nodes, runs,
                sessionCount);
    std::printf("%-26s %12s  %-36s %s\n", "metric", "value", "target", "");
    for (const Row &r : rows)
        std::printf("%-26s %12.3f  %-36s %s\n", r.name, r.value, qPrintable(r.target), r.ok ? "ok" : "MISSED");

    if (parser.isSet(jsonOption)) {
        QJsonObject out{{QStringLiteral("metrics"), metrics},
                        {QStringLiteral("nodes"), double(nodes)},
                        {QStringLiteral("sessions"), sessionCount},
                        {QStringLiteral("runs"), runs}};
        if (!Bench::writeJson(parser.value(jsonOption), out))
            return 1;
    }
    return 0;
}
