// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvexternalmediamanager.h"
#include "testvideo.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
constexpr int kJobTimeoutMs = 30000;
constexpr double kDurationSlack = 0.03; // less than a picture (0.1 s)
} // namespace

class TestMediaManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void mergeCopiesPartsInOrder();
    void mergeReencodesDifferingParts_data();
    void mergeReencodesDifferingParts();
    void mergeRejectsBadParts_data();
    void mergeRejectsBadParts();

    void splitCutsAtTheKeyframe_data();
    void splitCutsAtTheKeyframe();
    void splitRejectsCutOutsideTheVideo();
    void clampKeepsTheRange();

    void clipGroupJoinsRangesWithProgress();
    void clipGroupBreakStopsAndRemovesOutput();
    void clipGroupRejectsBadRanges();

    void frameAtPosition_data();
    void frameAtPosition();
    void frameRequestsWithoutVideo();

private:
    QString file(const QString &name) const { return m_dir.filePath(name); }
    void makeVideo(const QString &name, const TestVideo &video);
    double durationOf(const QString &path);
    QColor colourAt(const QString &path, double seconds);

    QTemporaryDir m_dir;
    const QVector<QColor> m_palette = testPalette();
};

void TestMediaManager::makeVideo(const QString &name, const TestVideo &video)
{
    const QString error = video.write(file(name));
    QVERIFY2(error.isEmpty(), qPrintable(error));
}

void TestMediaManager::initTestCase()
{
    QVERIFY(m_dir.isValid());
    TestVideo a;
    a.seconds = {Qt::red, Qt::green};
    makeVideo(QStringLiteral("a.mp4"), a);
    TestVideo b;
    b.seconds = {Qt::blue};
    makeVideo(QStringLiteral("b.mp4"), b);
    TestVideo c;
    c.seconds = {Qt::yellow, Qt::magenta};
    makeVideo(QStringLiteral("c.mp4"), c);
    TestVideo wide;
    wide.seconds = {Qt::cyan};
    wide.size = QSize(320, 240);
    makeVideo(QStringLiteral("wide.mp4"), wide);
    TestVideo avc;
    avc.seconds = {Qt::white};
    avc.h264 = true;
    makeVideo(QStringLiteral("h264.mp4"), avc);
    TestVideo silent;
    silent.seconds = {Qt::black};
    silent.audio = false;
    makeVideo(QStringLiteral("silent.mp4"), silent);
    TestVideo sound;
    sound.seconds = {Qt::black, Qt::black};
    sound.video = false;
    makeVideo(QStringLiteral("sound.mp4"), sound);
    TestVideo ten;
    ten.seconds = m_palette;
    makeVideo(QStringLiteral("ten.mp4"), ten);
    TestVideo longer;
    for (int i = 0; i < 30; ++i)
        longer.seconds.append(m_palette[i % m_palette.size()]);
    makeVideo(QStringLiteral("long.mp4"), longer);

    QFile text(file(QStringLiteral("notvideo.mp4")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("This is a plain text file, not a video.\n");

    // A recording cut short: the index at the end of the file is missing.
    QFile whole(file(QStringLiteral("a.mp4")));
    QFile truncated(file(QStringLiteral("truncated.mp4")));
    QVERIFY(whole.open(QIODevice::ReadOnly) && truncated.open(QIODevice::WriteOnly));
    truncated.write(whole.read(whole.size() * 6 / 10));
}

void TestMediaManager::cleanup()
{
    OrvExternalMediaManager::release();
}

double TestMediaManager::durationOf(const QString &path)
{
    auto *manager = OrvExternalMediaManager::instance();
    if (!manager->openVideo(path))
        return -1;
    return manager->getVideoDuration();
}

QColor TestMediaManager::colourAt(const QString &path, double seconds)
{
    auto *manager = OrvExternalMediaManager::instance();
    if (!manager->openVideo(path))
        return {};
    QSignalSpy spy(manager, &OrvExternalMediaManager::getFrameImageFinished);
    manager->getFrameImage(seconds);
    if (!QTest::qWaitFor([&spy] { return spy.count() >= 1; }, kJobTimeoutMs) || spy.count() != 1)
        return {};
    return centreColour(spy.at(0).at(0).value<QImage>());
}

void TestMediaManager::mergeCopiesPartsInOrder()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::mergeVideoFilesFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::mergeVideoFilesError);
    const QString dst = file(QStringLiteral("merged.mp4"));

    manager->mergeVideoFiles({file("a.mp4"), file("b.mp4"), file("c.mp4")}, dst);

    QCOMPARE(finished.count(), 0); // never from inside the call
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.count(), 0);
    QCOMPARE(finished.at(0).at(0).toString(), dst);
    QVERIFY(qAbs(durationOf(dst) - 5.0) < kDurationSlack);
    int w = 0, h = 0;
    manager->getVideoImageSize(w, h);
    QCOMPARE(QSize(w, h), QSize(160, 120));
    const QVector<QColor> expected = {Qt::red, Qt::green, Qt::blue, Qt::yellow, Qt::magenta};
    for (int second = 0; second < expected.size(); ++second) {
        const QColor actual = colourAt(dst, second + 0.5);
        QVERIFY2(sameColour(actual, expected[second], m_palette),
                 qPrintable(QStringLiteral("second %1: %2").arg(second).arg(actual.name())));
    }
    // Right after each joint the next part's first picture shows.
    QVERIFY(sameColour(colourAt(dst, 2.0), Qt::blue, m_palette));
    QVERIFY(sameColour(colourAt(dst, 3.0), Qt::yellow, m_palette));
}

void TestMediaManager::mergeReencodesDifferingParts_data()
{
    QTest::addColumn<QString>("second");
    QTest::addColumn<QColor>("colour");
    QTest::newRow("picture size differs") << QStringLiteral("wide.mp4") << QColor(Qt::cyan);
    QTest::newRow("codec differs") << QStringLiteral("h264.mp4") << QColor(Qt::white);
    QTest::newRow("no sound in second part") << QStringLiteral("silent.mp4") << QColor(Qt::black);
}

void TestMediaManager::mergeReencodesDifferingParts()
{
    QFETCH(QString, second);
    QFETCH(QColor, colour);
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::mergeVideoFilesFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::mergeVideoFilesError);
    const QString dst = file(QStringLiteral("reencoded-%1").arg(second));

    manager->mergeVideoFiles({file("a.mp4"), file(second)}, dst);

    QTRY_COMPARE_WITH_TIMEOUT(finished.count() + failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(finished.count(), 1);
    QVERIFY(qAbs(durationOf(dst) - 3.0) < kDurationSlack);
    int w = 0, h = 0;
    manager->getVideoImageSize(w, h);
    QCOMPARE(QSize(w, h), QSize(160, 120)); // the first part's size wins
    QVERIFY(sameColour(colourAt(dst, 0.5), Qt::red, m_palette));
    QVERIFY(sameColour(colourAt(dst, 1.5), Qt::green, m_palette));
    QVERIFY(sameColour(colourAt(dst, 2.5), colour, m_palette));
}

void TestMediaManager::mergeRejectsBadParts_data()
{
    QTest::addColumn<QString>("badPart");
    QTest::addColumn<int>("errorNo");
    QTest::addColumn<bool>("dstExists");
    QTest::newRow("missing part") << QStringLiteral("nosuch.mp4") << int(OrvMedia::OpenInputFailed) << false;
    QTest::newRow("text file as part") << QStringLiteral("notvideo.mp4") << int(OrvMedia::OpenInputFailed) << false;
    QTest::newRow("truncated part") << QStringLiteral("truncated.mp4") << int(OrvMedia::OpenInputFailed) << false;
    QTest::newRow("sound-only part") << QStringLiteral("sound.mp4") << int(OrvMedia::NoVideoStream) << false;
    QTest::newRow("earlier file kept") << QStringLiteral("nosuch.mp4") << int(OrvMedia::OpenInputFailed) << true;
}

void TestMediaManager::mergeRejectsBadParts()
{
    QFETCH(QString, badPart);
    QFETCH(int, errorNo);
    QFETCH(bool, dstExists);
    const QString dst = file(QStringLiteral("bad-%1.mp4").arg(QTest::currentDataTag()).replace(' ', '-'));
    if (dstExists) {
        QFile old(dst);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("earlier result");
    }
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::mergeVideoFilesFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::mergeVideoFilesError);

    manager->mergeVideoFiles({file("a.mp4"), file(badPart), file("b.mp4")}, dst);

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.at(0).at(0).toInt(), errorNo);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(QFile::exists(dst), dstExists);
    if (dstExists) {
        QFile old(dst);
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("earlier result"));
    }

    failed.clear();
    manager->mergeVideoFiles({}, dst);
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.at(0).at(0).toInt(), int(OrvMedia::InvalidArgument));
}

void TestMediaManager::splitCutsAtTheKeyframe_data()
{
    QTest::addColumn<double>("time");
    QTest::addColumn<double>("cut");
    // Keyframes every 0.5 s.
    QTest::newRow("on a keyframe") << 1.0 << 1.0;
    QTest::newRow("between keyframes") << 1.3 << 1.0;
    QTest::newRow("just before a keyframe") << 1.45 << 1.0;
    QTest::newRow("early") << 0.5 << 0.5;
}

void TestMediaManager::splitCutsAtTheKeyframe()
{
    QFETCH(double, time);
    QFETCH(double, cut);
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::splitVideoFileFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::splitVideoFileError);
    const QString src = file(QStringLiteral("a.mp4"));
    const QString dst1 = file(QStringLiteral("split1.mp4"));
    const QString dst2 = file(QStringLiteral("split2.mp4"));

    manager->splitVideoFile(src, time, dst1, dst2);

    QTRY_COMPARE_WITH_TIMEOUT(finished.count() + failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toString(), src);
    QVERIFY(qAbs(durationOf(dst1) - cut) < kDurationSlack);
    QVERIFY(qAbs(durationOf(dst2) - (2.0 - cut)) < kDurationSlack);
    QVERIFY(sameColour(colourAt(dst1, 0.1), Qt::red, m_palette));
    QVERIFY(sameColour(colourAt(dst2, 1.9 - cut), Qt::green, m_palette));
    // The second half begins exactly where the first ended.
    QVERIFY(sameColour(colourAt(dst2, 0), cut < 1.0 ? Qt::red : Qt::green, m_palette));
}

void TestMediaManager::splitRejectsCutOutsideTheVideo()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::splitVideoFileFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::splitVideoFileError);
    const QString dst1 = file(QStringLiteral("past1.mp4"));
    const QString dst2 = file(QStringLiteral("past2.mp4"));

    manager->splitVideoFile(file("a.mp4"), 0.2, dst1, dst2); // before the second keyframe: nothing to cut
    manager->splitVideoFile(file("a.mp4"), 0, dst1, dst2);
    manager->splitVideoFile(file("notvideo.mp4"), 1.0, dst1, dst2);

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 3, kJobTimeoutMs);
    QCOMPARE(finished.count(), 0);
    QList<int> errors;
    for (const auto &args : failed)
        errors << args.at(1).toInt();
    std::sort(errors.begin(), errors.end());
    QCOMPARE(errors, (QList<int>{OrvMedia::InvalidArgument, OrvMedia::OpenInputFailed, OrvMedia::EmptyRange}));
    QVERIFY(!QFile::exists(dst1));
    QVERIFY(!QFile::exists(dst2));
}

void TestMediaManager::clampKeepsTheRange()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::clampVideoFileFinish);
    QSignalSpy failed(manager, &OrvExternalMediaManager::clampVideoFileError);
    const QString dst = file(QStringLiteral("clamped.mp4"));

    manager->clampVideoFile(file("c.mp4"), 0.5, 1.5, dst);

    QTRY_COMPARE_WITH_TIMEOUT(finished.count() + failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toString(), dst);
    QVERIFY(qAbs(durationOf(dst) - 1.0) < kDurationSlack);
    QVERIFY(sameColour(colourAt(dst, 0.25), Qt::yellow, m_palette));
    QVERIFY(sameColour(colourAt(dst, 0.75), Qt::magenta, m_palette));

    manager->clampVideoFile(file("c.mp4"), 1.5, 0.5, file(QStringLiteral("reversed.mp4")));
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.at(0).at(1).toInt(), int(OrvMedia::InvalidArgument));
    QVERIFY(!QFile::exists(file(QStringLiteral("reversed.mp4"))));
}

void TestMediaManager::clipGroupJoinsRangesWithProgress()
{
    auto *manager = OrvExternalMediaManager::instance();
    QStringList log;
    QList<int> progress;
    connect(manager, &OrvExternalMediaManager::clipGroupVideoProceValue, this, [&](int value) {
        progress << value;
        log << QStringLiteral("progress %1").arg(value);
    });
    connect(manager, &OrvExternalMediaManager::clipGroupFrameFinished, this,
            [&](const QString &name) { log << QStringLiteral("finished ") + name; });
    connect(manager, &OrvExternalMediaManager::clipGroupFrameFileError, this,
            [&](const QString &name, bool broken) { log << QStringLiteral("error %1 %2").arg(name).arg(broken); });
    const QString dst = file(QStringLiteral("clipped.mp4"));

    manager->clipGroupVideoFile(file("ten.mp4"), {{1.0, 2.0}, {5.0, 6.0}, {8.0, 9.0}}, dst);

    QTRY_VERIFY_WITH_TIMEOUT(!log.isEmpty() && !log.last().startsWith(QLatin1String("progress")), kJobTimeoutMs);
    QCOMPARE(log.last(), QStringLiteral("finished ") + dst);
    QCOMPARE(log.at(log.size() - 2), QStringLiteral("progress 100"));
    QVERIFY(progress.size() >= 3); // some steps between start and end
    QCOMPARE(progress.first(), 0);
    QVERIFY(std::is_sorted(progress.begin(), progress.end()));
    QVERIFY(qAbs(durationOf(dst) - 3.0) < kDurationSlack);
    QVERIFY(sameColour(colourAt(dst, 0.5), m_palette[1], m_palette));
    QVERIFY(sameColour(colourAt(dst, 1.5), m_palette[5], m_palette));
    QVERIFY(sameColour(colourAt(dst, 2.5), m_palette[8], m_palette));
}

void TestMediaManager::clipGroupBreakStopsAndRemovesOutput()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::clipGroupFrameFinished);
    QSignalSpy failed(manager, &OrvExternalMediaManager::clipGroupFrameFileError);
    const QString dst = file(QStringLiteral("broken.mp4"));
    QVector<QPair<double, double>> ranges;
    for (int i = 0; i < 29; i += 2)
        ranges.append({double(i), i + 1.0});

    manager->clipGroupVideoFile(file("long.mp4"), ranges, dst);
    manager->breakClipGroupVideoFile();

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.at(0).at(0).toString(), dst);
    QCOMPARE(failed.at(0).at(1).toBool(), true);
    QCOMPARE(finished.count(), 0);
    QVERIFY(!QFile::exists(dst));

    // A break only stops work already started: the next clip group runs to the end.
    failed.clear();
    manager->clipGroupVideoFile(file("long.mp4"), {{2.0, 3.0}}, dst);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.count(), 0);
    QVERIFY(QFile::exists(dst));
}

void TestMediaManager::clipGroupRejectsBadRanges()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy failed(manager, &OrvExternalMediaManager::clipGroupFrameFileError);
    const QString dst = file(QStringLiteral("badranges.mp4"));

    manager->clipGroupVideoFile(file("ten.mp4"), {}, dst);
    manager->clipGroupVideoFile(file("ten.mp4"), {{3.0, 2.0}}, dst);
    manager->clipGroupVideoFile(file("notvideo.mp4"), {{0.0, 1.0}}, dst);
    manager->clipGroupVideoFile(file("ten.mp4"), {{20.0, 21.0}}, dst); // past the end

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 4, kJobTimeoutMs);
    for (const auto &args : failed)
        QCOMPARE(args.at(1).toBool(), false);
    QVERIFY(!QFile::exists(dst));
}

void TestMediaManager::frameAtPosition_data()
{
    QTest::addColumn<double>("time");
    QTest::addColumn<int>("second");
    QTest::newRow("start") << 0.0 << 0;
    QTest::newRow("first second") << 0.55 << 0;
    QTest::newRow("between keyframes") << 3.73 << 3;
    QTest::newRow("exactly on a second") << 7.0 << 7;
    QTest::newRow("last picture") << 9.95 << 9;
    QTest::newRow("past the end") << 42.0 << 9;
    QTest::newRow("before the start") << -3.0 << 0;
}

void TestMediaManager::frameAtPosition()
{
    QFETCH(double, time);
    QFETCH(int, second);
    auto *manager = OrvExternalMediaManager::instance();
    QVERIFY(manager->openVideo(file("ten.mp4")));
    QVERIFY(qAbs(manager->getVideoDuration() - 10.0) < kDurationSlack);
    QSignalSpy spy(manager, &OrvExternalMediaManager::getFrameImageFinished);

    manager->getFrameImage(time);
    manager->seekVideo(time);
    manager->getFrameImage();

    QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 2, kJobTimeoutMs);
    for (const auto &args : spy) {
        const QImage image = args.at(0).value<QImage>();
        QCOMPARE(image.size(), QSize(160, 120));
        QVERIFY2(sameColour(centreColour(image), m_palette[second], m_palette), qPrintable(centreColour(image).name()));
        const double frame = args.at(2).toDouble();
        QVERIFY(frame >= second && frame < second + 1);
        QVERIFY(frame <= std::max(time, 0.0) + 1e-6); // the picture on screen, never a later one
    }
    QCOMPARE(spy.at(0).at(1).toDouble(), time);
}

void TestMediaManager::frameRequestsWithoutVideo()
{
    auto *manager = OrvExternalMediaManager::instance();
    QSignalSpy finished(manager, &OrvExternalMediaManager::getFrameImageFinished);
    QSignalSpy failed(manager, &OrvExternalMediaManager::getFrameImageError);

    QVERIFY(manager->openVideo(file("a.mp4")));
    QVERIFY(!manager->openVideo(file("notvideo.mp4"))); // a failed open leaves nothing open
    QVERIFY(!manager->openVideo(file("nosuch.mp4")));
    QVERIFY(!manager->openVideo(file("sound.mp4"))); // a media file, but no pictures
    int w = -1, h = -1;
    manager->getVideoImageSize(w, h);
    QCOMPARE(QSize(w, h), QSize(0, 0));
    QCOMPARE(manager->getVideoDuration(), 0.0);
    manager->getFrameImage(0.5);

    QCOMPARE(finished.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, kJobTimeoutMs);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(failed.at(0).at(1).toInt(), int(OrvMedia::NoVideoOpened));
    QVERIFY(finished.at(0).at(0).value<QImage>().isNull());
    QCOMPARE(finished.at(0).at(2).toDouble(), -1.0);

    // Closing while a request runs: the request still completes with its picture.
    QVERIFY(manager->openVideo(file("a.mp4")));
    manager->getFrameImage(1.5);
    manager->closeVideo();
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 2, kJobTimeoutMs);
    QVERIFY(sameColour(centreColour(finished.at(1).at(0).value<QImage>()), Qt::green, m_palette));
}

QTEST_GUILESS_MAIN(TestMediaManager)
#include "tst_mediamanager.moc"
