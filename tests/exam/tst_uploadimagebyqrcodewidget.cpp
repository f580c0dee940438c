// SPDX-License-Identifier: LGPL-2.1-or-later
// Photos from a phone by QR code, against the local web service's QR, short-address and phone routes.
#include "UploadImageByQRCodeWidget.h"
#include "coreengine.h"
#include "orvexamservice.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvmessagebox.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "orvwebservice.h"
#include "qrcodeimage.h"
#include "waitingspinnerwidget.h"

#include <QBuffer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPainter>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include <ZXing/ReadBarcode.h>

namespace {

QString decodeQr(const QImage &image)
{
    const QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    const ZXing::ImageView view(gray.constBits(), gray.width(), gray.height(), ZXing::ImageFormat::Lum,
                                int(gray.bytesPerLine()));
    const ZXing::Result result = ZXing::ReadBarcode(view, ZXing::DecodeHints().setFormats(ZXing::BarcodeFormat::QRCode));
    return result.isValid() ? QString::fromStdWString(result.text()) : QString();
}

QByteArray jpeg(const QSize &size, const QColor &colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG", 90);
    return bytes;
}

QString push(const QString &requestId, int tag, const QJsonArray &data)
{
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("requestUUid"), requestId},
                                                       {QStringLiteral("tag"), tag},
                                                       {QStringLiteral("data"), data}})
                                 .toJson(QJsonDocument::Compact));
}

// Where the short address leads, without following it.
QString redirectOf(const QString &address)
{
    QNetworkAccessManager nam;
    QNetworkRequest request{QUrl(address)};
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = nam.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const QString location = QString::fromUtf8(reply->rawHeader("Location"));
    delete reply;
    return location;
}

} // namespace

class UploadImageByQRCodeWidgetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_exams.install(m_service);
        m_exams.setPushHandler([](const QString &json) { OrvEngine::CoreEngine::instance()->receiveUploadPhotoInfo(json); });
        QVERIFY(m_service.start());
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
    }

    void cleanupTestCase() { m_service.stop(); }

    void init()
    {
        m_service.clearFaults();
        m_exams.setPushMisbehave(OrvExamService::PushMisbehave::None);
        for (const char *path : {OrvExamService::QRCodePath, OrvExamService::ShortUrlPath})
            m_exams.setMisbehave(QLatin1String(path), OrvExamService::Misbehave::None);
        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), true);
        OrvTrack::instance()->clear();
    }

    // The code is drawn with a one-module quiet zone, black on white, reads back as the short
    // address, and that address leads to the phone page of this request and tag.
    void codeShouldLeadToThePhonePageOfTheRequest()
    {
        UploadImageByQRCodeWidget w;
        w.show();
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        QVERIFY(!w.isLoading());
        QCOMPARE(w.currentPage(), int(UploadImageByQRCodeWidget::CodePage));
        QVERIFY(w.qrCodeText().startsWith(m_service.baseUrl().toString() + QStringLiteral("/s/")));
        QCOMPARE(decodeQr(w.qrCodeImage()), w.qrCodeText());

        const QImage code = w.qrCodeImage();
        const int modules = QRCodeImage::moduleCount(w.qrCodeText());
        QCOMPARE(code.width() % (modules + 2), 0);
        const int unit = code.width() / (modules + 2);
        QVERIFY(code.width() <= UploadImageByQRCodeWidget::QrCodeSide);
        QCOMPARE(code.pixelColor(unit - 1, unit - 1), QColor(QStringLiteral("#FFFFFF")));
        QCOMPARE(code.pixelColor(unit, unit), QColor(Qt::black)); // the finder pattern starts after one module

        const QUrl page(redirectOf(w.qrCodeText()));
        QCOMPARE(page.toString(), w.pageUrl());
        const QUrlQuery query(page);
        QCOMPARE(query.queryItemValue(QStringLiteral("requestUUid")), w.requestId());
        QCOMPARE(query.queryItemValue(QStringLiteral("tag")).toInt(), int(CommonPodsNs::RequestQRCodeTagPhotoUrl));
        QCOMPARE(m_exams.qrRequests().value(w.requestId()), int(CommonPodsNs::RequestQRCodeTagPhotoUrl));
        QCOMPARE(OrvTrack::instance()->events(QStringLiteral("LoadingTips")).size(), 1);
    }

    void tagShouldFollowModeAndConfiguration_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("multiple");
        QTest::addColumn<bool>("byUrl");
        QTest::addColumn<int>("tag");
        QTest::newRow("teacher, several") << 0 << 1 << false << 4;
        QTest::newRow("student, one") << 1 << 0 << true << 5;
        QTest::newRow("general, addresses") << 2 << 1 << true << 3;
        QTest::newRow("general, base64") << 2 << 0 << false << 1;
        QTest::newRow("unknown mode, base64") << 7 << 3 << false << 1;
    }
    void tagShouldFollowModeAndConfiguration()
    {
        QFETCH(int, mode);
        QFETCH(int, multiple);
        QFETCH(bool, byUrl);
        QFETCH(int, tag);
        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), byUrl);
        UploadImageByQRCodeWidget w(nullptr, false, mode, multiple);
        w.requestPicQcode();
        QCOMPARE(int(w.requestTag()), tag);
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        QCOMPARE(m_exams.qrRequests().value(w.requestId()), tag);
    }

    // Photos sent from the phone page come back through the engine: addresses with their sizes
    // for tags 3-5, the picture itself for tag 1.
    void photosFromThePhoneShouldReachTheOwner()
    {
        UploadImageByQRCodeWidget several(nullptr, false, UploadImageByQRCodeWidget::ModeExamStudent, 1);
        QSignalSpy list(&several, &UploadImageByQRCodeWidget::acceptUploadMultipleImages);
        several.show();
        QTRY_VERIFY(!several.qrCodeText().isEmpty());
        QVERIFY(m_exams.sendPhotos(several.requestId(), {jpeg({64, 48}, Qt::red), jpeg({30, 90}, Qt::blue)},
                                   m_service.baseUrl().toString()));
        QTRY_COMPARE(list.count(), 1);
        const auto images = list.at(0).at(0).value<UploadedImageList>();
        QCOMPARE(int(images.size()), 2);
        QCOMPARE(images.at(0).second, QSize(64, 48));
        QCOMPARE(images.at(1).second, QSize(30, 90));
        QVERIFY(!m_exams.storedBytes(images.at(1).first).isEmpty());

        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), false);
        UploadImageByQRCodeWidget one;
        QSignalSpy accepted(&one, &UploadImageByQRCodeWidget::acceptUploadImage);
        QSignalSpy rejected(&one, &UploadImageByQRCodeWidget::rejectUploadImage);
        one.show();
        QTRY_VERIFY(!one.qrCodeText().isEmpty());
        QVERIFY(m_exams.sendPhotos(one.requestId(), {jpeg({40, 20}, Qt::green)}, m_service.baseUrl().toString()));
        QTRY_COMPARE(accepted.count(), 1);
        QCOMPARE(accepted.at(0).at(0).value<QPixmap>().size(), QSize(40, 20));
        one.closeWidget(); // the owner closes it after the photo: no refusal
        QCOMPARE(rejected.count(), 0);
    }

    // Each request has a new id; what comes for an older one, or for nobody, is ignored. Pushes
    // are queued in order, so once the good one arrived the older ones were already seen.
    void pushesForAnotherRequestShouldBeIgnored()
    {
        UploadImageByQRCodeWidget w(nullptr, false, UploadImageByQRCodeWidget::ModeExamTeacher, 1);
        QSignalSpy list(&w, &UploadImageByQRCodeWidget::acceptUploadMultipleImages);
        w.show();
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        const QString oldId = w.requestId();
        w.requestPicQcode();
        QVERIFY(w.requestId() != oldId);
        QTRY_VERIFY(!w.qrCodeText().isEmpty());

        const QJsonArray one{QJsonObject{{QStringLiteral("url"), QStringLiteral("https://example.invalid/a.jpg")},
                                         {QStringLiteral("width"), QStringLiteral("10")},
                                         {QStringLiteral("height"), QStringLiteral("20")}}};
        auto *engine = OrvEngine::CoreEngine::instance();
        engine->receiveUploadPhotoInfo(push(oldId, 4, one));
        engine->receiveUploadPhotoInfo(push(QString(), 4, one));
        engine->receiveUploadPhotoInfo(push(w.requestId().toUpper(), 4, one));
        m_exams.setPushMisbehave(OrvExamService::PushMisbehave::OtherRequestId);
        QVERIFY(m_exams.sendPhotos(w.requestId(), {jpeg({8, 8}, Qt::red)}, m_service.baseUrl().toString()));
        engine->receiveUploadPhotoInfo(push(w.requestId(), 4, one));
        QTRY_COMPARE(list.count(), 1);
        QCOMPARE(list.at(0).at(0).value<UploadedImageList>().at(0).second, QSize(10, 20));

        // Closed: the id is given up too.
        const QString lastId = w.requestId();
        w.closeWidget();
        w.onUploadPhoto(push(lastId, 4, one));
        QCOMPARE(list.count(), 1);
    }

    // Broken pushes and payloads: nothing is emitted, nothing breaks.
    void badPushesShouldEmitNothing()
    {
        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), false);
        UploadImageByQRCodeWidget w;
        QSignalSpy accepted(&w, &UploadImageByQRCodeWidget::acceptUploadImage);
        QSignalSpy list(&w, &UploadImageByQRCodeWidget::acceptUploadMultipleImages);
        w.requestPicQcode();
        const QString id = w.requestId();
        w.onUploadPhoto(QStringLiteral("not json"));
        w.onUploadPhoto(QStringLiteral("[1,2]"));
        w.onUploadPhoto(push(id, 1, {QStringLiteral("!!!notbase64"), QString::fromLatin1(QByteArray("no picture").toBase64()), 7}));
        w.onUploadPhoto(push(id, 2, {QString::fromLatin1(jpeg({4, 4}, Qt::red).toBase64())}));
        w.onUploadPhoto(push(id, 3, {QJsonObject{{QStringLiteral("url"), QStringLiteral("file:///etc/passwd")}}, 5}));
        w.onUploadPhoto(push(id, 3, {}));
        QCOMPARE(accepted.count() + list.count(), 0);

        // A picture among broken ones is still found; a data address is read too.
        const QString picture = QStringLiteral("data:image/jpeg;base64,") + QString::fromLatin1(jpeg({6, 3}, Qt::red).toBase64());
        w.onUploadPhoto(push(id, 1, {QStringLiteral("!!"), picture}));
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(accepted.at(0).at(0).value<QPixmap>().size(), QSize(6, 3));
    }

    void sizesShouldBeReadFromTextOrNumbers()
    {
        const QString url = QStringLiteral("https://example.invalid/p.jpg");
        const QJsonArray array{
            QJsonObject{{QStringLiteral("url"), url}, {QStringLiteral("width"), QStringLiteral(" 640 ")}},
            QJsonObject{{QStringLiteral("url"), url}, {QStringLiteral("width"), 300}, {QStringLiteral("height"), QStringLiteral("2x")}},
            QJsonObject{{QStringLiteral("url"), url}, {QStringLiteral("width"), QStringLiteral("-5")}, {QStringLiteral("height"), 1e12}},
            QJsonObject{{QStringLiteral("width"), QStringLiteral("1")}},
            QJsonObject{{QStringLiteral("url"), QStringLiteral("javascript:alert(1)")}},
            QStringLiteral("https://example.invalid/bare.jpg"),
        };
        const UploadedImageList images = UploadImageByQRCodeWidget::parseUrlArray(array);
        QCOMPARE(int(images.size()), 3);
        QCOMPARE(images.at(0).second, QSize(640, 0));
        QCOMPARE(images.at(1).second, QSize(300, 0));
        QCOMPARE(images.at(2).second, QSize(0, 0));
    }

    // A failed request or short address opens Retry/Cancel; Retry asks again with a new id,
    // Cancel closes the widget as refused.
    void failuresShouldOfferRetryAndCancel_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("fault"); // -1: a misbehaving answer instead
        QTest::addColumn<int>("misbehave");
        QTest::newRow("QR code HTTP 500") << QString::fromLatin1(OrvExamService::QRCodePath) << int(OrvWebService::Fault::Status500) << 0;
        QTest::newRow("QR code garbage") << QString::fromLatin1(OrvExamService::QRCodePath) << int(OrvWebService::Fault::Garbage) << 0;
        QTest::newRow("QR code refused") << QString::fromLatin1(OrvExamService::QRCodePath) << -1 << int(OrvExamService::Misbehave::Refuse);
        QTest::newRow("no page address") << QString::fromLatin1(OrvExamService::QRCodePath) << -1 << int(OrvExamService::Misbehave::MissingFields);
        QTest::newRow("page address not text") << QString::fromLatin1(OrvExamService::QRCodePath) << -1 << int(OrvExamService::Misbehave::BadValues);
        QTest::newRow("short address dropped") << QString::fromLatin1(OrvExamService::ShortUrlPath) << int(OrvWebService::Fault::Drop) << 0;
        QTest::newRow("no short address") << QString::fromLatin1(OrvExamService::ShortUrlPath) << -1 << int(OrvExamService::Misbehave::MissingFields);
    }
    void failuresShouldOfferRetryAndCancel()
    {
        QFETCH(QString, path);
        QFETCH(int, fault);
        QFETCH(int, misbehave);
        if (fault >= 0)
            m_service.setFault(path, OrvWebService::Fault(fault));
        else
            m_exams.setMisbehave(path, OrvExamService::Misbehave(misbehave));

        UploadImageByQRCodeWidget w;
        QSignalSpy rejected(&w, &UploadImageByQRCodeWidget::rejectUploadImage);
        w.show();
        QTRY_VERIFY(w.errorBox());
        QVERIFY(w.qrCodeText().isEmpty());
        QVERIFY(!w.isLoading());
        auto *retry = w.errorBox()->findChild<QPushButton *>(QStringLiteral("btnRetry"));
        QVERIFY(retry);
        QVERIFY(w.errorBox()->findChild<QPushButton *>(QStringLiteral("btnCancel")));

        const QString firstId = w.requestId();
        m_service.clearFaults();
        m_exams.setMisbehave(path, OrvExamService::Misbehave::None);
        retry->click();
        QVERIFY(w.requestId() != firstId);
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        QVERIFY(!w.errorBox());
        QCOMPARE(rejected.count(), 0);

        m_service.setFault(path, OrvWebService::Fault::Status500);
        w.requestPicQcode();
        QTRY_VERIFY(w.errorBox());
        w.errorBox()->findChild<QPushButton *>(QStringLiteral("btnCancel"))->click();
        QTRY_COMPARE(rejected.count(), 1);
        QVERIFY(!w.isVisible());
    }

    // The spinner gives up after the timer's 10 s (checked by its interval, then fired by hand);
    // "LoadingTips" is tracked once, and the code still appears when the reply comes late.
    void loadingShouldEndAfterTenSecondsButKeepWaiting()
    {
        m_service.setFault(QString::fromLatin1(OrvExamService::QRCodePath), OrvWebService::Fault::Slow, 1500);
        UploadImageByQRCodeWidget w;
        w.show();
        QVERIFY(w.isLoading());
        QTimer *timer = w.loadingTimer();
        QVERIFY(timer->isActive());
        QVERIFY(timer->isSingleShot());
        QCOMPARE(timer->interval(), 10000);
        auto *spinner = w.findChild<WaitingSpinnerWidget *>();
        QVERIFY(spinner && spinner->isSpinning());

        QVERIFY(QMetaObject::invokeMethod(timer, "timeout"));
        QVERIFY(!w.isLoading());
        QVERIFY(!spinner->isSpinning());
        QVERIFY(!spinner->isVisible());
        const auto events = OrvTrack::instance()->events(QStringLiteral("LoadingTips"));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.at(0).properties.value(QStringLiteral("page_name")).toString(), QStringLiteral("UploadImageByQRCodeWidget"));
        QVERIFY(events.at(0).properties.contains(QStringLiteral("product_mode")));
        const double seconds = events.at(0).properties.value(QStringLiteral("$event_duration")).toDouble();
        QVERIFY(seconds >= 0 && seconds < 10);

        QTRY_VERIFY_WITH_TIMEOUT(!w.qrCodeText().isEmpty(), 10000);
        QVERIFY(!w.errorBox());
        QCOMPARE(OrvTrack::instance()->events(QStringLiteral("LoadingTips")).size(), 1);
    }

    // A single photo to confirm: quarter turns, the angle back to 0 at a full turn, OK hands over
    // the turned (and watermarked) picture; Cancel refuses.
    void singlePhotoShouldTurnAndConfirm()
    {
        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), false);
        UploadImageByQRCodeWidget w(nullptr, true);
        QSignalSpy accepted(&w, &UploadImageByQRCodeWidget::acceptUploadImage);
        QSignalSpy rejected(&w, &UploadImageByQRCodeWidget::rejectUploadImage);
        w.show();
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        QImage photo(40, 20, QImage::Format_RGB32);
        photo.fill(Qt::white);
        photo.setPixelColor(0, 0, Qt::black); // a corner to follow through the turns
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        photo.save(&buffer, "PNG");
        w.onUploadPhoto(push(w.requestId(), 1, {QString::fromLatin1(png.toBase64())}));
        QCOMPARE(accepted.count(), 0);
        QCOMPARE(w.currentPage(), int(UploadImageByQRCodeWidget::PreviewPage));

        w.rightRotateSlot();
        QCOMPARE(w.rotateAngle(), 90);
        QCOMPARE(w.currentPixmap().size(), QSize(20, 40));
        QCOMPARE(w.currentPixmap().toImage().pixelColor(19, 0), QColor(Qt::black)); // clockwise
        w.leftRotateSlot();
        for (int expected : {-90, -180, -270, 0}) {
            w.leftRotateSlot();
            QCOMPARE(w.rotateAngle(), expected);
        }
        for (int i = 0; i < 4; ++i)
            w.rightRotateSlot();
        QCOMPARE(w.rotateAngle(), 0);
        QCOMPARE(w.currentPixmap().toImage(), photo);

        w.leftRotateSlot();
        w.setEnableWaterMark(true);
        w.findChild<QPushButton *>(QStringLiteral("okBtn"))->click();
        QCOMPARE(accepted.count(), 1);
        const QImage sent = accepted.at(0).at(0).value<QPixmap>().toImage();
        QCOMPARE(sent.size(), QSize(20, 40));
        QCOMPARE(sent.pixelColor(0, 39), QColor(Qt::black)); // counter-clockwise, corner untouched
        QVERIFY(sent != w.currentPixmap().toImage()); // the watermark is on the copy handed over only

        UploadImageByQRCodeWidget other(nullptr, true);
        QSignalSpy otherRejected(&other, &UploadImageByQRCodeWidget::rejectUploadImage);
        other.show();
        other.findChild<QPushButton *>(QStringLiteral("closeBtn"))->click();
        QCOMPARE(otherRejected.count(), 1);
        other.closeWidget();
        QCOMPARE(otherRejected.count(), 1);
        QCOMPARE(rejected.count(), 0);
    }

    // Both looks load and differ; with ORV_RENDER_DIR set, each is saved for a look.
    void bothThemesShouldRender()
    {
        QVERIFY(OrvLang::loadTable(QStringLiteral(ORV_DEMO_LANG)));
        QImage shots[2];
        for (int dark = 0; dark < 2; ++dark) {
            OrvSettings::instance()->setValue(QStringLiteral("Theme"), dark ? QStringLiteral("dark") : QStringLiteral("light"));
            UploadImageByQRCodeWidget w(nullptr, false, UploadImageByQRCodeWidget::ModeExamStudent, 1);
            QVERIFY(!w.styleSheet().isEmpty());
            w.show();
            QTRY_VERIFY(!w.qrCodeText().isEmpty());
            shots[dark] = w.grab().toImage();
            const QString dir = qEnvironmentVariable("ORV_RENDER_DIR");
            if (!dir.isEmpty())
                shots[dark].save(dir + (dark ? QStringLiteral("/qrupload_dark.png") : QStringLiteral("/qrupload_light.png")));
            // The code on screen reads back like the one made.
            QCOMPARE(decodeQr(shots[dark]), w.qrCodeText());
        }
        QVERIFY(qGray(shots[0].pixel(5, 60)) > 200);
        QVERIFY(qGray(shots[1].pixel(5, 60)) < 80);
        OrvSettings::instance()->setValue(QStringLiteral("Theme"), QStringLiteral("light"));

        // The preview page, with a turned photo and the watermark drawn on what is handed over.
        UploadImageByQRCodeWidget w(nullptr, true);
        QSignalSpy accepted(&w, &UploadImageByQRCodeWidget::acceptUploadImage);
        OrvEngine::CoreEngine::instance()->setBackgroundConfig(QLatin1String(UploadImageByQRCodeWidget::PhotoByUrlConfigKey), false);
        w.show();
        QTRY_VERIFY(!w.qrCodeText().isEmpty());
        QImage photo(800, 600, QImage::Format_RGB32);
        photo.fill(QColor(QStringLiteral("#8FB3D9")));
        QPainter(&photo).fillRect(0, 0, 400, 120, Qt::darkRed);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        photo.save(&buffer, "PNG");
        w.onUploadPhoto(push(w.requestId(), 1, {QString::fromLatin1(png.toBase64())}));
        w.rightRotateSlot();
        w.setEnableWaterMark(true);
        w.okBtnSlot();
        QCOMPARE(accepted.count(), 1);
        const QString dir = qEnvironmentVariable("ORV_RENDER_DIR");
        if (!dir.isEmpty()) {
            w.grab().save(dir + QStringLiteral("/qrupload_preview.png"));
            accepted.at(0).at(0).value<QPixmap>().save(dir + QStringLiteral("/qrupload_watermarked.png"));
        }
        OrvLang::clear();
    }

private:
    OrvWebService m_service;
    OrvExamService m_exams;
};

QTEST_MAIN(UploadImageByQRCodeWidgetTest)
#include "tst_uploadimagebyqrcodewidget.moc"
