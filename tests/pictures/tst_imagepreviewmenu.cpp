// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imagepreviewmenu.h"
#include "imagesamples.h"
#include "imsignalobject.h"
#include "orvpainter.h"

#include <QClipboard>
#include <QGraphicsRectItem>
#include <QGuiApplication>
#include <QMimeData>
#include <QPainter>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <qrencode.h>

namespace {

// A QR code of text, drawn with a quiet zone at the given module size onto a photo-like picture.
QImage pictureWithCode(const QString &text, int module = 6)
{
    QRcode *code = QRcode_encodeString(text.toUtf8().constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1);
    if (!code)
        return QImage();
    const int side = (code->width + 8) * module;
    QImage image = ImageSamples::cameraLike({side * 3, side * 2}, 11);
    QPainter p(&image);
    const QPoint origin(side, side / 2);
    p.fillRect(QRect(origin, QSize(side, side)), Qt::white);
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            if (code->data[y * code->width + x] & 1)
                p.fillRect(origin.x() + (x + 4) * module, origin.y() + (y + 4) * module, module, module, Qt::black);
        }
    }
    QRcode_free(code);
    return image;
}

QStringList entriesFor(ImagePreviewMenu &menu, const QImage &image, ImagePreviewMenu::PARENT_TYPE type)
{
    menu.ShowMenuByPixmap(QPixmap::fromImage(image), QPoint(10, 10), type);
    QStringList names;
    const auto actions = menu.menu()->actions();
    for (const QAction *action : actions)
        names << action->objectName().mid(6); // without "action"
    menu.menu()->hide();
    return names;
}

} // namespace

class ImagePreviewMenuTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_plain = ImageSamples::cameraLike({600, 400}, 2);
        m_code = pictureWithCode(QStringLiteral("https://join.example/c?sn=CLS2024A"));
        QVERIFY(!m_code.isNull());
    }

    void entriesFollowTheParentType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QStringList>("plain");
        QTest::addColumn<QStringList>("withCode");
        const QStringList chat{"Copy", "Save", "Transmit", "Edit"};
        const QStringList chatCode{"Copy", "Save", "Transmit", "QRCode", "Edit"};
        const QStringList readOnly{"Copy", "Save", "Transmit"};
        QTest::newRow("0 chat") << 0 << chat << chatCode;
        QTest::newRow("1 preview") << 1 << chat << chatCode;
        QTest::newRow("4 viewer") << 4 << chat << chatCode;
        QTest::newRow("2 class chat") << 2 << readOnly << readOnly;
        QTest::newRow("6 screenshot") << 6 << readOnly << readOnly;
        QTest::newRow("7 notice") << 7 << readOnly << readOnly;
        QTest::newRow("3 homework") << 3 << QStringList{"Copy", "Save", "Transmit", "Edit", "Delete"}
                                    << QStringList{"Copy", "Save", "Transmit", "Edit", "Delete"};
        QTest::newRow("5 cloud disk") << 5 << QStringList{"Copy", "Save", "SaveToCloud", "Edit"}
                                      << QStringList{"Copy", "Save", "SaveToCloud", "Edit"};
    }

    void entriesFollowTheParentType()
    {
        QFETCH(int, type);
        QFETCH(QStringList, plain);
        QFETCH(QStringList, withCode);
        ImagePreviewMenu menu;
        QCOMPARE(entriesFor(menu, m_plain, ImagePreviewMenu::PARENT_TYPE(type)), plain);
        QCOMPARE(entriesFor(menu, m_code, ImagePreviewMenu::PARENT_TYPE(type)), withCode);
        QCOMPARE(menu.entries().first(), QStringLiteral("ID_Copy"));
    }

    void actionsOnlySignal()
    {
        ImagePreviewMenu menu;
        menu.ShowMenuByPixmap(QPixmap::fromImage(m_plain), QPoint(), ImagePreviewMenu::PARENT_HOMEWORK);
        QSignalSpy save(&menu, &ImagePreviewMenu::doSave);
        QSignalSpy share(&menu, &ImagePreviewMenu::doShare);
        QSignalSpy edit(&menu, &ImagePreviewMenu::doEdit);
        QSignalSpy del(&menu, &ImagePreviewMenu::doDelete);
        for (const char *name : {"actionSave", "actionTransmit", "actionEdit", "actionDelete"})
            menu.menu()->findChild<QAction *>(name)->trigger();
        QCOMPARE(save.count() + share.count() + edit.count() + del.count(), 4);
        QCOMPARE(del.count(), 1);
    }

    void qrCodesAreFoundDecodedAndHandedOn_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("log");
        QTest::newRow("class serial") << "https://join.example/c?sn=CLS2024A" << "menuSearchOpenClass" << "CLS2024A"
                                      << "clipboard has class sn:";
        QTest::newRow("course id") << "https://www.example.org/course?cid=880012" << "menuSearchOpenCourse" << "880012"
                                   << "clipboard has cid:";
        QTest::newRow("user key in JSON") << "{\"userSecretKey\":\"k9Xp2\"}" << "menuSearchUserBySecretKey" << "k9Xp2"
                                          << "clipboard has userSecretKey:";
        QTest::newRow("person") << "{\"uid\":10042}" << "menuAddContacts" << "10042" << "clipboard has uid:";
        QTest::newRow("Chinese text") << QStringLiteral("班级二维码 没有编号") << QString() << QString() << "nothing the client knows";
        QTest::newRow("hostile serial") << "https://x.example/?sn=%3Cscript%3E';drop" << QString() << QString()
                                        << "nothing the client knows";
    }

    void qrCodesAreFoundDecodedAndHandedOn()
    {
        QFETCH(QString, text);
        QFETCH(QString, request);
        QFETCH(QString, value);
        QFETCH(QString, log);
        const QImage image = pictureWithCode(text);
        QString decoded;
        QVERIFY(ImagePreviewMenu::isHaveQRCode(image, &decoded));
        QCOMPARE(decoded, text);

        ImSignalObject *hub = ImSignalObject::instance();
        QSignalSpy cls(hub, &ImSignalObject::menuSearchOpenClass);
        QSignalSpy course(hub, &ImSignalObject::menuSearchOpenCourse);
        QSignalSpy key(hub, &ImSignalObject::menuSearchUserBySecretKey);
        QSignalSpy add(hub, &ImSignalObject::menuAddContacts);
        ImagePreviewMenu menu;
        menu.ShowMenuByPixmap(QPixmap::fromImage(image), QPoint(), ImagePreviewMenu::PARENT_PREVIEW);
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QRegularExpression::escape(log)));
        menu.menu()->findChild<QAction *>("actionQRCode")->trigger();
        const QHash<QString, QSignalSpy *> spies{{"menuSearchOpenClass", &cls},
                                                 {"menuSearchOpenCourse", &course},
                                                 {"menuSearchUserBySecretKey", &key},
                                                 {"menuAddContacts", &add}};
        for (auto it = spies.cbegin(); it != spies.cend(); ++it) {
            QCOMPARE(it.value()->count(), it.key() == request ? 1 : 0);
            if (it.key() == request)
                QCOMPARE(it.value()->at(0).at(0).toString(), value);
        }
        if (request == QLatin1String("menuSearchOpenClass"))
            QCOMPARE(cls.at(0).at(1).toBool(), false); // no automatic order
    }

    void copyPutsTheFileAndThePixelsOnTheClipboard()
    {
        QClipboard *clipboard = QGuiApplication::clipboard();
        ImagePreviewMenu menu;
        menu.ShowMenuByPixmap(QPixmap::fromImage(m_plain), QPoint(), ImagePreviewMenu::PARENT_PREVIEW);
        QSignalSpy copied(&menu, &ImagePreviewMenu::doCopy);
        menu.menu()->findChild<QAction *>("actionCopy")->trigger();
        QCOMPARE(copied.count(), 1);
        const QMimeData *mime = clipboard->mimeData();
        QVERIFY(mime);
        const QString file = QStandardPaths::writableLocation(QStandardPaths::TempLocation)
            + QLatin1String(ImagePreviewMenu::CopyFileName);
        QCOMPARE(mime->urls(), QList<QUrl>{QUrl::fromLocalFile(file)});
        QVERIFY(mime->html().contains(QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded)));
        QCOMPARE(qvariant_cast<QImage>(mime->imageData()).size(), m_plain.size());
        const QImage onDisk(file);
        QCOMPARE(onDisk.size(), m_plain.size());
        QCOMPARE(onDisk.pixel(17, 23), m_plain.pixel(17, 23)); // PNG: no loss

        // Classroom chat: the plain picture only.
        clipboard->clear();
        menu.ShowMenuByPixmap(QPixmap::fromImage(m_code), QPoint(), ImagePreviewMenu::PARENT_CLASS_CHAT);
        menu.menu()->findChild<QAction *>("actionCopy")->trigger();
        QVERIFY(clipboard->mimeData()->urls().isEmpty());
        QCOMPARE(clipboard->image().size(), m_code.size());
    }

    void pictureFromAPathAndAMissingOne()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("menu.png");
        QVERIFY(m_plain.save(path));
        ImagePreviewMenu menu;
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("imgPath:"));
        menu.ShowMenuByPath(path, QPoint(), ImagePreviewMenu::PARENT_CLOUD_DISK);
        QCOMPARE(menu.image().size(), m_plain.size());
        QVERIFY(menu.menu()->findChild<QAction *>("actionSaveToCloud"));

        ImagePreviewMenu empty;
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("imgPath:"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot open picture"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no picture for the context menu"));
        empty.ShowMenuByPath(dir.filePath("missing.png"), QPoint(), ImagePreviewMenu::PARENT_PREVIEW);
        QVERIFY(!empty.menu());
    }

private:
    QImage m_plain;
    QImage m_code;
};

class OrvPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void annotationsLiveUnderTheirKey()
    {
        const QString key = QStringLiteral("painter-key-test");
        {
            OrvPainterBase::OrvPainter painter(QSize(400, 300));
            QSignalSpy modified(&painter, &OrvPainterBase::OrvPainter::dataModified);
            painter.setDataKey(key);
            painter.addItem(new QGraphicsRectItem(10, 10, 50, 50));
            QCOMPARE(modified.last().at(0).toInt(), 1);
        }
        QCOMPARE(OrvPainterBase::OrvPainter::storedItemCount(key), 1);
        OrvPainterBase::OrvPainter again(QSize(400, 300));
        again.setDataKey(key);
        QCOMPARE(again.itemCount(), 1);
        // A layer without a key keeps its annotations to itself.
        OrvPainterBase::OrvPainter alone(QSize(400, 300));
        alone.addItem(new QGraphicsRectItem(0, 0, 5, 5));
        QCOMPARE(OrvPainterBase::OrvPainter::storedItemCount(key), 1);
        again.clear();
        QCOMPARE(OrvPainterBase::OrvPainter::storedItemCount(key), 0);
        OrvPainterBase::OrvPainter::discardData(key);
    }

    void renderIsAtThePicturesSizeWhateverTheLayerSize()
    {
        OrvPainterBase::OrvPainter painter(QSize(1000, 500));
        painter.setLayerSize(QSize(200, 100)); // shown at a fifth
        auto *mark = new QGraphicsRectItem(500, 250, 100, 100);
        mark->setBrush(Qt::blue);
        mark->setPen(Qt::NoPen);
        painter.addItem(mark);
        QPixmap picture(1000, 500);
        picture.fill(Qt::white);
        const QImage out = painter.renderImage(picture);
        QCOMPARE(out.size(), QSize(1000, 500));
        QCOMPARE(QColor(out.pixel(550, 300)), QColor(Qt::blue));
        QCOMPARE(QColor(out.pixel(450, 300)), QColor(Qt::white));
        // A smaller copy of the picture scales the annotations with it.
        QPixmap half(500, 250);
        half.fill(Qt::white);
        const QImage small = painter.renderImage(half);
        QCOMPARE(QColor(small.pixel(275, 150)), QColor(Qt::blue));
        QCOMPARE(QColor(small.pixel(240, 150)), QColor(Qt::white));
    }

    void toolsAreSavedAndRestoredAndLetInputThrough()
    {
        OrvPainterBase::OrvPainter painter(QSize(100, 100));
        QVERIFY(painter.testAttribute(Qt::WA_TransparentForMouseEvents));
        painter.setTool(OrvPainterBase::OrvPainter::Tool::Select);
        QVERIFY(!painter.testAttribute(Qt::WA_TransparentForMouseEvents));
        painter.saveTool();
        QCOMPARE(painter.tool(), OrvPainterBase::OrvPainter::Tool::None);
        QVERIFY(painter.testAttribute(Qt::WA_TransparentForMouseEvents));
        painter.restoreTool();
        QCOMPARE(painter.tool(), OrvPainterBase::OrvPainter::Tool::Select);
        painter.restoreTool(); // nothing saved: stays
        QCOMPARE(painter.tool(), OrvPainterBase::OrvPainter::Tool::Select);
        painter.setEditable(false);
        QVERIFY(painter.testAttribute(Qt::WA_TransparentForMouseEvents));
        painter.resetTool();
        QCOMPARE(painter.tool(), OrvPainterBase::OrvPainter::Tool::None);
    }

    void failedRenderLeavesTheOldFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("kept.png");
        QImage old(10, 10, QImage::Format_RGB32);
        old.fill(Qt::green);
        QVERIFY(old.save(path));
        OrvPainterBase::OrvPainter painter(QSize(10, 10));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no picture to render"));
        QVERIFY(!painter.render(path, QPixmap()));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot (write|encode)"));
        QVERIFY(!painter.render(dir.filePath("no/such/folder/x.png"), QPixmap(10, 10)));
        QCOMPARE(QColor(QImage(path).pixel(5, 5)), QColor(Qt::green));
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    int status = 0;
    {
        ImagePreviewMenuTest menu;
        status |= QTest::qExec(&menu, argc, argv);
    }
    {
        OrvPainterTest painter;
        status |= QTest::qExec(&painter, argc, argv);
    }
    return status;
}

#include "tst_imagepreviewmenu.moc"
