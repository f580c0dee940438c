// SPDX-License-Identifier: LGPL-2.1-or-later
#include "samplevideo.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <QFile>
#include <cmath>
#include <memory>

namespace {

struct Writer {
    AVFormatContext *format = nullptr;
    AVCodecContext *video = nullptr;
    AVCodecContext *audio = nullptr;
    AVStream *videoStream = nullptr;
    AVStream *audioStream = nullptr;
    AVFrame *frame = nullptr;
    AVPacket *packet = nullptr;

    ~Writer()
    {
        avcodec_free_context(&video);
        avcodec_free_context(&audio);
        av_frame_free(&frame);
        av_packet_free(&packet);
        if (format) {
            if (format->pb)
                avio_closep(&format->pb);
            avformat_free_context(format);
        }
    }

    int drain(AVCodecContext *codec, AVStream *stream)
    {
        for (;;) {
            int ret = avcodec_receive_packet(codec, packet);
            if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
                return 0;
            if (ret < 0)
                return ret;
            if (packet->duration <= 0 && codec->codec_type == AVMEDIA_TYPE_VIDEO)
                packet->duration = 1; // one picture; without it the container drops the last one
            av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            ret = av_interleaved_write_frame(format, packet);
            if (ret < 0)
                return ret;
        }
    }
};

QString avText(int err)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(err, text, sizeof text);
    return QString::fromUtf8(text);
}

// BT.601 limited range, what decoders assume for untagged video.
void toYuv(const QColor &c, uint8_t *y, uint8_t *u, uint8_t *v)
{
    const double r = c.redF(), g = c.greenF(), b = c.blueF();
    *y = uint8_t(std::lround(16 + 65.481 * r + 128.553 * g + 24.966 * b));
    *u = uint8_t(std::lround(128 - 37.797 * r - 74.203 * g + 112.0 * b));
    *v = uint8_t(std::lround(128 + 112.0 * r - 93.786 * g - 18.214 * b));
}

} // namespace

QString SampleVideo::write(const QString &path) const
{
    av_log_set_level(AV_LOG_ERROR); // keep encoder banners out of the log
    Writer w;
    const QByteArray name = QFile::encodeName(path);
    int ret = avformat_alloc_output_context2(&w.format, nullptr, nullptr, name.constData());
    if (ret < 0)
        return QStringLiteral("no container for %1").arg(path);
    const bool globalHeader = w.format->oformat->flags & AVFMT_GLOBALHEADER;

    if (video) {
        const AVCodec *videoCodec = avcodec_find_encoder(h264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_MPEG4);
        if (!videoCodec)
            return QStringLiteral("no video encoder");
        w.video = avcodec_alloc_context3(videoCodec);
        w.video->width = size.width();
        w.video->height = size.height();
        w.video->time_base = AVRational{1, fps};
        w.video->framerate = AVRational{fps, 1};
        w.video->pix_fmt = AV_PIX_FMT_YUV420P;
        w.video->gop_size = gop;
        w.video->max_b_frames = 0;
        if (!h264) {
            w.video->flags |= AV_CODEC_FLAG_QSCALE;
            w.video->global_quality = FF_QP2LAMBDA * 3;
        }
        if (globalHeader)
            w.video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (h264) {
            av_opt_set(w.video->priv_data, "preset", "ultrafast", 0);
            av_opt_set_int(w.video->priv_data, "keyint_min", gop, 0);
            av_opt_set(w.video->priv_data, "x264-params", "scenecut=0", 0);
        }
        ret = avcodec_open2(w.video, videoCodec, nullptr);
        if (ret < 0)
            return QStringLiteral("video encoder: %1").arg(avText(ret));
        w.videoStream = avformat_new_stream(w.format, nullptr);
        avcodec_parameters_from_context(w.videoStream->codecpar, w.video);
        w.videoStream->time_base = w.video->time_base;
    }

    if (audio) {
        const AVCodec *audioCodec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (!audioCodec)
            return QStringLiteral("no audio encoder");
        w.audio = avcodec_alloc_context3(audioCodec);
        w.audio->sample_rate = 22050;
        w.audio->sample_fmt = AV_SAMPLE_FMT_FLTP;
        const AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
        av_channel_layout_copy(&w.audio->ch_layout, &mono);
        w.audio->bit_rate = 32000;
        w.audio->time_base = AVRational{1, w.audio->sample_rate};
        if (globalHeader)
            w.audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        ret = avcodec_open2(w.audio, audioCodec, nullptr);
        if (ret < 0)
            return QStringLiteral("audio encoder: %1").arg(avText(ret));
        w.audioStream = avformat_new_stream(w.format, nullptr);
        avcodec_parameters_from_context(w.audioStream->codecpar, w.audio);
        w.audioStream->time_base = w.audio->time_base;
    }

    ret = avio_open(&w.format->pb, name.constData(), AVIO_FLAG_WRITE);
    if (ret < 0)
        return QStringLiteral("cannot write %1: %2").arg(path, avText(ret));
    ret = avformat_write_header(w.format, nullptr);
    if (ret < 0)
        return QStringLiteral("header: %1").arg(avText(ret));

    w.frame = av_frame_alloc();
    w.packet = av_packet_alloc();
    if (video) {
        const int pictures = seconds.size() * fps;
        for (int i = 0; i < pictures; ++i) {
            av_frame_unref(w.frame);
            w.frame->format = AV_PIX_FMT_YUV420P;
            w.frame->width = size.width();
            w.frame->height = size.height();
            av_frame_get_buffer(w.frame, 0);
            uint8_t y, u, v;
            toYuv(seconds[i / fps], &y, &u, &v);
            for (int row = 0; row < size.height(); ++row)
                memset(w.frame->data[0] + row * w.frame->linesize[0], y, size_t(size.width()));
            for (int row = 0; row < (size.height() + 1) / 2; ++row) {
                memset(w.frame->data[1] + row * w.frame->linesize[1], u, size_t((size.width() + 1) / 2));
                memset(w.frame->data[2] + row * w.frame->linesize[2], v, size_t((size.width() + 1) / 2));
            }
            w.frame->pts = i;
            if ((ret = avcodec_send_frame(w.video, w.frame)) < 0 || (ret = w.drain(w.video, w.videoStream)) < 0)
                return QStringLiteral("video: %1").arg(avText(ret));
        }
        avcodec_send_frame(w.video, nullptr);
        if ((ret = w.drain(w.video, w.videoStream)) < 0)
            return QStringLiteral("video: %1").arg(avText(ret));
    }

    if (audio) {
        const int total = seconds.size() * w.audio->sample_rate;
        const int frameSize = w.audio->frame_size;
        for (int done = 0; done < total; done += frameSize) {
            av_frame_unref(w.frame);
            w.frame->format = AV_SAMPLE_FMT_FLTP;
            w.frame->nb_samples = std::min(frameSize, total - done);
            w.frame->sample_rate = w.audio->sample_rate;
            av_channel_layout_copy(&w.frame->ch_layout, &w.audio->ch_layout);
            av_frame_get_buffer(w.frame, 0);
            auto *samples = reinterpret_cast<float *>(w.frame->data[0]);
            for (int s = 0; s < w.frame->nb_samples; ++s)
                samples[s] = float(0.2 * std::sin(2 * M_PI * 440.0 * (done + s) / w.audio->sample_rate));
            w.frame->pts = done;
            if ((ret = avcodec_send_frame(w.audio, w.frame)) < 0 || (ret = w.drain(w.audio, w.audioStream)) < 0)
                return QStringLiteral("audio: %1").arg(avText(ret));
        }
        avcodec_send_frame(w.audio, nullptr);
        if ((ret = w.drain(w.audio, w.audioStream)) < 0)
            return QStringLiteral("audio: %1").arg(avText(ret));
    }
    ret = av_write_trailer(w.format);
    if (ret < 0)
        return QStringLiteral("trailer: %1").arg(avText(ret));
    return {};
}

