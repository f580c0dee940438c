// SPDX-License-Identifier: LGPL-2.1-or-later
#include "abstracttreemodel.h"
#include "extensionsystem.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"

#include <QAbstractItemModelTester>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <limits>
#include <unistd.h>

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
        const QString path = dir.filePath(QStringLiteral("s.json"));
        OrvSettings::instance()->setFileName(path);
        QSignalSpy changed(OrvSettings::instance(), &OrvSettings::valueChanged);
        OrvSettings::instance()->setValue(QStringLiteral("UpgradeNoMoreReminders"), 1);
        OrvSettings::instance()->setValue(QStringLiteral("id"), std::numeric_limits<qint64>::max());
        OrvSettings::instance()->setValue(QStringLiteral("hidden"), true);
        OrvSettings::instance()->setValue(QStringLiteral("clouddisk/folders"), QStringList{"a", "b"});
        // Text that the old format would have read as a serialised value stays text.
        const QString variantText = QStringLiteral("@Variant(\\0\\0\\0\\t\\0\\x7f\\xff\\xff\\xff)");
        OrvSettings::instance()->setValue(QStringLiteral("saveAsPath"), variantText);
        QCOMPARE(changed.count(), 5);
        QCOMPARE(OrvSettings::instance()->status(), OrvSettings::NoError);

        OrvSettings::release();
        OrvSettings::instance()->setFileName(path);
        auto *settings = OrvSettings::instance();
        QCOMPARE(settings->value(QStringLiteral("UpgradeNoMoreReminders")).toInt(), 1);
        QCOMPARE(settings->value(QStringLiteral("id")).toLongLong(), std::numeric_limits<qint64>::max());
        QCOMPARE(settings->value(QStringLiteral("hidden")).toBool(), true);
        QCOMPARE(settings->value(QStringLiteral("clouddisk/folders")).toStringList(), (QStringList{"a", "b"}));
        QCOMPARE(settings->value(QStringLiteral("saveAsPath")).toString(), variantText);

        // Another process's change is read before the next write, which keeps it.
        QFile other(path);
        QVERIFY(other.open(QIODevice::WriteOnly | QIODevice::Truncate));
        other.write(R"({"UpgradeNoMoreReminders": 0, "fromElsewhere": "yes"})");
        other.close();
        settings->remove(QStringLiteral("UpgradeNoMoreReminders"));
        OrvSettings::release();
        OrvSettings::instance()->setFileName(path);
        QVERIFY(!OrvSettings::instance()->contains(QStringLiteral("UpgradeNoMoreReminders")));
        QCOMPARE(OrvSettings::instance()->value(QStringLiteral("fromElsewhere")).toString(), QStringLiteral("yes"));
        OrvSettings::release();
    }

    void settingsShouldKeepADamagedFileAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        // A list claiming 2^31 - 1 entries, as the old INI store serialised values.
        QTest::newRow("ini value claiming a huge list")
            << QByteArray("[General]\nsaveAsPath=@Variant(\\0\\0\\0\\t\\0\\x7f\\xff\\xff\\xff)\nkept=1\n");
        QTest::newRow("another encoding") << QByteArray("\xff\xfe{\0\"\0k\0\"\0:\0 \0\"\0v\0\"\0}\0", 22);
        QTest::newRow("truncated") << QByteArray("{\"saveAsPath\": \"/home/ann/Dow");
        QTest::newRow("not an object") << QByteArray(R"(["saveAsPath", "/tmp"])");
        QTest::newRow("too large") << (QByteArray("{\"saveAsPath\": \"") + QByteArray(OrvSettings::MaxFileSize, 'x') + "\"}");
    }

    void settingsShouldKeepADamagedFileAside()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("s.json"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("is damaged .* kept as")));
        OrvSettings::instance()->setFileName(path);
        auto *settings = OrvSettings::instance();
        QCOMPARE(settings->status(), OrvSettings::FormatError);
        QVERIFY(!settings->contains(QStringLiteral("saveAsPath")));
        QCOMPARE(settings->damagedCopy(), path + QStringLiteral(".damaged"));

        settings->setValue(QStringLiteral("saveAsPath"), QStringLiteral("/tmp/x"));
        QCOMPARE(settings->status(), OrvSettings::NoError);
        QFile copy(path + QStringLiteral(".damaged"));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), content);
        QFile fresh(path);
        QVERIFY(fresh.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(fresh.readAll()).object(), (QJsonObject{{"saveAsPath", "/tmp/x"}}));
        fresh.close();

        // Damaged again by someone else: the next write keeps that one aside too.
        QVERIFY(fresh.open(QIODevice::WriteOnly | QIODevice::Truncate));
        fresh.write("garbage");
        fresh.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("kept as .*damaged-2")));
        settings->setValue(QStringLiteral("other"), 2);
        QVERIFY(QFile::exists(path + QStringLiteral(".damaged-2")));
        QCOMPARE(settings->value(QStringLiteral("saveAsPath")).toString(), QStringLiteral("/tmp/x"));
        OrvSettings::release();
    }

    void settingsWritesThatFailAreLogged_data()
    {
        QTest::addColumn<QString>("where");
        QTest::newRow("a folder") << "folder";
        QTest::newRow("below a file") << "file/s.json";
        QTest::newRow("read-only file") << "readonly.json";
    }

    void settingsWritesThatFailAreLogged()
    {
        QFETCH(QString, where);
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("folder")));
        QFile plain(dir.filePath(QStringLiteral("file")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.close();
        const QString path = dir.filePath(where);
        if (where == QLatin1String("readonly.json")) {
            if (geteuid() == 0)
                QSKIP("root writes read-only files");
            QFile ro(path);
            QVERIFY(ro.open(QIODevice::WriteOnly));
            ro.write("{}");
            ro.close();
            QVERIFY(ro.setPermissions(QFile::ReadOwner));
        }

        auto *settings = OrvSettings::instance();
        if (where == QLatin1String("folder"))
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot read the settings file")));
        settings->setFileName(path);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("(cannot write the settings file|settings not written)")));
        settings->setValue(QStringLiteral("saveAsPath"), QStringLiteral("/tmp/x"));
        QCOMPARE(settings->status(), OrvSettings::AccessError);
        // Not lost for this session.
        QCOMPARE(settings->value(QStringLiteral("saveAsPath")).toString(), QStringLiteral("/tmp/x"));
        QVERIFY(QFileInfo(dir.filePath(QStringLiteral("folder"))).isDir());
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
