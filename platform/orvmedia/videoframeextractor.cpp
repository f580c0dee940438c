// SPDX-License-Identifier: LGPL-2.1-or-later
#include "videoframeextractor.h"
#include "framedecoder.h"
#include "orvmedia_logging.h"

#include <QDateTime>
#include <QFileInfo>

#include <cmath>

VideoFrameExtractor::VideoFrameExtractor(QObject *parent)
    : QObject(parent)
    , m_decoder(std::make_unique<OrvMedia::FrameDecoder>())
{
    OrvMedia::installFfmpegLogging();
    m_pool.setObjectName(QStringLiteral("VideoFrameExtractor"));
    m_pool.setMaxThreadCount(1); // jobs share the decoder
}

VideoFrameExtractor::~VideoFrameExtractor()
{
    m_pool.clear();
    m_pool.waitForDone();
}

void VideoFrameExtractor::setSource(const QString &source)
{
    if (source == m_source)
        return;
    m_source = source;
    Q_EMIT sourceChanged();
}

void VideoFrameExtractor::setPosition(qint64 ms)
{
    if (ms != m_position) {
        m_position = ms;
        Q_EMIT positionChanged();
    }
    if (m_autoExtract)
        extract();
}

void VideoFrameExtractor::setAutoExtract(bool autoExtract)
{
    if (autoExtract == m_autoExtract)
        return;
    m_autoExtract = autoExtract;
    Q_EMIT autoExtractChanged();
}

void VideoFrameExtractor::extract()
{
    const QString source = m_source;
    const qint64 position = m_position;
    if (source.isEmpty()) {
        qCWarning(lcOrvMedia) << "frame extractor: no source";
        QMetaObject::invokeMethod(this, [this] { Q_EMIT error(QStringLiteral("no source set")); },
                                  Qt::QueuedConnection);
        return;
    }
    const quint64 request = ++m_latestRequest;
    m_pool.start([this, source, position, request] {
        if (request != m_latestRequest.load())
            return; // a newer request is queued behind this one
        OrvMedia::Error err = OrvMedia::NoError;
        // A file written again under the same name (a new recording joined to the same path)
        // must not be answered from the old one still open.
        const QFileInfo info(source);
        const QString stamp = QStringLiteral("%1/%2").arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
        if (m_decoder->path() != source || !m_decoder->isOpen() || stamp != m_openedStamp) {
            m_openedStamp = stamp;
            err = m_decoder->open(source);
            if (err == OrvMedia::NoError && !m_decoder->hasVideo())
                err = OrvMedia::NoVideoStream;
            if (err != OrvMedia::NoError)
                m_decoder->close();
        }
        QImage image;
        double seconds = 0;
        if (err == OrvMedia::NoError)
            err = m_decoder->frameAt(position / 1000.0, &image, &seconds);
        if (err != OrvMedia::NoError) {
            const QString message = QStringLiteral("cannot extract a frame at %1 ms from %2: %3")
                                        .arg(position).arg(source, OrvMedia::errorText(err));
            QMetaObject::invokeMethod(this, [this, message] {
                qCWarning(lcOrvMedia).noquote() << message;
                Q_EMIT error(message);
            }, Qt::QueuedConnection);
            return;
        }
        const qint64 timestamp = std::llround(seconds * 1000);
        QMetaObject::invokeMethod(this, [this, image, timestamp] {
            m_frameTimestamp = timestamp;
            Q_EMIT frameExtracted(image);
        }, Qt::QueuedConnection);
    });
}
