// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Small helpers shared by the FFmpeg code of this library: owning pointers for libav* objects,
// opening inputs and decoders, time conversion and picture conversion.

#include "orvmediaerror.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <QImage>
#include <QString>
#include <memory>

namespace OrvMedia {

struct InputDeleter {
    void operator()(AVFormatContext *c) const { avformat_close_input(&c); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext *c) const { avcodec_free_context(&c); }
};
struct FrameDeleter {
    void operator()(AVFrame *f) const { av_frame_free(&f); }
};
struct PacketDeleter {
    void operator()(AVPacket *p) const { av_packet_free(&p); }
};
struct SwsDeleter {
    void operator()(SwsContext *c) const { sws_freeContext(c); }
};
struct SwrDeleter {
    void operator()(SwrContext *c) const { swr_free(&c); }
};
struct AudioFifoDeleter {
    void operator()(AVAudioFifo *f) const { av_audio_fifo_free(f); }
};

using InputPtr = std::unique_ptr<AVFormatContext, InputDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AudioFifoDeleter>;

/// Routes FFmpeg's own log lines to the "orv.media.ffmpeg" category (debug level). Idempotent.
void installFfmpegLogging();

QString avErrorText(int averror);

/// A file name as FFmpeg's file protocol expects it (UTF-8 on Windows, the local encoding elsewhere).
QByteArray ffmpegFileName(const QString &path);

/// Opens a local file for demuxing and reads its stream information.
/// OpenInputFailed when the file is missing or holds no audio or video stream.
Error openInput(const QString &path, InputPtr *input);

/// Index of the main video stream (cover pictures skipped), or -1.
int findVideoStream(AVFormatContext *input);
/// Index of the main audio stream, or -1.
int findAudioStream(AVFormatContext *input);
/// True for streams this library copies or decodes: video that is not a cover picture, and audio.
bool isMediaStream(const AVStream *stream);

/// Container start time in microseconds (0 when unknown).
int64_t startTimeUs(const AVFormatContext *input);
/// Duration in seconds: the container's, or the longest stream's when the container does not say.
double durationSeconds(const AVFormatContext *input);

/// Opens a decoder for a stream. Null on failure (logged).
CodecContextPtr openDecoder(const AVStream *stream);

/// Converts a decoded picture to a 32-bit QImage; *cache keeps the scaler between calls.
QImage frameToImage(const AVFrame *frame, SwsPtr *cache);

/// Frame time of a decoded picture or audio frame, in the stream's time base (AV_NOPTS_VALUE when unknown).
int64_t frameTimestamp(const AVFrame *frame);

} // namespace OrvMedia
