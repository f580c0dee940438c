// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clouddownload.h"

#include "bridgedialogs.h"
#include "orvcommon_logging.h"
#include "orvfilenames.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtransferqueue.h"
#include "serverenvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrlQuery>

namespace {

const QString kFallbackName = QStringLiteral("download");

} // namespace

QString CloudDownload::saveAsFolder()
{
    QString folder = OrvSettings::instance()->value(QLatin1String(SaveAsPathKey)).toString();
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (folder.isEmpty())
        folder = QDir::homePath();
    if (!QDir().mkpath(folder))
        qCWarning(lcOrvCommon) << "cannot create the save-as folder" << folder;
    return folder;
}

void CloudDownload::rememberSaveAsFolder(const QString &folder)
{
    if (!folder.isEmpty())
        OrvSettings::instance()->setValue(QLatin1String(SaveAsPathKey), QDir::cleanPath(folder));
}

QString CloudDownload::saveFileFilter(const QString &suffix)
{
    const QString all = OrvLang::text("ID_AllFiles") + QStringLiteral(" (*)");
    if (suffix.isEmpty())
        return all;
    return OrvLang::text("ID_XFiles") + QStringLiteral(" (*.%1)").arg(suffix) + QStringLiteral(";;") + all;
}

QUrl CloudDownload::resolveAddress(const QString &address)
{
    const QString text = address.trimmed();
    if (text.isEmpty() || text.size() > MaxAddressLength)
        return QUrl();
    const QUrl url(text);
    if (!url.isValid())
        return QUrl();
    if (url.isRelative()) {
        QUrl server = ServerEnvironment::host(ServerEnvironment::DownloadServer);
        if (server.isEmpty())
            return QUrl();
        // Paths are relative to the server's root folder.
        if (!server.path().endsWith(QLatin1Char('/')))
            server.setPath(server.path() + QLatin1Char('/'));
        const QUrl resolved = server.resolved(url);
        return resolved.toEncoded().size() > MaxAddressLength ? QUrl() : resolved;
    }
    const QString scheme = url.scheme().toLower();
    if ((scheme == QLatin1String("http") || scheme == QLatin1String("https")) && !url.host().isEmpty()
        && url.toEncoded().size() <= MaxAddressLength)
        return url;
    return QUrl();
}

QString CloudDownload::fileNameFromUrl(const QUrl &url)
{
    const QUrlQuery query(url);
    if (query.hasQueryItem(QStringLiteral("n")))
        return query.queryItemValue(QStringLiteral("n"), QUrl::FullyDecoded);
    return url.fileName(QUrl::FullyDecoded);
}

int CloudDownload::saveAs(QWidget *parent, const QUrl &url, const QString &fileName)
{
    QString name = OrvFileNames::plainFileName(fileName);
    if (name.isEmpty())
        name = OrvFileNames::plainFileName(fileNameFromUrl(url));
    if (name.isEmpty())
        name = kFallbackName;
    const QString folder = saveAsFolder();
    OrvTransferQueue *queue = OrvTransferQueue::instance();
    // A name another download is about to write is not free either.
    const QString start = queue->freeFilePath(folder, name);
    const QString suffix = QFileInfo(name).suffix();

    QString chosen = BridgeDialogs::getSaveFileName(parent, OrvLang::text("ID_SaveFile"),
                                                    start.isEmpty() ? QDir(folder).filePath(name) : start,
                                                    saveFileFilter(suffix));
    if (chosen.isEmpty()) {
        qCInfo(lcOrvCommon) << "save dialog cancelled for" << name;
        return 0;
    }
    const QFileInfo info(chosen);
    rememberSaveAsFolder(info.absolutePath());
    queue->allowUrl(url);
    // The file keeps its kind even when the user typed a name without the suffix; that name
    // was not what the dialog asked about, so it is not replaced.
    if (!suffix.isEmpty() && info.suffix().compare(suffix, Qt::CaseInsensitive) != 0)
        return queue->enqueue(url, info.absolutePath(), info.fileName() + QLatin1Char('.') + suffix);
    return queue->enqueueFile(url, info.absoluteFilePath());
}

QString CloudDownload::askFolder(QWidget *parent)
{
    const QString folder = BridgeDialogs::getExistingDirectory(parent, OrvLang::text("ID_SaveFile"), saveAsFolder());
    if (folder.isEmpty()) {
        qCInfo(lcOrvCommon) << "folder dialog cancelled";
        return QString();
    }
    rememberSaveAsFolder(folder);
    return folder;
}

int CloudDownload::queueInto(const QString &folder, const QUrl &url, const QString &fileName)
{
    OrvTransferQueue *queue = OrvTransferQueue::instance();
    queue->allowUrl(url);
    return queue->enqueue(url, folder, fileName, OrvTransferQueue::Conflict::KeepBoth);
}
