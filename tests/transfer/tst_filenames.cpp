// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvfilenames.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class FileNamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainFileName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("plain");

        QTest::newRow("ordinary") << "report.pdf" << "report.pdf";
        QTest::newRow("parent steps") << "../../x" << "x";
        QTest::newRow("absolute unix") << "/etc/passwd" << "passwd";
        QTest::newRow("windows steps") << "..\\..\\Windows\\win.ini" << "win.ini";
        QTest::newRow("drive") << "C:\\boot.ini" << "boot.ini";
        QTest::newRow("drive without separator") << "C:evil.txt" << "C_evil.txt";
        QTest::newRow("trailing separator") << "folder/" << "";
        QTest::newRow("dot dot") << ".." << "";
        QTest::newRow("only dots and spaces") << " . .. " << "";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("hidden") << ".bashrc" << "bashrc";
        QTest::newRow("trailing dot") << "notes.txt." << "notes.txt";
        QTest::newRow("reserved characters") << "a<b>c:d\"e|f?g*h.txt" << "a_b_c_d_e_f_g_h.txt";
        QTest::newRow("control characters") << QString("a\nb\tc\x01.txt") << "a_b_c_.txt";
        QTest::newRow("device") << "CON" << "_CON";
        QTest::newRow("device with suffix") << "lpt1.txt" << "_lpt1.txt";
        QTest::newRow("device lookalike") << "console.txt" << "console.txt";
        QTest::newRow("unicode") << QString::fromUtf8("课件 第1讲.pptx") << QString::fromUtf8("课件 第1讲.pptx");
    }

    void plainFileName()
    {
        QFETCH(QString, name);
        QFETCH(QString, plain);
        QCOMPARE(OrvFileNames::plainFileName(name), plain);
    }

    void longNamesAreCutAndKeepTheirSuffix()
    {
        const QString longName = QString(1000, QLatin1Char('a')) + QStringLiteral(".docx");
        const QString plain = OrvFileNames::plainFileName(longName);
        QVERIFY(plain.toUtf8().size() <= OrvFileNames::MaxNameBytes);
        QVERIFY(plain.endsWith(QLatin1String("a.docx")));

        // Characters outside the BMP are never split in half.
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        const QString wide = OrvFileNames::plainFileName(emoji.repeated(200) + QStringLiteral(".png"));
        QVERIFY(wide.toUtf8().size() <= OrvFileNames::MaxNameBytes);
        QVERIFY(wide.endsWith(emoji + QStringLiteral(".png")));
        QVERIFY(!wide.toUtf8().contains("\xEF\xBF\xBD")); // no replacement character

        // A huge suffix is not worth keeping whole.
        const QString oddSuffix = OrvFileNames::plainFileName(QStringLiteral("x.") + QString(5000, QLatin1Char('s')));
        QVERIFY(oddSuffix.toUtf8().size() <= OrvFileNames::MaxNameBytes);
        QVERIFY(oddSuffix.startsWith(QLatin1String("x.")));

        // A page's megabyte of a name is cut to the longest start that fits (once took minutes).
        QString mixed;
        for (int i = 0; i < 250000; ++i)
            mixed += i % 3 ? QStringLiteral("\u00e9") + emoji : QStringLiteral("a") + QChar(0xD800);
        const QString cut = OrvFileNames::plainFileName(mixed + QStringLiteral(".txt"));
        const int bytes = cut.toUtf8().size();
        QVERIFY(bytes <= OrvFileNames::MaxNameBytes);
        QVERIFY(bytes > OrvFileNames::MaxNameBytes - 4);
        QVERIFY(cut.endsWith(QLatin1String(".txt")));
        QVERIFY(!cut.chopped(4).endsWith(QChar(0xD83D)));
    }

    void numberedNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("numbered");
        QTest::newRow("suffix") << "report.pdf" << "report(1).pdf";
        QTest::newRow("two suffixes") << "backup.tar.gz" << "backup.tar(1).gz";
        QTest::newRow("no suffix") << "Makefile" << "Makefile(1)";
    }

    void numberedNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, numbered);
        QCOMPARE(OrvFileNames::numberedFileName(name, 1), numbered);
    }

    void uniquePathSkipsExistingAndTakenNames()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QDir folder(dir.path());
        QCOMPARE(OrvFileNames::uniqueFilePath(dir.path(), "a.txt"), folder.absoluteFilePath("a.txt"));

        QFile(folder.absoluteFilePath("a.txt")).open(QIODevice::WriteOnly);
        QFile(folder.absoluteFilePath("a(1).txt")).open(QIODevice::WriteOnly);
        QCOMPARE(OrvFileNames::uniqueFilePath(dir.path(), "a.txt"), folder.absoluteFilePath("a(2).txt"));

        const QSet<QString> taken{folder.absoluteFilePath("a(2).txt")};
        QCOMPARE(OrvFileNames::uniqueFilePath(dir.path(), "a.txt", taken), folder.absoluteFilePath("a(3).txt"));

        // A dangling link is a name in use: writing there would follow it somewhere else.
        QVERIFY(QFile::link(folder.absoluteFilePath("gone"), folder.absoluteFilePath("b.txt")));
        QCOMPARE(OrvFileNames::uniqueFilePath(dir.path(), "b.txt"), folder.absoluteFilePath("b(1).txt"));
    }

    void insideCheck()
    {
        QVERIFY(OrvFileNames::isDirectlyInside("/tmp/f", "/tmp/f/a.txt"));
        QVERIFY(OrvFileNames::isDirectlyInside("/tmp/f", "a.txt"));
        QVERIFY(!OrvFileNames::isDirectlyInside("/tmp/f", "/tmp/f/../a.txt"));
        QVERIFY(!OrvFileNames::isDirectlyInside("/tmp/f", "sub/a.txt"));
        QVERIFY(!OrvFileNames::isDirectlyInside("/tmp/f", "/tmp/f"));
        QVERIFY(!OrvFileNames::isDirectlyInside("/tmp/f", "/tmp/fx/a.txt"));
    }
};

QTEST_GUILESS_MAIN(FileNamesTest)
#include "tst_filenames.moc"
