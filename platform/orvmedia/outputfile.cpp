// SPDX-License-Identifier: LGPL-2.1-or-later
#include "outputfile.h"
#include "orvmedia_logging.h"

#include <QFile>

namespace OrvMedia {

namespace {
constexpr int kIoBufferSize = 64 * 1024;
} // namespace

OutputFile::OutputFile(const QString &path)
    : m_path(path)
    , m_file(path)
{
}

OutputFile::~OutputFile()
{
    // Freeing the context also releases a muxer that never got its trailer.
    if (m_context)
        avformat_free_context(m_context);
    if (m_io) {
        av_freep(&m_io->buffer);
        avio_context_free(&m_io);
    }
    if (!m_finished)
        m_file.cancelWriting();
}

Error OutputFile::open()
{
    installFfmpegLogging();
    const QByteArray name = ffmpegFileName(m_path);
    if (m_path.isEmpty()) {
        qCWarning(lcOrvMedia) << "no destination file given";
        return InvalidArgument;
    }
    const AVOutputFormat *format = av_guess_format(nullptr, name.constData(), nullptr);
    if (!format) {
        qCWarning(lcOrvMedia) << "no container known for" << m_path;
        return OpenOutputFailed;
    }
    if (!m_file.open(QIODevice::WriteOnly)) {
        qCWarning(lcOrvMedia) << "cannot write" << m_path << m_file.errorString();
        return OpenOutputFailed;
    }
    if (avformat_alloc_output_context2(&m_context, format, nullptr, name.constData()) < 0 || !m_context)
        return OpenOutputFailed;
    auto *buffer = static_cast<unsigned char *>(av_malloc(kIoBufferSize));
    m_io = avio_alloc_context(buffer, kIoBufferSize, 1, this, nullptr,
                              &OutputFile::writeCallback,
                              &OutputFile::seekCallback);
    if (!m_io) {
        av_free(buffer);
        return OpenOutputFailed;
    }
    m_io->seekable = AVIO_SEEKABLE_NORMAL;
    m_context->pb = m_io;
    m_context->flags |= AVFMT_FLAG_CUSTOM_IO;
    return NoError;
}

AVStream *OutputFile::addStream()
{
    return avformat_new_stream(m_context, nullptr);
}

Error OutputFile::writeHeader()
{
    const int ret = avformat_write_header(m_context, nullptr);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot start" << m_path << avErrorText(ret);
        return WriteFailed;
    }
    m_headerWritten = true;
    return NoError;
}

Error OutputFile::writePacket(AVPacket *packet)
{
    const int ret = av_interleaved_write_frame(m_context, packet);
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot write a packet to" << m_path << avErrorText(ret);
        return WriteFailed;
    }
    return NoError;
}

Error OutputFile::finish()
{
    if (!m_headerWritten)
        return WriteFailed;
    int ret = av_write_trailer(m_context);
    m_headerWritten = false;
    if (ret >= 0) {
        avio_flush(m_io);
        ret = m_io->error;
    }
    if (ret < 0) {
        qCWarning(lcOrvMedia) << "cannot finish" << m_path << avErrorText(ret);
        return WriteFailed;
    }
    if (!m_file.commit()) {
        qCWarning(lcOrvMedia) << "cannot save" << m_path << m_file.errorString();
        return WriteFailed;
    }
    m_finished = true;
    return NoError;
}

int OutputFile::writeCallback(void *opaque, WriteBuffer buf, int size)
{
    auto *self = static_cast<OutputFile *>(opaque);
    const qint64 written = self->m_file.write(reinterpret_cast<const char *>(buf), size);
    return written == size ? size : AVERROR(EIO);
}

int64_t OutputFile::seekCallback(void *opaque, int64_t offset, int whence)
{
    auto *self = static_cast<OutputFile *>(opaque);
    QSaveFile &file = self->m_file;
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return file.size();
    case SEEK_SET:
        break;
    case SEEK_CUR:
        offset += file.pos();
        break;
    case SEEK_END:
        offset += file.size();
        break;
    default:
        return AVERROR(EINVAL);
    }
    return file.seek(offset) ? offset : AVERROR(EIO);
}

} // namespace OrvMedia
