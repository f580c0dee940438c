// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clouddiskbridge.h"

#include "ShareToChatTool.h"
#include "bridgedialogs.h"
#include "bridgeinput.h"
#include "cloudpageaddress.h"
#include "clouddownload.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "extensionsystem.h"
#include "iclassroommgr.h"
#include "icoursewareservice.h"
#include "idocumentservice.h"
#include "ifileopener.h"
#include "iimagepreviewservice.h"
#include "imsignalobject.h"
#include "ipptmgr.h"
#include "iupdater.h"
#include "nativebridge_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "systembrowser.h"
#include "webcallbackscript.h"
#include "websubwindow.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QUrlQuery>

namespace {

const QString kSourcePath = QStringLiteral("cloudspace/api/user/file/source");
const QString kSharedSourcePath = QStringLiteral("cloudspace/api/user/share/file/source");
const QString kBatchPath = QStringLiteral("cloudspace/api/user/batch/download");
const QString kOrganizationDownloadPath = QStringLiteral("cloudspace/api/organization/download");


// "1,2,3": ids only, so nothing else rides along to the web service.
bool isIdList(const QString &text)
{
    if (text.isEmpty() || text.size() > 21 * BridgeInput::MaxEntries)
        return false;
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString &part : parts) {
        quint64 id = 0;
        if (!BridgeInput::toId(part, &id))
            return false;
    }
    return true;
}

QString currentUid()
{
    return QString::number(OrvEngine::ContactsEngine::instance()->currentUid());
}

template<typename T>
T *service(const char *name)
{
    auto *object = ExtensionSystem::instance()->getObject<T>(QString::fromLatin1(name));
    if (!object)
        qCWarning(lcBridge).noquote() << name << "is nullptr";
    return object;
}

} // namespace

CloudDiskBridge::CloudDiskBridge(OrvWebView *view, WebSubWindowBridge::FromType fromType, QObject *parent)
    : ExamBaseBridge(view, parent, fromType)
    , m_fromType(fromType)
{
    setLoadingTimeout(CloudLoadingTimeoutMs);
    connect(OrvEngine::CourseEngine::instance(), &OrvEngine::CourseEngine::signalSchoolInfoChanged, this,
            &CloudDiskBridge::onSchoolInfoChanged);
}

bool CloudDiskBridge::clouddiskInClassroom() const
{
    return m_fromType == FromClassroom || m_fromType == FromClassroomNoAddFile;
}

bool CloudDiskBridge::isTeacher()
{
    auto *contacts = OrvEngine::ContactsEngine::instance();
    const quint64 me = contacts->currentUid();
    for (const OrvEngine::ClusterInfoPtr &cluster : contacts->getClusterInfos()) {
        if (!cluster || cluster->id().id() == 0 || cluster->status() != OrvEngine::ClusterStatus::Normal)
            continue;
        if (cluster->id().type() != OrvEngine::Class)
            continue;
        for (const OrvEngine::ClusterMemberInfoPtr &member : cluster->vaildMmembers()) {
            if (member->id() != me)
                continue;
            const auto identity = member->lessonIdentity();
            if (member->memberStatus() == OrvEngine::MemberStatus::Normal
                && (identity == OrvEngine::LessonIdentity::Teacher || identity == OrvEngine::LessonIdentity::Assistant))
                return true;
        }
    }
    return false;
}

QString CloudDiskBridge::teacherDefaultTab()
{
    return OrvSettings::instance()->value(QLatin1String(TeacherDefaultTabKey)).toString();
}

void CloudDiskBridge::runCallBack(const QString &cbKey)
{
    if (cbKey.isEmpty())
        return;
    runJavaScript(WebCallbackScript::line(cbKey));
}

IPptMgr *CloudDiskBridge::pptMgr() const
{
    return service<IPptMgr>(IPptMgr::ExtensionName);
}

void CloudDiskBridge::openClassroomSubWidget(const QString &url, const QString &size)
{
    if (refusedByClassroom())
        return;
    const QUrl address = subPageAddress(url);
    if (address.isEmpty())
        return;
    // The classroom's windows are smaller than the client's: its own default.
    QSize windowSize(480, 360);
    const QStringList parts = size.left(64).split(QLatin1Char('*'));
    if (parts.size() == 2) {
        const QSize given(parts.at(0).trimmed().toInt(), parts.at(1).trimmed().toInt());
        if (given.width() > 0 && given.height() > 0 && given.width() <= 10000 && given.height() <= 10000)
            windowSize = given;
    }
    IClassRoomMgr *mgr = IClassRoomMgr::current();
    if (!mgr)
        return;
    mgr->openSubWidget(address.toString(), windowSize);
}

QString CloudDiskBridge::businessScenario() const
{
    return QStringLiteral("cloud_disk");
}

void CloudDiskBridge::showWebError(int networkError, int errorNo, const QString &errorText)
{
    qCWarning(lcBridge) << "error:" << errorText << "network error" << networkError << "errno" << errorNo;
    QString id = OrvHttpManager::webProxyErrorToStringId(networkError, errorNo);
    if (id.isEmpty())
        id = QStringLiteral("ID_WebProxyEngine_UnknownError");
    BridgeDialogs::message(webView(), BridgeDialogs::messageBoxTitle(clouddiskInClassroom()), OrvLang::text(id), {});
}

// --- Opening ---------------------------------------------------------------------------------

void CloudDiskBridge::openFiles(const QString &fileInfos, int currentIndex)
{
    qCInfo(lcBridge) << "CloudDiskBridge::openFiles";
    QJsonArray files;
    QJsonObject entry;
    if (!BridgeInput::entryAt(fileInfos, currentIndex, &files, &entry))
        return;
    if (entry.isEmpty()) {
        qCWarning(lcBridge) << "openFiles: entry" << currentIndex << "is not a file";
        return;
    }
    const int fileType = BridgeInput::integer(entry, QStringLiteral("fileType"));
    if (fileType != 1 && fileType != 2) {
        int index = currentIndex;
        const QJsonArray web = BridgeInput::webFileEntries(files, &index, "openFiles");
        if (index < 0)
            return;
        if (clouddiskInClassroom()) {
            IPptMgr *mgr = pptMgr();
            if (!mgr)
                return;
            connect(mgr, &IPptMgr::hideCloudDisk, this, &CloudDiskBridge::hideCloudDisk, Qt::UniqueConnection);
            mgr->openFiles(web, index);
        } else if (auto *opener = service<IFileOpener>(IFileOpener::ExtensionName)) {
            opener->openFiles(web, index);
        }
        return;
    }

    const QString address = BridgeInput::text(entry, QStringLiteral("url"));
    if (address.isEmpty()) {
        qCWarning(lcBridge) << "openFiles: exam or homework entry without url";
        return;
    }
    const QUrl page = CloudPageAddress::join(address);
    // The entry names a page of the web service; an address elsewhere is not opened in the client.
    if (!OrvWebView::isTrustedUrl(page)) {
        qCWarning(lcBridge) << "openFiles: refuses the page" << BridgeInput::excerpt(address);
        return;
    }
    const QString url = page.toString();
    const QSize size = BridgeInput::windowSize(BridgeInput::text(entry, QStringLiteral("size")));
    if (fileType == 2) {
        Q_EMIT ImSignalObject::instance()->openHomeworkSubWidget(webView(), url, size);
        return;
    }
    if (!clouddiskInClassroom()) {
        Q_EMIT ImSignalObject::instance()->openExamSubWidget(webView(), url, size);
        return;
    }
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    const QJsonObject paper{{QStringLiteral("paper"), entry.value(QStringLiteral("fileId"))},
                            {QStringLiteral("title"), BridgeInput::text(entry, QStringLiteral("userFileName"))},
                            {QStringLiteral("link"), url},
                            {QStringLiteral("windowSize"), QStringLiteral("%1*%2").arg(size.width()).arg(size.height())}};
    mgr->openExamPaper(WebCallbackScript::compact(paper));
    Q_EMIT hideCloudDisk();
}

void CloudDiskBridge::previewImages(const QString &urls)
{
    QJsonArray list;
    if (!BridgeInput::parseArray(urls, &list)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    QStringList addresses;
    for (const QJsonValue &value : qAsConst(list)) {
        const QString text = value.isObject() ? BridgeInput::text(value.toObject(), QStringLiteral("url")) : value.toString();
        if (!text.isEmpty())
            addresses << text;
    }
    addresses = BridgeInput::webAddresses(addresses, "previewImages");
    if (addresses.isEmpty())
        return;
    if (auto *preview = service<IImagePreviewService>(IImagePreviewService::ExtensionName))
        preview->previewImages(addresses);
}

// --- Downloading -----------------------------------------------------------------------------

void CloudDiskBridge::downloadFilesWithCbk(const QString &fileInfos, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    download("CloudDiskBridge::downloadFilesWithCbk", fileInfos, cbKey, true);
}

void CloudDiskBridge::downloadFiles(const QString &fileInfos)
{
    download("CloudDiskBridge::downloadFiles", fileInfos, QString(), false);
}

void CloudDiskBridge::download(const char *method, const QString &fileInfos, const QString &cbKey, bool answer)
{
    qCInfo(lcBridge) << method;
    QJsonArray files;
    if (!BridgeInput::parseArray(fileInfos, &files)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    if (files.isEmpty())
        return;

    if (files.size() > 1) {
        QStringList ids;
        for (const QJsonValue &value : qAsConst(files)) {
            const quint64 id = BridgeInput::id(value.toObject(), QStringLiteral("userFileId"));
            if (id == 0) {
                qCWarning(lcBridge) << method << "skips an entry without userFileId";
                continue;
            }
            ids << QString::number(id);
        }
        if (ids.isEmpty())
            return;
        // The page sends one disk at a time; its last entry says which.
        const QJsonObject last = files.last().toObject();
        const int source = BridgeInput::integer(last, QStringLiteral("fileSource"));
        const QString sid = BridgeInput::text(last, QStringLiteral("sid"));
        startLoading();
        if (source == 8) {
            requestOrganizationFilesDownload(sid, ids.join(QLatin1Char(',')), answer ? cbKey : QString());
            return;
        }
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("fileIds"), ids.join(QLatin1Char(',')));
        OrvHttpReply *reply = OrvHttpManager::instance()->postForm(kBatchPath, form);
        connect(reply, &OrvHttpReply::finished, this,
                [this, cbKey, answer](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
                        stopLoading();
                        showWebError(networkError, errorNo, errorText);
                        return;
                    }
                    onBatchAnswer(data, cbKey, answer, "/api/user/batch/download : sucess ");
                });
        return;
    }

    const QJsonObject entry = files.at(0).toObject();
    const quint64 id = BridgeInput::id(entry, QStringLiteral("userFileId"));
    if (id == 0) {
        qCWarning(lcBridge) << method << "entry without userFileId";
        return;
    }
    const int source = BridgeInput::integer(entry, QStringLiteral("fileSource"));
    startLoading();
    if (source == 8) {
        requestOrganizationFilesDownload(BridgeInput::text(entry, QStringLiteral("sid")), QString::number(id),
                                         answer ? cbKey : QString());
        return;
    }
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("userFileId"), QString::number(id));
    QString path = kSourcePath;
    if (source == 6) {
        path = kSharedSourcePath;
        query.addQueryItem(QStringLiteral("shareUid"), QString::number(BridgeInput::id(entry, QStringLiteral("shareUid"))));
        query.addQueryItem(QStringLiteral("referenceType"),
                           QString::number(BridgeInput::integer(entry, QStringLiteral("referenceType"))));
        query.addQueryItem(QStringLiteral("referenceId"),
                           QString::number(BridgeInput::id(entry, QStringLiteral("referenceId"))));
    } else if (const quint64 owner = BridgeInput::id(entry, QStringLiteral("ownerUid"))) {
        query.addQueryItem(QStringLiteral("ownerUid"), QString::number(owner));
    }
    const QString name = BridgeInput::text(entry, QStringLiteral("userFileName"));
    OrvHttpReply *reply = OrvHttpManager::instance()->get(path, query);
    connect(reply, &OrvHttpReply::finished, this,
            [this, name, cbKey, answer](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                stopLoading();
                if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
                    showWebError(networkError, errorNo, errorText);
                    return;
                }
                onSingleFileAnswer(data, name, cbKey, answer);
            });
}

void CloudDiskBridge::onSingleFileAnswer(const QJsonValue &data, const QString &fallbackName, const QString &cbKey,
                                         bool answer)
{
    const QJsonObject object = data.toObject();
    QString path = BridgeInput::text(object, QStringLiteral("filePath"));
    if (path.isEmpty())
        path = BridgeInput::text(object, QStringLiteral("path"));
    const QUrl url = CloudDownload::resolveAddress(path);
    if (!url.isValid() || url.isEmpty()) {
        qCWarning(lcBridge) << "error: the answer names no file address";
        showWebError(OrvHttpManager::BadReplyError, 0, QString());
        return;
    }
    QString name = BridgeInput::text(object, QStringLiteral("fileName"));
    if (name.isEmpty())
        name = fallbackName;
    if (CloudDownload::saveAs(webView(), url, name) == 0)
        return;
    if (answer)
        runCallBack(cbKey);
}

QString CloudDiskBridge::onBatchAnswer(const QJsonValue &data, const QString &cbKey, bool answer, const char *successLog)
{
    stopLoading();
    if (!data.isArray()) {
        showWebError(OrvHttpManager::BadReplyError, 0, QStringLiteral("the batch answer is not a list"));
        return QString();
    }
    const QJsonArray items = data.toArray();
    const QString folder = CloudDownload::askFolder(webView());
    if (folder.isEmpty())
        return QString();
    int queued = 0;
    for (const QJsonValue &value : items) {
        const QJsonObject item = value.toObject();
        const QUrl url = CloudDownload::resolveAddress(BridgeInput::text(item, QStringLiteral("path")));
        if (url.isEmpty()) {
            qCWarning(lcBridge) << "batch entry without a usable path skipped";
            continue;
        }
        if (CloudDownload::queueInto(folder, url, BridgeInput::text(item, QStringLiteral("fileName"))) != 0)
            ++queued;
        if (queued >= BridgeInput::MaxEntries)
            break;
    }
    qCInfo(lcBridge).noquote() << successLog << queued;
    if (answer)
        runCallBack(cbKey);
    return folder;
}

void CloudDiskBridge::requestOrganizationFilesDownload(const QString &sid, const QString &fileIds, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    quint64 school = 0;
    if (!BridgeInput::toId(sid, &school) || school == 0 || !isIdList(fileIds)) {
        qCWarning(lcBridge) << "requestOrganizationFilesDownload: bad sid or fileIds" << BridgeInput::excerpt(sid)
                            << BridgeInput::excerpt(fileIds);
        stopLoading();
        return;
    }
    startLoading();
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("UID"), currentUid());
    form.addQueryItem(QStringLiteral("fileIds"), fileIds);
    form.addQueryItem(QStringLiteral("sid"), QString::number(school));
    OrvHttpReply *reply = OrvHttpManager::instance()->postForm(kOrganizationDownloadPath, form);
    connect(reply, &OrvHttpReply::finished, this,
            [this, cbKey](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
                    stopLoading();
                    showWebError(networkError, errorNo, errorText);
                    return;
                }
                const QString folder =
                    onBatchAnswer(data, QString(), false, "cloudspace/api/organization/files/download: sucess ");
                // The page learns where the files went.
                if (!cbKey.isEmpty() && !folder.isEmpty()) {
                    runJavaScript(WebCallbackScript::escapedLine(
                        cbKey, WebCallbackScript::compact(WebCallbackScript::answer(folder, QString()))));
                }
            });
}

bool CloudDiskBridge::downloadFileByUrls(const QString &urlPath)
{
    qCInfo(lcBridge) << "CloudDiskBridge::downloadFileByUrls" << BridgeInput::excerpt(urlPath);
    if (urlPath.size() > BridgeInput::MaxTextLength)
        return false;
    const QUrl url = CloudDownload::resolveAddress(urlPath);
    if (url.isEmpty()) {
        qCWarning(lcBridge) << "downloadFileByUrls: not an address" << BridgeInput::excerpt(urlPath);
        return false;
    }
    return CloudDownload::saveAs(webView(), url, CloudDownload::fileNameFromUrl(url)) != 0;
}

void CloudDiskBridge::batchDownloadFileByUrls(const QString &paths)
{
    QJsonArray items;
    if (!BridgeInput::parseArray(paths, &items)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    if (items.isEmpty())
        return;
    startLoading();
    const QString folder = CloudDownload::askFolder(webView());
    if (folder.isEmpty()) {
        stopLoading();
        return;
    }
    for (const QJsonValue &value : qAsConst(items)) {
        const QJsonObject item = value.toObject();
        const QString name = BridgeInput::text(item, QStringLiteral("fileName"));
        if (name.isEmpty() || name == QLatin1String("null"))
            continue;
        const QUrl url = CloudDownload::resolveAddress(BridgeInput::text(item, QStringLiteral("path")));
        if (url.isEmpty()) {
            qCWarning(lcBridge) << "batchDownloadFileByUrls: skips" << BridgeInput::excerpt(name);
            continue;
        }
        CloudDownload::queueInto(folder, url, name);
    }
    stopLoading();
}

// --- Sharing ---------------------------------------------------------------------------------

void CloudDiskBridge::shareFiles(const QString &fileInfos)
{
    qCInfo(lcBridge) << "CloudDiskBridge::shareFiles";
    QJsonArray files;
    if (!BridgeInput::parseArray(fileInfos, &files)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    share(files, QString(), false);
}

void CloudDiskBridge::shareFilesWithCbk(const QString &fileInfos, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    qCInfo(lcBridge) << "CloudDiskBridge::shareFilesWithCbk";
    QJsonArray files;
    if (!BridgeInput::parseArray(fileInfos, &files)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    share(files, cbKey, true);
}

void CloudDiskBridge::share(const QJsonArray &entries, const QString &cbKey, bool answer)
{
    if (entries.isEmpty())
        return;
    // The page's call returns before the share dialog opens.
    QTimer::singleShot(0, this, [this, entries, cbKey, answer] {
        ShareToChatTool *tool = ShareToChatTool::instance();
        if (entries.size() > 1) {
            QStringList ids;
            for (const QJsonValue &value : entries) {
                if (const quint64 id = BridgeInput::id(value.toObject(), QStringLiteral("userFileId")))
                    ids << QString::number(id);
            }
            if (ids.isEmpty()) {
                qCWarning(lcBridge) << "share: no entry has a userFileId";
                return;
            }
            tool->shareCloudFile(ids.join(QLatin1Char(',')));
        } else {
            const QJsonObject entry = entries.at(0).toObject();
            const int fileType = BridgeInput::integer(entry, QStringLiteral("fileType"));
            if (entry.value(QStringLiteral("alias")).toString() == QLatin1String("edoc")) {
                auto *documents = service<IDocumentService>(IDocumentService::ExtensionName);
                if (!documents)
                    return;
                documents->shareDocument(entry);
            } else if (fileType == 1) {
                // A single question travels with its question id, a paper without.
                if (entry.contains(QStringLiteral("questionId")))
                    tool->shareCloudExam(entry);
                else
                    tool->shareNewCloudExam(entry);
            } else if (fileType == 2) {
                tool->shareCloudHomework(entry);
            } else if (BridgeInput::integer(entry, QStringLiteral("fileSource")) == 6) {
                tool->shareImCloudFile(entry);
            } else {
                const quint64 id = BridgeInput::id(entry, QStringLiteral("userFileId"));
                if (id == 0) {
                    qCWarning(lcBridge) << "share: entry without userFileId";
                    return;
                }
                tool->shareCloudFile(QString::number(id));
            }
        }
        if (answer)
            runCallBack(cbKey);
    });
}

// --- Board files, microlectures --------------------------------------------------------------

void CloudDiskBridge::createEdb(const QString &json)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(json, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    auto *courseware = service<ICoursewareService>(ICoursewareService::ExtensionName);
    if (!courseware)
        return;
    courseware->createEdb(BridgeInput::id(object, QStringLiteral("folderId")),
                          BridgeInput::integer(object, QStringLiteral("fileSource")),
                          BridgeInput::text(object, QStringLiteral("orgDiskId")).toLongLong(),
                          BridgeInput::id(object, QStringLiteral("sid")));
}

void CloudDiskBridge::createMicrolecture(const QString &info)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(info, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    QString folder;
    if (object.contains(QStringLiteral("folderId"))) {
        quint64 id = 0;
        if (!BridgeInput::toId(object.value(QStringLiteral("folderId")), &id)) {
            qCWarning(lcBridge) << "createMicrolecture: folderId is not an id";
            return;
        }
        folder = QString::number(id);
    }
    ImSignalObject *hub = ImSignalObject::instance();
    hub->setMicrolectureInfoData(CloudPageAddress::join(QStringLiteral("/client/cloud/cs/im/doc/") + folder));
    Q_EMIT hub->signalStartupLocalClassroom(0, 0, 0, OrvLang::text("ID_ChatMessageMicrolectureInvite_Microlecture"),
                                            RoomTypeMicrolecture);
    Q_EMIT hub->showMicrolectureUi();
}

// --- Environment -----------------------------------------------------------------------------

bool CloudDiskBridge::isTeacherInAllCluster()
{
    return isTeacher();
}

QString CloudDiskBridge::getAppProductEnv()
{
    return WebCallbackScript::compact(QJsonObject{
        {QStringLiteral("env"), clouddiskInClassroom() ? QStringLiteral("classroom") : QStringLiteral("im")},
        {QStringLiteral("isPopWeb"), m_isPopWeb}});
}

void CloudDiskBridge::setIsPopWeb(bool isPopWeb)
{
    m_isPopWeb = isPopWeb;
}

// --- Child windows and the classroom's board ------------------------------------------------

void CloudDiskBridge::openSubWindow(const QString &requestData, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (m_fromType == FromClassroomNoAddFile) {
        qCInfo(lcBridge) << "CloudDiskBridge::openSubWindow refused: the classroom takes no added files";
        if (IPptMgr *mgr = pptMgr())
            mgr->showTip(QStringLiteral("ID_Exten_CanNot_AddFile"));
        return;
    }
    QWidget *parent = nullptr;
    if (clouddiskInClassroom()) {
        if (auto *classroom = IClassRoomMgr::current())
            parent = classroom->classroomWindow();
        else
            qCWarning(lcBridge) << "pClassRoomMgr is null, maybe classroom plugin is not loaded";
    }
    QJsonObject request;
    if (!openWebSubWindow(requestData, cbKey, parent, &request))
        return;
    if (BridgeInput::boolean(request, QStringLiteral("isAutoHide")))
        Q_EMIT hideCloudDisk();
}

void CloudDiskBridge::prepareSubWindow(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    // Centred on its screen before it shows, so it never jumps.
    QScreen *screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    const QSize size = window->size();
    window->move(available.x() + (available.width() - size.width()) / 2,
                 available.y() + (available.height() - size.height()) / 2);
}

void CloudDiskBridge::closeSubWindow(const QString &cbKey)
{
    ExamBaseBridge::closeSubWindow(cbKey);
}

void CloudDiskBridge::initSubWindowBridge(WebSubWindow *window, const QJsonObject &request)
{
    Q_UNUSED(request)
    auto *bridge = new CloudDiskBridge(window->webView(), m_fromType, window);
    bridge->setIsPopWeb(true);
    window->initWebBridge(bridge, QStringLiteral("cloudDisk"));
}

void CloudDiskBridge::openUrlShareInClassroom(const QString &requestData, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (!clouddiskInClassroom()) {
        qCInfo(lcBridge) << "openUrlShareInClassroom outside a classroom ignored";
        return;
    }
    QJsonObject request;
    if (!BridgeInput::parseObject(requestData, &request)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    mgr->shareUrl(requestData, cbKey);
    Q_EMIT hideCloudDisk();
}

void CloudDiskBridge::closeUrlShareInClassroom(const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (!clouddiskInClassroom()) {
        qCInfo(lcBridge) << "closeUrlShareInClassroom outside a classroom ignored";
        return;
    }
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    mgr->closeUrlShare(cbKey);
    Q_EMIT hideCloudDisk();
}

void CloudDiskBridge::loadingTimeOutSlot()
{
    stopLoading();
    cancelImageRequest();
}

void CloudDiskBridge::openLocalFile()
{
    Q_EMIT signalOpenLocalFile();
}

void CloudDiskBridge::linkView(const QString &url)
{
    qCInfo(lcBridge) << "CloudDiskBridge::linkView" << BridgeInput::excerpt(url);
    const QUrl target = QUrl::fromUserInput(url.left(BridgeInput::MaxTextLength));
    if (!SystemBrowser::isAllowed(target)) {
        qCWarning(lcBridge) << "linkView refuses" << BridgeInput::excerpt(url);
        return;
    }
    if (!clouddiskInClassroom()) {
        SystemBrowser::openUrl(target);
        return;
    }
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    mgr->openUrl(target);
    Q_EMIT hideCloudDisk();
}

void CloudDiskBridge::openSyncSubWindow(const QString &requestData, const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (!clouddiskInClassroom()) {
        qCInfo(lcBridge) << "openSyncSubWindow outside a classroom ignored";
        return;
    }
    QJsonObject request;
    if (!BridgeInput::parseObject(requestData, &request)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const QString url = BridgeInput::text(request, QStringLiteral("url"));
    if (url.isEmpty()) {
        qCWarning(lcBridge) << "openSyncSubWindow without url";
        return;
    }
    IPptMgr *mgr = pptMgr();
    if (!mgr)
        return;
    mgr->openSyncSubWindow(url, BridgeInput::windowSize(BridgeInput::text(request, QStringLiteral("size"))),
                           cbKey);
}

void CloudDiskBridge::closeSyncSubWindow(const QString &cbKey)
{
    acceptCallbackKey(cbKey);
    if (IPptMgr *mgr = pptMgr())
        mgr->closeSyncSubWindow(cbKey);
}

int CloudDiskBridge::getWebShowType()
{
    if (!clouddiskInClassroom())
        return 0;
    IPptMgr *mgr = pptMgr();
    return mgr ? mgr->webShowType() : 0;
}

void CloudDiskBridge::login()
{
    Q_EMIT signalLogin();
}

void CloudDiskBridge::openEdpx(const QString &pkgInfos)
{
    qCInfo(lcBridge) << "CloudDiskBridge::openEdpx" << BridgeInput::excerpt(pkgInfos);
    needUpdate(OrvLang::text("ID_NeedUpdate_For_PreLessonPkg_Old"));
}

void CloudDiskBridge::needUpdate(const QString &text)
{
    const int pressed = BridgeDialogs::message(webView(), OrvLang::text("ID_Upgrade"), text,
                                               {OrvLang::text("ID_Upgradenow_immediately"), OrvLang::text("ID_UpgradeLater")});
    if (pressed != 0)
        return;
    auto *updater = service<IUpdater>(IUpdater::ExtensionName);
    if (!updater)
        return;
    if (!updater->startUpdater(updater->updateUrl(), QCoreApplication::applicationVersion())) {
        qCWarning(lcBridge) << "the updater did not start";
        return;
    }
    updater->endUpdatedProcesses();
    updater->exitApplication();
}

// --- Classes and schools ---------------------------------------------------------------------

void CloudDiskBridge::jumpToClass(const QString &classId)
{
    quint64 id = 0;
    if (!BridgeInput::toId(classId, &id) || id == 0) {
        if (classId != QLatin1String("0"))
            qCInfo(lcBridge) << "jumpToClass: not a class id" << BridgeInput::excerpt(classId);
        return;
    }
    const OrvEngine::ClusterID cluster(id, OrvEngine::Class);
    ImSignalObject *hub = ImSignalObject::instance();
    Q_EMIT hub->chatWith(cluster, false, false, false, false);
    Q_EMIT hub->chatWithAndActive(cluster, 4, true);
}

void CloudDiskBridge::schoolInfoAbnormalPopup(const QString &json)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(json, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const quint64 schoolId = BridgeInput::id(object, QStringLiteral("schoolId"));
    const quint64 courseId = BridgeInput::id(object, QStringLiteral("courseId"));
    Q_EMIT ImSignalObject::instance()->signalSchoolInfoAbnormalPopup(schoolId, courseId, 0);
}

void CloudDiskBridge::requestSchoolStorageInfo()
{
    // The school of the cluster the disk is shown for: the view's own, its course's, or in a
    // classroom the classroom's.
    auto *courses = OrvEngine::CourseEngine::instance();
    quint64 school = webView() ? webView()->schoolId().toULongLong() : 0;
    if (school == 0 && webView())
        school = courses->getSchoolIdOfCourse(webView()->courseId().toULongLong());
    if (school == 0 && clouddiskInClassroom()) {
        if (auto *classroom = IClassRoomMgr::current())
            school = classroom->schoolId();
        else
            qCWarning(lcBridge) << "pClassRoomMgr is null, maybe classroom plugin is not loaded";
    }
    if (school == 0) {
        qCInfo(lcBridge) << "requestSchoolStorageInfo: no current school";
        return;
    }
    courses->refreshSchoolInfo(school);
}

void CloudDiskBridge::onSchoolInfoChanged(quint64 schoolId)
{
    commonNotice(QStringLiteral("schoolInfoChanged"), {{QStringLiteral("sid"), QString::number(schoolId)}});
}
