// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvmediaerror.h"

#include <QImage>
#include <QObject>
#include <QPair>
#include <QSize>
#include <QString>
#include <QThreadPool>
#include <QVector>
#include <atomic>
#include <memory>
#include <vector>

namespace OrvMedia {
class FrameDecoder;
}

/**
 * Process-wide video file operations: joining recorded parts, cutting, and taking pictures.
 *
 * Create and use it on one thread (the GUI thread). File operations run on the manager's own
 * worker threads; their results come back as signals on the manager's thread, never from inside
 * the call that started them. Error numbers are OrvMedia::Error values.
 *
 * Cutting copies packets without re-encoding, so a piece that starts at T really starts at the
 * last keyframe at or before T; joining re-encodes only when the parts' streams differ.
 */
class OrvExternalMediaManager : public QObject
{
    Q_OBJECT
public:
    static OrvExternalMediaManager *instance();
    static void release();

    /// Joins the parts in order into dst. Parts whose streams agree (codec, size, audio format,
    /// decoder set-up) are copied; otherwise all are re-encoded to the first part's format.
    /// Any part that is missing or not a video: mergeVideoFilesError and no file is written.
    void mergeVideoFiles(const std::vector<QString> &parts, QString dst);
    /// Writes [0, cut) to dst1 and [cut, end) to dst2, where cut is the last keyframe at or before
    /// `time`, so the two files together hold the source exactly once.
    void splitVideoFile(const QString &src, double time, const QString &dst1, const QString &dst2);
    /// Writes [start, end) of src (seconds) to dst.
    void clampVideoFile(const QString &src, double start, double end, const QString &dst);
    /// Writes the given [start, end) ranges of src (seconds), one after another, to dst.
    /// Progress goes out through clipGroupVideoProceValue (0..100).
    void clipGroupVideoFile(const QString &src, const QVector<QPair<double, double>> &ranges, const QString &dst);
    /// Stops every clip group still running or waiting; each ends with clipGroupFrameFileError(dst, true).
    void breakClipGroupVideoFile();

    /// Opens a video for picture taking; replaces the one opened before. False (and nothing open)
    /// when the file is missing, not a media file or has no pictures.
    bool openVideo(const QString &path);
    void closeVideo();
    /// Picture size of the open video; 0 x 0 when none is open.
    void getVideoImageSize(int &w, int &h);
    /// Duration of the open video in seconds; 0 when none is open.
    double getVideoDuration();
    /// Moves the current position (seconds) used by getFrameImage().
    void seekVideo(double time);
    /// Picture at the current position, delivered by getFrameImageFinished. Picture requests are
    /// answered in the order they were made, independently of file jobs.
    void getFrameImage();
    /// Picture at `time` seconds, delivered by getFrameImageFinished.
    void getFrameImage(double time);

Q_SIGNALS:
    void mergeVideoFilesFinish(const QString &dstVideoFile);
    void mergeVideoFilesError(int errorNo);
    /// `fileName` is the source that was split.
    void splitVideoFileFinish(const QString &fileName);
    void splitVideoFileError(const QString &fileName, int errorNo);
    /// `fileName` is the destination written.
    void clampVideoFileFinish(const QString &fileName);
    void clampVideoFileError(const QString &fileName, int errorNo);
    /// `fileName` is the destination written.
    void clipGroupFrameFinished(const QString &fileName);
    /// isBreaded: stopped by breakClipGroupVideoFile() rather than failed. No file is left behind.
    void clipGroupFrameFileError(const QString &fileName, bool isBreaded);
    void clipGroupVideoProceValue(int value);
    /// Every picture request ends with this signal. srcFrame is the time asked for, frame the time
    /// of the picture found (both seconds); a null image with frame -1 means the request failed
    /// (getFrameImageError came first with the reason).
    void getFrameImageFinished(const QImage &image, double srcFrame, double frame);
    void getFrameImageError(double srcFrame, int errorNo);

private:
    struct OpenVideo;
    using CancelToken = std::shared_ptr<std::atomic_bool>;

    OrvExternalMediaManager();
    ~OrvExternalMediaManager() override;

    CancelToken newToken();
    void forgetToken(const CancelToken &token);

    QThreadPool m_pool;      // file jobs
    QThreadPool m_framePool; // picture requests, one at a time and in order
    std::shared_ptr<std::atomic_bool> m_shutdown;
    std::vector<CancelToken> m_clipTokens;
    std::shared_ptr<OpenVideo> m_video;
    QSize m_videoSize;
    double m_videoDuration = 0;
    double m_videoPosition = 0;

    static OrvExternalMediaManager *s_instance;
};
