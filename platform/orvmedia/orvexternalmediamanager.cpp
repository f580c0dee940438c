// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvexternalmediamanager.h"
#include "avhelpers.h"
#include "framedecoder.h"
#include "orvmedia_logging.h"
#include "streamcopier.h"
#include "transcoder.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <algorithm>

using OrvMedia::Error;
using OrvMedia::StreamCopier;

// After openVideo() the decoder is used only by the picture pool's single thread.
struct OrvExternalMediaManager::OpenVideo {
    OrvMedia::FrameDecoder decoder;
};

OrvExternalMediaManager *OrvExternalMediaManager::s_instance = nullptr;

namespace {

// Runs `emitter` later on `receiver`'s thread; dropped if the receiver is gone by then.
template<typename F>
void post(QObject *receiver, F emitter)
{
    QMetaObject::invokeMethod(receiver, std::move(emitter), Qt::QueuedConnection);
}

bool sameFile(const QString &a, const QString &b)
{
    return QFileInfo(a).absoluteFilePath() == QFileInfo(b).absoluteFilePath();
}

} // namespace

OrvExternalMediaManager *OrvExternalMediaManager::instance()
{
    if (!s_instance)
        s_instance = new OrvExternalMediaManager;
    return s_instance;
}

void OrvExternalMediaManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

OrvExternalMediaManager::OrvExternalMediaManager()
    : m_shutdown(std::make_shared<std::atomic_bool>(false))
{
    OrvMedia::installFfmpegLogging();
    m_pool.setObjectName(QStringLiteral("OrvExternalMediaManager"));
    m_pool.setMaxThreadCount(2);
    m_framePool.setObjectName(QStringLiteral("OrvExternalMediaManager frames"));
    m_framePool.setMaxThreadCount(1);
}

OrvExternalMediaManager::~OrvExternalMediaManager()
{
    m_shutdown->store(true);
    for (const CancelToken &token : m_clipTokens)
        token->store(true);
    m_pool.clear();
    m_framePool.clear();
    m_pool.waitForDone();
    m_framePool.waitForDone();
}

void OrvExternalMediaManager::mergeVideoFiles(const std::vector<QString> &parts, QString dst)
{
    const QStringList inputs(parts.begin(), parts.end());
    qCInfo(lcOrvMedia) << "merging" << inputs.size() << "parts into" << dst;
    auto shutdown = m_shutdown;
    m_pool.start([this, inputs, dst, shutdown] {
        QVector<StreamCopier::Segment> segments;
        for (int i = 0; i < inputs.size(); ++i)
            segments.append({i, 0.0, -1.0});
        Error err = StreamCopier(shutdown.get()).run(inputs, segments, dst);
        if (err == OrvMedia::IncompatibleStreams) {
            qCInfo(lcOrvMedia) << "parts differ, re-encoding into" << dst;
            err = OrvMedia::Transcoder(shutdown.get()).run(inputs, dst);
        }
        post(this, [this, err, dst] {
            if (err == OrvMedia::NoError) {
                Q_EMIT mergeVideoFilesFinish(dst);
            } else {
                qCWarning(lcOrvMedia) << "merge into" << dst << "failed:" << OrvMedia::errorText(err);
                Q_EMIT mergeVideoFilesError(int(err));
            }
        });
    });
}

void OrvExternalMediaManager::splitVideoFile(const QString &src, double time, const QString &dst1, const QString &dst2)
{
    auto shutdown = m_shutdown;
    m_pool.start([this, src, time, dst1, dst2, shutdown] {
        Error err = OrvMedia::NoError;
        if (time <= 0 || dst1.isEmpty() || dst2.isEmpty() || sameFile(src, dst1) || sameFile(src, dst2)
            || sameFile(dst1, dst2)) {
            err = OrvMedia::InvalidArgument;
        } else {
            // The second half decides the cut: it can only start on a keyframe.
            StreamCopier second(shutdown.get());
            err = second.run({src}, {{0, time, -1.0}}, dst2);
            if (err == OrvMedia::NoError) {
                const double cut = second.firstSegmentStart();
                err = cut > 0 ? StreamCopier(shutdown.get()).run({src}, {{0, 0.0, cut}}, dst1) : OrvMedia::EmptyRange;
                if (err != OrvMedia::NoError)
                    QFile::remove(dst2);
            }
        }
        post(this, [this, err, src] {
            if (err == OrvMedia::NoError) {
                Q_EMIT splitVideoFileFinish(src);
            } else {
                qCWarning(lcOrvMedia) << "split of" << src << "failed:" << OrvMedia::errorText(err);
                Q_EMIT splitVideoFileError(src, int(err));
            }
        });
    });
}

void OrvExternalMediaManager::clampVideoFile(const QString &src, double start, double end, const QString &dst)
{
    auto shutdown = m_shutdown;
    m_pool.start([this, src, start, end, dst, shutdown] {
        const Error err = start < 0 || end <= start
            ? OrvMedia::InvalidArgument
            : StreamCopier(shutdown.get()).run({src}, {{0, start, end}}, dst);
        post(this, [this, err, dst] {
            if (err == OrvMedia::NoError) {
                Q_EMIT clampVideoFileFinish(dst);
            } else {
                qCWarning(lcOrvMedia) << "clamp into" << dst << "failed:" << OrvMedia::errorText(err);
                Q_EMIT clampVideoFileError(dst, int(err));
            }
        });
    });
}

OrvExternalMediaManager::CancelToken OrvExternalMediaManager::newToken()
{
    auto token = std::make_shared<std::atomic_bool>(false);
    m_clipTokens.push_back(token);
    return token;
}

void OrvExternalMediaManager::forgetToken(const CancelToken &token)
{
    m_clipTokens.erase(std::remove(m_clipTokens.begin(), m_clipTokens.end(), token), m_clipTokens.end());
}

void OrvExternalMediaManager::clipGroupVideoFile(const QString &src, const QVector<QPair<double, double>> &ranges,
                                                 const QString &dst)
{
    const CancelToken token = newToken();
    m_pool.start([this, src, ranges, dst, token] {
        Error err = ranges.isEmpty() ? OrvMedia::InvalidArgument : OrvMedia::NoError;
        QVector<StreamCopier::Segment> segments;
        for (const auto &range : ranges) {
            if (range.first < 0 || range.second <= range.first)
                err = OrvMedia::InvalidArgument;
            segments.append({0, range.first, range.second});
        }
        if (err == OrvMedia::NoError) {
            StreamCopier copier(token.get());
            copier.setProgress([this](int percent) {
                post(this, [this, percent] { Q_EMIT clipGroupVideoProceValue(percent); });
            });
            err = copier.run({src}, segments, dst);
        }
        post(this, [this, err, dst, token] {
            forgetToken(token);
            if (err == OrvMedia::NoError) {
                Q_EMIT clipGroupFrameFinished(dst);
            } else {
                qCWarning(lcOrvMedia) << "clip group into" << dst << "ended:" << OrvMedia::errorText(err);
                Q_EMIT clipGroupFrameFileError(dst, err == OrvMedia::Cancelled);
            }
        });
    });
}

void OrvExternalMediaManager::breakClipGroupVideoFile()
{
    for (const CancelToken &token : m_clipTokens)
        token->store(true);
}

bool OrvExternalMediaManager::openVideo(const QString &path)
{
    closeVideo();
    auto video = std::make_shared<OpenVideo>();
    const Error err = video->decoder.open(path);
    if (err != OrvMedia::NoError || !video->decoder.hasVideo()) {
        qCWarning(lcOrvMedia) << "openVideo" << path << "failed:"
                              << OrvMedia::errorText(err == OrvMedia::NoError ? OrvMedia::NoVideoStream : err);
        return false;
    }
    m_videoSize = video->decoder.videoSize();
    m_videoDuration = video->decoder.duration();
    m_video = std::move(video);
    return true;
}

void OrvExternalMediaManager::closeVideo()
{
    // A picture request still running keeps its own reference and finishes first.
    m_video.reset();
    m_videoSize = QSize();
    m_videoDuration = 0;
    m_videoPosition = 0;
}

void OrvExternalMediaManager::getVideoImageSize(int &w, int &h)
{
    w = m_videoSize.isValid() ? m_videoSize.width() : 0;
    h = m_videoSize.isValid() ? m_videoSize.height() : 0;
}

double OrvExternalMediaManager::getVideoDuration()
{
    return m_videoDuration;
}

void OrvExternalMediaManager::seekVideo(double time)
{
    m_videoPosition = std::max(0.0, time);
}

void OrvExternalMediaManager::getFrameImage()
{
    getFrameImage(m_videoPosition);
}

void OrvExternalMediaManager::getFrameImage(double time)
{
    auto fail = [this, time](Error err) {
        Q_EMIT getFrameImageError(time, int(err));
        Q_EMIT getFrameImageFinished(QImage(), time, -1.0);
    };
    std::shared_ptr<OpenVideo> video = m_video;
    if (!video) {
        qCWarning(lcOrvMedia) << "getFrameImage without an open video";
        post(this, [fail] { fail(OrvMedia::NoVideoOpened); });
        return;
    }
    m_framePool.start([this, video, time, fail] {
        QImage image;
        double frameTime = -1;
        const Error err = video->decoder.frameAt(time, &image, &frameTime);
        post(this, [this, err, image, time, frameTime, fail] {
            if (err == OrvMedia::NoError)
                Q_EMIT getFrameImageFinished(image, time, frameTime);
            else
                fail(err);
        });
    });
}
