// SPDX-License-Identifier: LGPL-2.1-or-later
#include "editoroutputpanel.h"

#include "EditTool.h"
#include "imageeditor.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QImageReader>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QTime>
#include <QVBoxLayout>

namespace {

constexpr int Thumb = 120;

QPixmap thumbnail(const QImage &image)
{
    return image.isNull() ? QPixmap()
                          : QPixmap::fromImage(image.scaled(Thumb, Thumb, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

} // namespace

EditorOutputPanel::EditorOutputPanel(QWidget *parent)
    : QGroupBox(QStringLiteral("Picture editor: saved file and clipboard"), parent)
{
    auto *grid = new QGridLayout(this);
    auto *hint = new QLabel(QStringLiteral(
        "Pick a picture and open it in the editor. Draw with the pen and its shapes, erase, type text "
        "(an input method works; or copy the Chinese sample and press Ctrl+V in a text box), undo and redo, "
        "then save (the file shows here) or press Done (the picture goes to the clipboard)."));
    hint->setWordWrap(true);
    grid->addWidget(hint, 0, 0, 1, 2);
    auto *sample = new QPushButton(QStringLiteral("Copy Chinese sample text"));
    connect(sample, &QPushButton::clicked, this,
            [] { QGuiApplication::clipboard()->setText(QStringLiteral("同学们好，这是第三题的批注。")); });
    grid->addWidget(sample, 1, 0, 1, 2, Qt::AlignLeft);
    m_savedPicture = new QLabel(QStringLiteral("(nothing saved yet)"));
    m_savedPicture->setObjectName(QStringLiteral("savedPicture"));
    m_savedPicture->setFixedSize(Thumb, Thumb);
    m_savedPicture->setAlignment(Qt::AlignCenter);
    m_savedPicture->setFrameShape(QFrame::StyledPanel);
    m_savedText = new QLabel;
    m_savedText->setWordWrap(true);
    m_savedText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_clipPicture = new QLabel(QStringLiteral("(no picture)"));
    m_clipPicture->setObjectName(QStringLiteral("clipboardPicture"));
    m_clipPicture->setFixedSize(Thumb, Thumb);
    m_clipPicture->setAlignment(Qt::AlignCenter);
    m_clipPicture->setFrameShape(QFrame::StyledPanel);
    m_clipText = new QLabel;
    m_clipText->setWordWrap(true);
    m_clipText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto column = [](const QString &title, QLabel *picture, QLabel *text) {
        auto *box = new QVBoxLayout;
        box->addWidget(new QLabel(title));
        box->addWidget(picture);
        box->addWidget(text, 1, Qt::AlignTop);
        return box;
    };
    grid->addLayout(column(QStringLiteral("Saved:"), m_savedPicture, m_savedText), 2, 0);
    grid->addLayout(column(QStringLiteral("Clipboard:"), m_clipPicture, m_clipText), 2, 1);
    grid->setRowStretch(2, 1);
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &EditorOutputPanel::showClipboard);
    showClipboard();
}

void EditorOutputPanel::watch(ImageEditor *editor)
{
    if (!editor || m_editor == editor)
        return;
    m_editor = editor;
    connect(editor->editTool(), &EditTool::saveSuccess, this, [this](const QString &path) {
        const QString how = m_editor ? m_editor->editTool()->saveMethod() : QString();
        showSaved(path, how);
    });
    connect(editor, &ImageEditor::signalSaveToCloud, this, [this](const QString &path, const QString &folder) {
        showSaved(path, QStringLiteral("for the cloud disk folder \"%1\"").arg(folder));
    });
}

void EditorOutputPanel::showSaved(const QString &path, const QString &how)
{
    QImageReader reader(path);
    const QSize size = reader.size();
    m_savedPicture->setPixmap(thumbnail(reader.read()));
    m_savedText->setText(QStringLiteral("%1  %2\n%3 × %4, %5 KB (%6)")
                             .arg(QTime::currentTime().toString(QStringLiteral("hh:mm:ss")),
                                  QDir::toNativeSeparators(path))
                             .arg(size.width())
                             .arg(size.height())
                             .arg(QFileInfo(path).size() / 1024)
                             .arg(how));
}

void EditorOutputPanel::showClipboard()
{
    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    if (!mime) {
        m_clipPicture->setText(QStringLiteral("(empty)"));
        m_clipText->clear();
        return;
    }
    QStringList lines;
    const QImage image = mime->hasImage() ? qvariant_cast<QImage>(mime->imageData()) : QImage();
    if (!image.isNull()) {
        m_clipPicture->setPixmap(thumbnail(image));
        lines << QStringLiteral("picture %1 × %2").arg(image.width()).arg(image.height());
    } else {
        m_clipPicture->setText(QStringLiteral("(no picture)"));
    }
    const auto urls = mime->urls();
    for (const QUrl &url : urls)
        lines << QStringLiteral("file: %1").arg(url.toDisplayString());
    if (mime->hasText() && urls.isEmpty())
        lines << QStringLiteral("text: %1").arg(mime->text().left(200));
    lines << QStringLiteral("formats: %1").arg(mime->formats().mid(0, 6).join(QStringLiteral(", ")));
    m_clipText->setText(lines.join(QLatin1Char('\n')));
}
