// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebservice.h"
#include "sockettools.h"
#include "orvwebservice_logging.h"

#include <QHash>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QSet>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

const QLatin1String kErrnoKey("errno");
const QLatin1String kMsgKey("msg");
const QLatin1String kDataKey("data");

const QString kIgnoreReminderPath = QStringLiteral("/mix/app/getIgnoreReminder");
const QString kMacAddressField = QStringLiteral("macAddress");

QString decodeComponent(QByteArray part)
{
    part.replace('+', ' ');
    return QUrl::fromPercentEncoding(part);
}

// application/x-www-form-urlencoded, which is also how query strings are written.
OrvWebService::Fields parseFields(const QByteArray &text)
{
    OrvWebService::Fields fields;
    const QList<QByteArray> pairs = text.split('&');
    for (const QByteArray &pair : pairs) {
        if (pair.isEmpty())
            continue;
        const int eq = pair.indexOf('=');
        if (eq < 0)
            fields.append({decodeComponent(pair), QString()});
        else
            fields.append({decodeComponent(pair.left(eq)), decodeComponent(pair.mid(eq + 1))});
    }
    return fields;
}

QString valueOf(const OrvWebService::Fields &fields, const QString &key)
{
    for (const auto &field : fields) {
        if (field.first == key)
            return field.second;
    }
    return QString();
}

OrvWebService::Request toRequest(const httplib::Request &in)
{
    OrvWebService::Request out;
    out.method = QString::fromStdString(in.method).toUpper();
    out.path = QString::fromStdString(in.path);
    const auto question = in.target.find('?');
    if (question != std::string::npos)
        out.query = parseFields(QByteArray::fromStdString(in.target.substr(question + 1)));
    for (const auto &header : in.headers)
        out.headers.append({QByteArray::fromStdString(header.first), QByteArray::fromStdString(header.second)});
    out.body = QByteArray(in.body.data(), int(in.body.size()));
    const std::string contentType = in.get_header_value("Content-Type");
    if (contentType.rfind("application/x-www-form-urlencoded", 0) == 0)
        out.form = parseFields(out.body);
    // Multipart bodies arrive parsed: parts with a file name are files, the others fields.
    for (const auto &part : in.files) {
        const QString name = QString::fromStdString(part.second.name);
        const QByteArray content(part.second.content.data(), int(part.second.content.size()));
        if (part.second.filename.empty() && part.second.content_type.empty()) {
            out.form.append({name, QString::fromUtf8(content)});
            continue;
        }
        out.files.append({name, QString::fromStdString(part.second.filename),
                          QByteArray::fromStdString(part.second.content_type), content});
    }
    return out;
}

void writeResponse(const OrvWebService::Response &in, httplib::Response &out)
{
    out.status = in.status;
    for (const auto &header : in.headers)
        out.set_header(header.first.toStdString(), header.second.toStdString());
    if (in.stream && in.streamLength >= 0) {
        auto stream = in.stream;
        out.set_content_provider(size_t(in.streamLength), in.contentType.toStdString(),
                                 [stream](size_t offset, size_t, httplib::DataSink &sink) {
                                     const QByteArray piece = stream(qint64(offset));
                                     return !piece.isEmpty() && sink.write(piece.constData(), size_t(piece.size()));
                                 });
        return;
    }
    out.set_content(in.body.constData(), size_t(in.body.size()), in.contentType.toStdString());
}

QString normalizedMac(const QString &mac)
{
    return mac.trimmed().toUpper().replace(QLatin1Char('-'), QLatin1Char(':'));
}

struct FaultEntry
{
    OrvWebService::Fault fault;
    int delayMs;
};

} // namespace

class OrvWebServicePrivate
{
public:
    void handle(const httplib::Request &in, httplib::Response &out);
    OrvWebService::Response dispatch(const OrvWebService::Request &request);
    /// Caller holds mutex.
    OrvWebService::Handler prefixHandler(const QString &method, const QString &path) const;
    OrvWebService::Response ignoreReminder(const OrvWebService::Request &request);
    /// False when stop() cut the wait short.
    bool sleepFor(int ms);

    mutable QMutex mutex; // guards everything below that handlers read
    QHash<QPair<QString, QString>, OrvWebService::Handler> routes;
    QHash<QPair<QString, QString>, OrvWebService::Handler> prefixRoutes;
    QHash<QString, FaultEntry> faults;
    QVector<OrvWebService::Request> requests;
    qint64 recordedBytes = 0;
    QSet<QString> ignoredMacs;
    QString host;
    quint16 port = 0;

    std::unique_ptr<httplib::Server> server;
    std::thread thread;

    std::mutex sleepMutex;
    std::condition_variable sleepWake;
    bool stopping = false;
};

bool OrvWebServicePrivate::sleepFor(int ms)
{
    std::unique_lock<std::mutex> lock(sleepMutex);
    return !sleepWake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stopping; });
}

// Roughly what a recorded request holds.
static qint64 recordedSize(const OrvWebService::Request &request)
{
    qint64 size = request.body.size() + 2 * (request.path.size() + request.method.size());
    for (const auto &field : request.query)
        size += 2 * (field.first.size() + field.second.size());
    for (const auto &field : request.form)
        size += 2 * (field.first.size() + field.second.size());
    for (const auto &header : request.headers)
        size += header.first.size() + header.second.size();
    for (const auto &file : request.files)
        size += file.content.size() + 2 * (file.name.size() + file.fileName.size());
    return size;
}

void OrvWebServicePrivate::handle(const httplib::Request &in, httplib::Response &out)
{
    const OrvWebService::Request request = toRequest(in);
    qCDebug(lcOrvWebService) << request.method << request.path;

    bool faulty = false;
    FaultEntry fault{};
    {
        QMutexLocker lock(&mutex);
        // Bounded by count and by size: a client sending huge addresses or bodies for hours must
        // not make the record grow with them.
        const qint64 size = recordedSize(request);
        requests.append(request);
        recordedBytes += size;
        int drop = 0;
        while (requests.size() - drop > 1
               && (requests.size() - drop > OrvWebService::MaxRecordedRequests || recordedBytes > OrvWebService::MaxRecordedBytes))
            recordedBytes -= recordedSize(requests.at(drop++));
        requests.remove(0, drop);
        const auto it = faults.constFind(request.path);
        if (it != faults.constEnd()) {
            faulty = true;
            fault = *it;
        }
    }

    if (faulty) {
        switch (fault.fault) {
        case OrvWebService::Fault::Status500:
            writeResponse({500, QByteArrayLiteral("text/plain"), QByteArrayLiteral("Internal Server Error")}, out);
            return;
        case OrvWebService::Fault::Garbage:
            writeResponse({200, QByteArrayLiteral("text/html"),
                           QByteArrayLiteral("<html><body>502 Bad Gateway</body></html>")},
                          out);
            return;
        case OrvWebService::Fault::Drop:
            if (!SocketTools::dropConnection(in.local_port, in.remote_addr, in.remote_port)) {
                // Second best: the status line goes out, then the connection closes mid-body.
                qCWarning(lcOrvWebService) << "cannot drop the connection here; cutting the answer short";
                out.status = 200;
                out.set_content_provider(
                    1024, "application/json", [](size_t, size_t, httplib::DataSink &) { return false; });
            }
            return;
        case OrvWebService::Fault::Hang:
            // Holds the connection open, answering nothing, until the client gives up (where the
            // platform tells) or the service stops; a worker thread is not held for ever.
            while (sleepFor(100)) {
                if (SocketTools::peerClosed(in.local_port, in.remote_addr, in.remote_port)) {
                    qCDebug(lcOrvWebService) << "client left a never-answered request to" << request.path;
                    return;
                }
            }
            writeResponse({503, QByteArrayLiteral("text/plain"), QByteArrayLiteral("Service stopping")}, out);
            return;
        case OrvWebService::Fault::Slow:
            if (!sleepFor(fault.delayMs)) {
                writeResponse({503, QByteArrayLiteral("text/plain"), QByteArrayLiteral("Service stopping")}, out);
                return;
            }
            break;
        }
    }
    writeResponse(dispatch(request), out);
}

OrvWebService::Response OrvWebServicePrivate::dispatch(const OrvWebService::Request &request)
{
    OrvWebService::Handler handler;
    {
        QMutexLocker lock(&mutex);
        handler = routes.value({request.method, request.path});
        if (!handler && request.method == QLatin1String("HEAD"))
            handler = routes.value({QStringLiteral("GET"), request.path});
        if (!handler)
            handler = prefixHandler(request.method, request.path);
        if (!handler && request.method == QLatin1String("HEAD"))
            handler = prefixHandler(QStringLiteral("GET"), request.path);
    }
    if (!handler) {
        qCInfo(lcOrvWebService) << "no route for" << request.method << request.path;
        OrvWebService::Response response =
            OrvWebService::fail(OrvWebService::NoRouteErrorNo, QStringLiteral("no route for %1").arg(request.path));
        response.status = 404;
        return response;
    }
    return handler(request);
}

OrvWebService::Handler OrvWebServicePrivate::prefixHandler(const QString &method, const QString &path) const
{
    OrvWebService::Handler best;
    int bestLength = -1;
    for (auto it = prefixRoutes.cbegin(); it != prefixRoutes.cend(); ++it) {
        const QString &prefix = it.key().second;
        if (it.key().first != method || prefix.size() <= bestLength || !path.startsWith(prefix))
            continue;
        if (path.size() != prefix.size() && !prefix.endsWith(QLatin1Char('/')) && path.at(prefix.size()) != QLatin1Char('/'))
            continue;
        best = it.value();
        bestLength = prefix.size();
    }
    return best;
}

OrvWebService::Response OrvWebServicePrivate::ignoreReminder(const OrvWebService::Request &request)
{
    if (!request.hasFormField(kMacAddressField))
        return OrvWebService::fail(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: macAddress"));
    bool ignored;
    {
        QMutexLocker lock(&mutex);
        ignored = ignoredMacs.contains(normalizedMac(request.formValue(kMacAddressField)));
    }
    // The answer carries its settings as JSON text inside the JSON.
    const QJsonObject settings{{QStringLiteral("UpgradeNoMoreReminders"), ignored ? 1 : 0}};
    const QString jsonText = QString::fromUtf8(QJsonDocument(settings).toJson(QJsonDocument::Compact));
    return OrvWebService::ok(QJsonObject{{QStringLiteral("json_data"), jsonText}});
}

// ---------------------------------------------------------------------------------------------

QString OrvWebService::Request::queryValue(const QString &key) const
{
    return valueOf(query, key);
}

bool OrvWebService::Request::hasFormField(const QString &key) const
{
    for (const auto &field : form) {
        if (field.first == key)
            return true;
    }
    return false;
}

QString OrvWebService::Request::formValue(const QString &key) const
{
    return valueOf(form, key);
}

QList<OrvWebService::Request::FilePart> OrvWebService::Request::filesNamed(const QString &name) const
{
    QList<FilePart> out;
    for (const auto &file : files) {
        if (file.name == name)
            out.append(file);
    }
    return out;
}

QByteArray OrvWebService::Request::header(const QByteArray &name) const
{
    for (const auto &h : headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0)
            return h.second;
    }
    return QByteArray();
}

OrvWebService::OrvWebService()
    : d(std::make_unique<OrvWebServicePrivate>())
{
    addRoute(QStringLiteral("POST"), kIgnoreReminderPath,
             [this](const Request &request) { return d->ignoreReminder(request); });
}

OrvWebService::~OrvWebService()
{
    stop();
}

bool OrvWebService::start(const QString &host, quint16 port)
{
    if (isRunning()) {
        qCWarning(lcOrvWebService) << "already listening on" << baseUrl();
        return false;
    }
    auto server = std::make_unique<httplib::Server>();
    // One request per connection: no idle keep-alive connection holds stop() up.
    server->set_keep_alive_max_count(1);
    server->set_keep_alive_timeout(1);
    server->set_socket_options([](socket_t socket) { SocketTools::setListenOptions(std::uintptr_t(socket)); });
    const httplib::Server::Handler handler = [this](const httplib::Request &in, httplib::Response &out) {
        d->handle(in, out);
    };
    server->Get(".*", handler);
    server->Post(".*", handler);
    server->Put(".*", handler);
    server->Patch(".*", handler);
    server->Delete(".*", handler);
    server->Options(".*", handler);

    const std::string hostName = host.toStdString();
    int bound = port;
    if (port == 0)
        bound = server->bind_to_any_port(hostName);
    else if (!server->bind_to_port(hostName, port))
        bound = -1;
    if (bound <= 0) {
        qCWarning(lcOrvWebService) << "cannot listen on" << host << port;
        return false;
    }

    {
        std::lock_guard<std::mutex> lock(d->sleepMutex);
        d->stopping = false;
    }
    {
        QMutexLocker lock(&d->mutex);
        d->host = host;
        d->port = quint16(bound);
    }
    httplib::Server *raw = server.get();
    auto loopEnded = std::make_shared<std::atomic<bool>>(false);
    d->thread = std::thread([raw, loopEnded] {
        raw->listen_after_bind();
        *loopEnded = true;
    });
    // stop() is ignored by the server until its loop runs; do not hand out a service that cannot stop.
    while (!raw->is_running() && !*loopEnded)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (*loopEnded) {
        d->thread.join();
        qCWarning(lcOrvWebService) << "the server loop on" << host << bound << "ended at once";
        QMutexLocker lock(&d->mutex);
        d->port = 0;
        return false;
    }
    d->server = std::move(server);
    qCInfo(lcOrvWebService) << "listening on" << baseUrl();
    return true;
}

void OrvWebService::stop()
{
    if (!d->server)
        return;
    {
        std::lock_guard<std::mutex> lock(d->sleepMutex);
        d->stopping = true;
    }
    d->sleepWake.notify_all();
    d->server->stop();
    if (d->thread.joinable())
        d->thread.join();
    d->server.reset();
    QMutexLocker lock(&d->mutex);
    d->port = 0;
}

bool OrvWebService::isRunning() const
{
    return d->server != nullptr;
}

quint16 OrvWebService::port() const
{
    QMutexLocker lock(&d->mutex);
    return d->port;
}

QUrl OrvWebService::baseUrl() const
{
    QMutexLocker lock(&d->mutex);
    if (d->port == 0)
        return QUrl();
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    // A wildcard address is reachable on loopback.
    const QHostAddress address(d->host);
    url.setHost(address == QHostAddress::AnyIPv4 || address == QHostAddress::AnyIPv6 ? QStringLiteral("127.0.0.1")
                                                                                       : d->host);
    url.setPort(d->port);
    return url;
}

void OrvWebService::addRoute(const QString &method, const QString &path, Handler handler)
{
    QMutexLocker lock(&d->mutex);
    d->routes.insert({method.toUpper(), path}, std::move(handler));
}

void OrvWebService::addPrefixRoute(const QString &method, const QString &prefix, Handler handler)
{
    QMutexLocker lock(&d->mutex);
    d->prefixRoutes.insert({method.toUpper(), prefix}, std::move(handler));
}

QByteArray OrvWebService::envelope(int errorNo, const QString &msg, const QJsonValue &data)
{
    const QJsonObject obj{{kErrnoKey, errorNo}, {kMsgKey, msg}, {kDataKey, data}};
    return QJsonDocument(obj).toJson(QJsonDocument::Compact);
}

OrvWebService::Response OrvWebService::ok(const QJsonValue &data)
{
    return {200, QByteArrayLiteral("application/json"), envelope(SuccessErrorNo, QString(), data)};
}

OrvWebService::Response OrvWebService::fail(int errorNo, const QString &msg)
{
    return {200, QByteArrayLiteral("application/json"), envelope(errorNo, msg, QJsonValue::Null)};
}

QVector<OrvWebService::Request> OrvWebService::requests() const
{
    QMutexLocker lock(&d->mutex);
    return d->requests;
}

void OrvWebService::clearRequests()
{
    QMutexLocker lock(&d->mutex);
    d->requests.clear();
    d->recordedBytes = 0;
}

void OrvWebService::setFault(const QString &path, Fault fault, int delayMs)
{
    QMutexLocker lock(&d->mutex);
    d->faults.insert(path, {fault, qMax(0, delayMs)});
}

void OrvWebService::clearFault(const QString &path)
{
    QMutexLocker lock(&d->mutex);
    d->faults.remove(path);
}

void OrvWebService::clearFaults()
{
    QMutexLocker lock(&d->mutex);
    d->faults.clear();
}

void OrvWebService::setIgnoreReminder(const QString &macAddress, bool ignore)
{
    QMutexLocker lock(&d->mutex);
    if (ignore)
        d->ignoredMacs.insert(normalizedMac(macAddress));
    else
        d->ignoredMacs.remove(normalizedMac(macAddress));
}

bool OrvWebService::waitUnlessStopping(int ms)
{
    return d->sleepFor(ms);
}
