// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>
#include <QUrl>
#include <memory>

class OrvTransferQueuePrivate;

/**
 * The client's download queue: each transfer fetches one address into one file, a few at a time,
 * in the order queued. HTTP runs on libcurl, driven by the Qt event loop of the queue's thread.
 *
 * Only addresses on the allow-list are fetched (allowUrl() for one address, allowOrigin() for a
 * whole server); a redirect must lead to an allowed address too. File names are reduced to plain
 * names (OrvFileNames::plainFileName), so a name like "../../x" lands as "x" inside the chosen
 * folder.
 *
 * A transfer writes to a hidden temporary file beside its target. Only a complete body (as long
 * as its Content-Length says, or a chunked body whose framing is intact up to its last chunk) of
 * a successful answer is moved into place; anything else fails and leaves nothing behind. A
 * transfer that receives nothing for stallTimeout() ms fails with an error that says it stalled.
 *
 * An existing file is replaced only with Conflict::Replace, meant for a path the user picked in a
 * save dialog that asked first; otherwise the transfer takes a free name "name(1).ext", ...,
 * also when a file of that name appears while it runs. A path another transfer targets is never
 * free: two transfers never write the same file, and freeFilePath() never offers it.
 *
 * Used on the GUI thread.
 */
class OrvTransferQueue : public QObject
{
    Q_OBJECT
public:
    enum class Conflict {
        KeepBoth, ///< pick "name(1).ext" etc. when the name is taken, by a file or a queued transfer
        Replace,  ///< the user chose to replace the file at this path
    };
    Q_ENUM(Conflict)

    enum class State { Queued, Running, Finished, Failed, Cancelled };
    Q_ENUM(State)

    struct Transfer
    {
        int id = 0;
        QUrl url;
        QString filePath; ///< where it is (or will be) written; may change for KeepBoth until it ends
        State state = State::Queued;
        qint64 received = 0;
        qint64 total = -1; ///< -1 while unknown
        QString error;
    };

    static constexpr int DefaultMaxActive = 3;
    /// A transfer that receives nothing for this long fails.
    static constexpr int DefaultStallTimeout = 60000;

    /// The process-wide queue; tests may make their own.
    static OrvTransferQueue *instance();
    static void release();

    explicit OrvTransferQueue(QObject *parent = nullptr);
    ~OrvTransferQueue() override;

    void setMaxActive(int count);
    int maxActive() const;
    void setStallTimeout(int ms);
    int stallTimeout() const;

    /// Allows exactly this address (the fragment is ignored, the query counts).
    void allowUrl(const QUrl &url);
    /// Allows every address on the scheme, host and port of origin.
    void allowOrigin(const QUrl &origin);
    void clearAllowList();
    bool isAllowed(const QUrl &url) const;

    /**
     * The first free path for fileName (made plain) in folder: nothing exists there and no
     * pending transfer targets it. What a save dialog should offer. Empty when no name is left.
     */
    QString freeFilePath(const QString &folder, const QString &fileName) const;
    /// True while a queued or running transfer is to write path.
    bool isTargeted(const QString &path) const;

    /**
     * Queues url into folder (created when missing) under fileName made plain; an empty or
     * unusable name falls back to the last segment of the address, then to "download".
     * Returns the transfer's id, or 0 (and a log line) when the address is not allowed, is
     * not http(s) or no free name is left. Replace applies only to a file that exists now: a
     * file appearing later was not what the user agreed to replace.
     */
    int enqueue(const QUrl &url, const QString &folder, const QString &fileName,
                Conflict conflict = Conflict::KeepBoth);
    /// For a full path picked in a save dialog: the file there may be replaced.
    int enqueueFile(const QUrl &url, const QString &filePath);

    /// Stops a queued or running transfer; its partial file is removed. Emits failed().
    void cancel(int id);

    Transfer transfer(int id) const;
    /// Queued and running transfers.
    int pendingCount() const;

Q_SIGNALS:
    void started(int id, const QString &filePath);
    void progress(int id, qint64 received, qint64 total);
    void finished(int id, const QString &filePath);
    void failed(int id, const QString &error);
    /// The last pending transfer ended.
    void drained();

private:
    std::unique_ptr<OrvTransferQueuePrivate> const d;
    friend class OrvTransferQueuePrivate;
    static OrvTransferQueue *s_instance;
};
