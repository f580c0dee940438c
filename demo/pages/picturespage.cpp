// SPDX-License-Identifier: LGPL-2.1-or-later
// The picture windows on pictures made here: a 24-megapixel camera-like JPEG, one that stands up
// by its EXIF tag, phone formats where Qt has their plug-ins, and a file that is not a picture.
// They open in the preview (paging through them), in the viewer, and in the chat preview over a
// conversation of the demo world whose pictures download from the local web service.
#include "../demopage.h"
#include "../demoservices.h"
#include "editoroutputpanel.h"

#include "ChatImagePreview.h"
#include "ImagePreview.h"
#include "ImageViewerWidget.h"
#include "ShareToChatTool.h"
#include "chatengine.h"
#include "imageeditor.h"
#include "chatfiletransfer.h"
#include "contactsengine.h"
#include "imagesamples.h"
#include "orvchatfiles.h"
#include "orvutils.h"
#include "orvwebservice.h"

#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTime>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

struct Sample
{
    QString path;
    QString label;
};

// Written once per run, on a worker thread: the large JPEG takes a second or two.
QVector<Sample> writeSamples(const QString &folder)
{
    QVector<Sample> samples;
    auto add = [&](const QString &name, const QByteArray &bytes, const QString &label) {
        const QString path = QDir(folder).filePath(name);
        if (!bytes.isEmpty() && ImageSamples::writeFile(path, bytes))
            samples.append({path, label});
    };
    add(QStringLiteral("camera-6000x4000.jpg"),
        ImageSamples::encode(ImageSamples::cameraLike({6000, 4000}, 1), "jpg", 90), QStringLiteral("6000 × 4000 JPEG"));
    add(QStringLiteral("portrait-exif6.jpg"),
        ImageSamples::withExifOrientation(ImageSamples::encode(ImageSamples::cameraLike({2400, 1600}, 2), "jpg", 90), 6),
        QStringLiteral("EXIF: turn right"));
    add(QStringLiteral("quadrants.png"), ImageSamples::encode(ImageSamples::quadrantProbe({1200, 800}), "png"),
        QStringLiteral("PNG"));
    for (const char *format : {"heif", "avif", "webp"}) {
        if (ImageSamples::canWriteAndRead(format))
            add(QStringLiteral("phone.%1").arg(QLatin1String(format)),
                ImageSamples::encode(ImageSamples::cameraLike({2000, 1500}, 3), format, 80),
                QString::fromLatin1(format).toUpper());
    }
    add(QStringLiteral("notes.jpg"), QByteArray("These are notes, not a picture.\n"), QStringLiteral("not a picture"));
    return samples;
}

// Installed on the demo's one web service, which outlives every page.
OrvChatFiles &chatFiles()
{
    static OrvChatFiles files;
    return files;
}

QString stamp()
{
    return QTime::currentTime().toString(QStringLiteral("hh:mm:ss"));
}

class PicturesPage : public QWidget
{
public:
    explicit PicturesPage(QWidget *parent)
        : QWidget(parent)
    {
        auto *layout = new QHBoxLayout(this);
        layout->addWidget(buildGallery(), 3);
        auto *side = new QVBoxLayout;
        side->addWidget(buildChatPanel(), 1);
        m_editorOutput = new EditorOutputPanel;
        side->addWidget(m_editorOutput, 1);
        layout->addLayout(side, 2);
        m_status->setText(QStringLiteral("Making pictures…"));
        auto *watcher = new QFutureWatcher<QVector<Sample>>(this);
        connect(watcher, &QFutureWatcher<QVector<Sample>>::finished, this, [this, watcher] {
            watcher->deleteLater();
            m_samples = watcher->result();
            fillGallery();
        });
        const QString folder = m_dir.path();
        watcher->setFuture(QtConcurrent::run([folder] { return writeSamples(folder); }));
        setUpChat();
    }

    ~PicturesPage() override
    {
        delete m_preview.data();
        delete m_chatPreview.data();
        delete m_viewer.data();
    }

private:
    QWidget *buildGallery()
    {
        auto *box = new QGroupBox(QStringLiteral("Pictures made for this run"));
        auto *layout = new QVBoxLayout(box);
        m_gallery = new QListWidget;
        m_gallery->setViewMode(QListView::IconMode);
        m_gallery->setIconSize(QSize(160, 120));
        m_gallery->setGridSize(QSize(190, 170));
        m_gallery->setResizeMode(QListView::Adjust);
        m_gallery->setMovement(QListView::Static);
        m_gallery->setWordWrap(true);
        layout->addWidget(m_gallery, 1);
        m_status = new QLabel;
        m_status->setWordWrap(true);
        layout->addWidget(m_status);
        auto *buttons = new QHBoxLayout;
        auto *preview = new QPushButton(QStringLiteral("Open in preview"));
        auto *viewer = new QPushButton(QStringLiteral("Open in viewer"));
        auto *editor = new QPushButton(QStringLiteral("Open in editor"));
        buttons->addWidget(preview);
        buttons->addWidget(viewer);
        buttons->addWidget(editor);
        connect(editor, &QPushButton::clicked, this, &PicturesPage::openEditor);
        buttons->addStretch(1);
        layout->addLayout(buttons);
        connect(preview, &QPushButton::clicked, this, &PicturesPage::openPreview);
        connect(m_gallery, &QListWidget::itemActivated, this, &PicturesPage::openPreview);
        connect(viewer, &QPushButton::clicked, this, &PicturesPage::openViewer);
        return box;
    }

    QWidget *buildChatPanel()
    {
        auto *box = new QGroupBox(QStringLiteral("Chat pictures (downloaded from the local web service)"));
        auto *layout = new QVBoxLayout(box);
        m_chatTitle = new QLabel;
        layout->addWidget(m_chatTitle);
        m_slow = new QCheckBox(QStringLiteral("Slow downloads (watch the progress)"));
        m_slow->setChecked(true);
        layout->addWidget(m_slow);
        auto *open = new QPushButton(QStringLiteral("Open the conversation's pictures"));
        auto *recallShown = new QPushButton(QStringLiteral("Recall the picture shown"));
        auto *recallOther = new QPushButton(QStringLiteral("Recall the last other picture"));
        auto *forget = new QPushButton(QStringLiteral("Forget downloaded files"));
        for (QPushButton *b : {open, recallShown, recallOther, forget})
            layout->addWidget(b);
        m_log = new QListWidget;
        m_log->setWordWrap(true);
        layout->addWidget(new QLabel(QStringLiteral("What the chat engine and the share tool say:")));
        layout->addWidget(m_log, 1);
        connect(m_slow, &QCheckBox::toggled, this, &PicturesPage::applyPace);
        connect(open, &QPushButton::clicked, this, &PicturesPage::openChat);
        connect(recallShown, &QPushButton::clicked, this, [this] {
            if (m_chatPreview && m_chatPreview->currentMessage())
                OrvEngine::ChatEngine::instance()->undoChatMsg(m_chatPreview->currentMessage());
        });
        connect(recallOther, &QPushButton::clicked, this, [this] {
            const OrvEngine::ChatMsgPtr shown = m_chatPreview ? m_chatPreview->currentMessage() : nullptr;
            for (int i = m_messages.size() - 1; i >= 0; --i) {
                if (m_messages.at(i) != shown) {
                    OrvEngine::ChatEngine::instance()->undoChatMsg(m_messages.takeAt(i));
                    return;
                }
            }
        });
        connect(forget, &QPushButton::clicked, this, [this] {
            QDir(m_dir.filePath(QStringLiteral("chat"))).removeRecursively();
            log(QStringLiteral("downloaded chat files removed"));
        });
        return box;
    }

    void fillGallery()
    {
        m_gallery->clear();
        for (const Sample &s : qAsConst(m_samples)) {
            const QImage thumb = OrvUtils::loadImageFromPath(s.path, m_gallery->iconSize());
            auto *item = new QListWidgetItem(QIcon(QPixmap::fromImage(thumb)),
                                             s.label + QLatin1Char('\n') + QFileInfo(s.path).fileName());
            m_gallery->addItem(item);
        }
        m_gallery->setCurrentRow(0);
        m_status->setText(QStringLiteral("%1 files in %2. Double-click one to page through them in the preview.")
                              .arg(m_samples.size())
                              .arg(QDir::toNativeSeparators(m_dir.path())));
    }

    void openPreview()
    {
        if (m_samples.isEmpty())
            return;
        QList<QString> paths;
        for (const Sample &s : qAsConst(m_samples))
            paths << s.path;
        if (!m_preview) {
            m_preview = new ImagePreview(nullptr, true, QStringLiteral("DemoGallery"));
            m_preview->setAttribute(Qt::WA_DeleteOnClose);
        }
        QElapsedTimer clock;
        clock.start();
        m_preview->load(qMax(0, m_gallery->currentRow()), paths);
        m_preview->show();
        m_preview->raise();
        m_status->setText(QStringLiteral("Preview opened in %1 ms.").arg(clock.elapsed()));
    }

    void openViewer()
    {
        const int row = m_gallery->currentRow();
        if (row < 0 || row >= m_samples.size())
            return;
        const QPixmap pixmap = OrvUtils::loadFromPath(m_samples.at(row).path);
        if (pixmap.isNull()) {
            m_status->setText(QStringLiteral("%1 is not a picture; the viewer stays as it was.")
                                  .arg(QFileInfo(m_samples.at(row).path).fileName()));
            return;
        }
        if (!m_viewer) {
            m_viewer = new QWidget(nullptr, Qt::Window);
            m_viewer->setAttribute(Qt::WA_DeleteOnClose);
            m_viewer->setWindowTitle(QStringLiteral("Image viewer"));
            auto *layout = new QVBoxLayout(m_viewer);
            m_viewerWidget = new ImageViewerWidget;
            layout->addWidget(m_viewerWidget, 1);
            auto *bar = new QHBoxLayout;
            ImageViewer *v = m_viewerWidget->viewer();
            auto add = [&](const QString &text, std::function<void()> action) {
                auto *b = new QPushButton(text);
                connect(b, &QPushButton::clicked, m_viewer, action);
                bar->addWidget(b);
            };
            add(QStringLiteral("Fit"), [v] { v->adjustImageToViewerSize(); });
            add(QStringLiteral("1:1"), [v] { v->adjustViewerToImageSize(); });
            add(QStringLiteral("−"), [v] { v->zoomoutImage(v->viewport()->rect().center()); });
            add(QStringLiteral("+"), [v] { v->zoominImage(v->viewport()->rect().center()); });
            add(QStringLiteral("⟲"), [v] { v->rotateImage(true); });
            add(QStringLiteral("⟳"), [v] { v->rotateImage(false); });
            bar->addStretch(1);
            layout->addLayout(bar);
            m_viewer->resize(1000, 720);
        }
        m_viewer->show();
        m_viewerWidget->loadPixmap(pixmap);
        m_viewer->raise();
    }

    void openEditor()
    {
        const int row = m_gallery->currentRow();
        if (row < 0 || row >= m_samples.size())
            return;
        QPointer<ImageEditor> editor = ImageEditor::instance();
        m_editorOutput->watch(editor);
        editor->setEntrancePage(QStringLiteral("DemoGallery"));
        editor->showImage(m_samples.at(row).path, QPixmap(), false, window());
        if (editor->path() != m_samples.at(row).path)
            m_status->setText(QStringLiteral("%1 is not a picture; the editor did not open.")
                                  .arg(QFileInfo(m_samples.at(row).path).fileName()));
    }

    // The conversation with the first friend of the demo world, with four pictures on the service.
    void setUpChat()
    {
        OrvWebService *service = DemoServices::webService();
        if (!service) {
            m_chatTitle->setText(QStringLiteral("The local web service could not start; see the log."));
            return;
        }
        static bool installed = false;
        if (!installed) {
            chatFiles().install(*service);
            installed = true;
        }
        auto *engine = OrvEngine::ChatEngine::instance();
        engine->fileTransfer()->setFileServer(service->baseUrl());
        engine->fileTransfer()->setDownloadFolder(m_dir.filePath(QStringLiteral("chat")));
        const quint64 friendUid = 2;
        const OrvEngine::UserInfoPtr user = OrvEngine::ContactsEngine::instance()->getUserInfo(friendUid);
        const QString name = user ? user->displayName() : QString();
        m_chatTitle->setText(QStringLiteral("Conversation with %1").arg(name.isEmpty() ? QStringLiteral("uid 2") : name));
        for (int i = 0; i < 4; ++i) {
            const QString fileId = QStringLiteral("demo-chat-%1").arg(i + 1);
            auto msg = std::make_shared<OrvEngine::ChatMsg>(OrvEngine::ClusterID(friendUid, OrvEngine::User),
                                                            OrvEngine::ChatMsgType::Image, 9000 + quint64(i));
            msg->setContent(QStringLiteral("{\"fileId\":\"%1\",\"shareId\":\"share-%1\",\"fileName\":\"photo%2.jpg\"}")
                                .arg(fileId)
                                .arg(i + 1));
            m_messages.append(msg);
        }
        // The pictures are made when first asked for, off the GUI thread.
        auto *watcher = new QFutureWatcher<QVector<QByteArray>>(this);
        connect(watcher, &QFutureWatcher<QVector<QByteArray>>::finished, this, [this, watcher] {
            watcher->deleteLater();
            const QVector<QByteArray> files = watcher->result();
            for (int i = 0; i < files.size(); ++i)
                chatFiles().addFile(QStringLiteral("demo-chat-%1").arg(i + 1), files.at(i));
        });
        watcher->setFuture(QtConcurrent::run([] {
            QVector<QByteArray> files;
            for (int i = 0; i < 4; ++i)
                files << ImageSamples::encode(ImageSamples::cameraLike({1600 + 200 * i, 1200}, quint32(20 + i)), "jpg", 88);
            return files;
        }));
        applyPace(m_slow->isChecked());
        connect(engine, &OrvEngine::ChatEngine::transferStatusChanged, this, [this](const OrvEngine::ChatMsgPtr &m, int e) {
            log(QStringLiteral("transfer of message %1 ended: %2").arg(m ? m->localID() : 0).arg(e));
        });
        connect(engine, &OrvEngine::ChatEngine::chatMsgUndone, this, [this](const OrvEngine::ChatMsgPtr &m) {
            log(QStringLiteral("message %1 recalled").arg(m ? m->localID() : 0));
        });
        connect(ShareToChatTool::instance(), &ShareToChatTool::shareRequested, this,
                [this](const QString &kind, const QJsonValue &) { log(QStringLiteral("share: %1").arg(kind)); });
    }

    void applyPace(bool slow)
    {
        chatFiles().setPace(slow ? 32 * 1024 : 0, slow ? 60 : 0);
    }

    void openChat()
    {
        if (m_messages.isEmpty())
            return;
        if (!m_chatPreview) {
            m_chatPreview = new ChatImagePreview;
            m_chatPreview->setAttribute(Qt::WA_DeleteOnClose);
        }
        QList<std::shared_ptr<OrvEngine::ChatMsg>> list = m_messages;
        m_chatPreview->load(list, 0);
        m_chatPreview->show();
        m_chatPreview->raise();
    }

    void log(const QString &text)
    {
        m_log->addItem(QStringLiteral("%1  %2").arg(stamp(), text));
        while (m_log->count() > 200)
            delete m_log->takeItem(0);
        m_log->scrollToBottom();
    }

    QTemporaryDir m_dir;
    QVector<Sample> m_samples;
    QListWidget *m_gallery = nullptr;
    QLabel *m_status = nullptr;
    QLabel *m_chatTitle = nullptr;
    QCheckBox *m_slow = nullptr;
    QListWidget *m_log = nullptr;
    QList<OrvEngine::ChatMsgPtr> m_messages;
    QPointer<ImagePreview> m_preview;
    QPointer<ChatImagePreview> m_chatPreview;
    QPointer<QWidget> m_viewer;
    EditorOutputPanel *m_editorOutput = nullptr;
    ImageViewerWidget *m_viewerWidget = nullptr;
};

} // namespace

DemoPageRegistrar registrar(QStringLiteral("pictures"), QStringLiteral("Pictures"), 40,
                            [](QWidget *parent) { return new PicturesPage(parent); });
