// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QProcess>
#include <QSize>
#include <functional>

class QScreen;
class QWidget;

/**
 * The entry point through which the client takes a screenshot. The capture runs in this process
 * (ScreenShot::ScreenshotWidget) or, when the screen is scaled and this process does not draw at
 * the monitors' scale, in the helper program "prscrn" of the application folder, which is kept
 * running for that purpose. Either way the capture's ending becomes one of the signals:
 *
 *  - copied (0): ok(clipboard picture) when the clipboard holds one, then signalFinished(picture
 *    from the temporary file, or the clipboard's when the file cannot be read);
 *  - cancelled (1): cancel(), then signalFinished(null);
 *  - share (2) / save to the cloud disk (4): shareToChat() / saveToCloud() with a copy of the
 *    temporary file of its own ("prScrnImage-XXXXXX.jpg" in the temporary folder), which the
 *    next capture cannot overwrite while it is being sent; the capture then closes and the
 *    receiver gets signalFinished(null);
 *  - hide the classroom (5): screenshot(); the owner hides the classroom and starts again;
 *  - any other code of a helper: logged, signalFinished(null).
 *
 * The receiver given to start() is connected (queued) to signalFinished for that capture only.
 * GUI thread only.
 */
class PrScrnHelper : public QObject
{
    Q_OBJECT
public:
    /// The helper program refuses to run without it.
    static constexpr const char *HelperToken = "5C1A7E09B3D24F6A8E0B71C4D9F2A3E6";
    /// Exit code of a helper that refused to run.
    static constexpr int HelperRefused = 64;

    enum HelperPolicy {
        HelperAuto,   ///< the helper on a scaled screen when this process is not DPI-adapted
        HelperAlways, ///< the helper whenever it can be started
        HelperNever,  ///< always in this process
    };

    static PrScrnHelper &instance();
    static void release();

    void start(const QSize &size, bool isAutoCapture, bool isShowModal, const QObject *receiver, const char *member,
               bool hasHideClassroomButton = false);
    /// start() for a caller that wants the picture in a function: done runs once, queued and while
    /// context lives, with the picture (null unless copied). False when a capture is under way;
    /// done is not called then.
    bool takePicture(const QObject *context, std::function<void(QPixmap)> done, const QSize &size = QSize(),
                     bool isAutoCapture = true, bool isShowModal = false);
    /// Waits up to 30 s for the helper to end, then stops it.
    void stop();
    bool isCapturing() const { return m_capturing; }
    void cancelCapture();
    /// Some monitor shows more pixels than this process sees; false when Qt scales.
    static bool isScreenScaled();

    /// "prscrn" (Windows: "prscrn.exe") in the application folder, unless set elsewhere.
    static QString programPath();
    /// For hosts that keep the helper program in another folder; empty for the default.
    static void setProgramPath(const QString &path);
    void setHelperPolicy(HelperPolicy policy);
    HelperPolicy helperPolicy() const { return m_policy; }
    bool isHelperRunning() const;

Q_SIGNALS:
    void cancel();
    void ok(QPixmap pic);
    void signalFinished(QPixmap pic);
    void shareToChat(QString path, QWidget *parent);
    void saveToCloud(QString path, QWidget *parent);
    void screenshot();

private Q_SLOTS:
    void finished(int exitCode);
    void onScreenGeometryChanged(const QRect &geometry);
    void onScreenAdded(QScreen *screen);

private:
    PrScrnHelper();
    ~PrScrnHelper() override;
    void launch();
    void startInProcess();
    static bool isDpiAdapted();
    void watchScreen(QScreen *screen);
    void onProcessFinished(int exitCode, QProcess::ExitStatus status);
    void readOutput();
    bool begin(const QSize &size, bool isAutoCapture, bool isShowModal, bool hasHideClassroomButton);
    void run();
    /// A copy of the capture's file for a share or an upload that outlives the next capture.
    static QString keepCopy(const QString &path);
    /// The capture is over: the receiver's connection goes, the helper is made ready again.
    void endCapture();

    HelperPolicy m_policy = HelperAuto;
    // The request under way.
    QSize m_size;
    bool m_isAutoCapture = false;
    bool m_isShowModal = false;
    bool m_hasHideClassroomButton = false;
    QProcess *m_process = nullptr;
    bool m_capturing = false;
    bool m_inHelper = false;
    bool m_handedOff = false; ///< shared or saved to the cloud; the closing that follows is no cancel
    QMetaObject::Connection m_receiverConnection;
    static PrScrnHelper *s_instance;
    static QString s_programPath;
};
