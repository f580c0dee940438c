// SPDX-License-Identifier: LGPL-2.1-or-later
// Exam image shrinking (the size rule and the 1 MiB rule) and the exam helpers.
#include "ExamUtils.h"
#include "fileuploadmanager.h"
#include "imagesamples.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray formatOf(QByteArray bytes)
{
    QBuffer buffer(&bytes);
    return QImageReader(&buffer).format();
}

QImage noise(const QSize &size, quint32 seed)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(seed);
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return image;
}

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, format).write(image);
    return bytes;
}

// The plain loop: encode; while above 1 MiB, scale to 90 % of the width and encode again.
// Returns the width of its result and counts its encodes.
int plainLoopWidth(QImage image, const char *format, int *encodes)
{
    *encodes = 1;
    QByteArray bytes = encoded(image, format);
    while (bytes.size() > ExamUtils::MaxExamImageBytes) {
        image = image.scaledToWidth(int(image.width() * 0.9), Qt::SmoothTransformation);
        bytes = encoded(image, format);
        ++*encodes;
    }
    return image.width();
}

QImage decoded(const QByteArray &bytes)
{
    QImage image;
    image.loadFromData(bytes);
    return image;
}

} // namespace

class ExamUtilsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_dir.isValid());
    }

    void sizeRule_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("expected");

        QTest::newRow("both small") << QSize(1920, 1080) << QSize(1920, 1080);
        QTest::newRow("exactly 1920 square") << QSize(1920, 1920) << QSize(1920, 1920);
        QTest::newRow("3000x1000, r = 3, one side over") << QSize(3000, 1000) << QSize(3000, 1000);
        QTest::newRow("4000x2500, r = 1.6") << QSize(4000, 2500) << QSize(1920, 1200);
        QTest::newRow("5000x2000, r = 2.5, both over") << QSize(5000, 2000) << QSize(4800, 1920);
        QTest::newRow("2000x5000, r = 0.4, both over") << QSize(2000, 5000) << QSize(1920, 4800);
        QTest::newRow("4999x2000, r just below 2.5") << QSize(4999, 2000) << QSize(1920, 768);
        QTest::newRow("2000x4999, r just above 0.4") << QSize(2000, 4999) << QSize(768, 1920);
        QTest::newRow("2500x1000, r = 2.5, one side over") << QSize(2500, 1000) << QSize(2500, 1000);
        QTest::newRow("1000x2500, r = 0.4, one side over") << QSize(1000, 2500) << QSize(1000, 2500);
        QTest::newRow("2499x1000, r just below 2.5") << QSize(2499, 1000) << QSize(1920, 768);
        QTest::newRow("1921x1920") << QSize(1921, 1920) << QSize(1920, 1919);
        QTest::newRow("1920x1921") << QSize(1920, 1921) << QSize(1919, 1920);
        QTest::newRow("1921x1, a strip") << QSize(1921, 1) << QSize(1921, 1);
        QTest::newRow("10000x10000") << QSize(10000, 10000) << QSize(1920, 1920);
        QTest::newRow("9999x3000") << QSize(9999, 3000) << QSize(6399, 1920);
        QTest::newRow("portrait 3000x4000") << QSize(3000, 4000) << QSize(1440, 1920);
        QTest::newRow("no width") << QSize(0, 500) << QSize();
        QTest::newRow("negative") << QSize(-1, -1) << QSize();
    }

    void sizeRule()
    {
        QFETCH(QSize, size);
        QFETCH(QSize, expected);
        QCOMPARE(ExamUtils::examImageTargetSize(size), expected);
    }

    // A 24-megapixel camera picture: decoded shrunk, the exact size of the rule, one encode.
    void cameraPictureShouldShrinkInOneEncode()
    {
        const QString path = m_dir.filePath(QStringLiteral("camera.jpg"));
        QVERIFY(ImageSamples::writeFile(path, ImageSamples::encode(ImageSamples::cameraLike({6000, 4000}), "jpg", 90)));
        QImageReader reader(path);
        ExamUtils::AdjustInfo info;
        const QByteArray bytes = ExamUtils::adjustExamImage(reader, QStringLiteral("jpg"), &info);
        QVERIFY(!bytes.isEmpty());
        QVERIFY(bytes.size() <= ExamUtils::MaxExamImageBytes);
        QVERIFY(info.scaledByDecoder);
        QCOMPARE(info.encodes, 1);
        QCOMPARE(info.format, QByteArray("jpg"));
        const QImage result = decoded(bytes);
        QCOMPARE(result.size(), QSize(1920, 1280));
        QCOMPARE(formatOf(bytes), QByteArray("jpeg"));
    }

    // The EXIF orientation counts before the rule: a picture stored 4000 x 3000 that stands up.
    void orientationShouldApplyBeforeTheRule()
    {
        const QImage probe = ImageSamples::quadrantProbe({4000, 3000});
        const QByteArray jpeg = ImageSamples::withExifOrientation(ImageSamples::encode(probe, "jpg", 90), 6);
        const QString path = m_dir.filePath(QStringLiteral("upright.jpg"));
        QVERIFY(ImageSamples::writeFile(path, jpeg));
        QImageReader reader(path);
        ExamUtils::AdjustInfo info;
        const QImage result = decoded(ExamUtils::adjustExamImage(reader, QStringLiteral("jpg"), &info));
        QCOMPARE(info.sourceSize, QSize(3000, 4000));
        QCOMPARE(result.size(), QSize(1440, 1920));
        // Orientation 6 turns the picture clockwise: the stored bottom-left (yellow) comes to the top left.
        const QColor topLeft = result.pixelColor(result.width() / 4, result.height() / 4);
        const QColor expected = ImageSamples::quadrantColor(3);
        QVERIFY2(qAbs(topLeft.red() - expected.red()) < 40 && qAbs(topLeft.green() - expected.green()) < 40
                     && qAbs(topLeft.blue() - expected.blue()) < 40,
                 qPrintable(topLeft.name()));
    }

    // Pictures above the budget: under it, never below one 90 % step under the plain loop's
    // result, in fewer encodes than the loop.
    void largeEncodingsShouldFitTheBudget_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("seed");
        QTest::newRow("noisy PNG") << QStringLiteral("png") << QSize(1800, 1500) << 1;
        QTest::newRow("noisy JPEG") << QStringLiteral("jpg") << QSize(1920, 1920) << 2;
        QTest::newRow("BMP") << QStringLiteral("bmp") << QSize(1600, 1200) << 3;
        QTest::newRow("noisy PNG, wide") << QStringLiteral("png") << QSize(1920, 700) << 4;
    }

    void largeEncodingsShouldFitTheBudget()
    {
        QFETCH(QString, suffix);
        QFETCH(QSize, size);
        QFETCH(int, seed);
        const QImage image = noise(size, quint32(seed));
        const QString path = m_dir.filePath(QStringLiteral("noise%1.%2").arg(seed).arg(suffix));
        QVERIFY(image.save(path, suffix.toLatin1().constData()));

        QImageReader reader(path);
        ExamUtils::AdjustInfo info;
        const QByteArray bytes = ExamUtils::adjustExamImage(reader, suffix, &info);
        QVERIFY(!bytes.isEmpty());
        QVERIFY2(bytes.size() <= ExamUtils::MaxExamImageBytes, qPrintable(QString::number(bytes.size())));
        const QImage result = decoded(bytes);
        QCOMPARE(result.size(), info.resultSize);
        QCOMPARE(formatOf(bytes),
                 QByteArray(suffix == QLatin1String("jpg") ? "jpeg" : suffix.toLatin1().constData()));

        int plainEncodes = 0;
        const int plainWidth = plainLoopWidth(image, suffix == QLatin1String("jpg") ? "jpg" : suffix.toLatin1().constData(),
                                              &plainEncodes);
        QVERIFY2(plainEncodes >= 3, "the picture must need several passes");
        QVERIFY2(result.width() >= int(plainWidth * 0.9),
                 qPrintable(QStringLiteral("%1 against the loop's %2").arg(result.width()).arg(plainWidth)));
        const QString encodes = QStringLiteral("%1 encodes against the loop's %2").arg(info.encodes).arg(plainEncodes);
        qInfo("%s; width %d against %d", qPrintable(encodes), result.width(), plainWidth);
        QVERIFY2(info.encodes <= plainEncodes, qPrintable(encodes));
        if (plainEncodes >= 4)
            QVERIFY2(info.encodes < plainEncodes, qPrintable(encodes));
        // Aspect kept.
        QVERIFY(qAbs(double(result.width()) / result.height() - double(size.width()) / size.height()) < 0.01);
    }

    // Just under the budget: encoded once and kept; just over: made smaller.
    void budgetBoundary()
    {
        // A 512-wide BMP takes 54 + 1536 bytes per row.
        for (int rows : {682, 683}) {
            const QImage image = noise({512, rows}, 9);
            const QString path = m_dir.filePath(QStringLiteral("edge%1.bmp").arg(rows));
            QVERIFY(image.save(path, "bmp"));
            QImageReader reader(path);
            ExamUtils::AdjustInfo info;
            const QByteArray bytes = ExamUtils::adjustExamImage(reader, QStringLiteral("bmp"), &info);
            QVERIFY(bytes.size() <= ExamUtils::MaxExamImageBytes);
            if (rows == 682) {
                QCOMPARE(bytes.size(), 54 + 1536 * 682);
                QCOMPARE(info.encodes, 1);
                QCOMPARE(decoded(bytes), image);
            } else {
                QVERIFY(info.encodes > 1);
                QCOMPARE(decoded(bytes).width(), 460); // the first 90 % step fits
            }
        }
    }

    void badInputShouldGiveNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("name");
        const QByteArray jpeg = ImageSamples::encode(ImageSamples::cameraLike({800, 600}), "jpg", 80);
        QTest::newRow("text") << QByteArray("this is not a picture\n") << QStringLiteral("notes.jpg");
        QTest::newRow("empty file") << QByteArray() << QStringLiteral("empty.png");
        QTest::newRow("truncated JPEG") << jpeg.left(jpeg.size() / 2) << QStringLiteral("half.jpg");
        QTest::newRow("missing file") << QByteArray("-") << QStringLiteral("missing.jpg");
    }

    void badInputShouldGiveNothing()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, name);
        const QString path = m_dir.filePath(name);
        if (bytes != "-")
            QVERIFY(ImageSamples::writeFile(path, bytes));
        QImageReader reader(path);
        QVERIFY(ExamUtils::adjustExamImage(reader, ExamUtils::getFileSuffix(path)).isEmpty());
    }

    // A reader on memory, a PNG named .jpg, and a transparent picture written as JPEG.
    void readersAndFormats()
    {
        QByteArray jpeg = ImageSamples::encode(ImageSamples::cameraLike({2400, 1600}), "jpg", 85);
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::ReadOnly);
        QImageReader memory(&buffer);
        QCOMPARE(decoded(ExamUtils::adjustExamImage(memory, QStringLiteral("jpg"))).size(), QSize(1920, 1280));

        const QByteArray png = ImageSamples::encode(ImageSamples::cameraLike({2400, 1600}), "png");

        const QString misnamed = m_dir.filePath(QStringLiteral("really-png.jpg"));
        QVERIFY(ImageSamples::writeFile(misnamed, png));
        QImageReader misnamedReader(misnamed);
        QCOMPARE(decoded(ExamUtils::adjustExamImage(misnamedReader, QStringLiteral("jpg"))).size(), QSize(1920, 1280));

        QImage clear(300, 200, QImage::Format_ARGB32);
        clear.fill(Qt::transparent);
        QByteArray transparent = encoded(clear, "png");
        QBuffer clearBuffer(&transparent);
        clearBuffer.open(QIODevice::ReadOnly);
        QImageReader clearReader(&clearBuffer);
        const QByteArray asJpeg = ExamUtils::adjustExamImage(clearReader, QStringLiteral("gif"));
        QCOMPARE(ExamUtils::examImageWriteSuffix(QStringLiteral("gif")), QStringLiteral("jpg"));
        QCOMPARE(decoded(asJpeg).pixelColor(150, 100), QColor(Qt::white));

        QCOMPARE(ExamUtils::examImageWriteSuffix(QStringLiteral("JPEG")), QStringLiteral("jpg"));
        QCOMPARE(ExamUtils::examImageWriteSuffix(QStringLiteral("Png")), QStringLiteral("png"));
        QCOMPARE(ExamUtils::examImageWriteSuffix(QString()), QStringLiteral("jpg"));
    }

    void namesAndFolders()
    {
        QCOMPARE(ExamUtils::getFileSuffix(QStringLiteral("/a/b/IMG_01.JPG")), QStringLiteral("jpg"));
        QCOMPARE(ExamUtils::getFileSuffix(QStringLiteral("https://h/x/photo.png?x=1.exe#y")), QStringLiteral("png"));
        QCOMPARE(ExamUtils::getFileSuffix(QStringLiteral("README")), QString());
        QCOMPARE(ExamUtils::getFileName(QStringLiteral("C:\\Users\\me\\a b.jpeg")), QStringLiteral("a b.jpeg"));
        QCOMPARE(ExamUtils::getFileName(QStringLiteral("file:///tmp/x%20y.png")), QStringLiteral("x y.png"));
        QCOMPARE(ExamUtils::getFileName(QStringLiteral("https://h/p/q.jpg?a=b/c")), QStringLiteral("q.jpg"));

        const QString temp = ExamUtils::getExamTempFilesDir();
        QVERIFY(QFileInfo(temp).isDir());
        QVERIFY(QDir::fromNativeSeparators(temp).endsWith(QLatin1String("/exam/temp")));
        QCOMPARE(QFileInfo(temp).dir().absolutePath(), QFileInfo(ExamUtils::getExamFilesDir()).absoluteFilePath());
    }

    void picturesHelpers()
    {
        const QPixmap wide = QPixmap::fromImage(ImageSamples::quadrantProbe({400, 100}));
        const QPixmap thumb = ExamUtils::genThumb(wide, {50, 50});
        QCOMPARE(thumb.size(), QSize(50, 50));
        // Centred: the middle of the probe (where its quadrants meet) is the thumbnail's middle.
        const QImage t = thumb.toImage();
        QCOMPARE(t.pixelColor(10, 10).rgb(), ImageSamples::quadrantColor(0).rgb());
        QCOMPARE(t.pixelColor(40, 40).rgb(), ImageSamples::quadrantColor(2).rgb());
        QVERIFY(ExamUtils::genThumb(QPixmap(), {5, 5}).isNull());
        QVERIFY(ExamUtils::genThumb(wide, {0, 5}).isNull());

        const QString base64 = ExamUtils::pixmapToBase64(wide, "png");
        QCOMPARE(decoded(QByteArray::fromBase64(base64.toLatin1())), wide.toImage());
        QVERIFY(ExamUtils::pixmapToBase64(QPixmap()).isEmpty());
    }

    void durations_data()
    {
        QTest::addColumn<QString>("seconds");
        QTest::addColumn<bool>("withHours");
        QTest::addColumn<QString>("expected");
        QTest::newRow("75") << QStringLiteral("75") << false << QStringLiteral("01:15");
        QTest::newRow("75.6 rounds") << QStringLiteral("75.6") << false << QStringLiteral("01:16");
        QTest::newRow("with hours") << QStringLiteral("75") << true << QStringLiteral("00:01:15");
        QTest::newRow("an hour") << QStringLiteral("3600") << false << QStringLiteral("01:00:00");
        QTest::newRow("zero") << QStringLiteral("0") << false << QStringLiteral("00:00");
        QTest::newRow("negative") << QStringLiteral("-3") << false << QStringLiteral("00:00");
        QTest::newRow("text") << QStringLiteral("soon") << false << QStringLiteral("00:00");
        QTest::newRow("infinite") << QStringLiteral("inf") << true << QStringLiteral("00:00:00");
    }

    void durations()
    {
        QFETCH(QString, seconds);
        QFETCH(bool, withHours);
        QFETCH(QString, expected);
        QCOMPARE(ExamUtils::convertDuration(seconds, withHours), expected);
    }

    void transcodingDetails()
    {
        const QJsonObject output{
            {QStringLiteral("VIDEO"), QJsonObject{{QStringLiteral("url"), QStringLiteral("https://v/x.mp4")},
                                                  {QStringLiteral("duration"), 12.5},
                                                  {QStringLiteral("cover"), QStringLiteral("https://v/x.jpg")}}},
            {QStringLiteral("AUDIO"), QJsonObject{{QStringLiteral("url"), QStringLiteral("https://a/x.mp3")},
                                                  {QStringLiteral("duration"), QStringLiteral("61")}}},
            {QStringLiteral("IMAGE"), QJsonObject{{QStringLiteral("midsize"), QStringLiteral("/m/x_mid.jpg")}}}};
        const QString details = QString::fromUtf8(
            QJsonDocument(QJsonObject{{QStringLiteral("transState"), 2}, {QStringLiteral("output"), output}}).toJson());
        QCOMPARE(ExamUtils::extractUrlAndDurationFromTransData(details, QStringLiteral("video")),
                 std::make_tuple(QStringLiteral("https://v/x.mp4"), QStringLiteral("12.5"), QStringLiteral("https://v/x.jpg")));
        QCOMPARE(ExamUtils::extractUrlAndDurationFromTransData(details, QStringLiteral("AUDIO")),
                 std::make_tuple(QStringLiteral("https://a/x.mp3"), QStringLiteral("61"), QString()));
        QCOMPARE(std::get<0>(ExamUtils::extractUrlAndDurationFromTransData(details, QStringLiteral("image"))),
                 QStringLiteral("/m/x_mid.jpg"));
        QCOMPARE(ExamUtils::extractUrlAndDurationFromTransData(QStringLiteral("{broken"), QStringLiteral("video")),
                 std::make_tuple(QString(), QString(), QString()));
        QCOMPARE(ExamUtils::extractUrlAndDurationFromTransData(details, QStringLiteral("pdf")),
                 std::make_tuple(QString(), QString(), QString()));

        QVERIFY(ExamUtils::judgeTransState(ExamUtils::TransSucceeded, nullptr));
        QVERIFY(!ExamUtils::judgeTransState(ExamUtils::Transcoding, nullptr, false));
        QVERIFY(!ExamUtils::judgeTransState(ExamUtils::TransFailed, nullptr, false));
    }

    void uploadAnswerAddress()
    {
        FileUploadManager::instance()->setObjectStorageBaseUrl(QUrl(QStringLiteral("https://objects.example")));
        QJsonObject cos{{QStringLiteral("imageUrl"), QStringLiteral("exam/answer/1/a.jpg")}, {QStringLiteral("isCosPath"), true}};
        QCOMPARE(ExamUtils::getExamImageUrlPath(cos), QStringLiteral("https://objects.example/cos/exam/answer/1/a.jpg"));
        QCOMPARE(cos.value(QStringLiteral("imageUrl")).toString(), QStringLiteral("https://objects.example/cos/exam/answer/1/a.jpg"));
        QVERIFY(!cos.value(QStringLiteral("isCosPath")).toBool());
        QJsonObject nas{{QStringLiteral("imageUrl"), QStringLiteral("http://h/exam/files/a.jpg")}};
        QCOMPARE(ExamUtils::getExamImageUrlPath(nas), QStringLiteral("http://h/exam/files/a.jpg"));
        QJsonObject missing{{QStringLiteral("fileName"), QStringLiteral("a.jpg")}};
        QCOMPARE(ExamUtils::getExamImageUrlPath(missing), QString());
        QJsonObject climbing{{QStringLiteral("imageUrl"), QStringLiteral("../x")}, {QStringLiteral("isCosPath"), true}};
        QCOMPARE(ExamUtils::getExamImageUrlPath(climbing), QString());
        FileUploadManager::release();
    }

    void mediaTypesAndPageFormat()
    {
        QVERIFY(ExamUtils::isAudioFile(QStringLiteral("/x/answer.mp3")));
        QVERIFY(ExamUtils::isAudioFile(QStringLiteral("file:///x/answer.m4a")));
        QVERIFY(!ExamUtils::isAudioFile(QStringLiteral("/x/answer.mp4")));
        QVERIFY(ExamUtils::isVideoFile(QStringLiteral("/x/answer.mp4")));
        QVERIFY(!ExamUtils::isVideoFile(QStringLiteral("/x/answer.jpg")));

        const QJsonObject out = ExamUtils::convertSingleLocalToOutFormat(
            {{QStringLiteral("path"), QStringLiteral("/x/Voice 1.MP3")}, {QStringLiteral("imageUrl"), QStringLiteral("http://h/a.mp3")},
             {QStringLiteral("fileSize"), QStringLiteral("2048")}, {QStringLiteral("duration"), 75}});
        QCOMPARE(out.value(QStringLiteral("fileName")).toString(), QStringLiteral("Voice 1.MP3"));
        QCOMPARE(out.value(QStringLiteral("suffix")).toString(), QStringLiteral("mp3"));
        QCOMPARE(out.value(QStringLiteral("fileType")).toString(), QStringLiteral("audio"));
        QCOMPARE(out.value(QStringLiteral("fileUrl")).toString(), QStringLiteral("http://h/a.mp3"));
        QCOMPARE(out.value(QStringLiteral("fileSize")).toDouble(), 2048.0);
        QCOMPARE(out.value(QStringLiteral("duration")).toString(), QStringLiteral("01:15"));
        QVERIFY(!out.contains(QStringLiteral("width")));
        QVERIFY(ExamUtils::convertSingleLocalToOutFormat({}).isEmpty());
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(ExamUtilsTest)
#include "tst_examutils.moc"
