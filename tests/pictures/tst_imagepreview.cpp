// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImagePreview.h"
#include "ShareToChatTool.h"
#include "chatfiletransfer.h"
#include "chatinclassengine.h"
#include "ImageGraphicsView.h"
#include "imageeditor.h"
#include "orvdesktopshell.h"
#include "picturesfixture.h"

#include <QFileDialog>
#include <QGraphicsView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>

namespace {

QPushButton *button(QWidget *w, const char *name)
{
    return w->findChild<QPushButton *>(QLatin1String(name));
}

void wheel(ImagePreview &preview, int delta)
{
    QWidget *viewport = preview.view()->viewport();
    const QPointF pos(viewport->width() / 2.0, viewport->height() / 2.0);
    QWheelEvent event(pos, viewport->mapToGlobal(pos.toPoint()), QPoint(), QPoint(0, delta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(viewport, &event);
}

void moveTo(ImagePreview &preview, int x)
{
    QWidget *viewport = preview.view()->viewport();
    QMouseEvent event(QEvent::MouseMove, QPointF(x, viewport->height() / 2), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &event);
}

void key(QWidget &w, Qt::Key k, QEvent::Type type)
{
    QKeyEvent event(type, k, Qt::NoModifier);
    QCoreApplication::sendEvent(&w, &event);
}

// Records what the desktop was asked to do, instead of starting programs.
class RecordingShell : public OrvDesktopShell
{
public:
    QStringList calls;
    bool openFile(const QString &path) override
    {
        calls << QStringLiteral("open:") + path;
        return true;
    }
    bool showInFolder(const QString &path) override
    {
        calls << QStringLiteral("show:") + path;
        return true;
    }
};

} // namespace

class ImagePreviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_env.start());
        m_small = m_env.picture("small.png", {100, 100});
        m_wide = m_env.picture("wide.png", {3000, 1000});
        QVERIFY(!m_small.isEmpty() && !m_wide.isEmpty());
    }

    void init()
    {
        ImagePreviewFrame::resetWheelAccumulator();
        OrvTrack::instance()->clear();
        m_env.messages.clear();
    }

    void smallPictureShowsOneToOneAndRestoreIsOff()
    {
        ImagePreview preview;
        preview.load(m_small, QString());
        QCOMPARE(preview.fitScale(), 1.0);
        QCOMPARE(preview.scale(), 1.0);
        QVERIFY(!button(&preview, "btnRestore")->isEnabled());
        QCOMPARE(button(&preview, "btnRestore")->property("isFit").toBool(), false);
        QCOMPARE(preview.pictureSize(), QSize(100, 100));
        // The window never gets smaller than its minimum picture area.
        QVERIFY(preview.width() >= ImagePreviewFrame::MinPictureWidth);
    }

    void windowTakesThePicturesSizeWithinTheScreen()
    {
        const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
        ImagePreview big;
        big.load(QPixmap(solid(QSize(2000, 1900))));
        QVERIFY(big.width() <= available.width());
        QVERIFY(big.height() <= available.height());
        ImagePreview tiny;
        tiny.load(QPixmap(solid(QSize(20, 10))));
        QVERIFY(tiny.width() >= ImagePreviewFrame::MinPictureWidth);
        QVERIFY(tiny.height() >= ImagePreviewFrame::MinPictureHeight);
    }

    void chatInClassPicturesDownloadAndFollowRecalls()
    {
        auto *engine = OrvEngine::ChatInClassEngine::instance();
        engine->fileTransfer()->setFileServer(m_env.service.baseUrl());
        engine->fileTransfer()->setDownloadFolder(m_env.path("inclass"));
        m_env.chatFiles.addFile("c1", ImageSamples::encode(ImageSamples::cameraLike({640, 480}, 31), "jpg"));
        m_env.chatFiles.addFile("c2", ImageSamples::encode(ImageSamples::cameraLike({480, 640}, 32), "jpg"));
        QList<OrvEngine::ChatInClassMessagePtr> messages;
        for (int i = 1; i <= 3; ++i) {
            auto msg = std::make_shared<OrvEngine::ChatInClassMessage>(500 + i, 7001, 1, 3, OrvEngine::ContactsInClassID(1));
            msg->setContent(QStringLiteral("{\"fileId\":\"c%1\",\"fileName\":\"c%1.jpg\"}").arg(qMin(i, 2)));
            messages << msg;
        }
        ImagePreview preview;
        preview.show();
        preview.load(0, messages);
        QCOMPARE(preview.listMode(), int(ImagePreview::MessageListMode));
        QVERIFY(preview.maskText().startsWith(QStringLiteral("0%")));
        QTRY_COMPARE_WITH_TIMEOUT(preview.pictureSize(), QSize(640, 480), 15000);
        preview.onNext();
        QTRY_COMPARE_WITH_TIMEOUT(preview.pictureSize(), QSize(480, 640), 15000);
        QCOMPARE(preview.findChild<QLabel *>("textDesc")->text(), QStringLiteral("2/3"));

        // Another message recalled: the list shrinks around the picture shown.
        engine->undoMessage(messages.first(), 7001, 1, 3, QStringLiteral("ID_MessageBeenRecalled"));
        QCOMPARE(preview.currentIndex(), 0);
        QCOMPARE(preview.pageCount(), 2);
        QCOMPARE(preview.pictureSize(), QSize(480, 640));
        // The one shown: the window closes.
        engine->undoMessage(messages.at(1), 7001, 1, 3, QStringLiteral("ID_MessageBeenRecalled"));
        QVERIFY(!preview.isVisible());
    }

    void enlargeStopsAtTwoWithTheStoredScalePastIt()
    {
        ImagePreview preview;
        preview.resize(980, 700);
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.load(QPixmap(solid(QSize(1000, 100))));
        QVERIFY(qAbs(preview.fitScale() - 0.98) < 1e-9);
        QSignalSpy scales(&preview, &ImagePreview::scaleChanged);
        QPushButton *enlarge = button(&preview, "btnZoomout");
        for (int i = 0; i < 20; ++i)
            preview.onZoomout(); // the reversed name: this enlarges
        QVERIFY(qAbs(preview.scale() - 1.98) < 1e-9);
        QVERIFY(enlarge->isEnabled());
        preview.onZoomout();
        QVERIFY(qAbs(preview.scale() - 2.03) < 1e-9); // stored past the bound ...
        QCOMPARE(preview.viewScale(), 2.0);             // ... shown at it
        QCOMPARE(preview.view()->transform().m11(), 2.0);
        QVERIFY(!enlarge->isEnabled());
        QCOMPARE(preview.findChild<QLabel *>("scaleLabel")->text(), QStringLiteral("200%"));
        preview.onZoomout();
        QVERIFY(qAbs(preview.scale() - 2.03) < 1e-9); // refused
        QCOMPARE(scales.count(), 21);
        QCOMPARE(preview.view()->dragMode(), QGraphicsView::ScrollHandDrag);
    }

    void shrinkStopsAtTheLowerBound()
    {
        ImagePreview preview;
        preview.load(QPixmap(solid(QSize(100, 100))));
        for (int i = 0; i < 19; ++i)
            preview.onZoomin(); // shrinks
        QVERIFY(ImagePreviewFrame::fuzzyEqual(preview.scale(), 0.05) || qAbs(preview.scale() - 0.05) < 1e-9);
        QVERIFY(!button(&preview, "btnZoomin")->isEnabled());
        preview.onZoomin();
        QCOMPARE(preview.viewScale(), ImagePreviewFrame::MinScale);
        const double stored = preview.scale();
        QVERIFY(stored < 0.05);
        preview.onZoomin();
        QCOMPARE(preview.scale(), stored);
        QCOMPARE(preview.view()->dragMode(), QGraphicsView::NoDrag);

        // Nothing moves while zoom is off.
        preview.setZoomEnabled(false);
        preview.onZoomout();
        QCOMPARE(preview.scale(), stored);
    }

    void restoreTogglesBetweenFitAndOneToOne()
    {
        ImagePreview preview;
        preview.load(m_wide, QString());
        QVERIFY(preview.fitScale() < 1.0);
        QPushButton *restore = button(&preview, "btnRestore");
        QVERIFY(restore->isEnabled());
        QCOMPARE(restore->property("isFit").toBool(), false);
        preview.onRestore();
        QCOMPARE(preview.scale(), 1.0);
        QCOMPARE(restore->property("isFit").toBool(), true);
        preview.onRestore();
        QCOMPARE(preview.scale(), preview.fitScale());
        QCOMPARE(restore->property("isFit").toBool(), false);
    }

    void rotationAccumulatesAndTheTurnedPictureFits()
    {
        ImagePreview preview;
        preview.resize(1000, 700);
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.load(m_wide, QString());
        const double wideFit = preview.fitScale();
        for (int i = 1; i <= 4; ++i) {
            preview.onRotate();
            QCOMPARE(preview.rotation(), 90 * i);
        }
        QCOMPARE(preview.rotation(), 360);
        QCOMPARE(preview.fitScale(), wideFit);
        preview.onRotate();
        // Standing up, the wide picture's width must fit the height.
        const int contentHeight = preview.view()->height();
        const double standing = preview.fitScale() * preview.pictureSize().width();
        QVERIFY2(standing <= contentHeight + 1, qPrintable(QStringLiteral("%1 > %2").arg(standing).arg(contentHeight)));
        QVERIFY(preview.fitScale() < wideFit);
    }

    void wheelStepsOnceTheAccumulatorReachesTwenty()
    {
        ImagePreview preview;
        preview.show();
        preview.load(m_wide, QString());
        const double start = preview.scale();
        wheel(preview, 15);
        QCOMPARE(preview.scale(), start);
        QCOMPARE(ImagePreviewFrame::wheelAccumulator(), 15);
        wheel(preview, 15);
        QVERIFY(qAbs(preview.scale() - (start + 0.05)) < 1e-9);
        QCOMPARE(ImagePreviewFrame::wheelAccumulator(), 0);
        wheel(preview, 120);
        QVERIFY(qAbs(preview.scale() - (start + 0.10)) < 1e-9);
        wheel(preview, -120);
        QVERIFY(qAbs(preview.scale() - (start + 0.05)) < 1e-9);
        // Opposite small turns cancel out.
        wheel(preview, 15);
        wheel(preview, -15);
        QCOMPARE(ImagePreviewFrame::wheelAccumulator(), 0);
        QVERIFY(qAbs(preview.scale() - (start + 0.05)) < 1e-9);
    }

    void pagingStopsAtTheEdgesAndKeysActOnRelease()
    {
        const QStringList paths{m_env.picture("p0.png", {120, 80}), m_env.picture("p1.png", {80, 120}),
                                m_env.picture("p2.png", {90, 90})};
        ImagePreview preview;
        preview.show();
        preview.load(0, QList<QString>(paths));
        QCOMPARE(preview.findChild<QLabel *>("textDesc")->text(), QStringLiteral("1/3"));
        QVERIFY(!button(&preview, "btnPrevious")->isEnabled());
        key(preview, Qt::Key_Left, QEvent::KeyRelease);
        QCOMPARE(preview.currentIndex(), 0);

        key(preview, Qt::Key_Right, QEvent::KeyPress); // presses do nothing here
        QCOMPARE(preview.currentIndex(), 0);
        key(preview, Qt::Key_Right, QEvent::KeyRelease);
        QCOMPARE(preview.currentIndex(), 1);
        QCOMPARE(preview.pictureSize(), QSize(80, 120));
        QCOMPARE(preview.getLastCmd(), 1);
        preview.onNext();
        QCOMPARE(preview.currentIndex(), 2);
        QVERIFY(!button(&preview, "btnNext")->isEnabled());
        key(preview, Qt::Key_Right, QEvent::KeyRelease);
        QCOMPARE(preview.currentIndex(), 2);
        QCOMPARE(preview.findChild<QLabel *>("textDesc")->text(), QStringLiteral("3/3"));
        key(preview, Qt::Key_Left, QEvent::KeyRelease);
        QCOMPARE(preview.currentIndex(), 1);
        QCOMPARE(preview.getLastCmd(), -1);

        key(preview, Qt::Key_Escape, QEvent::KeyRelease);
        QVERIFY(!preview.isVisible());
    }

    void pagingButtonsShowOnlyInTheOuterQuarters()
    {
        ImagePreview preview;
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.load(0, QList<QString>{m_small, m_wide});
        const int w = preview.view()->viewport()->width();
        moveTo(preview, 10);
        QVERIFY(button(&preview, "btnPrevious")->isVisible());
        QVERIFY(!button(&preview, "btnNext")->isVisible());
        moveTo(preview, w / 2);
        QVERIFY(!button(&preview, "btnPrevious")->isVisible());
        QVERIFY(!button(&preview, "btnNext")->isVisible());
        moveTo(preview, w - 10);
        QVERIFY(button(&preview, "btnNext")->isVisible());
        QCOMPARE(button(&preview, "btnNext")->x() + button(&preview, "btnNext")->width(),
                 preview.findChild<QWidget *>("pictureArea")->width() - 20);
    }

    void brokenFilesKeepThePictureShown()
    {
        ImagePreview preview;
        preview.load(m_small, QString());
        const qint64 shown = preview.pixmap().cacheKey();
        const QString text = m_env.path("notes.png");
        QVERIFY(ImageSamples::writeFile(text, "not a picture"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not a picture"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("\\(file"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ImagePreview cannot show"));
        preview.load(text, QStringLiteral("notes.png"));
        QCOMPARE(preview.pixmap().cacheKey(), shown);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("null picture"));
        preview.load(QPixmap());
        QCOMPARE(preview.pixmap().cacheKey(), shown);
    }

    void pagesComeFromTheOwner()
    {
        ImagePreview preview;
        preview.load(solid(QSize(200, 100)), QStringLiteral("page.png"), false, 0, 5);
        QCOMPARE(preview.pageCount(), 5);
        QSignalSpy asked(&preview, &ImagePreview::changeImage);
        preview.onNext();
        QCOMPARE(asked.count(), 1);
        QCOMPARE(asked.at(0).at(0).toInt(), 1);
        QVERIFY(preview.isLoading());
        preview.load(solid(QSize(100, 200), Qt::red), QStringLiteral("page2.png"), false, 1, 5);
        QVERIFY(!preview.isLoading());
        QCOMPARE(preview.pictureSize(), QSize(100, 200));
        QCOMPARE(preview.findChild<QLabel *>("textDesc")->text(), QStringLiteral("2/5"));

        // The owner cannot make page 3: the preview moves on in the same direction.
        preview.onNext();
        preview.skipPage();
        QCOMPARE(asked.count(), 3);
        QCOMPARE(asked.last().at(0).toInt(), 3);
    }

    void timersHaveTheirIntervals()
    {
        ImagePreview preview;
        const auto timers = preview.findChildren<QTimer *>();
        QList<int> intervals;
        for (const QTimer *t : timers)
            intervals << t->interval();
        QVERIFY(intervals.contains(1000));
        QVERIFY(intervals.contains(30000));
        preview.load(m_wide, QString());
        preview.startLoading(QString());
        QVERIFY(preview.isLoading());
        preview.loadingTimeOutSlot();
        QVERIFY(!preview.isLoading());
    }

    void largeJpegOpensFromAReductionThenSharpens()
    {
        const QString big = m_env.picture("camera.jpg", {6000, 4000}, 3);
        const QString next = m_env.picture("camera2.jpg", {6000, 4000}, 4);
        ImagePreview preview;
        preview.resize(900, 700);
        preview.load(0, QList<QString>{big, next});
        QCOMPARE(preview.pictureSize(), QSize(2000, 1333));
        QVERIFY(preview.pixmap().width() < 2000); // the quick stand-in
        const double fit = preview.fitScale();
        QTRY_COMPARE_WITH_TIMEOUT(preview.pixmap().size(), QSize(2000, 1333), 20000);
        QCOMPARE(preview.fitScale(), fit); // nothing moved when it sharpened
        // The neighbour is being decoded already.
        QVERIFY(preview.prefetchedPaths().contains(next));
    }

    void originalPictureComesFromTheWebService_data()
    {
        QTest::addColumn<int>("source");
        QTest::newRow("own file") << int(ImagePreview::OwnFile);
        QTest::newRow("organisation file") << int(ImagePreview::OrganizationFile);
        QTest::newRow("teacher-in file") << int(ImagePreview::TeacherInFile);
    }

    void originalPictureComesFromTheWebService()
    {
        QFETCH(int, source);
        OrvCloudDisk::File file;
        file.userFileId = 9100 + quint64(source);
        file.userFileName = QStringLiteral("board%1.jpg").arg(source);
        file.fileType = 4;
        file.fileSource = source == ImagePreview::OrganizationFile ? OrvCloudDisk::OrganizationFile : OrvCloudDisk::OwnFile;
        file.sid = OrvCloudDisk::SchoolId;
        file.ownerUid = m_env.disk.userId();
        file.bytes = ImageSamples::encode(ImageSamples::cameraLike({2400, 1600}, 9), "jpg");
        m_env.disk.addFile(file);
        m_env.service.addRoute("GET", "/clouddisk/api/teacherin/download", [](const OrvWebService::Request &r) {
            return OrvWebService::ok(QJsonObject{{"url", "download/file?id=" + r.queryValue("fileId")}});
        });

        ImagePreview preview;
        preview.setFileKeyInfo(source, file.userFileId, file.ownerUid, 0, OrvCloudDisk::SchoolId);
        preview.load(solid(QSize(240, 160)), true, file.userFileName, file.userFileId, QString(), file.ownerUid);
        QVERIFY(button(&preview, "btnViewOriginalImage")->isVisibleTo(&preview));
        preview.onViewOriginalImage();
        QVERIFY(preview.isLoading());
        QTRY_COMPARE_WITH_TIMEOUT(preview.pixmap().size(), QSize(2000, 1333), 20000);
        QVERIFY(!preview.isLoading());
        QVERIFY(!button(&preview, "btnViewOriginalImage")->isVisibleTo(&preview));
        const QString saved = preview.downloadedFilePath();
        QVERIFY(saved.startsWith(OrvUtils::defaultSaveFilePath()));
        QFile onDisk(saved);
        QVERIFY(onDisk.open(QIODevice::ReadOnly));
        QCOMPARE(onDisk.readAll(), file.bytes);
    }

    void damagedOriginalIsFetchedOnceMoreThenReported()
    {
        OrvCloudDisk::File file;
        file.userFileId = 9200;
        file.userFileName = QStringLiteral("damaged.jpg");
        file.fileType = 4;
        file.ownerUid = m_env.disk.userId();
        file.bytes = QByteArray("these bytes are no picture");
        m_env.disk.addFile(file);
        ImagePreview preview;
        preview.setFileKeyInfo(ImagePreview::OwnFile, file.userFileId, file.ownerUid);
        preview.load(solid(QSize(50, 50)), true, file.userFileName, file.userFileId, QString(), file.ownerUid);
        const qint64 shown = preview.pixmap().cacheKey();
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("file invalid, redownload:"));
        preview.onViewOriginalImage();
        QTRY_COMPARE_WITH_TIMEOUT(preview.tipText(), QStringLiteral("ID_downloadfailed"), 15000);
        QCOMPARE(preview.pixmap().cacheKey(), shown);
        QVERIFY(!preview.isLoading());
    }

    void emptyAddressDownloadsNothing()
    {
        ImagePreview preview;
        preview.load(solid(QSize(50, 50)));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ImagePreview url is empty"));
        preview.downloadOriginImage(QString());
        QCOMPARE(preview.tipText(), QStringLiteral("ID_downloadfailed"));
        QVERIFY(!preview.isLoading());
    }

    void saveWritesTheFileAndTracksIt()
    {
        const QString jpeg = m_env.picture("keep.jpg", {300, 200});
        ImagePreview preview(nullptr, true, QStringLiteral("NotesToUse"));
        preview.load(jpeg, QString());
        preview.onSave();
        auto *dialog = preview.findChild<QFileDialog *>("saveImageDialog");
        QVERIFY(dialog);
        QVERIFY(!dialog->isModal());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("ID_SaveImageAs"));
        const QString suggested = dialog->selectedFiles().value(0);
        QVERIFY2(QRegularExpression("/saved/Kadio_\\d{14}(\\.jpg)?$").match(suggested).hasMatch(), qPrintable(suggested));

        // A copy of the file itself when the format stays.
        const QString target = m_env.path("saved/copy.jpg");
        QDir().mkpath(m_env.path("saved"));
        Q_EMIT dialog->fileSelected(target);
        QFile a(jpeg), b(target);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        QCOMPARE(b.readAll(), a.readAll());
        const auto events = OrvTrack::instance()->events(QStringLiteral("CloudFileOperation"));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.at(0).properties.value("operation_type").toString(), QStringLiteral("save"));
        QCOMPARE(events.at(0).properties.value("operation_entrance").toString(), QStringLiteral("NotesToUse"));

        // Another format is encoded.
        preview.onSaveImage(m_env.path("saved/copy.png"));
        QCOMPARE(QImage(m_env.path("saved/copy.png")).size(), QSize(300, 200));
    }

    void editGoesToTheEditorWithItsAnalytics()
    {
        ImagePreview preview(nullptr, false, QStringLiteral("CurriculumSchedule"), 9001, QStringLiteral("teacher"));
        preview.setFileKeyInfo(ImagePreview::OwnFile, 1, 2, 0, 9001, 0, 4001);
        preview.load(solid(QSize(64, 48)));
        preview.editBtnSlot();
        QPointer<ImageEditor> editor = ImageEditor::instance();
        QVERIFY(editor->isVisible());
        QCOMPARE(editor->entrancePage(), QStringLiteral("CurriculumSchedule"));
        QCOMPARE(editor->view()->getPixmapSize(), QSize(64, 48));
        QCOMPARE(editor->window()->parentWidget(), &preview);
        const auto events = OrvTrack::instance()->events(QStringLiteral("StartEditingPictures"));
        QCOMPARE(events.size(), 1);
        const QVariantMap p = events.at(0).properties;
        QCOMPARE(p.value("entrance_page").toString(), QStringLiteral("CurriculumSchedule"));
        QCOMPARE(p.value("class_id").toString(), QStringLiteral("4001"));
        QCOMPARE(p.value("user_type").toString(), QStringLiteral("teacher"));
        QVERIFY(!p.contains("lesson_id"));
        ImageEditor::release();
        QVERIFY(!editor);
    }

    void downloadMenuOpensThroughTheDesktopShell()
    {
        auto *shell = new RecordingShell;
        OrvDesktopShell::setInstance(shell);
        ImagePreview preview;
        preview.load(m_small, QString());
        preview.downloadBtnSlot(); // a local file: nothing to fetch, the menu offers it
        auto *menu = preview.findChild<QMenu *>("downloadMenu");
        QVERIFY(menu);
        menu->findChild<QAction *>("actionOpen")->trigger();
        menu->findChild<QAction *>("actionOpenFolder")->trigger();
        QCOMPARE(shell->calls, (QStringList{"open:" + m_small, "show:" + m_small}));
        OrvDesktopShell::setInstance(nullptr);
    }

    void shareAndContextMenu()
    {
        ShareToChatTool::instance()->clear();
        ImagePreview preview;
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.load(m_small, QString());
        preview.shareBtnSlot();
        QCOMPARE(ShareToChatTool::instance()->lastShare().kind, QStringLiteral("shareImageFile"));
        QCOMPARE(ShareToChatTool::instance()->lastShare().payload.toObject().value("path").toString(), QFileInfo(m_small).absoluteFilePath());

        // A cloud file without a local copy: the owner shares it.
        QSignalSpy owner(&preview, &ImagePreview::signalShareFile);
        preview.load(solid(QSize(30, 30)), false, QStringLiteral("x.jpg"), 77, QString(), 1);
        preview.shareBtnSlot();
        QCOMPARE(owner.count(), 1);

        QWidget *viewport = preview.view()->viewport();
        QTest::mouseRelease(viewport, Qt::RightButton, Qt::NoModifier, viewport->rect().center());
        QVERIFY(preview.menu());
        QCOMPARE(preview.menu()->entries().first(), QStringLiteral("ID_Copy"));
        preview.menu()->menu()->findChild<QAction *>("actionSave")->trigger();
        QVERIFY(preview.findChild<QFileDialog *>("saveImageDialog"));
    }

private:
    Pictures::Environment m_env;
    QString m_small;
    QString m_wide;

    static QPixmap solid(const QSize &size, const QColor &c = Qt::darkCyan) { return Pictures::solid(size, c); }
};

QTEST_MAIN(ImagePreviewTest)
#include "tst_imagepreview.moc"
