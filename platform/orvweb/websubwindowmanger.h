// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>

class WebSubWindow;

/// Keeps the open child web windows, so a page asking twice for the same page gets the open one.
class WebSubWindowManger : public QObject
{
    Q_OBJECT
public:
    static WebSubWindowManger *instance();
    static void release();

    /// The open child window showing url (compared by scheme, host, port and path when byPath),
    /// or null. A non-empty cbKey also requires the window to have been opened under that key.
    QPointer<QWidget> getWebSubWindow(const QString &url, bool byPath, const QString &cbKey) const;
    QList<WebSubWindow *> windows() const;

    /// Called by WebSubWindow itself when it opens and when it closes.
    void addWindow(WebSubWindow *window);
    void removeWindow(WebSubWindow *window);

private:
    WebSubWindowManger() = default;
    QList<QPointer<WebSubWindow>> m_windows;
    static WebSubWindowManger *s_instance;
};
