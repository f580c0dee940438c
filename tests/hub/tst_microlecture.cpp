// SPDX-License-Identifier: LGPL-2.1-or-later
// Finishing a micro-lecture recording: join the parts, take the cover, save the draft.
#include "imsignalobject.h"
#include "testvideo.h"

#include "orvexternalmediamanager.h"
#include "orvlang.h"
#include "orvmediaerror.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
constexpr int kFlowTimeoutMs = 30000;
} // namespace

class TestMicrolecture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void recordingBecomesADraft();
    void mergeWithoutClosingAnnouncesTheFile();
    void mergeOntoAPartKeepsTheResult();
    void failedMergeKeepsTheParts();
    void otherMergesLeaveTheRecordingsParts();
    void coverFailureStillSavesTheDraft_data();
    void coverFailureStillSavesTheDraft();

private:
    QString file(const QString &name) const { return m_dir.filePath(name); }
    /// Two recorded parts of two seconds each; returns their paths.
    std::vector<QString> makeParts(const QString &prefix);
    ImSignalObject *hub() const { return ImSignalObject::instance(); }

    QTemporaryDir m_dir;
    const QVector<QColor> m_palette = testPalette();
};

void TestMicrolecture::initTestCase()
{
    QVERIFY(m_dir.isValid());
    OrvLang::insert(QStringLiteral("ID_imsignalobject_SomeOneOfMicrolectures"), QStringLiteral("Micro-lecture %1"));
}

void TestMicrolecture::init()
{
    hub()->clearMicrolectureCache();
    hub()->setIsCloseClassroom(false);
}

void TestMicrolecture::cleanup()
{
    ImSignalObject::release();
}

std::vector<QString> TestMicrolecture::makeParts(const QString &prefix)
{
    std::vector<QString> parts;
    for (int i = 0; i < 2; ++i) {
        TestVideo video;
        video.seconds = {m_palette.at(2 * i), m_palette.at(2 * i + 1)};
        const QString path = file(QStringLiteral("%1-part%2.mp4").arg(prefix).arg(i));
        const QString error = video.write(path);
        if (!error.isEmpty()) {
            qWarning("cannot write test video: %s", qPrintable(error));
            return {};
        }
        parts.push_back(path);
    }
    return parts;
}

void TestMicrolecture::recordingBecomesADraft()
{
    const auto parts = makeParts(QStringLiteral("draft"));
    QCOMPARE(parts.size(), size_t(2));
    const QString merged = file(QStringLiteral("draft.mp4"));

    QSignalSpy drafts(hub(), &ImSignalObject::saveDraft);
    QSignalSpy announced(hub(), &ImSignalObject::signalMergeVideoFileFinish);
    hub()->setMicrolectureCache(31, 99, QStringLiteral("Algebra"), merged, file(QStringLiteral("draft.edb")), 5, parts);
    hub()->setIsCloseClassroom(true);
    hub()->mergeVideoFiles(parts, merged);

    QTRY_VERIFY_WITH_TIMEOUT(drafts.count() >= 1, kFlowTimeoutMs);
    QCOMPARE(drafts.size(), 1);
    QCOMPARE(announced.size(), 0);
    for (const QString &part : parts)
        QVERIFY2(!QFile::exists(part), qPrintable(part));
    QVERIFY(QFile::exists(merged));

    const QList<QVariant> args = drafts.first();
    QCOMPARE(args.at(0).toInt(), 31);
    QCOMPARE(args.at(1).toInt(), 4); // the joined file's length, not the recorder's figure
    QCOMPARE(args.at(2).toInt(), 5);
    QCOMPARE(args.at(3).toString(), QStringLiteral("Algebra"));
    QVERIFY2(QRegularExpression(QStringLiteral("^Micro-lecture \\d{10}$")).match(args.at(4).toString()).hasMatch(),
             qPrintable(args.at(4).toString()));
    QCOMPARE(args.at(5).toString(), merged);
    QCOMPARE(args.at(6).toString(), file(QStringLiteral("draft.edb")));
    const QImage cover = args.at(7).value<QImage>();
    QCOMPARE(cover.size(), QSize(160, 120));
    QVERIFY(sameColour(centreColour(cover), m_palette.at(0), m_palette));
    QCOMPARE(hub()->coverImage(), cover);

    // A late player error (it was playing to show the frame) does not save the recording twice.
    hub()->onFrameExtractError();
    QTest::qWait(100);
    QCOMPARE(drafts.size(), 1);

    // The flag is read once: the next merge is only announced.
    const auto more = makeParts(QStringLiteral("again"));
    const QString mergedAgain = file(QStringLiteral("again.mp4"));
    hub()->mergeVideoFiles(more, mergedAgain);
    QTRY_VERIFY_WITH_TIMEOUT(announced.count() >= 1, kFlowTimeoutMs);
    QCOMPARE(announced.first().first().toString(), mergedAgain);
    QCOMPARE(drafts.size(), 1);
}

void TestMicrolecture::mergeWithoutClosingAnnouncesTheFile()
{
    const auto parts = makeParts(QStringLiteral("open"));
    QCOMPARE(parts.size(), size_t(2));
    const QString merged = file(QStringLiteral("open.mp4"));
    hub()->setMicrolectureCache(32, 4, QStringLiteral("Algebra"), merged, QString(), 5, parts);

    QSignalSpy drafts(hub(), &ImSignalObject::saveDraft);
    QSignalSpy announced(hub(), &ImSignalObject::signalMergeVideoFileFinish);
    hub()->mergeVideoFiles(parts, merged);
    QTRY_VERIFY_WITH_TIMEOUT(announced.count() >= 1, kFlowTimeoutMs);
    QCOMPARE(announced.first().first().toString(), merged);
    for (const QString &part : parts)
        QVERIFY(!QFile::exists(part));
    QTest::qWait(200);
    QCOMPARE(drafts.size(), 0);
}

void TestMicrolecture::mergeOntoAPartKeepsTheResult()
{
    // The recorder may name the joined file after its first part.
    const auto parts = makeParts(QStringLiteral("onto"));
    QCOMPARE(parts.size(), size_t(2));
    hub()->setMicrolectureCache(35, 4, QStringLiteral("Algebra"), parts[0], QString(), 5, parts);

    QSignalSpy announced(hub(), &ImSignalObject::signalMergeVideoFileFinish);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("merge destination, kept")));
    hub()->mergeVideoFiles(parts, parts[0]);
    QTRY_VERIFY_WITH_TIMEOUT(announced.count() >= 1, kFlowTimeoutMs);
    QVERIFY(QFile::exists(parts[0]));
    QVERIFY(!QFile::exists(parts[1]));
    QVERIFY(hub()->openVideo(parts[0]));
    QVERIFY(qAbs(hub()->getVideoDuration() - 4.0) < 0.2);
    hub()->closeVideo();
}

void TestMicrolecture::failedMergeKeepsTheParts()
{
    auto parts = makeParts(QStringLiteral("broken"));
    QCOMPARE(parts.size(), size_t(2));
    const QString notVideo = file(QStringLiteral("broken-part2.mp4"));
    QFile f(notVideo);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("this is not a video");
    f.close();
    parts.push_back(notVideo);
    const QString merged = file(QStringLiteral("broken.mp4"));

    QSignalSpy errors(hub(), &ImSignalObject::signalMergeVideoError);
    QSignalSpy drafts(hub(), &ImSignalObject::saveDraft);
    hub()->setMicrolectureCache(33, 6, QStringLiteral("Algebra"), merged, QString(), 5, parts);
    hub()->setIsCloseClassroom(true);
    hub()->mergeVideoFiles(parts, merged);

    QTRY_VERIFY_WITH_TIMEOUT(errors.count() >= 1, kFlowTimeoutMs);
    QCOMPARE(errors.first().first().toInt(), int(OrvMedia::OpenInputFailed));
    for (const QString &part : parts)
        QVERIFY2(QFile::exists(part), qPrintable(part));
    QVERIFY(!QFile::exists(merged));
    QTest::qWait(200);
    QCOMPARE(drafts.size(), 0);

    // The recording can be joined again once the bad part is dropped; the flag still holds.
    parts.pop_back();
    hub()->setMicrolectureCache(33, 6, QStringLiteral("Algebra"), merged, QString(), 5, parts);
    hub()->mergeVideoFiles(parts, merged);
    QTRY_VERIFY_WITH_TIMEOUT(drafts.count() >= 1, kFlowTimeoutMs);
    QVERIFY(!drafts.first().at(7).value<QImage>().isNull());
}

void TestMicrolecture::otherMergesLeaveTheRecordingsParts()
{
    auto parts = makeParts(QStringLiteral("kept"));
    QCOMPARE(parts.size(), size_t(2));
    const QString damaged = file(QStringLiteral("kept-part2.mp4"));
    QFile f(damaged);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("not a video either");
    f.close();
    parts.push_back(damaged);
    const QString recording = file(QStringLiteral("kept.mp4"));
    const auto allThere = [&parts] {
        for (const QString &part : parts) {
            if (!QFile::exists(part))
                return false;
        }
        return true;
    };

    QSignalSpy errors(hub(), &ImSignalObject::signalMergeVideoError);
    QSignalSpy announced(hub(), &ImSignalObject::signalMergeVideoFileFinish);
    QSignalSpy drafts(hub(), &ImSignalObject::saveDraft);
    hub()->setMicrolectureCache(36, 6, QStringLiteral("Algebra"), recording, QString(), 5, parts);
    hub()->mergeVideoFiles(parts, recording);
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kFlowTimeoutMs);
    QVERIFY(allThere());

    // Unrelated merges finish: straight through the media manager, through the hub, and one of
    // other parts into the recording's own file. None of them is the recording's merge.
    const auto other = makeParts(QStringLiteral("other"));
    QCOMPARE(other.size(), size_t(2));
    OrvExternalMediaManager::instance()->mergeVideoFiles(other, file(QStringLiteral("other-a.mp4")));
    QTRY_COMPARE_WITH_TIMEOUT(announced.size(), 1, kFlowTimeoutMs);
    hub()->mergeVideoFiles(other, file(QStringLiteral("other-b.mp4")));
    QTRY_COMPARE_WITH_TIMEOUT(announced.size(), 2, kFlowTimeoutMs);
    hub()->mergeVideoFiles(other, recording);
    QTRY_COMPARE_WITH_TIMEOUT(announced.size(), 3, kFlowTimeoutMs);
    QVERIFY(allThere());
    for (const QString &part : other)
        QVERIFY(QFile::exists(part));

    // The recording's own merge, once the damaged part is dropped, still ends as its draft.
    parts.pop_back();
    hub()->setMicrolectureCache(36, 6, QStringLiteral("Algebra"), recording, QString(), 5, parts);
    hub()->setIsCloseClassroom(true);
    hub()->mergeVideoFiles(parts, recording);
    QTRY_COMPARE_WITH_TIMEOUT(drafts.size(), 1, kFlowTimeoutMs);
    for (const QString &part : parts)
        QVERIFY(!QFile::exists(part));
    QVERIFY(QFile::exists(damaged));
}

void TestMicrolecture::coverFailureStillSavesTheDraft_data()
{
    QTest::addColumn<QByteArray>("content"); // empty: no file at all; "sound": a file without pictures
    QTest::addColumn<int>("duration");       // what the draft says
    QTest::newRow("not a video") << QByteArray("garbage, not a media file") << 12;
    QTest::newRow("missing") << QByteArray() << 12;
    // The player opens it (and knows its length); only the picture cannot be taken.
    QTest::newRow("sound only") << QByteArray("sound") << 3;
}

void TestMicrolecture::coverFailureStillSavesTheDraft()
{
    QFETCH(QByteArray, content);
    QFETCH(int, duration);
    const QString video = file(QStringLiteral("cover-%1.mp4").arg(QString::fromLatin1(QTest::currentDataTag())));
    if (content == "sound") {
        TestVideo sound;
        sound.seconds = {Qt::black, Qt::black, Qt::black};
        sound.video = false;
        const QString error = sound.write(video);
        QVERIFY2(error.isEmpty(), qPrintable(error));
    } else if (!content.isEmpty()) {
        QFile f(video);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    hub()->setMicrolectureCache(34, 12, QStringLiteral("Geometry"), video, file(QStringLiteral("c.edb")), 8, {});

    QSignalSpy drafts(hub(), &ImSignalObject::saveDraft);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("extract frame failed")));
    hub()->setPlayerFile(video);
    QTRY_VERIFY_WITH_TIMEOUT(drafts.size() >= 1, kFlowTimeoutMs);
    QTest::qWait(100);
    QCOMPARE(drafts.size(), 1);
    const QList<QVariant> args = drafts.first();
    QCOMPARE(args.at(0).toInt(), 34);
    QCOMPARE(args.at(1).toInt(), duration); // without a length from the player: the recorder's figure
    QCOMPARE(args.at(2).toInt(), 8);
    QCOMPARE(args.at(5).toString(), video);
    QVERIFY(args.at(7).value<QImage>().isNull());
}

QTEST_GUILESS_MAIN(TestMicrolecture)
#include "tst_microlecture.moc"
