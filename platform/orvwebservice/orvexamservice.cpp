// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvexamservice.h"
#include "orvwebservice_logging.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QUrl>
#include <QUuid>

static void initExamServicePages()
{
    Q_INIT_RESOURCE(orvexamservice);
}

namespace {

const QString kGet = QStringLiteral("GET");
const QString kPost = QStringLiteral("POST");
const QString kFilesPrefix = QStringLiteral("/exam/files/");
const QString kObjectsPrefix = QStringLiteral("/cos/");
const QString kShortPrefix = QStringLiteral("/s/");
constexpr int kMaxRequests = 10000;
constexpr int kMaxShortUrls = 10000;

// The address the client used to reach the service, for links that lead back to it.
QString baseOf(const OrvWebService::Request &request)
{
    const QByteArray host = request.header("Host");
    return host.isEmpty() ? QStringLiteral("http://127.0.0.1") : QStringLiteral("http://") + QString::fromLatin1(host);
}

QString field(const OrvWebService::Request &request, const QString &key)
{
    return request.hasFormField(key) ? request.formValue(key) : request.queryValue(key);
}

// A suffix safe in a stored name: letters and digits only.
QString safeSuffix(const QString &fileName)
{
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    const QString suffix = dot < 0 ? QString() : fileName.mid(dot + 1).toLower();
    static const QRegularExpression plain(QStringLiteral("^[a-z0-9]{1,8}$"));
    return plain.match(suffix).hasMatch() ? suffix : QStringLiteral("bin");
}

// The picture format of bytes ("jpeg", "png", ...), empty when they are no picture.
QByteArray pictureFormat(const QByteArray &bytes, QSize *shownSize = nullptr)
{
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead())
        return QByteArray();
    QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        return QByteArray();
    if (reader.transformation() & QImageIOHandler::TransformationRotate90)
        size.transpose();
    if (shownSize)
        *shownSize = size;
    return reader.format();
}

// Pictures keep their type so pages can show them; anything else is plain bytes.
QByteArray contentTypeOf(const QByteArray &bytes)
{
    const QByteArray format = pictureFormat(bytes);
    static const QHash<QByteArray, QByteArray> types{{"jpeg", "image/jpeg"}, {"png", "image/png"},
                                                     {"bmp", "image/bmp"},   {"gif", "image/gif"},
                                                     {"webp", "image/webp"}};
    return types.value(format, QByteArrayLiteral("application/octet-stream"));
}

QString suffixOfFormat(const QByteArray &format)
{
    return format == "jpeg" ? QStringLiteral("jpg") : QString::fromLatin1(format);
}

bool validPrefix(const QString &prefix)
{
    static const QRegularExpression segment(QStringLiteral("^[A-Za-z0-9_.-]{1,64}$"));
    if (prefix.isEmpty() || prefix.size() > 256)
        return false;
    const QStringList parts = prefix.split(QLatin1Char('/'));
    for (const QString &part : parts) {
        if (part == QLatin1String(".") || part == QLatin1String("..") || !segment.match(part).hasMatch())
            return false;
    }
    return true;
}

bool wantsJson(const OrvWebService::Request &request)
{
    return request.header("Accept").contains("application/json");
}

OrvWebService::Response htmlPage(int status, const QString &title, const QString &text)
{
    const QString html = QStringLiteral("<!DOCTYPE html><html><head><meta charset=\"utf-8\">"
                                        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
                                        "<title>%1</title></head><body style=\"font-family:sans-serif;padding:24px\">"
                                        "<h1 style=\"font-size:20px\">%1</h1><p>%2</p></body></html>")
                             .arg(title.toHtmlEscaped(), text.toHtmlEscaped());
    return {status, QByteArrayLiteral("text/html; charset=utf-8"), html.toUtf8()};
}

QString shortCode()
{
    static const char alphabet[] = "ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz23456789";
    QString code;
    for (int i = 0; i < 7; ++i)
        code.append(QLatin1Char(alphabet[QRandomGenerator::global()->bounded(int(sizeof(alphabet) - 1))]));
    return code;
}

} // namespace

OrvExamService::OrvExamService()
    : m_tokenKinds{QStringLiteral("exam"), QStringLiteral("homework")}
{
    initExamServicePages();
}

void OrvExamService::install(OrvWebService &service)
{
    m_service = &service;
    service.addRoute(kPost, QLatin1String(ExamFilePath), [this](const OrvWebService::Request &r) { return uploadExamFile(r); });
    service.addRoute(kPost, QLatin1String(CosUploadPath), [this](const OrvWebService::Request &r) { return uploadObject(r); });
    service.addPrefixRoute(kGet, kFilesPrefix, [this](const OrvWebService::Request &r) { return serveFile(r); });
    service.addPrefixRoute(kGet, kObjectsPrefix, [this](const OrvWebService::Request &r) { return serveFile(r); });
    service.addRoute(kGet, QLatin1String(QRCodePath), [this](const OrvWebService::Request &r) { return getQRCode(r); });
    service.addRoute(kGet, QLatin1String(ShortUrlPath), [this](const OrvWebService::Request &r) { return shortUrl(r); });
    service.addPrefixRoute(kGet, kShortPrefix, [this](const OrvWebService::Request &r) { return followShortUrl(r); });
    service.addRoute(kGet, QLatin1String(PhonePagePath), [this](const OrvWebService::Request &r) { return phonePage(r); });
    service.addRoute(kPost, QLatin1String(PhonePagePath), [this](const OrvWebService::Request &r) { return phoneUpload(r); });
}

void OrvExamService::setPushHandler(PushHandler handler)
{
    QMutexLocker lock(&m_mutex);
    m_pushHandler = std::move(handler);
}

void OrvExamService::setMisbehave(const QString &path, Misbehave misbehave)
{
    QMutexLocker lock(&m_mutex);
    m_misbehave.insert(path, misbehave);
}

void OrvExamService::setPushMisbehave(PushMisbehave misbehave)
{
    QMutexLocker lock(&m_mutex);
    m_pushMisbehave = misbehave;
}

void OrvExamService::setTokenKinds(const QStringList &kinds)
{
    QMutexLocker lock(&m_mutex);
    m_tokenKinds = kinds;
}

QStringList OrvExamService::tokenKinds() const
{
    QMutexLocker lock(&m_mutex);
    return m_tokenKinds;
}

void OrvExamService::setUploadDelay(int ms)
{
    QMutexLocker lock(&m_mutex);
    m_uploadDelay = qMax(0, ms);
}

QVector<OrvExamService::StoredFile> OrvExamService::storedFiles() const
{
    QMutexLocker lock(&m_mutex);
    return m_files;
}

QByteArray OrvExamService::storedBytes(const QString &addressOrKey) const
{
    QString key = addressOrKey;
    const QUrl url(addressOrKey);
    if (url.isValid() && !url.scheme().isEmpty())
        key = url.path();
    if (key.startsWith(QLatin1Char('/')))
        key.remove(0, 1);
    if (key.startsWith(QLatin1String("cos/")))
        key.remove(0, 4);
    QMutexLocker lock(&m_mutex);
    for (const StoredFile &file : m_files) {
        if (file.key == key)
            return file.bytes;
    }
    return QByteArray();
}

int OrvExamService::maxConcurrentUploads() const
{
    QMutexLocker lock(&m_mutex);
    return m_maxActiveUploads;
}

void OrvExamService::resetStats()
{
    QMutexLocker lock(&m_mutex);
    m_maxActiveUploads = m_activeUploads;
}

QHash<QString, int> OrvExamService::qrRequests() const
{
    QMutexLocker lock(&m_mutex);
    return m_requests;
}

QStringList OrvExamService::pushes() const
{
    QMutexLocker lock(&m_mutex);
    return m_pushes;
}

OrvExamService::Misbehave OrvExamService::misbehaveOf(const char *path) const
{
    QMutexLocker lock(&m_mutex);
    return m_misbehave.value(QLatin1String(path), Misbehave::None);
}

QString OrvExamService::store(StoredFile file)
{
    QMutexLocker lock(&m_mutex);
    m_storedBytes += file.bytes.size();
    m_files.append(std::move(file));
    // Bounded: a client uploading for hours must not make the service grow with it.
    int drop = 0;
    while (m_files.size() - drop > 1 && m_storedBytes > MaxStoredBytes)
        m_storedBytes -= m_files.at(drop++).bytes.size();
    m_files.remove(0, drop);
    return m_files.constLast().address;
}

void OrvExamService::beginUpload()
{
    int delay;
    {
        QMutexLocker lock(&m_mutex);
        ++m_activeUploads;
        m_maxActiveUploads = qMax(m_maxActiveUploads, m_activeUploads);
        delay = m_uploadDelay;
    }
    if (delay > 0 && m_service)
        m_service->waitUnlessStopping(delay);
}

void OrvExamService::endUpload()
{
    QMutexLocker lock(&m_mutex);
    --m_activeUploads;
}

OrvWebService::Response OrvExamService::uploadExamFile(const OrvWebService::Request &request)
{
    beginUpload();
    struct End {
        OrvExamService *s;
        ~End() { s->endUpload(); }
    } end{this};

    const QList<OrvWebService::Request::FilePart> parts = request.filesNamed(QStringLiteral("file"));
    if (parts.isEmpty())
        return OrvWebService::fail(BadFileErrorNo, QStringLiteral("no file"));
    const auto &part = parts.first();
    if (part.content.isEmpty())
        return OrvWebService::fail(BadFileErrorNo, QStringLiteral("the file is empty"));
    if (part.content.size() > MaxFileBytes)
        return OrvWebService::fail(BadFileErrorNo, QStringLiteral("the file is larger than %1 bytes").arg(MaxFileBytes));

    switch (misbehaveOf(ExamFilePath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("uploads are closed for this exam"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("fileName"), part.fileName}});
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("imageUrl"), 42}, {QStringLiteral("fileSize"), QStringLiteral("big")}});
    case Misbehave::None:
        break;
    }

    const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces) + QLatin1Char('.') + safeSuffix(part.fileName);
    StoredFile file;
    file.key = QStringLiteral("exam/files/") + name;
    file.address = baseOf(request) + kFilesPrefix + name;
    file.fileName = part.fileName;
    file.bytes = part.content;
    file.taskId = field(request, QStringLiteral("taskId"));
    const QString address = store(file);
    qCInfo(lcOrvWebService) << "exam file" << part.fileName << part.content.size() << "bytes stored as" << name;
    return OrvWebService::ok(QJsonObject{{QStringLiteral("imageUrl"), address},
                                         {QStringLiteral("fileName"), part.fileName},
                                         {QStringLiteral("fileSize"), double(part.content.size())}});
}

OrvWebService::Response OrvExamService::uploadObject(const OrvWebService::Request &request)
{
    beginUpload();
    struct End {
        OrvExamService *s;
        ~End() { s->endUpload(); }
    } end{this};

    const QString prefix = field(request, QStringLiteral("prefix"));
    const QString kind = field(request, QStringLiteral("tokenKind"));
    if (!validPrefix(prefix))
        return OrvWebService::fail(BadFieldErrorNo, QStringLiteral("bad prefix"));
    if (!tokenKinds().contains(kind))
        return OrvWebService::fail(BadFieldErrorNo, QStringLiteral("no upload token of kind \"%1\"").arg(kind.left(40)));
    const QList<OrvWebService::Request::FilePart> parts = request.filesNamed(QStringLiteral("file"));
    if (parts.isEmpty() || parts.first().content.isEmpty())
        return OrvWebService::fail(BadFileErrorNo, QStringLiteral("no file, or an empty one"));
    const auto &part = parts.first();
    if (part.content.size() > MaxFileBytes)
        return OrvWebService::fail(BadFileErrorNo, QStringLiteral("the file is larger than %1 bytes").arg(MaxFileBytes));

    switch (misbehaveOf(CosUploadPath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("the upload token has expired"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("isCosPath"), true}});
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("imageUrl"), QJsonArray{1, 2}}, {QStringLiteral("isCosPath"), true}});
    case Misbehave::None:
        break;
    }

    StoredFile file;
    file.key = prefix + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::WithoutBraces) + QLatin1Char('.')
        + safeSuffix(part.fileName);
    file.address = baseOf(request) + kObjectsPrefix + file.key;
    file.fileName = part.fileName;
    file.bytes = part.content;
    file.prefix = prefix;
    file.tokenKind = kind;
    const QString key = file.key;
    store(file);
    qCInfo(lcOrvWebService) << "object" << key << part.content.size() << "bytes";
    return OrvWebService::ok(QJsonObject{{QStringLiteral("imageUrl"), key},
                                         {QStringLiteral("isCosPath"), true},
                                         {QStringLiteral("fileSize"), double(part.content.size())}});
}

OrvWebService::Response OrvExamService::serveFile(const OrvWebService::Request &request) const
{
    QString key = request.path.mid(1);
    if (request.path.startsWith(kObjectsPrefix))
        key = request.path.mid(kObjectsPrefix.size());
    StoredFile found;
    {
        QMutexLocker lock(&m_mutex);
        for (const StoredFile &file : m_files) {
            if (file.key == key) {
                found = file;
                break;
            }
        }
    }
    if (found.key.isEmpty())
        return {404, "text/plain", "no such file"};
    // A user's file is never a page of the service; pictures keep their type so pages show them.
    const QString name = key.mid(key.lastIndexOf(QLatin1Char('/')) + 1);
    return {200,
            contentTypeOf(found.bytes),
            found.bytes,
            {{"Content-Disposition", "attachment; filename=\"" + name.toLatin1() + "\""},
             {"X-Content-Type-Options", "nosniff"},
             {"Content-Security-Policy", "sandbox"}}};
}

OrvWebService::Response OrvExamService::getQRCode(const OrvWebService::Request &request)
{
    bool tagOk = false;
    const int tag = request.queryValue(QStringLiteral("tag")).toInt(&tagOk);
    if (!tagOk || !(tag == 1 || tag == 3 || tag == 4 || tag == 5))
        return OrvWebService::fail(BadFieldErrorNo, QStringLiteral("unknown tag"));
    const QJsonDocument params = QJsonDocument::fromJson(request.queryValue(QStringLiteral("params")).toUtf8());
    const QString id = params.object().value(QStringLiteral("requestUUid")).toString();
    if (id.isEmpty() || id.size() > 128)
        return OrvWebService::fail(BadFieldErrorNo, QStringLiteral("params need a requestUUid"));

    const QString pageUrl = baseOf(request) + QLatin1String(PhonePagePath) + QStringLiteral("?requestUUid=")
        + QString::fromLatin1(QUrl::toPercentEncoding(id)) + QStringLiteral("&tag=") + QString::number(tag);
    {
        QMutexLocker lock(&m_mutex);
        if (m_requests.size() >= kMaxRequests)
            m_requests.clear();
        m_requests.insert(id, tag);
    }
    switch (misbehaveOf(QRCodePath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("uploading from a phone is switched off"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("tag"), tag}});
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("tag"), tag}, {QStringLiteral("pageUrl"), 7}});
    case Misbehave::None:
        break;
    }
    return OrvWebService::ok(QJsonObject{{QStringLiteral("tag"), tag}, {QStringLiteral("pageUrl"), pageUrl}});
}

OrvWebService::Response OrvExamService::shortUrl(const OrvWebService::Request &request)
{
    const QString longUrl = request.queryValue(QStringLiteral("longUrl"));
    const QUrl url(longUrl, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))
        || url.host().isEmpty() || longUrl.size() > 4096)
        return OrvWebService::fail(BadFieldErrorNo, QStringLiteral("longUrl must be an http(s) address"));
    QString code;
    {
        QMutexLocker lock(&m_mutex);
        code = m_shortCodes.value(longUrl);
        if (code.isEmpty()) {
            if (m_shortUrls.size() >= kMaxShortUrls) {
                m_shortUrls.clear();
                m_shortCodes.clear();
            }
            do {
                code = shortCode();
            } while (m_shortUrls.contains(code));
            m_shortUrls.insert(code, longUrl);
            m_shortCodes.insert(longUrl, code);
        }
    }
    switch (misbehaveOf(ShortUrlPath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("short addresses are not available"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject());
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("surl"), QJsonValue(true)}});
    case Misbehave::None:
        break;
    }
    return OrvWebService::ok(QJsonObject{{QStringLiteral("surl"), kShortPrefix + code}});
}

OrvWebService::Response OrvExamService::followShortUrl(const OrvWebService::Request &request) const
{
    const QString code = request.path.mid(kShortPrefix.size());
    QString target;
    {
        QMutexLocker lock(&m_mutex);
        target = m_shortUrls.value(code);
    }
    if (target.isEmpty())
        return {404, "text/plain", "no such address"};
    return {302, "text/plain", QByteArray(), {{"Location", QUrl(target).toEncoded()}}};
}

OrvWebService::Response OrvExamService::phonePage(const OrvWebService::Request &request) const
{
    const QString id = request.queryValue(QStringLiteral("requestUUid"));
    int tag = 0;
    {
        QMutexLocker lock(&m_mutex);
        tag = m_requests.value(id, 0);
    }
    if (tag == 0)
        return htmlPage(404, QStringLiteral("This code has expired"), QStringLiteral("Ask your computer for a new QR code."));
    QFile file(QStringLiteral(":/orvwebservice/pages/phoneupload.html"));
    if (!file.open(QIODevice::ReadOnly))
        return {500, "text/plain", "the page is missing"};
    const bool several = tag == 3 || tag == 4;
    QString html = QString::fromUtf8(file.readAll());
    html.replace(QStringLiteral("{{requestUUid}}"), id.toHtmlEscaped());
    html.replace(QStringLiteral("{{tag}}"), QString::number(tag));
    html.replace(QStringLiteral("{{multiple}}"), several ? QStringLiteral("multiple") : QString());
    html.replace(QStringLiteral("{{hint}}"), several ? QStringLiteral("Pick up to %1 photos and send them.").arg(MaxPhotosPerPush)
                                                     : QStringLiteral("Pick one photo and send it."));
    return {200, "text/html; charset=utf-8", html.toUtf8(), {{"Cache-Control", "no-store"}}};
}

OrvWebService::Response OrvExamService::phoneUpload(const OrvWebService::Request &request)
{
    const QString id = field(request, QStringLiteral("requestUUid"));
    int tag = 0;
    {
        QMutexLocker lock(&m_mutex);
        tag = m_requests.value(id, 0);
    }
    const bool json = wantsJson(request);
    if (tag == 0) {
        if (json)
            return OrvWebService::fail(NoRequestErrorNo, QStringLiteral("no such request"));
        return htmlPage(404, QStringLiteral("This code has expired"), QStringLiteral("Ask your computer for a new QR code."));
    }
    QList<QByteArray> photos;
    for (const auto &part : request.filesNamed(QStringLiteral("photo")))
        photos.append(part.content);
    int accepted = 0;
    QString why;
    if (!pushPhotos(id, tag, photos, baseOf(request), &accepted, &why)) {
        if (json)
            return OrvWebService::fail(BadFileErrorNo, why);
        return htmlPage(400, QStringLiteral("Not sent"), why);
    }
    if (json)
        return OrvWebService::ok(QJsonObject{{QStringLiteral("accepted"), accepted}});
    return htmlPage(200, QStringLiteral("Sent"), QStringLiteral("%1 photo(s) sent to your computer.").arg(accepted));
}

bool OrvExamService::sendPhotos(const QString &requestId, const QList<QByteArray> &photos, const QString &baseAddress)
{
    int tag = 0;
    {
        QMutexLocker lock(&m_mutex);
        tag = m_requests.value(requestId, 0);
    }
    int accepted = 0;
    QString why;
    return tag != 0 && pushPhotos(requestId, tag, photos, baseAddress, &accepted, &why);
}

bool OrvExamService::pushPhotos(const QString &requestId, int tag, const QList<QByteArray> &photos, const QString &base,
                                int *accepted, QString *why)
{
    const int limit = (tag == 3 || tag == 4) ? MaxPhotosPerPush : 1;
    QJsonArray data;
    for (const QByteArray &photo : photos) {
        if (data.size() >= limit)
            break;
        QSize size;
        const QByteArray format = photo.size() <= MaxPhotoBytes ? pictureFormat(photo, &size) : QByteArray();
        if (format.isEmpty()) {
            qCInfo(lcOrvWebService) << "phone upload: skipped a file of" << photo.size() << "bytes that is no picture or too large";
            continue;
        }
        if (tag == 1) {
            data.append(QString::fromLatin1(photo.toBase64()));
            continue;
        }
        StoredFile file;
        const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces) + QLatin1Char('.') + suffixOfFormat(format);
        file.key = QStringLiteral("exam/files/") + name;
        file.address = base + kFilesPrefix + name;
        file.fileName = name;
        file.bytes = photo;
        data.append(QJsonObject{{QStringLiteral("url"), store(file)},
                                {QStringLiteral("width"), QString::number(size.width())},
                                {QStringLiteral("height"), QString::number(size.height())}});
    }
    if (data.isEmpty()) {
        *why = photos.isEmpty() ? QStringLiteral("no photo was sent") : QStringLiteral("none of the files is a picture");
        return false;
    }
    *accepted = data.size();

    PushMisbehave misbehave;
    PushHandler handler;
    {
        QMutexLocker lock(&m_mutex);
        misbehave = m_pushMisbehave;
        handler = m_pushHandler;
    }
    QJsonObject push{{QStringLiteral("requestUUid"), requestId}, {QStringLiteral("tag"), tag}, {QStringLiteral("data"), data}};
    QString text;
    switch (misbehave) {
    case PushMisbehave::NoPush:
        return true;
    case PushMisbehave::NotJson:
        text = QStringLiteral("{\"requestUUid\": \"%1\", \"tag\": ").arg(requestId);
        break;
    case PushMisbehave::BrokenPayload:
        push.insert(QStringLiteral("data"), tag == 1 ? QJsonArray{QStringLiteral("bm90IGEgcGljdHVyZQ==")}
                                                     : QJsonArray{QJsonObject{{QStringLiteral("width"), 10}}});
        break;
    case PushMisbehave::OtherRequestId:
        push.insert(QStringLiteral("requestUUid"), QUuid::createUuid().toString(QUuid::WithoutBraces));
        break;
    case PushMisbehave::UnknownTag:
        push.insert(QStringLiteral("tag"), 2);
        break;
    case PushMisbehave::None:
        break;
    }
    if (text.isEmpty())
        text = QString::fromUtf8(QJsonDocument(push).toJson(QJsonDocument::Compact));
    {
        QMutexLocker lock(&m_mutex);
        m_pushes.append(text);
        if (m_pushes.size() > 1000)
            m_pushes.removeFirst();
    }
    qCInfo(lcOrvWebService) << "pushing" << *accepted << "photo(s) for request" << requestId << "tag" << tag;
    if (handler)
        handler(text);
    else
        qCInfo(lcOrvWebService) << "no push handler: the photos reach no client";
    return true;
}
