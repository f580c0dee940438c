// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>
#include <QUrl>

class QWidget;

/**
 * How a download asked for by a page reaches the disk: the save dialog (title "ID_SaveFile",
 * filter for the file's suffix and all files) opened in the remembered save-as folder with a free
 * name, or a folder dialog for several files, then the client's transfer queue
 * (OrvTransferQueue::instance()). Dialogs go through BridgeDialogs.
 */
class CloudDownload
{
public:
    /// Settings key of the folder last chosen.
    static constexpr const char *SaveAsPathKey = "saveAsPath";
    /// Longer addresses are refused: no server takes them, and each would be kept by the
    /// transfer queue's record of what it fetched.
    static constexpr int MaxAddressLength = 16 * 1024;

    /// The remembered folder, or the user's download folder; created when missing.
    static QString saveAsFolder();
    static void rememberSaveAsFolder(const QString &folder);

    /// "<ID_XFiles> (*.<suffix>);;<ID_AllFiles> (*)"; only the second part without a suffix.
    static QString saveFileFilter(const QString &suffix);

    /**
     * The address to fetch for what a page or the web service gave: a relative address ("download/
     * file?id=1", "/download/...") is joined to the download server of the current server
     * environment; an absolute http(s) address is kept; anything else, and anything longer than
     * MaxAddressLength, is refused (empty).
     */
    static QUrl resolveAddress(const QString &address);
    /// The "n" query value when the address has one, else the last path segment.
    static QString fileNameFromUrl(const QUrl &url);

    /**
     * Offers the save dialog for one file and queues it. Returns the transfer id, 0 when the
     * dialog was cancelled or the transfer refused.
     */
    static int saveAs(QWidget *parent, const QUrl &url, const QString &fileName);
    /// The folder dialog of a batch, remembered; empty when cancelled.
    static QString askFolder(QWidget *parent);
    /// Queues url into folder; a taken name becomes "name(1).ext". 0 when refused.
    static int queueInto(const QString &folder, const QUrl &url, const QString &fileName);
};
