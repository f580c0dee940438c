// SPDX-License-Identifier: LGPL-2.1-or-later
#include "framedecoder.h"
#include "orvmedia_logging.h"

#include <cmath>

namespace OrvMedia {

namespace {
// Frame times are rounded in the container; a picture "at" a time must not miss it by a rounding step.
constexpr double kTimeSlack = 1e-6;
} // namespace

FrameDecoder::FrameDecoder() = default;

FrameDecoder::~FrameDecoder() = default;

Error FrameDecoder::open(const QString &path)
{
    close();
    InputPtr input;
    const Error err = openInput(path, &input);
    if (err != NoError)
        return err;

    m_path = path;
    m_duration = durationSeconds(input.get());
    m_stream = findVideoStream(input.get());
    if (m_stream >= 0) {
        AVStream *stream = input->streams[m_stream];
        m_decoder = openDecoder(stream);
        if (!m_decoder) {
            m_path.clear();
            return DecodeFailed;
        }
        m_size = QSize(stream->codecpar->width, stream->codecpar->height);
        const AVRational rate = av_guess_frame_rate(input.get(), stream, nullptr);
        if (rate.num > 0 && rate.den > 0)
            m_frameInterval = 1.0 / av_q2d(rate);
    }
    m_input = std::move(input);
    m_packet.reset(av_packet_alloc());
    m_frame.reset(av_frame_alloc());
    m_pending.reset(av_frame_alloc());
    return NoError;
}

void FrameDecoder::close()
{
    m_pending.reset();
    m_frame.reset();
    m_packet.reset();
    m_decoder.reset();
    m_input.reset();
    m_sws.reset();
    m_path.clear();
    m_stream = -1;
    m_duration = 0;
    m_frameInterval = 0.04;
    m_size = QSize();
    m_draining = false;
    m_skipBefore = -1;
}

double FrameDecoder::secondsOf(int64_t ts) const
{
    const AVStream *stream = m_input->streams[m_stream];
    return ts * av_q2d(stream->time_base) - startTimeUs(m_input.get()) / double(AV_TIME_BASE);
}

bool FrameDecoder::seekDemuxer(double seconds)
{
    const AVStream *stream = m_input->streams[m_stream];
    const int64_t startUs = startTimeUs(m_input.get());
    const int64_t targetUs = startUs + std::llround(std::max(0.0, seconds) * AV_TIME_BASE);
    int ret = av_seek_frame(m_input.get(), m_stream, av_rescale_q(targetUs, AV_TIME_BASE_Q, stream->time_base),
                            AVSEEK_FLAG_BACKWARD);
    if (ret < 0) {
        // Streams without an index: start over and decode forward.
        ret = avformat_seek_file(m_input.get(), -1, INT64_MIN, startUs, startUs, 0);
    }
    avcodec_flush_buffers(m_decoder.get());
    m_draining = false;
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "seek failed in" << m_path << avErrorText(ret);
        return false;
    }
    return true;
}

FrameDecoder::Step FrameDecoder::decodeOne(AVFrame *frame)
{
    for (;;) {
        int ret = avcodec_receive_frame(m_decoder.get(), frame);
        if (ret == 0)
            return Step::Frame;
        if (ret == AVERROR_EOF)
            return Step::End;
        if (ret != AVERROR(EAGAIN)) {
            qCWarning(lcOrvMedia) << "decoding failed in" << m_path << avErrorText(ret);
            return Step::Failed;
        }
        if (m_draining)
            return Step::End;
        ret = av_read_frame(m_input.get(), m_packet.get());
        if (ret < 0) {
            if (ret != AVERROR_EOF)
                qCWarning(lcOrvMedia) << "read failed in" << m_path << avErrorText(ret);
            m_draining = true;
            avcodec_send_packet(m_decoder.get(), nullptr);
            continue;
        }
        if (m_packet->stream_index == m_stream) {
            ret = avcodec_send_packet(m_decoder.get(), m_packet.get());
            // A damaged packet costs one picture, not the whole request.
            if (ret < 0)
                qCDebug(lcOrvMedia) << "packet rejected by decoder" << avErrorText(ret);
        }
        av_packet_unref(m_packet.get());
    }
}

Error FrameDecoder::frameAt(double seconds, QImage *image, double *frameTime)
{
    if (!m_input)
        return NoVideoOpened;
    if (!hasVideo())
        return NoVideoStream;
    seconds = std::max(0.0, seconds);
    if (!seekDemuxer(seconds))
        return ReadFailed;

    bool have = false;
    double haveTime = 0;
    av_frame_unref(m_pending.get());
    for (;;) {
        if (decodeOne(m_frame.get()) != Step::Frame)
            break;
        const int64_t ts = frameTimestamp(m_frame.get());
        const double t = ts == AV_NOPTS_VALUE ? (have ? haveTime + m_frameInterval : 0.0) : secondsOf(ts);
        if (have && t > seconds + kTimeSlack) {
            av_frame_unref(m_frame.get());
            break;
        }
        av_frame_unref(m_pending.get());
        av_frame_move_ref(m_pending.get(), m_frame.get());
        have = true;
        haveTime = t;
        if (t > seconds + kTimeSlack)
            break; // the first picture already lies after the target
    }
    if (!have)
        return DecodeFailed;
    const QImage converted = frameToImage(m_pending.get(), &m_sws);
    av_frame_unref(m_pending.get());
    if (converted.isNull())
        return DecodeFailed;
    *image = converted;
    *frameTime = std::max(0.0, haveTime);
    return NoError;
}

Error FrameDecoder::seek(double seconds)
{
    if (!m_input)
        return NoVideoOpened;
    if (!hasVideo())
        return NoVideoStream;
    if (!seekDemuxer(seconds))
        return ReadFailed;
    m_skipBefore = std::max(0.0, seconds);
    return NoError;
}

bool FrameDecoder::nextFrame(QImage *image, double *frameTime)
{
    if (!m_input || !hasVideo())
        return false;
    for (;;) {
        if (decodeOne(m_frame.get()) != Step::Frame)
            return false;
        const int64_t ts = frameTimestamp(m_frame.get());
        const double t = ts == AV_NOPTS_VALUE ? std::max(0.0, m_skipBefore) : secondsOf(ts);
        if (m_skipBefore >= 0) {
            // Pictures that are gone from the screen before the seek target are decoded only as references.
            if (t + m_frameInterval <= m_skipBefore + kTimeSlack) {
                av_frame_unref(m_frame.get());
                continue;
            }
            m_skipBefore = -1;
        }
        const QImage converted = frameToImage(m_frame.get(), &m_sws);
        av_frame_unref(m_frame.get());
        if (converted.isNull())
            continue;
        *image = converted;
        *frameTime = std::max(0.0, t);
        return true;
    }
}

} // namespace OrvMedia
