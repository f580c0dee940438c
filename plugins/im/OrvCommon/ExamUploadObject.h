// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ExamImageInfo.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QMutex>
#include <QObject>
#include <QReadWriteLock>
#include <atomic>
#include <memory>

class ExamImageUplaodTasks;
class QThread;

/**
 * The process-wide keeper of edited exam answer images: which images an answer has, per exam,
 * question and image, and their uploads in the background, at most three at a time
 * (ExamImageUplaodTasks), each ended after ExamImageUploader's time limit. Every finished upload
 * updates the commit state (CommitExamEditImgsInfo); with setSendToWeb(true) the whole state then
 * goes out as signalCommitExamEditImgsInfo(), which the exam bridge answers to the page under the
 * key "commitExamEditImgs". A failed image stays failed until the page asks for it again
 * (examFailEditImgsReloadUpload).
 *
 * The object lives on a thread of its own from the first instance() to release(); after release()
 * instance() answers null. Its functions may be called from any thread (the state is guarded);
 * its signals come from its own thread, so connect to them (queued) from the GUI thread.
 */
class ExamUploadObject : public QObject
{
    Q_OBJECT
public:
    /// Setting: true sends exam images to the object storage, otherwise to the web service.
    static constexpr const char *UseObjectStorageKey = "ExamImageUploadUseCos";
    static constexpr int MaxImagesPerQuestion = 1 << 16;

    /// Null (with the warning "ExamUploadObject instance has destroyed") after release().
    static ExamUploadObject *instance();
    /// Stops every upload, ends the thread and deletes the object; instance() answers null afterwards.
    static void release();

    void setSendToWeb(bool send);
    bool sendToWeb() const;

    void setCourseIdForExamId(const QString &examId, const QString &courseId);
    QString getCourseIdByExamId(const QString &examId) const;

    /// Images the answer had before editing.
    QJsonArray getOldExamImages(const QString &examId) const;
    /// Appends to them.
    void addOldExamImages(const QString &examId, const QJsonArray &images);
    void removeOldExamImages(const QString &examId);
    /// Current images of the answer.
    QJsonArray getExamImages(const QString &examId) const;
    /// Appends to them.
    void addExamImages(const QString &examId, const QJsonArray &images);
    void removeExamImages(const QString &examId);
    /// Replaces them.
    void changeExamImages(const QString &examId, const QJsonArray &images);
    /// Element index of the current images; an empty object when there is none.
    QJsonObject getExamImageItem(const QString &examId, int index) const;
    /// Replaces an image of the commit state; false when the positions are out of range.
    bool changeExamImageItem(int questionIndex, int imageIndex, const ImageInfo &image);
    /// Removes an element of the current images; false when there is none.
    bool removeExamImageItem(const QString &examId, int index);
    /// Removes the image with that key from the commit state (and its upload); false when there is none.
    bool removeExamImageItem(const QString &examId, const QString &imageKey);

    /// Replaces the commit state with the page's (the edited images of one answer); refused whole
    /// (false, a log line, state kept) when it has the wrong shape or no "examId". Uploads of the
    /// state before are stopped.
    bool setCommitExamEditImgsInfo(const QJsonObject &info);
    QJsonObject getCommitExamEditImgsInfo() const;
    bool isValidCommitExamEditImgsInfo() const;

    /// The task id of an image position.
    static int taskId(int questionIndex, int imageIndex);
    /**
     * Queues the upload of one image of the commit state. False, and the image marked failed,
     * when its local file does not exist ("image file is not exist"); false for positions out of
     * range. image is updated to the state it was given (uploading).
     */
    bool addUploadTask(int questionIndex, int imageIndex, ImageInfo &image, bool useObjectStorage);
    /// True while an image is waiting or uploading.
    bool checkUploadState() const;
    bool isHaveUploadTask(int id) const;
    /// The pool (for the host's status display and tests).
    ExamImageUplaodTasks *tasks() const { return m_tasks.get(); }

public Q_SLOTS:
    /// Queues every image of the commit state that is neither uploaded nor uploading.
    void startUpload();
    /// data {"examId", "questionId"}: queues again the images of that question that are neither
    /// uploaded nor uploading. Another exam than the one tracked: nothing happens.
    void examFailEditImgsReloadUpload(const QString &data, const QString &cbKey);
    /// data {"examId", "questionId", "imageKey", "deleteAll"}: removes that image, or every image
    /// of the question with "deleteAll" true, and their uploads.
    void examDeleteEditImageItem(const QString &data, const QString &cbKey);
    /// Stores an upload's end in the commit state and, with sendToWeb, sends the state.
    void onSingleUploadFinish(const QString &examId, const QString &questionId, const ImageInfo &info);

Q_SIGNALS:
    void signalStopAllEventLoop();
    void signalStopOneEventLoop(int index);
    /// The last upload of the commit state ended: isSuccess when every image is uploaded;
    /// dataObject is the commit state.
    void signalUploadFileResourceFinish(bool isSuccess, const QJsonObject &dataObject);
    void signalSingleUploadFinish(const QString &examId, const QString &questionId, const ImageInfo &info);
    void signalExamImageItemChange(const QString &examId);
    /// The commit state for the page (raw JSON: the bridge's answer line escapes it).
    void signalCommitExamEditImgsInfo(const QJsonObject &obj);

private:
    ExamUploadObject();
    ~ExamUploadObject() override;

    /// An upload of one image in the pool.
    struct LiveTask
    {
        QString questionId;
        QString imageKey;
        quint64 generation = 0;
        std::shared_ptr<std::atomic_bool> cancelled;
    };

    // The *Locked functions expect m_dataMutex held.
    bool queueLocked(int questionIndex, int imageIndex, bool useObjectStorage, bool *missingFile);
    bool hasLiveTaskLocked(const QString &questionId, const QString &imageKey) const;
    // Queues every image of the question that is neither uploaded nor on its way; true when a file was missing.
    bool requeueQuestionLocked(int questionIndex, bool useObjectStorage);
    void deleteImageTaskLocked(const QString &questionId, const QString &imageKey);
    void stopAllTasksLocked();
    /// On this object's thread, from an upload thread.
    void taskEnded(int id, quint64 generation, const QString &examId, const QString &questionId, const ImageInfo &info);
    void sendState(const QJsonObject &state);
    bool useObjectStorage() const;

    static ExamUploadObject *s_instance;
    static QThread *m_pThread;
    static QReadWriteLock m_lock;
    static bool s_destroyed;

    mutable QMutex m_dataMutex; // everything below but m_tasks, which guards itself
    CommitExamEditImgsInfo m_commitInfo;
    QHash<QString, QString> m_courseIds;
    QHash<QString, QJsonArray> m_oldImages;
    QHash<QString, QJsonArray> m_images;
    QHash<int, LiveTask> m_live; // by task id
    quint64 m_nextGeneration = 1;
    int m_nextSpareId = 1 << 30;
    bool m_sendToWeb = false;
    const std::shared_ptr<std::atomic_bool> m_stopping;
    const std::shared_ptr<std::atomic_bool> m_useCos = std::make_shared<std::atomic_bool>(false);
    std::unique_ptr<ExamImageUplaodTasks> m_tasks;
};
