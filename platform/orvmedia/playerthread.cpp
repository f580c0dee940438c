// SPDX-License-Identifier: LGPL-2.1-or-later
#include "playerthread.h"
#include "orvmedia_logging.h"

#include <chrono>
#include <cmath>

namespace OrvMedia {

namespace {
// A picture more than this late is not worth showing; the next one is due soon.
constexpr qint64 kLateMs = 250;
} // namespace

PlayerThread::PlayerThread(QObject *parent)
    : QThread(parent)
{
    setObjectName(QStringLiteral("OrvAVPlayer"));
}

PlayerThread::~PlayerThread()
{
    shutDown();
    wait();
}

qint64 PlayerThread::clockMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void PlayerThread::open(const QString &path, quint64 ticket)
{
    QMutexLocker lock(&m_mutex);
    m_openPath = path;
    m_openTicket = ticket;
    m_openPending = true;
    m_playing = false;
    ++m_generation;
    m_wake.wakeAll();
}

void PlayerThread::play(qint64 fromMs, qint64 epochMs, quint64 session)
{
    QMutexLocker lock(&m_mutex);
    m_fromMs = fromMs;
    m_epochMs = epochMs;
    m_session = session;
    m_playing = true;
    m_seekPending = true;
    ++m_generation;
    m_wake.wakeAll();
}

void PlayerThread::halt()
{
    QMutexLocker lock(&m_mutex);
    m_playing = false;
    ++m_generation;
    m_wake.wakeAll();
}

void PlayerThread::shutDown()
{
    QMutexLocker lock(&m_mutex);
    m_quit = true;
    ++m_generation;
    m_wake.wakeAll();
}

void PlayerThread::run()
{
    QMutexLocker lock(&m_mutex);
    bool shownSinceSeek = false;
    while (!m_quit) {
        if (m_openPending) {
            const QString path = m_openPath;
            const quint64 ticket = m_openTicket;
            m_openPending = false;
            lock.unlock();
            const Error err = m_decoder.open(path);
            if (err == NoError)
                Q_EMIT opened(ticket, m_decoder.duration(), m_decoder.videoSize(), m_decoder.hasVideo());
            else
                Q_EMIT openFailed(ticket, int(err));
            lock.relock();
            continue;
        }
        if (!m_playing || !m_decoder.hasVideo()) {
            m_wake.wait(&m_mutex);
            continue;
        }
        const quint64 generation = m_generation;
        if (m_seekPending) {
            m_seekPending = false;
            const qint64 from = m_fromMs;
            lock.unlock();
            m_decoder.seek(from / 1000.0);
            lock.relock();
            shownSinceSeek = false;
            if (generation != m_generation)
                continue;
        }
        lock.unlock();
        QImage frame;
        double seconds = 0;
        const bool ok = m_decoder.nextFrame(&frame, &seconds);
        lock.relock();
        if (generation != m_generation)
            continue;
        if (!ok) {
            m_playing = false; // no more pictures; the player's clock runs on to the end
            continue;
        }
        const qint64 positionMs = std::llround(seconds * 1000);
        const qint64 due = m_epochMs + (positionMs - m_fromMs);
        for (qint64 now = clockMs(); !m_quit && generation == m_generation && now < due; now = clockMs())
            m_wake.wait(&m_mutex, ulong(due - now));
        if (m_quit || generation != m_generation)
            continue;
        if (shownSinceSeek && clockMs() - due > kLateMs)
            continue;
        shownSinceSeek = true;
        const quint64 session = m_session;
        lock.unlock();
        Q_EMIT frameDecoded(frame, positionMs, session);
        lock.relock();
    }
}

} // namespace OrvMedia
