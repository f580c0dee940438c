// SPDX-License-Identifier: LGPL-2.1-or-later
// Renders the picture windows (preview light and dark, chat preview while downloading, viewer
// zoomed in) into PNG files, to be looked at.
#include "ChatImagePreview.h"
#include "ImagePreview.h"
#include "ImageViewer.h"
#include "chatengine.h"
#include "chatfiletransfer.h"
#include "orvlang.h"
#include "picturesfixture.h"

#include <QApplication>
#include <QDir>
#include <QFile>

namespace {

bool save(QWidget *widget, const QString &file)
{
    widget->show();
    if (!QTest::qWaitForWindowExposed(widget))
        qWarning() << "not exposed";
    QTest::qWait(300);
    const bool ok = widget->grab().save(file);
    qInfo().noquote() << (ok ? "wrote" : "FAILED") << file;
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::currentPath();
    QDir().mkpath(out);
    Pictures::Environment env;
    if (!env.start())
        return 1;
    const QString lang = QStringLiteral(ORV_DEMO_LANG);
    OrvLang::loadTable(lang);

    const QString photo = env.picture("photo.jpg", {4000, 3000}, 5);
    const QString second = env.picture("second.jpg", {3000, 4000}, 6);
    {
        ImagePreview preview(nullptr, true);
        preview.resize(1000, 760);
        preview.load(0, QList<QString>{photo, second});
        save(&preview, out + "/preview_light.png");
    }
    {
        ImagePreview preview(nullptr, false);
        preview.resize(1000, 760);
        preview.load(1, QList<QString>{photo, second});
        preview.onZoomout();
        preview.onZoomout();
        save(&preview, out + "/preview_dark_zoomed.png");
    }
    {
        env.chatFiles.addFile("snap-1", ImageSamples::encode(ImageSamples::cameraLike({2000, 1500}, 7), "jpg"));
        env.chatFiles.setPace(16 * 1024, 200);
        OrvEngine::ChatEngine::instance()->fileTransfer()->setFileServer(env.service.baseUrl());
        OrvEngine::ChatEngine::instance()->fileTransfer()->setDownloadFolder(env.path("chat"));
        auto msg = std::make_shared<OrvEngine::ChatMsg>(OrvEngine::ClusterID(2, OrvEngine::User), OrvEngine::ChatMsgType::Image, 1);
        msg->setContent(QStringLiteral("{\"fileId\":\"snap-1\",\"fileName\":\"snap.jpg\",\"shareId\":\"s1\"}"));
        ChatImagePreview chat;
        chat.resize(900, 700);
        chat.load(msg);
        QTest::qWait(900);
        save(&chat, out + "/chat_downloading.png");
    }
    {
        ImageViewer viewer;
        viewer.resize(800, 600);
        viewer.show();
        QTest::qWaitForWindowExposed(&viewer);
        viewer.loadPixmap(QPixmap(photo));
        viewer.zoominImage(QPoint(400, 300));
        viewer.zoominImage(QPoint(400, 300));
        save(&viewer, out + "/viewer_zoomed.png");
    }
    return 0;
}
