// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <atomic>

class QTimer;

/// How one upload of an exam image ended.
struct ExamImageUploadResult
{
    int index = 0;         ///< the index given to uploadFile()
    QString taskId;        ///< the upload's UUID
    QString path;          ///< the local file
    bool success = false;
    bool timedOut = false; ///< no answer within the time limit
    QString imageUrl;      ///< the uploaded file's address on success
    int networkError = 0;
    int errorNo = 0;
    QString errorText;
};
Q_DECLARE_METATYPE(ExamImageUploadResult)

/**
 * Uploads one exam image through FileUploadManager and reports the end once, by
 * signalUploadFinish(): the answer, or a failure after the time limit (40,000 ms from the start,
 * whatever the progress). Lives and is used on one thread with a running event loop.
 */
class ExamImageUploader : public QObject
{
    Q_OBJECT
public:
    static constexpr int DefaultTimeoutMs = 40000;

    explicit ExamImageUploader(QObject *parent = nullptr);
    /// A running upload is cancelled without a result.
    ~ExamImageUploader() override;

    /// Starts the upload of path to the object storage (useObjectStorage) or to the web service's
    /// exam-file endpoint. One upload per uploader; a second call is ignored with a log line.
    void uploadFile(const QString &path, int index, bool useObjectStorage);
    bool isFinished() const { return m_finished; }
    QString taskId() const { return m_taskId; }
    /// Single shot, started with the upload.
    QTimer *timeoutTimer() const { return m_timer; }

    /// The time limit of uploads started from now on (process-wide); tests shorten it.
    static void setTimeoutMs(int ms);
    static int timeoutMs();

Q_SIGNALS:
    void signalUploadFinish(const ExamImageUploadResult &result);

private:
    void finish(ExamImageUploadResult result);
    void onTimeout();

    QTimer *m_timer;
    QString m_taskId;
    QString m_path;
    int m_index = 0;
    bool m_started = false;
    bool m_finished = false;
    static std::atomic_int s_timeoutMs;
};
