// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonValue>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class QNetworkReply;

/**
 * One request of OrvHttpManager. It emits finished() exactly once, unless abort() was called
 * first, and deletes itself afterwards; do not keep the pointer past finished().
 *
 * finished(data, networkError, errorNo, errorText): success is networkError 0 together with
 * errorNo 1; then data is the envelope's "data" and errorText is empty. On any failure
 * errorText is the server's own message when it gave one, otherwise the translated text of
 * OrvHttpManager::webProxyErrorToStringId().
 */
class OrvHttpReply : public QObject
{
    Q_OBJECT
public:
    ~OrvHttpReply() override;

    /// Stops the request without emitting finished(); the reply deletes itself.
    void abort();

    QUrl url() const { return m_url; }

Q_SIGNALS:
    void finished(const QJsonValue &data, int networkError, int errorNo, const QString &errorText);

private:
    friend class OrvHttpManager;
    OrvHttpReply(QNetworkReply *reply, int timeoutMs, QObject *parent);

    void onReplyFinished();
    void onTimeout();
    void finish(const QJsonValue &data, int networkError, int errorNo, const QString &serverMessage = {});

    QPointer<QNetworkReply> m_reply;
    QUrl m_url;
    QTimer m_timer;
    bool m_timedOut = false;
    bool m_done = false;
};
