// SPDX-License-Identifier: LGPL-2.1-or-later
#include "globalwebbridge.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

// A JSON text is a valid script expression; quoting the name through JSON escapes everything.
QString scriptString(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString scriptObject(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace

GlobalWebBridge::GlobalWebBridge(OrvWebView *view, QObject *parent)
    : OrvWebBridge(view, parent)
{
}

void GlobalWebBridge::commonNotice(const QString &name, const QJsonObject &data) const
{
    runJavaScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.commonNotice(%1, %2)")
                      .arg(scriptString(name), scriptObject(data)));
}

void GlobalWebBridge::updateStorageState(const QJsonObject &state) const
{
    runJavaScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.updateStorageState(%1)")
                      .arg(scriptObject(state)));
}
