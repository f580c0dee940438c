// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imagesamples.h"
#include "orvjpegdecoder.h"
#include "orvutils.h"

#include <QBuffer>
#include <QImageReader>
#include <QtEndian>
#include <QtTest>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

Q_DECLARE_METATYPE(ImageSamples::JpegLayout)

namespace {

using Layout = ImageSamples::JpegLayout;

QImage decode(const QByteArray &jpeg, int eighths, int threads, int *bands = nullptr, bool *truncated = nullptr)
{
    OrvJpegDecoder decoder(reinterpret_cast<const uchar *>(jpeg.constData()), jpeg.size());
    QImage image = decoder.decode(eighths, threads);
    if (bands)
        *bands = decoder.bandCount();
    if (truncated)
        *truncated = decoder.isTruncated();
    return image;
}

// Offsets of the restart markers in a JPEG's scan.
QVector<int> restartMarkers(const QByteArray &jpeg)
{
    QVector<int> at;
    const int sos = jpeg.indexOf(QByteArray("\xFF\xDA", 2));
    for (int i = sos + 2; i + 1 < jpeg.size(); ++i) {
        if (uchar(jpeg[i]) == 0xFF && uchar(jpeg[i + 1]) >= 0xD0 && uchar(jpeg[i + 1]) <= 0xD7)
            at.append(i);
    }
    return at;
}

struct CmykError
{
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

extern "C" void cmykError(j_common_ptr cinfo)
{
    std::longjmp(reinterpret_cast<CmykError *>(cinfo->err)->jump, 1);
}

// A CMYK JPEG as Adobe's programs write it (inverted values, Adobe marker) of one colour.
QByteArray cmykJpeg(const QSize &size, const uchar cmyk[4], bool progressive = false)
{
    jpeg_compress_struct cinfo;
    CmykError jerr;
    unsigned char *buffer = nullptr;
    unsigned long length = 0;
    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = cmykError;
    jpeg_create_compress(&cinfo);
    if (setjmp(jerr.jump)) {
        jpeg_destroy_compress(&cinfo);
        return QByteArray();
    }
    jpeg_mem_dest(&cinfo, &buffer, &length);
    cinfo.image_width = JDIMENSION(size.width());
    cinfo.image_height = JDIMENSION(size.height());
    cinfo.input_components = 4;
    cinfo.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 95, TRUE);
    if (progressive)
        jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    QByteArray row;
    for (int x = 0; x < size.width(); ++x)
        row.append(reinterpret_cast<const char *>(cmyk), 4);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW r = reinterpret_cast<JSAMPROW>(row.data());
        jpeg_write_scanlines(&cinfo, &r, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    const QByteArray out(reinterpret_cast<const char *>(buffer), int(length));
    free(buffer);
    return out;
}

} // namespace

class JpegDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Odd sizes: the last row and column of blocks are partial.
        m_picture = ImageSamples::cameraLike({1203, 917}, 7);
        QVERIFY(!m_picture.isNull());
    }

    // Bands decoded side by side give the one-pass picture bit for bit, and are used whenever the
    // file and the reduction allow them.
    void bandsGiveTheOnePassPicture_data()
    {
        QTest::addColumn<Layout>("layout");
        QTest::addColumn<int>("eighths");
        QTest::addColumn<bool>("inBands");
        Layout rows420;
        rows420.restartRows = 1;
        Layout rows422 = rows420;
        rows422.chroma = Layout::Yuv422;
        Layout rows444 = rows420;
        rows444.chroma = Layout::Yuv444;
        rows444.restartRows = 2;
        Layout grey = rows420;
        grey.grey = true;
        Layout everyMcu;
        everyMcu.restartMcus = 1;
        Layout oddInterval; // 7 MCUs: rows of 76 MCUs start a segment only every 7th row
        oddInterval.restartMcus = 7;
        Layout none;
        Layout progressive = rows420;
        progressive.progressive = true;
        for (int eighths : {1, 2, 3, 4, 8}) {
            const QByteArray e = QByteArray::number(eighths) + "/8";
            // 4:2:0 needs its colour stretched across rows at full size: one pass then.
            QTest::newRow("4:2:0 rows " + e) << rows420 << eighths << (eighths <= 4);
            QTest::newRow("4:2:2 rows " + e) << rows422 << eighths << true;
            QTest::newRow("4:4:4 two rows " + e) << rows444 << eighths << true;
            QTest::newRow("grey " + e) << grey << eighths << true;
            QTest::newRow("every MCU " + e) << everyMcu << eighths << (eighths <= 4);
            QTest::newRow("interval 7 " + e) << oddInterval << eighths << (eighths <= 4);
            QTest::newRow("no markers " + e) << none << eighths << false;
            QTest::newRow("progressive " + e) << progressive << eighths << false;
        }
    }

    void bandsGiveTheOnePassPicture()
    {
        QFETCH(Layout, layout);
        QFETCH(int, eighths);
        QFETCH(bool, inBands);
        const QByteArray jpeg = ImageSamples::encodeJpeg(m_picture, layout);
        QVERIFY(!jpeg.isEmpty());
        int bands = 0;
        const QImage onePass = decode(jpeg, eighths, 1, &bands);
        QCOMPARE(bands, 1);
        QCOMPARE(onePass.size(), QSize((1203 * eighths + 7) / 8, (917 * eighths + 7) / 8));
        QCOMPARE(onePass.format(), layout.grey ? QImage::Format_Grayscale8 : QImage::Format_RGB32);
        const QImage banded = decode(jpeg, eighths, 4, &bands);
        QCOMPARE(bands > 1, inBands);
        QVERIFY(banded == onePass);
        if (eighths == 8) {
            // And both are what Qt's own decoder makes of the file.
            QImage qt = QImage::fromData(jpeg);
            if (qt.format() != onePass.format())
                qt = qt.convertToFormat(onePass.format());
            QVERIFY(qt == onePass);
        }
    }

    // Damaged files never reach the bands with misplaced rows: they get the one-pass decode,
    // and one whose data runs out is refused.
    void damagedRestartFiles()
    {
        Layout layout;
        layout.restartRows = 1;
        const QByteArray whole = ImageSamples::encodeJpeg(m_picture, layout);
        const QVector<int> markers = restartMarkers(whole);
        QCOMPARE(markers.size(), (917 + 15) / 16 - 1);

        // A marker with the wrong number.
        QByteArray renumbered = whole;
        renumbered[markers.at(20) + 1] = char(0xD0 + ((20 + 3) & 7));
        int bands = 0;
        QImage banded = decode(renumbered, 2, 4, &bands);
        QCOMPARE(bands, 1);
        QVERIFY(banded == decode(renumbered, 2, 1));

        // A marker gone: every later segment would land a row too high in a band.
        QByteArray missing = whole;
        missing.remove(markers.at(30), 2);
        banded = decode(missing, 2, 4, &bands);
        QCOMPARE(bands, 1);
        QVERIFY(banded == decode(missing, 2, 1));

        // Cut in the middle of the data, and just before the end.
        bool truncated = false;
        QVERIFY(decode(whole.left(whole.size() / 2), 2, 4, &bands, &truncated).isNull());
        QVERIFY(truncated);
        QVERIFY(decode(whole.left(whole.size() - 2), 4, 4, &bands, &truncated).isNull());
        QVERIFY(truncated);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("truncated or damaged JPEG"));
        QVERIFY(OrvUtils::loadImageFromData(whole.left(markers.at(40))).isNull());
        // Bytes after the end are no damage.
        QVERIFY(!decode(whole + QByteArray(100, '\xFF'), 2, 4, &bands).isNull());
        QVERIFY(bands > 1);
    }

    // The EXIF orientation read here turns pictures as Qt's reader turns them.
    void orientationAsQtReadsIt_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<bool>("bigEndian");
        for (int o = 1; o <= 8; ++o) {
            QTest::newRow(qPrintable(QStringLiteral("%1 Intel").arg(o))) << o << false;
            QTest::newRow(qPrintable(QStringLiteral("%1 Motorola").arg(o))) << o << true;
        }
    }

    void orientationAsQtReadsIt()
    {
        QFETCH(int, orientation);
        QFETCH(bool, bigEndian);
        const QByteArray jpeg = ImageSamples::withExifOrientation(
            ImageSamples::encode(ImageSamples::quadrantProbe({96, 48}), "jpg", 95), orientation, bigEndian);
        QBuffer buffer;
        buffer.setData(jpeg);
        QImageReader reader(&buffer);
        reader.setAutoTransform(true);
        const QImage expected = reader.read();
        QVERIFY(!expected.isNull());
        OrvUtils::DecodeInfo info;
        const QImage image = OrvUtils::loadImageFromData(jpeg, QSize(), true, &info);
        QCOMPARE(info.shownSize, expected.size());
        QVERIFY(image == expected.convertToFormat(image.format()));
    }

    void brokenExifBlocksAreIgnored()
    {
        const QByteArray plain = ImageSamples::encode(ImageSamples::quadrantProbe({96, 48}), "jpg", 95);
        QByteArray exif = ImageSamples::withExifOrientation(plain, 6);
        const int tiff = exif.indexOf("II*");
        QVERIFY(tiff > 0);
        auto shown = [](const QByteArray &bytes) {
            return OrvUtils::loadImageFromData(bytes).size();
        };
        QCOMPARE(shown(exif), QSize(48, 96));
        QByteArray farIfd = exif; // the first IFD past the block
        qToLittleEndian<quint32>(60000, farIfd.data() + tiff + 4);
        QCOMPARE(shown(farIfd), QSize(96, 48));
        QByteArray manyEntries = exif; // more entries than the block holds, none the orientation
        qToLittleEndian<quint16>(5000, manyEntries.data() + tiff + 8);
        qToLittleEndian<quint16>(0x0100, manyEntries.data() + tiff + 10);
        QCOMPARE(shown(manyEntries), QSize(96, 48));
        QByteArray wrongType = exif; // orientation as a LONG
        qToLittleEndian<quint16>(4, wrongType.data() + tiff + 12);
        QCOMPARE(shown(wrongType), QSize(96, 48));
        QByteArray outOfRange = exif;
        qToLittleEndian<quint16>(9, outOfRange.data() + tiff + 18);
        QCOMPARE(shown(outOfRange), QSize(96, 48));
    }

    // Progressive files keep every coefficient of the whole picture while decoding, whatever the
    // reduction: one that claims 30,000 × 30,000 is refused before that is allocated.
    void progressiveBombIsRefused()
    {
        Layout layout;
        layout.progressive = true;
        QByteArray jpeg = ImageSamples::encodeJpeg(ImageSamples::quadrantProbe({64, 64}), layout);
        const int sof = jpeg.indexOf(QByteArray("\xFF\xC2", 2));
        QVERIFY(sof > 0);
        qToBigEndian<quint16>(30000, jpeg.data() + sof + 5);
        qToBigEndian<quint16>(30000, jpeg.data() + sof + 7);
        OrvUtils::DecodeInfo info;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("too large to decode"));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(OrvUtils::loadImageFromData(jpeg, QSize(2000, 2000), true, &info).isNull());
        QCOMPARE(info.error, QStringLiteral("too large"));
        QTemporaryDir dir;
        const QString path = dir.filePath("bomb.jpg");
        QVERIFY(ImageSamples::writeFile(path, jpeg));
        QVERIFY(OrvUtils::loadQuickPreview(path, QSize(100, 100), &info).isNull());
        QCOMPARE(info.shownSize, QSize(30000, 30000));
        // Refused up front, not after touching gigabytes.
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));

        // A real progressive picture of ordinary size opens, reduced.
        const QByteArray small = ImageSamples::encodeJpeg(m_picture, layout);
        const QImage reduced = OrvUtils::loadImageFromData(small, QSize(300, 300), true, &info);
        QCOMPARE(reduced.size(), OrvUtils::boundedSize(m_picture.size(), QSize(300, 300)));
        QCOMPARE(info.decodedSize, QSize(301, 230));
    }

    // Grey pictures stay grey; CMYK ones are left to Qt's decoder and come out in their colours.
    void colourModels()
    {
        Layout grey;
        grey.grey = true;
        OrvUtils::DecodeInfo info;
        const QImage g = OrvUtils::loadImageFromData(ImageSamples::encodeJpeg(ImageSamples::quadrantProbe({64, 64}), grey),
                                                     QSize(), true, &info);
        QCOMPARE(g.format(), QImage::Format_Grayscale8);
        QCOMPARE(qGray(g.pixel(8, 8)), qGray(ImageSamples::quadrantColor(0).rgb()));

        const uchar red[4] = {255, 0, 0, 255}; // Adobe's inverted CMYK: no cyan, full magenta and yellow
        const QByteArray cmyk = cmykJpeg({40, 30}, red);
        QVERIFY(!cmyk.isEmpty());
        OrvJpegDecoder decoder(reinterpret_cast<const uchar *>(cmyk.constData()), cmyk.size());
        QVERIFY(decoder.readHeader());
        QVERIFY(!decoder.isSupported());
        const QImage c = OrvUtils::loadImageFromData(cmyk, QSize(20, 20), true, &info);
        QCOMPARE(c.size(), QSize(20, 15));
        const QColor pixel = c.pixelColor(10, 7);
        QVERIFY2(pixel.red() > 240 && pixel.green() < 15 && pixel.blue() < 15, qPrintable(pixel.name()));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("truncated or damaged JPEG"));
        QVERIFY(OrvUtils::loadImageFromData(cmyk.left(cmyk.size() - 10)).isNull());

        // Qt's decoder has no memory limit of its own: a progressive CMYK bomb stops before it.
        QByteArray bomb = cmykJpeg({16, 16}, red, true);
        const int sof = bomb.indexOf(QByteArray("\xFF\xC2", 2));
        QVERIFY(sof > 0);
        qToBigEndian<quint16>(30000, bomb.data() + sof + 5);
        qToBigEndian<quint16>(30000, bomb.data() + sof + 7);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("too large to decode"));
        QVERIFY(OrvUtils::loadImageFromData(bomb, QSize(1000, 1000), true, &info).isNull());
        QCOMPARE(info.error, QStringLiteral("too large"));
    }

private:
    QImage m_picture;
};

QTEST_GUILESS_MAIN(JpegDecoderTest)
#include "tst_jpegdecoder.moc"
