// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvhttp_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"

#include <QJsonObject>

namespace {

void badReply(const char *what, const QUrl &url)
{
    qCWarning(lcOrvHttp) << "bad reply body from" << url << ":" << what;
}

QString badReplyText()
{
    return OrvLang::text(OrvHttpManager::webProxyErrorToStringId(OrvHttpManager::BadReplyError, 0));
}

} // namespace

OrvHttpReply *OrvHttpManager::requestGetQRCode(CommonPodsNs::RequestQRCodeTag tag, const QString &params,
                                               QObject *context, QRCodeCallback callback)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("tag"), QString::number(int(tag)));
    query.addQueryItem(QStringLiteral("params"), params);
    OrvHttpReply *reply = get(QStringLiteral("/api/qrcode/getQRCode"), query);
    const QUrl url = reply->url();
    QObject::connect(reply, &OrvHttpReply::finished, context ? context : reply,
                     [callback = std::move(callback), url](const QJsonValue &data, int networkError, int errorNo,
                                                           const QString &errorText) {
                         if (networkError == 0 && errorNo == SuccessErrorNo && !data.isObject()) {
                             badReply("QR-code data is not an object", url);
                             callback(QJsonObject(), BadReplyError, 0, badReplyText());
                             return;
                         }
                         callback(data.toObject(), networkError, errorNo, errorText);
                     });
    return reply;
}

OrvHttpReply *OrvHttpManager::requstLurlTransToSurl(const QString &longUrl, QObject *context, ShortUrlCallback callback)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("longUrl"), longUrl);
    OrvHttpReply *reply = get(QStringLiteral("/api/url/lurlTransToSurl"), query);
    const QUrl url = reply->url();
    QObject::connect(reply, &OrvHttpReply::finished, context ? context : reply,
                     [callback = std::move(callback), url](const QJsonValue &data, int networkError, int errorNo,
                                                           const QString &errorText) {
                         QString surl;
                         if (networkError == 0 && errorNo == SuccessErrorNo) {
                             const QJsonValue value = data.toObject().value(QStringLiteral("surl"));
                             if (!value.isString() || value.toString().isEmpty()) {
                                 badReply("no short address", url);
                                 callback(surl, BadReplyError, 0, badReplyText());
                                 return;
                             }
                             surl = value.toString();
                         }
                         callback(surl, networkError, errorNo, errorText);
                     });
    return reply;
}
