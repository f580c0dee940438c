// SPDX-License-Identifier: LGPL-2.1-or-later
#include "RubberBand.h"
#include "screenplatform.h"

#include <QTest>

using ScreenShot::RubberBand;

class TestRubberBand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { RubberBand::instance()->reset(); }

    void hitTest_data();
    void hitTest();
    void cornersWinOnSmallBands();
    void stateOnlyAdvances();
    void borderLeavesHandlesOut();
    void windowAtTakesTheTopmost();
    void monitorScaleIsBounded_data();
    void monitorScaleIsBounded();
};

void TestRubberBand::hitTest_data()
{
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<int>("hit");
    // Band (100,100) 201 x 101: corners at x 100/300, y 100/200; middles at x 200, y 150.
    QTest::newRow("top-left corner") << QPoint(100, 100) << int(RubberBand::HitTopLeft);
    QTest::newRow("top-left reach outside") << QPoint(93, 93) << int(RubberBand::HitTopLeft);
    QTest::newRow("top-left just beyond reach") << QPoint(92, 100) << int(RubberBand::HitNone);
    QTest::newRow("top-left reach inside") << QPoint(107, 107) << int(RubberBand::HitTopLeft);
    QTest::newRow("past the reach, inside") << QPoint(108, 108) << int(RubberBand::HitInside);
    QTest::newRow("top-right") << QPoint(305, 96) << int(RubberBand::HitTopRight);
    QTest::newRow("bottom-left") << QPoint(96, 204) << int(RubberBand::HitBottomLeft);
    QTest::newRow("bottom-right") << QPoint(300, 200) << int(RubberBand::HitBottomRight);
    QTest::newRow("left middle") << QPoint(95, 150) << int(RubberBand::HitLeft);
    QTest::newRow("top middle") << QPoint(200, 94) << int(RubberBand::HitTop);
    QTest::newRow("right middle") << QPoint(307, 150) << int(RubberBand::HitRight);
    QTest::newRow("bottom middle") << QPoint(200, 207) << int(RubberBand::HitBottom);
    // An edge is grabbed only at its handle.
    QTest::newRow("left edge away from its handle") << QPoint(100, 120) << int(RubberBand::HitInside);
    QTest::newRow("outside beside the left edge") << QPoint(95, 120) << int(RubberBand::HitNone);
    QTest::newRow("far outside") << QPoint(10, 10) << int(RubberBand::HitNone);
}

void TestRubberBand::hitTest()
{
    QFETCH(QPoint, pos);
    QFETCH(int, hit);
    RubberBand *band = RubberBand::instance();
    band->setRect(QRect(100, 100, 201, 101));
    QCOMPARE(int(band->hitTest(pos)), hit);
}

void TestRubberBand::cornersWinOnSmallBands()
{
    // On a band smaller than the handles' reach every edge handle lies in a corner's reach; the
    // corners, tested first, take all of it.
    RubberBand *band = RubberBand::instance();
    band->setRect(QRect(100, 100, 11, 11));
    for (int y = 96; y <= 114; ++y) {
        for (int x = 96; x <= 114; ++x) {
            const int hit = band->hitTest(QPoint(x, y));
            QVERIFY2(hit == RubberBand::HitNone || (hit >= RubberBand::HitTopLeft && hit <= RubberBand::HitBottomRight),
                     qPrintable(QStringLiteral("(%1,%2) -> %3").arg(x).arg(y).arg(hit)));
        }
    }
    QCOMPARE(int(band->hitTest(QPoint(100, 105))), int(RubberBand::HitTopLeft)); // the left handle's centre
    QCOMPARE(int(band->hitTest(QPoint(100, 108))), int(RubberBand::HitBottomLeft));
    // A null band is hit nowhere.
    band->reset();
    QCOMPARE(int(band->hitTest(QPoint(0, 0))), int(RubberBand::HitNone));
}

void TestRubberBand::stateOnlyAdvances()
{
    RubberBand *band = RubberBand::instance();
    QVERIFY(!band->setState(RubberBand::StateNone));
    QVERIFY(band->setState(RubberBand::StateSelected)); // skipping ahead is allowed
    QVERIFY(!band->setState(RubberBand::StateDrawing));
    QVERIFY(!band->setState(RubberBand::StateSelected));
    QCOMPARE(band->state(), int(RubberBand::StateSelected));
    QObject owner;
    band->setOwner(&owner);
    band->setRect(QRect(1, 2, 3, 4));
    band->setCurrentHit(RubberBand::HitInside);
    band->reset();
    QCOMPARE(band->state(), int(RubberBand::StateNone));
    QVERIFY(band->rect().isNull());
    QCOMPARE(band->owner(), nullptr);
    QCOMPARE(int(band->currentHit()), int(RubberBand::HitNone));
    QVERIFY(band->setState(RubberBand::StateDrawing));
}

void TestRubberBand::borderLeavesHandlesOut()
{
    RubberBand *band = RubberBand::instance();
    const QRect r(50, 40, 101, 61);
    band->setRect(r);
    const QRegion border = band->borderRegion();
    // The border is the outermost pixel ring of the band...
    QVERIFY(border.contains(QPoint(80, 40)));
    QVERIFY(border.contains(QPoint(50, 55)));
    QVERIFY(border.contains(QPoint(150, 90)));
    QVERIFY(!border.contains(QPoint(80, 41)));
    QVERIFY(!border.contains(QPoint(80, 39)));
    // ...without the handles' places (their bounds grown by a pixel).
    for (const QPointF &handle : band->handlePoints())
        QVERIFY(!border.contains(handle.toPoint()));
    QVERIFY(!border.contains(QPoint(53, 40)));
    QVERIFY(border.contains(QPoint(55, 40)));
    QCOMPARE(band->handlePaths().size(), 8);
    QVERIFY(band->handlePaths().at(4).contains(QPointF(50, 40)));
}

void TestRubberBand::windowAtTakesTheTopmost()
{
    const QVector<OrvScreen::WindowInfo> windows {{3, QRect(50, 50, 100, 100), QStringLiteral("top")},
                                                  {2, QRect(0, 0, 400, 400), QStringLiteral("middle")},
                                                  {1, QRect(0, 0, 1000, 1000), QStringLiteral("bottom")}};
    QCOMPARE(OrvScreen::windowAt(windows, QPoint(60, 60)), 0);
    QCOMPARE(OrvScreen::windowAt(windows, QPoint(10, 10)), 1);
    QCOMPARE(OrvScreen::windowAt(windows, QPoint(500, 500)), 2);
    QCOMPARE(OrvScreen::windowAt(windows, QPoint(1000, 5)), -1);
    QCOMPARE(OrvScreen::windowAt({}, QPoint(0, 0)), -1);
}

void TestRubberBand::monitorScaleIsBounded_data()
{
    QTest::addColumn<QSize>("mode");
    QTest::addColumn<QSize>("logical");
    QTest::addColumn<double>("scale");
    QTest::newRow("unscaled") << QSize(1920, 1080) << QSize(1920, 1080) << 1.0;
    QTest::newRow("125 %") << QSize(1920, 1080) << QSize(1536, 864) << 1.25;
    QTest::newRow("150 % in height only") << QSize(1920, 1620) << QSize(1920, 1080) << 1.5;
    QTest::newRow("200 % is bounded") << QSize(3840, 2160) << QSize(1920, 1080) << 1.5;
    QTest::newRow("smaller mode is bounded") << QSize(1280, 720) << QSize(1920, 1080) << 1.0;
    QTest::newRow("nothing known") << QSize() << QSize(1920, 1080) << 1.0;
    QTest::newRow("empty logical size") << QSize(1920, 1080) << QSize(0, 0) << 1.0;
}

void TestRubberBand::monitorScaleIsBounded()
{
    QFETCH(QSize, mode);
    QFETCH(QSize, logical);
    QFETCH(double, scale);
    QCOMPARE(OrvScreen::scaleFromMode(mode, logical), scale);
}

QTEST_GUILESS_MAIN(TestRubberBand)
#include "tst_rubberband.moc"
