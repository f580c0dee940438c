// SPDX-License-Identifier: LGPL-2.1-or-later
#include "chatfiletransfer.h"
#include "orvengine_logging.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTimer>
#include <QUrlQuery>

namespace OrvEngine {

namespace {

QString plainPart(const QString &text, int maxLength)
{
    static const QRegularExpression unsafe(QStringLiteral("[^A-Za-z0-9_-]"));
    QString out = text;
    out.remove(unsafe);
    return out.left(maxLength);
}

} // namespace

ChatFileTransfer::ChatFileTransfer(QObject *parent)
    : QObject(parent)
    , m_nam(new QNetworkAccessManager(this))
{
    m_nam->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

ChatFileTransfer::~ChatFileTransfer()
{
    // Partial files go with the transfers; nobody listens any more.
    for (auto it = m_transfers.begin(); it != m_transfers.end(); ++it) {
        if (it->file)
            it->file->cancelWriting();
        delete it->file;
        if (it->reply) {
            it->reply->disconnect(this);
            it->reply->abort();
        }
    }
}

QString ChatFileTransfer::downloadFolder() const
{
    if (!m_folder.isEmpty())
        return m_folder;
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/ChatFiles");
}

QString ChatFileTransfer::localPath(const ChatMsg &msg) const
{
    const QString fileId = plainPart(msg.decodeFromContent(QStringLiteral("fileId")).toString(), 128);
    if (fileId.isEmpty())
        return QString();
    const QString suffix = plainPart(QFileInfo(msg.decodeFromContent(QStringLiteral("fileName")).toString()).suffix(), 8);
    const ClusterID cluster = msg.clusterID();
    const QString name = suffix.isEmpty() ? fileId : fileId + QLatin1Char('.') + suffix.toLower();
    return QStringLiteral("%1/%2_%3/%4").arg(downloadFolder()).arg(int(cluster.type())).arg(cluster.id()).arg(name);
}

QUrl ChatFileTransfer::address(const ChatMsg &msg) const
{
    const QString fileId = msg.decodeFromContent(QStringLiteral("fileId")).toString();
    const QString given = msg.decodeFromContent(QStringLiteral("url")).toString();
    QUrl url;
    if (!given.isEmpty()) {
        url = QUrl(given);
        if (url.isRelative())
            url = m_server.resolved(url);
    } else if (!fileId.isEmpty()) {
        url = m_server.resolved(QUrl(QString::fromLatin1(DownloadPath)));
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("fileId"), fileId);
        url.setQuery(query);
    }
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")))
        return QUrl();
    return url;
}

ChatFileTransfer::Transfer *ChatFileTransfer::find(const ChatMsgPtr &msg)
{
    for (auto it = m_transfers.begin(); it != m_transfers.end(); ++it) {
        if (it->msg == msg || (msg && it->msg && it->msg->localID() == msg->localID()
                               && it->msg->clusterID() == msg->clusterID()))
            return &it.value();
    }
    return nullptr;
}

bool ChatFileTransfer::isDownloading(const ChatMsgPtr &msg) const
{
    return const_cast<ChatFileTransfer *>(this)->find(msg) != nullptr;
}

bool ChatFileTransfer::download(const ChatMsgPtr &msg)
{
    if (!msg)
        return false;
    if (find(msg))
        return true;
    const QString path = localPath(*msg);
    const QUrl url = address(*msg);
    if (path.isEmpty() || url.isEmpty()) {
        qCWarning(lcOrvEngine) << "chat message" << msg->localID() << "names no file to download";
        Q_EMIT finished(msg, NoAddress);
        return false;
    }
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        qCWarning(lcOrvEngine) << "cannot create the chat file folder for" << path;
        Q_EMIT finished(msg, WriteFailed);
        return false;
    }
    auto *file = new QSaveFile(path);
    if (!file->open(QIODevice::WriteOnly)) {
        qCWarning(lcOrvEngine) << "cannot write chat file" << path << file->errorString();
        delete file;
        Q_EMIT finished(msg, WriteFailed);
        return false;
    }

    QNetworkReply *reply = m_nam->get(QNetworkRequest(url));
    Transfer transfer;
    transfer.msg = msg;
    transfer.reply = reply;
    transfer.file = file;
    transfer.stallTimer = new QTimer(reply);
    transfer.stallTimer->setSingleShot(true);
    transfer.stallTimer->setInterval(m_stallTimeout);
    transfer.clock.start();
    m_transfers.insert(reply, transfer);
    qCInfo(lcOrvEngine) << "downloading chat file of message" << msg->localID() << "from" << url;

    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { onReadyRead(reply); });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { onFinished(reply); });
    connect(transfer.stallTimer, &QTimer::timeout, this, [this, reply] {
        qCWarning(lcOrvEngine) << "chat file download stalled:" << reply->url();
        m_transfers[reply].error = Stalled;
        reply->abort();
    });
    transfer.stallTimer->start();
    return true;
}

void ChatFileTransfer::cancel(const ChatMsgPtr &msg)
{
    Transfer *transfer = find(msg);
    if (!transfer || !transfer->reply)
        return;
    transfer->error = Cancelled;
    transfer->reply->abort();
}

void ChatFileTransfer::onReadyRead(QNetworkReply *reply)
{
    auto it = m_transfers.find(reply);
    if (it == m_transfers.end())
        return;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status != 200)
        return; // an error body, read at the end
    const QByteArray bytes = reply->readAll();
    if (bytes.isEmpty())
        return;
    it->stallTimer->start();
    if (it->file->write(bytes) != bytes.size()) {
        qCWarning(lcOrvEngine) << "cannot write chat file" << it->file->fileName() << it->file->errorString();
        it->error = WriteFailed;
        reply->abort();
        return;
    }
    it->received += bytes.size();
    const qint64 total = reply->header(QNetworkRequest::ContentLengthHeader).isValid()
        ? reply->header(QNetworkRequest::ContentLengthHeader).toLongLong()
        : -1;
    const qint64 elapsedMs = qMax<qint64>(1, it->clock.elapsed());
    const qint64 speed = it->received * 1000 / elapsedMs;
    const qint64 remaining = (total > 0 && speed > 0) ? (total - it->received + speed - 1) / speed : -1;
    Q_EMIT progress(it->msg, speed, remaining, it->received, total);
}

void ChatFileTransfer::onFinished(QNetworkReply *reply)
{
    auto it = m_transfers.find(reply);
    if (it == m_transfers.end())
        return;
    if (it->error != Complete) {
        end(reply, it->error);
        return;
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() == QNetworkReply::NoError && status == 200) {
        onReadyRead(reply);
        if (it->error != Complete) {
            end(reply, it->error);
            return;
        }
        const qint64 total = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (total > 0 && it->received != total) {
            qCWarning(lcOrvEngine) << "chat file ended after" << it->received << "of" << total << "bytes";
            end(reply, Failed);
            return;
        }
        end(reply, Complete);
        return;
    }
    // The server says why in its envelope; a recalled message is errno 1023.
    const QJsonObject envelope = QJsonDocument::fromJson(reply->readAll()).object();
    const int errorNo = envelope.value(QStringLiteral("errno")).toInt();
    qCWarning(lcOrvEngine) << "chat file download failed:" << reply->url() << "status" << status << reply->errorString()
                           << "errno" << errorNo;
    end(reply, errorNo == Recalled ? Recalled : Failed);
}

void ChatFileTransfer::end(QNetworkReply *reply, int errorNo)
{
    Transfer transfer = m_transfers.take(reply);
    if (errorNo == Complete && !transfer.file->commit()) {
        qCWarning(lcOrvEngine) << "cannot write chat file" << transfer.file->fileName() << transfer.file->errorString();
        errorNo = WriteFailed;
    } else if (errorNo != Complete) {
        transfer.file->cancelWriting();
    }
    delete transfer.file;
    reply->disconnect(this);
    reply->deleteLater();
    if (errorNo == Complete)
        qCInfo(lcOrvEngine) << "chat file of message" << transfer.msg->localID() << "complete," << transfer.received
                            << "bytes";
    Q_EMIT finished(transfer.msg, errorNo);
}

} // namespace OrvEngine
