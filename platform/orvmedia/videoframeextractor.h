// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <atomic>
#include <memory>

namespace OrvMedia {
class FrameDecoder;
}

/**
 * Takes single pictures out of a video file, for covers and thumbnails.
 *
 * Set the source and a position (milliseconds); with automatic extraction on (the default) every
 * setPosition() asks for the picture, otherwise call extract(). Decoding runs on the extractor's
 * own thread; the answer is frameExtracted() with the picture as a QImage (32-bit RGB), or error().
 * When requests pile up faster than they are served, only the newest one is answered.
 */
class VideoFrameExtractor : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(qint64 position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(bool autoExtract READ autoExtract WRITE setAutoExtract NOTIFY autoExtractChanged)
public:
    explicit VideoFrameExtractor(QObject *parent = nullptr);
    ~VideoFrameExtractor() override;

    QString source() const { return m_source; }
    void setSource(const QString &source);
    qint64 position() const { return m_position; }
    void setPosition(qint64 ms);
    bool autoExtract() const { return m_autoExtract; }
    void setAutoExtract(bool autoExtract);
    /// Time in milliseconds of the picture last delivered by frameExtracted() (it may lie a little
    /// before the requested position: the picture on screen at that moment).
    qint64 frameTimestamp() const { return m_frameTimestamp; }

public Q_SLOTS:
    void extract();

Q_SIGNALS:
    void frameExtracted(const QImage &frame);
    void error(const QString &errorMessage);
    void sourceChanged();
    void positionChanged();
    void autoExtractChanged();

private:
    QString m_source;
    qint64 m_position = 0;
    bool m_autoExtract = true;
    qint64 m_frameTimestamp = -1;
    std::atomic<quint64> m_latestRequest{0};
    std::unique_ptr<OrvMedia::FrameDecoder> m_decoder; // used by the pool's jobs only
    QString m_openedStamp;                             // the open file's size and time; pool's jobs only
    QThreadPool m_pool;
};
