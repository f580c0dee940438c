// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImagePreviewFrame.h"

#include "bridgedialogs.h"
#include "clouddownload.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "waitingspinnerwidget.h"

#include <QApplication>
#include <QDateTime>
#include <QDesktopWidget>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QHBoxLayout>
#include <QImageWriter>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QWindow>

namespace {

int s_wheelAccumulator = 0;

constexpr int TitleBarHeight = 40;
constexpr int DescriptionHeight = 26;
constexpr int FootBarHeight = 52;

QPushButton *makeButton(QWidget *parent, const char *objectName, const QString &text = QString(),
                        const QString &tip = QString())
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(QLatin1String(objectName));
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::NoFocus);
    if (!tip.isEmpty())
        button->setToolTip(tip);
    return button;
}

} // namespace

ImagePreviewFrame::ImagePreviewFrame(QWidget *parent, bool lightBackground)
    : QWidget(parent)
    , m_lightBackground(lightBackground)
{
    buildUi();
}

ImagePreviewFrame::~ImagePreviewFrame() = default;

int ImagePreviewFrame::wheelAccumulator()
{
    return s_wheelAccumulator;
}

void ImagePreviewFrame::resetWheelAccumulator()
{
    s_wheelAccumulator = 0;
}

void ImagePreviewFrame::buildUi()
{
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setWindowTitle(OrvLang::text("ID_ImagePreview"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_titleBar = new QWidget(this);
    m_titleBar->setObjectName(QStringLiteral("titleBar"));
    m_titleBar->setAttribute(Qt::WA_StyledBackground);
    m_titleBar->setFixedHeight(TitleBarHeight);
    m_titleBar->installEventFilter(this);
    auto *titleLayout = new QHBoxLayout(m_titleBar);
    titleLayout->setContentsMargins(16, 0, 8, 0);
    titleLayout->setSpacing(4);
    m_title = new QLabel(OrvLang::text("ID_ImagePreview"), m_titleBar);
    m_title->setObjectName(QStringLiteral("titleLabel"));
    titleLayout->addWidget(m_title);
    titleLayout->addStretch(1);
    m_btnMinimize = makeButton(m_titleBar, "btnMinimize");
    m_btnMaximize = makeButton(m_titleBar, "btnMaximize");
    m_btnClose = makeButton(m_titleBar, "btnClose");
    for (QPushButton *b : {m_btnMinimize, m_btnMaximize, m_btnClose}) {
        b->setFixedSize(28, 28);
        titleLayout->addWidget(b);
    }
    layout->addWidget(m_titleBar);

    m_separateLineTitle = new QWidget(this);
    m_separateLineTitle->setObjectName(QStringLiteral("separateLineTitle"));
    m_separateLineTitle->setAttribute(Qt::WA_StyledBackground);
    m_separateLineTitle->setFixedHeight(1);
    layout->addWidget(m_separateLineTitle);

    m_pictureArea = new QWidget(this);
    m_pictureArea->setObjectName(QStringLiteral("pictureArea"));
    m_pictureArea->setMouseTracking(true);
    m_pictureArea->installEventFilter(this);
    m_pictureArea->setMinimumSize(MinPictureWidth, MinPictureHeight - barsHeight());
    auto *areaLayout = new QVBoxLayout(m_pictureArea);
    areaLayout->setContentsMargins(0, 0, 0, 0);
    m_scene = new QGraphicsScene(this);
    m_item = new QGraphicsPixmapItem;
    m_item->setTransformationMode(Qt::SmoothTransformation);
    m_scene->addItem(m_item);
    m_view = new QGraphicsView(m_scene, m_pictureArea);
    m_view->setObjectName(QStringLiteral("imageView"));
    m_view->setFrameShape(QFrame::NoFrame);
    m_view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_view->setAlignment(Qt::AlignCenter);
    m_view->setTransformationAnchor(QGraphicsView::AnchorViewCenter);
    m_view->setResizeAnchor(QGraphicsView::AnchorViewCenter);
    m_view->setRenderHint(QPainter::SmoothPixmapTransform);
    m_view->setFocusPolicy(Qt::NoFocus); // arrows page, they do not scroll
    m_view->setStyleSheet(QStringLiteral("QGraphicsView{background:transparent;border:none;}"));
    m_view->viewport()->setMouseTracking(true);
    m_view->viewport()->installEventFilter(this);
    areaLayout->addWidget(m_view);

    m_btnPrevious = makeButton(m_pictureArea, "btnPrevious");
    m_btnNext = makeButton(m_pictureArea, "btnNext");
    for (QPushButton *b : {m_btnPrevious, m_btnNext}) {
        b->setFixedSize(48, 48);
        b->hide();
    }
    connect(m_btnPrevious, &QPushButton::clicked, this, &ImagePreviewFrame::onPrevious);
    connect(m_btnNext, &QPushButton::clicked, this, &ImagePreviewFrame::onNext);

    m_scaleLabel = new QLabel(m_pictureArea);
    m_scaleLabel->setObjectName(QStringLiteral("scaleLabel"));
    m_scaleLabel->setFixedSize(136, 136);
    m_scaleLabel->setAlignment(Qt::AlignCenter);
    m_scaleLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_scaleLabel->setStyleSheet(QStringLiteral(
        "QLabel#scaleLabel{background:rgba(0,0,0,153);color:#FFFFFF;border-radius:12px;font-size:26px;}"));
    m_scaleLabel->hide();
    m_scaleTimer = new QTimer(this);
    m_scaleTimer->setSingleShot(true);
    m_scaleTimer->setInterval(ScaleLabelTimeout);
    connect(m_scaleTimer, &QTimer::timeout, this, &ImagePreviewFrame::onTimeout);

    m_loadingWidget = new WaitingSpinnerWidget(m_pictureArea);
    m_loadingWidget->setInnerRadius(4);
    m_loadingWidget->setLineLength(15);
    m_loadingWidget->setLineWidth(6);
    m_loadingWidget->setRoundness(4.0);
    m_loadingWidget->setOpacity(0.5);
    m_loadingTimer = new QTimer(this);
    m_loadingTimer->setSingleShot(true);
    m_loadingTimer->setInterval(LoadingTimeout);
    connect(m_loadingTimer, &QTimer::timeout, this, &ImagePreviewFrame::stopLoading);
    m_mask = new QLabel(m_pictureArea);
    m_mask->setObjectName(QStringLiteral("downloadMask"));
    m_mask->setAlignment(Qt::AlignCenter);
    m_mask->setWordWrap(true);
    m_mask->setStyleSheet(QStringLiteral("QLabel#downloadMask{background:rgba(0,0,0,128);color:#FFFFFF;font-size:16px;}"));
    m_mask->hide();
    m_tip = new QLabel(m_pictureArea);
    m_tip->setObjectName(QStringLiteral("tipLabel"));
    m_tip->setAlignment(Qt::AlignCenter);
    m_tip->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_tip->setStyleSheet(QStringLiteral(
        "QLabel#tipLabel{background:rgba(0,0,0,178);color:#FFFFFF;border-radius:6px;padding:8px 16px;font-size:14px;}"));
    m_tip->hide();
    m_tipTimer = new QTimer(this);
    m_tipTimer->setSingleShot(true);
    m_tipTimer->setInterval(2500);
    connect(m_tipTimer, &QTimer::timeout, m_tip, &QWidget::hide);
    layout->addWidget(m_pictureArea, 1);

    m_textDesc = new QLabel(this);
    m_textDesc->setObjectName(QStringLiteral("textDesc"));
    m_textDesc->setAlignment(Qt::AlignCenter);
    m_textDesc->setFixedHeight(DescriptionHeight);
    layout->addWidget(m_textDesc);

    m_footBar = new QWidget(this);
    m_footBar->setObjectName(QStringLiteral("footBar"));
    m_footBar->setAttribute(Qt::WA_StyledBackground);
    m_footBar->setFixedHeight(FootBarHeight);
    auto *foot = new QHBoxLayout(m_footBar);
    foot->setContentsMargins(16, 0, 16, 0);
    foot->setSpacing(8);
    m_btnViewOriginalImage = makeButton(m_footBar, "btnViewOriginalImage", OrvLang::text("ID_ViewOriginnalImage"));
    m_btnViewOriginalImage->hide();
    m_btnRestore = makeButton(m_footBar, "btnRestore", QString(), OrvLang::text("ID_ImagePreview_Restore"));
    m_btnZoomout = makeButton(m_footBar, "btnZoomout", QString(), OrvLang::text("ID_ImagePreview_ZoomIn"));
    m_btnZoomin = makeButton(m_footBar, "btnZoomin", QString(), OrvLang::text("ID_ImagePreview_ZoomOut"));
    m_btnRotate = makeButton(m_footBar, "btnRotate", QString(), OrvLang::text("ID_ImagePreview_Rotate"));
    m_btnSave = makeButton(m_footBar, "btnSave", QString(), OrvLang::text("ID_SAVE_SaveAs"));
    m_btnSaveToCloud = makeButton(m_footBar, "btnSaveToCloud", QString(), OrvLang::text("ID_imagepreviewmenu_SaveToCloud"));
    m_pBtnEdit = makeButton(m_footBar, "m_pBtnEdit", OrvLang::text("ID_ImagePreview_Edit"));
    m_pBtnPrint = makeButton(m_footBar, "m_pBtnPrint", OrvLang::text("ID_Print"));
    m_shareBtn = makeButton(m_footBar, "m_shareBtn", OrvLang::text("ID_ChatMessageExam_Transmit"));
    m_downloadBtn = makeButton(m_footBar, "m_downloadBtn", OrvLang::text("ID_Download"));
    m_dropdownBtn = makeButton(m_footBar, "m_dropdownBtn");
    m_progressBar = new QProgressBar(m_footBar);
    m_progressBar->setObjectName(QStringLiteral("m_progressBar"));
    m_progressBar->setRange(0, 100);
    m_progressBar->setFixedWidth(96);
    m_progressBar->hide();
    m_dropdownBtn->hide();
    m_btnSaveToCloud->hide();
    for (QPushButton *b : {m_btnRestore, m_btnZoomout, m_btnZoomin, m_btnRotate, m_btnSave, m_btnSaveToCloud})
        b->setFixedSize(32, 32);
    foot->addWidget(m_btnViewOriginalImage);
    foot->addStretch(1);
    for (QWidget *w : std::initializer_list<QWidget *>{m_btnRestore, m_btnZoomout, m_btnZoomin, m_btnRotate,
                                                       m_btnSave, m_btnSaveToCloud})
        foot->addWidget(w);
    foot->addStretch(1);
    for (QWidget *w : std::initializer_list<QWidget *>{m_pBtnEdit, m_pBtnPrint, m_shareBtn, m_downloadBtn,
                                                       m_dropdownBtn, m_progressBar})
        foot->addWidget(w);
    layout->addWidget(m_footBar);

    connect(m_btnMinimize, &QPushButton::clicked, this, &QWidget::showMinimized);
    connect(m_btnMaximize, &QPushButton::clicked, this, &ImagePreviewFrame::onBtnMaximized);
    connect(m_btnClose, &QPushButton::clicked, this, &QWidget::close);
    connect(m_btnRestore, &QPushButton::clicked, this, &ImagePreviewFrame::onRestore);
    connect(m_btnZoomout, &QPushButton::clicked, this, &ImagePreviewFrame::onZoomout);
    connect(m_btnZoomin, &QPushButton::clicked, this, &ImagePreviewFrame::onZoomin);
    connect(m_btnRotate, &QPushButton::clicked, this, &ImagePreviewFrame::onRotate);
    connect(m_btnSave, &QPushButton::clicked, this, &ImagePreviewFrame::onSave);
    connect(m_pBtnPrint, &QPushButton::clicked, this, &ImagePreviewFrame::onPrint);

    resize(MinPictureWidth, MinPictureHeight);
}

int ImagePreviewFrame::barsHeight() const
{
    const int title = m_titleBar ? m_titleBar->height() + (m_separateLineTitle && !m_separateLineTitle->isHidden() ? 1 : 0)
                                 : TitleBarHeight;
    const int foot = m_footBar ? m_footBar->height() : FootBarHeight;
    const int desc = m_textDesc ? m_textDesc->height() : DescriptionHeight;
    return title + foot + desc;
}

QRect ImagePreviewFrame::contentRect() const
{
    const int top = m_titleBar->height() + (m_separateLineTitle->isHidden() ? 0 : 1);
    QRect r = rect().adjusted(0, top, 0, -(m_footBar->height() + m_textDesc->height()));
    if (m_firstLayout && width() < MinPictureWidth && height() < MinPictureHeight)
        r = QRect(0, top, MinPictureWidth, MinPictureHeight);
    return r;
}

bool ImagePreviewFrame::isLoading() const
{
    return m_loadingWidget->isSpinning();
}

void ImagePreviewFrame::setPicture(const QPixmap &pixmap, const QSize &logicalSize)
{
    m_pixmap = pixmap;
    m_pictureSize = logicalSize.isValid() ? logicalSize : pixmap.size();
    m_item->setPixmap(pixmap);
    m_item->setScale(pixmap.width() > 0 ? double(m_pictureSize.width()) / pixmap.width() : 1.0);
    m_scene->setSceneRect(QRectF(QPointF(0, 0), QSizeF(m_pictureSize)));
}

void ImagePreviewFrame::replacePixmap(const QPixmap &pixmap)
{
    if (pixmap.isNull())
        return;
    m_pixmap = pixmap;
    m_item->setPixmap(pixmap);
    m_item->setScale(pixmap.width() > 0 ? double(m_pictureSize.width()) / pixmap.width() : 1.0);
}

void ImagePreviewFrame::resetParameters()
{
    m_scale = 1.0;
    m_viewScale = 1.0;
    m_rotation = 0;
    resetTransform();
}

void ImagePreviewFrame::resetTransform()
{
    m_view->setTransform(QTransform().rotate(m_rotation));
}

void ImagePreviewFrame::applyViewTransform()
{
    QTransform t;
    t.rotate(m_rotation);
    t.scale(m_viewScale, m_viewScale);
    m_view->setTransform(t);
}

void ImagePreviewFrame::adjustImageView()
{
    const QRect content = contentRect();
    const QSizeF scene = m_scene->sceneRect().size();
    if (scene.isEmpty() || content.isEmpty()) {
        m_fitScale = 1.0;
        return;
    }
    // The picture as it stands after its quarter turns.
    const bool turned = (m_rotation % 180) != 0;
    const double sceneWidth = turned ? scene.height() : scene.width();
    const double sceneHeight = turned ? scene.width() : scene.height();
    const double targetWidth = qMin(double(content.width()), sceneWidth);
    const double targetHeight = qMin(double(content.height()), sceneHeight);
    m_fitScale = qMin(targetWidth / sceneWidth, targetHeight / sceneHeight);
    m_scale = m_fitScale;
    m_viewScale = m_fitScale;
    applyViewTransform();
    m_view->centerOn(m_item);
}

void ImagePreviewFrame::adjustRestoreButton()
{
    if (fuzzyEqual(m_scale, 1.0) && fuzzyEqual(m_fitScale, 1.0)) {
        m_btnRestore->setEnabled(false);
        m_btnRestore->setProperty("isFit", false);
    } else {
        m_btnRestore->setProperty("isFit", fuzzyEqual(m_scale, 1.0));
        m_btnRestore->setEnabled(true);
    }
    m_btnRestore->style()->unpolish(m_btnRestore);
    m_btnRestore->style()->polish(m_btnRestore);
}

void ImagePreviewFrame::adjustZoomButton()
{
    m_btnZoomout->setEnabled(m_scale < MaxScale && !fuzzyEqual(m_scale, MaxScale));
    m_btnZoomin->setEnabled(m_scale > MinScale && !fuzzyEqual(m_scale, MinScale));
}

void ImagePreviewFrame::adjustDragState()
{
    if (m_scale > m_fitScale && !fuzzyEqual(m_scale, m_fitScale)) {
        m_view->setDragMode(QGraphicsView::ScrollHandDrag);
        m_view->viewport()->setCursor(Qt::OpenHandCursor);
    } else {
        m_view->setDragMode(QGraphicsView::NoDrag);
        m_view->viewport()->setCursor(Qt::ArrowCursor);
    }
}

void ImagePreviewFrame::showScaleLabel()
{
    m_scaleLabel->setText(QStringLiteral("%1%").arg(qRound(m_viewScale * 100)));
    const QRect content = contentRect();
    const QPoint centre = m_pictureArea->mapFrom(this, content.center());
    m_scaleLabel->move(centre - QPoint(m_scaleLabel->width() / 2, m_scaleLabel->height() / 2));
    m_scaleLabel->raise();
    m_scaleLabel->show();
    m_scaleTimer->start();
}

void ImagePreviewFrame::onTimeout()
{
    m_scaleLabel->hide();
}

void ImagePreviewFrame::onZoomout()
{
    if (!m_zoomEnabled)
        return;
    if (m_scale > MaxScale && !fuzzyEqual(m_scale, MaxScale))
        return;
    m_scale += ZoomStep;
    m_viewScale = (m_scale <= MaxScale || fuzzyEqual(m_scale, MaxScale)) ? m_scale : MaxScale;
    applyViewTransform();
    Q_EMIT scaleChanged(m_scale);
    adjustZoomButton();
    adjustRestoreButton();
    adjustDragState();
    showScaleLabel();
}

void ImagePreviewFrame::onZoomin()
{
    if (!m_zoomEnabled)
        return;
    if (m_scale < MinScale && !fuzzyEqual(m_scale, MinScale))
        return;
    m_scale -= ZoomStep;
    m_viewScale = (m_scale >= MinScale || fuzzyEqual(m_scale, MinScale)) ? m_scale : MinScale;
    applyViewTransform();
    Q_EMIT scaleChanged(m_scale);
    adjustZoomButton();
    adjustRestoreButton();
    adjustDragState();
    showScaleLabel();
}

void ImagePreviewFrame::onRestore()
{
    m_scale = m_btnRestore->property("isFit").toBool() ? m_fitScale : 1.0;
    m_viewScale = m_scale;
    applyViewTransform();
    if (fuzzyEqual(m_scale, m_fitScale))
        m_view->centerOn(m_item);
    Q_EMIT scaleChanged(m_scale);
    adjustZoomButton();
    adjustRestoreButton();
    adjustDragState();
    showScaleLabel();
}

void ImagePreviewFrame::onRotate()
{
    turnBy(90);
}

void ImagePreviewFrame::turnBy(int degrees)
{
    m_rotation += degrees;
    adjustImageView();
    Q_EMIT scaleChanged(m_scale);
    adjustZoomButton();
    adjustRestoreButton();
    adjustDragState();
}

void ImagePreviewFrame::setLiveRotation(double extra)
{
    QTransform t;
    t.rotate(m_rotation + extra);
    t.scale(m_viewScale, m_viewScale);
    m_view->setTransform(t);
}

void ImagePreviewFrame::backToFit()
{
    m_scale = m_fitScale;
    m_viewScale = m_fitScale;
    applyViewTransform();
    m_view->centerOn(m_item);
    Q_EMIT scaleChanged(m_scale);
    adjustZoomButton();
    adjustRestoreButton();
    adjustDragState();
}

void ImagePreviewFrame::onBtnMaximized()
{
    if (isMaximized())
        showNormal();
    else
        showMaximized();
}

void ImagePreviewFrame::adjustDialogSize(const QSize &pictureSize)
{
    if (pictureSize.isEmpty())
        return;
    const int bars = barsHeight();
    QScreen *screen = windowHandle() ? windowHandle()->screen() : QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    QSize size = pictureSize;
    if (size.width() > available.width() || size.height() + bars > available.height())
        size = size.scaled(available.width(), available.height() - bars, Qt::KeepAspectRatio);
    const QSize minimum(MinPictureWidth, MinPictureHeight - bars);
    if (size.width() < minimum.width() || size.height() < minimum.height())
        size = size.expandedTo(minimum);
    resize(size.width(), size.height() + bars);
    move(available.center() - QPoint(width() / 2, height() / 2));
}

void ImagePreviewFrame::setPageText(const QString &text)
{
    m_textDesc->setText(text);
}

void ImagePreviewFrame::updatePrevNextVisibility(const QPoint &viewPos)
{
    const int w = m_pictureArea->width();
    const int x = viewPos.x();
    m_btnPrevious->setVisible(x >= 0 && x < w / 4);
    m_btnNext->setVisible(x > w - w / 4 && x <= w);
    if (m_btnPrevious->isVisible())
        m_btnPrevious->raise();
    if (m_btnNext->isVisible())
        m_btnNext->raise();
}

void ImagePreviewFrame::startLoading(const QString &text)
{
    m_loadingWidget->setText(text);
    m_loadingWidget->setGeometry(m_pictureArea->rect());
    m_loadingWidget->raise();
    m_loadingWidget->start();
    m_loadingTimer->start();
}

void ImagePreviewFrame::stopLoading()
{
    m_loadingTimer->stop();
    m_loadingWidget->stop();
}

QString ImagePreviewFrame::maskText() const
{
    return m_mask->isHidden() ? QString() : m_mask->text();
}

QString ImagePreviewFrame::tipText() const
{
    return m_tip->isHidden() ? QString() : m_tip->text();
}

void ImagePreviewFrame::showMask(const QString &text)
{
    m_mask->setText(text);
    m_mask->setGeometry(m_pictureArea->rect());
    m_mask->raise();
    m_mask->show();
}

void ImagePreviewFrame::hideMask()
{
    m_mask->hide();
}

void ImagePreviewFrame::showTip(const QString &text)
{
    m_tip->setText(text);
    m_tip->adjustSize();
    m_tip->move((m_pictureArea->width() - m_tip->width()) / 2, (m_pictureArea->height() - m_tip->height()) / 2);
    m_tip->raise();
    m_tip->show();
    m_tipTimer->start();
}

QString ImagePreviewFrame::saveFolder() const
{
    return CloudDownload::saveAsFolder();
}

void ImagePreviewFrame::onSave()
{
    if (m_saveDialog) {
        m_saveDialog->raise();
        m_saveDialog->activateWindow();
        return;
    }
    const QString name = QStringLiteral("%1/%2_%3")
                             .arg(saveFolder(), QStringLiteral("Kadio"),
                                  QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmss")));
    QString filter = OrvLang::text("ID_ImageFiles_JpgPngJpegBmp");
    if (!filter.contains(QLatin1Char('(')))
        filter += QStringLiteral(" (*.jpg *.png *.jpeg *.bmp)");
    auto *dialog = new QFileDialog(this, OrvLang::text("ID_SaveImageAs"), name, filter);
    dialog->setObjectName(QStringLiteral("saveImageDialog"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setDefaultSuffix(QStringLiteral("jpg"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::NonModal);
    connect(dialog, &QFileDialog::fileSelected, this, &ImagePreviewFrame::onSaveImage);
    m_saveDialog = dialog;
    dialog->show();
}

void ImagePreviewFrame::onSaveImage(QString fileName)
{
    if (fileName.isEmpty())
        return;
    const QPixmap picture = bestPixmap();
    QString suffix = QFileInfo(fileName).suffix().toLower();
    if (suffix.isEmpty()) {
        fileName += QStringLiteral(".jpg");
        suffix = QStringLiteral("jpg");
    }
    QSaveFile file(fileName);
    bool ok = !picture.isNull() && file.open(QIODevice::WriteOnly);
    if (ok) {
        QImageWriter writer(&file, suffix == QLatin1String("jpg") ? QByteArray("jpeg") : suffix.toLatin1());
        writer.setQuality(95);
        ok = writer.write(picture.toImage());
        if (!ok) {
            qCWarning(lcOrvCommon) << "ImagePreview cannot encode" << fileName << writer.errorString();
            file.cancelWriting();
        } else {
            ok = file.commit();
        }
    }
    if (!ok) {
        qCWarning(lcOrvCommon) << "ImagePreview cannot save" << fileName << file.errorString();
        return;
    }
    CloudDownload::rememberSaveAsFolder(QFileInfo(fileName).absolutePath());
    qCInfo(lcOrvCommon) << "ImagePreview saved" << fileName;
}

bool ImagePreviewFrame::printPixmap(QPrinter *printer, const QPixmap &pixmap) const
{
    if (pixmap.isNull())
        return false;
    QPainter painter;
    if (!painter.begin(printer))
        return false;
    const QPixmap turned = (m_rotation % 360) ? pixmap.transformed(QTransform().rotate(m_rotation % 360)) : pixmap;
    const QRect page = painter.viewport();
    QSize size = turned.size().scaled(page.size(), Qt::KeepAspectRatio);
    const QRect target(page.x() + (page.width() - size.width()) / 2, page.y() + (page.height() - size.height()) / 2,
                       size.width(), size.height());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(target, turned);
    return painter.end();
}

void ImagePreviewFrame::printed(bool, qint64)
{
}

void ImagePreviewFrame::onPrint()
{
    const QPixmap picture = bestPixmap();
    if (picture.isNull()) {
        qCWarning(lcOrvCommon) << "ImagePreview has no picture to print";
        return;
    }
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(windowTitle());
    QPrintDialog dialog(&printer, this);
    dialog.setObjectName(QStringLiteral("printDialog"));
    if (dialog.exec() != QDialog::Accepted)
        return;
    QElapsedTimer clock;
    clock.start();
    const bool ok = printPixmap(&printer, picture);
    if (!ok) {
        qCWarning(lcOrvCommon) << "ImagePreview print failed on" << printer.printerName() << printer.outputFileName();
        BridgeDialogs::message(this, OrvLang::text("ID_MessageBox_Hint"), OrvLang::text("ID_PrintDevice_Error"),
                               {OrvLang::text("ID_Ok")});
    }
    printed(ok, clock.elapsed());
}

void ImagePreviewFrame::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(m_lightBackground ? QStringLiteral("#FAFAFA") : QStringLiteral("#2F2F2F")));
}

void ImagePreviewFrame::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (isVisible())
        m_firstLayout = false;
    // A picture shown fitted stays fitted.
    const bool wasFit = fuzzyEqual(m_scale, m_fitScale);
    if (!m_pixmap.isNull() && wasFit) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (!fuzzyEqual(m_scale, m_fitScale))
                    return;
                adjustImageView();
                adjustRestoreButton();
                adjustZoomButton();
                adjustDragState();
            },
            Qt::QueuedConnection);
    }
}

void ImagePreviewFrame::keyPressEvent(QKeyEvent *event)
{
    if (!pageKeysOnPress()) {
        QWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Left:
        if (m_btnPrevious->isEnabled())
            onPrevious();
        break;
    case Qt::Key_Right:
        if (m_btnNext->isEnabled())
            onNext();
        break;
    case Qt::Key_Escape:
        close();
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void ImagePreviewFrame::keyReleaseEvent(QKeyEvent *event)
{
    if (pageKeysOnPress() || event->isAutoRepeat()) {
        QWidget::keyReleaseEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Left:
        if (m_btnPrevious->isEnabled())
            onPrevious();
        break;
    case Qt::Key_Right:
        if (m_btnNext->isEnabled())
            onNext();
        break;
    case Qt::Key_Escape:
        close();
        break;
    default:
        QWidget::keyReleaseEvent(event);
    }
}

bool ImagePreviewFrame::eventFilter(QObject *watched, QEvent *event)
{
    if (!m_view || !m_btnNext || !m_mask)
        return QWidget::eventFilter(watched, event); // still being built
    if (watched == m_view->viewport()) {
        switch (event->type()) {
        case QEvent::Wheel: {
            auto *wheel = static_cast<QWheelEvent *>(event);
            const int delta = wheel->angleDelta().y();
            s_wheelAccumulator += delta;
            if (qAbs(s_wheelAccumulator) < WheelThreshold)
                return true;
            s_wheelAccumulator = 0;
            if (delta < 1)
                onZoomin();
            else
                onZoomout();
            showScaleLabel();
            return true;
        }
        case QEvent::MouseMove:
            updatePrevNextVisibility(m_view->viewport()->mapTo(m_pictureArea, static_cast<QMouseEvent *>(event)->pos()));
            break;
        case QEvent::MouseButtonRelease: {
            auto *mouse = static_cast<QMouseEvent *>(event);
            if (mouse->button() == Qt::RightButton
                && contentRect().contains(m_view->viewport()->mapTo(this, mouse->pos()))) {
                showContextMenu(mouse->globalPos());
                return true;
            }
            break;
        }
        default:
            break;
        }
    } else if (watched == m_pictureArea) {
        if (event->type() == QEvent::Resize) {
            m_mask->setGeometry(m_pictureArea->rect());
            const int y = (m_pictureArea->height() - m_btnPrevious->height()) / 2;
            m_btnPrevious->move(20, y);
            m_btnNext->move(m_pictureArea->width() - 20 - m_btnNext->width(), y);
        } else if (event->type() == QEvent::Leave) {
            m_btnPrevious->hide();
            m_btnNext->hide();
        } else if (event->type() == QEvent::MouseMove) {
            updatePrevNextVisibility(static_cast<QMouseEvent *>(event)->pos());
        }
    } else if (watched == m_titleBar) {
        switch (event->type()) {
        case QEvent::MouseButtonPress: {
            const auto *mouse = static_cast<QMouseEvent *>(event);
            if (mouse->button() == Qt::LeftButton && !isMaximized()) {
                m_movingWindow = true;
                m_dragStart = mouse->globalPos();
                m_windowStart = pos();
            }
            break;
        }
        case QEvent::MouseMove:
            if (m_movingWindow)
                move(m_windowStart + static_cast<QMouseEvent *>(event)->globalPos() - m_dragStart);
            break;
        case QEvent::MouseButtonRelease:
            m_movingWindow = false;
            break;
        case QEvent::MouseButtonDblClick:
            onBtnMaximized();
            return true;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}
