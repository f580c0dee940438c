// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamImageUploader.h"
#include "ExamUtils.h"
#include "examupload_logging.h"
#include "fileuploadmanager.h"
#include "orvhttpmanager.h"

#include <QDate>
#include <QPointer>
#include <QTimer>
#include <QUuid>

std::atomic_int ExamImageUploader::s_timeoutMs{ExamImageUploader::DefaultTimeoutMs};

ExamImageUploader::ExamImageUploader(QObject *parent)
    : QObject(parent)
    , m_timer(new QTimer(this))
{
    static const int registered = qRegisterMetaType<ExamImageUploadResult>("ExamImageUploadResult");
    Q_UNUSED(registered)
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &ExamImageUploader::onTimeout);
}

ExamImageUploader::~ExamImageUploader()
{
    if (m_started && !m_finished)
        FileUploadManager::instance()->cancelUpload(m_taskId);
}

void ExamImageUploader::setTimeoutMs(int ms)
{
    s_timeoutMs = qMax(1, ms);
}

int ExamImageUploader::timeoutMs()
{
    return s_timeoutMs;
}

void ExamImageUploader::uploadFile(const QString &path, int index, bool useObjectStorage)
{
    if (m_started) {
        qCWarning(lcExamUpload) << "an exam image uploader takes one file; ignoring" << path;
        return;
    }
    m_started = true;
    m_path = path;
    m_index = index;
    m_taskId = QUuid::createUuid().toString(QUuid::WithoutBraces);

    // The callback may come after this uploader is gone (it cancels, but an answer may already be
    // on its way): it only ever reaches a live one.
    QPointer<ExamImageUploader> self(this);
    auto done = [self](const QString &, const QJsonObject &data, int networkError, int errorNo, const QString &errorText) {
        if (!self)
            return;
        ExamImageUploadResult result;
        result.networkError = networkError;
        result.errorNo = errorNo;
        result.errorText = errorText;
        if (networkError == 0 && errorNo == FileUploadManager::SuccessErrorNo) {
            QJsonObject answer = data;
            result.imageUrl = ExamUtils::getExamImageUrlPath(answer);
            result.success = !result.imageUrl.isEmpty();
            if (!result.success)
                result.networkError = FileUploadManager::BadReplyError;
        }
        self->finish(result);
    };

    std::shared_ptr<CosUploadPathPrefixPod> cos;
    if (useObjectStorage) {
        cos = std::make_shared<CosUploadPathPrefixPod>(
            CosUploadPathPrefixPod::examImages(QDate::currentDate().toString(QStringLiteral("yyyyMMdd"))));
        qCInfo(lcExamUpload) << "cos upload " << path << m_taskId;
    } else {
        qCInfo(lcExamUpload) << "nas upload " << path << m_taskId;
    }
    // A hard limit from the start: progress does not extend it.
    m_timer->start(s_timeoutMs);
    FileUploadManager::instance()->requestUploadExamFile(path, m_taskId, done, cos);
}

void ExamImageUploader::onTimeout()
{
    if (m_finished)
        return;
    qCWarning(lcExamUpload) << "exam image upload" << m_taskId << "of" << m_path << "got no answer within"
                            << m_timer->interval() << "ms";
    FileUploadManager::instance()->cancelUpload(m_taskId);
    ExamImageUploadResult result;
    result.timedOut = true;
    result.networkError = OrvHttpManager::TimedOutError;
    finish(result);
}

void ExamImageUploader::finish(ExamImageUploadResult result)
{
    if (m_finished)
        return;
    m_finished = true;
    m_timer->stop();
    result.index = m_index;
    result.taskId = m_taskId;
    result.path = m_path;
    if (!result.success)
        qCWarning(lcExamUpload) << "exam image upload of" << m_path << "failed:" << result.networkError << result.errorNo
                                << result.errorText;
    Q_EMIT signalUploadFinish(result);
}
