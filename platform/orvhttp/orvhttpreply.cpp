// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvhttpreply.h"
#include "orvhttp_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>

namespace {

const QLatin1String kErrnoKey("errno");
const QLatin1String kMsgKey("msg");
const QLatin1String kDataKey("data");

struct Envelope
{
    int errorNo = 0;
    QString msg;
    QJsonValue data;
};

bool parseEnvelope(const QByteArray &body, Envelope *out, QString *why)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        *why = QStringLiteral("%1 at offset %2").arg(error.errorString()).arg(error.offset);
        return false;
    }
    if (!doc.isObject()) {
        *why = QStringLiteral("not a JSON object");
        return false;
    }
    const QJsonObject obj = doc.object();
    const QJsonValue errorNo = obj.value(kErrnoKey);
    if (!errorNo.isDouble() || errorNo.toDouble() != double(errorNo.toInt())) {
        *why = QStringLiteral("no integer \"errno\"");
        return false;
    }
    out->errorNo = errorNo.toInt();
    out->msg = obj.value(kMsgKey).toString();
    out->data = obj.value(kDataKey);
    if (out->data.isUndefined())
        out->data = QJsonValue(QJsonValue::Null);
    return true;
}

} // namespace

OrvHttpReply::OrvHttpReply(QNetworkReply *reply, int timeoutMs, QObject *parent)
    : QObject(parent)
    , m_reply(reply)
    , m_url(reply->url())
{
    connect(reply, &QNetworkReply::finished, this, &OrvHttpReply::onReplyFinished);
    if (timeoutMs > 0) {
        m_timer.setSingleShot(true);
        m_timer.setInterval(timeoutMs);
        connect(&m_timer, &QTimer::timeout, this, &OrvHttpReply::onTimeout);
        m_timer.start();
    }
}

OrvHttpReply::~OrvHttpReply()
{
    if (m_reply && !m_done) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

void OrvHttpReply::abort()
{
    if (m_done)
        return;
    m_done = true;
    m_timer.stop();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
    deleteLater();
}

void OrvHttpReply::onTimeout()
{
    if (m_done || !m_reply)
        return;
    qCWarning(lcOrvHttp) << "no answer within" << m_timer.interval() << "ms from" << m_url;
    m_timedOut = true;
    m_reply->abort(); // normally finishes synchronously, into onReplyFinished()
    if (!m_done) {
        m_reply->disconnect(this);
        m_reply->deleteLater();
        finish({}, OrvHttpManager::TimedOutError, 0);
    }
}

void OrvHttpReply::onReplyFinished()
{
    if (m_done || !m_reply)
        return;
    m_timer.stop();
    QNetworkReply *reply = m_reply;
    reply->deleteLater();

    if (m_timedOut) {
        finish({}, OrvHttpManager::TimedOutError, 0);
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        qCWarning(lcOrvHttp) << "request to" << m_url << "failed:" << reply->error() << reply->errorString();
        finish({}, reply->error(), 0);
        return;
    }

    Envelope envelope;
    QString why;
    if (!parseEnvelope(reply->readAll(), &envelope, &why)) {
        qCWarning(lcOrvHttp) << "bad reply body from" << m_url << ":" << why;
        finish({}, OrvHttpManager::BadReplyError, 0);
        return;
    }
    if (envelope.errorNo != OrvHttpManager::SuccessErrorNo)
        qCInfo(lcOrvHttp) << "server refused" << m_url << "errno" << envelope.errorNo << envelope.msg;
    finish(envelope.data, QNetworkReply::NoError, envelope.errorNo, envelope.msg);
}

void OrvHttpReply::finish(const QJsonValue &data, int networkError, int errorNo, const QString &serverMessage)
{
    m_done = true;
    QString text;
    if (networkError != QNetworkReply::NoError || errorNo != OrvHttpManager::SuccessErrorNo) {
        text = serverMessage.isEmpty() ? OrvLang::text(OrvHttpManager::webProxyErrorToStringId(networkError, errorNo))
                                       : serverMessage;
    }
    Q_EMIT finished(data, networkError, errorNo, text);
    deleteLater();
}
