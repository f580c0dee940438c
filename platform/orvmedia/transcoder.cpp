// SPDX-License-Identifier: LGPL-2.1-or-later
#include "transcoder.h"
#include "avhelpers.h"
#include "orvmedia_logging.h"
#include "outputfile.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cmath>
#include <initializer_list>
#include <vector>

namespace OrvMedia {

namespace {

const AVCodec *pickEncoder(const AVOutputFormat *format, AVCodecID preferred, std::initializer_list<AVCodecID> fallbacks)
{
    auto usable = [format](AVCodecID id) -> const AVCodec * {
        if (id == AV_CODEC_ID_NONE || avformat_query_codec(format, id, FF_COMPLIANCE_NORMAL) != 1)
            return nullptr;
        return avcodec_find_encoder(id);
    };
    if (const AVCodec *codec = usable(preferred))
        return codec;
    for (AVCodecID id : fallbacks) {
        if (const AVCodec *codec = usable(id))
            return codec;
    }
    return nullptr;
}

void pickChannelLayout(const AVCodec *codec, const AVChannelLayout &wanted, AVChannelLayout *out)
{
    if (!codec->ch_layouts) {
        av_channel_layout_copy(out, &wanted);
        return;
    }
    for (const AVChannelLayout *l = codec->ch_layouts; l->nb_channels; ++l) {
        if (av_channel_layout_compare(l, &wanted) == 0) {
            av_channel_layout_copy(out, l);
            return;
        }
    }
    const AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    av_channel_layout_copy(out, &stereo);
}

int pickSampleRate(const AVCodec *codec, int wanted)
{
    if (!codec->supported_samplerates)
        return wanted;
    int best = codec->supported_samplerates[0];
    for (const int *r = codec->supported_samplerates; *r; ++r) {
        if (std::abs(*r - wanted) < std::abs(best - wanted))
            best = *r;
    }
    return best;
}

AVSampleFormat pickSampleFormat(const AVCodec *codec, AVSampleFormat wanted)
{
    if (!codec->sample_fmts)
        return wanted;
    for (const AVSampleFormat *f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
        if (*f == wanted)
            return wanted;
    }
    return codec->sample_fmts[0];
}

} // namespace

class Transcoder::Job
{
public:
    Job(const std::atomic_bool *cancel, OutputFile &output)
        : m_cancel(cancel)
        , m_output(output)
        , m_packet(av_packet_alloc())
    {
    }

    Error setUp(AVFormatContext *first);
    Error addPart(const QString &path, AVFormatContext *input);
    Error finish();

private:
    bool cancelled() const { return m_cancel && m_cancel->load(); }
    Error drain(AVCodecContext *encoder, AVStream *stream);
    Error encodePicture(const AVFrame *decoded, double seconds);
    Error queueAudio(const AVFrame *decoded, SwrContext *swr);
    Error flushResampler(SwrContext *swr);
    Error queueSilence(int64_t samples);
    Error encodeAudio(bool flush);
    void writeToFifo(uint8_t **data, int samples, bool decoded);

    const std::atomic_bool *m_cancel;
    OutputFile &m_output;
    PacketPtr m_packet;

    CodecContextPtr m_video;
    AVStream *m_videoStream = nullptr;
    FramePtr m_picture;
    SwsPtr m_sws;
    int64_t m_lastPicturePts = -1;

    CodecContextPtr m_audio;
    AVStream *m_audioStream = nullptr;
    AudioFifoPtr m_fifo;
    FramePtr m_converted;
    int64_t m_samplesQueued = 0;  // everything put into the fifo, silence included
    int64_t m_samplesEncoded = 0; // pts of the next audio frame
    int64_t m_partSamples = 0;
    int64_t m_partSampleLimit = -1; // decoded sound of the current part beyond this is the codec's padding

    double m_offset = 0; // where the current part starts in the output, seconds
};

Error Transcoder::Job::setUp(AVFormatContext *first)
{
    const AVOutputFormat *format = m_output.context()->oformat;
    const bool globalHeader = format->flags & AVFMT_GLOBALHEADER;

    const int videoIndex = findVideoStream(first);
    AVStream *source = first->streams[videoIndex];
    const AVCodec *codec = pickEncoder(format, source->codecpar->codec_id, {AV_CODEC_ID_H264, AV_CODEC_ID_MPEG4});
    if (!codec) {
        qCWarning(lcOrvMedia) << "no video encoder for" << m_output.path();
        return EncoderUnavailable;
    }
    AVRational rate = av_guess_frame_rate(first, source, nullptr);
    if (rate.num <= 0 || rate.den <= 0)
        rate = AVRational{25, 1};
    AVRational timeBase = av_inv_q(rate);
    av_reduce(&timeBase.num, &timeBase.den, timeBase.num, timeBase.den, 65535); // MPEG-4's limit

    m_video.reset(avcodec_alloc_context3(codec));
    AVCodecContext *v = m_video.get();
    v->width = source->codecpar->width & ~1; // 4:2:0 encoders want even sizes
    v->height = source->codecpar->height & ~1;
    if (v->width <= 0 || v->height <= 0)
        return DecodeFailed;
    v->time_base = timeBase;
    v->framerate = rate;
    v->sample_aspect_ratio = source->codecpar->sample_aspect_ratio;
    v->pix_fmt = codec->pix_fmts
        ? avcodec_find_best_pix_fmt_of_list(codec->pix_fmts, AVPixelFormat(source->codecpar->format), 0, nullptr)
        : AVPixelFormat(source->codecpar->format);
    if (v->pix_fmt == AV_PIX_FMT_NONE)
        v->pix_fmt = AV_PIX_FMT_YUV420P;
    const double fps = av_q2d(rate);
    v->bit_rate = source->codecpar->bit_rate > 0 ? source->codecpar->bit_rate
                                                  : int64_t(v->width * v->height * std::max(fps, 1.0) * 0.15);
    v->gop_size = std::max(1, int(std::lround(fps * 2)));
    v->max_b_frames = 0; // decode order = display order keeps the joints simple
    if (globalHeader)
        v->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (qstrcmp(codec->name, "libx264") == 0)
        av_opt_set(v->priv_data, "preset", "veryfast", 0);
    int ret = avcodec_open2(v, codec, nullptr);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot open encoder" << codec->name << avErrorText(ret);
        return EncoderUnavailable;
    }
    m_videoStream = m_output.addStream();
    if (!m_videoStream || avcodec_parameters_from_context(m_videoStream->codecpar, v) < 0)
        return OpenOutputFailed;
    m_videoStream->time_base = v->time_base;
    m_picture.reset(av_frame_alloc());
    m_picture->format = v->pix_fmt;
    m_picture->width = v->width;
    m_picture->height = v->height;
    if (av_frame_get_buffer(m_picture.get(), 0) < 0)
        return EncoderUnavailable;

    const int audioIndex = findAudioStream(first);
    if (audioIndex >= 0) {
        const AVCodecParameters *in = first->streams[audioIndex]->codecpar;
        const AVCodec *audioCodec = pickEncoder(format, in->codec_id, {AV_CODEC_ID_AAC});
        if (!audioCodec) {
            qCWarning(lcOrvMedia) << "no audio encoder for" << m_output.path();
            return EncoderUnavailable;
        }
        m_audio.reset(avcodec_alloc_context3(audioCodec));
        AVCodecContext *a = m_audio.get();
        AVChannelLayout wanted;
        if (in->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || in->ch_layout.nb_channels == 0)
            av_channel_layout_default(&wanted, std::max(1, in->ch_layout.nb_channels));
        else
            av_channel_layout_copy(&wanted, &in->ch_layout);
        pickChannelLayout(audioCodec, wanted, &a->ch_layout);
        av_channel_layout_uninit(&wanted);
        a->sample_rate = pickSampleRate(audioCodec, in->sample_rate > 0 ? in->sample_rate : 48000);
        a->sample_fmt = pickSampleFormat(audioCodec, AVSampleFormat(in->format));
        a->bit_rate = in->bit_rate > 0 ? in->bit_rate : 128000;
        a->time_base = AVRational{1, a->sample_rate};
        if (globalHeader)
            a->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        ret = avcodec_open2(a, audioCodec, nullptr);
        if (ret < 0) {
            qCWarning(lcOrvMedia) << "cannot open encoder" << audioCodec->name << avErrorText(ret);
            return EncoderUnavailable;
        }
        if (a->frame_size <= 0)
            a->frame_size = 1024; // encoders that take any size
        m_audioStream = m_output.addStream();
        if (!m_audioStream || avcodec_parameters_from_context(m_audioStream->codecpar, a) < 0)
            return OpenOutputFailed;
        m_audioStream->time_base = a->time_base;
        m_fifo.reset(av_audio_fifo_alloc(a->sample_fmt, a->ch_layout.nb_channels, a->frame_size * 4));
        m_converted.reset(av_frame_alloc());
        if (!m_fifo || !m_converted)
            return EncoderUnavailable;
    }
    return m_output.writeHeader();
}

Error Transcoder::Job::drain(AVCodecContext *encoder, AVStream *stream)
{
    for (;;) {
        const int ret = avcodec_receive_packet(encoder, m_packet.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return NoError;
        if (ret < 0) {
            qCWarning(lcOrvMedia) << "encoding failed" << avErrorText(ret);
            return WriteFailed;
        }
        // Pictures last one tick of the frame-rate time base; a last picture without a duration
        // would be cut off by the container's edit list.
        if (m_packet->duration <= 0 && encoder->codec_type == AVMEDIA_TYPE_VIDEO)
            m_packet->duration = 1;
        av_packet_rescale_ts(m_packet.get(), encoder->time_base, stream->time_base);
        m_packet->stream_index = stream->index;
        const Error err = m_output.writePacket(m_packet.get());
        av_packet_unref(m_packet.get());
        if (err != NoError)
            return err;
    }
}

Error Transcoder::Job::encodePicture(const AVFrame *decoded, double seconds)
{
    AVCodecContext *v = m_video.get();
    const int64_t pts = std::llround((m_offset + seconds) / av_q2d(v->time_base));
    if (pts <= m_lastPicturePts)
        return NoError; // a faster part than the target rate: keep one picture per slot
    SwsContext *sws = sws_getCachedContext(m_sws.release(), decoded->width, decoded->height,
                                           AVPixelFormat(decoded->format), v->width, v->height, v->pix_fmt,
                                           SWS_BICUBIC, nullptr, nullptr, nullptr);
    m_sws.reset(sws);
    if (!sws || av_frame_make_writable(m_picture.get()) < 0)
        return DecodeFailed;
    sws_scale(sws, decoded->data, decoded->linesize, 0, decoded->height, m_picture->data, m_picture->linesize);
    m_picture->pts = pts;
    m_lastPicturePts = pts;
    const int ret = avcodec_send_frame(v, m_picture.get());
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "encoder refused a picture" << avErrorText(ret);
        return WriteFailed;
    }
    return drain(v, m_videoStream);
}

void Transcoder::Job::writeToFifo(uint8_t **data, int samples, bool decoded)
{
    if (decoded && m_partSampleLimit >= 0)
        samples = int(std::min<int64_t>(samples, m_partSampleLimit - m_partSamples));
    if (samples <= 0)
        return;
    const int written = av_audio_fifo_write(m_fifo.get(), reinterpret_cast<void **>(data), samples);
    if (written > 0) {
        m_samplesQueued += written;
        if (decoded)
            m_partSamples += written;
    }
}

Error Transcoder::Job::queueAudio(const AVFrame *decoded, SwrContext *swr)
{
    AVCodecContext *a = m_audio.get();
    const int capacity = swr_get_out_samples(swr, decoded ? decoded->nb_samples : 0);
    if (capacity <= 0)
        return NoError;
    av_frame_unref(m_converted.get());
    m_converted->format = a->sample_fmt;
    m_converted->nb_samples = capacity;
    av_channel_layout_copy(&m_converted->ch_layout, &a->ch_layout);
    if (av_frame_get_buffer(m_converted.get(), 0) < 0)
        return DecodeFailed;
    const int converted = swr_convert(swr, m_converted->data, capacity,
                                      decoded ? const_cast<const uint8_t **>(decoded->extended_data) : nullptr,
                                      decoded ? decoded->nb_samples : 0);
    if (converted < 0)
        return DecodeFailed;
    writeToFifo(m_converted->data, converted, true);
    return encodeAudio(false);
}

Error Transcoder::Job::flushResampler(SwrContext *swr)
{
    // Drains what the resampler still holds; it answers 0 samples when empty.
    for (int i = 0; i < 16 && swr_get_out_samples(swr, 0) > 0; ++i) {
        const int64_t before = m_samplesQueued;
        const Error err = queueAudio(nullptr, swr);
        if (err != NoError)
            return err;
        if (m_samplesQueued == before)
            break;
    }
    return NoError;
}

Error Transcoder::Job::queueSilence(int64_t samples)
{
    AVCodecContext *a = m_audio.get();
    while (samples > 0) {
        const int chunk = int(std::min<int64_t>(samples, 4096));
        av_frame_unref(m_converted.get());
        m_converted->format = a->sample_fmt;
        m_converted->nb_samples = chunk;
        av_channel_layout_copy(&m_converted->ch_layout, &a->ch_layout);
        if (av_frame_get_buffer(m_converted.get(), 0) < 0)
            return DecodeFailed;
        av_samples_set_silence(m_converted->data, 0, chunk, a->ch_layout.nb_channels, a->sample_fmt);
        writeToFifo(m_converted->data, chunk, false);
        samples -= chunk;
    }
    return encodeAudio(false);
}

Error Transcoder::Job::encodeAudio(bool flush)
{
    AVCodecContext *a = m_audio.get();
    const bool anySize = a->codec->capabilities & (AV_CODEC_CAP_VARIABLE_FRAME_SIZE | AV_CODEC_CAP_SMALL_LAST_FRAME);
    while (av_audio_fifo_size(m_fifo.get()) >= a->frame_size || (flush && av_audio_fifo_size(m_fifo.get()) > 0)) {
        const int available = std::min(av_audio_fifo_size(m_fifo.get()), a->frame_size);
        FramePtr frame(av_frame_alloc());
        frame->format = a->sample_fmt;
        frame->nb_samples = anySize ? available : a->frame_size;
        frame->sample_rate = a->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &a->ch_layout);
        if (av_frame_get_buffer(frame.get(), 0) < 0)
            return WriteFailed;
        if (frame->nb_samples > available)
            av_samples_set_silence(frame->data, available, frame->nb_samples - available,
                                   a->ch_layout.nb_channels, a->sample_fmt);
        av_audio_fifo_read(m_fifo.get(), reinterpret_cast<void **>(frame->data), available);
        frame->pts = m_samplesEncoded;
        m_samplesEncoded += frame->nb_samples;
        const int ret = avcodec_send_frame(a, frame.get());
        if (ret < 0) {
            qCWarning(lcOrvMedia) << "encoder refused audio" << avErrorText(ret);
            return WriteFailed;
        }
        const Error err = drain(a, m_audioStream);
        if (err != NoError)
            return err;
    }
    return NoError;
}

Error Transcoder::Job::addPart(const QString &path, AVFormatContext *input)
{
    const int videoIndex = findVideoStream(input);
    const int audioIndex = m_audio ? findAudioStream(input) : -1;
    const double origin = startTimeUs(input) / double(AV_TIME_BASE);
    CodecContextPtr videoDecoder = openDecoder(input->streams[videoIndex]);
    if (!videoDecoder)
        return DecodeFailed;
    CodecContextPtr audioDecoder = audioIndex >= 0 ? openDecoder(input->streams[audioIndex]) : nullptr;
    SwrPtr swr;
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    const AVStream *videoSource = input->streams[videoIndex];
    const AVRational rate = av_guess_frame_rate(input, const_cast<AVStream *>(videoSource), nullptr);
    const double interval = rate.num > 0 && rate.den > 0 ? 1.0 / av_q2d(rate) : av_q2d(m_video->time_base);
    double videoEnd = 0;
    m_partSamples = 0;
    m_partSampleLimit = -1;
    if (audioIndex >= 0) {
        // The decoder hands out whole codec frames; the stream's own length says where the sound ends.
        const AVStream *sound = input->streams[audioIndex];
        if (sound->duration != AV_NOPTS_VALUE && sound->duration > 0)
            m_partSampleLimit = std::llround(sound->duration * av_q2d(sound->time_base) * m_audio->sample_rate);
    }

    auto takePictures = [&]() -> Error {
        for (;;) {
            const int ret = avcodec_receive_frame(videoDecoder.get(), frame.get());
            if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
                return NoError;
            if (ret < 0)
                return DecodeFailed;
            const int64_t ts = frameTimestamp(frame.get());
            const double t = ts == AV_NOPTS_VALUE ? videoEnd : ts * av_q2d(videoSource->time_base) - origin;
            const Error err = t < 0 ? NoError : encodePicture(frame.get(), t);
            av_frame_unref(frame.get());
            if (err != NoError)
                return err;
            videoEnd = std::max(videoEnd, t + interval);
        }
    };
    auto takeSound = [&]() -> Error {
        for (;;) {
            const int ret = avcodec_receive_frame(audioDecoder.get(), frame.get());
            if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
                return NoError;
            if (ret < 0)
                return DecodeFailed;
            if (!swr) {
                AVChannelLayout layout;
                if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
                    av_channel_layout_default(&layout, frame->ch_layout.nb_channels);
                else
                    av_channel_layout_copy(&layout, &frame->ch_layout);
                SwrContext *ctx = nullptr;
                const int r = swr_alloc_set_opts2(&ctx, &m_audio->ch_layout, m_audio->sample_fmt, m_audio->sample_rate,
                                                  &layout, AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr);
                av_channel_layout_uninit(&layout);
                swr.reset(ctx);
                if (r < 0 || swr_init(ctx) < 0) {
                    qCWarning(lcOrvMedia) << "cannot convert the sound of" << path;
                    return DecodeFailed;
                }
            }
            const Error err = queueAudio(frame.get(), swr.get());
            av_frame_unref(frame.get());
            if (err != NoError)
                return err;
        }
    };

    for (;;) {
        if (cancelled())
            return Cancelled;
        const int ret = av_read_frame(input, packet.get());
        if (ret == AVERROR_EOF)
            break;
        if (ret < 0) {
            qCWarning(lcOrvMedia) << "read failed in" << path << avErrorText(ret);
            return ReadFailed;
        }
        Error err = NoError;
        if (packet->stream_index == videoIndex) {
            if (avcodec_send_packet(videoDecoder.get(), packet.get()) >= 0)
                err = takePictures();
        } else if (audioDecoder && packet->stream_index == audioIndex) {
            if (avcodec_send_packet(audioDecoder.get(), packet.get()) >= 0)
                err = takeSound();
        }
        av_packet_unref(packet.get());
        if (err != NoError)
            return err;
    }
    avcodec_send_packet(videoDecoder.get(), nullptr);
    Error err = takePictures();
    if (err == NoError && audioDecoder) {
        avcodec_send_packet(audioDecoder.get(), nullptr);
        err = takeSound();
    }
    if (err == NoError && swr)
        err = flushResampler(swr.get());
    if (err != NoError)
        return err;

    double length = videoEnd;
    if (m_audio)
        length = std::max(length, m_partSamples / double(m_audio->sample_rate));
    if (length <= 0)
        length = durationSeconds(input);
    m_offset += length;
    if (m_audio) {
        // Pad so the next part's sound starts with its pictures.
        const int64_t target = std::llround(m_offset * m_audio->sample_rate);
        if (m_samplesQueued < target)
            return queueSilence(target - m_samplesQueued);
    }
    return NoError;
}

Error Transcoder::Job::finish()
{
    Error err = NoError;
    if (m_audio) {
        err = encodeAudio(true);
        if (err == NoError) {
            avcodec_send_frame(m_audio.get(), nullptr);
            err = drain(m_audio.get(), m_audioStream);
        }
    }
    if (err == NoError) {
        avcodec_send_frame(m_video.get(), nullptr);
        err = drain(m_video.get(), m_videoStream);
    }
    return err == NoError ? m_output.finish() : err;
}

Transcoder::Transcoder(const std::atomic_bool *cancel)
    : m_cancel(cancel)
{
}

Transcoder::~Transcoder() = default;

Error Transcoder::run(const QStringList &parts, const QString &dst)
{
    if (parts.isEmpty() || dst.isEmpty())
        return InvalidArgument;
    std::vector<InputPtr> inputs(size_t(parts.size()));
    for (int i = 0; i < parts.size(); ++i) {
        const Error err = openInput(parts[i], &inputs[size_t(i)]);
        if (err != NoError)
            return err;
        if (findVideoStream(inputs[size_t(i)].get()) < 0) {
            qCWarning(lcOrvMedia) << parts[i] << "holds no video";
            return NoVideoStream;
        }
    }
    OutputFile output(dst);
    Error err = output.open();
    if (err != NoError)
        return err;
    Job job(m_cancel, output);
    err = job.setUp(inputs.front().get());
    for (int i = 0; err == NoError && i < parts.size(); ++i)
        err = job.addPart(parts[i], inputs[size_t(i)].get());
    if (err == NoError)
        err = job.finish();
    return err;
}

} // namespace OrvMedia
