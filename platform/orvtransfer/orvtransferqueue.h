// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <memory>

class QNetworkAccessManager;
class OrvTransferQueuePrivate;

/**
 * The client's download queue: each transfer fetches one address into one file, a few at a time,
 * in the order queued.
 *
 * Only addresses on the allow-list are fetched (allowUrl() for one address, allowOrigin() for a
 * whole server); a redirect must lead to an allowed address too. File names are reduced to plain
 * names (OrvFileNames::plainFileName), so a name like "../../x" lands as "x" inside the chosen
 * folder. A file is written through QSaveFile: until the transfer succeeds nothing appears under
 * the final name, and a failed transfer leaves nothing behind.
 *
 * An existing file is replaced only with Conflict::Replace, meant for a path the user picked in a
 * save dialog that asked first; otherwise the transfer takes a free name "name(1).ext", ....
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
        QString filePath; ///< where it is (or will be) written; may change for KeepBoth until it starts
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

    /// Shares another manager (not owned); by default the queue has its own.
    void setNetworkAccessManager(QNetworkAccessManager *manager);
    QNetworkAccessManager *networkAccessManager() const;

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
     * Queues url into folder (created when missing) under fileName made plain; an empty or
     * unusable name falls back to the last segment of the address, then to "download".
     * Returns the transfer's id, or 0 (and a log line) when the address is not allowed, is
     * not http(s) or no free name is left.
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
