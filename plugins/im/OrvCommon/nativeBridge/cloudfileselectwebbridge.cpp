// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfileselectwebbridge.h"

#include "bridgeinput.h"
#include "orvcommon_logging.h"

CloudFileSelectWebBridge::CloudFileSelectWebBridge(OrvWebView *view, QObject *parent)
    : OrvWebBridge(view, parent)
{
}

void CloudFileSelectWebBridge::selectFile(const QString &params)
{
    if (!BridgeInput::isJsonContainer(params)) {
        qCWarning(lcOrvCommon) << "CloudFileSelectWebBridge::selectFile: parse json error!";
        return;
    }
    Q_EMIT signalSelectFile(params);
}
