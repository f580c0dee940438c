// SPDX-License-Identifier: LGPL-2.1-or-later
#include "websubwindowmanger.h"

#include "websubwindow.h"

#include <QUrl>

WebSubWindowManger *WebSubWindowManger::s_instance = nullptr;

WebSubWindowManger *WebSubWindowManger::instance()
{
    if (!s_instance)
        s_instance = new WebSubWindowManger;
    return s_instance;
}

void WebSubWindowManger::release()
{
    delete s_instance;
    s_instance = nullptr;
}

namespace {

bool sameUrl(const QString &a, const QString &b, bool byPath)
{
    if (!byPath)
        return a == b || QUrl(a) == QUrl(b);
    const auto strip = QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::StripTrailingSlash;
    return QUrl(a).adjusted(strip) == QUrl(b).adjusted(strip);
}

} // namespace

QPointer<QWidget> WebSubWindowManger::getWebSubWindow(const QString &url, bool byPath, const QString &cbKey) const
{
    for (const QPointer<WebSubWindow> &window : m_windows) {
        if (!window)
            continue;
        if (!cbKey.isEmpty() && window->cbKey() != cbKey)
            continue;
        if (sameUrl(window->requestUrl(), url, byPath))
            return QPointer<QWidget>(window.data());
    }
    return nullptr;
}

QList<WebSubWindow *> WebSubWindowManger::windows() const
{
    QList<WebSubWindow *> out;
    for (const QPointer<WebSubWindow> &window : m_windows) {
        if (window)
            out << window;
    }
    return out;
}

void WebSubWindowManger::addWindow(WebSubWindow *window)
{
    m_windows.removeAll(QPointer<WebSubWindow>());
    if (window && !m_windows.contains(window))
        m_windows << window;
}

void WebSubWindowManger::removeWindow(WebSubWindow *window)
{
    m_windows.removeAll(window);
    m_windows.removeAll(QPointer<WebSubWindow>());
}
