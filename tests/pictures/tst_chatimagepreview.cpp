// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ChatImagePreview.h"
#include "ShareToChatTool.h"
#include "chatengine.h"
#include "chatfiletransfer.h"
#include "picturesfixture.h"

#include <QGraphicsView>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>

using OrvEngine::ChatMsg;
using OrvEngine::ChatMsgPtr;

namespace {

ChatMsgPtr pictureMessage(quint64 localId, const QString &fileId, const QString &fileName = QStringLiteral("p.jpg"))
{
    auto msg = std::make_shared<ChatMsg>(OrvEngine::ClusterID(2, OrvEngine::User), OrvEngine::ChatMsgType::Image, localId);
    msg->setContent(QStringLiteral("{\"fileId\":\"%1\",\"shareId\":\"share-%1\",\"fileName\":\"%2\"}").arg(fileId, fileName));
    msg->setExtra(QStringLiteral("{\"isCloudImage\":false}"));
    return msg;
}

} // namespace

class ChatImagePreviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_env.start());
        m_transfer = OrvEngine::ChatEngine::instance()->fileTransfer();
        m_transfer->setFileServer(m_env.service.baseUrl());
        m_transfer->setDownloadFolder(m_env.path("chat"));
        for (int i = 1; i <= 4; ++i) {
            m_bytes[i] = ImageSamples::encode(ImageSamples::cameraLike({800 + 100 * i, 600}, quint32(i)), "jpg");
            m_env.chatFiles.addFile(QStringLiteral("f%1").arg(i), m_bytes[i]);
        }
    }

    void init()
    {
        m_env.chatFiles.setPace(0, 0);
        QDir(m_env.path("chat")).removeRecursively();
    }

    void downloadShowsProgressThenThePicture()
    {
        m_env.chatFiles.setPace(8 * 1024, 20); // several pieces, so progress shows on the way
        QList<ChatMsgPtr> list{pictureMessage(1, "f1"), pictureMessage(2, "f2")};
        QSignalSpy progress(OrvEngine::ChatEngine::instance(), &OrvEngine::ChatEngine::transferProcess);
        ChatImagePreview preview;
        QStringList masks;
        preview.load(list, 0);
        QCOMPARE(preview.maskText(), QStringLiteral("0%\nID_ChatImagePreview_downloading"));
        QTRY_VERIFY_WITH_TIMEOUT(!preview.pixmap().isNull(), 15000);
        QVERIFY(progress.count() >= 3);
        // Progress reached the mask on the way, and speed and remaining time came along.
        const QList<QVariant> last = progress.last();
        QCOMPARE(last.at(3).toLongLong(), qint64(m_bytes[1].size()));
        QCOMPARE(last.at(4).toLongLong(), qint64(m_bytes[1].size()));
        QVERIFY(last.at(1).toLongLong() > 0);
        QVERIFY(preview.maskText().isEmpty());
        QCOMPARE(preview.pictureSize(), QSize(900, 600));

        // The file is kept: showing it again needs no download.
        const int before = m_env.chatFiles.requestCount("f1");
        preview.onNext();
        QTRY_COMPARE_WITH_TIMEOUT(preview.pictureSize(), QSize(1000, 600), 15000);
        preview.onPrevious();
        QCOMPARE(preview.pictureSize(), QSize(900, 600));
        QCOMPARE(m_env.chatFiles.requestCount("f1"), before);

        // The picture was registered as opened.
        bool opened = false;
        for (const auto &r : m_env.disk.recentOpens())
            opened = opened || r.value("referenceID").toString() == QStringLiteral("f1");
        QVERIFY(opened);
    }

    void progressTextFollowsTheBytes()
    {
        ChatImagePreview preview;
        QList<ChatMsgPtr> list{pictureMessage(3, "f3")};
        m_env.chatFiles.setPace(4 * 1024, 100);
        preview.load(list, 0);
        QTRY_VERIFY_WITH_TIMEOUT(preview.maskText().startsWith(QLatin1Char('%')) == false
                                     && !preview.maskText().startsWith(QStringLiteral("0%")),
                                 15000);
        const int percent = preview.maskText().section(QLatin1Char('%'), 0, 0).toInt();
        QVERIFY2(percent > 0 && percent <= 100, qPrintable(preview.maskText()));
        m_env.chatFiles.setPace(0, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!preview.pixmap().isNull(), 15000);
    }

    void failuresShowOnTheMaskAndCancelShowsNothing()
    {
        ChatImagePreview preview;
        // Unknown on the server.
        QList<ChatMsgPtr> missing{pictureMessage(10, "nope")};
        preview.load(missing, 0);
        QTRY_COMPARE_WITH_TIMEOUT(preview.maskText(), QStringLiteral("ID_downloadfailed"), 15000);

        // Stopped by the engine: 20777, the mask stays as it was.
        m_env.chatFiles.setPace(1024, 200);
        QList<ChatMsgPtr> slow{pictureMessage(11, "f4")};
        QSignalSpy status(OrvEngine::ChatEngine::instance(), &OrvEngine::ChatEngine::transferStatusChanged);
        preview.load(slow, 0);
        QTRY_VERIFY_WITH_TIMEOUT(preview.maskText().startsWith(QStringLiteral("0%")), 5000);
        const QString before = preview.maskText();
        m_transfer->cancel(slow.first());
        QTRY_COMPARE(status.count(), 1);
        QCOMPARE(status.at(0).at(1).toInt(), int(OrvEngine::ChatFileTransfer::Cancelled));
        QCOMPARE(preview.maskText(), before);
        // Nothing half-written is left under the file's name.
        QVERIFY(!QFileInfo::exists(OrvEngine::ChatEngine::instance()->chatFilePath(slow.first())));
    }

    void stalledDownloadFails()
    {
        m_env.chatFiles.addFile("stall", m_bytes[2]);
        m_env.chatFiles.setStallAfter("stall", 2048);
        m_transfer->setStallTimeout(400);
        ChatImagePreview preview;
        QList<ChatMsgPtr> list{pictureMessage(20, "stall")};
        preview.load(list, 0);
        QTRY_COMPARE_WITH_TIMEOUT(preview.maskText(), QStringLiteral("ID_downloadfailed"), 10000);
        m_transfer->setStallTimeout(OrvEngine::ChatFileTransfer::DefaultStallTimeout);
        QCOMPARE(m_transfer->stallTimeout(), 30000);
    }

    void recallsCloseOrTrim()
    {
        QList<ChatMsgPtr> list{pictureMessage(31, "f1"), pictureMessage(32, "f2"), pictureMessage(33, "f3")};
        ChatImagePreview preview;
        preview.show();
        preview.load(list, 1);
        QTRY_VERIFY_WITH_TIMEOUT(!preview.pixmap().isNull(), 15000);
        const qint64 shown = preview.pixmap().cacheKey();

        // Another picture recalled: the list shrinks, the picture and its place stay.
        auto copyOfFirst = std::make_shared<ChatMsg>(*list.first());
        OrvEngine::ChatEngine::instance()->undoChatMsg(copyOfFirst);
        QCOMPARE(preview.count(), 2);
        QCOMPARE(preview.currentIndex(), 0);
        QCOMPARE(preview.currentMessage()->localID(), quint64(32));
        QCOMPARE(preview.pixmap().cacheKey(), shown);
        QVERIFY(!preview.findChild<QPushButton *>("btnPrevious")->isEnabled());
        QCOMPARE(preview.findChild<QLabel *>("textDesc")->text(), QStringLiteral("1/2"));

        // A blocked message of another chat with the same local id is someone else's.
        auto stranger = pictureMessage(33, "f3");
        *stranger = ChatMsg(OrvEngine::ClusterID(99, OrvEngine::User), OrvEngine::ChatMsgType::Image, 33);
        OrvEngine::ChatEngine::instance()->shieldingChatMsg(stranger);
        QCOMPARE(preview.count(), 2);

        // The picture shown recalled: the preview closes.
        OrvEngine::ChatEngine::instance()->undoChatMsg(list.at(1));
        QVERIFY(!preview.isVisible());
    }

    void recalledOnTheServerClosesThePreview()
    {
        m_env.chatFiles.addFile("gone", m_bytes[3]);
        m_env.chatFiles.setRecalled("gone", true);
        ChatImagePreview preview;
        preview.show();
        QList<ChatMsgPtr> list{pictureMessage(40, "gone")};
        preview.load(list, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!preview.isVisible(), 10000);
    }

    void damagedFileOnDiskIsFetchedAgain()
    {
        auto msg = pictureMessage(50, "f2");
        const QString path = OrvEngine::ChatEngine::instance()->chatFilePath(msg);
        QVERIFY(ImageSamples::writeFile(path, "broken"));
        ChatImagePreview preview;
        QList<ChatMsgPtr> list{msg};
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("file invalid, redownload:"));
        preview.load(list, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!preview.pixmap().isNull(), 15000);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), m_bytes[2]);
    }

    void hostileFileIdsStayInTheChatFolder()
    {
        auto msg = pictureMessage(60, "../../../etc/passwd", "../../x.sh");
        const QString path = OrvEngine::ChatEngine::instance()->chatFilePath(msg);
        QVERIFY(QFileInfo(path).absoluteFilePath().startsWith(QFileInfo(m_env.path("chat")).absoluteFilePath() + "/"));
        QVERIFY(!path.contains(QStringLiteral("..")));
        auto noFile = std::make_shared<ChatMsg>(OrvEngine::ClusterID(2, OrvEngine::User), OrvEngine::ChatMsgType::Image, 61);
        noFile->setContent(QStringLiteral("{\"fileName\":\"a.jpg\"}"));
        QSignalSpy status(OrvEngine::ChatEngine::instance(), &OrvEngine::ChatEngine::transferStatusChanged);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("names no file"));
        QVERIFY(!m_transfer->download(noFile));
        QCOMPARE(status.count(), 1);
        QCOMPARE(status.at(0).at(1).toInt(), int(OrvEngine::ChatFileTransfer::NoAddress));
        // Addresses that are not http(s) are not fetched.
        noFile->setContent(QStringLiteral("{\"fileId\":\"x\",\"url\":\"file:///etc/passwd\"}"));
        QVERIFY(m_transfer->address(*noFile).isEmpty());
    }

    void twistSnapsToQuarters_data()
    {
        QTest::addColumn<double>("angle");
        QTest::addColumn<int>("rotation");
        QTest::newRow("29 stays") << 29.0 << 0;
        QTest::newRow("29.9 stays") << 29.9 << 0;
        QTest::newRow("31 turns right") << 31.0 << 90;
        QTest::newRow("-31 turns left") << -31.0 << 270;
        QTest::newRow("-29 stays") << -29.0 << 0;
        QTest::newRow("125 counts its last quarter") << 125.0 << 90;
    }

    void twistSnapsToQuarters()
    {
        QFETCH(double, angle);
        QFETCH(int, rotation);
        ChatImagePreview preview;
        preview.load(m_env.picture("twist.png", {400, 200}), QString());
        preview.onZoomout();
        preview.onZoomout();
        preview.gestureBeginRotate(0);
        QCOMPARE(preview.scale(), preview.fitScale()); // zoomed in: back to fit first
        preview.gestureRotate(angle);
        QVERIFY(qAbs(preview.view()->transform().m12()) > 0.01 || qAbs(angle) < 1);
        preview.gestureEndRotate(angle);
        QCOMPARE(preview.rotation(), rotation);
    }

    void keysActOnPressAndSwipeShowsTheNeighbour()
    {
        const QString a = m_env.picture("a.png", {300, 200});
        const QString b = m_env.picture("b.png", {200, 300});
        ChatImagePreview preview;
        preview.show();
        preview.load({{a, QString()}, {b, QString()}}, 0);
        QVERIFY(!preview.isPreviousable());
        QVERIFY(preview.isNextable());

        preview.gestureBeginSwitch();
        preview.gestureUpdateSwitch(-40); // finger moving left: the next picture shows
        QCOMPARE(preview.shownSwitchPixmap().size(), QSize(200, 300));
        preview.gestureEndSwitch();
        QCOMPARE(preview.pixmap().size(), QSize(300, 200));
        preview.gesturePrevious(); // nothing before the first
        QCOMPARE(preview.currentIndex(), 0);

        QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
        QCoreApplication::sendEvent(&preview, &right);
        QCOMPARE(preview.currentIndex(), 1);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Left, Qt::NoModifier);
        QCoreApplication::sendEvent(&preview, &release); // releases do nothing here
        QCOMPARE(preview.currentIndex(), 1);
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QCoreApplication::sendEvent(&preview, &escape);
        QVERIFY(!preview.isVisible());
    }

    void forwardAndSaveToCloud()
    {
        ShareToChatTool::instance()->clear();
        QList<ChatMsgPtr> list{pictureMessage(70, "f1")};
        ChatImagePreview preview;
        preview.load(list, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!preview.pixmap().isNull(), 15000);
        preview.onShare();
        const ShareToChatTool::Share share = ShareToChatTool::instance()->lastShare();
        QCOMPARE(share.kind, QStringLiteral("shareAttachChatMsg"));
        QCOMPARE(share.payload.toObject().value("content").toString(), list.first()->content());
        QCOMPARE(share.payload.toObject().value("localId").toString(), QStringLiteral("70"));

        const int saved = m_env.disk.savedSharedFiles().size();
        preview.onSaveToCloud();
        QTRY_COMPARE(m_env.disk.savedSharedFiles().size(), saved + 1);
        const QJsonObject form = m_env.disk.savedSharedFiles().last();
        QCOMPARE(form.value("shareId").toString(), QStringLiteral("share-f1"));
        QCOMPARE(form.value("folderId").toString(), QStringLiteral("0"));
        QCOMPARE(form.value("messageType").toString(), QString::number(int(OrvEngine::ChatMsgType::Image)));
        QTRY_COMPARE(preview.tipText(), QStringLiteral("ID_SaveSuccessfully"));
    }

private:
    Pictures::Environment m_env;
    OrvEngine::ChatFileTransfer *m_transfer = nullptr;
    QHash<int, QByteArray> m_bytes;
};

QTEST_MAIN(ChatImagePreviewTest)
#include "tst_chatimagepreview.moc"
