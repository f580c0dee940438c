// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "avhelpers.h"

#include <QSaveFile>
#include <QString>

namespace OrvMedia {

/**
 * A media file being written. The container follows the file name's suffix. Bytes go to a
 * QSaveFile, so the destination only appears (or is replaced) when finish() succeeds; a failed
 * or abandoned output leaves no partial file behind.
 */
class OutputFile
{
public:
    explicit OutputFile(const QString &path);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    Error open();
    AVFormatContext *context() const { return m_context; }
    QString path() const { return m_path; }

    /// New stream; its codec parameters and time base are filled in by the caller before writeHeader().
    AVStream *addStream();
    Error writeHeader();
    /// Interleaves and writes one packet (timestamps in the stream's time base). Takes the packet's data.
    Error writePacket(AVPacket *packet);
    /// Writes the trailer and moves the file into place.
    Error finish();

private:
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    using WriteBuffer = const uint8_t *;
#else
    using WriteBuffer = uint8_t *;
#endif
    static int writeCallback(void *opaque, WriteBuffer buf, int size);
    static int64_t seekCallback(void *opaque, int64_t offset, int whence);

    QString m_path;
    QSaveFile m_file;
    AVFormatContext *m_context = nullptr;
    AVIOContext *m_io = nullptr;
    bool m_headerWritten = false;
    bool m_finished = false;
};

} // namespace OrvMedia
