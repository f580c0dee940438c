// SPDX-License-Identifier: LGPL-2.1-or-later
#include "streamcopier.h"
#include "avhelpers.h"
#include "orvmedia_logging.h"
#include "outputfile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <vector>

namespace OrvMedia {

namespace {

// Once any stream is this far past a piece's end, the rest of the interleaved streams are past it too.
constexpr int64_t kInterleaveSlackUs = 2 * AV_TIME_BASE;

struct Input {
    InputPtr context;
    int video = -1;
    std::vector<int> outputOf; // input stream index -> output stream index, or -1
    bool used = false;
};

bool sameParameters(const AVCodecParameters *a, const AVCodecParameters *b, QString *why)
{
    if (a->codec_id != b->codec_id) {
        *why = QStringLiteral("codec %1 vs %2").arg(avcodec_get_name(a->codec_id), avcodec_get_name(b->codec_id));
        return false;
    }
    if (a->codec_type == AVMEDIA_TYPE_VIDEO
        && (a->width != b->width || a->height != b->height || a->format != b->format)) {
        *why = QStringLiteral("picture %1x%2 vs %3x%4").arg(a->width).arg(a->height).arg(b->width).arg(b->height);
        return false;
    }
    if (a->codec_type == AVMEDIA_TYPE_AUDIO
        && (a->sample_rate != b->sample_rate || a->ch_layout.nb_channels != b->ch_layout.nb_channels
            || a->format != b->format)) {
        *why = QStringLiteral("audio %1 Hz/%2 ch vs %3 Hz/%4 ch")
                   .arg(a->sample_rate).arg(a->ch_layout.nb_channels).arg(b->sample_rate).arg(b->ch_layout.nb_channels);
        return false;
    }
    // Decoder set-up data (parameter sets and the like) travels once per file; it must fit every piece.
    if (a->extradata_size != b->extradata_size
        || (a->extradata_size > 0 && std::memcmp(a->extradata, b->extradata, size_t(a->extradata_size)) != 0)) {
        *why = QStringLiteral("different %1 decoder set-up").arg(avcodec_get_name(a->codec_id));
        return false;
    }
    return true;
}

// Maps the media streams of `input` onto the outputs by kind and order. False when they do not line up.
bool mapStreams(Input &input, const std::vector<const AVStream *> &outputs, QString *why)
{
    AVFormatContext *ctx = input.context.get();
    input.outputOf.assign(ctx->nb_streams, -1);
    size_t next[AVMEDIA_TYPE_NB] = {};
    size_t matched = 0;
    for (unsigned i = 0; i < ctx->nb_streams; ++i) {
        const AVStream *stream = ctx->streams[i];
        if (!isMediaStream(stream))
            continue;
        const AVMediaType type = stream->codecpar->codec_type;
        size_t seen = 0;
        bool found = false;
        for (size_t o = 0; o < outputs.size(); ++o) {
            if (outputs[o]->codecpar->codec_type != type)
                continue;
            if (seen++ == next[type]) {
                if (!sameParameters(outputs[o]->codecpar, stream->codecpar, why))
                    return false;
                input.outputOf[i] = int(o);
                found = true;
                break;
            }
        }
        if (!found) {
            *why = QStringLiteral("extra %1 stream").arg(av_get_media_type_string(type));
            return false;
        }
        ++next[type];
        ++matched;
    }
    if (matched != outputs.size()) {
        *why = QStringLiteral("missing stream");
        return false;
    }
    return true;
}

int64_t packetTime(const AVPacket *packet)
{
    return packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
}

} // namespace

StreamCopier::StreamCopier(const std::atomic_bool *cancel)
    : m_cancel(cancel)
{
}

void StreamCopier::report(int percent)
{
    if (percent > m_lastPercent) {
        m_lastPercent = percent;
        if (m_progress)
            m_progress(percent);
    }
}

Error StreamCopier::run(const QStringList &inputPaths, const QVector<Segment> &segments, const QString &dst)
{
    m_lastPercent = -1;
    m_firstStart = 0;
    if (inputPaths.isEmpty() || segments.isEmpty() || dst.isEmpty())
        return InvalidArgument;
    for (const Segment &segment : segments) {
        if (segment.input < 0 || segment.input >= inputPaths.size() || segment.start < 0
            || (segment.end >= 0 && segment.end <= segment.start))
            return InvalidArgument;
    }

    std::vector<Input> inputs(size_t(inputPaths.size()));
    for (int i = 0; i < inputPaths.size(); ++i) {
        Input &input = inputs[size_t(i)];
        const Error err = openInput(inputPaths[i], &input.context);
        if (err != NoError)
            return err;
        input.video = findVideoStream(input.context.get());
        if (input.video < 0) {
            qCWarning(lcOrvMedia) << inputPaths[i] << "holds no video";
            return NoVideoStream;
        }
    }

    std::vector<const AVStream *> layout;
    AVFormatContext *first = inputs.front().context.get();
    for (unsigned i = 0; i < first->nb_streams; ++i) {
        if (isMediaStream(first->streams[i]))
            layout.push_back(first->streams[i]);
    }
    for (size_t i = 0; i < inputs.size(); ++i) {
        QString why;
        if (!mapStreams(inputs[i], layout, &why)) {
            qCInfo(lcOrvMedia) << inputPaths[int(i)] << "cannot be joined by copying:" << why;
            return IncompatibleStreams;
        }
    }
    if (cancelled())
        return Cancelled;

    OutputFile output(dst);
    Error err = output.open();
    if (err != NoError)
        return err;
    std::vector<AVStream *> outStreams;
    std::vector<int64_t> fallbackDuration; // in the output stream's time base, for packets without one
    for (const AVStream *in : layout) {
        AVStream *out = output.addStream();
        if (!out || avcodec_parameters_copy(out->codecpar, in->codecpar) < 0)
            return OpenOutputFailed;
        out->codecpar->codec_tag = 0; // let the muxer pick the tag of its own container
        out->time_base = in->time_base;
        out->disposition = in->disposition;
        av_dict_copy(&out->metadata, in->metadata, 0);
        outStreams.push_back(out);
    }
    err = output.writeHeader();
    if (err != NoError)
        return err;
    for (size_t o = 0; o < layout.size(); ++o) {
        const AVStream *in = layout[o];
        int64_t fallback = 0;
        if (in->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            const AVRational rate = av_guess_frame_rate(first, const_cast<AVStream *>(in), nullptr);
            if (rate.num > 0 && rate.den > 0)
                fallback = av_rescale_q(1, av_inv_q(rate), outStreams[o]->time_base);
        }
        fallbackDuration.push_back(std::max<int64_t>(fallback, 1));
    }

    double totalLength = 0;
    std::vector<double> lengths;
    for (const Segment &segment : segments) {
        const double duration = durationSeconds(inputs[size_t(segment.input)].context.get());
        const double end = segment.end < 0 ? duration : std::min(segment.end, duration);
        lengths.push_back(std::max(0.0, end - segment.start));
        totalLength += lengths.back();
    }

    std::vector<int64_t> lastDts(outStreams.size(), std::numeric_limits<int64_t>::min());
    int64_t offsetUs = 0; // where the next piece starts in the output
    double doneLength = 0;
    bool wroteAny = false;
    PacketPtr packet(av_packet_alloc());
    report(0);

    for (int s = 0; s < segments.size(); ++s) {
        const Segment &segment = segments[s];
        Input &input = inputs[size_t(segment.input)];
        AVFormatContext *ctx = input.context.get();
        const int64_t originUs = startTimeUs(ctx);
        const int64_t wantedUs = originUs + std::llround(segment.start * AV_TIME_BASE);
        const int64_t endUs = segment.end < 0 ? std::numeric_limits<int64_t>::max()
                                              : originUs + std::llround(segment.end * AV_TIME_BASE);
        if (lengths[size_t(s)] <= 0) {
            // Starts at or past the end: the keyframe before it belongs to an earlier piece of time.
            qCInfo(lcOrvMedia) << "nothing to copy from" << inputPaths[segment.input] << "after" << segment.start;
            continue;
        }
        if (input.used || segment.start > 0) {
            int ret = av_seek_frame(ctx, -1, wantedUs, AVSEEK_FLAG_BACKWARD);
            if (ret < 0 && segment.start == 0)
                ret = avformat_seek_file(ctx, -1, INT64_MIN, originUs, originUs, 0);
            if (ret < 0) {
                qCWarning(lcOrvMedia) << "cannot seek in" << inputPaths[segment.input] << avErrorText(ret);
                return ReadFailed;
            }
        }
        input.used = true;

        int64_t pieceStartUs = std::numeric_limits<int64_t>::min();
        int64_t pieceEndUs = offsetUs;
        std::deque<PacketPtr> early; // other streams' packets read before the first video keyframe
        std::vector<bool> finished(outStreams.size(), false);

        auto writeOne = [&](AVPacket *p) -> Error {
            const AVStream *in = ctx->streams[p->stream_index];
            const int o = input.outputOf[size_t(p->stream_index)];
            AVStream *out = outStreams[size_t(o)];
            if (endUs != std::numeric_limits<int64_t>::max() && p->duration > 0) {
                // The last packet may run past the end: shorten it so the container trims it there.
                const int64_t endTs = av_rescale_q(endUs, AV_TIME_BASE_Q, in->time_base);
                const int64_t ts = packetTime(p);
                if (ts + p->duration > endTs)
                    p->duration = std::max<int64_t>(1, endTs - ts);
            }
            const int64_t shift = av_rescale_q(pieceStartUs - offsetUs, AV_TIME_BASE_Q, in->time_base);
            if (p->pts != AV_NOPTS_VALUE)
                p->pts -= shift;
            if (p->dts != AV_NOPTS_VALUE)
                p->dts -= shift;
            av_packet_rescale_ts(p, in->time_base, out->time_base);
            if (p->duration <= 0)
                p->duration = fallbackDuration[size_t(o)];
            if (p->dts == AV_NOPTS_VALUE)
                p->dts = p->pts;
            // Rounding at a joint may leave a packet on its predecessor's time: keep decode order strict.
            if (p->dts <= lastDts[size_t(o)])
                p->dts = lastDts[size_t(o)] + 1;
            if (p->pts < p->dts)
                p->pts = p->dts;
            lastDts[size_t(o)] = p->dts;
            pieceEndUs = std::max(pieceEndUs, av_rescale_q(p->pts + p->duration, out->time_base, AV_TIME_BASE_Q));
            p->stream_index = o;
            p->pos = -1;
            wroteAny = true;
            return output.writePacket(p);
        };

        // Sound that ends where the picture starts primes the audio decoder (AAC's first frame); at the
        // very start of the output it goes in with a negative time, which the container hides.
        // Later pieces cannot overlap their predecessor, so there it is dropped.
        const bool firstPiece = !wroteAny;
        auto keepBeforeStart = [&](const AVPacket *p) {
            const AVStream *in = ctx->streams[p->stream_index];
            const int64_t startUs = av_rescale_q(packetTime(p), in->time_base, AV_TIME_BASE_Q);
            if (startUs >= pieceStartUs)
                return true;
            const int64_t packetEndUs = startUs + av_rescale_q(p->duration, in->time_base, AV_TIME_BASE_Q);
            return firstPiece && in->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && packetEndUs >= pieceStartUs;
        };

        for (;;) {
            if (cancelled())
                return Cancelled;
            int ret = av_read_frame(ctx, packet.get());
            if (ret == AVERROR_EOF)
                break;
            if (ret < 0) {
                qCWarning(lcOrvMedia) << "read failed in" << inputPaths[segment.input] << avErrorText(ret);
                return ReadFailed;
            }
            const int index = packet->stream_index;
            const int64_t ts = packetTime(packet.get());
            if (input.outputOf[size_t(index)] < 0 || ts == AV_NOPTS_VALUE) {
                av_packet_unref(packet.get());
                continue;
            }
            const AVStream *in = ctx->streams[index];
            const int64_t tsUs = av_rescale_q(ts, in->time_base, AV_TIME_BASE_Q);
            if (tsUs >= endUs) {
                const int64_t dtsUs = packet->dts == AV_NOPTS_VALUE
                                          ? tsUs : av_rescale_q(packet->dts, in->time_base, AV_TIME_BASE_Q);
                if (dtsUs >= endUs)
                    finished[size_t(input.outputOf[size_t(index)])] = true;
                av_packet_unref(packet.get());
                const bool allFinished = std::find(finished.begin(), finished.end(), false) == finished.end();
                if (allFinished || tsUs >= endUs + kInterleaveSlackUs)
                    break;
                continue;
            }
            if (pieceStartUs == std::numeric_limits<int64_t>::min()) {
                if (index != input.video) {
                    early.emplace_back(av_packet_clone(packet.get()));
                    av_packet_unref(packet.get());
                    continue;
                }
                if (!(packet->flags & AV_PKT_FLAG_KEY)) {
                    av_packet_unref(packet.get()); // undecodable without its keyframe
                    continue;
                }
                pieceStartUs = tsUs;
                for (PacketPtr &p : early) {
                    if (!keepBeforeStart(p.get()))
                        continue;
                    err = writeOne(p.get());
                    if (err != NoError)
                        return err;
                }
                early.clear();
            }
            if (!keepBeforeStart(packet.get())) {
                av_packet_unref(packet.get());
                continue;
            }
            const double into = (tsUs - wantedUs) / double(AV_TIME_BASE);
            err = writeOne(packet.get());
            av_packet_unref(packet.get());
            if (err != NoError)
                return err;
            if (totalLength > 0)
                report(std::min(99, int(100 * (doneLength + std::clamp(into, 0.0, lengths[size_t(s)])) / totalLength)));
        }

        if (pieceStartUs == std::numeric_limits<int64_t>::min()) {
            qCInfo(lcOrvMedia) << "nothing to copy from" << inputPaths[segment.input] << "between"
                               << segment.start << "and" << segment.end;
            if (s == 0)
                m_firstStart = segment.start;
        } else if (s == 0) {
            m_firstStart = std::max<int64_t>(0, pieceStartUs - originUs) / double(AV_TIME_BASE);
        }
        offsetUs = pieceEndUs;
        doneLength += lengths[size_t(s)];
    }

    if (!wroteAny)
        return EmptyRange;
    err = output.finish();
    if (err != NoError)
        return err;
    report(100);
    return NoError;
}

} // namespace OrvMedia
