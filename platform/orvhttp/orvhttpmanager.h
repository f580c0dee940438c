// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "commonpodsns.h"
#include "orvhttpreply.h"

#include <QJsonObject>
#include <QObject>
#include <QUrl>
#include <QUrlQuery>
#include <functional>

class QNetworkAccessManager;
class QNetworkRequest;

/**
 * Requests to the client's web-API server, process-wide, used on the GUI thread.
 *
 * Every answer of the server is a JSON envelope:
 *     {"errno": 1, "msg": "", "data": <any JSON value>}
 * errno 1 means success; any other value is a refusal, explained by "msg". A body that is
 * not such an object (no integer "errno") is a failure with networkError BadReplyError.
 *
 * networkError is a QNetworkReply::NetworkError (0 = none), or one of the codes of Error.
 * A transfer that failed (no connection, HTTP error status, ...) is reported with its code and
 * errorNo 0; its body is not read.
 */
class OrvHttpManager : public QObject
{
    Q_OBJECT
public:
    /// Our own networkError codes, above the range of QNetworkReply::NetworkError.
    enum Error {
        BadReplyError = 1001, ///< the answer arrived but its body is not an envelope
        TimedOutError = 1002, ///< no answer within timeout()
    };
    Q_ENUM(Error)

    static constexpr int SuccessErrorNo = 1;
    static constexpr int DefaultTimeout = 15000;

    static OrvHttpManager *instance();
    static void release();

    /// Relative request paths resolve against this URL.
    void setBaseUrl(const QUrl &url);
    QUrl baseUrl() const { return m_baseUrl; }

    /// Time-out of requests started from now on, in ms; 0 waits for ever.
    void setTimeout(int ms);
    int timeout() const { return m_timeout; }

    OrvHttpReply *get(const QString &path, const QUrlQuery &query = {});
    /// Posts the fields as application/x-www-form-urlencoded.
    OrvHttpReply *postForm(const QString &path, const QUrlQuery &form);
    OrvHttpReply *postJson(const QString &path, const QJsonObject &body);

    /// Where a cloud file can be fetched: data {"filePath" (relative to the download server),
    /// "fileName", "fileSize"}. ownerUid 0 means the signed-in user.
    OrvHttpReply *requestSourceFilePath(quint64 userFileId, quint64 ownerUid = 0);
    /// The same for a file another user shared.
    OrvHttpReply *requestDownloadSharedFileUrl(quint64 userFileId, quint64 shareUid, int referenceType = 0,
                                               quint64 referenceId = 0);
    // Requests of the class join panel and the school binding (orvhttpschoolrequests.cpp). The
    // callback runs once with the reply's arguments, unless context is gone by then.
    using ReplyCallback = std::function<void(const QJsonValue &data, int networkError, int errorNo, const QString &errorText)>;
    /// GET "/api/course/getOpenCourseUrl": the course's join link and QR-code link, its serial code.
    OrvHttpReply *requestGetOpenCourseUrl(quint64 schoolId, quint64 courseId, QObject *context, ReplyCallback callback);
    /// GET "/api/school/getSchoolAuthInfo": the school's "SID" (decimal text) and "name".
    OrvHttpReply *requestGetSchoolAuthInfo(quint64 schoolId, QObject *context, ReplyCallback callback);
    /// POST "/api/school/bindInstallPlace": binds this installation (machineId) to a school.
    OrvHttpReply *requestBindInstallPlace(quint64 schoolId, const QString &schoolName, const QString &machineId,
                                          QObject *context, ReplyCallback callback);

    // Photos from a phone (orvhttpphotorequests.cpp); the callbacks run once unless context is gone.
    using QRCodeCallback = std::function<void(const QJsonObject &data, int networkError, int errorNo, const QString &errorText)>;
    using ShortUrlCallback = std::function<void(QString &surl, int networkError, int errorNo, const QString &errorText)>;
    /// GET "/api/qrcode/getQRCode" with "tag" and "params" (compact JSON {"requestUUid": id}): data
    /// {"tag", "pageUrl"}, the address of the phone's upload page. A data that is not an object is
    /// BadReplyError.
    OrvHttpReply *requestGetQRCode(CommonPodsNs::RequestQRCodeTag tag, const QString &params, QObject *context,
                                   QRCodeCallback callback);
    /// GET "/api/url/lurlTransToSurl" with "longUrl": the short path of that address ("/s/<code>"),
    /// to be joined to the web domain. An answer without text "surl" is BadReplyError.
    OrvHttpReply *requstLurlTransToSurl(const QString &longUrl, QObject *context, ShortUrlCallback callback);

    /// The base URL as last set, readable from any thread (for services running on their own).
    static QUrl currentBaseUrl();

    /// Shared with downloads done elsewhere.
    QNetworkAccessManager *networkAccessManager() const { return m_nam; }

    /// The web-proxy error converter: the string ID of the text shown for a failure
    /// (empty for success), to be looked up with OrvLang::text().
    static QString webProxyErrorToStringId(int networkError, int errorNo);

    /// Percent-encodes every key and value, '+' included (QUrlQuery leaves it bare, and
    /// servers read a bare '+' as a space).
    static QByteArray encodeFields(const QUrlQuery &fields);

private:
    OrvHttpManager();
    ~OrvHttpManager() override;

    QUrl resolve(const QString &path) const;
    QNetworkRequest makeRequest(const QUrl &url) const;

    QNetworkAccessManager *m_nam = nullptr;
    QUrl m_baseUrl;
    int m_timeout = DefaultTimeout;
    static OrvHttpManager *s_instance;
};
