// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cosuploadpathprefixpod.h"

#include <QHash>
#include <QJsonObject>
#include <QMutex>
#include <QObject>
#include <QUrl>
#include <functional>
#include <memory>

class QNetworkAccessManager;
class QNetworkReply;
class QThread;

/**
 * The client's file upload service: sends a local file to the web service's exam-file endpoint
 * ("nas") or to the object storage ("cos"), one request per file, on a network thread of its own.
 *
 * Usable from any thread whose event loop runs (the GUI thread, a QThread, a plain thread running
 * a QEventLoop): the callback runs exactly once on the thread that asked, after the answer, unless
 * the upload was cancelled with cancelUpload() first. uploadProgress() comes from the network
 * thread; connect to it as usual (queued across threads).
 *
 * The callback's data is the envelope's "data" of the web service. Success is networkError 0
 * with errorNo 1, and then data always holds a non-empty text "imageUrl":
 *   - "nas": {"imageUrl": "<address>", "fileName", "fileSize"};
 *   - "cos": {"imageUrl": "<object key>", "isCosPath": true, "fileSize"}; cosPathToUrl() turns the
 *     key into the object's address.
 * A reply without "imageUrl" fails with BadReplyError. On failure errorText is the server's message
 * or the translated text of uploadErrorToStringId().
 *
 * The web-service address is setBaseUrl()'s, or else OrvHttpManager's.
 */
class FileUploadManager : public QObject
{
    Q_OBJECT
public:
    using UploadCallback = std::function<void(const QString &taskId, const QJsonObject &data, int networkError,
                                              int errorNo, const QString &errorText)>;

    /// networkError codes of our own, besides QNetworkReply::NetworkError and OrvHttpManager::Error.
    enum Error {
        BadReplyError = 1001,    ///< as OrvHttpManager::BadReplyError: not an envelope, or no "imageUrl"
        FileNotFoundError = 1101, ///< the file is missing or cannot be read
        EmptyFileError = 1102,    ///< the file has no bytes
        FileTooLargeError = 1103, ///< above MaxFileBytes
        DuplicateTaskError = 1104, ///< an upload of the same task id is still running
    };
    Q_ENUM(Error)

    static constexpr int SuccessErrorNo = 1;
    /// The web service takes files up to this size.
    static constexpr qint64 MaxFileBytes = 100LL * 1024 * 1024;

    /// Paths on the web service.
    static constexpr const char *ExamFilePath = "/api/exam/uploadExamFile";
    static constexpr const char *CosUploadPath = "/api/cos/upload";
    /// Where stored objects are read: "<object storage address>/cos/<key>".
    static constexpr const char *CosObjectPath = "/cos/";

    static FileUploadManager *instance();
    /// Stops the network thread; uploads still running end without their callbacks.
    static void release();

    /// Posts path as multipart field "file" (with "taskId") to the exam-file endpoint when cos is
    /// null, otherwise to the object storage with cos's "prefix" and "tokenKind". taskId names the
    /// upload in uploadProgress() and cancelUpload(); a task id still running is refused
    /// (DuplicateTaskError), the running upload goes on. A null callback is allowed.
    void requestUploadExamFile(const QString &path, const QString &taskId, UploadCallback done,
                               std::shared_ptr<CosUploadPathPrefixPod> cos = {});
    /// Stops the upload of taskId; its callback does not run. Nothing happens for an unknown id.
    void cancelUpload(const QString &taskId);
    /// Uploads asked for and not yet answered (or cancelled).
    int pendingCount() const;

    void setBaseUrl(const QUrl &url);
    QUrl baseUrl() const;
    /// Where objects of the storage are read; the web-service address when not set.
    void setObjectStorageBaseUrl(const QUrl &url);
    QUrl objectStorageBaseUrl() const;
    /// The address of a stored object: "<object storage address>/cos/<key>"; an address given as
    /// key (http or https) is returned as it is; empty for an empty key or one with "..".
    QString cosPathToUrl(const QString &key) const;

    /// The string ID of the text shown for a failed upload (empty for success), to be looked up
    /// with OrvLang::text(): our own errors, then OrvHttpManager::webProxyErrorToStringId().
    static QString uploadErrorToStringId(int networkError, int errorNo);

Q_SIGNALS:
    void uploadProgress(const QString &taskId, qint64 bytesSent, qint64 bytesTotal);

private:
    struct Upload;
    FileUploadManager();
    ~FileUploadManager() override;

    // On the network thread.
    void startUpload(const std::shared_ptr<Upload> &upload);
    void onReplyFinished(const std::shared_ptr<Upload> &upload);
    void abortUpload(const QString &taskId);
    void finish(const std::shared_ptr<Upload> &upload, const QJsonObject &data, int networkError, int errorNo,
                const QString &serverMessage);
    QUrl resolvedBase() const;

    QThread *m_thread = nullptr;
    QNetworkAccessManager *m_nam = nullptr; // lives on m_thread
    mutable QMutex m_mutex;                 // guards the members below
    QHash<QString, std::shared_ptr<Upload>> m_uploads;
    QUrl m_baseUrl;
    QUrl m_storageUrl;
};
