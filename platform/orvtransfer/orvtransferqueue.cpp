// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvtransferqueue.h"
#include "orvfilenames.h"
#include "orvtransfer_logging.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QPointer>
#include <QSet>
#include <QSocketNotifier>
#include <QTemporaryFile>
#include <QTimer>

#include <curl/curl.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <mutex>

#ifdef Q_OS_WIN
#include <qt_windows.h>
#endif

namespace {

const QString kFallbackName = QStringLiteral("download");
constexpr int kMaxRedirects = 5;
// Ended transfers are remembered for transfer(); older ones beyond this are forgotten.
constexpr int kMaxRemembered = 1000;
// Attempts at a free name when others keep taking it while the file is moved into place.
constexpr int kPlacingAttempts = 5;

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

void initCurl()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// Moves a finished download over the file the user chose to replace, in one step.
bool replaceFile(const QString &from, const QString &to, QString *error)
{
#ifdef Q_OS_WIN
    if (MoveFileExW(reinterpret_cast<const wchar_t *>(QDir::toNativeSeparators(from).utf16()),
                    reinterpret_cast<const wchar_t *>(QDir::toNativeSeparators(to).utf16()),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    *error = qt_error_string(int(GetLastError()));
#else
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return true;
    *error = qt_error_string(errno);
#endif
    return false;
}

QString seconds(int ms)
{
    return QString::number(ms / 1000.0, 'g', 3);
}

} // namespace

struct OrvTransferJob
{
    OrvTransferQueue::Transfer info;
    QString folder;
    OrvTransferQueue::Conflict conflict = OrvTransferQueue::Conflict::KeepBoth;
    CURL *easy = nullptr;
    char curlError[CURL_ERROR_SIZE] = {};
    std::unique_ptr<QTemporaryFile> file;
    QUrl current; // the address being fetched, after redirects
    int redirects = 0;
    qint64 written = 0;
    bool gotData = false; // since the queue last looked
    QString writeError;
    QTimer *stallTimer = nullptr;
};

struct OrvCurlSocket
{
    QSocketNotifier *read = nullptr;
    QSocketNotifier *write = nullptr;
};

class OrvTransferQueuePrivate
{
public:
    explicit OrvTransferQueuePrivate(OrvTransferQueue *q);
    ~OrvTransferQueuePrivate();

    QSet<QString> reservedPaths(int except) const;
    void scheduleStart();
    void startNext();
    void start(OrvTransferJob *job);
    bool fetch(OrvTransferJob *job, const QUrl &url);
    void detach(OrvTransferJob *job);
    void socketAction(curl_socket_t socket, int events);
    void afterCurl();
    void onDone(int id, CURLcode result);
    void place(OrvTransferJob *job);
    void fail(OrvTransferJob *job, const QString &error, OrvTransferQueue::State state = OrvTransferQueue::State::Failed);
    void end(OrvTransferJob *job);
    void remember(const OrvTransferQueue::Transfer &info);

    static size_t onBody(char *data, size_t size, size_t count, void *user);
    static int onSocket(CURL *easy, curl_socket_t socket, int what, void *user, void *socketData);
    static int onTimer(CURLM *multi, long timeoutMs, void *user);

    OrvTransferQueue *q;
    CURLM *multi = nullptr;
    QTimer curlTimer;
    QList<OrvCurlSocket *> sockets;
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

OrvTransferQueuePrivate::OrvTransferQueuePrivate(OrvTransferQueue *q) : q(q)
{
    initCurl();
    multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &OrvTransferQueuePrivate::onSocket);
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, &OrvTransferQueuePrivate::onTimer);
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
    curlTimer.setSingleShot(true);
    QObject::connect(&curlTimer, &QTimer::timeout, q, [this] { socketAction(CURL_SOCKET_TIMEOUT, 0); });
}

OrvTransferQueuePrivate::~OrvTransferQueuePrivate()
{
    // Unfinished transfers leave no files behind (their temporary files go with them).
    for (OrvTransferJob *job : qAsConst(pending)) {
        detach(job);
        delete job;
    }
    pending.clear();
    curl_multi_cleanup(multi); // may still report cached connections' sockets
    for (OrvCurlSocket *s : qAsConst(sockets)) {
        delete s->read;
        delete s->write;
        delete s;
    }
}

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
    const QList<int> ids = pending.keys();
    for (int id : ids) {
        if (running >= maxActive)
            break;
        OrvTransferJob *job = pending.value(id);
        if (!job || job->info.state != OrvTransferQueue::State::Queued)
            continue;
        ++running;
        start(job);
    }
}

void OrvTransferQueuePrivate::start(OrvTransferJob *job)
{
    OrvTransferQueue::Transfer &info = job->info;
    info.state = OrvTransferQueue::State::Running;
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
    // Hidden, beside the target: moving it into place is a rename on the same file system.
    const QString name = QFileInfo(info.filePath).fileName();
    job->file = std::make_unique<QTemporaryFile>(QDir(job->folder).filePath(QStringLiteral(".%1.XXXXXX.part").arg(name)));
    if (!job->file->open()) {
        fail(job, QStringLiteral("cannot write in %1: %2").arg(job->folder, job->file->errorString()));
        return;
    }

    job->stallTimer = new QTimer(q);
    job->stallTimer->setSingleShot(true);
    const int id = info.id;
    QObject::connect(job->stallTimer, &QTimer::timeout, q, [this, id] {
        if (OrvTransferJob *j = pending.value(id))
            fail(j, QStringLiteral("stalled: nothing received for %1 s").arg(seconds(stallTimeout)));
    });
    if (stallTimeout > 0)
        job->stallTimer->start(stallTimeout);

    if (!fetch(job, info.url))
        return;
    qCInfo(lcOrvTransfer) << "transfer" << id << "started:" << info.url << "->" << info.filePath;
    Q_EMIT q->started(id, info.filePath);
}

bool OrvTransferQueuePrivate::fetch(OrvTransferJob *job, const QUrl &url)
{
    if (!job->easy) {
        job->easy = curl_easy_init();
        if (!job->easy) {
            fail(job, QStringLiteral("cannot start a transfer"));
            return false;
        }
    }
    job->current = url;
    job->curlError[0] = '\0';
    const QByteArray address = url.toEncoded();
    CURL *easy = job->easy;
    curl_easy_setopt(easy, CURLOPT_URL, address.constData());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, reinterpret_cast<void *>(quintptr(job->info.id)));
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, job->curlError);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &OrvTransferQueuePrivate::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, job);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // Redirects are followed here, one allowed address at a time.
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    // As the rest of the client: no proxy from the environment.
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    const CURLMcode added = curl_multi_add_handle(multi, easy);
    if (added != CURLM_OK) {
        fail(job, QStringLiteral("cannot start a transfer: %1").arg(QString::fromUtf8(curl_multi_strerror(added))));
        return false;
    }
    return true;
}

void OrvTransferQueuePrivate::detach(OrvTransferJob *job)
{
    if (job->easy) {
        curl_multi_remove_handle(multi, job->easy);
        curl_easy_cleanup(job->easy);
        job->easy = nullptr;
    }
    if (job->stallTimer) {
        job->stallTimer->stop();
        job->stallTimer->deleteLater();
        job->stallTimer = nullptr;
    }
    job->file.reset(); // removes the temporary file unless it was moved into place
}

size_t OrvTransferQueuePrivate::onBody(char *data, size_t size, size_t count, void *user)
{
    auto *job = static_cast<OrvTransferJob *>(user);
    const size_t bytes = size * count;
    long status = 0;
    curl_easy_getinfo(job->easy, CURLINFO_RESPONSE_CODE, &status);
    // An error page or a redirect is not the file.
    if (status >= 300)
        return bytes;
    if (!job->file || job->file->write(data, qint64(bytes)) != qint64(bytes)) {
        job->writeError = job->file ? job->file->errorString() : QStringLiteral("no file");
        return 0; // ends the transfer with CURLE_WRITE_ERROR
    }
    job->written += qint64(bytes);
    job->gotData = true;
    return bytes;
}

int OrvTransferQueuePrivate::onSocket(CURL *, curl_socket_t socket, int what, void *user, void *socketData)
{
    auto *d = static_cast<OrvTransferQueuePrivate *>(user);
    auto *s = static_cast<OrvCurlSocket *>(socketData);
    if (what == CURL_POLL_REMOVE) {
        if (s) {
            // Called from inside curl, perhaps from a notifier's own signal: never delete it here.
            for (QSocketNotifier *n : {s->read, s->write}) {
                n->setEnabled(false);
                n->deleteLater();
            }
            d->sockets.removeOne(s);
            delete s;
            curl_multi_assign(d->multi, socket, nullptr);
        }
        return 0;
    }
    if (!s) {
        s = new OrvCurlSocket;
        s->read = new QSocketNotifier(qintptr(socket), QSocketNotifier::Read, d->q);
        s->write = new QSocketNotifier(qintptr(socket), QSocketNotifier::Write, d->q);
        QObject::connect(s->read, &QSocketNotifier::activated, d->q,
                         [d, socket] { d->socketAction(socket, CURL_CSELECT_IN); });
        QObject::connect(s->write, &QSocketNotifier::activated, d->q,
                         [d, socket] { d->socketAction(socket, CURL_CSELECT_OUT); });
        d->sockets.append(s);
        curl_multi_assign(d->multi, socket, s);
    }
    s->read->setEnabled(what == CURL_POLL_IN || what == CURL_POLL_INOUT);
    s->write->setEnabled(what == CURL_POLL_OUT || what == CURL_POLL_INOUT);
    return 0;
}

int OrvTransferQueuePrivate::onTimer(CURLM *, long timeoutMs, void *user)
{
    auto *d = static_cast<OrvTransferQueuePrivate *>(user);
    if (timeoutMs < 0)
        d->curlTimer.stop();
    else
        d->curlTimer.start(int(qMin<long>(timeoutMs, std::numeric_limits<int>::max())));
    return 0;
}

void OrvTransferQueuePrivate::socketAction(curl_socket_t socket, int events)
{
    int running = 0;
    curl_multi_socket_action(multi, socket, events, &running);
    afterCurl();
}

// Everything that may call back into the queue happens here, outside curl's callbacks.
void OrvTransferQueuePrivate::afterCurl()
{
    QPointer<OrvTransferQueue> alive(q);
    const QList<int> ids = pending.keys();
    for (int id : ids) {
        OrvTransferJob *job = pending.value(id);
        if (!job || !job->gotData)
            continue;
        job->gotData = false;
        if (job->stallTimer && stallTimeout > 0)
            job->stallTimer->start(stallTimeout);
        curl_off_t length = -1;
        curl_easy_getinfo(job->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        job->info.received = job->written;
        job->info.total = length >= 0 ? qint64(length) : -1;
        Q_EMIT q->progress(id, job->info.received, job->info.total);
        if (!alive)
            return;
    }

    QList<QPair<int, CURLcode>> done;
    int left = 0;
    while (CURLMsg *message = curl_multi_info_read(multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        void *priv = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &priv);
        done.append({int(reinterpret_cast<quintptr>(priv)), message->data.result});
    }
    for (const auto &d : qAsConst(done)) {
        onDone(d.first, d.second);
        if (!alive)
            return;
    }
}

void OrvTransferQueuePrivate::onDone(int id, CURLcode result)
{
    OrvTransferJob *job = pending.value(id);
    if (!job || !job->easy)
        return;
    if (result != CURLE_OK) {
        QString detail = QString::fromUtf8(job->curlError).trimmed();
        if (detail.isEmpty())
            detail = QString::fromUtf8(curl_easy_strerror(result));
        if (result == CURLE_WRITE_ERROR && !job->writeError.isEmpty())
            fail(job, QStringLiteral("cannot write %1: %2").arg(job->info.filePath, job->writeError));
        else if (result == CURLE_PARTIAL_FILE || result == CURLE_RECV_ERROR || result == CURLE_BAD_CONTENT_ENCODING)
            fail(job, QStringLiteral("incomplete: %1").arg(detail));
        else
            fail(job, detail);
        return;
    }

    long status = 0;
    curl_easy_getinfo(job->easy, CURLINFO_RESPONSE_CODE, &status);
    if (status >= 300 && status < 400) {
        char *location = nullptr;
        curl_easy_getinfo(job->easy, CURLINFO_REDIRECT_URL, &location);
        const QUrl target = location ? QUrl::fromEncoded(QByteArray(location)) : QUrl();
        if (target.isEmpty()) {
            fail(job, QStringLiteral("HTTP status %1 without a new address").arg(status));
        } else if (!q->isAllowed(target)) {
            qCWarning(lcOrvTransfer) << "transfer" << id << "redirected to an address not allowed:" << target;
            fail(job, QStringLiteral("redirected to an address not allowed: %1").arg(target.toString()));
        } else if (++job->redirects > kMaxRedirects) {
            fail(job, QStringLiteral("more than %1 redirects").arg(kMaxRedirects));
        } else {
            curl_multi_remove_handle(multi, job->easy);
            fetch(job, target);
        }
        return;
    }
    if (status < 200 || status >= 300) {
        fail(job, QStringLiteral("HTTP status %1").arg(status));
        return;
    }
    // libcurl checks the length and the chunk framing; a body of another length is not the file.
    curl_off_t length = -1;
    curl_easy_getinfo(job->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (length >= 0 && qint64(length) != job->written) {
        fail(job, QStringLiteral("incomplete: %1 of %2 bytes").arg(job->written).arg(qint64(length)));
        return;
    }
    place(job);
}

void OrvTransferQueuePrivate::place(OrvTransferJob *job)
{
    QTemporaryFile *file = job->file.get();
    if (!file->flush()) {
        fail(job, QStringLiteral("cannot write %1: %2").arg(job->info.filePath, file->errorString()));
        return;
    }
    const QString temporary = file->fileName();
    file->close();

    QString target = job->info.filePath;
    QString error;
    bool placed = false;
    if (job->conflict == OrvTransferQueue::Conflict::Replace) {
        // The replaced file's permissions stay; a new file gets the usual ones.
        const QFileInfo old(target);
        QFile::setPermissions(temporary, old.exists() ? old.permissions()
                                                      : QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        placed = replaceFile(temporary, target, &error);
    } else {
        QFile::setPermissions(temporary, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        const QString name = QFileInfo(target).fileName();
        for (int attempt = 0; attempt < kPlacingAttempts && !placed; ++attempt) {
            // A file that appeared meanwhile is someone else's: take the next free name.
            if (OrvFileNames::pathExists(target))
                target = OrvFileNames::uniqueFilePath(job->folder, name, reservedPaths(job->info.id));
            if (target.isEmpty()) {
                error = QStringLiteral("no free file name for %1").arg(name);
                break;
            }
            // Never replaces: fails when the name was taken in between.
            placed = QFile::rename(temporary, target);
            if (!placed)
                error = QStringLiteral("cannot move the download to %1").arg(target);
        }
    }
    if (!placed) {
        fail(job, QStringLiteral("cannot save %1: %2").arg(job->info.filePath, error));
        return;
    }
    file->setAutoRemove(false);
    if (target != job->info.filePath)
        qCInfo(lcOrvTransfer) << "transfer" << job->info.id << job->info.filePath << "was taken meanwhile, saved as"
                              << target;
    job->info.filePath = target;
    job->info.state = OrvTransferQueue::State::Finished;
    job->info.received = job->written;
    qCInfo(lcOrvTransfer) << "transfer" << job->info.id << "saved" << target;
    const int id = job->info.id;
    end(job);
    QPointer<OrvTransferQueue> alive(q);
    Q_EMIT q->finished(id, target);
    if (alive && pending.isEmpty())
        Q_EMIT q->drained();
}

void OrvTransferQueuePrivate::fail(OrvTransferJob *job, const QString &error, OrvTransferQueue::State state)
{
    qCWarning(lcOrvTransfer) << "transfer" << job->info.id << job->info.url << "failed:" << error;
    job->info.state = state;
    job->info.error = error;
    const int id = job->info.id;
    end(job);
    QPointer<OrvTransferQueue> alive(q);
    Q_EMIT q->failed(id, error);
    if (alive && pending.isEmpty())
        Q_EMIT q->drained();
}

void OrvTransferQueuePrivate::end(OrvTransferJob *job)
{
    detach(job);
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
}

OrvTransferQueue::~OrvTransferQueue() = default;

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

QString OrvTransferQueue::freeFilePath(const QString &folder, const QString &fileName) const
{
    const QString name = OrvFileNames::plainFileName(fileName);
    if (name.isEmpty() || folder.isEmpty())
        return QString();
    const QString dir = QDir::cleanPath(QDir(folder).absolutePath());
    return OrvFileNames::uniqueFilePath(dir, name, d->reservedPaths(0));
}

bool OrvTransferQueue::isTargeted(const QString &path) const
{
    return d->reservedPaths(0).contains(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
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
    // Two transfers never write the same file, even when the user allowed replacing it. With
    // nothing there to replace, a file appearing later is not what the user agreed to lose.
    if (conflict == Conflict::Replace && (reserved.contains(path) || !OrvFileNames::pathExists(path)))
        conflict = Conflict::KeepBoth;
    if (conflict == Conflict::KeepBoth)
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
