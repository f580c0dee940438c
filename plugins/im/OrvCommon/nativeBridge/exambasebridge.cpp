// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exambasebridge.h"

#include "ExamDownloader.h"
#include "ExamUploadObject.h"
#include "ExamUtils.h"
#include "PrScrnHelper.h"
#include "ShareToChatTool.h"
#include "UploadImageByQRCodeWidget.h"
#include "bridgedialogs.h"
#include "bridgeinput.h"
#include "cloudfileselectwidget.h"
#include "cloudpageaddress.h"
#include "contactsengine.h"
#include "extensionsystem.h"
#include "fileuploadmanager.h"
#include "imageeditor.h"
#include "imsignalobject.h"
#include "inappwebhandler.h"
#include "ipptmgr.h"
#include "nativebridge_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "systembrowser.h"
#include "waitingspinnerwidget.h"
#include "webcallbackscript.h"
#include "websubwindow.h"

#include <QCursor>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QUrlQuery>
#include <QUuid>
#include <QtConcurrent>

namespace {

// Ids above this do not survive a JavaScript number; they travel as text.
constexpr quint64 MaxSafeInteger = 9007199254740991ULL;

QJsonValue idValue(quint64 id)
{
    return id <= MaxSafeInteger ? QJsonValue(double(id)) : QJsonValue(QString::number(id));
}

QString newId()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

// Hub answers go to the one bridge whose page handed out the key: one connection per hub, not
// one per bridge, so an answer runs once and only where it was asked for.
void routeHubAnswers()
{
    static QPointer<ImSignalObject> connectedHub;
    static QObject router;
    ImSignalObject *hub = ImSignalObject::instance();
    if (connectedHub == hub)
        return;
    connectedHub = hub;
    QObject::connect(hub, &ImSignalObject::signalWebCallback, &router,
                     [](const QString &cbKey, const QString &data) { OrvWebBridge::answerCallbackKey(cbKey, data); });
}

// Edited answer images: the keeper is one per process and tracks one exam, so its states belong
// to the page that opened the editor last, and to no other.
QPointer<ExamBaseBridge> &editOwner()
{
    static QPointer<ExamBaseBridge> owner;
    return owner;
}

struct EditRequest
{
    QString examId;
    QString questionId;
    QString imageKey;
    QString path; ///< what the editor was opened on
};

EditRequest &currentEdit()
{
    static EditRequest edit;
    return edit;
}

// A file the client wrote for exam pictures (shrunk, downloaded or edited copies).
bool isExamTempFile(const QString &path)
{
    const QString folder = QDir::cleanPath(QDir(ExamUtils::getExamTempFilesDir()).absolutePath()) + QLatin1Char('/');
    const QFileInfo info(path);
    const QString real = info.exists() ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
    const QString canonicalFolder = QFileInfo(folder).canonicalFilePath();
    return real.startsWith(folder) || (!canonicalFolder.isEmpty() && real.startsWith(canonicalFolder + QLatin1Char('/')));
}

QString quotedNames(const QStringList &paths)
{
    QString names;
    for (const QString &path : paths)
        names += QLatin1Char('"') + QFileInfo(path).fileName() + QStringLiteral("\",");
    names.chop(1); // the trailing comma
    return names;
}

// A text ID with its subject: "%1" in the text takes it, otherwise it follows.
QString textWith(const char *id, const QString &subject)
{
    const QString text = OrvLang::text(id);
    return text.contains(QLatin1String("%1")) ? text.arg(subject) : text + QLatin1Char(' ') + subject;
}

bool isTeachingRole(OrvEngine::LessonIdentity identity)
{
    return identity == OrvEngine::LessonIdentity::Teacher || identity == OrvEngine::LessonIdentity::Assistant;
}

// A class that has an assistant account among its members answers with its bot.
bool hasAssistantMember(const OrvEngine::ClusterInfoPtr &cluster)
{
    OrvEngine::ContactsEngine *engine = OrvEngine::ContactsEngine::instance();
    for (const auto &member : cluster->vaildMmembers()) {
        if (member && engine->getClusterInfo(OrvEngine::ClusterID(member->id(), OrvEngine::Assistant)))
            return true;
    }
    return false;
}

QSet<qint64> numberSet(const QJsonValue &value)
{
    QSet<qint64> set;
    const QJsonArray array = value.toArray();
    for (const QJsonValue &item : array) {
        quint64 id = 0;
        if (BridgeInput::toId(item, &id))
            set.insert(qint64(id));
        else if (item.isDouble())
            set.insert(qint64(item.toDouble()));
    }
    return set;
}

OrvEngine::ClusterInfoPtr classOrGroup(quint64 id)
{
    OrvEngine::ContactsEngine *engine = OrvEngine::ContactsEngine::instance();
    if (auto cluster = engine->getClusterInfo(OrvEngine::ClusterID(id, OrvEngine::Class)))
        return cluster;
    return engine->getClusterInfo(OrvEngine::ClusterID(id, OrvEngine::Group));
}

} // namespace

ExamBaseBridge::ExamBaseBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType)
    : WebSubWindowBridge(view, parent, fromType)
    , m_loadingTimer(new QTimer(this))
    , m_adjustWatcher(new QFutureWatcher<QByteArray>(this))
{
    m_loadingTimer->setObjectName(QStringLiteral("loadingTimer"));
    m_loadingTimer->setSingleShot(true);
    m_loadingTimer->setInterval(LoadingTimeoutMs);
    connect(m_loadingTimer, &QTimer::timeout, this, &ExamBaseBridge::loadingTimeOutSlot);

    connect(m_adjustWatcher, &QFutureWatcherBase::finished, this, &ExamBaseBridge::adjustPixmapfinish);
    // The next picture starts from the event loop: a run of failures never nests.
    connect(this, &ExamBaseBridge::signalUploadExamImage, this, &ExamBaseBridge::onUploadExamImage, Qt::QueuedConnection);
    connect(FileUploadManager::instance(), &FileUploadManager::uploadProgress, this, &ExamBaseBridge::onUploadProgress);
    // One phone code on screen at a time, whichever bridge opened it; a request whose code is
    // closed so has no pictures to wait for.
    connect(ImSignalObject::instance(), &ImSignalObject::signalCloseOtherQrCodeWidget, this, [this] {
        if (!m_qrWidget)
            return;
        closeQrCodeWidget();
        if (m_requestActive && m_pending.isEmpty() && m_results.isEmpty())
            endRequest();
    });

    routeHubAnswers();
}

ExamBaseBridge::~ExamBaseBridge()
{
    // The spinner belongs to the view, which may outlive the bridge.
    delete m_spinner;
    closeQrCodeWidget();
    if (m_cloudPicker)
        m_cloudPicker->deleteLater();
    for (const ExamUploadFile &file : qAsConst(m_pending)) {
        if (file.state == ExamUploadFile::Uploading)
            FileUploadManager::instance()->cancelUpload(file.taskId);
        removeTemporary(file);
    }
}

// --- Loading indicator --------------------------------------------------------------------

void ExamBaseBridge::startLoading(const QString &text)
{
    if (WaitingSpinnerWidget *spinner = loadingSpinner()) {
        spinner->setText(text.isEmpty() ? OrvLang::text("ID_Loading_Ellipsis") : text);
        spinner->start();
    }
    m_loadingTimer->start();
}

void ExamBaseBridge::stopLoading()
{
    if (m_loadingTimer->isActive())
        m_loadingTimer->stop();
    if (m_spinner)
        m_spinner->stop();
}

void ExamBaseBridge::updateLoadingProcess(const QString &text)
{
    if (m_spinner)
        m_spinner->setText(text);
}

bool ExamBaseBridge::isLoading() const
{
    return m_loadingTimer->isActive();
}

int ExamBaseBridge::loadingTimeout() const
{
    return m_loadingTimer->interval();
}

void ExamBaseBridge::setLoadingTimeout(int ms)
{
    m_loadingTimer->setInterval(ms);
}

WaitingSpinnerWidget *ExamBaseBridge::loadingSpinner()
{
    if (!m_spinner && webView()) {
        m_spinner = new WaitingSpinnerWidget(webView());
        m_spinner->setObjectName(QStringLiteral("loadingSpinner"));
        m_spinner->setInnerRadius(SpinnerInnerRadius);
        m_spinner->setLineLength(SpinnerLineLength);
        m_spinner->setLineWidth(SpinnerLineWidth);
        m_spinner->setRoundness(SpinnerRoundness);
        m_spinner->setOpacity(SpinnerOpacity);
        m_spinner->setCloseButtonVisible(true);
        connect(m_spinner, &WaitingSpinnerWidget::closeRequested, this, &ExamBaseBridge::stopLoading);
    }
    return m_spinner;
}

// --- Page-callable slots ------------------------------------------------------------------

void ExamBaseBridge::linkView(const QString &url)
{
    qCInfo(lcBridge) << metaObject()->className() << "linkView" << url.left(500);
    const QUrl target = QUrl::fromUserInput(url);
    if (!SystemBrowser::isAllowed(target)) {
        qCWarning(lcBridge) << "linkView refuses" << url.left(200);
        return;
    }
    if (fromType() != FromClassroom) {
        SystemBrowser::openUrl(target);
        return;
    }
    auto *handler = ExtensionSystem::instance()->getObject<InAppWebHandler>(
        QString::fromLatin1(InAppWebHandler::ExtensionName));
    if (!handler) {
        qCWarning(lcBridge) << "InAppWebHandler is nullptr";
        return;
    }
    handler->openUrl(target);
}

void ExamBaseBridge::webUserInfo(const QString &jsonStr)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(jsonStr, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const quint64 personId = BridgeInput::id(object, QStringLiteral("personId"));
    if (personId == 0) {
        qCWarning(lcBridge) << "webUserInfo without personId";
        return;
    }
    Q_EMIT ImSignalObject::instance()->signalViewPersonInfo(personId, BridgeInput::id(object, QStringLiteral("courseId")),
                                                            QCursor::pos());
}

void ExamBaseBridge::linkShare(const QString &jsonStr)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(jsonStr, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const QString url = BridgeInput::text(object, QStringLiteral("url")).trimmed();
    if (url.isEmpty()) {
        qCWarning(lcBridge) << "linkShare without url";
        return;
    }
    ShareToChatTool::instance()->shareText(url);
}

void ExamBaseBridge::examEditImgs(const QString &data, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    QJsonObject object;
    if (!BridgeInput::parseObject(data, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    ExamUploadObject *keeper = ExamUploadObject::instance();
    if (!keeper)
        return;
    const QString examId = BridgeInput::text(object, QStringLiteral("examId"));
    const QString questionId = BridgeInput::text(object, QStringLiteral("questionId"));
    const QString imageKey = BridgeInput::text(object, QStringLiteral("imageKey"));
    if (examId.isEmpty() || questionId.isEmpty() || imageKey.isEmpty()) {
        qCWarning(lcBridge) << "examEditImgs needs examId, questionId and imageKey";
        return;
    }

    // The page's images of the answer become the tracked state unless that exam is tracked
    // already and knows the image: replacing it would stop the uploads under way.
    CommitExamEditImgsInfo state;
    CommitExamEditImgsInfo::fromJson(keeper->getCommitExamEditImgsInfo(), &state);
    int question = state.examId == examId ? state.questionIndex(questionId) : -1;
    int image = question < 0 ? -1 : state.imageIndex(question, imageKey);
    if (image < 0) {
        QJsonObject info{{QStringLiteral("examId"), examId},
                         {QStringLiteral("questionList"), object.value(QStringLiteral("questionList"))}};
        CommitExamEditImgsInfo given;
        QString error;
        if (!CommitExamEditImgsInfo::fromJson(info, &given, &error)) {
            qCWarning(lcBridge) << "examEditImgs: the answer's images are not understood:" << error;
            return;
        }
        // The keeper uploads what the state names: a page names web addresses, or the copies the
        // client made itself, never any other file of the user's.
        for (const QuestionImages &listed : qAsConst(given.questionList)) {
            for (const ImageInfo &img : listed.imgList) {
                if (!img.localPath().isEmpty() && !isExamTempFile(img.localPath())) {
                    qCWarning(lcBridge) << "examEditImgs refuses a local file outside the exam folder:"
                                        << BridgeInput::excerpt(img.imgUrl);
                    return;
                }
            }
        }
        if (!keeper->setCommitExamEditImgsInfo(info)) {
            qCWarning(lcBridge) << "examEditImgs: the answer's images are not understood";
            return;
        }
        CommitExamEditImgsInfo::fromJson(keeper->getCommitExamEditImgsInfo(), &state);
        question = state.questionIndex(questionId);
        image = question < 0 ? -1 : state.imageIndex(question, imageKey);
        if (image < 0) {
            qCWarning(lcBridge) << "examEditImgs: no image" << BridgeInput::excerpt(imageKey) << "in question"
                                << BridgeInput::excerpt(questionId);
            return;
        }
    }
    const QString courseId = BridgeInput::text(object, QStringLiteral("courseId"));
    if (!courseId.isEmpty())
        keeper->setCourseIdForExamId(examId, courseId);
    keeper->setSendToWeb(true);

    // From now on this page gets the states.
    editOwner() = this;
    static QPointer<ExamUploadObject> connectedKeeper;
    static QObject router;
    if (connectedKeeper != keeper) {
        connectedKeeper = keeper;
        connect(keeper, &ExamUploadObject::signalCommitExamEditImgsInfo, &router, [](const QJsonObject &commit) {
            if (ExamBaseBridge *owner = editOwner())
                owner->onCommitExamEditImgs(commit);
        });
    }

    const ImageInfo info = state.questionList.at(question).imgList.at(image);
    const QString local = info.localPath();
    if (!local.isEmpty() && !isExamTempFile(local)) {
        qCWarning(lcBridge) << "examEditImgs refuses a local file outside the exam folder";
        return;
    }
    // The editor's result is for this image, as long as it still shows what it was opened on.
    const EditRequest request{examId, questionId, imageKey, QString()};
    const auto openEditor = [this, request](const QString &path) {
        QPointer<ImageEditor> editor = ImageEditor::instance();
        if (!editor)
            return;
        static QPointer<ImageEditor> connectedEditor;
        if (connectedEditor != editor) {
            connectedEditor = editor;
            connect(editor, &ImageEditor::signalEditFinished, editor, [](const QString &edited) {
                if (ExamBaseBridge *owner = editOwner())
                    owner->onImageEdited(edited);
            });
        }
        editOwner() = this;
        currentEdit() = request;
        currentEdit().path = path;
        editor->setEntrancePage(QStringLiteral("ExamAnswer"));
        editor->showImage(path, QPixmap(), isInClassroom(), dialogParent());
    };
    if (!local.isEmpty()) {
        if (!QFileInfo::exists(local)) {
            qCWarning(lcBridge) << "examEditImgs: the image's file is gone" << local;
            return;
        }
        openEditor(local);
        return;
    }
    const QUrl address = BridgeInput::webAddress(info.imgUrl);
    if (address.isEmpty()) {
        qCWarning(lcBridge) << "examEditImgs: not an address" << BridgeInput::excerpt(info.imgUrl);
        return;
    }
    // An uploaded image is edited from a copy of its own.
    QString suffix = ExamUtils::getFileSuffix(address.path());
    if (suffix.isEmpty())
        suffix = QStringLiteral("jpg");
    const QString copy = QStringLiteral("%1/%2.%3").arg(ExamUtils::getExamTempFilesDir(), newId(), suffix);
    // Only the last picture asked for opens.
    if (m_editDownload) {
        disconnect(m_editDownload, nullptr, this, nullptr);
        m_editDownload->abort();
        m_editDownload->deleteLater();
    }
    auto *downloader = new ExamDownloader(address.toString(), copy, 30000, this);
    m_editDownload = downloader;
    connect(downloader, &ExamDownloader::finished, this, [downloader, copy, openEditor] {
        downloader->deleteLater();
        openEditor(copy);
    });
    connect(downloader, &ExamDownloader::error, this, [this, downloader](int, const QString &errorString) {
        downloader->deleteLater();
        qCWarning(lcBridge) << "examEditImgs: the image could not be fetched:" << errorString;
        showInformation(OrvLang::text("ID_Exam_ImageDownloadFailed"));
    });
    downloader->startDownload();
}

void ExamBaseBridge::onImageEdited(const QString &path)
{
    const EditRequest edit = currentEdit();
    ExamUploadObject *keeper = ExamUploadObject::instance();
    if (!keeper || path.isEmpty())
        return;
    // The editor is the process's: what it finished may be a picture someone else opened since.
    QPointer<ImageEditor> editor = ImageEditor::instance();
    if (!editor || edit.path.isEmpty() || editor->path() != edit.path) {
        qCInfo(lcBridge) << "the editor finished a picture that is not an exam answer's";
        return;
    }
    // The editor writes the same file every time; the upload needs one that stays.
    QString suffix = ExamUtils::getFileSuffix(path);
    if (suffix.isEmpty())
        suffix = QStringLiteral("png");
    const QString copy = QStringLiteral("%1/%2.%3").arg(ExamUtils::getExamTempFilesDir(), newId(), suffix);
    if (!QFile::copy(path, copy)) {
        qCWarning(lcBridge) << "exam image save failed" << copy;
        showInformation(OrvLang::text("ID_SAVEFAILED"));
        return;
    }
    CommitExamEditImgsInfo state;
    CommitExamEditImgsInfo::fromJson(keeper->getCommitExamEditImgsInfo(), &state);
    const int question = state.examId == edit.examId ? state.questionIndex(edit.questionId) : -1;
    const int image = question < 0 ? -1 : state.imageIndex(question, edit.imageKey);
    if (image < 0) {
        // The page removed the image, or moved on to another exam, while it was being edited.
        qCWarning(lcBridge) << "edited image" << edit.imageKey << "is no longer part of exam" << edit.examId;
        QFile::remove(copy);
        return;
    }
    ImageInfo info = state.questionList.at(question).imgList.at(image);
    info.imgUrl = QUrl::fromLocalFile(copy).toString();
    info.status = ImageInfo::StatusNew;
    keeper->changeExamImageItem(question, image, info);
    const bool objectStorage = OrvSettings::instance()->value(QLatin1String(ExamUploadObject::UseObjectStorageKey)).toBool();
    keeper->addUploadTask(question, image, info, objectStorage);
}

void ExamBaseBridge::examFailEditImgsReloadUpload(const QString &data, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (ExamUploadObject *keeper = ExamUploadObject::instance())
        keeper->examFailEditImgsReloadUpload(data.left(BridgeInput::MaxTextLength), cbKey);
}

void ExamBaseBridge::examDeleteEditImageItem(const QString &data, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (ExamUploadObject *keeper = ExamUploadObject::instance())
        keeper->examDeleteEditImageItem(data.left(BridgeInput::MaxTextLength), cbKey);
}

void ExamBaseBridge::questionImageUpload(const QString &requestData, const QString &cbKey)
{
    qCInfo(lcBridge).noquote() << metaObject()->className() << "questionImageUpload"
                               << BridgeInput::excerpt(requestData) << BridgeInput::excerpt(cbKey);
    acceptCallbackKey(cbKey);
    QJsonObject request;
    if (!BridgeInput::parseObject(requestData, &request)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const int mode = BridgeInput::integer(request, QStringLiteral("uploadMode"), -1);
    const QString role = BridgeInput::text(request, QStringLiteral("role"));
    qCDebug(lcBridge) << "picture request of a" << BridgeInput::excerpt(role);
    const int supportImage = BridgeInput::integer(request, QStringLiteral("supportImage"), 1);
    if (mode < QrCodeTeacher || mode > QrCodeStudent) {
        qCInfo(lcBridge) << "questionImageUpload: no such uploadMode" << mode;
        return;
    }
    if (refusedByClassroom())
        return;
    if (m_requestActive) {
        qCWarning(lcBridge) << "questionImageUpload: a picture request is under way; this one is refused";
        return;
    }
    beginRequest(cbKey, mode);
    switch (mode) {
    case QrCodeTeacher:
    case QrCodeStudent:
        // "supportImage" is how many pictures the question still takes: more than one lets the
        // phone send several at once.
        openQrCodeWidget(mode, supportImage > 1);
        break;
    case LocalFiles:
        pickLocalFiles();
        break;
    case CloudDiskFiles:
        pickCloudFiles();
        break;
    case Screenshot:
    case ScreenshotHidingClient:
        onShot(mode == ScreenshotHidingClient);
        break;
    default:
        break;
    }
}

void ExamBaseBridge::refreshExamList(const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    runJavaScript(WebCallbackScript::line(cbKey));
}

QString ExamBaseBridge::courseTeacherList(const QString &requestData, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    QJsonObject request;
    if (!BridgeInput::parseObject(requestData, &request)) {
        qCWarning(lcBridge) << "parse json error!";
        return QStringLiteral("[]");
    }
    const quint64 courseId = BridgeInput::id(request, QStringLiteral("courseId"));
    OrvEngine::ContactsEngine *engine = OrvEngine::ContactsEngine::instance();
    const OrvEngine::ClusterInfoPtr cluster = engine->getClusterInfo(OrvEngine::ClusterID(courseId, OrvEngine::Class));
    QJsonArray teachers;
    if (!cluster) {
        qCInfo(lcBridge) << "courseTeacherList: no class" << courseId;
        return WebCallbackScript::compact(teachers);
    }
    for (const auto &member : cluster->vaildMmembers()) {
        if (!member || !isTeachingRole(member->lessonIdentity()))
            continue;
        const OrvEngine::UserInfoPtr user = engine->getUserInfo(member->id());
        const bool cancelled = user && !user->isValid();
        if (cancelled)
            continue;
        QString name = member->nickname();
        if (name.isEmpty() && user)
            name = user->nickname();
        teachers.append(QJsonObject{{QStringLiteral("uid"), idValue(member->id())},
                                    {QStringLiteral("nickName"), name},
                                    {QStringLiteral("role"), int(member->lessonIdentity())},
                                    {QStringLiteral("cancel"), cancelled}});
    }
    return WebCallbackScript::compact(teachers);
}

QString ExamBaseBridge::getAllMyCoursesInfo(const QString &requestData)
{
    QJsonObject filter;
    bool understood = true;
    if (!requestData.trimmed().isEmpty()) {
        QJsonObject request;
        understood = BridgeInput::parseObject(requestData, &request);
        if (!understood)
            qCWarning(lcBridge) << "parse json error!";
        filter = request.value(QStringLiteral("filter")).toObject();
    }
    const QSet<qint64> schools = numberSet(filter.value(QStringLiteral("bySchoolId")));
    const QSet<qint64> identities = numberSet(filter.value(QStringLiteral("byIdentity")));
    const QSet<qint64> lessonIdentities = numberSet(filter.value(QStringLiteral("byLessonIdentity")));

    OrvEngine::ContactsEngine *engine = OrvEngine::ContactsEngine::instance();
    const quint64 me = engine->currentUid();
    QJsonArray courses;
    for (const auto &cluster : understood ? engine->getClusterInfos() : std::vector<OrvEngine::ClusterInfoPtr>()) {
        if (!cluster || cluster->id().type() != OrvEngine::Class)
            continue;
        const OrvEngine::ClusterMemberInfoPtr self = cluster->getMember(me);
        if (!self || self->memberStatus() != OrvEngine::MemberStatus::Normal)
            continue;
        if (!schools.isEmpty() && !schools.contains(qint64(cluster->schoolId())))
            continue;
        if (!identities.isEmpty() && !identities.contains(int(self->identity())))
            continue;
        if (!lessonIdentities.isEmpty() && !lessonIdentities.contains(int(self->lessonIdentity())))
            continue;
        courses.append(QJsonObject{{QStringLiteral("clusterId"), idValue(cluster->id().id())},
                                   {QStringLiteral("clusterName"), cluster->name()},
                                   {QStringLiteral("schoolId"), idValue(cluster->schoolId())},
                                   {QStringLiteral("identity"), int(self->identity())},
                                   {QStringLiteral("lessonIdentity"), int(self->lessonIdentity())},
                                   {QStringLiteral("clusterStatus"), int(cluster->status())},
                                   {QStringLiteral("isSyncComplete"), !cluster->members().empty()},
                                   {QStringLiteral("AIbot"), hasAssistantMember(cluster)}});
    }
    return WebCallbackScript::compact(QJsonObject{{QStringLiteral("isSyncAllComplete"), engine->isSyncAllComplete()},
                                                  {QStringLiteral("coursesInfo"), courses}});
}

QString ExamBaseBridge::getSomeClusterInfo(const QString &clusterIdsInJson)
{
    QJsonArray ids;
    if (!BridgeInput::parseArray(clusterIdsInJson, &ids)) {
        qCWarning(lcBridge) << "parse json error!";
        return QStringLiteral("[]");
    }
    const quint64 me = OrvEngine::ContactsEngine::instance()->currentUid();
    QJsonArray infos;
    QSet<quint64> seen;
    for (const QJsonValue &value : qAsConst(ids)) {
        quint64 id = 0;
        if (!BridgeInput::toId(value, &id) || id == 0 || seen.contains(id))
            continue;
        seen.insert(id);
        const OrvEngine::ClusterInfoPtr cluster = classOrGroup(id);
        if (!cluster) {
            qCInfo(lcBridge) << "getSomeClusterInfo: no class or group" << id;
            continue;
        }
        QJsonObject info{{QStringLiteral("clusterId"), idValue(id)},
                         {QStringLiteral("clusterType"), int(cluster->id().type())},
                         {QStringLiteral("clusterName"), cluster->name()},
                         {QStringLiteral("schoolId"), idValue(cluster->schoolId())},
                         {QStringLiteral("clusterStatus"), int(cluster->status())},
                         {QStringLiteral("memberCount"), int(cluster->vaildMmembers().size())}};
        if (const auto self = cluster->getMember(me)) {
            info.insert(QStringLiteral("identity"), int(self->identity()));
            info.insert(QStringLiteral("lessonIdentity"), int(self->lessonIdentity()));
        }
        infos.append(info);
    }
    return WebCallbackScript::compact(infos);
}

void ExamBaseBridge::getGroupUserInfo(const QString &groupId, const QString &userIdsInJson, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    QJsonArray uids;
    if (!BridgeInput::parseArray(userIdsInJson, &uids)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    quint64 group = 0;
    BridgeInput::toId(QJsonValue(groupId.trimmed()), &group);
    OrvEngine::ContactsEngine *engine = OrvEngine::ContactsEngine::instance();
    const OrvEngine::ClusterInfoPtr cluster = group ? classOrGroup(group) : nullptr;
    if (!cluster)
        qCInfo(lcBridge) << "getGroupUserInfo: no class or group" << BridgeInput::excerpt(groupId);
    QJsonArray users;
    for (const QJsonValue &value : qAsConst(uids)) {
        quint64 uid = 0;
        if (!BridgeInput::toId(value, &uid) || uid == 0)
            continue;
        const OrvEngine::ClusterMemberInfoPtr member = cluster ? cluster->getMember(uid) : nullptr;
        const OrvEngine::UserInfoPtr user = engine->getUserInfo(uid);
        QJsonObject info{{QStringLiteral("uid"), idValue(uid)}, {QStringLiteral("inGroup"), member != nullptr}};
        if (user) {
            info.insert(QStringLiteral("remark"), user->remark());
            info.insert(QStringLiteral("cancel"), !user->isValid());
        }
        QString name = member ? member->nickname() : QString();
        if (name.isEmpty() && user)
            name = user->nickname();
        info.insert(QStringLiteral("nickName"), name);
        if (member) {
            info.insert(QStringLiteral("identity"), int(member->identity()));
            info.insert(QStringLiteral("lessonIdentity"), int(member->lessonIdentity()));
            info.insert(QStringLiteral("status"), int(member->memberStatus()));
        }
        users.append(info);
    }
    runJavaScript(WebCallbackScript::line(cbKey, WebCallbackScript::compact(users)));
}

// --- Gathering pictures -------------------------------------------------------------------

void ExamBaseBridge::beginRequest(const QString &cbKey, int mode)
{
    m_requestActive = true;
    m_cbKey = cbKey;
    m_uploadType = mode;
    m_pending.clear();
    m_current = -1;
    m_results = QJsonArray();
    m_failureShown = false;
    m_cloudPicks.clear();
}

void ExamBaseBridge::endRequest()
{
    for (const ExamUploadFile &file : qAsConst(m_pending))
        removeTemporary(file);
    m_requestActive = false;
    m_cbKey.clear();
    m_pending.clear();
    m_current = -1;
    m_results = QJsonArray();
    m_failureShown = false;
    m_cloudPicks.clear();
    m_adjusting.clear();
}

void ExamBaseBridge::openQrCodeWidget(int mode, bool multiple)
{
    Q_EMIT ImSignalObject::instance()->signalCloseOtherQrCodeWidget();
    closeQrCodeWidget();
    auto *widget = new UploadImageByQRCodeWidget(dialogParent(), isInClassroom(), mode == QrCodeTeacher ? 0 : 1,
                                                 multiple ? 1 : 0);
    widget->setAttribute(Qt::WA_DeleteOnClose);
    m_qrWidget = widget;
    connect(widget, &UploadImageByQRCodeWidget::acceptUploadImage, this, &ExamBaseBridge::onUploadImageByQrCodeFinish);
    connect(widget, &UploadImageByQRCodeWidget::acceptUploadMultipleImages, this,
            &ExamBaseBridge::onUploadMultipleImagesByQrCodeFinish);
    connect(widget, &UploadImageByQRCodeWidget::rejectUploadImage, this, [this] {
        // Closed without a photo: the request ends without an answer.
        if (m_requestActive && m_pending.isEmpty() && m_results.isEmpty())
            endRequest();
    });

    // Next to the pointer, kept on its screen.
    widget->adjustSize();
    const QPoint cursor = QCursor::pos();
    QScreen *screen = QGuiApplication::screenAt(cursor);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    QPoint at = cursor + QPoint(12, 12);
    if (screen) {
        const QRect area = screen->availableGeometry();
        at.setX(qBound(area.left(), at.x(), qMax(area.left(), area.right() - widget->width())));
        at.setY(qBound(area.top(), at.y(), qMax(area.top(), area.bottom() - widget->height())));
    }
    widget->move(at);
    widget->show();
    widget->raise();
    widget->activateWindow();
}

UploadImageByQRCodeWidget *ExamBaseBridge::qrCodeWidget() const
{
    return m_qrWidget;
}

void ExamBaseBridge::closeQrCodeWidget()
{
    if (!m_qrWidget)
        return;
    UploadImageByQRCodeWidget *widget = m_qrWidget;
    m_qrWidget = nullptr;
    // Its closing is no refusal of a request that has moved on.
    disconnect(widget, nullptr, this, nullptr);
    widget->close();
    if (!widget->testAttribute(Qt::WA_DeleteOnClose))
        widget->deleteLater();
}

void ExamBaseBridge::onUploadImageByQrCodeFinish(const QPixmap &pixmap)
{
    if (!m_requestActive || (m_uploadType != QrCodeTeacher && m_uploadType != QrCodeStudent))
        return;
    closeQrCodeWidget();
    if (pixmap.isNull()) {
        endRequest();
        return;
    }
    addTemporaryImage(pixmap);
}

void ExamBaseBridge::onUploadMultipleImagesByQrCodeFinish(const std::vector<std::pair<QString, QSize>> &images)
{
    if (!m_requestActive || (m_uploadType != QrCodeTeacher && m_uploadType != QrCodeStudent))
        return;
    closeQrCodeWidget();
    // The phone uploaded them already: their addresses are the answer.
    for (const auto &image : images) {
        const QUrl address = BridgeInput::webAddress(image.first);
        if (address.isEmpty()) {
            qCWarning(lcBridge) << "phone photo without a web address:" << BridgeInput::excerpt(image.first);
            continue;
        }
        m_results.append(QJsonObject{{QStringLiteral("from"), m_uploadType},
                                     {QStringLiteral("imageUrl"), address.toString()}});
    }
    sendUploadTypeTrack(!m_results.isEmpty());
    finishUpload();
}

void ExamBaseBridge::pickLocalFiles()
{
    QString folder = OrvSettings::instance()->value(QLatin1String(UploadFolderKey)).toString();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QDir::homePath();
    const QStringList files = BridgeDialogs::getOpenFileNames(
        dialogParent(), OrvLang::text("ID_SelectImages"), folder,
        OrvLang::text("ID_ImageFiles") + QStringLiteral("(*.png *.jpg *.jpeg *.bmp)"));
    if (files.isEmpty()) {
        endRequest();
        return;
    }
    OrvSettings::instance()->setValue(QLatin1String(UploadFolderKey), QFileInfo(files.first()).absolutePath());

    QStringList tooLarge;
    QStringList tooManyPixels;
    QStringList unreadable;
    if (!isImageMatch(files, &tooLarge, &tooManyPixels, &unreadable)) {
        // The whole selection is refused: the page gets what the user picked or nothing.
        if (!tooManyPixels.isEmpty())
            showInformation(textWith("ID_Homework_HeightWidthCanNotExceed10000px", quotedNames(tooManyPixels)));
        else if (!tooLarge.isEmpty())
            showInformation(textWith("ID_Homework_ImageCanNotExceed25M", quotedNames(tooLarge)));
        else
            showInformation(textWith("ID_Homework_ImageCanNotRead", quotedNames(unreadable)));
        endRequest();
        return;
    }
    for (const QString &file : files) {
        ExamUploadFile entry;
        entry.path = file;
        m_pending.append(entry);
    }
    startLoading(OrvLang::text("ID_Uploading"));
    startUpload();
}

bool ExamBaseBridge::isImageMatch(const QStringList &files, QStringList *tooLarge, QStringList *tooManyPixels,
                                  QStringList *unreadable)
{
    bool match = true;
    for (const QString &file : files) {
        const QFileInfo info(file);
        if (!info.isFile() || info.size() == 0) {
            unreadable->append(file);
            match = false;
            continue;
        }
        if (info.size() > MaxLocalImageBytes) {
            tooLarge->append(file);
            match = false;
        }
        QImageReader reader(file);
        reader.setAutoTransform(true);
        QSize size = reader.size();
        if (!size.isValid() && reader.canRead()) // formats that tell their size only by decoding
            size = reader.read().size();
        if (!size.isValid() || !reader.canRead()) {
            if (!tooLarge->contains(file))
                unreadable->append(file);
            match = false;
            continue;
        }
        if (size.width() >= MaxLocalImageSide || size.height() >= MaxLocalImageSide) {
            tooManyPixels->append(file);
            match = false;
        }
    }
    return match;
}

void ExamBaseBridge::pickCloudFiles()
{
    auto *picker = new CloudFileSelectWidget(dialogParent(), QString::fromLatin1(CloudImagePickerQuery));
    picker->setObjectName(QStringLiteral("examCloudImagePicker"));
    picker->setWindowFlag(Qt::Dialog);
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->setWindowTitle(OrvLang::text("ID_CloudDisk_My"));
    if (OrvSettings::instance()->value(QLatin1String(SubWidgetModalKey)).toBool())
        picker->setWindowModality(Qt::ApplicationModal);
    picker->resize(800, 560);
    m_cloudPicker = picker;
    connect(picker, &CloudFileSelectBaseWidget::clickBtnOk, this, [this, picker](const QString &params) {
        m_cloudPicker = nullptr;
        picker->close();
        onCloudFilesPicked(params);
    });
    connect(picker, &QObject::destroyed, this, [this] {
        // Closed without a pick.
        if (m_requestActive && m_uploadType == CloudDiskFiles && m_cloudPicks.isEmpty() && m_results.isEmpty()
            && !isLoading())
            endRequest();
    });
    picker->show();
    picker->raise();
    picker->activateWindow();
}

void ExamBaseBridge::onCloudFilesPicked(const QString &params)
{
    if (!m_requestActive || m_uploadType != CloudDiskFiles)
        return;
    QJsonObject object;
    QJsonArray files;
    if (BridgeInput::parseObject(params, &object))
        files = object.value(QStringLiteral("files")).toArray();
    else if (!BridgeInput::parseArray(params, &files))
        qCWarning(lcBridge) << "parse json error!";
    const quint64 me = OrvEngine::ContactsEngine::instance()->currentUid();
    for (const QJsonValue &value : qAsConst(files)) {
        const QJsonObject entry = value.toObject();
        const quint64 id = BridgeInput::id(entry, QStringLiteral("userFileId"));
        if (id == 0) {
            qCWarning(lcBridge) << "cloud pick without userFileId";
            continue;
        }
        const quint64 owner = BridgeInput::id(entry, QStringLiteral("ownerUid"));
        m_cloudPicks.append(QJsonObject{{QStringLiteral("userFileId"), QString::number(id)},
                                        {QStringLiteral("ownerUid"), QString::number(owner ? owner : me)}});
    }
    if (m_cloudPicks.isEmpty()) {
        endRequest();
        return;
    }
    startLoading();
    requestNextTransDetail();
}

// One file at a time, so the addresses keep the order picked.
void ExamBaseBridge::requestNextTransDetail()
{
    if (m_cloudPicks.isEmpty()) {
        finishUpload();
        return;
    }
    const QJsonObject pick = m_cloudPicks.first();
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("userFileId"), pick.value(QStringLiteral("userFileId")).toString());
    query.addQueryItem(QStringLiteral("ownerUid"), pick.value(QStringLiteral("ownerUid")).toString());
    OrvHttpReply *reply = OrvHttpManager::instance()->get(QString::fromLatin1(TransDetailPath), query);
    const quint64 fileId = pick.value(QStringLiteral("userFileId")).toString().toULongLong();
    const quint64 owner = pick.value(QStringLiteral("ownerUid")).toString().toULongLong();
    const quint64 me = OrvEngine::ContactsEngine::instance()->currentUid();
    connect(reply, &OrvHttpReply::finished, this,
            [this, fileId, owner, me](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                const QJsonObject detail = data.toObject();
                onTransFileDetailFinished(fileId, owner, me, BridgeInput::text(detail, QStringLiteral("path")), detail,
                                          networkError, errorNo, errorText,
                                          BridgeInput::boolean(detail, QStringLiteral("foul")),
                                          BridgeInput::text(detail, QStringLiteral("replaceUrl")));
            });
}

void ExamBaseBridge::onTransFileDetailFinished(quint64 fileId, quint64 fileOwner, quint64 ownerUid, const QString &path,
                                               const QJsonObject &detail, int networkError, int errorNo,
                                               const QString &errorText, bool bFoul, const QString &replaceUrl)
{
    Q_UNUSED(ownerUid)
    if (!m_requestActive || m_uploadType != CloudDiskFiles || m_cloudPicks.isEmpty())
        return;
    m_cloudPicks.removeFirst();
    const QString name = QStringLiteral("%1 (owner %2, %3)").arg(fileId).arg(fileOwner).arg(BridgeInput::excerpt(path));
    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
        qCWarning(lcBridge) << "transcoding details of" << name << "failed:" << errorText;
        sendUploadTypeTrack(false);
        QString id = OrvHttpManager::webProxyErrorToStringId(networkError, errorNo);
        if (id.isEmpty())
            id = QStringLiteral("ID_WebProxyEngine_UnknownError");
        showInformation(OrvLang::text(id.toUtf8().constData()));
        requestNextTransDetail();
        return;
    }
    QString address;
    if (bFoul) {
        // The service keeps a stand-in for a file it will not show.
        address = BridgeInput::webAddress(replaceUrl).toString();
        if (address.isEmpty())
            qCWarning(lcBridge) << "cloud file" << name << "is withheld by the service";
    } else if (BridgeInput::text(detail, QStringLiteral("orvFileType")) == QLatin1String("orv-eppt")) {
        qCWarning(lcBridge) << "cloud file" << name << "is a board file, not a picture";
    } else {
        address = midsizeAddress(detail, OrvHttpManager::instance()->baseUrl());
        if (address.isEmpty())
            qCWarning(lcBridge) << "cloud file" << name << "has no midsize picture yet";
    }
    if (address.isEmpty()) {
        sendUploadTypeTrack(false);
    } else {
        m_results.append(QJsonObject{{QStringLiteral("from"), m_uploadType}, {QStringLiteral("imageUrl"), address}});
        sendUploadTypeTrack(true);
    }
    requestNextTransDetail();
}

QString ExamBaseBridge::midsizeAddress(const QJsonObject &detail, const QUrl &base)
{
    const QJsonValue image = detail.value(QStringLiteral("output")).toObject().value(QStringLiteral("IMAGE"));
    const QString midsize = image.toObject().value(QStringLiteral("midsize")).toString().trimmed();
    if (midsize.isEmpty())
        return QString();
    const QUrl url(midsize);
    if (!url.isRelative())
        return BridgeInput::webAddress(midsize).toString();
    // A path on the service: "%1%2", with one slash between.
    QString root = base.toString(QUrl::RemoveQuery | QUrl::RemoveFragment);
    while (root.endsWith(QLatin1Char('/'))) // QUrl keeps the slash of a bare root path
        root.chop(1);
    const QString joined = QStringLiteral("%1%2").arg(root, midsize.startsWith(QLatin1Char('/')) ? midsize
                                                                                               : QLatin1Char('/') + midsize);
    return BridgeInput::webAddress(joined).toString();
}

void ExamBaseBridge::onShot(bool bHide)
{
    PrScrnHelper &shot = PrScrnHelper::instance();
    if (shot.isCapturing()) {
        qCWarning(lcBridge) << "a screenshot is already being taken";
        if (m_requestActive && m_pending.isEmpty())
            endRequest();
        return;
    }
    m_hiddenWindow = nullptr;
    if (bHide) {
        Q_EMIT ImSignalObject::instance()->hideImOnScreenshot(true);
        QWidget *window = dialogParent();
        if (window && window->isVisible() && !window->isMinimized()) {
            window->showMinimized();
            m_hiddenWindow = window;
        }
    }
    const auto start = [this] {
        PrScrnHelper::instance().start(QSize(), true, false, this, SLOT(onGrabFinished(QPixmap)), false);
    };
    if (bHide)
        QTimer::singleShot(HideSettleMs, this, start); // the windows leave the screen before it is grabbed
    else
        start();
}

void ExamBaseBridge::onGrabFinished(const QPixmap &pixmap)
{
    const bool hidden = m_uploadType == ScreenshotHidingClient;
    if (m_hiddenWindow) {
        m_hiddenWindow->showNormal();
        m_hiddenWindow->raise();
        m_hiddenWindow->activateWindow();
        m_hiddenWindow = nullptr;
    }
    if (hidden)
        Q_EMIT ImSignalObject::instance()->hideImOnScreenshot(false);
    if (!m_requestActive || (m_uploadType != Screenshot && m_uploadType != ScreenshotHidingClient))
        return;
    if (pixmap.isNull()) {
        endRequest();
        return;
    }
    addTemporaryImage(pixmap);
}

void ExamBaseBridge::addTemporaryImage(const QPixmap &pixmap)
{
    const QString path = QStringLiteral("%1/%2.%3").arg(ExamUtils::getExamTempFilesDir(), newId(), QStringLiteral("jpg"));
    if (!pixmap.save(path, "jpg")) {
        qCWarning(lcBridge) << "exam image save failed" << path;
        QFile::remove(path);
        showInformation(OrvLang::text("ID_SAVEFAILED"));
        endRequest();
        return;
    }
    ExamUploadFile entry;
    entry.path = path;
    entry.temporary = true;
    m_pending.append(entry);
    startLoading(OrvLang::text("ID_Uploading"));
    startUpload();
}

// --- Uploading, one picture after another -------------------------------------------------

void ExamBaseBridge::startUpload()
{
    for (int i = m_current + 1; i < m_pending.size(); ++i) {
        if (m_pending.at(i).state == ExamUploadFile::Waiting) {
            Q_EMIT signalUploadExamImage();
            return;
        }
    }
    finishUpload();
}

void ExamBaseBridge::onUploadExamImage()
{
    if (!m_requestActive)
        return;
    int next = -1;
    for (int i = m_current + 1; i < m_pending.size(); ++i) {
        if (m_pending.at(i).state == ExamUploadFile::Waiting) {
            next = i;
            break;
        }
    }
    if (next < 0) {
        finishUpload();
        return;
    }
    m_current = next;
    ExamUploadFile &file = m_pending[next];
    file.state = ExamUploadFile::Shrinking;
    m_adjusting = file.path;
    updateLoadingProcess(m_pending.size() > 1 ? QStringLiteral("%1 (%2/%3)")
                                                    .arg(OrvLang::text("ID_Uploading"))
                                                    .arg(next + 1)
                                                    .arg(m_pending.size())
                                              : OrvLang::text("ID_Uploading"));
    const QString path = file.path;
    QString suffix = ExamUtils::getFileSuffix(path);
    if (suffix.isEmpty())
        suffix = QStringLiteral("jpg");
    m_adjustWatcher->setFuture(QtConcurrent::run([path, suffix] {
        QImageReader reader(path);
        return ExamUtils::adjustExamImage(reader, suffix);
    }));
}

void ExamBaseBridge::adjustPixmapfinish()
{
    const QString adjusted = m_adjusting;
    m_adjusting.clear();
    const int index = currentIndex();
    if (index < 0 || m_pending.at(index).state != ExamUploadFile::Shrinking || m_pending.at(index).path != adjusted)
        return; // the request ended meanwhile
    const QByteArray bytes = m_adjustWatcher->future().resultCount() > 0 ? m_adjustWatcher->result() : QByteArray();
    ExamUploadFile &file = m_pending[index];
    if (bytes.isEmpty()) {
        qCWarning(lcBridge) << "exam image adjust failed" << file.path;
        failCurrentFile("ID_Homework_ImageCanNotRead", QFileInfo(file.path).fileName());
        return;
    }
    const QString suffix = ExamUtils::examImageWriteSuffix(ExamUtils::getFileSuffix(file.path));
    const QString target = QStringLiteral("%1/%2.%3").arg(ExamUtils::getExamTempFilesDir(), newId(), suffix);
    QFile out(target);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size()) {
        qCWarning(lcBridge) << "exam image save failed" << target << out.errorString();
        out.remove();
        failCurrentFile("ID_SAVEFAILED", QString());
        return;
    }
    out.close();
    file.uploadPath = target;
    file.taskId = newId();
    file.state = ExamUploadFile::Uploading;

    std::shared_ptr<CosUploadPathPrefixPod> cos;
    if (OrvSettings::instance()->value(QLatin1String(ExamUploadObject::UseObjectStorageKey)).toBool())
        cos = std::make_shared<CosUploadPathPrefixPod>(
            CosUploadPathPrefixPod::examImages(QDate::currentDate().toString(QStringLiteral("yyyyMMdd"))));
    QPointer<ExamBaseBridge> self(this);
    FileUploadManager::instance()->requestUploadExamFile(
        target, file.taskId,
        [self](const QString &taskId, const QJsonObject &data, int networkError, int errorNo, const QString &errorText) {
            if (self)
                self->uploadExamFileSlot(taskId, data, networkError, errorNo, errorText);
        },
        cos);
}

void ExamBaseBridge::onUploadProgress(const QString &taskId, qint64 bytesSent, qint64 bytesTotal)
{
    const int index = currentIndex();
    if (index < 0 || m_pending.at(index).taskId != taskId || m_pending.at(index).state != ExamUploadFile::Uploading)
        return;
    const int percent = bytesTotal > 0 ? int(qBound<qint64>(0, bytesSent * 100 / bytesTotal, 100)) : 0;
    QString text = QStringLiteral("%1 %2%").arg(OrvLang::text("ID_Uploading")).arg(percent);
    if (m_pending.size() > 1)
        text += QStringLiteral(" (%1/%2)").arg(index + 1).arg(m_pending.size());
    updateLoadingProcess(text);
}

void ExamBaseBridge::uploadExamFileSlot(const QString &strTaskId, const QJsonObject &jsonDataObject, int networkError,
                                        int errorNo, const QString &errorString)
{
    const int index = currentIndex();
    if (index < 0 || m_pending.at(index).taskId != strTaskId || m_pending.at(index).state != ExamUploadFile::Uploading) {
        qCInfo(lcBridge) << "upload" << strTaskId << "ended after its request";
        return;
    }
    ExamUploadFile &file = m_pending[index];
    QFile::remove(file.uploadPath);
    file.uploadPath.clear();
    if (networkError != 0 || errorNo != FileUploadManager::SuccessErrorNo) {
        qCWarning(lcBridge) << "exam image upload failed:" << file.path << errorString << "network error"
                            << networkError << "errno" << errorNo;
        QString id = FileUploadManager::uploadErrorToStringId(networkError, errorNo);
        if (id.isEmpty())
            id = QStringLiteral("ID_WebProxyEngine_UnknownError");
        failCurrentFile(id.toUtf8().constData(), QString());
        return;
    }
    QJsonObject data = jsonDataObject;
    const QString url = ExamUtils::getExamImageUrlPath(data);
    if (BridgeInput::webAddress(url).isEmpty()) {
        qCWarning(lcBridge) << "exam image upload answered without imageUrl:" << BridgeInput::excerpt(url);
        failCurrentFile("ID_WebProxyEngine_CanNotParseFieldErrorInfo", QString());
        return;
    }
    file.state = ExamUploadFile::Uploaded;
    removeTemporary(file);
    m_results.append(QJsonObject{{QStringLiteral("from"), m_uploadType}, {QStringLiteral("imageUrl"), url}});
    sendUploadTypeTrack(true);
    startUpload();
}

void ExamBaseBridge::failCurrentFile(const char *messageId, const QString &detail)
{
    const int index = currentIndex();
    if (index >= 0) {
        m_pending[index].state = ExamUploadFile::Failed;
        removeTemporary(m_pending.at(index));
    }
    sendUploadTypeTrack(false);
    // One box per request: a server that is down would otherwise ask once per picture.
    if (!m_failureShown) {
        m_failureShown = true;
        showInformation(detail.isEmpty() ? OrvLang::text(messageId) : textWith(messageId, detail));
    }
    if (m_requestActive)
        startUpload();
}

void ExamBaseBridge::finishUpload()
{
    stopLoading();
    if (!m_results.isEmpty() && !m_cbKey.isEmpty())
        runJavaScript(WebCallbackScript::line(m_cbKey, WebCallbackScript::compact(m_results)));
    m_results = QJsonArray();
    endRequest();
}

void ExamBaseBridge::onCommitExamEditImgs(const QJsonObject &imageObject)
{
    runJavaScript(WebCallbackScript::commitExamEditImgsLine(imageObject));
}

void ExamBaseBridge::loadingTimeOutSlot()
{
    qCInfo(lcBridge) << metaObject()->className() << "loading timed out after" << loadingTimeout() << "ms";
    BridgeDialogs::message(webView(), OrvLang::text("ID_Information"),
                           OrvLang::text("ID_timeoutoccurred_OperationCanceled"), {});
    stopLoading();
    cancelImageRequest();
}

void ExamBaseBridge::cancelImageRequest()
{
    if (!m_requestActive)
        return;
    for (ExamUploadFile &file : m_pending) {
        if (file.state == ExamUploadFile::Uploading) {
            FileUploadManager::instance()->cancelUpload(file.taskId);
            QFile::remove(file.uploadPath);
            file.uploadPath.clear();
        }
        if (file.state != ExamUploadFile::Uploaded)
            file.state = ExamUploadFile::Failed;
    }
    closeQrCodeWidget();
    if (m_cloudPicker)
        m_cloudPicker->close();
    finishUpload();
}

// --- Helpers ------------------------------------------------------------------------------

void ExamBaseBridge::sendUploadTypeTrack(bool success)
{
    OrvTrack::instance()->track(QString::fromLatin1(UploadTrackEvent),
                                {{QStringLiteral("result"), success ? QStringLiteral("success") : QStringLiteral("fail")},
                                 {QStringLiteral("business_scenario"), businessScenario()},
                                 {QStringLiteral("file_type"), QStringLiteral("image")},
                                 {QStringLiteral("operation_type"), uploadTypeName(m_uploadType)},
                                 {QStringLiteral("is_from_classroom"), isInClassroom()}});
}

QString ExamBaseBridge::uploadTypeName(int mode)
{
    switch (mode) {
    case QrCodeTeacher:
        return QStringLiteral("teacher_qr_code");
    case LocalFiles:
        return QStringLiteral("local_file");
    case CloudDiskFiles:
        return QStringLiteral("cloud_disk");
    case Screenshot:
        return QStringLiteral("screenshot");
    case ScreenshotHidingClient:
        return QStringLiteral("screenshot_hiding_client");
    case QrCodeStudent:
        return QStringLiteral("student_qr_code");
    default:
        return QStringLiteral("unknown");
    }
}

QString ExamBaseBridge::businessScenario() const
{
    return QStringLiteral("exam");
}

bool ExamBaseBridge::isInClassroom() const
{
    return fromType() == FromClassroom || fromType() == FromClassroomNoAddFile;
}

bool ExamBaseBridge::refusedByClassroom()
{
    if (fromType() != FromClassroomNoAddFile)
        return false;
    if (auto *mgr = ExtensionSystem::instance()->getObject<IPptMgr>(QString::fromLatin1(IPptMgr::ExtensionName)))
        mgr->showTip(QStringLiteral("ID_Exten_CanNot_AddFile"));
    else
        qCWarning(lcBridge) << "IPptMgr is nullptr";
    return true;
}

QUrl ExamBaseBridge::subPageAddress(const QString &url)
{
    const QString text = url.trimmed();
    if (text.isEmpty() || text.size() > BridgeInput::MaxTextLength)
        return {};
    QUrl address = BridgeInput::webAddress(text);
    if (address.isEmpty() && QUrl(text).isRelative() && !text.startsWith(QLatin1String("//"))
        && !text.contains(QLatin1Char('\\')))
        address = BridgeInput::webAddress(CloudPageAddress::join(text).toString());
    if (address.isEmpty())
        qCWarning(lcBridge) << "not a page address:" << BridgeInput::excerpt(text);
    return address;
}

void ExamBaseBridge::showInformation(const QString &text)
{
    BridgeDialogs::message(dialogParent(), OrvLang::text("ID_Information"), text, {});
}

QWidget *ExamBaseBridge::dialogParent() const
{
    return webView() ? webView()->window() : nullptr;
}

int ExamBaseBridge::currentIndex() const
{
    return m_requestActive && m_current >= 0 && m_current < m_pending.size() ? m_current : -1;
}

void ExamBaseBridge::removeTemporary(const ExamUploadFile &file)
{
    // Only what the bridge wrote itself; a user's own files are never touched.
    if (!file.uploadPath.isEmpty())
        QFile::remove(file.uploadPath);
    if (file.temporary && file.state != ExamUploadFile::Shrinking)
        QFile::remove(file.path);
}

void ExamBaseBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    window->initWebBridge(new WebSubWindowBridge(window->webView(), window, fromType()), QStringLiteral("cloudDisk"));
}
