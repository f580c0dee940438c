// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvavplayer.h"
#include "orvmedia_logging.h"
#include "orvmediaerror.h"
#include "playerthread.h"

#include <cmath>

using OrvMedia::PlayerThread;

OrvAVPlayer::OrvAVPlayer(QObject *parent)
    : QObject(parent)
    , m_thread(new PlayerThread(this))
{
    m_tick.setInterval(100);
    connect(&m_tick, &QTimer::timeout, this, [this] { Q_EMIT positionChanged(position()); });
    m_end.setSingleShot(true);
    connect(&m_end, &QTimer::timeout, this, &OrvAVPlayer::onEndReached);
    connect(m_thread, &PlayerThread::opened, this, &OrvAVPlayer::onOpened);
    connect(m_thread, &PlayerThread::openFailed, this, &OrvAVPlayer::onOpenFailed);
    connect(m_thread, &PlayerThread::frameDecoded, this, [this](const QImage &frame, qint64, quint64 session) {
        // Pictures still queued from before a pause or seek are not shown.
        if (m_state == PlayingState && session == m_session)
            Q_EMIT frameAvailable(frame);
    });
    m_thread->start();
}

OrvAVPlayer::~OrvAVPlayer()
{
    // Joins the thread before the connections above can dangle.
    delete m_thread;
}

void OrvAVPlayer::setFile(const QString &file)
{
    if (file == m_file && (m_loaded || m_loading))
        return;
    stop();
    ++m_ticket; // answers for the previous file are stale
    m_file = file;
    m_loading = false;
    m_loaded = false;
    m_playWhenLoaded = false;
    m_hasVideo = false;
    m_videoSize = QSize();
    if (m_duration != 0) {
        m_duration = 0;
        Q_EMIT durationChanged(0);
    }
}

bool OrvAVPlayer::load()
{
    if (m_file.isEmpty()) {
        qCWarning(lcOrvMedia) << "player: no file to load";
        return false;
    }
    m_loading = true;
    m_loaded = false;
    m_thread->open(m_file, ++m_ticket);
    return true;
}

qint64 OrvAVPlayer::duration() const
{
    return std::llround(m_duration * 1000);
}

qint64 OrvAVPlayer::position() const
{
    if (m_state != PlayingState)
        return m_basePosition;
    return std::min(duration(), m_basePosition + (PlayerThread::clockMs() - m_epoch));
}

void OrvAVPlayer::setNotifyInterval(int ms)
{
    m_tick.setInterval(std::max(1, ms));
}

void OrvAVPlayer::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    Q_EMIT stateChanged(state);
}

void OrvAVPlayer::runClock()
{
    m_epoch = PlayerThread::clockMs();
    m_thread->play(m_basePosition, m_epoch, ++m_session);
    m_tick.start();
    m_end.start(int(std::max<qint64>(0, duration() - m_basePosition)));
}

void OrvAVPlayer::play()
{
    if (m_file.isEmpty()) {
        Q_EMIT error(QStringLiteral("no file to play"));
        return;
    }
    if (!m_loaded) {
        m_playWhenLoaded = true;
        if (!m_loading)
            load();
        return;
    }
    if (m_state == PlayingState)
        return;
    const bool resuming = m_state == PausedState;
    if (m_basePosition >= duration())
        m_basePosition = 0;
    setState(PlayingState);
    runClock();
    if (resuming)
        Q_EMIT paused(false);
    else
        Q_EMIT started();
}

void OrvAVPlayer::play(const QString &file)
{
    setFile(file);
    play();
}

void OrvAVPlayer::start()
{
    play();
}

void OrvAVPlayer::pause(bool pause)
{
    if (!pause) {
        if (m_state == PausedState)
            play();
        return;
    }
    if (m_state != PlayingState)
        return;
    m_basePosition = position();
    m_thread->halt();
    m_tick.stop();
    m_end.stop();
    setState(PausedState);
    Q_EMIT paused(true);
}

void OrvAVPlayer::stop()
{
    m_playWhenLoaded = false;
    if (m_state == StoppedState)
        return;
    m_thread->halt();
    m_tick.stop();
    m_end.stop();
    m_basePosition = 0;
    setState(StoppedState);
    Q_EMIT positionChanged(0);
    Q_EMIT stopped();
}

void OrvAVPlayer::setPosition(qint64 ms)
{
    ms = std::clamp<qint64>(ms, 0, m_loaded ? duration() : 0);
    m_basePosition = ms;
    if (m_state == PlayingState)
        runClock();
    Q_EMIT positionChanged(ms);
}

void OrvAVPlayer::setVolume(qreal volume)
{
    volume = std::max<qreal>(0, volume);
    if (qFuzzyCompare(volume + 1, m_volume + 1))
        return;
    m_volume = volume;
    Q_EMIT volumeChanged(volume);
}

void OrvAVPlayer::onOpened(quint64 ticket, double duration, const QSize &videoSize, bool hasVideo)
{
    if (ticket != m_ticket)
        return;
    m_loading = false;
    m_loaded = true;
    m_videoSize = videoSize;
    m_hasVideo = hasVideo;
    m_basePosition = 0;
    m_duration = duration;
    Q_EMIT durationChanged(this->duration());
    Q_EMIT loaded();
    if (m_playWhenLoaded) {
        m_playWhenLoaded = false;
        play();
    }
}

void OrvAVPlayer::onOpenFailed(quint64 ticket, int errorNo)
{
    if (ticket != m_ticket)
        return;
    m_loading = false;
    m_playWhenLoaded = false;
    const QString message = QStringLiteral("cannot open %1: %2")
                                .arg(m_file, OrvMedia::errorText(OrvMedia::Error(errorNo)));
    qCWarning(lcOrvMedia).noquote() << "player:" << message;
    Q_EMIT error(message);
}

void OrvAVPlayer::onEndReached()
{
    Q_EMIT positionChanged(duration());
    stop();
}
