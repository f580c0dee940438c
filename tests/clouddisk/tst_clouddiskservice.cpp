// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvclouddisk.h"
#include "orvwebservice.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QUrlQuery>
#include <QtTest>

namespace {

struct Answer
{
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QList<QNetworkReply::RawHeaderPair> headers;
    QByteArray header(const QByteArray &name) const
    {
        for (const auto &h : headers) {
            if (h.first.compare(name, Qt::CaseInsensitive) == 0)
                return h.second;
        }
        return {};
    }
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    int errorNo() const { return json().value("errno").toInt(); }
    QJsonValue data() const { return json().value("data"); }
};

} // namespace

class CloudDiskServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_disk.install(m_service);
        QVERIFY(m_service.start());
    }

    void listsFilesBySourceAndFolder()
    {
        const QJsonArray own = get("/cloudspace/api/user/files", {{"source", "0"}}).data().toArray();
        const QJsonArray shared = get("/cloudspace/api/user/files", {{"source", "6"}}).data().toArray();
        const QJsonArray school = get("/cloudspace/api/user/files", {{"source", "8"}}).data().toArray();
        QVERIFY(own.size() >= 5);
        QVERIFY(!shared.isEmpty());
        QVERIFY(!school.isEmpty());
        for (const QJsonValue &v : shared) {
            QCOMPARE(v["fileSource"].toInt(), 6);
            QVERIFY(v["shareUid"].toDouble() > 0);
        }
        for (const QJsonValue &v : school)
            QCOMPARE(v["sid"].toDouble(), double(OrvCloudDisk::SchoolId));

        const QJsonArray folder = get("/cloudspace/api/user/files", {{"source", "0"}, {"folderId", "501"}}).data().toArray();
        QVERIFY(!folder.isEmpty());
        for (const QJsonValue &v : folder)
            QCOMPARE(v["folderId"].toInt(), 501);

        // Exam entries carry their page and window size, as the page sends them.
        const QJsonObject exam = OrvCloudDisk::entry(m_disk.file(1007));
        QCOMPARE(exam["fileType"].toInt(), 1);
        QCOMPARE(exam["size"].toString(), QString("900*700"));
        QVERIFY(exam["url"].toString().startsWith("/client/exam/"));
    }

    void sourceAddressLeadsToTheBytes()
    {
        const Answer answer = get("/cloudspace/api/user/file/source", {{"userFileId", "1002"}});
        QCOMPARE(answer.errorNo(), 1);
        const QString path = answer.data()["filePath"].toString();
        QVERIFY(path.startsWith("download/"));
        QCOMPARE(answer.data()["fileName"].toString(), QString("Worksheet.pdf"));
        const Answer bytes = get("/" + path);
        QCOMPARE(bytes.status, 200);
        QCOMPARE(bytes.body, m_disk.file(1002).bytes);
        QCOMPARE(bytes.contentType, QByteArray("application/pdf"));

        // The name travels in the address, however hostile.
        const QString hostile = get("/cloudspace/api/user/file/source", {{"userFileId", "1005"}}).data()["filePath"].toString();
        QCOMPARE(QUrlQuery(QUrl("/" + hostile).query()).queryItemValue("n", QUrl::FullyDecoded), QString("../../escape.txt"));

        QCOMPARE(get("/cloudspace/api/user/file/source", {{"userFileId", "999999"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get("/cloudspace/api/user/file/source", {{"userFileId", "abc"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get("/cloudspace/api/user/file/source", {}).errorNo(), OrvWebService::MissingFieldErrorNo);
        // A shared file is reached through its sharer only.
        QCOMPARE(get("/cloudspace/api/user/file/source", {{"userFileId", "2001"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get("/download/file", {{"id", "424242"}}).status, 404);
    }

    // A user's file is never a page of the service: a browser saves it instead of showing it,
    // does not guess another type, and would run it without the service's origin if it did.
    void storedFilesAreServedAsDownloads()
    {
        OrvCloudDisk::File svg;
        svg.userFileId = 1901;
        svg.ownerUid = m_disk.userId();
        svg.userFileName = QStringLiteral("Drawing \"1\".svg");
        svg.fileType = 4;
        svg.bytes = "<svg xmlns=\"http://www.w3.org/2000/svg\"><script>parent.x = 1</script></svg>";
        m_disk.addFile(svg);
        const OrvCloudDisk::File added = m_disk.file(1901);
        QCOMPARE(added.userFileName, svg.userFileName);
        for (const quint64 id : {quint64(1002), added.userFileId}) {
            const Answer answer = get("/download/file", {{"id", QString::number(id)}});
            QCOMPARE(answer.status, 200);
            QCOMPARE(answer.body, m_disk.file(id).bytes);
            const QByteArray disposition = answer.header("Content-Disposition");
            QVERIFY2(disposition.startsWith("attachment"), disposition.constData());
            QCOMPARE(answer.header("X-Content-Type-Options"), QByteArray("nosniff"));
            QCOMPARE(answer.header("Content-Security-Policy"), QByteArray("sandbox"));
        }
        // The name in the header stays one quoted value, whatever it holds.
        const QByteArray disposition = get("/download/file", {{"id", QString::number(added.userFileId)}}).header("Content-Disposition");
        QVERIFY2(!disposition.contains("\"1\""), disposition.constData());
        QVERIFY2(disposition.contains("filename*=UTF-8''Drawing%20%221%22.svg"), disposition.constData());
        // The service's own pages stay pages.
        const Answer page = get("/client/cloud/cs/im");
        QCOMPARE(page.header("Content-Disposition"), QByteArray());
        QCOMPARE(page.header("Content-Security-Policy"), QByteArray());
    }

    void sharedFilesNeedTheirSharer()
    {
        const QList<QPair<QString, QString>> good{
            {"userFileId", "2001"}, {"shareUid", QString::number(OrvCloudDisk::SharingUserId)},
            {"referenceType", "1"}, {"referenceId", "9001"}};
        QCOMPARE(get("/cloudspace/api/user/share/file/source", good).errorNo(), 1);
        QCOMPARE(get("/cloudspace/api/user/share/file/source", {{"userFileId", "2001"}, {"shareUid", "1"}}).errorNo(),
                 OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get("/cloudspace/api/user/share/file/source", {{"userFileId", "2001"}}).errorNo(),
                 OrvWebService::MissingFieldErrorNo);
    }

    void batchAndOrganizationDownloads()
    {
        Answer batch = post("/cloudspace/api/user/batch/download", {{"fileIds", "1002,1006"}});
        QCOMPARE(batch.errorNo(), 1);
        const QJsonArray items = batch.data().toArray();
        QCOMPARE(items.size(), 2);
        // Same name twice: telling them apart is the client's job.
        QCOMPARE(items[0]["fileName"].toString(), items[1]["fileName"].toString());
        QVERIFY(items[0]["path"].toString() != items[1]["path"].toString());
        QCOMPARE(post("/cloudspace/api/user/batch/download", {{"fileIds", "1002,x"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(post("/cloudspace/api/user/batch/download", {{"fileIds", "3001"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);

        const QString sid = QString::number(OrvCloudDisk::SchoolId);
        Answer org = post("/cloudspace/api/organization/download", {{"UID", "10001"}, {"fileIds", "3001,3003"}, {"sid", sid}});
        QCOMPARE(org.errorNo(), 1);
        QCOMPARE(org.json()["error_info"].toObject()["errno"].toInt(), 1);
        QCOMPARE(org.data().toArray().size(), 2);
        org = post("/cloudspace/api/organization/download", {{"UID", "10001"}, {"fileIds", "3001"}, {"sid", "1"}});
        QCOMPARE(org.json()["error_info"].toObject()["errno"].toInt(), OrvCloudDisk::NoSuchFileErrorNo);
        org = post("/cloudspace/api/organization/download", {{"fileIds", "3001"}});
        QCOMPARE(org.errorNo(), OrvWebService::MissingFieldErrorNo);

        const Answer preview = post("/cloudspace/api/organization/image/preview", {{"UID", "10001"}, {"orgFileId", "3002"}, {"sid", sid}});
        QCOMPARE(preview.json()["error_info"].toObject()["errno"].toInt(), 1);
        QVERIFY(preview.data()["filePath"].toString().startsWith("download/"));
        QCOMPARE(post("/cloudspace/api/organization/image/preview", {{"UID", "1"}}).errorNo(), OrvWebService::MissingFieldErrorNo);
    }

    void recordsSavesAndRecentOpens()
    {
        const Answer saved = post("/cloudspace/api/user/saveSharedFile", {{"shareId", "9001"}, {"folderId", "0"}});
        QCOMPARE(saved.errorNo(), 1);
        QVERIFY(saved.data()["userFileId"].toDouble() > 0);
        QCOMPARE(m_disk.savedSharedFiles().last()["shareId"].toString(), QString("9001"));
        QCOMPARE(post("/api/user/addRecentOpen", {{"userFileId", "1002"}}).errorNo(), 1);
        QCOMPARE(m_disk.recentOpens().last()["userFileId"].toString(), QString("1002"));

        const Answer exported = post("/cloudspace/api/exam/paper/export", {{"prId", "7001"}});
        QCOMPARE(exported.errorNo(), 1);
        QVERIFY(exported.data()["fileName"].toString().endsWith(".docx"));
        QCOMPARE(get("/" + exported.data()["path"].toString()).status, 200);
    }

    // Pages that use cloud pictures take the "midsize" picture of the details; it leads to the
    // file's bytes on this service. Other files have no picture, and every misbehaviour a client
    // must survive can be asked for.
    void transcodingDetails()
    {
        OrvTransDetail &route = m_disk.transDetail();
        route.setMisbehave(OrvTransDetail::Misbehave::None);
        const Answer picture = get(OrvTransDetail::Path, {{"userFileId", "1004"}, {"ownerUid", QString::number(m_disk.userId())}});
        QCOMPARE(picture.errorNo(), 1);
        const QJsonObject detail = picture.data().toObject();
        QCOMPARE(detail["orvFileType"].toString(), QString("orv-image"));
        QCOMPARE(detail["transState"].toInt(), 2);
        QCOMPARE(detail["foul"].toBool(), false);
        const QString midsize = detail["output"]["IMAGE"]["midsize"].toString();
        QVERIFY2(midsize.startsWith("/download/file?id=1004"), qPrintable(midsize));
        QCOMPARE(get(midsize).body, m_disk.file(1004).bytes);
        QVERIFY(detail["path"].toString().startsWith("download/"));

        const Answer document = get(OrvTransDetail::Path, {{"userFileId", "1002"}});
        QCOMPARE(document.data()["orvFileType"].toString(), QString("orv-doc"));
        QVERIFY(document.data()["output"].toObject().isEmpty());

        QCOMPARE(get(OrvTransDetail::Path, {{"userFileId", "999999"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get(OrvTransDetail::Path, {{"userFileId", "1004"}, {"ownerUid", "1"}}).errorNo(), OrvCloudDisk::NoSuchFileErrorNo);
        QCOMPARE(get(OrvTransDetail::Path, {}).errorNo(), OrvWebService::MissingFieldErrorNo);

        route.setMisbehave(OrvTransDetail::Misbehave::Refuse);
        QCOMPARE(get(OrvTransDetail::Path, {{"userFileId", "1004"}}).errorNo(), OrvTransDetail::RefusedErrorNo);
        route.setMisbehave(OrvTransDetail::Misbehave::Transcoding);
        const Answer busy = get(OrvTransDetail::Path, {{"userFileId", "1004"}});
        QCOMPARE(busy.data()["transState"].toInt(), 1);
        QVERIFY(busy.data()["output"].toObject().isEmpty());
        route.setMisbehave(OrvTransDetail::Misbehave::BoardFile);
        QCOMPARE(get(OrvTransDetail::Path, {{"userFileId", "1004"}}).data()["orvFileType"].toString(), QString("orv-eppt"));
        route.setMisbehave(OrvTransDetail::Misbehave::Foul);
        const Answer foul = get(OrvTransDetail::Path, {{"userFileId", "1004"}});
        QCOMPARE(foul.data()["foul"].toBool(), true);
        const QUrl standIn(foul.data()["replaceUrl"].toString());
        QCOMPARE(standIn.port(), m_service.baseUrl().port());
        QCOMPARE(get(standIn.path() + "?" + standIn.query()).status, 200);
        route.setMisbehave(OrvTransDetail::Misbehave::AbsoluteUrls);
        QVERIFY(get(OrvTransDetail::Path, {{"userFileId", "1004"}}).data()["output"]["IMAGE"]["midsize"].toString()
                    .startsWith(m_service.baseUrl().toString() + "/download/"));

        // Never answering: the request is still open after a while, and the service's stop ends it.
        route.setMisbehave(OrvTransDetail::Misbehave::NeverAnswer);
        QNetworkReply *held = m_nam.get(QNetworkRequest(QUrl(m_service.baseUrl().toString() + OrvTransDetail::Path + "?userFileId=1004")));
        QTest::qWait(600);
        QVERIFY(!held->isFinished());
        held->abort();
        held->deleteLater();
        route.setMisbehave(OrvTransDetail::Misbehave::None);
        QCOMPARE(get(OrvTransDetail::Path, {{"userFileId", "1004"}}).errorNo(), 1);
    }

    void servesThePagesTheClientOpens_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("marker");
        QTest::newRow("im") << "/client/cloud/cs/im" << QByteArray("cloudPage");
        QTest::newRow("im folder") << "/client/cloud/cs/im/doc/501" << QByteArray("cloudPage");
        QTest::newRow("room") << "/client/cloud/cs/room" << QByteArray("cloudPage");
        QTest::newRow("room org") << "/client/cloud/cs/room/org" << QByteArray("cloudPage");
        QTest::newRow("extended screen") << "/client/cloud/cs/room/home/?extendscreen=true" << QByteArray("cloudPage");
        QTest::newRow("login") << "/client/cloud/launcher/login" << QByteArray("'login'");
        QTest::newRow("file picker") << "/client/cloud/file/im?type=homework&otherMax=1&sid=3" << QByteArray("selectFile");
        QTest::newRow("file picker page") << "/client/clouddisk/selectfile_im.html?imgMax=1" << QByteArray("selectFile");
        QTest::newRow("folder picker") << "/client/cloud/folder/im" << QByteArray("selectFolder");
        QTest::newRow("folder picker page") << "/client/clouddisk/selectfolder_im.html?from=exam" << QByteArray("selectFolder");
        QTest::newRow("question save") << "/client/lmsbleach/exam-pc/" << QByteArray("selectCategory");
        QTest::newRow("exam answer sheet") << "/client/exam/answer?id=7001" << QByteArray("questionImageUpload");
        QTest::newRow("homework answer sheet") << "/client/homework/answer?id=8001" << QByteArray("examEditImgs");
        QTest::newRow("exam paper") << "/client/exam/paper?id=7001" << QByteArray("taskPage");
        QTest::newRow("script") << "/client/static/cloud.js" << QByteArray("orvPage");
    }

    void servesThePagesTheClientOpens()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, marker);
        const Answer page = get(path);
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains(marker));
    }

    void unknownPagesAreNotFound()
    {
        QCOMPARE(get("/client/cloud/cs/imx").status, 404);
        QCOMPARE(get("/client/static/missing.js").status, 404);
        QCOMPARE(get("/client/static/..%2Forvclouddisk.qrc").status, 404);
    }

private:
    Answer get(const QString &pathAndQuery, const QList<QPair<QString, QString>> &query = {})
    {
        QUrl url(m_service.baseUrl().toString() + pathAndQuery);
        if (!query.isEmpty()) {
            QUrlQuery q;
            q.setQueryItems(query);
            url.setQuery(q);
        }
        return finish(m_nam.get(QNetworkRequest(url)));
    }

    Answer post(const QString &path, const QList<QPair<QString, QString>> &form)
    {
        QNetworkRequest request(QUrl(m_service.baseUrl().toString() + path));
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
        QByteArray body;
        for (const auto &field : form)
            body += (body.isEmpty() ? "" : "&") + QUrl::toPercentEncoding(field.first) + '=' + QUrl::toPercentEncoding(field.second);
        return finish(m_nam.post(request, body));
    }

    Answer finish(QNetworkReply *reply)
    {
        if (!QTest::qWaitFor([reply] { return reply->isFinished(); }, 10000))
            qWarning("no answer within 10 s");
        Answer answer;
        answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.body = reply->readAll();
        answer.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        answer.headers = reply->rawHeaderPairs();
        reply->deleteLater();
        return answer;
    }

    OrvCloudDisk m_disk; // outlives the service that calls it
    OrvWebService m_service;
    QNetworkAccessManager m_nam;
};

QTEST_GUILESS_MAIN(CloudDiskServiceTest)
#include "tst_clouddiskservice.moc"
