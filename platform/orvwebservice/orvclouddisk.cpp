// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvclouddisk.h"
#include "orvwebservice_logging.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

static void initCloudDiskPages()
{
    Q_INIT_RESOURCE(orvclouddisk);
}

namespace {

const QString kGet = QStringLiteral("GET");
const QString kPost = QStringLiteral("POST");

QByteArray pattern(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 x = seed * 2654435761u + 7;
    for (int i = 0; i < size; ++i) {
        x = x * 1664525u + 1013904223u;
        bytes[i] = char(x >> 24);
    }
    return bytes;
}

QByteArray svgPicture(const QString &title, const QString &colour)
{
    return QStringLiteral("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"640\" height=\"400\">"
                          "<rect width=\"640\" height=\"400\" fill=\"%1\"/>"
                          "<circle cx=\"160\" cy=\"200\" r=\"90\" fill=\"#ffffff\" opacity=\"0.6\"/>"
                          "<text x=\"290\" y=\"215\" font-family=\"sans-serif\" font-size=\"36\" fill=\"#ffffff\">%2</text>"
                          "</svg>")
        .arg(colour, title.toHtmlEscaped())
        .toUtf8();
}

void putLe(QByteArray &out, quint32 value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.append(char((value >> (8 * i)) & 0xff));
}

// A 24-bit bitmap with a diagonal gradient.
QByteArray bmpPicture(int width, int height)
{
    const int rowBytes = (width * 3 + 3) & ~3;
    const quint32 pixelBytes = quint32(rowBytes * height);
    QByteArray out("BM");
    putLe(out, 54 + pixelBytes, 4);
    putLe(out, 0, 4);
    putLe(out, 54, 4);
    putLe(out, 40, 4);
    putLe(out, quint32(width), 4);
    putLe(out, quint32(height), 4);
    putLe(out, 1, 2);
    putLe(out, 24, 2);
    putLe(out, 0, 4);
    putLe(out, pixelBytes, 4);
    putLe(out, 2835, 4);
    putLe(out, 2835, 4);
    putLe(out, 0, 4);
    putLe(out, 0, 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            out.append(char(255 * x / width));        // blue
            out.append(char(255 * y / height));       // green
            out.append(char(255 - 255 * x / width));  // red
        }
        out.append(QByteArray(rowBytes - width * 3, '\0'));
    }
    return out;
}

QByteArray contentTypeFor(const QString &name)
{
    const QString lower = name.toLower();
    if (lower.endsWith(QLatin1String(".svg")))
        return "image/svg+xml";
    if (lower.endsWith(QLatin1String(".bmp")))
        return "image/bmp";
    if (lower.endsWith(QLatin1String(".pdf")))
        return "application/pdf";
    if (lower.endsWith(QLatin1String(".txt")))
        return "text/plain; charset=utf-8";
    return "application/octet-stream";
}

QList<quint64> parseIds(const QString &text)
{
    QList<quint64> ids;
    const QStringList parts = text.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        bool ok = false;
        const quint64 id = part.trimmed().toULongLong(&ok);
        if (!ok)
            return {};
        ids << id;
    }
    return ids;
}

// A field from the form of a POST, or the query of a GET.
QString field(const OrvWebService::Request &request, const QString &key)
{
    return request.hasFormField(key) ? request.formValue(key) : request.queryValue(key);
}

bool hasField(const OrvWebService::Request &request, const QString &key)
{
    if (request.hasFormField(key))
        return true;
    for (const auto &item : request.query) {
        if (item.first == key)
            return true;
    }
    return false;
}

QJsonObject formObject(const OrvWebService::Request &request)
{
    QJsonObject object;
    for (const auto &item : request.form)
        object.insert(item.first, item.second);
    for (const auto &item : request.query)
        object.insert(item.first, item.second);
    return object;
}

// The organisation paths answer in the older form as well, with "error_info".
OrvWebService::Response withErrorInfo(int errorNo, const QString &message, const QJsonValue &data)
{
    QJsonObject body{{QStringLiteral("errno"), errorNo},
                     {QStringLiteral("msg"), message},
                     {QStringLiteral("data"), data},
                     {QStringLiteral("error_info"),
                      QJsonObject{{QStringLiteral("errno"), errorNo}, {QStringLiteral("error"), message}}}};
    return {200, "application/json", QJsonDocument(body).toJson(QJsonDocument::Compact)};
}

OrvWebService::Response missing(const QString &key)
{
    return OrvWebService::fail(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: %1").arg(key));
}

struct PageRoute
{
    const char *prefix;
    const char *resource;
};

// The addresses the client opens, and the reference page that stands for each.
const PageRoute kPages[] = {
    {"/client/cloud/cs/im", "cloud.html"},
    {"/client/cloud/cs/room", "cloud.html"},
    {"/client/cloud/launcher/login", "login.html"},
    {"/client/cloud/file/im", "filepicker.html"},
    {"/client/clouddisk/selectfile_im.html", "filepicker.html"},
    {"/client/cloud/folder/im", "folderpicker.html"},
    {"/client/clouddisk/selectfolder_im.html", "folderpicker.html"},
    {"/client/lmsbleach/exam-pc", "examsave.html"},
    {"/client/exam", "task.html"},
    {"/client/homework", "task.html"},
    {"/client/exam/answer", "exam.html"},
    {"/client/homework/answer", "exam.html"},
    {"/client/cloud/cplatform", "other.html"},
    {"/client/cloud/qbank", "other.html"},
    {"/client/static", ""},
};

} // namespace

OrvCloudDisk::OrvCloudDisk(quint64 userId)
    : m_userId(userId)
{
    initCloudDiskPages();
    const auto own = [this](quint64 id, const QString &name, int type, QByteArray bytes, quint64 folder = 0) {
        File f;
        f.userFileId = id;
        f.userFileName = name;
        f.fileType = type;
        f.fileSource = OwnFile;
        f.ownerUid = m_userId;
        f.folderId = folder;
        f.fileId = id + 100000;
        f.bytes = std::move(bytes);
        return f;
    };
    m_files << own(1001, QStringLiteral("Fractions - lesson 1.pptx"), 3, pattern(180 * 1024, 1001))
            << own(1002, QStringLiteral("Worksheet.pdf"), 3, pattern(64 * 1024, 1002))
            << own(1003, QStringLiteral("Blackboard.svg"), 4, svgPicture(QStringLiteral("Blackboard"), QStringLiteral("#2e7d32")))
            << own(1004, QStringLiteral("Class photo.bmp"), 4, bmpPicture(320, 200))
            // A name a careless server could send: it must never leave the chosen folder.
            << own(1005, QStringLiteral("../../escape.txt"), 3, QByteArray("should stay inside the folder\n"))
            << own(1006, QStringLiteral("Worksheet.pdf"), 3, pattern(32 * 1024, 1006), 501)
            << own(1010, QStringLiteral("Week 1 slides.pptx"), 3, pattern(96 * 1024, 1010), 501);

    File exam = own(1007, QStringLiteral("Unit test - fractions"), 1, QByteArray());
    exam.fileId = 7001;
    exam.url = QStringLiteral("/client/exam/paper?id=7001");
    exam.windowSize = QStringLiteral("900*700");
    File homework = own(1008, QStringLiteral("Homework - week 1"), 2, QByteArray());
    homework.fileId = 8001;
    homework.url = QStringLiteral("/client/homework/task?id=8001");
    File edoc = own(1009, QStringLiteral("Revision notes"), 3, QByteArray("online document\n"));
    edoc.alias = QStringLiteral("edoc");
    m_files << exam << homework << edoc;

    const auto shared = [](quint64 id, const QString &name, int type, QByteArray bytes) {
        File f;
        f.userFileId = id;
        f.userFileName = name;
        f.fileType = type;
        f.fileSource = SharedFile;
        f.ownerUid = SharingUserId;
        f.shareUid = SharingUserId;
        f.referenceType = 1;
        f.referenceId = id + 7000;
        f.fileId = id + 100000;
        f.bytes = std::move(bytes);
        return f;
    };
    m_files << shared(2001, QStringLiteral("Reading list.docx"), 3, pattern(24 * 1024, 2001))
            << shared(2002, QStringLiteral("Map of Europe.svg"), 4, svgPicture(QStringLiteral("Europe"), QStringLiteral("#1565c0")));

    const auto school = [](quint64 id, const QString &name, int type, QByteArray bytes) {
        File f;
        f.userFileId = id;
        f.userFileName = name;
        f.fileType = type;
        f.fileSource = OrganizationFile;
        f.ownerUid = SchoolId;
        f.sid = SchoolId;
        f.orgDiskId = 40001;
        f.fileId = id + 100000;
        f.bytes = std::move(bytes);
        return f;
    };
    m_files << school(3001, QStringLiteral("School timetable.xlsx"), 3, pattern(40 * 1024, 3001))
            << school(3002, QStringLiteral("Campus map.svg"), 4, svgPicture(QStringLiteral("Campus"), QStringLiteral("#6a1b9a")))
            << school(3003, QStringLiteral("Safety rules.pdf"), 3, pattern(12 * 1024, 3003));
}

void OrvCloudDisk::install(OrvWebService &service)
{
    service.addRoute(kGet, QStringLiteral("/cloudspace/api/user/files"),
                     [this](const OrvWebService::Request &r) { return listFiles(r); });
    service.addRoute(kGet, QStringLiteral("/cloudspace/api/user/file/source"),
                     [this](const OrvWebService::Request &r) { return sourceFile(r, false); });
    service.addRoute(kGet, QStringLiteral("/cloudspace/api/user/share/file/source"),
                     [this](const OrvWebService::Request &r) { return sourceFile(r, true); });
    for (const QString &method : {kGet, kPost}) {
        service.addRoute(method, QStringLiteral("/cloudspace/api/user/batch/download"),
                         [this](const OrvWebService::Request &r) { return batchDownload(r, false); });
    }
    service.addRoute(kPost, QStringLiteral("/cloudspace/api/organization/download"),
                     [this](const OrvWebService::Request &r) { return batchDownload(r, true); });
    service.addRoute(kPost, QStringLiteral("/cloudspace/api/organization/image/preview"),
                     [this](const OrvWebService::Request &r) { return imagePreview(r); });
    service.addRoute(kPost, QStringLiteral("/cloudspace/api/user/saveSharedFile"),
                     [this](const OrvWebService::Request &r) { return saveSharedFile(r); });
    service.addRoute(kPost, QStringLiteral("/api/user/addRecentOpen"),
                     [this](const OrvWebService::Request &r) { return addRecentOpen(r); });
    service.addRoute(kPost, QStringLiteral("/cloudspace/api/exam/paper/export"),
                     [this](const OrvWebService::Request &r) { return exportPaper(r); });
    service.addRoute(kGet, QStringLiteral("/download/file"),
                     [this](const OrvWebService::Request &r) { return download(r); });
    m_transDetail.install(service);
    for (const PageRoute &route : kPages)
        service.addPrefixRoute(kGet, QString::fromLatin1(route.prefix), &OrvCloudDisk::page);
}

QVector<OrvCloudDisk::File> OrvCloudDisk::files() const
{
    QMutexLocker lock(&m_mutex);
    return m_files;
}

OrvCloudDisk::File OrvCloudDisk::file(quint64 userFileId) const
{
    QMutexLocker lock(&m_mutex);
    for (const File &f : m_files) {
        if (f.userFileId == userFileId)
            return f;
    }
    return File();
}

void OrvCloudDisk::addFile(const File &file)
{
    QMutexLocker lock(&m_mutex);
    m_files.append(file);
}

QJsonObject OrvCloudDisk::entry(const File &f)
{
    QJsonObject o{
        {QStringLiteral("userFileId"), double(f.userFileId)},
        {QStringLiteral("userFileName"), f.userFileName},
        {QStringLiteral("fileType"), f.fileType},
        {QStringLiteral("fileSource"), f.fileSource},
        {QStringLiteral("folderId"), double(f.folderId)},
        {QStringLiteral("ownerUid"), double(f.ownerUid)},
        {QStringLiteral("fileId"), double(f.fileId)},
        {QStringLiteral("fileSize"), double(f.bytes.size())},
        {QStringLiteral("isShare"), f.fileSource == SharedFile},
    };
    if (f.fileSource == OrganizationFile) {
        o.insert(QStringLiteral("sid"), double(f.sid));
        o.insert(QStringLiteral("orgDiskId"), double(f.orgDiskId));
    }
    if (f.fileSource == SharedFile) {
        o.insert(QStringLiteral("shareUid"), double(f.shareUid));
        o.insert(QStringLiteral("shareId"), double(f.referenceId));
        o.insert(QStringLiteral("referenceType"), f.referenceType);
        o.insert(QStringLiteral("referenceId"), double(f.referenceId));
    }
    if (!f.alias.isEmpty())
        o.insert(QStringLiteral("alias"), f.alias);
    if (!f.url.isEmpty())
        o.insert(QStringLiteral("url"), f.url);
    if (!f.windowSize.isEmpty())
        o.insert(QStringLiteral("size"), f.windowSize);
    return o;
}

QString OrvCloudDisk::downloadPath(const File &file)
{
    return QStringLiteral("download/file?id=%1&n=%2")
        .arg(file.userFileId)
        .arg(QString::fromLatin1(QUrl::toPercentEncoding(file.userFileName)));
}

QVector<QJsonObject> OrvCloudDisk::savedSharedFiles() const
{
    QMutexLocker lock(&m_mutex);
    return m_savedShared;
}

QVector<QJsonObject> OrvCloudDisk::recentOpens() const
{
    QMutexLocker lock(&m_mutex);
    return m_recentOpens;
}

OrvWebService::Response OrvCloudDisk::listFiles(const OrvWebService::Request &request) const
{
    const int source = request.queryValue(QStringLiteral("source")).toInt();
    const QString folderText = request.queryValue(QStringLiteral("folderId"));
    const quint64 folder = folderText.toULongLong();
    QJsonArray list;
    QMutexLocker lock(&m_mutex);
    for (const File &f : m_files) {
        if (f.fileSource != source)
            continue;
        if (!folderText.isEmpty() && f.folderId != folder)
            continue;
        list.append(entry(f));
    }
    return OrvWebService::ok(list);
}

OrvWebService::Response OrvCloudDisk::sourceFile(const OrvWebService::Request &request, bool shared) const
{
    if (!hasField(request, QStringLiteral("userFileId")))
        return missing(QStringLiteral("userFileId"));
    bool ok = false;
    const quint64 id = field(request, QStringLiteral("userFileId")).toULongLong(&ok);
    const File f = file(ok ? id : 0);
    if (f.userFileId == 0 || (shared != (f.fileSource == SharedFile)))
        return OrvWebService::fail(NoSuchFileErrorNo, QStringLiteral("no such file: %1").arg(field(request, QStringLiteral("userFileId"))));
    if (shared) {
        if (!hasField(request, QStringLiteral("shareUid")))
            return missing(QStringLiteral("shareUid"));
        if (field(request, QStringLiteral("shareUid")).toULongLong() != f.shareUid)
            return OrvWebService::fail(NoSuchFileErrorNo, QStringLiteral("not shared by that user"));
    }
    return OrvWebService::ok(QJsonObject{{QStringLiteral("filePath"), downloadPath(f)},
                                         {QStringLiteral("fileName"), f.userFileName},
                                         {QStringLiteral("fileSize"), double(f.bytes.size())}});
}

OrvWebService::Response OrvCloudDisk::batchDownload(const OrvWebService::Request &request, bool organization) const
{
    const auto refuse = [organization](int errorNo, const QString &message) {
        return organization ? withErrorInfo(errorNo, message, QJsonValue::Null) : OrvWebService::fail(errorNo, message);
    };
    if (!hasField(request, QStringLiteral("fileIds")))
        return refuse(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: fileIds"));
    if (organization && (!hasField(request, QStringLiteral("sid")) || !hasField(request, QStringLiteral("UID"))))
        return refuse(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: sid or UID"));
    const QList<quint64> ids = parseIds(field(request, QStringLiteral("fileIds")));
    if (ids.isEmpty())
        return refuse(NoSuchFileErrorNo, QStringLiteral("bad fileIds"));
    const quint64 sid = field(request, QStringLiteral("sid")).toULongLong();
    QJsonArray list;
    for (quint64 id : ids) {
        const File f = file(id);
        const bool fits = organization ? (f.fileSource == OrganizationFile && f.sid == sid)
                                       : (f.userFileId != 0 && f.fileSource != OrganizationFile);
        if (!fits)
            return refuse(NoSuchFileErrorNo, QStringLiteral("no such file: %1").arg(id));
        list.append(QJsonObject{{QStringLiteral("path"), downloadPath(f)}, {QStringLiteral("fileName"), f.userFileName}});
    }
    return organization ? withErrorInfo(OrvWebService::SuccessErrorNo, QString(), list) : OrvWebService::ok(list);
}

OrvWebService::Response OrvCloudDisk::imagePreview(const OrvWebService::Request &request) const
{
    for (const QString &key : {QStringLiteral("UID"), QStringLiteral("orgFileId"), QStringLiteral("sid")}) {
        if (!hasField(request, key))
            return withErrorInfo(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: %1").arg(key), QJsonValue::Null);
    }
    const File f = file(field(request, QStringLiteral("orgFileId")).toULongLong());
    if (f.fileSource != OrganizationFile || f.sid != field(request, QStringLiteral("sid")).toULongLong())
        return withErrorInfo(NoSuchFileErrorNo, QStringLiteral("no such organisation file"), QJsonValue::Null);
    return withErrorInfo(OrvWebService::SuccessErrorNo, QString(),
                         QJsonObject{{QStringLiteral("filePath"), downloadPath(f)}, {QStringLiteral("fileName"), f.userFileName}});
}

OrvWebService::Response OrvCloudDisk::saveSharedFile(const OrvWebService::Request &request)
{
    if (request.form.isEmpty() && request.query.isEmpty())
        return missing(QStringLiteral("shareId"));
    QMutexLocker lock(&m_mutex);
    m_savedShared.append(formObject(request));
    return OrvWebService::ok(QJsonObject{{QStringLiteral("userFileId"), double(m_nextId++)}});
}

OrvWebService::Response OrvCloudDisk::addRecentOpen(const OrvWebService::Request &request)
{
    QMutexLocker lock(&m_mutex);
    m_recentOpens.append(formObject(request));
    return OrvWebService::ok();
}

OrvWebService::Response OrvCloudDisk::exportPaper(const OrvWebService::Request &request)
{
    if (!hasField(request, QStringLiteral("prId")))
        return missing(QStringLiteral("prId"));
    const QString paper = field(request, QStringLiteral("prId"));
    File document;
    document.userFileName = QStringLiteral("Paper %1.docx").arg(paper.left(20));
    document.fileSource = OwnFile;
    document.fileType = 3;
    document.bytes = pattern(8 * 1024, paper.toUInt());
    {
        QMutexLocker lock(&m_mutex);
        document.userFileId = m_nextId++;
        document.ownerUid = m_userId;
        m_files.append(document);
    }
    return OrvWebService::ok(QJsonObject{{QStringLiteral("path"), downloadPath(document)},
                                         {QStringLiteral("fileName"), document.userFileName}});
}

OrvWebService::Response OrvCloudDisk::download(const OrvWebService::Request &request) const
{
    const File f = file(request.queryValue(QStringLiteral("id")).toULongLong());
    if (f.userFileId == 0)
        return {404, "text/plain", "no such file"};
    // A user's file is never a page of the service: browsers save it, take its type as it is
    // said, and if they showed it anyway it would run without the service's origin.
    QByteArray fallback = f.userFileName.toUtf8();
    for (char &c : fallback) {
        if (c < 0x20 || c > 0x7e || c == '"' || c == '\\')
            c = '_';
    }
    const QByteArray disposition = "attachment; filename=\"" + fallback + "\"; filename*=UTF-8''"
        + QUrl::toPercentEncoding(f.userFileName, "!#$&+-.^_`|~");
    return {200,
            contentTypeFor(f.userFileName),
            f.bytes,
            {{"Content-Disposition", disposition},
             {"X-Content-Type-Options", "nosniff"},
             {"Content-Security-Policy", "sandbox"}}};
}

OrvWebService::Response OrvCloudDisk::page(const OrvWebService::Request &request)
{
    QString resource;
    int best = -1;
    for (const PageRoute &route : kPages) {
        const QString prefix = QString::fromLatin1(route.prefix);
        if (request.path.startsWith(prefix) && prefix.size() > best) {
            best = prefix.size();
            resource = QString::fromLatin1(route.resource);
        }
    }
    QByteArray type = "text/html; charset=utf-8";
    if (resource.isEmpty()) { // static files by name
        resource = request.path.mid(request.path.lastIndexOf(QLatin1Char('/')) + 1);
        type = resource.endsWith(QLatin1String(".js")) ? "application/javascript; charset=utf-8" : "text/css; charset=utf-8";
    }
    QFile file(QStringLiteral(":/orvwebservice/pages/") + resource);
    if (resource.isEmpty() || resource.contains(QLatin1String("..")) || !file.open(QIODevice::ReadOnly)) {
        qCInfo(lcOrvWebService) << "no page for" << request.path;
        return {404, "text/plain", "no such page"};
    }
    return {200, type, file.readAll()};
}
