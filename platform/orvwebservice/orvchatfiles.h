// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebservice.h"

#include <QHash>
#include <QMutex>

/**
 * The files of chat messages (pictures and others) on the local web service, as the chat engine
 * downloads them.
 *
 * install() adds:
 *   GET /im/chatfile/download  "fileId": the file's bytes (application/octet-stream, with its
 *       length), sent in pieces at the pace set with setPace(); a recalled file answers HTTP 410
 *       with fail(RecalledErrorNo, ...), an unknown one HTTP 404 with fail(NoSuchFileErrorNo, ...).
 * A file can also be made to stall: its first bytes go out, then nothing until the service stops.
 *
 * Handlers run on the service's threads; the data is guarded, and the object must outlive the
 * service it was installed in.
 */
class OrvChatFiles
{
public:
    static constexpr int RecalledErrorNo = 1023;
    static constexpr int NoSuchFileErrorNo = 40411;

    void install(OrvWebService &service);

    /// "/im/chatfile/download?fileId=<id>", relative to the service.
    static QString downloadPath(const QString &fileId);

    void addFile(const QString &fileId, const QByteArray &bytes);
    bool hasFile(const QString &fileId) const;
    void setRecalled(const QString &fileId, bool recalled);
    /// Sends each answer in pieces of chunkSize bytes, waiting delayMs before each piece (0, 0: at once).
    void setPace(int chunkSize, int delayMs);
    /// The file's answer stops after this many bytes and waits (-1: never stalls).
    void setStallAfter(const QString &fileId, qint64 bytes);
    /// Downloads asked for, by file id.
    int requestCount(const QString &fileId) const;

private:
    struct Entry
    {
        QByteArray bytes;
        bool recalled = false;
        qint64 stallAfter = -1;
        int requests = 0;
    };

    OrvWebService::Response download(const OrvWebService::Request &request);

    mutable QMutex m_mutex;
    QHash<QString, Entry> m_files;
    int m_chunkSize = 0;
    int m_delayMs = 0;
    OrvWebService *m_service = nullptr;
};
