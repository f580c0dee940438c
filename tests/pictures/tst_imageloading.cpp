// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imagesamples.h"
#include "orvutils.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <zlib.h>

namespace {

// Index of the probe colour nearest to c (JPEG shifts colours a little).
int nearestQuadrant(QRgb c)
{
    int best = -1;
    int bestDistance = INT_MAX;
    for (int q = 0; q < 4; ++q) {
        const QColor p = ImageSamples::quadrantColor(q);
        const int d = qAbs(qRed(c) - p.red()) + qAbs(qGreen(c) - p.green()) + qAbs(qBlue(c) - p.blue());
        if (d < bestDistance) {
            bestDistance = d;
            best = q;
        }
    }
    return bestDistance < 120 ? best : -1;
}

// The probe colours seen at the corners, clockwise from the top left.
QVector<int> corners(const QImage &image)
{
    const int w = image.width();
    const int h = image.height();
    const int dx = qMax(1, w / 8);
    const int dy = qMax(1, h / 8);
    return {nearestQuadrant(image.pixel(dx, dy)), nearestQuadrant(image.pixel(w - 1 - dx, dy)),
            nearestQuadrant(image.pixel(w - 1 - dx, h - 1 - dy)), nearestQuadrant(image.pixel(dx, h - 1 - dy))};
}

QByteArray pngChunk(const char *type, const QByteArray &data)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(data.size()), out.data());
    const QByteArray body = QByteArray(type, 4) + data;
    out += body;
    QByteArray crc(4, '\0');
    qToBigEndian<quint32>(quint32(crc32(0, reinterpret_cast<const Bytef *>(body.constData()), uInt(body.size()))),
                          crc.data());
    return out + crc;
}

// A PNG whose header claims width × height, with a few bytes of pixel data.
QByteArray pngClaiming(quint32 width, quint32 height)
{
    QByteArray ihdr(13, '\0');
    qToBigEndian<quint32>(width, ihdr.data());
    qToBigEndian<quint32>(height, ihdr.data() + 4);
    ihdr[8] = 8; // bit depth
    ihdr[9] = 6; // RGBA
    const QByteArray idat = qCompress(QByteArray(64, '\0')).mid(4); // zlib stream
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", ihdr) + pngChunk("IDAT", idat)
        + pngChunk("IEND", QByteArray());
}

double meanDifference(const QImage &a, const QImage &b)
{
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    if (x.size() != y.size())
        return 1e9;
    qint64 sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col)
            sum += qAbs(qGray(p[col]) - qGray(q[col]));
    }
    return double(sum) / (double(x.width()) * x.height());
}

} // namespace

class ImageLoadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_big = m_dir.filePath("camera.jpg");
        QVERIFY(ImageSamples::writeFile(m_big, ImageSamples::encode(ImageSamples::cameraLike({6000, 4000}), "jpg", 90)));
    }

    void largeJpegIsReducedByTheDecoder()
    {
        OrvUtils::DecodeInfo info;
        const QImage image = OrvUtils::loadImageFromPath(m_big, QSize(2000, 2000), &info);
        QCOMPARE(image.size(), QSize(2000, 1333));
        QCOMPARE(info.storedSize, QSize(6000, 4000));
        QVERIFY(info.scaledByDecoder);
        // The decoder itself reduced to 3/8 (the smallest of its n/8 steps that covers the bound):
        // no full-size picture was made and shrunk.
        QCOMPARE(info.decodedSize, QSize(2250, 1500));
        QCOMPARE(info.shownSize, QSize(6000, 4000));

        // Same picture as a full decode shrunk afterwards, up to resampling differences.
        const QImage full(m_big);
        QCOMPARE(full.size(), QSize(6000, 4000));
        const QImage reference = full.scaled(2000, 1333, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        QVERIFY2(meanDifference(image, reference) < 4.0, qPrintable(QString::number(meanDifference(image, reference))));

        // Small pictures are never enlarged.
        const QImage small = OrvUtils::loadImageFromData(ImageSamples::encode(ImageSamples::quadrantProbe({300, 200}), "jpg"),
                                                         QSize(2000, 2000), true, &info);
        QCOMPARE(small.size(), QSize(300, 200));
        QVERIFY(!info.scaledByDecoder);
    }

    void quickPreviewUsesTheDecodersOwnReduction()
    {
        OrvUtils::DecodeInfo info;
        QImage preview = OrvUtils::loadQuickPreview(m_big, QSize(700, 450), &info);
        QCOMPARE(preview.size(), QSize(750, 500));
        QCOMPARE(info.decodedSize, QSize(750, 500));

        preview = OrvUtils::loadQuickPreview(m_big, QSize(1400, 900), &info);
        QCOMPARE(preview.size(), QSize(1500, 1000));

        // Nothing to gain when the window wants more than half the picture; PNG cannot be reduced.
        QCOMPARE(OrvUtils::loadQuickPreview(m_big, QSize(3000, 2500)).size(), QSize(3000, 2000));
        QVERIFY(OrvUtils::loadQuickPreview(m_big, QSize(3400, 2300)).isNull());
        const QString png = m_dir.filePath("probe.png");
        QVERIFY(ImageSamples::writeFile(png, ImageSamples::encode(ImageSamples::quadrantProbe({800, 600}), "png")));
        QVERIFY(OrvUtils::loadQuickPreview(png, QSize(100, 100)).isNull());
    }

    void exifOrientationIsApplied_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QVector<int>>("expected"); // probe quadrant at each corner, clockwise from top left
        QTest::addColumn<bool>("portrait");
        QTest::newRow("1 as stored") << 1 << QVector<int>{0, 1, 2, 3} << false;
        QTest::newRow("2 mirrored") << 2 << QVector<int>{1, 0, 3, 2} << false;
        QTest::newRow("3 upside down") << 3 << QVector<int>{2, 3, 0, 1} << false;
        QTest::newRow("4 flipped") << 4 << QVector<int>{3, 2, 1, 0} << false;
        QTest::newRow("5 transposed") << 5 << QVector<int>{0, 3, 2, 1} << true;
        QTest::newRow("6 turned right") << 6 << QVector<int>{3, 0, 1, 2} << true;
        QTest::newRow("7 transversed") << 7 << QVector<int>{2, 1, 0, 3} << true;
        QTest::newRow("8 turned left") << 8 << QVector<int>{1, 2, 3, 0} << true;
    }

    void exifOrientationIsApplied()
    {
        QFETCH(int, orientation);
        QFETCH(QVector<int>, expected);
        QFETCH(bool, portrait);
        const QByteArray jpeg =
            ImageSamples::withExifOrientation(ImageSamples::encode(ImageSamples::quadrantProbe({640, 320}), "jpg"), orientation);
        const QString path = m_dir.filePath(QStringLiteral("exif%1.jpg").arg(orientation));
        QVERIFY(ImageSamples::writeFile(path, jpeg));

        const QImage image = OrvUtils::loadImageFromPath(path);
        QCOMPARE(image.size(), portrait ? QSize(320, 640) : QSize(640, 320));
        QCOMPARE(corners(image), expected);
        QCOMPARE(OrvUtils::imageSize(path), image.size());

        // Reduced while decoding, the bound applies to the picture as shown.
        OrvUtils::DecodeInfo info;
        const QImage reduced = OrvUtils::loadImageFromPath(path, QSize(100, 100), &info);
        QCOMPARE(reduced.size(), portrait ? QSize(50, 100) : QSize(100, 50));
        QVERIFY(info.scaledByDecoder);
        QCOMPARE(corners(reduced), expected);

        // Without orientation the stored layout comes back.
        const QImage raw = OrvUtils::loadImageFromData(jpeg, QSize(), false);
        QCOMPARE(corners(raw), (QVector<int>{0, 1, 2, 3}));
    }

    void badFilesGiveNullPictures()
    {
        const QString text = m_dir.filePath("notes.jpg");
        QVERIFY(ImageSamples::writeFile(text, "these are notes, not a picture\n"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not a picture"));
        QVERIFY(OrvUtils::loadImageFromPath(text, QSize(100, 100)).isNull());
        QVERIFY(!OrvUtils::imageSize(text).isValid());

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot open picture"));
        QVERIFY(OrvUtils::loadFromPath(m_dir.filePath("missing.png")).isNull());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no picture data"));
        QVERIFY(OrvUtils::loadFromData(QByteArray()).isNull());

        // A JPEG cut short decodes with a grey bottom in most decoders; it is refused here.
        const QByteArray whole = ImageSamples::encode(ImageSamples::cameraLike({400, 300}), "jpg");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("truncated or damaged JPEG"));
        QVERIFY(OrvUtils::loadImageFromData(whole.left(whole.size() / 2)).isNull());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("truncated or damaged JPEG"));
        QVERIFY(OrvUtils::loadImageFromData(whole.left(whole.size() - 2)).isNull());
        // Bytes after the end of the picture (phones append videos there) are fine.
        QCOMPARE(OrvUtils::loadImageFromData(whole + QByteArray(5000, 'x')).size(), QSize(400, 300));
        // Marker-like bytes inside the EXIF block do not end the walk early.
        QCOMPARE(OrvUtils::loadImageFromData(ImageSamples::withExifOrientation(whole, 0xD9FF)).size(), QSize(400, 300));

        const QByteArray png = ImageSamples::encode(ImageSamples::quadrantProbe({64, 64}), "png");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot decode picture"));
        QVERIFY(OrvUtils::loadImageFromData(png.left(png.size() / 2)).isNull());
    }

    void decompressionBombsAreRefusedBeforeDecoding()
    {
        // 30,000 × 30,000 RGBA would take 3.4 GiB; the header alone decides.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("too large to decode"));
        QVERIFY(OrvUtils::loadImageFromData(pngClaiming(30000, 30000)).isNull());
        // With a bound the PNG decoder shrinks row by row; this one's data then runs out.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot decode picture"));
        QVERIFY(OrvUtils::loadImageFromData(pngClaiming(30000, 30000), QSize(2000, 2000)).isNull());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("picture without pixels|not a picture|cannot decode"));
        QVERIFY(OrvUtils::loadImageFromData(pngClaiming(0, 0)).isNull());

        // A JPEG claiming 30,000 × 30,000 over a small picture's data: refused at full size, and
        // with a bound the decoder reduces it to an eighth on the way (grey, and then shrunk).
        QByteArray jpeg = ImageSamples::encode(ImageSamples::quadrantProbe({64, 64}), "jpg");
        const int sof = jpeg.indexOf(QByteArray("\xFF\xC0", 2));
        QVERIFY(sof > 0);
        qToBigEndian<quint16>(30000, jpeg.data() + sof + 5);
        qToBigEndian<quint16>(30000, jpeg.data() + sof + 7);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("too large to decode"));
        QVERIFY(OrvUtils::loadImageFromData(jpeg).isNull());
        OrvUtils::DecodeInfo info;
        const QImage reduced = OrvUtils::loadImageFromData(jpeg, QSize(2000, 2000), true, &info);
        QCOMPARE(info.decodedSize, QSize(3750, 3750));
        QCOMPARE(reduced.size(), QSize(2000, 2000));
    }

    void phoneFormatsOpenWhenTheirPluginIsInstalled_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::newRow("webp") << QByteArray("webp");
        QTest::newRow("heif") << QByteArray("heif");
        QTest::newRow("avif") << QByteArray("avif");
    }

    void phoneFormatsOpenWhenTheirPluginIsInstalled()
    {
        QFETCH(QByteArray, format);
        if (!ImageSamples::canWriteAndRead(format))
            QSKIP("no Qt image plug-in for this format");
        const QByteArray bytes = ImageSamples::encode(ImageSamples::quadrantProbe({256, 128}), format, 90);
        QVERIFY(!bytes.isEmpty());
        const QString path = m_dir.filePath("phone." + QString::fromLatin1(format));
        QVERIFY(ImageSamples::writeFile(path, bytes));
        const QImage image = OrvUtils::loadImageFromPath(path, QSize(128, 128));
        QCOMPARE(image.size(), QSize(128, 64));
        QCOMPARE(corners(image), (QVector<int>{0, 1, 2, 3}));
    }

private:
    QTemporaryDir m_dir;
    QString m_big;
};

QTEST_GUILESS_MAIN(ImageLoadingTest)
#include "tst_imageloading.moc"
