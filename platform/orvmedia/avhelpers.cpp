// SPDX-License-Identifier: LGPL-2.1-or-later
#include "avhelpers.h"
#include "orvmedia_logging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <mutex>

Q_LOGGING_CATEGORY(lcOrvMediaFfmpeg, "orv.media.ffmpeg", QtWarningMsg)

namespace OrvMedia {

namespace {

void ffmpegLogCallback(void *avcl, int level, const char *fmt, va_list vl)
{
    if (level > av_log_get_level() || !lcOrvMediaFfmpeg().isDebugEnabled())
        return;
    char line[1024];
    int printPrefix = 1;
    av_log_format_line(avcl, level, fmt, vl, line, sizeof line, &printPrefix);
    qCDebug(lcOrvMediaFfmpeg).noquote() << QString::fromUtf8(line).trimmed();
}

} // namespace

void installFfmpegLogging()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(ffmpegLogCallback); });
}

QString avErrorText(int averror)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(averror, text, sizeof text);
    return QString::fromUtf8(text);
}

QByteArray ffmpegFileName(const QString &path)
{
#ifdef Q_OS_WIN
    return QDir::toNativeSeparators(path).toUtf8();
#else
    return QFile::encodeName(path);
#endif
}

bool isMediaStream(const AVStream *stream)
{
    const AVMediaType type = stream->codecpar->codec_type;
    if (type == AVMEDIA_TYPE_AUDIO)
        return true;
    return type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
}

Error openInput(const QString &path, InputPtr *input)
{
    installFfmpegLogging();
    input->reset();
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        qCWarning(lcOrvMedia) << "no such media file" << path;
        return OpenInputFailed;
    }
    AVFormatContext *ctx = nullptr;
    int ret = avformat_open_input(&ctx, ffmpegFileName(path).constData(), nullptr, nullptr);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot open" << path << avErrorText(ret);
        return OpenInputFailed;
    }
    InputPtr owned(ctx);
    ret = avformat_find_stream_info(ctx, nullptr);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot read stream info of" << path << avErrorText(ret);
        return OpenInputFailed;
    }
    bool hasMedia = false;
    for (unsigned i = 0; i < ctx->nb_streams; ++i)
        hasMedia = hasMedia || isMediaStream(ctx->streams[i]);
    if (!hasMedia) {
        qCWarning(lcOrvMedia) << path << "holds neither audio nor video";
        return OpenInputFailed;
    }
    *input = std::move(owned);
    return NoError;
}

int findVideoStream(AVFormatContext *input)
{
    int best = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best >= 0 && isMediaStream(input->streams[best]))
        return best;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        if (input->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && isMediaStream(input->streams[i]))
            return int(i);
    }
    return -1;
}

int findAudioStream(AVFormatContext *input)
{
    const int best = av_find_best_stream(input, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    return best >= 0 ? best : -1;
}

int64_t startTimeUs(const AVFormatContext *input)
{
    return input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time;
}

double durationSeconds(const AVFormatContext *input)
{
    if (input->duration != AV_NOPTS_VALUE && input->duration > 0)
        return input->duration / double(AV_TIME_BASE);
    double longest = 0;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream *s = input->streams[i];
        if (s->duration != AV_NOPTS_VALUE && s->duration > 0)
            longest = std::max(longest, s->duration * av_q2d(s->time_base));
    }
    return longest;
}

CodecContextPtr openDecoder(const AVStream *stream)
{
    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) {
        qCWarning(lcOrvMedia) << "no decoder for" << avcodec_get_name(stream->codecpar->codec_id);
        return {};
    }
    CodecContextPtr ctx(avcodec_alloc_context3(codec));
    if (!ctx || avcodec_parameters_to_context(ctx.get(), stream->codecpar) < 0)
        return {};
    ctx->pkt_timebase = stream->time_base;
    ctx->thread_count = 2;
    const int ret = avcodec_open2(ctx.get(), codec, nullptr);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot open decoder" << codec->name << avErrorText(ret);
        return {};
    }
    return ctx;
}

QImage frameToImage(const AVFrame *frame, SwsPtr *cache)
{
    if (!frame || frame->width <= 0 || frame->height <= 0)
        return {};
    SwsContext *sws = sws_getCachedContext(cache->release(), frame->width, frame->height,
                                           AVPixelFormat(frame->format), frame->width, frame->height,
                                           AV_PIX_FMT_RGB32, SWS_BICUBIC, nullptr, nullptr, nullptr);
    cache->reset(sws);
    if (!sws) {
        qCWarning(lcOrvMedia) << "no conversion from pixel format" << frame->format;
        return {};
    }
    QImage image(frame->width, frame->height, QImage::Format_RGB32);
    if (image.isNull())
        return {};
    uint8_t *dst[4] = {image.bits(), nullptr, nullptr, nullptr};
    int dstStride[4] = {int(image.bytesPerLine()), 0, 0, 0};
    sws_scale(sws, frame->data, frame->linesize, 0, frame->height, dst, dstStride);
    return image;
}

int64_t frameTimestamp(const AVFrame *frame)
{
    return frame->best_effort_timestamp != AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
}

} // namespace OrvMedia
