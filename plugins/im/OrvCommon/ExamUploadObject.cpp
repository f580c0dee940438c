// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamUploadObject.h"
#include "ExamImageUplaodTasks.h"
#include "ExamImageUploader.h"
#include "examupload_logging.h"
#include "orvsettings.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonDocument>
#include <QThread>

ExamUploadObject *ExamUploadObject::s_instance = nullptr;
QThread *ExamUploadObject::m_pThread = nullptr;
QReadWriteLock ExamUploadObject::m_lock;
bool ExamUploadObject::s_destroyed = false;

namespace {

// Task ids of positions that are already taken by another image's upload come from here.
constexpr int kSpareTaskIds = 1 << 30;

bool parseObject(const QString &data, QJsonObject *out)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        qCWarning(lcExamUpload) << "parse json error!" << error.errorString();
        return false;
    }
    *out = doc.object();
    return true;
}

} // namespace

ExamUploadObject *ExamUploadObject::instance()
{
    QWriteLocker lock(&m_lock);
    if (s_destroyed) {
        qCWarning(lcExamUpload) << "ExamUploadObject instance has destroyed";
        return nullptr;
    }
    if (!s_instance) {
        qRegisterMetaType<ImageInfo>("ImageInfo");
        m_pThread = new QThread;
        m_pThread->setObjectName(QStringLiteral("ExamUploadObject"));
        s_instance = new ExamUploadObject;
        s_instance->moveToThread(m_pThread);
        m_pThread->start();
        // Uploads must be stopped before the application object goes.
        if (QCoreApplication::instance())
            qAddPostRoutine(&ExamUploadObject::release);
    }
    return s_instance;
}

void ExamUploadObject::release()
{
    QWriteLocker lock(&m_lock);
    if (!m_pThread)
        return;
    m_pThread->quit();
    m_pThread->wait();
    delete s_instance;
    delete m_pThread;
    s_instance = nullptr;
    m_pThread = nullptr;
    s_destroyed = true;
}

ExamUploadObject::ExamUploadObject()
    : m_stopping(std::make_shared<std::atomic_bool>(false))
    , m_tasks(std::make_unique<ExamImageUplaodTasks>())
{
    connect(this, &ExamUploadObject::signalSingleUploadFinish, this, &ExamUploadObject::onSingleUploadFinish);
    // The setting is read where the settings live (the GUI thread) and kept for the other threads.
    if (QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread()) {
        OrvSettings *settings = OrvSettings::instance();
        *m_useCos = settings->value(QLatin1String(UseObjectStorageKey), false).toBool();
        const std::shared_ptr<std::atomic_bool> useCos = m_useCos;
        connect(settings, &OrvSettings::valueChanged, settings, [useCos](const QString &key) {
            if (key == QLatin1String(UseObjectStorageKey))
                *useCos = OrvSettings::instance()->value(key, false).toBool();
        });
    }
}

ExamUploadObject::~ExamUploadObject()
{
    {
        QMutexLocker lock(&m_dataMutex);
        *m_stopping = true;
        for (auto it = m_live.cbegin(); it != m_live.cend(); ++it)
            *it->cancelled = true;
        m_live.clear();
    }
    m_tasks->stop();
    Q_EMIT signalStopAllEventLoop();
    // Waits for the upload threads, which end on the signal above.
    m_tasks.reset();
}

bool ExamUploadObject::useObjectStorage() const
{
    return *m_useCos;
}

void ExamUploadObject::setSendToWeb(bool send)
{
    QMutexLocker lock(&m_dataMutex);
    m_sendToWeb = send;
}

bool ExamUploadObject::sendToWeb() const
{
    QMutexLocker lock(&m_dataMutex);
    return m_sendToWeb;
}

void ExamUploadObject::setCourseIdForExamId(const QString &examId, const QString &courseId)
{
    QMutexLocker lock(&m_dataMutex);
    m_courseIds.insert(examId, courseId);
}

QString ExamUploadObject::getCourseIdByExamId(const QString &examId) const
{
    QMutexLocker lock(&m_dataMutex);
    return m_courseIds.value(examId);
}

QJsonArray ExamUploadObject::getOldExamImages(const QString &examId) const
{
    QMutexLocker lock(&m_dataMutex);
    return m_oldImages.value(examId);
}

void ExamUploadObject::addOldExamImages(const QString &examId, const QJsonArray &images)
{
    QMutexLocker lock(&m_dataMutex);
    QJsonArray &list = m_oldImages[examId];
    for (const QJsonValue &image : images)
        list.append(image);
}

void ExamUploadObject::removeOldExamImages(const QString &examId)
{
    QMutexLocker lock(&m_dataMutex);
    m_oldImages.remove(examId);
}

QJsonArray ExamUploadObject::getExamImages(const QString &examId) const
{
    QMutexLocker lock(&m_dataMutex);
    return m_images.value(examId);
}

void ExamUploadObject::addExamImages(const QString &examId, const QJsonArray &images)
{
    {
        QMutexLocker lock(&m_dataMutex);
        QJsonArray &list = m_images[examId];
        for (const QJsonValue &image : images)
            list.append(image);
    }
    Q_EMIT signalExamImageItemChange(examId);
}

void ExamUploadObject::removeExamImages(const QString &examId)
{
    {
        QMutexLocker lock(&m_dataMutex);
        m_images.remove(examId);
    }
    Q_EMIT signalExamImageItemChange(examId);
}

void ExamUploadObject::changeExamImages(const QString &examId, const QJsonArray &images)
{
    {
        QMutexLocker lock(&m_dataMutex);
        m_images.insert(examId, images);
    }
    Q_EMIT signalExamImageItemChange(examId);
}

QJsonObject ExamUploadObject::getExamImageItem(const QString &examId, int index) const
{
    QMutexLocker lock(&m_dataMutex);
    const QJsonArray images = m_images.value(examId);
    return index >= 0 && index < images.size() ? images.at(index).toObject() : QJsonObject();
}

bool ExamUploadObject::removeExamImageItem(const QString &examId, int index)
{
    {
        QMutexLocker lock(&m_dataMutex);
        const auto it = m_images.find(examId);
        if (it == m_images.end() || index < 0 || index >= it->size())
            return false;
        it->removeAt(index);
    }
    Q_EMIT signalExamImageItemChange(examId);
    return true;
}

bool ExamUploadObject::changeExamImageItem(int questionIndex, int imageIndex, const ImageInfo &image)
{
    QString examId;
    {
        QMutexLocker lock(&m_dataMutex);
        if (questionIndex < 0 || questionIndex >= m_commitInfo.questionList.size())
            return false;
        QVector<ImageInfo> &images = m_commitInfo.questionList[questionIndex].imgList;
        if (imageIndex < 0 || imageIndex >= images.size())
            return false;
        const QString questionId = m_commitInfo.questionList.at(questionIndex).questionId;
        // Another image in this place: the upload of the one it replaces is of no use any more.
        if (images.at(imageIndex).imageKey != image.imageKey)
            deleteImageTaskLocked(questionId, images.at(imageIndex).imageKey);
        images[imageIndex] = image;
        examId = m_commitInfo.examId;
    }
    Q_EMIT signalExamImageItemChange(examId);
    return true;
}

bool ExamUploadObject::removeExamImageItem(const QString &examId, const QString &imageKey)
{
    {
        QMutexLocker lock(&m_dataMutex);
        if (examId != m_commitInfo.examId)
            return false;
        bool found = false;
        for (QuestionImages &question : m_commitInfo.questionList) {
            for (int i = 0; i < question.imgList.size(); ++i) {
                if (question.imgList.at(i).imageKey == imageKey) {
                    deleteImageTaskLocked(question.questionId, imageKey);
                    question.imgList.removeAt(i);
                    found = true;
                    break;
                }
            }
        }
        if (!found)
            return false;
    }
    m_tasks->checkTasks();
    Q_EMIT signalExamImageItemChange(examId);
    return true;
}

bool ExamUploadObject::setCommitExamEditImgsInfo(const QJsonObject &info)
{
    CommitExamEditImgsInfo parsed;
    QString error;
    if (!CommitExamEditImgsInfo::fromJson(info, &parsed, &error)) {
        qCWarning(lcExamUpload) << "exam images refused:" << error;
        return false;
    }
    {
        QMutexLocker lock(&m_dataMutex);
        stopAllTasksLocked();
        // Nothing uploads for the new state yet, whatever the page believed.
        for (QuestionImages &question : parsed.questionList) {
            for (ImageInfo &image : question.imgList) {
                if (image.status == ImageInfo::StatusUploading)
                    image.status = ImageInfo::StatusNew;
            }
        }
        m_commitInfo = parsed;
    }
    Q_EMIT signalExamImageItemChange(parsed.examId);
    return true;
}

QJsonObject ExamUploadObject::getCommitExamEditImgsInfo() const
{
    QMutexLocker lock(&m_dataMutex);
    return m_commitInfo.toJson();
}

bool ExamUploadObject::isValidCommitExamEditImgsInfo() const
{
    QMutexLocker lock(&m_dataMutex);
    return m_commitInfo.isValid();
}

int ExamUploadObject::taskId(int questionIndex, int imageIndex)
{
    return questionIndex * MaxImagesPerQuestion + imageIndex;
}

bool ExamUploadObject::addUploadTask(int questionIndex, int imageIndex, ImageInfo &image, bool useObjectStorage)
{
    bool queued;
    bool missing = false;
    QJsonObject state;
    {
        QMutexLocker lock(&m_dataMutex);
        if (questionIndex < 0 || questionIndex >= m_commitInfo.questionList.size() || imageIndex < 0
            || imageIndex >= m_commitInfo.questionList.at(questionIndex).imgList.size()) {
            qCWarning(lcExamUpload) << "no exam image at" << questionIndex << imageIndex;
            return false;
        }
        m_commitInfo.questionList[questionIndex].imgList[imageIndex] = image;
        queued = queueLocked(questionIndex, imageIndex, useObjectStorage, &missing);
        image = m_commitInfo.questionList.at(questionIndex).imgList.at(imageIndex);
        if (missing && m_sendToWeb)
            state = m_commitInfo.toJson();
    }
    if (!state.isEmpty())
        sendState(state);
    return queued;
}

bool ExamUploadObject::queueLocked(int questionIndex, int imageIndex, bool useObjectStorage, bool *missingFile)
{
    const QString questionId = m_commitInfo.questionList.at(questionIndex).questionId;
    ImageInfo &image = m_commitInfo.questionList[questionIndex].imgList[imageIndex];
    const QString path = image.localPath();
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        qCWarning(lcExamUpload) << "image file is not exist" << image.imgUrl;
        deleteImageTaskLocked(questionId, image.imageKey);
        image.status = ImageInfo::StatusFailed;
        *missingFile = true;
        return false;
    }
    if (imageIndex >= MaxImagesPerQuestion || questionIndex >= (kSpareTaskIds / MaxImagesPerQuestion)) {
        qCWarning(lcExamUpload) << "exam image position out of range:" << questionIndex << imageIndex;
        return false;
    }
    deleteImageTaskLocked(questionId, image.imageKey);
    int id = taskId(questionIndex, imageIndex);
    // Positions move when images are removed: an id still held by another image's upload is not reused.
    if (m_live.contains(id))
        id = m_nextSpareId++;
    image.status = ImageInfo::StatusUploading;

    LiveTask live;
    live.questionId = questionId;
    live.imageKey = image.imageKey;
    live.generation = m_nextGeneration++;
    live.cancelled = std::make_shared<std::atomic_bool>(false);
    m_live.insert(id, live);

    ExamUploadObject *self = this;
    const QString examId = m_commitInfo.examId;
    const ImageInfo info = image;
    const quint64 generation = live.generation;
    const std::shared_ptr<std::atomic_bool> stopping = m_stopping;
    const std::shared_ptr<std::atomic_bool> cancelled = live.cancelled;
    m_tasks->addTask(id, [self, id, generation, examId, questionId, info, path, useObjectStorage, stopping, cancelled] {
        QEventLoop loop;
        ExamImageUploader uploader;
        bool answered = false;
        ExamImageUploadResult result;
        QObject::connect(&uploader, &ExamImageUploader::signalUploadFinish, &loop,
                         [&](const ExamImageUploadResult &r) {
                             result = r;
                             answered = true;
                             loop.quit();
                         });
        QObject::connect(self, &ExamUploadObject::signalStopOneEventLoop, &loop, [&loop, id](int index) {
            if (index == id)
                loop.quit();
        });
        QObject::connect(self, &ExamUploadObject::signalStopAllEventLoop, &loop, &QEventLoop::quit);
        // Checked after connecting: a stop that came earlier is seen here, a later one by the loop.
        if (*stopping || *cancelled)
            return;
        uploader.uploadFile(path, id, useObjectStorage);
        if (!answered)
            loop.exec();
        if (!answered || *stopping || *cancelled)
            return;
        ImageInfo done = info;
        done.status = result.success ? ImageInfo::StatusUploaded : ImageInfo::StatusFailed;
        if (result.success)
            done.imgUrl = result.imageUrl;
        QMetaObject::invokeMethod(
            self, [self, id, generation, examId, questionId, done] { self->taskEnded(id, generation, examId, questionId, done); },
            Qt::QueuedConnection);
    });
    m_tasks->checkTasks();
    return true;
}

void ExamUploadObject::taskEnded(int id, quint64 generation, const QString &examId, const QString &questionId,
                                 const ImageInfo &info)
{
    {
        QMutexLocker lock(&m_dataMutex);
        const auto it = m_live.constFind(id);
        // A task deleted, replaced or stopped since: its answer is not the image's any more.
        if (it == m_live.constEnd() || it->generation != generation)
            return;
        m_live.erase(it);
    }
    Q_EMIT signalSingleUploadFinish(examId, questionId, info);
}

void ExamUploadObject::onSingleUploadFinish(const QString &examId, const QString &questionId, const ImageInfo &info)
{
    QJsonObject state;
    bool send;
    bool allEnded = true;
    bool allUploaded = true;
    {
        QMutexLocker lock(&m_dataMutex);
        if (examId != m_commitInfo.examId) {
            qCInfo(lcExamUpload) << "upload of an image of exam" << examId << "ended after that exam was left";
            return;
        }
        const int q = m_commitInfo.questionIndex(questionId);
        const int i = m_commitInfo.imageIndex(q, info.imageKey);
        if (i < 0) {
            qCInfo(lcExamUpload) << "upload of image" << info.imageKey << "ended after it was removed";
            return;
        }
        ImageInfo &image = m_commitInfo.questionList[q].imgList[i];
        image.status = info.status;
        if (info.status == ImageInfo::StatusUploaded)
            image.imgUrl = info.imgUrl;
        for (const QuestionImages &question : qAsConst(m_commitInfo.questionList)) {
            for (const ImageInfo &other : question.imgList) {
                allEnded = allEnded && other.status != ImageInfo::StatusUploading;
                allUploaded = allUploaded && other.status == ImageInfo::StatusUploaded;
            }
        }
        state = m_commitInfo.toJson();
        send = m_sendToWeb;
    }
    if (send)
        sendState(state);
    if (allEnded)
        Q_EMIT signalUploadFileResourceFinish(allUploaded, state);
}

void ExamUploadObject::sendState(const QJsonObject &state)
{
    qCInfo(lcExamUpload).noquote() << QString(84, QLatin1Char('-'));
    Q_EMIT signalCommitExamEditImgsInfo(state);
}

bool ExamUploadObject::checkUploadState() const
{
    QMutexLocker lock(&m_dataMutex);
    if (!m_live.isEmpty())
        return true;
    for (const QuestionImages &question : m_commitInfo.questionList) {
        for (const ImageInfo &image : question.imgList) {
            if (image.status == ImageInfo::StatusUploading)
                return true;
        }
    }
    return false;
}

bool ExamUploadObject::isHaveUploadTask(int id) const
{
    return m_tasks->hasTask(id);
}

void ExamUploadObject::startUpload()
{
    const bool cos = useObjectStorage();
    QJsonObject state;
    {
        QMutexLocker lock(&m_dataMutex);
        bool anyMissing = false;
        for (int q = 0; q < m_commitInfo.questionList.size(); ++q)
            anyMissing = requeueQuestionLocked(q, cos) || anyMissing;
        if (anyMissing && m_sendToWeb)
            state = m_commitInfo.toJson();
    }
    if (!state.isEmpty())
        sendState(state);
}

bool ExamUploadObject::requeueQuestionLocked(int questionIndex, bool useObjectStorage)
{
    bool anyMissing = false;
    const QString questionId = m_commitInfo.questionList.at(questionIndex).questionId;
    for (int i = 0; i < m_commitInfo.questionList.at(questionIndex).imgList.size(); ++i) {
        const ImageInfo &image = m_commitInfo.questionList.at(questionIndex).imgList.at(i);
        if (image.status == ImageInfo::StatusUploaded || hasLiveTaskLocked(questionId, image.imageKey))
            continue;
        bool missing = false;
        queueLocked(questionIndex, i, useObjectStorage, &missing);
        anyMissing = anyMissing || missing;
    }
    return anyMissing;
}

void ExamUploadObject::examFailEditImgsReloadUpload(const QString &data, const QString &cbKey)
{
    Q_UNUSED(cbKey)
    QJsonObject request;
    if (!parseObject(data, &request))
        return;
    const QString examId = request.value(QStringLiteral("examId")).toString();
    const QString questionId = request.value(QStringLiteral("questionId")).toString();
    const bool cos = useObjectStorage();
    QJsonObject state;
    {
        QMutexLocker lock(&m_dataMutex);
        if (examId.isEmpty() || examId != m_commitInfo.examId) {
            qCInfo(lcExamUpload) << "retry asked for exam" << examId << "while" << m_commitInfo.examId << "is tracked";
            return;
        }
        const int q = m_commitInfo.questionIndex(questionId);
        if (q < 0) {
            qCWarning(lcExamUpload) << "retry asked for unknown question" << questionId;
            return;
        }
        const bool anyMissing = requeueQuestionLocked(q, cos);
        if (anyMissing && m_sendToWeb)
            state = m_commitInfo.toJson();
    }
    if (!state.isEmpty())
        sendState(state);
}

void ExamUploadObject::examDeleteEditImageItem(const QString &data, const QString &cbKey)
{
    Q_UNUSED(cbKey)
    QJsonObject request;
    if (!parseObject(data, &request))
        return;
    const QString examId = request.value(QStringLiteral("examId")).toString();
    const QString questionId = request.value(QStringLiteral("questionId")).toString();
    const QString imageKey = request.value(QStringLiteral("imageKey")).toString();
    const bool deleteAll = request.value(QStringLiteral("deleteAll")).toBool();
    {
        QMutexLocker lock(&m_dataMutex);
        if (examId.isEmpty() || examId != m_commitInfo.examId) {
            qCInfo(lcExamUpload) << "delete asked for exam" << examId << "while" << m_commitInfo.examId << "is tracked";
            return;
        }
        const int q = m_commitInfo.questionIndex(questionId);
        if (q < 0) {
            qCWarning(lcExamUpload) << "delete asked for unknown question" << questionId;
            return;
        }
        QVector<ImageInfo> &images = m_commitInfo.questionList[q].imgList;
        if (deleteAll) {
            for (const ImageInfo &image : qAsConst(images))
                deleteImageTaskLocked(questionId, image.imageKey);
            images.clear();
        } else {
            const int i = m_commitInfo.imageIndex(q, imageKey);
            if (i < 0) {
                qCInfo(lcExamUpload) << "no image" << imageKey << "to delete in question" << questionId;
                return;
            }
            deleteImageTaskLocked(questionId, imageKey);
            images.removeAt(i);
        }
    }
    m_tasks->checkTasks();
    Q_EMIT signalExamImageItemChange(examId);
}

bool ExamUploadObject::hasLiveTaskLocked(const QString &questionId, const QString &imageKey) const
{
    for (auto it = m_live.cbegin(); it != m_live.cend(); ++it) {
        if (it->questionId == questionId && it->imageKey == imageKey)
            return true;
    }
    return false;
}

void ExamUploadObject::deleteImageTaskLocked(const QString &questionId, const QString &imageKey)
{
    for (auto it = m_live.begin(); it != m_live.end();) {
        if (it->questionId == questionId && it->imageKey == imageKey) {
            const int id = it.key();
            *it->cancelled = true;
            it = m_live.erase(it);
            m_tasks->deleteTask(id);
            Q_EMIT signalStopOneEventLoop(id);
        } else {
            ++it;
        }
    }
}

void ExamUploadObject::stopAllTasksLocked()
{
    for (auto it = m_live.cbegin(); it != m_live.cend(); ++it) {
        *it->cancelled = true;
        m_tasks->deleteTask(it.key());
        Q_EMIT signalStopOneEventLoop(it.key());
    }
    m_live.clear();
}
