// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "globalwebbridge.h"

#include <QJsonObject>

class WebSubWindow;

/**
 * The bridge of a page that may open child web windows.
 *
 * openSubWindow(requestData, cbKey): requestData is a JSON object in text form with "url",
 * "distinctKey" ("path": an open window for the same path counts as the same page) and any
 * presentation keys of WebSubWindow. An empty or unparsable request is ignored. A page that is
 * already open in a child window is raised, and keeps the key it was opened with. Otherwise a
 * WebSubWindow is created as a child of this bridge's view, with the view's theme, its bridge is
 * published by initSubWindowBridge(), its answers (signalCbKeyData) come back to this page as
 * "window.orvClientAPI.callback('<key>', '<data>')", and closeSubWindow(cbKey) closes it.
 *
 * Subclasses change the behaviour by overriding openSubWindow/closeSubWindow as plain virtual
 * functions, outside Q_SLOTS: a slot declared again in a subclass is a second method of the same
 * signature to the web channel, which then warns "Ambiguous overloads" on every call.
 */
class WebSubWindowBridge : public GlobalWebBridge
{
    Q_OBJECT
public:
    /// The host that created the bridge.
    enum FromType {
        FromIm = 0,                 ///< the instant-messaging client
        FromImCloudPage = 1,        ///< a child window opened by the instant-messaging cloud page
        FromClassroom = 2,          ///< inside a classroom
        FromLauncher = 3,           ///< sub-pages go to the launcher
        FromClassroomNoAddFile = 4, ///< inside a classroom that cannot take added files
    };
    Q_ENUM(FromType)

    explicit WebSubWindowBridge(OrvWebView *view, QObject *parent = nullptr, FromType fromType = FromIm);

    FromType fromType() const { return m_fromType; }

public Q_SLOTS:
    virtual void openSubWindow(const QString &requestData, const QString &cbKey);
    virtual void closeSubWindow(const QString &cbKey);

protected:
    /**
     * The common steps of openSubWindow: returns the new, shown window with its bridge published,
     * or null when the request was empty or an open window was raised instead. parent null means
     * this bridge's view. *request receives the parsed request.
     */
    WebSubWindow *openWebSubWindow(const QString &requestData, const QString &cbKey, QWidget *parent = nullptr,
                                   QJsonObject *request = nullptr);
    /// Publishes the bridge of a new child window. By default a plain WebSubWindowBridge under
    /// the name this bridge has in its own view.
    virtual void initSubWindowBridge(WebSubWindow *window, const QJsonObject &request);
    /// Last touches on a new child window before it is shown (placement); nothing by default.
    virtual void prepareSubWindow(WebSubWindow *window, const QJsonObject &request);
    /// Runs the child window's answer in this page.
    virtual void answerSubWindowData(const QString &cbKey, const QString &data);

    /// The name under which this bridge is published in its view; empty when it is not.
    QString registrationName() const;

private:
    FromType m_fromType;
};
