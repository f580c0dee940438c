// SPDX-License-Identifier: LGPL-2.1-or-later
#include "classroomclouddiskbridge.h"

#include "bridgedialogs.h"
#include "bridgeinput.h"
#include "clouddownload.h"
#include "contactsengine.h"
#include "extensionsystem.h"
#include "iclassroommgr.h"
#include "nativebridge_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "webcallbackscript.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

ClassroomCloudDiskBridge::ClassroomCloudDiskBridge(OrvWebView *view, WebSubWindowBridge::FromType fromType, QObject *parent)
    : CloudDiskBridge(view, fromType, parent)
{
}

void ClassroomCloudDiskBridge::showImages(const QString &fileInfos, int currentIndex)
{
    qCInfo(lcBridge) << "ClassroomCloudDiskBridge::showImages";
    QJsonArray files;
    QJsonObject entry;
    if (!BridgeInput::entryAt(fileInfos, currentIndex, &files, &entry))
        return;
    const quint64 id = BridgeInput::id(entry, QStringLiteral("userFileId"));
    if (id == 0) {
        qCWarning(lcBridge) << "showImages: entry without userFileId";
        return;
    }
    const QString fileId = QString::number(id);
    const QString fileName = BridgeInput::text(entry, QStringLiteral("userFileName"));
    const QString me = QString::number(OrvEngine::ContactsEngine::instance()->currentUid());

    if (BridgeInput::integer(entry, QStringLiteral("fileSource")) == 8) {
        // Asked directly: this answer comes in the older form with "error_info".
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("UID"), me);
        form.addQueryItem(QStringLiteral("orgFileId"), fileId);
        form.addQueryItem(QStringLiteral("sid"), QString::number(BridgeInput::id(entry, QStringLiteral("sid"))));
        OrvHttpManager *http = OrvHttpManager::instance();
        QNetworkRequest request(http->baseUrl().resolved(QUrl(QString::fromLatin1(ImagePreviewPath))));
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
        request.setTransferTimeout(http->timeout());
        QNetworkReply *reply = http->networkAccessManager()->post(request, OrvHttpManager::encodeFields(form));
        connect(reply, &QNetworkReply::finished, this,
                [this, reply, fileId, fileName] { onOrganizationPreview(reply, fileId, fileName); });
        return;
    }

    QUrlQuery query;
    query.addQueryItem(QStringLiteral("userFileId"), fileId);
    const quint64 owner = BridgeInput::id(entry, QStringLiteral("ownerUid"));
    query.addQueryItem(QStringLiteral("ownerUid"), owner ? QString::number(owner) : me);
    OrvHttpReply *reply = OrvHttpManager::instance()->get(QStringLiteral("cloudspace/api/user/file/source"), query);
    connect(reply, &OrvHttpReply::finished, this,
            [this, fileId, fileName](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
                    showWebError(networkError, errorNo, errorText);
                    return;
                }
                showImage(fileId, fileName, BridgeInput::text(data.toObject(), QStringLiteral("filePath")));
            });
}

void ClassroomCloudDiskBridge::onOrganizationPreview(QNetworkReply *reply, const QString &fileId, const QString &fileName)
{
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        showWebError(reply->error(), 0, reply->errorString());
        return;
    }
    const QJsonDocument doc = QJsonDocument::fromJson(reply->readAll());
    if (!doc.isObject() || !doc.object().value(QStringLiteral("error_info")).isObject()) {
        showError(QStringLiteral("ID_WebProxyEngine_CanNotParseFieldErrorInfo"));
        return;
    }
    const QJsonObject errorInfo = doc.object().value(QStringLiteral("error_info")).toObject();
    if (!errorInfo.value(QStringLiteral("errno")).isDouble()) {
        showError(QStringLiteral("ID_WebProxyEngine_CanNotGetErrorCode"));
        return;
    }
    const int errorNo = errorInfo.value(QStringLiteral("errno")).toInt();
    if (errorNo != OrvHttpManager::SuccessErrorNo) {
        showWebError(0, errorNo, errorInfo.value(QStringLiteral("error")).toString());
        return;
    }
    const QJsonObject data = doc.object().value(QStringLiteral("data")).toObject();
    QString name = BridgeInput::text(data, QStringLiteral("fileName"));
    showImage(fileId, name.isEmpty() ? fileName : name, BridgeInput::text(data, QStringLiteral("filePath")));
}

void ClassroomCloudDiskBridge::showImage(const QString &fileId, const QString &fileName, const QString &filePath)
{
    const QUrl source = CloudDownload::resolveAddress(filePath);
    if (source.isEmpty()) {
        showError(QStringLiteral("ID_WebProxyEngine_CanNotParseFieldErrorInfo"));
        return;
    }
    Q_EMIT imageShowRequested(WebCallbackScript::compact(QJsonObject{{QStringLiteral("fileId"), fileId},
                                                                     {QStringLiteral("fileName"), fileName},
                                                                     {QStringLiteral("viewSrc"), source.toString()}}));
    Q_EMIT hideCloudDisk();
}

void ClassroomCloudDiskBridge::showError(const QString &textId)
{
    qCWarning(lcBridge) << "error:" << textId;
    BridgeDialogs::message(webView(), BridgeDialogs::messageBoxTitle(true), OrvLang::text(textId), {});
}

QString ClassroomCloudDiskBridge::lessonInfo()
{
    IClassRoomMgr *mgr = IClassRoomMgr::current();
    if (!mgr)
        return QStringLiteral("{}");
    const QString identity = mgr->isStudent() ? QStringLiteral("2") : (mgr->isInClass() ? QStringLiteral("1") : QStringLiteral("0"));
    return WebCallbackScript::compact(QJsonObject{
        {QStringLiteral("sid"), QString::number(mgr->schoolId())},
        {QStringLiteral("identity"), identity},
        {QStringLiteral("lessonId"), QString::number(mgr->lessonId())},
        {QStringLiteral("courseId"), QString::number(mgr->courseId())},
        {QStringLiteral("isFriendsTempClassroom"), mgr->isFriendsTempClassroom()},
    });
}

QString ClassroomCloudDiskBridge::classroomInfo()
{
    return WebCallbackScript::compact(QJsonObject{{QStringLiteral("clouddiskDefaultPage"), teacherDefaultTab()}});
}
