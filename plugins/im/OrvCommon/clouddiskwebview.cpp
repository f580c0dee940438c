// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clouddiskwebview.h"

#include "ShareToChatTool.h"
#include "bridgedialogs.h"
#include "bridgeinput.h"
#include "classroomclouddiskbridge.h"
#include "clouddownload.h"
#include "cloudpageaddress.h"
#include "cloudstyle.h"
#include "contactsengine.h"
#include "coreengine.h"
#include "courseengine.h"
#include "extensionsystem.h"
#include "iclassroommgr.h"
#include "examcloudwebbride.h"
#include "homeworkcloudwebbride.h"
#include "imcloudwebbridge.h"
#include "imexamcloudwebbride.h"
#include "imhomeworkcloudwebbride.h"
#include "imsignalobject.h"
#include "nativebridge_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvreloadbutton.h"
#include "orvsettings.h"
#include "orvwebview.h"
#include "qcefwebpage.h"
#include "serverenvironment.h"
#include "webcallbackscript.h"

#include <QDir>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrlQuery>
#include <QVBoxLayout>
#include <memory>

namespace {

const QStringList kImageSuffixes{QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("png"),
                                 QStringLiteral("bmp"), QStringLiteral("gif"), QStringLiteral("svg"),
                                 QStringLiteral("webp")};

} // namespace

CloudDiskWebView::CloudDiskWebView(WebSubWindowBridge::FromType fromType, QWidget *parent)
    : QWidget(parent)
    , m_fromType(fromType)
{
    // A view made after sign-in shows the disk at once; the host reports later changes.
    if (OrvEngine::LoginObject *login = OrvEngine::CoreEngine::instance()->loginObject())
        m_loginSuccess = login->isLogined();
    setObjectName(QStringLiteral("CloudDiskWebView"));
    const OrvWebView::Theme theme = clouddiskInClassroom() ? OrvWebView::Dark : CloudStyle::theme();
    m_view = new OrvWebView(theme, this);
    m_view->setObjectName(QStringLiteral("cloudDiskView"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_view);

    connect(m_view, &QWebEngineView::loadStarted, this, [this] { m_lastLoadFailed = false; });
    connect(m_view, &QWebEngineView::loadFinished, this, [this](bool ok) { m_lastLoadFailed = !ok; });

    createBridges();
    connectEngines();
    if (clouddiskInClassroom()) {
        if (IClassRoomMgr *mgr = IClassRoomMgr::current()) {
            m_view->setCourseId(QString::number(mgr->courseId()));
            m_view->setSchoolId(QString::number(mgr->schoolId()));
        }
        setAttribute(Qt::WA_StyledBackground);
        setStyleSheet(QStringLiteral("QWidget#CloudDiskWebView{background:#2c2c2c;}"));
    }
    createToolBar();
    resize(BaseWidth, BaseHeight);
    initUrl();
    grabGesture(Qt::PanGesture);
    grabGesture(Qt::PinchGesture);
}

CloudDiskWebView::~CloudDiskWebView() = default;

ExamBaseBridge *CloudDiskWebView::examBridge() const
{
    return m_examBridge;
}

ExamBaseBridge *CloudDiskWebView::homeworkBridge() const
{
    return m_homeworkBridge;
}

bool CloudDiskWebView::clouddiskInClassroom() const
{
    return m_fromType == WebSubWindowBridge::FromClassroom || m_fromType == WebSubWindowBridge::FromClassroomNoAddFile;
}

void CloudDiskWebView::createBridges()
{
    if (clouddiskInClassroom()) {
        auto *bridge = new ClassroomCloudDiskBridge(m_view, m_fromType, this);
        connect(bridge, &ClassroomCloudDiskBridge::imageShowRequested, this, &CloudDiskWebView::imageShowRequested);
        m_cloudBridge = bridge;

        // Exam and homework pages of the classroom's disk show on the board.
        auto *exam = new ExamCloudWebBride(m_view, this, m_fromType);
        m_view->registerObject(exam, QStringLiteral("myExam"));
        connect(exam, &ExamCloudWebBride::signalSetReloadMainWidgetCbKey, this,
                &CloudDiskWebView::setExamReloadMainWidgetCbKey);
        connect(exam, &CloudDiskBridge::hideCloudDisk, this, &CloudDiskWebView::hideCloudDisk);
        m_examBridge = exam;
        auto *homework = new HomeworkCloudWebBride(m_view, this, m_fromType);
        m_view->registerObject(homework, QStringLiteral("myHomework"));
        connect(homework, &HomeworkCloudWebBride::signalSetReloadMainWidgetCbKey, this,
                &CloudDiskWebView::setHomeworkReloadMainWidgetCbKey);
        connect(homework, &CloudDiskBridge::hideCloudDisk, this, &CloudDiskWebView::hideCloudDisk);
        m_homeworkBridge = homework;
    } else {
        m_cloudBridge = new CloudDiskBridge(m_view, m_fromType, this);
        m_imBridge = new ImCloudWebBridge(m_view, this, m_fromType);
        m_view->registerObject(m_imBridge, QStringLiteral("myCloudDiskWindow"));
        connect(m_imBridge, &ImCloudWebBridge::signalDownloadFile, this, &CloudDiskWebView::downloadFile);
        connect(m_imBridge, &ImCloudWebBridge::signalShareFile, this, &CloudDiskWebView::shareFile);
        connect(m_imBridge, &ImCloudWebBridge::signalWebShare, this, &CloudDiskWebView::webShare);
        connect(m_imBridge, &ImCloudWebBridge::signalOpenResourceCenterFolder, this,
                &CloudDiskWebView::openResourceCenterFolder);
        // Exam pages the cloud page opens in child windows export through this view.
        QPointer<CloudDiskWebView> self(this);
        m_imBridge->setExportFilesHandler([self](const QString &jsonStr) {
            if (self)
                self->exportFiles(jsonStr);
        });

        auto *homework = new ImHomeworkCloudWebBride(m_view, this, m_fromType);
        m_view->registerObject(homework, QStringLiteral("myHomework"));
        connect(homework, &ImHomeworkCloudWebBride::signalOpenSubWidget, this, &CloudDiskWebView::openHomeworkSubWidget);
        connect(homework, &ImHomeworkCloudWebBride::signalSetReloadMainWidgetCbKey, this,
                &CloudDiskWebView::setHomeworkReloadMainWidgetCbKey);
        connect(homework, &ImHomeworkCloudWebBride::sigOpenHomeworkByLauncher, this,
                &CloudDiskWebView::sigOpenHomeworkByLauncher);
        m_homeworkBridge = homework;

        auto *exam = new ImExamCloudWebBride(m_view, this, m_fromType);
        m_view->registerObject(exam, QStringLiteral("myExam"));
        connect(exam, &ImExamCloudWebBride::signalOpenSubWidget, this, &CloudDiskWebView::openExamSubWidget);
        connect(exam, &ImExamCloudWebBride::signalSetReloadMainWidgetCbKey, this,
                &CloudDiskWebView::setExamReloadMainWidgetCbKey);
        connect(exam, &ImExamCloudWebBride::signalDataDownload, this, &CloudDiskWebView::dataDownload);
        connect(exam, &ImExamCloudWebBride::signalExportFiles, this, &CloudDiskWebView::exportFiles);
        connect(exam, &ImExamCloudWebBride::sigOpenExamByLauncher, this, &CloudDiskWebView::sigOpenExamByLauncher);
        m_examBridge = exam;
    }
    m_view->registerObject(m_cloudBridge, QStringLiteral("cloudDisk"));
    connect(m_cloudBridge, &CloudDiskBridge::hideCloudDisk, this, &CloudDiskWebView::hideCloudDisk);
    connect(m_cloudBridge, &CloudDiskBridge::signalOpenLocalFile, this, &CloudDiskWebView::signalOpenLocalFile);
    connect(m_cloudBridge, &CloudDiskBridge::signalLogin, this, &CloudDiskWebView::signalLogin);
    connect(m_cloudBridge, &CloudDiskBridge::sigOpenFiles, this, &CloudDiskWebView::sigOpenFiles);
}

void CloudDiskWebView::connectEngines()
{
    connect(OrvEngine::CoreEngine::instance(), &OrvEngine::CoreEngine::signalBasicReconnected, this,
            &CloudDiskWebView::reloadPage);
    connect(OrvEngine::CoreEngine::instance(), &OrvEngine::CoreEngine::signalRecvWebDataChanged, this,
            &CloudDiskWebView::refreshWebpage);
    connect(ImSignalObject::instance(), &ImSignalObject::refreshHomework, this,
            [this] { answerPage(m_homeworkReloadCbKey); });
    connect(ImSignalObject::instance(), &ImSignalObject::refreshExam, this, [this] { answerPage(m_examReloadCbKey); });
    connect(OrvEngine::CourseEngine::instance(), &OrvEngine::CourseEngine::signalSchoolInfoChanged, this,
            [this](quint64 schoolId) {
                // A classroom's page keeps the school it was given; only an unset one is filled in.
                if (clouddiskInClassroom() && m_view->schoolId().isEmpty())
                    m_view->setSchoolId(QString::number(schoolId));
            });
}

void CloudDiskWebView::createToolBar()
{
    m_toolBar = new QWidget(this);
    m_toolBar->setObjectName(QStringLiteral("toolBar"));
    auto *layout = new QHBoxLayout(m_toolBar);
    layout->setContentsMargins(8, 4, 8, 4);
    layout->setSpacing(8);

    m_reloadButton = new OrvReloadButton(clouddiskInClassroom(), m_toolBar);
    m_reloadButton->setObjectName(QStringLiteral("reloadBtn"));
    m_reloadButton->setText(OrvLang::text("ID_Reload"));
    connect(m_reloadButton, &QPushButton::clicked, this, [this] {
        reloadPage();
        Q_EMIT signalReloadPage();
    });
    layout->addWidget(m_reloadButton);

    m_line = new QFrame(m_toolBar);
    m_line->setObjectName(QStringLiteral("line"));
    m_line->setFrameShape(QFrame::VLine);
    m_line->setFixedSize(1, 14);
    m_line->setStyleSheet(QStringLiteral("border: 1px solid #D3D3D3;"));
    layout->addWidget(m_line);

    if (clouddiskInClassroom()) {
        m_closeButton = new QPushButton(QStringLiteral("\u2715"), m_toolBar);
        m_closeButton->setObjectName(QStringLiteral("closeBtn"));
        m_closeButton->setFixedSize(24, 24);
        m_closeButton->setCursor(Qt::PointingHandCursor);
        connect(m_closeButton, &QPushButton::clicked, this, [this] {
            IClassRoomMgr *mgr = IClassRoomMgr::current();
            if (mgr && mgr->isExtendScreen())
                Q_EMIT hideExtendCloudDisk();
            else
                Q_EMIT hideCloudDisk();
        });
        layout->addWidget(m_closeButton);
    } else {
        m_line->hide();
    }
    m_toolBar->setStyleSheet(CloudStyle::styleSheet(QStringLiteral("CloudDiskWebView"),
                                                    clouddiskInClassroom() ? OrvWebView::Dark : CloudStyle::theme()));
    m_toolBar->adjustSize();
    adjustToolBarPos();
}

void CloudDiskWebView::adjustToolBarPos()
{
    if (!m_toolBar)
        return;
    m_toolBar->adjustSize();
    const QRect area = m_view->geometry();
    m_toolBar->move(area.right() - m_toolBar->width() - 8, area.top() + 6);
    m_toolBar->raise();
}

void CloudDiskWebView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    adjustToolBarPos();
}

void CloudDiskWebView::updateGemeotry(float scale)
{
    if (scale <= 0)
        return;
    setFixedSize(qRound(BaseWidth * scale), qRound(BaseHeight * scale));
    adjustToolBarPos();
}

void CloudDiskWebView::setLoginSuccess(bool success)
{
    if (m_loginSuccess == success)
        return;
    m_loginSuccess = success;
    // The login page gives way to the disk, and the other way round.
    if (!m_view->url().isEmpty())
        initUrl();
}

QUrl CloudDiskWebView::startUrl() const
{
    QString path = QStringLiteral("/client/cloud/cs/im");
    if (clouddiskInClassroom()) {
        IClassRoomMgr *mgr = IClassRoomMgr::current();
        if (mgr && mgr->isExtendScreen())
            path = QStringLiteral("/client/cloud/cs/room/home/?extendscreen=true");
        else if (CloudDiskBridge::teacherDefaultTab() == QLatin1String("AuthorizedResources"))
            path = QStringLiteral("/client/cloud/cs/room/org");
        else
            path = QStringLiteral("/client/cloud/cs/room");
    }
    return CloudPageAddress::join(path);
}

QUrl CloudDiskWebView::loginUrl() const
{
    const QString entry = OrvSettings::instance()->value(QLatin1String(OfflinePackageKey)).toString();
    if (!entry.isEmpty()) {
        const QString root = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/CloudSpacePkg/");
        const QString index = QDir::cleanPath(root + entry + QStringLiteral("/launcher/index.html"));
        // The entry is a folder name; it must not lead out of the package folder.
        if (index.startsWith(QDir::cleanPath(root) + QLatin1Char('/')) && QFileInfo::exists(index)) {
            const QStringList roots = OrvWebView::offlinePackageRoots();
            if (!roots.contains(QDir::cleanPath(root)))
                OrvWebView::setOfflinePackageRoots(roots + QStringList{QDir::cleanPath(root)});
            QUrl url = QUrl::fromLocalFile(index);
            url.setFragment(QStringLiteral("/login"));
            return url;
        }
    }
    QUrl host = ServerEnvironment::host(ServerEnvironment::WebHost);
    if (!host.path().endsWith(QLatin1Char('/')))
        host.setPath(host.path() + QLatin1Char('/'));
    return CloudPageAddress::applyDebugHook(host.resolved(QUrl(QStringLiteral("/client/cloud/launcher/login"))));
}

void CloudDiskWebView::initUrl()
{
    // A classroom only runs signed in; the client's disk waits for the sign-in.
    const bool signedIn = m_loginSuccess || clouddiskInClassroom();
    const QUrl url = signedIn ? startUrl() : loginUrl();
    if (!signedIn && !url.isLocalFile())
        CloudPageAddress::trust(url); // the environment's web host is the client's own
    qCInfo(lcBridge) << "cloud disk loads" << url.toString(QUrl::RemoveQuery);
    m_view->load(url);
}

void CloudDiskWebView::loadPath(const QString &path)
{
    m_view->load(CloudPageAddress::join(path));
}

void CloudDiskWebView::showGoodsId(const QString &id)
{
    loadPath(QStringLiteral("/client/cloud/cplatform#/Details?gid=%1&fromInvoke=1")
                 .arg(QString::fromLatin1(QUrl::toPercentEncoding(id))));
}

void CloudDiskWebView::showTestBank()
{
    loadPath(QStringLiteral("/client/cloud/qbank/pc#/CloudKadioQuestion"));
}

void CloudDiskWebView::showCloudDiskUrl(const QString &path)
{
    loadPath(QStringLiteral("/client/cloud/cs/im/doc") + path);
}

void CloudDiskWebView::renetConnectRestoreExtend(const QString &url, int type)
{
    qCInfo(lcBridge) << "cloud disk restores" << url << "after reconnecting, type" << type;
    if (url.isEmpty())
        initUrl();
    else
        loadPath(url);
}

void CloudDiskWebView::reloadPage()
{
    const QUrl current = m_view->url();
    if (current.isEmpty() || current.isLocalFile()) {
        initUrl();
        return;
    }
    QString path = current.path(QUrl::FullyEncoded);
    if (current.hasQuery())
        path += QLatin1Char('?') + current.query(QUrl::FullyEncoded);
    if (current.hasFragment())
        path += QLatin1Char('#') + current.fragment(QUrl::FullyEncoded);
    loadPath(path);
}

void CloudDiskWebView::reloadCloudDisk()
{
    // A failed first load left an error page, not the disk: that counts as no address either.
    if (isVisible() && (m_view->url().isEmpty() || m_lastLoadFailed))
        initUrl();
}

void CloudDiskWebView::refreshWebpage()
{
    qCInfo(lcBridge).noquote() << QStringLiteral("---im clouddisk print: %1 loadFinish flag %2")
                                      .arg(m_view->url().toString())
                                      .arg(m_view->isLoadedFinished());
    if (m_view->isLoadedFinished() && !m_view->url().isEmpty())
        m_view->webPage()->runJavaScript(WebCallbackScript::pageFunction(QStringLiteral("refresh")));
    else
        reloadCloudDisk();
}

void CloudDiskWebView::answerPage(const QString &cbKey)
{
    if (cbKey.isEmpty() || !m_cloudBridge)
        return;
    m_cloudBridge->runJavaScript(WebCallbackScript::line(cbKey));
}

// --- Forwarded page requests -----------------------------------------------------------------

void CloudDiskWebView::downloadFile(const QString &fileId, const QString &sourceUrl, const QString &fileName,
                                    const QString &iconBase64Data)
{
    Q_UNUSED(iconBase64Data)
    qCInfo(lcBridge) << "CloudDiskWebView::downloadFile" << BridgeInput::excerpt(fileId);
    const QUrl url = CloudDownload::resolveAddress(sourceUrl.left(BridgeInput::MaxTextLength));
    if (url.isEmpty()) {
        qCWarning(lcBridge) << "downloadFile: not an address" << BridgeInput::excerpt(sourceUrl);
        return;
    }
    CloudDownload::saveAs(this, url, fileName.isEmpty() ? CloudDownload::fileNameFromUrl(url) : fileName);
}

void CloudDiskWebView::dataDownload(const QString &urlPath)
{
    if (m_cloudBridge)
        m_cloudBridge->downloadFileByUrls(urlPath);
}

void CloudDiskWebView::openHomeworkSubWidget(const QString &url, const QString &size)
{
    Q_EMIT ImSignalObject::instance()->openHomeworkSubWidget(this, url, BridgeInput::windowSize(size));
}

void CloudDiskWebView::setHomeworkReloadMainWidgetCbKey(const QString &cbkey)
{
    m_homeworkReloadCbKey = cbkey;
}

void CloudDiskWebView::openExamSubWidget(const QString &url, const QString &size)
{
    Q_EMIT ImSignalObject::instance()->openExamSubWidget(this, url, BridgeInput::windowSize(size));
}

void CloudDiskWebView::setExamReloadMainWidgetCbKey(const QString &cbkey)
{
    m_examReloadCbKey = cbkey;
}

void CloudDiskWebView::shareFile(const QString &data)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(data, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const QString type = BridgeInput::text(object, QStringLiteral("type"));
    const QString shareId = BridgeInput::text(object, QStringLiteral("shareId"));
    // Pages name the kind, or send the homework file kind of the disk (2).
    if (type == QLatin1String("homework") || type == QLatin1String("2")) {
        ShareToChatTool::instance()->shareCloudHomework(object);
        return;
    }
    if (shareId.isEmpty()) {
        qCWarning(lcBridge) << "shareFile without shareId";
        return;
    }
    const QString fileName = BridgeInput::text(object, QStringLiteral("fileName"));
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    const QString extension = dot < 0 ? QString() : fileName.mid(dot + 1).toLower();
    const bool image = kImageSuffixes.contains(extension);
    const QJsonObject message{
        {QStringLiteral("shareId"), shareId},
        {QStringLiteral("fileName"), fileName},
        {QStringLiteral("fileExt"), extension},
        {QStringLiteral("fileSize"), object.value(QStringLiteral("fileSize"))},
        {QStringLiteral("addtime"), object.value(QStringLiteral("addtime"))},
        {QStringLiteral("authorUid"), object.value(QStringLiteral("shareUid"))},
        {QStringLiteral("transferState"), 0},
        {QStringLiteral("localPath"), QString()},
        {QStringLiteral("isCloudImage"), image},
        {QStringLiteral("thumbnail"), QString()},
    };
    if (image)
        ShareToChatTool::instance()->shareSharedCloudImage(message);
    else
        ShareToChatTool::instance()->shareSharedCloudFile(message);
}

void CloudDiskWebView::webShare(const QString &jsonStr)
{
    QJsonObject object;
    if (!BridgeInput::parseObject(jsonStr, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const QString shareId = BridgeInput::text(object, QStringLiteral("shareId"));
    const QString fileType = BridgeInput::text(object, QStringLiteral("fileType"));
    QJsonObject content{{QStringLiteral("title"), BridgeInput::text(object, QStringLiteral("title"))},
                        {QStringLiteral("content"), BridgeInput::text(object, QStringLiteral("content"))}};
    ShareToChatTool *tool = ShareToChatTool::instance();
    if (fileType == QLatin1String("question")) {
        content.insert(QStringLiteral("questionId"), shareId);
        tool->shareCloudExam(content);
    } else if (fileType == QLatin1String("paper")) {
        content.insert(QStringLiteral("prId"), shareId);
        tool->shareNewCloudExam(content);
    } else if (fileType == QLatin1String("link")) {
        tool->shareText(BridgeInput::text(object, QStringLiteral("link")));
    } else if (fileType == QLatin1String("questions")) {
        content.insert(QStringLiteral("shareId"), shareId);
        tool->shareQuestionsExamPaper(content);
    } else {
        qCInfo(lcBridge) << "webShare: nothing to share for" << BridgeInput::excerpt(fileType);
    }
}

void CloudDiskWebView::openResourceCenterFolder(const QString &data)
{
    QJsonObject object;
    if (!data.isEmpty() && !BridgeInput::parseObject(data, &object)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    const quint64 folder = BridgeInput::id(object, QStringLiteral("folderId"));
    showCloudDiskUrl(folder ? QStringLiteral("/%1").arg(folder) : QString());
}

void CloudDiskWebView::exportFiles(const QString &jsonStr)
{
    QJsonArray entries;
    if (!BridgeInput::parseArray(jsonStr, &entries)) {
        qCWarning(lcBridge) << "parse json error!";
        return;
    }
    struct Pending
    {
        int waiting = 0;
        QList<QPair<QUrl, QString>> files;
    };
    auto pending = std::make_shared<Pending>();
    const QString me = QString::number(OrvEngine::ContactsEngine::instance()->currentUid());
    for (const QJsonValue &value : qAsConst(entries)) {
        const QJsonObject entry = value.toObject();
        const quint64 id = BridgeInput::id(entry, QStringLiteral("userFileid"));
        if (id == 0) {
            qCWarning(lcBridge) << "exportFiles: entry without userFileid";
            continue;
        }
        const int source = BridgeInput::integer(entry, QStringLiteral("fileSource"));
        const QString name = BridgeInput::text(entry, QStringLiteral("userFileName"));
        OrvHttpReply *reply = nullptr;
        // Exam papers are kept as data; the web service writes them out as a document.
        if (BridgeInput::integer(entry, QStringLiteral("kadio")) == 1) {
            QUrlQuery form;
            form.addQueryItem(QStringLiteral("prId"), QString::number(id));
            reply = OrvHttpManager::instance()->postForm(QStringLiteral("cloudspace/api/exam/paper/export"), form);
        } else {
            QUrlQuery query;
            query.addQueryItem(QStringLiteral("userFileId"), QString::number(id));
            const quint64 owner = BridgeInput::id(entry, QStringLiteral("ownerUid"));
            query.addQueryItem(QStringLiteral("ownerUid"), owner ? QString::number(owner) : me);
            Q_UNUSED(source)
            reply = OrvHttpManager::instance()->get(QStringLiteral("cloudspace/api/user/file/source"), query);
        }
        ++pending->waiting;
        connect(reply, &OrvHttpReply::finished, this,
                [this, pending, name](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                    --pending->waiting;
                    if (networkError == 0 && errorNo == OrvHttpManager::SuccessErrorNo) {
                        const QJsonObject object = data.toObject();
                        QString path = BridgeInput::text(object, QStringLiteral("path"));
                        if (path.isEmpty())
                            path = BridgeInput::text(object, QStringLiteral("filePath"));
                        const QString fileName = BridgeInput::text(object, QStringLiteral("fileName"));
                        const QUrl url = CloudDownload::resolveAddress(path);
                        if (!url.isEmpty())
                            pending->files.append({url, fileName.isEmpty() ? name : fileName});
                    } else {
                        qCWarning(lcBridge) << "exportFiles: error:" << errorText;
                    }
                    if (pending->waiting == 0)
                        onExportAnswers(pending->files);
                });
    }
}

void CloudDiskWebView::onExportAnswers(const QList<QPair<QUrl, QString>> &files)
{
    if (files.isEmpty())
        return;
    if (files.size() == 1) {
        CloudDownload::saveAs(this, files.first().first, files.first().second);
        return;
    }
    const QString folder = CloudDownload::askFolder(this);
    if (folder.isEmpty())
        return;
    for (const auto &file : files)
        CloudDownload::queueInto(folder, file.first, file.second);
}
