// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>
#include <QVector>
#include <functional>
#include <memory>

class OrvWebServicePrivate;

/**
 * A local stand-in for the client's web-API server, for tests, the demo and manual runs.
 * It listens on its own thread; route handlers run on the server's worker threads, so they
 * must not touch GUI-thread objects.
 *
 * Every answer is a JSON envelope (built by ok() and fail()):
 *     {"errno": 1, "msg": "", "data": <any JSON value>}
 * errno 1 is success, any other value a refusal explained by "msg".
 *
 * Routes served from the start:
 *   POST /mix/app/getIgnoreReminder, form field "macAddress":
 *       data {"json_data": "{\"UpgradeNoMoreReminders\":1}"} when that address was marked with
 *       setIgnoreReminder(mac, true), {"UpgradeNoMoreReminders":0} inside "json_data" otherwise;
 *       without "macAddress": fail(MissingFieldErrorNo, ...).
 * A path without a route gets HTTP 404 with fail(NoRouteErrorNo, ...).
 *
 * Faults make a path misbehave for testing clients, whatever the method (see Fault).
 */
class OrvWebService
{
public:
    using Fields = QList<QPair<QString, QString>>;

    struct Request
    {
        QString method; ///< upper case, "GET", "POST", ...
        QString path;   ///< decoded, without the query
        Fields query;   ///< decoded query items, in order
        Fields form;    ///< decoded fields of an application/x-www-form-urlencoded or multipart body
        /// Files of a multipart/form-data body, in order (their text fields are in form).
        struct FilePart
        {
            QString name;     ///< the field name
            QString fileName; ///< as the client sent it; never trust it as a path
            QByteArray contentType;
            QByteArray content;
        };
        QList<FilePart> files;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;

        QString queryValue(const QString &key) const;
        bool hasFormField(const QString &key) const;
        QString formValue(const QString &key) const;
        /// Case-insensitive; empty when absent.
        QByteArray header(const QByteArray &name) const;
        /// The files sent under field name, in order.
        QList<FilePart> filesNamed(const QString &name) const;
    };

    struct Response
    {
        Response() = default;
        Response(int status, QByteArray contentType, QByteArray body, QList<QPair<QByteArray, QByteArray>> headers = {})
            : status(status), contentType(std::move(contentType)), body(std::move(body)), headers(std::move(headers))
        {
        }

        int status = 200;
        QByteArray contentType = QByteArrayLiteral("application/json");
        QByteArray body;
        /// Extra headers, such as "Location" for a redirect.
        QList<QPair<QByteArray, QByteArray>> headers;
        /// A body sent in pieces instead of body: streamLength bytes in all, each call giving the
        /// piece that starts at offset. An empty piece cuts the answer short (the client sees the
        /// connection close). Called on the server's thread.
        std::function<QByteArray(qint64 offset)> stream;
        qint64 streamLength = -1;
    };

    using Handler = std::function<Response(const Request &)>;

    enum class Fault {
        Status500, ///< HTTP 500 with a plain-text body
        Garbage,   ///< HTTP 200 with a body that is not JSON
        Slow,      ///< the normal answer, after the fault's delay
        Drop,      ///< the connection is closed without an answer
        Hang,      ///< the request is read and never answered (until the client leaves or the service stops)
    };

    static constexpr int SuccessErrorNo = 1;
    static constexpr int MissingFieldErrorNo = 40001;
    static constexpr int NoRouteErrorNo = 40004;
    /// Older requests are forgotten beyond this many, or beyond this many bytes of what they
    /// carried (the newest request is always kept).
    static constexpr int MaxRecordedRequests = 1000;
    static constexpr qint64 MaxRecordedBytes = 32 * 1024 * 1024;

    OrvWebService();
    ~OrvWebService();
    OrvWebService(const OrvWebService &) = delete;
    OrvWebService &operator=(const OrvWebService &) = delete;

    /// Port 0 picks a free port. False (and a log line) when the address cannot be bound.
    bool start(const QString &host = QStringLiteral("127.0.0.1"), quint16 port = 0);
    /// Waits for requests in progress; a Slow fault's delay is cut short.
    void stop();
    bool isRunning() const;
    quint16 port() const;
    /// "http://host:port"; empty while stopped.
    QUrl baseUrl() const;

    /// Replaces any route of the same method and path. Safe while running.
    void addRoute(const QString &method, const QString &path, Handler handler);
    /// Serves every path under prefix (for example "/client/cloud/cs/im") that has no route of its
    /// own; the longest matching prefix wins. A prefix matches the path itself and paths that
    /// continue it after a '/'. Safe while running.
    void addPrefixRoute(const QString &method, const QString &prefix, Handler handler);

    static Response ok(const QJsonValue &data = QJsonValue());
    static Response fail(int errorNo, const QString &msg);
    static QByteArray envelope(int errorNo, const QString &msg, const QJsonValue &data);

    /// Every request received, faulty ones included, oldest first.
    QVector<Request> requests() const;
    void clearRequests();

    /// delayMs is used by Slow only.
    void setFault(const QString &path, Fault fault, int delayMs = 2000);
    void clearFault(const QString &path);
    void clearFaults();

    void setIgnoreReminder(const QString &macAddress, bool ignore);

    /// For handlers that pace their answers: waits ms, false at once when the service is stopping.
    bool waitUnlessStopping(int ms);

private:
    std::unique_ptr<OrvWebServicePrivate> const d;
};
