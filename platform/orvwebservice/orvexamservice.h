// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebservice.h"

#include <QHash>
#include <QJsonObject>
#include <QMutex>
#include <QStringList>
#include <QVector>
#include <functional>

/**
 * Exam files and photos from a phone on the local web service: the exam-file upload endpoint, a
 * small object storage, QR-code requests for the phone's upload page, short addresses, the phone
 * page itself, and the push of the photos sent back to the client. Besides the service's own faults
 * (HTTP 500, garbage, slow, dropped, never answering) each route can misbehave (Misbehave).
 *
 * install() adds (errno 1 is success, see OrvWebService):
 *   POST /api/exam/uploadExamFile  multipart "file" (and "taskId"): stored; data {"imageUrl":
 *                                  "<base>/exam/files/<uuid>.<suffix>", "fileName", "fileSize"};
 *                                  no file, an empty one or one above MaxFileBytes: fail(BadFileErrorNo)
 *   POST /api/cos/upload           multipart "file", "prefix" (segments of [A-Za-z0-9_.-], no "..")
 *                                  and "tokenKind" (one of tokenKinds()): stored under the key
 *                                  "<prefix>/<uuid>.<suffix>"; data {"imageUrl": key, "isCosPath": true,
 *                                  "fileSize"}; a bad prefix or kind: fail(BadFieldErrorNo)
 *   GET  /exam/files/<name>, /cos/<key>  the stored bytes, as a download (Content-Disposition:
 *                                  attachment, nosniff, a sandboxing CSP; pictures keep their type
 *                                  so pages can show them); unknown: HTTP 404
 *   GET  /api/qrcode/getQRCode     "tag" (1, 3, 4, 5) and "params" (JSON {"requestUUid": id}): the
 *                                  request is remembered; data {"tag", "pageUrl":
 *                                  "<base>/m/photo/upload?requestUUid=<id>&tag=<tag>"}
 *   GET  /api/url/lurlTransToSurl  "longUrl" (http or https): data {"surl": "/s/<code>"}
 *   GET  /s/<code>                 HTTP 302 to the long address; unknown code: HTTP 404
 *   GET  /m/photo/upload           the phone's page (plain HTML): pick one or several photos, send
 *   POST /m/photo/upload           multipart "requestUUid", "tag", "photo" (one or more pictures):
 *                                  pushes them (below); an HTML answer for a browser, the envelope
 *                                  for "Accept: application/json" (data {"accepted": n})
 * The push goes to setPushHandler()'s function as JSON text {"requestUUid", "tag", "data"}:
 * tag 1 an array of base64 pictures, tags 3, 4, 5 an array of {"url", "width", "height"} with
 * the sizes as text and the photos stored like exam files. Hosts hand it to the reference engine:
 *     service.setPushHandler([](const QString &json) {
 *         OrvEngine::CoreEngine::instance()->receiveUploadPhotoInfo(json); });
 *
 * Handlers run on the service's threads; the data is guarded, and the object must outlive the
 * service it was installed in.
 */
class OrvExamService
{
public:
    enum class Misbehave {
        None,
        Refuse,        ///< errno RefusedErrorNo with a message (networkError 0)
        MissingFields, ///< success without the main field ("imageUrl", "pageUrl", "surl")
        BadValues,     ///< that field of the wrong type
    };
    enum class PushMisbehave {
        None,
        NoPush,         ///< the photos are accepted and never pushed
        NotJson,        ///< the push is not JSON
        BrokenPayload,  ///< tag 1: base64 that is no picture; tags 3-5: elements without "url"
        OtherRequestId, ///< the push names another request id
        UnknownTag,     ///< the push carries tag 2
    };

    struct StoredFile
    {
        QString key;      ///< "exam/files/<name>" or the object key
        QString address;  ///< where the service serves it
        QString fileName; ///< as sent
        QByteArray bytes;
        QString taskId;   ///< exam files
        QString prefix, tokenKind; ///< objects
    };

    static constexpr int RefusedErrorNo = 40300;
    static constexpr int BadFileErrorNo = 40010;
    static constexpr int BadFieldErrorNo = 40011;
    static constexpr int NoRequestErrorNo = 40412;
    static constexpr qint64 MaxFileBytes = 100LL * 1024 * 1024;
    static constexpr qint64 MaxPhotoBytes = 25LL * 1024 * 1024;
    static constexpr int MaxPhotosPerPush = 9;
    /// The oldest stored files are forgotten beyond this many bytes in all.
    static constexpr qint64 MaxStoredBytes = 512LL * 1024 * 1024;

    static constexpr const char *ExamFilePath = "/api/exam/uploadExamFile";
    static constexpr const char *CosUploadPath = "/api/cos/upload";
    static constexpr const char *QRCodePath = "/api/qrcode/getQRCode";
    static constexpr const char *ShortUrlPath = "/api/url/lurlTransToSurl";
    static constexpr const char *PhonePagePath = "/m/photo/upload";

    using PushHandler = std::function<void(const QString &json)>;

    OrvExamService();

    void install(OrvWebService &service);

    /// Called on the service's thread for every push.
    void setPushHandler(PushHandler handler);
    void setMisbehave(const QString &path, Misbehave misbehave);
    void setPushMisbehave(PushMisbehave misbehave);
    /// Token kinds the object storage accepts ("exam", "homework" by default).
    void setTokenKinds(const QStringList &kinds);
    QStringList tokenKinds() const;
    /// Uploads (exam files and objects) are answered after this many ms, to let them overlap.
    void setUploadDelay(int ms);

    QVector<StoredFile> storedFiles() const;
    /// The stored file served at address (or with that key); empty when there is none.
    QByteArray storedBytes(const QString &addressOrKey) const;
    /// The most uploads handled at once since the last resetStats().
    int maxConcurrentUploads() const;
    void resetStats();
    /// Request ids of the QR-code requests, with their tags.
    QHash<QString, int> qrRequests() const;
    /// Every push sent, oldest first.
    QStringList pushes() const;

    /// Pushes photos for a request as the phone page does (tests and the demo); false when the
    /// request id is unknown or none of the photos is a picture.
    bool sendPhotos(const QString &requestId, const QList<QByteArray> &photos, const QString &baseAddress);

private:
    OrvWebService::Response uploadExamFile(const OrvWebService::Request &request);
    OrvWebService::Response uploadObject(const OrvWebService::Request &request);
    OrvWebService::Response serveFile(const OrvWebService::Request &request) const;
    OrvWebService::Response getQRCode(const OrvWebService::Request &request);
    OrvWebService::Response shortUrl(const OrvWebService::Request &request);
    OrvWebService::Response followShortUrl(const OrvWebService::Request &request) const;
    OrvWebService::Response phonePage(const OrvWebService::Request &request) const;
    OrvWebService::Response phoneUpload(const OrvWebService::Request &request);
    Misbehave misbehaveOf(const char *path) const;
    QString store(StoredFile file);
    void beginUpload();
    void endUpload();
    /// The push text for accepted photos, or an error text in *why.
    bool pushPhotos(const QString &requestId, int tag, const QList<QByteArray> &photos, const QString &base,
                    int *accepted, QString *why);

    mutable QMutex m_mutex;
    QHash<QString, Misbehave> m_misbehave;
    PushMisbehave m_pushMisbehave = PushMisbehave::None;
    PushHandler m_pushHandler;
    QStringList m_tokenKinds;
    int m_uploadDelay = 0;
    QVector<StoredFile> m_files;
    qint64 m_storedBytes = 0;
    QHash<QString, int> m_requests;
    QHash<QString, QString> m_shortUrls; // code -> long address
    QHash<QString, QString> m_shortCodes; // long address -> code
    QStringList m_pushes;
    int m_activeUploads = 0;
    int m_maxActiveUploads = 0;
    OrvWebService *m_service = nullptr;
};
