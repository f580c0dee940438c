// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QTimer>

namespace OrvMedia {
class PlayerThread;
}

/**
 * A media player without an output device: it opens a file, runs a playback clock and hands out
 * the pictures due on that clock (frameAvailable) for a widget to paint. Sound is not played;
 * the volume is kept for the host to read.
 *
 * Opening and decoding run on the player's own thread; every signal arrives on the thread that
 * owns the player.
 */
class OrvAVPlayer : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(qreal volume READ volume WRITE setVolume NOTIFY volumeChanged)
public:
    enum State { StoppedState, PlayingState, PausedState };
    Q_ENUM(State)

    explicit OrvAVPlayer(QObject *parent = nullptr);
    ~OrvAVPlayer() override;

    /// Sets the file to play; stops playback and forgets the previous file's details.
    void setFile(const QString &file);
    QString file() const { return m_file; }
    /// Opens the file in the background; answered by loaded() or error(). False without a file.
    bool load();
    bool isLoaded() const { return m_loaded; }

    /// Duration in seconds, known once loaded() was emitted.
    double durationF() const { return m_duration; }
    /// Duration in milliseconds.
    qint64 duration() const;
    QSize videoSize() const { return m_videoSize; }
    bool hasVideo() const { return m_hasVideo; }

    /// Playback position in milliseconds; advances while playing.
    qint64 position() const;
    State state() const { return m_state; }
    bool isPlaying() const { return m_state == PlayingState; }
    bool isPaused() const { return m_state == PausedState; }

    qreal volume() const { return m_volume; }

    /// How often positionChanged() is emitted while playing, in milliseconds.
    int notifyInterval() const { return m_tick.interval(); }
    void setNotifyInterval(int ms);

public Q_SLOTS:
    /// Plays from the current position, loading the file first when needed.
    void play();
    void play(const QString &file);
    /// Same as play().
    void start();
    void pause(bool pause = true);
    void stop();
    void setPosition(qint64 ms);
    /// Volume from 0 (silent) up; stored only, there is no sound output.
    void setVolume(qreal volume);

Q_SIGNALS:
    void loaded();
    void error(const QString &message);
    void started();
    void stopped();
    void paused(bool paused);
    void stateChanged(OrvAVPlayer::State state);
    void positionChanged(qint64 position);
    void durationChanged(qint64 duration);
    void volumeChanged(qreal volume);
    /// A picture whose time has come, while playing.
    void frameAvailable(const QImage &frame);

private:
    void setState(State state);
    void runClock();
    void onOpened(quint64 ticket, double duration, const QSize &videoSize, bool hasVideo);
    void onOpenFailed(quint64 ticket, int errorNo);
    void onEndReached();

    OrvMedia::PlayerThread *m_thread;
    QString m_file;
    quint64 m_ticket = 0;
    bool m_loading = false;
    bool m_loaded = false;
    bool m_playWhenLoaded = false;
    double m_duration = 0;
    QSize m_videoSize;
    bool m_hasVideo = false;
    State m_state = StoppedState;
    qint64 m_basePosition = 0; // position when the clock was last (re)started or stopped
    qint64 m_epoch = 0;        // clock reading at m_basePosition while playing
    quint64 m_session = 0;     // one per run of the clock; pictures of older runs are stale
    qreal m_volume = 1.0;
    QTimer m_tick;
    QTimer m_end;
};
