// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvmediaerror.h"

namespace OrvMedia {

QString errorText(Error error)
{
    switch (error) {
    case NoError: return QStringLiteral("no error");
    case InvalidArgument: return QStringLiteral("invalid argument");
    case OpenInputFailed: return QStringLiteral("cannot open input");
    case NoVideoStream: return QStringLiteral("no video stream");
    case OpenOutputFailed: return QStringLiteral("cannot open output");
    case IncompatibleStreams: return QStringLiteral("incompatible streams");
    case EncoderUnavailable: return QStringLiteral("encoder unavailable");
    case ReadFailed: return QStringLiteral("read failed");
    case WriteFailed: return QStringLiteral("write failed");
    case DecodeFailed: return QStringLiteral("decode failed");
    case Cancelled: return QStringLiteral("cancelled");
    case NoVideoOpened: return QStringLiteral("no video opened");
    case EmptyRange: return QStringLiteral("empty range");
    }
    return QStringLiteral("unknown error %1").arg(int(error));
}

} // namespace OrvMedia
