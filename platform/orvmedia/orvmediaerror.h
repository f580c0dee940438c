// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>

namespace OrvMedia {
Q_NAMESPACE

/// Error numbers carried by the media signals (mergeVideoFilesError and friends).
/// The values are stable: hosts log them and may compare against them.
enum Error {
    NoError = 0,
    InvalidArgument = 1,      ///< empty file list, empty destination, empty or reversed time range
    OpenInputFailed = 2,      ///< an input is missing, unreadable or not a media file
    NoVideoStream = 3,        ///< the input opened but holds no video
    OpenOutputFailed = 4,     ///< destination cannot be created or its container is unknown
    IncompatibleStreams = 5,  ///< parts differ and cannot be re-encoded to a common format
    EncoderUnavailable = 6,   ///< no encoder for the target codec in this FFmpeg build
    ReadFailed = 7,           ///< demuxing stopped with an error
    WriteFailed = 8,          ///< muxing or writing the destination failed
    DecodeFailed = 9,         ///< no picture could be decoded
    Cancelled = 10,           ///< stopped on request (breakClipGroupVideoFile, shutdown)
    NoVideoOpened = 11,       ///< a frame was asked for without a successful openVideo()
    EmptyRange = 12,          ///< the requested time range holds no media
};
Q_ENUM_NS(Error)

/// Short English text for logs.
QString errorText(Error error);

} // namespace OrvMedia
