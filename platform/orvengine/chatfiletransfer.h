// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "chatmsg.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;
class QSaveFile;
class QTimer;

namespace OrvEngine {

/**
 * Downloads the files of chat messages (pictures, documents) from the file server, one transfer
 * per message, into the chat file folder: "<folder>/<cluster type>_<cluster id>/<file id>.<suffix>".
 * The file id and suffix are reduced to letters, digits, '-' and '_', so nothing a message says
 * can place a file outside that folder; a file appears under its name only once it is complete.
 *
 * A message names its file in its content: "fileId" (required), "fileName" (for the suffix) and
 * optionally "url", an http(s) address or a path on the file server; without "url" the file is
 * fetched from DownloadPath on the file server.
 *
 * Each transfer reports progress (speed in bytes per second, remaining time in seconds, bytes
 * received, total bytes or -1) and ends with finished(msg, errorNo): Complete, or one of Error.
 */
class ChatFileTransfer : public QObject
{
    Q_OBJECT
public:
    enum Error {
        Complete = 0,
        Recalled = 1023,      ///< the message was recalled; its file is gone
        Cancelled = 20777,    ///< stopped by cancel(); nothing to show
        Failed = 20001,       ///< the server refused or the connection broke
        NoAddress = 20002,    ///< the message names no file, or an address that is not http(s)
        Stalled = 20003,      ///< nothing arrived for stallTimeout() ms
        WriteFailed = 20004,  ///< the file could not be written
    };
    Q_ENUM(Error)

    static constexpr int DefaultStallTimeout = 30000;
    static constexpr const char *DownloadPath = "/im/chatfile/download";

    explicit ChatFileTransfer(QObject *parent = nullptr);
    ~ChatFileTransfer() override;

    void setFileServer(const QUrl &url) { m_server = url; }
    QUrl fileServer() const { return m_server; }
    /// Default: "ChatFiles" under the application's data folder.
    void setDownloadFolder(const QString &folder) { m_folder = folder; }
    QString downloadFolder() const;
    void setStallTimeout(int ms) { m_stallTimeout = ms; }
    int stallTimeout() const { return m_stallTimeout; }

    /// Where the message's file is kept; empty when the message names no file.
    QString localPath(const ChatMsg &msg) const;
    QUrl address(const ChatMsg &msg) const;

    /**
     * Starts the download of the message's file. Returns false (and finishes with NoAddress) when
     * the message names no usable file; a message whose file is already coming is not fetched
     * twice.
     */
    bool download(const ChatMsgPtr &msg);
    void cancel(const ChatMsgPtr &msg);
    bool isDownloading(const ChatMsgPtr &msg) const;

Q_SIGNALS:
    void progress(const OrvEngine::ChatMsgPtr &msg, qint64 speed, qint64 remainingTime, qint64 transferSize,
                  qint64 totalSize);
    void finished(const OrvEngine::ChatMsgPtr &msg, int errorNo);

private:
    struct Transfer
    {
        ChatMsgPtr msg;
        QPointer<QNetworkReply> reply;
        QSaveFile *file = nullptr;
        QTimer *stallTimer = nullptr;
        QElapsedTimer clock;
        qint64 received = 0;
        int error = Complete;
    };

    void onReadyRead(QNetworkReply *reply);
    void onFinished(QNetworkReply *reply);
    void end(QNetworkReply *reply, int errorNo);
    Transfer *find(const ChatMsgPtr &msg);

    QNetworkAccessManager *m_nam = nullptr;
    QUrl m_server;
    QString m_folder;
    int m_stallTimeout = DefaultStallTimeout;
    QHash<QNetworkReply *, Transfer> m_transfers;
};

} // namespace OrvEngine
