// SPDX-License-Identifier: LGPL-2.1-or-later
// The file upload service against the local web service's exam-file and object-storage routes.
#include "fileuploadmanager.h"
#include "orvexamservice.h"
#include "orvhttpmanager.h"
#include "orvwebservice.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <thread>

namespace {

struct Answer
{
    int calls = 0;
    QString taskId;
    QJsonObject data;
    int networkError = -1;
    int errorNo = -1;
    QString errorText;
    QThread *thread = nullptr;
};

FileUploadManager::UploadCallback recordInto(Answer *answer)
{
    return [answer](const QString &taskId, const QJsonObject &data, int networkError, int errorNo, const QString &text) {
        ++answer->calls;
        answer->taskId = taskId;
        answer->data = data;
        answer->networkError = networkError;
        answer->errorNo = errorNo;
        answer->errorText = text;
        answer->thread = QThread::currentThread();
    };
}

QByteArray fetch(const QUrl &url, int *status = nullptr, QNetworkReply::RawHeaderPair *header = nullptr,
                 const QByteArray &headerName = {})
{
    QNetworkAccessManager nam;
    QNetworkReply *reply = nam.get(QNetworkRequest(url));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (status)
        *status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (header)
        *header = {headerName, reply->rawHeader(headerName)};
    const QByteArray body = reply->readAll();
    delete reply;
    return body;
}

} // namespace

class FileUploadManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_exams.install(m_service);
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        QVERIFY(m_dir.isValid());
        m_photo = m_dir.filePath(QStringLiteral("answer \"1\".jpg"));
        QFile f(m_photo);
        QVERIFY(f.open(QIODevice::WriteOnly));
        m_bytes = QByteArray(300 * 1024, 'x');
        for (int i = 0; i < m_bytes.size(); ++i)
            m_bytes[i] = char((quint32(i) * 7919u) >> 3);
        f.write(m_bytes);
    }

    void cleanupTestCase()
    {
        FileUploadManager::release();
        m_service.stop();
    }

    void init()
    {
        m_service.clearFaults();
        for (const char *path : {OrvExamService::ExamFilePath, OrvExamService::CosUploadPath})
            m_exams.setMisbehave(QLatin1String(path), OrvExamService::Misbehave::None);
    }

    // The web service's endpoint: the bytes arrive whole, the answer carries their address, the
    // callback runs once on the asking thread, progress reaches the end.
    void nasUploadShouldStoreTheFileAndAnswerItsAddress()
    {
        auto *manager = FileUploadManager::instance();
        QSignalSpy progress(manager, &FileUploadManager::uploadProgress);
        Answer answer;
        manager->requestUploadExamFile(m_photo, QStringLiteral("task-nas"), recordInto(&answer));
        QTRY_COMPARE(answer.calls, 1);
        QCOMPARE(answer.networkError, 0);
        QCOMPARE(answer.errorNo, 1);
        QCOMPARE(answer.taskId, QStringLiteral("task-nas"));
        QCOMPARE(answer.thread, QThread::currentThread());
        QVERIFY(!answer.data.value(QStringLiteral("isCosPath")).toBool());
        const QString address = answer.data.value(QStringLiteral("imageUrl")).toString();
        QVERIFY2(address.startsWith(m_service.baseUrl().toString() + QStringLiteral("/exam/files/")), qPrintable(address));
        QVERIFY(address.endsWith(QLatin1String(".jpg")));

        int status = 0;
        QNetworkReply::RawHeaderPair disposition;
        QCOMPARE(fetch(QUrl(address), &status, &disposition, "Content-Disposition"), m_bytes);
        QCOMPARE(status, 200);
        QVERIFY(disposition.second.startsWith("attachment"));

        QTRY_VERIFY(!progress.isEmpty());
        const auto last = progress.constLast();
        QCOMPARE(last.at(0).toString(), QStringLiteral("task-nas"));
        QCOMPARE(last.at(1).toLongLong(), last.at(2).toLongLong());
        QVERIFY(last.at(2).toLongLong() >= m_bytes.size());
        QCOMPARE(m_exams.storedFiles().constLast().taskId, QStringLiteral("task-nas"));
        QCOMPARE(m_exams.storedFiles().constLast().fileName, QStringLiteral("answer _1_.jpg"));
        QCOMPARE(manager->pendingCount(), 0);
        QTest::qWait(50);
        QCOMPARE(answer.calls, 1);
    }

    // The object storage: a key under the prefix, marked as a storage path; the address made from
    // it serves the same bytes.
    void cosUploadShouldStoreUnderThePrefix()
    {
        auto *manager = FileUploadManager::instance();
        Answer answer;
        auto cos = std::make_shared<CosUploadPathPrefixPod>(CosUploadPathPrefixPod::examImages(QStringLiteral("20240131")));
        manager->requestUploadExamFile(m_photo, QStringLiteral("task-cos"), recordInto(&answer), cos);
        QTRY_COMPARE(answer.calls, 1);
        QCOMPARE(answer.errorNo, 1);
        QVERIFY(answer.data.value(QStringLiteral("isCosPath")).toBool());
        const QString key = answer.data.value(QStringLiteral("imageUrl")).toString();
        QVERIFY2(key.startsWith(QStringLiteral("exam/answer/20240131/")), qPrintable(key));
        const OrvExamService::StoredFile stored = m_exams.storedFiles().constLast();
        QCOMPARE(stored.tokenKind, QStringLiteral("exam"));
        QCOMPARE(stored.prefix, QStringLiteral("exam/answer/20240131"));

        const QString address = manager->cosPathToUrl(key);
        QCOMPARE(address, m_service.baseUrl().toString() + QStringLiteral("/cos/") + key);
        QCOMPARE(fetch(QUrl(address)), m_bytes);

        // Another storage host; keys that climb out or are already addresses.
        manager->setObjectStorageBaseUrl(QUrl(QStringLiteral("https://objects.example")));
        QCOMPARE(manager->cosPathToUrl(QStringLiteral("a/b c.jpg")), QStringLiteral("https://objects.example/cos/a/b%20c.jpg"));
        QCOMPARE(manager->cosPathToUrl(QStringLiteral("a/../../etc")), QString());
        QCOMPARE(manager->cosPathToUrl(QString()), QString());
        QCOMPARE(manager->cosPathToUrl(QStringLiteral("https://cdn.example/x.jpg")), QStringLiteral("https://cdn.example/x.jpg"));
        manager->setObjectStorageBaseUrl(QUrl());
    }

    void failuresShouldReachTheCallbackOnce_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("fault");     // -1 none
        QTest::addColumn<int>("misbehave"); // OrvExamService::Misbehave
        QTest::addColumn<bool>("cos");
        QTest::addColumn<int>("networkError");
        QTest::addColumn<int>("errorNo");
        QTest::addColumn<QString>("text"); // empty: the translated string ID is checked

        const QString nas = QLatin1String(OrvExamService::ExamFilePath);
        const QString cos = QLatin1String(OrvExamService::CosUploadPath);
        QTest::newRow("HTTP 500") << nas << int(OrvWebService::Fault::Status500) << 0 << false
                                  << int(QNetworkReply::InternalServerError) << 0 << QString();
        QTest::newRow("garbage") << nas << int(OrvWebService::Fault::Garbage) << 0 << false
                                 << int(FileUploadManager::BadReplyError) << 0 << QString();
        QTest::newRow("dropped") << cos << int(OrvWebService::Fault::Drop) << 0 << true
                                 << int(QNetworkReply::RemoteHostClosedError) << 0 << QString();
        QTest::newRow("refused") << nas << -1 << int(OrvExamService::Misbehave::Refuse) << false << 0
                                 << OrvExamService::RefusedErrorNo << QStringLiteral("uploads are closed for this exam");
        QTest::newRow("no imageUrl") << nas << -1 << int(OrvExamService::Misbehave::MissingFields) << false
                                     << int(FileUploadManager::BadReplyError) << 0 << QString();
        QTest::newRow("imageUrl not text") << cos << -1 << int(OrvExamService::Misbehave::BadValues) << true
                                           << int(FileUploadManager::BadReplyError) << 0 << QString();
    }

    void failuresShouldReachTheCallbackOnce()
    {
        QFETCH(QString, path);
        QFETCH(int, fault);
        QFETCH(int, misbehave);
        QFETCH(bool, cos);
        QFETCH(int, networkError);
        QFETCH(int, errorNo);
        QFETCH(QString, text);
        if (fault >= 0)
            m_service.setFault(path, OrvWebService::Fault(fault));
        m_exams.setMisbehave(path, OrvExamService::Misbehave(misbehave));

        Answer answer;
        FileUploadManager::instance()->requestUploadExamFile(
            m_photo, QStringLiteral("task-fail"), recordInto(&answer),
            cos ? std::make_shared<CosUploadPathPrefixPod>(CosUploadPathPrefixPod::examImages(QStringLiteral("1"))) : nullptr);
        QTRY_COMPARE(answer.calls, 1);
        QCOMPARE(answer.networkError, networkError);
        QCOMPARE(answer.errorNo, errorNo);
        if (text.isEmpty())
            QCOMPARE(answer.errorText, FileUploadManager::uploadErrorToStringId(networkError, errorNo));
        else
            QCOMPARE(answer.errorText, text);
        QVERIFY(!answer.errorText.isEmpty());
        QTest::qWait(50);
        QCOMPARE(answer.calls, 1);
    }

    // Files that cannot be sent end before anything is posted.
    void badFilesShouldFailWithoutARequest_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("networkError");
        QTest::newRow("missing") << QStringLiteral("gone.jpg") << int(FileUploadManager::FileNotFoundError);
        QTest::newRow("empty") << QStringLiteral("empty.jpg") << int(FileUploadManager::EmptyFileError);
        QTest::newRow("a folder") << QStringLiteral("folder") << int(FileUploadManager::FileNotFoundError);
    }

    void badFilesShouldFailWithoutARequest()
    {
        QFETCH(QString, name);
        QFETCH(int, networkError);
        QFile(m_dir.filePath(QStringLiteral("empty.jpg"))).open(QIODevice::WriteOnly);
        QDir(m_dir.path()).mkpath(QStringLiteral("folder"));
        m_service.clearRequests();
        Answer answer;
        FileUploadManager::instance()->requestUploadExamFile(m_dir.filePath(name), QStringLiteral("task-bad"),
                                                             recordInto(&answer));
        QTRY_COMPARE(answer.calls, 1);
        QCOMPARE(answer.networkError, networkError);
        QCOMPARE(answer.errorNo, 0);
        QCOMPARE(answer.errorText, FileUploadManager::uploadErrorToStringId(networkError, 0));
        QVERIFY(m_service.requests().isEmpty());
    }

    void unknownTokenKindShouldBeRefused()
    {
        Answer answer;
        FileUploadManager::instance()->requestUploadExamFile(
            m_photo, QStringLiteral("task-kind"), recordInto(&answer),
            std::make_shared<CosUploadPathPrefixPod>(CosUploadPathPrefixPod{QStringLiteral("a"), QStringLiteral("admin")}));
        QTRY_COMPARE(answer.calls, 1);
        QCOMPARE(answer.errorNo, OrvExamService::BadFieldErrorNo);
    }

    // A server that never answers: cancelling ends the upload, and its callback never runs.
    void cancelShouldDropTheCallback()
    {
        m_service.setFault(QLatin1String(OrvExamService::ExamFilePath), OrvWebService::Fault::Hang);
        m_service.clearRequests();
        auto *manager = FileUploadManager::instance();
        Answer answer;
        manager->requestUploadExamFile(m_photo, QStringLiteral("task-hang"), recordInto(&answer));
        QTRY_COMPARE(m_service.requests().size(), 1);
        QCOMPARE(manager->pendingCount(), 1);

        // The same id again while it runs: refused, the first goes on.
        Answer duplicate;
        manager->requestUploadExamFile(m_photo, QStringLiteral("task-hang"), recordInto(&duplicate));
        QTRY_COMPARE(duplicate.calls, 1);
        QCOMPARE(duplicate.networkError, int(FileUploadManager::DuplicateTaskError));
        QCOMPARE(manager->pendingCount(), 1);

        manager->cancelUpload(QStringLiteral("task-hang"));
        QCOMPARE(manager->pendingCount(), 0);
        manager->cancelUpload(QStringLiteral("task-hang")); // twice: nothing
        QTest::qWait(200);
        QCOMPARE(answer.calls, 0);
    }

    // A plain thread with its own event loop, as the upload keeper's threads are.
    void callbackShouldRunOnAPlainThread()
    {
        QThread *callbackThread = nullptr;
        QThread *askingThread = nullptr;
        int calls = 0;
        std::thread worker([&] {
            askingThread = QThread::currentThread();
            QEventLoop loop;
            FileUploadManager::instance()->requestUploadExamFile(
                m_photo, QStringLiteral("task-thread"),
                [&](const QString &, const QJsonObject &, int, int errorNo, const QString &) {
                    ++calls;
                    callbackThread = errorNo == 1 ? QThread::currentThread() : nullptr;
                    loop.quit();
                });
            loop.exec();
        });
        worker.join();
        QCOMPARE(calls, 1);
        QVERIFY(callbackThread);
        QCOMPARE(callbackThread, askingThread);
        QVERIFY(callbackThread != QThread::currentThread());
    }

private:
    OrvWebService m_service;
    OrvExamService m_exams;
    QTemporaryDir m_dir;
    QString m_photo;
    QByteArray m_bytes;
};

QTEST_GUILESS_MAIN(FileUploadManagerTest)
#include "tst_fileuploadmanager.moc"
