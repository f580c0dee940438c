// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageViewer.h"
#include "ImageViewerWidget.h"
#include "imagepreviewmenu.h"
#include "orvpainter.h"

#include <QGraphicsRectItem>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QPixmap solid(const QSize &size, const QColor &color = Qt::gray)
{
    QPixmap p(size);
    p.fill(color);
    return p;
}

// The picture pixel under a viewport point.
QPointF pictureAt(const ImageViewer &viewer, const QPoint &pos)
{
    return QPointF(pos - viewer.container()->pos()) / viewer.getImageScale();
}

void wheelOn(QWidget *w, int delta)
{
    const QPointF pos(w->width() / 2.0, w->height() / 2.0);
    QWheelEvent event(pos, w->mapToGlobal(pos.toPoint()), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(w, &event);
}

} // namespace

class ImageViewerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        ImageContainer::resetWheelAccumulator();
        m_viewer = std::make_unique<ImageViewer>();
        m_viewer->resize(1000, 1000);
        m_viewer->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_viewer.get()));
    }

    void zoomStaysOnTheTenthsGrid_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<bool>("in");
        QTest::addColumn<double>("expected");
        QTest::newRow("0.95 in cuts down to 1.0") << 0.95 << true << 1.0;
        QTest::newRow("0.95 out lands on 0.9") << 0.95 << false << 0.9;
        QTest::newRow("3.95 in caps at 4.0") << 3.95 << true << 4.0;
        QTest::newRow("0.15 out raised to 0.1") << 0.15 << false << 0.1;
        QTest::newRow("1.0 in") << 1.0 << true << 1.1;
        QTest::newRow("0.7 in (0.7 + 0.1 is 0.79999... in doubles)") << 0.7 << true << 0.8;
        QTest::newRow("0.3 out") << 0.3 << false << 0.2;
    }

    void zoomStaysOnTheTenthsGrid()
    {
        QFETCH(double, start);
        QFETCH(bool, in);
        QFETCH(double, expected);
        m_viewer->loadPixmap(solid({400, 300}));
        m_viewer->setImageScale(start);
        QCOMPARE(m_viewer->getImageScale(), start);
        if (in)
            m_viewer->zoominImage(QPoint(500, 500));
        else
            m_viewer->zoomoutImage(QPoint(500, 500));
        QVERIFY2(qAbs(m_viewer->getImageScale() - expected) < 1e-9, qPrintable(QString::number(m_viewer->getImageScale(), 'g', 17)));
        QCOMPARE(m_viewer->container()->size(), QSize(qRound(400 * expected), qRound(300 * expected)));
    }

    void everyTenthIsReachedAndTheBoundsRefuse()
    {
        m_viewer->loadPixmap(solid({100, 100}));
        m_viewer->setImageScale(0.1);
        QSignalSpy scales(m_viewer.get(), &ImageViewer::scaleChanged);
        for (int tenth = 2; tenth <= 40; ++tenth) {
            m_viewer->zoominImage(QPoint(10, 10));
            QVERIFY2(qAbs(m_viewer->getImageScale() - tenth / 10.0) < 1e-9,
                     qPrintable(QStringLiteral("step to %1 gave %2").arg(tenth).arg(m_viewer->getImageScale(), 0, 'g', 17)));
        }
        QVERIFY(!m_viewer->getZoominEnableState());
        m_viewer->zoominImage(QPoint(10, 10));
        QCOMPARE(m_viewer->getImageScale(), 4.0);
        QCOMPARE(scales.count(), 39);
        for (int tenth = 39; tenth >= 1; --tenth) {
            m_viewer->zoomoutImage(QPoint(10, 10));
            QVERIFY2(qAbs(m_viewer->getImageScale() - tenth / 10.0) < 1e-9,
                     qPrintable(QStringLiteral("step to %1 gave %2").arg(tenth).arg(m_viewer->getImageScale(), 0, 'g', 17)));
        }
        QVERIFY(!m_viewer->getZoomoutEnableState());
        m_viewer->zoomoutImage(QPoint(10, 10));
        QCOMPARE(m_viewer->getImageScale(), 0.1);
        QCOMPARE(m_viewer->scaleLabelText(), QStringLiteral("10%"));

        // Scales outside the bounds are not taken.
        m_viewer->setImageScale(4.5);
        m_viewer->setImageScale(0.05);
        QCOMPARE(m_viewer->getImageScale(), 0.1);
    }

    void fitIsCappedAtFourAndOneToOneTakesTheTurnedSize()
    {
        m_viewer->loadPixmap(solid({100, 100}));
        QCOMPARE(m_viewer->getImageScale(), 4.0);
        QCOMPARE(m_viewer->container()->size(), QSize(400, 400));
        const QSize viewport = m_viewer->viewport()->size();
        m_viewer->loadPixmap(solid({4000, 2000}));
        QCOMPARE(m_viewer->getImageScale(), double(viewport.width()) / 4000);
        m_viewer->loadPixmap(solid({30000, 10}));
        QCOMPARE(m_viewer->getImageScale(), 0.1);

        m_viewer->loadPixmap(solid({300, 200}), 90);
        m_viewer->adjustViewerToImageSize();
        QCOMPARE(m_viewer->getImageScale(), 1.0);
        QCOMPARE(m_viewer->container()->size(), QSize(200, 300));
    }

    void thePointUnderTheCursorStays()
    {
        m_viewer->resize(600, 400);
        m_viewer->loadPixmap(solid({2000, 1500}));
        m_viewer->setImageScale(0.5);
        const QList<QPoint> points{{150, 100}, {420, 333}, {599, 1}, {300, 200}};
        for (const QPoint &pos : points) {
            for (int i = 0; i < 3; ++i) {
                const QPointF before = pictureAt(*m_viewer, pos);
                m_viewer->zoominImage(pos);
                const QPointF after = pictureAt(*m_viewer, pos);
                // Within a screen pixel, in picture pixels.
                QVERIFY2(QLineF(before, after).length() <= 1.0 / m_viewer->getImageScale() + 1e-6,
                         qPrintable(QStringLiteral("(%1,%2) moved from (%3,%4) to (%5,%6)")
                                        .arg(pos.x()).arg(pos.y()).arg(before.x()).arg(before.y()).arg(after.x()).arg(after.y())));
            }
            const QPointF before = pictureAt(*m_viewer, pos);
            m_viewer->zoomoutImage(pos);
            QVERIFY(QLineF(before, pictureAt(*m_viewer, pos)).length() <= 1.0 / m_viewer->getImageScale() + 1e-6);
            m_viewer->setImageScale(0.5);
        }
    }

    void wheelOverThePictureZoomsInSteps()
    {
        m_viewer->loadPixmap(solid({400, 300}));
        m_viewer->setImageScale(1.0);
        wheelOn(m_viewer->container(), 15);
        QCOMPARE(m_viewer->getImageScale(), 1.0);
        QCOMPARE(ImageContainer::wheelAccumulator(), 15);
        wheelOn(m_viewer->container(), 15);
        QVERIFY(qAbs(m_viewer->getImageScale() - 1.1) < 1e-9);
        wheelOn(m_viewer->container(), -120);
        QVERIFY(qAbs(m_viewer->getImageScale() - 1.0) < 1e-9);
        // Beside the picture too.
        wheelOn(m_viewer->viewport(), 120);
        QVERIFY(qAbs(m_viewer->getImageScale() - 1.1) < 1e-9);
        m_viewer->setEnableZoom(false);
        wheelOn(m_viewer->container(), 120);
        QVERIFY(qAbs(m_viewer->getImageScale() - 1.1) < 1e-9);
    }

    void quarterTurnsKeepTheirSignAndRemakeThePainter()
    {
        m_viewer->loadPixmap(solid({300, 200}));
        m_viewer->container()->addPainter(m_viewer->getCalcPainterSize());
        QCOMPARE(m_viewer->getPainter()->pictureSize(), QSize(300, 200));
        QList<int> left;
        for (int i = 0; i < 4; ++i) {
            m_viewer->rotateImage(true);
            left << m_viewer->getImageRotate();
        }
        QCOMPARE(left, (QList<int>{-90, -180, -270, 0}));
        m_viewer->rotateImage(false);
        QCOMPARE(m_viewer->getImageRotate(), 90);
        QCOMPARE(m_viewer->getPainter()->pictureSize(), QSize(200, 300));
        QCOMPARE(m_viewer->container()->getPixmap().size(), QSize(200, 300));
        m_viewer->rotateValue(false);
        m_viewer->rotateValue(false);
        m_viewer->rotateValue(false);
        QCOMPARE(m_viewer->getImageRotate(), 0);
    }

    void dragAndSpaceBarPan()
    {
        m_viewer->resize(400, 300);
        m_viewer->loadPixmap(solid({2000, 1500}));
        m_viewer->setImageScale(1.0);
        QScrollBar *h = m_viewer->horizontalScrollBar();
        QScrollBar *v = m_viewer->verticalScrollBar();
        h->setValue(500);
        v->setValue(500);
        ImageContainer *c = m_viewer->container();
        const QPoint start = c->mapFrom(m_viewer->viewport(), QPoint(200, 150));
        QTest::mousePress(c, Qt::LeftButton, Qt::NoModifier, start);
        QVERIFY(m_viewer->isPanning());
        QMouseEvent move(QEvent::MouseMove, start + QPoint(-40, 25), c->mapToGlobal(start + QPoint(-40, 25)),
                         Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(c, &move);
        QTest::mouseRelease(c, Qt::LeftButton, Qt::NoModifier, start + QPoint(-40, 25));
        QVERIFY(!m_viewer->isPanning());
        QCOMPARE(h->value(), 540);
        QCOMPARE(v->value(), 475);

        // The space bar lends the pan to a painter that is drawing, then gives its tool back.
        m_viewer->setEditState(true);
        c->addPainter(m_viewer->getCalcPainterSize());
        m_viewer->getPainter()->setTool(OrvPainterBase::OrvPainter::Tool::Select);
        QTest::keyPress(m_viewer.get(), Qt::Key_Space);
        QVERIFY(m_viewer->isSpacePanning());
        QCOMPARE(m_viewer->getPainter()->tool(), OrvPainterBase::OrvPainter::Tool::None);
        QKeyEvent repeat(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QString(), true);
        QCoreApplication::sendEvent(m_viewer.get(), &repeat);
        QTest::keyRelease(m_viewer.get(), Qt::Key_Space);
        QVERIFY(!m_viewer->isSpacePanning());
        QCOMPARE(m_viewer->getPainter()->tool(), OrvPainterBase::OrvPainter::Tool::Select);
    }

    void contextMenuSignalsAreReEmitted()
    {
        m_viewer->loadPixmap(solid({200, 200}));
        QSignalSpy save(m_viewer.get(), &ImageViewer::doSave);
        QSignalSpy copy(m_viewer.get(), &ImageViewer::doCopy);
        QTest::mouseRelease(m_viewer->container(), Qt::RightButton, Qt::NoModifier, QPoint(10, 10));
        QVERIFY(m_viewer->menu());
        QCOMPARE(m_viewer->menu()->parentType(), ImagePreviewMenu::PARENT_VIEWER);
        m_viewer->menu()->menu()->findChild<QAction *>("actionSave")->trigger();
        m_viewer->menu()->menu()->findChild<QAction *>("actionCopy")->trigger();
        QCOMPARE(save.count(), 1);
        QCOMPARE(copy.count(), 1);

        m_viewer->setEnableRightClick(false);
        delete m_viewer->menu()->menu();
        QTest::mouseRelease(m_viewer->container(), Qt::RightButton, Qt::NoModifier, QPoint(10, 10));
        QVERIFY(!m_viewer->menu()->menu());
    }

    void savedPictureKeepsFullResolutionWithItsAnnotations()
    {
        QTemporaryDir dir;
        m_viewer->loadPixmap(solid({1200, 800}, Qt::white));
        m_viewer->setImageScale(0.3);
        m_viewer->setMoleNameAndSetupData(QStringLiteral("viewer-save-test"));
        m_viewer->container()->addPainter(m_viewer->getCalcPainterSize());
        auto *mark = new QGraphicsRectItem(100, 100, 200, 100);
        mark->setBrush(Qt::red);
        mark->setPen(Qt::NoPen);
        m_viewer->getPainter()->addItem(mark);
        const QString path = dir.filePath("annotated.png");
        QVERIFY(m_viewer->saveImage(path));
        const QImage saved(path);
        QCOMPARE(saved.size(), QSize(1200, 800));
        QCOMPARE(QColor(saved.pixel(200, 150)), QColor(Qt::red));
        QCOMPARE(QColor(saved.pixel(50, 50)), QColor(Qt::white));
        QCOMPARE(QColor(saved.pixel(310, 150)), QColor(Qt::white));

        // Zoom does not move annotations on the picture.
        m_viewer->zoominImage(QPoint(10, 10));
        QVERIFY(m_viewer->saveImage(path));
        QCOMPARE(QColor(QImage(path).pixel(299, 199)), QColor(Qt::red));
        QCOMPARE(QColor(QImage(path).pixel(301, 201)), QColor(Qt::white));

        // A turned picture is saved turned; the annotations did not survive the turn.
        m_viewer->rotateImage(false);
        QVERIFY(m_viewer->saveImage(path));
        QCOMPARE(QImage(path).size(), QSize(800, 1200));
        QCOMPARE(m_viewer->getPainter()->itemCount(), 0);
        OrvPainterBase::OrvPainter::discardData(QStringLiteral("viewer-save-test"));
    }

    void wrapperHoldsOneCentredViewer()
    {
        ImageViewerWidget widget;
        QVERIFY(widget.viewer());
        QCOMPARE(widget.viewer()->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        widget.setEnableZoom(false);
        widget.loadPixmap(solid({50, 50}));
        QCOMPARE(widget.viewer()->getOriginalPixmap().size(), QSize(50, 50));
        widget.setMoleNameAndSetupData(QStringLiteral("wrapped"));
        QCOMPARE(widget.viewer()->getMoleName(), QStringLiteral("wrapped"));
    }

private:
    std::unique_ptr<ImageViewer> m_viewer;
};

QTEST_MAIN(ImageViewerTest)
#include "tst_imageviewer.moc"
