// SPDX-License-Identifier: LGPL-2.1-or-later
// The upload keeper of edited exam images: its pool of three, uploads against the local web
// service, the state sent to the page, retry on request, delete, the time limit, release.
#include "ExamImageUplaodTasks.h"
#include "ExamImageUploader.h"
#include "ExamUploadObject.h"
#include "fileuploadmanager.h"
#include "imagesamples.h"
#include "orvexamservice.h"
#include "orvhttpmanager.h"
#include "orvwebservice.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>

namespace {

QString json(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QJsonObject image(const QString &key, const QString &path, int index)
{
    return QJsonObject{{QStringLiteral("imageKey"), key}, {QStringLiteral("imgUrl"), path},
                       {QStringLiteral("index"), index},   {QStringLiteral("status"), 0},
                       {QStringLiteral("longTerm"), false}};
}

QJsonObject imageOf(const QJsonObject &state, const QString &questionId, const QString &key)
{
    for (const QJsonValue &q : state.value(QStringLiteral("questionList")).toArray()) {
        if (q.toObject().value(QStringLiteral("questionId")).toString() != questionId)
            continue;
        for (const QJsonValue &i : q.toObject().value(QStringLiteral("imgList")).toArray()) {
            if (i.toObject().value(QStringLiteral("imageKey")).toString() == key)
                return i.toObject();
        }
    }
    return QJsonObject();
}

int statusOf(const QString &questionId, const QString &key)
{
    const QJsonObject i = imageOf(ExamUploadObject::instance()->getCommitExamEditImgsInfo(), questionId, key);
    return i.isEmpty() ? -1 : i.value(QStringLiteral("status")).toInt();
}

} // namespace

class ExamUploadObjectTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_exams.install(m_service);
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        QVERIFY(m_dir.isValid());
        for (int i = 0; i < 6; ++i) {
            const QString path = m_dir.filePath(QStringLiteral("answer%1.jpg").arg(i));
            QVERIFY(ImageSamples::writeFile(path, ImageSamples::encode(ImageSamples::cameraLike({640, 480}, quint32(i + 1)), "jpg", 85)));
            m_paths << path;
        }
        auto *keeper = ExamUploadObject::instance();
        QVERIFY(keeper);
        QVERIFY(keeper->thread() != QThread::currentThread());
        // Queued to this thread, as the exam bridge receives them.
        connect(keeper, &ExamUploadObject::signalCommitExamEditImgsInfo, this,
                [this](const QJsonObject &state) { m_sent.append(state); });
        connect(keeper, &ExamUploadObject::signalUploadFileResourceFinish, this,
                [this](bool success, const QJsonObject &) { m_finished.append(success); });
        connect(keeper, &ExamUploadObject::signalSingleUploadFinish, this,
                [this](const QString &, const QString &, const ImageInfo &info) { m_singles.append(info); });
    }

    void init()
    {
        m_service.clearFaults();
        m_service.clearRequests();
        m_exams.setUploadDelay(0);
        m_exams.resetStats();
        m_sent.clear();
        m_finished.clear();
        m_singles.clear();
        ExamImageUploader::setTimeoutMs(ExamImageUploader::DefaultTimeoutMs);
        ExamUploadObject::instance()->setSendToWeb(true);
    }

    // The pool alone: three run, the others wait in order and start as places free up; a deleted
    // waiting task never runs.
    void poolShouldRunThreeAtATime()
    {
        ExamImageUplaodTasks pool;
        std::atomic_int running{0};
        std::atomic_int most{0};
        QSemaphore release;
        QVector<int> order;
        QMutex orderMutex;
        for (int id = 1; id <= 6; ++id) {
            pool.addTask(id, [&, id] {
                {
                    QMutexLocker lock(&orderMutex);
                    order.append(id);
                }
                const int now = ++running;
                int seen = most;
                while (now > seen && !most.compare_exchange_weak(seen, now)) {
                }
                release.acquire();
                --running;
            });
        }
        pool.deleteTask(5);
        pool.checkTasks();
        QTRY_COMPARE(running.load(), 3);
        QCOMPARE(pool.runningCount(), 3);
        QCOMPARE(pool.taskCount(), 5);
        QCOMPARE(pool.taskIds(), (QList<int>{1, 2, 3, 4, 6}));
        QVERIFY(pool.isRunning(1) && pool.isRunning(3) && !pool.isRunning(4));
        QTest::qWait(50);
        QCOMPARE(running.load(), 3); // the fourth waits

        release.release(1);
        QTRY_COMPARE(pool.taskCount(), 4);
        QTRY_COMPARE(running.load(), 3);
        release.release(4);
        QTRY_COMPARE(pool.taskCount(), 0);
        QCOMPARE(most.load(), 3);
        QCOMPARE(order.size(), 5);
        QVERIFY(!order.contains(5));
        QCOMPARE(QSet<int>(order.begin(), order.begin() + 3), (QSet<int>{1, 2, 3}));
        QCOMPARE(order.mid(3), (QVector<int>{4, 6}));
    }

    // Five images through the keeper: never more than three on the server at once, every image
    // uploaded, the page told after each, the addresses serving the files.
    void keeperShouldUploadEveryImage()
    {
        auto *keeper = ExamUploadObject::instance();
        m_exams.setUploadDelay(300);
        const QJsonObject state{
            {QStringLiteral("examId"), QStringLiteral("exam-1")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0), image("b", m_paths[1], 1),
                                                                           image("c", QUrl::fromLocalFile(m_paths[2]).toString(), 2)}}},
                        QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q2")},
                                    {QStringLiteral("imgList"), QJsonArray{image("d", m_paths[3], 0), image("e", m_paths[4], 1)}}}}}};
        QVERIFY(keeper->setCommitExamEditImgsInfo(state));
        QVERIFY(keeper->isValidCommitExamEditImgsInfo());
        keeper->startUpload();
        QVERIFY(keeper->checkUploadState());
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), int(ImageInfo::StatusUploading));

        int mostRunning = 0;
        QElapsedTimer clock;
        clock.start();
        while (keeper->checkUploadState() && clock.elapsed() < 30000) {
            mostRunning = qMax(mostRunning, keeper->tasks()->runningCount());
            QTest::qWait(5);
        }
        QVERIFY(!keeper->checkUploadState());
        QVERIFY(mostRunning <= 3);
        QCOMPARE(m_exams.maxConcurrentUploads(), 3);
        QTRY_COMPARE(m_sent.size(), 5);
        QTRY_COMPARE(m_finished, QVector<bool>{true});
        QCOMPARE(m_singles.size(), 5);

        const QJsonObject last = m_sent.constLast();
        QCOMPARE(last.value(QStringLiteral("examId")).toString(), QStringLiteral("exam-1"));
        const QStringList keys{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
        for (int i = 0; i < 5; ++i) {
            const QString question = i < 3 ? QStringLiteral("q1") : QStringLiteral("q2");
            const QString key = QString(QChar('a' + i));
            const QJsonObject entry = imageOf(last, question, key);
            QCOMPARE(entry.value(QStringLiteral("status")).toInt(), int(ImageInfo::StatusUploaded));
            const QString address = entry.value(QStringLiteral("imgUrl")).toString();
            QVERIFY2(address.startsWith(m_service.baseUrl().toString()), qPrintable(address));
            QFile file(m_paths[i]);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(m_exams.storedBytes(address), file.readAll());
        }
        // Each push is the whole state, with one more image done than the one before.
        for (int n = 0; n < m_sent.size(); ++n) {
            int done = 0;
            for (const QString &key : {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")})
                done += imageOf(m_sent[n], QStringLiteral("q1"), key).value(QStringLiteral("status")).toInt() == 2;
            for (const QString &key : {QStringLiteral("d"), QStringLiteral("e")})
                done += imageOf(m_sent[n], QStringLiteral("q2"), key).value(QStringLiteral("status")).toInt() == 2;
            QCOMPARE(done, n + 1);
        }
        Q_UNUSED(keys)
    }

    // The object storage when the setting asks for it.
    void objectStorageShouldBeUsedOnRequest()
    {
        auto *keeper = ExamUploadObject::instance();
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-cos")},
            {QStringLiteral("questionList"), QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0)}}}}}}));
        ImageInfo info;
        QVERIFY(ImageInfo::fromJson(image("a", m_paths[0], 0), &info));
        QVERIFY(keeper->addUploadTask(0, 0, info, true));
        QCOMPARE(info.status, int(ImageInfo::StatusUploading));
        QTRY_COMPARE(m_sent.size(), 1);
        const QString address = imageOf(m_sent[0], QStringLiteral("q1"), QStringLiteral("a")).value(QStringLiteral("imgUrl")).toString();
        QVERIFY2(address.startsWith(m_service.baseUrl().toString() + QStringLiteral("/cos/exam/answer/")), qPrintable(address));
        QCOMPARE(m_exams.storedFiles().constLast().tokenKind, QStringLiteral("exam"));
    }

    // A server that never answers: each upload ends as failed at the time limit, and nothing is
    // sent again until the page asks; then only the failed images of that question go again.
    void timeLimitAndRetryOnRequest()
    {
        // The limit as the uploader sets it: one shot of 40 s from the start.
        m_service.setFault(QLatin1String(OrvExamService::ExamFilePath), OrvWebService::Fault::Hang);
        {
            ExamImageUploader uploader;
            uploader.uploadFile(m_paths[0], 7, false);
            QVERIFY(uploader.timeoutTimer()->isActive());
            QVERIFY(uploader.timeoutTimer()->isSingleShot());
            QCOMPARE(uploader.timeoutTimer()->interval(), 40000);
            QTRY_COMPARE(m_service.requests().size(), 1);
        } // gone: its upload is cancelled
        QTRY_COMPARE(FileUploadManager::instance()->pendingCount(), 0);

        ExamImageUploader::setTimeoutMs(300);
        auto *keeper = ExamUploadObject::instance();
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-2")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0), image("b", m_paths[1], 1)}}},
                        QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q2")},
                                    {QStringLiteral("imgList"), QJsonArray{image("c", m_paths[2], 0)}}}}}}));
        m_service.clearRequests();
        keeper->startUpload();
        QTRY_COMPARE_WITH_TIMEOUT(m_finished, QVector<bool>{false}, 20000);
        for (const auto &[q, k] : {std::pair{"q1", "a"}, std::pair{"q1", "b"}, std::pair{"q2", "c"}})
            QCOMPARE(statusOf(QLatin1String(q), QLatin1String(k)), int(ImageInfo::StatusFailed));
        QCOMPARE(m_sent.size(), 3);
        QTRY_COMPARE(FileUploadManager::instance()->pendingCount(), 0);
        const int requestsAfterFailure = m_service.requests().size();
        QCOMPARE(requestsAfterFailure, 3);
        QTest::qWait(700); // longer than the limit: no automatic retry
        QCOMPARE(m_service.requests().size(), requestsAfterFailure);

        // Another exam: nothing. Broken text: nothing.
        keeper->examFailEditImgsReloadUpload(json({{QStringLiteral("examId"), QStringLiteral("exam-9")},
                                                   {QStringLiteral("questionId"), QStringLiteral("q1")}}),
                                             QStringLiteral("k"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("parse json error!")));
        keeper->examFailEditImgsReloadUpload(QStringLiteral("{\"examId\": "), QStringLiteral("k"));
        QVERIFY(!keeper->checkUploadState());
        QTest::qWait(100);
        QCOMPARE(m_service.requests().size(), requestsAfterFailure);

        // The page asks for question 1: its two images go again, question 2's stays failed.
        m_service.clearFaults();
        m_sent.clear();
        m_finished.clear();
        keeper->examFailEditImgsReloadUpload(json({{QStringLiteral("examId"), QStringLiteral("exam-2")},
                                                   {QStringLiteral("questionId"), QStringLiteral("q1")}}),
                                             QStringLiteral("k"));
        QTRY_COMPARE(m_sent.size(), 2);
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), int(ImageInfo::StatusUploaded));
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("b")), int(ImageInfo::StatusUploaded));
        QCOMPARE(statusOf(QStringLiteral("q2"), QStringLiteral("c")), int(ImageInfo::StatusFailed));
        QCOMPARE(m_service.requests().size(), requestsAfterFailure + 2);
        QTRY_COMPARE(m_finished, QVector<bool>{false}); // all ended, one still failed
    }

    // Replies that are no success: the image fails, the others are not lost.
    void badAnswersShouldFailOnlyTheirImage()
    {
        auto *keeper = ExamUploadObject::instance();
        m_exams.setMisbehave(QLatin1String(OrvExamService::ExamFilePath), OrvExamService::Misbehave::MissingFields);
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-3")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0)}}}}}}));
        keeper->startUpload();
        QTRY_COMPARE(m_sent.size(), 1);
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), int(ImageInfo::StatusFailed));
        // Its local path stays, so a retry finds the file.
        QCOMPARE(imageOf(keeper->getCommitExamEditImgsInfo(), QStringLiteral("q1"), QStringLiteral("a"))
                     .value(QStringLiteral("imgUrl")).toString(), m_paths[0]);
        m_exams.setMisbehave(QLatin1String(OrvExamService::ExamFilePath), OrvExamService::Misbehave::None);
        keeper->examFailEditImgsReloadUpload(json({{QStringLiteral("examId"), QStringLiteral("exam-3")},
                                                   {QStringLiteral("questionId"), QStringLiteral("q1")}}),
                                             QString());
        QTRY_COMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), int(ImageInfo::StatusUploaded));
    }

    // A file removed before its upload: logged, never sent, marked failed for the page.
    void missingFileShouldNeverBeQueued()
    {
        auto *keeper = ExamUploadObject::instance();
        const QString gone = m_dir.filePath(QStringLiteral("gone.jpg"));
        QVERIFY(QFile::copy(m_paths[0], gone));
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-4")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", gone, 0), image("b", m_paths[1], 1)}}}}}}));
        QVERIFY(QFile::remove(gone));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("image file is not exist")));
        keeper->startUpload();
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), int(ImageInfo::StatusFailed));
        QTRY_COMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("b")), int(ImageInfo::StatusUploaded));
        QCOMPARE(m_service.requests().size(), 1);
        QCOMPARE(m_exams.storedFiles().constLast().fileName, QStringLiteral("answer1.jpg"));
    }

    // Deleting images stops their uploads; the others go on.
    void deleteShouldStopTheirUploads()
    {
        auto *keeper = ExamUploadObject::instance();
        m_service.setFault(QLatin1String(OrvExamService::ExamFilePath), OrvWebService::Fault::Hang);
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-5")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0), image("b", m_paths[1], 1)}}},
                        QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q2")},
                                    {QStringLiteral("imgList"), QJsonArray{image("c", m_paths[2], 0), image("d", m_paths[3], 1)}}}}}}));
        keeper->startUpload();
        QTRY_COMPARE(m_service.requests().size(), 3);
        QCOMPARE(keeper->tasks()->taskCount(), 4);
        QVERIFY(keeper->isHaveUploadTask(ExamUploadObject::taskId(1, 1)));

        keeper->examDeleteEditImageItem(json({{QStringLiteral("examId"), QStringLiteral("exam-5")},
                                              {QStringLiteral("questionId"), QStringLiteral("q1")},
                                              {QStringLiteral("imageKey"), QStringLiteral("a")}}),
                                        QString());
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("a")), -1);
        QCOMPARE(keeper->tasks()->taskCount(), 3);
        QVERIFY(!keeper->isHaveUploadTask(ExamUploadObject::taskId(0, 0)));
        QTRY_COMPARE(m_service.requests().size(), 4); // the waiting one took the free place

        keeper->examDeleteEditImageItem(json({{QStringLiteral("examId"), QStringLiteral("exam-5")},
                                              {QStringLiteral("questionId"), QStringLiteral("q2")},
                                              {QStringLiteral("deleteAll"), true}}),
                                        QString());
        QCOMPARE(keeper->tasks()->taskCount(), 1);
        QCOMPARE(statusOf(QStringLiteral("q2"), QStringLiteral("c")), -1);
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("b")), int(ImageInfo::StatusUploading));
        // Another exam's delete changes nothing.
        keeper->examDeleteEditImageItem(json({{QStringLiteral("examId"), QStringLiteral("exam-0")},
                                              {QStringLiteral("questionId"), QStringLiteral("q1")},
                                              {QStringLiteral("deleteAll"), true}}),
                                        QString());
        QCOMPARE(statusOf(QStringLiteral("q1"), QStringLiteral("b")), int(ImageInfo::StatusUploading));
        QTRY_COMPARE(FileUploadManager::instance()->pendingCount(), 1);
        QTest::qWait(100);
        QVERIFY(m_sent.isEmpty()); // deleted uploads tell the page nothing
    }

    void badStateShouldBeRefusedWhole_data()
    {
        QTest::addColumn<QJsonObject>("state");
        QTest::newRow("no exam id") << QJsonObject{{QStringLiteral("questionList"), QJsonArray()}};
        QTest::newRow("questions not an array") << QJsonObject{{QStringLiteral("examId"), QStringLiteral("x")},
                                                               {QStringLiteral("questionList"), QStringLiteral("[]")}};
        QTest::newRow("image without key")
            << QJsonObject{{QStringLiteral("examId"), QStringLiteral("x")},
                           {QStringLiteral("questionList"), QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q")},
                                                                                   {QStringLiteral("imgList"), QJsonArray{QJsonObject{}}}}}}};
        QTest::newRow("status as text")
            << QJsonObject{{QStringLiteral("examId"), QStringLiteral("x")},
                           {QStringLiteral("questionList"),
                            QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q")},
                                                   {QStringLiteral("imgList"), QJsonArray{QJsonObject{{QStringLiteral("imageKey"), QStringLiteral("k")},
                                                                                                      {QStringLiteral("status"), QStringLiteral("2")}}}}}}}};
        QTest::newRow("a key twice")
            << QJsonObject{{QStringLiteral("examId"), QStringLiteral("x")},
                           {QStringLiteral("questionList"),
                            QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q")},
                                                   {QStringLiteral("imgList"), QJsonArray{image("k", QString(), 0), image("k", QString(), 1)}}}}}};
    }

    void badStateShouldBeRefusedWhole()
    {
        QFETCH(QJsonObject, state);
        auto *keeper = ExamUploadObject::instance();
        const QJsonObject before = keeper->getCommitExamEditImgsInfo();
        QVERIFY(!keeper->setCommitExamEditImgsInfo(state));
        QCOMPARE(keeper->getCommitExamEditImgsInfo(), before);
    }

    void examMaps()
    {
        auto *keeper = ExamUploadObject::instance();
        keeper->setCourseIdForExamId(QStringLiteral("e"), QStringLiteral("c1"));
        QCOMPARE(keeper->getCourseIdByExamId(QStringLiteral("e")), QStringLiteral("c1"));
        QCOMPARE(keeper->getCourseIdByExamId(QStringLiteral("none")), QString());
        keeper->addExamImages(QStringLiteral("e"), QJsonArray{QJsonObject{{QStringLiteral("k"), 1}}});
        keeper->addExamImages(QStringLiteral("e"), QJsonArray{QJsonObject{{QStringLiteral("k"), 2}}});
        QCOMPARE(keeper->getExamImages(QStringLiteral("e")).size(), 2);
        QCOMPARE(keeper->getExamImageItem(QStringLiteral("e"), 1).value(QStringLiteral("k")).toInt(), 2);
        QVERIFY(keeper->getExamImageItem(QStringLiteral("e"), 2).isEmpty());
        QVERIFY(keeper->removeExamImageItem(QStringLiteral("e"), 0));
        QVERIFY(!keeper->removeExamImageItem(QStringLiteral("e"), 5));
        QCOMPARE(keeper->getExamImageItem(QStringLiteral("e"), 0).value(QStringLiteral("k")).toInt(), 2);
        keeper->changeExamImages(QStringLiteral("e"), QJsonArray{1, 2, 3});
        QCOMPARE(keeper->getExamImages(QStringLiteral("e")).size(), 3);
        keeper->removeExamImages(QStringLiteral("e"));
        QVERIFY(keeper->getExamImages(QStringLiteral("e")).isEmpty());
        keeper->addOldExamImages(QStringLiteral("e"), QJsonArray{7});
        QCOMPARE(keeper->getOldExamImages(QStringLiteral("e")), QJsonArray{7});
        keeper->removeOldExamImages(QStringLiteral("e"));
        QVERIFY(keeper->getOldExamImages(QStringLiteral("e")).isEmpty());
    }

    // Release with an upload hanging: it ends at once, for good.
    void releaseShouldStopEverythingForGood()
    {
        auto *keeper = ExamUploadObject::instance();
        m_service.setFault(QLatin1String(OrvExamService::ExamFilePath), OrvWebService::Fault::Hang);
        QVERIFY(keeper->setCommitExamEditImgsInfo(QJsonObject{
            {QStringLiteral("examId"), QStringLiteral("exam-6")},
            {QStringLiteral("questionList"),
             QJsonArray{QJsonObject{{QStringLiteral("questionId"), QStringLiteral("q1")},
                                    {QStringLiteral("imgList"), QJsonArray{image("a", m_paths[0], 0)}}}}}}));
        keeper->startUpload();
        QTRY_COMPARE(m_service.requests().size(), 1);
        QElapsedTimer clock;
        clock.start();
        ExamUploadObject::release();
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("ExamUploadObject instance has destroyed")));
        QVERIFY(!ExamUploadObject::instance());
        ExamUploadObject::release(); // twice: nothing
    }

    void cleanupTestCase()
    {
        FileUploadManager::release();
        m_service.stop();
    }

private:
    OrvWebService m_service;
    OrvExamService m_exams;
    QTemporaryDir m_dir;
    QStringList m_paths;
    QVector<QJsonObject> m_sent;
    QVector<bool> m_finished;
    QVector<ImageInfo> m_singles;
};

QTEST_GUILESS_MAIN(ExamUploadObjectTest)
#include "tst_examuploadobject.moc"
