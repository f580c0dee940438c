// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "websubwindowbridge.h"

class QTimer;
class WaitingSpinnerWidget;

/**
 * Base of the exam, homework and cloud disk bridges: the loading indicator with its time-out,
 * links opened from the page, and child web windows whose pages get a plain bridge as
 * "cloudDisk". It also answers pages for other objects: ImSignalObject::signalWebCallback(key,
 * data) runs "window.orvClientAPI.callback('<key>', '<data>')" (escaped when the data needs it)
 * once, in the page that handed out the key (OrvWebBridge::answerCallbackKey); an answer for a
 * key no page handed out is dropped with a log line.
 */
class ExamBaseBridge : public WebSubWindowBridge
{
    Q_OBJECT
public:
    /// Exam and homework pages wait this long; the cloud disk sets its own.
    static constexpr int LoadingTimeoutMs = 300000;
    static constexpr int SpinnerInnerRadius = 4;
    static constexpr int SpinnerLineLength = 15;
    static constexpr int SpinnerLineWidth = 6;
    static constexpr qreal SpinnerRoundness = 4.0;
    static constexpr qreal SpinnerOpacity = 0.5;

    ExamBaseBridge(OrvWebView *view, QObject *parent, WebSubWindowBridge::FromType fromType);
    ~ExamBaseBridge() override;

    /// Shows the spinner over the view with text ("ID_Loading_Ellipsis" when empty) and starts
    /// the time-out; a second call restarts the time-out.
    void startLoading(const QString &text = QString());
    void stopLoading();
    /// New text on a running spinner (upload progress).
    void updateLoadingProcess(const QString &text);
    bool isLoading() const;
    int loadingTimeout() const;

public Q_SLOTS:
    /// Opens url in the system browser, or with FromType 2 (classroom) in the client's in-app browser.
    /// Subclasses override it outside Q_SLOTS, so the page sees one linkView.
    virtual void linkView(const QString &url);
    void refreshExamList(const QString &cbKey);
    /// Tells the user the operation was cancelled, then stops the indicator.
    virtual void loadingTimeOutSlot();

protected:
    void setLoadingTimeout(int ms);
    WaitingSpinnerWidget *loadingSpinner();
    void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request) override;

private:
    QTimer *m_loadingTimer = nullptr;
    QPointer<WaitingSpinnerWidget> m_spinner;
};
