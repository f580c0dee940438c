// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>

/**
 * Hands a file to the desktop: open it with its default program, or show it selected in the file
 * manager. Each platform has its implementation; instance() is the one of the running platform
 * unless a host (or a test) installed another with setInstance().
 *
 * Linux: opening goes to the desktop's default handler (xdg-open / portal, through
 * QDesktopServices); showing asks the file manager over D-Bus (org.freedesktop.FileManager1
 * "ShowItems") and, when no file manager answers, opens the folder instead.
 */
class OrvDesktopShell : public QObject
{
    Q_OBJECT
public:
    ~OrvDesktopShell() override;

    static OrvDesktopShell *instance();
    /// Takes ownership; null restores the platform's own.
    static void setInstance(OrvDesktopShell *shell);

    /// False (and a log line) when the file is missing or no program could be asked.
    virtual bool openFile(const QString &path) = 0;
    /// False (and a log line) when the file is missing. The answer may come later: a file
    /// manager that fails makes the folder open instead.
    virtual bool showInFolder(const QString &path) = 0;

Q_SIGNALS:
    /// How a request ended up: "open", "showItems" (the file manager took it), "openFolder".
    void handled(const QString &how, const QString &path);

protected:
    explicit OrvDesktopShell(QObject *parent = nullptr);
};

/// The freedesktop implementation (Linux and other X11/Wayland desktops).
class OrvFreedesktopShell : public OrvDesktopShell
{
    Q_OBJECT
public:
    explicit OrvFreedesktopShell(QObject *parent = nullptr);

    bool openFile(const QString &path) override;
    bool showInFolder(const QString &path) override;

    /// D-Bus time-out of the file manager's answer, in ms.
    static constexpr int ShowItemsTimeout = 5000;

private:
    void openFolder(const QString &path);
};
