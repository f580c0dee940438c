// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvchatfiles.h"
#include "orvwebservice_logging.h"

#include <QUrlQuery>

namespace {
const QString kDownloadPath = QStringLiteral("/im/chatfile/download");
}

void OrvChatFiles::install(OrvWebService &service)
{
    m_service = &service;
    service.addRoute(QStringLiteral("GET"), kDownloadPath,
                     [this](const OrvWebService::Request &request) { return download(request); });
}

QString OrvChatFiles::downloadPath(const QString &fileId)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("fileId"), fileId);
    return kDownloadPath + QLatin1Char('?') + query.toString(QUrl::FullyEncoded);
}

void OrvChatFiles::addFile(const QString &fileId, const QByteArray &bytes)
{
    QMutexLocker lock(&m_mutex);
    Entry &entry = m_files[fileId];
    entry.bytes = bytes;
    entry.recalled = false;
}

bool OrvChatFiles::hasFile(const QString &fileId) const
{
    QMutexLocker lock(&m_mutex);
    return m_files.contains(fileId);
}

void OrvChatFiles::setRecalled(const QString &fileId, bool recalled)
{
    QMutexLocker lock(&m_mutex);
    m_files[fileId].recalled = recalled;
}

void OrvChatFiles::setPace(int chunkSize, int delayMs)
{
    QMutexLocker lock(&m_mutex);
    m_chunkSize = qMax(0, chunkSize);
    m_delayMs = qMax(0, delayMs);
}

void OrvChatFiles::setStallAfter(const QString &fileId, qint64 bytes)
{
    QMutexLocker lock(&m_mutex);
    m_files[fileId].stallAfter = bytes;
}

int OrvChatFiles::requestCount(const QString &fileId) const
{
    QMutexLocker lock(&m_mutex);
    return m_files.value(fileId).requests;
}

OrvWebService::Response OrvChatFiles::download(const OrvWebService::Request &request)
{
    const QString fileId = request.queryValue(QStringLiteral("fileId"));
    Entry entry;
    int chunkSize;
    int delayMs;
    {
        QMutexLocker lock(&m_mutex);
        auto it = m_files.find(fileId);
        if (it == m_files.end() || it->bytes.isEmpty()) {
            OrvWebService::Response response =
                OrvWebService::fail(NoSuchFileErrorNo, QStringLiteral("no chat file %1").arg(fileId));
            response.status = 404;
            return response;
        }
        ++it->requests;
        entry = *it;
        chunkSize = m_chunkSize;
        delayMs = m_delayMs;
    }
    if (entry.recalled) {
        OrvWebService::Response response = OrvWebService::fail(RecalledErrorNo, QStringLiteral("message recalled"));
        response.status = 410;
        return response;
    }

    OrvWebService::Response response(200, QByteArrayLiteral("application/octet-stream"), QByteArray());
    const QByteArray bytes = entry.bytes;
    const qint64 stallAfter = entry.stallAfter;
    OrvWebService *service = m_service;
    const int piece = chunkSize > 0 ? chunkSize : 64 * 1024;
    response.streamLength = bytes.size();
    response.stream = [bytes, stallAfter, service, piece, delayMs, fileId](qint64 offset) -> QByteArray {
        if (stallAfter >= 0 && offset >= stallAfter) {
            qCInfo(lcOrvWebService) << "chat file" << fileId << "stalls at" << offset;
            while (service && service->waitUnlessStopping(100)) {
            }
            return QByteArray();
        }
        if (delayMs > 0 && service && !service->waitUnlessStopping(delayMs))
            return QByteArray();
        qint64 length = qMin<qint64>(piece, bytes.size() - offset);
        if (stallAfter >= 0)
            length = qMin(length, stallAfter - offset);
        return bytes.mid(int(offset), int(length));
    };
    return response;
}
