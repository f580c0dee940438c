// SPDX-License-Identifier: LGPL-2.1-or-later
// Exam page helpers: downloading into a file the user may already have, and reading file details.
#include "ExamDownloader.h"
#include "ExamFileInfoGetter.h"
#include "orvwebservice.h"

#include <QDir>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace

class ExamDownloaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_body = QByteArray(200 * 1024, Qt::Uninitialized);
        for (int i = 0; i < m_body.size(); ++i)
            m_body[i] = char((i * 31) ^ (i >> 7));
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/dl/answer.bin"), [this](const OrvWebService::Request &) {
            return OrvWebService::Response(200, "application/octet-stream", m_body);
        });
        QVERIFY(m_service.start());
        m_url = m_service.baseUrl().toString() + QStringLiteral("/dl/answer.bin");
    }

    void cleanupTestCase() { m_service.stop(); }

    // The user's older file is replaced only by a whole download; after any failure it is as it
    // was and no partial file is left next to it. Exactly one of finished() and error().
    void downloadShouldReplaceTheFileOnlyOnSuccess_data()
    {
        QTest::addColumn<int>("fault"); // -1: none
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<int>("expectedError"); // 0: success
        QTest::newRow("whole") << -1 << 30000 << 0;
        QTest::newRow("HTTP 500") << int(OrvWebService::Fault::Status500) << 30000 << int(ExamDownloader::NetworkError);
        QTest::newRow("dropped") << int(OrvWebService::Fault::Drop) << 30000 << int(ExamDownloader::NetworkError);
        QTest::newRow("never answered") << int(OrvWebService::Fault::Hang) << 300 << int(ExamDownloader::TimeoutError);
    }
    void downloadShouldReplaceTheFileOnlyOnSuccess()
    {
        QFETCH(int, fault);
        QFETCH(int, timeoutMs);
        QFETCH(int, expectedError);
        m_service.clearFaults();
        if (fault >= 0)
            m_service.setFault(QStringLiteral("/dl/answer.bin"), OrvWebService::Fault(fault));

        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("answer.bin"));
        QVERIFY(writeFile(path, "the user's own answer"));

        ExamDownloader downloader(m_url, path, timeoutMs);
        QSignalSpy finished(&downloader, &ExamDownloader::finished);
        QSignalSpy failed(&downloader, &ExamDownloader::error);
        downloader.startDownload();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count() + failed.count(), 1, 15000);
        QVERIFY(!downloader.isRunning());
        if (expectedError == 0) {
            QCOMPARE(finished.count(), 1);
            QCOMPARE(readAll(path), m_body);
        } else {
            QCOMPARE(failed.count(), 1);
            QCOMPARE(failed.at(0).at(0).toInt(), expectedError);
            QVERIFY(!failed.at(0).at(1).toString().isEmpty());
            QCOMPARE(readAll(path), QByteArray("the user's own answer"));
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("answer.bin")});
        QTest::qWait(50);
        QCOMPARE(finished.count() + failed.count(), 1);
        m_service.clearFaults();
    }

    // Bad addresses and unwritable targets fail after the caller connected, never before, and
    // touch nothing; a second start does not start a second transfer.
    void badInputShouldFailOnce()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("a.bin"));
        for (const QString &url : {QString(), QStringLiteral("ftp://127.0.0.1/a.bin"), QStringLiteral("file:///etc/passwd"),
                                   QStringLiteral("http:///nohost")}) {
            ExamDownloader downloader(url, path);
            QSignalSpy failed(&downloader, &ExamDownloader::error);
            downloader.startDownload();
            QCOMPARE(failed.count(), 0);
            QTRY_COMPARE(failed.count(), 1);
            QCOMPARE(failed.at(0).at(0).toInt(), int(ExamDownloader::InvalidUrlError));
            downloader.startDownload();
            QTest::qWait(20);
            QCOMPARE(failed.count(), 1);
        }
        QVERIFY(!QFile::exists(path));

        // The target is a folder: cannot be written, the folder stays.
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("folder")));
        ExamDownloader toFolder(m_url, dir.filePath(QStringLiteral("folder")));
        QSignalSpy failed(&toFolder, &ExamDownloader::error);
        toFolder.startDownload();
        QTRY_COMPARE(failed.count(), 1);
        QCOMPARE(failed.at(0).at(0).toInt(), int(ExamDownloader::FileOpenError));
        QVERIFY(QFileInfo(dir.filePath(QStringLiteral("folder"))).isDir());
    }

    void abortShouldKeepTheOldFile()
    {
        m_service.setFault(QStringLiteral("/dl/answer.bin"), OrvWebService::Fault::Hang);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("answer.bin"));
        QVERIFY(writeFile(path, "old"));
        ExamDownloader downloader(m_url, path, 0);
        QSignalSpy finished(&downloader, &ExamDownloader::finished);
        QSignalSpy failed(&downloader, &ExamDownloader::error);
        downloader.startDownload();
        QVERIFY(downloader.isRunning());
        QTest::qWait(100);
        downloader.abort();
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed.at(0).at(0).toInt(), int(ExamDownloader::AbortedError));
        QTest::qWait(50);
        QCOMPARE(finished.count() + failed.count(), 1);
        QCOMPARE(readAll(path), QByteArray("old"));
        m_service.clearFaults();
    }

    // Names chosen by a server stay inside the folder, whatever they hold.
    void serverNamesShouldStayInTheFolder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("plain") << QStringLiteral("answer 1.jpg") << QStringLiteral("answer 1.jpg");
        QTest::newRow("parent") << QStringLiteral("../../.bashrc") << QStringLiteral(".bashrc");
        QTest::newRow("absolute") << QStringLiteral("/etc/passwd") << QStringLiteral("passwd");
        QTest::newRow("backslashes") << QStringLiteral("..\\..\\Windows\\evil.dll") << QStringLiteral("evil.dll");
        QTest::newRow("drive") << QStringLiteral("C:evil.txt") << QStringLiteral("C_evil.txt");
        QTest::newRow("dots only") << QStringLiteral("..") << QString();
        QTest::newRow("trailing slash") << QStringLiteral("dir/") << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("trailing dots") << QStringLiteral("a.txt. . ") << QStringLiteral("a.txt");
        QTest::newRow("control and reserved") << QStringLiteral("a\nb<c>|?.png") << QStringLiteral("a_b_c___.png");
        QTest::newRow("chinese") << QStringLiteral("答案.png") << QStringLiteral("答案.png");
    }
    void serverNamesShouldStayInTheFolder()
    {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        const QString path = ExamDownloader::pathInFolder(dir.path(), name);
        if (expected.isEmpty()) {
            QVERIFY2(path.isEmpty(), qPrintable(path));
            return;
        }
        QCOMPARE(QFileInfo(path).absolutePath(), QDir(dir.path()).absolutePath());
        QCOMPARE(QFileInfo(path).fileName(), expected);
    }

    // Every file gets an entry in the order asked for; an unreadable one carries its reason and
    // does not hide the others.
    void fileInfoShouldReportEveryFile()
    {
        QTemporaryDir dir;
        const QString picture = dir.filePath(QStringLiteral("Photo.JPG"));
        QImage image(64, 48, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        QVERIFY(image.save(picture, "JPG"));
        const QString fakePicture = dir.filePath(QStringLiteral("fake.png"));
        QVERIFY(writeFile(fakePicture, "\x89PNG\r\n\x1a\n but then nothing"));
        const QString text = dir.filePath(QStringLiteral("notes.txt"));
        QVERIFY(writeFile(text, "hello"));
        const QString missing = dir.filePath(QStringLiteral("gone.mp3"));

        ExamFileInfoGetter getter;
        QSignalSpy done(&getter, &ExamFileInfoGetter::signalGetFinish);
        QVERIFY(getter.getFileInfo({picture, missing, text, fakePicture}));
        QVERIFY(!getter.getFileInfo({text})); // one request at a time
        QTRY_COMPARE(done.count(), 1);
        QVERIFY(!getter.isRunning());
        const auto result = done.at(0).at(0).value<ExamFileInfoGetterResult>();
        QVERIFY(!result.success);
        QCOMPARE(result.files.size(), 4);

        QCOMPARE(result.files.at(0).fileType, QStringLiteral("image"));
        QCOMPARE(result.files.at(0).suffix, QStringLiteral("jpg"));
        QCOMPARE(result.files.at(0).imageSize, QSize(64, 48));
        QCOMPARE(result.files.at(0).fileSize, QFileInfo(picture).size());
        QVERIFY(result.files.at(0).error.isEmpty());

        QCOMPARE(result.files.at(1).path, missing);
        QCOMPARE(result.files.at(1).fileSize, -1);
        QVERIFY(!result.files.at(1).error.isEmpty());

        QCOMPARE(result.files.at(2).fileType, QStringLiteral("file"));
        QCOMPARE(result.files.at(2).fileSize, 5);
        QVERIFY(result.files.at(2).error.isEmpty());

        QVERIFY(!result.files.at(3).error.isEmpty());

        QVERIFY(getter.getFileInfo({picture, text}));
        QTRY_COMPARE(done.count(), 2);
        QVERIFY(done.at(1).at(0).value<ExamFileInfoGetterResult>().success);
    }

private:
    OrvWebService m_service;
    QByteArray m_body;
    QString m_url;
};

QTEST_GUILESS_MAIN(ExamDownloaderTest)
#include "tst_examdownloader.moc"
