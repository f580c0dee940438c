// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImagePreview.h"

#include "ShareToChatTool.h"
#include "chatfiletransfer.h"
#include "chatinclassengine.h"
#include "clouddownload.h"
#include "imageeditor.h"
#include "orvcommon_logging.h"
#include "orvdesktopshell.h"
#include "orvfilenames.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvtrack.h"
#include "orvutils.h"
#include "waitingspinnerwidget.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStyle>
#include <QThreadPool>
#include <QUrlQuery>
#include <QtConcurrent>

QSize ImagePreview::m_MaxImageSize = QSize(2000, 2000);

namespace {

// Neighbours decoded ahead on each side of the picture shown.
constexpr int PrefetchReach = 1;

QString styleSheetFor(bool light)
{
    QFile file(light ? QStringLiteral(":/im/qss/ChatList/ImagePreview.qss")
                     : QStringLiteral(":/im/qss/ChatList/ImagePreview_dark.qss"));
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvCommon) << "no style sheet" << file.fileName();
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

} // namespace

ImagePreview::ImagePreview(QWidget *parent, bool lightBackground, QString entrancePage, quint64 schoolId,
                           QString userType, bool isFromClassroom, bool showEdit, bool showPrint, bool showSaveToCloud)
    : ImagePreviewFrame(parent, lightBackground)
    , m_schoolId(schoolId)
    , m_entrancePage(std::move(entrancePage))
    , m_userType(std::move(userType))
    , m_fromClassroom(isFromClassroom)
{
    setObjectName(QStringLiteral("ImagePreview"));
    setStyleSheet(styleSheetFor(lightBackground));
    m_inClassroom = isFromClassroom;
    m_pBtnEdit->setVisible(showEdit);
    m_pBtnPrint->setVisible(showPrint);
    m_btnSaveToCloud->setVisible(showSaveToCloud);
    m_downloader = new FileDownloader(this);
    initLoadingWidget();

    connect(m_btnViewOriginalImage, &QPushButton::clicked, this, &ImagePreview::onViewOriginalImage);
    connect(m_btnSaveToCloud, &QPushButton::clicked, this, &ImagePreview::onSaveToCloud);
    connect(m_pBtnEdit, &QPushButton::clicked, this, &ImagePreview::editBtnSlot);
    connect(m_shareBtn, &QPushButton::clicked, this, &ImagePreview::shareBtnSlot);
    connect(m_downloadBtn, &QPushButton::clicked, this, &ImagePreview::downloadBtnSlot);
    connect(m_dropdownBtn, &QPushButton::clicked, this, &ImagePreview::dropdownBtnSlot);
    connect(&m_originalWatcher, &QFutureWatcher<QPixmap>::finished, this,
            [this] { onLoadOriginalPixmap(m_originalWatcher.result()); });
    connect(m_downloader, &FileDownloader::downloadProgress, this, &ImagePreview::downloadProgress);
    connect(m_downloader, &FileDownloader::downloadStatus, this, &ImagePreview::downloadStatus);
    connect(m_downloader, &FileDownloader::downloadFinished, this, [this](const QString &uuid, const QString &path) {
        if (uuid == m_originalUuid) {
            m_originalUuid.clear();
            startOriginalDecode(path);
        } else if (uuid == m_downloadUuid) {
            m_downloadUuid.clear();
            m_downloadedPath = path;
        }
    });
    connect(m_downloader, &FileDownloader::downloadFailed, this, [this](const QString &uuid, const QString &error) {
        qCWarning(lcOrvCommon) << "ImagePreview download failed:" << error;
        if (uuid == m_originalUuid)
            m_originalUuid.clear();
        else if (uuid == m_downloadUuid)
            m_downloadUuid.clear();
        else
            return;
        ImagePreviewFrame::stopLoading();
        m_progressBar->hide();
        showTip(OrvLang::text("ID_downloadfailed"));
    });
}

ImagePreview::~ImagePreview()
{
    // Decodes still running finish on the pool; nobody waits for them.
    m_originalWatcher.disconnect(this);
    if (m_sharpWatcher)
        m_sharpWatcher->disconnect(this);
}

void ImagePreview::initLoadingWidget()
{
    m_loadingWidget->setInnerRadius(4);
    m_loadingWidget->setLineLength(15);
    m_loadingWidget->setLineWidth(6);
    m_loadingWidget->setRoundness(4.0);
    m_loadingWidget->setOpacity(0.5);
}

void ImagePreview::startLoading(QString text)
{
    ImagePreviewFrame::startLoading(text);
}

void ImagePreview::stopLoading()
{
    ImagePreviewFrame::stopLoading();
}

void ImagePreview::loadingTimeOutSlot()
{
    qCInfo(lcOrvCommon) << "ImagePreview loading timed out";
    stopLoading();
}

int ImagePreview::pageCount() const
{
    if (m_listMode == MessageListMode)
        return m_messages.size();
    if (m_pageCount > 0)
        return m_pageCount;
    return m_paths.size();
}

QString ImagePreview::shownName() const
{
    return m_fileName.isEmpty() ? OrvLang::text("ID_Untitledimage") + QStringLiteral(".jpg") : m_fileName;
}

// ---- loading ------------------------------------------------------------------------------------

void ImagePreview::load(int index, QList<OrvEngine::ChatInClassMessagePtr> &messages)
{
    if (messages.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImagePreview: no messages to show";
        return;
    }
    m_listMode = MessageListMode;
    m_messages = messages;
    m_paths.clear();
    m_pageCount = 0;
    m_currentIndex = qBound(0, index, m_messages.size() - 1);
    connectInClassEngine();
    loadPic(m_currentIndex);
}

void ImagePreview::load(int index, const QList<QString> &paths)
{
    QList<QPair<QString, QString>> pairs;
    for (const QString &path : paths)
        pairs.append({path, QString()});
    load(pairs, index);
}

void ImagePreview::load(const QList<QPair<QString, QString>> &paths, int index)
{
    if (paths.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImagePreview: no paths to show";
        return;
    }
    m_listMode = PathListMode;
    m_messages.clear();
    m_pageCount = 0;
    m_paths.clear();
    m_names.clear();
    for (const auto &pair : paths) {
        m_paths.append(pair.first);
        m_names.append(pair.second.isEmpty() ? QFileInfo(pair.first).fileName() : pair.second);
    }
    m_currentIndex = qBound(0, index, m_paths.size() - 1);
    showIndex();
}

void ImagePreview::load(const QString &path, const QString &fileName)
{
    load({{path, fileName}}, 0);
}

void ImagePreview::load(const QPixmap &pixmap)
{
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImagePreview: null picture, the shown one stays";
        return;
    }
    showPixmap(pixmap);
}

void ImagePreview::load(const QPixmap &pixmap, bool hasOriginal, QString fileName, quint64 fileId, QString shareId,
                        quint64 ownerUid)
{
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImagePreview: null picture, the shown one stays";
        return;
    }
    m_listMode = SingleMode;
    m_fileName = std::move(fileName);
    m_userFileId = fileId;
    m_shareId = std::move(shareId);
    m_ownerUid = ownerUid;
    m_currentPath.clear();
    m_originalPath.clear();
    m_originalRetried = false;
    m_btnViewOriginalImage->setVisible(hasOriginal);
    showPixmap(pixmap);
}

void ImagePreview::load(const QPixmap &pixmap, QString fileName, bool hasOriginal, int page, int pageCount)
{
    stopLoading();
    if (pageCount > 0)
        setPageValue(page, pageCount);
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImagePreview: the owner sent no picture for page" << page;
        return;
    }
    m_fileName = std::move(fileName);
    m_currentPath.clear();
    m_originalPath.clear();
    m_originalRetried = false;
    m_btnViewOriginalImage->setVisible(hasOriginal);
    showPixmap(pixmap);
}

void ImagePreview::setFileKeyInfo(int fileSource, quint64 userFileId, quint64 ownerUid, quint64 shareUid,
                                  quint64 schoolId, quint64 lessonId, quint64 classId)
{
    m_fileSource = fileSource;
    m_userFileId = userFileId;
    m_ownerUid = ownerUid;
    m_shareUid = shareUid;
    if (schoolId)
        m_schoolId = schoolId;
    m_lessonId = lessonId;
    m_classId = classId;
}

void ImagePreview::setPageValue(int index, int count)
{
    if (count <= 0)
        return;
    if (m_listMode == MessageListMode)
        m_messages.clear();
    m_listMode = SingleMode;
    m_pageCount = count;
    m_currentIndex = qBound(0, index, count - 1);
    updateDescription();
    updatePrevNext();
}

void ImagePreview::showPixmap(const QPixmap &pixmap, const QSize &logicalSize)
{
    hideMask();
    const QSize size = logicalSize.isValid() ? logicalSize : pixmap.size();
    if (m_firstLayout && !isVisible())
        adjustDialogSize(size);
    resetParameters();
    setPicture(pixmap, logicalSize);
    adjustImageView();
    adjustRestoreButton();
    updatePrevNext();
    adjustZoomButton();
    adjustDragState();
    updateDescription();
    m_title->setText(shownName());
}

void ImagePreview::updateDescription()
{
    const int count = pageCount();
    setPageText(count > 1 ? QStringLiteral("%1/%2").arg(m_currentIndex + 1).arg(count) : QString());
}

void ImagePreview::updatePrevNext()
{
    const int count = pageCount();
    m_btnPrevious->setEnabled(m_currentIndex >= 1);
    m_btnNext->setEnabled(m_currentIndex < count - 1);
}

void ImagePreview::step(int delta)
{
    m_oneShot = false;
    setZoomEnabled(true);
    m_lastCmd = delta;
    const int count = pageCount();
    const int target = m_currentIndex + delta;
    if (target < 0 || target >= count) {
        updatePrevNext();
        return;
    }
    m_currentIndex = target;
    showIndex();
}

void ImagePreview::onPrevious()
{
    step(-1);
}

void ImagePreview::onNext()
{
    step(1);
}

void ImagePreview::skipPage()
{
    if (m_lastCmd > 0 && m_currentIndex < pageCount() - 1)
        onNext();
    else if (m_lastCmd < 0 && m_currentIndex > 0)
        onPrevious();
    else
        stopLoading();
}

void ImagePreview::showIndex()
{
    if (m_listMode == MessageListMode) {
        loadPic(m_currentIndex);
        return;
    }
    if (m_pageCount > 0) {
        updateDescription();
        updatePrevNext();
        Q_EMIT changeImage(m_currentIndex);
        startLoading(QString());
        return;
    }
    if (m_currentIndex < 0 || m_currentIndex >= m_paths.size())
        return;
    showPath(m_paths.at(m_currentIndex), m_names.value(m_currentIndex));
    prefetchAround(m_currentIndex);
}

QFuture<QImage> ImagePreview::decodeLater(const QString &path)
{
    const QSize bound = m_MaxImageSize;
    return QtConcurrent::run(QThreadPool::globalInstance(),
                             [path, bound] { return OrvUtils::loadImageFromPath(path, bound); });
}

void ImagePreview::prefetchAround(int index)
{
    QSet<QString> keep;
    for (int i = index - PrefetchReach; i <= index + PrefetchReach; ++i) {
        if (i < 0 || i >= m_paths.size())
            continue;
        const QString &path = m_paths.at(i);
        keep.insert(path);
        if (i != index && !m_prefetch.contains(path))
            m_prefetch.insert(path, decodeLater(path));
    }
    for (auto it = m_prefetch.begin(); it != m_prefetch.end();) {
        if (!keep.contains(it.key()))
            it = m_prefetch.erase(it);
        else
            ++it;
    }
}

bool ImagePreview::showPath(const QString &path, const QString &name)
{
    m_fileName = name.isEmpty() ? QFileInfo(path).fileName() : name;
    m_originalRetried = false;
    if (m_sharpWatcher) {
        m_sharpWatcher->disconnect(this);
        m_sharpWatcher->deleteLater();
        m_sharpWatcher = nullptr;
    }

    // Decoded ahead: shown at once.
    const auto ahead = m_prefetch.constFind(path);
    if (ahead != m_prefetch.constEnd() && ahead->isFinished()) {
        const QImage image = ahead->result();
        if (!image.isNull()) {
            m_currentPath = path;
            showPixmap(QPixmap::fromImage(image));
            return true;
        }
    }

    // A large JPEG: a reduction the decoder makes cheaply covers the window now, the bounded
    // decode replaces it when ready. One read of the header decides and decodes.
    const QRect content = contentRect();
    const qreal ratio = devicePixelRatioF();
    const QSize want(qRound(content.width() * ratio), qRound(content.height() * ratio));
    OrvUtils::DecodeInfo quickInfo;
    QImage quick = want.isEmpty() ? QImage() : OrvUtils::loadQuickPreview(path, want, &quickInfo);
    const QSize full = OrvUtils::boundedSize(quickInfo.shownSize, m_MaxImageSize);
    if (!quick.isNull() && quick.size() != full) {
        m_currentPath = path;
        showPixmap(QPixmap::fromImage(std::move(quick)), full);
        const QFuture<QImage> future = ahead != m_prefetch.constEnd() ? *ahead : decodeLater(path);
        m_prefetch.insert(path, future);
        m_sharpPath = path;
        m_sharpWatcher = new QFutureWatcher<QImage>(this);
        connect(m_sharpWatcher, &QFutureWatcher<QImage>::finished, this, [this, watcher = m_sharpWatcher] {
            watcher->deleteLater();
            if (watcher != m_sharpWatcher)
                return;
            m_sharpWatcher = nullptr;
            const QImage image = watcher->result();
            if (m_currentPath == m_sharpPath && !image.isNull())
                replacePixmap(QPixmap::fromImage(image));
        });
        m_sharpWatcher->setFuture(future);
        return true;
    }

    const QPixmap pixmap = OrvUtils::loadFromPath(path, m_MaxImageSize);
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "ImagePreview cannot show" << path << ", m_currentIndex" << m_currentIndex;
        showTip(OrvLang::text("ID_ImagePreview_CannotOpen"));
        updateDescription();
        updatePrevNext();
        return false;
    }
    m_currentPath = path;
    showPixmap(pixmap);
    return true;
}

// ---- chat-in-class messages ---------------------------------------------------------------------

void ImagePreview::connectInClassEngine()
{
    if (m_inClassConnected)
        return;
    m_inClassConnected = true;
    auto *engine = OrvEngine::ChatInClassEngine::instance();
    connect(engine, &OrvEngine::ChatInClassEngine::transferProcess, this, &ImagePreview::onUpdateTransferProcess);
    connect(engine, &OrvEngine::ChatInClassEngine::transferStatusChanged, this, &ImagePreview::onUpdateTransferStatus);
    connect(engine, &OrvEngine::ChatInClassEngine::messageUndone, this, &ImagePreview::onUndoChatMsg);
}

void ImagePreview::loadPic(int index)
{
    if (index < 0 || index >= m_messages.size())
        return;
    const OrvEngine::ChatInClassMessagePtr msg = m_messages.at(index);
    m_fileName = msg->decodeFromContent(QStringLiteral("fileName")).toString();
    m_userFileId = msg->decodeFromContent(QStringLiteral("fileId")).toULongLong();
    const QString path = OrvEngine::ChatInClassEngine::instance()->filePath(msg);
    updateDescription();
    updatePrevNext();
    if (!path.isEmpty() && QFileInfo::exists(path)) {
        const QPixmap pixmap = OrvUtils::loadFromPath(path, m_MaxImageSize);
        if (!pixmap.isNull()) {
            m_currentPath = path;
            showPixmap(pixmap);
            return;
        }
        qCInfo(lcOrvCommon) << "file invalid, redownload:" << path;
    }
    m_currentPath.clear();
    showMask(QStringLiteral("0%\n") + OrvLang::text("ID_ChatImagePreview_downloading"));
    OrvEngine::ChatInClassEngine::instance()->downloadFile(msg);
}

void ImagePreview::onUpdateTransferProcess(OrvEngine::ChatInClassMessagePtr msgPtr, qint64, qint64,
                                           qint64 transferSize, qint64 totalSize)
{
    if (m_listMode != MessageListMode || !msgPtr || m_messages.value(m_currentIndex) != msgPtr || totalSize <= 0)
        return;
    showMask(QStringLiteral("%1%\n").arg(int(transferSize * 100 / totalSize))
             + OrvLang::text("ID_ChatImagePreview_downloading"));
}

void ImagePreview::onUpdateTransferStatus(OrvEngine::ChatInClassMessagePtr msg, int errorNo)
{
    if (m_listMode != MessageListMode || !msg || m_messages.value(m_currentIndex) != msg)
        return;
    switch (errorNo) {
    case OrvEngine::ChatFileTransfer::Complete: {
        const QString path = OrvEngine::ChatInClassEngine::instance()->filePath(msg);
        const QPixmap pixmap = OrvUtils::loadFromPath(path, m_MaxImageSize);
        if (pixmap.isNull()) {
            qCWarning(lcOrvCommon) << "ImagePreview: downloaded file is not a picture" << path;
            showMask(OrvLang::text("ID_downloadfailed"));
            return;
        }
        m_currentPath = path;
        showPixmap(pixmap);
        return;
    }
    case OrvEngine::ChatFileTransfer::Recalled:
        onUndoChatMsg(msg, msg->mainId(), msg->subId(), msg->senderUid(), OrvLang::text("ID_MessageBeenRecalled"));
        return;
    case OrvEngine::ChatFileTransfer::Cancelled:
        return;
    default:
        showMask(OrvLang::text("ID_downloadfailed"));
        return;
    }
}

void ImagePreview::onUndoChatMsg(OrvEngine::ChatInClassMessagePtr msg, quint64, quint64, quint64, QString tip)
{
    if (m_listMode != MessageListMode || !msg)
        return;
    int found = -1;
    for (int i = 0; i < m_messages.size(); ++i) {
        if (m_messages.at(i) == msg || m_messages.at(i)->msgId() == msg->msgId()) {
            found = i;
            break;
        }
    }
    if (found < 0)
        return;
    qCInfo(lcOrvCommon) << "ImagePreview: message" << msg->msgId() << "recalled," << tip;
    if (found == m_currentIndex) {
        close();
        return;
    }
    m_messages.removeAt(found);
    if (found < m_currentIndex)
        --m_currentIndex;
    updateDescription();
    updatePrevNext();
}

// ---- the original picture -----------------------------------------------------------------------

void ImagePreview::onViewOriginalImage()
{
    startLoading(QString());
    requestOriginalAddress(false);
}

void ImagePreview::requestOriginalAddress(bool forDownload)
{
    OrvHttpManager *http = OrvHttpManager::instance();
    OrvHttpReply *reply = nullptr;
    switch (m_fileSource) {
    case SharedFile:
        reply = http->requestDownloadSharedFileUrl(m_userFileId, m_shareUid);
        break;
    case TeacherInFile: {
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("fileId"), QString::number(m_userFileId));
        reply = http->get(QStringLiteral("/clouddisk/api/teacherin/download"), query);
        break;
    }
    case OrganizationFile: {
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("UID"), QString::number(m_ownerUid));
        form.addQueryItem(QStringLiteral("orgFileId"), QString::number(m_userFileId));
        form.addQueryItem(QStringLiteral("sid"), QString::number(m_schoolId));
        reply = http->postForm(QStringLiteral("/cloudspace/api/organization/image/preview"), form);
        break;
    }
    default:
        reply = http->requestSourceFilePath(m_userFileId, m_ownerUid);
        break;
    }
    connect(reply, &OrvHttpReply::finished, this,
            [this, forDownload](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
                if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
                    qCWarning(lcOrvCommon) << "ImagePreview cannot get the file address:" << networkError << errorNo
                                           << errorText;
                    ImagePreviewFrame::stopLoading();
                    showTip(OrvLang::text("ID_downloadfailed"));
                    return;
                }
                const QJsonObject o = data.toObject();
                QString address = o.value(QStringLiteral("filePath")).toString();
                if (address.isEmpty())
                    address = o.value(QStringLiteral("url")).toString();
                if (!o.value(QStringLiteral("fileName")).toString().isEmpty() && m_fileName.isEmpty())
                    m_fileName = o.value(QStringLiteral("fileName")).toString();
                onOriginalAddress(address, forDownload);
            });
}

void ImagePreview::onOriginalAddress(const QString &address, bool forDownload)
{
    if (!forDownload) {
        downloadOriginImage(address);
        return;
    }
    const QUrl url = CloudDownload::resolveAddress(address);
    if (url.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImagePreview url is empty";
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    m_downloadUuid = m_downloader->download(url, OrvUtils::defaultSaveFilePath(), shownName());
    if (m_downloadUuid.isEmpty()) {
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    m_progressBar->setValue(0);
    m_progressBar->show();
}

void ImagePreview::downloadOriginImage(QString url)
{
    const QUrl address = CloudDownload::resolveAddress(url);
    if (url.trimmed().isEmpty() || address.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImagePreview url is empty";
        ImagePreviewFrame::stopLoading();
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    const QString cached = QStringLiteral("%1/%2").arg(OrvUtils::defaultSaveFilePath(),
                                                       OrvFileNames::plainFileName(shownName()));
    if (QFileInfo::exists(cached) && !m_originalRetried) {
        if (!OrvUtils::imageSize(cached).isValid()) {
            qCInfo(lcOrvCommon) << "file invalid, redownload:" << cached;
        } else {
            startOriginalDecode(cached);
            return;
        }
    }
    m_originalUuid = m_downloader->download(address, OrvUtils::defaultSaveFilePath(), shownName());
    if (m_originalUuid.isEmpty()) {
        ImagePreviewFrame::stopLoading();
        showTip(OrvLang::text("ID_downloadfailed"));
    }
}

void ImagePreview::startOriginalDecode(const QString &path)
{
    m_originalPath = path;
    const QSize bound = m_MaxImageSize;
    m_originalWatcher.setFuture(QtConcurrent::run(QThreadPool::globalInstance(),
                                                  [path, bound] { return OrvUtils::loadFromPath(path, bound); }));
    m_btnViewOriginalImage->hide();
}

void ImagePreview::onLoadOriginalPixmap(QPixmap pixmap)
{
    if (pixmap.isNull()) {
        if (!m_originalRetried) {
            // A damaged file in the folder: fetch it once more.
            qCInfo(lcOrvCommon) << "file invalid, redownload:" << m_originalPath;
            m_originalRetried = true;
            requestOriginalAddress(false);
            return;
        }
        ImagePreviewFrame::stopLoading();
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    m_downloadBtn->setProperty("downloaded", true);
    m_downloadBtn->style()->unpolish(m_downloadBtn);
    m_downloadBtn->style()->polish(m_downloadBtn);
    m_downloadedPath = m_originalPath;
    m_currentPath = m_originalPath;
    load(pixmap);
    ImagePreviewFrame::stopLoading();
}

// ---- actions ------------------------------------------------------------------------------------

void ImagePreview::track(const QString &operation)
{
    OrvTrack::instance()->track(
        QStringLiteral("CloudFileOperation"),
        {{QStringLiteral("operation_type"), operation},
         {QStringLiteral("file_type"), QStringLiteral("image")},
         {QStringLiteral("file_name"), shownName()},
         {QStringLiteral("file_id"), QString::number(m_userFileId)},
         {QStringLiteral("input_device_type"), QStringLiteral("mouse")},
         {QStringLiteral("user_nickname"), m_userType},
         {QStringLiteral("operation_entrance"), m_entrancePage}});
}

void ImagePreview::onSaveImage(QString fileName)
{
    if (fileName.isEmpty())
        return;
    // The local file itself when it is there in the same format: nothing lost to re-encoding.
    const QString source = !m_originalPath.isEmpty() ? m_originalPath : m_currentPath;
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    const QString sourceSuffix = QFileInfo(source).suffix().toLower();
    auto same = [](const QString &a, const QString &b) {
        auto norm = [](QString s) { return s == QLatin1String("jpeg") ? QStringLiteral("jpg") : s; };
        return norm(a) == norm(b);
    };
    if (!source.isEmpty() && QFileInfo::exists(source) && !suffix.isEmpty() && same(suffix, sourceSuffix)
        && !(rotation() % 360)) {
        QFile in(source);
        QSaveFile out(fileName);
        if (in.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly) && out.write(in.readAll()) == in.size()
            && out.commit()) {
            CloudDownload::rememberSaveAsFolder(QFileInfo(fileName).absolutePath());
            qCInfo(lcOrvCommon) << "ImagePreview saved" << fileName;
            track(QStringLiteral("save"));
            return;
        }
        qCWarning(lcOrvCommon) << "ImagePreview cannot copy" << source << "to" << fileName;
    }
    ImagePreviewFrame::onSaveImage(fileName);
    track(QStringLiteral("save"));
}

void ImagePreview::onSaveToCloud()
{
    if (m_userFileId == 0 && m_shareId.isEmpty()) {
        qCWarning(lcOrvCommon) << "ImagePreview: no cloud file to save";
        return;
    }
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("shareId"), m_shareId.isEmpty() ? QString::number(m_userFileId) : m_shareId);
    form.addQueryItem(QStringLiteral("shareUid"), QString::number(m_shareUid ? m_shareUid : m_ownerUid));
    form.addQueryItem(QStringLiteral("folderId"), QStringLiteral("0"));
    form.addQueryItem(QStringLiteral("messageType"), QString::number(int(OrvEngine::ChatMsgType::Image)));
    form.addQueryItem(QStringLiteral("timeStamp"), QString::number(QDateTime::currentMSecsSinceEpoch()));
    OrvHttpReply *reply = OrvHttpManager::instance()->postForm(QStringLiteral("/cloudspace/api/user/saveSharedFile"), form);
    connect(reply, &OrvHttpReply::finished, this, [this](const QJsonValue &, int networkError, int errorNo, const QString &text) {
        if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
            qCWarning(lcOrvCommon) << "/cloudspace/api/user/saveSharedFile : error" << networkError << errorNo << text;
            showTip(text.isEmpty() ? OrvLang::text("ID_Network_ServiceFailed") : text);
            return;
        }
        showTip(OrvLang::text("ID_SaveSuccessfully"));
    });
    track(QStringLiteral("save_to_cloud"));
}

void ImagePreview::addRecentOpen()
{
    if (m_userFileId == 0)
        return;
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("referenceID"), QString::number(m_userFileId));
    OrvHttpReply *reply = OrvHttpManager::instance()->postForm(QStringLiteral("/api/user/addRecentOpen"), form);
    connect(reply, &OrvHttpReply::finished, this, [](const QJsonValue &, int networkError, int errorNo, const QString &text) {
        if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo)
            qCWarning(lcOrvCommon) << "/api/user/addRecentOpen : error" << networkError << errorNo << text;
        else
            qCDebug(lcOrvCommon) << "/api/user/addRecentOpen : ok";
    });
}

QString ImagePreview::tempSave()
{
    const QPixmap picture = bestPixmap();
    if (picture.isNull())
        return QString();
    const QString path = QStringLiteral("%1/orv_preview_%2.png")
                             .arg(QStandardPaths::writableLocation(QStandardPaths::TempLocation),
                                  QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmsszzz")));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !picture.save(&file, "PNG") || !file.commit()) {
        qCWarning(lcOrvCommon) << "ImagePreview cannot write" << path << file.errorString();
        return QString();
    }
    return path;
}

void ImagePreview::shareBtnSlot()
{
    const QString local = !m_originalPath.isEmpty() ? m_originalPath : m_currentPath;
    if (!local.isEmpty() && QFileInfo::exists(local)) {
        ShareToChatTool::instance()->shareImageFile(local);
    } else if (m_userFileId != 0 || !m_shareId.isEmpty()) {
        Q_EMIT signalShareFile();
    } else {
        const QString temp = tempSave();
        if (temp.isEmpty()) {
            qCWarning(lcOrvCommon) << "ImagePreview can not be shared";
            return;
        }
        ShareToChatTool::instance()->shareImageFile(temp);
    }
    track(QStringLiteral("share"));
}

void ImagePreview::editBtnSlot()
{
    QVariantMap properties{{QStringLiteral("button_name"), OrvLang::text("ID_ImagePreview_Edit")},
                           {QStringLiteral("entrance_page"), m_entrancePage},
                           {QStringLiteral("is_from_classroom"), m_fromClassroom},
                           {QStringLiteral("school_id"), QString::number(m_schoolId)}};
    if (m_lessonId)
        properties.insert(QStringLiteral("lesson_id"), QString::number(m_lessonId));
    else
        properties.insert(QStringLiteral("class_id"), QString::number(m_classId));
    properties.insert(m_fromClassroom ? QStringLiteral("class_role") : QStringLiteral("user_type"), m_userType);
    OrvTrack::instance()->track(QStringLiteral("StartEditingPictures"), properties);
    const QString local = !m_originalPath.isEmpty() ? m_originalPath : m_currentPath;
    const QPixmap picture = bestPixmap();
    if (picture.isNull() && (local.isEmpty() || !QFileInfo::exists(local))) {
        qCWarning(lcOrvCommon) << "ImagePreview: no picture to edit";
        return;
    }
    QPointer<ImageEditor> editor = ImageEditor::instance();
    editor->setEntrancePage(m_entrancePage);
    editor->setTrackIds(m_schoolId, m_lessonId, m_classId, m_userType);
    editor->showImage(local, picture, m_fromClassroom, this);
}

void ImagePreview::downloadBtnSlot()
{
    const QString local = !m_originalPath.isEmpty() ? m_originalPath : m_currentPath;
    if (!local.isEmpty() && QFileInfo::exists(local)) {
        m_downloadedPath = local;
        m_dropdownBtn->show();
        dropdownBtnSlot();
        return;
    }
    track(QStringLiteral("download"));
    if (m_userFileId != 0) {
        requestOriginalAddress(true);
        return;
    }
    // Only pixels: they become a file in the save folder.
    const QString path = OrvFileNames::uniqueFilePath(OrvUtils::defaultSaveFilePath(), OrvFileNames::plainFileName(shownName()));
    if (path.isEmpty()) {
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !bestPixmap().save(&file, "JPG", 95) || !file.commit()) {
        qCWarning(lcOrvCommon) << "ImagePreview cannot write" << path << file.errorString();
        showTip(OrvLang::text("ID_downloadfailed"));
        return;
    }
    m_downloadedPath = path;
    m_dropdownBtn->show();
}

void ImagePreview::downloadProgress(QString uuid, int progress)
{
    if (uuid != m_downloadUuid && uuid != m_originalUuid)
        return;
    m_progressBar->setValue(progress);
    if (uuid == m_originalUuid)
        m_loadingWidget->setText(QStringLiteral("%1%").arg(progress));
}

void ImagePreview::downloadStatus(QString uuid, FileTransferState::TransferState state)
{
    if (uuid != m_downloadUuid)
        return;
    if (state == FileTransferState::Finished) {
        m_progressBar->hide();
        m_dropdownBtn->show();
        m_downloadBtn->setProperty("downloaded", true);
        m_downloadBtn->style()->unpolish(m_downloadBtn);
        m_downloadBtn->style()->polish(m_downloadBtn);
    }
}

void ImagePreview::dropdownBtnSlot()
{
    if (!m_downloadMenu) {
        m_downloadMenu = new QMenu(this);
        m_downloadMenu->setObjectName(QStringLiteral("downloadMenu"));
        QAction *open = m_downloadMenu->addAction(OrvLang::text("ID_Open"));
        open->setObjectName(QStringLiteral("actionOpen"));
        connect(open, &QAction::triggered, this, &ImagePreview::onMenuOpenFile);
        QAction *folder = m_downloadMenu->addAction(OrvLang::text("ID_OpenFolder"));
        folder->setObjectName(QStringLiteral("actionOpenFolder"));
        connect(folder, &QAction::triggered, this, &ImagePreview::onMenuOpenFolder);
    }
    m_downloadMenu->popup(m_dropdownBtn->mapToGlobal(QPoint(0, m_dropdownBtn->height())));
}

void ImagePreview::onMenuOpenFile()
{
    if (m_downloadedPath.isEmpty())
        return;
    OrvDesktopShell::instance()->openFile(m_downloadedPath);
}

void ImagePreview::onMenuOpenFolder()
{
    if (m_downloadedPath.isEmpty())
        return;
    OrvDesktopShell::instance()->showInFolder(m_downloadedPath);
}

void ImagePreview::showContextMenu(const QPoint &globalPos)
{
    if (pixmap().isNull())
        return;
    if (!m_menu) {
        m_menu = new ImagePreviewMenu(this);
        connect(m_menu, &ImagePreviewMenu::doSave, this, &ImagePreview::onSave);
        connect(m_menu, &ImagePreviewMenu::doShare, this, &ImagePreview::shareBtnSlot);
        connect(m_menu, &ImagePreviewMenu::doEdit, this, &ImagePreview::editBtnSlot);
        connect(m_menu, &ImagePreviewMenu::signal_saveToCloud, this, &ImagePreview::onSaveToCloud);
    }
    m_menu->ShowMenuByPixmap(bestPixmap(), globalPos, m_menuType, m_ownerUid, m_userFileId, m_currentPath);
}

// ---- visibility setters -------------------------------------------------------------------------

void ImagePreview::setPrintBtnIsVisible(bool visible)
{
    m_pBtnPrint->setVisible(visible);
}

void ImagePreview::setDownloadBtnVisible(bool visible)
{
    m_downloadBtn->setVisible(visible);
    if (!visible)
        m_dropdownBtn->hide();
}

void ImagePreview::setShareBtnVisible(bool visible)
{
    m_shareBtn->setVisible(visible);
}

void ImagePreview::setSaveToCloudeBtnVisible(bool visible)
{
    m_btnSaveToCloud->setVisible(visible);
}

void ImagePreview::setEditBtnVisible(bool visible)
{
    m_pBtnEdit->setVisible(visible);
}

void ImagePreview::setSeparateLineTitleVisible(bool visible)
{
    m_separateLineTitle->setVisible(visible);
}

void ImagePreview::setViewOriginalImageBtnVisible(bool visible)
{
    m_btnViewOriginalImage->setVisible(visible);
}
