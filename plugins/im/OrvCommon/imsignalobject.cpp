// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imsignalobject.h"
#include "orvcommon_logging.h"

#include "extensionsystem.h"
#include "orvavplayer.h"
#include "orvexternalmediamanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "videoframeextractor.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaMethod>
#include <QWidget>

namespace {

const QString UserGuidanceKey = QStringLiteral("UserGuidanceInfo");

// The classroom plug-in is connected once for the life of the process, whatever happens to
// the hub instance in between.
bool s_classroomPluginConnected = false;

// The player that takes cover frames outlives hub instances; the application deletes it.
OrvAVPlayer *s_player = nullptr;

void deleteSharedPlayer()
{
    delete s_player;
    s_player = nullptr;
}

// The full (not cloned-for-defaults) signal of that name.
QMetaMethod fullSignal(const QMetaObject *mo, const char *name)
{
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
        const QMetaMethod m = mo->method(i);
        if (m.methodType() == QMetaMethod::Signal && m.name() == name && !(m.attributes() & QMetaMethod::Cloned))
            return m;
    }
    return {};
}

// The receiver's slot of that name taking the most of the signal's arguments.
QMetaMethod matchingSlot(const QObject *receiver, const char *name, const QMetaMethod &signal)
{
    const QMetaObject *mo = receiver->metaObject();
    QMetaMethod best;
    for (int i = 0; i < mo->methodCount(); ++i) {
        const QMetaMethod m = mo->method(i);
        if (m.methodType() == QMetaMethod::Signal || m.name() != name)
            continue;
        if (!QMetaObject::checkConnectArgs(signal, m))
            continue;
        if (!best.isValid() || m.parameterCount() > best.parameterCount())
            best = m;
    }
    return best;
}

} // namespace

const char *const ImSignalObject::ClassroomPluginName = "ClassroomPlugin";
ImSignalObject *ImSignalObject::m_instance = nullptr;

ImSignalObject *ImSignalObject::instance()
{
    if (!m_instance)
        m_instance = new ImSignalObject;
    return m_instance;
}

void ImSignalObject::release()
{
    delete m_instance;
    m_instance = nullptr;
}

void ImSignalObject::registerMetaTypes()
{
    static const bool done = [] {
        OrvEngine::registerMetaTypes();
        qRegisterMetaType<RoomType>("RoomType");
        qRegisterMetaType<HelpWidgetType>("HelpWidgetType");
        qRegisterMetaType<QSharedPointer<OpaqueCommonPod>>("QSharedPointer<OpaqueCommonPod>");
        qRegisterMetaType<OrvEngine::SnapshotLessonPtr>("QSharedPointer<OrvEngine::SnapshotLesson>");
        qRegisterMetaType<OrvEngine::SnapshotLessonPtr>("OrvEngine::SnapshotLessonPtr");
        qRegisterMetaType<QSharedPointer<QVariant>>("QSharedPointer<QVariant>");
        qRegisterMetaType<std::vector<QString>>("std::vector<QString>");
        qRegisterMetaType<QSharedPointer<OpenStudyActivityDetailFromToDoPod>>(
            "QSharedPointer<OpenStudyActivityDetailFromToDoPod>");
        return true;
    }();
    Q_UNUSED(done)
}

ImSignalObject::ImSignalObject()
{
    registerMetaTypes();

    auto *media = OrvExternalMediaManager::instance();
    connect(media, &OrvExternalMediaManager::mergeVideoFilesFinish, this, &ImSignalObject::onMergeVideoFilesFinish);
    connect(media, &OrvExternalMediaManager::mergeVideoFilesError, this, &ImSignalObject::onMergeVideoFilesError);
    connect(media, &OrvExternalMediaManager::getFrameImageFinished, this, &ImSignalObject::getFrameImageFinished);
    connect(media, &OrvExternalMediaManager::splitVideoFileFinish, this, &ImSignalObject::splitVideoFileFinish);
    connect(media, &OrvExternalMediaManager::clampVideoFileFinish, this, &ImSignalObject::clampVideoFileFinish);
    connect(media, &OrvExternalMediaManager::clipGroupFrameFinished, this, &ImSignalObject::clipGroupVideoFileFinish);
    connect(media, &OrvExternalMediaManager::clipGroupFrameFileError, this, &ImSignalObject::clipGroupVideoFileError);
    connect(media, &OrvExternalMediaManager::clipGroupVideoProceValue, this,
            &ImSignalObject::clipGroupVideoFileProceValue);
}

ImSignalObject::~ImSignalObject() = default;

void ImSignalObject::connectClassroomPlugin()
{
    if (s_classroomPluginConnected)
        return;
    QObject *plugin = ExtensionSystem::instance()->getObject(QString::fromLatin1(ClassroomPluginName));
    if (!plugin) {
        qCDebug(lcHub) << "classroom plug-in not loaded yet";
        return;
    }
    static const struct { const char *signal; const char *slot; } bindings[] = {
        {"signalStartupClassroom", "onStartupClassroom"},
        {"signalStartupLocalClassroom", "onStartupLocalClassroom"},
        {"signalGuestStartupClassroom", "onGuestStartupClassroom"},
    };
    for (const auto &b : bindings) {
        const QMetaMethod signal = fullSignal(metaObject(), b.signal);
        const QMetaMethod slot = matchingSlot(plugin, b.slot, signal);
        if (!slot.isValid() || !connect(this, signal, plugin, slot))
            qCWarning(lcHub) << "classroom plug-in has no slot" << b.slot << "matching" << signal.methodSignature();
    }
    s_classroomPluginConnected = true;
}

void ImSignalObject::flagSendChatWith(SendChatFlag flag)
{
    m_sendChatFlags |= flag;
}

bool ImSignalObject::testSendChatWith(SendChatFlag flag) const
{
    return (m_sendChatFlags & flag) != 0;
}

void ImSignalObject::clearSendChatWidthFlag()
{
    m_sendChatFlags = 0;
}

void ImSignalObject::setScreenSharingState(bool isScreenSharing)
{
    if (m_isScreenSharing == isScreenSharing)
        return;
    m_isScreenSharing = isScreenSharing;
    Q_EMIT screenSharingStateChange(isScreenSharing);
}

void ImSignalObject::setLessonCount(int count)
{
    m_lessonCount = count;
    Q_EMIT lessonCountChanged(count);
}

void ImSignalObject::setHuionSdkWidget(QWidget *widget)
{
    m_huionSdkWidget = widget;
}

QWidget *ImSignalObject::getHuionSdkWidget() const
{
    return m_huionSdkWidget.data();
}

void ImSignalObject::setCreatedCourseInfo(quint64 courseId, const OrvEngine::ClusterID &clusterId)
{
    m_createdCourseId = courseId;
    m_createdClusterId = clusterId;
}

void ImSignalObject::getCreatedCourseInfo(quint64 &courseId, OrvEngine::ClusterID &clusterId) const
{
    courseId = m_createdCourseId;
    clusterId = m_createdClusterId;
}

QMap<quint64, QString> ImSignalObject::readGuidanceSetting(bool *readable) const
{
    QMap<quint64, QString> out;
    *readable = false;
    const QString text = OrvSettings::instance()->value(UserGuidanceKey).toString();
    if (text.isEmpty())
        return out;
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray()) {
        qCWarning(lcHub) << "setting" << UserGuidanceKey << "is not a JSON array, ignored:"
                         << (error.error != QJsonParseError::NoError ? error.errorString() : QStringLiteral("not an array"));
        return out;
    }
    *readable = true;
    const QJsonArray array = doc.array();
    for (const QJsonValue &v : array) {
        const QJsonObject o = v.toObject();
        bool ok = false;
        const quint64 key = o.value(QStringLiteral("clusterId")).toString().toULongLong(&ok);
        if (ok)
            out.insert(key, o.value(QStringLiteral("welcomes")).toString());
    }
    return out;
}

void ImSignalObject::saveUserGuidanceClusterInfo(quint64 clusterKey, const QString &welcomes)
{
    // The setting is the truth: it holds entries of earlier sessions, and it belongs to the
    // signed-in user, whose settings file may have changed since the last call.
    bool readable = false;
    m_userGuidanceInfo = readGuidanceSetting(&readable);
    m_userGuidanceInfo.insert(clusterKey, welcomes);

    QJsonArray array;
    for (auto it = m_userGuidanceInfo.cbegin(); it != m_userGuidanceInfo.cend(); ++it) {
        array.append(QJsonObject{{QStringLiteral("clusterId"), QString::number(it.key())},
                                 {QStringLiteral("welcomes"), it.value()}});
    }
    OrvSettings::instance()->setValue(UserGuidanceKey,
                                      QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}

bool ImSignalObject::loadUserGuidanceClusterInfo(quint64 clusterKey, QString &welcomes)
{
    bool readable = false;
    const QMap<quint64, QString> stored = readGuidanceSetting(&readable);
    const auto it = stored.constFind(clusterKey);
    if (it == stored.cend())
        return false;
    welcomes = it.value();
    return true;
}

void ImSignalObject::trackSetAvatar(bool success, bool method, const QString &failReason)
{
    OrvTrack::instance()->track(QStringLiteral("Setavatar"),
                                {{QStringLiteral("is_success"), success},
                                 {QStringLiteral("fail_reason"), failReason},
                                 {QStringLiteral("setting_method"),
                                  method ? QStringLiteral("gallery") : QStringLiteral("upload")}});
}

void ImSignalObject::trackSetNickName(bool success, const QString &failReason)
{
    OrvTrack::instance()->track(QStringLiteral("Setnickname"),
                                {{QStringLiteral("is_success"), success}, {QStringLiteral("fail_reason"), failReason}});
}

void ImSignalObject::setMicrolectureCache(int id, int duration, QString collectionName, QString videoFile,
                                          QString edbFile, int collectionId, std::vector<QString> tempFiles)
{
    m_microlectureId = id;
    m_microlectureDuration = duration;
    m_collectionName = std::move(collectionName);
    m_videoFile = std::move(videoFile);
    m_edbFile = std::move(edbFile);
    m_collectionId = collectionId;
    m_tempFiles = std::move(tempFiles);
}

void ImSignalObject::clearMicrolectureCache()
{
    m_tempFiles.clear();
    m_tempFiles2.clear();
    m_microlectureId = 0;
    m_edbFile.clear();
}

namespace {

QString absolutePath(const QString &path)
{
    return QFileInfo(path).absoluteFilePath();
}

QStringList absolutePaths(const std::vector<QString> &paths)
{
    QStringList out;
    out.reserve(int(paths.size()));
    for (const QString &p : paths)
        out << absolutePath(p);
    return out;
}

} // namespace

void ImSignalObject::mergeVideoFiles(const std::vector<QString> &parts, QString dst)
{
    m_pendingMerges.append({absolutePaths(parts), absolutePath(dst), false});
    // Failed merges are never told apart, so their entries stay; forgetting the oldest only
    // ever keeps parts that could have been deleted.
    while (m_pendingMerges.size() > 64)
        m_pendingMerges.removeFirst();
    OrvExternalMediaManager::instance()->mergeVideoFiles(parts, std::move(dst));
}

ImSignalObject::MergeOwner ImSignalObject::takePendingMerge(const QString &dst)
{
    const QString merged = absolutePath(dst);
    if (m_videoFile.isEmpty() || absolutePath(m_videoFile) != merged) {
        for (int i = 0; i < m_pendingMerges.size(); ++i) {
            if (m_pendingMerges.at(i).dst == merged) {
                m_pendingMerges.removeAt(i);
                break;
            }
        }
        return MergeOwner::Other;
    }
    const QStringList cachedParts = absolutePaths(m_tempFiles);
    int match = -1;
    for (int i = 0; i < m_pendingMerges.size(); ++i) {
        const PendingMerge &m = m_pendingMerges.at(i);
        if (m.dst == merged && m.parts == cachedParts && (match < 0 || !m.doubtful)) {
            match = i;
            if (!m.doubtful)
                break;
        }
    }
    if (match < 0)
        return cachedParts.isEmpty() ? MergeOwner::Recording : MergeOwner::Other;
    const bool doubtful = m_pendingMerges.at(match).doubtful;
    m_pendingMerges.removeAt(match);
    if (doubtful) {
        qCWarning(lcHub) << "a merge failed while" << merged
                         << "was being joined and it cannot be told which; recorded parts kept";
        return MergeOwner::Recording;
    }
    return MergeOwner::RecordingParts;
}

bool ImSignalObject::openVideo(const QString &path)
{
    return OrvExternalMediaManager::instance()->openVideo(path);
}

void ImSignalObject::closeVideo()
{
    OrvExternalMediaManager::instance()->closeVideo();
}

void ImSignalObject::getVideoImageSize(int &w, int &h)
{
    OrvExternalMediaManager::instance()->getVideoImageSize(w, h);
}

double ImSignalObject::getVideoDuration()
{
    return OrvExternalMediaManager::instance()->getVideoDuration();
}

void ImSignalObject::seekVideo(double time)
{
    OrvExternalMediaManager::instance()->seekVideo(time);
}

void ImSignalObject::getFrameImage()
{
    OrvExternalMediaManager::instance()->getFrameImage();
}

void ImSignalObject::getFrameImage(double time)
{
    OrvExternalMediaManager::instance()->getFrameImage(time);
}

void ImSignalObject::splitVideoFile(const QString &src, double time, const QString &dst1, const QString &dst2)
{
    OrvExternalMediaManager::instance()->splitVideoFile(src, time, dst1, dst2);
}

void ImSignalObject::clampVideoFile(const QString &src, double start, double end, const QString &dst)
{
    OrvExternalMediaManager::instance()->clampVideoFile(src, start, end, dst);
}

void ImSignalObject::clipGroupVideoFile(const QString &src, const QVector<QPair<double, double>> &ranges,
                                        const QString &dst)
{
    OrvExternalMediaManager::instance()->clipGroupVideoFile(src, ranges, dst);
}

void ImSignalObject::breakClipGroupVideoFile()
{
    OrvExternalMediaManager::instance()->breakClipGroupVideoFile();
}

void ImSignalObject::setPlayerFile(QString file)
{
    if (!s_player) {
        s_player = new OrvAVPlayer;
        qAddPostRoutine(deleteSharedPlayer);
    }
    // The player may come from an earlier hub instance; connect it to this one once.
    if (!m_playerConnected) {
        connect(s_player, &OrvAVPlayer::loaded, this, &ImSignalObject::onLoaded);
        connect(s_player, &OrvAVPlayer::error, this, &ImSignalObject::onFrameExtractError);
        m_playerConnected = true;
    }
    m_coverPending = true;
    s_player->stop();
    s_player->setFile(file);
    if (!s_player->load()) {
        qCWarning(lcHub) << "cannot open" << file << "for the cover frame";
        onFrameExtractError();
    }
}

void ImSignalObject::getImageByPosition(qint64 position)
{
    if (!m_frameExtractor) {
        m_frameExtractor = new VideoFrameExtractor(this);
        m_frameExtractor->setAutoExtract(false);
        connect(m_frameExtractor, &VideoFrameExtractor::error, this, &ImSignalObject::onFrameExtractError);
        connect(m_frameExtractor, &VideoFrameExtractor::frameExtracted, this,
                [this](const QImage &frame) { onGetFirstFrameImage(frame); });
    }
    m_coverPending = true;
    m_frameExtractor->setSource(s_player ? s_player->file() : QString());
    m_frameExtractor->setPosition(position);
    m_frameExtractor->extract();
}

void ImSignalObject::onClassroomWindowActivated()
{
    Q_EMIT classroomWindowActivated();
}

void ImSignalObject::onMergeVideoFilesError(int errorNo)
{
    qCInfo(lcHub) << "onMergeVideoFilesError" << errorNo;
    for (PendingMerge &m : m_pendingMerges)
        m.doubtful = true;
    Q_EMIT signalMergeVideoError(errorNo);
}

void ImSignalObject::onMergeVideoFilesFinish(QString dstVideoFile)
{
    const QString merged = absolutePath(dstVideoFile);
    const MergeOwner owner = takePendingMerge(dstVideoFile);
    if (owner == MergeOwner::RecordingParts) {
        for (const QString &part : m_tempFiles) {
            // A part named as the destination has just been replaced by the joined file.
            if (absolutePath(part) == merged) {
                qCWarning(lcHub) << "recorded part" << part << "is the merge destination, kept";
                continue;
            }
            if (QFile::exists(part) && !QFile::remove(part))
                qCWarning(lcHub) << "cannot delete recorded part" << part;
        }
        m_tempFiles.clear();
    } else if (!m_tempFiles.empty()) {
        qCInfo(lcHub) << "merge into" << dstVideoFile << "is not the cached recording's; its parts are kept";
    }

    // Only the recording's own merge becomes its draft.
    if (m_isCloseClassroom && owner != MergeOwner::Other) {
        m_isCloseClassroom = false;
        setPlayerFile(dstVideoFile);
    } else {
        Q_EMIT signalMergeVideoFileFinish(dstVideoFile);
    }
}

void ImSignalObject::onLoaded()
{
    if (!s_player) {
        qCWarning(lcHub) << "onLoaded without a player file";
        return;
    }
    s_player->setVolume(0);
    s_player->start();
    getImageByPosition(0);
}

void ImSignalObject::onGetFirstFrameImage(QImage img)
{
    if (!m_coverPending) {
        qCDebug(lcHub) << "cover frame without a pending draft, ignored";
        return;
    }
    emitSaveDraft(img);
}

void ImSignalObject::onFrameExtractError()
{
    if (!m_coverPending) {
        qCDebug(lcHub) << "player or extractor error after the draft was saved, ignored";
        return;
    }
    qCWarning(lcHub) << "OrvAVPlayer extract frame failed.";
    emitSaveDraft(QImage());
}

void ImSignalObject::emitSaveDraft(const QImage &cover)
{
    m_coverPending = false;
    m_coverImg = cover;
    const QString time = QDateTime::currentDateTime().toString(QStringLiteral("MMddhhmmss"));
    const QString pattern = OrvLang::text("ID_imsignalobject_SomeOneOfMicrolectures");
    const QString draftName = pattern.contains(QLatin1String("%1")) ? pattern.arg(time) : pattern + time;

    // The player knows the real length of the joined file; without it keep the recorder's figure.
    int duration = m_microlectureDuration;
    if (s_player && s_player->durationF() > 0)
        duration = qRound(s_player->durationF());
    if (s_player)
        s_player->stop();

    Q_EMIT saveDraft(m_microlectureId, duration, m_collectionId, m_collectionName, draftName, m_videoFile, m_edbFile,
                     cover);
}
