// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfolderselectwebbridge.h"

#include "bridgeinput.h"
#include "orvcommon_logging.h"

#include <QJsonArray>
#include <QJsonObject>

CloudFolderSelectWebBridge::CloudFolderSelectWebBridge(OrvWebView *view, QObject *parent)
    : GlobalWebBridge(view, parent)
{
}

void CloudFolderSelectWebBridge::selectFolder(const QString &folderId)
{
    bool ok = false;
    const qint64 id = folderId.trimmed().toLongLong(&ok);
    if (!ok) {
        qCWarning(lcOrvCommon) << "CloudFolderSelectWebBridge::selectFolder: not a folder id:" << BridgeInput::excerpt(folderId);
        return;
    }
    Q_EMIT signalSelectFolder(id);
}

void CloudFolderSelectWebBridge::cancel()
{
    Q_EMIT signalCancel();
}

void CloudFolderSelectWebBridge::postMessage(const QString &message)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(message, &object)) {
        qCWarning(lcOrvCommon) << "CloudFolderSelectWebBridge::postMessage: parse json error!";
        return;
    }
    const QString type = object.value(QLatin1String("type")).toString();
    if (type != QLatin1String("selectCategory")) {
        qCInfo(lcOrvCommon) << "CloudFolderSelectWebBridge: message not handled:" << BridgeInput::excerpt(type);
        return;
    }
    const QJsonValue ids = object.value(QLatin1String("data")).toObject().value(QLatin1String("categoryIds"));
    if (!ids.isArray()) {
        qCWarning(lcOrvCommon) << "CloudFolderSelectWebBridge: selectCategory without categoryIds";
        return;
    }
    QStringList parts;
    for (const QJsonValue &id : ids.toArray()) {
        quint64 value = 0;
        if (!BridgeInput::toId(id, &value)) {
            qCWarning(lcOrvCommon) << "CloudFolderSelectWebBridge: not a category id:" << id;
            return;
        }
        parts << QString::number(value);
    }
    Q_EMIT signalSelectedCategoryIds(QStringLiteral("[%1]").arg(parts.join(QLatin1Char(','))));
}
