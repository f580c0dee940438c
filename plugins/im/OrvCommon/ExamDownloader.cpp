// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamDownloader.h"
#include "examupload_logging.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QTimer>

ExamDownloader::ExamDownloader(const QString &url, const QString &path, int timeoutMs, QObject *parent)
    : QObject(parent)
    , m_url(url)
    , m_path(path)
    , m_timeoutMs(qMax(0, timeoutMs))
{
    connect(this, &ExamDownloader::error, this, &ExamDownloader::downloadFileError);
}

ExamDownloader::~ExamDownloader()
{
    cleanUp();
}

QString ExamDownloader::pathInFolder(const QString &folder, const QString &serverName)
{
    if (folder.isEmpty())
        return {};
    QString name = serverName;
    name.replace(QLatin1Char('\\'), QLatin1Char('/'));
    name = name.section(QLatin1Char('/'), -1);
    for (QChar &c : name) {
        if (c.unicode() < 0x20 || QStringLiteral(":*?\"<>|").contains(c))
            c = QLatin1Char('_');
    }
    name = name.trimmed();
    // Windows drops trailing dots and spaces, which could turn the name into another one.
    while (name.endsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char(' ')))
        name.chop(1);
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return {};
    return QDir(folder).absoluteFilePath(name);
}

bool ExamDownloader::isRunning() const
{
    return m_reply != nullptr;
}

void ExamDownloader::startDownload()
{
    if (m_reply || m_done) {
        qCWarning(lcExamUpload) << "download of" << m_url << "already started";
        return;
    }
    if (!m_url.isValid() || (m_url.scheme() != QLatin1String("http") && m_url.scheme() != QLatin1String("https"))
        || m_url.host().isEmpty()) {
        m_done = true;
        // Told after the caller had the chance to connect.
        QMetaObject::invokeMethod(this, [this] { Q_EMIT error(InvalidUrlError, tr("not a web address: %1").arg(m_url.toString())); },
                                  Qt::QueuedConnection);
        return;
    }
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    m_file = new QSaveFile(m_path, this);
    if (!m_file->open(QIODevice::WriteOnly)) {
        const QString why = m_file->errorString();
        delete m_file;
        m_file = nullptr;
        m_done = true;
        QMetaObject::invokeMethod(this, [this, why] { Q_EMIT error(FileOpenError, why); }, Qt::QueuedConnection);
        return;
    }
    if (!m_nam)
        m_nam = new QNetworkAccessManager(this);
    QNetworkRequest request(m_url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    m_reply = m_nam->get(request);
    connect(m_reply, &QNetworkReply::readyRead, this, &ExamDownloader::onReadyRead);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        if (m_timer)
            m_timer->start(); // an idle limit: anything received starts it anew
        Q_EMIT progress(received, total);
    });
    connect(m_reply, &QNetworkReply::finished, this, &ExamDownloader::downloadFileSlot);
    if (m_timeoutMs > 0) {
        m_timer = new QTimer(this);
        m_timer->setSingleShot(true);
        m_timer->setInterval(m_timeoutMs);
        connect(m_timer, &QTimer::timeout, this, [this] {
            if (m_done)
                return;
            m_done = true;
            cleanUp();
            Q_EMIT error(TimeoutError, tr("nothing received for %1 ms").arg(m_timeoutMs));
        });
        m_timer->start();
    }
}

void ExamDownloader::abort()
{
    if (m_done || !m_reply)
        return;
    m_done = true;
    cleanUp();
    Q_EMIT error(AbortedError, tr("the download was stopped"));
}

void ExamDownloader::onReadyRead()
{
    if (!m_reply || !m_file)
        return;
    const QByteArray bytes = m_reply->readAll();
    if (m_file->write(bytes) != bytes.size()) {
        const QString why = m_file->errorString();
        m_done = true;
        cleanUp();
        Q_EMIT error(WriteError, why);
    }
}

void ExamDownloader::downloadFileSlot()
{
    if (m_done || !m_reply)
        return;
    onReadyRead();
    if (m_done)
        return;
    m_done = true;
    QNetworkReply *reply = m_reply;
    if (reply->error() != QNetworkReply::NoError) {
        const QString why = reply->errorString();
        cleanUp();
        Q_EMIT error(NetworkError, why);
        return;
    }
    if (!m_file->commit()) {
        const QString why = m_file->errorString();
        cleanUp();
        Q_EMIT error(WriteError, why);
        return;
    }
    delete m_file;
    m_file = nullptr;
    cleanUp();
    qCInfo(lcExamUpload) << "downloaded" << m_url << "to" << m_path;
    Q_EMIT finished();
}

void ExamDownloader::downloadFileError(int errorCode, const QString &errorString)
{
    qCWarning(lcExamUpload) << "download of" << m_url << "to" << m_path << "failed:" << errorCode << errorString;
}

void ExamDownloader::cleanUp()
{
    if (m_timer)
        m_timer->stop();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
        m_reply = nullptr;
    }
    if (m_file) {
        // Not committed: whatever was at the path stays as it was.
        m_file->cancelWriting();
        delete m_file;
        m_file = nullptr;
    }
}
