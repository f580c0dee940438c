// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>

/**
 * Hands files and pictures a cloud page names to the client's native viewers, found in the
 * extension system (IFileOpener, IImagePreviewService). The text comes from the page: anything
 * that is not what is expected is logged and dropped, and the viewers get web addresses only
 * (BridgeInput::webAddress, webFileEntries).
 */
class BridgePreview
{
public:
    static void previewFile(const QString &fileId, const QString &uid, const QString &fileName);
    /// files: a JSON array of file entries in text form; index: the entry shown first.
    static void viewFileList(const QString &files, int index);
    /// data: a JSON array of addresses (or of objects with "url" or "imageUrl"), or an object
    /// holding such an array under "urls", "imgs" or "images".
    static void imgsView(const QString &data);
};
