// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebbridge.h"

/// The bridge of a cloud file picker page: the page reports the files the user picked.
class CloudFileSelectWebBridge : public OrvWebBridge
{
    Q_OBJECT
public:
    explicit CloudFileSelectWebBridge(OrvWebView *view, QObject *parent = nullptr);

Q_SIGNALS:
    /// params as the page sent it, a JSON object or array in text form.
    void signalSelectFile(const QString &params);

public Q_SLOTS:
    void selectFile(const QString &params);
};
