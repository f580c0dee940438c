// SPDX-License-Identifier: LGPL-2.1-or-later
#include "testvideo.h"
#include "videoframeextractor.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
constexpr int kTimeoutMs = 10000;
} // namespace

class TestMediaFrameExtractor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void extractsOnRequest();
    void autoExtractFollowsPosition();
    void newestRequestWins();
    void badSourcesGiveErrors_data();
    void badSourcesGiveErrors();

private:
    QString file(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    const QVector<QColor> m_palette = testPalette();
};

void TestMediaFrameExtractor::initTestCase()
{
    QVERIFY(m_dir.isValid());
    TestVideo video;
    video.seconds = {Qt::red, Qt::green, Qt::blue};
    QString error = video.write(file(QStringLiteral("three.mp4")));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    TestVideo other;
    other.seconds = {Qt::yellow};
    other.h264 = true;
    error = other.write(file(QStringLiteral("other.mp4")));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    TestVideo sound;
    sound.seconds = {Qt::black};
    sound.video = false;
    error = sound.write(file(QStringLiteral("sound.mp4")));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QFile text(file(QStringLiteral("notvideo.mp4")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("This is a plain text file, not a video.\n");
}

void TestMediaFrameExtractor::extractsOnRequest()
{
    VideoFrameExtractor extractor;
    QVERIFY(extractor.autoExtract());
    extractor.setAutoExtract(false);
    QSignalSpy extracted(&extractor, &VideoFrameExtractor::frameExtracted);
    QSignalSpy failed(&extractor, &VideoFrameExtractor::error);
    extractor.setSource(file(QStringLiteral("three.mp4")));
    extractor.setPosition(0);

    extractor.extract();

    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 1, kTimeoutMs);
    QCOMPARE(failed.count(), 0);
    const QImage frame = extracted.at(0).at(0).value<QImage>();
    QCOMPARE(frame.size(), QSize(160, 120));
    QVERIFY(sameColour(centreColour(frame), Qt::red, m_palette));
    QCOMPARE(extractor.frameTimestamp(), qint64(0));

    // Another source in the same extractor.
    extractor.setSource(file(QStringLiteral("other.mp4")));
    extractor.extract();
    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 2, kTimeoutMs);
    QVERIFY(sameColour(centreColour(extracted.at(1).at(0).value<QImage>()), Qt::yellow, m_palette));

    // The same name written again (a new recording joined to the same path) is read anew.
    const QString reused = file(QStringLiteral("reused.mp4"));
    TestVideo first;
    first.seconds = {Qt::cyan};
    QVERIFY(first.write(reused).isEmpty());
    extractor.setSource(reused);
    extractor.extract();
    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 3, kTimeoutMs);
    QVERIFY(sameColour(centreColour(extracted.at(2).at(0).value<QImage>()), Qt::cyan, m_palette));
    TestVideo second;
    second.seconds = {Qt::magenta, Qt::magenta};
    QVERIFY(QFile::remove(reused));
    QVERIFY(second.write(reused).isEmpty());
    extractor.extract();
    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 4, kTimeoutMs);
    QVERIFY(sameColour(centreColour(extracted.at(3).at(0).value<QImage>()), Qt::magenta, m_palette));
}

void TestMediaFrameExtractor::autoExtractFollowsPosition()
{
    VideoFrameExtractor extractor;
    QSignalSpy extracted(&extractor, &VideoFrameExtractor::frameExtracted);
    QSignalSpy positionChanged(&extractor, &VideoFrameExtractor::positionChanged);
    extractor.setSource(file(QStringLiteral("three.mp4")));

    extractor.setPosition(2340);

    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 1, kTimeoutMs);
    QCOMPARE(positionChanged.count(), 1);
    QVERIFY(sameColour(centreColour(extracted.at(0).at(0).value<QImage>()), Qt::blue, m_palette));
    QCOMPARE(extractor.frameTimestamp(), qint64(2300));
}

void TestMediaFrameExtractor::newestRequestWins()
{
    VideoFrameExtractor extractor;
    QSignalSpy extracted(&extractor, &VideoFrameExtractor::frameExtracted);
    extractor.setSource(file(QStringLiteral("three.mp4")));

    for (qint64 ms = 0; ms <= 1500; ms += 100)
        extractor.setPosition(ms);

    // Requests overtaken while waiting are dropped; the last one is always answered.
    QTRY_VERIFY_WITH_TIMEOUT(extractor.frameTimestamp() == 1500, kTimeoutMs);
    QVERIFY(extracted.count() <= 16);
    QVERIFY(sameColour(centreColour(extracted.last().at(0).value<QImage>()), Qt::green, m_palette));
}

void TestMediaFrameExtractor::badSourcesGiveErrors_data()
{
    QTest::addColumn<QString>("source");
    QTest::newRow("text file named .mp4") << file(QStringLiteral("notvideo.mp4"));
    QTest::newRow("missing file") << file(QStringLiteral("nosuch.mp4"));
    QTest::newRow("sound only") << file(QStringLiteral("sound.mp4"));
    QTest::newRow("no source") << QString();
}

void TestMediaFrameExtractor::badSourcesGiveErrors()
{
    QFETCH(QString, source);
    VideoFrameExtractor extractor;
    extractor.setAutoExtract(false);
    QSignalSpy extracted(&extractor, &VideoFrameExtractor::frameExtracted);
    QSignalSpy failed(&extractor, &VideoFrameExtractor::error);
    extractor.setSource(source);

    extractor.extract();

    QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, kTimeoutMs);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(extracted.count(), 0);

    // A good source afterwards works in the same extractor.
    extractor.setSource(file(QStringLiteral("three.mp4")));
    extractor.extract();
    QTRY_VERIFY_WITH_TIMEOUT(extracted.count() >= 1, kTimeoutMs);
}

QTEST_GUILESS_MAIN(TestMediaFrameExtractor)
#include "tst_mediaframeextractor.moc"
