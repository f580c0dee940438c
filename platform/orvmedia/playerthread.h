// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "framedecoder.h"

#include <QImage>
#include <QMutex>
#include <QSize>
#include <QThread>
#include <QWaitCondition>

namespace OrvMedia {

/**
 * The decoding side of OrvAVPlayer: opens the file and, while playing, decodes pictures and hands
 * each one over when the player's clock reaches its time. Pictures that would come too late are
 * skipped so the pictures keep up with the clock.
 *
 * Control calls come from the player's thread; the signals are emitted from this thread.
 */
class PlayerThread : public QThread
{
    Q_OBJECT
public:
    explicit PlayerThread(QObject *parent = nullptr);
    ~PlayerThread() override;

    /// Monotonic milliseconds shared by the player and this thread.
    static qint64 clockMs();

    /// Opens `path`, answered by opened() or openFailed() with the same ticket.
    void open(const QString &path, quint64 ticket);
    /// Shows pictures from `fromMs` on; the clock reads `fromMs` at clockMs() == `epochMs`.
    /// The pictures carry `session`, so the player can tell those of an earlier play() apart.
    void play(qint64 fromMs, qint64 epochMs, quint64 session);
    /// Stops handing over pictures until the next play().
    void halt();

Q_SIGNALS:
    void opened(quint64 ticket, double duration, const QSize &videoSize, bool hasVideo);
    void openFailed(quint64 ticket, int errorNo);
    void frameDecoded(const QImage &frame, qint64 positionMs, quint64 session);

protected:
    void run() override;

private:
    void shutDown();

    QMutex m_mutex;
    QWaitCondition m_wake;
    bool m_quit = false;
    bool m_openPending = false;
    QString m_openPath;
    quint64 m_openTicket = 0;
    bool m_playing = false;
    bool m_seekPending = false;
    qint64 m_fromMs = 0;
    qint64 m_epochMs = 0;
    quint64 m_session = 0;
    quint64 m_generation = 0; // bumped by every command, so work begun before it is thrown away
    FrameDecoder m_decoder;   // run() only
};

} // namespace OrvMedia
