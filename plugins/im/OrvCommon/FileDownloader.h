// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QObject>
#include <QUrl>

namespace FileTransferState {
enum TransferState { Waiting, Transferring, Finished, Failed, Cancelled };
}

/**
 * Downloads single files for the picture windows through the client's transfer queue
 * (OrvTransferQueue::instance()), into a folder the window picked. Each download has a uuid;
 * progress is in percent. A name already taken in the folder gives "name(1).ext": nothing the
 * user has is overwritten.
 */
class FileDownloader : public QObject
{
    Q_OBJECT
public:
    explicit FileDownloader(QObject *parent = nullptr);
    ~FileDownloader() override;

    /// The uuid of the download, empty (and a log line) when the queue refused it.
    QString download(const QUrl &url, const QString &folder, const QString &fileName);
    void cancel(const QString &uuid);
    QString filePath(const QString &uuid) const;

Q_SIGNALS:
    void downloadProgress(const QString &uuid, int progress);
    void downloadStatus(const QString &uuid, FileTransferState::TransferState state);
    void downloadFinished(const QString &uuid, const QString &filePath);
    void downloadFailed(const QString &uuid, const QString &error);

private:
    QHash<int, QString> m_uuids; ///< transfer id → uuid
    QHash<QString, QString> m_paths;
};
