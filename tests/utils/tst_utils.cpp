// SPDX-License-Identifier: LGPL-2.1-or-later
#include "abstracttreemodel.h"
#include "extensionsystem.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

// A tree model over plain AbstractTreeItems, driven the way subclasses do.
class PlainTreeModel : public AbstractTreeModel
{
public:
    using AbstractTreeModel::AbstractTreeModel;
    QVariant data(const QModelIndex &index, int role) const override
    {
        return index.isValid() && role == Qt::DisplayRole ? QVariant(index.row()) : QVariant();
    }
    void rebuild(int top, int children)
    {
        beginResetModel();
        root()->removeChild();
        for (int i = 0; i < top; ++i) {
            auto *t = new AbstractTreeItem(root());
            for (int k = 0; k < children; ++k)
                new AbstractTreeItem(t);
        }
        endResetModel();
    }
};

class UtilsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void langShouldFallBackToTheIdAndKeepItsTableOnBadFiles()
    {
        OrvLang::clear();
        QCOMPARE(OrvLang::text("ID_Unknown_Key"), QStringLiteral("ID_Unknown_Key"));
        QTemporaryDir dir;
        const QString good = dir.filePath(QStringLiteral("en.json"));
        QFile f(good);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(R"({"ID_Information": "Information", "ID_Copied": "Copied"})");
        f.close();
        QVERIFY(OrvLang::loadTable(good));
        QCOMPARE(OrvLang::text("ID_Information"), QStringLiteral("Information"));

        for (const QByteArray &bad : {QByteArray("{not json"), QByteArray("[1]"), QByteArray(R"({"ID_Information": 5})")}) {
            const QString path = dir.filePath(QStringLiteral("bad.json"));
            QFile b(path);
            QVERIFY(b.open(QIODevice::WriteOnly | QIODevice::Truncate));
            b.write(bad);
            b.close();
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("translation table")));
            QVERIFY(!OrvLang::loadTable(path));
            QCOMPARE(OrvLang::text("ID_Information"), QStringLiteral("Information"));
        }
        QCOMPARE(OrvLang::size(), 2);
        OrvLang::clear();
    }

    void settingsShouldPersistInTheChosenFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("s.ini"));
        OrvSettings::instance()->setFileName(path);
        QSignalSpy changed(OrvSettings::instance(), &OrvSettings::valueChanged);
        OrvSettings::instance()->setValue(QStringLiteral("UpgradeNoMoreReminders"), 1);
        QCOMPARE(changed.count(), 1);
        OrvSettings::release();
        OrvSettings::instance()->setFileName(path);
        QCOMPARE(OrvSettings::instance()->value(QStringLiteral("UpgradeNoMoreReminders")).toInt(), 1);
        OrvSettings::instance()->remove(QStringLiteral("UpgradeNoMoreReminders"));
        QVERIFY(!OrvSettings::instance()->contains(QStringLiteral("UpgradeNoMoreReminders")));
        OrvSettings::release();
    }

    void trackShouldRecordEventsInOrder()
    {
        OrvTrack::instance()->clear();
        QSignalSpy spy(OrvTrack::instance(), &OrvTrack::tracked);
        OrvTrack::instance()->track(QStringLiteral("NPCguide"), {{QStringLiteral("trigger_action"), QStringLiteral("点击")}});
        OrvTrack::instance()->track(QStringLiteral("Setavatar"));
        QCOMPARE(spy.count(), 2);
        QCOMPARE(OrvTrack::instance()->events().size(), 2);
        QCOMPARE(OrvTrack::instance()->events(QStringLiteral("NPCguide")).first().properties.value(QStringLiteral("trigger_action")).toString(),
                 QStringLiteral("点击"));
        OrvTrack::release();
    }

    void extensionLookupsShouldForgetDeletedObjects()
    {
        auto *ext = ExtensionSystem::instance();
        QVERIFY(!ext->getObject(QStringLiteral("classroom")));
        auto *plugin = new QObject;
        ext->addObject(QStringLiteral("classroom"), plugin);
        QCOMPARE(ext->getObject(QStringLiteral("classroom")), plugin);
        delete plugin;
        QVERIFY(!ext->getObject(QStringLiteral("classroom")));
        ExtensionSystem::release();
    }

    void treeItemsShouldKeepRowsRightWhenReordered()
    {
        AbstractTreeItem root;
        auto *a = new AbstractTreeItem(&root);
        auto *b = new AbstractTreeItem(&root);
        auto *c = new AbstractTreeItem(&root);
        QCOMPARE(c->row(), 2);
        std::swap(root.refChildren()[0], root.refChildren()[2]);
        QCOMPARE(c->row(), 0);
        QCOMPARE(a->row(), 2);
        root.removeChild(b);
        QCOMPARE(a->row(), 1);
        AbstractTreeItem other;
        other.appendChild(a); // moving takes it from its old parent
        QCOMPARE(root.childCount(), 1);
        QCOMPARE(a->parent(), &other);
        QCOMPARE(a->row(), 0);
        QVERIFY(!root.takeChild(a));
    }

    void treeModelShouldPassTheModelTester()
    {
        PlainTreeModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.rebuild(3, 4);
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.rowCount(model.index(1, 0)), 4);
        QCOMPARE(model.parent(model.index(2, 0, model.index(1, 0))), model.index(1, 0));
        QVERIFY(!model.index(0, 1).isValid());
        QVERIFY(!model.index(5, 0).isValid());
        model.rebuild(0, 0);
        QCOMPARE(model.rowCount(), 0);
    }
};

QTEST_MAIN(UtilsTest)
#include "tst_utils.moc"
