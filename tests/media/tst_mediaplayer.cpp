// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvavplayer.h"
#include "testvideo.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

namespace {
constexpr int kLoadTimeoutMs = 10000;
} // namespace

class TestMediaPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void loadReportsDuration();
    void playAdvancesAndShowsPictures();
    void pauseSeekAndStop();
    void playsToTheEnd();
    void playBeforeLoadWaitsForLoad();
    void badFilesGiveErrors_data();
    void badFilesGiveErrors();
    void volumeIsKept();

private:
    QString file(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    const QVector<QColor> m_palette = testPalette();
};

void TestMediaPlayer::initTestCase()
{
    QVERIFY(m_dir.isValid());
    TestVideo two;
    two.seconds = {Qt::red, Qt::green};
    QString error = two.write(file(QStringLiteral("two.mp4")));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    TestVideo four;
    four.seconds = {Qt::red, Qt::green, Qt::blue, Qt::yellow};
    four.audio = false;
    error = four.write(file(QStringLiteral("four.mp4")));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QFile text(file(QStringLiteral("notvideo.mp4")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("This is a plain text file, not a video.\n");
}

void TestMediaPlayer::loadReportsDuration()
{
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy failed(&player, &OrvAVPlayer::error);
    player.setFile(file(QStringLiteral("two.mp4")));
    QCOMPARE(player.durationF(), 0.0);

    QVERIFY(player.load());
    QCOMPARE(loaded.count(), 0); // opened in the background

    QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, kLoadTimeoutMs);
    QCOMPARE(failed.count(), 0);
    QVERIFY(player.isLoaded());
    QVERIFY(qAbs(player.durationF() - 2.0) < 0.03);
    QCOMPARE(player.duration(), qint64(std::llround(player.durationF() * 1000)));
    QCOMPARE(player.videoSize(), QSize(160, 120));
    QVERIFY(player.hasVideo());
    QCOMPARE(player.state(), OrvAVPlayer::StoppedState);
    QCOMPARE(player.position(), qint64(0));
}

void TestMediaPlayer::playAdvancesAndShowsPictures()
{
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy started(&player, &OrvAVPlayer::started);
    QSignalSpy frames(&player, &OrvAVPlayer::frameAvailable);
    QSignalSpy positions(&player, &OrvAVPlayer::positionChanged);
    player.setFile(file(QStringLiteral("four.mp4")));
    player.load();
    QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, kLoadTimeoutMs);

    player.start();
    QCOMPARE(started.count(), 1);
    QVERIFY(player.isPlaying());
    QTRY_VERIFY_WITH_TIMEOUT(player.position() > 300, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(positions.count() >= 2, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 2, 5000);
    QVERIFY(sameColour(centreColour(frames.first().at(0).value<QImage>()), Qt::red, m_palette));
    QVERIFY(positions.last().at(0).toLongLong() > 0);
}

void TestMediaPlayer::pauseSeekAndStop()
{
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy paused(&player, &OrvAVPlayer::paused);
    QSignalSpy stopped(&player, &OrvAVPlayer::stopped);
    QSignalSpy frames(&player, &OrvAVPlayer::frameAvailable);
    player.setFile(file(QStringLiteral("four.mp4")));
    player.load();
    QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, kLoadTimeoutMs);

    player.setPosition(2500); // seeking while stopped only moves the position
    QCOMPARE(player.position(), qint64(2500));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), 5000);
    QVERIFY(sameColour(centreColour(frames.first().at(0).value<QImage>()), Qt::blue, m_palette));
    QVERIFY(player.position() >= 2500);

    player.pause(true);
    QCOMPARE(paused.count(), 1);
    QCOMPARE(paused.at(0).at(0).toBool(), true);
    const qint64 held = player.position();
    QVERIFY(held >= 2500 && held <= player.duration());
    QCOMPARE(player.position(), held); // the clock is stopped; no waiting needed to see that

    player.setPosition(300);
    frames.clear();
    player.pause(false);
    QCOMPARE(paused.count(), 2);
    QCOMPARE(paused.at(1).at(0).toBool(), false);
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), 5000);
    QVERIFY(sameColour(centreColour(frames.first().at(0).value<QImage>()), Qt::red, m_palette));

    player.stop();
    QCOMPARE(stopped.count(), 1);
    QCOMPARE(player.state(), OrvAVPlayer::StoppedState);
    QCOMPARE(player.position(), qint64(0));
    player.stop();
    QCOMPARE(stopped.count(), 1);
}

void TestMediaPlayer::playsToTheEnd()
{
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy stopped(&player, &OrvAVPlayer::stopped);
    QSignalSpy frames(&player, &OrvAVPlayer::frameAvailable);
    player.setFile(file(QStringLiteral("two.mp4")));
    player.load();
    QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, kLoadTimeoutMs);
    player.setPosition(1500);
    player.play();

    QTRY_VERIFY_WITH_TIMEOUT(stopped.count() >= 1, 5000);
    QCOMPARE(player.state(), OrvAVPlayer::StoppedState);
    QVERIFY(!frames.isEmpty());
    QVERIFY(sameColour(centreColour(frames.last().at(0).value<QImage>()), Qt::green, m_palette));
}

void TestMediaPlayer::playBeforeLoadWaitsForLoad()
{
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy started(&player, &OrvAVPlayer::started);

    player.play(file(QStringLiteral("two.mp4")));
    QCOMPARE(started.count(), 0);

    QTRY_VERIFY_WITH_TIMEOUT(started.count() >= 1, kLoadTimeoutMs);
    QCOMPARE(loaded.count(), 1);
    QVERIFY(player.isPlaying());

    // A new file replaces the old one, and the stale answer of the old one is ignored.
    player.setFile(file(QStringLiteral("four.mp4")));
    QVERIFY(!player.isPlaying());
    QCOMPARE(player.durationF(), 0.0);
    player.load();
    player.setFile(file(QStringLiteral("two.mp4")));
    player.load();
    QTRY_COMPARE_WITH_TIMEOUT(loaded.count(), 2, kLoadTimeoutMs);
    QVERIFY(qAbs(player.durationF() - 2.0) < 0.03);
}

void TestMediaPlayer::badFilesGiveErrors_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("text file") << QStringLiteral("notvideo.mp4");
    QTest::newRow("missing file") << QStringLiteral("nosuch.mp4");
}

void TestMediaPlayer::badFilesGiveErrors()
{
    QFETCH(QString, name);
    OrvAVPlayer player;
    QSignalSpy loaded(&player, &OrvAVPlayer::loaded);
    QSignalSpy failed(&player, &OrvAVPlayer::error);
    QSignalSpy started(&player, &OrvAVPlayer::started);

    player.play(file(name));

    QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, kLoadTimeoutMs);
    QVERIFY(failed.at(0).at(0).toString().contains(name));
    QCOMPARE(loaded.count(), 0);
    QCOMPARE(started.count(), 0);
    QVERIFY(!player.isLoaded());
    QCOMPARE(player.state(), OrvAVPlayer::StoppedState);
}

void TestMediaPlayer::volumeIsKept()
{
    OrvAVPlayer player;
    QSignalSpy changed(&player, &OrvAVPlayer::volumeChanged);
    QCOMPARE(player.volume(), 1.0);
    player.setVolume(0);
    player.setVolume(0);
    QCOMPARE(player.volume(), 0.0);
    QCOMPARE(changed.count(), 1);
    player.setVolume(-2);
    QCOMPARE(player.volume(), 0.0);
    QCOMPARE(changed.count(), 1);
}

QTEST_GUILESS_MAIN(TestMediaPlayer)
#include "tst_mediaplayer.moc"
