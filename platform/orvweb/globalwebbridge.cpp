// SPDX-License-Identifier: LGPL-2.1-or-later
#include "globalwebbridge.h"

GlobalWebBridge::GlobalWebBridge(OrvWebView *view, QObject *parent)
    : OrvWebBridge(view, parent)
{
}

void GlobalWebBridge::commonNotice(const QString &name, const QJsonObject &data) const
{
    runJavaScript(WebCallbackScript::notice(name, data));
}

void GlobalWebBridge::updateStorageState(const QJsonObject &state) const
{
    runJavaScript(WebCallbackScript::storageState(state));
}
