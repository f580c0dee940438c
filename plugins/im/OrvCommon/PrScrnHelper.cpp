// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PrScrnHelper.h"
#include "ScreenshotWidget.h"
#include "orvcommon_logging.h"

#include "screenplatform.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTimer>

PrScrnHelper *PrScrnHelper::s_instance = nullptr;
QString PrScrnHelper::s_programPath;

PrScrnHelper &PrScrnHelper::instance()
{
    if (!s_instance)
        s_instance = new PrScrnHelper;
    return *s_instance;
}

void PrScrnHelper::release()
{
    delete s_instance;
    s_instance = nullptr;
}

PrScrnHelper::PrScrnHelper()
{
    for (QScreen *screen : QGuiApplication::screens())
        watchScreen(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen *screen) {
        qCInfo(lcScreenshot) << "screen added:" << screen->name() << screen->geometry();
        watchScreen(screen);
        onScreenAdded(screen);
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, [this](QScreen *screen) {
        qCInfo(lcScreenshot) << "screen removed:" << screen->name();
        // Decided after Qt has dropped the screen.
        QTimer::singleShot(0, this, &PrScrnHelper::launch);
    });
    launch();
}

PrScrnHelper::~PrScrnHelper()
{
    if (m_capturing && !m_inHelper)
        ScreenShot::ScreenshotWidget::cancelAll();
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->disconnect(this);
        m_process->closeWriteChannel();
        if (!m_process->waitForFinished(3000))
            m_process->kill();
        m_process->waitForFinished(1000);
    }
}

void PrScrnHelper::watchScreen(QScreen *screen)
{
    connect(screen, &QScreen::geometryChanged, this, [this, screen](const QRect &geometry) {
        qCInfo(lcScreenshot) << "screen changed:" << screen->name() << geometry;
        onScreenGeometryChanged(geometry);
    });
}

void PrScrnHelper::onScreenGeometryChanged(const QRect &geometry)
{
    qCInfo(lcScreenshot) << "screen geometry changed:" << geometry;
    launch();
}

void PrScrnHelper::onScreenAdded(QScreen *screen)
{
    Q_UNUSED(screen)
    launch();
}

void PrScrnHelper::setProgramPath(const QString &path)
{
    s_programPath = path;
}

QString PrScrnHelper::programPath()
{
    if (!s_programPath.isEmpty())
        return s_programPath;
#ifdef Q_OS_WIN
    const QString name = QStringLiteral("prscrn.exe");
#else
    const QString name = QStringLiteral("prscrn");
#endif
    return QStringLiteral("%1/%2").arg(QCoreApplication::applicationDirPath(), name);
}

bool PrScrnHelper::isScreenScaled()
{
    if (OrvScreen::isHighDpiScalingOn())
        return false;
    const auto screens = QGuiApplication::screens();
    for (const QScreen *screen : screens) {
        if (ScreenShot::getMonitorScale(screen->geometry().center()) > 1.0)
            return true;
    }
    return false;
}

bool PrScrnHelper::isDpiAdapted()
{
    return OrvScreen::isDpiAdapted();
}

void PrScrnHelper::setHelperPolicy(HelperPolicy policy)
{
    m_policy = policy;
    launch();
}

bool PrScrnHelper::isHelperRunning() const
{
    return m_process && m_process->state() != QProcess::NotRunning;
}

void PrScrnHelper::launch()
{
    const bool wanted = m_policy == HelperAlways || (m_policy == HelperAuto && isScreenScaled() && !isDpiAdapted());
    if (!wanted) {
        if (isHelperRunning() && !(m_capturing && m_inHelper)) {
            // An idle helper ends when its input closes.
            qCInfo(lcScreenshot) << "prscrn no longer needed";
            m_process->closeWriteChannel();
        }
        return;
    }
    if (isHelperRunning())
        return;
    const QString program = programPath();
    if (!QFileInfo(program).isExecutable()) {
        qCWarning(lcScreenshot) << "prscrn missing:" << program << "; capturing in this process";
        return;
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString compat = environment.value(QStringLiteral("__COMPAT_LAYER"));
    if (environment.contains(QStringLiteral("__COMPAT_LAYER")) && compat.contains(QLatin1String("dpi"), Qt::CaseInsensitive)) {
        // The helper must see the real pixels, not a compatibility DPI mode.
        qCInfo(lcScreenshot) << "__COMPAT_LAYER:" << compat << "not passed to prscrn";
        environment.remove(QStringLiteral("__COMPAT_LAYER"));
    }

    // A fresh process each time: the last one may still be delivering its finished signal.
    if (m_process) {
        m_process->disconnect(this);
        m_process->deleteLater();
    }
    auto *process = new QProcess(this);
    m_process = process;
    process->setProcessChannelMode(QProcess::MergedChannels);
    connect(process, &QProcess::readyReadStandardOutput, this, &PrScrnHelper::readOutput);
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, &PrScrnHelper::onProcessFinished);
    connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
        qCWarning(lcScreenshot) << "prscrn error:" << error << process->errorString();
        if (error == QProcess::FailedToStart && m_capturing && m_inHelper) {
            m_inHelper = false;
            startInProcess();
        }
    });
    process->setProcessEnvironment(environment);
    process->setProgram(program);
    process->setArguments({QString::fromLatin1(HelperToken),
                           QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)});
    qCInfo(lcScreenshot) << "prscrn launch:" << program;
    process->start();
}

namespace {
/// A line of the helper's output as a log line: printable, and not endless.
QString printable(const QByteArray &bytes)
{
    constexpr int MaxShown = 400;
    QString line = QString::fromUtf8(bytes.left(MaxShown * 4)).left(MaxShown);
    for (QChar &c : line) {
        if (!c.isPrint() && c != QLatin1Char('\t'))
            c = QLatin1Char('?');
    }
    if (bytes.size() > line.toUtf8().size())
        line += QStringLiteral(" ... (%1 bytes)").arg(bytes.size());
    return line;
}
} // namespace

void PrScrnHelper::readOutput()
{
    while (m_process->canReadLine()) {
        const QByteArray line = m_process->readLine().trimmed();
        if (!line.isEmpty())
            qCInfo(lcScreenshot).noquote() << "prscrn output:" << printable(line);
    }
    // A line that never ends is logged in pieces, not kept forever.
    if (m_process->bytesAvailable() > 64 * 1024)
        qCInfo(lcScreenshot).noquote() << "prscrn output:" << printable(m_process->readAll());
}

void PrScrnHelper::start(const QSize &size, bool isAutoCapture, bool isShowModal, const QObject *receiver,
                         const char *member, bool hasHideClassroomButton)
{
    if (!begin(size, isAutoCapture, isShowModal, hasHideClassroomButton))
        return;
    if (receiver && member)
        m_receiverConnection = connect(this, SIGNAL(signalFinished(QPixmap)), receiver, member, Qt::QueuedConnection);
    run();
}

bool PrScrnHelper::takePicture(const QObject *context, std::function<void(QPixmap)> done, const QSize &size,
                               bool isAutoCapture, bool isShowModal)
{
    if (!begin(size, isAutoCapture, isShowModal, false))
        return false;
    if (done)
        m_receiverConnection = connect(this, &PrScrnHelper::signalFinished, context ? context : this,
                                       [done](const QPixmap &picture) { done(picture); }, Qt::QueuedConnection);
    run();
    return true;
}

bool PrScrnHelper::begin(const QSize &size, bool isAutoCapture, bool isShowModal, bool hasHideClassroomButton)
{
    if (m_capturing)
        return false;
    if (ScreenShot::ScreenshotWidget::isCapturing()) {
        qCWarning(lcScreenshot) << "screenshot already open elsewhere; start ignored";
        return false;
    }
    m_capturing = true;
    m_handedOff = false;
    m_size = size;
    m_isAutoCapture = isAutoCapture;
    m_isShowModal = isShowModal;
    m_hasHideClassroomButton = hasHideClassroomButton;
    return true;
}

void PrScrnHelper::run()
{
    const QSize size = m_size;
    const bool isAutoCapture = m_isAutoCapture;
    const bool hasHideClassroomButton = m_hasHideClassroomButton;
    if (isHelperRunning()) {
        m_inHelper = true;
        const QByteArray line = QStringLiteral("start:%1|%2|%3|%4\n")
                                    .arg(size.width())
                                    .arg(size.height())
                                    .arg(int(isAutoCapture))
                                    .arg(int(hasHideClassroomButton))
                                    .toLatin1();
        qCInfo(lcScreenshot) << "prscrn" << line.trimmed();
        m_process->write(line);
        return; // its exit code finishes the capture
    }
    m_inHelper = false;
    startInProcess();
}

void PrScrnHelper::startInProcess()
{
    const bool modal = m_isShowModal || QApplication::activeModalWidget();
    QPointer<PrScrnHelper> self(this);
    ScreenShot::ScreenshotWidget::start(m_size, m_isAutoCapture, modal, m_hasHideClassroomButton, [self](int code) {
        // Reported from inside the overlay's handlers; act once they are done.
        if (self)
            QMetaObject::invokeMethod(self, [self, code] { self->finished(code); }, Qt::QueuedConnection);
    });
}

void PrScrnHelper::cancelCapture()
{
    if (!m_capturing)
        return;
    if (m_inHelper && isHelperRunning())
        m_process->write("cancel\n");
    else
        ScreenShot::ScreenshotWidget::cancelAll();
}

void PrScrnHelper::stop()
{
    if (!isHelperRunning())
        return;
    m_process->closeWriteChannel();
    if (!m_process->waitForFinished(30000)) {
        qCWarning(lcScreenshot) << "prscrn did not end; stopping it";
        m_process->kill();
        m_process->waitForFinished(3000);
    }
}

void PrScrnHelper::onProcessFinished(int exitCode, QProcess::ExitStatus status)
{
    qCInfo(lcScreenshot) << "subprocess exit:" << exitCode << (status == QProcess::CrashExit ? "crashed" : "");
    if (m_process->bytesAvailable())
        readOutput();
    if (!(m_capturing && m_inHelper))
        return; // an idle helper ended; the next start runs in this process
    // A helper that died took its picture with it.
    finished(status == QProcess::CrashExit ? ScreenShot::ScreenshotWidget::OperateCancel : exitCode);
}

void PrScrnHelper::endCapture()
{
    disconnect(m_receiverConnection);
    m_receiverConnection = {};
    const bool wasHelper = m_inHelper;
    m_capturing = false;
    m_inHelper = false;
    m_handedOff = false;
    if (wasHelper)
        launch(); // ready for the next capture, also one started from a slot of the signals that follow
}

void PrScrnHelper::finished(int exitCode)
{
    if (!m_capturing)
        return;
    const QString path = ScreenShot::ScreenshotWidget::tempImagePath();
    QClipboard *clipboard = QGuiApplication::clipboard();
    switch (exitCode) {
    case ScreenShot::ScreenshotWidget::OperateOk: {
        const QImage copied = clipboard->image();
        if (!copied.isNull())
            Q_EMIT ok(QPixmap::fromImage(copied));
        QPixmap picture(path);
        if (picture.isNull()) {
            picture = QPixmap::fromImage(copied);
            qCWarning(lcScreenshot) << "no picture in" << path << "; from the clipboard:" << picture.size();
        } else if (copied.isNull()) {
            // The helper's clipboard went away with it.
            clipboard->setImage(picture.toImage());
        }
        Q_EMIT signalFinished(picture);
        endCapture();
        break;
    }
    case ScreenShot::ScreenshotWidget::OperateCancel:
        if (!m_handedOff)
            Q_EMIT cancel();
        Q_EMIT signalFinished(QPixmap());
        endCapture();
        break;
    case ScreenShot::ScreenshotWidget::OperateShare:
    case ScreenShot::ScreenshotWidget::OperateSaveToCloud: {
        const QString copy = keepCopy(path);
        if (exitCode == ScreenShot::ScreenshotWidget::OperateShare)
            Q_EMIT shareToChat(copy, nullptr);
        else
            Q_EMIT saveToCloud(copy, nullptr);
        // The target chooser must not open under the overlay: the capture ends here.
        m_handedOff = true;
        if (m_inHelper) {
            Q_EMIT signalFinished(QPixmap());
            endCapture();
        } else {
            ScreenShot::ScreenshotWidget::cancelAll();
        }
        break;
    }
    case ScreenShot::ScreenshotWidget::OperateHide:
        endCapture();
        Q_EMIT screenshot();
        break;
    default:
        qCWarning(lcScreenshot) << "screenshot ended with code" << exitCode;
        Q_EMIT signalFinished(QPixmap());
        endCapture();
        break;
    }
}

QString PrScrnHelper::keepCopy(const QString &path)
{
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly)) {
        // Nothing to copy; whoever takes it over says what is missing.
        qCWarning(lcScreenshot) << "no picture to hand over in" << path << source.errorString();
        return path;
    }
    QTemporaryFile copy(QDir(QDir::tempPath()).filePath(QStringLiteral("prScrnImage-XXXXXX.jpg")));
    copy.setAutoRemove(false);
    const QByteArray bytes = source.readAll();
    if (!copy.open() || copy.write(bytes) != bytes.size() || !copy.flush()) {
        qCWarning(lcScreenshot) << "cannot copy" << path << "to" << copy.fileName() << copy.errorString()
                                << "; handing over the capture's own file";
        copy.remove();
        return path;
    }
    qCInfo(lcScreenshot) << "screenshot handed over as" << copy.fileName();
    return copy.fileName();
}
