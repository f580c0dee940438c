// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QObject>
#include <QSize>
#include <QUrl>

/**
 * The running classroom's board (courseware) service, published by the classroom plug-in in the
 * extension system under ExtensionName. Outside a classroom nobody publishes it.
 */
class IPptMgr : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IPptMgr";

    using QObject::QObject;

    /// Opens cloud files on the board: the page's whole list and the entry shown first.
    virtual void openFiles(const QJsonArray &fileInfos, int currentIndex) = 0;
    /// Opens an exam paper, compact JSON {"paper", "title", "link", "windowSize"}.
    virtual void openExamPaper(const QString &paperJson) = 0;
    /// Shares a web page on the board for everyone / stops that share.
    virtual void shareUrl(const QString &requestData, const QString &cbKey) = 0;
    virtual void closeUrlShare(const QString &cbKey) = 0;
    virtual void openUrl(const QUrl &url) = 0;
    /// A web window that all participants see.
    virtual void openSyncSubWindow(const QString &url, const QSize &size, const QString &cbKey) = 0;
    virtual void closeSyncSubWindow(const QString &cbKey) = 0;
    /// How web pages are shown in this classroom.
    virtual int webShowType() const = 0;
    /// A short tip over the board, by string ID.
    virtual void showTip(const QString &textId) = 0;

Q_SIGNALS:
    /// The cloud disk should get out of the way of what the board now shows.
    void hideCloudDisk();
};
