// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;
class QSaveFile;
class QTimer;

/**
 * Downloads one web address (http or https) into one file for the exam pages: the answer
 * material a page asks to keep, a cloud file to attach. The file is written through QSaveFile, so
 * an existing file at path is replaced only when the download succeeded, and a failed download
 * leaves nothing behind. Ends with finished() or error() exactly once.
 *
 * Usable on any thread with a running event loop.
 */
class ExamDownloader : public QObject
{
    Q_OBJECT
public:
    enum Error {
        InvalidUrlError = 1,   ///< not an http(s) address
        FileOpenError = 2,     ///< the file cannot be written
        NetworkError = 3,      ///< the transfer failed (HTTP error status included)
        TimeoutError = 4,      ///< nothing received for timeoutMs
        WriteError = 5,        ///< writing or committing the file failed
        AbortedError = 6,      ///< abort() was called
    };
    Q_ENUM(Error)

    /// timeoutMs: the download fails when nothing arrives for that long (0: no limit).
    ExamDownloader(const QString &url, const QString &path, int timeoutMs = 30000, QObject *parent = nullptr);
    ~ExamDownloader() override;

    /// Where a file named by a server goes in folder: only the last path segment of serverName
    /// is kept, with characters no file system takes replaced, so the file never lands outside
    /// folder. Empty when nothing usable is left ("", ".", "..").
    static QString pathInFolder(const QString &folder, const QString &serverName);

    void startDownload();
    void abort();
    QString path() const { return m_path; }
    QUrl url() const { return m_url; }
    bool isRunning() const;

Q_SIGNALS:
    void finished();
    void error(int errorCode, const QString &errorString);
    void progress(qint64 received, qint64 total);

private Q_SLOTS:
    void downloadFileSlot();
    void downloadFileError(int errorCode, const QString &errorString);

private:
    void onReadyRead();
    void cleanUp();

    QUrl m_url;
    QString m_path;
    int m_timeoutMs;
    QNetworkAccessManager *m_nam = nullptr;
    QPointer<QNetworkReply> m_reply;
    QSaveFile *m_file = nullptr;
    QTimer *m_timer = nullptr;
    bool m_done = false;
};
