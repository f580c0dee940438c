// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvtransferqueue.h"
#include "orvwebservice.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray pattern(int size, int seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 x = quint32(seed) * 2654435761u + 1;
    for (int i = 0; i < size; ++i) {
        x = x * 1664525u + 1013904223u;
        bytes[i] = char(x >> 24);
    }
    return bytes;
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

struct Outcome
{
    bool ok = false;
    QString pathOrError;
};

// Records how every transfer of a queue ended, from the moment it is made.
class Ends
{
public:
    explicit Ends(OrvTransferQueue &queue)
    {
        QObject::connect(&queue, &OrvTransferQueue::finished, &queue,
                         [this](int id, const QString &path) { m_ends.insert(id, {true, path}); });
        QObject::connect(&queue, &OrvTransferQueue::failed, &queue,
                         [this](int id, const QString &error) { m_ends.insert(id, {false, error}); });
    }

    Outcome wait(int id, int timeoutMs = 15000)
    {
        if (!QTest::qWaitFor([&] { return m_ends.contains(id); }, timeoutMs))
            return {false, QStringLiteral("no end within %1 ms").arg(timeoutMs)};
        return m_ends.value(id);
    }

private:
    QHash<int, Outcome> m_ends;
};

// Answers each request with canned bytes, as broken as a test needs them; closes the connection
// afterwards unless the answer is to stall.
class RawHttpServer : public QObject
{
public:
    RawHttpServer()
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                socket->setParent(this);
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    m_request += socket->readAll();
                    if (!m_request.contains("\r\n\r\n"))
                        return;
                    m_request.clear();
                    socket->write(m_answer);
                    if (!m_stall)
                        socket->disconnectFromHost();
                });
            }
        });
    }
    void answer(const QByteArray &bytes, bool stall)
    {
        m_answer = bytes;
        m_stall = stall;
    }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/file.bin").arg(m_server.serverPort())); }

private:
    QTcpServer m_server;
    QByteArray m_request;
    QByteArray m_answer;
    bool m_stall = false;
};

} // namespace

class TransferQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        m_big = pattern(3 * 1024 * 1024 + 17, 1);
        m_service.addRoute("GET", "/files/big", [this](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/octet-stream", m_big, {}};
        });
        m_service.addRoute("GET", "/files/small", [](const OrvWebService::Request &request) {
            return OrvWebService::Response{200, "application/octet-stream",
                                           "small:" + request.queryValue("n").toUtf8(), {}};
        });
        m_service.addRoute("GET", "/files/missing", [](const OrvWebService::Request &) {
            return OrvWebService::Response{404, "text/plain", "not here", {}};
        });
        m_service.addRoute("GET", "/files/moved", [this](const OrvWebService::Request &request) {
            const QByteArray target = request.queryValue("to").toUtf8();
            return OrvWebService::Response{302, "text/plain", "moved", {{"Location", target}}};
        });
        m_base = m_service.baseUrl();
    }

    void init()
    {
        QVERIFY(m_dir.isValid());
        m_folder = m_dir.path() + "/target";
        m_service.clearFaults();
        m_service.clearRequests();
    }

    void cleanup()
    {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }

    void downloadsIntoTheFolderWithProgress()
    {
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        QSignalSpy progress(&queue, &OrvTransferQueue::progress);
        QSignalSpy drained(&queue, &OrvTransferQueue::drained);

        const int id = queue.enqueue(url("/files/big"), m_folder, "lesson.bin");
        QVERIFY(id > 0);
        QCOMPARE(queue.transfer(id).state, OrvTransferQueue::State::Queued);
        const Outcome out = ends.wait(id);
        QVERIFY2(out.ok, qPrintable(out.pathOrError));
        QCOMPARE(out.pathOrError, QDir(m_folder).absoluteFilePath("lesson.bin"));
        QCOMPARE(readAll(out.pathOrError), m_big);
        QCOMPARE(entries(m_folder), QStringList{"lesson.bin"}); // no temporary file left

        QVERIFY(!progress.isEmpty());
        const QList<QVariant> last = progress.last();
        QCOMPARE(last.at(1).toLongLong(), qint64(m_big.size()));
        QCOMPARE(last.at(2).toLongLong(), qint64(m_big.size()));
        QCOMPARE(drained.count(), 1);
        QCOMPARE(queue.transfer(id).state, OrvTransferQueue::State::Finished);
        QCOMPARE(queue.pendingCount(), 0);
    }

    void hostileNamesStayInsideTheFolder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("saved");
        QTest::newRow("parent steps") << "../../x" << "x";
        QTest::newRow("absolute") << (m_dir.path() + "/escaped.txt") << "escaped.txt";
        QTest::newRow("backslashes") << "..\\..\\y.txt" << "y.txt";
        QTest::newRow("empty falls back to the address") << "" << "small";
        QTest::newRow("dots fall back to the address") << ".." << "small";
    }

    void hostileNamesStayInsideTheFolder()
    {
        QFETCH(QString, name);
        QFETCH(QString, saved);
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        const int id = queue.enqueue(url("/files/small"), m_folder, name);
        const Outcome out = ends.wait(id);
        QVERIFY2(out.ok, qPrintable(out.pathOrError));
        QCOMPARE(out.pathOrError, QDir(m_folder).absoluteFilePath(saved));
        QCOMPARE(entries(m_folder), QStringList{saved});
        // Nothing was written next to the folder or above it.
        QCOMPARE(entries(m_dir.path()), QStringList{"target"});
    }

    void existingFilesAreKept()
    {
        QDir().mkpath(m_folder);
        writeFile("report.pdf", "old report");
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);

        // A batch naming the same file twice: both land, neither replaces the old one.
        const int first = queue.enqueue(url("/files/small?n=1"), m_folder, "report.pdf");
        const int second = queue.enqueue(url("/files/small?n=2"), m_folder, "report.pdf");
        QCOMPARE(queue.transfer(first).filePath, QDir(m_folder).absoluteFilePath("report(1).pdf"));
        QCOMPARE(queue.transfer(second).filePath, QDir(m_folder).absoluteFilePath("report(2).pdf"));
        QVERIFY(ends.wait(first).ok);
        QVERIFY(ends.wait(second).ok);
        QCOMPARE(readAll(m_folder + "/report.pdf"), QByteArray("old report"));
        QCOMPARE(readAll(m_folder + "/report(1).pdf"), QByteArray("small:1"));
        QCOMPARE(readAll(m_folder + "/report(2).pdf"), QByteArray("small:2"));
    }

    void aFileAppearingWhileQueuedIsKept()
    {
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        const int id = queue.enqueue(url("/files/small?n=new"), m_folder, "late.txt");
        QCOMPARE(queue.transfer(id).filePath, QDir(m_folder).absoluteFilePath("late.txt"));
        writeFile("late.txt", "someone else's");
        const Outcome out = ends.wait(id);
        QVERIFY(out.ok);
        QCOMPARE(out.pathOrError, QDir(m_folder).absoluteFilePath("late(1).txt"));
        QCOMPARE(readAll(m_folder + "/late.txt"), QByteArray("someone else's"));
    }

    void replacesOnlyWhenTheUserChose()
    {
        QDir().mkpath(m_folder);
        writeFile("chosen.txt", "old");
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        const int id = queue.enqueueFile(url("/files/small?n=fresh"), m_folder + "/chosen.txt");
        const Outcome out = ends.wait(id);
        QVERIFY(out.ok);
        QCOMPARE(readAll(m_folder + "/chosen.txt"), QByteArray("small:fresh"));
        QCOMPARE(entries(m_folder), QStringList{"chosen.txt"});
    }

    void failuresLeaveNothingBehind_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("fault"); // -1: none
        QTest::newRow("500") << "/files/big" << int(OrvWebService::Fault::Status500);
        QTest::newRow("dropped") << "/files/big" << int(OrvWebService::Fault::Drop);
        QTest::newRow("404") << "/files/missing" << -1;
        QTest::newRow("no server") << "closed" << -1;
    }

    void failuresLeaveNothingBehind()
    {
        QFETCH(QString, path);
        QFETCH(int, fault);
        if (fault >= 0)
            m_service.setFault(path, OrvWebService::Fault(fault));
        QDir().mkpath(m_folder);
        writeFile("keep.bin", "kept");
        OrvTransferQueue queue;
        Ends ends(queue);
        QUrl address = url(path);
        if (path == "closed")
            address = QUrl("http://127.0.0.1:1/files/big");
        queue.allowOrigin(address);

        // Replacing is allowed here, so a failure must not have touched the old file either.
        const int id = queue.enqueueFile(address, m_folder + "/keep.bin");
        QVERIFY(id > 0);
        const Outcome out = ends.wait(id);
        QVERIFY(!out.ok);
        QVERIFY(!out.pathOrError.isEmpty());
        QCOMPARE(queue.transfer(id).state, OrvTransferQueue::State::Failed);
        QCOMPARE(entries(m_folder), QStringList{"keep.bin"});
        QCOMPARE(readAll(m_folder + "/keep.bin"), QByteArray("kept"));
    }

    void brokenBodiesNeverReplaceTheFile_data()
    {
        const QByteArray chunked("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\n0123456789abcdef\r\n");
        const QByteArray sized("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n0123456789abcdef");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("stall");
        QTest::addColumn<QString>("error"); // empty: the download is complete
        QTest::newRow("intact chunked body") << chunked + "5\r\nabcde\r\n0\r\n\r\n" << false << QString();
        QTest::newRow("chunked, size line broken") << chunked + "zz\r\nmore\r\n0\r\n\r\n" << false << "incomplete";
        QTest::newRow("chunked, cut after a chunk") << chunked << false << "incomplete";
        QTest::newRow("chunked, chunk longer than said")
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\n0123456789abcdefXX5\r\nabcde\r\n0\r\n\r\n")
            << false << "incomplete";
        QTest::newRow("shorter than its length") << sized << false << "incomplete";
        QTest::newRow("stalled") << sized << true << "stalled";
    }

    void brokenBodiesNeverReplaceTheFile()
    {
        QFETCH(QByteArray, answer);
        QFETCH(bool, stall);
        QFETCH(QString, error);
        RawHttpServer server;
        server.answer(answer, stall);
        QDir().mkpath(m_folder);
        writeFile("keep.bin", "kept");
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.setStallTimeout(400);
        queue.allowOrigin(server.url());

        // The user chose to replace the file: only a complete download may do so.
        const int id = queue.enqueueFile(server.url(), m_folder + "/keep.bin");
        QVERIFY(id > 0);
        const Outcome out = ends.wait(id);
        if (error.isEmpty()) {
            QVERIFY2(out.ok, qPrintable(out.pathOrError));
            QCOMPARE(readAll(m_folder + "/keep.bin"), QByteArray("0123456789abcdefabcde"));
        } else {
            QVERIFY(!out.ok);
            QVERIFY2(out.pathOrError.contains(error), qPrintable(out.pathOrError));
            QCOMPARE(readAll(m_folder + "/keep.bin"), QByteArray("kept"));
        }
        QCOMPARE(entries(m_folder), QStringList{"keep.bin"}); // no temporary file left
    }

    void aNameTakenByATransferIsNotFree()
    {
        m_service.setFault("/files/small", OrvWebService::Fault::Slow, 300);
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        const QString first = QDir(m_folder).absoluteFilePath("a.pdf");
        QCOMPARE(queue.freeFilePath(m_folder, "a.pdf"), first);
        const int one = queue.enqueue(url("/files/small?n=1"), m_folder, "a.pdf");
        QVERIFY(queue.isTargeted(first));
        // What a second save dialog offers while the first download runs.
        QCOMPARE(queue.freeFilePath(m_folder, "../a.pdf"), QDir(m_folder).absoluteFilePath("a(1).pdf"));

        // Picked anyway: it was not there to be replaced, so neither download loses the other.
        const int two = queue.enqueueFile(url("/files/small?n=2"), first);
        QVERIFY(ends.wait(one).ok);
        QVERIFY(ends.wait(two).ok);
        QCOMPARE(readAll(first), QByteArray("small:1"));
        QCOMPARE(readAll(m_folder + "/a(1).pdf"), QByteArray("small:2"));
        QVERIFY(!queue.isTargeted(first));

        // A file appearing at a picked free name while the download runs is kept as well.
        const int three = queue.enqueueFile(url("/files/small?n=3"), m_folder + "/b.txt");
        QTRY_COMPARE(queue.transfer(three).state, OrvTransferQueue::State::Running);
        writeFile("b.txt", "someone else's");
        const Outcome out = ends.wait(three);
        QVERIFY(out.ok);
        QCOMPARE(out.pathOrError, QDir(m_folder).absoluteFilePath("b(1).txt"));
        QCOMPARE(readAll(m_folder + "/b.txt"), QByteArray("someone else's"));
        QCOMPARE(readAll(m_folder + "/b(1).txt"), QByteArray("small:3"));
    }

    void onlyAllowedAddressesAreFetched()
    {
        OrvTransferQueue queue;
        Ends ends(queue);
        QCOMPARE(queue.enqueue(url("/files/small"), m_folder, "a.txt"), 0);
        QCOMPARE(queue.enqueue(QUrl("file:///etc/passwd"), m_folder, "a.txt"), 0);

        queue.allowUrl(url("/files/small?n=1#fragment"));
        QVERIFY(queue.isAllowed(url("/files/small?n=1")));
        QVERIFY(!queue.isAllowed(url("/files/small?n=2")));
        QVERIFY(!queue.isAllowed(url("/files/big")));
        QCOMPARE(queue.enqueue(url("/files/small?n=2"), m_folder, "a.txt"), 0);
        QTest::qWait(50);
        QVERIFY(m_service.requests().isEmpty());

        const int id = queue.enqueue(url("/files/small?n=1"), m_folder, "a.txt");
        QVERIFY(ends.wait(id).ok);

        queue.allowOrigin(m_base);
        QVERIFY(queue.isAllowed(url("/anything")));
        QVERIFY(!queue.isAllowed(QUrl("http://127.0.0.2:" + QString::number(m_base.port()) + "/files/big")));
        queue.clearAllowList();
        QVERIFY(!queue.isAllowed(url("/files/small?n=1")));
    }

    void redirectsMustStayAllowed()
    {
        OrvTransferQueue queue;
        Ends ends(queue);
        const QUrl inside = url("/files/small?n=redirected");
        queue.allowUrl(url("/files/moved?to=" + QUrl::toPercentEncoding(inside.toString())));
        queue.allowUrl(inside);
        int id = queue.enqueue(url("/files/moved?to=" + QUrl::toPercentEncoding(inside.toString())), m_folder, "r.txt");
        Outcome out = ends.wait(id);
        QVERIFY2(out.ok, qPrintable(out.pathOrError));
        QCOMPARE(readAll(out.pathOrError), QByteArray("small:redirected"));

        const QUrl outside = url("/files/big");
        const QUrl bounce = url("/files/moved?to=" + QUrl::toPercentEncoding(outside.toString()));
        queue.allowUrl(bounce);
        m_service.clearRequests();
        id = queue.enqueue(bounce, m_folder, "big.bin");
        out = ends.wait(id);
        QVERIFY(!out.ok);
        QVERIFY(!QFile::exists(m_folder + "/big.bin"));
        for (const auto &request : m_service.requests())
            QVERIFY(request.path != "/files/big");
    }

    void runsAFewAtATimeInOrder()
    {
        m_service.setFault("/files/small", OrvWebService::Fault::Slow, 150);
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        queue.setMaxActive(2);
        int running = 0;
        int most = 0;
        QList<int> startOrder;
        connect(&queue, &OrvTransferQueue::started, this, [&](int id) {
            startOrder << id;
            most = qMax(most, ++running);
        });
        connect(&queue, &OrvTransferQueue::finished, this, [&] { --running; });
        QList<int> ids;
        for (int i = 0; i < 5; ++i)
            ids << queue.enqueue(url("/files/small?n=" + QString::number(i)), m_folder, "f.txt");
        QSignalSpy drained(&queue, &OrvTransferQueue::drained);
        QTRY_VERIFY_WITH_TIMEOUT(drained.count() >= 1, 15000);
        QCOMPARE(most, 2);
        QCOMPARE(startOrder, ids);
        QCOMPARE(entries(m_folder).size(), 5);
    }

    void cancelAndStall()
    {
        m_service.setFault("/files/big", OrvWebService::Fault::Slow, 5000);
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        const int running = queue.enqueue(url("/files/big"), m_folder, "a.bin");
        QSignalSpy started(&queue, &OrvTransferQueue::started);
        QTRY_VERIFY_WITH_TIMEOUT(started.count() >= 1, 5000);
        queue.cancel(running);
        QCOMPARE(queue.transfer(running).state, OrvTransferQueue::State::Cancelled);
        QCOMPARE(entries(m_folder), QStringList());

        queue.setStallTimeout(300);
        const int stalled = queue.enqueue(url("/files/big"), m_folder, "b.bin");
        QElapsedTimer clock;
        clock.start();
        const Outcome out = ends.wait(stalled);
        QVERIFY(!out.ok);
        QVERIFY2(out.pathOrError.startsWith("stalled"), qPrintable(out.pathOrError));
        QVERIFY(clock.elapsed() < 4000);
        QCOMPARE(entries(m_folder), QStringList());
    }

    void refusesUnwritableFolders()
    {
        writeFile("plainfile", "x");
        OrvTransferQueue queue;
        Ends ends(queue);
        queue.allowOrigin(m_base);
        QCOMPARE(queue.enqueue(url("/files/small"), m_dir.path() + "/plainfile", "a.txt"), 0);
        QCOMPARE(queue.enqueue(url("/files/small"), QString(), "a.txt"), 0);
    }

private:
    QUrl url(const QString &pathAndQuery) const { return QUrl(m_base.toString() + pathAndQuery); }

    void writeFile(const QString &name, const QByteArray &content)
    {
        const QString folder = name == "plainfile" ? m_dir.path() : m_folder;
        QDir().mkpath(folder);
        QFile file(folder + "/" + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    OrvWebService m_service;
    QUrl m_base;
    QByteArray m_big;
    QTemporaryDir m_dir;
    QString m_folder;
};

QTEST_GUILESS_MAIN(TransferQueueTest)
#include "tst_transferqueue.moc"
