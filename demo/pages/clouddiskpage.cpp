// SPDX-License-Identifier: LGPL-2.1-or-later
// The cloud disk page as the client shows it, on the demo's local web service: open, download
// (the files land in the chosen folder), share (the recorded shares show here) and child windows.
#include "../demopage.h"
#include "../demoservices.h"

#include "ShareToChatTool.h"
#include "clouddiskbridge.h"
#include "clouddiskwebview.h"
#include "clouddownload.h"
#include "imsignalobject.h"
#include "orvtransferqueue.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTime>
#include <QVBoxLayout>

namespace {

QString stamp()
{
    return QTime::currentTime().toString(QStringLiteral("hh:mm:ss"));
}

void append(QListWidget *list, const QString &text)
{
    list->addItem(QStringLiteral("%1  %2").arg(stamp(), text));
    while (list->count() > 200)
        delete list->takeItem(0);
    list->scrollToBottom();
}

QListWidget *logList()
{
    auto *list = new QListWidget;
    list->setWordWrap(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return list;
}

QString sizeText(qint64 bytes)
{
    return bytes < 1024 ? QStringLiteral("%1 B").arg(bytes) : QStringLiteral("%1 KiB").arg(bytes / 1024);
}

class CloudDiskPage : public QWidget
{
public:
    explicit CloudDiskPage(QWidget *parent)
        : QWidget(parent)
    {
        if (!DemoServices::webService()) {
            auto *layout = new QVBoxLayout(this);
            layout->addWidget(new QLabel(QStringLiteral("The local web service could not start; see the log.")));
            return;
        }
        // Downloads go to a folder of the demo's own unless the user picks another.
        const QString folder = QDir::temp().filePath(QStringLiteral("orv-demo-downloads"));
        QDir().mkpath(folder);
        CloudDownload::rememberSaveAsFolder(folder);

        m_view = new CloudDiskWebView(WebSubWindowBridge::FromIm);
        m_view->setLoginSuccess(true);

        auto *layout = new QHBoxLayout(this);
        layout->addWidget(m_view, 1);
        QWidget *side = buildSidePanel();
        side->setFixedWidth(340); // the page wants the room
        layout->addWidget(side);
        m_view->initUrl();
        followTheLibrary();
    }

private:
    QWidget *buildSidePanel()
    {
        auto *panel = new QWidget;
        auto *layout = new QVBoxLayout(panel);
        layout->setContentsMargins(0, 0, 0, 0);

        auto *folderBox = new QGroupBox(QStringLiteral("Downloads"));
        auto *folderLayout = new QVBoxLayout(folderBox);
        m_folder = new QLabel;
        m_folder->setWordWrap(true);
        m_folder->setTextInteractionFlags(Qt::TextSelectableByMouse);
        auto *buttons = new QHBoxLayout;
        auto *change = new QPushButton(QStringLiteral("Change folder…"));
        auto *open = new QPushButton(QStringLiteral("Open folder"));
        connect(change, &QPushButton::clicked, this, [this] {
            const QString chosen = QFileDialog::getExistingDirectory(this, QStringLiteral("Download folder"),
                                                                     CloudDownload::saveAsFolder());
            if (!chosen.isEmpty())
                CloudDownload::rememberSaveAsFolder(chosen);
            showFolder();
        });
        connect(open, &QPushButton::clicked, this,
                [] { QDesktopServices::openUrl(QUrl::fromLocalFile(CloudDownload::saveAsFolder())); });
        buttons->addWidget(change);
        buttons->addWidget(open);
        folderLayout->addWidget(m_folder);
        folderLayout->addLayout(buttons);
        m_transfers = logList();
        folderLayout->addWidget(m_transfers);
        layout->addWidget(folderBox, 3);

        auto *shareBox = new QGroupBox(QStringLiteral("Shares (the share-to-chat tool)"));
        auto *shareLayout = new QVBoxLayout(shareBox);
        m_shares = logList();
        shareLayout->addWidget(m_shares);
        layout->addWidget(shareBox, 2);

        auto *hubBox = new QGroupBox(QStringLiteral("Requests to other windows (hub)"));
        auto *hubLayout = new QVBoxLayout(hubBox);
        m_requests = logList();
        hubLayout->addWidget(m_requests);
        layout->addWidget(hubBox, 2);

        showFolder();
        return panel;
    }

    void showFolder()
    {
        m_folder->setText(QDir::toNativeSeparators(CloudDownload::saveAsFolder()));
    }

    void followTheLibrary()
    {
        OrvTransferQueue *queue = OrvTransferQueue::instance();
        connect(queue, &OrvTransferQueue::started, this, [this](int, const QString &path) {
            append(m_transfers, QStringLiteral("downloading %1").arg(QFileInfo(path).fileName()));
            showFolder();
        });
        connect(queue, &OrvTransferQueue::finished, this, [this](int, const QString &path) {
            append(m_transfers,
                   QStringLiteral("saved %1 (%2)").arg(QFileInfo(path).fileName(), sizeText(QFileInfo(path).size())));
        });
        connect(queue, &OrvTransferQueue::failed, this,
                [this](int, const QString &error) { append(m_transfers, QStringLiteral("failed: %1").arg(error)); });

        connect(ShareToChatTool::instance(), &ShareToChatTool::shareRequested, this,
                [this](const QString &kind, const QJsonValue &payload) {
                    QString content = payload.isString()
                                          ? payload.toString()
                                          : QString::fromUtf8(QJsonDocument::fromVariant(payload.toVariant())
                                                                  .toJson(QJsonDocument::Compact));
                    if (content.size() > 160)
                        content = content.left(160) + QStringLiteral("…");
                    append(m_shares, QStringLiteral("%1 %2").arg(kind, content));
                });

        ImSignalObject *hub = ImSignalObject::instance();
        connect(hub, &ImSignalObject::openExamSubWidget, this, [this](QWidget *, const QString &url, const QSize &size) {
            append(m_requests, QStringLiteral("open exam %1 at %2×%3").arg(url).arg(size.width()).arg(size.height()));
        });
        connect(hub, &ImSignalObject::openHomeworkSubWidget, this, [this](QWidget *, const QString &url, const QSize &size) {
            append(m_requests,
                   QStringLiteral("open homework %1 at %2×%3").arg(url).arg(size.width()).arg(size.height()));
        });
        connect(hub, &ImSignalObject::showMicrolectureUi, this,
                [this] { append(m_requests, QStringLiteral("start a micro-lecture recording")); });
        connect(hub, &ImSignalObject::chatWithAndActive, this, [this](const OrvEngine::ClusterID &id, int item) {
            append(m_requests, QStringLiteral("open the chat of %1 on tab %2").arg(id.toString()).arg(item));
        });
    }

    CloudDiskWebView *m_view = nullptr;
    QLabel *m_folder = nullptr;
    QListWidget *m_transfers = nullptr;
    QListWidget *m_shares = nullptr;
    QListWidget *m_requests = nullptr;
};

DemoPageRegistrar registrar(QStringLiteral("clouddisk"), QStringLiteral("Cloud disk"), 30,
                            [](QWidget *parent) { return new CloudDiskPage(parent); });

} // namespace
