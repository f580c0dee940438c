// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvtransferqueue.h"
#include "orvfilenames.h"
#include "orvtransfer_logging.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSaveFile>

namespace {

const QString kFallbackName = QStringLiteral("download");
constexpr int kMaxRedirects = 5;
// Ended transfers are remembered for transfer(); older ones beyond this are forgotten.
constexpr int kMaxRemembered = 1000;

int effectivePort(const QUrl &url)
{
    if (url.port() != -1)
        return url.port();
    return url.scheme() == QLatin1String("https") ? 443 : 80;
}

QString originKey(const QUrl &url)
{
    return QStringLiteral("%1://%2:%3").arg(url.scheme().toLower(), url.host().toLower()).arg(effectivePort(url));
}

QString urlKey(const QUrl &url)
{
    const QUrl clean = url.adjusted(QUrl::RemoveFragment | QUrl::NormalizePathSegments | QUrl::RemovePort);
    return originKey(url) + clean.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded);
}

bool isHttp(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty()
        && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

} // namespace

struct OrvTransferJob
{
    OrvTransferQueue::Transfer info;
    QString folder;
    OrvTransferQueue::Conflict conflict = OrvTransferQueue::Conflict::KeepBoth;
    QPointer<QNetworkReply> reply;
    std::unique_ptr<QSaveFile> file;
};

class OrvTransferQueuePrivate
{
public:
    explicit OrvTransferQueuePrivate(OrvTransferQueue *q) : q(q) {}

    QSet<QString> reservedPaths(int except) const;
    void scheduleStart();
    void startNext();
    void start(OrvTransferJob *job);
    void onReadyRead(OrvTransferJob *job);
    void onFinished(OrvTransferJob *job);
    void fail(OrvTransferJob *job, const QString &error, OrvTransferQueue::State state = OrvTransferQueue::State::Failed);
    void end(OrvTransferJob *job);
    void remember(const OrvTransferQueue::Transfer &info);

    OrvTransferQueue *q;
    QNetworkAccessManager *ownManager = nullptr;
    QPointer<QNetworkAccessManager> manager;
    int maxActive = OrvTransferQueue::DefaultMaxActive;
    int stallTimeout = OrvTransferQueue::DefaultStallTimeout;
    QSet<QString> allowedUrls;
    QSet<QString> allowedOrigins;
    int nextId = 1;
    bool startScheduled = false;
    QMap<int, OrvTransferJob *> pending; // by id, which is queue order
    QHash<int, OrvTransferQueue::Transfer> ended;
    QList<int> endedOrder;
};

QSet<QString> OrvTransferQueuePrivate::reservedPaths(int except) const
{
    QSet<QString> paths;
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        if (it.key() != except)
            paths.insert(it.value()->info.filePath);
    }
    return paths;
}

void OrvTransferQueuePrivate::scheduleStart()
{
    if (startScheduled)
        return;
    startScheduled = true;
    // Callers get the id back and connect before anything is emitted for it.
    QMetaObject::invokeMethod(q, [this] {
        startScheduled = false;
        startNext();
    }, Qt::QueuedConnection);
}

void OrvTransferQueuePrivate::startNext()
{
    int running = 0;
    for (OrvTransferJob *job : qAsConst(pending)) {
        if (job->info.state == OrvTransferQueue::State::Running)
            ++running;
    }
    const QList<OrvTransferJob *> jobs = pending.values();
    for (OrvTransferJob *job : jobs) {
        if (running >= maxActive)
            break;
        if (job->info.state != OrvTransferQueue::State::Queued)
            continue;
        ++running;
        start(job);
    }
}

void OrvTransferQueuePrivate::start(OrvTransferJob *job)
{
    OrvTransferQueue::Transfer &info = job->info;
    info.state = OrvTransferQueue::State::Running;
    if (!manager) {
        fail(job, QStringLiteral("no network access manager"));
        return;
    }
    // The chosen name may have been taken while the transfer waited.
    if (job->conflict == OrvTransferQueue::Conflict::KeepBoth && OrvFileNames::pathExists(info.filePath)) {
        const QString name = QFileInfo(info.filePath).fileName();
        const QString renamed = OrvFileNames::uniqueFilePath(job->folder, name, reservedPaths(info.id));
        if (renamed.isEmpty()) {
            fail(job, QStringLiteral("no free file name for %1").arg(name));
            return;
        }
        info.filePath = renamed;
    }
    if (!QDir().mkpath(job->folder)) {
        fail(job, QStringLiteral("cannot create folder %1").arg(job->folder));
        return;
    }
    job->file = std::make_unique<QSaveFile>(info.filePath);
    if (!job->file->open(QIODevice::WriteOnly)) {
        fail(job, QStringLiteral("cannot write %1: %2").arg(info.filePath, job->file->errorString()));
        return;
    }

    QNetworkRequest request(info.url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setMaximumRedirectsAllowed(kMaxRedirects);
    request.setTransferTimeout(stallTimeout);
    QNetworkReply *reply = manager->get(request);
    job->reply = reply;
    const int id = info.id;
    QObject::connect(reply, &QNetworkReply::readyRead, q, [this, id] {
        if (OrvTransferJob *j = pending.value(id))
            onReadyRead(j);
    });
    QObject::connect(reply, &QNetworkReply::downloadProgress, q, [this, id](qint64 received, qint64 total) {
        OrvTransferJob *j = pending.value(id);
        if (!j)
            return;
        j->info.received = received;
        j->info.total = total;
        Q_EMIT q->progress(id, received, total);
    });
    QObject::connect(reply, &QNetworkReply::redirected, q, [this, id](const QUrl &target) {
        OrvTransferJob *j = pending.value(id);
        if (!j || !j->reply)
            return;
        const QUrl resolved = j->reply->url().resolved(target);
        if (q->isAllowed(resolved)) {
            Q_EMIT j->reply->redirectAllowed();
        } else {
            qCWarning(lcOrvTransfer) << "transfer" << id << "redirected to an address not allowed:" << resolved;
            fail(j, QStringLiteral("redirected to an address not allowed: %1").arg(resolved.toString()));
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, q, [this, id] {
        if (OrvTransferJob *j = pending.value(id))
            onFinished(j);
    });
    qCInfo(lcOrvTransfer) << "transfer" << id << "started:" << info.url << "->" << info.filePath;
    Q_EMIT q->started(id, info.filePath);
}

void OrvTransferQueuePrivate::onReadyRead(OrvTransferJob *job)
{
    if (!job->reply || !job->file)
        return;
    // An error page is not the file.
    const int status = job->reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 300)
        return;
    const QByteArray data = job->reply->readAll();
    if (job->file->write(data) != data.size())
        fail(job, QStringLiteral("cannot write %1: %2").arg(job->info.filePath, job->file->errorString()));
}

void OrvTransferQueuePrivate::onFinished(OrvTransferJob *job)
{
    QNetworkReply *reply = job->reply;
    if (!reply)
        return;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError) {
        fail(job, reply->errorString());
        return;
    }
    if (status >= 300) {
        fail(job, QStringLiteral("HTTP status %1").arg(status));
        return;
    }
    onReadyRead(job);
    if (!job->file)
        return; // a write failed
    const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && length.toLongLong() != job->file->size()) {
        fail(job, QStringLiteral("truncated: %1 of %2 bytes").arg(job->file->size()).arg(length.toLongLong()));
        return;
    }
    // Another program may have created the file meanwhile; it is not ours to replace.
    if (job->conflict == OrvTransferQueue::Conflict::KeepBoth && OrvFileNames::pathExists(job->info.filePath)) {
        fail(job, QStringLiteral("%1 appeared during the transfer").arg(job->info.filePath));
        return;
    }
    if (!job->file->commit()) {
        fail(job, QStringLiteral("cannot save %1: %2").arg(job->info.filePath, job->file->errorString()));
        return;
    }
    job->file.reset();
    job->info.state = OrvTransferQueue::State::Finished;
    job->info.received = QFileInfo(job->info.filePath).size();
    qCInfo(lcOrvTransfer) << "transfer" << job->info.id << "saved" << job->info.filePath;
    const int id = job->info.id;
    const QString path = job->info.filePath;
    end(job);
    Q_EMIT q->finished(id, path);
    if (pending.isEmpty())
        Q_EMIT q->drained();
}

void OrvTransferQueuePrivate::fail(OrvTransferJob *job, const QString &error, OrvTransferQueue::State state)
{
    qCWarning(lcOrvTransfer) << "transfer" << job->info.id << job->info.url << "failed:" << error;
    if (job->file) {
        job->file->cancelWriting();
        job->file.reset(); // removes the temporary file
    }
    job->info.state = state;
    job->info.error = error;
    const int id = job->info.id;
    end(job);
    Q_EMIT q->failed(id, error);
    if (pending.isEmpty())
        Q_EMIT q->drained();
}

void OrvTransferQueuePrivate::end(OrvTransferJob *job)
{
    if (QNetworkReply *reply = job->reply) {
        QObject::disconnect(reply, nullptr, q, nullptr);
        reply->abort();
        reply->deleteLater();
    }
    remember(job->info);
    pending.remove(job->info.id);
    delete job;
    scheduleStart();
}

void OrvTransferQueuePrivate::remember(const OrvTransferQueue::Transfer &info)
{
    ended.insert(info.id, info);
    endedOrder.append(info.id);
    while (endedOrder.size() > kMaxRemembered)
        ended.remove(endedOrder.takeFirst());
}

// ---------------------------------------------------------------------------------------------

OrvTransferQueue *OrvTransferQueue::s_instance = nullptr;

OrvTransferQueue *OrvTransferQueue::instance()
{
    if (!s_instance)
        s_instance = new OrvTransferQueue;
    return s_instance;
}

void OrvTransferQueue::release()
{
    delete s_instance;
    s_instance = nullptr;
}

OrvTransferQueue::OrvTransferQueue(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<OrvTransferQueuePrivate>(this))
{
    d->ownManager = new QNetworkAccessManager(this);
    d->manager = d->ownManager;
}

OrvTransferQueue::~OrvTransferQueue()
{
    // Unfinished transfers leave no files behind.
    const QList<OrvTransferJob *> jobs = d->pending.values();
    for (OrvTransferJob *job : jobs) {
        if (job->reply) {
            QObject::disconnect(job->reply, nullptr, this, nullptr);
            job->reply->abort();
            delete job->reply;
        }
        if (job->file)
            job->file->cancelWriting();
        delete job;
    }
    d->pending.clear();
}

void OrvTransferQueue::setNetworkAccessManager(QNetworkAccessManager *manager)
{
    d->manager = manager ? manager : d->ownManager;
}

QNetworkAccessManager *OrvTransferQueue::networkAccessManager() const
{
    return d->manager;
}

void OrvTransferQueue::setMaxActive(int count)
{
    d->maxActive = qMax(1, count);
    d->scheduleStart();
}

int OrvTransferQueue::maxActive() const
{
    return d->maxActive;
}

void OrvTransferQueue::setStallTimeout(int ms)
{
    d->stallTimeout = qMax(0, ms);
}

int OrvTransferQueue::stallTimeout() const
{
    return d->stallTimeout;
}

void OrvTransferQueue::allowUrl(const QUrl &url)
{
    if (!isHttp(url)) {
        qCWarning(lcOrvTransfer) << "not allowing a non-http address:" << url;
        return;
    }
    d->allowedUrls.insert(urlKey(url));
}

void OrvTransferQueue::allowOrigin(const QUrl &origin)
{
    if (!isHttp(origin)) {
        qCWarning(lcOrvTransfer) << "not allowing a non-http origin:" << origin;
        return;
    }
    d->allowedOrigins.insert(originKey(origin));
}

void OrvTransferQueue::clearAllowList()
{
    d->allowedUrls.clear();
    d->allowedOrigins.clear();
}

bool OrvTransferQueue::isAllowed(const QUrl &url) const
{
    if (!isHttp(url))
        return false;
    return d->allowedOrigins.contains(originKey(url)) || d->allowedUrls.contains(urlKey(url));
}

int OrvTransferQueue::enqueue(const QUrl &url, const QString &folder, const QString &fileName, Conflict conflict)
{
    if (!isHttp(url)) {
        qCWarning(lcOrvTransfer) << "refusing a transfer from a non-http address:" << url;
        return 0;
    }
    if (!isAllowed(url)) {
        qCWarning(lcOrvTransfer) << "refusing a transfer from an address not allowed:" << url;
        return 0;
    }
    if (folder.isEmpty()) {
        qCWarning(lcOrvTransfer) << "refusing a transfer without a target folder:" << url;
        return 0;
    }
    QString name = OrvFileNames::plainFileName(fileName);
    if (name.isEmpty())
        name = OrvFileNames::plainFileName(url.fileName());
    if (name.isEmpty())
        name = kFallbackName;
    if (name != fileName)
        qCInfo(lcOrvTransfer) << "file name" << fileName << "saved as" << name;

    const QString dir = QDir::cleanPath(QDir(folder).absolutePath());
    if (!QDir().mkpath(dir)) {
        qCWarning(lcOrvTransfer) << "cannot create folder" << dir;
        return 0;
    }
    const QSet<QString> reserved = d->reservedPaths(0);
    QString path = QDir(dir).absoluteFilePath(name);
    // Two transfers never write the same file, even when the user allowed replacing it.
    if (conflict == Conflict::KeepBoth || reserved.contains(path))
        path = OrvFileNames::uniqueFilePath(dir, name, reserved);
    if (path.isEmpty() || !OrvFileNames::isDirectlyInside(dir, path)) {
        qCWarning(lcOrvTransfer) << "no usable file name for" << name << "in" << dir;
        return 0;
    }

    auto *job = new OrvTransferJob;
    job->info.id = d->nextId++;
    job->info.url = url;
    job->info.filePath = path;
    job->folder = dir;
    job->conflict = conflict;
    d->pending.insert(job->info.id, job);
    qCInfo(lcOrvTransfer) << "transfer" << job->info.id << "queued:" << url << "->" << path;
    d->scheduleStart();
    return job->info.id;
}

int OrvTransferQueue::enqueueFile(const QUrl &url, const QString &filePath)
{
    const QFileInfo info(filePath);
    if (filePath.isEmpty() || info.fileName().isEmpty()) {
        qCWarning(lcOrvTransfer) << "refusing a transfer without a target file:" << url;
        return 0;
    }
    return enqueue(url, info.absolutePath(), info.fileName(), Conflict::Replace);
}

void OrvTransferQueue::cancel(int id)
{
    OrvTransferJob *job = d->pending.value(id);
    if (!job)
        return;
    d->fail(job, QStringLiteral("cancelled"), State::Cancelled);
}

OrvTransferQueue::Transfer OrvTransferQueue::transfer(int id) const
{
    if (OrvTransferJob *job = d->pending.value(id))
        return job->info;
    return d->ended.value(id);
}

int OrvTransferQueue::pendingCount() const
{
    return d->pending.size();
}
