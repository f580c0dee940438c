// SPDX-License-Identifier: LGPL-2.1-or-later
// Runs on a private session bus (dbus-run-session), where the test plays the file manager.
#include "orvdesktopshell.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDesktopServices>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")
public:
    QStringList shown;
public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &) { shown << uris; }
};

// Stands in for the desktop's default handler of file addresses.
class UrlRecorder : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl &url) { opened << url; }
};

class DesktopShellTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_file = m_dir.filePath("picture one.png");
        QFile f(m_file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("x");
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &m_recorder, "open");
    }

    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }

    void fileManagerShowsTheFileSelected()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            QSKIP("no session bus (run under dbus-run-session)");
        FakeFileManager manager;
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
        OrvFreedesktopShell shell;
        QSignalSpy handled(&shell, &OrvDesktopShell::handled);
        QVERIFY(shell.showInFolder(m_file));
        QTRY_COMPARE(handled.count(), 1);
        QCOMPARE(handled.at(0).at(0).toString(), QStringLiteral("showItems"));
        QCOMPARE(manager.shown, QStringList{QUrl::fromLocalFile(m_file).toString(QUrl::FullyEncoded)});
        QVERIFY(m_recorder.opened.isEmpty());
        bus.unregisterService(QStringLiteral("org.freedesktop.FileManager1"));
        bus.unregisterObject(QStringLiteral("/org/freedesktop/FileManager1"));
    }

    void withoutAFileManagerTheFolderOpens()
    {
        m_recorder.opened.clear();
        OrvFreedesktopShell shell;
        QSignalSpy handled(&shell, &OrvDesktopShell::handled);
        QVERIFY(shell.showInFolder(m_file));
        QTRY_COMPARE(handled.count(), 1);
        QCOMPARE(handled.at(0).at(0).toString(), QStringLiteral("openFolder"));
        QCOMPARE(m_recorder.opened, QList<QUrl>{QUrl::fromLocalFile(m_dir.path())});
    }

    void openGoesToTheDefaultHandler()
    {
        m_recorder.opened.clear();
        OrvFreedesktopShell shell;
        QVERIFY(shell.openFile(m_file));
        QCOMPARE(m_recorder.opened, QList<QUrl>{QUrl::fromLocalFile(m_file)});
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no such file"));
        QVERIFY(!shell.openFile(m_dir.filePath("missing.png")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no such file"));
        QVERIFY(!shell.showInFolder(m_dir.path())); // a folder is not a file to show
        QCOMPARE(m_recorder.opened.size(), 1);
    }

    void hostsInstallTheirOwn()
    {
        QVERIFY(OrvDesktopShell::instance());
        auto *mine = new OrvFreedesktopShell;
        OrvDesktopShell::setInstance(mine);
        QCOMPARE(OrvDesktopShell::instance(), mine);
        OrvDesktopShell::setInstance(nullptr);
        QVERIFY(OrvDesktopShell::instance() != nullptr);
    }

private:
    QTemporaryDir m_dir;
    QString m_file;
    UrlRecorder m_recorder;
};

QTEST_MAIN(DesktopShellTest)
#include "tst_desktopshell.moc"
