// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bridgepreview.h"

#include "bridgeinput.h"
#include "extensionsystem.h"
#include "ifileopener.h"
#include "iimagepreviewservice.h"
#include "nativebridge_logging.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QStringList imageUrls(const QJsonArray &array)
{
    QStringList urls;
    for (const QJsonValue &item : array) {
        QString url = item.toString();
        if (item.isObject()) {
            const QJsonObject object = item.toObject();
            url = object.value(QStringLiteral("url")).toString();
            if (url.isEmpty())
                url = object.value(QStringLiteral("imageUrl")).toString();
        }
        if (!url.isEmpty())
            urls << url;
    }
    return urls;
}

} // namespace

void BridgePreview::previewFile(const QString &fileId, const QString &uid, const QString &fileName)
{
    auto *mgr = ExtensionSystem::instance()->getObject<IFileOpener>(QString::fromLatin1(IFileOpener::ExtensionName));
    if (!mgr) {
        qCWarning(lcBridge) << "mgr is nullptr";
        return;
    }
    if (fileId.isEmpty()) {
        qCWarning(lcBridge) << "previewFile without a file id";
        return;
    }
    // Ids stay text: 64-bit ids do not survive a trip through a JSON number.
    const QJsonObject entry{{QStringLiteral("userFileId"), fileId},
                            {QStringLiteral("ownerUid"), uid},
                            {QStringLiteral("userFileName"), fileName}};
    mgr->openFiles(QJsonArray{entry}, 0);
}

void BridgePreview::viewFileList(const QString &files, int index)
{
    auto *mgr = ExtensionSystem::instance()->getObject<IFileOpener>(QString::fromLatin1(IFileOpener::ExtensionName));
    if (!mgr) {
        qCWarning(lcBridge) << "mgr is nullptr";
        return;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(files.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray()) {
        qCWarning(lcBridge) << "parse json error!" << error.errorString();
        return;
    }
    const QJsonArray array = doc.array();
    if (index < 0 || index >= array.size()) {
        qCWarning(lcBridge) << "viewFileList: index" << index << "outside" << array.size() << "files";
        return;
    }
    const QJsonArray web = BridgeInput::webFileEntries(array, &index, "viewFileList");
    if (index < 0)
        return;
    mgr->openFiles(web, index);
}

void BridgePreview::imgsView(const QString &data)
{
    auto *mgr = ExtensionSystem::instance()->getObject<IImagePreviewService>(
        QString::fromLatin1(IImagePreviewService::ExtensionName));
    if (!mgr) {
        qCWarning(lcBridge) << "mgr is nullptr";
        return;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError) {
        qCWarning(lcBridge) << "parse json error!" << error.errorString();
        return;
    }
    QJsonArray array = doc.array();
    if (doc.isObject()) {
        const QJsonObject object = doc.object();
        for (const char *key : {"urls", "imgs", "images"}) {
            if (object.value(QLatin1String(key)).isArray()) {
                array = object.value(QLatin1String(key)).toArray();
                break;
            }
        }
    }
    const QStringList urls = BridgeInput::webAddresses(imageUrls(array), "imgsView");
    if (urls.isEmpty()) {
        qCWarning(lcBridge) << "imgsView: no pictures named";
        return;
    }
    mgr->previewImages(urls);
}
