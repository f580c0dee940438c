// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvdesktopshell.h"
#include "orvutils_logging.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QUrl>

#if defined(ORV_HAVE_DBUS)
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#endif

namespace {

QPointer<OrvDesktopShell> &installed()
{
    static QPointer<OrvDesktopShell> shell;
    return shell;
}

bool existingFile(const QString &path)
{
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        qCWarning(lcOrvUtils) << "no such file to hand to the desktop:" << path;
        return false;
    }
    return true;
}

#if defined(Q_OS_WIN)
// The shell's own programs: the paint program opens pictures, the explorer selects a file.
class WindowsShell : public OrvDesktopShell
{
public:
    bool openFile(const QString &path) override
    {
        if (!existingFile(path))
            return false;
        const bool ok = QProcess::startDetached(QStringLiteral("mspaint.exe"), {QDir::toNativeSeparators(path)});
        if (ok)
            Q_EMIT handled(QStringLiteral("open"), path);
        return ok;
    }
    bool showInFolder(const QString &path) override
    {
        if (!existingFile(path))
            return false;
        QProcess process;
        process.setProgram(QStringLiteral("explorer.exe"));
        process.setNativeArguments(QStringLiteral("/select,\"%1\"").arg(QDir::toNativeSeparators(path)));
        const bool ok = process.startDetached();
        if (ok)
            Q_EMIT handled(QStringLiteral("showItems"), path);
        return ok;
    }
};
#endif

} // namespace

OrvDesktopShell::OrvDesktopShell(QObject *parent)
    : QObject(parent)
{
}

OrvDesktopShell::~OrvDesktopShell() = default;

OrvDesktopShell *OrvDesktopShell::instance()
{
    if (!installed()) {
#if defined(Q_OS_WIN)
        installed() = new WindowsShell;
#else
        installed() = new OrvFreedesktopShell;
#endif
    }
    return installed();
}

void OrvDesktopShell::setInstance(OrvDesktopShell *shell)
{
    delete installed().data();
    installed() = shell;
}

OrvFreedesktopShell::OrvFreedesktopShell(QObject *parent)
    : OrvDesktopShell(parent)
{
}

bool OrvFreedesktopShell::openFile(const QString &path)
{
    if (!existingFile(path))
        return false;
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()))) {
        qCWarning(lcOrvUtils) << "the desktop has no program to open" << path;
        return false;
    }
    Q_EMIT handled(QStringLiteral("open"), path);
    return true;
}

void OrvFreedesktopShell::openFolder(const QString &path)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        Q_EMIT handled(QStringLiteral("openFolder"), path);
    else
        qCWarning(lcOrvUtils) << "the desktop cannot open the folder" << folder;
}

bool OrvFreedesktopShell::showInFolder(const QString &path)
{
    if (!existingFile(path))
        return false;
#if defined(ORV_HAVE_DBUS)
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
        const QString uri = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString(QUrl::FullyEncoded);
        call << QStringList{uri} << QString();
        auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, ShowItemsTimeout), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, path] {
            watcher->deleteLater();
            if (watcher->isError()) {
                qCInfo(lcOrvUtils) << "no file manager took ShowItems (" << watcher->error().name()
                                   << "), opening the folder of" << path;
                openFolder(path);
                return;
            }
            Q_EMIT handled(QStringLiteral("showItems"), path);
        });
        return true;
    }
    qCInfo(lcOrvUtils) << "no session bus, opening the folder of" << path;
#endif
    openFolder(path);
    return true;
}
