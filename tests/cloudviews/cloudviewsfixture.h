// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// What the cloud view and picker tests share: the local web service with its cloud disk and
// reference pages, the client pointed at it, dialogs answered without blocking, and a stand-in
// for the classroom.

#include "bridgedialogs.h"
#include "iclassroommgr.h"
#include "orvclouddisk.h"
#include "orvhttpmanager.h"
#include "orvsettings.h"
#include "orvtransferqueue.h"
#include "orvwebservice.h"
#include "orvwebview.h"
#include "serverenvironment.h"
#include "webtestutils.h"

#include <QFile>
#include <QTemporaryDir>

namespace CloudViews {

class FakeClassRoomMgr : public IClassRoomMgr
{
public:
    quint64 school = OrvCloudDisk::SchoolId;
    quint64 course = 7700001;
    bool extendScreen = false;

    QWidget *classroomWindow() const override { return nullptr; }
    quint64 schoolId() const override { return school; }
    quint64 courseId() const override { return course; }
    quint64 lessonId() const override { return 42; }
    bool isStudent() const override { return false; }
    bool isInClass() const override { return true; }
    bool isFriendsTempClassroom() const override { return false; }
    bool isExtendScreen() const override { return extendScreen; }
    void openSubWidget(const QString &, const QSize &) override {}
};

struct SaveDialogCall
{
    QString title;
    QString startPath;
    QString filter;
};

// One web service with the cloud disk, the client's settings in a temporary file, and the save
// and folder dialogs answered by what the test put in saveAnswer / folderAnswer.
class Environment
{
public:
    OrvWebService service;
    OrvCloudDisk disk;
    QTemporaryDir dir;
    QString saveAnswer;   ///< a file path, or empty to cancel
    QString folderAnswer; ///< a folder, or empty to cancel
    QList<SaveDialogCall> saveCalls;
    int folderCalls = 0;

    bool start()
    {
        if (!dir.isValid())
            return false;
        disk.install(service);
        if (!service.start())
            return false;
        OrvSettings::instance()->setFileName(dir.filePath(QStringLiteral("settings.ini")));
        OrvHttpManager::instance()->setBaseUrl(service.baseUrl());
        ServerEnvironment::clearHosts();
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), service.baseUrl());
        ServerEnvironment::setHost(ServerEnvironment::WebHost, QString(), service.baseUrl());
        BridgeDialogs::setSaveFileHandler([this](QWidget *, const QString &title, const QString &start, const QString &filter) {
            saveCalls << SaveDialogCall{title, start, filter};
            return saveAnswer;
        });
        BridgeDialogs::setFolderHandler([this](QWidget *, const QString &, const QString &) {
            ++folderCalls;
            return folderAnswer;
        });
        return true;
    }

    void stop()
    {
        BridgeDialogs::resetHandlers();
        service.stop();
    }

    QString downloads() const { return dir.filePath(QStringLiteral("downloads")); }

    QUrl url(const QString &path) const { return service.baseUrl().resolved(QUrl(path)); }
};

// Watches the transfer queue from before a download is asked for until count transfers ended.
class TransferWatch
{
public:
    TransferWatch()
        : m_finished(OrvTransferQueue::instance(), &OrvTransferQueue::finished)
        , m_failed(OrvTransferQueue::instance(), &OrvTransferQueue::failed)
    {
    }

    /// The paths of the files written, once count transfers ended (or on time-out).
    QStringList wait(int count, int timeoutMs = 15000)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_finished.size() + m_failed.size() < count && timer.elapsed() < timeoutMs)
            QTest::qWait(20);
        QStringList written;
        for (const QList<QVariant> &args : qAsConst(m_finished))
            written << args.at(1).toString();
        for (const QList<QVariant> &args : qAsConst(m_failed))
            qWarning() << "transfer failed:" << args.at(1).toString();
        return written;
    }

    int ended() const { return m_finished.size() + m_failed.size(); }

private:
    QSignalSpy m_finished;
    QSignalSpy m_failed;
};

// A signal spy has count signals, counting those that came before the call.
inline bool reached(QSignalSpy &spy, int count = 1, int timeoutMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (spy.size() < count && timer.elapsed() < timeoutMs)
        QTest::qWait(20);
    return spy.size() >= count;
}

inline QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The keys of the answers the page received, in order (the reference pages log them).
inline QStringList answeredKeys(QWebEnginePage *page)
{
    return WebTest::eval(page, QStringLiteral("orvPage.log.filter(function (e) { return e.kind === 'callback'; })"
                                              ".map(function (e) { return e.key; })"))
        .toStringList();
}

} // namespace CloudViews
