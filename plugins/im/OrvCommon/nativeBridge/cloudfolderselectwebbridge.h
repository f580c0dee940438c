// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "globalwebbridge.h"

/**
 * The bridge of a cloud folder picker page: the page reports the folder chosen, a cancel, or
 * posts a message {"type", "cbId", "data"}; "selectCategory" carries "data"."categoryIds".
 */
class CloudFolderSelectWebBridge : public GlobalWebBridge
{
    Q_OBJECT
public:
    explicit CloudFolderSelectWebBridge(OrvWebView *view, QObject *parent = nullptr);

Q_SIGNALS:
    void signalSelectFolder(qint64 folderId);
    void signalCancel();
    /// The chosen categories as a JSON array text, "[11,12]".
    void signalSelectedCategoryIds(const QString &categoryIds);

public Q_SLOTS:
    void selectFolder(const QString &folderId);
    void cancel();
    void postMessage(const QString &message);
};
