// SPDX-License-Identifier: LGPL-2.1-or-later
#include "UploadImageByQRCodeWidget.h"

#include "cloudstyle.h"
#include "coreengine.h"
#include "examupload_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvmessagebox.h"
#include "orvtrack.h"
#include "orvutils.h"
#include "qrcodeimage.h"
#include "userinfo.h"
#include "waitingspinnerwidget.h"

#include <QCloseEvent>
#include <QDateTime>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QTransform>
#include <QUrl>
#include <QUuid>
#include <QVBoxLayout>

namespace {

constexpr const char *PageName = "UploadImageByQRCodeWidget";

bool isWebAddress(const QString &text)
{
    const QUrl url(text);
    return url.isValid() && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"))
        && !url.host().isEmpty();
}

// Sizes come as text from the phone page; numbers are taken too. Anything else is 0.
int sizeValue(const QJsonValue &value)
{
    int n = 0;
    if (value.isString()) {
        bool ok = false;
        n = value.toString().trimmed().toInt(&ok);
        if (!ok)
            n = 0;
    } else if (value.isDouble()) {
        const double d = value.toDouble();
        n = (d > 0 && d < 1e9) ? int(d) : 0;
    }
    return qMax(0, n);
}

} // namespace

UploadImageByQRCodeWidget::UploadImageByQRCodeWidget(QWidget *parent, bool confirmSinglePhoto, int mode, int multiple)
    : QWidget(parent, Qt::Dialog | Qt::FramelessWindowHint)
    , m_confirmSingle(confirmSinglePhoto)
    , m_mode(mode)
    , m_multiple(multiple)
{
    qRegisterMetaType<UploadedImageList>("UploadedImageList");
    // The signal's own spelling, for queued connections and spies.
    qRegisterMetaType<UploadedImageList>("std::vector<std::pair<QString,QSize> >");
    setObjectName(QStringLiteral("UploadImageByQRCodeWidget"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(OrvLang::text("ID_QRUpload_Title"));

    m_loadingTimer = new QTimer(this);
    m_loadingTimer->setSingleShot(true);
    m_loadingTimer->setInterval(LoadingTimeoutMs);
    connect(m_loadingTimer, &QTimer::timeout, this, &UploadImageByQRCodeWidget::loadingTimeOutSlot);

    buildUi();
    initLoadingWidget();
    setStyleSheet(CloudStyle::styleSheet(QStringLiteral("UploadImageByQRCodeWidget")));

    connect(OrvEngine::CoreEngine::instance(), &OrvEngine::CoreEngine::signalRecvUploadPhotoInfo, this,
            &UploadImageByQRCodeWidget::onUploadPhoto, Qt::QueuedConnection);
}

UploadImageByQRCodeWidget::~UploadImageByQRCodeWidget()
{
    if (m_errorBox)
        delete m_errorBox.data();
}

void UploadImageByQRCodeWidget::buildUi()
{
    setFixedSize(360, 440);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 12, 20, 20);
    layout->setSpacing(10);

    auto *titleRow = new QHBoxLayout;
    auto *title = new QLabel(OrvLang::text("ID_QRUpload_Title"), this);
    title->setObjectName(QStringLiteral("titleLabel"));
    titleRow->addWidget(title, 1);
    auto *closeBtn = new QPushButton(QStringLiteral("✕"), this);
    closeBtn->setObjectName(QStringLiteral("closeBtn"));
    closeBtn->setFixedSize(24, 24);
    closeBtn->setCursor(Qt::PointingHandCursor);
    connect(closeBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::closeWidget);
    titleRow->addWidget(closeBtn);
    layout->addLayout(titleRow);

    m_stack = new QStackedWidget(this);
    layout->addWidget(m_stack, 1);

    // The code and what to do with it.
    auto *codePage = new QWidget(m_stack);
    codePage->setObjectName(QStringLiteral("codePage"));
    auto *codeLayout = new QVBoxLayout(codePage);
    codeLayout->setContentsMargins(0, 0, 0, 0);
    codeLayout->setSpacing(12);
    m_codeLabel = new QLabel(codePage);
    m_codeLabel->setObjectName(QStringLiteral("qrCodeLabel"));
    m_codeLabel->setFixedSize(QrCodeSide + 16, QrCodeSide + 16);
    m_codeLabel->setAlignment(Qt::AlignCenter);
    codeLayout->addWidget(m_codeLabel, 0, Qt::AlignHCenter);
    m_tipLabel = new QLabel(OrvLang::text("ID_QRUpload_ScanTip"), codePage);
    m_tipLabel->setObjectName(QStringLiteral("tipLabel"));
    m_tipLabel->setAlignment(Qt::AlignCenter);
    m_tipLabel->setWordWrap(true);
    codeLayout->addWidget(m_tipLabel);
    codeLayout->addStretch();
    auto *otherRow = new QHBoxLayout;
    m_localBtn = new QPushButton(OrvLang::text("ID_QRUpload_LocalImage"), codePage);
    m_localBtn->setObjectName(QStringLiteral("localImageBtn"));
    m_cloudBtn = new QPushButton(OrvLang::text("ID_QRUpload_CloudImage"), codePage);
    m_cloudBtn->setObjectName(QStringLiteral("cloudImageBtn"));
    for (QPushButton *b : {m_localBtn, m_cloudBtn})
        b->setCursor(Qt::PointingHandCursor);
    connect(m_localBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::signalUploadLocalImage);
    connect(m_cloudBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::signalUploadCloudImage);
    otherRow->addWidget(m_localBtn);
    otherRow->addWidget(m_cloudBtn);
    codeLayout->addLayout(otherRow);
    m_stack->addWidget(codePage);

    // A received photo, to turn and confirm.
    auto *previewPage = new QWidget(m_stack);
    previewPage->setObjectName(QStringLiteral("previewPage"));
    auto *previewLayout = new QVBoxLayout(previewPage);
    previewLayout->setContentsMargins(0, 0, 0, 0);
    previewLayout->setSpacing(10);
    m_previewLabel = new QLabel(previewPage);
    m_previewLabel->setObjectName(QStringLiteral("previewLabel"));
    m_previewLabel->setAlignment(Qt::AlignCenter);
    m_previewLabel->setMinimumSize(280, 260);
    previewLayout->addWidget(m_previewLabel, 1);
    auto *rotateRow = new QHBoxLayout;
    auto *leftBtn = new QPushButton(QStringLiteral("↺"), previewPage);
    leftBtn->setObjectName(QStringLiteral("leftRotateBtn"));
    leftBtn->setToolTip(OrvLang::text("ID_QRUpload_RotateLeft"));
    auto *rightBtn = new QPushButton(QStringLiteral("↻"), previewPage);
    rightBtn->setObjectName(QStringLiteral("rightRotateBtn"));
    rightBtn->setToolTip(OrvLang::text("ID_QRUpload_RotateRight"));
    connect(leftBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::leftRotateSlot);
    connect(rightBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::rightRotateSlot);
    rotateRow->addStretch();
    rotateRow->addWidget(leftBtn);
    rotateRow->addWidget(rightBtn);
    rotateRow->addStretch();
    previewLayout->addLayout(rotateRow);
    auto *answerRow = new QHBoxLayout;
    answerRow->addStretch();
    auto *cancelBtn = new QPushButton(OrvLang::text("ID_Cancel"), previewPage);
    cancelBtn->setObjectName(QStringLiteral("cancelBtn"));
    auto *okBtn = new QPushButton(OrvLang::text("ID_Ok"), previewPage);
    okBtn->setObjectName(QStringLiteral("okBtn"));
    connect(cancelBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::cancelBtnSlot);
    connect(okBtn, &QPushButton::clicked, this, &UploadImageByQRCodeWidget::okBtnSlot);
    answerRow->addWidget(cancelBtn);
    answerRow->addWidget(okBtn);
    previewLayout->addLayout(answerRow);
    m_stack->addWidget(previewPage);
}

void UploadImageByQRCodeWidget::initLoadingWidget()
{
    if (m_spinner)
        return;
    m_spinner = new WaitingSpinnerWidget(m_codeLabel);
    m_spinner->setObjectName(QStringLiteral("qrLoadingSpinner"));
    m_spinner->setColor(QColor(QStringLiteral("#2F7BFF")));
    m_spinner->hide();
}

int UploadImageByQRCodeWidget::currentPage() const
{
    return m_stack->currentIndex();
}

bool UploadImageByQRCodeWidget::isLoading() const
{
    return m_loadingStart != 0;
}

OrvMessageBox *UploadImageByQRCodeWidget::errorBox() const
{
    return m_errorBox.data();
}

void UploadImageByQRCodeWidget::setEnableWaterMark(bool enable)
{
    m_waterMark = enable;
}

void UploadImageByQRCodeWidget::startLoading(const QString &Text)
{
    m_loadingStart = QDateTime::currentMSecsSinceEpoch();
    if (m_spinner) {
        m_spinner->setText(Text);
        m_spinner->show();
        m_spinner->raise();
        m_spinner->start();
    }
    m_loadingTimer->start();
}

void UploadImageByQRCodeWidget::stopLoading()
{
    // Reached by the reply and by the time-out: tracked once per loading.
    if (m_loadingStart != 0) {
        const qint64 elapsed = QDateTime::currentMSecsSinceEpoch() - m_loadingStart;
        m_loadingStart = 0;
        const QString productMode = m_mode == ModeExamTeacher ? QStringLiteral("exam_teacher")
            : m_mode == ModeExamStudent                       ? QStringLiteral("exam_student")
                                                              : QStringLiteral("general");
        OrvTrack::instance()->track(QStringLiteral("LoadingTips"),
                                    {{QStringLiteral("product_mode"), productMode},
                                     {QStringLiteral("page_name"), QLatin1String(PageName)},
                                     {QStringLiteral("$event_duration"), elapsed / 1000.0}});
    }
    if (m_loadingTimer->isActive())
        m_loadingTimer->stop();
    if (m_spinner) {
        m_spinner->stop();
        m_spinner->hide();
    }
}

void UploadImageByQRCodeWidget::loadingTimeOutSlot()
{
    // Only the spinner ends: a late reply still shows the code.
    qCInfo(lcExamUpload) << "QR code still loading after" << LoadingTimeoutMs << "ms";
    stopLoading();
}

void UploadImageByQRCodeWidget::requestPicQcode()
{
    const quint64 serial = ++m_requestSerial;
    m_requestId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_accepted = false;
    m_pageUrl.clear();
    m_qrText.clear();
    m_qrImage = QImage();
    m_codeLabel->clear();
    m_stack->setCurrentIndex(CodePage);
    if (m_errorBox)
        m_errorBox->deleteLater();

    const QString params =
        QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("requestUUid"), m_requestId}}).toJson(QJsonDocument::Compact));
    const bool byUrl = OrvEngine::CoreEngine::instance()->backgroundConfig(QLatin1String(PhotoByUrlConfigKey), true).toBool();
    if (m_mode == ModeExamTeacher || m_mode == ModeExamStudent)
        m_tag = m_multiple != 0 ? CommonPodsNs::RequestQRCodeTagExamMultiple : CommonPodsNs::RequestQRCodeTagExamSingle;
    else
        m_tag = byUrl ? CommonPodsNs::RequestQRCodeTagPhotoUrl : CommonPodsNs::RequestQRCodeTagPhotoBase64;

    qCInfo(lcExamUpload) << "QR code request" << m_requestId << "tag" << m_tag;
    OrvHttpManager::instance()->requestGetQRCode(
        m_tag, params, this, [this, serial](const QJsonObject &data, int networkError, int errorNo, const QString &errorText) {
            if (serial != m_requestSerial)
                return; // answer to a request given up since
            onGetPicQcodeFinished(data, networkError, errorNo, errorText);
        });
    startLoading(OrvLang::text("ID_Loading_Ellipsis"));
}

void UploadImageByQRCodeWidget::onGetPicQcodeFinished(const QJsonObject &jsonDataObject, int networkError, int errorNo,
                                                      QString errorString)
{
    stopLoading();
    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
        qCWarning(lcExamUpload) << "QR code request failed:" << networkError << errorNo << errorString;
        showError(OrvLang::text(OrvHttpManager::webProxyErrorToStringId(networkError, errorNo)));
        return;
    }
    const int tag = jsonDataObject.value(QStringLiteral("tag")).toVariant().toInt();
    if (tag != m_tag)
        qCWarning(lcExamUpload) << "QR code answer for tag" << tag << "while" << m_tag << "was asked for";
    const QString pageUrl = jsonDataObject.value(QStringLiteral("pageUrl")).toString();
    if (!isWebAddress(pageUrl)) {
        qCWarning(lcExamUpload) << "QR code answer without a web address:" << jsonDataObject;
        showError(OrvLang::text("ID_Network_BadReply"));
        return;
    }
    m_pageUrl = pageUrl;
    const quint64 serial = m_requestSerial;
    OrvHttpManager::instance()->requstLurlTransToSurl(
        pageUrl, this, [this, serial](QString &surl, int netError, int errNo, const QString &errorText) {
            if (serial != m_requestSerial)
                return;
            onGetLurlTransToSurl(surl, netError, errNo, errorText);
        });
}

void UploadImageByQRCodeWidget::onGetLurlTransToSurl(QString &surl, int networkError, int errorNo, const QString &errorString)
{
    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
        qCWarning(lcExamUpload) << "short address request failed:" << networkError << errorNo << errorString;
        showError(OrvLang::text(OrvHttpManager::webProxyErrorToStringId(networkError, errorNo)));
        return;
    }
    const QString address = urlSplicing(getDomainUrl(), surl.trimmed());
    if (!isWebAddress(address)) {
        qCWarning(lcExamUpload) << "short address" << surl << "makes no web address";
        showError(OrvLang::text("ID_Network_BadReply"));
        return;
    }
    showCode(address);
}

QString UploadImageByQRCodeWidget::getDomainUrl() const
{
    return OrvHttpManager::instance()->baseUrl().toString(QUrl::StripTrailingSlash);
}

QString UploadImageByQRCodeWidget::urlSplicing(const QString &domain, const QString &path)
{
    if (path.isEmpty())
        return {};
    if (isWebAddress(path))
        return path; // already whole
    QString d = domain;
    while (d.endsWith(QLatin1Char('/')))
        d.chop(1);
    return path.startsWith(QLatin1Char('/')) ? d + path : d + QLatin1Char('/') + path;
}

QImage UploadImageByQRCodeWidget::genQrCode(const QString &text)
{
    const int modules = QRCodeImage::moduleCount(text);
    if (modules <= 0)
        return {};
    const int margin = 1;
    const int moduleSize = qMax(1, QrCodeSide / (modules + 2 * margin));
    return QRCodeImage::encode(text, moduleSize, margin, Qt::black, QColor(QStringLiteral("#FFFFFF")));
}

void UploadImageByQRCodeWidget::showCode(const QString &text)
{
    const QImage image = genQrCode(text);
    if (image.isNull()) {
        showError(OrvLang::text("ID_Network_BadReply"));
        return;
    }
    m_qrText = text;
    m_qrImage = image;
    m_codeLabel->setPixmap(QPixmap::fromImage(image));
    m_stack->setCurrentIndex(CodePage);
    qCInfo(lcExamUpload) << "QR code shown for" << m_requestId;
}

void UploadImageByQRCodeWidget::showError(const QString &text)
{
    if (m_errorBox)
        delete m_errorBox.data();
    auto *box = new OrvMessageBox(this, OrvUtils::getMessageBoxTitle(), text.isEmpty() ? OrvLang::text("ID_QRUpload_RequestFailed") : text,
                                  QMessageBox::Retry | QMessageBox::Cancel, QMessageBox::Retry);
    box->setObjectName(QStringLiteral("qrCodeErrorBox"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    m_errorBox = box;
    connect(box, &QDialog::finished, this, [this, box](int result) {
        if (m_errorBox == box)
            m_errorBox = nullptr;
        if (result == QMessageBox::Retry)
            requestPicQcode();
        else
            closeWidget();
    });
    box->open();
}

void UploadImageByQRCodeWidget::onUploadPhoto(const QString &json)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(json.toUtf8(), &error);
    if (!doc.isObject()) {
        qCWarning(lcExamUpload) << "photo push is not a JSON object:" << error.errorString();
        return;
    }
    const QJsonObject object = doc.object();
    const QString requestId = object.value(QStringLiteral("requestUUid")).toString();
    if (m_requestId.isEmpty() || requestId != m_requestId) {
        qCDebug(lcExamUpload) << "photo push for request" << requestId << "is not ours";
        return;
    }
    const int tag = object.value(QStringLiteral("tag")).toVariant().toInt();
    QJsonValue payload = object.value(QStringLiteral("data"));
    if (payload.isString()) // some servers send the array as text
        payload = QJsonDocument::fromJson(payload.toString().toUtf8()).array();
    const QJsonArray array = payload.toArray();

    switch (tag) {
    case CommonPodsNs::RequestQRCodeTagPhotoBase64: {
        const QVector<QPixmap> pixmaps = parsePixmapArray(array);
        if (pixmaps.isEmpty()) {
            qCWarning(lcExamUpload) << "photo push without a picture that decodes";
            return;
        }
        if (m_confirmSingle) {
            showPreview(pixmaps.constFirst());
            return;
        }
        m_accepted = true;
        Q_EMIT acceptUploadImage(m_waterMark ? addWaterMark(pixmaps.constFirst()) : pixmaps.constFirst());
        return;
    }
    case CommonPodsNs::RequestQRCodeTagPhotoUrl:
    case CommonPodsNs::RequestQRCodeTagExamMultiple:
    case CommonPodsNs::RequestQRCodeTagExamSingle: {
        const UploadedImageList images = parseUrlArray(array);
        if (images.empty()) {
            qCWarning(lcExamUpload) << "photo push without a usable address";
            return;
        }
        m_accepted = true;
        Q_EMIT acceptUploadMultipleImages(images);
        return;
    }
    default:
        qCWarning(lcExamUpload) << "other tag, UploadPhotoInfo will be ignore" << tag;
        return;
    }
}

QVector<QPixmap> UploadImageByQRCodeWidget::parsePixmapArray(const QJsonArray &array)
{
    QVector<QPixmap> pixmaps;
    for (const QJsonValue &value : array) {
        QString text = value.toString();
        // A data address is taken as well as bare base64.
        if (text.startsWith(QLatin1String("data:"))) {
            const int comma = text.indexOf(QLatin1Char(','));
            text = comma < 0 ? QString() : text.mid(comma + 1);
        }
        if (text.isEmpty())
            continue;
        const auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded || decoded.decoded.isEmpty())
            continue;
        const QPixmap pixmap = OrvUtils::loadFromData(decoded.decoded);
        if (!pixmap.isNull())
            pixmaps.append(pixmap);
    }
    return pixmaps;
}

UploadedImageList UploadImageByQRCodeWidget::parseUrlArray(const QJsonArray &array)
{
    UploadedImageList images;
    for (const QJsonValue &value : array) {
        const QJsonObject object = value.toObject();
        const QString url = object.value(QStringLiteral("url")).toString().trimmed();
        // Owners fetch these; nothing but web addresses is passed on.
        if (!isWebAddress(url)) {
            qCDebug(lcExamUpload) << "pushed photo without a web address skipped";
            continue;
        }
        images.emplace_back(url, QSize(sizeValue(object.value(QStringLiteral("width"))),
                                       sizeValue(object.value(QStringLiteral("height")))));
    }
    return images;
}

void UploadImageByQRCodeWidget::showPreview(const QPixmap &pixmap)
{
    m_receivedPixmap = pixmap;
    m_rotateAngle = 0;
    m_stack->setCurrentIndex(PreviewPage);
    updateDisplayPixmap();
}

void UploadImageByQRCodeWidget::leftRotateSlot()
{
    m_rotateAngle -= 90;
    if (m_rotateAngle <= -360 || m_rotateAngle >= 360)
        m_rotateAngle = 0;
    updateDisplayPixmap();
}

void UploadImageByQRCodeWidget::rightRotateSlot()
{
    m_rotateAngle += 90;
    if (m_rotateAngle <= -360 || m_rotateAngle >= 360)
        m_rotateAngle = 0;
    updateDisplayPixmap();
}

void UploadImageByQRCodeWidget::updateDisplayPixmap()
{
    m_currentPixmap = rotatePixmap(m_receivedPixmap, m_rotateAngle);
    if (m_currentPixmap.isNull()) {
        m_previewLabel->clear();
        return;
    }
    const QSize room = m_previewLabel->size().expandedTo(m_previewLabel->minimumSize());
    m_previewLabel->setPixmap(m_currentPixmap.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

QPixmap UploadImageByQRCodeWidget::rotatePixmap(QPixmap pixmap, int rotateAngle)
{
    if (pixmap.isNull() || rotateAngle % 360 == 0)
        return pixmap;
    return pixmap.transformed(QTransform().rotate(rotateAngle), Qt::SmoothTransformation);
}

QPixmap UploadImageByQRCodeWidget::addWaterMark(QPixmap pixmap)
{
    if (pixmap.isNull())
        return pixmap;
    // Who received the photo and when, in the lower right corner.
    QString text = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    if (const auto user = OrvEngine::CoreEngine::instance()->currentUserInfo()) {
        if (!user->displayName().isEmpty())
            text = user->displayName() + QLatin1Char(' ') + text;
    }
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::TextAntialiasing);
    QFont font = p.font();
    font.setPixelSize(qMax(12, qMin(pixmap.width(), pixmap.height()) / 24));
    p.setFont(font);
    const int pad = font.pixelSize() / 2;
    const QRect area = pixmap.rect().adjusted(pad, pad, -pad, -pad);
    p.setPen(QColor(0, 0, 0, 140));
    p.drawText(area.translated(1, 1), Qt::AlignRight | Qt::AlignBottom, text);
    p.setPen(QColor(255, 255, 255, 200));
    p.drawText(area, Qt::AlignRight | Qt::AlignBottom, text);
    return pixmap;
}

void UploadImageByQRCodeWidget::okBtnSlot()
{
    if (m_currentPixmap.isNull())
        return;
    m_accepted = true;
    Q_EMIT acceptUploadImage(m_waterMark ? addWaterMark(m_currentPixmap) : m_currentPixmap);
}

void UploadImageByQRCodeWidget::cancelBtnSlot()
{
    closeWidget();
}

void UploadImageByQRCodeWidget::closeWidget()
{
    if (isVisible())
        close();
}

void UploadImageByQRCodeWidget::closeEvent(QCloseEvent *event)
{
    const bool rejected = isVisible() && !m_accepted;
    // Nothing that arrives later belongs to this showing.
    ++m_requestSerial;
    m_requestId.clear();
    stopLoading();
    if (m_errorBox)
        m_errorBox->deleteLater();
    QWidget::closeEvent(event);
    if (rejected)
        Q_EMIT rejectUploadImage();
}

void UploadImageByQRCodeWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_requestId.isEmpty())
        requestPicQcode();
}

void UploadImageByQRCodeWidget::mousePressEvent(QMouseEvent *event)
{
    // Frameless: dragged by any free spot.
    if (event->button() == Qt::LeftButton)
        m_dragOffset = event->globalPos() - frameGeometry().topLeft();
    QWidget::mousePressEvent(event);
}

void UploadImageByQRCodeWidget::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() & Qt::LeftButton)
        move(event->globalPos() - m_dragOffset);
    QWidget::mouseMoveEvent(event);
}
