// SPDX-License-Identifier: LGPL-2.1-or-later
#include "FileDownloader.h"

#include "orvcommon_logging.h"
#include "orvtransferqueue.h"

#include <QUuid>

FileDownloader::FileDownloader(QObject *parent)
    : QObject(parent)
{
    OrvTransferQueue *queue = OrvTransferQueue::instance();
    connect(queue, &OrvTransferQueue::started, this, [this](int id, const QString &path) {
        if (!m_uuids.contains(id))
            return;
        m_paths.insert(m_uuids.value(id), path);
        Q_EMIT downloadStatus(m_uuids.value(id), FileTransferState::Transferring);
    });
    connect(queue, &OrvTransferQueue::progress, this, [this](int id, qint64 received, qint64 total) {
        if (!m_uuids.contains(id) || total <= 0)
            return;
        Q_EMIT downloadProgress(m_uuids.value(id), int(received * 100 / total));
    });
    connect(queue, &OrvTransferQueue::finished, this, [this](int id, const QString &path) {
        const QString uuid = m_uuids.take(id);
        if (uuid.isEmpty())
            return;
        m_paths.insert(uuid, path);
        Q_EMIT downloadProgress(uuid, 100);
        Q_EMIT downloadStatus(uuid, FileTransferState::Finished);
        Q_EMIT downloadFinished(uuid, path);
    });
    connect(queue, &OrvTransferQueue::failed, this, [this](int id, const QString &error) {
        const QString uuid = m_uuids.take(id);
        if (uuid.isEmpty())
            return;
        Q_EMIT downloadStatus(uuid, FileTransferState::Failed);
        Q_EMIT downloadFailed(uuid, error);
    });
}

FileDownloader::~FileDownloader()
{
    // Downloads nobody waits for any more are stopped; their partial files go.
    OrvTransferQueue::instance()->disconnect(this);
    const auto ids = m_uuids.keys();
    for (int id : ids)
        OrvTransferQueue::instance()->cancel(id);
}

QString FileDownloader::download(const QUrl &url, const QString &folder, const QString &fileName)
{
    OrvTransferQueue *queue = OrvTransferQueue::instance();
    // The address came from the client's own server answer.
    queue->allowUrl(url);
    const int id = queue->enqueue(url, folder, fileName);
    if (id == 0) {
        qCWarning(lcOrvCommon) << "download refused:" << url;
        return QString();
    }
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_uuids.insert(id, uuid);
    m_paths.insert(uuid, queue->transfer(id).filePath);
    Q_EMIT downloadStatus(uuid, FileTransferState::Waiting);
    return uuid;
}

void FileDownloader::cancel(const QString &uuid)
{
    const int id = m_uuids.key(uuid, 0);
    if (id)
        OrvTransferQueue::instance()->cancel(id);
}

QString FileDownloader::filePath(const QString &uuid) const
{
    return m_paths.value(uuid);
}
