// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvmediaerror.h"

#include <QStringList>
#include <atomic>

namespace OrvMedia {

/**
 * Joins whole media files that cannot be joined by copying (different sizes, codecs or audio
 * formats): every part is decoded and encoded again in the picture size, frame rate and audio format
 * of the first part. The first part's codecs are kept when this FFmpeg can encode them into the
 * destination's container; otherwise H.264 (or MPEG-4 Part 2) and AAC are used.
 *
 * Audio follows the pictures: a part without sound, or with less sound than pictures, is padded with
 * silence so the next part starts in sync.
 */
class Transcoder
{
public:
    explicit Transcoder(const std::atomic_bool *cancel = nullptr);
    ~Transcoder();

    Error run(const QStringList &parts, const QString &dst);

private:
    class Job;
    const std::atomic_bool *m_cancel;
};

} // namespace OrvMedia
