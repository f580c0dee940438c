// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "avhelpers.h"

#include <QImage>
#include <QSize>
#include <QString>

namespace OrvMedia {

/**
 * Decodes pictures of one video file: random access (frameAt) for thumbnails and cover frames,
 * sequential access (seek + nextFrame) for playback. Times are seconds from the start of the file.
 * Not thread-safe; one thread at a time.
 */
class FrameDecoder
{
public:
    FrameDecoder();
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder &) = delete;
    FrameDecoder &operator=(const FrameDecoder &) = delete;

    /// Opens the file. A file with audio only opens (duration known) but has no pictures.
    Error open(const QString &path);
    void close();
    bool isOpen() const { return bool(m_input); }
    QString path() const { return m_path; }

    bool hasVideo() const { return m_decoder != nullptr; }
    double duration() const { return m_duration; }
    QSize videoSize() const { return m_size; }
    /// Nominal time between pictures (1/25 s when the file does not say).
    double frameInterval() const { return m_frameInterval; }

    /// The picture on screen at `seconds`: the last one starting at or before it,
    /// the first one when `seconds` lies before it, the last one when it lies past the end.
    Error frameAt(double seconds, QImage *image, double *frameTime);

    /// Positions sequential decoding so that nextFrame() starts with the picture on screen at `seconds`.
    Error seek(double seconds);
    /// Next picture in presentation order. Returns false at the end of the stream or on error.
    bool nextFrame(QImage *image, double *frameTime);

private:
    enum class Step { Frame, Again, End, Failed };
    /// Feeds the decoder until one picture comes out.
    Step decodeOne(AVFrame *frame);
    double secondsOf(int64_t ts) const;
    bool seekDemuxer(double seconds);

    QString m_path;
    InputPtr m_input;
    CodecContextPtr m_decoder;
    PacketPtr m_packet;
    FramePtr m_frame;
    FramePtr m_pending;
    SwsPtr m_sws;
    int m_stream = -1;
    double m_duration = 0;
    double m_frameInterval = 0.04;
    QSize m_size;
    bool m_draining = false;
    double m_skipBefore = -1;
};

} // namespace OrvMedia
