// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bridgedialogs.h"

#include "orvlang.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

namespace {

struct Handlers
{
    BridgeDialogs::SaveFileHandler saveFile;
    BridgeDialogs::FolderHandler folder;
    BridgeDialogs::OpenFilesHandler openFiles;
    BridgeDialogs::MessageHandler message;
};

Handlers &handlers()
{
    static Handlers h;
    return h;
}

} // namespace

QString BridgeDialogs::getSaveFileName(QWidget *parent, const QString &title, const QString &startPath,
                                       const QString &filter)
{
    if (handlers().saveFile)
        return handlers().saveFile(parent, title, startPath, filter);
    return QFileDialog::getSaveFileName(parent, title, startPath, filter);
}

QString BridgeDialogs::getExistingDirectory(QWidget *parent, const QString &title, const QString &startFolder)
{
    if (handlers().folder)
        return handlers().folder(parent, title, startFolder);
    return QFileDialog::getExistingDirectory(parent, title, startFolder);
}

QStringList BridgeDialogs::getOpenFileNames(QWidget *parent, const QString &title, const QString &startFolder,
                                            const QString &filter)
{
    if (handlers().openFiles)
        return handlers().openFiles(parent, title, startFolder, filter);
    return QFileDialog::getOpenFileNames(parent, title, startFolder, filter);
}

int BridgeDialogs::message(QWidget *parent, const QString &title, const QString &text, const QStringList &buttons)
{
    if (handlers().message)
        return handlers().message(parent, title, text, buttons);
    QMessageBox box(QMessageBox::Information, title, text, QMessageBox::NoButton, parent);
    QList<QAbstractButton *> added;
    for (const QString &label : buttons)
        added << box.addButton(label, QMessageBox::AcceptRole);
    if (added.isEmpty())
        added << box.addButton(QMessageBox::Ok);
    box.exec();
    return added.indexOf(box.clickedButton());
}

QString BridgeDialogs::messageBoxTitle(bool inClassroom)
{
    return OrvLang::text(inClassroom ? "ID_Classroom_MessageBoxTitle" : "ID_Information");
}

void BridgeDialogs::setSaveFileHandler(SaveFileHandler handler)
{
    handlers().saveFile = std::move(handler);
}

void BridgeDialogs::setFolderHandler(FolderHandler handler)
{
    handlers().folder = std::move(handler);
}

void BridgeDialogs::setOpenFilesHandler(OpenFilesHandler handler)
{
    handlers().openFiles = std::move(handler);
}

void BridgeDialogs::setMessageHandler(MessageHandler handler)
{
    handlers().message = std::move(handler);
}

void BridgeDialogs::resetHandlers()
{
    handlers() = Handlers();
}
