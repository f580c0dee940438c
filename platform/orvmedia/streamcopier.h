// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvmediaerror.h"

#include <QString>
#include <QStringList>
#include <QVector>
#include <atomic>
#include <functional>

namespace OrvMedia {

/**
 * Joins pieces of media files into one file without re-encoding: packets are copied and their
 * timestamps shifted so that each piece continues where the previous one ended.
 *
 * A piece cannot start between keyframes without decoding, so a piece that starts at a time T
 * starts at the last video keyframe at or before T; firstSegmentStart() tells where the first one
 * actually began. Pieces end before the first packet at or after their end time.
 */
class StreamCopier
{
public:
    struct Segment {
        int input = 0;     ///< index into the input list
        double start = 0;  ///< seconds from the start of the input
        double end = -1;   ///< seconds; negative means to the end of the input
    };
    using Progress = std::function<void(int percent)>;

    explicit StreamCopier(const std::atomic_bool *cancel = nullptr);

    /// Called with 0..99 while copying and 100 once the file is complete.
    void setProgress(Progress progress) { m_progress = std::move(progress); }

    /// All inputs are opened and checked before the destination is created: an input that does not
    /// open or holds no video gives its error and nothing is written. Inputs whose streams differ in
    /// kind, codec or format give IncompatibleStreams, also before anything is written.
    Error run(const QStringList &inputs, const QVector<Segment> &segments, const QString &dst);

    /// Seconds from the start of its input where the first segment really began (see above).
    double firstSegmentStart() const { return m_firstStart; }

private:
    bool cancelled() const { return m_cancel && m_cancel->load(); }
    void report(int percent);

    const std::atomic_bool *m_cancel;
    Progress m_progress;
    int m_lastPercent = -1;
    double m_firstStart = 0;
};

} // namespace OrvMedia
