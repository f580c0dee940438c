// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fileuploadmanager.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvupload_logging.h"

#include <QCoreApplication>
#include <QDate>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QJsonDocument>
#include <QMimeDatabase>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QThread>
#include <atomic>

CosUploadPathPrefixPod CosUploadPathPrefixPod::examImages(const QString &day)
{
    return {QStringLiteral("exam/answer/") + day, QStringLiteral("exam")};
}

struct FileUploadManager::Upload
{
    QString taskId;
    QString path;
    UploadCallback done;
    std::shared_ptr<CosUploadPathPrefixPod> cos;
    // Lives on the asking thread; whoever takes the upload out of the table (its end, or
    // cancelUpload) deletes it.
    QObject *receiver = nullptr;
    bool registered = false;
    std::atomic_bool cancelled{false};
    QPointer<QNetworkReply> reply;         // network thread only
};

namespace {

QMutex s_instanceMutex;
FileUploadManager *s_instance = nullptr;

// The web service's envelope {"errno", "msg", "data"}; false when the body is not one.
bool parseEnvelope(const QByteArray &body, int *errorNo, QString *msg, QJsonValue *data)
{
    const QJsonDocument doc = QJsonDocument::fromJson(body);
    if (!doc.isObject())
        return false;
    const QJsonObject obj = doc.object();
    const QJsonValue no = obj.value(QLatin1String("errno"));
    if (!no.isDouble() || no.toDouble() != double(no.toInt()))
        return false;
    *errorNo = no.toInt();
    *msg = obj.value(QLatin1String("msg")).toString();
    *data = obj.value(QLatin1String("data"));
    return true;
}

// A file name as a header parameter: quotes, backslashes and line breaks would end it early.
QByteArray headerFileName(const QString &name)
{
    QByteArray out = name.toUtf8();
    for (char &c : out) {
        if (c == '"' || c == '\\' || c == '\r' || c == '\n')
            c = '_';
    }
    return out;
}

QHttpPart textPart(const QByteArray &name, const QString &value)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, QByteArray("form-data; name=\"") + name + '"');
    part.setBody(value.toUtf8());
    return part;
}

} // namespace

FileUploadManager *FileUploadManager::instance()
{
    QMutexLocker lock(&s_instanceMutex);
    if (!s_instance) {
        s_instance = new FileUploadManager;
        // The network thread must end before the application object goes.
        if (QCoreApplication::instance())
            qAddPostRoutine(&FileUploadManager::release);
    }
    return s_instance;
}

void FileUploadManager::release()
{
    QMutexLocker lock(&s_instanceMutex);
    FileUploadManager *manager = s_instance;
    if (!manager)
        return;
    s_instance = nullptr;
    if (manager->m_thread->isRunning()) {
        QMetaObject::invokeMethod(
            manager,
            [manager] {
                QHash<QString, std::shared_ptr<Upload>> uploads;
                {
                    QMutexLocker dataLock(&manager->m_mutex);
                    uploads.swap(manager->m_uploads);
                }
                for (const auto &upload : qAsConst(uploads)) {
                    upload->cancelled = true;
                    if (upload->reply) {
                        upload->reply->disconnect(manager);
                        upload->reply->abort();
                    }
                    upload->receiver->deleteLater();
                }
                delete manager->m_nam;
                manager->m_nam = nullptr;
            },
            Qt::BlockingQueuedConnection);
        manager->m_thread->quit();
        manager->m_thread->wait();
    }
    QThread *thread = manager->m_thread;
    delete manager;
    delete thread;
}

FileUploadManager::FileUploadManager()
    : m_thread(new QThread)
{
    m_thread->setObjectName(QStringLiteral("FileUploadManager"));
    moveToThread(m_thread);
    m_thread->start();
}

FileUploadManager::~FileUploadManager() = default;

void FileUploadManager::setBaseUrl(const QUrl &url)
{
    QMutexLocker lock(&m_mutex);
    m_baseUrl = url;
}

QUrl FileUploadManager::baseUrl() const
{
    QMutexLocker lock(&m_mutex);
    return m_baseUrl;
}

void FileUploadManager::setObjectStorageBaseUrl(const QUrl &url)
{
    QMutexLocker lock(&m_mutex);
    m_storageUrl = url;
}

QUrl FileUploadManager::objectStorageBaseUrl() const
{
    QMutexLocker lock(&m_mutex);
    return m_storageUrl;
}

QUrl FileUploadManager::resolvedBase() const
{
    const QUrl own = baseUrl();
    return own.isValid() && !own.isEmpty() ? own : OrvHttpManager::currentBaseUrl();
}

QString FileUploadManager::cosPathToUrl(const QString &key) const
{
    if (key.startsWith(QLatin1String("http://")) || key.startsWith(QLatin1String("https://")))
        return key;
    QString path = key;
    while (path.startsWith(QLatin1Char('/')))
        path.remove(0, 1);
    const QStringList segments = path.split(QLatin1Char('/'));
    if (path.isEmpty() || segments.contains(QStringLiteral("..")) || segments.contains(QStringLiteral(".")))
        return QString();
    QUrl base = objectStorageBaseUrl();
    if (!base.isValid() || base.isEmpty())
        base = resolvedBase();
    QByteArray encoded(CosObjectPath);
    for (int i = 0; i < segments.size(); ++i) {
        if (i > 0)
            encoded += '/';
        encoded += QUrl::toPercentEncoding(segments.at(i));
    }
    return base.resolved(QUrl::fromEncoded(encoded)).toString(QUrl::FullyEncoded);
}

QString FileUploadManager::uploadErrorToStringId(int networkError, int errorNo)
{
    switch (networkError) {
    case FileNotFoundError:
        return QStringLiteral("ID_Upload_FileNotFound");
    case EmptyFileError:
        return QStringLiteral("ID_Upload_FileEmpty");
    case FileTooLargeError:
        return QStringLiteral("ID_Upload_FileTooLarge");
    case DuplicateTaskError:
        return QStringLiteral("ID_Upload_AlreadyRunning");
    default:
        return OrvHttpManager::webProxyErrorToStringId(networkError, errorNo);
    }
}

int FileUploadManager::pendingCount() const
{
    QMutexLocker lock(&m_mutex);
    return m_uploads.size();
}

void FileUploadManager::requestUploadExamFile(const QString &path, const QString &taskId, UploadCallback done,
                                              std::shared_ptr<CosUploadPathPrefixPod> cos)
{
    auto upload = std::make_shared<Upload>();
    upload->taskId = taskId;
    upload->path = path;
    upload->done = std::move(done);
    upload->cos = std::move(cos);
    // Made here, so it belongs to the asking thread: the callback is delivered through it.
    upload->receiver = new QObject;
    qCInfo(lcOrvUpload) << (upload->cos ? "cos" : "nas") << "upload of" << path << "as" << taskId;

    bool duplicate;
    {
        QMutexLocker lock(&m_mutex);
        duplicate = m_uploads.contains(taskId);
        if (!duplicate) {
            upload->registered = true;
            m_uploads.insert(taskId, upload);
        }
    }
    if (duplicate) {
        qCWarning(lcOrvUpload) << "an upload of task" << taskId << "is still running";
        QMetaObject::invokeMethod(this, [this, upload] { finish(upload, {}, DuplicateTaskError, 0, {}); },
                                  Qt::QueuedConnection);
        return;
    }
    QMetaObject::invokeMethod(this, [this, upload] { startUpload(upload); }, Qt::QueuedConnection);
}

void FileUploadManager::cancelUpload(const QString &taskId)
{
    std::shared_ptr<Upload> upload;
    {
        QMutexLocker lock(&m_mutex);
        upload = m_uploads.take(taskId);
    }
    if (!upload)
        return;
    qCInfo(lcOrvUpload) << "upload" << taskId << "cancelled";
    upload->cancelled = true;
    upload->receiver->deleteLater();
    QMetaObject::invokeMethod(this, [upload] {
        if (upload->reply)
            upload->reply->abort();
    }, Qt::QueuedConnection);
}

void FileUploadManager::startUpload(const std::shared_ptr<Upload> &upload)
{
    if (upload->cancelled)
        return;
    const QFileInfo info(upload->path);
    if (!info.isFile() || !info.isReadable()) {
        qCWarning(lcOrvUpload) << "cannot upload" << upload->path << ": no readable file there";
        finish(upload, {}, FileNotFoundError, 0, {});
        return;
    }
    if (info.size() == 0) {
        qCWarning(lcOrvUpload) << "cannot upload" << upload->path << ": the file is empty";
        finish(upload, {}, EmptyFileError, 0, {});
        return;
    }
    if (info.size() > MaxFileBytes) {
        qCWarning(lcOrvUpload) << "cannot upload" << upload->path << ":" << info.size() << "bytes is too large";
        finish(upload, {}, FileTooLargeError, 0, {});
        return;
    }
    auto *file = new QFile(upload->path);
    if (!file->open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvUpload) << "cannot open" << upload->path << file->errorString();
        delete file;
        finish(upload, {}, FileNotFoundError, 0, {});
        return;
    }

    auto *multiPart = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    file->setParent(multiPart);
    if (upload->cos) {
        multiPart->append(textPart("prefix", upload->cos->prefix));
        multiPart->append(textPart("tokenKind", upload->cos->tokenKind));
    } else {
        multiPart->append(textPart("taskId", upload->taskId));
    }
    QHttpPart filePart;
    filePart.setHeader(QNetworkRequest::ContentDispositionHeader,
                       QByteArray("form-data; name=\"file\"; filename=\"") + headerFileName(info.fileName()) + '"');
    filePart.setHeader(QNetworkRequest::ContentTypeHeader,
                       QMimeDatabase().mimeTypeForFile(info, QMimeDatabase::MatchExtension).name().toLatin1());
    filePart.setBodyDevice(file);
    multiPart->append(filePart);

    if (!m_nam)
        m_nam = new QNetworkAccessManager(this);
    const QUrl url = resolvedBase().resolved(QUrl(QLatin1String(upload->cos ? CosUploadPath : ExamFilePath)));
    QNetworkRequest request(url);
    request.setRawHeader("Accept", "application/json");
    QNetworkReply *reply = m_nam->post(request, multiPart);
    multiPart->setParent(reply);
    upload->reply = reply;
    const QString taskId = upload->taskId;
    connect(reply, &QNetworkReply::uploadProgress, this, [this, upload](qint64 sent, qint64 total) {
        if (!upload->cancelled && total > 0)
            Q_EMIT uploadProgress(upload->taskId, sent, total);
    });
    connect(reply, &QNetworkReply::finished, this, [this, upload] { onReplyFinished(upload); });
}

void FileUploadManager::onReplyFinished(const std::shared_ptr<Upload> &upload)
{
    QNetworkReply *reply = upload->reply;
    if (!reply)
        return;
    reply->deleteLater();
    if (upload->cancelled)
        return;
    if (reply->error() != QNetworkReply::NoError) {
        qCWarning(lcOrvUpload) << "upload of" << upload->path << "failed:" << reply->error() << reply->errorString();
        finish(upload, {}, reply->error(), 0, {});
        return;
    }
    int errorNo = 0;
    QString msg;
    QJsonValue data;
    if (!parseEnvelope(reply->readAll(), &errorNo, &msg, &data)) {
        qCWarning(lcOrvUpload) << "upload of" << upload->path << ": the answer is not the service's envelope";
        finish(upload, {}, BadReplyError, 0, {});
        return;
    }
    if (errorNo != SuccessErrorNo) {
        qCInfo(lcOrvUpload) << "upload of" << upload->path << "refused: errno" << errorNo << msg;
        finish(upload, data.toObject(), 0, errorNo, msg);
        return;
    }
    const QJsonValue imageUrl = data.toObject().value(QLatin1String("imageUrl"));
    if (!imageUrl.isString() || imageUrl.toString().isEmpty()) {
        qCWarning(lcOrvUpload) << "upload of" << upload->path << ": the answer has no \"imageUrl\"";
        finish(upload, data.toObject(), BadReplyError, 0, {});
        return;
    }
    finish(upload, data.toObject(), 0, SuccessErrorNo, {});
}

void FileUploadManager::finish(const std::shared_ptr<Upload> &upload, const QJsonObject &data, int networkError,
                               int errorNo, const QString &serverMessage)
{
    if (upload->registered) {
        // Only the side that takes the upload out of the table may use its receiver: a
        // cancelUpload() that came first has deleted it.
        QMutexLocker lock(&m_mutex);
        const auto it = m_uploads.find(upload->taskId);
        if (it == m_uploads.end() || it.value() != upload)
            return;
        m_uploads.erase(it);
    }
    QString text;
    if (networkError != 0 || errorNo != SuccessErrorNo)
        text = serverMessage.isEmpty() ? OrvLang::text(uploadErrorToStringId(networkError, errorNo)) : serverMessage;
    QObject *receiver = upload->receiver;
    QMetaObject::invokeMethod(
        receiver,
        [upload, data, networkError, errorNo, text] {
            upload->receiver->deleteLater();
            if (upload->done)
                upload->done(upload->taskId, data, networkError, errorNo, text);
        },
        Qt::QueuedConnection);
}
