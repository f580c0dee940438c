// SPDX-License-Identifier: LGPL-2.1-or-later
// Pictures for exam answers end to end: the reference answer sheet in a real view asks for
// pictures by each way of gathering them, the bridge shrinks and uploads them to the local web
// service one after another, and the page receives one answer with every address, in order.
// Failures in the middle, a server that never answers, phones, screenshots and edited pictures.
#include "ExamUploadObject.h"
#include "ExamUtils.h"
#include "PrScrnHelper.h"
#include "ScreenshotWidget.h"
#include "UploadImageByQRCodeWidget.h"
#include "bridgedialogs.h"
#include "capturetestutils.h"
#include "coreengine.h"
#include "contactsengine.h"
#include "fileuploadmanager.h"
#include "imageeditor.h"
#include "imagesamples.h"
#include "imexamcloudwebbride.h"
#include "imsignalobject.h"
#include "orvclouddisk.h"
#include "orvexamservice.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "waitingspinnerwidget.h"
#include "webtestutils.h"

#include <QDir>
#include <QDirIterator>
#include <QImageReader>
#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace WebTest;

namespace {

QSize pictureSize(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer);
    return reader.size();
}

// The answers the page got for picture requests, as lists of {"from", "imageUrl"}.
QList<QJsonArray> pictureAnswers(QWebEnginePage *page)
{
    const QString text = eval(page, QStringLiteral("JSON.stringify(orvPage.log.filter(function (e) {"
                                                   " return e.kind === 'callback' && e.key.indexOf('img_') === 0; })"
                                                   ".map(function (e) { return e.data; }))"))
                             .toString();
    QList<QJsonArray> answers;
    for (const QJsonValue &value : QJsonDocument::fromJson(text.toUtf8()).array())
        answers << QJsonDocument::fromJson(value.toString().toUtf8()).array();
    return answers;
}

QStringList trackedResults()
{
    QStringList results;
    for (const OrvTrack::Event &e : OrvTrack::instance()->events(QString::fromLatin1(ExamBaseBridge::UploadTrackEvent)))
        results << e.properties.value(QStringLiteral("result")).toString();
    return results;
}

} // namespace

class ExamUploadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_dir.isValid());
        OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("settings.ini")));
        m_disk.install(m_service);
        m_exams.install(m_service);
        m_exams.setPushHandler([](const QString &json) { OrvEngine::CoreEngine::instance()->receiveUploadPhotoInfo(json); });
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        OrvWebView::setTrustedOrigins({m_service.baseUrl()});
        OrvEngine::ContactsEngine::instance()->setCurrentUid(OrvCloudDisk::DefaultUserId);
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &, const QString &text, const QStringList &) {
            m_messages << text;
            return 0;
        });
        BridgeDialogs::setOpenFilesHandler([this](QWidget *, const QString &, const QString &, const QString &) { return m_pick; });
        PrScrnHelper::instance().setHelperPolicy(PrScrnHelper::HelperNever);

        // Three camera pictures of sizes no other has, so every address tells which went up.
        const QList<QSize> sizes{QSize(800, 600), QSize(600, 900), QSize(1200, 500)};
        for (int i = 0; i < sizes.size(); ++i) {
            const QString path = m_dir.filePath(QStringLiteral("photo%1.jpg").arg(i + 1));
            QVERIFY(ImageSamples::writeFile(path, ImageSamples::encode(ImageSamples::cameraLike(sizes[i], quint32(i + 3)), "jpg", 85)));
            m_photos << path;
            m_sizes << sizes[i];
        }
        // A phone picture above the long edge limit, shrunk before it goes up.
        m_large = m_dir.filePath(QStringLiteral("large.jpg"));
        QVERIFY(ImageSamples::writeFile(m_large, ImageSamples::encode(ImageSamples::cameraLike(QSize(4000, 2500), 9), "jpg", 90)));
    }

    void cleanupTestCase()
    {
        BridgeDialogs::resetHandlers();
        ImageEditor::release();
        ExamUploadObject::release();
        PrScrnHelper::release();
        FileUploadManager::release();
        ImSignalObject::release();
        m_service.stop();
    }

    void init()
    {
        m_messages.clear();
        m_pick.clear();
        m_service.clearFaults();
        m_exams.setMisbehave(QString::fromLatin1(OrvExamService::ExamFilePath), OrvExamService::Misbehave::None);
        m_exams.setUploadDelay(0);
        m_exams.resetStats();
        OrvTrack::instance()->clear();
        m_view = openSheet(&m_exam);
        QVERIFY(m_view);
    }

    void cleanup()
    {
        QObject::disconnect(m_trackHook);
        delete m_view;
        m_view = nullptr;
        // Only the bridge's own files were ever in the exam folder, and none stays.
        QTRY_COMPARE(QDir(ExamUtils::getExamTempFilesDir()).entryList(QDir::Files).size(), 0);
        for (const QString &photo : qAsConst(m_photos))
            QVERIFY(QFileInfo::exists(photo));
    }

    // Three local pictures: one answer with the three addresses in the order picked, uploaded one
    // at a time even on a server slow enough to let uploads overlap, with the progress on the
    // spinner; the big one goes up shrunk.
    void localPicturesInOrder()
    {
        m_exams.setUploadDelay(150);
        QStringList spinnerTexts;
        auto *spinnerWatch = new QObject(this);
        connect(FileUploadManager::instance(), &FileUploadManager::uploadProgress, spinnerWatch, [&] {
            if (auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner")))
                spinnerTexts << spinner->text();
        });
        m_pick = m_photos + QStringList{m_large};
        eval("examPage.attach('q1', 1)");
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 60000);
        delete spinnerWatch;

        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        const QJsonArray images = answers.first();
        QCOMPARE(images.size(), 4);
        QList<QSize> uploaded;
        for (const QJsonValue &image : images) {
            QCOMPARE(image.toObject().value("from").toInt(), 1);
            const QString address = image.toObject().value("imageUrl").toString();
            QVERIFY2(address.startsWith(m_service.baseUrl().toString()), qPrintable(address));
            const QByteArray bytes = m_exams.storedBytes(address);
            QVERIFY(bytes.size() > 0 && bytes.size() <= 1048576);
            uploaded << pictureSize(bytes);
        }
        QCOMPARE(uploaded, (QList<QSize>{m_sizes[0], m_sizes[1], m_sizes[2], QSize(1920, 1200)}));
        QCOMPARE(m_exams.maxConcurrentUploads(), 1);
        QCOMPARE(trackedResults(), QVector<QString>(4, QStringLiteral("success")).toList());
        QCOMPARE(OrvTrack::instance()->events().last().properties.value("operation_type").toString(), QStringLiteral("local_file"));
        QVERIFY(m_messages.isEmpty());
        QVERIFY(!spinnerTexts.isEmpty());
        QVERIFY2(spinnerTexts.last().contains(QLatin1Char('%')), qPrintable(spinnerTexts.join(" / ")));
        QVERIFY(spinnerTexts.join(QLatin1Char(' ')).contains(QStringLiteral("(4/4)")));
        auto *spinner = m_view->findChild<WaitingSpinnerWidget *>(QStringLiteral("loadingSpinner"));
        QVERIFY(!spinner->isSpinning());
        // The page shows them under the question.
        QCOMPARE(eval("examPage.questions()[0].imgList.length").toInt(), 4);
    }

    // A picture that fails in the middle is told once and left out; the others still go, and
    // the page gets them in one answer.
    void failureInTheMiddle_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("refused") << QStringLiteral("refused");
        QTest::newRow("server error") << QStringLiteral("500");
        QTest::newRow("answer without imageUrl") << QStringLiteral("noImageUrl");
        QTest::newRow("not an answer") << QStringLiteral("garbage");
        QTest::newRow("connection dropped") << QStringLiteral("drop");
        QTest::newRow("file removed after choosing") << QStringLiteral("removed");
        QTest::newRow("not a picture after all") << QStringLiteral("damaged");
    }

    void failureInTheMiddle()
    {
        QFETCH(QString, how);
        const QString middle = m_dir.filePath(QStringLiteral("middle.jpg"));
        QFile::remove(middle);
        QVERIFY(QFile::copy(m_photos[1], middle));
        const QString path = QString::fromLatin1(OrvExamService::ExamFilePath);
        // The fault comes for the second upload only: after the first success, gone after the failure.
        bool faultSet = false;
        m_trackHook = connect(OrvTrack::instance(), &OrvTrack::tracked, this, [&](const QString &, const QVariantMap &p) {
            const bool success = p.value("result").toString() == QLatin1String("success");
            if (success && !faultSet) {
                faultSet = true;
                if (how == QLatin1String("refused"))
                    m_exams.setMisbehave(path, OrvExamService::Misbehave::Refuse);
                else if (how == QLatin1String("noImageUrl"))
                    m_exams.setMisbehave(path, OrvExamService::Misbehave::MissingFields);
                else if (how == QLatin1String("500"))
                    m_service.setFault(path, OrvWebService::Fault::Status500);
                else if (how == QLatin1String("garbage"))
                    m_service.setFault(path, OrvWebService::Fault::Garbage);
                else if (how == QLatin1String("drop"))
                    m_service.setFault(path, OrvWebService::Fault::Drop);
                else if (how == QLatin1String("removed"))
                    QFile::remove(middle);
                else if (how == QLatin1String("damaged"))
                    ImageSamples::writeFile(middle, QByteArray("\xff\xd8 not a JPEG any more"));
            } else if (!success) {
                m_exams.setMisbehave(path, OrvExamService::Misbehave::None);
                m_service.clearFault(path);
            }
        });
        m_pick = QStringList{m_photos[0], middle, m_photos[2]};
        eval("examPage.attach('q2', 1)");
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 60000);

        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.first().size(), 2);
        QCOMPARE(pictureSize(m_exams.storedBytes(answers.first().at(0).toObject().value("imageUrl").toString())), m_sizes[0]);
        QCOMPARE(pictureSize(m_exams.storedBytes(answers.first().at(1).toObject().value("imageUrl").toString())), m_sizes[2]);
        QCOMPARE(trackedResults(), (QStringList{"success", "fail", "success"}));
        QCOMPARE(m_messages.size(), 1);
        QVERIFY(!m_messages.first().isEmpty());
        QFile::remove(middle);
    }

    // When nothing goes up, the page gets no answer; the user is told once, not per picture.
    void serverDown()
    {
        m_service.setFault(QString::fromLatin1(OrvExamService::ExamFilePath), OrvWebService::Fault::Status500);
        m_pick = m_photos;
        eval("examPage.attach('q1', 1)");
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 60000);
        QCOMPARE(pictureAnswers(m_view->page()).size(), 0);
        QCOMPARE(trackedResults(), QVector<QString>(3, QStringLiteral("fail")).toList());
        QCOMPARE(m_messages.size(), 1);
        QCOMPARE(m_messages.first(), OrvLang::text(FileUploadManager::uploadErrorToStringId(
                                         int(QNetworkReply::InternalServerError), 0).toUtf8().constData()));
    }

    // A server that never answers: the request ends at the time-out (300 s, checked by the
    // timer's interval), the running upload is cancelled, and what went up before still reaches
    // the page. A second request meanwhile is refused.
    void neverAnsweringServer()
    {
        const QString path = QString::fromLatin1(OrvExamService::ExamFilePath);
        m_trackHook = connect(OrvTrack::instance(), &OrvTrack::tracked, this, [&] {
            m_service.setFault(path, OrvWebService::Fault::Hang);
        });
        m_pick = m_photos;
        eval("examPage.attach('q3', 1)");
        QTRY_VERIFY_WITH_TIMEOUT(trackedResults().size() == 1, 30000);
        QTRY_COMPARE(FileUploadManager::instance()->pendingCount(), 1);
        auto *timer = m_exam->findChild<QTimer *>(QStringLiteral("loadingTimer"));
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 300000);

        eval("examPage.attach('q1', 1)");
        QTest::qWait(200);
        QCOMPARE(m_exam->pendingFiles().size(), 3);

        timer->setInterval(1);
        timer->start();
        QTRY_VERIFY(!m_exam->isUploading());
        timer->setInterval(ExamBaseBridge::LoadingTimeoutMs);
        QCOMPARE(m_messages, QStringList{OrvLang::text("ID_timeoutoccurred_OperationCanceled")});
        QCOMPARE(FileUploadManager::instance()->pendingCount(), 0);
        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.first().size(), 1);
        QCOMPARE(eval("examPage.requests.length").toInt(), 2);
        QCOMPARE(eval("orvPage.log.filter(function (e) { return e.key === examPage.requests[1].key; }).length").toInt(), 0);
    }

    // Photos from a phone: the code's request goes to the service, the phone's photos come back
    // as addresses and are the answer at once. Closing the code without photos ends the request.
    void phonePhotos_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("role");
        QTest::newRow("student") << 5 << QStringLiteral("student");
        QTest::newRow("teacher") << 0 << QStringLiteral("teacher");
    }

    void phonePhotos()
    {
        QFETCH(int, mode);
        QFETCH(QString, role);
        // The question takes up to nine: the phone may send several at once.
        eval(QStringLiteral("examPage.attach('q1', %1, {role: '%2', supportImage: 9})").arg(mode).arg(role));
        UploadImageByQRCodeWidget *phone = nullptr;
        QTRY_VERIFY((phone = m_exam->qrCodeWidget()) != nullptr);
        QVERIFY(phone->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!phone->qrCodeText().isEmpty(), 15000);
        const QString requestId = phone->requestId();
        QVERIFY(m_exams.qrRequests().contains(requestId));
        QCOMPARE(int(phone->requestTag()), 4);

        QList<QByteArray> photos;
        for (const QString &path : qAsConst(m_photos)) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            photos << file.readAll();
        }
        QVERIFY(m_exams.sendPhotos(requestId, photos.mid(0, 2), m_service.baseUrl().toString()));
        QTRY_VERIFY(!m_exam->isUploading());
        QTRY_VERIFY(m_exam->qrCodeWidget() == nullptr);
        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.first().size(), 2);
        for (const QJsonValue &image : answers.first())
            QCOMPARE(image.toObject().value("from").toInt(), mode);
        QCOMPARE(pictureSize(m_exams.storedBytes(answers.first().at(1).toObject().value("imageUrl").toString())), m_sizes[1]);
        QCOMPARE(OrvTrack::instance()->events().last().properties.value("operation_type").toString(),
                 mode == 5 ? QStringLiteral("student_qr_code") : QStringLiteral("teacher_qr_code"));

        // Closed without a photo: no answer, and the next request is taken.
        eval(QStringLiteral("examPage.attach('q2', %1)").arg(mode));
        QTRY_VERIFY((phone = m_exam->qrCodeWidget()) != nullptr);
        phone->close();
        QTRY_VERIFY(!m_exam->isUploading());
        QCOMPARE(pictureAnswers(m_view->page()).size(), 1);
    }

    // A single picture the phone widget accepts goes through the upload like a screenshot; a
    // second bridge's code closes the first one's, which ends that request.
    void singlePhoneImageAndOneCodeOnScreen()
    {
        eval("examPage.attach('q1', 5)");
        UploadImageByQRCodeWidget *phone = nullptr;
        QTRY_VERIFY((phone = m_exam->qrCodeWidget()) != nullptr);
        Q_EMIT phone->acceptUploadImage(QPixmap::fromImage(ImageSamples::cameraLike(QSize(640, 480), 5)));
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 30000);
        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.first().size(), 1);
        QCOMPARE(pictureSize(m_exams.storedBytes(answers.first().at(0).toObject().value("imageUrl").toString())), QSize(640, 480));

        ImExamCloudWebBride *other = nullptr;
        OrvWebView *second = openSheet(&other);
        QVERIFY(second);
        eval("examPage.attach('q1', 5)");
        QTRY_VERIFY(m_exam->qrCodeWidget() != nullptr);
        WebTest::eval(second->page(), QStringLiteral("examPage.attach('q1', 0)"));
        QTRY_VERIFY(other->qrCodeWidget() != nullptr);
        QTRY_VERIFY(m_exam->qrCodeWidget() == nullptr);
        QVERIFY(!m_exam->isUploading());
        QVERIFY(other->isUploading());
        delete second;
    }

    // A screenshot's selection goes up as a JPEG of its size; with the client hidden, the hub
    // hears the windows go and come back.
    void screenshots_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("screenshot") << 3;
        QTest::newRow("client hidden") << 4;
    }

    void screenshots()
    {
        QFETCH(int, mode);
        QSignalSpy hide(ImSignalObject::instance(), &ImSignalObject::hideImOnScreenshot);
        eval(QStringLiteral("examPage.attach('q3', %1)").arg(mode));
        QTRY_VERIFY(CaptureTest::allOverlaysReady());
        const QRect wanted(120, 80, 320, 200);
        ScreenShot::ScreenshotWidget *overlay = CaptureTest::overlayAt(wanted.center());
        QVERIFY(overlay);
        CaptureTest::drag(overlay, wanted.topLeft(), wanted.bottomRight());
        CaptureTest::doubleClick(overlay, wanted.center());
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 30000);
        const QList<QJsonArray> answers = pictureAnswers(m_view->page());
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.first().size(), 1);
        QCOMPARE(answers.first().at(0).toObject().value("from").toInt(), mode);
        QCOMPARE(pictureSize(m_exams.storedBytes(answers.first().at(0).toObject().value("imageUrl").toString())), wanted.size());
        if (mode == 4) {
            QCOMPARE(hide.size(), 2);
            QCOMPARE(hide[0][0].toBool(), true);
            QCOMPARE(hide[1][0].toBool(), false);
            QVERIFY(!m_view->window()->isMinimized());
        } else {
            QCOMPARE(hide.size(), 0);
        }
    }

    // An uploaded picture edited in the picture editor goes up again in the background; the page
    // that opened the editor learns its states under "commitExamEditImgs", another page does not.
    // A failed upload waits until the page asks again.
    void editedPictures()
    {
        m_pick = QStringList{m_photos[0]};
        eval("examPage.attach('q1', 1)");
        QTRY_VERIFY_WITH_TIMEOUT(!m_exam->isUploading(), 30000);
        QCOMPARE(eval("examPage.questions()[0].imgList.length").toInt(), 1);
        const QString key = eval("examPage.questions()[0].imgList[0].imageKey").toString();
        const QString before = eval("examPage.questions()[0].imgList[0].imgUrl").toString();

        ImExamCloudWebBride *other = nullptr;
        OrvWebView *second = openSheet(&other);
        QVERIFY(second);

        m_service.setFault(QString::fromLatin1(OrvExamService::ExamFilePath), OrvWebService::Fault::Status500);
        eval(QStringLiteral("examPage.edit('q1', '%1')").arg(key));
        QPointer<ImageEditor> editor = ImageEditor::instance();
        QTRY_VERIFY_WITH_TIMEOUT(editor->isVisible() && !editor->path().isEmpty(), 15000);
        QCOMPARE(QImageReader(editor->path()).size(), m_sizes[0]);
        editor->finishBtnSlot();
        QTRY_VERIFY_WITH_TIMEOUT(eval("examPage.questions()[0].imgList[0].status").toInt() == ImageInfo::StatusFailed, 60000);

        m_service.clearFaults();
        eval("examPage.retry('q1')");
        QTRY_VERIFY_WITH_TIMEOUT(eval("examPage.questions()[0].imgList[0].status").toInt() == ImageInfo::StatusUploaded, 60000);
        const QString after = eval("examPage.questions()[0].imgList[0].imgUrl").toString();
        QVERIFY(after != before);
        QVERIFY2(after.startsWith(m_service.baseUrl().toString()), qPrintable(after));
        QCOMPARE(pictureSize(m_exams.storedBytes(after)), m_sizes[0]);
        QVERIFY(eval("examPage.commits.length").toInt() >= 2);
        QCOMPARE(WebTest::eval(second->page(), QStringLiteral("examPage.commits.length")).toInt(), 0);
        delete second;
        // The copies edited and uploaded by the keeper are not the bridge's to remove.
        QTRY_VERIFY(!ExamUploadObject::instance()->checkUploadState());
        for (const QString &file : QDir(ExamUtils::getExamTempFilesDir()).entryList(QDir::Files))
            QFile::remove(QDir(ExamUtils::getExamTempFilesDir()).filePath(file));
    }

private:
    QVariant eval(const QString &script) { return WebTest::eval(m_view->page(), script); }

    OrvWebView *openSheet(ImExamCloudWebBride **bridge)
    {
        auto *view = new OrvWebView;
        view->resize(900, 700);
        *bridge = new ImExamCloudWebBride(view, view, WebSubWindowBridge::FromIm);
        view->registerObject(*bridge, QStringLiteral("myExam"));
        view->show();
        if (!load(view, m_service.baseUrl().resolved(QUrl(QStringLiteral("/client/exam/answer?id=7001"))))
            || !waitFor(view->page(), QStringLiteral("!!(window.examPage && orvPage.loaded && myExam.questionImageUpload)"))) {
            delete view;
            return nullptr;
        }
        return view;
    }

    QTemporaryDir m_dir;
    OrvWebService m_service;
    OrvCloudDisk m_disk;
    OrvExamService m_exams;
    OrvWebView *m_view = nullptr;
    ImExamCloudWebBride *m_exam = nullptr;
    QStringList m_photos;
    QList<QSize> m_sizes;
    QString m_large;
    QStringList m_messages;
    QStringList m_pick;
    QMetaObject::Connection m_trackHook;
};

ORV_WEB_TEST_MAIN(ExamUploadTest)
#include "tst_examupload.moc"
