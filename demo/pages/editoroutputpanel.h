// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QGroupBox>
#include <QPointer>

class ImageEditor;
class QLabel;

/// What the picture editor handed out: the file saved last and what the clipboard holds now.
class EditorOutputPanel : public QGroupBox
{
    Q_OBJECT
public:
    explicit EditorOutputPanel(QWidget *parent = nullptr);

    /// Follows the editor's saves, cloud saves and finishes.
    void watch(ImageEditor *editor);

private:
    void showSaved(const QString &path, const QString &how);
    void showClipboard();

    QPointer<ImageEditor> m_editor;
    QLabel *m_savedPicture = nullptr;
    QLabel *m_savedText = nullptr;
    QLabel *m_clipPicture = nullptr;
    QLabel *m_clipText = nullptr;
};
