// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ScreenshotWidget.h"
#include "ArrowPopup.h"
#include "CaptureHelper.h"
#include "ImageSelectionEditor.h"
#include "orvcommon_logging.h"

#include "orvlang.h"
#include "orvsettings.h"

#include <QApplication>
#include <QButtonGroup>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QImageWriter>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPaintEngine>
#include <QPainter>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QSvgRenderer>
#include <QThread>
#include <QTimer>
#include <QToolButton>
#include <QWindow>

#include <thread>

namespace ScreenShot {

int ScreenshotWidget::_operateType = ScreenshotWidget::OperateCancel;
int ScreenshotWidget::_numCapturing = 0;
bool ScreenshotWidget::_isOk = false;
bool ScreenshotWidget::_isEnableHdpi = false;

namespace {

bool s_hdpiChosen = false;

SelectionEditor *makeImageSelectionEditor(QWidget *overlay)
{
    return new ImageSelectionEditor(overlay);
}
SelectionEditorFactory s_editorFactory = makeImageSelectionEditor;

// #AARRGGBB
const QColor FrameGrey(QStringLiteral("#FFB0B0B0"));
const QColor PanelHighlight(QStringLiteral("#29FFFFFF"));
const QColor BandGreen(QStringLiteral("#FF009265"));
const QColor LabelText(QStringLiteral("#FFF5F5F5"));

constexpr int MagnifiedWidth = 29;  // source pixels, odd so one sits in the middle
constexpr int MagnifiedHeight = 21;
constexpr int Magnification = 5;
constexpr int MagnifierTextHeight = 40;
constexpr int CursorGap = 16;
constexpr int BoxGap = 6;

QList<ScreenshotWidget *> &openOverlays()
{
    static QList<ScreenshotWidget *> list;
    return list;
}

QSvgRenderer &labelBackground()
{
    static QSvgRenderer renderer(QStringLiteral(":/images/utils/roundrect_background.svg"));
    return renderer;
}

/// `target` (widget pixels) of a picture that covers the widget, at the picture's ratio.
void drawPart(QPainter &painter, const QRect &target, const QPixmap &pixmap)
{
    if (target.isEmpty() || pixmap.isNull())
        return;
    const qreal ratio = pixmap.devicePixelRatio();
    const QRectF source(target.x() * ratio, target.y() * ratio, target.width() * ratio, target.height() * ratio);
    painter.drawPixmap(QRectF(target), pixmap, source);
}

/// A clipped rectangle that keeps its size where the bounds allow.
QRect movedInto(QRect rect, const QRect &bounds)
{
    if (rect.width() > bounds.width() || rect.height() > bounds.height())
        return rect.intersected(bounds);
    if (rect.left() < bounds.left())
        rect.moveLeft(bounds.left());
    if (rect.right() > bounds.right())
        rect.moveRight(bounds.right());
    if (rect.top() < bounds.top())
        rect.moveTop(bounds.top());
    if (rect.bottom() > bounds.bottom())
        rect.moveBottom(bounds.bottom());
    return rect;
}

bool hasLeft(RubberBand::HitTestResult hit)
{
    return hit == RubberBand::HitLeft || hit == RubberBand::HitTopLeft || hit == RubberBand::HitBottomLeft;
}
bool hasRight(RubberBand::HitTestResult hit)
{
    return hit == RubberBand::HitRight || hit == RubberBand::HitTopRight || hit == RubberBand::HitBottomRight;
}
bool hasTop(RubberBand::HitTestResult hit)
{
    return hit == RubberBand::HitTop || hit == RubberBand::HitTopLeft || hit == RubberBand::HitTopRight;
}
bool hasBottom(RubberBand::HitTestResult hit)
{
    return hit == RubberBand::HitBottom || hit == RubberBand::HitBottomLeft || hit == RubberBand::HitBottomRight;
}

void showCopiedPopup()
{
    auto *popup = new QLabel(OrvLang::text("ID_Copied"));
    popup->setObjectName(QStringLiteral("screenshotCopiedPopup"));
    popup->setWindowFlags(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    popup->setAttribute(Qt::WA_DeleteOnClose);
    popup->setAttribute(Qt::WA_ShowWithoutActivating);
    popup->setMargin(10);
    popup->setStyleSheet(QStringLiteral("QLabel{background:#CC000000;color:#FFF5F5F5;border-radius:4px;}"));
    popup->adjustSize();
    popup->move(QCursor::pos() + QPoint(CursorGap, CursorGap));
    popup->show();
    QTimer::singleShot(1500, popup, &QWidget::close);
}

} // namespace

double getMonitorScale(const QPoint &pos)
{
    return OrvScreen::monitorScale(pos);
}

QVector<OrvScreen::WindowInfo> getWindowList(const QScreen *screen)
{
    return OrvScreen::windowList(screen);
}

// ---- process-wide -------------------------------------------------------------------------

void ScreenshotWidget::start(const QSize &maxSize, bool isAutoCapture, bool modal, bool showHideButton,
                             std::function<void(int)> callback)
{
    if (isCapturing())
        return;
    _isOk = false;
    _operateType = OperateCancel;
    RubberBand::instance()->reset();
    if (!s_hdpiChosen)
        _isEnableHdpi = OrvScreen::isHighDpiScalingOn();

    const QList<QScreen *> screens = QGuiApplication::screens();
    if (screens.isEmpty()) {
        qCWarning(lcScreenshot) << "screenshot start: no screen";
        if (callback)
            QTimer::singleShot(0, qApp, [callback] { callback(OperateCancel); });
        return;
    }
    QList<QScreen *> covered;
    for (QScreen *screen : screens) {
        if (_isEnableHdpi) {
            // One overlay covers a whole desktop where it can (separate X screens are
            // separate desktops).
            if (covered.contains(screen))
                continue;
            covered += hdpiScreens(screen);
        }
        auto *overlay = new ScreenshotWidget;
        if (_isEnableHdpi)
            overlay->capturePzrepareForHdpi(screen, maxSize, isAutoCapture, modal);
        else
            overlay->capturePzrepare(screen, maxSize, isAutoCapture, modal);
        overlay->capture(callback);
        overlay->setShowHideButton(showHideButton);
        qCInfo(lcScreenshot) << "screenshot start: " << screen->geometry();
    }
}

QList<QScreen *> ScreenshotWidget::hdpiScreens(QScreen *screen)
{
    // Qt 5 maps a window to device pixels by one screen's origin and ratio, so one window
    // spans monitors correctly only where nothing is scaled.
    const QList<QScreen *> desktop = screen->virtualSiblings();
    const bool scaled = std::any_of(desktop.cbegin(), desktop.cend(),
                                    [](const QScreen *s) { return !qFuzzyCompare(s->devicePixelRatio(), 1.0); });
    if (desktop.size() > 1 && scaled) {
        qCInfo(lcScreenshot) << "scaled monitors: one overlay per screen";
        return {screen};
    }
    return desktop;
}

void ScreenshotWidget::reset()
{
    _isOk = false;
}

void ScreenshotWidget::setEnableHdpi(bool enable)
{
    s_hdpiChosen = true;
    _isEnableHdpi = enable;
}

QList<ScreenshotWidget *> ScreenshotWidget::overlays()
{
    return openOverlays();
}

void ScreenshotWidget::cancelAll()
{
    for (ScreenshotWidget *overlay : openOverlays())
        overlay->cancel();
}

QString ScreenshotWidget::tempImagePath()
{
    return QDir(QDir::tempPath()).filePath(QStringLiteral("prScrnImage.jpg"));
}

void ScreenshotWidget::setSelectionEditorFactory(SelectionEditorFactory factory)
{
    s_editorFactory = std::move(factory);
}

SelectionEditorFactory ScreenshotWidget::defaultSelectionEditorFactory()
{
    return makeImageSelectionEditor;
}

// ---- one overlay --------------------------------------------------------------------------

ScreenshotWidget::ScreenshotWidget(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("ScreenshotWidget"));
    setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool);
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_OpaquePaintEvent); // every pixel comes from the grab
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::CrossCursor);
    openOverlays().append(this);
    connect(qApp, &QGuiApplication::screenRemoved, this, [this](QScreen *screen) {
        if ((screen == m_screen || m_screens.contains(screen)) && !m_quitting) {
            qCWarning(lcScreenshot) << "screen removed while capturing:" << screen->name();
            quit();
        }
    });
}

ScreenshotWidget::~ScreenshotWidget()
{
    openOverlays().removeAll(this);
    if (!m_quitting) {
        // Destroyed without quit(): still account for it, or no capture could start again.
        qApp->removeEventFilter(this);
        if (_numCapturing > 0)
            --_numCapturing;
    }
}

void ScreenshotWidget::prepare(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal)
{
    if (modal)
        setWindowModality(Qt::ApplicationModal);
    m_screen = screen;
    m_screens = m_hdpi ? hdpiScreens(screen) : QList<QScreen *> {screen};
    QRect area;
    for (QScreen *s : qAsConst(m_screens))
        area |= s->geometry();
    m_area = area;

    connect(CaptureHelper::instance(), &CaptureHelper::grabWindowFinished, this, &ScreenshotWidget::onGrabWindowFinished);
    for (QScreen *s : qAsConst(m_screens))
        m_pendingScreens.append(s);
    for (QScreen *s : qAsConst(m_screens))
        CaptureHelper::instance()->grab(s);

    // The native window goes on the right screen (or X screen) before it exists.
    create();
    windowHandle()->setScreen(screen);
    setGeometry(area);

    ++_numCapturing;
    setMaxSize(maxSize);
    setIsAutoCapture(isAutoCapture);
    qCInfo(lcScreenshot) << "screenshot prepare:" << screen->name() << area << "num:" << _numCapturing;
    postMouseMove();
}

void ScreenshotWidget::collectWindowList()
{
    if (!m_screen || m_quitting)
        return;
    m_windows = getWindowList(m_screen);
    // Other overlays are windows too, but never a target.
    for (ScreenshotWidget *overlay : openOverlays()) {
        if (!overlay->testAttribute(Qt::WA_WState_Created))
            continue;
        const quint64 id = overlay->internalWinId();
        m_windows.erase(std::remove_if(m_windows.begin(), m_windows.end(),
                                       [id](const OrvScreen::WindowInfo &w) { return w.id == id; }),
                        m_windows.end());
    }
    qCInfo(lcScreenshot) << "screenshot windows:" << m_windows.size();
    if (m_cursorKnown) {
        updateHover(m_cursor);
        const QRect snapped = snappedRect();
        if (snapped.isValid())
            refresh(QRegion(toWidget(snapped).adjusted(-3, -3, 3, 3)) + sizeLabelRect(snapped));
    }
}

void ScreenshotWidget::capturePzrepare(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal)
{
    if (!screen)
        return;
    m_hdpi = false;
    prepare(screen, maxSize, isAutoCapture, modal);
}

void ScreenshotWidget::capturePzrepareForHdpi(QScreen *screen, const QSize &maxSize, bool isAutoCapture, bool modal)
{
    if (!screen)
        return;
    m_hdpi = true;
    prepare(screen, maxSize, isAutoCapture, modal);
}

void ScreenshotWidget::capture(std::function<void(int)> callback)
{
    m_callback = std::move(callback);
    qApp->installEventFilter(this);
    // Shown once the grab is in: a portal would picture the overlay itself otherwise.
    m_showPending = true;
    if (m_hasGrab)
        showOverlay();
}

void ScreenshotWidget::showOverlay()
{
    if (!m_showPending || m_quitting)
        return;
    m_showPending = false;
    if (m_hdpi)
        show(); // across every monitor, which full screen would not do
    else
        showFullScreen();
}

void ScreenshotWidget::setShowHideButton(bool show)
{
    m_showHideButton = show;
    update();
}

void ScreenshotWidget::setIsAutoCapture(bool on)
{
    m_isAutoCapture = on;
    if (!on)
        m_snapIndex = -1;
}

void ScreenshotWidget::postMouseMove()
{
    const QPoint global = m_screen ? QCursor::pos(m_screen) : QCursor::pos();
    QCoreApplication::postEvent(this, new QMouseEvent(QEvent::MouseMove, global - m_area.topLeft(), global, Qt::NoButton,
                                                      Qt::NoButton, Qt::NoModifier));
}

void ScreenshotWidget::onGrabWindowFinished(const QPixmap &pic, QScreen *screen)
{
    bool waited = false;
    for (int i = 0; i < m_pendingScreens.size(); ++i) {
        if (m_pendingScreens.at(i) == screen) {
            m_pendingScreens.removeAt(i);
            waited = true;
            break;
        }
    }
    if (!waited || m_quitting)
        return;
    m_grabs.append({screen, pic});
    if (pic.isNull()) {
        // Nothing to select from; the capture ends as if closed.
        qCWarning(lcScreenshot) << "screenshot grab is null for" << (screen ? screen->name() : QString());
        Q_EMIT grabWindowFinished(QPixmap());
        quit();
        return;
    }
    if (!m_pendingScreens.isEmpty())
        return;
    if (m_hdpi) {
        composeHdpi();
    } else {
        m_fullScreen = pic;
        m_fullImage = pic.toImage();
    }
    m_dimmed = QPixmap();
    m_hasGrab = true;
    // Not yet shown: the first exposure paints it all; painting before that is work for nothing.
    if (isVisible())
        update();
    showOverlay();
    Q_EMIT grabWindowFinished(m_fullScreen);
}

namespace {
/// Half as bright: a shift per pixel.
inline void darken(const quint32 *from, quint32 *to, int count)
{
    for (int x = 0; x < count; ++x)
        to[x] = ((from[x] >> 1) & 0x7F7F7F7Fu) | 0xFF000000u;
}
} // namespace

QPixmap ScreenshotWidget::dimmed(const QImage &image)
{
    QImage dark = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < dark.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(dark.scanLine(y));
        darken(line, line, dark.width());
    }
    QPixmap pixmap = QPixmap::fromImage(std::move(dark));
    pixmap.setDevicePixelRatio(image.devicePixelRatio());
    return pixmap;
}

bool ScreenshotWidget::paintDimmed(QPainter &painter, const QRect &target)
{
    // Straight from the grab into the window's backing store, darkened on the way: one pass
    // over the pixels where a dimmed copy and a blend would take two or three.
    QPaintEngine *engine = painter.paintEngine();
    auto *store = engine && engine->type() == QPaintEngine::Raster ? dynamic_cast<QImage *>(engine->paintDevice()) : nullptr;
    const qreal ratio = m_fullImage.devicePixelRatio();
    const QTransform toDevice = painter.deviceTransform();
    if (!store || m_fullImage.format() != QImage::Format_RGB32 || toDevice.type() > QTransform::TxScale
        || !qFuzzyCompare(toDevice.m11(), ratio) || !qFuzzyCompare(toDevice.m22(), ratio)
        || (store->format() != QImage::Format_RGB32 && store->format() != QImage::Format_ARGB32_Premultiplied))
        return false;
    const QPoint offset = toDevice.map(QPointF(0, 0)).toPoint();
    const QRect source = QRect(target.topLeft() * ratio, target.size() * ratio).intersected(m_fullImage.rect());
    const QRect destination = source.translated(offset).intersected(store->rect());
    if (destination.isEmpty())
        return true;
    const QPoint shift = destination.topLeft() - offset;
    const uchar *source0 = m_fullImage.constBits();
    uchar *target0 = store->bits();
    const qsizetype sourceStride = m_fullImage.bytesPerLine();
    const qsizetype targetStride = store->bytesPerLine();
    auto rows = [=](int first, int last) {
        for (int y = first; y < last; ++y) {
            const auto *from = reinterpret_cast<const quint32 *>(source0 + (shift.y() + y) * sourceStride) + shift.x();
            auto *to = reinterpret_cast<quint32 *>(target0 + (destination.top() + y) * targetStride) + destination.left();
            darken(from, to, destination.width());
        }
    };
    // A whole large screen (the first paint) goes faster on two cores: the pixels and the
    // fresh backing store's pages are shared out.
    const int height = destination.height();
    if (qint64(destination.width()) * height >= 1024 * 1024 && QThread::idealThreadCount() > 1) {
        std::thread helper(rows, height / 2, height);
        rows(0, height / 2);
        helper.join();
    } else {
        rows(0, height);
    }
    return true;
}

void ScreenshotWidget::composeHdpi()
{
    const qreal ratio = m_screen ? m_screen->devicePixelRatio() : devicePixelRatioF();
    const QRect desktop = m_area;
    QImage image(desktop.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::black);
    {
        QPainter painter(&image);
        for (const auto &grab : qAsConst(m_grabs)) {
            if (!grab.first)
                continue;
            const QRect g = grab.first->geometry();
            painter.drawPixmap(QRect(g.topLeft() - desktop.topLeft(), g.size()), grab.second);
        }
    }
    m_fullImage = image;
    m_fullScreen = QPixmap::fromImage(image);
}

void ScreenshotWidget::quit()
{
    if (m_quitting)
        return;
    m_quitting = true;
    openOverlays().removeAll(this);
    qApp->removeEventFilter(this);
    RubberBand *band = RubberBand::instance();
    if (!band->owner() || band->owner() == this)
        band->reset();
    boxHide();
    --_numCapturing;
    qCInfo(lcScreenshot) << "screenshot quit, num:" << _numCapturing;
    if (_numCapturing <= 0) {
        _numCapturing = 0;
        if (m_callback) {
            _operateType = OperateCancel;
            const auto callback = m_callback;
            m_callback = nullptr;
            callback(OperateCancel);
        }
    }
    close();
    deleteLater(); // also when it was never shown
}

void ScreenshotWidget::report(int code, bool closing)
{
    const auto callback = m_callback;
    if (closing) {
        for (ScreenshotWidget *overlay : openOverlays())
            overlay->m_callback = nullptr;
        closeAll();
    }
    if (callback)
        callback(code);
    else
        qCWarning(lcScreenshot) << "screenshot ended with" << code << "and nobody to tell";
}

void ScreenshotWidget::closeAll()
{
    const QList<ScreenshotWidget *> all = openOverlays();
    for (ScreenshotWidget *overlay : all)
        overlay->quit();
}

bool ScreenshotWidget::ownsBand() const
{
    return RubberBand::instance()->owner() == this;
}

// ---- endings ------------------------------------------------------------------------------

void ScreenshotWidget::cancel()
{
    QCoreApplication::postEvent(this, new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
}

void ScreenshotWidget::ok()
{
    copyTo();
    _operateType = OperateOk;
    _isOk = true;
    const bool hdpi = m_hdpi;
    report(OperateOk, true);
    if (hdpi)
        showCopiedPopup();
}

void ScreenshotWidget::hideScreenshot()
{
    _operateType = OperateHide;
    report(OperateHide, true);
}

void ScreenshotWidget::onShare()
{
    copyTo();
    _operateType = OperateShare;
    report(OperateShare, false);
}

void ScreenshotWidget::onSaveToCloud()
{
    copyTo();
    _operateType = OperateSaveToCloud;
    report(OperateSaveToCloud, false);
}

void ScreenshotWidget::onSave()
{
    copyTo();
    save();
}

void ScreenshotWidget::save()
{
    QString folder = OrvSettings::instance()->value(QStringLiteral("saveAsPath")).toString();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    auto *dialog = new QFileDialog(this, OrvLang::text("ID_SaveImageAs"),
                                   QStringLiteral("%1/%2").arg(folder, OrvLang::text("ID_Untitledimage")),
                                   OrvLang::text("ID_ImageFiles_JpgPngJpegBmp"));
    dialog->setObjectName(QStringLiteral("screenshotSaveDialog"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &ScreenshotWidget::onSaveImage);
    putOnMyScreen(dialog);
    dialog->show();
    dialog->raise();
}

void ScreenshotWidget::onSaveImage(QString fileName)
{
    const QImage picture(tempImagePath());
    QString target = fileName;
    static const QStringList known {QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("png"), QStringLiteral("bmp")};
    if (!known.contains(QFileInfo(target).suffix().toLower()))
        target += QStringLiteral(".jpg");
    QString error;
    if (picture.isNull()) {
        error = QStringLiteral("no picture in %1").arg(tempImagePath());
    } else {
        QSaveFile file(target);
        QImageWriter writer(&file, QFileInfo(target).suffix().toLower().toLatin1());
        writer.setQuality(100);
        if (!file.open(QIODevice::WriteOnly))
            error = file.errorString();
        else if (!writer.write(picture))
            error = writer.errorString();
        else if (!file.commit())
            error = file.errorString();
    }
    if (!error.isEmpty()) {
        qCWarning(lcScreenshot) << "screenshot save to" << target << "failed:" << error;
        auto *box = new QMessageBox(QMessageBox::Warning, OrvLang::text("ID_Information"), OrvLang::text("ID_SAVEFAILED"),
                                    QMessageBox::Ok, this);
        box->setObjectName(QStringLiteral("screenshotSaveFailed"));
        box->setAttribute(Qt::WA_DeleteOnClose);
        putOnMyScreen(box);
        box->open();
        return;
    }
    qCInfo(lcScreenshot) << "screenshot saved to" << target;
    OrvSettings::instance()->setValue(QStringLiteral("saveAsPath"), QFileInfo(target).absolutePath());
    // Saved: the capture is done.
    closeAll();
}

void ScreenshotWidget::putOnMyScreen(QWidget *window) const
{
    // Qt puts a new window on the primary screen; a separate X screen needs telling.
    window->winId(); // makes the native window
    if (m_screen && window->windowHandle())
        window->windowHandle()->setScreen(m_screen);
}

QPixmap ScreenshotWidget::selectionPicture() const
{
    if (m_editor)
        return m_editor->render();
    const QRect band = RubberBand::instance()->rect();
    if (!band.isValid() || !m_hasGrab)
        return {};
    const qreal ratio = m_fullScreen.devicePixelRatio();
    const QRect local = toWidget(band);
    const QRect source = QRectF(local.x() * ratio, local.y() * ratio, local.width() * ratio, local.height() * ratio)
                             .toAlignedRect()
                             .intersected(m_fullScreen.rect());
    if (source.isEmpty())
        return {};
    QPixmap picture = m_fullScreen.copy(source);
    picture.setDevicePixelRatio(ratio);
    return picture;
}

void ScreenshotWidget::copyTo()
{
    QPixmap picture = selectionPicture();
    const QString path = tempImagePath();
    if (picture.isNull()) {
        // A stale picture of an earlier capture must not pass for this one.
        qCWarning(lcScreenshot) << "screenshot pix is null" << RubberBand::instance()->rect();
        QGuiApplication::clipboard()->clear();
        if (QFile::exists(path) && !QFile::remove(path))
            qCWarning(lcScreenshot) << "cannot remove" << path;
        return;
    }
    picture.setDevicePixelRatio(1.0);
    const QImage image = picture.toImage();
    QGuiApplication::clipboard()->setImage(image);
    QSaveFile file(path);
    QImageWriter writer(&file, "jpg");
    writer.setQuality(100);
    if (!file.open(QIODevice::WriteOnly) || !writer.write(image) || !file.commit()) {
        qCWarning(lcScreenshot) << "cannot write" << path << file.errorString() << writer.errorString();
        QFile::remove(path);
        return;
    }
    qCInfo(lcScreenshot) << "screenshot copied:" << image.size() << path;
}

// ---- tool bar -----------------------------------------------------------------------------

void ScreenshotWidget::initToolBar()
{
    m_toolBar = new QFrame(this);
    m_toolBar->setObjectName(QStringLiteral("painterToolWidget"));
    m_toolBar->setAttribute(Qt::WA_StyledBackground);
    QString style;
    for (const QString &sheet : {QStringLiteral(":/im/qss/OrvCommon/ScreenshotWidget.qss"),
                                 QStringLiteral(":/im/qss/ChatList/ImageEditor.qss")}) {
        QFile file(sheet);
        if (file.open(QIODevice::ReadOnly))
            style += QString::fromUtf8(file.readAll());
    }
    m_toolBar->setStyleSheet(style);
    auto *layout = new QHBoxLayout(m_toolBar);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(2);
    m_toolGroup = new QButtonGroup(this);
    m_toolGroup->setExclusive(true);

    auto button = [this, layout](const char *name, const char *textId, const char *icon, bool checkable) {
        auto *b = new QToolButton(m_toolBar);
        b->setObjectName(QString::fromLatin1(name));
        b->setToolTip(OrvLang::text(textId));
        b->setIcon(QIcon(QStringLiteral(":/common/images/common/%1.svg").arg(QLatin1String(icon))));
        b->setIconSize(QSize(20, 20));
        b->setFixedSize(32, 32);
        b->setCheckable(checkable);
        b->setAutoRaise(true);
        b->setFocusPolicy(Qt::NoFocus);
        b->setCursor(Qt::ArrowCursor);
        layout->addWidget(b);
        return b;
    };
    auto separator = [this, layout] {
        auto *line = new QFrame(m_toolBar);
        line->setObjectName(QStringLiteral("line"));
        line->setFixedSize(1, 20);
        layout->addWidget(line);
    };

    QToolButton *select = button("m_selectBtn", "ID_SelectMove_And", "sc_select", true);
    QToolButton *pen = button("penBtn", "ID_PaintBrush", "sc_pen", true);
    QToolButton *eraser = button("eraserBtn", "ID_Eraser", "sc_eraser", true);
    QToolButton *text = button("textBtn", "ID_TextBox_tool", "sc_text", true);
    QToolButton *loadImage = button("m_loadImageBtn", "ID_LoadImage", "sc_loadimage", false);
    QToolButton *remove = button("m_deleteBtn", "ID_Delete", "sc_delete", false);
    QToolButton *undo = button("m_undoBtn", "ID_Undo", "sc_undo", false);
    QToolButton *redo = button("m_redoBtn", "ID_Redo", "sc_redo", false);
    separator();
    QToolButton *share = button("btnShare", "ID_Share", "sc_share", false);
    QToolButton *saveButton = button("btnSave", "ID_SAVE", "sc_save", false);
    QToolButton *cloud = button("btnSaveToCloud", "ID_Screenshot_SaveToCloud", "sc_cloud", false);
    separator();
    QToolButton *cancelButton = button("btnCancel", "ID_Cancel", "sc_cancel", false);
    QToolButton *okButton = button("btnOk", "ID_OK", "sc_ok", false);

    for (QToolButton *tool : {select, pen, eraser, text})
        m_toolGroup->addButton(tool);
    m_editorButtons = {select, pen, eraser, text, loadImage, remove};
    connect(select, &QToolButton::clicked, this, &ScreenshotWidget::selectBtnSlot);
    connect(pen, &QToolButton::clicked, this, &ScreenshotWidget::penBtnSlot);
    connect(eraser, &QToolButton::clicked, this, &ScreenshotWidget::eraserBtnSlot);
    connect(text, &QToolButton::clicked, this, &ScreenshotWidget::textBtnSlot);
    connect(loadImage, &QToolButton::clicked, this, &ScreenshotWidget::loadImageBtnSlot);
    connect(remove, &QToolButton::clicked, this, &ScreenshotWidget::deleteBtnSlot);
    connect(undo, &QToolButton::clicked, this, &ScreenshotWidget::undoBtnSlot);
    connect(redo, &QToolButton::clicked, this, &ScreenshotWidget::redoBtnSlot);
    connect(share, &QToolButton::clicked, this, &ScreenshotWidget::onShare);
    connect(saveButton, &QToolButton::clicked, this, &ScreenshotWidget::onSave);
    connect(cloud, &QToolButton::clicked, this, &ScreenshotWidget::onSaveToCloud);
    // The capture as a whole, not this screen's overlay only.
    connect(cancelButton, &QToolButton::clicked, this, &ScreenshotWidget::cancelAll);
    connect(okButton, &QToolButton::clicked, this, &ScreenshotWidget::ok);
    m_toolBar->adjustSize();
    m_toolBar->hide();
}

void ScreenshotWidget::showToolBar()
{
    if (!m_toolBar)
        initToolBar(); // only once something is selected: a capture starts sooner without it
    const bool haveEditor = bool(s_editorFactory);
    for (QAbstractButton *b : qAsConst(m_editorButtons))
        b->setEnabled(haveEditor);
    syncEditorButtons();
    m_toolBar->show();
    m_toolBar->raise();
    adjustBoxPos();
}

bool ScreenshotWidget::ensureEditor()
{
    if (m_editor)
        return true;
    if (!ownsBand() || RubberBand::instance()->state() != RubberBand::StateSelected)
        return false; // draws on a selection only
    if (!s_editorFactory) {
        qCWarning(lcScreenshot) << "screenshot: no picture editor to draw with";
        return false;
    }
    const QPixmap picture = selectionPicture();
    m_editor.reset(s_editorFactory(this));
    if (!m_editor || !m_editor->view()) {
        qCWarning(lcScreenshot) << "screenshot: the picture editor could not be made";
        m_editor.reset();
        return false;
    }
    m_editor->setPicture(picture);
    m_editor->setChangeHandler([this] { onEditorChanged(); });
    QWidget *view = m_editor->view();
    view->setParent(this);
    view->setObjectName(QStringLiteral("imageViewer"));
    view->setGeometry(toWidget(RubberBand::instance()->rect()));
    view->show();
    if (m_toolBar)
        m_toolBar->raise();
    syncEditorButtons();
    return true;
}

void ScreenshotWidget::markEdited()
{
    if (m_edited)
        return;
    m_edited = true;
    // The handles go, the border moves out around the editor's view.
    const QRect band = RubberBand::instance()->rect();
    if (ownsBand() && band.isValid())
        refresh(toWidget(band).adjusted(-8, -8, 8, 8));
}

void ScreenshotWidget::onEditorChanged()
{
    markEdited();
    syncEditorButtons();
}

void ScreenshotWidget::syncEditorButtons()
{
    if (!m_toolBar)
        return;
    for (const char *name : {"m_undoBtn", "m_redoBtn"}) {
        if (QAbstractButton *b = toolButton(name))
            b->setEnabled(m_editor && (qstrcmp(name, "m_undoBtn") == 0 ? m_editor->canUndo() : m_editor->canRedo()));
    }
    if (!m_editor)
        return;
    // The editor may change tools by itself (a pasted picture is left selected).
    static const char *const buttons[] = {"m_selectBtn", "penBtn", "eraserBtn", "textBtn"};
    const SelectionEditor::Tool tool = m_editor->currentTool();
    QAbstractButton *current = tool == SelectionEditor::None ? nullptr : toolButton(buttons[tool]);
    if (current && !current->isChecked())
        current->setChecked(true);
    if (m_settingsButton && m_settingsButton != current)
        boxHide();
}

QAbstractButton *ScreenshotWidget::toolButton(const char *name) const
{
    return m_toolBar ? m_toolBar->findChild<QAbstractButton *>(QLatin1String(name)) : nullptr;
}

void ScreenshotWidget::useTool(SelectionEditor::Tool tool, QAbstractButton *button)
{
    if (!button) {
        qCWarning(lcScreenshot) << "screenshot: a tool before anything is selected";
        return;
    }
    if (!ensureEditor()) {
        button->setChecked(false);
        return;
    }
    markEdited();
    button->setChecked(true);
    m_editor->setTool(tool);
    QWidget *box = m_editor->settingsBox(tool);
    // A second click on the same tool folds its box away.
    const bool again = m_settingsButton == button && m_settingsBox && m_settingsBox->isVisible();
    boxHide();
    if (box && !again) {
        m_settingsBox = box;
        m_settingsButton = button;
        box->setParent(this);
        box->show();
        box->raise();
    }
    adjustBoxPos();
}

void ScreenshotWidget::selectBtnSlot()
{
    useTool(SelectionEditor::Select, toolButton("m_selectBtn"));
}

void ScreenshotWidget::penBtnSlot()
{
    useTool(SelectionEditor::Pen, toolButton("penBtn"));
}

void ScreenshotWidget::eraserBtnSlot()
{
    useTool(SelectionEditor::Eraser, toolButton("eraserBtn"));
}

void ScreenshotWidget::textBtnSlot()
{
    useTool(SelectionEditor::Text, toolButton("textBtn"));
}

void ScreenshotWidget::eraserSateChange(int type)
{
    if (!m_editor)
        return;
    markEdited();
    m_editor->setEraserType(type);
}

void ScreenshotWidget::onTextFontSizeSettingChanged()
{
    if (!m_editor)
        return;
    markEdited();
    m_editor->applyTextFontSize();
}

void ScreenshotWidget::deleteBtnSlot()
{
    if (!ensureEditor())
        return;
    markEdited();
    m_editor->deleteSelected();
}

void ScreenshotWidget::undoBtnSlot()
{
    if (!m_editor)
        return;
    markEdited();
    m_editor->undo();
    syncEditorButtons();
}

void ScreenshotWidget::redoBtnSlot()
{
    if (!m_editor)
        return;
    markEdited();
    m_editor->redo();
    syncEditorButtons();
}

void ScreenshotWidget::loadImageBtnSlot()
{
    // The selection goes into the editor first; the picture is pasted onto it.
    if (!ensureEditor())
        return;
    markEdited();
    boxHide();
    m_editor->loadImage();
}

QRect ScreenshotWidget::screenAreaFor(const QRect &global) const
{
    if (!m_hdpi || !m_screen)
        return rect();
    const QScreen *screen = QGuiApplication::screenAt(global.center());
    if (!screen || !m_screens.contains(const_cast<QScreen *>(screen)))
        screen = m_screen;
    return toWidget(screen->geometry());
}

void ScreenshotWidget::adjustBoxPos()
{
    RubberBand *band = RubberBand::instance();
    if (!m_toolBar || !m_toolBar->isVisible() || !band->isValid())
        return;
    const QRect b = toWidget(band->rect());
    const QRect area = screenAreaFor(band->rect());
    m_toolBar->adjustSize();
    const QSize bar = m_toolBar->size();

    // Below the band, right-aligned; else above it; else inside along its bottom.
    int y = b.bottom() + 1 + BoxGap;
    bool below = true;
    if (y + bar.height() - 1 > area.bottom()) {
        y = b.top() - BoxGap - bar.height();
        below = false;
        if (y < area.top())
            y = b.bottom() - BoxGap - bar.height() + 1;
    }
    int x = b.right() + 1 - bar.width();
    x = std::clamp(x, area.left(), std::max(area.left(), area.right() + 1 - bar.width()));
    y = std::clamp(y, area.top(), std::max(area.top(), area.bottom() + 1 - bar.height()));
    m_toolBar->move(x, y);

    if (m_settingsBox && m_settingsBox->isVisible()) {
        auto *arrowBox = qobject_cast<ArrowPopup *>(m_settingsBox.data());
        const QRect bar2 = m_toolBar->geometry();
        auto sizeWith = [this, arrowBox](Qt::ArrowType arrow) {
            if (arrowBox)
                arrowBox->setArrowType(arrow);
            m_settingsBox->adjustSize();
            return m_settingsBox->size();
        };
        // On the band's side of the tool bar where it fits, else on the other.
        bool boxBelow = below;
        QSize size = sizeWith(boxBelow ? Qt::UpArrow : Qt::DownArrow);
        int by = boxBelow ? bar2.bottom() + 1 + BoxGap : bar2.top() - BoxGap - size.height();
        if (by < area.top() || by + size.height() - 1 > area.bottom()) {
            boxBelow = !boxBelow;
            size = sizeWith(boxBelow ? Qt::UpArrow : Qt::DownArrow);
            by = boxBelow ? bar2.bottom() + 1 + BoxGap : bar2.top() - BoxGap - size.height();
        }
        const QRect button = m_settingsButton ? QRect(m_toolBar->mapTo(this, m_settingsButton->geometry().topLeft()),
                                                      m_settingsButton->size())
                                              : QRect(bar2.topLeft(), QSize(32, 32));
        int bx = button.center().x() - size.width() / 2;
        bx = std::clamp(bx, area.left(), std::max(area.left(), area.right() + 1 - size.width()));
        by = std::clamp(by, area.top(), std::max(area.top(), area.bottom() + 1 - size.height()));
        m_settingsBox->move(bx, by);
        if (arrowBox)
            arrowBox->setArrowOffset(button.center().x() - bx);
        m_settingsBox->raise();
    }
}

QWidget *ScreenshotWidget::settingsBox() const
{
    return m_settingsBox && m_settingsBox->isVisible() ? m_settingsBox.data() : nullptr;
}

void ScreenshotWidget::boxHide()
{
    if (m_settingsBox)
        m_settingsBox->hide();
    m_settingsBox.clear();
    m_settingsButton.clear();
}

// ---- band geometry ------------------------------------------------------------------------

void ScreenshotWidget::limitBand(QRect &rect, RubberBand::HitTestResult hit) const
{
    const QRect bounds = m_area;
    if (hit == RubberBand::HitInside)
        rect = movedInto(rect, bounds);
    else
        rect = rect.intersected(bounds);
}

QRect ScreenshotWidget::resized(const QRect &origin, RubberBand::HitTestResult hit, const QPoint &delta) const
{
    QRect r = origin;
    if (hit == RubberBand::HitInside)
        return r.translated(delta);
    if (hasLeft(hit))
        r.setLeft(std::min(origin.left() + delta.x(), origin.right() - 1));
    if (hasRight(hit))
        r.setRight(std::max(origin.right() + delta.x(), origin.left() + 1));
    if (hasTop(hit))
        r.setTop(std::min(origin.top() + delta.y(), origin.bottom() - 1));
    if (hasBottom(hit))
        r.setBottom(std::max(origin.bottom() + delta.y(), origin.top() + 1));
    // The edge being dragged gives way to the size limits.
    if (m_maxSize.isValid()) {
        if (r.width() > m_maxSize.width()) {
            if (hasLeft(hit))
                r.setLeft(r.right() - m_maxSize.width() + 1);
            else
                r.setRight(r.left() + m_maxSize.width() - 1);
        }
        if (r.height() > m_maxSize.height()) {
            if (hasTop(hit))
                r.setTop(r.bottom() - m_maxSize.height() + 1);
            else
                r.setBottom(r.top() + m_maxSize.height() - 1);
        }
    }
    if (m_minSize.isValid()) {
        if (r.width() < m_minSize.width()) {
            if (hasLeft(hit))
                r.setLeft(r.right() - m_minSize.width() + 1);
            else if (hasRight(hit))
                r.setRight(r.left() + m_minSize.width() - 1);
        }
        if (r.height() < m_minSize.height()) {
            if (hasTop(hit))
                r.setTop(r.bottom() - m_minSize.height() + 1);
            else if (hasBottom(hit))
                r.setBottom(r.top() + m_minSize.height() - 1);
        }
    }
    return r;
}

QRect ScreenshotWidget::snapOutline(int index) const
{
    if (index < 0 || index >= m_windows.size())
        return {};
    return m_windows.at(index).rect.intersected(m_area);
}

QRect ScreenshotWidget::snappedRect() const
{
    return snapOutline(m_snapIndex);
}

// ---- mouse and keys -----------------------------------------------------------------------

bool ScreenshotWidget::event(QEvent *event)
{
    // Focus and activation change nothing on the overlay; QWidget would repaint it all.
    switch (event->type()) {
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::ActivationChange:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        return true;
    case QEvent::UpdateLater:
        // Updates Qt set aside while the window was not yet shown; the first paint since
        // painted all of it.
        if (m_shownOnce)
            return true;
        break;
    default:
        break;
    }
    return QWidget::event(event);
}

bool ScreenshotWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
        const bool mine = watched == this || watched == windowHandle()
            || (watched->isWidgetType() && isAncestorOf(static_cast<QWidget *>(watched)));
        // Escape first ends the text being typed, as in the editor.
        if (mine && !(m_editor && m_editor->isTypingText())) {
            quit();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ScreenshotWidget::updateHover(const QPoint &globalPos)
{
    m_cursor = globalPos;
    m_cursorKnown = true;
    if (RubberBand::instance()->state() == RubberBand::StateNone && m_isAutoCapture) {
        const int index = OrvScreen::windowAt(m_windows, globalPos);
        m_snapIndex = snapOutline(index).isEmpty() ? -1 : index;
    } else {
        m_snapIndex = -1;
    }
}

void ScreenshotWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    RubberBand *band = RubberBand::instance();
    const QPoint global = event->globalPos();
    // The screen worked on takes the keyboard, also where no window manager gives it.
    if (!isActiveWindow())
        activateWindow();
    updateHover(global);
    if (band->state() == RubberBand::StateNone) {
        m_pressPoint = global;
        m_pressSnapIndex = m_snapIndex;
        band->setOwner(this);
        band->setRect(QRect());
        band->setCurrentHit(band->hitTest(global));
        band->setState(RubberBand::StateDrawing);
    } else if (band->state() == RubberBand::StateSelected && ownsBand() && !m_edited) {
        m_pressPoint = global;
        m_dragOrigin = band->rect();
        band->setCurrentHit(band->hitTest(global));
    }
    update();
}

void ScreenshotWidget::mouseMoveEvent(QMouseEvent *event)
{
    RubberBand *band = RubberBand::instance();
    const QPoint global = event->globalPos();
    const QRect oldBand = ownsBand() ? band->rect() : QRect();
    const QRect oldMagnifier = magnifierRect(m_cursor);
    const QRect oldSnap = snappedRect();
    updateHover(global);

    if (event->buttons() & Qt::LeftButton) {
        if (band->state() == RubberBand::StateDrawing && ownsBand()) {
            QPoint p = global;
            const QRect previous = band->rect();
            QRect r = QRect(m_pressPoint, p).normalized();
            if (m_minSize.isValid()) {
                if (r.width() < m_minSize.width())
                    p.setX(p.x() < m_pressPoint.x() ? m_pressPoint.x() - m_minSize.width()
                                                    : m_pressPoint.x() + m_minSize.width() - 1);
                if (r.height() < m_minSize.height())
                    p.setY(p.y() < m_pressPoint.y() ? m_pressPoint.y() - m_minSize.height()
                                                    : m_pressPoint.y() + m_minSize.height() - 1);
            }
            if (m_maxSize.isValid()) {
                if (r.width() > m_maxSize.width()) {
                    if (p.x() < m_pressPoint.x())
                        p.setX(previous.isValid() ? previous.left() : m_pressPoint.x() - m_maxSize.width() + 1);
                    else
                        p.setX(m_pressPoint.x() + m_maxSize.width() - 1);
                }
                if (r.height() > m_maxSize.height()) {
                    if (p.y() < m_pressPoint.y())
                        p.setY(previous.isValid() ? previous.top() : m_pressPoint.y() - m_maxSize.height() + 1);
                    else
                        p.setY(m_pressPoint.y() + m_maxSize.height() - 1);
                }
            }
            r = QRect(m_pressPoint, p).normalized();
            limitBand(r, RubberBand::HitNone);
            band->setRect(r);
        } else if (band->state() == RubberBand::StateSelected && ownsBand() && band->currentHit() != RubberBand::HitNone) {
            QRect r = resized(m_dragOrigin, band->currentHit(), global - m_pressPoint);
            limitBand(r, band->currentHit());
            band->setRect(r);
            adjustBoxPos();
        }
    } else if (band->state() == RubberBand::StateSelected && ownsBand()) {
        const auto hit = m_edited ? RubberBand::HitNone : band->hitTest(global);
        setCursor(RubberBand::cursorFor(hit));
    } else if (band->state() == RubberBand::StateNone) {
        setCursor(Qt::CrossCursor);
    }

    // Repaint only what moved: the band with its handles and label, the magnifier, the outline.
    QRegion dirty;
    const QRect newBand = ownsBand() ? band->rect() : QRect();
    if (oldBand != newBand) {
        for (const QRect &b : {oldBand, newBand}) {
            if (b.isValid()) {
                dirty += toWidget(b).adjusted(-6, -6, 6, 6);
                dirty += sizeLabelRect(b);
            }
        }
    }
    dirty += oldMagnifier;
    dirty += magnifierRect(m_cursor);
    const QRect newSnap = snappedRect();
    if (oldSnap != newSnap) {
        dirty += toWidget(oldSnap).adjusted(-3, -3, 3, 3);
        dirty += toWidget(newSnap).adjusted(-3, -3, 3, 3);
        if (newSnap.isValid())
            dirty += sizeLabelRect(newSnap);
        if (oldSnap.isValid())
            dirty += sizeLabelRect(oldSnap);
    }
    refresh(dirty);
}

void ScreenshotWidget::refresh(const QRegion &region)
{
    // Before X shows the window, Qt would turn a partial update into a second full paint; the
    // first exposure paints everything as it is anyway.
    if (windowHandle() && windowHandle()->isExposed())
        update(region);
}

void ScreenshotWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    RubberBand *band = RubberBand::instance();
    const QPoint global = event->globalPos();
    if (!ownsBand()) {
        update();
        return;
    }
    if (band->state() == RubberBand::StateDrawing) {
        QRect r = band->rect();
        const bool click = !r.isValid() || (r.width() <= 1 && r.height() <= 1);
        const QPoint local = global - m_area.topLeft();
        if (click && hideButtonRect().contains(local)) {
            band->reset();
            hideScreenshot();
            return;
        }
        if (click && cancelButtonRect().contains(local)) {
            band->reset();
            cancelAll();
            return;
        }
        if (click && m_isAutoCapture) {
            const QRect snapped = snapOutline(m_pressSnapIndex);
            if (snapped.isValid()) {
                // A window larger than allowed gives its top-left part.
                r = snapped;
                if (m_maxSize.isValid())
                    r.setSize(r.size().boundedTo(m_maxSize));
                band->setRect(r);
                qCInfo(lcScreenshot) << "screenshot snapped to window" << m_windows.at(m_pressSnapIndex).title << r;
            }
        }
        if (r.isValid()) {
            band->setState(RubberBand::StateSelected);
            if (r.width() > 1 && r.height() > 1)
                showToolBar();
            else
                band->reset();
        } else {
            band->reset();
        }
    }
    band->setCurrentHit(RubberBand::HitNone);
    m_snapIndex = -1;
    postMouseMove();
    update();
}

void ScreenshotWidget::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    RubberBand *band = RubberBand::instance();
    if (ownsBand() && band->state() > RubberBand::StateNone && band->isValid())
        ok();
}

// ---- painting -----------------------------------------------------------------------------

QRect ScreenshotWidget::sizeLabelRect(const QRect &band) const
{
    const QRect b = toWidget(band);
    const QSize size(96, 24);
    int y = b.top() - size.height() - 4;
    if (y < 0)
        y = b.top() + 4;
    return QRect(QPoint(std::max(0, b.left()), y), size);
}

QRect ScreenshotWidget::magnifierRect(const QPoint &globalPos) const
{
    if (!m_cursorKnown || !m_hasGrab)
        return {};
    RubberBand *band = RubberBand::instance();
    const bool resizing = band->state() == RubberBand::StateSelected && ownsBand()
        && band->currentHit() != RubberBand::HitNone && band->currentHit() != RubberBand::HitInside;
    if (band->state() == RubberBand::StateSelected && !resizing)
        return {};
    if (band->state() == RubberBand::StateDrawing && !ownsBand())
        return {};
    const QPoint local = globalPos - m_area.topLeft();
    if (!rect().contains(local))
        return {};
    const QSize size(MagnifiedWidth * Magnification, MagnifiedHeight * Magnification + MagnifierTextHeight);
    const QRect area = screenAreaFor(QRect(globalPos, QSize(1, 1)));
    int x = local.x() + CursorGap;
    int y = local.y() + CursorGap;
    if (x + size.width() > area.right())
        x = local.x() - CursorGap - size.width();
    if (y + size.height() > area.bottom())
        y = local.y() - CursorGap - size.height();
    return QRect(QPoint(x, y), size);
}

namespace {
constexpr int ButtonGap = 12;
int buttonWidth(const QFontMetrics &metrics, const char *textId)
{
    return std::max(100, metrics.horizontalAdvance(OrvLang::text(textId)) + 28);
}
} // namespace

QRect ScreenshotWidget::startupPanelRect() const
{
    const QRect area = m_screen ? toWidget(m_screen->geometry()) : rect();
    const QFontMetrics metrics = fontMetrics();
    int width = 440;
    for (const char *id : {"ID_Screenshot_Mouse", "ID_Screenshot_TouchScreenOneFinger"})
        width = std::max(width, metrics.horizontalAdvance(OrvLang::text(id)) + 32);
    width = std::max(width, buttonWidth(metrics, "ID_Screenshot_HideClassroom") + buttonWidth(metrics, "ID_Cancel") + ButtonGap + 32);
    const QSize size(std::min(width, area.width()), 150);
    return QRect(area.center() - QPoint(size.width() / 2, size.height() / 2), size);
}

QRect ScreenshotWidget::hideButtonRect() const
{
    if (!m_showHideButton)
        return {};
    const QRect panel = startupPanelRect();
    const int hide = buttonWidth(fontMetrics(), "ID_Screenshot_HideClassroom");
    const int total = hide + ButtonGap + buttonWidth(fontMetrics(), "ID_Cancel");
    return QRect(panel.center().x() - total / 2, panel.bottom() - 44, hide, 32);
}

QRect ScreenshotWidget::cancelButtonRect() const
{
    const QRect panel = startupPanelRect();
    const int cancel = buttonWidth(fontMetrics(), "ID_Cancel");
    if (!m_showHideButton)
        return QRect(panel.center().x() - cancel / 2, panel.bottom() - 44, cancel, 32);
    const QRect hide = hideButtonRect();
    return QRect(hide.right() + 1 + ButtonGap, hide.top(), cancel, 32);
}

void ScreenshotWidget::paintLabel(QPainter &painter, const QRect &rect)
{
    if (labelBackground().isValid())
        labelBackground().render(&painter, rect);
    else
        painter.fillRect(rect, QColor(0, 0, 0, 0xB0));
}

void ScreenshotWidget::paintBackground(QPainter &painter, const QRegion &dirty)
{
    // Piece by piece: a repaint of a moving band touches small parts of a large picture.
    RubberBand *band = RubberBand::instance();
    QRect clear;
    if (!m_editor && ownsBand() && band->isValid())
        clear = toWidget(band->rect());
    else if (band->state() == RubberBand::StateNone)
        clear = toWidget(snappedRect());
    for (const QRect &r : dirty) {
        if (!m_hasGrab) {
            painter.fillRect(r, QColor(0, 0, 0, 1)); // not shown before its grab; nearly nothing if it is
            continue;
        }
        // Dimmed but where the selection (or the window to snap to) is.
        if (!paintDimmed(painter, r)) {
            if (m_dimmed.isNull())
                m_dimmed = dimmed(m_fullImage);
            drawPart(painter, r, m_dimmed);
        }
        drawPart(painter, r.intersected(clear), m_fullScreen);
    }
}

void ScreenshotWidget::paintBand(QPainter &painter)
{
    RubberBand *band = RubberBand::instance();
    QRect outline;
    if (ownsBand() && band->isValid())
        outline = band->rect();
    else if (band->state() == RubberBand::StateNone)
        outline = snappedRect();
    if (!outline.isValid())
        return;
    const QRect local = toWidget(outline);
    if (ownsBand() && band->isValid() && m_editor) {
        // The editor's view covers the band: the border goes round it.
        painter.setPen(QPen(BandGreen, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(local.adjusted(-1, -1, 0, 0));
    } else if (ownsBand() && band->isValid()) {
        painter.save();
        painter.setClipRegion(band->borderRegion().translated(-m_area.topLeft()));
        painter.fillRect(local, BandGreen);
        painter.restore();
        if (band->state() == RubberBand::StateSelected && !m_edited) {
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            for (const QPainterPath &handle : band->handlePaths())
                painter.fillPath(handle.translated(-m_area.topLeft()), BandGreen);
            painter.restore();
        }
    } else {
        painter.setPen(QPen(BandGreen, 2));
        painter.drawRect(QRectF(local).adjusted(1, 1, -1, -1));
    }
    const QRect label = sizeLabelRect(outline);
    paintLabel(painter, label);
    const qreal ratio = m_fullScreen.isNull() ? 1.0 : m_fullScreen.devicePixelRatio();
    painter.setPen(LabelText);
    painter.drawText(label, Qt::AlignCenter,
                     QStringLiteral("%1 x %2").arg(qRound(outline.width() * ratio)).arg(qRound(outline.height() * ratio)));
}

void ScreenshotWidget::paintMagnifier(QPainter &painter)
{
    const QRect box = magnifierRect(m_cursor);
    if (box.isEmpty() || m_fullImage.isNull())
        return;
    const qreal ratio = m_fullImage.devicePixelRatio();
    const QPoint pixel = ((m_cursor - m_area.topLeft()) * ratio);
    const QRect source(pixel.x() - MagnifiedWidth / 2, pixel.y() - MagnifiedHeight / 2, MagnifiedWidth, MagnifiedHeight);
    const QRect view(box.topLeft(), QSize(MagnifiedWidth * Magnification, MagnifiedHeight * Magnification));
    painter.fillRect(view, Qt::black);
    const QRect inside = source.intersected(m_fullImage.rect());
    if (!inside.isEmpty()) {
        const QRect target(view.topLeft() + (inside.topLeft() - source.topLeft()) * Magnification,
                           inside.size() * Magnification);
        painter.drawImage(target, m_fullImage, inside);
    }
    // The pixel under the cursor.
    const QRect centre(view.left() + (MagnifiedWidth / 2) * Magnification, view.top() + (MagnifiedHeight / 2) * Magnification,
                       Magnification, Magnification);
    painter.fillRect(QRect(view.left(), centre.top(), view.width(), Magnification), QColor(0x00, 0x92, 0x65, 0x60));
    painter.fillRect(QRect(centre.left(), view.top(), Magnification, view.height()), QColor(0x00, 0x92, 0x65, 0x60));
    painter.setPen(FrameGrey);
    painter.drawRect(view.adjusted(0, 0, -1, -1));

    const QRect text(view.left(), view.bottom() + 1, view.width(), MagnifierTextHeight);
    paintLabel(painter, text);
    const QColor colour = m_fullImage.rect().contains(pixel) ? m_fullImage.pixelColor(pixel) : QColor(Qt::black);
    painter.setPen(LabelText);
    painter.drawText(text.adjusted(6, 2, -6, -2), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("POS:(%1,%2)\nRGB:(%3,%4,%5)")
                         .arg(m_cursor.x())
                         .arg(m_cursor.y())
                         .arg(colour.red())
                         .arg(colour.green())
                         .arg(colour.blue()));
}

void ScreenshotWidget::paintStartupPanel(QPainter &painter)
{
    if (RubberBand::instance()->state() != RubberBand::StateNone || !m_hasGrab)
        return;
    const QRect panel = startupPanelRect();
    paintLabel(painter, panel);
    painter.setPen(LabelText);
    const QString hints = QStringLiteral("%1\n%2\n%3 %4")
                              .arg(OrvLang::text("ID_Screenshot_Mouse"), OrvLang::text("ID_Screenshot_TouchScreenOneFinger"),
                                   OrvLang::text("ID_Screenshot_OneFinger"), OrvLang::text("ID_Screenshot_OneFingerOr"));
    painter.drawText(panel.adjusted(16, 10, -16, -56), Qt::AlignCenter | Qt::TextWordWrap, hints);
    auto drawButton = [&painter](const QRect &r, const QString &text) {
        painter.setPen(FrameGrey);
        painter.setBrush(PanelHighlight);
        painter.drawRoundedRect(QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
        painter.setPen(LabelText);
        painter.drawText(r, Qt::AlignCenter, text);
    };
    if (m_showHideButton)
        drawButton(hideButtonRect(), OrvLang::text("ID_Screenshot_HideClassroom"));
    drawButton(cancelButtonRect(), OrvLang::text("ID_Cancel"));
}

void ScreenshotWidget::paintEvent(QPaintEvent *event)
{
    // Qt paints a new window once before X shows it and again when it does; the first is
    // wasted on a large screen. (A widget grab, with no window shown, still paints.)
    if (isVisible() && windowHandle() && !windowHandle()->isExposed())
        return;
    QPainter painter(this);
    paintBackground(painter, event->region());
    if (!m_hasGrab)
        return;
    paintBand(painter);
    paintStartupPanel(painter);
    paintMagnifier(painter);
    if (!m_shownOnce) {
        m_shownOnce = true;
        // Told once this paint is on its way to the screen, outside the paint.
        QMetaObject::invokeMethod(this, &ScreenshotWidget::shown, Qt::QueuedConnection);
        // Snapping needs the windows; the picture is up first.
        if (m_isAutoCapture)
            QTimer::singleShot(0, this, &ScreenshotWidget::collectWindowList);
        // Focus (for Escape) once the window is really there; X refuses it before.
        QTimer::singleShot(0, this, [this] {
            if (!m_quitting && windowHandle() && windowHandle()->isExposed()) {
                activateWindow();
                setFocus();
            }
        });
    }
}

} // namespace ScreenShot
