// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QStringList>
#include <functional>

class QWidget;

/**
 * The modal dialogs the bridges open: the save dialogs of downloads and their message boxes.
 * Each goes through a replaceable handler, so tests and hosts with their own dialogs can answer
 * them; the default handlers show Qt's dialogs.
 */
class BridgeDialogs
{
public:
    using SaveFileHandler = std::function<QString(QWidget *parent, const QString &title, const QString &startPath,
                                                  const QString &filter)>;
    using FolderHandler = std::function<QString(QWidget *parent, const QString &title, const QString &startFolder)>;
    using OpenFilesHandler = std::function<QStringList(QWidget *parent, const QString &title, const QString &startFolder,
                                                       const QString &filter)>;
    /// Answers the index of the button pressed, -1 when the box was closed otherwise.
    using MessageHandler = std::function<int(QWidget *parent, const QString &title, const QString &text,
                                             const QStringList &buttons)>;

    /// Empty when cancelled. The dialog asks before replacing an existing file.
    static QString getSaveFileName(QWidget *parent, const QString &title, const QString &startPath, const QString &filter);
    static QString getExistingDirectory(QWidget *parent, const QString &title, const QString &startFolder);
    /// Several existing files; empty when cancelled.
    static QStringList getOpenFileNames(QWidget *parent, const QString &title, const QString &startFolder,
                                        const QString &filter);
    static int message(QWidget *parent, const QString &title, const QString &text, const QStringList &buttons);

    /// The title of message boxes, which tells a classroom's from the client's.
    static QString messageBoxTitle(bool inClassroom);

    /// An empty handler restores the default.
    static void setSaveFileHandler(SaveFileHandler handler);
    static void setFolderHandler(FolderHandler handler);
    static void setOpenFilesHandler(OpenFilesHandler handler);
    static void setMessageHandler(MessageHandler handler);
    static void resetHandlers();
};
