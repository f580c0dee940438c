// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebbridge.h"

#include <QJsonObject>

/**
 * A bridge that also pushes page-wide notices. The page receives them through
 * window.orvClientAPI.onNotice(name, fn) as fn(data, name), data being the object itself.
 */
class GlobalWebBridge : public OrvWebBridge
{
    Q_OBJECT
public:
    explicit GlobalWebBridge(OrvWebView *view, QObject *parent = nullptr);

    void commonNotice(const QString &name, const QJsonObject &data) const;
    /// Delivered as the notice "updateStorageState".
    void updateStorageState(const QJsonObject &state) const;
};
