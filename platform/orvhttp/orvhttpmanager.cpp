// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvhttpmanager.h"
#include "orvhttp_logging.h"

#include <QJsonDocument>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

OrvHttpManager *OrvHttpManager::s_instance = nullptr;

namespace {
// A copy of the base URL for services on other threads (the file upload service).
QMutex s_baseMutex;
QUrl s_currentBase;
} // namespace

QUrl OrvHttpManager::currentBaseUrl()
{
    QMutexLocker lock(&s_baseMutex);
    return s_currentBase;
}

OrvHttpManager *OrvHttpManager::instance()
{
    if (!s_instance)
        s_instance = new OrvHttpManager;
    return s_instance;
}

void OrvHttpManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

OrvHttpManager::OrvHttpManager()
    : m_nam(new QNetworkAccessManager(this))
{
    m_nam->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

// Pending replies are children: they go with the manager, without emitting finished().
OrvHttpManager::~OrvHttpManager() = default;

void OrvHttpManager::setBaseUrl(const QUrl &url)
{
    if (url.isRelative())
        qCWarning(lcOrvHttp) << "base URL without a scheme:" << url;
    m_baseUrl = url;
    QMutexLocker lock(&s_baseMutex);
    s_currentBase = url;
}

void OrvHttpManager::setTimeout(int ms)
{
    if (ms < 0) {
        qCWarning(lcOrvHttp) << "ignoring a negative time-out:" << ms;
        return;
    }
    m_timeout = ms;
}

QUrl OrvHttpManager::resolve(const QString &path) const
{
    const QUrl relative(path);
    if (!relative.isRelative())
        return relative;
    if (m_baseUrl.isEmpty())
        qCWarning(lcOrvHttp) << "no base URL set for" << path;
    return m_baseUrl.resolved(relative);
}

QNetworkRequest OrvHttpManager::makeRequest(const QUrl &url) const
{
    QNetworkRequest request(url);
    request.setRawHeader("Accept", "application/json");
    return request;
}

QByteArray OrvHttpManager::encodeFields(const QUrlQuery &fields)
{
    QByteArray out;
    const auto items = fields.queryItems(QUrl::FullyDecoded);
    for (const auto &item : items) {
        if (!out.isEmpty())
            out += '&';
        out += QUrl::toPercentEncoding(item.first);
        out += '=';
        out += QUrl::toPercentEncoding(item.second);
    }
    return out;
}

OrvHttpReply *OrvHttpManager::get(const QString &path, const QUrlQuery &query)
{
    QUrl url = resolve(path);
    if (!query.isEmpty()) {
        QByteArray encoded = url.query(QUrl::FullyEncoded).toLatin1();
        if (!encoded.isEmpty())
            encoded += '&';
        encoded += encodeFields(query);
        url.setQuery(QString::fromLatin1(encoded), QUrl::StrictMode);
    }
    qCDebug(lcOrvHttp) << "GET" << url;
    return new OrvHttpReply(m_nam->get(makeRequest(url)), m_timeout, this);
}

OrvHttpReply *OrvHttpManager::postForm(const QString &path, const QUrlQuery &form)
{
    const QUrl url = resolve(path);
    QNetworkRequest request = makeRequest(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
    qCDebug(lcOrvHttp) << "POST form" << url;
    return new OrvHttpReply(m_nam->post(request, encodeFields(form)), m_timeout, this);
}

OrvHttpReply *OrvHttpManager::postJson(const QString &path, const QJsonObject &body)
{
    const QUrl url = resolve(path);
    QNetworkRequest request = makeRequest(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    qCDebug(lcOrvHttp) << "POST json" << url;
    return new OrvHttpReply(m_nam->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact)), m_timeout,
                            this);
}

OrvHttpReply *OrvHttpManager::requestSourceFilePath(quint64 userFileId, quint64 ownerUid)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("userFileId"), QString::number(userFileId));
    if (ownerUid != 0)
        query.addQueryItem(QStringLiteral("ownerUid"), QString::number(ownerUid));
    return get(QStringLiteral("/cloudspace/api/user/file/source"), query);
}

OrvHttpReply *OrvHttpManager::requestDownloadSharedFileUrl(quint64 userFileId, quint64 shareUid, int referenceType,
                                                           quint64 referenceId)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("userFileId"), QString::number(userFileId));
    query.addQueryItem(QStringLiteral("shareUid"), QString::number(shareUid));
    query.addQueryItem(QStringLiteral("referenceType"), QString::number(referenceType));
    query.addQueryItem(QStringLiteral("referenceId"), QString::number(referenceId));
    return get(QStringLiteral("/cloudspace/api/user/share/file/source"), query);
}

QString OrvHttpManager::webProxyErrorToStringId(int networkError, int errorNo)
{
    if (networkError == QNetworkReply::NoError)
        return errorNo == SuccessErrorNo ? QString() : QStringLiteral("ID_Network_ServiceFailed");

    switch (networkError) {
    case TimedOutError:
    case QNetworkReply::TimeoutError:
        return QStringLiteral("ID_Network_Timeout");
    case BadReplyError:
    case QNetworkReply::ProtocolFailure:
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
        return QStringLiteral("ID_Network_BadReply");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("ID_Network_Disconnected");
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral("ID_Network_Canceled");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("ID_Network_SecureConnectionFailed");
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError:
        return QStringLiteral("ID_Network_BadRequest");
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::BackgroundRequestNotAllowedError:
    case QNetworkReply::UnknownNetworkError:
        return QStringLiteral("ID_Network_Unreachable");
    default:
        break;
    }
    // The ranges of QNetworkReply::NetworkError: proxy, content, protocol and server errors.
    if (networkError >= QNetworkReply::ProxyConnectionRefusedError && networkError <= QNetworkReply::UnknownProxyError)
        return QStringLiteral("ID_Network_Unreachable");
    if (networkError >= QNetworkReply::ContentAccessDenied && networkError <= QNetworkReply::UnknownContentError)
        return QStringLiteral("ID_Network_RequestRejected");
    if (networkError >= QNetworkReply::InternalServerError && networkError <= QNetworkReply::UnknownServerError)
        return QStringLiteral("ID_Network_ServerError");
    return QStringLiteral("ID_Network_Unknown");
}
